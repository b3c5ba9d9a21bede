"""Files that the command line writes: a kind is a row here and a class of its own.

The kind is chosen once, from the name behind -o. It says what the job must bring for it, checks
before anything is computed, and writes at the end.
"""

from __future__ import annotations

from orbitrax.errors import UsageError

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any

    from orbitrax.cli.command import CommandSettings
    from orbitrax.cli.terminal import Terminal
    from orbitrax.results.result import Result
    from orbitrax.tasks.task import Task


class Output:
    """A kind of file; this one writes none.

    path: the file. needs: settings of the job that bring what is to be written. text_path: where
    the text goes that would be printed, None for standard output. takes_standard_output: whether
    that is where the file goes, so that nothing else may be printed there. takes_molecules_place:
    whether the file may be that of the molecule, if it is no other's, too: it then holds the
    structure as it has become.
    """

    needs: dict[str, Any] = {}
    text_path: str | None = None
    takes_standard_output = False
    takes_molecules_place = False

    def __init__(self, command: CommandSettings):
        self.command, self.path = command, command.output

    def task(self, kind: type[Task], given: dict[str, Any]) -> Task:
        """The task that is run, with its settings."""
        return kind(**given)

    def check(self, task: Any) -> None:
        """Refuses what cannot be written, before anything is computed."""

    def follow(self, run: Any, terminal: Terminal) -> None:
        """Called before the job begins, to listen to what the run tells on its way."""

    def finish(self, run: Any, result: Result | None) -> None:
        """Writes what there is, after the job or its failure."""


class OutputRow:
    """A kind of file: its name, the module of orbitrax.cli.outputs and the class in it, the endings
    of names that ask for it (none: any name does), and whether it can be printed, for "-"."""

    __slots__ = ("name", "module", "kind", "endings", "printable")

    def __init__(self, name: str, module: str, kind: str, endings: tuple[str, ...] = (),
                 printable: bool = False):
        self.name, self.module, self.kind = name, module, kind
        self.endings, self.printable = endings, printable

    def fits(self, path: str) -> bool:
        """Whether the name asks for this kind."""
        return self.printable if path == "-" else path.lower().endswith(self.endings)

    def load(self) -> type[Output]:
        """The class of this kind."""
        module = __import__(f"orbitrax.cli.outputs.{self.module}", fromlist=[self.kind])
        found: type[Output] = getattr(module, self.kind)
        return found


OUTPUTS = (
    OutputRow("text", "text", "TextOutput", printable=True),
    OutputRow("molden", "molden", "MoldenOutput", (".molden",)),
    OutputRow("levels", "levels", "LevelsOutput", (".png", ".svg", ".pdf")),
    OutputRow("structure", "structure", "StructureOutput", printable=True),
    OutputRow("motion", "motion", "MotionOutput"),
    OutputRow("modes", "vibrations", "ModesOutput", (".molden",)),
    OutputRow("bands", "vibrations", "BandsOutput", (".csv",)),
    OutputRow("animation", "vibrations", "AnimationOutput", (".gif", ".xyz")),
    OutputRow("force matrix", "vibrations", "ForceMatrixOutput", (".npy",)),
    OutputRow("infrared", "vibrations", "SpectrumOutput"),
    OutputRow("states", "spectra", "StatesOutput", (".csv",)),
    OutputRow("spectrum", "spectra", "SpectrumOutput", (".png", ".svg", ".pdf")),
    OutputRow("cube", "plots", "CubeOutput", (".cube", ".cub"), printable=True),
    OutputRow("picture", "plots", "PictureOutput"),
)


def choose_output(task: type[Task], command: CommandSettings) -> Output:
    """The kind of file that the command line asks for, of those that the task can write."""
    path = command.output
    if command.molden_raw and not (path and path.lower().endswith(".molden")):
        raise UsageError("--molden-raw says how to write a Molden file; give it a name with "
                         "-o NAME.molden")
    rows = [row for row in OUTPUTS if row.name in task.files]
    for row in rows:
        if path is not None and row.fits(path):
            return row.load()(command)
    return next(row for row in rows if not row.endings).load()(command)
