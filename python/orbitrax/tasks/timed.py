"""What dynamics in time have in common: steps, heating and cooling."""

from __future__ import annotations

from decimal import Decimal

from orbitrax.errors import NotConverged, UsageError
from orbitrax.motion.schedule import LEAST_STEP, MOST_STEPS, format_time, parse_time, plan_run
from orbitrax.motion.statistics import mean
from orbitrax.results.text import counted
from orbitrax.settings import declared, option
from orbitrax.tasks.moving import MOTION, Motion, Moving

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Sequence
    from typing import Any, ClassVar

    from orbitrax.job import Job
    from orbitrax.motion.schedule import Schedule
    from orbitrax.results.result import Result
    from orbitrax.tasks.task import Run, Task

_WITH_HYDROGEN, _WITHOUT = Decimal("0.0005"), Decimal("0.001")  # ps
_LONGEST_STEP = Decimal("0.02")  # ps

# How far the total energy may move where it should stay, in mean kinetic energies: 0.1 with steps
# of 1 fs and hydrogen, 0.7 at 2 fs, above 1 where atoms run away; where it only wavers, as in hot
# hydrogen fluoride at 1 fs, by 1.2, it comes back. And what may always be.
_POOR, _LOST = 0.25, 1.0
_SMALL = 1.0  # kcal/mol
_HOT, _ROOM = 10.0, 300.0  # temperatures asked for that no bath lets go by, and the least, K


def duration(given: Any) -> Decimal:
    """A time: a text with its unit, or a number of ps."""
    if isinstance(given, Decimal):
        return given
    return parse_time(given, None if isinstance(given, str) else "ps")


def step_size(given: Any) -> Decimal:
    """A time that can be a step."""
    found = duration(given)
    if not LEAST_STEP <= found <= _LONGEST_STEP:
        raise UsageError(f"--step {given}: a step should be from 0.001fs to 20fs; 0.5fs is good "
                         "with hydrogen, 1fs without")
    return found


