"""The front door of the package: one question, one call."""

from __future__ import annotations

from orbitrax.backend import Backend
from orbitrax.errors import UsageError
from orbitrax.molecules.reading import as_molecule, from_smiles
from orbitrax.tasks.registry import usual_task

TYPE_CHECKING = False
if TYPE_CHECKING:
    import os
    from typing import Any

    from orbitrax.methods import Method
    from orbitrax.results.result import Result
    from orbitrax.tasks.task import Task


def run(molecule: Any = None, method: Method | str | int = "am1", task: Task | str = "energy", *,
        smiles: str | None = None, backend: Backend | str | os.PathLike[str] | None = None,
        tables: str | os.PathLike[str] | None = None, time_limit: float | None = None,
        **settings: Any) -> Result:
    """Runs a task for a molecule and returns its result.

    molecule: what `as_molecule` takes: a path, a Molecule, an ASE Atoms object, or symbols and
    positions; or give a SMILES string as `smiles`. task: its name, as on the command line, or its
    settings, as Optimize(limit=0.01); further settings by name. backend: the program to start, None
    for the usual one, or a Backend that goes on living. tables, time_limit: as `Backend` has them.

        orbitrax.run("water.xyz", "pm3").heat_of_formation
        orbitrax.run((["O", "H", "H"], positions), "am1", "optimize", limit=0.01).coordinates
        orbitrax.run(smiles="CCO", method="mndo").dipole

    Raises NotConverged for values that are not to be believed (its `partial` has them), and what
    `Backend.run` raises.
    """
    chosen = (usual_task(task) if isinstance(task, str) else task).replace(**settings)
    known = chosen.own_molecule()
    if (molecule is not None) + (smiles is not None) + (known is not None) != 1:
        raise UsageError("give a molecule or smiles, and not both" if known is None else
                         "a run that goes on takes its molecule from there; give no other")
    found = known or (from_smiles(smiles) if smiles is not None else as_molecule(molecule))
    one = chosen.start(found, method)
    if isinstance(backend, Backend):
        return one.execute(backend)
    with Backend(backend, tables, time_limit) as own:
        return one.execute(own)


def energy(molecule: Any, method: Method | str | int = "am1", *,
           backend: Backend | str | os.PathLike[str] | None = None,
           time_limit: float | None = None, **settings: Any) -> Result:
    """The energy of one structure, with orbitals, charges, dipole and gradient.

        orbitrax.energy("water.xyz", "pm3").heat_of_formation
        orbitrax.energy("CC(=O)[O-]").charges

    molecule, method, backend, time_limit, settings, errors: as `run` has them.
    """
    return run(molecule, method, "energy", backend=backend, time_limit=time_limit, **settings)


def optimize(molecule: Any, method: Method | str | int = "am1", *,
             backend: Backend | str | os.PathLike[str] | None = None,
             time_limit: float | None = None, **settings: Any) -> Result:
    """The nearest structure of lowest energy.

        orbitrax.optimize("caffeine.xyz", "pm3", limit=0.01).coordinates
        orbitrax.optimize("ethanol.xyz", freeze=[1, 2], fix=["torsion 1 2 3 4 60"])

    molecule, method, backend, time_limit, settings, errors: as `run` has them.
    """
    return run(molecule, method, "optimize", backend=backend, time_limit=time_limit, **settings)
