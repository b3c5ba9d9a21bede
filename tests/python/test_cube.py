"""Cube files hold what they were given, as other programs read them."""

import io

import numpy as np
import pytest
from ase.io.cube import read_cube_data
from ase.units import Bohr
from support import ROOT  # noqa: F401

from orbitrax.pictures.cube import write_cube
from orbitrax.grids.frame import box_around
from orbitrax.grids.grid import Grid
from orbitrax.grids.plot import Plot

POSITIONS = np.array([[0.1, -0.2, 0.3], [1.0, 0.4, 0.2], [-0.5, 1.9, 0.6]])
NUMBERS = np.array([17, 6, 1])


def made(points=11, what="homo-1", **changes):
    frame = box_around(POSITIONS, 1.5, points)
    values = np.random.default_rng(7).normal(size=frame.counts).astype(np.float32)
    values[0, 0, 0], values[0, 1, 0], values[1, 0, 1] = 0, 1e-30, -3.4e5
    settings = {"title": "HOMO-1 (orbital 4, -11.20 eV)", "method": "AM1", **changes}
    return Grid(values, frame, Plot(what), NUMBERS, POSITIONS, **settings)


def text_of(grid):
    file = io.StringIO()
    write_cube(file, grid)
    return file.getvalue()


@pytest.mark.parametrize("points", [2, 6, 7, 25])
def test_ase_reads_back_every_value_and_the_molecule(points, tmp_path):
    grid = made(points)
    (tmp_path / "a.cube").write_text(text_of(grid))
    values, atoms = read_cube_data(str(tmp_path / "a.cube"))
    assert values.shape == grid.values.shape == grid.frame.counts
    assert np.allclose(values, grid.values, rtol=6e-6, atol=0)
    assert atoms.get_atomic_numbers().tolist() == NUMBERS.tolist()
    assert atoms.positions == pytest.approx(POSITIONS, abs=3e-6)
    steps = atoms.cell[:] / np.array(grid.frame.counts)[:, None]
    assert steps == pytest.approx(grid.frame.column[0] * np.eye(3), abs=1e-6)


def test_the_head_says_what_it_is_in_bohr_with_positive_counts():
    lines = text_of(made()).splitlines()
    assert lines[0] == "CHCl, AM1: HOMO-1 (orbital 4, -11.20 eV)"
    assert lines[1].endswith("bohr to the power -3/2; x outermost, z innermost")
    count, *origin = lines[2].split()
    grid = made()
    assert int(count) == 3
    corner = np.array(origin, float) * Bohr
    assert corner == pytest.approx(grid.frame.origin, abs=2e-6)
    for axis in range(3):
        count, *step = lines[3 + axis].split()
        assert int(count) == grid.frame.counts[axis]
        assert np.flatnonzero(np.array(step, float)).tolist() == [axis]
    number, charge, *place = lines[6].split()
    assert (number, float(charge)) == ("17", 17.0)
    assert np.array(place, float) * Bohr == pytest.approx(POSITIONS[0], abs=2e-6)


def test_runs_along_z_begin_new_lines_of_six():
    grid = made(8)
    lines = text_of(grid).splitlines()[9:]
    per_run = -(-grid.values.shape[2] // 6)
    assert len(lines) == per_run * grid.values.shape[0] * grid.values.shape[1]
    assert all(len(line) == 13 * len(line.split()) for line in lines)
    assert [len(line.split()) for line in lines[:per_run]] == [6] * (per_run - 1) + [
        grid.values.shape[2] - 6 * (per_run - 1)]
    at = per_run * grid.values.shape[1]  # x second, y first, and there z second
    assert float(lines[at].split()[1]) == -3.4e5


@pytest.mark.parametrize("what,unit", [
    ("density", "electrons per cubic bohr"), ("potential", "hartree per unit charge")])
def test_the_second_line_tells_the_unit(what, unit):
    assert f"; {unit}; " in text_of(made(what=what)).splitlines()[1]
