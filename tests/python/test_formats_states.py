"""Charge and multiplicity in files of structures: kept, or their loss is told."""

import os
import subprocess
import sys

import pytest
from support import ROOT

from orbitrax import Molecule, MoleculeError, as_molecule, read_molecule
from orbitrax.molecules.perceive import with_bonds
from orbitrax.molecules.writing import what_is_lost, write_molecule

ENVIRONMENT = {**os.environ, "PYTHONPATH": str(ROOT / "python"), "NO_COLOR": "1"}
EXAMPLES = ROOT / "examples"


def orbitrax(*words):
    return subprocess.run([sys.executable, "-m", "orbitrax", *words], cwd=ROOT, env=ENVIRONMENT,
                          capture_output=True, text=True)


@pytest.mark.parametrize("ending", ["mol", "sdf"])
@pytest.mark.parametrize("words, charge, multiplicity", [
    (["convert", "examples/chloride_in_water.xyz"], -1, 1),
    (["optimize", "examples/nitrogen_dioxide.xyz", "-m", "am1"], 0, 2),
    (["optimize", "examples/ammonium.xyz", "-m", "am1"], 1, 1)])
def test_ions_and_radicals_are_written_with_bonds(tmp_path, ending, words, charge, multiplicity):
    """A chloride has no bond, the two oxygens of nitrogen dioxide have different ones."""
    path = tmp_path / f"out.{ending}"
    done = orbitrax(*words, "-o", str(path))
    assert done.returncode == 0, done.stderr
    read = read_molecule(str(path))
    assert (read.charge or 0) == charge and (read.multiplicity or 1) == multiplicity
    assert "does not tell" not in done.stderr


def test_bonds_that_do_not_fit_are_told_before_anything_is_computed(tmp_path):
    """Methane of charge 2 has no such bonds."""
    path = tmp_path / "out.mol"
    xyz = tmp_path / "in.xyz"
    xyz.write_text("5\n\nC 0 0 0\nH .63 .63 .63\nH -.63 -.63 .63\nH -.63 .63 -.63\n"
                   "H .63 -.63 -.63\n")
    done = orbitrax("optimize", str(xyz), "-m", "am1", "-c", "2", "-o", str(path),
                    "--backend", "/bin/false")
    assert done.returncode == 2 and "make a charge of 0, not 2" in done.stderr
    assert not path.exists()


def test_a_structure_whose_bonds_are_lost_on_the_way_is_kept(tmp_path, monkeypatch):
    from orbitrax.cli.command import CommandSettings
    from orbitrax.cli.outputs import structure
    from orbitrax.errors import OrbitraxError

    path = str(tmp_path / "out.mol")
    start = read_molecule(str(EXAMPLES / "ethanol.xyz"))
    parted = start.replace(positions=[x * 5 for x in start.xyz], charge=1)
    monkeypatch.setattr(structure, "last_structure", lambda run, result: (parted, {}))
    output = structure.StructureOutput(CommandSettings(output=path))
    run = type("Run", (), {"points": type("Points", (), {"last": True})})
    (tmp_path / "out.mol.xyz").write_text("of somebody else")
    with pytest.raises(OrbitraxError, match="the structure is in .*out.mol-2.xyz"):
        output.finish(run, None)
    assert (tmp_path / "out.mol.xyz").read_text() == "of somebody else"
    assert read_molecule(str(tmp_path / "out.mol-2.xyz")).xyz == pytest.approx(parted.xyz, abs=1e-7)


@pytest.mark.parametrize("ending, lost", [("pdb", True), ("gen", True), ("xyz", False),
                                          ("sdf", False), ("gjf", False), ("traj", False)])
def test_a_format_without_charge_is_told(tmp_path, ending, lost):
    path = str(tmp_path / f"out.{ending}")
    molecule = read_molecule(str(EXAMPLES / "ammonium.xyz")).replace(charge=1)
    write_molecule(path, molecule)
    said = what_is_lost(path, molecule)
    assert (said is not None) == lost
    done = orbitrax("convert", "examples/ammonium.xyz", "-c", "1", "-o", path)
    assert done.returncode == 0 and ("--charge 1 --multiplicity 1" in done.stderr) == lost
    water = read_molecule(str(EXAMPLES / "water.xyz"))
    write_molecule(path, water)
    assert what_is_lost(path, water) is None


