"""From two molecules to the barrier between them: ends, guess, saddle point, proof, path."""

from __future__ import annotations

from dataclasses import dataclass, field
from typing import Any, Callable

import numpy as np

from orbitrax.errors import NotConverged, OrbitraxError
from orbitrax.molecules.molecule import Molecule
from orbitrax.reactions.guess import between
from orbitrax.reactions.pairs import check_pair, distance, superposed
from orbitrax.reactions.path import Path, follow_path, warnings_of
from orbitrax.reactions.sides import bonds_of, changed, places_of, side_of
from orbitrax.reactions.surface import EnergySurface
from orbitrax.results.result import Result
from orbitrax.tasks.transit import Transit
from orbitrax.tasks.ts import Ts

SAME = 0.2  # Angstrom, RMS: two structures nearer than this are one

_CYCLES = 100  # of a transit; a search that needs more has lost its way
_UNPAIRED = 2.0  # kcal/mol below a closed shell, from which on a bond between the sides is broken
_SPEED = 2.083661912e10  # k/h, 1/(s K)
_GAS = 1.987204259e-3  # kcal/(mol K)

Tell = Callable[[str], None]


@dataclass
class Barrier:
    """What was found. reactant, product: the optimised ends, with modes where they were computed;
    path: the best one; way: how its saddle point was found; ends: what stands at the two ends of
    the path, in words; attempts: what failed, in words; unfinished: which sides are not known to be
    minima, and why."""

    reactant: Result
    product: Result
    path: Path | None = None
    way: str = ""
    ends: tuple[str, str] = ("", "")
    connects: bool = False
    attempts: list[str] = field(default_factory=list)
    remarks: list[str] = field(default_factory=list)
    broken: float | None = None
    unfinished: list[str] = field(default_factory=list)

    @property
    def warnings(self) -> list[str]:
        """Those of both sides and of the saddle point."""
        return warnings_of({"reactant": self.reactant, "saddle point": self.saddle,
                            "product": self.product})

    @property
    def saddle(self) -> Result | None:
        """The saddle point."""
        return None if self.path is None else self.path.saddle


def find_barrier(surface: EnergySurface, reactant: Molecule, product: Molecule, *,
                 guess: Molecule | None = None, step: float = 0.1, free_energies: bool = True,
                 tell: Tell = lambda text: None) -> Barrier:
    """The barrier between two molecules of the same atoms in the same order.

    free_energies: vibrations of both ends are computed, and an end that is a saddle point is left
    downhill. Tries one way after the other until a saddle point's path ends in both: from the
    guess, where there is one; by linear and quadratic transit from the middle; by a band. Raises
    NotConverged where an end has no minimum next to it; what else goes wrong is in `attempts`.
    """
    check_pair(reactant, product)
    sides = [side_of(surface, molecule, name, free_energies, tell)
             for molecule, name in ((reactant, "the reactant"), (product, "the product"))]
    found = Barrier(sides[0].result, sides[1].result,
                    remarks=[side.remark for side in sides if side.remark],
                    unfinished=[side.unfinished for side in sides if side.unfinished])
    first, last = _at(reactant, found.reactant), _at(product, found.product)
    if distance(first.positions, last.positions) < 0.01:
        raise NotConverged("both sides go down to the same minimum: there is no barrier between "
                           "them that this could find")
    for way, search in _ways(surface, first, last, guess, tell):
        surface.stage = way
        tell(way)
        try:
            saddle = search()
            if found.saddle is not None and distance(
                    places_of(saddle), places_of(found.saddle)) < SAME:
                found.attempts.append(f"{way}: the same saddle point again")
                continue
            path = follow_path(surface, saddle, step=step,
                               on_point=lambda side, point: tell(f"path, {point.s:.1f}"))
        except OrbitraxError as error:
            if not isinstance(error, NotConverged):
                raise
            # What to try else is advice to who called that search alone.
            found.attempts.append(f"{way}: {error.typed.partition('; try ')[0]}")
            continue
        ends, connects, turned = _ends(path, found, surface)
        if found.path is None or connects:
            found.path = path.turned() if turned else path
            found.way, found.ends, found.connects = way, ends, connects
        if connects:
            break
        found.attempts.append(f"{way}: its saddle point joins {ends[0]} and {ends[1]}")
    if not found.connects:
        found.broken = _broken(surface, between(first, last))
    return found


