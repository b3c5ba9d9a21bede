"""The task `plot` as a user meets it, against the scripted peer: every run is a process."""

import json
import os
import signal
import subprocess
import sys
import time

import numpy as np
import pytest
from ase.io.cube import read_cube_data
from support import ROOT

pytestmark = pytest.mark.timeout(60)

WATER = "examples/water.xyz"
ENVIRONMENT = {**os.environ, "PYTHONPATH": str(ROOT / "python")}


def plot(*arguments, **options):
    options.setdefault("env", ENVIRONMENT)
    return subprocess.run(
        [sys.executable, "-m", "orbitrax", "plot", WATER, "-m", "am1", *map(str, arguments)],
        cwd=ROOT, capture_output=True, text=True, timeout=30, **options)


# ---- results ------------------------------------------------------------------------------------


def test_a_cube_holds_the_values_by_x_y_and_z(make_peer, tmp_path):
    """The peer's values are x + 100 y + 10000 z, counted in steps."""
    path = tmp_path / "homo.cube"
    done = plot("--points", 12, "-o", path, "--backend", make_peer())
    assert (done.returncode, done.stderr) == (0, "")
    values, atoms = read_cube_data(str(path))
    x, y, z = np.indices(values.shape)
    assert max(values.shape) == 12 and np.array_equal(values, x + 100 * y + 10000 * z)
    assert atoms.get_chemical_formula() == "H2O"
    shape = " x ".join(map(str, values.shape))
    assert done.stdout.splitlines()[0] == "H2O, 3 atoms, AM1 RHF, charge 0, multiplicity 1"
    assert f"{'Plot':<26}HOMO (orbital 2, -9.50 eV)\n{'Grid':<26}{shape} points, 0." in done.stdout
    assert done.stdout.endswith(f"Written to                {path}\n")
    assert sorted(os.listdir(tmp_path)) == ["homo.cube", "peer1", "peer1.record"]


def test_a_cube_can_be_piped(make_peer, tmp_path):
    done = plot("--points", 5, "--density", "-o", "-", "--backend", make_peer())
    assert (done.returncode, done.stderr) == (0, "")
    (tmp_path / "a.cube").write_text(done.stdout)
    values, _ = read_cube_data(str(tmp_path / "a.cube"))
    assert values.max() == np.array(values.shape) @ [1, 100, 10000] - 10101


def test_json_has_a_block_of_its_own(make_peer, tmp_path):
    done = plot("--orbital", "lumo+1", "--points", 9, "-o", tmp_path / "a.cube", "--json",
                "--backend", make_peer())
    found = json.loads(done.stdout)
    block = found["plot"]
    assert found["task"] == "plot" and found["status"] == "done" and found["dipole_debye"]
    assert (block["what"], block["orbital"], block["orbital_energy_ev"]) == ("lumo+1", 4, -7.5)
    assert block["file"] == str(tmp_path / "a.cube") and block["smallest"] == 0
    assert max(block["points"]) == 9 and block["isovalue"] is None
    assert np.array(block["steps_bohr"])[0, 0] > 0 and len(block["origin_bohr"]) == 3


def test_a_failure_has_an_empty_block(make_peer, tmp_path):
    done = plot("-o", tmp_path / "a.cube", "--json", "--backend", make_peer(plot="refusal"))
    found = json.loads(done.stdout)
    assert done.returncode == 1 and found["status"] == "failed"
    assert found["plot"]["orbital"] is None and found["total_energy"] == -300.75 + 1e-9
    assert found["errors"] == ["Unable to graph (43)."]


def test_quiet_prints_nothing(make_peer, tmp_path):
    done = plot("-o", tmp_path / "a.cube", "-q", "--points", 4, "--backend", make_peer())
    assert (done.returncode, done.stdout, done.stderr) == (0, "", "")
    assert (tmp_path / "a.cube").stat().st_size > 300


def test_the_log_can_be_asked_for(make_peer, tmp_path):
    peer = make_peer(texts=[(9994, "a line of the log")])
    done = plot("-o", tmp_path / "a.cube", "--log", "--points", 4, "--backend", peer)
    assert done.stdout == "a line of the log\n"


