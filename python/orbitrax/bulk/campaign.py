"""One batch from its list to its results file, with what is known of it on the way."""

from __future__ import annotations

import itertools
import time
from collections import Counter
from collections.abc import Callable, Iterator

from orbitrax.bulk.engine import Engine
from orbitrax.bulk.items import Item
from orbitrax.bulk.one import Answer
from orbitrax.bulk.store import Store
from orbitrax.errors import Interrupted

_RECENT = 20.0  # seconds over which the rate is taken


class Progress:
    """What is known of a batch that runs. known: records that were there before it; done, failed:
    molecules with and without a result; statuses: their numbers; warned: how many of those with one
    have warnings."""

    def __init__(self, known: int = 0):
        self.known = known
        self.statuses: Counter[str] = Counter()
        self.accidents = self.warned = 0
        self.began = time.monotonic()
        self._recent: list[tuple[float, int]] = [(self.began, 0)]

    def count(self, answer: Answer) -> None:
        """Takes in an answer."""
        self.statuses[answer.status] += 1
        self.accidents += answer.accident
        self.warned += answer.warned and answer.status == "done"
        now = time.monotonic()
        if now - self._recent[-1][0] > 0.5:
            self._recent.append((now, self.total))
            while now - self._recent[0][0] > _RECENT:
                self._recent.pop(0)

    @property
    def total(self) -> int:
        """Molecules answered."""
        return sum(self.statuses.values())

    @property
    def failed(self) -> int:
        """Molecules without a result."""
        return self.total - self.statuses["done"]

    @property
    def rate(self) -> float:
        """Molecules a second, of late."""
        since, before = self._recent[0]
        return (self.total - before) / max(time.monotonic() - since, 1e-3)


class Campaign:
    """Runs a batch: takes from `items` what has no record yet, and records what the engine answers.

    `stop` lets it end with what runs, `cancel` at once; both leave a file that can be resumed.
    waits_for_input: whether it waits for the next item of the list.
    """

    def __init__(self, engine: Engine, store: Store, progress: Progress):
        self._engine, self._store, self.progress = engine, store, progress
        self.stopped = self.cancelled = False
        self.waits_for_input = False

    def stop(self) -> None:
        """Takes no more molecules."""
        self.stopped = True
        self._engine.stop()

    def cancel(self) -> None:
        """Ends at the next look."""
        self.stopped = self.cancelled = True

    def run(self, items: Iterator[Item], look: Callable[[], None] = lambda: None,
            on_answer: Callable[[Answer], None] = lambda answer: None) -> None:
        """Runs it to its end. look: called several times a second; on_answer: with each answer that
        is recorded. Raises Interrupted where it was cancelled."""
        items = self._watched(items)
        first = next(items, None)
        answers = iter(()) if first is None else self._engine.run(itertools.chain([first], items))
        try:
            for answer in answers:
                if self.cancelled:
                    raise Interrupted("interrupted")
                if answer is not None:
                    self._store.add(answer)
                    self.progress.count(answer)
                    on_answer(answer)
                else:
                    self._store.flush_in_time()
                look()
        finally:
            self._engine.cancel()

    def _watched(self, items: Iterator[Item]) -> Iterator[Item]:
        while True:
            self.waits_for_input = True
            item = next(items, None)
            self.waits_for_input = False
            if item is None:
                return
            yield item
