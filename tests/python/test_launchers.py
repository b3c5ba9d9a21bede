"""./setup, ./orbitrax and ./test, run in a copy of the tree's top with stand-ins for the programs
that they call."""

from __future__ import annotations

import os
import shutil
import subprocess
import tempfile
import time
from collections.abc import Iterator
from pathlib import Path

import pytest

ROOT = Path(__file__).resolve().parents[2]

# Stand-ins by name. Each writes its call to $CALLS; dpkg-query says that all but $MISSING is there.
STAND_INS = {
    "dpkg-query": """for word in "$@"; do case $word in
        -* | *db:*) ;;
        *) case " $MISSING " in *" $word "*) ;; *) echo "installed $word" ;; esac ;;
    esac; done""",
    "apt-get": 'echo "apt-get $*" >>"$CALLS"; [ -z "$OFFLINE" ]',
    "sudo": 'echo "sudo $*" >>"$CALLS"; exec "$@"',
    "id": 'echo "${WHO:-0}"',
    "cmake": 'echo "cmake $*" >>"$CALLS"; for folder; do folder=build/$folder; done; '
    'mkdir -p "$folder"; touch "$folder/build.ninja"; '
    'echo "CMAKE_HOME_DIRECTORY:INTERNAL=$PWD" >"$folder/CMakeCache.txt"; [ -z "$NO_CMAKE" ]',
    "ninja": 'echo "ninja $*" >>"$CALLS"; [ -z "$NO_BUILD" ] && touch "$2/qsolve"',
}


class Checkout:
    """A copy of the launchers in a folder whose name has a blank, and what they called."""

    def __init__(self, folder: Path):
        self.top = folder / "a check out"
        self.calls_file = folder / "calls"
        self.programs = folder / "programs"
        (self.top / "python" / "orbitrax").mkdir(parents=True)
        (self.top / "src").mkdir()
        (self.top / "CMakeLists.txt").touch()
        (self.top / "src" / "a.cpp").touch()
        self.programs.mkdir()
        for name in ("setup", "orbitrax", "test"):
            shutil.copy(ROOT / name, self.top / name)
        for name, body in STAND_INS.items():
            (self.programs / name).write_text(f"#!/bin/sh\n{body}\n")
            (self.programs / name).chmod(0o755)
        shutil.copy(ROOT / "python" / "launch.py", self.top / "python")
        main = "import sys\ndef entry():\n    print('ran', sys.argv[1:])\n    import numbers\n"
        (self.top / "python" / "orbitrax" / "cli.py").write_text(main)
        (self.top / "python" / "orbitrax" / "__init__.py").touch()

    def run(self, *command: str, cwd: Path | None = None, **environment: str):
        self.calls_file.write_text("")
        return subprocess.run(
            [str(self.top / command[0]), *command[1:]],
            cwd=cwd or self.top.parent,
            env={
                "PATH": f"{self.programs}:/usr/bin:/bin",
                "CALLS": str(self.calls_file),
                **environment,
            },
            capture_output=True,
            text=True,
            timeout=60,
        )

    def calls(self) -> list[str]:
        return self.calls_file.read_text().splitlines()


@pytest.fixture
def checkout(tmp_path: Path) -> Checkout:
    return Checkout(tmp_path)


def test_setup_installs_only_what_is_missing_and_builds(checkout: Checkout):
    run = checkout.run("setup", MISSING="python3-numpy g++")
    assert run.returncode == 0, run.stderr
    update, question, install, *meanwhile = checkout.calls()
    assert update.endswith("update")
    assert "--assume-no" in question and question.endswith("install g++ python3-numpy")
    assert "--yes" in install and install.endswith("install g++")
    # What the build does not wait for comes beside it.
    beside, configure, build = sorted(meanwhile)
    assert "--yes" in beside and beside.endswith("install python3-numpy")
    assert configure.startswith("cmake") and configure.endswith("release")
    assert "-DORBITRAX_TESTS=OFF" in configure
    assert build.startswith("ninja")


