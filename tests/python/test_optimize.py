"""The task `optimize` with the real backend."""

import io
import json
import os
import signal
import subprocess
import sys
import time

import ase.io
import numpy as np
import pytest
from support import ROOT

from orbitrax import Backend, Job, Optimize, read_molecule
from orbitrax.cli.outputs.structure import last_structure, write_frame
from orbitrax.errors import NotConverged
from orbitrax.link import events
from orbitrax.results.result import Result
from orbitrax.tasks.optimize import OPTIMISERS

pytestmark = pytest.mark.timeout(120)

ENVIRONMENT = {**os.environ, "PYTHONPATH": str(ROOT / "python")}
ETHANOL = "examples/ethanol.xyz"


def orbitrax(*arguments):
    return subprocess.run([sys.executable, "-m", "orbitrax", *map(str, arguments)], cwd=ROOT,
                          capture_output=True, text=True, timeout=60, env=ENVIRONMENT)


def document(*arguments):
    done = orbitrax(*arguments, "--json")
    return done.returncode, json.loads(done.stdout)


def test_it_writes_structure_and_trajectory(tmp_path):
    final, path = tmp_path / "final.xyz", tmp_path / "path.xyz"
    status, found = document("optimize", ETHANOL, "-m", "am1", "-o", final, "--trajectory", path)
    assert status == 0 and found["task"] == "optimize" and found["status"] == "done"
    assert found["converged"] and found["rms_gradient"] < 0.1
    gradient = np.array(found["gradient"])
    assert np.sqrt(np.mean(gradient**2)) == pytest.approx(found["rms_gradient"], abs=1e-5)

    frames = ase.io.read(path, ":")
    points = found["optimize"]["report_points"]
    assert len(frames) == len(points) >= 3
    energies = [frame.get_potential_energy() for frame in frames]
    assert energies == sorted(energies, reverse=True)
    assert energies[-1] * 23.0605 == pytest.approx(found["total_energy"], rel=1e-5)
    forces = frames[-1].get_forces()
    assert forces * 23.0605 == pytest.approx(-gradient, abs=1e-4)
    told = {key: frames[-1].info[key] for key in ("charge", "multiplicity", "method", "step")}
    assert told == {"charge": 0, "multiplicity": 1, "method": "am1", "step": points[-1]["cycle"]}
    structure = ase.io.read(final)
    assert structure.info["charge"] == 0 and structure.info["multiplicity"] == 1
    assert structure.positions == pytest.approx(np.array(found["coordinates_angstrom"]), abs=1e-6)


def test_other_formats_go_by_the_name_of_the_file(tmp_path):
    assert orbitrax("optimize", "examples/water.xyz", "-m", "pm3", "-o",
                    tmp_path / "final.pdb").returncode == 0
    assert ase.io.read(tmp_path / "final.pdb").get_chemical_formula() == "H2O"
    done = orbitrax("optimize", "examples/water.xyz", "-m", "pm3", "-o", tmp_path / "final.nope")
    assert done.returncode == 2 and "no format" in done.stderr


def test_the_optimum_is_a_minimum_for_every_optimizer():
    energies = []
    for name in OPTIMISERS:
        status, found = document("optimize", "examples/formaldehyde.xyz", "-m", "cndo", "--limit",
                                 "0.02", "--optimizer", name)
        assert status == 0 and found["optimize"]["optimizer"] == name
        energies.append(found["total_energy"])
    assert max(energies) - min(energies) < 1e-4


def test_an_unfinished_search_keeps_everything_and_exits_with_1(tmp_path):
    final, path = tmp_path / "final.xyz", tmp_path / "path.xyz"
    status, found = document("optimize", ETHANOL, "-m", "am1", "--cycles", "2", "-o", final,
                             "--trajectory", path)
    assert status == 1 and found["status"] == "unconverged" and found["converged"] is False
    assert found["cycles"] == 2 and found["total_energy"] is not None
    assert "did not converge within 2 cycles" in found["errors"][0]
    assert len(ase.io.read(path, ":")) == 3 and len(ase.io.read(final)) == 9


