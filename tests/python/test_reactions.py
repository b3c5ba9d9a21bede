"""What a barrier is made from: pairs of structures, guesses between them, steps downhill."""

import itertools

import numpy as np
import pytest
from scipy.integrate import solve_ivp
from scipy.optimize import brentq
from scipy.spatial.transform import Rotation

import orbitrax
from orbitrax.cli.reactions.barrier import _free, _kcal
from orbitrax.errors import MoleculeError
from orbitrax.molecules.looks import RADII
from orbitrax.molecules.molecule import Molecule
from orbitrax.reactions.barrier import Barrier, eyring, free_energy
from orbitrax.reactions.downhill import Point, bofill, descend, page_mciver
from orbitrax.reactions.guess import between, images_between
from orbitrax.reactions.pairs import (check_pair, distance, matrix_difference, reordered,
                                      superposed)

RANDOM = np.random.default_rng(3)
HCN = Molecule([6, 7, 1], [[0, 0, 0], [1.16, 0, 0], [-1.07, 0, 0]])
HNC = Molecule([6, 7, 1], [[0, 0, 0], [1.18, 0, 0], [2.16, 0, 0]])
METHANOL = Molecule([6, 8, 1, 1, 1, 1], [[0, 0, 0], [1.42, 0, 0], [-0.4, 1.0, 0.1],
                                         [-0.4, -0.5, 0.9], [-0.4, -0.5, -0.9], [1.7, 0.9, 0.1]])


def test_structures_that_were_turned_and_moved_lie_upon_each_other():
    places = RANDOM.normal(size=(5, 3))
    turned = Rotation.from_rotvec([0.4, -1.1, 2.0]).apply(places) + [3, 1, -2]
    assert np.allclose(superposed(turned, places), places, atol=1e-12)
    assert distance(turned, places) < 1e-12 and matrix_difference(turned, places) < 1e-12
    mirror = places * [1, 1, -1]
    assert matrix_difference(mirror, places) < 1e-12 < 0.1 < distance(mirror, places)


def test_atoms_in_another_order_are_found_by_their_bonds():
    order = [1, 5, 0, 4, 2, 3]
    shuffled = Molecule(np.array(METHANOL.numbers)[order], METHANOL.positions[order])
    with pytest.raises(MoleculeError, match="another order .atom 1 is C in one and O"):
        check_pair(METHANOL, shuffled)
    found = reordered(shuffled, METHANOL)
    check_pair(METHANOL, found)
    assert np.allclose(found.positions[:2], METHANOL.positions[:2])
    assert np.allclose(found.positions[5], METHANOL.positions[5]), "the hydrogen of the oxygen"
    with pytest.raises(MoleculeError, match="not the same atoms .CHN and CH4O"):
        check_pair(HCN, METHANOL)


def half_made(length, one, other):
    """The distance at which a bond of this length is half way between two others, by bisection."""
    def measure(r):
        return np.exp(-1.7 * (r / length - 1)) + 0.01 * length / r

    return brentq(lambda r: measure(r) - 0.5 * (measure(one) + measure(other)), 0.5, 9)


def test_half_way_a_hydrogen_goes_round_and_not_through():
    carbon, nitrogen, hydrogen = between(HCN, HNC)
    c, n, h = np.array(RADII)[[6, 7, 1]]
    for one, other, wanted in ((carbon, nitrogen, half_made(c + n, 1.16, 1.18)),
                               (carbon, hydrogen, half_made(c + h, 1.07, 2.16)),
                               (nitrogen, hydrogen, half_made(n + h, 2.23, 0.98))):
        assert abs(np.linalg.norm(one - other) - wanted) < 0.02


def test_half_way_two_molecules_meet_however_far_apart_they_are():
    """A bond that breaks, its atoms 3, 30 or 300 Angstrom apart at the other side."""
    start = Molecule([1, 1], [[0, 0, 0], [0.74, 0, 0]])
    met = [np.linalg.norm(np.diff(between(start, Molecule([1, 1], [[0, 0, 0], [far, 0, 0]])),
                                  axis=0)) for far in (3.0, 30.0, 300.0)]
    length = 2 * RADII[1]
    assert np.allclose(met, [half_made(length, 0.74, far) for far in (3.0, 30.0, 300.0)])
    assert 0.9 < met[0] < met[1] < met[2] < 1.1


def test_half_way_between_mirror_images_lies_the_plane():
    """All their distances are the same, and say nothing of the way."""
    places = np.array([[0, 0, 0.3], [0.94, 0, 0], [-0.47, 0.82, 0], [-0.47, -0.82, 0]])
    sides = [Molecule([7, 1, 1, 1], places * [1, 1, sign]) for sign in (1, -1)]
    for middle in (between(*sides), images_between(*sides, 7)[4]):
        nitrogen, a, b, c = middle
        height = np.dot(nitrogen - a, np.cross(b - a, c - a))
        assert abs(height) < 1e-6 and 0.9 < np.linalg.norm(nitrogen - a) < 1.0
    steps = [distance(a, b) for a, b in itertools.pairwise(images_between(*sides, 7))]
    assert max(steps) < 1.01 * min(steps)


