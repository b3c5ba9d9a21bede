"""Where users of ASE look: `from orbitrax.ase import Orbitrax, vibrations`."""

from orbitrax.bridges.ase import Orbitrax
from orbitrax.bridges.ase_vibrations import vibrations

__all__ = ["Orbitrax", "vibrations"]
