"""Molecules from files, from standard input, from SMILES, from ASE."""

from __future__ import annotations

import io
import math
import os
import sys

from orbitrax.errors import MoleculeError
from orbitrax.molecules.elements import NUMBERS
from orbitrax.molecules.molecule import Molecule

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any, TextIO


def read_molecule(source: str | os.PathLike[str], format: str | None = None,
                  stdin: TextIO | None = None) -> Molecule:
    """Reads any file that ASE reads, its last structure if it holds several ("name@0" the first);
    "-" reads standard input, as xyz or extended xyz unless `format` says otherwise."""
    source = os.fspath(source)
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


def as_molecule(source: Any) -> Molecule:
    """A molecule from whatever tells of one: itself, a path, an ASE Atoms object, or a pair of
    symbols (or atomic numbers) and positions, n x 3, Angstrom."""
    if isinstance(source, Molecule):
        return source
    if isinstance(source, (str, os.PathLike)):
        return read_molecule(source)
    if hasattr(source, "get_positions"):
        return from_ase(source)
    if isinstance(source, (tuple, list)) and len(source) == 2:
        symbols, positions = source
        for symbol in symbols:
            if isinstance(symbol, str) and symbol not in NUMBERS:
                raise MoleculeError(f"there is no element '{symbol}'")
        return Molecule([NUMBERS[symbol] if isinstance(symbol, str) else symbol
                         for symbol in symbols], positions)
    raise MoleculeError(f"a {type(source).__name__} is no molecule; give a path, a Molecule, an "
                        "ASE Atoms object, or symbols and positions")


def _read_ase(source: str | TextIO, format: str | None, title: str) -> Any:
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


def _read_text(text: str, format: str | None) -> Any:
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


def from_ase(atoms: Any, title: str = "molecule") -> Molecule:
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
            total = float(charges.sum())
            if math.isfinite(total) and abs(total - round(total)) <= 1e-3:
                charge = round(total)
            else:
                notes.append(f"the charges of its atoms add up to {total:.4f}, which is no whole "
                             "number; give the charge with --charge")
    if multiplicity is None and atoms.has("initial_magmoms"):
        moments = atoms.get_initial_magnetic_moments()
        if moments.ndim == 1 and math.isfinite(total := float(moments.sum())):
            multiplicity = round(abs(total)) + 1
    return Molecule(atoms.get_atomic_numbers(), atoms.get_positions(), charge, multiplicity,
                    masses=atoms.get_masses() if atoms.has("masses") else None,
                    point_charges=charges, title=title, notes=notes)


def _whole(info: dict[str, Any], key: str, title: str) -> int | None:
    """A whole number among the file's remarks; None when there is none."""
    value = info.get(key)
    if value is None or isinstance(value, bool) or str(value) in ("True", "False"):
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
