"""What a calculation yields."""

from __future__ import annotations

from array import array

from orbitrax.arrays import ArrayField, GivenArray, rows, shortest
from orbitrax.methods import find_method
from orbitrax.molecules.elements import formula_of

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any

    from orbitrax.arrays import Array
    from orbitrax.results.states import States
    from orbitrax.vibrations.modes import Modes


_EMPTY, _FULL = 0.01, 1.99  # electrons


class Result:
    """A calculation's results. Energies kcal/mol, orbital energies eV, charges e, dipole Debye (x,
    y, z, length), coordinates n x 3 Angstrom, gradient n x 3 kcal/(mol Angstrom). What the backend
    did not send is None. Arrays are numpy arrays, made at the first look; `plain` has them without.

    Orbital arrays hold alpha before beta in an unrestricted calculation. eigenvectors, where the
    job asks for them: by spin, "alpha" and, unrestricted, "beta", an array N x N whose row k is
    orbital k, by rising energy, over the atomic orbitals, atom by atom and in each s, px, py, pz,
    dz2, dxz, dyz, dx2-y2, dxy; `orbitrax.slater_basis` names them. The rows are orthonormal.

    scf_runs, scf_unconverged: the SCFs of the job, and those that did not converge; scf_converged:
    whether the last one did. converged: whether all that the result stands on did: each SCF, of a
    search the search and its last SCF.
    spin_squared: the expectation value of S^2 in an unrestricted calculation. spin_populations: n,
    unpaired electrons by atom. bond_orders: rows of two atom numbers from 1 and Wiberg's bond order
    (open shells by both spins); valences: n, their sums; both where the job asks for them.
    remarks: what is odd about the result, in words.

    selected: how many of the atoms were calculated, None for all. exact: whether the parts of the
    energy came in double precision.

    modes: the normal modes of a job that computes them, an `orbitrax.Modes`.

    state_remarks: what the state of the electrons is to be warned of; they are no warnings of the
    backend until the task has judged them.

    blocks: what the task has to tell beside, by name, as in the JSON document. search: of a search
    that this side led, each criterion by name with value, limit, unit and whether it was met.
    """

    coordinates = GivenArray(3)
    gradient = ArrayField(3)
    dipole = ArrayField()
    charges = ArrayField()
    orbital_energies = ArrayField()
    occupancies = ArrayField()
    orbital_populations = ArrayField()

    spin_populations = ArrayField()
    valences = ArrayField()

    masses: list[float] | None = None
    total_energy: float | None = None
    electronic_energy: float | None = None
    core_energy: float | None = None
    binding_energy: float | None = None
    isolated_atomic_energy: float | None = None
    heat_of_formation: float | None = None
    restraint_energy: float | None = None
    rms_gradient: float | None = None
    orbital_symmetries: list[str] | None = None
    eigenvectors: dict[str, Array] | None = None
    point_group: str | None = None
    modes: Modes | None = None
    states: States | None = None
    converged: bool | None = None
    cycles: int | None = None
    energy_points: int | None = None
    scf_iterations: int | None = None
    scf_converged: bool | None = None
    scf_runs: int | None = None
    scf_unconverged: int | None = None
    final_scf_difference: float | None = None
    status: str = "done"
    wall_seconds: float | None = None
    search: dict[str, dict[str, Any]] | None = None
    spin_squared: float | None = None
    bond_orders: list[list[float]] | None = None
    selected: int | None = None
    exact = False

    def __init__(self, task: str, method: str, charge: int, multiplicity: int, spin: str,
                 symbols: list[str], coordinates: Any):
        self.task, self.method, self.spin = task, method, spin
        self.charge, self.multiplicity = charge, multiplicity
        self.symbols = symbols
        self.coordinates = coordinates
        self.log: list[str] = []
        self.warnings: list[str] = []
        self.errors: list[str] = []
        self.remarks: list[str] = []
        self.blocks: dict[str, dict[str, Any]] = {}
        self.state_remarks: list[str] = []

    def plain(self, name: str) -> list[float] | None:
        """The numbers of an array in one row, without numpy; None where there are none."""
        field = type(self).__dict__[name]
        return field.plain(self) if isinstance(field, ArrayField) else None

    def raw(self, name: str) -> Any:
        """The same as they came, or were given."""
        field = type(self).__dict__[name]
        return field.raw(self)

    @property
    def natural(self) -> bool:
        """Whether its orbitals are the natural ones of mixed microstates, which have electrons and
        no energies: the levels are still those of the SCF."""
        kinds = [self.blocks.get(name, {}).get("kind") for name in ("ci", "uv")]
        return "microstates" in (kinds if self.states is None else [self.states.kind])

    def frontier(self) -> list[tuple[str, float]]:
        """Names and energies (eV) of the highest occupied, singly occupied and lowest empty
        orbitals, of either spin in an unrestricted calculation; none of natural orbitals."""
        if self.natural:
            return []
        levels, occupancies = self.raw("orbital_energies"), self.raw("occupancies")
        if levels is None or occupancies is None:
            return []
        spins = (" alpha", " beta") if self.spin == "UHF" else ("",)
        n = len(levels) // len(spins)
        found: list[tuple[str, float]] = []
        for i, spin in enumerate(spins):
            paired = 0 if spin else _pairs(occupancies)
            if paired:
                found.append(("HOMO", levels[paired - 1]))
                found += [("LUMO", level) for level in levels[paired:paired + 1]]
                continue
            pairs = list(zip(levels[i * n:(i + 1) * n], occupancies[i * n:(i + 1) * n]))
            single = [] if spin else [level for level, occupancy in pairs
                                      if _EMPTY < occupancy < _FULL]
            filled = [level for level, occupancy in pairs
                      if occupancy > _EMPTY and level not in single]
            empty = [level for level, occupancy in pairs if not occupancy > _EMPTY]
            found += [("HOMO" + spin, level) for level in filled[-1:]]
            found += [("SOMO" + spin, level) for level in single]
            found += [("LUMO" + spin, level) for level in empty[:1]]
        if isinstance(levels, array) and levels.typecode == "f":
            return [(name, shortest(level)) for name, level in found]
        return [(name, float(level)) for name, level in found]

    @property
    def gap_ev(self) -> float | None:
        """From the highest occupied to the lowest empty level, of either spin, eV; None where a
        level is singly occupied without a spin of its own, or either is missing."""
        if self.natural:
            return None
        energies = self.raw("orbital_energies")
        paired = 0 if self.spin == "UHF" else _pairs(self.raw("occupancies"))
        if type(energies) is array and 0 < paired < len(energies):
            occupied, empty_one = energies[paired - 1:paired + 1]
            if energies.typecode == "f":
                return shortest(empty_one) - shortest(occupied)
            return float(empty_one - occupied)
        levels = self.frontier()
        filled = [level for name, level in levels if name.startswith("HOMO")]
        empty = [level for name, level in levels if name.startswith("LUMO")]
        if not filled or not empty or any(name.startswith("SOMO") for name, _ in levels):
            return None
        return min(empty) - max(filled)

    @property
    def heading(self) -> str:
        """What was calculated, and how."""
        count = len(self.symbols)
        part = "" if self.selected is None else f"{self.selected} of "
        return (f"{formula_of(self.symbols)}, {part}{count} atom{'' if count == 1 else 's'}, "
                f"{find_method(self.method).title} {self.spin}, charge {self.charge}, "
                f"multiplicity {self.multiplicity}")

    def to_dict(self) -> dict[str, Any]:
        """The JSON document of this result: every key of the schema, None where unknown, and the
        blocks of the task."""
        document = self.raw_dict()
        for key, field in _document_fields()[1]:
            values = field.plain(self)
            document[key] = rows(values, field.columns) if (
                values is not None and field.columns) else values
        return document

    def raw_dict(self) -> dict[str, Any]:
        """The same with arrays flat, as they came or were given."""
        from orbitrax.results.document import empty_document

        document = empty_document(self.task)
        values, arrays = _document_fields()
        for key, attribute in values:
            document[key] = getattr(self, attribute)
        for key, field in arrays:
            document[key] = field.raw(self)
        document["log"] = "\n".join(self.log) if self.log else None
        document.update(self.blocks)
        return document

    def __repr__(self) -> str:
        known = {True: "converged", False: "NOT CONVERGED", None: "convergence not known"}
        energy = ("no energy" if self.total_energy is None else
                  f"total energy {self.total_energy:.6f} kcal/mol, {known[self.converged]}")
        return f"<Result of {self.task}: {self.heading}; {energy}>"

    def row(self) -> dict[str, Any]:
        """The single values of the JSON document by name, as a row of a table: `pandas.DataFrame`
        takes a list of them."""
        document = self.to_dict()
        found = {key: value for key, value in document.items()
                 if value is None or isinstance(value, (bool, int, float, str))}
        found.pop("log", None)
        return {**found, "formula": formula_of(self.symbols)}

    def _repr_html_(self) -> str:
        """The summary as a table, for notebooks."""
        from html import escape

        from orbitrax.results.text import summary

        lines = summary(self)
        end = lines.index("", 2) if "" in lines[2:] else len(lines)
        rows = "".join(f"<tr><td>{escape(text[:26].strip())}</td><td style='text-align:right'>"
                       f"{escape(text[26:].strip())}</td></tr>" for text in lines[2:end])
        return f"<b>{escape(self.heading)}</b><table>{rows}</table>"


