"""What is odd about a result, in words: what a careful reader would see in its numbers."""

from __future__ import annotations

from array import array

from orbitrax.molecules.elements import NUMBERS
from orbitrax.molecules.geometry import pairs_nearer
from orbitrax.molecules.looks import RADII

TYPE_CHECKING = False
if TYPE_CHECKING:
    from orbitrax.molecules.molecule import Molecule
    from orbitrax.results.result import Result

_SMALL_GAP = 3.0  # eV, of a closed shell
_IMPURE = 0.1  # of S^2 beyond that of the pure spin
_PRESSED = 0.6  # of the sum of the covalent radii
_MOST_ATOMS = 2000  # of which distances are looked at
_FLAT = 1e-4  # Angstrom


def oddities(result: Result, start: Molecule | None = None) -> list[str]:
    """One sentence for each thing that is odd. start: the molecule as it was calculated first."""
    found = [*_shell(result), *_spin(result)]
    found += pressed(result, start)
    if result.task == "optimize":
        xyz = result.plain("coordinates")
        if xyz is not None and len(xyz) <= 3 * _MOST_ATOMS:
            found += _flatness(result, xyz)
    if result.isolated_atomic_energy is not None and (result.binding_energy or 0.0) > 0 and len(
            result.symbols) > 1 and result.heat_of_formation is not None:
        found.append("the atoms by themselves are lower in energy: perhaps a bond is broken, which "
                     "a restricted calculation describes badly (try --uhf), or the geometry is "
                     "wrong")
    dummies = result.symbols.count("X")
    if dummies:
        found.append(f"{dummies} dummy atom{'s' * (dummies > 1)}: not calculated")
    return found


def _shell(result: Result) -> list[str]:
    gap = result.gap_ev
    if gap is None or result.spin == "UHF" or gap >= _SMALL_GAP:
        return []
    if gap < 0:
        return [f"an empty level lies {-gap:.2f} eV below an occupied one: this is no ground "
                "state; try --uhf or another --multiplicity"]
    return [f"the gap of {gap:.2f} eV is small for a closed shell: a triplet (-s 3) or spins with "
            "orbitals of their own (--uhf) may be lower"]


def _spin(result: Result) -> list[str]:
    if result.spin_squared is None:
        return []
    spin = (result.multiplicity - 1) / 2
    excess = result.spin_squared - spin * (spin + 1)
    if excess <= _IMPURE:
        return []
    return [f"S^2 is {result.spin_squared:.3f} where a pure spin has {spin * (spin + 1):g}: states "
            "of higher spin are mixed in, and the energy is not that of one state"]


def pressed(result: Result, start: Molecule | None = None) -> list[str]:
    """One sentence where atoms are nearer than any method here was made for. start: a molecule that
    may still stand where the result does, whose neighbours are known."""
    xyz = result.raw("coordinates")
    if xyz is None or len(xyz) > 3 * _MOST_ATOMS:
        return []
    radii = [RADII[NUMBERS[symbol]] for symbol in result.symbols]
    limit = _PRESSED * 2 * max(radii)
    same = type(xyz) is array and start is not None and xyz == start.xyz
    pairs = start.near(limit) if same and start is not None else pairs_nearer(xyz, limit)
    worst = None
    for i, j, distance in pairs:
        usual = radii[i] + radii[j]
        real = "X" not in (result.symbols[i], result.symbols[j])
        if real and distance < _PRESSED * usual and (
                worst is None or distance / usual < worst[0]):
            worst = (distance / usual, i, j, distance)
    if worst is None:
        return []
    share, i, j, distance = worst
    return [f"{result.symbols[i]}{i + 1} and {result.symbols[j]}{j + 1} are {distance:.3f} "
            f"Angstrom apart, {share:.2f} of a bond between them: no method here is made for that"]


def _flatness(result: Result, xyz: list[float]) -> list[str]:
    """An atom with three neighbours of one plane that would rather be a pyramid."""
    flat = next((axis for axis in range(3) if len(xyz) > 9 and max(xyz[axis::3]) - min(
        xyz[axis::3]) < _FLAT), None)
    if flat is None:
        return []
    for i, symbol in enumerate(result.symbols):
        if symbol not in ("N", "P", "As"):
            continue
        near = [j for a, b, distance in pairs_nearer(xyz, 1.3) for j in (a, b)
                if i in (a, b) and j != i and result.symbols[j] == "H"]
        if len(near) >= 2:
            return [f"all atoms lie in one plane, and {symbol}{i + 1} would rather not: a search "
                    "cannot leave a plane; move an atom out of it and search again"]
    return []
