"""The values of a plot on the points of its frame."""

from __future__ import annotations

from dataclasses import dataclass

import numpy as np

from orbitrax.grids.frame import Frame
from orbitrax.grids.plot import Plot

TYPE_CHECKING = False
if TYPE_CHECKING:
    from orbitrax.arrays import Array


@dataclass(eq=False, repr=False)
class Grid:
    """Values on a frame. values: along column, row and planes, so x, y, z of a box; float32, in the
    units of `Plot`. density: that of the electrons on the same points, beside a potential. numbers
    and positions (n x 3, Angstrom) are the molecule's. title says in words what it is, orbital is
    its number and energy in eV (None of a natural one), or None, method the method's name."""

    values: Array
    frame: Frame
    plot: Plot
    numbers: Array
    positions: Array
    title: str
    method: str
    orbital: tuple[int, float | None] | None = None
    density: Array | None = None

    @property
    def is_zero(self) -> bool:
        """Whether there is nothing to see anywhere."""
        return not np.any(np.abs(self.values) > 1e-7)

    @property
    def largest_at_edge(self) -> float:
        """The largest absolute value on the outer faces of a box, of the density beside a
        potential: a surface at a lower value is cut there."""
        values = self.values if self.density is None else self.density
        faces = [np.take(values, index, axis) for axis in range(3) for index in (0, -1)]
        return max(float(np.abs(face).max()) for face in faces)

    def __repr__(self) -> str:
        counts = " x ".join(map(str, self.frame.counts))
        return (f"<Grid {self.title}, {counts} points, {self.values.min():.5f} to "
                f"{self.values.max():.5f}>")
