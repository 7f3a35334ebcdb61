"""Meshes from numpy arrays and back: precision, memory order, copies."""

import copy
import pickle

import numpy as np
import pytest

import quorvel
from conftest import grid, icosphere, same_mesh, tetrahedron


def test_any_layout_and_integer_type_gives_the_same_mesh():
    vertices, faces = icosphere(1)
    wide = np.zeros((len(vertices), 6))
    wide[:, ::2] = vertices  # a strided view is read as its values
    reference = quorvel.Mesh(vertices, faces)
    for v, f in [(np.asfortranarray(vertices), np.asfortranarray(faces)), (vertices.tolist(), faces.tolist()),
                 (wide[:, ::2], faces.astype(np.uint16)), (vertices, faces.astype(np.int32))]:
        same_mesh(quorvel.Mesh(v, f), reference)
    np.testing.assert_array_equal(reference.vertices, vertices)
    np.testing.assert_array_equal(reference.faces, faces)


@pytest.mark.parametrize("given, forced, expected", [(np.float32, None, np.float32), (int, None, np.float64),
                                                     (np.float64, np.float32, np.float32),
                                                     (np.float32, "float64", np.float64)])
def test_precision_follows_the_input_unless_dtype_forces_it(given, forced, expected):
    vertices, faces = tetrahedron()
    mesh = quorvel.Mesh(vertices.astype(given), faces, dtype=forced)
    assert mesh.dtype == mesh.vertices.dtype == mesh.vertex_normals.dtype == expected
    assert mesh.faces.dtype == np.int64
    np.testing.assert_array_equal(mesh.vertices, vertices.astype(expected))
    # Pickling keeps the precision with the vertices and faces.
    back = pickle.loads(pickle.dumps(mesh))
    assert back.dtype == expected
    same_mesh(back, mesh)


def test_arrays_are_read_only_copies_and_assigning_vertices_moves_them():
    mesh = quorvel.Mesh(*tetrahedron())
    assert repr(mesh) == "quorvel.Mesh(4 vertices, 4 faces, float64)"
    vertices = mesh.vertices
    with pytest.raises(ValueError):
        vertices[0, 0] = 5
    with pytest.raises(ValueError):
        mesh.faces[0, 0] = 1
    mesh.vertices = vertices * 2
    assert vertices[1, 0] == 1.0  # the earlier array does not follow the mesh
    np.testing.assert_array_equal(mesh.vertices, vertices * 2)
    assert mesh.volume == pytest.approx(8 / 6)
    np.testing.assert_array_equal(mesh.bounds, [[0, 0, 0], [2, 2, 2]])


def test_copies_are_independent():
    mesh = quorvel.Mesh(*grid(4))
    for duplicate in (mesh.copy(), copy.copy(mesh), copy.deepcopy(mesh)):
        duplicate.offset(1.0)
        assert not np.array_equal(duplicate.vertices, mesh.vertices)
    np.testing.assert_array_equal(mesh.vertices, grid(4)[0])


def test_face_normals_are_unit_and_vertex_normals_their_normalised_sums():
    vertices, faces = tetrahedron()
    mesh = quorvel.Mesh(np.vstack([vertices, [5, 5, 5]]), faces)
    unit = np.array([[0, 0, -1], [0, -1, 0], [-1, 0, 0], [3 ** -0.5] * 3])
    np.testing.assert_allclose(mesh.face_normals, unit, atol=1e-12)
    summed = np.array([unit[(faces == v).any(axis=1)].sum(axis=0) for v in range(4)])
    # The unused vertex has no faces to take a direction from.
    expected = np.vstack([summed / np.linalg.norm(summed, axis=1)[:, None], [0, 0, 0]])
    np.testing.assert_allclose(mesh.vertex_normals, expected, atol=1e-12)
