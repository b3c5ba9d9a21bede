"""Puts a result together from the events of its session."""

from __future__ import annotations

import math
from array import array

from orbitrax.arrays import finite, flat, shortest
from orbitrax.errors import CalculationFailed, InputError, OrbitraxError, OutOfMemory
from orbitrax.job import SEARCHES
from orbitrax.link import events
from orbitrax.methods import lacking
from orbitrax.results.result import Result
from orbitrax.results.states import from_rows
from orbitrax.results.text import curvature

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Sequence
    from typing import Any

    from orbitrax.job import Job
    from orbitrax.vibrations.modes import Modes

NO_MEMORY = ("has consumed all available memory", "has exhausted all available memory",
             "Unable to allocate memory")  # in texts of the backend

# Results in single precision: fields of the result block.
_BLOCK_ENERGIES = (
    ("flElectronicEnergy", "electronic_energy"), ("flCoreEnergy", "core_energy"),
    ("flBindingEnergy", "binding_energy"), ("flAtomicEnergy", "isolated_atomic_energy"),
    ("flHeatOfFormation", "heat_of_formation"), ("flTotalEnergy", "total_energy"),
    ("flRmsGradient", "rms_gradient"))
_BLOCK_DIPOLE = ("flDipoleX", "flDipoleY", "flDipoleZ", "flDipoleTotal")
_BLOCK_FIELDS = (*(name for name, _ in _BLOCK_ENERGIES), *_BLOCK_DIPOLE)

# Results in double precision, by their names in the sections.
_ENERGIES = ("total_energy", "electronic_energy", "core_energy", "isolated_atomic_energy",
             "binding_energy", "heat_of_formation", "rms_gradient")
_RESTRAINTS = ("tether_energy", "stretch_energy", "bend_energy", "torsion_energy")
_DIPOLE = ("sum_x", "sum_y", "sum_z", "sum_total")

_SAME_STATE = 1e-4  # kcal/mol: a state as near to the SCF as this is the SCF
_LARGE_CI = "A large CI matrix must be calculated"

# What the test of the state has found, by number.
STATES = ("not tested", "stable", "unstable", "unstable to unequal spins", "not decided")
_STABLE, _SPINS_UNLIKE, _OF_THE_MEAN = STATES[1], STATES[3], "minimum of the mean"
# Why a gradient of half electrons is that of their mean, by number from 1.
_OF_THE_STATE, _WHY_OF_THE_MEAN = 0, (
    "that mean is no minimum, or hardly one", "two open levels have one energy",
    "an SCF did not converge")
_INTERNAL_SHOWN, _SPINS_TESTED, _SPINS_SHOWN = 1, 2, 4  # of the word of the curvatures

_USUAL = frozenset((2.0, 0.0, 1.0))  # occupancies
_NO_LABELS = frozenset(("", "?"))
_MARKED = -1.0  # an occupancy that stands for one electron and marks the orbital as special

_OF_MODES = ("force_matrix", "dipole_derivatives", "frequencies", "intensities", "vectors")


def _copied(result: Result) -> Result:
    """The same values; what is taken into the result later changes the lists of both, nothing
    else. The module copy takes longer to load than a small molecule to compute."""
    found = Result.__new__(Result)
    vars(found).update(vars(result))
    found.blocks = dict(result.blocks)
    return found


