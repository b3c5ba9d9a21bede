"""Peers of a real backend process: raw conversations, frames in and frames out.

A frame is a transaction code and a body. Tests that speak of the conversation alone take the
fixture `start`, which runs them over each transport of TRANSPORTS; those that speak of the socket
itself take `start_socket`.
"""

from __future__ import annotations

import contextlib
import functools
import itertools
import os
import shutil
import signal
import socket
import struct
import subprocess
import tempfile
import time
from pathlib import Path

import wine

from orbitrax.link import wire

ROOT = Path(__file__).resolve().parents[2]
PROGRAM = Path(os.environ.get("ORBITRAX_QSOLVE", ROOT / "build" / "release" / "qsolve"))
HEAD = struct.Struct("<II")
SANITIZED = PROGRAM.exists() and any(mark in PROGRAM.read_bytes()
                                     for mark in (b"__asan_init", b"__tsan_init"))
PATIENCE = 60.0 if SANITIZED else 10.0  # seconds after which a wait for the backend is a failure
SOON = PATIENCE / 10  # seconds that a process may work before it ends


def names(*texts: str) -> bytes:
    """Texts as they travel, each with its NUL."""
    return b"".join(text.encode() + b"\0" for text in texts)


def frame(code: int, body: bytes = b"") -> bytes:
    """A frame on the packet socket."""
    return HEAD.pack(code, len(body)) + body


class Backend:
    """A backend process of ours and what it prints."""

    farewell = SOON  # seconds that it may take to end when a test is over

    def __init__(self, *arguments: str, stdin=subprocess.DEVNULL, program: Path = PROGRAM, **more):
        self._out = tempfile.TemporaryFile()
        self._error = tempfile.TemporaryFile()
        self.process = subprocess.Popen([str(program), *arguments], stdin=stdin, stdout=self._out,
                                        stderr=self._error, **more)
        self.pid = self.process.pid
        self.expected_error = ""  # what it is to have said on standard error when it has ended
        self.expected_status = 0

    def wait(self, seconds: float = SOON) -> int:
        """The exit status; the process must end before it has worked for `seconds`. What others
        take of the machine is no fault: by the clock it may take ten times as long."""
        if self.process.poll() is not None:
            return self.process.returncode
        began, spent = time.monotonic(), self._worked()
        while True:
            try:
                return self.process.wait(0.1)
            except subprocess.TimeoutExpired:
                if self._worked() - spent > seconds or time.monotonic() - began > 10 * seconds:
                    raise

    def _worked(self) -> float:
        """Seconds on a processor so far, of all threads."""
        words = Path(f"/proc/{self.process.pid}/stat").read_text().rsplit(")", 1)[1].split()
        return (int(words[11]) + int(words[12])) / os.sysconf("SC_CLK_TCK")

    def printed(self) -> str:
        return self._text(self._out)

    def complained(self) -> str:
        """What it wrote on standard error."""
        return self._text(self._error)

    @staticmethod
    def _text(file) -> str:
        file.seek(0)
        return file.read().decode()

    def memory(self, what: str = "VmRSS") -> int:
        """A line of the process's memory status, KiB."""
        for line in Path(f"/proc/{self.pid}/status").read_text().splitlines():
            if line.startswith(what + ":"):
                return int(line.split()[1])
        raise AssertionError(f"no {what}")

    def descriptors(self) -> list[str]:
        """What the open descriptors of the process are, by number."""
        folder, found = Path(f"/proc/{self.pid}/fd"), []
        for name in sorted(os.listdir(folder), key=int):
            with contextlib.suppress(FileNotFoundError):  # closed since it was listed
                found.append(os.readlink(folder / name))
        return found

    def program_file(self) -> Path:
        """The program that the process runs."""
        return Path(os.readlink(f"/proc/{self.pid}/exe"))

    def processor_time(self) -> int:
        """Time on a processor so far, nanoseconds."""
        return int(Path(f"/proc/{self.pid}/schedstat").read_text().split()[0])

    def asleep(self) -> bool:
        """Whether the process sleeps in a wait."""
        return Path(f"/proc/{self.pid}/stat").read_text().rsplit(")", 1)[1].split()[0] == "S"

    def kept_by_system(self) -> int:
        """What the system itself has lost so far of the process's memory, at most, KiB."""
        return 0

    def leave(self) -> None:
        """The client goes; nothing to close here."""

    def finish(self) -> None:
        """The client goes, and the process must end at once, soundly, with nothing to complain of.
        """
        self.leave()
        try:
            status = self.wait(PATIENCE if self.expected_status is None else self.farewell)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
            raise AssertionError("the process did not end with its client") from None
        finally:
            complaint = self.complained()
            self._out.close()
            self._error.close()
        assert complaint == self.expected_error, f"{self.process.pid} says: {complaint!r}"
        assert status == self.expected_status, f"{self.process.pid} ended with status {status}"


