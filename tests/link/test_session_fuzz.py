"""Conversations of the catalogue with some of their packets bent, lost, doubled or put elsewhere,
several to a process, each followed by a sound one: that must say, to the bit, what it says in a
fresh process. So do rows in which bent and sound sessions are mixed. The same ones in each
`./test`, new ones for a minute in `./test --long`; a fault tells its seed, and
ORBITRAX_FUZZ_SEED=N repeats a run."""

from __future__ import annotations

import itertools
import os
import random
import struct
import time
from collections import Counter
from collections.abc import Iterator
from typing import NamedTuple

import pytest
from catalogue import Conversation, catalogue, content, hold, tell
from peers import PATIENCE, SocketPeer
from rows import TAKEN, Stuck, in_a_row, rest
from sessions import IDLE, Step, connect, fetch, poke, ready, reset, tables

from orbitrax.link import wire

SEED = int(os.environ.get("ORBITRAX_FUZZ_SEED") or 1)
WORDS = [struct.pack("<i", number) for number in (0, 1, -1, 2, 9, 105, 2**31 - 1, -2**31, 1 << 24)]
FLOATS = [struct.pack("<f", number) for number in (
    float("nan"), float("inf"), -1e38, 1e38, 1e-42, -0.5, 1e6)]
MOST_PACKETS = 3000  # of a bent session; one that still goes on is left, and its process with it
LIFE = 12  # bent sessions of one process
SPARE = 40  # empty packets for what a bent session of a row may demand beyond its own


class Bent(NamedTuple):
    """A session that no sound client has, and what was done to it."""

    steps: list[Step]
    changes: list[str]


def bend(rng: random.Random, conversation: Conversation) -> Bent:
    """One to four changes in the packets of a conversation's last session."""
    steps, changes = list(rng.choice(conversation.sessions)), []
    for _ in range(rng.randint(1, 4)):
        at = rng.randrange(len(steps))
        way = rng.choices((word, length, other_kind, lose, double, exchange),
                          (12, 3, 1, 1, 1, 1))[0]
        if steps[at].payload or way is not word:
            changes.append(f"{way.__name__} of {steps[at].name}: {way(rng, steps, at)}")
    return Bent(steps, changes)


