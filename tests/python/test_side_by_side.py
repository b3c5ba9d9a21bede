"""Several molecules of one SMILES: none lies in another, and none is bent by being moved."""

import numpy as np
import pytest

from orbitrax.molecules.looks import RADII
from orbitrax.molecules.side_by_side import GAP, side_by_side


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
