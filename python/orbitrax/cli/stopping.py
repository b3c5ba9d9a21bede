"""Ctrl-C for runs that can end at a good moment of their own."""

from __future__ import annotations

import contextlib
import signal

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Iterator

    from orbitrax.cli.terminal import Terminal
    from orbitrax.tasks.task import Run


@contextlib.contextmanager
def stopped_by_keyboard(run: Run, terminal: Terminal) -> Iterator[None]:
    """The first Ctrl-C asks the run to stop, the next one ends it at once."""
    def ask(number: int, frame: object) -> None:
        run.stopping = True
        signal.signal(signal.SIGINT, before)
        terminal.end_progress()
        terminal.warning("stopping with the next frame; Ctrl-C again stops at once")

    before = signal.getsignal(signal.SIGINT)
    signal.signal(signal.SIGINT, ask)
    try:
        yield
    finally:
        signal.signal(signal.SIGINT, before)
