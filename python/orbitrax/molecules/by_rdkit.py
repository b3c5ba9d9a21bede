"""Molecules with bonds, by RDKit: mol and sdf files of either version, pdb, mol2, and SMILES.

Charges and radicals are taken as they stand in the file. What a file leaves out, hydrogens or the
third dimension, is said, and completed where that is asked for.
"""

from __future__ import annotations

import re

from orbitrax.errors import MoleculeError
from orbitrax.molecules.blocks import mol_of_block, mol_of_mol2
from orbitrax.molecules.comment import as_number, is_number
from orbitrax.molecules.frames import pick
from orbitrax.molecules.molecule import Molecule, state_of_atoms

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any

SEED = 61453  # of geometries, which are the same each time

_SINGLETS = re.compile(r"^M  RAD.*$", re.M)
_SINGLETS_V3000 = re.compile(r"\bRAD=1\b")
_PDB_CHARGE = re.compile(r"^(?:ATOM  |HETATM).{72}(\d[+-]|[+-]\d)", re.M)
_PDB_ATOM = ("ATOM  ", "HETATM")
_MOL2_HEAD = "@<TRIPOS>MOLECULE"


def chem() -> Any:
    """RDKit's module Chem, silenced. Raises MoleculeError where it is not installed."""
    try:
        from rdkit import Chem, RDLogger
    except ImportError:
        raise MoleculeError("reading SMILES, mol, sdf, mol2 and pdb files needs RDKit, which is "
                            "not installed; on Debian: apt-get install python3-rdkit") from None
    RDLogger.DisableLog("rdApp.*")
    return Chem


def read_mol(text: str, title: str, frame: int | None = None, complete: bool = False) -> Molecule:
    """A molecule of a mol or sdf text, V2000 or V3000. frame: which of several. complete: whether
    missing hydrogens are added, and a flat drawing gets a geometry."""
    text = text.replace("\r\n", "\n")
    records = [part for part in re.split(r"^\$\$\$\$.*\n?", text, flags=re.M) if part.strip()]
    record, remarks = pick(records, frame, title)
    chem()
    mol = mol_of_block(record, title, sanitize=False)
    if mol is None:
        raise MoleculeError(f"{title}: cannot be read as a mol file; is its fourth line the one "
                            "with V2000 or V3000?")
    flat = record.split("\n", 2)[1][20:22] == "2D"
    return _molecule(mol, title, remarks, _paired(record), flat, complete)


def read_mol2(text: str, title: str, frame: int | None = None,
              complete: bool = False) -> Molecule:
    """A molecule of a mol2 text; its charge is the sum of those of the atoms."""
    records = [_MOL2_HEAD + part for part in text.split(_MOL2_HEAD)[1:]]
    record, remarks = pick(records, frame, title)
    chem()
    mol = mol_of_mol2(record, title, sanitize=False)
    if mol is None:
        raise MoleculeError(f"{title}: cannot be read as a mol2 file")
    chosen = tuple(remarks)
    found = _molecule(mol, title, remarks, 0, False, complete)
    names = [atom for atom in mol.GetAtoms() if atom.HasProp("_TriposPartialCharge")]
    words = [atom.GetProp("_TriposPartialCharge") for atom in names]
    if not all(map(is_number, words)):
        raise MoleculeError(f"{title}: the charge of an atom is not a number")
    charges = list(map(as_number, words))
    charge, carried = found.charge or None, None
    notes: list[str] = []
    if len(charges) == len(found) and any(charges):
        charge, _, notes = state_of_atoms(None, None, charges, None)
        carried = charges
    if charge:
        remarks.append(f"the charge {charge:+d} is what its atoms add up to; a mol2 file does not "
                       "tell it otherwise")
    return found.replace(charge=charge, notes=notes, point_charges=carried,
                         remarks=[*found.remarks, *remarks[len(chosen):]])


