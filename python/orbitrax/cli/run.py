"""Runs a task from the command line: reads the molecule, follows the job, writes what comes of
it."""

from __future__ import annotations

import sys

from orbitrax.backend import Backend
from orbitrax.cli.command import CommandSettings
from orbitrax.cli.outputs import choose_output
from orbitrax.cli.outputs.text import TextSink
from orbitrax.cli.terminal import Terminal
from orbitrax.errors import MoleculeError, NotConverged, OrbitraxError, UsageError
from orbitrax.link import events
from orbitrax.molecules.reading import from_smiles, read_molecule

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any

    from orbitrax.cli.outputs import Output
    from orbitrax.link.events import Event
    from orbitrax.molecules.molecule import Molecule
    from orbitrax.results.result import Result
    from orbitrax.tasks.task import Run, Task


def run_task(kind: type[Task], values: dict[str, Any]) -> int:
    """Runs a task with the values that were typed; returns the exit status. Raises UsageError for
    values that cannot be."""
    command = CommandSettings(**{name: value for name, value in values.items()
                                 if name in CommandSettings.options})
    given = {name: value for name, value in values.items() if name in kind.options}
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

    def run(self) -> int:
        """Runs the task; returns the exit status."""
        try:
            return self._execute()
        except KeyboardInterrupt:
            self.terminal.end_progress()
            if self.command.json:
                from orbitrax.results.document import empty_document

                document = empty_document(self.task.name)
                document.update(status="interrupted", errors=["interrupted"], **self._block(None))
                self._write_json(document)
            self.sink.close()
            raise

    def _execute(self) -> int:
        failure: OrbitraxError | None = None
        result: Result | None = None
        try:
            self.sink.check()
            self.output.check(self.task)
            result = self._calculate()
        except OrbitraxError as error:
            self.terminal.end_progress()
            result, failure = error.partial, error
            self.terminal.error(error.typed)
        try:
            self.output.finish(self._run, result)
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
        return failure.exit_status if failure else 0

    # ---- the calculation ------------------------------------------------------------------------

    def _calculate(self) -> Result:
        command, terminal = self.command, self.terminal
        molecule = self._molecule()
        run = self._run = self.task.start(molecule, command.method)
        self.output.follow(run, terminal)
        if run.job.selection is not None and molecule.plain_charges is None:
            terminal.warning("the atoms outside the selection carry no charges in this file and "
                             "have no effect but to end cut bonds")
        with Backend(command.backend, command.tables, command.time_limit) as backend:
            result = run.execute(backend, self._show)
        terminal.end_progress()
        return result

    def _show(self, event: Event) -> None:
        if isinstance(event, events.StatusLine):
            self.terminal.progress(event.text)
        elif isinstance(event, events.LogLine) and self.command.log:
            self.sink.write(event.text + "\n")

    def _molecule(self) -> Molecule:
        command = self.command
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

    def _block(self, result: Result | None) -> dict[str, Any]:
        return self._run.block(result) if self._run is not None else {}

    def _tell_warnings(self, result: Result | None, failure: OrbitraxError | None) -> None:
        if result is None:
            return
        for text in result.warnings:
            self.terminal.warning(text)
        for text in result.errors if failure is None else ():
            self.terminal.error(text)

    def _write(self, result: Result | None, failure: OrbitraxError | None) -> None:
        command, shown = self.command, failure is None or isinstance(failure, NotConverged)
        if command.json:
            from orbitrax.results.document import empty_document

            document = result.to_dict() if result else empty_document(self.task.name)
            document.update(self._block(result))
            if failure is not None:
                document["status"] = failure.status
                if failure.typed not in "\n".join(document["errors"]):
                    document["errors"] = [*document["errors"], failure.typed]
            self._write_json(document)
        elif self.output.takes_standard_output:
            return
        elif shown and not command.log and not (command.quiet and not self.output.text_path):
            assert self._run is not None and result is not None
            lines = self._run.summary(result)
            if command.output is None:
                lines = lines + self._run.appendix(result)
            self.sink.write("".join(f"{line}\n" for line in lines))

    def _write_json(self, document: dict[str, Any]) -> None:
        import json

        self.sink.write(json.dumps(document, allow_nan=False) + "\n")
