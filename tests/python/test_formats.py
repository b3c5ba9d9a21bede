"""Files of other programs: formula, charge and multiplicity are right, or something is said."""

import io
import json

import numpy as np
import pytest
from orbitrax import Molecule, MoleculeError, as_molecule, read_molecule
from orbitrax.molecules.reading import count_structures
from orbitrax.molecules.restraints import Restraint
from orbitrax.molecules.writing import WRITERS, write_molecule, xyz_text
from orbitrax.molecules.zmatrix import places

Chem = pytest.importorskip("rdkit.Chem")
read_molecules = pytest.importorskip("orbitrax.atomic_charges.reading").read_molecules

# Molecules, ions, zwitterions, radicals and carbenes: SMILES, charge, unpaired electrons.
KINDS = [
    ("C", 0, 0), ("CC(=O)[O-]", -1, 0), ("C[NH3+]", 1, 0), ("[NH3+]CC(=O)[O-]", 0, 0),
    ("[CH3]", 0, 1), ("C[CH2]", 0, 1), ("[O]O", 0, 1), ("[CH2]", 0, 2), ("C[N+](=O)[O-]", 0, 0),
    ("[O-]S(=O)(=O)[O-]", -2, 0), ("[NH4+]", 1, 0), ("c1ccccc1", 0, 0), ("C#N", 0, 0),
    ("[OH-]", -1, 0), ("[OH3+]", 1, 0), ("[H+]", 1, 0), ("[Na+]", 1, 0), ("[Cl-]", -1, 0),
    ("c1cc[nH+]cc1", 1, 0), ("[O-]c1ccccc1", -1, 0), ("CP(=O)([O-])[O-]", -2, 0),
    ("C[S+](C)C", 1, 0), ("[N-]=[N+]=N", 0, 0), ("[N-]=[N+]=[N-]", -1, 0), ("[Mg+2]", 2, 0),
    ("C[O]", 0, 1), ("[CH2]C=C", 0, 1), ("[CH3+]", 1, 0), ("[CH3-]", -1, 0), ("[NH2]", 0, 1),
    ("[Br-]", -1, 0), ("F[B-](F)(F)F", -1, 0), ("C[N+](C)(C)CC(=O)[O-]", 0, 0), ("[SiH3]", 0, 1),
    ("O=[N+]([O-])[O-]", -1, 0), ("[O-][Cl+3]([O-])([O-])[O-]", -1, 0), ("CCO", 0, 0),
    ("[CH2][CH2]", 0, 2), ("[2H]C", 0, 0), ("N[C@@H](C)C(=O)O", 0, 0),
]


def embedded(smiles):
    mol = Chem.AddHs(Chem.MolFromSmiles(smiles))
    from rdkit.Chem import AllChem

    assert AllChem.EmbedMolecule(mol, randomSeed=1, useRandomCoords=True) == 0
    return mol


def told(molecule):
    return molecule.charge or 0, molecule.multiplicity or 1


@pytest.mark.parametrize("ending", ["v2000.mol", "v3000.mol", "sdf", "smi"])
def test_files_by_rdkit_keep_charge_and_radicals(tmp_path, ending):
    for smiles, charge, unpaired in KINDS:
        mol = embedded(smiles)
        text = (Chem.MolToV3KMolBlock(mol) if ending == "v3000.mol" else
                smiles + " name\n" if ending == "smi" else
                Chem.MolToMolBlock(mol) + ("$$$$\n" if ending == "sdf" else ""))
        path = tmp_path / f"m.{ending}"
        path.write_text(text)
        found = read_molecule(path)
        assert told(found) == (charge, unpaired + 1), smiles
        assert sorted(found.z) == sorted(atom.GetAtomicNum() for atom in mol.GetAtoms()), smiles
        assert not found.remarks, (smiles, found.remarks)


def test_files_by_open_babel_keep_the_charge_or_something_is_said(tmp_path):
    openbabel = pytest.importorskip("openbabel.openbabel")
    conversion = openbabel.OBConversion()
    for smiles, charge, unpaired in KINDS:
        for form in ("mol", "sdf", "pdb", *([] if unpaired else ["mol2"])):  # it has no radicals
            seen = openbabel.OBMol()
            conversion.SetInAndOutFormats("mol", form)
            conversion.ReadString(seen, Chem.MolToMolBlock(embedded(smiles)))
            path = tmp_path / f"m.{form}"
            path.write_text(conversion.WriteString(seen))
            found = read_molecule(path)
            right = found.charge is None or found.charge == charge
            assert right or found.notes or found.remarks, (smiles, form, found)
            if form in ("mol", "sdf"):
                assert told(found)[0] == charge, (smiles, form)


