"""Report points: what a search or a trajectory tells of itself on its way."""

from __future__ import annotations

from orbitrax.link import events

TYPE_CHECKING = False
if TYPE_CHECKING:
    from array import array
    from collections.abc import Callable
    from typing import Any


class ReportPoint:
    """A report point. values: by name, as the JSON document has them; xyz: 3 n, Angstrom; gradient:
    3 n, kcal/(mol Angstrom), or None."""

    __slots__ = ("values", "xyz", "gradient")

    def __init__(self, values: dict[str, Any], xyz: array[float] | None,
                 gradient: array[float] | None):
        self.values, self.xyz, self.gradient = values, xyz, gradient


class ReportPoints:
    """Puts report points together from the events of a job.

    fields: what is taken of each result block, by the names of its fields. values: those of all
    points so far; last: the last one. Every listener is called with each point as it comes.
    """

    def __init__(self, fields: dict[str, str]):
        self._fields = fields
        self.values: list[dict[str, Any]] = []
        self.last: ReportPoint | None = None
        self.listeners: list[Callable[[ReportPoint], None]] = []
        self._point: dict[str, Any] = {}
        self._xyz: array[float] | None = None

    @property
    def since_the_start(self) -> float:
        """By how much the energy of the last point is above that of the first, kcal/mol."""
        change: float = self.values[-1]["total_energy"] - self.values[0]["total_energy"]
        return change

    def live(self, text: str) -> str | None:
        """What is shown while a search works, for a status line of the backend: the last point, in
        the quantities of its row, and what the SCF does. None for what is shown already."""
        words = text.replace("[", " ").replace("]", " ").replace("=", " ").split()
        told = dict(zip(words, words[1:]))
        cycle = told.get("Iteration") or told.get("Iter")
        if cycle is None:
            return None if self.last is not None or text.startswith("E=") else text
        change = told.get("Difference") or told.get("Diff")
        scf = f"SCF cycle {cycle}, change {change}"
        if self.last is None:
            return scf
        last = self.last.values
        return (f"cycle {last['cycle']}: {self.since_the_start:+.4f} kcal/mol, gradient "
                f"{last['rms_gradient']:.4f}; {scf}")

    def collect(self, event: events.Event) -> None:
        """Takes an event; the precise results are the last of a point."""
        if isinstance(event, events.ResultBlock):
            self._point = {name: event.values[field] for field, name in self._fields.items()}
        elif isinstance(event, events.Coordinates):
            self._xyz = event.values
        elif isinstance(event, events.Precise):
            self._point["total_energy"] = event.sections["energies"]["total_energy"]
            xyz = event.sections.get("coordinates", self._xyz)
            self._finish(ReportPoint(self._point, xyz, event.values))
        elif isinstance(event, events.SearchPoint):
            from array import array

            values = {"cycle": event.cycle, "energy_points": event.energy_points,
                      "rms_gradient": event.rms_gradient, "total_energy": event.total_energy}
            self._finish(ReportPoint(values, array("d", event.xyz), array("d", event.gradient)))

    def _finish(self, point: ReportPoint) -> None:
        if self.last is not None and self.last.xyz == point.xyz:
            self.values[-1] = point.values  # the end of the job repeats its last report point
            self.last = point
            return
        self.values.append(point.values)
        self.last = point
        for listener in self.listeners:
            listener(point)
