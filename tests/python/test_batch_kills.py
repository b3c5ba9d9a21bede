"""Batches whose processes are killed at random moments lose nothing and invent nothing."""

import os
import random
import signal
import subprocess
import time

import pytest
from batches import (DRUGLIKE, abused, busy, compared, family, gone, killed, lines_of, orbitrax,
                     records, row_of_waters, small_molecules, started, until)

from orbitrax.bulk.store import Store
from orbitrax.errors import OrbitraxError

SEED = 20261122


def run_and_compare(tmp_path, count, kills):
    names = tmp_path / "list.smi"
    names.write_text("".join(small_molecules(count)))
    calm, wild = tmp_path / "calm.jsonl", tmp_path / "wild.jsonl"
    done = orbitrax("batch", names, "-m", "am1", "-o", calm) if count < 1000 else started(
        "batch", names, "-m", "am1", "-o", calm)
    if count >= 1000:
        done.communicate(timeout=3000)
    chance = random.Random(SEED)
    moments = chance.sample(range(1, count - 20), kills)
    victims, starts, _ = abused(wild, [names, "-m", "am1"], moments, chance)
    once, again = compared(calm), compared(wild)
    print(f"{count} molecules, killed: {victims}, started {starts} times; "
          f"{sum(record['run']['tries'] > 1 for record in records(wild))} molecules tried twice")
    if any(record["run"]["accident"] for record in records(wild)):
        orbitrax("batch", names, "-m", "am1", "-o", wild, "--resume")
        again = compared(wild)
    assert len(victims) == kills and len(once) == count
    assert again == once


def test_200_molecules_and_5_kills_leave_one_record_each_as_if_nothing_had_been(tmp_path):
    run_and_compare(tmp_path, 200, 5)


@pytest.mark.long
@pytest.mark.timeout(7200)
def test_10000_molecules_and_100_kills_leave_one_record_each(tmp_path):
    run_and_compare(tmp_path, 10_000, 100)


@pytest.mark.long
@pytest.mark.timeout(7200)
def test_1000_drug_like_molecules_become_a_table_though_the_whole_program_is_killed(tmp_path):
    """Client, workers and backends at once, three times; a slice of the same list that nobody has
    disturbed is compared to the byte."""
    names, path = tmp_path / "list.smi", tmp_path / "r.jsonl"
    lines = [line for line in DRUGLIKE.read_text().splitlines(True) if line[0] != "#"]
    names.write_text("".join(lines[:2000:2]))
    command = ("batch", names, "-m", "am1", "-o", path, "-q")
    began = time.monotonic()
    run = started(*command)
    for many in (150, 500, 850):
        until(lambda: lines_of(path) >= many or run.poll() is not None, 3000)
        assert run.poll() is None
        for kin in family(run.pid).values():
            for pid in kin:
                killed(pid)
        run.communicate()
        run = started(*command, "--resume")
    words = run.communicate(timeout=3000)[1]
    took = time.monotonic() - began
    found = compared(path)
    assert len(found) == 1000 and run.returncode == 0, words
    orbitrax("batch", names, "-m", "am1", "-o", tmp_path / "calm.jsonl", "--shard", "7/50")
    calm = compared(tmp_path / "calm.jsonl")
    assert len(calm) == 20 and calm == {name: found[name] for name in calm}
    columns = "id,heat_of_formation,dipole,homo,lumo"
    orbitrax("table", path, "--columns", columns, "-o", tmp_path / "t.csv")
    rows = (tmp_path / "t.csv").read_text().splitlines()
    assert rows[0] == columns and len(rows) == 1001
    assert all(float(cell) == float(cell) for row in rows[1:] for cell in row.split(",")[1:])
    print(f"1000 molecules, the whole program killed three times: {took:.0f} s")


