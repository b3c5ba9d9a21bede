#!/usr/bin/python3
"""Energies and gradients for Avogadro 2, so that it can minimise with a method of Orbitrax.

The method is the last word of this file's name: a copy named orbitrax-pm3.py offers PM3.
"""

import argparse
import contextlib
import json
from pathlib import Path

import orbitrax
from orbitrax import Backend, Job, Molecule
from orbitrax.tables import load_parameters

METHOD = Path(__file__).stem.split("-")[-1]
KJ_PER_KCAL = 4.184


def describe() -> dict:
    """What Avogadro asks for first."""
    numbers = sorted(load_parameters(METHOD).elements)
    return {"identifier": f"orbitrax-{METHOD}", "name": f"Orbitrax {METHOD.upper()}",
            "description": f"{METHOD.upper()} by Orbitrax {orbitrax.__version__}",
            "inputFormat": "cjson", "elements": ",".join(map(str, numbers)), "unitCell": False,
            "gradients": True, "ion": True, "radical": True}


def main(path: str) -> None:
    """Answers with energy and gradient, kJ/mol and Angstrom, for each set of coordinates."""
    document = json.loads(Path(path).read_text(encoding="utf-8"))
    atoms, properties = document["atoms"], document.get("properties", {})
    numbers = atoms["elements"]["number"]
    molecule = Molecule(numbers, atoms["coords"]["3d"], properties.get("totalCharge"),
                        properties.get("totalSpinMultiplicity"))
    with Backend() as backend, contextlib.suppress(EOFError):
        while True:  # until Avogadro closes the pipe
            places = [[float(word) for word in input().split()] for _ in numbers]
            result = backend.run(Job(molecule.replace(positions=places), METHOD))
            print("AvogadroEnergy:", result.total_energy * KJ_PER_KCAL)
            print("AvogadroGradient:")
            for row in result.gradient * KJ_PER_KCAL:
                print(*row)
            print(end="", flush=True)


if __name__ == "__main__":
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--metadata", action="store_true")
    parser.add_argument("--display-name", action="store_true")
    parser.add_argument("--lang", nargs="?")
    parser.add_argument("-f", "--file")
    given = parser.parse_args()
    if given.metadata:
        print(json.dumps(describe()))
    elif given.display_name:
        print(describe()["name"])
    elif given.file:
        main(given.file)
