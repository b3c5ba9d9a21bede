"""The commands batch, table, status and merge, and batches from Python."""

import functools
import csv
import json
from concurrent.futures import ProcessPoolExecutor

import pytest
from batches import ROOT, alike, compared, orbitrax, records, row_of_waters

import orbitrax as package
from orbitrax import UsageError
from orbitrax.bulk.records import merge
from orbitrax.bulk.store import Store
from orbitrax.cli.lists.batch import parse_shard, parse_size
from orbitrax.cli.lists.progress import count_of

LIST = """id,smiles,file,charge,multiplicity
water,O,,,
ethanol,CCO,,,
cation,,C.xyz,1,2
bad,C(C,,,
uranium,[U],,,
ammonium,[NH4+],,,
"""
CARBON = "5\n\nC 0 0 0\nH .63 .63 .63\nH -.63 -.63 .63\nH -.63 .63 -.63\nH .63 -.63 -.63\n"


@pytest.fixture(scope="module")
def batch(tmp_path_factory):
    """A batch with all kinds of ends, its folder and what was said."""
    folder = tmp_path_factory.mktemp("batch")
    (folder / "list.csv").write_text(LIST)
    (folder / "C.xyz").write_text(CARBON)
    done = orbitrax("batch", folder / "list.csv", "-m", "am1", "--task", "optimize", "--limit",
                    "0.5", "-o", folder / "r.jsonl", "--structures", folder / "s.sdf",
                    "--table", folder / "all.csv", "--json")
    return folder, done


def test_every_line_has_a_record_that_is_the_document_of_the_command_line(batch):
    folder, done = batch
    found = {record["id"]: record for record in records(folder / "r.jsonl")}
    assert done.returncode == 1 and len(found) == 6
    assert {key: one["status"] for key, one in found.items()} == {
        "water": "done", "ethanol": "done", "cation": "done", "ammonium": "done",
        "bad": "refused", "uranium": "refused"}
    single = json.loads(orbitrax("optimize", folder / "C.xyz", "-m", "am1", "-c", "1", "-s", "2",
                                 "--limit", "0.5", "--json").stdout)
    cation = found["cation"]
    for name in ("log", "wall_seconds", "energy_points"):  # one more for the log
        single.pop(name), cation.pop(name)
    assert alike(single, {key: value for key, value in cation.items() if key in single})
    assert set(cation) - set(single) == {"id", "key", "input", "run"}
    assert found["ethanol"]["input"]["seed"] == 61453
    assert found["ethanol"]["run"].keys() == {"tries", "accident", "seconds", "started", "host"}
    assert "line 5" in found["bad"]["errors"][-1] and "bad: refused" in done.stderr
    assert json.loads(done.stdout)["statuses"] == {"done": 4, "refused": 2}


def test_structures_have_the_bonds_of_their_smiles(batch):
    from rdkit import Chem

    folder, _ = batch
    mols = {mol.GetProp("_Name"): mol for mol in Chem.SDMolSupplier(str(folder / "s.sdf"))}
    assert Chem.MolToSmiles(mols["ethanol"]) == "CCO" and len(mols) == 3
    assert "without 1 for which no bonds fit (cation" in batch[1].stderr
    assert float(mols["water"].GetProp("heat_of_formation")) == pytest.approx(-59.25, abs=0.05)
    done = orbitrax("table", folder / "r.jsonl", "--structures", folder / "s.xyz")
    assert done.returncode == 0 and (folder / "s.xyz").read_text().count("method=am1") == 4


def test_a_table_has_heats_dipoles_and_levels(batch):
    folder, _ = batch
    done = orbitrax("table", folder / "r.jsonl", "--columns", "id,heat_of_formation,homo,run.tries",
                    "-o", folder / "t.csv")
    lines = dict(line.split(",", 1) for line in (folder / "t.csv").read_text().splitlines())
    heat, homo, tries = map(float, lines["water"].split(","))
    assert done.returncode == 0 and tries == 1 and lines["bad"] == ",,1"
    [names, *rows] = csv.reader((folder / "all.csv").read_text().splitlines())
    own = {row[0]: dict(zip(names, row)) for row in rows}
    assert float(own["water"]["homo"]) == homo and float(own["water"]["heat_of_formation"]) == heat
    assert len(own) == 6 and "uranium" in own and own["bad"]["dipole"] == ""
    assert (heat, homo) == pytest.approx((-59.25, -12.46), abs=0.05)  # Dewar 1985: -59.2, 12.46
    wrong = orbitrax("table", folder / "r.jsonl", "--columns", "id,heat")
    assert wrong.returncode == 2 and "there is no column 'heat'" in wrong.stderr
    assert len(orbitrax("table", folder / "r.jsonl").stdout.splitlines()) == 7


