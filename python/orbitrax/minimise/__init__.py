"""Minima of a molecule's energy: a quasi-Newton search in internal coordinates.

It knows molecules as elements, positions and bonds, and the energy as a function that it is given.
"""

from orbitrax.minimise.constraints import Constraint
from orbitrax.minimise.quasi_newton import Limits, Minimum, Stage, minimise

__all__ = ["Constraint", "Limits", "Minimum", "Stage", "minimise"]
