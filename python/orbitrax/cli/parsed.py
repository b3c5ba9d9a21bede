"""What the readers of a command line hand over."""

from __future__ import annotations

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any


class Parsed:
    """A command line: the command and the values that were given, by name."""

    __slots__ = ("command", "values")

    def __init__(self, command: str, values: dict[str, Any]):
        self.command, self.values = command, values
