"""Molecules that are nearly symmetric become so: figures by formula, shaken and turned."""

from __future__ import annotations

from itertools import product

import numpy as np
import pytest
from orbitrax import read_molecule
from orbitrax.molecules.symmetry import rotations, symmetrised
from support import ROOT

PHI = (1 + 5**0.5) / 2


def cyclic(points):
    return [np.roll(point, k) for point in points for k in range(3)]


def signed(points):
    return np.array(sorted({tuple(np.round(np.multiply(point, signs), 12) + 0.0)
                            for point in points for signs in product((1, -1), repeat=3)}))


def ring(n, radius, z=0.0, phase=0.0):
    angles = 2 * np.pi * (np.arange(n) + phase) / n
    return np.column_stack([radius * np.cos(angles), radius * np.sin(angles), np.full(n, z)])


FOOTBALL = signed(cyclic([(0, 1, 3 * PHI), (1, 2 + PHI, 2 * PHI), (PHI, 2, 2 * PHI + 1)])) * 0.7
BENZENE = np.vstack([ring(6, 1.39), ring(6, 2.48)])
METHANE = np.array([[0, 0, 0], [1, 1, 1], [-1, -1, 1], [-1, 1, -1], [1, -1, -1]]) * 0.63
HEXAFLUORIDE = np.vstack([np.zeros((1, 3)), *(s * 1.56 * np.eye(3) for s in (1, -1))])
PROPELLER = np.vstack([np.zeros((1, 3)), ring(3, 1.8, 1.1), ring(3, 1.8, -1.1, 0.37)])
WATER = np.array([[0, 0, 0.1], [0.757, 0, -0.49], [-0.757, 0, -0.49]])
FIGURES = {
    "football": ([6] * 60, FOOTBALL), "benzene": ([6] * 6 + [1] * 6, BENZENE),
    "methane": ([6, 1, 1, 1, 1], METHANE), "hexafluoride": ([16] + [9] * 6, HEXAFLUORIDE),
    "propeller": ([27] + [7] * 6, PROPELLER), "water": ([8, 1, 1], WATER)}


def rotation(seed):
    return np.linalg.qr(np.random.default_rng(seed).normal(size=(3, 3)))[0]


def shaken(places, by, seed):
    noise = np.random.default_rng(seed + 100).uniform(-by, by, places.shape)
    return places @ rotation(seed) + [3, -4, 50] + noise


def distances(places):
    return np.linalg.norm(places[:, None] - places[None, :], axis=2)


@pytest.mark.parametrize("name", FIGURES)
@pytest.mark.parametrize("seed", range(3))
def test_what_is_nearly_symmetric_becomes_so(name, seed):
    """Atoms that were alike see the others at equal distances again, in the last digits; nothing
    has moved far."""
    z, ideal = FIGURES[name]
    start = shaken(ideal, 2e-4, seed)
    exact = symmetrised(z, start, 1e-3)
    assert exact is not None
    assert np.linalg.norm(exact - start, axis=1).max() < 2 * 2e-4 * 3**0.5
    assert np.abs(exact.mean(axis=0) - start.mean(axis=0)).max() < 1e-12
    wanted = np.round(np.sort(distances(ideal), axis=1), 6)
    found = np.sort(distances(exact), axis=1)
    for i, j in product(range(len(z)), repeat=2):
        if z[i] == z[j] and (wanted[i] == wanted[j]).all():
            assert np.abs(found[i] - found[j]).max() < 1e-11
    again = symmetrised(z, exact, 1e-3)
    assert again is not None and np.abs(again - exact).max() < 1e-12


def test_a_propeller_keeps_its_turn():
    """Axes of order two and three, no mirror: each blade is as far from its neighbours."""
    z, ideal = FIGURES["propeller"]
    exact = symmetrised(z, shaken(ideal, 2e-4, 5), 1e-3)
    assert exact is not None
    between = np.sort(distances(exact[1:4])[:, :], axis=1)
    across = np.sort(np.linalg.norm(exact[1:4, None] - exact[None, 4:], axis=2), axis=1)
    assert np.ptp(between, axis=0).max() < 1e-11
    assert np.ptp(across, axis=0).max() < 1e-11
    assert np.ptp(across[0]) > 0.5


@pytest.mark.parametrize("name", FIGURES)
def test_what_is_distorted_stays_so(name):
    z, ideal = FIGURES[name]
    start = shaken(ideal, 0.02, 7)
    exact = symmetrised(z, start, 1e-3)
    assert exact is None or np.linalg.norm(exact - start, axis=1).max() <= 1e-3
    if name != "water":
        assert exact is None


def test_elements_are_told_apart():
    z, ideal = FIGURES["methane"]
    exact = symmetrised([6, 1, 1, 1, 9], shaken(ideal, 2e-4, 1), 1e-3)
    bonds = np.linalg.norm(exact[1:] - exact[0], axis=1)
    assert np.ptp(bonds[:3]) < 1e-12 < abs(bonds[3] - bonds[0])


@pytest.mark.parametrize("places", [
    [[0, 0, 0]], [[0, 0, 0], [0, 0, 1.2]], [[0, 0, 0], [0, 0, 1.2], [0, 0, -1.2]], []])
def test_atoms_on_a_line_stay(places):
    assert symmetrised([8] * len(places), np.reshape(places, (-1, 3)), 1e-3) is None


def test_taxol_has_no_symmetry():
    molecule = read_molecule(ROOT / "benchmarks" / "molecules" / "taxol.xyz")
    assert symmetrised(molecule.z, molecule.positions) is None


@pytest.mark.parametrize("name, number", [
    ("football", 60), ("benzene", 12), ("methane", 12), ("hexafluoride", 24), ("propeller", 6),
    ("water", 2)])
def test_rotations_are_those_of_the_point_group(name, number):
    z, ideal = FIGURES[name]
    assert rotations(z, shaken(ideal, 1e-5, 1)) == number


@pytest.mark.parametrize("name, heavy, number", [
    ("methane", [1], 3), ("methane", [1, 2], 2), ("methane", [1, 2, 3], 3),
    ("benzene", [6], 2), ("benzene", [6, 9], 4), ("benzene", [6, 8, 10], 6), ("benzene", [6, 7], 2),
    ("benzene", [6, 7, 8], 2), ("water", [1], 1), ("water", [0], 2), ("hexafluoride", [1], 4),
    ("hexafluoride", [1, 2], 2), ("football", [0], 1), ("propeller", [1], 1)])
def test_isotopes_leave_the_rotations_that_bring_like_to_like(name, heavy, number):
    z, ideal = FIGURES[name]
    kinds = [z[i] + 100 * (i in heavy) for i in range(len(z))]
    assert rotations(kinds, shaken(ideal, 1e-5, 2)) == number


@pytest.mark.parametrize("kinds, number", [([8, 6, 8], 2), ([18, 6, 8], 1), ([1, 1], 2), ([2], 1),
                                           ([1, 6, 6, 1], 2), ([1, 6, 13, 1], 1)])
def test_rotations_of_a_line_are_those_that_turn_it(kinds, number):
    line = np.outer(np.arange(len(kinds)) - (len(kinds) - 1) / 2, [0.3, 0.8, -0.4])
    assert rotations(kinds, line + 2.0) == number