def test_setup_for_developers_installs_everything_before_it_builds(checkout: Checkout):
    assert checkout.run("setup", "--develop", MISSING="libgtest-dev g++").returncode == 0
    kinds = [call.split()[0] for call in checkout.calls()]
    assert kinds == ["apt-get", "apt-get", "apt-get", "cmake", "ninja"]
    assert checkout.calls()[2].endswith("install g++ libgtest-dev")


@pytest.mark.parametrize("missing", ["g++", "python3-numpy"])
def test_setup_fails_when_a_package_cannot_be_had(checkout: Checkout, missing: str):
    run = checkout.run("setup", MISSING=missing, OFFLINE="yes")
    assert run.returncode == 1
    assert f"could not install: {missing}" in run.stderr
    assert "ready" not in run.stdout


def test_setup_waits_for_apt_when_the_build_fails(checkout: Checkout):
    """The installation beside the build goes on until the build has failed, and then some."""
    (checkout.programs / "apt-get").write_text(
        '#!/bin/sh\ncase "$*" in *--yes*) ;; *) exit 0 ;; esac\n'
        'until [ -e "$CALLS.failed" ]; do sleep 0.01; done; sleep 0.3; touch "$CALLS.whole"\n')
    (checkout.programs / "ninja").write_text('#!/bin/sh\ntouch "$CALLS.failed"; exit 1\n')
    run = checkout.run("setup", MISSING="python3-numpy")
    assert run.returncode == 1
    assert "must not be broken off" in run.stderr
    assert Path(f"{checkout.calls_file}.whole").exists()


def test_setup_takes_more_packages_only_when_asked(checkout: Checkout):
    missing = "python3-rdkit libgtest-dev"
    assert "no package is missing" in checkout.run("setup", "--dry-run", MISSING=missing).stdout
    said = checkout.run("setup", "--extras", "--dry-run", MISSING=missing).stdout
    assert "would install: python3-rdkit\n" in said
    said = checkout.run("setup", "--develop", "--dry-run", MISSING=missing).stdout
    assert f"would install: {missing}\n" in said


def test_a_build_without_tests_is_configured_again_for_developers(checkout: Checkout):
    assert checkout.run("setup").returncode == 0
    cache = checkout.top / "build" / "release" / "CMakeCache.txt"
    cache.write_text(cache.read_text() + "ORBITRAX_TESTS:BOOL=OFF\n")
    checkout.run("setup")
    assert not any(call.startswith("cmake") for call in checkout.calls())
    checkout.run("setup", "--develop")
    configure, _ = checkout.calls()
    assert configure.startswith("cmake") and "OFF" not in configure


def test_setup_says_what_it_will_fetch_and_keeps_the_words_of_apt_in_a_file(checkout: Checkout):
    (checkout.programs / "apt-get").write_text(
        "#!/bin/sh\necho 'Need to get 12.5 MB of archives.'\n"
        "echo 'After this operation, 101 MB of additional disk space will be used.'\n")
    run = checkout.run("setup", MISSING="cmake")
    assert "will fetch 12.5 MB, which fill 101 MB" in run.stdout
    assert "additional" not in run.stdout
    assert "additional" in (checkout.top / "build" / "setup.log").read_text()


def without_rights(*command: str) -> list[str]:
    """A command as someone who may write to nobody's files but his own."""
    if os.getuid() != 0:
        return list(command)
    return ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", *command]


@pytest.fixture
def open_checkout() -> Iterator[Checkout]:
    """One that other users can read; pytest closes its own folders to them whenever it starts."""
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        folder.chmod(0o755)
        yield Checkout(folder)


