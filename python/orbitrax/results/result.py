"""What a calculation yields, put together from the events of its session."""

from __future__ import annotations

import math
import re
from dataclasses import dataclass, field

import numpy as np

from orbitrax.link import events
from orbitrax.errors import CalculationFailed
from orbitrax.job import OPTIMISATION

SCHEMA = "orbitrax-result-1"

_PROGRESS = re.compile(r"Iter(?:ation)?\s*=\s*(\d+)\s+Diff(?:erence)?\s*=\s*([-+\d.eEinfa]+)")
_PROGRESS_STEP = 0.5e-5  # the difference is printed with five decimals

_MARKED = -1.0  # an occupancy that stands for one electron and marks the orbital as special


@dataclass(eq=False)
class Result:
    """A calculation's results. Energies kcal/mol, orbital energies eV, charges e, dipole Debye (x,
    y, z, length), gradient n x 3 kcal/(mol Angstrom). What the backend did not send is None.

    Orbital arrays hold alpha before beta in an unrestricted calculation. eigenvectors, where the
    job asks for them: by spin, "alpha" and, unrestricted, "beta", an array N x N whose row k is
    orbital k, by rising energy, over the atomic orbitals, atom by atom and in each s, px, py, pz,
    dz2, dxz, dyz, dx2-y2, dxy; `orbitrax.slater_basis` names them. The rows are orthonormal.
    """

    task: str
    method: str
    charge: int
    multiplicity: int
    spin: str
    symbols: list
    coordinates: np.ndarray
    total_energy: float | None = None
    electronic_energy: float | None = None
    core_energy: float | None = None
    binding_energy: float | None = None
    isolated_atomic_energy: float | None = None
    heat_of_formation: float | None = None
    restraint_energy: float | None = None
    gradient: np.ndarray | None = None
    rms_gradient: float | None = None
    dipole: np.ndarray | None = None
    charges: np.ndarray | None = None
    orbital_energies: np.ndarray | None = None
    occupancies: np.ndarray | None = None
    orbital_symmetries: list | None = None
    orbital_populations: np.ndarray | None = None
    eigenvectors: dict | None = None
    point_group: str | None = None
    converged: bool | None = None
    cycles: int | None = None
    energy_points: int | None = None
    scf_iterations: int | None = None
    final_scf_difference: float | None = None
    log: list = field(default_factory=list)
    warnings: list = field(default_factory=list)
    errors: list = field(default_factory=list)
    status: str = "done"
    wall_seconds: float | None = None

    def to_dict(self) -> dict:
        """The JSON document of this result: every key of the schema, None where unknown."""
        document = empty_document(self.task)
        for key in ("method", "charge", "multiplicity", "spin", "symbols", "total_energy",
                    "electronic_energy", "core_energy", "binding_energy", "isolated_atomic_energy",
                    "heat_of_formation", "rms_gradient", "orbital_symmetries", "point_group",
                    "converged", "cycles", "energy_points", "scf_iterations",
                    "final_scf_difference", "status", "warnings", "errors", "wall_seconds"):
            document[key] = getattr(self, key)
        for key, name in (("coordinates_angstrom", "coordinates"), ("gradient", "gradient"),
                          ("dipole_debye", "dipole"), ("charges", "charges"),
                          ("orbital_energies_ev", "orbital_energies"),
                          ("occupancies", "occupancies")):
            value = getattr(self, name)
            document[key] = None if value is None else np.asarray(value).tolist()
        document["log"] = "\n".join(self.log) if self.log else None
        return document


def empty_document(task: str | None) -> dict:
    """A JSON document with every key of the schema and nothing known."""
    from orbitrax import __version__

    keys = ("method charge multiplicity spin symbols coordinates_angstrom total_energy "
            "electronic_energy core_energy binding_energy isolated_atomic_energy heat_of_formation "
            "gradient rms_gradient dipole_debye charges orbital_energies_ev occupancies "
            "orbital_symmetries point_group converged cycles energy_points scf_iterations "
            "final_scf_difference log status warnings errors wall_seconds").split()
    document = {"schema": SCHEMA, "version": __version__, "task": task}
    document.update((key, None) for key in keys)
    document["warnings"], document["errors"] = [], []
    return document


