"""Everything at once, for as long as one likes: conversations of the catalogue held with processes
that live through many of them, clients that go, processes that are killed, allocations that fail.
A conversation that nothing disturbs must say, to the bit, what a fresh process says, and a process
that lives on must keep its memory and its open descriptors.

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
from sessions import connect, fetch, reset

MOST_MEMORY = 1024  # KiB that a process may grow by from its 40th session on
LONG_LIFE = 200  # sessions of one process


class Gone(Exception):
    """The client has had enough."""


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
        ways = (self.long_life, self.client_goes, self.killed, self.no_memory)
        while time.monotonic() < until:
            way = self._rng.choices(ways, (1, 30, 30, 30))[0]
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
        fitting = [c for c in self._all if c.method == conversation.method]
        peer, before = SocketPeer(), 0
        hold(peer, conversation)
        opened = peer.descriptors()
        for number in range(LONG_LIFE):
            one = self._rng.choice(fitting)
            expected = self.expected(one)[1]
            reset(peer)
            if content([tell(peer, one, one.sessions[0])]) != expected:
                raise AssertionError(f"session {number}, {one.name}, says something else")
            self.counts["sessions"] += 1
            if number == 40:
                before = peer.memory()
        self.growth = max(self.growth, peer.memory() - before)
        assert peer.descriptors() == opened, f"{opened} open, now {peer.descriptors()}"
        assert peer.memory() - before <= MOST_MEMORY, f"{peer.memory() - before} KiB more"
        peer.finish()

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


def main(seconds: float, seed: int) -> int:
    soak = Soak(seed)
    soak.run(seconds)
    print(f"R25: {seconds:g} s, seed {seed}: {dict(soak.counts)}, growth at most {soak.growth} "
          f"KiB, {len(soak.faults)} faults")
    print("\n".join(soak.faults))
    return 1 if soak.faults else 0


if __name__ == "__main__":
    sys.exit(main(float(sys.argv[1]), int(sys.argv[2]) if len(sys.argv) > 2 else 1))
