#!/usr/bin/python3
"""Sweeps single points through ways of convergence, and compares their cycles and their energies:
the figures of docs/convergence.md.

    benchmarks/convergence.py atoms|g2|hard|distorted|radicals [--ways auto plain ...]
        [--out rows.jsonl]

atoms: every element of every table, neutral and singly charged, five multiplicities; g2: the
molecules of ASE's collection; hard: the list of hard_molecules.py; distorted: the 300 of
distorted_molecules.py, each in one method. Each runs restricted and unrestricted, the first two in
all methods, the third as its list says. radicals: those of large_radicals.py, unrestricted. An
energy counts where it has converged without a warning of the electron count. Those of the first way
that lie above another's are listed.
"""

from __future__ import annotations

import argparse
import json
import sys
from collections import defaultdict
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "python"))

WAYS = {
    "auto": {},
    "follow": {"stability": "follow"},
    "cycles": {"stability": "none"},
    "plain": {"scf": "plain"},
    "no-diis": {"diis": False},
    "no-shift": {"level_shift_start": 0},
    "neither": {"diis": False, "level_shift_start": 0},
}
SAME_STATE = 1e-3  # kcal/mol


def molecules(which):
    """Names, molecules and charges."""
    from orbitrax import Molecule, from_ase

    if which == "atoms":
        for z in range(1, 100):
            for charge in (0, 1, -1):
                yield f"{z} {charge:+d}", Molecule([z], [[0.0, 0.0, 0.0]]), charge
        return
    from ase.build import molecule
    from ase.collections import g2

    for name in g2.names:
        found = from_ase(molecule(name))
        yield name, found[0] if isinstance(found, tuple) else found, 0


def cases(which):
    """Name, molecule, charge, method, multiplicity and spin treatment of each case."""
    from orbitrax import METHODS

    if which == "hard":
        from hard_molecules import CASES, read

        for name, _, method, charge, multiplicity, unrestricted in CASES:
            yield name, read(name), charge, method, multiplicity, unrestricted
        return
    if which == "radicals":
        from large_radicals import large_radicals

        for name, molecule, method in large_radicals():
            yield name, molecule, molecule.charge, method, None, True
        return
    if which == "distorted":
        from distorted_molecules import distorted

        for name, molecule, method in distorted():
            for unrestricted in (False, True):
                yield name, molecule, molecule.charge, method, None, unrestricted
        return
    for name, molecule, charge in molecules(which):
        for method in METHODS:
            for multiplicity in (1, 2, 3, 4, 5) if which == "atoms" else (None,):
                for unrestricted in (False, True):
                    yield name, molecule, charge, method.key, multiplicity, unrestricted


def run(backend, case, way):
    """What a way does with a case; None where it is refused."""
    from orbitrax import Job
    from orbitrax.errors import OrbitraxError

    name, molecule, charge, method, multiplicity, unrestricted = case
    try:
        result = backend.run(Job(molecule, method, charge=charge, multiplicity=multiplicity,
                                 uhf=unrestricted, rhf=not unrestricted, **WAYS[way]))
    except OrbitraxError as error:
        return None if multiplicity or charge else {"error": str(error)}
    state = result.blocks.get("scf") or {}
    return {"energy": result.total_energy, "cycles": result.scf_iterations,
            "good": bool(result.converged) and not any("density" in w for w in result.warnings),
            "state": state.get("state"), "matrices": state.get("fock_matrices")}


def report(rows, ways):
    """Prints how many converged, in how many cycles, and what lies above another way."""
    for way in ways:
        for unrestricted in (False, True):
            of = [row["ways"][way] for row in rows
                  if row["uhf"] == unrestricted and "cycles" in row["ways"].get(way, {})]
            good = [found["cycles"] for found in of if found["good"]]
            if good:
                print(f"{way:9} {'UHF' if unrestricted else 'RHF'} {len(good):5} of {len(of):5} "
                      f"converged, cycles: mean {sum(good) / len(good):.2f}, worst {max(good)}")
    first = ways[0]
    for row in rows:
        good = {way: found for way, found in row["ways"].items() if found.get("good")}
        if first in good:
            lowest = min(found["energy"] for found in good.values())
            above = good[first]["energy"] - lowest
            if above > SAME_STATE:
                print(f"{above:12.4f} above the lowest: {row['name']} {row['method']} multiplicity "
                      f"{row['multiplicity']} {'UHF' if row['uhf'] else 'RHF'}, "
                      f"{good[first]['state']}")


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("which", choices=("atoms", "g2", "hard", "distorted", "radicals"))
    parser.add_argument("--ways", nargs="+", choices=tuple(WAYS), default=["auto", "plain"])
    parser.add_argument("--out", type=Path, help="a file for the rows, one JSON object a line")
    arguments = parser.parse_args()
    from orbitrax import Backend

    rows = defaultdict(dict)
    with Backend(time_limit=300) as backend:
        for number, case in enumerate(cases(arguments.which)):
            for way in arguments.ways:
                found = run(backend, case, way)
                if found is not None:
                    rows[number][way] = found
            if number in rows:
                rows[number] = {"name": case[0], "charge": case[2], "method": case[3],
                                "multiplicity": case[4], "uhf": case[5], "ways": rows[number]}
    if arguments.out:
        arguments.out.write_text("".join(json.dumps(row) + "\n" for row in rows.values()), "utf-8")
    report(list(rows.values()), arguments.ways)


if __name__ == "__main__":
    main()
