"""Every conversion of units, once, under the name of whose it is.

Numbers that nearly agree are different numbers: the backend computes with some of its own, its
report prints with others, and other programs expect theirs. They are not to be unified.
"""

from __future__ import annotations

# Committee on Data for Science and Technology, 2018.
CODATA_ANGSTROM_PER_BOHR = 0.529177210903
CODATA_EV_PER_HARTREE = 27.211386245988
CODATA_WAVENUMBER_PER_EV = 8065.543937
CODATA_KCAL_PER_HARTREE = 627.5095  # for what people read off a scale of colours

# The backend: points and atoms on their way in, and what its report converts with.
WIRE_BOHR_PER_ANGSTROM = 1.889726
REPORT_HARTREE_PER_KCAL = 0.001593569619711464
REPORT_EV_PER_KCAL = 1.0 / 23.061

# Atoms nearer than a tenth of a bohr are refused; the bohr of that rule.
RULE_ANGSTROM_PER_BOHR = 0.52917721

# ASE, which takes the constants of 2014: its eV and its e Angstrom.
ASE_EV_PER_KCAL = 0.04336410390059322
ASE_EANGSTROM_PER_DEBYE = 0.20819433442462576
