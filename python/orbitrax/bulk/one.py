"""One molecule of a list becomes one record, whatever happens to it."""

from __future__ import annotations

import itertools
import socket
import time
from collections import deque
from collections.abc import Callable, Iterable, Iterator
from functools import cache
from typing import Any, NamedTuple, TypeVar

from orbitrax.backend import Backend
from orbitrax.bulk.items import Item
from orbitrax.bulk.recipe import Recipe
from orbitrax.bulk.row import Row
from orbitrax.bulk.watch import Watch, resident
from orbitrax.errors import (BackendDied, BackendNotFound, CalculationFailed, InputError,
                             LinkClosed, LinkError, OrbitraxError, OutOfMemory, ProtocolError,
                             TimeLimitExceeded, UsageError)
from orbitrax.results.result import Result
from orbitrax.results.written import document_text, quoted
from orbitrax.tasks.outcome import outcome
from orbitrax.tasks.task import Run

T = TypeVar("T")

MOST_TRIES = 2  # of one whose backend dies
_MOST_JOBS = 5000  # of one backend process
_MOST_MEMORY = 512 << 20  # bytes of a backend process between two molecules
_LOOK_EVERY = 256  # molecules, at its memory

# What comes of the machine and not of the molecule: `--resume` tries it again.
_ACCIDENTS = (LinkError, OutOfMemory)


class Answer(NamedTuple):
    """What came of a molecule. number, id, key: as the item has them. line: the record as JSON, a
    whole line. status: of the record. accident: whether it is worth another try some other day.
    reason: why it is not done, else empty. seconds: what it took. warned: whether its record has
    warnings."""

    number: int
    id: str
    key: bytes
    line: bytes
    status: str
    accident: bool
    reason: str
    seconds: float
    warned: bool = False


