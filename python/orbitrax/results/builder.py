"""Puts a result together from the events of its session."""

from __future__ import annotations

import math

from orbitrax.arrays import finite, flat, shortest
from orbitrax.errors import CalculationFailed, InputError, OrbitraxError, OutOfMemory
from orbitrax.job import OPTIMISATION
from orbitrax.link import events
from orbitrax.results.result import Result

TYPE_CHECKING = False
if TYPE_CHECKING:
    from array import array
    from typing import Any

    from orbitrax.job import Job

_PROGRESS_STEP = 0.5e-5  # the difference is printed with five decimals

NO_MEMORY = ("has consumed all available memory", "has exhausted all available memory",
             "Unable to allocate memory")  # in texts of the backend

_MARKED = -1.0  # an occupancy that stands for one electron and marks the orbital as special


class ResultBuilder:
    """Collects the events of one session: of a single point, or of an optimisation, whose result is
    its last report point."""

    def __init__(self, job: Job, task: str = "energy"):
        self._job = job
        self._started = False
        self.result = Result(
            task=task, method=job.method.key, charge=job.charge, multiplicity=job.multiplicity,
            spin="UHF" if job.uhf else "RHF", symbols=job.molecule.symbols,
            coordinates=job.molecule.xyz)
        self.result.warnings += job.molecule.remarks

    @property
    def has_values(self) -> bool:
        """Whether a result block has come."""
        return self.result.total_energy is not None

    def refusal(self) -> OrbitraxError:
        """The error for a session that ended with texts and no results."""
        words = "\n".join(self.result.errors)
        if lacks_memory(words):
            error: OrbitraxError = OutOfMemory(words)
        else:
            error = CalculationFailed(words) if self._started else InputError(words)
        error.partial = self.result
        return error

    def add(self, event: events.Event) -> None:
        """Takes one event. Raises CalculationFailed for a result that is not finite."""
        take: Any = self._TAKERS.get(type(event))
        if take is not None:
            take(self, event)

    def _log(self, event: events.LogLine) -> None:
        self.result.log.append(event.text)

    def _warning(self, event: events.WarningLine) -> None:
        self.result.warnings.append(event.text)

    def _error(self, event: events.ErrorLine) -> None:
        self.result.errors.append(event.text)

    def _status(self, event: events.StatusLine) -> None:
        self._started = True
        found = _progress(event.text)
        if found is not None:
            self.result.scf_iterations, self.result.final_scf_difference = found

    def _block(self, event: events.ResultBlock) -> None:
        values, result = event.values, self.result
        for field_name, name in (("flElectronicEnergy", "electronic_energy"),
                                 ("flCoreEnergy", "core_energy"),
                                 ("flBindingEnergy", "binding_energy"),
                                 ("flAtomicEnergy", "isolated_atomic_energy"),
                                 ("flHeatOfFormation", "heat_of_formation"),
                                 ("flTotalEnergy", "total_energy"),
                                 ("flRmsGradient", "rms_gradient")):
            setattr(result, name, shortest(_finite(values[field_name], field_name)))
        result.dipole = [shortest(_finite(values[name], name)) for name in
                         ("flDipoleX", "flDipoleY", "flDipoleZ", "flDipoleTotal")]
        result.cycles = values["nCycles"]
        result.energy_points = values["nEnergyPoints"]
        if self._job.settings.restrain:
            result.restraint_energy = sum(
                shortest(_finite(values[name], name)) for name in
                ("flTetherEnergy", "flStretchEnergy", "flBendEnergy", "flTorsionEnergy"))
        if self._job.settings.calc_kind == OPTIMISATION:
            result.converged = bool(values["fConverged"])
        else:
            result.converged = self._scf_converged()

    def _coordinates(self, event: events.Coordinates) -> None:
        self.result.coordinates = flat(_all_finite(event.values, "the coordinates"))

    def _charges(self, event: events.Charges) -> None:
        self.result.charges = _all_finite(event.values, "the charges")

    def _precise(self, event: events.Precise) -> None:
        self.result.total_energy = _finite(event.total_energy, "the total energy")
        if event.values is None:
            self.result.rms_gradient = None  # the block's word is 0 when no gradient was made
        else:
            self.result.gradient = _all_finite(event.values, "the gradient")

    def _orbitals(self, event: events.OrbitalData) -> None:
        result = self.result
        result.orbital_energies = _all_finite(event.energies, "orbital energies")
        result.occupancies = [1.0 if occupancy == _MARKED else shortest(occupancy)
                              for occupancy in _all_finite(event.occupancies, "occupancies")]
        result.orbital_populations = _all_finite(event.populations, "populations")
        if any(label not in ("", "?") for label in event.symmetry_labels):
            result.orbital_symmetries = [f"{index}{label}" for index, label in
                                         zip(event.symmetry_index, event.symmetry_labels)]
        result.point_group = event.point_group or None

    def _vectors(self, event: events.Eigenvectors) -> None:
        _all_finite(event.values, "eigenvectors")
        self.result.eigenvectors = {**(self.result.eigenvectors or {}), event.spin: event.vectors}

    _TAKERS = {
        events.LogLine: _log, events.StatusLine: _status, events.WarningLine: _warning,
        events.ErrorLine: _error, events.ResultBlock: _block, events.Charges: _charges,
        events.Coordinates: _coordinates,
        events.Precise: _precise, events.OrbitalData: _orbitals, events.Eigenvectors: _vectors,
    }

    def _scf_converged(self) -> bool | None:
        """Whether the SCF cycle ended by convergence. The backend does not say; it reports each
        iteration but the last, and stops at the limit of iterations without a word. None when it
        reported nothing."""
        limit, iterations = self._job.settings.scf_iterations, self.result.scf_iterations
        if limit <= 0:
            return False
        if iterations is None:
            return None
        if iterations < limit:
            return True
        difference = self.result.final_scf_difference
        return difference is not None and (
            difference + _PROGRESS_STEP < self._job.settings.scf_limit)


def _progress(text: str) -> tuple[int, float | None] | None:
    """Iteration and last difference of a line of progress, "... Iter=7 Diff=0.00012]"; None for
    another line."""
    _, mark, rest = text.partition("Iter")
    words = rest.replace("=", " ").replace("]", " ").split()
    if words and not words[0].isdigit():
        words = words[1:]  # "ation"
    if not mark or len(words) < 3 or not words[0].isdigit() or not words[1].startswith("Diff"):
        return None
    try:
        difference = abs(float(words[2]))
    except ValueError:
        difference = math.inf
    return int(words[0]), difference if math.isfinite(difference) else None


def lacks_memory(words: str) -> bool:
    """Whether the backend's words tell that it got no memory."""
    return any(text in words for text in NO_MEMORY)


def _finite(value: float, what: str) -> float:
    if not math.isfinite(value):
        raise CalculationFailed(f"the backend sent a number that is not finite, in {what}")
    return value


def _all_finite(values: array[float], what: str) -> array[float]:
    if not finite(values):
        _finite(math.nan, what)
    return values