def read_pdb(text: str, title: str, frame: int | None = None, complete: bool = False) -> Molecule:
    """A molecule of a pdb text, with the charges of its last column."""
    parts = re.split(r"^MODEL .*\n", text, flags=re.M)
    models = [part for part in parts if any(line.startswith(_PDB_ATOM)
                                            for line in part.split("\n"))]
    model, remarks = pick(models, frame, title)
    mol = chem().MolFromPDBBlock(model, sanitize=False, removeHs=False, proximityBonding=False)
    if mol is None or mol.GetNumAtoms() == 0:
        raise MoleculeError(f"{title}: cannot be read as a pdb file")
    charges = [int(word.strip("+-")) * (-1 if "-" in word else 1)
               for word in _PDB_CHARGE.findall(model)]
    if not any(atom.GetAtomicNum() == 1 for atom in mol.GetAtoms()) and any(
            atom.GetAtomicNum() == 6 for atom in mol.GetAtoms()):
        remarks.append("it has no hydrogens; add them before a calculation means anything")
    found = _molecule(mol, title, remarks, 0, False, False, bonded=False)
    return found.replace(charge=sum(charges) if charges else None)


def read_smi(text: str, title: str, frame: int | None = None, complete: bool = False) -> Molecule:
    """A molecule of a file with a SMILES string at the start of each line."""
    lines = [line for line in text.splitlines() if line.strip() and not line.startswith("#")]
    line, remarks = pick(lines, frame, title)
    found = from_smiles(line.split()[0])
    return found.replace(remarks=[*found.remarks, *remarks])


def from_smiles(smiles: str, seed: int = SEED) -> Molecule:
    """A molecule from a SMILES string, with hydrogens and a force-field geometry. The same seed
    gives the same geometry."""
    Chem = chem()
    mol = Chem.MolFromSmiles(smiles)
    if mol is None or mol.GetNumAtoms() == 0:
        raise MoleculeError(f"'{smiles}' is not a SMILES string")
    if any(atom.GetAtomicNum() == 0 for atom in mol.GetAtoms()):
        raise MoleculeError(f"'{smiles}' has an atom * that stands for no element; nothing can be "
                            "calculated of it")
    mol = _embedded(Chem.AddHs(mol), smiles, seed)
    return _molecule(mol, smiles, _of_parts(mol), 0, False, False)


def from_rdkit(mol: Any) -> Molecule:
    """A molecule from one of RDKit's, which needs a geometry and its hydrogens, as
    `Chem.AddHs` and `AllChem.EmbedMolecule` give them."""
    if mol.GetNumConformers() == 0:
        raise MoleculeError("this molecule of RDKit has no geometry; AllChem.EmbedMolecule makes "
                            "one, after Chem.AddHs")
    return _molecule(mol, "RDKit molecule", [], 0, False, False)


# ---- what a molecule of RDKit tells -------------------------------------------------------------


def _molecule(mol: Any, title: str, remarks: list[str], paired: int, drawn: bool,
              complete: bool, bonded: bool = True) -> Molecule:
    """paired: electrons at radical centres that are paired. drawn: whether the file calls itself
    flat. bonded: whether the file's bonds tell of hydrogens that are missing."""
    Chem = chem()
    if mol.GetNumAtoms() == 0:
        raise MoleculeError(f"{title} has no atoms")
    missing = _open_valences(mol) if bonded else 0
    flat = _is_drawing(mol, drawn, missing)
    if complete and (missing or flat):
        Chem.SanitizeMol(mol)
        mol.GetConformer().Set3D(True)
        mol = Chem.AddHs(mol, addCoords=not flat)
        if flat:
            mol = _embedded(mol, title, SEED)
            remarks = [*remarks, *_of_parts(mol)]
    elif flat:
        remarks = [*remarks, "it is a flat drawing, no geometry; --add-hydrogens builds one"]
    elif missing:
        remarks = [*remarks, f"{missing} hydrogen{'s' * (missing > 1)} that its bonds call for "
                   f"{'are' if missing > 1 else 'is'} missing; --add-hydrogens adds them"]
    dummies = sum(atom.GetAtomicNum() == 0 for atom in mol.GetAtoms())
    if dummies:
        remarks = [*remarks, f"{dummies} dummy atom{'s' * (dummies > 1)}: not calculated"]
    unpaired = sum(atom.GetNumRadicalElectrons() for atom in mol.GetAtoms()) - paired
    masses = ([atom.GetMass() for atom in mol.GetAtoms()]
              if any(atom.GetIsotope() for atom in mol.GetAtoms()) else None)
    return Molecule([atom.GetAtomicNum() for atom in mol.GetAtoms()],
                    mol.GetConformer().GetPositions(), charge=Chem.GetFormalCharge(mol),
                    multiplicity=unpaired + 1 if unpaired > 0 else None, masses=masses,
                    title=title, remarks=remarks, mol=mol.ToBinary() if bonded else None)


