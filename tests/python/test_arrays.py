"""Plain numbers and their numpy faces."""

import math
import subprocess
import sys
from array import array

import numpy as np
import pytest
from hypothesis import given
from hypothesis import strategies as st
from support import ROOT

from orbitrax.arrays import ArrayField, as_numpy, finite, flat, rows, shortest, unpacked


class Holder:
    one = ArrayField()
    many = ArrayField(3)


@given(st.floats(width=32, allow_nan=False, allow_infinity=False))
def test_the_shortest_decimal_means_the_number_and_none_is_shorter(value):
    """numpy prints single precision by an algorithm of its own."""
    assert shortest(value) == float(str(np.float32(value)))


def test_the_shortest_decimal_of_every_power_of_two_is_the_one_of_numpy():
    """Below a power of two numbers lie twice as close as above: its shortest decimal need not be
    the one nearest to it (2^-96, 2^87, 2^90)."""
    for power in range(-149, 128):
        assert shortest(2.0**power) == float(str(np.float32(2.0**power))), power


def test_the_shortest_decimal_of_a_tenth_is_a_tenth():
    assert shortest(float(np.float32(0.1))) == 0.1
    assert math.isnan(shortest(math.nan)) and shortest(math.inf) == math.inf


def test_numbers_of_any_shape_become_one_row():
    wanted = array("d", [1, 2, 3, 4])
    for values in ([1, 2, 3, 4], [[1, 2], [3, 4]], np.array([[1, 2], [3, 4]]), wanted,
                   array("f", [1, 2, 3, 4]), ((1, 2), np.array([3.0, 4.0]))):
        assert flat(values) == wanted, values
    assert rows(wanted, 2) == [[1, 2], [3, 4]] and rows(array("d"), 3) == []


def test_bytes_of_the_wire_are_little_endian():
    assert unpacked("i", b"\x01\0\0\0\xff\xff\xff\xff").tolist() == [1, -1]
    assert unpacked("d", np.array([1.5, -2.0], "<f8").tobytes()).tolist() == [1.5, -2.0]
    with pytest.raises(ValueError):
        unpacked("f", b"abc")


@pytest.mark.parametrize("values,good", [
    ([], True), ([1e308, 1e308], True), ([1.0, math.nan], False), ([math.inf, -math.inf], False),
    ([1e308, 1e308, -math.inf], False)])
def test_a_number_that_is_not_finite_is_found(values, good):
    assert finite(array("d", values)) is good


def test_a_field_is_plain_until_it_is_looked_at():
    holder = Holder()
    assert holder.one is None and Holder.many.plain(holder) is None
    holder.many = array("f", [0.1, 0.2, 0.3])
    assert Holder.many.plain(holder) == [0.1, 0.2, 0.3]
    assert holder.many.shape == (1, 3) and holder.many.tolist() == [[0.1, 0.2, 0.3]]
    holder.many[0, 0] = 7  # the array that is shown is the one that is kept
    assert Holder.many.plain(holder) == [7, 0.2, 0.3]
    holder.one = [1, 2]
    assert holder.one.tolist() == [1.0, 2.0] and as_numpy(array("d", [1]))[0] == 1
    holder.one = np.arange(3.0)
    assert Holder.one.plain(holder) == [0, 1, 2]
    holder.one = None
    assert holder.one is None


def test_plain_numbers_need_no_numpy():
    program = ("import sys\nfrom array import array\nfrom orbitrax.arrays import ArrayField\n"
               "class A:\n    x = ArrayField(3)\n"
               "a = A()\na.x = array('f', [1, 2, 3])\nassert A.x.plain(a) == [1, 2, 3]\n"
               "assert 'numpy' not in sys.modules\nassert a.x.shape == (1, 3)\n")
    subprocess.run([sys.executable, "-c", program], check=True,
                   env={"PYTHONPATH": str(ROOT / "python")})
