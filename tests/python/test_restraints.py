"""Restraints: their texts, their records, and what they hold."""

import numpy as np
import pytest

from orbitrax import Backend
from orbitrax.link import wire
from orbitrax.errors import UsageError
from orbitrax.job import Job
from orbitrax.molecules.molecule import Molecule
from orbitrax.molecules.restraints import FORCE_CONSTANT, Restraint, parse_restraint
from orbitrax.session import encode
from orbitrax.tables import load_parameters

# a-b-c-d with unit sides and right angles; seen from b to c, d stands 90 degrees clockwise from a.
CHAIN = np.array([[1, 0, 0], [0, 0, 0], [0, 0, 1], [0, 1, 1]], float)




def record_of(text):
    """The fields of the record of a restraint on the chain."""
    data = encode.restraint_record(parse_restraint(text), CHAIN.ravel().tolist())
    return wire.RestraintRecord.unpack(data)


@pytest.mark.parametrize("text, expected", [
    ("stretch 1 2 1.5 k=100", Restraint("stretch", (1, 2), 1.5, 100.0)),
    ("Bend 1,2,3 109.5", Restraint("bend", (1, 2, 3), 109.5, FORCE_CONSTANT)),
    ("torsion 1 2 3 4 K=50", Restraint("torsion", (1, 2, 3, 4), None, 50.0)),
    ("tether 4 0 1.5 -2e-1 k=3", Restraint("tether", (4,), (0.0, 1.5, -0.2), 3.0)),
    ("tether 4", Restraint("tether", (4,))),
])
def test_texts_say_what_is_held(text, expected):
    assert parse_restraint(text) == expected


@pytest.mark.parametrize("text", [
    "", "spring 1 2 1.5", "stretch 1", "stretch 1 2 3 4", "stretch 1 1 2.0", "bend 1 2 3 wide",
    "stretch one two", "tether 1 2 3", "stretch 1 2 1.5 k=soft", "stretch 1 2 nan",
    "stretch 1 2 1.5 k=inf", "stretch 1 2 1.5 k=1e38", "bend 1 2 3 181", "bend 1 2 3 -1",
    "torsion 1 2 3 4 1e6",
])
def test_texts_that_make_no_sense_are_refused(text):
    with pytest.raises(UsageError):
        parse_restraint(text)


def test_without_a_target_the_geometry_is_held():
    for text, value in (("stretch 1 3", 2**0.5), ("bend 1 2 3", 90.0), ("torsion 1 2 3 4", 90.0),
                        ("tether 3", (0.0, 0.0, 1.0))):
        assert parse_restraint(text).value(CHAIN) == pytest.approx(value), text
    mirrored = CHAIN * [1, -1, 1]
    assert parse_restraint("torsion 1 2 3 4").value(mirrored) == pytest.approx(-90.0)


def test_records_count_atoms_from_0_and_angles_in_radians():
    record = record_of("bend 3 1 2 90 k=7")
    assert record["nKind"] == 2 and record["nAtom"] == (2, 0, 1, 0)
    assert record["flTarget"] == np.float32(np.pi / 2) and record["flForceConstant"] == 7
    torsion = record_of("torsion 1 2 3 4 60")
    assert torsion["flTarget"] == np.float32(-np.pi / 3)
    tether = record_of("tether 2 1 2 3")
    assert [tether[name] for name in ("flTarget", "flTargetY", "flTargetZ")] == [1, 2, 3]


def test_atoms_that_are_not_there_are_refused(water):
    with pytest.raises(UsageError, match="no atom 5"):
        parse_restraint("stretch 1 5").check(4)
    with pytest.raises(UsageError, match="stretch 1-9: there is no atom 9 among 3"):
        Job(water, "am1", restrain="stretch 1 9").check(load_parameters("am1"))


@pytest.mark.parametrize("text", ["stretch 1 2 1e9", "tether 1 0 1e5 0", "stretch 1 2 1e3 k=1e6"])
def test_a_target_out_of_all_reach_is_refused(water, text):
    with Backend() as backend, pytest.raises(UsageError, match="from what the geometry has"):
        backend.run(Job(water, "am1", restrain=text))


def test_packets_are_counts_and_one_stream_for_each_kind():
    many = [Restraint("stretch", (1, 2), 1.0)] * 500 + [Restraint("tether", (1,))]
    job = Job(Molecule([1] * 4, CHAIN), "am1", restrain=many)
    packets = [packet[wire.HEADER_BYTES:] for packet in encode.restraint_packets(job)]
    assert packets[0] == b"".join(wire.word(n) for n in (1, 500, 0, 0))
    assert [len(packet) for packet in packets[1:]] == [36, 16384, 36 * 500 - 16384]


def test_a_job_takes_texts_and_sends_them_after_the_atoms(water):
    job = Job(water, "am1", restrain=["stretch 1 2 1.0"])
    assert job.settings.restrain == (Restraint("stretch", (1, 2), 1.0),)
    assert wire.JobOptions.unpack(encode.job_options(job))["fRestraints"] == 1
    assert len(encode.job_packets(job)) == len(encode.job_packets(Job(water, "am1"))) + 2


@pytest.mark.parametrize("text", ["stretch 1 2 1.5 k=100", "tether 4 0 1.5 -0.2 k=3",
                                  "bend 1 2 3 k=0.1"])
def test_a_restraint_says_itself_in_the_text_that_makes_it(text):
    restraint = parse_restraint(text)
    assert restraint.text == text and parse_restraint(restraint.text) == restraint
