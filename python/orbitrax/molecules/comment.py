"""What the second line of an xyz file tells: charge, multiplicity, and the columns of the atoms."""

from __future__ import annotations

from orbitrax.errors import MoleculeError

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Sequence

# key=value or key: value. A value that is followed by "=" is the next key: "Run: charge=1".
_PAIR = r"""([A-Za-z_][\w-]*)\s*[=:]\s*("[^"]*"|'[^']*'|\{[^}]*\}|[^\s,;="']++(?!\s*=))"""
_SPOKEN = r"(?i)\b(charge|chrg|multiplicity|mult)\s+([-+]?\d{1,9})(?![\w.])"
_ABOUT = r"(?i)\b(charged?|chrg|mult\w*)\b"
_TWO_NUMBERS = r"\s*[-+]?\d{1,2}\s+\d{1,2}\s*"

_CHARGE = ("charge", "chrg", "q", "total_charge", "totalcharge", "net_charge")
_MULTIPLICITY = ("multiplicity", "mult", "spin_multiplicity", "spin")  # spin: as 2S + 1
_UNPAIRED = ("uhf",)
_SIGNS = ("char", "chrg", "q=", "q:", "mult", "spin", "uhf", "properties",
          "lattice")  # of any of these
_PLAIN_WORDS = ("charge", "multiplicity", "spin")  # which can mean nothing else

CELL_LEFT_OUT = ("the file has a periodic cell, which is left out: its atoms are computed by "
                 "themselves, as a molecule")

_MOST_DIGITS = 9  # of a whole number
_LONGEST = 65536  # characters: a second line of more is no second line of ours


class Told:
    """charge, multiplicity: None where nothing tells. properties: the columns of extended xyz, None
    where they are not named. remarks: what should be said of the line."""

    __slots__ = ("charge", "multiplicity", "properties", "remarks")

    def __init__(self) -> None:
        self.charge: int | None = None
        self.multiplicity: int | None = None
        self.properties: str | None = None
        self.remarks: list[str] = []


def is_number(word: str) -> bool:
    """Whether a word is a number, of Fortran too."""
    try:
        as_number(word)
    except ValueError:
        return False
    return "_" not in word


def as_number(word: str) -> float:
    """A word for which `is_number` holds."""
    try:
        return float(word)
    except ValueError:
        return float(word.replace("D", "E").replace("d", "e"))


def whole(word: str) -> int | None:
    """The whole number that a word is, with or without a sign; None for any other word, and for
    more than nine digits, which nothing in a molecule has and which Python may refuse to read."""
    digits = word[1:] if word[:1] in ("+", "-") else word
    return int(word) if digits.isdecimal() and len(digits) <= _MOST_DIGITS else None


def tell(line: str, title: str) -> Told:
    """Reads the line. Raises MoleculeError for a charge or multiplicity that is no whole number."""
    told = Told()
    if len(line) > _LONGEST:
        line = line[:_LONGEST]
        told.remarks.append(f"only the first {_LONGEST} characters of the second line were read")
    if not _may_tell(line):
        return told
    import re

    pairs = {key.lower(): value.strip("\"'{}") for key, value in re.findall(_PAIR, line)}
    told.properties = pairs.get("properties")
    if "lattice" in pairs and re.search(r"(?i)t|1", pairs.get("pbc", "T T T")):
        told.remarks.append(CELL_LEFT_OUT)
    told.charge = _whole(pairs, _CHARGE, title, "charge")
    told.multiplicity = _whole(pairs, _MULTIPLICITY, title, "multiplicity")
    unpaired = _whole(pairs, _UNPAIRED, title, "number of unpaired electrons")
    if told.multiplicity is None and unpaired is not None:
        told.multiplicity = unpaired + 1
    rest = re.sub(_PAIR, " ", line)
    for word, number in re.findall(_SPOKEN, rest):
        if word.lower().startswith("c"):
            told.charge = int(number) if told.charge is None else told.charge
        elif told.multiplicity is None:
            told.multiplicity = int(number)
    if re.search(_ABOUT, re.sub(_SPOKEN, " ", rest)) or re.fullmatch(_TWO_NUMBERS, line):
        told.remarks.append(
            f"the second line, '{line.strip()[:60]}', may speak of a charge and was not "
            "understood; write charge=1 multiplicity=2 there, or give --charge and --multiplicity")
    return told


def _may_tell(line: str) -> bool:
    """Whether the line is worth a closer look, for which regular expressions have to be loaded."""
    low = line.lower().replace(" ", "")
    return any(word in low for word in _SIGNS) or sum(map(is_number, line.split())) == 2


def _whole(pairs: dict[str, str], keys: Sequence[str], title: str, what: str) -> int | None:
    for key in keys:
        value = pairs.get(key)
        if value is None:
            continue
        if is_number(value) and as_number(value).is_integer():
            return int(as_number(value))
        if key in _PLAIN_WORDS:
            raise MoleculeError(f"{title}: its {what} '{value}' is not a whole number")
    return None
