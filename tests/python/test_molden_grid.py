"""Raw orbitals of Molden files against grids of the backend, which come from Slater functions."""

import numpy as np
import pytest
from molden_file import MoldenFile
from support import ROOT

from orbitrax import Backend, Frame, Job, Molecule, Plot, read_molecule, slater_basis
from orbitrax.orbitals.molden import molden_text

pytestmark = pytest.mark.timeout(120)


def example(name):
    return read_molecule(str(ROOT / "examples" / f"{name}.xyz"))


def hydride(number, distance):
    """HX, askew, so that each p and d function has its share."""
    along = distance * np.array([0.48, 0.6, -0.64])
    return Molecule([1, number], [[0.1, 0.2, 0.3], along + [0.1, 0.2, 0.3]])


CASES = {  # what is calculated, and an orbital of it
    "1s 2s 2p": (lambda: Job(example("caffeine"), "pm3"), ("homo", "lumo", "20")),
    "3d 4s 4p": (lambda: Job(example("ferrocene"), "zindos"), ("homo", "29", "25", "40")),
    "4d 5s 5p": (lambda: Job(Molecule([47, 17], [[0, 0, 0], [0.8, 1.2, 1.7]]), "zindo1"),
                 ("1", "2", "4", "6", "8", "12")),
    "3d of Cl": (lambda: Job(hydride(17, 1.27), "mndod"), ("1", "4", "7", "9", "10")),
    "4d of Br": (lambda: Job(hydride(35, 1.41), "mndod"), ("1", "5", "8", "10")),
    "5d of I": (lambda: Job(hydride(53, 1.60), "mndod"), ("1", "5", "8", "10")),
    "6s 6p": (lambda: Job(Molecule([80, 17], [[0, 0, 0], [1.0, 1.3, 1.5]]), "am1", charge=1),
              ("1", "2", "6", "8")),
    "cap": (lambda: Job(example("ethanol"), "am1", select=[1, 7, 8, 9]), ("1", "7", "9")),
    "cndo": (lambda: Job(hydride(17, 1.27), "cndo"), ("1", "3", "5")),
    "mindo3": (lambda: Job(example("water"), "mindo3"), ("1", "homo", "lumo")),
}


@pytest.mark.parametrize("name", CASES)
def test_raw_orbitals_have_the_amplitudes_of_the_backends_plots(name):
    """Within what six Gaussian functions differ from a Slater function: they err most in the cusp,
    and 0.002 in the root of the mean square."""
    make, plots = CASES[name]
    job = make().replace(eigenvectors=True)
    middle = job.molecule.positions[job.selected].mean(axis=0)
    frame = Frame(middle - 2.4 + [0.013, 0.021, 0.034], [0.21, 0, 0], [0, 0.21, 0], (24, 24, 24))
    with Backend() as backend:
        result = backend.run(job)
        grids = [backend.plot(Plot(what), frame) for what in plots]
    file = MoldenFile(molden_text(result, slater_basis(job), raw=True))
    steps = np.stack(np.meshgrid(*[np.arange(24)] * 3, indexing="ij"), axis=-1)
    points = (frame.first + steps @ frame.steps).reshape(-1, 3)
    functions = file.values(points)
    for grid in grids:
        number, energy = grid.orbital
        assert file.energies()[number - 1] * 27.211386246 == pytest.approx(energy, abs=1e-6)
        ours, theirs = file.orbitals()[number - 1] @ functions, grid.values.ravel()
        error = np.sqrt(np.sum((ours - theirs) ** 2) / np.sum(theirs.astype(float) ** 2))
        print(name, number, "relative error", error)
        assert error < 0.002
        assert np.abs(theirs).max() > 0.03


def test_beta_orbitals_have_the_amplitudes_of_the_backends_plots():
    job = Job(example("nitrogen_dioxide"), "mndo", uhf=True, eigenvectors=True)
    frame = Frame([-1.5, -2.0, -1.4], [0.2, 0, 0], [0, 0.2, 0], (16, 20, 14))
    with Backend() as backend:
        result = backend.run(job)
        grids = {spin: backend.plot(Plot("9", beta=spin == "Beta"), frame)
                 for spin in ("Alpha", "Beta")}
    file = MoldenFile(molden_text(result, slater_basis(job), raw=True))
    steps = np.stack(np.meshgrid(*map(np.arange, frame.counts), indexing="ij"), axis=-1)
    functions = file.values((frame.first + steps @ frame.steps).reshape(-1, 3))
    for spin, grid in grids.items():
        ours, theirs = file.orbitals(spin)[8] @ functions, grid.values.ravel()
        assert ours == pytest.approx(theirs, abs=0.01)
        assert np.sqrt(np.mean((ours - theirs) ** 2)) < 2e-4
    assert np.abs(grids["Alpha"].values - grids["Beta"].values).max() > 0.01
