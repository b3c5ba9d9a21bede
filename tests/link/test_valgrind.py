"""Under valgrind the backend decides nothing by what was never written, touches no memory that is
not its own, and says to the bit what it says without."""

import os
import shutil

import pytest
from catalogue import catalogue, content, hold, sample, tell
from peers import PROGRAM, SANITIZED, SocketPeer
from sessions import KEYS, reset

VALGRIND = shutil.which("valgrind")
SLOWNESS = 300  # seconds that the process may take for an answer, where it runs fifty times slower
REPORTED = 99  # the exit status that tells of a report
# What is kept at the end is no fault here: a process that helps ends in the middle of its work, and
# the leak sanitizer watches the others.
WATCH = ("--quiet", f"--error-exitcode={REPORTED}", "--leak-check=no")
# One form of the kernels for both runs, and no filter of the calls that valgrind itself makes.
ENVIRONMENT = {**os.environ, "ORBITRAX_KERNELS": "portable", "ORBITRAX_CONFINE": "off"}

pytestmark = [
    pytest.mark.skipif(VALGRIND is None, reason="valgrind is not installed"),
    pytest.mark.skipif(SANITIZED, reason="a sanitizer brings an allocator of its own")]


def said_by(peer: SocketPeer, conversations: list) -> list:
    """What one process says in all these conversations of a method, one after the other."""
    found = [content(hold(peer, conversations[0]))]
    for conversation in conversations[1:]:
        for steps in conversation.sessions:
            reset(peer)
            found.append(content([tell(peer, conversation, steps)]))
    peer.finish()
    return found


def watched(conversations: list) -> None:
    """Holds conversations of one method with and without valgrind."""
    watcher = SocketPeer(*WATCH, str(PROGRAM), program=VALGRIND, env=ENVIRONMENT)
    watcher.farewell = SLOWNESS
    watcher.link.settimeout(SLOWNESS)
    assert said_by(watcher, conversations) == said_by(SocketPeer(env=ENVIRONMENT), conversations)


def test_valgrind_has_nothing_to_say_of_a_conversation():
    watched(sample()[:1])


@pytest.mark.long
@pytest.mark.timeout(1800)
@pytest.mark.parametrize("method", KEYS)
def test_valgrind_has_nothing_to_say_of_the_catalogue(method):
    fitting = [conversation for conversation in catalogue() if conversation.method == method]
    watched(fitting)
    print(f"R24: {method}: {len(fitting)} conversations under valgrind, 0 reports")