class ResultBuilder:
    """Collects the events of one session: of a single point, or of an optimisation, whose result is
    its last report point."""

    def __init__(self, job: Job, task: str = "energy"):
        self._job = job
        self._started = False
        self._before: Result | None = None  # the last whole report point, while the next one comes
        self.result = Result(
            task=task, method=job.method.key, charge=job.charge, multiplicity=job.multiplicity,
            spin="UHF" if job.uhf else "RHF", symbols=job.molecule.symbols,
            coordinates=job.molecule.xyz)
        if job.molecule.plain_masses is not None:
            self.result.masses = list(job.molecule.plain_masses)
        if job.selection is not None:
            self.result.selected = len(job.selection)
        self.result.warnings += job.molecule.remarks
        lacks = lacking(job.method, [job.molecule.z[i] for i in job.selected])
        if lacks is not None:
            self.result.warnings.append(lacks)

    @property
    def whole(self) -> Result:
        """The result so far, without the beginnings of a report point: energy and structure belong
        together in it."""
        return self._before or self.result

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
        if isinstance(event, events.ResultBlock) and self.result.exact:
            self._before = _copied(self.result)
        if take is not None:
            take(self, event)
        if isinstance(event, events.Precise):  # the last of a point
            self._before = None

    def _log(self, event: events.LogLine) -> None:
        self.result.log.append(event.text)

    def _warning(self, event: events.WarningLine) -> None:
        if event.text.startswith(_LARGE_CI):
            return  # of time, not of the result
        self.result.warnings.append(event.text)

    def _error(self, event: events.ErrorLine) -> None:
        self.result.errors.append(event.text)

    def _status(self, event: events.StatusLine) -> None:
        self._started = True

    def _block(self, event: events.ResultBlock) -> None:
        values, result = event.values, self.result
        # Where sections follow, they take the place of these.
        precise = self._job.settings.precise
        number = _finite if precise else _shortest
        _check_finite(values, _BLOCK_FIELDS)
        for field_name, name in _BLOCK_ENERGIES:
            value = values[field_name]
            setattr(result, name, value if precise else shortest(value))
        if not self._job.method.has_heats:
            result.heat_of_formation = None
        result.dipole = array("f", [values[name] for name in _BLOCK_DIPOLE])
        result.cycles = values["nCycles"]
        result.energy_points = values["nEnergyPoints"]
        if self._job.settings.restrain:
            result.restraint_energy = sum(
                number(values[name], name) for name in
                ("flTetherEnergy", "flStretchEnergy", "flBendEnergy", "flTorsionEnergy"))
        if self._job.settings.calc_kind in SEARCHES:
            result.converged = bool(values["fConverged"])

    def _coordinates(self, event: events.Coordinates) -> None:
        self.result.coordinates = flat(_all_finite(event.values, "the coordinates"))

    def _charges(self, event: events.Charges) -> None:
        self.result.charges = _all_finite(event.values, "the charges")

    def _precise(self, event: events.Precise) -> None:
        """The sections take the place of what came in single precision."""
        result, sections = self.result, event.sections
        _check_finite(sections["energies"], _ENERGIES)
        for name in _ENERGIES:
            setattr(result, name, sections["energies"][name])
        result.exact = True
        if not self._job.method.has_heats:
            result.heat_of_formation = None
        if self._job.settings.restrain:
            result.restraint_energy = sum(
                _finite(sections["energies"][name], name) for name in _RESTRAINTS)
        for name in ("gradient", "coordinates", "charges"):
            if name in sections:
                setattr(result, name, _all_finite(sections[name], name))
        if "gradient" not in sections:
            result.rms_gradient = None  # its word is 0 when no gradient was made
        if "dipole" in sections:
            result.dipole = array("d", [_finite(sections["dipole"][name], "the dipole")
                                        for name in _DIPOLE])
        if "ci_states" in sections:
            self._states(sections["ci_states"], sections["energies"]["state_correction"])
        if "modes" in sections and result.modes is not None:
            for name in _OF_MODES:
                _all_finite(sections["modes"][name], f"the {name} of the normal modes")
            result.modes = result.modes.in_double(sections["modes"])
        self._judge_scf(sections["scf"])
        if sections.get("state", {}).get("guarded"):
            self._take_state(sections["state"])
        if "forces" in sections:
            self._take_forces(sections["forces"])

    def _judge_scf(self, scf: dict[str, Any]) -> None:
        """How the SCFs of the job have ended. A search is worth what its last one is; of other jobs
        each counts."""
        result = self.result
        result.scf_iterations, result.scf_runs = scf["cycles"] or None, scf["runs"]
        result.scf_unconverged = scf["unconverged"]
        difference = scf["difference"]
        result.final_scf_difference = difference if math.isfinite(difference) else None
        result.scf_converged = bool(scf["converged"]) if scf["runs"] else None
        if self._job.settings.calc_kind not in SEARCHES:
            result.converged = not scf["unconverged"] if scf["runs"] else None
        elif result.scf_converged is False:
            result.converged = False

    def _take_state(self, state: dict[str, Any]) -> None:
        """The last word about the SCF; what would not be believed without it is a warning."""
        found = STATES[state["found"]] if 0 <= state["found"] < len(STATES) else "not decided"
        tested, known = found != STATES[0], state["curvatures"]
        # Older backends say nothing of what they have tested, but that they have found this.
        spins = bool(known & _SPINS_TESTED) or found == _SPINS_UNLIKE
        if found == _STABLE and self._half_filled:
            found = _OF_THE_MEAN
        self.result.blocks["scf"] = {
            "converged": bool(state["converged"]), "iterations": state["cycles"],
            "fock_matrices": state["all_cycles"], "energy_change": state["difference"],
            "commutator_ev": state["commutator"], "aufbau": bool(state["aufbau"]),
            "descended": bool(state["descended"]), "starts": state["starts"],
            "lowered": state["lowered"], "state": found,
            "lowest_curvature_ev": state["internal"] if tested else None,
            "lowest_curvature_exact": bool(known & _INTERNAL_SHOWN) if tested else None,
            "spin_curvature_ev": state["spins"] if spins else None,
            "spin_curvature_exact": bool(known & _SPINS_SHOWN) if spins else None}
        self.result.state_remarks = state_remarks(self.result.blocks["scf"])

    def _take_forces(self, forces: dict[str, int]) -> None:
        """Whose gradients half electrons have had in this job."""
        why = forces["why_first"]
        reason = _WHY_OF_THE_MEAN[min(why, len(_WHY_OF_THE_MEAN)) - 1] if why > 0 else None
        self.result.blocks["half_electrons"] = {
            "gradient": "state" if forces["why"] == _OF_THE_STATE else "mean",
            "gradients_of_mean": forces["of_mean"], "reason": reason,
            "fock_matrices": forces["products"]}

    @property
    def _closed(self) -> bool:
        return not self._job.uhf and self._job.multiplicity == 1

    @property
    def _half_filled(self) -> bool:
        """Whether the cycles minimise a mean of states, from which the energy of one is corrected:
        the test shows a minimum of that mean, and not that the one state has no lower."""
        job = self._job
        return not job.uhf and (job.multiplicity > 1 or job.settings.next_lowest)

    def _orbitals(self, event: events.OrbitalData) -> None:
        result = self.result
        result.orbital_energies = _all_finite(event.energies, "orbital energies")
        result.occupancies = _occupancies(_all_finite(event.occupancies, "occupancies"))
        result.orbital_populations = _all_finite(event.populations, "populations")
        if not _NO_LABELS.issuperset(event.symmetry_labels):
            result.orbital_symmetries = [f"{index}{label}" for index, label in
                                         zip(event.symmetry_index, event.symmetry_labels)]
        result.point_group = event.point_group.replace("?", "") or None

    def _states(self, rows: Any, correction: float) -> None:
        """The gradient is that of the SCF, which is not that of another state."""
        result, job = self.result, self._job
        result.states = states = from_rows(*rows)
        if (states.kind == "singles" and self._closed and not job.settings.next_lowest
                and result.point_group and result.orbital_symmetries):
            states.label(result.point_group, result.orbital_symmetries)
        if abs(correction) > _SAME_STATE:
            self.result.gradient = self.result.rms_gradient = None

    def _vectors(self, event: events.Eigenvectors) -> None:
        _all_finite(event.values, "eigenvectors")
        self.result.eigenvectors = {**(self.result.eigenvectors or {}), event.spin: event.vectors}

    def _modes(self, event: events.NormalModes) -> None:
        self.result.modes = modes_of(self._job, event)

    _TAKERS = {
        events.LogLine: _log, events.StatusLine: _status, events.WarningLine: _warning,
        events.ErrorLine: _error, events.ResultBlock: _block, events.Charges: _charges,
        events.Coordinates: _coordinates,
        events.Precise: _precise, events.OrbitalData: _orbitals, events.Eigenvectors: _vectors,
        events.NormalModes: _modes,
    }


