"""Atomic charges for force fields: AM1-BCC, and the populations that it starts from."""
