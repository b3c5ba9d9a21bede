#!/usr/bin/python3
"""Atomic charges for Avogadro 2, by a method of Orbitrax.

The method is the last word of this file's name: a copy named orbitrax-pm3.py offers PM3.
"""

import argparse
import json
import sys
from pathlib import Path

import orbitrax
from orbitrax import Molecule
from orbitrax.tables import load_parameters

METHOD = Path(__file__).stem.split("-")[-1]


def describe() -> dict:
    """What Avogadro asks for first."""
    numbers = sorted(load_parameters(METHOD).elements)
    return {"identifier": f"orbitrax-{METHOD}", "name": f"Orbitrax {METHOD.upper()}",
            "description": f"Mulliken charges of {METHOD.upper()}, by Orbitrax",
            "inputFormat": "cjson", "elements": ",".join(map(str, numbers)), "unitCell": False,
            "charges": True, "potential": False, "ion": True, "radical": True}


def charges(request: dict) -> list[float]:
    """Of the molecule that a request holds, as text or as it is."""
    document = request["cjson"]
    if isinstance(document, str):
        document = json.loads(document)
    atoms, properties = document["atoms"], document.get("properties", {})
    molecule = Molecule(atoms["elements"]["number"], atoms["coords"]["3d"],
                        request.get("charge", properties.get("totalCharge")),
                        request.get("spin", properties.get("totalSpinMultiplicity")))
    return list(orbitrax.energy(molecule, METHOD).charges)


if __name__ == "__main__":
    parser = argparse.ArgumentParser(description=__doc__)
    for option in ("--metadata", "--display-name", "--charges", "--potential"):
        parser.add_argument(option, action="store_true")
    parser.add_argument("--lang", nargs="?")
    given = parser.parse_args()
    if given.metadata:
        print(json.dumps(describe()))
    elif given.display_name:
        print(describe()["name"])
    elif given.charges:
        print("\n".join(f"{charge:.6f}" for charge in charges(json.load(sys.stdin))))
