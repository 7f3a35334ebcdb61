"""Shared fixtures of the Python package's tests: procedurally built meshes and
the command-line tool to compare with."""

import os
import shutil
import subprocess

import numpy as np
import pytest

import quorvel


def tetrahedron():
    """The unit corner tetrahedron, wound outwards."""
    vertices = np.array([[0, 0, 0], [1, 0, 0], [0, 1, 0], [0, 0, 1]], dtype=float)
    faces = np.array([[0, 2, 1], [0, 1, 3], [0, 3, 2], [1, 2, 3]])
    return vertices, faces


def icosphere(subdivisions=2, radius=1.0):
    """A sphere from a subdivided icosahedron, closed and wound outwards."""
    t = (1 + 5 ** 0.5) / 2
    vertices = np.array([[-1, t, 0], [1, t, 0], [-1, -t, 0], [1, -t, 0], [0, -1, t], [0, 1, t],
                         [0, -1, -t], [0, 1, -t], [t, 0, -1], [t, 0, 1], [-t, 0, -1], [-t, 0, 1]])
    faces = np.array([[0, 11, 5], [0, 5, 1], [0, 1, 7], [0, 7, 10], [0, 10, 11], [1, 5, 9], [5, 11, 4],
                      [11, 10, 2], [10, 7, 6], [7, 1, 8], [3, 9, 4], [3, 4, 2], [3, 2, 6], [3, 6, 8],
                      [3, 8, 9], [4, 9, 5], [2, 4, 11], [6, 2, 10], [8, 6, 7], [9, 8, 1]])
    for _ in range(subdivisions):
        # One new vertex per edge, shared by the two faces on it; each face becomes four.
        edges, middle = np.unique(np.sort(faces[:, [[0, 1], [1, 2], [2, 0]]], axis=2).reshape(-1, 2), axis=0,
                                  return_inverse=True)
        (a, b, c), (ab, bc, ca) = faces.T, len(vertices) + middle.reshape(-1, 3).T
        vertices = np.vstack([vertices, vertices[edges].sum(axis=1)])
        vertices /= np.linalg.norm(vertices, axis=1)[:, None]
        faces = np.vstack([np.column_stack(f) for f in ([a, ab, ca], [b, bc, ab], [c, ca, bc], [ab, bc, ca])])
    return vertices / np.linalg.norm(vertices, axis=1)[:, None] * radius, faces


def grid(n=8, size=1.0, bump=0.1):
    """An open, gently curved square patch of 2 n^2 faces wound towards +z."""
    xs = np.linspace(0, size, n + 1)
    x, y = np.meshgrid(xs, xs, indexing="xy")
    z = bump * np.sin(np.pi * x / size) * np.sin(np.pi * y / size)
    a = (np.arange(n)[:, None] * (n + 1) + np.arange(n)).ravel()
    faces = np.stack([a, a + 1, a + n + 2, a, a + n + 2, a + n + 1], axis=1).reshape(-1, 3)
    return np.column_stack([x.ravel(), y.ravel(), z.ravel()]), faces


@pytest.fixture
def sphere():
    return quorvel.Mesh(*icosphere(2))


def _tool_path():
    path = os.environ.get("QUORVEL_TOOL")
    if path and os.path.exists(path):
        return path
    here = os.path.dirname(os.path.abspath(__file__))
    built = os.path.join(here, "..", "..", "build", "release", "tools", "quorvel")
    return built if os.path.exists(built) else shutil.which("quorvel")


@pytest.fixture
def tool():
    """Runs the command-line tool; the test is skipped where it is not built."""
    path = _tool_path()
    if not path:
        pytest.skip("the quorvel command-line tool is not built")

    def run(*arguments):
        completed = subprocess.run([path, *map(str, arguments), "--quiet"], capture_output=True, text=True)
        if completed.returncode != 0:
            raise AssertionError(f"quorvel {' '.join(map(str, arguments))} failed: {completed.stderr}")
        return completed.stdout

    return run


def same_mesh(a, b):
    """Exactly the same vertices and faces, in the same order."""
    assert a.vertex_count == b.vertex_count and a.face_count == b.face_count
    np.testing.assert_array_equal(a.vertices, b.vertices)
    np.testing.assert_array_equal(a.faces, b.faces)
