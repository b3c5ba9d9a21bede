"""Sessions as a client knows them: what the backend asks for, step by step, and what it says."""

from __future__ import annotations

import functools
import struct
from typing import NamedTuple

import numpy as np
from peers import names

from orbitrax.link import wire
from orbitrax.job import Job
from orbitrax.methods import METHODS, find_method
from orbitrax.molecules.molecule import Molecule
from orbitrax.session import encode
from orbitrax.tables import load_parameters

KEYS = [method.key for method in METHODS]
SERVICE, TOPIC = "qsolve", "CalcBackend"
ITEM = names("Packet")
IDLE, RUNNING = 0, 1
TEXTS = (wire.LOG_LINE, wire.STATUS_LINE, wire.WARNING_LINE, wire.ERROR_LINE, wire.DEBUG_LINE)

# Bytes of the parameter block of each method.
BLOCK_BYTES = {"cndo": 10368, "indo": 10368, "mindo3": 42000, "mndo": 42000, "am1": 92400,
               "pm3": 92400, "zindo1": 27648, "zindos": 30240, "mndod": 42000}

NOTHING_TO_PLOT = ("Unable to graph since calculation has not yet been performed, please repeat "
                   "the semi-empirical calculation.")
NO_FORCE_MATRIX = ("The force matrix isn't available, please choose Compute/Vibrations to "
                   "calculate the force matrix.")

WATER = Molecule([8, 1, 1], [[0.0, 0.0, 0.0], [0.96, 0.0, 0.0], [-0.24, 0.93, 0.0]],
                 masses=[15.999, 1.008, 1.008])
# The bond that a selection of the first three atoms cuts is closed by the carbon behind it.
ETHANE_PART = Molecule([6, 1, 1, 1, 6], [[0.0, 0.0, 0.0], [-0.39, 1.02, 0.0], [-0.39, -0.51, 0.88],
                                         [-0.39, -0.51, -0.88], [1.53, 0.0, 0.0]],
                       masses=[12.011, 1.008, 1.008, 1.008, 12.011])


def grid(count: int) -> Molecule:
    """Helium atoms on a wide line."""
    positions = np.zeros((count, 3))
    positions[:, 0] = 3.0 * np.arange(count)
    return Molecule([2] * count, positions, masses=[4.0026] * count)


class Step(NamedTuple):
    """What the backend asks for at one place of a session. `name` is what it calls it, None where
    it takes any length; `length` what the header is to say instead of the truth."""

    name: str | None
    payload: bytes
    kind: int = wire.DATA
    length: int | None = None

    def packet(self) -> bytes:
        packet = wire.packet(self.payload, self.kind)
        return packet if self.length is None else wire.word(self.length) + packet[4:]


class Packet(NamedTuple):
    """A packet of the backend, with its header."""

    length: int
    kind: int
    destination: int
    source: int
    payload: bytes

    @property
    def text(self) -> str:
        return self.payload[:-1].decode()


# ---- what a client tells ------------------------------------------------------------------------


@functools.lru_cache(None)
def _tables(method: str):
    return load_parameters(method)