@pytest.mark.parametrize("kind", ["backend", "worker"])
def test_a_poison_molecule_is_tried_twice_and_the_others_are_not_harmed(tmp_path, kind):
    """A process that is killed whenever it is at one molecule, the only large one, stands for one
    that dies of it."""
    names, path = tmp_path / "list.csv", tmp_path / "r.jsonl"
    (tmp_path / "large.xyz").write_text(row_of_waters(500))
    names.write_text("id,smiles,file\npoison,,large.xyz\n" + "".join(
        f"m{n},{'C' * n},\n" for n in range(1, 13)))
    run = started("batch", names, "-m", "am1", "-o", path, "-j", "2")
    until(lambda: lines_of(path) == 12)
    met = set()  # the small ones are done, those too that waited behind the large one
    while run.poll() is None:
        alive = family(run.pid)[kind]
        if kind == "worker":
            alive = [pid for pid in alive if busy(pid)]
        for pid in alive:
            if pid not in met:
                met.add(pid)
                killed(pid)
        time.sleep(0.05)
    words = run.communicate()[1]
    found = {record["id"]: record for record in records(path)}
    poison = found.pop("poison")
    assert len(found) == 12 and all(one["status"] == "done" for one in found.values())
    assert poison["status"] == "failed" and poison["run"]["accident"]
    assert poison["run"]["tries"] == 2 and run.returncode == 1 and "poison: failed" in words
    assert ("SIGKILL" if kind == "backend" else "worker process ended") in poison["errors"][-1]


def test_when_the_client_is_killed_its_workers_and_backends_end_within_a_second(tmp_path):
    path = tmp_path / "r.jsonl"
    run = started("batch", "tests/reference/druglike.smi", "-m", "am1", "--task", "vibrations",
                  "-o", path, "-q")
    until(lambda: len(family(run.pid)["backend"]) > 0)
    kin = family(run.pid)
    killed(run.pid)
    run.communicate()
    took = gone(kin["worker"] + kin["backend"])
    print(f"all had ended after {took:.2f} s")
    assert took is not None and took < 10


@pytest.mark.parametrize("signals, status", [
    ([signal.SIGINT], 130), ([signal.SIGINT, signal.SIGINT], 130), ([signal.SIGTERM], 143)])
def test_a_batch_that_was_interrupted_goes_on(tmp_path, signals, status):
    names, path = tmp_path / "list.smi", tmp_path / "r.jsonl"
    names.write_text("".join(small_molecules(120)))
    run = started("batch", names, "-m", "am1", "-o", path)
    until(lambda: lines_of(path) > 5)
    kin = family(run.pid)
    for number in signals:
        run.send_signal(number)
        time.sleep(0.05)
    words = run.communicate(timeout=60)[1]
    assert run.returncode == status and "--resume" in words
    assert gone(kin["worker"] + kin["backend"]) is not None
    before = lines_of(path)
    assert 5 < before < 120
    done = orbitrax("batch", names, "-m", "am1", "-o", path, "--resume")
    assert done.returncode == 0 and len(compared(path)) == 120
    assert f"{before} were there before" in done.stderr


@pytest.mark.long
@pytest.mark.skipif(os.geteuid() != 0, reason="mounting a file system takes root")
def test_a_small_disk_that_fills_up_is_said_and_the_batch_goes_on_elsewhere(tmp_path):
    names, disk = tmp_path / "list.smi", tmp_path / "disk"
    names.write_text("".join(small_molecules(300)))
    disk.mkdir()
    subprocess.run(["mount", "-t", "tmpfs", "-o", "size=512k", "none", disk], check=True)
    try:
        done = orbitrax("batch", names, "-m", "am1", "-o", disk / "r.jsonl")
        assert done.returncode == 3 and "No space left on device" in done.stderr
        assert 50 < lines_of(disk / "r.jsonl") < 300
        records(disk / "r.jsonl")
        subprocess.run(["mount", "-o", "remount,size=50m", disk], check=True)
        done = orbitrax("batch", names, "-m", "am1", "-o", disk / "r.jsonl", "--resume")
        assert done.returncode == 0 and len(compared(disk / "r.jsonl")) == 300
    finally:
        subprocess.run(["umount", disk], check=True)


@pytest.mark.parametrize("path", ["/dev/null", "/dev/stdout"])
def test_what_cannot_be_read_again_takes_no_results(tmp_path, path):
    """/dev/full, read as results that are there, filled the memory with its zeros."""
    names = tmp_path / "list.smi"
    names.write_text("C a\n")
    done = orbitrax("batch", names, "-m", "am1", "-o", path, "--resume")
    assert done.returncode == 2
    assert f"{path}: no results can be written there: it is no ordinary file" in done.stderr


def test_results_that_cannot_be_opened_are_named(tmp_path, monkeypatch):
    path = tmp_path / "r.jsonl"
    make = os.open

    def refuse(name, flags, *given):
        if name == str(path) and flags & os.O_CREAT:
            raise PermissionError(1, "Operation not permitted", name)
        return make(name, flags, *given)

    monkeypatch.setattr(os, "open", refuse)
    with pytest.raises(OrbitraxError, match="r.jsonl: cannot be written: Operation not permitted"):
        Store(str(path))
