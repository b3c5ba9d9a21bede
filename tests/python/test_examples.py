"""The scripts of examples/ run, and say what is right."""

import re
import subprocess
import sys

import numpy as np
import pytest
from support import ROOT

pytestmark = pytest.mark.timeout(600)  # on a busy machine too; idle they take 2 s


def example(name: str, *arguments: str) -> str:
    done = subprocess.run([sys.executable, str(ROOT / "examples" / name), *arguments],
                          capture_output=True, text=True, timeout=500)
    assert (done.returncode, done.stderr) == (0, "")
    return done.stdout


def test_every_script_is_tried():
    scripts = {path.name for path in (ROOT / "examples").glob("*.py")}
    assert scripts == {"many_molecules.py", "ase_calculator.py", "ase_optimise.py",
                       "orbitals.py", "pictures.py"}


def test_the_pictures_of_the_pages_are_drawn(tmp_path):
    names = example("pictures.py", str(tmp_path), "14").split()
    assert sorted(names) == sorted(path.name for path in tmp_path.iterdir())
    shown = {name for page in (ROOT / "README.md", *(ROOT / "docs").glob("*.md"))
             for name in re.findall(r"pictures/([\w.-]+)\)", page.read_text("utf-8"))}
    there = {path.name for path in (ROOT / "docs" / "pictures").iterdir()}
    # Those of the page come from a browser.
    assert {name for name in shown ^ there if not name.startswith("page-")} == set()
    shown, there = ({name for name in all_of if not name.startswith("page-")}
                    for all_of in (shown, there))
    assert set(names) == shown == there
    assert all(path.stat().st_size > 8000 for path in tmp_path.iterdir())
    assert all((ROOT / "docs" / "pictures" / name).stat().st_size < 200_000 for name in names)


def test_many_molecules_have_the_heats_of_the_literature():
    """AM1 heats of formation by Dewar et al., J. Am. Chem. Soc. 107, 3902 (1985), at the minima of
    the method; these are other geometries, which can only cost energy."""
    heats = {line.split()[0]: float(line.split()[1]) for line in
             example("many_molecules.py").splitlines()[:-1]}
    assert len(heats) == 20
    for name, published in {"H2O": -59.2, "NH3": -7.3, "CH4": -8.8, "C2H4": 16.5, "C2H2": 54.8,
                            "C2H6": -17.4, "H2CO": -31.5, "CO2": -79.8, "HCN": 31.0}.items():
        assert published - 0.1 < heats[name] < published + 3.5, name


def test_the_last_line_counts_the_energies():
    last = example("many_molecules.py", "cndo").splitlines()[-1]
    found = re.fullmatch(r"20 energies in ([\d.]+) s: (\d+) a second", last)
    assert 20 / float(found.group(1)) == pytest.approx(float(found.group(2)), rel=0.05)


@pytest.mark.parametrize("method", ["am1", "indo"])
def test_ammonia_is_the_same_when_it_is_turned_inside_out(method):
    rows = np.array([line.split() for line in
                     example("ase_calculator.py", method).splitlines()[2:]], dtype=float)
    height, energy, charge, dipole = rows.T
    assert len(rows) == 9 and height == pytest.approx(-height[::-1])
    assert energy == pytest.approx(energy[::-1], abs=2e-4)
    assert charge == pytest.approx(charge[::-1], abs=2e-4)
    assert dipole == pytest.approx(-dipole[::-1], abs=2e-4)
    assert energy.argmax() == 4 and (dipole[:4] < 0).all()


def test_the_frontier_orbitals_of_formaldehyde_are_n_and_pi():
    """The LUMO is made of p functions of carbon and oxygen and of nothing else."""
    lines = example("orbitals.py").splitlines()
    assert re.fullmatch(r"HOMO +-1\d\.\d+ eV", lines[0])  # ionisation energy 10.9 eV
    assert lines[5].startswith("LUMO")
    rows = [line.split() for line in lines[6:-1]]
    assert {row[0] for row in rows} == {"O1", "C2"}
    assert all(row[1] in ("2px", "2py", "2pz") for row in rows)
    assert sum(float(row[-2]) for row in rows) > 98
    gap = float(lines[-1].split()[1])
    assert gap == pytest.approx(float(lines[5].split()[1]) - float(lines[0].split()[1]), abs=2e-4)


def test_an_example_takes_another_molecule_and_method():
    assert "HOMO" in example("orbitals.py", str(ROOT / "examples" / "ferrocene.xyz"), "zindos")


def test_ferrocene_has_five_equal_bonds_to_either_ring():
    from orbitrax import read_molecule

    molecule = read_molecule(str(ROOT / "examples" / "ferrocene.xyz"))
    distances = np.linalg.norm(molecule.positions - molecule.positions[0], axis=1)
    assert molecule.formula == "C10H10Fe"
    assert distances[molecule.numbers == 6] == pytest.approx(2.064, abs=2e-6)


def test_ases_minimiser_ends_where_ours_does(tmp_path):
    from ase.io import read

    from orbitrax import Backend, Job, Optimize, from_ase

    lines = example("ase_optimise.py", str(ROOT / "examples" / "ethanol.xyz"), "am1",
                    str(tmp_path / "out.xyz")).splitlines()
    assert lines[-1].startswith("converged")
    heat = float(lines[-1].split()[1])
    molecule = from_ase(read(ROOT / "examples" / "ethanol.xyz"))
    with Backend() as backend:
        ours = backend.run(Job(molecule, "am1", Optimize(limit=0.01)))
        there = backend.run(Job(from_ase(read(tmp_path / "out.xyz")), "am1"))
    assert heat == pytest.approx(ours.heat_of_formation, abs=1e-3)
    assert there.heat_of_formation == pytest.approx(heat, abs=1e-4)
