"""Orbitrax: semi-empirical quantum chemistry, driven over a packet link.

The package reads molecules and parameter tables, starts the backend process `qsolve`, and turns its
packets into results.

    import orbitrax

    result = orbitrax.energy("water.xyz", "am1")
    print(result.total_energy, "kcal/mol")

Whoever computes much keeps a `Backend` and runs one `Job` after another on it:

    from orbitrax import Backend, Job, read_molecule

    with Backend() as backend:
        for name in ("water.xyz", "ethanol.xyz"):
            print(backend.run(Job(read_molecule(name), "am1")).heat_of_formation)

All errors are `OrbitraxError`. Importing the package is cheap: a name loads its module on first
use, and numpy comes with the first array that is looked at.
"""

from __future__ import annotations

__version__ = "0.1.0"

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any

    from orbitrax.api import energy, optimize, run
    from orbitrax.atomic_charges.api import charges
    from orbitrax.backend import Backend
    from orbitrax.bridges.cclib import to_cclib
    from orbitrax.bulk.api import Record, batch, compute
    from orbitrax.bulk.each import each
    from orbitrax.bulk.recipe import Recipe
    from orbitrax.errors import (BackendDied, BackendNotFound, CalculationFailed, Cancelled,
                                 ConnectRefused, InputError, Interrupted, LinkClosed, LinkError,
                                 MoleculeError, NotConverged, OrbitraxError, OutOfMemory,
                                 ParameterError, ProtocolError, SettingError, Stopped,
                                 TimeLimitExceeded, UsageError)
    from orbitrax.grids.frame import Frame, box_around, plane_through
    from orbitrax.grids.grid import Grid
    from orbitrax.grids.plot import Plot
    from orbitrax.job import Job
    from orbitrax.link.events import Event
    from orbitrax.methods import METHODS, Method, find_method
    from orbitrax.molecules.molecule import Molecule
    from orbitrax.molecules.reading import as_molecule, from_ase, from_smiles, read_molecule
    from orbitrax.molecules.restraints import Restraint
    from orbitrax.orbitals.basis import slater_basis
    from orbitrax.orbitals.molden import write_molden
    from orbitrax.pictures.cube import write_cube
    from orbitrax.pictures.picture import save_picture
    from orbitrax.results.document import schema
    from orbitrax.results.result import Result
    from orbitrax.serve.notebook import show
    from orbitrax.tasks.energy import Energy
    from orbitrax.tasks.langevin import Langevin
    from orbitrax.tasks.md import MolecularDynamics
    from orbitrax.tasks.montecarlo import MonteCarlo
    from orbitrax.tasks.optimize import Optimize
    from orbitrax.tasks.vibrations import Vibrations
    from orbitrax.vibrations.modes import Modes

# The public names by their modules.
_HOMES = {
    "api": "energy optimize run",
    "atomic_charges.api": "charges",
    "backend": "Backend",
    "bridges.cclib": "to_cclib",
    "bulk.api": "Record batch compute",
    "bulk.each": "each",
    "bulk.recipe": "Recipe",
    "errors": "BackendDied BackendNotFound CalculationFailed Cancelled ConnectRefused InputError "
              "Interrupted LinkClosed LinkError MoleculeError NotConverged OrbitraxError "
              "OutOfMemory ParameterError ProtocolError SettingError Stopped TimeLimitExceeded "
              "UsageError",
    "grids.frame": "Frame box_around plane_through",
    "grids.grid": "Grid",
    "grids.plot": "Plot",
    "job": "Job",
    "link.events": "Event",
    "methods": "METHODS Method find_method",
    "molecules.molecule": "Molecule",
    "molecules.reading": "as_molecule from_ase from_smiles read_molecule",
    "molecules.restraints": "Restraint",
    "orbitals.basis": "slater_basis",
    "orbitals.molden": "write_molden",
    "pictures.cube": "write_cube",
    "pictures.picture": "save_picture",
    "results.document": "schema",
    "results.result": "Result",
    "serve.notebook": "show",
    "tasks.energy": "Energy",
    "tasks.langevin": "Langevin",
    "tasks.md": "MolecularDynamics",
    "tasks.montecarlo": "MonteCarlo",
    "tasks.optimize": "Optimize",
    "tasks.vibrations": "Vibrations",
    "vibrations.modes": "Modes",
}
_MODULES = {name: module for module, names in _HOMES.items() for name in names.split()}

__all__ = [
    "__version__", "Backend", "BackendDied", "BackendNotFound", "CalculationFailed", "Cancelled",
    "ConnectRefused", "Energy", "Event", "Frame", "Grid", "InputError", "Interrupted", "Job",
    "Langevin", "LinkClosed", "LinkError", "METHODS", "Method", "Modes", "MolecularDynamics",
    "Molecule", "MoleculeError", "MonteCarlo", "NotConverged", "Optimize", "OrbitraxError",
    "OutOfMemory", "ParameterError", "Plot", "ProtocolError", "Recipe", "Record", "Restraint",
    "Result", "SettingError", "Stopped", "TimeLimitExceeded", "UsageError", "Vibrations",
    "as_molecule", "batch", "box_around", "charges", "compute", "each", "energy", "find_method",
    "from_ase", "from_smiles", "optimize", "plane_through", "read_molecule", "run",
    "save_picture", "schema", "show", "slater_basis", "to_cclib", "write_cube", "write_molden",
]


def __getattr__(name: str) -> Any:
    """The public names, each from its module on first use."""
    if name not in _MODULES:
        raise AttributeError(f"module 'orbitrax' has no attribute '{name}'")
    found = getattr(__import__(f"orbitrax.{_MODULES[name]}", fromlist=[name]), name)
    globals()[name] = found
    return found


def __dir__() -> list[str]:
    return sorted(__all__)
