"""Whether any shape of a molecule has the charges that it is said to have.

All torsions of a geometry are held, round rings and about flat nitrogens too, while lengths and
angles relax, and its bonds are turned one after the other, in steps, to where the charges come
nearest. Two or three angles that bring a dozen charges together say that these belong to such a
shape: types and corrections are the same in all of them.
"""

from __future__ import annotations

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
_ROUNDS = 2
_STIFFNESS = 50  # kcal/mol per square radian
_LIMITS = Limits(rms_gradient=0.02, max_gradient=0.1, energy=2e-5, steps=200)


def nearest_shape(reference: Reference, enough: float) -> tuple[float, str]:
    """The least root mean square deviation that turned bonds lead to, e, and which bonds were
    turned to which angles, in words; ends where it is `enough`."""
    with Backend() as backend:
        shape = _Shape(reference, backend)
        best = shape.deviation(reference.mol)
        work, turned = Chem.Mol(reference.mol), {}
        for _ in range(_ROUNDS):
            before = best
            for chain in _turnable(reference.mol):
                if best <= enough:
                    break
                best, angle = _best_turn(shape, work, chain, best)
                if angle is not None:
                    rdMolTransforms.SetDihedralDeg(work.GetConformer(), *chain, angle)
                    turned[chain] = angle
            if best == before or best <= enough:
                break
    return best, ", ".join(_words(reference.mol, *entry) for entry in turned.items())


def deviation_in_shape(reference: Reference) -> float:
    """Root mean square deviation, e, with all torsions of the reference's geometry held."""
    with Backend() as backend:
        return _Shape(reference, backend).deviation(reference.mol)


def _best_turn(shape: _Shape, mol: Chem.Mol, chain: tuple[int, ...], best: float
               ) -> tuple[float, float | None]:
    """The least deviation with one bond turned, and its torsion, degrees; None where none of the
    others is better than what there is."""
    here, found = rdMolTransforms.GetDihedralDeg(mol.GetConformer(), *chain), None
    for turn in range(_STEP, 360, _STEP):
        other = Chem.Mol(mol)
        rdMolTransforms.SetDihedralDeg(other.GetConformer(), *chain, here + turn)
        value = shape.deviation(other)
        if value < best - 1e-5:
            best, found = value, here + turn
    return best, found


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


def _words(mol: Chem.Mol, chain: tuple[int, ...], angle: float) -> str:
    names = "-".join(f"{mol.GetAtomWithIdx(i).GetSymbol()}{i + 1}" for i in chain)
    return f"{names} {(angle + 180) % 360 - 180:.0f}"
