#!/usr/bin/python3
"""Orbital levels and coefficients as arrays: what the frontier orbitals of a molecule are made of.

    examples/orbitals.py [file] [method]
"""

import sys
from pathlib import Path

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "python"))

import numpy as np  # noqa: E402

from orbitrax import Backend, Job, read_molecule, slater_basis  # noqa: E402


def main(path: str = str(HERE / "formaldehyde.xyz"), method: str = "am1") -> None:
    job = Job(read_molecule(path), method, eigenvectors=True)
    with Backend() as backend:
        result = backend.run(job)
    levels = result.orbital_energies  # eV, ascending
    vectors = result.eigenvectors["alpha"]  # row k is orbital k over the functions of the atoms
    assert np.allclose(vectors @ vectors.T, np.eye(len(levels)), atol=1e-5)
    names = slater_basis(job).labels
    highest = np.flatnonzero(result.occupancies > 0.01)[-1]
    for name, k in (("HOMO", highest), ("LUMO", highest + 1)):
        print(f"{name} {levels[k]:10.4f} eV")
        shares = vectors[k] ** 2
        for i in np.argsort(-shares)[:4]:
            if shares[i] > 5e-4:
                print(f"  {names[i]:<12}{vectors[k, i]:10.4f}{100 * shares[i]:8.1f} %")
    print(f"gap  {levels[highest + 1] - levels[highest]:10.4f} eV")


if __name__ == "__main__":
    main(*sys.argv[1:])
