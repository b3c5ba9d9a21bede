"""The task `energy`: one structure, one calculation, one answer. Others build on its `Task`."""

from __future__ import annotations

import json
import sys

from orbitrax.link import events
from orbitrax.backend import Backend
from orbitrax.cli import Terminal, parse_selection
from orbitrax.errors import MoleculeError, NotConverged, OrbitraxError, UsageError
from orbitrax.files import check_target, is_molden, replaced
from orbitrax.job import Job
from orbitrax.molecules.molecule import Molecule
from orbitrax.molecules.reading import from_smiles, read_molecule
from orbitrax.results.document import empty_document
from orbitrax.results.result import Result
from orbitrax.units import REPORT_HARTREE_PER_KCAL


class Task:
    """In what one task differs from another; here those of `energy`."""

    name = "energy"

    def __init__(self, arguments, terminal: Terminal):
        self.arguments, self.terminal = arguments, terminal
        # Where the text goes that would be printed.
        self.text_file = None if is_molden(arguments.output) else arguments.output

    def check(self) -> None:
        """Refuses what cannot be done, before anything is computed."""

    def settings(self) -> dict:
        """What the task says of its Job beside the settings that all share."""
        return {}

    def begin(self, job: Job) -> None:
        """Called once the job is known."""

    def on_event(self, event: events.Event) -> None:
        """Called with each event of the session."""

    def follow(self, backend: Backend, result: Result) -> None:
        """Called after the job, with the backend that still holds what the job has left."""

    def judge(self, result: Result) -> None:
        """Raises NotConverged for a result that is not to be believed."""
        _judge_scf(result, self.arguments)

    def end(self, result: Result | None) -> None:
        """Called once, with what there is of a result, after the session or its failure."""

    def block(self, result: Result | None) -> dict:
        """The task's own entries of the JSON document."""
        return {}

    def summary(self, result: Result) -> str:
        """What is printed for a person."""
        return summary(result)


def run(arguments, terminal: Terminal, task: Task | None = None) -> int:
    """Runs the task; returns the exit status."""
    task = task or Task(arguments, terminal)
    output = Output(task.text_file)
    try:
        return _run(arguments, terminal, output, task)
    except KeyboardInterrupt:
        terminal.end_progress()
        if arguments.json:
            document = empty_document(task.name)
            document.update(status="interrupted", errors=["interrupted"], **task.block(None))
            output.write(json.dumps(document) + "\n")
        output.close()
        raise


def _run(arguments, terminal: Terminal, output: Output, task: Task) -> int:
    try:
        output.check()
        _check_orbital_file(arguments)
        task.check()
        result = _calculate(arguments, terminal, output, task)
        failure = None
    except OrbitraxError as error:
        terminal.end_progress()
        result, failure = error.partial, error
        terminal.error(error.typed)
    try:
        task.end(result)
    except OrbitraxError as error:
        terminal.error(error.typed)
        failure = failure or error
    for text in result.warnings if result else ():
        terminal.warning(text)
    if failure is None:
        for text in result.errors:
            terminal.error(text)

    shown = failure is None or isinstance(failure, NotConverged)
    if arguments.json:
        output.write(json.dumps(_document(result, failure, task), allow_nan=False) + "\n")
    elif shown and not arguments.log and not (arguments.quiet and not task.text_file):
        output.write(task.summary(result))
    try:
        output.close()
    except OrbitraxError as error:
        terminal.error(error.typed)
        failure = failure or error
    return failure.exit_status if failure else 0


def _calculate(arguments, terminal: Terminal, output: Output, task: Task) -> Result:
    molecule = _molecule(arguments)
    selection = None if arguments.select is None else parse_selection(arguments.select)
    job = Job(molecule, arguments.method, arguments.charge, arguments.multiplicity,
              unrestricted=arguments.uhf, selection=selection,
              convergence_limit=arguments.scf_limit, iteration_limit=arguments.scf_iterations,
              diis=arguments.diis, overlap_sigma=arguments.sigma, overlap_pi=arguments.pi,
              level_shift_start=arguments.level_shift_start, log_level=arguments.log_level,
              restraints=arguments.restrain, send_eigenvectors=is_molden(arguments.output),
              **task.settings())
    task.begin(job)
    if job.selection is not None and molecule.point_charges is None:
        terminal.warning("the atoms outside the selection carry no charges in this file and have "
                         "no effect but to end cut bonds")

    def show(event: events.Event) -> None:
        if isinstance(event, events.StatusLine):
            terminal.progress(event.text)
        elif isinstance(event, events.LogLine) and arguments.log:
            output.write(event.text + "\n")
        task.on_event(event)

    limit = arguments.time_limit
    if limit is not None and not limit > 0:
        raise UsageError(f"--time-limit {limit}: should be above 0")
    with Backend(arguments.backend, arguments.tables, limit) as backend:
        result = backend.run(job, show, task=task.name)
        try:
            if is_molden(arguments.output):
                _write_orbitals(arguments, backend, job, result)
            task.judge(result)
            task.follow(backend, result)
        except OrbitraxError as error:
            error.partial = result
            raise
    terminal.end_progress()
    return result


def _check_orbital_file(arguments) -> None:
    """Refuses what a Molden file cannot be or hold, before anything is computed."""
    path = arguments.output
    if not is_molden(path):
        if arguments.molden_raw:
            raise UsageError("--molden-raw says how to write a Molden file; give it a name with "
                             "-o NAME.molden")
        return
    check_target(path)
    for name in ("orbital", "density", "spin_density", "potential", "beta", "squared", "points",
                 "plane", "isovalue", "view", "width"):
        if getattr(arguments, name, None):
            raise UsageError(f"{path}: a Molden file holds all orbitals and no grid; leave out "
                             f"--{name.replace('_', '-')}")


