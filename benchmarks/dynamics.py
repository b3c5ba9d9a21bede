#!/usr/bin/python3
"""Times molecular dynamics: steps a second of `md`, of ASE's velocity Verlet on our forces and of
MOPAC's DRC, which takes half-femtosecond steps here too.

    benchmarks/dynamics.py [--method am1] [--steps 400] [--no-peer] [molecule ...]

The three run in turn, on one processor each, from the same places with velocities of 300 K (MOPAC:
without velocities, since it draws none); medians of three. A run of ours has the start of its
process in it, as MOPAC's has.
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

ORDER = ("water", "w10", "caffeine")
RUNS = 3
FEMTOSECONDS = 0.5


def ours(molecule, method: str, steps: int) -> None:
    from orbitrax import Backend
    from orbitrax.tasks.md import MolecularDynamics

    task = MolecularDynamics(time=f"{FEMTOSECONDS * steps}fs", step=f"{FEMTOSECONDS}fs")
    with Backend() as backend:
        task.start(molecule, method).execute(backend)


def through_ase(molecule, method: str, steps: int) -> None:
    from ase import Atoms, units
    from ase.md.velocitydistribution import MaxwellBoltzmannDistribution
    from ase.md.verlet import VelocityVerlet
    from orbitrax.ase import Orbitrax

    atoms = Atoms(molecule.symbols, molecule.positions)
    with Orbitrax(method=method) as calculator:
        atoms.calc = calculator
        MaxwellBoltzmannDistribution(atoms, temperature_K=300)
        VelocityVerlet(atoms, FEMTOSECONDS * units.fs).run(steps)


def peer(molecule, method: str, steps: int) -> None:
    words = f"{method.upper()} DRC CYCLES={steps} T-PRIORITY={FEMTOSECONDS} PRECISE GEO-OK XYZ"
    lines = [words, molecule.title, ""]
    lines += [f"{symbol} {x:.8f} 1 {y:.8f} 1 {z:.8f} 1"
              for symbol, (x, y, z) in zip(molecule.symbols, molecule.positions)]
    with tempfile.TemporaryDirectory() as folder:
        job = Path(folder) / "job.mop"
        job.write_text("\n".join(lines) + "\n")
        subprocess.run([shutil.which("mopac"), str(job)], check=True, cwd=folder,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                       env={**os.environ, "OMP_NUM_THREADS": "1"})
        if "ended normally" not in (Path(folder) / "job.out").read_text().lower():
            raise SystemExit(f"MOPAC did not run {molecule.title}")


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("molecules", nargs="*", default=ORDER, metavar="molecule")
    parser.add_argument("--method", default="am1")
    parser.add_argument("--steps", type=int, default=400)
    parser.add_argument("--no-peer", action="store_true", help="do not run MOPAC")
    arguments = parser.parse_args()
    os.environ["ORBITRAX_THREADS"] = "1"
    os.sched_setaffinity(0, {min(os.sched_getaffinity(0))})
    from orbitrax import read_molecule

    kinds = [ours, through_ase]
    if not arguments.no_peer and shutil.which("mopac"):
        kinds.append(peer)
    print(f"{arguments.method}, {arguments.steps} steps of {FEMTOSECONDS} fs, steps a second, "
          f"medians of {RUNS}; load {os.getloadavg()[0]:.1f}")
    print(f"{'molecule':12} {'atoms':>5} " + " ".join(
        f"{name:>8}" for name in ("md", "ASE", "MOPAC")[:len(kinds)]))
    for name in arguments.molecules:
        molecule = read_molecule(str(MOLECULES / f"{name}.xyz"))
        seconds: list[list[float]] = [[] for _ in kinds]
        for _ in range(RUNS):
            for k, run in enumerate(kinds):
                began = time.perf_counter()
                run(molecule, arguments.method, arguments.steps)
                seconds[k].append(time.perf_counter() - began)
        print(f"{name:12} {len(molecule):5d} " + " ".join(
            f"{arguments.steps / statistics.median(one):8.0f}" for one in seconds), flush=True)


if __name__ == "__main__":
    main()
