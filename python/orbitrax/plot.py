"""The task `plot`: an orbital, a density or the potential as a cube file or a picture."""

from __future__ import annotations

import os
import sys

import numpy as np

from orbitrax import energy
from orbitrax.link import events
from orbitrax.backend import Backend
from orbitrax.errors import OrbitraxError, UsageError
from orbitrax.files import check_target, replaced
from orbitrax.grids.grid import POTENTIAL, Frame, Grid, Plot, box_around, plane_through
from orbitrax.job import Job
from orbitrax.results.result import Result

_WIDTHS = (100, 4000)  # pixels


class PlotTask(energy.Task):
    """Asks the backend for a grid once the calculation is done, and writes it."""

    name = "plot"

    def __init__(self, arguments, terminal):
        super().__init__(arguments, terminal)
        self.text_file = None  # -o is for the plot
        self._to_stdout = arguments.output == "-"
        self._grid: Grid | None = None
        self._view = None
        self._isovalue: float | None = None

    def check(self) -> None:
        """Refuses what cannot be plotted or written."""
        given = self.arguments
        self._plot = Plot(_what(given), given.beta, given.squared)
        if given.output is None:
            raise UsageError("a plot needs a file: -o NAME.cube, a picture (.png, .svg or .pdf), "
                             "or .molden for all orbitals")
        if self._to_stdout and (given.json or given.log):
            raise UsageError("-o - prints the cube, which leaves no room for "
                             + ("--json" if given.json else "--log"))
        if not self._to_stdout:
            check_target(given.output)
        if self._is_cube:
            self._check_cube_options()
        else:
            self._check_picture_options()

    @property
    def _is_cube(self) -> bool:
        suffix = os.path.splitext(self.arguments.output)[1].lower()
        return self._to_stdout or suffix in (".cube", ".cub")

    def _check_cube_options(self) -> None:
        given = self.arguments
        for option in ("plane", "isovalue", "view", "width"):
            if getattr(given, option) is not None:
                raise UsageError(f"--{option} is for pictures (.png, .svg, .pdf); a cube file "
                                 "holds a whole box of values")

    def _check_picture_options(self) -> None:
        from orbitrax.pictures import picture

        given = self.arguments
        if not given.output.lower().endswith(tuple(f".{name}" for name in picture.FORMATS)):
            raise UsageError(f"{given.output}: its name does not tell what to write; try .cube, "
                             ".png, .svg or .pdf")
        picture.check(given.output)
        if given.plane is not None:
            for option in ("isovalue", "view"):
                if getattr(given, option) is not None:
                    raise UsageError(f"--{option} is for surfaces; with --plane there are contours")
        if given.isovalue is not None and not 0 < given.isovalue < np.inf:
            raise UsageError(f"--isovalue {given.isovalue}: should be above 0; both signs are "
                             "drawn")
        if given.width is not None and not _WIDTHS[0] <= given.width <= _WIDTHS[1]:
            raise UsageError(f"--width {given.width}: choose from {_WIDTHS[0]} to {_WIDTHS[1]} "
                             "pixels")
        if given.view is not None:
            self._view = _angles(given.view)

    def begin(self, job: Job) -> None:
        """Places the points, which must not fail after a long calculation."""
        self._frame(job.molecule.positions).check_memory()

    def _frame(self, positions: np.ndarray) -> Frame:
        given = self.arguments
        if given.plane is not None:
            return plane_through(positions, given.plane, given.margin, given.points)
        return box_around(positions, given.margin, given.points)

    # ---- the plot -------------------------------------------------------------------------------

    def follow(self, backend: Backend, result: Result) -> None:
        """Fetches the grid."""
        frame = self._frame(result.coordinates)
        planes = frame.counts[2] * (2 if self._plot.kind == POTENTIAL else 1)
        done = 0

        def show(event: events.Event) -> None:
            nonlocal done
            if isinstance(event, events.PlotPlane):
                done += 1
                self.terminal.progress(f"Plotting: grid {done} of {planes}")

        self.terminal.progress("Plotting")
        self._grid = backend.plot(self._plot, frame, show)
        if self._grid.is_zero:
            result.warnings.append(f"the {self._grid.title} is zero everywhere")

    def end(self, result: Result | None) -> None:
        """Writes the file."""
        if self._grid is None:
            return
        if self._to_stdout:
            self._write_cube(sys.stdout)
            return
        with replaced(self.arguments.output) as name:
            if self._is_cube:
                with open(name, "w", encoding="ascii") as file:
                    self._write_cube(file)
            else:
                self._draw(name, result)

    def _write_cube(self, file) -> None:
        from orbitrax.pictures.cube import write_cube

        write_cube(file, self._grid)

    def _draw(self, name: str, result: Result) -> None:
        from orbitrax.pictures import picture

        given = self.arguments
        if given.plane is None:
            self._isovalue = given.isovalue or picture.usual_isovalue(self._grid)
            if self._grid.largest_at_edge > self._isovalue:
                result.warnings.append("the surface reaches the edge of the grid and is cut there; "
                                       "choose a larger --margin or --isovalue")
        try:
            picture.save(self._grid, given.output, name, self._isovalue, self._view,
                         given.width or picture.WIDTH)
        except MemoryError:
            raise OrbitraxError("there is not enough memory to draw this picture; choose fewer "
                                "--points or a smaller --width") from None

    # ---- what is said ---------------------------------------------------------------------------

    def block(self, result: Result | None) -> dict:
        """The entry `plot` of the JSON document."""
        grid = self._grid
        names = ("what", "title", "orbital", "orbital_energy_ev", "points", "origin_bohr",
                 "steps_bohr", "smallest", "largest", "isovalue", "file")
        block: dict = dict.fromkeys(names)
        if grid is not None:
            number, level = grid.orbital or (None, None)
            block.update(
                what=self._plot.what, title=grid.title, orbital=number, orbital_energy_ev=level,
                points=list(grid.frame.counts), origin_bohr=grid.frame.first.tolist(),
                steps_bohr=grid.frame.steps.tolist(), smallest=float(grid.values.min()),
                largest=float(grid.values.max()), isovalue=self._isovalue,
                file=self.arguments.output)
        return {"plot": block}

    def summary(self, result: Result) -> str:
        """What was plotted, where."""
        if self._grid is None or self._to_stdout:
            return ""
        grid = self._grid
        columns, rows, planes = grid.frame.counts
        points = f"{columns} x {rows}" + (f" x {planes}" if planes > 1 else "")
        step = float(np.linalg.norm(grid.frame.column))
        lines = [result.heading, "",
                 f"{'Plot':<26}{grid.title}",
                 f"{'Grid':<26}{points} points, {step:.4f} Angstrom apart",
                 f"{'Values':<26}{grid.values.min():.5f} to {grid.values.max():.5f}"]
        if self._isovalue is not None:
            lines.append(f"{'Surface at':<26}{self._isovalue:g}")
        return "\n".join([*lines, f"{'Written to':<26}{self.arguments.output}"]) + "\n"


def _what(given) -> str:
    """The name of what the arguments ask for."""
    if given.potential:
        return "potential"
    if given.density:
        return "density"
    return "spin-density" if given.spin_density else (given.orbital or "homo")


def _angles(text: str) -> tuple[float, float]:
    try:
        azimuth, elevation = (float(word) for word in text.split(","))
    except ValueError:
        azimuth = elevation = np.nan
    if not (np.isfinite(azimuth) and np.isfinite(elevation)):
        raise UsageError(f"--view {text}: should be two angles in degrees, azimuth and elevation, "
                         "as in 22,28")
    return azimuth, elevation
