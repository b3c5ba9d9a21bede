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
