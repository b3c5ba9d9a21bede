"""The scripts for Avogadro 2 answer as it asks."""

import json
import os
import subprocess
import sys

import numpy as np
import pytest
from support import ROOT

import orbitrax

SCRIPTS = ROOT / "contrib" / "avogadro"
PLACES = [[0.0, 0.0, 0.1], [0.95, 0.0, 0.0], [-0.3, 0.9, 0.0], [0.0, -0.4, 0.9]]
HYDRONIUM = {"atoms": {"elements": {"number": [8, 1, 1, 1]},
                       "coords": {"3d": [x for place in PLACES for x in place]}},
             "properties": {"totalCharge": 1, "totalSpinMultiplicity": 1}}


def run(script, *arguments, given=""):
    ran = subprocess.run([sys.executable, str(script), *arguments], input=given, text=True,
                         capture_output=True, timeout=120,
                         env={**os.environ, "PYTHONPATH": str(ROOT / "python")}, check=False)
    assert (ran.returncode, ran.stderr) == (0, "")
    return ran.stdout


@pytest.mark.parametrize("folder", ["energy", "charges"])
def test_a_script_describes_itself_by_its_name(folder, tmp_path):
    copy = tmp_path / "orbitrax-mndo.py"
    copy.write_text((SCRIPTS / folder / "orbitrax-am1.py").read_text())
    described = json.loads(run(copy, "--metadata"))
    assert described["name"] == run(copy, "--display-name").strip() == "Orbitrax MNDO"
    assert {"1", "6", "8"} <= set(described["elements"].split(","))
    assert described["inputFormat"] == "cjson"


def test_energies_and_gradients_follow_the_coordinates(tmp_path):
    document = tmp_path / "molecule.cjson"
    document.write_text(json.dumps(HYDRONIUM))
    step = 1e-3
    moved = [np.array(PLACES) for _ in range(3)]
    moved[1][2, 0] += step
    moved[2][2, 0] -= step
    lines = [" ".join(map(str, row)) for places in moved for row in places]
    answers = run(SCRIPTS / "energy" / "orbitrax-am1.py", "-f", str(document),
                  given="\n".join(lines) + "\n").split("AvogadroEnergy:")[1:]
    energies = [float(answer.split()[0]) for answer in answers]
    gradient = np.array(answers[0].split("AvogadroGradient:")[1].split(), float).reshape(4, 3)
    assert len(energies) == 3
    assert gradient[2, 0] == pytest.approx((energies[1] - energies[2]) / (2 * step), rel=1e-3)
    molecule = orbitrax.Molecule([8, 1, 1, 1], PLACES, charge=1)
    assert energies[0] == pytest.approx(4.184 * orbitrax.energy(molecule, "am1").total_energy)


@pytest.mark.parametrize("as_text", [True, False])
def test_charges_add_up_to_that_of_the_molecule(as_text):
    request = {"cjson": json.dumps(HYDRONIUM) if as_text else HYDRONIUM}
    found = [float(word) for word in run(SCRIPTS / "charges" / "orbitrax-am1.py", "--charges",
                                         given=json.dumps(request)).split()]
    assert len(found) == 4 and sum(found) == pytest.approx(1, abs=1e-5)
    assert min(found[1:]) > 0.2 > found[0]
