"""Any allocation may fail: of the arrays of a job, of the library, of the system's own code; once,
or that one and all that follow. The client is told by a numbered text, and once there is memory
again the process answers as a fresh one does."""

import functools
import resource

import pytest
from catalogue import catalogue, content, hold, sample, tell
from failing import FOREVER, FailingPeer
from peers import PATIENCE, SANITIZED, SocketPeer
from sessions import reset

pytestmark = pytest.mark.skipif(SANITIZED, reason="a sanitizer brings an allocator of its own")

NO_MEMORY = {  # 24576, 24577, 24832, 24878, 24879
    "The molecule selected for calculation is too large and has consumed all available memory.",
    "This application has exhausted all available memory.",
    "Unable to allocate memory for restraints.",
    "Verlet: trouble with malloc of velocity packet\n",
    "Langevin: trouble with malloc of velocity packet\n",
    "MonteCarlo: trouble with malloc of energies. \n",
}
PARTS = 8  # of the catalogue, for as many processes of tests
AT_START = "qsolve: This application has exhausted all available memory.\n"


@functools.lru_cache(None)
def expected(conversation_name: str):
    """What a process with memory says: in the conversation, and in its first session held again."""
    conversation = next(c for c in catalogue() if c.name == conversation_name)
    peer = SocketPeer()
    said = content(hold(peer, conversation))
    reset(peer)
    again = content([tell(peer, conversation, conversation.sessions[0])])
    peer.finish()
    return said, again


def allocations(conversation) -> int:
    """How many allocations a process makes in the conversation."""
    peer = FailingPeer()
    hold(peer, conversation)
    total = peer.taken()
    peer.finish()
    return total


def survives(conversation, first: int, end: int) -> str:
    """Holds a conversation while allocations fail, and says how it went."""
    said, again = expected(conversation.name)
    peer = FailingPeer(first, end)
    try:
        transcripts = hold(peer, conversation)
    except (AssertionError, ConnectionResetError, BrokenPipeError):
        peer.expected_status, peer.expected_error = 1, AT_START
        peer.finish()
        return "not started"
    errors = [text for transcript in transcripts for text in transcript.errors]
    peer.heal()
    reset(peer)
    healed = content([tell(peer, conversation, conversation.sessions[0])])
    assert healed in (again, said[:1]), "the session after it is not that of a fresh process"
    peer.finish()
    if content(transcripts) == said:
        return "unharmed"
    assert set(errors) & NO_MEMORY, errors
    return "told"


def sweep(conversations, step: int) -> dict[str, int]:
    """Every `step`-th allocation of each, alone and with all that follow; counts how it went."""
    found = {"points": 0, "not started": 0, "unharmed": 0, "told": 0}
    for number, conversation in enumerate(conversations):
        for n in range(number % step, allocations(conversation), step):
            for end in (n + 1, FOREVER):
                found["points"] += 1
                try:
                    found[survives(conversation, n, end)] += 1
                except AssertionError as problem:
                    raise AssertionError(f"{conversation.name}: allocation {n}, "
                                         f"{'alone' if end == n + 1 else 'and all that follow'}: "
                                         f"{problem}") from problem
    return found


def test_a_failing_allocation_is_told_and_does_no_harm():
    found = sweep(sample(), step=5)
    print(f"R1: {found}")
    assert found["told"] > 300


@pytest.mark.long
@pytest.mark.timeout(7200)
@pytest.mark.parametrize("part", range(PARTS))
def test_a_failing_allocation_is_told_and_does_no_harm_in_all_the_catalogue(part):
    found = sweep(catalogue()[part::PARTS], step=1)
    print(f"R1: catalogue, {part + 1} of {PARTS}: {found}")
    assert found["told"] > 0.4 * found["points"] > 4000  # one alone mostly does no harm


def test_too_small_an_address_space_is_told():
    """The stack cannot grow either, and no thread can be started."""
    conversation, ends = sample()[0], []
    for kib in range(6500, 16000, 500):
        limit = (1024 * kib, 1024 * kib)
        peer = SocketPeer(preexec_fn=functools.partial(resource.setrlimit, resource.RLIMIT_AS,
                                                       limit))
        try:
            transcripts = hold(peer, conversation)
        except (AssertionError, ConnectionResetError, BrokenPipeError):
            loaded = peer.wait(PATIENCE) != 127  # the system's own loader has no memory
            peer.expected_status = 1 if loaded else 127
            peer.expected_error = AT_START if loaded else peer.complained()
            ends.append("not started" if loaded else "not loaded")
        else:
            errors = {text for transcript in transcripts for text in transcript.errors}
            assert errors <= NO_MEMORY
            ends.append("told" if errors else "unharmed")
        peer.finish()
    assert {"not started", "unharmed"} <= set(ends)
