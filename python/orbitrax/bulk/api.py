"""Batches from Python: an iterator of records, and one call for pools of one's own."""

from __future__ import annotations

import json
from collections.abc import Iterable, Iterator
from typing import Any

from orbitrax.bulk.engine import Engine
from orbitrax.bulk.items import Item
from orbitrax.bulk.kept import kept_computer
from orbitrax.bulk.one import Answer
from orbitrax.bulk.processes import Processes
from orbitrax.bulk.recipe import Recipe
from orbitrax.bulk.sources import items_of, read_list
from orbitrax.errors import UsageError
from orbitrax.results.result import Result, result_of
from orbitrax.tasks.task import Task


class Record:
    """What came of one molecule. number: its place, from 1. id: its name, else that number. status:
    done, unconverged, refused, failed or interrupted; reason: why it is not done. document: the
    record as `orbitrax batch` writes it."""

    def __init__(self, answer: Answer):
        self.number, self.id, self.status = answer.number, answer.id, answer.status
        self.reason = answer.reason
        self._line = answer.line

    @property
    def document(self) -> dict[str, Any]:
        """The JSON document of it."""
        found: dict[str, Any] = json.loads(self._line)
        return found

    @property
    def result(self) -> Result | None:
        """The result, as far as its document tells of it; None where nothing was calculated."""
        document = self.document
        return None if document["symbols"] is None else result_of(document)

    def __repr__(self) -> str:
        return f"<Record {self.id}: {self.status}{': ' if self.reason else ''}{self.reason}>"


def batch(molecules: Any, method: str = "am1", task: Task | str = "energy", *,
          workers: int | None = None, dask: str | None = None, ordered: bool = True,
          time_limit: float | None = None, memory_limit: int | None = None,
          backend: str | None = None, tables: str | None = None, **settings: Any
          ) -> Iterator[Record]:
    """The records of many molecules, as they are taken, on all cores of this machine.

    molecules: what `as_molecule` takes, or pairs of a name and that, or dictionaries as rows of a
    table (smiles or file, id, charge, multiplicity, settings), in any iterable, taken as they are
    needed; or the path of a list. A molecule that cannot be computed is a record too. ordered:
    whether records come in the order of the molecules, else as they are done. workers: processes,
    None for one a core; dask: address of a Dask scheduler whose workers compute instead. Limits are
    for one molecule, seconds and bytes. Leaving the loop early ends the processes.

        for record in orbitrax.batch(["CCO", "CCN"], "am1", "optimize"):
            print(record.id, record.status, record.document["heat_of_formation"])
    """
    recipe = Recipe(method, task, program=backend, tables=tables, time_limit=time_limit,
                    memory_limit=memory_limit, **settings)
    if workers is not None and workers < 1:
        raise UsageError(f"workers={workers}: should be 1 or above")
    recipe.check()
    found = (read_list(molecules, recipe.options) if isinstance(molecules, str)
             else items_of(molecules, recipe.options))
    return _records(found, recipe, _engine(recipe, workers, dask), ordered)


def _engine(recipe: Recipe, workers: int | None, dask: str | None) -> Engine:
    if dask is None:
        return Processes(recipe, workers)
    from orbitrax.bulk.cluster import Cluster

    return Cluster(recipe, dask)


def _records(items: Iterable[Item], recipe: Recipe, engine: Engine, ordered: bool
             ) -> Iterator[Record]:
    waiting: dict[int, Record] = {}
    following = 1
    try:
        for answer in engine.run(item._replace(key=recipe.key(item)) for item in items):
            if answer is None:
                continue
            if not ordered:
                yield Record(answer)
                continue
            waiting[answer.number] = Record(answer)
            while following in waiting:
                yield waiting.pop(following)
                following += 1
    finally:
        engine.cancel()


def compute(recipe: Recipe, molecule: Any) -> Record:
    """The record of one molecule, on a backend that this thread keeps for the next one: what a
    pool of one's own calls, as `pool.map(functools.partial(orbitrax.compute, recipe), molecules)`.
    """
    item = next(items_of([molecule], recipe.options))
    with kept_computer(recipe) as computer:
        return Record(computer.compute(item._replace(key=recipe.key(item))))
