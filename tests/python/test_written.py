"""Documents as text: the keys, types and numbers of the document, with as many digits as are good.
"""

import json
import math
from array import array

import numpy as np
import pytest
from batches import alike
from support import ROOT

from orbitrax import energy
from orbitrax.results.written import array_text, document_text


@pytest.mark.parametrize("name, settings", [
    ("water", {}), ("water", {"uhf": True, "multiplicity": 3, "bond_orders": True}),
    ("caffeine", {"ci": "singles", "window": (3, 3)})])
def test_a_written_document_says_what_the_document_says(name, settings):
    found = energy(ROOT / "examples" / f"{name}.xyz", "am1", **settings)
    read = json.loads("{" + document_text(found.raw_dict()) + "}")
    assert alike(found.to_dict(), read)
    assert found.plain("charges") != read["charges"]  # which have more digits


def test_blocks_of_a_task_and_arrays_that_were_looked_at_are_written_too():
    found = energy(ROOT / "examples" / "water.xyz", "pm3")
    assert found.coordinates.shape == (3, 3) and found.charges.shape == (3,)
    found.blocks["more"] = {"1": {"rows": [[1.0, 2], [None, "x\n"]], "empty": [], "many": {3: 4}}}
    read = json.loads("{" + document_text(found.raw_dict()) + "}")
    assert alike(found.to_dict() | {"more": None}, read | {"more": None})
    assert read["more"] == {"1": {"rows": [[1.0, 2], [None, "x\n"]], "empty": [], "many": {"3": 4}}}


@pytest.mark.parametrize("kind, digits", [("d", 10), ("f", 8)])
@pytest.mark.parametrize("values, columns", [
    ([], 0), ([], 3), ([0.0], 0), ([1.0, -2.0, 0.5], 3), ([2.0] * 9 + [0.0] * 9, 0),
    ([1e-300, 1e15, 123456789.0], 3), ([math.pi * 3**k for k in range(-30, 30)], 0),
    ([math.sqrt(k) for k in range(48)], 3)])
def test_numbers_of_arrays_are_read_as_floats_and_rounded(kind, digits, values, columns):
    if kind == "f":
        values = [value for value in values if value == 0 or abs(value) > 1e-30]
        columns = columns if len(values) % 3 == 0 else 0
    flat = array(kind, values)
    read = json.loads(array_text(flat, columns))
    rows = [list(flat[i:i + columns]) for i in range(0, len(flat), columns)] if columns else (
        list(flat))
    assert alike(rows, read, digits)
    if columns and read:
        assert np.array(read).shape == (len(flat) // columns, columns)


@pytest.mark.parametrize("value", [math.nan, math.inf, -math.inf])
def test_what_is_not_finite_is_never_written(value):
    for given in (value, array("d", [0.0, value]), array("f", [value] * 9), {"x": value},
                  [[value]]):
        with pytest.raises(ValueError):
            document_text({"energy": given})
