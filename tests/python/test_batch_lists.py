"""Lists of molecules, their keys, and what of them a results file has."""

import io
import itertools
import json
import os
import pickle
import shutil
import subprocess
import sys

import pytest
from batches import ENVIRONMENT
from support import ROOT

import orbitrax.bulk.store as batch_store
from orbitrax.bulk.index import index_path, read_rows
from orbitrax.bulk.one import Answer
from orbitrax.bulk.recipe import Recipe
from orbitrax.bulk.sources import read_list
from orbitrax.bulk.store import Store
from orbitrax.errors import MoleculeError, OrbitraxError, UsageError

WATER = (ROOT / "examples" / "water.xyz").read_text()


@pytest.fixture
def recipe():
    return Recipe("am1")


def listed(tmp_path, name, text, recipe=None):
    path = tmp_path / name
    path.write_text(text)
    return list(read_list(str(path), (recipe or Recipe("am1")).options))


# ---- reading ------------------------------------------------------------------------------------


def test_a_table_gives_charges_and_settings_of_its_own(tmp_path, recipe):
    (tmp_path / "w.xyz").write_text(WATER)
    first, second, third = listed(
        tmp_path, "a.csv", "\ufeffid,smiles,file,charge,multiplicity,scf-limit,colour\n"
        'a,"C",,1,2,,red\n,,w.xyz,,,1e-4,\nc,CO\n', recipe)
    assert (first.id, first.charge, first.multiplicity, first.settings) == ("a", 1, 2, None)
    assert second.id == "2" and second.settings == {"scf_limit": 1e-4}
    assert second.molecule().formula == "H2O" and third.molecule().formula == "CH4O"
    assert recipe.start(first).job.multiplicity == 2
    assert recipe.start(second).job.settings.scf_limit == 1e-4


@pytest.mark.parametrize("line, reason", [
    ("a,C,x,", "whole number"), ("a,C,1.5,", "whole number"), ("a,,,", "neither smiles nor file"),
    ("a,C,0,true,more", "5 cells where there are 4 columns"), ("a,C,nan,", "whole number"),
    ("a,C,,perhaps", "should be true or false")])
def test_a_bad_line_is_an_item_with_the_reason_and_the_rest_goes_on(tmp_path, line, reason):
    bad, good = listed(tmp_path, "a.csv", f"id,smiles,charge,uhf\n{line}\nb,CC,,\n")
    assert bad.kind == "wrong" and bad.id == "a" and good.molecule().formula == "C2H6"
    with pytest.raises(MoleculeError, match="line 2: ") as caught:
        bad.molecule()
    assert reason in caught.value.typed


@pytest.mark.parametrize("head, words", [
    ("id,name", "one of them smiles or file"), ("smiles,charg", "did you mean 'charge'"),
    ("smiles,smiles", "stands there twice")])
def test_a_table_that_cannot_be_meant_is_refused_at_once(tmp_path, head, words):
    with pytest.raises(UsageError, match=words):
        listed(tmp_path, "a.csv", f"{head}\nC,1\n")


def test_frames_of_xyz_go_on_after_one_that_is_broken(tmp_path):
    items = listed(tmp_path, "a.xyz", f"{WATER}\nrubbish\nmore\n{WATER}3\n\nO 0 0 0\nH 0 0 1\n")
    assert [item.kind for item in items] == ["xyz", "wrong", "xyz", "xyz"]
    assert items[2].molecule().formula == "H2O"
    with pytest.raises(MoleculeError):
        items[3].molecule()


def test_records_of_sdf_and_lines_of_smiles_have_their_names(tmp_path):
    from rdkit import Chem

    block = Chem.MolToMolBlock(Chem.MolFromSmiles("O"))
    items = listed(tmp_path, "a.sdf", f"one{block}$$$$\nbroken\n\n\nnothing\n$$$$\ntwo{block}")
    assert [item.id for item in items] == ["one", "broken", "two"]
    with pytest.raises(MoleculeError):
        items[1].molecule()
    lines = listed(tmp_path, "a.smi", "# a remark\nCCO ethyl alcohol\n\nC\n")
    assert [(item.id, item.given) for item in lines] == [("ethyl alcohol", "CCO"), ("2", "C")]


@pytest.mark.parametrize("text, kinds", [
    ("smiles,id\nC,a\n", ["smiles"]), ("id\tsmiles\na\tC\n", ["smiles"]), ("CCO x\nC\n",
     ["smiles"] * 2), (WATER, ["xyz"])])
def test_a_pipe_is_known_by_its_looks(text, kinds):
    assert [item.kind for item in read_list("-", {}, stdin=io.StringIO(text))] == kinds


def test_a_folder_gives_its_files_by_name(tmp_path):
    for name in ("b.xyz", "a.xyz", "notes.txt"):
        (tmp_path / name).write_text(WATER)
    assert [item.id for item in read_list(str(tmp_path), {})] == ["a.xyz", "b.xyz"]


def test_lists_are_read_only_as_far_as_they_are_needed():
    endless = itertools.chain(["id,smiles\n"], (f"{i},C\n" for i in itertools.count()))
    found = read_list("-", {}, stdin=endless)
    assert [item.id for item in itertools.islice(found, 3)] == ["0", "1", "2"]


