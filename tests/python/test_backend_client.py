"""The client's Backend against a scripted peer: results, refusals, deaths, garbage, silence."""

import copy
import os
import pickle
import signal
import struct
import subprocess
import sys
import threading
import time
from pathlib import Path

import numpy as np
import pytest
from support import ROOT, children

from orbitrax import Backend, Job, Molecule
from orbitrax.link import events
from orbitrax.errors import (BackendDied, BackendNotFound, CalculationFailed, Cancelled, InputError,
                             LinkError, OutOfMemory, ProtocolError, TimeLimitExceeded, UsageError)

pytestmark = [pytest.mark.usefixtures("no_children_left"), pytest.mark.timeout(60)]


def pokes(script):
    """What a peer was poked with, as (type, payload)."""
    lines = Path(f"{script}.record").read_text().splitlines()
    pairs = (line.split(" ", 1) for line in lines)
    return [(int(kind), bytes.fromhex(data)) for kind, data in pairs]


# ---- results ------------------------------------------------------------------------------------


def test_a_single_point_brings_every_number_the_peer_sent(make_peer, water):
    with Backend(make_peer()) as backend:
        result = backend.run(Job(water, "am1"))
    assert result.total_energy == -300.75 + 1e-9  # from the precise block, not the float
    assert result.heat_of_formation == -57.75
    assert result.binding_energy == -2.5 and result.isolated_atomic_energy == -3.5
    assert result.electronic_energy == -4.5 and result.core_energy == 5.5
    assert result.dipole.tolist() == [0.5, 1.0, 2.0, 2.291288]
    assert result.charges.tolist() == [1.0, 0.125, 0.125]
    assert result.orbital_energies.tolist() == [-10.5, -9.5, -8.5, -7.5]
    assert result.occupancies.tolist() == [2.0, 1.0, 0.0, 0.0]  # a mark of -1 is one electron
    assert result.orbital_symmetries == ["1A1", "2A1", "3A1", "4A1"]
    assert result.point_group == "C2v"
    assert result.gradient is None and result.rms_gradient is None
    assert result.converged is True and result.scf_iterations == 7
    assert (result.cycles, result.energy_points) == (0, 1)
    assert result.wall_seconds > 0


def test_the_gradient_of_a_precise_block_is_taken_by_atom(make_peer, water):
    with Backend(make_peer(gradient=True)) as backend:
        result = backend.run(Job(water, "am1"))
    assert np.allclose(result.gradient, 0.001 * np.arange(9).reshape(3, 3), rtol=0, atol=1e-15)


def test_charges_and_gradients_longer_than_a_packet_are_joined(make_peer):
    n = 4097  # 16388 bytes of charges, 98344 of precise results
    grid = np.stack(np.meshgrid(range(17), range(17), range(17), indexing="ij"), -1).reshape(-1, 3)
    molecule = Molecule([6] * n, grid[:n] * 1.5, multiplicity=1)
    with Backend(make_peer(gradient=True)) as backend:
        result = backend.run(Job(molecule, "pm3"))
    assert len(result.charges) == n and result.gradient.shape == (n, 3)
    assert result.gradient[-1, -1] == pytest.approx(0.001 * (3 * n - 1))


def test_an_unrestricted_job_has_both_spins_and_their_eigenvectors(make_peer, water):
    with Backend(make_peer(unrestricted=True)) as backend:
        job = Job(water, "pm3", charge=1, uhf=True, eigenvectors=True)
        result = backend.run(job)
    assert result.multiplicity == 2 and result.spin == "UHF"
    assert len(result.orbital_energies) == 8
    assert sorted(result.eigenvectors) == ["alpha", "beta"]
    assert result.eigenvectors["beta"].tolist() == np.arange(16.0).reshape(4, 4).tolist()


def test_without_precise_results_the_float_energy_is_taken(make_peer, water):
    with Backend(make_peer()) as backend:
        assert backend.run(Job(water, "am1", precise=False)).total_energy == -300.75