@pytest.mark.parametrize("suffix", ["png", "svg", "pdf"])
def test_pictures_are_written(make_peer, tmp_path, suffix):
    path = tmp_path / f"a.{suffix}"
    done = plot("--points", 8, "--isovalue", 20000, "-o", path, "--width", 200, "--view=-30,20",
                "--backend", make_peer())
    assert done.returncode == 0 and path.stat().st_size > 2000
    assert done.stderr == ("orbitrax: warning: the surface reaches the edge of the grid and is cut "
                           "there; choose a larger --margin or --isovalue\n")
    assert "Surface at                20000\n" in done.stdout


def test_a_plane_is_drawn_as_contours(make_peer, tmp_path):
    done = plot("--plane", "1,2,3", "--points", 30, "-o", tmp_path / "a.png", "--width", 300,
                "--backend", make_peer())
    assert (done.returncode, done.stderr) == (0, "") and "Surface" not in done.stdout
    assert "30 x " in done.stdout and (tmp_path / "a.png").stat().st_size > 3000


# ---- what goes wrong ----------------------------------------------------------------------------


@pytest.mark.parametrize("arguments,words", [
    ((), "a plot needs a file: -o NAME.cube"),
    (("-o", "a.jpg"), "a.jpg: its name does not tell what to write; try .cube, .png"),
    (("-o", "a"), "does not tell what to write"),
    (("-o", "no/such/folder/a.png"), "no file can be written there"),
    (("-o", "a.png", "--orbital", "somo"), "'somo' is no orbital"),
    (("-o", "a.png", "--density", "--orbital", "homo"), "not allowed with"),
    (("-o", "a.png", "--density", "--beta"), "belong to orbitals"),
    (("-o", "a.png", "--potential", "--squared"), "belong to orbitals"),
    (("-o", "a.png", "--points", "1"), "choose from 2 to 100000"),
    (("-o", "a.png", "--points", "15000"), "GB are free; choose fewer points"),
    (("-o", "a.png", "--margin", "-1"), "--margin -1.0: choose from 0 to 9999 Angstrom"),
    (("-o", "a.png", "--margin", "nan"), "--margin nan: is not a number"),
    (("-o", "a.png", "--plane", "1,2,2"), "lie on a line"),
    (("-o", "a.png", "--plane", "1,2,4"), "there is no atom 4"),
    (("-o", "a.png", "--plane", "up"), "should be three atoms"),
    (("-o", "a.png", "--plane", "xy", "--isovalue", "0.1"), "--isovalue is for surfaces"),
    (("-o", "a.png", "--isovalue", "-0.1"), "should be above 0"),
    (("-o", "a.png", "--view", "1"), "two angles in degrees"),
    (("-o", "a.png", "--width", "20"), "choose from 100 to 4000"),
    (("-o", "a.cube", "--plane", "xy"), "--plane is for pictures"),
    (("-o", "a.cube", "--isovalue", "0.1"), "--isovalue is for pictures"),
    (("-o", "-", "--json"), "-o - prints the cube, which leaves no room for --json"),
])
def test_wrong_usage_is_status_2_and_computes_nothing(arguments, words, make_peer, tmp_path):
    peer = make_peer()
    done = subprocess.run(
        [sys.executable, "-m", "orbitrax", "plot", ROOT / WATER, "-m", "am1", *arguments,
         "--backend", peer], cwd=tmp_path, capture_output=True, text=True, env=ENVIRONMENT,
        timeout=30)
    assert done.returncode == 2 and words in done.stderr and "Traceback" not in done.stderr
    assert not os.path.exists(f"{peer}.record") and not list(tmp_path.glob("a.*"))


def test_an_orbital_that_is_not_there_is_refused(make_peer, tmp_path):
    peer = make_peer(plot="warning")
    done = plot("--orbital", 99, "-o", tmp_path / "a.cube", "--backend", peer)
    assert (done.returncode, done.stdout) == (2, "")
    assert done.stderr.startswith("orbitrax: error: there is no orbital 99: there are the orbitals")
    assert not (tmp_path / "a.cube").exists()


