"""The places where a backend waits for its client, each reached from a fresh process."""

from __future__ import annotations

import time

from peers import PATIENCE, ROOT, frame
from sessions import ITEM, calculation, connect, fetch, poke, ready, tables, to_demand

from orbitrax import Job, read_molecule
from orbitrax.link import wire
from orbitrax.session.encode import job_packets
from orbitrax.tables import load_parameters

REQUEST = (wire.REQUEST, ITEM)


def before_connect(peer):
    pass


def packet_not_fetched(peer):
    connect(peer)


def poke_awaited(peer):
    connect(peer)
    to_demand(peer)


def poke_awaited_with_request_held(peer):
    poke_awaited(peer)
    peer.send(*REQUEST)


def poke_awaited_with_two_requests(peer):
    poke_awaited(peer)
    peer.send(*REQUEST)
    peer.send(*REQUEST)


def text_not_fetched(peer):
    connect(peer)
    steps = [*tables("am1"), *calculation()]
    to_demand(peer, steps[:-1])
    assert poke(peer, steps[-1].packet()) == wire.ACKNOWLEDGED


def text_not_fetched_in_job(peer):
    text_not_fetched(peer)
    fetch(peer)


def no_session(peer):
    ready(peer)


def in_a_frame(peer):
    ready(peer)
    peer.write(frame(wire.POKE, ITEM + b"\0" * 90000)[:40000])


def answers_not_read(peer):
    """The backend's answers fill the link, so that it waits for room."""
    ready(peer)
    flood = frame(*REQUEST) * 1000
    peer.link.setblocking(False)
    try:
        while True:
            peer.link.send(flood)
    except BlockingIOError:
        pass
    peer.link.settimeout(PATIENCE)


WAITS = [before_connect, packet_not_fetched, poke_awaited, poke_awaited_with_request_held,
         poke_awaited_with_two_requests, text_not_fetched, text_not_fetched_in_job, no_session,
         in_a_frame, answers_not_read]


def settle(peer) -> None:
    """Returns when the process sleeps in its wait, and has done nothing for a moment."""
    before, limit = -1, time.monotonic() + 5
    while time.monotonic() < limit:
        now = peer.processor_time()
        if peer.asleep() and now == before:
            return
        before = now
        time.sleep(0.01)
    raise AssertionError("the process does not come to rest")


def at_work(peer) -> None:
    """Returns when the process has calculated for a moment, which no wait and no frame costs."""
    start, limit = peer.processor_time(), time.monotonic() + 5
    while peer.processor_time() - start < 10_000_000:  # nanoseconds
        assert time.monotonic() < limit, "the process does not calculate"
        time.sleep(0.005)


def big_job(peer, iteration: int) -> None:
    """Drives a job of many waters until its n-th cycle is reported; the next packet is asked for
    and not taken, so that the backend calculates on."""
    waters = ROOT / "benchmarks" / "molecules" / f"{peer.waters}.xyz"
    job = Job(read_molecule(str(waters)), "am1")
    head = [wire.word(4), wire.word(job.method.number), *load_parameters("am1").packets]
    pokes = [*(wire.packet(payload) for payload in head), *job_packets(job)]
    words = "Starting an AM1" if iteration == 0 else f"Iteration = {iteration} "
    while True:
        packet = peer.ask(wire.REQUEST, b"Packet\0")
        kind = int.from_bytes(packet[4:8], "little")
        if kind == wire.REQUEST_NEXT:
            peer.ask(wire.POKE, b"Packet\0" + pokes.pop(0))
        elif packet[wire.HEADER_BYTES:].startswith(words.encode()):
            return peer.send(wire.REQUEST, b"Packet\0")


def time_spent(start, waits) -> dict[str, int]:
    """Processor time, nanoseconds, that fresh processes take for a second of each wait."""
    peers = []
    for wait in waits:
        peers.append(start())
        wait(peers[-1])
    for peer in peers:
        settle(peer)
    before = [peer.processor_time() for peer in peers]
    time.sleep(1.0)
    return {wait.__name__: peer.processor_time() - then
            for wait, peer, then in zip(waits, peers, before)}
