"""Runs in a row: they end as they do one by one, and what goes wrong with one is its own affair."""

import os
import select
import signal
import threading
import time

import pytest
from support import ROOT, children

import orbitrax
from orbitrax import (Backend, BackendDied, Cancelled, Energy, InputError, Molecule, MoleculeError,
                      NotConverged, TimeLimitExceeded, UsageError, Vibrations)
from orbitrax.bulk.row import Row
from orbitrax.link import conversation

WATER = orbitrax.read_molecule(ROOT / "examples" / "water.xyz")
OXYGEN = Molecule([8, 8], [[0, 0, 0], [1.2, 0, 0]], multiplicity=3)
PRESSED = Molecule([1, 1], [[0, 0, 0], [0.01, 0, 0]])
NOT_TIME = ("wall_seconds",)


def moved(count):
    """Waters, each with another bond."""
    return [WATER.replace(positions=[[x * (1 + 0.01 * i) for x in row] for row in WATER.positions])
            for i in range(count)]


def document(result):
    """A result, or an error, as what can be compared."""
    if isinstance(result, Exception):
        return type(result), str(result)
    return {key: value for key, value in result.to_dict().items() if key not in NOT_TIME}


def one_by_one(runs):
    found = []
    with Backend() as backend:
        for run in runs:
            try:
                found.append(run.execute(backend))
            except orbitrax.OrbitraxError as error:
                found.append(error)
    return [document(one) for one in found]


def in_a_row(runs, backend):
    found = []
    for execute in Row(backend, runs):
        try:
            found.append(document(execute()))
        except orbitrax.OrbitraxError as error:
            found.append(document(error))
    return found


def mixture():
    """Runs of many kinds, most of which can be told ahead."""
    energy, waters = Energy(), moved(30)
    plain = [energy.start(one, "am1") for one in waters]
    return [*plain[:12], energy.start(OXYGEN, "am1"), energy.start(PRESSED, "am1"), *plain[12:14],
            energy.start(WATER, "pm3"), *plain[14:17], Vibrations().start(WATER, "pm3"), plain[17],
            Energy(scf_iterations=1).start(WATER, "am1"), *plain[18:20],
            Energy(charge=1, multiplicity=1).start(WATER, "am1"), plain[20],
            Energy(log_level=3, bond_orders=True).start(WATER, "am1"), *plain[21:]]


def test_a_mixture_ends_as_it_does_one_by_one():
    with Backend() as backend:
        found = in_a_row(mixture(), backend)
    assert found == one_by_one(mixture())
    kinds = [one[0] for one in found if isinstance(one, tuple)]
    assert kinds.count(InputError) == 2 and kinds.count(NotConverged) == 2


def test_an_old_backend_computes_them_one_by_one(monkeypatch):
    """One that knows of no request for a session answers it by its state."""
    strange = conversation._frame(conversation.REQUEST, b"Nothing\0")
    monkeypatch.setattr(conversation, "_REQUEST_SESSION", strange)
    with Backend() as backend:
        found = in_a_row(mixture(), backend)
        assert not backend._running.link.in_a_row
    assert found == one_by_one(mixture())


def test_the_api_yields_results_and_errors_in_their_order():
    before = children()
    found = list(orbitrax.each([*moved(4), "nowhere.xyz", PRESSED, *moved(2)], "am1"))
    assert [type(one).__name__ for one in found] == [
        *["Result"] * 4, "MoleculeError", "InputError", *["Result"] * 2]
    assert isinstance(found[4], MoleculeError)
    assert found[0].total_energy == found[6].total_energy != found[1].total_energy
    assert all(0 < one.wall_seconds < 10 for one in found if not isinstance(one, Exception))
    assert children() == before
    assert list(orbitrax.each([])) == []


@pytest.mark.parametrize("failure", [BackendDied, TimeLimitExceeded])
def test_a_process_that_ends_amid_a_row_takes_one_run_with_it(monkeypatch, failure):
    """It is stopped, and, to have died, ended when nothing is left to read."""
    runs = [Energy().start(one, "am1") for one in moved(40)]
    found = []
    receive = conversation.Conversation._receive

    def starved(self, count):
        if failure is BackendDied and not select.select([self._link], [], [], 0)[0]:
            os.kill(stopped, signal.SIGKILL)
        return receive(self, count)

    with Backend(time_limit=2.0) as backend:
        list(orbitrax.each(moved(3), backend=backend))
        stopped = backend.pid
        for place, execute in enumerate(Row(backend, runs)):
            if place == 5:
                os.kill(stopped, signal.SIGSTOP)
                monkeypatch.setattr(conversation.Conversation, "_receive", starved)
            try:
                found.append(document(execute()))
            except failure:
                monkeypatch.undo()
                found.append(None)
    lost = found.index(None)
    assert lost >= 5 and found.count(None) == 1
    usual = one_by_one(runs)
    assert found == [*usual[:lost], None, *usual[lost + 1:]]


def test_a_process_that_has_ended_well_makes_room_for_another():
    with Backend() as backend:
        list(orbitrax.each(moved(3), backend=backend))
        os.kill(backend.pid, signal.SIGTERM)
        assert backend._running.ended(10.0) == 0
        found = list(orbitrax.each(moved(3), backend=backend))
    assert not any(isinstance(one, Exception) for one in found)


def test_leaving_early_ends_the_process_and_frees_the_backend():
    with Backend() as backend:
        for number, _ in enumerate(orbitrax.each(moved(50), backend=backend)):
            if number == 10:
                with pytest.raises(UsageError, match="running a job already"):
                    orbitrax.energy(WATER, backend=backend)
                break
        assert orbitrax.energy(WATER, backend=backend).converged


def test_a_cancelled_row_ends():
    with Backend() as backend:
        found = []
        for result in orbitrax.each(moved(400), backend=backend):
            found.append(result)
            if len(found) == 5:
                threading.Thread(target=backend.cancel).start()
                while not backend.cancelled:
                    time.sleep(0.001)
        assert isinstance(found[-1], Cancelled) and len(found) < 400
        assert not any(isinstance(one, Exception) for one in found[:-1])
        assert orbitrax.energy(WATER, backend=backend).converged


def test_what_is_too_large_for_a_row_is_computed_alone():
    restraints = [f"stretch 1 2 {0.9 + 1e-5 * i:.5f}" for i in range(3000)]
    run = Energy(restrain=restraints).start(WATER, "am1")
    others = [Energy().start(one, "am1") for one in moved(6)]
    with Backend() as backend:
        found = in_a_row([*others, run, *others], backend)
    assert found == one_by_one([*others, run, *others])


def test_an_interrupt_ends_the_process():
    with Backend() as backend:
        row = iter(Row(backend, [Energy().start(one, "am1") for one in moved(40)]))
        with pytest.raises(KeyboardInterrupt):
            for number, execute in enumerate(row):
                execute()
                if number == 8:
                    signal.raise_signal(signal.SIGINT)
        row.close()
        assert backend.pid is None


def test_a_task_with_a_molecule_of_its_own_is_refused(monkeypatch):
    monkeypatch.setattr(Energy, "own_molecule", lambda self: WATER)
    with pytest.raises(UsageError, match="takes its molecule from there"):
        orbitrax.each([WATER])
