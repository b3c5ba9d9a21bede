"""Internal coordinates and the quasi-Newton search, on potentials whose minima are known."""

import numpy as np
import pytest
import support  # the package from the checkout

from orbitrax import Backend, Job, Optimize, read_molecule
from orbitrax.minimise import Limits, minimise
from orbitrax.minimise.internals import Internals
from orbitrax.minimise.quasi_newton import _rigid_motions
from orbitrax.molecules.molecule import Molecule
from orbitrax.tasks.client_search import bonds_and_links

WATER = (np.array([8, 1, 1]), np.array([[0.0, 0.0, 0.1], [0.0, 0.8, -0.5], [0.0, -0.75, -0.45]]),
         [(0, 1), (0, 2)])
PEROXIDE = np.array([[0.0, 0.7, 0.0], [0.0, -0.7, 0.0], [0.8, 0.9, 0.3], [-0.6, -0.9, 0.6]])
BUTYNE = np.array([[0.0, 0.0, z] for z in (-2.06, -0.6, 0.6, 2.06)] +
                  [[x, y, z] for z in (-2.4, 2.4) for x, y in
                   ((1.03, 0.0), (-0.51, 0.89), (-0.51, -0.89))])
BUTYNE_BONDS = [(0, 1), (1, 2), (2, 3), (0, 4), (0, 5), (0, 6), (3, 7), (3, 8), (3, 9)]
SHAPES = {"water": (WATER[1], WATER[2]),
          "peroxide": (PEROXIDE, [(0, 1), (0, 2), (1, 3)]),
          "butyne": (BUTYNE, BUTYNE_BONDS),
          "dioxide": (np.array([[0.0, 0.1, 0.0], [1.2, 0.0, 0.0], [-1.2, 0.0, 0.0]]), WATER[2])}


def shaken(positions, seed=5, size=0.05):
    return positions + np.random.default_rng(seed).normal(0, size, positions.shape)


@pytest.mark.parametrize("name", SHAPES)
def test_the_slopes_are_those_of_the_values(name):
    positions, bonds = SHAPES[name]
    internals = Internals(positions, bonds)
    positions = shaken(positions)
    slopes, step = internals.slopes(positions), 1e-5
    for place in range(positions.size):
        shift = np.zeros(positions.size)
        shift[place] = step
        shift = shift.reshape(positions.shape)
        change = internals.difference(internals.values(positions + shift),
                                      internals.values(positions - shift))
        assert slopes[:, place] == pytest.approx(change / (2 * step), abs=1e-7)


@pytest.mark.parametrize("name,count", [("water", 3), ("peroxide", 6), ("butyne", 24)])
def test_the_coordinates_describe_every_way_to_deform(name, count):
    positions, bonds = SHAPES[name]
    slopes = Internals(positions, bonds).slopes(shaken(positions, size=0.02))
    assert np.linalg.matrix_rank(slopes, tol=1e-3) >= count  # 3n - 6


@pytest.mark.parametrize("name", SHAPES)
def test_the_square_is_that_of_the_whole_matrix(name):
    positions, bonds = SHAPES[name]
    internals = Internals(positions, bonds)
    slopes = internals.slopes(shaken(positions))
    weights = np.linspace(0.5, 3.0, len(internals))
    square = internals.square(slopes, weights)
    assert square == pytest.approx(slopes.T @ np.diag(weights) @ slopes, abs=1e-12)
    assert (square == square.T).all()


def test_three_atoms_in_a_line_have_two_bends_across_and_no_torsion():
    internals = Internals(BUTYNE, BUTYNE_BONDS)
    assert internals.linear.tolist() == 2 * [[0, 1, 2], [1, 2, 3]]
    assert {tuple(chain[1:3]) for chain in internals.torsions.tolist()} == {(0, 3)}


def test_a_torsion_changes_the_short_way_round():
    internals = Internals(PEROXIDE, [(0, 1), (0, 2), (1, 3)])
    values = internals.values(PEROXIDE)
    after, before = values.copy(), values.copy()
    after[-1], before[-1] = -3.1, 3.1
    assert internals.difference(after, before)[-1] == pytest.approx(2 * np.pi - 6.2)


