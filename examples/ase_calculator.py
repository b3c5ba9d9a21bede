#!/usr/bin/python3
"""Orbitrax as a calculator of ASE: the energy of ammonia while its plane turns inside out.

    examples/ase_calculator.py [method]
"""

import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "python"))

import numpy as np  # noqa: E402
from ase.build import molecule  # noqa: E402

from orbitrax.ase import Orbitrax  # noqa: E402


def main(method: str = "am1") -> None:
    ammonia = molecule("NH3")
    height = ammonia.positions[0, 2] - ammonia.positions[1, 2]
    with Orbitrax(method=method) as ammonia.calc:
        print("  height    energy     charge of N   dipole")
        print("  Angstrom  eV         e             e Angstrom")
        for z in np.linspace(height, -height, 9):
            ammonia.positions[0, 2] = ammonia.positions[1, 2] + z
            energy = ammonia.get_potential_energy()
            print(f"{z:9.4f}{energy:12.4f}{ammonia.get_charges()[0]:10.4f}"
                  f"{ammonia.get_dipole_moment()[2]:12.4f}")


if __name__ == "__main__":
    main(*sys.argv[1:])
