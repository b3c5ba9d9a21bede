"""Vibrations for ASE, against ASE's own differences of our forces."""

from __future__ import annotations

import numpy as np
import pytest
from ase.build import molecule
from ase.calculators.calculator import SCFError
from ase.vibrations import Vibrations
from orbitrax.ase import Orbitrax, vibrations


@pytest.mark.parametrize("name, method", [
    ("H2O", "am1"), ("NH3", "pm3"), ("C2H2", "mndo"), ("CH3OH", "mndod"), ("HCN", "mindo3"),
])  # fmt: skip
def test_frequencies_are_those_of_ase(name, method, tmp_path):
    data = vibrations(molecule(name), method, optimize=True)
    atoms = data.get_atoms()
    with Orbitrax(method=method, scf_limit=1e-10) as calc:
        atoms.calc = calc
        own = Vibrations(atoms, name=str(tmp_path / "vib"), delta=0.004)
        own.run()
        count = 3 * len(atoms) - (5 if name in ("C2H2", "HCN") else 6)
        expected = np.sort(own.get_frequencies().real)[-count:]
        assert np.abs(np.sort(data.get_frequencies().real)[-count:] - expected).max() < 1.0
        again = calc.vibrations(data.get_atoms())
    assert np.abs(again.get_hessian_2d() - data.get_hessian_2d()).max() < 1e-3


def test_masses_of_atoms_count():
    light = molecule("H2O")
    heavy = light.copy()
    heavy.set_masses([16.0, 2.014, 2.014])
    first, second = (vibrations(atoms, optimize=True) for atoms in (light, heavy))
    ratio = second.get_frequencies().real[-3:] / first.get_frequencies().real[-3:]
    assert (ratio < 0.75).all() and (ratio > 0.70).all()
    assert np.abs(second.get_hessian_2d() - first.get_hessian_2d()).max() < 1e-3


def test_a_slope_is_an_error_of_ase():
    with pytest.raises(SCFError, match="no stationary point"):
        vibrations(molecule("H2O"))
