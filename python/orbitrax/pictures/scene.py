"""A molecule as balls and sticks with surfaces round it, and the place to look at them from.

All lengths in Angstrom.
"""

from __future__ import annotations

import math
from dataclasses import replace

import numpy as np

from orbitrax.molecules.geometry import find_bonds
from orbitrax.molecules.looks import COLOURS, RADII
from orbitrax.grids.frame import BOHR_PER_ANGSTROM, principal_axes
from orbitrax.grids.grid import Grid
from orbitrax.pictures.render import Camera, Mesh, draw
from orbitrax.pictures.strands import strands
from orbitrax.pictures.surface import Field, isosurface

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Callable

    from orbitrax.arrays import Array

POSITIVE, NEGATIVE = (0.13, 0.40, 0.80), (0.96, 0.56, 0.10)  # colours of the two signs
CLOUD = (0.35, 0.62, 0.72)  # of a density

_SURFACE_OPACITY = 0.62
_MAP_OPACITY = 0.82  # of a surface whose colours are to be read
_BALL, _BALL_BY_RADIUS = 0.13, 0.2  # radius of an atom's ball: this, and this by covalent radius
_BALL_ROWS, _STICK_SIDES = 32, 28
_LARGE = 150  # atoms, above which balls and sticks are made of fewer triangles
_HYDROGEN, _CARBON = (0.93, 0.93, 0.93), (0.30, 0.30, 0.32)  # darker than white and grey

TALLEST, LOWEST = 1.0, 0.6  # height of a picture, by its width
_BORDER = 0.04  # of the picture, left free on each side
_SMALLEST_VIEW = 3.0  # Angstrom across


# ---- meshes -------------------------------------------------------------------------------------


