"""The task `compare`: one molecule by many methods, side by side."""

from __future__ import annotations

from orbitrax.errors import Cancelled, Interrupted, OrbitraxError
from orbitrax.job import JobSettings
from orbitrax.methods import METHODS, find_method
from orbitrax.settings import declared, option
from orbitrax.tasks.energy import Energy
from orbitrax.tasks.optimize import Optimize
from orbitrax.tasks.task import Run, Task

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any, ClassVar

    from orbitrax.backend import Backend
    from orbitrax.job import Job
    from orbitrax.methods import Method
    from orbitrax.results.result import Result
    from orbitrax.tasks.task import Listener


class Comparing(Run):
    """One run for each method. rows: a method each, as the document has them."""

    task: Compare

    def __init__(self, task: Task, job: Job):
        super().__init__(task, job)
        self.rows: list[dict[str, Any]] = []

    def execute(self, backend: Backend, on_event: Listener | None = None) -> Result:
        """The result of the job's own method. Raises what that one raised; what others raise stands
        in their rows."""
        own: Result | OrbitraxError | None = None
        shared = {name: getattr(self.task, name) for name in JobSettings.options}
        kind = Optimize if self.task.optimize else Energy
        for method in self.methods():
            try:
                if self.rows and backend.cancelled:
                    raise Cancelled("the calculation was cancelled")
                found: Result | OrbitraxError = kind(**shared).start(
                    self.job.molecule, method).execute(backend, on_event)
            except (Cancelled, Interrupted) as error:
                error.partial = self._ended(own)
                raise
            except OrbitraxError as error:
                found = error
            self.rows.append(_row(method, found))
            if method.key == self.job.method.key:
                own = found
        ended = self._ended(own)
        if isinstance(own, OrbitraxError):
            raise own
        assert ended is not None
        return ended

    def methods(self) -> list[Method]:
        """The methods, that of the job among them."""
        keys = [word.strip() for word in (self.task.methods or "").split(",") if word.strip()]
        several = [find_method(key) for key in keys] or list(METHODS)
        own = self.job.method
        return several if own in several else [own, *several]

    def _ended(self, own: Result | OrbitraxError | None) -> Result | None:
        """What there is of the own method, as the result of the comparison."""
        found = own.partial if isinstance(own, OrbitraxError) else own
        if found is not None:
            found.task = self.task.name
            found.warnings += [told for row in self.rows for text in row["warnings"]
                               if (told := f"{row['method']}: {text}") not in found.warnings
                               and text not in found.warnings]
            found.blocks.update(self.block(found))
        return found

    def progress(self, text: str) -> str | None:
        """Which method it is, before what that says."""
        left = self.methods()[len(self.rows):]
        return f"{left[0].title}: {text}" if left else text

    def block(self, result: Result | None) -> dict[str, dict[str, Any]]:
        """The entry `compare` of the JSON document."""
        return {"compare": {"optimized": self.task.optimize, "methods": self.rows}}


def _row(method: Method, found: Result | OrbitraxError) -> dict[str, Any]:
    result = None if isinstance(found, OrbitraxError) else found
    dipole = result.plain("dipole") if result else None
    levels = result.frontier() if result else []
    filled = [level for name, level in levels if not name.startswith("LUMO")]
    empty = [level for name, level in levels if name.startswith("LUMO")]
    return {"method": method.title,
            "heat_of_formation": result.heat_of_formation if result else None,
            "binding_energy": result.binding_energy if result else None,
            "dipole_debye": dipole[3] if dipole else None,
            "homo_ev": max(filled) if filled else None,
            "lumo_ev": min(empty) if empty else None,
            "gap_ev": result.gap_ev if result else None,
            "status": found.typed if isinstance(found, OrbitraxError) else "done",
            "warnings": list(result.warnings) if result else []}


@declared
class Compare(Task):
    """Computes one molecule by many methods."""

    name: ClassVar[str] = "compare"
    description: ClassVar[str] = (
        "One molecule by many methods in one table; orbitals and charges are those of the method "
        "that is chosen.")
    run_type: ClassVar[type[Run]] = Comparing

    optimize: bool = option(
        False, group="compare", help="each at the minimum of its method")
    methods: str | None = option(
        None, group="compare", metavar="LIST",
        help="the methods, as am1,pm3 (default: all of them)")

    def _check(self) -> None:
        super()._check()
        for word in (self.methods or "").split(","):
            if word.strip():
                find_method(word.strip())
