"""Every word of every packet of a job, set to what no client would send. Whatever comes, the
session ends in a numbered text, a warning or work; the process stays, stays small, and serves the
next session as one that has just started."""

from __future__ import annotations

import os
import struct
from typing import NamedTuple

import pytest
from jobs import (SILENCE, Died, Outcome, Process, Script, capped, is_sanitized, parameter_offset,
                  restraint, set_double, water)

from orbitrax.link import wire

pytestmark = pytest.mark.timeout(20 * SILENCE)

SEED = int(os.environ.get("ORBITRAX_FUZZ_SEED") or 1)


def bits(value: float) -> int:
    """The word of a single-precision number."""
    return struct.unpack("<I", struct.pack("<f", value))[0]


WORDS = {
    "0": 0, "1": 1, "-1": 0xFFFFFFFF, "INT_MIN": 0x80000000, "INT_MAX": 0x7FFFFFFF,
    "NaN": 0x7FC00000, "Inf": bits(float("inf")), "-Inf": bits(float("-inf")),
    "1e38": bits(1e38), "denormal": 0x00400000,
}
DOUBLES = {"NaN": float("nan"), "0": 0.0, "-1": -1.0, "1e300": 1e300}

# The packets of the capped job and how many words each has that are of a kind of their own.
PACKETS = {
    "debug word": 1, "run options": 46, "job options": 38, "atom count": 1, "atoms": 4 * 24,
    "restraint counts": 4, "restraints 0": 9, "restraints 1": 9, "restraints 2": 9,
    "restraints 3": 9, "selection": 9 + 2,
}
KINDS = {0: "single point", 1: "optimisation", 2: "dynamics", 4: "vibrations", 5: "saddle",
         6: "transit", 7: "Langevin", 8: "Monte Carlo"}


class Bent(NamedTuple):
    """A session: a packet of a good job with one word changed, or another length."""

    packet: str
    change: str
    payload: bytes


def bent_words(script: Script, packet: str, every: int = 1) -> list[Bent]:
    """All values in all words of a packet; of `every` combinations one."""
    good = script.payloads()[packet]
    found = []
    for at in range(0, len(good), 4):
        for name, value in WORDS.items():
            payload = good[:at] + struct.pack("<I", value) + good[at + 4:]
            if payload != good:
                found.append(Bent(packet, f"word {at // 4} is {name}", payload))
    return found[len(packet) % every::every]


def bent_lengths(script: Script, packet: str) -> list[Bent]:
    """Lengths around those of a word, half and whole of a packet, and far beyond it."""
    good = script.payloads()[packet]
    whole = len(good)
    lengths = {0, 1, 3, 4, 5, whole // 2, whole - 4, whole - 1, whole + 1, whole + 4, 2 * whole,
               wire.MAX_PAYLOAD, wire.MAX_PAYLOAD + 1, 92400}
    return [Bent(packet, f"has {n} bytes", (good + bytes(92400))[:n])
            for n in sorted(lengths - {whole}) if n >= 0]


class Server:
    """One process for many sessions. A session after which the next good one differs from that of
    a fresh process is remembered in `faults`, and so is whatever kills the process."""

    def __init__(self, script: Script):
        self.script = script
        self.faults: list[str] = []
        self.sessions = 0
        with Process() as process:
            self.fresh = process.session(script)
            again = process.session(script)
            self.memory = process.peak_memory()
        assert self.fresh.packets and again == self.fresh, "the good job does not repeat itself"
        self.process = Process()

    def __enter__(self) -> Server:
        return self

    def __exit__(self, *_) -> None:
        self.process.close()

    def play(self, what: str, bent: Script, payloads: list[bytes] | None = None) -> None:
        """The bent session and then a good one."""
        self.sessions += 1
        try:
            outcome = self.process.session(bent, payloads)
            if not (outcome.packets or ends_silently(bent, payloads)):
                self.faults.append(f"{what}: the session ended without a word")
            if not outcome.ended:  # it works, for longer than a test has time
                self._restart()
                return
            self._serve_good(what)
        except (Died, AssertionError) as error:
            self.faults.append(f"{what}: {error}")
            self._restart()

    def _serve_good(self, what: str) -> None:
        good = self.process.session(self.script)
        if good.packets != self.fresh.packets:
            self.faults.append(f"{what}: the next session differs: {difference(self.fresh, good)}")
        if not is_sanitized() and self.process.peak_memory() > 2 * self.memory:
            self.faults.append(f"{what}: {self.process.peak_memory()} KiB, where a good job needs "
                               f"{self.memory}")
            self._restart()

    def _restart(self) -> None:
        try:
            self.process.close()
        except Died as error:
            if str(error) not in (self.faults or [""])[-1]:
                self.faults.append(str(error))
        self.process = Process()


