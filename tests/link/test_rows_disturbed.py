"""Sessions in a row whose client goes, whose process is killed, which lack memory, and thousands of
them: what is promised of conversations turn by turn holds of them."""

from __future__ import annotations

import functools
import random
import signal

import pytest
from catalogue import Conversation, catalogue, sample
from failing import FOREVER, FailingPeer
from peers import SANITIZED, SocketPeer
from rows import TAKEN, Stuck, hold_in_a_row, in_a_row, rest, said
from sessions import IDLE, Packet, Step, ready
from test_link_repeat import sessions as sessions_of_all_kinds
from test_memory_fails import NO_MEMORY

from orbitrax.link import wire

TWICE = 2  # times that a row has the sessions of its conversation
ROW = next(one for one in sample() if one.name.endswith("kept orbitals"))  # two sessions, one short


def row_of(conversation: Conversation) -> bytes:
    return b"".join(map(in_a_row, TWICE * conversation.sessions))


@functools.lru_cache(None)
def expected(conversation_name: str) -> list[list[Packet]]:
    """What a process that nothing disturbs says in a row, and in the same one once more."""
    conversation = next(one for one in catalogue() if one.name == conversation_name)
    peer = SocketPeer()
    found = hold_in_a_row(peer, conversation.method, 2 * TWICE * conversation.sessions)
    peer.finish()
    return found


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


# ---- lack of memory -----------------------------------------------------------------------------


def allocations(conversation: Conversation) -> int:
    """How many allocations a process makes in a row."""
    peer = FailingPeer()
    ready(peer, conversation.method)
    before = peer.taken()
    peer.write(row_of(conversation))
    for _ in range(TWICE * len(conversation.sessions)):
        said(peer)
    total = peer.taken() - before
    peer.finish()
    return total


def survives(conversation: Conversation, place: int, end: int) -> str:
    """Holds a row while allocations fail, counted from its start, and says how it went."""
    usual, count = expected(conversation.name), TWICE * len(conversation.sessions)
    peer = FailingPeer()
    ready(peer, conversation.method)
    first = peer.taken() + place
    peer.fail(first, min(first + end, FOREVER))
    peer.write(row_of(conversation))
    found: list[list[Packet]] = []
    for _ in range(count):
        taken = peer.receive()
        assert peer.receive() == (wire.EXECUTE, TAKEN)
        try:
            found.append(rest(peer))
        except Stuck:
            assert taken == (wire.POKE, wire.word(0)), "it demands what it has been told"
            peer.finish()
            return "refused"
    peer.heal()
    peer.write(row_of(conversation))
    healed = [said(peer) for _ in range(count)]
    assert healed in (usual[:count], usual[count:]), "the row after it is not the usual one"
    peer.finish()
    texts = {packet.text for packets in found for packet in packets
             if packet.kind == wire.ERROR_LINE}
    assert found == usual[:count] or texts & NO_MEMORY, texts
    return "unharmed" if found == usual[:count] else "told"


@pytest.mark.skipif(SANITIZED, reason="a sanitizer brings an allocator of its own")
@pytest.mark.parametrize("step", [17, pytest.param(
    1, marks=[pytest.mark.long, pytest.mark.timeout(3600)])])
def test_any_allocation_of_a_row_may_fail(step):
    """A session says so, or demands what it found no room for; those before it are unharmed, and
    so is what follows when there is memory."""
    found = {"points": 0, "told": 0, "refused": 0, "unharmed": 0}
    for number, conversation in enumerate(sample()):
        for place in range(number % step, allocations(conversation), step):
            for end in (1, FOREVER):
                found["points"] += 1
                try:
                    found[survives(conversation, place, end)] += 1
                except AssertionError as problem:
                    raise AssertionError(f"{conversation.name}: allocation {place}, {end}: "
                                         f"{problem}") from problem
    print(f"R1: rows of the sample: {found}")
    assert found["told"] > 80


# ---- a process that lives long ------------------------------------------------------------------


@pytest.mark.skipif(SANITIZED, reason="a sanitizer keeps freed memory")
@pytest.mark.parametrize("count", [1000, pytest.param(
    20_000, marks=[pytest.mark.long, pytest.mark.timeout(3600)])])
def test_thousands_of_sessions_in_rows_leave_nothing_behind(start_socket, count):
    """Sound and broken ones of all kinds, in rows of up to twelve."""
    peer, rng = start_socket(), random.Random(5)
    ready(peer)
    kinds = list(sessions_of_all_kinds("am1").values())

    def hold(sessions: list[list[Step]]) -> None:
        peer.write(b"".join(in_a_row(steps, spare=20) for steps in sessions))
        for _ in sessions:
            said(peer)

    for _ in range(3):
        for kind in kinds:  # each has been seen before the measure is taken
            hold([kind])
    memory, descriptors, done = peer.memory(), peer.descriptors(), 0
    while done < count:
        sessions = rng.choices(kinds, k=rng.randint(1, 12))
        hold(sessions)
        done += len(sessions)
    grown = peer.memory() - memory
    print(f"R6: {done} sessions in rows: {grown} KiB more, {len(descriptors)} descriptors")
    assert grown <= 1024  # KiB
    assert peer.descriptors() == descriptors

