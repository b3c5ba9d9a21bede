"""A backend process and the sessions that are run on it."""

from __future__ import annotations

import contextlib
import os
import signal
import socket
import subprocess
import tempfile
import threading
import time
import weakref
from pathlib import Path
from typing import Callable, Iterator

import numpy as np

from orbitrax.link import conversation, events, wire
from orbitrax.errors import (BackendDied, BackendNotFound, CalculationFailed, Cancelled, InputError,
                             LinkClosed, OrbitraxError, OutOfMemory, ProtocolError,
                             TimeLimitExceeded, UsageError)
from orbitrax.grids.grid import POTENTIAL, Frame, Grid, Plot, box_around
from orbitrax.job import OPTIMISATION, Job
from orbitrax.methods import find_method
from orbitrax.tables import ParameterSet, load_parameters
from orbitrax.session.reader import PlotReader, SessionReader
from orbitrax.results.builder import ResultBuilder
from orbitrax.results.result import Result

_GREETING = 10.0  # seconds a backend may take to accept the conversation
_PATIENCE = 1.0  # seconds a process is given to end by itself, and again after SIGTERM
_SHORT_PATIENCE = 0.25  # the same for one whose session was given up
_OUTPUT_KEPT = 2000  # last bytes of a dead process's own output that an error repeats
_NO_MEMORY = ("has consumed all available memory", "has exhausted all available memory",
              "Unable to allocate memory")
_UNDER_WINE = Path(__file__).resolve().parents[2] / "tests" / "windows" / "qsolve-wine"
_V3_FLAGS = {"avx2", "fma", "bmi1", "bmi2", "f16c", "movbe", "abm"}


# ---- the program --------------------------------------------------------------------------------


def find_backend(program: str | os.PathLike | None = None) -> Path:
    """The backend program: the one named, else ORBITRAX_QSOLVE, else the release build of this
    checkout, in its form for modern processors where there is one and this processor is. "wine"
    names the Windows build of this checkout, under Wine; for its developers."""
    told = program or os.environ.get("ORBITRAX_QSOLVE")
    if told:
        path = _UNDER_WINE if told == "wine" else Path(told)
        if not path.is_file() or not os.access(path, os.X_OK):
            raise BackendNotFound(f"{path} is not a program that can be started")
        return path
    path = Path(__file__).resolve().parents[2] / "build" / "release" / "qsolve"
    modern = path.with_name("qsolve-v3")
    if modern.is_file() and _modern_processor():
        return modern
    if not path.is_file():
        raise BackendNotFound(f"the backend {path} has not been built yet; run ./setup, or name "
                              "another one with --backend or ORBITRAX_QSOLVE")
    return path


def _modern_processor() -> bool:
    try:
        with open("/proc/cpuinfo", encoding="ascii", errors="replace") as file:
            for line in file:
                if line.startswith("flags"):
                    return _V3_FLAGS <= set(line.split())
    except OSError:
        pass
    return False


class _Process:
    """A backend process, its conversation and what it printed. It is made first and started later,
    so that whoever holds it can end it even if the start is interrupted."""

    def __init__(self, program: Path):
        self.program = program
        self.process: subprocess.Popen | None = None
        self.link: conversation.Conversation | None = None
        self.first_session = True
        self._output = _output_file()
        self._owner = os.getpid()

    def start(self) -> None:
        """Starts the process over a socket pair."""
        ours, theirs = socket.socketpair()
        self.link = conversation.Conversation(ours)
        try:
            # A session of its own: Ctrl-C at the terminal is for the client, which then closes the
            # link.
            self.process = subprocess.Popen(
                [str(self.program)], stdin=theirs, stdout=self._output, stderr=subprocess.STDOUT,
                start_new_session=True)
        except OSError as error:
            raise BackendNotFound(f"{self.program} cannot be started: {error.strerror}") from None
        finally:
            theirs.close()

    def end(self, patience: float = _PATIENCE) -> int | None:
        """Ends the conversation and the process, and reaps it. Returns its exit status. Never
        raises but for an interrupt, and even then leaves no process."""
        if os.getpid() != self._owner:  # a fork has only copies; the process is not its child
            return None
        try:
            if self.link is not None:
                self.link.disconnect()
            return self._reap(patience) if self.process is not None else None
        except BaseException:
            if self.process is not None:
                self.process.kill()
                self.process.wait()
            raise
        finally:
            self._output.close()

    def _reap(self, patience: float) -> int:
        for push in (lambda: None, self.process.terminate):
            push()
            try:
                return self.process.wait(patience)
            except subprocess.TimeoutExpired:
                pass
        self.process.kill()
        return self.process.wait()

    def printed(self) -> str:
        """The last of what the process printed."""
        if self._output.closed:
            return ""
        size = self._output.seek(0, os.SEEK_END)
        self._output.seek(max(0, size - _OUTPUT_KEPT))
        return self._output.read().decode("utf-8", "replace").strip()


