"""Heat, entropy and heat capacity of an ideal gas of one molecule, from its modes.

Rigid rotor and harmonic oscillator, the textbook formulas (D. A. McQuarrie, Statistical Mechanics,
1976). Beside them an entropy that does not run away at low frequencies: each vibration passes
smoothly into a free rotation (S. Grimme, Chem. Eur. J. 18, 9955 (2012)).

Frequencies 1/cm, energies kcal/mol, entropies and heat capacities cal/(mol K).
"""

from __future__ import annotations

import math
from typing import TYPE_CHECKING, NamedTuple

if TYPE_CHECKING:
    from collections.abc import Iterable, Sequence

# CODATA 2018.
PLANCK = 6.62607015e-34  # J s
BOLTZMANN = 1.380649e-23  # J / K
LIGHT = 2.99792458e10  # cm / s
AVOGADRO = 6.02214076e23
KILOGRAM_PER_AMU = 1.66053906660e-27
JOULE_PER_CALORIE = 4.184

GAS = BOLTZMANN * AVOGADRO / JOULE_PER_CALORIE  # cal / (mol K)
KELVIN_PER_WAVENUMBER = PLANCK * LIGHT / BOLTZMANN
ATMOSPHERE = 101325.0  # Pa
ROOM = 298.15  # K

# Where a vibration has become half a rotation, 1/cm; how sharply; and the moment of inertia that a
# rotation has at the most, kg m^2.
ROTOR_FREQUENCY = 100.0
ROTOR_EXPONENT = 4
ROTOR_MOMENT = 1e-44


class Gas(NamedTuple):
    """An ideal gas at a temperature, K, and a pressure, Pa.

    zero_point: energy of the vibrations at rest. heat: H(T) - H(0), without it. entropy_rotor: the
    entropy with low vibrations as rotations.
    """

    temperature: float
    pressure: float
    zero_point: float
    heat: float
    heat_capacity: float
    entropy: float
    entropy_rotor: float

    @property
    def enthalpy(self) -> float:
        """What is added to the energy of the resting molecule for its enthalpy."""
        return self.zero_point + self.heat

    @property
    def free_energy(self) -> float:
        """The same for its free energy."""
        return self.enthalpy - self.temperature * self.entropy / 1000.0

    @property
    def free_energy_rotor(self) -> float:
        """The same with low vibrations as rotations."""
        return self.enthalpy - self.temperature * self.entropy_rotor / 1000.0


def zero_point_energy(frequencies: Iterable[float]) -> float:
    """Half a quantum for each vibration."""
    return sum(0.5 * GAS * KELVIN_PER_WAVENUMBER * nu for nu in frequencies) / 1000.0


def ideal_gas(frequencies: Sequence[float], mass: float, rotational_constants: Sequence[float],
              symmetry_number: int, multiplicity: int = 1, temperature: float = ROOM,
              pressure: float = ATMOSPHERE) -> Gas:
    """The gas of a molecule of this mass, amu.

    frequencies: of its real vibrations; all above 0. rotational_constants: 1/cm, above 0; three, or
    one of a linear molecule, or none of an atom. Raises ValueError for what is no gas.
    """
    if temperature <= 0 or pressure <= 0 or mass <= 0 or symmetry_number < 1 or multiplicity < 1:
        raise ValueError("temperature, pressure, mass, symmetry number, multiplicity: above 0")
    if any(nu <= 0 for nu in frequencies) or any(b <= 0 for b in rotational_constants):
        raise ValueError("frequencies and rotational constants are above 0")
    degrees, rotation = _rotation(rotational_constants, symmetry_number, temperature)
    ratios = [KELVIN_PER_WAVENUMBER * nu / temperature for nu in frequencies]
    common = _translation(mass, temperature, pressure) + rotation + math.log(multiplicity)
    vibration = [_oscillator_entropy(x) for x in ratios]
    mixed = [_mixed_entropy(nu, s, temperature) for nu, s in zip(frequencies, vibration)]
    heat = 2.5 + degrees / 2 + sum(map(_oscillator_energy, ratios))
    capacity = 2.5 + degrees / 2 + sum(_oscillator_capacity(x) for x in ratios)
    return Gas(temperature, pressure, zero_point_energy(frequencies),
               GAS * temperature * heat / 1000.0, GAS * capacity,
               GAS * (common + sum(vibration)), GAS * (common + sum(mixed)))


# ---- entropies and heat capacities in units of the gas constant ---------------------------------


def _translation(mass: float, temperature: float, pressure: float) -> float:
    energy = BOLTZMANN * temperature
    wave = PLANCK / math.sqrt(2 * math.pi * mass * KILOGRAM_PER_AMU * energy)
    return math.log(energy / pressure / wave**3) + 2.5


def _rotation(constants: Sequence[float], symmetry_number: int,
              temperature: float) -> tuple[int, float]:
    """Degrees of freedom, and entropy."""
    thetas = [KELVIN_PER_WAVENUMBER * b for b in constants]
    if not thetas:
        return 0, 0.0
    if len(thetas) == 1:
        return 2, math.log(temperature / thetas[0] / symmetry_number) + 1.0
    states = math.sqrt(math.pi * temperature**3 / math.prod(thetas)) / symmetry_number
    return 3, math.log(states) + 1.5


def _oscillator_energy(x: float) -> float:
    return -x * math.exp(-x) / math.expm1(-x)


def _oscillator_entropy(x: float) -> float:
    return _oscillator_energy(x) - math.log(-math.expm1(-x))


def _oscillator_capacity(x: float) -> float:
    return x * x * math.exp(-x) / math.expm1(-x) ** 2


def _mixed_entropy(nu: float, oscillator: float, temperature: float) -> float:
    moment = PLANCK / (8 * math.pi**2 * LIGHT * nu)
    effective = moment * ROTOR_MOMENT / (moment + ROTOR_MOMENT)
    states = math.sqrt(8 * math.pi**3 * effective * BOLTZMANN * temperature) / PLANCK
    weight = 1.0 / (1.0 + (ROTOR_FREQUENCY / nu) ** ROTOR_EXPONENT)
    return weight * oscillator + (1.0 - weight) * (0.5 + math.log(states))
