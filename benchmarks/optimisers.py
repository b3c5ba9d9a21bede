#!/usr/bin/python3
"""The three minimisers from the same distorted structures: the table of docs/optimisers.md.

    benchmarks/optimisers.py [--write] [name ...]

The structures are those of ASE's collection g2, and a few of examples/, every coordinate moved at
random. An end is told from the others by its energy. --write puts the table into the page.
"""

from __future__ import annotations

import argparse
import sys
import zlib
from pathlib import Path

import numpy as np

ROOT = Path(__file__).resolve().parent.parent
PAGE = ROOT / "docs" / "optimisers.md"
sys.path.insert(0, str(ROOT / "python"))

# Names in g2, or files of examples/.
MOLECULES = ("H2O", "NH3", "CH4", "HCN", "C2H2", "CO2", "H2CO", "H2O2", "C2H4", "CH3", "N2H4",
             "CH3OH", "HCOOH", "CH3Cl", "CH3CN", "C2H6", "CH3CHO", "C6H6", "ethanol",
             "water_dimer")
METHODS = ("cndo", "mindo3", "am1", "pm3", "zindo1")
OPTIMISERS = ("steepest-descent", "fletcher-reeves", "polak-ribiere")

DISTORTION = 0.05  # standard deviation of every coordinate, Angstrom
LIMIT = 0.01  # RMS gradient, kcal/(mol Angstrom)
MOST_CYCLES = 2000
SAME_MINIMUM = 0.01  # kcal/mol
UNCLEAR = 0.001  # kcal/mol; larger differences are told

HEAD = ["Molecule", "Method", "Energy, kcal/mol", "Steepest descent", "Fletcher-Reeves",
        "Polak-Ribiere", "Remark"]


def start(name: str):
    """The distorted structure of a molecule; the same in every run."""
    from orbitrax import from_ase

    path = ROOT / "examples" / f"{name}.xyz"
    if path.exists():
        from ase.io import read

        atoms = read(path)
    else:
        from ase.build import molecule

        atoms = molecule(name)
    noise = np.random.default_rng(zlib.crc32(name.encode()))
    atoms.positions += noise.normal(scale=DISTORTION, size=atoms.positions.shape)
    return from_ase(atoms, name)


def optimise(backend, molecule, method: str, optimiser: str):
    """Result of one search, unrestricted for radicals."""
    from orbitrax import Job, Optimize

    job = Job(molecule, method, Optimize(optimizer=optimiser, limit=LIMIT, cycles=MOST_CYCLES,
                                         scf_limit=1e-8, report_period=0))
    return backend.run(job.replace(uhf=job.multiplicity > 1))


def remark(results) -> str:
    """Who has not arrived, or elsewhere than the lowest."""
    words = []
    lowest = min(result.total_energy for result in results)
    for name, result in zip(OPTIMISERS, results):
        higher = result.total_energy - lowest
        if not result.converged:
            words.append(f"{name} not converged, RMS gradient {result.rms_gradient:.3f}, "
                         f"{higher:.3f} higher")
        elif higher > SAME_MINIMUM:
            words.append(f"{name} ends elsewhere, {higher:.3f} higher")
        elif higher > UNCLEAR:
            words.append(f"{name} {higher:.4f} higher")
    return "; ".join(words)


def energy(method: str, results) -> float:
    """The lowest energy: a heat of formation where the method is made for it, else the total."""
    best = min(results, key=lambda result: result.total_energy)
    return best.heat_of_formation if method in ("mindo3", "am1", "pm3") else best.total_energy


def row(backend, name: str, method: str) -> list[str]:
    """One row of the table, as its cells."""
    molecule = start(name)
    results = [optimise(backend, molecule, method, optimiser) for optimiser in OPTIMISERS]
    counts = [f"{result.cycles} / {result.energy_points}" for result in results]
    cell = f"{energy(method, results):.4f}"
    return [name.replace("_", " "), method, cell, *counts, remark(results)]


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("names", nargs="*", help="molecules (default: all)")
    parser.add_argument("--write", action="store_true")
    arguments = parser.parse_args()
    if arguments.write and arguments.names:
        parser.error("--write needs the whole table")
    from orbitrax import Backend

    lines = ["| " + " | ".join(HEAD) + " |", "|" + "---|" * len(HEAD)]
    print("\n".join(lines))
    with Backend(time_limit=300) as backend:
        for name in arguments.names or MOLECULES:
            for method in METHODS:
                lines.append("| " + " | ".join(row(backend, name, method)) + " |")
                print(lines[-1], flush=True)
    if arguments.write:
        text = PAGE.read_text(encoding="utf-8")
        head, _, rest = text.partition("<!-- table -->\n")
        tail = rest.partition("<!-- end of table -->")[2]
        PAGE.write_text(f"{head}<!-- table -->\n" + "\n".join(lines)
                        + f"\n<!-- end of table -->{tail}", encoding="utf-8")


if __name__ == "__main__":
    main()
