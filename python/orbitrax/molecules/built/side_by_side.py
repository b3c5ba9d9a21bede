"""Several molecules that know nothing of each other, put side by side so that they touch."""

from __future__ import annotations

import numpy as np

from orbitrax.molecules.looks import RADII

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Sequence

    from orbitrax.arrays import Array

GAP = 1.5  # Angstrom beyond the sum of covalent radii: as near as molecules come that do not bond

_WAYS = np.array([(x, y, z) for x in (-1, 0, 1) for y in (-1, 0, 1) for z in (-1, 0, 1)
                  if (x, y, z) > (0, 0, 0) or (x, y, z) < (0, 0, 0)], dtype=float)
_WAYS /= np.linalg.norm(_WAYS, axis=1)[:, None]
_ALIKE = 1e-3  # of two places that are equally good the first is taken


def side_by_side(numbers: Sequence[int], positions: Array, parts: Sequence[Sequence[int]],
                 formal: Sequence[int]) -> Array:
    """Positions, n x 3 in Angstrom, in which no part is turned and each touches those before it.

    parts: the atoms of each, counted from 0; formal: charges, n. Of 26 directions a part
    comes from that where charges attract it most, and of these the one where its middle is nearest
    to the middle of what is there.
    """
    radii, charges = np.array(RADII)[numbers], np.array(formal, dtype=float)
    found = np.array(positions, dtype=float)
    there: list[int] = list(parts[0])
    for part in parts[1:]:
        mine = list(part)
        places = found[mine] - found[mine].mean(axis=0) + found[there].mean(axis=0)
        reach = radii[mine][:, None] + radii[there] + GAP
        best = None
        for way in _WAYS:
            moved = places + way * _until_touch(places[:, None] - found[there], reach, way)
            apart = np.linalg.norm(moved[:, None] - found[there], axis=2)
            pull = float(np.sum(charges[mine][:, None] * charges[there] / apart))
            far = float(np.linalg.norm(moved.mean(axis=0) - found[there].mean(axis=0)))
            if (best is None or pull < best[0] - _ALIKE
                    or (pull < best[0] + _ALIKE and far < best[1] - _ALIKE)):
                best = pull, far, moved
        assert best is not None
        found[mine] = best[2]
        there += mine
    return found


def _until_touch(between: Array, reach: Array, way: Array) -> float:
    """How far a part has to go along a unit vector until each of its atoms is out of reach of each
    that is there. between: m x n x 3, from those that are there; reach: m x n."""
    along = between @ way
    across = np.sum(between ** 2, axis=2) - along ** 2
    room = reach ** 2 - across
    return float(np.max(np.where(room > 0, np.sqrt(np.maximum(room, 0.0)) - along, 0.0)))
