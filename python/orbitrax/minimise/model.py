"""Force constants of a molecule before anything is known of it but its shape.

R. Lindh, A. Bernhardsson, G. Karlstrom, P.-A. Malmqvist, Chem. Phys. Lett. 241, 423 (1995): each
coordinate is as stiff as the bonds along it are short. In kcal/mol per square Angstrom or radian.
"""

from __future__ import annotations

import numpy as np

from orbitrax.minimise.arrays import Array
from orbitrax.minimise.internals import Internals
from orbitrax.units import CODATA_ANGSTROM_PER_BOHR, CODATA_KCAL_PER_HARTREE

_STRETCH, _BEND, _TORSION = 0.45, 0.15, 0.005  # hartree per square bohr, or radian
_FLAP = 0.03  # hartree per square radian: a flat centre that bends out of its plane
# By the rows of the two elements in the periodic table, 1, 2, 3 and more: where a bond counts as
# one (bohr), and how fast it fades (per square bohr).
_LENGTH = np.array([[1.35, 2.10, 2.53], [2.10, 2.87, 3.40], [2.53, 3.40, 3.40]])
_FADING = np.array([[1.0, 0.3949, 0.3949], [0.3949, 0.28, 0.28], [0.3949, 0.28, 0.28]])


def force_constants(internals: Internals, numbers: Array,
                    positions: Array) -> Array:
    """One constant for each coordinate, in the order of `internals`. numbers: atomic numbers, n.
    positions: n x 3, Angstrom."""
    rows = np.searchsorted([2, 10], numbers, side="left")

    def nearness(i: Array, j: Array) -> Array:
        square = np.sum((positions[i] - positions[j]) ** 2, axis=1) / CODATA_ANGSTROM_PER_BOHR ** 2
        pair = rows[i], rows[j]
        fading: Array = np.exp(_FADING[pair] * (_LENGTH[pair] ** 2 - square))
        return fading

    stretches, bends = internals.stretches, internals.bends
    torsions, linear = internals.torsions, internals.linear
    stretch = _STRETCH / CODATA_ANGSTROM_PER_BOHR ** 2 * nearness(stretches[:, 0], stretches[:, 1])

    def bend(atoms: Array) -> Array:
        both: Array = nearness(atoms[:, 0], atoms[:, 1]) * nearness(atoms[:, 1], atoms[:, 2])
        return _BEND * both

    torsion = _TORSION * np.ones(len(torsions))
    for first in range(3):
        torsion *= nearness(torsions[:, first], torsions[:, first + 1])
    if internals.flaps:
        torsion[-internals.flaps:] = _FLAP
    constants: Array = CODATA_KCAL_PER_HARTREE * np.concatenate(
        [stretch, bend(bends), torsion, bend(linear)])
    return constants
