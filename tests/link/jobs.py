"""Jobs as lists of packets, each of which a test may bend, and the process that is given them.

Nothing here checks a job before it is sent: that is left to the process.
"""

from __future__ import annotations

import copy
import functools
import os
import re
import socket
import struct
import subprocess
import sys
import time
from dataclasses import dataclass, field
from pathlib import Path

import numpy as np

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "python"))

from peers import PATIENCE  # noqa: E402
from orbitrax.link import wire  # noqa: E402
from orbitrax import tables  # noqa: E402
from orbitrax.link.process import find_backend  # noqa: E402
from orbitrax.link.conversation import Conversation  # noqa: E402
from orbitrax.molecules.elements import SYMBOLS  # noqa: E402
from orbitrax.errors import LinkClosed, TimeLimitExceeded  # noqa: E402
from orbitrax.methods import find_method  # noqa: E402

SILENCE = PATIENCE  # seconds without a packet after which a process hangs
# Seconds after which a job that still sends packets is left alone: of the process's own work for a
# script as it stands, since by the clock a busy machine would cut sound sessions short.
AT_WORK = 0.1 * PATIENCE
MOST_DEMANDS = 1000  # more packets than any job here has

CHANNELS = {wire.LOG_LINE: "log", wire.STATUS_LINE: "status", wire.WARNING_LINE: "warning",
            wire.ERROR_LINE: "error", wire.DEBUG_LINE: "debug"}

load_parameters = functools.cache(tables.load_parameters)


# ---- jobs ---------------------------------------------------------------------------------------


@dataclass
class Script:
    """All that a client says of one job, in the records of the wire. `head` are the packets of the
    parameter tables, sent when the process asks for them: word size, method, block, pairs."""

    method: int
    head: list
    options: np.ndarray
    job: np.ndarray
    atoms: np.ndarray
    restraints: list = field(default_factory=list)
    debug: int = 0
    transit: list = field(default_factory=list)
    asked_method: int | None = None
    changed: dict = field(default_factory=dict)
    further: bytes | None = None  # sections, sent behind the job options

    def payloads(self) -> dict[str, bytes]:
        """The packets behind the head, by the names of their steps."""
        steps = {"debug word": wire.word(self.debug), "run options": self.options.tobytes(),
                 "job options": self.job.tobytes()}
        if self.further is not None:
            steps["further head"] = wire.word(2) + wire.word(len(self.further))
            steps["further options"] = self.further
        steps["atom count"] = wire.word(len(self.atoms))
        for i in range(0, len(self.atoms), wire.ATOMS_PER_CHUNK):
            name = "atoms" if i == 0 else f"atoms {i // wire.ATOMS_PER_CHUNK}"
            steps[name] = self.atoms[i:i + wire.ATOMS_PER_CHUNK].tobytes()
        if self.job["fRestraints"]:
            kinds = [[r for r in self.restraints if r["nKind"] == kind] for kind in range(4)]
            steps["restraint counts"] = b"".join(wire.word(len(kind)) for kind in kinds)
            for number, kind in enumerate(kinds):
                if kind:
                    steps[f"restraints {number}"] = b"".join(r.tobytes() for r in kind)
        steps["selection"] = self._selection()
        for name, xyz in zip(("reactant", "product"), self.transit):
            steps[name] = np.asarray(xyz, "<f4").tobytes()
        return {name: self.changed.get(name, payload) for name, payload in steps.items()}

    def _selection(self) -> bytes:
        chosen = np.nonzero(self.atoms["nState"] == 0)[0]
        if len(chosen) == 0:
            chosen = np.arange(len(self.atoms))
        block = np.zeros((), wire.SELECTION_BLOCK)
        block["nFirstAtom"] = block["nFirstOrbital"] = 1
        block["nLastAtom"] = block["nAtomEstimate"] = len(chosen)
        block["nOrbitalsOnNode"] = block["nOrbitalEstimate"] = 4 * len(chosen)
        block["MethodId"] = self.method if self.asked_method is None else self.asked_method
        return block.tobytes() + (chosen + 1).astype("<i4").tobytes()

    def copy(self) -> Script:
        return copy.deepcopy(self)


