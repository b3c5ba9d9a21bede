#!/usr/bin/python3
"""Searches of molecules in which three atoms stand in a line, leave one, or come to stand in one:
the figures of docs/optimisers.md.

    benchmarks/near_lines.py [-v] [METHOD ...]

From RDKit's geometry at default limits, in AM1 and PM3 where nothing else is said: cycles and
energies of the quasi-Newton search and of eigenvector following, and where one ends higher than the
other by more than 0.01 kcal/mol. -v shows every molecule.
"""

from __future__ import annotations

import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "python"))

SMILES = """
[CH-]=C [CH]=C [CH]=O N=C=O N=C=S C=C=O CC=C=O C=C=C CC=C=CC CN=[N+]=[N-] c1ccccc1N=[N+]=[N-]
[CH2+]C#C [CH2]C#C CN=C=NC C(C)(C)N=C=NC(C)C N=C=N CN=C=O c1ccccc1N=C=O CN=C=S c1ccccc1N=C=S
COC#N CSC#N OC#N [CH-]=CC C[C-]=C c1cccc[c-]1 [CH]=CC C[C]=C [C-]#CC C[N+]#[C-] C[N+]#N
c1ccccc1[N+]#N C=[N+]=[N-] [O-][N+]#N C#CC#C CC#CC C=C=C=C O=C=C=C=O C[C]=O C[C+]=O C=[C+]C
[CH2+]C=C [N-]=[N+]=[N-] [NH-]C#N C#C[O-] C=C=N C=C=[N-] [CH-]=N C=[N-] CC#[N+][O-] C#[N+][O-]
FC=C=O C1CC1=C=O [C-](=C=O)C [CH]=C=O O=C=NC#N N#CN=[N+]=[N-] [SiH3]N=C=O [CH]=C=C C=[C]C=C
[H]C(=C)[O-] [NH]C=O C[C]=C(C)C O=[N+]=O [O-]N=O C=[N+]=C C[O+]=C=C CC(=[C-]C)C N#CC(C#N)=C=O
""".split()
WAYS = ("quasi-newton", "ef")
HIGHER = 0.01  # kcal/mol


def main() -> None:
    from orbitrax import Backend, Job, Optimize
    from orbitrax.molecules.reading import from_smiles

    verbose = "-v" in sys.argv
    methods = [word for word in sys.argv[1:] if word != "-v"] or ["am1", "pm3"]
    sums = {way: [0, 0, 0] for way in WAYS}
    with Backend(time_limit=60) as backend:
        for text in SMILES:
            molecule = from_smiles(text)
            for method in methods:
                found = [backend.run(Job(molecule, method, Optimize(optimizer=way)))
                         for way in WAYS]
                lowest = min(one.total_energy for one in found)
                for way, one in zip(WAYS, found):
                    higher = one.total_energy - lowest > HIGHER
                    for place, count in enumerate((one.cycles, one.energy_points, higher)):
                        sums[way][place] += count
                if verbose:
                    counts = " ".join(f"{one.cycles:5}{one.energy_points:5}"
                                      f"{one.total_energy - lowest:9.4f}" for one in found)
                    print(f"{text:28} {method:8}{counts}", flush=True)
    print(f"{len(SMILES) * len(methods)} searches")
    for way, (cycles, energies, higher) in sums.items():
        print(f"{way:14} {cycles} cycles, {energies} energies, {higher} end higher")


if __name__ == "__main__":
    main()
