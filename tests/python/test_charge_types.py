"""Aromatic rings, kinds of atoms and bonds, and the corrections that follow from them."""

import csv

import numpy as np
import pytest
import support

from rdkit import Chem, RDLogger

from orbitrax.atomic_charges import bond_types
from orbitrax.atomic_charges.aromatic import find_aromaticity
from orbitrax.atomic_charges.atom_types import RULES, atom_code
from orbitrax.atomic_charges.corrections import add_up, correction, corrections_of, missing, table
from orbitrax.atomic_charges.equal_atoms import average, equal_atoms
from orbitrax.atomic_charges.structure import kekule_form

RDLogger.DisableLog("rdApp.*")
TABLE = support.ROOT / "python" / "orbitrax" / "atomic_charges" / "corrections.csv"


def molecule(smiles: str):
    """A molecule with its hydrogens, in the form that types are read from."""
    return kekule_form(Chem.AddHs(Chem.MolFromSmiles(smiles)))


def codes(smiles: str) -> list:
    """Codes of the atoms of a SMILES string but its implicit hydrogens."""
    mol = molecule(smiles)
    aromaticity = find_aromaticity(mol)
    heavy = Chem.MolFromSmiles(smiles).GetNumAtoms()
    return [atom_code(atom, aromaticity) for atom in list(mol.GetAtoms())[:heavy]]


def bond(smiles: str, i: int, j: int) -> tuple:
    """The codes (i, b, j) of a bond, the atoms in this order."""
    for entry in corrections_of(molecule(smiles)):
        if entry.atoms == (i, j):
            return entry.codes
        if entry.atoms == (j, i):
            return entry.codes[::-1]
    raise AssertionError("no such bond")


# ---- aromatic rings -----------------------------------------------------------------------------


@pytest.mark.parametrize("name,smiles,rings", [
    ("benzene", "c1ccccc1", [6]),
    ("naphthalene", "c1ccc2ccccc2c1", [6, 6]),
    ("phenanthrene", "c1ccc2c(c1)ccc1ccccc12", [6, 6, 6]),
    ("coronene", "c1cc2ccc3ccc4ccc5ccc6ccc1c7c2c3c4c5c67", [6] * 7),
    ("perylene's middle ring has no double bond of its own",
     "c1cc2cccc3c4cccc5cccc(c(c1)c23)c45", [6] * 4),
    ("pyridine", "c1ccncc1", [6]), ("pyrylium", "c1cc[o+]cc1", [6]),
    ("indole", "c1ccc2[nH]ccc2c1", [5, 6]),
    ("carbazole's five-ring has its double bonds in the six-rings", "c1ccc2c(c1)[nH]c1ccccc12",
     [6, 6]),
    ("isoindole's six-ring has them in the five-ring", "c1ccc2c[nH]cc2c1", [5]),
    ("imidazole", "c1c[nH]cn1", [5]), ("furan", "c1ccoc1", [5]), ("thiazole", "c1cscn1", [5]),
    ("tetrazole's anion", "c1nnn[n-]1", [5]), ("cyclopentadienide", "[cH-]1cccc1", [5]),
    ("tropylium", "c1ccc[cH+]cc1", [7]),
    ("caffeine: the six-ring's double bonds point outside", "Cn1cnc2c1c(=O)n(C)c(=O)n2C", [5]),
    ("uracil", "O=c1cc[nH]c(=O)[nH]1", []), ("pyridone", "O=c1cccc[nH]1", []),
    ("cyanuric acid", "O=c1[nH]c(=O)[nH]c(=O)[nH]1", []), ("quinone", "O=C1C=CC(=O)C=C1", []),
    ("cyclooctatetraene", "C1=CC=CC=CC=C1", []), ("azulene", "c1ccc2cccc2cc1", []),
    ("adenine", "Nc1ncnc2[nH]cnc12", [5, 6]),
    ("coumarin", "O=c1ccc2ccccc2o1", [6]),
])
def test_these_rings_are_aromatic(name, smiles, rings):
    assert sorted(map(len, find_aromaticity(molecule(smiles)).rings)) == rings, name


