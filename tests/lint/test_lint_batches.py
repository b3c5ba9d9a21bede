"""The sources that a release compiles as one mean there what they mean by themselves."""

from __future__ import annotations

import importlib.util

import pytest
from tree import ROOT


def script():
    """cmake/write_batches.py as a module."""
    path = ROOT / "cmake" / "write_batches.py"
    spec = importlib.util.spec_from_file_location(path.stem, path)
    module = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(module)
    return module


batches = script()


def test_the_batches_agree():
    lines = (ROOT / batches.LIST).read_text(encoding="utf-8").splitlines()
    assert len(lines) > 10
    assert batches.faults(lines) == [], "refresh the list: cmake/write_batches.py"


HELPER = "namespace {\n\ndouble Helper(int i) {\n    return i;\n}\n\n}  // namespace\n"


@pytest.mark.parametrize("other, agree", [
    ("double Own() {\n    return 1;\n}\n", True),
    ("double Own() {\n    return Helper(1);\n}\n", False),  # would mean the neighbour's
    ("// Helper\ndouble Own() {\n    return 1;\n}\n", True),
    ('#include "scf/helped.h"\n', False),
    ("#define HALF 0.5\n", False),
    ("using namespace std;\n", False),
    ("static int s_count = 0;\n", False),
    ("namespace {\n\nenum { Helper, Other };\n\n}  // namespace\n", False),
])
def test_sources_that_share_a_name_do_not_agree(plant, other, agree):
    root = plant({"src/scf/one.cpp": HELPER, "src/scf/other.cpp": other,
                  "src/scf/helped.h": "double Helper(double x);\n"})
    line = "scf/one.cpp scf/other.cpp"
    wrong = [] if agree else ["other.cpp and one.cpp do not go together"]
    assert batches.faults([line], root) == wrong
    assert batches.batches(root) == ([line.split()] if agree else [])


def test_sources_that_are_gone_or_come_twice_are_said(plant):
    root = plant({"src/scf/one.cpp": HELPER})
    said = batches.faults(["scf/one.cpp scf/gone.cpp", "scf/one.cpp"], root)
    assert said == ["gone.cpp is no source", "one.cpp stands there twice"]


def test_rooms_stay_apart(plant):
    root = plant({"src/scf/one.cpp": "int One();\n", "src/ci/other.cpp": "int Other();\n"})
    assert batches.batches(root) == []
    assert len(batches.faults(["ci/other.cpp scf/one.cpp"], root)) == 1