def test_a_backend_in_a_folder_of_others_is_run_as_it_is(open_checkout: Checkout):
    """Its sources may be newer: only who owns the checkout can build."""
    checkout = open_checkout
    checkout.run("setup")
    (checkout.top / "build" / "release" / "qsolve").chmod(0o755)
    later = time.time() + 5
    os.utime(checkout.top / "src" / "a.cpp", (later, later))
    folders = [checkout.top / "build", checkout.top / "build" / "release"]
    for folder in folders:
        folder.chmod(0o555)
    try:
        run = subprocess.run(
            without_rights(str(checkout.top / "orbitrax"), "methods"), cwd="/", timeout=60,
            env={"PATH": f"{checkout.programs}:/usr/bin:/bin", "CALLS": "/dev/null"},
            capture_output=True, text=True)
    finally:
        for folder in folders:
            folder.chmod(0o755)
    assert (run.returncode, run.stdout) == (0, "ran ['methods']\n"), run.stderr
    assert "you may not write to build/release" in run.stderr


def test_an_installed_copy_never_builds(checkout: Checkout):
    checkout.run("setup")
    (checkout.top / "setup").unlink()
    shutil.rmtree(checkout.top / "build")
    shutil.rmtree(checkout.top / "src")
    launch = checkout.top / "python" / "launch.py"
    run = subprocess.run(["/usr/bin/python3", "-SP", str(launch), "methods"], capture_output=True,
                         text=True, timeout=60)
    assert (run.stdout, run.stderr) == ("ran ['methods']\n", "")


def test_setup_a_second_time_only_asks_whether_the_build_is_current(checkout: Checkout):
    checkout.run("setup")
    run = checkout.run("setup")
    assert run.returncode == 0
    assert [call.split()[0] for call in checkout.calls()] == ["ninja"]


def test_setup_configures_a_checkout_that_has_moved_afresh(checkout: Checkout):
    checkout.run("setup")
    moved = checkout.top.parent / "moved"
    checkout.top.rename(moved)
    checkout.top = moved
    checkout.run("setup")
    assert [call.split()[0] for call in checkout.calls()] == ["cmake", "ninja"]


def test_setup_uses_sudo_where_it_is_not_root(checkout: Checkout):
    run = checkout.run("setup", MISSING="cmake", WHO="1000")
    assert run.returncode == 0
    assert checkout.calls()[0].startswith("sudo")


def test_setup_without_root_or_sudo_says_the_command(checkout: Checkout):
    (checkout.programs / "sudo").unlink()
    bare = checkout.programs.parent / "bare"
    bare.mkdir()
    for tool in ("bash", "env", "awk", "dirname", "readlink", "mkdir", "flock", "cat"):
        (bare / tool).symlink_to(shutil.which(tool) or "")
    path = f"{checkout.programs}:{bare}"
    run = checkout.run("setup", MISSING="cmake", WHO="1000", PATH=path)
    assert run.returncode == 1
    assert "apt-get install --yes --no-install-recommends cmake" in run.stderr
    assert checkout.calls() == []


def test_setup_offline_says_what_failed_and_what_to_do(checkout: Checkout):
    run = checkout.run("setup", MISSING="cmake", OFFLINE="yes")
    assert run.returncode == 1
    assert "could not install: cmake" in run.stderr
    assert "./setup again" in run.stderr
    assert not any(call.startswith("ninja") for call in checkout.calls())


def test_setup_ends_with_status_1_when_the_build_fails(checkout: Checkout):
    assert checkout.run("setup", NO_BUILD="yes").returncode == 1
    assert checkout.run("setup", NO_BUILD="").returncode == 0


def test_setup_dry_run_does_nothing(checkout: Checkout):
    run = checkout.run("setup", "--dry-run", MISSING="cmake")
    assert run.returncode == 0 and "would install: cmake" in run.stdout
    assert checkout.calls() == [] and not (checkout.top / "build").exists()


