"""What only DDE has of the conversation; the rest is in tests/link, which runs over DDE as well."""

import os
import signal
import time

import pytest
from peers import names
from probed import ADVISE, FORMAT, SECOND_CONVERSATION, WM_CLOSE, post
from sessions import (IDLE, ITEM, SERVICE, TOPIC, Packet, again, calculation, connect,
                      decode, fetch, first, play, poke, ready, tables, to_demand, word)
from waits import packet_not_fetched, poke_awaited, settle, text_not_fetched

from orbitrax.link import wire

pytestmark = pytest.mark.windows

NO_MEMORY = "This application has exhausted all available memory."
WHOLE = [*tables("am1"), *calculation()]


def second(peer, service: str = SERVICE, topic: str = TOPIC) -> int:
    """Whether the client is given one more conversation, which it ends at once."""
    return word(peer.ask(SECOND_CONVERSATION, names(service, topic)))


def use_format(peer, name: str) -> None:
    """The clipboard format of all that follows."""
    assert 0xC000 <= word(peer.ask(FORMAT, names(name))) <= 0xFFFF


# ---- connecting ---------------------------------------------------------------------------------


@pytest.mark.parametrize(("place", "rest", "asked"), [
    (packet_not_fetched, WHOLE, False), (poke_awaited, WHOLE, True), (text_not_fetched, [], False)])
def test_a_second_conversation_is_refused_in_a_wait_and_the_first_goes_on(start, place, rest,
                                                                          asked):
    peer = start()
    place(peer)
    assert second(peer) == 0
    assert play(peer, rest, asked=asked).errors == []
    assert again(peer, calculation()).errors == []


def test_a_client_in_another_process_is_refused_while_one_is_there(start):
    peer, other = start(), start()
    ready(peer)
    assert connect(other, topic=peer.topic) == 0
    assert again(peer, calculation()).errors == []
    assert first(other, calculation()).errors == []


def test_a_client_that_waits_for_input_idle_connects_at_the_first_try(start):
    for peer in [start() for _ in range(8)]:
        assert connect(peer) == 1


def test_two_backends_on_two_topics_work_side_by_side(start):
    one, two = start(), start()
    assert connect(one) == connect(two) == 1
    steps = WHOLE
    transcripts = [[], []]
    told = [0, 0]
    running = {0: one, 1: two}
    while running:  # a packet of one, a packet of the other
        for i, peer in list(running.items()):
            packet = fetch(peer)
            if packet == IDLE:
                del running[i]
                continue
            transcripts[i].append(packet)
            if packet.kind == wire.REQUEST_NEXT:
                assert poke(peer, steps[told[i]].packet()) == wire.ACKNOWLEDGED
                told[i] += 1
    assert transcripts[0] == transcripts[1]
    assert told == [len(steps)] * 2


# ---- transactions -------------------------------------------------------------------------------


def test_nobody_is_told_of_changes(start):
    peer = start()
    ready(peer)
    assert word(peer.ask(ADVISE, ITEM)) & wire.ACKNOWLEDGED == 0
    assert again(peer, calculation()).errors == []


def test_the_clipboard_format_of_a_transaction_is_not_looked_at(start):
    peer = start()
    assert connect(peer) == 1
    use_format(peer, "Packet of another kind")
    to_demand(peer)
    assert poke(peer, WHOLE[0].packet()) == wire.ACKNOWLEDGED
    use_format(peer, "Packet")
    to_demand(peer)
    assert play(peer, WHOLE[1:], asked=True).errors == []


# ---- errors, and the link that is down ----------------------------------------------------------


def test_an_error_of_dde_is_told_and_the_job_goes_on(start_probed):
    peer = start_probed()
    text_not_fetched(peer)
    peer.fail()
    settle(peer)
    transcript = play(peer, [])
    assert transcript.errors == [NO_MEMORY]
    assert any(packet.kind == wire.DATA for packet in transcript.packets), "and then its results"
    assert again(peer, calculation()).errors == []


def test_an_error_of_dde_while_idle_is_told_in_the_next_session(start_probed):
    peer = start_probed()
    ready(peer)
    peer.fail()
    settle(peer)
    assert fetch(peer) == IDLE
    transcript = again(peer, calculation())
    assert transcript.errors == [NO_MEMORY] and transcript.kinds[0] == wire.ERROR_LINE
    assert again(peer, calculation()).errors == []


def test_text_goes_to_standard_output_when_the_link_is_down(start):
    peer = start()
    text_not_fetched(peer)
    settle(peer)
    # Held still, the process finds the close ahead of the request that lets the job go on.
    os.kill(peer.pid, signal.SIGSTOP)
    post(peer, WM_CLOSE)
    peer.send(wire.REQUEST, ITEM)
    time.sleep(0.3)
    os.kill(peer.pid, signal.SIGCONT)
    code, answer = peer.receive()
    assert code == wire.REQUEST and isinstance(decode(answer), Packet)
    assert peer.wait() == 0
    assert peer.printed().startswith("Accelerate convergence = YES")
