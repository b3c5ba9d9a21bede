"""Plans of runs: times of people, counts of steps and changes of temperature that land."""

import itertools
import math
import random
from decimal import Decimal

import numpy as np
import pytest

from orbitrax.errors import UsageError
from orbitrax.motion.schedule import (MOST_STEPS, as_float, float_below, format_time, parse_time,
                                      plan_ramp, ramp_with, steps_in, wire_time)


@pytest.mark.parametrize("text, ps", [
    ("2ps", "2"), ("0.5 fs", "0.0005"), ("1e3fs", "1"), ("1NS", "1000"), (" 250fs ", "0.25"),
    (".5ps", "0.5"),
])
def test_times_are_read_with_their_unit_and_exactly(text, ps):
    assert parse_time(text) == Decimal(ps)


@pytest.mark.parametrize("text", [
    "2", "", "ps", "-1ps", "1 h", "1.2.3ps", "nan ps", "inf", "2 p s"])
def test_what_is_no_time_is_refused_with_what_to_write(text):
    with pytest.raises(UsageError, match="as 0.5fs or 2ps"):
        parse_time(text)


def test_a_number_alone_takes_the_unit_of_its_place():
    assert parse_time("0.5", "fs") == Decimal("0.0005")
    assert parse_time(2, "ps") == 2


def test_times_are_shown_as_people_write_them():
    assert format_time(Decimal("0.0005")) == "0.5 fs"
    assert format_time(Decimal("20")) == "20 ps"
    assert format_time(Decimal("0.25")) == "250 fs"


# ---- steps --------------------------------------------------------------------------------------


@pytest.mark.parametrize("step", ["0.0005", "0.001", "0.0001", "0.0002", "0.00005", "0.002"])
def test_every_count_of_steps_can_be_had(step):
    step, draw = Decimal(step), random.Random(1)
    counts = [*range(300), *(draw.randrange(MOST_STEPS) for _ in range(3000)), MOST_STEPS]
    for count in counts:
        time = wire_time(count, step)
        assert np.float32(time) == time, "a number of the wire"
        # As the backend counts: the whole number above the quotient of the floats less a tenth.
        assert math.ceil(time / float(np.float32(step)) - 0.1) == count


def test_more_steps_than_floats_can_count_are_refused():
    with pytest.raises(UsageError, match="run it in parts"):
        wire_time(MOST_STEPS + 1, Decimal("0.001"))


def test_floats_below_a_number_are_not_above_it():
    draw = random.Random(2)
    for value in [10.0, 0.1, 100 / 3, *(draw.uniform(1e-3, 1e3) for _ in range(1000))]:
        found = float_below(value)
        assert found <= value < float(np.nextafter(np.float32(found), np.float32(np.inf)))
        assert as_float(found) == found


# ---- temperature --------------------------------------------------------------------------------


def targets(start, end, steps, by):
    """What the backend does in a phase by itself: every period-th step moves its target by `by`; in
    heating the last step of the phase, in cooling the last rescaling, takes the end."""
    period = math.ceil(steps * by / abs(end - start) - 0.1)
    assert period >= 1, "refused as too short"
    way = by if end > start else -by
    heating, cooling, heat, cool = [], [], start, start
    for step in range(1, steps + 1):
        if step % period == 0:
            heat = end if step == steps else heat + way
            heating.append(heat)
        if (step - 1) % period == 0:
            cool = end if step > steps - period else cool + way
            cooling.append(cool)
    return heating, cooling


RANGES = [(0, 300), (10, 300), (300, 10), (77.7, 298.15), (300, 0), (0, 1000.3), (1, 1.5)]
COUNTS = [*range(1, 120, 3), 500, 999, 1000, 1001]
WANTED = [0.5, 1, 3, 7, 10, 30, 45, 100, 299, 300, 500]


@pytest.mark.parametrize("start, end", RANGES)
def test_a_planned_ramp_lands_and_never_passes_its_end(start, end):
    start, end = as_float(start), as_float(end)
    for count, wanted in itertools.product(COUNTS, WANTED):
        ramp = plan_ramp(start, end, count, wanted)
        assert count <= ramp.steps <= count + ramp.changes - 1
        heating, cooling = targets(start, end, ramp.steps, ramp.by)
        assert len(heating) == len(cooling) == ramp.changes
        for found in (heating, cooling):
            assert found[-1] == end
            assert all(min(start, end) <= t <= max(start, end) for t in found)


@pytest.mark.parametrize("start, end", RANGES)
def test_a_ramp_by_a_given_change_lands_too(start, end):
    start, end = as_float(start), as_float(end)
    for count, by in itertools.product(COUNTS, WANTED):
        ramp = ramp_with(start, end, count, as_float(by))
        _, cooling = targets(start, end, ramp.steps, ramp.by)
        assert cooling[-1] == end
        assert all(min(start, end) - 1e-9 <= t <= max(start, end) + 1e-9 for t in cooling)


def test_where_nothing_changes_there_is_no_ramp():
    for ramp in (plan_ramp(300, 300, 100, 10), plan_ramp(0, 300, 0, 10), ramp_with(5, 5, 9, 1.0)):
        assert (ramp.steps, ramp.changes, ramp.period) == (0, 0, 0)


def test_a_time_step_shorter_than_any_has_no_steps():
    assert steps_in(0.0, 0.001) == 0