def test_a_torsion_has_the_usual_sign():
    chain = np.array([[1.0, 0.0, 0.0], [0.0, 0.0, 0.0], [0.0, 0.0, 1.5], [0.0, 1.0, 1.5]])
    internals = Internals(chain, [(0, 1), (1, 2), (2, 3)])
    assert internals.values(chain)[-1] == pytest.approx(np.pi / 2)  # clockwise from the front


# ---- the search ---------------------------------------------------------------------------------


def morse(positions):
    """A pair bound by 100 kcal/mol at 1.1 Angstrom."""
    line = positions[1] - positions[0]
    length = np.linalg.norm(line)
    rest = np.exp(-2.0 * (length - 1.1))
    slope = 100 * 2 * (1 - rest) * 2.0 * rest * line / length
    return 100 * (1 - rest) ** 2, np.array([-slope, slope])


def springs(pairs, lengths, stiffness=400.0):
    """Harmonic springs between pairs of atoms."""
    def function(positions):
        energy, gradient = 0.0, np.zeros_like(positions)
        for (i, j), length in zip(pairs, lengths):
            line = positions[i] - positions[j]
            distance = np.linalg.norm(line)
            energy += 0.5 * stiffness * (distance - length) ** 2
            pull = stiffness * (distance - length) * line / distance
            gradient[i] += pull
            gradient[j] -= pull
        return energy, gradient
    return function


def test_a_pair_finds_its_length():
    found = minimise(morse, np.array([6, 6]), np.array([[0.0, 0.0, 0.0], [0.0, 0.3, 1.6]]),
                     [(0, 1)], Limits(1e-3, 1e-2, 1e-7))
    assert found.converged
    assert np.linalg.norm(found.positions[1] - found.positions[0]) == pytest.approx(1.1, abs=1e-5)
    assert found.energies < 15


@pytest.mark.parametrize("start", [1.6, 2.2, 3.0, 4.0])
def test_a_stretched_pair_does_not_run_into_itself(start):
    seen = []

    def pair(positions):
        """Morse's, for two hydrogen atoms of AM1, nearly."""
        line = positions[1] - positions[0]
        length = np.linalg.norm(line)
        seen.append(length)
        rest = np.exp(-2.2 * (length - 0.68))
        slope = 110 * 2 * (1 - rest) * 2.2 * rest * line / length
        return 110 * (1 - rest) ** 2, np.array([-slope, slope])

    found = minimise(pair, np.array([1, 1]), np.array([[0.0, 0.0, 0.0], [0.0, 0.0, start]]),
                     [(0, 1)], Limits(1e-3, 1e-2, 1e-7))
    assert found.converged and seen[-1] == pytest.approx(0.68, abs=1e-4)
    assert min(seen) > 0.45 and min(b / a for a, b in zip(seen, seen[1:])) > 0.69


def test_a_triangle_of_springs_takes_their_lengths():
    lengths = (0.95, 1.0, 1.6)
    found = minimise(springs([(0, 1), (0, 2), (1, 2)], lengths), *WATER, Limits(1e-3, 1e-2, 1e-7))
    distances = [np.linalg.norm(found.positions[i] - found.positions[j])
                 for i, j in ((0, 1), (0, 2), (1, 2))]
    assert distances == pytest.approx(lengths, abs=1e-4)
    assert found.energy == pytest.approx(0.0, abs=1e-5)


def test_a_group_turns_by_half_a_circle():
    """A torsion's cosine alone moves the atoms: along an arc, not a line."""
    def turn(positions):
        internals = Internals(PEROXIDE, [(0, 1), (0, 2), (1, 3)])
        angle = internals.values(positions)[-1]
        slopes = internals.slopes(positions)[-1]
        rigid, pull = springs([(0, 1), (0, 2), (1, 3), (1, 2), (0, 3)],
                              (1.4, 0.95, 0.95, 1.9, 1.9))(positions)
        return (rigid - 3 * np.cos(angle - 2.9),
                pull + 3 * np.sin(angle - 2.9) * slopes.reshape(-1, 3))

    found = minimise(turn, np.array([8, 8, 1, 1]), PEROXIDE, [(0, 1), (0, 2), (1, 3)],
                     Limits(1e-3, 1e-2, 1e-6))
    angle = Internals(PEROXIDE, [(0, 1), (0, 2), (1, 3)]).values(found.positions)[-1]
    assert found.converged and found.energy == pytest.approx(-3.0, abs=1e-5)
    assert np.cos(angle - 2.9) == pytest.approx(1.0, abs=1e-6)
    assert found.energies < 40


