"""The task `plot`: an orbital, a density or the potential, computed on a grid."""

from __future__ import annotations

import math

from orbitrax.errors import UsageError
from orbitrax.link import events
from orbitrax.results.text import line
from orbitrax.settings import declared, option
from orbitrax.tasks.energy import Energy
from orbitrax.tasks.task import Run, Task

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Callable
    from typing import Any, ClassVar

    from orbitrax.backend import Backend
    from orbitrax.grids.frame import Frame
    from orbitrax.grids.grid import Grid
    from orbitrax.grids.plot import Plot
    from orbitrax.job import Job
    from orbitrax.link.events import Event
    from orbitrax.results.result import Result

_PLOT = "plot"


def parse_view(given: str | tuple[float, float]) -> tuple[float, float]:
    """Azimuth and elevation, degrees, from a text like "22,28", or from numbers."""
    try:
        pair: Any = given.split(",") if isinstance(given, str) else given
        azimuth, elevation = (float(word) for word in pair)
        if azimuth - azimuth == elevation - elevation == 0:  # neither infinite nor NaN
            return azimuth, elevation
    except (TypeError, ValueError):
        pass
    raise UsageError(f"--view {given}: should be two angles in degrees, azimuth and elevation, as "
                     "in 22,28")


class Plotting(Run):
    """Asks the backend for a grid once the calculation is done. on_plane: called with the number of
    grids that have come and that of all."""

    task: PlotTask

    def __init__(self, task: Task, job: Job):
        super().__init__(task, job)
        self.plot = self.task.what()
        self.grid: Grid | None = None
        self.beside: Grid | None = None  # what is drawn beside it
        self.isovalue: float | None = None  # of the surfaces that were drawn
        self.file: str | None = None
        self.on_plane: Callable[[int, int], None] = lambda done, count: None
        self.task.frame(job.molecule.positions).check_memory()

    def follow(self, backend: Backend, result: Result, on_event: Callable[[Event], None] | None
               ) -> None:
        """Fetches the grid."""
        from orbitrax.grids.plot import POTENTIAL

        assert result.coordinates is not None
        frame = self.task.frame(result.coordinates)
        count = frame.counts[2] * (2 if self.plot.kind == POTENTIAL else 1)
        done = 0

        def listen(event: Event) -> None:
            nonlocal done
            if isinstance(event, events.PlotPlane):
                done += 1
                self.on_plane(done, count)
            if on_event is not None:
                on_event(event)

        self.on_plane(0, count)
        self.grid = backend.plot(self.plot, frame, listen)
        if self.task.beside is not None:
            done = 0
            self.beside = backend.plot(self.task.beside, frame, listen)
        if self.grid.is_zero:
            result.warnings.append(f"the {self.grid.title} is zero everywhere")

    def block(self, result: Result | None) -> dict[str, dict[str, Any]]:
        """The entry `plot` of the JSON document."""
        grid = self.grid
        names = ("what", "title", "orbital", "orbital_energy_ev", "points", "origin_bohr",
                 "steps_bohr", "smallest", "largest", "isovalue", "file")
        block: dict[str, Any] = dict.fromkeys(names)
        if grid is not None:
            number, level = grid.orbital or (None, None)
            block.update(
                what=self.plot.what, title=grid.title, orbital=number, orbital_energy_ev=level,
                points=list(grid.frame.counts), origin_bohr=grid.frame.first.tolist(),
                steps_bohr=grid.frame.steps.tolist(), smallest=float(grid.values.min()),
                largest=float(grid.values.max()), isovalue=self.isovalue, file=self.file)
        return {"plot": block}

    def summary(self, result: Result) -> list[str]:
        """What was plotted, where."""
        grid = self.grid
        if grid is None or self.file in (None, "-"):
            return []
        columns, rows, planes = grid.frame.counts
        points = f"{columns} x {rows}" + (f" x {planes}" if planes > 1 else "")
        step = math.hypot(*grid.frame.column.tolist())
        lines = [result.heading, "", line("Plot", grid.title),
                 line("Grid", f"{points} points, {step:.4f} Angstrom apart"),
                 line("Values", f"{grid.values.min():.5f} to {grid.values.max():.5f}")]
        if self.isovalue is not None:
            lines.append(line("Surface at", f"{self.isovalue:g}"))
        return [*lines, line("Written to", str(self.file))]


