"""The command `serve`: opens the page in a browser, and answers it until it is ended."""

from __future__ import annotations

import os
from typing import Any

from orbitrax.errors import OrbitraxError, UsageError
from orbitrax.paths import package_path

DESCRIPTION = ("Opens a page in the browser of this machine: molecules are drawn or dropped, "
               "calculations started and watched, results turned about. Nobody else can see it.")
EXAMPLES = ("orbitrax serve", "orbitrax serve --no-browser --port 8080",
            "orbitrax serve --jobs 1 --time-limit 600 --memory-limit 2000")
_HIGHEST_PORT = 65535


def add_arguments(parser: Any) -> None:
    """Declares the options."""
    parser.add_argument("--port", type=int, default=0, metavar="N",
                        help="the port (default: one that is free)")
    parser.add_argument("--no-browser", action="store_true",
                        help="print the address, and open nothing")
    parser.add_argument("--jobs", type=int, metavar="N",
                        help="runs at a time (default: as many as there are cores)")
    parser.add_argument("--time-limit", type=float, default=3600.0, metavar="S",
                        help="seconds that a run may take (default 3600)")
    parser.add_argument("--memory-limit", type=int, default=8000, metavar="MB",
                        help="memory that a run may take, MB (default 8000)")
    parser.add_argument("--history", metavar="FILE",
                        help="where the runs are kept (default: in your data folder)")
    parser.add_argument("--no-history", action="store_true",
                        help="forget the runs when the page ends")
    parser.add_argument("--backend", metavar="PATH", help="the backend program to start")


def run(arguments: Any, terminal: Any) -> int:
    """Serves until Ctrl-C; returns the exit status."""
    try:
        _check(arguments)
        from orbitrax.serve.server import serve
    except UsageError as error:
        terminal.error(error.typed)
        return error.exit_status
    except ModuleNotFoundError as error:
        if (error.name or "").split(".")[0] != "aiohttp":
            raise
        terminal.error("the page needs aiohttp; on Debian: apt-get install python3-aiohttp")
        return 3
    try:
        return serve(arguments)
    except OrbitraxError as error:
        terminal.error(error.typed)
        return error.exit_status


def _check(arguments: Any) -> None:
    if not 0 <= arguments.port <= _HIGHEST_PORT:
        raise UsageError(f"--port {arguments.port}: choose from 0 to {_HIGHEST_PORT}")
    if arguments.jobs is not None and arguments.jobs < 1:
        raise UsageError(f"--jobs {arguments.jobs}: should be 1 or above")
    if not arguments.time_limit > 0:
        raise UsageError(f"--time-limit {arguments.time_limit:g}: should be above 0")
    if arguments.memory_limit < 500:
        raise UsageError(f"--memory-limit {arguments.memory_limit}: should be 500 or above")
    if arguments.history is not None and arguments.no_history:
        raise UsageError("--history is not allowed with --no-history")
    if not os.path.exists(package_path("serve", "static", "page.js")):
        raise UsageError("the page is not built here; run ./setup --page")
