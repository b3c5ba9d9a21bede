"""Products of symmetry species, by their names.

The names say enough wherever one of the two is not degenerate: the letter tells the character of
the main axis, the number that of a second axis or plane, G and U that of the inversion, one stroke
or two that of the horizontal plane (Mulliken's rules, J. Chem. Phys. 23, 1997 (1955)). What the
names leave open, as a product of two degenerate species, which is a sum, is not given.
"""

from __future__ import annotations

import re

_FORM = re.compile(r"(SI|PI|DE|[ABETGH])(\d?)(['\"GU]?)")
_ALONE = ("A", "B", "SI")  # letters of species that are not degenerate
_SIDE = {"G": 0, "U": 1, "'": 0, '"': 1}


_THREE_AXES = ("D2", "D2H")  # groups in which B1, B2 and B3 stand for axes of one kind


def product(group: str, first: str, second: str) -> str | None:
    """The species of a point group that the product of two has; None where it is not one, or not to
    be told from the names, or where one of them is not known."""
    a, b = _FORM.fullmatch(first), _FORM.fullmatch(second)
    if a is None or b is None:
        return None
    if a[1] not in _ALONE:
        a, b = b, a
    if a[1] not in _ALONE:
        return None
    side = _sides(a[3], b[3])
    kind = _alone(group, a, b) if b[1] in _ALONE else _degenerate(a, b)
    return None if side is None or kind is None else kind + side


def label_of(name: str) -> str:
    """The species in the name of an orbital or a mode, which has a running number in front."""
    return name.lstrip("0123456789")


def _sides(a: str, b: str) -> str | None:
    """G, U or a stroke of a product; "" in a group that has none of them."""
    if not a and not b:
        return ""
    if not a or not b or (a in "GU") != (b in "GU"):
        return None
    return ("GU" if a in "GU" else "'\"")[_SIDE[a] ^ _SIDE[b]]


def _alone(group: str, a: re.Match[str], b: re.Match[str]) -> str | None:
    """Letter and number of a product of two that are not degenerate."""
    if "SI" in (a[1], b[1]):
        return "SI" if a[1] == b[1] else None
    if group in _THREE_AXES:
        number = int(a[2] or 0) ^ int(b[2] or 0)  # 1, 2 and 3 as pairs of bits
        return f"B{number}" if number else "A"
    letter = "A" if a[1] == b[1] else "B"
    if not a[2] or not b[2]:
        return letter if a[2] == b[2] else None
    return letter + ("1" if a[2] == b[2] else "2")


def _degenerate(a: re.Match[str], b: re.Match[str]) -> str | None:
    """Letter and number of a product with a degenerate species."""
    letter, number = b[1], b[2]
    if a[1] == "SI" or (a[1] == "A" and a[2] in ("", "1")):
        return letter + number
    if letter == "E" and (a[1] == "A" or not number):
        return letter + number
    if letter == "T" and a[1] == "A" and number in ("1", "2"):
        return "T" + ("2" if number == "1" else "1")
    return None
