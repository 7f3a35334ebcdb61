#!/usr/bin/python3
"""Whole-process time of `quorvel remesh` beside the remeshing it does.

Generates bumpy latitude-longitude spheres of exactly FACES faces each (binary
PLY, with their vertices jittered so that no two faces are alike), runs
`quorvel remesh IN -o OUT.ply --json J --quiet` on each REPEAT times and prints
a Markdown table:

  whole process   wall time from fork to exit of the tool, fastest run
  remeshing       the remesh alone, as the tool reports it (`wall_time` of
                  its JSON), in that same run
  ratio           whole process over remeshing
  processor time  user and system time of that run, all threads: steadier
                  than wall time when other work shares the machine
  start-up        `quorvel --help`: loading the program and its libraries
  CGAL process    wall time of CGAL's whole remeshing process on the same file
                  (bench/peers/process_peer.cpp: read, isotropic remeshing to
                  the mean edge length with projection, write binary PLY),
                  fastest run; its runs alternate with the tool's so that both
                  see the same load. Left out when the program is not built
                  (BUILD_DIR=build-peers bench/peers/run.sh builds it).

    bench/process/run.py [--repeat 20] [--tool build/release/tools/quorvel]
                         [--peer build-peers/bench/peers/bench_peers_process] [FACES ...]

FACES defaults to 50 1000 10000 50000.
"""

import argparse
import json
import math
import os
import shutil
import subprocess
import sys
import tempfile
import time

import numpy as np

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.normpath(os.path.join(HERE, "..", ".."))
sys.path.insert(0, os.path.join(HERE, ".."))

from meshfiles import write_ply  # noqa: E402


def bumpy_sphere(faces, seed=11):
    """A latitude-longitude sphere of 2 * columns * (bands - 1) faces, close to `faces`."""
    bands = max(3, round(math.sqrt(faces / 4)) + 1)
    columns = max(3, round(faces / (2 * (bands - 1))))
    theta = np.pi * np.arange(1, bands) / bands
    phi = 2 * np.pi * np.arange(columns) / columns
    t, p = np.meshgrid(theta, phi, indexing="ij")
    unit = np.stack([np.sin(t) * np.cos(p), np.sin(t) * np.sin(p), np.cos(t)], axis=-1).reshape(-1, 3)
    unit = np.vstack([[0, 0, 1], unit, [0, 0, -1]])
    rng = np.random.default_rng(seed)
    directions = rng.normal(size=(4, 3))
    radius = 1 + 0.1 * np.sin(3 * unit @ directions.T).sum(axis=1)
    radius += rng.uniform(-0.2, 0.2, size=len(unit)) * (np.pi / bands)
    vertices = unit * radius[:, None]
    ring = lambda i: 1 + i * columns  # noqa: E731  first vertex of latitude ring i
    out = []
    south = len(unit) - 1
    for j in range(columns):
        k = (j + 1) % columns
        out.append((0, ring(0) + j, ring(0) + k))
        for i in range(bands - 2):
            a, b, c, d = ring(i) + j, ring(i) + k, ring(i + 1) + j, ring(i + 1) + k
            out += [(a, c, d), (a, d, b)]
        out.append((south, ring(bands - 2) + k, ring(bands - 2) + j))
    return vertices, np.array(out, dtype=np.int32)


def timed(command):
    """Wall time and processor time (user + system, all threads) of one run of `command`."""
    start = time.perf_counter()
    child = subprocess.Popen(command, stdout=subprocess.DEVNULL)
    _, status, usage = os.wait4(child.pid, 0)
    wall = time.perf_counter() - start
    child.returncode = os.waitstatus_to_exitcode(status)
    if child.returncode != 0:
        raise SystemExit(f"{' '.join(command)} failed with status {child.returncode}")
    return wall, usage.ru_utime + usage.ru_stime


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("faces", nargs="*", type=int, default=[50, 1000, 10000, 50000])
    parser.add_argument("--repeat", type=int, default=20, help="runs per size; the fastest counts")
    parser.add_argument("--tool", default=os.path.join(ROOT, "build", "release", "tools", "quorvel"))
    parser.add_argument("--method", default="preserve", choices=["preserve", "exact"])
    parser.add_argument("--peer", default=os.path.join(ROOT, "build-peers", "bench", "peers", "bench_peers_process"),
                        help="CGAL's whole process; its column is left out when the program is missing")
    args = parser.parse_args()
    peer = args.peer if os.access(args.peer, os.X_OK) else None
    work = tempfile.mkdtemp(prefix="quorvel-process-bench-")
    try:
        startup = min(timed([args.tool, "--help"]) for _ in range(args.repeat))[0]
        rows = []
        for requested in args.faces:
            vertices, faces = bumpy_sphere(requested)
            source, target, summary = (os.path.join(work, name) for name in ("in.ply", "out.ply", "run.json"))
            write_ply(source, vertices, faces)
            runs, peers = [], []
            for _ in range(args.repeat):
                seconds, processor = timed([args.tool, "remesh", source, "-o", target, "--method", args.method,
                                            "--json", summary, "--quiet"])
                with open(summary) as stream:
                    runs.append((seconds, json.load(stream)["wall_time"], processor))
                if peer:
                    peers.append(timed([peer, source, os.path.join(work, "peer.ply")])[0])
            whole, remesh, processor = min(runs)
            rows.append((len(faces), whole, remesh, processor, min(peers) if peers else None))
            print(f"{len(faces)} faces: {whole * 1e3:.1f} ms, remesh {remesh * 1e3:.1f} ms"
                  + (f", CGAL process {min(peers) * 1e3:.1f} ms" if peers else ""), file=sys.stderr)
        print(f"\n`quorvel remesh --method {args.method}`, fastest of {args.repeat} runs; "
              f"{os.cpu_count()} cores; start-up (`quorvel --help`) {startup * 1e3:.1f} ms; "
              f"load average {open('/proc/loadavg').read().split()[0]}.\n")
        print("| faces | whole process | remeshing alone | ratio | processor time |" + (" CGAL process |" if peer else ""))
        print("|---:|---:|---:|---:|---:|" + ("---:|" if peer else ""))
        for faces, whole, remesh, processor, cgal in rows:
            print(f"| {faces:,} | {whole * 1e3:.1f} ms | {remesh * 1e3:.1f} ms | {whole / remesh:.2f} "
                  f"| {processor * 1e3:.0f} ms |" + (f" {cgal * 1e3:.1f} ms |" if peer else ""))
    finally:
        shutil.rmtree(work, ignore_errors=True)


if __name__ == "__main__":
    main()
