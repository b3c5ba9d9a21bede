"""Energies and forces of one molecule in many places, by one backend."""

from __future__ import annotations

from typing import Any

import numpy as np

from orbitrax.backend import Backend
from orbitrax.errors import NotConverged
from orbitrax.job import Job, JobSettings
from orbitrax.methods import Method
from orbitrax.molecules.molecule import Molecule

Array = Any


class EnergySurface:
    """The energy of a molecule over the places of its atoms. points: how often it was computed."""

    def __init__(self, backend: Backend, molecule: Molecule, method: Method | str | int,
                 shared: dict[str, Any]):
        self.backend, self.molecule, self.method, self.shared = backend, molecule, method, shared
        self.points = 0
        self._settings = JobSettings(**shared)

    def __call__(self, positions: Array) -> tuple[float, Array]:
        """Energy, kcal/mol, and gradient, n x 3, kcal/(mol Angstrom)."""
        molecule = self.molecule.replace(positions=positions)
        result = self.backend.run(Job(molecule, self.method, self._settings))
        self.points += 1
        if result.gradient is None or result.total_energy is None:
            raise NotConverged("these settings give no gradient")
        if result.scf_converged is False and not self._settings.allow_unconverged:
            raise NotConverged("an SCF on the way did not converge; try --uhf, or a better guess")
        return result.total_energy, np.asarray(result.gradient, dtype=float).reshape(-1, 3)