def ends_silently(script: Script, payloads: list[bytes] | None) -> bool:
    """Whether a session asks for nothing: no calculation, or a kind of job or dynamics that there
    is not."""
    said = payloads or list(script.payloads().values())
    calculate = said[1][0:4]
    kind, dynamics = (int.from_bytes(said[2][i:i + 4], "little", signed=True) for i in (0, 12))
    return (calculate == bytes(4) or kind not in KINDS or (kind == 2 and not 0 <= dynamics <= 2))


def difference(good: Outcome, other: Outcome) -> str:
    for i, (one, two) in enumerate(zip(good.packets, other.packets)):
        if one != two:
            return f"packet {i} is {two} and not {one}"
    return f"{len(other.packets)} packets and not {len(good.packets)}"


def play_all(script: Script, sessions: list[Bent]) -> None:
    names = list(script.payloads())
    with Server(script) as server:
        for bent in sessions:
            payloads = list(script.payloads().values())
            payloads[names.index(bent.packet)] = bent.payload
            server.play(f"{bent.packet}, {bent.change}", script, payloads)
        assert server.faults == []
        assert server.sessions == len(sessions) > 0


def job_of_kind(kind: int, method="am1") -> Script:
    """A job of a kind with as little to do as it can have."""
    script = capped(method)
    script.job["nCalcKind"], script.job["nMaxCycles"] = kind, 1
    script.job["flHeatTime"] = script.job["flRunTime"] = script.job["flCoolTime"] = 0
    script.options["fComputeForceMatrix"] = kind == 4
    script.options["fComputeHessian"] = kind in (5, 6)  # none that an earlier session has left
    if kind == 6:
        script.transit = [[[i, j, 0.5 * i] for i, j in enumerate((1, 3, 2, 5))] for _ in range(2)]
        script.transit[1][0] = [0.1, 1.2, 0.3]
    return script


# ---- words --------------------------------------------------------------------------------------


@pytest.mark.parametrize("packet", PACKETS)
def test_no_word_of_a_single_point_does_harm(packet):
    script = capped("am1")
    sessions = bent_words(script, packet)
    assert len(sessions) >= 8 * PACKETS[packet]
    play_all(script, sessions)


@pytest.mark.parametrize("kind", [kind for kind in KINDS if kind != 0], ids=KINDS.get)
def test_no_word_of_another_kind_of_job_does_harm(kind):
    script = job_of_kind(kind)
    play_all(script, [bent for packet in script.payloads()
                      for bent in bent_words(script, packet, every=11)])


@pytest.mark.long
@pytest.mark.parametrize("packet", PACKETS)
@pytest.mark.parametrize("kind", [kind for kind in KINDS if kind != 0], ids=KINDS.get)
@pytest.mark.timeout(3600)
def test_no_word_of_any_kind_of_job_does_harm(kind, packet):
    script = job_of_kind(kind)
    play_all(script, bent_words(script, packet))


@pytest.mark.parametrize("method", ["cndo", "indo", "mindo3", "mndo", "pm3", "zindo1", "zindos",
                                    "mndod"])
def test_no_word_of_another_method_does_harm(method):
    script = capped(method)
    play_all(script, [bent for packet in script.payloads()
                      for bent in bent_words(script, packet, every=11)])


@pytest.mark.parametrize("setting", [{"nSpinTreatment": 1}, {"nMultiplicity": 3}, {"nCiKind": 1},
                                     {"nCiKind": 2, "nCiSelection": 1, "nCiOccupied": 2,
                                      "nCiUnoccupied": 2}, {"fNextLowestState": 1},
                                     {"fPlot": 1}, {"fSendOrbitals": 1}],
                         ids=lambda setting: "-".join(setting))
