"""The orbitals of a result as a Molden file."""

from __future__ import annotations

from orbitrax.cli.outputs import Output
from orbitrax.errors import UsageError
from orbitrax.files import check_target
from orbitrax.tables import load_parameters

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any

    from orbitrax.results.result import Result
    from orbitrax.tasks.task import Task


class MoldenOutput(Output):
    """Writes all orbitals. A task that draws one has nothing to draw then: a plain calculation is
    run in its place."""

    needs = {"eigenvectors": True}

    def task(self, kind: type[Task], given: dict[str, Any]) -> Task:
        """The task itself, or the one that brings the orbitals in its place."""
        other = kind.for_orbitals
        if other is None:
            return kind(**given)
        for name, value in given.items():
            if name not in other.options and name != "margin" and value not in (None, False):
                raise UsageError(f"{self.path}: a Molden file holds all orbitals and no grid; "
                                 f"leave out --{name.replace('_', '-')}")
        return other(**{name: value for name, value in given.items() if name in other.options})

    def check(self, task: Any) -> None:
        """Refuses a file that cannot be written."""
        assert self.path is not None
        check_target(self.path)

    def finish(self, run: Any, result: Result | None) -> None:
        """Writes the orbitals, converged or not."""
        if run is None or result is None or not result.eigenvectors:
            return
        from orbitrax.orbitals.molden import write_molden

        assert self.path is not None
        write_molden(self.path, run.job, result,
                     load_parameters(run.job.method, self.command.tables), self.command.molden_raw)
