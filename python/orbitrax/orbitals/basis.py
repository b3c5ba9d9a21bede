"""The atomic orbitals of a job: which Slater functions the rows of an eigenvector stand for."""

from __future__ import annotations

from dataclasses import dataclass

import numpy as np

from orbitrax.molecules.elements import SYMBOLS, principal_number, valence_orbitals
from orbitrax.errors import InputError, UsageError
from orbitrax.orbitals.gaussian import GaussianShell, overlap_matrix
from orbitrax.job import Job
from orbitrax.methods import MNDO, MNDOD
from orbitrax.tables import ParameterSet, load_parameters
from orbitrax.units import CODATA_ANGSTROM_PER_BOHR
from orbitrax.orbitals.sto6g import EXPANSIONS

TYPE_CHECKING = False
if TYPE_CHECKING:
    from orbitrax.arrays import Array

    Terms = tuple[tuple[float, float], ...]

_CAPPING_ORBITALS = 4
_SMALLEST = 1e-5  # what is smaller in a table counts as not there
_LETTERS = "spd"
_NAMES = (("s",), ("px", "py", "pz"), ("dz2", "dxz", "dyz", "dx2-y2", "dxy"))


@dataclass(frozen=True)
class Shell:
    """The 2 l + 1 orbitals of one shell of an atom: Slater functions r^(n-1) exp(-zeta r) Y(l, m).

    atom: index from 0. terms: pairs of coefficient and zeta (1/bohr), one but for the double-zeta
    d functions of ZINDO.
    """

    atom: int
    n: int
    l: int
    terms: Terms

    @property
    def names(self) -> list[str]:
        """Names of the orbitals in their order, as "2px"."""
        return [f"{self.n}{name}" for name in _NAMES[self.l]]

    def gaussians(self) -> tuple[Array, Array]:
        """Exponents and coefficients of the normalised expansion in Gaussian functions, six for
        each term."""
        expansion = np.array(EXPANSIONS[self.n, self.l])
        exponents = np.concatenate([zeta**2 * expansion[:, 0] for _, zeta in self.terms])
        coefficients = np.concatenate([c * expansion[:, 1] for c, _ in self.terms])
        mean = np.sqrt(np.outer(exponents, exponents)) / np.add.outer(exponents, exponents)
        square = coefficients @ (2.0 * mean) ** (self.l + 1.5) @ coefficients
        return exponents, coefficients / np.sqrt(square)


@dataclass(frozen=True)
class Basis:
    """The orbitals of a job, in the order of eigenvectors and populations: atom by atom, and in
    each s, px, py, pz, dz2, dxz, dyz, dx2-y2, dxy.

    symbols: of all atoms of the molecule, those without orbitals too.
    """

    symbols: list[str]
    shells: list[Shell]

    def __len__(self) -> int:
        return sum(2 * shell.l + 1 for shell in self.shells)

    @property
    def atoms(self) -> Array:
        """Index from 0 of the atom of each orbital."""
        return np.array([shell.atom for shell in self.shells for _ in shell.names], dtype=int)

    @property
    def labels(self) -> list[str]:
        """Names of the orbitals, as "C3 2px": element, number of the atom from 1, orbital."""
        return [f"{self.symbols[shell.atom]}{shell.atom + 1} {name}" for shell in self.shells
                for name in shell.names]

    def overlap(self, positions: Array) -> Array:
        """Overlap matrix of the expansions in Gaussian functions, N x N; they stand for the Slater
        functions to some 1e-5. positions: of all atoms, n x 3, Angstrom."""
        centres = np.asarray(positions, dtype=float) / CODATA_ANGSTROM_PER_BOHR
        shells, first = [], 0
        for shell in self.shells:
            shells.append(GaussianShell(centres[shell.atom], shell.l, *shell.gaussians(), first))
            first += 2 * shell.l + 1
        return overlap_matrix(shells)


def slater_basis(job: Job, parameters: ParameterSet | None = None) -> Basis:
    """The orbitals of a job, from the tables that the backend gets; None for those of
    `orbitrax.tables.parameter_directory`.

    Atoms outside the selection have none, but for capping atoms, which have an s and a p shell.
    Raises InputError for an atom that the tables give no usable functions.
    """
    parameters = parameters or load_parameters(job.method)
    if parameters.method != job.method:
        raise UsageError(f"the tables are those of {parameters.method.title}, the job is "
                         f"{job.method.title}")
    capping = set(job.capping)
    shells = []
    for atom in sorted({*job.selected, *capping}):
        number = job.molecule.z[atom]
        if number > 0:
            shells += _shells_of_atom(job, parameters, atom, number, atom in capping)
    return Basis(job.molecule.symbols, shells)


def atoms_of_orbitals(job: Job, parameters: ParameterSet) -> Array:
    """Index from 0 of the atom of each orbital of a job, whether or not it can be drawn."""
    capping = set(job.capping)
    found = []
    for atom in sorted({*job.selected, *capping}):
        number = job.molecule.z[atom]
        if number > 0:
            found += [atom] * _orbital_count(job, parameters, number, atom in capping)
    return np.array(found, dtype=int)


def _shells_of_atom(job: Job, parameters: ParameterSet, atom: int, number: int, capping: bool
                    ) -> list[Shell]:
    n = max(principal_number(number), 2) if capping else principal_number(number)
    found = []
    for l in range({1: 1, 4: 2, 9: 3}[_orbital_count(job, parameters, number, capping)]):
        shell_n = _d_number(job, number, n) if l == 2 else n
        terms = _terms(job, parameters, number, capping, l)
        if (shell_n, l) not in EXPANSIONS or not all(zeta > 0.0 for _, zeta in terms):
            raise InputError(f"{job.molecule.label(atom)}: the tables of {job.method.title} give "
                             f"no {_LETTERS[l]} functions for {SYMBOLS[number]} that can be drawn")
        found.append(Shell(atom, shell_n, l, terms))
    return found


def _orbital_count(job: Job, parameters: ParameterSet, number: int, capping: bool) -> int:
    """1, 4 or 9."""
    if capping:
        return _CAPPING_ORBITALS
    if job.method.family != "NDDO":
        return valence_orbitals(number)
    has_d = all(abs(parameters.value(name, number)) > _SMALLEST for name in
                ("dUss", "dBetaS", "dZetaS", "dUdd", "dBetaD", "dZetaD"))
    if has_d and _d_number(job, number, principal_number(number)) >= 3:
        return 9
    return min(valence_orbitals(number), 4)


def _d_number(job: Job, number: int, n: int) -> int:
    """Principal quantum number of the d shell: one less where it lies within the valence shell."""
    if job.method.number in (MNDO, MNDOD):
        inner = 21 <= number <= 30 or 39 <= number <= 48 or 57 <= number <= 80
    else:
        inner = number >= 19
    return n - 1 if inner else n


def _terms(job: Job, parameters: ParameterSet, number: int, capping: bool, l: int) -> Terms:
    def value(name: str) -> float:
        return parameters.value(name, number, capping)

    if l == 2 and job.method.family == "ZINDO":
        terms = ((value("dCoefD1"), value("dZetaD1")), (value("dCoefD2"), value("dZetaD2")))
        return terms if abs(terms[1][0]) > _SMALLEST else ((1.0, terms[0][1]),)
    return ((1.0, value(("dZetaS", "dZetaP", "dZetaD")[l])),)
