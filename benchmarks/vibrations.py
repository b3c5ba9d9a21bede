#!/usr/bin/python3
"""Times force matrices: the backend's session at its own minimum, on one processor and on all of
them, beside MOPAC's FORCE of the same structure on one.

    benchmarks/vibrations.py [--method am1] [--runs 3] [--no-peer] [molecule ...]
"""

from __future__ import annotations

import argparse
import os
import shutil
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
MOLECULES = ROOT / "benchmarks" / "molecules"
sys.path.insert(0, str(ROOT / "python"))

ORDER = ("water", "caffeine", "haloperidol", "c60", "taxol")


def minimum(name: str, method: str):
    """The nearest minimum, or what came near it, as symmetric as `vibrations --optimize` has it."""
    from orbitrax import Optimize, read_molecule, run
    from orbitrax.molecules.symmetry import symmetrised

    molecule = read_molecule(str(MOLECULES / f"{name}.xyz"))
    task = Optimize(limit=0.05, cycles=3000, allow_unconverged=True)
    places = run(molecule, method, task).coordinates
    exact = symmetrised(molecule.z, places)
    return molecule.replace(positions=places if exact is None else exact)


def our_seconds(molecule, method: str) -> float:
    """Of one session of a warm backend that may use the processors of this process."""
    from orbitrax import Backend, Job
    from orbitrax.tasks.vibrations import Vibrations

    with Backend() as backend:
        backend.run(Job(molecule, method))
        began = time.perf_counter()
        result = backend.run(Job(molecule, method, Vibrations()))
        assert result.modes is not None
        return time.perf_counter() - began


def peer_seconds(molecule, method: str) -> float | None:
    """Of MOPAC for the same; None where it is not installed."""
    program = shutil.which("mopac")
    if program is None:
        return None
    lines = [f"{method.upper()} FORCE LET XYZ GEO-OK", molecule.title, ""]
    lines += [f"{symbol} {x:.10f} 1 {y:.10f} 1 {z:.10f} 1"
              for symbol, (x, y, z) in zip(molecule.symbols, molecule.positions)]
    with tempfile.TemporaryDirectory() as folder:
        job = Path(folder) / "job.mop"
        job.write_text("\n".join(lines) + "\n")
        began = time.perf_counter()
        subprocess.run([program, str(job)], check=True, cwd=folder, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL, env={**os.environ, "OMP_NUM_THREADS": "1"})
        if "NORMAL COORDINATE" not in (Path(folder) / "job.out").read_text():
            raise SystemExit(f"MOPAC did not compute the force matrix of {molecule.title}")
        return time.perf_counter() - began


def measure(name: str, method: str, runs: int, peer: bool) -> None:
    molecule = minimum(name, method)
    everywhere = os.sched_getaffinity(0)
    one, several, theirs = [], [], []
    for _ in range(runs):
        os.sched_setaffinity(0, {min(everywhere)})
        one.append(our_seconds(molecule, method))
        if peer:
            theirs.append(peer_seconds(molecule, method))
        os.sched_setaffinity(0, everywhere)
        several.append(our_seconds(molecule, method))
    ours, all_of_them = statistics.median(one), statistics.median(several)
    line = (f"{name:12} {len(molecule):5d} {ours:12.2f} {all_of_them:12.2f} "
            f"{ours / all_of_them:8.2f}")
    if theirs and theirs[0] is not None:
        line += f" {statistics.median(theirs):12.2f} {statistics.median(theirs) / ours:8.2f}"
    print(line, flush=True)


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("molecules", nargs="*", default=ORDER, metavar="molecule")
    parser.add_argument("--method", default="am1")
    parser.add_argument("--runs", type=int, default=3)
    parser.add_argument("--no-peer", action="store_true", help="do not run MOPAC")
    arguments = parser.parse_args()
    print(f"{arguments.method}, medians of {arguments.runs} runs, seconds; "
          f"{len(os.sched_getaffinity(0))} processors")
    print(f"{'molecule':12} {'atoms':>5} {'one':>12} {'all':>12} {'gain':>8} {'MOPAC':>12} "
          f"{'ratio':>8}")
    for name in arguments.molecules:
        measure(name, arguments.method, arguments.runs, not arguments.no_peer)


if __name__ == "__main__":
    main()
