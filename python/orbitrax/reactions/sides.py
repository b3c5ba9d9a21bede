"""The two sides of a reaction: what they are, and what tells them apart."""

from __future__ import annotations

from typing import Any

import numpy as np

from orbitrax.reactions.surface import EnergySurface
from orbitrax.results.result import Result


def changed(surface: EnergySurface, side: Result, end: Result) -> str:
    """Where a structure of the same bonds has another configuration than a side, in words."""
    from orbitrax.reactions.configuration import first_difference

    where = first_difference(numbers_of(side), bonds_of(side), surface.bond_orders(places_of(side)),
                             places_of(side), places_of(end))
    if where is None:
        return ""
    atoms = "=".join(f"{side.symbols[i]}{i + 1}" for i in where)
    return f"{atoms} has turned" if len(where) > 1 else f"{atoms} is inverted"


def places_of(result: Result) -> Any:
    """Its atoms, n x 3, Angstrom."""
    return np.asarray(result.coordinates, dtype=float).reshape(-1, 3)


def numbers_of(result: Result) -> Any:
    """Atomic numbers."""
    from orbitrax.molecules.elements import NUMBERS

    return np.array([NUMBERS[symbol] for symbol in result.symbols])


def bonds_of(result: Result) -> list[list[int]]:
    """The atoms that each atom is bonded to, from 0."""
    from orbitrax.molecules.geometry import find_bonds

    return [sorted(int(j) for j in others)
            for others in find_bonds(numbers_of(result), places_of(result))]
