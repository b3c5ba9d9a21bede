"""Everything at once, for as long as one likes: conversations of the catalogue held with processes
that live through many of them, by turns and in rows, clients that go, processes that are killed,
allocations that fail. A conversation that nothing disturbs must say, to the bit, what a fresh
process says, and a process that lives on must keep its memory and its open descriptors.

    PYTHONPATH=tests/link:tests/windows:python /usr/bin/python3 tests/soak/soak.py SECONDS [SEED]
"""

from __future__ import annotations

import random
import signal
import sys
import time
from collections import Counter

from catalogue import Conversation, catalogue, content, hold, tell
from failing import FOREVER, FailingPeer
from peers import SocketPeer
from rows import Stuck, in_a_row, rest, said, without_demands
from sessions import Packet, connect, fetch, ready, reset

from orbitrax.link import wire

MOST_MEMORY = 1024  # KiB that a process may grow by from its 40th session on
LONG_LIFE = 200  # sessions of one process
LONGEST_ROW = 6  # sessions


class Gone(Exception):
    """The client has had enough."""


class Different(Exception):
    """A session says what it should not."""


class Leaving:
    """A peer that is gone after so many frames."""

    def __init__(self, peer: SocketPeer, frames: int):
        self._peer, self._left = peer, frames

    def ask(self, code: int, body: bytes = b"") -> bytes:
        if self._left == 0:
            raise Gone
        self._left -= 1
        return self._peer.ask(code, body)


