"""One resonance structure for all the ways in which a molecule may be drawn.

Types and corrections read formal charges and double bonds, so that an amidinium ion, a pyridone or
a sulfoxide must look the same however it was spelled. Of the structures that differ by charges that
move along conjugated bonds, the one with the fewest charges is taken; then the one with most
aromatic atoms; then negative charge rather on N than on O, on O than on S, on S than on C; then
the one that comes first by the ranks of its atoms.
"""

from __future__ import annotations

from typing import Any, Callable, Iterator

from rdkit import Chem

from orbitrax.atomic_charges.aromatic import find_aromaticity
from orbitrax.minimise.arrays import Array

_SINGLE, _DOUBLE, _TRIPLE = Chem.BondType.SINGLE, Chem.BondType.DOUBLE, Chem.BondType.TRIPLE
_C, _N, _O, _P, _S = 6, 7, 8, 15, 16
_LONGEST = 12  # atoms of a path along which charge moves
_MOST_MOVES = 50
_HOLDERS = {_N: 0, _O: 1, _S: 2, _C: 3}  # of negative charge, the best first


def settled(mol: Chem.Mol, classes: Array) -> Chem.Mol:
    """A copy of a molecule in a Kekule structure with all hydrogens, with its charges where they
    belong. classes: of each atom, as `equal_atoms` tells them."""
    form = Chem.RWMol(mol)
    _join_oxides(form)
    _straighten_azides(form)
    ranks = classes.tolist()
    score = _score(form, ranks)
    for _ in range(_MOST_MOVES):
        tried = [(_score(moved, ranks), moved) for moved in _moves(form, ranks)]
        best = min(tried, key=lambda pair: pair[0], default=None)
        if best is None or best[0] >= score:
            break
        score, form = best
    settled_mol = form.GetMol()
    Chem.FastFindRings(settled_mol)
    Chem.GetSymmSSSR(settled_mol)
    return settled_mol


# ---- groups that are drawn in two ways ----------------------------------------------------------


def _join_oxides(form: Chem.RWMol) -> None:
    """S(+)-O(-) and the like become S=O."""
    for bond in form.GetBonds():
        if bond.GetBondType() != _SINGLE:
            continue
        for centre, end in ((bond.GetBeginAtom(), bond.GetEndAtom()),
                            (bond.GetEndAtom(), bond.GetBeginAtom())):
            if (centre.GetAtomicNum() in (_P, _S) and centre.GetFormalCharge() > 0
                    and end.GetAtomicNum() in (_O, _S) and end.GetFormalCharge() == -1
                    and end.GetDegree() == 1):
                bond.SetBondType(_DOUBLE)
                centre.SetFormalCharge(centre.GetFormalCharge() - 1)
                end.SetFormalCharge(0)
                break


def _straighten_azides(form: Chem.RWMol) -> None:
    """X(-)-N(+)#N becomes X=N(+)=N(-): azides and diazo compounds."""
    for bond in form.GetBonds():
        ends = bond.GetBeginAtom(), bond.GetEndAtom()
        if bond.GetBondType() != _TRIPLE or {atom.GetAtomicNum() for atom in ends} != {_N}:
            continue
        for middle, last in (ends, ends[::-1]):
            others = [b for b in middle.GetBonds() if b.GetIdx() != bond.GetIdx()]
            if middle.GetFormalCharge() != 1 or last.GetDegree() != 1 or len(others) != 1:
                continue
            first = others[0].GetOtherAtom(middle)
            if first.GetFormalCharge() == -1 and others[0].GetBondType() == _SINGLE:
                others[0].SetBondType(_DOUBLE)
                bond.SetBondType(_DOUBLE)
                first.SetFormalCharge(0)
                last.SetFormalCharge(-1)
                break


# ---- charges that move --------------------------------------------------------------------------


