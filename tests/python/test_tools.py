"""compare, scan, convert, cite, explain, schema and several molecules at the command line."""

import json
import os
import signal
import subprocess
import sys

import pytest
from support import ROOT

from orbitrax import read_molecule

ENVIRONMENT = {**os.environ, "PYTHONPATH": str(ROOT / "python"), "NO_COLOR": "1"}
WATER, NO2, ETHANOL = (f"examples/{name}.xyz" for name in
                       ("water", "nitrogen_dioxide", "ethanol"))


def orbitrax(*arguments, given=None):
    return subprocess.run([sys.executable, "-m", "orbitrax", *map(str, arguments)], cwd=ROOT,
                          capture_output=True, text=True, timeout=100, env=ENVIRONMENT,
                          input=given)


def test_several_molecules_make_a_table_and_the_worst_status(tmp_path):
    done = orbitrax("energy", WATER, NO2, tmp_path / "nope.xyz", "-m", "am1")
    rows = done.stdout.splitlines()[2:]
    assert done.returncode == 2 and len(rows) == 3
    assert "-59.1917" in rows[0] and "-7.3211" in rows[1] and rows[2].endswith("failed")
    assert "no such file" in done.stderr
    lines = orbitrax("energy", WATER, ETHANOL, "-m", "am1", "--json").stdout.splitlines()
    assert [json.loads(line)["source"] for line in lines] == [WATER, ETHANOL]
    assert orbitrax("energy", WATER, NO2, "-m", "am1", "--log").returncode == 2


def test_all_structures_of_a_file_go_through_a_pipe(tmp_path):
    path = tmp_path / "two.xyz"
    path.write_text("2\n\nH 0 0 0\nF 0 0 1\n2\n\nH 0 0 0\nCl 0 0 1.4\n")
    done = orbitrax("optimize", f"{path}@:", "-m", "am1", "-o", "-")
    assert done.returncode == 0 and done.stdout.count("energy=") == 2
    again = orbitrax("energy", "-", "-m", "am1", given=done.stdout)
    assert again.returncode == 0 and again.stdout.startswith("ClH")
    assert "frame 2 of 2" in again.stderr


def test_compare_shows_every_method_that_can(tmp_path):
    done = orbitrax("compare", WATER)
    assert done.returncode == 0 and len(done.stdout.splitlines()) == 13
    iron = orbitrax("compare", "examples/iron_carbonyl.xyz", "-m", "am1,pm3")
    assert iron.returncode == 2 and iron.stdout.count("zindo1, zindos have") == 2
    found = orbitrax("compare", WATER, "-m", "am1,cndo", "--json").stdout.splitlines()
    heats = [json.loads(line)["heat_of_formation"] for line in found]
    assert heats == [pytest.approx(-59.19169), None]


def test_compare_and_scan_tell_what_a_single_point_warns_of(tmp_path):
    """Hydrogen that is pulled apart as a closed shell."""
    path = tmp_path / "h2.xyz"
    path.write_text("2\n\nH 0 0 0\nH 0 0 2.2\n")
    done = orbitrax("compare", path, "-m", "am1", "-m", "mndo,pm3")
    assert [line[-1] for line in done.stdout.splitlines()[4:7]] == ["*", "*", "*"]
    assert "* there are remarks" in done.stdout
    for method in ("am1", "mndo", "pm3"):
        assert f"warning: {method}: the closed shell is unstable" in done.stderr
    scan = ["scan", path, "-m", "am1", "--stretch", "1,2=0.7:2.2:0.5"]
    assert "2 of 4 points, the first at stretch 1-2 1.7: the closed shell is unstable" in (
        orbitrax(*scan).stderr)
    document = json.loads(orbitrax(*scan, "--json").stdout)
    assert [len(one["warnings"]) for one in document["points"]] == [0, 0, 1, 1]
    assert len(document["warnings"]) == 1
    assert json.loads(orbitrax(*scan, "--uhf", "--json").stdout)["warnings"] == []


def test_a_scan_reaches_what_was_asked_and_writes_it(tmp_path):
    path, table, picture = tmp_path / "s.xyz", tmp_path / "s.csv", tmp_path / "s.svg"
    done = orbitrax("scan", ETHANOL, "-m", "am1", "--torsion", "1,2,3,4=180:60:-60", "-o", path,
                    "--csv", table, "--picture", picture, "--json")
    points = json.loads(done.stdout)["points"]
    assert done.returncode == 0 and len(points) == 3
    for point in points:
        assert point["reached"] == pytest.approx(point["asked"], abs=1e-3)
    assert len(table.read_text().splitlines()) == 4 and "<svg" in picture.read_text()
    last = read_molecule(f"{path}@2")
    single = json.loads(orbitrax("energy", f"{path}@2", "-m", "am1", "--json").stdout)
    assert last.formula == "C2H6O"
    assert single["total_energy"] == pytest.approx(points[2]["total_energy"], abs=1e-3)


