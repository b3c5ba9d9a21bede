"""What a plot shows: an orbital, a density, the potential; its names, numbers and units."""

from __future__ import annotations

import re
from dataclasses import dataclass

from orbitrax.errors import UsageError

TYPE_CHECKING = False
if TYPE_CHECKING:
    from orbitrax.results.result import Result

POTENTIAL, DENSITY, ORBITAL, ORBITAL_SQUARED, SPIN_DENSITY = range(5)  # kinds, as on the wire
_ABOVE_LUMO, _BELOW_HOMO, _NUMBER = range(3)  # ways to name an orbital, as on the wire

# Electrons above which an orbital counts as occupied, a natural one too, as doubly so.
_OCCUPIED, _HALF, _DOUBLY = 0.01, 0.5, 1.5
_ORBITAL = re.compile(r"(homo|lumo)(?:([+-])(\d{1,6}))?|(\d{1,9})")


@dataclass(frozen=True)
class Plot:
    """What is plotted: "potential", "density", "spin-density", or an orbital: "homo", "homo-1",
    "lumo", "lumo+2", or its number from 1.

    beta: HOMO, LUMO and number are those of the electrons of beta spin. squared: the square of an
    orbital instead of its amplitude. Units: hartree per unit charge for the potential, electrons
    per cubic bohr for densities, the square root of that for an orbital.
    """

    what: str = "homo"
    beta: bool = False
    squared: bool = False

    def __post_init__(self) -> None:
        object.__setattr__(self, "what", str(self.what).strip().lower().replace(" ", ""))
        if self.what not in ("potential", "density", "spin-density"):
            self.level()
        elif self.beta or self.squared:
            raise UsageError(f"there is no {'beta' if self.beta else 'square'} of the "
                             f"{self.what.replace('-', ' ')}: these belong to orbitals")

    @property
    def kind(self) -> int:
        """The number of the kind on the wire."""
        others = {"potential": POTENTIAL, "density": DENSITY, "spin-density": SPIN_DENSITY}
        return others.get(self.what, ORBITAL_SQUARED if self.squared else ORBITAL)

    @property
    def of_orbital(self) -> bool:
        """Whether it is an orbital or its square."""
        return self.kind in (ORBITAL, ORBITAL_SQUARED)

    @property
    def signed(self) -> bool:
        """Whether its values may have either sign."""
        return self.kind in (POTENTIAL, ORBITAL, SPIN_DENSITY)

    def level(self) -> tuple[int, int]:
        """Mode and offset that name the orbital on the wire."""
        found = _ORBITAL.fullmatch(self.what)
        if not found:
            raise UsageError(f"'{self.what}' is no orbital; say homo, homo-1, lumo, lumo+2 or a "
                             "number from 1")
        name, sign, offset, number = found.groups()
        if number:
            return _NUMBER, int(number)
        shift = int(offset or 0) * (-1 if sign == "-" else 1)
        return (_ABOVE_LUMO, shift) if name == "lumo" else (_BELOW_HOMO, -shift)

    def orbital_of(self, result: Result) -> tuple[int, float | None] | None:
        """Number from 1 and energy in eV of the orbital in a result, where it is no natural one;
        None where there is none."""
        found = self._levels(result)
        if found is None:
            return None
        energies, highest = found
        mode, offset = self.level()
        number = {_ABOVE_LUMO: highest + 1 + offset, _BELOW_HOMO: highest - offset,
                  _NUMBER: offset}[mode]
        if not 1 <= number <= len(energies):
            return None
        return number, None if result.natural else energies[number - 1]

    def _levels(self, result: Result) -> tuple[list[float], int] | None:
        """Energies of the orbitals of its spin, eV, and how many are filled; None where there are
        none."""
        energies, occupancies = result.plain("orbital_energies"), result.plain("occupancies")
        if not self.of_orbital or energies is None or occupancies is None:
            return None
        least = _HALF if result.natural else _OCCUPIED
        if result.spin == "UHF":
            half = len(energies) // 2
            part = slice(half, None) if self.beta else slice(None, half)
            energies, occupancies = energies[part], occupancies[part]
        elif self.beta and not result.natural:
            least = _DOUBLY
        return energies, sum(occupancy > least for occupancy in occupancies)

    def missing(self, result: Result) -> str | None:
        """Why a result has no such orbital, and which it has, in words; None where it has it."""
        found = self._levels(result)
        if found is None or self.orbital_of(result) is not None:
            return None
        spin = ("beta " if self.beta else "alpha ") if result.spin == "UHF" else ""
        count, highest = len(found[0]), found[1]
        name = f"orbital {self.what}" if self.what.isdecimal() else self.what.upper()
        filled = (f"of which {highest} is the HOMO" if 0 < highest < count else
                  "none of them filled" if not highest else "all of them filled")
        return f"there is no {spin}{name}: there are the orbitals 1 to {count}, {filled}"

    def title(self, result: Result) -> str:
        """It in words, for people: "HOMO (orbital 6, -10.77 eV)"."""
        if not self.of_orbital:
            return {POTENTIAL: "electrostatic potential", DENSITY: "electron density",
                    SPIN_DENSITY: "spin density"}[self.kind]
        name = f"orbital {self.what}" if self.what.isdecimal() else self.what.upper()
        if result.spin == "UHF":
            name = f"{'beta' if self.beta else 'alpha'} {name}"
        found = self.orbital_of(result)
        if found:
            number, energy = found
            about = (f"{energy:.2f} eV" if energy is not None else
                     f"{(result.plain('occupancies') or ())[number - 1]:.2f} electrons")
            name += f" ({about})" if self.what.isdecimal() else f" (orbital {number}, {about})"
        return f"square of {name}" if self.squared else name
