"""Molecules: files, standard input, SMILES, charge and multiplicity."""

import io
import math
import pickle
import random
import sys

import numpy as np
import pytest
from ase import Atoms
from ase.build import molecule as ase_molecule

from orbitrax.errors import MoleculeError
from orbitrax.molecules.molecule import Molecule
from orbitrax.molecules.reading import from_ase, from_smiles, read_molecule

XYZ = "2\n{}\nO 0 0 0\nH 0 0 0.97\n"


def write(tmp_path, text, name="file.xyz"):
    path = tmp_path / name
    path.write_text(text)
    return str(path)


def test_an_xyz_file_gives_symbols_and_angstrom(water):
    assert water.symbols == ["O", "H", "H"]
    assert water.positions[1].tolist() == [0.0, 0.763239, -0.477047]
    assert (water.charge, water.multiplicity) == (None, None)
    assert water.formula == "H2O"


@pytest.mark.parametrize("remark,charge,multiplicity", [
    ("charge=-1 multiplicity=1", -1, 1), ("charge=+2", 2, None), ("spin=3", None, 3),
    ("charge=1.0", 1, None), ("nothing of that kind", None, None), ("charge", None, None),
])
def test_the_remark_line_tells_charge_and_multiplicity(tmp_path, remark, charge, multiplicity):
    molecule = read_molecule(write(tmp_path, XYZ.format(remark)))
    assert (molecule.charge, molecule.multiplicity) == (charge, multiplicity)


@pytest.mark.parametrize("remark", ["charge=0.5", "charge=high", "multiplicity=2.5"])
def test_a_charge_that_is_no_whole_number_is_refused(tmp_path, remark):
    with pytest.raises(MoleculeError, match="is not a whole number"):
        read_molecule(write(tmp_path, XYZ.format(remark)))


def test_magnetic_moments_make_oxygen_a_triplet():
    assert from_ase(ase_molecule("O2")).multiplicity == 3
    assert from_ase(ase_molecule("CH3")).multiplicity == 2


def test_initial_charges_that_add_up_give_the_charge():
    atoms = Atoms("OH", [(0, 0, 0), (0, 0, 1)])
    atoms.set_initial_charges([-0.8, -0.2])
    molecule = from_ase(atoms)
    assert molecule.charge == -1 and molecule.point_charges.tolist() == [-0.8, -0.2]


def test_charges_that_do_not_add_up_leave_the_charge_open_and_say_so():
    atoms = Atoms("OH", [(0, 0, 0), (0, 0, 1)])
    atoms.set_initial_charges([-0.8, 0.35])
    molecule = from_ase(atoms)
    assert molecule.charge is None and "-0.4500" in molecule.notes[0]


def test_other_formats_are_read_by_their_names(tmp_path, water):
    from ase.io import write as ase_write

    atoms = Atoms(water.numbers, water.positions)
    for name in ("w.pdb", "w.gen", "w.json", "w.traj"):
        ase_write(tmp_path / name, atoms)
        found = read_molecule(str(tmp_path / name))
        assert found.symbols == ["O", "H", "H"], name
        assert np.allclose(found.positions - found.positions[0],
                           water.positions - water.positions[0], atol=2e-3), name


def test_a_frame_of_a_file_with_several_is_chosen_by_number(tmp_path):
    path = write(tmp_path, "1\n\nHe 0 0 1\n1\n\nHe 0 0 2\n")
    assert read_molecule(path).positions[0, 2] == 2
    assert read_molecule(path + "@0").positions[0, 2] == 1


@pytest.mark.parametrize("text,symbols", [
    (XYZ.format(""), ["O", "H"]),
    ("\n  x\n\n  1  0  0  0  0  0  0  0  0  0999 V2000\n"
     "    0.0000    0.0000    0.0000 Ar  0  0\nM  END\n", ["Ar"]),
    ("HETATM    1  O   HOH     1       0.000   0.000   0.000  1.00  0.00           O  \n", ["O"]),
])
def test_standard_input_tells_its_format_by_its_looks(text, symbols):
    assert read_molecule("-", stdin=io.StringIO(text)).symbols == symbols


@pytest.mark.parametrize("text,words", [("", "is empty"),
                                        ("hello", "name its format with format")])
def test_standard_input_that_is_no_molecule_is_explained(text, words):
    with pytest.raises(MoleculeError, match=words):
        read_molecule("-", stdin=io.StringIO(text))


@pytest.mark.parametrize("text", [
    "3\n\nO 0 0 0\n", "1\n\nO 0 zero 0\n", "1\n\nZz 0 0 0\n", "garbage", "0\n\n", "1\n\nO 0 0\n",
    "1\n\nO nan 0 0\n", "1\n\nO inf 0 0\n", "1\n\nO 1e7 0 0\n", "-4\n\nO 0 0 0\n", "\x00\x01\x02",
])
def test_a_broken_file_is_one_kind_of_error_that_names_it(tmp_path, text):
    path = write(tmp_path, text)
    with pytest.raises(MoleculeError) as caught:
        read_molecule(path)
    assert path in str(caught.value)


