"""Minima of a molecule's energy: a quasi-Newton search in internal coordinates.

It knows molecules as elements, positions and bonds, and the energy as a function that it is given.
"""

from orbitrax.minimise.quasi_newton import Limits, Minimum, minimise

__all__ = ["Limits", "Minimum", "minimise"]
