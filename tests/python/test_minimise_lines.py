"""Searches in which three atoms leave a line, or come to stand in one."""

import numpy as np
import pytest

from orbitrax import Backend, Job, Optimize
from orbitrax.minimise import Limits, minimise
from orbitrax.minimise.hessian import Hessian, Known
from orbitrax.minimise.internals import Internals
from orbitrax.minimise.quasi_newton import _rigid_motions
from orbitrax.molecules.molecule import Molecule

CHAIN = [(0, 1), (1, 2), (2, 3)]
NUMBERS = np.array([1, 6, 7, 1])


def chain(first, second, torsion):
    """Four atoms by the angles at the two in the middle and the torsion, all in degrees."""
    first, second, torsion = np.radians([first, second, torsion])
    return np.array([[1.1 * np.sin(first), 0.0, 1.1 * np.cos(first)], [0.0, 0.0, 0.0],
                     [0.0, 0.0, 1.25],
                     [np.sin(second) * np.cos(torsion), np.sin(second) * np.sin(torsion),
                      1.25 - np.cos(second)]])


def cosines(positions):
    """Of the angles at the two atoms in the middle."""
    lines = [positions[i] - positions[j] for i, j in ((0, 1), (2, 1), (1, 2), (3, 2))]
    a, b, c, d = (line / np.linalg.norm(line) for line in lines)
    return np.array([a @ b, c @ d])


def trans(best):
    """A chain that has these angles, degrees, stiff bonds, and its ends far from each other."""
    aim = np.cos(np.radians(best))

    def energy(positions):
        lengths = [np.linalg.norm(positions[i] - positions[j]) for i, j in CHAIN]
        off = np.where(aim > -1.0, (cosines(positions) - aim) ** 2, 2 * (1 + cosines(positions)))
        ends = np.linalg.norm(positions[0] - positions[3])
        return 500 * np.sum((np.array(lengths) - (1.1, 1.25, 1.0)) ** 2) + 50 * off.sum() - ends

    def function(positions):
        gradient = np.zeros(positions.size)
        for place, shift in enumerate(1e-5 * np.eye(positions.size)):
            shift = shift.reshape(positions.shape)
            gradient[place] = (energy(positions + shift) - energy(positions - shift)) / 2e-5
        return energy(positions), gradient.reshape(positions.shape)
    return function


@pytest.mark.parametrize("start,best,most", [
    ((170, 168, 150), (115, 120), 21), ((176, 120, 90), (110, 110), 27),
    ((172, 173, 10), (150, 100), 35), ((140, 125, 60), (180, 115), 16),
    ((150, 160, 100), (180, 180), 16), ((110, 100, 30), (180, 150), 17)])
def test_a_chain_bends_and_straightens(start, best, most):
    """In the coordinates of the start it takes 24, 35, 45, 22 and 19 energies, or does not end."""
    found = minimise(trans(best), NUMBERS, chain(*start), CHAIN, Limits(1e-3, 1e-2, 1e-7))
    angles = np.degrees(np.arccos(cosines(found.positions)))
    assert found.converged and angles == pytest.approx(best, abs=1.0)
    assert found.energies < most


def test_coordinates_fit_until_an_angle_has_become_another_kind():
    bent, straight = Internals(chain(160, 110, 90), CHAIN), Internals(chain(170, 110, 90), CHAIN)
    assert not len(bent.linear) and len(straight.linear) == 2
    for angle, fits_bent, fits_straight in ((110, True, False), (150, True, False),
                                            (165, True, True), (178, False, True)):
        assert bent.fit(chain(angle, 110, 90)) == fits_bent
        assert straight.fit(chain(angle, 110, 90)) == fits_straight


def test_a_line_alone_that_has_turned_needs_other_axes():
    places = np.array([[0.0, 0.01, 1.2], [0.0, 0.0, 0.0], [0.0, 0.01, -1.2]])
    internals = Internals(places, CHAIN[:2])
    for axis in np.eye(3)[:2]:
        assert internals.fit(places @ turned(axis, 0.2))
        assert not internals.fit(places @ turned(axis, 1.0))


@pytest.mark.parametrize("bend", [110, 160])
def test_bends_across_a_line_turn_with_the_molecule(bend):
    places = chain(168, bend, 70)
    internals = Internals(places, CHAIN)
    assert len(internals.linear) == 2
    there = turned((0.6, 0.0, 0.8), 1.3)
    change = internals.difference(internals.values(places @ there), internals.values(places))
    assert change == pytest.approx(np.zeros(len(internals)), abs=1e-12)
    whole = _rigid_motions(places)
    assert internals.slopes(places) @ whole.T == pytest.approx(
        np.zeros((len(internals), 6)), abs=1e-12)


def test_an_atom_that_comes_to_stand_in_the_line_no_longer_shows_a_side():
    internals = Internals(chain(176, 160, 90), CHAIN)
    assert internals.fit(chain(176, 170, 90)) and not internals.fit(chain(176, 179, 90))


def turned(axis, angle):
    """The matrix of a turn by an angle about an axis."""
    x, y, z = axis
    skew = np.array([[0, -z, y], [z, 0, -x], [-y, x, 0]])
    return np.eye(3) + np.sin(angle) * skew + (1 - np.cos(angle)) * skew @ skew


@pytest.mark.parametrize("method", ["am1", "pm3"])
def test_an_ion_that_starts_as_a_line_bends_in_a_few_energies(method):
    """HCNH-, whose bends are flat near the line: 175 and 123 energies in the coordinates of it."""
    places = chain(168.0, 165.5, 180.0)
    with Backend() as backend:
        found = backend.run(Job(Molecule([1, 6, 7, 1], places, charge=-1), method, Optimize()))
    assert found.converged and found.energy_points < 25
    assert cosines(np.reshape(found.coordinates, (-1, 3))).min() > -0.6


def test_a_group_beside_a_nearly_straight_line_turns_in_a_few_energies():
    """HNCS, whose hydrogen turns about a line of 173 degrees: 92 energies with axes that are fixed
    in space, in which this is neither a turn of the whole nor a change of any coordinate."""
    places = [[-0.881755, -0.417551, -0.016003], [0.269420, -0.201511, -0.004209],
              [2.025720, 0.160796, 0.014689], [-1.413385, 0.458265, 0.005523]]
    with Backend() as backend:
        found = backend.run(Job(Molecule([7, 6, 16, 1], places), "pm3", Optimize()))
    assert found.converged and found.energy_points < 25


@pytest.mark.parametrize("off", [0.0, 1e-5, 1e-4, 1e-2])
def test_a_torsion_beside_a_line_leaves_the_forces_finite(off):
    hessian = Hessian(Known(NUMBERS, CHAIN, [], {}, None), chain(160, 110, 90))
    place = hessian.place(chain(180 - off, 110, 90), np.ones(12))
    assert np.isfinite(place.forces).all() and len(hessian.internals.torsions) == 1
