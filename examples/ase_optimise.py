#!/usr/bin/python3
"""Orbitrax as a calculator of ASE: a molecule relaxed by one of ASE's own minimisers.

    examples/ase_optimise.py [molecule [method [output]]]
"""

import sys
from pathlib import Path

EXAMPLES = Path(__file__).resolve().parent
sys.path.insert(0, str(EXAMPLES.parent / "python"))

from ase.io import read, write  # noqa: E402
from ase.optimize import BFGS  # noqa: E402

from orbitrax.ase import Orbitrax  # noqa: E402

LIMIT = 0.005  # eV/Angstrom, on the largest force


def main(path: str = str(EXAMPLES / "caffeine.xyz"), method: str = "pm3", output: str = "") -> None:
    atoms = read(path)
    with Orbitrax(method=method) as atoms.calc:
        search = BFGS(atoms, logfile=None)
        print(" step    energy (eV)   largest force (eV/Angstrom)")
        search.attach(lambda: print(f"{search.nsteps:5d}{atoms.get_potential_energy():15.5f}"
                                    f"{(atoms.get_forces()**2).sum(axis=1).max()**0.5:12.5f}"))
        arrived = search.run(fmax=LIMIT, steps=500)
        print("converged" if arrived else "NOT CONVERGED",
              f"{atoms.calc.result.heat_of_formation:.4f} kcal/mol")
    if output:
        write(output, atoms)


if __name__ == "__main__":
    main(*sys.argv[1:])
