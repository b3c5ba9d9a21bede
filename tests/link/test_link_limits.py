"""Clients that are too fast, too slow, or do not read."""

import selectors
import time

import pytest
from peers import HEAD, PATIENCE, frame, names
from sessions import (IDLE, ITEM, SERVICE, TOPIC, again, calculation, connect, options, play, poke,
                      ready, reset, tables, to_demand)
from waits import answers_not_read

from orbitrax.link import wire

REQUEST = frame(wire.REQUEST, ITEM)
IDLE_ANSWER = HEAD.pack(wire.REQUEST, 4) + wire.word(IDLE)
FLOOD = 100_000
MEMORY = 1024  # KiB: a frame, an answer, and what came in one read, with room to spare


def exchange(peer, data: bytes, count: int) -> bytes:
    """Sends data and reads `count` bytes of answers, both as fast as the link takes them."""
    answers, sent = bytearray(), 0
    selector = selectors.DefaultSelector()
    peer.link.setblocking(False)
    selector.register(peer.link, selectors.EVENT_READ | selectors.EVENT_WRITE)
    while len(answers) < count:
        events = selector.select(PATIENCE)
        assert events, f"{len(answers)} of {count} bytes came"
        if events[0][1] & selectors.EVENT_READ:
            answers += peer.link.recv(1 << 20)
        if events[0][1] & selectors.EVENT_WRITE and sent < len(data):
            sent += peer.link.send(data[sent:sent + 65536])
        if sent == len(data):
            selector.modify(peer.link, selectors.EVENT_READ)
    peer.link.settimeout(PATIENCE)
    return bytes(answers)


def fill(peer, data: bytes) -> int:
    """Sends data, without reading, until the link has taken no more for a while."""
    sent = 0
    peer.link.settimeout(0.2)
    try:
        while sent < len(data):
            sent += peer.link.send(data[sent:sent + 65536])
    except TimeoutError:
        pass
    peer.link.settimeout(PATIENCE)
    return sent


# ---- too fast -----------------------------------------------------------------------------------


def test_a_flood_of_requests_is_answered_one_by_one(start_socket):
    peer = start_socket()
    ready(peer)
    before = peer.memory("VmHWM")
    answers = exchange(peer, REQUEST * FLOOD, len(IDLE_ANSWER) * FLOOD)
    assert answers == IDLE_ANSWER * FLOOD
    assert peer.memory("VmHWM") - before <= MEMORY


def test_a_flood_of_requests_whose_answers_nobody_reads_stops_at_the_link(start_socket):
    peer = start_socket()
    ready(peer)
    before = peer.memory("VmHWM")
    flood = REQUEST * FLOOD
    sent = fill(peer, flood)
    assert sent < len(flood)
    assert peer.memory("VmHWM") - before <= MEMORY
    answers = exchange(peer, flood[sent:], len(IDLE_ANSWER) * FLOOD)
    assert answers == IDLE_ANSWER * FLOOD
    assert peer.memory("VmHWM") - before <= MEMORY
    assert again(peer, options({"fCalculate": 0})).after_intake == []


def test_a_flood_of_requests_in_a_session_stops_at_the_link(start_socket):
    peer = start_socket()
    connect(peer)
    to_demand(peer)
    before = peer.memory("VmHWM")
    flood = REQUEST * FLOOD
    assert fill(peer, flood) < len(flood)  # the first is held, the others wait behind it
    assert peer.memory("VmHWM") - before <= MEMORY


@pytest.mark.parametrize("size", [21, 1009, 32771, 65521, 92461])
def test_a_flood_of_refused_pokes_takes_no_memory(start_socket, size):
    # No size divides what one read takes, so that there is always the beginning of a next frame.
    peer = start_socket()
    ready(peer)
    before = peer.memory("VmHWM")
    one = frame(wire.POKE, ITEM + b"\0" * (size - len(ITEM)))
    count = min(10_000_000 // len(one), 20_000)
    answer = HEAD.pack(wire.POKE, 4) + wire.word(0)
    assert exchange(peer, one * count, len(answer) * count) == answer * count
    assert peer.memory("VmHWM") - before <= MEMORY


def test_a_flood_of_resets_starts_one_session(start_socket):
    peer = start_socket()
    ready(peer)
    reset(peer)
    to_demand(peer)
    one, count = frame(wire.EXECUTE, names("[reset]")), 10_000
    answer = HEAD.pack(wire.EXECUTE, 4) + wire.word(wire.ACKNOWLEDGED)
    assert exchange(peer, one * count, len(answer) * count) == answer * count
    two = options({"fCalculate": 0}) * 2
    assert play(peer, two, asked=True).after_intake == []


def one_by_one(peer) -> tuple[list[bytes], list[bytes]]:
    """A conversation of two sessions: the frames that go out, and those that come back."""
    sent, came = [], []

    class Recorder:
        def ask(self, code, body=b""):
            sent.append(frame(code, body))
            answer = peer.ask(code, body)
            came.append(frame(code, answer))
            return answer

    recorder = Recorder()
    connect(recorder)
    play(recorder, [*tables("mndo"), *calculation("mndo")])
    reset(recorder)
    play(recorder, calculation("mndo", run={"nLogLevel": 10}))
    return sent, came


def test_a_whole_conversation_sent_at_once_is_answered_the_same(start_socket):
    sent, came = one_by_one(start_socket())
    data, expected = b"".join(sent), b"".join(came)
    assert exchange(start_socket(), data, len(expected)) == expected


@pytest.mark.parametrize("size", [1, 7, 4096, 65537])
def test_it_does_not_matter_how_the_bytes_are_cut(start_socket, size):
    sent, came = one_by_one(start_socket())
    peer, data, expected = start_socket(), b"".join(sent), b"".join(came)
    cut = min(len(data), 4000 * size)
    for i in range(0, cut, size):
        peer.write(data[i:i + size])
    assert exchange(peer, data[cut:], len(expected)) == expected


# ---- too slow -----------------------------------------------------------------------------------


def test_a_head_that_comes_byte_by_byte_is_waited_for(start_socket):
    peer = start_socket()
    for code, body in ((wire.CONNECT, names(SERVICE, TOPIC)), (wire.REQUEST, ITEM),
                       (wire.REQUEST, ITEM)):
        for byte in frame(code, body)[:8]:
            peer.write(bytes([byte]))
            time.sleep(0.01)
        peer.write(body)
        assert peer.receive()[0] == code
    assert poke(peer, tables("am1")[0].packet()) == wire.ACKNOWLEDGED


def test_answers_are_kept_for_a_client_that_reads_late(start_socket):
    peer = start_socket()
    answers_not_read(peer)
    time.sleep(0.05)
    peer.link.settimeout(0.2)
    data = b""
    try:
        while True:
            data += peer.link.recv(1 << 16)
    except TimeoutError:
        pass
    peer.link.settimeout(PATIENCE)
    assert len(data) > 1000
    assert data == IDLE_ANSWER * (len(data) // len(IDLE_ANSWER))


def test_no_packet_is_longer_than_its_bound(start_socket):
    # The longest log of a small job.
    peer = start_socket()
    connect(peer)
    transcript = play(peer, [*tables("mndod"), *calculation("mndod", run={"nLogLevel": 9})])
    assert max(packet.length for packet in transcript.packets) <= wire.MAX_PAYLOAD
