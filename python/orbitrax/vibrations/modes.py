"""Normal modes as values."""

from __future__ import annotations

import copy
import math

import numpy as np

from orbitrax.molecules.elements import SYMBOLS

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Sequence
    from typing import Any

    from orbitrax.arrays import Array

_LIGHT, _AMU, _PLANCK = 2.99792458e10, 1.66053906660e-27, 6.62607015e-34  # cm/s, kg, J s

# Force constant, mdyn/Angstrom, of 1 amu that vibrates at 1/cm, with the constants by which the
# backend makes frequencies.
FORCE_PER_AMU = 1.0 / (5.3088375e-12**2 * 6.02252e28)
MILLIDYNES_PER_KCAL = 0.00695125  # mdyn/Angstrom of a kcal/(mol Angstrom^2), in the backend
# Rotational constant, 1/cm, of a moment of inertia of 1 amu Angstrom^2; CODATA 2018.
CONSTANT_OF_MOMENT = _PLANCK / (8 * math.pi**2 * _LIGHT * _AMU * 1e-20)

# Integrated absorption with the natural logarithm, by that with the decadic one.
NATURAL = math.log(10.0)

_LINEAR = 0.0003  # amu Angstrom^2: a smaller moment of inertia is none
_STILL = 0.1  # of the part of the atom that moves most: atoms that move less are not named
_NAMED = 4  # atoms of a mode, at the most


