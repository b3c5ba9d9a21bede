"""How stiff the softest motion about a point is, seen from a Hessian that may be wrong.

A search ends where the gradient vanishes, and on a saddle it does. Measured in a Hessian M = L L^T
that is believed, the true one is K = L^-1 H L^-T, whose eigenvalues lie about one; what is far
softer than M says, or falls, stands apart from them below, and a few steps of Lanczos's method find
it, each from the change of one gradient.

B. N. Parlett, The Symmetric Eigenvalue Problem, SIAM (1998), chapter 13.
"""

from __future__ import annotations

from dataclasses import dataclass
from typing import Callable

import numpy as np

from orbitrax.minimise.arrays import Array

_SEED = 61453
_LENGTH = 0.1  # root of kcal/mol: a step changes the energy by half its square, by what M says
_STIFF = 20.0  # kcal/(mol square Angstrom): motions as stiff as that are no part of where it begins
_FEWEST, _MOST = 3, 8  # gradients
_FIRM = 0.3  # of what M says: nothing softer is left when the softest that was found is as stiff
_SLOWLY = 0.8  # a value that one more gradient leaves at more than this part of itself has settled
_NOTHING = 1e-6  # of a motion of length one: couplings to any other as weak as that are rounding


@dataclass(frozen=True)
class Softest:
    """times: how stiff the softest motion that was found is, in parts of what the Hessian says;
    below 0 the energy falls along it. step: 3n, Angstrom, along it, by as much as changes the
    energy by 0.005 kcal/mol where the Hessian is right."""

    times: float
    step: Array


def softest(hessian: Array, look: Callable[[Array], Array]) -> Softest:
    """The motion that is softest beside what a Hessian says of it. hessian: positive definite, 3n x
    3n, kcal/(mol square Angstrom), stiff for motions of the whole; look: takes a step, 3n in
    Angstrom, and returns by how much it changes the gradient, kcal/(mol Angstrom)."""
    stiffness, ways = np.linalg.eigh(hessian)
    ways = ways / np.sqrt(stiffness)
    start = np.random.default_rng(_SEED).normal(size=len(stiffness)) / np.sqrt(stiffness)
    start[stiffness > max(_STIFF, 2.0 * stiffness[0])] = 0.0
    basis = [start / np.linalg.norm(start)]
    images: list[Array] = []
    times = float("inf")
    while True:
        images.append(ways.T @ look(_LENGTH * (ways @ basis[-1])) / _LENGTH)
        small = np.array(basis) @ np.array(images).T
        values, mixes = np.linalg.eigh(0.5 * (small + small.T))
        before, times = times, float(values[0])
        found = mixes[:, 0] @ np.array(basis)
        enough = times > _FIRM or times > _SLOWLY * before
        if len(basis) == min(_MOST, len(start)) or (len(basis) >= _FEWEST and enough):
            return Softest(times, _LENGTH * (ways @ found))
        rest = images[-1].copy()
        for _ in range(2):
            rest -= (np.array(basis) @ rest) @ np.array(basis)
        length = float(np.linalg.norm(rest))
        if length < _NOTHING:
            return Softest(times, _LENGTH * (ways @ found))
        basis.append(rest / length)
