"""Reads trajectories for those who look into them: all frames, with times and velocities."""

from __future__ import annotations

import os
from decimal import Decimal
from typing import Any

import numpy as np

from orbitrax.errors import MoleculeError, UsageError
from orbitrax.motion.analysis import Trajectory

_FEWEST = 3
_UNEVEN = 1e-3  # of an interval: times that differ more are no equal times


def read_trajectory(path: str | os.PathLike[str], interval: Decimal | None = None) -> Trajectory:
    """All frames of a file that ASE reads. interval: ps between frames; None for the times of the
    frames, or for the numbers of their steps where these take no time. Velocities are those of the
    frames, else differences of the places. Raises MoleculeError for what is no trajectory,
    UsageError where there are no times."""
    import ase.io

    name = os.fspath(path)
    if not os.path.isfile(name):
        raise MoleculeError(f"{name}: there is no such file")
    try:
        frames: list[Any] = ase.io.read(name, index=":")
    except Exception as error:  # the readers raise whatever their parsing happens to raise
        raise MoleculeError(f"{name}: cannot be read as a trajectory: {error}") from None
    if len(frames) < _FEWEST:
        raise MoleculeError(f"{name} has {len(frames)} frames; there is nothing to look into below "
                            f"{_FEWEST}")
    symbols = frames[0].get_chemical_symbols()
    if any(frame.get_chemical_symbols() != symbols for frame in frames):
        raise MoleculeError(f"{name}: its frames are of different molecules")
    timed = interval is not None or any(
        "time_ps" in frame.info or "step" not in frame.info for frame in frames)
    if timed:
        times = _times(frames, interval, name)  # which may leave out the last frame
    else:
        times = np.array([frame.info["step"] for frame in frames], dtype=float)
    places = np.array([frame.positions for frame in frames])
    return Trajectory(tuple(symbols), frames[0].get_masses(), times, places,
                      _velocities(frames, places, times) if timed else np.zeros_like(places),
                      timed)


def _times(frames: list[Any], interval: Decimal | None, name: str) -> Any:
    if interval is not None:
        return float(interval) * np.arange(len(frames))
    told = [frame.info.get("time_ps") for frame in frames]
    if None in told:
        raise UsageError(f"{name}: its frames have no times; say how far they are apart with "
                         "--interval 5fs")
    times = np.array(told, dtype=float)
    if len(times) > _FEWEST and times[-1] - times[-2] < (1 - _UNEVEN) * (times[1] - times[0]):
        del frames[-1]  # the end of a run, which came before its turn
        times = times[:-1]
    steps = np.diff(times)
    if not steps[0] > 0 or np.abs(steps - steps[0]).max() > _UNEVEN * steps[0]:
        raise UsageError(f"{name}: its frames are not equally far apart in time; say how far with "
                         "--interval, or write another with one --report-period")
    return times


def _velocities(frames: list[Any], places: Any, times: Any) -> Any:
    if all("velo" in frame.arrays for frame in frames):
        return np.array([frame.arrays["velo"] for frame in frames])
    if all(frame.has("momenta") for frame in frames):
        from ase import units

        return np.array([frame.get_velocities() for frame in frames]) * (1000 * units.fs)
    return np.gradient(places, times, axis=0)
