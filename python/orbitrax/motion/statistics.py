"""Means of a run with their errors, and its drift, without numpy."""

from __future__ import annotations

import math

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Sequence

_FEWEST_BLOCKS = 12  # below, an error of the mean is itself known no better than to a quarter


def mean(values: Sequence[float]) -> float | None:
    """The mean; None of nothing."""
    return math.fsum(values) / len(values) if values else None


def standard_error(values: Sequence[float]) -> float | None:
    """Standard error of the mean of numbers in time, which depend on those before them: the
    greatest one over means of blocks of 1, 2, 4, ... numbers, which grows until the blocks are
    independent.
    H. Flyvbjerg and H. G. Petersen, J. Chem. Phys. 91, 461 (1989). None for too few numbers."""
    blocks, found = list(values), -1.0
    while len(blocks) >= _FEWEST_BLOCKS:
        n = len(blocks)
        middle = math.fsum(blocks) / n
        error = math.sqrt(math.fsum((b - middle) ** 2 for b in blocks) / (n * (n - 1)))
        found = max(found, error)
        blocks = [(a + b) / 2 for a, b in zip(blocks[0::2], blocks[1::2])]
    return None if found < 0.0 else found


def fluctuation(values: Sequence[float]) -> float | None:
    """Root mean square about the mean; None of nothing."""
    middle = mean(values)
    if middle is None:
        return None
    return math.sqrt(math.fsum((v - middle) ** 2 for v in values) / len(values))


def drift(times: Sequence[float], values: Sequence[float]) -> tuple[float, float] | None:
    """Change of values with time, and its standard error, from the means of the two halves and how
    the values scatter about such a line; None for too few numbers, or times that are all the same.
    """
    half = len(values) // 2
    parts = slice(0, half), slice(len(values) - half, None)
    if half < _FEWEST_BLOCKS:
        return None
    apart = (math.fsum(times[parts[1]]) - math.fsum(times[parts[0]])) / half
    if not apart > 0.0:
        return None
    found = (math.fsum(values[parts[1]]) - math.fsum(values[parts[0]])) / half / apart
    level = [value - found * t for t, value in zip(times, values)]
    return found, math.hypot(*(standard_error(level[part]) or 0.0 for part in parts)) / apart
