"""Whether any shape of a molecule has the charges that it is said to have.

All torsions of a geometry are held, round rings and about flat nitrogens too, while lengths and
angles relax, and its bonds are turned one after the other, in steps, to where the charges come
nearest. Where that is not enough, the hydrogens of amino groups are leant out of the plane of their
nitrogen, too. Two or three angles that bring a dozen charges together say that these belong to such
a shape: types and corrections are the same in all of them.
"""

from __future__ import annotations

from typing import Callable, Iterator

import numpy as np
from freesolv import Reference
from rdkit import Chem
from rdkit.Chem import rdMolTransforms

from orbitrax import Backend
from orbitrax.atomic_charges.am1 import Am1
from orbitrax.atomic_charges.corrections import add_up, corrections_of
from orbitrax.atomic_charges.equal_atoms import average, equal_atoms
from orbitrax.atomic_charges.structure import kekule_form
from orbitrax.errors import OrbitraxError
from orbitrax.minimise import Limits, minimise

_STEP = 30  # degrees
_LEANS = (-60, -40, -20, 20, 40, 60)  # degrees
_ROUNDS = 2
_STIFFNESS = 50  # kcal/mol per square radian
_Moves = Callable[[Chem.Mol, "tuple[int, ...]"], "Iterator[tuple[float, Chem.Mol]]"]
_LIMITS = Limits(rms_gradient=0.02, max_gradient=0.1, energy=2e-5, steps=200)


def nearest_shape(reference: Reference, enough: float) -> tuple[float, str]:
    """The least root mean square deviation that turned bonds lead to, and leaning hydrogens where
    these do not do, e; and which bonds were turned to which angles and what leans how far, in
    words; ends where it is `enough`."""
    mol = reference.mol
    with Backend() as backend:
        search = _Search(_Shape(reference, backend), mol, enough)
        search.go(_turnable(mol), _turned)
        if search.best > enough:
            search.go(_leaning(mol), _leant)
            search.go(_turnable(mol), _turned)
    return search.best, ", ".join(_words(mol, *entry) for entry in search.done.items())


class _Search:
    """Changes one angle after the other to where the charges come nearest."""

    def __init__(self, shape: _Shape, mol: Chem.Mol, enough: float):
        self._shape, self._enough, self._mol = shape, enough, Chem.Mol(mol)
        self.best = shape.deviation(mol)
        self.done: dict[tuple[int, ...], float] = {}  # angles by their atoms

    def go(self, chains: list[tuple[int, ...]], moves: _Moves) -> None:
        """Rounds over all chains, until one changes nothing or the charges are near enough."""
        for _ in range(_ROUNDS):
            before = self.best
            for chain in chains:
                if self.best > self._enough:
                    self._change(chain, moves)
            if self.best == before:
                return

    def _change(self, chain: tuple[int, ...], moves: _Moves) -> None:
        nearest = self._mol
        for angle, other in moves(self._mol, chain):
            value = self._shape.deviation(other)
            if value < self.best - 1e-5:
                self.best, nearest, self.done[chain] = value, other, angle
        self._mol = nearest


def _turned(mol: Chem.Mol, chain: tuple[int, ...]) -> Iterator[tuple[float, Chem.Mol]]:
    """A molecule with one bond turned, in steps, and its torsion, degrees."""
    here = rdMolTransforms.GetDihedralDeg(mol.GetConformer(), *chain)
    for turn in range(_STEP, 360, _STEP):
        other = Chem.Mol(mol)
        rdMolTransforms.SetDihedralDeg(other.GetConformer(), *chain, here + turn)
        yield here + turn, other


def _leant(mol: Chem.Mol, chain: tuple[int, ...]) -> Iterator[tuple[float, Chem.Mol]]:
    """A molecule with a hydrogen that leans out of a plane, and how far, degrees."""
    for angle in _LEANS:
        yield angle, leaning(mol, chain, angle)


def leaning(mol: Chem.Mol, chain: tuple[int, ...], angle: float) -> Chem.Mol:
    """A molecule in which the bond of the first atom to the second stands so far out of the plane
    of the second with the other two, degrees."""
    mol = Chem.Mol(mol)
    top, centre, *others = (np.array(mol.GetConformer().GetAtomPosition(i)) for i in chain)
    normal = np.cross(others[0] - centre, others[1] - centre)
    normal /= np.linalg.norm(normal)
    arm = top - centre
    flat = arm - (arm @ normal) * normal
    turn = np.radians(angle)
    place = centre + np.linalg.norm(arm) * (
        np.cos(turn) * flat / np.linalg.norm(flat) + np.sin(turn) * normal)
    mol.GetConformer().SetAtomPosition(chain[0], place.tolist())
    return mol


