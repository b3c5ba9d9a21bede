"""Results files read again: as tables, as structures, as what came of a batch, and joined."""

from __future__ import annotations

import contextlib
import json
import os
import re
from array import array
from collections import Counter
from collections.abc import Callable, Iterator, Sequence
from typing import Any, BinaryIO

from orbitrax.bulk.index import Row, header, index_path, packed, read_rows
from orbitrax.errors import MoleculeError, OrbitraxError, UsageError
from orbitrax.files import check_target, claimed, replaced
from orbitrax.jsontext import from_json

_NUMBER = re.compile(r"-?\d+\.\d+")  # what two warnings of one kind differ in
_MOST_REASON = 160  # characters
# A quotation mark within a string has a backslash before it, so that this is a key and no text.
_PLACE = re.compile(rb'"input":\s*\{"number":\s*(\d+),')


# ---- reading ------------------------------------------------------------------------------------
# Records are written as they come, and each says its place in the list. For the order of the list
# places are read from the lines as they stand; some bytes are kept of each, and no record is held.


def records(path: str) -> Iterator[dict[str, Any]]:
    """The records of a results file, one after the other; a last line that was cut off is left
    out. Raises UsageError for another file."""
    with _opened(path) as file:
        for number, line in enumerate(file, 1):
            if not line.endswith(b"\n"):
                return
            yield _record(line, path, number)


def in_order(path: str) -> Iterator[dict[str, Any]]:
    """The records by their place in the list; as they stand in the file where one has none, two
    have the same, as after joining results of several lists, or the file cannot be read twice.
    Raises UsageError for another file."""
    with _opened(path) as file:
        found = _lines(file) if file.seekable() else None
        if found is None:
            yield from records(path)
            return
        starts, order = found
        for line in order:
            file.seek(starts[line])
            yield _record(file.readline(), path, line + 1)


def _opened(path: str) -> BinaryIO:
    try:
        return open(path, "rb")
    except OSError as error:
        raise UsageError(f"{path}: {error.strerror}") from None


def _record(line: bytes, path: str, number: int) -> dict[str, Any]:
    try:
        record: dict[str, Any] = from_json(line)
        known = isinstance(record["id"], str) and isinstance(record["run"], dict)
    except (ValueError, KeyError, TypeError):
        known = False
    if not known:
        raise UsageError(f"{path}, line {number}: is no record of a batch")
    return record


def _lines(file: BinaryIO) -> tuple[array[int], list[int]] | None:
    """Where each line starts, and the lines, from 0, by place; None for the order of the file."""
    places, starts = array("q"), array("q")
    start, rises = 0, True
    for line in file:
        if not line.endswith(b"\n"):
            break
        place = _place(line)
        if place is None:
            return None
        rises = rises and (not places or place > places[-1])
        places.append(place)
        starts.append(start)
        start += len(line)
    order = [] if rises else sorted(range(len(places)), key=places.__getitem__)
    if rises or any(places[one] == places[other] for one, other in zip(order, order[1:])):
        return None
    return starts, order


def _place(line: bytes) -> int | None:
    match = _PLACE.search(line)
    if match:
        return int(match.group(1))
    try:
        found = from_json(line)["input"]["number"]
    except (ValueError, KeyError, TypeError):
        return None
    return found if isinstance(found, int) and abs(found) < 1 << 62 else None


def reason_of(record: dict[str, Any]) -> str:
    """Why a record has no result, in one line; empty where it has one."""
    if record["status"] == "done":
        return ""
    text = (record.get("errors") or [""])[-1] or "no reason was given"
    return " ".join(text.split())[:_MOST_REASON]


# ---- what came of it ----------------------------------------------------------------------------


