"""The ASE calculator against the real backend."""

import pickle
import warnings

import numpy as np
import pytest
from ase import Atoms, units
from ase.build import molecule
from ase.calculators import calculator

from orbitrax import Backend, Job, from_ase
from orbitrax.ase import Orbitrax


@pytest.fixture(scope="module")
def calc():
    with Orbitrax(method="cndo") as calc:
        yield calc


def energy(calc, atoms):
    atoms = atoms.copy()
    atoms.calc = calc
    return atoms.get_potential_energy()


def test_energy_is_the_total_energy_in_electron_volts(calc):
    atoms = molecule("H2O")
    with Backend() as backend:
        result = backend.run(Job(from_ase(atoms), "cndo"))
    assert energy(calc, atoms) == pytest.approx(result.total_energy * units.kcal / units.mol,
                                                abs=1e-9)
    assert calc.result.heat_of_formation == pytest.approx(result.heat_of_formation, abs=1e-3)


def test_free_energy_is_the_energy(calc):
    atoms = molecule("H2O")
    atoms.calc = calc
    free = atoms.get_potential_energy(force_consistent=True)
    assert free == atoms.get_potential_energy()


def test_dipole_has_the_length_and_direction_that_water_must_have(calc):
    atoms = molecule("H2O")
    atoms.calc = calc
    dipole = atoms.get_dipole_moment() / units.Debye
    toward_hydrogens = atoms.positions[1:].mean(axis=0) - atoms.positions[0]
    assert 1.9 < np.linalg.norm(dipole) < 2.4
    cosine = dipole @ toward_hydrogens / np.linalg.norm(dipole) / np.linalg.norm(toward_hydrogens)
    assert cosine == pytest.approx(1, abs=1e-6)


def test_charges_add_up_to_the_charge_of_the_molecule(calc):
    atoms = molecule("NH3")
    atoms.info["charge"] = 1
    atoms.info["multiplicity"] = 2
    atoms.calc = calc
    assert atoms.get_charges().sum() == pytest.approx(1, abs=1e-5)


def test_oxygen_of_the_library_is_a_triplet(calc):
    atoms = molecule("O2")
    atoms.calc = calc
    atoms.get_potential_energy()
    assert (calc.result.multiplicity, calc.result.spin) == (3, "UHF")
    assert atoms.get_magnetic_moment() == 2


def test_keywords_outrank_the_info_of_the_atoms():
    atoms = molecule("O2")
    atoms.info["multiplicity"] = 3
    with Orbitrax(method="cndo", multiplicity=1) as calc:
        energy(calc, atoms)
        assert calc.result.multiplicity == 1


def test_charges_that_add_up_to_no_whole_number_are_refused(calc):
    atoms = molecule("H2O")
    atoms.set_initial_charges([0.3, 0.1, 0.1])
    with pytest.raises(calculator.InputError, match="whole"):
        energy(calc, atoms)


def test_one_process_serves_many_geometries(calc):
    atoms = molecule("H2O")
    energy(calc, atoms)
    pid = calc._backend.pid
    energies = set()
    for stretch in np.linspace(0.95, 1.05, 5):
        moved = atoms.copy()
        moved.positions *= stretch
        energies.add(energy(calc, moved))
    assert calc._backend.pid == pid and len(energies) == 5


def test_results_are_kept_until_the_atoms_change(calc):
    atoms = molecule("H2O")
    atoms.calc = calc
    atoms.get_potential_energy()
    result = calc.result
    atoms.get_dipole_moment()
    assert calc.result is result
    atoms.rattle(0.01, seed=1)
    atoms.get_dipole_moment()
    assert calc.result is not result


def test_energy_does_not_depend_on_place_and_direction(calc):
    atoms = molecule("CH3CH2OH")
    reference = energy(calc, atoms)
    atoms.rotate(37, (1, 2, 3))
    atoms.translate((3, -2, 1))
    # Coordinates travel in single precision: 2e-7 Angstrom each, times the forces on nine atoms.
    assert energy(calc, atoms) == pytest.approx(reference, abs=1e-5)


def test_a_pickled_calculator_gives_the_same_energy(calc):
    atoms = molecule("H2O")
    copy = pickle.loads(pickle.dumps(calc))
    with copy:
        assert energy(copy, atoms) == energy(calc, atoms)
        assert copy._backend.pid != calc._backend.pid


def test_a_cell_is_ignored_with_a_warning(calc):
    atoms = molecule("H2O", vacuum=4, pbc=True)
    with pytest.warns(UserWarning, match="cell is ignored"):
        periodic = energy(calc, atoms)
    atoms.pbc = False
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        assert energy(calc, atoms) == pytest.approx(periodic, abs=1e-9)


def test_a_method_without_the_element_is_refused(calc):
    with pytest.raises(calculator.InputError, match="Xe"):
        energy(calc, Atoms("Xe"))


def test_an_scf_that_did_not_converge_is_an_error_unless_it_is_allowed():
    atoms = molecule("C6H6")
    with Orbitrax(method="cndo", scf_iterations=1) as strict:
        with pytest.raises(calculator.SCFError, match="scf_iterations"):
            energy(strict, atoms)
    with Orbitrax(method="cndo", scf_iterations=1, allow_unconverged=True) as lenient:
        assert np.isfinite(energy(lenient, atoms))


def test_stress_is_not_implemented(calc):
    atoms = molecule("H2O")
    atoms.calc = calc
    with pytest.raises(calculator.PropertyNotImplementedError):
        atoms.get_stress()


def test_unknown_settings_are_refused():
    with pytest.raises(calculator.InputError, match="multiplcity"):
        Orbitrax(multiplcity=3)


def test_a_missing_backend_is_a_fault_of_the_setup(tmp_path):
    with Orbitrax(method="cndo", backend=tmp_path / "nothing") as calc:
        with pytest.raises(calculator.CalculatorSetupError):
            energy(calc, molecule("H2O"))


def test_the_process_ends_with_its_calculator():
    calc = Orbitrax(method="cndo")
    energy(calc, molecule("H2O"))
    calc.close()
    assert calc._backend.pid is None


def test_the_state_that_the_info_tells_may_change(calc):
    """As ASE compares atoms, their info is none of it: the energy of the neutral was given once
    more."""
    atoms = molecule("H2O")
    atoms.calc = calc
    neutral = atoms.get_potential_energy()
    atoms.info["charge"] = 1
    cation = atoms.get_potential_energy()
    assert calc.result.charge == 1 and 8 < cation - neutral < 25
    atoms.info.clear()
    assert atoms.get_potential_energy() == pytest.approx(neutral, abs=1e-6)
    atoms.info["multiplicity"] = 3
    assert atoms.get_potential_energy() > neutral + 2 and calc.result.multiplicity == 3
    atoms.info["note"] = "nothing of the state"
    assert calc.check_state(atoms) == []


def test_a_warning_names_settings_as_python_has_them(calc):
    atoms = Atoms("H2", [[0, 0, 0], [0, 0, 3]])
    atoms.calc = calc
    with pytest.warns(UserWarning, match="unstable.* see uhf"):
        atoms.get_potential_energy()
