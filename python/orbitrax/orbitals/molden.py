"""Molden files: atoms, basis and orbitals, as viewers of orbitals read them.

The Slater functions are written as six Gaussian functions each. The orbitals of all nine methods
are orthonormal only as vectors, over functions that take the place of orthogonalised ones; by
default they are multiplied by S^-1/2, of the overlap of the Gaussian functions in the file, which
makes them orthonormal in space, and the density integrate to the number of electrons. The raw
orbitals are those of the backend's own plots.
"""

from __future__ import annotations

import numpy as np

from orbitrax.orbitals.basis import Basis, Shell, slater_basis
from orbitrax.molecules.elements import NUMBERS, formula_of
from orbitrax.errors import OrbitraxError, UsageError
from orbitrax.files import check_target, replaced
from orbitrax.job import Job
from orbitrax.methods import find_method
from orbitrax.tables import ParameterSet
from orbitrax.results.result import Result
from orbitrax.units import CODATA_ANGSTROM_PER_BOHR, CODATA_EV_PER_HARTREE

TYPE_CHECKING = False
if TYPE_CHECKING:
    from orbitrax.arrays import Array

_WIRE_ROUNDING = 1e-4  # far above that of single precision; beyond it the vectors are no orbitals
_DEPENDENT = 1e-7  # smallest eigenvalue of an overlap matrix whose root is worth anything


def write_molden(path: str, job: Job, result: Result, parameters: ParameterSet | None = None,
                 raw: bool = False) -> None:
    """Writes a result's orbitals to a file, which appears whole or not at all.

    The job needs eigenvectors; parameters are its tables, None for the usual ones; raw leaves
    the orbitals as the backend has them. Raises UsageError for a result without eigenvectors or a
    path that cannot be, OrbitraxError for a file that cannot be written.
    """
    check_target(path)
    text = molden_text(result, slater_basis(job, parameters), raw)
    with replaced(path) as name, open(name, "w", encoding="utf-8") as file:
        file.write(text)


def molden_text(result: Result, basis: Basis, raw: bool = False) -> str:
    """The text of a Molden file; raises as `write_molden` does."""
    orbitals = orbitals_in_space(result, basis, raw)
    return "".join(["[Molden Format]\n[Title]\n ", _title(result, raw), "\n",
                    _atoms(result), _functions(basis), "[5D]\n", _orbitals(result, orbitals)])


def orbitals_in_space(result: Result, basis: Basis, raw: bool = False) -> dict[str, Array]:
    """Orbitals by spin, "alpha" and, of an unrestricted calculation, "beta": N x N, row k orbital
    k. As they come if raw, else times S^-1/2.

    What single precision took from their orthonormality on the way is given back first. Raises
    UsageError if there are no eigenvectors, or none of this basis.
    """
    vectors = result.eigenvectors
    if not vectors:
        raise UsageError("the result has no eigenvectors; set eigenvectors in its job")
    if raw:
        found = {spin: np.array(matrix, dtype=float) for spin, matrix in vectors.items()}
        for matrix in found.values():
            _check_size(matrix, basis)
        return found
    root = _inverse_root(basis.overlap(result.coordinates))
    found = {}
    for spin, matrix in vectors.items():
        _check_size(matrix, basis)
        excess = matrix @ matrix.T - np.eye(len(matrix))
        if np.abs(excess).max() > _WIRE_ROUNDING:
            raise OrbitraxError(f"the {spin} eigenvectors are not orthonormal")
        found[spin] = (matrix - 0.5 * excess @ matrix) @ root  # (1 + excess)^-1/2, to first order
    return found


def _check_size(matrix: Array, basis: Basis) -> None:
    if matrix.shape != (len(basis), len(basis)):
        raise UsageError(f"the tables give {len(basis)} orbitals, the eigenvectors are "
                         f"{' x '.join(map(str, matrix.shape))}: they belong to another job")


def _inverse_root(overlap: Array) -> Array:
    """The symmetric S^-1/2: P.-O. Lowdin, J. Chem. Phys. 18, 365 (1950)."""
    values, vectors = np.linalg.eigh(overlap)
    if values[0] < _DEPENDENT:
        raise OrbitraxError("the functions of the atoms are too near to linear dependence to make "
                            "the orbitals orthonormal in space; write the raw ones")
    root: Array = (vectors / np.sqrt(values)) @ vectors.T
    return root


# ---- sections -----------------------------------------------------------------------------------


def _title(result: Result, raw: bool) -> str:
    how = "raw orbitals" if raw else "orbitals times S^-1/2"
    state = "" if result.converged is not False else ", NOT CONVERGED"
    return (f"{formula_of(result.symbols)} {find_method(result.method).title} {result.spin}, "
            f"charge {result.charge}, multiplicity {result.multiplicity}{state}; {how}; STO-6G")


def _atoms(result: Result) -> str:
    lines = ["[Atoms] AU\n"]
    positions = np.asarray(result.coordinates, dtype=float) / CODATA_ANGSTROM_PER_BOHR
    for i, (symbol, (x, y, z)) in enumerate(zip(result.symbols, positions), 1):
        lines.append(f"{symbol:<2} {i:5d} {NUMBERS[symbol]:3d} {x:18.10f} {y:18.10f} {z:18.10f}\n")
    return "".join(lines)


def _functions(basis: Basis) -> str:
    """The section of the functions. Atoms without have an entry too, so that a reader that counts
    entries does not go astray."""
    lines = ["[GTO]\n"]
    by_atom: dict[int, list[Shell]] = {}
    for shell in basis.shells:
        by_atom.setdefault(shell.atom, []).append(shell)
    for atom in range(len(basis.symbols)):
        lines.append(f"{atom + 1:5d} 0\n")
        for shell in by_atom.get(atom, ()):
            exponents, coefficients = shell.gaussians()
            lines.append(f" {'spd'[shell.l]} {len(exponents):3d} 1.00\n")
            lines += [f" {a:20.10E} {c:20.10E}\n" for a, c in zip(exponents, coefficients)]
        lines.append("\n")
    return "".join(lines)


def _orbitals(result: Result, orbitals: dict[str, Array]) -> str:
    parts, done = ["[MO]\n"], 0
    levels, occupancies = result.plain("orbital_energies"), result.plain("occupancies")
    assert levels is not None and occupancies is not None
    for spin, matrix in orbitals.items():
        n = len(matrix)
        form = "".join(f"{i:6d} %17.10f\n" for i in range(1, n + 1))
        labels = symmetry_labels(result, done, n)
        for k, row in enumerate(matrix):
            energy = 0.0 if result.natural else levels[done + k] / CODATA_EV_PER_HARTREE
            parts.append(f" Sym= {labels[k]}\n Ene= {energy:16.10f}\n Spin= {spin.capitalize()}\n"
                         f" Occup= {occupancies[done + k]:10.6f}\n")
            parts.append(form % tuple(row.tolist()))
        done += n
    return "".join(parts)


def symmetry_labels(result: Result, first: int, count: int) -> list[str]:
    """Symmetry labels of `count` orbitals from index `first` on; where one is not known, the
    number of the orbital with the letter a."""
    known = result.orbital_symmetries or ["?"] * (first + count)
    return [f"{k}a" if label.endswith("?") else label
            for k, label in enumerate(known[first:first + count], 1)]
