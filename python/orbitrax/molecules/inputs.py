"""Molecules from the input files of other programs: Gaussian, MOPAC and ORCA, with charge and
multiplicity; and CJSON and QCSchema documents."""

from __future__ import annotations

import math
import re

from orbitrax.arrays import flat
from orbitrax.errors import MoleculeError
from orbitrax.jsontext import from_json
from orbitrax.molecules.comment import as_number, is_number, whole
from orbitrax.molecules.elements import MASSES, NUMBERS, SYMBOLS
from orbitrax.molecules.isotope_masses import ISOTOPES, NAMES
from orbitrax.molecules.molecule import Molecule
from orbitrax.molecules.zmatrix import places
from orbitrax.units import CODATA_ANGSTROM_PER_BOHR

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Sequence
    from typing import Any

_SPINS = {"SINGLET": 1, "DOUBLET": 2, "TRIPLET": 3, "QUARTET": 4, "QUINTET": 5, "SEXTET": 6,
          "SEPTET": 7}


def read_gaussian(text: str, title: str) -> Molecule:
    """A molecule of a Gaussian input (com, gjf): Cartesian or internal coordinates."""
    text = re.split(r"^--link1--\s*$", text.replace("\r\n", "\n"), flags=re.M | re.I)[0]
    lines = [line.split("!")[0] for line in text.split("\n")]
    heads = [i for i, line in enumerate(lines) if _is_head(line)]
    route = " ".join(line for line in lines if line.lstrip().startswith("#")).lower()
    start = next((i for i in heads if i and not lines[i - 1].strip()), None)
    if start is None:
        raise MoleculeError(f"{title}: no line with charge and multiplicity, as in '0 1', stands "
                            "above the atoms")
    charge, multiplicity = map(whole, re.split(r"[\s,]+", lines[start].strip())[:2])
    atoms, rest = _until_blank(lines, start + 1)
    bohr = re.search(r"units\s*=?\s*\(?\s*(au|bohr)", route) is not None
    numbers, positions, masses = _atoms(atoms, _variables(lines[rest:]), title, start + 2)
    scale = CODATA_ANGSTROM_PER_BOHR if bohr else 1.0
    return Molecule(numbers, [x * scale for x in positions], charge, multiplicity, masses,
                    title=title)


def read_mopac(text: str, title: str) -> Molecule:
    """A molecule of a MOPAC input (mop, dat): keywords with CHARGE and the spin, two lines of
    titles, atoms in Cartesian or internal coordinates."""
    lines = [line for line in text.replace("\r\n", "\n").split("\n")
             if not line.lstrip().startswith("*")]
    words, head = _keywords(lines)
    charge = _keyword(words, "CHARGE")
    multiplicity = next((_SPINS[word] for word in words if word in _SPINS), None)
    ms = _keyword(words, "MS")
    if multiplicity is None and ms is not None:
        multiplicity = round(2 * ms) + 1
    atoms, _ = _until_blank(lines, head)
    rows = [_mopac_row(line, title, head + 1 + i) for i, line in enumerate(atoms)]
    numbers = [number for number, _, _ in rows]
    if any(others for _, _, others in rows) or (len(rows) <= 3 and "XYZ" not in words
                                                and _looks_internal(rows)):
        positions = [x for point in places(_internal(rows, title)) for x in point]
    else:
        positions = [x for _, values, _ in rows for x in values]
    keep = [i for i, number in enumerate(numbers) if number >= 0]
    words = [line.replace(",", " ").split()[0] for line in atoms]
    return Molecule([numbers[i] for i in keep],
                    [x for i in keep for x in positions[3 * i:3 * i + 3]],
                    None if charge is None else round(charge), multiplicity,
                    _masses([words[i] for i in keep], [numbers[i] for i in keep], title),
                    title=title)


