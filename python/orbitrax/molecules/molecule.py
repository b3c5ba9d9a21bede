"""Molecules: read through ASE, made from SMILES, or taken from an ASE Atoms object."""

from __future__ import annotations

import io
import math
import os
import sys
from dataclasses import dataclass, field

import numpy as np

from orbitrax.molecules.elements import SYMBOLS, formula_of
from orbitrax.errors import MoleculeError

MAX_COORDINATE = 1e6  # Angstrom


@dataclass(eq=False)
class Molecule:
    """A molecule.

    numbers: atomic numbers, n, 0 for a dummy. positions: n x 3, Angstrom. masses: n, atomic mass
    units, or None for standard masses. point_charges: n, e, what an atom carries while it is not
    part of the calculation. charge and multiplicity: None where nothing tells. title: where it
    comes from, for messages.
    """

    numbers: np.ndarray
    positions: np.ndarray
    charge: int | None = None
    multiplicity: int | None = None
    masses: np.ndarray | None = None
    point_charges: np.ndarray | None = None
    title: str = "molecule"
    notes: list = field(default_factory=list)

    def __post_init__(self):
        self.numbers = np.asarray(self.numbers, dtype=int).reshape(-1)
        self.positions = np.asarray(self.positions, dtype=float)
        n = len(self.numbers)
        if n == 0:
            raise MoleculeError(f"{self.title} has no atoms")
        if self.positions.shape != (n, 3):
            raise MoleculeError(f"{self.title}: {n} atoms need {n} x 3 coordinates, not "
                                f"{' x '.join(map(str, self.positions.shape))}")
        if self.numbers.min() < 0 or self.numbers.max() >= len(SYMBOLS):
            raise MoleculeError(f"{self.title}: there is no element of number "
                                f"{self.numbers[(self.numbers < 0) | (self.numbers > 105)][0]}")
        for name in ("masses", "point_charges"):
            given = getattr(self, name)
            if given is not None:
                given = np.asarray(given, dtype=float)
                setattr(self, name, given)
                if given.shape != (n,):
                    raise MoleculeError(f"{self.title}: {n} atoms need {n} {name}")
        self._check_coordinates()

    def _check_coordinates(self) -> None:
        for i, position in enumerate(self.positions):
            for axis, value in zip("xyz", position):
                if not math.isfinite(value) or abs(value) >= MAX_COORDINATE:
                    raise MoleculeError(f"{self.title}: {self.label(i)}: the {axis} coordinate "
                                        f"{value} is not a length below 1e6 Angstrom")

    def __len__(self) -> int:
        return len(self.numbers)

    @property
    def symbols(self) -> list[str]:
        """Element symbols, in atom order."""
        return [SYMBOLS[number] for number in self.numbers]

    @property
    def formula(self) -> str:
        """Carbon, hydrogen, then the others by name."""
        return formula_of(self.symbols)

    def label(self, index: int) -> str:
        """An atom as a person names it, counted from 1."""
        return f"atom {index + 1} ({SYMBOLS[self.numbers[index]]})"


# ---- files --------------------------------------------------------------------------------------


def read_molecule(source: str, format: str | None = None, stdin=None) -> Molecule:
    """Reads any file that ASE reads, its last structure if it holds several ("name@0" the first);
    "-" reads standard input, as xyz or extended xyz unless `format` says otherwise."""
    if source == "-":
        text = (stdin or sys.stdin).read()
        return from_ase(_read_text(text, format), title="standard input")
    path = source
    if not os.path.exists(path) and "@" in path:
        path = path.rpartition("@")[0]
    if not os.path.exists(path):
        raise MoleculeError(f"{path}: there is no such file")
    if os.path.isdir(path):
        raise MoleculeError(f"{path} is a folder, not a molecule file")
    return from_ase(_read_ase(source, format, source), title=source)


def _read_ase(source, format, title):
    """ase.io.read, with whatever it raises turned into one kind of error."""
    import ase.io
    import ase.io.formats

    try:
        atoms = ase.io.read(source, format=format)
    except ase.io.formats.UnknownFileTypeError as error:
        hint = f"the format '{format}'" if format else "its format"
        raise MoleculeError(f"{title}: {hint} is not known ({error}); name one with --format, "
                            "such as xyz, extxyz, mol, sdf, proteindatabank") from None
    except KeyError as error:  # what a reader looks up by a name from the file is an element
        raise MoleculeError(f"{title}: cannot be read as a molecule: there is no element "
                            f"{error}") from None
    except Exception as error:  # the readers raise whatever their parsing happens to raise
        text = str(error) or type(error).__name__
        raise MoleculeError(f"{title}: cannot be read as a molecule: {text}") from None
    if not hasattr(atoms, "get_positions"):
        raise MoleculeError(f"{title}: holds several structures; choose one, as in file.xyz@0")
    return atoms


