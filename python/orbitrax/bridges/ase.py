"""Orbitrax as an ASE calculator.

    from ase.build import molecule
    from orbitrax.ase import Orbitrax

    with Orbitrax(method="am1") as calc:
        atoms = molecule("CH3CH2OH")
        atoms.calc = calc
        print(atoms.get_potential_energy())

Units are ASE's: eV, Angstrom, e, e Angstrom. The energy is the total energy of the method; its heat
of formation and all else that was computed stand in `calc.result`.
"""

from __future__ import annotations

import contextlib
import warnings

import numpy as np
from ase.calculators import calculator

from orbitrax.backend import Backend
from orbitrax.errors import (BackendNotFound, InputError, NotConverged, OrbitraxError,
                             ParameterError, UsageError, in_python)
from orbitrax.job import Job, JobSettings
from orbitrax.molecules.reading import from_ase
from orbitrax.results.odd import pressed
from orbitrax.tasks.task import judge_scf, remark, warn_of_the_mean
from orbitrax.units import ASE_EANGSTROM_PER_DEBYE, ASE_EV_PER_KCAL

TYPE_CHECKING = False
if TYPE_CHECKING:
    import os
    from collections.abc import Iterator, Sequence
    from typing import Any

    from orbitrax.grids.frame import Frame
    from orbitrax.grids.grid import Grid
    from orbitrax.grids.plot import Plot
    from orbitrax.results.result import Result

_SETTINGS = ("charge", "multiplicity", "uhf", "rhf", "scf_limit", "scf_iterations", "diis",
             "sigma", "pi", "level_shift_start", "select", "allow_unconverged", "scf",
             "stability")


_TOLD = ("charge", "multiplicity", "spin")  # by info


