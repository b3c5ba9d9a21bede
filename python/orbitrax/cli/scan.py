"""The command `scan`: the energy along one or two coordinates, everything else relaxed."""

from __future__ import annotations

import json
import sys
from typing import Any

from orbitrax.backend import Backend
from orbitrax.cli.options import add_option
from orbitrax.errors import Interrupted, OrbitraxError, UsageError
from orbitrax.files import check_target, replaced
from orbitrax.job import JobSettings
from orbitrax.molecules.reading import as_molecule, read_molecule
from orbitrax.tasks.optimize import Optimize
from orbitrax.tasks.several.coordinates import KINDS, Coordinate, snake
from orbitrax.tasks.several.scan import OF_SEARCH

DESCRIPTION = ("The energy along a distance, an angle or a torsion, or two of them, each held "
               "exactly while everything else relaxes; each point starts from the one before.")
EXAMPLES = (
    "orbitrax scan examples/ethanol.xyz -m am1 --torsion 1,2,3,4=180:0:-30",
    "orbitrax scan examples/ethanol.xyz -m pm3 --stretch 1,2=1.4:2:0.1 -o path.xyz --csv path.csv",
    "orbitrax scan examples/ethanol.xyz -m am1 --torsion 1,2,3,4=0:180:15 --picture turn.svg",
)

_SHARED = ("charge", "multiplicity", "uhf", "rhf", "scf_limit", "scf_iterations", "diis")


class Point:
    """A point of a scan. asked, reached: values of the coordinates; energy, heat: kcal/mol, None
    where there is none; status: done, or what went wrong; text: the structure as xyz."""

    def __init__(self, asked: tuple[float, ...]):
        self.asked = asked
        self.reached: tuple[float, ...] = ()
        self.energy: float | None = None
        self.heat: float | None = None
        self.status, self.text = "done", ""


def add_arguments(parser: Any) -> None:
    """Declares the options."""
    parser.add_argument("molecule", metavar="MOLECULE", help="a molecule file, SMILES, or -")
    parser.add_argument("-m", "--method", required=True, metavar="METHOD", help="the method")
    parser.add_argument("--format", metavar="NAME", help="format of the file")
    group = parser.add_argument_group("coordinates, one or two")
    for kind, (count, unit) in KINDS.items():
        group.add_argument(f"--{kind}", action="append", default=[], metavar="ATOMS=FROM:TO:STEP",
                           help=f"{count} atoms, counted from 1, and values in {unit}")
    group = parser.add_argument_group("electronic structure and search")
    for name in _SHARED:
        add_option(group, JobSettings.options[name])
    for name in OF_SEARCH:
        add_option(group, Optimize.options[name])
    group = parser.add_argument_group("output")
    group.add_argument("-o", "--output", metavar="FILE", help="write the structures there, as xyz")
    group.add_argument("--csv", metavar="FILE", help="write the table there")
    group.add_argument("--picture", metavar="FILE", help="draw the curve or map: png, svg or pdf")
    group.add_argument("--json", action="store_true", help="print one JSON document")
    group.add_argument("-q", "--quiet", action="store_true", help="no progress, no warnings")
    group.add_argument("--backend", metavar="PATH", help="the backend program to start")
    group.add_argument("--time-limit", type=float, metavar="S", help="give up a point after S s")


def run(arguments: Any, terminal: Any) -> int:
    """Runs the scan; returns the exit status. Whatever ends it early, its points are written."""
    try:
        coordinates = [Coordinate(kind, text) for kind in KINDS
                       for text in getattr(arguments, kind)]
        if not 1 <= len(coordinates) <= 2:
            raise UsageError("scan one or two coordinates: --torsion, --bend or --stretch")
        for path in (arguments.output, arguments.csv, arguments.picture):
            if path is not None and path != "-":
                check_target(path)
        return _Scan(arguments, terminal, coordinates).run()
    except OrbitraxError as error:
        terminal.end_progress()
        terminal.error(error.typed)
        return error.exit_status


