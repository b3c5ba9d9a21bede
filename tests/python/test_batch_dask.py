"""Batches on a Dask scheduler and workers that are real processes, and are lost."""

import concurrent.futures
import signal
import socket
import subprocess
import sys
from contextlib import nullcontext
from pathlib import Path
from types import SimpleNamespace
from unittest.mock import Mock

import pytest
from batches import (ENVIRONMENT, ROOT, children, command, compared, gone, killed, lines_of,
                     orbitrax, row_of_waters, small_molecules, until)

pytest.importorskip("distributed")
from orbitrax.bulk import cluster as cluster_engine

_SCHEDULER = ("import sys; from distributed.cli.dask_scheduler import main; "
              "main(['--port', sys.argv[1], '--host', '127.0.0.1', '--no-dashboard'])")
_WORKER = ("import sys; from distributed.cli.dask_worker import main; "
           "main(['tcp://127.0.0.1:' + sys.argv[1], '--nthreads', '1', '--no-nanny', "
           "'--no-dashboard', '--death-timeout', '120'])")


class Cluster:
    """A scheduler and workers on loopback."""

    def __init__(self, folder, workers):
        with socket.socket() as free:
            free.bind(("127.0.0.1", 0))
            self.port = free.getsockname()[1]
        self.address = f"tcp://127.0.0.1:{self.port}"
        self._folder, self._log = folder, open(folder / "dask.log", "w")
        self.scheduler = self.start(_SCHEDULER)
        self.workers = [self.start(_WORKER) for _ in range(workers)]

    def start(self, code):
        """A process of it."""
        return subprocess.Popen([sys.executable, "-c", code, str(self.port)], cwd=self._folder,
                                env=ENVIRONMENT, stdout=self._log, stderr=self._log)

    def restart_scheduler(self):
        """Kills it, and starts another in its place."""
        killed(self.scheduler.pid)
        self.scheduler.wait()
        self.scheduler = self.start(_SCHEDULER)

    def end(self):
        """Ends all of it."""
        for process in [*self.workers, self.scheduler]:
            process.send_signal(signal.SIGKILL)
            process.wait()
        self._log.close()


@pytest.fixture
def cluster(tmp_path):
    found = Cluster(tmp_path, 4)
    yield found
    found.end()


def test_workers_and_the_scheduler_may_be_lost(tmp_path, cluster):
    names = tmp_path / "list.smi"
    names.write_text("".join(small_molecules(200)))
    path = tmp_path / "r.jsonl"
    run = subprocess.Popen(command("batch", names, "-m", "am1", "-o", path, "--dask",
                                   cluster.address), cwd=ROOT, env=ENVIRONMENT,
                           stderr=subprocess.PIPE, text=True)
    until(lambda: lines_of(path) > 20 or run.poll() is not None, 90)
    killed(cluster.workers[0].pid)
    until(lambda: lines_of(path) > 60 or run.poll() is not None, 90)
    cluster.restart_scheduler()
    cluster.workers += [cluster.start(_WORKER) for _ in range(2)]
    words = run.communicate(timeout=200)[1]
    assert run.returncode == 0, words
    done = orbitrax("batch", names, "-m", "am1", "-o", tmp_path / "here.jsonl")
    assert done.returncode == 0
    assert compared(path) == compared(tmp_path / "here.jsonl")


