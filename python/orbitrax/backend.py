"""Jobs, one after another, on a backend process that is started when needed."""

from __future__ import annotations

import time
from _thread import allocate_lock

from orbitrax.errors import Cancelled, InputError, LinkClosed, OrbitraxError, UsageError
from orbitrax.link import events
from orbitrax.link.process import PATIENCE, SHORT_PATIENCE, Process, find_backend
from orbitrax.methods import find_method
from orbitrax.results.builder import ResultBuilder
from orbitrax.job import SINGLES
from orbitrax.session.encode import job_packets, plot_packets, table_packets
from orbitrax.session.exchange import exchange
from orbitrax.session.reader import SessionReader
from orbitrax.tables import load_parameters

TYPE_CHECKING = False
if TYPE_CHECKING:
    import os
    from collections.abc import Callable, Generator, Iterable, Iterator, Sequence
    from typing import Any

    from orbitrax.grids.frame import Frame
    from orbitrax.grids.grid import Grid
    from orbitrax.grids.plot import Plot
    from orbitrax.job import Job
    from orbitrax.link.events import Event
    from orbitrax.methods import Method
    from orbitrax.results.result import Result
    from orbitrax.tables import ParameterSet
    from orbitrax.vibrations.modes import Modes

    Listener = Callable[[Event], None]