def _write_orbitals(arguments, backend: Backend, job: Job, result: Result) -> None:
    from orbitrax.orbitals.molden import write_molden

    write_molden(arguments.output, job, result, backend.parameters(job.method),
                 arguments.molden_raw)


def _molecule(arguments) -> Molecule:
    if arguments.smiles is not None:
        if arguments.molecule is not None:
            raise UsageError("give a molecule file or --smiles, not both")
        return from_smiles(arguments.smiles)
    if arguments.molecule is None:
        raise UsageError("a molecule is needed: a file, - for standard input, or --smiles TEXT")
    if arguments.molecule == "-" and sys.stdin is None:
        raise MoleculeError("- reads a molecule from standard input, which is closed")
    if arguments.molecule == "-" and sys.stdin.isatty():
        raise MoleculeError("- reads a molecule from standard input, which is the keyboard")
    return read_molecule(arguments.molecule, arguments.format)


def _judge_scf(result: Result, arguments) -> None:
    if result.converged is not False or arguments.allow_unconverged:
        return
    last = result.final_scf_difference
    text = f"the SCF iterations did not converge within {arguments.scf_iterations}"
    if last is not None:
        text += f" (last difference {last:.5f} kcal/mol, limit {arguments.scf_limit:g})"
    other = "--no-diis" if arguments.diis else "--diis"
    text += (f"; try a higher --scf-iterations, {other}, another --level-shift-start, or --uhf for "
             "an open shell")
    raise NotConverged(text)


def _document(result: Result | None, failure: OrbitraxError | None, task: Task) -> dict:
    document = result.to_dict() if result else empty_document(task.name)
    document.update(task.block(result))
    if failure is not None:
        document["status"] = failure.status
        if failure.typed not in "\n".join(document["errors"]):
            document["errors"] = [*document["errors"], failure.typed]
    return document


# ---- output -------------------------------------------------------------------------------------


class Output:
    """Standard output, or a file that appears whole or not at all."""

    def __init__(self, path: str | None):
        self._path = None if path in (None, "-") else path
        self._parts: list[str] = []

    def check(self) -> None:
        """Refuses a file that cannot be written, before anything is computed."""
        if self._path is not None:
            check_target(self._path)

    def write(self, text: str) -> None:
        """Text for standard output goes at once, text for a file when it is closed."""
        if self._path is None:
            sys.stdout.write(text)
            sys.stdout.flush()
        else:
            self._parts.append(text)

    def close(self) -> None:
        """Writes the file."""
        if self._path is None or not self._parts:
            return
        text, self._parts = "".join(self._parts), []
        with replaced(self._path) as path, open(path, "w", encoding="utf-8") as file:
            file.write(text)


# ---- the summary --------------------------------------------------------------------------------


def summary(result: Result) -> str:
    """The results as a person reads them, with units."""
    lines = [result.heading, ""]

    def line(name: str, text: str) -> None:
        lines.append(f"{name:<26}{text}")

    for name, value in (("Heat of formation", result.heat_of_formation),
                        ("Total energy", result.total_energy),
                        ("Electronic energy", result.electronic_energy),
                        ("Core-core energy", result.core_energy),
                        ("Isolated atoms", result.isolated_atomic_energy),
                        ("Binding energy", result.binding_energy),
                        ("Restraint energy", result.restraint_energy)):
        if value is not None:
            text = f"{value:18.6f} kcal/mol"
            if name == "Total energy":
                text += f"  ({value * REPORT_HARTREE_PER_KCAL:.8f} hartree)"
            line(name, text)
    if result.rms_gradient is not None:
        line("RMS gradient", f"{result.rms_gradient:18.6f} kcal/(mol Angstrom)")
    dipole, charges = result.plain("dipole"), result.plain("charges")
    if dipole is not None:
        x, y, z, total = dipole
        line("Dipole moment", f"{total:18.6f} Debye  (x {x:.4f}, y {y:.4f}, z {z:.4f})")
    _frontier(result, line)
    if result.point_group and result.point_group != "?":
        line("Point group", f"{result.point_group:>18}")
    word = {True: "converged", False: "NOT CONVERGED", None: "convergence not known"}
    shown = f"{word[result.converged]:>18}"
    if result.task == "optimize":
        line("Search", f"{shown}, {_counted(result.cycles, 'cycle')}, "
             f"{_counted(result.energy_points, 'energy point')}")
    elif result.scf_iterations is not None:
        line("SCF", f"{shown}, {_counted(result.scf_iterations, 'iteration')}")
    if charges is not None:
        lines += ["", " atom        charge (e)"]
        lines += [f"{i:5d} {symbol:<3}{charge:14.6f}" for i, (symbol, charge) in
                  enumerate(zip(result.symbols, charges), 1)]
    return "\n".join(lines) + "\n"


def _counted(number: int, word: str) -> str:
    return f"{number} {word}" + ("" if number == 1 else "s")


def _frontier(result: Result, line) -> None:
    """Highest occupied and lowest empty orbital; by spin in an unrestricted calculation."""
    levels, occupancies = result.plain("orbital_energies"), result.plain("occupancies")
    if levels is None or occupancies is None:
        return
    spins = ("alpha", "beta") if result.spin == "UHF" else ("",)
    n = len(levels) // len(spins)
    for i, spin in enumerate(spins):
        pairs = list(zip(levels[i * n:(i + 1) * n], occupancies[i * n:(i + 1) * n]))
        filled = [level for level, occupancy in pairs if occupancy > 0.01]
        empty = [level for level, occupancy in pairs if not occupancy > 0.01]
        for name, values in (("HOMO", filled[-1:]), ("LUMO", empty[:1])):
            if values:
                line(f"{name} {spin}".strip(), f"{values[0]:18.6f} eV")
