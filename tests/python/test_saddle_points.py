"""Saddle points by eigenvector following and by transit, beside those of another program."""

import contextlib
import itertools
import json
import os
import pty
import signal
import subprocess
import sys
import threading
import time

import numpy as np
import pytest
from ase.io import read
from ase.units import kcal, mol
from support import ROOT

from orbitrax import Backend, Job
from orbitrax.errors import NotConverged, UsageError
from orbitrax.molecules.molecule import Molecule
from orbitrax.reactions.barrier import find_barrier
from orbitrax.reactions.pairs import matrix_difference
from orbitrax.reactions.surface import EnergySurface
from orbitrax.tasks.optimize import Optimize
from orbitrax.tasks.transit import Transit
from orbitrax.tasks.ts import Ts, imaginary_of

pytestmark = pytest.mark.timeout(300)

TABLE = json.loads((ROOT / "tests/reference/saddle_points.json").read_text())["reactions"]
SLOW = ("diels_alder_ethylene_butadiene", "acetaldehyde_enol", "malonaldehyde_proton_transfer")
CASES = [pytest.param(row, method, id=f"{row['name']}-{method}",
                      marks=[pytest.mark.long] if row["name"] in SLOW or method == "PM3" else [])
         for row in TABLE for method in row["results"]]
HEAT, PLACE, WAVENUMBER = 0.01, 0.002, 3.0  # kcal/mol, Angstrom, 1/cm: loose complexes are flat


def molecule(row, xyz) -> Molecule:
    return Molecule(row["atomic_numbers"], np.array(xyz), charge=row["charge"],
                    masses=row["masses"], multiplicity=row["multiplicity"])


def sorted_distances(places, other, numbers):
    """How far two structures differ if like atoms may change places: a model may bring the other
    hydrogen of a group to the front."""
    def measured(xyz):
        pairs = sorted((*sorted((numbers[i], numbers[j])), float(np.linalg.norm(xyz[i] - xyz[j])))
                       for i, j in itertools.combinations(range(len(xyz)), 2))
        return np.array([pair[2] for pair in pairs])
    return np.max(np.abs(measured(places) - measured(other)))


def by_place(places, other, numbers):
    return matrix_difference(places, other)


def assert_same(result, modes, wanted, difference=by_place):
    assert abs(result.heat_of_formation - wanted["heat"]) < HEAT
    places = np.array(result.coordinates).reshape(-1, 3)
    assert difference(places, np.array(wanted["geometry"]), result.symbols) < PLACE
    found, = imaginary_of(modes)
    assert abs(found - wanted["frequency"]) < WAVENUMBER


@pytest.mark.parametrize("row, method", CASES)
def test_a_guess_leads_to_the_saddle_point_of_another_program(row, method):
    wanted = row["results"][method]
    with Backend() as backend:
        run = Ts().start(molecule(row, wanted["search_guess"]), method)
        result = run.execute(backend)
    assert result.converged and run.block(result)["ts"]["saddle_point"]
    assert_same(result, run.modes, wanted)


@pytest.mark.parametrize("row, method", CASES)
def test_a_model_of_the_curvature_leads_there_as_well(row, method):
    """It knows nothing of the reaction; the lowest mode of each step finds it."""
    wanted = row["results"][method]
    with Backend() as backend:
        run = Ts(hessian="model").start(molecule(row, wanted["search_guess"]), method)
        result = run.execute(backend)
    assert_same(result, run.modes, wanted, sorted_distances)
    assert result.blocks["ts"]["mode"] == 0 and result.energy_points < 50  # and no differences


