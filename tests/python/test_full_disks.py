"""Disks that are full when a trajectory is written: one line says which file, the document is
whole, and what else was to be written is."""

import json
import os
import subprocess
import sys

import pytest
from support import ROOT

from orbitrax import read_molecule

WATER, HCN, HNC = (str(ROOT / "examples" / f"{name}.xyz") for name in ("water", "hcn", "hnc"))

ENVIRONMENT = {**os.environ, "PYTHONPATH": str(ROOT / "python"), "NO_COLOR": "1"}


def orbitrax(*words):
    return subprocess.run([sys.executable, "-m", "orbitrax", *words], cwd=ROOT, env=ENVIRONMENT,
                          capture_output=True, text=True)


@pytest.fixture()
def full(tmp_path):
    """A name for a file on a disk that takes nothing."""

    def named(ending):
        path = tmp_path / f"full{ending}"
        path.symlink_to("/dev/full")
        return str(path)

    return named


def one_line(done, path):
    """Checks what was said of a full disk."""
    assert done.returncode == 3
    assert done.stderr.splitlines()[0] == (
        f"orbitrax: error: {path}: cannot be written: No space left on device")
    assert "standard output" not in done.stderr and "Traceback" not in done.stderr


def test_a_search_keeps_its_structure_and_its_document(full, tmp_path):
    last, path = tmp_path / "last.xyz", full(".xyz")
    done = orbitrax("optimize", WATER, "-m", "am1", "--trajectory", path, "-o", str(last), "--json")
    one_line(done, path)
    assert json.loads(done.stdout)["status"] == "failed"
    assert read_molecule(str(last)).formula == "H2O"


@pytest.mark.parametrize("ending", [".xyz", ".traj"])
def test_a_run_keeps_its_document(full, ending):
    path = full(ending)
    done = orbitrax("md", WATER, "-m", "am1", "--time", "10fs", "-o", path, "--json")
    one_line(done, path)
    assert json.loads(done.stdout)["status"] == "failed"


def test_a_reaction_says_which_file(full):
    path = full(".xyz")
    done = orbitrax("transit", HCN, HNC, "-m", "am1", "--trajectory", path, "--json")
    one_line(done, path)
    assert json.loads(done.stdout)["status"] == "failed"
