"""The kinds of bonds that the bond charge corrections tell apart, and the codes of their table."""

from __future__ import annotations

from rdkit import Chem

from orbitrax.atomic_charges.aromatic import Aromaticity

SINGLE, DOUBLE, TRIPLE, DATIVE, AROMATIC, DELOCALISED = 1, 2, 3, 6, 7, 9

WORDS = {SINGLE: "single", DOUBLE: "double", TRIPLE: "triple", DATIVE: "dative",
         AROMATIC: "aromatic", DELOCALISED: "delocalised"}

_ORDERS = {Chem.BondType.SINGLE: SINGLE, Chem.BondType.DOUBLE: DOUBLE,
           Chem.BondType.TRIPLE: TRIPLE}
_C, _N, _O, _P, _S = 6, 7, 8, 15, 16


def bond_code(bond: Chem.Bond, aromaticity: Aromaticity) -> int | None:
    """The code of a bond in a Kekule structure with all hydrogens; None for one of no kind that the
    corrections know. The table's aromatic single and double bonds are one here: it gives both
    the same corrections, and which is which is a matter of spelling."""
    ends = bond.GetBeginAtom(), bond.GetEndAtom()
    pair = tuple(sorted(atom.GetIdx() for atom in ends))
    if pair in aromaticity.bonds:
        return AROMATIC
    for centre, end in (ends, ends[::-1]):
        special = _to_an_end(centre, end)
        if special:
            return special
    return _ORDERS.get(bond.GetBondType())


def _to_an_end(centre: Chem.Atom, end: Chem.Atom) -> int | None:
    """DELOCALISED for the bond to a charged end, or to one that shares its charge with others;
    DATIVE for that of an oxide whose charge the centre balances; None for any other bond.

    An end is an O or S without further neighbours.
    """
    element = centre.GetAtomicNum()
    if end.GetAtomicNum() not in (_O, _S) or end.GetDegree() != 1:
        return None
    if element == _N:
        if end.GetAtomicNum() == _O and _count(_ends(centre), _O) >= 2:
            return DELOCALISED  # nitro
        return DATIVE if centre.GetFormalCharge() == 1 and end.GetFormalCharge() == -1 else None
    if element not in (_C, _P, _S):
        return None
    shares = any(other.GetFormalCharge() == -1 for other in _ends(centre))
    if not shares:
        return None
    if element == _P and end.GetAtomicNum() == _S and _count(_ends(centre), _O):
        return DOUBLE  # of O=P-S(-) and (-)O-P=S, two spellings, the second is meant
    return DELOCALISED


def _ends(centre: Chem.Atom) -> list[Chem.Atom]:
    return [n for n in centre.GetNeighbors()
            if n.GetAtomicNum() in (_O, _S) and n.GetDegree() == 1]


def _count(atoms: list[Chem.Atom], element: int) -> int:
    return sum(atom.GetAtomicNum() == element for atom in atoms)