def backends_of(pid):
    """The backends that a process has started; a worker starts other things as well."""
    found = []
    for one in children(pid):
        try:
            if Path(f"/proc/{one}/comm").read_text().strip() == "qsolve":
                found.append(one)
        except OSError:  # it has ended meanwhile
            pass
    return found


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGKILL])
def test_a_run_that_is_given_up_ends_its_backends(tmp_path, number):
    """One cancelled, and one whose client has died; the worker itself goes on living."""
    names = tmp_path / "list.csv"
    (tmp_path / "large.xyz").write_text(row_of_waters(400))
    names.write_text("id,file\nlarge,large.xyz\n")
    found = Cluster(tmp_path, 1)
    try:
        worker = found.workers[0]
        run = subprocess.Popen(command("batch", names, "-m", "am1", "--task", "vibrations", "-o",
                                       tmp_path / "r.jsonl", "--dask", found.address), cwd=ROOT,
                               env=ENVIRONMENT, stderr=subprocess.PIPE, text=True)
        until(lambda: backends_of(worker.pid) or run.poll() is not None, 90)
        backends = backends_of(worker.pid)
        run.send_signal(number)
        words = run.communicate(timeout=60)[1]
        took = gone(backends, 60)
        print(f"its backend had ended after {took} s")
        assert backends and took is not None, words
        assert worker.poll() is None and run.returncode in (143, -signal.SIGKILL)
    finally:
        found.end()


def test_a_scheduler_that_does_not_answer_is_said(tmp_path):
    done = orbitrax("batch", "examples/molecules.csv", "-m", "am1", "-o", tmp_path / "r.jsonl",
                    "--dask", "tcp://127.0.0.1:9")
    assert done.returncode == 3 and "scheduler at tcp://127.0.0.1:9 does not answer" in done.stderr


class LeavingClient:
    """A scheduler's client whose first task is given up in the middle of its answer, as happens
    where the scheduler is lost then; and which takes no task afterwards."""

    def __init__(self, leaves):
        self.status, self.scheduler, self._leaves = "running", SimpleNamespace(comm=True), leaves

    def nthreads(self):
        return {"one": 1}

    def submit(self, function, recipe, portion, pure):
        if self.status != "running":
            raise Exception("Tried sending message after closing.")
        future = Mock(status="finished")
        future.result = lambda timeout: self._result(portion)
        return future

    def _result(self, portion):
        if self._leaves:
            self.status = "closed"
            raise concurrent.futures.CancelledError("compute-1")
        return [SimpleNamespace(number=item, seconds=1.0) for item in portion]

    def cancel(self, futures, force):
        pass

    def close(self, timeout):
        pass


class HesitantClient(LeavingClient):
    """A scheduler's client whose workers believe now and then that a task is wanted no more."""

    def __init__(self):
        super().__init__(False)
        self._tasks = 0

    def _result(self, portion):
        self._tasks += 1
        return super()._result(portion[:len(portion) // 2] if self._tasks % 2 else portion)


def test_what_a_worker_has_left_of_a_task_is_computed_all_the_same(monkeypatch):
    monkeypatch.setattr("orbitrax.bulk.cluster._connected", lambda *_: HesitantClient())
    monkeypatch.setattr("orbitrax.bulk.cluster._PORTION", 5.0)
    answers = [answer for answer in cluster_engine.Cluster(None, "tcp://there").run(iter(range(30)))
               if answer]
    assert sorted(answer.number for answer in answers) == list(range(30))


@pytest.mark.parametrize("ends_at", [1, 2])
def test_no_answer_is_made_of_what_was_given_up(monkeypatch, ends_at):
    given_up = SimpleNamespace(happened=False)
    computer = Mock()

    def compute(item):
        given_up.happened = item == ends_at
        return f"answer to {item}"

    computer.compute = compute
    monkeypatch.setattr(cluster_engine, "kept_computer", lambda recipe: nullcontext(computer))
    monkeypatch.setattr(cluster_engine, "GivenUp", lambda end: nullcontext(given_up))
    assert cluster_engine.compute(None, [1, 2, 3]) == ["answer to 1", "answer to 2"][:ends_at - 1]
    computer.close.assert_called_once()


def test_a_scheduler_that_is_lost_in_the_middle_of_an_answer_is_waited_for(monkeypatch):
    clients = [LeavingClient(True), LeavingClient(True), LeavingClient(False)]
    monkeypatch.setattr("orbitrax.bulk.cluster._connected", lambda *_: clients.pop(0))
    answers = [answer for answer in cluster_engine.Cluster(None, "tcp://there").run(iter(range(7)))
               if answer]
    assert sorted(answer.number for answer in answers) == list(range(7))
