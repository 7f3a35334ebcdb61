"""Every kind of bad input raises ValueError, TypeError or MemoryError naming
what and where, and leaves the mesh as it was."""

import os

import numpy as np
import pytest

import quorvel
from conftest import tetrahedron

V, F = tetrahedron()


def with_value(row, column, value):
    vertices = V.copy()
    vertices[row, column] = value
    return vertices


def rows_beyond_int32(dtype):
    # A broadcast view: 2^31 rows without the memory behind them.
    return np.broadcast_to(np.zeros(3, dtype=dtype), (2**31, 3))


SHAPE = r"vertices must have shape \(n, 3\)"
REAL, INTEGER = "vertices must hold real numbers", "faces must hold integer vertex indices"


@pytest.mark.parametrize("vertices, faces, dtype, error, message", [
    (np.zeros((4, 2)), F, None, ValueError, SHAPE + r", not \(4, 2\)"),
    (np.zeros(12), F, None, ValueError, SHAPE + r", not \(12,\)"),
    (np.zeros((2, 4, 3)), F, None, ValueError, SHAPE),
    (np.zeros((0, 3)), F, None, ValueError, "vertices is empty"),
    ([[0, 0, 0], [1, 0]], F, None, (TypeError, ValueError), ""),
    (V, np.zeros((4, 4), dtype=int), None, ValueError, r"faces must have shape \(n, 3\), not \(4, 4\)"),
    (V, np.zeros((0, 3), dtype=int), None, ValueError, "faces is empty"),
    (V, np.array([[0, 1, 4]]), None, ValueError, r"faces\[0, 2\] = 4 is out of range for 4 vertices"),
    (V, np.array([[0, 1, 2], [0, -1, 2]]), None, ValueError, r"faces\[1, 1\] = -1 is negative"),
    (V, np.array([[0, 1, 2**40]]), None, ValueError, r"faces\[0, 2\] = 1099511627776 is out of range"),
    (V, np.array([[0, 1, 2**64 - 1]], dtype=np.uint64), None, ValueError,
     r"faces\[0, 2\] = 18446744073709551615 is out of range"),
    (with_value(2, 1, np.nan), F, None, ValueError, r"vertices\[2, 1\] is nan"),
    *[(with_value(2, 1, v), F, None, ValueError, r"vertices\[2, 1\] is infinite") for v in (np.inf, -np.inf)],
    *[(v, F, None, TypeError, REAL) for v in (V.astype(bool), V.astype(complex), np.array([["a"] * 3] * 4),
                                              np.array([[object()] * 3] * 4))],
    *[(V, f, None, TypeError, INTEGER) for f in (F.astype(float), F.astype(bool), F.astype(str))],
    (with_value(3, 0, 1e300), F, np.float32, ValueError, r"vertices\[3, 0\] = 1e\+300 does not fit in float32"),
    (V, F, np.int32, ValueError, "dtype must be float32 or float64, not int32"),
    (V, F, "no such type", TypeError, "dtype must be"),
    (rows_beyond_int32(float), F, None, ValueError, "more than the 2,147,483,647 a mesh can index"),
    (V, rows_beyond_int32(int), None, ValueError, "faces has 2,147,483,648 rows"),
])
def test_arrays_that_make_no_mesh(vertices, faces, dtype, error, message):
    with pytest.raises(error, match=message):
        quorvel.Mesh(vertices, faces, dtype=dtype)


def assign_vertices(mesh, vertices):
    mesh.vertices = vertices


POSITIVE, NAN, INF = "must be a positive finite number", float("nan"), float("inf")


