"""The molecules of FreeSolv 0.52 with their AM1-BCC charges, as RDKit molecules."""

from __future__ import annotations

import json
from dataclasses import dataclass
from pathlib import Path

import numpy as np
from rdkit import Chem

PATH = Path(__file__).resolve().parents[1] / "reference" / "am1bcc_freesolv.json"
_BONDS = {"1": Chem.BondType.SINGLE, "2": Chem.BondType.DOUBLE, "3": Chem.BondType.TRIPLE,
          "ar": Chem.BondType.AROMATIC, "am": Chem.BondType.SINGLE}


@dataclass(frozen=True)
class Reference:
    """A molecule with its geometry, and charges to four digits from another program."""

    name: str
    smiles: str
    mol: Chem.Mol
    charges: np.ndarray

    def deviation(self, charges: np.ndarray) -> float:
        """Root mean square over the atoms, e."""
        return float(np.sqrt(np.mean((charges - self.charges) ** 2)))


def molecules() -> list[Reference]:
    """All of the file, in its order."""
    return [Reference(entry["name"], entry["smiles"], _molecule(entry), np.array(entry["charges"]))
            for entry in json.loads(PATH.read_text(encoding="utf-8"))["molecules"]]


def _molecule(entry: dict) -> Chem.Mol:
    mol = Chem.RWMol()
    for symbol in entry["symbols"]:
        atom = Chem.Atom(symbol)
        atom.SetNoImplicit(True)
        mol.AddAtom(atom)
    for i, j, kind in entry["bonds"]:
        mol.AddBond(i, j, _BONDS[kind])
        if kind == "ar":
            mol.GetBondBetweenAtoms(i, j).SetIsAromatic(True)
            for k in (i, j):
                mol.GetAtomWithIdx(k).SetIsAromatic(True)
    for atom in mol.GetAtoms():  # nitro groups alone are charged here
        bonds = sum(bond.GetBondTypeAsDouble() for bond in atom.GetBonds())
        atom.SetFormalCharge({("N", 4): 1, ("O", 1): -1}.get((atom.GetSymbol(), bonds), 0))
    conformer = Chem.Conformer(mol.GetNumAtoms())
    for index, place in enumerate(entry["coordinates_angstrom"]):
        conformer.SetAtomPosition(index, place)
    mol.AddConformer(conformer)
    whole = mol.GetMol()
    Chem.SanitizeMol(whole)
    return whole
