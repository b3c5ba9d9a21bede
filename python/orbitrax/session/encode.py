"""What a job, or a plot, becomes on the wire: the packets of a session, in the order in which the
backend asks for them."""

from __future__ import annotations

import math
import struct
from itertools import chain, repeat

from orbitrax.errors import InputError
from orbitrax.job import VIBRATIONS, JobSettings
from orbitrax.link import wire
from orbitrax.link.sections import ASKED, further_packets
from orbitrax.session.scf_section import scf_section
from orbitrax.settings import LARGEST_FLOAT

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Sequence
    from typing import Any

    from orbitrax.grids.frame import Frame
    from orbitrax.grids.plot import Plot
    from orbitrax.job import Job
    from orbitrax.molecules.restraints import Restraint
    from orbitrax.settings import Option
    from orbitrax.tables import ParameterSet

LOG_SILENT = 10  # this log level and those above it send no log

_BY_COUNTS = 1  # how the window of a configuration interaction is chosen

_LIGHTEST = 1e-10  # atomic mass units
_FASTEST = 1e6  # Angstrom/ps
_VELOCITIES = 12 * 1365  # bytes of one packet

_NO_CHARGES = repeat(0.0)
_NO_DEBUG, _DEBUG = (wire.packet(wire.word(flag), wire.DEBUG_FLAG) for flag in (0, 1))

# What is said of a search by a job that makes none.
_NO_SEARCH = {"nOptimiser": 2, "nMaxCycles": 1000, "flRmsGradient": 0.1, "nReportPeriod": 1}


def table_packets(tables: ParameterSet) -> list[bytes]:
    """What the first session of a process is told ahead of the rest."""
    head = (wire.word(4), wire.word(tables.method.number), *tables.packets)
    return [wire.packet(payload) for payload in head]


def job_packets(job: Job, quiet: bool = False) -> list[bytes]:
    """The packets of a session that calculates. quiet: nobody listens to its SCF."""
    atoms = atom_records(job)
    size = wire.ATOMS_PER_CHUNK * wire.AtomRecord.size
    return [
        _debug_packet(job),
        wire.packet(run_options(job)),
        wire.packet(job_options(job)),
        *(further_packets(_further(job, quiet)) if job.settings.precise else ()),
        wire.packet(wire.word(len(job.molecule))),
        *(wire.packet(atoms[start:start + size]) for start in range(0, len(atoms), size)),
        *(restraint_packets(job) if job.settings.restrain else ()),
        wire.packet(selection_block(job)),
        *end_packets(job),
        *velocity_packets(job),
    ]


def plot_packets(job: Job, plot: Plot, frame: Frame) -> list[bytes]:
    """The packets of a later session that plots what the job has left."""
    values = _options(job, wire.RunOptions)
    values.update(fCalculate=0, nExtensions=0, fSendOrbitals=0, fPlot=1, nPlotKind=plot.kind,
                  fPlotBetaSpin=int(plot.beta))
    if plot.of_orbital:
        values["nPlotOrbitalMode"], values["nPlotOrbitalOffset"] = plot.level()
    values["nGridCols"], values["nGridRows"], values["nPlotPlanes"] = frame.counts
    values["flPlotGrid"] = [*frame.origin.tolist(), *frame.column.tolist(), *frame.row.tolist()]
    return [_debug_packet(job), wire.packet(wire.RunOptions.pack(values)),
            wire.packet(job_options(job))]


def mode_packets(job: Job) -> list[bytes]:
    """The packets of a later session that makes modes with the masses of this job, from the force
    matrix that an earlier one has left."""
    packets = job_packets(job)
    values = _options(job, wire.RunOptions)
    values.update(fComputeForceMatrix=0, fSendOrbitals=0)
    packets[1] = wire.packet(wire.RunOptions.pack(values))
    return packets


def _debug_packet(job: Job) -> bytes:
    return _DEBUG if job.settings.debug else _NO_DEBUG


# ---- options ------------------------------------------------------------------------------------


def run_options(job: Job) -> bytes:
    """The RunOptions record."""
    return _packed(job, wire.RunOptions)


def job_options(job: Job) -> bytes:
    """The JobOptions record."""
    return _packed(job, wire.JobOptions)


_last_packed: dict[wire.Record, tuple[JobSettings, tuple[Any, ...], bytes]] = {}


def _packed(job: Job, record: wire.Record) -> bytes:
    """The bytes of a record. Those of the last job are kept, as most of a list of molecules have
    the same, unless the settings look at the job."""
    settings, own = job.settings, type(job.settings)
    about = (job.charge, job.multiplicity, job.sigma, job.pi)
    known = _last_packed.get(record)
    if known is not None and known[0] is settings and known[1] == about:
        return known[2]
    data = record.pack(_options(job, record))
    if own.fields is JobSettings.fields and own.velocities_of is JobSettings.velocities_of:
        _last_packed[record] = settings, about, data
    return data