def test_events_come_in_the_order_of_the_session(make_peer, water):
    texts = [(9994, "log 1"), (9996, "careful"), (9998, "debug"), (9994, "log 2")]
    seen = []
    with Backend(make_peer(texts=texts)) as backend:
        result = backend.run(Job(water, "am1"), seen.append)
    assert [type(event).__name__ for event in seen] == [
        "NodeCount", "LogLine", "WarningLine", "DebugLine", "LogLine", "StatusLine", "ResultBlock",
        "Charges", "Precise", "OrbitalData"]
    assert result.log == ["log 1", "log 2"] and result.warnings == ["careful"]


def test_orbital_data_are_taken_column_by_column(make_peer, water):
    with Backend(make_peer()) as backend:
        stream = backend.stream(Job(water, "am1"))
        data, = [event for event in stream if isinstance(event, events.OrbitalData)]
    assert data.order.tolist() == [3, 2, 1, 0] and data.symmetry_index.tolist() == [1, 2, 3, 4]
    assert data.populations.tolist() == [0.5] * 4 and data.occupancies.tolist() == [2, -1, 0, 0]
    assert data.symmetry_labels == ["A1"] * 4 and data.point_group == "C2v"


@pytest.mark.parametrize("iterations,difference,bad", [(199, 0.0, 0), (200, 0.0, 0), (3, 0.5, 1)])
def test_the_backend_says_whether_the_scf_converged(make_peer, water, iterations, difference, bad):
    script = make_peer(iterations=iterations, difference=difference, unconverged=bad)
    with Backend(script) as backend:
        result = backend.run(Job(water, "am1"))
    assert result.converged is (bad == 0) and result.scf_unconverged == bad
    assert (result.scf_iterations, result.final_scf_difference) == (iterations, difference)


@pytest.mark.parametrize("energy", [float("nan"), float("inf")])
def test_a_number_that_is_not_finite_is_no_result(make_peer, water, energy):
    with Backend(make_peer(energy=energy)) as backend:
        with pytest.raises(CalculationFailed, match="not finite"):
            backend.run(Job(water, "am1"))
    assert backend.pid is None


# ---- what the peer is told ----------------------------------------------------------------------


def test_the_first_session_sends_tables_and_later_ones_do_not(make_peer, water):
    script = make_peer()
    with Backend(script) as backend:
        for _ in range(3):
            backend.run(Job(water, "am1"))
            pid = backend.pid
        assert backend.pid == pid
    sizes = [len(data) for _, data in pokes(script)]
    session = [4, 184, 152, 8, 8 + 3 * 24 + 8 + 48, 4, 3 * 96, 36 + 12]
    assert sizes == [4, 4, 92400] + 3 * session


def test_mindo3_sends_its_pairs_after_the_block(make_peer, water):
    script = make_peer()
    with Backend(script) as backend:
        backend.run(Job(water, "mindo3"))
    data = [data for _, data in pokes(script)]
    count, = struct.unpack("<i", data[3])
    assert len(data[2]) == 42000 and len(data[4]) == 32 * count and count > 40
    records = [struct.unpack_from("<4d", data[4], 32 * i) for i in range(count)]
    pairs = {record[:2]: record[2:] for record in records}
    assert pairs[(1.0, 6.0)] == (1.475836, 0.315011)


def test_another_method_gets_another_process(make_peer, water):
    with Backend(make_peer()) as backend:
        backend.run(Job(water, "am1"))
        first = backend.pid
        backend.run(Job(water, "pm3"))
        assert backend.pid != first
        assert not os.path.exists(f"/proc/{first}")


def test_the_settings_arrive_at_their_places(make_peer, water):
    script = make_peer(unrestricted=True)
    with Backend(script) as backend:
        backend.run(Job(water, "zindos", charge=-1, multiplicity=4, uhf=True,
                        scf_limit=1e-4, scf_iterations=77, diis=False, pi=0.64,
                        level_shift_start=3, log_level=9, debug=True))
    debug, options, job = [(kind, data) for kind, data in pokes(script)][3:6]
    assert debug == (11, struct.pack("<i", 1))
    options = options[1]
    assert struct.unpack_from("<i", options, 0) == (1,)
    assert struct.unpack_from("<i", options, 4) == (0x32000000 | 1 << 23 | 0x77F,)
    assert struct.unpack_from("<f", options, 8)[0] == np.float32(1e-4)
    assert struct.unpack_from("<3i", options, 12) == (77, -1, 4)
    assert struct.unpack_from("<3i", options, 88) == (1, 0, 0)
    assert struct.unpack_from("<i", options, 116) == (9,)
    assert struct.unpack_from("<2f", options, 128) == (np.float32(1.267), np.float32(0.64))
    assert struct.unpack_from("<i", options, 160) == (3,)
    assert struct.unpack_from("<i", job[1], 0) == (0,)
    assert struct.unpack_from("<2i", job[1], 144) == (1, 1)