def tables(method: str, block: bytes | None = None) -> list[Step]:
    """The steps that only the first session of a process has."""
    own = _tables(method)
    steps = [Step(None, wire.word(4)), Step("parameter method", wire.word(own.method.number)),
             Step("parameters", block or own.block)]
    if own.pairs:
        steps.append(Step("count of bond pairs", wire.word(len(own.pairs) // 32)))
        steps.append(Step("bond pairs", own.pairs))
    return steps


def options(run: dict | None = None, job: dict | None = None,
            base: Job | None = None) -> list[Step]:
    """The three steps that every session has."""
    base = base or Job(WATER, "am1", precise=False, log_level=0)
    run_options = np.frombuffer(encode.run_options(base), wire.RUN_OPTIONS)[0].copy()
    job_options = np.frombuffer(encode.job_options(base), wire.JOB_OPTIONS)[0].copy()
    for record, changes in ((run_options, run), (job_options, job)):
        for name, value in (changes or {}).items():
            record[name] = value
    return [Step("debug word", wire.word(0), wire.DEBUG_FLAG),
            Step("run options", run_options.tobytes()), Step("job options", job_options.tobytes())]


def chunks(name: str, data: bytes, size: int) -> list[Step]:
    return [Step(name, data[i:i + size]) for i in range(0, len(data), size)]


def molecule_steps(base: Job) -> list[Step]:
    return [Step("atom count", wire.word(len(base.molecule))),
            *chunks("atoms", encode.atom_records(base), 170 * 96)]


def restraint_steps(counts: list[int], records: np.ndarray | bytes = b"") -> list[Step]:
    data = records if isinstance(records, bytes) else records.tobytes()
    steps = [Step("restraint counts", struct.pack("<4i", *counts))]
    for count in counts:
        steps += chunks("restraints", data[:36 * count], 16384)
        data = data[36 * count:]
    return steps


def calculation(method: str = "am1", molecule: Molecule = WATER, run: dict | None = None,
                job: dict | None = None, restraints: list[Step] | None = None,
                select: list[int] | None = None, method_id: int | None = None) -> list[Step]:
    """The steps of a session that calculates, the tables apart."""
    base = Job(molecule, method, select=select, precise=False, log_level=0)
    if restraints:
        job = {**(job or {}), "fRestraints": 1}
    block = bytearray(encode.selection_block(base))
    block[32:36] = wire.word(find_method(method).number if method_id is None else method_id)
    steps = [*options(run, job, base), *molecule_steps(base), *(restraints or []),
             Step("selection", bytes(block))]
    if (job or {}).get("nCalcKind") == 6:
        here = molecule.positions.astype("<f4")
        there = (molecule.positions * 1.01).astype("<f4")
        steps += [Step("reactant", here.tobytes()), Step("product", there.tobytes())]
    return steps


# ---- how it tells it ----------------------------------------------------------------------------


def connect(peer, service: str = SERVICE, topic: str = TOPIC) -> int:
    """Asks for the conversation; 1 when it is given."""
    return word(peer.ask(wire.CONNECT, names(service, topic)))


def reset(peer, command: str = "[reset]") -> None:
    assert word(peer.ask(wire.EXECUTE, names(command))) == wire.ACKNOWLEDGED


def poke(peer, packet: bytes, item: bytes = ITEM) -> int:
    return word(peer.ask(wire.POKE, item + packet))


def word(answer: bytes) -> int:
    assert len(answer) == 4
    return int.from_bytes(answer, "little")


def decode(answer: bytes) -> Packet | int:
    """A packet, or the state of the session."""
    if len(answer) == 4:
        return word(answer)
    length, kind, destination, source, _ = struct.unpack_from("<5i", answer)
    assert length == len(answer) - wire.HEADER_BYTES
    assert (destination, source) == (wire.NODE_FRONTEND, wire.NODE_BACKEND)
    if kind in TEXTS:
        assert answer[-1:] == b"\0" and b"\0" not in answer[wire.HEADER_BYTES:-1]
    if kind == wire.REQUEST_NEXT:
        assert answer[wire.HEADER_BYTES:] == b"\0"
    return Packet(length, kind, destination, source, answer[wire.HEADER_BYTES:])


def fetch(peer) -> Packet | int:
    """The next packet, or 0 when no session runs."""
    return decode(peer.ask(wire.REQUEST, ITEM))


class Transcript:
    """What the backend said in one session."""

    def __init__(self):
        self.packets: list[Packet] = []
        self.told = 0  # steps that it took

    def texts(self, kind: int) -> list[str]:
        return [packet.text for packet in self.packets if packet.kind == kind]

    @property
    def errors(self) -> list[str]:
        return self.texts(wire.ERROR_LINE)

    @property
    def kinds(self) -> list[int]:
        return [packet.kind for packet in self.packets]

    @property
    def after_intake(self) -> list[Packet]:
        """What came after the last demand."""
        last = max((i for i, kind in enumerate(self.kinds) if kind == wire.REQUEST_NEXT),
                   default=-1)
        return self.packets[last + 1:]


def play(peer, steps: list[Step], whole: bool = True, asked: bool = False) -> Transcript:
    """Runs a session that has been started to its end. With `whole` it must take all steps; with
    `asked` the demand for the first has been fetched already."""
    transcript = Transcript()
    if asked:
        assert poke(peer, steps[0].packet()) == wire.ACKNOWLEDGED
        transcript.told = 1
    while (packet := fetch(peer)) != IDLE:
        transcript.packets.append(packet)
        if packet.kind == wire.REQUEST_NEXT:
            assert transcript.told < len(steps), "the backend asks for more than there is"
            assert poke(peer, steps[transcript.told].packet()) == wire.ACKNOWLEDGED
            transcript.told += 1
    assert not whole or transcript.told == len(steps), transcript.errors
    return transcript


def first(peer, steps: list[Step], method: str = "am1", whole: bool = True) -> Transcript:
    """Connects and runs the first session of a process."""
    assert connect(peer) == 1
    return play(peer, [*tables(method), *steps], whole)


def again(peer, steps: list[Step], whole: bool = True) -> Transcript:
    """Runs a further session."""
    reset(peer)
    return play(peer, steps, whole)


def ready(peer, method: str = "am1") -> None:
    """Connects, sends the tables and ends with no session running."""
    transcript = first(peer, options(run={"fCalculate": 0}), method)
    assert transcript.after_intake == []


def to_demand(peer, told: list[Step] = ()) -> None:
    """Goes on until the backend has asked for what follows the steps `told` and waits for it."""
    told = list(told)
    while True:
        packet = fetch(peer)
        if packet.kind != wire.REQUEST_NEXT:
            continue
        if not told:
            return
        assert poke(peer, told.pop(0).packet()) == wire.ACKNOWLEDGED