def _options(job: Job, record: wire.Record) -> dict[str, Any]:
    """The fields of a record, from the settings that name them, and from what the job knows."""
    settings = job.settings
    values = _set(settings, record).copy()
    if record is wire.RunOptions:
        values.update(fCalculate=1, nExtensions=ASKED if settings.precise else 0,
                      nTotalCharge=job.charge, nMultiplicity=job.multiplicity,
                      flOverlapSigma=job.sigma, flOverlapPi=job.pi,
                      nSpinTreatment=int(job.uhf), fSendOrbitals=int(job.eigenvectors),
                      fComputeForceMatrix=int(settings.calc_kind == VIBRATIONS))
        if settings.window is not None:
            values["nCiSelection"] = _BY_COUNTS
            values["nCiOccupied"], values["nCiUnoccupied"] = settings.window
        if settings.log_level is None:
            values["nLogLevel"] = LOG_SILENT
    else:
        values.update(nCalcKind=settings.calc_kind, fRestraints=int(bool(settings.restrain)),
                      fShowWarnings=1,
                      fRestartVelocities=int(settings.velocities_of(job) is not None))
    values.update((name, value) for name, value in settings.fields(job).items()
                  if name in record.fields)
    return values


_last: dict[wire.Record, tuple[JobSettings, dict[str, Any]]] = {}  # by record


def _set(settings: JobSettings, record: wire.Record) -> dict[str, Any]:
    """The fields that settings name. Those of the last settings are kept, as a list of molecules
    has the same for all."""
    known = _last.get(record)
    if known is None or known[0] is not settings:
        values: dict[str, Any] = dict(_NO_SEARCH) if record is wire.JobOptions else {}
        for one in settings.options.values():
            if one.wire in record.fields:
                values[one.wire] = _sent(one, getattr(settings, one.name))
        known = _last[record] = settings, values
    return known[1]


def _sent(one: Option, value: Any) -> Any:
    """A setting as a number: a choice by its place in the list."""
    if one.choices is not None:
        return one.choices.index(value)
    return 0 if value is None else int(value) if one.kind == "bool" else value


# ---- further options ----------------------------------------------------------------------------

_COORDINATES, _MOTION, _SEARCH, _HESSIAN = 0, 8, 9, 10  # kinds of sections


def _further(job: Job, quiet: bool) -> list[tuple[int, bytes]]:
    """The sections of options, kind and data, that no field of the records has room for. A new one
    is a line here."""
    sections = [(_COORDINATES, struct.pack(f"<{len(job.molecule.xyz)}d", *job.molecule.xyz)),
                *scf_section(job, quiet)]
    if job.settings.motion_wishes:
        sections.append((_MOTION, struct.pack("<2i", job.settings.motion_wishes, 0)))
    if job.settings.search_wishes:
        sections.append((_SEARCH, struct.pack("<2i", job.settings.search_wishes, 0)))
    hessian = job.settings.first_hessian(job)
    if hessian is not None:
        sections.append((_HESSIAN, hessian))
    return sections


# ---- the molecule -------------------------------------------------------------------------------


def atom_records(job: Job) -> bytes:
    """One AtomRecord for each atom of the molecule, selected or not."""
    molecule = job.molecule
    charges = molecule.plain_charges or (0.0,) * len(molecule)
    masses, xyz = job.masses, molecule.xyz
    _check_each(job, molecule.plain_charges or (), "charge")
    _check_each(job, molecule.plain_masses or (), "mass")
    for i, mass in enumerate(molecule.plain_masses or ()):
        if not mass > _LIGHTEST:
            raise InputError(f"{molecule.label(i)}: its mass is not above 0")
    if job.selection is None:
        rows = zip(molecule.z, _NO_CHARGES, xyz[::3], xyz[1::3], xyz[2::3], masses)
        return wire.free_atoms(len(molecule)).pack(*chain.from_iterable(rows))
    inside = set(job.selected)
    records = []
    for i, (number, bonded) in enumerate(zip(molecule.z, job.bonds)):
        if not bonded and i in inside:
            records.append(wire.FreeAtom.pack(number, 0.0, *xyz[3 * i:3 * i + 3], masses[i]))
            continue
        outside = i not in inside
        records.append(wire.AtomRecord.pack({
            "nAtomicNumber": number, "nState": int(outside), "nBonds": len(bonded),
            "nBonded": bonded, "flCharge": charges[i] if outside else 0.0, "flX": xyz[3 * i],
            "flY": xyz[3 * i + 1], "flZ": xyz[3 * i + 2], "flMass": masses[i]}))
    return b"".join(records)


