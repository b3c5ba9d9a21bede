"""Isotopes: how they are named, and what they weigh."""

from __future__ import annotations

from orbitrax.errors import SettingError, UsageError
from orbitrax.molecules.elements import NUMBERS, SYMBOLS

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Sequence
    from typing import Any

# Atomic masses, amu, rounded to a millionth (AME 2016, Chinese Phys. C 41, 030003).
_MASSES = {
    "1H": 1.007825, "2H": 2.014102, "3H": 3.016049, "6Li": 6.015123, "7Li": 7.016003,
    "10B": 10.012937, "11B": 11.009305, "12C": 12.0, "13C": 13.003355, "14C": 14.003242,
    "14N": 14.003074, "15N": 15.000109, "16O": 15.994915, "17O": 16.999132, "18O": 17.999160,
    "19F": 18.998403, "28Si": 27.976927, "29Si": 28.976495, "30Si": 29.973770, "31P": 30.973762,
    "32S": 31.972071, "33S": 32.971459, "34S": 33.967867, "35Cl": 34.968853, "37Cl": 36.965903,
    "54Fe": 53.939608, "56Fe": 55.934936, "57Fe": 56.935392, "63Cu": 62.929597, "65Cu": 64.927790,
    "64Zn": 63.929142, "66Zn": 65.926034, "68Zn": 67.924844, "79Br": 78.918338, "81Br": 80.916290,
    "127I": 126.904473,
}
_NAMES = {"D": "2H", "T": "3H"}
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
    isotope = _NAMES.get(name, name)
    if isotope in _MASSES:
        return atoms, isotope, _MASSES[isotope]
    try:
        mass = float(name)
    except ValueError:
        raise SettingError("isotope", text, f"'{name}' is no isotope that is known; give its mass, "
                           "as in 3=2.014") from None
    if not 0.0 < mass < _HEAVIEST:
        raise SettingError("isotope", text, f"{name} is no mass of an atom")
    return atoms, None, mass
