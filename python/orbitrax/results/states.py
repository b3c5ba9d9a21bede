"""Electronic states of a configuration interaction, and what a chemist calls them."""

from __future__ import annotations

import math

from orbitrax.arrays import as_numpy
from orbitrax.units import CODATA_WAVENUMBER_PER_EV

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Iterable, Iterator, Sequence
    from typing import Any

    from orbitrax.arrays import Array

ALPHA, BETA, MICROSTATE, REFERENCE = 0, 1, 2, -1  # what a contribution is

SHOWN = 0.3  # coefficients from here on are named among the main excitations
_OF_WEIGHT = 0.05  # coefficients from here on decide about the species of a state
_SAME_SPIN = 0.05  # of S(S+1): a state counts as one of this spin
_NO_LIGHT = 1e-5  # eV: states nearer than this to the reference are one with it
ONE_LEVEL = 0.02  # eV: levels this near to each other stay together
_MULTIPLICITIES = ("singlet", "doublet", "triplet", "quartet", "quintet", "sextet", "septet")


class Contribution:
    """A configuration of a state. kind: ALPHA or BETA for an electron of this spin that goes from
    the orbital `hole` to the orbital `particle`, by number from 1; REFERENCE; or MICROSTATE, where
    hole and particle are the levels of the window that hold alpha and beta electrons, as bits."""

    __slots__ = ("kind", "hole", "particle", "coefficient")

    def __init__(self, kind: int, hole: int, particle: int, coefficient: float):
        self.kind, self.hole, self.particle = kind, hole, particle
        self.coefficient = coefficient

    def __repr__(self) -> str:
        return (f"Contribution(kind={self.kind}, hole={self.hole}, particle={self.particle}, "
                f"coefficient={self.coefficient:.4f})")


class State:
    """One state. number: its place, 0 for the reference. energy: above the reference, eV.
    energy_above_scf: eV. oscillator_strength: of the transition from the reference. spin: S;
    spin_square: S(S+1). dipole, transition_dipole: x, y, z, Debye. contributions: the
    configurations that came, by their place. symmetry: its species in the point group, None where
    that is not known."""

    __slots__ = ("number", "energy", "energy_above_scf", "oscillator_strength", "spin",
                 "spin_square", "dipole", "transition_dipole", "contributions", "symmetry")

    def __init__(self, number: int, energy: float, energy_above_scf: float,
                 oscillator_strength: float, spin: float, spin_square: float,
                 dipole: tuple[float, ...], transition_dipole: tuple[float, ...],
                 contributions: list[Contribution]):
        self.number, self.energy, self.energy_above_scf = number, energy, energy_above_scf
        self.oscillator_strength = oscillator_strength
        self.spin, self.spin_square = spin, spin_square
        self.dipole, self.transition_dipole = dipole, transition_dipole
        self.contributions = contributions
        self.symmetry: str | None = None

    @property
    def wavenumber(self) -> float:
        """Distance from the reference, 1/cm."""
        return self.energy * CODATA_WAVENUMBER_PER_EV

    @property
    def wavelength(self) -> float | None:
        """Of the light that leads here from the reference, nm; None for a state that is not above
        it."""
        return 1e7 / self.wavenumber if self.energy > _NO_LIGHT else None

    @property
    def multiplicity(self) -> int | None:
        """2S + 1; None for a mixture of spins."""
        found = round(2 * self.spin + 1)
        return found if abs(self.spin_square - (found * found - 1) / 4) < _SAME_SPIN else None

    @property
    def spin_name(self) -> str:
        """singlet, doublet, ..., or S of a mixture of spins."""
        multiplicity = self.multiplicity
        if multiplicity is None or not 1 <= multiplicity <= len(_MULTIPLICITIES):
            return f"S={self.spin:.2f}"
        return _MULTIPLICITIES[multiplicity - 1]


