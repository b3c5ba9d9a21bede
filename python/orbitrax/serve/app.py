"""What the page answers: its files, and JSON about molecules, tasks and runs."""

from __future__ import annotations

import asyncio
import json
import os

from aiohttp import web

from orbitrax import __version__
from orbitrax.errors import InputError, OrbitraxError, UsageError
from orbitrax.methods import find_method
from orbitrax.paths import package_path
from orbitrax.serve.examples import EXAMPLES
from orbitrax.serve.forms import make_task, method_rows, refusals, result_rows, task_forms
from orbitrax.serve.guard import MOST_BYTES, Guard, add_headers
from orbitrax.serve.molecules import ENDINGS, from_json, to_json
from orbitrax.serve.runs import Runs
from orbitrax.serve.worker import told

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any

    from orbitrax.serve.runs import Run

STATIC = package_path("serve", "static")
_KINDS = {".html": "text/html", ".js": "text/javascript", ".css": "text/css",
          ".json": "application/json", ".svg": "image/svg+xml", ".txt": "text/plain"}
_READING = 30.0  # s that reading a molecule may take
_DRAWING = 120.0  # s that a surface may take
_NEEDED = ("coordinates_angstrom", "method", "symbols", "charge")  # of a document, to go on
_SILENCE = 15.0  # s after which a stream shows that it is alive


