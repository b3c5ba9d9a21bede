"""Limits of one molecule: a thread that ends what takes too long or too much memory."""

from __future__ import annotations

import os
import threading
import time
from collections.abc import Callable

from orbitrax.backend import Backend

_LOOK = 0.1  # seconds between two looks
_PATIENCE = 0.4  # seconds after which one that does not end is left to `overrun`
_PAGE = os.sysconf("SC_PAGE_SIZE") if hasattr(os, "sysconf") else 4096


def resident(pid: int | None) -> int:
    """Bytes of memory that a process holds; 0 where the system does not tell."""
    if pid is None:
        return 0
    try:
        with open(f"/proc/{pid}/statm", "rb") as file:
            return int(file.read().split()[1]) * _PAGE
    except (OSError, ValueError, IndexError):
        return 0


class Watch:
    """Watches over one molecule after the other. time_limit: seconds, memory_limit: bytes of the
    backend; None for none. overrun: called, in the thread of the watch, with the reason of one that
    goes on although its backend has been ended."""

    def __init__(self, backend: Backend, time_limit: float | None, memory_limit: int | None,
                 overrun: Callable[[str], None] | None = None):
        self._backend, self._overrun = backend, overrun
        self._time_limit, self._memory_limit = time_limit, memory_limit
        self._guard = threading.Lock()  # of the next three
        self._began: float | None = None
        self.reason: str | None = None
        self._asked = 0.0  # seconds of the molecule after which its backend was first ended
        self.watches = time_limit is not None or memory_limit is not None
        if self.watches:
            threading.Thread(target=self._look, daemon=True).start()

    def begin(self) -> None:
        """A molecule begins."""
        with self._guard:
            self.reason = None
            self._began = time.monotonic()

    def end(self) -> None:
        """It has ended."""
        with self._guard:
            self._began = None

    def _look(self) -> None:
        while True:
            time.sleep(_LOOK)
            self.look()

    def look(self) -> None:
        """Ends the molecule at work where it is over a limit, and no other that has begun since."""
        began = self._began
        if began is None:
            return
        took = time.monotonic() - began
        exceeded = None if self.reason else self._exceeded(took)
        with self._guard:
            if began != self._began:
                return
            if exceeded is not None:
                self.reason, self._asked = exceeded, took
            reason = self.reason
            if reason is None:
                return
            self._backend.cancel()
        if took - self._asked > _PATIENCE and self._overrun is not None:
            self._overrun(reason)

    def _exceeded(self, took: float) -> str | None:
        if self._time_limit is not None and took >= self._time_limit:
            return f"it took longer than the time limit of {self._time_limit:g} s"
        if self._memory_limit is not None:
            held = resident(self._backend.pid)
            if held > self._memory_limit:
                return (f"its backend held {held >> 20} MiB, more than the memory limit of "
                        f"{self._memory_limit / 2**20:g} MiB")
        return None
