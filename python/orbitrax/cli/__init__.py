"""The command line: `orbitrax TASK MOLECULE [options]`."""

from __future__ import annotations


def main(argv: list[str] | None = None) -> int:
    """Runs the command line and returns its exit status."""
    from orbitrax.cli.program import run_program

    return run_program(argv)
