"""The text of parameter tables, and the blocks that are made of it.

A file holds `#` comments, one line of column names, one row per element and, after the comment line
`# capping atoms`, rows of capping atoms with `*` before the symbol. Column order is the order on
the wire, so the names are checked one by one. Elements without a row are sent as zeros.
"""

from __future__ import annotations

import math
import os
import re
import struct

from orbitrax.errors import ParameterError
from orbitrax.molecules.elements import NUMBERS, SYMBOLS
from orbitrax.tables.columns import (CAPPING_OFFSET, HIGHEST_CAPPING, LONG_ROWS, PAIR, SECTIONS,
                                     SHORT_ROWS, SHORT_TABLES)
from orbitrax.tables.packed import Packed

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Sequence

    Key = tuple[int, bool]  # an element, and whether it is a capping atom
    Word = tuple[int, str]  # a column of a file, from 1, and what stands there

_WORD = re.compile(r"\S+")
_CAPPING_MARK = re.compile(r"#\s*capping atoms\s*$")


class Row:
    """One row of a file. key: of (element number, is a capping atom), one for an element, two for a
    pair; values: its numbers; line: where it stands."""

    __slots__ = ("key", "values", "line")

    def __init__(self, key: tuple[Key, ...], values: list[float], line: int):
        self.key, self.values, self.line = key, values, line


class Table:
    """One file. columns: the names of the numbers, without the key columns."""

    def __init__(self, path: str, columns: Sequence[str]):
        self.path, self.columns = path, columns
        self.rows: list[Row] = []


# ---- reading ------------------------------------------------------------------------------------


def read_table(path: str | os.PathLike[str], data: bytes, columns: Sequence[str],
               keys: int = 1) -> Table:
    """Reads the content of a file whose columns must be `columns`, after `keys` columns of element
    symbols. path: for messages."""
    path = os.fspath(path)
    try:
        text = data.decode("utf-8")
    except UnicodeDecodeError as error:
        before = error.object[:error.start]
        raise ParameterError(path, before.count(b"\n") + 1, len(before) - before.rfind(b"\n"),
                             "is not UTF-8 text") from None

    table, header, capping = Table(path, columns), False, False
    seen: dict[object, int] = {}
    for number, line in enumerate(text.split("\n"), 1):
        stripped = line.strip()
        if not stripped:
            continue
        if stripped.startswith("#"):
            if _CAPPING_MARK.match(stripped):
                capping = True
            continue
        words = [(m.start() + 1, m.group()) for m in _WORD.finditer(line)]
        if not header:
            _check_header(path, number, words, columns, keys)
            header = True
            continue
        row = _read_row(path, number, words, columns, keys, capping)
        same = frozenset(row.key) if keys > 1 else row.key
        if same in seen:
            raise ParameterError(path, number, words[0][0],
                                 f"repeats the row of line {seen[same]}")
        seen[same] = number
        table.rows.append(row)
    if not header:
        raise ParameterError(path, 1, 1, "has no line of column names")
    return table


def _check_header(path: str, number: int, words: list[Word], columns: Sequence[str],
                  keys: int) -> None:
    wanted = (["element"] if keys == 1 else ["element1", "element2"]) + list(columns)
    for (column, word), name in zip(words, wanted):
        if word != name:
            raise ParameterError(path, number, column, f"column '{word}' should be '{name}'")
    if len(words) < len(wanted):
        column = words[-1][0] + len(words[-1][1])
        raise ParameterError(path, number, column, f"column '{wanted[len(words)]}' is missing")
    if len(words) > len(wanted):
        column, word = words[len(wanted)]
        raise ParameterError(path, number, column, f"column '{word}' is not known")


