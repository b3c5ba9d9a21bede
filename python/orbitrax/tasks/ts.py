"""The task `ts`: the saddle point next to a guess, and the proof that it is one."""

from __future__ import annotations

from orbitrax.errors import NotConverged, OrbitraxError, UsageError
from orbitrax.job import NO_CI, TRANSITION_STATE, Job, JobSettings
from orbitrax.results.text import CONVERGENCE, counted, line, structure, summary
from orbitrax.settings import declared, option
from orbitrax.tasks.report_points import ReportPoints
from orbitrax.tasks.start_hessian import COMPUTE, MODEL, check_choice
from orbitrax.tasks.task import Run, Task, judge_way

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any, ClassVar

    from orbitrax.backend import Backend
    from orbitrax.link.events import Event
    from orbitrax.results.result import Result
    from orbitrax.tasks.task import Listener
    from orbitrax.vibrations.modes import Modes

CAREFUL, EITHER_SIGN = 1, 2  # bits of what a search does beyond what every client gets

SOFT = 10.0  # 1/cm: an imaginary frequency below it may be a rotation, and is no reaction

_SEARCH = "search"
_REPORTED = {"nCycles": "cycle", "nEnergyPoints": "energy_points", "flRmsGradient": "rms_gradient",
             "nNegativeEigenvalues": "negative_eigenvalues"}
_NOT_SHARED = ("eigenvectors", "log_level", "precise", "debug", "bond_orders")


def imaginary_of(modes: Modes) -> list[float]:
    """The imaginary frequencies that count, 1/cm, as positive numbers, the largest first."""
    return [-float(nu) for nu in modes.frequencies if nu < -SOFT]


def said(modes: Modes) -> str:
    """What kind of stationary point these modes are of."""
    found = imaginary_of(modes)
    if not found:
        return "a minimum"
    if len(found) == 1:
        return f"a first-order saddle point, {found[0]:.1f}i 1/cm"
    shown = ", ".join(f"{nu:.1f}i" for nu in found[:4])
    return f"a saddle point of order {len(found)}, {shown} 1/cm"


def modes_at(backend: Backend, job: Job, result: Result,
             on_event: Listener | None = None) -> Result:
    """The vibrations where a search has ended. on_event: called with the lines that say how far
    they are; the rest is theirs."""
    from orbitrax.tasks.vibrations import Vibrations

    shared = {name: getattr(job.settings, name) for name in JobSettings.options
              if name not in _NOT_SHARED}
    molecule = job.molecule.replace(positions=result.plain("coordinates"))

    def tell(event: Event) -> None:
        from orbitrax.link.events import StatusLine

        if on_event is not None and isinstance(event, StatusLine):
            on_event(event)

    return backend.run(Job(molecule, job.method, Vibrations(**shared)), tell, task="vibrations")


class SaddleRun(Run):
    """A search for a saddle point, and the vibrations at its end."""

    task: SaddleTask

    def __init__(self, task: Task, job: Job):
        super().__init__(task, job)
        if any(number <= 0 for number in job.molecule.z):
            raise UsageError(f"{job.molecule.title}: a saddle point of dummy atoms cannot be shown")
        self.task.check_for(job)
        task.first_hessian(job)  # refuses one of other atoms before anything is begun
        self.points = ReportPoints(_REPORTED)
        self.modes: Modes | None = None

    def collect(self, event: Event) -> None:
        """Takes what belongs to report points."""
        self.points.collect(event)

    def judge(self, result: Result) -> None:
        """Raises NotConverged for a search that has not come to its end."""
        if result.scf_converged is False:
            super().judge(result)
        if result.converged or self.job.settings.allow_unconverged:
            judge_way(self.job, result)
            return
        raise NotConverged(
            f"the search did not come to a saddle point within {result.cycles} cycles (RMS "
            f"gradient {result.rms_gradient or 0.0:.5f} kcal/(mol Angstrom), limit "
            f"{self.task.limit:g}); try a better guess, or a higher --cycles")

    def follow(self, backend: Backend, result: Result, on_event: Listener | None) -> None:
        """Judges the state of the electrons and computes the vibrations. Raises NotConverged
        unless just one of them is imaginary."""
        from orbitrax.tasks.end_state import judge_end

        if result.scf_converged is not False:
            judge_end(backend, self.job, result)
        try:
            found = modes_at(backend, self.job, result, on_event)
        except (OrbitraxError, KeyboardInterrupt):
            result.converged = False
            result.warnings.append("the vibrations were not finished, so that it is not known what "
                                   "the search has found")
            raise
        self.modes = result.modes = found.modes
        if found.modes is None:
            raise NotConverged("the vibrations at the end of the search could not be computed, so "
                               "that nothing is known of what it has found")
        result.point_group = found.point_group
        if len(imaginary_of(found.modes)) != 1:
            result.converged = False
            raise NotConverged(
                f"the search has ended at {said(found.modes)}, not at a first-order saddle point; "
                "try another guess, nearer to the reaction, or another --mode")
        soft = found.modes.imaginary - 1
        if soft > 0:
            result.remarks.append(f"{counted(soft, 'further frequency')} below {SOFT:g}i 1/cm: "
                                  "groups that turn almost freely; a lower --limit may end it")

    # ---- what is said ---------------------------------------------------------------------------

    def block(self, result: Result | None) -> dict[str, dict[str, Any]]:
        """The entry of the task in the JSON document."""
        modes, task = self.modes, self.task
        imaginary = None if modes is None else imaginary_of(modes)
        return {task.name: {
            **task.told(), "limit": task.limit, "max_cycles": task.cycles,
            "report_period": task.report_period,
            "saddle_point": None if imaginary is None else len(imaginary) == 1,
            "imaginary": None if imaginary is None else len(imaginary),
            "imaginary_frequency_cm1": imaginary[0] if imaginary else None,
            "frequencies_cm1": None if modes is None else modes.frequencies.tolist(),
            "report_points": self.points.values}}

    def summary(self, result: Result) -> list[str]:
        """That of the last structure, and what it is."""
        end = (f"{CONVERGENCE[result.converged]:>18}, {counted(result.cycles, 'cycle')}, "
               f"{counted(result.energy_points, 'energy point')}")
        lines = [line("Search", end)]
        if self.modes is not None:
            lines.append(line("Stationary point", f"  {said(self.modes)}"))
            if imaginary_of(self.modes):
                lines.append(line("Imaginary mode", f"  {self.modes.named_movers(0)}"))
        return summary(result, lines)

    def appendix(self, result: Result) -> list[str]:
        """The last structure."""
        return structure(result)


