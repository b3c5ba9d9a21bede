"""Pictures of several sides, and bonds that are drawn as their orders say."""

import numpy as np
import pytest
from support import ROOT

from orbitrax import Backend, read_molecule
from orbitrax.molecules.geometry import find_bonds
from orbitrax.pictures import scene
from orbitrax.pictures.strands import STICK, strands
from orbitrax.tasks.energy import Energy


def drawn(name, ends, order):
    """Strands of a bond of an example, with its molecule's positions."""
    molecule = read_molecule(str(ROOT / "examples" / f"{name}.xyz"))
    near = find_bonds(molecule.numbers, molecule.positions)
    return strands(order, ends, molecule.positions, near), molecule.positions


@pytest.mark.parametrize("order,radii", [
    (3.0, [0.06] * 3), (1.9, [0.075] * 2), (1.42, [0.09, 0.035]), (1.0, [STICK]), (0.3, [0.045])])
def test_an_order_has_its_sticks(order, radii):
    assert [radius for _, radius in drawn("benzene", (0, 1), order)[0]] == radii


def test_a_double_bond_lies_in_the_plane_of_its_neighbours():
    found, places = drawn("formaldehyde", (0, 1), 1.9)
    normal = np.cross(places[2] - places[1], places[3] - places[1])
    along = places[1] - places[0]
    for aside, _ in found:
        assert abs(aside @ normal) < 1e-6 and abs(aside @ along) < 1e-9
        assert np.linalg.norm(aside) == pytest.approx(0.1)
    assert found[0][0] == pytest.approx(-found[1][0])


def test_the_thin_stick_of_a_ring_lies_inside():
    found, places = drawn("benzene", (0, 1), 1.42)
    middle = (places[0] + places[1]) / 2
    inward = places[:6].mean(axis=0) - middle
    assert found[1][1] < found[0][1] and found[1][0] @ inward > 0 > found[0][0] @ inward


@pytest.mark.parametrize("name,method,sticks", [("formaldehyde", "am1", 4), ("hcn", "am1", 4)])
def test_the_orders_of_a_molecule_reach_its_picture(name, method, sticks):
    """Wiberg's order of carbon and oxygen is near 2, of carbon and nitrogen in HCN near 3."""
    molecule = read_molecule(str(ROOT / "examples" / f"{name}.xyz"))
    with Backend() as backend:
        orders = Energy(bond_orders=True).start(molecule, method).execute(backend).bond_orders
    meshes = scene.molecule(molecule.numbers, molecule.positions, orders)
    assert len(meshes) == len(molecule) + 2 * sticks  # each of two halves


def test_views_have_one_scale_and_share_the_width():
    molecule = read_molecule(str(ROOT / "examples" / "caffeine.xyz"))
    meshes = scene.molecule(molecule.numbers, molecule.positions)
    one, = scene.around(meshes, molecule.positions, (22, 40), 900, 1)
    alone = scene.camera(meshes, molecule.positions, 22, 40, 900)
    assert (one.scale, one.width, one.height) == (alone.scale, alone.width, alone.height)
    assert (one.rotation == alone.rotation).all() and (one.centre == alone.centre).all()
    three = scene.around(meshes, molecule.positions, (22, 40), 900, 3)
    assert {camera.width for camera in three} == {300}
    assert len({camera.scale for camera in three}) == len({camera.height for camera in three}) == 1
    turns = [a.rotation @ b.rotation.T for a, b in zip(three, three[1:])]
    assert [np.trace(turn) for turn in turns] == pytest.approx([0.0] * 2)  # a third of a turn
    for camera in three:  # nothing is cut off
        places = np.concatenate([camera.places(mesh.vertices) for mesh in meshes])
        assert places.min() >= 0 and (places <= [camera.width, camera.height]).all()


def test_two_orbitals_stand_side_by_side(tmp_path):
    """The picture of both has either half as it would be alone: HOMO and LUMO of formaldehyde are
    odd in different planes, so that the halves differ."""
    import matplotlib.image

    from orbitrax.cli.program import run_program
    place = str(tmp_path / "both.png")
    assert run_program(["plot", str(ROOT / "examples" / "formaldehyde.xyz"), "-m", "am1",
                        "--beside", "lumo", "-o", place, "--width", "600", "--points", "40",
                        "-q"]) == 0
    image = matplotlib.image.imread(place)[..., :3]
    left, right = image[:, :300], image[:, 300:]
    assert abs(image.shape[1] - 600) <= 1
    for half in (left, right):
        blue = (half[..., 2] > half[..., 0] + 0.2).sum()
        orange = (half[..., 0] > half[..., 2] + 0.2).sum()
        assert blue > 500 and orange > 500
    assert np.abs(left - right[:, :300]).mean() > 0.02
    for wrong in (["--density"], ["--plane", "xy"]):
        assert run_program(["plot", "O", "-m", "am1", "--beside", "lumo", "-o", place,
                            *wrong]) == 2
    assert run_program(["plot", "O", "-m", "am1", "--beside", "lumo", "-o",
                        str(tmp_path / "a.cube")]) == 2
