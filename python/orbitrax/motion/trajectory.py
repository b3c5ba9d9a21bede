"""Trajectories as extended xyz: one frame a report, whole at every moment, to be gone on from.

Energies of the remark line are kcal/mol as their names say, but for `energy` and the column
`forces`, which are eV and eV/Angstrom as other programs expect of an extended xyz file. The column
`velo` is Angstrom/ps.
"""

from __future__ import annotations

import math
import os
from decimal import Decimal

from orbitrax.arrays import shortest
from orbitrax.errors import MoleculeError
from orbitrax.files import claimed
from orbitrax.molecules.xyz import read_xyz
from orbitrax.units import ASE_EV_PER_KCAL

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Sequence
    from typing import Any, BinaryIO

    from orbitrax.molecules.molecule import Molecule


class Frame:
    """One report of a run. step: from the start of the whole run, restarts counted; time: ps, None
    where steps have none. places: 3 n, Angstrom; velocities: 3 n, Angstrom/ps; gradient: 3 n,
    kcal/(mol Angstrom); energies kcal/mol, temperature K. What a job does not yield is None."""

    __slots__ = ("step", "time", "places", "velocities", "gradient", "potential", "kinetic",
                 "temperature", "accepted", "converged")

    def __init__(self, step: int, time: Decimal | None, places: Sequence[float],
                 potential: float, kinetic: float, temperature: float,
                 velocities: Sequence[float] | None = None,
                 gradient: Sequence[float] | None = None, accepted: float | None = None,
                 converged: bool | None = None):
        self.step, self.time, self.places = step, time, places
        self.potential, self.kinetic, self.temperature = potential, kinetic, temperature
        self.velocities, self.gradient, self.accepted = velocities, gradient, accepted
        self.converged = converged

    @property
    def total(self) -> float:
        """Kinetic and potential energy, kcal/mol."""
        return self.kinetic + self.potential


class Heading:
    """What all frames of a run share. remarks: further words of the remark line, by name: task,
    method, charge, multiplicity, ...; None leaves one out. Masses and charges of the molecule's own
    become columns, so that a run can go on from the file alone."""

    def __init__(self, molecule: Molecule, remarks: dict[str, Any]):
        self.symbols = molecule.symbols
        self.columns = [(name, list(values)) for name, values in (
            ("masses", molecule.plain_masses), ("initial_charges", molecule.plain_charges))
            if values is not None]
        self.remarks = " ".join(f"{name}={_quoted(value)}" for name, value in remarks.items()
                                if value is not None)


def frame_text(heading: Heading, frame: Frame) -> str:
    """One frame as the lines of an extended xyz file."""
    columns, rows = ["species:S:1", "pos:R:3"], [_triples(frame.places, "%16.9f")]
    if frame.velocities is not None:
        columns.append("velo:R:3")
        rows.append(_triples(frame.velocities, "%16.9g"))
    if frame.gradient is not None:
        columns.append("forces:R:3")
        rows.append(_triples([-ASE_EV_PER_KCAL * g for g in frame.gradient], "%14.8f"))
    for name, values in heading.columns:
        columns.append(f"{name}:R:1")
        rows.append([f" {value:.10g}" for value in values])
    remarks = f"Properties={':'.join(columns)} {_remarks(heading, frame)}"
    lines = [str(len(heading.symbols)), remarks]
    lines += [f"{symbol:<2}{''.join(parts)}" for symbol, *parts in zip(heading.symbols, *rows)]
    return "\n".join(lines) + "\n"


def _triples(values: Sequence[float], form: str) -> list[str]:
    row = 3 * (" " + form)
    numbers = list(values)
    return [row % tuple(numbers[i:i + 3]) for i in range(0, len(numbers), 3)]


def _remarks(heading: Heading, frame: Frame) -> str:
    """The remark line behind the columns."""
    words: dict[str, Any] = {
        "step": frame.step,
        "time_ps": None if frame.time is None else f"{frame.time:f}",
        "temperature": f"{frame.temperature:.4f}",
        "energy": f"{frame.potential * ASE_EV_PER_KCAL:.10f}",
        "potential_kcal": f"{frame.potential:.8f}",
        "kinetic_kcal": f"{frame.kinetic:.8f}",
        "total_kcal": f"{frame.total:.8f}",
        "acceptance": None if frame.accepted is None else f"{shortest(frame.accepted)}",
        "scf_converged": {True: "T", False: "F", None: None}[frame.converged],
    }
    told = " ".join(f"{name}={word}" for name, word in words.items() if word is not None)
    return f"{told} {heading.remarks} pbc=\"F F F\""


def _quoted(value: Any) -> str:
    text = str(value)
    return f'"{text}"' if not text or any(c in text for c in ' =",') else text


# ---- the file -----------------------------------------------------------------------------------


