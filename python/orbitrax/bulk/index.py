"""The index of a results file: who has a record there, without reading the records.

It lies beside the results as NAME.index. Each row tells of one line of the results, in their order;
what it does not tell of is read from the results themselves, so that it may be lost, or behind.
"""

from __future__ import annotations

import os
import struct
from collections.abc import Iterable, Iterator
from hashlib import blake2b
from typing import NamedTuple

from orbitrax.errors import OrbitraxError
from orbitrax.jsontext import from_json

_MAGIC = b"orbitrax-index-1"
_ROW = struct.Struct("<QQQII")  # id, key, offset, length, accident
_SAMPLES = 16  # rows that are held against the results
_PIECE = 1 << 20
_MOST_OF_A_LINE = 1 << 31


class Row(NamedTuple):
    """One record. name, key: hashes of its id and of its key. offset, length: its line in the
    results, bytes. accident: 1 where it is worth another try."""

    name: int
    key: int
    offset: int
    length: int
    accident: int


def name_hash(name: str) -> int:
    """An id as a number of 64 bits."""
    data = name.encode("utf-8", "surrogatepass")
    return int.from_bytes(blake2b(data, digest_size=8).digest(), "little")


def key_hash(key: bytes) -> int:
    """A key as a number of 64 bits."""
    return int.from_bytes(key[:8], "little")


def index_path(results: str) -> str:
    """Where the index of a results file lies."""
    return results + ".index"


class Rows:
    """Rows as they lie in an index, 32 bytes each, so that a million of them are no burden."""

    def __init__(self, data: bytes = b""):
        self.data = data

    def __len__(self) -> int:
        return len(self.data) // _ROW.size

    def __getitem__(self, place: int) -> Row:
        if not -len(self) <= place < len(self):
            raise IndexError(place)
        return Row._make(_ROW.unpack_from(self.data, place % len(self) * _ROW.size))

    def __iter__(self) -> Iterator[Row]:
        return map(Row._make, _ROW.iter_unpack(self.data))

    def keys(self) -> dict[int, int | None]:
        """The hash of the key for that of each id."""
        return {name: key for name, key, _, _, _ in _ROW.iter_unpack(self.data)}

    @property
    def accidents(self) -> int:
        """Rows that are worth another try."""
        return sum(row[4] for row in _ROW.iter_unpack(self.data))

    @property
    def end(self) -> int:
        """Where the last line ends."""
        return self[-1].offset + self[-1].length if self.data else 0


def packed(rows: Iterable[Row]) -> bytes:
    """Rows as bytes."""
    return b"".join(_ROW.pack(*row) for row in rows)


def header() -> bytes:
    """What an index begins with."""
    return _MAGIC


def read_rows(results: str) -> Rows:
    """A row for each line of the results, from the index as far as it is right, else from the
    lines. Raises OrbitraxError for results that are no records."""
    with open(results, "rb") as file:
        rows = _believed(_stored(index_path(results)), file)
        return Rows(rows.data + packed(lines_of(file, rows.end, results)))


def _stored(path: str) -> Rows:
    try:
        with open(path, "rb") as file:
            data = file.read()
    except OSError:
        return Rows()
    if not data.startswith(_MAGIC):
        return Rows()
    body = data[len(_MAGIC):]
    return Rows(body[:len(body) - len(body) % _ROW.size])


def _believed(rows: Rows, file: object) -> Rows:
    """The rows, if they fit the results: one after the other, up to a whole line, and some of them
    with the very id and key that stand there."""
    chosen = {len(rows) * i // _SAMPLES for i in range(_SAMPLES)} | {len(rows) - 1}
    size = os.fstat(file.fileno()).st_size  # type: ignore[attr-defined]
    for i in sorted(chosen) if len(rows) else ():
        row = rows[i]
        if row.length > _MOST_OF_A_LINE or row.offset + row.length > size:
            return Rows()
        if (i and row.offset != rows[i - 1].offset + rows[i - 1].length) or (not i and row.offset):
            return Rows()
        file.seek(row.offset)  # type: ignore[attr-defined]
        line = file.read(row.length)  # type: ignore[attr-defined]
        try:
            if not line.endswith(b"\n") or _row_of(line, row.offset)[:2] != row[:2]:
                return Rows()
        except (ValueError, KeyError, TypeError):
            return Rows()
    return rows


def lines_of(file: object, start: int, title: str) -> Iterator[Row]:
    """A row for each whole line from `start` on; a last line without an end was being written when
    its writer died, and is left out."""
    file.seek(start)  # type: ignore[attr-defined]
    offset = start
    for number, line in enumerate(file, 1):  # type: ignore[arg-type,var-annotated]
        if not line.endswith(b"\n"):
            return
        try:
            yield _row_of(line, offset)
        except (ValueError, KeyError, TypeError):
            place = f"line {number}" if not start else f"byte {offset}"
            raise OrbitraxError(f"{title}, {place}: is no record of a batch") from None
        offset += len(line)


def _row_of(line: bytes, offset: int) -> Row:
    record = from_json(line)
    key = bytes.fromhex(record["key"])
    return Row(name_hash(record["id"]), key_hash(key), offset, len(line),
               int(bool(record["run"]["accident"])))