def test_a_band_is_even_and_ends_in_its_two_sides():
    images = images_between(HCN, HNC, 9)
    assert len(images) == 11
    assert matrix_difference(images[0], HCN.positions) < 1e-12
    assert matrix_difference(images[-1], HNC.positions) < 1e-12
    steps = [np.linalg.norm(b - a) for a, b in zip(images, images[1:])]
    assert max(steps) < 3 * min(steps)


@pytest.mark.parametrize("length", [1e-3, 0.1, 0.5])
def test_a_step_downhill_is_that_of_an_integrator(length):
    n = 6
    hessian = RANDOM.normal(size=(n, n))
    hessian, gradient = hessian + hessian.T, RANDOM.normal(size=n)

    def slope(_, x):
        g = gradient + hessian @ x
        return -g / np.linalg.norm(g)

    exact = solve_ivp(slope, (0, length), np.zeros(n), rtol=1e-10, atol=1e-12).y[:, -1]
    # The arc is measured on a grid of 0.6 % in the parameter.
    assert np.linalg.norm(page_mciver(hessian, gradient, length) - exact) < 1e-3 * length


def test_a_mended_hessian_gives_the_change_that_was_seen():
    hessian = RANDOM.normal(size=(5, 5))
    hessian, move, change = hessian + hessian.T, RANDOM.normal(size=5), RANDOM.normal(size=5)
    found = bofill(hessian, move, change)
    assert np.allclose(found @ move, change) and np.allclose(found, found.T)
    assert np.array_equal(bofill(hessian, np.zeros(5), change), hessian)


def test_a_path_follows_the_floor_of_a_bent_valley():
    """E = (x^2 - 1)^2 + 20 (y - x^2)^2 + 20 z^2 for one atom: from the saddle point at 0 to the
    minimum at x = 1, y = 1."""
    def surface(places):
        x, y, z = places[0]
        bend = y - x * x
        energy = (x * x - 1) ** 2 + 20 * bend ** 2 + 20 * z * z
        return energy, np.array([[4 * x * (x * x - 1) - 80 * x * bend, 40 * bend, 40 * z]])

    start = Point(0.0, *[surface(np.zeros((1, 3)))[0]], np.zeros((1, 3)), np.zeros((1, 3)))
    branch = descend(surface, start, np.array([1.0, 0, 0]), np.diag([-4.0, 40, 40]), [1.0],
                     step=0.05, limit=0.03)
    energies = [point.energy for point in branch.points]
    assert branch.why == "the gradient is small" and all(np.diff(energies) < 0)
    assert np.linalg.norm(branch.points[-1].positions - [[1, 1, 0]]) < 0.1
    slope = solve_ivp(lambda _, q: -surface(q.reshape(1, 3))[1].ravel()
                      / np.linalg.norm(surface(q.reshape(1, 3))[1]), (0, 0.95),
                      branch.points[0].positions.ravel(), rtol=1e-8, method="LSODA").y[:, -1]
    assert np.linalg.norm(branch.points[19].positions.ravel() - slope) < 0.02


def test_an_energy_that_rounds_to_nothing_has_no_sign():
    assert [_kcal(energy).split()[0] for energy in (-4e-5, 0.0, -6e-5, 1.23456)] == [
        "0.0000", "0.0000", "-0.0001", "1.2346"]


def test_a_rate_without_a_barrier_is_that_of_the_equation():
    assert abs(eyring(0.0, 298.15) / 6.2124e12 - 1) < 1e-4
    ratio = eyring(10.0, 300.0) / eyring(11.0, 300.0)
    assert abs(ratio / np.exp(1 / (1.987204e-3 * 300)) - 1) < 1e-6


def ammonia(height):
    """The stationary point next to ammonia whose nitrogen is so high above the hydrogens."""
    turns = 2 * np.pi / 3 * np.arange(3)
    places = [[0, 0, height], *zip(np.cos(turns), np.sin(turns), 0 * turns)]
    return orbitrax.run((["N", "H", "H", "H"], places), "am1", "vibrations", optimize=True)


def test_a_side_that_is_no_minimum_has_no_free_energy():
    """Planar ammonia is the saddle point between two pyramids: as a molecule it would lack the
    entropy of a mode, as a saddle point it has all that it should have."""
    planar, pyramid = ammonia(0.0), ammonia(0.3)
    value, reason = free_energy(planar, 298.15, 101325.0)
    assert value is None and "imaginary frequencies (829." in reason and "no minimum" in reason
    (top, why), (bottom, none) = (free_energy(one, 298.15, 101325.0, most)
                                  for one, most in ((planar, 1), (pyramid, 0)))
    assert why == none == "" and 3.0 < top - bottom < planar.total_energy - pyramid.total_energy
    planar.modes = None
    assert free_energy(planar, 298.15, 101325.0) == (None, "no vibrations were computed")


def test_the_command_says_of_which_side_there_is_no_free_energy():
    flat, pyramid = ammonia(0.0), ammonia(0.3)
    values, reason = _free(Barrier(pyramid, flat), 298.15)
    assert values[0] is not None and values[1:] == [None, None]
    assert reason.startswith("product: imaginary frequencies (829.") and ";" not in reason
