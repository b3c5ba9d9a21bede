"""The results file: a record a line, written whole, and what of a list is in it already."""

from __future__ import annotations

import fcntl
import os
import time
from collections.abc import Iterator

from orbitrax.bulk.index import (Row, Rows, header, index_path, key_hash, name_hash, packed,
                                 read_rows)
from orbitrax.bulk.items import Item
from orbitrax.bulk.one import Answer
from orbitrax.bulk.recipe import Recipe
from orbitrax.errors import OrbitraxError, UsageError
from orbitrax.files import check_target, refusals, replaced

_GROUP_SECONDS, _GROUP_RECORDS = 1.0, 2000  # what is not yet sure to be on the disk
_PIECE = 1 << 20


class Store:
    """The records of a batch in a file, which it has for itself.

    resume: whether records may be there already; those that ended by accident are taken out, to be
    made again. Raises UsageError for a file that is there and may not, or that another batch is
    writing, and for a device or a pipe, which cannot be read again.
    """

    def __init__(self, path: str, resume: bool = False):
        check_target(path)
        if os.path.exists(path) and not os.path.isfile(path):
            raise UsageError(f"{path}: no results can be written there: it is no ordinary file, "
                             "and the records of a batch are read again")
        self.path = path
        self._index = self._locked(index_path(path))
        try:
            if not resume and os.path.exists(path) and os.path.getsize(path):
                raise UsageError(f"{path}: there are results in it; add --resume to go on with "
                                 "them, or name another file")
            rows = read_rows(path) if os.path.exists(path) else Rows()
            if rows.accidents:
                rows = self._without_accidents(rows)
            with refusals(path):
                self._open(rows)
        except BaseException:
            os.close(self._index)
            raise
        self._met = rows.keys()  # None for a key that has been met
        self._counts: dict[str, int] = {}  # by id, the last number that one of its name has got
        if len(self._met) < len(rows):
            raise OrbitraxError(f"{path}: two records have one id; 'orbitrax merge {path} -o "
                                "OTHER' keeps one of each")
        self.known = len(rows)
        self._group: list[Row] = []
        self._time = time.monotonic()

    def _locked(self, path: str) -> int:
        try:
            handle = os.open(path, os.O_RDWR | os.O_CREAT | os.O_CLOEXEC, 0o666)
        except OSError as error:
            raise UsageError(f"{path}: cannot be written: {error.strerror}") from None
        try:
            fcntl.flock(handle, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            os.close(handle)
            raise UsageError(f"{self.path}: another batch is writing it") from None
        except OSError:
            pass  # a file system without locks
        return handle

    def _without_accidents(self, rows: Rows) -> Rows:
        """Takes out the records that are to be made again; the file is replaced as a whole."""
        kept, offset = [], 0
        with open(self.path, "rb") as old, replaced(self.path) as name, open(name, "wb") as new:
            for row in rows:
                if row.accident:
                    continue
                old.seek(row.offset)
                new.write(old.read(row.length))
                kept.append(row._replace(offset=offset))
                offset += row.length
            new.flush()
            os.fsync(new.fileno())
        return Rows(packed(kept))

    def _open(self, rows: Rows) -> None:
        """Opens the file behind its last whole line, and writes the index anew."""
        self._file = os.open(self.path, os.O_WRONLY | os.O_CREAT | os.O_CLOEXEC, 0o666)
        self._end = rows.end
        os.ftruncate(self._file, self._end)
        os.lseek(self._file, self._end, os.SEEK_SET)
        data = header() + rows.data
        self._write(self._index, data, 0)
        os.ftruncate(self._index, len(data))

    # ---- what is to be done ---------------------------------------------------------------------

    def missing(self, items: Iterator[Item], recipe: Recipe, shard: tuple[int, int] = (1, 1)
                ) -> Iterator[Item]:
        """The items without a record, each with its key and an id of its own: one that has been met
        is followed by # and a number. shard: of how many slices which one, from 1. Raises
        UsageError where a record was made of another molecule, or otherwise."""
        number, count = shard
        met = self._met
        for item in items:
            name = name_hash(item.id)
            if met.get(name, 0) is None:
                item = self._renamed(item)
                name = name_hash(item.id)
            key = met.get(name)
            met[name] = None
            if (item.number - number) % count:
                continue
            digest = recipe.key(item)
            if key is None:
                yield item._replace(key=digest)
            elif key != key_hash(digest):
                raise UsageError(f"{self.path}: its record of '{item.id}' ({item.where}) was made "
                                 "with another molecule, task, settings or version; name another "
                                 "results file")

    def _renamed(self, item: Item) -> Item:
        again = self._counts.get(item.id, 1) + 1
        while self._met.get(name_hash(f"{item.id}#{again}"), 0) is None:
            again += 1
        self._counts[item.id] = again
        return item._replace(id=f"{item.id}#{again}")

    # ---- what has been done ---------------------------------------------------------------------

    def add(self, answer: Answer) -> None:
        """Writes a record. Raises OrbitraxError where the disk takes no more; all records before it
        are whole."""
        self._write(self._file, answer.line, self._end)
        self._group.append(Row(name_hash(answer.id), key_hash(answer.key), self._end,
                               len(answer.line), int(answer.accident)))
        self._end += len(answer.line)
        if len(self._group) >= _GROUP_RECORDS:
            self.flush()

    def flush_in_time(self) -> None:
        """Flushes what has waited for a second."""
        if time.monotonic() - self._time > _GROUP_SECONDS:
            self.flush()

    def flush(self) -> None:
        """Sees what has been written onto the disk, then into the index."""
        self._time = time.monotonic()
        if not self._group:
            return
        try:
            os.fsync(self._file)
        except OSError as error:
            raise self._full(error) from None
        group, self._group = self._group, []
        end = os.lseek(self._index, 0, os.SEEK_END)
        self._write(self._index, packed(group), end)

    def close(self) -> None:
        """Writes what is left and lets the file go."""
        try:
            self.flush()
        finally:
            os.close(self._file)
            os.close(self._index)

    def _write(self, handle: int, data: bytes, place: int) -> None:
        """All of it at its place, or nothing."""
        view, at = memoryview(data), place
        try:
            while view:
                count = os.pwrite(handle, view[:_PIECE * 64], at)
                view, at = view[count:], at + count
        except OSError as error:
            os.ftruncate(handle, place)
            raise self._full(error) from None

    def _full(self, error: OSError) -> OrbitraxError:
        return OrbitraxError(f"{self.path}: cannot be written: {error.strerror}; the records in it "
                             "are whole: make room, then go on with --resume")
