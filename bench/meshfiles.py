"""Binary PLY output for the benchmark scripts' generated meshes."""

import numpy as np


def write_ply(path, vertices, faces):
    """(n, 3) coordinates, written as float, and (m, 3) vertex indices as binary little-endian PLY."""
    header = (f"ply\nformat binary_little_endian 1.0\nelement vertex {len(vertices)}\nproperty float x\n"
              f"property float y\nproperty float z\nelement face {len(faces)}\n"
              f"property list uchar int vertex_indices\nend_header\n").encode()
    records = np.zeros(len(faces), dtype=[("n", "u1"), ("v", "<i4", (3,))])
    records["n"] = 3
    records["v"] = faces
    with open(path, "wb") as stream:
        stream.write(header)
        stream.write(np.asarray(vertices).astype("<f4").tobytes())
        stream.write(records.tobytes())
