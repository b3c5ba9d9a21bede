#!/usr/bin/python3
"""One backend process, many molecules: the energies of small ones by AM1, and how many a second.

    examples/many_molecules.py [method]
"""

import sys
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "python"))

from ase.build import molecule  # noqa: E402

from orbitrax import Backend, Job, from_ase  # noqa: E402

NAMES = ["H2O", "NH3", "CH4", "CH3OH", "CH3CH2OH", "H2CO", "HCOOH", "CH3COOH", "C2H2", "C2H4",
         "C2H6", "C6H6", "C5H5N", "C4H4O", "CO2", "HCN", "N2O", "CH3CN", "CH3NO2", "HF"]


def main(method: str = "am1") -> None:
    jobs = [(name, Job(from_ase(molecule(name)), method)) for name in NAMES]
    with Backend() as backend:
        backend.run(jobs[0][1])  # starts the process and sends it the parameters, once
        began = time.perf_counter()
        results = [(name, backend.run(job)) for name, job in jobs]
        seconds = time.perf_counter() - began
    for name, result in results:
        heat = result.heat_of_formation
        heat = result.binding_energy if heat is None else heat  # of methods without a scale of it
        print(f"{name:<10}{heat:12.3f} kcal/mol"
              f"{result.scf_iterations:5d} iterations")
    print(f"{len(results)} energies in {seconds:.3f} s: {len(results) / seconds:.0f} a second")


if __name__ == "__main__":
    main(*sys.argv[1:])
