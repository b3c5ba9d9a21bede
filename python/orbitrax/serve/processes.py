"""Processes that work for the page: started, spoken to, ended."""

from __future__ import annotations

import asyncio
import json
import os
import signal
import sys

from orbitrax.paths import package_path

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Callable
    from typing import Any

_LONGEST_LINE = 1 << 28  # bytes of one message
_TO_CANCEL = 0.7  # s that a process may take to end by itself


class Worker:
    """One request in a process of its own. pid: of its backend, as far as known."""

    def __init__(self, request: dict[str, Any]):
        self.request = request
        self.pid: int | None = None
        self.cancelled = False
        self._process: asyncio.subprocess.Process | None = None

    async def work(self, listen: Callable[[dict[str, Any]], None] | None = None,
                   limit: float | None = None) -> dict[str, Any]:
        """Starts the process; returns its answer. `listen` gets what it tells on its way. limit:
        seconds until it is ended."""
        if self.cancelled:
            return failure("the calculation was cancelled", "interrupted")
        process = self._process = await asyncio.create_subprocess_exec(
            sys.executable, "-P", "-m", "orbitrax.serve.worker", stdin=asyncio.subprocess.PIPE,
            stdout=asyncio.subprocess.PIPE, stderr=asyncio.subprocess.DEVNULL, env=_environment(),
            limit=_LONGEST_LINE, start_new_session=True)
        if self.cancelled:
            self.kill()
        try:
            return await asyncio.wait_for(self._talk(process, listen), limit)
        except asyncio.TimeoutError:
            return failure(f"the calculation took longer than {limit:g} s, the limit of this page; "
                          "start it with a higher --time-limit", "failed")
        finally:
            self.kill()
            await process.wait()

    async def _talk(self, process: asyncio.subprocess.Process,
                    listen: Callable[[dict[str, Any]], None] | None) -> dict[str, Any]:
        assert process.stdin is not None and process.stdout is not None
        process.stdin.write((json.dumps(self.request) + "\n").encode())
        async for line in process.stdout:
            if not line.endswith(b"\n"):
                break  # it was ended in the middle of it
            message: dict[str, Any] = json.loads(line)
            if message["type"] == "end":
                return message
            if message["type"] == "pid":
                self.pid = message["pid"]
            elif listen is not None:
                listen(message)
        if self.cancelled:
            return failure("the calculation was cancelled", "interrupted")
        return failure("the process of this calculation ended before it had an answer: it ran out "
                      "of memory, or was killed", "failed")

    async def cancel(self) -> None:
        """Asks the process to end, and ends it if it does not."""
        self.cancelled = True
        process = self._process
        if process is None or process.returncode is not None:
            return
        assert process.stdin is not None
        process.stdin.write(b"cancel\n")
        try:
            await asyncio.wait_for(process.wait(), _TO_CANCEL)
        except asyncio.TimeoutError:
            self.kill()

    def kill(self) -> None:
        """Ends the process at once; its backend ends with the link."""
        process = self._process
        if process is None or process.returncode is not None:
            return
        try:
            os.killpg(process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass


def failure(text: str, status: str) -> dict[str, Any]:
    """The answer of a process that has none."""
    return {"error": {"text": text, "field": None, "status": status}}


def _environment() -> dict[str, str]:
    """That of this process, with our package to be found and one thread for linear algebra."""
    found = {**os.environ, "OPENBLAS_NUM_THREADS": "1", "OMP_NUM_THREADS": "1"}
    above = os.path.dirname(package_path())
    found["PYTHONPATH"] = os.pathsep.join(
        part for part in (above.rstrip(os.sep), os.environ.get("PYTHONPATH")) if part)
    return found
