"""Isotopes stay in what is written: a file of D2O has no vibrations of H2O when it is read."""

import json
import os
import subprocess
import sys

import pytest
from support import ROOT

from orbitrax import read_molecule
from orbitrax.molecules.molecule import Molecule
from orbitrax.molecules.writing import what_is_lost, write_molecule

ENVIRONMENT = {**os.environ, "PYTHONPATH": str(ROOT / "python")}
HDO = "3\n\nO 0 0 0\nD 0 0 0.96\nH 0.93 0 -0.24\n"
MASSES = [15.999, 2.014102, 1.008]


def orbitrax(folder, *words):
    return subprocess.run([sys.executable, "-m", "orbitrax", *words], cwd=folder, env=ENVIRONMENT,
                          capture_output=True, text=True)


@pytest.fixture()
def folder(tmp_path):
    (tmp_path / "hdo.xyz").write_text(HDO)
    return tmp_path


@pytest.mark.parametrize("ending", ["xyz", "mol", "sdf", "gjf", "mop", "inp", "json", "traj"])
def test_files_tell_of_isotopes(folder, ending):
    path = str(folder / f"a.{ending}")
    molecule = read_molecule(str(folder / "hdo.xyz"))
    write_molecule(path, molecule)
    assert read_molecule(path).plain_masses == pytest.approx(MASSES, abs=1e-3)
    assert what_is_lost(path, molecule) is None


@pytest.mark.parametrize("ending", ["gjf", "mop", "xyz", "json"])
def test_isotopes_without_a_name_of_their_own_are_told_too(tmp_path, ending):
    path, masses = str(tmp_path / f"a.{ending}"), [13.003355, 17.99916]
    write_molecule(path, Molecule([6, 8], [0, 0, 0, 0, 0, 1.13], masses=masses))
    assert read_molecule(path).plain_masses == pytest.approx(masses, abs=1e-5)


def test_what_a_file_cannot_tell_is_warned_of(folder):
    done = orbitrax(folder, "convert", "hdo.xyz", "a.pdb")
    assert done.returncode == 0 and "does not tell what isotopes the atoms are" in done.stderr
    (folder / "h2o.xyz").write_text(HDO.replace("D", "H"))
    assert "isotopes" not in orbitrax(folder, "convert", "h2o.xyz", "a.pdb").stderr
    assert "masses" not in (folder / "h2o.xyz").read_text()


def test_structures_of_searches_and_documents_keep_them(folder):
    done = orbitrax(folder, "optimize", "hdo.xyz", "-m", "am1", "-o", "out.xyz", "--trajectory",
                    "path.xyz", "--json")
    assert done.returncode == 0
    assert json.loads(done.stdout)["masses"] == pytest.approx(MASSES)
    (folder / "out.json").write_text(done.stdout)
    for name in ("out.xyz", "path.xyz@-1", "out.json"):
        assert read_molecule(str(folder / name)).plain_masses == pytest.approx(MASSES, abs=1e-6)


def test_structures_of_a_batch_keep_them(folder):
    done = orbitrax(folder, "batch", "hdo.xyz", "-m", "am1", "-o", "r.jsonl", "--structures",
                    "s.xyz")
    assert done.returncode == 0, done.stderr
    assert read_molecule(str(folder / "s.xyz")).plain_masses == pytest.approx(MASSES, abs=1e-6)
