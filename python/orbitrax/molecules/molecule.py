"""Molecules as values: elements, places, charge and multiplicity."""

from __future__ import annotations

import math
from array import array

from orbitrax.arrays import as_numpy, finite, flat
from orbitrax.errors import MoleculeError
from orbitrax.molecules.elements import SYMBOLS, formula_of
from orbitrax.molecules.geometry import pairs_nearer

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Iterable, Sequence
    from typing import Any

    from orbitrax.arrays import Array

MAX_COORDINATE = 1e6  # Angstrom
_LARGEST = 1_000_000  # of charge, multiplicity and atomic numbers
_ONE_OF = {"masses": "mass", "point_charges": "charge"}
_ELEMENTS, _WHOLE_NUMBERS = frozenset(range(len(SYMBOLS))), frozenset((int,))
_FLOATS = frozenset((float,))
_ROWS = frozenset((list, tuple))
_FEW = 300  # atoms: of more, pairs are looked for as near as they are asked for
_USUALLY_NEAR = 0.95  # Angstrom: what is asked of carbon and lighter atoms
_WHOLE = 1e-3  # e: charges of atoms that add up to a whole number so nearly tell the charge


class Molecule:
    """A molecule, which does not change; `replace` makes another.

    numbers: atomic numbers, n, 0 for a dummy. positions: n x 3, Angstrom. masses: n, atomic mass
    units, or None for standard masses. point_charges: n, e, what an atom carries while it is not
    part of the calculation. charge and multiplicity: None where nothing tells. title: where it
    comes from, for messages. notes: what is to be said where the charge is needed and not known.
    remarks: what was odd about where it comes from; they become warnings of a result. mol: its
    bonds, as the file had them, in RDKit's binary form, or None.

    numbers, positions, masses and point_charges are numpy arrays that cannot be written to, made at
    the first look; z (a tuple), xyz, plain_masses and plain_charges (flat) are the same without
    numpy.
    """

    def __init__(self, numbers: Iterable[int], positions: Any, charge: int | None = None,
                 multiplicity: int | None = None, masses: Any = None, point_charges: Any = None,
                 title: str = "molecule", notes: Sequence[str] = (),
                 remarks: Sequence[str] = (), mol: bytes | None = None):
        self.z = tuple(numbers)
        if not (_WHOLE_NUMBERS.issuperset(map(type, self.z)) and _ELEMENTS.issuperset(self.z)):
            self.z = _elements(self.z, title)
        self.xyz = self._places(positions, title)
        self.plain_masses = self._one_each(masses, "masses", title)
        self.plain_charges = self._one_each(point_charges, "point_charges", title)
        self.charge = None if charge is None else _whole(charge, "its charge", title)
        self.multiplicity = (None if multiplicity is None
                             else _whole(multiplicity, "its multiplicity", title))
        self.title, self.notes, self.remarks = title, tuple(notes), tuple(remarks)
        self.mol = mol
        self._check_coordinates()

    def _places(self, positions: Any, title: str) -> array[float]:
        n = len(self.z)
        if n == 0:
            raise MoleculeError(f"{title} has no atoms")
        if type(positions) in _ROWS:
            if len(positions) == n and all(
                    [type(row) in _ROWS and len(row) == 3 for row in positions]):
                return flat([value for row in positions for value in row])
            if len(positions) == 3 * n and _FLOATS.issuperset(map(type, positions)):
                return array("d", positions)
        shape = getattr(positions, "shape", None) or _shape(positions)
        if shape not in ((n, 3), (3 * n,)):
            raise MoleculeError(f"{title}: {n} atoms need {n} x 3 coordinates, not "
                                f"{' x '.join(map(str, shape))}")
        return array("d", flat(positions))  # one of its own

    def _one_each(self, values: Any, what: str, title: str) -> array[float] | None:
        if values is None:
            return None
        found = array("d", flat(values))
        if len(found) != len(self.z):
            raise MoleculeError(f"{title}: {len(self.z)} atoms need {len(self.z)} {what}")
        for i, value in enumerate(found):
            if not math.isfinite(value):
                raise MoleculeError(f"{title}: atom {i + 1} ({SYMBOLS[self.z[i]]}): its "
                                    f"{_ONE_OF[what]} is {value}")
        return found

    def _check_coordinates(self) -> None:
        if finite(self.xyz) and -MAX_COORDINATE < min(self.xyz) <= max(self.xyz) < MAX_COORDINATE:
            return
        i, value = next((i, value) for i, value in enumerate(self.xyz)
                        if not abs(value) < MAX_COORDINATE)
        shown = "nan" if math.isnan(value) else f"{value}"
        raise MoleculeError(f"{self.title}: {self.label(i // 3)}: the {'xyz'[i % 3]} coordinate "
                            f"{shown} is not a length below 1e6 Angstrom")

    def replace(self, **values: Any) -> Molecule:
        """This molecule but for some of the values that it is made of."""
        told: dict[str, Any] = {"numbers": self.z, "positions": self.xyz, "charge": self.charge,
                "multiplicity": self.multiplicity, "masses": self.plain_masses,
                "point_charges": self.plain_charges, "title": self.title, "notes": self.notes,
                                "remarks": self.remarks, "mol": self.mol}
        return type(self)(**{**told, **values})

    # ---- what it is -----------------------------------------------------------------------------

    @property
    def numbers(self) -> Array:
        """Atomic numbers, n."""
        return self._shown("z", int)

    @property
    def positions(self) -> Array:
        """n x 3, Angstrom."""
        return self._shown("xyz", float).reshape(-1, 3)

    @property
    def masses(self) -> Array | None:
        """n, atomic mass units; None for standard masses."""
        return None if self.plain_masses is None else self._shown("plain_masses", float)

    @property
    def point_charges(self) -> Array | None:
        """n, e; None where there are none."""
        return None if self.plain_charges is None else self._shown("plain_charges", float)

    def _shown(self, name: str, kind: type) -> Array:
        key = f"_{name}"
        if key not in self.__dict__:
            shown: Array = as_numpy(getattr(self, name)).astype(kind)
            shown.flags.writeable = False
            self.__dict__[key] = shown
        found: Array = self.__dict__[key]
        return found

    def near(self, cutoff: float) -> list[tuple[int, int, float]]:
        """Pairs of atoms nearer than a distance, Angstrom, as `pairs_nearer` has them. Looked for
        once, as it is asked before a calculation and after it."""
        known: tuple[float, list[tuple[int, int, float]]] | None = self.__dict__.get("_near")
        if known is None or cutoff > known[0]:
            wide = cutoff if len(self) > _FEW else max(cutoff, _USUALLY_NEAR)
            known = self.__dict__["_near"] = wide, pairs_nearer(self.xyz, wide)
        return [pair for pair in known[1] if pair[2] < cutoff]

    def __getstate__(self) -> dict[str, Any]:
        return {name: value for name, value in self.__dict__.items() if not name.startswith("_")}

    def __len__(self) -> int:
        return len(self.z)

    @property
    def symbols(self) -> list[str]:
        """Element symbols, in atom order."""
        return [SYMBOLS[number] for number in self.z]

    @property
    def formula(self) -> str:
        """Carbon, hydrogen, then the others by name."""
        return formula_of(self.symbols)

    def label(self, index: int) -> str:
        """An atom as a person names it, counted from 1."""
        return f"atom {index + 1} ({SYMBOLS[self.z[index]]})"

    def __repr__(self) -> str:
        told = "".join(f", {name} {value}" for name, value in (
            ("charge", self.charge), ("multiplicity", self.multiplicity)) if value is not None)
        return f"<Molecule {self.formula}, {len(self)} atoms{told}, from {self.title}>"


