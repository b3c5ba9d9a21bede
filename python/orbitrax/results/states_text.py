"""Electronic states as a person reads them."""

from __future__ import annotations

import math

from orbitrax.results.text import line

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Sequence

    from orbitrax.results.states import State, States

_MOST = 10  # states that are listed where nobody has asked for a number


def states_lines(states: States, chosen: str = "as asked") -> list[str]:
    """What states they are. chosen: how the window was chosen."""
    reference = states[0]
    return [line("Window", f"{states.window} ({chosen})"),
            line("Configurations", f"{states.configurations} "
                 + ("(single excitations)" if states.kind == "singles" else "(microstates)")),
            line("Ground state", f"{reference.spin_name}, dipole moment "
                 f"{math.hypot(*reference.dipole):.3f} Debye")]


def states_table(states: States, shown: Sequence[State] | None = None) -> list[str]:
    """Some states, or the first ones above the reference, one a line."""
    if shown is None:
        shown = [state for state in states if state.number > 0][:_MOST]
    if not shown:
        return ["There are no states above the ground state in this window."]
    lines = [f"{'state':>5} {'nm':>9} {'eV':>8} {'1/cm':>9} {'f':>8}  {'spin':<8} {'sym.':<4} "
             "configurations"]
    for state in shown:
        wavelength = "" if state.wavelength is None else f"{state.wavelength:.1f}"
        lines.append(f"{state.number:>5} {wavelength:>9} {state.energy:8.4f} "
                     f"{state.wavenumber:9.0f} {round(state.oscillator_strength, 4) + 0.0:8.4f}  "
                     f"{state.spin_name:<8} {state.symmetry or '':<4} {states.main(state)}")
    return lines
