"""The JSON document of a result: one table, from which the document, its page and its schema
follow.

A value that a task does not produce is null, never left out and never invented.
"""

from __future__ import annotations

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any

SCHEMA = "orbitrax-result-1"


class Row:
    """One entry. key: its name; attribute: that of `Result` which it shows; kind: "integer",
    "number", "string" or "boolean"; shape: of an array, by the names of its lengths."""

    __slots__ = ("key", "attribute", "kind", "shape", "unit", "meaning")

    def __init__(self, key: str, attribute: str | None, kind: str, shape: tuple[Any, ...],
                 unit: str, meaning: str):
        self.key, self.attribute, self.kind, self.shape = key, attribute, kind, shape
        self.unit, self.meaning = unit, meaning


_N, _ORBITALS, _TEXTS = ("atoms",), ("orbitals",), ("any",)
_KCAL = "kcal/mol"

# Orbitals: alpha before beta in an unrestricted calculation.
ROWS = tuple(Row(*row) for row in (
    ("schema", None, "string", (), "", f"{SCHEMA}, the name of this form"),
    ("version", None, "string", (), "", "of the program"),
    ("task", "task", "string", (), "", "energy, optimize, ..."),
    ("method", "method", "string", (), "", "am1, pm3, ..., as it is typed"),
    ("charge", "charge", "integer", (), "e", "of the calculated part"),
    ("multiplicity", "multiplicity", "integer", (), "", "2S + 1"),
    ("spin", "spin", "string", (), "", "RHF or UHF"),
    ("symbols", "symbols", "string", _N, "", "of the elements"),
    ("masses", "masses", "number", _N, "u", "of the atoms; null for standard ones"),
    ("coordinates_angstrom", "coordinates", "number", ("atoms", 3), "Angstrom", "of the atoms"),
    ("total_energy", "total_energy", "number", (), _KCAL, "electronic and core energy"),
    ("electronic_energy", "electronic_energy", "number", (), _KCAL, "of the valence electrons"),
    ("core_energy", "core_energy", "number", (), _KCAL, "repulsion of the cores"),
    ("binding_energy", "binding_energy", "number", (), _KCAL,
     "total energy less that of the atoms"),
    ("isolated_atomic_energy", "isolated_atomic_energy", "number", (), _KCAL,
     "of the atoms by themselves"),
    ("heat_of_formation", "heat_of_formation", "number", (), _KCAL,
     "from the elements at 298 K; null where the method has no scale of it"),
    ("gradient", "gradient", "number", ("atoms", 3), "kcal/(mol Angstrom)", "of the total energy"),
    ("rms_gradient", "rms_gradient", "number", (), "kcal/(mol Angstrom)",
     "root mean square over the components of the calculated atoms"),
    ("dipole_debye", "dipole", "number", (4,), "Debye", "x, y, z and length"),
    ("charges", "charges", "number", _N, "e", "net charges"),
    ("orbital_energies_ev", "orbital_energies", "number", _ORBITALS, "eV", "levels, ascending"),
    ("occupancies", "occupancies", "number", _ORBITALS, "electrons", "of the levels"),
    ("gap_ev", "gap_ev", "number", (), "eV", "from the highest occupied to the lowest empty level"),
    ("spin_squared", "spin_squared", "number", (), "", "expectation value of S^2, UHF"),
    ("spin_populations", "spin_populations", "number", _N, "electrons", "unpaired, by atom"),
    ("bond_orders", "bond_orders", "number", ("any", 3), "",
     "two atoms, from 1, and their Wiberg bond order; where asked for"),
    ("valences", "valences", "number", _N, "", "sums of the bond orders; where asked for"),
    ("orbital_symmetries", "orbital_symmetries", "string", _ORBITALS, "",
     "running number and species of the levels"),
    ("point_group", "point_group", "string", (), "", "of the molecule"),
    ("converged", "converged", "boolean", (), "",
     "each SCF of the job; of a search the search and its last SCF"),
    ("cycles", "cycles", "integer", (), "", "of a search"),
    ("energy_points", "energy_points", "integer", (), "", "energies computed in a search"),
    ("scf_iterations", "scf_iterations", "integer", (), "", "of the last SCF"),
    ("final_scf_difference", "final_scf_difference", "number", (), _KCAL,
     "between the last two iterations"),
    ("scf_runs", "scf_runs", "integer", (), "", "SCFs of the job"),
    ("scf_unconverged", "scf_unconverged", "integer", (), "", "those that did not converge"),
    ("log", "log", "string", (), "", "the backend's report"),
    ("status", "status", "string", (), "", "done, unconverged, refused, failed or interrupted"),
    ("warnings", "warnings", "string", _TEXTS, "", "what was warned of"),
    ("errors", "errors", "string", _TEXTS, "", "what went wrong"),
    ("remarks", "remarks", "string", _TEXTS, "", "what is odd about the result"),
    ("wall_seconds", "wall_seconds", "number", (), "s", "from the start of the job to its end"),
))


_EMPTY: dict[str, Any] = {row.key: None for row in ROWS}
_EMPTY["schema"] = SCHEMA
_LISTS = tuple(row.key for row in ROWS if row.shape == _TEXTS)


def empty_document(task: str | None) -> dict[str, Any]:
    """A document with every key and nothing known."""
    from orbitrax import __version__

    document: dict[str, Any] = _EMPTY.copy()
    for key in _LISTS:
        document[key] = []
    document["version"], document["task"] = __version__, task
    return document


def schema() -> dict[str, Any]:
    """The JSON schema of the document. Tasks add blocks of their own, so more keys are allowed."""
    return {"$schema": "https://json-schema.org/draft/2020-12/schema", "title": SCHEMA,
            "type": "object", "required": [row.key for row in ROWS],
            "properties": {row.key: _schema_of(row) for row in ROWS}}


def _schema_of(row: Row) -> dict[str, Any]:
    found: dict[str, Any] = {"type": row.kind}
    for length in reversed(row.shape):
        found = {"type": "array", "items": found}
        if isinstance(length, int):
            found.update(minItems=length, maxItems=length)
    about = f"{row.meaning}, {row.unit}" if row.unit else row.meaning
    if row.key == "schema":
        return {"const": SCHEMA, "description": about}
    if row.shape == _TEXTS:
        return {**found, "description": about}
    return {"anyOf": [found, {"type": "null"}], "description": about}
