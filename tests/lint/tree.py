"""What the lints share: the files of a tree, and C++ cut into its declarations."""

from __future__ import annotations

import re
import subprocess
from dataclasses import dataclass
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]

LEFT_OUT = {".git", ".hypothesis", ".pytest_cache", "__pycache__", "build", "node_modules"}


def files(root: Path, *endings: str, below: tuple[str, ...] = ("",)) -> list[Path]:
    """Files of the tree that git does not ignore (without git: all but build folders), sorted.

    endings are suffixes such as ".cpp", none means every file; below are folders from the root.
    """
    if (root / ".git").exists():
        command = ["git", "-C", str(root), "ls-files", "-coz", "--exclude-standard"]
        names = subprocess.run(command, check=True, capture_output=True).stdout.decode().split("\0")
        found = {root / name for name in names if name}
    else:
        inside = ((path, path.relative_to(root).parts) for path in root.rglob("*"))
        found = {path for path, parts in inside if not LEFT_OUT & set(parts)}
    wanted = (
        path
        for path in found
        if path.is_file()
        and (not endings or path.suffix in endings)
        and path.relative_to(root).as_posix().startswith(below)
    )
    return sorted(wanted)


def texts(root: Path) -> list[Path]:
    """Files of the tree that hold text, told by the absence of a NUL."""
    return [path for path in files(root) if b"\0" not in path.read_bytes()[:4096]]


def nothing_of(complaints: list[str], advice: str = "") -> None:
    """Fails with every complaint on a line of its own."""
    assert not complaints, "\n".join(["", *complaints, advice])


@dataclass
class Declaration:
    """A function at namespace or class scope, declared or defined."""

    name: str
    line: int  # of its first line, from 1
    lines: int  # how many lines it spans
    documented: bool  # a /// comment stands above its paragraph, or ///< behind it
    in_class: bool
    defined: bool


# A comment, a text, a character or a preprocessor line, in this order of preference.
_OPAQUE = re.compile(
    r"""//[^\n]*|/\*.*?\*/|R"(?P<tag>[^\s()]*)\(.*?\)(?P=tag)"|"(?:\\.|[^"\\\n])*\"""" r"""
    |'(?:\\.|[^'\\\n])'|^[ \t]*\#(?:\\\n|[^\n])*""",
    re.S | re.M | re.X,
)


def without_comments(text: str) -> str:
    """The C++ text with comments, texts and preprocessor lines blanked, line by line."""
    return _OPAQUE.sub(lambda match: re.sub(r"[^\n]", " ", match.group()), text)


_SCOPE = re.compile(r"^\s*(inline\s+)?(namespace|class|struct|union|extern\s*$)")
_NO_FUNCTION = re.compile(r"^(using|typedef|static_assert|friend|enum|concept|return)\b")


def functions(text: str) -> list[Declaration]:
    """The functions that a C++ text declares or defines outside of other functions."""
    code = without_comments(text)
    lines = text.split("\n")
    found: list[Declaration] = []
    scopes: list[str] = []  # what each open brace at declaration level belongs to
    start = 0  # where the present statement starts
    i = 0
    while i < len(code):
        c = code[i]
        if c == "(":
            i = _closing(code, i)
        elif c == "{":
            head = code[start:i]
            bare = re.sub(r"template\s*<[^{}()]*>", " ", re.sub(r"\[\[.*?\]\]", " ", head))
            if _SCOPE.match(bare.strip()) and "(" not in bare.split(":")[0]:
                scopes.append("class" if re.search(r"\b(class|struct|union)\b", bare) else "")
                start = i + 1
            else:
                end = _closing(code, i)
                _add(found, lines, code, start, i, end, scopes, defined=True)
                # An initialiser goes on to its semicolon, a body ends the statement.
                if not _is_function(head):
                    i = end
                else:
                    i, start = end, end + 1
        elif c == "}":
            if scopes:
                scopes.pop()
            start = i + 1
        elif c == ";":
            _add(found, lines, code, start, i, i, scopes, defined=False)
            start = i + 1
        elif c == ":" and re.fullmatch(r"\s*(public|private|protected)\s*", code[start:i]):
            start = i + 1
        i += 1
    return found


def _closing(code: str, opening: int) -> int:
    """Index of the bracket that closes the one at opening."""
    pair = {"(": ")", "{": "}"}[code[opening]]
    depth = 0
    for i in range(opening, len(code)):
        if code[i] == code[opening]:
            depth += 1
        elif code[i] == pair:
            depth -= 1
            if depth == 0:
                return i
    return len(code) - 1


def _is_function(head: str) -> str:
    """The name of the function that a statement declares, or nothing."""
    bare = re.sub(r"\[\[.*?\]\]|alignas\s*\([^)]*\)|\b(noexcept|requires)\s*\([^)]*\)", " ", head)
    bare = re.sub(r"template\s*<[^{}()]*>", " ", bare).strip()
    if _NO_FUNCTION.match(bare):
        return ""
    match = re.match(r"[^=(]*?(operator\s*(?:\(\s*\)|[^\s(]+)|[~\w:]+)\s*\(", bare)
    if not match:
        return ""
    name = match.group(1)
    test = re.match(r"(?:TEST|TEST_F|TEST_P|TYPED_TEST)\s*\(\s*(\w+)\s*,\s*(\w+)", bare)
    return f"{test.group(1)}.{test.group(2)}" if test else name


def _add(found, lines, code, start, head_end, end, scopes, defined):
    name = _is_function(code[start:head_end])
    if not name:
        return
    start += len(code[start:head_end]) - len(code[start:head_end].lstrip())
    first = code.count("\n", 0, start)
    last = code.count("\n", 0, end)
    above = first - 1
    while above >= 0 and lines[above].strip() and not lines[above].lstrip().startswith("///"):
        if lines[above].rstrip().endswith("{") and _SCOPE.match(lines[above]):
            break
        above -= 1
    documented = (above >= 0 and lines[above].lstrip().startswith("///")) or any(
        "///<" in line for line in lines[first : last + 1]
    )
    found.append(
        Declaration(name, first + 1, last - first + 1, documented, "class" in scopes, defined)
    )
