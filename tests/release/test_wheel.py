"""The package as it is installed: a wheel for this platform, in a fresh environment, far from here.
"""

import os
import subprocess
import sys
import zipfile
from pathlib import Path

import pytest

ROOT = Path(__file__).resolve().parents[2]

pytestmark = [pytest.mark.long, pytest.mark.timeout(600)]


def run(*command, **options):
    """Runs a command away from the checkout, with nothing of it on any path."""
    environment = {name: value for name, value in os.environ.items()
                   if not name.startswith(("PYTHON", "ORBITRAX", "VIRTUAL"))}
    done = subprocess.run([str(word) for word in command], capture_output=True, text=True,
                          env=environment, timeout=500, **options)
    assert done.returncode == 0, f"{command}\n{done.stdout}{done.stderr}"
    return done.stdout


def pip(python, *arguments, **options):
    return run(python, "-m", "pip", "--disable-pip-version-check", *arguments, "--no-deps",
               "--no-index", **options)


@pytest.fixture(scope="module")
def wheel(tmp_path_factory):
    folder = tmp_path_factory.mktemp("wheel")
    pip("/usr/bin/python3", "wheel", "--no-build-isolation", "--wheel-dir", folder, ROOT)
    found, = folder.glob("*.whl")
    return found


@pytest.fixture(scope="module")
def environment(wheel, tmp_path_factory):
    """A fresh environment that has the wheel, and numpy from the system."""
    folder = tmp_path_factory.mktemp("environment")
    run("/usr/bin/python3", "-m", "venv", "--system-site-packages", folder)
    pip(folder / "bin" / "python", "install", wheel)
    return folder


def test_the_wheel_is_for_this_platform_and_holds_programs_and_tables(wheel):
    assert wheel.name.startswith("orbitrax-") and "-py3-none-linux_" in wheel.name
    names = set(zipfile.ZipFile(wheel).namelist())
    tables = {f"orbitrax/parameters/{path.name}" for path in (ROOT / "parameters").glob("*.abp")}
    assert len(tables) > 20
    assert tables | {"orbitrax/programs/qsolve", "orbitrax/py.typed"} <= names
    modules = {path.relative_to(ROOT / "python").as_posix()
               for path in (ROOT / "python" / "orbitrax").rglob("*.py")}
    assert {name for name in names if name.endswith(".py")} == modules


def test_the_installed_command_computes(environment, tmp_path):
    (tmp_path / "water.xyz").write_text((ROOT / "examples" / "water.xyz").read_text())
    said = run(environment / "bin" / "orbitrax", "energy", "water.xyz", "-m", "am1", cwd=tmp_path)
    assert said.startswith("H2O, 3 atoms, AM1 RHF") and "-59.191690 kcal/mol" in said
    version = run(environment / "bin" / "orbitrax", "--version", cwd=tmp_path)
    number = version.split()[1]
    assert (next(environment.glob("lib/*/site-packages")) / f"orbitrax-{number}.dist-info").exists()


def test_the_installed_package_has_all_it_needs_in_itself(environment, tmp_path):
    program = ("import orbitrax\n"
               "from orbitrax.link.process import find_backend\n"
               "from orbitrax.tables import parameter_directory\n"
               "print(orbitrax.__file__)\nprint(find_backend())\nprint(parameter_directory())\n"
               "result = orbitrax.run((['H', 'H'], [[0, 0, 0], [0, 0, 0.7]]), 'mindo3')\n"
               "print(result.gradient.shape)\n")
    *paths, shape = run(environment / "bin" / "python", "-c", program, cwd=tmp_path).splitlines()
    assert shape == "(2, 3)"
    assert [path for path in paths if not path.startswith(str(environment))] == []


def test_a_folder_can_be_installed_as_it_is(tmp_path):
    run(sys.executable, "-m", "venv", "--system-site-packages", tmp_path)
    pip(tmp_path / "bin" / "python", "install", "--no-build-isolation", ROOT)
    said = run(tmp_path / "bin" / "orbitrax", "methods", cwd=tmp_path)
    assert said.startswith("cndo    CNDO, family CNDO")