def deviation_in_shape(reference: Reference) -> float:
    """Root mean square deviation, e, with all torsions of the reference's geometry held."""
    with Backend() as backend:
        return _Shape(reference, backend).deviation(reference.mol)


class _Shape:
    """The charges of a molecule with all its torsions held."""

    def __init__(self, reference: Reference, backend: Backend):
        self._reference, self._backend = reference, backend
        mol = reference.mol
        form = kekule_form(mol)
        self._classes = equal_atoms(form)
        self._corrections = add_up(corrections_of(form), mol.GetNumAtoms())
        self._numbers = np.array([atom.GetAtomicNum() for atom in mol.GetAtoms()])
        self._bonds = [(b.GetBeginAtomIdx(), b.GetEndAtomIdx()) for b in mol.GetBonds()]

    def deviation(self, mol: Chem.Mol) -> float:
        """Root mean square, e, in this shape; infinite where AM1 has no minimum there."""
        energy = Am1(self._backend, self._numbers, Chem.GetFormalCharge(mol), _all_torsions(mol))
        start = np.array(mol.GetConformer().GetPositions())
        try:
            found = minimise(energy, self._numbers, start, self._bonds, _LIMITS)
            populations = energy.point(found.positions).charges
        except OrbitraxError:
            return float("inf")
        values = average(average(populations, self._classes) + self._corrections, self._classes)
        return float(self._reference.deviation(values))


def _all_torsions(mol: Chem.Mol) -> tuple[str, ...]:
    """Restraints that hold every torsion of a geometry."""
    conformer, texts = mol.GetConformer(), []
    for bond in mol.GetBonds():
        j, k = bond.GetBeginAtom(), bond.GetEndAtom()
        for i, m in ((i.GetIdx(), m.GetIdx()) for i in j.GetNeighbors() for m in k.GetNeighbors()):
            if len({i, j.GetIdx(), k.GetIdx(), m}) == 4:
                chain = i, j.GetIdx(), k.GetIdx(), m
                angle = rdMolTransforms.GetDihedralDeg(conformer, *chain)
                texts.append("torsion " + " ".join(str(atom + 1) for atom in chain)
                             + f" {angle:.4f} k={_STIFFNESS}")
    return tuple(texts)


def _turnable(mol: Chem.Mol) -> list[tuple[int, ...]]:
    """A torsion for each single bond outside of rings that turns more than a methyl group."""
    found = []
    for bond in mol.GetBonds():
        ends = bond.GetBeginAtom(), bond.GetEndAtom()
        if bond.IsInRing() or bond.GetBondTypeAsDouble() > 1.0:
            continue
        outer = [[n for n in inner.GetNeighbors() if n.GetIdx() != other.GetIdx()]
                 for inner, other in (ends, ends[::-1])]
        if any(not near or sum(n.GetAtomicNum() == 1 for n in near) == 3 for near in outer):
            continue
        first, last = (min(near, key=lambda a: (-a.GetAtomicNum(), a.GetIdx())).GetIdx()
                       for near in outer)
        found.append((first, ends[0].GetIdx(), ends[1].GetIdx(), last))
    return found


def _leaning(mol: Chem.Mol) -> list[tuple[int, ...]]:
    """Hydrogen, nitrogen and its other two neighbours, of each nitrogen with three."""
    found = []
    for atom in mol.GetAtoms():
        near = sorted((n.GetAtomicNum(), n.GetIdx()) for n in atom.GetNeighbors())
        if atom.GetAtomicNum() == 7 and len(near) == 3 and near[0][0] == 1:
            found.append((near[0][1], atom.GetIdx(), near[1][1], near[2][1]))
    return found


def _words(mol: Chem.Mol, chain: tuple[int, ...], angle: float) -> str:
    names = [f"{mol.GetAtomWithIdx(i).GetSymbol()}{i + 1}" for i in chain]
    if mol.GetBondBetweenAtoms(chain[1], chain[3]):  # leaning
        return f"{names[0]} {angle:.0f} out of the plane of {' '.join(names[1:])}"
    return f"{'-'.join(names)} {round(angle + 180) % 360 - 180}"
