"""The task `uv`: electronic states and the spectrum they make."""

from __future__ import annotations

from orbitrax.errors import CalculationFailed, OrbitraxError, UsageError
from orbitrax.job import CI, MICROSTATES, NO_CI, SINGLES
from orbitrax.results.spectra import UV_FORMULA
from orbitrax.results.states import ONE_LEVEL
from orbitrax.results.states_text import states_lines, states_table
from orbitrax.results.text import line, remarks_lines, summary
from orbitrax.settings import declared, option
from orbitrax.tasks.task import Run, Task, judge_scf

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Callable
    from typing import Any, ClassVar

    from orbitrax.backend import Backend
    from orbitrax.grids.grid import Grid
    from orbitrax.job import Job
    from orbitrax.methods import Method
    from orbitrax.molecules.molecule import Molecule
    from orbitrax.results.result import Result
    from orbitrax.orbitals.transitions import TransitionPair
    from orbitrax.results.states import State, States
    from orbitrax.tasks.task import Listener

SPECTROSCOPIC = "zindos"  # the method whose parameters were made for spectra

_UV = "states and spectrum"

USUAL_WINDOW = 15  # orbitals to either side of the gap
USUAL_MICROSTATES = 3  # of microstates
_MOST_PAIRS = 3  # natural transition orbitals that are drawn
_HOLDS = 0.5  # electrons above which an orbital counts as occupied


class Spectrum(Run):
    """One calculation of states. chosen: how the window was chosen, in words. file: where its
    picture or table goes. pairs: the natural transition orbitals that were asked for; grids: hole
    and particle of each in turn, where `draws` asks for them. on_plot: called with the number of
    orbitals on a grid and that of all."""

    task: Uv

    def __init__(self, task: Uv, job: Job):
        super().__init__(task, job)
        self.chosen = "as asked"
        self.file: str | None = None
        self.pairs: list[TransitionPair] = []
        self.draws = False
        self.grids: list[Grid] = []
        self.on_plot: Callable[[int, int], None] = lambda done, count: None

    def execute(self, backend: Backend, on_event: Listener | None = None) -> Result:
        """Chooses the window where none was asked for, from the levels of an SCF, and runs."""
        if self.task.window is None and self.task.max_excitation is None:
            self._choose_window(backend, on_event)
        return super().execute(backend, on_event)

    def _choose_window(self, backend: Backend, on_event: Listener | None) -> None:
        plain = self.job.replace(ci=NO_CI, rhf=True)
        result = backend.run(plain, on_event, task=self.task.name)
        try:
            if not self.job.settings.allow_unconverged:
                judge_scf(plain, result)
            levels, occupancies = result.plain("orbital_energies"), result.plain("occupancies")
            if levels is None or occupancies is None:
                raise CalculationFailed("the backend sent no orbitals to choose a window from")
            if not any(one > _HOLDS for one in occupancies):
                raise UsageError(f"with charge {plain.charge:+d} there are no valence electrons "
                                 "left, and nothing that light could move")
        except OrbitraxError as error:
            error.partial = result
            raise
        most = USUAL_MICROSTATES if self.task.microstates else USUAL_WINDOW
        occupied = sum(1 for one in occupancies if one > _HOLDS)
        if self.task.next_lowest:
            occupied -= 1  # the upper one of two half-filled levels counts as empty
        window = usual_window(levels, occupied, most)
        self.chosen = ("all orbitals" if sum(window) == len(levels) else
                       f"the usual one, up to {most} to either side")
        self.job = self.job.replace(window=window)

    def judge(self, result: Result) -> None:
        """Raises NotConverged for an SCF that is not, CalculationFailed where no states came."""
        super().judge(result)
        if result.states is None:
            raise CalculationFailed("the backend sent no states")

    def follow(self, backend: Backend, result: Result, on_event: Listener | None) -> None:
        """Finds the natural transition orbitals of a state, and computes them on a grid."""
        number, states = self.task.plot_state, result.states
        if number is None or states is None:
            return
        if number >= len(states):
            raise UsageError(f"--plot-state {number}: there are the states 1 to {len(states) - 1}")
        from orbitrax.grids.combine import combined_orbitals
        from orbitrax.orbitals.transitions import transition_pairs

        self.pairs = transition_pairs(states[number])[:_MOST_PAIRS]
        if not self.draws:
            return
        wanted = [one for pair in self.pairs for one in (pair.hole, pair.particle)]
        titles = [f"{what} of state {number}, {100 * pair.weight:.0f} %" for pair in self.pairs
                  for what in ("hole", "particle")]
        self.grids = combined_orbitals(backend, result, wanted, titles, self.on_plot)

    def shown(self, states: States) -> list[State]:
        """The states that are listed: those of the spin of the reference, or all but that."""
        found = [state for state in states if state.number > 0]
        if not self.task.triplets:
            found = [state for state in states.alike() if state.number > 0]
        found.sort(key=lambda state: state.energy)
        return found[:self.task.states]

    def block(self, result: Result | None) -> dict[str, dict[str, Any]]:
        """The entry `uv` of the JSON document."""
        names = ("kind", "window", "window_chosen", "max_excitation_ev", "configurations",
                 "first_orbital", "reference", "states", "file", "width_ev", "formula",
                 "plot_state", "natural_transition_orbitals")
        block: dict[str, Any] = dict.fromkeys(names)
        block["kind"] = self.job.settings.ci
        block["max_excitation_ev"] = self.task.max_excitation
        block["plot_state"] = self.task.plot_state
        states = None if result is None else result.states
        if states is not None:
            block.update(
                window=[states.occupied, states.levels - states.occupied],
                window_chosen=self.chosen, configurations=states.configurations,
                first_orbital=states.first_level, reference=states.to_list([states[0]])[0],
                states=states.to_list(self.shown(states)), file=self.file,
                width_ev=self.task.width_ev, formula=UV_FORMULA,
                natural_transition_orbitals=[
                    one.to_dict() for one in self.pairs] or None)
        return {"uv": block}

    def summary(self, result: Result) -> list[str]:
        """That of the ground state, the window, and the table of states."""
        states = result.states
        if states is None:
            return summary(result)
        head = [one for one in summary(result) if one][:1]
        lines = [*head, "", *self._about(result, states), "",
                 *states_table(states, self.shown(states))]
        if self.pairs:
            lines += ["", f"State {self.task.plot_state} moves an electron"]
            lines += [f"  {100 * pair.weight:3.0f} %  {pair.text(states)}" for pair in self.pairs]
        lines += remarks_lines(result)
        return lines if self.file is None else [*lines, "", line("Written to", self.file)]

    def _about(self, result: Result, states: States) -> list[str]:
        lines = states_lines(states, self.chosen)
        if result.total_energy is not None:
            whose = f", state {states.wanted}" if states.wanted else ""
            lines.append(line("Total energy", f"{result.total_energy:.6f} kcal/mol{whose}"))
        return lines


