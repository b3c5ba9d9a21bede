"""Runs in a row on one backend, which is told of the next ones while it computes the first.

Neither side then waits for the other, and several results are read at a time, while what it takes
to read them is at hand.
"""

from __future__ import annotations

import time
from collections import deque
from functools import partial
from itertools import chain, islice

from orbitrax.backend import gathered
from orbitrax.errors import Cancelled, OrbitraxError
from orbitrax.link.process import SHORT_PATIENCE

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Callable, Generator, Iterable, Iterator

    from orbitrax.backend import Backend
    from orbitrax.link.events import Event
    from orbitrax.results.result import Result
    from orbitrax.tasks.task import Run

    Execute = Callable[[], Result]

_MOST = 16  # runs of which a process knows
_PATIENCE = 0.01  # seconds for which it waits for further ones, whose molecules take time to read
_BYTES = 65536  # that tell of them: far less than a socket holds, so that telling never waits


class Row:
    """Runs on a backend, in their order. Iterating gives for each a function, to be called once
    before the next is taken: it returns the result or raises, as `Run.execute` does. In the place
    of a run may stand the error for which there is none.

    Runs are taken some ahead, and meanwhile the backend is reserved; leaving the loop early ends
    its process. What takes more than one session has the backend to itself.
    """

    def __init__(self, backend: Backend, runs: Iterable[Run | OrbitraxError]):
        self._backend, self._runs = backend, iter(runs)
        self._told: deque[tuple[Run | OrbitraxError, int]] = deque()  # with the bytes that told
        self._again: deque[Run | OrbitraxError] = deque()  # their process ended before their turn
        self._alone: Run | None = None  # behind those that are told
        self._free = 0.0  # since when the process could have been at what is read next
        self._ended = True
        self._over = False  # cancelled, and that has been told

    def __iter__(self) -> Iterator[Execute]:
        while True:
            with self._backend.reserved():
                self._tell()
                while self._told:
                    yield partial(self._read, self._told.popleft()[0])
                    self._tell()
            if self._alone is None:
                return
            run, self._alone = self._alone, None
            yield partial(self._by_itself, run)
            if self._backend.cancelled:  # the next one, if there is one, says so
                left = chain(self._again, self._runs)
                yield from (partial(self._by_itself, one) for one in islice(left, not self._over))
                return

    def _by_itself(self, run: Run | OrbitraxError) -> Result:
        """The result of a run that is not told of; Cancelled where that came between two."""
        try:
            if self._backend.cancelled:
                raise Cancelled("the calculation was cancelled")
            if isinstance(run, OrbitraxError):
                raise run
            return run.execute(self._backend)
        except Cancelled:
            self._over = True
            raise

    # ---- telling --------------------------------------------------------------------------------

    def _tell(self) -> None:
        """Tells of further runs once most have been read."""
        if 2 * len(self._told) > _MOST or self._alone is not None:
            return
        began = time.monotonic()
        if not self._told:
            self._free = began
        frames: list[bytes] = []
        told = sum(size for _, size in self._told)
        while len(self._told) < _MOST and told < _BYTES and self._alone is None:
            try:
                run = self._again.popleft() if self._again else next(self._runs)
            except StopIteration:
                break
            frames.append(self._put(run))
            told += len(frames[-1])
            if time.monotonic() - began > _PATIENCE:
                break
        if any(frames):
            self._backend.tell(b"".join(frames))

    def _put(self, run: Run | OrbitraxError) -> bytes:
        """Puts a run in its place; returns what tells of it."""
        if isinstance(run, OrbitraxError):
            self._told.append((run, 0))
            return b""
        try:
            frames = self._backend.ahead(run.job) if run.is_one_job else b""
        except OrbitraxError as error:
            self._told.append((error, 0))
            return b""
        if frames:
            self._told.append((run, len(frames)))
        else:
            self._alone = run
        return frames

    # ---- reading --------------------------------------------------------------------------------

    def _read(self, run: Run | OrbitraxError) -> Result:
        if isinstance(run, OrbitraxError):
            raise run
        return run.completed(self._backend, partial(self._calculated, run))

    def _calculated(self, run: Run) -> Result:
        self._ended = False
        try:
            return gathered(run.job, run.task.name, self._backend, self._events(run),
                            began=self._free)
        except Cancelled:  # and so is all that was to follow
            self._runs = iter(())
            self._again.clear()
            self._told.clear()
            self._alone = None
            raise
        except Exception:
            if not self._ended:
                self._begin_anew()
            raise
        finally:
            self._free = time.monotonic()

    def _events(self, run: Run) -> Generator[Event, None, None]:
        yield from self._backend.told(run.job)
        self._ended = True

    def _begin_anew(self) -> None:
        """A process that broke off comes to nothing more: another does what it was told."""
        self._backend.close(SHORT_PATIENCE)
        left = [run for run, _ in self._told]
        if self._alone is not None:
            left.append(self._alone)
        self._again.extendleft(reversed(left))
        self._told.clear()
        self._alone = None
