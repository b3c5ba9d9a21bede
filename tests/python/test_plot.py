"""Plots of the real backend: against Slater functions summed point by point, and by sum rules."""

import json
import os
import subprocess
import sys

import numpy as np
import pytest
import slater
from ase.build import molecule
from ase.io.cube import read_cube_data
from support import ROOT

from orbitrax import (Backend, Frame, Job, Molecule, Plot, box_around, from_ase, plane_through,
                      read_molecule)
from orbitrax.errors import InputError, UsageError
from orbitrax.grids.frame import BOHR_PER_ANGSTROM

pytestmark = pytest.mark.timeout(120)

ENVIRONMENT = {**os.environ, "PYTHONPATH": str(ROOT / "python")}
BOHR = 1 / float(BOHR_PER_ANGSTROM)


class Run:
    """A calculation, its Slater functions, and the backend that still holds it."""

    def __init__(self, job, table):
        self.backend = Backend()
        job = job.replace(eigenvectors=True)
        self.result = self.backend.run(job)
        atoms = job.molecule
        self.basis = slater.functions(atoms.numbers, atoms.positions / BOHR, table, atoms.symbols)
        self.positions, self.job = atoms.positions, job

    def orbital(self, number, points, spin="alpha"):
        return slater.orbital(self.basis, self.result.eigenvectors[spin][number - 1], points)

    def matrix(self, spin="alpha"):
        """The density matrix of one spin, both together in a restricted calculation."""
        vectors = self.result.eigenvectors[spin]
        n = len(vectors)
        part = slice(n, 2 * n) if spin == "beta" else slice(0, n)
        return vectors.T @ (self.result.occupancies[part, None] * vectors)


def points_of(frame):
    """The places of a frame's points, bohr."""
    return frame.first + np.stack(np.indices(frame.counts), axis=-1) @ frame.steps


def skewed():
    """HOF-like: no two axes look alike, so that none can be taken for another."""
    return Molecule([8, 9, 1], [[0.1, -0.2, 0.3], [1.3, 0.4, -0.1], [-0.3, 0.1, 1.2]])


SYSTEMS = {
    "hydrogen": lambda: Job(Molecule([1, 1], [[0, 0, 0], [0.3, 0.4, 0.5]]), "am1"),
    "water": lambda: Job(read_molecule(str(ROOT / "examples/water.xyz")), "am1"),
    "skewed": lambda: Job(skewed(), "am1"),
    "methyl": lambda: Job(from_ase(molecule("CH3")), "am1", uhf=True),
    "methyl, restricted": lambda: Job(from_ase(molecule("CH3")), "am1"),
    "chloride": lambda: Job(Molecule([17, 1], [[0, 0, 0], [0.4, 1.2, 0.2]]), "am1"),
}


@pytest.fixture(scope="module")
def runs():
    made = {}

    def run(name):
        if name not in made:
            made[name] = Run(SYSTEMS[name](), "am1_1.abp")
        return made[name]

    yield run
    for one in made.values():
        one.backend.close()


# ---- orbitals -----------------------------------------------------------------------------------


@pytest.mark.parametrize("name", SYSTEMS)
def test_every_orbital_is_its_sum_of_slater_functions(runs, name):
    run = runs(name)
    frame = box_around(run.positions, 1.7, 9)
    for number in range(1, len(run.basis) + 1):
        grid = run.backend.plot(str(number), frame)
        exact = run.orbital(number, points_of(frame))
        assert np.abs(exact).max() > 0.05
        assert grid.values == pytest.approx(exact, abs=3e-5)
        squared = run.backend.plot(Plot(str(number), squared=True), frame)
        assert squared.values == pytest.approx(exact ** 2, abs=3e-5)


