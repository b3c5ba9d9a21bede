"""Sessions sent one behind the other, each asked for as a whole, by a client that takes what comes.
"""

from __future__ import annotations

from peers import frame, names
from sessions import IDLE, Packet, Step, decode, ready

from orbitrax.link import wire

AHEAD, SESSION = names("Packets"), names("Session")
TAKEN = wire.word(wire.ACKNOWLEDGED)


class Stuck(Exception):
    """A session demands something that would wait behind the next one, or comes to no end."""


def in_a_row(steps: list[Step], spare: int = 0) -> bytes:
    """The frames of one session: all that it demands, its start, the request for what it says.
    spare: empty packets for what it may demand beyond its steps."""
    packets = b"".join(step.packet() for step in [*steps, *[Step(None, b"")] * spare])
    return (frame(wire.POKE, AHEAD + packets) + frame(wire.EXECUTE, names("[reset]"))
            + frame(wire.REQUEST, SESSION))


def said(peer) -> list[Packet]:
    """What the next session of a row says."""
    assert peer.receive() == (wire.POKE, TAKEN)
    assert peer.receive() == (wire.EXECUTE, TAKEN)
    return rest(peer)


def rest(peer, most: int = 100_000) -> list[Packet]:
    """All that comes up to the end of the session. Raises Stuck after so many packets."""
    found: list[Packet] = []
    while len(found) < most:
        code, answer = peer.receive()
        assert code == wire.REQUEST
        packet = decode(answer)
        if packet == IDLE:
            return found
        if packet.kind == wire.REQUEST_NEXT:
            break
        found.append(packet)
    raise Stuck


def without_demands(packets: list[Packet]) -> list[Packet]:
    return [packet for packet in packets if packet.kind != wire.REQUEST_NEXT]


def hold_in_a_row(peer, method: str, sessions: list[list[Step]]) -> list[list[Packet]]:
    """Sessions of one method in a row with a fresh process, and what it said in each."""
    ready(peer, method)
    peer.write(b"".join(map(in_a_row, sessions)))
    return [said(peer) for _ in sessions]
