"""The JSON document: its table, its schema, and what a result puts into it."""

import json

import jsonschema
import pytest
from support import ROOT  # noqa: F401

from orbitrax import Backend, Job
from orbitrax.results.document import ROWS, empty_document, schema
from orbitrax.results.result import Result


def lengths(value, row, known):
    """Checks kinds and shapes by the table; lengths of one name are the same throughout."""
    kinds = {"string": str, "integer": int, "number": (int, float), "boolean": bool}
    level = [value]
    for length in row.shape:
        for item in level:
            assert isinstance(item, list)
            assert len(item) == (length if isinstance(length, int) else known.setdefault(
                length, len(item))), row.key
        level = [part for item in level for part in item]
    assert all(isinstance(item, kinds[row.kind]) for item in level), row.key


def test_a_result_has_the_kinds_and_shapes_of_the_table(make_peer, water):
    with Backend(make_peer(gradient=True, unrestricted=True)) as backend:
        result = backend.run(Job(water, "am1", charge=1, uhf=True))
    document, known = result.to_dict(), {}
    assert [*document] == [row.key for row in ROWS]
    for row in ROWS:
        if document[row.key] is not None and row.shape != ("any",):
            lengths(document[row.key], row, known)
    assert known == {"atoms": 3, "orbitals": 8}
    assert sum(value is not None for value in document.values()) > 30
    assert json.loads(json.dumps(document, allow_nan=False)) == document


def test_every_attribute_of_the_table_is_one_of_a_result():
    result = Result("energy", "am1", 0, 1, "RHF", ["H"], [[0.0, 0.0, 0.0]])
    assert [row.attribute for row in ROWS if row.attribute and not hasattr(
        result, row.attribute)] == []


def test_nothing_known_is_null_and_nothing_said_is_an_empty_list():
    document = empty_document("energy")
    assert document["task"] == "energy" and document["warnings"] == document["errors"] == []
    assert document["remarks"] == []
    assert {key for key, value in document.items() if value is not None} == {
        "schema", "version", "task", "warnings", "errors", "remarks"}


def test_blocks_of_a_task_stand_beside_the_rest():
    result = Result("scan", "am1", 0, 1, "RHF", ["H"], [[0.0, 0.0, 0.0]])
    result.blocks["scan"] = {"points": 3}
    assert result.to_dict()["scan"] == {"points": 3}


@pytest.mark.parametrize("change,good", [
    ({}, True), ({"total_energy": None}, True), ({"total_energy": "low"}, False),
    ({"dipole_debye": [0, 0, 1]}, False), ({"charges": [[1]]}, False), ({"warnings": None}, False),
    ({"schema": "orbitrax-result-2"}, False), ({"optimize": {"limit": 0.1}}, True)])
def test_the_schema_takes_what_the_table_says_and_nothing_else(change, good):
    known = {"dipole_debye": [0, 0, 1, 1], "charges": [0.5]}
    document = {**empty_document("energy"), **known, **change}
    if good:
        jsonschema.validate(document, schema())
    else:
        with pytest.raises(jsonschema.ValidationError):
            jsonschema.validate(document, schema())


def test_a_result_names_itself_in_a_line():
    result = Result("energy", "mindo3", 0, 1, "RHF", ["C", "H", "H"], [[0.0, 0.0, 0.0]] * 3)
    assert repr(result) == ("<Result of energy: CH2, 3 atoms, MINDO/3 RHF, charge 0, "
                            "multiplicity 1; no energy>")
    result.total_energy, result.converged = -1.5, False
    assert repr(result).endswith("; total energy -1.500000 kcal/mol, NOT CONVERGED>")
