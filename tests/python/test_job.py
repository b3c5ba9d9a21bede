"""Jobs: electrons, selections, checks, and the packets that carry them."""

import struct

import numpy as np
import pytest
from ase.data import atomic_masses

from orbitrax import Job, Molecule
from orbitrax.molecules.elements import SYMBOLS, valence_electrons
from orbitrax.errors import InputError, MoleculeError, UsageError
from orbitrax.job import JobSettings
from orbitrax.molecules.geometry import close_pairs, find_bonds
from orbitrax.methods import METHODS, find_method
from orbitrax.session import encode
from orbitrax.tables import load_parameters


def payloads(job):
    return [packet[20:] for packet in encode.job_packets(job)]


def atom_words(job):
    """The atom records as 24 integers and 24 floats each, read without the package's types."""
    data = encode.atom_records(job)
    n = len(data) // 96
    return ([struct.unpack_from("<24i", data, 96 * i) for i in range(n)],
            [struct.unpack_from("<24f", data, 96 * i) for i in range(n)])


# ---- electrons ----------------------------------------------------------------------------------


def test_valence_electrons_are_those_outside_the_closed_shells():
    cores = {0: range(1, 3), 2: range(3, 11), 10: range(11, 19), 18: range(19, 30),
             28: range(30, 37), 36: range(37, 48), 46: range(48, 55), 54: range(55, 72),
             68: range(72, 80), 78: range(80, 87), 86: range(87, 104)}
    for core, numbers in cores.items():
        for number in numbers:
            assert valence_electrons(number) == number - core, SYMBOLS[number]
    assert valence_electrons(0) == 0


@pytest.mark.parametrize("charge,multiplicity", [(0, 1), (1, 2), (-1, 2), (2, 1)])
def test_the_multiplicity_is_the_lowest_the_electrons_allow(water, charge, multiplicity):
    job = Job(water, "am1", charge=charge)
    assert job.electrons == 8 - charge and job.multiplicity == multiplicity


def test_what_is_asked_for_comes_before_what_the_molecule_says():
    molecule = Molecule([8, 8], [[0, 0, 0], [0, 0, 1.2]], charge=1, multiplicity=4)
    assert (Job(molecule, "am1").charge, Job(molecule, "am1").multiplicity) == (1, 4)
    job = Job(molecule, "am1", charge=0, multiplicity=3)
    assert (job.charge, job.multiplicity) == (0, 3)


def test_a_charge_that_stays_open_is_asked_for():
    molecule = Molecule([1], [[0, 0, 0]], notes=["give the charge with --charge"])
    with pytest.raises(UsageError, match="give the charge"):
        Job(molecule, "am1")
    assert Job(molecule, "am1", charge=0).multiplicity == 2


@pytest.mark.parametrize("name", ["am1", "AM1", 5, "Am1"])
def test_methods_are_found_by_name_and_number(name):
    assert find_method(name).key == "am1"


def test_methods_are_found_by_their_titles():
    assert [find_method(method.title).number for method in METHODS] == list(range(1, 10))
    with pytest.raises(UsageError, match="there is no method 'dft'; the methods are cndo, indo"):
        find_method("dft")
    with pytest.raises(UsageError):
        find_method(0)


# ---- geometry -----------------------------------------------------------------------------------


@pytest.mark.parametrize("n", [1, 2, 3, 60])
def test_close_pairs_are_those_of_the_double_loop(n):
    points = np.random.default_rng(n).uniform(0, 4, (n, 3))
    naive = [(i, j) for i in range(n) for j in range(i + 1, n)
             if np.linalg.norm(points[i] - points[j]) < 1.3]
    i, j, d = close_pairs(points, 1.3)
    assert list(zip(i.tolist(), j.tolist())) == naive
    assert np.allclose(d, [np.linalg.norm(points[a] - points[b]) for a, b in naive])


def test_bonds_are_those_a_chemist_draws(examples):
    from orbitrax import read_molecule

    caffeine = read_molecule(str(examples / "caffeine.xyz"))
    bonds = find_bonds(caffeine.numbers, caffeine.positions)
    valence = {"H": {1}, "C": {3, 4}, "N": {2, 3}, "O": {1}}
    for symbol, near in zip(caffeine.symbols, bonds):
        assert len(near) in valence[symbol]
    assert sum(map(len, bonds)) == 2 * 25
    assert all(i in bonds[j] for i, near in enumerate(bonds) for j in near)


