"""The task `vibrations`: normal modes, infrared spectrum and free energy at a stationary point."""

from __future__ import annotations

from math import dist

from orbitrax.errors import NotConverged, OrbitraxError, UsageError
from orbitrax.job import NO_CI, VIBRATIONS, Job, JobSettings
from orbitrax.settings import declared, option
from orbitrax.tasks.optimize import Optimize
from orbitrax.tasks.task import Run, Task, judge_scf, judge_states

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any, ClassVar

    from orbitrax.backend import Backend
    from orbitrax.methods import Method
    from orbitrax.molecules.molecule import Molecule
    from orbitrax.results.result import Result
    from orbitrax.tasks.task import Listener
    from orbitrax.vibrations.isotopes import Isotopes
    from orbitrax.vibrations.modes import Modes

_MODES, _GAS, _FILE = "vibrations", "ideal gas", "picture and files"
_NOT_SHARED = ("eigenvectors", "log_level", "precise", "debug")
_HELD = 40.0  # 1/cm: a frequency of a motion as a whole that no residue of a slope makes


def _isotopes(given: Any) -> tuple[Isotopes, ...]:
    from orbitrax.vibrations.isotopes import parse_isotopes

    return parse_isotopes(given)


class Vibrating(Run):
    """A structure that is looked at, or optimised, first; its modes; those of isotopologues."""

    task: Vibrations

    def __init__(self, task: Task, job: Job):
        super().__init__(task, job)
        self.optimisation: Result | None = None
        self.moved: float | None = None  # Angstrom, most of an atom, to exact symmetry
        self.single: Result | None = None  # at the same place, ahead of the force matrix
        self.isotopologues: list[tuple[Isotopes, Modes]] = []
        molecule = job.molecule
        if any(number <= 0 for number in molecule.z):
            raise UsageError(f"{molecule.title}: vibrations of dummy atoms cannot be computed")
        for isotopes in self.task.isotope:
            isotopes.applied(molecule.z, job.masses)

    def execute(self, backend: Backend, on_event: Listener | None = None) -> Result:
        """Finds or checks the stationary point, then runs the job."""
        try:
            if self.task.optimize:
                self._optimise(backend, on_event)
            self._symmetrise()
            if not self.task.optimize:
                self._check(backend)
        except OrbitraxError as error:
            if error.partial is not None:
                error.partial.task = self.task.name
                error.partial.blocks = {}
            raise
        return super().execute(backend, on_event)

    def _shared(self) -> dict[str, Any]:
        """What the jobs ahead of this one are told: all that is not about modes."""
        return {name: value for name, value in self.task.__dict__.items()
                if name in JobSettings.options and name not in _NOT_SHARED}

    def _optimise(self, backend: Backend, on_event: Listener | None) -> None:
        search = Optimize(limit=self.task.limit, cycles=self.task.cycles, **self._shared())
        found = search.start(self.job.molecule, self.job.method).execute(backend, on_event)
        self.optimisation = self.single = found
        places = found.plain("coordinates")
        self.job = self.job.replace(self.job.molecule.replace(positions=places))

    def _symmetrise(self) -> None:
        """A minimum that was looked for is what lies nearest to the places that were found; a
        structure that was given stays as it is unless this was asked for."""
        from orbitrax.molecules.symmetry import WITHIN, symmetrised

        within = self.task.symmetrize
        if within is None:
            within = WITHIN if self.task.optimize else 0.0
        molecule, settings = self.job.molecule, self.job.settings
        if within == 0.0 or len(self.job.selected) < len(molecule) or settings.restrain:
            return
        exact = symmetrised(molecule.z, molecule.positions, within)
        if exact is not None:
            self.moved = max(map(dist, exact.tolist(), molecule.positions.tolist()))
            self.job = self.job.replace(molecule.replace(positions=exact))

    def _check(self, backend: Backend) -> None:
        """Computing the force matrix of a structure on a slope would be a waste."""
        if self.job.settings.allow_unconverged:
            return
        job = Job(self.job.molecule, self.job.method, JobSettings(**self._shared()))
        self.single = result = backend.run(job)
        try:
            judge_scf(job, result)
            _judge_slope(result)
        except NotConverged as error:
            error.partial = result
            raise

    def judge(self, result: Result) -> None:
        """Raises NotConverged for an SCF that has not converged, or that has found another state
        than the one whose minimum this is."""
        from orbitrax.tasks.end_state import take_state

        believed = self.job.settings.allow_unconverged
        if self.single is None:
            super().judge(result)
        else:
            if not believed:
                judge_scf(self.job, result)
            take_state(self.job, result, self.single)
        if not believed:
            judge_states(result)
            _judge_slope(result)

    def follow(self, backend: Backend, result: Result, on_event: Listener | None) -> None:
        """The same force matrix with other masses; and a word on what is none of a molecule."""
        if result.modes is not None and len(self.job.selected) < len(self.job.molecule):
            result.warnings += _held_by_others(result.modes)
        for isotopes in self.task.isotope:
            masses = isotopes.applied(self.job.molecule.z, self.job.masses)
            self.isotopologues.append((isotopes, backend.modes(masses)))

    # ---- what is said ---------------------------------------------------------------------------

    def block(self, result: Result | None) -> dict[str, dict[str, Any]]:
        """The entry `vibrations` of the JSON document."""
        from orbitrax.results.vibrations import vibrations_block

        return {"vibrations": vibrations_block(self, result)}

    def summary(self, result: Result) -> list[str]:
        """The table of modes, and the gas."""
        from orbitrax.results.vibrations import vibrations_summary

        return vibrations_summary(self, result)

    def appendix(self, result: Result) -> list[str]:
        """The structure, if it is another than the one that was given."""
        from orbitrax.results.text import structure

        moved = self.optimisation is not None or self.moved is not None
        return structure(result) if moved else []