class States:
    """The states of a configuration interaction, the reference first: a sequence of `State`.

    kind: "singles" or "microstates". configurations: how many there are. first_level, levels: the
    number from 1 of the lowest orbital of the window, and how many it has. alpha, beta: electrons
    in it. wanted: the place of the state whose energy is the result's. Arrays are made at each
    look.
    """

    def __init__(self, kind: str, configurations: int, first_level: int, levels: int, alpha: int,
                 beta: int, wanted: int, states: list[State]):
        self.kind, self.configurations = kind, configurations
        self.first_level, self.levels = first_level, levels
        self.alpha, self.beta, self.wanted = alpha, beta, wanted
        self._states = states

    def __len__(self) -> int:
        return len(self._states)

    def __getitem__(self, place: int) -> State:
        return self._states[place]

    def __iter__(self) -> Iterator[State]:
        return iter(self._states)

    def __repr__(self) -> str:
        return (f"<{len(self)} states of {self.configurations} {self.kind} in {self.window}>")

    # ---- arrays ---------------------------------------------------------------------------------

    @property
    def energies(self) -> Array:
        """Above the reference, eV."""
        return as_numpy([state.energy for state in self])

    @property
    def oscillator_strengths(self) -> Array:
        """Of the transitions from the reference."""
        return as_numpy([state.oscillator_strength for state in self])

    @property
    def spins(self) -> Array:
        """S."""
        return as_numpy([state.spin for state in self])

    @property
    def dipoles(self) -> Array:
        """n x 3, Debye."""
        return as_numpy([x for state in self for x in state.dipole], 3)

    @property
    def transition_dipoles(self) -> Array:
        """n x 3, Debye, between each state and the reference."""
        return as_numpy([x for state in self for x in state.transition_dipole], 3)

    # ---- names ----------------------------------------------------------------------------------

    @property
    def window(self) -> str:
        """The window in words."""
        empty = self.levels - self.occupied
        return f"{self.occupied} occupied and {empty} empty orbital{'' if empty == 1 else 's'}"

    @property
    def occupied(self) -> int:
        """Orbitals of the window that hold electrons in the reference."""
        return max(self.alpha, self.beta)

    def name(self, number: int) -> str:
        """What an orbital is called by its number: HOMO-1, HOMO, SOMO, LUMO, ..."""
        closed = self.first_level + min(self.alpha, self.beta) - 1  # the highest that is filled
        opened = self.first_level + self.occupied - 1
        if number > opened:
            return "LUMO" if number == opened + 1 else f"LUMO+{number - opened - 1}"
        if number <= closed:
            return "HOMO" if number == closed else f"HOMO-{closed - number}"
        return "SOMO" if opened - closed == 1 else f"SOMO{number - closed}"

    def excitations(self, state: State) -> list[tuple[str, float]]:
        """The excitations of a state of singles and their coefficients, the largest first. Those
        that alpha and beta electrons share are one, with the coefficient of the two together."""
        shared: dict[tuple[int, int], list[float]] = {}
        for one in state.contributions:
            if one.kind in (ALPHA, BETA):
                pair = shared.setdefault((one.hole, one.particle), [0.0, 0.0])
                pair[one.kind] = one.coefficient
        found = []
        for (hole, particle), (alpha, beta) in shared.items():
            text = f"{self.name(hole)} -> {self.name(particle)}"
            if math.isclose(abs(alpha), abs(beta), rel_tol=1e-3, abs_tol=1e-4):
                found.append((text, math.copysign(math.hypot(alpha, beta), alpha)))
            else:
                found += [(f"{text} ({spin})", c) for spin, c in (("alpha", alpha), ("beta", beta))
                          if c != 0.0]
        return sorted(found, key=lambda one: -abs(one[1]))

    def microstates(self, state: State) -> list[tuple[str, float]]:
        """The configurations of a state of microstates and their coefficients, the largest first:
        2 for a pair of electrons, u and d for single ones, 0 for none, by level of the window."""
        found = [("".join("0ud2"[(one.hole >> i & 1) + 2 * (one.particle >> i & 1)]
                          for i in range(self.levels)), one.coefficient)
                 for one in state.contributions if one.kind == MICROSTATE]
        return sorted(found, key=lambda one: -abs(one[1]))

    def main(self, state: State, least: float = SHOWN) -> str:
        """What a state is made of, in words: HOMO -> LUMO 0.97, ..."""
        found = (self.excitations if self.kind == "singles" else self.microstates)(state)
        if any(one.kind == REFERENCE and abs(one.coefficient) >= least
               for one in state.contributions):
            reference = next(one.coefficient for one in state.contributions
                             if one.kind == REFERENCE)
            found = [("reference", reference), *found]
        shown = [one for one in found if abs(one[1]) >= least] or found[:1]
        return ", ".join(f"{text} {c:.2f}" for text, c in shown)

    def alike(self) -> list[State]:
        """Those of the spin of the reference, itself among them."""
        return [state for state in self if state.multiplicity == self[0].multiplicity]

    def below(self) -> list[State]:
        """Those below the reference of its own spin, or of none."""
        return [state for state in self if state.energy < -_NO_LIGHT
                and state.multiplicity in (None, self[0].multiplicity)]

    def doubts(self, levels: Sequence[float]) -> list[str]:
        """What makes the states themselves doubtful, in words: a ground state that is an
        excitation of the SCF, one of another spin below it, a window that ends within a set of
        equal levels. levels: eV, ascending."""
        found = []
        ground = self[0]
        closed = self.kind == "singles" and self.alpha == self.beta and any(
            one.kind == REFERENCE for state in self for one in state.contributions)
        if closed and sum(one.coefficient ** 2 for one in ground.contributions
                          if one.kind == REFERENCE) < 0.5:
            found.append(
                f"the ground state is {self.main(ground)}, {-ground.energy_above_scf:.2f} eV below "
                "the closed shell of the SCF, whose orbitals do not suit it; mix microstates")
        lowest = min(self, key=lambda state: state.energy)
        if lowest.energy < -_NO_LIGHT and lowest.multiplicity not in (None, self[0].multiplicity):
            found.append(
                f"a {lowest.spin_name} lies {-lowest.energy:.2f} eV below the {self[0].spin_name} "
                "to which energies and strengths refer; --multiplicity "
                f"{lowest.multiplicity} asks for it")
        first, last = self.first_level - 1, self.first_level - 1 + self.levels
        below, above = first, last
        while 0 < below < len(levels) and levels[below] - levels[below - 1] < ONE_LEVEL:
            below -= 1
        while 0 < above < len(levels) and levels[above] - levels[above - 1] < ONE_LEVEL:
            above += 1
        if below < first or above > last:
            split = first if below < first else last
            found.append(
                f"the window ends between equal levels ({levels[split - 1]:.4f} and "
                f"{levels[split]:.4f} eV), so that its states have not the symmetry of the "
                f"molecule; --window {self.occupied + first - below} "
                f"{self.levels - self.occupied + above - last} has them whole")
        return found

    def label(self, group: str, orbitals: Sequence[str]) -> None:
        """Finds the species of each state of a closed shell from those of the orbitals, by number
        from 0: every configuration of some weight has the one of its orbitals' product. Unknown
        where that is not one species, or where they differ."""
        from orbitrax.results.species import label_of, product

        species = [label_of(name) for name in orbitals]
        alone = (product(group, one, one) for one in species)
        same = next((one for one in alone if one is not None), None)
        for state in self:
            found = {same if one.kind == REFERENCE else
                     product(group, species[one.hole - 1], species[one.particle - 1])
                     for one in state.contributions if abs(one.coefficient) >= _OF_WEIGHT}
            state.symmetry = found.pop() if len(found) == 1 else None

    def to_list(self, states: Iterable[State] | None = None) -> list[dict[str, Any]]:
        """States as the JSON document has them, all of them or some."""
        return [{
            "state": state.number, "energy_ev": state.energy,
            "wavenumber_per_cm": state.wavenumber, "wavelength_nm": state.wavelength,
            "oscillator_strength": state.oscillator_strength, "spin": state.spin,
            "spin_square": state.spin_square, "multiplicity": state.multiplicity,
            "symmetry": state.symmetry, "dipole_debye": list(state.dipole),
            "transition_dipole_debye": list(state.transition_dipole),
            "main": self.main(state),
            "contributions": [{"kind": _KINDS[one.kind], "from": one.hole, "to": one.particle,
                               "coefficient": one.coefficient} for one in state.contributions],
        } for state in (self._states if states is None else states)]


def from_rows(head: dict[str, int], states: Sequence[tuple[Any, ...]],
              contributions: Sequence[tuple[Any, ...]]) -> States:
    """States from the rows of the link. states: eigenvector, number of contributions, energy above
    the SCF, S(S+1), S, oscillator strength, dipole, transition dipole; contributions, those of the
    first state first: kind, hole, particle, coefficient."""
    found, place = [], 0
    for number, row in enumerate(states):
        count, energy, square, spin, strength = row[1:6]
        found.append(State(number, energy - states[0][2], energy, strength, spin, square, row[6:9],
                           row[9:12], [Contribution(*one) for one in
                                       contributions[place:place + count]]))
        place += count
    return States(("none", "singles", "microstates")[head["kind"]], head["configurations"],
                  head["first_level"], head["levels"], head["alpha"], head["beta"], head["wanted"],
                  found)


_KINDS = {ALPHA: "alpha", BETA: "beta", MICROSTATE: "microstate", REFERENCE: "reference"}
