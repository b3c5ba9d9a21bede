"""The command `convert`: a structure in another format."""

from __future__ import annotations

import os
import sys
from typing import Any

from orbitrax.errors import MoleculeError, OrbitraxError, UsageError
from orbitrax.files import check_apart
from orbitrax.molecules.reading import (check_place_of, from_smiles, is_smiles,
                                        read_molecule)
from orbitrax.molecules.writing import WRITERS, check_name, what_is_lost, write_molecule

DESCRIPTION = "Writes a structure in another format, with its charge and multiplicity."
EXAMPLES = ("orbitrax convert ligand.sdf ligand.xyz", "orbitrax convert CCO ethanol.mol",
            "orbitrax convert job.gjf - --to mop -m pm3")


def add_arguments(parser: Any) -> None:
    """Declares the options."""
    parser.add_argument("source", metavar="FROM", help="a molecule file, SMILES, or -")
    parser.add_argument("target", metavar="TO", nargs="?",
                        help="the file to write, by the ending of its name: xyz, mol, sdf, gjf, "
                        "mop, inp, cjson, json or what ASE writes; or -")
    parser.add_argument("-o", "--output", metavar="FILE", help="the same as TO")
    parser.add_argument("--format", metavar="NAME", help="format of what is read")
    parser.add_argument("--to", metavar="NAME", default="xyz", help="format for - (default xyz)")
    parser.add_argument("--add-hydrogens", action="store_true",
                        help="add missing hydrogens, and build a geometry for a flat drawing")
    parser.add_argument("-c", "--charge", type=int, metavar="N", help="total charge")
    parser.add_argument("-s", "--multiplicity", type=int, metavar="N", help="spin multiplicity")
    parser.add_argument("-m", "--method", metavar="METHOD", default="am1",
                        help="method that an input of another program names (default am1)")


def run(arguments: Any, terminal: Any) -> int:
    """Converts; returns the exit status."""
    try:
        target = _target(arguments)
        molecule = _read(arguments)
        told = {name: getattr(arguments, name) for name in ("charge", "multiplicity")
                if getattr(arguments, name) is not None}
        molecule = molecule.replace(**told)
        for text in molecule.remarks:
            terminal.warning(text)
        if target == "-":
            writer = WRITERS.get("." + arguments.to.lower())
            if writer is None:
                raise UsageError(f"--to {arguments.to}: choose from "
                                 + ", ".join(sorted(name[1:] for name in WRITERS)))
            sys.stdout.write(writer(molecule, {"method": arguments.method}))
        else:
            check_name(target)
            if not os.path.exists(arguments.source):  # NAME@0 is one of several
                check_apart([target], [arguments.source])
            check_place_of(target, arguments.source, arguments.format)
            write_molecule(target, molecule, {"method": arguments.method})
            lost = what_is_lost(target, molecule)
            if lost is not None:
                terminal.warning(lost)
    except OrbitraxError as error:
        terminal.error(error.typed)
        return error.exit_status
    return 0


def _target(arguments: Any) -> str:
    given = [name for name in (arguments.target, arguments.output) if name is not None]
    if len(given) != 1:
        raise UsageError("one file to write is needed: orbitrax convert FROM TO, or -o FILE"
                         if not given else f"there are two files to write, {given[0]} and -o "
                         f"{given[1]}; give one")
    return str(given[0])


def _read(arguments: Any) -> Any:
    try:
        return read_molecule(arguments.source, arguments.format,
                             complete=arguments.add_hydrogens)
    except MoleculeError as error:
        if "there is no such file" not in str(error) or not is_smiles(arguments.source):
            raise
        return from_smiles(arguments.source)
