#!/usr/bin/python3
"""Small molecules a second: through the Python API, one by one and in a row, and in a batch.

    benchmarks/batch.py [--seconds S]

AM1 single points with gradients of water, ethanol and caffeine, and of ten molecules of 5 to 10
atoms in turn, each with its atoms moved a little, and so each a molecule of its own. Through the
API in one process that keeps one backend, by a call for each and by `orbitrax.each`, with the
processor time that client and backend take for one; then as lists of xyz structures, as the worker
of a batch computes them, from their text to the line of a record, and by `orbitrax batch` on one
core and on two. Run it on an idle machine: processor time depends less on what else runs, rates on
all of it.
"""

import argparse
import itertools
import os
import random
import subprocess
import sys
import tempfile
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
sys.path.insert(0, str(ROOT / "python"))
os.environ["ORBITRAX_THREADS"] = "1"

import orbitrax  # noqa: E402
from orbitrax import Backend, Molecule, Recipe, read_molecule  # noqa: E402
from orbitrax.bulk.one import Computer  # noqa: E402
from orbitrax.bulk.sources import read_list  # noqa: E402
from orbitrax.molecules.reading import from_smiles  # noqa: E402

ETHANOL = Molecule([6, 6, 8, 1, 1, 1, 1, 1, 1], [
    [1.1879, -0.3829, 0.0], [0.0, 0.5526, 0.0], [-1.1867, -0.2472, 0.0], [-1.9237, 0.3850, 0.0],
    [2.0985, 0.2306, 0.0], [1.1184, -1.0093, 0.8869], [1.1184, -1.0093, -0.8869],
    [-0.0227, 1.1812, 0.8852], [-0.0227, 1.1812, -0.8852]])
TEN = ("C", "CO", "C=C", "NC=O", "CC#N", "CN", "CC=O", "CCO", "CC(N)=O", "c1cc[nH]c1")
MOVED = 0.02  # Angstrom, at most
FEWER = 4000  # than after which a worker takes another backend, whose processor time is its own


def shaken(molecules, count):
    """So many copies of the molecules in turn, with their atoms moved."""
    chance = random.Random(1)
    return [molecule.replace(positions=[[x + chance.uniform(-MOVED, MOVED) for x in row]
                                        for row in molecule.positions])
            for molecule in itertools.islice(itertools.cycle(molecules), count)]


def processor_seconds(pid):
    """What a process has used."""
    return int(Path(f"/proc/{pid}/schedstat").read_text().split()[0]) * 1e-9


def one_by_one(molecules, backend):
    """A call for each."""
    return (orbitrax.energy(molecule, "am1", backend=backend) for molecule in molecules)


def in_a_row(molecules, backend):
    """The backend is told of some ahead."""
    return orbitrax.each(molecules, "am1", backend=backend)


def through_api(molecules, way=one_by_one):
    """Molecules a second, and the processor milliseconds of client and backend for each."""
    with Backend() as backend:
        for _ in way(molecules[:3], backend):
            pass
        theirs, ours, began = (processor_seconds(backend.pid), time.process_time(),
                               time.perf_counter())
        count = sum(result.total_energy < 0 for result in way(molecules, backend))
        assert count == len(molecules)
        took = time.perf_counter() - began
        spent = (time.process_time() - ours, processor_seconds(backend.pid) - theirs)
    return len(molecules) / took, *(1e3 * part / len(molecules) for part in spent)


def write_list(path, molecules):
    """The molecules as frames of an xyz file."""
    path.write_text("".join(
        f"{len(one)}\nm{number}\n" + "".join(
            f"{symbol} {x:.5f} {y:.5f} {z:.5f}\n"
            for symbol, (x, y, z) in zip(one.symbols, one.positions))
        for number, one in enumerate(molecules)))


def in_worker(path):
    """The processor milliseconds that the worker of a batch and its backend take for one, without
    the pipe between worker and writer."""
    recipe = Recipe("am1", "energy")
    items = [(item._replace(key=recipe.key(item)), 1) for item in read_list(
        str(path), recipe.options)]
    computer = Computer(recipe)
    try:
        for _ in computer.compute_all(items[:50]):
            pass
        theirs, ours = processor_seconds(computer.backend.pid), time.process_time()
        assert all(answer.status == "done" for answer in computer.compute_all(items))
        spent = (time.process_time() - ours, processor_seconds(computer.backend.pid) - theirs)
    finally:
        computer.close()
    return [1e3 * part / len(items) for part in spent]


def in_batch(path, count, processors):
    """Molecules a second of the whole command on so many processors, its start included."""
    chosen = set(sorted(os.sched_getaffinity(0))[:processors])
    with tempfile.TemporaryDirectory() as folder:
        began = time.perf_counter()
        subprocess.run([ROOT / "orbitrax", "batch", path, "-m", "am1", "-q", "-o",
                        Path(folder, "r.jsonl")], check=True,
                       preexec_fn=lambda: os.sched_setaffinity(0, chosen))
        return count / (time.perf_counter() - began)


def main():
    """Prints the table."""
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--seconds", type=float, default=8.0, help="of each figure (default 8)")
    parser.add_argument("--only", metavar="WORD", default="",
                        help="the molecules that are called so: water, ethanol, ten, caffeine")
    told = parser.parse_args()
    seconds = told.seconds
    print("load of the machine", " ".join(f"{one:.1f}" for one in os.getloadavg()))
    print("| Molecule | One by one, a second | Client, ms | Backend, ms | In a row, a second | "
          "Client, ms | Worker, ms | Its share | Batch on one core | On two | Gain |\n"
          "|---|---|---|---|---|---|---|---|---|---|---|")
    water = read_molecule(ROOT / "examples" / "water.xyz")
    caffeine = read_molecule(ROOT / "benchmarks" / "molecules" / "caffeine.xyz")
    ten = [from_smiles(smiles) for smiles in TEN]
    for name, kinds in (("water", [water]), ("ethanol", [ETHANOL]), ("ten of 5 to 10 atoms", ten),
                        ("caffeine", [caffeine])):
        if not name.startswith(told.only):
            continue
        rate = through_api(shaken(kinds, 50))[0]
        molecules = shaken(kinds, max(50, int(rate * seconds)))
        rate, client, backend = through_api(molecules)
        row_rate, row_client, _ = through_api(molecules, in_a_row)
        with tempfile.TemporaryDirectory() as folder:
            path = Path(folder, "list.xyz")
            write_list(path, molecules[:FEWER])
            worker, its_backend = in_worker(path)
            write_list(path, molecules)
            one, two = (in_batch(path, len(molecules), processors) for processors in (1, 2))
        print(f"| {name} | {rate:.0f} | {client:.2f} | {backend:.2f} | {row_rate:.0f} | "
              f"{row_client:.2f} | {worker:.2f} | {worker / (worker + its_backend):.0%} | "
              f"{one:.0f} | {two:.0f} | {two / one:.2f} |", flush=True)
    print("\nAimed at: of the ten 3000 a second in a row and 2500 in a batch on two cores; of "
          "caffeine a share of 10 %\nof the worker, and a gain of 1.9 from the second core.")


if __name__ == "__main__":
    main()
