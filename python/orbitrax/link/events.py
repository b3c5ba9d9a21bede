"""What a session tells, in the order in which it tells it.

Arrays are kept flat, in `values` or under names of their own; the properties show them as numpy
arrays.
"""

from __future__ import annotations

from orbitrax.arrays import as_numpy

TYPE_CHECKING = False
if TYPE_CHECKING:
    from array import array
    from typing import Any

    import numpy as np

    Array = np.ndarray[Any, Any]


class Event:
    """Anything that a session brings."""

    __slots__: tuple[str, ...] = ()

    def __repr__(self) -> str:
        about = ", ".join(f"{name}={getattr(self, name)!r}" for name in self._names())
        return f"{type(self).__name__}({about})"

    def __eq__(self, other: object) -> bool:
        return type(other) is type(self) and all(
            getattr(self, name) == getattr(other, name) for name in self._names())

    def __hash__(self) -> int:
        return hash((type(self), repr(self)))

    def _names(self) -> list[str]:
        return [name for kind in type(self).__mro__ for name in getattr(kind, "__slots__", ())]


class TextLine(Event):
    """A text of the backend, as it came."""

    __slots__ = ("text",)

    def __init__(self, text: str):
        self.text = text


class LogLine(TextLine):
    """A piece of the calculation's report."""

    __slots__ = ()


class StatusLine(TextLine):
    """Progress, for a status bar."""

    __slots__ = ()


class WarningLine(TextLine):
    """A warning; the work goes on."""

    __slots__ = ()


class ErrorLine(TextLine):
    """An error text. The job has ended if no results follow."""

    __slots__ = ()


class DebugLine(TextLine):
    """Text that the debug word asked for."""

    __slots__ = ()


class NodeCount(Event):
    """Number of backend nodes, once in the life of a process."""

    __slots__ = ("count",)

    def __init__(self, count: int):
        self.count = count


class ResultBlock(Event):
    """The scalars of a report point, by field name. Energies kcal/mol, dipole Debye, times ps."""

    __slots__ = ("values",)

    def __init__(self, values: dict[str, Any]):
        self.values = values


class SearchPoint(Event):
    """A step of a search that this side leads. rms_gradient kcal/(mol Angstrom), total_energy
    kcal/mol; xyz, gradient: 3 n."""

    __slots__ = ("cycle", "energy_points", "rms_gradient", "total_energy", "xyz", "gradient")

    def __init__(self, cycle: int, energy_points: int, rms_gradient: float, total_energy: float,
                 xyz: list[float], gradient: list[float]):
        self.cycle, self.energy_points = cycle, energy_points
        self.rms_gradient, self.total_energy = rms_gradient, total_energy
        self.xyz, self.gradient = xyz, gradient


class Coordinates(Event):
    """Positions of all atoms. values: 3 n, Angstrom."""

    __slots__ = ("values",)

    def __init__(self, values: array[float]):
        self.values = values

    @property
    def positions(self) -> Array:
        """n x 3, Angstrom."""
        return as_numpy(self.values, 3)


class Velocities(Event):
    """Velocities of all atoms, 0 for those that are not calculated. values: 3 n, Angstrom/ps."""

    __slots__ = ("values",)

    def __init__(self, values: array[float]):
        self.values = values

    @property
    def velocities(self) -> Array:
        """n x 3, Angstrom/ps."""
        return as_numpy(self.values, 3)


class Charges(Event):
    """Net charges of the atoms. values: n, e."""

    __slots__ = ("values",)

    def __init__(self, values: array[float]):
        self.values = values

    @property
    def charges(self) -> Array:
        """n, e."""
        return as_numpy(self.values)


class Precise(Event):
    """A report point in double precision, the last event of it. sections: by the names of
    `orbitrax.link.sections`; what the calculation does not have is not there."""

    __slots__ = ("sections",)

    def __init__(self, sections: dict[str, Any]):
        self.sections = sections

    @property
    def values(self) -> array[float] | None:
        """The gradient in one row, 3 n, kcal/(mol Angstrom), or None."""
        return self.sections.get("gradient")

    @property
    def gradient(self) -> Array | None:
        """n x 3, kcal/(mol Angstrom), or None."""
        return None if self.values is None else as_numpy(self.values, 3)


class OrbitalData(Event):
    """Per-orbital values; in an unrestricted calculation alpha before beta.

    energies eV, occupancies in electrons, order the row of each orbital among the eigenvectors,
    populations of the atomic orbitals in atom order, symmetry_index the running number within the
    species of symmetry_labels, "?" where it is not known. All are `array.array` or lists.
    """

    __slots__ = ("energies", "occupancies", "order", "populations", "symmetry_index",
                 "symmetry_labels", "point_group")

    def __init__(self, energies: array[float], occupancies: array[float], order: array[int],
                 populations: array[float], symmetry_index: array[int],
                 symmetry_labels: list[str], point_group: str):
        self.energies, self.occupancies, self.order = energies, occupancies, order
        self.populations, self.symmetry_index = populations, symmetry_index
        self.symmetry_labels, self.point_group = symmetry_labels, point_group


class CiRecords(Event):
    """States of a configuration interaction in single precision, by field name: the reference with
    its energy in eV, then those above it with their wavelengths in nm."""

    __slots__ = ("records",)

    def __init__(self, records: list[dict[str, Any]]):
        self.records = records


class Eigenvectors(Event):
    """Orbitals of one spin ("alpha" or "beta"), one after the other, atomic orbitals in atom order.
    values: n^2."""

    __slots__ = ("spin", "count", "values")

    def __init__(self, spin: str, count: int, values: array[float]):
        self.spin, self.count, self.values = spin, count, values

    @property
    def vectors(self) -> Array:
        """n x n, an orbital a row."""
        return as_numpy(self.values, self.count)


class NormalModes(Event):
    """Normal modes by rising frequency, translations and rotations behind the vibrations.

    frequencies 1/cm, negative where imaginary; intensities decadic, km/mol; symmetry_index the
    running number within the species of symmetry_labels, "?" where it is not known, "" of a
    translation or rotation; order the row of each mode among the eigenvectors. values: those, n^2,
    of the mass-weighted force matrix, over x y z of the atoms that move, in atom order.
    """

    __slots__ = ("frequencies", "intensities", "symmetry_index", "symmetry_labels", "order",
                 "values")

    def __init__(self, frequencies: list[float], intensities: list[float],
                 symmetry_index: list[int], symmetry_labels: list[str], order: list[int],
                 values: array[float]):
        self.frequencies, self.intensities = frequencies, intensities
        self.symmetry_index, self.symmetry_labels = symmetry_index, symmetry_labels
        self.order, self.values = order, values

    @property
    def vectors(self) -> Array:
        """n x n, a mode a row."""
        return as_numpy(self.values, len(self.order))


class PlotPlane(Event):
    """One plane of a plot, row by row, single precision; of a potential two for each plane, its own
    and that of the electron density."""

    __slots__ = ("values",)

    def __init__(self, values: Array):
        self.values = values