class Modes:
    """The normal modes of a molecule, or of a selected part, at one geometry.

    numbers: atomic numbers of the n atoms that move; atoms: their indices in the molecule; masses,
    amu; positions, n x 3, Angstrom. Of the vibrations, by rising frequency: frequencies, 1/cm,
    negative for an imaginary one; decadic, integrated absorption with the decadic logarithm, as the
    backend's report has it, km/mol; labels, running number and species, "?" where that is not
    known; vectors, one a row, 3 n, of the mass-weighted force matrix. external: the frequencies of
    the translations and rotations, which are 0 at a stationary point but for rounding.

    Where the backend tells them in double precision: dipole_derivatives, 3 n x 3, Debye/Angstrom;
    points, displaced ones that the force matrix was made from, unconverged, those of them whose SCF
    did not converge, and cycles, of all their SCFs. Otherwise None.
    """

    _force_matrix: Array | None = None
    dipole_derivatives: Array | None = None
    points: int | None = None
    unconverged: int | None = None
    cycles: int | None = None

    def __init__(self, numbers: Sequence[int], atoms: Sequence[int], masses: Sequence[float],
                 positions: Any, frequencies: Sequence[float], decadic: Sequence[float],
                 labels: Sequence[str], vectors: Any):
        self.numbers, self.atoms = tuple(numbers), tuple(atoms)
        self.masses = np.asarray(masses, dtype=float)
        self.positions = np.asarray(positions, dtype=float).reshape(-1, 3)
        self.all_frequencies = np.asarray(frequencies, dtype=float)
        self.all_vectors = np.asarray(vectors, dtype=float).reshape(len(frequencies), -1)
        empty = sum(1 for label in labels if not label.lstrip("0123456789"))
        count = empty or (5 if self.is_linear else 6)
        n = len(frequencies) - count
        self.frequencies, self.external = self.all_frequencies[:n], self.all_frequencies[n:]
        self.vectors = self.all_vectors[:n]
        self.decadic = np.asarray(decadic, dtype=float)[:n]
        self.labels = ["?" if label.endswith("?") else label for label in labels[:n]]

    def in_double(self, values: dict[str, Any]) -> Modes:
        """The same modes with the numbers of `orbitrax.link.mode_rows`. Raises ValueError where
        they are of another number of coordinates."""
        n, size = len(self.frequencies), len(self.all_frequencies)
        found = copy.copy(self)
        found.all_frequencies = np.array(values["frequencies"]).reshape(size)
        found.all_vectors = np.array(values["vectors"]).reshape(size, size)
        found.frequencies, found.external = found.all_frequencies[:n], found.all_frequencies[n:]
        found.vectors = found.all_vectors[:n]
        found.decadic = np.array(values["intensities"]).reshape(size)[:n]
        found._force_matrix = np.array(values["force_matrix"]).reshape(size, size)
        found.dipole_derivatives = np.array(values["dipole_derivatives"]).reshape(size, 3)
        found.points, found.unconverged = values["points"], values["unconverged"]
        found.cycles = values["cycles"]
        return found

    def __len__(self) -> int:
        return len(self.frequencies)

    # ---- each mode ------------------------------------------------------------------------------

    @property
    def imaginary(self) -> int:
        """How many frequencies are imaginary."""
        return int(np.sum(self.frequencies < 0))

    @property
    def intensities(self) -> Array:
        """Integrated absorption with the natural logarithm, km/mol, as it is usually given."""
        found: Array = NATURAL * self.decadic
        return found

    @property
    def displacements(self) -> Array:
        """How the atoms move: modes x n x 3, the whole of length 1."""
        moves = self.vectors / np.sqrt(np.repeat(self.masses, 3))
        lengths = np.linalg.norm(moves, axis=1, keepdims=True)
        shown: Array = (moves / lengths).reshape(len(self), -1, 3)
        return shown

    @property
    def reduced_masses(self) -> Array:
        """amu, of the displacements."""
        moves = self.vectors / np.sqrt(np.repeat(self.masses, 3))
        found: Array = 1.0 / np.sum(moves**2, axis=1)
        return found

    @property
    def force_constants(self) -> Array:
        """mdyn/Angstrom, of the displacements; negative for an imaginary mode."""
        nu = self.frequencies
        found: Array = FORCE_PER_AMU * self.reduced_masses * nu * np.abs(nu)
        return found

    def movers(self, mode: int) -> list[int]:
        """The atoms that move most in a mode, indices in the molecule; four at the most."""
        part = np.linalg.norm(self.displacements[mode], axis=1)
        order = sorted(range(len(part)), key=lambda i: (-round(part[i], 4), i))
        return [self.atoms[i] for i in order[:_NAMED] if part[i] > _STILL * part.max()]

    def named_movers(self, mode: int) -> str:
        """The same for people: "O1 H2 H3"."""
        names = {atom: SYMBOLS[number] for atom, number in zip(self.atoms, self.numbers)}
        return " ".join(f"{names[atom]}{atom + 1}" for atom in self.movers(mode))

    # ---- the whole ------------------------------------------------------------------------------

    @property
    def moments(self) -> Array:
        """Principal moments of inertia, ascending, amu Angstrom^2."""
        centre = self.masses @ self.positions / self.masses.sum()
        r = self.positions - centre
        tensor = np.einsum("i,ij,ik->jk", self.masses, r, r)
        found: Array = np.linalg.eigvalsh(np.eye(3) * np.trace(tensor) - tensor)
        return found

    @property
    def is_linear(self) -> bool:
        """Whether all atoms lie on a line."""
        return bool(self.moments[0] < _LINEAR)

    @property
    def rotational_constants(self) -> list[float]:
        """1/cm, descending; one of a linear molecule."""
        moments = self.moments[2:] if len(self.external) == 5 else self.moments
        return [CONSTANT_OF_MOMENT / float(moment) for moment in moments]

    @property
    def hessian(self) -> Array:
        """The force matrix, 3 n x 3 n, kcal/(mol Angstrom^2): as it was computed where the backend
        tells it, else put together from the modes."""
        if self._force_matrix is not None:
            return self._force_matrix
        root = np.sqrt(np.repeat(self.masses, 3))
        nu = self.all_frequencies
        forces = FORCE_PER_AMU / MILLIDYNES_PER_KCAL * nu * np.abs(nu)
        weighted = (self.all_vectors.T * forces) @ self.all_vectors
        found: Array = weighted * np.outer(root, root)
        return found
