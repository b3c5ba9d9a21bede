"""Several molecules in one command: a row of a table, or a line of JSON, for each."""

from __future__ import annotations

import json
import sys

from orbitrax.cli.command import CommandSettings
from orbitrax.cli.outputs.text import TextSink
from orbitrax.cli.terminal import Terminal, printable
from orbitrax.errors import Interrupted, OrbitraxError, UsageError
from orbitrax.molecules.reading import count_structures, read_molecule

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Iterator
    from typing import Any

    from orbitrax.backend import Backend
    from orbitrax.results.result import Result
    from orbitrax.tasks.task import Task

_HEAD = (f"{'molecule':<28}{'formula':<12}{'heat':>12}{'total energy':>18}{'gap':>9}{'dipole':>9}"
         "  status\n" + " " * 40 + f"{'kcal/mol':>12}{'kcal/mol':>18}{'eV':>9}{'Debye':>9}")
_SINGLE = {"log": "--log", "smiles": "--smiles", "trajectory": "--trajectory",
           "output": "-o", "molden_raw": "--molden-raw"}


def run_several(kind: type[Task], values: dict[str, Any], sources: list[str]) -> int:
    """Runs a task for each molecule; one that fails does not keep the others. Returns the exit
    status: the largest of all."""
    command = CommandSettings(**{name: value for name, value in values.items()
                                 if name in CommandSettings.options and name != "molecule"})
    structures = None
    for name, flag in _SINGLE.items():
        if not getattr(command, name):
            continue
        if name != "output" or not kind.reports_points or not _many(command.output):
            raise UsageError(f"{flag} goes with one molecule"
                             + ("; several structures go to one .xyz file" if name == "output"
                                and kind.reports_points else ""))
        structures = command.output
    if kind.name == "plot":
        raise UsageError("plot one molecule at a time")
    task = kind(**{name: value for name, value in values.items() if name in kind.options})
    return _Rows(command, task, structures).run(list(_listed(sources, command.format)))


def _many(path: str | None) -> bool:
    return bool(path) and (path == "-" or str(path).lower().endswith((".xyz", ".sdf")))


def _listed(sources: list[str], format: str | None) -> Iterator[str]:
    for source in sources:
        if source.endswith("@:"):
            path = source[:-2]
            for number in range(count_structures(path, format)):
                yield f"{path}@{number}"
        else:
            yield source


class _Rows:
    """One run after another, on a backend that stays."""

    def __init__(self, command: CommandSettings, task: Task, structures: str | None):
        self._command, self._task, self._structures = command, task, structures
        self._terminal = Terminal(command.quiet, command.color)
        self._texts: list[str] = []
        self._prints = not command.quiet and structures != "-"

    def run(self, sources: list[str]) -> int:
        """All molecules; returns the exit status."""
        command, status, number = self._command, 0, 1
        if self._structures not in (None, "-"):
            from orbitrax.files import check_apart, check_target

            check_target(str(self._structures))
            check_apart([self._structures], sources)
        if self._prints and not command.json:
            print(_HEAD, flush=True)
        try:
            with command.started() as backend:
                for number, source in enumerate(sources, 1):
                    self._terminal.progress(f"{number} of {len(sources)}: {source}")
                    status = max(status, self._one(backend, source))
        except (Interrupted, KeyboardInterrupt):
            self._terminal.end_progress()
            self._terminal.error(f"interrupted after {number - 1} of {len(sources)} molecules")
            TextSink.printed = TextSink.printed or number > 1  # each line is a document
            raise
        finally:
            self._terminal.end_progress()
            self._write()
        return status

    def _one(self, backend: Backend, source: str) -> int:
        """One molecule; what fails is its own row."""
        command = self._command
        result: Result | None = None
        failure: OrbitraxError | None = None
        try:
            molecule = read_molecule(source, command.format, complete=command.add_hydrogens)
            run = self._task.start(molecule, command.method)
            result = run.execute(backend)
            if self._structures is not None:
                from orbitrax.molecules.writing import mol_text, xyz_text

                last = molecule.replace(positions=result.coordinates, charge=result.charge,
                                        multiplicity=result.multiplicity)
                about = {"energy": result.total_energy, "title": source,
                         "heat_of_formation": result.heat_of_formation}
                sdf = self._structures.lower().endswith(".sdf")
                text = mol_text(last, about, True) if sdf else xyz_text(last, about)
                self._keep(text)
        except Interrupted:
            raise
        except OrbitraxError as error:
            failure, result = error, result or error.partial
        self._terminal.end_progress()
        self._say(source, result, failure)
        return failure.exit_status if failure else 0

    def _keep(self, text: str) -> None:
        if self._structures == "-":
            sys.stdout.write(text)
            sys.stdout.flush()
        else:
            self._texts.append(text)

    def _write(self) -> None:
        if not self._texts:
            return
        from orbitrax.files import replaced

        with replaced(str(self._structures)) as path, open(path, "w", encoding="utf-8") as file:
            file.write("".join(self._texts))

    def _say(self, source: str, result: Result | None, failure: OrbitraxError | None) -> None:
        if self._command.json and self._prints:
            from orbitrax.results.document import empty_document

            document = result.to_dict() if result else empty_document(self._task.name)
            document["source"] = source
            if failure is not None:
                document["status"] = failure.status
                document["errors"] = [*document["errors"], failure.typed]
            print(json.dumps(document, allow_nan=False), flush=True)
            return
        if self._prints:
            print(printable(_row(source, result, failure)), flush=True)
        if failure is not None:
            text = failure.typed
            self._terminal.error(text if text.startswith(source) else f"{source}: {text}")
        for text in result.warnings if result is not None else ():
            self._terminal.warning(f"{source}: {text}")


def _row(source: str, result: Result | None, failure: OrbitraxError | None) -> str:
    from orbitrax.molecules.elements import formula_of

    name = source if len(source) < 28 else "..." + source[-24:]
    if result is None or result.total_energy is None:
        return f"{name:<28}{'':<12}{'':>12}{'':>18}{'':>9}{'':>9}  " + (
            failure.status if failure else "")
    dipole = result.plain("dipole")
    heat, gap = result.heat_of_formation, result.gap_ev
    return (f"{name:<28}{formula_of(result.symbols):<12}"
            f"{'' if heat is None else format(heat, '.4f'):>12}{result.total_energy:>18.5f}"
            f"{'' if gap is None else format(gap, '.3f'):>9}"
            f"{'' if dipole is None else format(dipole[3], '.3f'):>9}  "
            f"{failure.status if failure else result.status}")