@pytest.mark.parametrize("cycles, points, told", [
    (40, 60, "did not converge within 40 cycles (RMS gradient 2.00000 kcal/(mol Angstrom), limit "
             "0.1); try a higher --cycles or --limit, or"),
    (12, 121, "did not converge within 12 cycles"),
    (5, 9, "found no way on after 5 cycles, and has not converged (RMS gradient 2.00000 "
           "kcal/(mol Angstrom), limit 0.1); try another start, or another --optimizer"),
])
def test_more_cycles_are_advised_only_where_they_were_used_up(cycles, points, told):
    run = Optimize(cycles=40).start(read_molecule(ROOT / ETHANOL), "am1")
    found = Result("optimize", "AM1", 0, 1, "RHF", [], [])
    found.cycles, found.energy_points, found.rms_gradient, found.converged = (
        cycles, points, 2.0, False)
    with pytest.raises(NotConverged) as error:
        run.judge(found)
    assert f"the search {told}" in error.value.typed


def test_the_report_period_thins_the_report_points():
    _, found = document("optimize", ETHANOL, "-m", "am1", "--cycles", "5", "--limit", "1e-5",
                        "--report-period", "2")
    assert [point["cycle"] for point in found["optimize"]["report_points"]] == [0, 2, 4, 5]


def test_a_restraint_holds_a_distance_and_has_its_energy():
    status, found = document("optimize", "examples/water.xyz", "-m", "am1", "--restrain",
                             "stretch 1 2 1.2 k=5000")
    assert status == 0
    xyz = np.array(found["coordinates_angstrom"])
    distance = np.linalg.norm(xyz[0] - xyz[1])
    assert distance == pytest.approx(1.2, abs=0.03)
    assert found["optimize"]["restraint_energy"] == pytest.approx(
        5000 * (distance - 1.2)**2, abs=5e-3)


def test_a_torsion_has_the_sign_of_chemists():
    from orbitrax.molecules.restraints import parse_restraint

    molecule = read_molecule(str(ROOT / ETHANOL))
    hydroxyl = int(np.argmin(np.where(molecule.numbers == 1, np.linalg.norm(
        molecule.positions - molecule.positions[molecule.numbers == 8], axis=1), np.inf)))
    carbons = np.nonzero(molecule.numbers == 6)[0]
    oxygen = int(np.nonzero(molecule.numbers == 8)[0][0])
    near, far = sorted(carbons.tolist(), key=lambda i: np.linalg.norm(
        molecule.positions[i] - molecule.positions[oxygen]))
    atoms = " ".join(str(i + 1) for i in (far, near, oxygen, hydroxyl))
    with Backend() as backend:
        result = backend.run(Job(molecule, "am1", Optimize(
            restrain=[f"torsion {atoms} 150 k=200"])))
    assert result.converged
    # From 180 degrees, 55 kcal/mol above: a stronger pull tears the molecule apart, and chance says
    # where that ends. What turns the hydroxyl back, 3 kcal/mol a radian, leaves half a degree.
    turned = parse_restraint(f"torsion {atoms}").value(result.coordinates)
    assert turned == pytest.approx(150, abs=1)


def test_energy_prints_its_gradient_and_takes_restraints():
    done = orbitrax("energy", "examples/water.xyz", "-m", "am1", "--restrain", "stretch 1 2 1.1")
    assert done.returncode == 0
    assert "RMS gradient" in done.stdout and "Restraint energy" in done.stdout
    status, found = document("energy", "examples/water.xyz", "-m", "cndo")
    assert status == 0 and np.array(found["gradient"]).shape == (3, 3)


def test_a_terminal_shows_a_row_for_every_report_point():
    import pty

    controller, terminal = pty.openpty()
    with subprocess.Popen(
            [sys.executable, "-m", "orbitrax", "optimize", ETHANOL, "-m", "am1", "--cycles", "3",
             "--limit", "1e-5", "--json", "--color", "never"],
            cwd=ROOT, stdout=subprocess.PIPE, stderr=terminal, text=True, env=ENVIRONMENT) as done:
        os.close(terminal)
        shown = b""
        try:
            while part := os.read(controller, 4096):
                shown += part
        except OSError:  # how a terminal ends
            pass
        points = json.loads(done.stdout.read())["optimize"]["report_points"]
    os.close(controller)
    text = shown.decode()
    assert text.count("RMS gradient") == 2  # the header, and the error at the end
    for point in points:
        change = point["total_energy"] - points[0]["total_energy"]
        assert (f"{point['total_energy']:20.5f}{change:17.5f}{point['rms_gradient']:15.5f}"
                in text)


