"""The runs of the page: those that wait, those that are running, those that have ended."""

from __future__ import annotations

import asyncio
import secrets
import sqlite3
import time
from collections import deque

from orbitrax.errors import InputError, OrbitraxError
from orbitrax.results.document import empty_document
from orbitrax.serve.processes import Worker, failure

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Callable
    from typing import Any

    from orbitrax.serve.store import Store

    Listener = Callable[[dict[str, Any]], None]

_MOST_LINES = 5000  # of a report that is shown while it grows
_MOST_POINTS = 20000
_MOST_UNKEPT = 50  # runs that the history does not take


class Limits:
    """What a page may take. jobs: processes at once; waiting: runs that wait; time: seconds of a
    run; memory: MB of a run; program: the backend to start, None for the usual one."""

    def __init__(self, jobs: int, waiting: int = 50, time_limit: float | None = None,
                 memory: int | None = None, program: str | None = None):
        self.jobs, self.waiting, self.time, self.memory = jobs, waiting, time_limit, memory
        self.program = program


class Run:
    """A run. state: "waiting", "running", or "ended" with a document."""

    def __init__(self, request: dict[str, Any]):
        self.id = secrets.token_urlsafe(9)
        self.created = time.time()
        self.request = request
        self.state = "waiting"
        self.worker = Worker(request)
        self.answer: dict[str, Any] = {}
        self.status: str | None = None
        self.points: deque[dict[str, Any]] = deque(maxlen=_MOST_POINTS)
        self.lines: deque[str] = deque(maxlen=_MOST_LINES)
        self.xyz: list[float] | None = None
        self.listeners: set[asyncio.Queue[dict[str, Any]]] = set()
        self.doing: asyncio.Task[None] | None = None
        self.forgotten = False  # by who removed it while it was at work

    def about(self) -> dict[str, Any]:
        """What a list shows of it."""
        document = self.answer.get("document") or {}
        molecule = self.request["molecule"]
        return {"id": self.id, "created": self.created, "task": self.request["task"],
                "method": self.request["method"], "title": molecule.get("title") or "molecule",
                "formula": molecule.get("formula") or "",
                "status": document.get("status", self.state),
                "energy": document.get("total_energy")}

    def whole(self) -> dict[str, Any]:
        """All of it."""
        return {**self.about(), "state": self.state, "request": {
            name: self.request[name] for name in ("task", "method", "settings", "molecule")},
            **self.answer}

    def snapshot(self) -> dict[str, Any]:
        """What someone has missed who listens from now on."""
        return {"type": "snapshot", "state": self.state, "status": self.status,
                "points": list(self.points), "log": list(self.lines), "xyz": self.xyz}

    def ending(self) -> dict[str, Any]:
        """What is told to all when it has ended."""
        return {"type": "ended", "state": "ended", "status": self.answer["document"]["status"]}

    def listen(self, message: dict[str, Any]) -> None:
        """Takes what its process tells, and passes it on."""
        self.points.extend(message.get("points", ()))
        self.lines.extend(message.get("log", ()))
        self.xyz = message.get("xyz", self.xyz)
        self.status = message.get("status", self.status)
        self.tell(message)

    def tell(self, message: dict[str, Any]) -> None:
        """Says something to all who listen."""
        for one in self.listeners:
            one.put_nowait(message)

    def take(self, answer: dict[str, Any]) -> None:
        """Takes the answer of its process."""
        if "document" not in answer:
            error = answer["error"]
            document = empty_document(self.request["task"])
            document.update(status=error["status"], errors=[error["text"]],
                            method=self.request["method"])
            answer = {"document": document, "frames": [], "summary": [], "field": error["field"]}
        answer.pop("type", None)
        self.answer, self.state = answer, "ended"

    def warn(self, text: str) -> None:
        """Adds a warning to its document, once."""
        warnings = self.answer["document"]["warnings"]
        if text not in warnings:
            self.answer["document"]["warnings"] = [*warnings, text]


