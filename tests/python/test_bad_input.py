"""Every kind of bad input raises ValueError or TypeError naming what and where,
and leaves the mesh as it was."""

import os

import numpy as np
import pytest

import quorvel
from conftest import icosphere, tetrahedron

V, F = tetrahedron()


class TestArrays:
    @pytest.mark.parametrize("vertices, message", [
        (np.zeros((4, 2)), r"vertices must have shape \(n, 3\), not \(4, 2\)"),
        (np.zeros(12), r"vertices must have shape \(n, 3\), not \(12,\)"),
        (np.zeros((2, 4, 3)), r"vertices must have shape \(n, 3\)"),
        (np.zeros((0, 3)), "vertices is empty"),
    ])
    def test_vertex_shapes(self, vertices, message):
        with pytest.raises(ValueError, match=message):
            quorvel.Mesh(vertices, F)

    @pytest.mark.parametrize("faces, message", [
        (np.zeros((4, 4), dtype=int), r"faces must have shape \(n, 3\), not \(4, 4\)"),
        (np.zeros((0, 3), dtype=int), "faces is empty"),
        (np.array([[0, 1, 4]]), r"faces\[0, 2\] = 4 is out of range for 4 vertices"),
        (np.array([[0, 1, 2], [0, -1, 2]]), r"faces\[1, 1\] = -1 is negative"),
        (np.array([[0, 1, 2**40]]), r"faces\[0, 2\] = 1099511627776 is out of range"),
        (np.array([[0, 1, 2**64 - 1]], dtype=np.uint64), r"faces\[0, 2\] = 18446744073709551615 is out of range"),
    ])
    def test_face_shapes_and_indices(self, faces, message):
        with pytest.raises(ValueError, match=message):
            quorvel.Mesh(V, faces)

    @pytest.mark.parametrize("value, word", [(np.nan, "nan"), (np.inf, "infinite"), (-np.inf, "infinite")])
    def test_non_finite_coordinates_are_located(self, value, word):
        vertices = V.copy()
        vertices[2, 1] = value
        with pytest.raises(ValueError, match=rf"vertices\[2, 1\] is {word}"):
            quorvel.Mesh(vertices, F)

    @pytest.mark.parametrize("vertices", [V.astype(bool), V.astype(complex), np.array([["a"] * 3] * 4),
                                          np.array([[object()] * 3] * 4)])
    def test_non_real_vertex_dtypes(self, vertices):
        with pytest.raises(TypeError, match="vertices must hold real numbers"):
            quorvel.Mesh(vertices, F)

    @pytest.mark.parametrize("faces", [F.astype(float), F.astype(bool), F.astype(str)])
    def test_non_integer_face_dtypes(self, faces):
        with pytest.raises(TypeError, match="faces must hold integer vertex indices"):
            quorvel.Mesh(V, faces)

    def test_ragged_input(self):
        with pytest.raises((TypeError, ValueError)):
            quorvel.Mesh([[0, 0, 0], [1, 0]], F)

    def test_coordinates_beyond_float32(self):
        vertices = V.copy()
        vertices[3, 0] = 1e300
        with pytest.raises(ValueError, match=r"vertices\[3, 0\] = 1e\+300 does not fit in float32"):
            quorvel.Mesh(vertices, F, dtype=np.float32)

    def test_unknown_dtype(self):
        with pytest.raises(ValueError, match="dtype must be float32 or float64, not int32"):
            quorvel.Mesh(V, F, dtype=np.int32)
        with pytest.raises(TypeError, match="dtype must be"):
            quorvel.Mesh(V, F, dtype="no such type")

    def test_more_rows_than_32_bit_indices_reach(self):
        # A broadcast view: 2^31 rows without the memory behind them.
        huge = np.broadcast_to(np.zeros(3), (2**31, 3))
        with pytest.raises(ValueError, match="more than the 2,147,483,647 a mesh can index"):
            quorvel.Mesh(huge, F)
        with pytest.raises(ValueError, match="faces has 2,147,483,648 rows"):
            quorvel.Mesh(V, np.broadcast_to(np.zeros(3, dtype=int), (2**31, 3)))

    def test_assigned_vertices_must_keep_the_count(self):
        mesh = quorvel.Mesh(V, F)
        with pytest.raises(ValueError, match="must keep the vertex count: the mesh has 4 vertices, the array 3 rows"):
            mesh.vertices = V[:3]
        with pytest.raises(ValueError, match=r"vertices\[0, 0\] is nan"):
            mesh.vertices = np.full((4, 3), np.nan)
        np.testing.assert_array_equal(mesh.vertices, V)