def test_no_atom_has_more_bonds_than_a_record_holds():
    points = np.random.default_rng(1).uniform(0, 0.8, (30, 3))
    assert max(map(len, find_bonds(np.full(30, 6), points))) == 12


# ---- selection ----------------------------------------------------------------------------------


@pytest.fixture
def ethanol(examples):
    from orbitrax import read_molecule

    molecule = read_molecule(str(examples / "ethanol.xyz"))
    return molecule.replace(point_charges=np.linspace(-0.4, 0.4, 9))


def test_a_selection_caps_the_bonds_it_cuts(ethanol):
    job = Job(ethanol, "am1", charge=0, select=[3, 4])  # O and H of the hydroxyl group
    assert job.capping == [1]  # the carbon that carries it
    assert job.electrons == 6 + 1 + 7
    words, floats = atom_words(job)
    assert [word[4] for word in words] == [1, 1, 0, 0, 1, 1, 1, 1, 1]
    assert words[2][6] == 2 and words[2][7:9] == (1, 3)
    charges = [number[19] for number in floats]
    assert charges[2:4] == [0.0, 0.0]
    assert np.allclose(np.delete(charges, [2, 3]), np.delete(ethanol.point_charges, [2, 3]))


def test_an_atom_between_two_selected_ones_is_not_capped():
    molecule = Molecule([1, 8, 1], [[0, 0, -0.96], [0, 0, 0], [0, 0.93, 0.24]])
    job = Job(molecule, "am1", select=[1, 3])
    assert job.capping == [] and job.electrons == 2


def test_the_selection_block_lists_numbers_from_one(ethanol):
    data = encode.selection_block(Job(ethanol, "pm3", charge=0, select=[4, 3]))
    assert struct.unpack("<11i", data) == (1, 2, 1, 5, 5, 2, 0, 0, 6, 3, 4)


def test_selecting_everything_is_selecting_nothing(ethanol):
    job = Job(ethanol, "am1", charge=0, select=range(1, 10))
    words, floats = atom_words(job)
    assert {word[4] for word in words} == {0} and {word[6] for word in words} == {0}
    assert {number[19] for number in floats} == {0.0}
    assert len(encode.selection_block(job)) == 36 + 4 * 9


@pytest.mark.parametrize("selection,words", [
    ([0], "no atom 0"), ([10], "has 9 atoms"), ([1, 1], "twice"), ([], "names no atom")])
def test_a_selection_that_cannot_be_meant_is_refused(ethanol, selection, words):
    with pytest.raises(UsageError, match=words):
        Job(ethanol, "am1", charge=0, select=selection)


# ---- checks -------------------------------------------------------------------------------------


def test_an_element_without_parameters_is_named_with_atom_and_method():
    molecule = Molecule([1, 9, 92], [[0, 0, 0], [0, 0, 1], [0, 0, 3]])
    with pytest.raises(InputError, match=r"atom 3 \(U\): AM1 has no parameters for U"):
        Job(molecule, "am1").check(load_parameters("am1"))


@pytest.mark.parametrize("elements,pair", [([5, 17, 17, 17], "B and Cl"), ([17, 17, 8], "O and Cl"),
                                           ([14, 8], "O and Si")])
def test_two_elements_without_common_parameters_are_named(elements, pair):
    molecule = Molecule(elements, [[2.0 * i, 0, 0] for i in range(len(elements))])
    with pytest.raises(InputError, match=f"MINDO/3 has no parameters for {pair} in one molecule"):
        Job(molecule, "mindo3").check(load_parameters("mindo3"))
    Job(molecule, "mndo").check(load_parameters("mndo"))


def test_elements_that_have_parameters_with_one_another_are_taken():
    tables = load_parameters("mindo3")
    assert tables.missing_pair([1, 1, 6, 6, 7, 7, 8, 8, 9, 9]) is None
    assert tables.missing_pair([14]) is None and tables.missing_pair([5, 5]) is None
    assert tables.missing_pair([14, 17]) == (14, 17)
    assert load_parameters("am1").missing_pair([14, 17]) is None


def test_a_capping_atom_without_parameters_is_named():
    molecule = Molecule([6, 35], [[0, 0, 0], [0, 0, 1.9]])
    tables = load_parameters("pm3")
    job = Job(molecule, "pm3", select=[1])
    job.check(tables)
    without = type(tables)(tables.method, b"", b"", tables.elements, tables.capping - {35})
    with pytest.raises(InputError, match=r"atom 2 \(Br\) ends a bond .* as a capping atom"):
        job.check(without)


