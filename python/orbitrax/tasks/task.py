"""What a task is: a value with declared settings, and a run that follows from it.

A task is one module with a subclass of `Task`, and one row in `registry.py`. The class declares the
settings that are its own; those that all calculations share come with it. What a run collects, and
what it does beside its one job, stands in a subclass of `Run`.
"""

from __future__ import annotations

from orbitrax.errors import CalculationFailed, NotConverged, OrbitraxError
from orbitrax.job import Job, JobSettings
from orbitrax.results.states_text import states_lines, states_table
from orbitrax.results.text import curvature, summary, unconverged_scfs

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Callable
    from typing import Any, ClassVar

    from orbitrax.backend import Backend
    from orbitrax.link.events import Event
    from orbitrax.methods import Method
    from orbitrax.molecules.molecule import Molecule
    from orbitrax.results.result import Result

    Listener = Callable[[Event], None]

HALF_ELECTRONS = "half electrons: the gradient"  # how its warnings begin
_OF_THE_MEAN = (
    f"{HALF_ELECTRONS} leaves out what corrects the energy{{where}}, so that structures, "
    "vibrations and motion are those of the mean of several states, and not of the energy that is "
    "told; take --uhf for them")
OF_THE_MEAN = _OF_THE_MEAN.format(where="")


class Run:
    """One run of a task. job: what is calculated."""

    can_stop: ClassVar[bool] = False  # whether setting `stopping` ends it at a good moment
    stopping = False

    def __init__(self, task: Task, job: Job):
        self.task, self.job = task, job

    def execute(self, backend: Backend, on_event: Listener | None = None) -> Result:
        """Runs the task and returns its result, with the blocks that the task adds. Raises
        NotConverged for a result that is not to be believed; `partial` of an error is what there
        is."""
        return self.completed(backend, lambda: backend.run(
            self.job, self._listener(on_event), task=self.task.name), on_event)

    @property
    def is_one_job(self) -> bool:
        """Whether it is its job and nothing else: it listens to no event and asks for no further
        session."""
        own = type(self)
        return (own.execute is Run.execute and own.collect is Run.collect
                and own.follow is Run.follow)

    def completed(self, backend: Backend, calculate: Callable[[], Result],
                  on_event: Listener | None = None) -> Result:
        """The same with the result of the job from `calculate`."""
        try:
            result = calculate()
        except OrbitraxError as error:
            if error.partial is not None:
                error.partial.blocks.update(self.block(error.partial))
            raise
        remark(self.job, result)
        if self.task.follows_gradient:
            warn_of_the_mean(self.job, result)
        try:
            self.judge(result)
            self.follow(backend, result, on_event)
        except (OrbitraxError, KeyboardInterrupt) as error:
            error.partial = result  # type: ignore[union-attr]
            raise
        finally:
            result.blocks.update(self.block(result))
        return result

    def _listener(self, on_event: Listener | None) -> Listener | None:
        """None where nobody wants the events: the backend has less to tell then."""
        if on_event is None and type(self).collect is Run.collect:
            return None

        def listen(event: Event) -> None:
            self.collect(event)
            if on_event is not None:
                on_event(event)

        return listen

    def collect(self, event: Event) -> None:
        """Called with each event of the job."""

    def judge(self, result: Result) -> None:
        """Raises NotConverged for a result that is not to be believed."""
        result.warnings += result.state_remarks
        if not self.job.settings.allow_unconverged:
            judge_scf(self.job, result)
            judge_states(result)
        if result.states is not None:
            result.warnings += result.states.doubts(result.plain("orbital_energies") or ())

    def follow(self, backend: Backend, result: Result, on_event: Listener | None) -> None:
        """Called after the job, with the backend that still holds what the job has left."""

    def progress(self, text: str) -> str | None:
        """What is shown while it works, for a status line of the backend; None for what is shown
        already."""
        return text

    def block(self, result: Result | None) -> dict[str, dict[str, Any]]:
        """The task's own entries of the JSON document; result: None if nothing was begun."""
        if result is None or result.states is None:
            return {}
        return {"ci": {"kind": result.states.kind, "wanted": result.states.wanted,
                       "states": result.states.to_list()}}

    def summary(self, result: Result) -> list[str]:
        """The lines that a person reads."""
        if result.states is None:
            return summary(result)
        return [*summary(result), "", *states_lines(result.states), "",
                *states_table(result.states)]

    def appendix(self, result: Result) -> list[str]:
        """Lines that follow those unless a file has what they say."""
        return []


