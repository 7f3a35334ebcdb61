"""Ray casts, inside tests and closest vertices, against numpy brute force, and
from several threads at once."""

import threading

import numpy as np
import pytest

import quorvel
from conftest import grid, icosphere, same_mesh


def numpy_ray_hits(vertices, faces, origin, direction):
    """Line parameters t >= 0 of every face hit (Moeller-Trumbore), with the front/back side."""
    a, b, c = (vertices[faces[:, k]] for k in range(3))
    e1, e2 = b - a, c - a
    p = np.cross(direction, e2)
    det = np.einsum("ij,ij->i", e1, p)
    with np.errstate(divide="ignore", invalid="ignore"):
        inv = 1.0 / det
        s = origin - a
        u = np.einsum("ij,ij->i", s, p) * inv
        q = np.cross(s, e1)
        v = (q @ direction) * inv
        t = np.einsum("ij,ij->i", e2, q) * inv
    hit = (np.abs(det) > 1e-15) & (u >= 0) & (v >= 0) & (u + v <= 1) & (t >= 0)
    normals = np.cross(e1, e2)
    front = normals @ direction < 0
    return t, hit, front


@pytest.fixture(scope="module")
def ball():
    return icosphere(3)


@pytest.fixture(scope="module")
def rays():
    rng = np.random.default_rng(7)
    origins = rng.normal(size=(300, 3))
    origins *= (3 / np.linalg.norm(origins, axis=1))[:, None]
    targets = rng.uniform(-0.7, 0.7, size=(300, 3))
    return origins, targets - origins


class TestRayCast:
    @pytest.mark.parametrize("cull", ["none", "back", "front"])
    def test_nearest_hit_matches_brute_force(self, ball, rays, cull):
        vertices, faces = ball
        mesh = quorvel.Mesh(vertices, faces)
        origins, directions = rays
        hit, points = mesh.ray_cast(origins, directions, cull=cull)
        for i in range(len(origins)):
            t, hits, front = numpy_ray_hits(vertices, faces, origins[i], directions[i])
            if cull == "back":
                hits &= front
            elif cull == "front":
                hits &= ~front
            assert hit[i] == hits.any()
            if hits.any():
                expected = origins[i] + t[hits].min() * directions[i]
                np.testing.assert_allclose(points[i], expected, atol=1e-9)
            else:
                assert np.isnan(points[i]).all()

    def test_single_ray_and_broadcasting(self, ball):
        mesh = quorvel.Mesh(*ball)
        hit, point = mesh.ray_cast([0, 0, -5], [0, 0, 1])
        assert hit is True and point.shape == (3,)
        assert point[2] == pytest.approx(-1, abs=0.02)
        hit, points = mesh.ray_cast([0, 0, 0], np.eye(3))
        assert hit.all() and np.allclose(np.linalg.norm(points, axis=1), 1, atol=0.02)
        miss, nothing = mesh.ray_cast([0, 0, 5], [0, 0, 1])
        assert miss is False and np.isnan(nothing).all()

    def test_float32_mesh(self, ball, rays):
        double = quorvel.Mesh(*ball)
        single = quorvel.Mesh(*ball, dtype=np.float32)
        hit_d, points_d = double.ray_cast(*rays)
        hit_s, points_s = single.ray_cast(*rays)
        assert (hit_d == hit_s).mean() > 0.99
        both = hit_d & hit_s
        np.testing.assert_allclose(points_s[both], points_d[both], atol=1e-5)


class TestClosestVertex:
    def test_matches_argmin(self, ball):
        vertices, faces = ball
        points = np.random.default_rng(5).normal(size=(500, 3))
        expected = np.argmin(((points[:, None, :] - vertices[None]) ** 2).sum(axis=2), axis=1)
        mesh = quorvel.Mesh(vertices, faces)
        np.testing.assert_array_equal(mesh.closest_vertex(points), expected)
        assert mesh.closest_vertex(points[7]) == expected[7]


class TestInsideTests:
    def test_parity_rule_as_designed(self):
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

    def test_mesh_against_mesh(self, ball):
        mesh = quorvel.Mesh(*ball)
        moved = quorvel.Mesh(ball[0] + [1.0, 0, 0], ball[1])
        far = quorvel.Mesh(ball[0] + [5.0, 0, 0], ball[1])
        assert mesh.intersects(moved) and moved.intersects(mesh)
        assert not mesh.intersects(far)
        assert not mesh.is_within_mesh(far)
        assert mesh.intersects(quorvel.Mesh(ball[0] + [1.0, 0, 0], ball[1], dtype=np.float32))


class TestSurfaceQueries:
    """Closest points, distances and winding numbers through the spatial index."""

    def test_closest_point_of_a_plane_is_the_projection(self):
        vertices, faces = grid(6, bump=0.0)
        mesh = quorvel.Mesh(vertices, faces)
        rng = np.random.default_rng(3)
        points = np.column_stack([rng.uniform(0.05, 0.95, 200), rng.uniform(0.05, 0.95, 200),
                                  rng.uniform(-1, 1, 200)])
        closest, face, weights, distance = mesh.closest_point(points)
        assert np.allclose(closest, np.column_stack([points[:, :2], np.zeros(200)]))
        assert np.allclose(distance, np.abs(points[:, 2]))
        corners = mesh.vertices[mesh.faces[face]]
        assert np.allclose(np.einsum("ij,ijk->ik", weights, corners), closest)
        assert np.allclose(weights.sum(axis=1), 1)

    def test_signed_distance_and_winding_number_of_a_ball(self, ball):
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

    def test_open_surface_degrades_gracefully(self):
        mesh = quorvel.Mesh(*grid(6, bump=0.0))
        assert abs(mesh.winding_number([0.5, 0.5, 1e-3], exact=True)) == pytest.approx(0.5, abs=0.01)
        assert mesh.winding_number([0.5, 0.5, 50.0], exact=True) == pytest.approx(0, abs=1e-3)


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
    def test_concurrent_queries_give_the_serial_answers(self, ball, rays):
        mesh = quorvel.Mesh(*ball)
        points = np.random.default_rng(11).uniform(-1.2, 1.2, size=(40, 3))

        def answers():
            hit, hits = mesh.ray_cast(*rays)
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
