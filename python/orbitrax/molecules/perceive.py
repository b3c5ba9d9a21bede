"""Bonds that a geometry shows, by Open Babel, as a molecule of RDKit."""

from __future__ import annotations

from rdkit import Chem

from orbitrax.errors import MoleculeError


def with_bonds(mol: Chem.Mol | None, name: str, charge: int, radical: bool = False) -> Chem.Mol:
    """A copy of a molecule without bonds or bond orders, with those that its geometry shows. An
    atom with a bond more or less than is usual is charged; the charges must add up. Where they do
    not, atoms without bonds are taken for their usual ions. radical: a molecule with unpaired
    electrons, whose atoms may also have bonds less than usual without a charge."""
    if mol is None or mol.GetNumAtoms() == 0:
        raise MoleculeError(f"{name} has no atoms that RDKit can read")
    found = Chem.RWMol()
    for atom in mol.GetAtoms():
        bare = Chem.Atom(atom.GetAtomicNum())
        bare.SetNoImplicit(True)
        found.AddAtom(bare)
    for i, j, order in _perceived(mol, name):
        found.AddBond(i, j, _ORDERS[order])
    by_bonds = [_CHARGED.get((atom.GetAtomicNum(), _bonds(atom)), 0) for atom in found.GetAtoms()]
    with_ions = [_IONS.get(atom.GetAtomicNum(), 0) if _bonds(atom) == 0 else own
                 for atom, own in zip(found.GetAtoms(), by_bonds)]
    tries = [by_bonds, with_ions, *([[0] * len(by_bonds)] if radical else [])]
    charges = next((each for each in tries if sum(each) == charge), by_bonds)
    for atom, own in zip(found.GetAtoms(), charges):
        atom.SetFormalCharge(own)
    whole = found.GetMol()
    whole.AddConformer(Chem.Conformer(mol.GetConformer()))
    sum_found = Chem.GetFormalCharge(whole)
    try:
        Chem.SanitizeMol(whole)
    except ValueError as error:
        raise MoleculeError(f"{name}: its geometry shows no sensible bonds ({error}); give a file "
                            "with bonds (sdf, mol2)") from None
    if sum_found != charge:
        raise MoleculeError(f"{name}: the bonds that its geometry shows make a charge of "
                            f"{sum_found}, not {charge}; give the right one with --charge, or a "
                            "file with bonds (sdf, mol2)")
    return whole


def _bonds(atom: Chem.Atom) -> int:
    total: float = sum(bond.GetBondTypeAsDouble() for bond in atom.GetBonds())
    return round(total)


def _perceived(mol: Chem.Mol, name: str) -> list[tuple[int, int, int]]:
    """Bonds and their orders by Open Babel: atom indices from 0, and 1, 2 or 3."""
    try:
        from openbabel import openbabel
    except ImportError:
        raise MoleculeError(f"{name} tells no bonds, and Open Babel, which would find them, is not "
                            "installed (on Debian: apt-get install python3-openbabel); give a file "
                            "with bonds (sdf, mol2)") from None
    seen = openbabel.OBMol()
    seen.BeginModify()
    for number, place in zip((atom.GetAtomicNum() for atom in mol.GetAtoms()),
                             mol.GetConformer().GetPositions().tolist()):
        atom = seen.NewAtom()
        atom.SetAtomicNum(number)
        atom.SetVector(*place)
    seen.EndModify()
    seen.ConnectTheDots()
    seen.PerceiveBondOrders()
    return [(bond.GetBeginAtomIdx() - 1, bond.GetEndAtomIdx() - 1, bond.GetBondOrder())
            for bond in openbabel.OBMolBondIter(seen)]


_ORDERS = {1: Chem.BondType.SINGLE, 2: Chem.BondType.DOUBLE, 3: Chem.BondType.TRIPLE}
# Formal charge by element and number of bonds.
_CHARGED = {(7, 4): 1, (7, 2): -1, (8, 1): -1, (8, 3): 1, (16, 1): -1, (16, 3): 1, (15, 4): 1,
            (5, 4): -1}
# And of atoms without any.
_IONS = {3: 1, 9: -1, 11: 1, 12: 2, 17: -1, 19: 1, 20: 2, 30: 2, 35: -1, 37: 1, 53: -1, 55: 1}
