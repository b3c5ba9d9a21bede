"""Thermochemistry against other programs, closed forms and measured entropies."""

from __future__ import annotations

import math

import numpy as np
import pytest
from ase import Atoms, units
from ase.thermochemistry import IdealGasThermo

import orbitrax
from orbitrax import Molecule
from orbitrax.vibrations.gas import GasOfResult
from orbitrax.vibrations.thermochemistry import ATMOSPHERE, GAS, ROOM, ideal_gas, zero_point_energy
from vibration_sets import VibrationSet, read_sets

SETS = [s for s in read_sets() if "thermo" in s.rows]


def constants_of(s: VibrationSet) -> list[float]:
    """Rotational constants, 1/cm, of the moments that are none of a line."""
    moments = Atoms(s.symbols, s.positions, masses=s.masses).get_moments_of_inertia()
    return [16.857629206 / moment for moment in moments if moment > 1e-3][: 3 if is_bent(s) else 1]


def is_bent(s: VibrationSet) -> bool:
    return len(s.rows["frequencies"]) == 3 * len(s.symbols) - 6


def gas_of(s: VibrationSet, **about):
    number = about.pop("symmetry_number", s.symmetry_number)
    return ideal_gas(s.rows["frequencies"], sum(s.masses), constants_of(s), number, **about)


def test_heat_capacity_and_entropy_are_those_of_another_program():
    worst = np.zeros(3)
    for s in SETS:
        gas = gas_of(s)
        heat, capacity, entropy = s.rows["thermo"]
        differences = np.abs([1000 * gas.heat - heat, gas.heat_capacity - capacity,
                              gas.entropy - entropy])  # fmt: skip
        # Frequencies are written to 0.001 1/cm, positions to 1e-7 Angstrom.
        assert (differences < [0.02, 0.001, 0.001]).all(), (s.name, s.method, differences)
        worst = np.maximum(worst, differences)
    print(f"{len(SETS)} molecules: H {worst[0]:.2f} cal/mol, Cp {worst[1]:.4f}, S {worst[2]:.4f}")


@pytest.mark.parametrize("temperature, pressure", [(298.15, 101325.0), (500.0, 1e5), (50.0, 1e3)])
def test_enthalpy_and_entropy_are_those_of_ase(temperature, pressure):
    for s in SETS:
        gas = gas_of(s, temperature=temperature, pressure=pressure, multiplicity=s.multiplicity)
        thermo = IdealGasThermo(
            np.array(s.rows["frequencies"]) * units.invcm, "nonlinear" if is_bent(s) else "linear",
            atoms=Atoms(s.symbols, s.positions, masses=s.masses), spin=(s.multiplicity - 1) / 2,
            symmetrynumber=s.symmetry_number)  # fmt: skip
        kcal = units.kcal / units.mol
        # ASE's constants are those of 2014.
        enthalpy = thermo.get_enthalpy(temperature, False) / kcal
        assert gas.enthalpy == pytest.approx(enthalpy, rel=1e-6)
        entropy = thermo.get_entropy(temperature, pressure, False) / kcal * 1000
        assert gas.entropy == pytest.approx(entropy, abs=2e-4)


# Standard entropies at 298.15 K and 1 bar, cal/(mol K) (CODATA Key Values, 1989): 154.846, 205.152
# and 188.835 J/(mol K).
def test_measured_entropies_come_out():
    def entropy(*about, **more):
        return ideal_gas(*about, **more, pressure=1e5).entropy

    assert entropy([], 39.948, [], 1) * 4.184 == pytest.approx(154.846, abs=0.01)
    oxygen = entropy([1580.2], 31.998, [1.4377], 2, multiplicity=3)
    assert oxygen * 4.184 == pytest.approx(205.152, abs=0.05)
    water = entropy([1594.7, 3657.1, 3755.9], 18.0153, [27.88, 14.51, 9.29], 2)
    assert water * 4.184 == pytest.approx(188.835, abs=0.2)


def test_the_zero_point_energy_is_half_a_quantum_a_mode():
    assert zero_point_energy([1000.0, 2000.0]) == pytest.approx(1.4295718 * 3, rel=1e-6)