class Orbitrax(calculator.Calculator):  # type: ignore[misc]
    """Energy, charges, dipole and, where the method has them, forces of a molecule.

    method: one of the nine by name, as `orbitrax methods` lists them. charge, multiplicity: of the
    molecule; when None, `atoms.info` says, else the initial charges and magnetic moments, else 0
    and the lowest multiplicity. uhf: UHF instead of RHF; None for UHF where the
    multiplicity is above 1. allow_unconverged: takes the last energy of an SCF that did not
    converge. The other settings are those of `orbitrax.Job`. backend, tables, time_limit: as
    `orbitrax.Backend` takes them.

    One backend process serves all geometries until the method changes or `close` is called. A
    calculator can be pickled; the copy starts a process of its own.

    Raises InputError (a job that is refused), SCFError (not converged), CalculatorSetupError (no
    backend, no tables) and CalculationFailed (all else), of `ase.calculators.calculator`.
    """

    name = "orbitrax"
    implemented_properties = ["energy", "free_energy", "forces", "dipole", "charges", "magmom",
                              "magmoms", "heat_of_formation"]
    default_parameters = {
        "method": "am1", **{name: JobSettings.options[name].default for name in _SETTINGS},
    }
    discard_results_on_any_change = True
    ignored_changes = {"cell", "pbc"}

    def __init__(self, atoms: Any = None, *, backend: str | os.PathLike[str] | None = None,
                 tables: str | os.PathLike[str] | None = None, time_limit: float | None = None,
                 **settings: Any):
        self._backend = Backend(backend, tables, time_limit)
        self.result: Result | None = None
        super().__init__(atoms=atoms, **settings)

    def set(self, **settings: Any) -> dict[str, Any]:
        """Changes settings, by name, and returns those that did change. Raises InputError for a
        name that is none."""
        unknown = sorted(set(settings) - set(self.default_parameters)
                         - {"atoms", "label", "restart", "directory"})
        if unknown:
            raise calculator.InputError(f"Orbitrax has no setting '{unknown[0]}'; it has "
                                        + ", ".join(sorted(self.default_parameters)))
        changed: dict[str, Any] = super().set(**settings)
        if changed:
            self.reset()
        return changed

    def todict(self, skip_default: bool = True) -> dict[str, Any]:
        """The settings, for databases: the method, and what is not as usual."""
        usual = self.default_parameters
        return {name: value for name, value in self.parameters.items()
                if name == "method" or not skip_default or value != usual.get(name)}

    def __repr__(self) -> str:
        given = ", ".join(f"{name}={value!r}" for name, value in self.todict().items())
        return f"Orbitrax({given})"

    # ---- what ASE has no names for ---------------------------------------------------------------

    def get_homo_lumo(self) -> tuple[float, float]:
        """Energies of the highest occupied and the lowest empty orbital, of either spin, eV."""
        levels = self._known().frontier()
        filled = [level for name, level in levels if not name.startswith("LUMO")]
        empty = [level for name, level in levels if name.startswith("LUMO")]
        if not filled or not empty:
            raise calculator.PropertyNotImplementedError("there is no such pair of orbitals")
        return max(filled), min(empty)

    def get_homo_lumo_gap(self) -> float:
        """The gap between them, eV."""
        homo, lumo = self.get_homo_lumo()
        return lumo - homo

    @property
    def extra(self) -> dict[str, Any]:
        """What was calculated last, as the JSON document has it; energies in kcal/mol."""
        return self._known().to_dict()

    def _known(self) -> Result:
        if self.result is None:
            raise calculator.CalculationFailed("nothing has been calculated yet")
        return self.result

    # ---- the process ----------------------------------------------------------------------------

    def close(self) -> None:
        """Ends the backend process; the next calculation starts another."""
        self._backend.close()

    def __enter__(self) -> Orbitrax:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def __del__(self) -> None:
        try:
            self.close()
        except Exception:  # an interpreter that is going away has lost half its modules
            pass

    # ---- calculation ----------------------------------------------------------------------------

    def check_state(self, atoms: Any, tol: float = 1e-15) -> list[str]:
        """What of the atoms has changed; what `info` says of their state counts as well."""
        changes: list[str] = super().check_state(atoms, tol)
        if self.atoms is not None and any(
                self.atoms.info.get(name) != atoms.info.get(name) for name in _TOLD):
            changes.append("info")
        return changes

    def calculate(self, atoms: Any = None, properties: Sequence[str] = ("energy",),
                  system_changes: Sequence[str] = calculator.all_changes) -> None:
        """Runs one single point and fills `results` and `result`."""
        super().calculate(atoms, list(properties), system_changes)
        last, self.result = self.result, None
        if self.atoms.pbc.any():
            warnings.warn("Orbitrax computes molecules: the periodic cell is ignored",
                          stacklevel=2)
        moved = list(system_changes) == ["positions"] and last is not None
        result = self._run("follow" if moved else "leave")
        self.result = result
        self.results = _in_ase_units(result)
        missing = [name for name in properties if name not in self.results]
        if missing:
            raise calculator.PropertyNotImplementedError(
                f"{result.method} with these settings yields no {missing[0]}")

    def plot(self, plot: Plot | str = "homo", frame: Frame | None = None) -> Grid:
        """An orbital ("homo", "lumo+1", a number), "density", "spin-density", "potential" or an
        `orbitrax.Plot` of the atoms calculated last: an `orbitrax.Grid` on the points of `frame`,
        by default those of `orbitrax.box_around`."""
        with ase_errors():
            return self._backend.plot(plot, frame)

    def vibrations(self, atoms: Any = None, optimize: bool = False) -> Any:
        """The vibrations of atoms, those calculated last by default, as an
        `ase.vibrations.VibrationsData`; at the nearest minimum with optimize."""
        from orbitrax.bridges.ase_vibrations import vibrations

        if atoms is not None:
            self.atoms = atoms.copy()
        job = self._job()
        settings = {name: self.parameters[name] for name in _SETTINGS}
        settings.update(charge=job.charge, multiplicity=job.multiplicity, uhf=job.uhf)
        return vibrations(self.atoms, self.parameters.method, self._backend, optimize=optimize,
                          **settings)

    def _run(self, density: str) -> Result:
        with ase_errors():
            job = self._job().replace(scf_start=density)
            result = self._backend.run(job)
            remark(job, result)
            warn_of_the_mean(job, result)
            if not job.settings.allow_unconverged:
                judge_scf(job, result)
        for text in (*result.warnings, *result.state_remarks, *pressed(result)):
            warnings.warn(in_python(text), stacklevel=4)
        return result

    def _job(self) -> Job:
        settings = {name: self.parameters[name] for name in _SETTINGS}
        return Job(from_ase(self.atoms, self.atoms.get_chemical_formula()),
                   self.parameters.method, **settings)


@contextlib.contextmanager
def ase_errors() -> Iterator[None]:
    """Turns our errors into those of ASE."""
    try:
        yield
    except (InputError, UsageError) as error:
        raise calculator.InputError(str(error)) from error
    except (BackendNotFound, ParameterError) as error:
        raise calculator.CalculatorSetupError(str(error)) from error
    except NotConverged as error:
        raise calculator.SCFError(str(error)) from error
    except OrbitraxError as error:
        raise calculator.CalculationFailed(str(error)) from error


def _in_ase_units(result: Result) -> dict[str, Any]:
    """What a result holds, under ASE's names and in ASE's units."""
    assert result.total_energy is not None
    energy = result.total_energy * ASE_EV_PER_KCAL
    found: dict[str, Any] = {"energy": energy, "free_energy": energy,
             "magmom": float(result.multiplicity - 1)}
    if result.gradient is not None:
        found["forces"] = -np.asarray(result.gradient) * ASE_EV_PER_KCAL
    if result.dipole is not None:
        found["dipole"] = np.asarray(result.dipole[:3]) * ASE_EANGSTROM_PER_DEBYE
    if result.charges is not None:
        found["charges"] = np.asarray(result.charges)
    if result.heat_of_formation is not None:
        found["heat_of_formation"] = result.heat_of_formation * ASE_EV_PER_KCAL
    if result.spin_populations is not None:
        found["magmoms"] = np.asarray(result.spin_populations)
    return found
