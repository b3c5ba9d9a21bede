"""Energies and forces of one molecule in many places, by one backend."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Any, Callable

import numpy as np

from orbitrax.backend import Backend
from orbitrax.errors import NotConverged
from orbitrax.job import Job, JobSettings
from orbitrax.methods import Method
from orbitrax.molecules.molecule import Molecule
from orbitrax.results.result import Result
from orbitrax.tasks.task import Run, Task, of_the_mean

Array = Any


@dataclass(frozen=True)
class Seen:
    """A structure on the way. stage: to what it belongs; energy kcal/mol; positions n x 3,
    Angstrom; gradient n x 3, kcal/(mol Angstrom)."""

    stage: str
    energy: float
    positions: Array
    gradient: Array

    @property
    def rms(self) -> float:
        """Root mean square of the gradient."""
        return float(np.sqrt(np.mean(self.gradient ** 2)))


class EnergySurface:
    """The energy of a molecule over the places of its atoms, and the searches on it. points: how
    often the energy was computed beside those; stage: what is being done, in words; listeners:
    called with each structure that searches and paths come to; warnings: of gradients that are not
    those of the energies."""

    def __init__(self, backend: Backend, molecule: Molecule, method: Method | str | int,
                 shared: dict[str, Any]):
        self.backend, self.molecule, self.method, self.shared = backend, molecule, method, shared
        self.points, self.stage = 0, ""
        self.listeners: list[Callable[[Seen], None]] = []
        self.warnings: list[str] = []
        self._settings = JobSettings(**shared)
        self.job = Job(molecule, method, self._settings)

    def search(self, task: Task, positions: Array) -> Result:
        """Runs a search from there; its report points are told. Raises NotConverged as it does."""
        try:
            return self.heeded(self.begun(task, positions).execute(self.backend))
        except NotConverged as error:
            if error.partial is not None:
                self.heeded(error.partial)
            raise

    def begun(self, task: Task, positions: Array) -> Run:
        """A search from there, to be executed, whose report points are told."""
        run = task.start(self.molecule.replace(positions=positions), self.method)
        run.points.listeners.append(lambda point: self.tell(  # type: ignore[attr-defined]
            point.values["total_energy"], point.xyz, point.gradient))
        return run

    def heeded(self, result: Result) -> Result:
        """A result, once its gradients have been looked at."""
        text = of_the_mean(self.job, result)
        if text is not None and text not in self.warnings:
            self.warnings.append(text)
        return result

    def tell(self, energy: float, positions: Any, gradient: Any) -> None:
        """A structure, to all who listen."""
        flat = [np.asarray(one, dtype=float).reshape(-1, 3) for one in (positions, gradient)]
        for listener in self.listeners:
            listener(Seen(self.stage, energy, *flat))

    def __call__(self, positions: Array) -> tuple[float, Array]:
        """Energy, kcal/mol, and gradient, n x 3, kcal/(mol Angstrom)."""
        molecule = self.molecule.replace(positions=positions)
        result = self.heeded(self.backend.run(Job(molecule, self.method, self._settings)))
        self.points += 1
        if result.gradient is None or result.total_energy is None:
            raise NotConverged("these settings give no gradient")
        if result.scf_converged is False and not self._settings.allow_unconverged:
            raise NotConverged("an SCF on the way did not converge; try --uhf, or a better guess")
        return result.total_energy, np.asarray(result.gradient, dtype=float).reshape(-1, 3)

    def bond_orders(self, positions: Array) -> Array:
        """Wiberg's bond orders, n x n."""
        molecule = self.molecule.replace(positions=positions)
        job = Job(molecule, self.method, self._settings.replace(bond_orders=True))
        n = len(self.molecule)
        orders = np.zeros((n, n))
        for a, b, order in self.backend.run(job).bond_orders or ():
            orders[int(a) - 1, int(b) - 1] = orders[int(b) - 1, int(a) - 1] = order
        return orders
