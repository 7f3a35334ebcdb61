#!/usr/bin/python3
"""Throughput of `quorvel batch remesh` against a shell loop over `quorvel remesh`.

Generates COUNT meshes of about FACES faces (bumpy icospheres and wavy
height-field patches, as binary PLY), then remeshes all of them four ways:

  loop      a shell loop calling `quorvel remesh IN -o OUT` once per file
  local 1   quorvel.batch with one local worker process
  local 2   quorvel.batch with two local worker processes
  dask 2    quorvel.batch on a dask.distributed.LocalCluster of two
            single-threaded worker processes

and prints a Markdown table: wall time, meshes per minute, input faces per
second, with the load average around each run (the machine may be shared).

    bench/batch/run.py --count 200 --faces 20000 [--rounds 2]
"""

import argparse
import math
import os
import shutil
import subprocess
import sys
import tempfile
import time

import numpy as np

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "..", "python"))
sys.path.insert(0, os.path.join(HERE, ".."))

from meshfiles import write_ply  # noqa: E402
from quorvel import batch  # noqa: E402


def icosphere(level):
    t = (1 + 5 ** 0.5) / 2
    vertices = [(-1, t, 0), (1, t, 0), (-1, -t, 0), (1, -t, 0), (0, -1, t), (0, 1, t),
                (0, -1, -t), (0, 1, -t), (t, 0, -1), (t, 0, 1), (-t, 0, -1), (-t, 0, 1)]
    faces = [(0, 11, 5), (0, 5, 1), (0, 1, 7), (0, 7, 10), (0, 10, 11), (1, 5, 9), (5, 11, 4), (11, 10, 2),
             (10, 7, 6), (7, 1, 8), (3, 9, 4), (3, 4, 2), (3, 2, 6), (3, 6, 8), (3, 8, 9), (4, 9, 5),
             (2, 4, 11), (6, 2, 10), (8, 6, 7), (9, 8, 1)]
    for _ in range(level):
        middles, split = {}, []

        def middle(a, b):
            key = (min(a, b), max(a, b))
            if key not in middles:
                vertices.append(tuple((p + q) / 2 for p, q in zip(vertices[a], vertices[b])))
                middles[key] = len(vertices) - 1
            return middles[key]

        for a, b, c in faces:
            ab, bc, ca = middle(a, b), middle(b, c), middle(c, a)
            split += [(a, ab, ca), (b, bc, ab), (c, ca, bc), (ab, bc, ca)]
        faces = split
    v = np.array(vertices, dtype=np.float64)
    return v / np.linalg.norm(v, axis=1)[:, None], np.array(faces, dtype=np.int32)


def patch(n):
    i, j = np.meshgrid(np.arange(n + 1), np.arange(n + 1))
    vertices = np.stack([i.ravel() / n, j.ravel() / n, np.zeros(i.size)], axis=1)
    a = (np.arange(n)[None, :] + (n + 1) * np.arange(n)[:, None]).ravel()
    faces = np.concatenate([np.stack([a, a + 1, a + n + 2], 1), np.stack([a, a + n + 2, a + n + 1], 1)])
    return vertices, faces.astype(np.int32)


def generate(folder, count, faces):
    """Half bumpy spheres, half wavy patches, each shape different, about `faces` faces each."""
    rng = np.random.default_rng(7)
    level = max(1, round(math.log(faces / 20, 4)))
    sphere_v, sphere_f = icosphere(level)
    side = max(2, round(math.sqrt(faces / 2)))
    patch_v, patch_f = patch(side)
    total = 0
    for k in range(count):
        if k % 2 == 0:
            d = rng.normal(size=(4, 3))
            bumps = 1 + 0.15 * np.sin(sphere_v @ d.T * 3).sum(axis=1)
            vertices, faces_k = sphere_v * bumps[:, None] * rng.uniform(0.5, 50), sphere_f
        else:
            f = rng.uniform(1, 4, size=2)
            height = 0.2 * np.sin(f[0] * 6 * patch_v[:, 0]) * np.cos(f[1] * 6 * patch_v[:, 1])
            vertices, faces_k = patch_v + np.stack([0 * height, 0 * height, height], 1), patch_f
        write_ply(os.path.join(folder, f"mesh{k:04d}.ply"), vertices, faces_k)
        total += len(faces_k)
    return total


