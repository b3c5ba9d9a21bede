"""The sides of a barrier are minima, and a broken bond between them is told of."""

import json

import numpy as np
import pytest
import support

from orbitrax import Backend, Job, NotConverged, read_molecule
from orbitrax.cli import main
from orbitrax.molecules.molecule import Molecule
from orbitrax.molecules.reading import from_smiles
from orbitrax.reactions.barrier import Barrier, find_barrier
from orbitrax.reactions.path import Path
from orbitrax.reactions.sides import Side, side_of
from orbitrax.reactions.surface import EnergySurface
from orbitrax.tasks.ts import Ts


def ethane(twist):
    """From the side of its axis; 0 degrees is eclipsed."""
    places = [[0, 0, 0.75], [0, 0, -0.75]]
    for end, turn in ((1, 0.0), (-1, twist)):
        for angle in np.radians(np.array([0, 120, 240]) + turn):
            places.append([1.03 * np.cos(angle), 1.03 * np.sin(angle), end * 1.14])
    return Molecule([6, 6, *6 * [1]], places)


def side(molecule, proved=True):
    with Backend() as backend:
        return side_of(EnergySurface(backend, molecule, "am1", {}), molecule, "the reactant",
                       proved, lambda text: None)


def test_a_side_that_is_a_saddle_point_is_left_downhill():
    """Eclipsed ethane, 1.3 kcal/mol above the staggered one in AM1."""
    straight, eclipsed, unproved = side(ethane(60)), side(ethane(0)), side(ethane(0), False)
    assert straight.remark == unproved.remark == "" and straight.result.modes.imaginary == 0
    assert unproved.result.modes is None
    gap = unproved.result.total_energy - straight.result.total_energy
    assert 1.2 < gap < 1.35
    assert eclipsed.result.modes.imaginary == 0
    assert eclipsed.result.total_energy == pytest.approx(straight.result.total_energy, abs=1e-3)
    assert eclipsed.remark.startswith(
        "the search for the reactant ended on a first-order saddle point, ")
    assert eclipsed.remark.endswith(f"left for the structure {gap:.4f} kcal/mol below it")


def test_a_side_below_which_another_molecule_lies_stays_where_it_is():
    start = Molecule([6, 7, 1], [[0, 0, 0], [1.2, 0, 0], [0.5, 1.1, 0]])
    with Backend() as backend:
        saddle = backend.run(Job(start, "am1", Ts(limit=0.001)))
    found = side(Molecule([6, 7, 1], saddle.coordinates.reshape(-1, 3)))
    assert found.result.total_energy == pytest.approx(saddle.total_energy, abs=1e-4)
    assert found.result.modes.imaginary == 1
    assert found.remark.startswith("the reactant is a first-order saddle point, ")
    assert found.remark.endswith("and no minimum: below it other bonds are made")


FLUORIDES = (r"F/C=C\F", "F/C=C/F")


def test_a_double_bond_turns_where_its_electrons_may_part():
    sides = [from_smiles(one) for one in FLUORIDES]
    found = {}
    with Backend() as backend:
        for uhf in (True, None):
            surface = EnergySurface(backend, sides[0], "am1", {"uhf": uhf})
            found[uhf] = find_barrier(surface, *sides, free_energies=False)
    assert found[True].connects and found[True].broken is None
    assert not found[None].connects and 20 < found[None].broken < 60


def test_the_command_says_that_a_bond_is_broken(tmp_path, capsys):
    files = [str(tmp_path / name) for name in ("cis.xyz", "trans.xyz")]
    for one, path in zip(FLUORIDES, files):
        molecule = from_smiles(one)
        lines = [str(len(molecule)), "", *(
            f"{symbol} {x} {y} {z}" for symbol, (x, y, z) in zip(
                molecule.symbols, molecule.positions))]
        with open(path, "w", encoding="utf-8") as file:
            file.write("\n".join(lines) + "\n")
        assert read_molecule(path).symbols == molecule.symbols
    assert main(["barrier", *files, "-m", "am1", "--no-free-energies"]) == 1
    said = capsys.readouterr().err
    assert "kcal/mol below the closed shell: a bond is broken there, try --uhf" in said
    assert "linear transit: the search did not come to a saddle point" in said
    assert "--guess" not in said and "--cycles" not in said


def test_a_side_below_which_only_saddle_points_are_found_is_no_minimum(monkeypatch):
    """Eclipsed ethane, which nobody leaves."""
    from orbitrax.reactions import sides

    with monkeypatch.context() as patch:
        patch.setattr(sides, "_ROUNDS", 0)
        left = side(ethane(0))
    assert left.remark == "" and left.result.modes.imaginary == 1
    assert left.unfinished.startswith("the reactant is a first-order saddle point, ")
    assert left.unfinished.endswith("no minimum: below 0 saddle points stands another one")

    def lost(surface, here, modes):
        raise NotConverged("it went away")

    monkeypatch.setattr(sides, "_below", lost)
    found = side(ethane(0))
    assert found.unfinished.endswith("and no minimum: the search below it: it went away")
    monkeypatch.setattr(sides, "_below", lambda surface, here, modes: None)
    flat = side(ethane(0))
    assert flat.unfinished == "" and flat.remark.endswith("along which its energy does not fall")
    assert side(ethane(60)).unfinished == side(ethane(60)).remark == ""


