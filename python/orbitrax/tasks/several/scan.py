"""The task `scan`: the energy along one or two coordinates, everything else relaxed."""

from __future__ import annotations

import re
from collections import Counter

from orbitrax.errors import Cancelled, Interrupted, NotConverged, OrbitraxError, SettingError
from orbitrax.errors import UsageError
from orbitrax.job import JobSettings
from orbitrax.link.events import Coordinates, Precise, ResultBlock, SearchPoint
from orbitrax.settings import declared, option
from orbitrax.tasks.optimize import Optimize
from orbitrax.tasks.several.coordinates import KINDS, Coordinate, snake
from orbitrax.tasks.task import Run, Task, of_the_mean

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any, ClassVar

    from orbitrax.backend import Backend
    from orbitrax.job import Job
    from orbitrax.link.events import Event
    from orbitrax.methods import Method
    from orbitrax.molecules.molecule import Molecule
    from orbitrax.molecules.restraints import Restraint
    from orbitrax.results.result import Result
    from orbitrax.tasks.task import Listener

OF_SEARCH = ("limit", "cycles", "freeze", "fix")  # settings that each point shares with `optimize`
_ALONG = "along"
_NUMBER = re.compile(r"-?\d+\.\d+")  # what two warnings of one kind differ in


class Point:
    """A point of a scan. asked, reached: values of the coordinates; energy, heat: kcal/mol, None
    where there is none; failure: what went wrong; structure: what the search found; warnings: those
    of its result."""

    def __init__(self, asked: tuple[float, ...], failure: OrbitraxError | None = None):
        self.asked, self.failure = asked, failure
        self.reached: tuple[float, ...] = ()
        self.energy: float | None = None
        self.heat: float | None = None
        self.structure: Molecule | None = None
        self.warnings: list[str] = []

    @property
    def status(self) -> str:
        """Whether it is done, or what went wrong."""
        return self.failure.status if self.failure else "done"

    def row(self) -> dict[str, Any]:
        """As the document has it."""
        return {"asked": list(self.asked), "reached": list(self.reached) or None,
                "total_energy": self.energy, "heat_of_formation": self.heat,
                "status": self.status, "warnings": self.warnings}


