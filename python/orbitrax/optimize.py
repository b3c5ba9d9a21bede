"""The task `optimize`: the nearest structure of lowest energy."""

from __future__ import annotations

import numpy as np

from orbitrax import energy
from orbitrax.link import events
from orbitrax.errors import NotConverged, OrbitraxError, UsageError
from orbitrax.files import check_target, is_molden, replaced
from orbitrax.job import OPTIMISATION, Job
from orbitrax.results.result import Result

_HEADER = f"{'cycle':>6}{'points':>8}{'energy (kcal/mol)':>20}{'RMS gradient':>15}"


class Optimize(energy.Task):
    """Follows the report points of a search, and writes what they bring."""

    name = "optimize"

    def __init__(self, arguments, terminal):
        super().__init__(arguments, terminal)
        self.text_file = None  # -o is for the structure
        self._job: Job | None = None
        self._trajectory = None
        self._point: dict = {}
        self._points: list[dict] = []
        self._positions: np.ndarray | None = None
        self._shown: np.ndarray | None = None  # the positions of the last report point

    def settings(self) -> dict:
        """The settings of the search."""
        given = self.arguments
        return {"kind": OPTIMISATION, "optimiser": given.optimizer, "rms_gradient": given.limit,
                "max_cycles": given.cycles, "report_period": given.report_period}

    def check(self) -> None:
        """Refuses files that cannot be written."""
        for path in (self.arguments.output, self.arguments.trajectory):
            if path is None:
                continue
            check_target(path)
        if self._structure_file is not None:
            _format_of(self._structure_file)

    @property
    def _structure_file(self) -> str | None:
        """A Molden file is written with the orbitals, by what all tasks share."""
        return None if is_molden(self.arguments.output) else self.arguments.output

    def begin(self, job: Job) -> None:
        """Opens the trajectory."""
        self._job = job
        if self.arguments.trajectory is not None:
            try:
                self._trajectory = open(self.arguments.trajectory, "w", encoding="utf-8")
            except OSError as error:
                raise UsageError(f"{self.arguments.trajectory}: {error.strerror}") from None

    # ---- report points --------------------------------------------------------------------------

    def on_event(self, event: events.Event) -> None:
        """Collects a report point; the precise results are the last of it."""
        if isinstance(event, events.ResultBlock):
            values = event.values
            self._point = {"cycle": values["nCycles"], "energy_points": values["nEnergyPoints"],
                           "rms_gradient": values["flRmsGradient"]}
        elif isinstance(event, events.Coordinates):
            self._positions = event.positions
        elif isinstance(event, events.Precise):
            self._point["total_energy"] = event.total_energy
            self._finish_point(event)

    def _finish_point(self, event: events.Precise) -> None:
        point = self._point
        if self._shown is not None and np.array_equal(self._shown, self._positions):
            self._points[-1] = point  # the end of the job repeats its last report point
            return
        self._shown = self._positions
        if not self._points:
            self.terminal.row(_HEADER)
        self._points.append(point)
        self.terminal.row(f"{point['cycle']:6d}{point['energy_points']:8d}"
                          f"{point['total_energy']:20.5f}{point['rms_gradient']:15.5f}")
        if self._trajectory is not None:
            atoms = self._atoms()
            atoms.info.update(method=self._job.method.key, step=int(point["cycle"]))
            _write_frame(self._trajectory, atoms, event)

    def _atoms(self):
        from ase import Atoms

        job = self._job
        return Atoms(numbers=job.molecule.numbers, positions=self._positions,
                     info={"charge": int(job.charge), "multiplicity": int(job.multiplicity)})

    # ---- the end --------------------------------------------------------------------------------

    def judge(self, result: Result) -> None:
        """Raises NotConverged for a search that has found no minimum."""
        if result.converged or self.arguments.allow_unconverged:
            return
        text = f"the search did not converge within {result.cycles} cycles"
        if result.rms_gradient is not None:
            text += (f" (RMS gradient {result.rms_gradient:.5f} kcal/(mol Angstrom), limit "
                     f"{self.arguments.limit:g})")
        raise NotConverged(f"{text}; try a higher --cycles or --limit, or another --optimizer")

    def end(self, result: Result | None) -> None:
        """Closes the trajectory and writes the last structure, converged or not."""
        if self._trajectory is not None:
            self._trajectory.close()
        if self._structure_file is not None and self._positions is not None:
            _write_structure(self._structure_file, self._atoms())

    def block(self, result: Result | None) -> dict:
        """The entry `optimize` of the JSON document."""
        given = self.arguments
        return {"optimize": {
            "optimizer": given.optimizer, "limit": given.limit, "max_cycles": given.cycles,
            "report_period": given.report_period,
            "restraints": list(given.restrain),
            "restraint_energy": None if result is None else result.restraint_energy,
            "report_points": self._points}}

    def summary(self, result: Result) -> str:
        """The summary of the last structure, and the structure unless a file has it."""
        text = energy.summary(result)
        if self.arguments.output is not None:
            return text
        rows = [f"{i:5d} {symbol:<3}{x:14.6f}{y:14.6f}{z:14.6f}" for i, (symbol, (x, y, z)) in
                enumerate(zip(result.symbols, result.coordinates), 1)]
        return text + "\n atom      coordinates (Angstrom)\n" + "\n".join(rows) + "\n"


# ---- files --------------------------------------------------------------------------------------


def _format_of(path: str) -> str:
    """The format in which ASE writes a file of this name."""
    import ase.io.formats

    try:
        name = ase.io.formats.filetype(path, read=False)
        if ase.io.formats.ioformats[name].can_write:
            return name
    except (ase.io.formats.UnknownFileTypeError, KeyError):
        pass
    raise UsageError(f"{path}: no format that can be written goes by this name; try .xyz")


def _write_structure(path: str, atoms) -> None:
    """Writes a structure; the file appears whole or not at all."""
    import ase.io

    try:
        with replaced(path) as name:
            ase.io.write(name, atoms, format=_format_of(path))
    except (ValueError, RuntimeError, KeyError, AttributeError, TypeError) as error:
        raise OrbitraxError(f"{path}: cannot be written in this format: {error}") from None


def _write_frame(file, atoms, event: events.Precise) -> None:
    """Appends a frame, and sees it out of the buffer."""
    import ase.io
    from ase import units
    from ase.calculators.singlepoint import SinglePointCalculator

    unit = units.kcal / units.mol
    values = {"energy": event.total_energy * unit}
    if event.gradient is not None:
        values["forces"] = -event.gradient * unit
    atoms.calc = SinglePointCalculator(atoms, **values)
    try:
        ase.io.write(file, atoms, format="extxyz")
        file.flush()
    except OSError as error:
        raise OrbitraxError(f"{file.name}: cannot be written: {error.strerror}") from None
