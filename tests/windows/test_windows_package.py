"""The zip that the Windows build makes."""

import importlib.util
import re
import subprocess
import zipfile
from pathlib import Path

import pytest
import wine
from peers import ROOT
from sessions import calculation, first

pytestmark = pytest.mark.windows

VERSION = re.search(r"__version__ = \"(.*)\"",
                    (ROOT / "python" / "orbitrax" / "__init__.py").read_text())[1]
TOP = f"orbitrax-{VERSION}-windows"
SYSTEM = {"kernel32.dll", "user32.dll", "gdi32.dll", "msvcrt.dll"}


@pytest.fixture
def unpacked(tmp_path) -> Path:
    """The folder that the zip holds."""
    if problem := wine.missing():
        pytest.fail(problem)
    with zipfile.ZipFile(wine.PROGRAM.parent / f"{TOP}.zip") as packed:
        assert packed.testzip() is None
        packed.extractall(tmp_path)
    assert [path.name for path in tmp_path.iterdir()] == [TOP]
    return tmp_path / TOP


def test_it_holds_the_program_the_tables_and_the_words(unpacked):
    found = {path.relative_to(unpacked).as_posix() for path in unpacked.rglob("*")
             if path.is_file()}
    tables = {f"parameters/{path.name}" for path in (ROOT / "parameters").iterdir()}
    assert len(tables) > 20
    assert found == {"qsolve.exe", "README.md", "LICENSE"} | tables


def test_what_it_holds_is_what_this_checkout_has(unpacked):
    for name in ("README.md", "LICENSE", "parameters/am1_1.abp"):
        assert (unpacked / name).read_bytes() == (ROOT / name).read_bytes()


def test_its_program_needs_nothing_but_the_system(unpacked):
    said = subprocess.run(["x86_64-w64-mingw32-objdump", "-p", str(unpacked / "qsolve.exe")],
                          check=True, capture_output=True, text=True).stdout
    imported = {name.lower() for name in re.findall(r"DLL Name: (\S+)", said)}
    assert {"kernel32.dll", "user32.dll"} <= imported <= SYSTEM
    assert re.search(r"Subsystem\s.*\(Windows GUI\)", said)


def test_its_program_serves_a_session(start, unpacked):
    assert first(start(program=unpacked / "qsolve.exe"), calculation()).errors == []


def test_its_program_tells_its_version(unpacked):
    program = (unpacked / "qsolve.exe").read_bytes()
    wide = VERSION.encode("utf-16-le")
    for name in ("FileVersion", "ProductVersion"):
        assert re.search(name.encode("utf-16-le") + rb"(\0\0){1,2}" + wide + rb"\0\0", program)


def test_its_icon_is_the_one_that_the_script_draws():
    script = ROOT / "src" / "platform" / "windows_icon.py"
    found = importlib.util.spec_from_file_location("windows_icon", script)
    drawn = importlib.util.module_from_spec(found)
    found.loader.exec_module(drawn)
    assert script.with_suffix(".ico").read_bytes() == drawn.icon()