def test_an_unconverged_calculation_is_not_plotted_unless_allowed(make_peer, tmp_path):
    peer = make_peer(iterations=200, difference=1.0)
    done = plot("-o", tmp_path / "a.cube", "--points", 4, "--backend", peer)
    assert done.returncode == 1 and "did not converge" in done.stderr
    assert not (tmp_path / "a.cube").exists()
    done = plot("-o", tmp_path / "a.cube", "--points", 4, "--allow-unconverged", "--backend", peer)
    assert done.returncode == 0 and (tmp_path / "a.cube").exists()


def test_too_little_memory_to_draw_is_an_error_of_one_line(make_peer, tmp_path):
    import resource

    def limit():
        resource.setrlimit(resource.RLIMIT_AS, (700 << 20, 700 << 20))

    done = plot("--points", 8, "--isovalue", 20000, "-o", tmp_path / "a.png", "--width", 4000,
                "--backend", make_peer(), preexec_fn=limit)
    assert done.returncode == 3 and "Traceback" not in done.stderr
    assert "not enough memory to draw this picture; choose fewer --points" in done.stderr
    assert not (tmp_path / "a.png").exists()


def test_warnings_stand_in_the_document(make_peer, tmp_path):
    done = plot("--points", 8, "--isovalue", 20000, "-o", tmp_path / "a.png", "--width", 200,
                "--json", "--backend", make_peer())
    assert json.loads(done.stdout)["warnings"] == [
        "the surface reaches the edge of the grid and is cut there; choose a larger --margin or "
        "--isovalue"]


def test_a_full_disk_is_an_error_of_one_line(make_peer, tmp_path):
    (tmp_path / "full.cube").symlink_to("/dev/full")
    done = plot("-o", tmp_path / "full.cube", "--backend", make_peer())
    assert done.returncode == 3
    assert done.stderr.endswith("full.cube: cannot be written: No space left on device\n")


@pytest.mark.parametrize("name", ["a.cube", "a.png"])
def test_ctrl_c_is_status_130_and_leaves_nothing(make_peer, tmp_path, name):
    peer = make_peer(plot="silence")
    run = subprocess.Popen([sys.executable, "-m", "orbitrax", "plot", WATER, "-m", "am1", "-o",
                            str(tmp_path / "out" / name), "--backend", str(peer)], cwd=ROOT,
                           env=ENVIRONMENT, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                           text=True)
    (tmp_path / "out").mkdir()
    record, deadline = f"{peer}.record", time.monotonic() + 20
    while time.monotonic() < deadline:  # the plot's options are the last packet but one
        if os.path.exists(record) and sum(
                len(line.split()[1]) == 368 for line in open(record, encoding="ascii")) == 2:
            break
        time.sleep(0.02)
    time.sleep(0.3)
    with open(f"/proc/{run.pid}/task/{run.pid}/children", encoding="ascii") as file:
        child = int(file.read().split()[0])
    run.send_signal(signal.SIGINT)
    _, errors = run.communicate(timeout=10)
    assert run.returncode == 130 and errors == "orbitrax: error: interrupted\n"
    assert not os.path.exists(f"/proc/{child}") and os.listdir(tmp_path / "out") == []


def test_without_matplotlib_nothing_is_computed(make_peer, tmp_path):
    """A matplotlib that cannot be imported stands in for one that is not there."""
    (tmp_path / "matplotlib").mkdir()
    (tmp_path / "matplotlib" / "__init__.py").write_text("raise ImportError")
    peer = make_peer()
    path = f"{tmp_path}:{ROOT / 'python'}"
    done = plot("-o", tmp_path / "a.png", "--backend", peer, env={**os.environ, "PYTHONPATH": path})
    assert done.returncode == 3 and "apt-get install python3-matplotlib" in done.stderr
    assert not os.path.exists(f"{peer}.record")
    done = plot("-o", tmp_path / "a.cube", "--points", 4, "--backend", peer,
                env={**os.environ, "PYTHONPATH": path})
    assert done.returncode == 0


def test_help_shows_examples_and_loads_no_matplotlib():
    program = ("import sys\nfrom orbitrax.cli import main\nmain(['plot', '--help'])\n"
               "assert not {'matplotlib', 'numpy', 'scipy'} & set(sys.modules)")
    done = subprocess.run([sys.executable, "-c", program], env=ENVIRONMENT, cwd=ROOT, text=True,
                          capture_output=True, check=True)
    assert "examples/formaldehyde.xyz -m am1 --orbital homo -o homo.png" in done.stdout
