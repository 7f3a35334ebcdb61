"""quorvel: isotropic remeshing, measures and queries of triangle meshes, for numpy users.

    import quorvel
    mesh = quorvel.load("part.stl")          # or quorvel.Mesh(vertices, faces)
    before = mesh.copy()
    mesh.remesh(relative=1.5)                # in place; progress=, Ctrl-C safe
    print(mesh.area, mesh.volume, quorvel.quality_report(before, mesh)["output"])
    mesh.save("part-remeshed.ply")

Everything the command-line tool `quorvel` does is here, with its file readers,
its preparation steps and its error messages. See help(quorvel.Mesh).
"""

from __future__ import annotations

from typing import Any

__version__ = "0.1.0"

try:
    from ._quorvel import Mesh, load, quality_report
except ImportError as error:  # the compiled module is missing or broken
    # quorvel.batch is pure Python and drives the command-line tool, so it
    # stays importable; any other name says why it is not there.
    _import_error = error

    def __getattr__(name: str) -> Any:
        if name in ("Mesh", "load", "quality_report"):
            raise ImportError(f"quorvel's compiled module could not be loaded: {_import_error}") from _import_error
        raise AttributeError(f"module 'quorvel' has no attribute {name!r}")

__all__ = ["Mesh", "load", "quality_report"]


def _from_meshio(cls: type, mesh: Any, dtype: Any = None) -> Mesh:
    """A Mesh from a meshio.Mesh: its points and every "triangle" cell block, in order.

    Raises ValueError when the meshio mesh has no triangle cells (quads and
    other cells are not converted).
    """
    import numpy as np

    blocks = [block.data for block in mesh.cells if block.type == "triangle"]
    if not blocks:
        kinds = ", ".join(sorted({block.type for block in mesh.cells})) or "none"
        raise ValueError(f"the meshio mesh has no triangle cells (cell types: {kinds})")
    return cls(np.asarray(mesh.points), np.concatenate(blocks), dtype=dtype)


def _to_meshio(self: Mesh) -> Any:
    """A meshio.Mesh with the vertices as points and the faces as one "triangle" cell block."""
    import meshio

    return meshio.Mesh(self.vertices.copy(), [("triangle", self.faces.copy())])


def _from_trimesh(cls: type, mesh: Any, dtype: Any = None) -> Mesh:
    """A Mesh from a trimesh.Trimesh: its vertices and faces, in order."""
    return cls(mesh.vertices, mesh.faces, dtype=dtype)


def _to_trimesh(self: Mesh, process: bool = False) -> Any:
    """A trimesh.Trimesh of the same vertices and faces (process=False: trimesh merges and drops nothing)."""
    import trimesh

    return trimesh.Trimesh(vertices=self.vertices.copy(), faces=self.faces.copy(), process=process)


if "Mesh" in globals():
    Mesh.from_meshio = classmethod(_from_meshio)  # type: ignore[attr-defined]
    Mesh.to_meshio = _to_meshio  # type: ignore[attr-defined]
    Mesh.from_trimesh = classmethod(_from_trimesh)  # type: ignore[attr-defined]
    Mesh.to_trimesh = _to_trimesh  # type: ignore[attr-defined]
