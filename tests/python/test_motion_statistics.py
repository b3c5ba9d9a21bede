"""Means, errors and drifts of runs, against numpy and closed forms."""

import math

import numpy as np
import pytest

from orbitrax.motion.statistics import drift, fluctuation, mean, standard_error


def test_independent_numbers_have_the_usual_error():
    values = np.random.default_rng(1).normal(10.0, 2.0, 4096).tolist()
    assert mean(values) == pytest.approx(np.mean(values), abs=1e-12)
    assert fluctuation(values) == pytest.approx(np.std(values), abs=1e-12)
    # The greatest of several estimates; of 12 blocks one is off by 20 per cent.
    assert 2.0 / 64 * 0.95 < standard_error(values) < 2.0 / 64 * 1.6


def test_numbers_that_remember_have_a_larger_error():
    # x' = a x + sqrt(1 - a^2) n: the variance of a mean of n is (1 + a) / (1 - a) / n.
    draw, a, x = np.random.default_rng(2), 0.9, 0.0
    values = []
    for noise in draw.normal(size=20000):
        x = a * x + math.sqrt(1 - a * a) * noise
        values.append(x)
    true = math.sqrt((1 + a) / (1 - a) / len(values))
    assert 0.8 * true < standard_error(values) < 1.5 * true


def test_a_drift_is_the_slope_of_its_line():
    times = [0.1 * i for i in range(50)]
    line = [3.0 - 0.25 * t for t in times]
    assert drift(times, line)[0] == pytest.approx(-0.25, abs=1e-12)


def test_a_drift_among_fluctuations_is_as_uncertain_as_it_says():
    draw, times = np.random.default_rng(4), [0.01 * i for i in range(400)]
    errors = []
    for _ in range(200):
        found, error = drift(times, (2.0 * np.array(times) + draw.normal(size=400)).tolist())
        errors.append((found - 2.0) / error)
    assert 0.5 < np.std(errors) < 1.1, "the error is the greatest of several estimates"


def test_too_little_has_no_value():
    assert mean([]) is None and fluctuation([]) is None and drift([], []) is None
    assert drift([1.0], [2.0]) is None and drift([1.0] * 40, [2.0, 3.0] * 20) is None
    assert standard_error([1.0] * 11) is None and standard_error([1.0] * 12) == 0.0
