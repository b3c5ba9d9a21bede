"""The command `path`: the way down from a saddle point to both sides."""

from __future__ import annotations

from typing import Any

from orbitrax.cli.reactions.shared import (add_shared, backend_of, check_files, check_picture,
                                           check_xyz, guarded, molecule_of, shared_of,
                                           tell_warnings)
from orbitrax.errors import UsageError

_LONGEST = 2.0  # Angstrom amu^1/2, of a step

DESCRIPTION = ("Follows the path of steepest descent, in mass-weighted coordinates, from a saddle "
               "point down to both sides, and goes on to the minima.")
EXAMPLES = (
    "orbitrax path saddle.xyz -m am1 -o path.xyz",
    "orbitrax path saddle.xyz -m am1 --step 0.05 --csv path.csv --picture profile.png",
)


def add_arguments(parser: Any) -> None:
    """Declares the options."""
    parser.add_argument("molecule", metavar="TS", help="a saddle point, as 'ts' has written it")
    add_path_options(parser)
    parser.add_argument("-o", "--output", metavar="FILE",
                        help="write the structures there, as extended xyz")
    parser.add_argument("--picture", metavar="FILE", help="draw the profile: png, svg or pdf")
    add_shared(parser)


def add_path_options(parser: Any) -> None:
    """Declares what a path is told."""
    parser.add_argument("--step", type=float, default=0.1, metavar="S",
                        help="length of a step, Angstrom amu^1/2 (default 0.1)")
    parser.add_argument("--points", type=int, default=200, metavar="N",
                        help="most points on each side (default 200)")
    parser.add_argument("--trajectory", metavar="FILE",
                        help="write every structure on the way there as it comes, extended xyz")
    parser.add_argument("--csv", metavar="FILE", help="write the profile there, as a table")


def check_path_options(arguments: Any) -> None:
    """Raises UsageError for steps and points that make no path."""
    if not 0 < arguments.step <= _LONGEST:
        raise UsageError(f"--step {arguments.step:g}: choose from above 0 to {_LONGEST:g} Angstrom "
                         "amu^1/2")
    if arguments.points < 1:
        raise UsageError(f"--points {arguments.points}: choose 1 or more")


def run(arguments: Any, terminal: Any) -> int:
    """Runs the path; returns the exit status."""
    return guarded(_run, arguments, terminal)


def _run(arguments: Any, terminal: Any) -> int:
    import json

    from orbitrax.cli.reactions.live import Live
    from orbitrax.cli.reactions.written import end_line, path_document, write_path
    from orbitrax.reactions.path import follow_path, verified
    from orbitrax.reactions.surface import EnergySurface
    from orbitrax.tasks.ts import said

    check_path_options(arguments)
    check_xyz(arguments.output)
    check_files([arguments.output, arguments.csv, arguments.picture, arguments.trajectory],
                [arguments.molecule])
    check_picture(arguments.picture)
    molecule = molecule_of(arguments.molecule)
    with backend_of(arguments) as backend:
        surface = EnergySurface(backend, molecule, arguments.method, shared_of(arguments))
        with Live(terminal, arguments.trajectory, surface):
            terminal.progress("vibrations of the saddle point")
            saddle = verified(surface, molecule.positions)
            path = follow_path(surface, saddle, step=arguments.step, most=arguments.points)
    write_path(path, molecule, arguments.output, arguments.csv, arguments.picture)
    if arguments.json:
        print(json.dumps({"schema": "orbitrax-path-1", "method": arguments.method,
                          "status": "unconverged" if any(path.reasons) else "done",
                          "warnings": path.warnings,
                          "errors": [f"side {side}: {why}" for side, why in
                                     enumerate(path.reasons, 1) if why],
                          **path_document(path)}, allow_nan=False))
    elif not arguments.quiet:
        assert saddle.modes is not None
        print(saddle.heading)
        print(f"saddle point: {said(saddle.modes)}")
        for side in (0, 1):
            print(end_line(path, side))
        print(f"{surface.points} energies on the path")
    tell_warnings(terminal, path.warnings)
    for side, why in enumerate(path.reasons):
        if why:
            terminal.error(f"side {side + 1}: {why}")
    return 1 if any(path.reasons) else 0
