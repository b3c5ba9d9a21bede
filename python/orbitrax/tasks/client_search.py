"""The search that this side leads: quasi-Newton steps, an energy of the backend for each."""

from __future__ import annotations

import math
import time

from orbitrax.errors import Cancelled, NotConverged, OrbitraxError, UsageError
from orbitrax.job import SINGLE_POINT, Job, JobSettings
from orbitrax.link import events

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Callable
    from typing import Any

    from orbitrax.backend import Backend
    from orbitrax.link.events import Event
    from orbitrax.minimise import Limits, Stage
    from orbitrax.minimise.hessian import Tether
    from orbitrax.molecules.molecule import Molecule
    from orbitrax.results.result import Result
    from orbitrax.tasks.optimize import Optimize

    Listener = Callable[[Event], None]

MOST_ATOMS = 1500  # beyond which the matrices of a step take longer than its energy

_STEP, _ENERGY = 0.05, 1e-3  # what may be left at a limit of 0.1: Angstrom, kcal/mol
ENDS = 3  # atoms of a part whose distances to another say how it lies
_LEAST_ENERGY = 2e-5  # kcal/mol: what an SCF leaves uncertain


def lead(backend: Backend, job: Job, on_event: Listener | None, time_limit: float | None,
         task: str) -> Result:
    """Searches the minimum from the geometry of a job whose settings are those of `Optimize`.

    The result is that of the last structure; `result.search` has the criteria. Whatever ends the
    search early has what there is in `partial`.
    """
    return _Search(backend, job, on_event, time_limit, task).result()


