"""What the tests of qsolve.exe tell its window, and what the probed program says of itself."""

from __future__ import annotations

import signal
import struct
import time
from pathlib import Path

import wine
from peers import PATIENCE, DdePeer
from sessions import word

PROGRAM = wine.BRIDGE.parent / "probed" / "qsolve.exe"

# Frames of the bridge's own.
FORMAT, SECOND_CONVERSATION, POST, ADVISE = 0x0001, 0x0002, 0x0003, 0x1030

# Messages of Windows, and from WM_APP on those of the probed program.
WM_CLOSE, WM_QUIT, WM_QUERYOPEN, WM_SYSCOMMAND, WM_APP = 0x10, 0x12, 0x13, 0x112, 0x8000
SC_RESTORE, ABOUT = 0xF120, 100
OK, CANCEL = 1, 2


def post(peer: DdePeer, message: int, first: int = 0, second: int = 0) -> None:
    """Posts a message to the program's window."""
    assert word(peer.ask(POST, struct.pack("<III", message, first, second))) == 1


def is_there(pid: int) -> bool:
    """Whether a process lives."""
    try:
        return Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()[0] not in "ZX"
    except OSError:
        return False


def wait_for_end(pid: int, seconds: float) -> None:
    """Returns when a process that is not our child has ended."""
    limit = time.monotonic() + seconds
    while is_there(pid):
        assert time.monotonic() < limit, f"the process has not ended after {seconds} s"
        time.sleep(0.01)


def kill_client(peer: DdePeer) -> None:
    """The client dies and tells nobody."""
    assert peer.pid
    peer.process.send_signal(signal.SIGKILL)
    peer.process.wait()
    peer.expected_status = -signal.SIGKILL


class ProbedPeer(DdePeer):
    """A client of the program that can be looked into."""

    def __init__(self, *arguments: str, **more):
        super().__init__(*arguments, program=PROGRAM, **more)

    def lines(self) -> list[str]:
        """All that the process has printed."""
        return self.printed().replace("\r\n", "\n").splitlines()

    def _asked(self, message: int) -> list[str]:
        before = len(self.lines())
        post(self, message)
        limit = time.monotonic() + PATIENCE
        while "." not in (lines := self.lines()[before:]):
            assert time.monotonic() < limit, "the process does not answer"
            time.sleep(0.01)
        return lines[:lines.index(".")]

    def report(self) -> dict[str, list[str]]:
        """What the program says of its window and boxes: values by name."""
        found: dict[str, list[str]] = {}
        for line in self._asked(WM_APP):
            name, value = line.split("=", 1)
            found.setdefault(name, []).append(value.strip())
        return found

    def holds(self) -> dict[str, int]:
        """What the process holds: windows, GDI objects, string handles of DDE, descriptors. The
        system's own counts are 0 under Wine."""
        counts = dict(line.split("=", 1) for line in self._asked(WM_APP + 3))
        return {name: int(count) for name, count in counts.items()} | {
            "descriptors": len(self.descriptors())}

    def fail(self) -> None:
        """Lets DDE report an error of its own."""
        post(self, WM_APP + 1)

    def press(self, button: int) -> None:
        """Presses a button of the About box."""
        post(self, WM_APP + 2, button)

    def close_about(self, button: int) -> None:
        """Presses a button, and returns when the About box has gone."""
        self.press(button)
        limit = time.monotonic() + PATIENCE
        while self.report()["about"] != ["0"]:
            assert time.monotonic() < limit, "the About box stays"
