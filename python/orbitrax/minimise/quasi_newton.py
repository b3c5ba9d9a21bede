"""The search for a minimum: quasi-Newton steps in internal coordinates.

The Hessian is the model's, in internal coordinates, or one that is known, improved by the BFGS
formula with what the last steps have shown. It is carried over to the positions, where the step is
found, and the step is bent until the internal coordinates change by what it says: a group turns
instead of flying off.

C. Peng, P. Y. Ayala, H. B. Schlegel, M. J. Frisch, J. Comput. Chem. 17, 49 (1996).
"""

from __future__ import annotations

from dataclasses import dataclass
from typing import Callable

import numpy as np

from orbitrax.minimise.arrays import Array
from orbitrax.minimise.constraints import Constraint, Held
from orbitrax.minimise.curvature import softest
from orbitrax.minimise.hessian import Hessian, Known, Place, Tether

EnergyAndGradient = Callable[[Array], "tuple[float, Array]"]

_FIRST_TRUST, _MOST_TRUST, _LEAST_TRUST = 0.3, 0.6, 1e-5  # Angstrom: the atom that moves most
_NOISE = 2e-5  # kcal/mol: an energy that rises by less has not risen
_BACK_STEPS = 8
_RIGID = 500.0  # kcal/(mol square Angstrom): stiffness of motions of the whole, which change the
#                 bends across a line, and no energy
_NO_PULL = 1e-4  # of the gradient: less of it along them is none
_NO_TURN = 1e-3  # Angstrom: of all atoms together, in a turn about a line
_OUT_OF_REACH = 1e6  # kcal/(mol square Angstrom): they are never among the softest then
_FLAT = 0.1  # of what the Hessian says of the softest motion: where it is flatter than that, the
#              energy may fall beyond
_TIMES = 2  # that this is learned once more: at a time the Hessian believes a fifth of what it says
_FAR = 2.0  # times the step along it that is measured: so far the search looks for a fall
_NEAREST = 0.7  # of its value is left of a distance after a step: far from a minimum, where the
#                 model knows nothing, two atoms might run into each other, each from its own side


@dataclass(frozen=True)
class Limits:
    """When a search has arrived: all of these hold. rms_gradient and max_gradient, of a component,
    in kcal/(mol Angstrom); energy: the fall that the Hessian still promises, kcal/mol. steps: the
    most that are taken, those that fail too. step: what any atom would still move, Angstrom.
    cycles: the most steps that succeed."""

    rms_gradient: float = 0.1
    max_gradient: float = 0.3
    energy: float = 1e-3
    steps: int = 500
    step: float = float("inf")
    cycles: int = 10**9


@dataclass(frozen=True)
class Stage:
    """Where a search stands. step: which, from 0; gradient: n x 3, along which the positions may
    move; longest: what the atom that moves most would still move, Angstrom; the rest as in
    `Minimum`."""

    step: int
    energy: float
    positions: Array
    gradient: Array
    energies: int
    promise: float
    longest: float

    @property
    def rms(self) -> float:
        """Root mean square of the gradient, kcal/(mol Angstrom)."""
        return float(np.sqrt(np.mean(self.gradient ** 2)))

    @property
    def largest(self) -> float:
        """The largest component of the gradient, kcal/(mol Angstrom)."""
        return float(np.max(np.abs(self.gradient)))

    def within(self, limits: Limits) -> bool:
        """Whether all limits are met."""
        return (self.rms <= limits.rms_gradient and self.promise <= limits.energy
                and self.largest <= limits.max_gradient and self.longest <= limits.step)


@dataclass(frozen=True)
class Minimum:
    """Where a search ended. energy kcal/mol, positions n x 3 in Angstrom, gradient n x 3 in
    kcal/(mol Angstrom); energies: how often energy and gradient were computed; promise: the fall
    that was still expected, kcal/mol. why: empty if it converged, else what went wrong. stage: the
    same and more, of the last step."""

    energy: float
    positions: Array
    gradient: Array
    energies: int
    promise: float
    stage: Stage
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
class _Point(Place):
    """A place, and its energy."""

    energy: float

    @property
    def rms(self) -> float:
        return float(np.sqrt(np.mean(self.gradient ** 2)))


