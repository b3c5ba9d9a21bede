"""Charges as they are printed: sums exact, equal atoms equal, nothing moved without need."""

from fractions import Fraction

import numpy as np
import pytest
import support  # noqa: F401  (the package from the checkout)
from hypothesis import given, settings
from hypothesis import strategies as st

from orbitrax.atomic_charges.rounding import rounded


def exact_sum(charges) -> Fraction:
    """The sum of the decimals as they are printed."""
    return sum((Fraction(f"{value:.4f}") for value in charges), Fraction(0))


@settings(max_examples=150, deadline=None)
@given(st.lists(st.tuples(st.floats(-1, 1), st.integers(1, 6)), min_size=1, max_size=25),
       st.integers(-2, 2))
def test_the_printed_sum_is_the_formal_charge(classes, total):
    charges = np.array([value for value, size in classes for _ in range(size)])
    labels = np.array([k for k, (_, size) in enumerate(classes) for _ in range(size)])
    charges += (total - charges.sum()) / len(charges)
    printed = rounded(charges, total, labels)
    assert exact_sum(printed) == total
    assert np.abs(printed - charges).max() < 0.0011  # six units for one atom, and rounding


def test_equal_atoms_stay_equal_where_they_can():
    labels = np.array([0, 1, 1, 1, 2, 2])
    charges = np.array([-0.30004, 0.05006, 0.05006, 0.05006, 0.07493, 0.07493])
    printed = rounded(charges, 0, labels)
    assert exact_sum(printed) == 0
    assert len(set(printed[1:4])) == 1 and len(set(printed[4:])) == 1


def test_where_the_numbers_do_not_allow_it_single_atoms_give_way():
    """Six and six atoms with a charge of one: no multiple of six ten-thousandths is 1."""
    labels = np.array([0] * 6 + [1] * 6)
    charges = np.array([0.05] * 6 + [1 / 6 - 0.05] * 6)
    printed = rounded(charges, 1, labels)
    assert exact_sum(printed) == 1
    assert np.abs(printed - charges).max() < 1.6e-4


def test_charges_that_are_right_stay_as_they_are():
    charges = np.array([-0.2659, 0.0665, 0.0665, 0.0665, 0.0664])
    assert rounded(charges, 0, np.arange(5)).tolist() == charges.tolist()


@pytest.mark.parametrize("digits", [2, 4, 6])
def test_so_many_digits(digits):
    charges = np.array([1 / 3, -1 / 7, 1 / 7 - 1 / 3])
    printed = rounded(charges, 0, np.arange(3), digits)
    assert all(round(value, digits) == value for value in printed.tolist())
    assert np.abs(printed - charges).max() <= 10.0 ** -digits
