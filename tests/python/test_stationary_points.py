"""Minima that another program found, found again from distorted structures."""

import numpy as np
import pytest
from support import ROOT

from orbitrax import Backend, Job, Molecule, Optimize
from orbitrax.molecules.geometry import find_bonds

TABLE = ROOT / "tests" / "reference" / "stationary_points.txt"
METHODS = ("am1", "pm3", "mndo", "mindo3")

HEAT = 0.005  # kcal/mol
BOND = 0.0005  # Angstrom
DISTORTION = 0.03  # standard deviation of every coordinate, Angstrom
LIMIT = 0.003  # RMS gradient, kcal/(mol Angstrom)


def minima(method):
    """Name, charge, multiplicity, unrestricted, heat, symbols and positions of each minimum."""
    found = []
    for line in TABLE.read_text("utf-8").splitlines():
        words = line.split()
        if not words or words[0].startswith("#"):
            continue
        if words[0] == "molecule":
            found.append((words[1:], [], []))
        else:
            found[-1][1].append(words[0])
            found[-1][2].append([float(word) for word in words[1:]])
    return [(name, int(charge), int(multiplicity), spin == "UHF", float(heat), symbols,
             np.array(positions))
            for (name, key, charge, multiplicity, spin, heat), symbols, positions in found
            if key == method]


def bond_lengths(symbols, positions):
    """Lengths of the bonds of a structure, by their atoms."""
    from ase.data import atomic_numbers

    numbers = np.array([atomic_numbers[symbol] for symbol in symbols])
    bonds = find_bonds(numbers, positions)
    return {(i, j): np.linalg.norm(positions[i] - positions[j])
            for i, near in enumerate(bonds) for j in near if i < j}


@pytest.fixture(scope="module")
def backend():
    with Backend() as backend:
        yield backend


def optimised(backend, method, minimum):
    """Result of an optimisation from the distorted structure of a minimum."""
    from ase.data import atomic_numbers

    name, charge, multiplicity, unrestricted, _, symbols, positions = minimum
    noise = np.random.default_rng(1).normal(scale=DISTORTION, size=positions.shape)
    molecule = Molecule([atomic_numbers[symbol] for symbol in symbols], positions + noise,
                        title=name)
    return backend.run(Job(molecule, method, Optimize(
        charge=charge, multiplicity=multiplicity, uhf=unrestricted, limit=LIMIT, scf_limit=1e-9,
        report_period=0)))


@pytest.mark.parametrize("method", METHODS)
def test_heats_and_bond_lengths_are_those_of_another_program(backend, method):
    heats, bonds, unfinished = {}, {}, []
    for minimum in minima(method):
        name, heat, symbols, positions = minimum[0], *minimum[4:]
        result = optimised(backend, method, minimum)
        if not result.converged:
            unfinished.append(name)
        heats[name] = result.heat_of_formation - heat
        found = bond_lengths(symbols, np.asarray(result.coordinates))
        for pair, length in bond_lengths(symbols, positions).items():
            bonds[name, pair] = found[pair] - length
    worst_heat, worst_bond = max(heats, key=lambda k: abs(heats[k])), max(
        bonds, key=lambda k: abs(bonds[k]))
    print(f"\n{method}: {len(heats)} minima, {len(bonds)} bonds; worst heat {worst_heat} "
          f"{heats[worst_heat]:+.5f} kcal/mol, worst bond {worst_bond} {bonds[worst_bond]:+.6f} A")
    assert not unfinished
    assert {k: v for k, v in heats.items() if abs(v) > HEAT} == {}
    assert {k: v for k, v in bonds.items() if abs(v) > BOND} == {}


def test_the_table_has_minima_of_every_method():
    assert [len(minima(method)) for method in METHODS] == [22, 22, 22, 20]
