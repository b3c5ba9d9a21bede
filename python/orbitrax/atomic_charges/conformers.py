"""Starting geometries: RDKit's conformers of a molecule, and those of them that suit charges best.

ELF, electrostatically least-interacting functional groups: of many conformers those are taken in
which polar groups, as if all charges had one sign, lie farthest from each other, so that the
charges do not depend on a hydrogen bond that one conformer happens to have. The rules are those of
OpenEye's Quacpac toolkit ("ELF10": the best 2 %, of them at most 10 that differ most), with the
MMFF94 charges and the order of selection of the Open Force Field toolkit.
"""

from __future__ import annotations

import numpy as np
from rdkit import Chem
from rdkit.Chem import AllChem, rdMolTransforms

from orbitrax.atomic_charges.equal_atoms import ranks_in_space, spelt_alike
from orbitrax.errors import MoleculeError
from orbitrax.minimise.arrays import Array
from orbitrax.molecules.force_field import relaxed, set_positions

SEED = 61453
ELF_CONFORMERS = 500  # from which the selection is made
_SHARE, _MOST = 0.02, 10  # of the conformers, and how many of these at most
_SAME = 0.05  # Angstrom: conformers that differ by less are one
_SHAKE = 0.03  # Angstrom: enough to leave a saddle, not enough to leave a basin
_SOFT = 20.0  # kcal/(mol square Angstrom): what is stiffer is shaken by so much less
_OFF_LINE = 0.3  # Angstrom: an atom so far from a line is not in it
_ACID = Chem.MolFromSmarts("[O;X1]=[C;X3]-[O;X2]-[H]")


def embedded(mol: Chem.Mol, count: int, apart: float = -1.0) -> list[Array]:
    """At most `count` geometries, each n x 3 in Angstrom, by RDKit's distance geometry; always the
    same ones, however the molecule is spelt. Those nearer to one another than `apart`, Angstrom,
    are left out."""
    work, places = spelt_alike(mol)
    found = list(AllChem.EmbedMultipleConfs(work, count, randomSeed=SEED, pruneRmsThresh=apart))
    if not found:
        found = list(AllChem.EmbedMultipleConfs(work, count, randomSeed=SEED, useRandomCoords=True,
                                                pruneRmsThresh=apart))
    if not found:
        raise MoleculeError(f"RDKit finds no geometry for {Chem.MolToSmiles(Chem.RemoveHs(mol))}")
    return [np.array(work.GetConformer(index).GetPositions())[places] for index in found]


def lowest(mol: Chem.Mol, count: int) -> Array:
    """Of `count` conformers, relaxed by the force field, the one of lowest energy, n x 3."""
    minima = [relaxed(mol, positions) for positions in embedded(mol, count)]
    return min(minima, key=lambda pair: pair[1])[0]


def shaken(mol: Chem.Mol, positions: Array, hessian: Array | None) -> Array:
    """Positions, n x 3, moved by a little, always the same seen from the molecule, in whatever
    order its atoms come: a search that begins on a saddle by symmetry, as at an amino group square
    to its ring, would never leave it. hessian: of a force field there, 3n x 3n, kcal/(mol square
    Angstrom), or None: what is stiff moves less, as no saddle is left that way."""
    ranks = ranks_in_space(mol, positions)
    moves = np.random.default_rng(SEED).normal(0.0, _SHAKE, positions.shape)
    moves = moves[ranks] @ _own_axes(positions[np.argsort(ranks)])
    if hessian is not None:
        stiffness, ways = np.linalg.eigh(hessian)
        shares = _SOFT / np.maximum(stiffness, _SOFT)
        moves = (ways @ (shares * (ways.T @ moves.ravel()))).reshape(-1, 3)
    moved: Array = positions + moves
    return moved


def _own_axes(places: Array) -> Array:
    """Three unit vectors, rows, that turn with places, n x 3: along the line of the first two, and
    square to it, the plane being that of the first three that are in none."""
    if len(places) < 2:
        return np.eye(3)
    along = (places[1] - places[0]) / np.linalg.norm(places[1] - places[0])
    across = places - places[0]
    across = across - np.outer(across @ along, along)
    far = np.flatnonzero(np.linalg.norm(across, axis=1) > _OFF_LINE)
    aside = (across[far[0]] if len(far) else  # of a line: any direction square to it
             np.cross(along, np.eye(3)[np.argmin(np.abs(along))]))
    side = aside / np.linalg.norm(aside)
    return np.array([along, side, np.cross(along, side)])


