"""ASE's own tests of calculators, run with ours, and their shapes where they are bound to names."""

from __future__ import annotations

import numpy as np
import pytest
from ase.build import molecule
from ase.calculators.checkpoint import CheckpointCalculator
from ase.calculators.qmmm import SimpleQMMM
from ase.calculators.test import gradient_test, numeric_force
from ase.md.verlet import VelocityVerlet
from ase.optimize import BFGS, FIRE, LBFGS
from ase.test.calculator import test_traj
from ase.units import fs, kB

from orbitrax.ase import Orbitrax

METHODS = ("cndo", "indo", "mindo3", "mndo", "am1", "pm3", "zindo1", "zindos", "mndod")


class Factory:
    """What ASE's tests take a calculator from."""

    name = "orbitrax"

    def calc(self, **settings):
        return Orbitrax(**settings)


@pytest.mark.filterwarnings("ignore:.*cell")
def test_a_trajectory_keeps_energy_and_forces(tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    test_traj.run(Factory())


@pytest.mark.parametrize("method", METHODS)
def test_forces_are_the_slope_of_the_energy(method):
    atoms = molecule("H2CO")
    atoms.rattle(0.05, seed=3)
    with Orbitrax(method=method, scf_limit=1e-9) as calc:
        atoms.calc = calc
        slope = numeric_force(atoms, 1, 2, d=1e-4)
        assert atoms.get_forces()[1, 2] == pytest.approx(slope, abs=2e-4)


def test_the_gradient_test_of_ase_passes(capsys):
    atoms = molecule("H2O")
    with Orbitrax(scf_limit=1e-9) as calc:
        atoms.calc = calc
        forces, slopes = gradient_test(atoms)
    assert np.abs(forces - slopes).max() < 2e-4


@pytest.mark.parametrize("optimizer", [BFGS, LBFGS, FIRE])
def test_the_optimisers_of_ase_find_one_minimum(optimizer):
    atoms = molecule("CH4")
    atoms.rattle(0.05, seed=1)
    with Orbitrax(method="am1") as calc:
        atoms.calc = calc
        assert optimizer(atoms, logfile=None).run(fmax=0.005, steps=200)
        # C-H of methane, AM1: 1.112 Angstrom (Dewar et al., J. Am. Chem. Soc. 107, 3902).
        assert atoms.get_distances(0, [1, 2, 3, 4]) == pytest.approx(4 * [1.112], abs=0.002)


def test_verlet_keeps_the_energy():
    atoms = molecule("H2O")
    atoms.set_velocities(np.random.default_rng(2).normal(0, 0.01, (3, 3)))
    with Orbitrax(method="am1") as calc:
        atoms.calc = calc
        motion = VelocityVerlet(atoms, 0.5 * fs)
        first = atoms.get_total_energy()
        motion.run(40)
        moved = atoms.get_kinetic_energy()
        assert abs(atoms.get_total_energy() - first) < 0.02 * max(moved, kB * 300)


def test_ours_is_the_inner_part_of_a_simple_qmmm():
    """With the same method inside and outside nothing is gained or lost."""
    atoms = molecule("H2O")
    atoms.extend(molecule("CH4"))
    atoms.positions[3:] += [4.0, 0.3, 0.1]
    with Orbitrax() as inner, Orbitrax() as outer, Orbitrax() as small, Orbitrax() as whole:
        atoms.calc = SimpleQMMM([0, 1, 2], inner, small, outer)
        found = atoms.get_potential_energy(), atoms.get_forces()
        atoms.calc = whole
        assert found[0] == pytest.approx(atoms.get_potential_energy(), abs=1e-7)
        assert found[1] == pytest.approx(atoms.get_forces(), abs=1e-5)


def test_a_checkpoint_repeats_without_calculating(tmp_path):
    path = str(tmp_path / "checkpoint.db")
    energies = []
    for _ in range(2):
        atoms = molecule("H2O")
        with Orbitrax() as calc:
            atoms.calc = CheckpointCalculator(calc, path)
            energies.append(atoms.get_potential_energy())
            used = calc.result is not None
    assert energies[0] == energies[1] and not used
