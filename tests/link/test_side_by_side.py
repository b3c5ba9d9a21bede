"""Backends that work at the same time know nothing of each other: each says to the bit what it says
alone."""

from concurrent.futures import ThreadPoolExecutor

import pytest
from catalogue import catalogue, content, hold, sample
from peers import SocketPeer

AT_ONCE = 8
MANY = 64


def said_in(conversation) -> list:
    """What a fresh process says in a conversation."""
    peer = SocketPeer()
    found = content(hold(peer, conversation))
    peer.finish()
    return found


@pytest.mark.parametrize("which, at_once", [
    (sample, AT_ONCE),
    pytest.param(catalogue, MANY, marks=[pytest.mark.long, pytest.mark.timeout(3600)])])
def test_processes_at_once_say_what_each_says_alone(which, at_once):
    conversations = which()
    alone = {conversation.name: said_in(conversation) for conversation in conversations}
    # Each begins elsewhere, so that different jobs run beside each other.
    turns = [conversations[i % len(conversations):] + conversations[:i % len(conversations)]
             for i in range(0, 3 * at_once, 3)]
    with ThreadPoolExecutor(at_once) as threads:
        found = list(threads.map(
            lambda turn: [one.name for one in turn if said_in(one) != alone[one.name]], turns))
    assert found == [[]] * at_once
    print(f"R16: {at_once} processes at once, {at_once * len(conversations)} conversations, "
          "to the bit as alone")
