"""The two sides of a reaction: minima, proved by their vibrations, and what tells them apart."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Any, Callable

import numpy as np

from orbitrax.errors import NotConverged
from orbitrax.job import Job, JobSettings
from orbitrax.molecules.molecule import Molecule
from orbitrax.reactions.surface import EnergySurface
from orbitrax.results.result import Result
from orbitrax.tasks.optimize import Optimize
from orbitrax.tasks.ts import imaginary_of, modes_at, said
from orbitrax.vibrations.modes import Modes

_LIMIT = 0.02  # kcal/(mol Angstrom): of the minima
_AWAY = 0.15  # Angstrom: how far the atom that moves most is taken along an imaginary mode
_ROUNDS = 4  # saddle points that are left one below the other
_FALL = 1e-3  # kcal/mol: a mode along which the energy falls by less is a flat one

Tell = Callable[[str], None]


@dataclass
class Side:
    """A side where the search ended. remark: what a reader should know of it, or empty. unfinished:
    why it is not known to be a minimum, or empty."""

    result: Result
    remark: str = ""
    unfinished: str = ""


def side_of(surface: EnergySurface, molecule: Molecule, name: str, proved: bool,
            tell: Tell) -> Side:
    """The minimum next to a molecule. proved: its vibrations are computed, and from a saddle point,
    as of a methyl group that stands eclipsed, the search goes on downhill, as long as it remains
    the same molecule and there are no more than a few of them. Raises NotConverged where there is
    no minimum."""
    surface.stage = f"minimum of {molecule.title}"
    tell(surface.stage)
    first = _optimised(surface, molecule.positions)
    if not proved:
        return Side(first)
    tell(f"vibrations of {molecule.title}")
    here, other, lost = first, "", f"below {_ROUNDS} saddle points stands another one"
    start = modes = _with_modes(surface, molecule, first)
    for _ in range(_ROUNDS):
        if not modes.imaginary:
            break
        try:
            below = _below(surface, here, modes)
        except NotConverged as error:
            lost = f"the search below it: {error.typed}"
            break
        other = "" if below is None else _other(surface, first, below)
        if below is None or other:
            lost = ""  # another molecule, or a motion that is almost free
            break
        here, modes = below, _with_modes(surface, molecule, below)
    if other:
        return Side(here, f"{name} is {said(modes)}, and no minimum: below it {other}")
    remarks, unfinished = [], ""
    if here is not first:
        gap = _energy(first) - _energy(here)
        remarks.append(f"the search for {name} ended on {said(start)}, which was left for the "
                       f"structure {gap:.4f} kcal/mol below it")
    if imaginary_of(modes) and lost:
        unfinished = f"{name} is {said(modes)}, and no minimum: {lost}"
    elif imaginary_of(modes):
        remarks.append(f"{name} is {said(modes)}, along which its energy does not fall")
    return Side(here, "; ".join(remarks), unfinished)


def _optimised(surface: EnergySurface, positions: Any) -> Result:
    return surface.search(Optimize(limit=_LIMIT, **surface.shared), positions)


def _below(surface: EnergySurface, here: Result, modes: Modes) -> Result | None:
    """What stands downhill of the most imaginary mode; None where the energy does not fall. Raises
    NotConverged where the search has no end."""
    shift = modes.displacements[0].reshape(-1, 3)
    shift = shift * (_AWAY / np.max(np.linalg.norm(shift, axis=1)))
    starts = [places_of(here) + sign * shift for sign in (1.0, -1.0)]
    start = min(starts, key=lambda places: surface(places)[0])
    found = _optimised(surface, start)
    return found if _energy(found) < _energy(here) - _FALL else None


def _energy(result: Result) -> float:
    assert result.total_energy is not None
    return result.total_energy


def _other(surface: EnergySurface, side: Result, found: Result) -> str:
    """How a structure is another molecule than a side, in words; empty where it is the same."""
    if bonds_of(found) != bonds_of(side):
        return "other bonds are made"
    return changed(surface, side, found)


def _with_modes(surface: EnergySurface, molecule: Molecule, end: Result) -> Modes:
    """Its modes, which it is given."""
    job = Job(molecule.replace(positions=end.plain("coordinates")), surface.method,
              JobSettings(**surface.shared))
    found = modes_at(surface.backend, job, end)
    assert found.modes is not None
    end.modes, end.point_group = found.modes, found.point_group
    return found.modes


# ---- what a structure is ------------------------------------------------------------------------


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