def test_no_option_of_another_calculation_does_harm(setting):
    script = water("am1")
    for name, value in setting.items():
        script.options[name] = value
    play_all(script, bent_words(script, "run options", every=3))


@pytest.mark.parametrize("kind", range(5))
def test_no_word_of_a_plot_does_harm(kind):
    script = capped("am1")
    for name, value in {"fPlot": 1, "nPlotKind": kind, "nPlotOrbitalMode": 1, "nGridCols": 4,
                        "nGridRows": 3, "nPlotPlanes": 2,
                        "flPlotGrid": (-1, -1, -1, 0.5, 0.1, 0, 0, 0.6, 0.2)}.items():
        script.options[name] = value
    words = [*range(6, 22), 28]  # of the plot, and of its spin
    if kind != 1:
        words.remove(12)  # planes without end take a second each, and are the same for all kinds
    large = "word 10 is denormal", "word 11 is denormal"  # as an integer a good grid, but slow
    sessions = [bent for bent in bent_words(script, "run options")
                if int(bent.change.split()[1]) in words and bent.change not in large]
    assert len(sessions) >= 9 * len(words) - len(large)
    play_all(script, sessions)


@pytest.mark.parametrize("index", range(4))
def test_every_bonded_index_is_believed_only_after_a_look(index):
    """All twelve places of a bond table, announced as full."""
    script = capped("am1")
    script.atoms["nBonds"][index] = 12
    places = [f"word {24 * index + word} " for word in range(6, 19)]
    sessions = [bent for bent in bent_words(script, "atoms")
                if bent.change.startswith(tuple(places))]
    assert len(sessions) >= 9 * len(places)
    play_all(script, sessions)


# ---- the words of the parameter intake ----------------------------------------------------------


def bent_head(script: Script, index: int) -> list[tuple[str, bytes]]:
    """All values in the first words of one packet of the parameter intake."""
    good = script.head[index]
    return [(f"word {at // 4} is {name}", good[:at] + struct.pack("<I", value) + good[at + 4:])
            for at in range(0, min(len(good), 64), 4) for name, value in WORDS.items()]


@pytest.mark.parametrize("method,index", [("cndo", 0), ("am1", 0), ("cndo", 1), ("mindo3", 1),
                                          ("am1", 1), ("zindos", 1), ("mindo3", 3), ("mindo3", 4)])
def test_no_word_of_the_parameter_intake_does_harm(method, index):
    """Each in a process of its own, which is then asked for the good job, twice. Tables that are
    refused are asked for again; those that were taken stay."""
    script = capped(method)
    with Process() as process:
        good = process.session(script)
        memory = process.peak_memory()
    for said, payload in bent_head(script, index):
        bent = script.copy()
        bent.head[index] = payload
        with Process() as process:
            first, second, third = (process.session(job) for job in (bent, script, script))
            assert first.packets and second == third, said
            refused = "".join(first.texts("error")).count("not in range")
            assert second == good or not (refused or index == 0), said
            assert is_sanitized() or process.peak_memory() <= 2 * memory, said


@pytest.mark.parametrize("index", [0, 1, 2, 3, 4])
def test_a_refused_parameter_intake_is_repeated_in_the_next_session(index):
    script = capped("mindo3")
    with Process() as process:
        good = process.session(script)
    bent = script.copy()
    bent.head[index:] = [b""] * (5 - index)
    with Process() as process:
        refused = process.session(bent)
        assert len(refused.texts("error")) == 1
        assert process.session(script) == good


# ---- the numbers of the parameter blocks --------------------------------------------------------


def rows_in_use(method: str) -> list[int]:
    """Offsets of all doubles in the rows of the capped job's atoms."""
    first = {"cndo": ["dZetaS"], "mindo3": ["dUss", "dGss"],
             "zindo1": ["dZetaS", "dSlaterF2pp", "dIonisation2S"]}
    widths = {"cndo": [12], "mindo3": [12, 13], "zindo1": [13, 10, 9]}
    stem = "cndo" if method in ("cndo", "indo") else "zindo1" if "zindo" in method else "mindo3"
    columns, sizes = list(first[stem]), list(widths[stem])
    if method == "zindos":
        columns, sizes = [*columns, "dGammaSS"], [*sizes, 3]
    if method in ("am1", "pm3"):
        columns, sizes = [*columns, "dK[0]"], [*sizes, 30]
    number = water(method).method
    return [parameter_offset(number, symbol, column) + 8 * i
            for symbol in ("H", "O", "*C") for column, size in zip(columns, sizes)
            for i in range(size)]