def test_limits_of_high_and_low_temperature():
    hot = ideal_gas([100.0] * 3, 18.0, [10.0, 8.0, 5.0], 1, temperature=1e6)
    assert hot.heat_capacity == pytest.approx(GAS * 7, rel=1e-6)
    cold = ideal_gas([4000.0] * 3, 18.0, [10.0, 8.0, 5.0], 1, temperature=1.0)
    assert cold.heat_capacity == pytest.approx(GAS * 4, rel=1e-12)
    assert cold.heat == pytest.approx(GAS * 4 / 1000, rel=1e-12)


def test_heat_capacity_is_the_slope_of_the_heat():
    def heat(temperature):
        return ideal_gas([300.0, 1200.0, 3500.0], 30.0, [5.0, 4.0, 3.0], 2,
                         temperature=temperature).heat  # fmt: skip

    slope = (heat(300.5) - heat(299.5)) * 1000
    gas = ideal_gas([300.0, 1200.0, 3500.0], 30.0, [5.0, 4.0, 3.0], 2, temperature=300.0)
    assert gas.heat_capacity == pytest.approx(slope, rel=1e-6)


def test_free_energy_is_enthalpy_less_temperature_times_entropy():
    gas = ideal_gas([300.0, 1200.0, 3500.0], 30.0, [5.0, 4.0, 3.0], 2, temperature=350.0)
    assert gas.free_energy == gas.enthalpy - 0.35 * gas.entropy
    assert gas.free_energy_rotor == gas.enthalpy - 0.35 * gas.entropy_rotor


def test_low_vibrations_pass_into_rotations_and_high_ones_stay():
    def entropies(nu):
        gas = ideal_gas([nu], 30.0, [5.0], 1)
        return gas.entropy, gas.entropy_rotor

    plain, mixed = entropies(2000.0)
    assert mixed == pytest.approx(plain, abs=1e-4)
    # Far below 100 1/cm it is the entropy of a free rotor whose moment is that of the mode, or
    # 1e-44 kg m^2 where that is smaller: it stops growing.
    assert entropies(1e-4)[1] - entropies(1e-5)[1] == pytest.approx(0.0, abs=0.01)
    assert entropies(1e-5)[0] - entropies(1e-4)[0] == pytest.approx(GAS * math.log(10), rel=1e-3)
    # Half and half where both have the same weight.
    base = ideal_gas([], 30.0, [5.0], 1).entropy
    plain, mixed = (s - base for s in entropies(100.0))
    moment = 6.62607015e-34 / (8 * math.pi**2 * 2.99792458e10 * 100.0)
    moment = moment * 1e-44 / (moment + 1e-44)
    states = math.sqrt(8 * math.pi**3 * moment * 1.380649e-23 * ROOM) / 6.62607015e-34
    assert mixed == pytest.approx(plain / 2 + GAS * (0.5 + math.log(states)) / 2, rel=1e-9)


def test_what_is_no_gas_is_refused():
    for about in ({"temperature": 0.0}, {"pressure": -1.0}, {"multiplicity": 0}):
        with pytest.raises(ValueError, match="above 0"):
            ideal_gas([100.0], 18.0, [1.0], 1, **about)
    with pytest.raises(ValueError, match="above 0"):
        ideal_gas([-100.0], 18.0, [1.0], 1)
    assert ideal_gas([], 4.0, [], 1).pressure == ATMOSPHERE


@pytest.mark.parametrize("heavy, number", [((), 12), ((1,), 3), ((1, 2), 2), ((1, 2, 3), 3),
                                           ((1, 2, 3, 4), 12)])
def test_isotopes_make_a_gas_of_their_own(heavy, number):
    """The rotations that are left of the 12 of CH4: none turns D into H."""
    methane = Molecule([6, 1, 1, 1, 1], 0.642 * np.array(
        [[0, 0, 0], [1, 1, 1], [-1, -1, 1], [-1, 1, -1], [1, -1, -1]]),
        masses=[12.011, *(2.014102 if i in heavy else 1.008 for i in range(1, 5))])
    result = orbitrax.run(methane, "am1", "vibrations", optimize=True)
    about = GasOfResult(result, ROOM, ATMOSPHERE)
    assert (result.point_group, about.symmetry_number) == ("TD", number)
    modes = result.modes
    of_one = ideal_gas([float(nu) for nu in modes.frequencies], float(modes.masses.sum()),
                       modes.rotational_constants, 1)
    assert of_one.entropy - about.gas.entropy == pytest.approx(GAS * math.log(number), abs=1e-9)
