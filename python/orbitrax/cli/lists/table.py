"""The command `table`: results of a batch as a table."""

from __future__ import annotations

import csv
import itertools
import sys
from typing import Any

from orbitrax.bulk.records import (COLUMNS, cells, check_columns, in_order, structures_said,
                                   write_structures)
from orbitrax.errors import OrbitraxError, UsageError
from orbitrax.files import check_apart, check_target, replaced

DESCRIPTION = ("Makes a table of the results of a batch. Columns are entries of the records "
               "(energies kcal/mol, levels eV, dipole Debye), also as block.entry.")
EXAMPLES = ("orbitrax table results.jsonl",
            "orbitrax table results.jsonl --columns id,heat_of_formation,dipole -o t.csv",
            "orbitrax table results.jsonl --structures done.sdf")


def add_arguments(parser: Any) -> None:
    """Declares the options."""
    parser.add_argument("results", metavar="RESULTS", help="the results of a batch")
    parser.add_argument("--columns", metavar="LIST", help=f"default: {','.join(COLUMNS)}; smiles "
                        "and run.seconds are others")
    parser.add_argument("-o", "--output", metavar="FILE", help=".csv, .tsv or .parquet (default: "
                        "csv on standard output)")
    parser.add_argument("--structures", metavar="FILE", help="write the structures there instead, "
                        ".sdf or .xyz")
    parser.add_argument("-q", "--quiet", action="store_true", help="no warnings")


def run(arguments: Any, terminal: Any) -> int:
    """Writes the table; returns the exit status."""
    try:
        check_apart([arguments.output, arguments.structures], [arguments.results])
        if arguments.structures is not None:
            check_structures(arguments.structures)
            found = write_structures(arguments.results, arguments.structures)
            terminal.tell(structures_said(*found, arguments.structures))
            return 0
        write_table(arguments.results, arguments.output, arguments.columns)
    except OrbitraxError as error:
        terminal.error(error.typed)
        return error.exit_status
    return 0


def check_structures(output: str) -> None:
    """Raises UsageError where no structures can be written to."""
    if not output.lower().endswith((".sdf", ".sd", ".xyz", ".extxyz")):
        raise UsageError(f"{output}: structures are written as .sdf or .xyz")
    check_target(output)


def check_table(output: str) -> None:
    """Raises UsageError where no table can be written to."""
    if not output.lower().endswith((".csv", ".tsv", ".parquet")):
        raise UsageError(f"{output}: tables are written as .csv, .tsv or .parquet")
    check_target(output)


def write_table(results: str, output: str | None, columns: str | None = None) -> None:
    """The columns of all records of a results file, to standard output without a name.

    Raises UsageError for a name that is none of a table's, for a column that there is not, and
    where there are no records."""
    names = columns.split(",") if columns else list(COLUMNS)
    found = in_order(results)
    first = next(found, None)
    if first is None:
        raise UsageError(f"{results}: there are no records in it")
    check_columns(names, first)
    rows = (cells(record, names) for record in itertools.chain([first], found))
    if output is None:
        csv.writer(sys.stdout).writerows(itertools.chain([names], rows))
        return
    check_table(output)
    if output.lower().endswith(".parquet"):
        _write_parquet(output, names, rows)
        return
    with replaced(output) as name, open(name, "w", encoding="utf-8", newline="") as file:
        mark = "\t" if output.lower().endswith(".tsv") else ","
        csv.writer(file, delimiter=mark).writerows(itertools.chain([names], rows))


def _write_parquet(output: str, names: list[str], rows: Any) -> None:
    try:
        import pandas

        with replaced(output) as name:
            pandas.DataFrame(rows, columns=names).to_parquet(name)
    except ImportError:
        raise UsageError(f"{output}: parquet needs pandas with pyarrow, which are not installed; "
                         "write .csv") from None
