"""The examples that the help of each command shows: their words are understood, and they run as
they stand, in their order."""

import importlib
import os
import re
import shlex
import subprocess

import pytest
from support import ROOT

from orbitrax.cli.options import parse
from orbitrax.tasks.registry import TASKS, TOOLS

pytestmark = pytest.mark.timeout(300)

# Take some ten seconds each together; the others take one or two.
LONG = {"md", "langevin", "montecarlo", "plot", "uv", "vibrations", "path", "charges", "barrier",
        "scan", "batch"}

# Begins what a user would end, or needs another machine: that the words are understood is all.
ONLY_READ = ("orbitrax serve", "--dask tcp://")
PREPARED = {  # files that an example takes for granted
    "cation.xyz": "5\n\nN 0 0 0\nH .6 .6 .6\nH -.6 -.6 .6\nH .6 -.6 -.6\nH -.6 .6 -.6\n",
    "molecules.csv": "id,smiles\nwater,O\nmethanol,CO\n",
    "molecules.smi": "CCO ethanol\nO water\n", "library.smi": "CO methanol\nC methane\n",
    "job.gjf": "# am1\n\nwater\n\n0 1\nO 0 0 0\nH 0.96 0 0\nH -0.24 0.93 0\n\n",
    "input.json": '{"schema_name": "qcschema_input", "schema_version": 1, "driver": "energy", '
                  '"model": {"method": "am1"}, "molecule": {"schema_name": "qcschema_molecule", '
                  '"schema_version": 2, "symbols": ["H", "H"], "geometry": [0, 0, 0, 0, 0, 1.4]}}',
    "sqm.in": "water\n &qmmm\n qm_theory='AM1', qmcharge=0,\n /\n"
              " 8 O 0.0 0.0 0.0\n 1 H1 0.96 0.0 0.0\n 1 H2 -0.24 0.93 0.0\n"}
MADE = {  # what makes the others; a pattern of an example's words
    "protein.pdb": "orbitrax convert 'NCC(=O)NCC(=O)NCC(=O)NCC(=O)O' protein.pdb",
    "water.xyz": "cp examples/water.xyz .",
    "ligand.sdf": "orbitrax convert CCO ligand.sdf",
    "library.sdf": "orbitrax convert CCO a.sdf && cat a.sdf a.sdf a.sdf a.sdf > library.sdf",
    "run.xyz": "orbitrax md examples/water.xyz -m am1 --time 100fs -o run.xyz -q",
    "results.jsonl": "orbitrax batch molecules.csv -m am1 --task optimize "
                     "-o results.jsonl -q",
    "part-": "orbitrax batch molecules.csv -m am1 -o part-1.jsonl --shard 1/2 -q && "
             "orbitrax batch molecules.csv -m am1 -o part-2.jsonl --shard 2/2 -q",
    "saddle.xyz": "orbitrax ts examples/hcn_ts_guess.xyz -m am1 -o saddle.xyz -q",
    "caffeine.json": "orbitrax energy examples/caffeine.xyz -m am1 --json > caffeine.json"}
BRINGS = {"batch": ("results.jsonl", "part-"), "ts": ("saddle.xyz",), "transit": ("saddle.xyz",),
          "energy": ("caffeine.json",), "md": ("run.xyz",), "langevin": ("run.xyz",),
          "charges": ("library.sdf",)}


def examples() -> dict[str, tuple[str, ...]]:
    """By command, its examples."""
    found = {row.name: row.load().examples for row in TASKS}
    found.update((name, importlib.import_module(module).EXAMPLES)
                 for name, (module, _) in TOOLS.items())
    return found


@pytest.fixture
def desk(tmp_path):
    """A folder with the examples and a command `orbitrax`."""
    (tmp_path / "examples").symlink_to(ROOT / "examples")
    (tmp_path / "bin").mkdir()
    (tmp_path / "bin" / "orbitrax").symlink_to(ROOT / "orbitrax")
    for name, text in PREPARED.items():
        (tmp_path / name).write_text(text)
    return tmp_path


def run(command: str, desk) -> None:
    """Runs a command of a shell in which each part of a pipe has to end well."""
    done = subprocess.run(["bash", "-o", "pipefail", "-c", command], cwd=desk, text=True,
                          capture_output=True, stdin=subprocess.DEVNULL, timeout=200,
                          env={**os.environ, "PATH": f"{desk / 'bin'}:{os.environ['PATH']}"})
    assert done.returncode == 0, f"{command}: status {done.returncode}\n{done.stderr[-2000:]}"
    assert "Traceback" not in done.stderr


@pytest.mark.parametrize("name", examples())
def test_the_words_of_an_example_are_understood(name):
    for command in examples()[name]:
        for part in command.split(" | "):
            words = shlex.split(re.sub(r" > \S+", "", part))
            if words[0] == "orbitrax" and words[1] != "sqm":  # whose words are another program's
                parsed = parse(words[1:])
                assert parsed is not None and parsed.command == words[1]


@pytest.mark.parametrize("name", [
    pytest.param(name, marks=pytest.mark.long if name in LONG else ()) for name in examples()])
def test_the_examples_of_a_command_run(name, desk):
    words = " ".join(examples()[name])
    for file, making in MADE.items():
        if file in words and file not in BRINGS.get(name, ()):
            run(making, desk)
    for command in examples()[name]:
        before = set(os.listdir(desk))
        if any(words in command for words in ONLY_READ):
            continue
        run(command, desk)
        target = command.partition(" -o ")[2].split()
        if target and target[0] not in before:
            assert (desk / target[0]).stat().st_size > 0, command
