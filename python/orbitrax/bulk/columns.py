"""The columns of a table of molecules, and what their cells say."""

from __future__ import annotations

import difflib
from collections.abc import Sequence
from typing import Any, NamedTuple

from orbitrax.errors import MoleculeError, SettingError, UsageError
from orbitrax.settings import Option

_OWN = ("id", "smiles", "file", "charge", "multiplicity")
_ALIKE = 0.85  # of names, beyond which one is taken for a misspelt other
_WORDS = {"true": True, "yes": True, "1": True, "false": False, "no": False, "0": False}


class Row(NamedTuple):
    """What a row says; empty or None where it says nothing."""

    smiles: str
    file: str
    charge: int | None
    multiplicity: int | None
    settings: dict[str, Any]


class Columns:
    """The columns of a table by their names; those that mean nothing here are left alone.

    options: the settings that may be given. Raises UsageError for a table without molecules, and
    for a name that is nearly that of a setting.
    """

    def __init__(self, names: Sequence[str], options: dict[str, Option], title: str):
        plain = [name.strip().lower().replace("-", "_") for name in names]
        known = [*_OWN, *(name for name in options if name not in _OWN)]
        self._count = len(names)
        self._places = {name: i for i, name in enumerate(plain) if name in known}
        self._options = {name: options[name] for name in self._places if name not in _OWN}
        if len(self._places) != sum(name in known for name in plain):
            raise UsageError(f"{title}: a column stands there twice: {', '.join(names)}")
        if "smiles" not in self._places and "file" not in self._places:
            raise UsageError(f"{title}: its first line should name the columns, one of them smiles "
                             f"or file; it reads '{','.join(names)[:60]}'")
        for name in plain:
            near = difflib.get_close_matches(name, known, 1, _ALIKE) if name not in known else ()
            if near:
                raise UsageError(f"{title}: there is no column '{name}'; did you mean '{near[0]}'?")

    def _cell(self, row: list[str], name: str) -> str:
        place = self._places.get(name)
        return row[place].strip() if place is not None and place < len(row) else ""

    def name(self, row: list[str]) -> str:
        """The id in a row, empty where there is none."""
        return self._cell(row, "id")

    def read(self, row: list[str]) -> Row:
        """What a row says. Raises UsageError for what makes no sense."""
        if len(row) > self._count:
            raise MoleculeError(f"{len(row)} cells where there are {self._count} columns")
        smiles, file = self._cell(row, "smiles"), self._cell(row, "file")
        if bool(smiles) == bool(file):
            raise MoleculeError("both smiles and file are given" if smiles else
                                "neither smiles nor file is given")
        settings = {name: typed(one, cell) for name, one in self._options.items()
                    if (cell := self._cell(row, name))} if self._options else {}
        charge, multiplicity = self._cell(row, "charge"), self._cell(row, "multiplicity")
        return Row(smiles, file, _whole(charge, "charge") if charge else None,
                   _whole(multiplicity, "multiplicity") if multiplicity else None, settings)


def _whole(text: str, name: str) -> int | None:
    try:
        number = float(text) if text else None
        if number is None or number == round(number):
            return None if number is None else round(number)
    except (ValueError, OverflowError):
        pass
    raise SettingError(name, text, "should be a whole number")


def typed(one: Option, text: str) -> Any:
    """The value of a setting that a cell says. Raises SettingError for one that it cannot have."""
    value: Any = text
    if one.convert is not None:
        value = [part.strip() for part in text.split(";")] if one.repeated else text
    elif one.kind == "bool":
        value = _WORDS.get(text.lower(), text)
    elif one.kind in ("int", "float"):
        try:
            value = float(text)
        except ValueError:
            raise SettingError(one.name, text, "should be a number") from None
    return one.checked(value)
