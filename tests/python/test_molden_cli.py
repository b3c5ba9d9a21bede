"""Molden files from the command line."""

import json
import os
import subprocess
import sys

import numpy as np
import pytest
from molden_file import MoldenFile
from support import ROOT

pytestmark = pytest.mark.timeout(60)

WATER = str(ROOT / "examples" / "water.xyz")


@pytest.fixture
def orbitrax(tmp_path):
    def run(*arguments):
        return subprocess.run([sys.executable, "-m", "orbitrax", *arguments], cwd=tmp_path,
                              capture_output=True, text=True, timeout=30,
                              env={**os.environ, "PYTHONPATH": str(ROOT / "python")})

    return run


def read(path):
    return MoldenFile(path.read_text())


def test_energy_writes_the_file_and_prints_its_summary(orbitrax, tmp_path):
    done = orbitrax("energy", WATER, "-m", "am1", "-o", "water.molden")
    assert (done.returncode, done.stderr) == (0, "")
    assert done.stdout == orbitrax("energy", WATER, "-m", "am1").stdout
    file = read(tmp_path / "water.molden")
    assert file.electrons() == pytest.approx(8, abs=1e-6) and "S^-1/2" in file.title


def test_raw_orbitals_are_written_when_asked_for(orbitrax, tmp_path):
    done = orbitrax("energy", WATER, "-m", "am1", "-o", "water.MOLDEN", "--molden-raw", "--json")
    assert done.returncode == 0 and json.loads(done.stdout)["status"] == "done"
    file = read(tmp_path / "water.MOLDEN")
    c = file.orbitals()
    assert "raw" in file.title and c @ c.T == pytest.approx(np.eye(6), abs=1e-6)


def test_optimize_writes_the_last_structure_with_its_orbitals(orbitrax, tmp_path):
    assert orbitrax("optimize", WATER, "-m", "am1", "-o", "a.molden").returncode == 0
    assert orbitrax("optimize", WATER, "-m", "am1", "-o", "a.xyz").returncode == 0
    from ase.io import read as read_xyz

    file = read(tmp_path / "a.molden")
    relaxed = read_xyz(tmp_path / "a.xyz").positions
    assert file.positions * 0.529177210903 == pytest.approx(relaxed, abs=1e-6)
    assert file.electrons() == pytest.approx(8, abs=1e-6)


def test_plot_writes_all_orbitals(orbitrax, tmp_path):
    done = orbitrax("plot", WATER, "-m", "am1", "-o", "a.molden")
    assert done.returncode == 0 and done.stdout.startswith("H2O, 3 atoms")
    assert len(read(tmp_path / "a.molden").energies()) == 6
    done = orbitrax("plot", WATER, "-m", "am1", "-o", "b.molden", "--spin-density")
    assert done.returncode == 2 and "leave out --spin-density" in done.stderr
    assert not (tmp_path / "b.molden").exists()


def test_the_report_goes_where_it_goes_without_a_file(orbitrax, tmp_path):
    done = orbitrax("energy", WATER, "-m", "am1", "-o", "a.molden", "--log")
    assert "ENERGIES AND GRADIENT" in done.stdout
    assert len(read(tmp_path / "a.molden").energies()) == 6


def test_orbitals_of_an_unconverged_calculation_are_written_and_called_so(orbitrax, tmp_path):
    done = orbitrax("energy", WATER, "-m", "am1", "-o", "a.molden", "--scf-iterations", "2")
    assert done.returncode == 1 and "did not converge" in done.stderr
    assert "NOT CONVERGED" in read(tmp_path / "a.molden").title


@pytest.mark.parametrize("arguments,words", [
    (("-o", "none/a.molden"), "none/a.molden: no file can be written there"),
    (("-o", "folder.molden"), "folder.molden: no file can be written there"),
    (("--molden-raw",), "-o NAME.molden"),
    (("-o", "a.txt", "--molden-raw"), "-o NAME.molden"),
])
def test_what_cannot_be_written_is_refused_before_anything_is_computed(orbitrax, tmp_path,
                                                                       arguments, words):
    (tmp_path / "folder.molden").mkdir()
    for task in ("energy", "optimize"):
        if task == "optimize" and arguments == ("-o", "a.txt", "--molden-raw"):
            continue
        done = orbitrax(task, WATER, "-m", "am1", "--backend", "/nowhere", *arguments)
        assert done.returncode == 2 and words in done.stderr, done.stderr
        assert done.stdout == "" and os.listdir(tmp_path) == ["folder.molden"]


def test_a_full_disk_is_told(orbitrax, tmp_path):
    (tmp_path / "a.molden").symlink_to("/dev/full")
    done = orbitrax("energy", WATER, "-m", "am1", "-o", "a.molden")
    assert done.returncode == 3 and "a.molden: cannot be written: No space" in done.stderr


def test_a_refused_job_leaves_no_file(orbitrax, tmp_path):
    done = orbitrax("energy", WATER, "-m", "am1", "-c", "50", "-o", "a.molden")
    assert done.returncode == 2 and os.listdir(tmp_path) == []
