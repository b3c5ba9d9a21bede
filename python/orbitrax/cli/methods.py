"""The command `methods`: what can be computed with which elements, and where it was published."""

from __future__ import annotations

import sys

from orbitrax.errors import OrbitraxError
from orbitrax.methods import METHODS
from orbitrax.molecules.elements import SYMBOLS
from orbitrax.tables import load_parameters

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Iterator

_WIDTH = 80


def list_methods(tables: str | None) -> int:
    """Prints the list; returns the exit status."""
    try:
        for method in METHODS:
            known = load_parameters(method, tables)
            print(f"{method.key:<8}{method.title}, family {method.family}")
            print(f"        {method.source}")
            for label, numbers in (("elements", known.elements), ("capping", known.capping)):
                longest = 5 if label == "capping" else len(SYMBOLS)
                for i, line in enumerate(_wrapped(_named(sorted(numbers), longest))):
                    print(f"        {label if i == 0 else '':<10}{line}")
    except OrbitraxError as error:
        print(f"orbitrax: error: {error.typed}", file=sys.stderr)
        return error.exit_status
    return 0


def _named(numbers: list[int], longest: int) -> list[str]:
    """Elements by symbol, unbroken runs of more than `longest` as first-last."""
    words: list[str] = []
    start = 0
    for i in range(1, len(numbers) + 1):
        if i < len(numbers) and numbers[i] == numbers[i - 1] + 1:
            continue
        run = [SYMBOLS[number] for number in numbers[start:i]]
        words += [f"{run[0]}-{run[-1]}"] if len(run) > longest else run
        start = i
    return words


def _wrapped(words: list[str]) -> Iterator[str]:
    """Lines of at most 80 columns."""
    line = ""
    for word in words:
        if line and len(line) + 1 + len(word) > _WIDTH:
            yield line
            line = ""
        line = f"{line} {word}" if line else word
    yield line