class TrajectoryFile:
    """A file that grows by whole frames: each is written at once and handed to the system, so that
    whoever reads the file, even after a crash of this program, finds frames and no fragments but
    possibly the last. append: goes on behind the last whole frame of a file that is there. Raises
    UsageError where another run is writing the file."""

    def __init__(self, path: str | os.PathLike[str], heading: Heading, append: bool = False):
        self.path, self._heading = os.fspath(path), heading
        self._file: BinaryIO = open(self.path, "r+b" if append else "wb", buffering=0,
                                    opener=claimed)
        if append:
            self._file.truncate(end_of_frames(self.path))
            self._file.seek(0, os.SEEK_END)
        self.frames = 0

    def write(self, frame: Frame) -> None:
        """Adds a frame. Raises OSError where it cannot be written."""
        data = memoryview(frame_text(self._heading, frame).encode("ascii"))
        while data:
            data = data[self._file.write(data):]
        self.frames += 1

    def close(self) -> None:
        """Closes the file."""
        self._file.close()

    def __enter__(self) -> TrajectoryFile:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()


def end_of_frames(path: str | os.PathLike[str]) -> int:
    """Bytes of a file up to the end of its last whole frame."""
    return _last_frame(path)[1]


def _last_frame(path: str | os.PathLike[str]) -> tuple[list[bytes], int]:
    """Lines of the last whole frame, and where it ends."""
    last: list[bytes] = []
    end = 0
    with open(path, "rb") as file:
        while True:
            head = file.readline()
            if not head.endswith(b"\n") or not head.strip().isdigit():
                return last, end
            lines = [file.readline() for _ in range(int(head) + 1)]
            if not lines[-1].endswith(b"\n"):
                return last, end
            last, end = lines, file.tell()


class Restart:
    """The last whole frame of a trajectory. velocities, gradient: 3 n, as in `Frame`, None where it
    has none; remarks: the words of its remark line, by name."""

    def __init__(self, molecule: Molecule, velocities: list[float] | None,
                 gradient: list[float] | None, remarks: dict[str, str]):
        self.molecule, self.velocities, self.gradient = molecule, velocities, gradient
        self.remarks = remarks

    @property
    def step(self) -> int:
        """Number of the frame's step; 0 where it has none."""
        word = self.remarks.get("step", "")
        return int(word) if word.isdecimal() else 0

    @property
    def time(self) -> Decimal:
        """Time of the frame, ps; 0 where it has none."""
        return self._number("time_ps")

    @property
    def time_step(self) -> Decimal:
        """The step of the run that the frame is of, ps; 0 where it has none."""
        return max(Decimal(0), self._number("timestep_ps"))

    def _number(self, name: str) -> Decimal:
        try:
            found = Decimal(self.remarks.get(name, "0"))
        except ArithmeticError:
            return Decimal(0)
        return found if found.is_finite() else Decimal(0)


def read_restart(path: str | os.PathLike[str]) -> Restart:
    """Where a trajectory of this program ends. Raises MoleculeError for what is none."""
    name = os.fspath(path)
    if not os.path.isfile(name):
        raise MoleculeError(f"{name}: there is no such file")
    lines = [line.decode("utf-8", "replace") for line in _last_frame(name)[0]]
    if not lines:
        raise MoleculeError(f"{name} has no whole frame to go on from")
    remarks = _words(lines[0])
    columns = _columns(remarks.get("Properties", ""))
    if "pos" not in columns or "species" not in columns:
        raise MoleculeError(f"{name} is no extended xyz trajectory: its frames name no columns")
    if any(len(columns[column]) != 3 for column in ("velo", "forces") if column in columns):
        raise MoleculeError(f"{name}: its last frame cannot be read: velocities and forces are "
                            "three numbers each")
    molecule = read_xyz(f"{len(lines) - 1}\n" + "".join(lines), name)
    rows = [line.split() for line in lines[1:]]
    velocities, forces = (
        _triples_of(rows, columns[column].start, name) if column in columns else None
        for column in ("velo", "forces"))
    gradient = None if forces is None else [-force / ASE_EV_PER_KCAL for force in forces]
    return Restart(molecule, velocities, gradient, remarks)


def _triples_of(rows: list[list[str]], first: int, name: str) -> list[float]:
    try:
        found = [float(row[first + k]) for row in rows for k in range(3)]
    except (IndexError, ValueError):
        raise MoleculeError(f"{name}: its last frame cannot be read") from None
    if not all(math.isfinite(value) for value in found):
        raise MoleculeError(f"{name}: its last frame has velocities that are no numbers")
    return found


def _columns(properties: str) -> dict[str, range]:
    """The columns of each property, from "species:S:1:pos:R:3"."""
    words = properties.split(":")
    found, place = {}, 0
    for name, _, width in zip(words[0::3], words[1::3], words[2::3]):
        found[name] = range(place, place + (int(width) if width.isdecimal() else 1))
        place = found[name].stop
    return found


def _words(line: str) -> dict[str, str]:
    """The words name=value of a remark line, values in quotes or bare."""
    import shlex

    try:
        words = shlex.split(line)
    except ValueError:
        words = line.split()
    return {name: value for name, found, value in (word.partition("=") for word in words) if found}
