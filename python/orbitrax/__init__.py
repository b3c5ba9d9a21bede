"""Orbitrax: semi-empirical quantum chemistry, driven over a packet link.

The package reads molecules and parameter tables, starts the backend process `qsolve`, and turns its
packets into results. Importing it is cheap: numpy and ASE are loaded by what needs them.

    from orbitrax import Backend, Job, read_molecule

    with Backend() as backend:
        result = backend.run(Job(read_molecule("water.xyz"), "am1"))
    print(result.total_energy, "kcal/mol")
"""

from __future__ import annotations

import importlib

__version__ = "0.1.0"

_HOMES = {
    "Backend": "backend",
    "Frame": "grids.frame",
    "Energy": "tasks.energy",
    "Grid": "grids.grid",
    "Job": "job",
    "Optimize": "tasks.optimize",
    "Plot": "grids.plot",
    "Molecule": "molecules.molecule",
    "Restraint": "molecules.restraints",
    "Result": "results.result",
    "box_around": "grids.frame",
    "charges": "atomic_charges.api",
    "from_ase": "molecules.reading",
    "from_smiles": "molecules.reading",
    "plane_through": "grids.frame",
    "read_molecule": "molecules.reading",
    "slater_basis": "orbitals.basis",
    "to_cclib": "bridges.cclib",
    "write_molden": "orbitals.molden",
}

__all__ = ["__version__", *sorted(_HOMES)]


def __getattr__(name: str):
    """The public names, each imported from its module on first use."""
    home = _HOMES.get(name)
    if home is None:
        raise AttributeError(f"module 'orbitrax' has no attribute '{name}'")
    return getattr(importlib.import_module(f"orbitrax.{home}"), name)
