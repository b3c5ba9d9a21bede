"""Ctrl-C and SIGTERM at moments drawn by chance: what is printed and written is whole."""

from __future__ import annotations

import json
import os
import random
import signal
import subprocess
import time

import pytest
from support import ROOT

from orbitrax import read_molecule

TASKS = {
    "optimize": ["examples/caffeine.xyz", "-m", "am1", "--limit", "0.01"],
    "md": ["examples/ethanol.xyz", "-m", "am1"],
    "energy": ["examples/caffeine.xyz", "-m", "am1"],
    "vibrations": ["examples/ethanol.xyz", "-m", "am1", "--optimize"],
}
ENDED = {signal.SIGINT: (130, -signal.SIGINT), signal.SIGTERM: (143, -signal.SIGTERM)}


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
