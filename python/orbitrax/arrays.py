"""Numbers in a row that are plain until somebody wants them from numpy.

What comes over the link is kept as `array.array`, flat. A user of Python sees numpy arrays, made at
the first look; a command that only prints never loads numpy.
"""

from __future__ import annotations

import sys
from array import array

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Iterable, Sequence
    from typing import Any, overload

    import numpy as np

    Array = np.ndarray[Any, Any]

# Digits of a number in single precision: six are always kept, nine tell any two apart. Numbers
# below the smallest normal one have fewer.
_FEWER_DIGITS = range(1, 10)
_SMALLEST_NORMAL = 2.0**-126
_SIX_DIGITS = 999999.5
_FLOATS = frozenset((float,))
_INTO_THE_ROOM = 1 + 2.0**-24.5  # less than half of the last bit


def unpacked(kind: str, data: bytes | bytearray | memoryview) -> array[Any]:
    """The numbers in bytes of the wire. kind: "i", "f" or "d"."""
    found = array(kind)
    found.frombytes(data)
    if sys.byteorder == "big":
        found.byteswap()
    return found


def flat(values: Any) -> array[Any]:
    """Numbers in one row, in double precision: of a flat array, of rows, or of a numpy array.
    Raises TypeError for what is no number."""
    if isinstance(values, array):
        row: array[Any] = values
        return row if row.typecode == "d" else array("d", row)
    if type(values) in (list, tuple) and _FLOATS.issuperset(map(type, values)):
        return array("d", values)
    if hasattr(values, "ravel"):
        return array("d", values.ravel().tolist())
    found: array[Any] = array("d")
    for value in values:
        if isinstance(value, (int, float)):
            found.append(value)
        elif isinstance(value, str):  # which is made of strings without an end
            raise TypeError(f"'{value[:40]}' is not a number")
        else:
            found.extend(flat(value))
    return found


def rows(values: Sequence[float], columns: int) -> list[list[float]]:
    """Flat numbers as rows."""
    plain = list(values)
    return [plain[i:i + columns] for i in range(0, len(plain), columns)]


def as_numpy(values: Iterable[float], columns: int = 0) -> Array:
    """A copy as a numpy array in double precision, n x columns where there are columns."""
    import numpy

    found = numpy.array(values, dtype=float)
    return found.reshape(-1, columns) if columns else found


def finite(values: Iterable[float]) -> bool:
    """Whether all numbers are finite. Infinity and NaN stay in a sum; should a sum of finite
    numbers overflow, each is looked at."""
    total = sum(values)
    return total - total == 0 or all(value - value == 0 for value in values)


def shortest(value: float) -> float:
    """A number of single precision as the shortest decimal that means it, so that 0.1 stays 0.1."""
    if -_SIX_DIGITS < value < _SIX_DIGITS and value.is_integer():  # occupations are, for the most
        return value
    single = array("f", (value,))[0]
    if abs(single) < _SMALLEST_NORMAL:
        return next((text for digits in _FEWER_DIGITS if array("f", (
            text := float(f"{single:.{digits}g}"),))[0] == single), single)
    seven = float(f"{single:.7g}")  # seven or eight is what most need
    if array("f", (seven,))[0] == single:
        six = float(f"{single:.6g}")
        return six if array("f", (six,))[0] == single else seven
    eight = float(f"{single:.8g}")
    if array("f", (eight,))[0] == single:
        return eight
    if single - single != 0:
        return single
    # Above a power of two there is twice the room, for a decimal that is not the nearest.
    above = float(f"{single * _INTO_THE_ROOM:.8g}")
    return above if array("f", (above,))[0] == single else float(f"{single:.9g}")


class ArrayField:
    """An attribute that holds flat numbers, or None, and shows a numpy array, n x columns where
    there are columns. Numbers of single precision are shown by their shortest decimals."""

    def __init__(self, columns: int = 0):
        self.columns = columns

    def __set_name__(self, owner: type, name: str) -> None:
        self._name = name

    if TYPE_CHECKING:

        @overload
        def __get__(self, instance: None, owner: type) -> ArrayField: ...

        @overload
        def __get__(self, instance: object, owner: type) -> Array | None: ...

    def __get__(self, instance: object | None, owner: type) -> Any:
        if instance is None:
            return self
        values: Any = instance.__dict__.get(self._name)
        if isinstance(values, array):
            values = as_numpy(plain(values), self.columns)
            instance.__dict__[self._name] = values
        return values

    def __set__(self, instance: object, values: Any) -> None:
        if type(values) is not array and values is not None and not hasattr(values, "ravel"):
            values = flat(values)
        instance.__dict__[self._name] = values

    def raw(self, instance: object) -> Any:
        """The numbers in one row as they are kept, those of single precision as they came; None
        where there are none."""
        values: Any = instance.__dict__.get(self._name)
        return values if values is None or isinstance(values, array) else values.ravel()

    def plain(self, instance: object) -> list[float] | None:
        """The numbers in one row, without numpy if they have not been looked at."""
        values: Any = instance.__dict__.get(self._name)
        if values is None:
            return None
        if not isinstance(values, array):
            return list(values.ravel().tolist())
        if values.typecode == "f":  # once, as it is asked for several times
            values = instance.__dict__[self._name] = array("d", plain(values))
        found: list[float] = values.tolist()
        return found


class GivenArray(ArrayField):
    """The same of an attribute that is never None."""

    if TYPE_CHECKING:

        @overload
        def __get__(self, instance: None, owner: type) -> GivenArray: ...

        @overload
        def __get__(self, instance: object, owner: type) -> Array: ...

        def __get__(self, instance: object | None, owner: type) -> Any: ...


def plain(values: array[Any]) -> list[float]:
    """The numbers of an array, those of single precision by their shortest decimals."""
    if values.typecode == "f":
        return [shortest(value) for value in values]
    return values.tolist()
