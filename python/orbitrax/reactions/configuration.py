"""Whether two structures with the same bonds are one molecule: conformations turn into each other
about single bonds, configurations do not."""

from __future__ import annotations

from typing import Any

import numpy as np

Array = Any
Bonds = list[list[int]]  # of each atom, counted from 0

DOUBLE = 1.5  # Wiberg's order, from which on a bond holds its two ends in one plane
_STIFF = 15  # atomic number from which on three bonds do not swing through
_FLAT = 0.3  # sine of the angle at a bond, or share of a pyramid's height, that tells no side


def classes(numbers: Array, bonds: Bonds) -> list[int]:
    """A number for each atom, the same for atoms that bonds and elements do not tell apart."""
    found = [int(number) for number in numbers]
    for _ in numbers:
        keys = [(found[i], sorted(found[j] for j in near)) for i, near in enumerate(bonds)]
        order = sorted(map(repr, keys))
        refined = [order.index(repr(key)) for key in keys]
        if len(set(refined)) == len(set(found)):
            break
        found = refined
    return found


def first_difference(numbers: Array, bonds: Bonds, orders: Array, places: Array,
                     other: Array) -> tuple[int, ...] | None:
    """Where the configuration of two structures differs, in atoms counted from 0: the two of a
    double bond that has turned, or a centre that is inverted; None for one configuration. orders:
    n x n, Wiberg's, of the first; places, other: n x 3, Angstrom."""
    kinds = classes(numbers, bonds)
    for a, near in enumerate(bonds):
        for b in near:
            ends = [_told_apart([k for k in bonds[one] if k != away], kinds, (1, 2))
                    for one, away in ((a, b), (b, a))]
            if a < b and orders[a, b] >= DOUBLE and all(ends):
                if _side(places, (a, b), ends) * _side(other, (a, b), ends) < 0:
                    return a, b
        around = _told_apart(near, kinds, (3, 4) if numbers[a] >= _STIFF else (4,))
        if around and _hand(places, a, around) * _hand(other, a, around) < 0:
            return (a,)
    return None


def _told_apart(near: list[int], kinds: list[int], counts: tuple[int, ...]) -> list[int]:
    """Neighbours in the order of their classes; none where two are alike or their number is not
    one of these."""
    if len(near) not in counts or len({kinds[k] for k in near}) < len(near):
        return []
    return sorted(near, key=lambda k: kinds[k])


def _side(places: Array, bond: tuple[int, int], ends: list[list[int]]) -> float:
    """The cosine of the angle between the two ends of a bond, seen along it: each points to its
    first neighbour, away from its second; 0 where that lies along the bond."""
    axis = places[bond[1]] - places[bond[0]]
    axis = axis / np.linalg.norm(axis)
    points = []
    for atom, near in zip(bond, ends):
        arms = [(places[k] - places[atom]) / np.linalg.norm(places[k] - places[atom]) for k in near]
        to = arms[0] - (arms[1] if len(arms) > 1 else 0.0)
        across = to - axis * (to @ axis)
        if np.linalg.norm(across) < _FLAT:
            return 0.0
        points.append(across / np.linalg.norm(across))
    return float(points[0] @ points[1])


def _hand(places: Array, centre: int, around: list[int]) -> float:
    """Whether three neighbours go round clockwise, seen from the fourth or, without one, from the
    centre: the volume that they span, of unit arms; 0 where they lie in a plane."""
    arms = [places[k] - places[centre] for k in around]
    arms = [arm / np.linalg.norm(arm) for arm in arms]
    seen = arms[3] if len(arms) > 3 else np.zeros(3)
    volume = float(np.linalg.det([arm - seen for arm in arms[:3]]))
    return volume if abs(volume) > _FLAT else 0.0
