"""Infrared spectra: sticks and the bands round them."""

from __future__ import annotations

import numpy as np

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Sequence

    from orbitrax.arrays import Array

FIRST, LAST = 4000.0, 0.0  # 1/cm, as spectra are read
_ABOVE = 50.0  # 1/cm left free above the highest band, should it be above all that is usual


def span(frequencies: Sequence[float] | Array) -> tuple[float, float]:
    """Highest and lowest wavenumber of a spectrum of these bands."""
    top = max((float(nu) for nu in frequencies), default=0.0) + _ABOVE
    return max(FIRST, float(np.ceil(top / 100.0) * 100.0)), LAST


def absorption(frequencies: Sequence[float] | Array, intensities: Sequence[float] | Array,
               at: Array, width: float) -> Array:
    """Molar absorption, km/mol per 1/cm, at some wavenumbers: of each band a Lorentzian curve of a
    full width at half maximum, 1/cm, whose area is the intensity."""
    found = np.zeros(len(at))
    half = width / 2
    for nu, strength in zip(frequencies, intensities):
        found += strength * half / np.pi / ((at - nu) ** 2 + half**2)
    return found
