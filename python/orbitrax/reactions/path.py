"""The way from a saddle point down to both sides, and the minima in which it ends."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Any, Callable

import numpy as np

from orbitrax.errors import NotConverged
from orbitrax.reactions.downhill import Branch, Point, descend
from orbitrax.reactions.surface import EnergySurface
from orbitrax.results.result import Result
from orbitrax.tasks.optimize import Optimize
from orbitrax.tasks.ts import imaginary_of, modes_at, said

_END_LIMIT = 0.05  # kcal/(mol Angstrom): of the minima
_END_CYCLES = 200
_FLAT = 1e-4  # kcal/mol: what is no lower than this below a saddle point is the same place


@dataclass
class Path:
    """A path. saddle: its highest point, with `modes`; branches: its two sides; ends: the minima
    next to their last points, or where the search for one has stopped, for the reason in
    `reasons`."""

    saddle: Result
    branches: tuple[Branch, Branch]
    ends: tuple[Result | None, Result | None]
    reasons: tuple[str, str]

    @property
    def points(self) -> list[Point]:
        """All points in their order, from one side to the other."""
        first = [Point(-point.s, point.energy, point.positions, point.gradient)
                 for point in self.branches[0].points]
        return [*first[::-1], point_of(self.saddle), *self.branches[1].points]

    @property
    def warnings(self) -> list[str]:
        """Those of the saddle point and of both ends."""
        return warnings_of({"saddle point": self.saddle, "side 1": self.ends[0],
                            "side 2": self.ends[1]})

    def turned(self) -> Path:
        """The same path, from the other side."""
        return Path(self.saddle, self.branches[::-1], self.ends[::-1], self.reasons[::-1])


def warnings_of(results: dict[str, Result | None]) -> list[str]:
    """The warnings of results by their names: whose each is, unless it is of all of them."""
    there = {name: result for name, result in results.items() if result is not None}
    told = []
    for text in dict.fromkeys(text for one in there.values() for text in one.warnings):
        names = [name for name, one in there.items() if text in one.warnings]
        told.append(text if len(names) == len(there) else f"{' and '.join(names)}: {text}")
    return told


def point_of(result: Result) -> Point:
    """A result as the point of a path at which its length begins."""
    assert result.total_energy is not None and result.gradient is not None
    places, slopes = (np.asarray(flat, dtype=float).reshape(-1, 3)
                      for flat in (result.coordinates, result.gradient))
    return Point(0.0, result.total_energy, places, slopes)


def follow_path(surface: EnergySurface, saddle: Result, *, step: float = 0.1, most: int = 200,
                on_point: Callable[[int, Point], None] | None = None) -> Path:
    """Follows the path from a saddle point whose modes are known down to both sides, and optimises
    what stands at its ends. on_point: called with the side, 0 or 1, and each point."""
    modes = saddle.modes
    assert modes is not None
    branches, ends, reasons = [], [], []
    start = point_of(saddle)
    way = modes.vectors[0]
    way = way * np.sign(way[np.argmax(np.abs(way))])  # an eigenvector has no sign of its own
    for side, sign in enumerate((-1.0, 1.0)):
        surface.stage = f"path, side {side + 1}"

        def told(point: Point, side: int = side) -> None:
            surface.tell(point.energy, point.positions, point.gradient)
            if on_point is not None:
                on_point(side, point)

        branch = descend(surface, start, sign * way, modes.hessian, modes.masses, step=step,
                         most=most, on_point=told)
        branches.append(branch)
        last = branch.points[-1].positions if branch.points else start.positions
        surface.stage = f"minimum, side {side + 1}"
        end, why = _minimum(surface, last)
        why = why or _not_below(end, start)
        ends.append(end)
        reasons.append(why)
    return Path(saddle, (branches[0], branches[1]), (ends[0], ends[1]), (reasons[0], reasons[1]))


def _not_below(end: Result | None, saddle: Point) -> str:
    """Why what stands at the end of a path is none of its ends; empty where it lies lower."""
    if end is None or end.total_energy is None or end.total_energy < saddle.energy - _FLAT:
        return ""
    return (f"what stands there lies {end.total_energy - saddle.energy + 0.0:.4f} kcal/mol above "
            "the saddle point: the way down was lost; take a smaller --step")


def _minimum(surface: EnergySurface, positions: Any) -> tuple[Result | None, str]:
    task = Optimize(limit=_END_LIMIT, cycles=_END_CYCLES, **surface.shared)
    try:
        return surface.search(task, positions), ""
    except NotConverged as error:
        flat = error.partial is not None and error.partial.gradient is not None
        return (error.partial if flat else None), error.typed


def verified(surface: EnergySurface, positions: Any) -> Result:
    """The modes of a structure that should be a saddle point, with the warnings of its state.
    Raises NotConverged for one that is none, or whose electrons are in no state to be believed."""
    from orbitrax.job import Job, JobSettings
    from orbitrax.tasks.task import judge_scf, warn_of_the_mean
    from orbitrax.vibrations.gas import STATIONARY

    job = Job(surface.molecule.replace(positions=positions), surface.method,
              JobSettings(**surface.shared))
    result = surface.heeded(surface.backend.run(job))
    result.warnings += result.state_remarks
    judge_scf(job, result)
    warn_of_the_mean(job, result)
    if result.rms_gradient is None or result.rms_gradient > STATIONARY:
        raise NotConverged(f"this structure is no stationary point (RMS gradient "
                           f"{result.rms_gradient or 0.0:.3f} kcal/(mol Angstrom)): take it "
                           "through 'orbitrax ts' first")
    found = modes_at(surface.backend, job, result)
    if found.modes is None or len(imaginary_of(found.modes)) != 1:
        kind = "unknown" if found.modes is None else said(found.modes)
        raise NotConverged(f"this structure is {kind}, not a first-order saddle point: take it "
                           "through 'orbitrax ts' first")
    found.warnings = list(dict.fromkeys([*result.warnings, *found.warnings]))
    return found
