"""Surfaces of equal value in a grid, as triangles.

One vertex is put into every cell that the surface crosses and one pair of triangles across every
edge of the grid that it crosses (surface nets: S. F. F. Gibson, MICCAI 1998, 888); then
each triangle is cut into four, and all vertices are moved onto the surface of a cubic spline
through the grid.
"""

from __future__ import annotations

from itertools import product

import numpy as np

TYPE_CHECKING = False
if TYPE_CHECKING:
    from orbitrax.arrays import Array

_NEWTON_STEPS = 4
_LONGEST_STEP = 0.5  # of a vertex in one step, in grid steps
_DIFFERENCE = 0.5  # half the base of the differences that give gradients, in grid steps


class Field:
    """A grid of values that can be asked between its points. Places are n x 3, counted in grid
    steps from the first point; outside the grid the nearest value counts."""

    def __init__(self, values: Array):
        from scipy import ndimage

        self.values = np.asarray(values, dtype=np.float32)
        self._interpolate = ndimage.map_coordinates
        self._spline = ndimage.spline_filter(self.values, order=3, output=np.float32,
                                             mode="nearest")

    def at(self, places: Array) -> Array:
        """The values at n places."""
        found: Array = self._interpolate(self._spline, np.asarray(places).T, order=3,
                                         mode="nearest", prefilter=False)
        return found

    def gradient(self, places: Array) -> Array:
        """The gradients at n places, n x 3, per grid step."""
        columns = []
        for axis in range(3):
            shift = np.zeros(3)
            shift[axis] = _DIFFERENCE
            columns.append((self.at(places + shift) - self.at(places - shift)) / (2 * _DIFFERENCE))
        return np.stack(columns, axis=1)


def isosurface(field: Field, level: float) -> tuple[Array, Array, Array]:
    """The surface on which a field has the value `level`: its vertices, n x 3 in grid steps, their
    normals, n x 3 of length 1 and pointing to lower values, and its triangles, m x 3 indices,
    counter-clockwise as seen from there. Where the surface leaves the grid it is open."""
    inside = field.values > level
    cells = np.zeros(np.array(inside.shape) - 1, dtype=np.int8)
    for corner in product((0, 1), repeat=3):
        cells += inside[tuple(slice(c, c + n) for c, n in zip(corner, cells.shape))]
    places = np.argwhere((cells > 0) & (cells < 8))
    if len(places) == 0:
        return np.zeros((0, 3)), np.zeros((0, 3)), np.zeros((0, 3), int)
    number = np.full(cells.shape, -1)
    number[tuple(places.T)] = np.arange(len(places))
    vertices = _crossings(field.values, level, places)
    vertices, faces = _quartered(vertices, _triangles(inside, number))
    vertices = _onto_the_surface(field, level, vertices)
    gradient = field.gradient(vertices)
    length = np.linalg.norm(gradient, axis=1, keepdims=True)
    return vertices, -gradient / np.where(length > 0, length, 1), faces


def _crossings(values: Array, level: float, cells: Array) -> Array:
    """For each cell the mean of the points where the surface crosses its twelve edges."""
    total, count = np.zeros(cells.shape), np.zeros(len(cells))
    for axis in range(3):
        for corner in product((0, 1), repeat=3):
            if corner[axis]:
                continue
            start = cells + corner
            end = start.copy()
            end[:, axis] += 1
            a, b = values[tuple(start.T)], values[tuple(end.T)]
            crossed = (a > level) != (b > level)
            part = (level - a[crossed]) / (b[crossed] - a[crossed])
            total[crossed] += start[crossed]
            total[crossed, axis] += part
            count[crossed] += 1
    return total / count[:, None]


def _onto_the_surface(field: Field, level: float, places: Array) -> Array:
    """Newton's steps along the gradient, short ones, as the first guess is near."""
    for _ in range(_NEWTON_STEPS):
        gradient = field.gradient(places)
        square = (gradient ** 2).sum(axis=1)
        step = (level - field.at(places)) / np.where(square > 0, square, np.inf)
        move = step[:, None] * gradient
        length = np.linalg.norm(move, axis=1, keepdims=True)
        places = places + move * np.minimum(1, _LONGEST_STEP / np.where(length > 0, length, 1))
    return places


def _triangles(inside: Array, number: Array) -> Array:
    """Two triangles across every edge that the surface crosses, between the vertices of the four
    cells round the edge."""
    found = []
    for axis in range(3):
        u, v = (axis + 1) % 3, (axis + 2) % 3
        low = [slice(1, -1)] * 3
        low[axis] = slice(None, -1)
        high = list(low)
        high[axis] = slice(1, None)
        a, b = inside[tuple(low)], inside[tuple(high)]
        for out_is_up, crossed in ((True, a & ~b), (False, b & ~a)):
            edge = np.argwhere(crossed)
            edge[:, u] += 1
            edge[:, v] += 1
            quad = []
            for du, dv in ((-1, -1), (0, -1), (0, 0), (-1, 0)):
                cell = edge.copy()
                cell[:, u] += du
                cell[:, v] += dv
                quad.append(number[tuple(cell.T)])
            p, q, r, s = quad if out_is_up else quad[::-1]
            found += [np.stack((p, q, r), axis=1), np.stack((p, r, s), axis=1)]
    return np.concatenate(found)


def _quartered(vertices: Array, faces: Array) -> tuple[Array, Array]:
    """Every triangle as four, with a new vertex in the middle of each side."""
    ends = np.sort(np.stack((faces, np.roll(faces, -1, axis=1)), axis=2).reshape(-1, 2), axis=1)
    sides, which = np.unique(ends[:, 0] * len(vertices) + ends[:, 1], return_inverse=True)
    middles = (vertices[sides // len(vertices)] + vertices[sides % len(vertices)]) / 2
    a, b, c = faces.T
    ab, bc, ca = (which + len(vertices)).reshape(-1, 3).T
    parts = ((a, ab, ca), (ab, b, bc), (ca, bc, c), (ab, bc, ca))
    return (np.concatenate((vertices, middles)),
            np.concatenate([np.stack(part, axis=1) for part in parts]))