class Backend:
    """Runs jobs, one after another, on a backend process that it starts when needed.

    The process is kept for all jobs of one method and replaced for another, since it reads the
    parameter tables once. A Backend may be pickled and copied; the copy starts a process of its
    own. It serves one thread at a time: give each thread its own.

    program: the backend to start; None for ORBITRAX_QSOLVE, else the one of the package. tables:
    the folder of the parameter tables. time_limit: seconds for one session, None for no limit.
    """

    def __init__(self, program: str | os.PathLike[str] | None = None,
                 tables: str | os.PathLike[str] | None = None, time_limit: float | None = None):
        self.program, self.tables, self.time_limit = program, tables, time_limit
        self._forget()

    def _forget(self) -> None:
        self._running: Process | None = None
        self._parameters: dict[int, ParameterSet] = {}
        self._method: Method | None = None
        self._last: tuple[Job, Result] | None = None  # what the process still holds
        self._busy = allocate_lock()
        self._cancelled = False
        self._interrupted = False  # the link, perhaps when its session had just ended

    def __getstate__(self) -> dict[str, Any]:
        return {"program": self.program, "tables": self.tables, "time_limit": self.time_limit}

    def __setstate__(self, state: dict[str, Any]) -> None:
        self.__dict__.update(state)
        self._forget()

    def __enter__(self) -> Backend:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def __del__(self) -> None:
        try:
            self.close()
        except Exception:  # an interpreter that is going away has lost half its modules
            pass

    @property
    def pid(self) -> int | None:
        """Process id of the running backend, None when there is none."""
        return self._running.pid if self._running else None

    def parameters(self, method: Method | str | int) -> ParameterSet:
        """The parameter tables of a method, read once."""
        method = find_method(method)
        if method.number not in self._parameters:
            self._parameters[method.number] = load_parameters(method, self.tables)
        return self._parameters[method.number]

    def close(self, patience: float = PATIENCE) -> int | None:
        """Ends the process, if there is one; the next job starts another. Returns the exit status
        of the process. `patience` is how long, in seconds, it may take to end by itself."""
        running: Process | None = self.__dict__.get("_running")
        if running is None:
            return None
        status = running.end(patience)
        self._running = self._last = None
        return status

    def cancel(self) -> None:
        """Ends a session that runs in another thread; there `run` raises Cancelled. Where none
        runs, nothing ends."""
        running = self._running
        link = None if running is None else running.link
        self._cancelled = True
        if link is not None and self._busy.locked():
            self._interrupted = True
            link.interrupt()

    @property
    def cancelled(self) -> bool:
        """Whether `cancel` was called since the last session began: who runs several sessions for
        one answer asks between them, where there is none to end."""
        return self._cancelled

    # ---- jobs -----------------------------------------------------------------------------------

    def run(self, job: Job, on_event: Listener | None = None, time_limit: float | None = None,
            task: str = "energy") -> Result:
        """Runs a job to its end. `on_event` is called with each event as it comes.

        Raises InputError for a job that is refused, CalculationFailed for one that ended without
        results, LinkError if the backend dies, lies or takes too long. The errors repeat the
        backend's own words.
        """
        lead = job.settings.leader()
        if lead is not None:
            return lead(self, job, on_event, time_limit, task)
        result = gathered(job, task, self,
                          self._stream(job, time_limit, on_event is None), on_event)
        self._last = (job, result)
        return result

    def stream(self, job: Job, time_limit: float | None = None
               ) -> Generator[Event, None, None]:
        """Runs a job and yields its events as they come. Leaving the loop early cancels the job.

        An error text is an event here, not an exception: the stream just ends.
        """
        return self._stream(job, time_limit, False)

    def _stream(self, job: Job, time_limit: float | None, quiet: bool
                ) -> Generator[Event, None, None]:
        """The same; quiet: the backend need not tell each cycle of an SCF."""
        began = time.monotonic()
        with self.reserved() as pokes:
            self._last = None
            job.check(self.parameters(job.method))
            pokes += job_packets(job, quiet)

            yield from self._session(self._ensure_process(job), pokes, time_limit,
                                     lambda first: _reader(job, first), began)

    def modes(self, masses: Sequence[float], time_limit: float | None = None) -> Modes:
        """The normal modes of the molecule that `run` ran last, with other masses for its atoms,
        atomic mass units, from the force matrix that a job of vibrations has left. Computes no
        energy. Raises UsageError where no such job was the last, InputError where the backend
        refuses, LinkError as `run` does."""
        from orbitrax.job import VIBRATIONS
        from orbitrax.results.builder import modes_of
        from orbitrax.session.encode import mode_packets
        from orbitrax.session.reader import ModeReader

        if self._last is None or self._last[0].settings.calc_kind != VIBRATIONS:
            raise UsageError("there is no force matrix: run a job of vibrations on this backend "
                             "first")
        job = self._last[0].replace(self._last[0].molecule.replace(masses=masses))
        words: list[str] = []
        found = None
        with self.reserved() as pokes:
            pokes += mode_packets(job)
            for event in self._session(self._holder(), pokes, time_limit,
                                       lambda first: ModeReader(len(job.molecule), first)):
                if isinstance(event, events.NormalModes):
                    found = modes_of(job, event)
                elif isinstance(event, (events.ErrorLine, events.WarningLine)):
                    words.append(event.text)
        if found is None:
            raise InputError("\n".join(words) or "the backend sent no modes")
        return found

    def plot(self, plot: Plot | str = "homo", frame: Frame | None = None,
             on_event: Listener | None = None, time_limit: float | None = None) -> Grid:
        """Values on a grid, from the job that `run` ran last. frame: the points, by default those
        of `box_around`. `on_event` is called with each event as it comes.

        Raises UsageError if no job has been run, InputError for an orbital that does not exist,
        OutOfMemory or CalculationFailed where the backend refuses, LinkError as `run` does.
        """
        from orbitrax.results.grid_builder import GridBuilder

        if self._last is None:
            raise UsageError("there is nothing to plot: run a job on this backend first")
        job, result = self._last
        builder = GridBuilder(plot, frame, job, result)
        with self.reserved() as pokes:
            pokes += plot_packets(job, builder.plot, builder.frame)
            for event in self._session(self._holder(), pokes, time_limit, builder.reader):
                builder.add(event)
                if on_event is not None:
                    on_event(event)
        return builder.grid()

    def map(self, jobs: Iterable[Job], workers: int = 2) -> Iterator[Result | OrbitraxError]:
        """The results of many jobs in their order, by `workers` processes of their own, or in the
        place of a result the error that it ended with.

        Jobs are taken as they are needed. Leaving the loop early ends the processes.
        """
        from collections import deque
        from concurrent.futures import ThreadPoolExecutor
        from threading import local

        own, started = local(), []

        def one(job: Job) -> Result | OrbitraxError:
            if not hasattr(own, "backend"):
                own.backend = Backend(self.program, self.tables, self.time_limit)
                started.append(own.backend)
            try:
                found: Result = own.backend.run(job)
                return found
            except OrbitraxError as error:
                return error

        pool = ThreadPoolExecutor(max(1, workers))
        waiting: deque[Any] = deque()
        try:
            for job in jobs:
                waiting.append(pool.submit(one, job))
                if len(waiting) > 2 * max(1, workers):
                    yield waiting.popleft().result()
            while waiting:
                yield waiting.popleft().result()
        finally:
            for future in waiting:
                future.cancel()
            for backend in started:
                backend.cancel()
            pool.shutdown()
            for backend in started:
                backend.close()

    # ---- sessions -------------------------------------------------------------------------------

    def reserved(self) -> _Reserved:
        """Keeps other threads out while it is entered; left by an error, the process is ended."""
        return _Reserved(self)

    def _session(self, running: Process, pokes: list[bytes], time_limit: float | None,
                 make_reader: Callable[[bool], SessionReader], began: float | None = None
                 ) -> Iterator[Event]:
        """One session with a process. `make_reader` is told whether it is the first of its
        process. began: the moment of `time.monotonic()` from which its time counts."""
        link, first = running.link, running.first_session
        assert link is not None
        if self._cancelled:  # before there was a link to interrupt
            raise self._post_mortem(running)
        link.deadline = self._deadline(time_limit, began)
        if first:
            assert self._method is not None
            pokes[:0] = table_packets(self.parameters(self._method))
        reader = make_reader(first)
        try:
            if first:
                link.greet()
            elif link.execute_ahead(pokes):
                pokes.clear()
            running.first_session = False
            yield from exchange(link, pokes, reader)
        except LinkClosed:
            raise self._post_mortem(running) from None

    def _deadline(self, time_limit: float | None, began: float | None = None) -> float | None:
        limit = self.time_limit if time_limit is None else time_limit
        began = time.monotonic() if began is None else began
        return None if limit is None else began + limit

    # ---- sessions in a row ----------------------------------------------------------------------

    def ahead(self, job: Job) -> bytes:
        """What tells the process of a job while it computes another one; empty where it cannot be
        told so. Raises InputError for a job that is refused."""
        running = self._running
        if (running is None or running.foreign or running.link is None
                or not running.link.in_a_row or running.ended() is not None
                or self._method != job.method or job.settings.leader() is not None):
            return b""
        job.check(self.parameters(job.method))
        return running.link.session(job_packets(job, True))

    def tell(self, frames: bytes) -> None:
        """Tells the process of jobs, which it computes in a row behind those that it knows; each is
        then to be read by `told`."""
        assert self._running is not None and self._running.link is not None
        link, self._last = self._running.link, None
        link.deadline = self._deadline(None)
        try:
            link.send_sessions(frames)
        except LinkClosed:
            pass  # whoever reads meets it again

    def told(self, job: Job) -> Generator[Event, None, None]:
        """The events of the first job that was told and has not been read."""
        running = self._running
        assert running is not None and running.link is not None
        running.link.deadline = self._deadline(None)
        try:
            running.link.begin()
            yield from exchange(running.link, [], _reader(job, False))
        except LinkClosed:
            raise self._post_mortem(running) from None

    def _ensure_process(self, job: Job) -> Process:
        running = self._running
        if running is not None and running.foreign:
            running = self._running = None  # a fork's copy; the process belongs to the parent
        if running is not None and (self._method != job.method or running.ended() is not None):
            self.close()
        if self._running is None:
            self._running = Process(find_backend(self.program))
            self._method = job.method
            self._running.start()
        return self._running

    def _holder(self) -> Process:
        """The process that ran the last job, and no other: that would not know the job. Raises
        LinkError if it has died, UsageError in a fork, to which it does not belong."""
        running = self._running
        if running is None or running.foreign:
            raise UsageError("the last job ran in another process: run it in this one first")
        if running.ended() is not None:
            raise self._post_mortem(running)
        return running

    def _post_mortem(self, running: Process) -> OrbitraxError:
        """What to say of a link that was closed at the other end, or by `cancel`."""
        if self._cancelled:
            self.close(SHORT_PATIENCE)
            return Cancelled("the calculation was cancelled")
        self._running = self._last = None
        return running.post_mortem()


