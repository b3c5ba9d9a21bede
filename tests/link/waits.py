"""The places where a backend waits for its client, each reached from a fresh process."""

from __future__ import annotations

import time

from peers import PATIENCE, frame
from sessions import ITEM, calculation, connect, fetch, poke, ready, tables, to_demand

from orbitrax import wire

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
