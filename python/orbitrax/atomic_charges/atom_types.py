"""The kinds of atoms that the bond charge corrections tell apart, and the codes of their table.

A. Jakalian, B. L. Bush, D. B. Jack, C. I. Bayly, J. Comput. Chem. 21, 132 (2000); A. Jakalian,
D. B. Jack, C. I. Bayly, J. Comput. Chem. 23, 1623 (2002).
"""

from __future__ import annotations

from dataclasses import dataclass
from typing import Callable

from rdkit import Chem

from orbitrax.atomic_charges.aromatic import Aromaticity

_C, _N, _O, _P, _S = 6, 7, 8, 15, 16
_DOUBLE = Chem.BondType.DOUBLE


@dataclass(frozen=True)
class _Atom:
    """An atom among its neighbours, in a Kekule structure with all hydrogens."""

    atom: Chem.Atom
    aromaticity: Aromaticity

    @property
    def degree(self) -> int:
        return int(self.atom.GetDegree())

    @property
    def charge(self) -> int:
        return int(self.atom.GetFormalCharge())

    @property
    def aromatic(self) -> bool:
        return self.atom.GetIdx() in self.aromaticity.atoms

    def neighbours(self, elements: tuple[int, ...] = (), double: bool = False) -> list[_Atom]:
        """The neighbours, of these elements or all; double: behind a double bond only."""
        return [_Atom(bond.GetOtherAtom(self.atom), self.aromaticity)
                for bond in self.atom.GetBonds()
                if (not elements or bond.GetOtherAtom(self.atom).GetAtomicNum() in elements)
                and (not double or bond.GetBondType() == _DOUBLE)]

    def doubly(self, *elements: int) -> bool:
        return bool(self.neighbours(elements, double=True))


# ---- the rules ----------------------------------------------------------------------------------


def _beside_ring_lone_pair(a: _Atom) -> bool:
    """An aromatic carbon with an aromatic bond to an N or O that has two neighbours."""
    index = a.atom.GetIdx()
    return a.aromatic and any(
        b.degree == 2 and b.aromatic
        and tuple(sorted((index, b.atom.GetIdx()))) in a.aromaticity.bonds
        for b in a.neighbours((_N, _O)))


def _is_delocalised(a: _Atom) -> bool:
    """A nitrogen with three neighbours whose lone pair is strongly delocalised: in an aromatic
    five-ring, cationic (nitro among them), or beside a carbon with a double bond to such a
    cation."""
    if a.degree != 3:
        return False
    return (a.charge == 1 or a.aromaticity.in_five_ring(a.atom.GetIdx())
            or any(_is_amidinium_carbon(c) for c in a.neighbours((_C,))))


def _is_amidinium_carbon(c: _Atom) -> bool:
    """A carbon with three neighbours that shares a cation with nitrogen: by a double bond, or, in
    an aromatic ring, by either kind of bond."""
    cations = [n for n in c.neighbours((_N,)) if n.degree == 3 and n.charge == 1
               and not _is_nitro(n)]
    if c.aromatic and any(n.aromatic and _in_ring_with(c, n) for n in cations):
        return True
    return any(n.degree == 3 and n.charge == 1 for n in c.neighbours((_N,), double=True))


def _in_ring_with(a: _Atom, b: _Atom) -> bool:
    return tuple(sorted((a.atom.GetIdx(), b.atom.GetIdx()))) in a.aromaticity.bonds


def _is_nitro(a: _Atom) -> bool:
    return sum(o.degree == 1 for o in a.neighbours((_O,))) >= 2


def _is_amide(a: _Atom) -> bool:
    """A nitrogen with three neighbours, or an anion with two, beside C=O or C=S."""
    if not (a.degree == 3 or (a.degree == 2 and a.charge == -1)):
        return False
    return any(c.degree == 3 and c.doubly(_O, _S) for c in a.neighbours((_C,)))


def _is_amine(a: _Atom) -> bool:
    return a.degree in (3, 4) or (
        a.degree == 2 and a.charge == -1 and not _is_azole_anion(a))


def _is_azole_anion(a: _Atom) -> bool:
    return a.charge == -1 and a.aromaticity.in_five_ring(a.atom.GetIdx())


