"""The command `merge`: results of several batches, or of slices of one, in one file."""

from __future__ import annotations

from typing import Any

from orbitrax.bulk.records import merge
from orbitrax.errors import OrbitraxError

DESCRIPTION = "Joins results files into one, with one record for each molecule."
EXAMPLES = ("orbitrax merge part-*.jsonl -o results.jsonl",)


def add_arguments(parser: Any) -> None:
    """Declares the options."""
    parser.add_argument("results", nargs="+", metavar="RESULTS", help="results of batches")
    parser.add_argument("-o", "--output", required=True, metavar="FILE", help="the file to write")
    parser.add_argument("-q", "--quiet", action="store_true", help="say nothing")


def run(arguments: Any, terminal: Any) -> int:
    """Joins them; returns the exit status."""
    try:
        count, left_out = merge(arguments.results, arguments.output)
    except OrbitraxError as error:
        terminal.error(error.typed)
        return error.exit_status
    terminal.tell(f"{count} records, {left_out} left out that stand there better")
    return 0
