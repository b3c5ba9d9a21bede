"""Charges from Python: `orbitrax.charges`."""

from __future__ import annotations

import os
from typing import Any, Iterable, Iterator

from rdkit import Chem

from orbitrax.atomic_charges.assign import Charges, assign
from orbitrax.atomic_charges.batch import Failure, assign_all
from orbitrax.atomic_charges.reading import from_smiles, read_molecules
from orbitrax.atomic_charges.settings import ChargeSettings
from orbitrax.backend import Backend
from orbitrax.errors import UsageError


def charges(molecules: Any, model: str = "am1bcc", *, workers: int | None = None,
            backend: Backend | None = None, **settings: Any) -> Charges | list[Charges | Failure]:
    """The charges of a molecule, or of many.

    molecules: an RDKit molecule with its hydrogens, the name of a file (sdf, mol, mol2, smi, pdb,
    xyz), a SMILES string, or an iterable of any of these. model: one of "am1bcc", "am1-mulliken",
    "mulliken", "am1bcc-elf10". workers: processes for many molecules, None for one a core. backend:
    the one to use for a single molecule, by default one that is started and ended. settings: as
    `atomic_charges.settings.ChargeSettings` takes them.

    Returns Charges for one molecule; for a file with several, or an iterable, a list in their
    order, with a Failure for each that has none. A single molecule that has none raises.
    """
    chosen = ChargeSettings(model=model, **settings)
    if not isinstance(molecules, (Chem.Mol, str, os.PathLike)):
        return list(assign_all(_named(molecules), chosen, workers))
    found = list(_named([molecules]))
    if len(found) > 1:
        return list(assign_all(found, chosen, workers))
    (title, mol), = found
    if backend is not None:
        return assign(mol, backend, chosen, title)
    with Backend() as own:
        return assign(mol, own, chosen, title)


def _named(molecules: Iterable[Any]) -> Iterator[tuple[str, Chem.Mol]]:
    for number, entry in enumerate(molecules, 1):
        if isinstance(entry, Chem.Mol):
            title = entry.GetProp("_Name") if entry.HasProp("_Name") else ""
            yield title or f"molecule {number}", entry
        elif isinstance(entry, (str, os.PathLike)):
            text = os.fspath(entry)
            if os.path.exists(text):
                yield from read_molecules(text)
            else:
                yield text, _from_text(text)
        else:
            raise UsageError(f"molecule {number} is a {type(entry).__name__}; RDKit molecules, "
                             "files and SMILES strings have charges")


def _from_text(text: str) -> Chem.Mol:
    if os.path.splitext(text)[1] or os.sep in text and "=" not in text and "(" not in text:
        raise UsageError(f"{text}: there is no such file, and it is no SMILES string")
    return from_smiles(text)
