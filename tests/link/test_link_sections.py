"""Results in sections, and options in sections: what is asked for comes, what is told is looked at
before it is believed."""

import struct

import numpy as np
import pytest
from jobs import capped
from sessions import (ETHANE_PART, KEYS, NO_FORCE_MATRIX, WATER, Step, again, calculation, first,
                      options, ready)
from test_hostile_words import bent_lengths, bent_words, play_all

from orbitrax.link import wire
from orbitrax.molecules.molecule import Molecule

MARK, FURTHER, ORX1 = 0x32000000, 1 << 23, 0x3158524F
ENERGIES, GRADIENT, DIPOLE, COORDINATES, CHARGES, SCF, STATE = range(7)
FORCES = 10
ALL = MARK | 0x7FFFFF
SHARP = {"flConvergenceLimit": 1e-6}
UNEVEN = Molecule(WATER.numbers, WATER.positions + 1 / 3e8, masses=WATER.masses)  # for floats


def section(kind: int, data: bytes, size: int | None = None) -> bytes:
    """A section of the client; size: what it says of its own length."""
    head = struct.pack("<2i", kind, len(data) if size is None else size)
    return head + data + bytes(-len(data) % 8)


def further(data: bytes = b"", version: int = 2, size: int | None = None) -> list[Step]:
    """The steps of further options."""
    head = struct.pack("<2i", version, len(data) if size is None else size)
    return [Step("further options", head),
            *(Step("further options", data[i:i + 16384]) for i in range(0, len(data), 16384))]


def told(steps: list[Step], more: list[Step]) -> list[Step]:
    """The steps of a session with further options behind its three blocks of old ones."""
    return [*steps[:3], *more, *steps[3:]]


def places(molecule) -> bytes:
    return section(0, np.asarray(molecule.positions, "<f8").tobytes())


def blocks(transcript) -> list[dict[int, np.ndarray]]:
    """The sections of each block, by kind; the blocks of a session stand apart by other packets."""
    found, data = [], b""
    for packet in [*transcript.packets, None]:
        if packet is not None and packet.kind == wire.PRECISE:
            data += packet.payload
        elif data:
            found.append(taken_apart(data))
            data = b""
    return found