def minimise(energy_and_gradient: EnergyAndGradient, numbers: Array, positions: Array,
             bonds: list[tuple[int, int]], limits: Limits = Limits(), *,
             frozen: tuple[int, ...] = (), constraints: tuple[Constraint, ...] = (),
             links: list[tuple[int, int]] | None = None,
             springs: dict[tuple[int, ...], float] | None = None,
             tethers: list[Tether] | None = None,
             hessian: Array | None = None, probed: bool = False,
             on_step: Callable[[Stage], None] | None = None) -> Minimum:
    """The nearest minimum downhill.

    energy_and_gradient: takes positions, n x 3 in Angstrom, returns kcal/mol and n x 3 in
    kcal/(mol Angstrom); what it raises passes through. numbers: atomic numbers, n. bonds: pairs of
    atom indices from 0. Positions are rounded to single precision before they are used, which is
    what the link carries. frozen: atoms that stay where they are, indices from 0. constraints: what
    is held exactly; ValueError where that cannot be. links: pairs whose distance matters though
    they are not bonded. springs: what the energy has of its own that is stiff, by the two, three or
    four atoms of a coordinate, in kcal/mol per square Angstrom or radian; tethers: the same of
    atoms that are drawn to a place, indices from 0, Angstrom. hessian: about what it is where the
    search begins, both left out, 3n x 3n in kcal/(mol square Angstrom). probed: the
    softest motion is measured before the search ends, by three gradients or a few more, and on a
    saddle, or where the energy is flatter than the Hessian has learned, the search goes on; not
    where something is held. on_step: called where the search begins and after each step.
    """
    known = Known(np.asarray(numbers), bonds, links or [], springs or {}, hessian, tethers or [])
    search = _Search(energy_and_gradient, positions, Hessian(known, positions),
                     Held(len(positions), frozen, constraints))
    probing = probed and not frozen and not constraints
    number = 0
    while True:
        step = search.newton_step()
        stage = search.stage(step, number)
        if probing and stage.within(limits):
            probing = search.probe()
            step = search.newton_step()
            stage = search.stage(step, number)
        if on_step is not None:
            on_step(stage)
        if stage.within(limits):
            return search.result(stage)
        if search.energies > limits.steps:
            return search.result(stage, f"{limits.steps} steps have not led to a minimum")
        if number >= limits.cycles:
            return search.result(stage, f"{limits.cycles} cycles have not led to a minimum")
        if not search.go(step):
            return search.result(stage, "no step downhill lowers the energy")
        number += 1


def _press(there: Array, here: Array) -> bool:
    """Whether a step brings any two atoms too near to each other at once."""
    first, second = np.triu_indices(len(here), 1)
    squares = [np.sum((places[first] - places[second]) ** 2, axis=1) for places in (there, here)]
    return bool(np.any(squares[0] < _NEAREST**2 * squares[1]))


