#!/usr/bin/python3
"""Molecules charged in a minute, by size, with one worker and with two; and where the time goes.

    benchmarks/charges.py [--count N]

Molecules are taken from tests/reference/druglike.smi, those of the larger sizes from a list here.
Each is charged by am1bcc from a conformer of RDKit's. Run it on an idle machine; processor seconds,
of client and backend together, depend less on what else runs.
"""

import argparse
import cProfile
import os
import pstats
import resource
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
sys.path.insert(0, str(ROOT / "python"))
os.environ.setdefault("OPENBLAS_NUM_THREADS", "1")
os.environ["PYTHONPATH"] = str(ROOT / "python")

from orbitrax import Backend  # noqa: E402
from orbitrax.atomic_charges.assign import assign  # noqa: E402
from orbitrax.atomic_charges.batch import Failure, assign_all  # noqa: E402
from orbitrax.atomic_charges.reading import from_smiles, read_molecules  # noqa: E402

SIZES = (10, 20, 30, 40, 60, 80, 100, 150)
LARGE = {
    80: "CC(C)Cc1ccc(cc1)C(C)C(=O)NCCOc1ccc(cc1)C(=O)N1CCC(CC1)NS(=O)(=O)c1ccc(C#N)cc1",
    100: "CC1=C2C(C(=O)C3(C(CC4C(C3C(C(C2(C)C)(CC1O)O)OC(=O)c1ccccc1)(CO4)OC(=O)C)O)C)OC(=O)"
         "CCNC(=O)c1ccc(F)cc1",
    150: "CC(=O)" + "NC(C)C(=O)" * 14 + "O"}


def chosen(size, count):
    """So many molecules of about this size."""
    if size in LARGE:
        return [(LARGE[size], from_smiles(LARGE[size]))]
    near = [pair for pair in read_molecules(str(ROOT / "tests" / "reference" / "druglike.smi"))
            if abs(pair[1].GetNumAtoms() - size) <= 2]
    return near[::max(1, len(near) // count)][:count]


def main():
    """Prints the tables."""
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--count", type=int, default=12, help="molecules of a size (default 12)")
    count = parser.parse_args().count
    print("| Atoms | Energies | Processor seconds | Seconds | A minute, one worker | Two |\n"
          "|---|---|---|---|---|---|")
    for size in SIZES:
        molecules = chosen(size, count)
        rates, energies = [], 0
        for workers in (1, 2):
            if workers > len(molecules):
                rates.append("")
                continue
            tasks = assign_all(molecules * (1 if len(molecules) > 1 else workers), workers=workers)
            began, spent = time.perf_counter(), processor_seconds()
            found = [entry for entry in tasks if not isinstance(entry, Failure)]
            seconds = (time.perf_counter() - began) / len(found)
            energies = sum(entry.energies for entry in found) / len(found)
            rates.append(f"{60 / seconds:.0f}")
            if workers == 1:
                single, alone = seconds, (processor_seconds() - spent) / len(found)
        atoms = sum(mol.GetNumAtoms() for _, mol in molecules) / len(molecules)
        print(f"| {atoms:.0f} | {energies:.0f} | {alone:.2f} | {single:.2f} | "
              + " | ".join(rates) + " |", flush=True)
    profile(chosen(40, 6))


def processor_seconds():
    """What this process and its children that have ended have used."""
    return sum(resource.getrusage(who).ru_utime + resource.getrusage(who).ru_stime
               for who in (resource.RUSAGE_SELF, resource.RUSAGE_CHILDREN))


def profile(molecules):
    """Where the time of one process goes, waiting for the backend among it."""
    with Backend() as backend:
        assign(molecules[0][1], backend)
        watch = cProfile.Profile()
        watch.enable()
        for title, mol in molecules:
            assign(mol, backend, title=title)
        watch.disable()
    stats = pstats.Stats(watch)
    total = stats.total_tt
    print("\n| Where | Share |\n|---|---|")
    wanted = {"run": "energies: backend and packets", "newton_step": "Newton steps",
              "_bent": "bending of steps", "_visit": "energies and slopes of internal coordinates",
              "lowest": "conformer and force field", "corrections_of": "types and corrections",
              "kekule_form": "resonance structure", "rounded": "rounding"}
    for (file, _, name), (_, _, _, spent, _) in sorted(stats.stats.items(), key=lambda x: -x[1][3]):
        here = "orbitrax" in file and "command" not in file
        if here and name in wanted:
            print(f"| {wanted.pop(name)} | {100 * spent / total:.0f} % |")


if __name__ == "__main__":
    main()