def test_parquet_is_written_or_said_to_need_more(batch):
    folder, _ = batch
    done = orbitrax("table", folder / "r.jsonl", "-o", folder / "t.parquet")
    assert (folder / "t.parquet").exists() if done.returncode == 0 else "pyarrow" in done.stderr


def test_status_counts_by_reason(batch):
    folder, _ = batch
    found = json.loads(orbitrax("status", folder / "r.jsonl", "--json").stdout)
    assert found["statuses"] == {"done": 4, "refused": 2} and found["records"] == 6
    assert "'...' is not a SMILES string" in found["reasons"]
    shown = orbitrax("status", folder / "r.jsonl").stdout
    assert "2 refused" in shown and "a second" in shown and "slowest:" in shown


def test_slices_merge_to_the_whole_whatever_the_workers(batch):
    folder, _ = batch
    for number in (1, 2):
        orbitrax("batch", folder / "list.csv", "-m", "am1", "--task", "optimize", "--limit", "0.5",
                 "-o", folder / f"{number}.jsonl", "--shard", f"{number}/2", "-j", number)
    done = orbitrax("merge", folder / "1.jsonl", folder / "2.jsonl", folder / "1.jsonl", "-o",
                    folder / "m.jsonl")
    assert done.returncode == 0 and "6 records, 3 left out" in done.stderr
    assert compared(folder / "m.jsonl") == compared(folder / "r.jsonl")
    resumed = orbitrax("batch", folder / "list.csv", "-m", "am1", "--task", "optimize", "--limit",
                       "0.5", "-o", folder / "m.jsonl", "--resume")
    assert resumed.returncode == 0 and "0 computed" in resumed.stderr


def test_nothing_is_merged_into_what_a_batch_is_writing(batch, tmp_path):
    path = tmp_path / "r.jsonl"
    path.write_bytes((batch[0] / "r.jsonl").read_bytes())
    store = Store(str(path), resume=True)
    inode = path.stat().st_ino
    with pytest.raises(UsageError, match="another run is writing it"):
        merge([str(path)], str(path))
    store.close()
    assert path.stat().st_ino == inode and len(records(path)) == 6
    assert merge([str(path)], str(path)) == (6, 0)


def test_limits_end_one_molecule_and_not_the_others(tmp_path):
    (tmp_path / "large.xyz").write_text(row_of_waters(600))
    (tmp_path / "list.csv").write_text("id,smiles,file\nlarge,,large.xyz\na,C,\nb,CC,\n")
    for limit, words in ((("--time-limit", "6"), "time limit of 6 s"),
                         (("--memory-limit", "100M"), "memory limit of 100 MiB")):
        path = tmp_path / f"{limit[0]}.jsonl"
        done = orbitrax("batch", tmp_path / "list.csv", "-m", "am1", "-o", path, *limit)
        found = {record["id"]: record for record in records(path)}
        assert done.returncode == 1 and found["a"]["status"] == found["b"]["status"] == "done"
        large = found["large"]
        print(f"{words}: ended after {large['run']['seconds']:.2f} s")
        assert words in large["errors"][-1] and large["run"]["accident"]
        assert large["status"] == "failed" and large["run"]["seconds"] < 60


@pytest.mark.parametrize("words, text", [
    (["nope.csv"], "there is no such file"), (["list.csv", "--shard", "4/3"], "as 3/64"),
    (["list.csv", "-j", "0"], "should be 1 or above"), (["list.csv", "-m", "am2"], "am1"),
    (["list.csv", "--memory-limit", "much"], "as 800M"), (["empty.csv"], "smiles or file"),
    (["list.csv", "--time-limit", "0"], "above 0"), (["list.csv", "--task", "plot"], "plot"),
    (["list.csv", "--structures", "s.pdb"], ".sdf or .xyz"),
    (["list.csv", "--table", "t.pdb"], ".csv, .tsv or .parquet"),
    (["list.csv", "--backend", "/nope"], "not a program"), (["list.csv", "--limit", "1"], "limit")])
def test_what_makes_no_sense_is_refused_before_anything_is_computed(tmp_path, words, text):
    (tmp_path / "list.csv").write_text("smiles\nC\n")
    (tmp_path / "empty.csv").write_text("")
    words = [str(tmp_path / word) if word.endswith((".csv", ".pdb")) else word for word in words]
    done = orbitrax("batch", "-m", "am1", "-o", tmp_path / "r.jsonl", *words)
    assert done.returncode in (2, 3) and text in done.stderr
    assert not (tmp_path / "r.jsonl").exists() or not (tmp_path / "r.jsonl").read_text()


