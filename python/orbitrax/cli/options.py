"""What can be typed: options made from the settings of tasks, and those of the command line itself.
"""

from __future__ import annotations

import argparse
import os
import re
import sys

from orbitrax.cli.parsed import Parsed
from orbitrax.errors import UsageError
from orbitrax.tasks.registry import TASKS, TOOLS

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Sequence
    from typing import Any, NoReturn

    from orbitrax.settings import Option
    from orbitrax.tasks.task import Task

_EXAMPLES = """\
examples:
  orbitrax energy examples/water.xyz -m am1
  orbitrax energy cation.xyz -m pm3 -c 1
  orbitrax energy examples/caffeine.xyz -m am1 --json > caffeine.json
  orbitrax energy protein.pdb -m am1 --select 1-24,31
  cat water.xyz | orbitrax energy - -m mndo --log
  orbitrax energy --smiles CCO -m pm3
"""

_STATUSES = """
exit status:
  0    done
  1    no result to be believed: not converged, out of time or memory, no usable numbers
  2    the request is wrong: options, molecule, charge, elements without parameters
  3    the program failed: no backend, a full disk, a backend that died
  130  interrupted by Ctrl-C; 143 by SIGTERM, 129 by SIGHUP; 141 where the reader of a pipe has gone
"""

_USUAL_COLUMNS = 80

# What other programs call it.
_SHORT = {"--chrg": "--charge", "--mult": "--multiplicity", "--opt": "optimize",
          "--gfn": "--method", "--acc": "--scf-limit", "--etemp": "--scf-limit"}

_METHODS_HELP = "the methods, the elements they cover, their sources"


def parse(argv: list[str]) -> Parsed | None:
    """Reads a command line; None where it names no command, after the help. Raises UsageError for
    one that makes no sense, SystemExit after --help and --version."""
    parser = build_parser(argv[0] if argv else "", argv)
    values = vars(parser.parse_args(argv))
    command = values.pop("command")
    if command is None:
        parser.print_help(sys.stderr)
        return None
    return Parsed(command, values)


# ---- parsers ------------------------------------------------------------------------------------


class _Formatter(argparse.RawDescriptionHelpFormatter):
    """Help as wide as the terminal, which is asked for without the module that copies files."""

    def __init__(self, prog: str):
        try:
            columns = int(os.environ["COLUMNS"])
        except (KeyError, ValueError):
            columns = 0
        try:
            columns = columns or os.get_terminal_size(sys.__stdout__.fileno()).columns
        except (AttributeError, ValueError, OSError):  # closed, or no terminal
            pass
        super().__init__(prog, width=(columns or _USUAL_COLUMNS) - 2)


class _Molecules(argparse.Action):
    """One molecule by its name, several as a list."""

    def __call__(self, parser: Any, namespace: Any, values: Any, option_string: Any = None) -> None:
        if values:
            setattr(namespace, self.dest, values[0] if len(values) == 1 else values)


class _Version(argparse.Action):
    """Says what this copy is made of, and ends."""

    def __call__(self, parser: Any, namespace: Any, values: Any, option_string: Any = None) -> None:
        from orbitrax.about import version_text

        print(version_text())
        parser.exit()


class _Parser(argparse.ArgumentParser):
    """A parser that leaves it to its caller to say what is wrong, and to exit."""

    def __init__(self, **about: Any):
        super().__init__(formatter_class=_Formatter, allow_abbrev=False, **about)
        self._negative_number_matcher = re.compile(r"^-[\d.][\d.,-]*$")  # -45,20 is a view

    def error(self, message: str) -> NoReturn:
        raise UsageError(f"{self._said(message)}; see '{self.prog} --help'")

    def _said(self, message: str) -> str:
        """The message, with the option that was probably meant."""
        import difflib

        if not message.startswith(("unrecognized arguments", "argument TASK: invalid choice")):
            return message
        known = [name for action in self._actions for name in action.option_strings]
        word = message.partition(": ")[2].split()[0].partition("=")[0]
        if message.startswith("argument TASK"):
            word = message.split("'")[1]
            known = [row.name for row in TASKS] + [*TOOLS, "methods"]
            message = f"there is no task '{word}'"
        near = difflib.get_close_matches(_SHORT.get(word, word), known, 1, 0.5)
        return f"{message}; did you mean {near[0]}?" if near else message

    def parse_known_args(self, args: Any = None, namespace: Any = None) -> Any:
        """As argparse does it, but what a task does not know is its own mistake, and files may
        stand on both sides of an option."""
        found, rest = super().parse_known_args(args, namespace)
        if rest and namespace is None and not any(word.startswith("-") for word in rest):
            found, rest = self.parse_known_intermixed_args(args, argparse.Namespace())
        if rest and " " in self.prog and namespace is None:
            self.error(f"unrecognized arguments: {' '.join(rest)}")
        return found, rest


