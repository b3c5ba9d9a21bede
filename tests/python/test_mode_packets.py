"""Normal modes off the wire: what is read, and what breaks the conversation."""

from __future__ import annotations

import struct

import numpy as np
import pytest
from orbitrax import Job, Molecule
from orbitrax.errors import CalculationFailed, ProtocolError
from orbitrax.link import events, wire
from orbitrax.link.conversation import Packet
from orbitrax.link.mode_rows import read_mode_rows
from orbitrax.results.builder import modes_of
from orbitrax.session.encode import mode_packets, run_options
from orbitrax.session.reader import ModeReader
from orbitrax.tasks.vibrations import Vibrations

PAIR = Molecule([1, 1], [[0, 0, 0], [0, 0, 0.7]])


def records(order=(2, 0, 1, 3, 4, 5), frequency=4000.0, labels=None):
    labels = labels or [b"SIG", *[b""] * 5]
    return b"".join(
        struct.pack("<fiffffi4s", frequency if p == 0 else 0.0, k, 1.5, 0, 0, 0, 1,
                    labels[p]) for p, k in enumerate(order))  # fmt: skip


def feed(*payloads, n_atoms=2):
    reader = ModeReader(n_atoms, first=False)
    found = []
    for payload in payloads:
        found += reader.feed(Packet(wire.DATA, payload))
    return found, reader.finished


def test_modes_are_read_in_the_order_of_the_frequencies():
    rows = np.eye(6, dtype="<f4")
    (event,), finished = feed(wire.word(6), records(), wire.word(6), rows.tobytes())
    assert finished and isinstance(event, events.NormalModes)
    assert event.frequencies[0] == 4000.0 and event.symmetry_labels == ["SIG", *[""] * 5]
    modes = modes_of(Job(PAIR, "am1", Vibrations()), event)
    assert len(modes) == 1 and modes.labels == ["1SIG"] and len(modes.external) == 5
    assert modes.vectors[0].tolist() == [0, 0, 1, 0, 0, 0]  # row 2 is the first mode


def test_no_modes_are_two_zeros():
    (event,), finished = feed(wire.word(0), wire.word(0))
    assert finished and event.order == []
    assert modes_of(Job(PAIR, "am1", Vibrations()), event) is None


@pytest.mark.parametrize("payloads, words", [
    ((wire.word(7),), "announces 7 normal modes"),
    ((wire.word(-1),), "announces -1 normal modes"),
    ((wire.word(6), records(), wire.word(5)), "6 normal modes and 5"),
    ((wire.word(6), records((0, 1, 2, 3, 4, 4)), wire.word(6), bytes(144)), "no order"),
    ((wire.word(6), records((0, 1, 2, 3, 4, 9)), wire.word(6), bytes(144)), "no order"),
    ((wire.word(6), records(), wire.word(6), bytes(148)), "bytes where"),
    ((wire.word(0), wire.word(0), bytes(4)), "after its last"),
])  # fmt: skip
def test_what_is_no_set_of_modes_breaks_the_conversation(payloads, words):
    with pytest.raises(ProtocolError, match=words):
        feed(*payloads)


def test_numbers_that_are_not_finite_are_refused():
    for bad in (records(frequency=float("nan")), records(frequency=float("inf"))):
        (event,), _ = feed(wire.word(6), bad, wire.word(6), bytes(144))
        with pytest.raises(CalculationFailed, match="not finite"):
            modes_of(Job(PAIR, "am1", Vibrations()), event)


def test_modes_of_another_number_of_atoms_are_refused():
    (event,), _ = feed(wire.word(3), records((0, 1, 2)), wire.word(3), bytes(36))
    with pytest.raises(CalculationFailed, match="3 normal modes of 2 atoms"):
        modes_of(Job(PAIR, "am1", Vibrations()), event)


def test_a_session_on_the_kept_matrix_asks_for_no_other():
    job = Job(PAIR, "am1", Vibrations())
    first = wire.RunOptions.unpack(run_options(job))
    later = wire.RunOptions.unpack(mode_packets(job)[1][wire.HEADER_BYTES:])
    assert first["fComputeForceMatrix"] == 1 and later["fComputeForceMatrix"] == 0
    assert {k: v for k, v in later.items() if k != "fComputeForceMatrix"} == {
        k: v for k, v in first.items() if k != "fComputeForceMatrix"}
    plain = wire.RunOptions.unpack(run_options(Job(PAIR, "am1")))
    assert plain["fComputeForceMatrix"] == 0


def rows_in_double(n=6, external=5, points=12, unconverged=1, spare=0):
    head = struct.pack("<6iq", n, external, points, unconverged, 2, 0, 99)
    return head + struct.pack(f"<{max(n * (2 * n + 5), 0) + spare}d",
                              *range(max(n * (2 * n + 5), 0) + spare))


def test_modes_in_double_precision_take_the_place_of_the_others():
    (event,), _ = feed(wire.word(6), records(), wire.word(6), bytes(144))
    modes = modes_of(Job(PAIR, "am1", Vibrations()), event).in_double(
        read_mode_rows(rows_in_double()))
    assert modes.hessian[1, 2] == 8 and modes.dipole_derivatives[1, 2] == 36 + 5
    assert modes.frequencies.tolist() == [54] and modes.external.tolist() == [55, 56, 57, 58, 59]
    assert modes.decadic.tolist() == [60] and modes.vectors[0].tolist() == [66, 67, 68, 69, 70, 71]
    assert (modes.points, modes.unconverged, modes.cycles) == (12, 1, 99)
    assert modes.labels == ["1SIG"], "these come in the other packets alone"


@pytest.mark.parametrize("data", [
    b"", bytes(31), rows_in_double(spare=1), rows_in_double(spare=-1), rows_in_double(n=-6),
    rows_in_double(external=7), rows_in_double(external=-1), rows_in_double(unconverged=13),
    rows_in_double(points=-1, unconverged=-1), struct.pack("<6iq", 1 << 30, 0, 0, 0, 0, 0, 0)])
def test_rows_that_are_no_modes_break_the_conversation(data):
    with pytest.raises(ProtocolError, match="normal modes"):
        read_mode_rows(data)
