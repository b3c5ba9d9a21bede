"""A job: a molecule, a method and settings, and the packets that describe them to the backend."""

from __future__ import annotations

from dataclasses import dataclass, field

import numpy as np

from orbitrax.link import wire
from orbitrax.molecules.elements import (CAPPING_VALENCE, MASSES, SYMBOLS, valence_electrons,
                                         valence_orbitals)
from orbitrax.errors import InputError, UsageError
from orbitrax.molecules.geometry import TOO_CLOSE, close_pairs, find_bonds
from orbitrax.grids.grid import Frame, Plot
from orbitrax.methods import ZINDOS, Method, find_method
from orbitrax.molecules.molecule import Molecule
from orbitrax.tables import ParameterSet
from orbitrax.molecules.restraints import Restraint, packets_of, parse_restraint

SINGLE_POINT, OPTIMISATION = 0, 1  # kinds of job

OPTIMISERS = ("steepest-descent", "fletcher-reeves", "polak-ribiere")  # by number

LOG_SILENT = 10  # this log level and those above it send no log

_INT_MAX = 2**31 - 1


def overlap_weights(method: Method) -> tuple[float, float]:
    """Usual weights of sigma-sigma and pi-pi overlap: those of the spectroscopic parameters for
    ZINDO/S, none otherwise."""
    return (1.267, 0.585) if method.number == ZINDOS else (1.0, 1.0)


