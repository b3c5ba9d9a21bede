"""Plans a run: from what a person wants to the numbers of the wire, which are single precision.

The backend counts the steps of a phase as the whole number above t / dt - 0.1, with both as floats
of the wire, and changes the temperature of a heating or cooling in steps of one size, every so many
steps. A plan made here has exactly the steps it says, and its last change lands on its goal.
"""

from __future__ import annotations

import math
import re
import struct
from decimal import Decimal

from orbitrax.errors import UsageError

LEAST_STEP = Decimal("1e-6")  # ps; the backend doubts shorter ones
MOST_STEPS = 10_000_000  # of a phase; beyond, floats no longer tell all steps apart

_UNITS = {"fs": Decimal("0.001"), "ps": Decimal(1), "ns": Decimal(1000)}
_TIME = re.compile(r"\s*((?:\d{1,20}\.?\d{0,20}|\.\d{1,20})(?:e[-+]?\d\d?)?)\s*([a-z]*)\s*",
                   re.IGNORECASE | re.ASCII)


def parse_time(text: str | float | Decimal, unit: str | None = None) -> Decimal:
    """A time in ps from "2ps", "0.5 fs" or "1e3fs". A number without unit is taken in `unit`, and
    refused where that is None. Raises UsageError for what is no time."""
    found = _TIME.fullmatch(str(text))
    word = (found[2].lower() or unit) if found else None
    if found is None or word not in _UNITS:
        raise UsageError(f"{text!r} is no time: say it in fs, ps or ns, as 0.5fs or 2ps")
    return Decimal(found[1]) * _UNITS[word]


def format_time(time: Decimal) -> str:
    """A time in ps as a person would write it: 500 fs, 2 ps."""
    name, scale = ("fs", _UNITS["fs"]) if time < 1 else ("ps", _UNITS["ps"])
    return f"{(time / scale).normalize():f} {name}"


def as_float(value: float | Decimal) -> float:
    """The nearest single-precision number."""
    found: float = struct.unpack("<f", struct.pack("<f", float(value)))[0]
    return found


def float_below(value: float) -> float:
    """The greatest single-precision number that is not above a positive value."""
    nearest = as_float(value)
    return nearest if nearest <= value else _neighbour(nearest, -1)


def _neighbour(value: float, by: int) -> float:
    """The single-precision number so many places beside a positive one."""
    word = struct.unpack("<i", struct.pack("<f", value))[0] + by
    found: float = struct.unpack("<f", struct.pack("<i", word))[0]
    return found


def steps_in(time: float, step: float) -> int:
    """How many steps the backend makes of two floats."""
    return max(0, math.ceil(time / step - 0.1))


def wire_time(steps: int, step: Decimal) -> float:
    """The float that makes the backend count so many steps. Raises UsageError for more than
    MOST_STEPS."""
    if steps > MOST_STEPS:
        raise UsageError(f"{steps} steps are more than one run can count, which is {MOST_STEPS}; "
                         "run it in parts, each going on from the last")
    if steps == 0:
        return 0.0
    single = as_float(step)
    nearest = as_float(steps * single)
    for value in (nearest, _neighbour(nearest, 1), _neighbour(nearest, -1)):
        if steps_in(value, single) == steps:
            return value
    raise UsageError(f"{steps} steps of {format_time(step)} cannot be counted")


class Ramp:
    """A change of temperature: `changes` of `by` K, the first one after `period` steps, then every
    `period` steps, `steps` in all. by: a float of the wire."""

    def __init__(self, steps: int, changes: int, by: float):
        self.steps, self.changes, self.by = steps, changes, by

    @property
    def period(self) -> int:
        """Steps from one change to the next; 0 without any."""
        return self.steps // self.changes if self.changes else 0


def plan_ramp(start: float, end: float, steps: int, wanted: float) -> Ramp:
    """A ramp between two temperatures in about so many steps and by about so many K a change: its
    last change lands on the end to the bit, and no step passes it. It is at most as many steps
    longer as it has changes, less one."""
    distance = abs(as_float(end) - as_float(start))
    if distance < 1e-6 or steps < 1:
        return Ramp(0, 0, as_float(wanted))
    changes = max(1, min(steps, math.ceil(distance / wanted)))
    return Ramp(changes * -(-steps // changes), changes, float_below(distance / changes))


def ramp_with(start: float, end: float, steps: int, by: float) -> Ramp:
    """The same where the size of a change is given, because another phase has chosen it: it lands
    with its last change, which may be smaller."""
    distance = abs(as_float(end) - as_float(start))
    if distance < 1e-6 or steps < 1:
        return Ramp(0, 0, by)
    changes = max(1, math.ceil(distance / by))
    return Ramp(changes * -(-steps // changes), changes, by)


class Schedule:
    """A run in time: what is done for how many steps, and what the wire is told of it. start: K, of
    the first velocities; temperature, end: K; step: ps; run: steps between the two ramps; by: K."""

    def __init__(self, step: Decimal, temperature: float, start: float, end: float, heating: Ramp,
                 run: int, cooling: Ramp, by: float):
        self.step, self.temperature, self.start, self.end = step, temperature, start, end
        self.heating, self.run, self.cooling, self.by = heating, run, cooling, by

    @property
    def steps(self) -> int:
        """Of all phases."""
        return self.heating.steps + self.run + self.cooling.steps

    def fields(self) -> dict[str, float]:
        """The fields of the options on the wire."""
        return {"flStartTemp": self.start, "flSimTemp": self.temperature, "flFinalTemp": self.end,
                "flHeatTime": wire_time(self.heating.steps, self.step),
                "flRunTime": wire_time(self.run, self.step),
                "flCoolTime": wire_time(self.cooling.steps, self.step),
                "flTimeStep": as_float(self.step), "flTempStep": self.by}


def plan_run(step: Decimal, time: Decimal, temperature: float, heat_time: Decimal = Decimal(0),
             heat_from: float = 0.0, cool_time: Decimal = Decimal(0), cool_to: float = 0.0,
             wanted: float = 10.0) -> Schedule:
    """A run of `time`, after a heating and before a cooling where these take time (ps). Heating
    starts at one change of temperature, since atoms at rest have nothing to be scaled. wanted: K,
    about how much the temperature changes at once."""
    heat_steps, cool_steps = _count(heat_time, step), _count(cool_time, step)
    start = temperature
    if heat_steps:
        start = max(heat_from, min(wanted, temperature))
    heating = plan_ramp(start, temperature, heat_steps, wanted)
    if heating.steps == 0 and cool_steps:
        cooling = plan_ramp(temperature, cool_to, cool_steps, wanted)
        by = cooling.by
    else:
        by = heating.by
        cooling = ramp_with(temperature, cool_to, cool_steps, by)
    return Schedule(step, temperature, start if heating.steps else temperature,
                    cool_to if cooling.steps else temperature, heating, _count(time, step),
                    cooling, by)


def _count(time: Decimal, step: Decimal) -> int:
    """Steps that a time takes, the last one whole."""
    return math.ceil(time / step)