def test_a_scan_over_two_coordinates_has_all_pairs_side_by_side():
    done = orbitrax("scan", WATER, "-m", "am1", "--stretch", "1,2=0.9:1.0:0.1", "--stretch",
                    "1,3=0.9:1.0:0.1", "--json")
    points = json.loads(done.stdout)["points"]
    assert [point["asked"] for point in points] == [[0.9, 0.9], [0.9, 1.0], [1.0, 1.0], [1.0, 0.9]]
    assert points[1]["total_energy"] == pytest.approx(points[3]["total_energy"], abs=0.01)


def test_a_scan_that_is_ended_keeps_its_points(tmp_path):
    path, table = tmp_path / "s.xyz", tmp_path / "s.csv"
    run = subprocess.Popen([sys.executable, "-m", "orbitrax", "scan", ETHANOL, "-m", "am1",
                            "--torsion", "1,2,3,4=180:-1800:-1", "-o", path, "--csv", table],
                           cwd=ROOT, env=ENVIRONMENT, text=True,
                           stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    for line in run.stdout:
        if line.startswith("    179.0000"):
            break
    run.send_signal(signal.SIGTERM)
    rows, told = run.stdout.read(), run.stderr.read()  # and what the loop has read ahead
    run.wait(timeout=60)
    points = len(table.read_text().splitlines()) - 1
    assert run.returncode in (143, -signal.SIGTERM) and 2 <= points < 1981
    assert f"interrupted after {points} points" in told and len(rows.splitlines()) == points - 2
    assert read_molecule(f"{path}@{points - 1}").formula == "C2H6O"


def test_a_signal_in_the_middle_of_a_write_prints_no_point_twice(tmp_path):
    """What the signal finds in the buffer is printed in the end, and not handed over once more."""
    table = tmp_path / "s.csv"
    program = ("import io, sys\n"
               "from orbitrax.cli import main\n"
               "class Ended(io.TextIOWrapper):\n"
               "    lines = 0\n"
               "    def write(self, text):\n"
               "        self.lines += text.count('\\n')\n"
               "        return super().write(text)\n"
               "    def flush(self):\n"
               "        if self.lines == 5:\n"
               "            self.lines += 1\n"
               "            raise KeyboardInterrupt\n"
               "        super().flush()\n"
               "sys.stdout = Ended(sys.stdout.detach())\n"
               f"sys.exit(main(['scan', '{WATER}', '-m', 'am1', '--stretch', '1,2=0.9:1.2:0.1',\n"
               f"               '--csv', {str(table)!r}]))\n")
    done = subprocess.run([sys.executable, "-c", program], env=ENVIRONMENT, cwd=ROOT, text=True,
                          capture_output=True, timeout=60)
    assert done.returncode in (130, -signal.SIGINT), done.stderr
    assert "interrupted after 2 points" in done.stderr
    rows = done.stdout.splitlines()[3:]
    assert [row.split()[0] for row in rows] == ["0.9000", "1.0000"]
    assert len(table.read_text().splitlines()) == 3


def test_a_scan_with_a_point_that_is_not_converged_is_not_done():
    done = orbitrax("scan", ETHANOL, "-m", "am1", "--torsion", "1,2,3,4=180:120:-60", "--cycles",
                    "1", "--limit", "1e-4", "--json")
    found = json.loads(done.stdout)
    assert done.returncode == 1 and found["status"] == "unconverged"
    assert [point["status"] for point in found["points"]] == ["unconverged"] * 2


@pytest.mark.parametrize("words", [
    [], ["--torsion", "1,2=0:1:1"], ["--stretch", "1,2=1:2:-1"], ["--stretch", "1,9=1:2:1"],
    ["--stretch", "1,2"], ["--stretch", "1,2=1:2:1e-9"]])
def test_a_scan_that_cannot_be_meant_is_refused(words):
    done = orbitrax("scan", WATER, "-m", "am1", *words)
    assert done.returncode == 2 and "Traceback" not in done.stderr


def test_convert_carries_charge_and_multiplicity(tmp_path):
    for name in ("m.mop", "m.gjf", "m.inp", "m.cjson", "m.xyz", "m.pdb"):
        done = orbitrax("convert", NO2, tmp_path / name, "-c", "-1")
        assert done.returncode == 0, name
        assert ("without --charge -1" in done.stderr) == (name == "m.pdb"), done.stderr
        if name != "m.pdb":
            assert read_molecule(tmp_path / name).charge == -1, name
    printed = orbitrax("convert", "CCO", "-", "--to", "mol").stdout
    assert "V2000" in printed
    assert orbitrax("energy", "-", "-m", "am1", given=printed).returncode == 0
    assert orbitrax("convert", "nope.xyz", "-").returncode == 2
    assert orbitrax("convert", NO2, tmp_path / "m.png").returncode == 2


def test_cite_names_the_papers_of_the_elements():
    text = orbitrax("cite", "-m", "am1", "C", "H", "Br", "S").stdout
    assert text.count("@article") == 3 and "{3902}" in text and "Theochem" in text
    assert "parameters of S" in text and "Inorg. Chem." in text
    for method in ("cndo", "indo", "mindo3", "mndo", "pm3", "zindo1", "zindos", "mndod"):
        done = orbitrax("cite", "-m", method, "C", "H")
        assert done.returncode == 0 and "@article" in done.stdout, method


def test_explain_tells_a_stored_result_in_words():
    stored = orbitrax("energy", NO2, "-m", "am1", "--json").stdout
    told = orbitrax("explain", "-", given=stored)
    assert told.returncode == 0 and "Nothing is odd" in told.stdout
    pressed = orbitrax("energy", "-", "-m", "am1", "--json",
                       given="2\n\nN 0 0 0\nN 0 0 0.3\n").stdout
    assert "of a bond between them" in orbitrax("explain", "-", given=pressed).stdout
    failed = orbitrax("energy", "nope.xyz", "-m", "am1", "--json").stdout
    assert orbitrax("explain", "-", given=failed).returncode == 1
    assert orbitrax("explain", "-", given="{}").returncode == 2


def test_the_schema_accepts_what_is_printed():
    jsonschema = pytest.importorskip("jsonschema")
    schema = json.loads(orbitrax("schema").stdout)
    for words in ([NO2, "--bond-orders"], [WATER]):
        jsonschema.validate(json.loads(orbitrax("energy", *words, "-m", "am1", "--json").stdout),
                            schema)


@pytest.mark.parametrize("words,said", [
    (["energy", WATER, "-m", "am1", "--chrg", "1"], "did you mean --charge?"),
    (["energi", WATER], "did you mean energy?"),
    (["energy", WATER], "see 'orbitrax energy --help'"),
    (["energy", "examples/iron_carbonyl.xyz", "-m", "am1"], "zindo1, zindos have"),
])
def test_a_mistake_is_one_line_with_what_was_meant(words, said):
    done = orbitrax(*words)
    assert done.returncode == 2 and said in done.stderr and len(done.stderr.splitlines()) == 1


def test_methods_speaks_json_and_knows_elements():
    found = json.loads(orbitrax("methods", "Fe", "--json").stdout)
    assert [one["method"] for one in found] == ["zindo1", "zindos"]
    assert orbitrax("methods", "Qq").returncode == 2
    assert "exit status" in orbitrax("--help").stdout


@pytest.mark.parametrize("command", [
    ["explain"], ["qcschema"], ["status"], ["energy", "-m", "am1"]])
def test_a_document_without_bottom_is_refused(command, tmp_path):
    path = tmp_path / "deep.json"
    path.write_text("[" * 200000 + "\n")
    done = orbitrax(*command, path)
    assert done.returncode == 2 and done.stderr.startswith(f"orbitrax: error: {path}")
    assert "Traceback" not in done.stderr


@pytest.mark.parametrize("words, what", [
    (["energy", *["examples/caffeine.xyz"] * 300, "-m", "am1", "--json"], "300 molecules"),
    (["compare", "examples/caffeine.xyz", "--optimize"], "9 methods")])
def test_what_is_ended_says_how_far_it_came(words, what):
    started = subprocess.Popen([sys.executable, "-m", "orbitrax", *words], cwd=ROOT, text=True,
                               stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=ENVIRONMENT)
    lines = [started.stdout.readline() for _ in range(5)]
    started.send_signal(signal.SIGINT)
    out, err = started.communicate(timeout=60)
    assert started.returncode == 130 and f" of {what}" in err and "interrupted after" in err
    if "--json" in words:
        whole = [json.loads(line) for line in [*lines, *out.splitlines()]]
        assert {one["status"] for one in whole} == {"done"}
