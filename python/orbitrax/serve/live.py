"""What a run tells the page on its way: lines of status and report, and points with a structure."""

from __future__ import annotations

import time

from orbitrax.link import events

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Callable, Sequence
    from typing import Any

    Tell = Callable[[dict[str, Any]], None]

_EVERY = 0.1  # s between two messages
_MOST_NUMBERS = 1_500_000  # coordinates that are kept of all frames
_MOST_LINES = 400  # of the report in one message


class Watcher:
    """Follows the events of a run. frames: the structures that came by, at even distances where
    they are too many: dicts of n, energy (kcal/mol), time_ps, temperature, rms_gradient and xyz."""

    def __init__(self, tell: Tell, progress: Callable[[str], str | None]):
        self._tell, self._progress = tell, progress
        self.frames: list[dict[str, Any]] = []
        self._stride = self._count = 0
        self._block: dict[str, Any] = {}
        self._xyz: Sequence[float] | None = None
        self._lines: list[str] = []
        self._points: list[dict[str, Any]] = []
        self._status: str | None = None
        self._told = 0.0

    def listen(self, event: events.Event) -> None:
        """Takes an event."""
        if isinstance(event, events.StatusLine):
            self._status = self._progress(event.text) or self._status
        elif isinstance(event, (events.LogLine, events.WarningLine, events.ErrorLine)):
            self._lines.append(event.text)
        elif isinstance(event, events.ResultBlock):
            self._block = event.values
        elif isinstance(event, events.Coordinates):
            self._xyz = event.values
        elif isinstance(event, events.Precise) and self._xyz is not None:
            self._finish(event.sections)
        elif isinstance(event, events.SearchPoint):
            self._keep({"energy": event.total_energy, "rms_gradient": event.rms_gradient},
                       event.xyz)
        if time.monotonic() - self._told > _EVERY:
            self.flush()

    def _finish(self, sections: dict[str, Any]) -> None:
        xyz = sections.get("coordinates")
        values = {"energy": sections["energies"]["total_energy"],
                  "rms_gradient": self._block.get("flRmsGradient")}
        if self._block.get("flTime"):
            values.update(time_ps=self._block["flTime"],
                          temperature=self._block.get("flTemperature"))
        self._keep(values, self._xyz if xyz is None else xyz)
        self._xyz = None

    def _keep(self, values: dict[str, Any], xyz: Sequence[float] | None) -> None:
        assert xyz is not None
        places = [round(x, 4) for x in xyz]
        if self.frames and self.frames[-1]["xyz"] == places:
            return  # the end of a job repeats its last point
        point = {"n": self._count, **values}
        self._points.append(point)
        if self._count % (1 << self._stride) == 0:
            self.frames.append({**point, "xyz": places})
            self._thin(len(places))
        self._latest = places
        self._count += 1

    def _thin(self, numbers: int) -> None:
        if len(self.frames) * numbers > _MOST_NUMBERS and len(self.frames) > 2:
            self.frames = self.frames[::2]
            self._stride += 1

    def flush(self) -> None:
        """Tells what there is."""
        message: dict[str, Any] = {}
        if self._points:
            message.update(points=self._points, xyz=self._latest)
        if self._lines:
            message["log"] = self._lines[-_MOST_LINES:]
        if self._status:
            message["status"] = self._status
        if message:
            self._tell({"type": "live", **message})
        self._points, self._lines, self._status = [], [], None
        self._told = time.monotonic()
