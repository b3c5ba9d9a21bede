"""Molecules with bonds read from files, and charges written so that others can read them."""

import csv
import io
import json
import xml.etree.ElementTree as ElementTree

import numpy as np
import pytest
import support

from rdkit import Chem, RDLogger

from orbitrax.atomic_charges import writers
from orbitrax.atomic_charges.assign import Charges
from orbitrax.atomic_charges.conformers import embedded
from orbitrax.atomic_charges.mol2 import sybyl_type
from orbitrax.atomic_charges.reading import from_smiles, read_molecules
from orbitrax.atomic_charges.rounding import rounded
from orbitrax.errors import MoleculeError, UsageError
from orbitrax.molecules.force_field import relaxed

RDLogger.DisableLog("rdApp.*")
DRUGLIKE = support.ROOT / "tests" / "reference" / "druglike.smi"


def plain(mol) -> str:
    """The SMILES of a molecule without hydrogens and configurations."""
    text = Chem.MolToSmiles(Chem.RemoveHs(mol), isomericSmiles=False)
    return Chem.MolToSmiles(Chem.MolFromSmiles(text))


def with_charges(smiles: str, title="it & that") -> Charges:
    """A molecule on a line, with charges that sum to its formal charge."""
    mol = from_smiles(smiles)
    n = mol.GetNumAtoms()
    conformer = Chem.Conformer(n)
    for i in range(n):
        conformer.SetAtomPosition(i, (1.1 * i, 0.3 * (i % 2), 0.0))
    mol.AddConformer(conformer)
    values = np.random.default_rng(n).normal(0, 0.3, n)
    values += (Chem.GetFormalCharge(mol) - values.sum()) / n
    values = rounded(values, Chem.GetFormalCharge(mol), np.arange(n))
    return Charges(mol, title, "am1bcc", values, values, [], np.arange(n),
                   conformer.GetPositions(), -12.5)


# ---- reading ------------------------------------------------------------------------------------


@pytest.mark.parametrize("ending", ["sdf", "mol", "mol2"])
def test_what_is_written_is_read_again(tmp_path, ending):
    entry = with_charges("C[N+](C)(C)CC(=O)[O-]")
    path = tmp_path / f"a.{ending}"
    path.write_text(Chem.MolToMolBlock(entry.mol) if ending == "mol"
                    else writers.writer_of(str(path))([entry]))
    (title, mol), = read_molecules(str(path))
    assert plain(mol) == plain(entry.mol) and mol.GetNumAtoms() == entry.mol.GetNumAtoms()
    assert Chem.GetFormalCharge(mol) == 0


def test_all_molecules_of_a_file_are_read_under_their_names(tmp_path):
    path = tmp_path / "two.sdf"
    path.write_text(writers.writer_of("a.sdf")([with_charges("CO", "first"),
                                                with_charges("CN", "second")]))
    assert [title for title, _ in read_molecules(str(path))] == ["first", "second"]
    smiles = tmp_path / "two.smi"
    smiles.write_text("# alcohols\nCO methanol\nCCO\n")
    assert [title for title, _ in read_molecules(str(smiles))] == ["methanol", "CCO"]


@pytest.mark.parametrize("smiles", ["CC(=O)Nc1ccc(O)cc1", "C[NH3+]", "CC(=O)[O-]", "N#Cc1ccccc1"])
@pytest.mark.parametrize("ending", ["xyz", "pdb"])
def test_bonds_are_found_where_a_file_has_none(tmp_path, smiles, ending):
    mol = from_smiles(smiles)
    positions = relaxed(mol, embedded(mol, 1)[0])[0]
    conformer = Chem.Conformer(mol.GetNumAtoms())
    for i, place in enumerate(positions.tolist()):
        conformer.SetAtomPosition(i, place)
    mol.AddConformer(conformer)
    path = tmp_path / f"a.{ending}"
    path.write_text(Chem.MolToXYZBlock(mol) if ending == "xyz" else Chem.MolToPDBBlock(mol))
    (_, found), = read_molecules(str(path), charge=Chem.GetFormalCharge(mol))
    assert plain(found) == plain(mol)


def test_a_charge_that_fits_no_bonds_is_refused(tmp_path):
    mol = from_smiles("C")
    mol.AddConformer(Chem.Conformer(5))
    positions = embedded(mol, 1)[0]
    lines = ["5", ""] + [f"{a.GetSymbol()} {x} {y} {z}" for a, (x, y, z) in
                         zip(mol.GetAtoms(), positions.tolist())]
    path = tmp_path / "methane.xyz"
    path.write_text("\n".join(lines) + "\n")
    with pytest.raises(MoleculeError, match="make a charge of 0, not 1"):
        list(read_molecules(str(path), charge=1))


@pytest.mark.parametrize("name,text,error", [
    ("a.sdf", "", "has no molecule"), ("a.mol", "\n\n\n  1  0\n", "cannot read it"),
    ("a.mol2", "nothing", "has no molecule"), ("a.smi", "C(C\n", "line 1: 'C\\(C' is not"),
    ("a.pdb", "END\n", "no atoms that RDKit can read"), ("a.cif", "x", "format is not known")])
def test_a_file_that_is_none_is_refused(tmp_path, name, text, error):
    path = tmp_path / name
    path.write_text(text)
    with pytest.raises(MoleculeError, match=error):
        list(read_molecules(str(path)))


def test_a_file_that_is_not_there_is_named(tmp_path):
    with pytest.raises(MoleculeError, match="nowhere.sdf: cannot be read: No such file"):
        list(read_molecules(str(tmp_path / "nowhere.sdf")))


# ---- mol2 ---------------------------------------------------------------------------------------


