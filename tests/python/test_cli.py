"""The command line as a user meets it: every run is a process of its own."""

import json
import os
import pty
import re
import signal
import subprocess
import sys
import time

import pytest
from support import ROOT, kept

from orbitrax.errors import UsageError
from orbitrax.molecules.selection import parse_selection

pytestmark = pytest.mark.timeout(60)

KEYS = ("schema version task method charge multiplicity spin symbols masses coordinates_angstrom "
        "total_energy electronic_energy core_energy binding_energy isolated_atomic_energy "
        "heat_of_formation gradient rms_gradient dipole_debye charges orbital_energies_ev "
         "occupancies gap_ev spin_squared spin_populations bond_orders valences "
         "orbital_symmetries point_group converged cycles energy_points scf_iterations "
         "final_scf_difference scf_runs scf_unconverged log status warnings errors remarks "
         "wall_seconds").split()
WATER = "examples/water.xyz"
ENVIRONMENT = {**os.environ, "PYTHONPATH": str(ROOT / "python")}


def orbitrax(*arguments, **options):
    options.setdefault("env", ENVIRONMENT)
    return subprocess.run([sys.executable, "-m", "orbitrax", *map(str, arguments)], cwd=ROOT,
                          capture_output=True, text=True, timeout=30, **options)


def document(done):
    """The one JSON document on standard output."""
    found = json.loads(done.stdout, parse_constant=lambda name: pytest.fail(f"{name} in JSON"))
    assert sorted(found) == sorted(KEYS)
    assert found["schema"] == "orbitrax-result-1"
    return found


# ---- results ------------------------------------------------------------------------------------


def test_the_summary_names_energies_with_their_units(make_peer):
    done = orbitrax("energy", WATER, "-m", "am1", "--backend", make_peer())
    assert (done.returncode, done.stderr) == (0, "")
    assert done.stdout.startswith("H2O, 3 atoms, AM1 RHF, charge 0, multiplicity 1\n")
    for line in ("Total energy                     -300.750000 kcal/mol  (-0.47926606 hartree)",
                 "Heat of formation                 -57.750000 kcal/mol",
                 "Dipole moment                       2.291288 Debye  "
                 "(x 0.5000, y 1.0000, z 2.0000)",
                 "SOMO                               -9.500000 eV",
                 "LUMO                               -8.500000 eV",
                 "    1 O        1.000000"):
        assert line in done.stdout.splitlines(), line


def test_json_is_one_document_with_every_key(make_peer):
    done = orbitrax("energy", WATER, "-m", "pm3", "--json", "--backend",
                    make_peer(texts=[(9994, "a"), (9994, "b"), (9996, "careful")]))
    assert done.returncode == 0 and done.stderr == "orbitrax: warning: careful\n"
    found = document(done)
    assert found["task"] == "energy" and found["method"] == "pm3" and found["status"] == "done"
    assert found["total_energy"] == -300.75 + 1e-9 and found["charges"] == [1.0, 0.125, 0.125]
    assert found["dipole_debye"] == [0.5, 1.0, 2.0, 2.291288]
    assert found["symbols"] == ["O", "H", "H"] and found["spin"] == "RHF"
    assert found["coordinates_angstrom"][1] == [0.0, 0.763239, -0.477047]
    assert found["log"] == "a\nb" and found["warnings"] == ["careful"] and found["errors"] == []
    assert found["gradient"] is None and found["rms_gradient"] is None


def test_the_log_stands_on_standard_output_untouched(make_peer):
    lines = ["", "  Total Energy   = 1  ", "\tline\nwith a break", "\xe5ngstr\xf6m"]
    done = orbitrax("energy", WATER, "-m", "am1", "--log", "--backend",
                    make_peer(texts=[(9994, line) for line in lines]))
    assert done.stdout == "".join(line + "\n" for line in lines)


def test_quiet_prints_nothing(make_peer):
    done = orbitrax("energy", WATER, "-m", "am1", "-q", "--backend",
                    make_peer(texts=[(9996, "careful")]))
    assert (done.returncode, done.stdout, done.stderr) == (0, "", "")


def test_output_goes_to_a_file_and_replaces_it_whole(make_peer, tmp_path):
    path = tmp_path / "result.json"
    path.write_text("old")
    done = orbitrax("energy", WATER, "-m", "am1", "--json", "-o", path, "--backend", make_peer())
    assert (done.returncode, done.stdout) == (0, "")
    assert json.loads(path.read_text())["status"] == "done"
    assert sorted(p.name for p in tmp_path.iterdir() if p.name.startswith(".")) == []
    assert orbitrax("energy", WATER, "-m", "am1", "-o", "/dev/null", "--backend",
                    make_peer()).returncode == 0


