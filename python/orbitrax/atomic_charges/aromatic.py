"""Aromatic rings of the kind that the bond charge corrections were fitted with.

A six-ring is aromatic if a Kekule structure of the molecule gives it three double bonds of its own;
a seven-ring, if it is a cation with three; a five-ring, if it has two double bonds and an atom with
a lone pair, which is in no aromatic six- or seven-ring and has a neighbour in the ring that is in
none. Rings whose double bonds point out of them (uracil, quinones, the six-ring of caffeine) are
not aromatic, though many programs call them so.

A. Jakalian, D. B. Jack, C. I. Bayly, J. Comput. Chem. 23, 1623 (2002).
"""

from __future__ import annotations

from dataclasses import dataclass
from typing import Iterator

from rdkit import Chem

_PATIENCE = 20000  # steps of one search for another Kekule structure


@dataclass(frozen=True)
class Aromaticity:
    """The aromatic rings of a molecule: tuples of atom indices from 0, in ring order."""

    rings: tuple[tuple[int, ...], ...]

    @property
    def atoms(self) -> frozenset[int]:
        """All atoms of aromatic rings."""
        return frozenset(atom for ring in self.rings for atom in ring)

    @property
    def bonds(self) -> frozenset[tuple[int, int]]:
        """All bonds of aromatic rings, the lower atom first."""
        return frozenset((min(pair), max(pair)) for ring in self.rings for pair in _edges(ring))

    def in_five_ring(self, atom: int) -> bool:
        """Whether the atom is in an aromatic ring of five."""
        return any(len(ring) == 5 and atom in ring for ring in self.rings)


def find_aromaticity(mol: Chem.Mol) -> Aromaticity:
    """The aromatic rings of a molecule with its Kekule bonds (no bond of it flagged aromatic) and
    all its hydrogens."""
    partners = _double_bonds(mol)
    system = _PiSystem(mol, partners)
    rings = [tuple(ring) for ring in mol.GetRingInfo().AtomRings()]
    six = [ring for ring in rings if len(ring) == 6 and system.can_pair(ring)]
    seven = [ring for ring in rings if len(ring) == 7 and _is_tropylium(mol, ring, system)]
    larger = {atom for ring in six + seven for atom in ring}
    five = [ring for ring in rings if len(ring) == 5
            and _is_five_ring(mol, ring, system, larger)]
    return Aromaticity(tuple(six + seven + five))


def _edges(ring: tuple[int, ...]) -> Iterator[tuple[int, int]]:
    return zip(ring, ring[1:] + ring[:1])


def _double_bonds(mol: Chem.Mol) -> dict[int, int]:
    """For each atom of the kind that can stand in an aromatic ring, and with one double bond, to
    another such atom: that atom."""
    partners: dict[int, int] = {}
    for bond in mol.GetBonds():
        if bond.GetBondType() != Chem.BondType.DOUBLE:
            continue
        ends = bond.GetBeginAtom(), bond.GetEndAtom()
        if all(_may_double(atom) for atom in ends):
            i, j = (atom.GetIdx() for atom in ends)
            partners[i], partners[j] = j, i
    return partners


def _may_double(atom: Chem.Atom) -> bool:
    """Carbon with three neighbours, nitrogen and phosphorus with two, or three and a charge,
    oxygen and sulfur with two and a charge; each with one double bond and no triple one."""
    kind = (atom.GetAtomicNum(), atom.GetDegree(), atom.GetFormalCharge())
    doubles = [bond for bond in atom.GetBonds() if bond.GetBondType() != Chem.BondType.SINGLE]
    return len(doubles) == 1 and (
        kind in {(7, 2, 0), (15, 2, 0), (7, 3, 1), (15, 3, 1), (8, 2, 1), (16, 2, 1)}
        or kind[:2] == (6, 3))


def _has_lone_pair(atom: Chem.Atom) -> bool:
    """An atom that gives two electrons to a five-ring: without double bond, and with a lone
    pair."""
    if any(bond.GetBondType() != Chem.BondType.SINGLE for bond in atom.GetBonds()):
        return False
    kind = (atom.GetAtomicNum(), atom.GetDegree(), atom.GetFormalCharge())
    return kind in {(6, 3, -1), (7, 2, -1), (15, 2, -1), (8, 2, 0), (16, 2, 0), (7, 3, 0),
                    (15, 3, 0)}


def _is_tropylium(mol: Chem.Mol, ring: tuple[int, ...], system: _PiSystem) -> bool:
    """Six atoms with double bonds among themselves and a carbon cation."""
    for place, index in enumerate(ring):
        atom = mol.GetAtomWithIdx(index)
        if (atom.GetAtomicNum(), atom.GetFormalCharge()) == (6, 1) and index not in system.partners:
            return system.can_pair(ring[place + 1:] + ring[:place])
    return False


def _is_five_ring(mol: Chem.Mol, ring: tuple[int, ...], system: _PiSystem,
                  larger: set[int]) -> bool:
    for place, index in enumerate(ring):
        if _has_lone_pair(mol.GetAtomWithIdx(index)):
            others = ring[place + 1:] + ring[:place]
            free = index not in larger and not {others[0], others[-1]} <= larger
            return free and system.can_pair(others)
    return False


class _PiSystem:
    """The atoms with double bonds, and the Kekule structures that they allow."""

    def __init__(self, mol: Chem.Mol, partners: dict[int, int]):
        """partners: of each atom the one that its double bond goes to."""
        self.partners = partners
        self._neighbours = {index: [n.GetIdx() for n in mol.GetAtomWithIdx(index).GetNeighbors()
                                    if n.GetIdx() in partners] for index in partners}

    def can_pair(self, chain: tuple[int, ...]) -> bool:
        """Whether a Kekule structure has all double bonds of these atoms among themselves. They
        are bonded one to the next, and of even number, so they can pair; the question is whether
        the others, too, find partners."""
        if not all(index in self.partners for index in chain):
            return False
        inside = set(chain)
        pairs = {i: j for i, j in self.partners.items() if i not in inside and j not in inside}
        lonely = [j for i, j in self.partners.items() if i in inside and j not in inside]
        for atom in lonely:
            if atom not in pairs and not self._pair(atom, pairs, inside):
                return False
        return True

    def _pair(self, atom: int, pairs: dict[int, int], inside: set[int]) -> bool:
        """Finds a partner for an atom by shifting double bonds along a path from it to another
        one that has none; changes `pairs` if there is such a path."""
        path = [atom]
        seen = inside | {atom}
        tries = [iter(self._neighbours[atom])]
        for _ in range(_PATIENCE):
            if not tries:
                return False
            near = next(tries[-1], None)
            if near is None:
                tries.pop()
                dropped = path[-2:] if len(path) > 1 else path[-1:]
                del path[-2:]
                seen -= set(dropped)
                continue
            if near in seen:
                continue
            if near not in pairs:
                _shift(path + [near], pairs)
                return True
            beyond = pairs[near]
            if beyond not in seen:
                path += [near, beyond]
                seen |= {near, beyond}
                tries.append(iter(self._neighbours[beyond]))
        return False


def _shift(path: list[int], pairs: dict[int, int]) -> None:
    """Pairs the atoms of a path two by two."""
    for i, j in zip(path[::2], path[1::2]):
        pairs[i], pairs[j] = j, i
