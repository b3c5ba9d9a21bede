"""Parts of a geometry that are held exactly while the rest of it relaxes."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Callable

import numpy as np

from orbitrax.minimise.arrays import Array
from orbitrax.minimise.internals import bend, stretch, torsion

_VALUES = {2: stretch, 3: bend, 4: torsion}  # by the number of atoms
_ROUNDS = 60
_LONGEST = 0.3  # Angstrom: no round moves an atom further
_CLOSE = 1e-9  # Angstrom or radian


@dataclass(frozen=True)
class Constraint:
    """A distance, an angle or a torsion that has a value. atoms: two, three or four indices from 0.
    value: Angstrom or radian."""

    atoms: tuple[int, ...]
    value: float


class Held:
    """Atoms that do not move, and coordinates that do not change.

    count: atoms of the molecule. frozen: indices from 0. free: the places, of 3 n, that may change.
    """

    def __init__(self, count: int, frozen: tuple[int, ...] = (),
                 constraints: tuple[Constraint, ...] = ()):
        still = np.zeros(count, dtype=bool)
        still[list(frozen)] = True
        self.free = np.flatnonzero(np.repeat(~still, 3))
        self.all_free = not frozen
        self.constraints = constraints

    def free_part(self, move: Array) -> Array:
        """A move, 3 n, of the atoms that may move."""
        if self.all_free:
            return move
        found = np.zeros(len(move))
        found[self.free] = move[self.free]
        return found

    def missing(self, positions: Array) -> Array:
        """What each constraint lacks to its value, torsions the short way round."""
        found = np.array([one.value - _VALUES[len(one.atoms)](
            positions, np.array([one.atoms]))[0][0] for one in self.constraints])
        turns = np.array([len(one.atoms) == 4 for one in self.constraints], dtype=bool)
        found[turns] -= 2 * np.pi * np.round(found[turns] / (2 * np.pi))
        return found

    def slopes(self, positions: Array) -> Array:
        """How the constraints change with the places that are free, constraints x free."""
        found = np.zeros((len(self.constraints), positions.size))
        for row, one in enumerate(self.constraints):
            rise = _VALUES[len(one.atoms)](positions, np.array([one.atoms]))[1][0]
            for place, atom in enumerate(one.atoms):
                found[row, 3 * atom:3 * atom + 3] = rise[place]
        part: Array = found[:, self.free]
        return part

    def step(self, hessian: Array, gradient: Array, positions: Array) -> Array:
        """The step, 3 n, to the minimum of the quadratic model among the geometries that are
        allowed. hessian: 3n x 3n, positive definite; gradient: 3n."""
        step = np.zeros(len(gradient))
        inner = hessian if self.all_free else hessian[np.ix_(self.free, self.free)]
        right = -gradient[self.free]
        if not self.constraints:
            step[self.free] = np.linalg.solve(inner, right)
            return step
        slopes = self.slopes(positions)
        m = len(slopes)
        whole = np.block([[inner, slopes.T], [slopes, np.zeros((m, m))]])
        solved = np.linalg.lstsq(whole, np.concatenate([right, self.missing(positions)]),
                                 rcond=1e-13)[0]
        step[self.free] = solved[:len(right)]
        return step

    def allowed(self, gradient: Array, positions: Array) -> Array:
        """The part of a gradient, 3 n, along which the positions may move."""
        found = np.zeros(len(gradient))
        found[self.free] = gradient[self.free]
        if self.constraints:
            slopes = self.slopes(positions)
            found[self.free] -= slopes.T @ np.linalg.lstsq(slopes.T, found[self.free],
                                                           rcond=1e-10)[0]
        return found

    def snapped(self, positions: Array,
                hessian_at: Callable[[Array], Array] | None = None) -> Array:
        """Positions near these at which every constraint is met; with a Hessian, 3n x 3n for
        positions, those that cost little. Raises ValueError where there are none."""
        if not self.constraints:
            return positions
        for _ in range(_ROUNDS):
            missing = self.missing(positions)
            if np.max(np.abs(missing)) < _CLOSE:
                return positions
            slopes = self.slopes(positions)
            spread = slopes.T
            if hessian_at is not None:
                inner = hessian_at(positions)[np.ix_(self.free, self.free)]
                spread = np.linalg.solve(inner, slopes.T)
            share = np.clip(missing, -0.3, 0.3)
            moved = positions.ravel().copy()
            move = spread @ np.linalg.lstsq(slopes @ spread, share, rcond=1e-10)[0]
            moved[self.free] += move * min(1.0, _LONGEST / max(float(np.max(np.abs(move))), 1e-30))
            positions = moved.reshape(-1, 3)
        if np.max(np.abs(self.missing(positions))) > 1e-5:
            raise ValueError("no geometry has all the values that are to be held")
        return positions
