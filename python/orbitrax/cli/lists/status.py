"""The command `status`: what came of a batch so far."""

from __future__ import annotations

import json
from typing import Any

from orbitrax.bulk.records import Summary
from orbitrax.errors import OrbitraxError

DESCRIPTION = "Counts the results of a batch, with rates and the reasons of failures."
EXAMPLES = ("orbitrax status results.jsonl", "orbitrax status results.jsonl --json")
_MOST = 12  # reasons that are shown


def add_arguments(parser: Any) -> None:
    """Declares the options."""
    parser.add_argument("results", metavar="RESULTS", help="the results of a batch")
    parser.add_argument("--json", action="store_true", help="print one JSON document")


def run(arguments: Any, terminal: Any) -> int:
    """Prints it; returns the exit status."""
    try:
        found = Summary(arguments.results)
    except OrbitraxError as error:
        terminal.error(error.typed)
        return error.exit_status
    if arguments.json:
        print(json.dumps(found.to_dict()))
        return 0
    print("\n".join(_lines(found)))
    return 0


def _lines(found: Summary) -> list[str]:
    lines = [f"{found.count:>8} records"]
    lines += [f"{count:>8} {status}" for status, count in found.statuses.most_common()]
    if found.accidents:
        lines.append(f"{found.accidents:>8} of them by accident: --resume tries them again")
    if found.wall > 0:
        lines += ["", f"{found.wall:.1f} s from the first to the last, {found.busy:.1f} s of "
                  f"computing: {found.count / found.wall:.2f} a second",
                  f"slowest: {found.slowest[1]}, {found.slowest[0]:.2f} s",
                  f"hosts: {', '.join(found.hosts)}"]
    if found.reasons:
        lines += ["", "without a result, by reason:"]
        lines += [f"{count:>8} {reason}" for reason, count in found.reasons.most_common(_MOST)]
    if found.warnings:
        lines += ["", "done, with a warning:"]
        lines += [f"{count:>8} {text}" for text, count in found.warnings.most_common(_MOST)]
    return lines