class SocketPeer(Backend):
    """A client over the packet socket, by default one end of a pair whose other end is the standard
    input of a process of its own."""

    waters = "w200"  # the molecule of a job that takes seconds

    def __init__(self, *arguments: str, program: Path = PROGRAM, **more):
        self.link, theirs = socket.socketpair()
        self.link.settimeout(PATIENCE)
        with theirs:
            super().__init__(*arguments, stdin=theirs, program=program, **more)

    # ---- frames -------------------------------------------------------------------------------

    def send(self, code: int, body: bytes = b"") -> None:
        """Sends a frame and waits for nothing."""
        self.write(frame(code, body))

    def receive(self) -> tuple[int, bytes]:
        """The next frame of the backend."""
        code, count = HEAD.unpack(self.read(HEAD.size))
        assert count <= wire.HEADER_BYTES + wire.MAX_PAYLOAD
        return code, self.read(count)

    def ask(self, code: int, body: bytes = b"") -> bytes:
        """Sends a frame and returns the body of its answer."""
        self.send(code, body)
        answered, answer = self.receive()
        assert answered == code
        return answer

    def silent(self, seconds: float = 0.05) -> bool:
        """Whether the backend says nothing for a while."""
        self.link.settimeout(seconds)
        try:
            return self.link.recv(1, socket.MSG_PEEK) is None
        except TimeoutError:
            return True
        finally:
            self.link.settimeout(PATIENCE)

    # ---- bytes --------------------------------------------------------------------------------

    def write(self, data: bytes) -> None:
        self.link.sendall(data)

    def read(self, count: int) -> bytes:
        data = b""
        while len(data) < count:
            more = self.link.recv(count - len(data))
            assert more, "the backend closed the link"
            data += more
        return data

    def closed(self) -> bool:
        """Whether the backend has closed the link and nothing is left to read."""
        try:
            return self.link.recv(1) == b""
        except ConnectionResetError:
            return True

    def leave(self) -> None:
        self.link.close()

    def hand_over(self) -> subprocess.Popen:
        """Makes another process the client, which holds the link and does nothing."""
        holder = subprocess.Popen(["sleep", "1000"], pass_fds=[self.link.fileno()])
        self.link.close()
        return holder


_STARTS = 3  # of a bridge, at the most


