"""What a scan goes along: values of a distance, an angle or a torsion, and their order."""

from __future__ import annotations

from orbitrax.errors import UsageError
from orbitrax.molecules.restraints import Restraint

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Iterator
    from typing import Any

KINDS = {"stretch": (2, "Angstrom"), "bend": (3, "degrees"), "torsion": (4, "degrees")}
_MOST_POINTS = 10000


class Coordinate:
    """What is scanned. kind, atoms (from 1): as restraints have them; values: Angstrom or degrees,
    in their order."""

    def __init__(self, kind: str, text: str):
        """text: as 1,2,3,4=0:180:15."""
        self.kind, self.unit, self.text = kind, KINDS[kind][1], f"{kind} {text}"
        where, _, span = text.partition("=")
        try:
            self.atoms = tuple(int(word) for word in where.replace("-", ",").split(","))
            numbers = [float(word) for word in span.split(":")]
            first, last = numbers[:2]
            step = numbers[2] if len(numbers) > 2 else 1.0
        except ValueError:
            raise UsageError(f"--{kind} {text}: should be ATOMS=FROM:TO:STEP, as in "
                             "1,2,3,4=0:180:15") from None
        if len(numbers) > 3 or not step or not abs(last - first) < float("inf") or (
                last - first) * step < 0:
            raise UsageError(f"--{kind} {text}: from {first:g} no steps of {step:g} lead to "
                             f"{last:g}")
        steps = (last - first) / step + 1e-6
        if not steps < _MOST_POINTS:
            raise UsageError(f"--{kind} {text}: {steps:.0f} points are too many")
        self.values = [first + step * i for i in range(int(steps) + 1)]
        Restraint(kind, self.atoms)  # refuses a wrong number of atoms

    @property
    def name(self) -> str:
        """As "torsion 1-2-3-4"."""
        return f"{self.kind} {'-'.join(map(str, self.atoms))}"

    def held(self, value: float) -> Restraint:
        """What holds it at a value."""
        return Restraint(self.kind, self.atoms, value)

    def reached(self, positions: Any, asked: float) -> float:
        """Its value in a geometry, n x 3; of a torsion the turn next to the one that was asked."""
        found = Restraint(self.kind, self.atoms).value(positions)
        assert isinstance(found, float)
        if self.kind != "torsion":
            return found
        return found + 360.0 * round((asked - found) / 360.0)

    def __eq__(self, other: object) -> bool:
        return isinstance(other, Coordinate) and self.text == other.text

    def __hash__(self) -> int:
        return hash(self.text)


def snake(coordinates: tuple[Coordinate, ...]) -> Iterator[tuple[float, ...]]:
    """All points, each next to the one before."""
    if len(coordinates) == 1:
        yield from ((value,) for value in coordinates[0].values)
        return
    inner = coordinates[1].values
    for number, value in enumerate(coordinates[0].values):
        yield from ((value, other) for other in (inner if number % 2 == 0 else inner[::-1]))