def test_a_poke_that_comes_too_early_is_made_again(make_peer, water):
    with Backend(make_peer(refuse_pokes=5)) as backend:
        assert backend.run(Job(water, "am1")).total_energy < 0


# ---- refusals -----------------------------------------------------------------------------------


def test_a_refusal_repeats_the_words_and_leaves_the_process_usable(make_peer, water):
    with Backend(make_peer(results="refusal")) as backend:
        for _ in range(2):
            with pytest.raises(InputError) as caught:
                backend.run(Job(water, "am1"))
            assert str(caught.value) == "Sorry, this is refused (42)."
            assert caught.value.partial.errors == ["Sorry, this is refused (42)."]
            pid = backend.pid
        assert pid is not None


def test_eigenvectors_of_an_earlier_job_do_not_hide_a_refusal(make_peer, water):
    with Backend(make_peer(results="refusal")) as backend:
        with pytest.raises(InputError, match="this is refused"):
            backend.run(Job(water, "am1", eigenvectors=True))


def test_an_error_after_the_start_is_a_failed_calculation(make_peer, water):
    with Backend(make_peer(results="late refusal")) as backend:
        with pytest.raises(CalculationFailed, match="this is refused"):
            backend.run(Job(water, "am1"))


def test_a_lack_of_memory_has_its_own_type(make_peer, water):
    text = "This application has exhausted all available memory."
    with Backend(make_peer(results="refusal", texts=[(9997, text)])) as backend:
        with pytest.raises(OutOfMemory, match="exhausted"):
            backend.run(Job(water, "am1"))


def test_a_session_without_results_and_words_is_an_error(make_peer, water):
    with Backend(make_peer(results="empty")) as backend:
        with pytest.raises(ProtocolError, match="without results"):
            backend.run(Job(water, "am1"))


def test_results_that_break_off_are_no_result(make_peer, water):
    with Backend(make_peer(results="partial")) as backend:
        with pytest.raises(CalculationFailed, match="middle of its results"):
            backend.run(Job(water, "am1"))
    with Backend(make_peer(results="partial", texts=[(9997, "no room left")])) as backend:
        with pytest.raises(CalculationFailed, match="no room left"):
            backend.run(Job(water, "am1"))


# ---- deaths, lies, silence ----------------------------------------------------------------------

FRAMES_OF_A_SESSION = 1 + 1 + 2 * 11 + 6 + 1  # connect; node count; pokes; results; the end


def test_the_frames_of_a_session_are_as_many_as_the_tests_below_break(make_peer, water):
    at = FRAMES_OF_A_SESSION - 1
    with Backend(make_peer(at=at, fault="kill")) as backend:
        with pytest.raises(BackendDied):
            backend.run(Job(water, "am1"))
    with Backend(make_peer(at=at + 1, fault="kill")) as backend:
        backend.run(Job(water, "am1"))


@pytest.mark.parametrize("at", range(FRAMES_OF_A_SESSION))
def test_a_killed_backend_is_a_typed_error_at_once(make_peer, water, at):
    """At once: not when a time limit passes, which would be another error."""
    backend = Backend(make_peer(at=at, fault="kill"), time_limit=20)
    with pytest.raises(BackendDied, match="signal 9 .SIGKILL.") as caught:
        backend.run(Job(water, "am1"))
    if at == 0:
        print(f"R3: a killed backend is a typed error at each of {FRAMES_OF_A_SESSION} frames")
    assert caught.value.returncode == -signal.SIGKILL
    assert backend.pid is None