def _read_row(path: str, number: int, words: list[Word], columns: Sequence[str], keys: int,
              capping: bool) -> Row:
    key = tuple(_read_symbol(path, number, *word) for word in words[:keys])
    if any(is_capping for _, is_capping in key) != capping:
        text = ("a row with '*' must stand after the line '# capping atoms'" if not capping else
                "a row after the line '# capping atoms' needs '*' before its symbol")
        raise ParameterError(path, number, words[0][0], text)
    if len(words) < keys + len(columns):
        column = words[-1][0] + len(words[-1][1])
        missing = columns[max(len(words) - keys, 0)]
        raise ParameterError(path, number, column, f"the value of '{missing}' is missing")
    if len(words) > keys + len(columns):
        column, word = words[keys + len(columns)]
        raise ParameterError(path, number, column, f"'{word}' stands beyond the last column")
    values = [_read_number(path, number, column, word, name)
              for (column, word), name in zip(words[keys:], columns)]
    return Row(key, values, number)


def _read_symbol(path: str, number: int, column: int, word: str) -> Key:
    is_capping = word.startswith("*")
    element = NUMBERS.get(word[1:] if is_capping else word, 0)
    if element == 0:
        raise ParameterError(path, number, column, f"'{word}' is not an element symbol")
    if is_capping and element > HIGHEST_CAPPING:
        raise ParameterError(path, number, column, f"there is no capping row for '{word}'")
    return element, is_capping


def _read_number(path: str, number: int, column: int, word: str, name: str) -> float:
    try:
        value = float(word)
    except ValueError:
        value = math.nan
    if "_" in word or not math.isfinite(value):
        raise ParameterError(path, number, column, f"'{word}' is not a number, for '{name}'")
    return value


# ---- building -----------------------------------------------------------------------------------


def pack(stem: str, texts: Sequence[tuple[str, bytes]]) -> Packed:
    """The blocks of the tables with this stem; texts: path and content of each file."""
    sections = SECTIONS[stem]
    tables = [read_table(path, data, columns) for (path, data), columns in zip(texts, sections)]
    _check_same_elements(tables)
    section = _short_section if stem in SHORT_TABLES else _long_section
    pairs = b""
    if stem == "mindo3":
        pairs = _pair_packet(read_table(*texts[-1], PAIR, keys=2))
    keys = [row.key[0] for row in tables[0].rows]
    return Packed(b"".join(map(section, tables)), pairs,
                  bytes(z for z, is_capping in keys if not is_capping),
                  bytes(z for z, is_capping in keys if is_capping))


def _check_same_elements(tables: list[Table]) -> None:
    first = tables[0]
    for other in tables[1:]:
        for one, two in ((first, other), (other, first)):
            present = {row.key for row in two.rows}
            for row in one.rows:
                if row.key not in present:
                    name = os.path.basename(two.path)
                    raise ParameterError(one.path, row.line, 1,
                                         f"{_label(row.key[0])} has no row in {name}")


def _label(key: Key) -> str:
    element, is_capping = key
    return ("*" if is_capping else "") + SYMBOLS[element]


def _short_section(table: Table) -> bytes:
    """54 rows of atoms, then 54 rows of capping atoms."""
    for row in table.rows:
        if row.key[0][0] > SHORT_ROWS:
            raise ParameterError(table.path, row.line, 1,
                                 f"'{_label(row.key[0])}' is beyond Xe, where this method ends")
    return _section(table, 2 * SHORT_ROWS, SHORT_ROWS)


def _long_section(table: Table) -> bytes:
    """210 rows: 105 elements as atoms, then as capping atoms."""
    return _section(table, LONG_ROWS, CAPPING_OFFSET)


def _section(table: Table, count: int, shift: int) -> bytes:
    """`count` rows, those of capping atoms `shift` behind the atoms; zeros where there is none."""
    width = len(table.columns)
    values = [0.0] * (count * width)
    for row in table.rows:
        element, is_capping = row.key[0]
        start = width * (element - 1 + (shift if is_capping else 0))
        values[start:start + width] = row.values
    return struct.pack(f"<{len(values)}d", *values)


def _pair_packet(table: Table) -> bytes:
    """Records of two element codes, negative for a capping atom, and two values."""
    codes = [[-element if is_capping else element for element, is_capping in row.key]
             for row in table.rows]
    return b"".join(struct.pack("<4d", *code, *row.values)
                    for code, row in zip(codes, table.rows))
