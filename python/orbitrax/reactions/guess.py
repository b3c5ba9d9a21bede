"""Structures between two ends, by the distances of their atoms.

Half way between the sides, every bond should be half made or half broken: the middle has the mean
of a measure that falls from 1 at the length of a bond to next to nothing beyond the reach of one
(X. Zhu, K. C. Thompson, T. J. Martinez, J. Chem. Phys. 150, 164103 (2019)), so that two molecules
meet, however far apart they are at their side. Steps of a band have the mean of the distances
themselves (S. Smidstrup, A. Pedersen, K. Stokbro, H. Jonsson, J. Chem. Phys. 140, 214106 (2014)).
Places are found that come nearest to it. Mirror images have all distances in common: between
them lie the means of their places.
"""

from __future__ import annotations

from typing import Any, Callable

import numpy as np
from scipy.optimize import least_squares

from orbitrax.molecules.looks import RADII
from orbitrax.molecules.molecule import Molecule
from orbitrax.reactions.pairs import matrix_difference, superposed

Array = Any

_TRIES = 6
_SHAKE = 0.3  # Angstrom: atoms that would pass through one another go round each other
_ALIKE = 0.05  # Angstrom: sides whose distances all differ by less are mirror images
_FALL = 1.7  # of the measure, at the length of a bond
_FAR = 0.01  # what is left of it far away, falling by the inverse distance


def between(reactant: Molecule, product: Molecule) -> Array:
    """The structure half way, n x 3, Angstrom, its bonds half made and half broken, or flat between
    mirror images."""
    first, last = _laid_together(reactant, product)
    if matrix_difference(first, last) < _ALIKE:
        return 0.5 * (first + last)
    i, j = np.triu_indices(len(first), 1)
    radii = np.array(RADII)[reactant.numbers]
    lengths = radii[i] + radii[j]

    def bonds(places: Array) -> Array:
        return bond_measure(_distances(places), lengths)

    wanted = 0.5 * (bonds(first) + bonds(last))
    return _nearest(lambda places: bonds(places) - wanted, 0.5 * (first + last), _TRIES)


def bond_measure(distances: Array, lengths: Array) -> Array:
    """How much of a bond there is: about 1 at its length, falling by the distance."""
    measure: Array = np.exp(-_FALL * (distances / lengths - 1.0)) + _FAR * lengths / distances
    return measure


def images_between(reactant: Molecule, product: Molecule, count: int) -> list[Array]:
    """The two ends and `count` structures between them, an odd number, each near to its
    neighbours."""
    half = count // 2 + 1
    first, last = _laid_together(reactant, product)
    if matrix_difference(first, last) < _ALIKE:
        return [first + share * (last - first) for share in np.linspace(0.0, 1.0, count + 2)]
    centre = _by_distances(first, last, 0.5, 0.5 * (first + last), _TRIES)
    first, last = superposed(first, centre), superposed(last, centre)

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


def _laid_together(reactant: Molecule, product: Molecule) -> tuple[Array, Array]:
    first = np.asarray(reactant.positions, dtype=float)
    return first, superposed(np.asarray(product.positions, dtype=float), first)


def _by_distances(first: Array, last: Array, share: float, start: Array, tries: int) -> Array:
    """Places whose distances are as near as they can be to the mean of two structures; small
    distances weigh most."""
    wanted = (1.0 - share) * _distances(first) + share * _distances(last)
    weights = wanted ** -2
    return _nearest(lambda places: weights * (_distances(places) - wanted), start, tries)


def _distances(places: Array) -> Array:
    """All of them, one a pair."""
    i, j = np.triu_indices(len(places), 1)
    found: Array = np.linalg.norm(places[i] - places[j], axis=1)
    return found


def _nearest(missing: Callable[[Array], Array], start: Array, tries: int) -> Array:
    """Places where least is missing. Several starts, the same in each run, and the best end."""
    shaken = np.random.default_rng(0)
    best, least = start, float("inf")
    for number in range(tries):
        shake = shaken.normal(scale=_SHAKE if number else 1e-3, size=start.shape)
        found = least_squares(lambda flat: missing(flat.reshape(-1, 3)), (start + shake).ravel(),
                              max_nfev=300)
        if found.cost < least - 1e-6:
            best, least = found.x.reshape(-1, 3), float(found.cost)
    return superposed(best, start)
