"""How a bond is drawn: as so many sticks, so thick, side by side, as its order says."""

from __future__ import annotations

import numpy as np

TYPE_CHECKING = False
if TYPE_CHECKING:
    from orbitrax.arrays import Array

    Strand = tuple[Array, float]

STICK = 0.105  # Angstrom: radius of a single bond

# From which order on, and the sticks: how far each stands aside, and its radius, Angstrom.
_KINDS = ((2.5, ((-0.16, 0.06), (0.0, 0.06), (0.16, 0.06))),
          (1.6, ((-0.1, 0.075), (0.1, 0.075))),
          (1.25, ((-0.06, 0.09), (0.12, 0.035))),  # the thin one inside of a ring
          (0.6, ((0.0, STICK),)),
          (-np.inf, ((0.0, 0.045),)))  # as of a metal and a ring
_NO_SIDE = 0.2  # Angstrom: neighbours that balance each other so well tell no side


def strands(order: float, ends: tuple[int, int], positions: Array,
            neighbours: list[list[int]]) -> list[Strand]:
    """Sticks of a bond between two atoms: where each stands beside the line of their centres, and
    its radius, Angstrom. order: as Wiberg's; several lie in the plane of the neighbours."""
    kind = next(kind for least, kind in _KINDS if order >= least)
    if len(kind) == 1:
        return [(np.zeros(3), kind[0][1])]
    aside = _side(ends, positions, neighbours)
    return [(by * aside, radius) for by, radius in kind]


def _side(ends: tuple[int, int], positions: Array, neighbours: list[list[int]]) -> Array:
    """A unit vector square to a bond, towards where most neighbours are."""
    along = positions[ends[1]] - positions[ends[0]]
    along = along / np.linalg.norm(along)
    parts = [positions[k] - positions[end] for end in ends for k in neighbours[end]
             if k not in ends]
    square = [part - (part @ along) * along for part in parts]
    for vector in (sum(square, np.zeros(3)), *square):
        length = float(np.linalg.norm(vector))
        if length > _NO_SIDE:
            found: Array = vector / length
            return found
    other = np.cross(along, np.eye(3)[np.argmin(np.abs(along))])
    side: Array = other / np.linalg.norm(other)
    return side
