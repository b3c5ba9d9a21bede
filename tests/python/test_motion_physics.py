"""The tasks that move atoms against physics: normal modes, Boltzmann's law, temperature."""

from decimal import Decimal

import numpy as np
import pytest
import scipy.stats
from orbitrax import Backend, Job, Langevin, MolecularDynamics, Molecule, MonteCarlo, run
from orbitrax.motion.statistics import drift

pytestmark = pytest.mark.timeout(600)

BOLTZMANN = 0.0019872  # kcal/(mol K), as the walk has it


def follow(molecule, method, task, backend):
    frames = []
    one = task.start(molecule, method)
    one.listeners.append(frames.append)
    one.execute(backend)
    return one, frames


def places(frame):
    return np.array(list(frame.places)).reshape(-1, 3)


def relaxed(molecule, method="am1"):
    found = run(molecule, method, "optimize", limit=0.001, scf_limit=1e-9)
    return molecule.replace(positions=found.coordinates)


def frequency_of(values, step):
    """1/cm of the line that is strongest in a signal, a value each `step` ps; between the points of
    the transform by a parabola through the logarithms."""
    values = (values - np.mean(values)) * np.hanning(len(values))
    power = np.abs(np.fft.rfft(values, 8 * len(values)))
    k = int(power.argmax())
    a, b, c = np.log(power[k - 1:k + 2])
    k += 0.5 * (a - c) / (a - 2 * b + c)
    return k / (8 * len(values) * step) / 0.0299792458


@pytest.mark.parametrize("symbols, mode", [("HH", 0), ("OHH", 2)])
def test_a_small_swing_has_the_frequency_of_its_normal_mode(symbols, mode, water):
    """The leapfrog's own error is known: its frequency is 2/dt asin(w dt / 2)."""
    molecule = relaxed(Molecule([1, 1], [[0, 0, 0], [0, 0, 0.68]]) if symbols == "HH" else water)
    step, light = 0.0002, 0.1883651567  # ps; rad/ps of 1/cm
    with Backend() as backend:
        modes = run(molecule, "am1", "vibrations", backend=backend, scf_limit=1e-9).modes
        move = modes.displacements[mode]
        moved = molecule.replace(positions=molecule.positions + 0.003 * move)
        task = MolecularDynamics(time="0.3ps", step="0.2fs", temperature=0, report_period=1,
                                 scf_limit=1e-9)
        frames = follow(moved, "am1", task, backend)[1]
    swing = [np.sum((places(frame) - molecule.positions) * move) for frame in frames]
    w = modes.frequencies[mode] * light
    expected = 2 / step * np.arcsin(w * step / 2) / light
    assert frequency_of(swing, step) == pytest.approx(expected, rel=2e-3)
    print(f"R22: a swing of {symbols} has {frequency_of(swing, step):.1f}/cm, its mode "
          f"{expected:.1f}")


def test_a_walk_of_a_diatomic_has_the_lengths_of_boltzmanns_law():
    """Chi-squared of bond lengths, far enough apart in the walk to be independent, in ten bins that
    the integral over the molecule's own energies makes equally likely."""
    temperature, bins, apart = 2000, 10, 10
    pair = Molecule([1, 1], [[0, 0, 0], [0, 0, 0.68]])
    with Backend() as backend:
        lengths = np.linspace(0.3, 1.6, 400)
        energies = np.array([
            backend.run(Job(pair.replace(positions=[[0, 0, 0], [0, 0, r]]), "am1")).total_energy
            for r in lengths])
        task = MonteCarlo(sweeps=16000, temperature=temperature, report_period=apart, seed=7,
                          displacement=0.3)
        frames = follow(pair, "am1", task, backend)[1][5:]
    weights = lengths**2 * np.exp(-(energies - energies.min()) / (BOLTZMANN * temperature))
    share = np.concatenate([[0], np.cumsum((weights[1:] + weights[:-1]) / 2)])
    edges = np.interp(np.linspace(0, 1, bins + 1)[1:-1], share / share[-1], lengths)
    found = [np.linalg.norm(np.subtract(*places(frame))) for frame in frames]
    counts = np.bincount(np.searchsorted(edges, found), minlength=bins)
    assert counts.sum() > 1500
    assert abs(np.corrcoef(found[1:], found[:-1])[0, 1]) < 0.1
    chance = scipy.stats.chisquare(counts).pvalue
    assert chance > 0.001, counts


def test_langevin_has_its_temperature_over_seeds():
    """Three times the error of the mean of eight seeds, from their own scatter."""
    pair = Molecule([1, 1], [[0, 0, 0], [0, 0, 0.68]])
    means = []
    with Backend() as backend:
        for seed in range(1, 9):
            task = Langevin(time="1ps", step="0.5fs", temperature=300, friction=50, seed=seed,
                            report_period=5)
            frames = follow(pair, "am1", task, backend)[1]
            means.append(np.mean([frame.temperature for frame in frames[100:]]))
    error = np.std(means, ddof=1) / np.sqrt(len(means))
    assert error < 15, "the bound means something"
    # The scheme's own error at 0.5 fs: 1.4 % of the stretch, one of six degrees of freedom.
    assert abs(np.mean(means) - 300) < 3 * error + 3
    print(f"R22: Langevin at 300 K: {np.mean(means):.1f} +- {error:.1f} K over eight seeds")


def test_the_energy_does_not_drift(water):
    """0.01 kcal/mol an atom and ps is what is promised; the line through 1 ps is as uncertain as
    its fluctuations, which stay as they are."""
    task = MolecularDynamics(time="1ps", step="0.5fs", temperature=300, seed=3, report_period=4,
                             scf_limit=1e-7)
    with Backend() as backend:
        one, frames = follow(relaxed(water), "am1", task, backend)
    totals = np.array([frame.total for frame in frames])
    slope, error = drift([float(frame.time) for frame in frames], totals)
    print(f"R22: water at 0.5 fs drifts by {slope / 3:.5f} +- {error / 3:.5f} kcal/mol an atom "
          f"and ps; its energy wavers by {np.ptp(totals):.3f}")
    assert abs(slope) / 3 < 0.01


@pytest.mark.long
@pytest.mark.timeout(5000)
def test_a_million_steps_keep_the_clock_and_the_memory():
    pair = Molecule([1, 1], [[0, 0, 0], [0, 0, 0.7]])
    with Backend() as backend:
        task = MolecularDynamics(time="500ps", step="0.5fs", report_period=1000)
        resident = []

        def look(frame):
            with open(f"/proc/{backend.pid}/statm") as file:
                resident.append(int(file.read().split()[1]))
            last.append(frame)

        last = []
        one = task.start(pair, "am1")
        one.listeners.append(look)
        one.execute(backend)
    assert last[-1].step == 1_000_000
    assert Decimal(str(round(last[-1].time, 4))) == Decimal(500)
    assert max(resident) - resident[2] < 256  # pages of 4 KiB: 1 MiB
    totals = [frame.total for frame in last]
    slope = np.polyfit(np.linspace(0, 500, len(totals)), totals, 1)[0]
    assert abs(slope) < 0.01  # kcal/mol/ps
