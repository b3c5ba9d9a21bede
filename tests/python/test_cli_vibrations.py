"""The task `vibrations` as a user meets it: every run is a process."""

import json
import os
import subprocess
import sys

import ase.io
import numpy as np
import pytest
from support import ROOT

pytestmark = pytest.mark.timeout(400)

ENVIRONMENT = {**os.environ, "PYTHONPATH": str(ROOT / "python"), "NO_COLOR": "1"}


def vibrations(*arguments, molecule="examples/water.xyz"):
    return subprocess.run(
        [sys.executable, "-m", "orbitrax", "vibrations", molecule, "-m", "am1",
         *map(str, arguments)], cwd=ROOT, capture_output=True, text=True, timeout=120,
        env=ENVIRONMENT)  # fmt: skip


def test_json_has_every_number_of_the_table():
    done = vibrations("--optimize", "--isotope", "2=D", "--temperature", 400, "--json")
    assert (done.returncode, done.stderr) == (0, "")
    found = json.loads(done.stdout)
    block = found["vibrations"]
    assert found["task"] == "vibrations" and found["point_group"] == "C2V"
    assert block["optimized"] and block["optimization_cycles"] > 0 and block["imaginary"] == 0
    modes = block["modes"]
    assert [mode["symmetry"] for mode in modes] == ["1A1", "1B2", "2A1"]
    assert modes[0]["frequency_cm1"] == pytest.approx(1885.44, abs=0.01)
    assert np.array(modes[0]["displacements"]).shape == (3, 3)
    assert modes[1]["intensity_km_mol"] == pytest.approx(
        np.log(10) * modes[1]["intensity_decadic_km_mol"])
    assert len(block["external_frequencies_cm1"]) == 6
    assert len(block["rotational_constants_cm1"]) == 3
    gas = block["thermochemistry"]
    assert gas["temperature_k"] == 400 and gas["symmetry_number"] == 2 and gas["reason"] is None
    assert gas["free_energy"] == pytest.approx(
        found["total_energy"] + gas["zero_point_energy"] + gas["thermal_enthalpy"]
        - 0.4 * gas["entropy_cal_mol_k"])
    (other,) = block["isotopologues"]
    assert other["isotopes"] == "2=D" and other["masses_amu"] == [15.999, 2.014102, 1.008]
    assert other["modes"][1]["symmetry"] is None
    assert other["zero_point_energy"] < gas["zero_point_energy"]


def test_a_minimum_has_the_symmetry_of_its_group():
    """To the last digits: levels that are equal by symmetry, and all from two atoms."""
    done = vibrations("--optimize", "--json", molecule="examples/benzene.xyz")
    block = json.loads(done.stdout)["vibrations"]
    assert 0 <= block["symmetrized_angstrom"] < 1e-4 and block["displaced_points"] == 12
    pairs: dict[str, list[float]] = {}
    for mode in block["modes"]:
        pairs.setdefault(mode["symmetry"], []).append(mode["frequency_cm1"])
    doubles = [both for label, both in pairs.items() if "E" in label]
    assert len(doubles) == 10
    assert all(len(both) == 2 and abs(both[0] - both[1]) < 1e-5 for both in doubles)
    done = vibrations("--optimize", "--symmetrize", 0, "--json", molecule="examples/benzene.xyz")
    assert json.loads(done.stdout)["vibrations"]["symmetrized_angstrom"] is None


def test_a_structure_is_made_symmetric_when_asked(tmp_path):
    """Also one on a slope; the places that were computed are told."""
    crooked = tmp_path / "crooked.xyz"
    crooked.write_text("3\n\nO 0 0 0.1\nH 0.76 0 -0.49\nH -0.757 0.001 -0.488\n")
    flags = "--allow-unconverged", "--json"
    plain = json.loads(vibrations(*flags, molecule=str(crooked)).stdout)
    assert plain["vibrations"]["symmetrized_angstrom"] is None
    assert plain["vibrations"]["displaced_points"] == 18
    moved = json.loads(vibrations(*flags, "--symmetrize", 0.01, molecule=str(crooked)).stdout)
    assert moved["vibrations"]["displaced_points"] == 12
    assert 0.001 < moved["vibrations"]["symmetrized_angstrom"] < 0.005
    oxygen, *hydrogens = np.array(moved["coordinates_angstrom"])
    bonds = [np.linalg.norm(place - oxygen) for place in hydrogens]
    assert abs(bonds[0] - bonds[1]) < 1e-12


