"""The table of Gaussian expansions against the Slater functions themselves."""

from math import factorial, gamma

import numpy as np
import pytest
from scipy.integrate import quad
from support import ROOT

from orbitrax.orbitals.sto6g import EXPANSIONS

SHELLS = sorted(EXPANSIONS)


def slater(n, r):
    return 2.0 ** (n + 0.5) / np.sqrt(float(factorial(2 * n))) * r ** (n - 1) * np.exp(-r)


def gaussians(l, terms, r):
    return sum(c * np.sqrt(2 * (2 * a) ** (l + 1.5) / gamma(l + 1.5)) * r ** l * np.exp(-a * r * r)
               for a, c in terms)


def integral(function):
    pieces = (0.0, 0.05, 0.3, 1.0, 3.0, 8.0, 15.0, 25.0, 60.0)
    return sum(quad(function, a, b, epsabs=1e-14, epsrel=1e-12)[0]
               for a, b in zip(pieces, pieces[1:]))


def overlap(n, l, terms):
    """Of the expansion, normalised, with the Slater function."""
    norm = integral(lambda r: (r * gaussians(l, terms, r)) ** 2)
    return integral(lambda r: r * r * slater(n, r) * gaussians(l, terms, r)) / np.sqrt(norm)


def test_there_is_an_expansion_of_every_valence_shell():
    assert SHELLS == sorted((n, l) for l in range(3) for n in range(l + 1, 8))
    assert all(len(terms) == 6 for terms in EXPANSIONS.values())


@pytest.mark.parametrize("n,l", SHELLS)
def test_an_expansion_is_the_slater_function_to_a_millionth(n, l):
    """The worst is 1s, which has a cusp: 0.9999994."""
    assert 0.999999 < overlap(n, l, EXPANSIONS[n, l]) < 1.0


@pytest.mark.parametrize("n,l", SHELLS)
def test_an_expansion_is_normalised(n, l):
    norm = integral(lambda r: (r * gaussians(l, EXPANSIONS[n, l], r)) ** 2)
    assert norm == pytest.approx(1.0, abs=1e-9)


@pytest.mark.parametrize("n,l", SHELLS)
def test_no_other_exponent_or_coefficient_nearby_is_better(n, l):
    terms = np.array(EXPANSIONS[n, l])
    best = overlap(n, l, terms)
    for i, j in np.ndindex(terms.shape):
        for factor in (0.98, 1.02):
            changed = terms.copy()
            changed[i, j] *= factor
            assert overlap(n, l, changed) < best + 1e-13, (i, j, factor)


def test_the_expansions_are_those_of_the_literature():
    path = ROOT / "tests" / "reference" / "sto6g_stewart.txt"
    rows = [line.split() for line in path.read_text("utf-8").splitlines() if line[0] != "#"]
    published = {}
    for n, l, exponent, coefficient in rows:
        published.setdefault((int(n), int(l)), []).append((float(exponent), float(coefficient)))
    assert len(published) == 6
    for shell, terms in published.items():
        ours, theirs = np.array(EXPANSIONS[shell]), np.array(terms)
        assert ours[:, 0] == pytest.approx(theirs[:, 0], rel=2e-5), shell
        assert ours[:, 1] == pytest.approx(theirs[:, 1], abs=2e-5), shell
