"""Radicals and carbanions in geometries of a force field, which knows no lone electrons and draws
them straight or flat: a search from there keeps the symmetry and ends on a saddle point."""

from __future__ import annotations

import numpy as np

from orbitrax.molecules.force_field import set_positions

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any

    from orbitrax.arrays import Array

_AWAY = 0.15  # Angstrom: enough to be no saddle point, and soon undone where straight is right
_STRAIGHT = 0.1  # of sine or height: what is bent by more leaves the saddle by itself
_GENERAL = np.array([0.36, 0.48, 0.8])  # a direction that no plane of symmetry contains


def bend_open_centres(mol: Any) -> None:
    """Moves each atom with a lone electron, or carbon with a charge of -1, that lies on the line
    through its two neighbours or in the plane of its three, out of there by 0.15 Angstrom."""
    places = np.array(mol.GetConformer().GetPositions())
    found = places.copy()
    for atom in mol.GetAtoms():
        anion = atom.GetFormalCharge() < 0 and atom.GetAtomicNum() == 6
        near = list(atom.GetNeighbors())
        if not (anion or atom.GetNumRadicalElectrons()) or len(near) not in (2, 3):
            continue
        if any(_unsaturated(one) if len(near) == 3 else _cumulated(one) for one in near):
            continue  # an allyl or a benzyl is flat, and the end of a cumulene mostly straight
        out = _way_out(places[[one.GetIdx() for one in near]] - places[atom.GetIdx()])
        if out is not None:
            found[atom.GetIdx()] += _AWAY * out
    if not np.array_equal(found, places):
        set_positions(mol, found)


def _unsaturated(atom: Any) -> bool:
    return any(bond.GetBondTypeAsDouble() > 1 for bond in atom.GetBonds())


def _cumulated(atom: Any) -> bool:
    """Whether it has two multiple bonds."""
    return bool(sum(bond.GetBondTypeAsDouble() > 1 for bond in atom.GetBonds()) > 1)


def _way_out(arms: Array) -> Array | None:
    """A unit vector across the line or plane of the arms; None where they are in none."""
    arms = arms / np.linalg.norm(arms, axis=1)[:, None]
    if len(arms) == 2:
        if arms[0] @ arms[1] > 0 or np.linalg.norm(np.cross(*arms)) > _STRAIGHT:
            return None
        across = _GENERAL - arms[0] * (arms[0] @ _GENERAL)
    else:
        across = np.cross(arms[1] - arms[0], arms[2] - arms[0])
        if abs(np.linalg.det(arms)) > _STRAIGHT:
            return None
    found: Array = across / np.linalg.norm(across)
    return found
