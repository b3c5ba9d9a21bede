"""The Debian packages: built, looked at by lintian, unpacked, and run where they were unpacked."""

import os
import shutil
import subprocess
from pathlib import Path

import pytest

ROOT = Path(__file__).resolve().parents[2]

pytestmark = [pytest.mark.long, pytest.mark.timeout(1200)]


def run(*command, **options):
    environment = {name: value for name, value in os.environ.items()
                   if not name.startswith(("PYTHON", "ORBITRAX", "VIRTUAL", "DEB"))}
    done = subprocess.run([str(word) for word in command], capture_output=True, text=True,
                          env=environment, timeout=1000, **options)
    assert done.returncode == 0, f"{command}\n{done.stdout[-3000:]}{done.stderr[-3000:]}"
    return done.stdout


@pytest.fixture(scope="module")
def packages(tmp_path_factory):
    folder = tmp_path_factory.mktemp("packages")
    source = folder / "source"
    for name in run("git", "ls-files", "-z", cwd=ROOT).split("\0"):
        if name:
            (source / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(ROOT / name, source / name, follow_symlinks=False)
    run("dpkg-buildpackage", "--build=binary", "--unsigned-source", "--unsigned-changes",
        cwd=source)
    return [next(folder.glob("orbitrax_*.deb")), next(folder.glob("python3-orbitrax_*.deb"))]


def test_lintian_finds_nothing(packages):
    said = run("lintian", "--allow-root", *packages) if os.getuid() == 0 else run("lintian",
                                                                                 *packages)
    assert said == ""


def test_what_is_unpacked_runs(packages, tmp_path):
    for package in packages:
        run("dpkg", "-x", package, tmp_path)
    command = tmp_path / "usr" / "bin" / "orbitrax"
    water = ROOT / "examples" / "water.xyz"
    assert "-59.191690 kcal/mol" in run(command, "energy", water, "-m", "am1", cwd=tmp_path)
    assert "backend  qsolve" in run(command, "--version", cwd=tmp_path)
    program = ("import sys; sys.path.insert(0, sys.argv[1]); import orbitrax; "
               "print(orbitrax.energy(sys.argv[2], 'am1').heat_of_formation)")
    modules = tmp_path / "usr" / "lib" / "python3" / "dist-packages"
    printed = run("/usr/bin/python3", "-c", program, modules, water, cwd=tmp_path)
    assert float(printed) == pytest.approx(-59.19169, abs=1e-5)
    names = {path.name for path in (tmp_path / "usr" / "share").rglob("*") if path.is_file()}
    assert {"orbitrax.1.gz", "water.xyz", "copyright"} <= names
