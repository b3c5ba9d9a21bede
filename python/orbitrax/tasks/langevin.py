"""The task `langevin`: dynamics with friction and random forces."""

from __future__ import annotations

from orbitrax.job import LANGEVIN
from orbitrax.results.text import line
from orbitrax.settings import declared, option
from orbitrax.tasks.moving import LAND, LONG_NOISE, MOTION, REST_UNMOVING, SCALED_NOISE
from orbitrax.tasks.timed import Timed, TimedRun

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any, ClassVar

    from orbitrax.job import Job
    from orbitrax.tasks.task import Run


class LangevinRun(TimedRun):
    """A run in a bath, whose energy comes and goes."""

    task: Langevin

    @property
    def keeps_energy(self) -> bool:
        """Without friction, and the random forces that belong to it."""
        return self.task.friction == 0

    def _lines(self, found: dict[str, Any]) -> list[str]:
        return [*super()._lines(found),
                line("Bath", f"{self.task.temperature:g} K, friction {self.task.friction:g}/ps")]


@declared
class Langevin(Timed):
    """Moves the atoms with friction and random forces, at one temperature."""

    name: ClassVar[str] = "langevin"
    description: ClassVar[str] = (
        "Moves the atoms by the Langevin equation, with friction and random forces that hold the "
        "temperature. It samples the canonical ensemble.")
    examples: ClassVar[tuple[str, ...]] = (
        "orbitrax langevin examples/ethanol.xyz -m am1 --time 2ps -o run.xyz",
        "orbitrax langevin examples/water_dimer.xyz -m pm3 --temperature 200 --friction 20",
        "orbitrax langevin --restart run.xyz -m am1 --time 2ps -o run.xyz",
    )
    calc_kind: ClassVar[int] = LANGEVIN
    motion_wishes: ClassVar[int] = LONG_NOISE | LAND | SCALED_NOISE | REST_UNMOVING
    run_type: ClassVar[type[Run]] = LangevinRun

    friction: float = option(
        10.0, least=0, most=1000, unit="1/ps", group=MOTION, wire="flFriction", metavar="F",
        help="friction, 1/ps")

    def fields(self, job: Job) -> dict[str, Any]:
        """The schedule, without a bath beside the friction."""
        return {**super().fields(job), "fTempBath": 0}
