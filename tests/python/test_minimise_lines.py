"""Searches in which three atoms leave a line, or come to stand in one."""

import numpy as np
import pytest

from orbitrax.minimise.hessian import Hessian, Known

CHAIN = [(0, 1), (1, 2), (2, 3)]
NUMBERS = np.array([1, 6, 7, 1])


def chain(first, second, torsion):
    """Four atoms by the angles at the two in the middle and the torsion, all in degrees."""
    first, second, torsion = np.radians([first, second, torsion])
    return np.array([[1.1 * np.sin(first), 0.0, 1.1 * np.cos(first)], [0.0, 0.0, 0.0],
                     [0.0, 0.0, 1.25],
                     [np.sin(second) * np.cos(torsion), np.sin(second) * np.sin(torsion),
                      1.25 - np.cos(second)]])


@pytest.mark.parametrize("off", [0.0, 1e-5, 1e-4, 1e-2])
def test_a_torsion_beside_a_line_leaves_the_forces_finite(off):
    hessian = Hessian(Known(NUMBERS, CHAIN, [], {}, None), chain(160, 110, 90))
    place = hessian.place(chain(180 - off, 110, 90), np.ones(12))
    assert np.isfinite(place.forces).all() and len(hessian.internals.torsions) == 1
