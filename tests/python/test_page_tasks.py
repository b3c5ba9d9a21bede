"""The tasks that the page alone offers: scans and comparisons."""

import json

import numpy as np
import pytest
from support import ROOT

from orbitrax import Backend, Job, Molecule, Optimize, from_smiles, read_molecule
from orbitrax.errors import (Cancelled, InputError, MoleculeError, NotConverged, SettingError,
                             UsageError)
from orbitrax.link.events import SearchPoint
from orbitrax.serve import work
from orbitrax.serve.forms import make_task, task_forms
from orbitrax.serve.molecules import from_json, read_dropped, to_json
from orbitrax.tasks.outcome import outcome
from orbitrax.tasks.registry import PAGE_TASKS, find_task


@pytest.fixture(scope="module")
def backend():
    with Backend() as found:
        yield found


def angle(positions) -> float:
    """H-O-H, degrees."""
    one, other = positions[1] - positions[0], positions[2] - positions[0]
    return float(np.degrees(np.arccos(one @ other / np.linalg.norm(one) / np.linalg.norm(other))))


def test_the_minimum_of_a_scan_is_the_one_that_a_search_finds(backend):
    """The vertex of the parabola through three angles of water, two degrees apart."""
    water, points = from_smiles("O"), []
    free = backend.run(Job(water, "am1", Optimize(limit=0.01)))
    best = angle(np.asarray(free.coordinates))
    run = make_task("scan", {"along": f"bend 2,1,3={best - 2}:{best + 2.01}:2", "limit": 0.01}
                    ).start(water, "am1")
    result = run.execute(backend, lambda event: points.append(event)
                         if isinstance(event, SearchPoint) else None)
    rows = result.to_dict()["scan"]["points"]
    assert [row["reached"][0] - row["asked"][0] for row in rows] == pytest.approx([0] * 3, abs=1e-4)
    energies = [row["total_energy"] for row in rows]
    curve = np.polyfit([-2, 0, 2], energies, 2)
    assert -curve[1] / (2 * curve[0]) == pytest.approx(0, abs=0.03)  # cubic terms, 0.01 of a degree
    assert energies[1] == pytest.approx(free.total_energy, abs=2e-4)
    assert result.total_energy == energies[1] == min(energies) and result.task == "scan"
    assert [one.total_energy for one in points] == energies  # live, a point each


def test_points_without_an_energy_are_told(backend):
    run = make_task("scan", {"along": "stretch 1,2=1:1.2:0.1", "cycles": 0, "limit": 1e-3}
                    ).start(from_smiles("O"), "am1")
    with pytest.raises(NotConverged, match="3 of 3 points have no energy") as caught:
        run.execute(backend)
    document = outcome("scan", run, None, caught.value)
    assert document["status"] == "unconverged"
    assert [row["status"] for row in document["scan"]["points"]] == ["unconverged"] * 3


def test_a_scan_that_is_cancelled_keeps_its_points():
    run = make_task("scan", {"along": "stretch 1,2=0.9:1.4:0.1"}).start(from_smiles("O"), "am1")
    with Backend() as backend:
        with pytest.raises(Cancelled) as caught:
            run.execute(backend, lambda event: backend.cancel()
                        if isinstance(event, SearchPoint) else None)
    found = caught.value.partial.to_dict()
    assert [row["status"] for row in found["scan"]["points"]] == ["done"]
    assert found["task"] == "scan"


@pytest.mark.parametrize("along,told", [
    ("", "one or two"), ("twist 1,2=1:2", "should begin with"), ("torsion 1,2,3=0:1", "4 atoms"),
    ("stretch 1,2=1:2:1e-9", "too many"), ("stretch 1,2=1:inf:1", "no steps"),
    ("stretch 1,2=1:2;stretch 1,3=1:2;bend 2,1,3=90:95", "one or two")])
def test_a_scan_that_cannot_be_is_refused_beside_its_field(along, told):
    with pytest.raises(UsageError, match=told) as caught:
        make_task("scan", {"along": along}).start(from_smiles("O"), "am1")
    assert isinstance(caught.value, SettingError) and caught.value.name == "along"


