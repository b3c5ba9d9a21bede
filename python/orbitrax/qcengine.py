"""Importing this makes Orbitrax a program of QCEngine; see `orbitrax.bridges.qcengine`."""

from orbitrax.bridges.qcengine import OrbitraxHarness, register

__all__ = ["OrbitraxHarness", "register"]
