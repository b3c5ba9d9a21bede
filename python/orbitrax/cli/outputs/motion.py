"""Trajectories as they come, and a picture of energies and temperature at the end."""

from __future__ import annotations

import contextlib
import os

from orbitrax.cli.outputs import Output
from orbitrax.errors import OrbitraxError, UsageError
from orbitrax.files import check_target, claimed, refusals, replaced
from orbitrax.motion.trajectory import Heading, TrajectoryFile, read_restart
from orbitrax.units import ASE_EV_PER_KCAL

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any

    from orbitrax.cli.command import CommandSettings
    from orbitrax.cli.terminal import Terminal
    from orbitrax.motion.trajectory import Frame
    from orbitrax.results.result import Result
    from orbitrax.tasks.moving import Moving

_PICTURES = (".png", ".svg", ".pdf")
_XYZ, _ASE = (".xyz", ".extxyz"), (".traj",)


class MotionOutput(Output):
    """Writes every frame into a trajectory, and draws a picture at the end."""

    def __init__(self, command: CommandSettings):
        super().__init__(command)
        paths = [path for path in (command.output, command.trajectory) if path is not None]
        self._pictures = [path for path in paths if path.lower().endswith(_PICTURES)]
        self._paths = [path for path in paths if path not in self._pictures]
        self._files: list[Any] = []
        self._terminal: Terminal | None = None

    def check(self, task: Any) -> None:
        """Refuses files that cannot be written, and names that tell no kind of file."""
        for path in self._paths:
            if not path.lower().endswith(_XYZ + _ASE):
                raise UsageError(f"{path}: its name does not tell what to write; a trajectory is "
                                 "NAME.xyz or NAME.traj, a picture NAME.png, .svg or .pdf")
            if path.lower().endswith(_ASE) and _is_same(path, task.restart):
                raise UsageError(f"{path}: frames can be added to an extended xyz file only")
        for path in (*self._paths, *self._pictures):
            check_target(path)
        if self._pictures:
            from orbitrax.pictures.figures import drawing_tools

            drawing_tools()

    def follow(self, run: Any, terminal: Terminal) -> None:
        """Opens the trajectories, and listens to frames."""
        self._terminal = terminal
        heading = Heading(run.job.molecule, run.remarks())
        for path in self._paths:
            append = _is_same(path, run.task.restart)
            if append:
                _check_one_surface(path, run.remarks())
            try:
                file: Any = (_AseFile(path, run) if path.lower().endswith(_ASE) else
                             TrajectoryFile(path, heading, append))
            except OSError as error:
                raise UsageError(f"{path}: {error.strerror}") from None
            self._files.append(file)
            run.listeners.append(_writer(file, path, run.task.first_step if append else None))
        run.listeners.append(_watcher(terminal))

    def finish(self, run: Any, result: Result | None) -> None:
        """Draws the picture and closes the trajectories."""
        try:
            self._tell_how_to_go_on(run)
            self._draw(run, result)
        finally:
            self._close()

    def _draw(self, run: Any, result: Result | None) -> None:
        if run is None or result is None or run.last is None:
            return
        from orbitrax.pictures.chart import save_chart

        for path in self._pictures:
            with replaced(path) as name:
                save_chart(run.columns, result.heading, path, name)

    def _close(self) -> None:
        with contextlib.ExitStack() as stack:
            for path, file in zip(self._paths, self._files):
                stack.enter_context(refusals(path))
                stack.callback(file.close)
            self._files = []

    def _tell_how_to_go_on(self, run: Moving | None) -> None:
        """After a run that ended early."""
        path = next((path for path in self._paths if path.lower().endswith(_XYZ)), None)
        if self._terminal is None or run is None or run.last is None or run.done >= run.steps:
            return
        if path is None:
            self._terminal.tell("it can not go on: no extended xyz file was written")
            return
        again = run.again(path)
        self._terminal.tell(f"to go on: {again}" if again else
                            f"to go on: --restart {path} in place of the molecule")


def _is_same(path: str, other: str | None) -> bool:
    return other is not None and os.path.exists(path) and os.path.samefile(path, other)


def _check_one_surface(path: str, remarks: dict[str, Any]) -> None:
    """Refuses frames whose energies are none of those that stand in the file."""
    told = read_restart(path).remarks
    for name, here in (("method", "-m"), ("charge", "-c"), ("multiplicity", "-s"),
                       ("spin_treatment", "--uhf")):
        before, now = told.get(name), str(remarks[name])
        if before is not None and before != now:
            raise UsageError(f"{path}: its frames have {name} {before}, those of this run would "
                             f"have {now}; name another file with -o, or change {here}")


def _writer(file: Any, path: str, known: int | None) -> Any:
    """Writes frames, but for one that stands in the file already."""

    def write(frame: Frame) -> None:
        if frame.step == known:
            return
        try:
            file.write(frame)
        except OSError as error:
            raise OrbitraxError(f"{path}: cannot be written: {error.strerror}") from None

    return write


def _watcher(terminal: Terminal) -> Any:
    """Tells at once of the first SCF that did not converge."""
    told = False

    def watch(frame: Frame) -> None:
        nonlocal told
        if frame.converged is False and not told:
            told = True
            terminal.end_progress()
            terminal.warning(f"an SCF on the way to step {frame.step} did not converge")

    return watch


class _AseFile:
    """A trajectory in ASE's own format, with momenta, energy and forces."""

    def __init__(self, path: str, run: Moving):
        from ase.io.trajectory import Trajectory

        self._claim = open(path, "ab", opener=claimed)
        self._run, self._file = run, Trajectory(path, "w")

    def write(self, frame: Frame) -> None:
        """Adds a frame."""
        from ase import Atoms, units
        from ase.calculators.singlepoint import SinglePointCalculator

        from orbitrax.arrays import as_numpy

        molecule = self._run.job.molecule
        atoms = Atoms(numbers=molecule.numbers, positions=as_numpy(frame.places, 3),
                      masses=molecule.masses, info=dict(self._run.remarks(), step=frame.step))
        if frame.time is not None:
            atoms.info["time_ps"] = float(frame.time)
        if frame.velocities is not None:
            atoms.set_velocities(as_numpy(frame.velocities, 3) / (1000.0 * units.fs))
        values: dict[str, Any] = {"energy": frame.potential * ASE_EV_PER_KCAL}
        if frame.gradient is not None:
            values["forces"] = -as_numpy(frame.gradient, 3) * ASE_EV_PER_KCAL
        atoms.calc = SinglePointCalculator(atoms, **values)
        self._file.write(atoms)

    def close(self) -> None:
        """Closes the file."""
        self._file.close()
        self._claim.close()