class TimedRun(Moving):
    """A run of heating, run and cooling."""

    task: Timed

    def __init__(self, task: Task, job: Job):
        super().__init__(task, job)
        self.plan: Schedule = self.task.plan(job)

    @property
    def keeps_energy(self) -> bool:
        """Whether nothing gives or takes energy between heating and cooling."""
        raise NotImplementedError

    def judge(self, result: Result) -> None:
        """Raises NotConverged, too, for a step that is too long for this motion."""
        super().judge(result)
        totals, kinetic = self._of_run("total_energy"), mean(self._of_run("kinetic_energy")) or 0.0
        if self.keeps_energy and totals:
            moved = max(totals) - min(totals)
            text = (f"the total energy should stay and moved by {moved:.1f} kcal/mol, where the "
                    f"kinetic energy was {kinetic:.1f}: ")
            away = abs((mean(totals[len(totals) // 2:]) or 0.0) - totals[0])  # and does not waver
            if away > max(_SMALL, _LOST * kinetic):
                self._lost(text)
            elif moved > max(_SMALL, _POOR * kinetic):
                result.warnings.append(f"{text}take a smaller --step than {self._step_text()}")
        elif totals:
            latest = self._of_run("temperature")[len(totals) // 2:]
            hot = mean(latest) or 0.0
            if hot > _HOT * max(self.task.temperature, _ROOM):
                self._lost(f"the second half of the run had {hot:.0f} K in place of "
                           f"{self.task.temperature:g}: ")

    def _lost(self, text: str) -> None:
        if not self.job.settings.allow_unconverged:
            raise NotConverged(
                f"{text}a step of {self._step_text()} does not follow this motion, and the path is "
                "not to be believed; take a smaller --step, a lower --temperature or a relaxed "
                "start")

    def _step_text(self) -> str:
        return format_time(self.plan.step)

    def means(self) -> dict[str, Any]:
        """With a drift only where the energy should stay."""
        found = super().means()
        if not self.keeps_energy:
            found["drift_kcal_mol_ps"] = found["drift_error"] = None
        return found

    def _first_of_run(self) -> int:
        return self._bounds()[0]

    def _of_run(self, name: str) -> Sequence[float]:
        first, end = self._bounds()
        return self.columns[name][first:end]

    def _bounds(self) -> tuple[int, int]:
        """Indices of the frames between heating and cooling; all frames before there are any. The
        frame at the end of the heating comes right after a scaling, and is left out."""
        period, count = self.task.report_period, len(self.columns["step"])
        heating, run = self.plan.heating.steps, self.plan.run
        first = heating // period + 1 if heating else 0
        end = (heating + run) // period + 1 if self.plan.cooling.steps else count
        return (first, min(end, count)) if first < min(end, count) else (0, count)

    def rest(self) -> list[str] | None:
        """What is left of the run, before which the heating is over."""
        heating, left = self.plan.heating.steps, self.steps - self.done
        if self.done < heating or left <= self.plan.cooling.steps:
            return None
        time = (left - self.plan.cooling.steps) * self.plan.step
        return ["--time", format_time(time).replace(" ", "")]

    def told(self) -> dict[str, Any]:
        """Settings and the lengths that were made of them."""
        plan = self.plan
        return {**super().told(), "step": float(plan.step), "heating_steps": plan.heating.steps,
                "run_steps": plan.run, "cooling_steps": plan.cooling.steps,
                "start_temperature": plan.start}

    def _run_text(self) -> str:
        size, plan = self.plan.step, self.plan
        parts = [f"{format_time(self.done * size)}, {counted(self.done, 'step')} of "
                 f"{format_time(size)}, {counted(len(self.columns['step']), 'frame')}"]
        if plan.heating.steps:
            parts.append(f"heated from {plan.start:g} to {plan.temperature:g} K in "
                         f"{format_time(plan.heating.steps * size)}")
        if plan.cooling.steps:
            parts.append(f"cooled to {plan.end:g} K in {format_time(plan.cooling.steps * size)}")
        return "; ".join(parts)


@declared
class Timed(Motion):
    """Settings of dynamics in time."""

    run_type: ClassVar[type[Run]] = TimedRun
    follows_gradient: ClassVar[bool] = True
    of_one_leg: ClassVar[tuple[str, ...]] = (*Motion.of_one_leg, "time", "heat_time", "heat_from")

    time: Decimal = option(
        Decimal(1), convert=duration, group=MOTION, metavar="TIME",
        help="how long, as in 500fs or 2ps, heating and cooling apart (default 1ps)")
    step: Decimal | None = option(
        None, convert=step_size, group=MOTION, metavar="TIME",
        help="the time step (default 0.5fs with hydrogen, 1fs without)")
    heat_time: Decimal = option(
        Decimal(0), convert=duration, group=MOTION, metavar="TIME",
        help="heat for so long, in steps of --temperature-step, before the run (default none)")
    heat_from: float | None = option(
        None, least=0, most=100000, unit="K", group=MOTION, metavar="K",
        help="where the heating starts, K (default one temperature step)")
    cool_time: Decimal = option(
        Decimal(0), convert=duration, group=MOTION, metavar="TIME",
        help="cool for so long after the run (default none)")
    cool_to: float | None = option(
        None, least=0, most=100000, unit="K", group=MOTION, metavar="K",
        help="where the cooling ends, K")
    temperature_step: float = option(
        10.0, above=0, unit="K", group=MOTION, metavar="K",
        help="about how much heating and cooling change the temperature at once, K")

    def _check(self) -> None:
        super()._check()
        if self.heat_from is not None and not self.heat_time:
            raise UsageError("--heat-from needs to know how long to heat: --heat-time 0.2ps")
        if bool(self.cool_time) != (self.cool_to is not None):
            raise UsageError("cooling needs both --cool-to and --cool-time")

    def step_of(self, job: Job) -> Decimal:
        """What was asked for, else by the lightest element."""
        if self.step is not None:
            return self.step
        return _WITH_HYDROGEN if any(job.molecule.z[i] == 1 for i in job.selected) else _WITHOUT

    def plan(self, job: Job) -> Schedule:
        """The run in steps."""
        return plan_run(self.step_of(job), self.time, self.temperature, self.heat_time,
                        self.heat_from or 0.0, self.cool_time, self.cool_to or 0.0,
                        self.temperature_step)

    def steps_of(self, job: Job) -> int:
        """Heating, run and cooling."""
        plan = self.plan(job)
        if plan.steps > 2 * MOST_STEPS:
            raise UsageError(f"{plan.steps} steps are more than one run can count; run it in parts "
                             "with --restart")
        return plan.steps

    def fields(self, job: Job) -> dict[str, Any]:
        """The schedule, beside what all motion tells."""
        return {**super().fields(job), **self.plan(job).fields()}