def test_wrong_usage_ends_with_2():
    for extra in (["--limit", "-1"], ["--cycles", "-3"], ["--restrain", "stretch 1 9 1.0"],
                  ["--restrain", "nonsense"], ["--trajectory", "/nowhere/path.xyz"]):
        done = orbitrax("optimize", "examples/water.xyz", "-m", "am1", *extra)
        assert done.returncode == 2, extra


def test_what_is_frozen_or_fixed_stays_and_goes_with_the_quasi_newton_search_only(tmp_path):
    from orbitrax.molecules.restraints import Restraint

    status, found = document("optimize", ETHANOL, "-m", "am1", "--freeze", "1-2", "--fix",
                             "torsion 1 2 3 4 60")
    xyz = np.array(found["coordinates_angstrom"])
    assert status == 0 and all(one["met"] for one in found["optimize"]["criteria"].values())
    start = np.array(read_molecule(str(ROOT / ETHANOL)).positions)
    assert np.abs(xyz[:2] - start[:2]).max() < 1e-6
    assert Restraint("torsion", (1, 2, 3, 4)).value(xyz) == pytest.approx(60, abs=1e-3)
    for words in (["--freeze", "1", "--optimizer", "polak-ribiere"], ["--fix", "tether 1"],
                  ["--fix", "stretch 1 2 1.5 k=3"], ["--fix", "stretch 1 99"]):
        assert orbitrax("optimize", ETHANOL, "-m", "am1", *words).returncode == 2, words
    done = orbitrax("optimize", ETHANOL, "-m", "am1", "--freeze", "1,x")
    assert done.returncode == 2 and "--freeze 1,x: 'x' is neither" in done.stderr


@pytest.mark.parametrize("tether", ["tether 1 8 0 0", "tether 1 20 5 0", "tether 2 0 0 4 k=0.5"])
def test_a_tether_draws_the_whole_molecule(tether):
    """A molecule that is drawn away has no less energy where it arrives."""
    with Backend() as backend:
        molecule = read_molecule(str(ROOT / "examples" / "water.xyz"))
        free = backend.run(Job(molecule, "am1", Optimize(limit=0.01)))
        found = backend.run(Job(molecule, "am1", Optimize(limit=0.01, restrain=(tether,))))
    atom, *place = map(float, tether.partition(" k")[0].split()[1:])
    assert found.converged and found.cycles < 60
    assert np.linalg.norm(np.array(found.coordinates[int(atom) - 1]) - place) < 2e-3
    assert found.total_energy == pytest.approx(free.total_energy, abs=1e-4)


@pytest.mark.parametrize("optimizer", ["quasi-newton", "polak-ribiere"])
@pytest.mark.parametrize("number,status", [(signal.SIGINT, 130), (signal.SIGTERM, 143)])
def test_a_signal_loses_no_work(tmp_path, optimizer, number, status):
    final, path = tmp_path / "final.xyz", tmp_path / "path.xyz"
    run = subprocess.Popen(
        [sys.executable, "-m", "orbitrax", "optimize", "examples/caffeine.xyz", "-m", "am1",
         "--limit", "1e-7", "--json", "-o", str(final), "--trajectory", str(path), "--optimizer",
         optimizer], cwd=ROOT, env=ENVIRONMENT, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
        text=True)
    deadline = time.monotonic() + 30
    while time.monotonic() < deadline and not (path.exists() and path.stat().st_size):
        time.sleep(0.01)
    run.send_signal(number)
    output, errors = run.communicate(timeout=30)
    found = json.loads(output)
    assert run.returncode == status and found["status"] == "interrupted"
    assert found["total_energy"] is not None and "go on with" in errors
    kept = read_molecule(str(final))
    assert kept.positions == pytest.approx(np.array(found["coordinates_angstrom"]), abs=1e-6)
    assert read_molecule(f"{path}@-1").formula == "C8H10N4O2"


def test_the_structure_kept_is_that_of_the_result_where_a_signal_comes_between_the_two():
    """The result has a point before the report points have heard of it."""
    run = Optimize(optimizer="polak-ribiere").start(read_molecule(str(ROOT / ETHANOL)), "am1")
    hear = run.points.collect

    def deaf(event):
        if len(run.points.values) == 2 and isinstance(event, events.Precise):
            raise KeyboardInterrupt
        hear(event)

    run.points.collect = deaf
    with Backend() as backend, pytest.raises(KeyboardInterrupt) as told:
        run.execute(backend)
    left = told.value.partial
    kept, about = last_structure(run, left)
    assert kept.positions == pytest.approx(left.coordinates, abs=1e-12)
    assert kept.positions != pytest.approx(np.reshape(run.points.last.xyz, (-1, 3)), abs=1e-6)
    assert about["energy"] == left.total_energy
    assert about["heat_of_formation"] == left.heat_of_formation


