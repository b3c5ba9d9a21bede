"""The client against the real backend process."""

import os
import re
import signal
import subprocess
import sys
import time
from pathlib import Path

import numpy as np
import pytest
from support import ROOT, kept

from orbitrax import Backend, Job, Molecule, read_molecule
from orbitrax.link import events
from orbitrax.link.conversation import Conversation
from orbitrax.link.process import find_backend
from orbitrax.errors import (BackendDied, InputError, OrbitraxError,
                             ProtocolError)
from orbitrax.job import JobSettings
from orbitrax.methods import METHODS
from orbitrax.session.encode import job_packets
from orbitrax.session.reader import SessionReader
from orbitrax.tasks.optimize import Optimize

pytestmark = [pytest.mark.usefixtures("no_children_left"), pytest.mark.timeout(60)]


@pytest.fixture(scope="session")
def qsolve():
    """The program under test: ORBITRAX_QSOLVE, else the release build of this checkout."""
    return find_backend()


@pytest.fixture
def backend(qsolve):
    with Backend(qsolve, time_limit=300) as backend:
        yield backend


def texts(backend, job):
    """The log of a job, its warnings and its errors, whether or not it yields results."""
    lines = {events.LogLine: [], events.WarningLine: [], events.ErrorLine: []}
    for event in backend.stream(job.replace(log_level=0)):
        lines.get(type(event), []).append(getattr(event, "text", None))
    return ["\n".join(group) for group in lines.values()]


def molecule(examples, name):
    return read_molecule(str(examples / f"{name}.xyz"))


# ---- what the backend understands ---------------------------------------------------------------


@pytest.mark.parametrize("method", METHODS, ids=lambda method: method.key)
@pytest.mark.parametrize("name,electrons,orbitals", [("caffeine", 74, 66), ("benzene", 30, 30)])
def test_every_method_counts_electrons_and_orbitals_as_the_client(backend, examples, method, name,
                                                                  electrons, orbitals):
    job = Job(molecule(examples, name), method)
    log, warnings, _ = texts(backend, job)
    assert job.electrons == electrons and warnings == ""
    assert f"Number of electrons = {electrons}\n" in log
    assert f"Total number of orbitals = {orbitals}\n" in log


def test_settings_are_logged_as_they_were_sent(backend, water):
    log, _, _ = texts(backend, Job(water, "zindos", charge=1, uhf=True, diis=False,
                                   scf_limit=1e-4, scf_iterations=77, pi=0.64))
    assert re.search(r"Convergence limit = 0\.0001000\s+Iteration limit = 77", log)
    assert "P(Sigma-Sigma) = 1.2670 and P(Pi-Pi) = 0.6400" in log
    assert "Accelerate convergence = NO" in log
    assert "UHF Calculation" in log and "Doublet state calculation" in log
    assert "Charge on the system = 1" in log


@pytest.mark.parametrize("method", ["cndo", "mindo3", "am1", "zindo1", "mndod"])
def test_a_capped_selection_has_seven_electrons_more(backend, examples, method):
    job = Job(molecule(examples, "ethanol"), method, select=[3, 4])
    log, warnings, errors = texts(backend, job)
    assert "Number of electrons = 14\n" in log and "Total number of orbitals = 9\n" in log
    assert "is not there" not in errors


def test_more_atoms_than_a_packet_holds_arrive_whole(backend):
    n = 171
    grid = np.stack(np.meshgrid(range(6), range(6), range(5), indexing="ij"), -1).reshape(-1, 3)
    numbers = [1] * (n - 1) + [6]  # the carbon comes alone in the second packet
    log, _, _ = texts(backend, Job(Molecule(numbers, 4.0 * grid[:n]), "cndo"))
    assert f"Number of electrons = {n + 3}\n" in log
    assert f"Total number of orbitals = {n + 3}\n" in log


# ---- refusals -----------------------------------------------------------------------------------


@pytest.mark.parametrize("settings,words", [
    ({"multiplicity": 2}, "doublet"), ({"multiplicity": 3, "charge": 1}, "triplet"),
    ({"multiplicity": 8, "charge": 1}, "multiplicity"), ({"charge": 9}, "charge"),
    ({"charge": -30}, "electrons"), ({"multiplicity": 2, "uhf": True}, "doublet"),
])
def test_refusals_carry_the_words_of_the_backend(backend, water, settings, words):
    with pytest.raises(InputError, match=f"(?i){words}") as caught:
        backend.run(Job(water, "am1", **settings))
    assert len(str(caught.value)) > 20 and str(caught.value).endswith(".")


