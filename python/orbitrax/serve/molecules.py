"""Molecules as the page has them: as JSON, from SMILES, drawings and files that are dropped."""

from __future__ import annotations

import os
import tempfile

from orbitrax.errors import MoleculeError
from orbitrax.molecules.molecule import Molecule
from orbitrax.molecules.reading import FORMATS, from_smiles, read_molecule

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any

MOST_ATOMS = 5000
_LONGEST_NAME = 80
# Endings of files that ASE reads by parsing text, beside those of FORMATS.
_BY_ASE = (".cif", ".cube", ".gen", ".vasp", ".poscar", ".xsd", ".xsf", ".gro", ".car", ".res",
           ".cml", ".tmol", ".nw", ".in", ".fdf", ".cell", ".out", ".log")
ENDINGS = tuple(sorted({*(ending for one in FORMATS for ending in one.endings), *_BY_ASE}))


def to_json(molecule: Molecule) -> dict[str, Any]:
    """A molecule for the page. masses and point_charges are there where it has some."""
    own = {"masses": molecule.plain_masses, "point_charges": molecule.plain_charges}
    return {"numbers": list(molecule.z), "symbols": molecule.symbols,
            "positions": [round(x, 6) for x in molecule.xyz], "charge": molecule.charge,
            "multiplicity": molecule.multiplicity, "title": molecule.title,
            "formula": molecule.formula, "remarks": [*molecule.remarks, *molecule.notes],
            **{name: list(values) for name, values in own.items() if values is not None}}


def from_json(given: Any) -> Molecule:
    """A molecule that the page sends back. Raises MoleculeError for what is none."""
    try:
        numbers, positions = [int(z) for z in given["numbers"]], [
            float(x) for x in given["positions"]]
        own = {name: [float(x) for x in given[name]] for name in ("masses", "point_charges")
               if given.get(name) is not None}
        charge, multiplicity = given.get("charge"), given.get("multiplicity")
        whole = [value is None or (isinstance(value, int) and abs(value) < 1000)
                 for value in (charge, multiplicity)]
    except (KeyError, TypeError, ValueError, AttributeError, OverflowError):
        raise MoleculeError("this is no molecule: it needs numbers and positions") from None
    if not all(whole):
        raise MoleculeError("charge and multiplicity should be whole numbers")
    if len(numbers) > MOST_ATOMS:
        raise MoleculeError(f"{len(numbers)} atoms are more than the page takes, {MOST_ATOMS}; use "
                            "the command line")
    return Molecule(numbers, positions, charge, multiplicity, own.get("masses"),
                    own.get("point_charges"),
                    title=safe_name(str(given.get("title") or "molecule")))


def safe_name(name: str) -> str:
    """The last part of a name without what could be an order to a terminal or a folder."""
    last = name.replace("\\", "/").rstrip("/").rpartition("/")[2]
    shown = "".join(c if c.isprintable() else "?" for c in last).strip()
    return shown[:_LONGEST_NAME] or "molecule"


def read_dropped(given: dict[str, Any]) -> Molecule:
    """The molecule of what was typed, drawn or dropped: `smiles`, or `text` with the `name` of a
    file. Nothing is opened but a file of our own that holds the text."""
    if isinstance(given.get("smiles"), str):
        text = given["smiles"].strip()
        if not text:
            raise MoleculeError("type a SMILES string, as CCO for ethanol")
        return from_smiles(text).replace(title=safe_name(text.replace("/", "|")))
    text, name = given.get("text"), given.get("name")
    if not isinstance(text, str) or not isinstance(name, str):
        raise MoleculeError("send a smiles, or the text and the name of a file")
    return _read_text(text, safe_name(name))


def _read_text(text: str, name: str) -> Molecule:
    ending = next((one for one in ENDINGS if name.lower().endswith(one)), None)
    if name.upper() in ("POSCAR", "CONTCAR"):
        ending = ".poscar"
    if ending is None:
        raise MoleculeError(f"{name}: its ending does not tell a format that the page reads; those "
                            f"are {', '.join(ENDINGS)}")
    with tempfile.TemporaryDirectory(prefix="orbitrax-page-") as folder:
        path = os.path.join(folder, f"dropped{ending}")
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
        try:
            found = read_molecule(path, _format(ending), complete=True)
        except MoleculeError as error:
            raise MoleculeError(error.typed.replace(path, name)) from None
    if len(found) > MOST_ATOMS:
        raise MoleculeError(f"{name}: {len(found)} atoms are more than the page takes, "
                            f"{MOST_ATOMS}; use the command line")
    said = [one.replace(path, name) for one in found.remarks]
    return found.replace(title=name, remarks=said, notes=[
        one.replace(path, name) for one in found.notes])


def _format(ending: str) -> str | None:
    return {".poscar": "vasp", ".tmol": "turbomole"}.get(ending)
