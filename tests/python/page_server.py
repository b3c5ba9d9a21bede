"""The page's server as a process of its own, and someone to talk to it, for the tests."""

from __future__ import annotations

import http.client
import json
import os
import re
import signal
import subprocess
import sys
import time

from support import ROOT

_START = """
import sys
sys.path.insert(0, sys.argv.pop(1))
from orbitrax.serve import app
static = sys.argv.pop(1)
app.Page.__init__.__defaults__ = (static or app.STATIC,)
from orbitrax.serve import command
command._check = lambda arguments: None
from orbitrax.cli import entry
entry()
"""


class Server:
    """`orbitrax serve --no-browser` with some options. static: the folder of its files, "" for
    those that setup has built."""

    def __init__(self, *options: str, static: str = ""):
        self.process = subprocess.Popen(
            [sys.executable, "-c", _START, str(ROOT / "python"), static, "serve", "--no-browser",
             *options], stdout=subprocess.PIPE, text=True)
        self.address = ""
        assert self.process.stdout is not None
        for line in self.process.stdout:
            found = re.search(r"http://127\.0\.0\.1:(\d+)/\?token=([0-9a-f]+)", line)
            if found:
                self.address, self.port = found.group(), int(found.group(1))
                self.token = found.group(2)
                break
        assert self.address, "the server printed no address"

    def ask(self, method: str, path: str, body=None, headers=None, host: str = "127.0.0.1",
            cookie: bool = True):
        """Status, headers and body of an answer; body: what is sent as JSON, or bytes."""
        given = {"Host": f"127.0.0.1:{self.port}", **(headers or {})}
        if cookie:
            given.setdefault("Cookie", f"orbitrax_{self.port}={self.token}")
        if body is not None:
            given.setdefault("Content-Type", "application/json")
            body = body if isinstance(body, bytes) else json.dumps(body).encode()
        connection = http.client.HTTPConnection(host, self.port, timeout=60)
        try:
            connection.request(method, path, body, given)
            answer = connection.getresponse()
            return answer.status, answer.headers, answer.read()
        finally:
            connection.close()

    def json(self, method: str, path: str, body=None, expect: int = 200):
        """The JSON of an answer of this status."""
        if method != "GET" and body is None:
            body = {}
        status, _, text = self.ask(method, path, body)
        assert status == expect, (status, text[:500])
        return json.loads(text)

    def molecule(self, smiles: str):
        """A molecule by the page's own door."""
        return self.json("POST", "/api/molecule", {"smiles": smiles})["molecule"]

    def start(self, task: str, method: str, molecule, **settings) -> str:
        """Begins a run; returns its id."""
        given = {"task": task, "method": method, "settings": settings, "molecule": molecule}
        return self.json("POST", "/api/runs", given, 201)["id"]

    def ended(self, name: str, seconds: float = 60):
        """All of a run, once it has ended."""
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            found = self.json("GET", f"/api/runs/{name}")
            if found["state"] == "ended":
                return found
            time.sleep(0.05)
        raise AssertionError(f"run {name} did not end in {seconds} s: {found['state']}")

    def close(self) -> int:
        """Ends it as Ctrl-C does; returns the exit status."""
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGINT)
        try:
            return self.process.wait(10)
        finally:
            self.process.kill()
            self.process.stdout.close()


def alive(pid: int) -> bool:
    """Whether a process is there and no zombie."""
    try:
        with open(f"/proc/{pid}/stat", encoding="ascii") as file:
            return file.read().rpartition(")")[2].split()[0] != "Z"
    except OSError:
        return False


def backends_of(server: Server) -> list[int]:
    """Process ids of the backends that work for a server."""
    found = []
    for name in os.listdir("/proc"):
        if name.isdigit() and _program(int(name)) == "qsolve":
            if _has_ancestor(int(name), server.process.pid):
                found.append(int(name))
    return found


def _program(pid: int) -> str:
    try:
        with open(f"/proc/{pid}/comm", encoding="utf-8") as file:
            return file.read().strip()
    except OSError:
        return ""


def _has_ancestor(pid: int, wanted: int) -> bool:
    while pid > 1:
        if pid == wanted:
            return True
        try:
            with open(f"/proc/{pid}/stat", encoding="utf-8") as file:
                pid = int(file.read().rpartition(")")[2].split()[1])
        except OSError:
            return False
    return False
