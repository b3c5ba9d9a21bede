"""The engine of one machine: a worker process for each core, each with a backend of its own."""

from __future__ import annotations

import mmap
import os
import pickle
import socket
import subprocess
import sys
import time
from collections.abc import Iterator
from multiprocessing.connection import Connection, wait

from orbitrax.bulk.items import Item
from orbitrax.bulk.one import MOST_TRIES, Answer, lost
from orbitrax.bulk.recipe import Recipe
from orbitrax.bulk.worker import MARK
from orbitrax.paths import package_path

_LOOK = 0.1  # seconds between two looks about
_PORTION = 0.05  # seconds of work that are given at a time
_MOST_AT_ONCE = 64
_AHEAD = 2  # portions that a worker has
_CODE = ("import sys; sys.path.insert(0, sys.argv[1]); from orbitrax.bulk.worker import main; "
         "main(int(sys.argv[2]), int(sys.argv[3]))")
_LONG = 0.5  # seconds after which others take over what waits behind a molecule
_LATE = 1.0  # seconds beyond the limit after which a worker that does not answer is ended


def cores() -> int:
    """Cores that this process may use."""
    return len(os.sched_getaffinity(0)) if hasattr(os, "sched_getaffinity") else os.cpu_count() or 1


class _Worker:
    """A worker process as seen from here."""

    def __init__(self, recipe: Recipe):
        ours, theirs = socket.socketpair()
        board = os.memfd_create("orbitrax-board")
        os.truncate(board, MARK.size)
        self.board = mmap.mmap(board, MARK.size)
        package = os.path.dirname(os.path.abspath(package_path()))
        environment = {**os.environ, "OPENBLAS_NUM_THREADS": "1", "OMP_NUM_THREADS": "1"}
        environment.setdefault("ORBITRAX_THREADS", "1")
        with theirs:
            self.process = subprocess.Popen(
                [sys.executable, "-c", _CODE, package, str(theirs.fileno()), str(board)],
                pass_fds=(theirs.fileno(), board), env=environment, start_new_session=True,
                stdin=subprocess.DEVNULL)
        os.close(board)
        self.link = Connection(ours.detach())
        self.items: dict[int, tuple[Item, int]] = {}  # by number, with their tries
        self.link.send_bytes(pickle.dumps(recipe))

    def give(self, portion: list[tuple[Item, int]]) -> None:
        """Molecules to work on. A worker that has died is noticed elsewhere."""
        self.items.update((item.number, (item, tries)) for item, tries in portion)
        try:
            self.link.send_bytes(pickle.dumps(portion))
        except OSError:
            pass

    def at_work(self) -> tuple[Item, int, float] | None:
        """The molecule at work, its tries, and since when."""
        number, began = MARK.unpack_from(self.board, 0)
        known = self.items.get(number)
        return None if known is None else (*known, began)

    def end(self) -> None:
        """Ends the process; its backend ends with it."""
        self.link.close()
        try:
            self.process.wait(0.5)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()


class Processes:
    """Computes on this machine, by `count` worker processes."""

    def __init__(self, recipe: Recipe, count: int | None = None):
        self._recipe = recipe
        self._count = cores() if count is None else count
        self._workers: list[_Worker] = []
        self._again: list[tuple[Item, int]] = []  # what a worker died of, or with
        self._size, self._stopped = 1, False

    def run(self, items: Iterator[Item]) -> Iterator[Answer | None]:
        """See `Engine`."""
        try:
            self._workers = [_Worker(self._recipe) for _ in range(self._count)]
            while self._fill(items):
                yield None
                yield from self._collect()
        finally:
            self.cancel()

    def stop(self) -> None:
        """See `Engine`."""
        self._stopped = True

    def cancel(self) -> None:
        """See `Engine`."""
        workers, self._workers = self._workers, []
        for worker in workers:
            worker.process.kill()  # the backend sees the end of its link
        for worker in workers:
            worker.end()

    def slowest(self) -> tuple[str, float] | None:
        """See `Engine`."""
        now = time.monotonic()
        found = [(now - one[2], one[0].id) for worker in self._workers if (one := worker.at_work())]
        return (max(found)[1], max(found)[0]) if found else None

    # ---- giving ---------------------------------------------------------------------------------

    def _fill(self, items: Iterator[Item]) -> bool:
        """Gives each worker enough to do; returns whether anything is to be waited for."""
        for worker in self._workers:
            while len(worker.items) <= (_AHEAD - 1) * self._size:
                portion = self._portion(items, not worker.items)
                if not portion and not worker.items:
                    portion = self._taken_over()
                if not portion:
                    break
                worker.give(portion)
                if portion[0][1] > 1:
                    break
        return bool(self._again) or any(worker.items for worker in self._workers)

    def _portion(self, items: Iterator[Item], idle: bool) -> list[tuple[Item, int]]:
        if self._again and idle:
            return [self._again.pop()]  # alone, as it may be what its worker died of
        if self._again and not idle:
            return []
        if self._stopped:
            return []
        found = []
        for item in items:
            found.append((item, 1))
            if len(found) >= self._size:
                break
        return found

    def _taken_over(self) -> list[tuple[Item, int]]:
        """What waits behind the molecule that has taken long, where nothing else is to be done. Its
        old worker will compute it too, in vain."""
        now = time.monotonic()
        for worker in self._workers:
            one = worker.at_work()
            if one is None or now - one[2] < _LONG or len(worker.items) < 2:
                continue
            waiting = [pair for number, pair in worker.items.items() if number != one[0].number]
            worker.items = {one[0].number: (one[0], one[1])}
            return waiting
        return []

    # ---- taking ---------------------------------------------------------------------------------

    def _collect(self) -> Iterator[Answer]:
        by_link = {worker.link: worker for worker in self._workers}
        for link in wait(list(by_link), _LOOK):
            worker = by_link[link]  # type: ignore[index]
            try:
                answers = pickle.loads(worker.link.recv_bytes())
            except (EOFError, OSError, pickle.UnpicklingError):
                yield from self._buried(worker)
                continue
            for answer in answers:
                if worker.items.pop(answer.number, None) is not None:
                    yield answer
            took = sum(answer.seconds for answer in answers) / len(answers)
            self._size = max(1, min(_MOST_AT_ONCE, int(_PORTION / max(took, 1e-4))))
        self._end_the_late()

    def _buried(self, worker: _Worker) -> Iterator[Answer]:
        """A worker has died: another takes its place. What it was at counts as tried; the others
        were not."""
        culprit = worker.at_work()
        worker.process.kill()
        worker.end()
        self._workers[self._workers.index(worker)] = _Worker(self._recipe)
        for item, tries in worker.items.values():
            if culprit is None or item.number != culprit[0].number:
                self._again.append((item, tries))
            elif tries >= MOST_TRIES:
                code = worker.process.returncode
                yield lost(item, self._recipe, tries,
                           f"the worker process ended with status {code} while it was at this "
                           "molecule")
            else:
                self._again.append((item, tries + 1))

    def _end_the_late(self) -> None:
        """Ends workers that do not end their molecule by themselves."""
        limit = self._recipe.time_limit
        for worker in self._workers if limit is not None else ():
            one = worker.at_work()
            if one is not None and limit is not None and time.monotonic() - one[2] > limit * (
                    MOST_TRIES) + _LATE:
                worker.process.kill()