def test_a_pdb_file_with_charges_in_its_last_column_tells_them(tmp_path):
    path = tmp_path / "m.pdb"
    path.write_text(Chem.MolToPDBBlock(embedded("CC(=O)[O-]")))
    assert read_molecule(path).charge == -1
    path.write_text(Chem.MolToPDBBlock(embedded("CO")))
    assert read_molecule(path).charge is None


def test_a_drawing_and_missing_hydrogens_are_said_and_mended(tmp_path):
    path = tmp_path / "flat.mol"
    path.write_text(Chem.MolToMolBlock(Chem.MolFromSmiles("CCO")))
    found = read_molecule(path)
    assert len(found) == 3 and "--add-hydrogens" in found.remarks[0]
    whole = read_molecule(path, complete=True)
    assert whole.formula == "C2H6O" and not whole.remarks
    assert np.abs(whole.positions[:, 2]).max() > 0.5
    bare = Chem.RemoveHs(embedded("CCO"))
    path.write_text(Chem.MolToMolBlock(bare))
    assert "6 hydrogens" in read_molecule(path).remarks[0]
    kept = read_molecule(path, complete=True)
    assert np.allclose(kept.positions[:3], bare.GetConformer().GetPositions(), atol=1e-3)


def test_of_several_records_the_one_that_is_taken_is_said(tmp_path):
    path = tmp_path / "two.sdf"
    path.write_text("".join(Chem.MolToMolBlock(embedded(smiles)) + "$$$$\n"
                            for smiles in ("C", "CC")))
    found = read_molecule(path)
    assert found.formula == "C2H6" and "frame 2 of 2" in found.remarks[0]
    assert read_molecule(f"{path}@0").formula == "CH4"
    for wrong in ("@5", "@:", "@x"):
        with pytest.raises(MoleculeError, match="frame|single structure"):
            read_molecule(f"{path}{wrong}")


def test_a_singlet_carbene_is_a_singlet(tmp_path):
    block = Chem.MolToMolBlock(embedded("[CH2]"))
    path = tmp_path / "m.mol"
    path.write_text(block.replace("M  RAD  1   1   3", "M  RAD  1   1   1"))
    assert "M  RAD  1   1   1" in path.read_text() and told(read_molecule(path)) == (0, 1)


GAUSSIAN = "%chk=x.chk\n#p am1 opt\n\na title\n\n{}\n{}\n\n{}\n\n"


@pytest.mark.parametrize("name,text,formula,state", [
    ("h3o.gjf", GAUSSIAN.format("1 1", "O 0 0 0\nH 0 0 1.d0\nH(Iso=2) 0 1 0\nH,0,-1.,0.1,.2", ""),
     "H3O", (1, 1)),
    ("oh2.com", GAUSSIAN.format("0 1", "O\nH 1 r\nH 1 r 2 a", "r=0.96\na=104.5"), "H2O", (0, 1)),
    ("cation.gjf", GAUSSIAN.format("1,2", "6 0 1. 2. 3.\n1 0 0. 0. 0.", ""), "CH", (1, 2)),
    ("m.mop", "PM3 CHARGE=-1 DOUBLET\ntitle\n\nO 0 1 0 1 0 1\nH 1.0 1 0 1 0.1 1\n", "HO", (-1, 2)),
    ("z.mop", "AM1\n\n\nC 0 0 0 0 0 0\nO 1.2 1 0 0 0 0 1\nH 1.1 1 122 1 0 0 1 2\n"
     "H 1.1 1 122 1 180 1 1 2 3\n", "CH2O", (0, 1)),
    ("m.inp", "! AM1 Opt\n%pal nprocs 2 end\n* xyz -1 1\nO 0 0 0\nH 0 0 1 # x\n*\n", "HO", (-1, 1)),
    ("m.cjson", json.dumps({"chemicalJson": 1, "atoms": {
        "elements": {"number": [8, 1]}, "coords": {"3d": [0, 0, 0, 0, 0, 1]}},
        "properties": {"totalCharge": -1}}), "HO", (-1, 1)),
    ("m.json", json.dumps({"symbols": ["O", "H"], "geometry": [0, 0, 0, 0, 0, 1.9],
                           "molecular_charge": 0, "molecular_multiplicity": 2}), "HO", (0, 2)),
])
def test_inputs_of_other_programs_keep_charge_and_multiplicity(tmp_path, name, text, formula,
                                                               state):
    path = tmp_path / name
    path.write_text(text)
    found = read_molecule(path)
    assert (found.formula, told(found)) == (formula, state)


