"""Declared settings: one list from which the command line, Python, tables and documents read.

    @declared
    class Cooking(Settings):
        minutes: float = option(3.0, unit="min", above=0, help="how long")

A class of settings holds values that do not change: `Cooking(minutes=4)`, `Cooking().replace(...)`.
`Cooking.options` says of each what it is; a value that it cannot have is refused with a
SettingError, whose reason is the same sentence whoever gave it.
"""

from __future__ import annotations

from orbitrax.errors import SettingError, UsageError

__all__ = ["LARGEST_FLOAT", "LARGEST_WORD", "Option", "Settings", "declared", "option", "unknown"]

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Callable, Iterable, Mapping
    from dataclasses import dataclass as declared
    from typing import Any, ClassVar, NoReturn, TypeVar

    Own = TypeVar("Own", bound="Settings")
else:

    def declared(kind):
        """Marks a class of settings, for type checkers; the class gathers its options by itself."""
        return kind


LARGEST_WORD = 2**31 - 1  # whole numbers that can be sent
LARGEST_FLOAT = 3.4028234663852886e38  # numbers that can be sent in single precision

_KINDS = ("bool", "int", "float", "str", "tuple", "Decimal")


class Option:
    """One setting. name: in Python; the command line has dashes for underscores.

    kind: "bool", "int", "float", "str" or "tuple", of whole numbers or of what `convert` makes, or
    "Decimal", which it has to make.
    default: what stands when nothing is said; optional: whether that may be None, which leaves it
    to the molecule, the method or the job. unit, help: for people. above, least, most, choices:
    what values there are. wire: the field of the options on the wire that it fills. group: the
    heading under which it is listed. short, metavar, exclusive, repeated: how it is typed, words:
    how many words behind it; typed: whether it is at all. convert: makes the value of what was
    given, and may refuse it.
    """

    name: str
    kind: str
    optional: bool

    def __init__(self, default: Any, *, help: str, unit: str | None = None,
                 above: float | None = None, least: float | None = None, most: float | None = None,
                 choices: tuple[str, ...] | None = None, wire: str | None = None,
                 group: str | None = None, short: str | None = None, metavar: str | None = None,
                 exclusive: str | None = None, repeated: bool = False, words: int | None = None,
                 typed: bool = True,
                 convert: Callable[[Any], Any] | None = None):
        self.default, self.help, self.unit = default, help, unit
        self.above, self.least, self.most, self.choices = above, least, most, choices
        self.wire, self.group, self.short, self.metavar = wire, group, short, metavar
        self.exclusive, self.repeated, self.typed = exclusive, repeated, typed
        self.words = words
        self.convert = convert

    @property
    def flag(self) -> str:
        """How it is typed."""
        return "--" + self.name.replace("_", "-")

    def named(self, name: str, annotation: object) -> None:
        """Takes name and kind from the declaration."""
        self.name = name
        text = annotation.__name__ if isinstance(annotation, type) else str(annotation)
        words = [word.strip() for word in text.split("|")]
        self.optional = "None" in words
        self.kind = words[0].partition("[")[0]
        if self.kind not in _KINDS:
            raise TypeError(f"{name}: a setting cannot be of the kind {text}")

    def written(self, value: Any) -> list[str]:
        """The words that say a value on a command line."""
        if self.kind == "bool":
            return [self.flag if value else "--no-" + self.flag[2:]]
        if self.repeated:
            return [word for one in value for word in (self.flag, getattr(one, "text", str(one)))]
        if self.kind == "Decimal":
            return [self.flag, f"{value:f}ps"]
        text = ",".join(map(str, value)) if isinstance(value, tuple) else str(value)
        return [self.flag, f"{value:g}" if isinstance(value, float) else text]

    # ---- values ---------------------------------------------------------------------------------

    def checked(self, value: Any) -> Any:
        """The value in its own type. Raises SettingError where it cannot be."""
        if value is None and self.optional:
            return None
        if self.convert is not None:
            return self.convert(value)
        if hasattr(value, "item") and not isinstance(value, str):
            value = value.item()  # a number of numpy
        found = getattr(self, f"_checked_{self.kind}")(value)
        if self.choices is not None and found not in self.choices:
            self._refuse(value, f"choose from {', '.join(map(str, self.choices))}")
        return found

    def _refuse(self, value: object, reason: str) -> NoReturn:
        raise SettingError(self.name, value, reason)

    def _checked_bool(self, value: Any) -> bool:
        if not isinstance(value, (bool, int)) or value not in (0, 1):
            self._refuse(value, "should be true or false")
        return bool(value)

    def _checked_str(self, value: Any) -> str:
        if not isinstance(value, str):
            self._refuse(value, "should be a text")
        return str(value)

    def _checked_tuple(self, value: Any) -> tuple[int, ...]:
        found = tuple(value)
        for item in found:
            if isinstance(item, bool) or not isinstance(item, int):
                self._refuse(value, "should be whole numbers")
        return found

    def _checked_int(self, value: Any) -> int:
        if isinstance(value, float) and value.is_integer():
            value = int(value)  # 2.0, from a table
        if isinstance(value, bool) or not isinstance(value, int):
            self._refuse(value, "should be a whole number")
        low = -LARGEST_WORD if self.least is None else int(self.least)
        high = LARGEST_WORD if self.most is None else int(self.most)
        if not low <= value <= high:
            if value < low and self.least is not None and self.most is None:
                self._refuse(value, f"should be {low} or above")
            self._refuse(value, f"choose from {low} to {high}{self._in_unit}")
        return int(value)

    def _checked_float(self, value: Any) -> float:
        if isinstance(value, bool) or not isinstance(value, (int, float)):
            self._refuse(value, "should be a number")
        if not abs(value) <= LARGEST_FLOAT:  # of a whole number that no float holds, too
            self._refuse(value, "is not a number that can be used")
        value = float(value)
        if self.above is not None and not value > self.above:
            self._refuse(value, f"should be above {self.above:g}")
        if self.least is not None and self.most is not None:
            if not self.least <= value <= self.most:
                self._refuse(value, f"choose from {self.least:g} to {self.most:g}{self._in_unit}")
        elif self.most is not None and value > self.most:
            self._refuse(value, f"should be at most {self.most:g}{self._in_unit}")
        elif self.least is not None and value < self.least:
            self._refuse(value, f"should be {self.least:g} or above")
        return value

    @property
    def _in_unit(self) -> str:
        return f" {self.unit}" if self.unit else ""


