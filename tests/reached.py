"""Which part of each room's lines and branches a run of the preset "coverage" has reached. Fails
where it is less than it was, and where a line of the rooms that must be reached whole is neither
reached nor listed, with its reason, in tests/lines_out_of_reach.txt.
By gcov; lines of braces, and branches that only an exception takes, do not count.

    /usr/bin/python3 tests/reached.py [build/coverage]
"""

from __future__ import annotations

import json
import re
import subprocess
import sys
from collections import Counter, defaultdict
from collections.abc import Iterator
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from typing import Any, NamedTuple

ROOT = Path(__file__).resolve().parents[1]
SOURCES = ROOT / "src"
LISTED = Path(__file__).with_name("lines_out_of_reach.txt")
FLOORS = {"line": 97.0, "branch": 90.0}  # percent of all of the sources
WHOLE = ("link", "exchange", "session")  # rooms where each line is reached or listed
BLANK = re.compile(r"^[\s{}();]*(?://.*)?$")  # a line of braces: what runs there is the compiler's


class Reached(NamedTuple):
    """How often each line of a source was run, and each way of its branches was gone."""

    lines: Counter[int]
    branches: Counter[tuple[int, int]]


def noted(build: Path, data: Path) -> Any:
    """What gcov tells of one object; raises CalledProcessError where it fails."""
    run = subprocess.run(["gcov", "--json-format", "--stdout", "--branch-probabilities",
                          str(data)], cwd=build, text=True, capture_output=True, check=True)
    return json.loads(run.stdout)


def measured(build: Path) -> dict[Path, Reached]:
    """The counts of all sources, summed over the objects that have compiled a line."""
    found: dict[Path, Reached] = defaultdict(lambda: Reached(Counter(), Counter()))
    with ThreadPoolExecutor(2) as workers:
        for told in workers.map(lambda data: noted(build, data), sorted(build.rglob("*.gcno"))):
            for file in told["files"]:
                path = Path(file["file"])
                if path.is_relative_to(SOURCES):
                    add(found[path.relative_to(ROOT)], file["lines"], text_of(path))
    return found


def text_of(path: Path) -> list[str]:
    return path.read_text().split("\n")


def add(reached: Reached, lines: list[Any], text: list[str]) -> None:
    """Adds what one object tells of a source."""
    for line in lines:
        number = line["line_number"]
        if BLANK.match(text[number - 1]):
            continue
        reached.lines[number] += line["count"]
        for way, branch in enumerate(line["branches"]):
            if not branch["throw"]:
                reached.branches[number, way] += branch["count"]


def counts(reached: Reached) -> Counter[str]:
    return Counter(line_total=len(reached.lines), line_covered=_positive(reached.lines.values()),
                   branch_total=len(reached.branches),
                   branch_covered=_positive(reached.branches.values()))


def _positive(numbers: Any) -> int:
    return sum(number > 0 for number in numbers)


def share(count: Counter[str], what: str) -> float:
    """A percentage, rounded down: 100.0 is all of them."""
    total = count[f"{what}_total"]
    return 1000 * count[f"{what}_covered"] // total / 10 if total else 100.0


def rooms(found: dict[Path, Reached]) -> dict[str, Counter[str]]:
    """The sums of each room, and of all of the sources."""
    sums: dict[str, Counter[str]] = {}
    for path, reached in found.items():
        for name in ("src", "/".join(path.parts[:2])):
            sums.setdefault(name, Counter()).update(counts(reached))
    return sums


def report(sums: dict[str, Counter[str]]) -> Iterator[str]:
    """The lines that are printed: all of the sources, then each room, lowest first."""
    for name, count in sorted(sums.items(), key=lambda room: (room[0] != "src",
                                                              share(room[1], "line"))):
        told = [f"{word} {share(count, what):5.1f} % of {count[f'{what}_total']}"
                for word, what in (("lines", "line"), ("branches", "branch"))]
        yield f"R19: {name:15} {', '.join(told)}"


def missed(found: dict[Path, Reached]) -> Iterator[tuple[str, str]]:
    """The lines of the whole rooms that nothing reaches: where, and how the list has it."""
    for path, reached in sorted(found.items()):
        if path.parts[1] in WHOLE:
            text = text_of(ROOT / path)
            for number in sorted(number for number, count in reached.lines.items() if not count):
                yield f"{path}:{number}", f"{path}: {text[number - 1].split('//')[0].strip()}"


def main(build: Path) -> int:
    found = measured(build)
    sums = rooms(found)
    print("\n".join(report(sums)))
    listed = {line for line in text_of(LISTED) if line and not line.startswith("#")}
    out_of_reach = list(missed(found))
    complaints = [f"{place}: not reached: {line.split(': ', 1)[1]}" for place, line in out_of_reach
                  if line not in listed]
    print(f"R19: {', '.join(WHOLE)}: {len(out_of_reach)} lines not reached, "
          f"{len(complaints)} of them not listed with a reason")
    complaints += [f"less than {floor} % of {what}" for what, floor in FLOORS.items()
                   if share(sums["src"], what) < floor]
    print("\n".join(complaints), file=sys.stderr)
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main(Path(sys.argv[1] if sys.argv[1:] else ROOT / "build" / "coverage").resolve()))
