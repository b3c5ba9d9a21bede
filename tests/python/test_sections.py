"""Results in sections: what the backend says of its SCFs is told, and bytes that are no sections
are refused."""

import math
import struct

import numpy as np
import pytest
from test_optimize import document, orbitrax

from orbitrax import Job, NotConverged
from orbitrax.backend import Backend
from orbitrax.errors import CalculationFailed, ProtocolError
from orbitrax.link import events, sections, wire
from orbitrax.molecules.molecule import Molecule
from orbitrax.session import encode
from orbitrax.tasks.optimize import Optimize

HEAD = struct.Struct("<2i")


def packed(kind, data, size=None):
    return HEAD.pack(kind, len(data) if size is None else size) + data + bytes(-len(data) % 8)


def block(*parts, version=2, count=None):
    return HEAD.pack(version, len(parts) if count is None else count) + b"".join(parts)


ENERGIES = packed(0, struct.pack("<12d", *range(12)))
SCF = packed(5, struct.pack("<8i4d", 1, 1, 7, 9, 2, 3, 1, 0, 0.5, 0.25, 0.125, 4.0))


# ---- bytes --------------------------------------------------------------------------------------


def test_a_block_is_read_from_pieces_of_any_size():
    data = block(ENERGIES, packed(77, b"what is this"), SCF, packed(1, np.arange(6.0).tobytes()))
    for size in (1, 3, 8, 50, len(data)):
        reader = sections.SectionReader(2)
        pieces = [data[i:i + size] for i in range(0, len(data), size)]
        found = [reader.feed(piece) for piece in pieces]
        assert found[:-1] == [None] * (len(pieces) - 1) and not reader
        assert found[-1]["energies"]["rms_gradient"] == 11.0
        assert found[-1]["scf"]["runs"] == 9 and found[-1]["scf"]["worst_difference"] == 4.0
        assert found[-1]["gradient"].tolist() == list(range(6))
        assert sorted(found[-1]) == ["energies", "gradient", "scf"]


def test_a_record_that_has_grown_is_read_as_far_as_it_is_known():
    grown = packed(5, SCF[8:] + bytes(40))
    assert sections.SectionReader(2).feed(block(ENERGIES, grown))["scf"]["cycles"] == 7


@pytest.mark.parametrize("data", [
    block(ENERGIES, SCF, version=1), block(ENERGIES, SCF, version=3), block(count=-1),
    block(ENERGIES, SCF, packed(9, b"", size=-8)), block(ENERGIES, SCF) + bytes(8),
    block(ENERGIES), block(SCF), block(),
    block(ENERGIES, SCF, packed(1, bytes(40))), block(ENERGIES, SCF, packed(1, bytes(56))),
    block(ENERGIES, packed(5, bytes(56))), block(packed(0, bytes(88)), SCF),
    block(ENERGIES, SCF, packed(3, bytes(24))), block(ENERGIES, SCF, packed(4, bytes(8))),
], ids=repr)
def test_bytes_that_are_no_block_are_refused(data):
    with pytest.raises(ProtocolError):
        sections.SectionReader(2).feed(data)


def test_a_block_that_does_not_end_is_no_result(make_peer, water):
    with Backend(make_peer(more_sections=1)) as backend:
        with pytest.raises(CalculationFailed, match="middle of its results"):
            backend.run(Job(water, "am1"))


@pytest.mark.parametrize("told", [{"left_out": [5]}, {"left_out": [0]}, {"version": 1},
                                  {"sections": {"1": bytes(8).hex()}}])
def test_a_backend_that_lies_in_its_sections_is_told(make_peer, water, told):
    with Backend(make_peer(**told)) as backend:
        with pytest.raises(ProtocolError):
            backend.run(Job(water, "am1"))
    assert backend.pid is None


@pytest.mark.parametrize("kind,count", [(0, 12), (1, 9), (2, 16), (3, 9), (4, 3)])
def test_a_number_in_a_section_that_is_not_finite_is_no_result(make_peer, water, kind, count):
    data = struct.pack(f"<{count}d", *[math.nan] * count).hex()
    with Backend(make_peer(sections={str(kind): data})) as backend:
        with pytest.raises(CalculationFailed, match="not finite"):
            backend.run(Job(water, "am1"))