def test_curvatures_of_another_method_save_those_of_this_one(tmp_path):
    row = next(row for row in TABLE if row["name"] == "formaldehyde_dissociation")
    path = tmp_path / "forces.npy"
    with Backend() as backend:
        there = Ts().start(molecule(row, row["results"]["PM3"]["search_guess"]), "pm3").execute(
            backend)
        np.save(path, there.modes.hessian)
        start = molecule(row, np.reshape(there.coordinates, (-1, 3)))
        run = Ts(hessian=str(path)).start(start, "am1")
        result = run.execute(backend)
        assert_same(result, run.modes, row["results"]["AM1"])
        assert result.scf_runs < 12 < 24  # the points of the differences alone
        bowl = np.eye(3 * len(start)) * 400.0  # which shows no way: what is told is what is used
        np.save(path, bowl)
        other = Ts(hessian=str(path), cycles=2).start(start, "am1")
        with pytest.raises(NotConverged) as found:
            other.execute(backend)
    assert found.value.partial.blocks["ts"]["report_points"][0]["negative_eigenvalues"] == 0


def test_a_file_without_the_curvatures_of_this_molecule_is_refused(tmp_path):
    water = Molecule([8, 1, 1], [[0, 0, 0], [0.96, 0, 0], [-0.2, 0.9, 0]])
    path = tmp_path / "forces.npy"
    with pytest.raises(UsageError, match="compute, model or a file"):
        Ts(hessian="guess")
    with pytest.raises(UsageError, match="No such file"):
        Ts(hessian=str(path)).start(water, "am1")
    for matrix, why in ((np.eye(6), "6 x 6 float64; for this molecule it should be 9 x 9"),
                        (np.full((9, 9), np.nan), "no force constants"),
                        (np.triu(np.ones((9, 9))), "not symmetric"),
                        (np.eye(9, dtype=int), "9 x 9 int64")):
        np.save(path, matrix)
        with pytest.raises(UsageError, match=why):
            Ts(hessian=str(path)).start(water, "am1")
    path.write_bytes(b"\x93NUMPY" + bytes(40))
    with pytest.raises(UsageError, match="format version"):
        Ts(hessian=str(path)).start(water, "am1")


@pytest.mark.parametrize("quadratic, hessian", [(False, "compute"), (True, "model")])
def test_a_transit_leads_there_too(quadratic, hessian):
    row = next(row for row in TABLE if row["name"] == "hcn_hnc")
    wanted = row["results"]["AM1"]
    ends = [np.ravel(side).tolist() for side in wanted["sides"]]
    task = Transit(reactant=ends[0], product=ends[1], quadratic=quadratic, hessian=hessian)
    with Backend() as backend:
        run = task.start(molecule(row, wanted["search_guess"]), "am1")
        result = run.execute(backend)
    assert_same(result, run.modes, wanted)
    assert result.blocks["transit"]["hessian"] == hessian
    assert (result.scf_runs > 18) == (hessian == "compute")


@pytest.mark.long
@pytest.mark.parametrize("row, method", [case.values for case in CASES],
                         ids=[case.id for case in CASES])
def test_two_minima_lead_to_the_barrier_between_them(row, method):
    wanted = row["results"][method]
    sides = [molecule(row, xyz) for xyz in wanted["sides"]]
    with Backend() as backend:
        surface = EnergySurface(backend, sides[0], method, {})
        found = find_barrier(surface, *sides, free_energies=False)
    assert found.connects, found.attempts
    assert abs(found.saddle.heat_of_formation - wanted["heat"]) < HEAT


# ---- what is no saddle point is not called one --------------------------------------------------


def orbitrax(*arguments):
    return subprocess.run([sys.executable, "-m", "orbitrax", *map(str, arguments)], cwd=ROOT,
                          capture_output=True, text=True, timeout=100,
                          env={**os.environ, "PYTHONPATH": str(ROOT / "python")})


def test_a_search_from_a_minimum_that_ends_in_none_says_so():
    done = orbitrax("ts", "examples/water.xyz", "-m", "am1", "--json", "--cycles", 40)
    found = json.loads(done.stdout)
    assert done.returncode == 1 and found["status"] == "unconverged" and not found["converged"]
    assert "saddle point" in done.stderr


