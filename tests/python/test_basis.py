"""The Slater basis of a job: which functions there are, in which order, and their overlap."""

from math import factorial, pi, sqrt

import numpy as np
import pytest
from molden_file import _harmonics

from orbitrax import Backend, Job, Molecule, read_molecule, slater_basis
from orbitrax.orbitals.basis import Basis, Shell
from orbitrax.units import CODATA_ANGSTROM_PER_BOHR as BOHR
from orbitrax.molecules.elements import valence_electrons
from orbitrax.errors import InputError, UsageError
from orbitrax.methods import METHODS, find_method
from orbitrax.tables import load_parameters

pytestmark = pytest.mark.timeout(120)


# ---- which functions ----------------------------------------------------------------------------


@pytest.mark.parametrize("method", [method.key for method in METHODS])
def test_every_element_has_as_many_orbitals_as_the_backend_gives_it(method):
    tables, counts = load_parameters(method), set()
    with Backend() as backend:
        for number in sorted(tables.elements):
            job = Job(Molecule([number], [[0.0, 0.0, 0.0]]), method, scf_iterations=2, rhf=True,
                      charge=max(0, valence_electrons(number) - 1))
            result = backend.run(job)
            assert len(slater_basis(job, tables)) == len(result.orbital_energies), number
            counts.add(len(result.orbital_energies))
    assert counts == ({1, 4, 9} if method in ("zindo1", "zindos", "mndod") else {1, 4})


def test_orbitals_are_named_in_the_order_of_the_eigenvectors(examples):
    job = Job(read_molecule(str(examples / "ferrocene.xyz")), "zindos")
    basis = slater_basis(job)
    assert basis.labels[:10] == ["Fe1 4s", "Fe1 4px", "Fe1 4py", "Fe1 4pz", "Fe1 3dz2", "Fe1 3dxz",
                                 "Fe1 3dyz", "Fe1 3dx2-y2", "Fe1 3dxy", "C2 2s"]
    assert basis.labels[-1] == "H21 1s"
    assert basis.atoms.tolist()[:10] == [0] * 9 + [1] and basis.atoms[-1] == 20


def test_exponents_are_those_of_the_tables():
    """Of the double-zeta d functions two, with their coefficients."""
    for method, number, wanted in (
            ("am1", 6, [(2, 0, ((1.0, 1.808665),)), (2, 1, ((1.0, 1.685116),))]),
            ("zindo1", 26, [(4, 0, ((1.0, 1.37),)), (4, 1, ((1.0, 1.37),)),
                            (3, 2, ((0.40379, 6.06828), (0.71984, 2.61836)))]),
            ("mndod", 17, [(3, 0, ((1.0, 2.5616106),)), (3, 1, ((1.0, 2.389338),)),
                           (3, 2, ((1.0, 1.2513978),))]),
            ("cndo", 1, [(1, 0, ((1.0, 1.2),))])):
        shells = slater_basis(Job(Molecule([number], [[0.0] * 3]), method, charge=0,
                                  multiplicity=1)).shells
        assert [(s.n, s.l, s.terms) for s in shells] == wanted, method


def test_only_selected_and_capping_atoms_have_orbitals(examples):
    """Ethanol: the methyl group is selected, and its neighbour ends the bond."""
    ethanol = read_molecule(str(examples / "ethanol.xyz"))
    job = Job(ethanol, "am1", select=[1, 7, 8, 9])
    assert len(job.capping) == 1
    basis, cap = slater_basis(job), job.capping[0]
    inside = [0, cap, 6, 7, 8]
    assert sorted(set(basis.atoms.tolist())) == inside
    shells = [shell for shell in basis.shells if shell.atom == cap]
    assert [(shell.n, shell.l) for shell in shells] == [(2, 0), (2, 1)]
    with Backend() as backend:
        result = backend.run(job)
    assert len(result.orbital_energies) == len(basis)


def test_a_capping_hydrogen_has_a_second_shell():
    water = Molecule([8, 1, 1], [[0, 0, 0], [0.96, 0, 0], [-0.24, 0.93, 0]])
    job = Job(water, "am1", select=[1, 2])
    assert job.capping == [2]
    assert slater_basis(job).labels[-4:] == ["H3 2s", "H3 2px", "H3 2py", "H3 2pz"]


