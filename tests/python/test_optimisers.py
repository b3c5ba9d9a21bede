"""The minimisers against each other, and against the table of docs/optimisers.md."""

import sys

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
def test_all_three_reach_the_minimum_of_the_page(backend, method):
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
        for result, cell in zip(results, cells[1:4]):
            cycles = int(cell.split("/")[0])
            assert result.cycles == pytest.approx(cycles, rel=COUNTS, abs=3), name


def test_the_page_has_every_molecule_in_every_method():
    wanted = {(name.replace("_", " "), method) for name in optimisers.MOLECULES
              for method in optimisers.METHODS}
    assert set(rows_of_the_page()) == wanted and len(wanted) == 100
