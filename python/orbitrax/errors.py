"""Everything that can go wrong, as types.

    OrbitraxError
      UsageError              an argument that cannot be meant; a ValueError too
        SettingError          a setting with a value that it cannot have
        MoleculeError         a molecule that cannot be read or made
      ParameterError          a parameter table that cannot be used
      InputError              a job that was refused
      CalculationFailed       a calculation that began and gave no usable result
        OutOfMemory
        NotConverged          `partial` holds its last values
      LinkError               the link to the backend cannot be used any more
        BackendNotFound
        ConnectRefused
        ProtocolError
        LinkClosed
        BackendDied
        TimeLimitExceeded
        Cancelled
          Stopped             a run that was asked to end early
      Interrupted             the program was asked to end

Each error knows under which `status` it stands in a JSON document and with which status the command
line exits: 1 where there is no result to be believed, 2 where the request is wrong, 3 where the
program failed. Texts name settings as they are typed there, --scf-iterations; `str` has them as
Python has them, scf_iterations.
"""

from __future__ import annotations

TYPE_CHECKING = False
if TYPE_CHECKING:
    import os

    from orbitrax.results.result import Result


class OrbitraxError(Exception):
    """Root of all errors of this package. `partial` is the Result with what did arrive, or None."""

    exit_status = 3
    status = "failed"
    partial: Result | None = None

    @property
    def typed(self) -> str:
        """The text for someone at the command line."""
        return str(self.args[0]) if self.args else type(self).__name__

    def __str__(self) -> str:
        return in_python(self.typed) if "--" in self.typed else self.typed


def in_python(text: str) -> str:
    """A text whose settings are spelled as in Python: diis=False for --no-diis, scf_limit for
    --scf-limit. An option of ./setup stays."""
    import re

    def spelled(found: re.Match[str]) -> str:
        name = found.group(2).replace("-", "_")
        return f"{name}=False" if found.group(1) else name

    return re.sub(r"(?<![\w-])(?<!\./setup )--(no-)?([a-z][a-z-]*[a-z])", spelled, text)


class UsageError(OrbitraxError, ValueError):
    """An argument that cannot be meant: an unknown method, an atom number out of range."""

    exit_status = 2


class SettingError(UsageError):
    """A setting with a value that it cannot have. name: of the setting; reason: what it should be,
    the same sentence wherever the setting is given."""

    def __init__(self, name: str, value: object, reason: str):
        self.name, self.value, self.reason = name, value, reason
        super().__init__(f"--{name.replace('_', '-')} {value}: {reason}")

    def __reduce__(self) -> tuple[type[SettingError], tuple[str, object, str]]:
        return type(self), (self.name, self.value, self.reason)


class MoleculeError(UsageError):
    """A molecule that cannot be read or made."""


class ParameterError(OrbitraxError):
    """A parameter table that cannot be used. The text begins with file:line:column."""

    def __init__(self, path: str | os.PathLike[str], line: int, column: int, text: str):
        super().__init__(path, line, column, text)
        self.path, self.line, self.column, self.text = path, line, column, text

    @property
    def typed(self) -> str:
        """The text, with its place in front."""
        place = f"{self.path}:{self.line}:{self.column}" if self.line else f"{self.path}"
        return f"{place}: {self.text}"


class InputError(OrbitraxError):
    """A job that was refused before anything was computed, by the client or by the backend."""

    exit_status = 2
    status = "refused"


class CalculationFailed(OrbitraxError):
    """A calculation that began and gave no usable result."""

    exit_status = 1


class OutOfMemory(CalculationFailed):
    """The backend could not get the memory for this molecule."""


class NotConverged(CalculationFailed):
    """Iterations or a search that ended at their limit; `partial` holds the last values."""

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

    exit_status = 1


class Interrupted(OrbitraxError):
    """Someone ended the program on its way; `partial` holds what there was."""

    exit_status = 130  # 128 + SIGINT
    status = "interrupted"


class Terminated(KeyboardInterrupt):
    """The system, a batch queue or a terminal that closes asks the program to end. signal_name: by
    what; exit_status: that of a program which ends for it."""

    def __init__(self, number: int = 15, signal_name: str = "SIGTERM"):
        super().__init__()
        self.exit_status, self.signal_name = 128 + number, signal_name


class Cancelled(LinkError):
    """The session was cancelled from this side."""

    status = "interrupted"


class Stopped(Cancelled):
    """A run that was asked to end early, and did so with all that it had written."""

    exit_status = 130  # 128 + SIGINT
