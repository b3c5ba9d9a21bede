"""The minimisers against each other, and against the table of docs/optimisers.md."""

import sys

import numpy as np
import pytest
from support import ROOT

sys.path.insert(0, str(ROOT / "benchmarks"))

import optimisers  # noqa: E402
from orbitrax import Backend  # noqa: E402

FEW = ("H2O", "NH3", "HCN", "H2CO", "CH3", "CH3OH", "C2H6", "C6H6")
COUNTS = 0.3  # how far a build may change counts of cycles; an error in a gradient changes more


@pytest.fixture(scope="module")
def backend():
    with Backend() as backend:
        yield backend


def rows_of_the_page():
    rows = {}
    for line in optimisers.PAGE.read_text("utf-8").splitlines():
        cells = [cell.strip() for cell in line.split("|")[1:-1]]
        if len(cells) == len(optimisers.HEAD) and cells[1] in optimisers.METHODS:
            rows[cells[0], cells[1]] = cells[2:]
    return rows


@pytest.mark.parametrize("method", optimisers.METHODS)
def test_all_reach_the_minimum_of_the_page(backend, method):
    page = rows_of_the_page()
    for name in FEW:
        results = [optimisers.optimise(backend, optimisers.start(name), method, optimiser)
                   for optimiser in optimisers.OPTIMISERS]
        assert all(result.converged for result in results), name
        energies = [result.total_energy for result in results]
        assert max(energies) - min(energies) < optimisers.UNCLEAR, name
        cells = page[name, method]
        assert optimisers.energy(method, results) == pytest.approx(
            float(cells[0]), abs=optimisers.UNCLEAR), name
        for result, cell in zip(results, cells[1:6]):
            cycles = int(cell.split("/")[0])
            assert result.cycles == pytest.approx(cycles, rel=COUNTS, abs=3), name


def test_the_page_has_every_molecule_in_every_method():
    wanted = {(name.replace("_", " "), method) for name in optimisers.MOLECULES
              for method in optimisers.METHODS}
    assert set(rows_of_the_page()) == wanted and len(wanted) == 100


def test_the_sums_are_those_of_the_table():
    page = optimisers.PAGE.read_text("utf-8")
    rows = [[*key, *cells] for key, cells in rows_of_the_page().items()]
    assert "\n".join(optimisers.sums(rows)) in page


def test_the_two_best_never_fail_and_need_less_than_the_peer():
    ours, theirs = np.zeros(2, dtype=int), 0
    for (name, method), cells in rows_of_the_page().items():
        assert "ef " not in cells[-1] and "quasi-newton" not in cells[-1], (name, method)
        if cells[-2].isdigit():
            points = [int(cell.split("/")[1]) for cell in cells[4:6]]
            assert min(points) <= int(cells[-2]), (name, method)
            ours, theirs = ours + points, theirs + int(cells[-2])
    assert theirs > 0 and np.all(ours < theirs)