def test_internal_coordinates_are_what_they_say():
    rows = [((), (0, 0, 0)), ((0,), (1.5, 0, 0)), ((1, 0), (1.4, 110, 0)),
            ((2, 1, 0), (1.3, 100, 77)), ((2, 3, 0), (1.1, 95, -130))]
    xyz = places(rows)
    for place, (others, (length, angle, torsion)) in enumerate(rows):
        atoms = [place + 1, *(other + 1 for other in others)]
        for kind, wanted, n in (("stretch", length, 2), ("bend", angle, 3),
                                ("torsion", torsion, 4)):
            if len(atoms) >= n:
                assert Restraint(kind, atoms[:n]).value(xyz) == pytest.approx(wanted, abs=1e-9)


def test_internal_coordinates_agree_with_the_reader_of_ase():
    zmatrix = pytest.importorskip("ase.io.zmatrix")
    text = "C\nC 1 1.53\nO 2 1.42 1 108\nH 3 0.96 2 107 1 63.5\nH 2 1.1 1 110 3 -121"
    atoms = zmatrix.parse_zmatrix(text)
    ours = read_molecule("-", format="gjf", stdin=io.StringIO(
        GAUSSIAN.format("0 1", text, "")))
    from ase import Atoms

    assert Atoms(ours.z, ours.positions).get_all_distances() == pytest.approx(
        atoms.get_all_distances(), abs=1e-6)
    turn = Restraint("torsion", (4, 3, 2, 1))
    assert turn.value(ours.positions) == pytest.approx(63.5)


@pytest.mark.parametrize("name,text,words", [
    ("m.gjf", "#p am1\n\ntitle\n\nO 0 0 0\n", "charge and multiplicity"),
    ("m.gjf", GAUSSIAN.format("0 1", "O\nH 1 r", ""), "'r' has no value"),
    ("m.gjf", GAUSSIAN.format("0 1", "O\nH 1 0.96\nH 1 0.96 2 inf", ""), "'inf' is a number that"),
    ("m.gjf", GAUSSIAN.format("0 1", "O\nH 1 r", "r nan"), "'r' is a number that is none"),
    ("m.inp", "! AM1\n* int 0 1\nO 0 0 0 0 0 0\n*\n", "only '[*] xyz"),
    ("m.mop", "AM1\n\n\nQq 0 0 0\n", "no element"),
    ("m.mol", "nothing\n", "cannot be read as a mol file"),
    ("m.cjson", "{", "no JSON document"),
    ("m.cjson", '{"chemicalJson": 1, "atoms": {"elements": {"number": [1e999]}, "coords": {"3d": '
     '[0, 0, 0]}}}', "'inf', is not a whole number"),
])
def test_what_cannot_be_read_is_named(tmp_path, name, text, words):
    path = tmp_path / name
    path.write_text(text)
    with pytest.raises(MoleculeError, match=words):
        read_molecule(path)


HUGE = "9" * 5000  # digits, more than Python reads
MOL2 = ("@<TRIPOS>MOLECULE\nw\n {}\nSMALL\nUSER_CHARGES\n\n@<TRIPOS>ATOM\n1 O 0 0 0 O.3 1 W {}\n"
        "2 H 1 0 0 H 1 W 0\n@<TRIPOS>BOND\n1 1 {} 1\n")
V3000 = ("\n  x 3D\n\n  0  0  0     0  0            999 V3000\nM  V30 BEGIN CTAB\n"
         "M  V30 COUNTS 2 1 0 0 0\nM  V30 BEGIN ATOM\nM  V30 1 {} 0 0 0 0 CHG=-1\n"
         "M  V30 2 H 0 0 0.96 0\nM  V30 END ATOM\nM  V30 BEGIN BOND\nM  V30 1 1 1 2\n"
         "M  V30 END BOND\nM  V30 END CTAB\nM  END\n")


