"""Sessions in a row whose client goes or whose process is killed: what is promised of conversations
turn by turn holds of them."""

from __future__ import annotations

import functools
import signal

import pytest
from catalogue import Conversation, catalogue, sample
from peers import SocketPeer
from rows import in_a_row
from sessions import IDLE, ready

from orbitrax.link import wire

TWICE = 2  # times that a row has the sessions of its conversation
ROW = next(one for one in sample() if one.name.endswith("kept orbitals"))  # two sessions, one short


def row_of(conversation: Conversation) -> bytes:
    return b"".join(map(in_a_row, TWICE * conversation.sessions))


@functools.lru_cache(None)
def answers(conversation_name: str) -> list[tuple[int, bytes]]:
    """The frames of the process in a row."""
    conversation = next(one for one in catalogue() if one.name == conversation_name)
    peer = SocketPeer()
    ready(peer, conversation.method)
    peer.write(row_of(conversation))
    found, ends = [], 0
    while ends < TWICE * len(conversation.sessions):
        found.append(peer.receive())
        ends += found[-1] == (wire.REQUEST, wire.word(IDLE))
    peer.finish()
    return found


# ---- a client that goes -------------------------------------------------------------------------


def test_the_process_ends_wherever_the_client_of_a_row_goes(start_socket):
    frames = answers(ROW.name)
    assert len(frames) > 20
    for taken in range(len(frames) + 1):
        peer = start_socket()
        ready(peer, ROW.method)
        peer.write(row_of(ROW))
        assert [peer.receive() for _ in range(taken)] == frames[:taken]
        peer.leave()
        assert peer.wait() == 0, f"after {taken} frames"
    print(f"R2: gone after each of the {len(frames)} answers of a row: ended each time")


def test_the_process_ends_wherever_the_client_of_a_row_stops_writing(start_socket):
    """In the middle of a head, of a packet, between two sessions; with a session at work."""
    row = row_of(ROW)
    places = [*range(12), *range(12, len(row), 61), len(row) - 1]
    for place in places:
        peer = start_socket()
        ready(peer, ROW.method)
        peer.write(row[:place])
        peer.leave()
        assert peer.wait() == 0, f"after {place} bytes"
    print(f"R2: gone after {len(places)} of the {len(row)} bytes of a row: ended each time")


@pytest.mark.parametrize("read", [0, 30, 1000])
def test_the_process_ends_when_the_client_of_a_long_row_goes(start_socket, read):
    """The process has filled the link and waits for room."""
    peer = start_socket()
    ready(peer, ROW.method)
    peer.write(row_of(ROW) * 10)
    peer.read(read)
    peer.leave()
    assert peer.wait() == 0


# ---- a process that is killed -------------------------------------------------------------------


@pytest.mark.parametrize("number", [signal.SIGKILL, signal.SIGTERM])
def test_the_client_of_a_row_sees_its_end_wherever_the_process_is_killed(number):
    """What has been said is whole up to a place, and then the link is closed: no session ends that
    has not said all."""
    frames = answers(ROW.name)
    for taken in range(len(frames)):
        peer = SocketPeer()
        ready(peer, ROW.method)
        peer.write(row_of(ROW))
        found = [peer.receive() for _ in range(taken)]
        peer.process.send_signal(number)
        try:
            while True:
                found.append(peer.receive())
        except (AssertionError, ConnectionResetError):
            pass
        assert found == frames[:len(found)], f"killed after {taken} frames"
        peer.expected_status = 0 if number == signal.SIGTERM else -number
        peer.finish()
    print(f"R3: {signal.Signals(number).name} after each of the {len(frames)} answers of a row: "
          "the link closed, and nothing said that is not so")