def option(default: Any, *, help: str, **about: Any) -> Any:
    """Declares one setting: its default and, by the names of `Option`, what else is to be said."""
    return Option(default, help=help, **about)


class Settings:
    """Base of all classes of settings. Their class attributes become the defaults."""

    options: ClassVar[Mapping[str, Option]] = {}

    def __init_subclass__(cls, **rest: Any) -> None:
        super().__init_subclass__(**rest)
        found = dict(cls.options)
        for name, annotation in cls.__dict__.get("__annotations__", {}).items():
            own = cls.__dict__.get(name)
            if isinstance(own, Option):
                own.named(name, annotation)
                found[name] = own
                setattr(cls, name, own.default)
        cls.options = found

    def __init__(self, **values: Any):
        options, given = self.options, self.__dict__
        for name, value in values.items():
            one = options.get(name)
            if one is None:
                raise UsageError(unknown(name, options, "setting"))
            given[name] = one.checked(value)
        self._check()

    def _check(self) -> None:
        """Refuses values that do not go together."""

    def replace(self: Own, **values: Any) -> Own:
        """These settings but for some values."""
        return type(self)(**{**self.__dict__, **values}) if values else self

    def to_dict(self) -> dict[str, Any]:
        """All settings by name, defaults too."""
        return {name: getattr(self, name) for name in self.options}

    def __setattr__(self, name: str, value: object) -> None:
        raise AttributeError(f"settings do not change; make others with replace({name}=...)")

    def __delattr__(self, name: str) -> None:
        raise AttributeError("settings do not change")

    def __repr__(self) -> str:
        given = ", ".join(f"{name}={self.__dict__[name]!r}" for name in self.options
                          if name in self.__dict__ and self.__dict__[name] != self.options[
                              name].default)
        return f"{type(self).__name__}({given})"

    def __eq__(self, other: object) -> bool:
        return (type(other) is type(self) and isinstance(other, Settings)
                and self.to_dict() == other.to_dict())

    def __hash__(self) -> int:
        return hash((type(self), tuple(self.to_dict().items())))


def unknown(name: str, known: Iterable[str], what: str) -> str:
    """The text about a name that does not exist, with the name that was probably meant."""
    import difflib

    names = list(known)
    near = difflib.get_close_matches(name, names, 1)
    if near:
        return f"there is no {what} '{name}'; did you mean '{near[0]}'?"
    return f"there is no {what} '{name}'; there are {', '.join(names)}"
