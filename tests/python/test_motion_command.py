"""md, langevin and montecarlo from the command line: files, JSON, Ctrl-C, a sudden death."""

import json
import os
import signal
import subprocess
import sys
import time
from pathlib import Path

import ase.io
import numpy as np
import pytest
from support import ROOT

from orbitrax.motion.trajectory import end_of_frames

pytestmark = pytest.mark.timeout(120)

ENVIRONMENT = {**os.environ, "PYTHONPATH": str(ROOT / "python")}
WATER = "examples/water.xyz"


def orbitrax(*arguments):
    return subprocess.run([sys.executable, "-m", "orbitrax", *map(str, arguments)], cwd=ROOT,
                          capture_output=True, text=True, timeout=60, env=ENVIRONMENT)


def test_a_run_has_its_summary_and_its_trajectory(tmp_path):
    path = tmp_path / "run.xyz"
    done = orbitrax("md", WATER, "-m", "am1", "--time", "50fs", "--temperature", 300, "-o", path)
    assert (done.returncode, done.stderr) == (0, "")
    for text in ("50 fs, 100 steps of 0.5 fs, 11 frames", "Mean temperature", "Mean total energy",
                 "converged in every step"):
        assert text in done.stdout
    frames = ase.io.read(path, ":")
    assert [frame.info["step"] for frame in frames] == list(range(0, 101, 10))
    assert frames[-1].info["time_ps"] == 0.05 and frames[-1].info["method"] == "am1"
    assert frames[-1].arrays["velo"].shape == (3, 3) and frames[-1].get_forces().shape == (3, 3)


def test_json_has_settings_means_and_every_frame():
    done = orbitrax("langevin", WATER, "-m", "am1", "--time", "50fs", "--friction", 5, "--json")
    document = json.loads(done.stdout)
    found = document["langevin"]
    assert document["status"] == "done" and found["friction"] == 5 and found["step"] == 0.0005
    assert found["steps"] == found["wanted_steps"] == found["run_steps"] == 100
    assert {len(column) for column in found["frames"].values()} == {11}
    frames = found["frames"]
    assert found["temperature"]["mean"] == pytest.approx(np.mean(frames["temperature"]))
    assert np.array(frames["potential_energy"]) + frames["kinetic_energy"] == pytest.approx(
        np.array(frames["total_energy"]))
    assert document["total_energy"] == pytest.approx(frames["potential_energy"][-1])


def test_a_picture_and_ase_have_their_files(tmp_path):
    picture, path = tmp_path / "run.svg", tmp_path / "run.traj"
    done = orbitrax("md", WATER, "-m", "am1", "--time", "10fs", "-o", picture, "--trajectory", path)
    assert done.returncode == 0
    assert "temperature (K)" in picture.read_text()
    frames = ase.io.read(path, ":")
    assert len(frames) == 3
    text = tmp_path / "run.xyz"
    orbitrax("md", WATER, "-m", "am1", "--time", "10fs", "-q", "-o", text)
    same = ase.io.read(text, ":")
    assert frames[2].positions == pytest.approx(same[2].positions, abs=1e-8)
    from ase import units
    assert frames[2].get_velocities() * 1000 * units.fs == pytest.approx(same[2].arrays["velo"],
                                                                         rel=1e-6)


def test_a_walk_tells_what_was_accepted(tmp_path):
    path = tmp_path / "walk.xyz"
    done = orbitrax("montecarlo", WATER, "-m", "am1", "--sweeps", 20, "-o", path)
    assert done.returncode == 0 and "% of the trial moves" in done.stdout
    last = ase.io.read(path)
    assert last.info["step"] == 20 and "time_ps" not in last.info
    # A ratio of whole numbers: 3 atoms in 20 sweeps.
    assert last.info["acceptance"] * 60 == pytest.approx(round(last.info["acceptance"] * 60),
                                                         abs=1e-4)


def start(path, *more):
    return subprocess.Popen(
        [sys.executable, "-m", "orbitrax", "md", WATER, "-m", "am1", "--time", "1000ps", "--bath",
         "0.1ps", "-o", str(path), *more], cwd=ROOT, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
        text=True, env=ENVIRONMENT)


def wait_for_frames(path, process):
    for _ in range(600):
        if path.exists() and path.stat().st_size > 3000:
            return
        assert process.poll() is None
        time.sleep(0.05)
    raise AssertionError("no frames")


