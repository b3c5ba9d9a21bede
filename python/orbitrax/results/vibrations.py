"""What vibrations tell: the block of the JSON document, and the table that a person reads."""

from __future__ import annotations

from orbitrax.results.text import CONVERGENCE, counted, line
from orbitrax.vibrations.gas import GasOfResult

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Sequence
    from typing import Any

    from orbitrax.results.result import Result
    from orbitrax.tasks.vibrations import Vibrating
    from orbitrax.vibrations.isotopes import Isotopes
    from orbitrax.vibrations.modes import Modes

    Isotopologues = Sequence[tuple[Isotopes, Modes]]

_ATMOSPHERE = 101325.0  # Pa
_SHOWN_MOVE = 1e-7  # Angstrom
_COLUMN = 18  # width of that of an isotopologue


# ---- for programs -------------------------------------------------------------------------------


def vibrations_block(run: Vibrating, result: Result | None) -> dict[str, Any]:
    """The entry `vibrations` of the JSON document: every key, null where nothing is known."""
    task, optimisation = run.task, run.optimisation
    found: dict[str, Any] = {
        "optimized": task.optimize,
        "optimization_cycles": None if optimisation is None else optimisation.cycles,
        "symmetrized_angstrom": run.moved, "imaginary": None, "modes": None,
        "external_frequencies_cm1": None,
        "rotational_constants_cm1": None, "thermochemistry": None, "isotopologues": [],
        "displaced_points": None, "unconverged_points": None}
    if result is None or result.modes is None:
        return found
    modes = result.modes
    found.update(
        imaginary=modes.imaginary, displaced_points=modes.points,
        unconverged_points=modes.unconverged, modes=_mode_rows(modes),
        external_frequencies_cm1=modes.external.tolist(),
        rotational_constants_cm1=modes.rotational_constants,
        thermochemistry=_gas_block(task, result),
        isotopologues=[{"isotopes": isotopes.text, "masses_amu": other.masses.tolist(),
                        "zero_point_energy": GasOfResult.zero_point(other),
                        "modes": _mode_rows(other)} for isotopes, other in run.isotopologues])
    return found


def _mode_rows(modes: Modes) -> list[dict[str, Any]]:
    columns = zip(modes.frequencies.tolist(), modes.intensities.tolist(), modes.decadic.tolist(),
                  modes.labels, modes.reduced_masses.tolist(), modes.force_constants.tolist(),
                  modes.displacements.tolist())
    return [{"frequency_cm1": nu, "intensity_km_mol": natural, "intensity_decadic_km_mol": decadic,
             "symmetry": None if label == "?" else label, "reduced_mass_amu": mass,
             "force_constant_mdyn_angstrom": force,
             "atoms": [atom + 1 for atom in modes.movers(k)], "displacements": moves}
            for k, (nu, natural, decadic, label, mass, force, moves) in enumerate(columns)]


def _gas_block(task: Any, result: Result) -> dict[str, Any]:
    about = GasOfResult(result, task.temperature, task.pressure * _ATMOSPHERE)
    gas = about.gas
    return {
        "temperature_k": task.temperature, "pressure_pa": task.pressure * _ATMOSPHERE,
        "symmetry_number": about.symmetry_number, "left_out": about.left_out,
        "reason": about.reason,
        "zero_point_energy": GasOfResult.zero_point(about.modes),
        "thermal_enthalpy": gas and gas.heat, "heat_capacity_cal_mol_k": gas and gas.heat_capacity,
        "entropy_cal_mol_k": gas and gas.entropy,
        "entropy_quasi_rrho_cal_mol_k": gas and gas.entropy_rotor,
        "enthalpy": about.on_total(gas and gas.enthalpy),
        "free_energy": about.on_total(gas and gas.free_energy),
        "free_energy_quasi_rrho": about.on_total(gas and gas.free_energy_rotor)}


# ---- for people ---------------------------------------------------------------------------------