class _Search:
    """A search: its single points, and the best of them."""

    def __init__(self, backend: Backend, job: Job, on_event: Listener | None,
                 time_limit: float | None, task: str):
        self._backend, self._job, self._listener, self._task = backend, job, on_event, task
        self._settings: Optimize = job.settings  # type: ignore[assignment]
        limit = backend.time_limit if time_limit is None else time_limit
        self._deadline = None if limit is None else time.monotonic() + limit
        self._began = time.monotonic()
        self._silent = single_point(job)
        self._energies = 0
        self._last: Result | None = None  # of the last single point
        self._best: Result | None = None  # of the last step
        self._stage: Stage | None = None
        self._told = False
        self._of_mean, self._reason = 0, None  # gradients of half electrons, and why so

    def result(self) -> Result:
        """Runs the search."""
        try:
            why = self._search()
        except (OrbitraxError, KeyboardInterrupt) as error:
            best = self._best
            if best is not None:
                self._finished(best, False)
                error.partial = best  # type: ignore[union-attr]
            raise
        found = self._best
        assert found is not None
        if self._needs_more(found):
            found = self._with_more(found)
        self._finished(found, not why)
        if why and "cycles" not in why:
            found.warnings.append(f"the search ended: {why}")
        return found

    def _search(self) -> str:
        """Returns what went wrong, empty if nothing."""
        from orbitrax.minimise import minimise

        molecule, settings = self._job.molecule, self._settings
        self._job.check(self._backend.parameters(self._job.method))
        bonds, links = bonds_and_links(molecule)
        selected = set(self._job.selected)
        frozen = tuple(i for i in range(len(molecule))
                       if i not in selected or molecule.z[i] <= 0 or i + 1 in settings.frozen_atoms)
        if len(frozen) == len(molecule):
            raise UsageError("no atom may move")
        try:
            found = minimise(
                self._energy, molecule.numbers, molecule.positions, bonds, limits_of(settings),
                frozen=frozen, constraints=settings.held(molecule), links=links,
                springs=_springs(self._job), tethers=_tethers(self._job), on_step=self._step)
        except ValueError as error:
            if isinstance(error, OrbitraxError):
                raise
            raise UsageError(str(error)) from None
        return found.why

    # ---- single points --------------------------------------------------------------------------

    def _energy(self, positions: Any) -> tuple[float, Any]:
        result = self._at(positions, self._silent)
        if result.gradient is None:
            raise NotConverged(f"{self._job.method.title} with these settings gives no gradient")
        if result.converged is False and not self._settings.allow_unconverged:
            result = self._tried_again(positions)
        assert result.total_energy is not None
        return result.total_energy, result.gradient

    def _tried_again(self, positions: Any) -> Result:
        """A single point whose SCF does not converge as it was asked for, by other ways."""
        settings, number = self._silent.settings, self._energies
        attempts: tuple[dict[str, Any], ...] = (
            {"diis": not settings.diis}, {"level_shift_start": 0},
            {"level_shift_start": 0, "diis": False})
        for attempt in attempts:
            result = self._at(positions, self._silent.replace(
                scf_iterations=3 * settings.scf_iterations, **attempt))
            if result.converged:
                return result
        where = "where the search begins" if number == 1 else f"at energy {number} of the search"
        error = NotConverged(
            f"the SCF did not converge {where}, within {3 * settings.scf_iterations} iterations, "
            "in any of four ways; try --uhf for an open shell, or another geometry")
        result.cycles, result.energy_points = 0, self._energies
        error.partial = self._best or result
        raise error

    def _at(self, positions: Any, job: Job) -> Result:
        """One single point."""
        settings = single_point(job).settings if job is self._job else job.settings
        if job is self._job:
            settings = settings.replace(log_level=self._settings.log_level,
                                        eigenvectors=self._settings.eigenvectors,
                                        bond_orders=self._settings.bond_orders)
        follows = self._energies > 0 and job is not self._job  # a report tells of a whole SCF
        settings = settings.replace(scf_start="follow" if follows else "leave")
        if self._energies and self._backend.cancelled:
            raise Cancelled("the calculation was cancelled")
        self._energies += 1
        one = Job(self._job.molecule.replace(positions=positions), self._job.method, settings)
        left = None if self._deadline is None else max(0.0, self._deadline - time.monotonic())
        self._last = self._backend.run(one, self._hear, left, self._task)
        forces = self._last.blocks.get("half_electrons")
        if forces is not None:
            self._of_mean += forces["gradients_of_mean"]
            self._reason = self._reason or forces["reason"]
        return self._last

    def _hear(self, event: Event) -> None:
        if self._listener is not None and not isinstance(
                event, (events.ResultBlock, events.Precise, events.Coordinates)):
            self._listener(event)

    # ---- steps ----------------------------------------------------------------------------------

    def _step(self, stage: Stage) -> None:
        """Keeps the result of a step, and tells of it."""
        self._stage, self._best, self._told = stage, self._last, False
        assert self._best is not None
        self._best.cycles, self._best.energy_points = stage.step, stage.energies
        self._best.rms_gradient = stage.rms
        if stage.step % max(1, self._settings.report_period) == 0:
            self._tell(stage, self._best)

    def _tell(self, stage: Stage, result: Result) -> None:
        """Tells of a step, once."""
        if self._listener is None or self._told:
            return
        self._told = True
        self._listener(events.SearchPoint(stage.step, stage.energies, stage.rms, stage.energy,
                                          list(result.plain("coordinates") or ()),
                                          list(result.plain("gradient") or ())))

    def _needs_more(self, found: Result) -> bool:
        """Whether the last session was not of the last structure, or did not bring all."""
        return (found is not self._last or self._settings.eigenvectors
                or self._settings.bond_orders or self._settings.log_level is not None)

    def _with_more(self, found: Result) -> Result:
        """The result with what the last session did not bring. A report alone changes no number:
        those are of the SCF that the search has followed, the report is of one from the start."""
        settings, was_last = self._settings, found is self._last
        more = self._at(found.coordinates, self._job)
        if was_last and not (settings.eigenvectors or settings.bond_orders):
            found.log = more.log
            return found
        return more

    def _finished(self, result: Result, converged: bool) -> None:
        stage = self._stage
        assert stage is not None
        self._tell(stage, result)
        result.converged = converged and result.converged is not False
        result.cycles, result.energy_points = stage.step, self._energies
        result.rms_gradient = stage.rms
        result.wall_seconds = time.monotonic() - self._began
        if "half_electrons" in result.blocks:
            result.blocks["half_electrons"].update(gradients_of_mean=self._of_mean,
                                                   reason=self._reason)
        result.search = criteria(stage, limits_of(self._settings))


def limits_of(settings: Optimize) -> Limits:
    """The limits of a search, all from that of the RMS gradient."""
    from orbitrax.minimise import Limits

    part = settings.limit / 0.1
    return Limits(rms_gradient=settings.limit, max_gradient=3 * settings.limit,
                  energy=max(_ENERGY * min(part, 1.0) ** 2, _LEAST_ENERGY),
                  steps=3 * settings.cycles + 10, step=_STEP * max(1.0, math.sqrt(part)),
                  cycles=settings.cycles)


