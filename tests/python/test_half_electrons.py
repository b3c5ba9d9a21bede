"""Half electrons: the gradient is that of the energy with its correction, and who takes one that is
not is told."""

import json
import os
import subprocess
import sys

import numpy as np
import pytest
from ase import Atoms
from support import ROOT

from orbitrax import Backend, Job, Molecule, Optimize, Result, Vibrations, read_molecule
from orbitrax.ase import Orbitrax
from orbitrax.bridges.qcschema import compute
from orbitrax.tasks.task import OF_THE_MEAN, of_the_mean

ENVIRONMENT = {**os.environ, "PYTHONPATH": str(ROOT / "python"), "NO_COLOR": "1"}
NO2 = str(ROOT / "examples" / "nitrogen_dioxide.xyz")
PLAIN = {"scf": "plain"}  # cycles without this gradient

# Radicals and triplets, bent out of shape: atomic numbers, places, multiplicity.
OPEN = {
    "methyl": ([6, 1, 1, 1], [0, 0, 0, 1.08, .05, .1, -.5, .95, .02, -.55, -.94, .05], 2),
    "methylene": ([6, 1, 1], [0, 0, 0, 1.05, .3, .1, -.9, .55, 0], 3),
    "dioxygen": ([8, 8], [0, 0, 0, .7, .5, .8], 3),
    "nitric oxide": ([7, 8], [0, 0, 0, .7, .6, .8], 2),
    "hydroperoxyl": ([1, 8, 8], [0, 0, 0, .9, .2, .1, 1.5, 1.3, 0], 2),
    "vinyl": ([6, 6, 1, 1, 1],
              [0, 0, 0, 1.3, .1, .05, -.7, .9, .1, -.5, -.95, 0, 2.1, -.6, .1], 2),
    "allyl": ([6, 6, 6, 1, 1, 1, 1, 1],
              [0, 0, 0, 1.23, .68, .05, -1.2, .72, 0, .02, -1.09, .1, 2.15, .15, .1, 1.25, 1.77, 0,
               -2.14, .17, -.05, -1.22, 1.8, .1], 2),
    "sulfur monoxide": ([16, 8], [0, 0, 0, .9, .8, .9], 3),
    "chlorine dioxide": ([17, 8, 8], [0, 0, 0, 1.4, .5, .1, -.9, 1.2, .1], 2),
}
METHODS = ("mndo", "am1", "pm3", "mndod", "mindo3", "indo", "cndo", "zindo1", "zindos")
WITHOUT = {("chlorine dioxide", "mindo3")}  # no parameters


def taken(name: str) -> Molecule:
    numbers, places, multiplicity = OPEN[name]
    return Molecule(numbers, np.reshape(places, (-1, 3)), multiplicity=multiplicity)


def sharp(molecule: Molecule, method: str, **settings) -> Job:
    return Job(molecule, method, scf_limit=1e-10, scf_iterations=1000, **settings)


def slope(backend: Backend, job: Job, along: np.ndarray, step: float = 2e-4) -> float:
    """Of the energy by four points."""
    def at(steps: int) -> float:
        places = job.molecule.positions + steps * step * along
        return backend.run(job.replace(job.molecule.replace(positions=places))).total_energy

    return (8 * (at(1) - at(-1)) - (at(2) - at(-2))) / (12 * step)


@pytest.mark.parametrize("method", METHODS)
@pytest.mark.parametrize("name", OPEN)
def test_the_gradient_is_the_slope_of_the_energy(name, method):
    """Along a way on which each atom moves, by differences over 0.0004 Angstrom at the most: where
    a core term of AM1 is cut off, vinyl's energy has a step not far away."""
    if (name, method) in WITHOUT:
        pytest.skip("no parameters")
    molecule = taken(name)
    along = np.random.default_rng(5).normal(size=molecule.positions.shape)
    along /= np.linalg.norm(along)
    with Backend() as backend:
        job = sharp(molecule, method, rhf=True)
        result = backend.run(job)
        told = slope(backend, job, along)
    gradient = np.reshape(result.gradient, (-1, 3))
    assert result.blocks["half_electrons"]["gradient"] == "state"
    assert (gradient * along).sum() == pytest.approx(told, abs=1e-4)
    assert np.abs(gradient.sum(axis=0)).max() < 1e-9
    assert np.abs(np.cross(molecule.positions, gradient).sum(axis=0)).max() < 1e-4


