"""The command `explain`: a stored result in words, and what is odd about it."""

from __future__ import annotations

import sys
from typing import Any

from orbitrax.errors import OrbitraxError, UsageError
from orbitrax.jsontext import from_json
from orbitrax.results.document import SCHEMA
from orbitrax.results.odd import oddities
from orbitrax.results.result import result_of
from orbitrax.results.text import summary

DESCRIPTION = "Shows a result document as a summary, with what is odd about it."
EXAMPLES = ("orbitrax explain caffeine.json",
            "orbitrax energy examples/water.xyz -m am1 --json | orbitrax explain -")


def add_arguments(parser: Any) -> None:
    """Declares the options."""
    parser.add_argument("document", metavar="FILE", help="a document that --json printed, or -")


def run(arguments: Any, terminal: Any) -> int:
    """Prints the summary; returns the exit status: 1 where the result is not to be believed."""
    try:
        document = _document(arguments.document)
    except OrbitraxError as error:
        terminal.error(error.typed)
        return error.exit_status
    if document.get("symbols") is None or document.get("method") is None:
        print(f"status {document.get('status')}: nothing was calculated")
        for text in document.get("errors") or ():
            print(f"Error: {text}")
        return 1
    result = result_of(document)
    result.remarks = oddities(result)
    print("\n".join(summary(result)))
    words = [*(f"Warning: {text}" for text in result.warnings),
             *(f"Error: {text}" for text in result.errors)]
    if not words and not result.remarks:
        words = ["Nothing is odd about it, as far as its numbers tell."]
    print("\n" + "\n".join(words) if words else "")
    return 0 if document.get("status") == "done" else 1


def _document(path: str) -> dict[str, Any]:
    try:
        if path == "-":
            text = sys.stdin.read()
        else:
            with open(path, encoding="utf-8") as file:
                text = file.read()
        found = from_json(text)
    except OSError as error:
        raise UsageError(f"{path}: {error.strerror}") from None
    except ValueError:
        raise UsageError(f"{path}: is no JSON document") from None
    if not isinstance(found, dict) or found.get("schema") != SCHEMA:
        raise UsageError(f"{path}: is no result document ({SCHEMA})")
    return found