class _Search:
    """The search from one step to the next."""

    def __init__(self, function: EnergyAndGradient, positions: Array, hessian: Hessian,
                 held: Held):
        self._function, self._hessian, self._held = function, hessian, held
        self._trust = _FIRST_TRUST
        self.energies = 0
        if held.constraints:
            positions = held.snapped(
                positions, lambda places: hessian.at(hessian.internals.slopes(places)))
        self._here = self._visit(positions)

    def result(self, stage: Stage, why: str = "") -> Minimum:
        """The present point as the end of the search."""
        here = self._here
        return Minimum(here.energy, here.positions, here.gradient.reshape(-1, 3), self.energies,
                       stage.promise, stage, why)

    def stage(self, step: Array, number: int) -> Stage:
        """The present point, and what the quadratic model says of it."""
        here = self._here
        gradient = self._held.allowed(here.gradient, here.positions)
        return Stage(number, here.energy, here.positions, gradient.reshape(-1, 3), self.energies,
                     float(-0.5 * gradient @ step),
                     float(np.max(np.linalg.norm(step.reshape(-1, 3), axis=1))))

    def newton_step(self) -> Array:
        """The step to the minimum of the quadratic model, 3n, however far."""
        here = self._here
        hessian = self._hessian.at(here.slopes)
        if self._held.all_free:
            whole = _unheld(_rigid_motions(here.positions), self._hessian.tethers)
            if np.linalg.norm(whole @ here.gradient) < _NO_PULL * np.linalg.norm(here.gradient):
                hessian += _RIGID * whole.T @ whole
        return self._held.step(hessian, here.gradient, here.positions)

    def probe(self) -> bool:
        """Measures how stiff the softest motion of the molecule is, which the Hessian then knows,
        and goes along it where the energy falls. Returns whether it does."""
        here = self._here
        whole = _rigid_motions(here.positions)
        if len(whole) == here.gradient.size:
            return False
        found = softest(self._hessian.at(here.slopes) + _OUT_OF_REACH * whole.T @ whole,
                        lambda step: self._look(step).gradient - here.gradient)
        if found.times > _FLAT:
            return False
        downhill = -_FAR if here.gradient @ found.step > 0 else _FAR
        there = self._look(downhill * found.step)
        for _ in range(_TIMES):
            self._hessian.learn(self._here, there)
        if there.energy > here.energy - _NOISE:
            return False
        self._settle(there)
        return True

    def _look(self, step: Array) -> _Point:
        """The point behind a step, of which the Hessian learns."""
        there = self._visit(self._bent(step))
        self._hessian.learn(self._here, there)
        return there

    def go(self, step: Array) -> bool:
        """Takes the step, as far as it is trusted, or shorter ones until the energy falls. Returns
        whether one of them did."""
        while self._trust > _LEAST_TRUST:
            longest = float(np.max(np.linalg.norm(step.reshape(-1, 3), axis=1)))
            part = min(1.0, self._trust / longest) if longest > 0 else 1.0
            places = self._bent(part * step)
            while _press(places, self._here.positions):
                part *= 0.5
                places = self._bent(part * step)
            there = self._visit(places)
            promised = part * (1 - 0.5 * part) * float(
                self._held.allowed(self._here.gradient, self._here.positions) @ step)
            kept = (there.energy - self._here.energy) / promised if promised else 1.0
            self._hessian.learn(self._here, there)
            fell = there.energy <= self._here.energy + _NOISE
            self._adapt_trust(kept, part * longest, part < 1.0, fell)
            if fell:
                self._settle(there)
                return True
            step = self.newton_step()
        return False

    def _adapt_trust(self, kept: float, gone: float, cut: bool, fell: bool) -> None:
        """kept: of the promised fall, the share that came true; gone: how far, Angstrom; cut:
        whether the step wanted to go farther."""
        if not fell or kept < 0.25:
            self._trust = max(0.3 * gone, 0.5 * _LEAST_TRUST)
        elif kept > 0.6 and cut:
            self._trust = min(1.6 * self._trust, _MOST_TRUST)

    # ---- points ---------------------------------------------------------------------------------

    def _visit(self, positions: Array) -> _Point:
        positions = np.asarray(positions, dtype=np.float32).astype(float)
        energy, gradient = self._function(positions)
        self.energies += 1
        gradient = np.asarray(gradient, dtype=float).reshape(-1)
        place = self._hessian.place(positions, gradient)
        return _Point(**vars(place), energy=energy)

    def _settle(self, there: _Point) -> None:
        """Goes on from there, in coordinates that fit."""
        place = self._hessian.renewed(there)
        self._here = there if place is None else _Point(**vars(place), energy=there.energy)

    def _bent(self, step: Array) -> Array:
        """The positions at which the internal coordinates have changed by what the step says to
        first order; the straight step where they cannot."""
        here, internals = self._here, self._hessian.internals
        wanted = here.slopes @ step
        positions: Array = here.positions + step.reshape(-1, 3)
        best, least = positions, float("inf")
        for _ in range(_BACK_STEPS):
            change = internals.difference(internals.values(positions), here.values)
            missing = internals.difference(wanted, change)
            error = float(np.linalg.norm(missing))
            if not error < 0.9 * least:
                break
            best, least = positions, error
            back = self._held.free_part(here.metric.solve(here.slopes.T @ missing))
            positions = positions + back.reshape(-1, 3)
        return self._held.snapped(best)


def _rigid_motions(positions: Array) -> Array:
    """The motions of the whole, orthonormal: three shifts and as many turns as there are, k x 3n.
    """
    size = len(positions)
    arms = positions - positions.mean(axis=0)
    shifts = np.tile(np.eye(3), size) / np.sqrt(size)
    turns = np.stack([np.cross(axis, arms).ravel() for axis in np.eye(3)])
    _, lengths, found = np.linalg.svd(turns, full_matrices=False)
    return np.concatenate([shifts, found[lengths > _NO_TURN]])


def _unheld(whole: Array, tethers: Array) -> Array:
    """Those of orthonormal motions, k x 3n, or of their sums, which pull at no tether."""
    if not np.any(tethers):
        return whole
    stiffness, turn = np.linalg.eigh((whole * tethers) @ whole.T)
    unheld: Array = turn[:, stiffness < _NO_PULL * stiffness[-1]].T @ whole
    return unheld
