"""Molecules with bonds, from files and SMILES, by RDKit.

Protonation states and formal charges are taken as they stand. Files without bonds (xyz), or without
bond orders (pdb), get those that Open Babel sees in their geometry, where it is installed, if they
fit the total charge.
"""

from __future__ import annotations

import os
import sys
from typing import Callable, Iterator

from rdkit import Chem, RDLogger

from orbitrax.errors import MoleculeError, UsageError
from orbitrax.molecules.blocks import mol_of_block, mol_of_mol2
from orbitrax.molecules.perceive import with_bonds

FORMATS = ("sdf", "mol", "mol2", "smi", "pdb", "xyz")
_ENDINGS = {".sdf": "sdf", ".sd": "sdf", ".mol": "mol", ".mol2": "mol2", ".smi": "smi",
            ".smiles": "smi", ".ism": "smi", ".pdb": "pdb", ".ent": "pdb", ".xyz": "xyz"}


def from_smiles(text: str) -> Chem.Mol:
    """A molecule from SMILES with its hydrogens added and no geometry."""
    RDLogger.DisableLog("rdApp.*")
    mol = Chem.MolFromSmiles(text)
    if mol is None or mol.GetNumAtoms() == 0:
        raise MoleculeError(f"'{text}' is not a SMILES string")
    return Chem.AddHs(mol)


def read_molecules(source: str, format: str | None = None,
                   charge: int = 0) -> Iterator[tuple[str, Chem.Mol]]:
    """Titles and molecules of a file, or of standard input where source is "-". charge: of the
    whole, where the format does not tell (pdb, xyz). Raises MoleculeError for the first that
    cannot be read."""
    for title, entry in read_entries(source, format, charge):
        if isinstance(entry, MoleculeError):
            raise entry
        yield title, entry


def read_entries(source: str, format: str | None = None,
                 charge: int = 0) -> Iterator[tuple[str, Chem.Mol | MoleculeError]]:
    """As `read_molecules`, but with the error in the place of a molecule that cannot be read, so
    that the others of the file follow."""
    RDLogger.DisableLog("rdApp.*")
    kind = format or _ENDINGS.get(os.path.splitext(source)[1].lower())
    if kind is None:
        raise MoleculeError(f"{source}: its format is not known; name it with --format, one of "
                            + ", ".join(FORMATS))
    if kind not in FORMATS:
        raise UsageError(f"there is no format '{kind}' with bonds; there are {', '.join(FORMATS)}")
    name = "standard input" if source == "-" else source
    text = _text(source, name)
    found = False
    for title, mol in _READERS[kind](text, name, charge):
        found = True
        yield title, mol
    if not found:
        raise MoleculeError(f"{name} has no molecule")


def _text(source: str, name: str) -> str:
    try:
        if source == "-":
            return sys.stdin.read()
        with open(source, encoding="utf-8", errors="replace") as file:
            return file.read()
    except OSError as error:
        raise MoleculeError(f"{name}: cannot be read: {error.strerror}") from None


_Entry = tuple[str, "Chem.Mol | MoleculeError"]


def _titled(mol: Chem.Mol | None, place: str) -> _Entry:
    """A molecule under its own title, or that of its place: its file, and its number there."""
    if mol is None:
        return place, MoleculeError(f"{place}: RDKit cannot read it as a molecule; are its bonds, "
                                    "charges and hydrogens right?")
    title = mol.GetProp("_Name").strip() if mol.HasProp("_Name") else ""
    return title or place, mol


def _records(records: list[str], name: str,
             read: Callable[[str, str, bool], Chem.Mol | None]) -> Iterator[_Entry]:
    for number, record in enumerate(records, 1):
        place = f"{name}, molecule {number}" if len(records) > 1 else name
        try:
            mol = read(record, place, True)
        except MoleculeError as error:
            yield place, error
        else:
            yield _titled(mol, place)


def _sdf(text: str, name: str, charge: int) -> Iterator[_Entry]:
    records = [part for part in text.split("$$$$\n") if part.strip()]
    return _records(records, name, mol_of_block)


def _mol2(text: str, name: str, charge: int) -> Iterator[_Entry]:
    head = "@<TRIPOS>MOLECULE"
    return _records([head + part for part in text.split(head)[1:]], name, mol_of_mol2)


def _smiles(text: str, name: str, charge: int) -> Iterator[_Entry]:
    for number, line in enumerate(text.splitlines(), 1):
        words = line.split(None, 1)
        if not words or words[0].startswith("#"):
            continue
        mol = Chem.MolFromSmiles(words[0])
        title = words[1].strip() if len(words) > 1 else words[0]
        if mol is None:
            yield title, MoleculeError(f"{name}, line {number}: '{words[0]}' is not a SMILES "
                                       "string")
        else:
            yield title, Chem.AddHs(mol)


def _pdb(text: str, name: str, charge: int) -> Iterator[_Entry]:
    mol = Chem.MolFromPDBBlock(text, removeHs=False, sanitize=False)
    yield _titled(with_bonds(mol, name, charge), name)


def _xyz(text: str, name: str, charge: int) -> Iterator[_Entry]:
    mol = Chem.MolFromXYZBlock(text)
    yield _titled(with_bonds(mol, name, charge), name)


_READERS = {"sdf": _sdf, "mol": _sdf, "mol2": _mol2, "smi": _smiles, "pdb": _pdb, "xyz": _xyz}