class DdePeer(SocketPeer):
    """A client of qsolve.exe under Wine: the frames go to the DDE bridge of tests/windows, which
    carries them to a server of its own.

    `process` is the bridge, whose exit status is that of the server; `pid` is the server. With
    `alone`, the server has its usual topic, which then only one of them can have at a time;
    otherwise the usual topic stands for one of its own.
    """

    farewell = PATIENCE  # Wine's server may be busy; the tests of losing a client ask for less
    _count = itertools.count()

    def __init__(self, *arguments: str, program: Path = wine.PROGRAM, alone: bool = False):
        own = f"{os.getpid():x}{next(self._count) % 256:02x}"
        topic = None
        self._lock = contextlib.ExitStack()
        if arguments or alone:
            self._lock.enter_context(wine.locked("wine-topic.lock"))
        else:
            arguments, topic = ("Molarium", own), own
        self._out = tempfile.NamedTemporaryFile()
        self._error = tempfile.TemporaryFile()
        self._status = tempfile.NamedTemporaryFile()
        self.link, theirs = socket.socketpair()
        self.link.settimeout(PATIENCE)
        with theirs:
            for _ in range(_STARTS):
                self.process = wine.launch(*arguments, program=program, out=Path(self._out.name),
                                           status=Path(self._status.name), topic=topic, mark=own,
                                           stdin=theirs, stdout=theirs, stderr=self._error)
                if self._begun():
                    break
        self._mark = own
        self.topic = topic or "CalcBackend"
        self._transactions = self._bytes = 0
        self.expected_error = ""
        self.expected_status = 0

    @functools.cached_property
    def pid(self) -> int:
        return wine.find_process(self._mark)

    def wait(self, seconds: float = SOON) -> int:
        # Wine's own server takes its time over a process that ends while others start, and kills
        # what is slow to leave; what the bridge wrote last is the better word.
        status = self.process.wait(seconds + SOON)
        written = self._told()
        return int(written) if written.isdigit() else status

    def _told(self) -> str:
        return Path(self._status.name).read_text(encoding="ascii")

    def _begun(self) -> bool:
        """Whether the bridge came to life. One process in some thousands does not under Wine."""
        while not self._told():
            if self.process.poll() is not None:
                return bool(self._told())
            time.sleep(0.005)
        return True

    def receive(self) -> tuple[int, bytes]:
        code, answer = super().receive()
        self._transactions += 1
        self._bytes += len(answer)
        return code, answer

    def kept_by_system(self) -> int:
        # The DDE server side of Wine 8 frees neither the data handle that a callback returns nor
        # its copy for the message (the log of its channel "ddeml" shows it), nor small things.
        return (2 * self._bytes + 256 * self._transactions) // 1024

    def hand_over(self):
        raise NotImplementedError("a conversation over DDE belongs to one process")

    def finish(self) -> None:
        with self._lock:
            try:
                super().finish()
            except AssertionError:
                wine.kill(wine.left_over(self._mark))
                raise


TRANSPORTS = {"socket": SocketPeer, "dde": DdePeer}


class Listener(Backend):
    """A process that listens in a runtime directory of its own."""

    def __init__(self, runtime: Path, *arguments: str, topic: str = "CalcBackend", **more):
        self.folder = runtime / "qsolve"
        self.path = self.folder / topic
        environment = {**os.environ, "XDG_RUNTIME_DIR": str(runtime), **more.pop("env", {})}
        super().__init__(*arguments, env=environment, **more)

    def leave(self) -> None:
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)

    def client(self) -> socket.socket:
        """A socket that is connected to the process, as soon as it listens, with nothing said."""
        for _ in range(5000):
            link = socket.socket(socket.AF_UNIX)
            link.settimeout(PATIENCE)
            try:
                link.connect(str(self.path))
                return link
            except (FileNotFoundError, ConnectionRefusedError):
                link.close()
                assert self.process.poll() is None, self.complained()
                time.sleep(0.002)
        raise AssertionError("nobody listens")


class ListenerPeer(SocketPeer):
    """A client of a process that somebody else started."""

    def __init__(self, link: socket.socket):
        self.link = link


def starter(make):
    """The body of a fixture: starts peers by `make`, and at the end of the test sees each of them
    off."""
    peers = []

    def start(*arguments, **more):
        peers.append(make(*arguments, **more))
        return peers[-1]

    yield start
    problems = []
    for peer in peers:
        try:
            peer.finish()
        except AssertionError as problem:
            problems.append(problem)
    if problems:
        raise problems[0]


def copy_program(folder: Path, name: str = "qsolve", source: Path = PROGRAM) -> Path:
    """A copy of the program in another place."""
    return Path(shutil.copy(source, folder / name))


def kernel_forms(program: Path = PROGRAM) -> list[str]:
    """The forms of the kernels that the program can run here, as it names them."""
    said = subprocess.run([program, "--version"], capture_output=True, text=True, check=True).stdout
    line = next(line for line in said.splitlines() if line.startswith("kernels:"))
    return line[line.index("(of ") + 4:line.index(")")].split()
