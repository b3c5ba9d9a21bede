"""States of a configuration interaction in double precision, as they come over the link.

All words are 32 bits, all numbers doubles:

    kind (1 singles, 2 microstates), configurations, states that follow, contributions that follow,
    number of the lowest orbital of the window (from 1), orbitals of it, alpha and beta electrons in
    it, place of the state of the job, 0
    for each state: eigenvector, contributions; energy above the SCF (eV), S(S+1), S, oscillator
        strength, dipole (3), transition dipole (3)
    for each contribution, in the order of the states: spin, hole, particle, 0; coefficient
"""

from __future__ import annotations

import math
import struct

from orbitrax.errors import ProtocolError

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any, NoReturn

    Rows = list[tuple[Any, ...]]

_HEAD = struct.Struct("<10i")
_NAMES = ("kind", "configurations", "states", "contributions", "first_level", "levels", "alpha",
          "beta", "wanted")
_STATE = struct.Struct("<2i10d")
_CONTRIBUTION = struct.Struct("<3i4xd")
_KINDS = (1, 2)


def read_ci_states(data: bytes) -> tuple[dict[str, int], Rows, Rows]:
    """The head by name, the states and the contributions that a section holds. Raises
    ProtocolError for one whose words do not agree with its length or with each other, or whose
    numbers are not finite."""
    if len(data) < _HEAD.size:
        _refuse(f"are {len(data)} bytes long")
    head = dict(zip(_NAMES, _HEAD.unpack_from(data)))
    _check_head(head)
    states_end = _HEAD.size + _STATE.size * head["states"]
    if len(data) != states_end + _CONTRIBUTION.size * head["contributions"]:
        _refuse(f"are {len(data)} bytes long, which does not fit their counts")
    states: Rows = list(_STATE.iter_unpack(data[_HEAD.size:states_end]))
    contributions = list(_CONTRIBUTION.iter_unpack(data[states_end:]))
    _check_rows(head, states, contributions)
    return head, states, contributions


def _check_head(head: dict[str, int]) -> None:
    if head["kind"] not in _KINDS:
        _refuse(f"are of the unknown kind {head['kind']}")
    if not 1 <= head["states"] <= head["configurations"] or head["contributions"] < 0:
        _refuse(f"are {head['states']} of {head['configurations']} configurations, with "
                f"{head['contributions']} contributions")
    electrons = (head["alpha"], head["beta"])
    if head["first_level"] < 1 or not all(0 <= n <= head["levels"] for n in electrons):
        _refuse(f"have {electrons[0]} and {electrons[1]} electrons in {head['levels']} orbitals "
                f"from {head['first_level']}")
    if not 0 <= head["wanted"] < head["states"]:
        _refuse(f"are {head['states']} without the state {head['wanted']} of the job")


def _check_rows(head: dict[str, int], states: list[tuple[Any, ...]],
                contributions: list[tuple[Any, ...]]) -> None:
    counts = [row[1] for row in states]
    if min(counts) < 0 or sum(counts) != len(contributions):
        _refuse("have other counts of contributions than these are")
    if not all(math.isfinite(x) for row in states for x in row[2:]) or not all(
            math.isfinite(row[3]) for row in contributions):
        _refuse("hold a number that is not finite")
    last = head["first_level"] + head["levels"] - 1
    for kind, hole, particle, _ in contributions:
        if not _makes_sense(kind, hole, particle, head["first_level"], last):
            _refuse(f"hold a configuration {kind} {hole} {particle}, which there is not")


def _makes_sense(kind: int, hole: int, particle: int, first: int, last: int) -> bool:
    if kind == -1:
        return hole == particle == 0
    if kind in (0, 1):
        return first <= hole < particle <= last
    full = 1 << (last - first + 1)
    return kind == 2 and 0 <= hole < full and 0 <= particle < full


def _refuse(what: str) -> NoReturn:
    raise ProtocolError(f"the states that the backend sent {what}")