def _open_valences(mol: Any) -> int:
    """Hydrogens that the bonds call for and that are not there; 0 where RDKit makes no sense of
    the bonds."""
    copy = chem().Mol(mol)
    try:
        chem().SanitizeMol(copy)
    except ValueError:
        return 0
    return int(sum(atom.GetTotalNumHs() for atom in copy.GetAtoms()))


def _is_drawing(mol: Any, drawn: bool, missing: int) -> bool:
    """Whether all atoms lie in a plane of the paper in which they cannot lie in space."""
    places = mol.GetConformer().GetPositions()
    if abs(places[:, 2]).max() > 1e-6:
        return False
    if len(places) < 3:
        return drawn and missing > 0
    crowded = any(atom.GetAtomicNum() == 6 and atom.GetDegree() == 4 for atom in mol.GetAtoms())
    return drawn or crowded or missing > 0


def _paired(record: str) -> int:
    """Electrons at singlet centres, which count as radicals and are paired."""
    singlets = len(_SINGLETS_V3000.findall(record))
    for line in _SINGLETS.findall(record):
        singlets += line.split()[4::2].count("1")
    return 2 * singlets


def _of_parts(mol: Any) -> list[str]:
    """What is to be said of the places of several molecules that were drawn as one."""
    parts = len(chem().GetMolFrags(mol))
    return [] if parts < 2 else [f"its {parts} parts were put side by side so that they touch; in "
                                 "other places they have another energy"]


def _embedded(mol: Any, title: str, seed: int) -> Any:
    """The molecule with a force-field geometry."""
    from rdkit.Chem import AllChem

    if AllChem.EmbedMolecule(mol, randomSeed=seed) != 0:
        if AllChem.EmbedMolecule(mol, randomSeed=seed, useRandomCoords=True) != 0:
            raise MoleculeError(f"RDKit finds no geometry for '{title}'")
    if AllChem.MMFFHasAllMoleculeParams(mol):
        AllChem.MMFFOptimizeMolecule(mol, maxIters=2000)
    elif AllChem.UFFHasAllMoleculeParams(mol):
        AllChem.UFFOptimizeMolecule(mol, maxIters=2000)
    if any(atom.GetNumRadicalElectrons() or atom.GetFormalCharge() < 0 for atom in mol.GetAtoms()):
        from orbitrax.molecules.built.open_centres import bend_open_centres

        bend_open_centres(mol)
    parts = chem().GetMolFrags(mol)
    if len(parts) > 1:  # RDKit knows nothing of one part where it places another
        from orbitrax.molecules.force_field import set_positions
        from orbitrax.molecules.built.side_by_side import side_by_side

        set_positions(mol, side_by_side(
            [atom.GetAtomicNum() for atom in mol.GetAtoms()], mol.GetConformer().GetPositions(),
            parts, [atom.GetFormalCharge() for atom in mol.GetAtoms()]))
    return mol