def vibrations_summary(run: Vibrating, result: Result) -> list[str]:
    """The lines of a summary."""
    lines, optimisation = [result.heading, ""], run.optimisation
    for name, value in (("Heat of formation", result.heat_of_formation),
                        ("Total energy", result.total_energy)):
        if value is not None:
            lines.append(line(name, f"{value:18.6f} kcal/mol"))
    if result.rms_gradient is not None:
        lines.append(line("RMS gradient", f"{result.rms_gradient:18.6f} kcal/(mol Angstrom)"))
    if optimisation is not None:
        lines.append(line("Search", f"{CONVERGENCE[optimisation.converged]:>18}, "
                                    f"{counted(optimisation.cycles, 'cycle')}"))
    if result.point_group:
        lines.append(line("Point group", f"{result.point_group:>18}"))
    if run.moved is not None and run.moved >= _SHOWN_MOVE:
        lines.append(line("Made symmetric", f"{run.moved:18.1e} Angstrom, at the most"))
    modes = result.modes
    if modes is None:
        return lines
    constants = "  ".join(f"{value:.6g}" for value in modes.rotational_constants)
    lines.append(line("Rotational constants", f"{constants:>18} 1/cm"))
    return [*lines, line("Stationary point", f"{_kind(modes):>18}"), "", *_table(modes),
            *_isotope_table(modes, run.isotopologues), "", *_gas_lines(run.task, result)]


def _kind(modes: Modes) -> str:
    n = modes.imaginary
    if n == 0:
        return "a minimum"
    return (f"a saddle point, {counted(n, 'imaginary frequency')}" if n == 1 else
            f"{n} imaginary frequencies")


def shown_frequency(nu: float) -> str:
    """A frequency as people write it, an imaginary one with an i."""
    return f"{-nu:.2f}i" if nu < 0 else f"{nu:.2f} "


def _table(modes: Modes) -> list[str]:
    lines = [" mode   frequency   intensity  symmetry   red. mass   force const.  atoms that move "
             "most",
             "           (1/cm)    (km/mol)                 (amu)      (mdyn/A)"]
    rows = zip(modes.frequencies, modes.intensities, modes.labels, modes.reduced_masses,
               modes.force_constants)
    for k, (nu, strength, label, mass, force) in enumerate(rows):
        lines.append(f"{k + 1:5d}{shown_frequency(nu):>13}{strength:11.3f}  {label:<9}{mass:11.4f}"
                     f"{force:14.5f}   {modes.named_movers(k)}")
    return lines


def _isotope_table(modes: Modes, isotopologues: Isotopologues) -> list[str]:
    if not isotopologues:
        return []
    lines = ["", " mode   frequencies (1/cm)" + "".join(
        f"{isotopes.text[:_COLUMN - 2]:>{_COLUMN}}" for isotopes, _ in isotopologues)]
    for k in range(len(modes)):
        values = "".join(f"{shown_frequency(other.frequencies[k]):>{_COLUMN}}"
                         for _, other in isotopologues)
        lines.append(f"{k + 1:5d}{shown_frequency(modes.frequencies[k]):>21}{values}")
    return [*lines, f"{'zero point (kcal/mol)':>22}{'':4}" + "".join(
        f"{GasOfResult.zero_point(other):{_COLUMN - 1}.4f} " for _, other in isotopologues)]


def _gas_lines(task: Any, result: Result) -> list[str]:
    about = GasOfResult(result, task.temperature, task.pressure * _ATMOSPHERE)
    lines = [line("Zero-point energy", f"{GasOfResult.zero_point(about.modes):18.6f} kcal/mol")]
    if about.left_out:
        lines[0] += f"  (of the real modes; {about.left_out} left out)"
    gas = about.gas
    if gas is None:
        return [*lines, line("Thermochemistry", f"none: {about.reason}")]
    for name, value, unit in (
            ("H(T) - H(0)", gas.heat, "kcal/mol"),
            ("Heat capacity, Cp", gas.heat_capacity, "cal/(mol K)"),
            ("Entropy", gas.entropy, "cal/(mol K)"),
            ("Enthalpy", about.on_total(gas.enthalpy), "kcal/mol"),
            ("Free energy", about.on_total(gas.free_energy), "kcal/mol"),
            ("  quasi-RRHO entropy", gas.entropy_rotor, "cal/(mol K)"),
            ("  quasi-RRHO free energy", about.on_total(gas.free_energy_rotor), "kcal/mol")):
        if value is not None:
            lines.append(line(name, f"{value:18.6f} {unit}"))
    return [*lines, f"Ideal gas at {task.temperature:g} K and {task.pressure:g} atm, symmetry "
                    f"number {about.symmetry_number}; enthalpy and free energy on the total "
                    "energy."]