def elf(mol: Chem.Mol, count: int = ELF_CONFORMERS) -> list[Array]:
    """The conformers that ELF10 chooses from `count`, the least interacting first, each n x 3."""
    charges = _mmff_charges(mol)
    pairs = _distant_pairs(mol)
    work = Chem.Mol(mol)
    candidates = []
    for positions in embedded(mol, count, _SAME):
        positions = _with_cis_acids(work, positions)
        candidates.append((_interaction(charges, pairs, positions), positions))
    candidates.sort(key=lambda pair: pair[0])
    kept = candidates[:max(1, int(len(candidates) * _SHARE))]
    heavy = [atom.GetIdx() for atom in mol.GetAtoms() if atom.GetAtomicNum() > 1]
    chosen = _diverse([positions[heavy or [0]] for _, positions in kept])
    return [kept[index][1] for index in chosen]


# ---- how much the groups of a conformer interact ------------------------------------------------


def _mmff_charges(mol: Chem.Mol) -> Array:
    """Sizes of the MMFF94 charges, or of Gasteiger's where a type is missing; n, e."""
    properties = AllChem.MMFFGetMoleculeProperties(mol)
    if properties is not None:
        found = [properties.GetMMFFPartialCharge(i) for i in range(mol.GetNumAtoms())]
    else:
        work = Chem.Mol(mol)
        AllChem.ComputeGasteigerCharges(work)
        found = [atom.GetDoubleProp("_GasteigerCharge") for atom in work.GetAtoms()]
    sizes: Array = np.abs(np.nan_to_num(np.array(found)))
    return sizes


def _distant_pairs(mol: Chem.Mol) -> tuple[Array, Array]:
    """Pairs of atoms that are three bonds apart or more."""
    first, second = np.nonzero(np.triu(Chem.GetDistanceMatrix(mol), 1) > 2.5)
    return first, second


def _interaction(charges: Array, pairs: tuple[Array, Array], positions: Array) -> float:
    first, second = pairs
    distances = np.linalg.norm(positions[first] - positions[second], axis=1)
    return float(np.sum(charges[first] * charges[second] / distances))


def _with_cis_acids(work: Chem.Mol, positions: Array) -> Array:
    """Positions with the hydrogen of each carboxylic acid turned to the side of the other
    oxygen."""
    matches = work.GetSubstructMatches(_ACID)
    if not matches:
        return positions
    set_positions(work, positions)
    conformer = work.GetConformer()
    for oxo, carbon, oxygen, hydrogen in matches:
        rdMolTransforms.SetDihedralDeg(conformer, oxo, carbon, oxygen, hydrogen, 0.0)
    return np.array(conformer.GetPositions())


# ---- conformers that differ ---------------------------------------------------------------------


def _diverse(shapes: list[Array]) -> list[int]:
    """Indices of at most ten shapes, the first always among them: each next one differs most from
    those that are chosen, in the sum of the distances."""
    chosen = [0]
    distances = [[_distance(a, b) for b in shapes] for a in shapes]
    while len(chosen) < min(_MOST, len(shapes)):
        rest = [i for i in range(len(shapes)) if i not in chosen
                and min(distances[i][j] for j in chosen) >= _SAME]
        if not rest:
            break
        chosen.append(max(rest, key=lambda i: sum(distances[i][j] for j in chosen)))
    return chosen


def _distance(a: Array, b: Array) -> float:
    """Root mean square distance of two shapes, n x 3, laid upon each other; W. Kabsch, Acta Cryst.
    A 32, 922 (1976)."""
    a, b = a - a.mean(axis=0), b - b.mean(axis=0)
    u, s, v = (np.asarray(part) for part in np.linalg.svd(a.T @ b))
    if np.linalg.det(u @ v) < 0:
        s[-1] = -s[-1]
    square = (np.sum(a * a) + np.sum(b * b) - 2 * np.sum(s)) / len(a)
    return float(np.sqrt(max(square, 0.0)))
