"""The command `batch`: many molecules, on all cores or many machines, into one results file."""

from __future__ import annotations

import contextlib
import re
import signal
import threading
from collections.abc import Iterator, Sequence
from itertools import chain
from typing import Any

from orbitrax.bulk.campaign import Campaign, Progress
from orbitrax.bulk.engine import Engine
from orbitrax.bulk.processes import Processes, cores
from orbitrax.bulk.recipe import Recipe
from orbitrax.bulk.sources import read_list
from orbitrax.bulk.store import Store
from orbitrax.cli.lists.progress import Display
from orbitrax.cli.terminal import Terminal
from orbitrax.errors import Interrupted, OrbitraxError, UsageError
from orbitrax.files import check_apart
from orbitrax.interrupts import heard, name_of
from orbitrax.settings import Option
from orbitrax.tasks.registry import TASKS, find_task

DESCRIPTION = ("Computes a list of molecules, a record each, and can be ended at any moment and "
               "resumed. Options of the task may be given here, or as columns of the list.")
EXAMPLES = (
    "orbitrax batch molecules.csv -m am1 --task optimize -o results.jsonl --table table.csv",
    "orbitrax batch molecules.csv -m am1 --task optimize -o results.jsonl --resume",
    "orbitrax batch library.sdf -m pm3 -o part-3.jsonl --shard 3/64",
    "orbitrax batch molecules.smi -m am1 -o results.jsonl --dask tcp://10.0.0.1:8786")
_SIZES = {"": 1 << 20, "M": 1 << 20, "G": 1 << 30}


def add_arguments(parser: Any, argv: Sequence[str] = ()) -> None:
    """Declares the options, and those of the task that `argv` names."""
    from orbitrax.cli.options import add_option

    about: list[tuple[tuple[str, ...], dict[str, Any]]] = [
        (("list",), {"nargs": "+", "metavar": "LIST", "help": "csv or tsv with a column smiles or "
                     "file, and id, charge, multiplicity, settings; smi, sdf, xyz with many "
                     "structures; a folder; - for standard input"}),
        (("-m", "--method"), {"required": True, "metavar": "METHOD", "help": "as energy takes it"}),
        (("--task",), {"default": "energy", "choices": _tasks(), "help": "what is computed "
                       "(default energy)"}),
        (("-o", "--output"), {"required": True, "metavar": "FILE", "help": "the results, a JSON "
                              "document a line; FILE.index beside it finds them again"}),
        (("--resume",), {"action": "store_true", "help": "go on with what is in the results: only "
                         "what is missing, or failed by accident, is computed"}),
        (("--structures",), {"metavar": "FILE", "help": "write the last structures there at the "
                             "end, .sdf or .xyz"}),
        (("--table",), {"metavar": "FILE", "help": "write a table of the results there at the end, "
                        ".csv, .tsv or .parquet; 'orbitrax table' makes others"}),
        (("-j", "--workers"), {"type": int, "metavar": "N", "help": "worker processes (default: "
                               "one a core)"}),
        (("--shard",), {"metavar": "K/N", "help": "only the K-th of N slices of the list, as for "
                        "the tasks of a job array; 'orbitrax merge' joins the results"}),
        (("--dask",), {"metavar": "ADDRESS", "help": "compute on the workers of this Dask "
                       "scheduler, as tcp://10.0.0.1:8786"}),
        (("--time-limit",), {"type": float, "metavar": "S", "help": "seconds for one molecule"}),
        (("--memory-limit",), {"metavar": "SIZE", "help": "memory of the backend for one molecule, "
                               "as 800M or 2G"}),
        (("--format",), {"metavar": "NAME", "help": "format of the list: csv, tsv, smi, sdf, xyz"}),
        (("--add-hydrogens",), {"action": "store_true", "help": "as energy takes it"}),
        (("--json",), {"action": "store_true", "help": "print what came of it as JSON"}),
        (("-q", "--quiet"), {"action": "store_true", "help": "no progress, no warnings"}),
        (("--color",), {"choices": ("auto", "always", "never"), "default": "auto",
                        "help": "colour in messages"}),
        (("--backend",), {"metavar": "PATH", "help": "the backend program to start"}),
        (("--tables",), {"metavar": "FOLDER", "help": "folder of the parameter tables"})]
    for names, values in about:
        parser.add_argument(*names, **values)
    group = parser.add_argument_group(f"settings of the task {_named_task(argv)}")
    for one in _options(_named_task(argv)).values():
        add_option(group, one)


def _tasks() -> list[str]:
    return [row.name for row in TASKS if row.name != "plot"]


def _named_task(argv: Sequence[str]) -> str:
    """The task that a command line names, as far as it is one."""
    words = list(argv)
    named = [word.partition("=")[2] for word in words if word.startswith("--task=")]
    named += [after for word, after in zip(words, words[1:]) if word == "--task"]
    return named[-1] if named and named[-1] in _tasks() else "energy"


def _options(task: str) -> dict[str, Option]:
    return {name: one for name, one in find_task(task).options.items() if one.typed}


def run(arguments: Any, terminal: Terminal) -> int:
    """Runs the batch; returns the exit status: 1 where a molecule has no result."""
    try:
        return _Command(arguments, terminal).run()
    except OrbitraxError as error:
        terminal.end_progress()
        terminal.error(error.typed)
        return error.exit_status


