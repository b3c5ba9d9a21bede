"""RDKit's readers of mol, sdf and mol2 texts, kept from what they do not come back from, and from
atoms that stand for any of several elements."""

from __future__ import annotations

import re

from orbitrax.errors import MoleculeError
from orbitrax.molecules.comment import whole

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any

_CONTINUED = re.compile(r"-[ \t]*\nM  V30 ")
_LIST_V3000 = re.compile(r"^M  V30 +\S+ +['\"]?(?:NOT *)?\[.*$", re.M | re.I)
_LISTED = re.compile(r"!#|#\d+,")  # as SMARTS: not this element, or one of several


def mol_of_block(record: str, title: str, sanitize: bool) -> Any:
    """A molecule of RDKit from one record of a mol or sdf text, V2000 or V3000, with the hydrogens
    that it has; None where it is none. Raises MoleculeError for atoms of several elements."""
    from rdkit import Chem

    listed = _LIST_V3000.search(_CONTINUED.sub("", record))
    if listed is not None:  # of an empty one RDKit reads what is not there
        raise MoleculeError(f"{title}: '{listed.group()[7:60].strip()}' has a list of elements for "
                            "an atom; give it one")
    mol = Chem.MolFromMolBlock(record, sanitize=sanitize, removeHs=False, strictParsing=sanitize)
    for atom in mol.GetAtoms() if mol is not None else ():
        if atom.HasQuery() and _LISTED.search(atom.GetSmarts()):
            raise MoleculeError(f"{title}: its atom {atom.GetIdx() + 1} may be any of several "
                                "elements; give it one")
    return mol


def mol_of_mol2(record: str, title: str, sanitize: bool) -> Any:
    """A molecule of RDKit from one record of a mol2 text, with the hydrogens that it has; None
    where it is none. Raises MoleculeError for counts and bonds of what cannot be there."""
    from rdkit import Chem

    _check_mol2(record, title)
    return Chem.MolFromMol2Block(record, sanitize=sanitize, removeHs=False)


def _check_mol2(record: str, title: str) -> None:
    """Refuses what RDKit does not come back from: counts below zero, which are huge ones to it, and
    bonds to atoms below the first, which it looks up in front of its atoms."""
    for line in record.split("@<TRIPOS>", 2)[1].splitlines()[1:4]:
        counts = [whole(word) for word in line.split()]
        if None not in counts and any(count is not None and count < 0 for count in counts):
            raise MoleculeError(f"{title}: '{line.strip()[:40]}' counts less than nothing")
    for line in record.partition("@<TRIPOS>BOND")[2].partition("@<TRIPOS>")[0].splitlines():
        ends = [whole(word) for word in line.split()[1:3]]
        if any(end is not None and end < 1 for end in ends):
            raise MoleculeError(f"{title}: the bond '{line.strip()[:40]}' is one of an atom that "
                                "is not there; atoms are counted from 1")
