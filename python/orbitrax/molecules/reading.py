"""Molecules from files, from standard input, from SMILES, from ASE."""

from __future__ import annotations

import io
import math
import os
import sys

from orbitrax.errors import MoleculeError
from orbitrax.molecules.elements import NUMBERS
from orbitrax.molecules.molecule import Molecule, state_of_atoms
from orbitrax.molecules.xyz import looks_like_xyz, read_xyz

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any, TextIO


XYZ_FORMATS = ("xyz", "extxyz")


def read_molecule(source: str | os.PathLike[str], format: str | None = None,
                  stdin: TextIO | None = None) -> Molecule:
    """Reads a molecule file: xyz and extended xyz by a reader of our own, all others by ASE. Of
    several structures the last one is taken; "name@0" means the first, "name@-1" the last. "-"
    reads standard input."""
    source = os.fspath(source)
    if source == "-":
        return _from_text((stdin or sys.stdin).read(), format)
    path, frame = source, None
    if not os.path.exists(path) and "@" in path:
        path, _, chosen = path.rpartition("@")
        frame = chosen
    if not os.path.exists(path):
        raise MoleculeError(f"{path}: there is no such file")
    if os.path.isdir(path):
        raise MoleculeError(f"{path} is a folder, not a molecule file")
    if format in XYZ_FORMATS or (format is None and path.lower().endswith((".xyz", ".extxyz"))):
        return read_xyz(_text_of(path), source, None if frame is None else _number(frame, source))
    return from_ase(_read_ase(source, format, source), title=source)


def _text_of(path: str) -> str:
    """The text of a file; what is no UTF-8 is read as Latin 1, where every byte means something."""
    try:
        with open(path, "rb") as file:
            data = file.read()
    except OSError as error:
        raise MoleculeError(f"{path}: {error.strerror}") from None
    try:
        return data.decode("utf-8")  # a mark at its start is left to whoever reads
    except UnicodeDecodeError:
        return data.decode("latin-1")


def _number(text: str, source: str) -> int:
    try:
        return int(text)
    except ValueError:
        raise MoleculeError(f"{source}: '{text}' names no single structure; choose one by its "
                            "number, as in file.xyz@0") from None


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


def _from_text(text: str, format: str | None) -> Molecule:
    """A molecule from standard input, which tells its format by its looks unless it is named."""
    title = "standard input"
    if not text.strip():
        raise MoleculeError("standard input is empty; it should hold a molecule, such as an xyz "
                            "file")
    if format in XYZ_FORMATS or (format is None and looks_like_xyz(text)):
        return read_xyz(text, title)
    if format is None:
        lines = text.splitlines()
        if len(lines) > 3 and "V2000" in lines[3]:
            format = "sdf"
        elif any(line.startswith(("ATOM  ", "HETATM")) for line in lines[:200]):
            format = "proteindatabank"
        else:
            raise MoleculeError("standard input is not an xyz file; name its format with --format, "
                                "such as mol, sdf, proteindatabank")
    return from_ase(_read_ase(io.StringIO(text), format, title), title=title)


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
    charges = atoms.get_initial_charges() if atoms.has("initial_charges") else None
    moments = atoms.get_initial_magnetic_moments() if atoms.has("initial_magmoms") else None
    if moments is not None and moments.ndim != 1:  # vectors, which tell no multiplicity
        moments = None
    charge, multiplicity, notes = state_of_atoms(
        charge, multiplicity, None if charges is None else charges.tolist(),
        None if moments is None else moments.tolist())
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
