"""What a run of ./test has shown of each promise: reads the table of docs/reliability.md, counts
the tests that its rows name in the reports of the run, and repeats the figures that they have
printed (lines "R6: ...").

    /usr/bin/python3 tests/shown.py build/python-tests.xml build/release/reports*
"""

from __future__ import annotations

import re
import sys
import xml.etree.ElementTree as ElementTree
from collections.abc import Iterator
from pathlib import Path
from typing import NamedTuple

ROOT = Path(__file__).resolve().parents[1]
PAGE = ROOT / "docs" / "reliability.md"
FIGURE = re.compile(r"^R\d+: .*$", re.M)


class Promise(NamedTuple):
    """A row of the table; `tests` are the names in its column of tests."""

    name: str
    claim: str
    tests: list[str]
    state: str


class Done(NamedTuple):
    """One test of a run: its file in the repository, its suite, how it ended."""

    path: str
    suite: str
    ending: str


def promises(text: str) -> list[Promise]:
    """The rows of the page."""
    rows = [[cell.strip() for cell in line.split("|")[1:-1]] for line in text.splitlines()
            if re.match(r"\| R\d+ \|", line)]
    return [Promise(row[0], row[1], re.findall(r"`([^`]+)`", row[2]),
                    " ".join(re.findall(r"^(?:holds|in part|not shown)", row[4]))) for row in rows]


def belongs(test: Done, name: str) -> bool:
    """Whether a test is one that a row means: a file, a folder, or a suite "Name.*"."""
    if name.endswith(".*"):
        return test.suite.split("/")[-1] == name[:-2]
    if name.endswith((".py", ".cpp")):
        return f"/{test.path}".endswith(f"/{name}")
    return test.path.startswith(f"{name}/")


def ending(case: ElementTree.Element) -> str:
    if case.find("failure") is not None or case.find("error") is not None:
        return "failed"
    left_out = case.find("skipped") is not None or case.get("status") == "notrun"
    return "skipped" if left_out else "passed"


def tests_of(report: Path) -> Iterator[Done]:
    """The tests of a JUnit report, of pytest or of GoogleTest, which names the file."""
    for case in ElementTree.parse(report).iter("testcase"):
        suite = case.get("classname", "")
        path = case.get("file", "")
        path = path[path.rfind("tests/"):] if path else suite.replace(".", "/") + ".py"
        yield Done(path, suite, ending(case))


def figures_of(file: Path) -> Iterator[str]:
    """The figures that tests have printed into a log, or into the report of pytest."""
    if file.suffix == ".xml":
        for text in ElementTree.parse(file).iter("system-out"):
            yield from FIGURE.findall(text.text or "")
    else:
        yield from FIGURE.findall(file.read_text(errors="replace"))


def table(rows: list[Promise], tests: list[Done], figures: list[str]) -> Iterator[str]:
    """The lines that are printed."""
    for row in rows:
        endings = [test.ending for test in tests if any(belongs(test, name) for name in row.tests)]
        counts = ", ".join(f"{endings.count(word)} {word}" for word in ("passed", "failed"))
        yield f"{row.name:4}{row.state:10}{counts if endings else 'no test in this run':22}" \
              f"{row.claim.split(':')[0]}"
        for figure in sorted({line for line in figures if line.startswith(f"{row.name}: ")}):
            yield f"    {figure[len(row.name) + 2:]}"


def main(names: list[str]) -> None:
    files = [file for path in map(Path, names)
             for file in (sorted(path.iterdir()) if path.is_dir() else [path])]
    reports = [file for file in files if file.suffix == ".xml"]
    tests = [test for report in reports for test in tests_of(report)]
    figures = [line for file in files if file.suffix in (".xml", ".log")
               for line in figures_of(file)]
    print("\n".join(table(promises(PAGE.read_text()), tests, figures)))


if __name__ == "__main__":
    main(sys.argv[1:])
