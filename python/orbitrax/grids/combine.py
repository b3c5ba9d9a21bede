"""Combinations of orbitals on a grid, from the orbitals that the backend still has."""

from __future__ import annotations

import dataclasses

import numpy as np

from orbitrax.grids.frame import box_around
from orbitrax.grids.grid import Grid
from orbitrax.grids.plot import Plot

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Callable, Sequence

    from orbitrax.arrays import Array
    from orbitrax.backend import Backend
    from orbitrax.results.result import Result

_LEAST = 0.01  # coefficients below this do not show


def combined_orbitals(backend: Backend, result: Result, wanted: Sequence[dict[int, float]],
                      titles: Sequence[str], on_plot: Callable[[int, int], None]) -> list[Grid]:
    """Grids of combinations of the orbitals of the job that the backend ran last. wanted: of each
    combination the coefficients by number of the orbital, from 1. Each orbital is computed once."""
    assert result.coordinates is not None
    frame = box_around(result.coordinates)
    frame.check_memory(len(wanted) + 1)
    numbers = sorted({number for one in wanted for number, c in one.items() if abs(c) > _LEAST})
    sums: list[Array] = [np.zeros(frame.counts, np.float32) for _ in wanted]
    grid: Grid | None = None
    on_plot(0, len(numbers))
    for done, number in enumerate(numbers, 1):
        grid = backend.plot(Plot(str(number)), frame)
        for one, values in zip(wanted, sums):
            if abs(one.get(number, 0.0)) > _LEAST:
                values += np.float32(one[number]) * grid.values
        on_plot(done, len(numbers))
    if grid is None:
        return []
    return [dataclasses.replace(grid, values=values, title=title, orbital=None)
            for values, title in zip(sums, titles)]