def _score(form: Chem.RWMol, ranks: list[int]) -> tuple[Any, ...]:
    """What is best is least."""
    charged = [atom for atom in form.GetAtoms() if atom.GetFormalCharge()]
    if not charged:
        return ()
    Chem.GetSymmSSSR(form)
    aromatic = len(find_aromaticity(form).atoms)
    holders = sorted(_HOLDERS.get(atom.GetAtomicNum(), 4) for atom in charged
                     if atom.GetFormalCharge() < 0)
    return (len(charged), -aromatic, holders,
            sorted((ranks[atom.GetIdx()], atom.GetFormalCharge()) for atom in charged))


def _moves(form: Chem.RWMol, ranks: list[int]) -> Iterator[Chem.RWMol]:
    """The structures that one moved charge leads to."""
    for atom in form.GetAtoms():
        if _is_cation(atom):
            starts_double, ends = True, _takes_cation
        elif _is_anion(atom):
            starts_double, ends = False, _takes_anion
        else:
            continue
        for path in _paths(form, atom, starts_double, ends):
            last = form.GetAtomWithIdx(path[-1])
            if ranks[path[0]] == ranks[path[-1]] and not last.GetFormalCharge():
                continue
            yield _moved(form, path, starts_double)


def _is_cation(atom: Chem.Atom) -> bool:
    return (atom.GetAtomicNum() == _N and atom.GetDegree() == 3 and atom.GetFormalCharge() == 1
            and not any(n.GetFormalCharge() for n in atom.GetNeighbors()))


def _is_anion(atom: Chem.Atom) -> bool:
    return (atom.GetFormalCharge() == -1
            and (atom.GetAtomicNum(), atom.GetDegree()) in {(_C, 3), (_N, 2), (_O, 1), (_S, 1)}
            and all(bond.GetBondType() == _SINGLE for bond in atom.GetBonds()))


def _takes_cation(atom: Chem.Atom) -> bool:
    """A neutral amine, reached by a single bond."""
    return (atom.GetAtomicNum() == _N and atom.GetDegree() == 3 and atom.GetFormalCharge() == 0
            and all(bond.GetBondType() == _SINGLE for bond in atom.GetBonds()))


def _takes_anion(atom: Chem.Atom) -> bool:
    """What a double bond leads to and can do without: it becomes an anion, or a cation that becomes
    neutral."""
    kind = (atom.GetAtomicNum(), atom.GetDegree(), atom.GetFormalCharge())
    return kind in {(_C, 3, 0), (_N, 2, 0), (_O, 1, 0), (_S, 1, 0)} or _is_cation(atom)


def _passes(atom: Chem.Atom) -> bool:
    return ((atom.GetAtomicNum(), atom.GetDegree()) in {(_C, 3), (_N, 2)}
            and atom.GetFormalCharge() == 0)


def _paths(form: Chem.RWMol, start: Chem.Atom, starts_double: bool,
           ends: Callable[[Chem.Atom], bool]) -> Iterator[list[int]]:
    """Paths of alternating double and single bonds from a charge to where it may go. The first bond
    is of the kind told, the last of the other."""
    stack = [[start.GetIdx()]]
    while stack:
        path = stack.pop()
        last = form.GetAtomWithIdx(path[-1])
        double = starts_double == (len(path) % 2 == 1)
        for bond in last.GetBonds():
            if bond.GetBondType() != (_DOUBLE if double else _SINGLE):
                continue
            near = bond.GetOtherAtom(last)
            index = near.GetIdx()
            if index in path:
                continue
            if len(path) % 2 == 0 and ends(near):
                yield path + [index]
            if len(path) + 1 < _LONGEST and _passes(near):
                stack.append(path + [index])


def _moved(form: Chem.RWMol, path: list[int], was_double: bool) -> Chem.RWMol:
    """The structure with the bonds of a path exchanged and the charge at its other end."""
    moved = Chem.RWMol(form)
    for i, j in zip(path, path[1:]):
        moved.GetBondBetweenAtoms(i, j).SetBondType(_SINGLE if was_double else _DOUBLE)
        was_double = not was_double
    first, last = moved.GetAtomWithIdx(path[0]), moved.GetAtomWithIdx(path[-1])
    charge = first.GetFormalCharge()
    first.SetFormalCharge(0)
    last.SetFormalCharge(last.GetFormalCharge() + charge)
    return moved
