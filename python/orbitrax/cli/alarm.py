"""A limit of time on what happens before there is a session that keeps it: reading a molecule,
looking for its neighbours, writing its packets."""

from __future__ import annotations

import _signal as signal
import time

from orbitrax.errors import TimeLimitExceeded

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any


class Alarm:
    """Raises TimeLimitExceeded within its `with` block after so many seconds, by SIGALRM, unless it
    is stopped before. seconds: None for no limit. Outside the main thread, and where there is no
    such signal, it does nothing."""

    def __init__(self, seconds: float | None):
        self._seconds = seconds
        self._end = 0.0
        self._before: Any = None

    def __enter__(self) -> Alarm:
        if self._seconds is None:
            return self
        self._end = time.monotonic() + self._seconds
        try:
            self._before = signal.signal(signal.SIGALRM, self._ring)
            signal.setitimer(signal.ITIMER_REAL, self._seconds)
        except (AttributeError, ValueError):
            self._before = None
        return self

    def __exit__(self, *_: object) -> None:
        self.stop()

    def stop(self) -> None:
        """From now on it does not ring."""
        if self._before is not None:
            signal.setitimer(signal.ITIMER_REAL, 0.0)
            signal.signal(signal.SIGALRM, self._before)
            self._before = None

    def left(self) -> float | None:
        """Seconds that are left, None where there is no limit."""
        return None if self._seconds is None else max(self._end - time.monotonic(), 0.0)

    @staticmethod
    def _ring(*_: object) -> None:
        raise TimeLimitExceeded("the time limit passed before the calculation began")
