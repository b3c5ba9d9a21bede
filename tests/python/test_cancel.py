"""A calculation is cancelled from another thread: at work, between two, as its process starts."""

import threading
import time

import pytest
from orbitrax import Backend, Energy, Job, read_molecule
from orbitrax.bulk.row import Row
from orbitrax.errors import Cancelled
from orbitrax.link.process import Process
from support import ROOT

pytestmark = [pytest.mark.usefixtures("no_children_left"), pytest.mark.timeout(120)]
WATER = Job(read_molecule(str(ROOT / "examples" / "water.xyz")), "am1")


def test_where_nothing_runs_nothing_ends():
    with Backend() as backend:
        expected, pid = backend.run(WATER).total_energy, backend.pid
        for _ in range(20):
            backend.cancel()
            assert backend.cancelled and backend.run(WATER).total_energy == expected
            assert backend.pid == pid and not backend.cancelled
        backend.cancel()
        assert backend.plot("homo").values.size > 0  # the last job is still there


def test_as_a_session_ends_it_is_cancelled_or_done_and_the_next_is_sound():
    """The other thread cancels without end, at every moment of a session sooner or later."""
    ended, over = {"done": 0, "cancelled": 0}, threading.Event()
    with Backend() as backend:
        expected = backend.run(WATER).total_energy

        def cancel():
            while not over.is_set():
                time.sleep(0.0007)
                backend.cancel()

        thread = threading.Thread(target=cancel)
        thread.start()
        try:
            for _ in range(300):
                try:
                    assert backend.run(WATER).total_energy == expected
                    ended["done"] += 1
                except Cancelled:
                    ended["cancelled"] += 1
        finally:
            over.set()
            thread.join()
        assert ended["cancelled"] > 0
        assert backend.run(WATER).total_energy == expected


def test_before_there_is_a_link_it_is_cancelled_all_the_same(monkeypatch):
    start = Process.start
    with Backend() as backend:
        monkeypatch.setattr(Process, "start", lambda process: (backend.cancel(), start(process)))
        with pytest.raises(Cancelled):
            backend.run(WATER)
        monkeypatch.undo()
        assert backend.run(WATER).converged


def test_a_row_of_runs_that_are_asked_for_one_by_one_ends():
    """What is too large to be told ahead, cancelled between two."""
    restraints = [f"stretch 1 2 {0.9 + 1e-5 * i:.5f}" for i in range(3000)]
    run = Energy(restrain=restraints).start(WATER.molecule, "am1")
    with Backend() as backend:
        found = []
        for execute in Row(backend, [run] * 9):
            try:
                found.append(execute().total_energy)
                if len(found) == 2:
                    backend.cancel()
            except Cancelled:
                found.append("cancelled")
        assert found == [found[0]] * 2 + ["cancelled"]
        assert backend.run(WATER).converged
