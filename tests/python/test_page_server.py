"""The server behind the page: who is let in, what is taken, what comes of runs."""

from __future__ import annotations

import json
import os
import signal
import socket
import time

import pytest
from page_server import Server, alive, backends_of

LONG = {"time": "100ps"}  # a run that lasts


@pytest.fixture(scope="module")
def static(tmp_path_factory):
    folder = tmp_path_factory.mktemp("static")
    (folder / "index.html").write_text("<!doctype html><title>page</title>")
    (folder / "page.js").write_text("'use strict'")
    (folder.parent / "secret.txt").write_text("secret")
    return folder


@pytest.fixture(scope="module")
def server(static, tmp_path_factory):
    found = Server("--jobs", "2", "--history", str(tmp_path_factory.mktemp("data") / "runs"),
                   static=str(static))
    yield found
    assert found.close() == 0


# ---- who is let in -------------------------------------------------------------------------------


def test_the_address_opens_the_page_and_becomes_a_cookie(server):
    status, headers, _ = server.ask("GET", f"/?token={server.token}", cookie=False)
    assert (status, headers["Location"]) == (303, "/")
    cookie = headers["Set-Cookie"]
    assert server.token in cookie and "HttpOnly" in cookie and "SameSite=Strict" in cookie
    status, headers, text = server.ask("GET", "/")
    assert status == 200 and b"<title>page" in text
    assert headers["Content-Security-Policy"].startswith("default-src 'self';")
    assert "unsafe" not in headers["Content-Security-Policy"]


def test_the_token_has_128_bits_and_is_another_each_time(server, static):
    other = Server("--no-history", static=str(static))
    other.close()
    assert len(server.token) == 32 and server.token != other.token


@pytest.mark.parametrize("path", ["/", "/static/page.js", "/api/about", "/api/runs"])
@pytest.mark.parametrize("cookie", [None, "0" * 32, "", "x"])
def test_no_token_or_a_wrong_one_is_refused(server, path, cookie):
    headers = {} if cookie is None else {"Cookie": f"orbitrax_{server.port}={cookie}"}
    status, _, text = server.ask("GET", path, headers=headers, cookie=False)
    assert status == 403 and b"token" not in text and server.token.encode() not in text


def test_a_token_in_the_address_opens_nothing_but_the_front(server):
    assert server.ask("GET", f"/api/runs?token={server.token}", cookie=False)[0] == 403
    assert server.ask("GET", "/?token=" + "0" * 32, cookie=False)[0] == 403


@pytest.mark.parametrize("host", ["example.org", "example.org:{port}", "127.0.0.1",
                                  "127.0.0.1:1", "127.0.0.1:{port}.example.org", ""])
def test_a_foreign_host_is_refused(server, host):
    headers = {"Host": host.format(port=server.port)}
    assert server.ask("GET", "/api/runs", headers=headers)[0] in (400, 403)


@pytest.mark.parametrize("origin", ["http://example.org", "null", "https://127.0.0.1:{port}",
                                    "http://127.0.0.1:1", "http://127.0.0.1:{port}.example.org"])
def test_a_foreign_origin_is_refused(server, origin):
    headers = {"Origin": origin.format(port=server.port)}
    for method, body in (("GET", None), ("POST", {})):
        assert server.ask(method, "/api/runs", body, headers)[0] == 403
    print("R14: 127.0.0.1 alone, a token of 128 bits; another host or origin, no token: refused")


def test_its_own_origin_and_names_are_let_in_and_no_other_site_may_read(server):
    for name in ("127.0.0.1", "localhost", "[::1]"):
        place = f"{name}:{server.port}"
        status, headers, _ = server.ask("GET", "/api/runs", headers={
            "Host": place, "Origin": f"http://{place}"})
        assert status == 200
        assert "Access-Control-Allow-Origin" not in headers
        assert headers["Cross-Origin-Resource-Policy"] == "same-origin"


def test_what_another_site_makes_the_browser_fetch_is_refused(server):
    headers = {"Sec-Fetch-Site": "cross-site"}
    assert server.ask("GET", "/api/runs", headers=headers)[0] == 403


def test_a_form_of_another_site_cannot_be_taken_for_a_request(server):
    status, _, _ = server.ask("POST", "/api/runs", b"{}", {"Content-Type": "text/plain"})
    assert status == 403


def test_what_is_no_text_of_json_is_refused(server):
    odd = {"Content-Type": "application/json; charset=nonsense"}
    assert server.ask("POST", "/api/runs", b"{}", odd)[0] == 400
    assert server.ask("POST", "/api/runs", b"{\"task\":")[0] == 400