def _broken(surface: EnergySurface, positions: Any) -> float | None:
    """By how much a closed shell lies above what an unrestricted calculation finds there, kcal/mol;
    None where it does not, or none was asked for."""
    if surface.job.uhf or surface.job.multiplicity != 1:
        return None
    free = EnergySurface(surface.backend, surface.molecule, surface.method,
                         {**surface.shared, "uhf": True, "rhf": False})
    try:
        gap = surface(positions)[0] - free(positions)[0]
    except NotConverged:
        return None
    return gap if gap > _UNPAIRED else None


def _at(molecule: Molecule, result: Result) -> Molecule:
    return molecule.replace(positions=result.plain("coordinates"))


def _ways(surface: EnergySurface, first: Molecule, last: Molecule, guess: Molecule | None,
          tell: Tell) -> list[tuple[str, Callable[[], Result]]]:
    """The searches, in the order in which they are tried."""
    def refined(positions: Any) -> Result:
        return surface.search(Ts(**surface.shared), positions)

    def transit(quadratic: bool) -> Result:
        start = between(first, last)
        task = Transit(reactant=superposed(first.positions, start).ravel().tolist(),
                       product=superposed(last.positions, start).ravel().tolist(),
                       quadratic=quadratic, cycles=_CYCLES, **surface.shared)
        return surface.search(task, start)

    def band() -> Result:
        from orbitrax.reactions.band import highest_of_band

        return refined(highest_of_band(surface, first, last, lambda n: tell(f"band, step {n}")))

    ways: list[tuple[str, Callable[[], Result]]] = []
    if guess is not None:
        check_pair(first, guess)
        start = guess.positions
        ways.append(("eigenvector following from the guess", lambda: refined(start)))
    return [*ways, ("linear transit", lambda: transit(False)),
            ("quadratic transit", lambda: transit(True)), ("band of structures", band)]


def _ends(path: Path, found: Barrier, surface: EnergySurface) -> tuple[tuple[str, str], bool, bool]:
    """What the two ends of a path are, whether they are the two sides, and whether the path runs
    from the product to the reactant."""
    names = []
    for end, why in zip(path.ends, path.reasons):
        names.append("no minimum" if end is None else
                     _name(end, found, surface) + (", not quite at its minimum" if why else ""))
    kinds = [name.split(",")[0] for name in names]
    if kinds == ["the product", "the reactant"]:
        return (names[1], names[0]), True, True
    return (names[0], names[1]), kinds == ["the reactant", "the product"], False


def _name(end: Result, found: Barrier, surface: EnergySurface) -> str:
    """What a minimum is, beside the two sides."""
    sides = (("the reactant", found.reactant), ("the product", found.product))
    apart = [distance(places_of(end), places_of(side)) for _, side in sides]
    nearest = int(np.argmin(apart))
    if apart[nearest] < SAME:
        return sides[nearest][0]
    bonded = [(name, side, changed(surface, side, end)) for name, side in sides
              if bonds_of(end) == bonds_of(side)]
    alike = [one for one in bonded if not one[2]] or bonded
    if len(alike) != 1:
        return "another minimum"
    name, side, turned = alike[0]
    gap = (end.total_energy or 0.0) - (side.total_energy or 0.0)
    if turned:
        return f"another configuration of {name} ({turned}; {gap:+.2f} kcal/mol)"
    return f"{name}, in another conformation ({gap:+.2f} kcal/mol)"


def free_energy(result: Result, temperature: float, pressure: float,
                imaginary: int = 0) -> tuple[float | None, str]:
    """Of the ideal gas, kcal/mol, or None and why there is none. imaginary: how many imaginary
    frequencies belong to it, 1 of a saddle point; more are of no gas, as each would lack the
    entropy of its mode."""
    from orbitrax.vibrations.gas import GasOfResult

    modes = result.modes
    if modes is None:
        return None, "no vibrations were computed"
    if modes.imaginary > imaginary:
        shown = ", ".join(f"{-nu:.1f}i" for nu in modes.frequencies[:modes.imaginary])
        return None, (f"imaginary frequencies ({shown} 1/cm): "
                      f"no {'saddle point of a reaction' if imaginary else 'minimum'}")
    about = GasOfResult(result, temperature, pressure)
    return about.on_total(about.gas and about.gas.free_energy), about.reason or ""


def eyring(barrier: float, temperature: float) -> float:
    """Rate, 1/s, over a barrier in free energy, kcal/mol."""
    return float(_SPEED * temperature * np.exp(-barrier / (_GAS * temperature)))