@pytest.mark.parametrize("fault", ["garbage", "huge", "wrong code", "unknown type"])
@pytest.mark.parametrize("at", [0, 1, 2, 3, 25, 28, FRAMES_OF_A_SESSION - 1])
def test_garbage_is_a_typed_error(make_peer, water, fault, at):
    with Backend(make_peer(at=at, fault=fault)) as backend:
        with pytest.raises(LinkError):
            backend.run(Job(water, "am1"), time_limit=5)
        assert backend.pid is None


@pytest.mark.parametrize("fault,words", [
    ("huge", "announces a frame of 4294967295 bytes"),
    ("wrong length", "announces 9 bytes and brings 6"),
    ("wrong code", "was answered by frame"), ("unknown type", "unknown type 77")])
def test_lies_are_told_apart(make_peer, water, fault, words):
    with Backend(make_peer(at=25, fault=fault)) as backend:
        with pytest.raises(ProtocolError, match=words):
            backend.run(Job(water, "am1"), time_limit=5)


def test_a_backend_that_exits_is_quoted(make_peer, water):
    with Backend(make_peer(at=5, fault="exit")) as backend:
        with pytest.raises(BackendDied, match="status 3: .*something broke"):
            backend.run(Job(water, "am1"))


def test_a_new_process_follows_a_dead_one(make_peer, water):
    with Backend(make_peer(at=4, fault="kill", first_only=True)) as backend:
        with pytest.raises(BackendDied):
            backend.run(Job(water, "am1"))
        assert backend.run(Job(water, "am1")).heat_of_formation == -57.75


def test_a_process_that_died_between_sessions_is_replaced(make_peer, water):
    with Backend(make_peer()) as backend:
        backend.run(Job(water, "am1"))
        os.kill(backend.pid, signal.SIGKILL)
        os.waitid(os.P_PID, backend.pid, os.WEXITED | os.WNOWAIT)
        assert backend.run(Job(water, "am1")).heat_of_formation == -57.75


@pytest.mark.parametrize("at", [0, 3, 22])
def test_silence_ends_at_the_time_limit(make_peer, water, at):
    backend = Backend(make_peer(at=at, fault="silence"), time_limit=0.4)
    began = time.monotonic()
    with pytest.raises(TimeLimitExceeded):
        backend.run(Job(water, "am1"))
    assert time.monotonic() - began >= 0.4
    assert backend.pid is None


def test_a_stopped_backend_ends_at_the_time_limit_too(make_peer, water):
    backend = Backend(make_peer(), time_limit=0.5)
    backend.run(Job(water, "am1"))
    os.kill(backend.pid, signal.SIGSTOP)
    with pytest.raises(TimeLimitExceeded):
        backend.run(Job(water, "am1"))
    assert backend.pid is None


def test_cancelling_from_another_thread_ends_the_session(make_peer, water):
    backend = Backend(make_peer(at=10, fault="silence"))
    timer = threading.Timer(0.3, backend.cancel)
    timer.start()
    with pytest.raises(Cancelled):
        backend.run(Job(water, "am1"))
    timer.join()
    assert backend.pid is None


def test_a_backend_that_prints_much_blocks_nobody(make_peer, water):
    with Backend(make_peer(prints=3_000_000)) as backend:
        assert backend.run(Job(water, "am1"), time_limit=20).total_energy < 0


def test_a_missing_program_is_named(water, tmp_path):
    with pytest.raises(BackendNotFound, match="nowhere"):
        Backend(tmp_path / "nowhere").run(Job(water, "am1"))


def test_a_program_that_is_no_program_is_an_error(water, tmp_path):
    script = tmp_path / "text"
    script.write_text("no program")
    script.chmod(0o755)
    with pytest.raises(BackendNotFound, match="cannot be started"):
        Backend(script).run(Job(water, "am1"))


# ---- life of the object -------------------------------------------------------------------------


def test_leaving_the_stream_early_ends_the_process(make_peer, water):
    backend = Backend(make_peer())
    for event in backend.stream(Job(water, "am1")):
        if isinstance(event, events.StatusLine):
            break
    del event
    import gc

    gc.collect()
    assert backend.pid is None


