"""The reader of xyz and extended xyz: what people and programs write, against ASE's reader."""

import io
import subprocess
import sys

import ase.io
import numpy as np
import pytest
from ase import Atoms
from hypothesis import given, settings
from hypothesis import strategies as st
from support import ROOT

from orbitrax import MoleculeError, from_ase, read_molecule
from orbitrax.molecules.elements import SYMBOLS
from orbitrax.molecules.reading import count_structures
from orbitrax.molecules.xyz import looks_like_xyz, read_xyz

HYDROXYL = "2\n{}\nO 0 0 0\nH 0 0 0.97\n"


def told(remark):
    molecule = read_xyz(HYDROXYL.format(remark), "file.xyz")
    return molecule.charge, molecule.multiplicity, len(molecule.remarks)


# ---- the second line ----------------------------------------------------------------------------


@pytest.mark.parametrize("remark,charge,multiplicity", [
    ("charge=-1", -1, None), ("Charge=1", 1, None), ("CHARGE = +1", 1, None), ("q=1", 1, None),
    ("charge: 1", 1, None), ("chrg=1 uhf=1", 1, 2), ("charge 1, mult 2", 1, 2),
    ("Charge=-1; Multiplicity=3", -1, 3), ("mult=2", None, 2), ("spin=3", None, 3),
    ('total_charge="2"', 2, None), ("Run: charge=1 mult: 2", 1, 2), ("charge=1.0", 1, None),
    ("step 5 of charge=1", 1, None), ("", None, None), ("caffeine, gas phase", None, None),
    ("energy=-5.3 Properties=species:S:1:pos:R:3:charge_of_what:R:0", None, None)])
def test_charge_and_multiplicity_are_understood_in_many_spellings(remark, charge, multiplicity):
    assert told(remark) == (charge, multiplicity, 0)


@pytest.mark.parametrize("remark", ["charge", "charge one", "a charged molecule", "1 2", "-1 1",
                                    "mult two", "the charge is 1"])
def test_what_may_speak_of_a_charge_and_is_not_understood_is_remarked(remark):
    assert told(remark) == (None, None, 1)


@pytest.mark.parametrize("remark", ["charge=0.5", "Charge: high", "multiplicity=2.5", "spin=up"])
def test_a_charge_that_is_no_whole_number_is_refused(remark):
    with pytest.raises(MoleculeError, match="is not a whole number"):
        told(remark)


def test_a_remark_becomes_a_warning_of_the_result(make_peer, tmp_path):
    import orbitrax

    path = tmp_path / "a.xyz"
    path.write_text(HYDROXYL.format("the charge is unknown"))
    result = orbitrax.run(path, "am1", backend=make_peer(), rhf=True)
    assert len(result.warnings) == 1 and "may speak of a charge" in result.warnings[0]


# ---- atoms --------------------------------------------------------------------------------------


@pytest.mark.parametrize("word,number", [
    ("O", 8), ("8", 8), ("o", 8), ("O1", 8), ("H12", 1), ("Cl", 17), ("X", 0), ("Du", 0), ("0", 0),
    ("C*", 6), ("O_2", 8), ("br", 35)])
def test_an_element_is_known_by_symbol_number_and_label(word, number):
    molecule = read_xyz(f"1\n\n{word} 0 0 0\n", "file.xyz")
    assert molecule.z == (number,) and molecule.remarks == ()


@pytest.mark.parametrize("word,number", [("CL", 17), ("CA", 20)])
def test_a_symbol_in_odd_case_is_remarked_where_it_could_be_a_label(word, number):
    molecule = read_xyz(f"1\n\n{word} 0 0 0\n", "file.xyz")
    assert molecule.z == (number,)
    assert molecule.remarks == (f"line 3: '{word}' is read as {SYMBOLS[number]}",)


def test_heavy_hydrogen_has_its_mass():
    molecule = read_xyz("3\n\nO 0 0 0\nD 0 0 1\nT 0 1 0\n", "file.xyz")
    assert molecule.symbols == ["O", "H", "H"]
    assert molecule.masses == pytest.approx([15.999, 2.0141, 3.0160], abs=1e-4)


@pytest.mark.parametrize("text", [
    "\ufeff2\n\nO 0 0 0\nH 0 0 1\n", "2\r\n\r\nO 0 0 0\r\nH 0 0 1\r\n",
    "  2  \n\nO\t0 0 0\nH 0 0 1",
    "2\n\nO 0.0D+00 0 0\nH 0 0 1.0d0\n\n\n", "2\n\nO 0 0 0 0.1 0.2\nH 0 0 1 extra\n",
    "O 0 0 0\nH 0 0 1\n", "\nO 0 0 0\n\nH 0 0 1\n"])