def test_another_kekule_structure_has_the_same_rings():
    """All three of naphthalene, written out."""
    forms = ["C1=CC=C2C=CC=CC2=C1", "C1=CC2=CC=CC=C2C=C1", "C1=CC=C2C(=C1)C=CC=C2"]
    for smiles in forms:
        mol = Chem.MolFromSmiles(smiles, sanitize=False)
        mol.UpdatePropertyCache()
        mol = Chem.AddHs(mol)
        Chem.GetSymmSSSR(mol)
        assert len(find_aromaticity(mol).rings) == 2, smiles


# ---- atoms --------------------------------------------------------------------------------------


@pytest.mark.parametrize("smiles,expected", [
    ("CC", [11, 11]), ("C=C", [12, 12]), ("CC=N", [11, 13, 24]), ("CC=O", [11, 14, 31]),
    ("C#C", [15, 15]), ("CC#N", [11, 15, 25]), ("C=C=C", [12, 15, 12]),
    ("c1ccncc1", [16, 16, 17, 24, 17, 16]),
    ("c1ccoc1", [16, 16, 17, 31, 17]), ("c1ccsc1", [16, 16, 16, 51, 16]),
    ("c1cc[nH]c1", [16, 16, 16, 23, 16]), ("c1c[nH]cn1", [17, 16, 23, 17, 24]),
    ("CN", [11, 21]), ("Nc1ccccc1", [21] + [16] * 6), ("C[NH3+]", [11, 21]),
    ("CC(N)=O", [11, 14, 22, 31]), ("CC(N)=S", [11, 14, 22, 51]),
    ("C[N+](=O)[O-]", [11, 23, 31, 31]), ("NC(N)=[NH2+]", [23, 13, 23, 23]),
    ("NC(N)=N", [21, 13, 21, 24]), ("CN=NC", [11, 24, 24, 11]),
    ("CN=[N+]=[N-]", [11, 24, 25, 25]), ("[C-]#[N+]C", [15, 25, 11]),
    ("c1nnn[n-]1", [17, 24, 24, 24, 24]), ("CS(=O)(=O)[N-]C", [11, 53, 31, 31, 21, 11]),
    ("COC(C)=O", [11, 31, 14, 11, 32]), ("O=C1CCCO1", [33, 14, 11, 11, 11, 31]),
    ("O=C1CCCN1", [33, 14, 11, 11, 11, 22]), ("CO", [11, 31]),
    ("CP(C)C", [11, 41, 11, 11]), ("CP(C)(C)=O", [11, 42, 11, 11, 31]),
    ("CSC", [11, 51, 11]), ("CS(C)=O", [11, 52, 11, 31]), ("CS(C)(=O)=O", [11, 53, 11, 31, 31]),
    ("C[Si](C)(C)C", [11, 61, 11, 11, 11]),
    ("FC(Cl)(Br)I", [71, 11, 72, 73, 74]),
    ("C[NH+]=C", [11, 23, 13]), ("c1cc[nH+]cc1N", [16, 16, 16, 23, 16, 16, 21]),
    ("Nc1cccc[nH+]1", [23, 16, 16, 16, 16, 16, 23]),
    ("CB(O)O", [11, None, 31, 31]), ("[H][H]", [91, 91]),
])
def test_an_atom_has_this_code(smiles, expected):
    assert codes(smiles) == expected


def test_the_rules_stand_by_element_and_each_code_once():
    found = [rule.code for rule in RULES]
    assert len(set(found)) == len(found)
    used = {code for row in table() for code in (row[0], row[2])}
    assert used == set(found)


# ---- bonds --------------------------------------------------------------------------------------


