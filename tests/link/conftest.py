"""Fixtures of the conversations with a real process."""

import tempfile
from pathlib import Path

import pytest
from peers import TRANSPORTS, Listener, SocketPeer, starter
from under_wine import under_wine  # noqa: F401, a fixture


@pytest.fixture(params=["socket", pytest.param("dde", marks=pytest.mark.windows)])
def start(request):
    """Starts a backend with the given arguments and returns a peer that is not connected yet."""
    if request.param == "dde":
        request.getfixturevalue("under_wine")
    yield from starter(TRANSPORTS[request.param])


@pytest.fixture
def start_socket():
    """The same over the packet socket alone."""
    yield from starter(SocketPeer)


@pytest.fixture
def runtime():
    """An empty runtime directory with a short name."""
    with tempfile.TemporaryDirectory(prefix="q") as folder:
        yield Path(folder)


@pytest.fixture
def listen(runtime):
    """Starts a process that listens in `runtime`."""
    yield from starter(lambda *arguments, **more: Listener(runtime, *arguments, **more))
