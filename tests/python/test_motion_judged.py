"""A run whose step is too long for its motion is not told as good."""

import json
import os
import subprocess
import sys

import pytest
from support import ROOT

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
