"""Measures through the binding, against closed forms and numpy."""

import numpy as np
import pytest

import quorvel
from conftest import grid, icosphere, tetrahedron


@pytest.mark.parametrize("dtype, tolerance", [(np.float64, 1e-12), (np.float32, 2e-5)], ids=["double", "single"])
def test_area_volume_bounds_centre_of_mass_and_principal_axes(dtype, tolerance):
    tetra = quorvel.Mesh(*tetrahedron(), dtype=dtype)
    assert tetra.area == pytest.approx(1.5 + 3 ** 0.5 / 2, rel=tolerance)
    assert tetra.volume == pytest.approx(1 / 6, rel=tolerance)
    np.testing.assert_allclose(tetra.centre_of_mass, [0.25] * 3, atol=tolerance)
    vertices, faces = icosphere(3)
    shift = np.array([3.0, -2.0, 0.5])
    moved = vertices * [2, 1, 3] + shift
    solid = quorvel.Mesh(moved, faces, dtype=dtype)
    np.testing.assert_allclose(solid.centre_of_mass, shift, atol=1e-10 if dtype == np.float64 else 1e-4)
    np.testing.assert_allclose(solid.bounds, [moved.min(axis=0), moved.max(axis=0)], rtol=tolerance)
    # Longest axis first, one axis a row: z, x, y, an order that the transposed array would not give.
    np.testing.assert_allclose(np.abs(solid.principal_axes), [[0, 0, 1], [1, 0, 0], [0, 1, 0]], atol=1e-6)
    # Wound inwards, the same solid has the opposite volume.
    inward = quorvel.Mesh(moved, faces[:, ::-1], dtype=dtype)
    assert inward.volume == pytest.approx(-solid.volume, rel=tolerance) and solid.volume > 0


def test_edge_length_stats():
    vertices, faces = grid(6)
    stats = quorvel.Mesh(vertices, faces).edge_length_stats()
    edges = np.unique(np.sort(np.concatenate([faces[:, [0, 1]], faces[:, [1, 2]], faces[:, [2, 0]]]), axis=1), axis=0)
    lengths = np.linalg.norm(vertices[edges[:, 0]] - vertices[edges[:, 1]], axis=1)
    # The library's mean_by_faces divides the deviations of all face edges by the face count.
    face_edges = np.linalg.norm(vertices[faces] - vertices[np.roll(faces, -1, axis=1)], axis=2)
    by_faces = lengths.min() + (face_edges - lengths.min()).sum() / len(faces)
    assert stats == pytest.approx(dict(count=len(edges), min=lengths.min(), max=lengths.max(), mean=lengths.mean(),
                                       cv=lengths.std() / lengths.mean(), mean_by_faces=by_faces))


def test_quality_info_and_report_count_what_the_mesh_has(sphere):
    patch = quorvel.Mesh(*grid(4))
    quality = patch.quality()
    assert (quality["vertices"], quality["faces"], quality["open_edges"], quality["non_manifold_edges"]) == (
        25, 32, 16, 0)
    assert quality["smallest_angle"] == pytest.approx(45, abs=2) and quality["area"] == pytest.approx(patch.area)
    vertices, faces = tetrahedron()
    info = quorvel.Mesh(np.vstack([vertices, [9, 9, 9]]), np.vstack([faces, [[0, 1, 1]]])).info()
    assert info["unused_vertices"] == 1 and info["repeated_corner_faces"] == 1
    assert not info["closed_manifold"] and quorvel.Mesh(*tetrahedron()).info()["closed_manifold"]
    report = quorvel.quality_report(sphere, sphere.copy())
    assert report["input"] == report["output"]
    assert report["volume_change"] == 0 and report["distance"] == pytest.approx(0, abs=1e-15)
