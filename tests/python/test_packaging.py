"""What an installed copy has beside the program: man page, completion, its versions."""

from __future__ import annotations

import re
import subprocess
import sys

import pytest
from support import ROOT

from orbitrax import __version__
from orbitrax.tasks.registry import TASKS, TOOLS

COMMANDS = [*(row.name for row in TASKS), *TOOLS, "methods"]


@pytest.fixture(scope="module")
def pages(tmp_path_factory):
    folder = tmp_path_factory.mktemp("pages")
    subprocess.run([sys.executable, str(ROOT / "packaging" / "write_pages.py"), str(folder)],
                   check=True, timeout=60)
    return folder


def completed(pages, *words: str) -> list[str]:
    """What bash offers for the last word."""
    script = (f"source {pages / 'orbitrax.bash'}; COMP_WORDS=(orbitrax \"$@\"); "
              "COMP_CWORD=$#; _orbitrax; printf '%s\\n' \"${COMPREPLY[@]}\"")
    done = subprocess.run(["bash", "-c", script, "bash", *words], capture_output=True, text=True,
                          timeout=20)
    assert done.stderr == ""
    return done.stdout.split()


def test_the_man_page_has_every_task_and_the_exit_statuses(pages):
    text = (pages / "orbitrax.1").read_text()
    assert f'"orbitrax {__version__}"' in text
    for name in COMMANDS:
        assert f".SH TASK {name.upper()}\n" in text.replace("\\-", "-")
    plain = text.replace("\\-", "-")
    assert "130  interrupted" in plain and "--time-limit" in plain
    # A line that begins with a dot is an order to roff; all of them are known ones.
    assert set(re.findall(r"^[.'](\w*)", text, re.M)) == {"TH", "SH", "TP", "PP", "RS", "RE", "nf",
                                                         "fi"}


def test_bash_offers_tasks_options_and_methods(pages):
    assert set(COMMANDS) <= set(completed(pages, ""))
    assert completed(pages, "opt") == ["optimize"]
    assert completed(pages, "optimize", "--fr") == ["--freeze"]
    assert "zindos" in completed(pages, "energy", "-m", "")
    assert completed(pages, "energy", "--color", "n") == ["never"]
    assert completed(pages, "energy", "wat") == []  # left to bash, which knows files


def test_the_version_says_what_a_copy_is_made_of(tmp_path):
    def said():
        return subprocess.run([str(ROOT / "orbitrax"), "--version"], capture_output=True, text=True,
                              timeout=60).stdout.splitlines()

    lines = said()
    assert lines[0] == f"orbitrax {__version__}"
    names = [line.split()[0] for line in lines]
    assert names[-2:] == ["backend", "tables"]
    assert lines[-2].split(None, 1)[1].startswith(f"qsolve {__version__}, kernels ")
    assert re.fullmatch(r"tables   \d+ files, sha256 [0-9a-f]{16}", lines[-1])


def test_another_table_has_another_checksum(tmp_path, monkeypatch):
    import orbitrax.tables
    from orbitrax.about import tables_checksum

    for path in (ROOT / "parameters").glob("*.abp"):
        (tmp_path / path.name).write_bytes(path.read_bytes())
    usual = tables_checksum()
    monkeypatch.setattr(orbitrax.tables, "parameter_directory", lambda: str(tmp_path))
    assert tables_checksum() == usual
    with open(tmp_path / "am1_1.abp", "ab") as file:
        file.write(b"# changed\n")
    assert tables_checksum() != usual


def test_all_files_of_packages_name_the_same_version(tmp_path):
    head = (ROOT / "debian" / "changelog").read_text().split("\n", 1)[0]
    assert head.startswith(f"orbitrax ({__version__}) ")
    assert f"\nversion: {__version__}\n" in (ROOT / "CITATION.cff").read_text()
    subprocess.run([sys.executable, str(ROOT / "packaging" / "write_metadata.py"), str(tmp_path)],
                   check=True, timeout=20)
    from importlib.metadata import PathDistribution

    found = PathDistribution(tmp_path / f"orbitrax-{__version__}.dist-info")
    assert (found.metadata["Name"], found.version) == ("orbitrax", __version__)
    calculators = found.entry_points.select(group="ase.calculators")
    assert [one.load().__name__ for one in calculators] == ["Orbitrax"]
