"""The command `cite`: what to cite for a method and for the parameters of the elements used."""

from __future__ import annotations

from typing import Any

from orbitrax.errors import UsageError
from orbitrax.methods import find_method
from orbitrax.molecules.elements import NUMBERS
from orbitrax.molecules.reading import as_molecule
from orbitrax.tables.sources import bibtex, sources_of

DESCRIPTION = "What to cite for a method and its parameters, as BibTeX."
EXAMPLES = ("orbitrax cite -m am1 examples/caffeine.xyz", "orbitrax cite -m pm3 C H Br > pm3.bib")


def add_arguments(parser: Any) -> None:
    """Declares the options."""
    parser.add_argument("what", nargs="*", metavar="MOLECULE",
                        help="a molecule file or SMILES, or symbols of elements")
    parser.add_argument("-m", "--method", required=True, metavar="METHOD", help="the method")
    parser.add_argument("--tables", metavar="FOLDER", help="folder of the parameter tables")


def run(arguments: Any, terminal: Any) -> int:
    """Prints the entries; returns the exit status."""
    try:
        method = find_method(arguments.method)
        symbols: list[str] = []
        for word in arguments.what:
            symbols += [word] if word in NUMBERS else as_molecule(word).symbols
    except UsageError as error:
        terminal.error(error.typed)
        return error.exit_status
    for text, elements in sources_of(method, symbols, arguments.tables).items():
        note = f"{method.title} parameters of {', '.join(elements)}" if elements else method.title
        print(bibtex(text, note) + "\n")
    return 0