@pytest.mark.parametrize("smiles,i,j,expected", [
    ("CC", 0, 1, (11, 1, 11)), ("C=C", 0, 1, (12, 2, 12)), ("CC#N", 1, 2, (15, 3, 25)),
    ("c1ccccc1", 0, 1, (16, 7, 16)), ("c1ccccc1-c1ccccc1", 5, 6, (16, 1, 16)),
    ("CC(=O)[O-]", 1, 2, (14, 9, 31)), ("CC(=O)[O-]", 1, 3, (14, 9, 31)),
    ("COC(=O)[O-]", 2, 3, (14, 9, 31)), ("COC(=O)[O-]", 2, 4, (14, 9, 31)),
    ("CC(=O)O", 1, 2, (14, 2, 32)), ("CC(=O)O", 1, 3, (14, 1, 31)),
    ("C[N+](=O)[O-]", 1, 2, (23, 9, 31)), ("C[N+](=O)[O-]", 1, 3, (23, 9, 31)),
    ("[O-][n+]1ccccc1", 0, 1, (31, 6, 23)), ("C[N+](C)(C)[O-]", 1, 4, (21, 6, 31)),
    ("CC#[N+][O-]", 2, 3, (25, 6, 31)),
    ("CS(=O)(=O)[O-]", 1, 2, (53, 9, 31)), ("CS(=O)(=O)[O-]", 1, 4, (53, 9, 31)),
    ("CS(=O)(=O)N", 1, 2, (53, 2, 31)), ("CS(=O)(=O)[N-]C", 1, 2, (53, 2, 31)),
    ("COP(=O)([O-])[O-]", 2, 3, (42, 9, 31)), ("COP(=O)([O-])[O-]", 2, 4, (42, 9, 31)),
    ("COP(=O)([O-])[O-]", 1, 2, (31, 1, 42)),
    ("COP(=O)(C)[S-]", 2, 5, (42, 2, 51)), ("COP(=S)(C)[O-]", 2, 3, (42, 2, 51)),
    ("COP(=S)(C)[O-]", 2, 5, (42, 9, 31)),
    ("[O-]c1ccccc1", 0, 1, (31, 9, 16)), ("C[S-]", 0, 1, (11, 9, 51)),
    ("CS(C)=O", 1, 3, (52, 2, 31)), ("CON=O", 2, 3, (24, 2, 31)),
])
def test_a_bond_has_these_codes(smiles, i, j, expected):
    assert bond(smiles, i, j) == expected


# ---- corrections --------------------------------------------------------------------------------


def test_the_aromatic_bonds_of_the_table_are_alike_so_that_they_can_be_one():
    rows = {}
    with open(TABLE, encoding="utf-8") as file:
        for row in csv.DictReader(line for line in file if not line.startswith("#")):
            rows[int(row["i"]), int(row["b"]), int(row["j"])] = float(row["value"])
    doubles = {key: value for key, value in rows.items() if key[1] == 8}
    assert len(rows) == 354 and len(doubles) > 10
    assert all(rows[i, 7, j] == value for (i, _, j), value in doubles.items())


def test_a_correction_read_backwards_changes_its_sign():
    assert correction(11, bond_types.SINGLE, 91) == 0.0393
    assert correction(91, bond_types.SINGLE, 11) == -0.0393
    assert correction(53, bond_types.SINGLE, 53) == 0.0  # not in the table; nothing can move
    assert correction(11, bond_types.SINGLE, None) is None
    assert correction(74, bond_types.SINGLE, 42) is None


def test_corrections_only_move_charge():
    for smiles in ("CC(=O)Nc1ccc(O)cc1", "C[N+](C)(C)CC([O-])=O", "COP(=O)([O-])OC"):
        mol = molecule(smiles)
        assert add_up(corrections_of(mol), mol.GetNumAtoms()).sum() == pytest.approx(0, abs=1e-12)


def test_methane_by_hand():
    mol = molecule("C")
    assert add_up(corrections_of(mol), 5) == pytest.approx([4 * 0.0393] + [-0.0393] * 4)


def test_a_bond_without_a_correction_is_named():
    mol = molecule("CB(O)O")
    assert missing(corrections_of(mol), mol) == [
        "the single bond C1-B2 (11 01 ??)", "the single bond B2-O3 (?? 01 31)",
        "the single bond B2-O4 (?? 01 31)"]


