"""Charges as files: one writer for each format, told by the ending of the name."""

from __future__ import annotations

import csv
import io
import json
import os
from typing import Any, Callable, Sequence

from rdkit import Chem

from orbitrax import __version__
from orbitrax.atomic_charges.assign import Charges
from orbitrax.atomic_charges.mol2 import atom_names, mol2_text
from orbitrax.atomic_charges.settings import MODELS
from orbitrax.errors import UsageError
from orbitrax.files import replaced

SCHEMA = "orbitrax-charges-1"


def writer_of(path: str) -> Callable[[Sequence[Charges]], str]:
    """What makes the text of a file of this name from the charges of one or more molecules."""
    ending = os.path.splitext(path)[1].lower()
    if ending not in WRITERS:
        raise UsageError(f"{path}: no format for charges goes by this name; there are "
                         + ", ".join(WRITERS))
    return WRITERS[ending]


def write(path: str, found: Sequence[Charges]) -> None:
    """Writes a file, in the format of its name; it appears whole or not at all."""
    text = writer_of(path)(found)
    with replaced(path) as name, open(name, "w", encoding="utf-8") as file:
        file.write(text)


def printed(entry: Charges) -> list[str]:
    """The charges as they stand in every file."""
    return [f"{value:.{entry.digits}f}" for value in entry.charges]


def document(entry: Charges) -> dict[str, Any]:
    """The JSON document of a molecule. Charges in e, by atom; atoms counted from 1; coordinates in
    Angstrom, where the populations were computed; heat of formation in kcal/mol."""
    mol = entry.mol
    return {
        "schema": SCHEMA, "version": __version__, "title": entry.title, "model": entry.model,
        "smiles": Chem.MolToSmiles(Chem.RemoveHs(mol)), "formal_charge": entry.formal_charge,
        "symbols": [atom.GetSymbol() for atom in mol.GetAtoms()],
        "charges": [float(text) for text in printed(entry)],
        "populations": [round(value, 6) for value in entry.populations.tolist()],
        "equal_atoms": entry.classes.tolist(),
        "bonds": [{"atoms": [index + 1 for index in bond.atoms], "codes": list(bond.codes),
                   "correction": bond.value} for bond in entry.corrections],
        "coordinates_angstrom": entry.positions.tolist(),
        "heat_of_formation": entry.heat_of_formation, "conformers": entry.conformers,
        "energies": entry.energies, "scf_retries": entry.retries, "notes": entry.notes,
        "wall_seconds": entry.wall_seconds}


# ---- the formats --------------------------------------------------------------------------------


def _mol2(found: Sequence[Charges]) -> str:
    return "\n".join(map(mol2_text, found))


def _sdf(found: Sequence[Charges]) -> str:
    """With the property that RDKit and the Open Force Field toolkit read charges from."""
    records = []
    for entry in found:
        mol = Chem.Mol(entry.mol)
        mol.SetProp("_Name", " ".join(entry.title.split()))
        records.append(f"{Chem.MolToMolBlock(mol)}> <atom.dprop.PartialCharge>\n"
                       + _folded(printed(entry))
                       + f"\n\n> <charge_model>\n{entry.model}\n\n$$$$\n")
    return "".join(records)


def _folded(words: list[str]) -> str:
    """Words in lines of at most 200 characters, as SD files allow."""
    lines = [""]
    for word in words:
        if len(lines[-1]) + len(word) > 190:
            lines.append("")
        lines[-1] += (" " if lines[-1] else "") + word
    return "\n".join(lines)


def _json(found: Sequence[Charges]) -> str:
    documents = [document(entry) for entry in found]
    return json.dumps(documents if len(documents) != 1 else documents[0], allow_nan=False) + "\n"


def _csv(found: Sequence[Charges]) -> str:
    text = io.StringIO()
    rows = csv.writer(text, lineterminator="\n")
    rows.writerow(["molecule", "atom", "name", "element", "charge", "population"])
    for entry in found:
        names, texts = atom_names(entry.mol), printed(entry)
        for atom in entry.mol.GetAtoms():
            i = atom.GetIdx()
            rows.writerow([entry.title, i + 1, names[i], atom.GetSymbol(), texts[i],
                           f"{entry.populations[i]:.6f}"])
    return text.getvalue()


def _openmm(found: Sequence[Charges]) -> str:
    """A force field of OpenMM with a residue for each molecule: its charges, and no other
    interaction."""
    types, residues = [], []
    for number, entry in enumerate(found, 1):
        residue = f"LIG{number}" if len(found) > 1 else "LIG"
        lines = [f"  <Residue name={_quoted(residue)}>"]
        for atom, name, charge in zip(entry.mol.GetAtoms(), atom_names(entry.mol), printed(entry)):
            kind = f"{residue}-{name}"
            types.append(f'  <Type name="{kind}" class="{kind}" element="{atom.GetSymbol()}" '
                         f'mass="{atom.GetMass():.4f}"/>')
            lines.append(f'   <Atom name="{name}" type="{kind}" charge="{charge}"/>')
        lines += [f'   <Bond from="{bond.GetBeginAtomIdx()}" to="{bond.GetEndAtomIdx()}"/>'
                  for bond in entry.mol.GetBonds()]
        residues += [*lines, "  </Residue>"]
    kinds = [line.split('"')[1] for line in types]
    return "\n".join([
        "<ForceField>", f" <!-- {_remark(found)}; charges alone, Lennard-Jones terms are 0 -->",
        " <AtomTypes>", *types, " </AtomTypes>", " <Residues>", *residues, " </Residues>",
        ' <NonbondedForce coulomb14scale="0.833333" lj14scale="0.5">',
        '  <UseAttributeFromResidue name="charge"/>',
        *(f'  <Atom type="{kind}" sigma="1" epsilon="0"/>' for kind in kinds),
        " </NonbondedForce>", "</ForceField>", ""])


def _smirnoff(found: Sequence[Charges]) -> str:
    """Library charges for the force fields of the Open Force Field initiative."""
    lines = ['<SMIRNOFF version="0.3" aromaticity_model="OEAroModel_MDL">',
             f"  <!-- {_remark(found)} -->", '  <LibraryCharges version="0.3">']
    for entry in found:
        mol = Chem.Mol(entry.mol)
        for atom in mol.GetAtoms():
            atom.SetAtomMapNum(atom.GetIdx() + 1)
        values = " ".join(f'charge{i}="{text} * elementary_charge"'
                          for i, text in enumerate(printed(entry), 1))
        lines.append(f"    <LibraryCharge smirks={_quoted(Chem.MolToSmiles(mol))} "
                     f"{values}/>")
    return "\n".join([*lines, "  </LibraryCharges>", "</SMIRNOFF>", ""])


def _remark(found: Sequence[Charges]) -> str:
    models = sorted({entry.model for entry in found})
    what = "; ".join(MODELS[model] for model in models)
    return f"Orbitrax {__version__}: {', '.join(models)} ({what})".replace("--", "- -")


WRITERS = {".mol2": _mol2, ".sdf": _sdf, ".json": _json, ".csv": _csv, ".xml": _openmm,
           ".offxml": _smirnoff}


def _quoted(text: str) -> str:
    """A text as the value of an attribute. The module brings all of urllib with it, which others
    than these formats need not wait for."""
    from xml.sax.saxutils import quoteattr

    return quoteattr(text)
