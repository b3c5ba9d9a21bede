"""Fixtures of the tests of qsolve.exe under Wine."""

import os
import sys
import time
from pathlib import Path

import pytest
import wine
from under_wine import under_wine  # noqa: F401, a fixture

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "link"))  # whose peers these tests use
from peers import PATIENCE, DdePeer, starter  # noqa: E402
from probed import ProbedPeer  # noqa: E402


def _alone(make):
    yield from starter(make)
    limit = time.monotonic() + PATIENCE
    while (left := wine.left_over(f"{os.getpid():x}")) and time.monotonic() < limit:
        time.sleep(0.02)
    wine.kill(left)
    assert left == []


@pytest.fixture
def start(under_wine):  # noqa: F811
    """Starts qsolve.exe and the bridge, and returns the peer; nothing of them may be left."""
    yield from _alone(DdePeer)


@pytest.fixture
def start_probed(under_wine):  # noqa: F811
    """The same with the program that can be looked into."""
    yield from _alone(ProbedPeer)
