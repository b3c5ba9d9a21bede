"""The elements: symbols, masses, valences. Tables begin with the dummy atom X."""

from __future__ import annotations

SYMBOLS = (
    "X", "H", "He", "Li", "Be", "B", "C", "N", "O", "F", "Ne", "Na", "Mg", "Al", "Si", "P", "S",
    "Cl", "Ar", "K", "Ca", "Sc", "Ti", "V", "Cr", "Mn", "Fe", "Co", "Ni", "Cu", "Zn", "Ga", "Ge",
    "As", "Se", "Br", "Kr", "Rb", "Sr", "Y", "Zr", "Nb", "Mo", "Tc", "Ru", "Rh", "Pd", "Ag", "Cd",
    "In", "Sn", "Sb", "Te", "I", "Xe", "Cs", "Ba", "La", "Ce", "Pr", "Nd", "Pm", "Sm", "Eu", "Gd",
    "Tb", "Dy", "Ho", "Er", "Tm", "Yb", "Lu", "Hf", "Ta", "W", "Re", "Os", "Ir", "Pt", "Au", "Hg",
    "Tl", "Pb", "Bi", "Po", "At", "Rn", "Fr", "Ra", "Ac", "Th", "Pa", "U", "Np", "Pu", "Am", "Cm",
    "Bk", "Cf", "Es", "Fm", "Md", "No", "Lr", "Rf", "Db",
)

# Standard atomic weights, IUPAC 2013 (Pure Appl. Chem. 88, 265), of elements without one the mass
# of the longest-lived isotope; atomic mass units. A dummy has 1.
MASSES = (
    1.0, 1.008, 4.002602, 6.94, 9.0121831, 10.81, 12.011, 14.007, 15.999, 18.998403163, 20.1797,
    22.98976928, 24.305, 26.9815385, 28.085, 30.973761998, 32.06, 35.45, 39.948, 39.0983, 40.078,
    44.955908, 47.867, 50.9415, 51.9961, 54.938044, 55.845, 58.933194, 58.6934, 63.546, 65.38,
    69.723, 72.63, 74.921595, 78.971, 79.904, 83.798, 85.4678, 87.62, 88.90584, 91.224, 92.90637,
    95.95, 97.90721, 101.07, 102.9055, 106.42, 107.8682, 112.414, 114.818, 118.71, 121.76, 127.6,
    126.90447, 131.293, 132.90545196, 137.327, 138.90547, 140.116, 140.90766, 144.242, 144.91276,
    150.36, 151.964, 157.25, 158.92535, 162.5, 164.93033, 167.259, 168.93422, 173.054, 174.9668,
    178.49, 180.94788, 183.84, 186.207, 190.23, 192.217, 195.084, 196.966569, 200.592, 204.38,
    207.2, 208.9804, 208.98243, 209.98715, 222.01758, 223.01974, 226.02541, 227.02775, 232.0377,
    231.03588, 238.02891, 237.04817, 244.06421, 243.06138, 247.07035, 247.07031, 251.07959,
    252.083, 257.09511, 258.09843, 259.101, 262.11, 267.122, 268.126,
)

NUMBERS = {symbol: number for number, symbol in enumerate(SYMBOLS)}

# First element of each run, valence electrons it begins with; within a run they rise by one.
_RUNS = ((1, 1), (3, 1), (11, 1), (19, 1), (30, 2), (37, 1), (48, 2), (55, 1), (72, 4), (80, 2),
         (87, 1), (104, 4))

CAPPING_VALENCE = 7  # a capping atom ends a cut bond as a halogen does


def _electrons() -> list[int]:
    found = [0]
    for (start, first), (end, _) in zip(_RUNS, (*_RUNS[1:], (len(SYMBOLS), 0))):
        found += range(first, first + end - start)
    return found


# By atomic number; a dummy has none.
VALENCE_ELECTRONS = tuple(_electrons())
VALENCE_ORBITALS = (0, 1, 1, *[4] * 18, *[9] * 9, *[4] * 9, *[9] * 9, *[4] * (len(SYMBOLS) - 48))


def valence_electrons(number: int) -> int:
    """Valence electrons of a neutral atom: those that a method treats; 0 for a dummy (number 0)."""
    return VALENCE_ELECTRONS[max(0, number)]


def valence_orbitals(number: int) -> int:
    """Valence orbitals of an s, sp or spd element, as far as the nine methods go."""
    return VALENCE_ORBITALS[max(0, number)]


def principal_number(number: int) -> int:
    """Principal quantum number of the valence s and p shell: the period of the element."""
    return 1 + sum(number > noble for noble in (2, 10, 18, 36, 54, 86))


def formula_of(symbols: list[str]) -> str:
    """The formula of a list of element symbols: carbon, hydrogen, then the others by name."""
    counts: dict[str, int] = {}
    for symbol in symbols:
        counts[symbol] = counts.get(symbol, 0) + 1
    head = [s for s in ("C", "H") if s in counts] if "C" in counts else []
    order = head + sorted(s for s in counts if s not in head)
    return "".join(s + (str(counts[s]) if counts[s] > 1 else "") for s in order)
