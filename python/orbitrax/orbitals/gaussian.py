"""Overlap of contracted Gaussian functions.

A function is a sum of primitives N r^l exp(-a r^2) Y(l, m) with real spherical harmonics Y, in the
order of the backend: s; px, py, pz; dz2, dxz, dyz, dx2-y2, dxy.
"""

from __future__ import annotations

import math
from dataclasses import dataclass

import numpy as np

TYPE_CHECKING = False
if TYPE_CHECKING:
    from orbitrax.arrays import Array

_STRIP = 1 << 20  # pairs of primitives taken together


@dataclass(frozen=True, eq=False)
class GaussianShell:
    """The 2 l + 1 functions of one shell. centre: 3, bohr; exponents: 1/bohr^2; coefficients: of
    normalised primitives; first: index of its first function."""

    centre: Array
    l: int
    exponents: Array
    coefficients: Array
    first: int


# Real solid harmonics r^l Y(l, m): by l the powers of x, y, z, and a row of factors for each m.
_POWERS = (
    ((0, 0, 0),),
    ((1, 0, 0), (0, 1, 0), (0, 0, 1)),
    ((2, 0, 0), (0, 2, 0), (0, 0, 2), (1, 0, 1), (0, 1, 1), (1, 1, 0)),
)
_ROOT_3 = math.sqrt(3.0)
_HARMONICS = (
    np.array([[1.0]]) / math.sqrt(4.0 * math.pi),
    np.eye(3) * math.sqrt(3.0 / (4.0 * math.pi)),
    np.array([[-0.5, -0.5, 1.0, 0.0, 0.0, 0.0],
              [0.0, 0.0, 0.0, _ROOT_3, 0.0, 0.0],
              [0.0, 0.0, 0.0, 0.0, _ROOT_3, 0.0],
              [_ROOT_3 / 2.0, -_ROOT_3 / 2.0, 0.0, 0.0, 0.0, 0.0],
              [0.0, 0.0, 0.0, 0.0, 0.0, _ROOT_3]]) * math.sqrt(5.0 / (4.0 * math.pi)),
)


def radial_norm(l: int, exponents: Array) -> Array:
    """N for which N r^l exp(-a r^2) is normalised over r^2 dr; in the shape of `exponents`."""
    found: Array = np.sqrt(2.0 * (2.0 * exponents) ** (l + 1.5) / math.gamma(l + 1.5))
    return found


def overlap_matrix(shells: list[GaussianShell]) -> Array:
    """S, N x N, of all functions of the shells. Shells of one centre are treated as all others."""
    size = max((shell.first + 2 * shell.l + 1 for shell in shells), default=0)
    result = np.zeros((size, size))
    groups: dict[tuple[int, int], list[GaussianShell]] = {}
    for shell in shells:
        groups.setdefault((shell.l, len(shell.exponents)), []).append(shell)
    stacks = [_Stack(l, group) for (l, _), group in groups.items()]
    for i, a in enumerate(stacks):
        for b in stacks[:i + 1]:
            step = max(1, _STRIP // (b.exponents.size * a.exponents.shape[1]))
            for start in range(0, len(a.first), step):
                strip = a.part(start, start + step)
                block = _overlap(strip, b)
                result[np.ix_(strip.functions, b.functions)] = block
                result[np.ix_(b.functions, strip.functions)] = block.T
    return result


class _Stack:
    """Shells of one l and one number of primitives as arrays."""

    def __init__(self, l: int, shells: list[GaussianShell]):
        self.l = l
        self.shells = shells
        self.centres = np.array([shell.centre for shell in shells])
        self.exponents = np.array([shell.exponents for shell in shells])
        self.weights = radial_norm(l, self.exponents) * [s.coefficients for s in shells]
        self.first = np.array([shell.first for shell in shells])

    def part(self, start: int, stop: int) -> _Stack:
        return _Stack(self.l, self.shells[start:stop])

    @property
    def functions(self) -> Array:
        found: Array = (self.first[:, None] + np.arange(2 * self.l + 1)).ravel()
        return found


def _overlap(a: _Stack, b: _Stack) -> Array:
    """The block of two stacks, in the order of their functions.

    By the recurrence of S. Obara and A. Saika, J. Chem. Phys. 84, 3963 (1986), axis by axis: with
    p = a + b and P the weighted mean of the centres A and B,

        s(i+1, j) = (P - A) s(i, j) + (i s(i-1, j) + j s(i, j-1)) / (2 p)
    """
    alpha, beta = a.exponents[:, None, :, None], b.exponents[None, :, None, :]
    p = alpha + beta
    between = (a.centres[:, None] - b.centres[None, :])[:, :, :, None, None]
    common = a.weights[:, None, :, None] * b.weights[None, :, None, :] * (math.pi / p) ** 1.5
    common *= np.exp(-alpha * beta / p * np.sum(between**2, axis=2))
    tables = [_axis_table(a.l, b.l, -beta / p * between[:, :, k], alpha / p * between[:, :, k], p)
              for k in range(3)]
    cartesian = np.empty((len(a.first), len(b.first), len(_POWERS[a.l]), len(_POWERS[b.l])))
    for m, left in enumerate(_POWERS[a.l]):
        for n, right in enumerate(_POWERS[b.l]):
            product = common
            for table, i, j in zip(tables, left, right):
                if i or j:
                    product = product * table[i][j]
            cartesian[:, :, m, n] = product.sum(axis=(2, 3))
    block: Array = np.einsum("um,abmn,vn->aubv", _HARMONICS[a.l], cartesian, _HARMONICS[b.l])
    return block.reshape(len(a.functions), len(b.functions))


def _axis_table(la: int, lb: int, from_a: Array, from_b: Array, p: Array) -> list[list[Array]]:
    """table[i][j] for i up to la and j up to lb, of one axis, over s(0, 0)."""
    table: list[list[Array]] = [[np.ones(1)] * (lb + 1) for _ in range(la + 1)]
    for i in range(la + 1):
        for j in range(lb + 1):
            if i == 0 and j == 0:
                continue
            if i:
                value = from_a * table[i - 1][j]
                lower = [(i - 1, i - 2, j), (j, i - 1, j - 1)]
            else:
                value = from_b * table[0][j - 1]
                lower = [(j - 1, 0, j - 2)]
            for factor, k, m in lower:
                if factor:
                    value = value + factor * table[k][m] / (2.0 * p)
            table[i][j] = value
    return table
