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
from dataclasses import dataclass

import numpy as np

from orbitrax.link import wire
from orbitrax.errors import InputError, UsageError

FORCE_CONSTANT = 100.0  # kcal/mol per square Angstrom or radian, where none is given

KINDS = ("tether", "stretch", "bend", "torsion")  # in the order of the wire


@dataclass(frozen=True)
class Restraint:
    """One restraint.

    kind: "tether", "stretch", "bend" or "torsion". atoms: one, two, three or four, counted from 1.
    target: three coordinates in Angstrom (tether), a distance in Angstrom (stretch), an angle in
    degrees (bend; torsion, positive where the far atom stands clockwise); None for what the
    geometry has. force_constant: kcal/mol per square Angstrom or square radian.
    """

    kind: str
    atoms: tuple
    target: float | tuple | None = None
    force_constant: float = FORCE_CONSTANT

    def __post_init__(self):
        if self.kind not in KINDS:
            raise UsageError(f"a restraint is a {', '.join(KINDS[:-1])} or {KINDS[-1]}, not a "
                             f"'{self.kind}'")
        wanted = KINDS.index(self.kind) + 1
        if len(self.atoms) != wanted:
            raise UsageError(f"a {self.kind} names {wanted} atoms, not {len(self.atoms)}")
        if len(set(self.atoms)) < wanted:
            raise UsageError(f"a {self.kind} names an atom twice: {_listed(self.atoms)}")
        if self.target is not None:
            self._check_target()
        if not math.isfinite(self.force_constant):
            raise UsageError(f"the force constant {self.force_constant} is not a number")

    def _check_target(self) -> None:
        numbers = np.atleast_1d(np.asarray(self.target, dtype=float))
        if len(numbers) != (3 if self.kind == "tether" else 1) or not np.isfinite(numbers).all():
            what = "three coordinates" if self.kind == "tether" else "one number"
            raise UsageError(f"the target of a {self.kind} is {what}, not {self.target}")

    def __str__(self) -> str:
        return f"{self.kind} {_listed(self.atoms)}"

    def value(self, positions: np.ndarray) -> float | tuple:
        """What the restraint holds, as it is in a geometry (n x 3, Angstrom): Angstrom, degrees."""
        points = [np.asarray(positions[atom - 1], dtype=float) for atom in self.atoms]
        if self.kind == "tether":
            return tuple(points[0].tolist())
        steps = [b - a for a, b in zip(points, points[1:])]
        if self.kind == "stretch":
            return float(np.linalg.norm(steps[0]))
        if self.kind == "bend":
            return _angle(-steps[0], steps[1])
        first, second = np.cross(steps[0], steps[1]), np.cross(steps[1], steps[2])
        return math.copysign(_angle(first, second), float(np.dot(first, steps[2])))

    def record(self, positions: np.ndarray) -> np.ndarray:
        """The RestraintRecord for a molecule with these positions."""
        for atom in self.atoms:
            if not 1 <= atom <= len(positions):
                raise UsageError(f"{self}: there is no atom {atom} among {len(positions)}")
        target = self.value(positions) if self.target is None else self.target
        numbers = np.atleast_1d(np.asarray(target, dtype=float))
        if self.kind in ("bend", "torsion"):
            numbers = np.radians(numbers)
        if self.kind == "torsion":  # the backend counts anticlockwise
            numbers = -numbers
        record = np.zeros((), wire.RESTRAINT_RECORD)
        record["nKind"] = KINDS.index(self.kind)
        record["nAtom"][:len(self.atoms)] = np.array(self.atoms) - 1
        with np.errstate(over="ignore"):
            record["flForceConstant"] = self.force_constant
            for name, number in zip(("flTarget", "flTargetY", "flTargetZ"), numbers):
                record[name] = number
        for name in ("flForceConstant", "flTarget", "flTargetY", "flTargetZ"):
            if not np.isfinite(record[name]):
                raise InputError(f"{self}: its numbers are too large to be sent")
        return record


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


def packets_of(restraints: list, positions: np.ndarray) -> list[bytes]:
    """The packets of all restraints: their counts by kind, and the records of each kind as a stream
    of bytes."""
    kinds = [b"".join(r.record(positions).tobytes() for r in restraints if r.kind == kind)
             for kind in KINDS]
    size = wire.RESTRAINT_RECORD.itemsize
    result = [wire.packet(b"".join(wire.word(len(data) // size) for data in kinds))]
    for data in kinds:
        for start in range(0, len(data), wire.MAX_PAYLOAD):
            result.append(wire.packet(data[start:start + wire.MAX_PAYLOAD]))
    return result


def _listed(atoms) -> str:
    return "-".join(str(atom) for atom in atoms)


def _angle(u: np.ndarray, v: np.ndarray) -> float:
    """Angle of two vectors, degrees; 0 where one has no length."""
    return math.degrees(math.atan2(float(np.linalg.norm(np.cross(u, v))), float(np.dot(u, v))))


def _number(word: str, text: str) -> float:
    try:
        return float(word)
    except ValueError:
        raise UsageError(f"--restrain '{text}': '{word}' is not a number") from None
