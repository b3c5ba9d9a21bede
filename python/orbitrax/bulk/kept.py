"""Computers that the threads of other people's pools keep from one call to the next.

A worker of Dask lives on after the run, and nobody tells it that nothing more will come: a computer
that has had nothing to do for a while ends its backend. The next call starts another.
"""

from __future__ import annotations

import os
import threading
import time
import weakref
from collections.abc import Iterator
from contextlib import contextmanager

from orbitrax.bulk.one import Computer
from orbitrax.bulk.recipe import Recipe

IDLE = 15.0  # seconds without work after which a backend ends
_LOOK = 1.0  # seconds between two looks


class _Kept:
    def __init__(self, recipe: Recipe):
        self.identity = recipe.identity
        self.computer = Computer(recipe)
        self.at_work = threading.Lock()
        self.since = time.monotonic()


_here = threading.local()
_all: weakref.WeakSet[_Kept] = weakref.WeakSet()  # with a backend, or soon with one
_guard = threading.Lock()  # of _all; taken after at_work, never before


@contextmanager
def kept_computer(recipe: Recipe) -> Iterator[Computer]:
    """What this thread computes with, and keeps for the next time."""
    kept: _Kept | None = getattr(_here, "kept", None)
    if kept is None or kept.identity != recipe.identity:
        if kept is not None:
            with kept.at_work:
                kept.computer.close()
        kept = _here.kept = _Kept(recipe)
    with kept.at_work:
        _watch(kept)
        try:
            yield kept.computer
        finally:
            kept.since = time.monotonic()


def end_idle(now: float) -> int:
    """Ends the backends that have been idle at `now`, by the monotonic clock; how many are left."""
    with _guard:
        waiting = list(_all)
    while waiting:
        kept = waiting.pop()
        if kept.at_work.acquire(blocking=False):
            try:
                if now - kept.since >= IDLE:
                    kept.computer.close()
                    with _guard:
                        _all.discard(kept)
            finally:
                kept.at_work.release()
    with _guard:
        return len(_all)


def _watch(kept: _Kept) -> None:
    with _guard:
        if kept in _all:
            return
        _all.add(kept)
        if len(_all) == 1:
            threading.Thread(target=_look, name="orbitrax-idle", daemon=True).start()


def _look() -> None:
    """Until none is left. The one that comes next finds the list empty, and starts a new thread."""
    while end_idle(time.monotonic()):
        time.sleep(_LOOK)


def _forget() -> None:
    """In a forked child: the backends are the parent's, and no thread has come along."""
    global _guard
    _guard = threading.Lock()
    _all.clear()
    vars(_here).pop("kept", None)


os.register_at_fork(after_in_child=_forget)
