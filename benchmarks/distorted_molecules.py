"""Three hundred molecules that no search would leave as they are.

What SMILES make, and five complexes of metals: shaken, squeezed, widened and with a bond drawn out,
in turn through the methods."""

from __future__ import annotations

import sys
from pathlib import Path

import numpy as np

FOLDER = Path(__file__).resolve().parent / "hard"
SMILES = """
C=C C#C C=O O=C=O N#N CO CN CF CCl CBr CS CC#N C=CC=C c1ccccc1 C1CC1 OO NN NO ON=O C[N+](=O)[O-]
O=S=O CS(C)=O O=S(=O)(O)O P FP(F)F C[Si](C)(C)C ClC(Cl)=C(Cl)Cl FC(F)=C(F)F
[OH-] [NH4+] [OH3+] [C-]#N [CH3+] [CH3-] C[O-] CC(=O)[O-] C[NH3+] [O-]Cl=O [N-]=[N+]=[N-]
[O-][N+]([O-])=O
[CH3] [NH2] [OH] C[CH2] [CH]=C C[O] O=[N] O=N[O] [CH2]c1ccccc1 [CH2]C=C
[NH3+]CC(=O)[O-] [NH3+]CC[O-] C[N+](C)(C)CC(=O)[O-] C=[N+]=[N-] [O-][O+]=O
""".split()
COMPLEXES = ("titanium_tetrachloride", "nickel_carbonyl", "ferrocene", "chromium_carbonyl",
             "permanganate")
_SEED = 20


def _drawn(positions, bonds, factor):
    """One bond drawn out, with the atoms behind its second end; in a ring that end alone."""
    i, j = bonds[len(bonds) // 2]
    behind, todo = {j}, [j]
    while todo:
        k = todo.pop()
        for a, b in bonds:
            other = b if a == k else a if b == k else None
            if other is not None and {k, other} != {i, j} and other not in behind:
                behind.add(other)
                todo.append(other)
    moved = positions.copy()
    behind = {j} if i in behind else behind
    moved[sorted(behind)] += (factor - 1.0) * (positions[j] - positions[i])
    return moved


def shapes(molecule):
    """Names and molecules, five of one."""
    from orbitrax.molecules.geometry import find_bonds

    places = molecule.positions
    near = find_bonds(molecule.numbers, places)
    bonds = [(i, j) for i, others in enumerate(near) for j in others if i < j]
    shaken = places + np.random.default_rng(_SEED).normal(0.0, 0.12, places.shape)
    shapes = [("shaken", shaken), ("squeezed", 0.85 * places), ("wide", 1.25 * places)]
    shapes += [(f"drawn to {factor:g}", _drawn(places, bonds, factor)) for factor in (1.5, 2.0)]
    return [(name, molecule.replace(positions=where)) for name, where in shapes]


def distorted():
    """Name, molecule and method of each case."""
    from orbitrax import METHODS, from_smiles, read_molecule
    from orbitrax.errors import OrbitraxError
    from orbitrax.tables import load_parameters

    number = 0
    made = [(text, lambda text=text: from_smiles(text)) for text in SMILES]
    made += [(name, lambda name=name: read_molecule(FOLDER / f"{name}.xyz")) for name in COMPLEXES]
    for text, make in made:
        try:
            molecule = make()
        except OrbitraxError as error:
            print(f"{text}: {error}", file=sys.stderr)
            continue
        if text in COMPLEXES:
            molecule = molecule.replace(charge=-1 if text == "permanganate" else 0)
        able = [method for method in METHODS
                if {*molecule.z} <= (tables := load_parameters(method)).elements
                and tables.missing_pair(molecule.z) is None]
        for name, shape in shapes(molecule):
            yield f"{text} {name}", shape, able[number % len(able)].key
            number += 1
