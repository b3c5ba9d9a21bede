"""What ASE builds on forces: dynamics, minimisers, bands, vibrations, its own calculator tests."""

import numpy as np
import pytest
from ase import Atoms, units
from ase.build import molecule
from ase.io import read
from ase.optimize import BFGS, FIRE, LBFGS
from support import ROOT

from orbitrax import Backend, Job, Optimize, from_ase
from orbitrax.ase import Orbitrax

KCAL = units.kcal / units.mol


@pytest.fixture
def calc():
    with Orbitrax(method="am1", scf_limit=1e-9) as calc:
        yield calc


# ---- dynamics -----------------------------------------------------------------------------------


def total_energies(atoms, femtoseconds, step=0.5):
    """Total energies in kcal/mol along a trajectory of constant energy, one a step, after the
    velocities have been drawn for 300 K."""
    from ase.md.velocitydistribution import MaxwellBoltzmannDistribution, Stationary, ZeroRotation
    from ase.md.verlet import VelocityVerlet

    MaxwellBoltzmannDistribution(atoms, temperature_K=300, rng=np.random.default_rng(5))
    Stationary(atoms)
    ZeroRotation(atoms)
    dynamics = VelocityVerlet(atoms, timestep=step * units.fs)
    energies = []
    dynamics.attach(lambda: energies.append(atoms.get_total_energy() / KCAL))
    dynamics.run(round(femtoseconds / step))
    return np.array(energies)


def drift(energies, femtoseconds):
    """Slope of the energies, kcal/mol for each picosecond."""
    times = np.linspace(0, femtoseconds / 1000, len(energies))
    return np.polyfit(times, energies, 1)[0]


def water_dimer(calc):
    atoms = read(ROOT / "examples" / "water_dimer.xyz")
    atoms.set_initial_charges(None)
    atoms.calc = calc
    BFGS(atoms, logfile=None).run(fmax=0.01, steps=200)
    return atoms


@pytest.mark.parametrize("femtoseconds", [100, pytest.param(1000, marks=pytest.mark.long)])
def test_a_water_dimer_keeps_its_energy(calc, femtoseconds):
    atoms = water_dimer(calc)
    energies = total_energies(atoms, femtoseconds)
    slope = drift(energies, femtoseconds) / len(atoms)
    print(f"\n{femtoseconds} fs: drift {slope:+.5f} kcal/mol/atom/ps, standard deviation "
          f"{energies.std() / len(atoms):.5f} kcal/mol/atom")
    assert len(energies) == 2 * femtoseconds + 1
    assert abs(slope) < 0.01
    assert atoms.get_kinetic_energy() / KCAL > 1  # it has moved


def test_the_error_of_the_energy_falls_with_the_square_of_the_step(calc):
    deviations = []
    for step in (1.0, 0.5):
        atoms = molecule("H2O")
        atoms.calc = calc
        deviations.append(total_energies(atoms, 30, step).std())
    assert deviations[0] / deviations[1] == pytest.approx(4, rel=0.3)


# ---- minimisers ---------------------------------------------------------------------------------


@pytest.mark.parametrize("optimiser", [BFGS, LBFGS, FIRE])
def test_the_minimisers_of_ase_reach_the_minimum_of_optimize(calc, optimiser):
    atoms = molecule("CH3OH")
    atoms.rattle(0.05, seed=3)
    with Backend() as backend:
        ours = backend.run(Job(from_ase(atoms), "am1", Optimize(limit=0.01, scf_limit=1e-9)))
    atoms.calc = calc
    assert optimiser(atoms, logfile=None).run(fmax=0.0005, steps=500)
    assert atoms.get_potential_energy() / KCAL == pytest.approx(ours.total_energy, abs=1e-3)
    assert distances(atoms.positions) == pytest.approx(distances(ours.coordinates), abs=2e-3)


def distances(positions):
    positions = np.asarray(positions)
    return np.linalg.norm(positions[:, None] - positions[None], axis=2)


# ---- bands --------------------------------------------------------------------------------------


