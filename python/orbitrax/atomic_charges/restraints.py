"""Restraints that keep a conformer, or a molecule, what it is while its bonds relax."""

from __future__ import annotations

import numpy as np
from rdkit import Chem
from rdkit.Chem import rdMolTransforms

from orbitrax.atomic_charges.connectivity import Change
from orbitrax.minimise.arrays import Array

_TORSION_STIFFNESS = 50.0  # kcal/mol per square radian
_STRETCH_STIFFNESS = 500.0  # kcal/mol per square Angstrom
_ALMOST_LINEAR = np.radians(165.0)


def held_torsions(mol: Chem.Mol, positions: Array) -> tuple[str, ...]:
    """A restraint for each bond that can turn: the torsion round it stays what it is in this
    geometry, n x 3 in Angstrom."""
    work = Chem.Mol(mol)
    work.RemoveAllConformers()
    conformer = Chem.Conformer(mol.GetNumAtoms())
    for index, place in enumerate(positions.tolist()):
        conformer.SetAtomPosition(index, place)
    texts = []
    for bond in mol.GetBonds():
        chain = _chain_round(bond)
        if chain is None or _is_straight(positions, chain):
            continue
        angle = rdMolTransforms.GetDihedralDeg(conformer, *chain)
        atoms = " ".join(str(index + 1) for index in chain)
        texts.append(f"torsion {atoms} {angle:.4f} k={_TORSION_STIFFNESS:g}")
    return tuple(texts)


def _chain_round(bond: Chem.Bond) -> tuple[int, int, int, int] | None:
    """Four atoms whose torsion tells how a single bond outside of rings is turned; None where
    nothing can turn."""
    if bond.IsInRing() or bond.GetBondTypeAsDouble() > 1.0:
        return None
    j, k = bond.GetBeginAtom(), bond.GetEndAtom()
    ends = []
    for inner, other in ((j, k), (k, j)):
        outer = [n for n in inner.GetNeighbors() if n.GetIdx() != other.GetIdx()]
        if not outer:
            return None
        ends.append(min(outer, key=lambda atom: (-atom.GetAtomicNum(), atom.GetIdx())).GetIdx())
    return ends[0], j.GetIdx(), k.GetIdx(), ends[1]


def _is_straight(positions: Array, chain: tuple[int, ...]) -> bool:
    for i, j, k in (chain[:3], chain[1:]):
        a, b = positions[i] - positions[j], positions[k] - positions[j]
        if np.arctan2(np.linalg.norm(np.cross(a, b)), a @ b) > _ALMOST_LINEAR:
            return True
    return False


def held_distances(found: list[Change], positions: Array) -> tuple[str, ...]:
    """A restraint for each pair of atoms that came apart or together: their distance stays what it
    is in this geometry, n x 3 in Angstrom."""
    texts = []
    for change in found:
        i, j = change.atoms
        length = float(np.linalg.norm(positions[i] - positions[j]))
        texts.append(f"stretch {i + 1} {j + 1} {length:.4f} k={_STRETCH_STIFFNESS:g}")
    return tuple(texts)
