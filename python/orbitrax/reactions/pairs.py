"""Two structures of the same atoms: whether they are, in which order, and one laid upon the
other."""

from __future__ import annotations

import warnings
from typing import Any

import numpy as np
from scipy.spatial.transform import Rotation

from orbitrax.errors import MoleculeError
from orbitrax.molecules.molecule import Molecule

Array = Any


def check_pair(reactant: Molecule, product: Molecule) -> None:
    """Raises MoleculeError for two molecules whose atoms are not the same, one by one."""
    first, second = list(reactant.symbols), list(product.symbols)
    if sorted(first) != sorted(second):
        raise MoleculeError(
            f"{reactant.title} and {product.title} are not the same atoms ({_formula(first)} and "
            f"{_formula(second)}); a reaction keeps its atoms: give both sides whole")
    for number, (one, other) in enumerate(zip(first, second), 1):
        if one != other:
            raise MoleculeError(
                f"the atoms of {reactant.title} and {product.title} stand in another order (atom "
                f"{number} is {one} in one and {other} in the other); --reorder finds an order by "
                "the bonds, or put them in the same order yourself")


def _formula(symbols: list[str]) -> str:
    return "".join(f"{one}{symbols.count(one) if symbols.count(one) > 1 else ''}"
                   for one in sorted(set(symbols)))


def superposed(positions: Array, onto: Array) -> Array:
    """Positions, n x 3, moved and turned as a whole to lie as near as they can to others."""
    centre = onto.mean(axis=0)
    moved = positions - positions.mean(axis=0)
    if len(moved) < 2:
        return moved + centre
    with warnings.catch_warnings():  # of a line, any turn about it is as good
        warnings.simplefilter("ignore", UserWarning)
        turn, _ = Rotation.align_vectors(onto - centre, moved)
    found: Array = turn.apply(moved) + centre
    return found


def distance(positions: Array, other: Array) -> float:
    """How far two structures are apart once they lie upon each other: RMS, Angstrom."""
    left = superposed(positions, other) - other
    return float(np.sqrt(np.mean(np.sum(left ** 2, axis=1))))


def matrix_difference(positions: Array, other: Array) -> float:
    """The largest difference of a distance between two atoms, Angstrom: mirror images are one."""
    def distances(places: Array) -> Array:
        return np.linalg.norm(places[:, None] - places[None], axis=2)

    return float(np.max(np.abs(distances(positions) - distances(other))))


def reordered(product: Molecule, reactant: Molecule) -> Molecule:
    """The product with its atoms in the order of the reactant, by the largest part of the bonds
    that both share, and what is left by the elements. Raises MoleculeError where that is not
    unique enough to be found."""
    from orbitrax.molecules.by_rdkit import chem

    chem()
    from rdkit.Chem import rdFMCS

    graphs = [_graph(molecule) for molecule in (reactant, product)]
    common = rdFMCS.FindMCS(graphs, bondCompare=rdFMCS.BondCompare.CompareAny, timeout=10)
    from rdkit import Chem

    pattern = Chem.MolFromSmarts(common.smartsString) if common.numAtoms else None
    if pattern is None:
        raise MoleculeError("the two sides have no bonds in common; put their atoms in the same "
                            "order yourself")
    matches = [graph.GetSubstructMatch(pattern) for graph in graphs]
    order: dict[int, int] = dict(zip(matches[0], matches[1]))
    left = [j for j in range(len(product)) if j not in order.values()]
    for i, symbol in enumerate(reactant.symbols):
        if i in order:
            continue
        fitting = [j for j in left if product.symbols[j] == symbol]
        if not fitting:
            raise MoleculeError("no order of the atoms of the product fits; put them in the same "
                                "order yourself")
        order[i] = fitting[0]
        left.remove(fitting[0])
    places = np.asarray(product.positions)[[order[i] for i in range(len(reactant))]]
    return reactant.replace(positions=places, title=product.title)


def _graph(molecule: Molecule) -> Any:
    """Elements and bonds, all alike, as RDKit has them."""
    from rdkit import Chem

    from orbitrax.molecules.geometry import find_bonds

    graph = Chem.RWMol()
    for number in molecule.z:
        atom = Chem.Atom(int(number))
        atom.SetNoImplicit(True)
        graph.AddAtom(atom)
    for i, others in enumerate(find_bonds(molecule.numbers, molecule.positions)):
        for j in others:
            if i < j:
                graph.AddBond(i, int(j), Chem.BondType.SINGLE)
    return graph.GetMol()
