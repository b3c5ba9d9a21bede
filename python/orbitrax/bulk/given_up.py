"""Ends what a worker of Dask computes for nobody: a run was cancelled, or its client has died."""

from __future__ import annotations

import threading
from collections.abc import Callable

_LOOK = 0.2  # seconds between two looks at the task


class GivenUp:
    """While it is entered: once the task of Dask that this thread is at is wanted no more,
    `happened` is true and `end` is called, from another thread, until the block is left. Without
    effect in a thread that is at no task."""

    def __init__(self, end: Callable[[], None]):
        self._end, self._unwanted = end, _task_here()
        self._left = threading.Event()
        self.happened = False

    def __enter__(self) -> GivenUp:
        if self._unwanted is not None:
            threading.Thread(target=self._look, args=(self._unwanted,), daemon=True).start()
        return self

    def __exit__(self, *_: object) -> None:
        self._left.set()

    def _look(self, unwanted: Callable[[], bool]) -> None:
        while not self._left.wait(_LOOK):
            if unwanted():
                self.happened = True
                self._end()


def _task_here() -> Callable[[], bool] | None:
    """Tells whether the task of this thread is wanted no more; None where there is none."""
    try:
        from distributed import get_worker
        from distributed.worker import thread_state

        key, tasks = thread_state.key, get_worker().state.tasks
    except (ImportError, ValueError, AttributeError):  # no Dask, no worker, an older one
        return None

    def unwanted() -> bool:
        task = tasks.get(key)
        return task is None or task.state == "cancelled"

    return unwanted
