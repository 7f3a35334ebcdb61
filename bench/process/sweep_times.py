#!/usr/bin/python3
"""Whole-process time of `quorvel remesh` beside CGAL's on every input of the sweep.

Runs, for every row of bench/peers/sweep.py whose input file is in INPUTS (the
folder `sweep.py --out` fills: the row's name made safe, `.off`; an input
missing there is made by the sweep's own generator), our whole
process, `quorvel remesh IN.off -o OUT.off --quiet` (`--relative R` for rows
named "at R x"), and CGAL's, `bench_peers_process IN.off OUT.off [R]`,
alternately, REPEAT times each (fewer for runs over a second), and prints a
Markdown table in the sweep's order:

  ours, CGAL      wall time from fork to exit, the fastest run
  ratio           ours over CGAL's: over 1 is slower
  processor       user and system time of those fastest runs, all threads:
                  steadier than wall time when other work shares the machine

then the rows where ours is slower in wall time, slowest ratio first, and the
load average before and after. The row names and their targets come from
sweep.py's own list, so the inputs are the ones the sweep measures; files in
INPUTS that no row names are left out.

    bench/process/sweep_times.py --inputs DIR [--tool build/release/tools/quorvel]
        [--peer build-peers/bench/peers/bench_peers_process] [--repeat 3] [--only TEXT]
        [--sort]
"""

import argparse
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.normpath(os.path.join(HERE, "..", ".."))
sys.path.insert(0, os.path.join(HERE, "..", "peers"))

import sweep  # noqa: E402

# A process over this many seconds is timed at most twice: at that length the
# start's and the machine's jitter is a small part of it.
LONG_SECONDS = 1.0


def timed(command):
    """Wall time and processor time (user + system, all threads) of one run, or None if it failed."""
    start = time.perf_counter()
    child = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    _, status, usage = os.wait4(child.pid, 0)
    wall = time.perf_counter() - start
    if os.waitstatus_to_exitcode(status) != 0:
        return None
    return wall, usage.ru_utime + usage.ru_stime


def off_faces(path):
    """The face count an OFF file's header declares."""
    with open(path) as stream:
        words = []
        for line in stream:
            words += line.split("#")[0].split()
            if len(words) >= 3:
                break
    return int(words[2]) if words[0] == "OFF" else int(words[1])


def load():
    return open("/proc/loadavg").read().split()[0]


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--inputs", required=True, help="the folder of the sweep's input files")
    parser.add_argument("--tool", default=os.path.join(ROOT, "build", "release", "tools", "quorvel"))
    parser.add_argument("--peer", default=os.path.join(ROOT, "build-peers", "bench", "peers", "bench_peers_process"))
    parser.add_argument("--repeat", type=int, default=3, help="runs of each process; the fastest counts")
    parser.add_argument("--only", default="", help="only the rows whose name contains TEXT")
    parser.add_argument("--sort", action="store_true", help="the table slowest ratio first")
    args = parser.parse_args()
    work = tempfile.mkdtemp(prefix="quorvel-sweep-times-")
    rows = []
    before = load()
    try:
        for name, build, *rest in sweep.inputs():
            if args.only not in name:
                continue
            source = os.path.join(args.inputs, re.sub(r"[^A-Za-z0-9]+", "-", name).strip("-") + ".off")
            if not os.path.exists(source):
                # Not in the folder (yet): made here by the sweep's own generator, so the same file.
                vertices, faces = build()
                source = os.path.join(work, os.path.basename(source))
                sweep.write_off(source, vertices, faces)
            relative = rest[0] if rest else 1.0
            scale = ["%g" % relative] if relative != 1.0 else []
            ours_command = [args.tool, "remesh", source, "-o", os.path.join(work, "ours.off"), "--quiet"]
            ours_command += ["--relative"] + scale if scale else []
            cgal_command = [args.peer, source, os.path.join(work, "cgal.off")] + scale
            ours, cgal = [], []
            for run in range(args.repeat):
                if run >= 2 and ours and cgal and min(ours)[0] > LONG_SECONDS and min(cgal)[0] > LONG_SECONDS:
                    break
                for command, times in ((ours_command, ours), (cgal_command, cgal)):
                    result = timed(command)
                    if result:
                        times.append(result)
            row = (name, off_faces(source), min(ours) if ours else None, min(cgal) if cgal else None)
            rows.append(row)
            print("%s: ours %s, CGAL %s" % (name, "%.1f ms" % (row[2][0] * 1e3) if row[2] else "failed",
                                            "%.1f ms" % (row[3][0] * 1e3) if row[3] else "failed"),
                  file=sys.stderr, flush=True)
    finally:
        shutil.rmtree(work, ignore_errors=True)

    def ratio(row):
        return row[2][0] / row[3][0] if row[2] and row[3] else 0.0

    def line(row):
        name, faces, ours, cgal = row
        cells = ["%.1f ms" % (t[0] * 1e3) if t else "failed" for t in (ours, cgal)]
        processor = " / ".join("%.1f" % (t[1] * 1e3) if t else "-" for t in (ours, cgal))
        return "| %s | %s | %s | %s | %s | %s ms |" % (name, "{:,}".format(faces), cells[0], cells[1],
                                                       "%.2f" % ratio(row) if ours and cgal else "",
                                                       processor)

    print("\n`quorvel remesh IN.off -o OUT.off --quiet` beside `bench_peers_process IN.off OUT.off`, fastest of "
          "%d runs each, alternated; %d cores; load average %s before, %s after.\n" %
          (args.repeat, os.cpu_count(), before, load()))
    header = "| input | faces | ours | CGAL | ratio | processor, ours / CGAL |\n|---|---:|---:|---:|---:|---:|"
    print(header)
    for row in sorted(rows, key=ratio, reverse=True) if args.sort else rows:
        print(line(row))
    slower = sorted((row for row in rows if ratio(row) > 1), key=ratio, reverse=True)
    print("\n%d of %d inputs slower than CGAL's process in wall time%s" %
          (len(slower), len(rows), ":\n" if slower else "."))
    if slower:
        print(header)
        for row in slower:
            print(line(row))


if __name__ == "__main__":
    main()
