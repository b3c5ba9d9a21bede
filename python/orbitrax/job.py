"""A job: a molecule, a method and settings, as values."""

from __future__ import annotations

from orbitrax.errors import InputError, UsageError
from orbitrax.methods import METHODS, ZINDOS, Method, find_method
from orbitrax.molecules.elements import (CAPPING_VALENCE, MASSES, SYMBOLS, VALENCE_ELECTRONS,
                                         VALENCE_ORBITALS)
from orbitrax.molecules.geometry import TOO_CLOSE
from orbitrax.molecules.molecule import Molecule
from orbitrax.settings import LARGEST_WORD, Settings, declared, option

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Callable, Sequence
    from typing import Any, ClassVar

    from orbitrax.molecules.restraints import Restraint
    from orbitrax.results.result import Result
    from orbitrax.tables import ParameterSet

# Kinds of calculation, by number.
SINGLE_POINT, OPTIMISATION, MOLECULAR_DYNAMICS, VIBRATIONS = 0, 1, 2, 4
TRANSITION_STATE, SYNCHRONOUS_TRANSIT, LANGEVIN, MONTE_CARLO = 5, 6, 7, 8
SEARCHES = (OPTIMISATION, TRANSITION_STATE, SYNCHRONOUS_TRANSIT)  # converged or not

MOLECULE, SCF, CI, RESTRAINTS, OUTPUT = (  # headings of settings
    "molecule", "electronic structure", "configuration interaction", "restraints",
    "output and backend")

NO_CI, SINGLES, MICROSTATES = CI_KINDS = ("none", "singles", "microstates")  # by number

MOST_BONDS = 12  # of an atom, as far as the backend is told

_USUAL_WEIGHTS = (1.0, 1.0)  # of sigma-sigma and pi-pi overlap
_SPECTROSCOPIC_WEIGHTS = (1.267, 0.585)  # those of the parameters of ZINDO/S

def _restraints(given: Any) -> tuple[Restraint, ...]:
    from orbitrax.molecules.restraints import parse_restraints

    return parse_restraints(given)


def _selection(given: Any) -> tuple[int, ...]:
    from orbitrax.molecules.selection import parse_selection

    return parse_selection(given)


def parse_window(given: Any) -> tuple[int, int]:
    """Occupied and empty orbitals of a configuration interaction, from two numbers or a text."""
    words = given.replace(",", " ").split() if isinstance(given, str) else list(given)
    try:
        occupied, empty = (int(word) for word in words)
        if occupied >= 1 and empty >= 0:
            return occupied, empty
    except (TypeError, ValueError):
        pass
    shown = " ".join(map(str, words))
    raise UsageError(f"--window {shown}: should be two numbers, of the highest occupied orbitals, "
                     "1 or more, and of the lowest empty ones, as in 10 10")


