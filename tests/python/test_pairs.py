"""Pairs of atoms that are near, by whichever way so many are looked for."""

import math
import random

import pytest

from orbitrax.molecules.geometry import pairs_nearer


@pytest.mark.parametrize("n", [0, 1, 2, 3, 12, 13, 60, 301])
@pytest.mark.parametrize("cutoff", [0.3, 1.0, 9.0])
def test_all_pairs_nearer_than_the_cutoff_are_found_and_no_others(n, cutoff):
    chance = random.Random(n)
    points = [[chance.uniform(-2, 2) for _ in range(3)] for _ in range(n)]
    wanted = [(i, j) for i in range(n) for j in range(i + 1, n)
              if math.dist(points[i], points[j]) < cutoff]
    found = pairs_nearer([x for point in points for x in point], cutoff)
    assert [(i, j) for i, j, _ in found] == wanted
    assert all(distance == pytest.approx(math.dist(points[i], points[j]), rel=1e-14)
               for i, j, distance in found)
