"""Sessions sent one behind the other, each asked for as a whole: they say what they say turn by
turn, and what goes wrong in one is its own affair."""

from __future__ import annotations

import time

import pytest
from catalogue import sample
from failing import FOREVER, FailingPeer
from peers import PATIENCE, SANITIZED, frame, names
from sessions import (IDLE, ITEM, Packet, Step, again, calculation, connect, decode, options, poke,
                      ready, reset, tables, word)
from test_memory_fails import NO_MEMORY as MEMORY_TEXTS

from orbitrax.link import wire

AHEAD, SESSION = names("Packets"), names("Session")
TAKEN = wire.word(wire.ACKNOWLEDGED)
NO_ROOM = "refused"
NO_MEMORY = {*MEMORY_TEXTS, NO_ROOM}


def in_a_row(steps: list[Step]) -> bytes:
    """The frames of one session: all that it demands, its start, the request for what it says."""
    packets = b"".join(step.packet() for step in steps)
    return (frame(wire.POKE, AHEAD + packets) + frame(wire.EXECUTE, names("[reset]"))
            + frame(wire.REQUEST, SESSION))


def said(peer) -> list[Packet]:
    """What the next session of a row says."""
    assert peer.receive() == (wire.POKE, TAKEN)
    assert peer.receive() == (wire.EXECUTE, TAKEN)
    return rest(peer)


def rest(peer) -> list[Packet]:
    """All that comes up to the end of the session."""
    found = []
    while True:
        code, answer = peer.receive()
        assert code == wire.REQUEST
        packet = decode(answer)
        if packet == IDLE:
            return found
        found.append(packet)


def without_demands(packets: list[Packet]) -> list[Packet]:
    return [packet for packet in packets if packet.kind != wire.REQUEST_NEXT]


@pytest.mark.parametrize("conversation", sample(), ids=lambda one: one.name)
def test_sessions_in_a_row_say_what_they_say_turn_by_turn(start_socket, conversation):
    sessions = 2 * conversation.sessions
    by_turns, row = start_socket(), start_socket()
    for peer in (by_turns, row):
        ready(peer, conversation.method)
    usual = [without_demands(again(by_turns, steps).packets) for steps in sessions]
    row.write(b"".join(map(in_a_row, sessions)))
    assert [said(row) for _ in sessions] == usual
    assert any(usual)


def test_a_client_that_reads_late_gets_all_and_the_process_waits_for_it(start_socket):
    peer = start_socket()
    ready(peer)
    steps = calculation(run={"nLogLevel": 1})
    usual = again(peer, steps).after_intake
    count = 100
    assert count * sum(len(packet.payload) for packet in usual) > 300_000  # more than sockets hold
    peer.write(in_a_row(steps) * count)
    late = time.monotonic() + PATIENCE
    while not peer.asleep() and time.monotonic() < late:
        time.sleep(0.01)
    assert all(said(peer) == usual for _ in range(count))


@pytest.mark.parametrize("place", [0, 2, 5])
def test_what_one_session_lacks_ends_it_alone(start_socket, place):
    """A packet that is too short, somewhere in the middle of a row."""
    peer = start_socket()
    ready(peer)
    steps = calculation()
    broken = steps[:place] + [Step(None, b"")] + steps[place + 1:]
    usual = again(peer, steps).after_intake
    refusal = without_demands(again(peer, broken, whole=False).packets)
    assert [packet.kind for packet in refusal] == [wire.ERROR_LINE]
    peer.write(in_a_row(steps) + in_a_row(broken) + in_a_row(steps))
    assert [said(peer) for _ in range(3)] == [usual, refusal, usual]


def test_what_a_session_of_a_row_lacks_is_demanded(start_socket):
    peer = start_socket()
    ready(peer)
    steps = calculation()
    usual = again(peer, steps).after_intake
    peer.write(in_a_row(steps[:-1]))
    assert peer.receive() == (wire.POKE, TAKEN)
    assert peer.receive() == (wire.EXECUTE, TAKEN)
    assert decode(peer.receive()[1]).kind == wire.REQUEST_NEXT
    peer.write(frame(wire.POKE, ITEM + steps[-1].packet()))
    assert peer.receive() == (wire.POKE, TAKEN)
    assert rest(peer) == usual


