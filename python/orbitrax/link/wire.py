"""The structures that cross the link, all made from one table: records that pack and unpack.

Every word is little-endian. Words that no one reads have no name and stay 0. For work on many
records at once numpy has them as record types: RUN_OPTIONS, ATOM_RECORD, ..., made when asked for.
"""

from __future__ import annotations

import struct

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Mapping
    from typing import Any

    import numpy as np

# Structure: (bytes, ((field, type, offset), ...)); i4 a word, f4 a float, f8 a double, a count in
# front of the type an array.
STRUCTURES = {
    "PacketHeader": (20, (
        ("nLength", "i4", 0), ("nType", "i4", 4), ("nDestination", "i4", 8), ("nSource", "i4", 12),
        ("hSenderWindow", "i4", 16),
    )),
    "RunOptions": (184, (
        ("fCalculate", "i4", 0), ("nExtensions", "i4", 4), ("flConvergenceLimit", "f4", 8),
        ("nIterationLimit", "i4", 12), ("nTotalCharge", "i4", 16), ("nMultiplicity", "i4", 20),
        ("fPlot", "i4", 24), ("nPlotKind", "i4", 28), ("nPlotOrbitalMode", "i4", 32),
        ("nPlotOrbitalOffset", "i4", 36), ("nGridCols", "i4", 40), ("nGridRows", "i4", 44),
        ("nPlotPlanes", "i4", 48), ("flPlotGrid", "9f4", 52), ("nSpinTreatment", "i4", 88),
        ("fNextLowestState", "i4", 92), ("fDiis", "i4", 96), ("fModelHessian", "i4", 108),
        ("fPlotBetaSpin", "i4", 112), ("nLogLevel", "i4", 116), ("nCiKind", "i4", 120),
        ("flOverlapSigma", "f4", 128), ("flOverlapPi", "f4", 132), ("nCiSelection", "i4", 140),
        ("nCiOccupied", "i4", 144), ("nCiUnoccupied", "i4", 148),
        ("flCiMaxExcitation", "f4", 152), ("fSendOrbitals", "i4", 156),
        ("nLevelShiftStart", "i4", 160), ("fComputeHessian", "i4", 164), ("fTsSearch", "i4", 168),
        ("fComputeForceMatrix", "i4", 172), ("nFollowMode", "i4", 180),
    )),
    "JobOptions": (152, (
        ("nCalcKind", "i4", 0), ("fRestraints", "i4", 4), ("nOptimiser", "i4", 8),
        ("nMdKind", "i4", 12), ("nMaxCycles", "i4", 16), ("flRmsGradient", "f4", 20),
        ("fPeriodicBox", "i4", 32), ("fTempBath", "i4", 36), ("flBathRelaxTime", "f4", 40),
        ("fRestartVelocities", "i4", 48), ("nRandomSeed", "i4", 52), ("flBoxX", "f4", 56),
        ("flBoxY", "f4", 60), ("flBoxZ", "f4", 64), ("flStartTemp", "f4", 80),
        ("flSimTemp", "f4", 84), ("flFinalTemp", "f4", 88), ("flHeatTime", "f4", 92),
        ("flRunTime", "f4", 96), ("flCoolTime", "f4", 100), ("flTimeStep", "f4", 104),
        ("flTempStep", "f4", 108), ("flFriction", "f4", 112), ("nReportPeriod", "i4", 144),
        ("fShowWarnings", "i4", 148),
    )),
    "AtomRecord": (96, (
        ("nAtomicNumber", "i4", 4), ("nState", "i4", 16), ("nCappingAtom", "i4", 20),
        ("nBonds", "i4", 24), ("nBonded", "12i4", 28), ("flCharge", "f4", 76), ("flX", "f4", 80),
        ("flY", "f4", 84), ("flZ", "f4", 88), ("flMass", "f4", 92),
    )),
    "RestraintRecord": (36, (
        ("nKind", "i4", 0), ("nAtom", "4i4", 4), ("flForceConstant", "f4", 20),
        ("flTarget", "f4", 24), ("flTargetY", "f4", 28), ("flTargetZ", "f4", 32),
    )),
    "UvRecord": (64, (
        ("nState", "i4", 0), ("flEnergy", "f4", 4), ("nVector", "i4", 8), ("flSpin", "f4", 12),
        ("flDipole", "f4", 16), ("flOscillator", "f4", 20), ("flTransitionX", "f4", 24),
        ("flTransitionY", "f4", 28), ("flTransitionZ", "f4", 32), ("flDipoleX", "f4", 36),
        ("flDipoleY", "f4", 40), ("flDipoleZ", "f4", 44),
    )),
    "SelectionBlock": (36, (
        ("nFirstAtom", "i4", 0), ("nLastAtom", "i4", 4), ("nFirstOrbital", "i4", 8),
        ("nOrbitalsOnNode", "i4", 12), ("nOrbitalEstimate", "i4", 16),
        ("nAtomEstimate", "i4", 20), ("MethodId", "i4", 32),
    )),
    "ResultBlock": (172, (
        ("flTotalEnergy", "f4", 0), ("flAcceptRatio", "f4", 44), ("flTetherEnergy", "f4", 48),
        ("flStretchEnergy", "f4", 52), ("flBendEnergy", "f4", 56), ("flTorsionEnergy", "f4", 60),
        ("flBindingEnergy", "f4", 64), ("flAtomicEnergy", "f4", 68),
        ("flElectronicEnergy", "f4", 72), ("flCoreEnergy", "f4", 76),
        ("flHeatOfFormation", "f4", 80), ("flSeedEcho", "f4", 88), ("flDipoleX", "f4", 104),
        ("flDipoleY", "f4", 108), ("flDipoleZ", "f4", 112), ("flDipoleTotal", "f4", 116),
        ("flRmsGradient", "f4", 120), ("flTemperature", "f4", 124),
        ("flPotentialEnergy", "f4", 128), ("flKineticEnergy", "f4", 132), ("flTime", "f4", 144),
        ("nCycles", "i4", 148), ("nEnergyPoints", "i4", 152), ("fConverged", "i4", 156),
        ("fFinalResult", "i4", 160), ("nNegativeEigenvalues", "i4", 164),
    )),
    "ModeRecord": (32, (
        ("flFrequency", "f4", 0), ("nIndex", "i4", 4), ("flIntensity", "f4", 8),
        ("flDipoleX", "f4", 12), ("flDipoleY", "f4", 16), ("flDipoleZ", "f4", 20),
        ("nSymmetryIndex", "i4", 24), ("sSymmetryLabel", "i4", 28),
    )),
    "MindoPairRecord": (32, (
        ("dCode1", "f8", 0), ("dCode2", "f8", 8), ("dAlphaAB", "f8", 16), ("dBetaAB", "f8", 24),
    )),
}


