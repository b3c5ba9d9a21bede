"""What a command loads before it answers: modules are counted, as times depend on the machine."""

import json
import os
import subprocess
import sys

import pytest
from support import ROOT

HEAVY = {"numpy", "scipy", "ase", "matplotlib", "rich", "rdkit"}
# What takes longer to load than a small molecule takes to compute.
SLOW = {"argparse", "contextlib", "dataclasses", "enum", "inspect", "json", "pathlib", "re",
        "shutil", "site", "socket", "subprocess", "tempfile", "threading", "typing"}
MOST = 105  # modules; bare Python has 23 of its own

ENVIRONMENT = {key: value for key, value in os.environ.items() if not key.startswith("PYTHON")}


def loaded(*arguments, cwd=ROOT):
    """The modules that a command has loaded at its end, and what it printed."""
    program = ("import sys\n"
            f"sys.path.insert(0, {str(ROOT / 'python')!r})\n"
            "from orbitrax.cli import main\n"
            f"status = main({list(map(str, arguments))!r})\n"
            "print(status, *sorted(sys.modules), file=sys.stderr)\n")
    done = subprocess.run([sys.executable, "-SP", "-c", program], cwd=cwd, env=ENVIRONMENT,
                          capture_output=True, text=True, timeout=60)
    status, *names = done.stderr.split()
    assert status == "0", done.stderr
    return set(names), done.stdout


@pytest.mark.parametrize("arguments", [
    ("energy", "examples/water.xyz", "-m", "am1"),
    ("energy", "examples/caffeine.xyz", "-m", "pm3", "-q", "--scf-limit", "1e-7"),
    ("energy", "examples/nitrogen_dioxide.xyz", "-m", "mindo3", "--rhf", "--log"),
], ids=lambda arguments: arguments[1])
def test_a_single_point_loads_little(arguments):
    loaded(*arguments)  # packs the tables, where that has not been done
    names, _ = loaded(*arguments)
    assert not names & HEAVY and not names & SLOW, names & (HEAVY | SLOW)
    assert len(names) < MOST, sorted(names)


@pytest.mark.parametrize("arguments", [
    ("--help",), ("--version",), ("energy", "--help"), ("plot", "--help"), ("methods",),
    ("energy", "examples/water.xyz", "-m", "am1", "--json"),
    ("energy", "examples/ammonium.xyz", "-m", "am1"),  # charge=1 in its second line
    ("optimize", "examples/water.xyz", "-m", "am1", "--optimizer", "polak-ribiere"),
], ids=" ".join)
def test_other_commands_load_no_library(arguments):
    names, _ = loaded(*arguments)
    assert not names & HEAVY


def test_help_of_the_program_loads_no_task():
    names, said = loaded("--help")
    assert not {"orbitrax.job", "orbitrax.tasks.energy", "orbitrax.backend"} & names
    assert "optimize" in said


def test_json_is_the_same_whether_or_not_numpy_was_loaded():
    _, said = loaded("energy", "examples/water.xyz", "-m", "am1", "--json")
    plain = json.loads(said)
    program = ("import sys, json, numpy\nimport orbitrax\n"
               "result = orbitrax.run('examples/water.xyz', 'am1', log_level=0)\n"
               "[getattr(result, name).sum() for name in ('gradient', 'charges', 'coordinates')]\n"
               "print(json.dumps(result.to_dict()))\n")
    done = subprocess.run([sys.executable, "-c", program], cwd=ROOT, capture_output=True, text=True,
                          check=True, env={**ENVIRONMENT, "PYTHONPATH": str(ROOT / "python")})
    looked_at = json.loads(done.stdout)
    assert {**looked_at, "wall_seconds": 0} == {**plain, "wall_seconds": 0}