def test_the_end_is_told_when_the_steps_run_out():
    found = minimise(morse, np.array([6, 6]), np.array([[0.0, 0.0, 0.0], [0.0, 0.0, 1.9]]),
                     [(0, 1)], Limits(1e-9, 1e-9, 1e-30, steps=4))
    assert not found.converged and "4 steps" in found.why
    assert found.energies <= 6


def test_a_surface_that_only_rises_ends_the_search():
    count = 0

    def lying(positions):  # whatever is tried costs more than the last
        nonlocal count
        count += 1
        return float(count), morse(positions)[1]

    found = minimise(lying, np.array([6, 6]), np.array([[0.0, 0.0, 0.0], [0.0, 0.0, 1.9]]),
                     [(0, 1)])
    assert found.why == "no step downhill lowers the energy"
    assert found.energy == 1.0  # the best of them


def test_what_the_energy_raises_passes_through():
    def broken(positions):
        raise ArithmeticError("no energy here")

    with pytest.raises(ArithmeticError, match="no energy here"):
        minimise(broken, *WATER)


def test_the_minimum_is_the_backends_with_fewer_energies(examples):
    molecule = read_molecule(str(examples / "ethanol.xyz"))
    bonds = [(i, j) for i in range(9) for j in range(i + 1, 9)
             if np.linalg.norm(molecule.positions[i] - molecule.positions[j]) < 1.65]
    with Backend() as backend:
        theirs = backend.run(Job(molecule, "am1", Optimize(limit=0.01, optimizer="polak-ribiere")))

        def am1(positions):
            result = backend.run(Job(molecule.replace(positions=positions), "am1"))
            return result.total_energy, result.gradient

        ours = minimise(am1, molecule.numbers, molecule.positions, bonds,
                        Limits(0.01, 0.05, 1e-5))
    assert ours.converged
    assert ours.energy == pytest.approx(theirs.total_energy, abs=1e-4)
    assert ours.energies < theirs.energy_points / 3


DIMER = np.array([[0.0, 0.0, 0.0], [0.95, 0.2, 0.1], [-0.3, 0.9, -0.1],
                  [2.9, 0.1, 0.2], [3.3, 0.6, -0.6], [3.2, 0.7, 0.9]])


def test_the_distances_between_two_parts_say_how_they_lie():
    """Six motions of one against the other; fewer where a part is a rod or an atom."""
    for kept, most in (((0, 1, 2, 3, 4, 5), 12), ((0, 1, 2, 3, 4), 9), ((0, 1, 2, 3), 6)):
        water = Molecule([8, 1, 1, 8, 1, 1][:len(kept)], DIMER[list(kept)])
        bonds, links = bonds_and_links(water)
        slopes = Internals(water.positions, bonds, links).slopes(water.positions)
        assert np.linalg.matrix_rank(slopes, tol=1e-3) == most


def test_two_molecules_that_hold_together_come_to_rest():
    """Only their distance had a coordinate once: 2000 energies were not enough."""
    water = Molecule([8, 1, 1, 8, 1, 1], DIMER)
    with Backend() as backend:
        ours, theirs = (backend.run(Job(water, "pm3", Optimize(limit=0.01, optimizer=optimizer)))
                        for optimizer in ("quasi-newton", "ef"))
    assert ours.converged and theirs.converged
    assert ours.total_energy == pytest.approx(theirs.total_energy, abs=2e-3)
    assert ours.energy_points < 80


