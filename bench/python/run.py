#!/usr/bin/python3
"""What the Python package costs over C++: the same shape-preserving remesh of
the scan-like bumpy sphere (bench/peers) from numpy arrays, conversion in and
out included, against the C++ calls timed by bench_python_remesh.

    /usr/bin/python3 bench/python/run.py [--build build/release] [--faces 50000] [--repeat 5]

Builds nothing: build the targets quorvel_python and bench_python_remesh first.
OMP_NUM_THREADS=1 makes the processor times count one thread's work.
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

    program = os.path.join(build, "python", "bench_python_remesh")
    best = {key: float("inf") for key in ("library", "pipeline", "library_cpu", "pipeline_cpu", "python", "python_cpu")}
    with tempfile.TemporaryDirectory() as folder:
        path = os.path.join(folder, "bumpy-sphere.ply")
        subprocess.run([program, "write", path, str(args.faces)], check=True)
        source = quorvel.load(path)
        vertices, faces = source.vertices.copy(), source.faces.copy()
        # Rounds alternate the C++ and the Python runs, so that both meet the
        # same load on a shared machine; each figure is its fastest round.
        for _ in range(args.repeat):
            output = subprocess.run([program, "time", path], check=True, capture_output=True, text=True).stdout
            cpp = {key: float(value) for key, value in (line.split() for line in output.splitlines())}
            for key in ("library", "pipeline", "library_cpu", "pipeline_cpu"):
                best[key] = min(best[key], cpp[key])
            start, start_cpu = time.perf_counter(), time.process_time()
            mesh = quorvel.Mesh(vertices, faces)
            mesh.remesh()
            result = (mesh.vertices, mesh.faces)
            best["python_cpu"] = min(best["python_cpu"], time.process_time() - start_cpu)
            best["python"] = min(best["python"], time.perf_counter() - start)
            faces_out = len(result[1])
    cpp.update(best)
    best, best_cpu = best["python"], best["python_cpu"]

    print(f"input: bumpy sphere, {int(cpp['faces_in']):,} faces; output {faces_out:,} faces "
          f"(C++ pipeline: {int(cpp['faces_out']):,}); fastest of {args.repeat}, wall / processor seconds")
    rows = [("C++ library call (arrays in, RemeshPreservingShape, arrays out)", cpp["library"], cpp["library_cpu"]),
            ("C++ with the preparation of quorvel remesh", cpp["pipeline"], cpp["pipeline_cpu"]),
            ("Python Mesh(vertices, faces).remesh() + vertices, faces", best, best_cpu)]
    for name, wall, cpu in rows:
        print(f"  {name:<66} {wall:7.3f} {cpu:7.3f}")
    print(f"  Python / C++ library call: {best / cpp['library']:.3f}x wall, {best_cpu / cpp['library_cpu']:.3f}x processor")
    print(f"  Python / C++ preparation + call: {best / cpp['pipeline']:.3f}x wall, "
          f"{best_cpu / cpp['pipeline_cpu']:.3f}x processor")


if __name__ == "__main__":
    main()
