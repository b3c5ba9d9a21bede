"""The DDE conversation of qsolve.exe: who gets one, and what becomes of each transaction."""

import os
import signal
import struct
import time

import pytest
from peers import names
from probed import ADVISE, FORMAT, SECOND_CONVERSATION, WM_CLOSE, post
from sessions import (IDLE, ITEM, RUNNING, SERVICE, TOPIC, Packet, again, calculation, connect,
                      decode, fetch, first, play, poke, ready, tables, to_demand, word)
from waits import packet_not_fetched, poke_awaited, settle, text_not_fetched

from orbitrax import wire

pytestmark = pytest.mark.windows

NOT_PROCESSED = 0
NO_MEMORY = "This application has exhausted all available memory."
WHOLE = [*tables("am1"), *calculation()]


def second(peer, service: str = SERVICE, topic: str = TOPIC) -> int:
    """Whether the client is given one more conversation, which it ends at once."""
    return word(peer.ask(SECOND_CONVERSATION, names(service, topic)))


def use_format(peer, name: str) -> None:
    """The clipboard format of all that follows."""
    assert 0xC000 <= word(peer.ask(FORMAT, names(name))) <= 0xFFFF


# ---- connecting ---------------------------------------------------------------------------------


@pytest.mark.parametrize("service, topic", [
    ("qsolv", TOPIC), ("qsolve2", TOPIC), ("", "CalcBackend2"), (SERVICE, "CalcBackend2"),
    (SERVICE, "Calc"), (SERVICE, "x" * 200), ("x" * 200, TOPIC), (TOPIC, SERVICE)])
def test_a_wrong_name_is_refused_and_the_right_one_still_accepted(start, service, topic):
    peer = start()
    assert connect(peer, service, topic) == 0
    assert first(peer, calculation()).errors == []


@pytest.mark.parametrize("service, topic", [("QSOLVE", "CALCBACKEND"), ("Qsolve", "calcbackend")])
def test_names_are_compared_regardless_of_case(start, service, topic):
    assert connect(start(alone=True), service, topic) == 1


@pytest.mark.parametrize("place", [packet_not_fetched, poke_awaited, text_not_fetched, ready])
def test_a_second_conversation_is_refused_and_the_first_goes_on(start, place):
    peer = start()
    place(peer)
    assert second(peer) == 0
    if place is packet_not_fetched:
        assert play(peer, WHOLE).errors == []
    if place is poke_awaited:
        assert play(peer, WHOLE, asked=True).errors == []
    if place is text_not_fetched:
        assert play(peer, []).errors == []
    assert again(peer, calculation()).errors == []


def test_a_client_that_waits_for_input_idle_connects_at_the_first_try(start):
    for peer in [start() for _ in range(8)]:
        assert connect(peer) == 1


def test_a_thousand_connects_that_are_refused_change_nothing(start_probed):
    peer = start_probed()
    for _ in range(500):
        assert connect(peer, topic="CalcBackend2") == 0
    ready(peer)
    before = peer.counts()
    for _ in range(500):
        assert second(peer) == 0
    assert peer.counts() == before
    assert again(peer, calculation()).errors == []


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


@pytest.mark.parametrize("arguments, topic", [
    ((), "CalcBackend"),
    (("Molarium", "1A2B"), "1a2b"),
    (("Molarium", "001A2B", "x"), "1a2b"),
    (("Molarium", "0x1A2B"), "1a2b"),
    (("Molarium", "7", "and", "more"), "7"),
    (("Molarium",), "CalcBackend"),
    (("Molarium", "none"), "CalcBackend"),
    (("molarium", "1A2C", "x"), "CalcBackend"),
    (("Lumenol", "1A2D", "x"), "1a2d"),
    (("Lumenol", "1A2D"), "CalcBackend"),
    (("lumenol", "1A2D", "x"), "CalcBackend"),
    (("Other", "1A2D", "x"), "CalcBackend"),
    (("Molarium", "FFFFFFFF"), "ffffffff"),
    (("Molarium" * 5, "1A2E"), "CalcBackend")])
def test_the_command_line_gives_the_topic(start, arguments, topic):
    peer = start(*arguments, alone=True)
    other = "1a2b" if topic == "CalcBackend" else "CalcBackend"
    assert connect(peer, topic=other) == 0
    assert connect(peer, topic=topic) == 1


# ---- transactions -------------------------------------------------------------------------------


@pytest.mark.parametrize("command", ["[reset]", "[RESET]", "[Reset]", "[rEsEt]"])
def test_a_reset_starts_a_session_in_any_case(start, command):
    peer = start()
    ready(peer)
    assert word(peer.ask(wire.EXECUTE, names(command))) == wire.ACKNOWLEDGED
    assert play(peer, calculation()).errors == []


@pytest.mark.parametrize("command", ["", "reset", "[reset", "[reset] ", "[reset][reset]", "[quit]",
                                     "x" * 500, "\xff\xfe"])
def test_other_commands_are_acknowledged_and_ignored(start, command):
    peer = start()
    ready(peer)
    assert word(peer.ask(wire.EXECUTE, names(command))) == wire.ACKNOWLEDGED
    assert fetch(peer) == IDLE
    assert again(peer, calculation()).errors == []


def test_a_poke_outside_of_a_wait_is_not_processed(start):
    peer = start()
    packet_not_fetched(peer)
    assert poke(peer, WHOLE[0].packet()) == NOT_PROCESSED
    assert play(peer, WHOLE).errors == []
    assert poke(peer, WHOLE[0].packet()) == NOT_PROCESSED


@pytest.mark.parametrize("item", ["Packe", "Packet2", "x" * 200])
def test_a_poke_or_a_request_of_another_item_changes_nothing(start, item):
    peer = start()
    assert connect(peer) == 1
    assert decode(peer.ask(wire.REQUEST, names(item))) == RUNNING
    to_demand(peer)
    assert poke(peer, WHOLE[0].packet(), names(item)) == NOT_PROCESSED
    assert play(peer, WHOLE, asked=True).errors == []


@pytest.mark.parametrize("packet", [b"", b"\0" * 19, struct.pack("<5i", -1, 10, 0, 1, 0)])
def test_a_poke_that_is_no_packet_is_not_processed(start, packet):
    peer = start()
    poke_awaited(peer)
    assert poke(peer, packet) == NOT_PROCESSED
    assert play(peer, WHOLE, asked=True).errors == []


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
