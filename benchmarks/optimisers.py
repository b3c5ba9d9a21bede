#!/usr/bin/python3
"""The minimisers from the same distorted structures: the tables of docs/optimisers.md.

    benchmarks/optimisers.py [--write] [name ...]

The structures are those of ASE's collection g2, and a few of examples/, every coordinate moved at
random. An end is told from the others by its energy. In AM1 and PM3 MOPAC's eigenvector following
starts from there, too, in its internal coordinates, where it is installed. --write puts the tables
into the page.
"""

from __future__ import annotations

import argparse
import re
import shutil
import subprocess
import sys
import tempfile
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
OPTIMISERS = ("steepest-descent", "fletcher-reeves", "polak-ribiere", "ef", "quasi-newton")
PEER_METHODS = ("am1", "pm3")

DISTORTION = 0.05  # standard deviation of every coordinate, Angstrom
LIMIT = 0.01  # RMS gradient, kcal/(mol Angstrom)
MOST_CYCLES = 2000
SAME_MINIMUM = 0.01  # kcal/mol
UNCLEAR = 0.001  # kcal/mol; larger differences are told
SAME_AS_PEER = 0.1  # kcal/mol: its constants move a heat of formation by up to 0.03

HEAD = ["Molecule", "Method", "Energy, kcal/mol", "Steepest descent", "Fletcher-Reeves",
        "Polak-Ribiere", "Eigenvector following", "Quasi-Newton", "MOPAC", "Remark"]


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


def by_mopac(molecule, method: str) -> tuple[int, float] | None:
    """Cycles of eigenvector following in MOPAC's internal coordinates, and the heat of formation at
    its end, kcal/mol; None where it does not end. Its gradient becomes as small, in them."""
    from orbitrax import Job
    from orbitrax.molecules.writing import mopac_text

    norm = LIMIT * np.sqrt(3 * len(molecule))
    words = f" EF INT GNORM={norm:.4f} LET RELSCF=0.01"
    words += " UHF" if Job(molecule, method).multiplicity > 1 else ""
    with tempfile.TemporaryDirectory() as folder:
        text = mopac_text(molecule, {"method": method}).replace(" XYZ 1SCF", words)
        Path(folder, "m.mop").write_text(text, encoding="utf-8")
        subprocess.run(["mopac", "m.mop"], cwd=folder, capture_output=True, timeout=600)
        out = Path(folder, "m.out").read_text(errors="replace")
    heat = re.findall(r"FINAL HEAT OF FORMATION =\s+(\S+)", out)
    if not heat or "IS LESS THAN CUTOFF" not in out:
        return None
    return len(re.findall(r"^ CYCLE:", out, re.M)), float(heat[-1])


def peer_cell(found: tuple[int, float] | None, heat: float) -> str:
    """What the peer's search has come to, beside the lowest heat of formation of ours."""
    if found is None:
        return "not converged"
    cycles, theirs = found
    return f"{cycles}" + ("" if abs(theirs - heat) < SAME_AS_PEER else f" (to {theirs:.2f})")


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
    best = energy(method, results)
    peer = ""
    if method in PEER_METHODS and shutil.which("mopac"):
        peer = peer_cell(by_mopac(molecule, method), best)
    return [name.replace("_", " "), method, f"{best:.4f}", *counts, peer, remark(results)]


def sums(rows: list[list[str]]) -> list[str]:
    """The lines of the table of sums: cycles / points of each way, by the method."""
    lines = ["| " + " | ".join(["Method", *HEAD[3:-1]]) + " |", "|" + "---|" * (len(HEAD) - 3)]
    kinds = [(method, (method,)) for method in METHODS]
    for name, methods in [*kinds, ("am1 and pm3", PEER_METHODS), ("all", METHODS)]:
        chosen = [one for one in rows if one[1] in methods]
        cells = []
        for column in range(3, 3 + len(OPTIMISERS)):
            counts = [[int(number) for number in one[column].split("/")] for one in chosen]
            cells.append(" / ".join(str(sum(column)) for column in zip(*counts)))
        cells.append(peer_sum([one[-2].partition(" ")[0] for one in chosen]))
        lines.append("| " + " | ".join([name, *cells]) + " |")
    return lines


def peer_sum(cells: list[str]) -> str:
    """The sum of those that have ended; nothing where not all methods have a peer."""
    ended = [int(cell) for cell in cells if cell.isdigit()]
    if not all(cells):
        return ""
    return f"{sum(ended)}" + (f" ({len(ended)} of {len(cells)})" if len(ended) < len(cells) else "")


def put(text: str, name: str, lines: list[str]) -> str:
    """The page with other lines in one of its tables."""
    start, end = f"<!-- {name} -->\n", f"<!-- end of {name} -->"
    head, _, rest = text.partition(start)
    return f"{head}{start}" + "\n".join(lines) + f"\n{end}{rest.partition(end)[2]}"


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("names", nargs="*", help="molecules (default: all)")
    parser.add_argument("--write", action="store_true")
    arguments = parser.parse_args()
    if arguments.write and arguments.names:
        parser.error("--write needs the whole table")
    from orbitrax import Backend

    rows, lines = [], ["| " + " | ".join(HEAD) + " |", "|" + "---|" * len(HEAD)]
    print("\n".join(lines))
    with Backend(time_limit=300) as backend:
        for name in arguments.names or MOLECULES:
            for method in METHODS:
                rows.append(row(backend, name, method))
                lines.append("| " + " | ".join(rows[-1]) + " |")
                print(lines[-1], flush=True)
    print("\n".join(sums(rows)))
    if arguments.write:
        text = put(PAGE.read_text(encoding="utf-8"), "sums", sums(rows))
        PAGE.write_text(put(text, "table", lines), encoding="utf-8")


if __name__ == "__main__":
    main()
