"""Runs a task from the command line: reads the molecule, follows the job, writes what comes of
it."""

from __future__ import annotations

import _signal as signal
import os
import sys
import time

from orbitrax.cli.command import CommandSettings
from orbitrax.cli.outputs import choose_output
from orbitrax.cli.outputs.text import TextSink
from orbitrax.cli.terminal import Terminal
from orbitrax.errors import (Interrupted, MoleculeError, NotConverged, OrbitraxError, Stopped,
                             Terminated, TimeLimitExceeded, UsageError)
from orbitrax.interrupts import heard
from orbitrax.link import events
from orbitrax.memory import forecast
from orbitrax.molecules.reading import check_place_of, from_smiles, read_molecule

_SLOW = 2.0  # s

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any

    from orbitrax.backend import Backend
    from orbitrax.cli.outputs import Output
    from orbitrax.link.events import Event
    from orbitrax.molecules.molecule import Molecule
    from orbitrax.results.result import Result
    from orbitrax.tasks.task import Run, Task


def run_task(kind: type[Task], values: dict[str, Any]) -> int:
    """Runs a task with the values that were typed; returns the exit status. Raises UsageError for
    values that cannot be."""
    source = values.get("molecule")
    if isinstance(source, list) or (isinstance(source, str) and source.endswith("@:")):
        from orbitrax.cli.several import run_several

        return run_several(kind, values, source if isinstance(source, list) else [source])
    command = CommandSettings(**{name: value for name, value in values.items()
                                 if name in CommandSettings.options})
    given = {name: value for name, value in values.items() if name in kind.options}
    if "log_level" in given and not (command.log or command.json):
        raise UsageError("--log-level says how much --log and --json report; add one of them")
    output = choose_output(kind, command)
    task = output.task(kind, given).replace(**output.needs)
    if command.json or command.log:
        task = task.replace(log_level=task.log_level or 0)
    return TaskCommand(command, task, output).run()


