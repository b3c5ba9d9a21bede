"""Fixtures of the tests of qsolve.exe under Wine."""

import os
import sys
import time
from pathlib import Path

import pytest
from under_wine import under_wine  # noqa: F401, a fixture

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "link"))  # whose peers these tests use
from peers import SOON, DdePeer, starter  # noqa: E402
from probed import ProbedPeer  # noqa: E402


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


def _alone(make):
    yield from starter(make)
    limit = time.monotonic() + SOON
    while (left := _left_over()) and time.monotonic() < limit:
        time.sleep(0.02)
    assert left == []


@pytest.fixture
def start(under_wine):  # noqa: F811
    """Starts qsolve.exe and the bridge, and returns the peer; nothing of them may be left."""
    yield from _alone(DdePeer)


@pytest.fixture
def start_probed(under_wine):  # noqa: F811
    """The same with the program that can be looked into."""
    yield from _alone(ProbedPeer)
