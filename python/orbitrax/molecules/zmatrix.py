"""Places of atoms from lengths, angles and torsions."""

from __future__ import annotations

import math

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Sequence

    Vector = tuple[float, float, float]

def places(rows: Sequence[tuple[tuple[int, ...], tuple[float, float, float]]]) -> list[Vector]:
    """Where the atoms are: the first at the origin, the second on the x axis. rows: of each atom up
    to three others before it, indices from 0, and the length to the first (Angstrom), the angle
    with the second and the torsion with the third (degrees)."""
    found: list[Vector] = []
    for others, (length, angle, torsion) in rows:
        theta, phi = math.radians(angle), math.radians(torsion)
        if not others:
            found.append((0.0, 0.0, 0.0))
        elif len(others) == 1:
            x, y, z = found[others[0]]
            found.append((x + length, y, z))
        else:
            j, k = found[others[0]], found[others[1]]
            m = found[others[2]] if len(others) > 2 else (k[0], k[1] + 1.0, k[2])
            phi = phi if len(others) > 2 else 0.0
            found.append(_placed(j, k, m, length, theta, phi))
    return found


def _placed(j: Vector, k: Vector, m: Vector, length: float, angle: float,
            torsion: float) -> Vector:
    """The point at a length from j, at an angle j-k, and at a torsion j-k-m."""
    axis = _unit(_less(k, j))
    normal = _cross(_less(m, k), axis)
    if math.hypot(*normal) < 1e-9:  # m, k, j in a line: any plane will do
        normal = _cross((0.0, 0.0, 1.0) if abs(axis[2]) < 0.9 else (1.0, 0.0, 0.0), axis)
    normal = _unit(normal)
    inward = _cross(axis, normal)
    a = length * math.cos(angle)
    b = length * math.sin(angle) * math.cos(torsion)
    c = length * math.sin(angle) * math.sin(torsion)
    return (j[0] + a * axis[0] + b * inward[0] + c * normal[0],
            j[1] + a * axis[1] + b * inward[1] + c * normal[1],
            j[2] + a * axis[2] + b * inward[2] + c * normal[2])


def _less(a: Vector, b: Vector) -> Vector:
    return a[0] - b[0], a[1] - b[1], a[2] - b[2]


def _cross(a: Vector, b: Vector) -> Vector:
    return a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]


def _unit(a: Vector) -> Vector:
    length = math.hypot(*a) or 1.0
    return a[0] / length, a[1] / length, a[2] / length