class Record:
    """A structure of the wire. size: bytes; fields: their names, in order of their places."""

    def __init__(self, size: int, fields: tuple[tuple[str, str, int], ...]):
        self.size = size
        self.fields = tuple(name for name, _, _ in fields)
        self._counts = tuple(int(kind[:-2] or 0) for _, kind, _ in fields)
        form, end = "<", 0
        for _, kind, offset in fields:
            count, base = kind[:-2], kind[-2:]
            form += f"{offset - end}x{count}{_CODES[base]}"
            end = offset + int(count or 1) * int(base[1])
        self._struct = struct.Struct(f"{form}{size - end}x")

    def pack(self, values: Mapping[str, Any]) -> bytes:
        """The bytes of a record; what has no value is 0. A count in front of a type takes as many
        values, or fewer. Raises struct.error or OverflowError for what does not fit."""
        if not any(self._counts):
            return self._struct.pack(*[values.get(name, 0) for name in self.fields])
        flat: list[Any] = []
        for name, count in zip(self.fields, self._counts):
            value = values.get(name, 0)
            if not count:
                flat.append(value)
            else:
                several = tuple(value) if value else ()
                flat.extend(several)
                flat.extend((0,) * (count - len(several)))
        return self._struct.pack(*flat)

    def unpack(self, data: bytes) -> dict[str, Any]:
        """The values of a record by name."""
        flat = self._struct.unpack(data)
        if not any(self._counts):
            return dict(zip(self.fields, flat))
        found: dict[str, Any] = {}
        place = 0
        for name, count in zip(self.fields, self._counts):
            found[name] = flat[place:place + count] if count else flat[place]
            place += count or 1
        return found


_CODES = {"i4": "i", "f4": "f", "f8": "d"}

