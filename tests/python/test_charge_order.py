"""Neither the order of the atoms nor the spelling of a molecule makes a difference."""

import json

import numpy as np
import pytest
import support  # noqa: F401  (the package from the checkout)

from rdkit import Chem

from orbitrax.atomic_charges.equal_atoms import ranks_in_space, spelt_alike
from orbitrax.atomic_charges.conformers import embedded, lowest
from orbitrax.molecules.force_field import set_positions

# Phosphate, azide, zwitterion with a centre and a double bond, ring with an exocyclic nitrogen.
MOLECULES = ("COP(=O)(OC)SCC1Oc2ccc(C=CN=[N+]=[N-])cc2O1", "[O-]C(=O)/C=C/[C@H](F)C[NH3+]",
             "CC(C)C(=O)OC", "NC(=S)NNC(=O)c1ccccc1", "O")


def molecule(smiles: str):
    return Chem.AddHs(Chem.MolFromSmiles(smiles))


def shuffled(mol, seed):
    """The molecule with its atoms in another order, which is returned too."""
    order = np.random.default_rng(seed).permutation(mol.GetNumAtoms())
    return Chem.RenumberAtoms(mol, order.tolist()), order


def spelt_otherwise(mol, seed):
    """The molecule from a SMILES that begins elsewhere, bonds in another order, too; and which of
    its own atoms each one was."""
    numbered = shuffled(mol, seed)
    text = Chem.MolToSmiles(numbered[0], canonical=False)
    rules = Chem.SmilesParserParams()
    rules.removeHs = False
    written = json.loads(numbered[0].GetProp("_smilesAtomOutputOrder").replace(",]", "]"))
    return Chem.MolFromSmiles(text, rules), numbered[1][written]


@pytest.mark.parametrize("smiles", MOLECULES)
def test_a_molecule_and_its_other_spelling_are_spelt_alike(smiles):
    mol = molecule(smiles)
    first, places = spelt_alike(mol)
    for seed in (1, 2, 3):
        other, order = spelt_otherwise(mol, seed)
        second, there = spelt_alike(other)
        assert Chem.MolToMolBlock(second) == Chem.MolToMolBlock(first)
        assert sorted(there) == list(range(mol.GetNumAtoms()))
        for atom in other.GetAtoms():
            assert (second.GetAtomWithIdx(int(there[atom.GetIdx()])).GetAtomicNum()
                    == atom.GetAtomicNum())
    for bond in mol.GetBonds():
        ends = places[[bond.GetBeginAtomIdx(), bond.GetEndAtomIdx()]].tolist()
        assert first.GetBondBetweenAtoms(*ends) is not None


@pytest.mark.parametrize("smiles", MOLECULES)
def test_another_spelling_has_the_same_conformer(smiles):
    mol = molecule(smiles)
    other, order = spelt_otherwise(mol, 4)
    for make in (lowest, lambda *words: embedded(*words)[0]):
        heavy = np.array([atom.GetAtomicNum() > 1 for atom in mol.GetAtoms()])
        again = np.empty((mol.GetNumAtoms(), 3))
        again[order] = make(other, 1)
        # Hydrogens of one group may have changed places.
        first, second = (p[heavy] for p in (make(mol, 1), again))
        apart = [np.sort(np.linalg.norm(p[:, None] - p, axis=2), axis=None)
                 for p in (first, second)]
        assert apart[1] == pytest.approx(apart[0], abs=1e-6)


def test_a_conformer_keeps_the_atoms_where_they_belong():
    mol = shuffled(molecule(MOLECULES[1]), 7)[0]
    seen = Chem.Mol(mol)
    set_positions(seen, embedded(mol, 1)[0])
    Chem.AssignStereochemistryFrom3D(seen)
    assert Chem.MolToSmiles(Chem.RemoveHs(seen)) == Chem.CanonSmiles(MOLECULES[1])


@pytest.mark.parametrize("smiles", MOLECULES)
def test_atoms_have_their_ranks_in_whatever_order_and_place_they_come(smiles):
    mol = molecule(smiles)
    positions = embedded(mol, 1)[0]
    first = ranks_in_space(mol, positions)
    assert sorted(first) == list(range(mol.GetNumAtoms()))
    turn, _ = np.linalg.qr(np.random.default_rng(5).normal(size=(3, 3)))
    turn *= np.linalg.det(turn)
    for seed in (1, 2, 3):
        other, order = shuffled(mol, seed)
        ranks = ranks_in_space(other, positions[order] @ turn + 4.0)
        # Water's hydrogens are alike, and may change places.
        places = [positions[np.argsort(first)], positions[order[np.argsort(ranks)]]]
        apart = [np.linalg.norm(p[:, None] - p, axis=2) for p in places]
        assert apart[1] == pytest.approx(apart[0], abs=2e-6)


def test_hydrogens_on_two_sides_of_a_mirror_have_their_ranks_by_the_side():
    """Chlorofluoromethane, whose hydrogens nothing but their side tells apart: the mirror image
    has them changed."""
    mol = molecule("FCCl")
    positions = np.array([[1.3, -0.4, 0.0], [0.0, 0.3, 0.0], [-1.4, -0.7, 0.0],
                          [0.05, 0.95, 0.9], [0.05, 0.95, -0.9]])
    first = ranks_in_space(mol, positions)
    second = ranks_in_space(mol, positions * [1, 1, -1])
    assert first[[3, 4]].tolist() == second[[4, 3]].tolist()