@dataclass(eq=False)
class Job:
    """One calculation.

    charge and multiplicity: what the molecule says when None; if that says nothing, charge 0 and
    the lowest multiplicity of its electron count. selection: atom numbers from 1 that are
    calculated, the others being point charges; None for all. convergence_limit in kcal/mol, on the
    energy change of an SCF cycle. level_shift_start: SCF cycle after which the level shift begins.
    log_level 1 to 9 choose what the log shows beside the report, 10 silences it. restraints:
    objects or their texts, as "stretch 1 2 1.5 k=100".

    kind: SINGLE_POINT or OPTIMISATION. An optimisation minimises by the optimiser of that name
    until the root mean square of the gradient, over the calculated atoms, is below rms_gradient
    in kcal/(mol Angstrom), for at most max_cycles, with a report point every report_period cycles.
    """

    molecule: Molecule
    method: Method | str | int
    charge: int | None = None
    multiplicity: int | None = None
    unrestricted: bool = False
    selection: list[int] | None = None
    convergence_limit: float = 1e-6
    iteration_limit: int = 200
    diis: bool = True
    overlap_sigma: float | None = None
    overlap_pi: float | None = None
    level_shift_start: int = 1
    log_level: int = 0
    send_eigenvectors: bool = False
    precise: bool = True
    debug: bool = False
    restraints: list[Restraint | str] = field(default_factory=list)
    kind: int = SINGLE_POINT
    optimiser: str = "polak-ribiere"
    rms_gradient: float = 0.1
    max_cycles: int = 1000
    report_period: int = 1
    notes: list = field(default_factory=list)

    def __post_init__(self):
        self.method = find_method(self.method)
        self.selection = self._checked_selection()
        self._bonds = None
        if self.charge is None:
            if self.molecule.charge is None and self.molecule.notes:
                raise UsageError(f"{self.molecule.title}: {self.molecule.notes[0]}")
            self.charge = self.molecule.charge or 0
        if self.multiplicity is None:
            self.multiplicity = self.molecule.multiplicity
        if self.multiplicity is None:
            self.multiplicity = 1 + (self.electrons % 2)
        sigma, pi = overlap_weights(self.method)
        self.overlap_sigma = sigma if self.overlap_sigma is None else self.overlap_sigma
        self.overlap_pi = pi if self.overlap_pi is None else self.overlap_pi
        self.restraints = [parse_restraint(r) if isinstance(r, str) else r
                           for r in self.restraints]
        self._check_settings()

    # ---- what is calculated ---------------------------------------------------------------------

    def _checked_selection(self) -> list[int] | None:
        """The selection as an ascending list; None where it is the whole molecule."""
        if self.selection is None:
            return None
        n = len(self.molecule)
        chosen = [int(number) for number in self.selection]
        for number in chosen:
            if not 1 <= number <= n:
                raise UsageError(f"there is no atom {number} to select: {self.molecule.title} has "
                                 f"{n} atoms")
        if len(set(chosen)) < len(chosen):
            raise UsageError("an atom is selected twice")
        if not chosen:
            raise UsageError("the selection names no atom")
        return None if len(chosen) == n else sorted(chosen)

    @property
    def selected(self) -> np.ndarray:
        """Indices from 0 of the calculated atoms, ascending."""
        if self.selection is None:
            return np.arange(len(self.molecule))
        return np.array(self.selection) - 1

    @property
    def bonds(self) -> list[list[int]]:
        """Bonded atoms of each atom, indices from 0; empty lists while all atoms are selected, as
        only bonds that a selection cuts matter."""
        if self._bonds is None:
            if self.selection is None:
                self._bonds = [[] for _ in range(len(self.molecule))]
            else:
                self._bonds = find_bonds(self.molecule.numbers, self.molecule.positions,
                                         wire.MAX_BONDS)
        return self._bonds

    @property
    def capping(self) -> list[int]:
        """Indices from 0 of the outside atoms that end a cut bond: those with an odd number of
        selected neighbours."""
        if self.selection is None:
            return []
        inside = set(self.selected.tolist())
        cuts: dict[int, int] = {}
        for index in inside:
            for neighbour in self.bonds[index]:
                if neighbour not in inside:
                    cuts[neighbour] = cuts.get(neighbour, 0) + 1
        return sorted(index for index, count in cuts.items() if count % 2 == 1)

    @property
    def electrons(self) -> int:
        """Valence electrons of the calculated part."""
        numbers = self.molecule.numbers
        total = sum(valence_electrons(int(numbers[i])) for i in self.selected)
        return total + CAPPING_VALENCE * len(self.capping) - self.charge

    # ---- checks ---------------------------------------------------------------------------------

    def _check_settings(self) -> None:
        for name, low, high in (("charge", -_INT_MAX, _INT_MAX), ("multiplicity", 1, _INT_MAX),
                                ("iteration_limit", 0, _INT_MAX - 2),
                                ("level_shift_start", -_INT_MAX, _INT_MAX),
                                ("log_level", 0, _INT_MAX), ("max_cycles", 0, _INT_MAX),
                                ("report_period", 0, _INT_MAX)):
            value = getattr(self, name)
            if not isinstance(value, (int, np.integer)) or not low <= value <= high:
                raise UsageError(f"{name} {value} is not a whole number of {low} to {high}")
        for name in ("convergence_limit", "overlap_sigma", "overlap_pi", "rms_gradient"):
            with np.errstate(over="ignore"):
                value = np.float32(getattr(self, name))
            if not np.isfinite(value):
                raise UsageError(f"{name} {getattr(self, name)} is not a number that can be sent")
        if self.convergence_limit <= 0:
            raise UsageError(f"convergence_limit {self.convergence_limit} should be above 0")
        if self.rms_gradient < 0:
            raise UsageError(f"rms_gradient {self.rms_gradient} should not be below 0")
        if self.optimiser not in OPTIMISERS:
            raise UsageError(f"there is no optimiser '{self.optimiser}'; there are "
                             + ", ".join(OPTIMISERS))

    def check(self, parameters: ParameterSet) -> None:
        """Refuses what the method cannot calculate: elements without parameters, atoms in one
        place."""
        molecule, title = self.molecule, self.method.title
        for index, number in enumerate(molecule.numbers.tolist()):
            if number > 0 and number not in parameters.elements:
                raise InputError(f"{molecule.label(index)}: {title} has no parameters for "
                                 f"{SYMBOLS[number]}; see 'orbitrax methods' for one that has")
        for index in self.capping:
            number = int(molecule.numbers[index])
            if number not in parameters.capping:
                raise InputError(f"{molecule.label(index)} ends a bond that the selection cuts, "
                                 f"and {title} has no parameters for {SYMBOLS[number]} as a "
                                 "capping atom; select it too, or cut elsewhere")
        first, second, distance = close_pairs(molecule.positions, TOO_CLOSE)
        for i, j, d in zip(first.tolist(), second.tolist(), distance.tolist()):
            if molecule.numbers[i] > 0 and molecule.numbers[j] > 0:
                raise InputError(f"{molecule.label(i)} and {molecule.label(j)} are {d:.4f} "
                                 "Angstrom apart; atoms nearer than 0.0529 Angstrom cannot be "
                                 "calculated")

    # ---- packets --------------------------------------------------------------------------------

    def packets(self) -> list[bytes]:
        """The packets of a session, in the order in which the backend asks for them."""
        atoms = self.atom_records()
        size = wire.ATOMS_PER_CHUNK
        result = [
            wire.packet(wire.word(int(self.debug)), wire.DEBUG_FLAG),
            wire.packet(self.run_options().tobytes()),
            wire.packet(self.job_options().tobytes()),
            wire.packet(wire.word(len(atoms))),
        ]
        for start in range(0, len(atoms), size):
            result.append(wire.packet(atoms[start:start + size].tobytes()))
        if self.restraints:
            result += packets_of(self.restraints, self.molecule.positions)
        result.append(wire.packet(self.selection_block()))
        return result

    def run_options(self) -> np.ndarray:
        """The RunOptions record."""
        record = np.zeros((), wire.RUN_OPTIONS)
        record["fCalculate"] = 1
        record["nExtensions"] = wire.PRECISE_RESULTS if self.precise else 0
        record["flConvergenceLimit"] = self.convergence_limit
        record["nIterationLimit"] = self.iteration_limit
        record["nTotalCharge"] = self.charge
        record["nMultiplicity"] = self.multiplicity
        record["nSpinTreatment"] = int(self.unrestricted)
        record["fDiis"] = int(self.diis)
        record["nLogLevel"] = self.log_level
        record["flOverlapSigma"] = self.overlap_sigma
        record["flOverlapPi"] = self.overlap_pi
        record["fSendOrbitals"] = int(self.send_eigenvectors)
        record["nLevelShiftStart"] = self.level_shift_start
        return record

    def plot_packets(self, plot: Plot, frame: Frame) -> list[bytes]:
        """The packets of a later session that plots what this job has left."""
        record = self.run_options()
        record["fCalculate"], record["fSendOrbitals"], record["fPlot"] = 0, 0, 1
        record["nPlotKind"] = plot.kind
        if plot.of_orbital:
            record["nPlotOrbitalMode"], record["nPlotOrbitalOffset"] = plot.level()
        record["fPlotBetaSpin"] = int(plot.beta)
        record["nGridCols"], record["nGridRows"], record["nPlotPlanes"] = frame.counts
        record["flPlotGrid"] = np.concatenate((frame.origin, frame.column, frame.row))
        return [wire.packet(wire.word(int(self.debug)), wire.DEBUG_FLAG),
                wire.packet(record.tobytes()), wire.packet(self.job_options().tobytes())]

    def job_options(self) -> np.ndarray:
        """The JobOptions record."""
        record = np.zeros((), wire.JOB_OPTIONS)
        record["nCalcKind"] = self.kind
        record["fRestraints"] = int(bool(self.restraints))
        record["nOptimiser"] = OPTIMISERS.index(self.optimiser)
        record["nMaxCycles"] = self.max_cycles
        record["flRmsGradient"] = self.rms_gradient
        record["nReportPeriod"] = self.report_period
        record["fShowWarnings"] = 1
        return record

    def atom_records(self) -> np.ndarray:
        """One AtomRecord for each atom of the molecule, selected or not."""
        molecule = self.molecule
        outside = np.ones(len(molecule), bool)
        outside[self.selected] = False
        records = np.zeros(len(molecule), wire.ATOM_RECORD)
        records["nAtomicNumber"] = molecule.numbers
        records["nState"] = outside
        for record, bonded in zip(records, self.bonds):
            record["nBonds"] = len(bonded)
            record["nBonded"][:len(bonded)] = bonded
        if molecule.point_charges is not None:
            records["flCharge"] = np.where(outside, molecule.point_charges, 0.0)
        for axis, name in enumerate(("flX", "flY", "flZ")):
            records[name] = molecule.positions[:, axis]
        records["flMass"] = self._masses()
        self._check_records(records)
        return records

    def _masses(self) -> np.ndarray:
        if self.molecule.masses is not None:
            return self.molecule.masses
        return np.array(MASSES)[self.molecule.numbers]

    def _check_records(self, records: np.ndarray) -> None:
        """Numbers that were finite may have become infinite in single precision."""
        for name, what in (("flCharge", "charge"), ("flMass", "mass")):
            bad = np.nonzero(~np.isfinite(records[name]))[0]
            if len(bad):
                raise InputError(f"{self.molecule.label(int(bad[0]))}: its {what} is not a number "
                                 "that can be sent")
        light = np.nonzero((records["flMass"] <= 1e-10))[0]
        if len(light):
            raise InputError(f"{self.molecule.label(int(light[0]))}: its mass is not above 0")

    def selection_block(self) -> bytes:
        """The SelectionBlock and the numbers of the selected atoms."""
        chosen = self.selected
        orbitals = sum(valence_orbitals(int(z)) for z in self.molecule.numbers[chosen])
        head = np.zeros((), wire.SELECTION_BLOCK)
        head["nFirstAtom"], head["nLastAtom"] = 1, len(chosen)
        head["nFirstOrbital"] = 1
        head["nOrbitalsOnNode"] = head["nOrbitalEstimate"] = orbitals
        head["nAtomEstimate"] = len(chosen)
        head["MethodId"] = self.method.number
        return head.tobytes() + (chosen + 1).astype("<i4").tobytes()
