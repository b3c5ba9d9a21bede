"""States and their spectrum, as tables and as pictures."""

from __future__ import annotations

import csv
import os

from orbitrax.cli.outputs import Output
from orbitrax.files import check_target, replaced
from orbitrax.results.spectra import UV_FORMULA, uv_absorption, uv_range
from orbitrax.units import CODATA_WAVENUMBER_PER_EV

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any, TextIO

    from orbitrax.cli.terminal import Terminal
    from orbitrax.results.result import Result
    from orbitrax.tasks.uv import Spectrum, Uv


def beside(path: str, what: str, ending: str | None = None) -> str:
    """The name of a second file: NAME-what.ending."""
    root, own = os.path.splitext(path)
    return f"{root}-{what}{own if ending is None else ending}"


class StatesOutput(Output):
    """A table of the states, and beside it one of the curve."""

    path: str

    def check(self, task: Any) -> None:
        """Refuses files that cannot be written."""
        for path in (self.path, beside(self.path, "curve")):
            check_target(path)

    def follow(self, run: Any, terminal: Terminal) -> None:
        """Tells the run where its table goes."""
        run.file = self.path

    def finish(self, run: Any, result: Result | None) -> None:
        """Writes both tables."""
        if run is None or result is None or result.states is None:
            return
        for path, write in ((self.path, write_states),
                            (beside(self.path, "curve"), write_curve)):
            with replaced(path) as name, open(name, "w", encoding="utf-8", newline="") as file:
                write(file, run, result)


def write_states(file: TextIO, run: Spectrum, result: Result) -> None:
    """A table of the states that are listed; lines with # in front tell what of."""
    states = result.states
    assert states is not None
    file.write(f"# {result.heading}\n# {states.configurations} {states.kind}, {states.window} "
               f"({run.chosen}); above state 0\n")
    rows = csv.writer(file, lineterminator="\n")
    rows.writerow(("state", "wavelength_nm", "energy_ev", "wavenumber_per_cm",
                   "oscillator_strength", "spin", "transition_x_debye", "transition_y_debye",
                   "transition_z_debye", "main_configurations"))
    for one in run.shown(states):
        rows.writerow((one.number, "" if one.wavelength is None else f"{one.wavelength:.3f}",
                       f"{one.energy:.6f}", f"{one.wavenumber:.2f}",
                       f"{one.oscillator_strength:.6f}", f"{one.spin:.4f}",
                       *(f"{x:.6f}" for x in one.transition_dipole), states.main(one)))


def write_curve(file: TextIO, run: Spectrum, result: Result) -> None:
    """The broadened curve of all states, with its formula and width."""
    assert result.states is not None
    curve = curve_of(run.task, run, result)
    file.write(f"# {result.heading}\n# {note_of(run.task)}\n")
    rows = csv.writer(file, lineterminator="\n")
    rows.writerow(("wavenumber_per_cm", "wavelength_nm", "energy_ev", "absorption_l_per_mol_cm"))
    for nu, value in curve:
        rows.writerow((f"{nu:.2f}", f"{1e7 / nu:.4f}", f"{nu / CODATA_WAVENUMBER_PER_EV:.6f}",
                       f"{value:.4f}"))


def note_of(task: Uv) -> str:
    """Formula and width of the curve."""
    return (f"{UV_FORMULA}, sigma {task.width_ev:g} eV "
            f"({task.width_ev * CODATA_WAVENUMBER_PER_EV:.0f} 1/cm)")


def curve_of(task: Uv, run: Spectrum, result: Result) -> list[tuple[float, float]]:
    """Wavenumbers, 1/cm, and the absorption of all states there; drawn over the states that are
    listed."""
    assert result.states is not None
    sigma = task.width_ev * CODATA_WAVENUMBER_PER_EV
    at = uv_range([one.wavenumber for one in run.shown(result.states) if one.wavenumber > 0],
                  sigma)
    lines = [(one.wavenumber, one.oscillator_strength) for one in result.states
             if one.wavenumber > 0]
    return list(zip(at, uv_absorption(lines, sigma, at)))


class SpectrumOutput(Output):
    """A picture of the spectrum, and those of the orbitals of one state."""

    path: str

    def check(self, task: Any) -> None:
        """Refuses a file that cannot be written."""
        from orbitrax.pictures import figures

        figures.check(self.path)
        check_target(self.path)

    def follow(self, run: Any, terminal: Terminal) -> None:
        """Tells the run where its picture goes, and shows how far the orbitals are."""

        def show(done: int, count: int) -> None:
            terminal.progress(f"Plotting: orbital {done} of {count}" if done else "Plotting")

        run.file, run.draws = self.path, True
        run.on_plot = show

    def finish(self, run: Any, result: Result | None) -> None:
        """Draws."""
        if run is None or result is None or result.states is None:
            return
        self._draw_spectrum(run, result)
        for place, grid in enumerate(run.grids):
            name = ("hole", "particle")[place % 2]
            self._draw_orbital(beside(
                self.path, f"state{run.task.plot_state}-{place // 2 + 1}-{name}"), grid)

    def _draw_spectrum(self, run: Spectrum, result: Result) -> None:
        from orbitrax.pictures import figures, spectrum

        states = result.states
        assert states is not None
        curve = curve_of(run.task, run, result)[::-1]
        low, high = 1e7 / curve[0][0], 1e7 / curve[-1][0]
        lines = [spectrum.Line(one.wavelength, one.oscillator_strength, states.main(one))
                 for one in states if one.wavelength is not None and low <= one.wavelength <= high]
        title = f"{result.heading}, {states.kind} of {states.window}"
        figure = spectrum.draw(lines, spectrum.Curve([1e7 / nu for nu, _ in curve],
                                                     [value for _, value in curve]),
                               title, note_of(run.task))
        with replaced(self.path) as name:
            figures.save_figure(figure, self.path, name, title)

    def _draw_orbital(self, path: str, grid: Any) -> None:
        from orbitrax.pictures import picture
        from orbitrax.pictures.cube import write_cube

        with replaced(path) as name:
            picture.save_picture(grid, path, name)
        cube = os.path.splitext(path)[0] + ".cube"
        with replaced(cube) as name, open(name, "w", encoding="ascii") as file:
            write_cube(file, grid)