def modes_of(job: Job, event: events.NormalModes) -> Modes | None:
    """The modes of a job; None where none came. Raises CalculationFailed for modes that are not
    finite."""
    from orbitrax.vibrations.modes import Modes

    if not event.order:
        return None
    _all_finite(event.frequencies, "frequencies")
    _all_finite(event.intensities, "intensities")
    _all_finite(event.values, "normal modes")
    moving = [i for i in job.selected if job.molecule.z[i] > 0]
    if 3 * len(moving) != len(event.order):
        raise CalculationFailed(f"the backend sent {len(event.order)} normal modes of "
                                f"{len(moving)} atoms")
    xyz, masses = job.molecule.xyz, job.masses
    labels = [f"{index}{label}" for index, label in
              zip(event.symmetry_index, event.symmetry_labels)]
    return Modes([job.molecule.z[i] for i in moving], moving, [masses[i] for i in moving],
                 [xyz[3 * i:3 * i + 3] for i in moving], event.frequencies, event.intensities,
                 labels, event.vectors[event.order])


def state_remarks(scf: dict[str, Any]) -> list[str]:
    """What a state is to be warned of, once it has converged."""
    if not scf["converged"]:
        return []
    remarks = []
    if scf["state"] == "unstable":
        remarks.append("the electrons are in a state beside which a lower one lies (lowest "
                       f"curvature {curvature(scf, 'lowest')}): an excited state")
    if scf["state"] == "unstable to unequal spins":
        remarks.append("the closed shell is unstable: a state with unequal spins lies lower "
                       f"(lowest curvature {curvature(scf, 'spin')}); see --uhf")
    if not scf["aufbau"]:
        remarks.append("the occupied levels are not the lowest ones, which may be an excited state")
    return remarks


def lacks_memory(words: str) -> bool:
    """Whether the backend's words tell that it got no memory."""
    return any(text in words for text in NO_MEMORY)


def _finite(value: float, what: str) -> float:
    if not math.isfinite(value):
        raise CalculationFailed(f"the backend sent a number that is not finite, in {what}")
    return value


def _check_finite(values: dict[str, float], names: Sequence[str]) -> None:
    if not finite([values[name] for name in names]):
        for name in names:
            _finite(values[name], name)


def _shortest(value: float, what: str) -> float:
    return shortest(_finite(value, what))


def _occupancies(values: Sequence[float]) -> array[float]:
    """In double precision, by their shortest decimals."""
    if _USUAL.issuperset(values):
        return array("d", values)
    return array("d", [1.0 if value == _MARKED else shortest(value) for value in values])


def _all_finite(values: Any, what: str) -> Any:
    if not finite(values):
        _finite(math.nan, what)
    return values
