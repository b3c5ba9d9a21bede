"""Half electrons correct the energy and not the gradient: who takes a gradient is told."""

import json
import os
import subprocess
import sys

import numpy as np
import pytest
from ase import Atoms
from support import ROOT

from orbitrax import Backend, Job, Optimize, read_molecule
from orbitrax.ase import Orbitrax
from orbitrax.bridges.qcschema import compute
from orbitrax.tasks.task import OF_THE_MEAN

ENVIRONMENT = {**os.environ, "PYTHONPATH": str(ROOT / "python"), "NO_COLOR": "1"}
NO2 = str(ROOT / "examples" / "nitrogen_dioxide.xyz")
STATES = [({}, False), ({"rhf": True}, True), ({"charge": 1}, False),
          ({"charge": 1, "next_lowest": True}, True)]


@pytest.mark.parametrize("settings, apart", STATES)
def test_the_gradient_is_that_of_the_energy_where_nothing_is_said(settings, apart):
    """By the difference of energies along a bond, 0.002 Angstrom to either side."""
    start = read_molecule(NO2)
    along = np.zeros((3, 3))
    along[1] = np.subtract(start.positions[1], start.positions[0])
    along /= np.linalg.norm(along)
    with Backend() as backend:
        job = Job(start, "pm3", scf_limit=1e-9, scf_iterations=1000, **settings)
        moved = [start.replace(positions=start.positions + step * along)
                 for step in (-0.002, 0.002)]
        low, high = (backend.run(job.replace(one)).total_energy for one in moved)
        slope = (np.reshape(backend.run(job).gradient, (3, 3)) * along).sum()
    assert (abs((high - low) / 0.004 - slope) > 1) == apart == job.half_electrons


@pytest.mark.parametrize("settings, told", STATES)
def test_a_structure_of_such_a_gradient_has_a_warning(settings, told):
    with Backend() as backend:
        task = Optimize(cycles=1, allow_unconverged=True, **settings)
        run = task.start(read_molecule(NO2), "pm3")
        result = run.execute(backend)
    assert (OF_THE_MEAN in result.warnings) == told


@pytest.mark.parametrize("words, told", [
    (["energy"], False), (["vibrations", "--allow-unconverged"], True),
    (["md", "--time", "2fs"], True), (["langevin", "--time", "2fs"], True),
    (["montecarlo", "--sweeps", "1"], False), (["ts", "--allow-unconverged"], True)])
def test_commands_tell(words, told):
    done = subprocess.run([sys.executable, "-m", "orbitrax", words[0], NO2, "-m", "pm3", "--rhf",
                           *words[1:], "--json"], env=ENVIRONMENT, capture_output=True, text=True)
    assert ("half electrons: the gradient" in done.stderr) == told
    assert (OF_THE_MEAN in json.loads(done.stdout)["warnings"]) == told


@pytest.mark.parametrize("words", [["scan", "--stretch", "1,2=1.2:1.2:0.1"], ["path"]])
@pytest.mark.parametrize("spins, told", [("--rhf", True), ("--uhf", False)])
def test_commands_of_several_searches_tell(words, spins, told):
    done = subprocess.run([sys.executable, "-m", "orbitrax", words[0], NO2, "-m", "pm3", spins,
                           *words[1:]], env=ENVIRONMENT, capture_output=True, text=True)
    assert done.stderr.count("half electrons: the gradient") == told


def test_ase_and_qcschema_tell():
    molecule = read_molecule(NO2)
    with Orbitrax(method="pm3", rhf=True) as calc:
        atoms = Atoms(numbers=molecule.numbers, positions=molecule.positions, calculator=calc)
        with pytest.warns(UserWarning, match="half electrons: the gradient.*take uhf"):
            atoms.get_forces()
    asked = {"schema_name": "qcschema_input", "schema_version": 1, "model": {"method": "pm3"},
             "keywords": {"rhf": True}, "driver": "gradient", "molecule": {
                 "symbols": list(molecule.symbols), "molecular_multiplicity": 2,
                 "geometry": [x / 0.529177 for x in molecule.xyz]}}
    for driver, told in (("gradient", True), ("energy", False)):
        answer = compute({**asked, "driver": driver})
        assert (OF_THE_MEAN in answer["extras"]["orbitrax"]["warnings"]) == told
