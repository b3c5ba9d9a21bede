"""A search that begins with a Hessian from elsewhere, on potentials whose own is known."""

import numpy as np
import pytest
import support  # noqa: F401  (the package from the checkout)
from test_minimise import BUTYNE, BUTYNE_BONDS, PEROXIDE, springs

from orbitrax.minimise import Limits, minimise
from orbitrax.minimise.internals import Internals
from orbitrax.minimise.known import beyond_model
from orbitrax.minimise.model import force_constants

SHAPES = {"peroxide": ([8, 8, 1, 1], PEROXIDE, [(0, 1), (0, 2), (1, 3)]),
          "butyne": ([6] * 4 + [1] * 6, BUTYNE, BUTYNE_BONDS)}
PAIRS = [(0, 1), (0, 2), (1, 3), (1, 2), (0, 3), (2, 3)]
LENGTHS = (1.4, 0.95, 0.95, 1.9, 1.9, 2.4)
SHARP = Limits(1e-3, 1e-2, 1e-9)


def parts(name):
    numbers, positions, bonds = SHAPES[name]
    internals = Internals(positions, bonds)
    return (internals.slopes(positions),
            force_constants(internals, np.array(numbers), positions))


def carried(slopes, stiffness, hessian):
    """What the search takes for the Hessian of positions where the known one was computed."""
    added, taken = beyond_model(hessian, slopes, stiffness, 1e-6)
    whole = np.diag(stiffness) + added @ added.T - taken @ taken.T
    return slopes.T @ whole @ slopes, whole


@pytest.mark.parametrize("name", SHAPES)
@pytest.mark.parametrize("times", [0.5, 4.0])
def test_a_hessian_that_differs_everywhere_is_the_hessian_of_the_first_step(name, times):
    slopes, stiffness = parts(name)
    hessian = (slopes.T * (stiffness * times)) @ slopes
    found, _ = carried(slopes, stiffness, hessian)
    assert found == pytest.approx(hessian, abs=1e-5 * np.abs(hessian).max())


@pytest.mark.parametrize("name", SHAPES)
@pytest.mark.parametrize("seed", [1, 2])
def test_each_way_to_deform_is_as_stiff_as_is_known_but_for_a_part(name, seed):
    """What differs from the model by less than 0.3 of it is left to the model."""
    slopes, stiffness = parts(name)
    times = np.random.default_rng(seed).choice([0.4, 0.6, 1.5, 3.0, 8.0], len(stiffness))
    hessian = (slopes.T * (stiffness * times)) @ slopes
    found, _ = carried(slopes, stiffness, hessian)
    model = (slopes.T * stiffness) @ slopes
    slack = 0.301 * model + 1e-5 * np.abs(model).max() * np.eye(len(model))
    for sign in (1, -1):
        assert np.linalg.eigvalsh(slack + sign * (found - hessian)).min() > 0


@pytest.mark.parametrize("name", SHAPES)
def test_no_hessian_makes_the_first_one_indefinite(name):
    slopes, stiffness = parts(name)
    random = np.random.default_rng(4).normal(0, 1000, (slopes.shape[1],) * 2)
    for hessian in (random + random.T, np.zeros_like(random), -1e6 * np.eye(len(random))):
        found, whole = carried(slopes, stiffness, hessian)
        model = (slopes.T * stiffness) @ slopes
        assert np.linalg.eigvalsh(whole).min() > 0
        assert np.linalg.eigvalsh(found - 0.29 * model).min() > -1e-5 * np.abs(model).max()


def hessian_of(function, positions):
    """By central differences of the gradient."""
    step, rows = 1e-5, []
    for shift in step * np.eye(positions.size):
        up, down = (function(positions + sign * shift.reshape(-1, 3))[1] for sign in (1, -1))
        rows.append((up - down).ravel() / (2 * step))
    return np.array(rows)


def test_a_search_that_knows_the_hessian_arrives_sooner_at_the_same_minimum():
    """Springs a tenth and ten times as stiff as bonds, between atoms that have no bond, too."""
    stiff, soft = springs(PAIRS[:3], LENGTHS[:3], 4000.0), springs(PAIRS[3:], LENGTHS[3:], 20.0)

    def both(positions):
        one, two = stiff(positions), soft(positions)
        return one[0] + two[0], one[1] + two[1]

    numbers, start, bonds = SHAPES["peroxide"]
    start = start + np.random.default_rng(3).normal(0, 0.03, start.shape)
    plain = minimise(both, np.array(numbers), start, bonds, SHARP)
    known = minimise(both, np.array(numbers), start, bonds, SHARP,
                     hessian=hessian_of(both, start))
    assert plain.converged and known.converged
    assert known.energy == pytest.approx(plain.energy, abs=1e-6)
    assert known.energies < 0.8 * plain.energies


def test_springs_that_are_told_apart_count_beside_the_known_hessian():
    """A stretch is as stiff as both together: where that is right, the first step arrives."""
    numbers, places = np.array([6, 6]), np.array([[0.0, 0.0, 0.0], [0.0, 0.0, 1.5]])
    both = springs([(0, 1)], [1.45], 700.0)
    found = minimise(both, numbers, places, [(0, 1)], SHARP, springs={(0, 1): 300.0},
                     hessian=hessian_of(springs([(0, 1)], [1.5], 400.0), places))
    assert found.converged and found.energies <= 2