@pytest.mark.parametrize("call, error, message", [
    *[(lambda m, v=v: m.remesh(target=v), ValueError, f"target {POSITIVE}, not {v}") for v in (0, -1, NAN, INF)],
    *[(lambda m, v=v: m.remesh(relative=v), ValueError, "relative " + POSITIVE) for v in (0, -2.0)],
    (lambda m: m.remesh(target=0.1, relative=2.0), ValueError, "give either target or relative, not both"),
    (lambda m: m.remesh(method="fast"), ValueError, "method must be 'preserve' or 'exact', not 'fast'"),
    (lambda m: m.remesh(feature_angle=200), ValueError, "feature_angle must be from 0 to 180"),
    (lambda m: m.remesh(iterations=0), ValueError, "iterations must be from 1 to 100"),
    (lambda m: m.remesh(method="exact", iterations=3), ValueError, "belong to method='preserve'"),
    (lambda m: m.remesh(method="exact", target=100.0), ValueError, "longer than the mesh is wide"),
    (lambda m: m.remesh(target=1e-5), ValueError, "the result would have about .* faces, more than the limit"),
    (lambda m: m.remesh(target="big"), TypeError, "target must be a number, not 'big'"),
    (lambda m: m.remesh(progress=5), TypeError, "progress must be a callable"),
    *[(lambda m, method=method: m.remesh(relative=0.05, method=method, max_memory="20M"), MemoryError,
       r"more than the limit of .*\(max_memory=\)") for method in ("preserve", "exact")],
    *[(lambda m, v=v: m.remesh(max_memory=v), ValueError, "max_memory must be") for v in (0, -5, "lots", "4X")],
    *[(lambda m, v=v: m.remesh(max_memory=v), TypeError, "max_memory must be") for v in (1.5, True)],
    (lambda m: m.subdivide(max_length=0), ValueError, "max_length " + POSITIVE),
    (lambda m: m.subdivide(max_length=1e-6), ValueError, "more than the limit"),
    (lambda m: m.subdivide(relative=-1), ValueError, "relative must be a positive"),
    (lambda m: m.infill(spacing=-0.1), ValueError, "spacing " + POSITIVE),
    (lambda m: m.infill(spacing=1e-6), ValueError, "points, more than the limit"),
    (lambda m: m.offset(float("nan")), ValueError, "distance must be a finite number"),
    (lambda m: m.thicken(0), ValueError, "thickness must not be 0"),
    (lambda m: m.thicken(float("inf")), ValueError, "thickness must be a finite number"),
    (lambda m: m.smooth(iterations=-1), ValueError, "iterations must be from 0"),
    (lambda m: m.discard_degenerate(tolerance=-1), ValueError, "tolerance must be a finite number of at least 0"),
    (lambda m: m.ray_cast([0, 0, 0], [0, 0, 1], cull="side"), ValueError, "cull must be 'none', 'back' or 'front'"),
    (lambda m: m.ray_cast(np.zeros((2, 3)), np.ones((3, 3))), ValueError, "same number of rows"),
    (lambda m: m.ray_cast([0, 0, np.nan], [0, 0, 1]), ValueError, "origins has a nan coordinate"),
    (lambda m: m.closest_vertex(np.zeros((2, 2))), ValueError, r"points must have shape \(3,\) or \(k, 3\)"),
    (lambda m: m.is_within([[0, 0, 0], [np.inf, 0, 0]]), ValueError, r"points\[1\] has a infinite coordinate"),
    (lambda m: assign_vertices(m, m.vertices[:3]), ValueError,
     "must keep the vertex count: the mesh has 162 vertices, the array 3 rows"),
    (lambda m: assign_vertices(m, np.full(m.vertices.shape, np.nan)), ValueError, r"vertices\[0, 0\] is nan"),
])
def test_calls_refused_before_they_change_the_mesh(sphere, call, error, message):
    before = sphere.vertices
    with pytest.raises(error, match=message):
        call(sphere)
    np.testing.assert_array_equal(sphere.vertices, before)


@pytest.mark.parametrize("method", ["preserve", "exact"])
def test_a_generous_memory_limit_lets_the_remesh_run(sphere, method):
    sphere.remesh(relative=0.5, method=method, max_memory=4 << 30)


def test_faces_naming_a_vertex_twice_are_dropped_or_refused():
    mesh = quorvel.Mesh(V, [[0, 1, 1], [2, 2, 3]])
    with pytest.raises(ValueError, match="no usable faces: every face names a vertex twice"):
        mesh.remesh()
    with pytest.raises(ValueError, match="every face names a vertex twice"):
        mesh.discard_degenerate()
    mixed = quorvel.Mesh(V, np.vstack([F, [[0, 1, 1]]]))
    mixed.smooth(iterations=1)
    assert mixed.face_count == 4


def test_exact_method_separates_three_sheets_on_one_edge():
    # Not manifold: the exact method repairs the mesh as the tool does.
    vertices = np.array([[0, 0, 0], [0, 0, 1], [1, 0, 0.5], [-0.5, 0.8, 0.5], [-0.5, -0.8, 0.5]])
    mesh = quorvel.Mesh(vertices, np.array([[0, 1, 2], [1, 0, 3], [0, 1, 4]]))
    assert mesh.info()["non_manifold_edges"] == 1
    mesh.remesh(method="exact", relative=0.5)
    assert mesh.info()["non_manifold_edges"] == 0


def save_truncated(path):
    quorvel.Mesh(V, F).save(path)
    path.write_bytes(path.read_bytes()[:-7])


@pytest.mark.parametrize("name, content, error, message", [
    ("missing.obj", None, FileNotFoundError, "missing.obj"),
    ("folder.obj", os.mkdir, OSError, "not a regular file"),
    ("mesh.dae", None, ValueError, "use .off, .obj, .ply or .stl"),
    ("bad.obj", "v 0 0 0\nv 1 0 0\nv 0 abc 0\nf 1 2 3\n", ValueError, r"bad.obj:3: .*'abc'"),
    ("bad.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 9\n", ValueError, "bad.obj:4:"),
    ("bad.obj", "v 0 0 0\nv 1 0 0\nv nan 1 0\nf 1 2 3\n", ValueError, "bad.obj:3:"),
    ("bad.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\n", ValueError, "no faces"),
    ("bad.obj", "", ValueError, "empty"),
    ("cut.ply", save_truncated, ValueError, "cut.ply"),
])
def test_load_names_what_is_wrong(tmp_path, name, content, error, message):
    path = tmp_path / name
    if callable(content):
        content(path)
    elif content is not None:
        path.write_text(content)
    with pytest.raises(error, match=message):
        quorvel.load(path)


@pytest.mark.parametrize("path, error, message", [
    ("mesh.xyz", ValueError, "use .off, .obj, .ply or .stl"),
    ("no/such/dir.ply", FileNotFoundError, "does not exist"),
    (42, TypeError, "path must be a str or os.PathLike"),
])
def test_save_names_what_is_wrong(tmp_path, sphere, path, error, message):
    with pytest.raises(error, match=message):
        sphere.save(tmp_path / path if isinstance(path, str) else path)