def test_a_search_that_is_cut_short_keeps_what_it_has(tmp_path):
    path, steps = tmp_path / "there.xyz", tmp_path / "steps.xyz"
    done = orbitrax("ts", "examples/hcn_ts_guess.xyz", "-m", "am1", "--cycles", 2, "-o", path,
                    "--trajectory", steps)
    assert done.returncode == 1 and "2 cycles" in done.stderr
    assert path.read_text().startswith("3\n") and steps.read_text().count("energy=") >= 2


def stopped_at(words, tmp_path, *arguments):
    """Ctrl-C as soon as the terminal shows these words, in the middle of some 300 energies: status,
    document, and the file of the last structure."""
    last, shown = tmp_path / "last.xyz", b""
    controller, terminal = pty.openpty()
    run = subprocess.Popen(
        [sys.executable, "-m", "orbitrax", "ts", "benchmarks/molecules/haloperidol.xyz", "-m",
         "am1", "--threads", "1", "--json", "-o", last, *arguments], cwd=ROOT, text=True,
        stdout=subprocess.PIPE, stderr=terminal,
        env={**os.environ, "PYTHONPATH": str(ROOT / "python"), "TERM": "xterm"})
    os.close(terminal)
    while words not in shown:
        shown += os.read(controller, 4096)
    run.send_signal(signal.SIGINT)
    reader = threading.Thread(target=lambda: read_all(controller), daemon=True)
    reader.start()
    printed, _ = run.communicate(timeout=60)
    reader.join()
    os.close(controller)
    return run.returncode, json.loads(printed), last


def read_all(controller):
    """What a terminal shows goes on being read, or who writes there waits."""
    with contextlib.suppress(OSError):
        while os.read(controller, 4096):
            pass


def test_ctrl_c_in_the_middle_of_the_first_hessian_leaves_a_whole_document(tmp_path):
    status, found, last = stopped_at(b"initial Hessian: done 10%", tmp_path)
    assert status == 130 and found["status"] == "interrupted" and not found["converged"]
    assert found["ts"]["report_points"] == [] and found["ts"]["saddle_point"] is None
    start = read(ROOT / "benchmarks/molecules/haloperidol.xyz")
    assert np.allclose(found["coordinates_angstrom"], start.positions, atol=1e-5)
    assert not last.exists()


def test_ctrl_c_in_the_vibrations_keeps_what_the_search_has_found(tmp_path):
    status, found, last = stopped_at(b"force matrix: done 10%", tmp_path, "--hessian", "model",
                                     "--cycles", "1", "--allow-unconverged")
    assert status == 130 and found["status"] == "interrupted" and not found["converged"]
    assert found["ts"]["saddle_point"] is None and len(found["ts"]["report_points"]) == 1
    assert "not known what the search has found" in found["warnings"][-1]
    places = read(last).positions
    assert np.allclose(found["coordinates_angstrom"], places, atol=1e-5)
    assert np.max(np.abs(places - read(ROOT / "benchmarks/molecules/haloperidol.xyz").positions)
                  ) > 1e-3


def test_a_transit_that_is_cut_short_keeps_what_it_has(tmp_path):
    path, steps = tmp_path / "there.xyz", tmp_path / "steps.xyz"
    done = orbitrax("transit", "examples/hcn.xyz", "examples/hnc.xyz", "-m", "am1", "--cycles", 3,
                    "-o", path, "--trajectory", steps, "--hessian", "model", "--json")
    found, frames = json.loads(done.stdout), read(steps, ":")
    assert done.returncode == 1 and found["status"] == "unconverged" and "3 cycles" in done.stderr
    assert len(frames) >= 2 and {frame.info["stage"] for frame in frames} == {"linear transit"}
    assert np.allclose(read(path).positions, found["coordinates_angstrom"], atol=1e-5)
    assert found["transit"]["hessian"] == "model"


def test_a_saddle_point_is_one_of_a_whole_molecule_in_its_ground_state():
    with pytest.raises(UsageError, match="whole molecule"):
        Ts(select="1-2")
    with pytest.raises(UsageError, match="configuration interaction"):
        Ts(ci="singles", window=(2, 2))
    with pytest.raises(UsageError, match="two ends"):
        Transit()


