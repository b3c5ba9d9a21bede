"""Broadened spectra: curves from lines.

Absorption in the ultraviolet and the visible, with a Gaussian of the width sigma round each line,
broadened in wavenumbers:

    epsilon(nu) = sum over lines of 1.3062974e8 f / sigma exp(-((nu - nu_i) / sigma)^2)

epsilon in l/(mol cm), nu and sigma in 1/cm; sigma is the half width at 1/e of the height, and the
area under a line is that of its oscillator strength f.
"""

from __future__ import annotations

import math

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Iterable, Sequence

UV_STRENGTH = 1.3062974e8  # l/(mol cm^2) of an oscillator strength of 1
UV_FORMULA = "epsilon(nu) = sum 1.3062974e8 f/sigma exp(-((nu - nu_i)/sigma)^2)"

_BEYOND = 2.5  # sigmas beyond the outermost lines at which a curve ends
_LEAST, _USUAL_RANGE = 1000.0, (10000.0, 60000.0)  # 1/cm


def uv_absorption(lines: Iterable[tuple[float, float]], sigma: float, at: Sequence[float]
                  ) -> list[float]:
    """Molar absorption, l/(mol cm), at wavenumbers. lines: of each the wavenumber and the
    oscillator strength. sigma and all wavenumbers in 1/cm."""
    known = [(line, UV_STRENGTH * strength / sigma) for line, strength in lines if strength > 0]
    return [sum(height * math.exp(-((nu - line) / sigma) ** 2) for line, height in known)
            for nu in at]


def uv_range(wavenumbers: Sequence[float], sigma: float, points: int = 1000) -> list[float]:
    """Wavenumbers at which to draw a curve, rising: two and a half widths beyond the lines on both
    sides, and above 0."""
    low, high = _USUAL_RANGE
    if wavenumbers:
        low = max(min(wavenumbers) - _BEYOND * sigma, _LEAST)
        high = max(max(wavenumbers), low) + _BEYOND * sigma
    step = (high - low) / (points - 1)
    return [low + i * step for i in range(points)]
