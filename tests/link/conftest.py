"""Fixtures of the conversations with a real process."""

import tempfile
from pathlib import Path

import pytest
import wine
from peers import TRANSPORTS, Listener, SocketPeer


def _starter(make):
    """Starts peers, and at the end of the test sees each of them off."""
    peers = []

    def start(*arguments, **more):
        peers.append(make(*arguments, **more))
        return peers[-1]

    yield start
    problems = []
    for peer in peers:
        try:
            peer.finish()
        except AssertionError as problem:
            problems.append(problem)
    if problems:
        raise problems[0]


@pytest.fixture(scope="session")
def _wine():
    """What runs under Wine needs; nothing of it is left at the end."""
    if problem := wine.missing():
        pytest.skip(problem)
    anchor = wine.Anchor()
    yield
    anchor.release()


@pytest.fixture(params=["socket", pytest.param("dde", marks=pytest.mark.windows)])
def start(request):
    """Starts a backend with the given arguments and returns a peer that is not connected yet."""
    if request.param == "dde":
        request.getfixturevalue("_wine")
    yield from _starter(TRANSPORTS[request.param])


@pytest.fixture
def start_socket():
    """The same over the packet socket alone."""
    yield from _starter(SocketPeer)


@pytest.fixture
def runtime():
    """An empty runtime directory with a short name."""
    with tempfile.TemporaryDirectory(prefix="q") as folder:
        yield Path(folder)


@pytest.fixture
def listen(runtime):
    """Starts a process that listens in `runtime`."""
    yield from _starter(lambda *arguments, **more: Listener(runtime, *arguments, **more))
