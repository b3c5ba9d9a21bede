"""Many sessions on one qsolve.exe: windows, GDI objects, texts and memory stay what they were."""

import pytest
from peers import names
from probed import SECOND_CONVERSATION
from sessions import (SERVICE, TOPIC, again, calculation, connect, options, ready, restraint_steps,
                      word)

from orbitrax.molecules.molecule import Molecule

pytestmark = pytest.mark.windows

HYDROGEN = Molecule([1, 1], [[0.0, 0.0, 0.0], [0.75, 0.0, 0.0]], masses=[1.008, 1.008])

SESSIONS = [
    options({"fCalculate": 0}),
    calculation("am1", HYDROGEN, run={"nLogLevel": 10}),
    calculation("am1", HYDROGEN, run={"nSpinTreatment": 1, "nMultiplicity": 3, "fSendOrbitals": 1}),
    calculation("am1", HYDROGEN, job={"nCalcKind": 1, "nMaxCycles": 1}),
    calculation("am1", HYDROGEN, run={"nMultiplicity": 2}),  # refused
    calculation("am1", HYDROGEN, job={"nCalcKind": 3}, restraints=restraint_steps(
        [0, 0, 0, 2], b"\7\0\0\0" * 18)),  # refused
]


def run(peer, count: int) -> None:
    for i in range(count):
        again(peer, SESSIONS[i % len(SESSIONS)], whole=False)


def holds_no_more(peer, before: dict[str, int]) -> None:
    """The process holds what it held `before`, but for the few windows, fonts and brushes that the
    system takes once, when it comes to need them. A leak would be hundreds."""
    after = peer.holds()
    assert after["strings"] == before["strings"] == 3
    assert all(after[name] <= count + 20 for name, count in before.items()), (before, after)


def test_five_hundred_sessions_leave_nothing_behind(start_probed):
    peer = start_probed()
    ready(peer)
    run(peer, 60)
    before, memory, kept = peer.holds(), peer.memory(), peer.kept_by_system()
    run(peer, 500)
    kept = peer.kept_by_system() - kept
    holds_no_more(peer, before)
    grown = peer.memory() - memory - kept
    assert grown <= 1024  # KiB
    print(f"R17: 500 sessions of qsolve.exe: {grown} KiB more beside what Wine keeps, the same "
          "windows, objects and texts")


def test_a_thousand_connects_that_are_refused_leave_nothing_behind(start_probed):
    peer = start_probed()
    before = peer.holds()
    for _ in range(500):
        assert connect(peer, topic="nobody") == 0
    holds_no_more(peer, before)
    ready(peer)
    before = peer.holds()
    for i in range(500):
        topic = TOPIC if i % 2 else "nobody"
        assert word(peer.ask(SECOND_CONVERSATION, names(SERVICE, topic))) == 0
    holds_no_more(peer, before)
    assert again(peer, calculation()).errors == []