def test_methods_are_compared_and_those_that_cannot_say_why(backend):
    iron = read_molecule(str(ROOT / "examples" / "iron_carbonyl.xyz"))
    run = make_task("compare", {"methods": "am1, zindos"}).start(iron, "zindo1")
    result = run.execute(backend)
    rows = {row["method"]: row for row in result.to_dict()["compare"]["methods"]}
    assert list(rows) == ["ZINDO/1", "AM1", "ZINDO/S"] and result.method == "zindo1"
    assert "no parameters for Fe" in rows["AM1"]["status"] and rows["AM1"]["gap_ev"] is None
    alone = backend.run(Job(iron, "zindos"))
    assert rows["ZINDO/S"]["gap_ev"] == pytest.approx(alone.gap_ev, abs=1e-5)
    with pytest.raises(InputError, match="no parameters for Fe"):
        make_task("compare", {"methods": "zindo1"}).start(iron, "am1").execute(backend)
    with pytest.raises(UsageError, match="there is no method 'xyz'"):
        make_task("compare", {"methods": "xyz"})


def test_isotopes_and_point_charges_go_through_the_page(backend):
    """From a file to the browser, from there to a run, and once more to the next one."""
    text = ("3\nProperties=species:S:1:pos:R:3:charge:R:1\nO 0 0 0.1 -0.4\nD 0.757 0 -0.49 0.2\n"
            "H -0.757 0 -0.49 0.2\n")
    there = json.loads(json.dumps(to_json(read_dropped({"text": text, "name": "hdo.xyz"}))))
    again = json.loads(json.dumps(to_json(from_json(there))))
    assert again["masses"] == pytest.approx([15.999, 2.014, 1.008], abs=1e-3)
    assert again["point_charges"] == [-0.4, 0.2, 0.2]
    answer = work.run({"task": "vibrations", "settings": {"optimize": True}, "method": "am1",
                       "molecule": again}, backend, lambda message: None)
    rows = answer["document"]["vibrations"]["modes"]
    assert [row["frequency_cm1"] for row in rows] == pytest.approx([1653, 2577, 3545], abs=2)
    assert "masses" not in to_json(from_smiles("O"))


@pytest.mark.parametrize("own", [{"masses": [1.0]}, {"masses": ["x"] * 3}, {"point_charges": 3},
                                 {"masses": [float("nan")] * 3}, {"masses": [1, 1, 10**400]}])
def test_masses_that_cannot_be_are_refused(own):
    with pytest.raises(MoleculeError):
        from_json({**to_json(from_smiles("O")), **own})


def test_only_the_page_has_them():
    assert [row.name for row in PAGE_TASKS][-2:] == ["scan", "compare"]
    assert [one["name"] for one in task_forms()] == [row.name for row in PAGE_TASKS]
    with pytest.raises(UsageError):
        find_task("scan")


@pytest.mark.parametrize("task", ["ts", "optimize"])
def test_no_file_is_opened_by_a_name_from_the_page(task, tmp_path):
    """A Hessian from a file is for the command line, whichever file it is."""
    path = tmp_path / "hessian.npy"
    np.save(path, np.eye(9))
    with pytest.raises(SettingError, match="choose from model, compute"):
        make_task(task, {"hessian": str(path), "optimizer": "ef"} if task == "optimize" else
                  {"hessian": str(path)})
    form = next(one for one in task_forms() if one["name"] == task)
    field = next(one for one in form["fields"] if one["name"] == "hessian")
    assert field["choices"] == ("model", "compute")


def test_settings_of_files_that_are_written_are_not_asked_for():
    fields = {one["name"]: [field["name"] for field in one["fields"]] for one in task_forms()}
    assert fields["plot"][:5] == ["orbital", "density", "spin_density", "potential", "beta"]
    assert "plot_state" not in fields["uv"] and "animate" not in fields["vibrations"]
    with pytest.raises(UsageError, match="the page has no setting 'plot_state'"):
        make_task("uv", {"plot_state": 1})


def test_scans_and_comparisons_tell_the_warnings_of_all_their_results(backend):
    """Hydrogen that is pulled apart as a closed shell; the result shown is that of one of them."""
    parted = Molecule([1, 1], [[0, 0, 0], [0, 0, 2.2]])
    scan = make_task("scan", {"along": "stretch 1,2=0.7:2.2:0.5"}).start(parted, "am1")
    [told] = scan.execute(backend).warnings
    assert told.startswith("2 of 4 points, the first at stretch 1-2 1.7: the closed shell is")
    compared = make_task("compare", {"methods": "am1, pm3"}).start(parted, "am1")
    own, other = compared.execute(backend).warnings
    assert own.startswith("the closed shell is") and other.startswith("PM3: the closed shell is")
    rows = compared.rows
    assert [len(row["warnings"]) for row in rows] == [1, 1]
