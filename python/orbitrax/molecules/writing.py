"""Molecules as files: xyz with what is known of it, mol and sdf with bonds, inputs of other
programs, CJSON and QCSchema, and what ASE writes."""

from __future__ import annotations

import json
import os

from orbitrax.errors import MoleculeError, OrbitraxError, UsageError
from orbitrax.molecules.elements import MASSES, formula_of
from orbitrax.molecules.isotope_masses import ISOTOPES
from orbitrax.units import CODATA_ANGSTROM_PER_BOHR

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Callable
    from typing import Any

    from orbitrax.molecules.molecule import Molecule

_PICTURES = ("png", "eps", "svg", "gif", "mp4", "pov", "html", "x3d", "pdf", "jpg", "jpeg")
_MOST_PERCEIVED = 250  # atoms of which bonds are sought

_SAME_MASS = 1e-3  # atomic mass units

_SPINS = ("SINGLET", "DOUBLET", "TRIPLET", "QUARTET", "QUINTET", "SEXTET", "SEPTET")


def xyz_text(molecule: Molecule, about: dict[str, Any] | None = None) -> str:
    """An xyz file whose second line has charge and multiplicity, and `about` by name; with a column
    of masses where the molecule has its own."""
    masses = molecule.plain_masses
    told = {"Properties": masses and "species:S:1:pos:R:3:masses:R:1", "charge": molecule.charge,
            "multiplicity": molecule.multiplicity, **(about or {})}
    comment = " ".join(f"{key}={_shown(value)}" for key, value in told.items()
                       if value is not None)
    lines = [str(len(molecule)), comment]
    for i, symbol in enumerate(molecule.symbols):
        lines.append(f"{symbol:<2}" + "".join(f"{x:16.8f}" for x in molecule.xyz[3 * i:3 * i + 3])
                     + (f"{masses[i]:14.6f}" if masses else ""))
    return "\n".join(lines) + "\n"


def _isotopes(molecule: Molecule) -> list[float | None]:
    """What the atoms weigh; None for those of standard mass."""
    masses = molecule.plain_masses or [None] * len(molecule)
    return [None if mass is None or abs(mass - MASSES[number]) < _SAME_MASS else mass
            for mass, number in zip(masses, molecule.z)]


def _shown(value: Any) -> str:
    if isinstance(value, float):
        return f"{value:.8f}".rstrip("0").rstrip(".")
    return f'"{value}"' if " " in str(value) else str(value)


def mol_text(molecule: Molecule, about: dict[str, Any] | None = None, sdf: bool = False) -> str:
    """A mol file with the bonds of the file that the molecule came from, else with those that Open
    Babel sees in the geometry. sdf: `about` follows as data. Raises MoleculeError where
    no bonds fit."""
    from orbitrax.molecules.by_rdkit import chem

    Chem = chem()
    mol = Chem.Mol(molecule.mol) if molecule.mol is not None else _perceived(molecule)
    for atom, mass in zip(mol.GetAtoms(), _isotopes(molecule)):
        atom.SetIsotope(0 if mass is None else round(mass))
    conformer = Chem.Conformer(len(molecule))
    for i in range(len(molecule)):
        conformer.SetAtomPosition(i, [float(x) for x in molecule.xyz[3 * i:3 * i + 3]])
    conformer.Set3D(True)
    mol.RemoveAllConformers()
    mol.AddConformer(conformer)
    mol.SetProp("_Name", molecule.formula)
    text: str = Chem.MolToMolBlock(mol, includeStereo=False, kekulize=False)
    if not sdf:
        return text
    data = "".join(f">  <{key}>\n{_shown(value)}\n\n" for key, value in (about or {}).items()
                   if value is not None)
    return f"{text}{data}$$$$\n"


def _perceived(molecule: Molecule) -> Any:
    from rdkit import Chem

    from orbitrax.molecules.perceive import with_bonds

    if len(molecule) > _MOST_PERCEIVED:
        raise MoleculeError(f"bonds are not sought in {len(molecule)} atoms; start from a mol or "
                            "sdf file, or write .xyz")
    charge = molecule.charge or 0
    unpaired = (molecule.multiplicity or _lowest(molecule, charge)) > 1
    plain = xyz_text(molecule.replace(masses=None))
    return with_bonds(Chem.MolFromXYZBlock(plain), molecule.title, charge, unpaired)