@pytest.mark.parametrize("part", [events.ResultBlock, events.Coordinates, events.Charges])
def test_what_is_left_of_an_interrupted_search_is_its_last_whole_point(part):
    """The parts of a point come one by one; the energy of one must not stand beside the structure
    of another."""
    run = Optimize(optimizer="polak-ribiere").start(read_molecule(str(ROOT / ETHANOL)), "am1")

    def break_in(event):
        if isinstance(event, part) and len(run.points.values) == 2:
            raise KeyboardInterrupt

    with Backend() as backend, pytest.raises(KeyboardInterrupt) as told:
        run.execute(backend, break_in)
    left, last = told.value.partial, run.points.last
    assert list(np.ravel(left.coordinates)) == list(last.xyz)
    assert left.total_energy == last.values["total_energy"]
    assert left.cycles == last.values["cycle"]


def test_a_frame_is_written_at_once(water):
    """So that no signal comes to the middle of it."""
    class Interrupted(io.StringIO):
        name = "path.xyz"

        def write(self, text):
            if self.getvalue():
                raise KeyboardInterrupt
            return super().write(text)

    file = Interrupted()
    write_frame(file, Job(water, "am1"), water.xyz, -1.0, [0.0] * 9, {"step": 0})
    found = ase.io.read(io.StringIO(file.getvalue()), format="extxyz")
    assert found.get_chemical_formula() == "H2O"


def test_an_scf_that_cannot_converge_ends_the_search():
    status, found = document("optimize", ETHANOL, "-m", "am1", "--scf-iterations", "1", "--limit",
                             "1000")
    assert status == 1 and found["status"] == "unconverged" and not found["converged"]
    assert "SCF did not converge where the search begins" in found["errors"][-1]
    assert found["energy_points"] == 4 and found["cycles"] == 0


@pytest.mark.parametrize("optimizer, believed", [
    ("polak-ribiere", False), ("ef", False), ("ef", True)])
def test_scfs_that_failed_on_the_way_are_no_minimum_unless_believed(optimizer, believed):
    """Three iterations are enough near the end, where nothing moves any more."""
    told = ["--allow-unconverged"] if believed else []
    status, found = document("optimize", ETHANOL, "-m", "am1", "--optimizer", optimizer,
                             "--scf-iterations", "3", *told)
    words = found["warnings" if believed else "errors"][-1]
    assert (status, found["status"]) == ((0, "done") if believed else (1, "unconverged"))
    assert "SCFs did not converge, on the way to a structure whose own did" in words
    assert found["coordinates_angstrom"] is not None and found["scf_unconverged"] > 0


@pytest.mark.parametrize("words", [["optimize", ETHANOL], ["ts", "examples/hcn_ts_guess.xyz"]])
def test_a_search_tells_the_state_of_its_last_structure(words, tmp_path):
    """In the words of a single point there."""
    path = str(tmp_path / "last.xyz")
    shown = [orbitrax(*words, "-m", "am1", "-o", path).stdout,
             orbitrax("energy", path, "-m", "am1").stdout]
    lines = [[line for line in text.splitlines() if line.startswith(("SCF ", "State "))]
             for text in shown]
    assert [len(one) for one in lines] == [2, 2]
    assert lines[0][0].startswith("SCF                                converged, ")
    values = [[float(word) for word in one[1].split() if "." in word] for one in lines]
    assert values[0] == pytest.approx(values[1], abs=0.002) and len(values[0]) == 2


@pytest.mark.parametrize("words", [["optimize", ETHANOL, "--freeze", "1,99"],
                                   ["scan", ETHANOL, "--stretch", "1,2=1.5:1.6:0.1",
                                    "--freeze", "99"]])
def test_an_atom_that_is_not_there_cannot_be_held(words):
    done = orbitrax(*words, "-m", "am1")
    assert done.returncode == 2 and "--freeze: there is no atom 99 among 9" in done.stderr