def test_orbitals_that_a_job_did_not_ask_for_are_those_of_one_that_did():
    """Of a large molecule without symmetry the backend solves for them when they are plotted."""
    caffeine = read_molecule(str(ROOT / "examples/caffeine.xyz"))
    bent = caffeine.positions + 0.02 * np.sin(np.arange(72)).reshape(24, 3)
    job = Job(Molecule(caffeine.numbers, bent), "am1")
    asked = Run(job, "am1_1.abp")
    frame = box_around(asked.positions, 0.5, 9)
    with Backend() as backend:
        result = backend.run(job)
        assert len(asked.basis) == 66
        assert result.orbital_energies == pytest.approx(asked.result.orbital_energies, abs=1e-9)
        for what in ("homo", "lumo", "1"):
            grid = backend.plot(what, frame)
            exact = asked.orbital(grid.orbital[0], points_of(frame))
            assert np.abs(exact).max() > 0.05
            assert grid.values == pytest.approx(exact, abs=1e-4)
    asked.backend.close()


@pytest.mark.parametrize("method,table", [
    ("cndo", "cindo.abp"), ("indo", "cindo.abp"), ("mindo3", "mindo3_1.abp"),
    ("mndo", "mndo_1.abp"), ("pm3", "pm3_1.abp"), ("zindo1", "zindo1_1.abp"),
    ("zindos", "zindos_1.abp"), ("mndod", "mndod_1.abp")])
def test_every_method_has_its_own_functions(method, table):
    run = Run(Job(skewed(), method), table)
    frame = box_around(run.positions, 1.7, 8)
    for what in ("homo", "lumo", "1"):
        grid = run.backend.plot(what, frame)
        exact = run.orbital(grid.orbital[0], points_of(frame))
        assert np.abs(exact).max() > 0.05
        assert grid.values == pytest.approx(exact, abs=3e-5)
    density = run.backend.plot("density", frame).values
    exact = slater.density(run.basis, run.matrix(), points_of(frame))
    run.backend.close()
    assert density == pytest.approx(exact, abs=1e-4)


@pytest.mark.parametrize("plane", ["1,2,3", "1,3,2=0.6", "xz=0.2", "molecule=0.5"])
def test_a_tilted_plane_lies_where_it_should(runs, plane):
    run = runs("skewed")
    frame = plane_through(run.positions, plane, 1.5, 15)
    grid = run.backend.plot("homo", frame)
    assert grid.values == pytest.approx(run.orbital(grid.orbital[0], points_of(frame)), abs=3e-5)


