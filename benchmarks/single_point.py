#!/usr/bin/python3
"""Times single points with their gradients: the whole command as a user types it, and the backend's
own time for one session in a process that is already warm. Where MOPAC is installed it runs the
same inputs in turn with ours, with gradients and as many threads; not where its BLAS is the
reference one, which nobody computes with. Asks for Debian's libopenblas0-pthread then.

    benchmarks/single_point.py [--method am1] [--runs 5] [--threads 1] [--no-peer] [molecule ...]
    benchmarks/single_point.py --goals

The second prints beside what is aimed at, and how much faster two threads are than one.
"""

from __future__ import annotations

import argparse
import os
import re
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
LARGE, TWO_CORES = 300, 1.7  # from so many orbitals on two threads should be so much faster
CONVERGENCE = 1e-4  # kcal/mol, the peer's own default


def environment(threads: int) -> dict[str, str]:
    """What tells every program how many threads to use."""
    return {**os.environ, "ORBITRAX_THREADS": str(threads), "OMP_NUM_THREADS": str(threads),
            "OPENBLAS_NUM_THREADS": str(threads)}


def first_line(*command: str) -> str:
    done = subprocess.run(command, capture_output=True, text=True)
    return (done.stdout + done.stderr).strip().partition("\n")[0]


def blas_of(program: str) -> str:
    """The library that a program takes its BLAS from, with all links followed; empty where it needs
    none."""
    said = subprocess.run(["ldd", program], capture_output=True, text=True).stdout
    found = re.search(r"libblas\.so\.3 => (\S+)", said)
    return os.path.realpath(found.group(1)) if found else ""


def is_reference(blas: str) -> bool:
    """Whether a BLAS is the one that BLAS is defined by, and not one to compute with."""
    return "/blas/" in blas


def find_peer() -> str | None:
    """MOPAC, None where it is not installed. Ends the program if it is there but slowed down."""
    program = shutil.which("mopac")
    if program is not None and is_reference(blas_of(program)):
        sys.exit(f"{program} runs on the reference BLAS ({blas_of(program)}), which says nothing "
                 "of its speed: install libopenblas0-pthread, or use --no-peer")
    return program


def processor() -> str:
    for line in Path("/proc/cpuinfo").read_text(encoding="utf-8").splitlines():
        if line.startswith("model name"):
            return line.partition(":")[2].strip()
    return "unknown processor"


def print_conditions(peer: str | None, threads: int) -> None:
    """What is measured, and on what."""
    from orbitrax.backend import find_backend

    said = subprocess.run([find_backend(), "--version"], capture_output=True, text=True,
                          env=environment(threads)).stdout
    print(f"{processor()}, {os.cpu_count()} processors, load {os.getloadavg()[0]:.1f}")
    print(", ".join(said.split("\n")[:3]))
    if peer is not None:
        print(f"{first_line(peer, '--version')}, {blas_of(peer)}, {threads} thread(s)")


def whole_command(path: Path, method: str, threads: int) -> float:
    """Seconds of ./orbitrax energy, process and all."""
    began = time.perf_counter()
    subprocess.run([str(ROOT / "orbitrax"), "energy", str(path), "-m", method, "-q", "--scf-limit",
                    str(CONVERGENCE)], check=True, stdout=subprocess.DEVNULL,
                   env=environment(threads))
    return time.perf_counter() - began


def peer_input(path: Path, method: str) -> str:
    """The same single point for MOPAC."""
    from ase.io import read

    atoms = read(path)
    lines = [f"{method.upper()} 1SCF GRADIENTS XYZ GEO-OK NOMM", path.stem, ""]
    lines += [f"{symbol} {x:.6f} 1 {y:.6f} 1 {z:.6f} 1"
              for symbol, (x, y, z) in zip(atoms.get_chemical_symbols(), atoms.positions)]
    return "\n".join(lines) + "\n"


def peer_command(program: str, path: Path, method: str, threads: int) -> tuple[float, float]:
    """Seconds of MOPAC, and its heat of formation, kcal/mol."""
    with tempfile.TemporaryDirectory() as folder:
        job = Path(folder) / "job.mop"
        job.write_text(peer_input(path, method))
        began = time.perf_counter()
        subprocess.run([program, str(job)], check=True, cwd=folder, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL, env=environment(threads))
        seconds = time.perf_counter() - began
        report = (Path(folder) / "job.out").read_text()
        heat = re.search(r"FINAL HEAT OF FORMATION =\s+(\S+)", report)
    return seconds, float(heat.group(1))


