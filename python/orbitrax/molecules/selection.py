"""Which atoms are calculated: numbers from 1, and texts like "1-24,31"."""

from __future__ import annotations

from orbitrax.errors import UsageError

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Iterable

_MOST = 1 << 24  # atoms of a molecule


def parse_selection(given: str | Iterable[int], option: str = "--select") -> tuple[int, ...]:
    """Atom numbers of a text like "1-4,7", or of numbers. option: what refusals begin with."""
    if not isinstance(given, str):
        try:
            found = tuple(given)
            if all(number == int(number) for number in found):
                return tuple(map(int, found))
        except (TypeError, ValueError, OverflowError):
            pass
        raise UsageError(f"{option} {str(given)[:60]}: atoms are given by whole numbers, from 1")
    numbers: list[int] = []
    for part in given.split(","):
        first, dash, last = part.strip().partition("-")
        try:
            low = int(first)
            high = int(last) if dash else low
        except ValueError:
            raise UsageError(f"{option} {given}: '{part.strip()}' is neither an atom number nor a "
                             "range like 1-4") from None
        if high < low:
            raise UsageError(f"{option} {given}: the range '{part.strip()}' runs backwards")
        if high - low >= _MOST:
            raise UsageError(f"{option} {given}: no molecule has so many atoms")
        numbers.extend(range(low, high + 1))
    return tuple(numbers)


def check_selection(numbers: tuple[int, ...], count: int, title: str) -> tuple[int, ...] | None:
    """The selection among `count` atoms, ascending; None where it is all of them."""
    for number in numbers:
        if not 1 <= number <= count:
            raise UsageError(f"there is no atom {number} to select: {title} has {count} atoms")
    if len(set(numbers)) < len(numbers):
        raise UsageError("an atom is selected twice")
    if not numbers:
        raise UsageError("the selection names no atom")
    return None if len(numbers) == count else tuple(sorted(numbers))
