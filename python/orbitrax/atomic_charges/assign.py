"""The charges of one molecule: minimum, populations, means over equal atoms, corrections."""

from __future__ import annotations

import time
from dataclasses import dataclass, field
from typing import Callable

import numpy as np
from rdkit import Chem

from orbitrax.backend import Backend
from orbitrax.atomic_charges import conformers, corrections
from orbitrax.atomic_charges.am1 import Am1, Point
from orbitrax.atomic_charges.connectivity import changes
from orbitrax.atomic_charges.equal_atoms import average, equal_atoms
from orbitrax.atomic_charges.restraints import held_distances, held_torsions
from orbitrax.atomic_charges.rounding import rounded
from orbitrax.atomic_charges.settings import DIGITS, ChargeSettings
from orbitrax.atomic_charges.structure import check_structure, kekule_form
from orbitrax.errors import CalculationFailed, InputError
from orbitrax.minimise import Limits, Minimum, minimise
from orbitrax.minimise.arrays import Array
from orbitrax.molecules import force_field

# Charges of a molecule come out alike to 1e-4 from wherever in a basin a search begins. Where a
# group turns with 0.3 kcal/(mol square radian), which is soft, the fall of energy leaves 0.002
# radian, at which charges change by up to 0.05 e a radian.
_LIMITS = Limits(rms_gradient=0.02, max_gradient=0.1, energy=5e-7, steps=400)
_FLAT = Limits(rms_gradient=0.1, max_gradient=0.5, energy=1e-3)  # good enough where it sticks
_MOST_HOLDS = 4  # attempts at a minimum that still is the molecule


@dataclass
class Charges:
    """The charges of a molecule.

    mol: the molecule, all hydrogens, with one conformer: the geometry it came with, or the minimum
    where it had none. charges: n, e, as printed: rounded, summing to the formal charge.
    populations: n, e, AM1's Mulliken charges before means and corrections. corrections: by bonds.
    positions: n x 3, Angstrom, where the populations were computed (the first conformer).
    heat_of_formation: kcal/mol, there. classes: n, numbers of the classes of equal atoms. notes:
    what a user must know. energies: how many were computed; retries: how many of them needed other
    means than the usual for their SCF.
    """

    mol: Chem.Mol
    title: str
    model: str
    charges: Array
    populations: Array
    corrections: list[corrections.BondCorrection]
    classes: Array
    positions: Array
    heat_of_formation: float
    digits: int = DIGITS
    conformers: int = 1
    energies: int = 0
    retries: int = 0
    notes: list[str] = field(default_factory=list)
    wall_seconds: float = 0.0

    @property
    def formal_charge(self) -> int:
        """The charge of the whole."""
        return int(Chem.GetFormalCharge(self.mol))


def assign(mol: Chem.Mol, backend: Backend, settings: ChargeSettings = ChargeSettings(),
           title: str = "molecule", on_progress: Callable[[str], None] | None = None) -> Charges:
    """The charges of a molecule with all its hydrogens. Of its conformers the first is taken; where
    it has none, or a flat drawing, RDKit makes one.

    Raises MoleculeError or InputError for what has no such charges, NotConverged and
    CalculationFailed where AM1 gives none.
    """
    began = time.monotonic()
    check_structure(mol, title)
    form = kekule_form(mol)
    found = corrections.corrections_of(form)
    notes = _check_corrections(found, mol, settings, title)
    classes = equal_atoms(form)
    form = Chem.Mol(form)
    Chem.SanitizeMol(form)
    geometries, own = _geometries(mol, form, settings, notes, title)
    worker = _Worker(mol, form, backend, settings, notes, on_progress)
    points = [worker.populate(positions) for positions in geometries]
    populations = np.mean([point.charges for _, point in points], axis=0)
    values = populations
    if settings.model != "mulliken":
        values = average(populations, classes)
    if settings.model.startswith("am1bcc"):
        values = average(values + corrections.add_up(found, mol.GetNumAtoms()), classes)
    values = rounded(values, Chem.GetFormalCharge(mol),
                     classes if settings.model != "mulliken" else np.arange(len(values)),
                     settings.digits)
    first, point = points[0]
    return Charges(
        _with_positions(mol, geometries[0] if own else first), title, settings.model, values,
        populations, found, classes, first, point.heat_of_formation, settings.digits,
        len(points), worker.energies, worker.retries, notes, time.monotonic() - began)


def _check_corrections(found: list[corrections.BondCorrection], mol: Chem.Mol,
                       settings: ChargeSettings, title: str) -> list[str]:
    """Notes on bonds without a correction, where these are allowed."""
    if not settings.model.startswith("am1bcc"):
        return []
    lacking = corrections.missing(found, mol)
    if not lacking:
        return []
    text = f"{title}: there is no bond charge correction for " + ", ".join(lacking)
    if settings.missing == "error":
        raise corrections.MissingCorrection(
            f"{text}; --missing zero goes on without, --model am1-mulliken needs none")
    return [text + "; none was applied"]


