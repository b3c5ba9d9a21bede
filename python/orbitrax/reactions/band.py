"""A guess of a saddle point by a band of structures between two minima, that relaxes together with
its highest one climbing (G. Henkelman, B. P. Uberuaga, H. Jonsson, J. Chem. Phys. 113, 9901
(2000)), as ASE has it."""

from __future__ import annotations

from typing import Any, Callable

import numpy as np
from ase import Atoms
from ase.calculators.calculator import Calculator, all_changes
from ase.neb import NEB
from ase.optimize import FIRE
from ase.units import kcal, mol

from orbitrax.errors import NotConverged
from orbitrax.reactions.guess import images_between
from orbitrax.reactions.surface import EnergySurface

Array = Any

_IMAGES = 9
_FORCE = 0.15  # eV/Angstrom: near enough for eigenvector following
_STEPS = 120
_UNIT = kcal / mol  # in eV


class _Shared(Calculator):  # type: ignore[misc]
    """The surface, as ASE asks for it."""

    implemented_properties = ["energy", "forces"]

    def __init__(self, surface: EnergySurface):
        super().__init__()
        self._surface = surface

    def calculate(self, atoms: Any = None, properties: Any = ("energy",),
                  system_changes: Any = all_changes) -> None:
        super().calculate(atoms, properties, system_changes)
        energy, gradient = self._surface(self.atoms.positions)
        self.results = {"energy": energy * _UNIT, "forces": -gradient * _UNIT}


def highest_of_band(surface: EnergySurface, reactant: Any, product: Any,
                    on_step: Callable[[int], None] | None = None) -> Array:
    """The highest structure of a relaxed band, n x 3. reactant, product: molecules in their minima.
    Raises NotConverged where the band has no top between its ends."""
    places = images_between(reactant, product, _IMAGES)
    images = [Atoms(numbers=reactant.numbers, positions=one) for one in places]
    for image in images:
        image.calc = _Shared(surface)
    band = NEB(images, climb=True, method="improvedtangent")
    search = FIRE(band, logfile=None, dt=0.05, maxstep=0.1)
    steps = 0
    for _ in search.irun(fmax=_FORCE, steps=_STEPS):
        steps += 1
        if on_step is not None:
            on_step(steps)
    energies = [image.get_potential_energy() for image in images]
    top = int(np.argmax(energies))
    if top in (0, len(images) - 1):
        raise NotConverged("a band of structures between the two sides has no top: there is no "
                           "barrier between them, or another minimum on the way")
    found: Array = images[top].positions
    return found
