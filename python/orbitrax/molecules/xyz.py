"""The reader of xyz and extended xyz: atoms by line, charge and multiplicity from the second line.

It is our own because every command begins with it: it loads nothing, and its errors have line
numbers.
"""

from __future__ import annotations

from orbitrax.errors import MoleculeError
from orbitrax.molecules.comment import as_number, is_number, tell, whole
from orbitrax.molecules.elements import MASSES, NUMBERS, SYMBOLS
from orbitrax.molecules.frames import pick
from orbitrax.molecules.molecule import Molecule, state_of_atoms

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Sequence

    from orbitrax.molecules.comment import Told

_MOST_ATOMS = 1 << 24
_MOST_DIGITS = 40  # with leading zeros
_WORDS = 4  # of a usual line

# Hydrogen by its other names: number of the element and mass, atomic mass units.
_ISOTOPES = {"D": (1, 2.01410177812), "T": (1, 3.0160492779)}
_DUMMIES = ("X", "Xx", "Du", "Q")


def read_xyz(text: str, title: str, frame: int | None = None) -> Molecule:
    """The molecule of an xyz or extended xyz text, or of a bare list of atoms. frame: which, from 0
    or, if negative, from the end; None for the last one, with a remark where there are several."""
    lines = text.lstrip("\ufeff").replace("\r\n", "\n").replace("\r", "\n").split("\n")
    if _is_bare_list(lines):
        atoms = [line for line in lines if line.strip()]
        return _Frame(atoms, 0, len(atoms), title, head=0).molecule()
    frames = _frames(lines, title)
    (start, count), remarks = pick(frames, frame, title)
    return _Frame(lines, start, count, title).molecule(remarks)


def looks_like_xyz(text: str) -> bool:
    """Whether a text begins as an xyz file does, or is a bare list of atoms."""
    lines = text.lstrip("\ufeff").split("\n", 50)
    return lines[0].strip().isdecimal() or _is_bare_list(lines[:50])


def _is_bare_list(lines: Sequence[str]) -> bool:
    if lines and lines[0].strip().isdecimal():
        return False
    words = [line.split() for line in lines if line.strip()]
    return bool(words) and all(
        len(row) == 4 and not is_number(row[0]) and all(map(is_number, row[1:])) for row in words)


def _frames(lines: Sequence[str], title: str) -> list[tuple[int, int]]:
    """Index of the first line, and number of atoms, of each frame. What stands behind an empty line
    is a frame where it can be one, and is left alone otherwise."""
    found: list[tuple[int, int]] = []
    place = 0
    while place < len(lines) and (lines[place].strip() or not found):
        word = lines[place].strip()
        if not word.isdecimal():
            what = f"'{word[:40]}'" if word else "nothing"
            raise MoleculeError(f"{title}, line {place + 1}: the number of atoms should stand "
                                f"here, not {what}")
        count = int(word) if len(word) <= _MOST_DIGITS else _MOST_ATOMS + 1
        if count > _MOST_ATOMS:
            raise MoleculeError(f"{title}, line {place + 1}: no molecule has {word[:40]} atoms")
        found.append((place, count))
        place = _next_frame(lines, place + 2 + count)
    return found


def _next_frame(lines: Sequence[str], place: int) -> int:
    """Where the next frame begins: here, or behind empty lines a number with so many atoms."""
    below = next((i for i in range(place, len(lines)) if lines[i].strip()), place)
    word = lines[below].strip() if below < len(lines) else ""
    if below == place or not word.isdecimal() or len(word) > _MOST_DIGITS:
        return place
    atoms = [line.split() for line in lines[below + 2:below + 2 + int(word)]]
    whole_frame = len(atoms) == int(word) and all(len(words) >= _WORDS for words in atoms)
    return below if whole_frame and atoms else place


