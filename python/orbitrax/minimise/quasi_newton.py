"""The search for a minimum: quasi-Newton steps in internal coordinates.

The Hessian is the model's, in internal coordinates, improved by the BFGS formula with what the last
steps have shown. It is carried over to the positions, where the step is found, and the step is bent
until the internal coordinates change by what it says: a group turns instead of flying off.

C. Peng, P. Y. Ayala, H. B. Schlegel, M. J. Frisch, J. Comput. Chem. 17, 49 (1996).
"""

from __future__ import annotations

from dataclasses import dataclass
from typing import Callable

import numpy as np

from orbitrax.minimise.arrays import Array
from orbitrax.minimise.internals import Internals
from orbitrax.minimise.model import force_constants

EnergyAndGradient = Callable[[Array], "tuple[float, Array]"]

_MEMORY = 60  # steps that the Hessian remembers
_FLOOR = 0.02  # kcal/(mol square Angstrom): stiffness of motions that no coordinate describes
_FIRST_TRUST, _MOST_TRUST, _LEAST_TRUST = 0.3, 0.6, 1e-5  # Angstrom: the atom that moves most
_NOISE = 2e-5  # kcal/mol: an energy that rises by less has not risen
_BACK_STEPS = 8


@dataclass(frozen=True)
class Limits:
    """When a search has arrived: all of these hold. rms_gradient and max_gradient, of a component,
    in kcal/(mol Angstrom); energy: the fall that the Hessian still promises, kcal/mol. steps: the
    most that are taken."""

    rms_gradient: float = 0.1
    max_gradient: float = 0.3
    energy: float = 1e-3
    steps: int = 500


@dataclass(frozen=True)
class Minimum:
    """Where a search ended. energy kcal/mol, positions n x 3 in Angstrom, gradient n x 3 in
    kcal/(mol Angstrom); energies: how often energy and gradient were computed; promise: the fall
    that was still expected, kcal/mol. why: empty if it converged, else what went wrong."""

    energy: float
    positions: Array
    gradient: Array
    energies: int
    promise: float
    why: str = ""

    @property
    def converged(self) -> bool:
        """Whether the limits were met."""
        return not self.why

    @property
    def rms(self) -> float:
        """Root mean square of the gradient, kcal/(mol Angstrom)."""
        return float(np.sqrt(np.mean(self.gradient ** 2)))


@dataclass
class _Point:
    """A geometry, all that is known of it, and what follows for the internal coordinates."""

    positions: Array  # n x 3
    energy: float
    gradient: Array  # 3n
    values: Array
    slopes: Array
    forces: Array  # the gradient by the internal coordinates

    @property
    def rms(self) -> float:
        return float(np.sqrt(np.mean(self.gradient ** 2)))


def minimise(energy_and_gradient: EnergyAndGradient, numbers: Array, positions: Array,
             bonds: list[tuple[int, int]], limits: Limits = Limits()) -> Minimum:
    """The nearest minimum downhill.

    energy_and_gradient: takes positions, n x 3 in Angstrom, returns kcal/mol and n x 3 in
    kcal/(mol Angstrom); what it raises passes through. numbers: atomic numbers, n. bonds: pairs of
    atom indices from 0. Positions are rounded to single precision before they are used, which is
    what the link carries.
    """
    search = _Search(energy_and_gradient, np.asarray(numbers), positions, bonds)
    while True:
        step = search.newton_step()
        if search.arrived(step, limits):
            return search.result()
        if search.energies > limits.steps:
            return search.result(f"{limits.steps} steps have not led to a minimum")
        if not search.go(step):
            return search.result("no step downhill lowers the energy")


