"""The task `vibrations` against other programs, closed forms and identities."""

from __future__ import annotations

import itertools
import math
from collections import defaultdict

import numpy as np
import pytest
from orbitrax import Backend, Job, Molecule, read_molecule
from orbitrax.errors import NotConverged, SettingError, UsageError
from orbitrax.tasks.vibrations import Vibrations
from orbitrax.vibrations.gas import GasOfResult, symmetry_number
from orbitrax.vibrations.isotopes import Isotopes
from orbitrax.vibrations.thermochemistry import GAS
from support import ROOT
from vibration_sets import VibrationSet, read_sets

SETS = read_sets()
METHODS = sorted({s.method for s in SETS})


def molecule_of(s: VibrationSet) -> Molecule:
    numbers = [["X", "H", "He", "Li", "Be", "B", "C", "N", "O", "F", "Ne", "Na", "Mg", "Al", "Si",
                "P", "S", "Cl"].index(symbol) for symbol in s.symbols]  # fmt: skip
    return Molecule(numbers, s.positions, s.charge, s.multiplicity, masses=s.masses, title=s.name)


def run(molecule, method, backend, **settings):
    settings.setdefault("allow_unconverged", True)
    return Vibrations(**settings).start(molecule, method).execute(backend)


def by_frequency(modes, row, width=1.0):
    """Sums of a row over modes that are one degenerate set."""
    sums: list[float] = []
    last = -math.inf
    for nu, value in zip(modes, row):
        if nu - last > width:
            sums.append(0.0)
        sums[-1] += value
        last = nu
    return np.array(sums)


def results_of(**settings):
    found = defaultdict(list)
    for method in METHODS:
        with Backend() as backend:
            for s in SETS:
                if s.method == method:
                    found[method].append((s, run(molecule_of(s), method, backend, uhf=s.uhf,
                                                 **settings)))
    return found


@pytest.fixture(scope="module")
def results():
    """By the plain way, whose displaced points are as far away as those of the other program: that
    distance alone changes the softest mode by 3 1/cm."""
    return results_of(scf="plain")


@pytest.mark.parametrize("method", METHODS)
def test_answers_of_the_density_give_what_displaced_points_give(results, answered, method):
    for (s, result), (_, other) in zip(results[method], answered[method]):
        off = np.abs(result.modes.frequencies - other.modes.frequencies)
        size = np.abs(s.rows["frequencies"])
        assert (off < np.where(size < 30, 4.0, np.where(size < 300, 1.0, 0.4))).all(), s.name
        assert other.modes.cycles < 0.8 * result.modes.cycles


@pytest.fixture(scope="module")
def answered():
    return results_of()


@pytest.mark.parametrize("method", METHODS)
def test_frequencies_are_those_of_other_programs(results, method):
    worst, worst_low, worst_zero = 0.0, 0.0, 0.0
    for s, result in results[method]:
        expected = np.array(s.rows["frequencies"])
        assert len(result.modes) == len(expected), s.name
        off = np.abs(result.modes.frequencies - expected)
        low = np.abs(expected) < 300
        assert (off <= np.where(low, 3.0, 1.0)).all(), (s.name, off.max())
        worst = max(worst, off[~low].max(initial=0))
        worst_low = max(worst_low, off[low].max(initial=0))
        if "zero_point" in s.rows:
            # That program counts an imaginary frequency as a negative one.
            lost = 0.0014295718 * expected[expected < 0].sum()
            off_zero = abs(GasOfResult.zero_point(result.modes) + lost - s.rows["zero_point"][0])
            assert off_zero <= 0.01, s.name
            worst_zero = max(worst_zero, off_zero)
    print(f"{method}: {len(results[method])} molecules, worst {worst:.2f} 1/cm, below 300 "
          f"{worst_low:.2f}; zero point {worst_zero:.4f} kcal/mol")


@pytest.mark.parametrize("method", METHODS)
def test_intensities_are_those_of_other_programs(results, method):
    worst = 0.0
    for s, result in results[method]:
        if "intensities" not in s.rows:
            continue
        frequencies = s.rows["frequencies"]
        expected = by_frequency(frequencies, s.rows["intensities"])
        found = by_frequency(frequencies, result.modes.decadic)
        off = np.abs(found - expected)
        assert (off <= 0.05 + 0.01 * expected).all(), (s.name, off, expected)
        worst = max(worst, off.max())
    print(f"{method}: intensities worst {worst:.4f} km/mol")