def build_parser(command: str | None = None, argv: Sequence[str] = ()) -> argparse.ArgumentParser:
    """The parser of all commands, with the options of the one that is named; None for all. argv:
    the command line, for commands whose options depend on it."""
    parser = _Parser(prog="orbitrax", description="Semi-empirical quantum chemistry.",
                     epilog=_EXAMPLES + _STATUSES)
    parser.add_argument("--version", action=_Version, nargs=0, default=argparse.SUPPRESS,
                        help="say what this copy is made of: commit, backend, tables")
    commands = parser.add_subparsers(dest="command", metavar="TASK", title="tasks")
    for row in TASKS:
        if command is not None and row.name != command:
            commands.add_parser(row.name, help=row.title)
            continue
        task = row.load()
        add_task(commands.add_parser(
            row.name, help=row.title, description=task.description,
            epilog=_listed(task.examples)), task)
    for name, (module, title) in TOOLS.items():
        if command is not None and name != command:
            commands.add_parser(name, help=title)
            continue
        tool = __import__(module, fromlist=["add_arguments"])
        place = commands.add_parser(name, help=title, description=tool.DESCRIPTION,
                                    epilog=_listed(tool.EXAMPLES))
        tool.add_arguments(place, *((argv,) if name == "batch" else ()))
    methods = commands.add_parser("methods", help=_METHODS_HELP,
                                  description=f"{_METHODS_HELP.capitalize()}.")
    methods.add_argument("element", nargs="?", metavar="ELEMENT",
                         help="only the methods that have this element, as Fe")
    methods.add_argument("--json", action="store_true", help="print one JSON document")
    methods.add_argument("--tables", metavar="FOLDER", help="folder of the parameter tables")
    return parser


def _listed(examples: tuple[str, ...]) -> str:
    return "\n".join(["examples:", *(f"  {example}" for example in examples)]) + "\n"


def add_task(parser: argparse.ArgumentParser, task: type[Task]) -> None:
    """Adds the options of a task, and those of the command line, by their groups."""
    groups: dict[str, Any] = {}
    exclusive: dict[str, Any] = {}
    for one in _in_order(task):
        heading = str(one.group)
        if heading not in groups:
            groups[heading] = parser.add_argument_group(heading)
        place = groups[heading]
        if one.exclusive is not None:
            if one.exclusive not in exclusive:
                exclusive[one.exclusive] = place.add_mutually_exclusive_group()
            place = exclusive[one.exclusive]
        add_option(place, one, _help_of(one, task), one.name == "method" and
                   task.default_method is None)


def _help_of(one: Option, task: type[Task]) -> str:
    if one.name == "output":
        return task.file_help
    if one.name == "method" and task.default_method is not None:
        return f"{one.help} (default {task.default_method})"
    return one.help


def _in_order(task: type[Task]) -> list[Option]:
    """The options as they are listed: the molecule, the task's own, then what all tasks share."""
    from orbitrax.cli.command import typed_options
    from orbitrax.job import MOLECULE, OUTPUT, JobSettings

    shared = typed_options(task)
    own = [one for name, one in task.options.items()
           if one.typed and name not in JobSettings.options]
    first = [one for one in shared if one.group == MOLECULE]
    last = [one for one in shared if one.group == OUTPUT]
    rest = [one for one in shared if one not in first and one not in last and one not in own]
    return [*first, *(one for one in own if one not in first and one not in last), *rest, *last]


def add_option(place: Any, one: Option, help_text: str | None = None, required: bool = False
               ) -> None:
    """Adds one option, with its own help or another; required: whether it must be given. What is
    not typed has no value, so that the settings' own default holds."""
    about: dict[str, Any] = {"default": argparse.SUPPRESS,
                             "help": _with_default(one, help_text or one.help)}
    if one.name == "molecule":
        place.add_argument("molecule", nargs="*", metavar=one.metavar, action=_Molecules, **about)
        return
    names = [name for name in (one.short, one.flag) if name]
    if one.kind == "bool":
        about["action"] = argparse.BooleanOptionalAction if one.default else "store_true"
        place.add_argument(*names, **about)
        return
    if one.repeated:
        about["action"] = "append"
    if one.convert is None:
        about["type"] = {"int": int, "float": float}.get(one.kind)
    if one.words is not None:
        about["nargs"] = one.words
    if one.choices is None:
        about["metavar"] = tuple(one.metavar.split()) if one.words and one.metavar else one.metavar
    else:
        about["choices"] = one.choices
    place.add_argument(*names, required=required, **about)


def _with_default(one: Option, text: str) -> str:
    if one.default is None or one.default is False or one.default in ((), "") or "default" in text:
        return text.replace("%", "%%")
    shown = "on" if one.default is True else one.default
    shown = f"{shown:g}" if isinstance(shown, float) else shown
    return f"{text} (default {shown})".replace("%", "%%")
