"""AM1 for the charges: energies, gradients and populations of one molecule at many geometries.

All that this package asks of the backend passes through `_single_point`.
"""

from __future__ import annotations

from dataclasses import dataclass
from typing import Any

import numpy as np

from orbitrax.backend import Backend
from orbitrax.errors import NotConverged
from orbitrax.job import Job
from orbitrax.minimise.arrays import Array
from orbitrax.molecules.molecule import Molecule

# What is tried, in this order, until an SCF converges. The first goes on from the density of the
# geometry before, which spares it a third of the cycles or more.
_ATTEMPTS: tuple[dict[str, Any], ...] = (
    {"scf_iterations": 300, "stability": "none"},
    {"level_shift_start": 0, "scf_iterations": 300},
    {"level_shift_start": 0, "scf_iterations": 500, "diis": False},
    {"scf_iterations": 2000, "diis": False},
    {"scf_iterations": 2000, "level_shift_start": 20},
)
# The error of a gradient grows as the root of the limit: at 1e-6 kcal/mol it is 0.003 kcal/(mol
# Angstrom). Far from a minimum it may be so large a part of the gradient.
_PART = 0.05
_LIMIT_AT_ONE = 1e-6 / 0.003**2  # kcal/mol, for an error of 1 kcal/(mol Angstrom)
_SHARPEST, _LOOSEST = 1e-8, 1e-3  # kcal/mol
_MUCH_LOOSER = 10.0  # an SCF that ended with a limit so many times what its point needs goes on


@dataclass(frozen=True)
class Point:
    """One geometry. energy kcal/mol, restraints included; gradient n x 3, kcal/(mol Angstrom);
    charges n, e; heat_of_formation kcal/mol, without restraints; cycles of its SCF."""

    energy: float
    gradient: Array
    charges: Array
    heat_of_formation: float
    cycles: int


class Am1:
    """A molecule as a function of its positions: called with n x 3, Angstrom, it returns energy
    and gradient, and keeps the rest for `point`. It counts energies, and those that needed more
    than the first attempt at the SCF.

    numbers: atomic numbers, n. charge: of the whole. restraints: texts as `Job` takes them. method:
    another one in place of AM1.
    """

    def __init__(self, backend: Backend, numbers: Array, charge: int,
                 restraints: tuple[str, ...] = (), method: str = "am1"):
        self._backend, self._numbers, self._charge = backend, numbers, charge
        self._restraints, self._method = restraints, method
        self._points: dict[bytes, Point] = {}
        self._limit = _SHARPEST  # of the next SCF
        self.energies = self.retries = 0

    def __call__(self, positions: Array) -> tuple[float, Array]:
        """Energy and gradient. Raises NotConverged if no attempt at the SCF converges."""
        point = self.point(positions)
        return point.energy, point.gradient

    def point(self, positions: Array) -> Point:
        """All that is known of a geometry."""
        positions = np.asarray(positions, dtype=float)
        key = positions.tobytes()
        if key not in self._points:
            self._points[key] = self._compute(positions)
        return self._points[key]

    def _compute(self, positions: Array) -> Point:
        """A new point, by an SCF as sharp as the point before it asks for, or it itself."""
        density = "follow" if self.energies else "leave"
        self.energies += 1
        limit = self._limit
        point = self._converged(positions, density, limit)
        self._limit = _limit_for(point.gradient)
        if limit > _MUCH_LOOSER * self._limit:
            point = self._converged(positions, "follow", self._limit)
        return point

    def _converged(self, positions: Array, density: str, limit: float) -> Point:
        for place, settings in enumerate(_ATTEMPTS):
            molecule = Molecule(self._numbers, positions, charge=self._charge, multiplicity=1)
            point = _single_point(self._backend, Job(
                molecule, self._method, scf_limit=limit, restrain=self._restraints,
                scf_start=density, **settings))
            if point is not None:
                self.retries += place > 0
                return point
        raise NotConverged(f"the SCF iterations did not converge in any of {len(_ATTEMPTS)} ways; "
                           f"are charge ({self._charge}) and geometry right?")


def _limit_for(gradient: Array) -> float:
    """How sharp an SCF has to be near a point with this gradient, kcal/mol."""
    rms = float(np.sqrt(np.mean(gradient ** 2)))
    return min(max(_LIMIT_AT_ONE * (_PART * rms) ** 2, _SHARPEST), _LOOSEST)


def _single_point(backend: Backend, job: Job) -> Point | None:
    """One closed-shell calculation; None if its SCF does not converge."""
    result = backend.run(job)
    total, heat = result.total_energy, result.heat_of_formation
    if not result.converged or result.gradient is None or total is None or heat is None:
        return None
    return Point(total, result.gradient, np.asarray(result.charges),
                 heat - (result.restraint_energy or 0.0), result.scf_iterations or 0)