def test_a_slope_has_a_document_and_a_status():
    done = vibrations("--json")
    found = json.loads(done.stdout)
    assert done.returncode == 1 and found["status"] == "unconverged"
    assert found["task"] == "vibrations" and "stationary" in found["errors"][-1]
    assert found["vibrations"]["modes"] is None and found["vibrations"]["thermochemistry"] is None
    done = vibrations("--allow-unconverged", "--json")
    found = json.loads(done.stdout)["vibrations"]
    assert done.returncode == 0 and len(found["modes"]) == 3
    assert found["thermochemistry"]["free_energy"] is None
    assert found["thermochemistry"]["reason"] == "the structure is no stationary point"


def test_files_of_all_kinds(tmp_path):
    for name, more in (("a.csv", ()), ("a.molden", ()), ("a.png", ()), ("a.svg", ()),
                       ("a.gif", ("--animate", 3)), ("a.xyz", ("--animate", 3))):  # fmt: skip
        done = vibrations("--optimize", "-q", "-o", tmp_path / name, *more)
        assert (done.returncode, done.stdout, done.stderr) == (0, "", ""), name
    rows = (tmp_path / "a.csv").read_text().splitlines()
    assert len(rows) == 4 and rows[3].endswith(",2A1")
    assert (tmp_path / "a.png").read_bytes()[:4] == b"\x89PNG"
    assert "wavenumber" in (tmp_path / "a.svg").read_text()
    frames = ase.io.read(tmp_path / "a.xyz", index=":")
    moved = np.array([atoms.positions for atoms in frames]) - frames[0].positions
    assert len(frames) == 24 and np.abs(moved[12]).max() < 1e-6
    assert np.linalg.norm(moved[6], axis=1).max() == pytest.approx(0.35, abs=1e-4)
    assert np.abs(moved[6] + moved[18]).max() < 1e-6
    from PIL import Image

    with Image.open(tmp_path / "a.gif") as picture:
        assert picture.n_frames == 24 and picture.width == 480
        first = np.asarray(picture.convert("RGB"), dtype=int)
        picture.seek(6)
        assert np.abs(np.asarray(picture.convert("RGB"), dtype=int) - first).max() > 50


def test_molden_files_hold_what_viewers_read(tmp_path):
    path = tmp_path / "a.molden"
    vibrations("--optimize", "-q", "-o", path)
    parts = dict(part.split("]", 1) for part in path.read_text().split("[")[1:])
    assert list(parts) == ["Molden Format", "Atoms", "FREQ", "INT", "FR-COORD", "FR-NORM-COORD"]
    assert len(parts["FREQ"].split()) == 3 == len(parts["INT"].split())
    bohr = np.array([line.split()[1:] for line in parts["FR-COORD"].split("\n")[1:4]], dtype=float)
    angstrom = np.array([line.split()[3:] for line in parts["Atoms"].split("\n")[1:4]],
                        dtype=float)
    assert np.abs(bohr * 0.529177210903 - angstrom).max() < 1e-6
    moves = [line.split() for line in parts["FR-NORM-COORD"].split("\n") if "vib" not in line]
    assert np.linalg.norm(np.array([m for m in moves if m][:3], dtype=float)) == pytest.approx(
        1, abs=1e-5)


@pytest.mark.parametrize("arguments, words", [
    (("-o", "a.doc"), "its name does not tell"), (("--animate", "1"), "needs a file"),
    (("-o", "a.xyz"), "which mode"), (("--animate", "1", "-o", "a.png"), "NAME.gif"),
    (("--isotope", "3=Q"), "no isotope"), (("--isotope", "7=D"), "no atom 7"),
    (("--temperature", "0"), "above 0"), (("--pressure", "-1"), "above 0"),
    (("--optimize", "--animate", "4", "-o", "a.gif"), "no mode 4"),
])  # fmt: skip
def test_what_cannot_be_is_refused(arguments, words):
    done = vibrations(*arguments)
    assert done.returncode == 2 and words in done.stderr
    assert not (ROOT / "a.gif").exists()


def test_a_saddle_point_is_named(tmp_path):
    """Planar ammonia."""
    path = tmp_path / "planar.xyz"
    corners = [(np.cos(a), np.sin(a)) for a in (0, 2 * np.pi / 3, 4 * np.pi / 3)]
    path.write_text("4\n\nN 0 0 0\n" + "".join(f"H {x} {y} 0\n" for x, y in corners))
    done = vibrations("--optimize", molecule=str(path))
    assert done.returncode == 0
    assert "a saddle point, 1 imaginary frequency" in done.stdout
    first = next(line for line in done.stdout.splitlines() if line.startswith("    1"))
    assert first.split()[1].endswith("i") and first.split()[3] == '1A2"'
    assert "1 left out" in done.stdout and "D3H" in done.stdout