STATES = [({}, False), ({"rhf": True}, True), ({"charge": 1}, False),
          ({"charge": 1, "next_lowest": True}, True)]


@pytest.mark.parametrize("settings, apart", STATES)
def test_the_gradient_is_that_of_the_energy_where_nothing_is_said(settings, apart):
    """By the difference of energies along a bond; the cycles of old give that of the mean."""
    start = read_molecule(NO2)
    along = np.zeros((3, 3))
    along[1] = np.subtract(start.positions[1], start.positions[0])
    along /= np.linalg.norm(along)
    with Backend() as backend:
        job = sharp(start, "pm3", **settings)
        exact, plain = (
            (np.reshape(backend.run(one).gradient, (3, 3)) * along).sum()
            - slope(backend, one, along, 1e-3) for one in (job, job.replace(**PLAIN)))
    assert abs(exact) < 1e-4
    assert (abs(plain) > 1) == apart == job.half_electrons


@pytest.mark.parametrize("method, settings", [
    ("pm3", {"rhf": True}), ("am1", {"rhf": True}), ("indo", {"rhf": True}),
    ("am1", {"charge": 1, "next_lowest": True})])
def test_a_search_ends_where_the_energy_is_lowest(method, settings):
    """Any small step from there leads up; those by the gradient of the mean ended beside it."""
    with Backend() as backend:
        task = Optimize(limit=0.005, **settings)
        found = task.start(read_molecule(NO2), method).execute(backend)
        end = read_molecule(NO2).replace(positions=found.coordinates)
        job = sharp(end, method, **settings)
        least = backend.run(job).total_energy
        for way in np.random.default_rng(1).normal(size=(12, 3, 3)):
            places = end.positions + 0.003 * way / np.linalg.norm(way)
            assert backend.run(job.replace(end.replace(positions=places))).total_energy > (
                least - 1e-5)
        mean = Optimize(limit=0.005, allow_unconverged=True, **settings, **PLAIN).start(
            read_molecule(NO2), method).execute(backend)
    assert found.total_energy == pytest.approx(least, abs=1e-5)
    assert mean.total_energy > least + 0.04


def test_vibrations_are_second_derivatives_of_the_energy():
    """The curvature of the energy along a mode, by differences of energies."""
    with Backend() as backend:
        run = Vibrations(optimize=True, rhf=True, limit=0.002).start(read_molecule(NO2), "pm3")
        result = run.execute(backend)
        end = run.job.molecule.replace(positions=result.coordinates)
        job = sharp(end, "pm3", rhf=True)
        assert result.warnings == []
        way = np.zeros(9)
        way[4], way[7] = 0.5 ** 0.5, -(0.5 ** 0.5)
        h = 0.004

        def at(steps: int) -> float:
            places = end.positions + h * steps * way.reshape(3, 3)
            return backend.run(job.replace(end.replace(positions=places))).total_energy

        bend = (16 * (at(1) + at(-1)) - at(2) - at(-2) - 30 * at(0)) / (12 * h * h)
    assert way @ result.modes.hessian @ way == pytest.approx(bend, rel=1e-4)


# ---- who is told --------------------------------------------------------------------------------

@pytest.mark.parametrize("settings, told", STATES)
@pytest.mark.parametrize("cycles", [{}, PLAIN])
def test_a_structure_of_a_gradient_of_the_mean_has_a_warning(settings, told, cycles):
    with Backend() as backend:
        task = Optimize(cycles=1, allow_unconverged=True, **settings, **cycles)
        run = task.start(read_molecule(NO2), "pm3")
        result = run.execute(backend)
    assert (OF_THE_MEAN in result.warnings) == (told and bool(cycles))
    assert any("half electron" in text for text in result.warnings) == (told and bool(cycles))