def read_orca(text: str, title: str) -> Molecule:
    """A molecule of an ORCA input (inp) with its coordinates between two stars."""
    lines = text.replace("\r\n", "\n").split("\n")
    for i, line in enumerate(lines):
        words = line.replace("*", " * ").split()
        if len(words) < 4 or words[0] != "*":
            continue
        kind = words[1].lower()
        charge, multiplicity = map(whole, words[2:4])
        if kind != "xyz" or charge is None or multiplicity is None:
            raise MoleculeError(f"{title}, line {i + 1}: only '* xyz CHARGE MULTIPLICITY' can be "
                                f"read of an ORCA input, not '{line.strip()[:40]}'")
        atoms = []
        for below in lines[i + 1:]:
            if below.strip().startswith("*"):
                break
            atoms.append(below.split("#")[0])
        numbers, positions, masses = _atoms([line for line in atoms if line.strip()], {}, title,
                                            i + 2)
        scale = CODATA_ANGSTROM_PER_BOHR if re.search(r"^!.*\bbohrs\b", text, re.M | re.I) else 1.0
        return Molecule(numbers, [x * scale for x in positions], charge, multiplicity, masses,
                        title=title)
    raise MoleculeError(f"{title}: there is no block '* xyz CHARGE MULTIPLICITY' in it")


def read_json(text: str, title: str) -> Molecule | None:
    """A molecule of a CJSON document, of one of QCSchema, or of a result of this program; None for
    another document."""
    try:
        document = from_json(text)
    except ValueError as error:
        raise MoleculeError(f"{title}: is no JSON document: {error}") from None
    if not isinstance(document, dict):
        return None
    try:
        if "chemicalJson" in document or "chemical json" in document:
            about = document.get("properties", {})
            return Molecule(document["atoms"]["elements"]["number"],
                            document["atoms"]["coords"]["3d"], about.get("totalCharge"),
                            about.get("totalSpinMultiplicity"), title=title)
        if "coordinates_angstrom" in document:
            return Molecule([NUMBERS[symbol] for symbol in document["symbols"]],
                            document["coordinates_angstrom"], document.get("charge"),
                            document.get("multiplicity"), document.get("masses"), title=title)
        inner: Any = document.get("molecule", document)
        if "geometry" in inner and "symbols" in inner:
            return from_qcschema(inner, title)
    except MoleculeError:
        raise
    except (KeyError, TypeError, ValueError, OverflowError) as error:
        raise MoleculeError(f"{title}: its atoms cannot be read: {error}") from None
    return None


def from_qcschema(inner: dict[str, Any], title: str = "molecule") -> Molecule:
    """A molecule of QCSchema: symbols, geometry in bohr, molecular_charge and multiplicity, masses.
    Raises MoleculeError, also for one with ghost atoms, which have functions and no core."""
    try:
        return _of_qcschema(inner, title)
    except MoleculeError:
        raise
    except (KeyError, TypeError, ValueError, OverflowError) as error:
        raise MoleculeError(f"{title}: its atoms cannot be read: {error}") from None


def _of_qcschema(inner: dict[str, Any], title: str) -> Molecule:
    charge, multiplicity = inner.get("molecular_charge"), inner.get("molecular_multiplicity")
    if not all(flat(inner["real"]) if inner.get("real") is not None else ()):
        raise MoleculeError(f"{title}: it has ghost atoms, which semi-empirical methods have not")
    if multiplicity is not None and (multiplicity != round(multiplicity) or multiplicity < 1):
        raise MoleculeError(f"{title}: its molecular_multiplicity {multiplicity} is not a whole "
                            "number from 1")
    if charge is not None and charge != round(charge):
        raise MoleculeError(f"{title}: its molecular_charge {charge} is not a whole number")
    return Molecule([NUMBERS[str(symbol).capitalize()] for symbol in inner["symbols"]],
                    [x * CODATA_ANGSTROM_PER_BOHR for x in flat(inner["geometry"])],
                    None if charge is None else round(charge),
                    None if multiplicity is None else round(multiplicity),
                    inner.get("masses"), title=title)


def _is_head(line: str) -> bool:
    """Whether a line is that of charge and multiplicity, of fragments too."""
    words = re.split(r"[\s,]+", line.strip())
    return len(words) % 2 == 0 and all(whole(word) is not None for word in words)


# ---- atoms --------------------------------------------------------------------------------------


def _until_blank(lines: Sequence[str], start: int) -> tuple[list[str], int]:
    end = start
    while end < len(lines) and lines[end].strip():
        end += 1
    return list(lines[start:end]), end


