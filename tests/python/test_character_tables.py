"""The character tables of src/symmetry/groups.def against groups multiplied out here."""

from __future__ import annotations

import math
import re
from dataclasses import dataclass

import numpy as np
import pytest
from support import ROOT

TEXT = (ROOT / "src" / "symmetry" / "groups.def").read_text(encoding="utf-8")
GOLDEN = (1 + math.sqrt(5)) / 2
# From z to a three-fold axis: cos = 1/sqrt 3 in a cube, and in an icosahedron.
TILTS = {
    "TD": math.acos(1 / math.sqrt(3)),
    "OH": math.acos(1 / math.sqrt(3)),
    "IH": math.acos(GOLDEN**2 / math.sqrt(3 * (1 + GOLDEN**2))),
}
# Linear molecules have groups of infinite order; these hold all species of s, p and d orbitals.
GENERATORS = {"C*V": ["C7", "C2z", "sxz"], "D*H": ["C7", "C2z", "sxz", "i"]}


def axis_matrix(n: int, z: float) -> np.ndarray:
    c, s = math.cos(2 * math.pi / n), math.sin(2 * math.pi / n)
    return np.array([[c, -s, 0], [s, c, 0], [0, 0, z]])


def operation(name: str, tilt: float) -> np.ndarray:
    """The matrix of an operation by its name."""
    fixed = {
        "E": [1, 1, 1], "i": [-1, -1, -1],
        "C2x": [1, -1, -1], "C2y": [-1, 1, -1], "C2z": [-1, -1, 1],
        "sxy": [1, 1, -1], "sxz": [1, -1, 1], "syz": [-1, 1, 1],
    }  # fmt: skip
    if name in fixed:
        return np.diag(np.array(fixed[name], float))
    if name == "C2d":
        return np.array([[0.0, 1, 0], [1, 0, 0], [0, 0, -1]])
    matrix = axis_matrix(int(name[1:]), 1.0 if name[0] == "C" else -1.0)
    if name in ("C3", "S6"):
        lean = np.array(
            [[math.cos(tilt), 0, math.sin(tilt)], [0, 1, 0], [-math.sin(tilt), 0, math.cos(tilt)]]
        )
        matrix = lean @ matrix @ lean.T
    return matrix


@dataclass
class Group:
    name: str
    number: int
    operations: list[str]
    classes: list[str]
    species: dict[str, np.ndarray]


