"""Mixed conversations by the hundred, and their packets: every method, many molecules, options,
jobs and plots, several sessions to a process, good requests and bad ones. The same seed gives the
same conversations, so that two programs, or one before and after a change, can be compared to the
bit:

    cd tests/link
    PYTHONPATH=../../python:../windows /usr/bin/python3 mixed_conversations.py record QSOLVE FILE
    PYTHONPATH=../../python:../windows /usr/bin/python3 mixed_conversations.py compare FILE FILE

`record` takes a copy of the program, which then runs without its twin for modern processors.
"""

from __future__ import annotations

import pickle
import random
import sys
import tempfile
from collections import Counter
from pathlib import Path

import numpy as np
from peers import SocketPeer, copy_program
from sessions import (ETHANE_PART, KEYS, WATER, Step, again, calculation, first, options,
                      restraint_steps)

from orbitrax.link import wire
from orbitrax.molecules.molecule import Molecule

SEED, COUNT = 20, 600


def _molecule(rows) -> Molecule:
    masses = {1: 1.008, 6: 12.011, 7: 14.007, 8: 15.999, 9: 18.998, 16: 32.06, 17: 35.45}
    return Molecule([row[0] for row in rows], [row[1:] for row in rows],
                    masses=[masses[row[0]] for row in rows])


MOLECULES = [
    WATER,
    ETHANE_PART,
    _molecule([(1, 0, 0, 0)]),
    _molecule([(1, 0, 0, 0), (1, 0.74, 0, 0)]),
    _molecule([(8, 0, 0, 1.21), (6, 0, 0, 0), (1, 0, 0.94, -0.59), (1, 0, -0.94, -0.59)]),
    _molecule([(6, 0, 0, 0.1), (1, 1.08, 0, 0), (1, -0.54, 0.94, 0), (1, -0.54, -0.94, 0)]),
    _molecule([(7, 0, 0, 0), (1, 0.94, 0, 0.38), (1, -0.47, 0.81, 0.38), (1, -0.47, -0.81, 0.38)]),
    _molecule([(6, 0, 0, 0), (7, 1.15, 0, 0), (1, -1.07, 0, 0)]),
    _molecule([(9, 0, 0, 0), (1, 0.92, 0, 0)]),
    _molecule([(17, 0, 0, 0), (1, 1.28, 0, 0)]),
    _molecule([(16, 0, 0, 0), (1, 1.34, 0, 0), (1, -0.06, 1.34, 0)]),
]
KINDS = [0] * 14 + [1] * 8 + [3, 9, -1]
EXTENSIONS = [0, wire.PRECISE_RESULTS, wire.PRECISE_RESULTS, 1, -1, 0x3158524E]


def _some(rng: random.Random, *choices):
    return rng.choice(choices)


def _moved(rng: random.Random, molecule: Molecule) -> Molecule:
    """The molecule with every atom a little off its place, and turned towards no axis."""
    turn, _ = np.linalg.qr(np.array([[rng.gauss(0, 1) for _ in range(3)] for _ in range(3)]))
    off = np.array([[rng.uniform(-0.04, 0.04) for _ in range(3)] for _ in molecule.numbers])
    return Molecule(molecule.numbers, (molecule.positions + off) @ turn, masses=molecule.masses)


def _plot(rng: random.Random) -> dict:
    return {"fPlot": 1, "nPlotKind": _some(rng, 0, 1, 2, 2, 3, 4, 5),
            "nPlotOrbitalMode": rng.randrange(3), "nPlotOrbitalOffset": rng.randrange(4),
            "nGridCols": rng.randrange(0, 14), "nGridRows": rng.randrange(1, 14),
            "nPlotPlanes": rng.randrange(0, 4), "fPlotBetaSpin": rng.randrange(2),
            "flPlotGrid": [rng.uniform(-3, 0) for _ in range(3)]
            + [rng.uniform(0, 0.6) for _ in range(6)]}


def _run(rng: random.Random, molecule: Molecule) -> dict:
    charge = _some(rng, 0, 0, 0, 1, -1)
    electrons = int(sum(molecule.numbers)) - charge
    fitting = 1 + electrons % 2 + _some(rng, 0, 0, 0, 2)
    run = {"nExtensions": _some(rng, *EXTENSIONS), "nTotalCharge": charge,
           "nMultiplicity": _some(rng, *[fitting] * 8, 0, 8),
           "nSpinTreatment": int(rng.random() < 0.35),
           "flConvergenceLimit": _some(rng, 1e-6, 1e-4, 1e-2, 0.1),
           "nIterationLimit": _some(rng, 100, 100, 50, 12, 4), "fDiis": rng.randrange(2),
           "nLogLevel": _some(rng, 0, 0, 0, 1, 2, 3, 4, 8, 9, 10),
           "nLevelShiftStart": _some(rng, 0, 1, 1, 5, -3),
           "flOverlapSigma": _some(rng, 1.0, 1.267), "flOverlapPi": _some(rng, 1.0, 0.585),
           "fNextLowestState": int(rng.random() < 0.06), "fSendOrbitals": rng.randrange(2)}
    return run | (_plot(rng) if rng.random() < 0.3 else {})


