"""Pictures of grids: surfaces of equal value round a molecule, and contours in a plane."""

from __future__ import annotations

import math

import numpy as np

from orbitrax.molecules.elements import SYMBOLS, formula_of
from orbitrax.errors import CalculationFailed
from orbitrax.molecules.geometry import find_bonds
from orbitrax.grids.frame import BOHR_PER_ANGSTROM, principal_axes
from orbitrax.grids.grid import Grid
from orbitrax.grids.plot import DENSITY, ORBITAL, ORBITAL_SQUARED, POTENTIAL, SPIN_DENSITY
from orbitrax.pictures.figures import drawing_tools, save_figure
from orbitrax.units import CODATA_KCAL_PER_HARTREE

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any

    from orbitrax.arrays import Array

# By kind: the value at which surfaces are drawn (of the density, for a potential), and the least
# contour; from there on contours double.
ISOVALUES = {ORBITAL: 0.05, ORBITAL_SQUARED: 0.0025, DENSITY: 0.002, SPIN_DENSITY: 0.004,
             POTENTIAL: 0.002}
_FIRST_CONTOURS = {ORBITAL: 0.01, ORBITAL_SQUARED: 0.0001, DENSITY: 0.002, SPIN_DENSITY: 0.0005,
                   POTENTIAL: 0.005}
_INSIDE = 0.75  # of an orbital's square lies within its surface at least
_MOST_CONTOURS = 8
_LAST_POTENTIAL = 0.64  # hartree: contours round the nuclei end there

# Azimuth and elevation in degrees: from the side where the molecule's plane is a node, so that both
# lobes are seen, else from above.
_SIDE, _ABOVE = (22.0, 40.0), (22.0, 52.0)
_NEAR_PLANE = 0.2  # Angstrom
_NODE = 0.25  # less of an orbital's square than this so near the plane means a node

WIDTH = 1200  # pixels
_INCHES = 6.0  # width of a picture where pixels do not count
_SCALE = 0.12  # height of the scale of colours, by the width
_SUBSCRIPTS = str.maketrans("0123456789", "₀₁₂₃₄₅₆₇₈₉")
_TITLE = 0.4  # inches
_SPACE = 0.5  # Angstrom round contours and atoms
_LABEL = {"ha": "center", "va": "center", "fontsize": 8, "fontweight": "bold"}
_IN_PLANE = 0.3  # Angstrom: atoms this near to a plane lie in it
_SHOWN = 1.6  # Angstrom: atoms farther from a plane are left out


def usual_isovalue(grid: Grid) -> float:
    """The value at which a box is drawn when nothing else is said: that of its kind, and lower for
    an orbital that is spread so thin that less than three quarters of it would be inside."""
    usual = ISOVALUES[grid.plot.kind]
    if not grid.plot.of_orbital:
        return usual
    power = 2 if grid.plot.kind == ORBITAL else 1
    parts = np.sort(np.abs(grid.values.ravel()).astype(float) ** power)[::-1]
    total = np.cumsum(parts)
    thin = float(parts[np.searchsorted(total, _INSIDE * total[-1])]) ** (1 / power)
    return min(usual, float(f"{thin:.1g}")) if thin > 0 else usual


def save_picture(grid: Grid, path: str, file: str | None = None, isovalue: float | None = None,
                 view: tuple[float, float] | None = None, width: int = WIDTH,
                 labels: bool = False, views: int = 1,
                 orders: list[list[float]] | None = None, beside: Grid | None = None) -> None:
    """Draws a grid: contours of a plane, surfaces of a box. The name of `path` tells the format;
    `file` is written instead if it is given. isovalue, view (azimuth and elevation, degrees): of
    the surfaces, None for what suits. width in pixels. labels: atoms get their symbols and numbers
    from 1. views: pictures of surfaces side by side, turned on by equal parts of a full turn.
    orders: rows of two atoms from 1 and the order of their bond, which is drawn then. beside:
    another grid of the same molecule, drawn beside the first, both with their titles.

    Raises CalculationFailed where there is nothing to be seen.
    """
    figure = (contours(grid, width, labels) if grid.frame.counts[2] == 1 else
              surface(grid, isovalue, view, width, labels, views, orders, beside))
    save_figure(figure, path, file, f"{_formula(grid)}, {grid.method}: {grid.title}")