def test_it_listens_on_this_machine_alone(server):
    with open("/proc/net/tcp", encoding="ascii") as file:
        rows = [line.split()[1] for line in file if line.split()[3] == "0A"]
    port = f"{server.port:04X}"
    assert [row for row in rows if row.endswith(port)] == [f"0100007F:{port}"]
    try:
        status, _, _ = server.ask("GET", "/api/runs", host="::1")
    except OSError:
        assert not _has_ipv6()
    else:
        assert status == 200


def _has_ipv6() -> bool:
    try:
        with socket.socket(socket.AF_INET6, socket.SOCK_STREAM) as one:
            one.bind(("::1", 0))
        return True
    except OSError:
        return False


# ---- what is taken -------------------------------------------------------------------------------


@pytest.mark.parametrize("path", [
    "/static/../secret.txt", "/static/..%2fsecret.txt", "/static/%2e%2e/secret.txt",
    "/static/..%5csecret.txt", "/static//etc/passwd", "/static/%2fetc%2fpasswd", "/static/",
    "/static/page.js%00.txt", "/../../etc/passwd"])
def test_no_file_but_its_own_is_given(server, path):
    status, _, text = server.ask("GET", path)
    assert status in (400, 404) and b"secret" not in text and b"root:" not in text


def test_more_than_five_megabytes_are_refused_and_it_goes_on(server):
    text = "x" * (5 << 20)
    status, _, answer = server.ask("POST", "/api/molecule", {"name": "a.xyz", "text": text})
    assert status == 413 and b"5 MB" in answer
    assert server.json("GET", "/api/runs") is not None


@pytest.mark.parametrize("body", [b"", b"{", b"[]", b"1", b"[" * 100000, b"\xff\xfe", b"null"])
def test_what_is_no_object_is_refused(server, body):
    for path in ("/api/molecule", "/api/runs"):
        assert server.ask("POST", path, body)[0] in (400, 422)


@pytest.mark.parametrize("name, text, said", [
    ("water.exe", "x", "its ending does not tell a format"),
    ("a.xyz", "", "a.xyz"),
    ("a.xyz", "99999999\n\nH 0 0 0", "a.xyz"),
    ("a.xyz", "1\n\nQq 0 0 0", "Qq"),
    ("a.xyz", "1\n\nH 0 0 nan", "nan"),
    ("../../../../etc/passwd", "x", "its ending does not tell a format"),
    ("a.cif", "data_\n_cell_length_a <script>", "a.cif"),
    ("a.xyz", "H 0 0 0\n" * 100000, "a.xyz")])
def test_a_file_that_is_no_molecule_is_refused_by_its_own_name(server, name, text, said):
    status, _, answer = server.ask("POST", "/api/molecule", {"name": name, "text": text})
    shown = json.loads(answer)["error"]["text"]
    assert status == 422 and said in shown
    assert "orbitrax-page-" not in shown and "/tmp" not in shown


def test_a_hostile_name_and_title_stay_text(server):
    name = "<script>alert(1)</script>\x1b[2J\n../x.xyz"
    text = "3\n<img src=x onerror=alert(1)>\nO 0 0 0\nH 0.96 0 0\nH -0.24 0.93 0\n"
    found = server.json("POST", "/api/molecule", {"name": name, "text": text})["molecule"]
    assert found["formula"] == "H2O" and found["title"] == "x.xyz"


def test_what_a_method_cannot_do_is_said_before(server):
    text = "2\n\nFe 0 0 0\nH 0 0 1.6\n"
    found = server.json("POST", "/api/molecule", {"name": "a.xyz", "text": text})
    assert "no parameters for Fe" in found["refused"]["am1"]
    assert "zindo1" not in found["refused"]


def test_a_setting_is_refused_with_its_field(server):
    molecule = server.molecule("O")
    for settings, field in (({"limit": -1}, "limit"), ({"freeze": "a-b"}, "freeze"),
                            ({"cycles": "many"}, "cycles"), ({"fix": "stretch 1"}, "fix")):
        status, _, text = server.ask("POST", "/api/runs", {
            "task": "optimize", "method": "am1", "settings": settings, "molecule": molecule})
        assert status == 422 and json.loads(text)["error"]["field"] == field, text


@pytest.mark.parametrize("given", [
    {"task": "md", "settings": {"restart": "/etc/passwd"}},
    {"task": "md", "settings": {"velocities": [1, 2]}},
    {"task": "energy", "settings": {"debug": 1}},
    {"task": "energy", "settings": {"__class__": 1}},
    {"task": "sqm"}, {"task": "../energy"}, {"method": "best"}, {"settings": []},
    {"molecule": {"numbers": [1], "positions": [0, 0]}}, {"molecule": None},
    {"molecule": {"numbers": [1e400], "positions": [0, 0, 0]}},
    {"molecule": {"numbers": [1], "positions": [0, 0, 1e99]}}])
