"""Whether a geometry still is the molecule that its bonds say.

A minimum of AM1 need not be: a proton may jump from an ammonium to a carboxylate, a strained ring
open, a sulfur bind to a phosphorus. Such charges would be those of another molecule.
"""

from __future__ import annotations

from dataclasses import dataclass

import numpy as np
from rdkit import Chem

from orbitrax.minimise.arrays import Array

# Covalent radii, Angstrom; B. Cordero et al., Dalton Trans. 2832 (2008).
_RADII = {1: 0.31, 5: 0.84, 6: 0.76, 7: 0.71, 8: 0.66, 9: 0.57, 14: 1.11, 15: 1.07, 16: 1.05,
          17: 1.02, 35: 1.20, 53: 1.39}
_OTHER_RADIUS = 1.4
_BROKEN = 1.35  # of the sum of the covalent radii: a bond longer than that is none
_FORMED = 1.15  # atoms nearer than that are bonded
_FORMED_HYDROGEN = 1.3  # the same, if one of them is hydrogen, where it is nearer than to its own
_TOO_NEAR = 0.5  # atoms nearer than that are on top of each other


@dataclass(frozen=True)
class Change:
    """Two atoms, indices from 0, that are bonded and apart, or not bonded and near; distance in
    Angstrom."""

    atoms: tuple[int, int]
    distance: float
    broken: bool

    def describe(self, mol: Chem.Mol) -> str:
        """What has happened, for a person, atoms counted from 1."""
        i, j = (f"{mol.GetAtomWithIdx(k).GetSymbol()}{k + 1}" for k in self.atoms)
        state = "are bonded but" if self.broken else "are not bonded but"
        return f"{i} and {j} {state} {self.distance:.2f} Angstrom apart"


def changes(mol: Chem.Mol, positions: Array) -> list[Change]:
    """Bonds of the molecule that are broken in a geometry, n x 3 in Angstrom, and bonds that the
    geometry has and the molecule has not."""
    n = mol.GetNumAtoms()
    numbers = np.array([atom.GetAtomicNum() for atom in mol.GetAtoms()])
    radii = np.array([_RADII.get(z, _OTHER_RADIUS) for z in numbers.tolist()])
    distances = np.linalg.norm(positions[:, None] - positions[None, :], axis=2)
    ratios = distances / (radii[:, None] + radii[None, :])
    bonded = Chem.GetAdjacencyMatrix(mol).astype(bool)
    steps = Chem.GetDistanceMatrix(mol)

    broken = bonded & (ratios > _BROKEN)
    own = np.where(bonded, ratios, 0.0).max(axis=1, initial=0.0)  # the longest bond of each atom
    hydrogen = (numbers == 1)[:, None] | (numbers == 1)[None, :]
    lost = (numbers == 1)[:, None] & (ratios < own[:, None])  # nearer to another than to its own
    lost |= lost.T
    formed = ~bonded & np.where(hydrogen, lost & (ratios < _FORMED_HYDROGEN),
                                (ratios < _FORMED) & (steps > 2.5))
    formed |= ~bonded & (ratios < _TOO_NEAR)
    upper = np.triu(np.ones((n, n), bool), 1)
    return [Change((int(i), int(j)), float(distances[i, j]), bool(broken[i, j]))
            for i, j in np.argwhere((broken | formed) & upper)]
