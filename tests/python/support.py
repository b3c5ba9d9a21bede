"""What the tests of the client share and import by name."""

import os
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
for folder in ("python", "tests/python"):
    sys.path.insert(0, str(ROOT / folder))


def kept(what: str, began: float, promise: float) -> None:
    """Prints the time since `began` on the monotonic clock, and fails where it is ten times what is
    promised, seconds: what other programs of the machine take is no fault."""
    took = time.monotonic() - began
    print(f"{what}: {took:.3f} s, promised {promise:g}")
    assert took < 10 * promise, f"{what} took {took:.1f} s"


def children() -> set[int]:
    """Process ids of all children of this process, zombies among them."""
    found = set()
    for task in os.listdir("/proc/self/task"):
        try:
            children = Path(f"/proc/self/task/{task}/children").read_text().split()
            found |= {int(pid) for pid in children}
        except OSError:
            pass
    return found
