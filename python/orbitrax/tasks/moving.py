"""What the tasks that move atoms, by time or by chance, have in common: frames, their means, and
how a run goes on from the file of another."""

from __future__ import annotations

import time
from array import array
from decimal import Decimal

from orbitrax.errors import NotConverged, Stopped, UsageError
from orbitrax.job import NO_CI, Job
from orbitrax.link import events
from orbitrax.molecules.elements import MASSES
from orbitrax.motion.statistics import drift, fluctuation, mean, standard_error
from orbitrax.motion.trajectory import Frame, read_restart
from orbitrax.results.text import counted, line
from orbitrax.settings import declared, option
from orbitrax.tasks.task import Run, Task

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Callable, Sequence
    from typing import Any, ClassVar

    from orbitrax.backend import Backend
    from orbitrax.link.events import Event
    from orbitrax.methods import Method
    from orbitrax.molecules.molecule import Molecule
    from orbitrax.motion.trajectory import Restart
    from orbitrax.results.result import Result
    from orbitrax.tasks.task import Listener

MOTION = "motion"  # heading of the settings
# What the backend does for clients that ask, by the bits of its section of options.
(LONG_NOISE, LAND, SCALED_NOISE, REST_UNMOVING, STATE_REPORTS, MOVABLE_ONLY, DOUBLE_ENERGIES,
 KNOWN_ENERGIES) = (1 << bit for bit in range(8))
SEEDS = 150888  # the generator tells so many apart

_SAME_STATE = 0.01  # kcal/mol, within which two SCFs at one place end
_ACCELERATION = 418.4  # Angstrom/ps^2 of kcal/(mol Angstrom) on an atomic mass unit
_SHOWN_EVERY = 0.1  # s
_COLUMNS = ("step", "time_ps", "potential_energy", "kinetic_energy", "total_energy", "temperature")


def _given_numbers(given: Any) -> tuple[float, ...]:
    from orbitrax.arrays import flat

    return tuple(flat(given))


