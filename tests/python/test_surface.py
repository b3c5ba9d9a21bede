"""Surfaces of equal value and their drawing, against spheres."""

import numpy as np
import pytest
from support import ROOT  # noqa: F401

from orbitrax.pictures import render
from orbitrax.pictures.surface import Field, isosurface


def ball(counts=(30, 34, 38), centre=(13.2, 17.1, 18.7)):
    """A field whose surface at exp(-r / 5) is a sphere of radius r round `centre`."""
    places = np.stack(np.meshgrid(*(np.arange(n) for n in counts), indexing="ij"), axis=-1)
    return np.exp(-np.linalg.norm(places - centre, axis=-1) / 5), np.array(centre)


@pytest.mark.parametrize("radius", [2.3, 6.0, 11.4])
def test_the_surface_of_a_ball_is_a_sphere(radius):
    values, centre = ball()
    vertices, normals, _ = isosurface(Field(values), np.exp(-radius / 5))
    outward = vertices - centre
    distance = np.linalg.norm(outward, axis=1)
    assert np.abs(distance - radius).max() < 0.01
    assert (np.sum(normals * outward, axis=1) / distance).min() > 0.995


@pytest.mark.parametrize("radius", [6.0, 11.4])
def test_its_triangles_close_it_and_face_outwards(radius):
    """Each side belongs to two triangles that run along it in opposite directions, and the volume
    inside, a sum over the triangles with their sense, is that of a ball."""
    values, centre = ball()
    vertices, _, faces = isosurface(Field(values), np.exp(-radius / 5))
    sides = np.concatenate([faces[:, [0, 1]], faces[:, [1, 2]], faces[:, [2, 0]]])
    forward = {tuple(side) for side in sides.tolist()}
    assert len(forward) == len(sides) and forward == {(b, a) for a, b in forward}
    a, b, c = (vertices[faces[:, i]] - centre for i in range(3))
    volume = np.sum(a * np.cross(b, c)) / 6
    assert volume == pytest.approx(4 / 3 * np.pi * radius ** 3, rel=0.01)


def test_a_surface_that_leaves_the_grid_is_open():
    values, centre = ball()
    vertices, _, faces = isosurface(Field(values), np.exp(-15 / 5))
    assert len(faces) and vertices.min() >= -0.5 and (vertices.max(axis=0) < [30, 34, 38]).all()


def test_a_level_that_is_not_reached_has_no_surface():
    values, _ = ball()
    for level in (2.0, -1.0):
        vertices, normals, faces = isosurface(Field(values), level)
        assert vertices.shape == normals.shape == faces.shape == (0, 3)


def test_a_field_is_met_between_its_points():
    values, _ = ball()
    places = np.array([[3.5, 20.2, 9.1], [20.7, 8.3, 30.9]])
    exact = np.exp(-np.linalg.norm(places - [13.2, 17.1, 18.7], axis=1) / 5)
    assert Field(values).at(places) == pytest.approx(exact, rel=1e-3)


# ---- drawing ------------------------------------------------------------------------------------


def sphere(radius, place, colour, opacity=1.0):
    values, centre = ball()
    vertices, normals, faces = isosurface(Field(values), np.exp(-10 / 5))
    vertices = np.asarray(place) + (vertices - centre) * radius / 10
    return render.Mesh(vertices, normals, faces, np.broadcast_to(colour, vertices.shape), opacity)


RED, GREEN, BLUE = np.eye(3)
CAMERA = render.Camera(np.eye(3), np.zeros(3), 20.0, 200, 160)


def painted(picture):
    return np.abs(picture - 1).max(axis=2) > 0.02


def test_a_sphere_covers_a_disc_of_its_radius():
    picture = render.draw([sphere(3.0, (0, 0, 0), RED)], CAMERA)
    assert picture.shape == (160, 200, 3)
    covered = painted(picture)
    assert covered.sum() == pytest.approx(np.pi * (3 * 20) ** 2, rel=0.03)
    rows, columns = np.nonzero(covered)
    assert rows.mean() == pytest.approx(79.5, abs=0.5)
    assert columns.mean() == pytest.approx(99.5, abs=0.5)


def test_right_and_up_are_right_and_up():
    picture = render.draw([sphere(0.5, (2, 0, 0), RED), sphere(0.5, (0, 2, 0), BLUE)], CAMERA)
    assert painted(picture)[80, 140] and painted(picture)[40, 100]
    assert picture[80, 140].argmax() == 0 and picture[40, 100].argmax() == 2
    assert not painted(picture)[120, 100] and not painted(picture)[80, 60]


@pytest.mark.parametrize("near,far", [(RED, BLUE), (BLUE, RED)])
def test_what_is_nearer_hides_what_is_behind(near, far):
    meshes = [sphere(1.0, (0, 0, 3), near), sphere(2.0, (0, 0, -3), far)]
    for order in (meshes, meshes[::-1]):
        picture = render.draw(order, CAMERA)
        assert picture[80, 100].argmax() == near.argmax()
        assert picture[80, 130].argmax() == far.argmax()


def test_what_is_clear_lets_what_is_behind_be_seen():
    solid = render.draw([sphere(1.0, (0, 0, 0), RED)], CAMERA)
    both = render.draw([sphere(1.0, (0, 0, 0), RED), sphere(2.0, (0, 0, 0), BLUE, 0.5)], CAMERA)
    alone = render.draw([sphere(2.0, (0, 0, 0), BLUE, 0.5)], CAMERA)
    middle, rim = (80, 100), (80, 125)
    assert both[middle][0] > both[middle][1] and both[middle][2] > both[middle][1]
    assert np.allclose(both[rim], alone[rim])
    assert both[middle][0] < solid[middle][0]


def test_a_clear_ball_behind_a_solid_one_is_not_seen():
    solid = [sphere(1.5, (0, 0, 1), RED)]
    hidden = [*solid, sphere(0.5, (0, 0, -1.5), BLUE, 0.5)]
    assert np.array_equal(render.draw(hidden, CAMERA), render.draw(solid, CAMERA))


def test_what_is_far_in_a_deep_scene_is_paler():
    near, far = sphere(1.0, (-2, 0, 6), RED), sphere(1.0, (2, 0, -6), RED)
    picture = render.draw([near, far], CAMERA)
    assert picture[80, 60][1] < picture[80, 140][1] - 0.2
    shallow = render.draw([sphere(1.0, (-2, 0, 1), RED), sphere(1.0, (2, 0, -1), RED)], CAMERA)
    assert shallow[80, 60] == pytest.approx(shallow[80, 140], abs=1e-3)


def test_nothing_is_white():
    assert (render.draw([], CAMERA) == 1).all()
