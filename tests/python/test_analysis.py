"""Spins, bond orders, gaps and what is odd: against another program, and against sums that hold."""

from array import array

import numpy as np
import pytest
from support import ROOT

import orbitrax
from orbitrax import Backend, Job, read_molecule
from orbitrax.orbitals.analysis import bond_orders, spin_squared
from orbitrax.results.odd import oddities
from orbitrax.results.result import Result
from orbitrax.results.text import single


@pytest.fixture(scope="module")
def backend():
    with Backend() as backend:
        yield backend


def rows(kind):
    for line in (ROOT / "tests/reference/bond_orders.txt").read_text("utf-8").splitlines():
        words = line.split()
        if words and words[0] == kind:
            yield words[1], *map(float, words[2:])


def example(backend, name, **settings):
    return orbitrax.run(ROOT / "examples" / f"{name}.xyz", "am1", backend=backend, **settings)


def test_a_job_brings_what_it_asks_for_from_every_door(backend):
    """A plain job, one of many, and a search; the sums over atoms are those of the molecule."""
    radical = Job(read_molecule(ROOT / "examples/nitrogen_dioxide.xyz"), "am1", bond_orders=True)
    search = Job(radical.molecule, "am1", orbitrax.Optimize(bond_orders=True))
    for found in (backend.run(radical), *backend.map([radical], workers=1), backend.run(search)):
        assert 0.75 < found.spin_squared < 0.8 and sum(found.spin_populations) == pytest.approx(1)
        assert [(i, j) for i, j, _ in found.bond_orders] == [(1, 2), (1, 3), (2, 3)]
        assert found.valences[0] == pytest.approx(sum(row[2] for row in found.bond_orders[:2]))


def test_bond_orders_and_valences_are_those_of_another_program(backend):
    found = example(backend, "formaldehyde", bond_orders=True)
    orders = {(i, j): order for i, j, order in found.bond_orders}
    for _, i, j, order in rows("bond"):
        assert orders[i, j] == pytest.approx(order, abs=0.0006)
    for _, i, valence in rows("valence"):
        assert found.valences[int(i) - 1] == pytest.approx(valence, abs=0.0006)


def test_the_square_of_the_spin_is_that_of_another_program(backend):
    for name, multiplicity, value in rows("spin"):
        found = example(backend, name, multiplicity=int(multiplicity), scf_limit=1e-9)
        assert found.spin == "UHF" and found.spin_squared == pytest.approx(value, abs=1e-5)
        assert found.spin_populations.sum() == pytest.approx(multiplicity - 1, abs=1e-5)


def test_a_bond_of_one_pair_has_the_order_one_and_its_triplet_none(backend):
    hydrogen = (["H", "H"], [[0, 0, 0], [0, 0, 0.74]])
    pair = orbitrax.run(hydrogen, "mndo", backend=backend, bond_orders=True)
    assert pair.bond_orders == [[1, 2, pytest.approx(1.0, abs=1e-6)]]
    triplet = orbitrax.run(hydrogen, "mndo", backend=backend, bond_orders=True, multiplicity=3)
    assert triplet.bond_orders == [] and triplet.spin_squared == pytest.approx(2.0, abs=1e-6)


def test_the_square_of_the_spin_of_two_spins_on_two_atoms():
    """A spin up here and one down there: half singlet, half triplet."""
    alpha, beta = np.diag([1.0, 0.0]), np.diag([0.0, 1.0])
    assert spin_squared(alpha, beta) == pytest.approx(1.0)
    assert spin_squared(alpha, alpha) == pytest.approx(0.0)
    assert bond_orders(alpha, beta, np.array([0, 1]), 2).tolist() == [[0, 0], [0, 0]]


def test_open_shells_are_unrestricted_unless_it_is_said_otherwise():
    radical = read_molecule(str(ROOT / "examples/nitrogen_dioxide.xyz"))
    water = read_molecule(str(ROOT / "examples/water.xyz"))
    assert Job(radical, "am1").uhf and not Job(water, "am1").uhf
    assert not Job(radical, "am1", rhf=True).uhf and not Job(radical, "am1", uhf=False).uhf
    assert Job(water, "am1", uhf=True).uhf
    with pytest.raises(orbitrax.UsageError, match="rhf is not allowed with uhf"):
        Job(water, "am1", uhf=True, rhf=True)


