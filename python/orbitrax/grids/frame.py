"""Where the points of a plot lie: on rows and columns of a plane, or of a stack of planes.

A stack makes a box with the same step along x, y and z. The backend computes in bohr; people say
where things are in Angstrom.
"""

from __future__ import annotations

import math
from dataclasses import dataclass

import numpy as np

from orbitrax.errors import UsageError
from orbitrax.units import WIRE_BOHR_PER_ANGSTROM

TYPE_CHECKING = False
if TYPE_CHECKING:
    from orbitrax.arrays import Array

BOHR_PER_ANGSTROM = np.float32(WIRE_BOHR_PER_ANGSTROM)  # in single precision, as the backend has it
MARGIN = 3.0  # Angstrom from the outermost atoms to the edge of the grid
POINTS = 80  # along the longest axis, unless that makes steps longer than
PLANE_POINTS = 200  # of a single plane
LONGEST_STEP = 0.15  # Angstrom

_LARGEST_PLANE = 1 << 28  # points
_BYTES_PER_POINT = 24  # the value as it comes, in its array, and in what draws or writes it
_SMALLEST_SIDE = 1e-3  # Angstrom: atoms on a line this near make no plane
_AXES = {"xy": (0, 1, 2), "xz": (0, 2, 1), "yz": (1, 2, 0)}


@dataclass(frozen=True, eq=False)
class Frame:
    """Where the points lie. origin: the first one, Angstrom. column, row: from each to the next
    within a row, and from row to row, Angstrom. counts: points in a row, rows, planes.

    More than one plane makes a box: column runs along x, row along y, the planes along z, all with
    the same step.
    """

    origin: Array
    column: Array
    row: Array
    counts: tuple[int, int, int]

    def __post_init__(self) -> None:
        with np.errstate(over="ignore"):
            for name in ("origin", "column", "row"):
                object.__setattr__(self, name, np.asarray(getattr(self, name), np.float32))
        numbers = np.concatenate((self.origin, self.column, self.row))
        if numbers.shape != (9,) or not np.all(np.isfinite(numbers)):
            raise UsageError("the points of a grid need finite places")
        if len(self.counts) != 3 or min(self.counts) < 1:
            raise UsageError(f"a grid of {' x '.join(map(str, self.counts))} points is none")
        if self.counts[0] * self.counts[1] > _LARGEST_PLANE:
            raise UsageError(f"a plane of {self.counts[0]} x {self.counts[1]} points is too large "
                             "to be sent; choose fewer points")
        step = self.column[0]
        if self.counts[2] > 1 and not (np.array_equal(self.column, [step, 0, 0])
                                       and np.array_equal(self.row, [0, step, 0])):
            raise UsageError("only a box with the same step along x, y and z has several planes")

    @property
    def points(self) -> int:
        """How many there are."""
        return math.prod(self.counts)

    def check_memory(self, grids: int = 1) -> None:
        """Refuses more points than there is memory for."""
        needed, free = self.points * grids * _BYTES_PER_POINT, _free_memory()
        if free is not None and needed > free:
            raise UsageError(f"a grid of {' x '.join(map(str, self.counts))} points takes about "
                             f"{needed / 1e9:.1f} GB, and {free / 1e9:.1f} GB are free; choose "
                             "fewer points or a smaller margin")

    @property
    def first(self) -> Array:
        """The first point, bohr."""
        return (self.origin * BOHR_PER_ANGSTROM).astype(float)

    @property
    def steps(self) -> Array:
        """The three steps as rows of a matrix, bohr. That of a single plane is its normal, as long
        as a step within a row."""
        column, row = ((v * BOHR_PER_ANGSTROM).astype(float) for v in (self.column, self.row))
        normal = np.cross(column, row)
        return np.stack((column, row, normal * (np.linalg.norm(column) / np.linalg.norm(normal))))


def box_around(positions: Array, margin: float = MARGIN, points: int | None = None) -> Frame:
    """A box round atoms at `positions`, n x 3 Angstrom, that leaves `margin` Angstrom on each side.
    points: how many along its longest axis; when None 80, or what makes steps of 0.15 Angstrom in
    a larger molecule."""
    _check(margin, points)
    low, high = positions.min(axis=0) - margin, positions.max(axis=0) + margin
    step, counts = _divide(high - low, points)
    middle = (low + high) / 2
    columns, rows, planes = counts.tolist()
    return Frame(middle - step * (counts - 1) / 2, np.array([step, 0, 0]), np.array([0, step, 0]),
                 (columns, rows, planes))


