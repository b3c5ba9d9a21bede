"""Molecules from files, from standard input, from SMILES, from ASE."""

from __future__ import annotations

import io
import math
import os
import sys

from orbitrax.errors import MoleculeError, UsageError
from orbitrax.molecules.comment import CELL_LEFT_OUT
from orbitrax.molecules.elements import NUMBERS
from orbitrax.molecules.molecule import Molecule, state_of_atoms
from orbitrax.molecules.xyz import looks_like_xyz, read_xyz

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any, TextIO


# What a reader may trip over in a file that nobody thought of.
_UNFORESEEN = (ValueError, TypeError, LookupError, ArithmeticError, RuntimeError, MemoryError)


class Format:
    """A format of files: its names, the endings of file names that tell of it, the module of
    orbitrax.molecules and the reader in it, and whether the reader takes `frame` and, as those of
    RDKit do, `complete`."""

    __slots__ = ("names", "endings", "module", "reader", "frames", "complete")

    def __init__(self, names: str, endings: str, module: str, reader: str, frames: bool = False,
                 complete: bool = False):
        self.names, self.endings = tuple(names.split()), tuple(endings.split())
        self.module, self.reader = module, reader
        self.frames, self.complete = frames, complete

    def read(self, text: str, title: str, frame: int | None, complete: bool) -> Molecule | None:
        """The molecule of a text; None where the reader leaves it to others."""
        about: dict[str, Any] = {}
        if self.frames:
            about["frame"] = frame
        elif frame not in (None, 0, -1):
            raise MoleculeError(f"{title}: there is no frame {frame}; it has 1, counted from 0")
        if self.complete:
            about["complete"] = complete
        module = __import__(f"orbitrax.molecules.{self.module}", fromlist=[self.reader])
        try:
            found: Molecule | None = getattr(module, self.reader)(text, title, **about)
        except MoleculeError:
            raise
        except _UNFORESEEN as error:  # none is known: tests hunt for more, told by the cause
            raise MoleculeError(f"{title}: cannot be read as {self.names[0]}: "
                                f"{str(error)[:200] or type(error).__name__}") from error
        return found


FORMATS = (  # all others are read by ASE
    Format("xyz extxyz", ".xyz .extxyz", "xyz", "read_xyz", True),
    Format("mol sdf", ".mol .sdf .sd .mdl", "by_rdkit", "read_mol", True, True),
    Format("mol2", ".mol2", "by_rdkit", "read_mol2", True, True),
    Format("pdb proteindatabank", ".pdb .ent", "by_rdkit", "read_pdb", True, True),
    Format("smi smiles", ".smi .smiles", "by_rdkit", "read_smi", True, True),
    Format("gaussian gaussian-in gjf com", ".gjf .com", "inputs", "read_gaussian"),
    Format("mopac mop", ".mop", "inputs", "read_mopac"),
    Format("orca inp", ".inp", "inputs", "read_orca"),
    Format("json cjson qcschema", ".cjson .json", "inputs", "read_json"),
)


def format_of(name: str | None, path: str) -> Format | None:
    """By its own name, or by that of a file."""
    for one in FORMATS:
        if (name in one.names) if name else path.lower().endswith(one.endings):
            return one
    return None


def read_molecule(source: str | os.PathLike[str], format: str | None = None,
                  stdin: TextIO | None = None, complete: bool = False) -> Molecule:
    """Reads a molecule file: xyz, mol and sdf, pdb, mol2, SMILES, inputs of Gaussian, MOPAC and
    ORCA, CJSON and QCSchema by readers of our own or RDKit's, all others by ASE.

    format: by name, where that of the file does not tell. Of several structures the last one is
    taken, with a remark; "name@0" means the first, "name@-1" the last. "-" reads standard input.
    complete: adds hydrogens that the bonds of a mol or sdf file call for, and builds a geometry for
    a flat drawing. Raises MoleculeError for what cannot be read.
    """
    source = os.fspath(source)
    if source == "-":
        return _from_text((stdin or sys.stdin).read(), format, complete)
    path, frame = source, None
    if not os.path.exists(path) and "@" in path:
        path, _, chosen = path.rpartition("@")
        frame = chosen
    if not os.path.exists(path):
        raise MoleculeError(f"{path}: there is no such file")
    if os.path.isdir(path):
        raise MoleculeError(f"{path} is a folder, not a molecule file")
    number = None if frame is None else _number(frame, source)
    one = format_of(format, path)
    found = None if one is None else one.read(text_of(path), source, number, complete)
    if found is not None:
        return found
    read = _from_cell(_read_ase(path, None if one else format, source, number), source)
    return read if read.charge is not None else _remarked(read, text_of(path))


def _remarked(molecule: Molecule, text: str) -> Molecule:
    """The molecule, with a remark where its file seems to speak of a charge."""
    import re

    line = re.search(r"(?im)^.*\b(?:charge|chrg|multiplicity)\b[ \t]*[=:]?[ \t]*[-+]?\d.*$",
                     text[:1 << 20])
    if line is None:
        return molecule
    return molecule.replace(remarks=[
        *molecule.remarks, f"its line '{line.group().strip()[:60]}' may speak of a charge and was "
        "not understood; give --charge and --multiplicity"])


def count_structures(path: str, format: str | None = None) -> int:
    """How many structures a file holds that can be chosen by number, as in file.xyz@0."""
    low, high = 0, 1
    while _has(path, format, high):
        low, high = high, 2 * high
    while high - low > 1:
        middle = (low + high) // 2
        low, high = (middle, high) if _has(path, format, middle) else (low, middle)
    return low + 1


