"""Files and texts that nobody means well: read in time, refused in words, and never obeyed by a
terminal."""

import subprocess
import sys
import time

import pytest
from support import ROOT
from test_cli import ENVIRONMENT, WATER, orbitrax

from orbitrax import MoleculeError, read_molecule
from orbitrax.cli.terminal import printable
from orbitrax.molecules.xyz import read_xyz

pytestmark = pytest.mark.timeout(60)
CLEAR = "\x1b[2J"  # clears a terminal


# ---- what a terminal would obey -----------------------------------------------------------------


@pytest.mark.parametrize("text, shown", [
    ("water", "water"), ("\u00c5ngstr\u00f6m, two\nlines\tand a tab", None),
    ("a\x1b[2Jb", "a\\x1b[2Jb"), ("\a\b\r", "\\x07\\x08\\r"), ("\x9b31m", "\\x9b31m"),
    ("\u202eevil", "\\u202eevil"), ("\x7f", "\\x7f")])
def test_what_a_terminal_would_obey_is_written_in_letters(text, shown):
    assert printable(text) == (text if shown is None else shown)


@pytest.mark.parametrize("name", [f"no{CLEAR}.xyz", f"water{CLEAR}.xyz"])
def test_a_file_name_does_not_reach_the_terminal_raw(tmp_path, name):
    path = tmp_path / name
    if name.startswith("water"):
        path.write_text(f"1\n{CLEAR} charge=oops{CLEAR}\nHe 0 0 0\n")
    done = orbitrax("energy", path, "-m", "am1")
    assert done.returncode != 0
    assert "\\x1b[2J" in done.stderr
    assert "\x1b" not in done.stderr + done.stdout


def test_the_words_of_a_backend_do_not_reach_the_terminal_raw(tmp_path):
    program = tmp_path / "backend"
    program.write_text(f"#!/bin/sh\nprintf '{CLEAR}'\n")
    program.chmod(0o755)
    done = orbitrax("energy", WATER, "-m", "am1", "--backend", program)
    assert done.returncode != 0
    assert "\\x1b[2J" in done.stderr
    assert "\x1b" not in done.stderr + done.stdout


# ---- sizes that are not meant -------------------------------------------------------------------


def seconds_to_read(text: str) -> float:
    began = time.process_time()
    try:
        read_xyz(text, "file.xyz")
    except MoleculeError:
        pass
    return time.process_time() - began


@pytest.mark.parametrize("count", ["1000000000", "9" * 39, "9" * 400_000, "1" * 5000])
def test_a_count_that_no_molecule_has_is_refused_at_once(tmp_path, count):
    path = tmp_path / "file.xyz"
    path.write_text(f"{count}\n\nH 0 0 0\n")
    with pytest.raises(MoleculeError, match="no molecule has [0-9]{1,40} atoms"):
        read_molecule(path)


def test_a_count_that_is_not_there_is_refused_at_once():
    assert seconds_to_read(f"{1 << 24}\n\nH 0 0 0\n") < 1.0


def test_a_second_line_without_end_is_read_in_time():
    line = "a charge " * 2_500_000
    assert seconds_to_read(f"1\n{line}\nH 0 0 0\n") < 5.0  # a line of 10 MB took 10 s
    molecule = read_xyz(f"1\n{line}\nH 0 0 0\n", "file.xyz")
    assert any("first 65536 characters" in remark for remark in molecule.remarks)
    assert read_xyz(f"1\ncharge=1 {line}\nH 0 0 0\n", "file.xyz").charge == 1


# ---- time ---------------------------------------------------------------------------------------


def test_the_time_limit_holds_while_a_molecule_is_read(tmp_path):
    path = tmp_path / "many.xyz"
    atoms = 400_000
    path.write_text(f"{atoms}\n\n" + "".join(
        f"He {3 * (i % 100)} {3 * (i // 100 % 100)} {3 * (i // 10_000)}\n" for i in range(atoms)))
    began = time.monotonic()
    done = subprocess.run([sys.executable, "-m", "orbitrax", "energy", str(path), "-m", "am1",
                           "--time-limit", "0.5", "--json"], cwd=ROOT, capture_output=True,
                          text=True, timeout=60, env=ENVIRONMENT)
    print(f"R3: ended after {time.monotonic() - began:.1f} s of a limit of 0.5 s")
    assert done.returncode != 0
    assert "the time limit of 0.5 s passed while the molecule was read" in done.stdout