def test_a_gradient_that_could_not_be_made_is_told_with_its_reason():
    job = Job(read_molecule(NO2), "pm3", rhf=True)
    result = Result("optimize", "pm3", 0, 2, "RHF", ["N", "O", "O"], np.zeros((3, 3)))
    block = {"gradient": "state", "gradients_of_mean": 0, "reason": None, "fock_matrices": 9}
    assert of_the_mean(job, result) == OF_THE_MEAN
    result.blocks["half_electrons"] = block
    assert of_the_mean(job, result) is None
    block.update(gradients_of_mean=2, reason="an SCF did not converge")
    assert "the energy 2 times, since an SCF did not converge, so that" in of_the_mean(job, result)
    assert of_the_mean(job.replace(rhf=False), result) is None


def test_a_search_counts_the_gradients_that_could_not_be_made():
    """SCFs that end after two cycles have none."""
    with Backend() as backend:
        task = Optimize(cycles=1, scf_iterations=2, rhf=True, allow_unconverged=True)
        result = task.start(read_molecule(NO2), "pm3").execute(backend)
    forces = result.blocks["half_electrons"]
    assert forces["gradients_of_mean"] >= result.energy_points > 1
    assert forces["reason"] == "an SCF did not converge"
    assert any("since an SCF did not converge" in text for text in result.warnings)


@pytest.mark.parametrize("words, told", [
    (["energy"], False), (["vibrations", "--allow-unconverged"], True),
    (["md", "--time", "2fs"], True), (["langevin", "--time", "2fs"], True),
    (["montecarlo", "--sweeps", "1"], False), (["ts", "--cycles", "1", "--allow-unconverged"],
                                               True)])
@pytest.mark.parametrize("cycles", [[], ["--scf", "plain"]])
def test_commands_tell(words, told, cycles):
    done = subprocess.run([sys.executable, "-m", "orbitrax", words[0], NO2, "-m", "pm3", "--rhf",
                           *words[1:], *cycles, "--json"], env=ENVIRONMENT, capture_output=True,
                          text=True)
    told = told and bool(cycles)
    document = json.loads(done.stdout)
    assert ("half electrons: the gradient" in done.stderr) == told
    assert (OF_THE_MEAN in document["warnings"]) == told
    assert ("half_electrons" in document) == (not cycles)


@pytest.mark.parametrize("words", [["scan", "--stretch", "1,2=1.2:1.2:0.1"], ["path"]])
@pytest.mark.parametrize("options, told", [
    (["--rhf", "--no-diis"], True), (["--rhf"], False), (["--uhf"], False)])
def test_commands_of_several_searches_tell(words, options, told):
    done = subprocess.run([sys.executable, "-m", "orbitrax", words[0], NO2, "-m", "pm3", *options,
                           *words[1:]], env=ENVIRONMENT, capture_output=True, text=True)
    assert done.stderr.count("half electrons: the gradient") == told


@pytest.mark.parametrize("cycles", [{}, PLAIN])
def test_ase_and_qcschema_tell(cycles, recwarn):
    molecule = read_molecule(NO2)
    with Orbitrax(method="pm3", rhf=True, **cycles) as calc:
        atoms = Atoms(numbers=molecule.numbers, positions=molecule.positions, calculator=calc)
        atoms.get_forces()
    said = [str(one.message) for one in recwarn.list]
    assert any("half electrons: the gradient" in text and "take uhf" in text
               for text in said) == bool(cycles)
    asked = {"schema_name": "qcschema_input", "schema_version": 1, "model": {"method": "pm3"},
             "keywords": {"rhf": True, **cycles}, "driver": "gradient", "molecule": {
                 "symbols": list(molecule.symbols), "molecular_multiplicity": 2,
                 "geometry": [x / 0.529177 for x in molecule.xyz]}}
    for driver, told in (("gradient", True), ("energy", False)):
        answer = compute({**asked, "driver": driver})
        assert (OF_THE_MEAN in answer["extras"]["orbitrax"]["warnings"]) == (told and bool(cycles))