def test_a_barrier_from_no_minimum_is_not_done(monkeypatch, capsys):
    from orbitrax.reactions import barrier

    def beside(surface, molecule, name, proved, tell):
        return Side(side_of(surface, molecule, name, proved, tell).result,
                    unfinished=f"{name} is a rock")

    monkeypatch.setattr(barrier, "side_of", beside)
    words = ["barrier", *(str(support.ROOT / "examples" / name) for name in ("hcn.xyz", "hnc.xyz")),
             "-m", "am1"]
    assert main(words) == 1
    assert "error: the reactant is a rock" in capsys.readouterr().err
    assert main([*words, "--json"]) == 1
    document = json.loads(capsys.readouterr().out)
    assert document["connects"] and document["status"] == "unconverged"
    assert document["errors"] == ["the reactant is a rock", "the product is a rock"]


def test_a_path_tells_of_the_states_of_its_structures(tmp_path, capsys):
    """A bent ozone in MNDO, whose closed shell lies above another state."""
    guess, saddle = str(tmp_path / "guess.xyz"), str(tmp_path / "saddle.xyz")
    (tmp_path / "guess.xyz").write_text("3\n\nO 0 0 0\nO 1.32 0 0\nO 0.1 1.32 0\n")
    assert main(["ts", guess, "-m", "mndo", "-o", saddle]) == 0
    capsys.readouterr()
    assert main(["path", saddle, "-m", "mndo", "--json"]) == 0
    said = capsys.readouterr()
    told = json.loads(said.out)["warnings"]
    assert [text.partition(": the closed shell is unstable")[0] for text in told] == [
        "saddle point", "side 1"]
    assert said.err.count("the closed shell is unstable") == 2
    assert main(["path", saddle, "-m", "mndo", "--scf-iterations", "3", "--scf", "plain"]) == 1
    assert "the SCF iterations did not converge within 3" in capsys.readouterr().err


def test_a_barrier_tells_what_its_structures_are_warned_of():
    with Backend() as backend:
        results = [backend.run(Job(ethane(60), "am1")) for _ in range(3)]
    for one, texts in zip(results, (["a", "b"], ["a"], ["a", "b"])):
        one.warnings = texts
    found = Barrier(results[0], results[2], Path(results[1], ((), ()), (None, None), ("", "")))
    assert found.warnings == ["a", "reactant and product: b"]


HCN = [str(support.ROOT / "examples" / name) for name in ("hcn.xyz", "hnc.xyz")]
GUESS = str(support.ROOT / "examples" / "hcn_ts_guess.xyz")


@pytest.mark.parametrize("words, said", [
    (["barrier", *HCN, "--step", "0"], "--step 0: choose from above 0 to 2"),
    (["barrier", *HCN, "--step", "nan"], "--step nan: choose from above 0 to 2"),
    (["path", HCN[0], "--step", "-0.1"], "--step -0.1: choose from above 0 to 2"),
    (["path", HCN[0], "--points", "0"], "--points 0: choose 1 or more"),
    (["path", HCN[0], "-o", "a.mol"], "a.mol: structures are written as xyz"),
    (["barrier", *HCN, "-o", "a.cif"], "a.cif: structures are written as xyz"),
    (["transit", *HCN, "-o", "a.mol"], "a.mol: structures are written as xyz"),
    (["transit", HCN[0], HCN[0]], "are the same structure"),
    (["ts", GUESS, "--mode", "5"], "--mode 5: "),
    (["ts", GUESS, "--trajectory", "a.traj"], "a.traj: the structures of a search are")])
def test_what_makes_no_path_is_refused(words, said, capsys, tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    assert main([*words, "-m", "am1", "--backend", "/bin/false"]) == 2
    assert said in capsys.readouterr().err and not list(tmp_path.iterdir())


def test_a_path_that_loses_the_way_down_is_not_done(tmp_path, capsys):
    """One step of 2 Angstrom amu^1/2 leads beyond both valleys of HCN and HNC."""
    saddle = str(tmp_path / "saddle.xyz")
    assert main(["ts", GUESS, "-m", "am1", "-o", saddle]) == 0
    capsys.readouterr()
    assert main(["path", saddle, "-m", "am1", "--step", "2", "--json"]) == 1
    document = json.loads(capsys.readouterr().out)
    top = document["saddle_point"]["total_energy"]
    lost = [side for side, end in enumerate(document["ends"], 1)
            if end is None or end["total_energy"] > top - 0.01]
    assert lost and document["status"] == "unconverged"
    assert [f"side {side}: " in text for side, text in zip(lost, document["errors"])]
    assert all(point["total_energy"] <= top for point in document["points"])
    assert main(["path", saddle, "-m", "am1", "--points", "1"]) == 0
    assert "1 point (1 step), then a minimum" in capsys.readouterr().out