def test_a_request_that_cannot_be_meant_is_refused(server, given):
    whole = {"task": "energy", "method": "am1", "settings": {},
             "molecule": {"numbers": [2], "positions": [0, 0, 0]}, **given}
    status, _, text = server.ask("POST", "/api/runs", whole)
    assert status == 422, text
    assert b"root:" not in text


# ---- runs ----------------------------------------------------------------------------------------


def test_the_document_is_that_of_the_command_line(server, tmp_path, capfd):
    import orbitrax.cli
    molecule = server.molecule("C=O")
    found = server.ended(server.start("energy", "pm3", molecule, bond_orders=True))["document"]
    places = zip(molecule["symbols"], *(molecule["positions"][i::3] for i in range(3)))
    path = tmp_path / "same.xyz"
    path.write_text(f"{len(molecule['symbols'])}\n\n" + "".join(
        f"{s} {x!r} {y!r} {z!r}\n" for s, x, y, z in places))
    assert orbitrax.cli.main(["energy", str(path), "-m", "pm3", "--bond-orders", "--json"]) == 0
    typed = json.loads(capfd.readouterr().out)
    for document in (found, typed):
        document.pop("wall_seconds")
    assert found == typed and found["status"] == "done"


def events_of(server, name):
    """The events of a run, as they come."""
    import http.client
    connection = http.client.HTTPConnection("127.0.0.1", server.port, timeout=60)
    connection.request("GET", f"/api/runs/{name}/events", headers={
        "Cookie": f"orbitrax_{server.port}={server.token}"})
    answer = connection.getresponse()
    assert answer.headers["Content-Type"] == "text/event-stream"
    try:
        for line in answer:
            if line.startswith(b"data: "):
                yield json.loads(line[6:])
    finally:
        connection.close()


def test_a_search_tells_of_its_points_and_a_late_listener_misses_nothing(server):
    name = server.start("optimize", "am1", server.molecule("CC(=O)O"))
    first = next(events_of(server, name))
    assert first["type"] in ("snapshot", "ended")
    told, last = [], None
    for message in events_of(server, name):
        told += message.get("points", [])
        last = message
    assert last["type"] == "ended" and last["status"] == "done"
    whole = server.ended(name)
    numbers = [one["n"] for one in told]
    assert numbers == sorted(set(numbers))  # in order, none twice
    assert whole["frames"][0]["energy"] > whole["frames"][-1]["energy"]
    assert whole["frames"][-1]["energy"] == pytest.approx(whole["document"]["total_energy"],
                                                          abs=1e-6)
    assert len(whole["frames"][-1]["xyz"]) == 3 * 8


def test_cancel_ends_a_run_and_its_backend(server):
    name = server.start("md", "am1", server.molecule("CCCCCC"), **LONG)
    for message in events_of(server, name):
        if message.get("points"):
            break
    pids = backends_of(server)
    assert len(pids) == 1
    began = time.monotonic()
    assert server.json("POST", f"/api/runs/{name}/cancel")["cancelled"]
    found = server.ended(name, 10)
    took = time.monotonic() - began
    print(f"cancelled in {took:.2f} s")
    assert found["document"]["status"] == "interrupted" and took < 10  # promised: 1
    end = time.monotonic() + 5
    while alive(pids[0]) and time.monotonic() < end:
        time.sleep(0.02)
    assert not alive(pids[0])


def test_runs_queue_behind_the_cap_and_a_waiting_one_can_be_cancelled(server):
    molecule = server.molecule("CCCC")
    names = [server.start("md", "am1", molecule, **LONG) for _ in range(3)]
    time.sleep(0.3)
    states = [server.json("GET", f"/api/runs/{name}")["state"] for name in names]
    assert states == ["running", "running", "waiting"]
    assert {one["id"] for one in server.json("GET", "/api/runs")} >= set(names)
    for name in reversed(names):
        server.json("POST", f"/api/runs/{name}/cancel")
    for name in names:
        assert server.ended(name, 10)["document"]["status"] == "interrupted"


def test_a_backend_that_is_killed_is_an_error_that_can_be_read(server):
    name = server.start("md", "am1", server.molecule("CCCCC"), **LONG)
    for message in events_of(server, name):
        if message.get("points"):
            break
    began = time.monotonic()
    os.kill(backends_of(server)[0], signal.SIGKILL)
    document = server.ended(name, 20)["document"]
    print(f"R3: the page tells of a killed backend after {time.monotonic() - began:.2f} s")
    assert document["status"] == "failed" and "signal" in document["errors"][-1]
    assert server.ended(server.start("energy", "am1", server.molecule("O")))["document"][
        "status"] == "done"