def check_place_of(path: str | None, source: str | None, format: str | None = None) -> None:
    """Refuses to write one structure over the file that it comes from, where that holds several:
    all others would be lost."""
    if path is None or source is None or not (os.path.isfile(path) and os.path.isfile(source)):
        return
    if not os.path.samefile(path, source):
        return
    count = count_structures(source, format)
    if count > 1:
        raise UsageError(f"{path}: one structure would be written over the {count} of this file, "
                         "which it is read from; name another file")


def _has(path: str, format: str | None, number: int) -> bool:
    try:
        read_molecule(f"{path}@{number}", format)
    except MoleculeError as error:
        return "there is no frame" not in str(error)
    return True


def text_of(path: str) -> str:
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
    """A molecule from whatever tells of one: itself, a path, a SMILES string where there is no file
    of this name, an ASE Atoms object, a molecule of RDKit, one of QCSchema, or a pair of symbols
    (or atomic numbers) and positions, n x 3, Angstrom."""
    if isinstance(source, Molecule):
        return source
    if isinstance(source, (str, os.PathLike)):
        return _from_name(os.fspath(source), isinstance(source, str))
    if hasattr(source, "get_positions"):
        return from_ase(source)
    if hasattr(source, "GetNumConformers"):
        from orbitrax.molecules.by_rdkit import from_rdkit

        return from_rdkit(source)
    if isinstance(source, dict) and "geometry" in source and "symbols" in source:
        from orbitrax.molecules.inputs import from_qcschema

        return from_qcschema(source)
    if isinstance(source, (tuple, list)) and len(source) == 2:
        symbols, positions = source
        for symbol in symbols:
            if isinstance(symbol, str) and symbol not in NUMBERS:
                raise MoleculeError(f"there is no element '{symbol}'")
        return Molecule([NUMBERS[symbol] if isinstance(symbol, str) else symbol
                         for symbol in symbols], positions)
    raise MoleculeError(f"a {type(source).__name__} is no molecule; give a path, a Molecule, an "
                        "ASE Atoms object, or symbols and positions")


def _from_name(name: str, may_be_smiles: bool) -> Molecule:
    """From a file or, where there is none and the name is no file's, from SMILES."""
    base = name.rpartition("@")[0] if "@" in name else name
    if may_be_smiles and not (os.path.exists(name) or os.path.exists(base)):
        known = any(base.lower().endswith(one.endings) for one in FORMATS)
        if name.strip() and not known and is_smiles(name):
            return from_smiles(name)
    return read_molecule(name)


def is_smiles(text: str) -> bool:
    """Whether RDKit, where it is installed, reads a text as SMILES."""
    try:
        from orbitrax.molecules.by_rdkit import chem

        return chem().MolFromSmiles(text) is not None
    except MoleculeError:
        return False


def from_smiles(smiles: str, seed: int = 61453) -> Molecule:
    """A molecule from a SMILES string, with hydrogens and a force-field geometry, by RDKit. The
    same seed gives the same geometry."""
    from orbitrax.molecules.by_rdkit import from_smiles as made

    return made(smiles, seed)


def _read_ase(source: str | TextIO, format: str | None, title: str, frame: int | None = None
              ) -> Any:
    """ase.io.read of a frame, None for the last one, with whatever it raises turned into one kind
    of error."""
    import ase.io
    import ase.io.formats

    try:
        if frame is not None:
            _check_frame(source, format, title, frame)
        atoms = ase.io.read(source, index=-1 if frame is None else frame, format=format)
    except MoleculeError:
        raise
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


def _check_frame(source: str | TextIO, format: str | None, title: str, frame: int) -> None:
    """Refuses a frame that a file has not; for formats of one structure ASE takes any number."""
    import ase.io
    from ase.io.formats import filetype, ioformats

    if ioformats[format or filetype(source)].single:
        count = 1
    else:
        try:
            if frame >= 0:  # of those from the end some readers take any
                ase.io.read(source, index=frame, format=format)
                return
        except Exception:  # which one it is depends on the reader
            pass
        count = len(ase.io.read(source, index=":", format=format))
    if not -count <= frame < count:
        raise MoleculeError(f"{title}: there is no frame {frame}; it has {count}, counted from 0")


def _from_text(text: str, format: str | None, complete: bool) -> Molecule:
    """A molecule from standard input, which tells its format by its looks unless it is named."""
    title = "standard input"
    if not text.strip():
        raise MoleculeError("standard input is empty; it should hold a molecule, such as an xyz "
                            "file")
    one = format_of(format or _looks(text), "")
    found = None if one is None else one.read(text, title, None, complete)
    if found is not None:
        return found
    if format is None:
        raise MoleculeError("standard input is not an xyz file; name its format with --format, "
                            "such as mol, sdf, pdb, mop, gjf")
    return _from_cell(_read_ase(io.StringIO(text), format, title), title)


def _from_cell(atoms: Any, title: str) -> Molecule:
    """What ASE has read, with a remark where it repeats for ever."""
    molecule = from_ase(atoms, title=title)
    if not atoms.pbc.any():
        return molecule
    return molecule.replace(remarks=[*molecule.remarks, CELL_LEFT_OUT])


def _looks(text: str) -> str | None:
    """The name of the format that a text seems to have."""
    lines = text.splitlines()
    if looks_like_xyz(text):
        return "xyz"
    if len(lines) > 3 and ("V2000" in lines[3] or "V3000" in lines[3]):
        return "sdf"
    if any(line.startswith(("ATOM  ", "HETATM")) for line in lines[:200]):
        return "pdb"
    if any(line.startswith("@<TRIPOS>") for line in lines[:200]):
        return "mol2"
    return "json" if text.lstrip().startswith("{") else None


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
