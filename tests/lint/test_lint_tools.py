"""What other programs check: layout, shell scripts, presets, Python."""

from __future__ import annotations

import json
import re
import shutil
import subprocess
import warnings
from pathlib import Path

import pytest

from tree import ROOT, files, nothing_of, texts

PRESETS = {"release", "debug", "asan", "coverage", "fuzz", "windows"}


def formatter() -> str:
    """clang-format of version 14, the one that the layout was made with. What cannot be checked is
    a fault: ./setup installs it."""
    for name in ("clang-format-14", "clang-format"):
        found = shutil.which(name)
        if found:
            said = subprocess.run([found, "--version"], capture_output=True, text=True).stdout
            if "version 14." in said:
                return found
    pytest.fail("clang-format 14 is not installed: ./setup does that")


def badly_laid_out(root: Path, paths: list[Path]) -> list[str]:
    """C++ files that clang-format would change."""
    if not paths:
        return []
    command = [formatter(), "--dry-run", "--style=file", *map(str, paths)]
    said = subprocess.run(command, capture_output=True, text=True, cwd=root).stderr
    names = {line.split(":")[0] for line in said.splitlines() if "clang-format-violations" in line}
    return sorted(Path(name).relative_to(root).as_posix() for name in names)


def shell_scripts(root: Path) -> list[Path]:
    """Files that a shell runs, by their first line."""
    return [
        path
        for path in texts(root)
        if path.open(encoding="utf-8").readline().rstrip()
        in ("#!/usr/bin/env bash", "#!/bin/bash", "#!/bin/sh")
    ]


def shell_faults(paths: list[Path]) -> str:
    """What bash and shellcheck have to say."""
    said = ""
    for path in paths:
        run = subprocess.run(["bash", "-n", str(path)], capture_output=True, text=True)
        said += run.stderr
    assert shutil.which("shellcheck"), "shellcheck is not installed: ./setup does that"
    if paths:
        command = ["shellcheck", *map(str, paths)]
        said += subprocess.run(command, capture_output=True, text=True).stdout
    return said


def python_faults(root: Path) -> list[str]:
    """Python files that do not compile, or whose first line picks another interpreter."""
    found = []
    for path in files(root, ".py"):
        name = path.relative_to(root).as_posix()
        text = path.read_text(encoding="utf-8")
        try:
            with warnings.catch_warnings():
                warnings.simplefilter("error")
                compile(text, name, "exec")
        except (SyntaxError, ValueError) as error:
            found.append(f"{name}: {error}")
        if text.startswith("#!") and not re.match(r"#!/usr/bin/python3( -\w+)?\n", text):
            found.append(f"{name}: names another interpreter than /usr/bin/python3")
    return found


@pytest.mark.timeout(600)  # five seconds of work, but two minutes on a machine with ten other jobs
def test_clang_format_would_change_nothing():
    nothing_of(badly_laid_out(ROOT, files(ROOT, ".cpp", ".h")))


def test_a_bad_layout_is_caught(plant):
    style = (ROOT / ".clang-format").read_text(encoding="utf-8")
    root = plant({".clang-format": style, "a.cpp": "int  a;\n", "b.cpp": "int a;\n"})
    assert badly_laid_out(root, files(root, ".cpp")) == ["a.cpp"]


def test_shell_scripts_are_well_formed():
    scripts = shell_scripts(ROOT)
    names = {path.relative_to(ROOT).as_posix() for path in scripts}
    assert names >= {"setup", "orbitrax", "test", ".ci/run"}
    assert shell_faults(scripts) == ""
    assert [path.name for path in scripts if not path.stat().st_mode & 0o111] == []


def test_a_broken_shell_script_is_caught(plant):
    root = plant({"run": "#!/bin/sh\nif true; then\n", "text": "#!/usr/bin/python3\nif\n"})
    assert [path.name for path in shell_scripts(root)] == ["run"]
    assert shell_faults(shell_scripts(root)) != ""


def test_a_careless_shell_script_is_caught(plant):
    root = plant({"run": '#!/usr/bin/env bash\ncd "$1"\nrm -r $2\n'})
    assert shell_faults(shell_scripts(root)) != ""


def test_the_presets_parse_and_are_all_there():
    presets = json.loads((ROOT / "CMakePresets.json").read_text(encoding="utf-8"))
    configure = {p["name"] for p in presets["configurePresets"] if not p.get("hidden")}
    assert configure >= PRESETS
    assert {p["configurePreset"] for p in presets["buildPresets"]} == configure
    for preset in presets["configurePresets"]:
        if "toolchainFile" in preset:
            assert Path(preset["toolchainFile"].replace("${sourceDir}", str(ROOT))).is_file()
    run = subprocess.run(["cmake", "--list-presets=all"], cwd=ROOT, capture_output=True, text=True)
    assert run.returncode == 0, run.stderr
    for name in configure:
        assert f'"{name}"' in run.stdout


def test_python_compiles_and_names_the_right_interpreter():
    nothing_of(python_faults(ROOT))


def test_broken_python_is_caught(plant):
    root = plant(
        {
            "a.py": "def f(:\n",
            "b.py": "#!/usr/bin/env python3\n",
            "c.py": "#!/usr/bin/python3\n",
            "d.py": 'a = "\\d"\n',
        }
    )
    assert [said.split(":")[0] for said in python_faults(root)] == ["a.py", "b.py", "d.py"]
