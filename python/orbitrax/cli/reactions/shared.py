"""What the commands of reactions share: options, molecules, and what they write."""

from __future__ import annotations

import json
import os
from typing import Any

from orbitrax.backend import Backend
from orbitrax.cli.options import add_option
from orbitrax.errors import OrbitraxError, UsageError
from orbitrax.files import check_apart, check_target, replaced
from orbitrax.job import JobSettings
from orbitrax.molecules.molecule import Molecule
from orbitrax.molecules.reading import as_molecule, read_molecule
from orbitrax.molecules.writing import xyz_text
from orbitrax.tasks.task import HALF_ELECTRONS

SHARED = ("charge", "multiplicity", "uhf", "rhf", "scf_limit", "scf_iterations", "diis", "scf")
_XYZ = (".xyz", ".extxyz")
PICTURES = (".png", ".svg", ".pdf")


def add_shared(parser: Any) -> None:
    """Declares the method, the electronic structure and the output."""
    parser.add_argument("-m", "--method", required=True, metavar="METHOD", help="the method")
    group = parser.add_argument_group("electronic structure")
    for name in SHARED:
        add_option(group, JobSettings.options[name])
    group = parser.add_argument_group("output and backend")
    group.add_argument("--json", action="store_true", help="print one JSON document")
    group.add_argument("-q", "--quiet", action="store_true", help="no progress, no warnings")
    group.add_argument("--backend", metavar="PATH", help="the backend program to start")
    group.add_argument("--time-limit", type=float, metavar="S",
                       help="give up a calculation after S seconds")


def shared_of(arguments: Any) -> dict[str, Any]:
    """What was told of the electronic structure."""
    return {name: getattr(arguments, name) for name in SHARED if hasattr(arguments, name)}


def molecule_of(source: str) -> Molecule:
    """A molecule from a file, a SMILES string, or standard input."""
    found: Molecule = read_molecule(source) if source == "-" else as_molecule(source)
    return found


def backend_of(arguments: Any) -> Backend:
    """The backend that the options name."""
    return Backend(arguments.backend, time_limit=arguments.time_limit)


def guarded(work: Any, arguments: Any, terminal: Any) -> int:
    """Runs a command; an error is said, and becomes its exit status. Ctrl-C passes
    through, and is said in the document."""
    try:
        status: int = work(arguments, terminal)
        return status
    except KeyboardInterrupt:
        terminal.end_progress()
        terminal.error("interrupted" + (f"; the structures until then are in {arguments.trajectory}"
                                        if getattr(arguments, "trajectory", None) else ""))
        if arguments.json:
            print(json.dumps({"status": "interrupted", "errors": ["interrupted"]}), flush=True)
        raise
    except OrbitraxError as error:
        terminal.end_progress()
        terminal.error(error.typed)
        if arguments.json:
            print(json.dumps({"status": error.status, "errors": [error.typed]}))
        return error.exit_status


def tell_warnings(terminal: Any, texts: list[str]) -> None:
    """Says them, but for those of gradients, which were said with the structures."""
    for text in texts:
        if HALF_ELECTRONS not in text:
            terminal.warning(text)


def check_files(paths: list[str | None], read: list[str | None]) -> None:
    """Raises UsageError for what cannot be written, or not without harm to what is read."""
    for path in paths:
        if path is not None and path != "-":
            check_target(path)
    check_apart(paths, read)


def check_xyz(path: str | None, others: tuple[str, ...] = ()) -> None:
    """Raises UsageError for structures in a file whose name tells of another format."""
    if path is not None and path != "-" and os.path.splitext(path)[1] and not path.lower().endswith(
            (*_XYZ, *others)):
        raise UsageError(f"{path}: structures are written as xyz; name a file NAME.xyz, and "
                         "'orbitrax convert' makes others of it")


def check_picture(path: str | None) -> None:
    """Raises UsageError for a picture that is none."""
    if path is not None and not path.lower().endswith(PICTURES):
        raise UsageError(f"{path}: a picture is a .png, .svg or .pdf")


def store(path: str, text: str) -> None:
    """Writes a file, whole or not at all."""
    with replaced(path) as name, open(name, "w", encoding="utf-8") as file:
        file.write(text)


def structure_text(molecule: Molecule, positions: Any, about: dict[str, Any]) -> str:
    """A structure as xyz, with what is known of it in its second line."""
    return xyz_text(molecule.replace(positions=positions), about)
