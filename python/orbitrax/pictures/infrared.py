"""Pictures of infrared spectra."""

from __future__ import annotations

import numpy as np

from orbitrax.pictures.figures import drawing_tools, save_figure
from orbitrax.vibrations.spectrum import absorption, span

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Sequence
    from typing import Any

    from orbitrax.vibrations.modes import Modes

_POINTS = 4001
_SIZE, _DPI = (8.0, 4.2), 150  # inches
_COLOURS = ("#14508c", "#b8461c", "#2d7a3a", "#6b3f8f")
_NAMED = 0.06  # of the highest band: lower ones have no number


def save_spectrum(modes: Modes, title: str, path: str, file: str | None = None,
                  width: float = 12.0, others: Sequence[tuple[str, Modes]] = ()) -> None:
    """Draws a spectrum, absorption over wavenumber, sticks and Lorentzian bands of a width; the
    name of `path` tells the format, `file` is written instead if it is given. others: isotopologues
    and what they are called."""
    figure = spectrum(modes, title, width, others)
    figure.set_dpi(_DPI)
    save_figure(figure, path, file, title)


def spectrum(modes: Modes, title: str, width: float = 12.0,
             others: Sequence[tuple[str, Modes]] = ()) -> Any:
    """The figure."""
    matplotlib = drawing_tools()
    figure = matplotlib.figure.Figure(_SIZE, layout="constrained")
    axes = figure.add_subplot()
    shown = [("", modes), *others]
    first, last = span(np.concatenate([one.frequencies for _, one in shown]))
    at = np.linspace(last, first, _POINTS)
    sticks = axes.twinx()
    for (name, one), colour in zip(shown, _COLOURS * (1 + len(others) // len(_COLOURS))):
        real = one.frequencies > 0
        curve = absorption(one.frequencies[real], one.intensities[real], at, width)
        axes.plot(at, curve, color=colour, linewidth=1.3, label=name or "natural masses", zorder=3)
        sticks.vlines(one.frequencies[real], 0, one.intensities[real], color=colour, alpha=0.45,
                      linewidth=1.0)
    _number(axes, modes, at, width)
    axes.set(xlim=(first, last), xlabel="wavenumber (1/cm)",
             ylabel="absorption (km/mol per 1/cm)")
    sticks.set_ylabel("sticks: intensity (km/mol)")
    for axis in (axes, sticks):
        axis.set_ylim(0, 1.14 * max(axis.get_ylim()[1], 1e-6))
    axes.set_title(title, fontsize=10)
    if others:
        axes.legend(fontsize=8, frameon=False)
    return figure


def _number(axes: Any, modes: Modes, at: Any, width: float) -> None:
    """The wavenumbers of the bands that stand out."""
    curve = absorption(modes.frequencies, modes.intensities, at, width)
    inner = np.flatnonzero((curve[1:-1] > curve[:-2]) & (curve[1:-1] >= curve[2:])) + 1
    for k in inner[curve[inner] > _NAMED * curve.max()]:
        axes.annotate(f"{at[k]:.0f}", (at[k], curve[k]), (0, 3), textcoords="offset points",
                      ha="center", fontsize=7, color="0.25")
