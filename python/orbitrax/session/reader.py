"""Turns the packets of a session into events.

Texts, charges and sections are known by their packet type; everything else is plain data
whose meaning is its place in the session. The places are written down as a script: a generator that
yields how many bytes come next and is sent those bytes.
"""

from __future__ import annotations

from orbitrax.arrays import shortest, unpacked
from orbitrax.errors import ProtocolError
from orbitrax.job import (LANGEVIN, MOLECULAR_DYNAMICS, MONTE_CARLO, OPTIMISATION, SINGLE_POINT,
                          SYNCHRONOUS_TRANSIT, TRANSITION_STATE, VIBRATIONS)
from orbitrax.link import events, wire
from orbitrax.link.sections import SectionReader

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Generator
    from typing import Any

    import numpy as np

    from orbitrax.link.conversation import Packet

    Script = Generator[int, bytes, Any]  # yields how many bytes come next, is sent those

_LINES = {
    wire.LOG_LINE: events.LogLine,
    wire.STATUS_LINE: events.StatusLine,
    wire.WARNING_LINE: events.WarningLine,
    wire.ERROR_LINE: events.ErrorLine,
    wire.DEBUG_LINE: events.DebugLine,
}

_MAX_ORBITALS = 1 << 24
_MAX_MODES = 1 << 16
_MAX_STATES = 1 << 24


class SessionReader:
    """Reads the packets of one session: of a job with `n_atoms` atoms, unrestricted or not, of a
    kind by its number, with eigenvectors at its end or without. states: whether a single point has
    states of singly excited configurations.

    first: whether this is the first session of its process, which begins with the node count.
    """

    def __init__(self, n_atoms: int, unrestricted: bool, eigenvectors: bool, first: bool,
                 calc_kind: int = SINGLE_POINT, states: bool = False):
        self._n_atoms = n_atoms
        self._states = states and calc_kind == SINGLE_POINT
        self._unrestricted = unrestricted
        self._eigenvectors = eigenvectors
        self._ready: list[events.Event] = []
        self._refused = False  # an error text has come: data may be missing
        self._charges = bytearray()
        self._sections = SectionReader(n_atoms)
        self._data = bytearray()
        self._at_report_point = True  # what comes next would be a result block
        self._finished = False
        self._modes = calc_kind == VIBRATIONS
        job = self._JOBS.get(calc_kind, SessionReader._single_point)
        self._script = self._session(first, job(self))
        self._wanted = next(self._script)

    @property
    def finished(self) -> bool:
        """Whether all that the job's kind promises has come."""
        return self._finished and not self._charges and not self._sections

    def feed(self, packet: Packet) -> list[events.Event]:
        """The events that a packet completes."""
        self._ready = []
        if packet.kind in _LINES:
            self._take_line(packet)
        elif packet.kind == wire.CHARGES:
            self._take_charges(packet.payload)
        elif packet.kind == wire.PRECISE:
            self._take_precise(packet.payload)
        elif packet.kind == wire.DATA:
            self._take_data(packet.payload)
        else:
            raise ProtocolError(f"the backend sent a packet of unknown type {packet.kind}")
        return self._ready

    # ---- by type --------------------------------------------------------------------------------

    def _take_line(self, packet: Packet) -> None:
        text = packet.payload.split(b"\0", 1)[0].decode("latin-1")
        self._refused |= packet.kind == wire.ERROR_LINE
        self._ready.append(_LINES[packet.kind](text))

    def _take_charges(self, payload: bytes) -> None:
        self._charges += payload
        wanted = 4 * self._n_atoms
        if len(self._charges) > wanted:
            raise ProtocolError(f"the backend sent more than {self._n_atoms} charges")
        if len(self._charges) == wanted:
            self._ready.append(events.Charges(unpacked("f", self._charges)))
            self._charges = bytearray()

    def _take_precise(self, payload: bytes) -> None:
        sections = self._sections.feed(payload)
        if sections is not None:
            self._ready.append(events.Precise(sections))

    def _take_data(self, payload: bytes) -> None:
        if self._finished:
            raise ProtocolError(f"the backend sent {len(payload)} bytes after its last result")
        if self._refused and self._at_report_point and len(payload) != self._wanted:
            return  # eigenvectors of an ended job, or of an earlier one
        self._data += payload
        while not self._finished and len(self._data) >= self._wanted:
            if len(self._data) > self._wanted:
                raise ProtocolError(f"the backend sent {len(self._data)} bytes where "
                                    f"{self._wanted} belong")
            piece, self._data = bytes(self._data), bytearray()
            try:
                self._wanted = self._script.send(piece)
            except StopIteration:
                self._finished = True

    # ---- by place -------------------------------------------------------------------------------

    def _session(self, first: bool, job: Script) -> Script:
        if first:
            count = _word((yield 4))
            self._ready.append(events.NodeCount(count))
        yield from job
        n_orbitals = yield from self._orbital_data()
        if self._states:
            yield from self._ci_records()
        if self._modes:
            yield from self._normal_modes()
        if self._eigenvectors:
            yield from self._eigenvector_matrices(n_orbitals)

    def _single_point(self) -> Script:
        yield from self._result_block()

    def _report_points(self) -> Script:
        """Report points, up to the last block of the job."""
        yield from self._points(with_velocities=False)

    def _moving_points(self) -> Script:
        """The same of dynamics, whose velocities come first."""
        yield from self._points(with_velocities=True)

    def _points(self, with_velocities: bool) -> Script:
        final = False
        while not final:
            if with_velocities:
                velocities = yield 12 * self._n_atoms
                self._at_report_point = False
                self._ready.append(events.Velocities(unpacked("f", velocities)))
            final = yield from self._result_block()
            xyz = yield 12 * self._n_atoms
            self._ready.append(events.Coordinates(unpacked("f", xyz)))
            self._at_report_point = not final

    def _normal_modes(self) -> Script:
        n = _word((yield 4))
        if not 0 <= n <= min(3 * self._n_atoms, _MAX_MODES):
            raise ProtocolError(f"the backend announces {n} normal modes")
        records = (yield wire.ModeRecord.size * n) if n else b""
        rows = _word((yield 4))
        if rows != n:
            raise ProtocolError(f"the backend announces {n} normal modes and {rows} eigenvectors")
        vectors = (yield 4 * n * n) if n else b""
        self._ready.append(_modes(records, vectors))

    # What a job brings ahead of its orbitals, by the number of its kind.
    _JOBS = {SINGLE_POINT: _single_point, OPTIMISATION: _report_points,
             MOLECULAR_DYNAMICS: _moving_points, LANGEVIN: _moving_points,
             MONTE_CARLO: _report_points, TRANSITION_STATE: _report_points,
             SYNCHRONOUS_TRANSIT: _report_points}

    def _result_block(self) -> Script:
        """Reads one; returns whether it is the last of the job."""
        values = wire.ResultBlock.unpack((yield wire.ResultBlock.size))
        self._at_report_point = False
        self._ready.append(events.ResultBlock(values))
        return bool(values["fFinalResult"])

    def _orbital_data(self) -> Script:
        """Reads the orbital data; returns the number of orbitals."""
        n_values = _word((yield 4))
        if not 1 <= n_values <= _MAX_ORBITALS or (self._unrestricted and n_values % 2):
            raise ProtocolError(f"the backend announces {n_values} orbital values")
        block = yield 24 * n_values + 4
        self._ready.append(_orbitals(block, n_values))
        return n_values // 2 if self._unrestricted else n_values

    def _ci_records(self) -> Script:
        count = _word((yield 4))
        if not 1 <= count <= _MAX_STATES:
            raise ProtocolError(f"the backend announces {count} states")
        size = wire.UvRecord.size
        data = yield size * count
        self._ready.append(events.CiRecords([
            wire.UvRecord.unpack(data[start:start + size])
            for start in range(0, size * count, size)]))

    def _eigenvector_matrices(self, n: int) -> Script:
        for spin in ("alpha", "beta") if self._unrestricted else ("alpha",):
            matrix = yield 4 * n * n
            self._ready.append(events.Eigenvectors(spin, n, unpacked("f", matrix)))