def _carbonyl_carbons(a: _Atom) -> list[_Atom]:
    """The carbon of C=O, unless its oxygen shares a charge with another atom."""
    return [c for c in a.neighbours((_C,), double=True) if a.degree == 1 and c.degree == 3
            and not any(o.charge == -1 for o in c.neighbours((_O, _S)))]


def _is_ring_carbonyl(a: _Atom) -> bool:
    """The oxygen of a lactone or lactam: its carbon and a nitrogen or oxygen beside that are in one
    ring."""
    return any(bond.IsInRing() and bond.GetOtherAtom(c.atom).GetAtomicNum() in (_N, _O)
               for c in _carbonyl_carbons(a) for bond in c.atom.GetBonds())


def _is_ester_carbonyl(a: _Atom) -> bool:
    """The doubly bonded oxygen of an ester or an acid."""
    return any(o.degree == 2 for c in _carbonyl_carbons(a) for o in c.neighbours((_O,)))


def _has_any_double(a: _Atom) -> bool:
    return bool(a.neighbours(double=True))


@dataclass(frozen=True)
class Rule:
    """One kind of atom: the code of the table, the element, words, and the test."""

    code: int
    element: int
    words: str
    holds: Callable[[_Atom], bool]


# The first that holds, among those of the element, is the atom's.
RULES = (
    Rule(17, _C, "aromatic, beside an aromatic N or O that has two neighbours",
         _beside_ring_lone_pair),
    Rule(16, _C, "other aromatic", lambda a: a.aromatic),
    Rule(12, _C, "three neighbours, double bond to C", lambda a: a.degree == 3 and a.doubly(_C)),
    Rule(13, _C, "three neighbours, double bond to N or P",
         lambda a: a.degree == 3 and a.doubly(_N, _P)),
    Rule(14, _C, "three neighbours, double bond to O or S",
         lambda a: a.degree == 3 and a.doubly(_O, _S)),
    Rule(15, _C, "one or two neighbours", lambda a: a.degree in (1, 2)),
    Rule(11, _C, "four neighbours", lambda a: a.degree == 4),
    Rule(23, _N, "three neighbours, lone pair strongly delocalised", _is_delocalised),
    Rule(22, _N, "beside C=O or C=S", _is_amide),
    Rule(21, _N, "other with three or four neighbours, or an anion with two", _is_amine),
    Rule(25, _N, "one neighbour, or a cation with two",
         lambda a: a.degree == 1 or (a.degree == 2 and a.charge == 1)),
    Rule(24, _N, "neutral with two neighbours, or an azole's anion", lambda a: a.degree == 2),
    Rule(33, _O, "double bond, lactone or lactam", _is_ring_carbonyl),
    Rule(32, _O, "double bond, ester or acid", _is_ester_carbonyl),
    Rule(31, _O, "other", lambda a: a.degree in (1, 2)),
    Rule(42, _P, "double bond and three or four neighbours",
         lambda a: a.degree in (3, 4) and _has_any_double(a)),
    Rule(41, _P, "other", lambda a: True),
    Rule(53, _S, "four neighbours", lambda a: a.degree == 4),
    Rule(52, _S, "three neighbours", lambda a: a.degree == 3),
    Rule(51, _S, "one or two neighbours", lambda a: a.degree in (1, 2)),
    Rule(61, 14, "silicon", lambda a: True),
    Rule(71, 9, "fluorine", lambda a: a.degree == 1),
    Rule(72, 17, "chlorine", lambda a: a.degree == 1),
    Rule(73, 35, "bromine", lambda a: a.degree == 1),
    Rule(74, 53, "iodine", lambda a: a.degree == 1),
    Rule(91, 1, "hydrogen", lambda a: a.degree == 1),
)


def atom_code(atom: Chem.Atom, aromaticity: Aromaticity) -> int | None:
    """The code of an atom in a Kekule structure with all hydrogens; None for one of no kind that
    the corrections know."""
    seen = _Atom(atom, aromaticity)
    return next((rule.code for rule in RULES
                 if rule.element == atom.GetAtomicNum() and rule.holds(seen)), None)
