"""The face of all that computes molecules: one call, three words."""

from __future__ import annotations

from collections.abc import Iterator
from typing import Protocol

from orbitrax.bulk.items import Item
from orbitrax.bulk.one import Answer


class Engine(Protocol):
    """Computes molecules, many at a time."""

    def run(self, items: Iterator[Item]) -> Iterator[Answer | None]:
        """The answers for molecules, in the order in which they come; None from time to time, so
        that whoever waits can look about. Takes no more molecules than it can work on."""

    def stop(self) -> None:
        """Takes no more molecules; `run` ends with those that it has."""

    def cancel(self) -> None:
        """Ends all processes, within a second."""

    def slowest(self) -> tuple[str, float] | None:
        """The molecule that has been worked on the longest, and for how many seconds; None where
        that is not known."""