class Runs:
    """All runs, of which `limits.jobs` work at a time, the others in the order they came. One that
    the history does not take, as on a full disk, stays here."""

    def __init__(self, store: Store, limits: Limits):
        self.store, self.limits = store, limits
        self._runs: dict[str, Run] = {}
        self._turn = asyncio.Semaphore(limits.jobs)
        self._small = asyncio.Semaphore(2)

    def find(self, name: str) -> Run | None:
        """A run that has not ended, by its id."""
        one = self._runs.get(name)
        return one if one is not None and one.state != "ended" else None

    def whole(self, name: str) -> dict[str, Any] | None:
        """All of a run, or None."""
        one = self._runs.get(name)
        return one.whole() if one is not None else self.store.whole(name)

    def all(self) -> list[dict[str, Any]]:
        """What a list shows, the newest first."""
        active = sorted(self._runs.values(), key=lambda one: -one.created)
        return [*(one.about() for one in active), *self.store.all()]

    def start(self, task: str, method: str, settings: dict[str, Any],
              molecule: dict[str, Any]) -> Run:
        """A new run. Raises InputError where too many wait."""
        active = sum(one.state != "ended" for one in self._runs.values())
        if active >= self.limits.jobs + self.limits.waiting:
            raise InputError(f"{active} runs wait or are running, as many as this page takes; "
                             "wait, or cancel one")
        one = Run({"kind": "run", "task": task, "method": method, "settings": settings,
                   "molecule": molecule, **self._limits()})
        self._runs[one.id] = one
        one.doing = asyncio.get_running_loop().create_task(self._do(one))
        return one

    def _limits(self) -> dict[str, Any]:
        return {"memory_limit": self.limits.memory, "backend": self.limits.program}

    async def _do(self, one: Run) -> None:
        async with self._turn:
            one.state = "running"
            one.tell({"type": "live", "state": "running"})
            answer = await _answer_of(one.worker, self.limits.time, one.listen)
        self._end(one, answer)

    def _end(self, one: Run, answer: dict[str, Any]) -> None:
        one.take(answer)
        self._keep()
        one.tell(one.ending())

    def _keep(self) -> None:
        """Hands all that have ended to the history. What it does not take is kept here, of such
        runs the newest; and another try is made when the next one ends."""
        ended = [one for one in self._runs.values() if one.state == "ended"]
        for one in ended:
            try:
                if not one.forgotten:
                    self.store.keep(one.about(), one.whole())
            except sqlite3.Error as error:
                one.warn(f"the history does not take this run ({error}): it is lost when the page "
                         "ends; save what you need of it")
            else:
                del self._runs[one.id]
        for one in ended[:-_MOST_UNKEPT]:
            self._runs.pop(one.id, None)

    async def forget(self, name: str) -> None:
        """Removes a run, which is cancelled if it is at work. Raises OrbitraxError where the
        history lets nothing be removed."""
        one = self._runs.get(name)
        if one is not None:
            one.forgotten = True
            await self.cancel(name)
            self._runs.pop(name, None)
        try:
            self.store.forget(name)
        except sqlite3.Error as error:
            raise OrbitraxError(f"the history cannot be changed: {error}") from None

    async def cancel(self, name: str) -> bool:
        """Cancels a run; returns whether there was one."""
        one = self.find(name)
        if one is None:
            return False
        if one.state == "waiting" and one.doing is not None:
            one.doing.cancel()
            self._end(one, failure("the calculation was cancelled before it began", "interrupted"))
        else:
            await one.worker.cancel()
        return True

    async def ask(self, request: dict[str, Any], seconds: float) -> dict[str, Any]:
        """The answer to something small, two at a time."""
        async with self._small:
            return await _answer_of(Worker({**request, **self._limits()}), seconds)

    async def close(self) -> None:
        """Ends everything."""
        doing = [one.doing for one in self._runs.values() if one.doing is not None]
        for one in doing:
            one.cancel()
        await asyncio.gather(*doing, return_exceptions=True)


async def _answer_of(worker: Worker, seconds: float | None, listen: Listener | None = None
                     ) -> dict[str, Any]:
    """What a process answers, or why it does not: there may be no process more, or no sense in what
    it says."""
    try:
        return await worker.work(listen, seconds)
    except Exception as error:
        return failure("the process of this calculation cannot be spoken to: "
                       f"{type(error).__name__}: {error}", "failed")