def test_atoms_in_one_place_are_refused_and_dummies_are_not():
    tables = load_parameters("am1")
    near = Molecule([1, 8, 1], [[0, 0, 0], [0, 0, 1], [0.04, 0, 0.03]])
    with pytest.raises(InputError, match=r"atom 1 \(H\) and atom 3 \(H\) are 0.0500 Angstrom"):
        Job(near, "am1").check(tables)
    Job(Molecule([1, 1], [[0, 0, 0], [0, 0, 0.053]]), "am1").check(tables)
    Job(Molecule([1, 0], [[0, 0, 0], [0, 0, 0]]), "am1").check(tables)


@pytest.mark.parametrize("setting", [
    {"charge": 2**31}, {"multiplicity": 0}, {"multiplicity": 1.5}, {"scf_iterations": -1},
    {"scf_limit": 0.0}, {"scf_limit": float("nan")}, {"sigma": 1e39},
    {"level_shift_start": 2**31}, {"log_level": -1}])
def test_settings_that_cannot_be_sent_are_refused(water, setting):
    with pytest.raises(UsageError, match=next(iter(setting))):
        Job(water, "am1", **setting)


@pytest.mark.parametrize("field,value,words", [
    ("masses", [16, 0, 1], r"atom 2 \(H\): its mass is not above 0"),
    ("masses", [np.inf, 1, 1], r"atom 1 \(O\): its mass"),
    ("point_charges", [0, 0, np.nan], r"atom 3 \(H\): its charge")])
def test_numbers_of_atoms_that_cannot_be_sent_are_refused(water, field, value, words):
    selection = [1, 2] if field == "point_charges" else None
    with pytest.raises((InputError, MoleculeError), match=words):
        molecule = Molecule(water.numbers, water.positions, charge=0, **{field: value})
        encode.job_packets(Job(molecule, "am1", select=selection))


# ---- packets ------------------------------------------------------------------------------------


def test_the_packets_of_water_are_those_of_the_wire(water):
    data = payloads(Job(water, "am1"))
    assert [len(part) for part in data] == [4, 184, 152, 8, 8 + 9 * 8 + 8 + 48, 4, 288, 48]
    assert data[5] == b"\x03\0\0\0"
    words, floats = atom_words(Job(water, "am1"))
    assert [word[1] for word in words] == [8, 1, 1]
    assert np.allclose([number[20:23] for number in floats], water.positions, atol=1e-7)
    assert np.allclose([number[23] for number in floats], atomic_masses[[8, 1, 1]])
    assert struct.unpack("<12i", data[7]) == (1, 3, 1, 6, 6, 3, 0, 0, 5, 1, 2, 3)


@pytest.mark.parametrize("n,chunks", [(1, [1]), (170, [170]), (171, [170, 1]),
                                      (341, [170, 170, 1])])
def test_atoms_go_in_chunks_of_170(n, chunks):
    molecule = Molecule([2] * n, np.arange(3 * n).reshape(n, 3))
    sizes = [len(part) for part in payloads(Job(molecule, "am1", precise=False))]
    assert sizes == [4, 184, 152, 4] + [96 * count for count in chunks] + [36 + 4 * n]


def test_overlap_weights_differ_for_the_spectroscopic_method(water):
    for method in METHODS:
        sigma, pi = struct.unpack_from("<2f", encode.run_options(Job(water, method)), 128)
        expected = (1.267, 0.585) if method.key == "zindos" else (1, 1)
        assert (sigma, pi) == tuple(np.float32(expected))


def test_like_settings_send_what_each_molecule_says(water):
    """The bytes of the job before are only taken where charge, spin and weights are the same."""
    settings = JobSettings()
    ion = Molecule([8, 1], [[0, 0, 0], [0, 0, 1]], charge=-1)
    radical = Molecule([8, 1], [[0, 0, 0], [0, 0, 1]], multiplicity=2)
    told = {}
    for molecule, method in ((water, "am1"), (ion, "am1"), (radical, "am1"), (water, "zindos"),
                             (water, "am1")):
        job = Job(molecule, method, settings)
        assert job.settings is Job(water, "am1", settings).settings
        sent = encode.wire.RunOptions.unpack(encode.run_options(job))
        assert (sent["nTotalCharge"], sent["nMultiplicity"]) == (job.charge, job.multiplicity)
        told[job.charge, job.multiplicity, round(sent["flOverlapSigma"], 3)] = method
    assert set(told) == {(0, 1, 1.0), (-1, 1, 1.0), (0, 2, 1.0), (0, 1, 1.267)}
