#!/usr/bin/python3
"""Fits six Gaussian functions to each Slater function of exponent 1, and writes the table.

    python/fit_sto6g.py > python/orbitrax/orbitals/sto6g.py

A Slater function of principal quantum number n and angular momentum l is expanded in the lowest
Gaussian functions of its l, r^l exp(-a r^2). Exponents and coefficients minimise the mean square
error, which is to maximise the overlap: W. J. Hehre, R. F. Stewart, J. A. Pople, J. Chem. Phys. 51,
2657 (1969); R. F. Stewart, J. Chem. Phys. 52, 431 (1970). Unlike there no exponents are shared
between s and p. The error has several minima; the deepest of many starts is taken.
"""

import math

import numpy as np
from scipy.optimize import least_squares

TERMS = 6
HIGHEST = 7  # principal quantum number
STARTS = 60

# Radial integrals by the trapezoidal rule in t = log r, where the integrands fall off so fast on
# both sides that the rule is exact to rounding.
T = np.linspace(-14.0, 7.0, 1201)
R = np.exp(T)
ROOT_WEIGHT = np.sqrt((T[1] - T[0]) * R**3)


def slater(n: int) -> np.ndarray:
    """Radial part of a normalised Slater function of exponent 1, on the grid."""
    return 2.0 ** (n + 0.5) / math.sqrt(math.factorial(2 * n)) * R ** (n - 1) * np.exp(-R)


def gaussians(l: int, exponents: np.ndarray) -> np.ndarray:
    """Radial parts of normalised Gaussian functions, one a row."""
    norm = np.sqrt(2.0 * (2.0 * exponents) ** (l + 1.5) / math.gamma(l + 1.5))
    return norm[:, None] * R**l * np.exp(-exponents[:, None] * R**2)


def coefficients(n: int, l: int, exponents: np.ndarray) -> np.ndarray:
    """The best coefficients for these exponents."""
    mean = np.sqrt(np.outer(exponents, exponents)) / np.add.outer(exponents, exponents)
    projection = gaussians(l, exponents) @ (ROOT_WEIGHT**2 * slater(n))
    return np.linalg.solve((2.0 * mean) ** (l + 1.5), projection)


def error(logarithms: np.ndarray, n: int, l: int) -> np.ndarray:
    """What the expansion lacks at each point of the grid, times the root of its weight."""
    exponents = np.exp(logarithms)
    fit = coefficients(n, l, exponents) @ gaussians(l, exponents)
    return ROOT_WEIGHT * (slater(n) - fit)


def best_fit(n: int, l: int) -> tuple[np.ndarray, np.ndarray]:
    """Exponents, falling, and coefficients of the normalised expansion."""
    random = np.random.default_rng(100 * n + l)
    found = None
    for _ in range(STARTS):
        lowest = -2.0 * math.log(n) - 1.2 + random.normal(0.0, 0.5)
        start = np.linspace(lowest, lowest + random.uniform(2.5, 6.0), TERMS)
        try:
            fit = least_squares(error, start, args=(n, l), xtol=1e-14, ftol=1e-15, gtol=1e-15)
        except np.linalg.LinAlgError:  # two exponents ran into one
            continue
        if found is None or fit.cost < found.cost:
            found = fit
    exponents = np.sort(np.exp(found.x))[::-1]
    c = coefficients(n, l, exponents)
    norm = np.sum((ROOT_WEIGHT * (c @ gaussians(l, exponents))) ** 2)
    return exponents, c / math.sqrt(norm)


def main() -> None:
    print('"""Slater functions of exponent 1 as sums of six Gaussian functions.\n\n'
          "Made by python/fit_sto6g.py, which tells how. For another exponent z multiply those of "
          "the\nGaussian functions by its square. The coefficients belong to normalised functions, "
          'and the sums\nare normalised.\n"""\n\n'
          "# By principal quantum number and angular momentum: pairs of exponent (1/bohr^2) and "
          "coefficient.\nEXPANSIONS = {")
    for l in range(3):
        for n in range(l + 1, HIGHEST + 1):
            print(f"    ({n}, {l}): (")
            for exponent, c in zip(*best_fit(n, l)):
                print(f"        ({exponent:.10e}, {c:.10e}),")
            print("    ),")
    print("}")


if __name__ == "__main__":
    main()
