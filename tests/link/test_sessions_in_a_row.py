"""Sessions sent one behind the other, each asked for as a whole: they say what they say turn by
turn, and what goes wrong in one is its own affair."""

from __future__ import annotations

import time

import pytest
from catalogue import catalogue, sample
from peers import PATIENCE, SocketPeer, frame, names
from rows import AHEAD, SESSION, TAKEN, hold_in_a_row, in_a_row, rest, said, without_demands
from sessions import (IDLE, ITEM, Step, again, calculation, connect, decode, options, poke, ready,
                      reset, tables, word)

from orbitrax.link import wire


def says_the_same(start_socket, conversation) -> int:
    """Tries that a conversation in a row says what it says turn by turn; how many packets."""
    sessions = 2 * conversation.sessions
    by_turns = start_socket()
    ready(by_turns, conversation.method)
    usual = [without_demands(again(by_turns, steps).packets) for steps in sessions]
    assert hold_in_a_row(start_socket(), conversation.method, sessions) == usual
    return sum(map(len, usual))


@pytest.mark.parametrize("conversation", sample(), ids=lambda one: one.name)
def test_sessions_in_a_row_say_what_they_say_turn_by_turn(start_socket, conversation):
    assert says_the_same(start_socket, conversation) > 0


@pytest.mark.long
def test_all_the_catalogue_says_in_a_row_what_it_says_turn_by_turn():
    packets = 0
    for conversation in catalogue():
        peers: list[SocketPeer] = []
        packets += says_the_same(lambda: peers.append(SocketPeer()) or peers[-1], conversation)
        for peer in peers:
            peer.finish()
    print(f"R8: {len(catalogue())} conversations in a row, {packets} packets, to the bit as turn "
          "by turn")


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