def test_packets_that_are_none_are_refused_and_their_session_demands_all(start_socket):
    peer = start_socket()
    ready(peer)
    steps = calculation()
    usual = again(peer, steps).packets
    torn = frame(wire.POKE, AHEAD + steps[0].packet()[:-1])
    peer.write(torn + frame(wire.EXECUTE, names("[reset]")) + frame(wire.REQUEST, SESSION))
    assert peer.receive() == (wire.POKE, wire.word(0))
    assert peer.receive() == (wire.EXECUTE, TAKEN)
    found = []
    for step in [*steps, None]:
        while step and (packet := decode(peer.receive()[1])).kind != wire.REQUEST_NEXT:
            found.append(packet)
        if step:
            found.append(packet)
            peer.write(frame(wire.POKE, ITEM + step.packet()))
            assert peer.receive() == (wire.POKE, TAKEN)
    assert found + rest(peer) == usual


def test_a_session_may_be_asked_for_after_it_has_begun(start_socket):
    peer = start_socket()
    ready(peer)
    steps = calculation()
    usual = again(peer, steps).after_intake
    assert poke(peer, b"".join(step.packet() for step in steps), AHEAD) == wire.ACKNOWLEDGED
    reset(peer)
    assert decode(peer.ask(wire.REQUEST, ITEM)) == usual[0]
    peer.send(wire.REQUEST, SESSION)
    assert rest(peer) == usual[1:]


def test_outside_a_session_there_is_none_to_ask_for(start_socket):
    peer = start_socket()
    ready(peer)
    assert word(peer.ask(wire.REQUEST, SESSION)) == IDLE
    assert again(peer, options({"fCalculate": 0})).after_intake == []


@pytest.mark.parametrize("read", [0, 30, 1000])
def test_a_client_that_goes_amid_a_row_takes_the_process_with_it(start_socket, read):
    peer = start_socket()
    ready(peer)
    peer.write(in_a_row(calculation()) * 20)
    peer.read(read)
    peer.leave()
    assert peer.wait() == 0


def test_the_first_session_may_be_asked_for_as_a_whole(start_socket):
    peer = start_socket()
    assert connect(peer) == 1
    peer.send(wire.REQUEST, SESSION)
    assert decode(peer.receive()[1]).payload == wire.word(1)
    for step in [*tables("am1"), *options({"fCalculate": 0})]:
        assert decode(peer.receive()[1]).kind == wire.REQUEST_NEXT
        peer.write(frame(wire.POKE, ITEM + step.packet()))
        assert peer.receive() == (wire.POKE, TAKEN)
    assert rest(peer) == []


@pytest.mark.skipif(SANITIZED, reason="a sanitizer brings an allocator of its own")
@pytest.mark.parametrize("end, least", [(1, 0), (FOREVER, 10)], ids=["alone", "with the rest"])
def test_any_allocation_of_a_row_may_fail(end, least):
    """The session is told by a text, or demands what it found no room for; those before it are
    unharmed. A single failure is mended by memory that was kept."""
    steps = calculation()
    row = in_a_row(steps) * 3
    peer = FailingPeer()
    ready(peer)
    usual, first = again(peer, steps).after_intake, peer.taken()
    peer.write(row)
    assert [said(peer) for _ in range(3)] == [usual] * 3
    total = peer.taken() - first
    peer.finish()
    harmed = 0
    for n in range(0, total, 5):
        peer = FailingPeer()
        ready(peer)
        again(peer, steps)
        peer.fail(peer.taken() + n, min(peer.taken() + n + end, FOREVER))
        peer.write(row)
        found = _told_in(peer, usual)
        peer.heal()
        peer.finish()
        harmed += found is not None
        assert found is None or found in NO_MEMORY, found
    assert harmed >= least


def _told_in(peer, usual: list[Packet]) -> str | None:
    """What the first session of three that is not the usual one says; None for the usual ones."""
    for _ in range(3):
        if peer.receive() != (wire.POKE, TAKEN):
            return NO_ROOM
        assert peer.receive() == (wire.EXECUTE, TAKEN)
        found = rest(peer)
        if found != usual:
            return next(packet.text for packet in found if packet.kind == wire.ERROR_LINE)
    return None
