"""The catalogue of conversations: every method and kind of job, restricted and unrestricted, on the
smallest molecule that reaches it. What must hold of any conversation is tested over these.

A row of KINDS is a kind; `catalogue()` is all of them, `sample()` one of each method and each kind
at least once.
"""

from __future__ import annotations

from typing import NamedTuple

import numpy as np
from peers import names
from sessions import (ETHANE_PART, IDLE, KEYS, SERVICE, TOPIC, WATER, Step, Transcript, calculation,
                      fetch, options, poke, reset, restraint_steps, tables, word)

from orbitrax.link import wire
from orbitrax.molecules.molecule import Molecule

HYDROGEN = Molecule([1, 1], [[0.0, 0.0, 0.0], [0.75, 0.0, 0.0]], masses=[1.008, 1.008])
RESTRAINED, CAPPED = "restrained", "capped"

_SHORT = {"nMaxCycles": 2, "flRmsGradient": 0.05, "nReportPeriod": 1, "fShowWarnings": 1}
_MOTION = {"flStartTemp": 300.0, "flSimTemp": 300.0, "flFinalTemp": 300.0, "flHeatTime": 0.0,
           "flRunTime": 0.002, "flTimeStep": 0.001, "nRandomSeed": 7, "flFriction": 1.0,
           "nReportPeriod": 1}
_GRID = {"nGridCols": 3, "nGridRows": 3, "nPlotPlanes": 2,
         "flPlotGrid": [-1.0, -1.0, -1.0, 0.7, 0.0, 0.0, 0.0, 0.7, 0.0]}
_CI = {"nCiKind": 2, "nCiSelection": 1, "nCiOccupied": 1, "nCiUnoccupied": 1}


class Kind(NamedTuple):
    """A kind of conversation: options that differ from the usual ones, for a session that
    calculates, and for one that follows it."""

    run: dict
    job: dict
    more: str = ""
    after: dict | None = None
    spins: tuple[int, ...] = (0, 1)


KINDS = {
    "single": Kind({"nLogLevel": 1}, {}),
    "sections": Kind({"nExtensions": wire.SECTIONS_MARK | 0x7f}, {}),
    "cation": Kind({"nTotalCharge": 1, "nMultiplicity": 2}, {}),
    "capped": Kind({}, {}, CAPPED),
    "capped and restrained": Kind({}, _SHORT | {"nCalcKind": 1, "nOptimiser": 2}, RESTRAINED),
    "steepest descent": Kind({}, _SHORT | {"nCalcKind": 1, "nOptimiser": 0}),
    "Fletcher-Reeves": Kind({}, _SHORT | {"nCalcKind": 1, "nOptimiser": 1}),
    "Polak-Ribiere": Kind({}, _SHORT | {"nCalcKind": 1, "nOptimiser": 2}),
    "eigenvector following": Kind({"nFollowMode": 1}, _SHORT | {"nCalcKind": 1, "nOptimiser": 4}),
    "transition state": Kind({"nFollowMode": 1, "fTsSearch": 1, "fComputeHessian": 1},
                             _SHORT | {"nCalcKind": 5}),
    "linear transit": Kind({}, _SHORT | {"nCalcKind": 6}),
    "quadratic transit": Kind({"nFollowMode": 1}, _SHORT | {"nCalcKind": 6}),
    "dynamics": Kind({}, _MOTION | {"nCalcKind": 2}),
    "Langevin": Kind({}, _MOTION | {"nCalcKind": 7}),
    "Monte Carlo": Kind({}, _MOTION | {"nCalcKind": 8, "flRunTime": 3, "flTimeStep": 0.05}),
    "vibrations": Kind({"fComputeForceMatrix": 1}, {"nCalcKind": 4}),
    "CI": Kind(_CI | {"nCiKind": 1}, {}, spins=(0,)),
    "microstates": Kind(_CI, {}, spins=(0,)),
    "kept orbitals": Kind({}, {}, after={"fSendOrbitals": 1}),
    **{f"plot {kind}": Kind({}, {}, after=_GRID | {"fPlot": 1, "nPlotKind": kind,
                                                   "nPlotOrbitalMode": 1}, spins=(kind == 4,))
       for kind in range(5)},
}


class Conversation(NamedTuple):
    """A conversation of the catalogue: its sessions, the first without the parameter tables."""

    name: str
    method: str
    sessions: list[list[Step]]


def _restraints() -> list[Step]:
    records = np.zeros(4, wire.RESTRAINT_RECORD)
    records["nKind"] = range(4)
    records["nAtom"] = [0, 1, 2, 3]
    records["flForceConstant"] = 5.0
    records["flTarget"] = [0.2, 1.1, 1.9, 1.0]
    return restraint_steps([1, 1, 1, 1], records)


def _conversation(method: str, name: str, spin: int) -> Conversation:
    kind = KINDS[name]
    molecule = ETHANE_PART if kind.more else HYDROGEN if name == "Monte Carlo" else WATER
    run = {"nSpinTreatment": spin} | kind.run
    restraints = _restraints() if kind.more == RESTRAINED else None
    chosen = [1, 2, 3, 4] if kind.more else None
    sessions = [calculation(method, molecule, run, kind.job, restraints, chosen)]
    if kind.after is not None:
        sessions.append(options({"fCalculate": 0, **kind.after}))
    return Conversation(f"{method} {name}{' UHF' if spin else ''}", method, sessions)


def catalogue() -> list[Conversation]:
    """All conversations."""
    return [_conversation(method, name, spin) for method in KEYS
            for name, kind in KINDS.items() for spin in kind.spins]


def sample() -> list[Conversation]:
    """A conversation of each kind, over the methods in turn."""
    return [_conversation(KEYS[i % len(KEYS)], name, kind.spins[i % len(kind.spins)])
            for i, (name, kind) in enumerate(KINDS.items())]


# ---- played by a client that takes what comes  -----------------------------------------------


def tell(peer, conversation: Conversation, steps: list[Step]) -> Transcript:
    """A session that has been started, to its end. A process that has not got the tables, or has
    failed to take them, says so by the packet that it begins with."""
    transcript, steps = Transcript(), list(steps)
    while (packet := fetch(peer)) != IDLE:
        if not transcript.packets and packet.payload == wire.word(1):
            steps = [*tables(conversation.method), *steps]
        transcript.packets.append(packet)
        if packet.kind == wire.REQUEST_NEXT:
            assert transcript.told < len(steps), "the backend asks for more than there is"
            assert poke(peer, steps[transcript.told].packet()) == wire.ACKNOWLEDGED
            transcript.told += 1
    return transcript


def hold(peer, conversation: Conversation) -> list[Transcript]:
    """A whole conversation with a fresh process, and what it said in each session."""
    assert word(peer.ask(wire.CONNECT, names(SERVICE, TOPIC))) == 1
    found = [tell(peer, conversation, conversation.sessions[0])]
    for steps in conversation.sessions[1:]:
        reset(peer)
        found.append(tell(peer, conversation, steps))
    return found


def content(transcripts: list[Transcript]) -> list[list[tuple[int, bytes]]]:
    """What was said, to be compared to the bit."""
    return [[(packet.kind, packet.payload) for packet in transcript.packets]
            for transcript in transcripts]
