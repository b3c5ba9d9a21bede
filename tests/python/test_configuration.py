"""Which structures of the same bonds are one molecule, beside what RDKit's SMILES say."""

import numpy as np
import pytest
from rdkit import Chem

import orbitrax
from orbitrax import Backend
from orbitrax.molecules.reading import from_smiles
from orbitrax.reactions.barrier import Barrier, _name
from orbitrax.reactions.configuration import classes, first_difference
from orbitrax.reactions.surface import EnergySurface


def drawn(smiles):
    """Numbers, bonds and orders of a SMILES, and places of its atoms."""
    graph = Chem.AddHs(Chem.MolFromSmiles(smiles))
    Chem.Kekulize(graph)
    orders = np.zeros((graph.GetNumAtoms(),) * 2)
    for bond in graph.GetBonds():
        a, b = bond.GetBeginAtomIdx(), bond.GetEndAtomIdx()
        orders[a, b] = orders[b, a] = bond.GetBondTypeAsDouble()
    bonds = [np.nonzero(row)[0].tolist() for row in orders]
    molecule = from_smiles(smiles)
    return molecule.numbers, bonds, orders, np.array(molecule.positions)


@pytest.mark.parametrize("one, other, where", [
    ("C/C=C/C", r"C/C=C\C", (1, 2)),
    ("C/C=N/O", r"C/C=N\O", (1, 2)),
    ("F/C(Cl)=C(F)/Cl", r"F/C(Cl)=C(F)\Cl", (1, 3)),
    ("C[C@H](O)F", "C[C@@H](O)F", (1,)),
    ("C[S@](=O)CC", "C[S@@](=O)CC", (1,)),
    ("C=CC=C", "C=CC=C", None),
    ("CC(=O)NC", "CC(=O)NC", None),
])
def test_configurations_differ_where_smiles_differ(one, other, where):
    numbers, bonds, orders, places = drawn(one)
    assert first_difference(numbers, bonds, orders, places, drawn(other)[3]) == where
    assert first_difference(numbers, bonds, orders, places, places) is None


def test_a_mirror_image_is_another_molecule_only_where_there_is_a_centre():
    for smiles, same in (("CCCC", True), ("CN(CC)C(C)C", True), ("OC=C", True),
                         ("CC(F)Cl", False)):
        numbers, bonds, orders, places = drawn(smiles)
        found = first_difference(numbers, bonds, orders, places, places * [1, 1, -1])
        assert (found is None) == same, smiles


def turned(place, centre, axis, angle):
    """A point, turned about an axis through a centre, by Rodrigues' formula."""
    arm = place - centre
    return (centre + arm * np.cos(angle) + np.cross(axis, arm) * np.sin(angle)
            + axis * (axis @ arm) * (1 - np.cos(angle)))


def test_turning_about_single_bonds_changes_no_configuration():
    numbers, bonds, orders, places = drawn("OCC(F)C=CC")
    axis = (places[2] - places[1]) / np.linalg.norm(places[2] - places[1])
    near = {0, *bonds[1], *bonds[0]} - {1, 2}
    for angle in (1.0, 2.0, 3.0):
        other = np.array([turned(place, places[1], axis, angle) if k in near else place
                          for k, place in enumerate(places)])
        assert first_difference(numbers, bonds, orders, places, other) is None


def test_atoms_alike_have_one_class():
    numbers, bonds, _, _ = drawn("CC(C)O")
    kinds = classes(numbers, bonds)
    assert kinds[0] == kinds[2] and len(set(kinds)) == 6
    assert len({kinds[k] for k in range(len(numbers)) if numbers[k] == 1}) == 3


def test_an_end_with_a_double_bond_turned_is_not_the_product():
    with Backend() as backend:
        ring, cis, trans = (orbitrax.optimize(from_smiles(smiles), "am1", backend=backend)
                            for smiles in ("C1CCC1", r"C/C=C\C", "C/C=C/C"))
        surface = EnergySurface(backend, from_smiles("C/C=C/C"), "am1", {})
        gap = trans.total_energy - cis.total_energy
        assert _name(trans, Barrier(ring, cis), surface) == (
            f"another configuration of the product (C2=C3 has turned; {gap:+.2f} kcal/mol)")
        # Between the two of them either is told from the other, and from its own conformations.
        assert _name(cis, Barrier(trans, cis), surface) == "the product"
        turned = orbitrax.energy(drawn_out(cis), "am1", backend=backend)
        assert _name(turned, Barrier(trans, cis), surface).startswith(
            "the product, in another conformation (+")


def drawn_out(result):
    """The structure with the hydrogens of a methyl group turned by 60 degrees."""
    places = np.asarray(result.coordinates).reshape(-1, 3)
    axis = (places[1] - places[0]) / np.linalg.norm(places[1] - places[0])
    return result.symbols, [
        turned(place, places[0], axis, np.pi / 3) if k in (4, 5, 6) else place
        for k, place in enumerate(places)]