def molecule(numbers: Array, positions: Array,
             orders: list[list[float]] | None = None) -> list[Mesh]:
    """Balls for the atoms, in the usual colours, and sticks for the bonds, half and half. orders:
    rows of two atoms from 1 and the order of their bond, which is drawn then."""
    real = np.flatnonzero(numbers > 0)
    coarse = 2 if len(real) > _LARGE else 1
    radii = _BALL + _BALL_BY_RADIUS * np.array(RADII)[numbers]
    colours = _colours(numbers)
    ball, ball_faces = _ball(_BALL_ROWS // coarse)
    stick, stick_faces = _stick(_STICK_SIDES // coarse)
    meshes = [_placed(positions[i] + radii[i] * ball, ball, ball_faces, colours[i]) for i in real]
    near = find_bonds(numbers, positions)
    known = {(int(i) - 1, int(j) - 1): order for i, j, order in orders or ()}
    for i, neighbours in enumerate(near):
        for j in neighbours:
            half = (positions[j] - positions[i]) / 2
            length = np.linalg.norm(half)
            if length < 1e-3:
                continue
            ends = min(i, j), max(i, j)
            order = 1.0 if orders is None else known.get(ends, 0.0)
            turn = _towards(half / length)
            normals = stick * [1, 1, 0] @ turn
            for aside, radius in strands(order, ends, positions, near):
                shape = stick * [radius, radius, length] @ turn
                meshes.append(_placed(positions[i] + aside + shape, normals, stick_faces,
                                      colours[i]))
    return meshes


def _placed(vertices: Array, normals: Array, faces: Array, colour: Array) -> Mesh:
    return Mesh(vertices, normals, faces, np.broadcast_to(colour, vertices.shape))


def _colours(numbers: Array) -> Array:
    table = np.array([tuple(bytes.fromhex(colour)) for colour in COLOURS]) / 255
    table[1], table[6] = _HYDROGEN, _CARBON
    return table[numbers]


def _ball(rows: int) -> tuple[Array, Array]:
    """Points of a sphere of radius 1, and its triangles."""
    polar, turn = np.meshgrid(np.linspace(0, np.pi, rows + 1),
                              np.linspace(0, 2 * np.pi, 2 * rows, endpoint=False), indexing="ij")
    points = np.stack((np.sin(polar) * np.cos(turn), np.sin(polar) * np.sin(turn),
                       np.cos(polar)), axis=-1)
    return points.reshape(-1, 3), _strip_faces(rows, 2 * rows)


def _stick(sides: int) -> tuple[Array, Array]:
    """Points of an open cylinder of radius 1 from z = 0 to 1, and its triangles."""
    turn = np.linspace(0, 2 * np.pi, sides, endpoint=False)
    ring = np.stack((np.cos(turn), np.sin(turn), np.zeros(sides)), axis=1)
    return np.concatenate((ring + [0, 0, 1], ring)), _strip_faces(1, sides)


def _strip_faces(rows: int, columns: int) -> Array:
    """Triangles between rows + 1 closed rings of points, each of `columns`."""
    i, j = (index.ravel() for index in np.indices((rows, columns)))
    k = (j + 1) % columns
    a, b, c, d = i * columns + j, (i + 1) * columns + j, (i + 1) * columns + k, i * columns + k
    return np.concatenate((np.stack((a, b, c), axis=1), np.stack((a, c, d), axis=1)))


def _towards(direction: Array) -> Array:
    """A rotation whose third row is the direction."""
    helper = np.eye(3)[np.argmin(np.abs(direction))]
    first = np.cross(helper, direction)
    first /= np.linalg.norm(first)
    return np.stack((first, np.cross(direction, first), direction))


def surfaces(grid: Grid, isovalue: float) -> list[Mesh]:
    """Where the values are `isovalue`, and where they are minus that, in two colours."""
    found = []
    first = POSITIVE if np.any(grid.values < -isovalue) or grid.plot.signed else CLOUD
    for sign, colour in ((1, first), (-1, NEGATIVE)):
        vertices, normals, faces = isosurface(Field(sign * grid.values), isovalue)
        if len(faces):
            found.append(Mesh(_in_place(grid, vertices), normals, faces,
                              np.broadcast_to(colour, vertices.shape), _SURFACE_OPACITY))
    return found


def painted_surface(grid: Grid, isovalue: float, paint: Callable[[Array], Array]) -> list[Mesh]:
    """Where the density beside a potential is `isovalue`, coloured by the potential: `paint` makes
    n x 3 colours of n values."""
    assert grid.density is not None
    vertices, normals, faces = isosurface(Field(grid.density), isovalue)
    if not len(faces):
        return []
    colours = paint(Field(grid.values).at(vertices))
    return [Mesh(_in_place(grid, vertices), normals, faces, colours, _MAP_OPACITY, shine=0.3)]


def _in_place(grid: Grid, vertices: Array) -> Array:
    return (grid.frame.first + vertices @ grid.frame.steps) / float(BOHR_PER_ANGSTROM)


# ---- camera -------------------------------------------------------------------------------------


def camera(meshes: list[Mesh], positions: Array, azimuth: float, elevation: float,
           width: int) -> Camera:
    """Looks at a molecule from `elevation` degrees above the plane in which it mostly lies, its
    longest direction running across, turned by `azimuth` degrees; everything is in the picture,
    which is `width` pixels wide."""
    long, wide, normal = principal_axes(positions)
    a, e = math.radians(azimuth), math.radians(elevation)
    right = math.cos(a) * long + math.sin(a) * wide
    ahead = math.cos(a) * wide - math.sin(a) * long
    up = math.cos(e) * normal + math.sin(e) * ahead
    rotation = np.stack((right, up, np.cross(right, up)))
    seen = np.concatenate([mesh.vertices for mesh in meshes]) @ rotation.T
    low, high = seen.min(axis=0), seen.max(axis=0)
    across, tall, _ = np.maximum(high - low, _SMALLEST_VIEW) / (1 - 2 * _BORDER)
    height = round(width * float(np.clip(tall / across, LOWEST, TALLEST)))
    scale = min(width / across, height / tall)
    return Camera(rotation, rotation.T @ ((low + high) / 2), scale, width, height)


def around(meshes: list[Mesh], positions: Array, view: tuple[float, float], width: int,
           count: int) -> list[Camera]:
    """So many cameras, each turned on by an equal part of a full turn, with pictures of one height
    and scale that are `width` pixels wide together."""
    azimuth, elevation = view
    found = [camera(meshes, positions, azimuth + 360 * k / count, elevation, width // count)
             for k in range(count)]
    scale, height = min(one.scale for one in found), max(one.height for one in found)
    return [replace(one, scale=scale, height=height) for one in found]


def image(meshes: list[Mesh], positions: Array, view: tuple[float, float], width: int
          ) -> Array:
    """The picture, `width` pixels wide, from azimuth and elevation: height x width x 3, from 0 to
    1."""
    return draw(meshes, camera(meshes, positions, *view, width))
