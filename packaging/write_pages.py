#!/usr/bin/python3
"""Writes what an installed command has beside it: the man page, and completion for bash.

    packaging/write_pages.py FOLDER

Both are made from the parser of the command line, so that they hold whatever can be typed.
"""

from __future__ import annotations

import argparse
import os
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "python"))
os.environ["COLUMNS"] = "80"

from orbitrax import __version__  # noqa: E402
from orbitrax.cli.options import build_parser  # noqa: E402


# ---- the parser ---------------------------------------------------------------------------------


def commands(parser: argparse.ArgumentParser) -> dict[str, argparse.ArgumentParser]:
    """The parsers of all tasks, by name."""
    found = next(action for action in parser._actions if hasattr(action, "_name_parser_map"))
    return dict(found.choices)


def options(parser: argparse.ArgumentParser) -> list[argparse.Action]:
    """What can be typed, but for the tasks."""
    return [action for action in parser._actions if not hasattr(action, "_name_parser_map")]


# ---- the man page -------------------------------------------------------------------------------


def escaped(text: str) -> str:
    """A text as roff takes it."""
    text = text.replace("\\", "\\e").replace("-", "\\-")
    return "\n".join("\\&" + line if line[:1] in (".", "'") else line for line in text.split("\n"))


def entry(action: argparse.Action) -> list[str]:
    """An option or a word, and what it means."""
    metavar = action.metavar or (action.dest.upper() if action.choices is None else
                                 "{" + ",".join(map(str, action.choices)) + "}")
    value = " ".join(metavar) if isinstance(metavar, tuple) else str(metavar)
    takes = action.nargs != 0 and not isinstance(action, argparse.BooleanOptionalAction)
    if action.option_strings:
        names = ", ".join(f"\\fB{escaped(name)}\\fR" for name in action.option_strings)
        head = names + (f" \\fI{escaped(value)}\\fR" if takes else "")
    else:
        head = f"\\fI{escaped(value)}\\fR"
    text = (action.help or "") % {"default": action.default, "prog": "orbitrax"}
    return [".TP", head, escaped(text) or "\\&"]


def preformatted(text: str) -> list[str]:
    """Lines that stay as they are."""
    return [".RS 2", ".nf", escaped(text.rstrip()), ".fi", ".RE"]


def man_page() -> str:
    """The man page of all tasks."""
    parser = build_parser(None)
    examples, _, statuses = (parser.epilog or "").partition("exit status:\n")
    lines = [f'.TH ORBITRAX 1 "" "orbitrax {__version__}" "User Commands"', ".SH NAME",
             "orbitrax \\- semi\\-empirical quantum chemistry", ".SH SYNOPSIS",
             "\\fBorbitrax\\fR \\fITASK\\fR [\\fIMOLECULE\\fR ...] [\\fIOPTION\\fR ...]",
             ".SH DESCRIPTION",
             "Computes molecules by CNDO, INDO, MINDO/3, MNDO, AM1, PM3, ZINDO/1, ZINDO/S and "
             "MNDO/d:", "energies, minima, vibrations, spectra, dynamics, pictures.",
             ".SH OPTIONS"]
    for action in options(parser):
        lines += entry(action)
    for name, one in commands(parser).items():
        lines += [f".SH TASK {escaped(name.upper())}", escaped(one.description or "")]
        for action in options(one):
            if action.dest != "help":
                lines += entry(action)
        if one.epilog:
            lines += [".PP", *preformatted(one.epilog)]
    lines += [".SH EXAMPLES", *preformatted(examples.partition("\n")[2])]
    lines += [".SH EXIT STATUS", *preformatted(statuses)]
    lines += [".SH ENVIRONMENT", ".TP", "\\fBORBITRAX_QSOLVE\\fR", "the backend program to start",
              ".TP", "\\fBORBITRAX_KERNELS\\fR", "form of the kernels: portable, avx2 or avx512",
              ".TP", "\\fBNO_COLOR\\fR", "no colour in messages"]
    return "\n".join(lines) + "\n"


# ---- completion ---------------------------------------------------------------------------------


def flags(parser: argparse.ArgumentParser) -> str:
    """All options of a parser, long before short."""
    names = [name for action in options(parser) for name in action.option_strings]
    return " ".join(sorted(names, key=lambda name: (not name.startswith("--"), name)))


def values(parser: argparse.ArgumentParser) -> list[tuple[str, str]]:
    """Options that take one of a few words, and the words."""
    from orbitrax.methods import METHODS

    found = []
    for action in options(parser):
        words = [str(choice) for choice in action.choices or ()]
        if action.dest == "method":
            words = [method.key for method in METHODS]
        if words and action.option_strings:
            found.append(("|".join(action.option_strings), " ".join(words)))
    return found


def completion() -> str:
    """The completion for bash."""
    parser = build_parser(None)
    tasks = commands(parser)
    lines = ["# Completion of orbitrax for bash; made by packaging/write_pages.py.",
             "_orbitrax() {",
             "    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]}",
             "    local words=",
             "    COMPREPLY=()",
             "    if [ \"$COMP_CWORD\" -eq 1 ]; then",
             f"        words='{' '.join(tasks)} {flags(parser)}'",
             "    else",
             "        case ${COMP_WORDS[1]} in"]
    for name, one in tasks.items():
        lines += [f"        {name})", "            case $before in"]
        lines += [f"            {pattern}) words='{words}' ;;" for pattern, words in values(one)]
        lines += [f"            *) [[ $word == -* ]] && words='{flags(one)}' ;;",
                  "            esac", "            ;;"]
    lines += ["        esac", "    fi", "    [ -z \"$words\" ] ||",
              "        mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$word\")",
              "}", "complete -o default -F _orbitrax orbitrax"]
    return "\n".join(lines) + "\n"


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(f"Usage: {sys.argv[0]} FOLDER")
    folder = Path(sys.argv[1])
    folder.mkdir(parents=True, exist_ok=True)
    (folder / "orbitrax.1").write_text(man_page(), encoding="utf-8")
    (folder / "orbitrax.bash").write_text(completion(), encoding="utf-8")
