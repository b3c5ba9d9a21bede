"""Structures between two ends, by the distances of their atoms.

Half way, every distance should be the mean of those at the ends (S. Smidstrup, A. Pedersen, K.
Stokbro, H. Jonsson, J. Chem. Phys. 140, 214106 (2014)); places are found that come nearest to it.
"""

from __future__ import annotations

from typing import Any

import numpy as np
from scipy.optimize import least_squares

from orbitrax.molecules.molecule import Molecule
from orbitrax.reactions.pairs import superposed

Array = Any

_TRIES = 6
_SHAKE = 0.3  # Angstrom: atoms that would pass through one another go round each other


def between(reactant: Molecule, product: Molecule) -> Array:
    """The structure half way, n x 3, Angstrom, near the mean of both ends."""
    first = np.asarray(reactant.positions, dtype=float)
    last = superposed(np.asarray(product.positions, dtype=float), first)
    return _by_distances(first, last, 0.5, 0.5 * (first + last), _TRIES)


def images_between(reactant: Molecule, product: Molecule, count: int,
                   middle: Array | None = None) -> list[Array]:
    """The two ends and `count` structures between them, an odd number, each near to its
    neighbours. middle: the structure half way, where there is one already."""
    half = count // 2 + 1
    centre = between(reactant, product) if middle is None else np.asarray(middle, dtype=float)
    first = superposed(np.asarray(reactant.positions, dtype=float), centre)
    last = superposed(np.asarray(product.positions, dtype=float), centre)

    def side(end: Array) -> list[Array]:
        found: list[Array] = []
        place = centre
        for number in range(half - 1, 0, -1):
            share = number / half
            place = _by_distances(end, centre, share, end + (place - end) * share / (
                (number + 1) / half), 1)
            found.append(superposed(place, found[-1] if found else centre))
        return found[::-1]

    return [first, *side(first), centre, *side(last)[::-1], last]


def _by_distances(first: Array, last: Array, share: float, start: Array, tries: int) -> Array:
    """Places whose distances are as near as they can be to the mean of two structures. Several
    starts, the same in each run, and the nearest end; small distances weigh most."""
    i, j = np.triu_indices(len(start), 1)

    def distances(places: Array) -> Array:
        return np.linalg.norm(places[i] - places[j], axis=1)

    wanted = (1.0 - share) * distances(first) + share * distances(last)
    weights = wanted ** -2

    def missing(flat: Array) -> Array:
        return weights * (distances(flat.reshape(-1, 3)) - wanted)

    shaken = np.random.default_rng(0)
    best, least = start, float("inf")
    for number in range(tries):
        shake = shaken.normal(scale=_SHAKE if number else 1e-3, size=start.shape)
        found = least_squares(missing, (start + shake).ravel(), max_nfev=200)
        if found.cost < least - 1e-6:
            best, least = found.x.reshape(-1, 3), float(found.cost)
    return superposed(best, start)
