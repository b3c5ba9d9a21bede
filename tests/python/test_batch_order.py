"""Tables and structures of a batch stand in the order of its list, as far as records tell of one.
"""

import json
import tracemalloc

import numpy as np
import pytest
import support  # noqa: F401  (the package from the checkout)

from orbitrax.bulk.records import in_order, records
from orbitrax.cli import main
from orbitrax.errors import UsageError


def record(number, **others):
    about = {} if number is None else {"input": {"number": number, "from": "list, line 7"}}
    return {"id": f"m{number}", "status": "failed", "errors": ["none"], "charge": 0,
            "multiplicity": 1, "run": {"tries": 1}, **about, **others}


def written(path, found, end=""):
    path.write_text("".join(json.dumps(one) + "\n" for one in found) + end, encoding="utf-8")
    return str(path)


def ids(path):
    return [one["id"] for one in in_order(path)]


def test_records_come_by_their_place_in_the_list(tmp_path):
    places = (np.random.default_rng(1).permutation(200) + 1).tolist()
    path = written(tmp_path / "r.jsonl", map(record, places), '{"id": "cut off", "inp')
    assert ids(path) == [f"m{k}" for k in range(1, 201)]
    assert [one["id"] for one in records(path)] == [f"m{k}" for k in places]


@pytest.mark.parametrize("places", [(3, 1, 2, 1), (3, None, 1, 2), (4, "2", 1)])
def test_records_that_tell_no_one_order_come_as_they_stand(tmp_path, places):
    assert ids(written(tmp_path / "r.jsonl", map(record, places))) == [f"m{k}" for k in places]


def test_no_text_is_taken_for_a_place(tmp_path):
    found = [record(2, id='a"input": {"number": 1,'), record(1, id="b")]
    found[0] = {"title": '"input": {"number": 0,', **found[0]}
    assert ids(written(tmp_path / "r.jsonl", found)) == ["b", found[0]["id"]]
    spaced = tmp_path / "spaced.jsonl"
    spaced.write_text("".join(json.dumps(one, separators=(" , ", " : ")) + "\n" for one in found))
    assert ids(str(spaced)) == ["b", found[0]["id"]]


def test_what_is_no_record_is_told_by_its_line(tmp_path):
    wrong = record(1)
    del wrong["run"]
    path = written(tmp_path / "r.jsonl", [record(3), record(2), wrong])
    with pytest.raises(UsageError, match="line 3: is no record of a batch"):
        ids(path)
    with pytest.raises(UsageError, match="No such file"):
        ids(str(tmp_path / "none.jsonl"))


def test_no_record_is_held_while_they_are_sorted(tmp_path):
    path = written(tmp_path / "r.jsonl", (record(k, log=1000 * "x") for k in range(3000, 0, -1)))
    tracemalloc.start()
    assert sum(1 for _ in in_order(path)) == 3000
    most = tracemalloc.get_traced_memory()[1]
    tracemalloc.stop()
    assert most < 1 << 20  # bytes; the file has more than three times as many


def test_the_table_and_the_structures_have_the_order_of_the_list(tmp_path, capsys):
    atom = {"status": "done", "symbols": ["He"], "coordinates_angstrom": [[0.0, 0.0, 0.0]],
            "total_energy": 0.0, "heat_of_formation": 0.0, "method": "am1"}
    path = written(tmp_path / "r.jsonl", (record(k, **atom) for k in (2, 3, 1)))
    assert main(["table", path, "--columns", "id"]) == 0
    assert capsys.readouterr().out.split() == ["id", "m1", "m2", "m3"]
    assert main(["table", path, "--structures", str(tmp_path / "s.xyz")]) == 0
    text = (tmp_path / "s.xyz").read_text()
    assert text.index("m1") < text.index("m2") < text.index("m3")
