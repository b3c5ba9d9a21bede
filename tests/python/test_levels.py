"""Pictures of orbital levels."""

from __future__ import annotations

import re

import pytest
from orbitrax import Backend, Job, Molecule, read_molecule
from orbitrax.errors import OrbitraxError
from orbitrax.pictures.levels import draw, ladders
from orbitrax.results.result import Result
from support import ROOT
from test_cli import orbitrax


def texts(result):
    return [text.get_text() for text in draw(result, "title").axes[0].texts]


@pytest.fixture(scope="module")
def backend():
    with Backend(time_limit=60) as running:
        yield running


def test_a_closed_shell_has_one_ladder(backend):
    result = backend.run(Job(read_molecule(ROOT / "examples/benzene.xyz"), "am1"))
    ((spin, levels),) = ladders(result)
    assert spin == "" and sum(level.electrons for level in levels) == 30
    assert [level.energy for level in levels] == sorted(level.energy for level in levels)
    words = texts(result)
    assert words.count("HOMO") == words.count("LUMO") == 1 and "1E1G" in words
    figure = draw(result, "title")
    (homo, other) = [line for line in figure.axes[0].lines
                     if abs(line.get_ydata()[0] - dict(result.frontier())["HOMO"]) < 0.01]
    assert homo.get_xdata()[1] < other.get_xdata()[0] or other.get_xdata()[1] < homo.get_xdata()[0]
    assert figure.texts[0].get_text().endswith(f"gap {result.gap_ev:.3f} eV")


def test_each_spin_has_its_own(backend):
    result = backend.run(Job(read_molecule(ROOT / "examples/nitrogen_dioxide.xyz"), "pm3"))
    (_, alpha), (_, beta) = ladders(result)
    assert sum(level.electrons for level in alpha) == sum(level.electrons for level in beta) + 1
    words = texts(result)
    assert words.count("HOMO") == words.count("LUMO") == 2 and {"alpha", "beta"} < set(words)
    shown = [word for word in words if word in ("↑", "↓")]
    assert abs(shown.count("↑") - shown.count("↓")) <= 3 and "↓" in shown


def test_an_electron_alone_has_one_arrow(backend):
    result = backend.run(Job(Molecule([6, 1, 1, 1], [[0, 0, 0], [1.08, 0, 0], [-0.54, 0.935, 0],
                                                    [-0.54, -0.935, 0]]), "am1", rhf=True))
    words = texts(result)
    assert words.count("↑") == words.count("SOMO") == 1


def test_levels_that_nobody_knows_are_not_drawn():
    with pytest.raises(OrbitraxError, match="no levels"):
        draw(Result("energy", "am1", 0, 1, "RHF", ["H"], [0.0] * 3), "title")


def test_the_command_draws_them(tmp_path):
    path = tmp_path / "levels.svg"
    done = orbitrax("energy", "examples/water.xyz", "-m", "am1", "-q", "-o", str(path))
    assert done.returncode == 0 and "1B1" in path.read_text()
    assert re.search(r"HOMO.*LUMO|LUMO.*HOMO", path.read_text(), re.S)
    done = orbitrax("energy", "examples/water.xyz", "-m", "am1", "-o",
                    str(tmp_path / "missing" / "levels.png"))
    assert done.returncode == 2 and "missing" in done.stderr