@pytest.mark.parametrize("method", METHODS)
def test_species_are_those_of_another_program(results, method):
    for s, result in results[method]:
        if "labels" in s.rows:
            assert result.modes.labels == s.rows["labels"], s.name


def test_thermochemistry_is_that_of_another_program(results):
    count = 0
    for method in METHODS:
        for s, result in results[method]:
            if "thermo" not in s.rows or result.modes.imaginary:
                continue
            about = GasOfResult(result, 298.15, 101325.0)
            assert about.reason is None, (s.name, about.reason)
            assert about.symmetry_number == s.symmetry_number, s.name
            heat, capacity, entropy = s.rows["thermo"]
            soft = min(s.rows["frequencies"]) < 300
            assert abs(about.gas.heat - heat / 1000) <= 0.02, s.name
            # That program leaves the spin out. The entropy of a soft mode changes by R with each
            # factor e of its frequency.
            entropy += GAS * math.log(s.multiplicity)
            assert abs(about.gas.entropy - entropy) <= (0.1 if soft else 0.02), s.name
            assert abs(about.gas.heat_capacity - capacity) <= 0.02, s.name
            count += 1
    assert count > 30
    print(f"{count} molecules")


# ---- identities ---------------------------------------------------------------------------------


@pytest.fixture(scope="module")
def water():
    """Water at its minimum in AM1, its modes, and those of isotopologues."""
    task = Vibrations(optimize=True, isotope=("H=D", "2=D", "1=18O 2,3=3.0"))
    one = task.start(read_molecule(ROOT / "examples" / "water.xyz"), "am1")
    with Backend() as backend:
        return one.execute(backend), one


def test_products_of_frequencies_follow_from_masses_and_moments(water):
    """The rule of Teller and Redlich, for each isotopologue."""
    result, one = water
    for isotopes, other in one.isotopologues:
        light, heavy = result.modes, other
        expected = math.sqrt(
            np.prod(light.masses**1.5 / heavy.masses**1.5) ** 2
            * (heavy.masses.sum() / light.masses.sum()) ** 3
            * np.prod(heavy.moments / light.moments))
        found = np.prod(heavy.frequencies / light.frequencies)
        assert found == pytest.approx(expected, rel=2e-5), isotopes.text


def test_an_isotope_lowers_every_frequency_and_names_no_wrong_species(water):
    result, one = water
    assert [isotopes.text for isotopes, _ in one.isotopologues] == ["H=D", "2=D", "1=18O 2,3=3.0"]
    (_, heavy), (_, mixed), _ = one.isotopologues
    assert result.modes.labels == ["1A1", "1B2", "2A1"] == heavy.labels
    assert mixed.labels[1:] == ["?", "?"]  # a stretch of each bond belongs to no species
    assert (heavy.frequencies < mixed.frequencies).all()
    assert (mixed.frequencies < result.modes.frequencies).all()
    assert mixed.masses.tolist() == [15.999, 2.014102, 1.008]


def test_modes_with_the_same_masses_are_the_same(water):
    """From the kept matrix and from one computed with these masses at once."""
    result, one = water
    molecule = one.job.molecule.replace(masses=one.isotopologues[0][1].masses)
    with Backend() as backend:
        direct = run(molecule, "am1", backend).modes
    kept = one.isotopologues[0][1]
    assert np.abs(direct.frequencies - kept.frequencies).max() < 1e-3
    assert np.abs(direct.intensities - kept.intensities).max() < 1e-4


def test_nothing_holds_a_molecule_in_space(water):
    """Nor does its dipole change when it moves as a whole."""
    modes = water[0].modes
    for axis in range(3):
        assert np.abs(modes.hessian[:, axis::3].sum(axis=1)).max() < 0.001
        assert np.abs(modes.dipole_derivatives[axis::3].sum(axis=0)).max() < 1e-5
    assert (modes.points, modes.unconverged) == (12, 0) and modes.cycles >= 18


def test_displaced_points_give_differences_of_gradients():
    """The plain way: the same step either way as the backend takes."""
    molecule, step = read_molecule(ROOT / "examples" / "water.xyz"), 1 / 240
    forces, dipoles = np.zeros((9, 9)), np.zeros((9, 3))
    with Backend() as backend:
        modes = run(molecule, "am1", backend, scf="plain").modes
        for i, sign in itertools.product(range(9), (1, -1)):
            places = molecule.positions.copy().ravel()
            places[i] += sign * step
            moved = backend.run(Job(molecule.replace(positions=places), "am1", scf_limit=1e-10))
            forces[i] += sign / (2 * step) * moved.gradient.ravel()
            dipoles[i] += sign / (2 * step) * np.array(moved.dipole[:3])
    # The SCF of a displaced point ends at 1e-11 kcal/mol, gradients then within 1e-5.
    assert np.abs(0.5 * (forces + forces.T) - modes.hessian).max() < 0.005
    assert np.abs(dipoles - modes.dipole_derivatives).max() < 1e-4