class Task(JobSettings):
    """A task with its settings.

    name: as it is typed. description, examples: for those who ask for help. run_type: its runs.
    files: the kinds of files that it can write, see `orbitrax.cli.outputs`; file_help: what is said
    of them. default_method: the method where none is given, None for a task that must be told.
    reports_points: whether its runs have `points`, which make a trajectory. for_orbitals:
    the task that is run in its place where only the orbitals are wanted, None for itself.
    follows_gradient: whether its result is made of gradients.
    """

    name: ClassVar[str]
    description: ClassVar[str]
    examples: ClassVar[tuple[str, ...]] = ()
    run_type: ClassVar[type[Run]] = Run
    files: ClassVar[tuple[str, ...]] = ("molden", "text")
    file_help: ClassVar[str] = (
        "write there what would be printed, or NAME.molden: the orbitals, for programs that show "
        "them")
    default_method: ClassVar[str | None] = None
    reports_points: ClassVar[bool] = False
    for_orbitals: ClassVar[type[Task] | None] = None
    follows_gradient: ClassVar[bool] = False

    def own_molecule(self) -> Molecule | None:
        """The molecule where the settings themselves tell of one."""
        return None

    def start(self, molecule: Molecule, method: Method | str | int) -> Run:
        """A run for a molecule. Raises UsageError where the two do not fit."""
        return self.run_type(self, Job(molecule, method, self))


def remark(job: Job, result: Result) -> None:
    """Adds what is odd about a result."""
    from orbitrax.results.odd import oddities

    result.remarks += oddities(result, job.molecule)


def of_the_mean(job: Job, result: Result) -> str | None:
    """The warning of gradients that are not those of the energy, None where all are."""
    forces = result.blocks.get("half_electrons")
    if not job.half_electrons:
        return None
    if forces is None:
        return OF_THE_MEAN
    count = forces["gradients_of_mean"]
    times = f" {count} time{'s' * (count > 1)}, since {forces['reason']}"
    return _OF_THE_MEAN.format(where=times) if count else None


def warn_of_the_mean(job: Job, result: Result) -> None:
    """Adds that warning, where there is one."""
    text = of_the_mean(job, result)
    if text is not None and text not in result.warnings:
        result.warnings.append(text)


def judge_scf(job: Job, result: Result) -> None:
    """Raises NotConverged for an SCF that has not converged, the only one of a job or one of
    many, and for a state that is no minimum."""
    if not result.scf_unconverged:
        judge_state(result)
        return
    many = unconverged_scfs(result)
    settings, last = job.settings, result.final_scf_difference
    text = (f"{many} within {settings.scf_iterations} iterations" if many else
            f"the SCF iterations did not converge within {settings.scf_iterations}")
    if last is not None:
        text += f" (last difference {last:.5f} kcal/mol, limit {settings.scf_limit:g})"
    other = "--no-diis" if settings.diis else "--diis"
    raise NotConverged(f"{text}; try a higher --scf-iterations, {other}, another "
                       "--level-shift-start, or --uhf")


def judge_way(job: Job, result: Result) -> None:
    """Raises NotConverged for a search that went past SCFs that have not converged: it may have led
    to another minimum than the one next to its start."""
    many = unconverged_scfs(result)
    if not many or result.scf_converged is False:
        return
    text = f"{many}, on the way to a structure whose own did"
    if job.settings.allow_unconverged:
        result.warnings.append(text)
        return
    result.converged = False
    raise NotConverged(f"{text}; search again from this structure, or with a higher "
                       "--scf-iterations")


def judge_state(result: Result) -> None:
    """Raises NotConverged for a state that is no minimum."""
    scf = result.blocks.get("scf")
    if scf is not None and scf["state"] == "unstable":
        raise NotConverged(
            f"the SCF converged to a state that is no minimum (lowest curvature "
            f"{curvature(scf, 'lowest')}), and a lower one was not reached; try --uhf, "
            "another --multiplicity, or --stability follow")


def judge_states(result: Result) -> None:
    """Raises CalculationFailed for states that all refer to one that is not the ground state."""
    states = result.states
    below = [] if states is None else states.below()
    if states is None or not below:
        return
    lowest = min(below, key=lambda one: one.energy)
    raise CalculationFailed(
        f"a state with S={lowest.spin:.2f} lies {-lowest.energy:.2f} eV below the first "
        f"{states[0].spin_name}, to which energies and strengths refer: single excitations of an "
        "open shell do not make whole spins; mix microstates of a few orbitals instead "
        "(--microstates of uv, --ci microstates), or take another --window")
