#!/usr/bin/python3
"""Remeshes the thirty procedural cones at five targets with two tools and lists both.

Cones of 20, 24, 32, 48 and 64 sides, heights 3, 6 and 10 over a unit base, base fanned from
its centre or from its first rim vertex, each remeshed with `quorvel remesh IN -o OUT --relative R
--quiet` for R = 0.5, 1, 1.5, 2, 3. Per output: faces, smallest angle, sampled Hausdorff distance
over the diagonal (`quorvel compare`) and folded edges; `same` where both tools wrote the same file.
"""
import argparse
import filecmp
import os
import subprocess
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import sweep  # noqa: E402


def run(tool, src, out, relative):
    subprocess.run([tool, "remesh", src, "-o", out, "--relative", str(relative), "--quiet"],
                   check=True, capture_output=True)
    return sweep.compare(tool, src, out) + (sweep.folded_edges(*sweep.read_off(out)),)


def fmt(r):
    return "%d, %.2f, %.3g %%, %d" % r


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--base", required=True, help="the tool to compare against")
    parser.add_argument("--tool", required=True)
    parser.add_argument("--out", required=True)
    parser.add_argument("--only", default="", help="only names containing this")
    args = parser.parse_args()
    os.makedirs(args.out, exist_ok=True)
    worse = better = same = 0
    for sides in (20, 24, 32, 48, 64):
        for height in (3, 6, 10):
            for cap in ("centre", "first"):
                name = "cone-%d-%d-%s" % (sides, height, cap)
                src = os.path.join(args.out, name + ".off")
                sweep.write_off(src, *sweep.cone(sides, float(height), cap))
                for relative in (0.5, 1, 1.5, 2, 3):
                    row = "%s at %gx" % (name, relative)
                    if args.only not in row:
                        continue
                    a = os.path.join(args.out, "%s-%g-base.off" % (name, relative))
                    b = os.path.join(args.out, "%s-%g-tool.off" % (name, relative))
                    ra, rb = run(args.base, src, a, relative), run(args.tool, src, b, relative)
                    if filecmp.cmp(a, b, shallow=False):
                        same += 1
                        print("%-28s %s  same" % (row, fmt(ra)))
                        continue
                    tag = ""
                    if rb[3] > ra[3] or (rb[3] == ra[3] and (rb[1] < ra[1] - 0.5 or rb[2] > 1.1 * ra[2])):
                        tag = "  WORSE"
                        worse += 1
                    elif rb[3] < ra[3] or rb[1] > ra[1] + 0.5 or rb[2] < ra[2] / 1.1:
                        tag = "  better"
                        better += 1
                    print("%-28s %-28s -> %s%s" % (row, fmt(ra), fmt(rb), tag))
    print("same %d, better %d, worse %d" % (same, better, worse))


if __name__ == "__main__":
    main()