def test_a_band_with_one_calculator_finds_the_barrier_of_ammonia(calc):
    from ase.neb import NEB

    first = molecule("NH3")
    first.calc = calc
    BFGS(first, logfile=None).run(fmax=0.001, steps=200)
    last = first.copy()
    last.positions[:, 2] *= -1  # the axis of the pyramid is z
    last.calc = calc
    images = [first] + [first.copy() for _ in range(3)] + [last]
    for image in images[1:-1]:
        image.calc = calc
    band = NEB(images, allow_shared_calculator=True)
    band.interpolate()
    assert FIRE(band, logfile=None).run(fmax=0.02, steps=300)
    energies = [image.get_potential_energy() / KCAL for image in images]
    barrier = energies[2] - energies[0]
    print(f"\nbarrier {barrier:.4f} kcal/mol")
    assert energies[4] == pytest.approx(energies[0], abs=1e-4)
    assert energies[1] == pytest.approx(energies[3], abs=1e-2)

    flat = first.copy()  # the planar structure is the top, by symmetry
    flat.positions[:, 2] = 0
    flat.calc = calc
    BFGS(flat, logfile=None).run(fmax=0.001, steps=200)
    assert np.ptp(flat.positions[:, 2]) < 1e-6
    assert barrier == pytest.approx(flat.get_potential_energy() / KCAL - energies[0], abs=0.02)


# ---- vibrations ---------------------------------------------------------------------------------


def test_water_has_three_vibrations(calc, tmp_path):
    from ase.vibrations import Vibrations

    atoms = molecule("H2O")
    atoms.calc = calc
    BFGS(atoms, logfile=None).run(fmax=0.0005, steps=200)
    vibrations = Vibrations(atoms, name=str(tmp_path / "modes"), nfree=4)
    vibrations.run()
    found = vibrations.get_frequencies()
    print(f"\n{found}")
    assert np.abs(found[:6]).max() < 40  # translations and rotations
    assert np.abs(found[6:].imag).max() == 0
    bend, stretches = found[6].real, found[7:].real
    assert 1600 < bend < 2100 and ((3300 < stretches) & (stretches < 3800)).all()


# ---- ASE's own tests of calculators -------------------------------------------------------------


@pytest.mark.parametrize("method", ["cndo", "mindo3", "am1", "zindo1", "mndod"])
def test_ase_finds_the_forces_equal_to_differences(method, capsys):
    from ase.calculators.test import gradient_test

    atoms = molecule("CH3OH")
    atoms.rattle(0.05, seed=2)
    with Orbitrax(method=method, scf_limit=1e-9) as atoms.calc:
        forces, _ = gradient_test(atoms)
    rows = [line.split() for line in capsys.readouterr().out.splitlines()[1:]]
    worst = {float(step): float(difference) for step, difference in rows}
    print(method, worst)
    # Coordinates travel in single precision: a step of 1e-3 Angstrom is good to 1e-4 of itself, one
    # of 1e-8 is none. The error of a longer step falls with its square.
    assert worst[0.001] < 3e-4 * np.abs(forces).max()
    assert worst[0.1] / worst[0.01] == pytest.approx(100, rel=0.1)


def test_numeric_forces_agree(calc):
    from ase.calculators.test import numeric_force

    atoms = molecule("H2CO")
    atoms.rattle(0.05, seed=2)
    atoms.positions = np.round(atoms.positions * 1024) / 1024  # survives single precision
    atoms.calc = calc
    found = [[[numeric_force(atoms, atom, axis, step) for axis in range(3)]
              for atom in range(len(atoms))] for step in (1 / 256, 1 / 512)]
    extrapolated = (4 * np.array(found[1]) - np.array(found[0])) / 3
    assert np.abs(atoms.get_forces() - extrapolated).max() < 1e-5  # eV/Angstrom


class Factory:
    """What ASE's tests take for a source of calculators."""

    name = "orbitrax"

    def calc(self, **settings):
        return Orbitrax(method="am1", **settings)


@pytest.mark.filterwarnings("ignore:Orbitrax computes molecules")
def test_ases_test_of_trajectories_passes(tmp_path, monkeypatch, request):
    request.config.addinivalue_line("markers", "calculator: of ASE's own tests")
    test_traj = pytest.importorskip("ase.test.calculator.test_traj")
    monkeypatch.chdir(tmp_path)
    test_traj.run(Factory())


def test_forces_of_a_lone_atom_vanish(calc):
    atoms = Atoms("H", positions=[(0.3, 0.2, 0.1)])
    atoms.calc = calc
    assert np.abs(atoms.get_forces()).max() == 0
