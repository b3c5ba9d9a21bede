"""qsolve.exe when its client goes, or when it is told to go, wherever it is; and what waiting
costs."""

import time

import pytest
from peers import SOON
from probed import WM_CLOSE, WM_QUIT, kill_client, post, wait_for_end
from sessions import calculation, connect, play, tables
from waits import (at_work, before_connect, big_job, no_session, packet_not_fetched,
                   poke_awaited, poke_awaited_with_request_held, settle, text_not_fetched,
                   text_not_fetched_in_job, time_spent)

pytestmark = pytest.mark.windows

WAITS = [packet_not_fetched, poke_awaited, poke_awaited_with_request_held, text_not_fetched,
         text_not_fetched_in_job, no_session]


def in_a_calculation(peer) -> None:
    """Returns in the middle of the SCF cycle of 300 atoms that solves for all orbitals, which takes
    some tenths of a second."""
    connect(peer)
    big_job(peer, 3)
    at_work(peer)


@pytest.mark.parametrize("wait", WAITS)
def test_the_process_ends_when_its_client_disconnects_in_a_wait(start, wait):
    peer = start()
    wait(peer)
    peer.leave()
    assert peer.wait() == 0


def test_the_process_ends_when_its_client_disconnects_in_a_calculation(start):
    peer = start()
    in_a_calculation(peer)
    peer.leave()
    assert peer.wait() == 0


@pytest.mark.parametrize("message", [WM_CLOSE, WM_QUIT])
@pytest.mark.parametrize("wait", [before_connect, *WAITS])
def test_a_close_or_a_quit_ends_the_process_in_a_wait(start, wait, message):
    peer = start()
    wait(peer)
    settle(peer)
    post(peer, message)
    assert peer.wait() == 0


@pytest.mark.parametrize("message", [WM_CLOSE, WM_QUIT])
def test_a_close_or_a_quit_ends_the_process_in_a_calculation(start, message):
    peer = start()
    in_a_calculation(peer)
    post(peer, message)
    assert peer.wait() == 0


@pytest.mark.parametrize("wait", WAITS)
def test_the_process_ends_when_its_client_is_killed_in_a_wait(start, wait):
    peer = start()
    wait(peer)
    kill_client(peer)
    wait_for_end(peer.pid, SOON)


def test_the_process_ends_when_its_client_is_killed_in_a_calculation(start):
    peer = start()
    in_a_calculation(peer)
    kill_client(peer)
    wait_for_end(peer.pid, SOON)


def test_a_client_that_never_asks_is_waited_for_and_may_come_back(start):
    peer = start()
    connect(peer)
    time.sleep(1.0)
    settle(peer)
    assert play(peer, [*tables("am1"), *calculation()]).errors == []


def test_no_wait_costs_processor_time(start):
    spent = time_spent(start, WAITS)
    # A request that is held comes again and again: over DDE nobody tells of a packet.
    spent.pop(poke_awaited_with_request_held.__name__)
    # Nanoseconds, a fiftieth of the time: whoever else connects meanwhile asks every window.
    assert max(spent.values()) < 20_000_000, spent