def _output_file():
    """A file without a name, so that a process that prints much never waits for a reader."""
    if hasattr(os, "memfd_create"):
        return os.fdopen(os.memfd_create("qsolve-output"), "w+b")
    return tempfile.TemporaryFile()


# ---- sessions -----------------------------------------------------------------------------------


class Backend:
    """Runs jobs, one after another, on a backend process that it starts when needed.

    The process is kept for all jobs of one method and replaced for another, since it reads the
    parameter tables once. A Backend may be pickled and copied; the copy starts a process of its
    own. It serves one thread at a time: give each thread its own.

    program: the backend to start (see `find_backend`). tables: the folder of the parameter tables.
    time_limit: seconds for one session, None for no limit.
    """

    def __init__(self, program: str | os.PathLike | None = None,
                 tables: str | os.PathLike | None = None, time_limit: float | None = None):
        self.program, self.tables, self.time_limit = program, tables, time_limit
        self._forget()

    def _forget(self) -> None:
        self._running: _Process | None = None
        self._finalizer = None
        self._parameters: dict[int, ParameterSet] = {}
        self._method = None
        self._last: tuple[Job, Result] | None = None  # what the process still holds
        self._busy = threading.Lock()
        self._cancelled = False
        self._owner = os.getpid()

    def __getstate__(self):
        return {"program": self.program, "tables": self.tables, "time_limit": self.time_limit}

    def __setstate__(self, state):
        self.__dict__.update(state)
        self._forget()

    def __enter__(self) -> Backend:
        return self

    def __exit__(self, *_) -> None:
        self.close()

    def __del__(self):
        try:
            self.close()
        except Exception:  # an interpreter that is going away has lost half its modules
            pass

    @property
    def pid(self) -> int | None:
        """Process id of the running backend, None when there is none."""
        return self._running.process.pid if self._running and self._running.process else None

    def parameters(self, method) -> ParameterSet:
        """The parameter tables of a method, read once."""
        method = find_method(method)
        if method.number not in self._parameters:
            self._parameters[method.number] = load_parameters(method, self.tables)
        return self._parameters[method.number]

    def close(self, patience: float = _PATIENCE) -> int | None:
        """Ends the process, if there is one; the next job starts another. Returns the exit status
        of the process. `patience` is how long, in seconds, it may take to end by itself."""
        running = self.__dict__.get("_running")
        if running is None:
            return None
        status = running.end(patience)
        self._running = self._last = None
        self._finalizer.detach()
        return status

    def cancel(self) -> None:
        """Ends a session that runs in another thread; there `run` raises Cancelled."""
        running = self._running
        self._cancelled = True
        if running is not None and running.link is not None:
            running.link.interrupt()

    def run(self, job: Job, on_event: Callable[[events.Event], None] | None = None,
            time_limit: float | None = None, task: str = "energy") -> Result:
        """Runs a job to its end. `on_event` is called with each event as it comes.

        Raises InputError for a job that is refused, CalculationFailed for one that ended without
        results, LinkError if the backend dies, lies or takes too long. The errors repeat the
        backend's own words.
        """
        began = time.monotonic()
        builder = ResultBuilder(job, task)
        try:
            with contextlib.closing(self.stream(job, time_limit)) as stream:
                for event in stream:
                    builder.add(event)
                    if on_event is not None:
                        on_event(event)
        except OrbitraxError as error:
            error.partial = builder.result
            raise
        finally:
            builder.result.wall_seconds = time.monotonic() - began
        if not builder.has_values:
            raise _refusal(builder)
        self._last = (job, builder.result)
        return builder.result

    def stream(self, job: Job, time_limit: float | None = None) -> Iterator[events.Event]:
        """Runs a job and yields its events as they come. Leaving the loop early cancels the job.

        An error text is an event here, not an exception: the stream just ends.
        """
        pokes: list[bytes] = []
        with self._reserved(pokes):
            self._last = None
            job.check(self.parameters(job.method))
            pokes += job.packets()

            def reader(first: bool) -> SessionReader:
                return SessionReader(len(job.molecule), job.unrestricted, job.send_eigenvectors,
                                     first, job.kind == OPTIMISATION)

            yield from self._session(job, pokes, time_limit, reader)

    def plot(self, plot: Plot | str = "homo", frame: Frame | None = None,
             on_event: Callable[[events.Event], None] | None = None,
             time_limit: float | None = None) -> Grid:
        """Values on a grid, from the job that `run` ran last. frame: the points, by default those
        of `box_around`. `on_event` is called with each event as it comes.

        Raises UsageError if no job has been run, InputError for an orbital that does not exist,
        OutOfMemory or CalculationFailed where the backend refuses, LinkError as `run` does.
        """
        if self._last is None:
            raise UsageError("there is nothing to plot: run a job on this backend first")
        job, result = self._last
        plot = Plot(plot) if isinstance(plot, str) else plot
        frame = frame or box_around(result.coordinates)
        columns, rows, planes = frame.counts
        grids = planes * (2 if plot.kind == POTENTIAL else 1)
        frame.check_memory(grids // planes)
        pokes = job.plot_packets(plot, frame)
        found: list = []
        words: dict[type, list] = {events.ErrorLine: [], events.WarningLine: []}
        with self._reserved(pokes):
            for event in self._session(job, pokes, time_limit,
                                       lambda first: PlotReader(columns * rows, grids, first)):
                if isinstance(event, events.PlotPlane):
                    found.append(event.values)
                elif type(event) in words and event.text not in words[type(event)]:
                    words[type(event)].append(event.text)  # each plane says it again
                if on_event is not None:
                    on_event(event)
        _check_plot(plot, words[events.ErrorLine], words[events.WarningLine])
        stack = np.array(found).reshape(planes, -1, rows, columns).transpose(1, 3, 2, 0)
        if not np.all(np.isfinite(stack)):
            raise CalculationFailed("the backend sent a number that is not finite, in a plot")
        return Grid(stack[0], frame, plot, job.molecule.numbers, result.coordinates,
                    plot.title(result), job.method.title, plot.orbital_of(result),
                    stack[1] if plot.kind == POTENTIAL else None)

    @contextlib.contextmanager
    def _reserved(self, pokes: list) -> Iterator[None]:
        """Keeps other threads out of a session that hands over `pokes`. A session that broke off,
        or ended before its intake did, leaves an odd state; its process is ended."""
        if not self._busy.acquire(blocking=False):
            raise UsageError("this backend is running a job already; use one for each thread")
        sound = False
        try:
            self._cancelled = False
            yield
            sound = not pokes
        finally:
            try:
                if not sound:
                    self.close(_SHORT_PATIENCE)
            finally:
                self._busy.release()

    def _session(self, job: Job, pokes: list, time_limit: float | None,
                 make_reader: Callable[[bool], SessionReader]) -> Iterator[events.Event]:
        """The lock-step loop. Takes from `pokes` what the backend asks for; `make_reader` is told
        whether this is the first session of its process."""
        limit = self.time_limit if time_limit is None else time_limit
        deadline = None if limit is None else time.monotonic() + limit
        self._ensure_process(job)
        running = self._running
        link, first = running.link, running.first_session
        link.deadline = deadline
        if first:
            tables = self.parameters(job.method)
            head = [wire.word(4), wire.word(job.method.number), *tables.packets]
            pokes[:0] = [wire.packet(payload) for payload in head]
        reader = make_reader(first)
        words: list[str] = []
        results = False
        try:
            if first:
                self._greet(link, deadline)
            else:
                link.execute()
            running.first_session = False
            while (packet := link.request()) is not None:
                if packet.kind == wire.REQUEST_NEXT:
                    if not pokes:
                        raise ProtocolError("the backend asks for more than the job has to tell")
                    link.poke(pokes[0])
                    del pokes[0]
                    continue
                for event in reader.feed(packet):
                    if isinstance(event, events.ErrorLine):
                        words.append(event.text)
                    results |= isinstance(event, (events.ResultBlock, events.PlotPlane))
                    yield event
        except LinkClosed:
            raise self._post_mortem() from None
        if results and not reader.finished:
            raise CalculationFailed("\n".join(words) or "the backend ended the session in the "
                                    "middle of its results")
        if not results and not words:
            raise ProtocolError("the backend ended the session without results and without a word")

    @staticmethod
    def _greet(link, deadline: float | None) -> None:
        """Opens the conversation. A program that is no backend never answers, so this wait always
        has an end."""
        patience = time.monotonic() + _GREETING
        link.deadline = patience if deadline is None else min(patience, deadline)
        try:
            link.connect()
        except TimeLimitExceeded:
            if deadline is not None and deadline <= patience:
                raise
            raise ProtocolError(f"the backend has not answered for {_GREETING:g} seconds; is it "
                                "the right program?") from None
        link.deadline = deadline

    def _ensure_process(self, job: Job) -> None:
        if self._running is not None and os.getpid() != self._owner:
            self._running = None  # a fork's copy; the process belongs to the parent
        if self._running is not None and (self._method != job.method
                                          or self._running.process.poll() is not None):
            self.close()
        if self._running is None:
            self._running = _Process(find_backend(self.program))
            self._finalizer = weakref.finalize(self, _Process.end, self._running)
            self._method = job.method
            self._owner = os.getpid()
            self._running.start()

    def _post_mortem(self) -> OrbitraxError:
        """What to say of a link that was closed at the other end, or by `cancel`."""
        if self._cancelled:
            self.close(_SHORT_PATIENCE)
            return Cancelled("the calculation was cancelled")
        running = self._running
        try:
            running.process.wait(_PATIENCE / 2)
        except subprocess.TimeoutExpired:
            pass
        printed = running.printed()
        code = self.close()
        if code is not None and code < 0:
            how = f"was ended by signal {-code} ({_signal_name(-code)})"
        else:
            how = f"closed the link and ended with status {code}"
        text = f"the backend {how}"
        return BackendDied(f"{text}: {printed}" if printed else text, code)


def _signal_name(number: int) -> str:
    try:
        return signal.Signals(number).name
    except ValueError:
        return "unknown"


def _check_plot(plot: Plot, errors: list, warnings: list) -> None:
    """Raises what the texts of a plot say. A warning about an orbital means that there is none, and
    that the grid which came holds nothing."""
    words = "\n".join(errors)
    if errors:
        memory = any(text in words for text in _NO_MEMORY)
        raise OutOfMemory(words) if memory else CalculationFailed(words)
    if warnings and plot.of_orbital:
        raise InputError("\n".join(warnings))


def _refusal(builder: ResultBuilder) -> OrbitraxError:
    """The error for a session that ended with texts and no results."""
    words = "\n".join(builder.result.errors)
    if any(text in words for text in _NO_MEMORY):
        error: OrbitraxError = OutOfMemory(words)
    elif builder.started:
        error = CalculationFailed(words)
    else:
        error = InputError(words)
    error.partial = builder.result
    return error