class Moving(Run):
    """A run of frames. listeners are called with each frame as it comes; first, last: of them;
    columns: numbers of all frames, by name. Whoever sets `stopping` ends the run with the frame
    that comes next, by an error, Stopped, whose `partial` is the result so far."""

    task: Motion
    can_stop: ClassVar[bool] = True

    def __init__(self, task: Task, job: Job):
        super().__init__(task, job)
        self.listeners: list[Callable[[Frame], None]] = []
        self.first: Frame | None = None
        self.last: Frame | None = None
        self.columns = {name: array("d") for name in _COLUMNS}
        self.stopping = False
        self.step_size = self.task.step_of(job)  # ps; None where steps take no time
        self.steps = self.task.steps_of(job)
        self.unconverged = 0  # SCFs that did not converge
        self._velocities: array[float] | None = None
        self._xyz: array[float] | None = None
        self._block: dict[str, Any] = {}
        self._began = self._shown = time.monotonic()
        chosen = job.selected
        self._share = (len(chosen) + len(job.capping)) / len(job.molecule)
        moving = sum(job.molecule.z[i] > 0 for i in chosen)
        self._cooler = (len(chosen) + len(job.capping)) / max(1, moving)

    # ---- frames ---------------------------------------------------------------------------------

    def collect(self, event: Event) -> None:
        """Takes what belongs to frames; the precise results are the last of one."""
        if isinstance(event, events.Velocities):
            self._velocities = event.values
        elif isinstance(event, events.ResultBlock):
            self._block = event.values
        elif isinstance(event, events.Coordinates):
            self._xyz = event.values
        elif isinstance(event, events.Precise):
            self._take(self._frame(event.sections))

    def _frame(self, sections: dict[str, Any]) -> Frame:
        block, task, size = self._block, self.task, self.step_size
        local = round(block["flTime"] if size is None else block["flTime"] / float(size))
        self.unconverged = sections["scf"]["unconverged"]
        return Frame(
            step=task.first_step + local,
            time=None if size is None else task.first_time + local * size,
            places=sections.get("coordinates") or self._xyz or (),
            potential=sections["energies"]["total_energy"],
            kinetic=block["flKineticEnergy"] * self._share,
            temperature=block["flTemperature"] * self._cooler, velocities=self._velocities,
            gradient=sections.get("gradient"),
            converged=not sections["scf"]["unconverged_since"],
            accepted=block["flAcceptRatio"] if size is None else None)

    def _take(self, frame: Frame) -> None:
        if self.last is None:
            self._began, self.first = time.monotonic(), frame
        self.last = frame
        at = 0.0 if frame.time is None else float(frame.time)
        for name, value in zip(_COLUMNS, (frame.step, at, frame.potential, frame.kinetic,
                                          frame.total, frame.temperature)):
            self.columns[name].append(value)
        for listener in self.listeners:
            listener(frame)
        if self.stopping and self.done < self.steps:
            raise Stopped(f"stopped as asked after step {frame.step}{self._at(frame)}")

    @staticmethod
    def _at(frame: Frame) -> str:
        return "" if frame.time is None else f", {frame.time.normalize():f} ps"

    @property
    def done(self) -> int:
        """Steps of this run that are reported."""
        return self.last.step - self.task.first_step if self.last else 0

    @property
    def speed(self) -> float | None:
        """Steps a second; None before there are two frames."""
        passed = time.monotonic() - self._began
        return self.done / passed if self.done and passed > 0 else None

    def progress(self, text: str) -> str | None:
        """Where the run is, ten times a second at most."""
        now = time.monotonic()
        frame = self.last
        if frame is None:
            return text
        if now - self._shown < _SHOWN_EVERY:
            return None
        self._shown = now
        parts = [f"step {frame.step}{self._at(frame)}", *self._shown_of(frame)]
        speed = self.speed
        if speed:
            left = round((self.steps - self.done) / speed)
            parts += [f"{speed:.0f} steps/s" if speed >= 10 else f"{speed:.2f} steps/s",
                      f"{left // 3600}:{left // 60 % 60:02d}:{left % 60:02d} left"]
        return ", ".join(parts)

    def _shown_of(self, frame: Frame) -> list[str]:
        drift = frame.total - self.columns["total_energy"][self._first_of_run()]
        return [f"total {frame.total:.4f} kcal/mol", f"drift {drift:+.4f}",
                f"{frame.temperature:.1f} K"]

    # ---- what it comes to -----------------------------------------------------------------------

    def judge(self, result: Result) -> None:
        """Raises NotConverged where an SCF on the way did not converge: the path is then wrong."""
        if self.unconverged and not self.job.settings.allow_unconverged:
            raise NotConverged(
                f"{counted(self.unconverged, 'SCF')} of the run did not converge within "
                f"{self.job.settings.scf_iterations} iterations, so that forces and path are not "
                "to be believed from there on (scf_converged=F in the trajectory); try a higher "
                "--scf-iterations, --uhf for bonds that break, or a smaller step")

    def follow(self, backend: Backend, result: Result, on_event: Listener | None) -> None:
        """Tells of the state of the electrons at the first and the last frame, from single points
        there: the SCFs of the run follow the state of its first, and are not tested."""
        from orbitrax.session.scf_section import tests_state
        from orbitrax.tasks.client_search import single_point

        one = single_point(self.job)
        if self.first is None or self.last is None or not tests_state(one):
            return
        for name, frame in {"start": self.first, "end": self.last}.items():
            if frame is self.first and name == "end":
                continue
            found = backend.run(one.replace(one.molecule.replace(positions=frame.places)))
            if not found.converged:
                continue
            above = frame.potential - (found.total_energy or frame.potential)
            told = list(found.state_remarks)
            if above > _SAME_STATE:
                told.append(f"the electrons were in an excited state, {above:.2f} kcal/mol above "
                            "the one that a single point finds")
            result.warnings += [f"{name} of the run: {text}" for text in told]

    def _first_of_run(self) -> int:
        """Index of the first frame after a heating."""
        return 0

    def _of_run(self, name: str) -> Sequence[float]:
        """A column between heating and cooling."""
        return self.columns[name]

    def means(self) -> dict[str, Any]:
        """Means of the run, the standard errors of these, fluctuations and drift."""
        found: dict[str, Any] = {}
        for name in ("temperature", "potential_energy", "kinetic_energy", "total_energy"):
            values = self._of_run(name)
            found[name] = {"mean": mean(values), "standard_error": standard_error(values),
                           "fluctuation": fluctuation(values)}
        gain = drift(self._of_run("time_ps"), self._of_run("total_energy"))
        found["drift_kcal_mol_ps"], found["drift_error"] = gain or (None, None)
        return found

    def block(self, result: Result | None) -> dict[str, dict[str, Any]]:
        """The entry of the JSON document: settings, means, and a list for each column."""
        speed = self.speed
        return {self.task.name: {
            **self.told(), "steps": self.done, "wanted_steps": self.steps,
            "unconverged_scfs": self.unconverged, "steps_per_second": speed,
            "acceptance": self.last.accepted if self.last else None, **self.means(),
            "frames": {name: [int(v) for v in values] if name == "step" else list(values)
                       for name, values in self.columns.items()}}}

    def told(self) -> dict[str, Any]:
        """Settings of the task, as the JSON document has them."""
        shared = Task.options
        return {name: float(value) if isinstance(value, Decimal) else value
                for name, value in self.task.to_dict().items()
                if name not in shared and name != "velocities"}

    def summary(self, result: Result) -> list[str]:
        """What was run, and its means."""
        found = self.means()
        lines = [result.heading, "", line("Run", self._run_text()),
                 *self._lines(found), line("SCF", self._scf_text())]
        speed = self.speed
        return lines + ([line("Speed", f"{speed:.4g} steps/s")] if speed else [])

    def _run_text(self) -> str:
        frames = counted(len(self.columns["step"]), "frame")
        return f"{counted(self.done, 'step')}, {frames}"

    def _scf_text(self) -> str:
        return ("converged in every step" if not self.unconverged else
                f"NOT CONVERGED in {counted(self.unconverged, 'step')}")

    def _lines(self, found: dict[str, Any]) -> list[str]:
        return [self._mean_line(label, found[name], unit) for label, name, unit in (
            ("Temperature", "temperature", "K"),
            ("Potential energy", "potential_energy", "kcal/mol"),
            ("Kinetic energy", "kinetic_energy", "kcal/mol"),
            ("Total energy", "total_energy", "kcal/mol"))]

    @staticmethod
    def _mean_line(label: str, found: dict[str, Any], unit: str) -> str:
        if found["mean"] is None:
            return line(label, f"{'not known':>18}")
        error, digits = found["standard_error"], 4 if unit == "kcal/mol" else 1
        about = "" if error is None else f" +- {error:.{digits}f}"
        hint = " (too few frames for an error)" if error is None else ""
        return line(f"Mean {label.lower()}",
                    f"{found['mean']:18.{digits}f}{about} {unit}, "
                    f"fluctuation {found['fluctuation']:.{digits}f}{hint}")

    def again(self, path: str) -> str | None:
        """The command that goes on from a trajectory of this run with what is left of it; None
        where no single one does."""
        rest = self.rest()
        if rest is None:
            return None
        words = ["orbitrax", self.task.name, "--restart", path, "-m", self.job.method.key, *rest]
        for one in self.task.options.values():
            value = getattr(self.task, one.name)
            if one.typed and one.name not in self.task.of_one_leg and value != one.default:
                words += one.written(value)
        return " ".join(_quoted(word) for word in [*words, "-o", path])

    def rest(self) -> list[str] | None:
        """The options that ask for what is left of the run."""
        return None

    def remarks(self) -> dict[str, Any]:
        """What the frames of a trajectory say of the run."""
        job, task, size = self.job, self.task, self.step_size
        return {"task": task.name, "method": job.method.key, "charge": job.charge,
                "multiplicity": job.multiplicity, "spin_treatment": "UHF" if job.uhf else "RHF",
                "selection": None if job.selection is None else _listed(job.selection),
                "timestep_ps": None if size is None else f"{size:f}", "seed": task.seed}