@pytest.mark.parametrize("name", ["water", "skewed", "methyl", "methyl, restricted"])
@pytest.mark.parametrize("beta", [False, True])
def test_homo_and_lumo_are_the_orbitals_that_the_title_says(runs, name, beta):
    """The backend finds the orbital by its own count of electrons, the client by occupancies."""
    run = runs(name)
    frame = box_around(run.positions, 1.5, 8)
    spin = "beta" if beta and run.job.uhf else "alpha"
    numbers = []
    for what in ("homo", "lumo", "homo-1", "lumo+1", "homo+1", "lumo-1"):
        grid = run.backend.plot(Plot(what, beta=beta), frame)
        number, energy = grid.orbital
        exact = run.orbital(number, points_of(frame), spin)
        assert grid.values == pytest.approx(exact, abs=3e-5), what
        numbers.append(number)
    homo = numbers[0]
    assert numbers == [homo, homo + 1, homo - 1, homo + 2, homo + 1, homo]
    electrons = run.job.electrons
    expected = {"methyl": (4, 3), "methyl, restricted": (4, 3)}.get(name, (electrons // 2,) * 2)
    assert homo == expected[beta]


@pytest.mark.parametrize("what, name", [("0", "orbital 0"), ("7", "orbital 7"),
                                        ("1000000", "orbital 1000000"), ("homo-4", "HOMO-4"),
                                        ("lumo+2", "LUMO\\+2")])
def test_an_orbital_out_of_range_is_refused_with_those_that_exist(runs, what, name):
    run = runs("water")
    with pytest.raises(InputError, match=f"^there is no {name}: there are the orbitals 1 to 6, of "
                                         "which 4 is the HOMO$"):
        run.backend.plot(what, box_around(run.positions, 1.0, 5))


@pytest.mark.parametrize("charge, beta, what, words", [
    (0, False, "lumo", "alpha LUMO: there are the orbitals 1 to 1, all of them filled"),
    (0, True, "homo", "beta HOMO: there are the orbitals 1 to 1, none of them filled"),
    (1, False, "homo", "HOMO: there are the orbitals 1 to 1, none of them filled")])
def test_an_atom_of_one_orbital_has_not_both(charge, beta, what, words):
    with Backend() as backend:
        backend.run(Job(Molecule([1], [[0, 0, 0]]), "am1", charge=charge))
        with pytest.raises(InputError, match=f"^there is no {words}$"):
            backend.plot(Plot(what, beta=beta))


def test_a_second_calculation_is_plotted_from_itself():
    first, second = SYSTEMS["water"](), SYSTEMS["skewed"]()
    frame = box_around(skewed().positions, 1.5, 8)
    with Backend() as backend:
        backend.run(second)
        alone = backend.plot("homo", frame).values
        backend.run(first)
        assert not np.allclose(backend.plot("homo", frame).values, alone, atol=1e-3)
        backend.run(second)
        assert backend.plot("homo", frame).values == pytest.approx(alone, abs=1e-5)


def test_a_job_that_failed_leaves_nothing_of_the_one_before():
    with Backend() as backend:
        backend.run(SYSTEMS["water"]())
        assert backend.plot("homo").orbital[0] == 4
        with pytest.raises(InputError):
            backend.run(Job(SYSTEMS["water"]().molecule, "am1", multiplicity=2))
        with pytest.raises(UsageError, match="run a job on this backend first"):
            backend.plot("homo")


# ---- densities ----------------------------------------------------------------------------------


@pytest.mark.parametrize("name", ["hydrogen", "water", "skewed", "methyl"])
def test_the_density_is_the_sum_of_its_one_centre_terms(runs, name):
    run = runs(name)
    frame = box_around(run.positions, 1.7, 9)
    matrix = run.matrix() + (run.matrix("beta") if run.job.uhf else 0)
    grid = run.backend.plot("density", frame)
    assert grid.values == pytest.approx(slater.density(run.basis, matrix, points_of(frame)),
                                        abs=1e-4)


def test_the_spin_density_of_a_radical_is_that_of_its_odd_electrons(runs):
    run = runs("methyl")
    frame = box_around(run.positions, 1.7, 9)
    exact = slater.density(run.basis, run.matrix() - run.matrix("beta"), points_of(frame))
    assert run.backend.plot("spin-density", frame).values == pytest.approx(exact, abs=1e-4)
    fine = box_around(run.positions, 5.0, 70)
    values = run.backend.plot("spin-density", fine).values
    assert values.astype(float).sum() * fine.steps[0, 0] ** 3 == pytest.approx(1, abs=0.01)


def test_the_spin_density_of_a_closed_shell_is_zero(runs):
    run = runs("water")
    assert run.backend.plot("spin-density", box_around(run.positions, 1.0, 6)).is_zero


# ---- potential ----------------------------------------------------------------------------------


def test_the_potential_far_away_is_that_of_charges_and_dipole(runs):
    """Of a neutral molecule: mu . r / r^3. Its dipole is the one reported."""
    run = runs("water")
    frame = Frame([0.7, 0.4, 30.0], [3.0, 0, 0], [0, 3.0, 0], (4, 4, 4))
    grid = run.backend.plot("potential", frame)
    places = points_of(frame) - run.positions.mean(axis=0) / BOHR
    distance = np.linalg.norm(places, axis=-1)
    dipole = run.result.dipole[:3] / 2.541746
    assert grid.values == pytest.approx(places @ dipole / distance ** 3, rel=0.05, abs=2e-6)


def test_a_potential_comes_with_the_density_of_the_same_points(runs):
    run = runs("skewed")
    frame = box_around(run.positions, 1.5, 9)
    grid = run.backend.plot("potential", frame)
    alone = run.backend.plot("density", frame)
    assert grid.density == pytest.approx(alone.values, rel=1e-4)


# ---- calculator and command line ----------------------------------------------------------------


def test_the_ase_calculator_plots_what_it_calculated():
    from orbitrax.ase import Orbitrax

    with Orbitrax(method="am1") as calc:
        atoms = molecule("H2O")
        atoms.calc = calc
        atoms.get_potential_energy()
        grid = calc.plot("homo")
        assert grid.title.startswith("HOMO (orbital 4, -12.")
        norm = (grid.values.astype(float) ** 2).sum() * grid.frame.steps[0, 0] ** 3
        assert norm == pytest.approx(1, abs=0.01)  # a p function of oxygen alone
        with pytest.raises(Exception, match="there is no "):
            calc.plot("99")


def orbitrax(*arguments):
    return subprocess.run([sys.executable, "-m", "orbitrax", *map(str, arguments)], cwd=ROOT,
                          capture_output=True, text=True, timeout=60, env=ENVIRONMENT)


def test_a_cube_from_the_command_line_is_the_orbital(tmp_path):
    path = tmp_path / "lumo.cube"
    done = orbitrax("plot", "examples/formaldehyde.xyz", "-m", "am1", "--orbital", "lumo",
                    "--points", 24, "-o", path)
    assert (done.returncode, done.stderr) == (0, "")
    values, atoms = read_cube_data(str(path))
    assert atoms.get_chemical_symbols() == ["O", "C", "H", "H"]
    numbers, places = atoms.numbers, atoms.positions * 1.8897261
    grid = np.stack(np.indices(values.shape), axis=-1) @ (
        atoms.cell[:] / np.array(values.shape)[:, None] * 1.8897261)
    with open(path, encoding="ascii") as file:
        origin = np.array(file.read().splitlines()[2].split()[1:], float)
    run = Run(Job(read_molecule(str(ROOT / "examples/formaldehyde.xyz")), "am1"), "am1_1.abp")
    run.backend.close()
    basis = slater.functions(numbers, places, "am1_1.abp", atoms.get_chemical_symbols())
    lumo = slater.orbital(basis, run.result.eigenvectors["alpha"][6], grid + origin)
    assert values == pytest.approx(lumo, abs=1e-4)


@pytest.mark.parametrize("arguments", [
    ("--orbital", "homo"), ("--density",), ("--potential",), ("--orbital", "lumo", "--squared"),
    ("--orbital", "homo", "--plane", "1,2,3"), ("--potential", "--plane", "1,2,3=0.2")])
def test_pictures_of_all_kinds_are_drawn(arguments, tmp_path):
    done = orbitrax("plot", "examples/formaldehyde.xyz", "-m", "am1", *arguments, "--points", 25,
                    "--width", 300, "-o", tmp_path / "a.png", "--json")
    assert (done.returncode, done.stderr) == (0, "")
    assert json.loads(done.stdout)["plot"]["file"].endswith("a.png")
    assert (tmp_path / "a.png").stat().st_size > 8000


def test_the_spin_density_of_a_closed_shell_is_no_picture(tmp_path):
    done = orbitrax("plot", "examples/water.xyz", "-m", "am1", "--spin-density", "--points", 12,
                    "-o", tmp_path / "a.png")
    assert done.returncode == 1 and list(tmp_path.iterdir()) == []
    assert "zero everywhere, as the molecule has no unpaired electrons" in done.stderr
    done = orbitrax("plot", "examples/water.xyz", "-m", "am1", "--spin-density", "--points", 12,
                    "-o", tmp_path / "a.cube")
    assert done.returncode == 0 and "warning: the spin density is zero everywhere" in done.stderr
