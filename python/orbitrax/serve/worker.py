"""A process that does one thing for the page and ends: reads a molecule, runs a task, computes a
surface. It has one backend at the most, and limits of its own, so that whatever happens in it
leaves the server alone.

On standard input comes one line, the request, then perhaps the word "cancel"; the end of the input
is the end of the server, and of this process. On standard output go lines of JSON; the last one is
of the type "end".
"""

from __future__ import annotations

import json
import os
import sys
import threading

from orbitrax.backend import Backend
from orbitrax.errors import OrbitraxError, OutOfMemory

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any

_LOCK = threading.Lock()


def tell(message: dict[str, Any]) -> None:
    """Writes a line."""
    text = json.dumps(message, allow_nan=False, separators=(",", ":"))
    with _LOCK:
        sys.stdout.write(text + "\n")
        sys.stdout.flush()


def told(error: BaseException) -> dict[str, Any]:
    """An error as the page shows it: its text, the field it concerns, its status."""
    if isinstance(error, MemoryError):
        error = OutOfMemory("the memory that a job of the page may take is not enough; start the "
                            "page with a higher --memory-limit, or use the command line")
    if isinstance(error, OrbitraxError):
        return {"text": error.typed, "field": getattr(error, "name", None), "status": error.status}
    return {"text": f"{type(error).__name__}: {error}", "field": None, "status": "failed"}


def _limit_memory(megabytes: int | None) -> None:
    if megabytes is None:
        return
    try:
        import resource
    except ImportError:  # not on this system
        return
    size = megabytes << 20
    resource.setrlimit(resource.RLIMIT_AS, (size, size))


def _listen(backend: Backend) -> None:
    for line in sys.stdin:
        if line.strip() == "cancel":
            backend.cancel()
    backend.cancel()
    os._exit(0)  # the server is gone


def main() -> None:
    """Answers one request."""
    request = json.loads(sys.stdin.readline())
    _limit_memory(request.get("memory_limit"))
    backend = Backend(request.get("backend"), None, request.get("time_limit"))
    threading.Thread(target=_listen, args=(backend,), daemon=True).start()
    try:
        from orbitrax.serve.work import WORK

        answer = WORK[request["kind"]](request, backend, tell)
    except (OrbitraxError, MemoryError, Exception) as error:
        answer = {"error": told(error)}
    backend.close(0.2)
    tell({"type": "end", **answer})


if __name__ == "__main__":
    main()
