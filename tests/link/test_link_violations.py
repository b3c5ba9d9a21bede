"""Bytes that are no frames of the conversation."""

import pytest
from peers import SANITIZED, frame, names
from sessions import IDLE, ITEM, SERVICE, TOPIC, connect, fetch, poke, to_demand, word
from waits import no_session, packet_not_fetched, poke_awaited, settle, text_not_fetched

from orbitrax.link import wire

NOT_OURS = ("qsolve: the client broke the protocol (a frame that is none of ours); conversation "
            "closed\n")

VIOLATIONS = {
    "a frame above the bound": frame(wire.POKE, b"\0" * 100000),
    "the head of a frame of a megabyte": frame(wire.POKE, b"")[:4] + wire.word(1 << 20),
    "the head of a frame of four gigabytes": frame(wire.POKE, b"")[:4] + b"\xff" * 4,
    "a request of two gigabytes": frame(wire.REQUEST, b"")[:4] + b"\xff\xff\xff\x7f",
    "an unknown code": frame(0x1234, names("Packet")),
    "code 0": frame(0),
    "all bits": b"\xff" * 8,
    "the answer to a connect": frame(0x8072),
    "a service without its end": frame(wire.CONNECT, b"qsolve"),
    "a connect without a name": frame(wire.CONNECT),
    "a poke without an item": frame(wire.POKE, b"Packet"),
    "an empty poke": frame(wire.POKE),
    "words of a book": b"It is a truth universally acknowledged",
    "a web browser": b"GET / HTTP/1.1\r\nHost: localhost\r\n\r\n",
}
FIRST_FRAMES = {
    "a request": frame(wire.REQUEST, ITEM),
    "a poke": frame(wire.POKE, ITEM + b"\0" * 20),
    "a reset": frame(wire.EXECUTE, names("[reset]")),
    "a disconnect": frame(wire.DISCONNECT),
    **VIOLATIONS,
}
PLACES = [packet_not_fetched, poke_awaited, text_not_fetched, no_session]


@pytest.mark.parametrize("place", PLACES)
@pytest.mark.parametrize("violation", VIOLATIONS)
def test_a_violation_closes_the_conversation_with_one_line(start_socket, violation, place):
    peer = start_socket()
    place(peer)
    peer.expected_error = NOT_OURS
    peer.write(VIOLATIONS[violation])
    assert peer.closed()
    assert peer.wait() == 0


@pytest.mark.parametrize("data", FIRST_FRAMES)
def test_the_first_frame_must_ask_for_the_conversation(start_socket, data):
    peer = start_socket()
    peer.expected_error = NOT_OURS
    peer.write(FIRST_FRAMES[data])
    assert peer.closed()
    assert peer.wait() == 0


def test_what_was_asked_before_a_violation_is_answered(start_socket):
    peer = start_socket()
    peer.expected_error = NOT_OURS
    peer.write(frame(wire.CONNECT, names(SERVICE, TOPIC)) + frame(wire.REQUEST, ITEM)
               + frame(0x1234))
    assert peer.receive() == (wire.CONNECT, wire.word(1))
    assert peer.receive()[0] == wire.REQUEST
    assert peer.closed()


def test_frames_up_to_the_bound_are_taken(start_socket):
    peer = start_socket()
    assert connect(peer) == 1
    to_demand(peer)
    header = wire.packet(b"")
    assert word(peer.ask(wire.POKE, ITEM + header + b"\0" * 92400)) == wire.ACKNOWLEDGED


def test_a_poke_that_announces_much_takes_no_memory(start_socket):
    peer = start_socket()
    assert connect(peer) == 1
    to_demand(peer)
    before = peer.memory("VmHWM")
    lying = wire.word(2**31 - 1) + wire.packet(b"")[4:]
    assert poke(peer, lying) == wire.ACKNOWLEDGED
    assert fetch(peer) != IDLE
    assert peer.memory("VmHWM") - before <= 64


def test_a_long_frame_takes_the_memory_of_a_packet(start_socket):
    peer = start_socket()
    assert connect(peer) == 1
    to_demand(peer)
    before = peer.memory("VmHWM")
    peer.write(frame(wire.POKE, b"\0" * 90000)[:-1])
    settle(peer)
    # One parameter block, and what reading it takes; of a sanitizer, what it knows of each byte.
    assert peer.memory("VmHWM") - before <= (2048 if SANITIZED else 512)
    peer.write(b"\0")
    assert peer.receive() == (wire.POKE, wire.word(0))