_fields: list[Any] = []  # of a document, once somebody has asked for one


def _document_fields() -> Any:
    """What a document shows of a result: pairs of key and attribute, and of key and array."""
    if not _fields:
        from orbitrax.results.document import ROWS

        named = [(row.key, row.attribute, vars(Result).get(row.attribute)) for row in ROWS
                 if row.attribute is not None and row.attribute != "log"]
        _fields[:] = (tuple((key, name) for key, name, field in named
                            if not isinstance(field, ArrayField)),
                      tuple((key, field) for key, _, field in named
                            if isinstance(field, ArrayField)))
    return _fields


def _pairs(occupancies: Any) -> int:
    """How many levels hold a pair, where these are the first and the others hold nothing, as they
    mostly are; 0 for whoever looks closer."""
    if type(occupancies) is not array:
        return 0
    count = occupancies.count(2)
    usual = (occupancies[:count].count(2) == count
             and occupancies.count(0) == len(occupancies) - count)
    return count if usual else 0


def result_of(document: dict[str, Any]) -> Result:
    """The result that a document was made from, as far as it tells."""
    from orbitrax.results.document import ROWS

    found = Result(*(document[name] for name in ("task", "method", "charge", "multiplicity", "spin",
                                                 "symbols", "coordinates_angstrom")))
    for row in ROWS:
        if row.attribute is None or row.attribute in ("log", "gap_ev", "symbols", "coordinates"):
            continue
        value = document.get(row.key)
        if value is not None:
            setattr(found, row.attribute, value)
    found.log = (document.get("log") or "").split("\n")
    found.blocks = {name: document[name] for name in ("ci", "uv") if document.get(name)}
    return found
