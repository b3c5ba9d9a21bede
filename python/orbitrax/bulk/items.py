"""One molecule of a list, as plain values that travel to whoever computes it."""

from __future__ import annotations

from collections.abc import Callable, Mapping
from typing import Any, NamedTuple

from orbitrax.errors import MoleculeError
from orbitrax.molecules.molecule import Molecule


class Item(NamedTuple):
    """One molecule of a list.

    number: its place in the list, from 1. id: its name, alone of its kind in the list. kind: how
    `given` tells of it: "smiles", a text; "molecule", a Molecule; "path", a file that only ASE
    reads; "wrong", the reason why there is none; else the name of a format, of which it is the
    text. where: its place, for messages. charge, multiplicity: None where the list does not tell.
    settings: those of its own, by name. key: hash of all that its result depends on.
    """

    number: int
    id: str
    kind: str
    given: Any
    where: str
    charge: int | None = None
    multiplicity: int | None = None
    settings: Mapping[str, Any] | None = None
    key: bytes = b""

    def molecule(self, complete: bool = False) -> Molecule:
        """Reads it. complete: adds missing hydrogens. Raises MoleculeError."""
        found = _READERS.get(self.kind, _from_text)(self, complete)
        if self.charge is not None or self.multiplicity is not None:
            found = found.replace(
                charge=found.charge if self.charge is None else self.charge,
                multiplicity=self.multiplicity or found.multiplicity)
        return found

    def prepare(self) -> None:
        """Loads what reading it takes, which is nothing that counts as its own time."""
        if self.kind == "smiles":
            from contextlib import suppress

            from orbitrax.molecules.by_rdkit import chem

            with suppress(MoleculeError, ImportError):
                chem()
                __import__("rdkit.Chem.AllChem")

    def told(self) -> dict[str, Any]:
        """What a record says of where the molecule came from."""
        about: dict[str, Any] = {"number": self.number, "from": self.where, "kind": self.kind}
        if self.kind == "smiles":
            import rdkit

            from orbitrax.molecules.by_rdkit import SEED

            about.update(smiles=self.given, conformer=f"RDKit {rdkit.__version__}", seed=SEED)
        return about


def _wrong(item: Item, complete: bool) -> Molecule:
    raise MoleculeError(f"{item.where}: {item.given}")


def _from_smiles(item: Item, complete: bool) -> Molecule:
    from orbitrax.molecules.reading import from_smiles

    try:
        return from_smiles(item.given)
    except MoleculeError as error:
        raise MoleculeError(f"{item.where}: {error.typed}") from None


def _from_path(item: Item, complete: bool) -> Molecule:
    from orbitrax.molecules.reading import read_molecule

    return read_molecule(item.given, complete=complete)


def _from_text(item: Item, complete: bool) -> Molecule:
    from orbitrax.molecules.reading import format_of

    one = format_of(item.kind, "")
    found = None if one is None else one.read(item.given, item.where, None, complete)
    if found is None:
        raise MoleculeError(f"{item.where}: there is no molecule in it")
    return found


_READERS: dict[str, Callable[[Item, bool], Molecule]] = {
    "wrong": _wrong, "smiles": _from_smiles, "path": _from_path,
    "molecule": lambda item, complete: item.given}  # type: ignore[no-any-return]
