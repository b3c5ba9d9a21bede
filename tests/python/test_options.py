"""Command lines: the quick reader and the parser read alike what both can read."""

import contextlib
import io

import pytest
from hypothesis import given, settings
from hypothesis import strategies as st
from support import ROOT  # noqa: F401

from orbitrax.cli.command import typed_options
from orbitrax.cli.options import parse
from orbitrax.cli.quick import parse_quickly
from orbitrax.errors import UsageError
from orbitrax.tasks.registry import TASKS

OPTIONS = {row.name: typed_options(row.load()) for row in TASKS}
TEXTS = st.sampled_from(["a.xyz", "3", "-3", "1.5", "am1", "-", "1e-6", "", "--", "-m", "auto",
                         "x=y", "--uhf", "stretch 1 2", "homo", "nan", "--no-diis", "-q",
                         "fletcher-reeves"])


def read(reader, argv):
    """What a reader makes of a command line: the command and the values, or None."""
    try:
        with contextlib.redirect_stderr(io.StringIO()), contextlib.redirect_stdout(io.StringIO()):
            parsed = reader(argv)
    except (UsageError, SystemExit):
        return None
    return parsed and (parsed.command, parsed.values)


@st.composite
def command_lines(draw):
    task = draw(st.sampled_from([row.name for row in TASKS]))
    words = [task]
    for _ in range(draw(st.integers(0, 6))):
        one = draw(st.sampled_from(OPTIONS[task]))
        flag = draw(st.sampled_from([one.flag, one.short or one.flag, f"--no-{one.flag[2:]}"]))
        value = draw(TEXTS)
        form = draw(st.integers(0, 4))
        words += {0: [flag], 1: [flag, value], 2: [f"{flag}={value}"], 3: [flag + value],
                  4: [value]}[form]
    return words


@settings(deadline=None, max_examples=400)
@given(command_lines())
def test_what_the_quick_reader_reads_the_parser_reads_alike(argv):
    quick = read(parse_quickly, argv)
    if quick is not None:
        slow = read(parse, argv)
        assert repr(quick) == repr(slow)  # repr: a NaN is a NaN


@pytest.mark.parametrize("text,values", [
    ("energy a.xyz -m am1", {"molecule": "a.xyz", "method": "am1"}),
    ("energy - -m pm3 --uhf -c 1 -s=2", None),
    ("energy - -m pm3 --uhf -c 1 -s 2", {"molecule": "-", "method": "pm3", "uhf": True, "charge": 1,
                                         "multiplicity": 2}),
    ("optimize a.xyz --limit=0.01 -m am1 -q --no-diis -o b.xyz",
     {"molecule": "a.xyz", "limit": 0.01, "method": "am1", "quiet": True, "diis": False,
      "output": "b.xyz"}),
    ("energy a.xyz -m am1 --restrain x --restrain y",
     {"molecule": "a.xyz", "method": "am1", "restrain": ["x", "y"]})])
def test_plain_command_lines_are_read_at_once(text, values):
    argv = text.split()
    quick = read(parse_quickly, argv)
    assert quick == (None if values is None else (argv[0], values))
    if values is not None:
        assert read(parse, argv) == quick


@pytest.mark.parametrize("text", [
    "", "methods", "energy", "energy a.xyz", "energy a.xyz -m am1 --help", "energy a b -m am1",
    "energy a.xyz -m am1 --chrg 1", "energy a.xyz -m am1 -c one", "energy a.xyz -m am1 -c -1",
    "energy a.xyz -m am1 --json --log", "energy a.xyz -m am1 --color blue", "energy a.xyz -mam1",
    "energy a.xyz -m am1 --uhf=1", "energy a.xyz -m", "energy a.xyz -m am1 --no-uhf",
    "energy a.xyz -m am1 --", "plot a.xyz -m am1 --density --potential"])
def test_all_else_is_left_to_the_parser(text):
    assert parse_quickly(text.split()) is None
