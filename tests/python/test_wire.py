"""The records of the wire against the C++ structures, as a compiler lays them out."""

import shutil
import struct
import subprocess

import numpy as np
import pytest
from support import ROOT

from orbitrax.link import wire

FRAME_TYPES = {"packet types": {
    "kPacketData": wire.DATA, "kPacketDebugFlag": wire.DEBUG_FLAG, "kPacketCharges": wire.CHARGES,
    "kPacketPrecise": wire.PRECISE, "kPacketLogLine": wire.LOG_LINE,
    "kPacketStatusLine": wire.STATUS_LINE, "kPacketWarningLine": wire.WARNING_LINE,
    "kPacketErrorLine": wire.ERROR_LINE, "kPacketDebugLine": wire.DEBUG_LINE,
    "kPacketRequestNext": wire.REQUEST_NEXT, "kMaxPayload": wire.MAX_PAYLOAD,
    "kMaxBonds": wire.MAX_BONDS, "kAtomsPerChunk": wire.ATOMS_PER_CHUNK,
    "kPreciseResults": wire.PRECISE_RESULTS, "kSectionsMark": wire.SECTIONS_MARK,
    "kFurtherOptionsBit": wire.FURTHER_OPTIONS, "kNodeBackend": wire.NODE_BACKEND,
    "kNodeFrontend": wire.NODE_FRONTEND, "kTransactionConnect": wire.CONNECT,
    "kTransactionRequest": wire.REQUEST, "kTransactionPoke": wire.POKE,
    "kTransactionExecute": wire.EXECUTE, "kTransactionDisconnect": wire.DISCONNECT,
    "kAcknowledged": wire.ACKNOWLEDGED,
}}
CONSTANTS = FRAME_TYPES["packet types"]


@pytest.fixture(scope="module")
def compiled(tmp_path_factory):
    """What the compiler says: {"Struct": size, "Struct.field": (offset, size, is float)}."""
    compiler = shutil.which("g++") or shutil.which("clang++")
    assert compiler, "a C++ compiler is needed"
    lines = []
    for name, (_, fields) in wire.STRUCTURES.items():
        lines.append(f'std::printf("{name} %zu\\n", sizeof({name}));')
        for field, _, _ in fields:
            lines.append(
                f'std::printf("{name}.{field} %zu %zu %d\\n", offsetof({name}, {field}), '
                f"sizeof({name}::{field}), int(std::is_floating_point_v<std::remove_all_extents_t<"
                f"decltype({name}::{field})>>));")
    for name in CONSTANTS:
        lines.append(f'std::printf("{name} %u\\n", static_cast<unsigned>({name}));')
    folder = tmp_path_factory.mktemp("wire")
    (folder / "wire.cpp").write_text(
        '#include "link/conversation.h"\n#include "link/packets.h"\n#include <cstdio>\n'
        "#include <type_traits>\nusing namespace qsolve;\nint main() {\n"
        + "\n".join(lines) + "\n}\n")
    subprocess.run([compiler, "-std=c++20", "-O0", f"-I{ROOT / 'src'}", "-o", folder / "wire",
                    folder / "wire.cpp"], check=True)
    output = subprocess.run([folder / "wire"], check=True, capture_output=True, text=True).stdout
    table = (line.split() for line in output.splitlines())
    return {name: [int(number) for number in numbers] for name, *numbers in table}


@pytest.mark.parametrize("name", wire.STRUCTURES)
def test_sizes_offsets_and_types_are_those_of_the_compiler(compiled, name):
    record = wire.dtype(name)
    assert [record.itemsize] == compiled[name]
    for field in record.names:
        kind, offset = record.fields[field][:2]
        described = [offset, kind.itemsize, int(kind.base.kind == "f")]
        assert described == compiled[f"{name}.{field}"], field


@pytest.mark.parametrize("name", CONSTANTS)
def test_constants_are_those_of_the_backend(compiled, name):
    assert [CONSTANTS[name]] == compiled[name]


def test_no_two_fields_overlap():
    for name in wire.STRUCTURES:
        record = wire.dtype(name)
        used = np.zeros(record.itemsize, int)
        for field in record.names:
            kind, offset = record.fields[field][:2]
            used[offset:offset + kind.itemsize] += 1
        assert used.max() == 1, name


@pytest.mark.parametrize("name", wire.STRUCTURES)
def test_a_record_packs_and_unpacks_what_numpy_has_at_its_places(name):
    """Numpy lays the fields out by their offsets, the records by the gaps between them."""
    record, found = wire.RECORDS[name], np.zeros((), wire.dtype(name))
    values = {}
    for i, (field, kind, _) in enumerate(wire.STRUCTURES[name][1], 1):
        count = int(kind[:-2] or 0)
        values[field] = tuple(range(i, i + count)) if count else i
        found[field] = values[field]
    assert record.pack(values) == found.tobytes() and len(found.tobytes()) == record.size
    assert record.unpack(found.tobytes()) == values
    assert record.pack({}) == bytes(record.size)


def test_an_array_of_a_record_may_be_given_in_part():
    data = wire.AtomRecord.pack({"nBonds": 2, "nBonded": [5, 7]})
    assert wire.AtomRecord.unpack(data)["nBonded"] == (5, 7) + 10 * (0,)
    with pytest.raises(struct.error):
        wire.AtomRecord.pack({"nBonded": range(13)})
    with pytest.raises(OverflowError):
        wire.AtomRecord.pack({"flX": 1e39})


def test_a_packet_has_its_length_and_node_ids_in_front():
    assert wire.packet(b"abcde", 11) == struct.pack("<5i", 5, 11, 0, 1, 0) + b"abcde"


def test_words_are_signed_and_little_endian():
    assert wire.word(-2) == b"\xfe\xff\xff\xff"
