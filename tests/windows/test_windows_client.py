"""The Python client with qsolve.exe under Wine as its backend."""

import json
import shutil
import subprocess
import sys
from pathlib import Path

import pytest
import wine
from peers import PROGRAM, copy_program

from orbitrax.backend import Backend
from orbitrax.link.process import find_backend
from orbitrax.job import Job
from orbitrax.molecules.reading import read_molecule

WATER = wine.ROOT / "examples" / "water.xyz"
LAUNCHER = wine.ROOT / "tests" / "windows" / "qsolve-wine"
windows = pytest.mark.windows


def energy(program: str) -> dict:
    """What the command line says of water."""
    command = [sys.executable, "-m", "orbitrax", "energy", str(WATER), "-m", "am1", "--json",
               "--backend", program]
    ran = subprocess.run(command, cwd=wine.ROOT / "python", capture_output=True, text=True,
                         timeout=60)
    assert ran.returncode == 0, ran.stderr
    return json.loads(ran.stdout)


def numbers(document, path: str = "") -> dict:
    """The numbers of a document by their places, times apart."""
    if isinstance(document, dict):
        parts = document.items()
    elif isinstance(document, list):
        parts = enumerate(document)
    else:
        return {path: document} if isinstance(document, float) and "seconds" not in path else {}
    return {place: number for key, part in parts
            for place, number in numbers(part, f"{path}/{key}").items()}


@windows
@pytest.mark.usefixtures("under_wine")
def test_the_command_line_computes_the_same_with_it(tmp_path):
    ours, theirs = energy(str(copy_program(tmp_path))), energy(str(LAUNCHER))
    assert len(numbers(ours)) > 10
    assert numbers(ours) == pytest.approx(numbers(theirs), rel=1e-9, abs=1e-9)


@windows
@pytest.mark.usefixtures("under_wine")
def test_one_process_serves_many_jobs_and_ends_soundly():
    with Backend(LAUNCHER) as backend:
        job = Job(read_molecule(str(WATER)), "am1")
        heats = {backend.run(job).heat_of_formation for _ in range(3)}
        assert len(heats) == 1
        assert backend.close() == 0


@windows
@pytest.mark.usefixtures("under_wine")
def test_two_backends_work_side_by_side():
    job = Job(read_molecule(str(WATER)), "am1")
    with Backend(LAUNCHER) as first, Backend(LAUNCHER) as second:
        streams = first.stream(job), second.stream(job)
        pairs = list(zip(*streams, strict=True))
    cycles = [ours for ours, _ in pairs if getattr(ours, "text", "").startswith("Iteration")]
    assert len(cycles) > 5
    assert all(str(ours) == str(theirs) for ours, theirs in pairs)


def test_the_launcher_can_be_named_as_any_backend(monkeypatch):
    assert find_backend(LAUNCHER) == str(LAUNCHER)
    monkeypatch.setenv("ORBITRAX_QSOLVE", str(LAUNCHER))
    assert find_backend() == str(LAUNCHER)
    assert find_backend(PROGRAM) == str(PROGRAM)


def test_a_launcher_that_lacks_something_says_what(tmp_path):
    folder = tmp_path / "tests" / "windows"
    folder.mkdir(parents=True)
    for name in ("qsolve-wine", "wine.py"):
        shutil.copy(Path(wine.__file__).with_name(name), folder)
    ran = subprocess.run([folder / "qsolve-wine"], capture_output=True, text=True, timeout=60,
                         stdin=subprocess.DEVNULL)
    assert ran.returncode == 1
    assert ran.stderr.startswith("qsolve-wine: ")
    assert "has not been built" in ran.stderr or "is not installed" in ran.stderr
