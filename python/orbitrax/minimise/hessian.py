"""The Hessian of a search: a model's, what is known from elsewhere, and what the steps have shown.

It lives in internal coordinates, and is carried over to the positions where it is asked for.
"""

from __future__ import annotations

from dataclasses import dataclass, field

import numpy as np

from orbitrax.minimise.arrays import Array
from orbitrax.minimise.factored import Factored
from orbitrax.minimise.internals import Internals
from orbitrax.minimise.known import beyond_model
from orbitrax.minimise.model import force_constants

_MEMORY = 60  # steps that the Hessian remembers
_FLOOR = 0.02  # kcal/(mol square Angstrom): stiffness of motions that no coordinate describes
_LEAST_CHANGE = 1e-6  # that any motion makes, per square Angstrom, so that forces can be told
_ROUNDING = 1e-12  # of the largest change; a torsion beside a line has 1e12 per square Angstrom
_NO_CURVATURE = 1e-30  # kcal/mol; a torn bond has 1e-11 in the model, and learns all the same

Seen = tuple[Array, Array]  # positions, n x 3, and the gradient there, 3n
Tether = tuple[int, Array, float]  # atom, its place, kcal/(mol square Angstrom)

@dataclass
class Place:
    """A geometry and its gradient, and what internal coordinates make of them."""

    positions: Array  # n x 3
    gradient: Array  # 3n
    values: Array
    slopes: Array  # B, coordinates x 3n
    forces: Array  # the gradient by the internal coordinates
    metric: Factored  # how much they change with the positions, 3n x 3n, made invertible


@dataclass(frozen=True)
class Known:
    """What is known of a molecule before the search. numbers: atomic numbers, n; bonds, links,
    springs, hessian and tethers as `minimise` takes them."""

    numbers: Array
    bonds: list[tuple[int, int]]
    links: list[tuple[int, int]]
    springs: dict[tuple[int, ...], float]
    hessian: Array | None
    tethers: list[Tether] = field(default_factory=list)


class Hessian:
    """The Hessian, and the internal coordinates that it is written in."""

    def __init__(self, known: Known, positions: Array):
        """positions: n x 3 in Angstrom, where the search begins."""
        self._told, self._start = known, positions
        self.tethers = np.zeros(positions.size)  # how stiff they are, by the positions
        self._tied = np.zeros(positions.size)  # and that times where they lead
        for atom, place, constant in known.tethers:
            self.tethers[3 * atom:3 * atom + 3] += constant
            self._tied[3 * atom:3 * atom + 3] += constant * np.asarray(place)
        self._ends: list[tuple[Seen, Seen]] = []  # of the steps that it has learned from
        self._write(positions)

    def _write(self, positions: Array) -> None:
        """Takes the coordinates that the molecule has at these positions, and their model."""
        known = self._told
        self.internals = Internals(positions, known.bonds, [*known.links, *known.springs])
        self._stiffness = force_constants(self.internals, known.numbers, positions)
        nothing = np.zeros((len(self._stiffness), 0))
        self._known = (nothing, nothing) if known.hessian is None else beyond_model(
            known.hessian, self.internals.slopes(self._start), self._stiffness, _FLOOR)
        for atoms, constant in known.springs.items():
            place = self.internals.place(atoms)
            if place is not None:
                self._stiffness[place] += constant
        self._pairs: list[tuple[Array, Array]] = []  # steps, and changes of the forces

    def place(self, positions: Array, gradient: Array) -> Place:
        """positions: n x 3, gradient: 3n."""
        values, slopes = self.internals.values_and_slopes(positions)
        metric = self.internals.square(slopes, np.ones(len(slopes)))
        diagonal = np.diag_indices_from(metric)
        metric[diagonal] += _LEAST_CHANGE + _ROUNDING * np.max(metric[diagonal], initial=0.0)
        factored = Factored(metric)
        own = gradient - self.tethers * positions.ravel() + self._tied  # tethers pull the whole
        return Place(positions, gradient, values, slopes, slopes @ factored.solve(own), factored)

    def at(self, slopes: Array) -> Array:
        """That by the positions, 3n x 3n, where the coordinates have these slopes."""
        hessian = self.internals.square(slopes, self._stiffness)
        for sign, vectors in self._corrections():
            carried = slopes.T @ vectors
            hessian += sign * (carried @ carried.T)  # half the work of others, being symmetric
        hessian[np.diag_indices_from(hessian)] += _FLOOR + self.tethers
        return hessian

    def learn(self, before: Place, after: Place) -> None:
        """Remembers how the forces changed on the way from one place to another."""
        self._pairs.append(self._pair((before.values, before.forces), (after.values, after.forces)))
        self._ends.append(((before.positions, before.gradient), (after.positions, after.gradient)))
        del self._pairs[:-_MEMORY], self._ends[:-_MEMORY]

    def renewed(self, here: Place) -> Place | None:
        """Where the coordinates no longer fit a place: that place in others, in which all that was
        learned is written anew. None where they fit."""
        if self.internals.fit(here.positions):
            return None
        self._write(here.positions)
        written: dict[int, tuple[Array, Array]] = {}
        for seen in (seen for ends in self._ends for seen in ends if id(seen[0]) not in written):
            place = self.place(*seen)
            written[id(seen[0])] = place.values, place.forces
        self._pairs = [self._pair(*(written[id(seen[0])] for seen in ends)) for ends in self._ends]
        return self.place(here.positions, here.gradient)

    def _pair(self, before: tuple[Array, Array], after: tuple[Array, Array]
              ) -> tuple[Array, Array]:
        """The step, and the change of the forces, from values and forces."""
        return self.internals.difference(after[0], before[0]), after[1] - before[1]

    def _corrections(self) -> list[tuple[int, Array]]:
        """What is added to the model: vectors, coordinates x any number, whose outer products are
        added (+1) or taken away (-1): those of a known Hessian first, then what BFGS adds. A change
        of the forces that would make the Hessian indefinite is mixed with the expected one (M. J.
        D. Powell, 1978)."""
        start = [known.shape[1] for known in self._known]
        added, taken = (np.hstack([known, np.zeros((len(known), len(self._pairs)))])
                        for known in self._known)
        for k, (step, change) in enumerate(self._pairs):
            a, t = added[:, :start[0] + k], taken[:, :start[1] + k]
            expected = self._stiffness * step + a @ (step @ a) - t @ (step @ t)
            curvature, model = float(step @ change), float(step @ expected)
            if not model > _NO_CURVATURE:
                continue
            if curvature < 0.2 * model:
                share = 0.8 * model / (model - curvature)
                change = share * change + (1 - share) * expected
                curvature = 0.2 * model
            added[:, start[0] + k] = change / np.sqrt(curvature)
            taken[:, start[1] + k] = expected / np.sqrt(model)
        return [(1, added), (-1, taken)]
