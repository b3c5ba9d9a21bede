"""Molden files, read back by a reader of the tests' own."""

import os

import numpy as np
import pytest
from molden_file import MoldenFile
from support import ROOT

from orbitrax import Backend, Job, Molecule, Optimize, read_molecule, slater_basis, write_molden
from orbitrax.units import CODATA_ANGSTROM_PER_BOHR as BOHR
from orbitrax.units import CODATA_EV_PER_HARTREE as EV_PER_HARTREE
from orbitrax.errors import OrbitraxError, UsageError
from orbitrax.orbitals.molden import molden_text, orbitals_in_space

pytestmark = pytest.mark.timeout(120)


def hydrogen_halide(number, distance):
    along = distance * np.array([0.6, 0.0, -0.8])
    return Molecule([1, number], [[0.1, 0.2, 0.3], along + [0.1, 0.2, 0.3]])


def example(name):
    return read_molecule(str(ROOT / "examples" / f"{name}.xyz"))


JOBS = {
    "water": lambda: Job(example("water"), "am1"),
    "caffeine": lambda: Job(example("caffeine"), "pm3"),
    "ammonium": lambda: Job(example("ammonium"), "indo"),
    "ferrocene": lambda: Job(example("ferrocene"), "zindos"),
    "carbonyl": lambda: Job(example("iron_carbonyl"), "zindo1", level_shift_start=0),
    "radical": lambda: Job(example("nitrogen_dioxide"), "mndo", uhf=True),
    "half-electron": lambda: Job(example("nitrogen_dioxide"), "cndo", rhf=True),
    "triplet": lambda: Job(example("formaldehyde"), "mindo3", multiplicity=3, rhf=True),
    "chloride": lambda: Job(hydrogen_halide(17, 1.27), "mndod"),
    "iodide": lambda: Job(hydrogen_halide(53, 1.60), "mndod"),
    "part": lambda: Job(example("ethanol"), "am1", select=[1, 7, 8, 9]),
}
PUBLIC = {"water": 8, "caffeine": 74, "ammonium": 8, "ferrocene": 58, "carbonyl": 58,
          "radical": 17, "half-electron": 17, "triplet": 12, "chloride": 8, "iodide": 8,
          "part": 14}  # valence electrons, counted by hand; of the part 4 + 3 + 7


@pytest.fixture(scope="module")
def done():
    """Each job and its result, run when first asked for."""
    found = {}

    def run(name):
        if name not in found:
            job = JOBS[name]().replace(eigenvectors=True)
            with Backend() as backend:
                found[name] = job, backend.run(job)
        return found[name]

    return run


def written(job, result, **options):
    return MoldenFile(molden_text(result, slater_basis(job), **options))


# ---- orbitals -----------------------------------------------------------------------------------


@pytest.mark.parametrize("name", JOBS)
def test_the_density_of_a_file_holds_the_electrons(done, name):
    """By the overlap of the file's own Gaussian functions, as the tests compute it."""
    file = written(*done(name))
    assert file.electrons() == pytest.approx(PUBLIC[name], abs=1e-6)
    assert sum(file.occupations(spin).sum() for spin in file.spins) == PUBLIC[name]


@pytest.mark.parametrize("name", JOBS)
def test_the_orbitals_of_a_file_are_orthonormal(done, name):
    """Beyond the 1e-7 of the single precision in which they come."""
    file = written(*done(name))
    s = file.overlap()
    for spin in file.spins:
        c = file.orbitals(spin)
        assert c @ s @ c.T == pytest.approx(np.eye(len(c)), abs=5e-9)


@pytest.mark.parametrize("name", ["water", "radical", "ferrocene"])
def test_raw_orbitals_are_the_eigenvectors(done, name):
    job, result = done(name)
    file = written(job, result, raw=True)
    for spin, matrix in result.eigenvectors.items():
        assert file.orbitals(spin.capitalize()) == pytest.approx(matrix, abs=1e-10)
    assert "raw orbitals" in file.title and "S^-1/2" not in file.title
    assert abs(file.electrons() - PUBLIC[name]) > 0.5  # they know nothing of overlap


def test_orbitals_in_space_are_nearest_to_the_raw_ones(done):
    """Among all orthonormal sets: the overlap of raw and orthonormal ones is symmetric in the
    functions and positive."""
    job, result = done("caffeine")
    basis = slater_basis(job)
    raw = result.eigenvectors["alpha"]
    turn = raw.T @ orbitals_in_space(result, basis)["alpha"]
    assert turn == pytest.approx(turn.T, abs=1e-6)
    assert (np.linalg.eigvalsh(turn) > 0).all()


def test_amplitudes_are_those_of_slater_functions(done):
    """At points not too near a nucleus, where a Gaussian function has no cusp."""
    from slater import functions, orbital

    job, result = done("caffeine")
    file = written(job, result, raw=True)
    places = job.molecule.positions / BOHR
    points = np.random.default_rng(5).uniform(places.min(axis=0) - 3, places.max(axis=0) + 3,
                                              (400, 3))
    away = np.linalg.norm(points[:, None] - places, axis=2).min(axis=1) > 0.4
    basis = functions(job.molecule.numbers, places, "pm3_1.abp", job.molecule.symbols)
    ours = file.orbitals() @ file.values(points[away])
    exact = np.array([orbital(basis, vector, points[away])
                      for vector in result.eigenvectors["alpha"]])
    assert np.abs(exact).max() > 0.2
    assert ours == pytest.approx(exact, abs=2e-3)
    assert np.sqrt(np.mean((ours - exact) ** 2)) < 2e-4


