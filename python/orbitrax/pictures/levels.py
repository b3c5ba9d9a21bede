"""Pictures of orbital levels: a ladder with its electrons, one for each spin."""

from __future__ import annotations

from orbitrax.errors import OrbitraxError
from orbitrax.pictures.figures import drawing_tools

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Sequence
    from typing import Any

    from orbitrax.results.result import Result

_INCHES, _DPI = (5.6, 6.4), 150
_BELOW, _ABOVE = 8.0, 6.0  # eV around the frontier that are shown
_EQUAL = 0.02  # eV: levels as near as this stand side by side
_WIDTH, _SPACE = 0.32, 0.08  # of a level, and between two of them
_LINE = 0.019  # of the height: a line of words
_HALF = 0.5  # electrons
_FILLED, _EMPTY, _WORDS = "#0a3d7a", "#999999", "#333333"
_ARROWS = {2: "↑↓", 1: "↑", 0: ""}


class Level:
    """One level: eV, electrons in it, and its name, empty if it has none."""

    def __init__(self, energy: float, electrons: float, name: str):
        self.energy, self.electrons, self.name = energy, electrons, name


def ladders(result: Result) -> list[tuple[str, list[Level]]]:
    """The levels of a result, lowest first: one ladder, or one for each spin, with a title. Raises
    OrbitraxError where there are none."""
    energies, occupancies = result.plain("orbital_energies"), result.plain("occupancies")
    if result.natural:
        raise OrbitraxError("natural orbitals have no levels to draw; leave out --ci microstates")
    if energies is None or occupancies is None:
        raise OrbitraxError(f"{result.heading}: there are no levels to draw")
    spins = ("alpha", "beta") if result.spin == "UHF" else ("",)
    n = len(energies) // len(spins)
    names = result.orbital_symmetries or [""] * len(energies)
    found = [Level(*row) for row in zip(energies, occupancies, names)]
    return [(spin, found[k * n:(k + 1) * n]) for k, spin in enumerate(spins)]


def draw(result: Result, title: str) -> Any:
    """A figure of the levels around the frontier: filled ones with their electrons, empty ones
    grey, degenerate ones side by side, species beside them, HOMO and LUMO and the gap by name."""
    found = ladders(result)
    frontier = result.frontier()
    middle = [energy for _, energy in frontier] or [found[0][1][-1].energy]
    low, high = min(middle) - _BELOW, max(middle) + _ABOVE
    figure = drawing_tools().figure.Figure(_INCHES, dpi=_DPI)
    axes = figure.add_axes([0.13, 0.06, 0.84, 0.85])
    for column, (spin, levels) in enumerate(found):
        shown = [level for level in levels if low <= level.energy <= high]
        groups = _groups(shown)
        for group in groups:
            _draw_group(axes, column, group, bool(spin))
        _name_groups(axes, column, groups, _LINE * (high - low))
        if spin:
            axes.text(column, high, spin, ha="center", va="top", color=_WORDS)
    for name, energy in frontier:
        column = 1 if name.endswith("beta") else 0
        axes.text(column - 0.5, energy, name.split()[0], ha="right", va="center", fontsize=7.5,
                  color=_WORDS)
    axes.set_xlim(-0.8, len(found) - 0.2)
    axes.set_ylim(low, high)
    axes.set_xticks([])
    axes.set_ylabel("energy (eV)")
    for side in ("top", "right", "bottom"):
        axes.spines[side].set_visible(False)
    gap = "" if result.gap_ev is None else f", gap {result.gap_ev:.3f} eV"
    figure.text(0.5, 0.96, title + gap, ha="center", va="center", fontsize=9)
    return figure


def _groups(levels: Sequence[Level]) -> list[list[Level]]:
    """Levels of nearly one energy together."""
    groups: list[list[Level]] = []
    for level in levels:
        if groups and level.energy - groups[-1][-1].energy < _EQUAL:
            groups[-1].append(level)
        else:
            groups.append([level])
    return groups


def _draw_group(axes: Any, column: int, group: Sequence[Level], of_one_spin: bool) -> None:
    """Levels side by side about the middle of their ladder."""
    width = min(_WIDTH, 0.9 / len(group) - _SPACE)
    first = column - (len(group) * (width + _SPACE) - _SPACE) / 2
    for k, level in enumerate(group):
        left = first + k * (width + _SPACE)
        filled = level.electrons > _HALF * (1 if of_one_spin else 0.1)
        axes.plot([left, left + width], [level.energy] * 2, color=_FILLED if filled else _EMPTY,
                  linewidth=2.0, solid_capstyle="butt")
        arrows = _ARROWS.get(round(level.electrons), "") if filled else ""
        axes.text(left + width / 2, level.energy, "↓" if arrows and column else arrows,
                  ha="center", va="center", fontsize=9, color=_FILLED)


def _name_groups(axes: Any, column: int, groups: Sequence[Sequence[Level]], apart: float) -> None:
    """Writes species beside the levels, eV apart at the least."""
    height = -float("inf")
    for name, energy in ((group[0].name, group[0].energy) for group in groups):
        if name:
            height = max(energy, height + apart)
            axes.text(column + 0.5, height, name, ha="left", va="center", fontsize=7,
                      color=_WORDS)