# ---- keys ---------------------------------------------------------------------------------------


def test_a_key_is_that_of_the_molecule_the_task_and_its_settings(tmp_path, recipe):
    plain, same, charged, other, set_ = listed(
        tmp_path, "a.csv", "id,smiles,charge,scf_limit\na,C,,\nb,C,,\na,C,1,\na,CC,,\na,C,,1e-3\n")
    keys = [recipe.key(item) for item in (plain, charged, other, set_)]
    keys += [one.key(plain) for one in (Recipe("pm3"), Recipe("am1", "optimize"),
                                        Recipe("am1", uhf=True))]
    assert len(set(keys)) == 7
    assert recipe.key(same) == recipe.key(plain) == Recipe("am1", time_limit=3).key(plain)
    assert recipe.key(plain).hex() == recipe.key(plain._replace(number=9, where="there")).hex()


@pytest.mark.parametrize("task, name, texts", [
    ("energy", "restrain", ("stretch 1 2 1.5", "stretch 1 2 1.8", "stretch 1 2 1.8 k=30")),
    ("optimize", "fix", ("stretch 1 2 1.5", "stretch 1 2 1.8", "stretch 1 2")),
    ("vibrations", "isotope", ("1=13C", "1=14C"))])
def test_a_key_tells_all_that_a_setting_says(tmp_path, task, name, texts):
    [item] = listed(tmp_path, "a.smi", "CC\n")
    keys = [Recipe("am1", task, **{name: [text]}).key(item) for text in texts]
    settings = [Recipe("am1", task).task.replace(**{name: [text]}).__dict__ for text in texts]
    keys += [Recipe("am1", task).key(item._replace(settings=one)) for one in settings]
    assert len(set(keys)) == 2 * len(texts)


def test_a_key_tells_what_stands_in_tables_of_ones_own(tmp_path, recipe, monkeypatch):
    [item] = listed(tmp_path, "a.smi", "CC\n")
    folder = shutil.copytree(ROOT / "parameters", tmp_path / "tables")
    same = shutil.copytree(folder, tmp_path / "same")
    before = Recipe("am1", tables=str(folder)).key(item)
    assert Recipe("am1", tables=str(same)).key(item) == before
    for path in folder.glob("am1_1*"):
        path.write_text(path.read_text() + "# another\n")
    keys = [before, recipe.key(item), Recipe("am1", tables=str(folder)).key(item)]
    assert len(set(keys)) == 3
    monkeypatch.setenv("ORBITRAX_PARAMETERS", str(folder))
    there = pickle.loads(pickle.dumps(Recipe("am1")))
    assert there.key(item) == keys[2]
    monkeypatch.setenv("ORBITRAX_PARAMETERS", str(tmp_path))
    assert there.identity == pickle.loads(pickle.dumps(there)).identity


# ---- the results file ---------------------------------------------------------------------------


def answer(item, status="done", accident=False):
    record = {"id": item.id, "key": item.key.hex(), "status": status, "run": {"accident": accident}}
    return Answer(item.number, item.id, item.key, json.dumps(record).encode() + b"\n", status,
                  accident, "", 0.0)


def fill(path, items, recipe, count, resume=False, **about):
    store = Store(str(path), resume)
    try:
        done = list(itertools.islice(store.missing(iter(items), recipe), count))
        for item in done:
            store.add(answer(item, **about))
    finally:
        store.close()
    return [item.id for item in done]


@pytest.fixture
def items(tmp_path):
    return listed(tmp_path, "a.smi", "".join(f"{'C' * n} m{n}\n" for n in range(1, 41)))


def test_what_has_a_record_is_not_missing(tmp_path, items, recipe):
    path = tmp_path / "r.jsonl"
    assert fill(path, items, recipe, 30) == [item.id for item in items[:30]]
    assert fill(path, items, recipe, 99, True) == [item.id for item in items[30:]]
    assert fill(path, items, recipe, 99, True) == []
    assert len(path.read_text().splitlines()) == 40


@pytest.mark.parametrize("spoil", ["index gone", "index short", "index torn", "index wrong",
                                   "line torn", "both"])
def test_a_results_file_goes_on_whatever_its_writer_left(tmp_path, items, recipe, spoil):
    path = tmp_path / "r.jsonl"
    fill(path, items, recipe, 30)
    index = tmp_path / "r.jsonl.index"
    if spoil == "index gone":
        index.unlink()
    elif spoil == "index wrong":
        data = bytearray(index.read_bytes())
        data[-60] ^= 1
        index.write_bytes(data)
    elif spoil.startswith("index") or spoil == "both":
        os.truncate(index, index.stat().st_size - (32 if spoil == "index short" else 45))
    missing = 10
    if spoil in ("line torn", "both"):
        os.truncate(path, path.stat().st_size - 5)
        missing = 11
    assert len(fill(path, items, recipe, 99, True)) == missing
    lines = [json.loads(line)["id"] for line in path.read_text().splitlines()]
    assert sorted(lines) == sorted(item.id for item in items)
    assert len(read_rows(str(path))) == 40


