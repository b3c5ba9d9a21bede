"""A process that listens: who may reach it, and what it leaves behind."""

import os
import resource
import signal
import socket
import stat
import subprocess
import time
from pathlib import Path

import pytest
from peers import PATIENCE, Listener, ListenerPeer, copy_program
from sessions import (IDLE, calculation, connect, fetch, first, options, play, ready, tables,
                      to_demand)
from waits import settle

NO_CALCULATION = options({"fCalculate": 0})
NOBODY = 65534
needs_root = pytest.mark.skipif(os.geteuid() != 0, reason="only root can be two users")


def mode(path: Path) -> int:
    return stat.S_IMODE(os.lstat(path).st_mode)


def peer_of(process: Listener) -> ListenerPeer:
    return ListenerPeer(process.client())


def end(process: Listener, number: int = signal.SIGTERM) -> None:
    process.process.send_signal(number)
    assert process.wait() == 0


# ---- its place ----------------------------------------------------------------------------------


def test_it_makes_a_closed_folder_and_a_closed_socket(listen):
    process = listen()
    process.client().close()
    assert mode(process.folder) == 0o700
    assert stat.S_ISSOCK(os.lstat(process.path).st_mode)
    assert mode(process.path) & 0o077 == 0


def test_what_it_makes_is_closed_whatever_the_mask(listen):
    process = listen(umask=0)
    process.client().close()
    assert mode(process.folder) == 0o700
    assert mode(process.path) & 0o077 == 0


def test_the_socket_is_named_after_the_topic(listen):
    process = listen("Molarium", "1A2B", topic="1a2b")
    peer = peer_of(process)
    assert connect(peer) == 0
    assert connect(peer, topic="1a2b") == 1
    peer.leave()
    assert process.wait() == 0
    assert os.listdir(process.folder) == []


def test_two_topics_stand_side_by_side(listen):
    one, two = listen("Molarium", "1", topic="1"), listen("Molarium", "2", topic="2")
    for process, topic in ((one, "1"), (two, "2")):
        assert connect(peer_of(process), topic=topic) == 1


def test_without_a_runtime_directory_it_has_a_folder_of_its_own(runtime):
    environment = {key: value for key, value in os.environ.items() if key != "XDG_RUNTIME_DIR"}
    process = Listener(runtime, env={**environment, "XDG_RUNTIME_DIR": "", "TMPDIR": str(runtime)})
    process.folder = runtime / f"qsolve-{os.getuid()}"
    process.path = process.folder / "CalcBackend"
    process.client().close()
    assert mode(process.folder) == 0o700
    process.finish()


@pytest.mark.parametrize("left_by", ["killed process", "client gone", "SIGTERM"])
def test_a_socket_that_nobody_listens_to_is_replaced(runtime, left_by):
    before = Listener(runtime)
    link = before.client()
    if left_by == "killed process":
        before.expected_status = -signal.SIGKILL
        before.process.kill()
        before.wait()
        assert before.path.exists()
    elif left_by == "client gone":
        assert connect(ListenerPeer(link)) == 1
    link.close()
    before.finish()
    assert before.path.exists() == (left_by == "killed process")
    process = Listener(runtime)
    assert connect(peer_of(process)) == 1
    process.finish()


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGINT, signal.SIGHUP])
def test_a_signal_ends_it_and_removes_its_socket(listen, number):
    process = listen()
    process.client().close()
    end(process, number)
    assert not process.path.exists()


def test_the_socket_is_removed_when_the_client_goes(listen):
    process = listen()
    peer = peer_of(process)
    first(peer, NO_CALCULATION)
    peer.leave()
    assert process.wait() == 0
    assert not process.path.exists()


def test_a_socket_that_somebody_listens_to_is_not_stolen(listen):
    process = listen()
    peer = peer_of(process)
    assert connect(peer) == 1
    thief = Listener(process.folder.parent)
    thief.expected_status = 1
    thief.expected_error = (f"qsolve: cannot listen at {process.path}: Address already in use\n")
    assert thief.wait() == 1
    thief.finish()
    assert play(peer, [*tables("am1"), *NO_CALCULATION]).after_intake == []
    assert process.path.exists()


def test_what_is_no_socket_is_not_removed(runtime):
    (runtime / "qsolve").mkdir(mode=0o700)
    path = runtime / "qsolve" / "CalcBackend"
    path.write_text("mine")
    process = Listener(runtime)
    assert process.wait() == 1
    assert "cannot listen at" in process.complained()
    assert path.read_text() == "mine"


def test_a_socket_name_that_is_too_long_is_refused(runtime):
    deep = runtime / ("x" * 100)
    deep.mkdir()
    process = Listener(deep)
    process.expected_status = 1
    process.expected_error = f"qsolve: the socket name is too long: {process.path}\n"
    assert process.wait() == 1
    process.finish()
    assert not process.folder.exists()


