"""The runs of the page: those that wait, those that are running, those that have ended."""

from __future__ import annotations

import asyncio
import secrets
import time
from collections import deque

from orbitrax.errors import InputError
from orbitrax.results.document import empty_document
from orbitrax.serve.processes import Worker, failure

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any

    from orbitrax.serve.store import Store

_MOST_LINES = 5000  # of a report that is shown while it grows
_MOST_POINTS = 20000


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

    def end(self, answer: dict[str, Any]) -> None:
        """Takes the answer of its process."""
        if "document" not in answer:
            error = answer["error"]
            document = empty_document(self.request["task"])
            document.update(status=error["status"], errors=[error["text"]],
                            method=self.request["method"])
            answer = {"document": document, "frames": [], "summary": [], "field": error["field"]}
        answer.pop("type", None)
        self.answer, self.state = answer, "ended"
        self.tell({"type": "ended", "state": "ended", "status": answer["document"]["status"]})


class Runs:
    """All runs, of which `limits.jobs` work at a time, the others in the order they came."""

    def __init__(self, store: Store, limits: Limits):
        self.store, self.limits = store, limits
        self._runs: dict[str, Run] = {}
        self._turn = asyncio.Semaphore(limits.jobs)
        self._small = asyncio.Semaphore(2)

    def find(self, name: str) -> Run | None:
        """A run that has not ended, by its id."""
        return self._runs.get(name)

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
        if len(self._runs) >= self.limits.jobs + self.limits.waiting:
            raise InputError(f"{len(self._runs)} runs wait or are running, as many as this page "
                             "takes; wait, or cancel one")
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
            answer = await one.worker.work(one.listen, self.limits.time)
        self._end(one, answer)

    def _end(self, one: Run, answer: dict[str, Any]) -> None:
        one.end(answer)
        self.store.keep(one.about(), one.whole())
        del self._runs[one.id]

    async def cancel(self, name: str) -> bool:
        """Cancels a run; returns whether there was one."""
        one = self._runs.get(name)
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
            return await Worker({**request, **self._limits()}).work(limit=seconds)

    async def close(self) -> None:
        """Ends everything."""
        doing = [one.doing for one in self._runs.values() if one.doing is not None]
        for one in doing:
            one.cancel()
        await asyncio.gather(*doing, return_exceptions=True)
