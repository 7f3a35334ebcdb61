"""Files and other Python mesh libraries."""

import numpy as np
import pytest

import quorvel
from conftest import icosphere, same_mesh


@pytest.fixture
def irrational():
    # Coordinates that need all 17 digits to read back.
    vertices, faces = icosphere(2)
    return quorvel.Mesh(vertices * np.pi / 3 + 1e-7, faces)


@pytest.mark.parametrize("name, ascii", [("m.off", False), ("m.obj", False), ("m.ply", False), ("m.ply", True),
                                         ("m.stl", False), ("m.stl", True)])
def test_save_and_load_keep_what_the_format_holds(tmp_path, irrational, name, ascii):
    irrational.save(tmp_path / name if ascii else str(tmp_path / name), ascii=ascii)
    back = quorvel.load(tmp_path / name)
    if not name.endswith(".stl"):
        same_mesh(back, irrational)
        single = quorvel.load(tmp_path / name, dtype=np.float32)
        assert single.dtype == np.float32
        np.testing.assert_array_equal(single.vertices, irrational.vertices.astype(np.float32))
        return
    # STL keeps the surface in single precision; its corners are welded again.
    assert (back.face_count, back.vertex_count) == (irrational.face_count, irrational.vertex_count)
    corners = irrational.vertices[irrational.faces].astype(np.float32).astype(float)
    np.testing.assert_array_equal(back.vertices[back.faces], corners)


def test_failed_save_leaves_no_file(tmp_path, irrational):
    # STL holds single precision only: the save fails and no file is made.
    irrational.save(tmp_path / "keep.obj")
    before = (tmp_path / "keep.obj").read_bytes()
    vertices = irrational.vertices.copy()
    vertices[0] = 1e300
    with pytest.raises(ValueError, match="single-precision range"):
        quorvel.Mesh(vertices, irrational.faces).save(tmp_path / "keep.stl")
    assert sorted(p.name for p in tmp_path.iterdir()) == ["keep.obj"]
    assert (tmp_path / "keep.obj").read_bytes() == before


def test_meshio_round_trip_and_files(tmp_path, irrational):
    meshio = pytest.importorskip("meshio")
    converted = irrational.to_meshio()
    assert isinstance(converted, meshio.Mesh)
    same_mesh(quorvel.Mesh.from_meshio(converted), irrational)
    converted.write(tmp_path / "m.off")
    np.testing.assert_allclose(quorvel.load(tmp_path / "m.off").vertices, irrational.vertices, rtol=1e-12)
    quads = meshio.Mesh(np.zeros((4, 3)), [("quad", np.array([[0, 1, 2, 3]]))])
    with pytest.raises(ValueError, match="no triangle cells"):
        quorvel.Mesh.from_meshio(quads)


def test_trimesh_round_trip(irrational):
    pytest.importorskip("trimesh")
    converted = irrational.to_trimesh()
    assert converted.volume == pytest.approx(irrational.volume)
    same_mesh(quorvel.Mesh.from_trimesh(converted), irrational)
