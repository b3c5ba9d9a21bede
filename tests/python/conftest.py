"""What the Python tests share: the package from the checkout, molecules, and the scripted peer."""

import json
import os
import stat
import sys
from pathlib import Path

import pytest
from hypothesis import settings

sys.path.insert(0, str(Path(__file__).parent))

from support import ROOT, children  # noqa: E402

# The same examples in each run, so that it is the code that fails; new ones where a seed is given.
settings.register_profile("repeatable", deadline=None, derandomize=True)
settings.register_profile("new", deadline=None)
settings.load_profile("new" if os.environ.get("ORBITRAX_FUZZ_SEED") else "repeatable")


def pytest_collection():
    """Where pytest looks at coverage, it wants to in each Python that a test starts, which then
    complains on standard error now and again of what it could not import, and takes more memory
    and time. Modules of tests copy the environment when they are imported, which is after this."""
    for name in [name for name in os.environ if name.startswith("COV_CORE_")]:
        del os.environ[name]


@pytest.fixture
def examples():
    return ROOT / "examples"


@pytest.fixture
def water(examples):
    from orbitrax import read_molecule

    return read_molecule(str(examples / "water.xyz"))


@pytest.fixture
def make_peer(tmp_path):
    """Makes a program that talks as a backend does; see peer.py for what it can be told."""
    count = 0

    def make(**scenario):
        nonlocal count
        count += 1
        script = tmp_path / f"peer{count}"
        scenario.setdefault("record", str(tmp_path / f"peer{count}.record"))
        script.write_text(
            f"#!/usr/bin/python3\nimport json, sys\nsys.path.insert(0, {str(ROOT)!r} + "
            f"'/tests/python')\nimport peer\npeer.main(json.loads({json.dumps(scenario)!r}))\n")
        script.chmod(script.stat().st_mode | stat.S_IXUSR)
        return script

    return make


@pytest.fixture
def no_children_left():
    """Fails a test that leaves a process, dead or alive."""
    before = children()
    yield
    import gc

    gc.collect()
    assert children() <= before
