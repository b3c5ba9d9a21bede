"""The transactions of a conversation: what is accepted, refused, held and answered."""

import pytest
from peers import names
from sessions import (IDLE, ITEM, RUNNING, Packet, again, calculation, connect, decode, fetch,
                      first, options, play, poke, ready, reset, tables, to_demand, word)

from orbitrax.link import wire

NO_CALCULATION = options({"fCalculate": 0})
AHEAD = names("Packets")
LONG = "x" * 60  # fits a frame, and no name of ours


@pytest.mark.parametrize(("service", "topic"), [
    ("qsolv", "CalcBackend"), ("qsolvee", "CalcBackend"), ("", "CalcBackend"), ("qsolve", ""),
    ("qsolve", "CalcBacken"), ("qsolve", "CalcBackend2"), ("CalcBackend", "qsolve"), ("", ""),
    ("qsolve" + LONG, "CalcBackend"), ("qsolve", "CalcBackend" + LONG)])
def test_a_wrong_name_is_refused_and_the_right_one_then_accepted(start, service, topic):
    peer = start()
    assert connect(peer, service, topic) == 0
    assert connect(peer) == 1
    assert play(peer, [*tables("am1"), *NO_CALCULATION]).after_intake == []


def test_names_are_compared_regardless_of_case(start):
    peer = start()
    assert connect(peer, "QSolve", "CALCbackend") == 1
    assert isinstance(decode(peer.ask(wire.REQUEST, names("pACKET"))), Packet)
    to_demand(peer)
    assert poke(peer, tables("am1")[0].packet(), names("PACKET")) == wire.ACKNOWLEDGED


def test_a_second_connect_is_refused_and_the_conversation_goes_on(start):
    peer = start()
    assert connect(peer) == 1
    assert connect(peer) == 0
    to_demand(peer)
    assert connect(peer) == 0
    assert poke(peer, tables("am1")[0].packet()) == wire.ACKNOWLEDGED
    assert play(peer, [*tables("am1")[1:], *NO_CALCULATION]).after_intake == []


@pytest.mark.parametrize(("arguments", "topic"), [
    (["Molarium", "1a2b"], "1a2b"), (["Molarium 1a2b"], "1a2b"), (["Molarium", "1A2B"], "1a2b"),
    (["Molarium", "0x01a2b", "x"], "1a2b"), (["Lumenol", "1a2b", "x"], "1a2b"),
    (["Lumenol 1a2b x"], "1a2b"), (["Molarium", "ffffffff"], "ffffffff"),
    ([], "CalcBackend"), ([""], "CalcBackend"), (["Molarium"], "CalcBackend"),
    (["Molarium", "window"], "CalcBackend"), (["Lumenol", "1a2b"], "CalcBackend"),
    (["molarium", "1a2b"], "CalcBackend"), (["Molariums", "1a2b", "x"], "CalcBackend"),
    (["Other", "1a2b", "x"], "CalcBackend"), (["y" * 5000, "1a2b", "x"], "CalcBackend")])
def test_the_command_line_chooses_the_topic(start, arguments, topic):
    peer = start(*arguments)
    other = "CalcBackend" if topic != "CalcBackend" else "1a2b"
    assert connect(peer, topic=other) == 0
    assert connect(peer, topic=topic) == 1
    assert fetch(peer).payload == wire.word(1)


def test_an_id_may_have_as_many_digits_as_a_long_holds(start_socket):
    # 16 here; a long of Windows has 32 bits, and so have its window handles.
    assert connect(start_socket("Molarium", "f" * 16), topic="f" * 16) == 1


@pytest.mark.parametrize("item", ["Packe", "Packets", "", "Packet" + LONG])
def test_a_request_for_another_item_keeps_the_packet_and_tells_the_state(start, item):
    peer = start()
    assert connect(peer) == 1
    for _ in range(3):
        assert word(peer.ask(wire.REQUEST, names(item))) == RUNNING
    assert fetch(peer).payload == wire.word(1)
    assert play(peer, [*tables("am1"), *NO_CALCULATION]).after_intake == []
    assert word(peer.ask(wire.REQUEST, names(item))) == IDLE


