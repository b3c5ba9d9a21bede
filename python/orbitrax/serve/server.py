"""Listens on this machine alone, and ends in good order."""

from __future__ import annotations

import asyncio
import os
import socket
import sqlite3
import webbrowser

from aiohttp import web

from orbitrax.errors import OrbitraxError, UsageError
from orbitrax.interrupts import heard
from orbitrax.serve.app import Page
from orbitrax.serve.guard import Guard
from orbitrax.serve.runs import Limits, Runs
from orbitrax.serve.store import Store, usual_place

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any


def sockets(port: int) -> list[socket.socket]:
    """Sockets that listen at 127.0.0.1 and, where there is such an address, at ::1, at one port;
    0 for any. Raises UsageError for a port that is taken."""
    first = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
    first.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    try:
        first.bind(("127.0.0.1", port))
    except OSError as error:
        first.close()
        raise UsageError(f"--port {port}: {error.strerror}; choose another, or none") from None
    found = [first]
    try:
        second = socket.socket(socket.AF_INET6, socket.SOCK_STREAM)
    except OSError:
        return found
    try:
        second.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        second.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_V6ONLY, 1)
        second.bind(("::1", first.getsockname()[1]))
        found.append(second)
    except OSError:
        second.close()
    return found


def serve(arguments: Any) -> int:
    """Serves the page until SIGINT, SIGTERM or SIGHUP; returns the exit status."""
    path = None if arguments.no_history else arguments.history or usual_place()
    try:
        store = Store(path)
    except (OSError, sqlite3.Error) as error:
        raise OrbitraxError(f"{path}: the history cannot be kept there: {error}; name another "
                            "place with --history, or take --no-history") from None
    listening = sockets(arguments.port)
    guard = Guard()
    guard.port = listening[0].getsockname()[1]
    limits = Limits(arguments.jobs or os.cpu_count() or 1, time_limit=arguments.time_limit,
                    memory=arguments.memory_limit, program=arguments.backend)
    try:
        asyncio.run(_serve(guard, store, limits, listening, not arguments.no_browser))
    finally:
        store.close()
    return 0


async def _serve(guard: Guard, store: Store, limits: Limits, listening: list[socket.socket],
                 opens: bool) -> None:
    runs = Runs(store, limits)
    runner = web.AppRunner(Page(guard, runs).application(), access_log=None)
    await runner.setup()
    for one in listening:
        await web.SockSite(runner, one, shutdown_timeout=1).start()
    ended = asyncio.Event()
    loop = asyncio.get_running_loop()
    for number in heard():
        loop.add_signal_handler(number, ended.set)
    print(f"The page is open at\n\n    {guard.address}\n\nfor you on this machine alone. Ctrl-C "
          "ends it.", flush=True)
    if opens:
        await loop.run_in_executor(None, webbrowser.open, guard.address)
    await ended.wait()
    await runs.close()
    await runner.cleanup()
