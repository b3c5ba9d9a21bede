#!/usr/bin/python3
"""How far energies and gradients change when a molecule is turned, moved and written in another
order: the figures of docs/convergence.md.

    benchmarks/invariance.py [METHOD ...]

Over the molecules of ASE's collection g2, each turned at random, moved by 1e5 Angstrom and
shuffled: largest change of an energy and of a component of a gradient. Where the energies differ by
more than 0.001 kcal/mol, or the spins lie elsewhere, two states have been found: counted apart.
"""

from __future__ import annotations

import sys
from pathlib import Path

import numpy as np

ROOT = Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "python"))

FAR = 1e5  # Angstrom
OTHER_ENERGY, OTHER_GRADIENT = 1e-3, 1e-2


def moved(molecule, randoms):
    """The molecule elsewhere, the rotation, and which atom stands where."""
    turn = np.linalg.qr(randoms.normal(size=(3, 3)))[0]
    turn *= np.sign(np.linalg.det(turn))
    order = randoms.permutation(len(molecule))
    places = (molecule.positions @ turn.T + FAR * randoms.uniform(-1, 1, 3))[order]
    numbers = [molecule.numbers[i] for i in order]
    return type(molecule)(numbers, places, charge=molecule.charge), turn, order


def main() -> None:
    from ase.build import molecule
    from ase.collections import g2
    from orbitrax import METHODS, Backend, Job, from_ase
    from orbitrax.errors import OrbitraxError

    chosen = sys.argv[1:] or [method.key for method in METHODS]
    randoms = np.random.default_rng(6)
    with Backend(time_limit=120) as backend:
        for key in chosen:
            energies, gradients, others = [], [], []
            for name in g2.names:
                here = from_ase(molecule(name))
                there, turn, order = moved(here, randoms)
                try:
                    one = backend.run(Job(here, key, scf_limit=1e-12))
                    two = backend.run(Job(there, key, scf_limit=1e-12,
                                          multiplicity=one.multiplicity))
                except OrbitraxError:
                    continue
                energy = abs(one.total_energy - two.total_energy)
                gradient = np.abs(two.gradient @ turn - one.gradient[order]).max()
                if energy > OTHER_ENERGY or gradient > OTHER_GRADIENT:
                    others.append(name)
                    continue
                energies.append((energy, name))
                gradients.append((gradient, name))
            print(f"{key:9} {len(energies):4} molecules, energy {max(energies)}, gradient "
                  f"{max(gradients)}; other states: {' '.join(others) or 'none'}", flush=True)


if __name__ == "__main__":
    main()
