"""Twenty-eight radicals of 58 to 115 orbitals, of which nearly all end their SCF in a frame: as
they are built, in three methods, and in five shapes that no search would leave as they are."""

from __future__ import annotations

from distorted_molecules import shapes

METHODS = ("am1", "pm3", "mndo")
SMILES = """
[CH2]CCCCCCCCCCCCCCC C[CH]CCCCCCCCCCC CC(C)([CH2])CCCCCCCC CC(C)C[C](CC(C)C)CC(C)C
CCCCCCCCC[CH]CCCCCCCCC [CH]=CCCCCCCCCCCCC CCCCCCCCCCCC[C]=O CCCCCCCCCCCCO[O] CCCCCCCCCCCC[O]
CCCCCCCCCCCC[S] CCCCCCC[N]CCCCCCC [O]c1ccc(CCCCCC)cc1 [O]c1ccc(CCCCCCCCCC)cc1
[O]c1c(C(C)(C)C)cc(C)cc1C(C)(C)C [O]c1c(C)cc(C=C2C=C(C)C(=O)C(C)=C2)cc1C
CC1(C)CCCC(C)(C)N1[O] CC(=O)NC1CC(C)(C)N([O])C(C)(C)C1 CCCCN([O])CCCC CCCCCCCN([O])CCCCCCC
CC1(C)N([O])C(c2ccccc2)=[N+]([O-])C1(C)C [CH2]c1ccc(CCCCCCCC)cc1 [CH2]c1cccc2c(CCCC)cccc12
c1ccccc1[C](c1ccccc1)c1ccccc1 CCCC[C]1c2ccccc2-c2ccccc21 [CH2]C=CC=CC=CC=CC=CCCCC
CC(=O)N[C](C)C(=O)NC(C)C(=O)NC c1ccccc1N([N]c1ccccc1)c1ccccc1 CN1N=C(c2ccccc2)[N]N(C)C1
""".split()


def large_radicals():
    """Name, molecule and method of each case."""
    from orbitrax import from_smiles

    number = 0
    for text in SMILES:
        molecule = from_smiles(text)
        for method in METHODS:
            yield text, molecule, method
        for name, shape in shapes(molecule):
            yield f"{text} {name}", shape, METHODS[number % len(METHODS)]
            number += 1
