"""What is plotted and where: names of orbitals, boxes and planes, packets."""

import numpy as np
import pytest
from support import ROOT  # noqa: F401

from orbitrax import Job, Molecule
from orbitrax.link import wire
from orbitrax.errors import UsageError
from orbitrax.session.encode import plot_packets
from orbitrax.grids.frame import Frame, box_around, plane_through, principal_axes
from orbitrax.grids.plot import Plot

BENT = np.array([[0.0, 0.0, 0.1], [1.5, 0.0, 0.1], [1.5, 1.1, 0.1], [0.2, 0.3, 4.0]])


@pytest.mark.parametrize("text,words", [
    ("homo", (1, 0)), ("HOMO-2", (1, 2)), ("homo+1", (1, -1)), ("lumo", (0, 0)), ("lumo+3", (0, 3)),
    ("lumo-1", (0, -1)), ("12", (2, 12)), ("lumo + 1", (0, 1)),
])
def test_an_orbital_is_named_as_the_wire_has_it(text, words):
    assert Plot(text).level() == words and Plot(text).kind == 2
    assert Plot(text, squared=True).kind == 3


@pytest.mark.parametrize("text", ["", "hom", "homo1", "homo-", "-1", "1.5", "lumo+-1", "somo",
                                  "99999999999"])
def test_other_names_are_refused(text):
    with pytest.raises(UsageError, match="is no orbital; say homo"):
        Plot(text)


@pytest.mark.parametrize("text,kind", [("potential", 0), ("density", 1), ("spin-density", 4)])
def test_what_is_no_orbital_has_no_spin_and_no_square(text, kind):
    assert Plot(text).kind == kind
    for option in ({"beta": True}, {"squared": True}):
        with pytest.raises(UsageError, match="belong to orbitals"):
            Plot(text, **option)


# ---- boxes --------------------------------------------------------------------------------------


@pytest.mark.parametrize("points", [2, 7, 80])
def test_a_box_holds_the_atoms_and_the_margin_with_equal_steps(points):
    frame = box_around(BENT, 2.0, points)
    assert max(frame.counts) == points and frame.counts[2] == points  # z is the longest axis
    low = frame.origin
    high = low + (np.array(frame.counts) - 1) * frame.column[0]
    assert np.all(low <= BENT.min(axis=0) - 2 + 1e-5)
    assert np.all(high >= BENT.max(axis=0) + 2 - 1e-5)
    assert np.allclose(low + high, BENT.min(axis=0) + BENT.max(axis=0), atol=1e-4)
    assert np.all(high - low < np.ptp(BENT, axis=0) + 4 + frame.column[0] + 1e-5)
    steps = frame.steps
    assert np.allclose(steps, steps[0, 0] * np.eye(3))


def test_a_large_molecule_has_more_points():
    frame = box_around(np.array([[0, 0, 0], [0, 0, 40.0]]))
    assert box_around(BENT).counts[2] == 80
    assert frame.column[0] == pytest.approx(0.15, abs=0.001) and frame.counts[2] == 308


def test_lengths_go_over_the_wire_in_angstrom_and_count_in_bohr():
    """As the backend takes them in: single precision, times 1.889726."""
    frame = box_around(BENT, 2.0, 20)
    job = Job(Molecule([8, 1, 1, 1], BENT), "am1", charge=1)
    packets = plot_packets(job, Plot("lumo+2"), frame)
    assert [len(packet) for packet in packets] == [24, 204, 172]
    sent = np.frombuffer(packets[1], wire.RUN_OPTIONS, offset=20)[0]
    assert (sent["fCalculate"], sent["fPlot"], sent["fSendOrbitals"]) == (0, 1, 0)
    assert (sent["nPlotKind"], sent["nPlotOrbitalMode"], sent["nPlotOrbitalOffset"]) == (2, 0, 2)
    assert (sent["nGridCols"], sent["nGridRows"], sent["nPlotPlanes"]) == frame.counts
    grid = sent["flPlotGrid"] * np.float32(1.889726)
    assert np.array_equal(grid[:3], frame.first.astype(np.float32))
    assert np.array_equal(grid[3:], frame.steps[:2].astype(np.float32).ravel())


def test_a_stack_of_planes_is_a_box_or_refused():
    with pytest.raises(UsageError, match="same step along x, y and z"):
        Frame([0, 0, 0], [0.1, 0, 0], [0, 0.2, 0], (5, 5, 5))
    with pytest.raises(UsageError, match="same step along x, y and z"):
        Frame([0, 0, 0], [0.1, 0, 0.1], [0, 0.1, 0], (5, 5, 5))
    Frame([0, 0, 0], [0.1, 0, 0.1], [0, 0.2, 0], (5, 5, 1))


@pytest.mark.parametrize("margin,points,text", [
    (-1.0, None, "margin"), (float("nan"), None, "margin"), (3.0, 1, "choose from 2"),
    (3.0, 200000, "choose from 2")])