def test_each_packet_is_handed_over_once(start):
    peer = start()
    assert connect(peer) == 1
    assert fetch(peer).kind == wire.DATA
    assert fetch(peer).kind == wire.REQUEST_NEXT
    assert poke(peer, tables("am1")[0].packet()) == wire.ACKNOWLEDGED
    assert fetch(peer).kind == wire.REQUEST_NEXT


def test_a_request_is_held_until_there_is_a_packet(start):
    peer = start()
    assert connect(peer) == 1
    to_demand(peer)
    peer.send(wire.REQUEST, ITEM)
    assert peer.silent()
    peer.send(wire.POKE, ITEM + tables("am1")[0].packet())
    assert peer.receive() == (wire.POKE, wire.word(wire.ACKNOWLEDGED))
    code, answer = peer.receive()
    assert (code, decode(answer).kind) == (wire.REQUEST, wire.REQUEST_NEXT)


def test_a_request_is_held_until_the_session_has_ended(start):
    peer = start()
    ready(peer)
    reset(peer)
    to_demand(peer, NO_CALCULATION[:2])
    peer.send(wire.REQUEST, ITEM)
    assert peer.silent()
    peer.send(wire.POKE, ITEM + NO_CALCULATION[2].packet())
    assert peer.receive() == (wire.POKE, wire.word(wire.ACKNOWLEDGED))
    assert peer.receive() == (wire.REQUEST, wire.word(IDLE))


def test_without_a_session_a_request_is_answered_at_once(start):
    peer = start()
    ready(peer)
    for _ in range(3):
        assert fetch(peer) == IDLE


def test_a_poke_outside_a_wait_is_refused_and_does_no_harm(start):
    peer = start()
    assert connect(peer) == 1
    block = tables("am1")[2].packet()
    assert poke(peer, block) == 0  # the node count waits to be fetched
    assert fetch(peer).payload == wire.word(1)
    assert poke(peer, block) == 0  # the demand does
    assert play(peer, [*tables("am1"), *NO_CALCULATION]).after_intake == []
    assert poke(peer, block) == 0  # nothing does
    assert again(peer, NO_CALCULATION).after_intake == []


def test_the_second_of_two_pokes_is_refused(start):
    peer = start()
    assert connect(peer) == 1
    to_demand(peer)
    assert poke(peer, tables("am1")[0].packet()) == wire.ACKNOWLEDGED
    assert poke(peer, tables("am1")[1].packet()) == 0
    assert play(peer, [*tables("am1")[1:], *NO_CALCULATION]).after_intake == []


@pytest.mark.parametrize("item", ["Packe", "Packet2", "", "Packet" + LONG])
def test_a_poke_of_another_item_is_refused_and_the_wait_goes_on(start, item):
    peer = start()
    assert connect(peer) == 1
    to_demand(peer)
    assert poke(peer, tables("am1")[0].packet(), names(item)) == 0
    assert poke(peer, tables("am1")[0].packet()) == wire.ACKNOWLEDGED


@pytest.mark.parametrize("packet", [b"", b"\0" * 19, wire.word(-1) + b"\0" * 20,
                                    wire.word(-2**31) + b"\0" * 20])
def test_a_poke_without_a_sound_header_is_refused_and_the_wait_goes_on(start, packet):
    peer = start()
    assert connect(peer) == 1
    to_demand(peer)
    assert poke(peer, packet) == 0
    assert poke(peer, tables("am1")[0].packet()) == wire.ACKNOWLEDGED


@pytest.mark.parametrize("command", ["[reset]", "[RESET]", "[Reset]"])
def test_reset_starts_the_next_session(start, command):
    peer = start()
    ready(peer)
    reset(peer, command)
    assert play(peer, NO_CALCULATION).told == 3
    assert fetch(peer) == IDLE


