"""Type stubs of quorvel's compiled core (quorvel._quorvel)."""

import os
from typing import Any, Callable, Dict, Literal, Optional, Tuple, Union

import numpy as np
import numpy.typing as npt

_Path = Union[str, "os.PathLike[str]"]
_Points = npt.ArrayLike
_Progress = Optional[Callable[[int, int], object]]
_DType = Union[None, str, type, np.dtype]

class Mesh:
    """A triangle mesh in double or single precision.

    Operations that change the mesh (remesh, smooth, offset, subdivide, thicken,
    discard_degenerate, assigning vertices) work in place on a private copy and
    take effect only when they succeed, so an error or Ctrl-C leaves the mesh as
    it was. Arrays read from the mesh are copies. Queries and measures may be
    called from several threads at once.
    """

    def __init__(self, vertices: npt.ArrayLike, faces: npt.ArrayLike, dtype: _DType = None) -> None:
        """A mesh from an (n, 3) array of coordinates and an (m, 3) array of vertex indices.

        float32 vertices make a single-precision mesh, any other real or integer
        dtype a double one; dtype forces the precision. Raises ValueError for a
        wrong shape, an empty array, a non-finite coordinate or an index out of
        range, TypeError for a non-numeric or non-integer dtype.
        """
    # ---- arrays (new read-only copies on every access) ----
    @property
    def vertices(self) -> npt.NDArray[np.floating[Any]]:
        """(n, 3) vertex positions in the mesh's dtype; assign an (n, 3) array to move them."""
    @vertices.setter
    def vertices(self, value: npt.ArrayLike) -> None: ...
    @property
    def faces(self) -> npt.NDArray[np.int64]:
        """(m, 3) int64 vertex indices."""
    @property
    def vertex_normals(self) -> npt.NDArray[np.floating[Any]]:
        """(n, 3) unit vertex normals: the normalised sum of the unit normals of the faces around each vertex."""
    @property
    def face_normals(self) -> npt.NDArray[np.floating[Any]]:
        """(m, 3) unit face normals, (b - a) x (c - a) normalised."""
    @property
    def vertex_count(self) -> int:
        """Number of vertices."""
    @property
    def face_count(self) -> int:
        """Number of faces."""
    @property
    def dtype(self) -> np.dtype:
        """numpy.float32 or numpy.float64: the precision of the mesh."""
    def copy(self) -> "Mesh":
        """An independent copy (sharing storage until one of the two changes)."""
    def __copy__(self) -> "Mesh": ...
    def __deepcopy__(self, memo: Any) -> "Mesh": ...
    # ---- files and other libraries ----
    def save(self, path: _Path, ascii: bool = False) -> None:
        """Writes OFF, OBJ, PLY or STL by extension, through a temporary file renamed when complete."""
    @classmethod
    def from_meshio(cls, mesh: Any, dtype: _DType = None) -> "Mesh":
        """A Mesh from a meshio.Mesh: its points and its "triangle" cell blocks."""
    def to_meshio(self) -> Any:
        """A meshio.Mesh with one "triangle" cell block."""
    @classmethod
    def from_trimesh(cls, mesh: Any, dtype: _DType = None) -> "Mesh":
        """A Mesh from a trimesh.Trimesh."""
    def to_trimesh(self, process: bool = False) -> Any:
        """A trimesh.Trimesh of the same vertices and faces."""
    # ---- measures ----
    @property
    def area(self) -> float:
        """Total area of the faces."""
    @property
    def volume(self) -> float:
        """Signed enclosed volume (positive for a closed surface wound outwards)."""
    @property
    def centre_of_mass(self) -> npt.NDArray[np.float64]:
        """(3,) centroid of the enclosed solid; NaN or infinite without volume."""
    @property
    def principal_axes(self) -> npt.NDArray[np.float64]:
        """(3, 3): rows major, middle, minor axis of the vertex scatter; NaN rows where undetermined."""
    @property
    def bounds(self) -> npt.NDArray[np.float64]:
        """(2, 3): minimum and maximum corner of the vertices' box."""
    def edge_length_stats(self) -> Dict[str, float]:
        """Edge lengths, each edge once: count, min, max, mean, cv, mean_by_faces (the library's figure)."""
    def quality(self) -> Dict[str, float]:
        """The per-mesh rows of `quorvel remesh`'s table."""
    def info(self) -> Dict[str, Union[int, bool]]:
        """The counts and defects of `quorvel info`."""
    # ---- edits (in place) ----
    def remesh(
        self,
        target: Optional[float] = None,
        relative: float = 1.0,
        method: Literal["preserve", "exact"] = "preserve",
        feature_angle: float = 45.0,
        iterations: int = 5,
        keep_boundaries: bool = True,
        progress: _Progress = None,
        max_memory: Union[None, int, str] = None,
    ) -> None:
        """Isotropic remeshing towards one edge length, as `quorvel remesh` (same preparation and result)."""
    def smooth(self, iterations: int = 10, keep_boundaries: bool = True, progress: _Progress = None) -> None:
        """Laplacian smoothing, as `quorvel smooth`."""
    def offset(self, distance: float) -> None:
        """Moves every vertex by distance along its unit normal, as `quorvel offset`."""
    def subdivide(self, max_length: Optional[float] = None, relative: float = 0.5) -> None:
        """Longest-edge bisection until no edge is longer than max_length, as `quorvel subdivide`."""
    def thicken(self, thickness: float) -> None:
        """Turns the surface into a closed shell of the given thickness, as `quorvel thicken`."""
    def discard_degenerate(self, tolerance: float = 0.0) -> None:
        """Removes faces naming a vertex twice (and with tolerance > 0 faces with shorter edges) and unused vertices."""
    # ---- extractions ----
    def contour(self) -> npt.NDArray[np.float64]:
        """(k, 3) points of the open boundary, as `quorvel contour`; (0, 3) for a closed mesh."""
    def infill(self, spacing: Optional[float] = None, relative: float = 0.5) -> npt.NDArray[np.float64]:
        """(k, 3) dense point set on the surface, as `quorvel infill`."""
    # ---- queries ----
    def ray_cast(
        self, origins: _Points, directions: _Points, cull: Literal["none", "back", "front"] = "none",
        tolerance: float = 0.0,
    ) -> Tuple[Any, npt.NDArray[np.float64]]:
        """Nearest hit of each ray: (hit, points), NaN points where nothing was hit."""
    def is_within(self, points: _Points) -> Any:
        """The library's designed inside test (even, non-zero crossings mean within), per point."""
    def is_within_mesh(self, other: "Mesh") -> bool:
        """True when any vertex of other is within this mesh by is_within."""
    def intersects(self, other: "Mesh") -> bool:
        """The library's IntersectsWith: boxes, vertices within, then edge against face."""
    def closest_vertex(self, points: _Points) -> Any:
        """Index of the nearest vertex for each point: a (k,) int64 array, or an int for one point."""
    def closest_point(self, points: _Points) -> Tuple[Any, Any, Any, Any]:
        """Nearest surface point of each point: (points, faces, barycentric, distances)."""
    def signed_distance(self, points: _Points) -> Any:
        """Distance to the surface, negative inside (winding number >= 1/2)."""
    def winding_number(self, points: _Points, exact: bool = False) -> Any:
        """Generalised winding number of the surface around each point."""
    def contains(self, points: _Points) -> Any:
        """Inside by the winding number: right for closed meshes, graceful on open ones."""

def load(path: _Path, dtype: _DType = None) -> Mesh:
    """Reads OFF, OBJ, PLY or STL by extension with the command-line tool's readers and messages."""

def quality_report(before: Mesh, after: Mesh, samples: int = 200000) -> Dict[str, Any]:
    """`quorvel remesh`'s before/after table as a dict: input, output, volume_change, distance."""