def _element(word: str, title: str, line: int) -> int:
    """The atomic number of "C", "6", "C1", "C(Iso=13)", "H-H_"; -1 for a dummy. Raises
    MoleculeError for "H-Bq" and "H:", which are ghosts of atoms."""
    if re.search(r"(?i)^[a-z]+\d*(-bq|:)", word):
        raise MoleculeError(f"{title}, line {line}: '{word[:20]}' is a ghost atom, which "
                            "semi-empirical methods have not")
    number = whole(word)
    if number is not None and 0 <= number < len(SYMBOLS):
        return number
    letters = re.match(r"[A-Za-z]*", word)
    name = letters.group().capitalize() if letters else ""
    if name in ("X", "Xx", "Bq", "Da", "Tv"):
        return -1
    if name not in NUMBERS:
        name = {"D": "H", "T": "H"}.get(name, name)
    if name not in NUMBERS:
        raise MoleculeError(f"{title}, line {line}: there is no element '{word[:20]}'")
    return NUMBERS[name]


def _masses(words: Sequence[str], numbers: Sequence[int], title: str) -> list[float] | None:
    """Masses where "D", "C(Iso=13)" or MOPAC's "C13.003" tell of isotopes, else None."""
    found = [_mass(word, number, title) for word, number in zip(words, numbers)]
    if not any(found):
        return None
    return [mass or MASSES[number] for mass, number in zip(found, numbers)]


def _mass(word: str, number: int, title: str) -> float | None:
    told = re.search(r"\(.*\biso\w*=(\d+(?:\.\d*)?)", word, re.I)
    if told is None:
        plain = re.fullmatch(r"[A-Za-z]+(\d+\.\d+)", word)
        letters = re.split(r"[^A-Za-z]", word)[0].upper()
        return float(plain.group(1)) if plain else ISOTOPES.get(NAMES.get(letters, ""))
    name = f"{round(float(told.group(1)))}{SYMBOLS[number]}"
    if name not in ISOTOPES:
        raise MoleculeError(f"{title}: '{word[:40]}': {name} is no isotope that is known; give its "
                            "mass in an extended xyz file")
    return ISOTOPES[name]


def _variables(lines: Sequence[str]) -> dict[str, float]:
    """Values by name, from lines like "r1 1.09" or "r1=1.09"."""
    found: dict[str, float] = {}
    for line in lines:
        words = line.replace("=", " ").split()
        if len(words) in (2, 3) and not is_number(words[0]) and is_number(words[1]):
            found[words[0].lower()] = as_number(words[1])
    return found


def _atoms(lines: Sequence[str], variables: dict[str, float], title: str,
           first: int) -> tuple[list[int], list[float], list[float] | None]:
    """Numbers, places, of Cartesian or internal coordinates, and masses where isotopes are told of;
    dummies are left out."""
    rows = [re.split(r"[\s,]+", re.sub(r"\([^)]*\)", _without_commas, line).strip())
            for line in lines]
    numbers = [_element(row[0], title, first + i) for i, row in enumerate(rows)]
    if rows and len(rows[0]) >= 4:
        xyz: list[float] = []
        for i, row in enumerate(rows):
            values = row[2:5] if len(row) > 4 and re.fullmatch(r"0|-1", row[1]) else row[1:4]
            if len(values) < 3 or not all(map(is_number, values)):
                raise MoleculeError(f"{title}, line {first + i}: '{lines[i].strip()[:40]}' should "
                                    "be a symbol and three coordinates")
            xyz += map(as_number, values)
    else:
        table = [_gaussian_row(i, row, rows, variables, title, first) for i, row in enumerate(rows)]
        xyz = [x for point in places(table) for x in point]
    keep = [i for i, number in enumerate(numbers) if number >= 0]
    masses = _masses([rows[i][0] for i in keep], [numbers[i] for i in keep], title)
    return [numbers[i] for i in keep], [x for i in keep for x in xyz[3 * i:3 * i + 3]], masses


def _without_commas(found: re.Match[str]) -> str:
    """What stands in brackets as one word."""
    return re.sub(r"[\s,]+", ";", found.group())