class _Search:
    """The search from one step to the next."""

    def __init__(self, function: EnergyAndGradient, numbers: Array, positions: Array,
                 bonds: list[tuple[int, int]]):
        self._function = function
        self._internals = Internals(positions, bonds)
        self._stiffness = force_constants(self._internals, numbers, positions)
        self._pairs: list[tuple[Array, Array]] = []  # steps, and changes of the forces
        self._trust = _FIRST_TRUST
        self.energies = 0
        self._here = self._visit(positions)

    def result(self, why: str = "") -> Minimum:
        """The present point as the end of the search."""
        here = self._here
        return Minimum(here.energy, here.positions, here.gradient.reshape(-1, 3), self.energies,
                       self._promise, why)

    def arrived(self, step: Array, limits: Limits) -> bool:
        """Whether the present point is a minimum within the limits."""
        here = self._here
        self._promise = float(-0.5 * here.gradient @ step)
        return (here.rms <= limits.rms_gradient and self._promise <= limits.energy
                and float(np.max(np.abs(here.gradient))) <= limits.max_gradient)

    def newton_step(self) -> Array:
        """The step to the minimum of the quadratic model, 3n, however far."""
        here = self._here
        hessian: Array = here.slopes.T @ (self._stiffness[:, None] * here.slopes)
        for sign, vectors in self._corrections():
            carried = here.slopes.T @ vectors
            hessian += sign * carried @ carried.T
        hessian[np.diag_indices_from(hessian)] += _FLOOR
        return -np.linalg.solve(hessian, here.gradient)

    def go(self, step: Array) -> bool:
        """Takes the step, as far as it is trusted, or shorter ones until the energy falls. Returns
        whether one of them did."""
        while self._trust > _LEAST_TRUST:
            longest = float(np.max(np.linalg.norm(step.reshape(-1, 3), axis=1)))
            part = min(1.0, self._trust / longest)
            there = self._visit(self._bent(part * step))
            promised = part * (1 - 0.5 * part) * float(self._here.gradient @ step)
            kept = (there.energy - self._here.energy) / promised if promised else 1.0
            self._learn(there)
            fell = there.energy <= self._here.energy + _NOISE
            self._adapt_trust(kept, part, longest, fell)
            if fell:
                self._here = there
                return True
            step = self.newton_step()
        return False

    def _adapt_trust(self, kept: float, part: float, longest: float, fell: bool) -> None:
        """kept: of the promised fall, the share that came true."""
        if not fell or kept < 0.25:
            self._trust = max(0.3 * min(self._trust, longest), 0.5 * _LEAST_TRUST)
        elif kept > 0.6 and part < 1.0:
            self._trust = min(1.6 * self._trust, _MOST_TRUST)

    # ---- points ---------------------------------------------------------------------------------

    def _visit(self, positions: Array) -> _Point:
        positions = np.asarray(positions, dtype=np.float32).astype(float)
        energy, gradient = self._function(positions)
        self.energies += 1
        gradient = np.asarray(gradient, dtype=float).reshape(-1)
        slopes = self._internals.slopes(positions)
        forces = slopes @ np.linalg.solve(_metric(slopes), gradient)
        return _Point(positions, energy, gradient, self._internals.values(positions), slopes,
                      forces)

    def _bent(self, step: Array) -> Array:
        """The positions at which the internal coordinates have changed by what the step says to
        first order; the straight step where they cannot."""
        here, internals = self._here, self._internals
        wanted = here.slopes @ step
        metric = _metric(here.slopes)
        positions: Array = here.positions + step.reshape(-1, 3)
        best, least = positions, float("inf")
        for _ in range(_BACK_STEPS):
            change = internals.difference(internals.values(positions), here.values)
            missing = internals.difference(wanted, change)
            error = float(np.linalg.norm(missing))
            if not error < 0.9 * least:
                break
            best, least = positions, error
            back = np.linalg.solve(metric, here.slopes.T @ missing)
            positions = positions + back.reshape(-1, 3)
        return best

    # ---- what the steps have shown --------------------------------------------------------------

    def _learn(self, there: _Point) -> None:
        """Remembers how the forces changed on the way to a point."""
        here = self._here
        step = self._internals.difference(there.values, here.values)
        self._pairs.append((step, there.forces - here.forces))
        del self._pairs[:-_MEMORY]

    def _corrections(self) -> list[tuple[int, Array]]:
        """What BFGS adds to the model: vectors, coordinates x steps, whose outer products are added
        (+1) or taken away (-1). A change of the forces that would make the Hessian indefinite is
        mixed with the expected one (M. J. D. Powell, 1978)."""
        size = (len(self._stiffness), len(self._pairs))
        added, taken = np.zeros(size), np.zeros(size)
        for k, (step, change) in enumerate(self._pairs):
            a, t = added[:, :k], taken[:, :k]
            expected = self._stiffness * step + a @ (step @ a) - t @ (step @ t)
            curvature, model = float(step @ change), float(step @ expected)
            if not model > 1e-14:
                continue
            if curvature < 0.2 * model:
                share = 0.8 * model / (model - curvature)
                change = share * change + (1 - share) * expected
                curvature = 0.2 * model
            added[:, k] = change / np.sqrt(curvature)
            taken[:, k] = expected / np.sqrt(model)
        return [(1, added), (-1, taken)]


def _metric(slopes: Array) -> Array:
    """How much the internal coordinates change with the positions, 3n x 3n, made invertible."""
    metric: Array = slopes.T @ slopes
    metric[np.diag_indices_from(metric)] += 1e-6
    return metric


