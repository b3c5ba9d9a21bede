"""Runs qsolve.exe under Wine, without a display, in a Wine prefix of this checkout's own.

The prefix stands in build/wine. It is made once, which takes some ten seconds, by this file run as
a program or by the first test; the programs are those of `cmake --preset windows`. `launch` starts
a backend behind the DDE bridge; `Anchor` keeps Wine's own processes alive from one start to the
next, which saves most of the time of a start.
"""

from __future__ import annotations

import contextlib
import fcntl
import os
import shutil
import signal
import subprocess
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
PREFIX = ROOT / "build" / "wine"
PROGRAM = ROOT / "build" / "windows" / "qsolve.exe"
BRIDGE = ROOT / "build" / "windows" / "tests" / "windows" / "ddebridge.exe"
_READY = PREFIX / "ready"  # there once the prefix is whole


def missing() -> str:
    """What has to be done before anything can run under Wine; empty when all is there."""
    if shutil.which("wine") is None or shutil.which("wineserver") is None:
        return "Wine is not installed (./setup --windows)"
    for program in (PROGRAM, BRIDGE):
        if not program.is_file():
            return (f"{program.relative_to(ROOT)} has not been built (cmake --preset windows && "
                    "ninja -C build/windows)")
    return ""


def environment(**more: str) -> dict[str, str]:
    """The environment for a program of our prefix: no display, no complaints of Wine's own."""
    values = {name: value for name, value in os.environ.items()
              if name not in ("DISPLAY", "WAYLAND_DISPLAY") and not name.startswith("WINE")}
    return {**values, "WINEPREFIX": str(PREFIX), "WINEARCH": "win64", "WINEDEBUG": "-all",
            # Neither menu entries nor the engines that Wine would offer to download.
            "WINEDLLOVERRIDES": "winemenubuilder.exe,mscoree,mshtml=d", **more}


@contextlib.contextmanager
def locked(name: str):
    """One process at a time: a lock on a file of the build folder."""
    path = ROOT / "build" / name
    path.parent.mkdir(exist_ok=True)
    with open(path, "w", encoding="ascii") as file:
        fcntl.flock(file, fcntl.LOCK_EX)
        yield


def is_prepared() -> bool:
    """Whether the prefix is there."""
    return _READY.exists()


def prepare() -> None:
    """Makes the prefix unless it is there. Raises CalledProcessError when Wine cannot."""
    if is_prepared():
        return
    with locked("wine.lock"):
        if is_prepared():
            return
        shutil.rmtree(PREFIX, ignore_errors=True)
        quiet = {"env": environment(), "stdin": subprocess.DEVNULL, "stdout": subprocess.DEVNULL,
                 "stderr": subprocess.DEVNULL, "check": True, "timeout": 300}
        subprocess.run(["wine", "wineboot", "--init"], **quiet)
        # Windows and their messages without a display. Read when Wine's server starts, so that
        # server has to go once.
        subprocess.run(["wine", "reg", "add", r"HKCU\Software\Wine\Drivers", "/v", "Graphics",
                        "/d", "null", "/f"], **quiet)
        subprocess.run(["wineserver", "--kill"], **quiet)
        subprocess.run(["wineserver", "--wait"], **quiet)
        _READY.touch()


def bridge_command(*arguments: str, program: Path = PROGRAM, out: Path | None = None,
                   status: Path | None = None, topic: str | None = None) -> list[str]:
    """The command that starts `program` behind the bridge. What the program prints goes to `out`,
    else, like its complaints, to standard error. The bridge's exit status goes to `status` as well.
    `topic` is what the usual topic stands for."""
    options = ["--out", f"Z:{out}"] if out else []
    options += ["--status", f"Z:{status}"] if status else []
    options += ["--topic", topic] if topic else []
    return ["wine", str(BRIDGE), *options, str(program), *arguments]


def launch(*arguments: str, program: Path = PROGRAM, out: Path | None = None,
           status: Path | None = None, topic: str | None = None, mark: str = "",
           **more) -> subprocess.Popen:
    """Starts a backend behind the bridge, whose process is returned; `mark` is for
    `find_process`."""
    prepare()
    command = bridge_command(*arguments, program=program, out=out, status=status, topic=topic)
    return subprocess.Popen(command, env=environment(ORBITRAX_MARK=mark), **more)


def find_process(mark: str, name: str = "qsolve.exe", seconds: float = 10.0) -> int:
    """The process id, here and not under Wine, of the program that `launch` started with `mark`."""
    wanted = f"ORBITRAX_MARK={mark}".encode()
    limit = time.monotonic() + seconds
    while time.monotonic() < limit:
        for folder in Path("/proc").glob("[0-9]*"):
            try:
                if (wanted in (folder / "environ").read_bytes().split(b"\0")
                        and (folder / "comm").read_text().strip() == name[:15]):
                    return int(folder.name)
            except OSError:  # it has ended, or is not ours
                continue
        time.sleep(0.01)
    raise AssertionError(f"no {name} has been started")


def left_over(mark: str) -> list[int]:
    """The processes whose mark begins so and that are still there, Wine's own apart."""
    wanted = f"ORBITRAX_MARK={mark}".encode()
    found = []
    for folder in Path("/proc").glob("[0-9]*"):
        try:
            variables = (folder / "environ").read_bytes().split(b"\0")
            name = (folder / "comm").read_text().strip()
        except OSError:  # it has ended, or is not ours
            continue
        if (name in (PROGRAM.name, BRIDGE.name)
                and any(variable.startswith(wanted) for variable in variables)):
            found.append(int(folder.name))
    return found


def kill(pids: list[int]) -> None:
    """Ends what a failed test has left."""
    for pid in pids:
        with contextlib.suppress(ProcessLookupError):
            os.kill(pid, signal.SIGKILL)


class Anchor:
    """A process that does nothing, and with which Wine's server and services stay."""

    def __init__(self):
        prepare()
        self._process = subprocess.Popen(["wine", "cmd", "/c", "set /p LINE="],
                                         env=environment(), stdin=subprocess.PIPE,
                                         stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def release(self, seconds: float = 30.0) -> None:
        """Lets it end. Wine's server goes with the last program of the prefix."""
        self._process.stdin.close()
        self._process.wait(seconds)


def wait_until_gone(seconds: float = 30.0) -> None:
    """Returns when the prefix's server has ended, which it does with the last program."""
    subprocess.run(["wineserver", "--wait"], env=environment(), timeout=seconds, check=False)


if __name__ == "__main__":
    prepare()