def test_setup_takes_what_windows_needs_only_when_asked(checkout: Checkout):
    assert checkout.run("setup", MISSING="wine wine64 g++-mingw-w64-x86-64-posix").returncode == 0
    assert not any("apt-get" in call or "windows" in call for call in checkout.calls())
    run = checkout.run("setup", "--windows", MISSING="wine wine64 g++-mingw-w64-x86-64-posix cmake")
    assert run.returncode == 0, run.stderr
    _, _, first, *meanwhile, configure, windows = checkout.calls()
    install, release = sorted(meanwhile)
    assert first.endswith("install cmake")
    assert install.endswith("install g++-mingw-w64-x86-64-posix wine64 wine")
    assert release.startswith("ninja") and "build/release" in release
    assert configure.startswith("cmake") and configure.endswith("windows")
    assert windows.startswith("ninja") and "build/windows" in windows and windows.endswith("all")
    checkout.run("setup", "--windows")
    assert [call.split()[0] for call in checkout.calls()] == ["ninja", "ninja"]


def test_setup_for_windows_dry_run_does_nothing(checkout: Checkout):
    run = checkout.run("setup", "--windows", "--dry-run", MISSING="wine64")
    assert run.returncode == 0 and "would install: wine64" in run.stdout
    assert "build/windows" in run.stdout
    assert "build/windows" not in checkout.run("setup", "--dry-run").stdout
    assert checkout.calls() == [] and not (checkout.top / "build").exists()


@pytest.mark.parametrize("launcher", ["setup", "test"])
def test_an_unknown_option_is_refused_and_help_is_given(checkout: Checkout, launcher: str):
    run = checkout.run(launcher, "--no-such-thing")
    assert run.returncode == 2 and "--no-such-thing" in run.stderr
    run = checkout.run(launcher, "--help")
    assert run.returncode == 0 and run.stdout.startswith(f"Usage: ./{launcher}")
    assert checkout.calls() == []


def test_the_command_line_sets_up_once_and_keeps_standard_output_clean(checkout: Checkout):
    run = checkout.run("orbitrax", "energy", "a b.xyz")
    assert run.returncode == 0, run.stderr
    assert run.stdout == "ran ['energy', 'a b.xyz']\n"
    assert "not built yet; running ./setup" in run.stderr
    run = checkout.run("orbitrax", "methods")
    assert run.stdout == "ran ['methods']\n" and run.stderr == ""
    assert checkout.calls() == []


def test_the_command_line_builds_anew_when_a_source_is_newer(checkout: Checkout):
    checkout.run("orbitrax")
    later = time.time() + 5
    os.utime(checkout.top / "src" / "a.cpp", (later, later))
    run = checkout.run("orbitrax")
    assert "older than its sources" in run.stderr
    assert any(call.startswith("ninja") for call in checkout.calls())


def test_the_command_line_ends_when_the_set_up_fails(checkout: Checkout):
    run = checkout.run("orbitrax", "methods", NO_BUILD="yes")
    assert run.returncode == 1 and run.stdout == ""


def test_the_command_line_runs_through_a_link_and_from_its_own_folder(checkout: Checkout):
    checkout.run("setup")
    link = checkout.top.parent / "short"
    link.symlink_to(checkout.top / "orbitrax")
    for command in ([str(link)], ["sh", "orbitrax"], ["./orbitrax"]):
        run = subprocess.run(command, cwd=checkout.top, capture_output=True, text=True, timeout=60)
        assert run.stdout == "ran []\n", run.stderr


def test_a_file_of_the_current_folder_is_not_taken_for_a_module(checkout: Checkout):
    checkout.run("setup")
    folder = checkout.top.parent / "elsewhere"
    folder.mkdir()
    (folder / "numbers.py").write_text("print('taken')\n")
    assert checkout.run("orbitrax", cwd=folder).stdout == "ran []\n"


def test_the_command_line_builds_anew_when_the_build_file_is_newer(checkout: Checkout):
    checkout.run("orbitrax")
    later = time.time() + 5
    os.utime(checkout.top / "CMakeLists.txt", (later, later))
    assert "older than its sources" in checkout.run("orbitrax").stderr