class Soak:
    """A run with a seed; `counts` is what it did, `faults` what went wrong."""

    def __init__(self, seed: int):
        self._rng = random.Random(seed)
        self._all = catalogue()
        self._said: dict[str, tuple[list, list]] = {}
        self.counts: Counter[str] = Counter()
        self.faults: list[str] = []
        self.growth = 0

    def run(self, seconds: float) -> None:
        until = time.monotonic() + seconds
        ways = (self.long_life, self.client_goes, self.killed, self.no_memory, self.row_goes,
                self.row_killed, self.row_no_memory)
        while time.monotonic() < until:
            way = self._rng.choices(ways, (1, 15, 15, 15, 15, 15, 15))[0]
            conversation = self._rng.choice(self._all)
            try:
                way(conversation)
            except Exception as error:  # the run goes on, and tells at its end
                self.faults.append(f"{way.__name__}, {conversation.name}: {error!r}")
            self.counts[way.__name__] += 1

    def expected(self, conversation: Conversation) -> tuple[list, list]:
        """What a fresh process says in its first session, and in the same one again."""
        if conversation.name not in self._said:
            peer = SocketPeer()
            first = content(hold(peer, conversation)[:1])
            reset(peer)
            again = content([tell(peer, conversation, conversation.sessions[0])])
            peer.finish()
            self._said[conversation.name] = first, again
        return self._said[conversation.name]

    def long_life(self, conversation: Conversation) -> None:
        """Many sessions of one method; each says what it says in a fresh process."""
        peer, number, before = SocketPeer(), 0, 0
        hold(peer, conversation)
        opened = peer.descriptors()
        while number < LONG_LIFE:
            row = self._row(conversation.method)
            found = self._in_a_row(peer, row) if self._rng.random() < 0.5 else [
                self._by_turns(peer, one) for one in row]
            for one, said_now in zip(row, found):
                if said_now != self._usual(one):
                    raise AssertionError(f"session {number}, {one.name}, says something else")
            self.counts["sessions"] += len(row)
            number += len(row)
            before = before or (peer.memory() if number >= 40 else 0)
        self.growth = max(self.growth, peer.memory() - before)
        assert peer.descriptors() == opened, f"{opened} open, now {peer.descriptors()}"
        assert peer.memory() - before <= MOST_MEMORY, f"{peer.memory() - before} KiB more"
        peer.finish()

    def _row(self, method: str) -> list[Conversation]:
        fitting = [c for c in self._all if c.method == method]
        return self._rng.choices(fitting, k=self._rng.randint(1, LONGEST_ROW))

    def _usual(self, conversation: Conversation) -> list[tuple[int, bytes]]:
        """What the first session says in a process that has the tables, but for its demands."""
        return [packet for packet in self.expected(conversation)[1][0]
                if packet[0] != wire.REQUEST_NEXT]

    @staticmethod
    def _by_turns(peer: SocketPeer, conversation: Conversation) -> list[tuple[int, bytes]]:
        reset(peer)
        return plain(without_demands(tell(peer, conversation, conversation.sessions[0]).packets))

    def _in_a_row(self, peer: SocketPeer, row: list[Conversation]) -> list[list[tuple[int, bytes]]]:
        self.counts["rows"] += 1
        peer.write(frames(row))
        return [plain(said(peer)) for _ in row]

    def client_goes(self, conversation: Conversation) -> None:
        """The client is gone after some frames; the process ends soundly."""
        peer = SocketPeer()
        try:
            hold(Leaving(peer, self._rng.randrange(120)), conversation)
        except Gone:
            pass
        peer.finish()

    def killed(self, conversation: Conversation) -> None:
        """The process is ended between two packets; the client sees its link closed."""
        peer = SocketPeer()
        connect(peer)
        number = self._rng.choice((signal.SIGKILL, signal.SIGTERM, signal.SIGSEGV))
        peer.process.send_signal(number)
        try:
            for _ in range(100):
                fetch(peer)
            raise AssertionError("the process goes on")
        except (AssertionError, ConnectionResetError, BrokenPipeError) as end:
            if str(end) == "the process goes on":
                raise
        peer.expected_status = 0 if number == signal.SIGTERM else -number
        peer.finish()

    def no_memory(self, conversation: Conversation) -> None:
        """Allocations fail from some point on, then there is memory again."""
        first, again = self.expected(conversation)
        peer = FailingPeer(self._rng.randrange(5, 120), FOREVER)
        hold(peer, conversation)
        peer.heal()
        reset(peer)
        healed = content([tell(peer, conversation, conversation.sessions[0])])
        assert healed in (first, again), "after the failure it says something else"
        peer.finish()

    # ---- sessions in a row ----------------------------------------------------------------------

    def row_goes(self, conversation: Conversation) -> None:
        """The client of a row is gone after some answers, or some bytes of it."""
        peer = SocketPeer()
        ready(peer, conversation.method)
        data = frames(self._row(conversation.method))
        if self._rng.random() < 0.5:
            peer.write(data[:self._rng.randrange(len(data))])
        else:
            peer.write(data)
            for _ in range(self._rng.randrange(9)):
                peer.receive()
        peer.finish()

    def row_killed(self, conversation: Conversation) -> None:
        """The process is ended amid a row; what it has said is what it says, and no more comes."""
        peer, row = SocketPeer(), self._row(conversation.method)
        ready(peer, conversation.method)
        peer.write(frames(row))
        ended, number = 0, self._rng.choice((signal.SIGKILL, signal.SIGTERM, signal.SIGSEGV))
        at = self._rng.randrange(len(row))
        try:
            for place, one in enumerate(row):
                if place == at:
                    peer.process.send_signal(number)
                if plain(said(peer)) != self._usual(one):
                    raise Different(f"session {place}, {one.name}, says something else")
                ended += 1
        except (AssertionError, ConnectionResetError, BrokenPipeError):
            pass  # the link closed
        assert ended >= at, f"killed after {at} sessions, {ended} have ended"
        peer.expected_status = 0 if number == signal.SIGTERM else -number
        peer.finish()

    def row_no_memory(self, conversation: Conversation) -> None:
        """Some allocations of a row fail, or all from a point on; then there is memory again."""
        peer, row = FailingPeer(), self._row(conversation.method)
        ready(peer, conversation.method)
        first = peer.taken() + self._rng.randrange(60 * len(row))
        peer.fail(first, self._rng.choice((first + 1, first + 5, FOREVER)))
        peer.write(frames(row))
        try:
            for _ in row:
                peer.receive(), peer.receive()
                rest(peer)
        except Stuck:  # it found no room for the packets ahead
            self.counts["refused"] += 1
            peer.finish()
            return
        peer.heal()
        for one, found in zip(row, self._in_a_row(peer, row)):
            assert found == self._usual(one), f"after the failure {one.name} says something else"
        peer.finish()


def frames(row: list[Conversation]) -> bytes:
    """The first sessions of these conversations as a row."""
    return b"".join(in_a_row(one.sessions[0]) for one in row)


def plain(packets: list[Packet]) -> list[tuple[int, bytes]]:
    return [(packet.kind, packet.payload) for packet in packets]


def main(seconds: float, seed: int) -> int:
    soak = Soak(seed)
    soak.run(seconds)
    print(f"R25: {seconds:g} s, seed {seed}: {dict(soak.counts)}, growth at most {soak.growth} "
          f"KiB, {len(soak.faults)} faults")
    print("\n".join(soak.faults))
    return 1 if soak.faults else 0


if __name__ == "__main__":
    sys.exit(main(float(sys.argv[1]), int(sys.argv[2]) if len(sys.argv) > 2 else 1))