def test_the_backend_is_taken_from_the_environment(make_peer):
    done = orbitrax("energy", WATER, "-m", "am1", "--json",
                    env={**ENVIRONMENT, "ORBITRAX_QSOLVE": str(make_peer())})
    assert document(done)["status"] == "done"


@pytest.mark.parametrize("molecules", [[WATER], [WATER, WATER]], ids=["one", "several"])
@pytest.mark.parametrize("typed, seen", [([], "3"), (["--threads", "2"], "2")])
def test_the_backend_learns_how_many_processors_it_may_use(tmp_path, molecules, typed, seen):
    program = tmp_path / "backend"
    program.write_text(f"#!/bin/sh\necho $ORBITRAX_THREADS >> {tmp_path}/seen\n"
                       f"exec {ROOT}/build/release/qsolve \"$@\"\n")
    program.chmod(0o755)
    done = orbitrax("energy", *molecules, "-m", "am1", "--backend", str(program), *typed,
                    env={**ENVIRONMENT, "ORBITRAX_THREADS": "3"})
    assert done.returncode == 0, done.stderr
    assert (tmp_path / "seen").read_text().split() == [seen]


def test_a_molecule_comes_from_standard_input(make_peer):
    text = (ROOT / WATER).read_text()
    done = orbitrax("energy", "-", "-m", "am1", "--backend", make_peer(), input=text)
    assert done.returncode == 0 and done.stdout.startswith("H2O, 3 atoms")


def test_options_reach_the_job(make_peer):
    done = orbitrax("energy", WATER, "-m", "mndo", "-c", "1", "-s", "2", "--uhf", "--json",
                    "--backend", make_peer(unrestricted=True, eigenvectors=True))
    found = document(done)
    assert (found["charge"], found["multiplicity"], found["spin"]) == (1, 2, "UHF")
    assert len(found["orbital_energies_ev"]) == 8


def test_a_selection_without_charges_is_remarked(make_peer):
    done = orbitrax("energy", "examples/ethanol.xyz", "-m", "am1", "--select", "1-3,5", "--backend",
                    make_peer())
    assert done.returncode == 0 and "carry no charges" in done.stderr


# ---- failures -----------------------------------------------------------------------------------


@pytest.mark.parametrize("results", ["refusal", "late refusal"])
def test_a_refusal_is_told_with_the_words_of_the_backend(make_peer, results):
    script, status = make_peer(results=results), 2 if results == "refusal" else 1
    done = orbitrax("energy", WATER, "-m", "am1", "--backend", script)
    assert (done.returncode, done.stdout) == (status, "")
    assert done.stderr == "orbitrax: error: Sorry, this is refused (42).\n"
    done = orbitrax("energy", WATER, "-m", "am1", "--json", "--backend", script)
    found = document(done)
    assert done.returncode == status and found["errors"] == ["Sorry, this is refused (42)."]
    assert found["status"] == ("refused" if results == "refusal" else "failed")
    assert found["total_energy"] is None and found["symbols"] == ["O", "H", "H"]


def test_unconverged_is_status_1_unless_allowed(make_peer):
    script = make_peer(iterations=30, difference=0.25)
    common = ("energy", WATER, "-m", "am1", "--scf-iterations", "30", "--backend", script)
    done = orbitrax(*common)
    assert done.returncode == 1 and "NOT CONVERGED, 30 iterations" in done.stdout
    assert "last difference 0.25000 kcal/mol, limit 1e-06" in done.stderr
    assert "--no-diis" in done.stderr
    found = document(orbitrax(*common, "--json"))
    assert found["status"] == "unconverged" and found["converged"] is False
    assert found["final_scf_difference"] == 0.25 and found["total_energy"] < 0
    assert orbitrax(*common, "--allow-unconverged").returncode == 0


@pytest.mark.parametrize("fault", ["kill", "garbage", "exit"])
def test_a_backend_that_breaks_is_status_3_and_valid_json(make_peer, fault):
    done = orbitrax("energy", WATER, "-m", "am1", "--json", "--backend",
                    make_peer(at=9, fault=fault))
    assert done.returncode == 3
    found = document(done)
    assert found["status"] == "failed" and done.stderr.count("\n") == 1
    assert found["symbols"] == ["O", "H", "H"] and found["wall_seconds"] > 0