def _quoted(word: str) -> str:
    import shlex

    return shlex.quote(word)


def _listed(atoms: Sequence[int]) -> str:
    return ",".join(map(str, atoms))


@declared
class Motion(Task):
    """Settings of all tasks that move atoms."""

    run_type: ClassVar[type[Run]] = Moving
    files: ClassVar[tuple[str, ...]] = ("motion",)
    file_help: ClassVar[str] = (
        "write the trajectory there: NAME.xyz, extended xyz, from which a run can go on; NAME.traj "
        "for ASE; or a picture of energies and temperature, NAME.png, .svg or .pdf")
    reports_points: ClassVar[bool] = True
    of_one_leg: ClassVar[tuple[str, ...]] = ("restart", "seed", "charge", "multiplicity")

    temperature: float = option(
        300.0, least=0, most=100000, unit="K", group=MOTION, metavar="K", help="temperature, K")
    seed: int | None = option(
        None, least=1, most=SEEDS, group=MOTION, metavar="N",
        help=f"seed of the random numbers, 1 to {SEEDS}; the same seed makes the same run "
             "(default 1; of a run that goes on another one)")
    report_period: int = option(
        10, least=1, group=MOTION, wire="nReportPeriod", metavar="N",
        help="a frame every N-th step")
    restart: str | None = option(
        None, group=MOTION, metavar="FILE",
        help="go on from the last frame of this trajectory, in place of a molecule; with the same "
             "file behind -o frames are added to it")
    velocities: tuple[float, ...] | None = option(
        None, convert=_given_numbers, typed=False,
        help="velocities to start with, n x 3, Angstrom/ps")
    first_step: int = option(0, least=0, typed=False, help="number of the first step")
    first_time: Decimal = option(
        Decimal(0), convert=lambda given: Decimal(str(given)), typed=False,
        help="time of the first step, ps")

    def _check(self) -> None:
        super()._check()
        if self.ci != NO_CI:
            raise UsageError("--ci: nothing moves by a configuration interaction; leave it out, "
                             "then take 'energy --ci' or 'uv' at frames of the trajectory")

    def own_molecule(self) -> Molecule | None:
        """That of the trajectory to go on from."""
        return None if self.restart is None else read_restart(self.restart).molecule

    def start(self, molecule: Molecule, method: Method | str | int) -> Run:
        """A run for a molecule, or one that goes on."""
        task = self
        if self.restart is not None and self.velocities is None:
            task = self._going_on(read_restart(self.restart), Job(molecule, method, self))
        task = task if task.seed is not None else task.replace(seed=1 + task.first_step % SEEDS)
        return task.run_type(task, Job(molecule, method, task))

    def _going_on(self, origin: Restart, job: Job) -> Motion:
        """These settings for a run that starts where another one ended."""
        told = origin.remarks.get("selection")
        chosen = None if job.selection is None else _listed(job.selection)
        if told != chosen:
            raise UsageError(f"{self.restart} was made with "
                             + (f"--select {told}; give it again" if told else "all atoms; leave "
                                "out --select"))
        seed = origin.remarks.get("seed")
        if seed is not None and self.seed is not None and seed == str(self.seed):
            raise UsageError(f"--seed {seed} is that of the run before, whose random numbers would "
                             "come again; take another one, or leave it out")
        return self.replace(velocities=self.velocities_from(origin, job), first_step=origin.step,
                            first_time=origin.time)

    def velocities_from(self, origin: Restart, job: Job) -> tuple[float, ...] | None:
        """Velocities at the time at which this task wants them, from those of a frame, which may
        belong to an earlier moment; the forces of the frame lead from one to the other."""
        velocities = origin.velocities
        if velocities is None:
            raise UsageError(f"{self.restart} has no velocities to go on with; give it as a "
                             "molecule, without --restart, to start with new ones")
        by = self._lag_of(origin) - self.lag(job)  # ps
        if by == 0 or origin.gradient is None:
            return tuple(velocities)
        masses = job.molecule.plain_masses or [MASSES[number] for number in job.molecule.z]
        return tuple(v - float(by) * _ACCELERATION * g / masses[i // 3]
                     for i, (v, g) in enumerate(zip(velocities, origin.gradient)))

    @staticmethod
    def _lag_of(origin: Restart) -> Decimal:
        """How long before its places the velocities of a frame stand, ps."""
        return origin.time_step / 2 if origin.remarks.get("task") == "md" else Decimal(0)

    def velocities_of(self, job: Job) -> Sequence[float] | None:
        """Those of the settings."""
        return self.velocities

    def fields(self, job: Job) -> dict[str, Any]:
        """What all motion tells on the wire."""
        return {"flSimTemp": self.temperature, "flStartTemp": self.temperature,
                "flFinalTemp": self.temperature, "nRandomSeed": self.seed or 1}

    # ---- what each task says --------------------------------------------------------------------

    def lag(self, job: Job) -> Decimal:
        """How long before the places its velocities stand, ps."""
        return Decimal(0)

    def step_of(self, job: Job) -> Decimal | None:
        """The time of a step, ps; None where it takes none."""
        return None

    def steps_of(self, job: Job) -> int:
        """Number of steps."""
        raise NotImplementedError
