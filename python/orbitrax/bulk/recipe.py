"""What is done with each molecule of a list, as a value that can be sent to any process."""

from __future__ import annotations

import json
import struct
from hashlib import blake2b
from typing import Any

from orbitrax import __version__
from orbitrax.bulk.items import Item
from orbitrax.errors import UsageError
from orbitrax.link.process import find_backend
from orbitrax.methods import find_method
from orbitrax.settings import Option
from orbitrax.tables import load_parameters, other_tables
from orbitrax.tasks.registry import find_task
from orbitrax.tasks.task import Run, Task

KEY_BYTES = 16
_NOT_FOR_LISTS = ("plot",)
_OF_THE_LIST = ("charge", "multiplicity")  # columns of their own, ahead of the settings


class Recipe:
    """A method, a task with its settings, and limits; it does not change.

    method, task: by name, or a Task; settings by name. program, tables: as `Backend` has them.
    time_limit: seconds for one molecule; memory_limit: bytes of its backend. complete: add missing
    hydrogens. Raises UsageError for what cannot be meant, ParameterError for tables that cannot be
    read.
    """

    def __init__(self, method: str = "am1", task: Task | str = "energy", *,
                 program: str | None = None, tables: str | None = None,
                 time_limit: float | None = None, memory_limit: int | None = None,
                 complete: bool = False, **settings: Any):
        self.task = find_task(task)(**settings) if isinstance(task, str) else task.replace(
            **settings)
        if self.task.name in _NOT_FOR_LISTS or self.task.own_molecule() is not None:
            raise UsageError(f"the task '{self.task.name}' is for one molecule at a time")
        for name, limit in (("time_limit", time_limit), ("memory_limit", memory_limit)):
            if limit is not None and not limit > 0:
                raise UsageError(f"--{name.replace('_', '-')} {limit:g}: should be above 0")
        self.method = find_method(method).key
        self.program, self.tables, self.complete = program, tables, complete
        self.time_limit, self.memory_limit = time_limit, memory_limit
        self._tables = other_tables(self.method, tables)
        self._hash = blake2b(self._words().encode(), digest_size=KEY_BYTES)

    def __getstate__(self) -> dict[str, Any]:
        return {name: value for name, value in self.__dict__.items() if name != "_hash"}

    def __setstate__(self, state: dict[str, Any]) -> None:
        self.__dict__.update(state)
        self._hash = blake2b(self._words().encode(), digest_size=KEY_BYTES)

    @property
    def identity(self) -> tuple[Any, ...]:
        """What tells it from others: whoever has the same computes alike."""
        return self._hash.digest(), self.program, self.time_limit, self.memory_limit

    @property
    def options(self) -> dict[str, Option]:
        """The settings that a list may give to each molecule."""
        return {name: one for name, one in self.task.options.items()
                if one.typed and name not in _OF_THE_LIST}

    def check(self) -> None:
        """Refuses what no molecule could be computed with: no backend, no tables."""
        find_backend(self.program)
        load_parameters(find_method(self.method), self.tables)

    def _words(self) -> str:
        """All that a result depends on beside its molecule."""
        return json.dumps([__version__, self.method, self.task.name, self.complete,
                           self._tables, _given(self.task.__dict__, self.task.options)])

    def key(self, item: Item) -> bytes:
        """What the result of a molecule depends on, as a hash."""
        found = self._hash.copy()
        found.update(_content(item))
        if item.charge is not None or item.multiplicity is not None or item.settings:
            found.update(f"\0{item.charge} {item.multiplicity}".encode())
            found.update(_given(item.settings or {}, self.task.options).encode())
        return found.digest()

    def start(self, item: Item) -> Run:
        """The run for a molecule. Raises what reading it, and a job that makes no sense, raise."""
        task = self.task.replace(**item.settings) if item.settings else self.task
        return task.start(item.molecule(self.complete), self.method)


def _given(values: Any, options: Any) -> str:
    """Settings that are not as they are by themselves, as a text."""
    return json.dumps({name: values[name] for name in sorted(values)
                       if values[name] != options[name].default}, default=_text)


def _text(value: Any) -> str:
    """All that a value says: a restraint's target and constant too, which its name leaves out."""
    found: str = getattr(value, "text", None) or str(value)
    return found


def _content(item: Item) -> bytes:
    """The molecule as bytes."""
    if item.kind == "molecule":
        one = item.given
        state = (one.charge, one.multiplicity, one.z)
        parts = [repr(state).encode(), struct.pack(f"<{len(one.xyz)}d", *one.xyz)]
        for values in (one.plain_masses, one.plain_charges):
            parts.append(b"" if values is None else struct.pack(f"<{len(values)}d", *values))
        return b"molecule\0" + b"\0".join(parts)
    if item.kind == "path":
        with open(item.given, "rb") as file:
            return b"path\0" + file.read()
    return f"{item.kind}\0{item.given}".encode("utf-8", "surrogatepass")