def test_ctrl_c_ends_with_everything_written_and_says_how_to_go_on(tmp_path):
    path = tmp_path / "run.xyz"
    process = start(path)
    wait_for_frames(path, process)
    process.send_signal(signal.SIGINT)
    out, said = process.communicate(timeout=30)
    assert process.returncode == 130 and "Mean temperature" in out
    assert "stopped as asked after step" in said
    command = said.partition("to go on: orbitrax ")[2].splitlines()[0]
    before = ase.io.read(path, ":")
    assert path.stat().st_size == end_of_frames(path)
    words = command.split()
    left = words.index("--time") + 1
    assert float(words[left].rstrip("ps")) == pytest.approx(1000 - before[-1].info["time_ps"])
    assert words[words.index("--bath") + 1] == "0.1ps"
    words[left] = "5fs"
    assert orbitrax(*words).returncode == 0
    after = ase.io.read(path, ":")
    steps = [frame.info["step"] for frame in after]
    assert steps == list(range(0, steps[-1] + 1, 10)) and len(after) == len(before) + 1
    assert after[-1].info["seed"] != before[-1].info["seed"]


def test_a_sudden_death_leaves_whole_frames(tmp_path):
    path = tmp_path / "run.xyz"
    process = start(path)
    wait_for_frames(path, process)
    process.kill()
    process.communicate(timeout=30)
    assert len(ase.io.read(path, ":")) > 2 and path.stat().st_size == end_of_frames(path)
    done = orbitrax("md", "--restart", path, "-m", "am1", "--time", "5fs", "-q", "-o", path)
    assert done.returncode == 0


def test_a_backend_that_is_killed_leaves_whole_frames(tmp_path):
    path = tmp_path / "run.xyz"
    process = start(path)
    wait_for_frames(path, process)
    children = Path(f"/proc/{process.pid}/task/{process.pid}/children").read_text().split()
    os.kill(int(children[0]), signal.SIGKILL)
    _, said = process.communicate(timeout=30)
    assert process.returncode == 3 and "backend" in said and "Traceback" not in said
    assert len(ase.io.read(path, ":")) > 2 and path.stat().st_size == end_of_frames(path)


def test_an_scf_that_does_not_converge_is_said_and_the_frames_are_kept(tmp_path):
    path = tmp_path / "run.xyz"
    done = orbitrax("md", WATER, "-m", "am1", "--time", "10fs", "--scf-iterations", 2, "-o", path)
    assert done.returncode == 1
    assert "warning: an SCF on the way to step 0 did not converge" in done.stderr
    assert "NOT CONVERGED in" in done.stdout and "SCFs of the run" in done.stderr
    assert [frame.info["scf_converged"] for frame in ase.io.read(path, ":")] == [False] * 3


@pytest.mark.parametrize("arguments, said", [
    (["--time", "2"], "as 0.5fs or 2ps"), (["--step", "0fs"], "a step should be"),
    (["--step", "nanfs"], "as 0.5fs or 2ps"), (["--step", "1e38fs"], "a step should be"),
    (["--step", "-1fs"], "argument"), (["--seed", "0"], "choose from 1 to 150888"),
    (["--heat-from", "10"], "--heat-time"), (["-o", "run.doc"], "NAME.xyz or NAME.traj"),
    (["--restart", "nowhere.xyz"], "there is no such file"), (["--sweeps", "5"], "sweeps"),
    (["--time", "1e30ns"], "run it in parts"), (["-o", "/nowhere/run.xyz"], "no file can be"),
])
def test_mistakes_are_told_before_anything_is_computed(arguments, said):
    molecule = [] if "--restart" in arguments else [WATER]
    done = orbitrax("md", *molecule, "-m", "am1", *arguments)
    assert (done.returncode, done.stdout) == (2, "") and said in done.stderr, done.stderr
    assert "Traceback" not in done.stderr


@pytest.mark.parametrize("words, name, before, now", [
    (["-m", "pm3"], "method", "am1", "pm3"), (["-m", "am1", "-c", "1"], "charge", "0", "1"),
    (["-m", "am1", "-s", "3"], "multiplicity", "1", "3"),
    (["-m", "am1", "--uhf"], "spin_treatment", "RHF", "UHF")])
def test_frames_of_another_surface_go_into_another_file(tmp_path, words, name, before, now):
    path, other = tmp_path / "run.xyz", tmp_path / "other.xyz"
    assert orbitrax("md", WATER, "-m", "am1", "--time", "5fs", "-o", path).returncode == 0
    text = path.read_bytes()
    words = ["md", "--restart", path, *words, "--time", "1fs"]
    done = orbitrax(*words, "-o", path)
    assert done.returncode == 2 and path.read_bytes() == text
    assert f"{path}: its frames have {name} {before}, those of this run would have {now};" in (
        done.stderr)
    if name != "charge":  # one electron less is another multiplicity too
        assert orbitrax(*words, "-o", other).returncode == 0
