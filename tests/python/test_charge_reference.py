"""The table of molecules whose charges differ from the reference's, and its reasons."""

import dataclasses
import re
import sys

import freesolv
import pytest
import support

from rdkit.Chem import rdMolTransforms

sys.path.append(str(support.ROOT / "benchmarks"))

from charges_turned import deviation_in_shape, leaning  # noqa: E402

PAGE = support.ROOT / "docs" / "charges-reference.md"
SHOWN = 0.01  # e
TRIAZINE = "2-N-ethyl-6-(methylsulfanyl)-4-N-(propan-2-yl)-1,3,5-triazine-2,4-diamine"
LEAN = re.compile(r"(H\d+) (-?\d+) out of the plane of ((?:[A-Z][a-z]?\d+ ?){3})")
TURN = re.compile(r"([A-Z][a-z]?\d+(?:-[A-Z][a-z]?\d+){3}) (-?\d+)")


def rows():
    """The cells of each molecule's row, by its name."""
    table = PAGE.read_text(encoding="utf-8").partition("| Molecule |")[2].splitlines()[2:]
    cells = [[cell.strip() for cell in line.strip("|").split(" | ")] for line in table
             if line.startswith("|")]
    return {row[0].strip("| "): row for row in cells}


def test_each_molecule_above_the_limit_has_its_reason():
    found = rows()
    assert len(found) > 40
    assert min(float(row[2]) for row in found.values()) > SHOWN
    without = [name for name, row in found.items() if not row[-1].startswith("conformer: ")]
    assert without == []


@pytest.mark.parametrize("name", ["fenuron", "acetylsalicylic acid", "4-propylguaiacol",
                                  "propyl propanoate", "pyrrolidine", TRIAZINE])
def test_the_shape_that_is_named_has_the_charges(name):
    """Other programs' charges, in a shape that the page tells in a few angles."""
    reason = rows()[name][-1]
    reference = next(r for r in freesolv.molecules() if r.name == name)
    for names, angle in TURN.findall(reason):
        chain = [int(re.sub(r"\D", "", atom)) - 1 for atom in names.split("-")]
        rdMolTransforms.SetDihedralDeg(reference.mol.GetConformer(), *chain, float(angle))
    mol = reference.mol
    for top, angle, rest in LEAN.findall(reason):
        mol = leaning(mol, [int(re.sub(r"\D", "", atom)) - 1 for atom in (top, *rest.split())],
                      float(angle))
    reference = dataclasses.replace(reference, mol=mol)
    told = float(re.search(r"\((0\.\d+)\)", reason)[1])
    assert told <= SHOWN
    # Angles stand there in whole degrees.
    assert deviation_in_shape(reference) == pytest.approx(told, abs=5e-4)
