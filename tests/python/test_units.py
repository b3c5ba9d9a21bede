"""Conversions: each under the name of whose it is, and true to it."""

import math

import ase.units
import pytest
from support import ROOT  # noqa: F401

from orbitrax import units


def test_those_of_ase_are_what_ase_has():
    assert units.ASE_EV_PER_KCAL == pytest.approx(ase.units.kcal / ase.units.mol, rel=1e-15)
    assert units.ASE_EANGSTROM_PER_DEBYE == pytest.approx(ase.units.Debye, rel=1e-15)


def test_those_of_codata_hang_together():
    """Bohr, hartree and the fine-structure constant: e^2 / (4 pi epsilon_0) in eV Angstrom."""
    product = units.CODATA_EV_PER_HARTREE * units.CODATA_ANGSTROM_PER_BOHR
    assert product == pytest.approx(14.399645478, rel=1e-9)
    joules, avogadro, calorie = 4.3597447222071e-18, 6.02214076e23, 4.184
    assert units.CODATA_KCAL_PER_HARTREE == pytest.approx(joules * avogadro / calorie / 1000,
                                                          abs=1e-4)


def test_the_others_are_near_but_not_the_same():
    for ours, exact in ((units.WIRE_BOHR_PER_ANGSTROM, 1 / units.CODATA_ANGSTROM_PER_BOHR),
                        (1 / units.REPORT_HARTREE_PER_KCAL, units.CODATA_KCAL_PER_HARTREE),
                        (units.REPORT_EV_PER_KCAL, units.ASE_EV_PER_KCAL),
                        (units.RULE_ANGSTROM_PER_BOHR, units.CODATA_ANGSTROM_PER_BOHR)):
        assert ours != exact and math.isclose(ours, exact, rel_tol=1e-4)
