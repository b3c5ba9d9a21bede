"""What ends a run early: Ctrl-C, at a good moment of its own, and the time limit while no backend
watches it."""

from __future__ import annotations

import contextlib
import signal
import threading

from orbitrax.errors import TimeLimitExceeded
from orbitrax.interrupts import is_importing

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Iterator

    from orbitrax.cli.terminal import Terminal
    from orbitrax.tasks.task import Run


_AGAIN = 0.005  # seconds until a time limit that passed in an import is looked at again


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


@contextlib.contextmanager
def reading_until(limit: float) -> Iterator[None]:
    """Holds the reading of a molecule to the time limit, seconds."""
    def end(*_: object) -> None:
        if is_importing():  # the timer comes again
            return
        signal.setitimer(signal.ITIMER_REAL, 0)
        raise TimeLimitExceeded("the time limit passed while the molecule was read")

    if threading.current_thread() is not threading.main_thread():
        yield
        return
    before = signal.signal(signal.SIGALRM, end)
    signal.setitimer(signal.ITIMER_REAL, limit, _AGAIN)
    try:
        yield
    finally:
        signal.setitimer(signal.ITIMER_REAL, 0)
        signal.signal(signal.SIGALRM, before)
