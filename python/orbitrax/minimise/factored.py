"""A symmetric positive definite matrix taken apart once, to be solved for many right sides.

numpy solves, but keeps no factors: three solutions by it cost twice what this does for any number.
"""

from __future__ import annotations

import numpy as np

from orbitrax.minimise.arrays import Array

_SMALL = 48  # rows that numpy inverts at once


class Factored:
    """L with L L^T the matrix, n x n, by its inverse."""

    def __init__(self, matrix: Array):
        """Raises numpy's LinAlgError for a matrix that is not positive definite."""
        self._inverse = _inverse_of_lower(np.linalg.cholesky(matrix))

    def solve(self, right: Array) -> Array:
        """What the matrix makes into the right side, n."""
        found: Array = self._inverse.T @ (self._inverse @ right)
        return found


def _inverse_of_lower(lower: Array) -> Array:
    """The inverse of a lower triangle, by halves: products of matrices do the work."""
    n = len(lower)
    if n <= _SMALL:
        small: Array = np.linalg.inv(lower)
        return small
    half = n // 2
    found = np.zeros((n, n))
    found[:half, :half] = _inverse_of_lower(lower[:half, :half])
    found[half:, half:] = _inverse_of_lower(lower[half:, half:])
    found[half:, :half] = -found[half:, half:] @ (lower[half:, :half] @ found[:half, :half])
    return found