def test_the_longest_name_is_taken(runtime):
    # A socket address holds 107 bytes and a NUL.
    room = 107 - len(str(runtime / "x" / "qsolve" / "CalcBackend"))
    for more, status in ((0, 0), (1, 1)):
        folder = runtime / ("x" * (1 + room + more))
        folder.mkdir()
        process = Listener(folder)
        if status == 0:
            assert connect(peer_of(process)) == 1
            process.finish()
        else:
            assert process.wait() == 1


def refuses_folder(runtime: Path, **more) -> None:
    """Whether the process ends with status 1 and says which folder it does not trust."""
    process = Listener(runtime, **more)
    process.expected_status = 1
    process.expected_error = (f"qsolve: {process.folder} must be a directory of yours that nobody "
                              "else can enter\n")
    assert process.wait() == 1
    process.finish()


def test_a_folder_behind_a_link_is_refused(runtime):
    (runtime / "elsewhere").mkdir(mode=0o700)
    (runtime / "qsolve").symlink_to(runtime / "elsewhere")
    refuses_folder(runtime)
    assert os.listdir(runtime / "elsewhere") == []


@pytest.mark.parametrize("bits", [0o755, 0o750, 0o710, 0o701, 0o777, 0o702])
def test_a_folder_that_others_can_enter_is_refused(runtime, bits):
    (runtime / "qsolve").mkdir()
    (runtime / "qsolve").chmod(bits)
    refuses_folder(runtime)


def test_a_file_in_the_place_of_the_folder_is_refused(runtime):
    (runtime / "qsolve").write_text("")
    refuses_folder(runtime)


def test_a_runtime_directory_that_is_not_there_is_refused(runtime):
    refuses_folder(runtime / "nothing")


@needs_root
def test_a_folder_of_another_user_is_refused(runtime):
    (runtime / "qsolve").mkdir(mode=0o700)
    os.chown(runtime / "qsolve", NOBODY, NOBODY)
    refuses_folder(runtime)


# ---- its clients --------------------------------------------------------------------------------


@needs_root
def test_a_client_of_another_user_is_turned_away(runtime):
    # Root passes every file permission, so that it is the user id that keeps it out here.
    program = copy_program(runtime, "backend")
    program.chmod(0o755)
    os.chown(runtime, NOBODY, NOBODY)
    process = Listener(runtime, program=program, user=NOBODY, group=NOBODY, extra_groups=[])
    link = process.client()
    try:
        link.sendall(b"\0" * 4)
        assert link.recv(1) == b""
    except (ConnectionResetError, BrokenPipeError):
        pass
    own = subprocess.run(
        ["/usr/bin/python3", "-I", "-c",
         "import socket, struct, sys\n"
         "link = socket.socket(socket.AF_UNIX)\n"
         "link.connect(sys.argv[1])\n"
         "names = b'qsolve\\0CalcBackend\\0'\n"
         "link.sendall(struct.pack('<II', 0x1062, len(names)) + names)\n"
         "print(link.recv(12)[8])", str(process.path)],
        user=NOBODY, group=NOBODY, extra_groups=[], capture_output=True, text=True, timeout=20)
    assert own.stdout == "1\n", own.stderr  # its own user gets the conversation
    process.finish()


def refused_within(process: Listener, seconds: float) -> bool:
    """Whether a further client is told no, and its link closed, in time."""
    began = time.monotonic()
    peer = ListenerPeer(process.client())
    answer = peer.receive()
    refused = answer[1] == b"\0\0\0\0" and peer.closed()
    peer.leave()
    return refused and time.monotonic() - began < seconds


@pytest.mark.parametrize("place", ["before connect", "packet offered", "poke awaited", "request "
                                   "held", "in a job", "no session"])
def test_a_second_client_is_refused_at_once(listen, place):
    process = listen()
    peer = peer_of(process)
    if place == "no session":
        ready(peer)
    elif place != "before connect":
        assert connect(peer) == 1
    if place in ("poke awaited", "request held"):
        to_demand(peer)
    if place == "request held":
        peer.send(0x20B0, b"Packet\0")
    if place == "in a job":
        to_demand(peer, [*tables("am1"), *calculation()][:-1])
        peer.send(0x4090, b"Packet\0" + calculation()[-1].packet())
        peer.receive()
    fetched_before = connect(peer) if place == "before connect" else None
    for _ in range(3):
        assert refused_within(process, 0.1)
    if fetched_before == 1 or place == "packet offered":
        assert play(peer, [*tables("am1"), *NO_CALCULATION]).after_intake == []
    if place == "no session":
        assert fetch(peer) == IDLE


