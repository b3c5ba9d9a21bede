"""Values of orbitals and one-centre densities at points, from the parameter tables and eigenvectors
alone: the definition, to compare grids with. Lengths in bohr."""

from math import factorial, pi, sqrt

import numpy as np
from support import ROOT

BOHR = 0.52917721  # Angstrom


def exponents(table: str, symbol: str) -> dict:
    """Slater exponents of an element by angular momentum, from a table of parameters/."""
    lines = [line.split() for line in (ROOT / "parameters" / table).read_text("utf-8").splitlines()
             if line.strip() and not line.startswith("#")]
    row = next(line for line in lines if line[0] == symbol)
    named = dict(zip(lines[0], row))
    return {kind: float(named[f"dZeta{kind}"]) for kind in "SPD"}


def shell(number: int) -> int:
    """Principal quantum number of the valence shell of a main-group element."""
    return 1 + sum(number > last for last in (2, 10, 18, 36, 54))


def functions(numbers, positions, table, symbols):
    """(atom position, n, zeta, angular factor) of each function; s on hydrogen, else s, px, py, pz.

    The angular factor is a function of the three components of the unit vector and r."""
    one, three = sqrt(1 / (4 * pi)), sqrt(3 / (4 * pi))
    found = []
    for number, position, symbol in zip(numbers, positions, symbols):
        zeta, n = exponents(table, symbol), shell(number)
        found.append((position, n, zeta["S"], lambda u: one))
        if number > 2:
            for axis in range(3):
                found.append((position, n, zeta["P"], lambda u, axis=axis: three * u[axis]))
    return found


def value(function, points):
    """One Slater function at points of shape (..., 3)."""
    centre, n, zeta, angular = function
    d = np.asarray(points, float) - centre
    r = np.sqrt((d ** 2).sum(-1))
    u = np.moveaxis(d / np.where(r > 0, r, 1)[..., None], -1, 0)
    norm = (2 * zeta) ** (n + 0.5) / sqrt(factorial(2 * n))
    return norm * r ** (n - 1) * np.exp(-zeta * r) * angular(u)


def orbital(basis, vector, points):
    """An orbital's amplitude."""
    return sum(c * value(function, points) for c, function in zip(vector, basis))


def density(basis, matrix, points):
    """The one-centre terms of a density matrix."""
    values = [value(function, points) for function in basis]
    total = 0.0
    for i, (one, a) in enumerate(zip(basis, values)):
        for j, (two, b) in enumerate(zip(basis, values)):
            if one[0] is two[0]:
                total = total + matrix[i, j] * a * b
    return total
