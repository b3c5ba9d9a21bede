"""Several molecules of one SMILES: none lies in another, and none is bent by being moved."""

import numpy as np
import pytest

import orbitrax
from orbitrax import read_molecule
from orbitrax.molecules.geometry import find_bonds
from orbitrax.molecules.looks import RADII
from orbitrax.molecules.reading import from_smiles
from orbitrax.molecules.built.side_by_side import GAP, side_by_side


def distances(places):
    return np.linalg.norm(places[:, None] - places[None], axis=2)


@pytest.mark.parametrize("seed", range(5))
def test_parts_touch_and_do_not_meet(seed):
    random = np.random.default_rng(seed)
    numbers = random.choice([1, 6, 7, 17, 35], 12).tolist()
    places = random.normal(size=(12, 3))
    parts = [[0, 5, 7], [1, 2, 3, 4], [6], [8, 9, 10, 11]]
    found = side_by_side(numbers, places, parts, [0] * 12)
    far = distances(found)
    reach = np.add.outer(*[np.array(RADII)[numbers]] * 2) + GAP
    for k, part in enumerate(parts):
        assert np.allclose(far[np.ix_(part, part)], distances(places)[np.ix_(part, part)])
        before = sum(parts[:k], [])
        if before:
            room = (far - reach)[np.ix_(part, before)]
            assert abs(room.min()) < 1e-9, "the nearest two atoms touch"


def test_an_ion_comes_to_the_charge_that_attracts_it():
    """A chain with a plus at its first atom and a minus at its last."""
    places = np.array([[1.5 * k, 0, 0] for k in range(6)] + [[3.0, 9, 9]])
    for charge, nearest in ((-1, 0), (1, 5)):
        formal = [1, 0, 0, 0, 0, -1, charge]
        found = side_by_side([6] * 7, places, [list(range(6)), [6]], formal)
        assert np.argmin(distances(found)[6, :6]) == nearest


@pytest.mark.parametrize("smiles, parts", [("O.O", 2), ("[Cl-].O", 2), ("[Li+].[F-]", 2),
                                           ("C=CC=C.C=C", 2), ("CC[NH3+].[Cl-].O", 3)])
def test_the_molecules_of_a_smiles_stay_molecules(smiles, parts):
    found = from_smiles(smiles)
    bonds = find_bonds(found.numbers, found.positions)
    groups = {i: {i} for i in range(len(found))}
    for i, near in enumerate(bonds):
        for j in near:
            groups[i] |= groups[j]
            groups.update(dict.fromkeys(groups[i], groups[i]))
    assert len({frozenset(group) for group in groups.values()}) == parts
    assert f"{parts} parts were put side by side" in found.remarks[0]
    assert not from_smiles("CCO").remarks


def test_two_waters_bind_each_other():
    """By a few kcal/mol: a hydrogen bond, and not a new molecule."""
    one, pair = (orbitrax.optimize(text, "pm3").heat_of_formation for text in ("O", "O.O"))
    assert -5.0 < pair - 2 * one < -1.0


def test_a_flat_drawing_of_two_molecules_is_put_side_by_side(tmp_path):
    path = tmp_path / "salt.mol"
    path.write_text("""
     RDKit          2D

  2  0  0  0  0  0  0  0  0  0999 V2000
    0.0000    0.0000    0.0000 N   0  0  0  0  0  4  0  0  0  0  0  0
    1.5000    0.0000    0.0000 Cl  0  0  0  0  0 15  0  0  0  0  0  0
M  CHG  2   1   1   2  -1
M  END
""")
    found = read_molecule(path, complete=True)
    assert found.formula == "ClH4N" and "2 parts" in found.remarks[0]
    assert distances(found.positions)[np.triu_indices(6, 1)].min() > 0.9