class TaskCommand:
    """One run of a task from the command line."""

    def __init__(self, command: CommandSettings, task: Task, output: Output):
        self.command, self.task, self.output = command, task, output
        self.sink = TextSink(output.text_path)
        self.terminal = Terminal(command.quiet, command.color, shares=(
            command.log and self.sink.path is None and sys.stdout.isatty()))
        self._run: Run | None = None
        self._told, self._in_cycles = time.monotonic(), False  # when, and of what, a line was shown

    def run(self) -> int:
        """Runs the task; returns the exit status. Whatever ends it early, what there is is
        written."""
        failure: OrbitraxError | None = None
        result: Result | None = None
        try:
            self.sink.check()
            self.output.check(self.task)
            self._check_apart()
            result = self._calculate()
        except OrbitraxError as error:
            result, failure = error.partial, _with_limit(error, self.command.time_limit)
        except KeyboardInterrupt as error:
            result, failure = getattr(error, "partial", None), _interruption(error)
        self.terminal.end_progress()
        if failure is not None:
            self.terminal.error(failure.typed)
        before = _deaf()
        try:
            failure = self._keep(result, failure)
        finally:
            _hear(before)
        return failure.exit_status if failure else 0

    def _check_apart(self) -> None:
        if self.command.output is None and self.command.trajectory is None:
            return
        from orbitrax.files import check_apart

        command = self.command
        check_apart([command.output, command.trajectory])
        is_whole = command.molecule is not None and os.path.exists(command.molecule)  # not NAME@0
        takes_place = self.output.takes_molecules_place and is_whole
        check_apart([command.trajectory] if takes_place else
                    [command.output, command.trajectory], [command.molecule])
        if takes_place:
            check_place_of(command.output, command.molecule, command.format)

    def _keep(self, result: Result | None, failure: OrbitraxError | None) -> OrbitraxError | None:
        """Writes and says what there is; returns the failure, or that of the writing."""
        try:
            self.output.finish(self._run, result)
            self._tell_how_to_go_on(failure)
        except OrbitraxError as error:
            self.terminal.error(error.typed)
            failure = failure or error
        self._tell_warnings(result, failure)
        self._write(result, failure)
        try:
            self.sink.close()
        except OrbitraxError as error:
            self.terminal.error(error.typed)
            failure = failure or error
        return failure

    def _tell_how_to_go_on(self, failure: OrbitraxError | None) -> None:
        points = getattr(self._run, "points", None)
        if failure is None or points is None or points.last is None:
            return
        path, cycle = self.command.output, points.last.values["cycle"]
        if path is not None and self.output.text_path is None and path != "-":
            self.terminal.note(f"the structure of cycle {cycle} is in {path}; go on with: orbitrax "
                               f"{self.task.name} {path} -m {self.command.method} ...")

    # ---- the calculation ------------------------------------------------------------------------

    def _calculate(self) -> Result:
        command, terminal = self.command, self.terminal
        if command.time_limit is None:
            molecule = self._molecule()
        else:
            from orbitrax.cli.stopping import reading_until

            with reading_until(command.time_limit):
                molecule = self._molecule()
        method = command.method or self.task.default_method or ""
        run = self._run = self.task.start(molecule, method)
        self.output.follow(run, terminal)
        large = forecast([run.job.molecule.z[i] for i in run.job.selected])
        if large is not None:
            terminal.note(large)
        if run.job.selection is not None and molecule.plain_charges is None:
            terminal.warning("the atoms outside the selection carry no charges in this file and "
                             "have no effect but to end cut bonds")
        with command.started() as backend:
            result = self._followed(run, backend)
        return result

    def _followed(self, run: Run, backend: Backend) -> Result:
        if not run.can_stop:
            return run.execute(backend, self._show)
        from orbitrax.cli.stopping import stopped_by_keyboard

        with stopped_by_keyboard(run, self.terminal):
            return run.execute(backend, self._show)

    def _show(self, event: Event) -> None:
        if isinstance(event, events.StatusLine):
            text = self._run.progress(event.text) if self._run is not None else event.text
            if text is not None:
                self.terminal.progress(text + self._pace(text))
        elif isinstance(event, events.LogLine) and self.command.log:
            self.sink.write(event.text + "\n")

    def _pace(self, text: str) -> str:
        """How long a cycle takes, of those that take long: what is shown of them stands still."""
        now = time.monotonic()
        since, self._told = now - self._told, now
        return f" ({since:.0f} s a cycle)" if self._cycles(text) and since > _SLOW else ""

    def _cycles(self, text: str) -> bool:
        """Whether this line and the one before it are of cycles."""
        before, self._in_cycles = self._in_cycles, "ycle" in text or "Iter" in text
        return before and self._in_cycles

    def _molecule(self) -> Molecule:
        command = self.command
        own = self.task.own_molecule()
        if own is not None:
            if command.molecule is not None or command.smiles is not None:
                raise UsageError("a run that goes on takes its molecule from there; give no other")
            return own
        if command.smiles is not None:
            if command.molecule is not None:
                raise UsageError("give a molecule file or --smiles, not both")
            return from_smiles(command.smiles)
        if command.molecule is None:
            raise UsageError("a molecule is needed: a file, - for standard input, or --smiles TEXT")
        if command.molecule == "-" and sys.stdin is None:
            raise MoleculeError("- reads a molecule from standard input, which is closed")
        if command.molecule == "-" and sys.stdin.isatty():
            raise MoleculeError("- reads a molecule from standard input, which is the keyboard")
        return read_molecule(command.molecule, command.format, complete=command.add_hydrogens)

    # ---- what is said ---------------------------------------------------------------------------

    def _tell_warnings(self, result: Result | None, failure: OrbitraxError | None) -> None:
        if result is None:
            return
        for text in result.warnings:
            self.terminal.warning(text)
        for text in result.errors if failure is None else ():
            self.terminal.error(text)

    def _write(self, result: Result | None, failure: OrbitraxError | None) -> None:
        command = self.command
        shown = failure is None or isinstance(failure, (NotConverged, Stopped))
        points = getattr(self._run, "points", None)
        if isinstance(failure, (Interrupted, TimeLimitExceeded)) and points and points.last:
            shown = result is not None and result.total_energy is not None  # not lost
        if command.json:
            from orbitrax.tasks.outcome import outcome

            document = outcome(self.task.name, self._run, result, failure)
            self._write_json(document)
        elif self.output.takes_standard_output:
            return
        elif shown and not command.log and not (command.quiet and not self.output.text_path):
            assert self._run is not None and result is not None
            lines = self._run.summary(result)
            if command.output is None:
                lines = lines + self._run.appendix(result)
            self.sink.write("".join(f"{line}\n" for line in lines))

    # ---- JSON -----------------------------------------------------------------------------------

    def _write_json(self, document: dict[str, Any]) -> None:
        import json

        document["task"] = self.task.name  # not that of a first stage
        self.sink.write(json.dumps(document, allow_nan=False) + "\n")


def _with_limit(error: OrbitraxError, limit: float | None) -> OrbitraxError:
    """The error; one about the time limit names it."""
    if isinstance(error, TimeLimitExceeded) and limit is not None:
        error.args = (error.typed.replace("the time limit passed",
                                          f"the time limit of {limit:g} s passed"),)
    return error


def _interruption(error: KeyboardInterrupt) -> Interrupted:
    """What is said of Ctrl-C, and of other signals."""
    found = Interrupted("interrupted")
    if isinstance(error, Terminated):
        found = Interrupted(f"asked to end ({error.signal_name})")
        found.exit_status = error.exit_status
    return found


def _deaf() -> dict[int, Any]:
    """Further signals wait until what there is has been written. Returns who heard them before."""
    try:
        return {number: signal.signal(number, signal.SIG_IGN) for number in heard()}
    except ValueError:  # outside the main thread
        return {}


def _hear(before: dict[int, Any]) -> None:
    for number, handler in before.items():
        signal.signal(number, handler)
