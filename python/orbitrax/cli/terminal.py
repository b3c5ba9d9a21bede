"""Messages, warnings and progress on standard error."""

from __future__ import annotations

import os
import sys

_SPINNER = "-\\|/"
_USUAL_COLUMNS = 80


def printable(text: str) -> str:
    """The text with what a terminal would obey (escapes, bells, reversed writing) in letters. File
    names and the words of a backend may hold anything."""
    if text.isprintable():
        return text
    return "".join(c if c.isprintable() or c in "\n\t" else c.encode("unicode_escape").decode()
                   for c in text)


class Terminal:
    """Messages, warnings and progress on standard error. Where that takes nothing any more, as a
    terminal that has been closed, they are lost, and nothing else is.

    color: "auto", "always" or "never". shares: whether standard output goes to the same terminal as
    it comes, which leaves no room for a line of progress.
    """

    def __init__(self, quiet: bool = False, color: str = "auto", shares: bool = False):
        self._quiet = quiet
        terminal = sys.stderr.isatty()
        self._color = color == "always" or (
            color == "auto" and terminal and not os.environ.get("NO_COLOR"))
        self._live = terminal and not quiet and not shares
        self._shown = False
        self._line = ""  # of progress, as it stands there
        self._turn = 0

    def error(self, text: str) -> None:
        """Always shown."""
        self._say("error", "31", text)

    def warning(self, text: str) -> None:
        """Shown unless quiet."""
        if not self._quiet:
            self._say("warning", "33", text)

    def note(self, text: str) -> None:
        """Something helpful; shown unless quiet."""
        if not self._quiet:
            self._say("note", "36", text)

    def tell(self, text: str) -> None:
        """A plain word, shown unless quiet."""
        if not self._quiet:
            self._write(f"orbitrax: {printable(text)}\n")

    def _say(self, label: str, code: str, text: str) -> None:
        if self._color:
            label = f"\x1b[{code};1m{label}\x1b[0m"
        self._write(f"orbitrax: {label}: {printable(text)}\n")

    def progress(self, text: str) -> None:
        """The line that says what goes on, on a terminal only."""
        if not self._live:
            return
        self._turn = (self._turn + 1) % len(_SPINNER)
        columns = self._columns() - 1
        visible = "".join(c if c.isprintable() else " " for c in text)
        self._line = f"\r{_SPINNER[self._turn]} {visible}"[:columns + 1] + "\x1b[K"
        self._write(self._line)
        self._shown = True

    @staticmethod
    def _columns() -> int:
        try:
            return os.get_terminal_size(sys.stderr.fileno()).columns or _USUAL_COLUMNS
        except OSError:
            return _USUAL_COLUMNS

    @staticmethod
    def _write(text: str) -> None:
        try:
            sys.stderr.write(text)
            sys.stderr.flush()
        except OSError:
            pass

    def row(self, text: str) -> None:
        """A line that stays, above the progress line, which moves down, on a terminal only."""
        if self._live:
            below = self._line if self._shown else ""
            self._write(f"\r{printable(text)}\x1b[K\n{below}")

    def end_progress(self) -> None:
        """Takes the progress line away."""
        if self._shown:
            self._shown = False
            self._write("\r\x1b[K")
