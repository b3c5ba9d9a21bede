"""A run whose step is too long for its motion is not told as good."""

import json
import os
import subprocess
import sys

import pytest
from support import ROOT

from orbitrax import Backend, Job, Molecule, MonteCarlo, read_molecule

pytestmark = pytest.mark.timeout(120)

ENVIRONMENT = {**os.environ, "PYTHONPATH": str(ROOT / "python")}


def run(task, *words, molecule=("examples/ethanol.xyz",)):
    done = subprocess.run(
        [sys.executable, "-m", "orbitrax", task, *molecule, "-m", "am1", "--time",
         "150fs", "--json", *words], cwd=ROOT, env=ENVIRONMENT, capture_output=True, text=True)
    found = json.loads(done.stdout)
    return done, found, found[task]["frames"]


def moved(frames):
    """By how much the total energy moved, in mean kinetic energies."""
    kinetic = frames["kinetic_energy"]
    totals = frames["total_energy"]
    return (max(totals) - min(totals)) * len(kinetic) / sum(kinetic)


@pytest.mark.parametrize("words", [["md"], ["langevin", "--friction", "0"]])
def test_atoms_that_run_away_are_no_result(words):
    """At 3 fs the stretches of hydrogen, of 9 fs each, are not followed."""
    done, found, frames = run(*words, "--step", "3fs")
    assert max(frames["temperature"]) > 10000 and moved(frames) > 1
    assert done.returncode == 1 and found["status"] == "unconverged"
    assert "does not follow this motion" in done.stderr or "did not converge" in done.stderr
    assert run(*words, "--step", "3fs", "--allow-unconverged")[1]["status"] == "done"


@pytest.mark.parametrize("words", [["md", "--bath", "0.1ps"], ["langevin", "--friction", "1"]])
def test_nor_are_they_where_a_bath_takes_the_heat(words):
    done, found, frames = run(*words, "--step", "3fs")
    assert frames["temperature"][-1] > 3000
    assert done.returncode == 1 and found["status"] == "unconverged", frames["temperature"]


def test_a_step_that_is_only_just_followed_is_warned_of():
    done, found, frames = run("md", "--step", "2fs")
    assert 0.25 < moved(frames) < 1 and found["status"] == "done" and done.returncode == 0
    assert any("take a smaller --step than 2 fs" in text for text in found["warnings"])


def test_an_energy_that_wavers_and_comes_back_is_only_warned_of():
    """A stretched hydrogen fluoride swings in 8 fs: the leapfrog follows steps of 1 fs for ever."""
    done, found, frames = run("md", "--step", "1fs", "--report-period", "1",
                              molecule=("--smiles", "F"))
    totals = frames["total_energy"]
    half = len(totals) // 2
    early, late = sum(totals[:half]) / half, sum(totals[half:]) / (len(totals) - half)
    assert moved(frames) > 1
    assert abs(late - early) < 0.1 * sum(frames["kinetic_energy"]) / len(totals)
    assert done.returncode == 0 and found["status"] == "done"
    assert any("take a smaller --step than 1 fs" in text for text in found["warnings"])


@pytest.mark.parametrize("words", [
    ["md"], ["md", "--step", "1fs"], ["langevin"], ["md", "--bath", "10fs"],
    ["langevin", "--friction", "0"], ["md", "--temperature", "0"],
    ["md", "--heat-time", "50fs", "--cool-time", "50fs", "--cool-to", "50"]])
def test_a_step_that_suits_is_not_complained_of(words):
    done, found, _ = run(*words)
    assert done.returncode == 0 and found["status"] == "done" and found["warnings"] == []


@pytest.fixture()
def parted(tmp_path):
    """Hydrogen at 2.2 Angstrom, where the two electrons have parted."""
    (tmp_path / "h2.xyz").write_text("2\n\nH 0 0 0\nH 0 0 2.2\n")
    return str(tmp_path / "h2.xyz")


def told(done, name, words):
    return [line for line in done.stderr.splitlines()
            if f"{name} of the run: " in line and words in line]


@pytest.mark.parametrize("task, words", [
    ("md", ["--temperature", "10"]), ("langevin", ["--friction", "0", "--temperature", "10"])])
def test_a_closed_shell_that_is_no_minimum_is_warned_of(parted, task, words):
    done, found, frames = run(task, "--time", "2fs", *words, molecule=(parted,))
    assert found["status"] == "done" and done.returncode == 0
    for name in ("start", "end"):
        assert told(done, name, "the closed shell is unstable") != []
    assert len(found["warnings"]) == 2
    assert run(task, "--time", "2fs")[1]["warnings"] == []


def test_electrons_that_stay_in_an_excited_state_are_warned_of(parted):
    """As the atoms meet the electrons pair, and stay so as the atoms fly apart again."""
    done, found, frames = run("md", "--time", "20fs", "--temperature", "10", "--uhf",
                              molecule=(parted,))
    with Backend() as backend:
        last = backend.run(Job(Molecule([1, 1], found["coordinates_angstrom"]), "am1", uhf=True))
    above = frames["potential_energy"][-1] - last.total_energy
    assert above > 1 and told(done, "start", "") == []
    assert told(done, "end", f"in an excited state, {above:.2f} kcal/mol above") != []


@pytest.mark.parametrize("displacement, words", [(5.0, "smaller"), (0.0003, "larger"), (0.1, "")])
def test_trial_moves_that_make_no_sample_are_warned_of(displacement, words):
    with Backend() as backend:
        task = MonteCarlo(displacement=displacement, sweeps=40)
        result = task.start(read_molecule(ROOT / "examples/water.xyz"), "am1").execute(backend)
    assert [f"take a {words} --displacement" in text for text in result.warnings] == (
        [True] if words else [])


@pytest.mark.parametrize("task", ["md", "langevin", "montecarlo", "vibrations"])
def test_nothing_moves_by_a_configuration_interaction(task):
    done = subprocess.run(
        [sys.executable, "-m", "orbitrax", task, "examples/water.xyz", "-m", "am1", "--ci",
         "singles", "--window", "1", "1"], cwd=ROOT, env=ENVIRONMENT, capture_output=True,
        text=True)
    assert done.returncode == 2 and done.stderr.startswith("orbitrax: error: --ci: ")