RECORDS = {name: Record(*about) for name, about in STRUCTURES.items()}

PacketHeader = RECORDS["PacketHeader"]
RunOptions = RECORDS["RunOptions"]
JobOptions = RECORDS["JobOptions"]
AtomRecord = RECORDS["AtomRecord"]
RestraintRecord = RECORDS["RestraintRecord"]
SelectionBlock = RECORDS["SelectionBlock"]
ResultBlock = RECORDS["ResultBlock"]
ModeRecord = RECORDS["ModeRecord"]
UvRecord = RECORDS["UvRecord"]

# An AtomRecord of a calculated atom without bonds: number, charge, places and mass.
_FREE_ATOM = "4xi68x5f"
FreeAtom = struct.Struct("<" + _FREE_ATOM)
_free_atoms: dict[int, struct.Struct] = {}


def free_atoms(count: int) -> struct.Struct:
    """So many of them. Kept for the next molecule of as many."""
    found = _free_atoms.get(count)
    if found is None:
        _free_atoms.clear()
        found = _free_atoms[count] = struct.Struct("<" + _FREE_ATOM * count)
    return found

_ARRAY_NAMES = {
    "PACKET_HEADER": "PacketHeader", "RUN_OPTIONS": "RunOptions", "JOB_OPTIONS": "JobOptions",
    "ATOM_RECORD": "AtomRecord", "RESTRAINT_RECORD": "RestraintRecord",
    "SELECTION_BLOCK": "SelectionBlock", "RESULT_BLOCK": "ResultBlock",
    "MODE_RECORD": "ModeRecord",
}


def dtype(name: str) -> np.dtype[Any]:
    """A structure as a record type of numpy."""
    import numpy

    size, fields = STRUCTURES[name]
    formats = [(f"<{kind[-2:]}", (int(kind[:-2]),)) if kind[:-2] else f"<{kind}"
               for _, kind, _ in fields]
    return numpy.dtype({"names": [field for field, _, _ in fields], "formats": formats,
                        "offsets": [offset for _, _, offset in fields], "itemsize": size})


def __getattr__(name: str) -> np.dtype[Any]:
    """The record types of numpy, by their names in capitals."""
    if name not in _ARRAY_NAMES:
        raise AttributeError(f"module 'orbitrax.link.wire' has no attribute '{name}'")
    found = dtype(_ARRAY_NAMES[name])
    globals()[name] = found
    return found


# Packet types.
DATA = 10
DEBUG_FLAG = 11
CHARGES = 20
PRECISE = 30
LOG_LINE = 9994
STATUS_LINE = 9995
WARNING_LINE = 9996
ERROR_LINE = 9997
DEBUG_LINE = 9998
REQUEST_NEXT = 9999

PACKET_TYPES = frozenset(
    (DATA, DEBUG_FLAG, CHARGES, PRECISE, LOG_LINE, STATUS_LINE, WARNING_LINE, ERROR_LINE,
     DEBUG_LINE, REQUEST_NEXT))

# Transaction codes of the frames.
CONNECT = 0x1062
REQUEST = 0x20B0
POKE = 0x4090
EXECUTE = 0x4050
DISCONNECT = 0x80C2

ACKNOWLEDGED = 0x8000  # answer to a poke or command that was taken

HEADER_BYTES = 20
MAX_PAYLOAD = 16384  # of a packet from the backend, and of one piece of a chunked intake
MAX_BONDS = 12
ATOMS_PER_CHUNK = 170
# RunOptions.nExtensions: with this mark each bit asks for sections in packets of type PRECISE, and
# one announces further options; or the word that asks for the first form of those packets.
SECTIONS_MARK, FURTHER_OPTIONS = 0x32000000, 1 << 23
PRECISE_RESULTS = 0x3158524F
MAX_ATOMS = 1 << 24

NODE_BACKEND, NODE_FRONTEND = 0, 1


_HEADER = struct.Struct("<5i")


def packet(payload: bytes, kind: int = DATA) -> bytes:
    """A whole packet from client to backend: header and payload."""
    return _HEADER.pack(len(payload), kind, NODE_BACKEND, NODE_FRONTEND, 0) + payload


def word(value: int) -> bytes:
    """One 32-bit word."""
    return int(value).to_bytes(4, "little", signed=True)
