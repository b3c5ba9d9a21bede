"""Processes whose allocations fail when told: all of the process, those of its libraries too."""

from __future__ import annotations

import mmap
import os
import struct
from pathlib import Path

from peers import PROGRAM, SocketPeer

LIBRARY = Path(PROGRAM).parent / "tests" / "libfailing_memory.so"
_SHARED = struct.Struct("<qqq")  # taken so far, the first that fails, the end of those
FOREVER = 1 << 62


class FailingPeer(SocketPeer):
    """A process of which allocation `first`, counted from 0, fails, and the next ones up to `end`.
    """

    def __init__(self, first: int = -1, end: int | None = None):
        file = os.memfd_create("failing")
        os.write(file, _SHARED.pack(0, first, first + 1 if end is None else end))
        self._shared = mmap.mmap(file, _SHARED.size)
        super().__init__(pass_fds=[file], env={
            **os.environ, "LD_PRELOAD": str(LIBRARY), "FAILING_MEMORY": f"/proc/self/fd/{file}"})
        os.close(file)

    def taken(self) -> int:
        """Allocations that the process has asked for so far."""
        return struct.unpack_from("<q", self._shared)[0]

    def fail(self, first: int, end: int = FOREVER) -> None:
        """From now on these allocations fail."""
        struct.pack_into("<qq", self._shared, 8, first, end)

    def heal(self) -> None:
        """From now on none fails."""
        self.fail(-1)
