"""Bond charge corrections: the table, and what it says of a molecule.

The table is corrections.csv beside this file: a bond whose atoms have the codes i and j, and whose
own code is b, takes `value` from the second atom and gives it to the first, in e.
"""

from __future__ import annotations

import csv
import functools
import importlib.resources
from dataclasses import dataclass

import numpy as np
from rdkit import Chem

from orbitrax.atomic_charges import bond_types
from orbitrax.atomic_charges.aromatic import Aromaticity, find_aromaticity
from orbitrax.atomic_charges.atom_types import atom_code
from orbitrax.errors import InputError
from orbitrax.minimise.arrays import Array

_AROMATIC_DOUBLE = 8  # in the table a code of its own, with the values of the single one


class MissingCorrection(InputError):
    """A bond that the table has no correction for."""


@dataclass(frozen=True)
class BondCorrection:
    """A bond and its correction. atoms: indices from 0; codes: of the first atom, the bond, the
    second atom, None where there is none; value: e, what the first atom gains and the second
    loses, None where the table has nothing."""

    atoms: tuple[int, int]
    codes: tuple[int | None, int | None, int | None]
    value: float | None


@functools.lru_cache(maxsize=1)
def table() -> dict[tuple[int, int, int], float]:
    """The corrections, e, by codes (i, b, j); the aromatic double bond's stand under the code of
    the single one."""
    file = importlib.resources.files("orbitrax.atomic_charges").joinpath("corrections.csv")
    text = file.read_text(encoding="utf-8")
    found: dict[tuple[int, int, int], float] = {}
    for row in csv.DictReader(line for line in text.splitlines() if not line.startswith("#")):
        i, b, j = int(row["i"]), int(row["b"]), int(row["j"])
        b = bond_types.AROMATIC if b == _AROMATIC_DOUBLE else b
        found[i, b, j] = float(row["value"])
    return found


def correction(i: int | None, b: int | None, j: int | None) -> float | None:
    """What an atom of code i gains by a bond of code b to one of code j, e; None where the table
    does not tell. Between equal atoms nothing moves."""
    if i is None or b is None or j is None:
        return None
    if i == j:
        return 0.0
    rows = table()
    if (i, b, j) in rows:
        return rows[i, b, j]
    return -rows[j, b, i] if (j, b, i) in rows else None


def corrections_of(mol: Chem.Mol) -> list[BondCorrection]:
    """The correction of each bond of a molecule in a Kekule structure with all hydrogens."""
    aromaticity = find_aromaticity(mol)
    codes = [atom_code(atom, aromaticity) for atom in mol.GetAtoms()]
    return [_correction_of(bond, codes, aromaticity) for bond in mol.GetBonds()]


def _correction_of(bond: Chem.Bond, codes: list[int | None],
                   aromaticity: Aromaticity) -> BondCorrection:
    atoms = bond.GetBeginAtomIdx(), bond.GetEndAtomIdx()
    i, b, j = codes[atoms[0]], bond_types.bond_code(bond, aromaticity), codes[atoms[1]]
    return BondCorrection(atoms, (i, b, j), correction(i, b, j))


def add_up(found: list[BondCorrection], n_atoms: int) -> Array:
    """What the corrections of all bonds bring each atom, n, e; a missing one counts as nothing."""
    total = np.zeros(n_atoms)
    for entry in found:
        value = entry.value or 0.0
        total[entry.atoms[0]] += value
        total[entry.atoms[1]] -= value
    return total


def missing(found: list[BondCorrection], mol: Chem.Mol) -> list[str]:
    """A text for each bond without a correction, naming atoms and codes."""
    return [_describe(entry, mol) for entry in found if entry.value is None]


def _describe(entry: BondCorrection, mol: Chem.Mol) -> str:
    names = [f"{mol.GetAtomWithIdx(i).GetSymbol()}{i + 1}" for i in entry.atoms]
    i, b, j = ("??" if code is None else f"{code:02d}" for code in entry.codes)
    kind = bond_types.WORDS.get(entry.codes[1] or 0, "unknown")
    return f"the {kind} bond {names[0]}-{names[1]} ({i} {b} {j})"
