"""What is found in a trajectory as tables: one column along, others over it, and what they mean."""

from __future__ import annotations

import csv
from typing import Callable, TextIO

from orbitrax.errors import UsageError
from orbitrax.motion import analysis
from orbitrax.motion.analysis import Array, Trajectory
from orbitrax.motion.statistics import mean, standard_error

_MEASURES: dict[str, tuple[Callable[..., Array], str]] = {
    "distance": (analysis.distances, "Angstrom"), "angle": (analysis.angles, "degrees"),
    "torsion": (analysis.torsions, "degrees")}
_MOST_PEAKS = 8
_PEAK = 0.02  # of the highest: lower lines are not named
_FASTEST = (2400.0, 4200.0)  # 1/cm: what molecules vibrate at, without hydrogen and with it
_SEEN = 2.0  # standard errors that a diffusion constant is above 0 at least
_LINE = 4  # points of the spectrum that a line covers


class Table:
    """title, along: what, with its unit; x: its values; columns: values by name and unit; summary:
    lines that a person reads; most: of x, as far as it is worth drawing."""

    def __init__(self, title: str, along: str, x: Array, columns: dict[str, Array],
                 summary: list[str], most: float | None = None):
        self.title, self.along, self.x, self.columns = title, along, x, columns
        self.summary, self.most = summary, most

    def write_csv(self, file: TextIO) -> None:
        """The table with its heading."""
        writer = csv.writer(file, lineterminator="\n")
        writer.writerow([self.along, *self.columns])
        for row in zip(self.x, *self.columns.values()):
            writer.writerow([f"{value:.8g}" for value in row])


def geometry(trajectory: Trajectory, asked: list[tuple[str, list[int]]]) -> Table:
    """Distances, angles and torsions in time. asked: kind and atoms, from 1. Raises UsageError for
    atoms that are not there."""
    columns, summary, count = {}, [], len(trajectory.symbols)
    for kind, atoms in asked:
        named = "-".join(map(str, atoms))
        if min(atoms) < 1 or max(atoms) > count or len(set(atoms)) < len(atoms):
            raise UsageError(f"--{kind} {' '.join(map(str, atoms))}: should be different atoms "
                             f"from 1 to {count}")
        measure, unit = _MEASURES[kind]
        values = measure(trajectory.places, *(atom - 1 for atom in atoms))
        name = f"{kind} {named} ({unit})"
        columns[name] = values
        if kind == "torsion":  # which swings about 180 as about any other value
            values = analysis.unrolled(values)
        error = standard_error(values.tolist())
        about = "" if error is None else f" +- {error:.4f}"
        summary.append(f"{name:<34}mean {mean(values.tolist()):.4f}{about}, from "
                       f"{values.min():.4f} to {values.max():.4f}")
    along = "time (ps)" if trajectory.timed else "step"
    return Table("geometry", along, trajectory.times, columns, summary)


def spectral(trajectory: Trajectory) -> Table:
    """The power spectrum of the velocities."""
    waves, power = analysis.power_spectrum(trajectory)
    peaks = _peaks(waves, power)
    summary = [f"Lines of the spectrum, 1/cm, {_LINE * (waves[1] - waves[0]):.0f} wide:",
               "  " + (", ".join(f"{wave:.0f}" for wave in peaks) or "none"),
               f"Frames show wavenumbers up to {waves[-1]:.0f} 1/cm"
               + ("; faster motions stand at false places: write frames more often"
                  if waves[-1] < _FASTEST["H" in trajectory.symbols] else "")]
    return Table("spectrum", "wavenumber (1/cm)", waves, {"power (cm)": power}, summary,
                 most=min(4500.0, float(waves[-1])))


def _peaks(waves: Array, power: Array) -> list[float]:
    """The highest lines by their places, ascending: local maxima over the width of a line."""
    found = [i for i in range(_LINE, len(power) - 1)
             if power[i] == power[max(0, i - _LINE):i + _LINE + 1].max()
             and power[i] > _PEAK * power[_LINE:].max()]
    highest = sorted(found, key=lambda i: -float(power[i]))[:_MOST_PEAKS]
    return sorted(float(waves[i]) for i in highest)


def correlated(trajectory: Trajectory) -> Table:
    """The velocity autocorrelation; its far half, of few products, is left out."""
    half = max(2, len(trajectory.times) // 2)
    times = trajectory.times[:half] - trajectory.times[0]
    values = analysis.velocity_autocorrelation(trajectory)[:half]
    return Table("velocity autocorrelation", "time (ps)", times, {"autocorrelation": values},
                 [f"Velocity autocorrelation over {times[-1]:.4g} ps"])


def displaced(trajectory: Trajectory) -> Table:
    """The mean square displacement; its far half is left out."""
    half = max(2, len(trajectory.times) // 2)
    times = trajectory.times - trajectory.times[0]
    values = analysis.mean_square_displacement(trajectory)
    constant = analysis.diffusion_constant(times, values)
    error = analysis.diffusion_error(trajectory)
    told = f"{constant:.4g} +- {error:.2g} Angstrom^2/ps"
    if constant > _SEEN * error:
        told += f" = {1e-4 * constant:.4g} cm^2/s"
    else:
        told = f"not known: {told}, of which a longer run may tell more"
    return Table("mean square displacement", "time (ps)", times[:half],
                 {"mean square displacement (Angstrom^2)": values[:half]},
                 [f"Diffusion constant {told}, from the slope over {times[-1] / 2:.4g} ps"])