class TestOperationArguments:
    @pytest.mark.parametrize("kwargs, message", [
        (dict(target=0), "target must be a positive finite number, not 0"),
        (dict(target=-1), "target must be a positive finite number, not -1"),
        (dict(target=float("nan")), "target must be a positive finite number, not nan"),
        (dict(target=float("inf")), "target must be a positive finite number"),
        (dict(relative=0), "relative must be a positive finite number"),
        (dict(relative=-2.0), "relative must be a positive finite number"),
        (dict(target=0.1, relative=2.0), "give either target or relative, not both"),
        (dict(method="fast"), "method must be 'preserve' or 'exact', not 'fast'"),
        (dict(feature_angle=200), "feature_angle must be from 0 to 180"),
        (dict(iterations=0), "iterations must be from 1 to 100"),
        (dict(method="exact", iterations=3), "belong to method='preserve'"),
        (dict(method="exact", target=100.0), "longer than the mesh is wide"),
        (dict(target=1e-5), "the result would have about .* faces, more than the limit"),
    ])
    def test_remesh_values(self, sphere, kwargs, message):
        before = sphere.vertices
        with pytest.raises(ValueError, match=message):
            sphere.remesh(**kwargs)
        np.testing.assert_array_equal(sphere.vertices, before)

    @pytest.mark.parametrize("kwargs, message", [(dict(target="big"), "target must be a number, not 'big'"),
                                                 (dict(progress=5), "progress must be a callable")])
    def test_remesh_types(self, sphere, kwargs, message):
        with pytest.raises(TypeError, match=message):
            sphere.remesh(**kwargs)

    @pytest.mark.parametrize("call, message", [
        (lambda m: m.subdivide(max_length=0), "max_length must be a positive finite number"),
        (lambda m: m.subdivide(max_length=1e-6), "more than the limit"),
        (lambda m: m.subdivide(relative=-1), "relative must be a positive"),
        (lambda m: m.infill(spacing=-0.1), "spacing must be a positive finite number"),
        (lambda m: m.infill(spacing=1e-6), "points, more than the limit"),
        (lambda m: m.offset(float("nan")), "distance must be a finite number"),
        (lambda m: m.thicken(0), "thickness must not be 0"),
        (lambda m: m.thicken(float("inf")), "thickness must be a finite number"),
        (lambda m: m.smooth(iterations=-1), "iterations must be from 0"),
        (lambda m: m.discard_degenerate(tolerance=-1), "tolerance must be a finite number of at least 0"),
        (lambda m: m.ray_cast([0, 0, 0], [0, 0, 1], cull="side"), "cull must be 'none', 'back' or 'front'"),
        (lambda m: m.ray_cast(np.zeros((2, 3)), np.ones((3, 3))), "same number of rows"),
        (lambda m: m.ray_cast([0, 0, np.nan], [0, 0, 1]), "origins has a nan coordinate"),
        (lambda m: m.closest_vertex(np.zeros((2, 2))), r"points must have shape \(3,\) or \(k, 3\)"),
        (lambda m: m.is_within([[0, 0, 0], [np.inf, 0, 0]]), r"points\[1\] has a infinite coordinate"),
    ])
    def test_other_calls(self, sphere, call, message):
        before = sphere.vertices
        with pytest.raises(ValueError, match=message):
            call(sphere)
        np.testing.assert_array_equal(sphere.vertices, before)

    def test_faces_naming_a_vertex_twice_are_dropped_or_refused(self):
        mesh = quorvel.Mesh(V, [[0, 1, 1], [2, 2, 3]])
        with pytest.raises(ValueError, match="no usable faces: every face names a vertex twice"):
            mesh.remesh()
        with pytest.raises(ValueError, match="every face names a vertex twice"):
            mesh.discard_degenerate()
        mixed = quorvel.Mesh(V, np.vstack([F, [[0, 1, 1]]]))
        mixed.smooth(iterations=1)
        assert mixed.face_count == 4

    @pytest.mark.parametrize("method", ["preserve", "exact"])
    def test_a_remesh_beyond_the_memory_limit_is_refused_before_it_starts(self, method):
        vertices, faces = icosphere(2)
        mesh = quorvel.Mesh(vertices, faces)
        before = mesh.vertices
        with pytest.raises(MemoryError, match=r"more than the limit of .*\(max_memory=\)"):
            mesh.remesh(relative=0.05, method=method, max_memory="20M")
        assert np.array_equal(mesh.vertices, before)
        mesh.remesh(relative=0.5, method=method, max_memory=4 << 30)

    @pytest.mark.parametrize("limit, error", [(0, ValueError), (-5, ValueError), ("lots", ValueError),
                                              ("4X", ValueError), (1.5, TypeError), (True, TypeError)])
    def test_max_memory_must_be_a_size(self, limit, error):
        vertices, faces = icosphere(1)
        with pytest.raises(error, match="max_memory must be"):
            quorvel.Mesh(vertices, faces).remesh(max_memory=limit)