def test_a_time_limit_is_kept(make_peer):
    began = time.monotonic()
    done = orbitrax("energy", WATER, "-m", "am1", "--time-limit", "0.5", "--backend",
                    make_peer(at=9, fault="silence"))
    assert done.returncode == 1 and "time limit" in done.stderr
    kept("a limit of 0.5 s", began, 1.0)


def test_a_number_that_is_not_finite_never_gets_into_json(make_peer):
    done = orbitrax("energy", WATER, "-m", "am1", "--json", "--backend",
                    make_peer(energy=float("nan")))
    assert done.returncode == 1 and document(done)["status"] == "failed"


@pytest.mark.parametrize("arguments,words", [
    (("energy", WATER, "-m", "am1", "--frobnicate"), "--frobnicate"),
    (("energy", WATER, "-m", "am1", "--cha", "1"), "--cha"),
    (("energy", WATER), "-m/--method"),
    (("energy", WATER, "-m", "dft"), "there is no method 'dft'"),
    (("energy", "none.xyz", "-m", "am1"), "none.xyz: there is no such file"),
    (("energy", "-m", "am1"), "a molecule is needed"),
    (("energy", WATER, "--smiles", "C", "-m", "am1"), "not both"),
    (("energy", WATER, "-m", "am1", "-c", "one"), "invalid int value"),
    (("energy", WATER, "-m", "am1", "-s", "0"), "multiplicity 0"),
    (("energy", WATER, "-m", "am1", "--select", "1-x"), "'1-x' is neither"),
    (("energy", WATER, "-m", "am1", "--select", "7"), "no atom 7"),
    (("energy", WATER, "-m", "am1", "--select", ""), "'' is neither"),
    (("energy", WATER, "-m", "am1", "--time-limit", "-1"), "should be above 0"),
    (("energy", WATER, "-m", "am1", "-o", "no/such/folder/x"), "no file can be written"),
    (("nonsense",), "nonsense"),
    ((), "usage"),
])
def test_wrong_usage_is_status_2_and_says_why(arguments, words):
    done = orbitrax(*arguments)
    assert (done.returncode, done.stdout) == (2, "") and words in done.stderr
    assert "Traceback" not in done.stderr


def test_wrong_usage_gives_a_program_its_document():
    for arguments, words in (
            (("energy", WATER, "--json", "-m", "am1", "--frobnicate"), "--frobnicate"),
            (("energy", WATER, "-m", "am1", "--json", "--log"), "not allowed with"),
            (("energy", "none.xyz", "-m", "am1", "--json"), "no such file")):
        done = orbitrax(*arguments)
        found = document(done)
        assert done.returncode == 2 and found["status"] == "failed"
        assert words in found["errors"][0] and words in done.stderr


def test_a_missing_backend_says_what_to_do(tmp_path):
    done = orbitrax("energy", WATER, "-m", "am1", "--backend", tmp_path / "none")
    assert done.returncode == 3 and "is not a program" in done.stderr


def test_a_broken_table_is_placed(tmp_path, make_peer):
    for path in (ROOT / "parameters").glob("am1_*.abp"):
        (tmp_path / path.name).write_text(path.read_text().replace("-11.3964270", "-11,3964270", 1))
    done = orbitrax("energy", WATER, "-m", "am1", "--tables", tmp_path, "--backend", make_peer())
    assert done.returncode == 3 and "am1_1.abp:" in done.stderr and "dUss" in done.stderr


# ---- signals, terminals, start ------------------------------------------------------------------


@pytest.mark.parametrize("json_wanted", [False, True])
def test_ctrl_c_is_status_130_and_leaves_no_process(make_peer, json_wanted):
    script = make_peer(at=9, fault="silence")
    run = subprocess.Popen([sys.executable, "-m", "orbitrax", "energy", WATER, "-m", "am1",
                            "--backend", str(script)] + ["--json"] * json_wanted, cwd=ROOT,
                           env=ENVIRONMENT, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                           text=True)
    deadline = time.monotonic() + 10
    while not os.path.exists(f"{script}.record") and time.monotonic() < deadline:
        time.sleep(0.02)
    time.sleep(0.2)
    with open(f"/proc/{run.pid}/task/{run.pid}/children", encoding="ascii") as file:
        child = int(file.read().split()[0])
    run.send_signal(signal.SIGINT)
    output, errors = run.communicate(timeout=10)
    assert run.returncode == 130 and errors == "orbitrax: error: interrupted\n"
    assert not os.path.exists(f"/proc/{child}")
    if json_wanted:
        assert json.loads(output)["status"] == "interrupted"


