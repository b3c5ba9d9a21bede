"""Pictures show what the values are: both signs, the molecule, nothing cut off."""

import re
import sys

import matplotlib.image
import numpy as np
import pytest
import scipy.ndimage
from support import ROOT  # noqa: F401

from orbitrax.pictures import figures, picture, render
from orbitrax.errors import CalculationFailed, OrbitraxError, UsageError
from orbitrax.grids.frame import BOHR_PER_ANGSTROM, box_around, plane_through, principal_axes
from orbitrax.grids.grid import Grid
from orbitrax.grids.plot import Plot

POSITIONS = np.array([[0.0, 0.0, 0.0], [1.2, 0.0, 0.0], [1.8, 0.9, 0.0]])
NUMBERS = np.array([6, 8, 9])


def grid(what="homo", frame=None, points=30, shape=None, density=False):
    """A p function along y on the first atom, or what `shape` makes of the points in bohr."""
    frame = frame or box_around(POSITIONS, 2.5, points)
    index = np.stack(np.indices(frame.counts), axis=-1)
    places = frame.first + index @ frame.steps
    values = (shape or p_function)(places).astype(np.float32)
    return Grid(values, frame, Plot(what), NUMBERS, POSITIONS, "HOMO", "AM1",
                density=np.exp(-np.linalg.norm(places, axis=-1)) if density else None)


def p_function(places):
    return 1.8 * places[..., 1] * np.exp(-1.6 * np.linalg.norm(places, axis=-1))


def drawn(made, path, **settings):
    picture.save_picture(made, str(path), **settings)
    image = matplotlib.image.imread(str(path))[..., :3]
    assert image[0, 0] == pytest.approx([1, 1, 1])
    return image


def coloured(image, which):
    """Pixels of a surface or contour of positive (blue) or negative (orange) sign."""
    red, _, blue = np.moveaxis(image, -1, 0)
    return (blue - red > 0.25) if which > 0 else (red - blue > 0.25)


def test_both_phases_and_the_molecule_are_seen(tmp_path):
    image = drawn(grid(), tmp_path / "a.png", width=400)
    assert image.shape[1] == 400 and 240 <= image.shape[0] <= 400
    for sign in (1, -1):
        assert 0.05 < coloured(image, sign).mean() < 0.5
    green = image[..., 1] - np.maximum(image[..., 0], image[..., 2]) > 0.1
    assert green.mean() > 0.003  # fluorine, outside the lobes


def test_nothing_touches_the_border(tmp_path):
    image = drawn(grid(), tmp_path / "a.png", width=400, view=(140, -20))
    inside = np.abs(image - 1).max(axis=-1) > 0.02
    rows, columns = np.flatnonzero(inside.any(axis=1)), np.flatnonzero(inside.any(axis=0))
    assert rows[0] > 2 and rows[-1] < image.shape[0] - 3
    assert columns[0] > 2 and columns[-1] < image.shape[1] - 3
    assert columns[-1] - columns[0] > 0.85 * 400 or rows[-1] - rows[0] > 0.85 * image.shape[0]


def test_the_positive_lobe_lies_on_the_positive_side(tmp_path):
    """Seen from above, the lobes of a p function along y lie along y, as it is turned in the
    picture, the blue one ahead."""
    image = drawn(grid(), tmp_path / "a.png", width=400, view=(0, 90))
    blue, orange = (np.mean(np.nonzero(coloured(image, sign)), axis=1) for sign in (1, -1))
    down, right = blue - orange
    axes = principal_axes(POSITIONS)
    seen = np.array([right, -down]) / np.hypot(right, down)
    assert seen == pytest.approx(axes[:2] @ [0, 1, 0], abs=0.1)


@pytest.mark.parametrize("plane", [False, True], ids=["surface", "contours"])
def test_labels_stand_on_the_atoms_and_nowhere_else(tmp_path, plane):
    made = grid(frame=plane_through(POSITIONS, "1,2,3", 2.5, 30)) if plane else grid()
    plain, labelled = (drawn(made, tmp_path / f"{labels}.png", width=400, labels=labels)
                       for labels in (False, True))
    changed = np.abs(labelled - plain).max(axis=-1) > 0.2
    heaps = scipy.ndimage.label(scipy.ndimage.binary_dilation(changed, iterations=8))[1]
    assert heaps == len(NUMBERS)
    assert changed.mean() < 0.05


def test_a_camera_tells_where_a_point_is_seen():
    turn = np.array([[0.0, 1, 0], [0, 0, 1], [1, 0, 0]])  # y to the right, z up, x to the viewer
    camera = render.Camera(turn, np.array([1.0, 2.0, 3.0]), 50.0, 400, 300)
    places = camera.places(np.array([[1.0, 2, 3], [9, 3, 3], [1, 2, 4]]))
    assert places == pytest.approx(np.array([[200, 150], [250, 150], [200, 100]]))


def test_a_higher_isovalue_shows_less(tmp_path):
    areas = [coloured(drawn(grid(), tmp_path / "a.png", width=300, isovalue=value), 1).sum()
             for value in (0.02, 0.3)]
    assert areas[0] > 2 * areas[1] > 0
    with pytest.raises(CalculationFailed, match=r"no value reaches 5; the largest is 0\.3\d+; "
                                                "choose a lower isovalue"):
        picture.save_picture(grid(), str(tmp_path / "a.png"), isovalue=5.0)