def state_of_atoms(charge: int | None, multiplicity: int | None, charges: Sequence[float] | None,
                   moments: Sequence[float] | None
                   ) -> tuple[int | None, int | None, list[str]]:
    """Charge, multiplicity and notes of a molecule, where not told by those of its atoms: charges
    that add up to a whole number, and magnetic moments."""
    notes = []
    if charge is None and charges is not None:
        total = sum(charges)
        if math.isfinite(total) and abs(total - round(total)) <= _WHOLE:
            charge = round(total)
        else:
            notes.append(f"the charges of its atoms add up to {total:.4f}, which is no whole "
                         "number; give the charge with --charge")
    if multiplicity is None and moments is not None and math.isfinite(sum(moments)):
        multiplicity = round(abs(sum(moments))) + 1
    return charge, multiplicity, notes


def _elements(numbers: Iterable[Any], title: str) -> tuple[int, ...]:
    found = tuple(_whole(number, "an atomic number", title) for number in numbers)
    for number in found:
        if not 0 <= number < len(SYMBOLS):
            raise MoleculeError(f"{title}: there is no element of number {number}")
    return found


def _whole(value: Any, what: str, title: str) -> int:
    """A whole number of any kind, a float too, as an int."""
    try:
        number = int(value)
    except (TypeError, ValueError, OverflowError):
        number = None
    if number is None or number != value or abs(number) > _LARGEST:
        raise MoleculeError(f"{title}: {what}, {str(value)[:40]!r}, is not a whole number")
    return number


def _shape(values: Any) -> tuple[int, ...]:
    """Lengths of nested sequences, as far as they are the same throughout."""
    if not hasattr(values, "__len__") or isinstance(values, str):
        return ()
    if isinstance(values, array):
        return (len(values),)
    inner = {_shape(value) for value in values}
    return (len(values), *(inner.pop() if len(inner) == 1 else ()))
