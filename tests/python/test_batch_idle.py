"""Backends that threads keep for their next molecule, when no more comes."""

import os
import threading
import time
from unittest.mock import Mock

import pytest
from batches import gone
from support import ROOT

import orbitrax
from orbitrax.bulk import kept
from orbitrax.bulk.recipe import Recipe
from orbitrax.bulk.watch import Watch

WATER = ROOT / "examples" / "water.xyz"


@pytest.fixture
def recipe(monkeypatch):
    """With a limit that no watching thread reaches by itself."""
    monkeypatch.setattr(kept, "IDLE", 1000.0)
    yield Recipe("am1")
    kept.end_idle(time.monotonic() + 2000.0)


def pid_of(recipe):
    """The backend of this thread."""
    with kept.kept_computer(recipe) as computer:
        return computer.backend.pid


def test_an_idle_backend_ends_and_the_next_molecule_has_another(recipe):
    first = orbitrax.compute(recipe, WATER)
    pid = pid_of(recipe)
    kept.end_idle(time.monotonic() + 900.0)
    assert pid_of(recipe) == pid is not None
    kept.end_idle(time.monotonic() + 1100.0)
    assert gone([pid], 60) is not None
    second = orbitrax.compute(recipe, WATER)
    assert first.status == second.status == "done" and pid_of(recipe) not in (None, pid)
    assert first.document["heat_of_formation"] == second.document["heat_of_formation"]


def test_a_backend_at_work_is_left_alone(recipe):
    orbitrax.compute(recipe, WATER)
    with kept.kept_computer(recipe) as computer:
        looked = threading.Thread(target=kept.end_idle, args=(time.monotonic() + 2000.0,))
        looked.start()
        looked.join()
        assert computer.backend.pid is not None


def test_somebody_looks(recipe, monkeypatch):
    """The thread that comes with the first backend, and goes with the last."""
    monkeypatch.setattr(kept, "_LOOK", 0.02)
    monkeypatch.setattr(kept, "IDLE", 0.2)
    kept.end_idle(time.monotonic() + 2000.0)
    for _ in range(2):
        orbitrax.compute(recipe, WATER)
        pid = pid_of(recipe)
        assert pid is None or gone([pid], 60) is not None


def test_a_fork_leaves_the_backends_of_its_parent_and_looks_after_its_own(recipe):
    orbitrax.compute(recipe, WATER)
    pid = pid_of(recipe)
    child = os.fork()
    if child == 0:
        own = pid_of(recipe) is None
        looks = "orbitrax-idle" in [thread.name for thread in threading.enumerate()]
        kept.end_idle(time.monotonic() + 2000.0)
        os._exit(0 if own and looks else 1)
    assert os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]) == 0
    assert pid_of(recipe) == pid and orbitrax.compute(recipe, WATER).status == "done"


def test_a_limit_that_one_molecule_reaches_as_it_ends_is_not_the_next_ones():
    backend = Mock(pid=None)
    watch = Watch(backend, None, None)
    watch.begin()

    def ends_meanwhile(took):
        watch.end()
        watch.begin()
        return "it took too long"

    watch._exceeded = ends_meanwhile
    watch.look()
    assert watch.reason is None and not backend.cancel.called
    watch._exceeded = lambda took: "it took too long"
    watch.look()
    assert watch.reason == "it took too long" and backend.cancel.called
