"""Vibrations for ASE.

    from ase.build import molecule
    from orbitrax.ase import vibrations

    data = vibrations(molecule("H2O"), method="am1", optimize=True)
    print(data.tabulate())

`data` is an `ase.vibrations.VibrationsData`: energies, modes, zero-point energy, files, all in
ASE's units, from the force matrix of the backend in place of many calls of a calculator.
"""

from __future__ import annotations

from ase.vibrations import VibrationsData

from orbitrax.backend import Backend
from orbitrax.bridges.ase import ase_errors
from orbitrax.molecules.reading import from_ase
from orbitrax.tasks.vibrations import Vibrations
from orbitrax.units import ASE_EV_PER_KCAL

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any


def vibrations(atoms: Any, method: str = "am1", backend: Backend | None = None,
               **settings: Any) -> VibrationsData:
    """The vibrations of an Atoms object at its geometry, or at the nearest minimum with
    optimize=True. settings: those of `orbitrax.Vibrations`; backend: one that goes on living.

    Raises what the calculator raises, SCFError among it for a geometry that is no stationary
    point.
    """
    with ase_errors():
        run = Vibrations(**settings).start(from_ase(atoms, atoms.get_chemical_formula()), method)
        if backend is None:
            with Backend() as own:
                result = run.execute(own)
        else:
            result = run.execute(backend)
    modes = result.modes
    assert modes is not None
    found = atoms.copy()
    found.set_positions(result.coordinates)
    found.set_masses(run.job.masses)
    return VibrationsData.from_2d(found, ASE_EV_PER_KCAL * modes.hessian,
                                  indices=list(modes.atoms))
