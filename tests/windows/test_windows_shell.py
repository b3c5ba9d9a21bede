"""The window of qsolve.exe: what it shows, its About box, and how it is closed."""

import re
import subprocess

import pytest
from peers import ROOT
from probed import (ABOUT, CANCEL, OK, SC_RESTORE, WM_CLOSE, WM_QUERYOPEN, WM_QUIT, WM_SYSCOMMAND,
                    ProbedPeer, post)
from sessions import again, calculation, ready

pytestmark = pytest.mark.windows

OVERLAPPED_WINDOW, VISIBLE, MINIMISED = 0xCF0000, 0x10000000, 0x20000000


def open_about(peer: ProbedPeer) -> dict[str, list[str]]:
    post(peer, WM_SYSCOMMAND, ABOUT)
    report = peer.report()
    assert report["about"] == ["1"]
    return report


def test_the_window_is_as_it_should_be(start_probed):
    report = start_probed().report()
    assert report["title"] == ["Orbitrax"]
    style = int(report["style"][0], 16)
    assert style & 0xFF0000 == OVERLAPPED_WINDOW
    assert style & VISIBLE and style & MINIMISED and report["iconic"] == ["1"]
    assert report["class style"] == ["3"] and report["icon"] == ["1"]


def test_its_system_menu_has_move_and_close_and_the_about_box(start_probed):
    lines = [item.split(maxsplit=1) for item in start_probed().report()["menu"]]
    assert [int(line[0], 16) for line in lines] == [0xF010, 0xF060, 0, 100]
    assert lines[3][1] == "About Orbitrax..."


def test_the_text_of_the_menu_is_the_one_of_the_message_table(start_probed):
    table = (ROOT / "src" / "link" / "messages.def").read_text(encoding="utf-8")
    text = re.search(r'MESSAGE\(50, \w+, "(.*)"\)', table).group(1)
    assert start_probed().report()["string 50"] == [text]


def test_dde_is_started_with_the_flags_of_a_server_of_one_conversation(start_probed):
    assert start_probed().report()["flags"] == ["185000"]


@pytest.mark.parametrize("message, first", [(WM_QUERYOPEN, 0), (WM_SYSCOMMAND, SC_RESTORE)])
def test_the_window_stays_minimised(start_probed, message, first):
    peer = start_probed()
    post(peer, message, first)
    assert peer.report()["iconic"] == ["1"]


@pytest.mark.parametrize("button", [OK, CANCEL])
def test_the_about_box_opens_and_either_button_closes_it(start_probed, button):
    peer = start_probed()
    assert peer.report()["about"] == ["0"]
    report = open_about(peer)
    assert [line.split()[0] for line in report["about Button"]] == ["1", "2"]
    version = re.search(r'__version__ = "(.+)"',
                        (ROOT / "python" / "orbitrax" / "__init__.py").read_text())[1]
    assert any(version in line for line in report["about Static"])
    peer.close_about(button)


def test_a_second_about_box_does_not_open_above_the_first(start_probed):
    peer = start_probed()
    open_about(peer)
    post(peer, WM_SYSCOMMAND, ABOUT)
    peer.close_about(OK)


def test_sessions_run_while_the_about_box_is_open(start_probed):
    peer = start_probed()
    open_about(peer)
    ready(peer)
    assert again(peer, calculation()).errors == []
    peer.close_about(OK)
    assert again(peer, calculation()).errors == []


@pytest.mark.parametrize("connected", [False, True])
def test_a_close_while_the_about_box_is_open_waits_for_it(start_probed, connected):
    peer = start_probed()
    if connected:
        ready(peer)
    open_about(peer)
    post(peer, WM_CLOSE)
    with pytest.raises(subprocess.TimeoutExpired):
        peer.process.wait(0.5)
    assert peer.report()["about"] == ["1"]
    peer.press(OK)
    assert peer.wait() == 0


def test_a_quit_while_the_about_box_is_open_ends_the_process(start_probed):
    peer = start_probed()
    open_about(peer)
    post(peer, WM_QUIT)
    assert peer.wait() == 0
