"""The path of steepest descent in mass-weighted coordinates, from a saddle point down to both
sides.

Each step is exact on the quadratic surface at hand, whose Hessian is that of the saddle point,
brought up to date by the gradients that come (M. Page and J. W. McIver, J. Chem. Phys. 88, 922
(1988); J. M. Bofill, J. Comput. Chem. 15, 1 (1994)).
"""

from __future__ import annotations

from dataclasses import dataclass, field
from typing import Any, Callable

import numpy as np

Array = Any

_GRID = np.concatenate([[0.0], np.geomspace(1e-6, 1e4, 4000)])  # of the parameter, in its unit


@dataclass
class Point:
    """A point of a path. s: arc length from the saddle point, Angstrom amu^1/2, negative towards
    the first side; energy kcal/mol; positions n x 3, Angstrom; gradient kcal/(mol Angstrom)."""

    s: float
    energy: float
    positions: Array
    gradient: Array

    @property
    def rms(self) -> float:
        """Root mean square of the gradient."""
        return float(np.sqrt(np.mean(self.gradient ** 2)))


@dataclass
class Branch:
    """One side of a path, from the first point behind the saddle point on. why: how it ended."""

    points: list[Point] = field(default_factory=list)
    why: str = ""


def descend(surface: Callable[[Array], tuple[float, Array]], start: Point, direction: Array,
            hessian: Array, masses: Array, *, step: float = 0.1, most: int = 200,
            limit: float = 0.5, on_point: Callable[[Point], None] | None = None) -> Branch:
    """Follows the path from a saddle point to one side.

    direction: along which it leaves, 3 n, mass-weighted and of unit length; hessian: 3 n x 3 n,
    kcal/(mol Angstrom^2); step: Angstrom amu^1/2; limit: RMS gradient, kcal/(mol Angstrom), below
    which the valley floor is flat. Ends there, where the energy rises, or after `most` steps.
    """
    root = np.sqrt(np.repeat(np.asarray(masses, dtype=float), 3))
    weighted = hessian / np.outer(root, root)
    place = start.positions.reshape(-1) * root
    branch = Branch()
    here, slope = start, start.gradient.reshape(-1) / root
    move = step * direction
    for number in range(1, most + 1):
        positions = ((place + move) / root).reshape(-1, 3)
        energy, gradient = surface(positions)
        there = Point(number * step, energy, positions, gradient)
        if energy > here.energy:
            branch.why = "the energy rises"
            return branch
        branch.points.append(there)
        if on_point is not None:
            on_point(there)
        new = gradient.reshape(-1) / root
        weighted = bofill(weighted, move, new - slope)
        place, slope, here = place + move, new, there
        if number > 2 and there.rms < limit:
            branch.why = "the gradient is small"
            return branch
        move = page_mciver(weighted, slope, step)
    branch.why = "1 step" if most == 1 else f"{most} steps"
    return branch


def page_mciver(hessian: Array, gradient: Array, length: float) -> Array:
    """The step of this length along the steepest descent on a quadratic surface."""
    values, vectors = np.linalg.eigh(hessian)
    slopes = vectors.T @ gradient
    norm = float(np.linalg.norm(gradient))
    if norm == 0.0:
        return np.zeros_like(gradient)
    scale = length / norm  # of the parameter: for a straight path, that of the length
    t = _GRID * scale
    with np.errstate(over="ignore", invalid="ignore"):
        speed = np.sqrt(np.sum((slopes[:, None] * np.exp(
            np.clip(-values[:, None] * t, -500, 50))) ** 2, axis=0))
        gone = np.concatenate([[0.0], np.cumsum(0.5 * (speed[1:] + speed[:-1]) * np.diff(t))])
    end = float(np.interp(length, gone, t)) if gone[-1] > length else float(t[-1])
    product = np.clip(values * end, -50, 500)
    along = np.where(np.abs(product) < 1e-8, -slopes * end,
                     -slopes * -np.expm1(-product) / np.where(values == 0, 1.0, values))
    found: Array = vectors @ along
    return found


def bofill(hessian: Array, move: Array, change: Array) -> Array:
    """The Hessian with what a move has shown: a mixture of two symmetric formulas, by how well the
    error lies along the move."""
    error = change - hessian @ move
    square, along, size = float(move @ move), float(error @ move), float(error @ error)
    if square == 0.0 or size == 0.0:
        return hessian
    share = along ** 2 / (square * size)
    one: Array = np.zeros_like(hessian)
    if abs(along) > 1e-12 * np.sqrt(square * size):
        one = np.outer(error, error) / along
    other = ((np.outer(error, move) + np.outer(move, error)) / square
             - along * np.outer(move, move) / square ** 2)
    found: Array = hessian + share * one + (1.0 - share) * other
    return found
