"""The history of runs, in one file in the user's own folder."""

from __future__ import annotations

import json
import os
import sqlite3
import zlib

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any

_TABLE = """create table if not exists runs (
    id text primary key, created real not null, task text not null, method text not null,
    title text not null, formula text not null, status text not null, energy real,
    whole blob not null)"""
_SHOWN = ("id", "created", "task", "method", "title", "formula", "status", "energy")
MOST_RUNS = 500  # that are kept


def usual_place() -> str:
    """Where the history lies unless another place is named."""
    home = os.environ.get("XDG_DATA_HOME") or os.path.join(os.path.expanduser("~"), ".local",
                                                           "share")
    return os.path.join(home, "orbitrax", "page.sqlite")


class Store:
    """Runs that have ended, the newest MOST_RUNS of them. path: the file, None for one in memory.
    Only the user may read it."""

    def __init__(self, path: str | None):
        if path is not None:
            os.makedirs(os.path.dirname(path) or ".", mode=0o700, exist_ok=True)
            os.close(os.open(path, os.O_CREAT | os.O_RDWR, 0o600))
        self._db = sqlite3.connect(path or ":memory:", timeout=10, check_same_thread=False)
        with self._db:
            self._db.execute(_TABLE)

    def keep(self, about: dict[str, Any], whole: dict[str, Any]) -> None:
        """Adds a run: what a list shows of it, and all of it."""
        packed = zlib.compress(json.dumps(whole).encode(), 1)
        marks = ", ".join("?" * (len(_SHOWN) + 1))
        with self._db:
            self._db.execute(f"insert or replace into runs values ({marks})",
                             (*(about[name] for name in _SHOWN), packed))
            self._db.execute("delete from runs where id not in "
                             "(select id from runs order by created desc limit ?)", (MOST_RUNS,))

    def all(self) -> list[dict[str, Any]]:
        """What a list shows, the newest first."""
        rows = self._db.execute(f"select {', '.join(_SHOWN)} from runs order by created desc")
        return [dict(zip(_SHOWN, row)) for row in rows]

    def whole(self, name: str) -> dict[str, Any] | None:
        """All of a run, or None."""
        row = self._db.execute("select whole from runs where id = ?", (name,)).fetchone()
        if row is None:
            return None
        found: dict[str, Any] = json.loads(zlib.decompress(row[0]))
        return found

    def forget(self, name: str) -> None:
        """Removes a run."""
        with self._db:
            self._db.execute("delete from runs where id = ?", (name,))

    def close(self) -> None:
        """Ends the use of the file."""
        self._db.close()
