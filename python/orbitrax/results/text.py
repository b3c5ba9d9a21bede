"""A result as a person reads it."""

from __future__ import annotations

import math

from orbitrax.methods import find_method
from orbitrax.units import REPORT_HARTREE_PER_KCAL

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any

    from orbitrax.results.result import Result

_DIGITS = 7  # of a number of single precision
_WIDTH, _DECIMALS = 18, 6

CONVERGENCE = {True: "converged", False: "NOT CONVERGED", None: "convergence not known"}


def line(name: str, text: str) -> str:
    """One line of a summary."""
    return f"{name:<26}{text}"


def single(value: float) -> str:
    """A number of single precision with the digits that it has, its point below other points."""
    before = len(str(abs(int(value)))) if abs(value) >= 1 else 0
    decimals = min(_DECIMALS, max(0, _DIGITS - before))
    room = _WIDTH - _DECIMALS + decimals - (0 if decimals else 1)
    return f"{value:{room}.{decimals}f}".ljust(_WIDTH)


def counted(number: int | None, word: str) -> str:
    """A number of things, as in "1 cycle"."""
    return f"{number} {word}" + ("" if number == 1 else "s")


def summary(result: Result, end: list[str] | None = None) -> list[str]:
    """The lines of a summary, with units. end: how the calculation ended, where a task has more to
    say of that than how its SCF did; the last of its SCFs stands behind it."""
    many = unconverged_scfs(result)
    end = [*(end or ()), *_scf(result, result.converged if end is None else result.scf_converged)]
    return [result.heading, "", *_energies(result), *_properties(result), *_frontier(result),
            *_point_group(result), *end, *([line("SCF", many)] if many else []), *_charges(result),
            *_bonds(result), *remarks_lines(result)]


def _energies(result: Result) -> list[str]:
    lines = []
    for name, value in (("Heat of formation", result.heat_of_formation),
                        ("Total energy", result.total_energy),
                        ("Electronic energy", result.electronic_energy),
                        ("Core-core energy", result.core_energy),
                        ("Isolated atoms", result.isolated_atomic_energy),
                        ("Binding energy", result.binding_energy),
                        ("Restraint energy", result.restraint_energy)):
        if value is None and name == "Heat of formation" and result.total_energy is not None:
            title = find_method(result.method).title
            lines.append(line(name, f"{'not defined':>18} for {title}"))
        if value is not None:
            exact = result.exact or name in ("Total energy", "Restraint energy")
            text = f"{value:18.6f} kcal/mol" if exact else f"{single(value)} kcal/mol"
            if name == "Total energy":
                text += f"  ({value * REPORT_HARTREE_PER_KCAL:.8f} hartree)"
            lines.append(line(name, text))
    return lines


def _properties(result: Result) -> list[str]:
    lines = []
    if result.rms_gradient is not None:
        lines.append(line("RMS gradient", f"{result.rms_gradient:18.6f} kcal/(mol Angstrom)"))
    dipole = result.plain("dipole")
    if dipole is not None:
        x, y, z, total = dipole
        lines.append(line("Dipole moment",
                          f"{total:18.6f} Debye  (x {x:.4f}, y {y:.4f}, z {z:.4f})"))
    return lines


def _frontier(result: Result) -> list[str]:
    """Levels at the edge, their gap, and what the spins do."""
    lines = [line(name, f"{level:18.6f} eV") for name, level in result.frontier()]
    if result.gap_ev is not None:
        lines.append(line("Gap", f"{result.gap_ev:18.6f} eV"))
    if result.spin_squared is not None:
        spin = (result.multiplicity - 1) / 2
        lines.append(line("S^2", f"{result.spin_squared:18.6f}  (pure spin {spin * (spin + 1):g})"))
    return lines


def _point_group(result: Result) -> list[str]:
    known = result.point_group and result.point_group != "?"
    return [line("Point group", f"{result.point_group:>18}")] if known else []


def unconverged_scfs(result: Result) -> str:
    """How many SCFs of a job did not converge, in words; empty where all did, or the only one did
    not."""
    bad, runs = result.scf_unconverged, result.scf_runs
    if not bad or not runs or runs == 1:
        return ""
    if bad == runs:
        return f"none of {runs} SCFs converged"
    return f"{bad} of {runs} SCFs did not converge"


def _scf(result: Result, converged: bool | None) -> list[str]:
    if result.scf_iterations is None:
        return []
    return [line("SCF", f"{CONVERGENCE[converged]:>18}, "
                        f"{counted(result.scf_iterations, 'iteration')}"), *_state(result)]


def curvature(scf: dict[str, Any], which: str) -> str:
    """A curvature of a state in words, "lowest" or "spin": what was not shown to be the lowest is
    as good as a bound, and is rounded up."""
    value = scf[f"{which}_curvature_ev"]
    if scf.get(f"{which}_curvature_exact"):
        return f"{round(value, 3) + 0.0:.3f} eV"
    return f"at most {math.ceil(value * 1000) / 1000 + 0.0:.3f} eV"


def _state(result: Result) -> list[str]:
    """What is known of the state, and how."""
    scf = result.blocks.get("scf")
    if not scf or not scf["converged"]:
        return []
    known = []
    if scf["starts"] > 1:
        known.append(f"lowest of {scf['starts']} starts")
    if scf["state"] != "not tested":
        known.append(f"curvature {curvature(scf, 'lowest')}")
    if scf["spin_curvature_ev"] is not None:
        known.append(f"to unequal spins {curvature(scf, 'spin')}")
    state = "not tested" if scf["state"] == "not tested" else scf["state"]
    return [line("State", ", ".join([f"{state:>18}", *known]))] if known else []


def _charges(result: Result) -> list[str]:
    charges = result.plain("charges")
    if charges is None:
        return []
    spins = result.plain("spin_populations")
    rows = [f"{i:5d} {symbol:<3}{charge:14.6f}"
            for i, (symbol, charge) in enumerate(zip(result.symbols, charges), 1)]
    if spins is not None:
        rows = [f"{row}{spin:14.6f}" for row, spin in zip(rows, spins)]
    head = " atom        charge (e)" + ("   unpaired" if spins is not None else "")
    return ["", head, *rows]


def _bonds(result: Result) -> list[str]:
    """Bond orders, by pairs of atoms."""
    if result.bond_orders is None:
        return []
    return ["", " bond           order", *(
        f"{symbol_i}{int(i)}-{symbol_j}{int(j)}".rjust(10) + f"{order:12.4f}"
        for i, j, order in result.bond_orders
        for symbol_i, symbol_j in [(result.symbols[int(i) - 1], result.symbols[int(j) - 1])])]


def remarks_lines(result: Result) -> list[str]:
    """What is odd about a result."""
    return ["", *(f"Remark: {text}" for text in result.remarks)] if result.remarks else []


def structure(result: Result) -> list[str]:
    """The atoms and their places."""
    xyz = result.plain("coordinates") or []
    return ["", " atom      coordinates (Angstrom)", *(
        f"{i + 1:5d} {symbol:<3}" + "".join(f"{x:14.6f}" for x in xyz[3 * i:3 * i + 3])
        for i, symbol in enumerate(result.symbols))]