# ---- equal atoms --------------------------------------------------------------------------------


@pytest.mark.parametrize("smiles,together", [
    ("CC(=O)[O-]", [(2, 3)]), ("C[N+](=O)[O-]", [(2, 3)]), ("NC(N)=[NH2+]", [(0, 2, 3)]),
    ("COP(=O)([O-])[O-]", [(3, 4, 5)]), ("Cc1ccccc1", [(2, 6), (3, 5)]),
    ("CC(C)O", [(0, 2)]), ("C1=CN=CN1C", []), ("[O-]S(=O)(=O)C", [(0, 2, 3)]),
])
def test_equal_atoms_share_a_class(smiles, together):
    classes = equal_atoms(molecule(smiles))
    heavy = range(Chem.MolFromSmiles(smiles).GetNumAtoms())
    found = [tuple(i for i in heavy if classes[i] == c) for c in set(classes[list(heavy)])]
    assert sorted(group for group in found if len(group) > 1) == sorted(together)


def test_the_mean_is_taken_over_each_class():
    values = average(np.array([1.0, 3.0, 5.0, 7.0]), np.array([0, 1, 0, 2]))
    assert values.tolist() == [3.0, 3.0, 3.0, 7.0]


# ---- one structure for all spellings ------------------------------------------------------------


@pytest.mark.parametrize("spellings", [
    ["NC(=[NH2+])c1ccccc1", "[NH2+]=C(N)C1=CC=CC=C1"],
    ["Nc1cccc[nH+]1", "[NH2+]=C1C=CC=CN1", "[NH2+]=c1cccc[nH]1"],
    ["Nc1cc[nH+]cc1", "[NH2+]=C1C=CNC=C1"],
    ["O=c1cccc[nH]1", "[O-]c1cccc[nH+]1"], ["CS(C)=O", "C[S+](C)[O-]"],
    ["C[n+]1ccn(C)c1", "Cn1cc[n+](C)c1"], ["[O-]c1ccccn1", "O=C1C=CC=C[N-]1"],
    ["CC(=O)[N-]S(C)(=O)=O", "CC([O-])=NS(C)(=O)=O"], ["CN=[N+]=[N-]", "C[N-][N+]#N"],
    ["CC(=O)C=C[O-]", "CC([O-])=CC=O"], ["C[N+](=O)[O-]", "CN(=O)=O"],
    ["CP(C)(C)=O", "C[P+](C)(C)[O-]"], ["c1ccccc1C", "C1=CC=CC=C1C", "C1C=CC=CC=1C"],
    ["CC(=O)[S-]", "CC([O-])=S"],
])
def test_corrections_do_not_depend_on_the_spelling(spellings):
    def by_atom(smiles):
        """Corrections by atom, in an order that all spellings share."""
        mol = Chem.AddHs(Chem.MolFromSmiles(smiles))
        form = kekule_form(mol)
        classes = equal_atoms(form)
        values = average(add_up(corrections_of(form), mol.GetNumAtoms()), classes)
        return sorted(zip([atom.GetAtomicNum() for atom in mol.GetAtoms()], np.round(values, 6)))

    first, *others = map(by_atom, spellings)
    for other in others:
        assert other == first


def test_no_bond_of_ordinary_molecules_lacks_a_correction():
    for smiles in ("CC(=O)Oc1ccccc1C(=O)O", "CN1CCC[C@H]1c1cccnc1", "Clc1ccc(cc1)C(=O)NS(=O)(=O)C",
                   "COP(=S)(OC)Oc1ccc(cc1)[N+](=O)[O-]", "N#Cc1ccc(cc1)C(F)(F)F",
                   "C[N+](C)(C)CCOP(=O)([O-])OC", "O=C(O)c1cc(I)ccc1Br"):
        mol = molecule(smiles)
        assert missing(corrections_of(mol), mol) == [], smiles