def test_both_doors_give_a_radical_the_same_energy(backend):
    from ase.io import read
    from orbitrax.ase import Orbitrax
    from orbitrax.units import ASE_EV_PER_KCAL

    ours = example(backend, "nitrogen_dioxide")
    atoms = read(ROOT / "examples/nitrogen_dioxide.xyz")
    with Orbitrax(method="am1") as atoms.calc:
        theirs = atoms.get_potential_energy() / ASE_EV_PER_KCAL
        assert theirs == pytest.approx(ours.total_energy, abs=1e-4)
        assert atoms.get_magnetic_moments().sum() == pytest.approx(1.0, abs=1e-5)


def test_a_half_filled_level_is_named_and_has_no_gap(backend):
    found = example(backend, "nitrogen_dioxide", rhf=True)
    assert [name for name, _ in found.frontier()] == ["HOMO", "SOMO", "LUMO"]
    assert found.gap_ev is None and found.spin_squared is None
    closed = example(backend, "water")
    levels = dict(closed.frontier())
    assert closed.gap_ev == levels["LUMO"] - levels["HOMO"] > 10


@pytest.mark.parametrize("method,has", [("cndo", False), ("indo", False), ("zindo1", False),
                                        ("zindos", False), ("mindo3", True), ("mndod", True)])
def test_only_methods_with_a_scale_of_it_give_a_heat_of_formation(backend, method, has):
    found = orbitrax.run(ROOT / "examples/water.xyz", method)
    assert (found.heat_of_formation is not None) is has
    from orbitrax.results.text import summary

    assert any("not defined" in line for line in summary(found)) is not has


def test_no_more_digits_are_printed_than_are_known():
    for value in (-11357.583, -7815.1973, 0.001234567, -0.5, 3539091.8, 59.19169, 123456789.0):
        shown = single(value)
        digits = sum(c.isdigit() for c in shown.strip().lstrip("-0.").replace(".", ""))
        assert digits <= 9 and len(shown) == 18
        assert float(shown) == pytest.approx(value, rel=1e-6, abs=6e-7)
    assert single(-11357.583).strip() == "-11357.58"


def odd(backend, symbols, positions, **settings):
    return " ".join(orbitrax.run((symbols, positions), "am1", backend=backend,
                                 **settings).remarks)


def test_what_is_odd_is_said_and_what_is_not_is_not(backend):
    assert "0.21 of a bond" in odd(backend, ["N", "N"], [[0, 0, 0], [0, 0, 0.3]])
    assert "a bond is broken" in odd(backend, ["H", "H"], [[0, 0, 0], [0, 0, 3.0]])
    small = Result("energy", "am1", 0, 1, "RHF", ["O", "O"], [[0, 0, 0], [0, 0, 1.2]])
    small.orbital_energies, small.occupancies = [-5.0, -3.0], [2.0, 0.0]
    assert "small for a closed shell" in oddities(small)[0]
    assert "dummy" in odd(backend, ["H", "Cl", "X"], [[0, 0, 0], [0, 0, 1.28], [3, 0, 0]])
    flat = [[0, 0, 0], [1, 0, 0], [-0.5, 0.87, 0], [-0.5, -0.87, 0]]
    assert "plane" in odd(backend, ["N", "H", "H", "H"], flat, task="optimize")
    for name in ("water", "caffeine", "ethanol", "benzene"):
        assert example(backend, name).remarks == []


def test_a_mixed_spin_is_said():
    found = Result("energy", "am1", 0, 1, "UHF", ["H", "H"], [[0, 0, 0], [0, 0, 3.0]])
    found.spin_squared = 0.98
    assert "higher spin" in oddities(found)[0]


@pytest.mark.parametrize("occupancies", [
    [2, 2, 0], [2, 2, 2], [0, 0, 0], [2, 0, 2], [2, 1, 0], [1.9, 0.1, 0], [0, 2, 0], [2, 0, 0]])
def test_the_frontier_is_the_same_however_the_levels_are_kept(occupancies):
    """Of plain arrays pairs below empty levels are counted; numpy's are looked at one by one."""
    found = []
    for kept in (lambda values: array("d", values), np.array):
        result = Result("energy", "am1", 0, 1, "RHF", ["H"], [0.0, 0.0, 0.0])
        result.orbital_energies, result.occupancies = kept([-9.0, -5.0, 1.0]), kept(occupancies)
        found.append((result.frontier(), result.gap_ev))
    assert found[0] == found[1]