def test_a_refusal_is_told_in_the_words_of_the_program(server):
    molecule = server.json("POST", "/api/molecule", {
        "name": "a.xyz", "text": "2\n\nFe 0 0 0\nH 0 0 1.6\n"})["molecule"]
    document = server.ended(server.start("energy", "am1", molecule))["document"]
    assert document["status"] == "refused" and "no parameters for Fe" in document["errors"][0]


def test_orbitals_and_surfaces_can_be_asked_for_later(server):
    name = server.start("energy", "am1", server.molecule("C=O"))
    levels = server.ended(name)["document"]["orbital_energies_ev"]
    homo = server.json("GET", f"/api/runs/{name}/surface?what=homo")
    assert homo["orbital"] == 6 and homo["signed"] and f"{levels[5]:.2f} eV" in homo["title"]
    counts = [int(line.split()[0]) for line in homo["cubes"][0].split("\n")[3:6]]
    assert max(counts) == 72
    both = server.json("GET", f"/api/runs/{name}/surface?what=potential")
    assert len(both["cubes"]) == 2
    status, _, text = server.ask("GET", f"/api/runs/{name}/surface?what=..%2Fetc")
    assert status == 422 and b"is no orbital" in text
    assert server.json("GET", f"/api/runs/{name}/molden")["text"].startswith("[Molden Format]")


def test_charges_for_force_fields_are_those_of_the_library(server):
    import orbitrax
    whole = server.ended(server.start("energy", "am1", server.molecule("CC(=O)[O-]")))
    found = server.json("GET", f"/api/runs/{whole['id']}/charges?model=am1bcc")
    assert sum(found["charges"]) == pytest.approx(-1, abs=1e-9)
    # by atoms that stand alike: the geometries of SMILES may differ, the minimum does not
    assert sorted(found["charges"]) == pytest.approx(
        sorted(orbitrax.charges("CC(=O)[O-]").charges.tolist()), abs=2e-3)
    status, _, text = server.ask("GET", f"/api/runs/{whole['id']}/charges?model=best")
    assert status == 422 and b"choose from am1bcc" in text


def test_the_history_outlives_the_server_and_is_the_users_own(static, tmp_path):
    place = tmp_path / "deep" / "runs"
    first = Server("--history", str(place), static=str(static))
    name = first.start("energy", "mndo", first.molecule("O"))
    document = first.ended(name)["document"]
    assert first.close() == 0
    assert place.stat().st_mode & 0o077 == 0 and place.parent.stat().st_mode & 0o077 == 0
    second = Server("--history", str(place), static=str(static))
    try:
        assert second.json("GET", f"/api/runs/{name}")["document"] == document
        assert [one["id"] for one in second.json("GET", "/api/runs")] == [name]
        assert next(events_of(second, name))["type"] == "ended"
        second.json("DELETE", f"/api/runs/{name}")
        assert second.json("GET", "/api/runs") == []
    finally:
        second.close()


def test_limits_of_time_and_memory_are_kept(static):
    server = Server("--no-history", "--time-limit", "1", "--memory-limit", "600",
                    static=str(static))
    try:
        name = server.start("md", "am1", server.molecule("CCCC"), **LONG)
        assert "longer than 1 s" in server.ended(name, 20)["document"]["errors"][0]
    finally:
        assert server.close() == 0


def test_the_number_of_runs_is_limited(static):
    """None of them ends meanwhile, however long it takes to ask for all."""
    server = Server("--no-history", "--jobs", "1", "--time-limit", "3000", static=str(static))
    try:
        molecule = server.molecule("CCCC")
        names = [server.start("md", "am1", molecule, **LONG) for _ in range(51)]
        status, _, text = server.ask("POST", "/api/runs", {
            "task": "energy", "method": "am1", "settings": {}, "molecule": molecule})
        assert status == 429 and b"as many as this page takes" in text
        for name in reversed(names):
            server.json("POST", f"/api/runs/{name}/cancel")
    finally:
        assert server.close() == 0


def test_ending_the_server_ends_its_runs(static):
    server = Server("--no-history", static=str(static))
    name = server.start("md", "am1", server.molecule("CCCCC"), **LONG)
    for message in events_of(server, name):
        if message.get("points"):
            break
    pids = backends_of(server)
    assert pids and server.close() == 0
    end = time.monotonic() + 5
    while any(map(alive, pids)) and time.monotonic() < end:
        time.sleep(0.02)
    assert not any(map(alive, pids))