class Scanning(Run):
    """A scan: one search after the other, each from the structure of the one before. points: those
    that are over, in their order."""

    task: Scan

    def __init__(self, task: Task, job: Job):
        super().__init__(task, job)
        for one in self.task.along:
            one.held(one.values[0]).check(len(job.molecule))
        self.points: list[Point] = []
        self._best: Result | None = None

    def execute(self, backend: Backend, on_event: Listener | None = None) -> Result:
        """The result of the lowest point. Raises NotConverged where a point has none."""
        start = self.job.molecule
        for asked in snake(self.task.along):
            try:
                if self.points and backend.cancelled:
                    raise Cancelled("the calculation was cancelled")
                result = self._search(backend, asked, start, on_event)
            except (Cancelled, Interrupted, UsageError) as error:
                error.partial = self._ended()
                raise
            except OrbitraxError as error:
                self.points.append(Point(asked, error))
                text = error.partial and of_the_mean(self.job, error.partial)
                self.points[-1].warnings = [text] if text else []
            else:
                start = self._keep(asked, start, result)
                self._tell(result, on_event)
        without = [point.failure for point in self.points if point.failure]
        found = self._ended()
        if without:
            told = NotConverged(f"{len(without)} of {len(self.points)} points have no energy; of "
                                f"the last of them: {without[-1].typed}")
            told.partial = found
            raise told
        assert found is not None
        return found

    def _search(self, backend: Backend, asked: tuple[float, ...], start: Molecule,
                on_event: Listener | None) -> Result:
        """One search, of which those who listen do not hear the structures."""
        along = self.task.along
        held = tuple(one.held(value) for one, value in zip(along, asked))
        values: dict[str, Any] = {name: getattr(self.task, name)
                                  for name in (*JobSettings.options, *OF_SEARCH)}
        values["fix"] = (*self.task.fix, *held)
        task = Optimize(**values)

        def listen(event: Event) -> None:
            if on_event is not None and not isinstance(
                    event, (SearchPoint, ResultBlock, Coordinates, Precise)):
                on_event(event)

        return task.start(start, self.job.method).execute(backend, listen)

    def _keep(self, asked: tuple[float, ...], start: Molecule, result: Result) -> Molecule:
        """Adds a point, and remembers the lowest. Returns the structure."""
        point = Point(asked)
        point.energy, point.heat = result.total_energy, result.heat_of_formation
        point.structure = start.replace(positions=result.coordinates)
        point.warnings = list(result.warnings)
        point.reached = tuple(one.reached(result.coordinates, value)
                              for one, value in zip(self.task.along, asked))
        self.points.append(point)
        if self._best is None or (result.total_energy or 0) < (self._best.total_energy or 0):
            self._best = result
        return point.structure

    def _tell(self, result: Result, on_event: Listener | None) -> None:
        if on_event is not None:
            on_event(SearchPoint(len(self.points) - 1, len(self.points), result.rms_gradient or 0.0,
                                 result.total_energy or 0.0,
                                 list(result.plain("coordinates") or ()), []))

    def _ended(self) -> Result | None:
        """The lowest point, as the result of the scan."""
        if self._best is not None:
            self._best.task = self.task.name
            self._best.warnings = self.warnings()
            self._best.blocks.update(self.block(self._best))
        return self._best

    def warnings(self) -> list[str]:
        """Those of all points, each kind once: that of the first point that has it, and how many
        have one."""
        first: dict[str, str] = {}
        count: Counter[str] = Counter()
        for point in self.points:
            for text in point.warnings:
                kind = _NUMBER.sub("", text)
                count[kind] += 1
                where = ", ".join(f"{one.name} {value:g}"
                                  for one, value in zip(self.task.along, point.asked))
                first.setdefault(kind, f"{where}: {text}")
        told = []
        for kind, text in first.items():
            many = f"{count[kind]} of {len(self.points)} points, the first at "
            told.append((many if count[kind] > 1 else "") + text)
        return told

    def progress(self, text: str) -> str | None:
        """Where the scan is, before what its search says."""
        return f"point {len(self.points) + 1}: {text}"

    def block(self, result: Result | None) -> dict[str, dict[str, Any]]:
        """The entry `scan` of the JSON document."""
        return {"scan": {"coordinates": [{"name": one.name, "unit": one.unit}
                                         for one in self.task.along],
                         "points": [point.row() for point in self.points]}}


def _coordinates(given: Any) -> tuple[Coordinate, ...]:
    """One or two, from texts as "torsion 1,2,3,4=0:180:15"."""
    found = []
    for one in (given,) if isinstance(given, str) else given:
        kind, _, text = str(getattr(one, "text", one)).strip().partition(" ")
        if kind not in KINDS:
            raise SettingError(_ALONG, one, "should begin with stretch, bend or torsion, as in "
                               "torsion 1,2,3,4=0:180:15")
        found.append(Coordinate(kind, text.replace(" ", "")))
    return tuple(found)


@declared
class Scan(Task):
    """The energy along one or two coordinates, each held exactly while everything else relaxes."""

    name: ClassVar[str] = "scan"
    description: ClassVar[str] = (
        "The energy along a distance, an angle or a torsion, or two of them, each held exactly "
        "while everything else relaxes; each point starts from the one before.")
    run_type: ClassVar[type[Run]] = Scanning

    along: tuple[Coordinate, ...] = option(
        (), convert=_coordinates, repeated=True, group="scan", metavar="TEXT",
        help="what is scanned: stretch, bend or torsion, the numbers of its atoms, = FROM:TO:STEP "
             "in Angstrom or degrees, as in torsion 1,2,3,4=0:180:15; one or two of them")
    limit: float = Optimize.options["limit"]  # type: ignore[assignment]
    cycles: int = Optimize.options["cycles"]  # type: ignore[assignment]
    freeze: tuple[int, ...] | None = Optimize.options["freeze"]  # type: ignore[assignment]
    fix: tuple[Restraint, ...] = Optimize.options["fix"]  # type: ignore[assignment]

    def start(self, molecule: Molecule, method: Method | str | int) -> Run:
        """A run; raises SettingError where nothing or too much is scanned."""
        if not 1 <= len(self.along) <= 2:
            raise SettingError(_ALONG, len(self.along), "one or two coordinates can be scanned, as "
                               "torsion 1,2,3,4=0:180:15")
        return super().start(molecule, method)