def decode(word: str) -> float:
    code = int(word)
    return code if code < 10 else 2 * math.cos(2 * math.pi * (code % 10) / (code // 10))


def read_groups() -> list[Group]:
    groups = []
    body = re.sub(r"^//.*$", "", TEXT, flags=re.M)
    for entry in re.split(r"^GROUP\(", body, flags=re.M)[1:]:
        entry = re.sub(r'"\s*\n\s*"', "", entry)  # pieces of one string
        words = [w.replace('\\"', '"') for w in re.findall(r'"((?:[^"\\]|\\.)*)"', entry)]
        number = int(re.search(r",\s*(\d+),", entry).group(1))
        rows = [row.split() for row in words[3:]]
        species = {row[0]: np.array([decode(w) for w in row[1:]]) for row in rows}
        groups.append(Group(words[0], number, words[1].split(), words[2].split(), species))
    return groups


def close(generators: list[np.ndarray]) -> np.ndarray:
    """All products of the generators."""
    elements = [np.eye(3)]
    for element in elements:
        for generator in generators:
            product = generator @ element
            if np.abs(np.array(elements) - product).max(axis=(1, 2)).min() > 1e-8:
                elements.append(product)
    return np.array(elements)


def indices(elements: np.ndarray, wanted: np.ndarray) -> np.ndarray:
    """Which elements these are."""
    distance = np.abs(elements[None] - wanted[:, None]).max(axis=(2, 3))
    assert (distance.min(axis=1) < 1e-8).all()
    return distance.argmin(axis=1)


def real_classes(elements: np.ndarray) -> np.ndarray:
    """Class of each element, counted from 0; an element and its inverse are of one class."""
    of = np.full(len(elements), -1)
    for i, g in enumerate(elements):
        if of[i] < 0:
            conjugates = elements @ g @ elements.transpose(0, 2, 1)
            both = np.concatenate([conjugates, conjugates.transpose(0, 2, 1)])
            of[indices(elements, both)] = of.max() + 1
    return of


def species_of(elements: np.ndarray, of: np.ndarray) -> list[np.ndarray]:
    """Characters of all species by class, as the products of the classes have them.

    The sums of the classes multiply like numbers; what they are in one species is the class's size
    times its character over the degeneracy (the method of Burnside and Dixon).
    """
    count, sizes = of.max() + 1, np.bincount(of)
    products = np.zeros((count, count, count))
    for i, g in enumerate(elements):
        np.add.at(products[of[i]], (of, of[indices(elements, g @ elements)]), 1.0)
    weights = np.random.default_rng(1).random(count)
    # products[i, j, k] counts pairs of classes i and j with a product in k.
    mixed = np.einsum("i,ijk->jk", weights, products) / sizes[None, :]
    _, vectors = np.linalg.eig(mixed)
    squares = of[indices(elements, elements @ elements)]
    found = []
    for vector in vectors.real.T:
        ratio = vector / vector[of[0]] / sizes
        sum_of_squares = (ratio[of] ** 2).sum()
        complex_pair = abs(ratio[squares].sum()) < 1e-6
        degeneracy = math.sqrt((2 if complex_pair else 1) * len(elements) / sum_of_squares)
        found.append(ratio * degeneracy)
    return found


GROUPS = read_groups()


@pytest.fixture(params=GROUPS, ids=[group.name for group in GROUPS])
def group(request) -> Group:
    return request.param


def test_there_are_43_groups_and_their_symmetry_numbers_are_their_rotations(group):
    assert len(GROUPS) == 43
    if "*" not in group.name:
        tilt = TILTS.get(group.name, 0.0)
        elements = close([operation(name, tilt) for name in group.operations])
        assert (np.linalg.det(elements) > 0).sum() == group.number


def test_every_line_is_a_species_that_follows_from_the_products_of_the_operations(group):
    tilt = TILTS.get(group.name, 0.0)
    names = GENERATORS.get(group.name, group.operations)
    elements = close([operation(name, tilt) for name in names])
    of = real_classes(elements)
    shown = of[indices(elements, np.array([operation(name, tilt) for name in group.classes]))]
    computed = [row[shown] for row in species_of(elements, of)]
    found = set()
    for label, row in group.species.items():
        hits = [i for i, other in enumerate(computed) if np.allclose(row, other, atol=1e-6)]
        assert len(hits) == 1, (group.name, label, row)
        found.update(hits)
    assert len(found) == len(group.species), "two lines are the same species"
    if "*" not in group.name:
        assert len(computed) == len(group.species)


def is_principal(name: str) -> bool:
    return re.fullmatch(r"[CS]\d+|C2z", name) is not None


def test_the_labels_say_what_the_characters_are(group):
    """Mulliken's rules: degeneracy, principal axis, inversion, horizontal plane, 1 and 2."""
    for label, row in group.species.items():
        character = dict(zip(group.classes, row))
        degeneracy = {"A": 1, "B": 1, "E": 2, "T": 3, "G": 4, "H": 5, "S": 1, "P": 2, "D": 2}
        assert row[0] == degeneracy[label[0]], label
        order = {name: int(name[1:].rstrip("z")) for name in group.classes if is_principal(name)}
        proper = "i" in character or "sxy" in character  # else an S may be of higher order
        order = {name: n for name, n in order.items() if name[0] == "C" or not proper}
        if label[0] in "AB" and order and group.name not in ("D2", "D2H", "TD", "OH"):
            assert character[max(order, key=order.get)] == (1 if label[0] == "A" else -1), label
        if "i" in character:
            assert label[-1] == ("G" if character["i"] > 0 else "U"), label
        elif "sxy" in character:
            assert label[-1] == ("'" if character["sxy"] > 0 else '"'), label
        across = [name for name in ("C2x", "C2y", "sxz") if name in character]
        if label[:2] in ("A1", "A2") and across and group.name not in ("D2", "D2H"):
            assert character[across[0]] == (1 if label[1] == "1" else -1), label
