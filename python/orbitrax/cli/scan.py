"""The command `scan`: the energy along one or two coordinates, everything else relaxed."""

from __future__ import annotations

import json
import sys
from typing import Any

from orbitrax.backend import Backend
from orbitrax.cli.options import add_option
from orbitrax.errors import Interrupted, NotConverged, OrbitraxError, UsageError
from orbitrax.files import check_apart, check_target, replaced
from orbitrax.job import JobSettings
from orbitrax.link.events import Event
from orbitrax.molecules.reading import as_molecule, read_molecule
from orbitrax.tasks.optimize import Optimize
from orbitrax.tasks.several.coordinates import KINDS, Coordinate, snake
from orbitrax.tasks.several.scan import OF_SEARCH, Point, Scan, Scanning

DESCRIPTION = ("The energy along a distance, an angle or a torsion, or two of them, each held "
               "exactly while everything else relaxes; each point starts from the one before.")
EXAMPLES = (
    "orbitrax scan examples/ethanol.xyz -m am1 --torsion 1,2,3,4=180:0:-30",
    "orbitrax scan examples/ethanol.xyz -m pm3 --stretch 1,2=1.4:2:0.1 -o path.xyz --csv path.csv",
    "orbitrax scan examples/ethanol.xyz -m am1 --torsion 1,2,3,4=0:180:15 --picture turn.svg",
)

_SHARED = ("charge", "multiplicity", "uhf", "rhf", "scf_limit", "scf_iterations", "diis")


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
        outputs = (arguments.output, arguments.csv, arguments.picture)
        for path in outputs:
            if path is not None and path != "-":
                check_target(path)
        check_apart(outputs, [arguments.molecule])
        return _Scan(arguments, terminal, coordinates).run()
    except OrbitraxError as error:
        terminal.end_progress()
        terminal.error(error.typed)
        return error.exit_status


class _Scan:
    """A scan, point by point."""

    def __init__(self, arguments: Any, terminal: Any, coordinates: list[Coordinate]):
        self._arguments, self._terminal = arguments, terminal
        self._coordinates = tuple(coordinates)
        source = arguments.molecule
        molecule = (read_molecule(source, arguments.format)
                    if source == "-" or arguments.format else as_molecule(source))
        told = {name: getattr(arguments, name) for name in
                (*_SHARED, *OF_SEARCH) if hasattr(arguments, name)}
        run = Scan(along=self._coordinates, **told).start(molecule, arguments.method)
        assert isinstance(run, Scanning)
        self._run, self._told = run, 0
        self._count = sum(1 for _ in snake(self._coordinates))
        self._prints = not arguments.json and arguments.output != "-"

    def run(self) -> int:
        """All points; returns the exit status."""
        if self._prints:
            self._print_head()
        try:
            with Backend(self._arguments.backend, time_limit=self._arguments.time_limit) as backend:
                self._run.execute(backend, self._hear)
        except (Interrupted, KeyboardInterrupt):
            self._end(Interrupted.status)
            self._terminal.error(f"interrupted after {len(self._run.points)} points")
            raise
        except NotConverged as error:  # and each point has said so
            self._end(error.status)
            return error.exit_status
        self._end("done")
        return 0

    def _end(self, status: str) -> None:
        self._tell_points()
        self._terminal.end_progress()
        for text in self._run.warnings():
            self._terminal.warning(text)
        self._write(status)

    def _hear(self, event: Event) -> None:
        self._tell_points()
        self._terminal.progress(f"point {self._told + 1} of {self._count}")

    def _tell_points(self) -> None:
        """Prints the points that have come to an end. Each counts before it is handed over, so that
        a signal in the middle of a write does not have it printed once more."""
        for point in self._run.points[self._told:]:
            self._terminal.end_progress()
            row = f"{self._row(point)}\n"
            self._told += 1
            if self._prints:
                sys.stdout.write(row)
            if point.failure is not None:
                self._terminal.error(f"{self._named(point.asked)}: {point.failure.typed}")
            sys.stdout.flush()

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
        first = next(one.energy for one in self._run.points if one.energy is not None)
        heat = "" if point.heat is None else f"{point.heat:14.4f}"
        assert first is not None
        return f"{text}{point.energy:20.5f}{point.energy - first:12.4f}{heat}"

    def _write(self, status: str) -> None:
        arguments, points = self._arguments, self._run.points
        structures = "".join(self._text(point) for point in points)
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
                              "status": status, "warnings": self._run.warnings(),
                              **self._run.block(None)["scan"]}))

    def _text(self, point: Point) -> str:
        """The structure as xyz, with what is known of it in the comment."""
        from orbitrax.molecules.writing import xyz_text

        if point.structure is None:
            return ""
        job = self._run.job
        return xyz_text(point.structure.replace(charge=job.charge, multiplicity=job.multiplicity), {
            **{one.name.replace(" ", "_"): value
               for one, value in zip(self._coordinates, point.reached)},
            "energy": point.energy, "heat_of_formation": point.heat})

    def _table(self) -> str:
        names = [f"{what} {one.name} ({one.unit})" for one in self._coordinates
                 for what in ("asked", "reached")]
        lines = [",".join([*names, "total_energy (kcal/mol)", "heat_of_formation (kcal/mol)",
                           "status"])]
        for point in self._run.points:
            reached = point.reached or ("",) * len(point.asked)
            cells = [cell for pair in zip(point.asked, reached) for cell in pair]
            lines.append(",".join(str("" if cell is None else cell) for cell in
                                  (*cells, point.energy, point.heat, point.status)))
        return "\n".join(lines) + "\n"


def _store(path: str, text: str) -> None:
    with replaced(path) as name, open(name, "w", encoding="utf-8") as file:
        file.write(text)
