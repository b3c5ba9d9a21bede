"""The command `compare`: one molecule by many methods, in one table."""

from __future__ import annotations

import json
from typing import Any

from orbitrax.backend import Backend
from orbitrax.errors import Interrupted, OrbitraxError, UsageError
from orbitrax.methods import METHODS, find_method
from orbitrax.molecules.reading import as_molecule, read_molecule
from orbitrax.tasks.registry import find_task

DESCRIPTION = "Computes one molecule by many methods and shows them in one table."
EXAMPLES = ("orbitrax compare examples/formaldehyde.xyz",
            "orbitrax compare CCO -m am1,pm3,mndo --optimize")

_HEAD = (f"{'method':<9}{'heat':>12}{'binding':>14}{'dipole':>9}{'HOMO':>10}{'LUMO':>10}"
         f"{'gap':>9}\n{'':<9}{'kcal/mol':>12}{'kcal/mol':>14}{'Debye':>9}{'eV':>10}{'eV':>10}"
         f"{'eV':>9}")


def add_arguments(parser: Any) -> None:
    """Declares the options."""
    parser.add_argument("molecule", metavar="MOLECULE", help="a molecule file, SMILES, or -")
    parser.add_argument("-m", "--methods", metavar="LIST", action="append",
                        help="as am1,pm3, or each with its -m (default: all)")
    parser.add_argument("--format", metavar="NAME", help="format of the file")
    parser.add_argument("-c", "--charge", type=int, metavar="N", help="total charge")
    parser.add_argument("-s", "--multiplicity", type=int, metavar="N", help="spin multiplicity")
    parser.add_argument("--optimize", action="store_true", help="each at its own minimum")
    parser.add_argument("--json", action="store_true", help="print one document a line")
    parser.add_argument("-q", "--quiet", action="store_true", help="no warnings")
    parser.add_argument("--backend", metavar="PATH", help="the backend program to start")
    parser.add_argument("--tables", metavar="FOLDER", help="folder of the parameter tables")


def run(arguments: Any, terminal: Any) -> int:
    """Prints the table; returns the exit status: 0 if one method at least has an answer."""
    try:
        keys = [key for words in arguments.methods or () for key in words.split(",")]
        methods = [find_method(key) for key in keys] or list(METHODS)
        molecule = (read_molecule("-", arguments.format) if arguments.molecule == "-" else
                    as_molecule(arguments.molecule))
        task = find_task("optimize" if arguments.optimize else "energy")(
            charge=arguments.charge, multiplicity=arguments.multiplicity)
    except UsageError as error:
        terminal.error(error.typed)
        return error.exit_status
    for text in molecule.remarks:
        terminal.warning(text)
    statuses: list[int] = []
    odd = False
    if not arguments.json:
        print(f"{molecule.formula}, {len(molecule)} atoms\n\n{_HEAD}")
    with Backend(arguments.backend, arguments.tables) as backend:
        for method in methods:
            try:
                result = task.start(molecule, method).execute(backend)
                statuses.append(0)
                print(json.dumps(result.to_dict()) if arguments.json else _row(result), flush=True)
                odd = odd or bool(result.remarks)
                for text in result.warnings:
                    if text not in molecule.remarks:  # said before
                        terminal.warning(f"{method.key}: {text}")
            except (Interrupted, KeyboardInterrupt):
                terminal.error(f"interrupted after {len(statuses)} of {len(methods)} methods")
                raise
            except OrbitraxError as error:
                statuses.append(error.exit_status)
                if not arguments.json:
                    print(f"{method.key:<9}{error.typed}", flush=True)
                elif not arguments.quiet:
                    terminal.error(f"{method.key}: {error.typed}")
    if odd and not arguments.json:
        print(f"\n* there are remarks: see orbitrax {task.name} -m METHOD")
    return min(statuses)


def _row(result: Any) -> str:
    levels = result.frontier()
    filled = [level for name, level in levels if not name.startswith("LUMO")]
    empty = [level for name, level in levels if name.startswith("LUMO")]
    values = ((result.heat_of_formation, 12, 4), (result.binding_energy, 14, 3),
              ((result.plain("dipole") or [None] * 4)[3], 9, 3),
              (max(filled) if filled else None, 10, 4), (min(empty) if empty else None, 10, 4),
              (result.gap_ev, 9, 3))
    cells = "".join(f"{'-':>{width}}" if value is None else f"{value:>{width}.{digits}f}"
                    for value, width, digits in values)
    note = "  *" if result.remarks else ""
    return f"{result.method:<9}{cells}{note}"