def test_a_coordinate_that_is_no_length_is_placed(tmp_path):
    with pytest.raises(MoleculeError, match=r"atom 2 \(H\): the y coordinate nan"):
        read_molecule(write(tmp_path, "2\n\nO 0 0 0\nH 0 nan 1\n"))


@pytest.mark.parametrize("make,words", [
    (lambda path: str(path / "none.xyz"), "there is no such file"),
    (str, "is a folder"),
])
def test_a_path_that_is_no_file_is_explained(tmp_path, make, words):
    with pytest.raises(MoleculeError, match=words):
        read_molecule(make(tmp_path))


def test_an_unknown_format_asks_for_one(tmp_path):
    with pytest.raises(MoleculeError, match="name one with format, such"):
        read_molecule(write(tmp_path, "what is this\n", "file.unknown"))
    with pytest.raises(MoleculeError, match="'nonsense' is not known"):
        read_molecule(write(tmp_path, XYZ.format("")), format="nonsense")


def test_shapes_that_do_not_fit_are_refused():
    with pytest.raises(MoleculeError, match="2 atoms need 2 x 3 coordinates"):
        Molecule([1, 1], [[0, 0, 0]])
    with pytest.raises(MoleculeError, match="no element of number 106"):
        Molecule([106], [[0, 0, 0]])
    with pytest.raises(MoleculeError, match="no element of number -1"):
        Molecule([-1], [[0, 0, 0]])
    with pytest.raises(MoleculeError, match="has no atoms"):
        Molecule([], np.zeros((0, 3)))


def test_smiles_without_rdkit_tells_how_to_get_it(monkeypatch):
    monkeypatch.setitem(sys.modules, "rdkit", None)
    with pytest.raises(MoleculeError, match="apt-get install python3-rdkit"):
        from_smiles("CCO")


def test_smiles_give_hydrogens_charge_and_open_shells():
    assert from_smiles("CCO").formula == "C2H6O"
    assert from_smiles("CC(=O)[O-]").charge == -1
    assert from_smiles("[CH3]").multiplicity == 2
    assert np.array_equal(from_smiles("CCO").positions, from_smiles("CCO").positions)
    with pytest.raises(MoleculeError, match="not a SMILES string"):
        from_smiles("C(((")


def test_a_molecule_does_not_change_and_replace_makes_another(water):
    moved = water.replace(positions=water.positions + 1.0, charge=1)
    assert (moved.charge, water.charge) == (1, None) and moved.symbols == water.symbols
    assert np.allclose(moved.positions - water.positions, 1.0) and moved.title == water.title
    with pytest.raises(ValueError, match="read-only"):
        water.positions[0, 0] = 3.0
    assert repr(moved).startswith("<Molecule H2O, 3 atoms, charge 1, from ")


def test_plain_numbers_are_those_of_the_arrays(water):
    full = water.replace(masses=[16, 1, 2], point_charges=np.array([0.5, -0.5, 0]))
    assert full.z == (8, 1, 1) == tuple(full.numbers) and full.numbers.dtype.kind == "i"
    assert full.xyz.tolist() == full.positions.ravel().tolist()
    assert full.plain_masses.tolist() == full.masses.tolist() == [16, 1, 2]
    assert full.plain_charges.tolist() == full.point_charges.tolist() == [0.5, -0.5, 0]
    assert water.masses is None and water.point_charges is None
    with pytest.raises(MoleculeError, match="3 atoms need 3 masses"):
        water.replace(masses=[1])


def test_a_molecule_can_be_sent_to_another_process(water):
    water.positions  # which makes an array that need not travel
    copy = pickle.loads(pickle.dumps(water))
    assert copy.xyz == water.xyz and copy.numbers.tolist() == [8, 1, 1]


@pytest.mark.parametrize("count", [1, 2, 20, 320])
def test_pairs_are_found_at_any_distance_in_any_order_of_asking(count):
    """Beside all distances, taken one by one."""
    chance = random.Random(count)
    places = [[chance.uniform(0.0, 4.0) for _ in range(3)] for _ in range(count)]
    molecule = Molecule([6] * count, places)
    for cutoff in (0.3, 1.4, 0.05, 0.9):
        near = [(i, j) for i in range(count) for j in range(i + 1, count)
                if math.dist(places[i], places[j]) < cutoff]
        assert [(i, j) for i, j, _ in molecule.near(cutoff)] == near
        assert all(distance == pytest.approx(math.dist(places[i], places[j]))
                   for i, j, distance in molecule.near(cutoff))
