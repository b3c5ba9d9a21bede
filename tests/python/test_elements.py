"""The tables of elements against those of ASE, which has them from the same sources."""

import ase.data
import numpy as np
from ase.data.colors import jmol_colors
from support import ROOT  # noqa: F401

from orbitrax.molecules.elements import MASSES, SYMBOLS, formula_of
from orbitrax.molecules.looks import COLOURS, RADII


def test_symbols_masses_and_radii_are_those_of_ase():
    n = len(SYMBOLS)
    assert len(MASSES) == len(RADII) == len(COLOURS) == n == 106
    assert list(SYMBOLS) == ase.data.chemical_symbols[:n]
    assert list(MASSES) == ase.data.atomic_masses[:n].tolist()
    assert list(RADII) == ase.data.covalent_radii[:n].tolist()


def test_colours_are_those_of_jmol():
    found = np.array([tuple(bytes.fromhex(colour)) for colour in COLOURS]) / 255
    assert np.abs(found - jmol_colors[:106]).max() < 0.0006  # three decimals there


def test_formulas_begin_with_carbon_and_hydrogen():
    assert formula_of(["O", "H", "H"]) == "H2O"
    assert formula_of(["N", "C", "H", "O", "C", "H"]) == "C2H2NO"
    assert formula_of(["Ti", "Cl", "Cl"]) == "Cl2Ti"
