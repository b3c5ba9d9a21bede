"""Symmetry numbers of molecules whose point group the backend has no name for."""

import math
from types import SimpleNamespace

import numpy as np
import pytest

from orbitrax import Backend, Job
from orbitrax.molecules.molecule import Molecule
from orbitrax.vibrations.gas import number_of_gas

CORNERS = np.array([(1, 1, 1), (-1, -1, 1), (-1, 1, -1), (1, -1, -1)]) / math.sqrt(3)


def turned(axis, degrees, vector):
    """A vector, turned about a unit vector."""
    angle = math.radians(degrees)
    return (vector * math.cos(angle) + np.cross(axis, vector) * math.sin(angle)
            + axis * (axis @ vector) * (1 - math.cos(angle)))


def neopentane(degrees):
    """Its four methyl groups turned by an angle out of the staggered form."""
    numbers, places = [6], [np.zeros(3)]
    for axis in CORNERS:
        numbers += [6, 1, 1, 1]
        places.append(1.54 * axis)
        other = CORNERS[1] if axis is CORNERS[0] or axis[0] > 0 and axis[1] > 0 else CORNERS[0]
        across = axis * (axis @ other) - other
        across /= np.linalg.norm(across)
        places += [1.54 * axis + 1.11 * (axis + math.sqrt(8) * turned(axis, angle, across)) / 3
                   for angle in (degrees, degrees + 120, degrees + 240)]
    return Molecule(numbers, np.array(places))


def ring(size, charge):
    """A planar ring (CH)n."""
    angles = 2 * math.pi / size * np.arange(size)
    radius = 0.7 / math.sin(math.pi / size)
    circle = np.stack([np.cos(angles), np.sin(angles), 0 * angles], axis=1)
    return Molecule([6] * size + [1] * size,
                    np.concatenate([radius * circle, (radius + 1.1) * circle]), charge=charge)


@pytest.mark.parametrize("molecule, group, number", [
    (neopentane(0), "TD", 12), (neopentane(20), "D2", 12), (neopentane(60), "TD", 12),
    (ring(6, 0), "D6H", 12), (ring(7, 1), None, 14), (ring(8, 0), None, 16),
    (ring(9, -1), "D3H", 18)], ids=["Td", "T", "Td eclipsed", "D6h", "D7h", "D8h", "D9h"])
def test_rotations_are_counted_where_the_backend_has_no_name(molecule, group, number):
    with Backend() as backend:
        found = backend.run(Job(molecule, "am1")).point_group
    modes = SimpleNamespace(numbers=molecule.numbers, positions=molecule.positions,
                            masses=np.ones(len(molecule)))
    assert (found, number_of_gas(found, modes)) == (group, number)
    modes.masses = np.where(np.arange(len(molecule)) == len(molecule) - 1, 2.0, 1.0)
    assert number_of_gas(found, modes) in (1, 2, 3)
