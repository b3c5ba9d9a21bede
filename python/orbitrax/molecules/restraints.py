"""Harmonic restraints on a geometry, and the texts that ask for them.

    tether 4                    atom 4 to where it is
    tether 4 0.0 1.5 0.0        atom 4 to a point, Angstrom
    stretch 1 2 1.5             distance, Angstrom
    bend 1 2 3 109.5            angle at the middle atom, degrees
    torsion 1 2 3 4 180 k=50    dihedral angle, degrees

Each may end in k=NUMBER, the force constant in kcal/mol per square Angstrom or square radian; the
energy is k times the square of the deviation. Without a number for the target a restraint holds
what the geometry has.
"""

from __future__ import annotations

import math

from orbitrax.errors import UsageError

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Iterable, Sequence
    from typing import Any

    Vector = tuple[float, float, float]

FORCE_CONSTANT = 100.0  # kcal/mol per square Angstrom or radian, where none is given
_LARGEST_CONSTANT = 1e6  # a hundred times as stiff as any bond
_LARGEST_ENERGY = 1e8  # kcal/mol: the digits beyond would be those of the molecule

KINDS = ("tether", "stretch", "bend", "torsion")  # in the order of the wire


class Restraint:
    """One restraint.

    kind: "tether", "stretch", "bend" or "torsion". atoms: one, two, three or four, counted from 1.
    target: three coordinates in Angstrom (tether), a distance in Angstrom (stretch), an angle in
    degrees (bend; torsion, positive where the far atom stands clockwise); None for what the
    geometry has. force_constant: kcal/mol per square Angstrom or square radian.
    """

    __slots__ = ("kind", "atoms", "target", "force_constant")

    def __init__(self, kind: str, atoms: Sequence[int],
                 target: float | Sequence[float] | None = None,
                 force_constant: float = FORCE_CONSTANT):
        if kind not in KINDS:
            raise UsageError(f"a restraint is a {', '.join(KINDS[:-1])} or {KINDS[-1]}, not a "
                             f"'{kind}'")
        self.kind, self.atoms = kind, tuple(int(atom) for atom in atoms)
        wanted = KINDS.index(kind) + 1
        if len(self.atoms) != wanted:
            raise UsageError(f"a {kind} names {wanted} atoms, not {len(self.atoms)}")
        if len(set(self.atoms)) < wanted:
            raise UsageError(f"a {kind} names an atom twice: {_listed(self.atoms)}")
        self.target = None if target is None else self._checked_target(target)
        self.force_constant = float(force_constant)
        if not math.isfinite(self.force_constant):
            raise UsageError(f"the force constant {force_constant} is not a number")
        if abs(self.force_constant) > _LARGEST_CONSTANT:
            raise UsageError(f"the force constant {self.force_constant:g} is above "
                             f"{_LARGEST_CONSTANT:g}, where an energy has no digits left for the "
                             "molecule; hold a coordinate exactly with optimize --fix")

    def _checked_target(self, target: float | Sequence[float]) -> tuple[float, ...]:
        several = (target,) if isinstance(target, (int, float)) else target
        numbers = tuple(float(x) for x in several)
        if len(numbers) != (3 if self.kind == "tether" else 1) or not all(
                math.isfinite(x) for x in numbers):
            what = "three coordinates" if self.kind == "tether" else "one number"
            raise UsageError(f"the target of a {self.kind} is {what}, not {target}")
        if self.kind == "stretch" and not numbers[0] > 0:
            raise UsageError(f"the target of a stretch is a length above 0, not {numbers[0]:g}")
        if self.kind == "bend" and not 0 <= numbers[0] <= 180:
            raise UsageError(f"the target of a bend is 0 to 180 degrees, not {numbers[0]:g}")
        if self.kind == "torsion" and abs(numbers[0]) > 360:
            raise UsageError(f"the target of a torsion is -360 to 360 degrees, not {numbers[0]:g}")
        return numbers

    def __str__(self) -> str:
        return f"{self.kind} {_listed(self.atoms)}"

    @property
    def text(self) -> str:
        """What `parse_restraint` reads."""
        words = [self.kind, *map(str, self.atoms), *map(_shown, self.target or ())]
        return " ".join([*words, f"k={_shown(self.force_constant)}"])

    def __repr__(self) -> str:
        return f"Restraint({self.text!r})"

    def __eq__(self, other: object) -> bool:
        return isinstance(other, Restraint) and self._parts == other._parts

    def __hash__(self) -> int:
        return hash(self._parts)

    @property
    def _parts(self) -> tuple[object, ...]:
        return self.kind, self.atoms, self.target, self.force_constant

    def check(self, count: int) -> None:
        """Refuses a restraint of atoms that are not among `count`."""
        for atom in self.atoms:
            if not 1 <= atom <= count:
                raise UsageError(f"{self}: there is no atom {atom} among {count}")

    def check_energy(self, xyz: Sequence[float]) -> None:
        """Refuses a target so far from what a geometry (3 n, Angstrom) has that the molecule's
        energy drowns in the restraint's. Angles cannot be so far."""
        if self.target is None or self.kind not in ("tether", "stretch"):
            return
        here = self.measured([tuple(xyz[3 * atom - 3:3 * atom]) for atom in self.atoms])
        energy = abs(self.force_constant) * math.dist(here, self.target) ** 2
        if energy > _LARGEST_ENERGY:
            raise UsageError(f"{self}: the target lies {math.dist(here, self.target):g} Angstrom "
                             f"from what the geometry has, at {energy:.3g} kcal/mol; take one "
                             "that is nearer, or a smaller k")

    def value(self, positions: Any) -> float | tuple[float, ...]:
        """What the restraint holds, as it is in a geometry (n x 3, Angstrom): Angstrom, degrees."""
        found = self.measured([tuple(map(float, positions[atom - 1])) for atom in self.atoms])
        return found if self.kind == "tether" else found[0]

    def aimed(self, positions: Any) -> Restraint:
        """This restraint with what a geometry (n x 3, Angstrom) has for its target."""
        return Restraint(self.kind, self.atoms, self.value(positions), self.force_constant)

    def measured(self, points: Sequence[Sequence[float]]) -> tuple[float, ...]:
        """The same of the places of its atoms, in one tuple."""
        if self.kind == "tether":
            return tuple(points[0])
        steps = [_less(b, a) for a, b in zip(points, points[1:])]
        if self.kind == "stretch":
            return (_length(steps[0]),)
        if self.kind == "bend":
            return (_angle(_less(points[0], points[1]), steps[1]),)
        first, second = _cross(steps[0], steps[1]), _cross(steps[1], steps[2])
        return (math.copysign(_angle(first, second), _dot(first, steps[2])),)


