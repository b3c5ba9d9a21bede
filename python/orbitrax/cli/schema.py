"""The command `schema`: the JSON schema of the result document."""

from __future__ import annotations

import json
from typing import Any

from orbitrax.results.document import schema

DESCRIPTION = "Prints the JSON schema of the result document, with units."
EXAMPLES = ("orbitrax schema > orbitrax-result-1.json",)


def add_arguments(parser: Any) -> None:
    """It has no options."""


def run(arguments: Any, terminal: Any) -> int:
    """Prints it."""
    print(json.dumps(schema(), indent=1))
    return 0
