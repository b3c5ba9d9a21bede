"""Signals wait for the end of an import, and come then."""

from __future__ import annotations

import os
import signal
import subprocess
import sys
import time

import pytest
from support import ROOT

from orbitrax.cli.stopping import reading_until
from orbitrax.errors import TimeLimitExceeded
from orbitrax.interrupts import between_imports

MODULE = """\
import os, time
os.kill(os.getpid(), {number})
for _ in range(20):
    time.sleep(0.002)
whole = True
"""


@pytest.fixture
def importable(tmp_path, monkeypatch):
    monkeypatch.syspath_prepend(tmp_path)
    yield lambda name, text: (tmp_path / f"{name}.py").write_text(text)
    for name in ("signalled", "slow"):
        sys.modules.pop(name, None)


def test_a_signal_in_an_import_is_heard_after_it(importable):
    def interrupt():
        raise KeyboardInterrupt

    importable("signalled", MODULE.format(number=int(signal.SIGUSR1)))
    before = signal.signal(signal.SIGUSR1, between_imports(interrupt))
    try:
        with pytest.raises(KeyboardInterrupt):
            import signalled
            assert signalled.whole
            time.sleep(5.0)
        assert sys.modules["signalled"].whole
        with pytest.raises(KeyboardInterrupt):  # and at once where nothing is imported
            os.kill(os.getpid(), signal.SIGUSR1)
            pytest.fail("not heard")
    finally:
        signal.signal(signal.SIGUSR1, before)


def test_a_time_limit_in_an_import_ends_the_reading_after_it(importable):
    importable("slow", "import time\ntime.sleep(0.1)\nwhole = True\n")
    with pytest.raises(TimeLimitExceeded), reading_until(0.05):
        import slow
        assert slow.whole
        time.sleep(5.0)
    assert sys.modules["slow"].whole
    with reading_until(0.05):  # one that is not reached leaves nothing behind
        pass
    time.sleep(0.1)


def test_ctrl_c_while_a_compiled_module_starts_ends_as_any_other(tmp_path):
    """Stands in front of NumPy and makes of an interrupt what NumPy's own start makes of it."""
    (tmp_path / "numpy.py").write_text(
        "import os, sys, time\n"
        "try:\n"
        f"    os.kill(os.getpid(), {int(signal.SIGINT)})\n"
        "    time.sleep(0.05)\n"
        "except KeyboardInterrupt:\n"
        "    raise ImportError('the extensions failed')\n"
        f"sys.path.remove({str(tmp_path)!r})\n"
        "del sys.modules['numpy']\n"
        "import numpy\n")
    done = subprocess.run([str(ROOT / "orbitrax"), "optimize", "examples/caffeine.xyz", "-m", "am1",
                           "--limit", "1e-9", "--json"], cwd=ROOT, text=True,
                          env={**os.environ, "PYTHONPATH": str(tmp_path)},
                          capture_output=True, timeout=60, check=False)
    assert done.returncode == 130, done.stderr
    assert '"status": "interrupted"' in done.stdout and "Traceback" not in done.stderr
