"""Everything that can go wrong, as types.

Each error knows under which `status` it stands in a JSON document and with which status the command
line exits.
"""

from __future__ import annotations


class OrbitraxError(Exception):
    """Root of all errors of this package. `partial` is the Result with what did arrive, or None."""

    exit_status = 1
    status = "failed"
    partial = None


class UsageError(OrbitraxError, ValueError):
    """An argument that cannot be meant: an unknown method, an atom number out of range."""

    exit_status = 2


class MoleculeError(UsageError):
    """A molecule that cannot be read or made."""


class ParameterError(OrbitraxError):
    """A parameter table that cannot be used. The text begins with file:line:column."""

    def __init__(self, path, line: int, column: int, text: str):
        super().__init__(path, line, column, text)
        self.path, self.line, self.column, self.text = path, line, column, text

    def __str__(self) -> str:
        place = f"{self.path}"
        if self.line:
            place += f":{self.line}:{self.column}"
        return f"{place}: {self.text}"


class InputError(OrbitraxError):
    """A job that was refused before anything was computed, by the client or by the backend."""

    status = "refused"


class CalculationFailed(OrbitraxError):
    """A calculation that began and gave no usable result."""


class OutOfMemory(CalculationFailed):
    """The backend could not get the memory for this molecule."""


class NotConverged(CalculationFailed):
    """The SCF cycle ended at its iteration limit; `partial` holds its last values."""

    status = "unconverged"


class LinkError(OrbitraxError):
    """The link to the backend cannot be used any more."""


class BackendNotFound(LinkError):
    """There is no backend program to start."""


class ConnectRefused(LinkError):
    """The backend already has a client, or is another one than was asked for."""


class ProtocolError(LinkError):
    """The backend sent what the packet link does not allow."""


class LinkClosed(LinkError):
    """The other end closed the link."""


class BackendDied(LinkError):
    """The backend process ended during a session. `returncode` is negative for a signal."""

    def __init__(self, text: str, returncode: int | None = None):
        super().__init__(text)
        self.returncode = returncode


class TimeLimitExceeded(LinkError):
    """The session took longer than its time limit."""


class Cancelled(LinkError):
    """The session was cancelled from this side."""

    status = "interrupted"