def test_the_modes_are_those_of_the_force_matrix(water):
    modes = water[0].modes
    root = np.sqrt(np.repeat(modes.masses, 3))
    levels = np.linalg.eigvalsh(modes.hessian / np.outer(root, root))
    # amu, mdyn/Angstrom: 1302.79 1/cm is the root of one of each.
    found = 1302.79 * np.sqrt(0.00695125 * levels[6:])
    assert np.abs(found - np.sort(modes.frequencies)).max() < 0.5


def test_displacements_masses_and_force_constants_belong_together(water):
    modes = water[0].modes
    moves = modes.displacements
    assert np.allclose(np.sum(moves**2, axis=(1, 2)), 1)
    for k, move in enumerate(moves):
        energy = 0.00695125 * move.ravel() @ modes.hessian @ move.ravel()
        assert energy == pytest.approx(modes.force_constants[k], rel=1e-5)
        momentum = modes.masses @ move
        assert np.abs(momentum).max() < 1e-4  # the centre of mass stays
    assert modes.named_movers(0).split()[-1] in ("O1", "H2", "H3")
    assert sorted(modes.movers(1)) == [1, 2]


def test_intensity_is_the_change_of_the_dipole_along_the_mode(water):
    """Against dipoles of two structures moved along it."""
    result, one = water
    modes, base = result.modes, one.job.molecule
    with Backend() as backend:
        for k in range(3):
            move, step = modes.displacements[k], 0.004
            dipoles = [np.array(backend.run(Job(base.replace(
                positions=base.positions + sign * step * move), "am1", scf_limit=1e-10)).dipole[:3])
                for sign in (1, -1)]  # fmt: skip
            slope = (dipoles[0] - dipoles[1]) / (2 * step) / math.sqrt(modes.reduced_masses[k])
            assert modes.decadic[k] == pytest.approx(18.354488 * slope @ slope, abs=0.01)
    assert np.allclose(modes.intensities, math.log(10) * modes.decadic)


# ---- what is refused or said --------------------------------------------------------------------


def test_a_slope_is_no_stationary_point():
    molecule = read_molecule(ROOT / "examples" / "water.xyz")
    with Backend() as backend, pytest.raises(NotConverged, match="no stationary point.*4.425"):
        run(molecule, "am1", backend, allow_unconverged=False)
    with Backend() as backend:
        result = run(molecule, "am1", backend)
    about = GasOfResult(result, 298.15, 101325.0)
    assert about.gas is None and about.reason == "the structure is no stationary point"


def test_a_selected_part_is_no_gas():
    molecule = read_molecule(ROOT / "examples" / "water_dimer.xyz")
    with Backend() as backend:
        result = run(molecule, "am1", backend, select=(1, 2, 3))
    assert len(result.modes) == 3
    assert "selected" in GasOfResult(result, 298.15, 101325.0).reason


def test_capping_atoms_do_not_move():
    """The methyl group of ethanol, ended by a capping atom."""
    molecule = read_molecule(ROOT / "examples" / "ethanol.xyz")
    job = Job(molecule, "am1", select=(1, 7, 8, 9))
    assert len(job.capping) == 1
    with Backend() as backend:
        result = run(molecule, "am1", backend, select=(1, 7, 8, 9))
    assert len(result.modes.all_frequencies) == 12
    assert result.modes.labels == ["?"] * 6


def test_dummies_and_single_atoms_are_refused():
    with pytest.raises(UsageError, match="dummy"):
        Vibrations().start(Molecule([0, 1, 1], [[0, 0, 2], [0, 0, 0], [0, 0, 0.7]]), "am1")
    with Backend() as backend, pytest.raises(Exception, match="only one atom"):
        run(Molecule([17], [[0, 0, 0]], charge=-1), "am1", backend)


@pytest.mark.parametrize("text, words", [
    ("", "which atoms"), ("3", "not like"), ("9=D", "no atom 9"), ("0=D", "no atom 0"),
    ("1=D", "atom 1 is O"), ("2=Q", "no isotope"), ("2=-1", "no mass"), ("C=13C", "no C"),
    ("2-=D", "neither atoms"), ("2=nan", "no mass"),
])  # fmt: skip
def test_isotopes_that_cannot_be_are_refused(text, words):
    with pytest.raises(SettingError, match=words):
        Isotopes(text).applied([8, 1, 1], [16.0, 1.0, 1.0])


