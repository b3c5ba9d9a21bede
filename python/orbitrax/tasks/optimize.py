"""The task `optimize`: the nearest structure of lowest energy."""

from __future__ import annotations

from orbitrax.errors import NotConverged, UsageError
from orbitrax.job import NO_CI, OPTIMISATION
from orbitrax.results.text import CONVERGENCE, counted, line, structure, summary
from orbitrax.settings import declared, option
from orbitrax.tasks.report_points import ReportPoints
from orbitrax.tasks.start_hessian import COMPUTE, MODEL, check_choice
from orbitrax.tasks.task import Run, Task, judge_way

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Callable
    from typing import Any, ClassVar

    from orbitrax.backend import Backend
    from orbitrax.job import Job
    from orbitrax.link.events import Event
    from orbitrax.minimise import Constraint
    from orbitrax.molecules.molecule import Molecule
    from orbitrax.molecules.restraints import Restraint
    from orbitrax.results.result import Result
    from orbitrax.tasks.task import Listener

QUASI_NEWTON = "quasi-newton"  # led from this side
FOLLOWING = "ef"  # eigenvector following from a model Hessian
OPTIMISERS = ("steepest-descent", "fletcher-reeves", "polak-ribiere", QUASI_NEWTON,
              FOLLOWING)  # by number
_CAREFUL = 1  # bit of what a search does beyond what every client gets

_SEARCH = "search"
_CRITERIA = {"rms_gradient": "RMS gradient", "largest_gradient": "Largest component",
             "expected_fall": "Expected fall", "expected_step": "Expected step"}
_REPORTED = {"nCycles": "cycle", "nEnergyPoints": "energy_points", "flRmsGradient": "rms_gradient"}


class Search(Run):
    """A search, with its report points."""

    task: Optimize

    def __init__(self, task: Task, job: Job):
        super().__init__(task, job)
        for atom in sorted(self.task.frozen_atoms):
            if not 1 <= atom <= len(job.molecule):
                raise UsageError(f"--freeze: there is no atom {atom} among {len(job.molecule)}")
        self.points = ReportPoints(_REPORTED)

    def collect(self, event: Event) -> None:
        """Takes what belongs to report points."""
        self.points.collect(event)

    def progress(self, text: str) -> str | None:
        """Where the search is, by the quantities of its rows."""
        return self.points.live(text)

    def judge(self, result: Result) -> None:
        """Raises NotConverged for a search that has found no minimum."""
        if result.scf_converged is False:
            super().judge(result)
        if result.converged or self.job.settings.allow_unconverged:
            judge_way(self.job, result)
            return
        early = ((result.cycles or 0) < self.task.cycles
                 and (result.energy_points or 0) <= 3 * self.task.cycles)
        text = (f"the search found no way on after {counted(result.cycles, 'cycle')}, and has not "
                "converged" if early else
                f"the search did not converge within {result.cycles} cycles")
        if result.rms_gradient is not None:
            text += (f" (RMS gradient {result.rms_gradient:.5f} kcal/(mol Angstrom), limit "
                     f"{self.task.limit:g})")
        advice = "another start" if early else "a higher --cycles or --limit"
        raise NotConverged(f"{text}; try {advice}, or another --optimizer")

    def follow(self, backend: Backend, result: Result, on_event: Listener | None) -> None:
        """Judges the state at the end. Raises NotConverged for an excited one."""
        from orbitrax.tasks.end_state import judge_end

        if result.scf_converged is not False:
            judge_end(backend, self.job, result)

    def block(self, result: Result | None) -> dict[str, dict[str, Any]]:
        """The entry `optimize` of the JSON document."""
        task = self.task
        return {"optimize": {
            "optimizer": task.optimizer, "hessian": task.hessian,
            "limit": task.limit, "max_cycles": task.cycles,
            "report_period": task.report_period, "freeze": list(task.freeze or ()),
            "fix": [one.text.rpartition(" ")[0] for one in task.fix],
            "criteria": None if result is None else result.search,
            "restraints": [restraint.text for restraint in task.restrain],
            "restraint_energy": None if result is None else result.restraint_energy,
            "report_points": self.points.values}}

    def summary(self, result: Result) -> list[str]:
        """That of the last structure, and how the search ended."""
        end = (f"{CONVERGENCE[result.converged]:>18}, {counted(result.cycles, 'cycle')}, "
               f"{counted(result.energy_points, 'energy point')}")
        return summary(result, [line("Search", end), *_criteria(result)])

    def appendix(self, result: Result) -> list[str]:
        """The last structure."""
        return structure(result)


def _criteria(result: Result) -> list[str]:
    """What each criterion came to."""
    return [line(f"  {_CRITERIA[name]}", f"{one['value']:18.6f} {one['unit']}, limit "
                 f"{one['limit']:g}{'' if one['met'] else ', NOT MET'}")
            for name, one in (result.search or {}).items()]


def _frozen(given: Any) -> tuple[int, ...]:
    from orbitrax.molecules.selection import parse_selection

    return parse_selection(given, "--freeze")


def _fixed(given: Any) -> tuple[Restraint, ...]:
    from orbitrax.molecules.restraints import parse_restraints

    several = (given,) if isinstance(given, str) or hasattr(given, "kind") else given
    for one in several:
        if isinstance(one, str) and "k=" in one.lower():
            raise UsageError(f"--fix '{one}': what is held exactly has no force constant; "
                             "--restrain takes one")
    found = parse_restraints(several)
    for one in found:
        if one.kind == "tether":
            raise UsageError("--fix holds a stretch, a bend or a torsion; --freeze holds an atom "
                             "where it is")
    return found