def _geometries(mol: Chem.Mol, form: Chem.Mol, settings: ChargeSettings, notes: list[str],
                title: str) -> tuple[list[Array], bool]:
    """Where to begin, and whether that is the molecule's own geometry. New ones are made for the
    settled form, so that they do not depend on the spelling."""
    if settings.model == "am1bcc-elf10":
        count = settings.conformers or conformers.ELF_CONFORMERS
        return conformers.elf(form, count), False
    if settings.conformers:
        return [conformers.lowest(form, settings.conformers)], False
    if mol.GetNumConformers() == 0:
        return [conformers.lowest(form, 1)], False
    positions = np.array(mol.GetConformer().GetPositions())
    if mol.GetNumAtoms() > 3 and np.ptp(positions[:, 2]) == 0 and not _may_be_flat(mol, positions):
        notes.append(f"{title} is a flat drawing; RDKit made a geometry")
        return [conformers.lowest(form, 1)], False
    wrong = changes(mol, positions)
    if wrong:
        texts = ", ".join(change.describe(mol) for change in wrong[:5])
        raise InputError(f"{title}: its geometry does not fit its bonds: {texts}; "
                         "--conformers 1 makes a new one")
    return [positions], True


def _may_be_flat(mol: Chem.Mol, positions: Array) -> bool:
    """Whether a geometry in one plane can be meant: it fits the bonds, and no atom has four
    neighbours."""
    return not changes(mol, positions) and all(atom.GetDegree() < 4 for atom in mol.GetAtoms())


def _with_positions(mol: Chem.Mol, positions: Array) -> Chem.Mol:
    result = Chem.Mol(mol)
    result.RemoveAllConformers()
    conformer = Chem.Conformer(mol.GetNumAtoms())
    for index, place in enumerate(positions.tolist()):
        conformer.SetAtomPosition(index, place)
    result.AddConformer(conformer, assignId=True)
    return result


class _Worker:
    """Finds the point at which the populations of one molecule are taken."""

    def __init__(self, mol: Chem.Mol, form: Chem.Mol, backend: Backend, settings: ChargeSettings,
                 notes: list[str], on_progress: Callable[[str], None] | None):
        self._mol, self._form, self._backend, self._settings = mol, form, backend, settings
        self._notes, self._on_progress = notes, on_progress
        self._numbers = np.array([atom.GetAtomicNum() for atom in mol.GetAtoms()])
        self._bonds = [(b.GetBeginAtomIdx(), b.GetEndAtomIdx()) for b in mol.GetBonds()]
        self._charge = Chem.GetFormalCharge(mol)
        self.energies = self.retries = 0

    def populate(self, start: Array) -> tuple[Array, Point]:
        """Positions, n x 3, and what AM1 says there: of the start itself, or of the minimum that
        is found from it and still is the molecule."""
        if self._settings.model == "mulliken":
            energy = self._energy(())
            point = energy.point(start)
            self._count(energy)
            return start, point
        held: tuple[str, ...] = ()
        known = force_field.hessian(self._form, start)
        if self._settings.hold == "torsions":
            held = held_torsions(self._mol, start)
        else:
            start = conformers.shaken(self._mol, start, known)
        texts: list[str] = []
        for attempt in range(_MOST_HOLDS):
            positions, point = self._minimum(start, held, known)
            wrong = changes(self._mol, positions)
            if not wrong:
                if texts:
                    self._notes.append("AM1 changes the molecule (" + "; ".join(texts) + "): "
                                       "restraints kept it what it is")
                return positions, point
            texts += [change.describe(self._mol) for change in wrong[:5]]
            if attempt == 0 and not held:
                held = held_torsions(self._mol, start)
            held += held_distances(wrong, start)
        raise CalculationFailed("AM1 changes the molecule whatever restraints hold it: "
                                + "; ".join(texts[:5]) + "; try another conformer, as with "
                                "--conformers 10, or --model am1bcc-elf10")

    def _energy(self, held: tuple[str, ...]) -> Am1:
        return Am1(self._backend, self._numbers, self._charge, held)

    def _count(self, energy: Am1) -> None:
        self.energies += energy.energies
        self.retries += energy.retries

    def _minimum(self, start: Array, held: tuple[str, ...],
                 known: Array | None) -> tuple[Array, Point]:
        energy = self._energy(held)

        def watched(positions: Array) -> tuple[float, Array]:
            if self._on_progress is not None:
                self._on_progress(f"energy {energy.energies + 1}")
            return energy(positions)

        found = minimise(watched, self._numbers, start, self._bonds, _LIMITS, hessian=known,
                         probed=True)
        if not found.converged:  # from where it stuck, with a Hessian that knows nothing wrong
            found = minimise(watched, self._numbers, found.positions, self._bonds, _LIMITS,
                             probed=True)
        self._count(energy)
        if not found.converged and not _is_flat(found):
            raise CalculationFailed(f"the search for a minimum of AM1 failed: {found.why} (RMS "
                                    f"gradient {found.rms:.3f} kcal/(mol Angstrom))")
        return found.positions, energy.point(found.positions)


def _is_flat(found: Minimum) -> bool:
    return found.rms <= _FLAT.rms_gradient and found.promise <= _FLAT.energy
