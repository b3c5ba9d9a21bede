"""What two headers define under one name: a program that has both takes one of them for both."""

from __future__ import annotations

import re
from collections import defaultdict
from pathlib import Path

from tree import files, without_comments

# Definitions at the level of the namespace, which begin in the first column: of a function what it
# returns, its name, and its parameters up to the brace of its body.
_FUNCTION = re.compile(r"^(?:template\s*<[^;{]*>\s*)?(?:inline|constexpr|consteval)\b"
                       r"[\w:<>,&*\s]*?\b(\w+)\s*\(([^;{}]*)\)\s*(?:noexcept\s*)?\{", re.M)
_TYPE = re.compile(r"^(?:struct|class|enum(?: class)?|union)\s+(?:alignas\([^)]*\)\s*)?(\w+)"
                   r"[^;{()]*\{", re.M)


def twice(root: Path) -> list[str]:
    """Functions of the same parameters, and types, that headers below src/ and tests/ define more
    than once."""
    found = defaultdict(set)
    for path in files(root, ".h", below=("src/", "tests/")):
        code = without_comments(path.read_text(encoding="utf-8"))
        where = path.relative_to(root).as_posix()
        for match in _FUNCTION.finditer(code):
            found[f"{match[1]}({_kinds(match[2])})"].add(where)
        for match in _TYPE.finditer(code):
            found[match[1]].add(where)
    return [f"{name} is defined in {' and '.join(sorted(paths))}"
            for name, paths in sorted(found.items()) if len(paths) > 1]


def _kinds(parameters: str) -> str:
    """The types of parameters: each without its name, which is its last word of two or more."""
    kinds = (re.sub(r"\s*=.*", "", one.strip()) for one in re.split(r",(?![^<]*>)", parameters))
    return ", ".join(re.sub(r"(?<=[\w>&*])(\s+|(?<=[&*]))\w+$", "", kind) for kind in kinds)
