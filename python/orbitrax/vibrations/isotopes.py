"""Isotopes: how they are named, and what they weigh."""

from __future__ import annotations

from orbitrax.errors import SettingError, UsageError
from orbitrax.molecules.elements import NUMBERS, SYMBOLS
from orbitrax.molecules.isotope_masses import ISOTOPES, NAMES

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Sequence
    from typing import Any

_HEAVIEST = 1000.0  # amu


class Isotopes:
    """Other masses for some atoms, as in "3=D", "2,4-6=13C", "H=D" or "1=17.999 3=D". text: as it
    was given; changes: in order, the atoms (numbers from 1, or the symbol of an element) and the
    isotope (its name, None for a plain mass) and its mass, amu."""

    __slots__ = ("text", "changes")

    def __init__(self, text: str):
        self.text = " ".join(text.split())
        self.changes = [_change(word, self.text) for word in self.text.split()]
        if not self.changes:
            raise SettingError("isotope", text, "say which atoms are which isotope, as in 3=D")

    def __repr__(self) -> str:
        return f"Isotopes({self.text!r})"

    def __eq__(self, other: object) -> bool:
        return isinstance(other, Isotopes) and other.text == self.text

    def __hash__(self) -> int:
        return hash(self.text)

    def applied(self, numbers: Sequence[int], masses: Sequence[float]) -> list[float]:
        """The masses of a molecule with these atomic numbers. Raises SettingError for an atom that
        is not there, or is of another element."""
        found = list(masses)
        for atoms, name, mass in self.changes:
            for i in self._places(atoms, numbers):
                symbol = SYMBOLS[numbers[i]]
                if name is not None and name.lstrip("0123456789") != symbol:
                    raise SettingError("isotope", self.text, f"atom {i + 1} is {symbol}")
                found[i] = mass
        return found

    def _places(self, atoms: str | tuple[int, ...], numbers: Sequence[int]) -> list[int]:
        if isinstance(atoms, str):
            found = [i for i, number in enumerate(numbers) if SYMBOLS[number] == atoms]
            if not found:
                raise SettingError("isotope", self.text, f"there is no {atoms} in the molecule")
            return found
        for number in atoms:
            if not 1 <= number <= len(numbers):
                raise SettingError("isotope", self.text,
                                   f"there is no atom {number}; there are {len(numbers)}")
        return [number - 1 for number in atoms]


def parse_isotopes(given: Any) -> tuple[Isotopes, ...]:
    """Isotopes from one text, or from several, each of which makes an isotopologue."""
    if isinstance(given, (str, Isotopes)):
        given = (given,)
    return tuple(one if isinstance(one, Isotopes) else Isotopes(one) for one in given)


def _change(word: str, text: str) -> tuple[str | tuple[int, ...], str | None, float]:
    place, equals, name = word.partition("=")
    if not equals or not place or not name:
        raise SettingError("isotope", text, f"'{word}' is not like 3=D, 2,4-6=13C or H=D")
    if place in NUMBERS:
        atoms: str | tuple[int, ...] = place
    else:
        from orbitrax.molecules.selection import parse_selection

        try:
            atoms = parse_selection(place)
        except UsageError:
            raise SettingError("isotope", text, f"'{place}' is neither atoms like 2,4-6 nor an "
                               "element") from None
    isotope = NAMES.get(name, name)
    if isotope in ISOTOPES:
        return atoms, isotope, ISOTOPES[isotope]
    try:
        mass = float(name)
    except ValueError:
        raise SettingError("isotope", text, f"'{name}' is no isotope that is known; give its mass, "
                           "as in 3=2.014") from None
    if not 0.0 < mass < _HEAVIEST:
        raise SettingError("isotope", text, f"{name} is no mass of an atom")
    return atoms, None, mass
