"""Signals that end the work at once, but never in the middle of an import."""

from __future__ import annotations

import _signal as signal  # the module without the lists of names
import _thread
import sys
from time import sleep

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Callable
    from types import FrameType

SIGHUP: int | None = getattr(signal, "SIGHUP", None)  # a terminal that closes; not on Windows
_IMPORTING = "<frozen importlib._bootstrap>"  # the file of an import's frames
_AGAIN = 0.005  # seconds until a signal that came too early comes again


def between_imports(end: Callable[[], None]) -> Callable[[int, FrameType | None], None]:
    """A handler of a signal that calls `end`, which raises. While the main thread imports a module
    the signal is sent once more a little later: compiled modules make an error of their own of what
    is raised while they start, and one that was left halfway cannot be imported again."""
    def hear(number: int, frame: FrameType | None) -> None:
        del frame
        if is_importing():
            _thread.start_new_thread(_send_later, (_thread.get_ident(), number))
        else:
            end()

    return hear


def heard() -> list[int]:
    """The signals that ask the program to end: Ctrl-C, SIGTERM, and SIGHUP where it is not ignored,
    as under nohup."""
    found = [signal.SIGINT, signal.SIGTERM]
    if SIGHUP is not None and signal.getsignal(SIGHUP) != signal.SIG_IGN:
        found.append(SIGHUP)
    return [int(number) for number in found]


def name_of(number: int) -> str:
    """What people know one of those by."""
    return {signal.SIGINT: "Ctrl-C", signal.SIGTERM: "SIGTERM"}.get(number, "SIGHUP")


def is_importing() -> bool:
    """Whether what runs now, in this thread, runs for the sake of an import."""
    frame: FrameType | None = sys._getframe()
    while frame is not None and frame.f_code.co_filename != _IMPORTING:
        frame = frame.f_back
    return frame is not None


def _send_later(thread: int, number: int) -> None:
    sleep(_AGAIN)
    signal.pthread_kill(thread, number)
