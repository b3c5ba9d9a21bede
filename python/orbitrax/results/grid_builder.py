"""A grid put together from the planes of a session that plots."""

from __future__ import annotations

import numpy as np

from orbitrax.errors import CalculationFailed, InputError, OutOfMemory
from orbitrax.grids.frame import Frame, box_around
from orbitrax.grids.grid import Grid
from orbitrax.grids.plot import POTENTIAL, Plot
from orbitrax.link import events
from orbitrax.results.builder import lacks_memory
from orbitrax.session.reader import PlotReader

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any

    from orbitrax.job import Job
    from orbitrax.results.result import Result


class GridBuilder:
    """Collects the events of a session that plots what a job has left."""

    def __init__(self, plot: Plot | str, frame: Frame | None, job: Job, result: Result):
        self.plot = Plot(plot) if isinstance(plot, str) else plot
        self.frame = frame or box_around(result.coordinates)
        self._job, self._result = job, result
        self._per_plane = 2 if self.plot.kind == POTENTIAL else 1
        self._planes: list[np.ndarray[Any, Any]] = []
        self._errors: list[str] = []
        self._warnings: list[str] = []
        self.frame.check_memory(self._per_plane)

    def reader(self, first: bool) -> PlotReader:
        """What reads the session."""
        columns, rows, planes = self.frame.counts
        return PlotReader(columns * rows, planes * self._per_plane, first)

    def add(self, event: events.Event) -> None:
        """Takes one event."""
        if isinstance(event, events.PlotPlane):
            self._planes.append(event.values)
        elif isinstance(event, events.ErrorLine):
            self._errors.append(event.text)
        elif isinstance(event, events.WarningLine):
            self._warnings.append(event.text)

    def grid(self) -> Grid:
        """The values. A warning about an orbital means that there is none, and that the grid which
        came holds nothing; each plane says it again."""
        if self._errors:
            words = "\n".join(dict.fromkeys(self._errors))
            raise OutOfMemory(words) if lacks_memory(words) else CalculationFailed(words)
        if self._warnings and self.plot.of_orbital:
            raise InputError(self.plot.missing(self._result)
                             or "\n".join(dict.fromkeys(self._warnings)))
        columns, rows, planes = self.frame.counts
        stack = np.array(self._planes).reshape(planes, -1, rows, columns).transpose(1, 3, 2, 0)
        if not np.all(np.isfinite(stack)):
            raise CalculationFailed("the backend sent a number that is not finite, in a plot")
        result = self._result
        return Grid(stack[0], self.frame, self.plot, self._job.molecule.numbers,
                    result.coordinates, self.plot.title(result), self._job.method.title,
                    self.plot.orbital_of(result), stack[1] if self._per_plane == 2 else None)
