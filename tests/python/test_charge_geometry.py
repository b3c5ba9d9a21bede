"""Conformers that charges start from, and whether a geometry still is its molecule."""

import numpy as np
import pytest
import support  # noqa: F401  (the package from the checkout)

from rdkit import Chem
from rdkit.Chem import AllChem, rdMolTransforms

from orbitrax.atomic_charges import conformers
from orbitrax.atomic_charges.connectivity import changes
from orbitrax.atomic_charges.restraints import held_distances, held_torsions
from orbitrax.molecules import force_field
from orbitrax.molecules.restraints import parse_restraint


def molecule(smiles: str):
    return Chem.AddHs(Chem.MolFromSmiles(smiles))


def test_the_same_molecule_has_the_same_conformers():
    mol = molecule("CCCCO")
    first, second = conformers.embedded(mol, 3), conformers.embedded(mol, 3)
    assert len(first) == 3 and all(np.array_equal(a, b) for a, b in zip(first, second))


def test_the_lowest_of_several_conformers_is_not_above_the_first():
    mol = molecule("OCCCO")
    first = force_field.relaxed(mol, conformers.embedded(mol, 1)[0])[1]
    assert force_field.relaxed(mol, conformers.lowest(mol, 8))[1] <= first + 1e-4


def test_the_hessian_of_the_force_field_is_the_second_difference_of_its_energy():
    mol = molecule("CO")
    positions = force_field.relaxed(mol, conformers.embedded(mol, 1)[0])[0] * 1.01
    found, step = force_field.hessian(mol, positions), 1e-3
    assert found == pytest.approx(found.T, abs=1e-12)
    assert np.abs(found.reshape(18, 6, 3).sum(axis=1)).max() < 1e-2 * np.abs(found).max()

    def energy(*moves):
        places = positions.ravel().copy()
        for place, move in moves:
            places[place] += move
        return field.CalcEnergy(places.tolist())

    field = AllChem.MMFFGetMoleculeForceField(
        mol, AllChem.MMFFGetMoleculeProperties(mol), confId=mol.AddConformer(Chem.Conformer(6)))
    for i, j in ((0, 0), (0, 3), (5, 16), (1, 14), (9, 9), (2, 17)):
        second = sum(a * b * energy((i, a * step), (j, b * step))
                     for a in (1, -1) for b in (1, -1)) / (4 * step**2)
        assert found[i, j] == pytest.approx(second, abs=0.5)  # of up to 1600


def test_a_molecule_that_no_force_field_knows_has_no_hessian(monkeypatch):
    mol = molecule("CO")
    positions = conformers.embedded(mol, 1)[0]
    monkeypatch.setattr(force_field, "_field", lambda work: None)
    assert force_field.hessian(mol, positions) is None
    assert force_field.relaxed(mol, positions)[0] is positions


@pytest.mark.parametrize("smiles", ["CC(=O)O", "C#C", "N#CC#N", "O", "C"])
def test_a_start_is_shaken_alike_however_the_molecule_lies(smiles):
    mol = molecule(smiles)
    positions = conformers.embedded(mol, 1)[0]
    if "#" in smiles:
        positions = np.outer([0.0, 1.2, -1.1, 2.3], [0.6, 0.0, 0.8])
    turn, _ = np.linalg.qr(np.random.default_rng(5).normal(size=(3, 3)))
    first, second = (conformers.shaken(mol, places, None) for places in
                     (positions, positions @ turn * np.linalg.det(turn) + 3.0))
    apart = [np.linalg.norm(p[:, None] - p[None, :], axis=2) for p in (first, second, positions)]
    assert apart[1] == pytest.approx(apart[0], abs=1e-10)
    assert 0.002 < np.abs(apart[0] - apart[2]).max() < 0.2


def test_what_is_stiff_is_shaken_little():
    """Lengths of bonds by a tenth of what they are where nothing is known, turns by a fifth."""
    mol = molecule("OCC#N")
    positions = force_field.relaxed(mol, conformers.embedded(mol, 1)[0])[0]
    bonds = [(bond.GetBeginAtomIdx(), bond.GetEndAtomIdx()) for bond in mol.GetBonds()]

    def moved(hessian):
        places = conformers.shaken(mol, positions, hessian)
        lengths = [[np.linalg.norm(p[i] - p[j]) for i, j in bonds] for p in (positions, places)]
        shapes = []
        for p in (positions, places):
            force_field.set_positions(mol, p)
            shapes.append(rdMolTransforms.GetDihedralDeg(mol.GetConformer(), 4, 0, 1, 2))
        return np.abs(np.diff(lengths, axis=0)).max(), abs(shapes[1] - shapes[0])

    loose, known = moved(None), moved(force_field.hessian(mol, positions))
    assert loose[0] > 0.02 and known[0] < 0.1 * loose[0]
    assert known[1] > 0.2 * loose[1] > 0.2