@declared
class Optimize(Task):
    """Moves the atoms downhill to the nearest structure of lowest energy."""

    name: ClassVar[str] = "optimize"
    description: ClassVar[str] = (
        "Moves the atoms downhill to the nearest structure of lowest energy.")
    examples: ClassVar[tuple[str, ...]] = (
        "orbitrax optimize examples/caffeine.xyz -m pm3 -o relaxed.xyz",
        "orbitrax optimize examples/water.xyz -m am1 --limit 0.01 --trajectory path.xyz",
        'orbitrax optimize examples/ethanol.xyz -m mndo --restrain "stretch 1 2 1.6 k=500"',
    )
    calc_kind: ClassVar[int] = OPTIMISATION
    run_type: ClassVar[type[Run]] = Search
    follows_gradient: ClassVar[bool] = True
    files: ClassVar[tuple[str, ...]] = ("molden", "structure")
    file_help: ClassVar[str] = (
        "write the final structure there, in the format of its name (xyz, mol, sdf, pdb, gjf, mop, "
        "cjson, ...; molden: with its orbitals); - prints it as xyz")
    reports_points: ClassVar[bool] = True

    optimizer: str = option(
        QUASI_NEWTON, choices=OPTIMISERS, group=_SEARCH, wire="nOptimiser",
        help="how to go downhill: by quasi-Newton steps in internal coordinates, or in one of the "
             "backend's ways, of which ef, eigenvector following, needs the fewest energies")
    limit: float = option(
        0.1, least=0, unit="kcal/(mol Angstrom)", group=_SEARCH, wire="flRmsGradient", metavar="G",
        help="RMS gradient at convergence, kcal/(mol Angstrom)")
    hessian: str | None = option(
        None, group=_SEARCH, metavar="WHAT",
        help="with --optimizer ef, where the search begins: 'model' the second derivatives by the "
             "bonds (the default), 'compute' them, or take those of a file NAME.npy, which "
             "'vibrations -o' writes")
    cycles: int = option(
        1000, least=0, group=_SEARCH, wire="nMaxCycles", metavar="N", help="most cycles")
    report_period: int = option(
        1, least=0, group=_SEARCH, wire="nReportPeriod", metavar="N",
        help="report every N-th cycle")
    freeze: tuple[int, ...] | None = option(
        None, group=_SEARCH, convert=_frozen, metavar="LIST",
        help="atoms that stay where they are, counted from 1, as in 1-24,31")
    fix: tuple[Restraint, ...] = option(
        (), group=_SEARCH, convert=_fixed, repeated=True, metavar="TEXT",
        help="hold a value exactly: 'stretch 1 2 [LENGTH]', 'bend 1 2 3 [DEGREES]' or 'torsion 1 2 "
             "3 4 [DEGREES]'; without a value what is there is held; may be given again")

    def _check(self) -> None:
        super()._check()
        if self.ci != NO_CI:
            raise UsageError("--ci: there are no searches with configuration interaction; optimise "
                             "without it, then take 'energy --ci' or 'uv' at the minimum")
        if self.optimizer != QUASI_NEWTON and (self.freeze or self.fix):
            raise UsageError(f"--{'freeze' if self.freeze else 'fix'} goes with --optimizer "
                             f"{QUASI_NEWTON} only; --restrain goes with all")
        if self.hessian is not None:
            check_choice(self.hessian)
            if self.optimizer != FOLLOWING:
                raise UsageError(f"--hessian goes with --optimizer {FOLLOWING} only; the others "
                                 "take none")

    @property
    def frozen_atoms(self) -> frozenset[int]:
        """Numbers from 1 of the atoms that stay where they are."""
        return frozenset(self.freeze or ())

    def held(self, molecule: Molecule) -> tuple[Constraint, ...]:
        """What is held exactly, with its value. Raises UsageError for atoms that are not there."""
        import math

        from orbitrax.minimise import Constraint

        found = []
        for one in self.fix:
            one.check(len(molecule))
            target = one.target or one.aimed(molecule.positions).target
            assert target is not None
            value = target[0] if one.kind == "stretch" else math.radians(target[0])
            found.append(Constraint(tuple(atom - 1 for atom in one.atoms), value))
        return tuple(found)

    @property
    def search_wishes(self) -> int:  # type: ignore[override]
        """What eigenvector following does beyond what every client gets."""
        return _CAREFUL if self.optimizer == FOLLOWING else 0

    def fields(self, job: Job) -> dict[str, Any]:
        """Eigenvector following starts from a guess by the bonds, unless it is told another."""
        if self.optimizer != FOLLOWING:
            return super().fields(job)
        return {**super().fields(job), "fModelHessian": 1,
                "fComputeHessian": int(self.hessian == COMPUTE)}

    def first_hessian(self, job: Job) -> bytes | None:
        """What was told, or the model; None where the backend has a guess of its own, too."""
        if self.optimizer != FOLLOWING or self.hessian == COMPUTE:
            return None
        from orbitrax.tasks.start_hessian import of_selected

        return of_selected(self.hessian or MODEL, job)

    def leader(self) -> Callable[..., Result] | None:
        """The search of this side, where that is the chosen one."""
        if self.optimizer != QUASI_NEWTON:
            return None
        from orbitrax.tasks.client_search import lead

        return lead
