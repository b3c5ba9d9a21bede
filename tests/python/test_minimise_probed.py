"""What a search does where it ends: is it a minimum, or does the energy fall beyond?"""

import numpy as np
import pytest
import support  # the package from the checkout
from orbitrax.minimise import Limits, minimise
from orbitrax.minimise.curvature import softest
from orbitrax.minimise.internals import Internals

SHARP = Limits(1e-3, 1e-2, 1e-6)
BONDS = [(0, 1), (0, 2), (1, 3)]
FLAT = np.array([[0.0, 0.7, 0.0], [0.0, -0.7, 0.0], [0.93, 0.9, 0.0], [-0.93, -0.9, 0.0]])
LENGTHS = {(i, j): np.linalg.norm(FLAT[i] - FLAT[j]) for i, j in [*BONDS, (1, 2), (0, 3)]}


def chain(angle_energy):
    """A chain of four atoms on springs, with an energy of its torsion: a function of the angle that
    returns it and its slope."""
    def both(positions):
        energy, gradient = 0.0, np.zeros_like(positions)
        for (i, j), length in LENGTHS.items():
            arm = positions[i] - positions[j]
            distance = np.linalg.norm(arm)
            energy += 300 * (distance - length) ** 2
            gradient[[i, j]] += 600 * (distance - length) * np.outer([1, -1], arm / distance)
        internals = Internals(FLAT, BONDS)
        own, slope = angle_energy(internals.values(positions)[-1])
        return energy + own, gradient + slope * internals.slopes(positions)[-1].reshape(-1, 3)
    return both


def angle_of(found):
    return float(Internals(FLAT, BONDS).values(found.positions)[-1])


def search(angle_energy, probed, limits=SHARP):
    return minimise(chain(angle_energy), np.array([8, 8, 1, 1]), FLAT, BONDS, limits, probed=probed)


@pytest.mark.parametrize("height", [0.1, 1.0, 5.0])
def test_a_search_that_begins_on_a_saddle_leaves_it(height):
    """By symmetry nothing pulls an atom out of the plane; the torsion's energy is highest there,
    and lowest a quarter of a turn on either side."""
    def twofold(angle):
        return 0.5 * height * (1 + np.cos(2 * angle)), -height * np.sin(2 * angle)

    stays = search(twofold, probed=False)
    assert stays.converged and stays.energy == pytest.approx(height, abs=1e-4)
    found = search(twofold, probed=True)
    assert found.converged and found.energy == pytest.approx(0.0, abs=1e-5)
    assert np.cos(angle_of(found)) == pytest.approx(0.0, abs=1e-2)


@pytest.mark.parametrize("depth", [0.01, 0.02, 0.05])
def test_a_motion_softer_than_the_model_says_is_followed_to_its_end(depth):
    """A torsion hundreds of times softer than the model's, which by the model is at its end."""
    lowest = np.pi - 0.3

    def soft(angle):
        return depth * (1 - np.cos(angle - lowest)), depth * np.sin(angle - lowest)

    limits = Limits(1e-2, 5e-2, 1e-5)
    plain, found = search(soft, False, limits), search(soft, True, limits)
    left = [depth * (1 - np.cos(angle_of(one) - lowest)) for one in (plain, found)]
    assert plain.converged and left[0] > 30 * limits.energy
    assert found.converged and left[1] < 3 * limits.energy


def test_a_minimum_stays_where_it_is_and_costs_three_energies():
    def stiff(angle):
        return 3.0 * (1 + np.cos(angle)), -3.0 * np.sin(angle)

    plain, probed = search(stiff, probed=False), search(stiff, probed=True)
    assert probed.converged and np.array_equal(plain.positions, probed.positions)
    assert plain.energies + 3 <= probed.energies <= plain.energies + 8


def test_a_molecule_of_one_stiff_motion_or_none_is_at_its_minimum():
    def bond(positions):
        arm = positions[0] - positions[1]
        distance = np.linalg.norm(arm)
        pull = 2000 * (distance - 0.74) * arm / distance
        return 1000 * (distance - 0.74) ** 2, np.array([pull, -pull])

    found = minimise(bond, np.array([1, 1]), np.array([[0.0, 0.1, 0.2], [0.3, 0.6, -0.4]]),
                     [(0, 1)], SHARP, probed=True)
    assert found.converged and found.energy == pytest.approx(0.0, abs=1e-6)
    assert found.energies < 15
    atom = minimise(lambda positions: (1.0, np.zeros((1, 3))), np.array([11]), np.zeros((1, 3)), [],
                    SHARP, probed=True)
    assert atom.converged and atom.energies == 1


def test_nothing_is_measured_where_something_is_held():
    def twofold(angle):
        return 0.5 * (1 + np.cos(2 * angle)), -np.sin(2 * angle)

    found = minimise(chain(twofold), np.array([8, 8, 1, 1]), FLAT, BONDS, SHARP, frozen=(0, 1),
                     probed=True)
    assert found.converged and found.energy == pytest.approx(1.0, abs=1e-4)


@pytest.mark.parametrize("factor", [-0.3, 0.02, 0.2])
def test_the_softest_motion_of_a_known_matrix_is_found(factor):
    """One motion in twenty is not as stiff as the Hessian says; the others are, within a fifth."""
    random = np.random.default_rng(3)
    ways, _ = np.linalg.qr(random.normal(size=(20, 20)))
    believed = np.geomspace(0.1, 500.0, 20)
    times = random.uniform(0.9, 1.1, 20)
    times[2] = factor
    true = (ways * (believed * times)) @ ways.T
    found = softest((ways * believed) @ ways.T, lambda step: true @ step)
    assert found.times == pytest.approx(factor, abs=0.02)
    way = found.step / np.linalg.norm(found.step)
    assert abs(way @ ways[:, 2]) == pytest.approx(1.0, abs=0.02)
    assert 0.5 * found.step @ ((ways * believed) @ ways.T) @ found.step == pytest.approx(0.005)


def test_a_search_for_the_softest_ends_where_nothing_new_is_left():
    """Begun with the one soft motion, which couples to no other."""
    hessian = np.diag([0.5, 400.0, 900.0])
    steps = []
    found = softest(hessian, lambda step: (steps.append(step), 0.2 * hessian @ step)[1])
    assert len(steps) == 1 and found.times == pytest.approx(0.2)
    assert found.step == pytest.approx(steps[0])