class _Command:
    def __init__(self, arguments: Any, terminal: Terminal):
        self._arguments, self._terminal = arguments, terminal
        if arguments.workers is not None and arguments.workers < 1:
            raise UsageError(f"--workers {arguments.workers}: should be 1 or above")
        if arguments.structures is not None:
            from orbitrax.cli.lists.table import check_structures

            check_structures(arguments.structures)
        if arguments.table is not None:
            from orbitrax.cli.lists.table import check_table

            check_table(arguments.table)
        check_apart([arguments.output, arguments.structures, arguments.table], arguments.list)
        self._shard = parse_shard(arguments.shard)
        self._recipe = self._chosen()
        self._recipe.check()

    def _chosen(self) -> Recipe:
        given = vars(self._arguments)
        settings = {name: given[name] for name in _options(given["task"]) if name in given}
        return Recipe(given["method"], given["task"], program=given["backend"],
                      tables=given["tables"], time_limit=given["time_limit"],
                      memory_limit=parse_size(given["memory_limit"]),
                      complete=given["add_hydrogens"], **settings)

    def run(self) -> int:
        """From the list to the status."""
        arguments = self._arguments
        lists = [read_list(path, self._recipe.options, arguments.format)
                 for path in arguments.list]
        items = lists[0] if len(lists) == 1 else (
            item._replace(number=number)
            for number, item in enumerate(chain.from_iterable(lists), 1))
        store = Store(arguments.output, arguments.resume)
        progress = Progress(store.known)
        engine = self._engine()
        campaign = Campaign(engine, store, progress)
        display = Display(self._terminal, arguments, engine, progress)
        try:
            with _signals(campaign, self._terminal) as self._signals, display:
                campaign.run(store.missing(items, self._recipe, self._shard), display.look,
                             display.answer)
        except (Interrupted, KeyboardInterrupt):
            campaign.stopped = True
        finally:
            store.close()
        return self._end(campaign)

    def _stopped(self) -> int:
        """The status of a batch that was asked to end, and how it goes on."""
        asked = next((number for number in self._signals if number != signal.SIGINT),
                     signal.SIGINT)
        self._terminal.error(f"stopped by {name_of(asked)}; the results are whole, go on with the "
                             "same command and --resume")
        return 128 + asked

    def _engine(self) -> Engine:
        if self._arguments.dask is None:
            return Processes(self._recipe, self._arguments.workers or cores())
        from orbitrax.bulk.cluster import Cluster

        return Cluster(self._recipe, self._arguments.dask)

    def _end(self, campaign: Campaign) -> int:
        arguments, progress = self._arguments, campaign.progress
        if arguments.structures is not None:
            from orbitrax.bulk.records import structures_said, write_structures

            path = arguments.structures
            self._terminal.tell(structures_said(*write_structures(arguments.output, path), path))
        if arguments.table is not None:
            from orbitrax.cli.lists.table import write_table

            write_table(arguments.output, arguments.table)
        if arguments.json:
            import json

            print(json.dumps({"known": progress.known, "computed": progress.total,
                              "statuses": dict(progress.statuses),
                              "accidents": progress.accidents,
                              "warned": progress.warned, "complete": not campaign.stopped}))
        self._terminal.tell(
            f"{progress.total} computed, {progress.statuses['done']} done, {progress.failed} "
            f"without a result; {progress.known} were there before")
        if progress.warned and not arguments.quiet:
            self._terminal.warning(f"{progress.warned} of those done have warnings, which "
                                   "'orbitrax status' counts and 'orbitrax table' shows")
        if campaign.stopped:
            return self._stopped()
        if progress.accidents and not arguments.quiet:
            self._terminal.note(f"{progress.accidents} failed by accident; --resume tries them "
                                "again")
        return 1 if progress.failed else 0


def parse_shard(text: str | None) -> tuple[int, int]:
    """Which slice of how many, from "3/64". Raises UsageError for another text."""
    found = re.fullmatch(r"(\d+)/(\d+)", text or "1/1")
    if found is None or not 1 <= int(found[1]) <= int(found[2]):
        raise UsageError(f"--shard {text}: should be a slice and their number, as 3/64, the first "
                         "being 1/64")
    return int(found[1]), int(found[2])


def parse_size(text: str | None) -> int | None:
    """Bytes, from "800M" or "2G"; a plain number are MiB. Raises UsageError for another text."""
    if text is None:
        return None
    found = re.fullmatch(r"(\d+(?:\.\d+)?)([MG]?)", text.upper().removesuffix("IB"))
    if found is None:
        raise UsageError(f"--memory-limit {text}: should be a size, as 800M or 2G")
    return int(float(found[1]) * _SIZES[found[2]])


@contextlib.contextmanager
def _signals(campaign: Campaign, terminal: Terminal) -> Iterator[list[int]]:
    """The first Ctrl-C lets what runs finish, the next one and other signals end it at once. Gives
    the list of those that have come."""
    met: list[int] = []

    def ask(number: int, frame: object) -> None:
        met.append(number)
        if campaign.stopped or number != signal.SIGINT:
            campaign.cancel()
            if campaign.waits_for_input:
                raise KeyboardInterrupt
            return
        campaign.stop()
        terminal.end_progress()
        terminal.warning("finishing what runs; Ctrl-C again stops at once")

    if threading.current_thread() is not threading.main_thread():
        yield met
        return
    before = {number: signal.signal(number, ask) for number in heard()}
    try:
        yield met
    finally:
        for number, handler in before.items():
            signal.signal(number, handler)