def word(rng: random.Random, steps: list[Step], at: int) -> str:
    payload = steps[at].payload
    place = 4 * rng.randrange((len(payload) + 3) // 4)
    new = rng.choice([rng.choice(WORDS), rng.choice(FLOATS), rng.randbytes(4)])
    steps[at] = steps[at]._replace(payload=(payload[:place] + new + payload[place + 4:]))
    return f"{place // 4} is {new.hex()}"


def length(rng: random.Random, steps: list[Step], at: int) -> str:
    payload = steps[at].payload
    count = rng.choice((0, rng.randrange(len(payload) + 1), len(payload) + rng.randint(1, 600)))
    steps[at] = steps[at]._replace(payload=(payload + rng.randbytes(600))[:count])
    return str(count)


def other_kind(rng: random.Random, steps: list[Step], at: int) -> str:
    steps[at] = steps[at]._replace(kind=rng.choice((0, -1, wire.DEBUG_FLAG, wire.REQUEST_NEXT)))
    return str(steps[at].kind)


def lose(rng: random.Random, steps: list[Step], at: int) -> str:
    if len(steps) > 1:
        del steps[at]
    return "lost"


def double(rng: random.Random, steps: list[Step], at: int) -> str:
    steps.insert(rng.randrange(len(steps) + 1), steps[at])
    return "sent twice"


def exchange(rng: random.Random, steps: list[Step], at: int) -> str:
    other = rng.randrange(len(steps))
    steps[at], steps[other] = steps[other], steps[at]
    return f"and of {steps[at].name}"


def play_bent(peer: SocketPeer, conversation: Conversation, steps: list[Step]) -> bool:
    """Plays a session; whatever is asked beyond its steps is answered by an empty packet. False if
    it is still at work when the client has seen enough."""
    told, packets = 0, 0
    while (packet := fetch(peer)) != IDLE:
        if packets == 0 and packet.payload == wire.word(1):  # it has no tables yet
            steps = [*tables(conversation.method), *steps]
        if packet.kind == wire.REQUEST_NEXT:
            step = steps[told] if told < len(steps) else Step(None, b"")
            assert poke(peer, step.packet()) == wire.ACKNOWLEDGED
            told += 1
        packets += 1
        if packets == MOST_PACKETS:
            return False
    return True


def play_process(rng: random.Random, conversations: list[Conversation],
                 known: dict[str, list], counts: Counter[str]) -> None:
    """A process of bent and sound sessions of one method in turn."""
    sound = rng.choice(conversations)
    fitting = [one for one in conversations if one.method == sound.method]
    peer, changes = SocketPeer(), ["none"]
    peer.link.settimeout(6 * PATIENCE)
    try:
        assert connect(peer) == 1
        for _ in range(LIFE):
            conversation = rng.choice(fitting)
            bent, sound = bend(rng, conversation), rng.choice(fitting)
            changes = [conversation.name, *bent.changes]
            counts["bent"] += 1
            if not play_bent(peer, conversation, bent.steps):
                counts["left at work"] += 1
                break
            for _ in range(2):  # the first may be asked for the tables
                reset(peer)
                said = content([tell(peer, sound, sound.sessions[0])])
            assert said == expected(sound, known), f"{sound.name} says something else"
            counts["sound"] += 1
            reset(peer)
    except (AssertionError, OSError) as error:
        peer.process.kill()
        raise AssertionError(
            f"seed {SEED}, after {changes}: {error}\n{peer.complained()}") from None
    peer.finish()


def play_rows(rng: random.Random, conversations: list[Conversation],
              known: dict[str, list], counts: Counter[str]) -> None:
    """A process of rows in which sessions of one method are bent or sound, as the dice fall."""
    method = rng.choice(conversations).method
    fitting = [one for one in conversations if one.method == method]
    peer, changes = SocketPeer(), [["none"]]
    peer.link.settimeout(6 * PATIENCE)
    try:
        ready(peer, method)
        for _ in range(LIFE // 3):
            row = [rng.choice(fitting) for _ in range(rng.randint(2, 8))]
            bents = [bend(rng, one) if rng.random() < 0.5 else None for one in row]
            changes = [[one.name, *bent.changes] for one, bent in zip(row, bents) if bent]
            peer.write(b"".join(in_a_row(bent.steps if bent else one.sessions[0], SPARE)
                                for one, bent in zip(row, bents)))
            for one, bent in zip(row, bents):
                hear(peer, one, bent, known, counts)
    except Stuck:
        counts["left at work"] += 1
    except (AssertionError, OSError) as error:
        peer.process.kill()
        raise AssertionError(
            f"seed {SEED}, in a row with {changes}: {error}\n{peer.complained()}") from None
    peer.finish()


def hear(peer: SocketPeer, one: Conversation, bent: Bent | None, known: dict[str, list],
         counts: Counter[str]) -> None:
    """What a session of a row says. Raises Stuck where it is bent and does not come to its end."""
    taken = peer.receive()
    assert peer.receive() == (wire.EXECUTE, TAKEN)
    if bent:
        counts["bent"] += 1
        rest(peer, most=MOST_PACKETS)
        return
    assert taken == (wire.POKE, TAKEN)
    counts["sound"] += 1
    said = [(packet.kind, packet.payload) for packet in rest(peer)]
    usual = [packet for packet in expected(one, known)[0] if packet[0] != wire.REQUEST_NEXT]
    assert said == usual, f"{one.name} says something else"


def expected(conversation: Conversation, known: dict[str, list]) -> list:
    """What a fresh process says in the conversation's first session, told again."""
    if conversation.name not in known:
        peer = SocketPeer()
        hold(peer, conversation)
        reset(peer)
        known[conversation.name] = content([tell(peer, conversation, conversation.sessions[0])])
        peer.finish()
    return known[conversation.name]


def rounds(name: str, processes: int) -> Iterator[int]:
    """So many numbers, or numbers for a minute."""
    if name == "short":
        return iter(range(processes))
    until = time.monotonic() + 60
    return itertools.takewhile(lambda _: time.monotonic() < until, itertools.count())


@pytest.mark.timeout(600)
@pytest.mark.parametrize("name", ["short", pytest.param("long", marks=pytest.mark.long)])
@pytest.mark.parametrize("play", [play_process, play_rows], ids=["by turns", "in rows"])
def test_no_bent_session_changes_what_a_sound_one_says(play, name):
    conversations, known, counts = catalogue(), {}, Counter()
    for number in rounds(name, 25):
        play(random.Random(f"{SEED} {number}"), conversations, known, counts)
    print(f"R4: sessions of the catalogue, {play.__name__}, seed {SEED}: {dict(counts)}, each "
          "sound one as in a fresh process")
    assert counts["sound"] > 100
