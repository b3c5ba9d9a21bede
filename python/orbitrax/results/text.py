"""A result as a person reads it."""

from __future__ import annotations

from orbitrax.units import REPORT_HARTREE_PER_KCAL

TYPE_CHECKING = False
if TYPE_CHECKING:
    from orbitrax.results.result import Result

_OCCUPIED = 0.01  # electrons above which a level counts as occupied

CONVERGENCE = {True: "converged", False: "NOT CONVERGED", None: "convergence not known"}


def line(name: str, text: str) -> str:
    """One line of a summary."""
    return f"{name:<26}{text}"


def counted(number: int | None, word: str) -> str:
    """A number of things, as in "1 cycle"."""
    return f"{number} {word}" + ("" if number == 1 else "s")


def summary(result: Result, end: list[str] | None = None) -> list[str]:
    """The lines of a summary, with units. end: how the calculation ended, where a task has more to
    say of that than how its SCF did."""
    many = unconverged_scfs(result)
    if end is None:
        end = _scf(result)
    return [result.heading, "", *_energies(result), *_properties(result), *_frontier(result),
            *_point_group(result), *end, *([line("SCF", many)] if many else []), *_charges(result)]


def _energies(result: Result) -> list[str]:
    lines = []
    for name, value in (("Heat of formation", result.heat_of_formation),
                        ("Total energy", result.total_energy),
                        ("Electronic energy", result.electronic_energy),
                        ("Core-core energy", result.core_energy),
                        ("Isolated atoms", result.isolated_atomic_energy),
                        ("Binding energy", result.binding_energy),
                        ("Restraint energy", result.restraint_energy)):
        if value is not None:
            text = f"{value:18.6f} kcal/mol"
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
    """Highest occupied and lowest empty orbital; by spin in an unrestricted calculation."""
    levels, occupancies = result.plain("orbital_energies"), result.plain("occupancies")
    if levels is None or occupancies is None:
        return []
    lines = []
    spins = ("alpha", "beta") if result.spin == "UHF" else ("",)
    n = len(levels) // len(spins)
    for i, spin in enumerate(spins):
        pairs = list(zip(levels[i * n:(i + 1) * n], occupancies[i * n:(i + 1) * n]))
        filled = [level for level, occupancy in pairs if occupancy > _OCCUPIED]
        empty = [level for level, occupancy in pairs if not occupancy > _OCCUPIED]
        for name, values in (("HOMO", filled[-1:]), ("LUMO", empty[:1])):
            if values:
                lines.append(line(f"{name} {spin}".strip(), f"{values[0]:18.6f} eV"))
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
    return f"{bad} of {runs} SCFs did not converge" if bad < runs else f"none of {runs} SCFs converged"


def _scf(result: Result) -> list[str]:
    if result.scf_iterations is None:
        return []
    return [line("SCF", f"{CONVERGENCE[result.converged]:>18}, "
                        f"{counted(result.scf_iterations, 'iteration')}")]


def _charges(result: Result) -> list[str]:
    charges = result.plain("charges")
    if charges is None:
        return []
    return ["", " atom        charge (e)", *(
        f"{i:5d} {symbol:<3}{charge:14.6f}"
        for i, (symbol, charge) in enumerate(zip(result.symbols, charges), 1))]


def structure(result: Result) -> list[str]:
    """The atoms and their places."""
    xyz = result.plain("coordinates") or []
    return ["", " atom      coordinates (Angstrom)", *(
        f"{i + 1:5d} {symbol:<3}" + "".join(f"{x:14.6f}" for x in xyz[3 * i:3 * i + 3])
        for i, symbol in enumerate(result.symbols))]