def usual_window(levels: list[float], occupied: int, most: int) -> tuple[int, int]:
    """The orbitals next to the gap, up to `most` to either side, less those of a set of equal
    levels that does not fit whole. levels: eV, ascending."""
    def count(gaps: list[float]) -> int:
        taken = min(most, len(gaps))
        while 1 < taken < len(gaps) and gaps[taken - 1] < ONE_LEVEL:
            taken -= 1
        return taken

    below = [levels[occupied - 1 - i] - levels[occupied - 2 - i] if occupied - 2 - i >= 0
             else float("inf") for i in range(occupied)]
    above = [levels[occupied + 1 + i] - levels[occupied + i] if occupied + 1 + i < len(levels)
             else float("inf") for i in range(len(levels) - occupied)]
    return max(count(below), 1), count(above)


@declared
class Uv(Task):
    """Electronic states by configuration interaction, and the absorption spectrum they make."""

    name: ClassVar[str] = "uv"
    description: ClassVar[str] = (
        "Electronic states by configuration interaction, and the absorption spectrum they make.")
    examples: ClassVar[tuple[str, ...]] = (
        "orbitrax uv examples/benzene.xyz",
        'orbitrax uv --smiles "c1ccc2cc3ccccc3cc2c1" -o anthracene.png',
        "orbitrax uv examples/formaldehyde.xyz --window 6 4 --triplets --states 8",
        "orbitrax uv examples/formaldehyde.xyz -o states.csv",
        "orbitrax uv examples/benzene.xyz -o benzene.png --plot-state 3",
    )
    default_method: ClassVar[str | None] = SPECTROSCOPIC
    run_type: ClassVar[type[Run]] = Spectrum
    files: ClassVar[tuple[str, ...]] = ("text", "molden", "states", "spectrum")
    file_help: ClassVar[str] = (
        "what to write: a picture of the spectrum, NAME.png, .svg or .pdf; NAME.csv: the states, "
        "and NAME-curve.csv: the curve; NAME.molden: the orbitals; else what would be printed")

    ci: str = option(SINGLES, choices=(NO_CI, SINGLES, MICROSTATES), group=CI, wire="nCiKind",
                     typed=False, help="the configurations that are mixed")
    microstates: bool = option(
        False, group=_UV, help="all microstates of the window, in place of single excitations")
    states: int = option(10, least=1, group=_UV, metavar="N", help="most states to list")
    triplets: bool = option(False, group=_UV, help="list states of other spins too")
    width_ev: float = option(
        0.4, above=0, most=5, unit="eV", group=_UV, metavar="EV",
        help="width of the bands, half of it at 1/e of their height, eV")
    plot_state: int | None = option(
        None, least=1, group=_UV, metavar="K",
        help="name the orbitals between which the electron moves in state K; with -o NAME.png draw "
             "them too, as NAME-stateK-1-hole.png, NAME-stateK-1-particle.png, ..., and write cube "
             "files of them")

    def _check(self) -> None:
        if self.microstates and self.max_excitation is not None:
            raise UsageError("--microstates takes a --window, not --max-excitation")
        if self.plot_state is not None and self.microstates:
            raise UsageError("--plot-state is for single excitations; leave out --microstates")
        if self.window is not None and self.max_excitation is not None:
            raise UsageError("--window and --max-excitation both choose the orbitals; give one")
        if self.uhf:
            raise UsageError("the states of uv start from a restricted calculation; leave out "
                             "--uhf")

    def start(self, molecule: Molecule, method: Method | str | int) -> Run:
        """A run for a molecule."""
        task = self.replace(ci=MICROSTATES) if self.microstates else self
        return super(Uv, task).start(molecule, method)