@pytest.mark.parametrize("command", ["reset", "[reset", "[reset] ", "", "[quit]", LONG])
def test_other_commands_are_acknowledged_and_ignored(start, command):
    peer = start()
    ready(peer)
    reset(peer, command)
    assert fetch(peer) == IDLE
    reset(peer)
    to_demand(peer)
    reset(peer, command)
    assert poke(peer, NO_CALCULATION[0].packet()) == wire.ACKNOWLEDGED
    assert play(peer, NO_CALCULATION[1:]).after_intake == []


@pytest.mark.parametrize("times", [1, 2, 5])
def test_reset_during_a_session_starts_one_more_when_it_has_ended(start, times):
    peer = start()
    ready(peer)
    reset(peer)
    to_demand(peer, NO_CALCULATION[:1])
    for _ in range(times):
        reset(peer)
    two = [*NO_CALCULATION[1:], *NO_CALCULATION]
    assert play(peer, two, asked=True).after_intake == []
    assert fetch(peer) == IDLE


def test_reset_during_a_session_that_is_refused_starts_another(start):
    peer = start()
    ready(peer)
    reset(peer)
    to_demand(peer)
    reset(peer)
    short = NO_CALCULATION[0]._replace(payload=b"")
    transcript = play(peer, [short, *NO_CALCULATION], asked=True)
    assert transcript.errors == ['The packet "debug word" is too short: it has 0 bytes, and needs '
                                 '4.']
    assert transcript.packets[-1].kind == wire.REQUEST_NEXT


def test_a_refused_first_session_is_repeated_from_its_start(start):
    peer = start()
    assert connect(peer) == 1
    refused = play(peer, [tables("am1")[0], tables("am1")[1]._replace(payload=b"")])
    assert len(refused.errors) == 1
    reset(peer)
    transcript = play(peer, [*tables("am1"), *calculation(job={"nCalcKind": 3})])
    assert transcript.packets[0].payload == wire.word(1)
    assert transcript.after_intake == []


def test_disconnect_ends_the_process(start):
    peer = start()
    ready(peer)
    peer.send(wire.DISCONNECT)
    assert peer.wait() == 0


def test_disconnect_in_a_session_ends_the_process(start):
    peer = start()
    first(peer, NO_CALCULATION)
    reset(peer)
    to_demand(peer)
    peer.send(wire.DISCONNECT)
    assert peer.wait() == 0


def test_packets_ahead_spare_the_demands_and_change_nothing_else(start_socket):
    peer = start_socket()
    ready(peer)
    steps = calculation()
    usual = again(peer, steps)
    packets = b"".join(step.packet() for step in steps)
    for taken, left_over in ((wire.ACKNOWLEDGED, b""), (wire.ACKNOWLEDGED, packets)):
        assert poke(peer, packets + left_over, AHEAD) == taken
        peer.send(wire.EXECUTE, names("[reset]"))
        for _ in range(100):
            peer.send(wire.REQUEST, ITEM)
        assert peer.receive() == (wire.EXECUTE, wire.word(wire.ACKNOWLEDGED))
        came = [decode(peer.receive()[1]) for _ in range(100)]
        sent = came[:came.index(IDLE)]
        assert all(one == IDLE for one in came[len(sent):])
        assert [one.payload for one in sent] == [one.payload for one in usual.after_intake]
    assert again(peer, steps).after_intake == usual.after_intake, "what was left over is dropped"


def test_what_packets_ahead_lack_is_demanded(start_socket):
    peer = start_socket()
    ready(peer)
    steps = calculation()
    usual = again(peer, steps)
    assert poke(peer, b"".join(step.packet() for step in steps[:3]), AHEAD) == wire.ACKNOWLEDGED
    reset(peer)
    assert play(peer, steps[3:]).after_intake == usual.after_intake


def test_packets_ahead_are_refused_in_a_session_and_where_they_are_none(start):
    peer = start()
    assert connect(peer) == 1
    packet = NO_CALCULATION[0].packet()
    assert poke(peer, packet, AHEAD) == 0
    assert play(peer, [*tables("am1"), *NO_CALCULATION]).after_intake == []
    for torn in (b"", packet[:-1], packet + b"x", wire.word(-1) + packet[4:]):
        assert poke(peer, torn, AHEAD) == 0
    assert again(peer, NO_CALCULATION).after_intake == []
