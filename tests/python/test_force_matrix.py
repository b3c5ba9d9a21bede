"""Force matrices by how the density answers to moved atoms, against gradients of SCFs beside it."""

from __future__ import annotations

import numpy as np
import pytest
from orbitrax import Backend, Job, Molecule, read_molecule
from orbitrax.methods import METHODS
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
