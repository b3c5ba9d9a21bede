"""Sections: what a client asks for, and tells, beyond the structures of the wire.

A new section of results is a row of RESULTS here, beside a row in the backend; whatever it holds is
then in the event `Precise`, by its name.
"""

from __future__ import annotations

import struct

from orbitrax.arrays import unpacked
from orbitrax.errors import ProtocolError
from orbitrax.link import wire
from orbitrax.link.ci_states import read_ci_states
from orbitrax.link.mode_rows import read_mode_rows

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Callable, Iterable
    from typing import Any


class Section:
    """A section of results. name: as it is called here; kind: its number; bit: of the word that
    asks for it. fields: of a record, the name of each number and "i" or "d"; without fields it is
    an array of doubles: so many `columns` for each atom. read: makes another thing of the bytes."""

    __slots__ = ("name", "kind", "bit", "fields", "columns", "read", "_form", "_names")

    def __init__(self, name: str, kind: int, bit: int, fields: tuple[tuple[str, str], ...] = (),
                 columns: int = 0, read: Callable[[bytes], Any] | None = None):
        self.read = read
        self.name, self.kind, self.bit = name, kind, bit
        self.fields, self.columns = fields, columns
        self._form = struct.Struct("<" + "".join(code for _, code in fields))
        self._names = tuple(name for name, _ in fields)

    def decode(self, data: bytes, n_atoms: int) -> Any:
        """The values of a section: of a record by name, of an array in one row. A record may be
        longer than it is known here. Raises ProtocolError for one of another size."""
        if self.read is not None:
            return self.read(data)
        wanted = self._form.size if self.fields else 8 * self.columns * n_atoms
        if len(data) < wanted or (len(data) > wanted and not self.fields):
            raise ProtocolError(f"the backend sent {len(data)} bytes of '{self.name}', where "
                                f"{wanted} belong")
        if not self.fields:
            return unpacked("d", data)
        return dict(zip(self._names, self._form.unpack_from(data)))


def _numbers(*names: str, code: str = "d") -> tuple[tuple[str, str], ...]:
    return tuple((name, code) for name in names)


RESULTS = (
    Section("energies", 0, 0, _numbers(
        "total_energy", "electronic_energy", "core_energy", "isolated_atomic_energy",
        "binding_energy", "heat_of_formation", "state_correction", "tether_energy",
        "stretch_energy", "bend_energy", "torsion_energy", "rms_gradient")),
    Section("gradient", 1, 1, columns=3),  # kcal/(mol Angstrom)
    Section("dipole", 2, 2, _numbers(*(  # Debye
        f"{part}_{axis}" for part in ("charges", "sp", "pd", "sum")
        for axis in ("x", "y", "z", "total")))),
    Section("coordinates", 3, 3, columns=3),  # Angstrom
    Section("charges", 4, 4, columns=1),
    Section("scf", 5, 5, (
        *_numbers("converged", "test", "cycles", "runs", "unconverged", "runs_since",
                  "unconverged_since", "unused", code="i"),
        *_numbers("difference", "limit", "final_difference", "worst_difference"))),
    Section("ci_states", 8, 8, read=read_ci_states),
    Section("modes", 9, 9, read=read_mode_rows),
    Section("forces", 10, 10, _numbers("why", "of_mean", "why_first", "products", code="i")),
    Section("state", 6, 6, (
        *_numbers("guarded", "converged", "cycles", "all_cycles", "aufbau", "descended", "starts",
                  "lowered", "found", "curvatures", code="i"),
        *_numbers("difference", "commutator", "internal", "spins"))),
)
_BY_KIND = {row.kind: row for row in RESULTS}
_ALWAYS = ("energies", "scf")  # every calculation has these

# RunOptions.nExtensions: all of them, and further options behind the job options.
ASKED = wire.SECTIONS_MARK | wire.FURTHER_OPTIONS | sum({1 << row.bit for row in RESULTS})

_VERSION = 2
_PAIR = struct.Struct("<2i")  # of the block: version, sections; of a section: kind, bytes


def _padded(size: int) -> int:
    return (size + 7) // 8 * 8


class SectionReader:
    """Puts the blocks of sections together from packets, for a molecule of so many atoms."""

    def __init__(self, n_atoms: int):
        self._n_atoms = n_atoms
        self._data: bytes | bytearray = b""  # of a block that is not complete

    def __bool__(self) -> bool:
        """Whether a block has begun and is not complete."""
        return bool(self._data)

    def feed(self, payload: bytes) -> dict[str, Any] | None:
        """The sections of the block that a packet completes, by name; None while it is not
        complete. Raises ProtocolError for bytes that are no such block."""
        data: bytes | bytearray = payload
        if self._data:
            data = self._data
            data += payload
        places = _places(data)
        if places is None:
            self._data = bytearray(data) if data is payload else data
            return None
        found = {row.name: row.decode(bytes(data[at:at + size]), self._n_atoms)
                 for row, at, size in places if row is not None}
        self._data = b""
        for name in _ALWAYS:
            if name not in found:
                raise ProtocolError(f"the backend left out the section '{name}'")
        return found


def _places(data: bytes | bytearray) -> list[tuple[Section | None, int, int]] | None:
    """Section, offset and bytes of the data of all sections, None before all of them have
    come."""
    if len(data) < _PAIR.size:
        return None
    version, count = _PAIR.unpack_from(data)
    if version != _VERSION or count < 0:
        raise ProtocolError(f"results in {count} sections of version {version} are not known")
    places: list[tuple[Section | None, int, int]] = []
    at = _PAIR.size
    for _ in range(count):
        if at + _PAIR.size > len(data):
            return None
        kind, size = _PAIR.unpack_from(data, at)
        if size < 0:
            raise ProtocolError(f"the backend sent a section of {size} bytes")
        places.append((_BY_KIND.get(kind), at + _PAIR.size, size))
        at += _PAIR.size + _padded(size)
    if len(data) > at:
        raise ProtocolError("the backend sent more sections than it announced")
    return places if len(data) == at else None


def further_packets(sections: Iterable[tuple[int, bytes]]) -> list[bytes]:
    """The packets of further options, from the kind and the data of each section."""
    data = b"".join(
        _PAIR.pack(kind, len(values)) + values + bytes(_padded(len(values)) - len(values))
        for kind, values in sections)
    return [wire.packet(_PAIR.pack(_VERSION, len(data))),
            *(wire.packet(data[start:start + wire.MAX_PAYLOAD])
              for start in range(0, len(data), wire.MAX_PAYLOAD))]
