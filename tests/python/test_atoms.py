"""Atoms and their ions against every way to occupy their orbitals, by hand from the one-centre
integrals of the tables."""

from __future__ import annotations

from itertools import combinations

import pytest
from orbitrax import METHODS, Backend, Job, Molecule
from orbitrax.molecules.elements import valence_electrons
from orbitrax.tables import load_parameters

EV = 23.061  # kcal/mol
FAMILY = [method for method in METHODS if method.key in ("mndo", "am1", "pm3")]


class Atom:
    """Orbitals s, x, y, z of an element."""

    def __init__(self, table, z: int):
        def value(name: str) -> float:
            return table.value(name, z)

        self.orbitals = range(1 if z == 1 else 4)
        self.one = [value("dUss")] + 3 * [value("dUpp")]
        self.same = [value("dGss")] + 3 * [value("dGpp")]
        self.with_s, self.exchange_s = value("dGsp"), value("dHsp")
        self.between, self.exchange = value("dGp2"), (value("dGpp") - value("dGp2")) / 2

    def coulomb(self, i: int, j: int) -> float:
        if i == j:
            return self.same[i]
        return self.with_s if 0 in (i, j) else self.between

    def swapped(self, i: int, j: int) -> float:
        return self.exchange_s if 0 in (i, j) else self.exchange

    def energy(self, alpha: tuple[int, ...], beta: tuple[int, ...]) -> float:
        """Of one determinant, eV."""
        total = sum(self.one[i] for i in alpha + beta)
        total += sum(self.coulomb(i, j) for i in alpha for j in beta)
        for spin in (alpha, beta):
            total += sum(self.coulomb(i, j) - self.swapped(i, j) for i, j in combinations(spin, 2))
        return total

    def lowest(self, n_alpha: int, n_beta: int) -> float:
        return min(self.energy(alpha, beta) for alpha in combinations(self.orbitals, n_alpha)
                   for beta in combinations(self.orbitals, n_beta))

    def lowest_closed(self, pairs: int) -> float:
        return min(self.energy(full, full) for full in combinations(self.orbitals, pairs))


def states(method, table):
    """Element, charge, multiplicity and electrons of either spin."""
    for z in sorted(table.elements):
        orbitals = 1 if z == 1 else 4
        for charge in (-1, 0, 1):
            electrons = valence_electrons(z) - charge
            for unpaired in range(electrons % 2, orbitals + 1, 2):
                beta = (electrons - unpaired) // 2
                if beta >= 0 and 0 < beta + unpaired <= orbitals:
                    yield z, charge, unpaired + 1, beta + unpaired, beta


@pytest.mark.parametrize("method", FAMILY, ids=lambda method: method.key)
def test_no_atom_is_above_a_way_to_occupy_its_orbitals(method):
    table = load_parameters(method)
    above, cases = [], 0
    with Backend(time_limit=60) as backend:
        for z, charge, multiplicity, alpha, beta in states(method, table):
            atom, molecule = Atom(table, z), Molecule([z], [[0.0, 0.0, 0.0]], charge=charge)
            bounds = [({"uhf": True}, atom.lowest(alpha, beta))]
            if alpha == beta:
                bounds.append(({"rhf": True}, atom.lowest_closed(alpha)))
            for kind, bound in bounds:
                result = backend.run(Job(molecule, method, multiplicity=multiplicity, **kind))
                assert result.converged
                cases += 1
                if result.total_energy > EV * bound + 1e-3:
                    above.append((z, charge, multiplicity, kind, result.total_energy - EV * bound))
    assert not above and cases > 150
