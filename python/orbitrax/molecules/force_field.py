"""A molecule's MMFF94 force field (T. A. Halgren, J. Comput. Chem. 17, 490 (1996)), as RDKit has
it, or its UFF where that lacks parameters."""

from __future__ import annotations

import numpy as np
from rdkit import Chem
from rdkit.Chem import AllChem
from rdkit.Geometry import Point3D

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any

    from orbitrax.arrays import Array

_STEP = 1e-4  # Angstrom, of the differences that make second derivatives


def set_positions(mol: Chem.Mol, positions: Array) -> None:
    """Gives the molecule one conformer, with these positions."""
    mol.RemoveAllConformers()
    conformer = Chem.Conformer(mol.GetNumAtoms())
    for index, (x, y, z) in enumerate(positions.tolist()):
        conformer.SetAtomPosition(index, Point3D(x, y, z))
    mol.AddConformer(conformer)


def relaxed(mol: Chem.Mol, positions: Array) -> tuple[Array, float]:
    """The nearest minimum of the force field, n x 3 in Angstrom, and its energy in kcal/mol."""
    work = Chem.Mol(mol)
    set_positions(work, positions)
    field = _field(work)
    if field is None:
        return positions, 0.0
    field.Minimize(maxIts=2000)
    return np.array(work.GetConformer().GetPositions()), float(field.CalcEnergy())


def hessian(mol: Chem.Mol, positions: Array) -> Array | None:
    """Second derivatives of the force field at positions, n x 3 in Angstrom: 3n x 3n, kcal/(mol
    square Angstrom). None for a molecule that it does not know."""
    work = Chem.Mol(mol)
    set_positions(work, positions)
    field = _field(work)
    if field is None:
        return None
    places = np.asarray(positions, dtype=float).ravel()
    middle = _gradient(field, places)
    found = np.empty((places.size, places.size))
    for row in range(places.size):
        there = places.copy()
        there[row] += _STEP
        found[row] = (_gradient(field, there) - middle) / _STEP
    if not np.all(np.isfinite(found)):
        return None
    symmetric: Array = 0.5 * (found + found.T)
    return symmetric


def _gradient(field: Any, places: Array) -> Array:
    """The force field's, 3n. It remembers the distances of the energy that it computed last."""
    there = places.tolist()
    field.CalcEnergy(there)
    return np.array(field.CalcGrad(there))


def _field(work: Chem.Mol) -> Any:
    properties = AllChem.MMFFGetMoleculeProperties(work)
    field = (AllChem.MMFFGetMoleculeForceField(work, properties) if properties
             else AllChem.UFFGetMoleculeForceField(work))
    if field is not None:
        field.Initialize()
    return field
