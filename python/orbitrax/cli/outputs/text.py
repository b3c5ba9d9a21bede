"""The text that would be printed, in a file."""

from __future__ import annotations

import sys

from orbitrax.cli.outputs import Output
from orbitrax.cli.terminal import printable

TYPE_CHECKING = False
if TYPE_CHECKING:
    from orbitrax.cli.command import CommandSettings


class TextOutput(Output):
    """What is printed goes into the file."""

    def __init__(self, command: CommandSettings):
        super().__init__(command)
        self.text_path = command.output


class TextSink:
    """Standard output, or a file that appears whole or not at all. path: None for standard output,
    as "-" is. printed: whether any sink has taken text already."""

    printed = False

    def __init__(self, path: str | None):
        self.path = None if path in (None, "-") else path
        self._parts: list[str] = []

    def check(self) -> None:
        """Refuses a file that cannot be written, before anything is computed."""
        if self.path is not None:
            from orbitrax.files import check_target

            check_target(self.path)

    def write(self, text: str) -> None:
        """Text for standard output goes at once, text for a file when it is closed."""
        TextSink.printed = True
        if self.path is None:
            sys.stdout.write(printable(text))
            sys.stdout.flush()
        else:
            self._parts.append(text)

    def close(self) -> None:
        """Writes the file."""
        if self.path is None or not self._parts:
            return
        from orbitrax.files import replaced

        text, self._parts = "".join(self._parts), []
        with replaced(self.path) as path, open(path, "w", encoding="utf-8") as file:
            file.write(text)
