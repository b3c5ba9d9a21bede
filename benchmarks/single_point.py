#!/usr/bin/python3
"""Times single points with their gradients: the whole command as a user types it, and the backend's
own time for one session in a process that is already warm. Where MOPAC is installed it runs the
same inputs side by side, with gradients, dense and on one core.

    benchmarks/single_point.py [--method am1] [--runs 5] [--no-peer] [molecule ...]
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

ORDER = ("water", "caffeine", "haloperidol", "c60", "taxol", "ala20", "c16h34", "c80h162", "w10",
         "w100", "w200", "c160h322")
CONVERGENCE = 1e-4  # kcal/mol, the peer's own default


def whole_command(path: Path, method: str) -> float:
    """Seconds of ./orbitrax energy, process and all."""
    began = time.perf_counter()
    subprocess.run([str(ROOT / "orbitrax"), "energy", str(path), "-m", method, "-q", "--scf-limit",
                    str(CONVERGENCE)], check=True, stdout=subprocess.DEVNULL)
    return time.perf_counter() - began


def peer_command(path: Path, method: str) -> float | None:
    """Seconds of MOPAC for the same single point; None where it is not installed."""
    program = shutil.which("mopac")
    if program is None:
        return None
    from ase.io import read

    atoms = read(path)
    lines = [f"{method.upper()} 1SCF GRADIENTS XYZ GEO-OK NOMM", path.stem, ""]
    lines += [f"{symbol} {x:.6f} 1 {y:.6f} 1 {z:.6f} 1"
              for symbol, (x, y, z) in zip(atoms.get_chemical_symbols(), atoms.positions)]
    with tempfile.TemporaryDirectory() as folder:
        job = Path(folder) / "job.mop"
        job.write_text("\n".join(lines) + "\n")
        began = time.perf_counter()
        subprocess.run([program, str(job)], check=True, cwd=folder, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL, env={**os.environ, "OMP_NUM_THREADS": "1"})
        return time.perf_counter() - began


def warm_session(backend, path: Path, method: str):
    """Seconds of one session of a running backend, and its result."""
    from orbitrax import Job, read_molecule

    job = Job(read_molecule(str(path)), method, scf_limit=CONVERGENCE)
    began = time.perf_counter()
    result = backend.run(job)
    return time.perf_counter() - began, result


def measure(backend, name: str, method: str, runs: int, peer: bool) -> None:
    path = MOLECULES / f"{name}.xyz"
    warm, commands, peers = [], [], []
    for _ in range(runs):
        seconds, result = warm_session(backend, path, method)
        warm.append(seconds)
        commands.append(whole_command(path, method))
        if peer:
            peers.append(peer_command(path, method))
    ours, command = statistics.median(warm), statistics.median(commands)
    line = (f"{name:12} {len(result.symbols):5d} {result.scf_iterations:7d} {1e3 * ours:12.1f} "
            f"{1e3 * command:12.1f}")
    if peers and peers[0] is not None:
        theirs = statistics.median(peers)
        line += f" {1e3 * theirs:12.1f} {theirs / ours:8.2f}"
    print(line, flush=True)


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("molecules", nargs="*", default=ORDER, metavar="molecule")
    parser.add_argument("--method", default="am1")
    parser.add_argument("--runs", type=int, default=5)
    parser.add_argument("--no-peer", action="store_true", help="do not run MOPAC")
    arguments = parser.parse_args()
    from orbitrax import Backend

    print(f"{arguments.method}, medians of {arguments.runs} runs, milliseconds")
    print(f"{'molecule':12} {'atoms':>5} {'cycles':>7} {'warm':>12} {'command':>12} {'MOPAC':>12} "
          f"{'ratio':>8}")
    with Backend() as backend:
        warm_session(backend, MOLECULES / "water.xyz", arguments.method)
        for name in arguments.molecules:
            measure(backend, name, arguments.method, arguments.runs, not arguments.no_peer)


if __name__ == "__main__":
    main()
