"""Draws triangles with light on them: an orthographic camera, smooth shading, some see-through.

Numpy alone, a few million points of triangles a second; enough for one picture of a molecule.
"""

from __future__ import annotations

from dataclasses import dataclass

import numpy as np

TYPE_CHECKING = False
if TYPE_CHECKING:
    from orbitrax.arrays import Array

SUPERSAMPLING = 2  # points drawn for each pixel, in each direction

_CHUNK = 1 << 21  # points looked at together
_LAYERS = 3  # see-through surfaces shown before one another
_SAME_SURFACE = 0.02  # Angstrom: what is no deeper than this is the same layer

def _direction(*vector: float) -> Array:
    found: Array = (np.array(vector) / np.linalg.norm(vector)).astype(np.float32)
    return found


_KEY_LIGHT, _FILL_LIGHT = _direction(-0.45, 0.6, 0.75), _direction(0.7, -0.1, 0.6)
_HALFWAY = _direction(*(_KEY_LIGHT + [0, 0, 1]))  # between the light and the viewer
_AMBIENT, _KEY, _FILL = 0.5, 0.45, 0.14
_HAZE = 0.5  # of the farthest point, in a scene deeper than twice
_SHALLOW = 5.0  # Angstrom, up to which there is none
_HIGHLIGHT, _SQUARINGS = 0.35, 5  # strength; the cosine to the power 2^5 = 32


@dataclass(eq=False)
class Mesh:
    """Triangles: vertices n x 3 in Angstrom, normals n x 3 of length 1, faces m x 3 indices,
    counter-clockwise seen from outside, colours n x 3 from 0 to 1. Opacity 1 hides what is behind;
    below that it is the opacity where the surface faces the viewer, more at its rims. shine: how
    strong its highlights are."""

    vertices: Array
    normals: Array
    faces: Array
    colours: Array
    opacity: float = 1.0
    shine: float = 1.0


@dataclass(frozen=True, eq=False)
class Camera:
    """rotation: 3 x 3, its rows the directions right, up and towards the viewer. centre: the point
    in the middle of the picture, Angstrom. scale: pixels per Angstrom. width, height in pixels."""

    rotation: Array
    centre: Array
    scale: float
    width: int
    height: int

    def places(self, points: Array) -> Array:
        """Where points, n x 3 in Angstrom, are seen: n x 2, pixels to the right of and below the
        upper left corner."""
        seen = (points - self.centre) @ self.rotation.T
        return np.stack((self.width / 2 + self.scale * seen[:, 0],
                         self.height / 2 - self.scale * seen[:, 1]), axis=1)


def draw(meshes: list[Mesh], camera: Camera) -> Array:
    """The picture on white: height x width x 3, from 0 to 1."""
    fine = Camera(camera.rotation, camera.centre, camera.scale * SUPERSAMPLING,
                  camera.width * SUPERSAMPLING, camera.height * SUPERSAMPLING)
    picture = np.ones((fine.height * fine.width, 3), dtype=np.float32)
    depth = np.full(fine.height * fine.width, -np.inf, dtype=np.float32)
    solid = _Scene([mesh for mesh in meshes if mesh.opacity >= 1], fine)
    seen = solid.nearest(np.full_like(depth, np.inf), depth)
    picture[seen.pixels] = solid.shade(seen)[0]
    depth[seen.pixels] = seen.depth

    clear = _Scene([mesh for mesh in meshes if mesh.opacity < 1], fine)
    layers, front = [], np.full_like(depth, np.inf)
    for _ in range(_LAYERS):
        seen = clear.nearest(front, depth)
        if len(seen.pixels) == 0:
            break
        layers.append((seen.pixels, *clear.shade(seen), seen.depth))
        front = np.full_like(depth, -np.inf)
        front[seen.pixels] = seen.depth - _SAME_SURFACE
    haze = _Haze(meshes, fine)
    picture = haze.over(picture, depth)
    for pixels, colour, opacity, deep in reversed(layers):
        colour = haze.over(colour, deep)
        picture[pixels] += opacity[:, None] * (colour - picture[pixels])
    shape = (camera.height, SUPERSAMPLING, camera.width, SUPERSAMPLING, 3)
    found: Array = picture.reshape(shape).mean(axis=(1, 3))
    return found


