"""The task `md`: Newton's equations."""

from __future__ import annotations

from decimal import Decimal

from orbitrax.errors import UsageError
from orbitrax.job import MOLECULAR_DYNAMICS
from orbitrax.motion.schedule import as_float, format_time
from orbitrax.results.text import line
from orbitrax.settings import declared, option
from orbitrax.tasks.moving import LAND, MOTION, REST_UNMOVING
from orbitrax.tasks.timed import Timed, TimedRun, duration

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any, ClassVar

    from orbitrax.job import Job
    from orbitrax.tasks.task import Run


class DynamicsRun(TimedRun):
    """A run by Newton's equations, which keeps its energy where there is no bath."""

    task: MolecularDynamics

    @property
    def keeps_energy(self) -> bool:
        """Without a bath."""
        return self.task.bath is None

    def _lines(self, found: dict[str, Any]) -> list[str]:
        lines, drift = super()._lines(found), found["drift_kcal_mol_ps"]
        if self.task.bath is not None:
            lines.append(line("Bath", f"{self.task.temperature:g} K, relaxing in "
                                      f"{format_time(self.task.bath)}"))
        elif drift is not None:
            atoms = len(self.job.selected)
            lines.append(line("Drift of the total",
                              f"{drift:18.4f} +- {found['drift_error']:.4f} kcal/mol/ps "
                              f"({drift / atoms:.5f} an atom)"))
        return lines


@declared
class MolecularDynamics(Timed):
    """Moves the atoms by Newton's equations, with or without a bath."""

    name: ClassVar[str] = "md"
    description: ClassVar[str] = (
        "Moves the atoms by Newton's equations: at constant energy, with a bath, heated or "
        "cooled. From a minimum, half of the heat goes into the bonds: give the molecule a bath, "
        "or `langevin`, to come to a temperature, and go on from there.")
    examples: ClassVar[tuple[str, ...]] = (
        'orbitrax md --smiles O -m am1 --time 1ps --temperature 300 -o run.xyz',
        "orbitrax md examples/ethanol.xyz -m pm3 --bath 0.1ps -o warm.xyz",
        "orbitrax md --restart warm.xyz -m pm3 --time 2ps --trajectory run.xyz -o run.png",
        "orbitrax md examples/ethanol.xyz -m am1 --heat-time 0.2ps --cool-time 0.2ps --cool-to 50",
    )
    calc_kind: ClassVar[int] = MOLECULAR_DYNAMICS
    motion_wishes: ClassVar[int] = LAND | REST_UNMOVING
    run_type: ClassVar[type[Run]] = DynamicsRun

    bath: Decimal | None = option(
        None, convert=duration, group=MOTION, metavar="TIME",
        help="pull the temperature of the run to --temperature, with this relaxation time, as in "
             "0.1ps (default: constant energy)")

    def _check(self) -> None:
        super()._check()
        if self.bath is not None and not self.bath > 0:
            raise UsageError("--bath 0: the bath needs a relaxation time above 0, as in 0.1ps")

    def lag(self, job: Job) -> Decimal:
        """Half a step: velocities stand between the places."""
        return self.step_of(job) / 2

    def fields(self, job: Job) -> dict[str, Any]:
        """The schedule and the bath."""
        return {**super().fields(job), "fTempBath": int(self.bath is not None),
                "flBathRelaxTime": as_float(self.bath or 0)}
