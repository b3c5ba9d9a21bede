"""The charges of whole molecules, with the backend."""

import numpy as np
import pytest
import support  # noqa: F401  (the package from the checkout)
from test_charge_rounding import exact_sum

from rdkit import Chem

from orbitrax import Backend, Job, Molecule
from orbitrax.atomic_charges import am1
from orbitrax.atomic_charges.assign import assign
from orbitrax.atomic_charges.conformers import embedded
from orbitrax.atomic_charges.connectivity import changes
from orbitrax.atomic_charges.corrections import MissingCorrection
from orbitrax.atomic_charges.settings import ChargeSettings as Settings
from orbitrax.errors import (CalculationFailed, InputError, MoleculeError, NotConverged,
                             UsageError)


@pytest.fixture(scope="module")
def backend():
    with Backend() as running:
        yield running


def molecule(smiles: str):
    return Chem.AddHs(Chem.MolFromSmiles(smiles))


def by_spelling(backend, mol, order, settings=Settings()):
    """Charges of a molecule whose atoms were put in another order, in the first order."""
    found = assign(Chem.RenumberAtoms(mol, order), backend, settings)
    return found.charges[np.argsort(order)]


def placed(mol, positions):
    mol = Chem.Mol(mol)
    conformer = Chem.Conformer(mol.GetNumAtoms())
    for index, place in enumerate(positions.tolist()):
        conformer.SetAtomPosition(index, place)
    mol.RemoveAllConformers()
    mol.AddConformer(conformer)
    return mol


def test_methane_is_am1_and_one_correction(backend):
    """AM1's carbon, -0.266 (M. J. S. Dewar et al., J. Am. Chem. Soc. 107, 3902 (1985)), and four
    corrections of 0.0393."""
    found = assign(molecule("C"), backend)
    assert found.populations[0] == pytest.approx(-0.266, abs=0.0006)
    assert found.charges[0] == pytest.approx(-0.266 + 4 * 0.0393, abs=0.0006)
    assert found.heat_of_formation == pytest.approx(-8.8, abs=0.1)


@pytest.mark.parametrize("smiles,charge", [("[Cl-]", -1), ("[H+]", 1)])
def test_an_atom_alone_has_its_whole_charge(backend, smiles, charge):
    found = assign(molecule(smiles), backend)
    assert found.charges.tolist() == [charge] and found.energies == 1


@pytest.mark.parametrize("smiles,total", [
    ("CC(=O)Nc1ccc(O)cc1", 0), ("C[N+](C)(C)CC([O-])=O", 0), ("NC(N)=[NH2+]", 1),
    ("COP(=O)([O-])[O-]", -2), ("[NH3+]CC[NH3+]", 2)])
def test_the_printed_charges_sum_to_the_formal_charge(backend, smiles, total):
    found = assign(molecule(smiles), backend)
    assert found.formal_charge == total and exact_sum(found.charges) == total
    for number in set(found.classes.tolist()):
        assert len(set(found.charges[found.classes == number])) == 1


def test_the_order_of_the_atoms_makes_no_difference(backend):
    mol = placed(molecule("CC(=O)Nc1ccc(O)cc1"), embedded(molecule("CC(=O)Nc1ccc(O)cc1"), 1)[0])
    straight = assign(mol, backend, Settings(digits=8)).charges
    order = np.random.default_rng(3).permutation(mol.GetNumAtoms()).tolist()
    found = by_spelling(backend, mol, order, Settings(digits=8))
    assert found == pytest.approx(straight, abs=1e-5)


@pytest.mark.parametrize("smiles", [
    "CC(C)C(=O)OC", "COc1cc(CCCO)ccc1O", "CC(F)[NH+]1COC(NC(=O)NBr)C1", "COS(=O)(=O)c1ccccc1"])
def test_where_in_its_basin_a_search_begins_makes_no_difference(backend, smiles):
    """Before they are rounded; groups of the last three turn almost freely."""
    mol = molecule(smiles)
    start = embedded(mol, 1)[0]
    first = assign(placed(mol, start), backend, Settings(digits=8))
    for seed in (1, 2):
        shake = np.random.default_rng(seed).normal(0, 0.03, start.shape)
        again = assign(placed(mol, first.positions + shake), backend, Settings(digits=8))
        assert again.heat_of_formation == pytest.approx(first.heat_of_formation, abs=2e-4)
        assert again.charges == pytest.approx(first.charges, abs=1e-4)