class TestExactMethodOnNonManifoldInput:
    def test_three_sheets_on_one_edge_are_separated(self):
        # Three fins on the edge (0, 1): not manifold; the exact method
        # repairs the mesh as the tool does and the result is manifold.
        vertices = np.array([[0, 0, 0], [0, 0, 1], [1, 0, 0.5], [-0.5, 0.8, 0.5], [-0.5, -0.8, 0.5]])
        faces = np.array([[0, 1, 2], [1, 0, 3], [0, 1, 4]])
        mesh = quorvel.Mesh(vertices, faces)
        assert mesh.info()["non_manifold_edges"] == 1
        mesh.remesh(method="exact", relative=0.5)
        assert mesh.info()["non_manifold_edges"] == 0


class TestFiles:
    @pytest.mark.parametrize("name, content, error, message", [
        ("missing.obj", None, FileNotFoundError, "missing.obj"),
        ("folder.obj", os.mkdir, OSError, "not a regular file"),
        ("mesh.dae", None, ValueError, "use .off, .obj, .ply or .stl"),
        ("bad.obj", "v 0 0 0\nv 1 0 0\nv 0 abc 0\nf 1 2 3\n", ValueError, r"bad.obj:3: .*'abc'"),
        ("bad.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 9\n", ValueError, "bad.obj:4:"),
        ("bad.obj", "v 0 0 0\nv 1 0 0\nv nan 1 0\nf 1 2 3\n", ValueError, "bad.obj:3:"),
        ("bad.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\n", ValueError, "no faces"),
        ("bad.obj", "", ValueError, "empty"),
    ])
    def test_load_names_what_is_wrong(self, tmp_path, name, content, error, message):
        path = tmp_path / name
        if callable(content):
            content(path)
        elif content is not None:
            path.write_text(content)
        with pytest.raises(error, match=message):
            quorvel.load(path)

    def test_truncated_binary_ply(self, tmp_path, sphere):
        sphere.save(tmp_path / "whole.ply")
        data = (tmp_path / "whole.ply").read_bytes()
        (tmp_path / "cut.ply").write_bytes(data[: len(data) // 2])
        with pytest.raises(ValueError, match="cut.ply"):
            quorvel.load(tmp_path / "cut.ply")

    @pytest.mark.parametrize("path, error, message", [
        ("mesh.xyz", ValueError, "use .off, .obj, .ply or .stl"),
        ("no/such/dir.ply", FileNotFoundError, "does not exist"),
        (42, TypeError, "path must be a str or os.PathLike"),
    ])
    def test_save_names_what_is_wrong(self, tmp_path, sphere, path, error, message):
        with pytest.raises(error, match=message):
            sphere.save(tmp_path / path if isinstance(path, str) else path)

    def test_stl_cannot_hold_beyond_single_precision(self, tmp_path):
        vertices = V.copy()
        vertices[1, 0] = 1e200
        with pytest.raises(ValueError, match="single-precision range"):
            quorvel.Mesh(vertices, F).save(tmp_path / "far.stl")
        assert not (tmp_path / "far.stl").exists()
