"""What the command line is told beside the settings of a task."""

from __future__ import annotations

import os

from orbitrax.job import MOLECULE, OUTPUT
from orbitrax.settings import Settings, declared, option

TYPE_CHECKING = False
if TYPE_CHECKING:
    from orbitrax.backend import Backend
    from orbitrax.settings import Option
    from orbitrax.tasks.task import Task

_THREADS = "ORBITRAX_THREADS"  # which every backend reads when it starts


@declared
class CommandSettings(Settings):
    """What the command line is told beside the settings of a task."""

    molecule: str | None = option(
        None, group=MOLECULE, metavar="MOLECULE",
        help="a molecule file (xyz, mol, sdf, pdb, ...), or - for standard input; several of them "
             "make a table, and NAME@: stands for all structures of a file")
    smiles: str | None = option(
        None, group=MOLECULE, metavar="TEXT", help="a SMILES string in place of a file")
    format: str | None = option(
        None, group=MOLECULE, metavar="NAME",
        help="format of the file: xyz, mol, sdf, pdb, mol2, mop, gjf, orca, cjson, or as ASE "
             "names it")
    add_hydrogens: bool = option(
        False, group=MOLECULE,
        help="add the hydrogens that a mol, sdf or mol2 file leaves out, and build a geometry for "
             "a flat drawing")
    method: str = option(
        "", short="-m", group=MOLECULE, metavar="METHOD",
        help="cndo, indo, mindo3, mndo, am1, pm3, zindo1, zindos or mndod")
    log: bool = option(
        False, group=OUTPUT, exclusive="form",
        help="print the backend's report, as it comes, in place of the summary")
    json: bool = option(
        False, group=OUTPUT, exclusive="form", help="print one JSON document and nothing else")
    output: str | None = option(None, short="-o", group=OUTPUT, metavar="FILE", help="")
    trajectory: str | None = option(
        None, group=OUTPUT, metavar="FILE",
        help="write every report point there as extended xyz, with energy and forces in eV and "
             "eV/Angstrom")
    molden_raw: bool = option(
        False, group=OUTPUT,
        help="in NAME.molden the orbitals as the method has them, instead of made orthonormal in "
             "space by S^-1/2")
    quiet: bool = option(
        False, short="-q", group=OUTPUT, help="no progress, no warnings, no summary; "
             "optimize prints the structure alone")
    color: str = option(
        "auto", choices=("auto", "always", "never"), group=OUTPUT, help="colour in messages")
    time_limit: float | None = option(
        None, above=0, unit="s", group=OUTPUT, metavar="S", help="give up after S seconds")
    backend: str | None = option(
        None, group=OUTPUT, metavar="PATH", help="the backend program to start")
    tables: str | None = option(
        None, group=OUTPUT, metavar="FOLDER", help="folder of the parameter tables")
    threads: int | None = option(
        None, least=1, most=256, group=OUTPUT, metavar="N",
        help="processors that the backend may use (default ORBITRAX_THREADS, else all)")

    def started(self) -> Backend | _Limited:
        """The backend that these settings want, to be entered."""
        from orbitrax.backend import Backend

        wanted = Backend(self.backend, self.tables, self.time_limit)
        return wanted if self.threads is None else _Limited(wanted, self.threads)


class _Limited:
    """A backend whose process, started within, has so many threads and copies at the most."""

    def __init__(self, backend: Backend, threads: int):
        self._backend, self._threads = backend, threads
        self._before = os.environ.get(_THREADS)

    def __enter__(self) -> Backend:
        os.environ[_THREADS] = str(self._threads)
        return self._backend.__enter__()

    def __exit__(self, *problem: object) -> None:
        try:
            self._backend.__exit__(*problem)
        finally:
            del os.environ[_THREADS]
            if self._before is not None:
                os.environ[_THREADS] = self._before


def typed_options(task: type[Task]) -> list[Option]:
    """All that can be typed with a task: the options of the command line, then the task's."""
    command = [one for name, one in CommandSettings.options.items()
               if name != "trajectory" or task.reports_points]
    return [*command, *(one for one in task.options.values() if one.typed)]
