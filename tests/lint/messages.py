"""The table of numbered texts, and which of them the backend uses."""

from __future__ import annotations

import re
from pathlib import Path

from tree import files, without_comments

TABLE = "src/link/messages.def"
NOT_USED_YET = "tests/lint/messages_not_used_yet.txt"

_ENTRY = re.compile(r"^\s*MESSAGE\(\s*(\d+)\s*,\s*(\w+)\s*,", re.M)


def table(root: Path) -> list[tuple[int, str]]:
    """Number and name of each text, in the order of the table."""
    text = (root / TABLE).read_text(encoding="utf-8")
    # Comments may stand in the table, and a text may look like one.
    text = re.sub(r"^\s*//.*$", "", text, flags=re.M)
    return [(int(match.group(1)), match.group(2)) for match in _ENTRY.finditer(text)]


def unused(root: Path) -> list[str]:
    """Names of the table that no code under src/ mentions, in the order of the table.

    Where code adds to a number, as in kMsgFirst + MethodId, the texts that follow without a gap
    count as used.
    """
    used, counted_from = set(), set()
    for path in files(root, ".cpp", ".h", below=("src/",)):
        code = without_comments(path.read_text(encoding="utf-8"))
        used |= set(re.findall(r"\bkMsg(\w+)", code))
        counted_from |= set(re.findall(r"\bkMsg(\w+)\s*\+", code))
    before, in_run = 0, False
    for number, name in table(root):
        in_run = name in counted_from or (in_run and number == before + 1)
        if in_run:
            used.add(name)
        before = number
    return [name for _, name in table(root) if name not in used]


def faults(root: Path) -> list[str]:
    """What is wrong with the table: order, numbers and names that come twice, uses."""
    found = []
    entries = table(root)
    for (before, _), (number, name) in zip(entries, entries[1:]):
        if number <= before:
            found.append(f"{name}: {number} does not come after {before}")
    names = [name for _, name in entries]
    found += [f"{name} comes twice" for name in sorted({n for n in names if names.count(n) > 1})]
    listed = (root / NOT_USED_YET).read_text(encoding="utf-8").split()
    missing = unused(root)
    found += [f"{name} is used nowhere" for name in missing if name not in listed]
    gone = [name for name in listed if name not in missing]
    found += [f"{name} is listed as unused and is used, or gone" for name in gone]
    return found


# ---- what a test raises -------------------------------------------------------------------------

NEVER_RAISED = "tests/lint/messages_never_raised.txt"  # names, and why


def raised(root: Path) -> list[str]:
    """Names of the texts that the backend warns with or fails with, in the order of the table."""
    found = set()
    for path in files(root, ".cpp", ".h", below=("src/",)):
        code = without_comments(path.read_text(encoding="utf-8"))
        for call in re.findall(r"\b(?:Fatal|Warn|ErrorFormat|SayAtFrame)\s*\(([^;]*)", code):
            found |= set(re.findall(r"\bkMsg(\w+)", call))
    return [name for _, name in table(root) if name in found]


def _texts(root: Path) -> dict[str, str]:
    """Of each text the longest piece between conversions and quotes."""
    entries = re.findall(r"^\s*MESSAGE\(\s*\d+\s*,\s*(\w+)\s*,((?:\s*\"(?:[^\"\\]|\\.)*\")+)\s*\)",
                         (root / TABLE).read_text(encoding="utf-8"), re.M)
    found = {}
    for name, literals in entries:
        text = "".join(re.findall(r"\"((?:[^\"\\]|\\.)*)\"", literals))
        found[name] = max(re.split(r"%[-+ #0-9.*]*[a-zA-Z%]|\\.", text), key=len)
    return found


def never_raised(root: Path) -> list[str]:
    """Of those the ones that no test names, neither by name nor by their words."""
    tests = "\n".join(
        re.sub(r'"\s*\n\s*f?"', "", path.read_text(encoding="utf-8"))
        for path in files(root, ".cpp", ".h", ".py", below=("tests/unit/", "tests/link/",
                                                            "tests/python/", "tests/support/"))
        if path.name != "messages_test.cpp")  # which lists the texts and raises none
    words, named = _texts(root), set(re.findall(r"\bkMsg(\w+)", tests))
    return [name for name in raised(root)
            if name not in named and words.get(name, "\0") not in tests]


def faults_of_raised(root: Path) -> list[str]:
    """Texts that no test raises and that are not listed with a reason, and the reverse."""
    lines = (root / NEVER_RAISED).read_text(encoding="utf-8").splitlines()
    listed = {words[0]: words[1:] for words in map(str.split, lines) if words}
    missing = never_raised(root)
    return ([f"{name} is raised by no test" for name in missing if name not in listed]
            + [f"{name} is listed without a reason" for name, why in listed.items() if not why]
            + [f"{name} is listed as raised by no test, and is, or is gone" for name in listed
               if name not in missing])