def test_the_command_line_brings_in_packages_when_they_are_asked_for(checkout: Checkout):
    """Without `site` the folder of Debian's packages is not looked into at first."""
    checkout.run("setup")
    main = ("import sys\ndef entry():\n    before = 'site' in sys.modules\n    import numpy\n"
            "    print(before, 'site' in sys.modules, numpy.arange(2).sum())\n"
            "    try:\n        import no_such_module\n    except ImportError as error:\n"
            "        print(error)\n")
    (checkout.top / "python" / "orbitrax" / "cli.py").write_text(main)
    said = checkout.run("orbitrax").stdout
    assert said == "False True 1\nNo module named 'no_such_module'\n"


def test_the_command_line_starts_no_program_but_the_interpreter(checkout: Checkout):
    checkout.run("setup")
    for name in ("dirname", "readlink", "find", "stat", "env", "bash"):
        (checkout.programs / name).write_text(f"#!/bin/sh\necho {name} >>\"$CALLS\"\n")
        (checkout.programs / name).chmod(0o755)
    run = checkout.run("orbitrax", "methods")
    assert run.stdout == "ran ['methods']\n" and checkout.calls() == []


def test_a_failed_set_up_is_a_failed_test_run_with_its_summary_last(checkout: Checkout):
    run = checkout.run("test", NO_BUILD="yes")
    assert run.returncode == 1
    assert run.stdout.splitlines()[-1] == "0 passed, 1 failed, 0 skipped"


def test_tests_for_windows_set_up_for_windows(checkout: Checkout):
    run = checkout.run("test", "--windows", MISSING="wine64", OFFLINE="yes")
    assert run.returncode == 1 and "could not install: wine64" in run.stderr
    assert run.stdout.splitlines()[-1] == "0 passed, 1 failed, 0 skipped"
    checkout.run("test", MISSING="wine64", NO_BUILD="yes")
    assert not any("apt-get" in call for call in checkout.calls())


def page_of(checkout: Checkout) -> Path:
    """Gives a checkout sources of the page, and stand-ins that fetch and bundle."""
    sources = checkout.top / "python" / "orbitrax" / "serve" / "page"
    sources.mkdir(parents=True)
    for name in ("package.json", "package-lock.json", "main.js", "build.mjs"):
        (sources / name).write_text("1")
    bodies = {"npm": 'echo "npm $*" >>"$CALLS"; [ -z "$OFFLINE" ]',
              "node": 'echo "node" >>"$CALLS"; mkdir -p "$4"; touch "$4/page.js"'}
    for name, body in bodies.items():
        (checkout.programs / name).write_text(f"#!/bin/sh\n{body}\n")
        (checkout.programs / name).chmod(0o755)
    return sources


def test_the_page_is_fetched_and_bundled_once_and_again_when_a_source_is_newer(checkout: Checkout):
    sources = page_of(checkout)
    assert checkout.run("setup", "--page").returncode == 0
    assert [call.split()[:2] for call in checkout.calls()[-2:]] == [["npm", "ci"], ["node"]]
    checkout.run("setup", "--page")
    assert not any(call.startswith(("npm", "node")) for call in checkout.calls())
    later = time.time() + 5
    os.utime(sources / "main.js", (later, later))
    run = checkout.run("orbitrax", "serve")
    assert "running ./setup --page" in run.stderr and run.stdout == "ran ['serve']\n"
    assert checkout.calls()[-1] == "node" and not any("npm" in one for one in checkout.calls())
    (sources / "package-lock.json").write_text("2")
    os.utime(sources / "package-lock.json", (later + 5, later + 5))
    checkout.run("setup", "--page")
    assert any(call.startswith("npm ci") for call in checkout.calls())


def test_a_page_that_cannot_be_fetched_says_what_to_do(checkout: Checkout):
    page_of(checkout)
    run = checkout.run("setup", "--page", OFFLINE="yes")
    assert run.returncode == 1 and "run ./setup --page again" in run.stderr
    assert not any(call.startswith("node") for call in checkout.calls())