def test_odd_forms_are_read(text):
    molecule = read_xyz(text, "file.xyz")
    assert molecule.symbols == ["O", "H"] and molecule.positions.tolist() == [[0, 0, 0], [0, 0, 1]]


@pytest.mark.parametrize("text,words", [
    ("3\n\nO 0 0 0\n", "line 4: an atom should stand here; 3 were announced, 1 are there"),
    ("1\n\nO 0 zero 0\n", "line 3: 'zero' is not a number"),
    ("1\n\nO 0,5 0 0\n", "line 3: '0,5' is not a number; decimals are written with a point"),
    ("1\n\nZz 0 0 0\n", "line 3: there is no element 'Zz'"),
    ("1\n\nO 0 0\n", "line 3: 'O 0 0' should be a symbol and three coordinates"),
    ("1\n\n106 0 0 0\n", "line 3: there is no element '106'"),
    ("1\n\nO 1_0 0 0\n", "line 3: '1_0' is not a number"),
    ("garbage", "line 1: the number of atoms should stand here, not 'garbage'"),
    ("-4\n\nO 0 0 0\n", "line 1: the number of atoms should stand here, not '-4'"),
    ("99999999999\n\n", "line 1: no molecule has 99999999999 atoms"),
    ("1\n\nO 0 0 0\n1\nx\nO 0 0\n", "line 6: 'O 0 0' should be a symbol"),
    ("1\n\nO 0 0 0\nO 0 0 0\n", "line 4: the number of atoms should stand here"),
    ("0\n\n", "has no atoms"), ("1\nProperties=species:S:1\nO\n", "names no species and positions"),
    ("1\n\nO 1e7 0 0\n", "the x coordinate 10000000.0 is not a length")])
def test_an_error_says_where_and_what(text, words):
    with pytest.raises(MoleculeError) as caught:
        read_xyz(text, "file.xyz")
    assert str(caught.value).startswith("file.xyz") and words in str(caught.value)


# ---- frames -------------------------------------------------------------------------------------

FRAMES = "".join(f"1\nframe {i}\nHe 0 0 {i}\n" for i in range(3))


@pytest.mark.parametrize("frame,z", [(0, 0), (1, 1), (2, 2), (-1, 2), (-3, 0)])
def test_a_frame_is_chosen_by_number_from_either_end(frame, z):
    molecule = read_xyz(FRAMES, "file.xyz", frame)
    assert molecule.positions[0, 2] == z and molecule.remarks == ()


def test_the_last_of_several_is_taken_with_a_remark(tmp_path):
    path = tmp_path / "path.xyz"
    path.write_text(FRAMES)
    molecule = read_molecule(path)
    assert molecule.positions[0, 2] == 2 and "frame 3 of 3 is taken" in molecule.remarks[0]
    assert read_molecule(f"{path}@0").remarks == ()
    for name, words in ((f"{path}@5", "no frame 5; it has 3"), (f"{path}@1:", "names no single")):
        with pytest.raises(MoleculeError, match=words):
            read_molecule(name)


# ---- against ASE --------------------------------------------------------------------------------

WORDS = st.sampled_from([symbol for symbol in SYMBOLS[1:] if symbol in {"H", "C", "N", "O", "Fe"}])
LENGTHS = st.floats(-50, 50, allow_subnormal=False)


@settings(deadline=None)
@given(st.lists(st.tuples(WORDS, LENGTHS, LENGTHS, LENGTHS), min_size=1, max_size=8),
       st.sampled_from(["xyz", "extxyz"]), st.integers(-3, 3), st.booleans(), st.booleans())
def test_what_ase_writes_is_read_as_ase_reads_it(rows, form, charge, with_charges, with_moments):
    atoms = Atoms([row[0] for row in rows], [row[1:] for row in rows], info={"charge": charge})
    if form == "extxyz" and with_charges:
        atoms.set_initial_charges(np.linspace(-0.5, 0.5, len(atoms)))
    if form == "extxyz" and with_moments:
        atoms.set_initial_magnetic_moments(np.ones(len(atoms)))
    file = io.StringIO()
    ase.io.write(file, atoms, format=form)
    theirs = from_ase(ase.io.read(io.StringIO(file.getvalue()), format="extxyz"))
    ours = read_xyz(file.getvalue(), "file.xyz")
    assert (ours.symbols, ours.xyz) == (theirs.symbols, theirs.xyz)
    assert (ours.charge, ours.multiplicity) == (theirs.charge, theirs.multiplicity)
    assert ours.plain_charges == theirs.plain_charges and ours.notes == theirs.notes