def test_following_downhill_finds_the_minimum_of_the_other_search():
    from orbitrax import read_molecule

    start, heats = read_molecule(ROOT / "examples/ethanol.xyz"), []
    with Backend() as backend:
        for optimizer in ("ef", "quasi-newton"):
            task = Optimize(optimizer=optimizer, limit=0.02)
            result = task.start(start, "am1").execute(backend)
            assert result.converged
            heats.append(result.heat_of_formation)
    assert abs(heats[0] - heats[1]) < 1e-3  # twice what a limit of 0.02 leaves here


def test_following_downhill_opens_a_bent_line():
    """HCN that starts bent: its last vibration appears as it becomes a line."""
    bent = Molecule([6, 7, 1], [[0, 0, 0], [1.2, 0.1, 0], [-0.9, 0.4, 0.1]])
    with Backend() as backend:
        result = Optimize(optimizer="ef").start(bent, "am1").execute(backend)
    assert result.converged and abs(result.heat_of_formation - 30.9835) < 0.01


def test_a_minimisation_begins_with_the_curvatures_that_it_is_told(tmp_path, monkeypatch):
    from orbitrax import Vibrations, read_molecule

    start = read_molecule(ROOT / "examples/ethanol.xyz")
    path = str(tmp_path / "forces.npy")
    with Backend() as backend:
        def found(hessian):
            task = Optimize(optimizer="ef", limit=0.02, hessian=hessian)
            result = task.start(start, "pm3").execute(backend)
            assert result.converged and result.blocks["optimize"]["hessian"] == hessian
            assert abs(result.heat_of_formation + 56.9049) < 1e-3
            return result

        there = found(None)
        places = np.reshape(there.coordinates, (-1, 3))
        modes = backend.run(Job(start.replace(positions=places), "pm3", Vibrations())).modes
        np.save(path, modes.hessian)
        told = found(path)
        assert told.energy_points < there.energy_points and told.scf_runs < 8
        assert found("compute").scf_runs > 2 * 3 * 7  # two atoms are mirror images of others
        monkeypatch.setattr(Optimize, "search_wishes", 0)
        assert found("compute").scf_runs < 20  # which other clients may ask for, and never got


def test_a_part_begins_with_the_curvatures_of_the_part(tmp_path):
    from orbitrax import read_molecule

    start, path = read_molecule(ROOT / "examples/chloride_in_water.xyz"), tmp_path / "water.npy"
    np.save(path, np.eye(9) * 700.0)
    with Backend() as backend:
        for hessian in (None, "compute", str(path)):
            task = Optimize(optimizer="ef", limit=0.01, select="2-4", charge=0, hessian=hessian)
            job = Job(start, "am1", task)
            assert len(task.first_hessian(job) or bytes(8 * 81)) == 8 * 81
            result = backend.run(job)
            assert result.converged and abs(result.heat_of_formation + 59.2551) < 1e-3


def test_curvatures_are_for_eigenvector_following():
    with pytest.raises(UsageError, match="hessian goes with optimizer ef only"):
        Optimize(hessian="model")
    with pytest.raises(UsageError, match="compute, model or a file"):
        Optimize(hessian="guess", optimizer="ef")


@pytest.mark.parametrize("method", ["cndo", "mndo"])
def test_two_atoms_pressed_together_come_apart(method, monkeypatch):
    """At 1.1 Angstrom is the pole of the backend's guess of a stretch."""
    pressed = Molecule([14, 14], [[0, 0, 0], [1.1, 0, 0]], multiplicity=3)
    job = Job(pressed, method, Optimize(optimizer="ef", uhf=True, allow_unconverged=True))
    with Backend() as backend:
        ends = [backend.run(job)]
        monkeypatch.setattr(Optimize, "first_hessian", lambda self, job: None)
        ends.append(backend.run(job))
        monkeypatch.setattr(Optimize, "search_wishes", 0)
        plain = backend.run(job)  # what a client gets that asks for nothing
    for end in ends:
        assert end.converged and end.energy_points < 15
        assert np.linalg.norm(np.subtract(*np.reshape(end.coordinates, (2, 3)))) > 1.6
    assert plain.converged is False and np.all(np.isfinite(plain.coordinates))


