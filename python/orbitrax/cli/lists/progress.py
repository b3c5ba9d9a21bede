"""How far a batch is: a line that lives on a terminal, a plain one now and then elsewhere."""

from __future__ import annotations

import os
import sys
import time
from contextlib import suppress
from typing import Any

from orbitrax.bulk.campaign import Progress
from orbitrax.bulk.engine import Engine
from orbitrax.bulk.one import Answer
from orbitrax.cli.terminal import Terminal

_LIVE, _PLAIN = 0.25, 60.0  # seconds between two lines
_MOST_REASONS = 20  # failures that are said one by one
_PIECE = 1 << 20


class Display:
    """Shows how far a batch is, by rich where it is installed."""

    def __init__(self, terminal: Terminal, arguments: Any, engine: Engine, progress: Progress):
        self._terminal, self._engine, self._progress = terminal, engine, progress
        self._total = count_of(arguments.list) if arguments.shard is None else None
        self._quiet = arguments.quiet
        self._is_terminal = sys.stderr.isatty()
        self._shown, self._reasons = time.monotonic(), 0
        self._live: Any = None

    def __enter__(self) -> Display:
        if self._is_terminal and not self._quiet:
            self._live = _rich_line()
        if self._live is not None:
            self._live.start()
        return self

    def __exit__(self, *_: object) -> None:
        if self._live is not None:
            self._live.stop()
        self._terminal.end_progress()

    def answer(self, answer: Answer) -> None:
        """Says why a molecule has no result, of the first ones."""
        if answer.status == "done" or self._reasons > _MOST_REASONS:
            return
        self._reasons += 1
        self._terminal.end_progress()
        if self._reasons > _MOST_REASONS:
            self._terminal.warning("further failures stand in the results; 'orbitrax status' "
                                   "counts them")
            return
        self._terminal.warning(f"{answer.id}: {answer.status}: {answer.reason}")

    def look(self) -> None:
        """Shows the line where it is time to."""
        now = time.monotonic()
        if now - self._shown < (_LIVE if self._is_terminal else _PLAIN):
            return
        self._shown = now
        if self._live is not None:
            self._live.update(self.text())
        elif self._is_terminal:
            self._terminal.progress(self.text())
        else:
            self._terminal.tell(self.text())

    def text(self) -> str:
        """Done, failed, rate, remaining, and the slowest at work."""
        progress = self._progress
        parts = [f"{progress.known + progress.statuses['done']} done", f"{progress.failed} failed",
                 f"{progress.rate:.1f}/s"]
        if self._total is not None:
            left = max(0, self._total - progress.known - progress.total)
            parts.append(f"{left} left" + (f", {_time(left / progress.rate)}"
                                           if progress.rate > 0 else ""))
        slowest = self._engine.slowest()
        if slowest is not None and slowest[1] >= 1:
            parts.append(f"slowest now {slowest[0]}, {slowest[1]:.0f} s")
        return "; ".join(parts)


def _rich_line() -> Any:
    try:
        from rich.console import Console
        from rich.live import Live
        from rich.text import Text
    except ImportError:
        return None

    class Line(Live):
        """A terminal that has been closed takes no line, and the batch goes on or ends without."""

        def update(self, text: Any, *, refresh: bool = True) -> None:
            with suppress(OSError):
                super().update(Text(str(text), no_wrap=True, overflow="ellipsis"), refresh=refresh)

        def stop(self) -> None:
            with suppress(OSError):
                super().stop()

    return Line(console=Console(stderr=True), transient=True, auto_refresh=False)


def _time(seconds: float) -> str:
    """A duration as a person says it."""
    if seconds < 90:
        return f"{seconds:.0f} s"
    return f"{seconds / 60:.0f} min" if seconds < 5400 else f"{seconds / 3600:.1f} h"


def count_of(paths: list[str]) -> int | None:
    """About how many molecules lists hold; None where that takes reading them."""
    total = 0
    for path in paths:
        ending = os.path.splitext(path)[1].lower()
        mark = {".csv": b"\n", ".tsv": b"\n", ".smi": b"\n", ".sdf": b"$$$$\n"}.get(ending)
        if mark is None or not os.path.isfile(path):
            return None
        with open(path, "rb") as file:
            while piece := file.read(_PIECE):
                total += piece.count(mark)
        total -= mark == b"\n" and ending != ".smi"
    return total
