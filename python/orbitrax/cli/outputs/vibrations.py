"""What the task `vibrations` writes: a spectrum, its bands, all modes, one of them in motion."""

from __future__ import annotations

from orbitrax.cli.outputs import Output
from orbitrax.errors import UsageError
from orbitrax.files import check_target, replaced

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any

    from orbitrax.results.result import Result
    from orbitrax.vibrations.modes import Modes


class _ModesFile(Output):
    """What these files share."""

    animates = False

    def check(self, task: Any) -> None:
        """Refuses a file that cannot be written, and a mode that it does not show."""
        if self.path is None:
            if task.animate is not None:
                raise UsageError("--animate needs a file: -o NAME.gif or NAME.xyz")
            return
        if self.animates and task.animate is None:
            raise UsageError(f"{self.path}: say which mode is to be shown there, with --animate K")
        if not self.animates and task.animate is not None:
            raise UsageError(f"{self.path}: a mode in motion is written to NAME.gif or NAME.xyz")
        check_target(self.path)
        self.check_name()

    def check_name(self) -> None:
        """Refuses what its name does not tell."""

    def finish(self, run: Any, result: Result | None) -> None:
        """Writes the file."""
        if self.path is None or run is None or result is None or result.modes is None:
            return
        with replaced(self.path) as name:
            self.write(name, run, result, result.modes)

    def write(self, name: str, run: Any, result: Result, modes: Modes) -> None:
        """Writes a file of this name, which will take the place of `path`."""


class SpectrumOutput(_ModesFile):
    """A picture of the spectrum, with those of isotopologues; or no file at all."""

    def check_name(self) -> None:
        """Refuses a name that tells no format."""
        from orbitrax.pictures import figures

        assert self.path is not None
        if not self.path.lower().endswith(tuple(f".{name}" for name in figures.FORMATS)):
            raise UsageError(f"{self.path}: its name does not tell what to write; try .png, .svg "
                             "or .pdf for the spectrum, .csv for its bands, .molden for the modes, "
                             ".npy for the force matrix")
        figures.check(self.path)

    def write(self, name: str, run: Any, result: Result, modes: Modes) -> None:
        """Draws the spectrum."""
        from orbitrax.pictures.infrared import save_spectrum

        assert self.path is not None
        others = [(isotopes.text, other) for isotopes, other in run.isotopologues]
        save_spectrum(modes, result.heading, self.path, name, run.task.band_width, others)


class BandsOutput(_ModesFile):
    """The bands of a spectrum as a table."""

    def write(self, name: str, run: Any, result: Result, modes: Modes) -> None:
        """A line for each mode."""
        from orbitrax.vibrations.texts import bands_table

        with open(name, "w", encoding="utf-8") as file:
            file.write(bands_table(modes))


class ModesOutput(_ModesFile):
    """All modes in the Molden format."""

    def write(self, name: str, run: Any, result: Result, modes: Modes) -> None:
        """All atoms, those that do not move too."""
        from orbitrax.vibrations.texts import molden_text

        with open(name, "w", encoding="utf-8") as file:
            file.write(molden_text(modes, run.job.molecule.z, run.job.molecule.positions))


class ForceMatrixOutput(_ModesFile):
    """The second derivatives, as a file of numpy."""

    def write(self, name: str, run: Any, result: Result, modes: Modes) -> None:
        """3 n x 3 n numbers, kcal/(mol Angstrom^2)."""
        import numpy as np

        with open(name, "wb") as file:
            np.save(file, modes.hessian)


class AnimationOutput(_ModesFile):
    """One mode in motion, as a picture or as a trajectory."""

    animates = True

    def write(self, name: str, run: Any, result: Result, modes: Modes) -> None:
        """Draws or writes the frames."""
        from orbitrax.vibrations.texts import frames_of, trajectory_text

        number, molecule = run.task.animate, run.job.molecule
        if number > len(modes):
            raise UsageError(f"there is no mode {number} to animate; there are {len(modes)}")
        frames = frames_of(modes, number - 1, molecule.positions)
        assert self.path is not None
        if self.path.lower().endswith(".gif"):
            from orbitrax.pictures.motion import save_motion

            save_motion(molecule.numbers, frames, name)
            return
        with open(name, "w", encoding="utf-8") as file:
            file.write(trajectory_text(modes, number - 1, molecule.symbols, frames))