def gathered(job: Job, task: str, backend: Backend, stream: Generator[Event, None, None],
             on_event: Listener | None = None, began: float | None = None) -> Result:
    """The result of a job from the events of its session, with what follows from the orbitals that
    came; began: when it did. Raises what `Backend.run` raises."""
    began = time.monotonic() if began is None else began
    builder = ResultBuilder(job, task)
    try:
        for event in stream:
            builder.add(event)
            if on_event is not None:
                on_event(event)
    except (OrbitraxError, KeyboardInterrupt) as error:
        error.partial = builder.whole  # type: ignore[union-attr]
        raise
    finally:
        stream.close()
        builder.result.wall_seconds = builder.whole.wall_seconds = time.monotonic() - began
    if not builder.has_values:
        raise builder.refusal()
    if builder.result.eigenvectors is not None:
        from orbitrax.orbitals.analysis import analyse_orbitals

        analyse_orbitals(job, builder.result, backend.parameters(job.method))
    return builder.result


def _reader(job: Job, first: bool) -> SessionReader:
    settings = job.settings
    return SessionReader(len(job.molecule), job.uhf, job.eigenvectors, first, settings.calc_kind,
                         settings.ci == SINGLES)


class _Reserved:
    """Keeps other threads out of a session, which hands over the packets in its list. A session
    that broke off, or ended before its intake did, leaves an odd state; its process is ended."""

    def __init__(self, backend: Backend):
        self._backend = backend
        self._pokes: list[bytes] = []

    def __enter__(self) -> list[bytes]:
        if not self._backend._busy.acquire(blocking=False):
            raise UsageError("this backend is running a job already; use one for each thread")
        if self._backend._interrupted:
            self._backend._interrupted = False
            self._backend.close(SHORT_PATIENCE)
        self._backend._cancelled = False
        return self._pokes

    def __exit__(self, kind: type[BaseException] | None, *_: object) -> None:
        try:
            if kind is not None or self._pokes:
                self._backend.close(SHORT_PATIENCE)
        finally:
            self._backend._busy.release()
