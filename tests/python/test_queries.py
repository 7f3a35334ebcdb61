"""Queries through the binding: shapes and types of the answers, rows kept in
step with their inputs, the designed inside tests, and several threads at once.
The answers themselves are the C++ queries' concern."""

import threading

import numpy as np
import pytest

import quorvel
from conftest import grid, icosphere, same_mesh


@pytest.fixture(scope="module")
def ball():
    return icosphere(3)


def unit_rows(count, seed):
    rows = np.random.default_rng(seed).normal(size=(count, 3))
    return rows / np.linalg.norm(rows, axis=1)[:, None]


@pytest.mark.parametrize("dtype", [np.float64, np.float32])
def test_rays_answer_row_by_row_one_origin_broadcasts_and_culling_chooses_the_side(ball, dtype):
    # Rays aimed at the centre from every side: the nearest hit is where
    # the ray enters, near the unit sphere on the origin's side.
    mesh, outward = quorvel.Mesh(*ball, dtype=dtype), unit_rows(300, 7)
    hit, points = mesh.ray_cast(3 * outward, -outward)
    assert hit.shape == (300,) and hit.all() and points.shape == (300, 3)
    np.testing.assert_allclose(points, outward, atol=0.02)
    hit, points = mesh.ray_cast([0, 0, 0], np.eye(3))
    assert hit.all() and np.allclose(np.linalg.norm(points, axis=1), 1, atol=0.02)
    for cull, z in [("none", -1), ("back", -1), ("front", 1)]:
        hit, point = mesh.ray_cast([0, 0, -5], [0, 0, 1], cull=cull)
        assert hit is True and point.shape == (3,) and point[2] == pytest.approx(z, abs=0.02), cull
    miss, nothing = mesh.ray_cast([0, 0, 5], [0, 0, 1])
    assert miss is False and np.isnan(nothing).all()


def test_closest_vertex_and_point_answer_row_by_row(ball):
    vertices, faces = ball
    points = np.random.default_rng(5).normal(size=(500, 3))
    expected = np.argmin(((points[:, None, :] - vertices[None]) ** 2).sum(axis=2), axis=1)
    mesh = quorvel.Mesh(vertices, faces)
    np.testing.assert_array_equal(mesh.closest_vertex(points), expected)
    assert mesh.closest_vertex(points[7]) == expected[7]
    # On a plane the closest point is the projection; the weights rebuild it.
    plane = quorvel.Mesh(*grid(6, bump=0.0))
    points = np.random.default_rng(3).uniform([0.05, 0.05, -1], [0.95, 0.95, 1], size=(200, 3))
    closest, face, weights, distance = plane.closest_point(points)
    assert np.allclose(closest, points * [1, 1, 0]) and np.allclose(distance, np.abs(points[:, 2]))
    assert np.allclose(np.einsum("ij,ijk->ik", weights, plane.vertices[plane.faces[face]]), closest)
    assert np.allclose(weights.sum(axis=1), 1)


def test_inside_tests_as_designed(ball):
    # One closed shell: a point inside is crossed an odd number of times
    # and is not within; inside two nested shells it is. Outside the box
    # nothing is within, and one point at a time answers as the array.
    outer, inner = icosphere(2, radius=2.0), icosphere(2, radius=1.0)
    single = quorvel.Mesh(*outer)
    nested = quorvel.Mesh(np.vstack([outer[0], inner[0]]), np.vstack([outer[1], inner[1] + len(outer[0])]))
    centre = [0.01, 0.02, 0.03]
    assert not single.is_within(centre) and nested.is_within(centre) and not nested.is_within([3, 0, 0])
    points = np.random.default_rng(9).uniform(-2.4, 2.4, size=(50, 3))
    assert [nested.is_within(p) for p in points] == list(nested.is_within(points))
    # Mesh against mesh, in either precision.
    mesh = quorvel.Mesh(*ball)
    moved, far = (quorvel.Mesh(ball[0] + [dx, 0, 0], ball[1]) for dx in (1.0, 5.0))
    assert mesh.intersects(moved) and moved.intersects(mesh)
    assert not mesh.intersects(far) and not mesh.is_within_mesh(far)
    assert mesh.intersects(quorvel.Mesh(ball[0] + [1.0, 0, 0], ball[1], dtype=np.float32))


def test_signed_distance_winding_number_and_contains_of_a_ball_and_a_plane(ball):
    ball = quorvel.Mesh(*ball)
    inside, outside = np.array([0.1, -0.2, 0.05]), np.array([2.0, 0.0, 0.0])
    assert ball.signed_distance(inside) < 0 < ball.signed_distance(outside)
    assert ball.signed_distance(outside) == pytest.approx(1.0, abs=0.02)
    points = np.array([inside, outside])
    assert np.allclose(ball.winding_number(points, exact=True), [1, 0], atol=1e-9)
    assert np.allclose(ball.winding_number(points), [1, 0], atol=0.1)
    # Inside one closed shell: contains says so, the designed parity test does not.
    assert ball.contains(points).tolist() == [True, False]
    assert ball.is_within(inside) is False
    # An open surface gives a fraction next to it, nothing far away.
    plane = quorvel.Mesh(*grid(6, bump=0.0))
    assert abs(plane.winding_number([0.5, 0.5, 1e-3], exact=True)) == pytest.approx(0.5, abs=0.01)
    assert plane.winding_number([0.5, 0.5, 50.0], exact=True) == pytest.approx(0, abs=1e-3)


def in_threads(*targets):
    """Runs the targets at once; the errors they raised, for the main thread to see."""
    failures = []

    def guarded(target):
        try:
            target()
        except Exception as error:
            failures.append(error)

    threads = [threading.Thread(target=guarded, args=(target,)) for target in targets]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    return failures


class TestThreads:
    def test_concurrent_queries_give_the_serial_answers(self, ball):
        mesh, outward = quorvel.Mesh(*ball), unit_rows(300, 7)
        points = np.random.default_rng(11).uniform(-1.2, 1.2, size=(40, 3))

        def answers():
            hit, hits = mesh.ray_cast(3 * outward, points[0] - 3 * outward)  # some miss
            return hit, np.nan_to_num(hits, nan=7.0), mesh.is_within(points), mesh.closest_vertex(points), mesh.area

        expected = answers()

        def work():
            for _ in range(3):
                for got, want in zip(answers(), expected):
                    np.testing.assert_array_equal(got, want)

        assert in_threads(*[work] * 4) == []

    def test_queries_during_a_remesh_see_a_whole_mesh(self):
        mesh, done, areas = quorvel.Mesh(*icosphere(4)), threading.Event(), []

        def read():
            while not areas or not done.is_set():
                areas.append(mesh.area)
                assert mesh.ray_cast([0, 0, 0], [0, 0, 1])[0]

        def remesh():
            try:
                mesh.remesh(relative=0.8)
            finally:
                done.set()

        assert in_threads(read, remesh) == [] and areas
        # Every area read is that of the input or of the result, never of a half-edited mesh.
        assert set(areas) <= {quorvel.Mesh(*icosphere(4)).area, mesh.area}

    def test_remeshes_in_parallel_match_serial_ones(self):
        pairs = [icosphere(3, radius=r) for r in (1.0, 2.0, 3.0)]
        serial, parallel = [quorvel.Mesh(*p) for p in pairs], [quorvel.Mesh(*p) for p in pairs]
        for mesh in serial:
            mesh.remesh()
        assert in_threads(*[m.remesh for m in parallel]) == []
        for a, b in zip(serial, parallel):
            same_mesh(a, b)