class ResultBuilder:
    """Collects the events of one session: of a single point, or of an optimisation, whose result is
    its last report point."""

    def __init__(self, job, task: str = "energy"):
        self._job = job
        self._started = False
        self.result = Result(
            task=task, method=job.method.key, charge=int(job.charge),
            multiplicity=int(job.multiplicity), spin="UHF" if job.unrestricted else "RHF",
            symbols=job.molecule.symbols, coordinates=job.molecule.positions)

    @property
    def has_values(self) -> bool:
        """Whether a result block has come."""
        return self.result.total_energy is not None

    @property
    def started(self) -> bool:
        """Whether the backend accepted the job and began to calculate."""
        return self._started

    def add(self, event: events.Event) -> None:
        """Takes one event. Raises CalculationFailed for a result that is not finite."""
        take = self._TAKERS.get(type(event))
        if take:
            take(self, event)

    def _log(self, event) -> None:
        self.result.log.append(event.text)

    def _warning(self, event) -> None:
        self.result.warnings.append(event.text)

    def _error(self, event) -> None:
        self.result.errors.append(event.text)

    def _status(self, event) -> None:
        self._started = True
        found = _PROGRESS.search(event.text)
        if not found:
            return
        self.result.scf_iterations = int(found.group(1))
        try:
            difference = abs(float(found.group(2)))
        except ValueError:
            difference = math.inf
        self.result.final_scf_difference = difference if math.isfinite(difference) else None

    def _block(self, event) -> None:
        values, result = event.values, self.result
        for field_name, name in (("flElectronicEnergy", "electronic_energy"),
                                 ("flCoreEnergy", "core_energy"),
                                 ("flBindingEnergy", "binding_energy"),
                                 ("flAtomicEnergy", "isolated_atomic_energy"),
                                 ("flHeatOfFormation", "heat_of_formation"),
                                 ("flTotalEnergy", "total_energy"),
                                 ("flRmsGradient", "rms_gradient")):
            setattr(result, name, _short(self._finite(values[field_name], field_name)))
        result.dipole = np.array([_short(self._finite(values[name], name)) for name in
                                  ("flDipoleX", "flDipoleY", "flDipoleZ", "flDipoleTotal")])
        result.cycles = values["nCycles"]
        result.energy_points = values["nEnergyPoints"]
        if self._job.restraints:
            result.restraint_energy = sum(
                _short(self._finite(values[name], name)) for name in
                ("flTetherEnergy", "flStretchEnergy", "flBendEnergy", "flTorsionEnergy"))
        if self._job.kind == OPTIMISATION:
            result.converged = bool(values["fConverged"])
        else:
            result.converged = self._scf_converged()

    def _coordinates(self, event) -> None:
        self.result.coordinates = self._finite(event.positions, "the coordinates")

    def _charges(self, event) -> None:
        self.result.charges = _short_array(self._finite(event.charges, "the charges"))

    def _precise(self, event) -> None:
        self.result.total_energy = self._finite(event.total_energy, "the total energy")
        if event.gradient is None:
            self.result.rms_gradient = None  # the block's word is 0 when no gradient was made
        else:
            self.result.gradient = self._finite(event.gradient, "the gradient")

    def _orbitals(self, event) -> None:
        result = self.result
        result.orbital_energies = _short_array(self._finite(event.energies, "orbital energies"))
        occupancies = self._finite(event.occupancies, "occupancies")
        result.occupancies = _short_array(np.where(occupancies == _MARKED, 1.0, occupancies))
        result.orbital_populations = _short_array(self._finite(event.populations, "populations"))
        if any(label not in ("", "?") for label in event.symmetry_labels):
            result.orbital_symmetries = [f"{index}{label}" for index, label in
                                         zip(event.symmetry_index.tolist(), event.symmetry_labels)]
        result.point_group = event.point_group or None

    def _vectors(self, event) -> None:
        self._finite(event.vectors, "eigenvectors")
        self.result.eigenvectors = {**(self.result.eigenvectors or {}), event.spin: event.vectors}

    _TAKERS = {
        events.LogLine: _log, events.StatusLine: _status, events.WarningLine: _warning,
        events.ErrorLine: _error, events.ResultBlock: _block, events.Charges: _charges,
        events.Coordinates: _coordinates,
        events.Precise: _precise, events.OrbitalData: _orbitals, events.Eigenvectors: _vectors,
    }

    def _finite(self, value, what: str):
        if not np.all(np.isfinite(value)):
            raise CalculationFailed(f"the backend sent a number that is not finite, in {what}")
        return value

    def _scf_converged(self) -> bool | None:
        """Whether the SCF cycle ended by convergence. The backend does not say; it reports each
        iteration but the last, and stops at the limit of iterations without a word. None when it
        reported nothing."""
        limit, iterations = self._job.iteration_limit, self.result.scf_iterations
        if limit <= 0:
            return False
        if iterations is None:
            return None
        if iterations < limit:
            return True
        difference = self.result.final_scf_difference
        return difference is not None and (
            difference + _PROGRESS_STEP < self._job.convergence_limit)


def _short(value: float) -> float:
    """A single-precision number as the shortest decimal that means it, so that 0.1 stays 0.1."""
    return float(str(np.float32(value)))


def _short_array(values: np.ndarray) -> np.ndarray:
    return np.array([_short(value) for value in values])
