"""Charges as they are printed: with so many digits, and with the right sum to the last of them."""

from __future__ import annotations

import numpy as np

from orbitrax.minimise.arrays import Array

_MOST_UNITS = 1  # of the last digit, by which a class may be moved beyond rounding


def rounded(charges: Array, total: int, classes: Array, digits: int = 4) -> Array:
    """Charges of so many digits whose sum is `total` to the last digit, n, e.

    The charges' own sum should be near that. Atoms of one class keep one charge where the numbers
    allow it, and the changes are as small as they can be, counted in squares; where no such choice
    exists (all classes share a factor that the remainder does not), the last few units go to the
    largest class, one to an atom.
    """
    unit = 10.0 ** -digits
    sizes = np.bincount(classes)
    means = np.bincount(classes, weights=charges) / sizes / unit
    units = np.rint(means).astype(int)
    wanted = total * 10 ** digits
    units = units + _moves(means - units, sizes, wanted - int(units @ sizes))
    result = units[classes]
    left = wanted - int(result.sum())
    members = np.nonzero(classes == int(np.argmax(sizes)))[0]
    for place in range(abs(left)):
        result[members[place % len(members)]] += 1 if left > 0 else -1
    printed: Array = np.round(result * unit, digits)
    return printed


def _moves(errors: Array, sizes: Array, needed: int) -> Array:
    """Whole numbers, one for each class, so that sum(moves * sizes) comes as near to `needed` as it
    can from below in size, and sum(sizes * (moves - errors)^2) is least. errors: by how much the
    exact values lie above the rounded ones."""
    if needed == 0:
        return np.zeros(len(sizes), dtype=int)
    best: dict[int, tuple[float, tuple[int, ...]]] = {0: (0.0, ())}
    reach = abs(needed) + int(sizes.max())
    for error, size in zip(errors, sizes.tolist()):
        after: dict[int, tuple[float, tuple[int, ...]]] = {}
        for done, (cost, moves) in best.items():
            for move in range(-_MOST_UNITS, _MOST_UNITS + 1):
                sum_now = done + move * size
                if abs(sum_now) > reach:
                    continue
                cost_now = cost + size * (move - error) ** 2
                if sum_now not in after or cost_now < after[sum_now][0]:
                    after[sum_now] = (cost_now, moves + (move,))
        best = after
    nearest = min(best, key=lambda total: (abs(needed - total), best[total][0]))
    return np.array(best[nearest][1], dtype=int)
