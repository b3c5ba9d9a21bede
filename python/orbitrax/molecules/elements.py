"""Symbols and valences, for what must not wait for ASE to load."""

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

NUMBERS = {symbol: number for number, symbol in enumerate(SYMBOLS)}

# First element of each run, valence electrons it begins with; within a run they rise by one.
_RUNS = ((1, 1), (3, 1), (11, 1), (19, 1), (30, 2), (37, 1), (48, 2), (55, 1), (72, 4), (80, 2),
         (87, 1), (104, 4))

CAPPING_VALENCE = 7  # a capping atom ends a cut bond as a halogen does


def valence_electrons(number: int) -> int:
    """Valence electrons of a neutral atom: those that a method treats; 0 for a dummy (number 0)."""
    if number <= 0:
        return 0
    if number == 2:
        return 2
    start, first = max(run for run in _RUNS if run[0] <= number)
    return first + number - start


def valence_orbitals(number: int) -> int:
    """Valence orbitals of an s, sp or spd element, as far as the nine methods go."""
    if number <= 0:
        return 0
    if number <= 2:
        return 1
    return 9 if 21 <= number <= 29 or 39 <= number <= 47 else 4


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
