"""Atoms that the bonds of a molecule do not tell apart, and means over them; and an order of the
atoms that belongs to the molecule, and not to the file or the spelling it came in: what begins with
random numbers, one atom after the other, then comes out the same.
"""

from __future__ import annotations

import json

import numpy as np
from rdkit import Chem

from orbitrax.minimise.arrays import Array

_DIGITS = 6  # of a place in Angstrom: atoms that differ by less are alike, and stay as they come
_ASIDE = 1e-6  # of what two directions might be and span: less is no plane


def equal_atoms(mol: Chem.Mol) -> Array:
    """For each atom of a molecule with all hydrogens the number of its class: atoms of one class
    have the same element and neighbours, and these have, and so on.

    Bond orders and formal charges are left out: with all hydrogens there, they follow from the
    rest, but for the choice of one resonance structure, which must make no difference. So are
    configurations, which force fields do not tell apart either.
    """
    plain = Chem.RWMol()
    for atom in mol.GetAtoms():
        bare = Chem.Atom(atom.GetAtomicNum())
        bare.SetNoImplicit(True)
        plain.AddAtom(bare)
    for bond in mol.GetBonds():
        plain.AddBond(bond.GetBeginAtomIdx(), bond.GetEndAtomIdx(), Chem.BondType.SINGLE)
    plain.UpdatePropertyCache(strict=False)
    Chem.FastFindRings(plain)
    ranks = Chem.CanonicalRankAtoms(plain, breakTies=False, includeChirality=False,
                                    includeIsotopes=False)
    numbers: Array = np.unique(np.array(list(ranks), dtype=int), return_inverse=True)[1]
    return numbers


def average(values: Array, classes: Array) -> Array:
    """Each value replaced by the mean over its class. values, classes: n."""
    sizes = np.bincount(classes)
    means: Array = (np.bincount(classes, weights=values) / sizes)[classes]
    return means


def spelt_alike(mol: Chem.Mol) -> tuple[Chem.Mol, Array]:
    """The molecule as its canonical SMILES tells it, atoms and bonds in that order, without a
    geometry; and for each of its own atoms which one it is there."""
    work = Chem.Mol(mol)
    work.RemoveAllConformers()
    text = Chem.MolToSmiles(work)
    order = json.loads(work.GetProp("_smilesAtomOutputOrder").replace(",]", "]"))
    rules = Chem.SmilesParserParams()
    rules.removeHs = False
    spelt = Chem.MolFromSmiles(text, rules)
    if spelt is None or spelt.GetNumAtoms() != mol.GetNumAtoms():
        return work, np.arange(mol.GetNumAtoms())
    return spelt, np.argsort(order)


def ranks_in_space(mol: Chem.Mol, positions: Array) -> Array:
    """Numbers of the atoms, from 0, each once: those that the bonds do not tell apart by where they
    are, n x 3, seen from the others, and by their side of a mirror plane."""
    classes = equal_atoms(mol)
    weights = np.sqrt(classes + 1.0)
    distances = np.linalg.norm(positions[:, None] - positions[None, :], axis=2)
    near = positions - weights @ positions / weights.sum()
    first, second = weights**2 @ near, weights**3 @ near  # two directions of the molecule, if any
    arms = np.linalg.norm(near, axis=1)
    normal = np.cross(first, second) / max(weights**2 @ arms * (weights**3 @ arms), 1e-30)
    length = np.linalg.norm(normal)
    side = near @ normal / length if length > _ASIDE else np.zeros(len(near))
    return np.argsort(np.lexsort((np.round(distances @ weights + side, _DIGITS), classes)))