def warm_session(backend, path: Path, method: str):
    """Seconds of one session of a running backend, and its result."""
    from orbitrax import Job, read_molecule

    job = Job(read_molecule(str(path)), method, scf_limit=CONVERGENCE)
    began = time.perf_counter()
    result = backend.run(job)
    return time.perf_counter() - began, result


def goal(atoms: int) -> float | None:
    """How many times as fast as the peer a molecule of so many atoms should be."""
    if atoms == 3:
        return 20.0
    if 20 <= atoms <= 50:
        return 5.0
    return 3.0 if atoms >= 100 else None


def gained(one, two, path: Path, method: str, runs: int) -> float:
    """How many times as fast a backend with two threads is as one with one: medians of sessions one
    after the other, as those of a search, of both in turn, since the pace of a machine wavers."""
    seconds: list[list[float]] = [[], []]
    for _ in range(2):
        for backend, taken in zip((one, two), seconds):
            warm_session(backend, path, method)  # it had nothing to do, and others the caches
            taken += [warm_session(backend, path, method)[0] for _ in range(runs)]
    return statistics.median(seconds[0]) / statistics.median(seconds[1])


def beside_goals(result, gain: float, ratio: float | None) -> str:
    """What is aimed at and reached: against the peer, and on two threads from 300 orbitals on.
    gain: seconds with one thread over those with two."""
    wanted = goal(len(result.symbols))
    text = f" {'' if wanted is None else f'{wanted:.0f}':>5} {gain:7.2f} "
    if len(result.plain("orbital_energies")) >= LARGE:
        text += f"{TWO_CORES:5.1f}"
        reached = gain >= TWO_CORES
    else:
        text += " " * 5
        reached = True
    if ratio is not None and wanted is not None:
        reached &= ratio >= wanted
    return text + ("" if reached else "  not reached")


def measure(backend, name: str, method: str, runs: int, peer: str | None, threads: int,
            two=None) -> None:
    path = MOLECULES / f"{name}.xyz"
    warm, commands, peers = [], [], []
    for _ in range(runs):
        seconds, result = warm_session(backend, path, method)
        warm.append(seconds)
        commands.append(whole_command(path, method, threads))
        if peer is not None:
            seconds, heat = peer_command(peer, path, method, threads)
            peers.append(seconds)
    ours, command = statistics.median(warm), statistics.median(commands)
    ratio = statistics.median(peers) / ours if peers else None
    line = (f"{name:12} {len(result.symbols):5d} {result.scf_iterations:7d} {1e3 * ours:10.1f} "
            f"{1e3 * command:10.1f}")
    if peers:
        theirs = statistics.median(peers)
        apart = (result.heat_of_formation - heat) / len(result.symbols)
        line += f" {1e3 * theirs:10.1f} {ratio:7.2f} {apart:10.4f}"
    if two is not None:
        line += beside_goals(result, gained(backend, two, path, method, runs), ratio)
    print(line, flush=True)


def backend_of(threads: int, method: str):
    """A warm backend that uses so many threads."""
    from orbitrax import Backend

    os.environ.update(environment(threads))  # it inherits it
    backend = Backend()
    warm_session(backend, MOLECULES / "water.xyz", method)
    return backend


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("molecules", nargs="*", default=ORDER, metavar="molecule")
    parser.add_argument("--method", default="am1")
    parser.add_argument("--runs", type=int, default=5)
    parser.add_argument("--threads", type=int, default=1, help="of every program, 1 by default")
    parser.add_argument("--no-peer", action="store_true", help="do not run MOPAC")
    parser.add_argument("--goals", action="store_true", help="print beside what is aimed at")
    arguments = parser.parse_args()
    threads = arguments.threads
    peer = None if arguments.no_peer else find_peer()
    print_conditions(peer, threads)
    print(f"{arguments.method}, medians of {arguments.runs} runs, milliseconds; difference of the "
          "heats of formation in kcal/mol an atom, of the physical constants")
    print(f"{'molecule':12} {'atoms':>5} {'cycles':>7} {'warm':>10} {'command':>10} {'MOPAC':>10} "
          f"{'ratio':>7} {'difference':>10}"
          + (f" {'goal':>5} {'two':>7} {'goal':>5}" if arguments.goals else ""))
    two = backend_of(2, arguments.method) if arguments.goals else None
    with backend_of(threads, arguments.method) as backend:
        for name in arguments.molecules:
            measure(backend, name, arguments.method, arguments.runs, peer, threads, two)
    if two is not None:
        two.close()


if __name__ == "__main__":
    main()
