"""The task `charges` of the command line."""

from __future__ import annotations

import json
from typing import Any, Iterator

from orbitrax.atomic_charges.settings import ChargeSettings
from orbitrax.cli.options import add_option
from orbitrax.errors import OrbitraxError, UsageError

DESCRIPTION = ("Atomic charges for force fields: AM1-BCC, or the AM1 populations that it starts "
               "from.")
EXAMPLES = (
    'orbitrax charges --smiles "CC(=O)Nc1ccc(O)cc1" -o paracetamol.mol2',
    "orbitrax charges ligand.sdf --model am1bcc-elf10 -o ligand.offxml",
    "orbitrax charges library.smi -o library.sdf",
)


def add_arguments(parser: Any) -> None:
    """Declares the options of the task."""
    group = parser.add_argument_group("molecules")
    group.add_argument("molecule", nargs="?", metavar="MOLECULE",
                       help="a file with bonds (sdf, mol, mol2, smi), or pdb or xyz, whose bonds "
                            "are found; with one molecule or many; - for standard input")
    group.add_argument("--smiles", metavar="TEXT", help="a SMILES string in place of a file")
    group.add_argument("--format", metavar="NAME", help="sdf, mol, mol2, smi, pdb or xyz")
    group.add_argument("-c", "--charge", type=int, metavar="N",
                       help="total charge, where the file does not tell it (pdb, xyz); else it "
                            "is compared with what the file tells")
    group = parser.add_argument_group("charges")
    for one in ChargeSettings.options.values():
        add_option(group, one)
    group = parser.add_argument_group("output and backend")
    group.add_argument("--json", action="store_true",
                       help="print a JSON document for each molecule, one a line")
    group.add_argument("-o", "--output", metavar="FILE",
                       help="write there: .mol2, .sdf, .json, .csv, .xml (OpenMM) or .offxml "
                            "(library charges for the Open Force Field toolkit)")
    group.add_argument("-q", "--quiet", action="store_true", help="no progress, no summary")
    group.add_argument("--color", choices=("auto", "always", "never"), default="auto",
                       help="colour in messages (default auto)")
    group.add_argument("--workers", type=int, metavar="N",
                       help="processes for many molecules (default: one a core)")
    group.add_argument("--time-limit", type=float, metavar="S",
                       help="give up an energy after S seconds")
    group.add_argument("--backend", metavar="PATH", help="the backend program to start")
    group.add_argument("--tables", metavar="FOLDER", help="folder of the parameter tables")


def run(arguments: Any, terminal: Any) -> int:
    """Runs the task; returns the exit status: 1 if a molecule has no charges, 2 for a request that
    cannot be meant."""
    try:
        return _run(arguments, terminal)
    except OrbitraxError as error:
        terminal.end_progress()
        terminal.error(error.typed)
        if arguments.json:
            print(json.dumps(_failed("charges", error)))
        return error.exit_status


def _run(arguments: Any, terminal: Any) -> int:
    settings = ChargeSettings(**{name: value for name, value in vars(arguments).items()
                                 if name in ChargeSettings.options})
    try:
        from orbitrax.atomic_charges import writers
    except ImportError:
        raise UsageError("charges need RDKit, which is not installed; on Debian: apt-get install "
                         "python3-rdkit") from None
    from orbitrax.files import check_target

    if arguments.workers is not None and arguments.workers < 1:
        raise UsageError(f"--workers {arguments.workers}: at least one is needed")
    if arguments.output is not None:
        check_target(arguments.output)
        writers.writer_of(arguments.output)
    molecules = list(_molecules(arguments))
    found: list[Any] = []
    status = 0
    try:
        for entry in _assigned(arguments, settings, molecules, terminal):
            terminal.end_progress()
            if hasattr(entry, "charges"):
                found.append(entry)
            status = max(status, _tell(entry, arguments, terminal))
    except KeyboardInterrupt:
        terminal.end_progress()
        _write(arguments.output, found)
        terminal.error(f"interrupted; {len(found)} of {len(molecules)} molecules have charges"
                       + (f", which are in {arguments.output}" if arguments.output and found
                          else ""))
        raise
    _write(arguments.output, found)
    return status