def test_a_refusal_leaves_the_process_as_good_as_new(backend, water):
    good = texts(backend, Job(water, "am1"))
    pid = backend.pid
    with pytest.raises(OrbitraxError):
        backend.run(Job(water, "am1", multiplicity=2))
    assert texts(backend, Job(water, "am1")) == good
    assert backend.pid == pid


def test_a_selection_that_does_not_fit_is_refused_by_the_backend_too(backend, water, monkeypatch):
    def wrong(job, quiet=False):
        packets = job_packets(job)
        return [*packets[:-1], packets[-1][:-4] + (7).to_bytes(4, "little")]

    with monkeypatch.context() as patch, pytest.raises(InputError, match="7"):
        patch.setattr("orbitrax.backend.job_packets", wrong)
        backend.run(Job(water, "am1"))
    assert "Number of electrons = 8" in texts(backend, Job(water, "am1"))[0]


def test_a_packet_that_is_too_short_is_refused_by_the_backend_too(backend, water, monkeypatch):
    def short(job, quiet=False):
        packets = job_packets(job)
        packets[1] = (100).to_bytes(4, "little") + packets[1][4:120]
        return packets

    monkeypatch.setattr("orbitrax.backend.job_packets", short)
    with pytest.raises(InputError, match="100"):
        backend.run(Job(water, "am1"))


def test_a_job_kind_that_runs_nothing_is_not_taken_for_a_result(backend, water):
    with pytest.raises(ProtocolError, match="without results"):
        backend.run(Job(water, "am1", type("None", (JobSettings,), {"calc_kind": 3})()))


# ---- life and death -----------------------------------------------------------------------------


def test_many_sessions_run_in_one_process(backend, water):
    first = texts(backend, Job(water, "am1"))
    pid = backend.pid
    for _ in range(50):
        assert texts(backend, Job(water, "am1")) == first
    assert backend.pid == pid


def test_cycles_are_told_to_those_who_listen(water, monkeypatch):
    """Who does not is told of the first of an SCF alone, which says that the calculation began;
    the results are the same."""
    met = []
    feed = SessionReader.feed

    def watched(reader, packet):
        found = feed(reader, packet)
        met.extend(one.text for one in found if isinstance(one, events.StatusLine))
        return found

    monkeypatch.setattr(SessionReader, "feed", watched)
    with Backend() as backend:
        told = backend.run(Job(water, "am1"), on_event=lambda event: None)
        heard = [text for text in met if text.startswith("Iteration")]
        met.clear()
        quiet = backend.run(Job(water, "am1"))
    assert len(heard) == told.scf_iterations > 3
    assert len(met) == 1 and met[0].startswith("Starting")
    assert quiet.total_energy == told.total_energy
    assert np.array_equal(quiet.gradient, told.gradient)


def test_the_process_ends_well_when_the_client_is_done(qsolve, water):
    backend = Backend(qsolve)
    texts(backend, Job(water, "am1"))
    began = time.monotonic()
    assert backend.close() == 0
    kept("an end", began, 1.0)


@pytest.mark.parametrize("packets", range(0, 14, 2))
def test_the_process_ends_well_when_the_link_is_cut_in_a_session(qsolve, water, packets):
    backend = Backend(qsolve)
    stream = backend.stream(Job(water, "am1"))
    next(stream)
    for _ in range(packets):
        next(stream, None)
    process = backend._running
    stream.close()
    backend.close()
    assert process.ended() == 0


def test_a_killed_process_is_noticed_within_a_second(qsolve, examples):
    backend = Backend(qsolve)
    began = time.monotonic()
    long = Job(molecule(examples, "caffeine"), "am1", Optimize(optimizer="steepest-descent"))
    with pytest.raises(BackendDied, match="SIGKILL"):
        for event in backend.stream(long):
            if isinstance(event, events.StatusLine):
                os.kill(backend.pid, signal.SIGKILL)
                began = time.monotonic()
    kept("a killed process noticed", began, 1.0)