def test_words_of_the_command_line():
    assert parse_shard("64/64") == (64, 64) and parse_shard(None) == (1, 1)
    assert parse_size("1.5G") == 3 << 29 and parse_size("800m") == parse_size("800MiB")
    assert count_of([str(ROOT / "tests" / "reference" / "druglike.smi")]) == 2002
    assert count_of(["nope.csv"]) is None


# ---- from Python --------------------------------------------------------------------------------


def test_records_come_in_order_or_as_they_are_done():
    molecules = ["CCCCCCCC", ("small", "O"), {"smiles": "[NH4+]", "id": "ion"}, "C[",
                 str(ROOT / "examples" / "water.xyz"), (["H", "F"], [[0, 0, 0], [0, 0, 0.9]])]
    found = list(package.batch(molecules, "am1", workers=2))
    assert [one.id for one in found] == ["1", "small", "ion", "4", "5", "6"]
    assert [one.status for one in found] == ["done"] * 3 + ["refused"] + ["done"] * 2
    assert found[2].result.charge == 1 and found[3].result is None
    assert found[4].result.heat_of_formation == pytest.approx(-59.19169, abs=1e-4)
    assert found[5].document["symbols"] == ["H", "F"]
    loose = package.batch(molecules, "am1", workers=2, ordered=False)
    assert sorted(one.number for one in loose) == [1, 2, 3, 4, 5, 6]


def test_a_loop_that_is_left_early_leaves_no_process(no_children_left):
    endless = iter(lambda: "C", None)
    for record in package.batch(endless, "am1"):
        assert record.status == "done"
        if record.number == 5:
            break


def test_pools_of_the_users_own_compute_the_same():
    recipe = package.Recipe("pm3", "optimize", limit=0.5)
    with ProcessPoolExecutor(2) as pool:
        found = list(pool.map(functools.partial(package.compute, recipe), ["C", "N", "O"]))
    here = list(package.batch(["C", "N", "O"], "pm3", "optimize", limit=0.5, workers=1))
    heats = [[one.document["heat_of_formation"] for one in some] for some in (found, here)]
    assert heats[0] == heats[1] and None not in heats[0]


def test_what_cannot_be_meant_is_refused_at_the_call():
    for about in ({"method": "am2"}, {"task": "plot"}, {"workers": 0}, {"limit": 3}):
        with pytest.raises(UsageError):
            package.batch(["C"], **about)


def test_a_result_does_not_depend_on_what_was_computed_before():
    molecules = ["CCO", "c1ccccc1", "CC(=O)O", "CN"]
    once = list(package.batch(molecules, workers=1))
    back = list(package.batch(molecules[::-1], workers=2))[::-1]
    for one, other in zip(once, back):
        first, second = one.document, other.document
        for document in (first, second):
            for name in ("id", "input", "run", "wall_seconds"):
                document.pop(name)
        assert first == second


def test_warnings_of_what_is_done_are_counted_and_shown(tmp_path):
    """Hydrogen pulled apart, of which a closed shell is 150 kcal/mol too high."""
    (tmp_path / "list.csv").write_text("id,file,smiles\nwater,,O\nnear,H2.xyz,\nfar,H3.xyz,\n")
    for name, length in (("H2", 2.2), ("H3", 2.6)):
        (tmp_path / f"{name}.xyz").write_text(f"2\n\nH 0 0 0\nH 0 0 {length}\n")
    table = tmp_path / "t.csv"
    done = orbitrax("batch", tmp_path / "list.csv", "-m", "am1", "-o", tmp_path / "r.jsonl",
                    "--table", table, "--json")
    assert done.returncode == 0 and json.loads(done.stdout)["warned"] == 2
    assert "2 of those done have warnings" in done.stderr
    rows = {row["id"]: row for row in csv.DictReader(table.read_text().splitlines())}
    assert "the closed shell is unstable" in rows["far"]["warnings"]
    assert rows["water"]["warnings"] == "" and rows["far"]["status"] == "done"
    found = json.loads(orbitrax("status", tmp_path / "r.jsonl", "--json").stdout)
    assert [(text[:28], n) for text, n in found["warnings"].items()] == [
        ("the closed shell is unstable", 2)]
    shown = orbitrax("status", tmp_path / "r.jsonl").stdout
    assert "2 the closed shell is unstable" in shown.partition("done, with a warning:")[2]