def test_a_triplet_drawn_with_a_double_bond_is_told(tmp_path):
    path = str(tmp_path / "o2.mol")
    oxygen = Molecule([8, 8], [0.0, 0.0, 0.0, 0.0, 0.0, 1.2], multiplicity=3)
    write_molecule(path, oxygen)
    assert "multiplicity 3" in str(what_is_lost(path, oxygen))


@pytest.mark.parametrize("number, charge", [(17, -1), (17, 0), (11, 1), (30, 2), (18, 0)])
def test_an_atom_alone_has_the_charge_that_adds_up(number, charge):
    from rdkit import Chem

    symbol = Chem.GetPeriodicTable().GetElementSymbol(number)
    block = Chem.MolFromXYZBlock(f"1\n\n{symbol} 0 0 0\n")
    assert Chem.GetFormalCharge(with_bonds(block, "ion", charge)) == charge


@pytest.mark.skipif(sys.platform == "win32", reason="there are no named pipes")
def test_a_named_pipe_is_not_read_again(tmp_path):
    path = tmp_path / "out.xyz"
    os.mkfifo(path)
    with subprocess.Popen(["cat", path], stdout=subprocess.PIPE, text=True) as reader:
        try:
            done = subprocess.run(
                [sys.executable, "-m", "orbitrax", "convert", "examples/water.xyz", path], cwd=ROOT,
                env=ENVIRONMENT, capture_output=True, timeout=60)
            assert done.returncode == 0
            assert reader.stdout.read().splitlines()[0] == "3"
        finally:
            reader.kill()


WATER_ROWS = ("O", " 0 0 0.1\n"), ("{}", " 0.757 0 -0.49\n"), ("{}", " -0.757 0 -0.49\n")
DEUTERIUM, TRITIUM, ORDINARY = 2.014102, 3.016049, 1.008


@pytest.mark.parametrize("name, head, end, words, masses", [
    ("a.gjf", "# am1\n\nt\n\n0 1\n", "\n", ("D", "H"), (DEUTERIUM, ORDINARY)),
    ("a.gjf", "# am1\n\nt\n\n0 1\n", "\n", ("H(Iso=2)", "T"), (DEUTERIUM, TRITIUM)),
    ("a.gjf", "# am1\n\nt\n\n0 1\n", "\n", ("H(ResName=A, iso=2.0141)", "1"),
     (DEUTERIUM, ORDINARY)),
    ("a.mop", "AM1\nt\n\n", "", ("D", "H2.5"), (DEUTERIUM, 2.5)),
    ("a.inp", "! AM1\n* xyz 0 1\n", "*\n", ("D", "H"), (DEUTERIUM, ORDINARY))])
def test_inputs_of_other_programs_keep_isotopes(tmp_path, name, head, end, words, masses):
    text = "".join(a + b for a, b in WATER_ROWS).format(*words)
    (tmp_path / name).write_text(head + text + end)
    found = read_molecule(tmp_path / name)
    assert found.formula == "H2O" and list(found.plain_masses) == [pytest.approx(15.999, abs=1e-3),
                                                                   *masses]
    (tmp_path / name).write_text(head + text.replace("D", "H").replace("T", "H").replace(
        "(Iso=2)", "").replace(", iso=2.0141", "").replace("2.5", "") + end)
    assert read_molecule(tmp_path / name).plain_masses is None


def test_an_isotope_that_is_not_known_is_refused(tmp_path):
    (tmp_path / "a.gjf").write_text("# am1\n\nt\n\n0 1\nHe(Iso=9) 0 0 0\n\n")
    with pytest.raises(MoleculeError, match="9He is no isotope"):
        read_molecule(tmp_path / "a.gjf")


def test_qcschema_keeps_masses_and_what_is_no_molecule_is_refused():
    document = {"symbols": ["O", "H", "H"], "geometry": [0, 0, 0, 0, 0, 2, 0, 2, 0],
                "masses": [15.995, 2.014, 1.008]}
    assert list(as_molecule(document).plain_masses) == document["masses"]
    for wrong in ({"symbols": ["O", "H", "Qq"]}, {"masses": ["x"] * 3}, {"masses": [1.0]},
                  {"geometry": None}, {"molecular_charge": "one"}):
        with pytest.raises(MoleculeError):
            as_molecule({**document, **wrong})
