"""The tasks: a row each. Whoever offers tasks reads this list and the settings of their classes."""

from __future__ import annotations

from orbitrax.errors import UsageError
from orbitrax.settings import unknown

TYPE_CHECKING = False
if TYPE_CHECKING:
    from orbitrax.tasks.task import Task


class TaskRow:
    """A task: its name, the module of orbitrax.tasks and the class in it, a line of help, which
    can be shown without loading it."""

    __slots__ = ("name", "module", "kind", "title")

    def __init__(self, name: str, module: str, kind: str, title: str):
        self.name, self.module, self.kind, self.title = name, module, kind, title

    def load(self) -> type[Task]:
        """The class of the task."""
        module = __import__(f"orbitrax.tasks.{self.module}", fromlist=[self.kind])
        found: type[Task] = getattr(module, self.kind)
        return found


TASKS = (
    TaskRow("energy", "energy", "Energy", "energy, orbitals, charges and dipole of one structure"),
    TaskRow("optimize", "optimize", "Optimize", "the nearest structure of lowest energy"),
    TaskRow("ts", "ts", "Ts", "the saddle point next to a guess, and the proof that it is one"),
    TaskRow("vibrations", "vibrations", "Vibrations",
            "normal modes, infrared spectrum and free energy of a structure"),
    TaskRow("plot", "plot", "PlotTask",
            "an orbital, a density or the potential, as a picture or a cube file"),
    TaskRow("md", "md", "MolecularDynamics", "molecular dynamics: atoms moved by their forces"),
    TaskRow("langevin", "langevin", "Langevin", "dynamics at one temperature, with friction"),
    TaskRow("montecarlo", "montecarlo", "MonteCarlo", "structures at one temperature, by chance"),
    TaskRow("uv", "uv", "Uv", "electronic states and the spectrum they make"),
)

# What the page offers: commands that are tools at the command line are tasks there.
PAGE_TASKS = (
    *TASKS,
    TaskRow("scan", "several.scan", "Scan",
            "the energy along a distance, an angle or a torsion, relaxed"),
    TaskRow("compare", "several.compare", "Compare",
            "one molecule by many methods, in one table"),
)

# Commands that are no calculation of one molecule by a method that is named: the module of each has
# DESCRIPTION, EXAMPLES, add_arguments(parser) and run(arguments, terminal).
TOOLS = {
    "analyse": ("orbitrax.cli.analyse", "distances, spectra and diffusion from a trajectory"),
    "batch": ("orbitrax.cli.lists.batch", "many molecules on all cores, resumable, into one file"),
    "charges": ("orbitrax.cli.charges", "atomic charges for force fields: AM1-BCC"),
    "compare": ("orbitrax.cli.compare", "one molecule by many methods, in one table"),
    "table": ("orbitrax.cli.lists.table", "results of a batch as a table"),
    "status": ("orbitrax.cli.lists.status", "what came of a batch so far"),
    "merge": ("orbitrax.cli.lists.merge", "results of several batches in one file"),
    "scan": ("orbitrax.cli.scan", "the energy along a distance, an angle or a torsion, relaxed"),
    "transit": ("orbitrax.cli.reactions.transit", "the saddle point between two structures"),
    "path": ("orbitrax.cli.reactions.path", "the way down from a saddle point to both sides"),
    "barrier": ("orbitrax.cli.reactions.barrier",
                "from two molecules to the barrier between them, all in one"),
    "convert": ("orbitrax.cli.convert", "a structure in another format"),
    "explain": ("orbitrax.cli.explain", "what a result means, and what is odd about it"),
    "cite": ("orbitrax.cli.cite", "what to cite for a method and its parameters, as BibTeX"),
    "schema": ("orbitrax.cli.schema", "the JSON schema of the result document"),
    "qcschema": ("orbitrax.cli.qcschema", "a QCSchema input in, a QCSchema result out"),
    "serve": ("orbitrax.serve.command", "a page in your browser: draw, calculate, look"),
    "sqm": ("orbitrax.sqm", "the semi-empirical step of force-field set-up scripts"),
}


_usual: dict[str, Task] = {}


def usual_task(name: str) -> Task:
    """A task with its usual settings, which do not change: the same each time."""
    found = _usual.get(name)
    if found is None:
        found = _usual[name] = find_task(name)()
    return found


def find_task(name: str, rows: tuple[TaskRow, ...] = TASKS) -> type[Task]:
    """The class of a task of some rows. Raises UsageError for a name that is none."""
    for row in rows:
        if row.name == name:
            return row.load()
    raise UsageError(unknown(name, [row.name for row in rows], "task"))