@declared
class JobSettings(Settings):
    """What every calculation can be told; tasks add their own."""

    calc_kind: ClassVar[int] = SINGLE_POINT
    motion_wishes: ClassVar[int] = 0  # bits of what motion does beyond what every client gets
    search_wishes: ClassVar[int] = 0  # the same of searches with a Hessian

    charge: int | None = option(
        None, short="-c", group=MOLECULE, wire="nTotalCharge", metavar="N",
        help="total charge (default: what the molecule says, else 0)")
    multiplicity: int | None = option(
        None, short="-s", least=1, group=MOLECULE, wire="nMultiplicity", metavar="N",
        help="spin multiplicity, 2S+1 (default: the lowest)")
    uhf: bool | None = option(
        None, group=MOLECULE, exclusive="spin",
        help="unrestricted: each spin has its orbitals (default where electrons are unpaired)")
    rhf: bool = option(
        False, group=MOLECULE, exclusive="spin",
        help="restricted: one set of orbitals; unpaired electrons by the half-electron method")
    select: tuple[int, ...] | None = option(
        None, group=MOLECULE, convert=_selection, metavar="LIST",
        help="atoms to calculate, counted from 1, as in 1-24,31; the others become point charges")
    scf_limit: float = option(
        1e-6, above=0, most=1, unit="kcal/mol", group=SCF, wire="flConvergenceLimit", metavar="E",
        help="energy change at convergence, kcal/mol")
    scf_iterations: int = option(
        400, least=0, most=LARGEST_WORD - 2, group=SCF, wire="nIterationLimit", metavar="N",
        help="most iterations")
    scf: str = option(
        "auto", choices=("auto", "plain"), group=SCF,
        help="how the iterations go: auto judges energy and density, mixes as it needs to and "
             "looks for the lowest state; plain goes by --diis and --level-shift-start, as auto "
             "does where one of those is given")
    stability: str = option(
        "auto", choices=("auto", "none", "test", "follow"), group=SCF,
        help="test whether the state is a minimum, and follow what is lower; auto: follow for "
             "small molecules and open shells, not below a configuration interaction")
    diis: bool = option(
        True, group=SCF, wire="fDiis", help="accelerate convergence by extrapolation")
    level_shift_start: int = option(
        1, group=SCF, wire="nLevelShiftStart", metavar="N",
        help="iteration after which the level shift begins; 0 for none")
    sigma: float | None = option(
        None, group=SCF, wire="flOverlapSigma", metavar="F",
        help="weight of sigma-sigma overlap in ZINDO (default 1.267 in zindos, else 1)")
    pi: float | None = option(
        None, group=SCF, wire="flOverlapPi", metavar="F",
        help="weight of pi-pi overlap in ZINDO (default 0.585 in zindos, else 1)")
    allow_unconverged: bool = option(
        False, group=SCF, help="take the last values even if the iterations did not converge")
    bond_orders: bool = option(
        False, group=OUTPUT, help="Wiberg bond orders and valences of the atoms")
    ci: str = option(
        NO_CI, choices=CI_KINDS, group=CI, wire="nCiKind",
        help="mix configurations: single excitations, or all microstates, of a window of orbitals")
    window: tuple[int, int] | None = option(
        None, group=CI, convert=parse_window, words=2, metavar="OCC VIRT",
        help="the window: so many of the highest occupied and of the lowest empty orbitals")
    max_excitation: float | None = option(
        None, least=0, unit="eV", group=CI, wire="flCiMaxExcitation", metavar="EV",
        help="the window by energy: excitations up to so many eV")
    next_lowest: bool = option(
        False, group=CI, wire="fNextLowestState",
        help="the second lowest singlet, from an SCF with two half-filled levels")
    restrain: tuple[Restraint, ...] = option(
        (), group=RESTRAINTS, convert=_restraints, repeated=True, metavar="TEXT",
        help="hold a part of the geometry: 'tether 1 [X Y Z]', 'stretch 1 2 [LENGTH]', 'bend 1 2 3 "
             "[DEGREES]' or 'torsion 1 2 3 4 [DEGREES]', each with k=NUMBER or 100 kcal/mol per "
             "square Angstrom or radian; without a target what is there is held; may be given "
             "again")
    log_level: int | None = option(
        None, least=0, group=OUTPUT, wire="nLogLevel", metavar="N",
        help="1 to 9 choose what the report shows beside the results")
    eigenvectors: bool = option(
        False, typed=False, help="bring the orbitals' coefficients too")
    scf_start: str = option(
        "new", choices=("new", "leave", "follow"), typed=False,
        help="start each job anew; leave the density to the next job; or start from what the last "
             "job left, where its molecule is this one and near")
    precise: bool = option(True, typed=False, help="bring energy and gradient in double precision")
    debug: bool = option(False, typed=False, help="bring the backend's debug texts too")

    def _check(self) -> None:
        if self.uhf and self.rhf:
            raise UsageError("--rhf is not allowed with --uhf")
        if self.window is not None and self.max_excitation is not None:
            raise UsageError("--window and --max-excitation both choose the orbitals of the "
                             "configuration interaction; give one")
        if self.ci == NO_CI:
            for name in ("window", "max_excitation"):
                if getattr(self, name) is not None:
                    raise UsageError(f"--{name.replace('_', '-')} is for a configuration "
                                     "interaction; add --ci singles or --ci microstates")
            return
        if self.uhf:
            raise UsageError("--ci starts from a restricted calculation; leave out --uhf")
        if self.ci == MICROSTATES and self.max_excitation is not None:
            raise UsageError("--ci microstates takes a --window, not --max-excitation")
        if self.window is None and self.max_excitation is None:
            raise UsageError("--ci needs its orbitals: --window OCC VIRT, or --max-excitation EV")

    def leader(self) -> Callable[..., Result] | None:
        """Who leads a calculation of several sessions: called with the backend, the job, a
        listener, a time limit and the name of the task. None where one session does it all."""
        return None

    def fields(self, job: Job) -> dict[str, Any]:
        """Fields of the options on the wire that follow from several settings, or from the job."""
        return {}

    def first_hessian(self, job: Job) -> bytes | None:
        """With which a search begins, doubles, 3 n x 3 n, kcal/(mol Angstrom^2); None where the
        backend finds its own."""
        return None

    def velocities_of(self, job: Job) -> Sequence[float] | None:
        """Velocities that the job starts with, 3 n, Angstrom/ps; None where it draws its own."""
        return None

    def ends(self) -> tuple[Sequence[float], Sequence[float]] | None:
        """Reactant and product of a synchronous transit, 3 n each, Angstrom; None for other jobs.
        """
        return None


