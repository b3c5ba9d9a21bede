"""Which part of each room's lines and branches a run of the preset "coverage" has reached. Fails
where it is less than it was.
By gcovr; branches that only an exception takes, or that the compiler adds, do not count.

    /usr/bin/python3 tests/reached.py [build/coverage]
"""

from __future__ import annotations

import json
import subprocess
import sys
from collections import Counter
from collections.abc import Iterator
from pathlib import Path
from typing import Any

ROOT = Path(__file__).resolve().parents[1]
FLOORS = {"line": 97.0, "branch": 90.0}  # percent of all of the sources


def measured(build: Path) -> Any:
    """gcovr's summary of the sources; raises CalledProcessError where it fails."""
    run = subprocess.run(
        ["gcovr", "--root", str(ROOT), "--object-directory", str(build), str(build),
         "--filter", str(ROOT / "src") + "/", "--exclude-throw-branches",
         "--exclude-unreachable-branches", "--json-summary", "-", "-j", "2"],
        cwd=build, text=True, capture_output=True, check=True)
    return json.loads(run.stdout)


def share(counts: Counter[str], what: str) -> str:
    """A percentage, rounded down: 100.0 is all of them."""
    total = counts[f"{what}_total"]
    part = 1000 * counts[f"{what}_covered"] // total / 10 if total else 100.0
    return f"{part:5.1f} % of {total}"


def report(summary: Any) -> Iterator[str]:
    """The lines that are printed: all of the sources, then each room, lowest first."""
    rooms: dict[str, Counter[str]] = {}
    for file in summary["files"]:
        counts = {key: file[key] for key in ("line_total", "line_covered", "branch_total",
                                             "branch_covered")}
        for name in ("src", "/".join(Path(file["filename"]).parts[:2])):
            rooms.setdefault(name, Counter()).update(counts)
    every = sorted(rooms.items(),
                   key=lambda room: room[1]["line_covered"] / max(1, room[1]["line_total"]))
    for name, counts in sorted(every, key=lambda room: room[0] != "src"):
        yield (f"R19: {name:15} lines {share(counts, 'line')}, "
               f"branches {share(counts, 'branch')}")


def main(build: Path) -> int:
    summary = measured(build)
    print("\n".join(report(summary)))
    low = [f"less than {floor} % of {what}" for what, floor in FLOORS.items()
           if summary[f"{what}_percent"] < floor]
    print("\n".join(low), file=sys.stderr)
    return 1 if low else 0


if __name__ == "__main__":
    sys.exit(main(Path(sys.argv[1] if sys.argv[1:] else ROOT / "build" / "coverage").resolve()))