def test_an_orbital_that_is_spread_thin_is_drawn_at_a_lower_value():
    """A box of constant density is inside at its own value; a compact one keeps 0.05."""
    assert picture.usual_isovalue(grid()) == 0.05
    assert picture.usual_isovalue(grid(shape=lambda p: 0 * p[..., 0] + 0.0312)) == 0.03
    squared = grid(shape=lambda p: 0 * p[..., 0] + 0.00091)
    squared.plot = Plot("homo", squared=True)
    assert picture.usual_isovalue(squared) == 0.0009
    assert picture.usual_isovalue(grid("density", shape=lambda p: 0 * p[..., 0])) == 0.002


def test_the_view_of_a_pi_orbital_is_from_the_side():
    """It has its node in the plane of the molecule; one of sigma kind has not."""
    def pi(places):
        return p_function(places[..., [0, 2, 1]])

    assert picture._usual_view(grid(shape=pi))[1] < picture._usual_view(grid())[1]


def test_a_potential_colours_a_surface_of_the_density(tmp_path):
    def slope(places):
        return 0.01 * places[..., 0]

    image = drawn(grid("potential", shape=slope, density=True), tmp_path / "a.png", width=400)
    for sign in (1, -1):
        assert coloured(image, sign).mean() > 0.03
    assert (image[-40:] < 0.3).all(axis=-1).any()  # the figures of the scale


@pytest.mark.parametrize("plane", ["1,2,3", "xy", "xy=0.4", "molecule"])
def test_contours_in_a_plane_have_both_signs(plane, tmp_path):
    made = grid(frame=plane_through(POSITIONS, plane, 2.0, 60))
    image = drawn(made, tmp_path / "a.png", width=400)
    for sign in (1, -1):
        assert 0.02 < coloured(image, sign).mean() < 0.5
    assert (image < 0.7).all(axis=-1).mean() > 0.002  # bonds, symbols


def test_contours_lie_where_the_values_are(tmp_path):
    """Rows of the plane run from atom 1 to atom 2, so y is up and the blue half above."""
    made = grid(frame=plane_through(POSITIONS, "1,2,3", 2.0, 60))
    image = drawn(made, tmp_path / "a.png", width=400)
    rows = [np.mean(np.nonzero(coloured(image, sign))[0]) for sign in (1, -1)]
    assert rows[0] < rows[1] - 30


@pytest.mark.parametrize("what", ["homo", "density", "potential", "spin-density"])
def test_a_plane_where_nothing_is_says_so(what, tmp_path):
    made = grid(what, plane_through(POSITIONS, "xz=0", 2.0, 20), shape=lambda p: 1e-6 * p[..., 0])
    with pytest.raises(CalculationFailed, match="everywhere in this plane; choose another plane"):
        picture.save_picture(made, str(tmp_path / "a.png"))


def test_the_spin_density_of_a_closed_shell_says_why(tmp_path):
    made = grid("spin-density", shape=lambda places: 0 * places[..., 0])
    made.title = "spin density"
    with pytest.raises(CalculationFailed, match="zero everywhere, as the molecule has no unpaired"):
        picture.save_picture(made, str(tmp_path / "a.png"))


@pytest.mark.parametrize("suffix,begin", [("svg", b"<?xml"), ("pdf", b"%PDF-")])
def test_other_formats_are_what_their_names_say(suffix, begin, tmp_path):
    path = tmp_path / f"a.{suffix}"
    picture.save_picture(grid(points=16), str(path), width=200)
    first = path.read_bytes()
    assert first.startswith(begin) and len(first) > 5000
    picture.save_picture(grid(points=16), str(path), width=200)
    assert path.read_bytes() == first  # no date, no random names


def test_a_picture_says_what_it_is(tmp_path):
    picture.save_picture(grid(points=16), str(tmp_path / "a.png"), width=200)
    assert re.search(rb"Title\x00CFO, AM1: HOMO", (tmp_path / "a.png").read_bytes())


@pytest.mark.parametrize("name", ["a.jpeg", "a", "a.png.txt", ".png"])
def test_other_names_are_refused(name):
    with pytest.raises(UsageError, match="no picture goes by this name; try .png, .svg or .pdf"):
        figures.format_of(name)
    assert figures.format_of("A.PNG") == "png"


def test_without_matplotlib_the_message_says_what_to_install(monkeypatch, tmp_path):
    monkeypatch.setitem(sys.modules, "matplotlib.colors", None)
    with pytest.raises(OrbitraxError, match="apt-get install python3-matplotlib"):
        picture.save_picture(grid(points=16), str(tmp_path / "a.png"))


def test_the_molecule_is_drawn_at_its_scale():
    """Balls of the right size and sticks between bonded atoms only."""
    from orbitrax.pictures import scene

    meshes = scene.molecule(NUMBERS, POSITIONS)
    assert len(meshes) == 3 + 4  # three atoms, two bonds of two halves
    for mesh, place in zip(meshes, POSITIONS):
        radius = np.linalg.norm(mesh.vertices - place, axis=1)
        assert 0.15 < radius.min() and radius.max() - radius.min() < 1e-12 and radius.max() < 0.4
    first_half = meshes[3].vertices
    assert np.ptp(first_half[:, 0]) == pytest.approx(0.6) and first_half[:, 0].min() == 0
    for mesh in meshes:
        a, b, c = (mesh.vertices[mesh.faces[:, i]] for i in range(3))
        facing = np.sum(np.cross(b - a, c - a) * mesh.normals[mesh.faces].sum(axis=1), axis=1)
        assert facing.min() > -1e-12 and facing.max() > 0
    assert BOHR_PER_ANGSTROM == np.float32(1.889726)