def _held_by_others(modes: Modes) -> list[str]:
    """What there is to be warned of where surroundings hold a part as a whole: the motions that a
    free molecule would have at no frequency."""
    values = sorted(float(nu) for nu in modes.external)
    held = [nu for nu in values if abs(nu) > _HELD]
    if not held:
        return []
    count = sum(nu < 0 for nu in held)
    return [f"the surroundings hold the selected part as a whole: its {len(values)} translations "
            f"and rotations have frequencies up to {max(held, key=abs):.0f} 1/cm, which are "
            "neither in the table nor in the zero-point energy"
            + (f"; {count} of them imaginary, so that this is no minimum" if count else "")]


def _judge_slope(result: Result) -> None:
    """Raises NotConverged for a structure that is not stationary."""
    from orbitrax.vibrations.gas import STATIONARY

    rms = result.rms_gradient
    if rms is None or rms <= STATIONARY:
        return
    raise NotConverged(
        f"this structure is no stationary point of the method: its RMS gradient is {rms:.3f} "
        f"kcal/(mol Angstrom), {STATIONARY:g} at the most; add --optimize to go to the nearest "
        "minimum first, or --allow-unconverged to compute vibrations where it stands")


@declared
class Vibrations(Task):
    """Normal modes, infrared spectrum and thermochemistry of a stationary point."""

    name: ClassVar[str] = "vibrations"
    description: ClassVar[str] = (
        "Computes the normal modes of a structure, its infrared spectrum and the free energy of an "
        "ideal gas of it.")
    examples: ClassVar[tuple[str, ...]] = (
        "orbitrax vibrations --smiles CCO -m pm3 --optimize -o ethanol.png",
        "orbitrax vibrations examples/water.xyz -m am1 --optimize --isotope H=D",
        "orbitrax vibrations examples/benzene.xyz -m am1 --optimize --animate 4 -o mode.gif",
        "orbitrax vibrations examples/ethanol.xyz -m pm3 --optimize --temperature 400 --json",
    )
    calc_kind: ClassVar[int] = VIBRATIONS
    run_type: ClassVar[type[Run]] = Vibrating
    follows_gradient: ClassVar[bool] = True
    files: ClassVar[tuple[str, ...]] = ("modes", "bands", "animation", "force matrix", "infrared")
    file_help: ClassVar[str] = (
        "what to write: the spectrum, NAME.png, .svg, .pdf, or .csv; NAME.molden: the modes, for "
        "programs that show them; NAME.npy: the force matrix; with --animate: NAME.xyz or .gif")

    optimize: bool = option(
        False, group=_MODES, help="go to the nearest minimum first")
    limit: float = option(
        0.01, least=0, unit="kcal/(mol Angstrom)", group=_MODES, metavar="G",
        help="RMS gradient at which --optimize ends, kcal/(mol Angstrom)")
    cycles: int = option(
        2000, least=0, group=_MODES, metavar="N", help="most cycles of --optimize")
    symmetrize: float | None = option(
        None, least=0, most=0.1, unit="Angstrom", group=_MODES, metavar="A",
        help="move atoms by A Angstrom at the most to where the point group has them exactly; "
             "0.001 with --optimize, else 0, unless given")
    isotope: tuple[Isotopes, ...] = option(
        (), group=_MODES, convert=_isotopes, repeated=True, metavar="TEXT",
        help="compute the modes with other masses too: '3=D', '2,4-6=13C', 'H=D', '1=17.999 3=D'; "
             "may be given again, for another isotopologue")
    temperature: float = option(
        298.15, above=0, most=10000, unit="K", group=_GAS, metavar="T", help="of the gas, K")
    pressure: float = option(
        1.0, above=0, unit="atm", group=_GAS, metavar="P", help="of the gas, atm")
    band_width: float = option(
        12.0, above=0, most=1000, unit="1/cm", group=_FILE, metavar="W",
        help="full width at half maximum of the bands of a spectrum, 1/cm")
    animate: int | None = option(
        None, least=1, group=_FILE, metavar="K",
        help="show the motion of mode K, counted from 1 as in the table")

    def _check(self) -> None:
        super()._check()
        if self.ci != NO_CI:
            raise UsageError("--ci: there are no vibrations with configuration interaction; leave "
                             "it out, then take 'energy --ci' or 'uv' at the same structure")

    def start(self, molecule: Molecule, method: Method | str | int) -> Run:
        """A run for a molecule."""
        return self.run_type(self, Job(molecule, method, self))
