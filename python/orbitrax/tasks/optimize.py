"""The task `optimize`: the nearest structure of lowest energy."""

from __future__ import annotations

from orbitrax.errors import NotConverged
from orbitrax.job import OPTIMISATION
from orbitrax.results.text import CONVERGENCE, counted, line, structure, summary, unconverged_scfs
from orbitrax.settings import declared, option
from orbitrax.tasks.report_points import ReportPoints
from orbitrax.tasks.task import Run, Task

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any, ClassVar

    from orbitrax.job import Job
    from orbitrax.link.events import Event
    from orbitrax.results.result import Result

OPTIMISERS = ("steepest-descent", "fletcher-reeves", "polak-ribiere")  # by number

_SEARCH = "search"
_REPORTED = {"nCycles": "cycle", "nEnergyPoints": "energy_points", "flRmsGradient": "rms_gradient"}


class Search(Run):
    """A search, with its report points."""

    task: Optimize

    def __init__(self, task: Task, job: Job):
        super().__init__(task, job)
        self.points = ReportPoints(_REPORTED)

    def collect(self, event: Event) -> None:
        """Takes what belongs to report points."""
        self.points.collect(event)

    def judge(self, result: Result) -> None:
        """Raises NotConverged for a search that has found no minimum."""
        many = unconverged_scfs(result)
        if result.scf_converged is False:
            super().judge(result)
        elif many:
            result.warnings.append(f"{many}, on the way to a structure whose own did")
        if result.converged or self.job.settings.allow_unconverged:
            return
        text = f"the search did not converge within {result.cycles} cycles"
        if result.rms_gradient is not None:
            text += (f" (RMS gradient {result.rms_gradient:.5f} kcal/(mol Angstrom), limit "
                     f"{self.task.limit:g})")
        raise NotConverged(f"{text}; try a higher --cycles or --limit, or another --optimizer")

    def block(self, result: Result | None) -> dict[str, dict[str, Any]]:
        """The entry `optimize` of the JSON document."""
        task = self.task
        return {"optimize": {
            "optimizer": task.optimizer, "limit": task.limit, "max_cycles": task.cycles,
            "report_period": task.report_period,
            "restraints": [restraint.text for restraint in task.restrain],
            "restraint_energy": None if result is None else result.restraint_energy,
            "report_points": self.points.values}}

    def summary(self, result: Result) -> list[str]:
        """That of the last structure, and how the search ended."""
        end = (f"{CONVERGENCE[result.converged]:>18}, {counted(result.cycles, 'cycle')}, "
               f"{counted(result.energy_points, 'energy point')}")
        return summary(result, [line("Search", end)])

    def appendix(self, result: Result) -> list[str]:
        """The last structure."""
        return structure(result)


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
    files: ClassVar[tuple[str, ...]] = ("molden", "structure")
    file_help: ClassVar[str] = (
        "write the final structure there, in the format of its name (xyz, mol, sdf, pdb, gjf, mop, "
        "cjson, ...; molden: with its orbitals); - prints it as xyz")
    reports_points: ClassVar[bool] = True

    optimizer: str = option(
        "polak-ribiere", choices=OPTIMISERS, group=_SEARCH, wire="nOptimiser",
        help="how to go downhill")
    limit: float = option(
        0.1, least=0, unit="kcal/(mol Angstrom)", group=_SEARCH, wire="flRmsGradient", metavar="G",
        help="RMS gradient at convergence, kcal/(mol Angstrom)")
    cycles: int = option(
        1000, least=0, group=_SEARCH, wire="nMaxCycles", metavar="N", help="most cycles")
    report_period: int = option(
        1, least=0, group=_SEARCH, wire="nReportPeriod", metavar="N",
        help="report every N-th cycle")
