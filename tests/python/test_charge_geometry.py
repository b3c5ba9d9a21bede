"""Conformers that charges start from, and whether a geometry still is its molecule."""

import numpy as np
import pytest
import support  # noqa: F401  (the package from the checkout)

from rdkit import Chem
from rdkit.Chem import rdMolTransforms

from orbitrax.atomic_charges import conformers
from orbitrax.atomic_charges.connectivity import changes
from orbitrax.atomic_charges.restraints import held_distances, held_torsions
from orbitrax.molecules.restraints import parse_restraint


def molecule(smiles: str):
    return Chem.AddHs(Chem.MolFromSmiles(smiles))


def test_the_same_molecule_has_the_same_conformers():
    mol = molecule("CCCCO")
    first, second = conformers.embedded(mol, 3), conformers.embedded(mol, 3)
    assert len(first) == 3 and all(np.array_equal(a, b) for a, b in zip(first, second))


def test_the_lowest_of_several_conformers_is_not_above_the_first():
    mol = molecule("OCCCO")
    first = conformers.relaxed(mol, conformers.embedded(mol, 1)[0])[1]
    assert conformers.relaxed(mol, conformers.lowest(mol, 8))[1] <= first + 1e-4


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
        conformers._set_positions(mol, positions)
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
    positions = conformers.relaxed(mol, conformers.embedded(mol, 1)[0])[0]
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
