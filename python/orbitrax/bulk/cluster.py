"""The engine of many machines: the workers of a Dask scheduler that is there already.

A task of Dask is a portion of molecules. Workers keep a backend for each of their threads. What a
worker was at when it was lost Dask gives to another one; when the scheduler is lost, this side
waits for it to come back and hands over again what it has no answer for.
"""

from __future__ import annotations

import asyncio
import concurrent.futures
import time
from collections.abc import Iterator, Sequence
from typing import Any

from orbitrax.bulk.given_up import GivenUp
from orbitrax.bulk.items import Item
from orbitrax.bulk.kept import kept_computer
from orbitrax.bulk.one import Answer, lost
from orbitrax.bulk.recipe import Recipe
from orbitrax.errors import LinkError, UsageError

_LOOK = 0.1  # seconds between two looks about
_PORTION = 0.5  # seconds of work that are given at a time: a task costs the scheduler about 1 ms
_MOST_AT_ONCE = 200
_AHEAD = 3  # portions for each thread of a worker
_TRIES = 2  # portions of one molecule that lose their workers, before it is given up
_CONNECT, _RECONNECT = 5.0, 120.0  # seconds to wait for a scheduler, at first and later
_COUNT_AGAIN = 5.0  # seconds, the threads of the cluster
# What is raised where the scheduler is gone; the two that say "cancelled" are no relatives.
_GONE = (OSError, TimeoutError, asyncio.CancelledError, concurrent.futures.CancelledError)


def compute(recipe: Recipe, items: Sequence[Item]) -> list[Answer]:
    """The answers for a portion, on a backend that this thread keeps for its next one; it is ended
    where the run has been given up meanwhile, and there are answers for what came before."""
    answers: list[Answer] = []
    with kept_computer(recipe) as computer, GivenUp(computer.backend.cancel) as given_up:
        for item in items:
            answer = computer.compute(item)
            if given_up.happened:
                computer.close()
                break
            answers.append(answer)
    return answers


class Cluster:
    """Computes on the workers of a Dask scheduler. Raises UsageError where Dask is not installed,
    LinkError where the scheduler does not answer."""

    def __init__(self, recipe: Recipe, address: str):
        self._recipe, self._address = recipe, address
        self._client = _connected(address, _CONNECT)
        self._portions: dict[Any, list[Item]] = {}  # by future
        self._losses: dict[int, int] = {}
        self._again: list[list[Item]] = []
        self._size, self._stopped = 1, False
        self._threads, self._counted = 1, 0.0

    def run(self, items: Iterator[Item]) -> Iterator[Answer | None]:
        """See `Engine`."""
        try:
            while self._fill(items):
                yield None
                yield from self._collect()
        finally:
            self.cancel()

    def stop(self) -> None:
        """See `Engine`."""
        self._stopped = True

    def cancel(self) -> None:
        """See `Engine`. Molecules at work are not waited for; their workers go on living."""
        futures, self._portions = list(self._portions), {}
        try:
            if futures:
                self._client.cancel(futures, force=True)
            self._client.close(timeout=2)
        except (*_GONE, RuntimeError):
            pass

    def slowest(self) -> tuple[str, float] | None:
        """See `Engine`."""
        return None

    # ---- giving ---------------------------------------------------------------------------------

    def _fill(self, items: Iterator[Item]) -> bool:
        if not self._joined():
            self._reconnect()
        while len(self._portions) < _AHEAD * self._width():
            portion = self._again.pop() if self._again else self._portion(items)
            if not portion:
                break
            self._give(portion)
        return bool(self._portions)

    def _portion(self, items: Iterator[Item]) -> list[Item]:
        found: list[Item] = []
        while not self._stopped and len(found) < self._size:
            item = next(items, None)
            if item is None:
                break
            found.append(item)
        return found

    def _give(self, portion: list[Item]) -> None:
        future = self._client.submit(compute, self._recipe, portion, pure=False)
        self._portions[future] = portion

    def _width(self) -> int:
        """Threads of all workers, which come and go."""
        now = time.monotonic()
        if now - self._counted > _COUNT_AGAIN:
            self._counted = now
            try:
                self._threads = max(1, sum(self._client.nthreads().values()))
            except _GONE:
                pass
        return self._threads

    # ---- taking ---------------------------------------------------------------------------------

    def _collect(self) -> Iterator[Answer]:
        if not self._joined():
            return
        done = [future for future in self._portions if future.done()]
        if not done:
            time.sleep(_LOOK / 2)
        for future in done:
            portion = self._portions.pop(future)
            if future.status == "finished":
                yield from self._answers(future, portion)
            elif future.status == "error":
                yield from self._lost(portion, future.exception())
            else:  # given up with the scheduler that had it
                self._again.append(portion)

    def _answers(self, future: Any, portion: list[Item]) -> Iterator[Answer]:
        try:
            answers: list[Answer] = future.result(timeout=_CONNECT)
        except _GONE:
            self._again.append(portion)
            return
        if len(answers) < len(portion):  # the scheduler had given it up, and then did not
            self._again.append(portion[len(answers):])
        if not answers:
            return
        took = sum(answer.seconds for answer in answers) / len(answers)
        self._size = max(1, min(_MOST_AT_ONCE, int(_PORTION / max(took, 1e-4))))
        yield from answers

    def _lost(self, portion: list[Item], error: BaseException) -> Iterator[Answer]:
        """A portion that Dask gave up, since workers were lost with it: its molecules go again,
        each alone, and one that goes on losing workers is the one to blame."""
        if not type(error).__name__ == "KilledWorker":
            raise LinkError(f"the workers at {self._address} cannot compute: "
                            f"{type(error).__name__}: {error}; is the same orbitrax installed "
                            "there?")
        for item in portion:
            count = self._losses[item.number] = self._losses.get(item.number, 0) + (
                len(portion) == 1)
            if count >= _TRIES:
                yield lost(item, self._recipe, count, "the workers that had it were lost")
            else:
                self._again.append([item])

    def _joined(self) -> bool:
        """Whether there is a scheduler that takes tasks: one that has left refuses them."""
        return self._client.status == "running" and bool(self._client.scheduler.comm)

    def _reconnect(self) -> None:
        """Waits for the scheduler, and hands over what it has forgotten."""
        portions = list(self._portions.values())
        self.cancel()
        self._client = _connected(self._address, _RECONNECT)
        self._again += portions
        self._counted = 0.0


def _connected(address: str, patience: float) -> Any:
    try:
        from distributed import Client
    except ImportError:
        raise UsageError("--dask needs Dask, which is not installed; on Debian: apt-get install "
                         "python3-distributed") from None
    client: Any = Client
    end = time.monotonic() + patience
    while True:
        try:
            return client(address, timeout=min(5.0, patience), name="orbitrax",
                          set_as_default=False)
        except _GONE as error:
            if time.monotonic() > end:
                raise LinkError(f"the Dask scheduler at {address} does not answer: "
                                f"{error or type(error).__name__}") from None
            time.sleep(0.5)
        except ValueError as error:
            raise UsageError(f"--dask {address}: {error}") from None
