"""Molecules: elements, reading, neighbours, restraints."""
