"""The runs of the page where the history takes nothing, where they are removed at work, and where
their process is ended in the middle of a word."""

from __future__ import annotations

import asyncio
import types

import pytest
from support import ROOT  # noqa: F401

from orbitrax.errors import OrbitraxError
from orbitrax.results.document import empty_document
from orbitrax.serve import app
from orbitrax.serve import runs as runs_room
from orbitrax.serve.processes import Worker
from orbitrax.serve.runs import Limits, Runs
from orbitrax.serve.store import Store

WATER = {"title": "water", "formula": "H2O"}


class Patient:
    """A process that answers when it is told to."""

    def __init__(self, request):
        self.go = asyncio.Event()

    async def work(self, listen=None, limit=None):
        await self.go.wait()
        return {"document": {**empty_document("energy"), "status": "done", "log": "x" * 40000}}

    async def cancel(self):
        self.go.set()


@pytest.fixture()
def page(tmp_path, monkeypatch):
    monkeypatch.setattr(runs_room, "Worker", Patient)
    store = Store(str(tmp_path / "runs.sqlite"))
    yield Runs(store, Limits(2)), store
    store.close()


def start(runs):
    return runs.start("energy", "am1", {}, WATER)


async def ended(one):
    one.worker.go.set()
    await one.doing


def fill(store):
    """The file may not grow any more, as on a full disk."""
    pages = store._db.execute("pragma page_count").fetchone()[0]
    store._db.execute(f"pragma max_page_count = {pages}")


def test_a_run_that_the_history_does_not_take_is_kept_and_says_so(page):
    runs, store = page
    store.keep = lambda about, whole, keep=store.keep: keep(about, {**whole, "filler": filler()})

    async def work():
        fill(store)
        one = start(runs)
        queue = asyncio.Queue()
        one.listeners.add(queue)
        await ended(one)
        told = [queue.get_nowait() for _ in range(queue.qsize())]
        assert told[-1] == {"type": "ended", "state": "ended", "status": "done"}
        found = runs.whole(one.id)
        assert found["state"] == "ended" and "database or disk is full" in " ".join(
            found["document"]["warnings"])
        assert runs.find(one.id) is None and [row["id"] for row in runs.all()] == [one.id]
        store._db.execute("pragma max_page_count = 100000")
        two = start(runs)
        await ended(two)
        assert {row["id"] for row in store.all()} == {one.id, two.id} and runs._runs == {}

    asyncio.run(work())


def filler():
    """What does not compress to less than a page."""
    import random

    return "".join(random.Random(1).choices("abcdefghijklmnopqrstuvwxyz", k=20000))


def test_runs_that_are_not_taken_keep_no_others_from_beginning(page, monkeypatch):
    runs, store = page
    runs.limits.waiting = 0
    monkeypatch.setattr(runs_room, "_MOST_UNKEPT", 3)
    store.keep = lambda about, whole, keep=store.keep: keep(about, {**whole, "filler": filler()})

    async def work():
        fill(store)
        for _ in range(5):
            await ended(start(runs))
        assert len(runs.all()) == 3

    asyncio.run(work())


def test_a_run_that_is_removed_at_work_does_not_come_back(page):
    runs, store = page

    async def work():
        one = start(runs)
        await asyncio.sleep(0)
        await runs.forget(one.id)
        await one.doing
        assert runs.whole(one.id) is None and runs.all() == []
        two = start(runs)
        await ended(two)
        await runs.forget(two.id)
        assert runs.all() == []

    asyncio.run(work())


def test_a_history_that_cannot_be_changed_says_so(page):
    runs, store = page
    store._db.execute("pragma query_only = 1")
    with pytest.raises(OrbitraxError, match="the history cannot be changed: .*readonly"):
        asyncio.run(runs.forget("nothing"))


def test_a_process_that_is_ended_in_the_middle_of_a_line_ends_its_run():
    async def work():
        output = asyncio.StreamReader()
        output.feed_data(b'{"type": "live"}\n{"type": "li')
        output.feed_eof()
        heard = []
        process = types.SimpleNamespace(
            stdin=types.SimpleNamespace(write=lambda data: None), stdout=output)
        answer = await Worker({})._talk(process, heard.append)
        assert heard == [{"type": "live"}] and "was killed" in answer["error"]["text"]

    asyncio.run(work())


@pytest.mark.parametrize("error", [OSError(24, "Too many open files"), ValueError("no JSON")])
def test_a_process_that_cannot_be_spoken_to_ends_its_run(page, error):
    runs, store = page

    async def work():
        one = start(runs)

        async def fails(listen=None, limit=None):
            raise error

        one.worker.work = fails
        queue = asyncio.Queue()
        one.listeners.add(queue)
        await asyncio.wait_for(one.doing, 5)
        assert [queue.get_nowait() for _ in range(queue.qsize())][-1]["type"] == "ended"
        document = runs.whole(one.id)["document"]
        assert document["status"] == "failed" and str(error) in document["errors"][0]

    asyncio.run(work())


def test_who_begins_to_listen_as_a_run_ends_hears_of_its_end(page, monkeypatch):
    """The end comes while the head of the answer is written."""
    runs, store = page
    sent = []

    async def work():
        one = start(runs)
        await asyncio.sleep(0)
        stream = types.SimpleNamespace(prepare=lambda request: ended(one), write=written)
        monkeypatch.setattr(app.web, "StreamResponse", lambda headers: stream)
        door = app.Page.__new__(app.Page)
        door.runs = runs
        request = types.SimpleNamespace(match_info={"id": one.id})
        await asyncio.wait_for(door.events(request), 5)

    async def written(data):
        sent.append(data)

    asyncio.run(work())
    assert [b'"type": "snapshot"' in sent[0], b'"type": "ended"' in sent[-1]] == [True, True]
    assert b'"status": "done"' in sent[-1]