def test_sizes_that_cannot_be_are_refused(margin, points, text):
    with pytest.raises(UsageError, match=text):
        box_around(BENT, margin, points)


def test_one_atom_without_a_margin_has_no_box():
    with pytest.raises(UsageError, match="needs a margin"):
        box_around(BENT[:1], 0.0)
    assert box_around(BENT[:1], 1.0, 5).counts == (5, 5, 5)


def test_more_points_than_memory_are_refused_with_both_numbers():
    with pytest.raises(UsageError, match=r"takes about \d+\.\d GB, and \d+\.\d GB are free; choose "
                                         "fewer points"):
        Frame([0, 0, 0], [0.1, 0, 0], [0, 0.1, 0], (10000, 10000, 10000)).check_memory()
    Frame([0, 0, 0], [0.1, 0, 0], [0, 0.1, 0], (10, 10, 10)).check_memory()


def test_a_plane_that_cannot_be_sent_is_refused():
    with pytest.raises(UsageError, match="too large to be sent"):
        box_around(BENT, 3.0, 60000)


# ---- planes -------------------------------------------------------------------------------------


def corners(frame):
    columns, rows, planes = frame.counts
    assert planes == 1
    return [frame.origin + i * (columns - 1) * frame.column + j * (rows - 1) * frame.row
            for i in (0, 1) for j in (0, 1)]


def test_a_plane_through_three_atoms_holds_them():
    """Rows run from the first atom to the second, columns to the side of the third."""
    turned = BENT @ np.linalg.qr(np.random.default_rng(1).normal(size=(3, 3)))[0].T
    frame = plane_through(turned, "1,2,3", 2.0, 40)
    assert np.linalg.norm(frame.column) == pytest.approx(np.linalg.norm(frame.row), rel=1e-5)
    right = (turned[1] - turned[0]) / 1.5
    assert np.cross(frame.column, right) == pytest.approx(np.zeros(3), abs=1e-6)
    assert frame.row @ right == pytest.approx(0, abs=1e-7)
    assert frame.row @ (turned[2] - turned[0]) > 0
    normal = np.cross(frame.column, frame.row)
    normal /= np.linalg.norm(normal)
    for point in [*corners(frame), *turned[:3]]:
        assert (point - turned[0]) @ normal == pytest.approx(0, abs=1e-5)
    lifted = plane_through(turned, "1,2,3=-0.7", 2.0, 40)
    for point in corners(lifted):
        assert (point - turned[0]) @ normal == pytest.approx(-0.7, abs=1e-5)


@pytest.mark.parametrize("text,axis,height", [("xy", 2, 0), ("xz=0.5", 1, 0.5), ("yz=-1", 0, -1)])
def test_a_plane_of_two_axes_has_the_third_fixed(text, axis, height):
    frame = plane_through(BENT, text, 1.0, 20)
    points = np.array(corners(frame))
    assert points[:, axis] == pytest.approx(height, abs=1e-6)
    others = [i for i in range(3) if i != axis]
    assert np.all(points.min(axis=0)[others] <= BENT.min(axis=0)[others] - 1 + 1e-5)
    assert np.all(points.max(axis=0)[others] >= BENT.max(axis=0)[others] + 1 - 1e-5)


def test_the_plane_of_a_flat_molecule_holds_it():
    flat = BENT[:3]
    assert np.array(corners(plane_through(flat, "molecule", 1.0)))[:, 2] == pytest.approx(0.1)
    above = np.array(corners(plane_through(flat, "molecule=1.5", 1.0)))[:, 2]
    assert np.abs(above - 0.1) == pytest.approx(1.5)


@pytest.mark.parametrize("text,error", [
    ("1,2", "three atoms"), ("1,2,x", "three atoms"), ("zx", "three atoms"), ("1,2,9", "no atom 9"),
    ("0,1,2", "no atom 0"), ("1,2,2", "lie on a line"), ("1,1,2", "lie on a line"),
    ("xy=up", "not a length"), ("xy=inf", "not a length"), ("", "three atoms")])
def test_a_plane_that_is_none_is_refused(text, error):
    with pytest.raises(UsageError, match=error):
        plane_through(BENT, text)


def test_atoms_on_a_line_make_no_plane():
    with pytest.raises(UsageError, match="lie on a line, which is in many planes"):
        plane_through(np.array([[0, 0, 0], [0, 0, 1.1], [0, 0, 2.2]]), "1,2,3")


def test_principal_axes_are_right_handed_and_ordered():
    axes = principal_axes(BENT)
    assert np.allclose(axes @ axes.T, np.eye(3)) and np.linalg.det(axes) == pytest.approx(1)
    spread = ((BENT - BENT.mean(axis=0)) @ axes.T).std(axis=0)
    assert spread[0] > spread[1] > spread[2]
    assert np.allclose(np.abs(principal_axes(np.zeros((1, 3)))), np.abs(principal_axes(
        np.zeros((1, 3))).round()))
