"""Orbitals as functions in space: Slater functions, their Gaussian expansions, Molden files."""