def single_point(method, atoms) -> Script:
    """A single point of `atoms`: rows of symbol, x, y, z in Angstrom and, optionally, whether the
    atom is outside the selection."""
    found = find_method(method)
    blocks = load_parameters(found)
    options = np.zeros((), wire.RUN_OPTIONS)
    options["fCalculate"] = options["nMultiplicity"] = options["fDiis"] = 1
    options["flConvergenceLimit"], options["nIterationLimit"] = 1e-4, 50
    options["nLevelShiftStart"] = 1
    options["flOverlapSigma"] = options["flOverlapPi"] = 1
    job = np.zeros((), wire.JOB_OPTIONS)
    job["nReportPeriod"] = job["fShowWarnings"] = 1
    job["flRmsGradient"], job["flTimeStep"] = 0.1, 0.001
    head = [wire.word(4), wire.word(found.number), *blocks.packets]
    return Script(found.number, head, options, job, atom_records(atoms))


def atom_records(atoms) -> np.ndarray:
    """Records of rows as `single_point` takes them, without bonds."""
    records = np.zeros(len(atoms), wire.ATOM_RECORD)
    for record, (symbol, x, y, z, *outside) in zip(records, atoms):
        record["nAtomicNumber"] = SYMBOLS.index(symbol) if symbol else 0
        record["flX"], record["flY"], record["flZ"], record["flMass"] = x, y, z, 10.0
        record["nState"] = bool(outside and outside[0])
    return records


def bond(script: Script, i: int, j: int) -> None:
    """Bonds two atoms, indices from 0."""
    for one, two in ((i, j), (j, i)):
        record = script.atoms[one]
        record["nBonded"][record["nBonds"]] = two
        record["nBonds"] += 1


def water(method="am1") -> Script:
    return single_point(method, [("O", 0, 0, 0), ("H", 0.9572, 0, 0), ("H", -0.24, 0.9266, 0)])


def capped(method="am1") -> Script:
    """A hydroxyl group whose bond to carbon is cut, with a point charge and one restraint of each
    kind: every part of the intake has something to say here."""
    script = single_point(method, [("O", 0, 0, 0), ("H", 0.95, 0, 0), ("C", -0.4, 1.33, 0, True),
                                   ("H", 0.3, -2.2, 1.9, True)])
    bond(script, 0, 1)
    bond(script, 0, 2)
    script.atoms["flCharge"][3] = 0.1
    script.job["fRestraints"] = 1
    script.restraints = [restraint(0, (1,), 0.95), restraint(1, (0, 1), 0.95),
                         restraint(2, (1, 0, 2), 1.9), restraint(3, (1, 0, 2, 3), 0.5)]
    return script


def restraint(kind: int, atoms, target: float) -> np.ndarray:
    """One record; atoms are indices from 0."""
    record = np.zeros((), wire.RESTRAINT_RECORD)
    record["nKind"], record["flForceConstant"], record["flTarget"] = kind, 7.0, target
    record["nAtom"][:len(atoms)] = atoms
    return record


# ---- parameter blocks ---------------------------------------------------------------------------


def parameter_offset(method: int, symbol: str, column: str) -> int:
    """Where the block of a method has a value: bytes from its start. "*C" is capping carbon."""
    stem = find_method(method).tables
    short = stem in ("cindo", "zindo1", "zindos")
    rows, offset = (108, 54) if short else (210, 105)
    capping = symbol.startswith("*")
    row = SYMBOLS.index(symbol.lstrip("*")) - 1 + (offset if capping else 0)
    start = 0
    for columns in tables.SECTIONS[stem]:
        if column in columns:
            return 8 * (start + row * len(columns) + columns.index(column))
        start += rows * len(columns)
    raise KeyError(column)


def set_parameter(script: Script, symbol: str, column: str, value: float) -> None:
    set_double(script, parameter_offset(script.method, symbol, column), value)


def set_double(script: Script, offset: int, value: float) -> None:
    """Writes a double into the parameter block."""
    block = bytearray(script.head[2])
    struct.pack_into("<d", block, offset, value)
    script.head[2] = bytes(block)


def get_parameter(script: Script, symbol: str, column: str) -> float:
    offset = parameter_offset(script.method, symbol, column)
    return struct.unpack_from("<d", script.head[2], offset)[0]


# ---- the process --------------------------------------------------------------------------------


@dataclass
class Outcome:
    """What a session sent: (type, payload) of each packet, demands and the node count left out."""

    packets: list = field(default_factory=list)
    demands: int = field(default=0, compare=False)
    ended: bool = True  # False: still at work, and left alone

    def texts(self, channel: str) -> list[str]:
        return [payload[:-1].decode() for kind, payload in self.packets
                if CHANNELS.get(kind) == channel]

    @property
    def has_results(self) -> bool:
        return any(kind not in CHANNELS for kind, _ in self.packets)


