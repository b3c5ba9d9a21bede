"""Pictures of spectra: a stick for each line and the curve that they make."""

from __future__ import annotations

from orbitrax.pictures.figures import drawing_tools
from orbitrax.units import CODATA_WAVENUMBER_PER_EV

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Sequence
    from typing import Any

_ABOVE = 1.35  # height of the picture over that of the highest line
_INCHES = (8.0, 4.8)
_DPI = 150
_CURVE, _STICK, _WORDS = "#0a3d7a", "#b8001f", "#333333"
_MOST_NAMES = 6  # bands that are named, the strongest
_LEAST_NAMED = 0.02  # of the strongest
_APART = 0.07  # of the width of the picture: half of that of a name
_TALL = 0.14  # of the strongest line: the height of a name
_MOST_PARTS = 2  # excitations that are named of a band


class Line:
    """One line of a spectrum: where it is (nm), how strong, and what is written above it."""

    def __init__(self, wavelength: float, strength: float, name: str):
        self.wavelength, self.strength, self.name = wavelength, strength, name


class Curve:
    """A curve over wavelengths (nm, rising): absorption, l/(mol cm)."""

    def __init__(self, wavelengths: Sequence[float], absorption: Sequence[float]):
        self.wavelengths, self.absorption = wavelengths, absorption


def draw(lines: Sequence[Line], curve: Curve, title: str, note: str) -> Any:
    """A figure of an absorption spectrum: the curve over nanometres, with eV above, and the
    oscillator strengths as sticks. note: stands below, small."""
    figure = drawing_tools().figure.Figure(_INCHES, dpi=_DPI)
    axes = figure.add_axes([0.11, 0.15, 0.79, 0.68])
    low, high = curve.wavelengths[0], curve.wavelengths[-1]
    axes.set_xlim(low, high)
    axes.plot(curve.wavelengths, curve.absorption, color=_CURVE, linewidth=1.4)
    top = max(*curve.absorption, 1.0)
    axes.set_ylim(0, _ABOVE * top)
    axes.set_xlabel("wavelength (nm)")
    axes.set_ylabel("molar absorption, l/(mol cm)", color=_CURVE)
    axes.tick_params(labelsize=8)
    energies = axes.secondary_xaxis("top", functions=(_exchange, _exchange))
    energies.set_xlabel("energy (eV)")
    energies.set_xticks(_round_energies(low, high))
    energies.tick_params(labelsize=8)
    sticks = axes.twinx()
    strongest = max([line.strength for line in lines], default=0.0) or 1.0
    sticks.vlines([line.wavelength for line in lines], 0, [line.strength for line in lines],
                  color=_STICK, linewidth=1.0)
    sticks.set_ylim(0, _ABOVE * strongest)
    sticks.set_ylabel("oscillator strength", color=_STICK)
    sticks.tick_params(labelsize=8)
    _name_lines(sticks, [line for line in lines if low <= line.wavelength <= high], strongest,
                high - low)
    figure.text(0.5, 0.96, title, ha="center", va="center", fontsize=9.5)
    figure.text(0.5, 0.02, note, ha="center", va="bottom", fontsize=6.5, color=_WORDS)
    return figure


def _exchange(value: Any) -> Any:
    """Nanometres to eV, and eV to nanometres."""
    import numpy as np

    with np.errstate(divide="ignore"):
        return _EV_NM / np.asarray(value, dtype=float)


_EV_NM = 1e7 / CODATA_WAVENUMBER_PER_EV  # of a quantum of light


def _round_energies(low: float, high: float) -> list[float]:
    """Energies to be marked between two wavelengths."""
    least, most = _EV_NM / high, _EV_NM / low
    step = next(one for one in (0.1, 0.2, 0.5, 1.0, 2.0, 5.0, 1e9) if (most - least) / one <= 9)
    first = int(least / step) + 1
    return [round(i * step, 6) for i in range(first, int(most / step) + 1)]


def _name_lines(axes: Any, lines: Sequence[Line], strongest: float, width: float) -> None:
    """Writes what the strongest lines are, above them and clear of each other."""
    named = sorted((line for line in lines if line.strength >= _LEAST_NAMED * strongest),
                   key=lambda line: -line.strength)[:_MOST_NAMES]
    taken: list[tuple[float, float]] = []
    for line in sorted(named, key=lambda line: line.wavelength):
        height = line.strength + 0.03 * strongest
        while any(abs(line.wavelength - x) < 2.5 * _APART * width
                  and abs(height - y) < _TALL * strongest for x, y in taken):
            height += 0.02 * strongest
        taken.append((line.wavelength, height))
        place = (line.wavelength - axes.get_xlim()[0]) / width
        side = "left" if place < _APART else "right" if place > 1 - _APART else "center"
        name = "\n".join(line.name.split(", ")[:_MOST_PARTS])
        axes.text(line.wavelength, height, f"{line.wavelength:.0f} nm\n{name}", ha=side,
                  va="bottom", fontsize=6.5, color=_WORDS, linespacing=1.1)