@pytest.mark.parametrize("smiles,expected", [
    ("CC(=O)[O-]", ["C.3", "C.2", "O.co2", "O.co2"]),
    ("CC(=O)NC", ["C.3", "C.2", "O.2", "N.am", "C.3"]),
    ("CC(=O)[N-]C", ["C.3", "C.2", "O.2", "N.am", "C.3"]),
    ("C[NH3+]", ["C.3", "N.4"]), ("NC(N)=[NH2+]", ["N.pl3", "C.cat", "N.pl3", "N.pl3"]),
    ("CC#N", ["C.3", "C.1", "N.1"]), ("CN=C", ["C.3", "N.2", "C.2"]),
    ("CS(C)(=O)=O", ["C.3", "S.O2", "C.3", "O.2", "O.2"]),
    ("CS(C)=O", ["C.3", "S.O", "C.3", "O.2"]),
    ("COP(C)(C)=O", ["C.3", "O.3", "P.3", "C.3", "C.3", "O.2"]), ("CSCl", ["C.3", "S.3", "Cl"])])
def test_atoms_have_the_types_of_sybyl(smiles, expected):
    heavy = Chem.MolFromSmiles(smiles).GetNumAtoms()
    assert [sybyl_type(atom) for atom in list(from_smiles(smiles).GetAtoms())[:heavy]] == expected


def test_rdkit_reads_the_mol2_of_drug_like_molecules_as_they_are():
    """Every twentieth of the list; of all 2000 it reads one in another resonance structure."""
    lines = [line for line in DRUGLIKE.read_text().splitlines() if not line.startswith("#")]
    for line in lines[::20]:
        entry = with_charges(line.split()[0])
        back = Chem.MolFromMol2Block(writers.writer_of("a.mol2")([entry]), removeHs=False)
        assert back is not None and plain(back) == plain(entry.mol), line
        read = [float(atom.GetProp("_TriposPartialCharge")) for atom in back.GetAtoms()]
        assert read == pytest.approx(entry.charges, abs=1e-9)


def test_open_babel_reads_the_charges_of_a_mol2_file():
    pybel = pytest.importorskip("openbabel.pybel")
    entry = with_charges("CC(=O)Nc1ccc(O)cc1")
    back = pybel.readstring("mol2", writers.writer_of("a.mol2")([entry]))
    assert [atom.partialcharge for atom in back.atoms] == pytest.approx(entry.charges, abs=1e-9)
    assert back.charge == 0


# ---- other formats ------------------------------------------------------------------------------


def test_rdkit_reads_the_charges_of_an_sd_file():
    entry = with_charges("CCCCCCCCCCCCCCCCCC(=O)[O-]")  # more charges than fit in one line
    supplier = Chem.SDMolSupplier()
    supplier.SetData(writers.writer_of("a.sdf")([entry]), removeHs=False)
    back = next(iter(supplier))
    assert [atom.GetDoubleProp("PartialCharge") for atom in back.GetAtoms()] == pytest.approx(
        entry.charges, abs=1e-9)
    assert back.GetProp("charge_model") == "am1bcc"


def test_the_table_has_a_row_for_each_atom():
    entry = with_charges("CO")
    rows = list(csv.DictReader(io.StringIO(writers.writer_of("a.csv")([entry]))))
    assert [row["name"] for row in rows] == ["C1", "O1", "H1", "H2", "H3", "H4"]
    assert sum(float(row["charge"]) for row in rows) == pytest.approx(0, abs=1e-12)


def test_the_document_is_whole():
    entry = with_charges("CO")
    read = json.loads(writers.writer_of("a.json")([entry]))
    assert read["schema"] == writers.SCHEMA and read["smiles"] == "CO"
    assert read["charges"] == entry.charges.tolist()
    assert len(json.loads(writers.writer_of("a.json")([entry, entry]))) == 2


def test_the_openmm_residue_has_the_bonds_and_a_neutral_sum():
    entry = with_charges("CC(=O)O")
    root = ElementTree.fromstring(writers.writer_of("a.xml")([entry]))
    atoms = root.findall("Residues/Residue/Atom")
    types = {kind.get("name"): kind.get("element") for kind in root.findall("AtomTypes/Type")}
    assert [types[atom.get("type")] for atom in atoms] == [
        atom.GetSymbol() for atom in entry.mol.GetAtoms()]
    assert [float(atom.get("charge")) for atom in atoms] == entry.charges.tolist()
    bonds = {frozenset((int(b.get("from")), int(b.get("to"))))
             for b in root.findall("Residues/Residue/Bond")}
    assert bonds == {frozenset((b.GetBeginAtomIdx(), b.GetEndAtomIdx()))
                     for b in entry.mol.GetBonds()}
    assert len(root.findall("NonbondedForce/Atom")) == len(atoms)


def test_library_charges_match_their_own_molecule():
    entry = with_charges("CC(=O)Nc1ccc(O)cc1")
    root = ElementTree.fromstring(writers.writer_of("a.offxml")([entry]))
    charge, = root.findall("LibraryCharges/LibraryCharge")
    query = Chem.MolFromSmarts(charge.get("smirks"))
    order = {atom.GetAtomMapNum(): atom.GetIdx() for atom in query.GetAtoms()}
    for match in entry.mol.GetSubstructMatches(query, uniquify=False):
        if all(match[order[i + 1]] == i for i in range(len(match))):
            break
    else:
        raise AssertionError("the pattern does not match its molecule as it is")
    values = [charge.get(f"charge{i + 1}") for i in range(len(order))]
    assert values == [f"{value:.4f} * elementary_charge" for value in entry.charges]


def test_a_name_without_a_format_is_refused():
    with pytest.raises(UsageError, match="charges.xlsx: no format for charges.*\\.mol2"):
        writers.writer_of("charges.xlsx")