def _write(path: str | None, found: list[Any]) -> None:
    from orbitrax.atomic_charges import writers

    if path is not None and found:
        writers.write(path, found)


def _molecules(arguments: Any) -> Iterator[tuple[str, Any]]:
    from rdkit import Chem

    from orbitrax.atomic_charges.reading import from_smiles, read_entries

    if (arguments.smiles is None) == (arguments.molecule is None):
        raise UsageError("give a molecule file, - for standard input, or --smiles TEXT")
    if arguments.smiles is not None:
        pairs: Iterator[tuple[str, Any]] = iter([(arguments.smiles, from_smiles(arguments.smiles))])
    else:
        pairs = read_entries(arguments.molecule, arguments.format, arguments.charge or 0)
    for title, mol in pairs:
        if isinstance(mol, OrbitraxError):
            yield title, mol
            continue
        formal = Chem.GetFormalCharge(mol)
        if arguments.charge not in (None, formal):
            raise UsageError(f"{title}: the formal charges of its atoms add up to {formal}, not to "
                             f"the {arguments.charge} of --charge")
        yield title, mol


def _assigned(arguments: Any, settings: Any, molecules: list[tuple[str, Any]],
              terminal: Any) -> Iterator[Any]:
    """Charges or Failures: of one molecule here, of many on all cores."""
    from orbitrax.atomic_charges.assign import assign
    from orbitrax.atomic_charges.batch import assign_all
    from orbitrax.backend import Backend

    backend = (arguments.backend, arguments.tables, arguments.time_limit)
    if len(molecules) > 1:
        total = len(molecules)
        for number, entry in enumerate(assign_all(molecules, settings, arguments.workers, backend),
                                       1):
            terminal.progress(f"{number} of {total} molecules")
            yield entry
        return
    (title, mol), = molecules
    if isinstance(mol, OrbitraxError):
        raise mol
    with Backend(*backend) as running:
        yield assign(mol, running, settings, title, terminal.progress)


def _tell(entry: Any, arguments: Any, terminal: Any) -> int:
    """Says what came of a molecule; returns its exit status."""
    from orbitrax.atomic_charges import writers

    if not hasattr(entry, "charges"):
        terminal.error(entry.error.typed)
        if arguments.json:
            print(json.dumps(_failed(entry.title, entry.error)), flush=True)
        return int(entry.error.exit_status)
    for note in entry.notes:
        terminal.warning(note)
    if arguments.json:
        print(json.dumps(writers.document(entry), allow_nan=False), flush=True)
    elif not arguments.quiet:
        print(_summary(entry, arguments.output is None), end="", flush=True)
    return 0


def _failed(title: str, error: OrbitraxError) -> dict[str, Any]:
    from orbitrax import __version__

    return {"schema": "orbitrax-charges-1", "version": __version__, "title": title,
            "status": error.status, "errors": [error.typed], "charges": None}


def _summary(entry: Any, with_atoms: bool) -> str:
    """A line for a person, and the charges unless a file has them."""
    from orbitrax.atomic_charges.mol2 import atom_names
    from orbitrax.atomic_charges.writers import printed
    from orbitrax.molecules.elements import formula_of

    symbols = [atom.GetSymbol() for atom in entry.mol.GetAtoms()]
    shapes = f", mean of {entry.conformers} conformers" if entry.conformers > 1 else ""
    lines = [f"{entry.title}: {formula_of(symbols)}, {len(symbols)} atoms, formal charge "
             f"{entry.formal_charge}, {entry.model}{shapes}, {entry.energies} energies, heat of "
             f"formation {entry.heat_of_formation:.3f} kcal/mol"]
    if with_atoms:
        lines += ["", " atom  name     charge (e)"]
        lines += [f"{i:5d}  {name:<6}{text:>12}" for i, (name, text) in
                  enumerate(zip(atom_names(entry.mol), printed(entry)), 1)]
    return "\n".join(lines) + "\n"