def load():
    return open("/proc/loadavg").read().split()[0]


def measure(name, action, count, faces, results):
    before = load()
    start = time.monotonic()
    action()
    seconds = time.monotonic() - start
    results.setdefault(name, []).append((seconds, before, load()))
    print(f"{name}: {seconds:.1f} s (load {before})", file=sys.stderr)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--count", type=int, default=200)
    parser.add_argument("--faces", type=int, default=20000)
    parser.add_argument("--rounds", type=int, default=1, help="run every way this many times, interleaved")
    parser.add_argument("--work", help="scratch folder (default: a temporary one, removed)")
    parser.add_argument("--skip", default="", help="comma-separated runs to leave out: loop,local1,local2,dask2")
    args = parser.parse_args()
    tool = batch.find_tool()
    work = args.work or tempfile.mkdtemp(prefix="quorvel-batch-bench-")
    skip = set(filter(None, args.skip.split(",")))
    try:
        source = os.path.join(work, "in")
        os.makedirs(source, exist_ok=True)
        faces = generate(source, args.count, args.faces)
        print(f"{args.count} meshes, {faces} faces in all, tool {tool}", file=sys.stderr)
        results = {}
        for round_number in range(args.rounds):
            # Rounds interleave the four ways, so that a change in the load
            # of a shared machine does not favour one of them.
            out = os.path.join(work, f"out{round_number}")
            if "loop" not in skip:
                os.makedirs(os.path.join(out, "loop"))
                script = f'for f in "{source}"/*.ply; do "{tool}" remesh "$f" -o "{out}/loop/$(basename "$f")" ' \
                         f'--quiet > /dev/null || echo "failed: $f"; done'
                measure("shell loop, `quorvel remesh` per file",
                        lambda: subprocess.run(["bash", "-c", script], check=True), args.count, faces, results)
            for jobs in (1, 2):
                if f"local{jobs}" not in skip:
                    target = os.path.join(out, f"local{jobs}")
                    measure(f"`quorvel batch`, {jobs} local worker{'s' if jobs > 1 else ''}",
                            lambda: check(batch.remesh([source], target, jobs=jobs, progress=False)),
                            args.count, faces, results)
            if "dask2" not in skip:
                from distributed import Client, LocalCluster
                with LocalCluster(n_workers=2, threads_per_worker=1, processes=True, dashboard_address=None,
                                  silence_logs=50) as cluster, Client(cluster) as client:
                    target = os.path.join(out, "dask2")
                    measure("`quorvel batch`, Dask LocalCluster, 2 workers",
                            lambda: check(batch.remesh([source], target, client=client, progress=False)),
                            args.count, faces, results)
            shutil.rmtree(out, ignore_errors=True)
        print(f"\n{args.count} meshes of about {faces // args.count} faces ({faces} in all), {os.cpu_count()} cores; "
              f"fastest of {args.rounds} interleaved round(s); load average (1 min) before and after that run.\n")
        print("| run | wall time | meshes / min | faces / s | load before / after |")
        print("|---|---:|---:|---:|---:|")
        for name, runs in results.items():
            seconds, before, after = min(runs)
            print(f"| {name} | {seconds:.1f} s | {args.count / seconds * 60:.1f} | {faces / seconds:,.0f} "
                  f"| {before} / {after} |")
    finally:
        if not args.work:
            shutil.rmtree(work, ignore_errors=True)


def check(rows):
    failed = [row for row in rows if row["status"] != "ok"]
    if failed:
        raise SystemExit(f"{len(failed)} files failed, first: {failed[0]['input']}: {failed[0]['error']}")


if __name__ == "__main__":
    main()
