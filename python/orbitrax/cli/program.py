"""The program: its streams, its exit statuses, and which command is run."""

from __future__ import annotations

import os
import sys

from orbitrax.errors import Terminated, UsageError
from orbitrax.interrupts import between_imports, heard, name_of
from orbitrax.tasks.registry import TASKS, TOOLS

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Callable
    from typing import Any

    from orbitrax.cli.parsed import Parsed

_INTERRUPTED = 130  # 128 + SIGINT
_PIPE_CLOSED = 141  # 128 + SIGPIPE

# What is not needed to run, by the names of modules: as people call it, and Debian's package.
_EXTRAS = {"ase": ("ASE", "python3-ase"), "rdkit": ("RDKit", "python3-rdkit"),
           "matplotlib": ("Matplotlib", "python3-matplotlib"),
           "scipy": ("SciPy", "python3-scipy"), "PIL": ("Pillow", "python3-pil"),
           "numpy": ("NumPy", "python3-numpy"), "cclib": ("cclib", "python3-cclib"),
           "qcelemental": ("QCElemental", "python3-qcelemental")}


def run_program(argv: list[str] | None = None) -> int:
    """Runs the command line and returns its exit status."""
    argv = sys.argv[1:] if argv is None else list(argv)
    _prepare_streams()
    _listen_for_the_end()
    try:
        try:
            status = _run_with_what_is_there(argv)
            sys.stdout.flush()
            return status
        except KeyboardInterrupt as error:
            return _ended(argv, error)
    except BrokenPipeError:
        _discard_output()
        return _PIPE_CLOSED
    except OSError as error:  # a full disk; all other files are watched where they are used
        _discard_output()
        place = "standard output" if error.filename is None else error.filename
        _complain_of(f"{place}: {error.strerror}")
        return 3


def _ended(argv: list[str], error: KeyboardInterrupt) -> int:
    """The status of a run that was ended before it had anything to tell, or after it had told
    all; a task that was to print a document prints one that says so."""
    from orbitrax.cli.outputs.text import TextSink

    if not TextSink.printed and argv[:1] and argv[0] in [row.name for row in TASKS]:
        _failure(argv, argv[0], "interrupted before anything was known", "interrupted")
    return error.exit_status if isinstance(error, Terminated) else _INTERRUPTED


def _listen_for_the_end() -> None:
    """SIGTERM, which batch systems send, and SIGHUP, of a terminal that closes, end the work as
    Ctrl-C does: with what there is. A shell that starts us in the background has us ignore Ctrl-C,
    and nohup SIGHUP, and that stays."""
    import _signal as signal  # the module without the lists of names

    def terminate(number: int) -> Callable[[], None]:
        def end() -> None:
            raise Terminated(number, name_of(number))

        return end

    def interrupt() -> None:
        raise KeyboardInterrupt

    try:
        for number in heard():
            if number != signal.SIGINT:
                signal.signal(number, between_imports(terminate(number)))
        if signal.getsignal(signal.SIGINT) is signal.default_int_handler:
            signal.signal(signal.SIGINT, between_imports(interrupt))
    except ValueError:  # outside the main thread
        pass


def _prepare_streams() -> None:
    """Output that is closed goes nowhere, and text that its encoding lacks is escaped."""
    for name in ("stdout", "stderr"):
        if getattr(sys, name) is None:
            setattr(sys, name, open(os.devnull, "w", encoding="utf-8"))
        stream = getattr(sys, name)
        if hasattr(stream, "reconfigure"):
            stream.reconfigure(errors="backslashreplace")


def _discard_output() -> None:
    """Nobody takes our output any more: what is left in the buffer goes nowhere."""
    os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())


def _run_with_what_is_there(argv: list[str]) -> int:
    try:
        return _run(argv)
    except ModuleNotFoundError as error:
        name = (error.name or "").partition(".")[0]
        if name not in _EXTRAS:
            raise
        title, package = _EXTRAS[name]
        text = f"this needs {title}, which is not installed; on Debian: apt-get install {package}"
        print(f"orbitrax: error: {text}", file=sys.stderr)
        _failure(argv, None, text)
        return 3


def _run(argv: list[str]) -> int:
    try:
        parsed = _parsed(argv)
    except UsageError as error:
        _complain(error)
        return _failure(argv, None, error.typed)
    except SystemExit:  # after --help and --version
        return 0
    if parsed is None:
        return 2
    if parsed.command == "methods":
        from orbitrax.cli.methods import list_methods

        return list_methods(parsed.values.get("tables"), parsed.values.get("element"),
                            parsed.values.get("json", False))
    if parsed.command in TOOLS:
        return _run_tool(TOOLS[parsed.command][0], parsed.values)
    from orbitrax.cli.run import run_task

    kind = next(row for row in TASKS if row.name == parsed.command).load()
    try:
        return run_task(kind, parsed.values)
    except UsageError as error:
        _complain(error)
        return _failure(argv, kind.name, error.typed)


def _run_tool(place: str, values: dict[str, Any]) -> int:
    from argparse import Namespace

    from orbitrax.cli.terminal import Terminal

    terminal = Terminal(values.get("quiet", False), values.get("color", "auto"))
    status: int = __import__(place, fromlist=["run"]).run(Namespace(**values), terminal)
    return status


def _parsed(argv: list[str]) -> Parsed | None:
    if argv and argv[0] in [row.name for row in TASKS] and not {"-h", "--help"} & set(argv):
        from orbitrax.cli.quick import parse_quickly

        parsed = parse_quickly(argv)
        if parsed is not None:
            return parsed
    from orbitrax.cli.options import parse

    return parse(argv)


def _complain_of(text: str) -> None:
    """Says so where it can be said; a terminal that has been closed takes nothing."""
    try:
        print(f"orbitrax: error: {text}", file=sys.stderr, flush=True)
    except OSError:
        pass


def _complain(error: UsageError) -> None:
    from orbitrax.cli.terminal import printable

    print(f"orbitrax: error: {printable(error.typed)}", file=sys.stderr)


def _failure(argv: list[str], task: str | None, text: str, status: str = "failed") -> int:
    """Status 2. A program that asked for JSON gets its document all the same."""
    if "--json" in argv:
        import json

        from orbitrax.results.document import empty_document

        document = empty_document(task)
        document.update(status=status, errors=[text])
        print(json.dumps(document))
    return 2
