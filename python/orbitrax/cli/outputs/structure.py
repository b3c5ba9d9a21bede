"""Structures: the last one of a run in its file, and every report point in a trajectory."""

from __future__ import annotations

import sys

from orbitrax.cli.outputs import Output
from orbitrax.errors import MoleculeError, OrbitraxError, UsageError
from orbitrax.files import check_target, claimed, free_name, refusals
from orbitrax.units import ASE_EV_PER_KCAL

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any, TextIO

    from orbitrax.cli.command import CommandSettings
    from orbitrax.cli.terminal import Terminal
    from orbitrax.job import Job
    from orbitrax.molecules.molecule import Molecule
    from orbitrax.results.result import Result
    from orbitrax.tasks.report_points import ReportPoint
    from orbitrax.tasks.task import Run

_HEADER = (f"{'cycle':>6}{'points':>8}{'energy (kcal/mol)':>20}{'since the start':>17}"
           f"{'RMS gradient':>15}")


class StructureOutput(Output):
    """Writes the last structure, converged or not, and a trajectory on the way."""

    takes_molecules_place = True

    def __init__(self, command: CommandSettings):
        super().__init__(command)
        if self.path is None and command.quiet and not (command.json or command.log
                                                        or command.trajectory):
            self.path = "-"  # the structure alone
        self.takes_standard_output = self.path == "-"
        self._trajectory: TextIO | None = None
        self._last: ReportPoint | None = None
        self._terminal: Terminal | None = None

    def check(self, task: Any) -> None:
        """Refuses files that cannot be written."""
        for path in (self.path, self.command.trajectory):
            if path is not None and path != "-":
                check_target(path)
        if self.path is not None:
            from orbitrax.molecules.writing import check_name

            check_name(self.path)
        if self.command.trajectory is not None:
            if self.command.trajectory.lower().endswith(".traj"):
                raise UsageError(f"{self.command.trajectory}: the structures of a search are "
                                 "written as extended xyz; name a file NAME.xyz")
            import ase.io  # noqa: F401  what is missing is told before anything is computed

    def follow(self, run: Any, terminal: Terminal) -> None:
        """Opens the trajectory, and listens to report points."""
        self._terminal = terminal
        if self.path is not None:
            from orbitrax.molecules.writing import check_bonds

            check_bonds(self.path, run.job.molecule.replace(
                charge=run.job.charge, multiplicity=run.job.multiplicity))
        path = self.command.trajectory
        if path is not None:
            try:
                self._trajectory = open(path, "w", encoding="utf-8", opener=claimed)
            except OSError as error:
                raise UsageError(f"{path}: {error.strerror}") from None

        def listen(point: ReportPoint) -> None:
            if self._last is None:
                terminal.row(_HEADER)
            self._last = point
            values = point.values
            terminal.row(f"{values['cycle']:6d}{values['energy_points']:8d}"
                         f"{values['total_energy']:20.5f}{run.points.since_the_start:17.5f}"
                         f"{values['rms_gradient']:15.5f}")
            if self._trajectory is not None:
                _write_frame(self._trajectory, run, point)

        run.points.listeners.append(listen)

    def finish(self, run: Any, result: Result | None) -> None:
        """Closes the trajectory and writes the last structure, of which a trajectory that could not
        be written takes nothing away."""
        try:
            self._write_last(run, result)
        finally:
            if self._trajectory is not None:
                with refusals(self._trajectory.name):
                    self._trajectory.close()

    def _write_last(self, run: Any, result: Result | None) -> None:
        if self.path is None or run is None or run.points.last is None:
            return
        from orbitrax.molecules.writing import what_is_lost, write_molecule, xyz_text

        molecule, about = last_structure(run, result)
        if self.path == "-":
            sys.stdout.write(xyz_text(molecule, about))
            return
        try:
            write_molecule(self.path, molecule, about)
        except MoleculeError as error:  # it has come to a place where its bonds cannot be seen
            other = free_name(f"{self.path}.xyz")
            write_molecule(other, molecule, about)
            raise OrbitraxError(f"{self.path}: not written: {error}; the structure is in {other}"
                                ) from None
        lost = what_is_lost(self.path, molecule)
        if lost is not None and self._terminal is not None:
            self._terminal.warning(lost)


def last_structure(run: Any, result: Result | None) -> tuple[Molecule, dict[str, Any]]:
    """The last structure of a run, and what is known of it, by name; energies kcal/mol. That of the
    result where it has one: a signal may come before the report points have heard of it."""
    job, point = run.job, run.points.last
    xyz: Any = point.xyz
    about: dict[str, Any] = {"energy": point.values.get("total_energy")}
    if result is not None and result.total_energy is not None:
        xyz, about["energy"] = result.coordinates, result.total_energy
        if result.heat_of_formation is not None:
            about["heat_of_formation"] = result.heat_of_formation
    about.update(unit="kcal/mol", method=job.method.key)
    return job.molecule.replace(positions=xyz, charge=job.charge,
                                multiplicity=job.multiplicity), about


def _write_frame(file: TextIO, run: Run, point: ReportPoint) -> None:
    write_frame(file, run.job, point.xyz or (), point.values["total_energy"], point.gradient,
                {"step": int(point.values["cycle"])})


def write_frame(file: TextIO, job: Job, xyz: Any, energy: float, gradient: Any,
                about: dict[str, Any]) -> None:
    """Appends a frame of extended xyz, in ASE's units, and sees it out of the buffer; a signal
    leaves it whole or out. xyz: 3 n, Angstrom; energy kcal/mol; gradient: 3 n, kcal/(mol Angstrom),
    or None; about: what else the second line says."""
    from io import StringIO

    import ase.io
    from ase import Atoms
    from ase.calculators.singlepoint import SinglePointCalculator

    from orbitrax.arrays import as_numpy

    atoms = Atoms(numbers=job.molecule.numbers, positions=as_numpy(xyz, 3),
                  masses=job.molecule.plain_masses,
                  info={"charge": job.charge, "multiplicity": job.multiplicity,
                        "method": job.method.key, **about})
    values: dict[str, Any] = {"energy": energy * ASE_EV_PER_KCAL}
    if gradient is not None:
        values["forces"] = -as_numpy(gradient, 3) * ASE_EV_PER_KCAL
    atoms.calc = SinglePointCalculator(atoms, **values)
    text = StringIO()
    ase.io.write(text, atoms, format="extxyz")
    with refusals(file.name):
        file.write(text.getvalue())
        file.flush()