def parse_restraints(given: Restraint | str | Iterable[Restraint | str]) -> tuple[Restraint, ...]:
    """Restraints from themselves or their texts."""
    several = (given,) if isinstance(given, (Restraint, str)) else given
    try:
        found = tuple(parse_restraint(one) if isinstance(one, str) else one for one in several)
        if all(isinstance(one, Restraint) for one in found):
            return found
    except TypeError:
        pass
    raise UsageError(f"--restrain {str(given)[:60]}: give restraints, or their texts")


def parse_restraint(text: str) -> Restraint:
    """A restraint from a text like "stretch 1 2 1.5 k=100"."""
    words = text.replace(",", " ").split()
    if not words or words[0].lower() not in KINDS:
        raise UsageError(f"--restrain '{text}': begin with {', '.join(KINDS[:-1])} or {KINDS[-1]}")
    kind, words = words[0].lower(), words[1:]
    n = KINDS.index(kind) + 1
    constant = FORCE_CONSTANT
    if words and words[-1].lower().startswith("k="):
        constant = _number(words.pop()[2:], text)
    atoms, rest = words[:n], words[n:]
    wanted = 3 if kind == "tether" else 1
    if len(atoms) < n or len(rest) not in (0, wanted):
        raise UsageError(f"--restrain '{text}': a {kind} takes {n} atom number{'s' * (n > 1)}, "
                         f"then {'x y z' if wanted == 3 else 'the target'} or nothing, then "
                         "k=NUMBER")
    try:
        numbers = tuple(int(atom) for atom in atoms)
    except ValueError:
        raise UsageError(f"--restrain '{text}': atoms are given by number, from 1") from None
    target = tuple(_number(word, text) for word in rest)
    return Restraint(kind, numbers, None if not target else target if wanted == 3 else target[0],
                     constant)


def _listed(atoms: Sequence[int]) -> str:
    return "-".join(str(atom) for atom in atoms)


def _shown(number: float) -> str:
    return str(int(number)) if number.is_integer() else repr(number)


def _less(a: Sequence[float], b: Sequence[float]) -> Vector:
    return a[0] - b[0], a[1] - b[1], a[2] - b[2]


def _dot(a: Vector, b: Vector) -> float:
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]


def _cross(a: Vector, b: Vector) -> Vector:
    return a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]


def _length(a: Vector) -> float:
    return math.hypot(*a)


def _angle(u: Vector, v: Vector) -> float:
    """Angle of two vectors, degrees; 0 where one has no length."""
    return math.degrees(math.atan2(_length(_cross(u, v)), _dot(u, v)))


def _number(word: str, text: str) -> float:
    try:
        return float(word)
    except ValueError:
        raise UsageError(f"--restrain '{text}': '{word}' is not a number") from None
