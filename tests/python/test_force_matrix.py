"""Force matrices by how the density answers to moved atoms, against gradients of SCFs beside it."""

from __future__ import annotations

import numpy as np
import pytest
from orbitrax import Backend, Job, Molecule, read_molecule
from orbitrax.methods import METHODS
from orbitrax.molecules.symmetry import symmetrised
from orbitrax.tasks.vibrations import Vibrations
from support import ROOT

STEP = 0.006  # Angstrom; with twice of it the error goes with the fourth power
BENT = np.array([[0.0, 0.1, 0.0], [0.99, 0.0, 0.05], [-0.25, 0.93, 0.0]])
BROKEN = np.array([[0.0, 0.0, 0.05], [1.16, 0.1, 0.0], [-0.7, 0.95, 0.0]])

WATER = Molecule([8, 1, 1], BENT)
CASES = [(WATER, method.key, {}) for method in METHODS] + [
    (Molecule([7, 8, 8], BROKEN), "pm3", {"multiplicity": 2, "uhf": True}),
    (Molecule([7, 8, 8], BROKEN), "cndo", {"multiplicity": 2, "uhf": True}),
    (Molecule([7, 1, 1], BENT), "pm3", {"charge": 1, "multiplicity": 3, "uhf": True}),
    (Molecule([7, 1, 1], BENT), "mindo3", {"charge": -1}),
    (Molecule([16, 8, 8], 1.3 * BROKEN), "mndo/d", {}),
    (Molecule([22, 9, 9], 1.6 * BENT), "zindo/1", {"multiplicity": 3, "uhf": True}),
    (WATER, "am1", {"restrain": "stretch 1 2 1.2 k=300"}),
    (read_molecule(ROOT / "examples" / "water_dimer.xyz"), "am1", {"select": (1, 2, 3)}),
]


def row_by_gradients(job: Job, place: int, backend: Backend) -> tuple[np.ndarray, np.ndarray]:
    """One row of the force matrix and of the derivatives of the dipole, from SCFs of their own."""
    row, dipole = 0.0, np.zeros(3)
    for steps, weight in ((1, 8), (-1, -8), (2, -1), (-2, 1)):
        places = job.molecule.positions.copy().ravel()
        places[place] += steps * STEP
        moved = backend.run(Job(job.molecule.replace(positions=places.reshape(-1, 3)), job.method,
                                job.settings))
        row = row + weight / (12 * STEP) * moved.gradient.ravel()
        dipole += weight / (12 * STEP) * np.array(moved.dipole[:3])
    return row, dipole


@pytest.mark.parametrize("molecule, method, settings", CASES)
def test_rows_are_differences_of_gradients(molecule, method, settings):
    with Backend() as backend:
        modes = Vibrations(allow_unconverged=True, **settings).start(molecule, method).execute(
            backend).modes
        assert modes.unconverged == 0
        assert modes.cycles < 14 * modes.points
        for place in (2, 3):
            row, dipole = row_by_gradients(Job(molecule, method, scf_limit=1e-10, **settings),
                                           place, backend)
            found = modes.hessian[place]
            assert np.abs(found - row[:len(found)]).max() < 1e-3 + 3e-6 * np.abs(row).max()
            assert np.abs(modes.dipole_derivatives[place] - dipole).max() < 2e-4


def test_copies_of_the_process_find_the_same_bits(monkeypatch):
    """Each coordinate is answered from the reference point, whoever does it."""
    matrices = []
    for threads in ("1", "2", "3"):
        monkeypatch.setenv("ORBITRAX_THREADS", threads)
        with Backend() as backend:
            modes = Vibrations(allow_unconverged=True).start(
                read_molecule(ROOT / "examples" / "ethanol.xyz"), "am1").execute(backend).modes
        matrices.append((modes.hessian.tobytes(), modes.dipole_derivatives.tobytes()))
    assert matrices[0] == matrices[1] == matrices[2]


# ---- atoms that are images of one another -------------------------------------------------------

R = 1.09 / 3**0.5
METHANE = Molecule([6, 1, 1, 1, 1], R * np.array(
    [[0.0, 0, 0], [1, 1, 1], [-1, -1, 1], [-1, 1, -1], [1, -1, -1]]))
EVEN_WATER = Molecule([8, 1, 1], np.array([[0.0, 0, 0.1], [0.757, 0, -0.49], [-0.757, 0, -0.49]]))
FERROCENE = read_molecule(ROOT / "examples" / "ferrocene.xyz")
SYMMETRIC = [(EVEN_WATER, method.key, {}, 12, 7) for method in METHODS] + [
    (METHANE, "am1", {}, 12, 13),
    (EVEN_WATER, "mndo/d", {"charge": 1, "multiplicity": 2, "uhf": True}, 12, 7),
    (Molecule([16, 8, 8], 1.3 * EVEN_WATER.positions), "mndo/d", {}, 12, 7),
    (FERROCENE.replace(positions=symmetrised(FERROCENE.z, FERROCENE.positions)), "zindo/1", {}, 18,
     61),
]


@pytest.mark.parametrize("molecule, method, settings, points, image", SYMMETRIC)
def test_rows_of_images_are_differences_of_gradients(molecule, method, settings, points, image):
    with Backend() as backend:
        modes = Vibrations(allow_unconverged=True, **settings).start(molecule, method).execute(
            backend).modes
        assert modes.points == points
        row, dipole = row_by_gradients(Job(molecule, method, scf_limit=1e-10, **settings), image,
                                       backend)
    assert np.abs(modes.hessian[image] - row).max() < 1e-3 + 3e-6 * np.abs(row).max()
    assert np.abs(modes.dipole_derivatives[image] - dipole).max() < 2e-4


@pytest.mark.parametrize("molecule, settings, points", [
    (Molecule([1, 1], np.array([[0.0, 0, 0], [0, 0, 2.5]])), {"uhf": True}, 12),
    (Molecule([1, 1], np.array([[0.0, 0, 0], [0, 0, 0.7]])), {"uhf": True}, 6),
    (METHANE, {"charge": 1, "multiplicity": 2, "uhf": True}, 30),
    (EVEN_WATER, {"restrain": "stretch 1 2 1.2 k=300"}, 18),
    (Molecule([8, 1, 1], EVEN_WATER.positions + [[0, 0, 0], [0, 0, 0], [1e-5, 0, 0]]), {}, 18),
])
def test_images_have_one_density_and_one_surrounding(molecule, settings, points):
    """An electron on each of two far hydrogens, a hole in one of three equal levels, a restraint on
    one of two bonds, a bond that is longer by what would show."""
    with Backend() as backend:
        modes = Vibrations(allow_unconverged=True, **settings).start(molecule, "am1").execute(
            backend).modes
    assert modes.points == points