class _Haze:
    """White that thickens with distance, in scenes that are deep."""

    def __init__(self, meshes: list[Mesh], camera: Camera):
        towards = [(mesh.vertices - camera.centre) @ camera.rotation[2] for mesh in meshes
                   if len(mesh.vertices)]
        self._near = max((part.max() for part in towards), default=0.0)
        far = min((part.min() for part in towards), default=0.0)
        depth = self._near - far
        most = _HAZE * min(max((depth - _SHALLOW) / _SHALLOW, 0.0), 1.0)
        self._per_angstrom = np.float32(most / depth) if depth > 0 else np.float32(0)

    def over(self, colours: Array, depth: Array) -> Array:
        """Colours, n x 3, as they look from the front; depth n, infinite where nothing is."""
        if not self._per_angstrom:
            return colours
        part = self._per_angstrom * np.where(np.isfinite(depth), self._near - depth, 0)
        return colours + part[:, None].astype(np.float32) * (1 - colours)


@dataclass(eq=False)
class _Fragments:
    """Points of triangles on pixels: pixel and triangle numbers, weights of the second and third
    corner, depth towards the viewer."""

    pixels: Array
    faces: Array
    second: Array
    third: Array
    depth: Array

    def take(self, which: Array) -> _Fragments:
        return _Fragments(self.pixels[which], self.faces[which], self.second[which],
                          self.third[which], self.depth[which])


def _looks(mesh: Mesh, camera: Camera) -> Array:
    """What is mixed between the corners of a triangle, n x 8: normal as the camera sees it, colour,
    opacity, shine."""
    looks = np.empty((len(mesh.vertices), 8), np.float32)
    looks[:, :3] = mesh.normals @ camera.rotation.T
    looks[:, 3:6] = mesh.colours
    looks[:, 6:] = mesh.opacity, mesh.shine
    return looks


