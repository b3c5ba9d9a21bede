"""What is read is not written over, and two outputs are two files."""

import os
import shutil
import subprocess
import sys

import pytest
from support import ROOT

from orbitrax.errors import UsageError
from orbitrax.files import check_apart, claimed

ENVIRONMENT = {**os.environ, "PYTHONPATH": str(ROOT / "python"), "NO_COLOR": "1"}
SCAN = ["scan", "in.xyz", "-m", "am1", "--stretch", "1,2=0.95:1:0.05"]


def orbitrax(folder, *words):
    return subprocess.run([sys.executable, "-m", "orbitrax", *words], cwd=folder, env=ENVIRONMENT,
                          capture_output=True, text=True)


@pytest.fixture()
def folder(tmp_path):
    shutil.copy(ROOT / "examples" / "water.xyz", tmp_path / "in.xyz")
    (tmp_path / "bent.xyz").write_text("3\n\nO 0 0 0\nH 0.97 0 0\nH -0.1 0.97 0\n")
    (tmp_path / "list.csv").write_text("id,smiles\nwater,O\n")
    return tmp_path


@pytest.mark.parametrize("words", [
    ["energy", "in.xyz", "-m", "am1", "-o", "in.xyz"],
    ["energy", "in.xyz@0", "-m", "am1", "-o", "in.xyz"],
    ["optimize", "in.xyz@0", "-m", "am1", "-o", "in.xyz"],
    ["convert", "in.xyz@0", "in.xyz"],
    ["optimize", "in.xyz", "-m", "am1", "--trajectory", "./in.xyz"],
    ["optimize", "in.xyz", "in.xyz@0", "-m", "am1", "-o", "in.xyz"],
    ["md", "in.xyz", "-m", "am1", "--time", "1fs", "-o", "in.xyz"],
    [*SCAN, "-o", "in.xyz"], [*SCAN, "--csv", "in.xyz"],
    ["path", "in.xyz", "-m", "am1", "--csv", "in.xyz"],
    ["transit", "in.xyz", "in.xyz", "-m", "am1", "--trajectory", "in.xyz"],
    ["batch", "list.csv", "-m", "am1", "-o", "r.jsonl", "--table", "list.csv"]])
def test_what_is_read_stays(folder, words):
    before = {path.name: path.read_bytes() for path in folder.iterdir()}
    done = orbitrax(folder, *words)
    assert done.returncode == 2 and "which is read here; name another file" in done.stderr
    assert {path.name: path.read_bytes() for path in folder.iterdir()} == before


@pytest.mark.parametrize("words", [
    ["optimize", "in.xyz", "-m", "am1", "-o", "out.xyz", "--trajectory", "./out.xyz"],
    ["md", "in.xyz", "-m", "am1", "--time", "1fs", "-o", "out.xyz", "--trajectory", "out.xyz"],
    [*SCAN, "-o", "out.xyz", "--csv", "out.xyz"]])
def test_two_outputs_are_two_files(folder, words):
    done = orbitrax(folder, *words)
    assert done.returncode == 2 and "two outputs cannot go into one file" in done.stderr
    assert not (folder / "out.xyz").exists()


def test_a_structure_may_take_the_place_of_the_one_before(folder):
    assert orbitrax(folder, "optimize", "in.xyz", "-m", "am1", "-o", "in.xyz").returncode == 0
    assert "energy=" in (folder / "in.xyz").read_text()


@pytest.mark.parametrize("words", [
    ["optimize", "many.xyz", "-m", "am1", "-o", "many.xyz"], ["convert", "many.xyz", "./many.xyz"],
    ["ts", "many.xyz", "-m", "am1", "-o", "many.xyz"]])
def test_one_structure_takes_no_place_of_several(folder, words):
    text = 3 * (folder / "in.xyz").read_text()
    (folder / "many.xyz").write_text(text)
    done = orbitrax(folder, *words)
    assert done.returncode == 2 and "written over the 3 of this file" in done.stderr
    assert (folder / "many.xyz").read_text() == text


@pytest.mark.parametrize("option", ["--structures", "-o"])
def test_a_table_leaves_the_results_that_it_is_made_from(folder, option):
    assert orbitrax(folder, "batch", "list.csv", "-m", "am1", "-o", "r.csv").returncode == 0
    before = (folder / "r.csv").read_bytes()
    done = orbitrax(folder, "table", "r.csv", option, "r.csv")
    assert done.returncode == 2 and "which is read here; name another file" in done.stderr
    assert (folder / "r.csv").read_bytes() == before


def test_structures_of_a_table_have_a_name_that_tells_of_them(folder):
    assert orbitrax(folder, "batch", "list.csv", "-m", "am1", "-o", "r.jsonl").returncode == 0
    done = orbitrax(folder, "table", "r.jsonl", "--structures", "out.mol")
    assert done.returncode == 2 and "structures are written as .sdf or .xyz" in done.stderr
    assert not (folder / "out.mol").exists()


def test_links_and_devices(tmp_path):
    (tmp_path / "a").write_text("a")
    os.link(tmp_path / "a", tmp_path / "b")
    with pytest.raises(UsageError):
        check_apart([str(tmp_path / "b")], [str(tmp_path / "a")])
    check_apart(["/dev/null", "/dev/null", "-", "-", None, None, str(tmp_path / "c")],
                ["/dev/null", "-", None, "CCO", str(tmp_path / "a")])


TRAJECTORIES = [("run.xyz", ["md", "in.xyz", "--time", "1fs", "-o"]),
                ("run.traj", ["md", "in.xyz", "--time", "1fs", "-o"]),
                ("run.xyz", ["langevin", "in.xyz", "--time", "1fs", "--trajectory"]),
                ("run.xyz", ["md", "--restart", "run.xyz", "--time", "1fs", "-o"]),
                ("run.xyz", ["optimize", "in.xyz", "--trajectory"]),
                ("run.xyz", ["path", "in.xyz", "--trajectory"]),
                ("run.xyz", ["transit", "in.xyz", "bent.xyz", "--trajectory"])]


@pytest.mark.parametrize("name, words", TRAJECTORIES)
def test_one_run_at_a_time_writes_a_trajectory(folder, name, words):
    first = ["md", "in.xyz", "-m", "am1", "--time", "1fs", "-o", name]
    assert orbitrax(folder, *first).returncode == 0
    before = (folder / name).read_bytes()
    with open(folder / name, "ab", opener=claimed):
        done = orbitrax(folder, *words, name, "-m", "am1")
        assert done.returncode == 2 and "another run is writing it" in done.stderr
    assert (folder / name).read_bytes() == before
    assert orbitrax(folder, *first).returncode == 0