@pytest.mark.parametrize("path", [*sorted((ROOT / "examples").glob("*.xyz")),
                                  *sorted((ROOT / "benchmarks").glob("*/*.xyz"))],
                         ids=lambda path: path.stem)
def test_the_files_of_this_checkout_are_read_as_ase_reads_them(path):
    ours, theirs = read_molecule(path), from_ase(ase.io.read(path))
    frames = len(ase.io.read(path, ":"))
    assert (ours.z, ours.xyz) == (theirs.z, theirs.xyz)
    assert [remark.split(" is taken")[0] for remark in ours.remarks] == (
        [] if frames == 1 else [f"frame {frames} of {frames}"])
    assert (ours.charge, ours.multiplicity) == (theirs.charge, theirs.multiplicity)
    assert ours.plain_charges == theirs.plain_charges


@given(st.text())
def test_any_text_is_read_or_refused(text):
    looks_like_xyz(text)
    try:
        read_xyz(text, "file.xyz")
    except MoleculeError:
        pass


def test_a_file_in_another_encoding_is_read(tmp_path):
    path = tmp_path / "a.xyz"
    path.write_bytes(b"1\nM\xfcller\nO 0 0 0\n")
    assert read_molecule(path).symbols == ["O"]


def test_reading_loads_neither_numpy_nor_ase():
    program = ("import sys\nfrom orbitrax import read_molecule\n"
               f"read_molecule({str(ROOT / 'examples' / 'caffeine.xyz')!r}).formula\n"
               "assert not {'numpy', 'ase', 'scipy'} & set(sys.modules)\n")
    subprocess.run([sys.executable, "-c", program], check=True,
                   env={"PYTHONPATH": str(ROOT / "python")})


@pytest.mark.parametrize("pbc, said", [
    ("", True), (' pbc="T T T"', True), (' pbc="F F T"', True), (' pbc="1 0 0"', True),
    (' pbc="F F F"', False), (" pbc=[0,0,0]", False)])
def test_a_periodic_cell_is_left_out_with_a_remark(pbc, said):
    """Without pbc a lattice means one on all sides."""
    text = f'1\nLattice="9 0 0 0 9 0 0 0 9" Properties=species:S:1:pos:R:3{pbc}\nHe 0 0 0\n'
    remarks = read_xyz(text, "file").remarks
    assert any("periodic cell" in remark for remark in remarks) == said


@pytest.mark.parametrize("ending", ["xyz", "cif", "vasp", "traj"])
def test_a_periodic_cell_is_remarked_whatever_the_format(tmp_path, ending):
    atoms = Atoms("He", cell=[9, 9, 9], pbc=True)
    for periodic in (True, False):
        atoms.pbc = periodic
        path = str(tmp_path / f"he.{ending}")
        if periodic or ending in ("xyz", "traj"):  # the others know no molecule in a cell
            ase.io.write(path, atoms, format="extxyz" if ending == "xyz" else None)
            told = "periodic cell" in " ".join(read_molecule(path).remarks)
            assert told == periodic


@pytest.mark.parametrize("gap", ["\n", "\n\n", " \n\t\n"])
def test_frames_may_have_empty_lines_between_them(tmp_path, gap):
    path = tmp_path / "many.xyz"
    path.write_text(gap.join(f"2\nnumber {k}\nH 0 0 0\nH 0 0 0.{k}\n" for k in range(1, 4)) + gap)
    assert count_structures(str(path)) == 3
    last = read_molecule(path)
    assert last.xyz[5] == 0.3 and "frame 3 of 3 is taken" in last.remarks[0]
    assert [read_molecule(f"{path}@{k}").xyz[5] for k in range(3)] == [0.1, 0.2, 0.3]


@pytest.mark.parametrize("rest", ["notes", "2\n", "2\n\nH 0 0 0\n", "2\n\nH 0 0 0\nof it\n",
                                  "0\n\n", "9" * 5000, "9\n\nH 0 0 0\n"])
def test_what_is_no_frame_behind_an_empty_line_is_left_alone(rest):
    found = read_xyz(f"2\n\nH 0 0 0\nH 0 0 0.7\n\n{rest}", "it")
    assert len(found) == 2 and not found.remarks
