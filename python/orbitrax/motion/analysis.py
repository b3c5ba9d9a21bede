"""What a trajectory says: distances and angles in time, velocity autocorrelation and its power
spectrum, mean square displacement. Times ps, places Angstrom, velocities Angstrom/ps.
"""

from __future__ import annotations

from dataclasses import dataclass, replace
from typing import Any

import numpy as np

Array = np.ndarray[Any, Any]

CM_PER_CYCLE_PER_PS = 1e12 / 2.99792458e10  # wavenumber in 1/cm of one cycle in a ps


@dataclass(frozen=True)
class Trajectory:
    """Frames at equal times. symbols: n; masses: n, amu; times: f; places and velocities: f x n x
    3, the latter made from differences of the places where the frames have none. timed: whether
    the times are times, ps, and not numbers of steps that take none."""

    symbols: tuple[str, ...]
    masses: Array
    times: Array
    places: Array
    velocities: Array
    timed: bool = True

    @property
    def interval(self) -> float:
        """Time between frames."""
        return float(self.times[1] - self.times[0])

    def atoms(self, indices: list[int] | None) -> Trajectory:
        """The trajectory of some of the atoms, indices from 0; all for None."""
        if indices is None:
            return self
        return Trajectory(tuple(self.symbols[i] for i in indices), self.masses[indices], self.times,
                          self.places[:, indices], self.velocities[:, indices], self.timed)


# ---- geometry -----------------------------------------------------------------------------------


def distances(places: Array, i: int, j: int) -> Array:
    """Distance of two atoms, indices from 0, in each frame."""
    found: Array = np.linalg.norm(places[:, i] - places[:, j], axis=1)
    return found


def angles(places: Array, i: int, j: int, k: int) -> Array:
    """Angle at atom j in each frame, degrees."""
    a, b = places[:, i] - places[:, j], places[:, k] - places[:, j]
    sines: Array = np.linalg.norm(np.cross(a, b), axis=1)
    found: Array = np.degrees(np.arctan2(sines, np.sum(a * b, axis=1)))
    return found


def torsions(places: Array, i: int, j: int, k: int, m: int) -> Array:
    """Torsion about the bond of atoms j and k in each frame, degrees, from -180 to 180."""
    a, b, c = (places[:, q] - places[:, p] for p, q in ((i, j), (j, k), (k, m)))
    u, v = np.cross(a, b), np.cross(b, c)
    turned = np.cross(u, b / np.linalg.norm(b, axis=1)[:, None])
    found: Array = -np.degrees(np.arctan2(np.sum(turned * v, axis=1), np.sum(u * v, axis=1)))
    return found


# ---- correlation --------------------------------------------------------------------------------


def autocorrelation(signal: Array) -> Array:
    """Mean of x(t) x(t + s) over all t, for s = 0 .. f - 1, of each column of f values, summed over
    the columns. Computed by a Fourier transform of twice the length, so that the end never meets
    the start."""
    f = len(signal)
    columns = signal.reshape(f, -1)
    spectrum = np.abs(np.fft.rfft(columns, 2 * f, axis=0)) ** 2
    sums = np.fft.irfft(spectrum.sum(axis=1), 2 * f)[:f]
    return np.asarray(sums / np.arange(f, 0, -1))


def velocity_autocorrelation(trajectory: Trajectory) -> Array:
    """Of the velocities weighted by the root of the masses, 1 at the start."""
    weighted = trajectory.velocities * np.sqrt(trajectory.masses)[None, :, None]
    found = autocorrelation(weighted)
    return np.asarray(found / found[0])


def power_spectrum(trajectory: Trajectory) -> tuple[Array, Array]:
    """Wavenumbers, 1/cm, and the kinetic energy among them: the vibrational density of states of
    the trajectory, which integrates to 1 over the wavenumbers. A Hann window keeps strong lines
    from spilling over weak ones; a line is about 4 / length wide, in cycles per ps."""
    f, n = trajectory.velocities.shape[:2]
    weighted = trajectory.velocities * np.sqrt(trajectory.masses)[None, :, None]
    windowed = weighted.reshape(f, 3 * n) * np.hanning(f)[:, None]
    power = np.sum(np.abs(np.fft.rfft(windowed, axis=0)) ** 2, axis=1)
    waves = np.fft.rfftfreq(f, trajectory.interval) * CM_PER_CYCLE_PER_PS
    return waves, power / (power.sum() * (waves[1] - waves[0]))


def mean_square_displacement(trajectory: Trajectory) -> Array:
    """Mean of |r(t + s) - r(t)|^2 over all t and atoms, Angstrom^2, for s = 0 .. f - 1."""
    places = trajectory.places - trajectory.places.mean(axis=0)
    f, n = places.shape[:2]
    squares = np.sum(places**2, axis=(1, 2))
    before = np.cumsum(squares)  # of the first s + 1 frames
    pairs = np.arange(f, 0, -1)
    both = (before[::-1] + (before[-1] - np.concatenate(([0.0], before[:-1])))) / pairs
    return np.asarray((both - 2.0 * autocorrelation(places)) / n)


def diffusion_constant(times: Array, displacement: Array) -> float:
    """D in Angstrom^2/ps from the slope of 6 D t, over the middle of the first half, where the
    start is forgotten and the mean is still one of many."""
    f = len(times)
    part = slice(f // 10, max(f // 10 + 2, f // 2))
    slope = np.polyfit(times[part], displacement[part], 1)[0]
    return float(slope) / 6.0


def diffusion_error(trajectory: Trajectory) -> float:
    """The standard error of the diffusion constant, from how x, y and z differ."""
    along = [3.0 * diffusion_constant(trajectory.times, mean_square_displacement(
        replace(trajectory, places=trajectory.places[:, :, k:k + 1]))) for k in range(3)]
    return float(np.std(along, ddof=1) / np.sqrt(3.0))


# ---- angles that go round -----------------------------------------------------------------------


def unrolled(degrees: Array) -> Array:
    """Angles, degrees, by the turns that bring each nearest to the mean direction of all."""
    radians = np.radians(degrees)
    middle = np.degrees(np.arctan2(np.sin(radians).mean(), np.cos(radians).mean()))
    found: Array = middle + (degrees - middle + 180.0) % 360.0 - 180.0
    return found