def _job(rng: random.Random) -> dict:
    return {"nCalcKind": _some(rng, *KINDS), "nOptimiser": _some(rng, 0, 1, 2, 2, 3),
            "nMaxCycles": _some(rng, 0, 1, 4, 9), "flRmsGradient": _some(rng, 0.01, 0.5, 40.0),
            "nReportPeriod": _some(rng, 0, 1, 1, 2, -1), "fShowWarnings": rng.randrange(2),
            "fPeriodicBox": int(rng.random() < 0.1), "flBoxX": 6.0, "flBoxY": 6.0, "flBoxZ": 6.0}


def _restraints(rng: random.Random, atoms: int) -> list[Step] | None:
    if atoms < 4 or rng.random() < 0.7:
        return None
    records = np.zeros(4, wire.RESTRAINT_RECORD)
    records["nKind"] = range(4)
    records["nAtom"] = rng.sample(range(atoms), 4)
    records["flForceConstant"] = [rng.uniform(1, 50) for _ in range(4)]
    for name in ("flTarget", "flTargetY", "flTargetZ"):
        records[name] = [rng.uniform(0.5, 2.0) for _ in range(4)]
    return restraint_steps([1, 1, 1, 1], records)


def _with_charges(rng: random.Random, steps: list[Step]) -> list[Step]:
    """The steps with a charge on each atom, which those outside the selection keep."""
    def charged(step: Step) -> Step:
        if step.name != "atoms":
            return step
        records = np.frombuffer(step.payload, wire.ATOM_RECORD).copy()
        records["flCharge"] = [rng.uniform(-0.3, 0.3) for _ in records]
        return step._replace(payload=records.tobytes())
    return [charged(step) for step in steps]


def session(rng: random.Random, method: str) -> list[Step]:
    """A session that calculates."""
    molecule = _moved(rng, _some(rng, *MOLECULES))
    part = len(molecule.numbers) > 2 and rng.random() < 0.2
    chosen = list(range(1, len(molecule.numbers))) if part else None
    steps = calculation(method, molecule, _run(rng, molecule), _job(rng),
                        _restraints(rng, len(molecule.numbers)), chosen)
    return _with_charges(rng, steps)


def _afterwards(rng: random.Random) -> list[Step]:
    """A session that only asks for what the last one left."""
    return options({"fCalculate": 0, "fSendOrbitals": rng.randrange(2)} | _plot(rng))


def conversation(number: int, program: Path) -> list[list[tuple[int, bytes]]]:
    """The packets of each session of one process, as (type, payload)."""
    rng = random.Random(f"{SEED} {number}")
    method = KEYS[number % len(KEYS)]
    peer, sessions = SocketPeer(program=program), []
    for i in range(rng.randrange(1, 4)):
        calculates = i == 0 or rng.random() < 0.5
        steps = session(rng, method) if calculates else _afterwards(rng)
        # A refused intake takes fewer steps than there are.
        said = (first(peer, steps, method, whole=False) if i == 0 else
                again(peer, steps, whole=False))
        sessions.append([(packet.kind, packet.payload) for packet in said.packets])
    peer.finish()
    return sessions


def record(program: Path, count: int = COUNT) -> list:
    """All conversations."""
    with tempfile.TemporaryDirectory() as folder:
        alone = copy_program(Path(folder), source=program)
        return [conversation(number, alone) for number in range(count)]


def differences(ours: list, theirs: list) -> list[str]:
    """What is not the same, a line for each conversation: the first packet that differs."""
    found = [] if len(ours) == len(theirs) else [f"{len(ours)} and {len(theirs)} conversations"]
    for number, pair in enumerate(zip(ours, theirs)):
        a, b = ([packet for session in sessions for packet in session] for sessions in pair)
        if a != b:
            i = next((i for i, (x, y) in enumerate(zip(a, b)) if x != y), min(len(a), len(b)))
            found.append(f"conversation {number}, packet {i}: {a[i:i + 1]} and {b[i:i + 1]}")
    return found


def main(command: str, first_file: str, second_file: str) -> int:
    """`record` or `compare`, as the head of this file tells."""
    if command == "record":
        conversations = record(Path(first_file))
        Path(second_file).write_bytes(pickle.dumps(conversations))
        kinds = Counter(kind for c in conversations for s in c for kind, _ in s)
        print(f"{len(conversations)} conversations, {sum(kinds.values())} packets: {dict(kinds)}")
        return 0
    found = differences(*(pickle.loads(Path(name).read_bytes())
                          for name in (first_file, second_file)))
    print("\n".join([*found, f"{len(found)} conversations differ"]))
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
