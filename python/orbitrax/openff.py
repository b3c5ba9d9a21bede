"""Orbitrax as a toolkit of the Open Force Field registry, where openff-toolkit is installed.

    from openff.toolkit.utils import GLOBAL_TOOLKIT_REGISTRY
    from orbitrax.openff import OrbitraxToolkitWrapper

    GLOBAL_TOOLKIT_REGISTRY.register_toolkit(OrbitraxToolkitWrapper)
    molecule.assign_partial_charges("am1bcc", toolkit_registry=OrbitraxToolkitWrapper())
"""

from __future__ import annotations

from typing import Any

import numpy as np

from orbitrax import __version__
from orbitrax.atomic_charges.assign import assign
from orbitrax.atomic_charges.settings import ChargeSettings
from orbitrax.backend import Backend
from orbitrax.errors import BackendNotFound, OrbitraxError
from orbitrax.link.process import find_backend
from orbitrax.minimise.arrays import Array

try:
    from openff.toolkit import Quantity, unit
    from openff.toolkit.utils.base_wrapper import ToolkitWrapper
    from openff.toolkit.utils.exceptions import (ChargeCalculationError,
                                                 ChargeMethodUnavailableError)
except ImportError as error:
    raise ImportError("orbitrax.openff needs openff-toolkit, which is not installed; "
                      f"'orbitrax charges -o NAME.offxml' needs it not ({error})") from None

# The registry's names, and ours; at most so many conformers are given.
_METHODS = {"am1bcc": ("am1bcc", 1), "am1-mulliken": ("am1-mulliken", 1),
            "am1bccelf10": ("am1bcc-elf10", None)}


class OrbitraxToolkitWrapper(ToolkitWrapper):  # type: ignore[misc]
    """Charges for the molecules of the Open Force Field toolkit; it does nothing else."""

    _toolkit_name = "Orbitrax"
    _toolkit_version = __version__
    _toolkit_installation_instructions = "Build the backend by ./setup in a checkout of Orbitrax."
    _supported_charge_methods = {name: {"rec_confs": 1, "min_confs": 1, "max_confs": most}
                                 for name, (_, most) in _METHODS.items()}

    @classmethod
    def is_available(cls) -> bool:
        """Whether there is a backend to start."""
        try:
            find_backend()
        except BackendNotFound:
            return False
        return True

    def assign_partial_charges(self, molecule: Any, partial_charge_method: str | None = None,
                               use_conformers: Any = None, strict_n_conformers: bool = False,
                               normalize_partial_charges: bool = True,
                               _cls: type | None = None) -> None:
        """Computes partial charges and gives them to `molecule`.

        partial_charge_method: "am1bcc" (default), "am1-mulliken" or "am1bccelf10". use_conformers:
        quantities n x 3 to start from, by default one that RDKit makes; am1bccelf10 chooses from
        its own. The charges sum to the formal charge as they are, so that nothing is left to
        normalise.

        Raises ChargeMethodUnavailableError for another method, ChargeCalculationError where there
        are no charges, and what the base class raises for a wrong number of conformers.
        """
        name = (partial_charge_method or "am1bcc").lower()
        if name not in _METHODS:
            raise ChargeMethodUnavailableError(
                f'Partial charge method "{name}" is not supported by Orbitrax. Available charge '
                f"methods are {list(_METHODS)}")
        model, most = _METHODS[name]
        mol = molecule.to_rdkit()
        mol.RemoveAllConformers()
        if use_conformers is not None and most is not None:
            kind = _cls or type(molecule)
            copy = kind(molecule)
            copy._conformers = list(use_conformers)
            self._check_n_conformers(copy, partial_charge_method=name, min_confs=1, max_confs=most,
                                     strict_n_conformers=strict_n_conformers)
            _give_positions(mol, use_conformers[0].m_as(unit.angstrom))
        try:
            with Backend() as backend:
                found = assign(mol, backend, ChargeSettings(model=model, digits=6),
                               str(molecule.name or name))
        except OrbitraxError as error:
            raise ChargeCalculationError(f"Orbitrax: {error}") from error
        molecule.partial_charges = Quantity(np.array(found.charges), unit.elementary_charge)


def _give_positions(mol: Any, positions: Array) -> None:
    from rdkit import Chem

    conformer = Chem.Conformer(mol.GetNumAtoms())
    for index, place in enumerate(np.asarray(positions, dtype=float).tolist()):
        conformer.SetAtomPosition(index, place)
    mol.AddConformer(conformer)
