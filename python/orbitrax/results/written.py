"""The document of a result as JSON text, for those who write many: an array takes one format, and
numbers have as many digits as are good, not all that tell two apart.
"""

from __future__ import annotations

import json
from array import array
from json import encoder

from orbitrax.arrays import finite
from orbitrax.results.document import ROWS

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Callable
    from typing import Any

# Significant digits: an SCF ends within 1e-6 kcal/mol of energies that reach 1e5, what follows from
# its density is good to fewer, and single precision has seven.
_OF_ENERGIES = "%.12g"
_OF_ARRAYS = {"d": "%.10g", "f": "%.8g"}
_FEW_VALUES = 4  # numbers for each value that is found in a row, from which on it is written once

_HEADS = {row.key: f'"{row.key}": ' for row in ROWS}
_COLUMNS = {row.key: row.shape[1] for row in ROWS
            if len(row.shape) == 2 and isinstance(row.shape[1], int)}
_TEXTS = frozenset((str,))

quoted: Callable[[str], str] = encoder.encode_basestring_ascii  # type: ignore[attr-defined]
_json = json.JSONEncoder(allow_nan=False).encode

_formats: dict[tuple[str, int, int], str] = {}  # of arrays, by type, columns and length
_MOST_FORMATS = 256


def document_text(document: dict[str, Any]) -> str:
    """The members of a document as JSON, without the braces: the same keys and values as `json`
    would write, but for the digits of single numbers and of arrays. Raises ValueError for a number
    that is not finite."""
    parts = []
    for key, value in document.items():
        head = _HEADS.get(key) or f"{quoted(key)}: "
        write = _WRITERS.get(type(value))
        parts.append(head + (_other(key, value) if write is None else write(value)))
    return ", ".join(parts)


def _other(key: str, value: Any) -> str:
    if isinstance(value, array):
        return array_text(value, _COLUMNS.get(key, 0))
    if hasattr(value, "tolist"):  # numpy's, flat
        return array_text(array("d", value.tolist()), _COLUMNS.get(key, 0))
    return _json(value)


def array_text(values: array[Any], columns: int = 0) -> str:
    """Flat numbers as JSON, in rows where there are columns. Raises ValueError for a number that is
    not finite."""
    if not finite(values):
        raise ValueError("a number that is not finite cannot be written")
    kind, count = values.typecode, len(values)
    if not columns and count >= _FEW_VALUES * len(known := set(values)):
        texts = {value: _number(_OF_ARRAYS[kind], value) for value in known}
        return f"[{', '.join(map(texts.__getitem__, values))}]"
    form = _formats.get((kind, columns, count)) or _form(kind, columns, count)
    text = form % tuple(values)
    if text.count(".") == count:
        return text
    whole = tuple([_number(_OF_ARRAYS[kind], value) for value in values])  # some look like integers
    return _joined(["%s"] * count, columns) % whole


def _form(kind: str, columns: int, count: int) -> str:
    if len(_formats) >= _MOST_FORMATS:
        _formats.clear()
    form = _formats[kind, columns, count] = _joined([_OF_ARRAYS[kind]] * count, columns)
    return form


def _joined(parts: list[str], columns: int) -> str:
    if columns:
        parts = [f"[{', '.join(parts[i:i + columns])}]" for i in range(0, len(parts), columns)]
    return f"[{', '.join(parts)}]"


def _number(form: str, value: float) -> str:
    """A number that is read as one with a fraction, even where that is 0."""
    text = form % value
    return text if "." in text or "e" in text else text + ".0"


def _float(value: float) -> str:
    text = _OF_ENERGIES % value
    if "." in text:
        return text
    if value - value != 0:
        raise ValueError("a number that is not finite cannot be written")
    return text if "e" in text else text + ".0"


def _list(values: list[Any]) -> str:
    """Most are of texts."""
    try:
        return f"[{', '.join(map(quoted, values))}]"
    except TypeError:
        return _json(values)


def _dict(values: dict[Any, Any]) -> str:
    if _TEXTS.issuperset(map(type, values)):
        return f"{{{document_text(values)}}}"
    return _json(values)


_WRITERS: dict[type, Callable[[Any], str]] = {
    type(None): lambda value: "null", bool: lambda value: "true" if value else "false", int: str,
    float: _float, str: quoted, list: _list, dict: _dict}
