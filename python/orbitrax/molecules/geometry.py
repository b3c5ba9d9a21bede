"""Neighbours in a molecule: atoms too close to compute, and bonds."""

from __future__ import annotations

from itertools import combinations, starmap
from math import dist

from orbitrax.units import RULE_ANGSTROM_PER_BOHR

TOO_CLOSE = 0.1 * RULE_ANGSTROM_PER_BOHR  # Angstrom
BOND_TOLERANCE = 0.4  # Angstrom beyond the sum of the covalent radii

_MANY = 300  # atoms, above which numpy is worth loading
_FEW = 12  # atoms, up to which all distances are taken at once

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Sequence
    from typing import Any

    import numpy as np

    Array = np.ndarray[Any, Any]


def pairs_nearer(xyz: Sequence[float], cutoff: float) -> list[tuple[int, int, float]]:
    """All pairs of points nearer than `cutoff`: indices i < j and distances, ascending by indices.
    xyz: 3 n, in the unit of `cutoff`. The way of `close_pairs`, without numpy for few points."""
    n = len(xyz) // 3
    if n > _MANY:
        import numpy

        i, j, distance = close_pairs(numpy.array(xyz).reshape(-1, 3), cutoff)
        return list(zip(i.tolist(), j.tolist(), distance.tolist()))
    sides = [xyz[k::3] for k in range(3)]
    if n <= _FEW:
        distances = list(starmap(dist, combinations(zip(*sides), 2)))
        if not distances or min(distances) >= cutoff:
            return []
        return [(i, j, distance) for (i, j), distance in zip(combinations(range(n), 2), distances)
                if distance < cutoff]
    along, across, up = sorted(sides, key=lambda side: min(side) - max(side)) if n else sides
    points = sorted(zip(along, across, up, range(n)))
    most, found = cutoff * cutoff, []
    for place, (x, y, z, a) in enumerate(points, 1):
        for x2, y2, z2, b in points[place:]:
            if x2 - x >= cutoff:
                break
            square = (x2 - x) ** 2 + (y2 - y) ** 2 + (z2 - z) ** 2
            if square < most:
                found.append((a, b, square ** 0.5) if a < b else (b, a, square ** 0.5))
    return sorted(found)


def close_pairs(positions: Array, cutoff: float) -> tuple[Array, Array, Array]:
    """All pairs of points nearer than `cutoff`: indices i < j and distances, in the unit of
    `positions`, n x 3.

    The points are sorted along the widest axis, and each is compared with those that follow it
    until none is within the cutoff along that axis.
    """
    import numpy as np

    axis = int(np.argmax(np.ptp(positions, axis=0)))
    order = np.argsort(positions[:, axis], kind="stable")
    points = positions[order]
    found_i, found_j, found_d = [], [], []
    for step in range(1, len(points)):
        gap = points[step:, axis] - points[:-step, axis]
        near = np.nonzero(gap < cutoff)[0]
        if len(near) == 0:
            break
        distance = np.linalg.norm(points[near + step] - points[near], axis=1)
        hit = distance < cutoff
        found_i.append(order[near[hit]])
        found_j.append(order[near[hit] + step])
        found_d.append(distance[hit])
    if not found_i:
        return np.zeros(0, int), np.zeros(0, int), np.zeros(0)
    i, j = np.concatenate(found_i), np.concatenate(found_j)
    distance = np.concatenate(found_d)
    i, j = np.minimum(i, j), np.maximum(i, j)
    sequence = np.lexsort((j, i))
    return i[sequence], j[sequence], distance[sequence]


def find_bonds(numbers: Array, positions: Array, most: int = 12) -> list[list[int]]:
    """Bonded atoms of each atom, ascending: those within the sum of the covalent radii and 0.4
    Angstrom, at most the `most` nearest. Dummies have no bonds."""
    import numpy as np

    from orbitrax.molecules.looks import RADII

    radii = np.array(RADII)[numbers]
    i, j, distance = close_pairs(positions, 2 * radii.max() + BOND_TOLERANCE)
    real = (numbers[i] > 0) & (numbers[j] > 0)
    bonded = real & (distance < radii[i] + radii[j] + BOND_TOLERANCE)
    neighbours: list[list[tuple[float, int]]] = [[] for _ in numbers]
    for a, b, d in zip(i[bonded].tolist(), j[bonded].tolist(), distance[bonded].tolist()):
        neighbours[a].append((d, b))
        neighbours[b].append((d, a))
    return [sorted(index for _, index in sorted(near)[:most]) for near in neighbours]