def test_a_turned_and_shifted_molecule_has_the_same_charges(backend):
    mol = molecule("c1ccncc1C")
    start = embedded(mol, 1)[0]
    turn, _ = np.linalg.qr(np.random.default_rng(2).normal(size=(3, 3)))
    straight = assign(placed(mol, start), backend).charges
    moved = assign(placed(mol, start @ turn * np.linalg.det(turn) + 7.0), backend).charges
    assert moved == pytest.approx(straight, abs=1.01e-4)


def test_the_spelling_of_an_ion_makes_no_difference(backend):
    first, second = (assign(molecule(smiles), backend, Settings(digits=8))
                     for smiles in ("Nc1cccc[nH+]1", "[NH2+]=C1C=CC=CN1"))
    assert sorted(first.charges) == pytest.approx(sorted(second.charges), abs=1e-5)


def test_a_search_leaves_the_saddle_that_a_symmetric_start_is(backend):
    """RDKit puts the amino group square to the ring, where by symmetry nothing turns it; all atoms
    of the ion lie in a plane."""
    found = assign(molecule("Nc1cccc[nH+]1"), backend)
    centred = found.positions - found.positions.mean(axis=0)
    assert np.linalg.svd(centred)[1][2] < 0.2


def test_the_model_mulliken_leaves_the_geometry_and_the_atoms_alone(backend):
    mol = placed(molecule("CCO"), embedded(molecule("CCO"), 1)[0])
    found = assign(mol, backend, Settings(model="mulliken"))
    assert found.energies == 1
    assert np.array_equal(found.positions, mol.GetConformer().GetPositions())
    hydrogens = found.charges[3:6]
    assert np.ptp(hydrogens) > 1e-3  # of one class, and not averaged
    assert found.charges == pytest.approx(found.populations, abs=6e-5)


def test_corrections_are_the_difference_between_two_models(backend):
    mol = placed(molecule("CO"), embedded(molecule("CO"), 1)[0])
    plain = assign(mol, backend, Settings(model="am1-mulliken", digits=6)).charges
    full = assign(mol, backend, Settings(digits=6)).charges
    by_hand = [0.0718 + 3 * 0.0393, -0.0718 - 0.2010] + [-0.0393] * 3 + [0.2010]
    assert full - plain == pytest.approx(by_hand, abs=3e-6)


def test_the_geometry_that_came_is_the_geometry_that_goes(backend):
    mol = placed(molecule("CCO"), embedded(molecule("CCO"), 1)[0])
    found = assign(mol, backend)
    assert np.array_equal(found.mol.GetConformer().GetPositions(),
                          mol.GetConformer().GetPositions())
    assert np.abs(found.positions - mol.GetConformer().GetPositions()).max() > 0.01


def test_elf10_is_a_mean_over_conformers(backend):
    found = assign(molecule("OCCO"), backend, Settings(model="am1bcc-elf10", conformers=100))
    assert 1 <= found.conformers <= 10
    assert exact_sum(found.charges) == 0


# ---- molecules that would react -----------------------------------------------------------------


def jumping():
    """Phosphoric acid beside an amide ion's nitrogen, as one molecule: AM1 moves the proton."""
    mol = molecule("[NH-]CCCS(=O)(=O)O")
    for start in embedded(mol, 30):
        if np.linalg.norm(start[0] - start[7]) < 3.2:
            return placed(mol, start)
    raise AssertionError("no conformer in which the ends meet")


def test_a_molecule_that_reacts_is_held_and_this_is_said(backend):
    mol = jumping()
    found = assign(mol, backend)
    assert any("AM1 changes the molecule" in note and "restraints" in note for note in found.notes)
    assert changes(mol, found.positions) == []


# ---- what is refused ----------------------------------------------------------------------------


@pytest.mark.parametrize("smiles,error,text", [
    ("CB(O)O", MissingCorrection, "no bond charge correction for the single bond C1-B2"),
    ("C.C", InputError, "2 molecules that are not bonded"),
    ("C[CH]C", InputError, "unpaired electrons"), ("C*", MoleculeError, "is no element")])
def test_what_has_no_charges_is_refused(backend, smiles, error, text):
    with pytest.raises(error, match=text):
        assign(molecule(smiles), backend)


def test_missing_hydrogens_are_named(backend):
    with pytest.raises(MoleculeError, match=r"atom 1 \(C\) lacks hydrogens"):
        assign(Chem.MolFromSmiles("CO"), backend)


def test_a_missing_correction_may_count_as_nothing(backend):
    found = assign(molecule("CB(O)O"), backend, Settings(missing="zero"))
    assert "none was applied" in found.notes[0] and exact_sum(found.charges) == 0


def test_a_geometry_that_is_not_the_molecule_is_refused(backend):
    positions = embedded(molecule("CCO"), 1)[0]
    positions[2] += 2.0
    with pytest.raises(InputError, match="C2 and O3 are bonded but"):
        assign(placed(molecule("CCO"), positions), backend)


