"""Bridges to other programs: a calculator of ASE, data of cclib."""