class _Frame:
    """One frame: `count` atoms behind `head` lines, the last of which tells of the molecule."""

    def __init__(self, lines: Sequence[str], start: int, count: int, title: str, head: int = 2):
        self._lines, self._first, self._count = lines, start + head, count
        self._title = title
        self._told = tell(lines[start + 1] if head and start + 1 < len(lines) else "", title)
        self._remarks: list[str] = []
        self._masses: dict[int, float] = {}

    def molecule(self, remarks: Sequence[str] = ()) -> Molecule:
        """What the frame holds."""
        if self._count == 0:
            raise MoleculeError(f"{self._title} has no atoms")
        usual = self._usual()
        if usual is not None:
            return Molecule(*usual, self._told.charge, self._told.multiplicity, title=self._title,
                            remarks=[*remarks, *self._told.remarks])
        layout = self._layout()
        numbers, xyz = [], []
        extra: dict[str, list[float]] = {}
        width = max(part.stop for part in layout.values())
        for i in range(self._count):
            words = self._words(i, width)
            numbers.append(self._element(i, words, layout))
            xyz += self._numbers(i, words, layout["pos"])
            for name in _EXTRAS:
                if name in layout:
                    extra.setdefault(_EXTRAS[name], []).extend(
                        self._numbers(i, words, layout[name]))
        return _assemble(numbers, xyz, self._told, extra, self._masses, self._title,
                         [*remarks, *self._remarks])

    def _usual(self) -> tuple[list[int], list[float]] | None:
        """Numbers and places where each line is a symbol and three coordinates, as most are; None
        for whoever looks closer."""
        text = self._lines[self._first:self._first + self._count]
        lines = [line.split() for line in text]
        if (self._told.properties is not None or any("_" in line for line in text)
                or [len(words) for words in lines] != [_WORDS] * self._count):
            return None
        try:
            xyz = [float(word) for words in lines for word in words[1:]]
            numbers = [NUMBERS[words[0]] for words in lines]
        except (KeyError, ValueError):
            return None
        return numbers, xyz

    # ---- columns --------------------------------------------------------------------------------

    def _layout(self) -> dict[str, slice]:
        """Which words of a line are what."""
        text = self._told.properties
        if text is None:
            return {"species": slice(0, 1), "pos": slice(1, 4)}
        parts = text.split(":")
        layout: dict[str, slice] = {}
        place = 0
        for name, width in zip(parts[0::3], parts[2::3]):
            columns = whole(width) or 0
            if columns < 1:
                break
            layout[name.lower()] = slice(place, place + columns)
            place += columns
        if "pos" not in layout or not {"species", "z"} & set(layout):
            raise self._error(-1, f"Properties={text[:60]} names no species and positions")
        return layout

    def _words(self, i: int, width: int) -> list[str]:
        place = self._first + i
        words = self._lines[place].split() if place < len(self._lines) else []
        if not words:
            raise self._error(i, f"an atom should stand here; {self._count} were announced, {i} "
                                 "are there")
        if len(words) < width:
            line = self._lines[place].strip()[:60]
            raise self._error(i, f"'{line}' should be a symbol and three coordinates")
        return words

    def _numbers(self, i: int, words: Sequence[str], part: slice) -> list[float]:
        if "_" not in self._lines[self._first + i]:
            try:
                return [float(word) for word in words[part]]
            except ValueError:
                pass  # Fortran's, or none
        found = []
        for word in words[part]:
            if not is_number(word):
                hint = ("; decimals are written with a point" if "," in word else "")
                raise self._error(i, f"'{word}' is not a number{hint}")
            found.append(as_number(word))
        return found

    def _element(self, i: int, words: Sequence[str], layout: dict[str, slice]) -> int:
        """The atomic number of a symbol in any case, a number, a label like O1, D or T."""
        word = words[layout.get("species", layout.get("z", slice(0, 1)))][0]
        if word in NUMBERS:
            return NUMBERS[word]
        number = whole(word)
        if number is not None and 0 <= number < len(SYMBOLS):
            return number
        letters = word.rstrip("0123456789'*+-_")
        if letters in _ISOTOPES:
            number, self._masses[i] = _ISOTOPES[letters]
            return number
        symbol = letters[:1].upper() + letters[1:].lower()
        if symbol in _DUMMIES:
            return 0
        if symbol not in NUMBERS:
            raise self._error(i, f"there is no element '{word}'")
        if symbol != letters and len(letters) == 2 and letters[0] in NUMBERS:
            self._remark_on_case(i, letters, symbol)
        return NUMBERS[symbol]

    def _remark_on_case(self, i: int, letters: str, symbol: str) -> None:
        text = f"'{letters}' is read as {symbol}"
        if not any(text in remark for remark in self._remarks):
            self._remarks.append(f"line {self._first + i + 1}: {text}")

    def _error(self, i: int, text: str) -> MoleculeError:
        return MoleculeError(f"{self._title}, line {self._first + i + 1}: {text}")


# Columns beside species and positions that tell something of the molecule, and what.
_EXTRAS = {"masses": "masses", "mass": "masses", "initial_charges": "charges", "charge": "charges",
           "charges": "charges", "initial_magmoms": "moments", "magmoms": "moments"}


def _assemble(numbers: list[int], xyz: list[float], told: Told, extra: dict[str, list[float]],
              isotopes: dict[int, float], title: str, remarks: list[str]) -> Molecule:
    masses = extra.get("masses")
    if isotopes and masses is None:
        masses = [isotopes.get(i, MASSES[number]) for i, number in enumerate(numbers)]
    charges = extra.get("charges")
    charge, multiplicity, notes = state_of_atoms(told.charge, told.multiplicity, charges,
                                                 extra.get("moments"))
    return Molecule(numbers, xyz, charge, multiplicity, masses, charges, title, notes,
                    [*remarks, *told.remarks])
