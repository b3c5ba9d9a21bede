"""Products of symmetry species against the character tables."""

import math
import re

import numpy as np
import pytest
from orbitrax.results.species import label_of, product
from support import ROOT


def tables():
    """The character tables of the backend, by group: the rows by species. Checked themselves by its
    own tests for orthogonality."""
    text = (ROOT / "src" / "symmetry" / "groups.def").read_text()
    found = {}
    form = r'^GROUP\("([^"]+)", \d+,\s*(?:"[^"]*"\s*)+,\n(.*?)\)$'
    for name, body in re.findall(form, text, re.M | re.S):
        lines = [line.replace('\\"', '"') for line in re.findall(r'"((?:[^"\\]|\\.)*)"', body)]
        found[name] = {line.split()[0]: np.array([character(word) for word in line.split()[1:]])
                       for line in lines[1:]}
    return found


def character(word):
    number = int(word)
    order, k = divmod(number, 10)
    return 2 * math.cos(2 * math.pi * k / order) if number >= 10 else float(number)


def test_products_are_those_of_the_characters():
    all_tables = tables()
    assert len(all_tables) == 43
    told = 0
    for group, rows in all_tables.items():
        for a in rows:
            for b in rows:
                name = product(group, a, b)
                if name is None:
                    continue
                told += 1
                assert name in rows, (group, a, b, name)
                assert np.allclose(rows[name], rows[a] * rows[b]), (group, a, b, name)
    assert told > 800


def test_products_of_species_that_are_not_degenerate_are_always_known():
    for group, rows in tables().items():
        alone = [name for name, row in rows.items() if row[0] == 1]
        assert all(product(group, a, b) for a in alone for b in alone), group


@pytest.mark.parametrize("group, a, b", [
    ("D6H", "E1G", "E2U"), ("C2V", "?", "A1"), ("C2V", "A1", ""), ("D6H", "B1G", "E1U")])
def test_what_the_names_leave_open_is_not_told(group, a, b):
    assert product(group, a, b) is None


def test_running_numbers_do_not_count():
    assert label_of("12B2G") == "B2G" and label_of("3?") == "?"