class _Scene:
    """Meshes as a camera sees them."""

    def __init__(self, meshes: list[Mesh], camera: Camera):
        offsets = np.cumsum([0, *(len(mesh.vertices) for mesh in meshes)])
        vertices = np.concatenate([np.zeros((0, 3)), *(mesh.vertices for mesh in meshes)])
        self._x, self._y = camera.places(vertices).astype(np.float32).T
        self._z = ((vertices - camera.centre) @ camera.rotation[2]).astype(np.float32)
        self._faces = np.concatenate([np.zeros((0, 3), int),
                                      *(m.faces + o for m, o in zip(meshes, offsets))
                                      ]).astype(np.int32)
        self._looks = np.concatenate([np.zeros((0, 8), np.float32),
                                      *(_looks(mesh, camera) for mesh in meshes)])
        self._all = self._fragments(camera.width, camera.height)
        self._order = np.argsort(self._all.depth, kind="stable").astype(np.int32)

    def nearest(self, front: Array, back: Array) -> _Fragments:
        """What is seen of it between two depths, each given for every pixel."""
        found = self._all
        between = (found.depth < front[found.pixels]) & (found.depth > back[found.pixels])
        rising = self._order[between[self._order]]
        best = np.full(len(front), -1, np.int32)
        best[found.pixels[rising]] = rising  # the last one stays, which is the nearest
        return found.take(best[best >= 0])

    def shade(self, seen: _Fragments) -> tuple[Array, Array]:
        """Colours, n x 3, and opacities, n."""
        corners = self._faces[seen.faces]
        mixed = self._looks[corners[:, 0]] * (1 - seen.second - seen.third)[:, None]
        mixed += self._looks[corners[:, 1]] * seen.second[:, None]
        mixed += self._looks[corners[:, 2]] * seen.third[:, None]
        normal, facing, shine = mixed[:, :3], mixed[:, 6], mixed[:, 7]
        normal /= np.maximum(np.sqrt(np.einsum("ij,ij->i", normal, normal)), 1e-6)[:, None]
        light = (_AMBIENT + _KEY * np.maximum(normal @ _KEY_LIGHT, 0)
                 + _FILL * np.maximum(normal @ _FILL_LIGHT, 0))
        highlight = np.maximum(normal @ _HALFWAY, 0)
        for _ in range(_SQUARINGS):
            highlight *= highlight
        highlight *= _HIGHLIGHT * shine
        colour = np.clip(mixed[:, 3:6] * light[:, None] + highlight[:, None], 0, 1)
        rim = 1 - np.abs(normal[:, 2])
        opacity = np.clip(facing + (1 - facing) * (rim ** 2 + highlight), 0, 1)
        return colour, opacity

    # ---- from triangles to pixels ---------------------------------------------------------------

    def _fragments(self, width: int, height: int) -> _Fragments:
        """All pixels whose middle lies within a triangle that faces the viewer."""
        x, y = self._x[self._faces], self._y[self._faces]
        area = ((x[:, 1] - x[:, 0]) * (y[:, 2] - y[:, 0])
                - (x[:, 2] - x[:, 0]) * (y[:, 1] - y[:, 0]))
        left = np.clip(np.ceil(x.min(axis=1) - 0.5), 0, width).astype(np.int32)
        right = np.clip(np.floor(x.max(axis=1) - 0.5) + 1, 0, width).astype(np.int32)
        top = np.clip(np.ceil(y.min(axis=1) - 0.5), 0, height).astype(np.int32)
        bottom = np.clip(np.floor(y.max(axis=1) - 0.5) + 1, 0, height).astype(np.int32)
        count = np.maximum(right - left, 0) * np.maximum(bottom - top, 0)
        faces = np.flatnonzero((area < 0) & (count > 0))  # y runs down, which turns them round
        parts, begin = [], 0
        running = np.cumsum(count[faces])
        while begin < len(faces):
            end = max(begin + 1, int(np.searchsorted(
                running, (running[begin - 1] if begin else 0) + _CHUNK)))
            some = faces[begin:end]
            parts.append(self._points(some, left[some], top[some], (right - left)[some],
                                      count[some], width))
            begin = end
        if not parts:
            none = np.zeros(0, np.float32)
            return _Fragments(none.astype(int), none.astype(int), none, none, none)
        return _Fragments(*(np.concatenate([getattr(part, name) for part in parts]) for name in
                            ("pixels", "faces", "second", "third", "depth")))

    def _points(self, faces: Array, left: Array, top: Array, columns: Array, count: Array,
                width: int) -> _Fragments:
        """The pixels of the rectangles round some triangles that lie within them."""
        which = np.repeat(np.arange(len(faces), dtype=np.int32), count)
        place = np.arange(len(which), dtype=np.int32) - np.repeat(
            (np.cumsum(count) - count).astype(np.int32), count)
        column = left[which] + place % columns[which]
        row = top[which] + place // columns[which]
        a, b, c = (self._faces[faces, corner] for corner in range(3))
        x, y, z = self._x, self._y, self._z
        bx, by, cx, cy = x[b] - x[a], y[b] - y[a], x[c] - x[a], y[c] - y[a]
        inverse = 1 / (bx * cy - cx * by)
        px = (column + np.float32(0.5)).astype(np.float32) - x[a][which]
        py = (row + np.float32(0.5)).astype(np.float32) - y[a][which]
        second = px * (cy * inverse)[which] - py * (cx * inverse)[which]
        third = py * (bx * inverse)[which] - px * (by * inverse)[which]
        hit = (second >= 0) & (third >= 0) & (second + third <= 1)
        which, second, third = which[hit], second[hit], third[hit]
        faces = faces.astype(np.int32)
        depth = z[a][which] + second * (z[b] - z[a])[which] + third * (z[c] - z[a])[which]
        return _Fragments(row[hit] * width + column[hit], faces[which], second, third, depth)
