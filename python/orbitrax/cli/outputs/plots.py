"""A grid as a cube file or as a picture."""

from __future__ import annotations

import sys

from orbitrax.cli.outputs import Output
from orbitrax.errors import CalculationFailed, OrbitraxError, UsageError
from orbitrax.files import check_target, replaced

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any, TextIO

    from orbitrax.cli.terminal import Terminal
    from orbitrax.grids.grid import Grid
    from orbitrax.results.result import Result
    from orbitrax.tasks.plot import Plotting, PlotTask


class _GridOutput(Output):
    """What cube files and pictures share."""

    path: str

    def check(self, task: Any) -> None:
        """Refuses a file that cannot be written, and settings that mean nothing for it."""
        if not self.path:
            raise UsageError("a plot needs a file: -o NAME.cube, a picture (.png, .svg or .pdf), "
                             "or .molden for all orbitals")
        if self.path == "-" and (self.command.json or self.command.log):
            raise UsageError("-o - prints the cube, which leaves no room for "
                             + ("--json" if self.command.json else "--log"))
        if self.path != "-":
            check_target(self.path)
        self._check_settings(task)

    def _check_settings(self, task: PlotTask) -> None:
        """Refuses settings that mean nothing for this kind of file."""

    def follow(self, run: Any, terminal: Terminal) -> None:
        """Shows how far the plot is."""

        def show(done: int, count: int) -> None:
            terminal.progress(f"Plotting: grid {done} of {count}" if done else "Plotting")

        run.file = self.path
        run.on_plane = show

    def finish(self, run: Any, result: Result | None) -> None:
        """Writes the file."""
        if run is None or result is None or run.grid is None:
            return
        if self.path == "-":
            self._write(sys.stdout, run.grid)
            return
        with replaced(self.path) as name:
            self._write_file(name, run, run.grid, result)

    def _write_file(self, name: str, run: Plotting, grid: Grid, result: Result) -> None:
        """Writes a file of this name, which will take the place of `path`."""

    def _write(self, file: TextIO, grid: Grid) -> None:
        from orbitrax.pictures.cube import write_cube

        write_cube(file, grid)


class CubeOutput(_GridOutput):
    """A cube file, for other programs to draw; - prints it."""

    def _check_settings(self, task: PlotTask) -> None:
        for option in ("plane", "isovalue", "view", "views", "width", "labels", "beside"):
            if getattr(task, option) not in (None, False):
                raise UsageError(f"--{option} is for pictures (.png, .svg, .pdf); a cube file "
                                 "holds a whole box of values")

    def _write_file(self, name: str, run: Plotting, grid: Grid, result: Result) -> None:
        with open(name, "w", encoding="ascii") as file:
            self._write(file, grid)


class PictureOutput(_GridOutput):
    """A picture of surfaces, or of contours in a plane."""

    def _check_settings(self, task: PlotTask) -> None:
        from orbitrax.pictures import figures

        if not self.path.lower().endswith(tuple(f".{name}" for name in figures.FORMATS)):
            raise UsageError(f"{self.path}: its name does not tell what to write; try .cube, .png, "
                             ".svg or .pdf")
        figures.check(self.path)
        if task.plane is not None:
            for option in ("isovalue", "view", "views"):
                if getattr(task, option) is not None:
                    raise UsageError(f"--{option} is for surfaces; with --plane there are contours")

    def _write_file(self, name: str, run: Plotting, grid: Grid, result: Result) -> None:
        from orbitrax.pictures import picture

        task = run.task
        if task.plane is None:
            grids = [one for one in (grid, run.beside) if one is not None]
            run.isovalue = task.isovalue or min(map(picture.usual_isovalue, grids))
            if max(one.largest_at_edge for one in grids) > run.isovalue:
                result.warnings.append("the surface reaches the edge of the grid and is cut there; "
                                       "choose a larger --margin or --isovalue")
        try:
            picture.save_picture(grid, self.path, name, run.isovalue, task.view,
                                 task.width or picture.WIDTH, task.labels, task.views or 1,
                                 result.bond_orders, run.beside)
        except CalculationFailed as error:  # the same as a warning would be once too often
            result.warnings[:] = [text for text in result.warnings if text not in error.typed]
            raise
        except MemoryError:
            raise OrbitraxError("there is not enough memory to draw this picture; choose fewer "
                                "--points or a smaller --width") from None
