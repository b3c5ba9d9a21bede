"""The backend as a process: found, started, ended, and asked what it died of.

It is spawned by the system's own call, over a bare socket: the modules subprocess, socket and
signal take longer to load than a small molecule takes to compute.
"""

from __future__ import annotations

import atexit
import os
import select
import time
from _signal import SIGKILL, SIGPIPE, SIGTERM, SIGXFSZ
from _socket import socketpair

from orbitrax.errors import BackendDied, BackendNotFound
from orbitrax.paths import package_path
from orbitrax.link.conversation import Conversation

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import IO

PATIENCE = 1.0  # seconds a process is given to end by itself, and again after SIGTERM
SHORT_PATIENCE = 0.25  # the same for one whose session was given up
_OUTPUT_KEPT = 2000  # last bytes of a dead process's own output that an error repeats
_LOOK_AGAIN = 0.002  # seconds, where the system cannot wait for a process with a limit

_alive: set[Process] = set()  # what `atexit` ends


# ---- the program --------------------------------------------------------------------------------


def find_backend(program: str | os.PathLike[str] | None = None) -> str:
    """The backend program: the one named, else ORBITRAX_QSOLVE, else the one of the package."""
    told = program or os.environ.get("ORBITRAX_QSOLVE")
    if told:
        path = os.fspath(told)
        if not os.path.isfile(path) or not os.access(path, os.X_OK):
            raise BackendNotFound(f"{path} is not a program that can be started")
        return path
    path = package_path("programs", "qsolve")
    if not os.path.isfile(path):
        raise BackendNotFound(f"the backend {os.path.realpath(path)} has not been built yet; run "
                              "./setup, or name another one with --backend or ORBITRAX_QSOLVE")
    return path


# ---- the process --------------------------------------------------------------------------------


class Process:
    """A backend process, its conversation and what it printed. It is made first and started later,
    so that whoever holds it can end it even if the start is interrupted."""

    def __init__(self, program: str):
        self.program = program
        self.pid: int | None = None
        self.link: Conversation | None = None
        self.first_session = True
        self._status: int | None = None
        self._output = _output_file()
        self._owner = os.getpid()

    def start(self) -> None:
        """Starts the process over a socket pair. Ctrl-C at the terminal is for the client, which
        then closes the link: the process has a session of its own."""
        ours, theirs = socketpair()
        self.link = Conversation(ours)
        _alive.add(self)
        link, output = _above_standard(theirs.fileno()), _above_standard(self._output.fileno())
        try:
            self.pid = os.posix_spawn(
                self.program, [self.program], os.environ, setsid=True,
                setsigdef=(SIGPIPE, SIGXFSZ),  # Python ignores these
                file_actions=[(os.POSIX_SPAWN_DUP2, link, 0), (os.POSIX_SPAWN_DUP2, output, 1),
                              (os.POSIX_SPAWN_DUP2, output, 2)])
        except OSError as error:
            raise BackendNotFound(f"{self.program} cannot be started: {error.strerror}") from None
        finally:
            for copy, own in ((link, theirs.fileno()), (output, self._output.fileno())):
                if copy != own:
                    os.close(copy)
            theirs.close()

    @property
    def foreign(self) -> bool:
        """Whether this is a fork's copy; the process is no child of this one."""
        return os.getpid() != self._owner

    def ended(self, patience: float = 0.0) -> int | None:
        """The exit status, negative for a signal, once the process has ended; waits up to
        `patience` seconds for that. None while it runs."""
        if self._status is None and self.pid is not None:
            if patience > 0:
                _wait(self.pid, patience)
            self._status = _reaped(self.pid)
        return self._status

    def end(self, patience: float = PATIENCE) -> int | None:
        """Ends the conversation and the process, and reaps it. Returns its exit status. Never
        raises but for an interrupt, and even then leaves no process."""
        if self.foreign:
            return None
        try:
            if self.link is not None:
                self.link.disconnect()
            for signal_number in (0, SIGTERM):
                if signal_number and self.pid is not None:
                    os.kill(self.pid, signal_number)
                if self.pid is None or self.ended(patience) is not None:
                    return self._status
            return self._killed()
        except BaseException:
            self._killed()
            raise
        finally:
            _alive.discard(self)
            self._output.close()

    def _killed(self) -> int | None:
        if self.pid is not None and self._status is None:
            os.kill(self.pid, SIGKILL)
            _, status = os.waitpid(self.pid, 0)
            self._status = os.waitstatus_to_exitcode(status)
        return self._status

    def printed(self) -> str:
        """The last of what the process printed."""
        if self._output.closed:
            return ""
        size = self._output.seek(0, os.SEEK_END)
        self._output.seek(max(0, size - _OUTPUT_KEPT))
        return self._output.read().decode("utf-8", "replace").strip()

    def post_mortem(self) -> BackendDied:
        """What to say of a process that has closed the link. Ends it."""
        self.ended(PATIENCE / 2)
        printed = self.printed()
        code = self.end()
        if code is not None and code < 0:
            how = f"was ended by signal {-code} ({_signal_name(-code)})"
        else:
            how = f"closed the link and ended with status {code}"
        text = f"the backend {how}"
        return BackendDied(f"{text}: {printed}" if printed else text, code)


@atexit.register
def _end_all() -> None:
    """No process outlives the program that started it."""
    for process in list(_alive):
        process.end()


def _wait(pid: int, patience: float) -> None:
    """Returns when the process has ended, or after `patience` seconds."""
    try:
        handle = os.pidfd_open(pid)
    except (AttributeError, OSError):
        end = time.monotonic() + patience
        while time.monotonic() < end and not _has_ended(pid):
            time.sleep(_LOOK_AGAIN)
        return
    try:
        watch = select.poll()
        watch.register(handle, select.POLLIN)
        watch.poll(1000 * patience)
    finally:
        os.close(handle)


def _has_ended(pid: int) -> bool:
    try:
        return os.waitid(os.P_PID, pid, os.WEXITED | os.WNOHANG | os.WNOWAIT) is not None
    except ChildProcessError:
        return True


def _reaped(pid: int) -> int | None:
    try:
        done, status = os.waitpid(pid, os.WNOHANG)
    except ChildProcessError:  # somebody else has reaped it
        return 0
    return os.waitstatus_to_exitcode(status) if done else None


def _above_standard(handle: int) -> int:
    """The handle, or a copy of it that no standard stream of the process will overwrite."""
    if handle > 2:
        return handle
    import fcntl

    return fcntl.fcntl(handle, fcntl.F_DUPFD_CLOEXEC, 3)


def _output_file() -> IO[bytes]:
    """A file without a name, so that a process that prints much never waits for a reader."""
    if hasattr(os, "memfd_create"):
        return os.fdopen(os.memfd_create("qsolve-output"), "w+b")
    import tempfile

    return tempfile.TemporaryFile()


def _signal_name(number: int) -> str:
    import signal

    try:
        return signal.Signals(number).name
    except ValueError:
        return "unknown"