@declared
class PlotTask(Task):
    """Computes an orbital, a density or the electrostatic potential of one structure on a grid."""

    name: ClassVar[str] = "plot"
    description: ClassVar[str] = (
        "Draws an orbital, a density or the electrostatic potential of one structure, or writes it "
        "as a cube file.")
    examples: ClassVar[tuple[str, ...]] = (
        "orbitrax plot examples/formaldehyde.xyz -m am1 --orbital homo -o homo.png",
        "orbitrax plot examples/caffeine.xyz -m am1 --potential -o potential.png",
        "orbitrax plot examples/formaldehyde.xyz -m am1 --views 3 --bond-orders -o around.png",
        "orbitrax plot examples/benzene.xyz -m pm3 --orbital 15 --plane molecule=1 -o pi.svg",
        "orbitrax plot examples/water.xyz -m mndo --density -o density.cube",
    )
    run_type: ClassVar[type[Run]] = Plotting
    for_orbitals: ClassVar[type[Task] | None] = Energy
    files: ClassVar[tuple[str, ...]] = ("molden", "cube", "picture")
    file_help: ClassVar[str] = (
        "what to write: NAME.cube, or a picture, NAME.png, .svg or .pdf; - prints the cube; "
        "NAME.molden: all orbitals, for other programs to plot")

    orbital: str | None = option(
        None, group=_PLOT, exclusive="what", metavar="NAME",
        help="homo (default), lumo, homo-1, lumo+2, ..., or its number from 1")
    density: bool = option(
        False, group=_PLOT, exclusive="what", help="the density of the electrons")
    spin_density: bool = option(
        False, group=_PLOT, exclusive="what",
        help="the density of alpha less that of beta electrons")
    potential: bool = option(
        False, group=_PLOT, exclusive="what",
        help="the electrostatic potential; a picture shows it on a surface of the density")
    beside: str | None = option(
        None, group=_PLOT, metavar="NAME",
        help="another orbital, drawn beside the first at the same value: --orbital homo --beside "
             "lumo")
    beta: bool = option(False, group=_PLOT, help="the orbital of beta spin")
    squared: bool = option(False, group=_PLOT, help="the orbital squared")
    points: int | None = option(
        None, least=2, most=100000, group=_PLOT, metavar="N",
        help="points along the longest axis (default 80, more in a large molecule)")
    margin: float = option(
        3.0, least=0, most=9999, unit="Angstrom", group=_PLOT, metavar="A",
        help="Angstrom from the outermost atoms to the edge")
    plane: str | None = option(
        None, group=_PLOT, metavar="PLANE",
        help="contours in a plane: three atoms like 1,2,3, or xy, xz, yz or molecule; =0.5 behind "
             "it moves it by so many Angstrom")
    isovalue: float | None = option(
        None, above=0, group=_PLOT, metavar="V",
        help="value on the surface (default 0.05 of an orbital, less of one that is spread thin; "
             "0.002 of a density, 0.004 of a spin density)")
    view: tuple[float, float] | None = option(
        None, group=_PLOT, metavar="A,E", convert=parse_view,
        help="degrees by which the molecule is turned, and seen from above (default 22,40 or "
             "22,52, by what is drawn)")
    views: int | None = option(
        None, least=1, most=6, group=_PLOT, metavar="N",
        help="so many pictures side by side, each turned on by an equal part of a full turn "
             "(default 1); with --bond-orders double bonds are drawn double")
    width: int | None = option(
        None, least=100, most=4000, unit="pixels", group=_PLOT, metavar="N",
        help="pixels across (default 1200)")
    labels: bool = option(
        False, group=_PLOT, help="symbol and number of each atom in the picture")

    def _check(self) -> None:
        super()._check()
        named = [name for name in ("orbital", "density", "spin_density", "potential")
                 if getattr(self, name)]
        if len(named) > 1:
            raise UsageError(f"--{named[1].replace('_', '-')} is not allowed with --{named[0]}: "
                             "plot one thing")
        if self.beside is not None and (self.plane is not None or set(named) - {"orbital"}):
            raise UsageError("--beside goes with surfaces of orbitals only")
        if self.beside is not None:
            from orbitrax.grids.plot import Plot

            if not Plot(self.beside).of_orbital:
                raise UsageError(f"--beside {self.beside}: should be an orbital, as lumo")

    def what(self) -> Plot:
        """What the settings ask for."""
        from orbitrax.grids.plot import Plot

        if self.potential or self.density or self.spin_density:
            name = ("potential" if self.potential else
                    "density" if self.density else "spin-density")
        else:
            name = self.orbital or "homo"
        return Plot(name, self.beta, self.squared)

    def frame(self, positions: Any) -> Frame:
        """Where the points lie, for a molecule at `positions`, n x 3, Angstrom."""
        from orbitrax.grids.frame import box_around, plane_through

        if self.plane is not None:
            return plane_through(positions, self.plane, self.margin, self.points)
        return box_around(positions, self.margin, self.points)
