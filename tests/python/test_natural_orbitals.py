"""Natural orbitals of mixed microstates have electrons, and no levels."""

import json
import os
import subprocess
import sys

import numpy as np
import pytest
from support import ROOT

from orbitrax import Backend, Job, Plot, box_around, read_molecule
from orbitrax.orbitals.molden import write_molden
from orbitrax.results.result import result_of

ENVIRONMENT = {**os.environ, "PYTHONPATH": str(ROOT / "python"), "NO_COLOR": "1"}
MICROSTATES = {"ci": "microstates", "window": (2, 2)}


def job(name, **settings):
    return Job(read_molecule(ROOT / "examples" / f"{name}.xyz"), "am1", **settings)


@pytest.mark.parametrize("name, homo", [("formaldehyde", 6), ("nitrogen_dioxide", 9)])
@pytest.mark.parametrize("beta", [False, True])
def test_the_title_names_the_orbital_that_is_drawn(name, homo, beta):
    """The values are those of the number that the title says: the backend finds it by itself."""
    with Backend() as backend:
        result = backend.run(job(name, **MICROSTATES))
        frame = box_around(result.coordinates, 2.0, 12)
        grids = {what: backend.plot(Plot(what, beta=beta), frame)
                 for what in ("homo", "lumo", str(homo), str(homo + 1))}
    electrons = result.occupancies[homo - 1]
    assert result.occupancies[homo] < 0.5 < electrons
    assert grids["homo"].title == f"HOMO (orbital {homo}, {electrons:.2f} electrons)"
    assert grids["homo"].orbital == (homo, None) and grids["lumo"].orbital == (homo + 1, None)
    for what, number in (("homo", homo), ("lumo", homo + 1)):
        assert grids[what].values == pytest.approx(grids[str(number)].values, abs=1e-7)


def test_they_have_no_gap_and_no_levels_anywhere(tmp_path):
    path, texts = str(tmp_path / "a.molden"), []
    with Backend() as backend:
        for one in (job("formaldehyde", eigenvectors=True, **MICROSTATES),
                    job("formaldehyde", eigenvectors=True)):
            found = backend.run(one)
            write_molden(path, one, found)
            with open(path, encoding="utf-8") as file:
                texts.append((found, file.read()))
    (result, text), (plain, text_of_levels) = texts
    assert result.frontier() == [] and result.gap_ev is None and len(plain.frontier()) == 2
    assert {line for line in text.splitlines() if line.startswith(" Ene=")} == {
        " Ene=     0.0000000000"}
    assert " Ene=     0.0000000000" not in text_of_levels
    words = ["-m", "am1", "--ci", "microstates", "--window", "2", "2"]
    runs = [subprocess.run([sys.executable, "-m", "orbitrax", *more], cwd=ROOT, text=True,
                           capture_output=True, env=ENVIRONMENT) for more in (
        ["energy", "examples/formaldehyde.xyz", *words, "--json"],
        ["energy", "examples/formaldehyde.xyz", *words, "-o", str(tmp_path / "levels.png")])]
    assert result_of(json.loads(runs[0].stdout)).frontier() == []
    assert runs[1].returncode != 0 and "natural orbitals have no levels" in runs[1].stderr