def test_the_motions_of_the_whole_are_those_of_shifts_and_turns():
    for positions, count in ((np.zeros((1, 3)), 3), (BUTYNE[:4], 5), (DIMER, 6)):
        whole = _rigid_motions(positions)
        assert whole.shape == (count, positions.size)
        assert whole @ whole.T == pytest.approx(np.eye(count), abs=1e-12)
        turned = positions + np.cross([1e-6, 2e-6, -3e-6], positions) + 1e-6
        change = (turned - positions).ravel()
        assert whole.T @ (whole @ change) == pytest.approx(change, abs=1e-15)


def test_a_line_that_starts_bent_is_not_turned_as_a_whole():
    """Bends across a line have axes that are fixed in space: 19 energies once."""
    dioxide = Molecule([6, 8, 8], [[0, 0, 0.1], [1.07, 0, 0], [-1.3, 0, 0]])
    with Backend() as backend:
        found = backend.run(Job(dioxide, "am1", Optimize(limit=0.01)))
    assert found.converged and abs(found.heat_of_formation + 79.8691) < 1e-3
    assert found.energy_points < 15
    places = np.reshape(found.coordinates, (-1, 3))
    along = places[1] - places[2]
    assert np.degrees(np.arctan2(np.hypot(*along[1:]), along[0])) < 3


# ---- what is held -------------------------------------------------------------------------------


def am1(name):
    from orbitrax.molecules.geometry import find_bonds

    molecule = read_molecule(str(support.ROOT / "examples" / name))
    job = Job(molecule, "am1")
    bonds = sorted({tuple(sorted((i, j))) for i, near in enumerate(find_bonds(
        molecule.numbers, molecule.positions)) for j in near})

    def function(backend, positions):
        result = backend.run(job.replace(molecule=molecule.replace(positions=positions)))
        return result.total_energy, result.gradient
    return molecule, bonds, function


def test_frozen_atoms_stay_to_the_last_bit_and_the_others_come_to_rest():
    molecule, bonds, function = am1("ethanol.xyz")
    with Backend() as backend:
        found = minimise(lambda x: function(backend, x), molecule.numbers, molecule.positions,
                         bonds, Limits(0.02, 0.1, 1e-4), frozen=(0, 1, 2))
    assert found.converged
    start = molecule.positions.astype(np.float32).astype(float)
    assert np.array_equal(found.positions[:3], start[:3])
    assert np.abs(found.gradient[3:]).max() < 0.1 < np.abs(found.gradient[:3]).max()


@pytest.mark.parametrize("kind,atoms,value", [
    ("stretch", (0, 1), 1.6), ("bend", (0, 1, 2), 100.0), ("torsion", (0, 1, 2, 3), 40.0)])
def test_a_held_value_is_exact_and_nothing_else_pulls(kind, atoms, value):
    """At the end the gradient points along the constraint and nowhere else: moving the atoms so
    that the value stays costs nothing to first order."""
    from orbitrax.minimise import Constraint
    from orbitrax.minimise.constraints import Held
    from orbitrax.molecules.restraints import Restraint

    molecule, bonds, function = am1("ethanol.xyz")
    held = Constraint(atoms, value if kind == "stretch" else np.radians(value))
    with Backend() as backend:
        found = minimise(lambda x: function(backend, x), molecule.numbers, molecule.positions,
                         bonds, Limits(0.02, 0.1, 1e-4), constraints=(held,))
    assert found.converged
    measured = Restraint(kind, [atom + 1 for atom in atoms]).value(found.positions)
    assert measured == pytest.approx(value, abs=2e-5)  # positions are single precision
    rest = Held(len(molecule), (), (held,)).allowed(found.gradient.ravel(), found.positions)
    assert np.sqrt(np.mean(rest ** 2)) < 0.02 and np.abs(found.gradient).max() > 0.5


def test_values_that_cannot_be_together_are_refused():
    from orbitrax.minimise import Constraint

    with pytest.raises(ValueError, match="no geometry"):
        minimise(morse, *WATER, constraints=(Constraint((0, 1), 1.0), Constraint((0, 2), 1.0),
                                             Constraint((1, 2), 3.0)))