class Summary:
    """What came of a batch. count, statuses: of records; accidents: those worth another try;
    reasons: why not, by number; warnings: of those with a result, without their numbers; hosts;
    busy: seconds of computing; wall: from the first start to the last end, seconds; slowest: id and
    seconds."""

    def __init__(self, path: str):
        self.statuses: Counter[str] = Counter()
        self.reasons: Counter[str] = Counter()
        self.warnings: Counter[str] = Counter()
        self.hosts: Counter[str] = Counter()
        self.accidents, self.busy = 0, 0.0
        self.slowest: tuple[float, str] = (0.0, "")
        self._first, self._last = float("inf"), float("-inf")
        for record in records(path):
            self._take(record)

    def _take(self, record: dict[str, Any]) -> None:
        run = record["run"]
        self.statuses[record["status"]] += 1
        self.hosts[str(run.get("host"))] += 1
        self.accidents += bool(run.get("accident"))
        reason = reason_of(record)
        if reason:
            self.reasons[_general(reason, record)] += 1
        else:
            self.warnings.update({_NUMBER.sub("...", _general(text, record))
                                  for text in record.get("warnings") or ()})
        seconds, started = run.get("seconds"), run.get("started")
        if seconds is not None and started is not None:
            self.busy += seconds
            self.slowest = max(self.slowest, (seconds, record["id"]))
            self._first = min(self._first, started)
            self._last = max(self._last, started + seconds)

    @property
    def count(self) -> int:
        """Records."""
        return sum(self.statuses.values())

    @property
    def wall(self) -> float:
        """Seconds from the first start to the last end, pauses too."""
        return max(0.0, self._last - self._first)

    def to_dict(self) -> dict[str, Any]:
        """All of it, for JSON."""
        return {"records": self.count, "statuses": dict(self.statuses.most_common()),
                "accidents": self.accidents, "reasons": dict(self.reasons.most_common()),
                "warnings": dict(self.warnings.most_common()),
                "hosts": dict(self.hosts.most_common()), "busy_seconds": self.busy,
                "wall_seconds": self.wall, "slowest": {"id": self.slowest[1],
                                                       "seconds": self.slowest[0]}}


def _general(reason: str, record: dict[str, Any]) -> str:
    """A reason without what belongs to its molecule alone."""
    about = record.get("input") or {}
    for own, word in ((about.get("from"), ""), (about.get("smiles"), "...")):
        if own:
            reason = reason.replace(f"{own}: ", word).replace(own, word)
    return reason


# ---- tables -------------------------------------------------------------------------------------

COLUMNS = ("id", "status", "formula", "charge", "multiplicity", "heat_of_formation", "total_energy",
           "dipole", "homo", "lumo", "gap", "reason", "warnings")
_SHORT = {"gap": "gap_ev"}


def check_columns(names: Sequence[str], record: dict[str, Any]) -> None:
    """Refuses names that a record does not have."""
    from orbitrax.settings import unknown

    own = [*COLUMNS, "smiles", *record, *(f"{block}.{name}" for block, values in record.items()
                                          if isinstance(values, dict) for name in values)]
    for name in names:
        if name not in own:
            raise UsageError(unknown(name, own, "column"))


def cells(record: dict[str, Any], names: Sequence[str]) -> list[Any]:
    """The values of a record by column; None where there is none."""
    return [_cell(record, name) for name in names]


def _cell(record: dict[str, Any], name: str) -> Any:
    name = _SHORT.get(name, name)
    made = _MADE.get(name)
    if made is not None:
        return made(record)
    value: Any = record
    for part in name.split("."):
        value = value.get(part) if isinstance(value, dict) else None
    return json.dumps(value) if isinstance(value, (list, dict)) else value


def _formula(record: dict[str, Any]) -> str | None:
    from orbitrax.molecules.elements import formula_of

    return formula_of(record["symbols"]) if record.get("symbols") else None


def _dipole(record: dict[str, Any]) -> float | None:
    found: list[float] | None = record.get("dipole_debye")
    return found[3] if found else None


def _level(record: dict[str, Any], highest_filled: bool) -> float | None:
    from orbitrax.results.result import result_of

    if record.get("orbital_energies_ev") is None:
        return None
    levels = result_of(record).frontier()
    filled = [level for name, level in levels if not name.startswith("LUMO")]
    empty = [level for name, level in levels if name.startswith("LUMO")]
    if highest_filled:
        return max(filled, default=None)
    return min(empty, default=None)


_MADE: dict[str, Callable[[dict[str, Any]], Any]] = {
    "formula": _formula, "dipole": _dipole, "reason": lambda record: reason_of(record) or None,
    "homo": lambda record: _level(record, True), "lumo": lambda record: _level(record, False),
    "warnings": lambda record: "; ".join(record.get("warnings") or ()) or None,
    "smiles": lambda record: (record.get("input") or {}).get("smiles"),
}


# ---- structures ---------------------------------------------------------------------------------


def write_structures(results: str, path: str) -> tuple[int, list[str]]:
    """Writes the last structures of all that is done, as sdf or extended xyz by the name of the
    file, which appears whole; returns how many, and the ids of those for which no bonds fit."""
    count, without = 0, []
    with replaced(path) as name, open(name, "w", encoding="utf-8") as file:
        for record in in_order(results):
            if record["status"] == "done" and record.get("coordinates_angstrom"):
                try:
                    file.write(_structure(record, path.lower().endswith((".sdf", ".sd"))))
                    count += 1
                except MoleculeError:
                    without.append(record["id"])
    return count, without


