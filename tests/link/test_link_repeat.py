"""Many sessions on one process: nothing is left behind, and nothing depends on what came before."""

import random

import pytest
from peers import SANITIZED
from sessions import (ETHANE_PART, KEYS, Step, again, calculation, first, options, ready,
                      restraint_steps, tables)

from orbitrax.link import wire
from orbitrax.molecules.molecule import Molecule

HYDROGEN = Molecule([1, 1], [[0.0, 0.0, 0.0], [0.75, 0.0, 0.0]], masses=[1.008, 1.008])


def broken(steps: list[Step], name: str, payload: bytes) -> list[Step]:
    """The steps up to the one of that name, which gets another payload and is the last."""
    i = [step.name for step in steps].index(name)
    return [*steps[:i], steps[i]._replace(payload=payload)]


def sessions(method: str) -> dict[str, list[Step]]:
    """Sessions of all kinds: good ones, jobs of every kind, refusals at every step."""
    good = calculation(method)
    found = {
        "good": good,
        "unrestricted": calculation(method, run={"nSpinTreatment": 1, "nMultiplicity": 3}),
        "cation": calculation(method, run={"nTotalCharge": 1, "nMultiplicity": 2}),
        "logged": calculation(method, run={"nLogLevel": 9}),
        "silent": calculation(method, run={"nLogLevel": 10}),
        "nothing": options({"fCalculate": 0}),
        "two atoms": calculation(method, HYDROGEN),
        "part": calculation(method, ETHANE_PART, select=[1, 2, 3, 4]),
        "plot": options({"fCalculate": 0, "fPlot": 1}),
        "wrong parity": calculation(method, run={"nMultiplicity": 2}),
        "no multiplicity": calculation(method, run={"nMultiplicity": -1}),
        "too few electrons": calculation(method, run={"nTotalCharge": 100}),
        "one place": calculation(method, Molecule([1, 1], [[0, 0, 0], [0, 0, 0]],
                                                  masses=[1.0, 1.0])),
        "heavy": calculation(method, Molecule([105], [[0, 0, 0]], masses=[1.0])),
        "restrained": calculation(method, job={"nCalcKind": 3}, restraints=restraint_steps(
            [0, 0, 0, 2], b"\7\0\0\0" * 18)),
        "short options": broken(good, "run options", b""),
        "no atoms": broken(good, "atom count", wire.word(0)),
        "many atoms": broken(good, "atom count", wire.word(2**31 - 1)),
        "infinite atom": broken(good, "atoms", good[4].payload[:80] + b"\0\0\x80\x7f" * 4
                                + good[4].payload[96:]),
        "short list": broken(good, "selection", good[5].payload[:-4]),
        "false list": broken(good, "selection", good[5].payload[:-4] + wire.word(4)),
        "another method": calculation(method, method_id=10),
    }
    for kind in (-1, 1, 2, 3, 4, 5, 6, 7, 8, 9):
        found[f"kind {kind}"] = calculation(
            method, job={"nCalcKind": kind, "nMaxCycles": 1, "nMdKind": 3})
    return found


def run(peer, steps: list[Step]) -> list:
    return again(peer, steps, whole=False).packets


@pytest.mark.parametrize("method", KEYS)
def test_a_job_is_answered_by_the_same_packets_whatever_came_before(start, method):
    good = sessions(method)["good"]
    fresh = start()
    reference = first(fresh, good, method).packets[1 + len(tables(method)):]
    assert reference
    for _ in range(10):
        assert run(fresh, good) == reference
    peer = start()
    ready(peer, method)
    for name, steps in sessions(method).items():
        run(peer, steps)
        assert run(peer, good) == reference, f"after the session '{name}'"


@pytest.mark.parametrize("name", sessions("am1"))
def test_every_session_goes_the_same_in_a_fresh_and_in_a_used_process(start, name):
    steps = sessions("am1")[name]
    fresh, used = start(), start()
    ready(fresh)
    ready(used)
    for before in ("good", "part", "short list", "plot"):
        run(used, sessions("am1")[before])
    if steps and name != "plot":  # a plot shows what the last calculation left
        reference, found = run(fresh, steps), run(used, steps)
        # Of orbitals that are gone zeros are sent, as many as the last calculation had.
        zeros = found[len(reference):] if name == "heavy" else []
        assert found == reference + zeros
        assert not any(any(packet.payload) for packet in zeros)


@pytest.mark.skipif(SANITIZED, reason="a sanitizer keeps freed memory")
@pytest.mark.parametrize("count", [500, pytest.param(
    10_000, marks=[pytest.mark.long, pytest.mark.timeout(3600)])])
def test_thousands_of_sessions_leave_nothing_behind(start, count):
    peer = start()
    ready(peer)
    kinds = list(sessions("am1").values())
    order = random.Random(1)
    for _ in range(100):
        run(peer, order.choice(kinds))
    for steps in kinds:  # each kind has been seen before the measure is taken
        run(peer, steps)
    memory, descriptors, kept = peer.memory(), peer.descriptors(), peer.kept_by_system()
    for _ in range(count):
        run(peer, order.choice(kinds))
    kept, grown = peer.kept_by_system() - kept, peer.memory() - memory
    print(f"R6: {count} sessions: {grown} KiB more, {len(descriptors)} descriptors")
    assert grown <= 1024 + kept  # KiB
    assert peer.descriptors() == descriptors