def play_doubles(method: str, offsets: list[int]) -> None:
    """Each value in each place, in a process of its own; the same job again says the same."""
    script = capped(method)
    with Process() as process:
        process.session(script)
        process.session(script)
        memory = process.peak_memory()
    for offset in offsets:
        for name, value in DOUBLES.items():
            bent, what = script.copy(), f"double {offset // 8} is {name}"
            set_double(bent, offset, value)
            try:
                with Process() as process:
                    first = process.session(bent)
                    assert first.texts("error") or first.has_results, what
                    if first.ended:
                        assert process.session(bent).packets == first.packets, what
                    assert is_sanitized() or process.peak_memory() <= 2 * memory, what
            except Died as error:
                raise Died(f"{what}: {error}") from None


METHODS = ["cndo", "indo", "mindo3", "mndo", "am1", "pm3", "zindo1", "zindos", "mndod"]


@pytest.mark.parametrize("method", METHODS)
def test_no_number_of_a_parameter_table_does_harm(method):
    offsets = rows_in_use(method)
    play_doubles(method, offsets[METHODS.index(method) % 5::5])


@pytest.mark.long
@pytest.mark.timeout(7200)
@pytest.mark.parametrize("part", range(8))
@pytest.mark.parametrize("method", METHODS)
def test_no_number_anywhere_in_the_parameter_tables_does_harm(method, part):
    everywhere = range(8 * (SEED % 3), len(capped(method).head[2]), 3 * 8)  # another third a run
    play_doubles(method, [*rows_in_use(method), *everywhere][part::8])


# ---- lengths ------------------------------------------------------------------------------------


@pytest.mark.parametrize("kind", [0, 6], ids=KINDS.get)
def test_packets_of_any_length_are_refused_or_cut(kind):
    script = job_of_kind(kind)
    names = list(script.payloads())
    sessions = [bent for packet in names for bent in bent_lengths(script, packet)]
    play_all(script, sessions)


def test_what_is_longer_than_its_step_is_cut_and_the_job_goes_on():
    script = capped("am1")
    with Process() as process:
        good = process.session(script)
        longer = [payload + b"\xff" * 7 for payload in script.payloads().values()]
        assert process.session(script, longer) == good


@pytest.mark.parametrize("method,index", [("mindo3", 0), ("mindo3", 1), ("mindo3", 2),
                                          ("mindo3", 3), ("mindo3", 4), ("am1", 2), ("cndo", 2),
                                          ("zindos", 2)])
def test_packets_of_the_parameter_intake_may_have_any_length(method, index):
    script = capped(method)
    with Process() as process:
        good = process.session(script)
    whole = len(script.head[index])
    for length in {0, 1, 3, whole // 2, whole - 8, whole - 1, whole + 1, 92400} - {whole}:
        if length < 0:
            continue
        bent = script.copy()
        bent.head[index] = (script.head[index] + bytes(92400))[:length]
        with Process() as process:
            outcome = process.session(bent)
            if length < whole and index != 0:
                assert "too short" in outcome.texts("error")[0]
                assert process.session(script) == good
            else:
                assert outcome == good and process.session(script).packets == good.packets


def test_the_announced_number_of_atoms_alone_costs_no_memory():
    script = capped("am1")
    with Process() as process:
        process.session(script)
        before = process.peak_address_space()
        for announced in (1 << 24, (1 << 24) - 1, 1 << 23):
            script.changed["atom count"] = wire.word(announced)
            assert "too short" in process.session(script).texts("error")[0]
        assert is_sanitized() or process.peak_address_space() < before + 1024


def test_the_announced_number_of_restraints_alone_costs_no_memory():
    script = capped("am1")
    with Process() as process:
        process.session(script)
        before = process.peak_address_space()
        script.restraints = [restraint(0, (1,), 0.95)]
        script.changed["restraint counts"] = wire.word(2**31 // 36) + bytes(12)
        assert "too short" in process.session(script).texts("error")[0]
        assert is_sanitized() or process.peak_address_space() < before + 1024