class Computer:
    """Computes molecules one after the other on a backend that stays warm. overrun: called with the
    answer for a molecule that goes on although its limit has passed; without, it is waited for."""

    def __init__(self, recipe: Recipe, overrun: Callable[[Answer], None] | None = None):
        self.recipe = recipe
        self._overrun = overrun
        self.backend = Backend(recipe.program, recipe.tables)
        self._watch = Watch(self.backend, recipe.time_limit, recipe.memory_limit,
                            self._overran if overrun is not None else None)
        self._item: Item | None = None
        self._began, self._tries = 0.0, 1
        self._jobs, self._looked = 0, 0

    def close(self) -> None:
        """Ends the backend."""
        self.backend.close(0.25)

    def compute(self, item: Item, tries: int = 1) -> Answer:
        """The answer for a molecule. tries: counts this one and those before it, elsewhere, that
        ended by accident."""
        self._item, self._began, self._tries = item, time.time(), tries
        clock = time.monotonic()
        while True:
            document, failure = self._tried(item)
            again = _died(failure) and self._watch.reason is None and self._tries < MOST_TRIES
            if not again:
                break
            self._tries += 1
        self._recycle(1)
        return self._answer(item, document, failure, time.monotonic() - clock)

    def compute_all(self, molecules: Iterable[tuple[Item, int]],
                    at_work: Callable[[Item], None] = lambda item: None) -> Iterator[Answer]:
        """The answers for molecules with their tries, mostly in their order. The backend is told of
        some ahead, unless each has limits. at_work: called with the one that is read or waited for.
        """
        waiting, again = iter(molecules), deque[tuple[Item, int]]()
        if self._watch.watches:
            for item, tries in waiting:
                at_work(item)
                yield self.compute(item, tries)
            return
        while portion := [*again, *itertools.islice(waiting, 1)]:
            again.clear()
            rest = itertools.islice(waiting, _LOOK_EVERY)
            for item, answer in self._in_a_row(itertools.chain(portion, rest), at_work):
                if answer is None:
                    again.append((item, self._tries + 1))
                else:
                    yield answer

    def _in_a_row(self, molecules: Iterable[tuple[Item, int]], at_work: Callable[[Item], None]
                  ) -> Iterator[tuple[Item, Answer | None]]:
        """Molecules with their answers; None for one that is worth another try."""
        taken: deque[tuple[Item, int, Run | None, float, float]] = deque()

        def runs() -> Iterator[Run | OrbitraxError]:
            for item, tries in molecules:
                at_work(item)
                began, clock = time.time(), time.monotonic()
                run, failure = self._started(item)
                taken.append((item, tries, run, began, time.monotonic() - clock))
                yield run or failure or CalculationFailed("")

        done = 0
        for execute in Row(self.backend, runs()):
            item, self._tries, run, self._began, read = taken.popleft()
            at_work(item)
            clock, done = time.monotonic(), done + 1
            result, failure = _caught(execute)
            if _died(failure) and self._tries < MOST_TRIES:
                yield item, None
                continue
            document = outcome(self.recipe.task.name, run, result, failure, raw=True)
            yield item, self._answer(item, document, failure, read + time.monotonic() - clock)
        self._recycle(done)

    def _started(self, item: Item) -> tuple[Run | None, OrbitraxError | None]:
        item.prepare()
        return _caught(lambda: self.recipe.start(item))

    def _tried(self, item: Item) -> tuple[dict[str, Any], OrbitraxError | None]:
        item.prepare()
        self._watch.begin()
        run, failure = _caught(lambda: self.recipe.start(item))
        result: Result | None = None
        if run is not None:
            result, failure = _caught(lambda: run.execute(self.backend))
        self._watch.end()
        if failure is not None and self._watch.reason is not None:
            failure = TimeLimitExceeded(self._watch.reason)
        return outcome(self.recipe.task.name, run, result, failure, raw=True), failure

    def _answer(self, item: Item, document: dict[str, Any], failure: OrbitraxError | None,
                seconds: float) -> Answer:
        accident = isinstance(failure, _ACCIDENTS)
        document["method"] = self.recipe.method
        if isinstance(failure, UsageError):
            document["status"] = InputError.status
        run = {"tries": self._tries, "accident": accident, "seconds": seconds,
               "started": self._began}
        return _recorded(item, document, run, "" if failure is None else failure.typed)

    def _overran(self, reason: str) -> None:
        item = self._item
        assert item is not None and self._overrun is not None
        failure = TimeLimitExceeded(reason)
        document = outcome(self.recipe.task.name, None, None, failure)
        self._overrun(self._answer(item, document, failure, time.time() - self._began))

    def _recycle(self, jobs: int) -> None:
        """A process that has worked long, or has grown, makes room for another."""
        self._jobs += jobs
        self._looked += jobs
        grown = False
        if self._looked >= _LOOK_EVERY:
            grown, self._looked = resident(self.backend.pid) > _MOST_MEMORY, 0
        if grown or self._jobs >= _MOST_JOBS:
            self.backend.close()
            self._jobs = 0


def _caught(act: Callable[[], T]) -> tuple[T | Any, OrbitraxError | None]:
    """What comes of an act, or what there is of it and why it is not all: the list goes on."""
    try:
        return act(), None
    except OrbitraxError as error:
        return error.partial, error
    except MemoryError:
        return None, OutOfMemory("this side has no memory left")
    except Exception as error:  # of a library
        return None, CalculationFailed(f"{type(error).__name__}: {error}")


def _died(failure: OrbitraxError | None) -> bool:
    return isinstance(failure, (BackendDied, LinkClosed, ProtocolError)) and not isinstance(
        failure, BackendNotFound)


def lost(item: Item, recipe: Recipe, tries: int, words: str) -> Answer:
    """The answer for a molecule with which the process that computed it ended."""
    failure = BackendDied(words)
    document = outcome(recipe.task.name, None, None, failure)
    document["method"] = recipe.method
    run = {"tries": tries, "accident": True, "seconds": None, "started": None}
    return _recorded(item, document, run, failure.typed)


@cache
def _host() -> str:
    return socket.gethostname()


def _recorded(item: Item, document: dict[str, Any], run: dict[str, Any], reason: str) -> Answer:
    """The answer with its line."""
    document["input"] = item.told()
    document["run"] = {**run, "host": _host()}
    line = (f'{{"id": {quoted(item.id)}, "key": "{item.key.hex()}", {document_text(document)}}}\n'
            ).encode()
    return Answer(item.number, item.id, item.key, line, document["status"], run["accident"],
                  reason, run["seconds"] or 0.0, bool(document["warnings"]))
