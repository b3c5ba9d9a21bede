"""QCSchema in and out, and Orbitrax as a program of QCEngine."""

import json
import subprocess
import sys

import numpy as np
import pytest
from support import ROOT

from orbitrax import Backend, energy
from orbitrax.bridges.qcschema import compute

HYDROXIDE = {"symbols": ["O", "H"], "geometry": [0, 0, 0, 0, 0, 1.8], "molecular_charge": -1,
             "molecular_multiplicity": 1}


def asked(driver="energy", method="am1", molecule=None, **keywords):
    return {"schema_name": "qcschema_input", "schema_version": 1,
            "molecule": molecule or HYDROXIDE, "driver": driver, "model": {"method": method},
            "keywords": keywords}


@pytest.fixture(scope="module")
def backend():
    with Backend() as backend:
        yield backend


def test_the_gradient_is_the_slope_of_the_energy_in_atomic_units(backend):
    told = compute(asked("gradient", scf_limit=1e-9), backend)
    assert told["success"] and told["properties"]["calcinfo_nalpha"] == 4
    ends, step = [], 1e-3
    for sign in (1, -1):
        moved = {**HYDROXIDE, "geometry": [0, 0, 0, 0, 0, 1.8 + sign * step]}
        ends.append(compute(asked(molecule=moved, scf_limit=1e-9), backend)["return_result"])
    assert told["return_result"][5] == pytest.approx((ends[0] - ends[1]) / (2 * step), abs=1e-5)


def test_the_energy_is_that_of_the_other_doors(backend):
    told = compute(asked(), backend)
    other = energy((["O", "H"], [[0, 0, 0], [0, 0, 1.8 * 0.529177210903]]), "am1", charge=-1,
                   backend=backend)
    assert told["return_result"] * 627.5220032 == pytest.approx(other.total_energy, rel=1e-7)
    assert told["extras"]["orbitrax"]["heat_of_formation"] == pytest.approx(
        other.heat_of_formation, abs=1e-4)


def test_the_hessian_has_no_force_along_translations(backend):
    told = compute(asked("hessian"), backend)
    hessian = np.array(told["return_result"]).reshape(6, 6)
    assert np.allclose(hessian, hessian.T)
    for axis in range(3):
        shift = np.tile(np.eye(3)[axis], 2)
        assert np.abs(hessian @ shift).max() < 2e-4  # a slope is left at this bond length
    assert hessian[2, 2] > 0.3  # of a bond to hydrogen, hartree per square bohr


@pytest.mark.parametrize("document,kind", [
    (asked(method="b3lyp"), "input_error"), (asked("fly"), "input_error"),
    (asked(molecule={**HYDROXIDE, "molecular_multiplicity": 2}), "input_error"),
    (asked(nonsense=1), "input_error"), ({}, "input_error"),
    (asked(scf_iterations=1), "convergence_error"),
    ({**asked(), "model": {"method": "am1", "basis": "6-31g"}}, "input_error"),
])
def test_what_fails_says_how(backend, document, kind):
    told = compute(document, backend)
    assert told["success"] is False and told["error"]["error_type"] == kind


@pytest.mark.parametrize("document,text", [
    ({}, "not a QCSchema input: 'model' is missing"),
    ({**asked(), "model": "am1"}, "'model' should be an object with keys"),
    ({**asked(), "keywords": [1]}, "'keywords' should be an object with keys"),
    (asked(molecule={"symbols": ["H"], "geometry": ["x", 0, 0]}), "'x' is not a number"),
    (asked("fly"), "there is no driver 'fly'; there are energy")])
def test_a_document_that_is_none_is_told_what_it_lacks(backend, document, text):
    told = compute(document, backend)["error"]
    assert told["error_type"] == "input_error" and text in told["error_message"]
    assert told["error_message"].count("QCSchema input") <= 1


def test_the_command_line_speaks_it():
    run = subprocess.run([sys.executable, "-m", "orbitrax", "qcschema", "-"], text=True,
                         input=json.dumps(asked("properties")), capture_output=True, timeout=60,
                         env={"PYTHONPATH": str(ROOT / "python"), "PATH": "/usr/bin:/bin"})
    assert run.returncode == 0 and json.loads(run.stdout)["success"]


def test_qcengine_runs_every_driver_and_tells_failures():
    qcengine = pytest.importorskip("qcengine")
    import orbitrax.qcengine  # noqa: F401

    for driver in ("energy", "gradient", "properties", "hessian"):
        told = qcengine.compute(asked(driver), "orbitrax", raise_error=True)
        assert told.success and told.provenance.creator == "Orbitrax", driver
        assert told.properties.return_energy == pytest.approx(
            compute(asked())["return_result"], rel=1e-9)
    for document, kind in ((asked(method="b3lyp"), "input_error"),
                           (asked(scf_iterations=1), "convergence_error")):
        failed = qcengine.compute(document, "orbitrax")
        assert not failed.success and failed.error.error_type == kind


@pytest.mark.parametrize("change, words", [
    ({"molecule": {**HYDROXIDE, "real": [True, False]}}, "has ghost atoms"),
    ({"molecule": {**HYDROXIDE, "molecular_multiplicity": 0}}, "molecular_multiplicity 0 is not"),
    ({"schema_name": "qcschema_optimization_input"}, "no input of one calculation")])
def test_what_is_not_meant_is_not_computed(backend, change, words):
    told = compute({**asked(), **change}, backend)
    assert not told["success"] and told["error"]["error_type"] == "input_error"
    assert words in told["error"]["error_message"]
    assert compute({**asked(), "molecule": {**HYDROXIDE, "real": [True, True]}}, backend)["success"]


@pytest.mark.parametrize("driver", ["energy", "gradient", "hessian"])
def test_the_state_of_the_electrons_is_told(backend, driver):
    parted = {"symbols": ["H", "H"], "geometry": [0, 0, 0, 0, 0, 4.2]}
    told = compute(asked(driver, molecule=parted), backend)["extras"]["orbitrax"]["warnings"]
    assert len(told) == 1 and told[0].startswith("the closed shell is unstable")
    assert compute(asked(driver), backend)["extras"]["orbitrax"]["warnings"] == []