def structures_said(count: int, without: Sequence[str], path: str) -> str:
    """What is to be said of them."""
    if not without:
        return f"{count} structures in {path}"
    return (f"{count} structures in {path}, without {len(without)} for which no bonds fit "
            f"({', '.join(without[:5])}, ...); .xyz takes all")


def _structure(record: dict[str, Any], sdf: bool) -> str:
    from orbitrax.molecules.elements import NUMBERS
    from orbitrax.molecules.molecule import Molecule
    from orbitrax.molecules.writing import mol_text, xyz_text

    molecule = Molecule([NUMBERS[symbol] for symbol in record["symbols"]],
                        record["coordinates_angstrom"], record["charge"], record["multiplicity"],
                        record.get("masses"), title=record["id"],
                        mol=_bonds(record) if sdf else None)
    about = {"id": record["id"], "energy": record["total_energy"],
             "heat_of_formation": record["heat_of_formation"], "unit": "kcal/mol",
             "method": record["method"]}
    if not sdf:
        return xyz_text(molecule, about)
    text = mol_text(molecule, about, sdf=True)
    name: str = record["id"].replace("\n", " ")
    return name + text[text.index("\n"):]


def _bonds(record: dict[str, Any]) -> bytes | None:
    """The bonds of one that came as SMILES, whose atoms stand in the same order each time."""
    smiles = (record.get("input") or {}).get("smiles")
    if not smiles:
        return None
    from orbitrax.molecules.by_rdkit import chem

    mol = chem().AddHs(chem().MolFromSmiles(smiles))
    same: bool = [atom.GetSymbol() for atom in mol.GetAtoms()] == record["symbols"]
    found: bytes | None = mol.ToBinary() if same else None
    return found


# ---- joining ------------------------------------------------------------------------------------


def merge(paths: Sequence[str], output: str) -> tuple[int, int]:
    """Joins results files into one with one record for each id, that of a result before that of an
    accident, and of two alike the later; returns how many records there are and how many were left
    out. Raises UsageError where two differ in what was computed, and where a batch is writing the
    output, whose further records nobody would see."""
    check_target(output)
    with _held(index_path(output)):
        return _merged(paths, output)


@contextlib.contextmanager
def _held(index: str) -> Iterator[None]:
    """Has an index that is there for itself, as a batch does."""
    with contextlib.ExitStack() as held:
        if os.path.exists(index):
            held.callback(os.close, claimed(index, os.O_RDWR))
        yield


def _merged(paths: Sequence[str], output: str) -> tuple[int, int]:
    best: dict[int, tuple[int, Row]] = {}
    total = 0
    for place, path in enumerate(paths):
        if not os.path.isfile(path):
            raise UsageError(f"{path}: there is no such file")
        for row in read_rows(path):
            total += 1
            known = best.get(row.name)
            if known is not None and not known[1].accident:
                if row.accident:
                    continue
                if row.key != known[1].key:
                    raise UsageError(f"{paths[known[0]]} and {path} have records of one id that "
                                     f"were computed otherwise: '{_id_at(path, row)}'")
            best[row.name] = (place, row)
    _write_merged(paths, sorted(best.values(), key=lambda one: (one[0], one[1].offset)), output)
    return len(best), total - len(best)


def _id_at(path: str, row: Row) -> str:
    with open(path, "rb") as file:
        file.seek(row.offset)
        return str(json.loads(file.read(row.length))["id"])


def _write_merged(paths: Sequence[str], chosen: list[tuple[int, Row]], output: str) -> None:
    rows, offset, at = [], 0, -1
    source = None
    try:
        with replaced(output) as name, open(name, "wb") as file:
            for place, row in chosen:
                if place != at:
                    if source is not None:
                        source.close()
                    source, at = open(paths[place], "rb"), place
                assert source is not None
                source.seek(row.offset)
                file.write(source.read(row.length))
                rows.append(row._replace(offset=offset))
                offset += row.length
    finally:
        if source is not None:
            source.close()
    try:
        with open(index_path(output), "wb") as index:
            index.write(header() + packed(rows))
    except OSError as error:
        raise OrbitraxError(f"{index_path(output)}: cannot be written: {error.strerror}") from None