def _formula(grid: Grid) -> str:
    return formula_of([SYMBOLS[number] for number in grid.numbers])


# ---- surfaces -----------------------------------------------------------------------------------


def surface(grid: Grid, isovalue: float | None = None,
            view: tuple[float, float] | None = None, width: int = WIDTH,
            labels: bool = False, views: int = 1,
            orders: list[list[float]] | None = None, beside: Grid | None = None) -> Any:
    """A figure of the molecule and the surfaces of a box of values, or of two."""
    from orbitrax.pictures import render, scene

    grids = [grid] if beside is None else [grid, beside]
    level = min(map(usual_isovalue, grids)) if isovalue is None else isovalue
    paint = _Paint(grid, level) if grid.plot.kind == POTENTIAL else None
    shown = [_meshes(one, level, paint, orders) for one in grids]
    cameras = scene.around([mesh for meshes in shown for mesh in meshes], grid.positions,
                           view or _usual_view(grid), width // len(grids), views)
    frames = [(meshes, camera) for meshes in shown for camera in cameras]
    height, width = cameras[0].height, sum(camera.width for _, camera in frames)
    whole = height + (round(_SCALE * width) if paint else 0)
    figure = drawing_tools().figure.Figure((_INCHES, _INCHES * whole / width),
                                           dpi=width / _INCHES)
    axes = figure.add_axes([0, 1 - height / whole, 1, height / whole])
    axes.imshow(np.hstack([render.draw(*frame) for frame in frames]),
                interpolation="none", aspect="auto")
    axes.set_axis_off()
    if labels:
        for k, (_, camera) in enumerate(frames):
            for name, (x, y) in zip(_atom_names(grid), camera.places(grid.positions)):
                axes.text(x + k * camera.width, y, name, **_LABEL, path_effects=_halo())
    if beside is not None:
        for k, one in enumerate(grids):
            axes.text((k + 0.5) * width / 2, 0.98 * height, one.title.replace("(-", "(−"),
                      ha="center", va="bottom", fontsize=9, path_effects=_halo())
    if paint:
        paint.scale(figure, 1 - height / whole)
    return figure


def _meshes(grid: Grid, level: float, paint: _Paint | None,
            orders: list[list[float]] | None) -> list[Any]:
    """The surfaces of a grid, and its molecule."""
    from orbitrax.pictures import scene

    meshes = (scene.painted_surface(grid, level, paint) if paint else
              scene.surfaces(grid, level))
    if not meshes:
        raise CalculationFailed(_nothing_to_see(grid, level))
    return meshes + scene.molecule(grid.numbers, grid.positions, orders)


def _atom_names(grid: Grid) -> list[str]:
    """Symbols with numbers from 1."""
    return [f"{SYMBOLS[number]}{i}" for i, number in enumerate(grid.numbers, 1)]


def _halo() -> list[Any]:
    """White round a text, so that it can be read on anything."""
    return [drawing_tools().patheffects.withStroke(linewidth=2.5, foreground="white")]


def _usual_view(grid: Grid) -> tuple[float, float]:
    """Azimuth and elevation from which most is seen."""
    if grid.plot.kind in (DENSITY, POTENTIAL):
        return _ABOVE
    frame, values = grid.frame, grid.values
    normal = principal_axes(grid.positions)[2]
    places = frame.first / float(BOHR_PER_ANGSTROM) - grid.positions.mean(axis=0)
    heights = places @ normal + sum(
        np.multiply.outer(np.arange(count), step @ normal / float(BOHR_PER_ANGSTROM)).reshape(
            [-1 if axis == i else 1 for i in range(3)])
        for axis, (count, step) in enumerate(zip(values.shape, frame.steps)))
    weights = values.astype(float) ** (2 if grid.plot.kind == ORBITAL else 1)
    near = np.abs(weights[np.abs(heights) < _NEAR_PLANE]).sum()
    return _SIDE if near < _NODE * np.abs(weights).sum() else _ABOVE


def _nothing_to_see(grid: Grid, level: float) -> str:
    if grid.is_zero:
        text = f"there is nothing to draw: the {grid.title} is zero everywhere"
        return text + (", as the molecule has no unpaired electrons"
                       if grid.plot.kind == SPIN_DENSITY else "")
    values = grid.values if grid.density is None else grid.density
    return (f"there is nothing to draw: no value reaches {level:g}; the largest is "
            f"{np.abs(values).max():.3g}; choose a lower --isovalue")


class _Paint:
    """Colours for a potential, red where it is negative, and their scale in kcal/mol."""

    def __init__(self, grid: Grid, level: float):
        from orbitrax.pictures.surface import Field, isosurface

        matplotlib = drawing_tools()
        assert grid.density is not None
        vertices, _, _ = isosurface(Field(grid.density), level)
        values = np.abs(Field(grid.values).at(vertices)) if len(vertices) else np.ones(1)
        self._most = _rounded(float(np.percentile(values, 98)) * CODATA_KCAL_PER_HARTREE)
        self._map = matplotlib.cm.ScalarMappable(
            matplotlib.colors.Normalize(-self._most, self._most),
            matplotlib.colors.LinearSegmentedColormap.from_list(
                "potential", [(0, "#b8001f"), (0.25, "#f0673c"), (0.5, "#f8f4ec"),
                              (0.75, "#4a97dd"), (1, "#0a2f8f")]))

    def __call__(self, values: Array) -> Array:
        colours: Array = self._map.to_rgba(values * CODATA_KCAL_PER_HARTREE)[:, :3]
        return colours

    def scale(self, figure: Any, share: float) -> None:
        """The scale of colours in the lowest `share` of a figure."""
        axes = figure.add_axes([0.3, 0.66 * share, 0.4, 0.16 * share])
        bar = figure.colorbar(self._map, cax=axes, orientation="horizontal")
        bar.set_ticks([-self._most, 0, self._most])
        bar.outline.set_linewidth(0.4)
        bar.ax.tick_params(labelsize=8, length=2, width=0.4)
        bar.set_label("electrostatic potential (kcal/mol)", fontsize=8)


def _rounded(value: float) -> float:
    """Up to 1, 1.5, 2, 3, 4, 5, 6 or 8 times a power of ten."""
    power = 10.0 ** math.floor(math.log10(max(value, 1e-6)))
    step: float = next(step for step in (1, 1.5, 2, 3, 4, 5, 6, 8, 10) if step * power >= value)
    return step * power


# ---- contours -----------------------------------------------------------------------------------


def contours(grid: Grid, width: int = WIDTH, labels: bool = False) -> Any:
    """A figure of contours in a plane, with the atoms that lie in it or near."""
    from orbitrax.pictures import scene

    matplotlib = drawing_tools()
    lines = _contour_values(grid)
    if not len(lines):
        raise CalculationFailed(
            f"there is nothing to draw: the {grid.title} is below "
            f"{_FIRST_CONTOURS[grid.plot.kind]:g} everywhere in this plane; choose another --plane")
    frame = grid.frame
    x, y = (np.arange(count) * np.linalg.norm(step) for count, step in
            zip(frame.counts, (frame.column, frame.row)))
    left, right, low, high = _shown_part(grid, x, y, lines[0])
    shape = min(max((high - low) / (right - left), 0.4), 1.4)
    figure = matplotlib.figure.Figure((_INCHES, _TITLE + _INCHES * shape), dpi=width / _INCHES)
    share = _INCHES * shape / (_TITLE + _INCHES * shape)
    axes = figure.add_axes([0.02, 0.02, 0.96, share - 0.02], aspect="equal")
    axes.set_axis_off()
    axes.set(xlim=(left, right), ylim=(low, high))
    values = grid.values[:, :, 0].T
    ends = np.array([*(-lines[::-1]), *lines])
    shades = matplotlib.colors.LinearSegmentedColormap.from_list(
        "signs", [scene.NEGATIVE, (1, 1, 1), scene.POSITIVE])
    steps = np.linspace(0.6, 0.95, len(lines))
    colours = [*shades(1 - steps[::-1]), (1, 1, 1, 1), *shades(steps)]
    axes.contourf(x, y, values, [-np.inf, *ends, np.inf], colors=colours)
    for sign, colour, style in ((1, scene.POSITIVE, "solid"), (-1, scene.NEGATIVE, "dashed")):
        levels = np.sort(sign * lines[lines < np.max(sign * values)])
        if len(levels):
            axes.contour(x, y, values, levels, linewidths=0.8, linestyles=style,
                         colors=[tuple(0.75 * c for c in colour)])
    _molecule_in_plane(axes, grid, labels)
    figure.suptitle(f"{_formula(grid).translate(_SUBSCRIPTS)}   "
                    f"{grid.title.replace('(-', '(−').replace(' -', ' −')}, {grid.method}",
                    fontsize=11)
    _scale_bar(axes, left, low, f"1 Å;  contours from {'±' if grid.plot.signed else ''}"
                                f"{lines[0]:g}, doubling")
    return figure


def _shown_part(grid: Grid, x: Array, y: Array, least: float
                ) -> tuple[float, float, float, float]:
    """Left, right, low and high end of what has contours or atoms, and some space."""
    columns, rows = np.nonzero(np.abs(grid.values[:, :, 0]) >= least)
    spots, strength = _seen_atoms(grid)
    spots = spots[strength > 0]
    ends: list[float] = []
    for lengths, found, atoms in ((x, columns, spots[:, 0]), (y, rows, spots[:, 1])):
        places = np.concatenate((lengths[found], atoms))
        ends += [max(places.min() - _SPACE, lengths[0]), min(places.max() + _SPACE, lengths[-1])]
    left, right, low, high = ends
    return left, right, low, high


def _scale_bar(axes: Any, left: float, low: float, text: str) -> None:
    """A bar one Angstrom long in the lower left corner, and a text beside it."""
    start, height = left + 0.1, low + 0.15
    axes.plot([start, start + 1], [height, height], color="0.25", linewidth=1.5, clip_on=False)
    axes.annotate(text, (start + 1, height), (4, 0), textcoords="offset points", fontsize=7,
                  color="0.25", va="center")


def _contour_values(grid: Grid) -> Array:
    """Positive contours, ascending: the last ones that there are room and values for."""
    first, most = _FIRST_CONTOURS[grid.plot.kind], float(np.abs(grid.values).max())
    if grid.plot.kind == POTENTIAL:
        most = min(most, _LAST_POTENTIAL)
    if most < first:
        return np.zeros(0)
    return first * 2.0 ** np.arange(min(int(math.log2(most / first)) + 1, _MOST_CONTOURS))


def _seen_atoms(grid: Grid) -> tuple[Array, Array]:
    """Where the atoms are drawn, n x 2, Angstrom along rows and columns, and how strongly: fully in
    the plane, faintly near it, 0 farther away."""
    frame = grid.frame
    right, up = (v / np.linalg.norm(v) for v in (frame.column.astype(float),
                                                 frame.row.astype(float)))
    place = grid.positions - frame.origin
    height = np.abs(place @ np.cross(right, up))
    strength = np.where(height <= _IN_PLANE, 1.0, 0.35) * (height <= _SHOWN)
    return place @ np.stack((right, up)).T, strength * (grid.numbers > 0)


def _molecule_in_plane(axes: Any, grid: Grid, numbered: bool) -> None:
    """Bonds and atoms as seen from where rows run to the right and columns up."""
    spots, strength = _seen_atoms(grid)
    names = _atom_names(grid) if numbered else [SYMBOLS[number] for number in grid.numbers]
    halo = _halo()
    for i, neighbours in enumerate(find_bonds(grid.numbers, grid.positions)):
        for j in neighbours:
            if i < j and strength[i] and strength[j]:
                axes.plot(*spots[[i, j]].T, color="0.15", linewidth=2.2, zorder=4,
                          alpha=min(strength[i], strength[j]), solid_capstyle="round")
    for name, spot, alpha in zip(names, spots, strength):
        if alpha:
            axes.text(*spot, name, ha="center", va="center", fontsize=12, zorder=5,
                      fontweight="bold", alpha=alpha, path_effects=halo, clip_on=True)
