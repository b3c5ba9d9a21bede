"""Cube files: values on a box of points, for the programs that draw surfaces.

Lengths in bohr with positive counts, x outermost and z innermost, six values a line, a new line
after each run along z, and two lines of comment that say what it is.
"""

from __future__ import annotations

from orbitrax import __version__
from orbitrax.grids.frame import BOHR_PER_ANGSTROM
from orbitrax.grids.grid import Grid
from orbitrax.molecules.elements import SYMBOLS, formula_of

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import TextIO

    from orbitrax.arrays import Array

_PER_LINE = 6
_UNITS = ("hartree per unit charge", "electrons per cubic bohr", "bohr to the power -3/2",
          "electrons per cubic bohr", "electrons per cubic bohr")  # by kind


def write_cube(file: TextIO, grid: Grid) -> None:
    """Writes a grid, and the molecule in it, to a text file that is open for writing."""
    formula = formula_of([SYMBOLS[number] for number in grid.numbers])
    unit = _UNITS[grid.plot.kind]
    file.write(f"{formula}, {grid.method}: {grid.title}\n"
               f"Orbitrax {__version__}; {unit}; x outermost, z innermost\n")
    file.write(_head(len(grid.numbers), grid.frame.first))
    for count, step in zip(grid.frame.counts, grid.frame.steps):
        file.write(_head(count, step))
    for number, place in zip(grid.numbers, grid.positions * float(BOHR_PER_ANGSTROM)):
        file.write(f"{number:5d}{float(number):12.6f}" + "".join(f"{c:12.6f}" for c in place)
                   + "\n")
    n = grid.values.shape[2]
    lines = ["%13.5E" * min(_PER_LINE, n - start) for start in range(0, n, _PER_LINE)]
    run = "\n".join(lines) + "\n"
    for layer in grid.values:
        file.write("".join(run % tuple(values) for values in layer.tolist()))


def _head(count: int, vector: Array) -> str:
    return f"{count:5d}" + "".join(f"{c:12.6f}" for c in vector) + "\n"