def _read_text(text: str, format: str | None):
    if not text.strip():
        raise MoleculeError("standard input is empty; it should hold a molecule, such as an xyz "
                            "file")
    if format is None:
        lines = text.splitlines()
        if lines[0].strip().isdigit():
            format = "extxyz"
        elif len(lines) > 3 and "V2000" in lines[3]:
            format = "sdf"
        elif any(line.startswith(("ATOM  ", "HETATM")) for line in lines[:200]):
            format = "proteindatabank"
        else:
            raise MoleculeError("standard input is not an xyz file; name its format with --format, "
                                "such as mol, sdf, proteindatabank")
    return _read_ase(io.StringIO(text), format, "standard input")


def from_ase(atoms, title: str = "molecule") -> Molecule:
    """A molecule from an ASE Atoms object.

    Charge and multiplicity come from `info` ("charge"; "multiplicity", or "spin" as 2S + 1), else
    from initial charges and magnetic moments, else they stay open. Initial charges become point
    charges as well.
    """
    info = atoms.info
    charge = _whole(info, "charge", title)
    multiplicity = _whole(info, "multiplicity", title)
    if multiplicity is None:
        multiplicity = _whole(info, "spin", title)
    notes, charges = [], None
    if atoms.has("initial_charges"):
        charges = atoms.get_initial_charges()
        if charge is None:
            total = float(np.sum(charges))
            if math.isfinite(total) and abs(total - round(total)) <= 1e-3:
                charge = round(total)
            else:
                notes.append(f"the charges of its atoms add up to {total:.4f}, which is no whole "
                             "number; give the charge with --charge")
    if multiplicity is None and atoms.has("initial_magmoms"):
        moments = np.asarray(atoms.get_initial_magnetic_moments(), dtype=float)
        if moments.ndim == 1 and np.isfinite(moments).all():
            multiplicity = round(abs(float(moments.sum()))) + 1
    return Molecule(atoms.get_atomic_numbers(), atoms.get_positions(), charge, multiplicity,
                    masses=atoms.get_masses() if atoms.has("masses") else None,
                    point_charges=charges, title=title, notes=notes)


def _whole(info: dict, key: str, title: str) -> int | None:
    """A whole number among the file's remarks; None when there is none."""
    value = info.get(key)
    if value is None or isinstance(value, (bool, np.bool_)):
        return None
    try:
        number = float(value)
    except (TypeError, ValueError):
        number = math.nan
    if not math.isfinite(number) or number != round(number):
        raise MoleculeError(f"{title}: its {key} '{value}' is not a whole number")
    return round(number)


# ---- SMILES -------------------------------------------------------------------------------------


def from_smiles(smiles: str, seed: int = 61453) -> Molecule:
    """A molecule from a SMILES string, with hydrogens and a force-field geometry, by RDKit. The
    same seed gives the same geometry."""
    try:
        from rdkit import Chem, RDLogger
        from rdkit.Chem import AllChem, Descriptors
    except ImportError:
        raise MoleculeError("reading SMILES needs RDKit, which is not installed; on Debian: "
                            "apt-get install python3-rdkit") from None
    RDLogger.DisableLog("rdApp.*")
    mol = Chem.MolFromSmiles(smiles)
    if mol is None or mol.GetNumAtoms() == 0:
        raise MoleculeError(f"'{smiles}' is not a SMILES string")
    mol = Chem.AddHs(mol)
    if AllChem.EmbedMolecule(mol, randomSeed=seed) != 0:
        if AllChem.EmbedMolecule(mol, randomSeed=seed, useRandomCoords=True) != 0:
            raise MoleculeError(f"RDKit finds no geometry for '{smiles}'")
    if AllChem.MMFFHasAllMoleculeParams(mol):
        AllChem.MMFFOptimizeMolecule(mol, maxIters=2000)
    else:
        AllChem.UFFOptimizeMolecule(mol, maxIters=2000)
    radicals = Descriptors.NumRadicalElectrons(mol)
    return Molecule([atom.GetAtomicNum() for atom in mol.GetAtoms()],
                    mol.GetConformer().GetPositions(), charge=Chem.GetFormalCharge(mol),
                    multiplicity=radicals + 1 if radicals else None, title=smiles)
