#!/usr/bin/python3
"""Compares AM1-BCC charges with those of FreeSolv's molecules, which a commercial toolkit made.

    benchmarks/charges_reference.py [--write]

Each molecule is charged from the conformer of the file, at the minimum that the search finds there
and at the one with the torsions held; and where both differ by more than 0.01 e (root mean square),
at the minima of up to twelve other conformers. Prints the distribution, and a table of those that
differ by more than 0.01 e; --write puts them into docs/charges-reference.md. Of those that no
minimum explains, bonds are turned: charges_turned.py.
"""

import argparse
import os
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
sys.path[:0] = [str(ROOT / "python"), str(ROOT / "tests" / "python")]
os.environ.setdefault("OPENBLAS_NUM_THREADS", "1")
os.environ["PYTHONPATH"] = str(ROOT / "python")

import numpy as np  # noqa: E402
from charges_turned import nearest_shape  # noqa: E402
from freesolv import molecules  # noqa: E402
from rdkit import Chem  # noqa: E402

from orbitrax.atomic_charges import conformers  # noqa: E402
from orbitrax.atomic_charges.batch import Failure, assign_all  # noqa: E402
from orbitrax.atomic_charges.settings import ChargeSettings  # noqa: E402
from orbitrax.atomic_charges.structure import kekule_form  # noqa: E402
from orbitrax.molecules import force_field  # noqa: E402

SHOWN, OTHERS = 0.01, 12
PAGE = ROOT / "docs" / "charges-reference.md"


def deviations(references, settings):
    """Root mean square deviations, e; NaN for a molecule without charges."""
    found = assign_all(((r.name, r.mol) for r in references), settings)
    return [np.nan if isinstance(entry, Failure) else reference.deviation(entry.charges)
            for reference, entry in zip(references, found)]


def with_positions(mol, positions):
    """A copy of a molecule elsewhere."""
    mol = Chem.Mol(mol)
    mol.RemoveAllConformers()
    shape = Chem.Conformer(mol.GetNumAtoms())
    for index, place in enumerate(positions.tolist()):
        shape.SetAtomPosition(index, place)
    mol.AddConformer(shape)
    return mol


def other_conformers(reference):
    """The geometries that RDKit finds of a molecule, and their minima by a force field."""
    form = kekule_form(reference.mol)
    Chem.SanitizeMol(form)
    found = conformers.embedded(form, OTHERS)
    return found, [force_field.relaxed(form, positions)[0] for positions in found]


def nearest_conformer(references):
    """For each molecule the least deviation among minima from other conformers."""
    tasks, owners = [], []
    for number, reference in enumerate(references):
        for positions in other_conformers(reference)[1]:
            tasks.append((reference.name, with_positions(reference.mol, positions)))
            owners.append(number)
    best = [np.nan] * len(references)
    for number, entry in zip(owners, assign_all(tasks)):
        if not isinstance(entry, Failure):
            best[number] = np.nanmin([best[number], references[number].deviation(entry.charges)])
    return best


def reason(free, held, other, reference):
    """Why a molecule differs, in words."""
    if held <= SHOWN and held <= other:
        return "conformer: with torsions held it agrees"
    if other <= SHOWN:
        return "conformer: another one agrees"
    least, turns = nearest_shape(reference, SHOWN)
    found = "agrees" if least <= SHOWN else "is nearer" if least < 0.75 * free else ""
    if not found:
        return f"open: no shape that was tried agrees ({least:.4f})"
    if not turns:
        return f"conformer: with rings and flat nitrogens held, too, it {found} ({least:.4f})"
    return f"conformer: turned to {turns} it {found} ({least:.4f})"


def main():
    """Runs the comparison."""
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--write", action="store_true", help="write docs/charges-reference.md")
    write = parser.parse_args().write
    references = molecules()
    free = deviations(references, ChargeSettings())
    held = deviations(references, ChargeSettings(hold="torsions"))
    far = [i for i, values in enumerate(zip(free, held)) if not min(values) <= SHOWN]
    others = dict(zip(far, nearest_conformer([references[i] for i in far])))
    best = [np.nanmin([free[i], held[i], others.get(i, np.nan)]) for i in range(len(free))]
    lines = ["| | Median | 90 % below | 95 % below | Largest | Above 0.01 e |",
             "|---|---|---|---|---|---|"]
    for words, values in (("at the minimum next to the file's conformer", free),
                          ("the same with its torsions held", held),
                          ("at the nearest of the minima tried", best)):
        values = np.array(values)
        lines.append(f"| {words} | {np.median(values):.4f} | {np.quantile(values, 0.9):.4f} | "
                     f"{np.quantile(values, 0.95):.4f} | {values.max():.4f} | "
                     f"{int((values > SHOWN).sum())} of {len(values)} |")
    lines += ["", "| Molecule | SMILES | File's conformer | Torsions held | Nearest other | Reason "
              "|", "|---|---|---|---|---|---|"]
    for i in sorted((i for i in range(len(free)) if free[i] > SHOWN), key=lambda i: -free[i]):
        other = f"{others[i]:.4f}" if i in others else ""
        lines.append(f"| {references[i].name.replace('|', ' ')} | `{references[i].smiles}` | "
                     f"{free[i]:.4f} | {held[i]:.4f} | {other} | "
                     f"{reason(free[i], held[i], others.get(i, np.inf), references[i])} |")
    text = "\n".join(lines) + "\n"
    print(text)
    if write:
        page = PAGE.read_text(encoding="utf-8")
        head, _, rest = page.partition("<!-- table -->\n")
        _, mark, tail = rest.partition("<!-- end of table -->")
        PAGE.write_text(f"{head}<!-- table -->\n{text}{mark}{tail}", encoding="utf-8")


if __name__ == "__main__":
    main()