class Died(AssertionError):
    """The process has ended, or hangs, where it should serve."""


class Process:
    """The program under test over a socket pair, with the conversation to it."""

    def __init__(self):
        ours, theirs = socket.socketpair()
        self.link = Conversation(ours)
        self._said = os.memfd_create("qsolve-output")
        environment = {**os.environ, "ASAN_OPTIONS": "allocator_may_return_null=1"}
        self.process = subprocess.Popen([str(program())], stdin=theirs, stdout=self._said,
                                        stderr=subprocess.STDOUT, env=environment)
        theirs.close()
        self._connected = False

    def __enter__(self) -> Process:
        return self

    def __exit__(self, *_) -> None:
        self.close()

    def close(self) -> int:
        """Hangs up and returns the exit status. A process that does not end by itself is a fault,
        and so is whatever it printed."""
        if self.process.returncode is not None:
            return self.process.returncode
        self.link.disconnect()
        try:
            status = self.process.wait(SILENCE)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
            raise Died("the process does not end when its client has gone") from None
        said = self._printed()
        os.close(self._said)
        if status != 0 or said:
            raise Died(f"the process ended with status {status}: {said}")
        return status

    def _spent(self) -> float:
        """Seconds on a processor so far, of all threads."""
        words = Path(f"/proc/{self.process.pid}/stat").read_text().rsplit(")", 1)[1].split()
        return (int(words[11]) + int(words[12])) / os.sysconf("SC_CLK_TCK")

    def _printed(self) -> str:
        size = os.lseek(self._said, 0, os.SEEK_END)
        return os.pread(self._said, 4000, max(0, size - 4000)).decode("utf-8", "replace")

    def session(self, script: Script, payloads: list[bytes] | None = None) -> Outcome:
        """Plays one session to its end. `payloads` replaces the packets of the script; when they
        are used up, further demands get empty packets."""
        left = list(script.payloads().values() if payloads is None else payloads)
        try:
            return self._play(list(script.head), left, patient=payloads is None)
        except LinkClosed:
            status = self.process.wait(SILENCE)
            raise Died(f"the process died with status {status}: {self._printed()}") from None
        except TimeLimitExceeded:
            self.process.kill()
            raise Died(f"the process was silent for {SILENCE} seconds") from None

    def _play(self, head: list, left: list, patient: bool) -> Outcome:
        outcome, began, spent = Outcome(), time.monotonic(), self._spent()
        self.link.deadline = began + SILENCE
        self.link.execute() if self._connected else self.link.connect()
        self._connected = True
        while (packet := self.link.request()) is not None:
            now = time.monotonic()
            self.link.deadline = now + SILENCE
            if packet.kind == wire.REQUEST_NEXT:
                outcome.demands += 1
                assert outcome.demands < MOST_DEMANDS, "the process asks without end"
                self.link.poke(wire.packet(left.pop(0) if left else b""))
            elif packet.kind == wire.DATA and not outcome.packets and outcome.demands == 0:
                left[:0] = head  # the node count: the tables are not loaded yet
            else:
                outcome.packets.append((packet.kind, packet.payload))
            if now - began > AT_WORK and (not patient or self._spent() - spent > AT_WORK):
                outcome.ended = False
                break
        return outcome

    def peak_memory(self) -> int:
        """Most memory that the process has had so far, KiB."""
        return self._status("VmHWM")

    def peak_address_space(self) -> int:
        """Most memory that the process has asked for so far, used or not, KiB."""
        return self._status("VmPeak")

    def _status(self, name: str) -> int:
        text = Path(f"/proc/{self.process.pid}/status").read_text(encoding="ascii")
        return int(text.partition(f"{name}:")[2].split()[0])


@functools.cache
def program() -> Path:
    """The program under test: ORBITRAX_QSOLVE, else the release build of this checkout."""
    return Path(find_backend())


@functools.cache
def is_sanitized() -> bool:
    """Whether the program keeps freed memory and shadows of it, so that its size says little."""
    return b"__asan_init" in program().read_bytes()


@functools.cache
def messages() -> dict[str, str]:
    """Formats of the numbered texts, by name."""
    text = (ROOT / "src" / "link" / "messages.def").read_text(encoding="utf-8")
    found = re.findall(r'^MESSAGE\(\d+, (\w+), "(.*)"\)$', text, re.M)
    return {name: form.replace("\\n", "\n").replace('\\"', '"') for name, form in found}
