"""What a session tells, in the order in which it tells it."""

from __future__ import annotations

from dataclasses import dataclass

import numpy as np


@dataclass(frozen=True)
class Event:
    """Anything that a session brings."""


@dataclass(frozen=True)
class TextLine(Event):
    """A text of the backend, as it came."""

    text: str


class LogLine(TextLine):
    """A piece of the calculation's report."""


class StatusLine(TextLine):
    """Progress, for a status bar."""


class WarningLine(TextLine):
    """A warning; the work goes on."""


class ErrorLine(TextLine):
    """An error text. The job has ended if no results follow."""


class DebugLine(TextLine):
    """Text that the debug word asked for."""


@dataclass(frozen=True)
class NodeCount(Event):
    """Number of backend nodes, once in the life of a process."""

    count: int


@dataclass(frozen=True)
class ResultBlock(Event):
    """The scalars of a report point, by field name. Energies kcal/mol, dipole Debye, times ps."""

    values: dict


@dataclass(frozen=True)
class Coordinates(Event):
    """Positions of all atoms, n x 3, Angstrom."""

    positions: np.ndarray


@dataclass(frozen=True)
class Charges(Event):
    """Net charge of each atom, n, e."""

    charges: np.ndarray


@dataclass(frozen=True)
class Precise(Event):
    """A report point in double precision: total energy in kcal/mol and its gradient, n x 3, in
    kcal/(mol Angstrom), or None."""

    total_energy: float
    gradient: np.ndarray | None


@dataclass(frozen=True)
class OrbitalData(Event):
    """Per-orbital values; in an unrestricted calculation alpha before beta.

    energies eV, occupancies in electrons, order the row of each orbital among the eigenvectors,
    populations of the atomic orbitals in atom order, symmetry_index the running number within the
    species of symmetry_labels, "?" where it is not known.
    """

    energies: np.ndarray
    occupancies: np.ndarray
    order: np.ndarray
    populations: np.ndarray
    symmetry_index: np.ndarray
    symmetry_labels: list
    point_group: str


@dataclass(frozen=True)
class Eigenvectors(Event):
    """Orbitals of one spin ("alpha" or "beta"), one per row, atomic orbitals in atom order."""

    spin: str
    vectors: np.ndarray


@dataclass(frozen=True)
class PlotPlane(Event):
    """One plane of a plot, row by row, single precision; of a potential two for each plane, its own
    and that of the electron density."""

    values: np.ndarray
