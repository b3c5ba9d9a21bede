"""Lists of molecules, read as they are needed: csv and tsv, SMILES, sdf, xyz, folders, a pipe.

A line that cannot be read becomes an item that says why, and the rest goes on.
"""

from __future__ import annotations

import csv
import itertools
import os
import sys
from collections.abc import Iterable, Iterator
from typing import Any, TextIO

from orbitrax.bulk.columns import Columns
from orbitrax.bulk.items import Item
from orbitrax.errors import MoleculeError, UsageError
from orbitrax.molecules.reading import FORMATS, format_of, text_of
from orbitrax.settings import Option

_MOST_OF_A_CELL = 1 << 24  # characters
_MOST_ATOMS = 10_000_000  # that the head of an xyz frame may announce
_LOOK = 4  # lines of a pipe by which it is known

_LISTS = {".csv": "csv", ".tsv": "tsv", ".tab": "tsv", ".smi": "smi", ".smiles": "smi",
          ".sdf": "sdf", ".sd": "sdf", ".xyz": "xyz", ".extxyz": "xyz"}
_NAMES = ("csv", "tsv", "smi", "smiles", "sdf", "mol", "xyz", "extxyz")


def read_list(path: str, options: dict[str, Option], format: str | None = None,
              stdin: TextIO | None = None) -> Iterator[Item]:
    """The molecules of a file, a folder, or of standard input (-), numbered from 1; their keys are
    not known yet. options: settings that a column may give, by name. Raises UsageError for a list
    that cannot be read at all."""
    if path == "-":
        return _numbered(_of_stream(stdin or sys.stdin, format, options))
    if os.path.isdir(path):
        return _numbered(_folder(path))
    if not os.path.exists(path):
        raise UsageError(f"{path}: there is no such file")
    kind = format if format in _NAMES else _LISTS.get(os.path.splitext(path)[1].lower())
    if kind is None:
        return iter([_file_item(path, 1, os.path.basename(path), path)])
    return _numbered(_of_file(path, kind, options))


def _numbered(items: Iterable[Item]) -> Iterator[Item]:
    for number, item in enumerate(items, 1):
        yield Item(number, item[1] or str(number), *item[2:])


def _of_file(path: str, kind: str, options: dict[str, Option]) -> Iterator[Item]:
    try:
        file = open(path, encoding="utf-8-sig", errors="replace", newline="")
    except OSError as error:
        raise UsageError(f"{path}: {error.strerror}") from None
    with file:
        yield from _of_lines(file, kind, path, options)


def _of_stream(stream: TextIO, format: str | None, options: dict[str, Option]) -> Iterator[Item]:
    first = list(itertools.islice(stream, _LOOK))
    if not any(line.strip() for line in first):
        raise UsageError("standard input is empty; it should hold a list of molecules")
    kind = format if format in _NAMES else _looks(first)
    return _of_lines(itertools.chain(first, stream), kind, "standard input", options)


def _looks(first: list[str]) -> str:
    """The kind of list that begins like this."""
    head = first[0].lstrip("\ufeff").strip().lower()
    if head.isdigit():
        return "xyz"
    if len(first) > 3 and ("V2000" in first[3] or "V3000" in first[3]):
        return "sdf"
    names = {word.strip('" ') for word in head.replace("\t", ",").replace(";", ",").split(",")}
    if names & {"smiles", "file"}:
        return "tsv" if "\t" in head else "csv"
    return "smi"


def _of_lines(lines: Iterable[str], kind: str, title: str, options: dict[str, Option]
              ) -> Iterator[Item]:
    if kind in ("csv", "tsv"):
        return _table(lines, kind, title, options)
    if kind in ("sdf", "mol"):
        return _sdf(lines, title)
    return _xyz(lines, title) if kind in ("xyz", "extxyz") else _smi(lines, title)


# ---- tables -------------------------------------------------------------------------------------


def _table(lines: Iterable[str], kind: str, title: str, options: dict[str, Option]
           ) -> Iterator[Item]:
    csv.field_size_limit(_MOST_OF_A_CELL)
    lines = iter(lines)
    head = next(lines, "").lstrip("\ufeff")
    mark = "\t" if kind == "tsv" else ";" if ";" in head and "," not in head else ","
    names: list[str] = next(csv.reader([head], delimiter=mark), [])
    columns = Columns(names, options, title)
    folder = os.path.dirname(title) if os.path.exists(title) else ""
    reader = csv.reader(lines, delimiter=mark)
    while True:
        try:
            row = next(reader, None)
        except csv.Error as error:
            yield wrong("", f"{title}, line {reader.line_num + 1}", str(error))
            continue
        if row is None:
            return
        if row:
            yield _row(columns, row, f"{title}, line {reader.line_num + 1}", folder)


