"""Charges as a mol2 file, with SYBYL's atom types, as force-field builders read it.

Six-rings are written as aromatic, all other bonds as single and double: what is aromatic beyond
these no two readers agree on. Formal charges are not written: readers find them from types and
bonds, and RDKit takes no file that has SYBYL's section for them.
"""

from __future__ import annotations

from typing import Callable

from rdkit import Chem

from orbitrax.atomic_charges.aromatic import find_aromaticity
from orbitrax.atomic_charges.assign import Charges

_SINGLE, _DOUBLE, _TRIPLE = Chem.BondType.SINGLE, Chem.BondType.DOUBLE, Chem.BondType.TRIPLE
_ORDERS = {_SINGLE: "1", _DOUBLE: "2", _TRIPLE: "3", Chem.BondType.AROMATIC: "ar"}


def mol2_text(found: Charges) -> str:
    """The molecule with its charges; atom names are the element and a running number."""
    mol = drawn(found.mol)
    names = atom_names(mol)
    places = mol.GetConformer().GetPositions()
    title = " ".join(found.title.split()) or "molecule"
    lines = ["@<TRIPOS>MOLECULE", title, f"{mol.GetNumAtoms():5d} {mol.GetNumBonds():5d} 1 0 0",
             "SMALL", "USER_CHARGES", "", "@<TRIPOS>ATOM"]
    for atom in mol.GetAtoms():
        i = atom.GetIdx()
        x, y, z = places[i]
        lines.append(f"{i + 1:7d} {names[i]:<5} {x:10.4f} {y:10.4f} {z:10.4f} {sybyl_type(atom):<6}"
                     f" 1 LIG {found.charges[i]:{found.digits + 6}.{found.digits}f}")
    lines.append("@<TRIPOS>BOND")
    for bond in mol.GetBonds():
        lines.append(f"{bond.GetIdx() + 1:6d} {bond.GetBeginAtomIdx() + 1:5d} "
                     f"{bond.GetEndAtomIdx() + 1:5d} {_bond_order(bond)}")
    lines += ["@<TRIPOS>SUBSTRUCTURE", "     1 LIG         1"]
    return "\n".join(lines) + "\n"


def drawn(mol: Chem.Mol) -> Chem.Mol:
    """A copy in which the six-rings that are aromatic for the corrections are flagged so, and
    nothing else is."""
    copy = Chem.RWMol(mol)
    Chem.Kekulize(copy, clearAromaticFlags=True)
    rings = [ring for ring in find_aromaticity(copy).rings if len(ring) == 6]
    for ring in rings:
        for i, j in zip(ring, ring[1:] + ring[:1]):
            bond = copy.GetBondBetweenAtoms(i, j)
            bond.SetBondType(Chem.BondType.AROMATIC)
            bond.SetIsAromatic(True)
            copy.GetAtomWithIdx(i).SetIsAromatic(True)
    return copy.GetMol()


def atom_names(mol: Chem.Mol) -> list[str]:
    """C1, C2, O1, ...: each name once."""
    counts: dict[str, int] = {}
    names = []
    for atom in mol.GetAtoms():
        symbol = atom.GetSymbol()
        counts[symbol] = counts.get(symbol, 0) + 1
        names.append(f"{symbol}{counts[symbol]}")
    return names


def sybyl_type(atom: Chem.Atom) -> str:
    """The type of an atom in a molecule with all hydrogens."""
    maker = _TYPES.get(atom.GetSymbol())
    return maker(atom) if maker else str(atom.GetSymbol())


def _bond_order(bond: Chem.Bond) -> str:
    ends = bond.GetBeginAtom(), bond.GetEndAtom()
    if {sybyl_type(atom) for atom in ends} in ({"N.am", "C.2"}, {"N.am"}):
        return "am"
    if {sybyl_type(atom) for atom in ends} == {"O.co2", "C.2"}:
        return "ar"
    return _ORDERS.get(bond.GetBondType(), "un")


def _carbon(atom: Chem.Atom) -> str:
    if atom.GetIsAromatic():
        return "C.ar"
    if _is_guanidinium(atom):
        return "C.cat"
    return "C." + {4: "3", 3: "2"}.get(atom.GetDegree(), "1")


def _is_guanidinium(atom: Chem.Atom) -> bool:
    near = atom.GetNeighbors()
    return (atom.GetDegree() == 3 and all(n.GetSymbol() == "N" for n in near)
            and any(n.GetFormalCharge() == 1 for n in near))


def _nitrogen(atom: Chem.Atom) -> str:
    if atom.GetIsAromatic():
        return "N.ar" if atom.GetDegree() == 2 or atom.GetFormalCharge() > 0 else "N.pl3"
    if atom.GetDegree() == 4:
        return "N.4"
    if atom.GetDegree() == 3:
        if _beside_carbonyl(atom):
            return "N.am"
        flat = atom.GetFormalCharge() == 1 or any(
            n.GetIsAromatic() or n.GetHybridization() == Chem.HybridizationType.SP2
            for n in atom.GetNeighbors())
        return "N.pl3" if flat else "N.3"
    orders = [bond.GetBondType() for bond in atom.GetBonds()]
    if _TRIPLE in orders or orders.count(_DOUBLE) == 2 or (
            len(orders) == 1 and atom.GetFormalCharge() == -1):
        return "N.1"
    if _DOUBLE in orders:
        return "N.2"
    return "N.am" if _beside_carbonyl(atom) else "N.3"


def _beside_carbonyl(atom: Chem.Atom) -> bool:
    return any(n.GetSymbol() == "C" and any(
        bond.GetBondType() == _DOUBLE and bond.GetOtherAtom(n).GetSymbol() in "OS"
        for bond in n.GetBonds()) for n in atom.GetNeighbors())


def _oxygen(atom: Chem.Atom) -> str:
    if atom.GetIsAromatic():
        return "O.2"
    if atom.GetDegree() == 1:
        centre = atom.GetNeighbors()[0]
        ends = [n for n in centre.GetNeighbors() if n.GetSymbol() == "O" and n.GetDegree() == 1]
        if centre.GetSymbol() == "C" and len(ends) > 1 and any(
                n.GetFormalCharge() == -1 for n in ends):
            return "O.co2"
        if atom.GetBonds()[0].GetBondType() == _DOUBLE:
            return "O.2"
    return "O.3"


def _sulfur(atom: Chem.Atom) -> str:
    oxides = sum(n.GetSymbol() == "O" and n.GetDegree() == 1 for n in atom.GetNeighbors())
    if atom.GetDegree() == 4 and oxides >= 2:
        return "S.O2"
    if atom.GetDegree() == 3 and oxides:
        return "S.O"
    return "S.2" if atom.GetIsAromatic() or atom.GetDegree() == 1 and (
        atom.GetBonds()[0].GetBondType() == _DOUBLE) else "S.3"


_TYPES: dict[str, Callable[[Chem.Atom], str]] = {
    "C": _carbon, "N": _nitrogen, "O": _oxygen, "S": _sulfur, "P": lambda atom: "P.3"}
