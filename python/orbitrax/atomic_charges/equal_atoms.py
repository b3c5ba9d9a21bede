"""Atoms that the bonds of a molecule do not tell apart, and means over them."""

from __future__ import annotations

import numpy as np
from rdkit import Chem

from orbitrax.minimise.arrays import Array


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
