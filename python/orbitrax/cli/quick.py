"""Reads a plain command line without the parser, whose loading takes longer than all the reading.

It knows options as they are written out, each with a value that is no option itself, and one
molecule. Whatever else there is, help and mistakes above all, is left to the parser; what both can
read they read alike.
"""

from __future__ import annotations

from orbitrax.cli.command import typed_options
from orbitrax.cli.parsed import Parsed
from orbitrax.tasks.registry import TASKS

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any

    from orbitrax.settings import Option

_READERS = {"int": int, "float": float}


class _Odd(Exception):
    """Something for the parser."""


def parse_quickly(argv: list[str]) -> Parsed | None:
    """Reads a command line; None where it is not plain."""
    row = next((row for row in TASKS if argv and row.name == argv[0]), None)
    if row is None:
        return None
    options = typed_options(row.load())
    flags = {flag: one for one in options for flag in (one.flag, one.short) if flag}
    values: dict[str, Any] = {}
    try:
        _read(argv[1:], flags, values)
        _check(options, values)
    except _Odd:
        return None
    return Parsed(row.name, values)


def _read(words: list[str], flags: dict[str, Option], values: dict[str, Any]) -> None:
    words = words[::-1]
    while words:
        word = words.pop()
        if not word.startswith("-") or word == "-":
            if "molecule" in values:
                raise _Odd
            values["molecule"] = word
            continue
        flag, equals, value = word.partition("=") if word.startswith("--") else (word, "", "")
        no = flag.startswith("--no-") and flag not in flags
        one = flags.get("--" + flag[5:] if no else flag)
        if one is None or one.name == "molecule" or (no and one.default is not True):
            raise _Odd
        if one.kind == "bool":
            if equals:
                raise _Odd
            values[one.name] = not no
            continue
        if one.words is not None:
            raise _Odd
        if no or (not equals and (not words or words[-1].startswith("-"))):
            raise _Odd
        found = _value(one, value if equals else words.pop())
        values[one.name] = [*values.get(one.name, ()), found] if one.repeated else found


def _value(one: Option, text: str) -> Any:
    if one.choices is not None and text not in one.choices:
        raise _Odd
    reader = None if one.convert is not None else _READERS.get(one.kind)
    try:
        return reader(text) if reader is not None else text
    except ValueError:
        raise _Odd from None


def _check(options: list[Option], values: dict[str, Any]) -> None:
    """What has to be there, and what excludes what."""
    groups = [one.exclusive for one in options if one.exclusive and one.name in values]
    if "method" not in values or len(set(groups)) < len(groups):
        raise _Odd