def test_a_metal_without_d_parameters_has_four_orbitals_in_these_methods():
    class Tables:
        method = find_method("am1")

        @staticmethod
        def value(name, number, capping=False):
            return 0.0 if name.upper().endswith("D") else 1.5

    iron = Job(Molecule([26], [[0.0] * 3]), "am1", charge=0, multiplicity=1)
    assert slater_basis(iron, Tables).labels == ["Fe1 4s", "Fe1 4px", "Fe1 4py", "Fe1 4pz"]


def test_a_dummy_has_no_orbitals():
    job = Job(Molecule([1, 0, 1], [[0, 0, 0], [0, 0, 0.37], [0, 0, 0.74]]), "am1")
    assert slater_basis(job).labels == ["H1 1s", "H3 1s"]


def test_tables_of_another_method_are_refused(water):
    with pytest.raises(UsageError, match="PM3.*AM1"):
        slater_basis(Job(water, "am1"), load_parameters("pm3"))


def test_an_element_without_functions_is_refused(water):
    job = Job(water.replace(numbers=[92, 1, 1]), "am1", charge=0)
    with pytest.raises(InputError, match=r"atom 1 \(U\).*AM1"):
        slater_basis(job)


# ---- eigenvectors -------------------------------------------------------------------------------


@pytest.mark.parametrize("method,settings", [
    ("am1", {}), ("zindos", {}), ("cndo", {"charge": 1, "multiplicity": 2}),
    ("pm3", {"charge": 1, "multiplicity": 2, "uhf": True}),
    ("mindo3", {"multiplicity": 3})])
def test_eigenvectors_are_orthonormal_and_hold_the_populations(examples, method, settings):
    """The populations come from the density, by another way."""
    job = Job(read_molecule(str(examples / "formaldehyde.xyz")), method, eigenvectors=True,
              **settings)
    with Backend() as backend:
        result = backend.run(job)
    n, populations = len(slater_basis(job)), []
    occupancies = result.occupancies.reshape(-1, n)
    assert list(result.eigenvectors) == ["alpha", "beta"][:len(occupancies)]
    for spin, filled in zip(result.eigenvectors.values(), occupancies):
        assert spin.shape == (n, n)
        assert spin @ spin.T == pytest.approx(np.eye(n), abs=1e-6)
        populations.append(filled @ spin ** 2)
    assert np.concatenate(populations) == pytest.approx(result.orbital_populations, abs=2e-6)
    assert np.sum(populations) == pytest.approx(job.electrons, abs=2e-6)
    energies = result.orbital_energies.reshape(-1, n)
    assert (np.diff(energies, axis=1) >= 0).all()


def test_orbitals_follow_the_atoms_when_these_are_renumbered(examples):
    """Ethanol, distorted so that no two levels are alike."""
    ethanol = read_molecule(str(examples / "ethanol.xyz"))
    positions = ethanol.positions + 0.03 * np.sin(np.arange(27)).reshape(9, 3)
    order = np.array([8, 0, 5, 2, 1, 7, 3, 6, 4])
    found = []
    with Backend() as backend:
        for numbers in (np.arange(9), order):
            job = Job(Molecule(ethanol.numbers[numbers], positions[numbers]), "am1",
                      eigenvectors=True, scf_limit=1e-9)
            found.append((backend.run(job), slater_basis(job)))
    (first, basis), (second, other) = found
    column = {}
    for k, (atom, name) in enumerate(zip(other.atoms, other.labels)):
        column[order[atom], name.split()[1]] = k
    columns = [column[atom, name.split()[1]] for atom, name in zip(basis.atoms, basis.labels)]
    assert second.orbital_energies == pytest.approx(first.orbital_energies, abs=1e-4)
    one, two = first.eigenvectors["alpha"], second.eigenvectors["alpha"][:, columns]
    signs = np.sign(np.sum(one * two, axis=1))
    assert one == pytest.approx(two * signs[:, None], abs=1e-3)


# ---- overlap ------------------------------------------------------------------------------------

R = 3.0  # bohr


def pair(*shells):
    """Overlap of shells on two atoms on the z axis, R apart."""
    basis = Basis(["H", "H"], [Shell(i, *shell) for i, shell in enumerate(shells)])
    return basis.overlap(np.array([[0, 0, 0], [0, 0, R * BOHR]]))


def slater(shell, d):
    """Values of the functions of a shell at points relative to its atom."""
    n, l, terms = shell
    r = np.sqrt(np.sum(d ** 2, axis=0))
    radial = sum(c * (2 * zeta) ** (n + 0.5) / sqrt(factorial(2 * n)) * r ** (n - 1 - l)
                 * np.exp(-zeta * r) for c, zeta in terms)
    return np.array([radial * harmonic for harmonic in _harmonics(l, *d)])