def taken_apart(data: bytes) -> dict[int, np.ndarray]:
    version, count = struct.unpack_from("<2i", data)
    assert version == 2
    at, sections = 8, {}
    for _ in range(count):
        kind, size = struct.unpack_from("<2i", data, at)
        assert kind not in sections
        sections[kind] = np.frombuffer(data, "<f8", size // 8, at + 8)
        at += 8 + size
    assert at == len(data)
    return sections


def account(sections) -> dict[str, float]:
    words = sections[SCF].view("<i4")
    names = ("converged", "test", "cycles", "runs", "unconverged", "runs_since", "bad_since")
    return dict(zip(names, words.tolist())) | dict(
        zip(("difference", "limit", "final", "worst"), sections[SCF][4:].tolist()))


def results(transcript) -> np.ndarray:
    """The last result block, as floats."""
    return np.frombuffer([p.payload for p in transcript.packets
                          if p.kind == wire.DATA and p.length == 172][-1], "<f4")


@pytest.mark.parametrize("method", KEYS)
def test_sections_say_in_full_what_the_packets_say_in_single_precision(start, method):
    steps = calculation(method, run={**SHARP, "nExtensions": ALL})
    transcript = first(start(), steps, method)
    found, = blocks(transcript)
    assert sorted(found) == [ENERGIES, GRADIENT, DIPOLE, COORDINATES, CHARGES, SCF, STATE]
    assert not any(found[STATE])  # of other cycles
    block = results(transcript)
    # By word of the result block, in the order of the section.
    for value, word in zip(found[ENERGIES], (0, 18, 19, 17, 16, 20)):
        assert np.float32(value) == block[word]
    assert np.float32(found[ENERGIES][11]) == block[30]
    assert np.array_equal(found[DIPOLE].reshape(4, 4)[3].astype("<f4"), block[26:30])
    charges = np.frombuffer(next(p.payload for p in transcript.packets
                                 if p.kind == wire.CHARGES), "<f4")
    # Populations of up to eight electrons in single precision, orbital by orbital.
    assert np.abs(found[CHARGES] - charges).max() < 4e-6
    assert abs(found[CHARGES].sum()) < 1e-9
    said = account(found)
    assert (said["converged"], said["test"], said["runs"], said["unconverged"]) == (1, 1, 1, 0)
    assert said["difference"] < said["limit"] == np.float32(1e-6)


@pytest.mark.parametrize("method", ["am1", "cndo", "zindo1"])
def test_the_old_word_gets_the_old_block_and_no_word_none(start, method):
    peer = start()
    ready(peer, method)
    said = {word: again(peer, calculation(method, run={**SHARP, "nExtensions": word}))
            for word in (0, ORX1, ALL, 0x33000000 | FURTHER)}
    plain = [packet for packet in said[0].packets if packet.kind != wire.PRECISE]
    assert said[0].packets == said[0x33000000 | FURTHER].packets == plain
    for word in (ORX1, ALL):
        assert [p for p in said[word].packets if p.kind != wire.PRECISE] == plain
    old = b"".join(p.payload for p in said[ORX1].packets if p.kind == wire.PRECISE)
    new, = blocks(said[ALL])
    assert struct.unpack_from("<iid", old) == (1, 1, new[ENERGIES][0])
    assert old[16:] == new[GRADIENT].tobytes()


def test_each_report_point_has_its_block_and_the_counts_add_up(start):
    job = {"nCalcKind": 1, "nOptimiser": 2, "nMaxCycles": 6, "flRmsGradient": 1e-3,
           "nReportPeriod": 1}
    word = MARK | 1 << SCF | 1 << COORDINATES
    steps = calculation(run={**SHARP, "nExtensions": word}, job=job)
    found = blocks(first(start(), steps))
    said = [account(one) for one in found]
    assert len(said) > 3
    assert sum(one["runs_since"] for one in said) == said[-1]["runs"] > len(said)
    assert all(one["unconverged"] == 0 for one in said)
    assert not np.array_equal(found[0][COORDINATES], found[1][COORDINATES])


def test_a_search_over_unconverged_scfs_says_so_at_each_point(start):
    job = {"nCalcKind": 1, "nOptimiser": 2, "nMaxCycles": 3, "flRmsGradient": 1e-3,
           "nReportPeriod": 1}
    run = {"nExtensions": ALL, "nIterationLimit": 1, "flConvergenceLimit": 0}
    said = [account(one) for one in blocks(first(start(), calculation(run=run, job=job)))]
    assert all(one["converged"] == one["test"] == 0 for one in said)
    assert all(one["bad_since"] == one["runs_since"] for one in said)
    assert said[-1]["unconverged"] == said[-1]["runs"] > 3
    assert said[0]["worst"] >= said[0]["difference"] > 0


@pytest.mark.parametrize("method", KEYS)
def test_places_in_full_come_back_as_they_went(start, method):
    peer = start()
    ready(peer, method)
    run = {**SHARP, "nExtensions": ALL | FURTHER}
    steps = told(calculation(method, run=run), further(places(UNEVEN)))
    found, = blocks(again(peer, steps))
    # A bohr and back may cost the last digit.
    assert np.allclose(found[COORDINATES], UNEVEN.positions.ravel(), rtol=4e-16, atol=0)


def test_the_energy_follows_a_step_that_a_float_does_not_hold(start):
    """dE = g . dx, for a step of 1e-9 Angstrom, a hundredth of the distance between floats."""
    peer, step = start(), 1e-9
    ready(peer)
    run = {"flConvergenceLimit": 1e-9, "nExtensions": ALL | FURTHER}
    energies = []
    for sign in (-1, 1):
        xyz = UNEVEN.positions.copy()
        xyz[1, 0] += 0.1 + sign * step
        data = section(0, xyz.astype("<f8").tobytes())
        found, = blocks(again(peer, told(calculation(run=run), further(data))))
        energies.append(found[ENERGIES][0])
    slope, gradient = (energies[1] - energies[0]) / (2 * step), found[GRADIENT][3]
    # Energies of 8000 kcal/mol hold 1e-12 each, and differ by some 1e-11 with the summation.
    assert abs(gradient) > 1 and abs(slope - gradient) < 0.05 * abs(gradient)


def test_a_section_that_is_not_known_is_passed_over(start):
    peer, run = start(), {"nExtensions": ALL | FURTHER}
    ready(peer)
    steps = calculation(run=run)
    plain = again(peer, told(steps, further())).after_intake
    odd = section(123, b"whatever") + section(-7, b"xyz") + section(0x7FFFFFFF, bytes(40000))
    assert again(peer, told(steps, further(odd))).after_intake == plain


HOSTILE = {
    "another version": further(version=1),
    "version none": further(version=-1),
    "bytes below none": further(size=-8),
    "bytes without end": further(size=0x7FFFFFFF),
    "more bytes than may be": further(size=(1 << 29) + 1),
    "half a head": further(bytes(4)),
    "a section that is too long": further(section(0, bytes(72), 80)),
    "a section without end": further(section(0, bytes(72), 0x7FFFFFFF)),
    "a section of negative length": further(section(0, bytes(72), -1)),
    "a section of the least length": further(section(0, bytes(72), -0x80000000)),
    "places of two atoms": further(section(0, bytes(48))),
    "places of four atoms": further(section(0, bytes(96))),
    "places of half an atom": further(section(0, bytes(12))),
    "places that are no numbers": further(section(0, np.full(9, np.nan).tobytes())),
    "places without end": further(section(0, np.full(9, np.inf).tobytes())),
    "places far away": further(section(0, np.full(9, 1e6).tobytes())),
    "a head that breaks off": [Step("further options", b"\2\0\0")],
    "nothing": [Step("further options", b"")],
    "a piece that breaks off": [*further(size=800), Step("further options", bytes(799))],
    "a second piece that breaks off": [*further(size=20000), Step("further options", bytes(16384)),
                                       Step("further options", b"")],
}


@pytest.mark.parametrize("what", HOSTILE)
def test_hostile_further_options_are_refused_with_a_word_and_forgotten(start, what):
    peer = start()
    ready(peer)
    good = calculation(run={"nExtensions": ALL})
    fresh = again(peer, good).packets
    bad = told(calculation(run={"nExtensions": ALL | FURTHER}), HOSTILE[what])
    transcript = again(peer, bad, whole=False)
    text, = transcript.errors
    assert "further options" in text or "coordinate" in text
    assert not blocks(transcript)
    assert again(peer, good).packets == fresh


def test_no_word_of_further_options_does_harm():
    script = capped("am1")
    script.options["nExtensions"] = ALL | FURTHER
    xyz = np.stack([script.atoms[name] for name in ("flX", "flY", "flZ")], 1).astype("<f8")
    script.further = section(123, bytes(16)) + section(0, xyz.tobytes())
    names = "further head", "further options"
    bent = [bent for name in names for bent in (*bent_words(script, name),
                                               *bent_lengths(script, name))]
    play_all(script, bent)


def test_bits_that_stand_for_nothing_yet_are_no_fault(start):
    peer = start()
    ready(peer)
    for bits in (0, 1 << 22, 0x7FFE80):
        found, = blocks(again(peer, calculation(run={"nExtensions": MARK | bits})))
        assert found == {}


def test_a_session_without_calculation_is_told_and_forgets(start):
    peer = start()
    ready(peer)
    steps = options({"fCalculate": 0, "nExtensions": MARK | FURTHER})
    assert again(peer, told(steps, further(places(UNEVEN)))).after_intake == []
    good = calculation(run={"nExtensions": ALL})
    found, = blocks(again(peer, good))
    floats = np.float32(found[COORDINATES])
    assert np.array_equal(floats, found[COORDINATES]), "those of the records"


def test_a_part_of_a_molecule_has_its_places_and_its_charges(start):
    xyz = ETHANE_PART.positions + 1 / 3e8
    run = {**SHARP, "nExtensions": ALL | FURTHER}
    steps = calculation(molecule=ETHANE_PART, run=run, select=[1, 2, 3, 4])
    data = section(0, np.asarray(xyz, "<f8").tobytes())
    found, = blocks(first(start(), told(steps, further(data))))
    assert np.array_equal(found[COORDINATES], xyz.ravel())
    assert len(found[CHARGES]) == 5 and len(found[GRADIENT]) == 15
    assert not found[GRADIENT][12:].any() and found[GRADIENT][:12].all()


def test_job_kinds_that_send_nothing_take_further_options_too(start):
    peer = start()
    ready(peer)
    steps = calculation(run={"nExtensions": ALL | FURTHER, "fComputeForceMatrix": 0},
                        job={"nCalcKind": 4})
    transcript = again(peer, told(steps, further()))
    assert transcript.errors == [NO_FORCE_MATRIX]


@pytest.mark.parametrize("limit", [-1.0, float("nan"), float("inf"), 1e300])
def test_a_limit_of_the_commutator_that_is_none_is_refused(start, limit):
    wishes = section(1, struct.pack("<4id", 1, 0, 0, 0, limit))
    steps = told(calculation(run={"nExtensions": ALL | FURTHER}), further(wishes))
    said = first(start(), steps, whole=False)
    assert len(said.errors) == 1
    words = " of the further options has a limit of the commutator that is no limit: "
    assert words in said.errors[0]


def test_the_gradient_of_half_electrons_is_that_of_old_unless_another_is_asked_for(start):
    """A record that ends before the wish, as older clients send it, a wish of 0, and the wish."""
    peer = start()
    ready(peer)
    old = struct.pack("<4id4i", 1, 0, 0, 0, 0.0, 0, 0, 0, 0)
    run = {"nExtensions": ALL | FURTHER, "nMultiplicity": 3, "nSpinTreatment": 0,
           "flConvergenceLimit": 1e-8}
    said = [again(peer, told(calculation(run=run), further(section(1, record))))
            for record in (old, old + struct.pack("<2i", 0, 0), old + struct.pack("<2i", 1, 0))]
    assert said[0].packets == said[1].packets
    (plain,), (asked,) = blocks(said[0]), blocks(said[2])
    assert FORCES not in plain and plain[ENERGIES][0] == asked[ENERGIES][0]
    assert struct.unpack("<3i", asked[FORCES].tobytes()[:12]) == (0, 0, 0)
    assert np.abs(asked[GRADIENT] - plain[GRADIENT]).max() > 1


def test_the_gradient_of_half_electrons_is_the_slope_of_the_energy(start):
    peer = start()
    ready(peer)
    wish = section(1, struct.pack("<4id6i", 1, 0, 0, 0, 0.0, 0, 0, 0, 0, 1, 0))
    run = {"nExtensions": ALL | FURTHER, "nMultiplicity": 3, "nSpinTreatment": 0,
           "flConvergenceLimit": 1e-9}

    def found(step: float):
        xyz = np.asarray(WATER.positions, "<f8").copy()
        xyz[0, 1] += step
        data = section(0, xyz.tobytes()) + wish
        return blocks(again(peer, told(calculation(run=run), further(data))))[0]

    slope = (found(1e-3)[ENERGIES][0] - found(-1e-3)[ENERGIES][0]) / 2e-3
    assert found(0)[GRADIENT][1] == pytest.approx(slope, abs=2e-3)
