"""A walk over neighbouring points of a molecule, each SCF from the density of the one before."""

import pytest

from orbitrax import Backend, Job, Molecule, read_molecule
from orbitrax.methods import METHODS

pytestmark = pytest.mark.timeout(60)

KEYS = [method.key for method in METHODS]
LIMIT = 1e-6  # kcal/mol, of the energy change of a cycle; what is left of the energy is its like
LEFT = 20 * LIMIT


def moved(molecule, step):
    """The molecule with its atoms moved, each another way, by about so many Angstrom."""
    xyz = [x + step * ((7 * i + 3) % 11 - 5) / 5 for i, x in enumerate(molecule.xyz)]
    return molecule.replace(positions=[xyz[i:i + 3] for i in range(0, len(xyz), 3)])


def energy(backend, molecule, method, density, **settings):
    return backend.run(Job(molecule, method, scf_start=density, scf_limit=LIMIT, **settings))


@pytest.fixture(scope="module", params=KEYS)
def pair(request):
    """A backend for walks, one for single points, and the method of both."""
    with Backend() as walking, Backend() as anew:
        yield walking, anew, request.param


@pytest.fixture
def formaldehyde(examples):
    return read_molecule(str(examples / "formaldehyde.xyz"))


@pytest.mark.parametrize("settings", [{}, {"uhf": True}, {"charge": 1, "multiplicity": 2}],
                         ids=["rhf", "uhf", "open"])
def test_a_walk_finds_the_energies_of_single_points_in_fewer_cycles(pair, formaldehyde, settings):
    walking, anew, method = pair
    energy(walking, formaldehyde, method, "leave", **settings)
    fewer = 0
    for step in (0.002, 0.005, 0.02):
        here = moved(formaldehyde, step)
        found = energy(walking, here, method, "follow", **settings)
        wanted = energy(anew, here, method, "new", **settings)
        assert found.converged and wanted.converged
        assert found.total_energy == pytest.approx(wanted.total_energy, abs=LEFT)
        assert found.gradient == pytest.approx(wanted.gradient, abs=0.01)
        fewer += wanted.scf_iterations - found.scf_iterations
    assert fewer > 0


def test_what_differs_starts_anew_to_the_last_bit(examples, formaldehyde):
    """The count of cycles tells which start it was; the energy, that nothing else was left."""
    far = moved(formaldehyde, 0.9)
    other = Molecule([7, 7, 1, 1], formaldehyde.positions)
    cases = [(far, {}), (other, {}), (formaldehyde, {"charge": 2}), (formaldehyde, {"uhf": True}),
             (formaldehyde, {"multiplicity": 3}),
             (moved(formaldehyde, 0.01), {"select": (1, 2, 3)})]
    with Backend() as backend, Backend() as anew:
        for molecule, settings in cases:
            energy(backend, formaldehyde, "am1", "leave")
            found = energy(backend, molecule, "am1", "follow", **settings)
            wanted = energy(anew, molecule, "am1", "new", **settings)
            assert found.scf_iterations == wanted.scf_iterations, settings
            assert found.total_energy == wanted.total_energy, settings


def test_nothing_is_kept_for_those_who_do_not_ask(formaldehyde):
    near = moved(formaldehyde, 0.01)
    with Backend() as backend:
        wanted = energy(backend, near, "am1", "new")
        for before in ("leave", "new"):
            energy(backend, formaldehyde, "am1", "leave")
            energy(backend, formaldehyde, "am1", before)
            found = energy(backend, near, "am1", "new")
            assert found.total_energy == wanted.total_energy
            assert found.scf_iterations == wanted.scf_iterations
        found = energy(backend, near, "am1", "follow")
        assert found.total_energy == wanted.total_energy, "the session before left nothing"
        assert energy(backend, near, "am1", "follow").scf_iterations < wanted.scf_iterations


def test_an_scf_that_did_not_converge_leaves_nothing(formaldehyde):
    near = moved(formaldehyde, 0.01)
    with Backend() as backend, Backend() as anew:
        wanted = energy(anew, near, "am1", "new")
        energy(backend, formaldehyde, "am1", "leave")
        cut = energy(backend, formaldehyde, "am1", "leave", scf_iterations=2, stability="none")
        assert not cut.converged
        assert energy(backend, near, "am1", "follow").total_energy == wanted.total_energy