def _gaussian_row(i: int, row: list[str], rows: list[list[str]], variables: dict[str, float],
                  title: str, first: int) -> tuple[tuple[int, ...], tuple[float, float, float]]:
    place = f"{title}, line {first + i}"
    labels = [other[0].lower() for other in rows[:i]]

    def value(word: str) -> float:
        sign, name = (-1.0, word[1:]) if word.startswith("-") and not is_number(word) else (1, word)
        if not is_number(name) and name.lower() not in variables:
            raise MoleculeError(f"{place}: '{name}' has no value")
        found = sign * (as_number(name) if is_number(name) else variables[name.lower()])
        if not math.isfinite(found):
            raise MoleculeError(f"{place}: '{name}' is a number that is none")
        return found

    words, others, values = row[1:], [], [0.0, 0.0, 0.0]
    if len(words) > 6 and words[6] not in ("0", ""):
        raise MoleculeError(f"{place}: an atom by two angles cannot be read; use a torsion")
    for k in range(min(i, 3)):
        if len(words) < 2 * k + 2:
            raise MoleculeError(f"{place}: atom and value are missing")
        name = words[2 * k].lower()
        number = whole(name)
        other = number - 1 if number is not None else labels.index(name) if name in labels else -1
        if not 0 <= other < i or other in others:
            raise MoleculeError(f"{place}: '{name}' is none of the atoms above")
        others.append(other)
        values[k] = value(words[2 * k + 1])
    return tuple(others), (values[0], values[1], values[2])


# ---- MOPAC --------------------------------------------------------------------------------------


def _keywords(lines: list[str]) -> tuple[list[str], int]:
    """The words of the first line and of those that continue it by + or &, and the index of the
    first atom."""
    text, used = "", 0
    for line in lines:
        used += 1
        words = line.upper().split()
        text += " " + " ".join(words)
        if not ({"+", "&"} & set(words)):
            break
    return text.split(), used + 2 - ("&" in text.split())


def _keyword(words: list[str], name: str) -> float | None:
    for word in words:
        key, _, value = word.partition("=")
        if key == name and is_number(value) and math.isfinite(as_number(value)):
            return as_number(value)
    return None


_MopacRow = "tuple[int, list[float], tuple[int, ...]]"


def _mopac_row(line: str, title: str, number: int) -> tuple[int, list[float], tuple[int, ...]]:
    """Element, three values, and the atoms that they refer to, none for Cartesian ones."""
    words = re.sub(r"\([^)]*\)", "", line.replace(",", " ")).split()
    element = _element(words[0], title, number)
    rest = words[1:]
    if not all(map(is_number, rest)):
        raise MoleculeError(f"{title}, line {number}: '{line.strip()[:40]}' should be a symbol "
                            "and numbers")
    flagged = len(rest) >= 6 and all(word in ("0", "1", "-1", "+1") for word in rest[1:6:2])
    values = [as_number(word) for word in (rest[0:6:2] if flagged else rest[:3])]
    if not all(math.isfinite(as_number(word)) for word in rest):
        raise MoleculeError(f"{title}, line {number}: '{line.strip()[:40]}' holds a number that is "
                            "none")
    others = tuple(int(as_number(word)) for word in rest[6:9]) if flagged and len(rest) >= 9 else ()
    values += [0.0] * (3 - len(values))
    return element, values, tuple(other for other in others if other > 0)


def _looks_internal(rows: Sequence[tuple[int, list[float], tuple[int, ...]]]) -> bool:
    """Whether three atoms or fewer are given by lengths and an angle."""
    return (len(rows) == 3 and not any(rows[0][1])
            and all(not row[1][1] and not row[1][2] for row in rows[:2]) and rows[2][1][1] > 30.0)


def _internal(rows: Sequence[tuple[int, list[float], tuple[int, ...]]], title: str
              ) -> list[tuple[tuple[int, ...], tuple[float, float, float]]]:
    table = []
    for i, (_, values, others) in enumerate(rows):
        named = [other - 1 for other in others][:min(i, 3)]
        usual = [i - 1, i - 2, i - 3][:min(i, 3)]
        full = tuple(named + usual[len(named):]) if i > 2 else tuple(named or usual)
        if any(not 0 <= other < i for other in full) or len(set(full)) < len(full):
            raise MoleculeError(f"{title}: atom {i + 1} refers to an atom that is not above it")
        if i == 2 and len(full) < 2:
            full = (full[0], 1 - full[0])
        table.append((full, (values[0], values[1], math.fmod(values[2], 360.0))))
    return table