def test_an_exception_in_the_callback_ends_the_session(make_peer, water):
    class Stop(Exception):
        pass

    def stop(event):
        raise Stop

    backend = Backend(make_peer())
    with pytest.raises(Stop):
        backend.run(Job(water, "am1"), stop)
    assert backend.pid is None
    assert backend.run(Job(water, "am1")).total_energy < 0
    backend.close()


def test_a_forgotten_backend_leaves_no_process(make_peer, water):
    backend = Backend(make_peer())
    backend.run(Job(water, "am1"))
    pid = backend.pid
    del backend
    assert pid not in children()


def test_a_backend_that_is_never_closed_is_reaped_at_exit(make_peer):
    program = (f"import sys; sys.path.insert(0, {str(ROOT / 'python')!r})\n"
               "from orbitrax import *\n"
               f"b = Backend({str(make_peer())!r})\n"
               f"b.run(Job(read_molecule({str(ROOT / 'examples' / 'water.xyz')!r}), 'am1'))\n"
               "print(b.pid)\n")
    done = subprocess.run([sys.executable, "-c", program], capture_output=True, text=True,
                          timeout=20, check=True)
    assert done.stderr == ""
    assert not os.path.exists(f"/proc/{done.stdout.strip()}")


def test_pickles_and_copies_start_processes_of_their_own(make_peer, water):
    with Backend(make_peer(), time_limit=7) as backend:
        backend.run(Job(water, "am1"))
        for other in (pickle.loads(pickle.dumps(backend)), copy.copy(backend),
                      copy.deepcopy(backend)):
            with other:
                assert other.pid is None
                assert other.run(Job(water, "am1")).total_energy < 0
                assert other.pid != backend.pid
        assert backend.run(Job(water, "am1")).total_energy < 0


def test_a_fork_does_not_touch_the_process_of_its_parent(make_peer, water):
    with Backend(make_peer()) as backend:
        backend.run(Job(water, "am1"))
        pid = backend.pid
        child = os.fork()
        if child == 0:
            try:
                ok = backend.run(Job(water, "am1")).total_energy < 0 and backend.pid != pid
                backend.close()
            except BaseException:
                ok = False
            os._exit(0 if ok else 1)
        assert os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]) == 0
        assert backend.pid == pid
        assert backend.run(Job(water, "am1")).total_energy < 0


def test_a_fork_that_only_closes_leaves_its_parent_alone(make_peer, water):
    with Backend(make_peer()) as backend:
        backend.run(Job(water, "am1"))
        pid = backend.pid
        child = os.fork()
        if child == 0:
            backend.close()
            os._exit(0)
        os.waitpid(child, 0)
        backend.run(Job(water, "am1"))
        assert backend.pid == pid


def test_the_backend_does_not_hear_a_ctrl_c_meant_for_the_client(make_peer, water):
    with Backend(make_peer()) as backend:
        backend.run(Job(water, "am1"))
        assert os.getpgid(backend.pid) != os.getpgid(0)


def test_threads_with_a_backend_each_do_not_disturb_each_other(make_peer, water):
    script, found = make_peer(), []

    def work():
        with Backend(script) as backend:
            for _ in range(3):
                found.append(backend.run(Job(water, "am1")).total_energy)

    threads = [threading.Thread(target=work) for _ in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert found == 12 * [-300.75 + 1e-9]


def test_one_backend_serves_one_thread_at_a_time(make_peer, water):
    with Backend(make_peer()) as backend:
        stream = backend.stream(Job(water, "am1"))
        next(stream)
        with pytest.raises(UsageError, match="running a job already"):
            backend.run(Job(water, "am1"))
        stream.close()


def test_a_keyboard_interrupt_leaves_no_process(make_peer, water):
    backend = Backend(make_peer(at=10, fault="silence"))
    timer = threading.Timer(0.3, lambda: os.kill(os.getpid(), signal.SIGINT))
    timer.start()
    with pytest.raises(KeyboardInterrupt):
        backend.run(Job(water, "am1"))
    assert backend.pid is None


def test_closing_twice_and_deleting_what_never_began_is_harmless():
    backend = Backend()
    backend.close()
    backend.close()
    Backend.__new__(Backend).__del__()
