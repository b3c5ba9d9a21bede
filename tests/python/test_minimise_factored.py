"""A matrix that is taken apart once and solved for many right sides."""

import numpy as np
import pytest

from orbitrax.minimise.factored import Factored


def positive(n):
    """A symmetric positive definite matrix with eigenvalues from 1e-6 to 10."""
    chance = np.random.default_rng(n)
    turned, _ = np.linalg.qr(chance.normal(size=(n, n)))
    return (turned * np.geomspace(1e-6, 10.0, n)) @ turned.T


@pytest.mark.parametrize("n", [1, 2, 47, 48, 49, 97, 200])
def test_the_matrix_makes_the_right_side_of_what_was_found(n):
    matrix = positive(n)
    right = np.random.default_rng(1).normal(size=n)
    found = Factored(matrix).solve(right)
    # As good as a factorisation can be: rounding, by the largest eigenvalue and the solution.
    assert np.abs(matrix @ found - right).max() < 1e-13 * 10.0 * np.linalg.norm(found) * n


def test_a_matrix_that_is_not_positive_definite_is_refused():
    with pytest.raises(np.linalg.LinAlgError):
        Factored(np.diag([1.0, -1.0]))
