"""Requests that cannot have the effect they ask for are refused, before anything is computed."""

from __future__ import annotations

import os
import subprocess

import pytest
from support import ROOT

from orbitrax import Backend, Job, OutOfMemory, Restraint, UsageError, read_molecule
from orbitrax.memory import check_memory, free_memory

WATER = str(ROOT / "examples" / "water.xyz")


def orbitrax(*arguments: str, **options):
    return subprocess.run([str(ROOT / "orbitrax"), *arguments], capture_output=True, text=True,
                          timeout=60, **options)


@pytest.mark.parametrize("name", ["sigma", "pi"])
def test_weights_of_zindo_are_refused_elsewhere(name):
    with pytest.raises(UsageError, match=f"{name} weighs overlaps of ZINDO"):
        Job(WATER, "am1", **{name: 0.5})
    assert getattr(Job(WATER, "zindos", **{name: 0.5}), name) == 0.5


def test_a_length_is_above_zero():
    for length in (-3.0, 0.0):
        with pytest.raises(UsageError, match="a length above 0"):
            Restraint("stretch", (1, 2), length)
    assert Restraint("torsion", (1, 2, 3, 4), -60.0).target == (-60.0,)


def test_a_log_level_without_a_log_is_refused():
    done = orbitrax("energy", WATER, "-m", "am1", "--log-level", "9")
    assert done.returncode == 2 and "add one of them" in done.stderr and done.stdout == ""


def test_atoms_beyond_the_memory_are_refused_before_anything_is_sent():
    with pytest.raises(OutOfMemory, match="120000 atoms with 120000 orbitals need about 1037 GB"):
        check_memory([1] * 120000, 24 * 10**9)
    check_memory([6] * 1000, 24 * 10**9)
    check_memory([1] * 100)
    with pytest.raises(OutOfMemory, match="2000 atoms with 8000 orbitals"):
        check_memory([6] * 2000, 10**9)


def test_free_memory_is_that_of_the_system():
    total = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES")
    found = free_memory()
    assert found is not None and 0 < found < 100 * total


def test_the_time_limit_is_named_and_covers_the_reading(tmp_path):
    done = orbitrax("energy", WATER, "-m", "am1", "--time-limit", "0.00001", "--json")
    assert done.returncode == 1
    assert "the time limit of 1e-05 s passed while the molecule was read" in done.stderr
    assert '"status": "failed"' in done.stdout


def test_nothing_to_draw_is_said_once(tmp_path):
    done = orbitrax("plot", WATER, "-m", "am1", "--spin-density", "-o", str(tmp_path / "a.png"))
    assert done.returncode == 1 and done.stderr.count("zero everywhere") == 1


def test_quiet_prints_the_structure_alone_for_the_next_command():
    done = orbitrax("optimize", WATER, "-m", "am1", "-q")
    assert done.stderr == "" and done.stdout.startswith("3\ncharge=0 multiplicity=1 energy=")
    after = orbitrax("energy", "-", "-m", "am1", input=done.stdout)
    assert "-59.255066 kcal/mol" in after.stdout
    assert orbitrax("energy", WATER, "-m", "am1", "-q").stdout == ""


def test_convert_takes_its_file_either_way(tmp_path):
    path = tmp_path / "a.cjson"
    assert orbitrax("convert", WATER, "-o", str(path)).returncode == 0 and path.stat().st_size
    done = orbitrax("convert", WATER)
    assert done.returncode == 2 and "one file to write is needed" in done.stderr
    done = orbitrax("convert", WATER, str(path), "-o", "b.xyz")
    assert done.returncode == 2 and "two files" in done.stderr


def test_files_stand_on_both_sides_of_an_option(tmp_path):
    path = str(tmp_path / "w.gjf")
    done = orbitrax("convert", WATER, "-c", "1", path)
    assert done.returncode == 0 and read_molecule(path).charge == 1, done.stderr
    done = orbitrax("convert", WATER, "-c", "1", path, "more")
    assert done.returncode == 2 and "unrecognized arguments: more" in done.stderr


def test_what_is_not_installed_is_named_with_its_package(tmp_path):
    (tmp_path / "ase").mkdir()
    (tmp_path / "ase" / "__init__.py").write_text(
        "raise ModuleNotFoundError(\"No module named 'ase'\", name='ase')\n")
    done = orbitrax("optimize", WATER, "-m", "am1", "--trajectory", str(tmp_path / "t.xyz"),
                    env={**os.environ, "PYTHONPATH": str(tmp_path)})
    assert done.returncode == 3
    assert "needs ASE, which is not installed; on Debian: apt-get install python3-ase" \
        in done.stderr
    assert not (tmp_path / "t.xyz").exists()


def test_a_number_of_another_script_is_a_word(tmp_path):
    path = tmp_path / "a.xyz"
    path.write_text("²\nx\nO 0 0 0\n")
    done = orbitrax("energy", str(path), "-m", "am1")
    assert done.returncode == 2 and "the number of atoms should stand here" in done.stderr


@pytest.mark.parametrize("limit, done", [(1.0, True), (1.1, False), (1e9, False)])
def test_a_limit_that_ends_no_scf_is_refused(limit, done):
    """A limit of 1 kcal/mol costs a thousandth of it, of 1e9 25 kcal/mol."""
    if not done:
        with pytest.raises(UsageError, match="scf.limit"):
            Job(read_molecule(WATER), "am1", scf_limit=limit)
        return
    with Backend() as backend:
        loose, sharp = (backend.run(Job(read_molecule(WATER), "am1", scf_limit=one))
                        for one in (limit, 1e-6))
    assert abs(loose.total_energy - sharp.total_energy) < 1e-3