def test_differences_that_are_not_finite_are_not_known(make_peer, water):
    data = struct.pack("<8i4d", 0, 0, 0, 1, 1, 1, 1, 0, math.inf, 1e-5, math.nan, math.inf).hex()
    with Backend(make_peer(sections={"5": data})) as backend:
        result = backend.run(Job(water, "am1"))
    assert result.converged is False and result.final_scf_difference is None
    assert result.scf_iterations is None


def test_further_options_are_padded_and_cut_into_packets():
    packets = sections.further_packets([(3, b"abc"), (0, bytes(40000))])
    data = b"".join(packet[20:] for packet in packets)
    assert HEAD.unpack_from(data) == (2, len(data) - 8)
    assert data[8:24] == HEAD.pack(3, 3) + b"abc" + bytes(5)
    assert HEAD.unpack_from(data, 24) == (0, 40000) and len(data) == 32 + 40000
    assert [len(packet) - 20 for packet in packets] == [8, 16384, 16384, len(data) - 8 - 32768]


def test_a_job_tells_its_places_to_the_last_digit():
    molecule = Molecule([1, 1], [[0.1, 0.2, 0.3], [1 / 3, 2 / 3, -1e-9]])
    packets = encode.job_packets(Job(molecule, "am1", scf="plain"))
    assert struct.unpack("<6d", packets[4][28:76]) == tuple(molecule.xyz)
    options = wire.RunOptions.unpack(encode.run_options(Job(molecule, "am1", precise=False)))
    assert options["nExtensions"] == 0


# ---- what the real backend says -----------------------------------------------------------------


def test_results_are_those_of_the_sections():
    seen = []
    with Backend() as backend:
        molecule = Molecule([8, 1, 1], [[0, 0, 0], [1 / 1.1, 0.1, 0], [-0.3, 0.91234567, 0]])
        result = backend.run(Job(molecule, "pm3"), seen.append)
    found, = [event.sections for event in seen if isinstance(event, events.Precise)]
    assert list(found) == [row.name for row in sections.RESULTS
                           if row.name not in ("ci_states", "modes", "forces")]
    assert list(result.plain("coordinates")) == list(molecule.xyz)
    assert abs(sum(result.plain("charges"))) < 1e-12
    # Sums that hold by definition, in double precision.
    assert result.electronic_energy + result.core_energy == pytest.approx(
        result.total_energy, rel=1e-14)
    assert result.total_energy - result.isolated_atomic_energy == pytest.approx(
        result.binding_energy, abs=1e-11)
    assert result.rms_gradient == pytest.approx(np.sqrt((result.gradient**2).mean()), rel=1e-13)
    assert result.converged is True and (result.scf_runs, result.scf_unconverged) == (1, 0)
    assert result.final_scf_difference < 1e-6


def test_a_search_over_unconverged_scfs_is_not_done(water):
    task = Optimize(scf_iterations=1, limit=1000.0, optimizer="polak-ribiere")
    with Backend() as backend:
        run = task.start(water, "am1")
        with pytest.raises(NotConverged, match="within 1") as caught:
            run.execute(backend)
        result = caught.value.partial
        assert result.converged is False and result.scf_unconverged == result.scf_runs > 0
        allowed = task.replace(allow_unconverged=True)
        assert allowed.start(water, "am1").execute(backend).converged is False


def test_the_command_line_tells_of_a_search_over_unconverged_scfs():
    command = ("optimize", "examples/iron_carbonyl.xyz", "-m", "zindo1", "--scf-iterations", "5",
               "--limit", "1000", "--optimizer", "polak-ribiere")
    done = orbitrax(*command)
    assert done.returncode == 1
    assert "none of 2 SCFs converged within 5 iterations (last difference" in done.stderr
    assert "NOT CONVERGED, 0 cycles" in done.stdout
    status, found = document(*command)
    assert status == 1 and found["status"] == "unconverged" and found["converged"] is False
    assert found["scf_unconverged"] == found["scf_runs"] == 2
    assert orbitrax(*command, "--allow-unconverged").returncode == 0


def test_unconverged_scfs_on_the_way_of_a_search_are_counted():
    status, found = document("optimize", "examples/water.xyz", "-m", "am1", "--scf-iterations", "4",
                             "--optimizer", "polak-ribiere")
    assert status == 1 and found["converged"] is False
    assert 0 < found["scf_unconverged"] < found["scf_runs"]
    assert f"{found['scf_unconverged']} of {found['scf_runs']} SCFs did" in found["errors"][-1]