# ---- all in one ---------------------------------------------------------------------------------


def test_barrier_tells_the_way_from_one_molecule_to_the_other(tmp_path):
    picture, table = tmp_path / "profile.svg", tmp_path / "profile.csv"
    way = tmp_path / "way.xyz"
    done = orbitrax("barrier", "examples/hcn.xyz", "examples/hnc.xyz", "-m", "am1", "--json",
                    "-o", picture, "--csv", table, "--trajectory", way)
    found = json.loads(done.stdout)
    assert done.returncode == 0 and found["connects"], done.stderr
    assert found["ends"] == ["the reactant", "the product"]
    saddle = found["path"]["saddle_point"]
    assert abs(saddle["heat_of_formation"] - 118.43476) < HEAT
    assert abs(saddle["imaginary_frequency_cm1"] - 1407.27) < WAVENUMBER
    heats = found["heats_of_formation"]
    assert abs(found["barrier"] - (heats[1] - heats[0])) < 1e-6
    energies = [point["total_energy"] for point in found["path"]["points"]]
    top = int(np.argmax(energies))
    assert all(np.diff(energies[:top + 1]) > 0) and all(np.diff(energies[top:]) < 0)
    frames = read(way, ":")
    assert [name for name, _ in itertools.groupby(frame.info["stage"] for frame in frames)] == [
        "minimum of examples/hcn.xyz", "minimum of examples/hnc.xyz", "linear transit",
        "path, side 1", "minimum, side 1", "path, side 2", "minimum, side 2"]
    along = {round(frame.get_potential_energy() / (kcal / mol), 4) for frame in frames
             if frame.info["stage"].startswith("path")}
    assert {round(energy, 4) for energy in energies[:top] + energies[top + 1:]} <= along
    assert picture.read_text().count("<svg") == 1 and len(table.read_text().splitlines()) > 10


def test_a_barrier_that_is_interrupted_keeps_its_way(tmp_path):
    way = tmp_path / "way.xyz"
    run = subprocess.Popen(
        [sys.executable, "-m", "orbitrax", "barrier", "examples/hcn.xyz", "examples/hnc.xyz", "-m",
         "am1", "--json", "--trajectory", way], cwd=ROOT, stdout=subprocess.PIPE, text=True,
        stderr=subprocess.PIPE, env={**os.environ, "PYTHONPATH": str(ROOT / "python")})
    while run.poll() is None and not (way.exists() and way.stat().st_size):
        time.sleep(0.01)
    run.send_signal(signal.SIGINT)
    printed, said = run.communicate(timeout=60)
    assert run.returncode == 130 and json.loads(printed)["status"] == "interrupted", said
    assert f"until then are in {way}" in said and "Traceback" not in said
    assert all(len(frame) == 3 for frame in read(way, ":"))


def test_a_path_begins_at_a_saddle_point_only(tmp_path):
    done = orbitrax("path", "examples/hcn_ts_guess.xyz", "-m", "am1")
    assert done.returncode == 1 and "no stationary point" in done.stderr


def test_two_sides_are_the_same_atoms():
    done = orbitrax("barrier", "examples/hcn.xyz", "examples/water.xyz", "-m", "am1")
    assert done.returncode == 2 and "not the same atoms" in done.stderr
    with Backend() as backend, pytest.raises(NotConverged, match="the same minimum"):
        one = Molecule([6, 7, 1], [[0, 0, 0], [1.16, 0, 0], [-1.07, 0, 0]])
        find_barrier(EnergySurface(backend, one, "am1", {}), one, one)