class Job:
    """One calculation, which does not change; `replace` makes another.

    molecule: a Molecule, or what `as_molecule` makes one of. method: by name, number or itself.
    settings: a task, or any JobSettings; further settings may be given by name. charge and
    multiplicity are what was asked for, else what the molecule says, else 0 and the lowest that the
    electrons allow. selection: the calculated atoms, from 1, ascending; None for all. sigma, pi:
    weights of overlap.

    Raises UsageError where the parts do not fit.
    """

    __slots__ = ("molecule", "method", "settings", "charge", "multiplicity", "selection", "sigma",
                 "pi", "_bonds")

    molecule: Molecule
    method: Method
    settings: JobSettings
    charge: int
    multiplicity: int
    selection: tuple[int, ...] | None
    sigma: float
    pi: float
    _bonds: list[list[int]] | None

    def __init__(self, molecule: Any, method: Method | str | int,
                 settings: JobSettings | None = None, **values: Any):
        put = super().__setattr__
        settings = JobSettings(**values) if settings is None else settings.replace(**values)
        if not isinstance(molecule, Molecule):
            from orbitrax.molecules.reading import as_molecule

            molecule = as_molecule(molecule)
        put("molecule", molecule)
        put("method", find_method(method))
        put("settings", settings)
        put("_bonds", None)
        put("selection", self._known_selection())
        put("charge", self._known_charge())
        multiplicity = settings.multiplicity or molecule.multiplicity
        put("multiplicity", 1 + (self.electrons % 2) if multiplicity is None else multiplicity)
        for name in ("sigma", "pi"):
            if getattr(settings, name) is not None and self.method.family != "ZINDO":
                raise UsageError(f"--{name} weighs overlaps of ZINDO; it has no effect in "
                                 f"{self.method.title}")
        sigma, pi = (_SPECTROSCOPIC_WEIGHTS if self.method.number == ZINDOS else _USUAL_WEIGHTS)
        put("sigma", sigma if settings.sigma is None else settings.sigma)
        put("pi", pi if settings.pi is None else settings.pi)

    def _known_selection(self) -> tuple[int, ...] | None:
        if self.settings.select is None:
            return None
        from orbitrax.molecules.selection import check_selection

        return check_selection(self.settings.select, len(self.molecule), self.molecule.title)

    def _known_charge(self) -> int:
        molecule, told = self.molecule, self.settings.charge
        if told is not None:
            return told
        if molecule.charge is None and molecule.notes:
            raise UsageError(f"{molecule.title}: {molecule.notes[0]}")
        return molecule.charge or 0

    def __setattr__(self, name: str, value: object) -> None:
        raise AttributeError(f"a job does not change; make another with replace({name}=...)")

    def __getstate__(self) -> tuple[Molecule, Method, JobSettings]:
        return self.molecule, self.method, self.settings

    def __setstate__(self, state: tuple[Molecule, Method, JobSettings]) -> None:
        self.__init__(*state)  # type: ignore[misc]

    def replace(self, molecule: Molecule | None = None, method: Method | str | int | None = None,
                **values: Any) -> Job:
        """This job but for another molecule, another method or some settings."""
        return Job(molecule or self.molecule, method or self.method, self.settings, **values)

    # ---- what is calculated ---------------------------------------------------------------------

    @property
    def uhf(self) -> bool:
        """Whether each spin has its orbitals: as it was asked for, else where electrons are
        unpaired, unless configurations are made of the orbitals of both."""
        settings = self.settings
        if settings.rhf or settings.uhf is not None:
            return bool(settings.uhf) and not settings.rhf
        return self.multiplicity > 1 and settings.ci == NO_CI

    @property
    def half_electrons(self) -> bool:
        """Whether unpaired electrons are spread over both spins and the energy alone is corrected
        for that: the gradient is then that of the mean."""
        return (not self.uhf and (self.multiplicity > 1 or self.settings.next_lowest)
                and self.settings.ci == NO_CI)

    @property
    def eigenvectors(self) -> bool:
        """Whether the orbitals' coefficients are brought: as asked for, and where their spins are
        compared."""
        return self.settings.eigenvectors or self.settings.bond_orders or self.uhf

    @property
    def selected(self) -> Sequence[int]:
        """Indices from 0 of the calculated atoms, ascending."""
        if self.selection is None:
            return range(len(self.molecule))
        return [number - 1 for number in self.selection]

    @property
    def masses(self) -> Sequence[float]:
        """Of all atoms, atomic mass units."""
        given: Sequence[float] | None = self.molecule.plain_masses
        return [MASSES[number] for number in self.molecule.z] if given is None else given

    @property
    def bonds(self) -> list[list[int]]:
        """Bonded atoms of each atom, indices from 0; empty lists while all atoms are selected, as
        only bonds that a selection cuts matter."""
        if self._bonds is None:
            if self.selection is None:
                found: list[list[int]] = [[] for _ in range(len(self.molecule))]
            else:
                from orbitrax.molecules.geometry import find_bonds

                found = find_bonds(self.molecule.numbers, self.molecule.positions, MOST_BONDS)
            object.__setattr__(self, "_bonds", found)
            return found
        return self._bonds

    @property
    def capping(self) -> list[int]:
        """Indices from 0 of the outside atoms that end a cut bond: those with an odd number of
        selected neighbours."""
        if self.selection is None:
            return []
        inside = set(self.selected)
        cuts: dict[int, int] = {}
        for index in inside:
            for neighbour in self.bonds[index]:
                if neighbour not in inside:
                    cuts[neighbour] = cuts.get(neighbour, 0) + 1
        return sorted(index for index, count in cuts.items() if count % 2 == 1)

    @property
    def electrons(self) -> int:
        """Valence electrons of the calculated part."""
        z = self._calculated
        return (sum([VALENCE_ELECTRONS[number] for number in z])
                + CAPPING_VALENCE * len(self.capping) - self.charge)

    @property
    def orbitals(self) -> int:
        """Valence orbitals of the selected atoms."""
        return sum([VALENCE_ORBITALS[number] for number in self._calculated])

    @property
    def _calculated(self) -> Sequence[int]:
        """Atomic numbers of the selected atoms."""
        z = self.molecule.z
        return z if self.selection is None else [z[i] for i in self.selected]

    # ---- checks ---------------------------------------------------------------------------------

    def check(self, parameters: ParameterSet) -> None:
        """Refuses what the method cannot calculate: elements without parameters, atoms in one
        place, restraints of atoms that are not there."""
        from orbitrax.memory import check_memory

        molecule, title = self.molecule, self.method.title
        check_memory(self._calculated)
        strange = set(molecule.z).difference(parameters.elements)
        for index, number in enumerate(molecule.z if strange else ()):
            if number > 0 and number not in parameters.elements:
                raise InputError(f"{molecule.label(index)}: {title} has no parameters for "
                                 f"{SYMBOLS[number]}; {_who_has(number)}")
        pair = parameters.missing_pair(z for z in self._calculated if z > 0)
        if pair is not None:
            raise InputError(f"{title} has no parameters for {SYMBOLS[pair[0]]} and "
                             f"{SYMBOLS[pair[1]]} in one molecule; take another method")
        for index in self.capping:
            number = molecule.z[index]
            if number not in parameters.capping:
                raise InputError(f"{molecule.label(index)} ends a bond that the selection cuts, "
                                 f"and {title} has no parameters for {SYMBOLS[number]} as a "
                                 "capping atom; select it too, or cut elsewhere")
        for i, j, distance in molecule.near(TOO_CLOSE):
            if molecule.z[i] > 0 and molecule.z[j] > 0:
                raise InputError(f"{molecule.label(i)} and {molecule.label(j)} are {distance:.4f} "
                                 "Angstrom apart; atoms nearer than 0.0529 Angstrom cannot be "
                                 "calculated")
        for restraint in self.settings.restrain:
            restraint.check(len(molecule))
            restraint.check_energy(molecule.xyz)

    def __repr__(self) -> str:
        return f"<Job {self.molecule.formula}, {self.method.title}, {self.settings!r}>"


def _who_has(number: int) -> str:
    """Which methods have an element."""
    from orbitrax.tables import load_parameters

    keys = [method.key for method in METHODS if number in load_parameters(method).elements]
    if not keys:
        return "none of the methods has"
    return f"{', '.join(keys)} {'have' if len(keys) > 1 else 'has'}"
