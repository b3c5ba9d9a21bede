"""Pages that follow from the code are those of today: the drawing of the house in docs/design.md,
and docs/json.md."""

from __future__ import annotations

import importlib.util

import pytest
from tree import ROOT



def script(name: str):
    """A script of docs/ as a module."""
    spec = importlib.util.spec_from_file_location(name, ROOT / "docs" / f"{name}.py")
    module = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(module)
    return module


house = script("draw_house")


def test_the_drawing_in_the_page_is_that_of_today():
    old = house.PAGE.read_text(encoding="utf-8")
    assert house.page(old, house.drawing()) == old, "refresh it: docs/draw_house.py --write"


def test_the_page_of_the_json_document_is_that_of_today():
    pages = script("write_json_page")
    assert pages.page() == pages.PAGE.read_text(encoding="utf-8"), (
        "refresh it: docs/write_json_page.py")


def test_no_room_of_python_is_one_flat_folder():
    """Rooms, not files: a folder with more than twenty would be one."""
    folders = {path.parent for path in (ROOT / "python" / "orbitrax").rglob("*.py")}
    assert [str(folder) for folder in folders if len(list(folder.glob("*.py"))) > 20] == []


def test_arrows_point_down_and_detours_are_left_out():
    uses = {"a": {"b", "c"}, "b": {"c"}, "c": set()}
    assert house.floors(uses) == [["c"], ["b"], ["a"]]
    assert house.direct(uses) == {"a": {"b"}, "b": {"c"}, "c": set()}


def test_a_circle_is_said():
    with pytest.raises(ValueError, match="a circle among a, b"):
        house.floors({"a": {"b"}, "b": {"a"}, "c": set()})


def test_a_read_that_closes_a_circle_is_no_arrow(plant):
    root = plant({"src/scf/scf.cpp": '#include "report/report.h"\n#include "job/state.h"\n',
                  "src/report/report.cpp": '#include "scf/state.h"\n', "src/job/state.h": ""})
    uses, upward = house.with_reads(*house.cpp_rooms(root))
    assert uses == {"scf": {"report", "job"}, "report": set(), "job": set()}
    assert upward == [("report", "scf")]