def test_a_flat_drawing_gets_a_geometry_and_this_is_said(backend):
    flat = embedded(molecule("CCO"), 1)[0]
    flat[:, 2] = 0.0
    found = assign(placed(molecule("CCO"), flat), backend)
    assert "flat drawing" in found.notes[0]
    assert np.ptp(found.mol.GetConformer().GetPositions()[:, 2]) > 0.5


@pytest.mark.parametrize("wrong", [{"model": "resp"}, {"missing": "all"}, {"hold": "bonds"},
                                   {"conformers": -1}, {"digits": 0}])
def test_settings_that_cannot_be_meant_are_refused(wrong):
    with pytest.raises(UsageError):
        Settings(**wrong)


# ---- trouble with the SCF -----------------------------------------------------------------------


def test_an_scf_that_fails_at_first_is_tried_otherwise(backend, monkeypatch):
    """Two cycles never do at first; the second attempt is the usual one."""
    monkeypatch.setattr(am1, "_ATTEMPTS", ({"scf_iterations": 2}, *am1._ATTEMPTS))
    found = assign(molecule("O"), backend)
    assert 0 < found.retries <= found.energies


def test_each_scf_goes_on_from_the_density_of_the_one_before(backend):
    mol = molecule("CS(=O)(=O)Nc1ccccc1")
    energy = am1.Am1(backend, np.array([a.GetAtomicNum() for a in mol.GetAtoms()]), 0)
    start = embedded(mol, 1)[0]
    cycles = [energy.point(start + 0.001 * step).cycles for step in range(3)]
    assert cycles[1] < 0.5 * cycles[0] and cycles[2] < 0.5 * cycles[0]


@pytest.fixture
def limits_asked_for(monkeypatch):
    """The limits of all SCFs from here on, kcal/mol."""
    found, usual = [], am1._single_point
    monkeypatch.setattr(am1, "_single_point", lambda backend, job: (
        found.append(job.settings.scf_limit), usual(backend, job))[1])
    return found


def test_an_scf_far_from_a_minimum_is_looser_and_one_at_it_as_sharp_as_any(
        backend, limits_asked_for):
    found = assign(molecule("CC(=O)OC"), backend)
    assert max(limits_asked_for) > 1e-5 and min(limits_asked_for[1:]) <= 1e-6
    mol = molecule("CC(=O)OC")
    sharp = Job(Molecule([a.GetAtomicNum() for a in mol.GetAtoms()], found.positions), "am1",
                scf_limit=1e-8)
    assert np.abs(backend.run(sharp).charges - found.populations).max() < 1e-5


def test_a_loose_scf_goes_on_where_it_turns_out_to_stand_at_a_minimum(backend, limits_asked_for):
    mol = molecule("CC(=O)OC")
    minimum = assign(mol, backend).positions
    energy = am1.Am1(backend, np.array([a.GetAtomicNum() for a in mol.GetAtoms()]), 0)
    energy.point(1.05 * minimum)
    del limits_asked_for[:]
    energy.point(minimum)
    assert limits_asked_for[0] > 1e-5 and limits_asked_for[1] <= 1e-5
    assert energy.energies == 2 and energy.retries == 0


def test_an_scf_that_fails_in_every_way_is_an_error(backend, monkeypatch):
    monkeypatch.setattr(am1, "_ATTEMPTS", ({"scf_iterations": 2},) * 2)
    with pytest.raises(NotConverged, match="in any of 2 ways"):
        assign(molecule("O"), backend)


def test_a_search_that_fails_is_an_error(backend, monkeypatch):
    from orbitrax.atomic_charges import assign as module
    from orbitrax.minimise import Limits

    monkeypatch.setattr(module, "_LIMITS", Limits(1e-9, 1e-9, 1e-30, steps=1))
    with pytest.raises(CalculationFailed, match="1 steps have not led to a minimum"):
        assign(molecule("CC(=O)OCCO"), backend)


@pytest.mark.parametrize("smiles", ["C[C@H](N)C(=O)O", "C[C@@H](N)C(=O)O", "C/C=C\\C", "C/C=C/C",
                                    "[O-]C(=O)/C=C/[C@H](F)C[NH3+]"])
def test_a_geometry_that_is_made_has_the_configuration_that_was_given(backend, smiles):
    found = assign(molecule(smiles), backend, Settings(model="mulliken")).mol
    seen = Chem.Mol(found)
    Chem.AssignStereochemistryFrom3D(seen)
    assert Chem.MolToSmiles(Chem.RemoveHs(seen)) == Chem.CanonSmiles(smiles)
