"""Where users of ASE look for the calculator: `from orbitrax.ase import Orbitrax`."""

from orbitrax.bridges.ase import Orbitrax

__all__ = ["Orbitrax"]