def plane_through(positions: Array, text: str, margin: float = MARGIN,
                  points: int | None = None) -> Frame:
    """A plane through a molecule, large enough for the atoms and `margin` Angstrom more.

    text: three atoms counted from 1, "1,2,3"; two axes, "xy", "xz" or "yz", through the zero of the
    third; "molecule", the plane to which the atoms are nearest. "=0.5" behind it moves it by so
    many Angstrom along its normal, or puts it there on the third axis. Rows run from the first atom
    to the second. points: how many along the longer side, 200 when None.
    """
    _check(margin, points)
    points = PLANE_POINTS if points is None else points
    origin, right, up = _plane(positions, text)
    seen = (positions - origin) @ np.stack((right, up)).T
    low, high = seen.min(axis=0) - margin, seen.max(axis=0) + margin
    step, counts = _divide(high - low, points)
    corner = (low + high) / 2 - step * (counts - 1) / 2
    return Frame(origin + corner[0] * right + corner[1] * up, step * right, step * up,
                 (int(counts[0]), int(counts[1]), 1))


def _check(margin: float, points: int | None) -> None:
    if not 0 <= margin < 1e4:
        raise UsageError(f"a margin of {margin} Angstrom is none; it should be 0 or above")
    if points is not None and not 2 <= points <= 100000:
        raise UsageError(f"{points} points along an axis: choose from 2 to 100000")


def _divide(sides: Array, points: int | None) -> tuple[float, Array]:
    """The step, and the points along each side."""
    longest = float(sides.max())
    if longest <= 0:
        raise UsageError("a grid round one atom needs a margin above 0")
    if points is None:
        points = max(POINTS, math.ceil(longest / LONGEST_STEP) + 1)
    step = longest / (points - 1)
    return step, np.maximum(np.ceil(sides / step - 1e-6).astype(int) + 1, 1)


def _plane(positions: Array, text: str) -> tuple[Array, Array, Array]:
    """A point and two directions."""
    name, equals, height = text.replace(" ", "").lower().partition("=")
    try:
        shift = float(height) if equals else 0.0
    except ValueError:
        shift = math.nan
    if not math.isfinite(shift):
        raise UsageError(f"plane '{text}': '{height}' is not a length in Angstrom")
    if name in _AXES:
        unit = np.eye(3)
        first, second, third = (unit[axis] for axis in _AXES[name])
        return shift * third, first, second
    if name == "molecule":
        middle = positions.mean(axis=0)
        directions = principal_axes(positions)
        return middle + shift * directions[2], directions[0], directions[1]
    return _plane_of_atoms(positions, text, name, shift)


def _plane_of_atoms(positions: Array, text: str, name: str, shift: float
                    ) -> tuple[Array, Array, Array]:
    words = name.split(",")
    if len(words) != 3 or not all(word.isdecimal() for word in words):
        raise UsageError(f"plane '{text}': should be three atoms like 1,2,3, or xy, xz, yz or "
                         "molecule, with =0.5 behind it to move it")
    numbers = [int(word) for word in words]
    for number in numbers:
        if not 1 <= number <= len(positions):
            raise UsageError(f"plane '{text}': there is no atom {number}; there are "
                             f"{len(positions)}")
    a, b, c = (positions[number - 1] for number in numbers)
    length = np.linalg.norm(b - a)
    right = (b - a) / length if length > _SMALLEST_SIDE else np.zeros(3)
    up = (c - a) - ((c - a) @ right) * right
    if not right.any() or np.linalg.norm(up) <= _SMALLEST_SIDE:
        raise UsageError(f"plane '{text}': these atoms lie on a line, which is in many planes; "
                         "choose a third atom beside it")
    up = up / np.linalg.norm(up)
    return a + shift * np.cross(right, up), right, up


def _free_memory() -> int | None:
    """Bytes that can be taken without swapping; None where the system does not say."""
    try:
        with open("/proc/meminfo", encoding="ascii") as file:
            for line in file:
                if line.startswith("MemAvailable:"):
                    return int(line.split()[1]) * 1024
    except (OSError, ValueError, IndexError):
        pass
    return None


def principal_axes(positions: Array) -> Array:
    """Three orthogonal directions as rows, right-handed: along which points, n x 3, extend most,
    less, and least. Each has its largest component positive, the last one as it then must be."""
    centred = positions - positions.mean(axis=0)
    _, vectors = np.linalg.eigh(centred.T @ centred)
    axes: Array = vectors.T[::-1].copy()
    for axis in axes[:2]:
        axis *= np.sign(axis[np.argmax(np.abs(axis) > np.abs(axis).max() - 1e-6)])
    axes[2] = np.cross(axes[0], axes[1])
    return axes
