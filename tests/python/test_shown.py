"""The table of promises that ./test prints."""

import sys

import pytest
from support import ROOT

sys.path.insert(0, str(ROOT / "tests"))
import shown  # noqa: E402

PAGE = """
| R1 | Nothing is lost: ever | `tests/link/test_a.py`, `Fuzz.*` | | holds |
| R2 | Waiting | `tests/unit/scf`, `b_test.cpp` | | in part: not all |
"""
PYTEST = """<testsuites><testsuite>
<testcase classname="tests.link.test_a" name="x"><system-out>noise
R1: 12 points
</system-out></testcase>
<testcase classname="tests.link.test_a" name="y"><failure/></testcase>
<testcase classname="tests.link.test_aa" name="z"/>
</testsuite></testsuites>"""
GOOGLE = """<testsuites><testsuite>
<testcase name="a" classname="Fuzz" file="/usr/src/tests/fuzz/fuzz_test.cpp" status="run"/>
<testcase name="a" classname="All/Scf" file="../../tests/unit/scf/c_test.cpp" status="run"/>
<testcase name="b" classname="B" file="/usr/src/tests/unit/ci/b_test.cpp" status="notrun"/>
</testsuite></testsuites>"""


def test_the_table_counts_the_tests_that_each_row_names(tmp_path, monkeypatch, capsys):
    for name, text in {"page.md": PAGE, "py.xml": PYTEST}.items():
        (tmp_path / name).write_text(text)
    (tmp_path / "reports").mkdir()
    (tmp_path / "reports" / "unit-0.xml").write_text(GOOGLE)
    (tmp_path / "reports" / "unit-0.log").write_text("[ RUN ]\nR2: 3 ms\nR2: 3 ms\n")
    monkeypatch.setattr(shown, "PAGE", tmp_path / "page.md")
    shown.main([str(tmp_path / "py.xml"), str(tmp_path / "reports")])
    assert capsys.readouterr().out.splitlines() == [
        "R1  holds     2 passed, 1 failed    Nothing is lost", "    12 points",
        "R2  in part   1 passed, 0 failed    Waiting", "    3 ms"]


def test_a_row_without_a_test_in_the_run_says_so():
    rows = shown.promises(PAGE)
    assert "no test in this run" in next(shown.table(rows, [], []))


@pytest.mark.parametrize("row", shown.promises(shown.PAGE.read_text()), ids=lambda row: row.name)
def test_each_promise_names_tests_that_there_are(row):
    files = [path.relative_to(ROOT).as_posix() for path in (ROOT / "tests").rglob("*")]
    assert row.tests
    for name in row.tests:
        if not name.startswith("./test") and not name.endswith(".*"):
            assert any(f"/{file}".endswith(f"/{name}") for file in files), name
