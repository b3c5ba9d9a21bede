"""The commands and programs of README and how-to pages run, and print what the pages show."""

import os
import re
import subprocess
import sys

import pytest
from support import ROOT

pytestmark = pytest.mark.timeout(300)

PAGES = [ROOT / "README.md", ROOT / "docs" / "python.md",
         *sorted((ROOT / "docs").glob("how-to-*.md"))]
NUMBER = re.compile(r"-?\d+\.\d+")
PATH = re.compile(  # may differ between builds
    r"\d+ iterations|last difference [\d.]+|\d+ cycles, \d+ energy points|\d+ energies")


def blocks(language: str) -> list[tuple[str, str]]:
    return [(path.name, body) for path in PAGES for body in
            re.findall(rf"^```{language}\n(.*?)^```", path.read_text("utf-8"), re.M | re.S)]


def commands() -> dict[str, list[tuple[str, list[str]]]]:
    """Every command of each page, with the lines shown below it."""
    found: dict[str, list] = {}
    for page, body in blocks("console"):
        for line in body.splitlines():
            if line.startswith("$ "):
                found.setdefault(page, []).append((line[2:], []))
            else:
                found[page][-1][1].append(line)
    return found


def alike(shown: str, printed: str) -> bool:
    """Whether two lines agree; numbers to one unit of the last digit but one."""
    shown, printed = PATH.sub("", shown), PATH.sub("", printed)
    if NUMBER.sub("#", shown).split() != NUMBER.sub("#", printed).split():
        return False
    return all(abs(float(a) - float(b)) < 10.5 * 10.0 ** -len(a.rpartition(".")[2])
               for a, b in zip(NUMBER.findall(shown), NUMBER.findall(printed)))


@pytest.fixture
def desk(tmp_path):
    """A folder that looks like a checkout and may be written to."""
    for name in ("orbitrax", "examples", "python"):
        (tmp_path / name).symlink_to(ROOT / name)
    return tmp_path


def check(command: str, shown: list[str], desk) -> None:
    """Runs a command, and compares what it prints with what a page shows."""
    done = subprocess.run(["bash", "-c", command], cwd=desk, capture_output=True, text=True,
                          timeout=60, env={**os.environ, "NO_COLOR": "1"})
    lines, place = (done.stdout + done.stderr).splitlines(), 0
    free = False  # lines may be left out before the next one
    for line in shown:
        if line == "...":
            free = True
            continue
        rest = range(place, len(lines) if free else min(place + 1, len(lines)))
        place = next((i for i in rest if alike(line, lines[i])), None)
        assert place is not None, f"{command}: {line!r} is not in\n" + "\n".join(lines)
        place, free = place + 1, False
    assert free or place == len(lines), f"{command}: there is more: " + "\n".join(lines[place:])


@pytest.mark.parametrize("page", commands())
def test_the_commands_of_a_page_print_what_it_shows(page, desk):
    for command, shown in commands()[page]:  # a file that one of them writes is there for the next
        check(command, shown, desk)


@pytest.mark.parametrize("page,program", blocks("python"), ids=lambda value: str(value)[:30])
def test_a_program_runs(page, program, desk):
    done = subprocess.run([sys.executable, "-c", program], cwd=desk, capture_output=True, text=True,
                          timeout=60, env={**os.environ, "PYTHONPATH": str(ROOT / "python")})
    assert (done.returncode, done.stderr) == (0, ""), page
    assert done.stdout.strip() and "False" not in done.stdout and "None" not in done.stdout


def test_the_pages_have_commands_and_programs():
    assert len(commands()) >= 5 and min(map(len, commands().values())) >= 1
    assert len(blocks("python")) >= 2