def test_elf_keeps_polar_groups_apart():
    """Of an amino alcohol's conformers, those with nitrogen and oxygen far from each other."""
    mol = molecule("NCCCCO")
    nitrogen, oxygen = 0, 5
    apart = [np.linalg.norm(p[nitrogen] - p[oxygen]) for p in conformers.elf(mol)]
    usual = [np.linalg.norm(p[nitrogen] - p[oxygen]) for p in conformers.embedded(mol, 60)]
    assert 1 <= len(apart) <= 10
    assert min(apart) > np.mean(usual)


def test_elf_turns_the_hydrogen_of_an_acid_to_its_carbonyl():
    mol = molecule("CCC(=O)O")
    acid = mol.GetSubstructMatch(Chem.MolFromSmarts("O=CO[H]"))
    for positions in conformers.elf(mol, 60):
        force_field.set_positions(mol, positions)
        assert abs(rdMolTransforms.GetDihedralDeg(mol.GetConformer(), *acid)) < 1e-3


def test_elf_chooses_conformers_that_differ():
    shapes = conformers.elf(molecule("CCCCCC"), 200)
    heavy = [p[:6] for p in shapes]
    distances = [conformers._distance(a, b) for i, a in enumerate(heavy) for b in heavy[:i]]
    assert all(distance >= 0.05 for distance in distances)


def test_a_shape_laid_upon_its_turned_self_has_no_distance():
    points = np.random.default_rng(1).normal(size=(7, 3))
    turn, _ = np.linalg.qr(np.random.default_rng(2).normal(size=(3, 3)))
    turn *= np.linalg.det(turn)  # a rotation, no reflection
    assert conformers._distance(points, points @ turn + 3.0) == pytest.approx(0, abs=1e-7)
    assert conformers._distance(points, -points) > 0.1  # its mirror image is another shape


# ---- connectivity -------------------------------------------------------------------------------


@pytest.mark.parametrize("smiles", [
    "CCO", "c1ccccc1C#N", "C1CC1", "C1CCC1", "OS(=O)(=O)c1ccccc1", "COP(=S)(OC)SCSC", "BrC(Cl)I",
    "[O-]C(=O)CC[NH3+]", "C[Si](C)(C)C", "C1C2CC1C2", "OC(=O)c1ccccc1O", "FC(F)(F)C#C"])
def test_a_sound_geometry_shows_no_change(smiles):
    mol = molecule(smiles)
    positions = force_field.relaxed(mol, conformers.embedded(mol, 1)[0])[0]
    assert changes(mol, positions) == []


def test_a_proton_that_jumps_is_seen():
    mol = molecule("[O-]C(=O)C[NH3+]")
    positions = conformers.embedded(mol, 1)[0]
    nitrogen, hydrogen, oxygen = 4, 7, 0
    assert mol.GetBondBetweenAtoms(nitrogen, hydrogen)
    outward = positions[oxygen] - positions[1]
    positions[hydrogen] = positions[oxygen] + 0.97 * outward / np.linalg.norm(outward)
    found = {change.atoms: change.broken for change in changes(mol, positions)}
    assert found[oxygen, hydrogen] is False and found[nitrogen, hydrogen] is True
    text = next(c for c in changes(mol, positions) if c.broken).describe(mol)
    assert text.startswith("N5 and H8 are bonded but ")


def test_a_ring_that_opens_and_one_that_closes_are_seen():
    ring = molecule("C1CC1")
    positions = conformers.embedded(ring, 1)[0]
    positions[0] += 2 * (positions[0] - (positions[1] + positions[2]) / 2)
    assert (0, 1) in {change.atoms for change in changes(ring, positions) if change.broken}
    chain = molecule("CCCC")
    positions = conformers.embedded(chain, 1)[0]
    positions[3] = positions[0] + [0.0, 0.0, 1.6]
    assert (0, 3) in {change.atoms for change in changes(chain, positions) if not change.broken}


# ---- restraints ---------------------------------------------------------------------------------


def test_what_is_held_has_the_value_it_has():
    mol = molecule("CC(=O)NCC#N")
    positions = conformers.embedded(mol, 1)[0]
    held = [parse_restraint(text) for text in held_torsions(mol, positions)]
    assert held
    for restraint in held:
        turn = (restraint.value(positions) - restraint.target[0] + 180) % 360 - 180
        assert abs(turn) < 1e-3
    bonds = {tuple(sorted(r.atoms[1:3])) for r in held}
    assert (6, 7) not in bonds and (5, 6) not in bonds  # the nitrile is straight
    assert {(1, 2), (2, 4), (4, 5)} <= bonds


def test_a_distance_is_held_at_what_it_was():
    mol = molecule("[O-]C(=O)C[NH3+]")
    start = conformers.embedded(mol, 1)[0]
    end = start.copy()
    end[7] += 3.0
    held = [parse_restraint(text) for text in held_distances(changes(mol, end), start)]
    assert held and all(r.value(start) == pytest.approx(r.target[0], abs=1e-4) for r in held)