def test_isotopes_are_read():
    masses = Isotopes("1=18O 2-3=D").applied([8, 1, 1], [16.0, 1.0, 1.0])
    assert masses == [17.99916, 2.014102, 2.014102]
    assert Isotopes("H=T").applied([8, 1, 1], [16.0, 1.0, 1.0])[1:] == [3.016049] * 2


@pytest.mark.parametrize("name, number", [
    ("C1", 1), ("CS", 1), ("CI", 1), ("C2V", 2), ("C3H", 3), ("D2", 4), ("D3D", 6), ("D6H", 12),
    ("S4", 2), ("S8", 4), ("TD", 12), ("OH", 24), ("IH", 60), ("C*V", 1), ("D*H", 2),
])  # fmt: skip
def test_symmetry_numbers(name, number):
    assert symmetry_number(name) == number


def test_masses_of_a_job_without_a_force_matrix():
    with Backend() as backend:
        with pytest.raises(UsageError, match="no force matrix"):
            backend.modes([1.0, 1.0])
        backend.run(Job(Molecule([1, 1], [[0, 0, 0], [0, 0, 0.7]]), "am1"))
        with pytest.raises(UsageError, match="no force matrix"):
            backend.modes([1.0, 1.0])


def test_methods_have_their_own_kept_matrix():
    """Two molecules one after the other; the second has its own matrix."""
    first, second = (Molecule([1, 9], [[0, 0, 0], [0, 0, r]]) for r in (0.83, 0.9))
    with Backend() as backend:
        run(first, "am1", backend)
        alone = run(second, "am1", backend)
        again = backend.modes([1.008, 18.998403163])
    assert again.frequencies == pytest.approx(alone.modes.frequencies, abs=1e-3)


def test_a_part_that_its_surroundings_hold_is_told_of():
    """By a force matrix of differences: four of six motions of a water among charges are between 50
    and 270 1/cm, and in no table."""
    start = read_molecule(ROOT / "examples" / "water_dimer.xyz")
    with Backend() as backend:
        found = Vibrations(select="1-3", optimize=True).start(start, "am1").execute(backend)
        places = np.array(found.coordinates).reshape(-1, 3)

        def slopes(shift):
            job = Job(start.replace(positions=places + shift), "am1", select="1-3", scf_limit=1e-9)
            return np.array(backend.run(job).gradient).reshape(-1, 3)[:3].ravel()

        matrix = []
        for k in range(9):
            shift = np.zeros_like(places)
            shift[k // 3, k % 3] = 0.002
            matrix.append((slopes(shift) - slopes(-shift)) / 0.004)
        alone = start.replace(positions=places)
        free = Vibrations(select="1-3", optimize=True).start(
            Molecule([8, 1, 1, 8], [*places[:3], [0, 0, 40]], 0, 1), "am1").execute(backend)
        whole = run(Molecule(alone.z[:3], places[:3]), "am1", backend)
    roots = found.modes.masses.repeat(3) ** -0.5
    values = np.linalg.eigvalsh((np.array(matrix) + np.transpose(matrix)) / 2
                                * np.outer(roots, roots))
    exact = np.sqrt(np.abs(values) * 418.4) / (2 * np.pi) * 33.35641
    held = sorted(found.modes.external)[2:]
    assert held == pytest.approx(exact[2:6], abs=5) and held[0] > 50
    [told] = [text for text in found.warnings if "hold the selected part" in text]
    assert f"up to {max(held):.0f} 1/cm" in told and "imaginary" not in told
    assert not [text for one in (free, whole) for text in one.warnings if "hold the" in text]


def test_a_molecule_that_restraints_hold_has_no_free_energy():
    with Backend() as backend:
        task = Vibrations(optimize=True, restrain=("stretch 1 2 1.1 k=500",))
        start = read_molecule(ROOT / "examples" / "water.xyz")
        held = task.start(start, "am1").execute(backend)
        free = Vibrations(optimize=True).start(start, "am1").execute(backend)
    told = [one.blocks["vibrations"]["thermochemistry"] for one in (held, free)]
    assert told[0]["free_energy"] is None and "restraints hold" in told[0]["reason"]
    assert told[1]["free_energy"] is not None and told[1]["reason"] is None