@pytest.mark.long
@pytest.mark.timeout(1800)
def test_a_million_lines_of_which_most_are_done_resume_in_seconds(tmp_path, recipe):
    """In a process of its own, whose memory is its own. Wall time would be that of the machine's
    other work."""
    program = """
import resource, sys, time
from orbitrax.bulk.recipe import Recipe
from orbitrax.bulk.sources import read_list
from orbitrax.bulk.store import Store
recipe, began = Recipe("am1"), time.process_time()
store = Store(sys.argv[1], True)
missing = sum(1 for _ in store.missing(read_list(sys.argv[2], recipe.options), recipe))
print(missing, time.process_time() - began,
      resource.getrusage(resource.RUSAGE_SELF).ru_maxrss / 1024)
"""
    path, names = tmp_path / "r.jsonl", tmp_path / "list.csv"
    names.write_text("id,smiles\n" + "".join(f"mol{n:07d},CC(C)Cc1ccc(C(C)C(=O)O)cc1\n"
                                             for n in range(1_000_000)))
    store = Store(str(path))
    for item in store.missing(read_list(str(names), recipe.options), recipe):
        if item.number % 100:
            store.add(answer(item))
    store.close()
    done = subprocess.run([sys.executable, "-c", program, path, names], text=True, timeout=600,
                          capture_output=True, env=ENVIRONMENT)
    missing, seconds, memory = map(float, done.stdout.split())
    print(f"a million lines: {seconds:.1f} s of processor, {memory:.0f} MiB")
    assert missing == 10_000 and memory < 300 and seconds < 60


def test_accidents_are_taken_out_and_made_again(tmp_path, items, recipe):
    path = tmp_path / "r.jsonl"
    fill(path, items, recipe, 3, accident=True, status="failed")
    fill_more = Store(str(path), True)
    assert fill_more.known == 0 and path.read_text() == ""
    fill_more.close()
    fill(path, items, recipe, 2, True, accident=False, status="refused")
    assert fill(path, items, recipe, 99, True) == [item.id for item in items[2:]]


def test_a_second_one_of_a_name_gets_a_number_the_same_each_time(tmp_path, recipe):
    items = listed(tmp_path, "a.smi", "C a\nCC a\nCCC a#2\nCCCC a\n")
    path = tmp_path / "r.jsonl"
    assert fill(path, items, recipe, 2) == ["a", "a#2"]
    assert fill(path, items, recipe, 9, True) == ["a#2#2", "a#3"]


def test_many_of_one_name_take_no_time_to_number(tmp_path, recipe, monkeypatch):
    asked = []
    monkeypatch.setattr(batch_store, "name_hash", lambda name: asked.append(name) or hash(name))
    items = [item._replace(id="one") for item in listed(tmp_path, "a.smi", "C\n" * 500)]
    store = Store(str(tmp_path / "r.jsonl"))
    names = [item.id for item in store.missing(iter(items), recipe)]
    store.close()
    assert names == ["one", *(f"one#{k}" for k in range(2, 501))]
    assert len(asked) < 4 * 500


def test_slices_make_the_whole(tmp_path, items, recipe):
    found = []
    for number in (1, 2, 3):
        store = Store(str(tmp_path / f"{number}.jsonl"))
        found += [item.id for item in store.missing(iter(items), recipe, (number, 3))]
        store.close()
    assert sorted(found) == sorted(item.id for item in items) and len(found) == 40


def test_results_of_another_batch_are_not_mixed(tmp_path, items, recipe):
    path = tmp_path / "r.jsonl"
    fill(path, items, recipe, 3)
    with pytest.raises(UsageError, match="add resume"):
        Store(str(path))
    with pytest.raises(UsageError, match="record of 'm1'.*another molecule, task, settings"):
        fill(path, items, Recipe("pm3"), 3, True)
    first = Store(str(path), True)
    with pytest.raises(UsageError, match="another batch is writing it"):
        Store(str(path), True)
    first.close()
    path.write_text("{}\n")
    with pytest.raises(OrbitraxError, match="line 1: is no record of a batch"):
        Store(str(path), True)


def test_a_disk_that_is_full_leaves_whole_lines(tmp_path, items, recipe, monkeypatch):
    """Half a line goes through, then the disk is full."""
    path = tmp_path / "r.jsonl"
    store = Store(str(path))
    missing = store.missing(iter(items), recipe)
    store.add(answer(next(missing)))
    write = os.pwrite

    def full(handle, data, place):
        if len(data) > 20:
            return write(handle, data[:20], place)
        raise OSError(28, "No space left on device")

    monkeypatch.setattr(os, "pwrite", full)
    with pytest.raises(OrbitraxError, match="No space left on device.*resume"):
        store.add(answer(next(missing)))
    monkeypatch.undo()
    store.close()
    assert len(path.read_text().splitlines()) == 1 and path.read_text().endswith("\n")
    assert fill(path, items, recipe, 99, True)[0] == items[1].id
    assert os.path.exists(index_path(str(path)))