def _lowest(molecule: Molecule, charge: int) -> int:
    """The lowest multiplicity of so many electrons."""
    return 1 + (sum(molecule.z) - charge) % 2


def gaussian_text(molecule: Molecule, about: dict[str, Any] | None = None) -> str:
    """An input of Gaussian, for AM1."""
    atoms = _atoms(molecule, "(Iso={})")
    return (f"#p {str((about or {}).get('method', 'am1')).upper()}\n\n{molecule.formula}\n\n"
            f"{molecule.charge or 0} {molecule.multiplicity or 1}\n{atoms}\n")


def mopac_text(molecule: Molecule, about: dict[str, Any] | None = None) -> str:
    """An input of MOPAC, for the method that `about` names, or AM1."""
    keys = [str((about or {}).get("method", "am1")).upper(), "XYZ", "1SCF",
            f"CHARGE={molecule.charge or 0}"]
    if (molecule.multiplicity or 1) > 1:
        keys += ["UHF", _SPINS[min(molecule.multiplicity or 1, len(_SPINS)) - 1]]
    words = [symbol if mass is None else f"{symbol}{mass:.6f}"
             for symbol, mass in zip(molecule.symbols, _isotopes(molecule))]
    rows = [f"{word:<2}" + "".join(f"{x:16.8f} 1" for x in molecule.xyz[3 * i:3 * i + 3])
            for i, word in enumerate(words)]
    return "\n".join([" ".join(keys), molecule.formula, "", *rows]) + "\n"


def orca_text(molecule: Molecule, about: dict[str, Any] | None = None) -> str:
    """An input of ORCA."""
    method = str((about or {}).get("method", "am1")).upper()
    return (f"! {method}\n* xyz {molecule.charge or 0} {molecule.multiplicity or 1}\n"
            f"{_atoms(molecule)}*\n")


def _atoms(molecule: Molecule, told: str = "") -> str:
    """Lines of symbols and places. told: how the number of an isotope that is known goes behind the
    symbol, {} where it stands; empty: it is told of deuterium and tritium alone, by D and T."""
    lines = []
    for i, (symbol, mass) in enumerate(zip(molecule.symbols, _isotopes(molecule))):
        name = "" if mass is None else f"{round(mass)}{symbol}"
        if abs(ISOTOPES.get(name, -1.0) - (mass or 0.0)) < _SAME_MASS:
            plain = {"2H": "D", "3H": "T"}.get(name, symbol)
            symbol = symbol + told.format(round(mass or 0.0)) if told else plain
        place = "".join(f"{x:16.8f}" for x in molecule.xyz[3 * i:3 * i + 3])
        lines.append(f"{symbol:<2}{place}\n")
    return "".join(lines)


def cjson_text(molecule: Molecule, about: dict[str, Any] | None = None) -> str:
    """A CJSON document."""
    told = {"totalCharge": molecule.charge or 0,
            "totalSpinMultiplicity": molecule.multiplicity or 1}
    if about and about.get("energy") is not None:
        told["totalEnergy"] = about["energy"]
    document: dict[str, Any] = {
        "chemicalJson": 1, "name": molecule.formula, "formula": formula_of(molecule.symbols),
        "atoms": {"elements": {"number": list(molecule.z)},
                  "coords": {"3d": list(molecule.xyz)}},
        "properties": told}
    return json.dumps(document) + "\n"


def qcschema_text(molecule: Molecule, about: dict[str, Any] | None = None) -> str:
    """A molecule of QCSchema."""
    own = {} if molecule.plain_masses is None else {"masses": list(molecule.plain_masses)}
    return json.dumps({
        "schema_name": "qcschema_molecule", "schema_version": 2, "symbols": molecule.symbols,
        "geometry": [x / CODATA_ANGSTROM_PER_BOHR for x in molecule.xyz],
        "molecular_charge": molecule.charge or 0,
        "molecular_multiplicity": molecule.multiplicity or 1, **own}) + "\n"


