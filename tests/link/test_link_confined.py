"""A backend gives up what it never does, and is built so that a fault in memory ends it."""

import subprocess
from pathlib import Path

import pytest
from catalogue import hold, sample
from peers import PROGRAM, SANITIZED, Listener, SocketPeer
from sessions import ready

sanitized = pytest.mark.skipif(SANITIZED, reason="a sanitizer writes files")


def promise(pid: int) -> str:
    """The mode of the system's filter of calls: 0 none, 2 a filter."""
    lines = Path(f"/proc/{pid}/status").read_text().splitlines()
    return next(line.split()[1] for line in lines if line.startswith("Seccomp:"))


@sanitized
def test_the_process_has_given_up_what_it_never_does(start_socket, listen):
    peer = start_socket()
    ready(peer)
    assert promise(peer.pid) == "2"
    process = listen()
    process.client().close()
    assert promise(process.pid) == "2"


def test_it_can_be_asked_not_to(monkeypatch, start_socket):
    monkeypatch.setenv("ORBITRAX_CONFINE", "off")
    peer = start_socket()
    ready(peer)
    assert promise(peer.pid) == "0"


@sanitized
def test_all_kinds_of_jobs_do_without(monkeypatch):
    """The same packets with the filter and without."""
    for conversation in sample():
        said = []
        for wish in ("on", "off"):
            monkeypatch.setenv("ORBITRAX_CONFINE", wish)
            peer = SocketPeer()
            said.append([transcript.packets for transcript in hold(peer, conversation)])
            peer.finish()
        assert said[0] == said[1], conversation.name


@sanitized
def test_a_confined_listener_removes_its_socket(runtime):
    process = Listener(runtime)
    link = process.client()
    link.close()
    process.finish()
    assert not process.path.exists()


@sanitized
def test_the_program_is_hardened():
    def said(flag: str) -> str:
        return subprocess.run(["readelf", flag, str(PROGRAM)], capture_output=True, text=True,
                              check=True).stdout

    assert "DYN" in said("-h")  # loaded at an address of its own each time
    assert "GNU_RELRO" in said("-lW") and "NOW" in said("-dW")  # no table to be overwritten
    stack = next(line for line in said("-lW").splitlines() if "GNU_STACK" in line)
    assert " RW " in stack  # no code on the stack
    symbols = said("-sW")
    assert "__stack_chk_fail" in symbols and "_chk@GLIBC" in symbols
