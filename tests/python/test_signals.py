"""Ctrl-C, SIGTERM and SIGHUP at moments drawn by chance, and terminals that close: what is printed
and written is whole."""

from __future__ import annotations

import json
import os
import pty
import random
import signal
import subprocess
import time

import pytest
from support import ROOT

from orbitrax import read_molecule
from orbitrax.motion.trajectory import end_of_frames, read_restart

TASKS = {
    "optimize": ["examples/caffeine.xyz", "-m", "am1", "--limit", "0.01"],
    "md": ["examples/ethanol.xyz", "-m", "am1"],
    "energy": ["examples/caffeine.xyz", "-m", "am1"],
    "vibrations": ["examples/ethanol.xyz", "-m", "am1", "--optimize"],
}
ENDED = {signal.SIGINT: (130, -signal.SIGINT), signal.SIGTERM: (143, -signal.SIGTERM),
         signal.SIGHUP: (129, -signal.SIGHUP)}


@pytest.mark.parametrize("task", TASKS)
@pytest.mark.parametrize("number", ENDED)
def test_a_signal_at_any_moment_leaves_whole_documents_and_files(tmp_path, task, number):
    """A process that has not come to our program yet dies of it; then it has printed nothing."""
    rng = random.Random(f"{task} {number}")
    path = tmp_path / "last.xyz"
    words = ["-o", str(path)] if task in ("optimize", "md") else []
    for _ in range(3):
        path.unlink(missing_ok=True)
        run = subprocess.Popen([str(ROOT / "orbitrax"), task, *TASKS[task], *words, "--json"],
                               cwd=ROOT, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                               env={**os.environ, "NO_COLOR": "1"})
        time.sleep(rng.uniform(0.03, 0.6))
        run.send_signal(number)
        printed, said = run.communicate(timeout=60)
        if "Traceback" in said and "/python/orbitrax/" not in said:
            assert printed == ""  # the interpreter itself was not up yet
            continue
        assert "Traceback" not in said
        assert run.returncode in (0, *ENDED[number]), said
        if run.returncode >= 0:
            found = json.loads(printed)
            assert found["task"] == task
            assert found["status"] == ("done" if run.returncode == 0 else "interrupted")
        else:
            assert printed == ""
        if path.exists() and path.stat().st_size:
            assert len(read_molecule(str(path))) in (9, 24)


def closed_terminal(words, path, ignored=False):
    """The status of a command whose terminal closes when there is something in its file. ignored:
    SIGHUP, as under nohup."""
    process, terminal = pty.fork()
    if process == 0:
        if ignored:
            signal.signal(signal.SIGHUP, signal.SIG_IGN)
        os.chdir(ROOT)
        os.execv(ROOT / "orbitrax", ["orbitrax", *words])
    for _ in range(1000):
        if path.exists() and path.stat().st_size:
            break
        time.sleep(0.02)
    os.close(terminal)
    return os.waitstatus_to_exitcode(os.waitpid(process, 0)[1])


def test_a_terminal_that_closes_ends_a_run_with_whole_frames(tmp_path):
    path = tmp_path / "run.xyz"
    words = ["md", "examples/caffeine.xyz", "-m", "am1", "--time", "1ns", "-o", str(path)]
    assert closed_terminal(words, path) == 129
    assert end_of_frames(str(path)) == path.stat().st_size > 0
    assert os.listdir(tmp_path) == ["run.xyz"]


def test_a_terminal_that_closes_ends_a_batch_with_whole_records(tmp_path):
    names, path = tmp_path / "list.smi", tmp_path / "r.jsonl"
    names.write_text("".join(f"{'C' * k} m{k}\n" for k in range(1, 300)))
    words = ["batch", str(names), "-m", "am1", "--task", "optimize", "-o", str(path), "-j", "1"]
    assert closed_terminal(words, path) == 129
    lines = path.read_bytes().splitlines(keepends=True)
    assert 0 < len(lines) < 299 and lines[-1].endswith(b"\n")


def test_nohup_goes_on_without_its_terminal(tmp_path):
    """What cannot be printed at the end is an error; the file has all there was to come."""
    path = tmp_path / "run.xyz"
    words = ["md", "examples/ethanol.xyz", "-m", "am1", "--time", "0.3ps", "-o", str(path)]
    closed_terminal(words, path, ignored=True)
    assert read_restart(str(path)).step == 600
