"""Fixtures of the tests of qsolve.exe under Wine."""

import os
import sys
import time
from pathlib import Path

import pytest
import wine

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "link"))  # whose peers these tests use
from peers import SOON, DdePeer  # noqa: E402
from probed import ProbedPeer  # noqa: E402


@pytest.fixture(scope="session")
def _wine():
    """What runs under Wine needs; nothing of it is left at the end."""
    if problem := wine.missing():
        pytest.skip(problem)
    anchor = wine.Anchor()
    yield
    anchor.release()


def _left_over() -> list[str]:
    """The programs that this process has started under Wine and that are still there, Wine's own
    apart."""
    wanted = f"ORBITRAX_MARK={os.getpid():x}".encode()
    found = []
    for folder in Path("/proc").glob("[0-9]*"):
        try:
            variables = (folder / "environ").read_bytes().split(b"\0")
            name = (folder / "comm").read_text().strip()
            if (name in ("qsolve.exe", "ddebridge.exe")
                    and any(variable.startswith(wanted) for variable in variables)):
                found.append(f"{folder.name} {name}")
        except OSError:  # it has ended, or is not ours
            continue
    return found


def _starter(make):
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
    limit = time.monotonic() + SOON
    while (left := _left_over()) and time.monotonic() < limit:
        time.sleep(0.02)
    assert left == []
    if problems:
        raise problems[0]


@pytest.fixture
def start(_wine):
    """Starts qsolve.exe and the bridge, and returns the peer; nothing of them may be left."""
    yield from _starter(DdePeer)


@pytest.fixture
def start_probed(_wine):
    """The same with the program that can be looked into."""
    yield from _starter(ProbedPeer)
