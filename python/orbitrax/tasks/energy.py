"""The task `energy`: one structure, one calculation, one answer."""

from __future__ import annotations

from orbitrax.settings import declared
from orbitrax.tasks.task import Task

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import ClassVar


@declared
class Energy(Task):
    """Energy, orbitals, charges and dipole of one structure."""

    name: ClassVar[str] = "energy"
    description: ClassVar[str] = "Energy, orbitals, charges and dipole of one structure."
    files: ClassVar[tuple[str, ...]] = ("levels", "molden", "text")
    file_help: ClassVar[str] = (
        "what to write: a picture of the orbital levels, NAME.png, .svg or .pdf; NAME.molden: the "
        "orbitals, for programs that show them; else what would be printed")
    examples: ClassVar[tuple[str, ...]] = (
        "orbitrax energy examples/water.xyz -m am1",
        "orbitrax energy cation.xyz -m pm3 -c 1",
        "orbitrax energy examples/caffeine.xyz -m am1 --json > caffeine.json",
        "orbitrax energy protein.pdb -m am1 --select 1-24,31",
        "cat water.xyz | orbitrax energy - -m mndo --log",
        "orbitrax energy --smiles CCO -m pm3",
    )
