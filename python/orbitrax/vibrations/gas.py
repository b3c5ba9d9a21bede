"""The ideal gas of a result that has modes."""

from __future__ import annotations

from orbitrax.vibrations.thermochemistry import Gas, ideal_gas, zero_point_energy

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any

    from orbitrax.vibrations.modes import Modes

STATIONARY = 1.0  # kcal/(mol Angstrom): an RMS gradient above it belongs to no stationary point

_SMALLEST = 1.0  # 1/cm: no frequency below this is one of a vibration

# Rotations that bring a molecule into itself, of the groups whose names do not count them.
_ROTATIONS = {"CS": 1, "CI": 1, "C*V": 1, "D*H": 2, "TD": 12, "OH": 24, "IH": 60}
_WHOLE = ("C*V", "D*H", "OH", "IH")  # no molecule of these has more


def symmetry_number(point_group: str) -> int:
    """How many rotations of a point group, by its name, bring a molecule into itself. Raises
    ValueError for a name that is none."""
    if point_group in _ROTATIONS:
        return _ROTATIONS[point_group]
    digits = "".join(letter for letter in point_group if letter.isdecimal())
    if not digits or point_group[0] not in "CDS":
        raise ValueError(f"{point_group} is no point group that is known")
    order = int(digits)
    return {"C": order, "D": 2 * order, "S": order // 2}[point_group[0]]


def number_of_gas(point_group: str | None, modes: Modes) -> int:
    """That of the point group. Of groups that the backend has no name for, as T or D8H, it finds a
    part or none: the atoms show the others. It knows elements only: isotopes leave what turns none
    into another."""
    from orbitrax.molecules.symmetry import rotations

    number = 1 if point_group is None else symmetry_number(point_group)
    if point_group not in _WHOLE:
        number = max(number, rotations(list(modes.numbers), modes.positions))
    masses = [round(float(mass), 3) for mass in modes.masses]
    kinds = sorted(set(zip(modes.numbers, masses)))
    if number == 1 or len(kinds) == len(set(modes.numbers)):
        return number
    return min(number, rotations([kinds.index(one) for one in zip(modes.numbers, masses)],
                                 modes.positions))


class GasOfResult:
    """An ideal gas of the molecule of a result, at a temperature, K, and a pressure, Pa.

    gas: None where there is no such thing, for the reason in `reason`. symmetry_number: how many
    rotations bring each atom to the place of one of its isotope. left_out: how many modes count
    for nothing, as they are imaginary.
    """

    def __init__(self, result: Any, temperature: float, pressure: float):
        assert result.modes is not None
        self.modes: Modes = result.modes
        self.total_energy: float | None = result.total_energy
        self.left_out = self.modes.imaginary
        self.symmetry_number = number_of_gas(result.point_group, self.modes)
        self.reason: str | None = self._reason(result)
        self.gas: Gas | None = None
        if self.reason is None:
            real = [float(nu) for nu in self.modes.frequencies if nu > 0]
            self.gas = ideal_gas(real, float(self.modes.masses.sum()),
                                 self.modes.rotational_constants, self.symmetry_number,
                                 result.multiplicity, temperature, pressure)

    def _reason(self, result: Any) -> str | None:
        if len(self.modes.numbers) < len(result.symbols):
            return "a selected part is no molecule of a gas"
        if result.restraint_energy is not None:
            return "a molecule that restraints hold is none of a gas"
        if result.rms_gradient is not None and result.rms_gradient > STATIONARY:
            return "the structure is no stationary point"
        if self.left_out > 1:
            return "more than one imaginary frequency: neither a minimum nor a transition state"
        if any(0 <= nu < _SMALLEST for nu in self.modes.frequencies):
            return "a frequency is zero"
        return None

    def on_total(self, value: float | None) -> float | None:
        """What is added to the total energy, with it."""
        if value is None or self.total_energy is None:
            return None
        return self.total_energy + value

    @staticmethod
    def zero_point(modes: Modes) -> float:
        """Of the real vibrations, kcal/mol."""
        return zero_point_energy(float(nu) for nu in modes.frequencies if nu > 0)
