"""Trajectories: frames that other programs read, and from whose last one a run goes on."""

from decimal import Decimal

import ase.io
import numpy as np
import pytest

from orbitrax import Molecule
from orbitrax.errors import MoleculeError
from orbitrax.motion.trajectory import (Frame, Heading, TrajectoryFile, end_of_frames, frame_text,
                                        read_restart)
from orbitrax.units import ASE_EV_PER_KCAL

WATER = Molecule([8, 1, 1], [0.0] * 9)
HEADING = Heading(WATER, {"task": "md", "method": "am1", "charge": 0, "select": "1-3, 5"})
PLACES = [0.0, 0.1, -0.2, 0.957, 1e-9, 0.0, -0.24, 0.93, 123.456789012]
VELOCITIES = [float(np.float32(v)) for v in (1 / 3, -2e-7, 30.123456, 0, 1, 2, 3, 4, 5)]


def frame(step=0, **changed):
    told = dict(step=step, time=Decimal("0.0005") * step, places=PLACES, velocities=VELOCITIES,
                gradient=[float(i) for i in range(9)], potential=-8000.5, kinetic=2.5,
                temperature=300.25)
    return Frame(**{**told, **changed})


def test_ase_reads_places_energy_forces_and_remarks(tmp_path):
    with TrajectoryFile(tmp_path / "run.xyz", HEADING) as file:
        for step in range(3):
            file.write(frame(step))
    frames = ase.io.read(tmp_path / "run.xyz", index=":")
    assert len(frames) == file.frames == 3
    atoms = frames[2]
    assert atoms.get_chemical_symbols() == ["O", "H", "H"] and not atoms.pbc.any()
    np.testing.assert_allclose(atoms.positions.ravel(), PLACES, atol=5e-10)
    assert atoms.get_potential_energy() == pytest.approx(-8000.5 * ASE_EV_PER_KCAL, abs=1e-9)
    np.testing.assert_allclose(atoms.get_forces().ravel(),
                               -ASE_EV_PER_KCAL * np.arange(9.0), atol=5e-9)
    np.testing.assert_array_equal(atoms.arrays["velo"].ravel().astype(np.float32),
                                  np.float32(VELOCITIES))
    info = atoms.info
    assert (info["step"], info["time_ps"], info["temperature"]) == (2, 0.001, 300.25)
    assert info["total_kcal"] == -7998.0 and info["select"] == "1-3, 5"
    assert info["task"] == "md" and info["method"] == "am1" and info["charge"] == 0


def test_what_a_job_does_not_yield_is_left_out():
    text = frame_text(HEADING, frame(time=None, velocities=None, gradient=None, accepted=0.25))
    assert "velo" not in text and "forces" not in text and "time_ps" not in text
    assert " acceptance=0.25 " in text


def test_a_run_goes_on_from_the_last_frame(tmp_path):
    path = tmp_path / "run.xyz"
    with TrajectoryFile(path, HEADING) as file:
        file.write(frame(0))
        file.write(frame(7, temperature=7.0))
    found = read_restart(path)
    assert found.molecule.symbols == ["O", "H", "H"] and found.molecule.charge == 0
    np.testing.assert_allclose(found.molecule.xyz, PLACES, atol=5e-10)
    np.testing.assert_allclose(found.gradient, np.arange(9.0), atol=3e-7)
    assert (found.step, found.time) == (7, Decimal("0.0035"))
    assert [float(np.float32(v)) for v in found.velocities] == VELOCITIES, "no digit is lost"
    assert found.remarks["select"] == "1-3, 5"


def test_a_frame_cut_short_is_passed_over_and_written_over(tmp_path):
    path = tmp_path / "run.xyz"
    with TrajectoryFile(path, HEADING) as file:
        file.write(frame(0))
        file.write(frame(1))
    whole = path.read_bytes()
    third = frame_text(HEADING, frame(2)).encode()
    for cut in (1, 5, len(third) // 2, len(third) - 1):
        path.write_bytes(whole + third[:cut])
        assert end_of_frames(path) == len(whole)
        assert read_restart(path).remarks["step"] == "1"
        with TrajectoryFile(path, HEADING, append=True) as file:
            file.write(frame(2))
        assert path.read_bytes() == whole + third


def test_each_frame_is_in_the_file_at_once(tmp_path):
    with TrajectoryFile(tmp_path / "run.xyz", HEADING) as file:
        file.write(frame(0))
        assert len(ase.io.read(tmp_path / "run.xyz", index=":")) == 1


@pytest.mark.parametrize("text, said", [
    ("", "has no whole frame"), ("3\n", "has no whole frame"), ("hello\n", "has no whole frame"),
    ("1\nplain\nH 0 0 0\n", "name no columns"),
    ("1\nProperties=species:S:1:pos:R:3\nH 0 0 x\n", "is not a number"),
    ("1\nProperties=species:S:1:pos:R:3\nH 0 0\n", "three coordinates"),
    ("1\nProperties=species:S:1:pos:R:3:velo:R:3\nH 0 0 1 0 0 x\n", "cannot be read"),
    ("1\nProperties=species:S:1:pos:R:3:velo:R:2\nH 0 0 1 0 0 0\n", "three numbers each"),
    ("1\nProperties=species:S:1:pos:R:3:velo:R:3\nH 0 0 1 0 0 nan\n", "no numbers"),
])
def test_what_is_no_trajectory_is_refused(tmp_path, text, said):
    path = tmp_path / "run.xyz"
    path.write_text(text)
    with pytest.raises(MoleculeError, match=said):
        read_restart(path)


def test_a_file_that_is_not_there_is_told():
    with pytest.raises(MoleculeError, match="no such file"):
        read_restart("nowhere.xyz")


def test_a_frame_of_an_xyz_file_without_velocities_has_none(tmp_path):
    path = tmp_path / "run.xyz"
    path.write_text("1\nProperties=species:S:1:pos:R:3 energy=1\nH 0 0 1\n")
    assert read_restart(path).velocities is None


def test_masses_and_charges_of_a_molecule_go_with_it(tmp_path):
    heavy = WATER.replace(masses=[15.995, 2.014, 1.008], point_charges=[-0.8, 0.4, 0.4])
    path = tmp_path / "run.xyz"
    with TrajectoryFile(path, Heading(heavy, {"charge": 1, "multiplicity": 2})) as file:
        file.write(frame())
    found = read_restart(path).molecule
    assert list(found.plain_masses) == [15.995, 2.014, 1.008]
    assert list(found.plain_charges) == [-0.8, 0.4, 0.4]
    assert (found.charge, found.multiplicity) == (1, 2), "not the sum of the charges"
    assert ase.io.read(path).get_masses() == pytest.approx([15.995, 2.014, 1.008])


def test_odd_remarks_count_as_none(tmp_path):
    path = tmp_path / "run.xyz"
    for odd in ("x", "", "NaN", "-1", "1e999999999999999999999"):
        path.write_text(f"1\nProperties=species:S:1:pos:R:3 step=x time_ps=NaN timestep_ps={odd}\n"
                        "H 0 0 1\n")
        found = read_restart(path)
        assert (found.step, found.time, found.time_step) == (0, 0, 0)