@pytest.mark.parametrize("frames", [0, 1, 2, 5, 12, 19])
def test_the_process_ends_within_a_second_of_a_killed_client(qsolve, frames):
    program = (
        "import sys, time; sys.path.insert(0, sys.argv[1])\n"
        "from orbitrax import *\nfrom orbitrax.link import conversation\n"
        "send, left = conversation.Conversation._send, [int(sys.argv[4])]\n"
        "def counted(self, data):\n"
        "    if left[0] == 0:\n"
        "        print(b.pid, flush=True); time.sleep(60)\n"
        "    left[0] -= 1\n"
        "    return send(self, data)\n"
        "conversation.Conversation._send = counted\n"
        "b = Backend(sys.argv[2])\nb.run(Job(read_molecule(sys.argv[3]), 'am1'))\n")
    client = subprocess.Popen(
        [sys.executable, "-c", program, str(ROOT / "python"), str(qsolve),
         str(ROOT / "examples" / "water.xyz"), str(frames)], stdout=subprocess.PIPE, text=True)
    pid = int(client.stdout.readline())
    client.kill()
    client.wait()
    client.stdout.close()
    began = time.monotonic()
    while alive(pid) and time.monotonic() - began < 15:
        time.sleep(0.01)
    kept("the end of a backend without its client", began, 1.0)


def alive(pid):
    """Whether a process runs; one that only waits to be reaped by its new parent does not."""
    try:
        return Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()[0] != "Z"
    except OSError:
        return False


def test_another_name_or_topic_is_refused(qsolve):
    import socket

    from orbitrax.errors import ConnectRefused

    ours, theirs = socket.socketpair()
    process = subprocess.Popen([qsolve], stdin=theirs, stdout=subprocess.DEVNULL)
    theirs.close()
    link = Conversation(ours)
    link.deadline = time.monotonic() + 10
    for names in (("qsolve", "nobody"), ("other", "CalcBackend")):
        with pytest.raises(ConnectRefused):
            link.connect(*names)
    link.connect("QSolve", "CALCBACKEND")
    assert link.request().kind == 10
    with pytest.raises(ConnectRefused):
        link.connect()
    link.disconnect()
    assert process.wait(5) == 0


def test_a_program_that_is_no_backend_is_given_up(water, monkeypatch):
    monkeypatch.setattr("orbitrax.link.conversation._GREETING", 0.3)
    with Backend(program="/bin/cat") as mute:  # reads, and says nothing
        with pytest.raises(ProtocolError, match="not answered"):
            mute.run(Job(water, "am1"))


# ---- the command line ---------------------------------------------------------------------------


def test_the_command_line_shows_the_report_of_the_backend(qsolve):
    done = subprocess.run(
        [sys.executable, "-m", "orbitrax", "energy", "examples/water.xyz", "-m", "am1", "--log"],
        cwd=ROOT, capture_output=True, text=True, timeout=30,
        env={**os.environ, "PYTHONPATH": "python", "ORBITRAX_QSOLVE": str(qsolve)})
    assert done.returncode == 0 and done.stderr == ""
    assert "Number of electrons = 8\n" in done.stdout
    assert "\nDipole (Debyes)  x         y         z          Total\n" in done.stdout


def test_the_command_line_repeats_the_refusal_of_the_backend(qsolve):
    done = subprocess.run(
        [sys.executable, "-m", "orbitrax", "energy", "examples/water.xyz", "-m", "am1", "-s", "2"],
        cwd=ROOT, capture_output=True, text=True, timeout=30,
        env={**os.environ, "PYTHONPATH": "python", "ORBITRAX_QSOLVE": str(qsolve)})
    assert done.returncode == 2 and done.stdout == ""
    assert "even number of electrons" in done.stderr or "odd number of electrons" in done.stderr


@pytest.mark.skipif(not sys.platform.startswith("linux"), reason="reads /proc")
def test_a_job_takes_its_arrays_where_the_one_before_left_them():
    """A page that the system gives anew is a fault: 4400 a job where all went back to it."""
    job = Job(read_molecule(str(ROOT / "benchmarks" / "molecules" / "taxol.xyz")), "am1")
    with Backend() as backend:
        def faults():
            stat = Path(f"/proc/{backend._running.pid}/stat").read_text("ascii")
            return int(stat.rpartition(")")[2].split()[7])

        backend.run(job)
        backend.run(job)
        before = faults()
        backend.run(job)
        assert faults() - before < 1500
