"""The task `montecarlo`: structures at one temperature, by trial moves."""

from __future__ import annotations

from orbitrax.job import MONTE_CARLO
from orbitrax.motion.schedule import MOST_STEPS
from orbitrax.results.text import counted, line
from orbitrax.settings import declared, option
from orbitrax.tasks.moving import (DOUBLE_ENERGIES, KNOWN_ENERGIES, MOTION, MOVABLE_ONLY,
                                   STATE_REPORTS, Motion, Moving)

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any, ClassVar

    from orbitrax.job import Job
    from orbitrax.motion.trajectory import Frame, Restart
    from orbitrax.results.result import Result
    from orbitrax.tasks.task import Run

_FEW = 0.03  # of the moves: so few, or all but so few, make no sample
_ENOUGH_MOVES = 100  # from which on that is seen


class Sampling(Moving):
    """A walk through structures."""

    task: MonteCarlo

    def means(self) -> dict[str, Any]:
        """Of the potential energy alone: nothing moves in time."""
        found = super().means()
        return {"potential_energy": found["potential_energy"]}

    def _lines(self, found: dict[str, Any]) -> list[str]:
        accepted = self.last.accepted if self.last else None
        lines = [self._mean_line("Potential energy", found["potential_energy"], "kcal/mol")]
        if accepted is not None:
            lines.append(line("Accepted", f"{100 * accepted:18.2f} % of the trial moves"))
        return lines

    def judge(self, result: Result) -> None:
        """Warns where almost all moves, or almost none, were taken: the structures are then those
        next to the start."""
        super().judge(result)
        accepted, moves = self.last.accepted if self.last else None, self.done * self._movable
        if accepted is None or moves < _ENOUGH_MOVES or not self.task.temperature:
            return
        if accepted < _FEW or accepted > 1.0 - _FEW:
            result.warnings.append(
                f"{100 * accepted:.1f} % of {moves} trial moves were taken, so that the structures "
                "are still those next to the start and the mean says little; take a "
                f"{'smaller' if accepted < _FEW else 'larger'} --displacement than "
                f"{self.task.displacement:g} Angstrom")

    @property
    def _movable(self) -> int:
        """Atoms that are tried in a sweep."""
        return sum(self.job.molecule.z[i] > 0 for i in self.job.selected)

    def rest(self) -> list[str]:
        """The sweeps that are left."""
        return ["--sweeps", str(self.steps - self.done)]

    def _run_text(self) -> str:
        return (f"{counted(self.done, 'sweep')} at {self.task.temperature:g} K, displacements up "
                f"to {self.task.displacement:g} Angstrom, "
                f"{counted(len(self.columns['step']), 'frame')}")

    def _shown_of(self, frame: Frame) -> list[str]:
        return [f"potential {frame.potential:.4f} kcal/mol",
                f"{100 * (frame.accepted or 0):.1f} % accepted"]


@declared
class MonteCarlo(Motion):
    """Samples structures at one temperature by trial moves of one atom at a time."""

    name: ClassVar[str] = "montecarlo"
    description: ClassVar[str] = (
        "Samples structures at one temperature: every sweep tries to move each atom, and takes or "
        "leaves the move by the rule of Metropolis.")
    examples: ClassVar[tuple[str, ...]] = (
        "orbitrax montecarlo examples/water.xyz -m am1 --sweeps 2000 -o walk.xyz",
        "orbitrax montecarlo examples/water_dimer.xyz -m pm3 --temperature 100 --displacement 0.05",
        "orbitrax montecarlo --restart walk.xyz -m am1 --sweeps 2000 -o walk.xyz",
    )
    calc_kind: ClassVar[int] = MONTE_CARLO
    motion_wishes: ClassVar[int] = (
        STATE_REPORTS | MOVABLE_ONLY | DOUBLE_ENERGIES | KNOWN_ENERGIES)
    run_type: ClassVar[type[Run]] = Sampling
    of_one_leg: ClassVar[tuple[str, ...]] = (*Motion.of_one_leg, "sweeps")

    sweeps: int = option(
        1000, least=1, most=MOST_STEPS, group=MOTION, metavar="N",
        help="how often each atom is tried")
    displacement: float = option(
        0.1, least=1e-6, most=100, unit="Angstrom", group=MOTION, metavar="A",
        help="farthest trial move along each axis, Angstrom; about half of the moves should be "
             "accepted")

    def velocities_from(self, origin: Restart, job: Job) -> None:
        """Nothing has a velocity here."""

    def steps_of(self, job: Job) -> int:
        """Its sweeps."""
        return self.sweeps

    def fields(self, job: Job) -> dict[str, Any]:
        """Counts in the places of times."""
        return {**super().fields(job), "flRunTime": float(self.sweeps), "flHeatTime": 0.0,
                "flCoolTime": 0.0, "flTimeStep": self.displacement}
