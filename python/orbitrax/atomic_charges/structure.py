"""What a molecule must be to have charges, and the form that its types are read from."""

from __future__ import annotations

from rdkit import Chem

from orbitrax.atomic_charges.equal_atoms import equal_atoms
from orbitrax.atomic_charges.resonance import settled
from orbitrax.errors import InputError, MoleculeError


def check_structure(mol: Chem.Mol, title: str) -> None:
    """Refuses what has no charges of this kind: no atoms, dummies, missing hydrogens, several
    molecules, unpaired electrons."""
    if mol.GetNumAtoms() == 0:
        raise MoleculeError(f"{title} has no atoms")
    for atom in mol.GetAtoms():
        name = f"{title}: atom {atom.GetIdx() + 1} ({atom.GetSymbol()})"
        if atom.GetAtomicNum() == 0:
            raise MoleculeError(f"{name} is no element")
        if atom.GetTotalNumHs(includeNeighbors=False):
            raise MoleculeError(f"{name} lacks hydrogens that its valence asks for; add them, "
                                "with coordinates, before charges are made")
        if atom.GetNumRadicalElectrons():
            raise InputError(f"{name} has unpaired electrons; these charges are made for closed "
                             "shells")
    parts = len(Chem.GetMolFrags(mol))
    if parts > 1:
        raise InputError(f"{title} holds {parts} molecules that are not bonded to each other; "
                         "give each apart (a salt without its counter ions)")


def kekule_form(mol: Chem.Mol) -> Chem.Mol:
    """A copy in the Kekule structure that types are read from, atoms in the same order."""
    form = Chem.Mol(mol)
    form.RemoveAllConformers()
    Chem.Kekulize(form, clearAromaticFlags=True)
    return settled(form, equal_atoms(form))
