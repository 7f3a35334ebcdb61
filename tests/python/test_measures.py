"""Measures checked against independent numpy computations."""

import numpy as np
import pytest

import quorvel
from conftest import grid, icosphere, tetrahedron


def numpy_area(vertices, faces):
    a, b, c = (vertices[faces[:, k]] for k in range(3))
    return 0.5 * np.linalg.norm(np.cross(b - a, c - a), axis=1).sum()


def numpy_volume(vertices, faces):
    a, b, c = (vertices[faces[:, k]] for k in range(3))
    return np.einsum("ij,ij->i", a, np.cross(b, c)).sum() / 6


def unique_edges(faces):
    edges = np.sort(np.concatenate([faces[:, [0, 1]], faces[:, [1, 2]], faces[:, [2, 0]]]), axis=1)
    return np.unique(edges, axis=0)


@pytest.fixture(params=[np.float64, np.float32], ids=["double", "single"])
def dtype(request):
    return request.param


def tolerance(dtype):
    return 1e-12 if dtype == np.float64 else 2e-5


class TestWholeMesh:
    @pytest.mark.parametrize("pair", [tetrahedron(), icosphere(3), (icosphere(2)[0], icosphere(2)[1][:, ::-1]),
                                      grid(10, size=2.0)], ids=["tetrahedron", "sphere", "inward sphere", "grid"])
    def test_area_volume_and_bounds(self, pair, dtype):
        vertices, faces = pair
        mesh = quorvel.Mesh(vertices, faces, dtype=dtype)
        assert mesh.area == pytest.approx(numpy_area(vertices, faces), rel=tolerance(dtype))
        assert mesh.volume == pytest.approx(numpy_volume(vertices, faces), rel=tolerance(dtype), abs=1e-12)
        np.testing.assert_allclose(mesh.bounds, [vertices.min(axis=0), vertices.max(axis=0)], rtol=tolerance(dtype))

    def test_centre_of_mass_of_a_moved_solid(self, dtype):
        vertices, faces = icosphere(3)
        shift = np.array([3.0, -2.0, 0.5])
        mesh = quorvel.Mesh(vertices * [1, 2, 3] + shift, faces, dtype=dtype)
        np.testing.assert_allclose(mesh.centre_of_mass, shift, atol=1e-10 if dtype == np.float64 else 1e-4)
        tetra = quorvel.Mesh(*tetrahedron(), dtype=dtype)
        np.testing.assert_allclose(tetra.centre_of_mass, [0.25] * 3, atol=tolerance(dtype))

    def test_principal_axes_are_the_eigenvectors_of_the_scatter(self):
        rng = np.random.default_rng(1)
        vertices, faces = icosphere(2)
        rotation, _ = np.linalg.qr(rng.normal(size=(3, 3)))
        stretched = (vertices * [5.0, 2.0, 0.5]) @ rotation.T
        axes = quorvel.Mesh(stretched, faces).principal_axes
        centred = stretched - stretched.mean(axis=0)
        values, vectors = np.linalg.eigh(centred.T @ centred)
        for row, column in zip(axes, [2, 1, 0]):
            assert abs(np.dot(row, vectors[:, column])) == pytest.approx(1, abs=1e-9)


class TestEdgesAndQuality:
    def test_edge_length_stats(self):
        vertices, faces = grid(6)
        stats = quorvel.Mesh(vertices, faces).edge_length_stats()
        edges = unique_edges(faces)
        lengths = np.linalg.norm(vertices[edges[:, 0]] - vertices[edges[:, 1]], axis=1)
        # The library's mean_by_faces divides the deviations of all face edges by the face count.
        face_edges = np.linalg.norm(vertices[faces] - vertices[np.roll(faces, -1, axis=1)], axis=2)
        by_faces = lengths.min() + (face_edges - lengths.min()).sum() / len(faces)
        assert stats == pytest.approx(dict(count=len(edges), min=lengths.min(), max=lengths.max(), mean=lengths.mean(),
                                           cv=lengths.std() / lengths.mean(), mean_by_faces=by_faces))

    def test_quality_and_info_count_what_the_mesh_has(self):
        vertices, faces = grid(4)
        quality = quorvel.Mesh(vertices, faces).quality()
        assert (quality["vertices"], quality["faces"], quality["open_edges"], quality["non_manifold_edges"]) == (
            25, 32, 16, 0)
        assert quality["smallest_angle"] == pytest.approx(45, abs=2)
        assert quality["area"] == pytest.approx(numpy_area(vertices, faces))
        vertices, faces = tetrahedron()
        info = quorvel.Mesh(np.vstack([vertices, [9, 9, 9]]), np.vstack([faces, [[0, 1, 1]]])).info()
        assert info["unused_vertices"] == 1 and info["repeated_corner_faces"] == 1
        assert not info["closed_manifold"] and quorvel.Mesh(*tetrahedron()).info()["closed_manifold"]

    def test_quality_report_of_an_unchanged_mesh(self, sphere):
        report = quorvel.quality_report(sphere, sphere.copy())
        assert report["input"] == report["output"]
        assert report["volume_change"] == 0 and report["distance"] == pytest.approx(0, abs=1e-15)
