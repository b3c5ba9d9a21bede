"""Many molecules on one backend, from Python."""

from __future__ import annotations

from orbitrax.backend import Backend
from orbitrax.bulk.row import Row
from orbitrax.errors import OrbitraxError, UsageError
from orbitrax.molecules.reading import as_molecule
from orbitrax.tasks.registry import usual_task

TYPE_CHECKING = False
if TYPE_CHECKING:
    import os
    from collections.abc import Iterable, Iterator
    from typing import Any

    from orbitrax.methods import Method
    from orbitrax.results.result import Result
    from orbitrax.tasks.task import Run, Task


def each(molecules: Iterable[Any], method: Method | str | int = "am1",
         task: Task | str = "energy", *,
         backend: Backend | str | os.PathLike[str] | None = None,
         tables: str | os.PathLike[str] | None = None, time_limit: float | None = None,
         **settings: Any) -> Iterator[Result | OrbitraxError]:
    """The results of many molecules, one after the other on one backend, which computes the next
    one while this side reads the last: in their order, and in the place of a result the error that
    it ended with.

        for result in orbitrax.each(molecules, "am1"):
            print(result if isinstance(result, Exception) else result.heat_of_formation)

    Molecules are taken some ahead; a `backend` of one's own serves nobody else meanwhile, and
    leaving the loop early ends its process. For all cores and for lists in files see `batch`.
    molecules: what `as_molecule` takes; the others as `orbitrax.run` has them.
    """
    chosen = (usual_task(task) if isinstance(task, str) else task).replace(**settings)
    if chosen.own_molecule() is not None:
        raise UsageError("a run that goes on takes its molecule from there; give no others")
    if isinstance(backend, Backend):
        return _each(molecules, method, chosen, backend)
    return _each_on_its_own(molecules, method, chosen, Backend(backend, tables, time_limit))


def _each(molecules: Iterable[Any], method: Method | str | int, task: Task, backend: Backend
          ) -> Iterator[Result | OrbitraxError]:
    for execute in Row(backend, (_start(task, one, method) for one in molecules)):
        try:
            yield execute()
        except OrbitraxError as error:
            yield error


def _each_on_its_own(molecules: Iterable[Any], method: Method | str | int, task: Task,
                     backend: Backend) -> Iterator[Result | OrbitraxError]:
    with backend:
        yield from _each(molecules, method, task, backend)


def _start(task: Task, molecule: Any, method: Method | str | int) -> Run | OrbitraxError:
    try:
        return task.start(as_molecule(molecule), method)
    except OrbitraxError as error:
        return error