def _row(columns: Columns, row: list[str], where: str, folder: str) -> Item:
    name = columns.name(row)
    try:
        given = columns.read(row)
    except UsageError as error:
        return wrong(name, where, error.typed)
    if given.smiles:
        return Item(0, name, "smiles", given.smiles, where, given.charge, given.multiplicity,
                    given.settings or None)
    item = _file_item(os.path.join(folder, given.file), 0, name, where)
    return item._replace(charge=given.charge, multiplicity=given.multiplicity,
                         settings=given.settings or None)


def wrong(name: str, where: str, reason: str) -> Item:
    """The item of what cannot be read."""
    return Item(0, name, "wrong", reason, where)


def _file_item(path: str, number: int, name: str, where: str) -> Item:
    """The molecule of a file, with its text, so that whoever computes it need not see the file."""
    if not os.path.isfile(path):
        return wrong(name, where, f"there is no file {path}")._replace(number=number)
    one = format_of(None, path)
    if one is None:
        return Item(number, name, "path", os.path.abspath(path), where)
    try:
        return Item(number, name, one.names[0], text_of(path), where)
    except MoleculeError as error:
        return wrong(name, where, error.typed)._replace(number=number)


# ---- structures ---------------------------------------------------------------------------------


def _smi(lines: Iterable[str], title: str) -> Iterator[Item]:
    """A SMILES string and a name in each line."""
    for number, line in enumerate(lines, 1):
        words = line.lstrip("\ufeff").split(None, 1)
        if words and not words[0].startswith("#"):
            name = words[1].strip() if len(words) > 1 else ""
            yield Item(0, name, "smiles", words[0], f"{title}, line {number}")


def _sdf(lines: Iterable[str], title: str) -> Iterator[Item]:
    """Records that end with $$$$, named by their first lines."""
    record: list[str] = []
    start = 1
    for number, line in enumerate(lines, 1):
        if not line.startswith("$$$$"):
            record.append(line.rstrip("\r\n"))
            continue
        yield _sdf_item(record, f"{title}, line {start}")
        record, start = [], number + 1
    if any(line.strip() for line in record):
        yield _sdf_item(record, f"{title}, line {start}")


def _sdf_item(record: list[str], where: str) -> Item:
    name = record[0].strip() if record else ""
    return Item(0, name, "mol", "\n".join(record) + "\n", where)


def _xyz(lines: Iterable[str], title: str) -> Iterator[Item]:
    """Frames of a count, a comment and as many atoms; after what is no frame the next line with a
    count alone begins one."""
    numbered = enumerate(lines, 1)
    lost = False
    for number, line in numbered:
        text = line.strip()
        if not text:
            continue
        where = f"{title}, line {number}"
        if not text.isdecimal() or not 0 < int(text) <= _MOST_ATOMS:
            if not lost:
                yield wrong("", where, f"'{text[:40]}' should be a number of atoms")
            lost = True
            continue
        lost = False
        frame = [below.rstrip("\r\n") for _, below in itertools.islice(numbered, int(text) + 1)]
        yield Item(0, "", "xyz", "\n".join([text, *frame]) + "\n", where)


def _folder(path: str) -> Iterator[Item]:
    """The files of a folder that are named as molecules are, by name."""
    endings = tuple(ending for one in FORMATS for ending in one.endings)
    names = sorted(name for name in os.listdir(path) if name.lower().endswith(endings))
    if not names:
        raise UsageError(f"{path}: no file in this folder is named as molecules are: "
                         f"{', '.join(endings)}")
    for name in names:
        yield _file_item(os.path.join(path, name), 0, name, os.path.join(path, name))


# ---- from Python --------------------------------------------------------------------------------


def items_of(molecules: Iterable[Any], options: dict[str, Option]) -> Iterator[Item]:
    """The same of molecules in Python: whatever `as_molecule` takes, pairs of a name and that, or
    rows by column as of a table."""
    return _numbered(_item_of(one, f"molecule {number}", options)
                     for number, one in enumerate(molecules, 1))


def _item_of(one: Any, where: str, options: dict[str, Option]) -> Item:
    from orbitrax.molecules.reading import as_molecule

    if isinstance(one, dict) and not ("geometry" in one and "symbols" in one):
        row = {name: value for name, value in one.items() if value is not None}
        columns = Columns([str(name) for name in row], options, where)
        return _row(columns, [str(value) for value in row.values()], where, "")
    name = ""
    if isinstance(one, tuple) and len(one) == 2 and isinstance(one[0], str):
        name, one = one
    if isinstance(one, str) and not os.path.exists(one) and format_of(None, one) is None:
        return Item(0, name, "smiles", one, where)
    try:
        return Item(0, name, "molecule", as_molecule(one), where)
    except MoleculeError as error:
        return wrong(name, where, error.typed)
