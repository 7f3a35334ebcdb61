#!/usr/bin/python3
"""What the Python package costs over C++: the same shape-preserving remesh of
the scan-like bumpy sphere (bench/peers) from numpy arrays, conversion in and
out included, against the C++ calls timed by bench_python_remesh.

    /usr/bin/python3 bench/python/run.py [--build build/release] [--faces 50000] [--repeat 5]

Builds nothing: build the targets quorvel_python and bench_python_remesh first.
"""

import argparse
import os
import subprocess
import sys
import tempfile
import time


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", default=os.path.join(os.path.dirname(__file__), "..", "..", "build", "release"))
    parser.add_argument("--faces", type=int, default=50000)
    parser.add_argument("--repeat", type=int, default=5)
    args = parser.parse_args()
    build = os.path.abspath(args.build)
    sys.path.insert(0, os.path.join(build, "python"))
    import quorvel

    with tempfile.TemporaryDirectory() as folder:
        path = os.path.join(folder, "bumpy-sphere.ply")
        output = subprocess.run([os.path.join(build, "python", "bench_python_remesh"), path, str(args.faces),
                                 str(args.repeat)], check=True, capture_output=True, text=True).stdout
        cpp = {key: float(value) for key, value in (line.split() for line in output.splitlines())}
        source = quorvel.load(path)
        vertices, faces = source.vertices.copy(), source.faces.copy()

    best, faces_out = float("inf"), 0
    for _ in range(args.repeat):
        start = time.perf_counter()
        mesh = quorvel.Mesh(vertices, faces)
        mesh.remesh()
        result = (mesh.vertices, mesh.faces)
        best = min(best, time.perf_counter() - start)
        faces_out = len(result[1])

    print(f"input: bumpy sphere, {int(cpp['faces_in']):,} faces; output {faces_out:,} faces "
          f"(C++ pipeline: {int(cpp['faces_out']):,}); fastest of {args.repeat}")
    print(f"  C++ library call (arrays in, RemeshPreservingShape, arrays out)  {cpp['library']:.3f} s")
    print(f"  C++ with the preparation of quorvel remesh                       {cpp['pipeline']:.3f} s")
    print(f"  Python Mesh(vertices, faces).remesh() + vertices, faces         {best:.3f} s")
    print(f"  Python / C++ library call: {best / cpp['library']:.3f}x;  Python / C++ pipeline: "
          f"{best / cpp['pipeline']:.3f}x")


if __name__ == "__main__":
    main()