class ModeReader(SessionReader):
    """Reads the packets of a session that makes the modes of a kept force matrix, and nothing else.
    """

    def __init__(self, n_atoms: int, first: bool):
        super().__init__(n_atoms, False, False, first, VIBRATIONS)

    def _session(self, first: bool, job: Script) -> Script:
        if first:
            self._ready.append(events.NodeCount(_word((yield 4))))
        yield from self._normal_modes()


class PlotReader(SessionReader):
    """Reads the packets of a session that plots and does nothing else: `n_grids` grids of
    `n_points` points."""

    def __init__(self, n_points: int, n_grids: int, first: bool):
        self._n_points, self._n_grids = n_points, n_grids
        super().__init__(0, False, False, first)

    def _session(self, first: bool, job: Script) -> Script:
        if first:
            self._ready.append(events.NodeCount(_word((yield 4))))
        for _ in range(self._n_grids):
            plane = yield 4 * self._n_points
            self._ready.append(events.PlotPlane(_plane(plane)))


def _word(data: bytes) -> int:
    return int.from_bytes(data, "little", signed=True)


def _plane(data: bytes) -> np.ndarray[Any, Any]:
    """Whoever plots works with numpy."""
    import numpy

    return numpy.frombuffer(data, "<f4")


def _orbitals(data: bytes, n: int) -> events.OrbitalData:
    """Energies, occupancies, order, populations, symmetry indices, labels of 4 characters, and the
    point group."""
    columns = [data[4 * n * i:4 * n * (i + 1)] for i in range(6)]
    first = columns[5][:4]
    if columns[5] == first * n:  # mostly no species
        labels = [_label(first)] * n
    else:
        texts = [columns[5][i:i + 4] for i in range(0, 4 * n, 4)]
        known = {text: _label(text) for text in set(texts)}
        labels = [known[text] for text in texts]
    return events.OrbitalData(
        energies=unpacked("f", columns[0]), occupancies=unpacked("f", columns[1]),
        order=unpacked("i", columns[2]), populations=unpacked("f", columns[3]),
        symmetry_index=unpacked("i", columns[4]), symmetry_labels=labels,
        point_group=_label(data[24 * n:]))


def _label(data: bytes) -> str:
    return data.split(b"\0", 1)[0].decode("latin-1").strip()


def _modes(records: bytes, vectors: bytes) -> events.NormalModes:
    size = wire.ModeRecord.size
    rows = [wire.ModeRecord.unpack(records[i:i + size]) for i in range(0, len(records), size)]
    order = [row["nIndex"] for row in rows]
    if sorted(order) != list(range(len(rows))):
        raise ProtocolError("the backend numbers its normal modes in no order")
    return events.NormalModes(
        [shortest(row["flFrequency"]) for row in rows],
        [shortest(row["flIntensity"]) for row in rows], [row["nSymmetryIndex"] for row in rows],
        [_label(wire.word(row["sSymmetryLabel"])) for row in rows], order,
        unpacked("f", vectors))