@pytest.mark.parametrize("name,text,words", [
    ("m.gjf", GAUSSIAN.format("0 1", f"{HUGE} 0 0 0", ""), "no element '999"),
    ("m.gjf", GAUSSIAN.format("0 1", f"O\nH {HUGE} 1.0", ""), "is none of the atoms above"),
    ("m.gjf", GAUSSIAN.format(f"{HUGE} 1", "O 0 0 0", ""), "no line with charge"),
    ("m.gjf", GAUSSIAN.format("1 " * 60 + "x", "O 0 0 0", ""), "no line with charge"),
    ("m.mop", f"PM3\n\n\n{HUGE} 0 0 0\n", "no element '999"),
    ("m.inp", f"* xyz {HUGE} 1\nO 0 0 0\n*\n", "only '[*] xyz CHARGE MULTIPLICITY'"),
    ("m.xyz", f"1\n\n{HUGE} 0 0 0\n", "no element '999"),
    ("m.xyz", f"1\nProperties=species:S:1:pos:R:{HUGE}\nO 0 0 0\n", "names no species and pos"),
    ("m.xyz", "1\nProperties=species:S:0:pos:R:3\nO 0 0 0\n", "names no species and positions"),
    ("m.xyz", "1\nProperties=species:S:1:pos:R:3:masses:R:1\nO 0 0 0 nan\n", "its mass is nan"),
    ("m.json", '{"symbols": ["O"], "coordinates_angstrom": ["H", 0, 0]}', "'H' is not a number"),
    ("m.json", '{"symbols": ["O"], "coordinates_angstrom": [0, 0, 0], "charge": "x"}',
     "its charge, 'x', is not a whole number"),
    ("m.json", '{"symbols": ["O"], "coordinates_angstrom": [0, 0, 0], "multiplicity": 1.5}',
     "its multiplicity, '1.5', is not a whole number"),
    ("m.cjson", '{"chemicalJson": 1, "atoms": {"elements": {"number": [8.5]}, "coords": {"3d": '
     '[0, 0, 0]}}}', "an atomic number, '8.5', is not a whole number"),
    ("m.mol2", MOL2.format("2 1 1", "O.8", 2), "charge of an atom is not a number"),
    ("m.mol2", MOL2.format("-1 2 1", "0", 2), "counts less than nothing"),
    ("m.mol2", MOL2.format("2 1 1", "0", 0), "of an atom that is not there"),
    ("m.mol", V3000.format("[]"), "'1 .. 0 0 0 0 CHG=-1' has a list of elements"),
    ("m.mol", V3000.format('"NOT [,]"'), "has a list of elements"),
    ("m.mol", V3000.format("-\nM  V30 []"), "has a list of elements"),
])
def test_what_fuzzers_found_is_refused_in_words(tmp_path, name, text, words):
    (tmp_path / name).write_text(text)
    with pytest.raises(MoleculeError, match=words):
        read_molecule(str(tmp_path / name))


V2000 = ("\n  x 3D\n\n  2  1  0     0  0            999 V2000\n    0.0000    0.0000    0.0000 {}\n"
         "    0.0000    0.0000    0.9600 H   0  0\n  1  2  1  0\nM  CHG  1   1  -1\n{}M  END\n")


@pytest.mark.parametrize("listed", ["M  ALS   1  2 F O   S   \n", "M  ALS   1  1 T C   \n"])
def test_an_atom_of_several_elements_is_none_of_them(tmp_path, listed):
    """RDKit takes the first of a list, even of what the atom must not be."""
    path = tmp_path / "m.mol"
    path.write_text(V2000.format("L   0  0", listed))
    with pytest.raises(MoleculeError, match="its atom 1 may be any of several elements"):
        read_molecule(path)
    with pytest.raises(MoleculeError, match="its atom 1 may be any of several elements"):
        list(read_molecules(str(path)))


@pytest.mark.parametrize("atom,query", [
    ("O   0  0  0  2", ""), ("O   0  0", "M  SUB  1   1   1\n")])
def test_what_a_search_asks_of_an_atom_beside_its_element_does_no_harm(tmp_path, atom, query):
    (tmp_path / "m.mol").write_text(V2000.format(atom, query))
    molecule = read_molecule(tmp_path / "m.mol")
    assert molecule.formula == "HO" and molecule.charge == -1


@pytest.mark.parametrize("name,text,words", [
    ("m.mol2", MOL2.format("-1 2 1", "0", 2), "counts less than nothing"),
    ("m.mol", V3000.format("[]"), "has a list of elements"),
])
def test_charges_are_kept_from_what_rdkit_does_not_come_back_from(tmp_path, name, text, words):
    (tmp_path / name).write_text(text)
    with pytest.raises(MoleculeError, match=words):
        list(read_molecules(str(tmp_path / name)))