def _check_each(job: Job, values: Sequence[float], what: str) -> None:
    """Numbers that are finite may still be too large for single precision."""
    for i, value in enumerate(values):
        if not abs(value) <= LARGEST_FLOAT:
            raise InputError(f"{job.molecule.label(i)}: its {what} is not a number that can be "
                             "sent")


def selection_block(job: Job) -> bytes:
    """The SelectionBlock and the numbers of the selected atoms."""
    chosen = job.selected
    head = _selection_head(len(chosen), job.orbitals, job.method.number)
    return head + struct.pack(f"<{len(chosen)}i", *[i + 1 for i in chosen])


_heads: dict[tuple[int, int, int], bytes] = {}  # of selections, by what is in them
_MOST_HEADS = 64


def _selection_head(atoms: int, orbitals: int, method: int) -> bytes:
    head = _heads.get((atoms, orbitals, method))
    if head is None:
        head = wire.SelectionBlock.pack({
            "nFirstAtom": 1, "nLastAtom": atoms, "nFirstOrbital": 1, "nOrbitalsOnNode": orbitals,
            "nOrbitalEstimate": orbitals, "nAtomEstimate": atoms, "MethodId": method})
        if len(_heads) >= _MOST_HEADS:
            _heads.clear()
        _heads[atoms, orbitals, method] = head
    return head


def end_packets(job: Job) -> list[bytes]:
    """The two ends of a synchronous transit, if the job is told any: every atom as floats."""
    packets = []
    for place, xyz in zip(("reactant", "product"), job.settings.ends() or ()):
        if len(xyz) != 3 * len(job.molecule):
            raise InputError(f"{job.molecule.title}: {len(job.molecule)} atoms need a {place} of "
                             "as many")
        _check_each(job, xyz, f"place in the {place}")
        packets.append(wire.packet(struct.pack(f"<{len(xyz)}f", *xyz)))
    return packets


def velocity_packets(job: Job) -> list[bytes]:
    """The velocities that the job starts with, if it is told any."""
    velocities = job.settings.velocities_of(job)
    if velocities is None:
        return []
    if len(velocities) != 3 * len(job.molecule):
        raise InputError(f"{job.molecule.title}: {len(job.molecule)} atoms need "
                         f"{len(job.molecule)} x 3 velocities")
    for i, value in enumerate(velocities):
        if not abs(value) < _FASTEST:
            raise InputError(f"{job.molecule.label(i // 3)}: its velocity is not a number that can "
                             "be sent")
    data = struct.pack(f"<{len(velocities)}f", *velocities)
    return [wire.packet(data[start:start + _VELOCITIES])
            for start in range(0, len(data), _VELOCITIES)]


# ---- restraints ---------------------------------------------------------------------------------


def restraint_packets(job: Job) -> list[bytes]:
    """The packets of all restraints: their counts by kind, and the records of each kind as a stream
    of bytes."""
    from orbitrax.molecules.restraints import KINDS

    kinds = [b"".join(restraint_record(restraint, job.molecule.xyz)
                      for restraint in job.settings.restrain if restraint.kind == kind)
             for kind in KINDS]
    size = wire.RestraintRecord.size
    result = [wire.packet(b"".join(wire.word(len(data) // size) for data in kinds))]
    for data in kinds:
        for start in range(0, len(data), wire.MAX_PAYLOAD):
            result.append(wire.packet(data[start:start + wire.MAX_PAYLOAD]))
    return result


def restraint_record(restraint: Restraint, xyz: Sequence[float]) -> bytes:
    """The RestraintRecord for a molecule whose atoms are at these places (3 n, Angstrom)."""
    from orbitrax.molecules.restraints import KINDS

    target = restraint.target
    if target is None:
        points = [xyz[3 * atom - 3:3 * atom] for atom in restraint.atoms]
        target = restraint.measured(points)
    if restraint.kind in ("bend", "torsion"):
        target = (math.radians(target[0]),)
    if restraint.kind == "torsion":  # the backend counts anticlockwise
        target = (-target[0],)
    values: dict[str, Any] = {
        "nKind": KINDS.index(restraint.kind), "nAtom": [atom - 1 for atom in restraint.atoms],
        "flForceConstant": restraint.force_constant,
        **dict(zip(("flTarget", "flTargetY", "flTargetZ"), target))}
    if not all(abs(number) <= LARGEST_FLOAT for number in (*target, restraint.force_constant)):
        raise InputError(f"{restraint}: its numbers are too large to be sent")
    return wire.RestraintRecord.pack(values)