@pytest.mark.parametrize("data", [b"", b"\x62", b"\x62\x10\0\0\x14\0\0\0qsolve"])
def test_a_client_that_goes_before_it_is_connected_makes_room_for_the_next(listen, data):
    process = listen()
    link = process.client()
    settle(process)
    # Stopped, the process sees all of this at once: the end of one client and the next one.
    process.process.send_signal(signal.SIGSTOP)
    link.sendall(data)
    link.close()
    following = peer_of(process)
    process.process.send_signal(signal.SIGCONT)
    assert connect(following) == 1


def test_a_stranger_who_breaks_the_protocol_does_not_end_it(listen):
    process = listen()
    process.expected_error = ("qsolve: the client broke the protocol (a frame that is none of "
                              "ours); conversation closed\n")
    stranger = ListenerPeer(process.client())
    stranger.write(b"GET / HTTP/1.1\r\n\r\n")
    assert stranger.closed()
    assert connect(peer_of(process)) == 1


def test_the_process_ends_when_its_client_goes(listen):
    process = listen()
    peer = peer_of(process)
    first(peer, NO_CALCULATION)
    assert process.process.poll() is None
    peer.leave()
    assert process.wait() == 0


@pytest.mark.parametrize("connected", [False, True])
def test_listening_costs_no_processor_time(listen, connected):
    process = listen()
    link = process.client()
    if connected:
        assert connect(ListenerPeer(link)) == 1
    else:
        link.close()
    time.sleep(0.05)
    before = process.processor_time()
    time.sleep(1.0)
    assert process.processor_time() - before < 1_000_000  # nanoseconds


def fill_queue(process: Listener) -> list[socket.socket]:
    """Clients in the queue of a process that does not take them, as many as it holds."""
    clients = []
    while True:
        link = socket.socket(socket.AF_UNIX)
        link.setblocking(False)
        try:
            link.connect(str(process.path))
        except BlockingIOError:
            link.close()
            return clients
        clients.append(link)


def test_a_second_start_does_not_wait_for_a_stopped_process(listen, runtime):
    process = listen()
    process.client().close()
    settle(process)
    process.process.send_signal(signal.SIGSTOP)
    clients = fill_queue(process)
    second = Listener(runtime)
    second.expected_status = 1
    second.expected_error = f"qsolve: cannot listen at {process.path}: Address already in use\n"
    assert second.wait(PATIENCE) == 1
    second.finish()
    for link in clients:
        link.close()
    process.process.send_signal(signal.SIGCONT)


def test_a_listener_without_descriptors_rests_and_goes_on_when_there_are_some(listen):
    process = listen()
    process.client().close()
    settle(process)
    limits = resource.prlimit(process.pid, resource.RLIMIT_NOFILE)
    taken = len(process.descriptors())
    resource.prlimit(process.pid, resource.RLIMIT_NOFILE, (taken, limits[1]))
    waiting = process.client()
    before = process.processor_time()
    time.sleep(1.0)
    spent = process.processor_time() - before
    print(f"R7: {spent / 1e6:.2f} ms in a second without descriptors")
    assert spent < 10_000_000  # nanoseconds; it took 640 ms
    resource.prlimit(process.pid, resource.RLIMIT_NOFILE, limits)
    assert connect(ListenerPeer(waiting)) == 1


def test_a_silent_client_makes_room_for_one_that_speaks(listen):
    process = listen()
    silent = ListenerPeer(process.client())
    settle(process)
    time.sleep(3.1)
    assert connect(peer_of(process)) == 1
    assert silent.closed()


def test_a_client_with_a_conversation_may_be_silent(listen):
    process = listen()
    peer = peer_of(process)
    ready(peer)
    time.sleep(3.1)
    assert refused_within(process, 1.0)
    assert fetch(peer) == IDLE


# ---- the network --------------------------------------------------------------------------------


def network_sockets() -> set[str]:
    """Inodes of all sockets of the machine that have a network address."""
    inodes = set()
    for name in ("tcp", "tcp6", "udp", "udp6", "raw", "raw6"):
        path = Path("/proc/net") / name
        if path.exists():
            inodes |= {line.split()[9] for line in path.read_text().splitlines()[1:]}
    return inodes


def has_network(process) -> bool:
    own = {name[8:-1] for name in process.descriptors() if name.startswith("socket:[")}
    assert own
    return bool(own & network_sockets())


def test_no_port_is_ever_open(listen, start_socket):
    with socket.create_server(("127.0.0.1", 0)) as ours:
        assert str(os.fstat(ours.fileno()).st_ino) in network_sockets()
        process = listen()
        process.client().close()
        assert not has_network(process)
        peer = peer_of(process)
        first(peer, calculation())
        assert not has_network(process)
        direct = start_socket()
        first(direct, calculation())
        assert not has_network(direct)


