"""The process of a row may die or talk nonsense at any frame: one run of the row fails, by an error
of its own type, and the others end as they do one by one."""

import json

import pytest
from support import ROOT
from test_row import document, moved, one_by_one

from orbitrax import Backend, BackendDied, Energy, LinkError, OrbitraxError
from orbitrax.bulk.row import Row
from orbitrax.link.conversation import AT_A_TIME
from orbitrax.link.process import find_backend

RUNS = 5  # the first alone, as it tries what the process knows of rows


class Relay:
    """A program that stands for the backend and does harm at a frame, once."""

    def __init__(self, folder, at, fault):
        self.program, self._record = folder / "relay", folder / "record"
        told = json.dumps([find_backend(), at, fault, str(folder / "mark"), str(self._record)])
        self.program.write_text(
            f"#!/usr/bin/python3\nimport json, sys\nsys.path.insert(0, {str(ROOT)!r} + "
            f"'/tests/python')\nimport relay\nrelay.main(*json.loads({told!r}))\n")
        self.program.chmod(0o755)

    def frames(self):
        """How many it has passed on, in all its processes."""
        return sum(map(int, self._record.read_text().split()))


def runs():
    return [Energy().start(one, "am1") for one in moved(RUNS)]


def played(program):
    """What comes of the runs, and the errors that are nobody's words but the link's."""
    found, errors = [], []
    with Backend(program, time_limit=30) as backend:
        for execute in Row(backend, runs()):
            try:
                found.append(document(execute()))
            except OrbitraxError as error:
                found.append(None)
                errors.append(error)
    return found, errors


@pytest.fixture(scope="module")
def usual():
    return one_by_one(runs())


@pytest.fixture(scope="module")
def frames(tmp_path_factory, usual):
    """How many frames a backend has for these runs."""
    relay = Relay(tmp_path_factory.mktemp("whole"), -1, "none")
    found, errors = played(relay.program)
    assert found == usual and not errors
    return relay.frames()


def harmed(folder, at, fault, usual):
    """The error that comes of a fault at this frame and the run that it is of; all others end as
    usual. None for both where no run has lost anything."""
    folder.mkdir()
    found, errors = played(Relay(folder, at, fault).program)
    if not errors:
        assert found == usual
        return None, None
    assert found.count(None) == 1, f"{fault} at frame {at}"
    lost = found.index(None)
    assert found == [*usual[:lost], None, *usual[lost + 1:]], f"{fault} at frame {at}"
    return errors[0], lost


@pytest.mark.parametrize("fault", ["kill", "tear"])
@pytest.mark.parametrize("step", [5, pytest.param(1, marks=pytest.mark.long)])
def test_a_process_that_dies_at_any_frame_of_a_row_takes_one_run_with_it(
        tmp_path, frames, usual, step, fault):
    """Or none: what was asked for beyond the end of the first session is nobody's."""
    losses = []
    places = range(0, frames, step)
    for at in places:
        error, lost = harmed(tmp_path / str(at), at, fault, usual)
        if error is None:
            continue
        assert isinstance(error, BackendDied) and error.returncode == -9, f"frame {at}: {error!r}"
        losses.append(lost)
    assert losses == sorted(losses) and set(losses) == set(range(RUNS))
    assert len(places) - AT_A_TIME // step - 1 <= len(losses)
    print(f"R3: {fault} at {len(places)} of the {frames} frames of {RUNS} runs in a row: a typed "
          f"error of one, {len(losses)} times, and the others as they are")


@pytest.mark.parametrize("fault", ["garbage", "huge", "wrong code", "wrong length",
                                   "unknown type"])
def test_nonsense_in_a_row_is_a_typed_error_of_one_run(tmp_path, frames, usual, fault):
    for at in [3, 20, *range(40, frames, 13)]:
        error, _ = harmed(tmp_path / str(at), at, fault, usual)
        assert isinstance(error, LinkError), f"frame {at}: {error!r}"
