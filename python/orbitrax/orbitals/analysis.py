"""What follows from the orbitals: the square of the spin, spin populations, bond orders.

K. B. Wiberg, Tetrahedron 24, 1083 (1968); I. Mayer, Int. J. Quantum Chem. 29, 73 (1986), for open
shells. The orbitals of all methods belong to an orthonormal basis, so no overlap enters.
"""

from __future__ import annotations

import numpy as np

from orbitrax.orbitals.basis import atoms_of_orbitals

TYPE_CHECKING = False
if TYPE_CHECKING:
    from orbitrax.arrays import Array
    from orbitrax.job import Job
    from orbitrax.results.result import Result
    from orbitrax.tables import ParameterSet

_SMALLEST = 0.05  # bond orders below this are not listed
_WHOLE = 1e-3  # electrons: levels that hold one or two so nearly have a spin


def analyse_orbitals(job: Job, result: Result, parameters: ParameterSet) -> None:
    """Fills what the orbitals of a result tell: spin_squared and spin_populations of open shells,
    and bond_orders and valences where the job asks for them."""
    densities = _densities(result)
    if densities is None:
        return
    alpha, beta = densities
    home = atoms_of_orbitals(job, parameters)
    if len(home) != len(alpha):
        return
    n = len(job.molecule)
    if job.uhf:
        result.spin_squared = spin_squared(alpha, beta)
    if job.uhf or job.multiplicity > 1:
        result.spin_populations = np.bincount(home, np.diag(alpha - beta), n)
    if job.settings.bond_orders:
        orders = bond_orders(alpha, beta, home, n)
        result.valences = orders.sum(axis=1)
        i, j = np.nonzero(np.triu(orders, 1) >= _SMALLEST)
        result.bond_orders = [[int(a) + 1, int(b) + 1, float(orders[a, b])]
                              for a, b in zip(i, j)]


def spin_squared(alpha: Array, beta: Array) -> float:
    """The expectation value of S^2 of a determinant, from the densities of its spins, N x N."""
    n_alpha, n_beta = float(np.trace(alpha)), float(np.trace(beta))
    s_z = 0.5 * (n_alpha - n_beta)
    return s_z * (s_z + 1.0) + n_beta - float(np.sum(alpha * beta))


def bond_orders(alpha: Array, beta: Array, home: Array, count: int) -> Array:
    """Bond orders between all pairs of `count` atoms, symmetric, 0 on the diagonal. home: the atom
    of each orbital."""
    squares = 2.0 * (alpha ** 2 + beta ** 2)
    sums = np.zeros((count, len(home)))
    np.add.at(sums, home, squares)
    orders = np.zeros((count, count))
    np.add.at(orders.T, home, sums.T)
    np.fill_diagonal(orders, 0.0)
    return orders


def _densities(result: Result) -> tuple[Array, Array] | None:
    """Those of both spins; None where a level holds a part of an electron, which has no spin."""
    vectors, occupancies = result.eigenvectors, result.occupancies
    if vectors is None or occupancies is None:
        return None
    alpha = np.asarray(vectors["alpha"], dtype=float)
    n = len(alpha)
    filled = np.asarray(occupancies, dtype=float)
    if "beta" in vectors:
        beta = np.asarray(vectors["beta"], dtype=float)
        return (alpha.T @ (filled[:n, None] * alpha), beta.T @ (filled[n:, None] * beta))
    if np.any(np.abs(filled - np.round(filled)) > _WHOLE):
        return None
    up, down = np.minimum(filled, 1.0), np.maximum(filled - 1.0, 0.0)
    return alpha.T @ (up[:, None] * alpha), alpha.T @ (down[:, None] * alpha)