def test_a_closed_pipe_ends_the_output_silently(make_peer):
    texts = [(9994, "x" * 1000)] * 300
    run = subprocess.Popen([sys.executable, "-m", "orbitrax", "energy", WATER, "-m", "am1", "--log",
                            "--backend", str(make_peer(texts=texts))], cwd=ROOT, env=ENVIRONMENT,
                           stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    run.stdout.read(10)
    run.stdout.close()
    errors = run.stderr.read()
    run.stderr.close()
    assert run.wait(10) == 141 and errors == b""


def test_a_full_disk_is_an_error_of_one_line(make_peer):
    with open("/dev/full", "w", encoding="utf-8") as full:
        run = subprocess.run([sys.executable, "-m", "orbitrax", "energy", WATER, "-m", "am1",
                              "--backend", str(make_peer())], cwd=ROOT, env=ENVIRONMENT,
                             stdout=full, stderr=subprocess.PIPE, text=True, timeout=30)
    assert run.returncode == 3
    assert run.stderr == "orbitrax: error: standard output: No space left on device\n"


def test_text_that_the_terminal_cannot_show_is_escaped(make_peer):
    done = orbitrax("energy", WATER, "-m", "am1", "--log", "--backend",
                    make_peer(texts=[(9994, "\xe5ngstr\xf6m")]),
                    env={**ENVIRONMENT, "PYTHONIOENCODING": "ascii"})
    assert (done.returncode, done.stdout) == (0, "\\xe5ngstr\\xf6m\n")


def test_closed_input_is_no_molecule():
    done = subprocess.run(f"exec {sys.executable} -m orbitrax energy - -m am1 <&-", shell=True,
                          cwd=ROOT, env=ENVIRONMENT, capture_output=True, text=True, timeout=30,
                          check=False)
    assert (done.returncode, done.stdout) == (2, "")
    assert done.stderr == ("orbitrax: error: - reads a molecule from standard input, which is "
                           "closed\n")


def test_an_element_that_does_not_exist_is_named(tmp_path):
    (tmp_path / "a.xyz").write_text("1\n\nQq 0 0 0\n")
    done = orbitrax("energy", tmp_path / "a.xyz", "-m", "am1")
    assert done.returncode == 2 and "there is no element 'Qq'" in done.stderr


def test_one_atom_and_one_iteration_are_not_plural(tmp_path):
    (tmp_path / "h.xyz").write_text("1\n\nH 0 0 0\n")
    done = orbitrax("energy", tmp_path / "h.xyz", "-m", "am1", "-c", "1")
    assert done.returncode == 0, done.stderr
    assert done.stdout.startswith("H, 1 atom, AM1 RHF, charge 1, multiplicity 1\n")
    assert "converged, 1 iteration\n" in done.stdout


def test_closed_output_does_not_matter(make_peer):
    command = f"exec {sys.executable} -m orbitrax energy {WATER} -m am1 --backend {make_peer()} >&-"
    done = subprocess.run(command, shell=True, cwd=ROOT, env=ENVIRONMENT, stderr=subprocess.PIPE,
                          text=True, timeout=30, check=False)
    assert (done.returncode, done.stderr) == (0, "")


def on_terminal(arguments, **environment):
    """What a run writes to standard error when that is a terminal."""
    ours, theirs = pty.openpty()
    run = subprocess.Popen([sys.executable, "-m", "orbitrax", *map(str, arguments)], cwd=ROOT,
                           env={**ENVIRONMENT, "TERM": "xterm", **environment},
                           stdout=subprocess.PIPE, stderr=theirs)
    os.close(theirs)
    data = b""
    while True:
        try:
            part = os.read(ours, 4096)
        except OSError:
            break
        if not part:
            break
        data += part
    run.stdout.close()
    run.wait(10)
    os.close(ours)
    return data.decode()


def test_progress_is_for_terminals_only(make_peer):
    arguments = ("energy", WATER, "-m", "am1", "--backend", make_peer())
    assert "Iteration = 7" in on_terminal(arguments)
    assert on_terminal((*arguments, "-q")) == ""
    assert orbitrax(*arguments).stderr == ""


def test_a_search_shows_one_energy_and_one_live_line():
    """Rows and the line below them tell the same energies, and a row moves the line down in one
    piece instead of taking it away."""
    for optimizer in ("quasi-newton", "polak-ribiere"):
        shown = on_terminal(("optimize", "examples/ethanol.xyz", "-m", "am1", "--optimizer",
                             optimizer), COLUMNS="80")
        rows = re.findall(r"\r +(\d+) +\d+ +(-\d+\.\d+) +(-?\d+\.\d+) +\d+\.\d+\x1b\[K\r?\n",
                          shown)
        first = float(rows[0][1]) - float(rows[0][2])
        assert len(rows) >= 4
        assert all(abs(float(energy) - first - float(change)) < 2e-5 for _, energy, change in rows)
        told = dict(re.findall(r"cycle (\d+): ([+-]\d+\.\d+) kcal/mol, gradient", shown))
        assert told and all(abs(float(told[cycle]) - float(change)) < 1e-4
                            for cycle, _, change in rows if cycle in told)
        assert "E=-" not in shown and "Conv=" not in shown
        assert "\r\x1b[K\r\n" not in shown and shown.count("\r\x1b[K") == 1  # at the end


def test_a_large_calculation_says_what_it_takes(make_peer, monkeypatch):
    from orbitrax import memory

    assert memory.forecast([6] * 374) is None  # 1496 orbitals
    assert memory.forecast([6] * 750).startswith("3000 orbitals take about 0.6 GB of memory and "
                                                 "some 9 s an SCF cycle")
    assert "some 80 s" in memory.forecast([6] * 1500)  # of twice as many eight times as much
    arguments = ("energy", WATER, "-m", "am1", "--backend", make_peer())
    assert "s a cycle" not in on_terminal(arguments)


def test_colour_is_for_terminals_and_can_be_refused(make_peer):
    arguments = ("energy", WATER, "-m", "am1", "--backend", make_peer(results="refusal"))
    environment = {key: value for key, value in ENVIRONMENT.items() if key != "NO_COLOR"}
    assert "\x1b[31;1merror" in on_terminal(arguments, NO_COLOR="")
    assert "\x1b[31" not in on_terminal(arguments, NO_COLOR="1")
    assert "\x1b[31" not in on_terminal((*arguments, "--color", "never"), NO_COLOR="")
    done = orbitrax(*arguments, "--color", "always", env=environment)
    assert "\x1b[31;1merror" in done.stderr


def test_help_and_version_are_on_standard_output():
    version = orbitrax("--version").stdout
    assert version.startswith("orbitrax 0.1.0\n") and "qsolve 0.1.0" in version
    for arguments in (("--help",), ("energy", "--help"), ("methods", "--help")):
        done = orbitrax(*arguments)
        assert (done.returncode, done.stderr) == (0, "") and "usage: orbitrax" in done.stdout
    assert "orbitrax energy examples/water.xyz -m am1" in orbitrax("--help").stdout


@pytest.mark.parametrize("arguments,absent", [
    (("--version",), {"numpy", "ase", "rich"}), (("--help",), {"numpy", "ase", "rich"}),
    (("methods",), {"ase", "rich"}),
])
def test_what_does_not_need_a_library_does_not_load_it(arguments, absent):
    program = (f"import sys\nfrom orbitrax.cli import main\nmain({list(arguments)!r})\n"
               f"loaded = {absent!r} & set(sys.modules)\nassert not loaded, loaded")
    subprocess.run([sys.executable, "-c", program], env=ENVIRONMENT, check=True, cwd=ROOT,
                   stdout=subprocess.DEVNULL)


def test_methods_lists_elements_and_sources():
    done = orbitrax("methods")
    assert done.returncode == 0
    for text in ("zindos  ZINDO/S", "H Li Be B C N O F Na Mg Al Si P S Cl", "capping   H-Ar",
                 "J. Am. Chem. Soc. 107, 3902 (1985)"):
        assert text in done.stdout, text


@pytest.mark.parametrize("text,numbers", [
    ("3", [3]), ("1-4,7", [1, 2, 3, 4, 7]), (" 2 , 5-5", [2, 5])])
def test_selections_are_lists_of_numbers_and_ranges(text, numbers):
    assert list(parse_selection(text)) == numbers


@pytest.mark.parametrize("text", ["", "a", "1-", "-3", "4-2", "1,,2", "1-99999999"])
def test_other_selections_are_refused(text):
    with pytest.raises(UsageError):
        parse_selection(text)
