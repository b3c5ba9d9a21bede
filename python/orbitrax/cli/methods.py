"""The command `methods`: what can be computed with which elements, and where it was published."""

from __future__ import annotations

import sys

from orbitrax.errors import OrbitraxError, UsageError
from orbitrax.methods import METHODS
from orbitrax.molecules.elements import NUMBERS, SYMBOLS
from orbitrax.tables import load_parameters

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Iterator

    from orbitrax.methods import Method
    from orbitrax.tables import ParameterSet

_WIDTH = 80


def list_methods(tables: str | None, element: str | None = None, as_json: bool = False) -> int:
    """Prints the list, or that of the methods that have an element; returns the exit status."""
    try:
        number = None if element is None else _number(element)
        found = [(method, load_parameters(method, tables)) for method in METHODS]
    except OrbitraxError as error:
        print(f"orbitrax: error: {error.typed}", file=sys.stderr)
        return error.exit_status
    found = [(method, known) for method, known in found
             if number is None or number in known.elements]
    if as_json:
        _print_json(found)
        return 0
    if not found:
        print(f"orbitrax: error: no method has {element}", file=sys.stderr)
        return 1
    for method, known in found:
        print(f"{method.key:<8}{method.title}, family {method.family}")
        print(f"        {method.source}")
        for label, numbers in (("elements", known.elements), ("capping", known.capping)):
            longest = 5 if label == "capping" else len(SYMBOLS)
            for i, line in enumerate(_wrapped(_named(sorted(numbers), longest))):
                print(f"        {label if i == 0 else '':<10}{line}")
    return 0


def _number(element: str) -> int:
    name = element.capitalize()
    if name not in NUMBERS or name == "X":
        raise UsageError(f"there is no element '{element}'")
    return NUMBERS[name]


def _print_json(found: list[tuple[Method, ParameterSet]]) -> None:
    import json

    print(json.dumps([{
        "method": method.key, "title": method.title, "family": method.family,
        "source": method.source, "heat_of_formation": method.has_heats,
        "elements": [SYMBOLS[number] for number in sorted(known.elements)],
        "capping": [SYMBOLS[number] for number in sorted(known.capping)],
    } for method, known in found]))


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