WRITERS: dict[str, Callable[[Molecule, dict[str, Any] | None], str]] = {  # by ending
    ".xyz": xyz_text, ".mol": mol_text, ".gjf": gaussian_text, ".com": gaussian_text,
    ".mop": mopac_text, ".inp": orca_text, ".cjson": cjson_text, ".json": qcschema_text,
}


def _sdf_text(molecule: Molecule, about: dict[str, Any] | None = None) -> str:
    return mol_text(molecule, about, sdf=True)


WRITERS.update({".sdf": _sdf_text, ".sd": _sdf_text})
_WITH_BONDS = (".mol", ".sdf", ".sd")


def check_name(path: str) -> None:
    """Refuses a name that stands for no format that can be written."""
    if path != "-" and _ending(path) not in WRITERS:
        _ase_format(path)


def check_bonds(path: str, molecule: Molecule) -> None:
    """Raises MoleculeError where a file of this name takes bonds, and the molecule shows none that
    fit: better before anything is computed than after."""
    if _ending(path) in _WITH_BONDS:
        mol_text(molecule)


def what_is_lost(path: str, molecule: Molecule) -> str | None:
    """What to say of a file that was written and does not tell charge, multiplicity or isotopes, by
    reading it; None where it tells them, they are what everybody assumes, or it is a pipe, which
    cannot be read again."""
    from orbitrax.molecules.reading import read_molecule

    if not os.path.isfile(path):
        return None
    try:
        read = read_molecule(path)
    except OrbitraxError:
        return None
    charge = molecule.charge or 0
    multiplicity = molecule.multiplicity or _lowest(molecule, charge)
    found = read.charge or 0
    if (found, read.multiplicity or _lowest(read, found)) == (charge, multiplicity):
        weighed = zip(_isotopes(molecule), _isotopes(read))
        if all(abs((mass or 0.0) - (other or 0.0)) < _SAME_MASS for mass, other in weighed):
            return None
        return (f"{path} does not tell what isotopes the atoms are, and is read with standard "
                "masses; an xyz file would tell")
    return (f"{path} does not tell of charge {charge} and multiplicity {multiplicity}, and is read "
            f"as another state without --charge {charge} --multiplicity {multiplicity}; an xyz "
            "file would tell")


def write_molecule(path: str, molecule: Molecule, about: dict[str, Any] | None = None) -> None:
    """Writes a molecule in the format of the file's name; the file appears whole or not at all.
    about: what is known of it, by name, for formats that have a place for that."""
    from orbitrax.files import replaced

    writer = WRITERS.get(_ending(path))
    if writer is not None:
        text = writer(molecule, about)
        with replaced(path) as name, open(name, "w", encoding="utf-8") as file:
            file.write(text)
        return
    _write_by_ase(path, molecule)


def _write_by_ase(path: str, molecule: Molecule) -> None:
    import ase.io
    from ase import Atoms

    from orbitrax.files import replaced

    atoms = Atoms(numbers=molecule.numbers, positions=molecule.positions,
                  masses=molecule.plain_masses, info={
                      "charge": molecule.charge or 0, "multiplicity": molecule.multiplicity or 1})
    try:
        with replaced(path) as name:
            ase.io.write(name, atoms, format=_ase_format(path))
    except (ValueError, RuntimeError, KeyError, AttributeError, TypeError) as error:
        raise OrbitraxError(f"{path}: cannot be written in this format: {error}") from None


def _ase_format(path: str) -> str:
    """The format in which ASE writes a file of this name."""
    import ase.io.formats

    try:
        name: str = ase.io.formats.filetype(path, read=False)
        picture = name in _PICTURES or _ending(path)[1:] in _PICTURES
        if ase.io.formats.ioformats[name].can_write and not picture:
            return name
    except (ase.io.formats.UnknownFileTypeError, KeyError):
        pass
    raise UsageError(f"{path}: no format that can be written goes by this name; try .xyz, .mol, "
                     ".sdf or .pdb ('orbitrax plot' draws pictures)")


def _ending(path: str) -> str:
    return os.path.splitext(path)[1].lower()