@declared
class SaddleTask(Task):
    """What searches for saddle points have in common."""

    run_type: ClassVar[type[Run]] = SaddleRun
    follows_gradient: ClassVar[bool] = True
    files: ClassVar[tuple[str, ...]] = ("molden", "structure")
    file_help: ClassVar[str] = (
        "write the final structure there, in the format of its name (xyz, mol, sdf, pdb, gjf, mop, "
        "cjson, ...; molden: with its orbitals); - prints it as xyz")
    reports_points: ClassVar[bool] = True
    search_wishes: ClassVar[int] = CAREFUL

    limit: float = option(
        0.01, least=0, unit="kcal/(mol Angstrom)", group=_SEARCH, wire="flRmsGradient", metavar="G",
        help="RMS gradient at convergence, kcal/(mol Angstrom)")
    cycles: int = option(
        200, least=0, group=_SEARCH, wire="nMaxCycles", metavar="N", help="most cycles")
    report_period: int = option(
        1, least=0, group=_SEARCH, wire="nReportPeriod", metavar="N",
        help="report every N-th cycle")
    hessian: str = option(
        COMPUTE, group=_SEARCH, metavar="WHAT",
        help="where the search begins: 'compute' the second derivatives there (the default), "
             "'model' them by the bonds, or take those of a file NAME.npy, which 'vibrations -o' "
             "writes")

    def _check(self) -> None:
        super()._check()
        if self.ci != NO_CI:
            raise UsageError("--ci: there are no searches with configuration interaction; search "
                             "without it, then take 'energy --ci' or 'uv' at the saddle point")
        if self.select:
            raise UsageError("--select: a saddle point is one of a whole molecule")
        check_choice(self.hessian)

    def check_for(self, job: Job) -> None:
        """Raises UsageError for settings that do not go with a molecule."""

    def first_hessian(self, job: Job) -> bytes | None:
        """What was told, or a model."""
        from orbitrax.tasks.start_hessian import given_bytes

        return given_bytes(self.hessian, job.molecule)

    def told(self) -> dict[str, Any]:
        """What the JSON document says of the settings that are a task's own."""
        return {"hessian": self.hessian}


@declared
class Ts(SaddleTask):
    """Follows a mode uphill to the nearest saddle point, and shows that it is one."""

    name: ClassVar[str] = "ts"
    description: ClassVar[str] = (
        "Goes from a guess to the saddle point next to it, up along one mode and down along all "
        "others, and computes the vibrations there: status 0 only where just one is imaginary.")
    examples: ClassVar[tuple[str, ...]] = (
        "orbitrax ts examples/hcn_ts_guess.xyz -m am1 -o saddle.xyz",
        "orbitrax ts examples/hcn_ts_guess.xyz -m pm3 --trajectory path.xyz --json",
    )
    calc_kind: ClassVar[int] = TRANSITION_STATE

    mode: int | None = option(
        None, least=0, group=_SEARCH, metavar="K",
        help="mode that is followed uphill, counted from 1 by rising curvature; 0: whichever is "
             "the lowest at each step (default 1, from a model 0)")

    def fields(self, job: Job) -> dict[str, Any]:
        """The Hessian is computed where the search begins unless it is told."""
        return {**super().fields(job), "fComputeHessian": 1, "fTsSearch": 1,
                "nFollowMode": self.followed}

    def check_for(self, job: Job) -> None:
        """Raises UsageError for a mode that there is none of."""
        count = max(3 * len(job.molecule) - 5, 1)  # of a line
        if (self.mode or 0) > count:
            raise UsageError(f"--mode {self.mode}: {job.molecule.title} has no more than {count}")

    @property
    def followed(self) -> int:
        """The mode; those of a model do not yet look like the reaction."""
        if self.mode is not None:
            return self.mode
        return 0 if self.hessian == MODEL else 1

    def told(self) -> dict[str, Any]:
        """The mode, and the first Hessian."""
        return {"mode": self.followed, **super().told()}
