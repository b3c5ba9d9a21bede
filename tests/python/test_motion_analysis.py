"""Looking into trajectories: against the definitions written naively, and closed forms."""

from dataclasses import replace

import numpy as np
import pytest
from ase import Atoms

from orbitrax.motion.analysis import (CM_PER_CYCLE_PER_PS, Trajectory, angles, autocorrelation,
                                      diffusion_constant, diffusion_error, distances,
                                      mean_square_displacement, power_spectrum, torsions, unrolled,
                                      velocity_autocorrelation)
from orbitrax.motion.tables import displaced, geometry


def walk(frames=200, atoms=3, seed=1):
    """A random walk."""
    steps = np.random.default_rng(seed).normal(size=(frames, atoms, 3))
    return Trajectory(("H",) * atoms, np.arange(1.0, atoms + 1), 0.01 * np.arange(frames),
                      steps.cumsum(axis=0), steps / 0.01)


def tone(wavenumbers, amplitudes, frames=8000, step=0.001):
    """Atoms of mass 1 that swing along x, each with its own wavenumber."""
    times = step * np.arange(frames)
    velocities = np.zeros((frames, len(wavenumbers), 3))
    for i, (wave, a) in enumerate(zip(wavenumbers, amplitudes)):
        velocities[:, i, 0] = a * np.cos(2 * np.pi * wave / CM_PER_CYCLE_PER_PS * times)
    return Trajectory(("H",) * len(wavenumbers), np.ones(len(wavenumbers)), times,
                      np.zeros_like(velocities), velocities)


def test_distances_angles_and_torsions_are_those_of_ase():
    places = np.random.default_rng(3).normal(size=(50, 4, 3))
    for frame, d, a, t in zip(places, distances(places, 0, 2), angles(places, 0, 1, 3),
                              torsions(places, 0, 1, 2, 3)):
        atoms = Atoms("H4", frame)
        assert d == pytest.approx(atoms.get_distance(0, 2), abs=1e-12)
        assert a == pytest.approx(atoms.get_angle(0, 1, 3), abs=1e-8)
        assert t % 360 == pytest.approx(atoms.get_dihedral(0, 1, 2, 3), abs=1e-8)


def test_autocorrelation_is_its_definition():
    x = walk().places
    f = len(x)
    naive = [np.sum(x[s:] * x[:f - s]) / (f - s) for s in range(f)]
    np.testing.assert_allclose(autocorrelation(x), naive, rtol=0, atol=1e-10 * abs(naive[0]))


def test_mean_square_displacement_is_its_definition():
    trajectory = walk()
    x = trajectory.places + 1e3  # far from the origin, where sums of squares would cancel
    f = len(x)
    naive = [np.mean(np.sum((x[s:] - x[:f - s])**2, axis=2)) for s in range(f)]
    np.testing.assert_allclose(mean_square_displacement(trajectory), naive, atol=1e-8)


def test_a_velocity_that_swings_correlates_as_a_cosine():
    trajectory = tone([500.0], [2.0])
    found = velocity_autocorrelation(trajectory)[:1000]
    phase = 2 * np.pi * 500.0 / CM_PER_CYCLE_PER_PS * trajectory.times[:1000]
    np.testing.assert_allclose(found, np.cos(phase), atol=2e-3)  # half a period at either end


def test_lines_of_a_spectrum_stand_where_they_belong_with_their_energy():
    waves, power = power_spectrum(tone([1600.0, 3700.0], [2.0, 1.0]))
    width = waves[1] - waves[0]
    assert width == pytest.approx(CM_PER_CYCLE_PER_PS / 8.0)
    assert (power * width).sum() == pytest.approx(1.0)
    for wave, share in ((1600.0, 0.8), (3700.0, 0.2)):
        near = abs(waves - wave) < 30
        assert (power[near] * width).sum() == pytest.approx(share, abs=1e-4)
        assert abs(waves[near][power[near].argmax()] - wave) < width


def test_a_random_walk_diffuses_by_the_variance_of_its_steps():
    # 6 D t = 3 s^2 n for steps of variance s^2 a coordinate; 100 walkers in 1000 steps.
    trajectory = walk(1000, 100)
    found = diffusion_constant(trajectory.times, mean_square_displacement(trajectory))
    assert found == pytest.approx(1 / (2 * 0.01), rel=0.1)


def test_a_part_of_the_atoms_can_be_looked_at():
    part = walk().atoms([2, 0])
    assert part.symbols == ("H", "H") and list(part.masses) == [3.0, 1.0]
    np.testing.assert_array_equal(part.places, walk().places[:, [2, 0]])
    assert walk().atoms(None).places.shape == (200, 3, 3)


def test_a_diffusion_constant_has_an_error_and_is_none_where_it_is_lost_in_it():
    trajectory = walk(1000, 100)
    found = diffusion_constant(trajectory.times, mean_square_displacement(trajectory))
    error = diffusion_error(trajectory)
    assert 0 < error < 0.2 * found and abs(found - 1 / (2 * 0.01)) < 3 * error
    [told] = displaced(trajectory).summary
    assert told.startswith(f"Diffusion constant {found:.4g} +- ") and "cm^2/s" in told
    noise = np.random.default_rng(1).normal(size=trajectory.places.shape)  # about one place
    [told] = displaced(replace(trajectory, places=noise)).summary
    assert told.startswith("Diffusion constant not known: ") and "cm^2/s" not in told


@pytest.mark.parametrize("middle", [180.0, -170.0, 60.0, 0.0])
def test_torsions_swing_about_any_angle(middle):
    """About 180 degrees half of them are -150 to -180: their mean is not 0."""
    angles = middle + 30.0 * np.sin(np.linspace(0, 20 * np.pi, 401))
    turns = (unrolled((angles + 180) % 360 - 180) - angles) / 360
    assert turns == pytest.approx(round(turns[0]), abs=1e-9)
    places = np.zeros((401, 4, 3))
    places[:, 0], places[:, 2] = [1, 0, 0], [0, 0, 1]
    radians = np.radians(angles)
    places[:, 3] = np.stack([np.cos(radians), np.sin(radians), np.ones(401)], axis=1)
    one = Trajectory(("C",) * 4, np.ones(4), np.arange(401) * 0.001, places, places * 0)
    words = geometry(one, [("torsion", [1, 2, 3, 4])]).summary[0].replace(",", "").split()
    mean, least, most = (float(words[words.index(word) + 1]) for word in ("mean", "from", "to"))
    assert mean % 360 == pytest.approx(middle % 360, abs=0.01)
    assert (least - mean, most - mean) == pytest.approx((-30, 30), abs=0.1)
