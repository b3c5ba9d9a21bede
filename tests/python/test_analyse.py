"""The command `analyse`: what it prints and writes of trajectories with known motion."""

import subprocess
import sys

import numpy as np
import pytest
from ase import Atoms
from ase.io import write
from support import ROOT

from orbitrax.motion.analysis import CM_PER_CYCLE_PER_PS

ENVIRONMENT = {"PYTHONPATH": str(ROOT / "python"), "PATH": "/usr/bin:/bin"}


def analyse(*words):
    return subprocess.run([sys.executable, "-m", "orbitrax", "analyse", *map(str, words)],
                          capture_output=True, text=True, timeout=60, env=ENVIRONMENT)


@pytest.fixture(scope="module")
def swinging(tmp_path_factory):
    """H2 whose bond swings about 0.74 by 0.05 Angstrom with 4000 1/cm, a frame each 0.5 fs."""
    frames, omega = [], 2 * np.pi * 4000 / CM_PER_CYCLE_PER_PS
    for i in range(2001):
        t = 0.0005 * i
        bond, speed = 0.74 + 0.05 * np.cos(omega * t), -0.05 * omega * np.sin(omega * t)
        atoms = Atoms("H2", [[0, 0, 0], [0, 0, bond]], info={"time_ps": t})
        atoms.arrays["velo"] = np.array([[0, 0, -speed / 2], [0, 0, speed / 2]])
        frames.append(atoms)
    path = tmp_path_factory.mktemp("runs") / "swing.xyz"
    write(path, frames)
    return path


def test_distances_have_their_mean_and_their_columns(swinging, tmp_path):
    done = analyse(swinging, "--distance", 1, 2)
    assert done.returncode == 0 and done.stdout.startswith("distance 1-2 (Angstrom)")
    assert "mean 0.7400" in done.stdout and "from 0.6900 to 0.7900" in done.stdout
    path = tmp_path / "bond.csv"
    assert analyse(swinging, "--distance", 1, 2, "-q", "-o", path).stdout == ""
    lines = path.read_text().splitlines()
    assert lines[0] == "time (ps),distance 1-2 (Angstrom)" and len(lines) == 2002
    assert [float(word) for word in lines[1].split(",")] == [0, 0.79]
    assert analyse(swinging, "--distance", 1, 2, "-o", "-").stdout == path.read_text()


def test_a_spectrum_names_its_lines_and_what_it_cannot_show(swinging, tmp_path):
    done = analyse(swinging, "--spectrum", "-o", tmp_path / "spectrum.svg")
    line = float(done.stdout.splitlines()[1])
    assert line == pytest.approx(4000, abs=35) and "false places" not in done.stdout
    assert "wavenumber (1/cm)" in (tmp_path / "spectrum.svg").read_text()
    rare = tmp_path / "rare.xyz"
    import ase.io
    write(rare, ase.io.read(swinging, "::10"))
    assert "false places: write frames more often" in analyse(rare, "--spectrum").stdout


def test_a_last_frame_before_its_turn_is_left_out(swinging, tmp_path):
    import ase.io
    frames = ase.io.read(swinging, ":101:10") + ase.io.read(swinging, "104:105")
    path = tmp_path / "odd.xyz"
    write(path, frames)
    done = analyse(path, "--distance", 1, 2, "-o", "-")
    assert len(done.stdout.splitlines()) == 12


@pytest.mark.parametrize("words, said", [
    ([], "say what to look for"), (["--distance", "1", "3"], "different atoms from 1 to 2"),
    (["--distance", "0", "1"], "different atoms"), (["--angle", "1", "2", "1"], "different atoms"),
    (["--spectrum", "--displacement", "-o", "-"], "one table"),
    (["--atoms", "7", "--spectrum"], "7"),
    (["--interval", "5", "--spectrum"], "as 0.5fs"), (["--spectrum", "-o", "x.doc"], "no picture"),
])
def test_mistakes_are_told(swinging, words, said):
    done = analyse(swinging, *words)
    assert done.returncode == 2 and said in done.stderr and "Traceback" not in done.stderr


def test_what_is_no_trajectory_is_told(tmp_path):
    path = tmp_path / "one.xyz"
    write(path, [Atoms("H2", [[0, 0, 0], [0, 0, 1]])] * 4)
    assert "--interval" in analyse(path, "--spectrum").stderr
    assert analyse(path, "--distance", 1, 2, "--interval", "1fs").returncode == 0
    write(path, Atoms("H"))
    assert "nothing to look into" in analyse(path, "--spectrum").stderr
    path.write_text("nonsense\n")
    assert "cannot be read as a trajectory" in analyse(path, "--spectrum").stderr
    assert "no such file" in analyse(tmp_path / "nowhere.xyz", "--spectrum").stderr


def test_steps_without_times_have_distances_and_nothing_in_time(tmp_path):
    """As those of a walk by trial moves have none."""
    path = tmp_path / "walk.xyz"
    write(path, [Atoms("H2", [[0, 0, 0], [0, 0, 0.7 + 0.01 * i]], info={"step": 10 * i})
                 for i in range(5)])
    done = analyse(path, "--distance", 1, 2, "-o", "-")
    assert done.stdout.splitlines()[0] == "step,distance 1-2 (Angstrom)"
    assert done.stdout.splitlines()[-1] == "40,0.74"
    for word in ("--spectrum", "--autocorrelation", "--displacement"):
        done = analyse(path, word)
        assert done.returncode == 2 and "its frames have no times" in done.stderr
