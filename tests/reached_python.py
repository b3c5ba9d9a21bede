"""Which part of the client's lines a run of pytest with --cov=orbitrax has reached, room by room.
Fails where it is less than it was. Programs that a test starts, as the server of the page and the
launcher, are not seen.

    /usr/bin/python3 tests/reached_python.py build/coverage-python.dat
"""

from __future__ import annotations

import sys
from collections import Counter
from collections.abc import Iterator
from pathlib import Path

import coverage

PACKAGE = Path(__file__).resolve().parents[1] / "python" / "orbitrax"
FLOOR = 80.0  # percent of all lines


def counts(data: Path) -> dict[str, Counter[str]]:
    """Statements, and those that were run, of each room; "orbitrax" is all of them."""
    measured = coverage.Coverage(data_file=str(data))
    measured.load()
    rooms: dict[str, Counter[str]] = {}
    for path in sorted(PACKAGE.rglob("*.py")):
        _, statements, _, missing, _ = measured.analysis2(str(path))
        inside = path.relative_to(PACKAGE).parts
        for name in {"orbitrax", inside[0] if len(inside) > 1 else "orbitrax/*.py"}:
            rooms.setdefault(name, Counter()).update(
                all=len(statements), reached=len(statements) - len(missing))
    return rooms


def share(count: Counter[str]) -> float:
    """Percent that was reached."""
    return 100.0 * count["reached"] / max(1, count["all"])


def report(rooms: dict[str, Counter[str]]) -> Iterator[str]:
    """The lines that are printed: all of the client, then each room, lowest first."""
    for name, count in sorted(rooms.items(), key=lambda room: (room[0] != "orbitrax",
                                                               share(room[1]))):
        yield f"R19: {name:15} lines {share(count):5.1f} % of {count['all']}, Python"


def main(data: Path) -> int:
    rooms = counts(data)
    print("\n".join(report(rooms)))
    if share(rooms["orbitrax"]) < FLOOR:
        print(f"less than {FLOOR} %")
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(Path(sys.argv[1])))