def criteria(stage: Stage, limits: Limits) -> dict[str, dict[str, float | bool | str]]:
    """What each criterion came to, with its limit and unit."""
    rows = (("rms_gradient", stage.rms, limits.rms_gradient, "kcal/(mol Angstrom)"),
            ("largest_gradient", stage.largest, limits.max_gradient, "kcal/(mol Angstrom)"),
            ("expected_fall", stage.promise, limits.energy, "kcal/mol"),
            ("expected_step", stage.longest, limits.step, "Angstrom"))
    return {name: {"value": value, "limit": limit, "unit": unit, "met": value <= limit}
            for name, value, limit, unit in rows}


def single_point(job: Job) -> Job:
    """The job of one energy of a search: silent, and restraints with the values that the first
    geometry gives them."""
    molecule, settings = job.molecule, job.settings
    shared = {name: getattr(settings, name) for name in JobSettings.options}
    places = [molecule.xyz[3 * i:3 * i + 3] for i in range(len(molecule))]
    shared.update(log_level=None, eigenvectors=False, bond_orders=False, restrain=tuple(
        one if one.target is not None else one.aimed(places) for one in settings.restrain))
    assert JobSettings.calc_kind == SINGLE_POINT
    return Job(molecule, job.method, JobSettings(**shared))


def _springs(job: Job) -> dict[tuple[int, ...], float]:
    """How stiff each restrained coordinate is, kcal/mol per square Angstrom or radian."""
    return {tuple(atom - 1 for atom in one.atoms): 2.0 * one.force_constant
            for one in job.settings.restrain if one.kind != "tether" and one.force_constant > 0}


def _tethers(job: Job) -> list[Tether]:
    """Which atoms are drawn where, from 0 and in Angstrom, and how stiffly."""
    import numpy as np

    return [(one.atoms[0] - 1, np.array(one.target), 2.0 * one.force_constant)
            for one in single_point(job).settings.restrain
            if one.kind == "tether" and one.force_constant > 0]


def bonds_and_links(molecule: Molecule, ends: int = ENDS
                    ) -> tuple[list[tuple[int, int]], list[tuple[int, int]]]:
    """Pairs of bonded atoms, and pairs that tie parts together that no bond does, from 0. ends:
    how many atoms of each part have distances to the other."""
    import numpy as np

    from orbitrax.molecules.geometry import find_bonds

    positions = molecule.positions
    near = find_bonds(molecule.numbers, positions)
    bonds = sorted({(min(i, j), max(i, j)) for i, others in enumerate(near) for j in others})
    parts = _parts(len(molecule), bonds)
    links: list[tuple[int, int]] = []
    home = np.empty(len(molecule), dtype=int)
    for number, part in enumerate(parts):
        home[part] = number
    apart, nearest = np.full(len(molecule), np.inf), np.zeros(len(molecule), dtype=int)
    outside = np.ones(len(molecule), dtype=bool)
    place = 0
    for _ in parts[1:]:  # the part of the first atom takes in the one that is nearest
        outside[parts[place]] = False
        for i in parts[place]:
            distance = np.linalg.norm(positions - positions[i], axis=1)
            closer = distance < apart
            apart[closer], nearest[closer] = distance[closer], i
        j = int(np.argmin(np.where(outside, apart, np.inf)))
        pair = int(nearest[j]), j
        links += _between(positions, [parts[int(home[i])] for i in pair], pair, ends)
        place = int(home[j])
    return bonds, links


def _between(positions: Any, parts: list[list[int]], pair: tuple[int, int],
             most: int) -> list[tuple[int, int]]:
    """Pairs that say how two parts lie to each other, whose nearest atoms are a pair: of the atoms
    of each that are nearest to the other one's, as many as a rigid body needs."""
    import numpy as np

    ends = [sorted(part, key=lambda k: float(np.linalg.norm(positions[k] - positions[to])))[:most]
            for part, to in zip(parts, pair[::-1])]
    return [(min(one, other), max(one, other)) for one in ends[0] for other in ends[1]]


def _parts(count: int, bonds: list[tuple[int, int]]) -> list[list[int]]:
    """Atoms that hang together, by parts."""
    home = list(range(count))

    def find(i: int) -> int:
        while home[i] != i:
            home[i] = home[home[i]]
            i = home[i]
        return i

    for i, j in bonds:
        home[find(i)] = find(j)
    found: dict[int, list[int]] = {}
    for i in range(count):
        found.setdefault(find(i), []).append(i)
    return list(found.values())