def test_what_nobody_foresaw_is_refused_in_words_and_tells_its_cause(tmp_path, monkeypatch):
    from orbitrax.molecules import inputs

    monkeypatch.setattr(inputs, "read_orca", lambda text, title: {}[title])
    (tmp_path / "m.inp").write_text("* xyz 0 1\nO 0 0 0\n*\n")
    with pytest.raises(MoleculeError, match="cannot be read as orca") as caught:
        read_molecule(str(tmp_path / "m.inp"))
    assert isinstance(caught.value.__cause__, KeyError)


def test_a_charge_that_is_spoken_of_in_too_many_digits_is_remarked_on(tmp_path):
    (tmp_path / "m.xyz").write_text(f"1\ncharge: 0, multiplicity {HUGE}\nO 0 0 0\n")
    molecule = read_molecule(str(tmp_path / "m.xyz"))
    assert molecule.multiplicity is None and "may speak of a charge" in " ".join(molecule.remarks)


def test_smiles_with_a_dummy_atom_is_refused():
    with pytest.raises(MoleculeError, match="stands for no element"):
        as_molecule("C*")


def test_smiles_and_molecules_of_rdkit_are_molecules():
    assert as_molecule("CCO").formula == "C2H6O"
    assert told(as_molecule(embedded("C[NH3+]"))) == (1, 1)
    with pytest.raises(MoleculeError, match="no geometry"):
        as_molecule(Chem.MolFromSmiles("C"))
    with pytest.raises(MoleculeError, match="no such file"):
        as_molecule("missing.xyz")


@pytest.mark.parametrize("ending", sorted(WRITERS))
def test_what_is_written_is_read_back(tmp_path, ending):
    for smiles, charge, unpaired in [row for row in KINDS if row[0] in (
            "CC(=O)[O-]", "C[NH3+]", "c1ccccc1", "C", "[NH3+]CC(=O)[O-]")]:
        start = as_molecule(smiles).replace(charge=charge, multiplicity=unpaired + 1)
        for molecule in (start, start.replace(mol=None)):  # bonds that are known, and sought
            path = str(tmp_path / f"m{ending}")
            write_molecule(path, molecule, {"energy": -1.5})
            found = read_molecule(path)
            assert found.z == molecule.z and told(found) == (charge, unpaired + 1), smiles
            assert np.allclose(found.positions, molecule.positions, atol=1e-4), smiles
            assert not found.remarks


def test_the_second_line_of_a_structure_tells_the_energy():
    text = xyz_text(Molecule([1], [[0, 0, 0]], charge=1), {"energy": -2.5, "unit": "kcal/mol"})
    assert text.splitlines()[1] == "charge=1 energy=-2.5 unit=kcal/mol"


@pytest.mark.parametrize("name,count", [("POSCAR", 1), ("m.traj", 3), ("m.cif", 1), ("m.pdb", 3)])
def test_structures_that_ase_reads_are_counted(tmp_path, name, count):
    ase_io = pytest.importorskip("ase.io")
    from ase import Atoms

    atoms = Atoms("OH", [[1, 1, 1], [1, 1, 1.96]], cell=[5, 5, 5], pbc=True)
    path = str(tmp_path / name)
    ase_io.write(path, [atoms] * count if count > 1 else atoms)
    assert count_structures(path) == count
    assert len(read_molecule(f"{path}@{-count}")) == 2
    for number in (count, -count - 1):
        with pytest.raises(MoleculeError, match=f"no frame {number}; it has {count}"):
            read_molecule(f"{path}@{number}")


@pytest.mark.parametrize("name, text, ghost", [
    ("g.gjf", "#p am1\n\nwater\n\n0 1\nO 0 0 0\n{} 0 0 0.96\nH 0.9 0 0\n\n", "H-Bq"),
    ("g.inp", "! AM1\n* xyz 0 1\nO 0 0 0\n{} 0 0 0.96\nH 0.9 0 0\n*\n", "H:")])
def test_ghosts_of_atoms_are_no_atoms(tmp_path, name, text, ghost):
    path = tmp_path / name
    path.write_text(text.format("H"))
    assert read_molecule(path).formula == "H2O"
    path.write_text(text.format(ghost))
    with pytest.raises(MoleculeError, match="is a ghost atom"):
        read_molecule(path)