class Page:
    """The answers of the page. guard: who may ask; runs: what is asked for."""

    def __init__(self, guard: Guard, runs: Runs, static: str = STATIC):
        self.guard, self.runs = guard, runs
        self._files = {name: os.path.join(static, name) for name in os.listdir(static)}
        self._about: bytes | None = None

    def application(self) -> web.Application:
        """The application that aiohttp serves."""
        app = web.Application(client_max_size=MOST_BYTES, middlewares=[self.guard.middleware()])
        app.on_response_prepare.append(add_headers)
        app.add_routes([
            web.get("/", self.front), web.get("/static/{name}", self.file),
            web.get("/api/about", self.about), web.post("/api/molecule", self.molecule),
            web.post("/api/runs", self.start), web.get("/api/runs", self.list),
            web.get("/api/runs/{id}", self.whole), web.delete("/api/runs/{id}", self.forget),
            web.post("/api/runs/{id}/cancel", self.cancel),
            web.get("/api/runs/{id}/events", self.events),
            web.get("/api/runs/{id}/surface", self.surface),
            web.get("/api/runs/{id}/molden", self.molden),
            web.get("/api/runs/{id}/charges", self.charges)])
        return app

    # ---- files ----------------------------------------------------------------------------------

    async def front(self, request: web.Request) -> web.StreamResponse:
        """The page itself. Its address loses the token, which becomes a cookie."""
        if "token" in request.query:
            found = web.Response(status=303, headers={"Location": "/"})
            found.set_cookie(self.guard.cookie, self.guard.token, httponly=True, samesite="Strict",
                             path="/")
            return found
        return self._file("index.html")

    async def file(self, request: web.Request) -> web.StreamResponse:
        """A script, a style: one of the names that were there at the start."""
        return self._file(request.match_info["name"])

    def _file(self, name: str) -> web.StreamResponse:
        path = self._files.get(name)
        if path is None:
            raise web.HTTPNotFound(text="there is no such file")
        kind = _KINDS.get(os.path.splitext(name)[1], "application/octet-stream")
        with open(path, "rb") as file:
            found = web.Response(body=file.read(), content_type=kind, charset="utf-8")
        found.headers["Cache-Control"] = "no-cache"
        found.enable_compression()
        return found

    # ---- what there is --------------------------------------------------------------------------

    async def about(self, request: web.Request) -> web.StreamResponse:
        """Tasks with their forms, methods, rows of a result, examples, limits."""
        if self._about is None:
            self._about = json.dumps({
                "version": __version__, "tasks": task_forms(), "methods": method_rows(),
                "rows": result_rows(), "endings": ENDINGS,
                "examples": [{"name": name, **source} for name, source in EXAMPLES],
                "limits": {"jobs": self.runs.limits.jobs, "time": self.runs.limits.time,
                           "memory": self.runs.limits.memory, "bytes": MOST_BYTES}}).encode()
        return web.Response(body=self._about, content_type="application/json")

    async def molecule(self, request: web.Request) -> web.StreamResponse:
        """A molecule from SMILES or from the text of a file, and which methods refuse it."""
        given = await _json(request)
        if "molecule" in given:  # one that the page has already
            try:
                found = from_json(given["molecule"])
            except OrbitraxError as error:
                return _refused(told(error))
            return web.json_response({"molecule": to_json(found), "refused": refusals(found)})
        answer = await self.runs.ask({"kind": "molecule", "source": given}, _READING)
        return _refused(answer["error"]) if "error" in answer else web.json_response(answer)

    # ---- runs -----------------------------------------------------------------------------------

    async def start(self, request: web.Request) -> web.StreamResponse:
        """Begins a run; what cannot be is refused with the name of its field."""
        given = await _json(request)
        try:
            name, settings = str(given.get("task")), given.get("settings", {})
            if not isinstance(settings, dict):
                raise UsageError("settings should be values by name")
            make_task(name, settings)
            method = find_method(str(given.get("method")))
            molecule = to_json(from_json(given.get("molecule")))
            run = self.runs.start(name, method.key, settings, molecule)
        except InputError as error:
            return _refused(told(error), 429)
        except OrbitraxError as error:
            return _refused(told(error))
        return web.json_response(run.about(), status=201)

    async def list(self, request: web.Request) -> web.StreamResponse:
        """All runs, the newest first."""
        return web.json_response(self.runs.all())

    async def whole(self, request: web.Request) -> web.StreamResponse:
        """A run with its document, as far as there is one."""
        found = web.json_response(self._found(request))
        found.enable_compression()
        return found

    def _found(self, request: web.Request) -> dict[str, Any]:
        found = self.runs.whole(request.match_info["id"])
        if found is None:
            raise web.HTTPNotFound(text="there is no such run; perhaps it was removed")
        return found

    async def forget(self, request: web.Request) -> web.StreamResponse:
        """Removes a run from the history."""
        try:
            await self.runs.forget(request.match_info["id"])
        except OrbitraxError as error:
            return _refused(told(error), 507)  # insufficient storage
        return web.json_response({})

    async def cancel(self, request: web.Request) -> web.StreamResponse:
        """Ends a run that waits or is running."""
        self._found(request)
        return web.json_response({"cancelled": await self.runs.cancel(request.match_info["id"])})

    async def events(self, request: web.Request) -> web.StreamResponse:
        """The progress of a run as server-sent events, until it has ended: first all that there
        was, then what comes."""
        whole = self._found(request)
        run = self.runs.find(request.match_info["id"])
        response = web.StreamResponse(headers={"Content-Type": "text/event-stream"})
        await response.prepare(request)
        if run is None:
            await _send(response, {"type": "ended", "state": "ended", "status": whole["status"]})
            return response
        queue: asyncio.Queue[dict[str, Any]] = asyncio.Queue()
        run.listeners.add(queue)
        try:
            await self._follow(run, queue, response)
        except (ConnectionError, asyncio.CancelledError):
            pass  # the window was closed
        finally:
            run.listeners.discard(queue)
        return response

    async def _follow(self, run: Run, queue: asyncio.Queue[dict[str, Any]],
                      response: web.StreamResponse) -> None:
        await _send(response, run.snapshot())
        if run.answer:  # it had ended before anybody listened, who will hear of it from nobody else
            await _send(response, run.ending())
            return
        while True:
            try:
                message = await asyncio.wait_for(queue.get(), _SILENCE)
            except asyncio.TimeoutError:
                await response.write(b": still here\n\n")
                continue
            await _send(response, message)
            if message["type"] == "ended":
                return

    # ---- what a run leaves ----------------------------------------------------------------------

    async def surface(self, request: web.Request) -> web.StreamResponse:
        """An orbital, a density or the potential of a result, as cube files."""
        return await self._ask(request, kind="surface", what=request.query.get("what", "homo"),
                               beta=request.query.get("beta") == "1")

    async def molden(self, request: web.Request) -> web.StreamResponse:
        """The orbitals of a result as a Molden file."""
        return await self._ask(request, kind="molden")

    async def charges(self, request: web.Request) -> web.StreamResponse:
        """Charges for force fields of a result."""
        return await self._ask(request, kind="charges", model=request.query.get("model", "am1bcc"))

    async def _ask(self, request: web.Request, **more: Any) -> web.StreamResponse:
        whole = self._found(request)
        document = whole.get("document")
        if not document or document["coordinates_angstrom"] is None:
            return _refused({"text": "this run has left no structure", "field": None}, 409)
        answer = await self.runs.ask({**whole["request"], "document": {
            name: document[name] for name in _NEEDED}, **more}, _DRAWING)
        return _refused(answer["error"]) if "error" in answer else web.json_response(answer)


async def _send(response: web.StreamResponse, message: dict[str, Any]) -> None:
    await response.write(f"data: {json.dumps(message)}\n\n".encode())


async def _json(request: web.Request) -> dict[str, Any]:
    try:
        found = await request.json()
    except (ValueError, RecursionError, LookupError):  # the last of an unknown charset
        raise web.HTTPBadRequest(text="this is no JSON") from None
    if not isinstance(found, dict):
        raise web.HTTPBadRequest(text="an object is needed")
    return found


def _refused(error: dict[str, Any], status: int = 422) -> web.Response:
    return web.json_response({"error": error}, status=status)
