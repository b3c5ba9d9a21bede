#!/usr/bin/python3
"""How far gradients at default settings are from differences of energies, and from those of an SCF
to its last digits: the figures of docs/convergence.md.

    benchmarks/gradients.py [--large | --druglike | --distorted] [METHOD ...]

Over the molecules of ASE's collection g2, restricted and unrestricted; or with --large over those
of benchmarks/molecules and forty drug-like ones, closed shells of 25 to 300 orbitals; with
--druglike over 300 drug-like ones; with --distorted over the 300 of distorted_molecules.py, each
in its method, restricted and unrestricted, whose SCFs take up to 350 cycles: the largest
component that differs from that of a sharp SCF, and the slope along one direction at random beside
the difference of two sharp energies on either side (to fourth order). Cases whose neighbours are in
another state are counted apart, and so are half electrons whose mean is no minimum, which have the
gradient of the mean. Slopes of half electrons are told by themselves.
"""

from __future__ import annotations

import sys
from pathlib import Path

import numpy as np

ROOT = Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "python"))

SHARP = 1e-11  # kcal/mol
STEP = 0.001  # Angstrom
BOUND, FURTHER = 1e-3, 1.5e-3  # kcal/(mol Angstrom)
SAME = 1e-5  # kcal/mol: two SCFs of one state
OTHER = 0.1  # kcal/(mol Angstrom): two states of one energy, mirror images mostly


def slope_by_energies(backend, job, energy, direction):
    """Of the energy at its four neighbours, and how far they are from lying on a smooth curve: on
    one with a kink two states meet, each of which is the lower one on its side."""
    energies = []
    for k in (1, -1, 2, -2):
        places = job.molecule.positions + k * STEP * direction
        moved = job.replace(job.molecule.replace(positions=places))
        energies.append(backend.run(moved).total_energy)
    near = (energies[0] - energies[1]) / (2 * STEP)
    far = (energies[2] - energies[3]) / (4 * STEP)
    bends = [(energies[k] + energies[k + 1] - 2 * energy) / STEP for k in (0, 2)]
    return (4 * near - far) / 3, max(abs(near - far), abs(4 * bends[0] - bends[1]) / 2)


def check(backend, molecule, method, unrestricted, randoms):
    """Error of the largest component, of the slope, and how the slope depends on the step; None
    where the two SCFs have found different states, and where the gradient is that of a mean."""
    from orbitrax import Job

    common = {"charge": molecule.charge or 0, "uhf": unrestricted, "rhf": not unrestricted}
    usual = backend.run(Job(molecule, method, **common))
    sharp = Job(molecule, method, scf_limit=SHARP, **common)
    exact = backend.run(sharp)
    if abs(usual.total_energy - exact.total_energy) > SAME:
        return None
    largest = np.abs(usual.gradient - exact.gradient).max()
    if largest > OTHER:
        return None
    if usual.blocks.get("half_electrons", {}).get("gradients_of_mean"):
        return None
    direction = randoms.normal(size=usual.gradient.shape)
    direction /= np.linalg.norm(direction)
    slope, spread = slope_by_energies(backend, sharp, exact.total_energy, direction)
    return largest, abs((usual.gradient * direction).sum() - slope), spread


def small_cases():
    """Name, molecule, and whether it is unrestricted."""
    from ase.build import molecule
    from ase.collections import g2
    from orbitrax import from_ase

    for name in g2.names:
        found = from_ase(molecule(name))
        case = found[0] if isinstance(found, tuple) else found
        for unrestricted in (False, True):
            yield name, case, unrestricted


def large_cases():
    """The same of closed shells, with orbitals that the SCF ends in a frame of."""
    from orbitrax import read_molecule

    for name in ("caffeine", "c16h34", "haloperidol", "w10", "c60", "taxol"):
        yield name, read_molecule(ROOT / "benchmarks" / "molecules" / f"{name}.xyz"), False
    yield from druglike_cases(slice(None, None, 50))


def druglike_cases(which):
    """Some of the drug-like molecules, as RDKit builds them."""
    from orbitrax.molecules.reading import from_smiles

    lines = (ROOT / "tests" / "reference" / "druglike.smi").read_text(encoding="utf-8").splitlines()
    for line in [one for one in lines if not one.startswith("#")][which]:
        yield line.split()[0], from_smiles(line.split()[0]), False


def distorted_cases(key):
    """The distorted molecules of a method."""
    from distorted_molecules import distorted

    for name, molecule, method in distorted():
        for unrestricted in (False, True) if method == key else ():
            yield name, molecule, unrestricted


def cases_of(words):
    """The cases of a method by its key."""
    if "--distorted" in words:
        return distorted_cases
    found = list(large_cases() if "--large" in words else druglike_cases(slice(3, 1803, 6))
                 if "--druglike" in words else small_cases())
    return lambda key: found


def main() -> None:
    from orbitrax import METHODS, Backend
    from orbitrax.errors import OrbitraxError

    chosen = [word for word in sys.argv[1:] if not word.startswith("--")] or [
        method.key for method in METHODS]
    cases = cases_of(sys.argv[1:])
    randoms = np.random.default_rng(5)
    with Backend(time_limit=120) as backend:
        for key in chosen:
            components, slopes, halves, other, refused = [], [], [], 0, 0
            for name, case, unrestricted in cases(key):
                try:
                    errors = check(backend, case, key, unrestricted, randoms)
                except OrbitraxError:
                    refused += 1
                    continue
                if errors is None or errors[2] > OTHER:
                    other += 1
                    continue
                components.append((errors[0], name, unrestricted))
                slopes.append((errors[1], name, unrestricted))
                if not unrestricted and (case.multiplicity or 1) > 1:
                    halves.append((errors[1], name, errors[0]))
            beyond = [sum(c[0] > bound for c in components) for bound in (BOUND, FURTHER)]
            print(f"{key:9} {len(components):4} cases, worst component {max(components)}, slope "
                  f"{max(slopes)}; components beyond {BOUND:g} and {FURTHER:g}: {beyond}, slopes "
                  f"{sum(s[0] > BOUND for s in slopes)}; other states {other}, refused {refused}",
                  flush=True)
            print(f"          {len(halves)} of half electrons, worst slope "
                  f"{max(halves, default=None)}, component "
                  f"{max((one[2] for one in halves), default=None)}, slopes beyond {BOUND:g}: "
                  f"{[one[1] for one in halves if one[0] > BOUND]}", flush=True)


if __name__ == "__main__":
    main()