def test_energies_and_occupations_of_both_spins(done):
    job, result = done("radical")
    file = written(job, result)
    assert list(file.spins) == ["Alpha", "Beta"]
    both = np.concatenate([file.energies("Alpha"), file.energies("Beta")])
    assert both * EV_PER_HARTREE == pytest.approx(result.orbital_energies, abs=1e-8)
    assert file.occupations("Alpha").tolist() == [1.0] * 9 + [0.0] * 3
    assert file.occupations("Beta").tolist() == [1.0] * 8 + [0.0] * 4


def test_open_levels_of_a_restricted_calculation_hold_one_electron(done):
    assert written(*done("half-electron")).occupations().tolist() == [2] * 8 + [1] + [0] * 3
    assert written(*done("triplet")).occupations().tolist() == [2] * 5 + [1, 1] + [0] * 3


def test_levels_without_symmetry_are_numbered(done):
    job, result = done("water")
    known = ["1A1", "1B2", "2A1", "1B1", "3A1", "2B2"]
    assert result.orbital_symmetries == known == written(job, result).labels()
    try:
        result.orbital_symmetries = None
        assert written(job, result).labels() == [f"{k}a" for k in range(1, 7)]
        result.orbital_symmetries = ["1A1", "1B2", "2A1", "1B1", "0?", "2B2"]
        assert written(job, result).labels() == ["1A1", "1B2", "2A1", "1B1", "5a", "2B2"]
    finally:
        result.orbital_symmetries = known


# ---- atoms --------------------------------------------------------------------------------------


def test_a_file_says_what_it_holds(done):
    file = written(*done("radical"))
    assert file.title == ("NO2 MNDO UHF, charge 0, multiplicity 2; orbitals times S^-1/2; STO-6G")
    assert file.symbols == ["N", "O", "O"] and file.numbers == [7, 8, 8]
    assert file.positions * BOHR == pytest.approx(done("radical")[0].molecule.positions, abs=1e-9)


def test_atoms_outside_the_selection_are_there_without_functions(done):
    job, result = done("part")
    file = written(job, result)
    assert file.symbols == job.molecule.symbols
    assert {shell[0] for shell in file.shells} == {0, 6, 7, 8, *job.capping}


def test_an_unconverged_calculation_is_called_so(done):
    job = Job(example("formaldehyde"), "am1", scf_iterations=2, eigenvectors=True)
    with Backend() as backend:
        file = written(job, backend.run(job))
    assert "NOT CONVERGED" in file.title and file.electrons() == pytest.approx(12, abs=1e-6)


def test_a_search_ends_with_the_orbitals_of_its_last_structure():
    job = Job(example("water"), "am1", Optimize(eigenvectors=True))
    with Backend() as backend:
        result = backend.run(job)
        again = Job(Molecule(job.molecule.numbers, result.coordinates), "am1",
                    eigenvectors=True, scf_limit=1e-9)
        single = backend.run(again)
    file = written(job, result)
    assert file.positions * BOHR == pytest.approx(result.coordinates, abs=1e-9)
    assert np.abs(result.coordinates - job.molecule.positions).max() > 1e-3
    assert np.abs(file.orbitals()) == pytest.approx(np.abs(written(again, single).orbitals()),
                                                    abs=1e-3)


# ---- what cannot be written ---------------------------------------------------------------------


def test_a_result_without_eigenvectors_is_refused(done, tmp_path):
    job, result = done("water")
    kept, result.eigenvectors = result.eigenvectors, None
    try:
        with pytest.raises(UsageError, match="eigenvectors"):
            write_molden(str(tmp_path / "a.molden"), job, result)
    finally:
        result.eigenvectors = kept
    assert os.listdir(tmp_path) == []


def test_a_result_of_another_job_is_refused(done):
    with pytest.raises(UsageError, match="6 orbitals.* 66 x 66"):
        molden_text(done("caffeine")[1], slater_basis(done("water")[0]))
    with pytest.raises(UsageError, match="66 orbitals.* 6 x 6"):
        molden_text(done("water")[1], slater_basis(done("caffeine")[0]), raw=True)


def test_vectors_that_are_not_orthonormal_are_refused(done):
    job, result = done("water")
    kept = result.eigenvectors
    result.eigenvectors = {"alpha": np.zeros((6, 6))}
    try:
        with pytest.raises(OrbitraxError, match="alpha eigenvectors are not orthonormal"):
            molden_text(result, slater_basis(job))
    finally:
        result.eigenvectors = kept


def test_functions_in_one_place_have_no_orthonormal_orbitals(done):
    """The raw orbitals can be written all the same."""
    job, result = done("water")
    kept, result.coordinates = result.coordinates, result.coordinates * 1e-5
    try:
        with pytest.raises(OrbitraxError, match="linear dependence.*write the raw ones"):
            molden_text(result, slater_basis(job))
        assert written(job, result, raw=True).orbitals().shape == (6, 6)
    finally:
        result.coordinates = kept


def test_a_file_is_written_whole_or_not_at_all(done, tmp_path):
    path = tmp_path / "water.molden"
    path.write_text("as before")
    job, result = done("water")
    with pytest.raises(UsageError):
        write_molden(str(path), job, done("caffeine")[1])
    assert path.read_text() == "as before" and os.listdir(tmp_path) == ["water.molden"]
    write_molden(str(path), job, result)
    assert path.read_text() == molden_text(result, slater_basis(job))
    with pytest.raises(UsageError, match="no file can be written"):
        write_molden(str(tmp_path / "none" / "a.molden"), job, result)
    with pytest.raises(OrbitraxError, match="/dev/full: cannot be written: No space"):
        write_molden("/dev/full", job, result)
