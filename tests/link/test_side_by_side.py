"""Backends that work at the same time know nothing of each other: each says to the bit what it says
alone."""

from concurrent.futures import ThreadPoolExecutor

from catalogue import content, hold, sample
from peers import SocketPeer

AT_ONCE = 8


def said_in(conversation) -> list:
    """What a fresh process says in a conversation."""
    peer = SocketPeer()
    found = content(hold(peer, conversation))
    peer.finish()
    return found


def test_eight_processes_at_once_say_what_each_says_alone():
    conversations = sample()
    alone = {conversation.name: said_in(conversation) for conversation in conversations}
    # Each begins elsewhere, so that different jobs run beside each other.
    turns = [conversations[i % len(conversations):] + conversations[:i % len(conversations)]
             for i in range(0, 3 * AT_ONCE, 3)]
    with ThreadPoolExecutor(AT_ONCE) as threads:
        found = list(threads.map(
            lambda turn: [name for name in turn if said_in(name) != alone[name.name]], turns))
    assert found == [[]] * AT_ONCE
    print(f"R8: {AT_ONCE} processes at once, {AT_ONCE * len(conversations)} conversations, "
          "to the bit as alone")
