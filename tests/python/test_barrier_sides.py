"""The sides of a barrier are minima, and a broken bond between them is told of."""

import numpy as np
import pytest
import support  # noqa: F401  the package from the checkout

from orbitrax import Backend, Job, read_molecule
from orbitrax.cli import main
from orbitrax.molecules.molecule import Molecule
from orbitrax.molecules.reading import from_smiles
from orbitrax.reactions.barrier import find_barrier
from orbitrax.reactions.sides import side_of
from orbitrax.reactions.surface import EnergySurface
from orbitrax.tasks.ts import Ts


def ethane(twist):
    """From the side of its axis; 0 degrees is eclipsed."""
    places = [[0, 0, 0.75], [0, 0, -0.75]]
    for end, turn in ((1, 0.0), (-1, twist)):
        for angle in np.radians(np.array([0, 120, 240]) + turn):
            places.append([1.03 * np.cos(angle), 1.03 * np.sin(angle), end * 1.14])
    return Molecule([6, 6, *6 * [1]], places)


def side(molecule, proved=True):
    with Backend() as backend:
        return side_of(EnergySurface(backend, molecule, "am1", {}), molecule, "the reactant",
                       proved, lambda text: None)


def test_a_side_that_is_a_saddle_point_is_left_downhill():
    """Eclipsed ethane, 1.3 kcal/mol above the staggered one in AM1."""
    straight, eclipsed, unproved = side(ethane(60)), side(ethane(0)), side(ethane(0), False)
    assert straight.remark == unproved.remark == "" and straight.result.modes.imaginary == 0
    assert unproved.result.modes is None
    gap = unproved.result.total_energy - straight.result.total_energy
    assert 1.2 < gap < 1.35
    assert eclipsed.result.modes.imaginary == 0
    assert eclipsed.result.total_energy == pytest.approx(straight.result.total_energy, abs=1e-3)
    assert eclipsed.remark.startswith(
        "the search for the reactant ended on a first-order saddle point, ")
    assert eclipsed.remark.endswith(f"left for the structure {gap:.4f} kcal/mol below it")


def test_a_side_below_which_another_molecule_lies_stays_where_it_is():
    start = Molecule([6, 7, 1], [[0, 0, 0], [1.2, 0, 0], [0.5, 1.1, 0]])
    with Backend() as backend:
        saddle = backend.run(Job(start, "am1", Ts(limit=0.001)))
    found = side(Molecule([6, 7, 1], saddle.coordinates.reshape(-1, 3)))
    assert found.result.total_energy == pytest.approx(saddle.total_energy, abs=1e-4)
    assert found.result.modes.imaginary == 1
    assert found.remark.startswith("the reactant is a first-order saddle point, ")
    assert found.remark.endswith("and no minimum: below it other bonds are made")


FLUORIDES = (r"F/C=C\F", "F/C=C/F")


def test_a_double_bond_turns_where_its_electrons_may_part():
    sides = [from_smiles(one) for one in FLUORIDES]
    found = {}
    with Backend() as backend:
        for uhf in (True, None):
            surface = EnergySurface(backend, sides[0], "am1", {"uhf": uhf})
            found[uhf] = find_barrier(surface, *sides, free_energies=False)
    assert found[True].connects and found[True].broken is None
    assert not found[None].connects and 20 < found[None].broken < 60


def test_the_command_says_that_a_bond_is_broken(tmp_path, capsys):
    files = [str(tmp_path / name) for name in ("cis.xyz", "trans.xyz")]
    for one, path in zip(FLUORIDES, files):
        molecule = from_smiles(one)
        lines = [str(len(molecule)), "", *(
            f"{symbol} {x} {y} {z}" for symbol, (x, y, z) in zip(
                molecule.symbols, molecule.positions))]
        with open(path, "w", encoding="utf-8") as file:
            file.write("\n".join(lines) + "\n")
        assert read_molecule(path).symbols == molecule.symbols
    assert main(["barrier", *files, "-m", "am1", "--no-free-energies"]) == 1
    said = capsys.readouterr().err
    assert "kcal/mol below the closed shell: a bond is broken there, try --uhf" in said
    assert "linear transit: the search did not come to a saddle point" in said
    assert "--guess" not in said and "--cycles" not in said
