"""The command `analyse`: looks into a trajectory."""

from __future__ import annotations

from typing import Any

from orbitrax.errors import OrbitraxError, UsageError

DESCRIPTION = ("Looks into a trajectory: distances, angles and torsions in time, the power "
               "spectrum of the velocities, mean square displacement.")
EXAMPLES = (
    "orbitrax analyse run.xyz --distance 1 2 --angle 2 1 3 -o geometry.csv",
    "orbitrax analyse run.xyz --spectrum -o spectrum.png",
    "orbitrax analyse run.xyz --displacement --atoms 1-3",
)

_GEOMETRY = (("distance", 2, "Angstrom"), ("angle", 3, "degrees"), ("torsion", 4, "degrees"))


def add_arguments(parser: Any) -> None:
    """Declares the options of the command."""
    parser.add_argument("trajectory", metavar="TRAJECTORY",
                        help="extended xyz, ASE's .traj, or whatever else ASE reads")
    group = parser.add_argument_group("what to look for; atoms count from 1")
    for name, count, unit in _GEOMETRY:
        group.add_argument(f"--{name}", nargs=count, type=int, action="append", default=[],
                           metavar="N", help=f"{name} of {count} atoms in time, {unit}; may be "
                                             "given again")
    group.add_argument("--spectrum", action="store_true",
                       help="power spectrum of the velocities against the wavenumber")
    group.add_argument("--autocorrelation", action="store_true",
                       help="autocorrelation of the velocities in time")
    group.add_argument("--displacement", action="store_true",
                       help="mean square displacement in time, and the diffusion constant")
    group.add_argument("--atoms", metavar="LIST",
                       help="of these atoms alone, as in 1-3,7, for what follows velocities or "
                            "displacements")
    group.add_argument("--interval", metavar="TIME",
                       help="time between frames, as in 5fs, where they do not tell")
    group = parser.add_argument_group("output")
    group.add_argument("-o", "--output", metavar="FILE",
                       help="NAME.csv, or a picture, NAME.png, .svg or .pdf; - prints csv")
    group.add_argument("-q", "--quiet", action="store_true", help="no summary")
    group.add_argument("--color", choices=("auto", "always", "never"), default="auto",
                       help="colour in messages (default auto)")


def run(arguments: Any, terminal: Any) -> int:
    """Runs the command; returns the exit status."""
    try:
        return _run(arguments)
    except OrbitraxError as error:
        terminal.error(error.typed)
        return error.exit_status


def _run(arguments: Any) -> int:
    from orbitrax.files import check_apart, check_target
    from orbitrax.motion.frames import read_trajectory
    from orbitrax.motion.schedule import parse_time
    from orbitrax.motion.tables import correlated, displaced, geometry, spectral

    path = arguments.output
    if path not in (None, "-"):
        check_target(path)
        check_apart([path], [arguments.trajectory])
    interval = None if arguments.interval is None else parse_time(arguments.interval)
    trajectory = read_trajectory(arguments.trajectory, interval)
    asked = [(name, atoms) for name, _, _ in _GEOMETRY for atoms in getattr(arguments, name)]
    tables = [geometry(trajectory, asked)] if asked else []
    if not trajectory.timed and (arguments.spectrum or arguments.autocorrelation
                                 or arguments.displacement):
        raise UsageError(f"{arguments.trajectory}: its frames have no times; say how far they are "
                         "apart with --interval 5fs")
    part = trajectory.atoms(_chosen(arguments.atoms, len(trajectory.symbols)))
    for wanted, make in ((arguments.spectrum, spectral), (arguments.autocorrelation, correlated),
                         (arguments.displacement, displaced)):
        if wanted:
            tables.append(make(part))
    if not tables:
        raise UsageError("say what to look for: --distance 1 2, --angle 1 2 3, --torsion 1 2 3 4, "
                         "--spectrum, --autocorrelation or --displacement")
    if path is not None:
        _write(tables, path)
    if not arguments.quiet and path != "-":
        print(*(line for table in tables for line in table.summary), sep="\n")
    return 0


def _chosen(text: str | None, count: int) -> list[int] | None:
    if text is None:
        return None
    from orbitrax.molecules.selection import check_selection, parse_selection

    chosen = check_selection(parse_selection(text), count, "the trajectory")
    return [number - 1 for number in chosen or ()]


def _write(tables: list[Any], path: str) -> None:
    import sys

    from orbitrax.files import replaced

    if path == "-" or path.lower().endswith(".csv"):
        if len(tables) > 1:
            raise UsageError("a csv file holds one table; ask for one thing, or for a picture")
        if path == "-":
            tables[0].write_csv(sys.stdout)
            return
        with replaced(path) as name, open(name, "w", encoding="utf-8", newline="") as file:
            tables[0].write_csv(file)
        return
    from orbitrax.pictures.chart import save_tables

    with replaced(path) as name:
        save_tables(tables, path, name)