class _Scan:
    """A scan, point by point."""

    def __init__(self, arguments: Any, terminal: Any, coordinates: list[Coordinate]):
        self._arguments, self._terminal, self._coordinates = arguments, terminal, coordinates
        source = arguments.molecule
        self._molecule = (read_molecule(source, arguments.format)
                          if source == "-" or arguments.format else as_molecule(source))
        told = {name: getattr(arguments, name) for name in
                (*_SHARED, *OF_SEARCH) if hasattr(arguments, name)}
        self._task = Optimize(**told)
        for one in coordinates:
            one.held(one.values[0]).check(len(self._molecule))
        self._points: list[Point] = []

    def run(self) -> int:
        """All points; returns the exit status."""
        printed = not self._arguments.json and self._arguments.output != "-"
        if printed:
            self._print_head()
        ended: OrbitraxError | KeyboardInterrupt | None = None
        try:
            self._walk(printed)
        except (Interrupted, KeyboardInterrupt) as error:
            ended = error
            self._terminal.error(f"interrupted after {len(self._points)} points")
        self._terminal.end_progress()
        self._write()
        if isinstance(ended, KeyboardInterrupt):
            raise ended
        done = [point for point in self._points if point.status == "done"]
        return 0 if len(done) == len(self._points) else 1

    def _walk(self, printed: bool) -> None:
        grid = list(snake(tuple(self._coordinates)))
        with Backend(self._arguments.backend, time_limit=self._arguments.time_limit) as backend:
            start: Any = self._molecule
            for number, asked in enumerate(grid, 1):
                self._terminal.progress(f"point {number} of {len(grid)}")
                point, start = self._point(backend, asked, start)
                self._points.append(point)
                self._terminal.end_progress()
                if printed:
                    print(self._row(point), flush=True)

    def _point(self, backend: Backend, asked: tuple[float, ...], start: Any) -> tuple[Point, Any]:
        """One point, and the structure from which the next begins."""
        from orbitrax.molecules.writing import xyz_text

        point = Point(asked)
        held = [one.held(value) for one, value in zip(self._coordinates, asked)]
        task = self._task.replace(fix=(*self._task.fix, *held))
        try:
            result = task.start(start, self._arguments.method).execute(backend)
        except UsageError:
            raise
        except OrbitraxError as error:
            point.status = error.status
            self._terminal.error(f"{self._named(asked)}: {error.typed}")
            return point, start
        point.energy, point.heat = result.total_energy, result.heat_of_formation
        point.reached = tuple(one.reached(result.coordinates, value)
                              for one, value in zip(self._coordinates, asked))
        found = start.replace(positions=result.coordinates)
        point.text = xyz_text(found.replace(charge=result.charge,
                                            multiplicity=result.multiplicity), {
            **{one.name.replace(" ", "_"): value
               for one, value in zip(self._coordinates, point.reached)},
            "energy": result.total_energy, "heat_of_formation": result.heat_of_formation})
        return point, found

    # ---- what is printed and written ------------------------------------------------------------

    def _named(self, asked: tuple[float, ...]) -> str:
        return ", ".join(f"{one.name} {value:g}" for one, value in zip(self._coordinates, asked))

    def _print_head(self) -> None:
        for one in self._coordinates:
            print(f"{one.name}, {one.unit}")
        names = "".join(f"{'asked':>12}{'reached':>12}" for _ in self._coordinates)
        print(f"\n{names}{'energy':>20}{'relative':>12}{'heat':>14}   (kcal/mol)", flush=True)

    def _row(self, point: Point) -> str:
        reached = point.reached or (float("nan"),) * len(point.asked)
        text = "".join(f"{a:12.4f}{b:12.4f}" for a, b in zip(point.asked, reached))
        if point.energy is None:
            return f"{text}{point.status:>20}"
        first = next(one.energy for one in self._points if one.energy is not None)
        heat = "" if point.heat is None else f"{point.heat:14.4f}"
        assert first is not None
        return f"{text}{point.energy:20.5f}{point.energy - first:12.4f}{heat}"

    def _write(self) -> None:
        arguments, points = self._arguments, self._points
        structures = "".join(point.text for point in points)
        if arguments.output == "-":
            sys.stdout.write(structures)
        elif arguments.output is not None:
            _store(arguments.output, structures)
        if arguments.csv is not None:
            _store(arguments.csv, self._table())
        if arguments.picture is not None and points:
            from orbitrax.pictures.scan import draw

            draw(arguments.picture, [(one.name, one.unit) for one in self._coordinates],
                 [(point.reached, point.energy) for point in points if point.energy is not None])
        if arguments.json:
            print(json.dumps({"schema": "orbitrax-scan-1", "method": arguments.method,
                              "coordinates": [{"name": one.name, "unit": one.unit}
                                              for one in self._coordinates],
                              "points": [{"asked": point.asked, "reached": point.reached,
                                          "total_energy": point.energy,
                                          "heat_of_formation": point.heat,
                                          "status": point.status} for point in points]}))

    def _table(self) -> str:
        names = [f"{what} {one.name} ({one.unit})" for one in self._coordinates
                 for what in ("asked", "reached")]
        lines = [",".join([*names, "total_energy (kcal/mol)", "heat_of_formation (kcal/mol)",
                           "status"])]
        for point in self._points:
            reached = point.reached or ("",) * len(point.asked)
            cells = [cell for pair in zip(point.asked, reached) for cell in pair]
            lines.append(",".join(str("" if cell is None else cell) for cell in
                                  (*cells, point.energy, point.heat, point.status)))
        return "\n".join(lines) + "\n"


def _store(path: str, text: str) -> None:
    with replaced(path) as name, open(name, "w", encoding="utf-8") as file:
        file.write(text)
