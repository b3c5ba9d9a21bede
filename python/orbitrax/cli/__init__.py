"""The command line: `orbitrax TASK MOLECULE [options]`."""

from __future__ import annotations


def main(argv: list[str] | None = None) -> int:
    """Runs the command line and returns its exit status."""
    from orbitrax.cli.program import run_program

    return run_program(argv)


def entry() -> None:
    """What the installed command calls: runs the program and ends the process at once, as nothing
    is left to tidy up."""
    import _signal as signal  # the module without the lists of names
    import atexit
    import os
    import sys

    from orbitrax.interrupts import heard

    status = main()
    for number in heard():  # a late one would take the place of the status
        signal.signal(number, signal.SIG_IGN)
    atexit._run_exitfuncs()
    for stream in (sys.stdout, sys.stderr):
        try:
            stream.flush()
        except (OSError, ValueError):  # closed, or full; the status has been decided
            pass
    os._exit(status)