def exact(a, b):
    """Overlap of two shells in prolate spheroidal coordinates: mu > 1, |nu| < 1, phi."""
    x, wx = np.polynomial.laguerre.laggauss(40)
    y, wy = np.polynomial.legendre.leggauss(60)
    phi = np.arange(8) * pi / 4
    scale = 1.5  # of the exponents of these tests
    mu, nu, phi = np.meshgrid(1 + x / (scale * R), y, phi, indexing="ij")
    weight = np.multiply.outer(np.multiply.outer(wx * np.exp(x) / (scale * R), wy),
                               np.full(8, pi / 4))
    rho = R / 2 * np.sqrt((mu ** 2 - 1) * (1 - nu ** 2))
    at = np.array([rho * np.cos(phi), rho * np.sin(phi), R / 2 * (1 + mu * nu)])
    from_b = at - np.array([0.0, 0.0, R])[:, None, None, None]
    volume = weight * (R / 2) ** 3 * (mu ** 2 - nu ** 2)
    return np.einsum("uijk,vijk,ijk->uv", slater(a, at), slater(b, from_b), volume)


PAIRS = [((1, 0, ((1.0, 1.3),)), (1, 0, ((1.0, 1.7),))),
         ((2, 1, ((1.0, 1.3),)), (1, 0, ((1.0, 1.7),))),
         ((2, 0, ((1.0, 1.3),)), (2, 1, ((1.0, 1.7),))),
         ((3, 2, ((1.0, 1.3),)), (3, 2, ((1.0, 1.7),))),
         ((3, 1, ((1.0, 1.9),)), (3, 2, ((1.0, 1.1),))),
         ((4, 0, ((1.0, 1.37),)), (3, 2, ((0.4, 2.9), (0.72, 1.6)))),
         ((5, 1, ((1.0, 2.0),)), (6, 0, ((1.0, 2.1),))),
         ((5, 2, ((1.0, 1.5),)), (2, 1, ((1.0, 1.7),)))]


@pytest.mark.parametrize("a,b", PAIRS, ids=lambda shell: f"{shell[0]}{'spd'[shell[1]]}")
def test_overlap_is_that_of_the_slater_functions(a, b):
    """The expansions err by a millionth in the mean square, which is a thousandth in the mean."""
    n, terms = a[0], b[2]
    norm = sqrt(sum(c1 * c2 * (2 * sqrt(z1 * z2) / (z1 + z2)) ** (2 * b[0] + 1)
                    for c1, z1 in terms for c2, z2 in terms))
    block = pair(a, b)[:2 * a[1] + 1, 2 * a[1] + 1:]
    assert block == pytest.approx(exact(a, b) / norm, abs=1.5e-4), n


def test_overlap_of_single_functions_is_that_of_the_formulas():
    """1s and 1s, R. S. Mulliken et al., J. Chem. Phys. 17, 1248 (1949), for equal exponents."""
    p = 1.4 * R
    s = pair((1, 0, ((1.0, 1.4),)), (1, 0, ((1.0, 1.4),)))[0, 1]
    assert s == pytest.approx(np.exp(-p) * (1 + p + p * p / 3), abs=2e-5)


def test_functions_of_one_atom_are_orthonormal():
    for method, number in (("zindos", 26), ("mndod", 53), ("pm3", 83)):
        basis = slater_basis(Job(Molecule([number], [[0.1, 0.2, 0.3]]), method, charge=0,
                                 multiplicity=1 + valence_electrons(number) % 2))
        assert basis.overlap(np.array([[0.1, 0.2, 0.3]])) == pytest.approx(
            np.eye(len(basis)), abs=1e-12)


def test_overlap_does_not_depend_on_how_shells_are_taken_together(examples, monkeypatch):
    from orbitrax.orbitals import gaussian

    molecule = read_molecule(str(examples / "ferrocene.xyz"))
    basis = slater_basis(Job(molecule, "zindos"))
    whole = basis.overlap(molecule.positions)
    monkeypatch.setattr(gaussian, "_STRIP", 500)
    assert basis.overlap(molecule.positions) == pytest.approx(whole, abs=1e-14)
    assert (np.linalg.eigvalsh(whole) > 0).all()
