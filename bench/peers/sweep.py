#!/usr/bin/python3
"""Sweep of small procedural inputs of the kinds real mesh collections hold.

Writes each input as an OFF file to a folder, remeshes it with `quorvel remesh`
(the shape-preserving remesh, target the input's mean edge length) and with
CGAL's whole process (`bench_peers_process`, the same target, 5 iterations,
projection), measures both results against the input with `quorvel compare`
and prints one table row per input: faces, smallest angle, sampled Hausdorff
distance over the input's diagonal and folded edges (interior edges whose two
faces' normals lie more than 120 degrees apart) of each, and a flag where ours
is worse: smallest angle under min(30, CGAL's), distance over 1.1 times
CGAL's, or more folded edges than the input had; "failed" where the tool
exits with an error, "slow" where its whole process takes over 5 seconds.

    bench/peers/sweep.py [--build DIR] [--peers DIR] [--out DIR] [--only TEXT]

--build is the build holding tools/quorvel (default build/release), --peers
the one holding bench/peers/bench_peers_process (default build-peers; build it
with `bench/peers/run.sh` and `cmake --build build-peers --target
bench_peers_process`), --out where the meshes go (default a new temporary
folder, kept), --only runs the inputs whose name contains TEXT. Inputs whose
name ends in "at R x" are remeshed to R times their mean edge length by both
(the peer takes R as its third argument). Uses numpy and scipy from Debian
(/usr/bin/python3).
"""
import argparse
import math
import os
import re
import subprocess
import sys
import tempfile
import time

import numpy as np
from scipy.spatial import ConvexHull, Delaunay

# ---------------------------------------------------------------- geometry


def tri_normals(v, f):
    return np.cross(v[f[:, 1]] - v[f[:, 0]], v[f[:, 2]] - v[f[:, 0]])


def folded_edges(v, f):
    """Interior edges (two faces) whose faces' normals lie over 120 deg apart."""
    n = tri_normals(v, f)
    half = {}
    count = 0
    for t, (a, b, c) in enumerate(f):
        for x, y in ((a, b), (b, c), (c, a)):
            key = (min(x, y), max(x, y))
            half.setdefault(key, []).append(t)
    for faces in half.values():
        if len(faces) != 2:
            continue
        m, k = n[faces[0]], n[faces[1]]
        d = math.sqrt(float(m @ m) * float(k @ k))
        if d > 0 and float(m @ k) < -0.5 * d:
            count += 1
    return count


def write_off(path, v, f):
    with open(path, "w") as out:
        out.write("OFF\n%d %d 0\n" % (len(v), len(f)))
        for p in v:
            out.write("%r %r %r\n" % (float(p[0]), float(p[1]), float(p[2])))
        for t in f:
            out.write("3 %d %d %d\n" % (t[0], t[1], t[2]))


def read_off(path):
    with open(path) as src:
        words = src.read().split()
    assert words[0] == "OFF"
    nv, nf = int(words[1]), int(words[2])
    pos = 4
    v = np.array(words[pos:pos + 3 * nv], float).reshape(nv, 3)
    pos += 3 * nv
    f = []
    for _ in range(nf):
        k = int(words[pos])
        f.append([int(w) for w in words[pos + 1:pos + 1 + k]])
        pos += 1 + k
    return v, np.array(f, int).reshape(-1, 3)


def merge(*meshes):
    vs, fs, base = [], [], 0
    for v, f in meshes:
        vs.append(np.asarray(v, float))
        fs.append(np.asarray(f, int) + base)
        base += len(v)
    return np.vstack(vs), np.vstack(fs)


def orient_outwards(v, f):
    """Turns the faces of a closed, star-shaped hull away from its centre."""
    c = v.mean(axis=0)
    n = tri_normals(v, f)
    out = ((v[f[:, 0]] - c) * n).sum(axis=1) < 0
    f = f.copy()
    f[out] = f[out][:, ::-1]
    return f


def ear_clip(poly):
    """Ear clipping of a simple counter-clockwise polygon (2D), as CAD
    tessellators deliver caps: long thin triangles, no inner vertices."""
    idx = list(range(len(poly)))
    tris = []

    def cross(o, a, b):
        return (a[0] - o[0]) * (b[1] - o[1]) - (a[1] - o[1]) * (b[0] - o[0])

    guard = 0
    while len(idx) > 3 and guard < 10000:
        guard += 1
        for k in range(len(idx)):
            i, j, l = idx[k - 1], idx[k], idx[(k + 1) % len(idx)]
            a, b, c = poly[i], poly[j], poly[l]
            if cross(a, b, c) <= 1e-12:
                continue
            inside = False
            for m in idx:
                if m in (i, j, l):
                    continue
                p = poly[m]
                if cross(a, b, p) >= 0 and cross(b, c, p) >= 0 and cross(c, a, p) >= 0:
                    inside = True
                    break
            if not inside:
                tris.append((i, j, l))
                idx.pop(k)
                break
    tris.append(tuple(idx))
    return tris


def prism(outline, height, cap="first"):
    """An outline (counter-clockwise, 2D) extruded `height` tall, CAD-style:
    walls one quad tall, caps fanned from the first point ("first"), from an
    added centre ("centre") or ear-clipped ("ears")."""
    outline = np.asarray(outline, float)
    n = len(outline)
    v = [(x, y, 0.0) for x, y in outline] + [(x, y, height) for x, y in outline]
    f = []
    for i in range(n):
        j = (i + 1) % n
        f += [(i, j, n + j), (i, n + j, n + i)]
    if cap == "first":
        for i in range(1, n - 1):
            f += [(0, i + 1, i), (n, n + i, n + i + 1)]
    elif cap == "centre":
        c = outline.mean(axis=0)
        v += [(c[0], c[1], 0.0), (c[0], c[1], height)]
        for i in range(n):
            j = (i + 1) % n
            f += [(2 * n, j, i), (2 * n + 1, n + i, n + j)]
    else:
        for a, b, c in ear_clip([tuple(p) for p in outline]):
            f += [(a, c, b), (n + a, n + b, n + c)]
    return np.array(v, float), np.array(f, int)


def ring_strip(a_idx, b_idx, v, centre):
    """Triangles joining two closed loops around the same axis (z), merged by
    angle, as CAD tessellators join an outline to a hole."""
    def ang(i):
        p = v[i] - centre
        return math.atan2(p[1], p[0]) % (2 * math.pi)

    A = sorted(a_idx, key=ang)
    B = sorted(b_idx, key=ang)
    tris = []
    i = j = 0
    na, nb = len(A), len(B)
    while i < na or j < nb:
        an = ang(A[(i + 1) % na]) + (2 * math.pi if i + 1 >= na else 0)
        bn = ang(B[(j + 1) % nb]) + (2 * math.pi if j + 1 >= nb else 0)
        if j >= nb or (i < na and an <= bn):
            tris.append((A[i % na], A[(i + 1) % na], B[j % nb]))
            i += 1
        else:
            tris.append((A[i % na], B[(j + 1) % nb], B[j % nb]))
            j += 1
    return tris


def icosphere(levels, radius=1.0):
    t = (1 + 5 ** 0.5) / 2
    v = [(-1, t, 0), (1, t, 0), (-1, -t, 0), (1, -t, 0), (0, -1, t), (0, 1, t), (0, -1, -t), (0, 1, -t), (t, 0, -1),
         (t, 0, 1), (-t, 0, -1), (-t, 0, 1)]
    v = [np.array(p, float) / np.linalg.norm(p) for p in v]
    f = [(0, 11, 5), (0, 5, 1), (0, 1, 7), (0, 7, 10), (0, 10, 11), (1, 5, 9), (5, 11, 4), (11, 10, 2), (10, 7, 6),
         (7, 1, 8), (3, 9, 4), (3, 4, 2), (3, 2, 6), (3, 6, 8), (3, 8, 9), (4, 9, 5), (2, 4, 11), (6, 2, 10),
         (8, 6, 7), (9, 8, 1)]
    for _ in range(levels):
        mid = {}

        def m(a, b):
            key = (min(a, b), max(a, b))
            if key not in mid:
                p = v[a] + v[b]
                v.append(p / np.linalg.norm(p))
                mid[key] = len(v) - 1
            return mid[key]

        g = []
        for a, b, c in f:
            ab, bc, ca = m(a, b), m(b, c), m(c, a)
            g += [(a, ab, ca), (b, bc, ab), (c, ca, bc), (ab, bc, ca)]
        f = g
    return np.array(v) * radius, np.array(f, int)


def torus(n, m, major=2.0, minor=0.5):
    v, f = [], []
    for i in range(n):
        for j in range(m):
            u, w = 2 * math.pi * i / n, 2 * math.pi * j / m
            v.append(((major + minor * math.cos(w)) * math.cos(u), (major + minor * math.cos(w)) * math.sin(u),
                      minor * math.sin(w)))
    for i in range(n):
        for j in range(m):
            a, b = i * m + j, ((i + 1) % n) * m + j
            c, d = ((i + 1) % n) * m + (j + 1) % m, i * m + (j + 1) % m
            f += [(a, b, c), (a, c, d)]
    return np.array(v, float), np.array(f, int)


def revolve(profile, sectors):
    """A closed solid of revolution about z from a profile of (r, z) points
    running from the bottom pole (r = 0) to the top pole, lat-long style:
    quads split along one diagonal, fans at the poles."""
    rings = profile[1:-1]
    v = [(0.0, 0.0, profile[0][1])]
    for r, z in rings:
        for s in range(sectors):
            a = 2 * math.pi * s / sectors
            v.append((r * math.cos(a), r * math.sin(a), z))
    v.append((0.0, 0.0, profile[-1][1]))
    top = len(v) - 1
    f = []
    for s in range(sectors):
        f.append((0, 1 + (s + 1) % sectors, 1 + s))
    for k in range(len(rings) - 1):
        for s in range(sectors):
            a, b = 1 + k * sectors + s, 1 + k * sectors + (s + 1) % sectors
            c, d = b + sectors, a + sectors
            f += [(a, b, c), (a, c, d)]
    last = 1 + (len(rings) - 1) * sectors
    for s in range(sectors):
        f.append((top, last + s, last + (s + 1) % sectors))
    return np.array(v, float), np.array(f, int)


def grid(nx, ny, x0=-1, x1=1, y0=-1, y1=1, height=lambda x, y: 0.0):
    v, f = [], []
    for j in range(ny + 1):
        for i in range(nx + 1):
            x, y = x0 + (x1 - x0) * i / nx, y0 + (y1 - y0) * j / ny
            v.append((x, y, height(x, y)))
    for j in range(ny):
        for i in range(nx):
            a = j * (nx + 1) + i
            f += [(a, a + 1, a + nx + 2), (a, a + nx + 2, a + nx + 1)]
    return np.array(v, float), np.array(f, int)


def compact(v, f):
    f = np.asarray(f, int)
    keep = (f[:, 0] != f[:, 1]) & (f[:, 1] != f[:, 2]) & (f[:, 2] != f[:, 0])
    f = f[keep]
    key = np.sort(f, axis=1)
    _, first = np.unique(key, axis=0, return_index=True)
    f = f[np.sort(first)]
    used = np.unique(f)
    remap = -np.ones(len(v), int)
    remap[used] = np.arange(len(used))
    return np.asarray(v)[used], remap[f]


def cluster(v, f, cell, seed):
    """Vertex clustering on a grid of the given cell size (shifted at random),
    as quick decimators deliver: each cell's vertices become their mean."""
    rng = np.random.default_rng(seed)
    shift = rng.uniform(0, cell, 3)
    keys = np.floor((v + shift) / cell).astype(np.int64)
    _, inverse = np.unique(keys, axis=0, return_inverse=True)
    inverse = inverse.reshape(-1)
    nv = inverse.max() + 1
    sums = np.zeros((nv, 3))
    np.add.at(sums, inverse, v)
    counts = np.bincount(inverse, minlength=nv)[:, None]
    return compact(sums / counts, inverse[f])


def bumpy(v, amount, freq, seed):
    rng = np.random.default_rng(seed)
    dirs = rng.normal(size=(6, 3))
    dirs /= np.linalg.norm(dirs, axis=1)[:, None]
    r = 1 + amount * sum(np.sin(freq * (v @ d) + k) for k, d in enumerate(dirs)) / 6
    return v * r[:, None]


# ---------------------------------------------------------------- the inputs


def circle(n, r=1.0, phase=0.0):
    return [(r * math.cos(phase + 2 * math.pi * i / n), r * math.sin(phase + 2 * math.pi * i / n)) for i in range(n)]


def cube():
    return prism([(0, 0), (1, 0), (1, 1), (0, 1)], 1)


def l_bracket():
    return prism([(0, 0), (4, 0), (4, 0.6), (0.6, 0.6), (0.6, 3), (0, 3)], 2.5, "ears")


def hex_nut(inner_sides=24):
    outer = circle(6, 1.0, math.pi / 6)
    inner = circle(inner_sides, 0.5)
    v = [(x, y, z) for z in (0.0, 0.8) for x, y in outer] + [(x, y, z) for z in (0.0, 0.8) for x, y in inner]
    v = np.array(v, float)
    o0, o1 = list(range(0, 6)), list(range(6, 12))
    i0 = list(range(12, 12 + inner_sides))
    i1 = list(range(12 + inner_sides, 12 + 2 * inner_sides))
    f = []
    for k in range(6):
        a, b = o0[k], o0[(k + 1) % 6]
        f += [(a, b, b + 6), (a, b + 6, a + 6)]
    for k in range(inner_sides):
        a, b = i0[k], i0[(k + 1) % inner_sides]
        f += [(a, b + inner_sides, b), (a, a + inner_sides, b + inner_sides)]
    c = np.zeros(3)
    bottom = ring_strip(o0, i0, v, c)
    top = ring_strip(o1, i1, v, c)
    f += [(a, c_, b) for a, b, c_ in bottom] + top
    return v, np.array(f, int)


def gear(teeth=12, cap="centre"):
    pts = []
    for t in range(teeth):
        a = 2 * math.pi * t / teeth
        da = 2 * math.pi / teeth
        for frac, r in ((0.0, 1.0), (0.2, 1.2), (0.5, 1.2), (0.7, 1.0)):
            pts.append((r * math.cos(a + frac * da), r * math.sin(a + frac * da)))
    return prism(pts, 0.4, cap)


def cone(sides=16, height=2.0, cap="centre"):
    base = circle(sides)
    v = [(x, y, 0.0) for x, y in base] + [(0.0, 0.0, height)]
    f = [(i, (i + 1) % sides, sides) for i in range(sides)]
    if cap == "centre":
        v.append((0.0, 0.0, 0.0))
        f += [(sides + 1, (i + 1) % sides, i) for i in range(sides)]
    else:
        f += [(0, i + 1, i) for i in range(1, sides - 1)]
    return np.array(v, float), np.array(f, int)


def lat_long_cad(sectors, rings, shape="sphere"):
    if shape == "sphere":
        prof = [(math.sin(math.pi * k / rings), -math.cos(math.pi * k / rings)) for k in range(rings + 1)]
    else:  # a bottle: a cylinder with a shoulder and a neck
        prof = [(0, 0), (1, 0), (1, 2), (0.9, 2.3), (0.4, 2.6), (0.35, 3.2), (0, 3.2)]
    return revolve(prof, sectors)


def thin_plate(n, thickness):
    """A closed plate 4 x 4 x thickness, top and bottom grids of n x n cells,
    a wall one quad tall around it: far thinner than the target."""
    top = grid(n, n, -2, 2, -2, 2, lambda x, y: thickness)
    off = len(top[0])
    v = np.vstack([top[0], top[0] - np.array([0, 0, thickness])])
    f = [tuple(t) for t in top[1]] + [tuple(t[::-1] + off) for t in top[1]]
    edges = {}
    for a, b, c in top[1]:
        for x, y in ((a, b), (b, c), (c, a)):
            edges[(x, y)] = True
    for a, b in list(edges):
        if (b, a) not in edges:
            f += [(b, a, a + off), (b, a + off, b + off)]
    return v, np.array(f, int)


def two_sheets(n, gap):
    a = grid(n, n)
    b = grid(n, n, height=lambda x, y: gap)
    return merge(a, (b[0], b[1][:, ::-1]))


def spiky_sphere(levels, spikes, length, seed):
    v, f = icosphere(levels)
    rng = np.random.default_rng(seed)
    for i in rng.choice(len(v), spikes, replace=False):
        v[i] *= length
    return v, f


def spiked_scan(levels, spikes, seed):
    """A bumpy scan with single-vertex noise spikes: `spikes` vertices, no two
    sharing an edge, pulled out along the normal by 2 to 5 mean edge lengths
    (0 spikes gives the same scan without them)."""
    v, f = icosphere(levels)
    v = bumpy(v, 0.1, 5, seed)
    f = np.asarray(f)
    mean = np.mean(np.linalg.norm(v[f[:, [1, 2, 0]]] - v[f], axis=2))
    neighbours = [[] for _ in range(len(v))]
    for a, b, c in f:
        neighbours[a] += [b, c]
    normals = np.zeros_like(v)
    np.add.at(normals, f, np.cross(v[f[:, 1]] - v[f[:, 0]], v[f[:, 2]] - v[f[:, 0]])[:, None, :])
    normals /= np.linalg.norm(normals, axis=1)[:, None]
    rng = np.random.default_rng(seed)
    taken = np.zeros(len(v), bool)
    count = 0
    for i in rng.permutation(len(v)):
        if count == spikes:
            break
        if taken[i] or any(taken[j] for j in neighbours[i]):
            continue
        taken[i] = True
        v[i] += normals[i] * mean * rng.uniform(2, 5)
        count += 1
    return v, f


def saddle_crease(n):
    return grid(n, n, height=lambda x, y: 1.2 * y * abs(x) + 0.2 * (x * x - y * y))


def holed_shell(levels, holes, seed):
    v, f = icosphere(levels)
    rng = np.random.default_rng(seed)
    centres = rng.choice(len(v), holes, replace=False)
    drop = np.isin(f, centres).any(axis=1)
    return compact(v, f[~drop])


def grooved_plate(n, grooves, depth):
    def h(x, y):
        for k in range(grooves):
            c = -0.8 + 1.6 * k / max(1, grooves - 1)
            if abs(x - c) < 0.04:
                return -depth
        return 0.0

    return grid(n, n, height=h)


def hull(points):
    h = ConvexHull(points)
    return compact(points, orient_outwards(points, h.simplices))


def scattered_sphere(points, seed):
    """The hull of points scattered at random on a slightly rough sphere: a
    Delaunay-like surface of very uneven faces."""
    rng = np.random.default_rng(seed)
    p = rng.normal(size=(points, 3))
    p /= np.linalg.norm(p, axis=1)[:, None]
    return hull(p * (1 + 0.01 * rng.uniform(size=(points, 1))))


def mixed_sphere(coarse, dense, seed):
    """A sphere of scattered points: a dense cap glued to a coarse rest."""
    rng = np.random.default_rng(seed)
    p = rng.normal(size=(coarse, 3))
    p /= np.linalg.norm(p, axis=1)[:, None]
    q = rng.normal(size=(dense * 4, 3))
    q /= np.linalg.norm(q, axis=1)[:, None]
    q = q[q[:, 2] > 0.7][:dense]
    p = p[p[:, 2] <= 0.7]
    return hull(np.vstack([p, q]))


def mixed_plate(coarse, dense, seed):
    rng = np.random.default_rng(seed)
    p = rng.uniform(-1, 1, size=(coarse, 2))
    p = p[(np.abs(p) > 0.3).any(axis=1)]
    q = rng.uniform(-0.3, 0.3, size=(dense, 2))
    corners = np.array([(-1, -1), (1, -1), (1, 1), (-1, 1)], float)
    pts = np.vstack([corners, p, q])
    d = Delaunay(pts)
    v = np.column_stack([pts, 0.2 * np.exp(-4 * (pts ** 2).sum(axis=1))])
    return v, d.simplices


def degenerate_sphere(levels, needles, seed):
    v, f = icosphere(levels)
    rng = np.random.default_rng(seed)
    for t in rng.choice(len(f), needles, replace=False):
        a, b, c = f[t]
        v[b] = v[a] + 1e-7 * (v[b] - v[a])  # a needle: one side nearly zero
    return v, f


def soup(v, f):
    f = np.asarray(f)
    return np.asarray(v)[f.reshape(-1)], np.arange(3 * len(f)).reshape(-1, 3)


# ---------------------------------------------------------------- larger inputs (2k to 30k faces)


def drop_faces(v, f, drop):
    return compact(v, np.asarray(f)[~drop])


def cut_scan(levels, planes, holes, seed):
    """A scan of a closed organic shape cut by planes (each open rim at the
    density of the surface it crosses: the bumps make it uneven) and with a
    few holes where the scanner saw nothing."""
    v, f = icosphere(levels)
    v = bumpy(v, 0.15, 4, seed)
    centroid = v[f].mean(axis=1)
    drop = np.zeros(len(f), bool)
    for normal, offset in planes:
        n = np.asarray(normal, float) / np.linalg.norm(normal)
        drop |= centroid @ n > offset
    rng = np.random.default_rng(seed)
    dirs = rng.normal(size=(holes, 3))
    dirs /= np.linalg.norm(dirs, axis=1)[:, None]
    unit = centroid / np.linalg.norm(centroid, axis=1)[:, None]
    for k, d in enumerate(dirs):
        drop |= unit @ d > math.cos(0.05 + 0.06 * k)
    return drop_faces(v, f, drop)


def holes_of_sizes(levels, radii, seed):
    """A closed surface with holes from about one face across to a dozen."""
    v, f = icosphere(levels)
    rng = np.random.default_rng(seed)
    centroid = v[f].mean(axis=1)
    centroid /= np.linalg.norm(centroid, axis=1)[:, None]
    drop = np.zeros(len(f), bool)
    centres = []
    while len(centres) < len(radii):
        d = rng.normal(size=3)
        d /= np.linalg.norm(d)
        if all(d @ c < 0.6 for c in centres):
            centres.append(d)
    for d, r in zip(centres, radii):
        drop |= centroid @ d > math.cos(r)
    return drop_faces(v, f, drop)


def sheet_path(points):
    """Arc-length positions along a polyline in the xz plane."""
    pts = np.asarray(points, float)
    return pts


def bent_sheet(width, segments_across, fillet_segments, fan=True):
    """A sheet-metal part as CAD exports it: an open single sheet, two flat
    flanges joined by a 90-degree fillet, flats as long thin triangles (one
    quad split along a diagonal per flat strip), the fillet as a strip of
    quads along the bend."""
    r = 0.3
    profile = [(-2.0, 0.0), (0.0, 0.0)]
    for k in range(1, fillet_segments + 1):
        a = 0.5 * math.pi * k / fillet_segments
        profile.append((r * math.sin(a), r * (1 - math.cos(a))))
    profile.append((r, 1.5))
    v, f = [], []
    cols = segments_across + 1
    for x, z in profile:
        for j in range(cols):
            v.append((x, width * j / segments_across, z))
    for i in range(len(profile) - 1):
        for j in range(segments_across):
            a, b = i * cols + j, i * cols + j + 1
            c, d = a + cols, b + cols
            f += [(a, c, b), (b, c, d)] if fan else [(a, d, b), (a, c, d)]
    return np.array(v, float), np.array(f, int)


def half_cylinder(sectors, length, rings):
    """An open half-cylinder shell with its two half-disc ends fanned from
    their first point: the flat opening along the bottom stays open."""
    v, f = [], []
    for k in range(rings + 1):
        for s in range(sectors + 1):
            a = math.pi * s / sectors
            v.append((math.cos(a), math.sin(a), length * k / rings))
    cols = sectors + 1
    for k in range(rings):
        for s in range(sectors):
            a, b = k * cols + s, k * cols + s + 1
            c, d = a + cols, b + cols
            f += [(a, b, d), (a, d, c)]
    for s in range(1, sectors):
        f.append((0, s + 1, s))
        top = rings * cols
        f.append((top, top + s, top + s + 1))
    return np.array(v, float), np.array(f, int)


def holed_plate(cells, hole_sides, square_side, thickness=0.2):
    """A plate with a cells x cells grid of round through-holes, CAD-style:
    each cell's square outline (square_side points a side) joined to its hole
    by one strip, hole walls one quad tall: genus cells squared."""
    v = []
    index = {}

    def vid(p):
        key = (round(p[0], 9), round(p[1], 9), round(p[2], 9))
        if key not in index:
            index[key] = len(v)
            v.append(p)
        return index[key]

    f = []
    for ci in range(cells):
        for cj in range(cells):
            cx, cy = ci + 0.5, cj + 0.5
            sq = []
            for side in range(4):
                for k in range(square_side):
                    t = k / square_side
                    x, y = [(t, 0), (1, t), (1 - t, 1), (0, 1 - t)][side]
                    sq.append((ci + x, cj + y))
            hole = [(cx + 0.3 * math.cos(2 * math.pi * k / hole_sides),
                     cy + 0.3 * math.sin(2 * math.pi * k / hole_sides)) for k in range(hole_sides)]
            for z, flip in ((thickness, False), (0.0, True)):
                ids = [vid((x, y, z)) for x, y in sq] + [vid((x, y, z)) for x, y in hole]
                vv = np.array([v[i] for i in ids])
                local = ring_strip(list(range(len(sq))), list(range(len(sq), len(ids))), vv,
                                   np.array([cx, cy, z]))
                for a, b, c in local:
                    t = (ids[a], ids[b], ids[c])
                    f.append(t[::-1] if flip else t)
            for k in range(hole_sides):
                a = vid((hole[k][0], hole[k][1], 0.0))
                b = vid((hole[(k + 1) % hole_sides][0], hole[(k + 1) % hole_sides][1], 0.0))
                c = vid((hole[(k + 1) % hole_sides][0], hole[(k + 1) % hole_sides][1], thickness))
                d = vid((hole[k][0], hole[k][1], thickness))
                f += [(a, c, b), (a, d, c)]
    # the outer wall, one quad tall per outline point
    n = cells * square_side
    outline = []
    for side in range(4):
        for k in range(n):
            t = cells * k / n
            outline.append([(t, 0), (cells, t), (cells - t, cells), (0, cells - t)][side])
    for k in range(len(outline)):
        p, q = outline[k], outline[(k + 1) % len(outline)]
        a, b = vid((p[0], p[1], 0.0)), vid((q[0], q[1], 0.0))
        c, d = vid((q[0], q[1], thickness)), vid((p[0], p[1], thickness))
        f += [(a, b, c), (a, c, d)]
    v = np.array(v, float)
    # the strips were built counter-clockwise seen from +z: outward on top
    return v, np.array(f, int)


def knot_tube(p, q, along, around, radius):
    """A tube around a (p, q) torus knot: a long thin limb that winds past
    itself, radius a few of its own edges."""
    def centre(t):
        r = 2 + math.cos(q * t)
        return np.array([r * math.cos(p * t), r * math.sin(p * t), -math.sin(q * t)])

    v, f = [], []
    for i in range(along):
        t = 2 * math.pi * i / along
        c, c2 = centre(t), centre(t + 1e-4)
        tan = (c2 - c) / np.linalg.norm(c2 - c)
        n = np.cross(tan, [0.0, 0.0, 1.0])
        n /= np.linalg.norm(n)
        b = np.cross(tan, n)
        for j in range(around):
            a = 2 * math.pi * j / around
            v.append(c + radius * (math.cos(a) * n + math.sin(a) * b))
    for i in range(along):
        for j in range(around):
            a, b = i * around + j, ((i + 1) % along) * around + j
            c, d = ((i + 1) % along) * around + (j + 1) % around, i * around + (j + 1) % around
            f += [(a, c, b), (a, d, c)]
    return np.array(v, float), np.array(f, int)


def graded_sphere(points, ratio, seed):
    """An adaptively decimated scan: the hull of points on a bumpy sphere
    whose spacing grows smoothly by `ratio` from one pole to the other."""
    rng = np.random.default_rng(seed)
    p = rng.normal(size=(points * 8, 3))
    p /= np.linalg.norm(p, axis=1)[:, None]
    # keep a point with probability ~ 1 / spacing^2, spacing from 1 to ratio
    spacing = ratio ** ((p[:, 2] + 1) / 2)
    p = p[rng.uniform(size=len(p)) < 1 / spacing ** 2][:points]
    v, f = hull(p)
    return bumpy(v, 0.1, 3, seed), f


def patched_sphere(resolutions, weld):
    """A sphere from the six faces of a cube, each triangulated on its own
    grid: with different grids the seams hold T-junctions (cracks); with the
    same grid and weld false they hold duplicate vertices 1e-7 apart."""
    rng = np.random.default_rng(len(resolutions))
    vs, fs = [], []
    base = 0
    axes = [(0, 1, 2, 1), (0, 1, 2, -1), (1, 2, 0, 1), (1, 2, 0, -1), (2, 0, 1, 1), (2, 0, 1, -1)]
    for (i, j, k, s), n in zip(axes, resolutions):
        g, tri = grid(n, n)
        pts = np.zeros((len(g), 3))
        pts[:, i], pts[:, j], pts[:, k] = g[:, 0], g[:, 1], s
        pts /= np.linalg.norm(pts, axis=1)[:, None]
        if not weld:
            pts += rng.uniform(-1e-7, 1e-7, pts.shape)
        vs.append(pts)
        fs.append((tri if s > 0 else tri[:, ::-1]) + base)
        base += len(pts)
    v, f = np.vstack(vs), np.vstack(fs)
    return v, orient_outwards(v, f)


# ---------------------------------------------------------------- dirty files


def jittered_soup(v, f, amount, seed):
    """An unwelded STL: every face with its own three vertices, each copy off
    by up to `amount` (float noise from the exporter), so no two coincide."""
    v, f = soup(v, f)
    rng = np.random.default_rng(seed)
    return v + rng.uniform(-amount, amount, v.shape), f


def zero_area_sphere(levels, count, seed):
    """A closed sphere whose file also holds zero-area faces: edges split at
    their midpoint on one side only, the crack closed by a flat triangle
    (a T-junction filler), plus repeated faces and faces naming a vertex
    twice."""
    v, f = icosphere(levels)
    v, f = list(v), [tuple(t) for t in f]
    rng = np.random.default_rng(seed)
    done = set()
    for t in rng.choice(len(f), count, replace=False):
        a, b, c = f[t]
        if {a, b, c} & done:
            continue
        done |= {a, b, c}
        m = len(v)
        v.append(0.5 * (v[a] + v[b]))
        f[t] = (a, m, c)
        f += [(m, b, c), (m, a, b)]
    extra = [f[i] for i in rng.choice(len(f), count // 2, replace=False)]
    f += extra + [(t[0], t[0], t[1]) for t in extra]
    return np.array(v, float), np.array(f, int)


def box(lo, hi):
    (x0, y0, z0), (x1, y1, z1) = lo, hi
    v = [(x, y, z) for z in (z0, z1) for y in (y0, y1) for x in (x0, x1)]
    f = [(0, 2, 3), (0, 3, 1), (4, 5, 7), (4, 7, 6), (0, 1, 5), (0, 5, 4), (2, 6, 7), (2, 7, 3), (0, 4, 6),
         (0, 6, 2), (1, 3, 7), (1, 7, 5)]
    return np.array(v, float), np.array(f, int)


def weld(v, f):
    """Merges vertices at identical positions."""
    v = np.asarray(v, float)
    _, first, inverse = np.unique(v, axis=0, return_index=True, return_inverse=True)
    inverse = inverse.reshape(-1)
    return v[first], inverse[np.asarray(f, int)]


def boxes_sharing_edge(n):
    """Two gridded cubes that touch along one edge: four faces on each of its
    pieces (a non-manifold edge), as assemblies are exported."""
    def gridded(lo):
        v, f = box(lo, lo + np.ones(3))
        for _ in range(n):
            v, f = midpoint_split(v, f)
        return v, f
    return weld(*merge(gridded(np.zeros(3)), gridded(np.array([1.0, 1.0, 0.0]))))


def midpoint_split(v, f):
    v = [np.asarray(p, float) for p in v]
    mid = {}

    def m(a, b):
        key = (min(a, b), max(a, b))
        if key not in mid:
            v.append(0.5 * (v[a] + v[b]))
            mid[key] = len(v) - 1
        return mid[key]

    g = []
    for a, b, c in f:
        ab, bc, ca = m(a, b), m(b, c), m(c, a)
        g += [(a, ab, ca), (b, bc, ab), (c, ca, bc), (ab, bc, ca)]
    return np.array(v), np.array(g, int)


def fin_on_plate(n, rows):
    """A grid plate with a thin sheet standing on one of its grid lines: each
    edge of that line holds three faces."""
    plate = grid(n, n)
    xs = np.linspace(-1, 1, n + 1)
    v, f = [], []
    for r in range(rows + 1):
        for x in xs:
            v.append((x, 0.0, 0.6 * r / rows))
    cols = n + 1
    for r in range(rows):
        for i in range(n):
            a, b = r * cols + i, r * cols + i + 1
            f += [(a, b, b + cols), (a, b + cols, a + cols)]
    return weld(*merge(plate, (np.array(v), np.array(f, int))))


def cones_tip_to_tip(sides, rings):
    """Two closed cones touching at their tips: one vertex whose faces form
    two fans (a non-manifold vertex)."""
    prof = [(0.0, -2.0)] + [(1.0 - k / rings, -2.0 + 2.0 * k / rings) for k in range(rings)] + [(0.0, 0.0)]
    a = revolve(prof, sides)
    b = (a[0] * np.array([1, 1, -1.0]), a[1][:, ::-1])
    return weld(*merge(a, b))


def flipped_faces(v, f, share, seed):
    """Faces turned inconsistently, as careless exporters leave them."""
    rng = np.random.default_rng(seed)
    f = np.array(f)
    turn = rng.uniform(size=len(f)) < share
    f[turn] = f[turn][:, ::-1]
    return v, f


def debris(count, seed):
    """A large bumpy body with many tiny separate pieces beside it (scan
    debris): tetrahedra and octahedra a hundredth of its size."""
    rng = np.random.default_rng(seed)
    v, f = icosphere(4)
    parts = [(bumpy(v, 0.1, 3, seed), f)]
    ov, of = icosphere(0)
    tet = (np.array([(1, 1, 1), (1, -1, -1), (-1, 1, -1), (-1, -1, 1)], float),
           np.array([(0, 1, 2), (0, 3, 1), (0, 2, 3), (1, 3, 2)], int))
    for k in range(count):
        d = rng.normal(size=3)
        d /= np.linalg.norm(d)
        c = d * rng.uniform(1.3, 2.0)
        pv, pf = tet if k % 2 else (ov, of)
        parts.append((pv * rng.uniform(0.005, 0.03) + c, pf))
    return merge(*parts)


def moved(build, scale=1.0, offset=0.0):
    v, f = build()
    return np.asarray(v) * scale + offset, f


def fan_cap_disc(sides, height):
    """A short cylinder whose caps are fanned from one rim point: 2 x (sides
    - 2) slivers, as CAD tessellators close a disc."""
    return prism(circle(sides), height, "first")


def marching_tetrahedra(field, lo, hi, h):
    """The zero set of field (negative inside) on a grid of spacing h, each
    cube cut into six tetrahedra around its main diagonal: triangles as
    iso-surface extraction leaves them (slivers where the surface passes near
    grid points), outward."""
    n = np.ceil((np.asarray(hi) - lo) / h).astype(int) + 1
    axes = [lo[d] + h * np.arange(n[d]) for d in range(3)]
    X, Y, Z = np.meshgrid(*axes, indexing="ij")
    pts = np.stack([X, Y, Z], axis=-1).reshape(-1, 3)
    val = field(pts)
    val[np.abs(val) < 1e-9] = 1e-9
    idx = np.arange(len(pts)).reshape(n)
    corner = [idx[(c & 1):n[0] - 1 + (c & 1), (c >> 1 & 1):n[1] - 1 + (c >> 1 & 1),
                  (c >> 2 & 1):n[2] - 1 + (c >> 2 & 1)].reshape(-1) for c in range(8)]
    tets = [(0, 1, 3, 7), (0, 3, 2, 7), (0, 2, 6, 7), (0, 6, 4, 7), (0, 4, 5, 7), (0, 5, 1, 7)]
    keys, tris = {}, []
    verts = []

    def vert(a, b):
        k = (min(a, b), max(a, b))
        if k not in keys:
            t = val[a] / (val[a] - val[b])
            keys[k] = len(verts)
            verts.append(pts[a] + t * (pts[b] - pts[a]))
        return keys[k]

    for tet in tets:
        T = np.stack([corner[c] for c in tet], axis=1)
        inside = val[T] < 0
        cnt = inside.sum(axis=1)
        for row in np.nonzero((cnt > 0) & (cnt < 4))[0]:
            ins = [T[row][i] for i in range(4) if inside[row][i]]
            out = [T[row][i] for i in range(4) if not inside[row][i]]
            if len(ins) == 1 or len(out) == 1:
                one, rest = (ins[0], out) if len(ins) == 1 else (out[0], ins)
                tris.append((vert(one, rest[0]), vert(one, rest[1]), vert(one, rest[2])))
            else:
                a, b = ins
                c, d = out
                p, q, r, s = vert(a, c), vert(a, d), vert(b, d), vert(b, c)
                tris += [(p, q, r), (p, r, s)]
    v = np.array(verts)
    f = np.array(tris, int)
    # turn each triangle along the field's gradient (outward)
    cen = v[f].mean(axis=1)
    eps = 1e-4 * h
    grad = np.stack([(field(cen + eps * e) - field(cen - eps * e)) for e in np.eye(3)], axis=1)
    n_ = tri_normals(v, f)
    back = (n_ * grad).sum(axis=1) < 0
    f[back] = f[back][:, ::-1]
    return compact(v, f)


def capsule_distance(p, a, b, r):
    a, b = np.asarray(a, float), np.asarray(b, float)
    ab = b - a
    t = np.clip(((p - a) @ ab) / (ab @ ab), 0, 1)
    return np.linalg.norm(p - (a + t[:, None] * ab), axis=1) - r


def limbed_figure(h, limb, finger):
    """An organic closed figure as a scan's iso-surface holds it: a body with
    four limbs of radius `limb` and five fingers of radius `finger` on one
    hand, blended smoothly, extracted by marching tetrahedra."""
    parts = [((0, 0, -0.3), (0, 0, 0.5), 0.45), ((0, 0, 0.85), (0, 0, 0.95), 0.22),
             ((0.3, 0, 0.4), (1.3, 0, 0.1), limb), ((-0.3, 0, 0.4), (-1.2, 0, 1.0), limb),
             ((0.15, 0, -0.6), (0.35, 0, -1.6), limb), ((-0.15, 0, -0.6), (-0.3, 0.1, -1.6), limb)]
    hand = np.array((1.3, 0, 0.1))
    for k in range(5):
        a = -0.6 + 0.3 * k
        tip = hand + 0.35 * np.array((math.cos(a), math.sin(a) * 0.6, math.sin(a)))
        parts.append((hand, tip, finger))

    def field(p):
        d = np.stack([capsule_distance(p, a, b, r) for a, b, r in parts], axis=1)
        k = 24.0
        m = d.min(axis=1)
        return m - np.log(np.exp(-k * (d - m[:, None])).sum(axis=1)) / k

    return marching_tetrahedra(field, np.array((-1.6, -0.6, -2.0)), np.array((1.8, 0.6, 1.4)), h)


def tube_grid(around, along, radius, length, closed_caps=False):
    """An open cylinder `around` sectors by `along` rings: very anisotropic
    faces when one count is far above the other."""
    v, f = [], []
    for k in range(along + 1):
        for s in range(around):
            a = 2 * math.pi * s / around
            v.append((radius * math.cos(a), radius * math.sin(a), length * k / along))
    for k in range(along):
        for s in range(around):
            a, b = k * around + s, k * around + (s + 1) % around
            f += [(a, b, b + around), (a, b + around, a + around)]
    return np.array(v, float), np.array(f, int)


def filleted_part(sectors, fillet_rings):
    """A revolved part as a CAD exporter writes it: a flanged shaft whose
    fillets are a few thin rings, lat-long with fans at both poles."""
    def fillet(cr, cz, r, a0, a1):
        return [(cr + r * math.cos(a), cz + r * math.sin(a))
                for a in np.linspace(a0, a1, fillet_rings + 2)[1:-1]]
    profile = [(0.0, 0.0), (1.9, 0.0)]
    profile += fillet(1.9, 0.1, 0.1, -math.pi / 2, 0)
    profile += [(2.0, 0.1), (2.0, 0.3), (0.6, 0.3)]
    profile += fillet(0.6, 0.4, 0.1, -math.pi / 2, -math.pi)
    profile += [(0.5, 0.4), (0.5, 2.45)]
    profile += fillet(0.45, 2.45, 0.05, 0, math.pi / 2)
    profile += [(0.45, 2.5), (0.0, 2.5)]
    v, f = revolve(profile, sectors)
    return v, orient_by_volume(v, f)


def blade(sections, chord_points, span):
    """A turbine blade: a cambered airfoil with a sharp trailing edge lofted
    through `sections` stations along a twisted span, root and tip caps
    ear-clipped (long thin faces spanning the chord)."""
    def airfoil(n):
        xs = 0.5 * (1 - np.cos(np.linspace(0, math.pi, n)))
        t = 0.12
        yt = 5 * t * (0.2969 * np.sqrt(xs) - 0.126 * xs - 0.3516 * xs ** 2 + 0.2843 * xs ** 3 - 0.1036 * xs ** 4)
        yt[-1] = 0.0
        yc = 0.06 * 4 * xs * (1 - xs)
        upper = list(zip(xs[::-1], (yc + yt)[::-1]))
        lower = list(zip(xs[1:-1], (yc - yt)[1:-1]))
        return upper + lower
    outline = airfoil(chord_points)
    n = len(outline)
    v, f = [], []
    for k in range(sections):
        z = span * k / (sections - 1)
        tw = 0.5 * k / (sections - 1)
        scale = 1.0 - 0.3 * k / (sections - 1)
        for x, y in outline:
            x, y = (x - 0.3) * scale, y * scale
            v.append((x * math.cos(tw) - y * math.sin(tw), x * math.sin(tw) + y * math.cos(tw), z))
    for k in range(sections - 1):
        for s in range(n):
            a, b = k * n + s, k * n + (s + 1) % n
            f += [(a, b, b + n), (a, b + n, a + n)]
    # the outline runs from the trailing edge over the upper side: counter-clockwise
    for a, b, c in ear_clip(outline):
        f.append((a, c, b))
        top = (sections - 1) * n
        f.append((top + a, top + b, top + c))
    return np.array(v, float), orient_by_volume(np.array(v, float), np.array(f, int))


def orient_by_volume(v, f):
    """Turns every face if the closed surface's signed volume is negative."""
    a, b, c = v[f[:, 0]], v[f[:, 1]], v[f[:, 2]]
    vol = (a * np.cross(b, c)).sum()
    return f[:, ::-1].copy() if vol < 0 else f


def ragged_scan(points, seed):
    """A scanned patch with holes and a ragged open rim: a Delaunay surface of
    points of very uneven density, faces dropped near the rim (boundary edges
    of very uneven length, rim vertices held by one or two faces) and three
    holes."""
    rng = np.random.default_rng(seed)
    r = np.sqrt(rng.uniform(0, 1, points)) * (1 + 0.3 * rng.uniform(-1, 1, points))
    a = rng.uniform(0, 2 * math.pi, points)
    dense = rng.normal(0, 0.15, (points // 3, 2)) + (0.4, 0.2)
    xy = np.vstack([np.c_[r * np.cos(a), r * np.sin(a)], dense])
    z = 0.15 * np.sin(2 * xy[:, 0]) * np.cos(3 * xy[:, 1]) + 0.0005 * rng.normal(size=len(xy))
    v = np.c_[xy, z]
    f = Delaunay(xy).simplices
    cen = xy[f].mean(axis=1)
    rad = np.linalg.norm(cen, axis=1)
    keep = rng.uniform(0, 1, len(f)) > np.clip((rad - 0.75) * 2.0, 0, 0.9)
    for hx, hy, hr in ((-0.3, 0.3, 0.1), (0.2, -0.4, 0.06), (0.45, 0.25, 0.04)):
        keep &= np.hypot(cen[:, 0] - hx, cen[:, 1] - hy) > hr
    # the hull's long rim edges, as a scan's triangulator leaves them
    keep &= np.array([max(np.linalg.norm(xy[t[i]] - xy[t[(i + 1) % 3]]) for i in range(3)) < 0.5 for t in f])
    f = f[keep]
    f = orient_up(v, f)
    return compact(v, f)


def orient_up(v, f):
    n = tri_normals(v, f)
    f = f.copy()
    down = n[:, 2] < 0
    f[down] = f[down][:, ::-1]
    return f


def bridged_hole(n):
    """A grid patch with a square hole that one long thin face bridges, from
    a corner of the hole's one side to two neighbours across it."""
    v, f = grid(n, n)
    c = (v[f].mean(axis=1))
    hole = (np.abs(c[:, 0]) < 0.4) & (np.abs(c[:, 1]) < 0.4)
    f = f[~hole]
    step = 2.0 / n
    def vid(x, y):
        return int(np.argmin(np.hypot(v[:, 0] - x, v[:, 1] - y)))
    a = vid(-0.4, 0.0)
    b, c2 = vid(0.4, 0.0), vid(0.4, step)
    f = np.vstack([f, [(a, b, c2)]])
    return compact(v, f)


def holed_sphere(levels, faces_out):
    """A sphere with one small hole: the faces around one vertex removed."""
    v, f = icosphere(levels)
    d = np.linalg.norm(v[f].mean(axis=1) - v[0], axis=1)
    f = f[np.argsort(d)[faces_out:]]
    return compact(v, orient_outwards(v, f))


def cup(sectors, rings):
    """An open cup: a revolved single sheet, a round bottom and a straight
    wall up to an open rim, no thickness."""
    v, f = [(0.0, 0.0, 0.0)], []
    prof = [(math.sin(t), 1 - math.cos(t)) for t in np.linspace(0, math.pi / 2, rings // 2 + 1)[1:]]
    prof += [(1.0, 1 + 1.5 * k / (rings // 2)) for k in range(1, rings // 2 + 1)]
    for r, z in prof:
        for s in range(sectors):
            a = 2 * math.pi * s / sectors
            v.append((r * math.cos(a), r * math.sin(a), z))
    for s in range(sectors):
        f.append((0, 1 + s, 1 + (s + 1) % sectors))
    for k in range(len(prof) - 1):
        for s in range(sectors):
            a, b = 1 + k * sectors + s, 1 + k * sectors + (s + 1) % sectors
            f += [(a, b + sectors, b), (a, a + sectors, b + sectors)]
    return np.array(v, float), np.array(f, int)


def moebius(along, across, width):
    """A Moebius strip: non-orientable, one boundary loop."""
    v, f = [], []
    for i in range(along):
        t = 2 * math.pi * i / along
        for j in range(across + 1):
            s = width * (2 * j / across - 1)
            v.append(((1 + s * math.cos(t / 2)) * math.cos(t), (1 + s * math.cos(t / 2)) * math.sin(t),
                      s * math.sin(t / 2)))
    m = across + 1
    for i in range(along):
        for j in range(across):
            a, b = i * m + j, i * m + j + 1
            if i + 1 < along:
                c, d = a + m, b + m
            else:
                c, d = across - j, across - j - 1
            f += [(a, c, d), (a, d, b)]
    return np.array(v, float), np.array(f, int)


def t_junction_plate(n):
    """A flat plate whose right half is a grid twice as fine as the left's,
    the two not joined: every other fine vertex lies exactly on a coarse edge
    (exact T-junctions), and the seam is a crack of zero width."""
    left_v, left_f = grid(n, 2 * n, -1, 0, -1, 1)
    right_v, right_f = grid(2 * n, 4 * n, 0, 1, -1, 1)
    v, f = merge((left_v, left_f), (right_v, right_f))
    return weld(v, f)


def chain(links, sectors, rings, minor):
    """Interlocked chain links: separate thin rings (tori stretched into
    ovals), each turned a quarter against the last."""
    parts = []
    for k in range(links):
        v, f = torus(sectors, rings, 1.0, minor)
        v = v * (1.0, 0.6, 1.0)
        if k % 2:
            v = v[:, [0, 2, 1]]
            f = f[:, ::-1]
        parts.append((v + (1.5 * k, 0, 0), f))
    return merge(*parts)


def terrain_cliff(n, seed):
    """A nearly flat low-polygon terrain with a cliff: a regular grid of
    gentle noise whose one row of faces rises almost vertically by a tenth
    of the width."""
    rng = np.random.default_rng(seed)
    noise = rng.uniform(-0.01, 0.01, (n + 1) * (n + 1))
    v, f = grid(n, n)
    v[:, 2] = noise + 0.02 * np.sin(3 * v[:, 0])
    step = 2.0 / n
    cliff = v[:, 1] > 0.3
    v[cliff, 2] += 0.2
    # the cliff's top row moves over its foot: long, nearly vertical faces
    top = np.abs(v[:, 1] - v[cliff, 1].min()) < 1e-9
    v[top, 1] -= 0.9 * step
    return v, f


def boss_on_box(sectors):
    """A cylinder boss on a box, CAD-style: the box's top is its square (the
    corners and the sides' midpoints) joined to the boss's circle by one
    strip of long fans, the boss's wall one quad tall and its top a fan from
    one rim point; one circular crease shared."""
    v = [(-1, -1, 0), (1, -1, 0), (1, 1, 0), (-1, 1, 0), (-1, -1, 1), (1, -1, 1), (1, 1, 1), (-1, 1, 1)]
    f = [(0, 2, 1), (0, 3, 2)]
    extra = []
    for k in range(4):
        p, q = 4 + k, 4 + (k + 1) % 4
        v.append(tuple((np.array(v[p], float) + np.array(v[q], float)) / 2))
        m = len(v) - 1
        f += [(k, (k + 1) % 4, m), (k, m, p), ((k + 1) % 4, q, m)]
        extra += [p, m]
    lo = len(v)
    for s in range(sectors):
        a = 2 * math.pi * s / sectors + math.pi / 4
        v.append((0.5 * math.cos(a), 0.5 * math.sin(a), 1.0))
    hi = len(v)
    for s in range(sectors):
        a = 2 * math.pi * s / sectors + math.pi / 4
        v.append((0.5 * math.cos(a), 0.5 * math.sin(a), 1.6))
    va = np.array(v, float)
    f += [(a, b, c) for a, b, c in ring_strip(extra, list(range(lo, hi)), va, np.array((0, 0, 1.0)))]
    for s in range(sectors):
        a, b = lo + s, lo + (s + 1) % sectors
        f += [(a, b, b + sectors), (a, b + sectors, a + sectors)]
    for s in range(1, sectors - 1):
        f.append((hi, hi + s, hi + s + 1))
    # the strip's winding depends on the loops' order; the box's outside wins
    return va, fix_orientation(va, np.array(f, int))


def fix_orientation(v, f):
    """Orients a closed connected surface consistently (breadth first from
    face 0), then outwards by its signed volume."""
    from collections import deque
    edges = {}
    for t, (a, b, c) in enumerate(f):
        for x, y in ((a, b), (b, c), (c, a)):
            edges.setdefault((min(x, y), max(x, y)), []).append(t)
    f = f.copy()
    seen = np.zeros(len(f), bool)
    for start in range(len(f)):
        if seen[start]:
            continue
        seen[start] = True
        queue = deque([start])
        while queue:
            t = queue.popleft()
            a, b, c = f[t]
            for x, y in ((a, b), (b, c), (c, a)):
                for u in edges[(min(x, y), max(x, y))]:
                    if seen[u]:
                        continue
                    seen[u] = True
                    fu = list(f[u])
                    # agreeing neighbours run the shared edge the other way
                    same = any(fu[i] == x and fu[(i + 1) % 3] == y for i in range(3))
                    if same:
                        f[u] = f[u][::-1]
                    queue.append(u)
    return orient_by_volume(v, f)


def ellipsoid_distance(p, c, r):
    """About the distance from an axis-aligned ellipsoid (exact on spheres):
    the scaled radius less one, times the smallest semi-axis."""
    r = np.asarray(r, float)
    return (np.linalg.norm((p - np.asarray(c, float)) / r, axis=1) - 1.0) * r.min()


def smooth_union(distances, k):
    """The smooth minimum of the columns: blends within about 1/k, lowers
    the field by at most log(n)/k where parts meet."""
    d = np.stack(distances, axis=1)
    m = d.min(axis=1)
    return m - np.log(np.exp(-k * (d - m[:, None])).sum(axis=1)) / k


def quadruped(h):
    """A four-legged animal: an ellipsoid body and head, capsule legs and neck,
    a long thin tail and two thin ears, blended smoothly, by marching
    tetrahedra."""
    legs = [((x, y, -0.1), (x + 0.05, y, -0.75), 0.09) for x in (-0.6, 0.55) for y in (-0.2, 0.2)]
    capsules = legs + [((0.6, 0, 0.1), (0.95, 0, 0.4), 0.14),        # neck
                       ((-0.75, 0, 0.05), (-1.35, 0, 0.35), 0.035),  # tail
                       ((1.15, -0.1, 0.6), (1.12, -0.16, 0.8), 0.03),  # ears
                       ((1.15, 0.1, 0.6), (1.12, 0.16, 0.8), 0.03)]
    ellipsoids = [((0, 0, 0), (0.85, 0.3, 0.28)), ((1.1, 0, 0.5), (0.25, 0.14, 0.14))]

    def field(p):
        return smooth_union([capsule_distance(p, a, b, r) for a, b, r in capsules] +
                            [ellipsoid_distance(p, c, r) for c, r in ellipsoids], 30.0)

    return marching_tetrahedra(field, np.array((-1.45, -0.4, -0.9)), np.array((1.45, 0.4, 0.9)), h)


def close_fingers(h, gap):
    """A hand: a flat palm and four parallel fingers and a thumb whose
    surfaces lie `gap` apart, blended with a sharp smooth minimum so that
    the gaps stay open, by marching tetrahedra."""
    radius = 0.08
    pitch = 2 * radius + gap
    capsules = [((0, y, 0), (0.9 - 0.08 * abs(i - 1.5), y, 0), radius)
                for i, y in enumerate(pitch * (np.arange(4) - 1.5))]
    capsules.append(((-0.35, -2.2 * pitch, 0), (0.05, -2.2 * pitch - 0.25, 0), radius * 1.1))
    ellipsoids = [((-0.4, 0, 0), (0.45, 2.1 * pitch, 0.1))]

    def field(p):
        return smooth_union([capsule_distance(p, a, b, r) for a, b, r in capsules] +
                            [ellipsoid_distance(p, c, r) for c, r in ellipsoids], 120.0)

    return marching_tetrahedra(field, np.array((-0.9, -3.0 * pitch - 0.3, -0.15)),
                               np.array((1.0, 2.6 * pitch + 0.05, 0.15)), h)


def folded_figure(h, gap):
    """Tight folds: a torso with an arm hanging `gap` beside it (the armpit)
    and a cloth fold, a slab bent back on itself round a hairpin with `gap`
    between its layers, joined to the torso, by marching tetrahedra."""
    arm_x = 0.3 + gap + 0.08

    def fold(p):
        # In the xz plane the slab's mid-curve is two strips at z = +-bend
        # from x = -0.7 to 0, joined by a half circle on x > 0; across y it
        # spans 0.7 with rounded ends; it is 2 t thick.
        t = 0.05
        bend = t + gap / 2
        x, y, z = p[:, 0] - 0.2, p[:, 1], p[:, 2] + 0.9
        along = np.minimum(x + 0.7, 0)
        strips = np.minimum(np.hypot(along, z - bend), np.hypot(along, z + bend))
        arc = np.abs(np.hypot(x, z) - bend)
        across = np.maximum(np.abs(y) - 0.35, 0)
        return np.hypot(np.where(x > 0, arc, strips), across) - t

    def field(p):
        return smooth_union([capsule_distance(p, (0, 0, -0.4), (0, 0, 0.6), 0.3),
                             ellipsoid_distance(p, (0, 0, 1.05), (0.16, 0.16, 0.2)),
                             capsule_distance(p, (arm_x, 0, 0.5), (arm_x, 0, -0.3), 0.08),
                             capsule_distance(p, (0.2, 0, 0.6), (arm_x, 0, 0.6), 0.09),
                             fold(p)], 120.0)

    return marching_tetrahedra(field, np.array((-0.8, -0.45, -1.15)), np.array((0.6, 0.45, 1.3)), h)


def horned_sphere(levels, seed):
    """A smooth subdivided organic mesh, not an iso-surface: an icosphere
    displaced along its normals by a few broad bumps and one long thin horn
    (a tentacle), so its faces stretch along the horn."""
    v, f = icosphere(levels)
    d = v / np.linalg.norm(v, axis=1)[:, None]
    rng = np.random.default_rng(seed)
    r = np.ones(len(v))
    for _ in range(5):
        c = rng.normal(size=3)
        c /= np.linalg.norm(c)
        r += rng.uniform(-0.15, 0.2) * np.exp(-(1 - d @ c) / 0.08)
    horn = np.array((0.3, 0.2, 0.93))
    horn /= np.linalg.norm(horn)
    r += 1.2 * np.exp(-(1 - d @ horn) / 0.004)
    return d * r[:, None], f


# ---------------------------------------------------------------- game models, text, plants, shells, STL exports


def low_poly_rock(points, seed):
    """A low-poly game rock: the hull of a few points scattered about an
    ellipsoid, flat-shaded, most edges bending by more than 45 degrees."""
    rng = np.random.default_rng(seed)
    d = rng.normal(size=(points, 3))
    d /= np.linalg.norm(d, axis=1)[:, None]
    v = d * rng.uniform(0.8, 1.1, (points, 1)) * (1.4, 1.0, 0.7)
    hull = ConvexHull(v)
    return compact(v, orient_outwards(v, hull.simplices))


def low_poly_animal(seed):
    """A low-poly game animal: body, head, neck, legs, tail and ears each a
    hull of a few points, flat-shaded, the parts passing into each other
    unjoined as game modellers leave them."""
    rng = np.random.default_rng(seed)

    def blob(points, centre, radii):
        d = rng.normal(size=(points, 3))
        d /= np.linalg.norm(d, axis=1)[:, None]
        v = d * rng.uniform(0.85, 1.0, (points, 1)) * radii + centre
        return compact(v, orient_outwards(v, ConvexHull(v).simplices))

    def limb(points, a, b, r):
        a, b = np.asarray(a, float), np.asarray(b, float)
        t = np.linspace(0, 1, points // 6)
        axis = (b - a) / np.linalg.norm(b - a)
        u = np.cross(axis, (0.3, 0.5, 0.8))
        u /= np.linalg.norm(u)
        w = np.cross(axis, u)
        pts = [a + s * (b - a) + r * (1 - 0.3 * s) * (math.cos(g) * u + math.sin(g) * w)
               for s in t for g in rng.uniform(0, 2 * math.pi, 6)]
        v = np.array(pts)
        return compact(v, orient_outwards(v, ConvexHull(v).simplices))

    parts = [blob(40, (0, 0, 0), (0.85, 0.3, 0.28)), blob(24, (1.1, 0, 0.5), (0.25, 0.14, 0.14)),
             limb(18, (0.6, 0, 0.1), (0.95, 0, 0.45), 0.13), limb(12, (-0.75, 0, 0.05), (-1.35, 0, 0.35), 0.04),
             limb(12, (1.15, -0.1, 0.55), (1.12, -0.16, 0.8), 0.04),
             limb(12, (1.15, 0.1, 0.55), (1.12, 0.16, 0.8), 0.04)]
    parts += [limb(18, (x, y, -0.05), (x + 0.05, y, -0.75), 0.09) for x in (-0.6, 0.55) for y in (-0.2, 0.2)]
    return merge(*parts)


LETTERS = {
    "E": [(0, 0), (1, 0), (1, 0.2), (0.25, 0.2), (0.25, 0.6), (0.8, 0.6), (0.8, 0.8), (0.25, 0.8), (0.25, 1.2),
          (1, 1.2), (1, 1.4), (0, 1.4)],
    "L": [(0, 0), (1, 0), (1, 0.2), (0.25, 0.2), (0.25, 1.4), (0, 1.4)],
    "T": [(0.4, 0), (0.65, 0), (0.65, 1.2), (1.05, 1.2), (1.05, 1.4), (0, 1.4), (0, 1.2), (0.4, 1.2)],
    "M": [(0, 0), (0.2, 0), (0.2, 1.0), (0.5, 0.5), (0.8, 1.0), (0.8, 0), (1, 0), (1, 1.4), (0.8, 1.4),
          (0.5, 0.85), (0.2, 1.4), (0, 1.4)],
}


def comb_outline(teeth, slot, depth):
    """A logo's comb: a bar with `teeth` deep slots `slot` wide."""
    pitch = 0.25
    pts = [(0, 0)]
    for t in range(teeth):
        x = t * pitch
        pts += [(x + pitch - slot, 0), (x + pitch - slot, depth), (x + pitch, depth), (x + pitch, 0)]
    pts.append((teeth * pitch + 0.2, 0))
    pts += [(teeth * pitch + 0.2, depth + 0.3), (0, depth + 0.3)]
    return pts


def extruded_text(word, slots):
    """Extruded letters and a comb logo as a modeller's text tool writes them:
    each glyph a separate prism, caps ear-clipped into long slivers, walls one
    quad tall, the logo's slots far narrower than its teeth are deep."""
    parts = []
    for k, ch in enumerate(word):
        v, f = prism(LETTERS[ch], 0.3, "ears")
        parts.append((v + (1.25 * k, 0, 0), f))
    v, f = prism(comb_outline(slots, 0.04, 1.0), 0.3, "ears")
    parts.append((v + (0, -1.8, 0), f))
    return merge(*parts)


def leaf_with_stem(n, stem_sides, stem_radius):
    """A leaf: an open, gently cupped sheet, its stem a thin closed tube whose
    top narrows to the leaf's base vertex (one vertex joins the two)."""
    v, f = [], []
    for j in range(n + 1):
        t = j / n
        half = 0.5 * math.sin(math.pi * t) ** 0.8 + 0.01
        for i in range(n + 1):
            s = -1 + 2 * i / n
            x, y = 2.0 * t, half * s
            v.append((x, y, 0.15 * (y * y) * 4 - 0.1 * math.sin(math.pi * t)))
    for j in range(n):
        for i in range(n):
            a = j * (n + 1) + i
            f += [(a, a + 1, a + n + 2), (a, a + n + 2, a + n + 1)]
    leaf_v, leaf_f = np.array(v), np.array(f, int)
    base = int(np.argmin(np.linalg.norm(leaf_v, axis=1)))
    rings = 24
    sv = []
    for k in range(rings):
        x = -0.8 + 0.8 * k / rings
        r = stem_radius * (1 - 0.5 * k / rings)
        for s in range(stem_sides):
            a = 2 * math.pi * s / stem_sides
            sv.append((x, r * math.cos(a), r * math.sin(a)))
    sf = []
    for k in range(rings - 1):
        for s in range(stem_sides):
            a, b = k * stem_sides + s, k * stem_sides + (s + 1) % stem_sides
            sf += [(a, b + stem_sides, b), (a, a + stem_sides, b + stem_sides)]
    sv.append((-0.8, 0.0, 0.0))
    end = len(sv) - 1
    sf += [(end, s, (s + 1) % stem_sides) for s in range(stem_sides)]
    nl = len(leaf_v)
    last = (rings - 1) * stem_sides
    sf = [(a + nl, b + nl, c + nl) for a, b, c in sf]
    sf += [(base, last + (s + 1) % stem_sides + nl, last + s + nl) for s in range(stem_sides)]
    return np.vstack([leaf_v, np.array(sv)]), np.vstack([leaf_f, np.array(sf, int)])


def bowl(sectors, rings, wall):
    """A thin-walled bowl: a hemispherical shell `wall` thick with a flat rim,
    revolved lat-long with fans at both poles."""
    outer = [(math.sin(0.5 * math.pi * k / rings), -math.cos(0.5 * math.pi * k / rings)) for k in range(rings + 1)]
    inner = [((1 - wall) * math.sin(0.5 * math.pi * k / rings), -(1 - wall) * math.cos(0.5 * math.pi * k / rings))
             for k in range(rings, -1, -1)]
    v, f = revolve(outer + inner, sectors)
    return v, orient_by_volume(v, f)


def patchwork_box(resolutions):
    """A box whose six sides are separate grids of different resolutions, each
    side again two halves of different resolutions: nothing welded, vertices
    of the finer patch lying on the coarser one's edges (T-junctions)."""
    parts = []
    frames = [((0, 0, 0), (1, 0, 0), (0, 1, 0)), ((0, 0, 1), (0, 1, 0), (1, 0, 0)),
              ((0, 0, 0), (0, 0, 1), (1, 0, 0)), ((0, 1, 0), (1, 0, 0), (0, 0, 1)),
              ((0, 0, 0), (0, 1, 0), (0, 0, 1)), ((1, 0, 0), (0, 0, 1), (0, 1, 0))]
    for k, (o, a, b) in enumerate(frames):
        o, a, b = np.array(o, float), np.array(a, float), np.array(b, float)
        n = resolutions[k % len(resolutions)]
        for half, m in ((0, n), (1, 2 * n)):
            gv, gf = grid(m, 2 * m, 0, 1, 0, 1)
            u = 0.5 * half + 0.5 * gv[:, 0]
            w = gv[:, 1]
            pts = o + u[:, None] * a + w[:, None] * b
            parts.append((pts, gf[:, ::-1]))
    v, f = merge(*parts)
    v, f = compact(*weld(v, f))
    return v, orient_per_side(v, f)


def orient_per_side(v, f):
    """Turns each face away from the unit box's centre (for patch-built boxes)."""
    n = tri_normals(v, f)
    c = v[f].mean(axis=1) - 0.5
    f = f.copy()
    turn = (n * c).sum(axis=1) < 0
    f[turn] = f[turn][:, ::-1]
    return f


def strand(path, sides, radius):
    """A hair or grass strand: a tube of `sides` sides along the path, tapering
    to a point at its end, its root closed by a fan."""
    path = np.asarray(path, float)
    v, f = [], []
    k_rings = len(path) - 1
    for k in range(k_rings):
        p = path[k]
        t = path[k + 1] - path[k]
        t /= np.linalg.norm(t)
        a = np.cross(t, (0.3, 0.5, 0.8))
        a /= np.linalg.norm(a)
        b = np.cross(t, a)
        r = radius * (1 - k / k_rings)
        for s in range(sides):
            ang = 2 * math.pi * s / sides
            v.append(p + r * (math.cos(ang) * a + math.sin(ang) * b))
    for k in range(k_rings - 1):
        for s in range(sides):
            a, b = k * sides + s, k * sides + (s + 1) % sides
            f += [(a, b, b + sides), (a, b + sides, a + sides)]
    v.append(path[-1])
    tip = len(v) - 1
    last = (k_rings - 1) * sides
    f += [(last + s, last + (s + 1) % sides, tip) for s in range(sides)]
    v.append(path[0])
    root = len(v) - 1
    f += [(root, (s + 1) % sides, s) for s in range(sides)]
    return np.array(v), np.array(f, int)


def hair(strands, sides, radius, seed):
    """A scalp (an icosphere) with thin strands of a few sides growing out of
    it, each a separate closed tube starting just under the surface."""
    rng = np.random.default_rng(seed)
    parts = [icosphere(3)]
    for _ in range(strands):
        d = rng.normal(size=3)
        d[2] = abs(d[2]) + 0.5
        d /= np.linalg.norm(d)
        bend = rng.normal(size=3) * 0.3
        pts = [d * (0.98 + 0.8 * t) + bend * t * t for t in np.linspace(0, 1, 30)]
        parts.append(strand(pts, sides, radius))
    return merge(*parts)


def cells_surface(xs, ys, zs, filled):
    """The boundary of the filled cells of a grid with uneven lines, each
    cell side two triangles: long coplanar slivers wherever lines of distant
    details cross a flat side, as architectural models hold them."""
    nx, ny, nz = filled.shape
    verts = {}
    v, f = [], []

    def vid(i, j, k):
        if (i, j, k) not in verts:
            verts[(i, j, k)] = len(v)
            v.append((xs[i], ys[j], zs[k]))
        return verts[(i, j, k)]

    def full(i, j, k):
        return 0 <= i < nx and 0 <= j < ny and 0 <= k < nz and filled[i, j, k]

    for i in range(nx):
        for j in range(ny):
            for k in range(nz):
                if not filled[i, j, k]:
                    continue
                for axis in range(3):
                    for side in (0, 1):
                        d = [0, 0, 0]
                        d[axis] = 1 if side else -1
                        if full(i + d[0], j + d[1], k + d[2]):
                            continue
                        c = [i, j, k]
                        c[axis] += side
                        u, w = (axis + 1) % 3, (axis + 2) % 3
                        q = []
                        for du, dw in ((0, 0), (1, 0), (1, 1), (0, 1)):
                            p = list(c)
                            p[u] += du
                            p[w] += dw
                            q.append(vid(*p))
                        if not side:
                            q = q[::-1]
                        f += [(q[0], q[1], q[2]), (q[0], q[2], q[3])]
    return np.array(v, float), np.array(f, int)


def building(floors, bays):
    """A block of flats: a box with a recessed window in each bay of each
    floor on its front and back, and a parapet round a flat roof."""
    xs, ys, zs = [0.0], [0.0, 0.08, 0.2, 1.8, 1.92, 2.0], [0.0]
    for b in range(bays):
        xs += [b + 0.3, b + 0.7, b + 1.0]
    for fl in range(floors):
        zs += [fl + 0.35, fl + 0.85, fl + 1.0]
    zs += [floors + 0.3]
    nx, ny, nz = len(xs) - 1, len(ys) - 1, len(zs) - 1
    filled = np.ones((nx, ny, nz), bool)
    for i in range(nx):
        for k in range(nz):
            if i % 3 == 1 and k < nz - 1 and k % 3 == 1:
                filled[i, 0, k] = filled[i, ny - 1, k] = False
    filled[1:nx - 1, 1:ny - 1, nz - 1] = False
    return cells_surface(np.array(xs), np.array(ys), np.array(zs), filled)


def stl_plate_with_holes(holes, sides, whole_sides=False):
    """A plate with round holes as an STL export of a CAD solid: each square
    around a hole fanned from its corners (long slivers), hole walls one quad
    tall, the whole a soup (nothing shared). With whole_sides the plate's
    long sides are one quad each, the caps' corners on their edges
    (T-junctions), as some exporters leave them."""
    tris = []
    h = 0.2
    for k in range(holes):
        cx = 2.0 * k + 1.0
        corners = [(cx + 1, 1), (cx - 1, 1), (cx - 1, -1), (cx + 1, -1)]
        ring = [(cx + 0.5 * math.cos(2 * math.pi * i / sides), 0.5 * math.sin(2 * math.pi * i / sides))
                for i in range(sides)]
        cap = []
        for i in range(sides):
            mid = 2 * math.pi * (i + 0.5) / sides
            q = int(mid // (0.5 * math.pi))
            cap.append((corners[q], ring[i], ring[(i + 1) % sides]))
        for q in range(4):
            cap.append((corners[q], corners[(q + 1) % 4], ring[(q + 1) * sides // 4 % sides]))
        for a, b, c in cap:
            s = (b[0] - a[0]) * (c[1] - a[1]) - (b[1] - a[1]) * (c[0] - a[0])
            if s < 0:
                b, c = c, b
            tris.append(((a[0], a[1], h), (b[0], b[1], h), (c[0], c[1], h)))
            tris.append(((a[0], a[1], 0), (c[0], c[1], 0), (b[0], b[1], 0)))
        for i in range(sides):
            p, q = ring[i], ring[(i + 1) % sides]
            tris.append(((p[0], p[1], 0), (p[0], p[1], h), (q[0], q[1], h)))
            tris.append(((p[0], p[1], 0), (q[0], q[1], h), (q[0], q[1], 0)))
    # the sides end where the caps' squares meet, as a watertight export has them
    outline = [(2.0 * k, -1) for k in range(holes)] + [(2.0 * holes, -1)] + \
              [(2.0 * k, 1) for k in range(holes, 0, -1)] + [(0, 1)]
    if whole_sides:
        outline = [(0, -1), (2.0 * holes, -1), (2.0 * holes, 1), (0, 1)]
    for i in range(len(outline)):
        p, q = outline[i], outline[(i + 1) % len(outline)]
        tris.append(((p[0], p[1], 0), (q[0], q[1], 0), (q[0], q[1], h)))
        tris.append(((p[0], p[1], 0), (q[0], q[1], h), (p[0], p[1], h)))
    v = np.array([p for t in tris for p in t], float)
    return v, np.arange(len(v)).reshape(-1, 3)


def orientation_patches(v, f, bands):
    """Faces turned patch by patch (every other band about z), as a model
    joined from parts exported with differing orientation holds them."""
    c = np.asarray(v)[f].mean(axis=1)
    band = np.floor((np.arctan2(c[:, 1], c[:, 0]) + math.pi) / (2 * math.pi) * bands).astype(int)
    f = np.array(f)
    turn = band % 2 == 1
    f[turn] = f[turn][:, ::-1]
    return v, f


def riveted_plate(rows, sectors):
    """A plate with rows x rows separate rivets standing on it, nothing joined:
    many small closed parts (domed heads on short shafts) beside a large one."""
    parts = [prism([(-1, -1), (1, -1), (1, 1), (-1, 1)], 0.1, "ears")]
    prof = [(0.0, 0.0), (0.03, 0.0), (0.03, 0.06)] + [(0.06 * math.cos(a), 0.06 + 0.04 * math.sin(a))
                                                       for a in np.linspace(0, 0.5 * math.pi, 5)[:-1]]
    prof = [(0.0, 0.0), (0.03, 0.0), (0.03, 0.06), (0.06, 0.06)] + prof[4:] + [(0.0, 0.1)]
    rv, rf = revolve(prof, sectors)
    rf = orient_by_volume(rv, rf)
    for i in range(rows):
        for j in range(rows):
            x, y = -0.8 + 1.6 * i / (rows - 1), -0.8 + 1.6 * j / (rows - 1)
            parts.append((rv + (x, y, 0.1), rf))
    return merge(*parts)


def quadric_decimate(v, f, keep_faces):
    """Greedy edge collapse by the quadric error of the planes around each
    vertex, the survivor placed at the cheaper end (as decimators that keep
    input points do): few vertices where the surface is flat, long slivers
    along the directions of least curvature, valences of 3 to a dozen."""
    import heapq
    v = np.asarray(v, float).copy()
    f = [list(t) for t in np.asarray(f, int)]
    alive = [True] * len(f)
    n = tri_normals(v, np.asarray(f))
    n /= np.linalg.norm(n, axis=1)[:, None]
    quad = np.zeros((len(v), 4, 4))
    ring = [set() for _ in range(len(v))]
    for t, (a, b, c) in enumerate(f):
        p = np.append(n[t], -n[t] @ v[a])
        for x in (a, b, c):
            quad[x] += np.outer(p, p)
            ring[x].add(t)

    def cost(a, b):
        q = quad[a] + quad[b]
        best = None
        for s, r in ((a, b), (b, a)):
            h = np.append(v[s], 1.0)
            e = h @ q @ h
            if best is None or e < best[0]:
                best = (e, s, r)
        return best

    heap = []
    for t in f:
        for x, y in ((t[0], t[1]), (t[1], t[2]), (t[2], t[0])):
            if x < y:
                e, s, r = cost(x, y)
                heapq.heappush(heap, (e, s, r))
    faces = len(f)
    while faces > keep_faces and heap:
        e, s, r = heapq.heappop(heap)
        if not ring[s] or not ring[r]:
            continue
        shared = [t for t in ring[r] if s in f[t]]
        if len(shared) != 2:
            continue
        ns = {x for t in ring[s] for x in f[t]} - {s}
        nr = {x for t in ring[r] for x in f[t]} - {r}
        if len(ns & nr) != 2:
            continue
        fresh = cost(s, r)
        if abs(fresh[0] - e) > 1e-12 * (1 + abs(e)):
            heapq.heappush(heap, fresh)
            continue
        flips = False
        for t in ring[r]:
            if t in shared:
                continue
            a, b, c = (v[x] if x != r else v[s] for x in f[t])
            m = np.cross(b - a, c - a)
            old = tri_normals(v, np.asarray([f[t]]))[0]
            if m @ old <= 0.2 * np.linalg.norm(m) * np.linalg.norm(old):
                flips = True
                break
        if flips:
            continue
        for t in shared:
            alive[t] = False
            for x in f[t]:
                ring[x].discard(t)
            faces -= 1
        for t in list(ring[r]):
            f[t] = [s if x == r else x for x in f[t]]
            ring[s].add(t)
        ring[r] = set()
        quad[s] += quad[r]
        for x in {x for t in ring[s] for x in f[t]} - {s}:
            e2, s2, r2 = cost(s, x)
            heapq.heappush(heap, (e2, s2, r2))
    return compact(v, np.array([t for t, ok in zip(f, alive) if ok], int))


def decimated_scan(levels, keep_faces, seed):
    """A bumpy closed scan simplified by quadric edge collapse."""
    v, f = icosphere(levels)
    v = bumpy(v, 0.25, 5, seed)
    v[:, 2] *= 0.6
    return quadric_decimate(v, f, keep_faces)


def catmull_clark(v, quads):
    """One step of Catmull-Clark subdivision of a closed quad mesh."""
    v = np.asarray(v, float)
    face_pt = np.array([v[list(q)].mean(axis=0) for q in quads])
    edge_faces = {}
    for k, q in enumerate(quads):
        for i in range(4):
            a, b = q[i], q[(i + 1) % 4]
            edge_faces.setdefault((min(a, b), max(a, b)), []).append(k)
    edges = list(edge_faces)
    edge_id = {e: len(v) + len(quads) + i for i, e in enumerate(edges)}
    edge_pt = np.array([(v[a] + v[b] + face_pt[edge_faces[(a, b)]].sum(axis=0)) / 4 for a, b in edges])
    vf = [[] for _ in range(len(v))]
    ve = [[] for _ in range(len(v))]
    for k, q in enumerate(quads):
        for x in q:
            vf[x].append(k)
    for a, b in edges:
        ve[a].append((v[a] + v[b]) / 2)
        ve[b].append((v[a] + v[b]) / 2)
    new_v = np.empty_like(v)
    for x in range(len(v)):
        nval = len(vf[x])
        F = face_pt[vf[x]].mean(axis=0)
        R = np.mean(ve[x], axis=0)
        new_v[x] = (F + 2 * R + (nval - 3) * v[x]) / nval
    out = []
    for k, q in enumerate(quads):
        c = len(v) + k
        for i in range(4):
            a, b, p = q[i], q[(i + 1) % 4], q[i - 1]
            out.append((a, edge_id[(min(a, b), max(a, b))], c, edge_id[(min(a, p), max(a, p))]))
    return np.vstack([new_v, face_pt, edge_pt]), out


def subdivided_cage(v, quads, levels):
    """A quad cage subdivided `levels` times, each quad split along one
    diagonal, as a subdivision modeller exports it."""
    v = np.array(v, float)
    for _ in range(levels):
        v, quads = catmull_clark(v, quads)
    f = []
    for a, b, c, d in quads:
        f += [(a, b, c), (a, c, d)]
    return v, fix_orientation(v, np.array(f, int))


def subdivision_export(levels):
    """A subdivision-surface model as exported: a cube cage with two faces
    extruded (corners of valence 3 and 5), Catmull-Clark `levels` times, each
    quad split along one diagonal."""
    v = [(x, y, z) for z in (0, 1) for y in (0, 1) for x in (0, 1)] + \
        [(0, 0, 2), (1, 0, 2), (1, 1, 2), (0, 1, 2), (2, 0, 0), (2, 1, 0), (2, 1, 1), (2, 0, 1)]
    quads = [(0, 2, 3, 1), (0, 1, 5, 4), (2, 6, 7, 3), (0, 4, 6, 2),
             (4, 5, 9, 8), (5, 7, 10, 9), (7, 6, 11, 10), (6, 4, 8, 11), (8, 9, 10, 11),
             (1, 3, 13, 12), (3, 7, 14, 13), (7, 5, 15, 14), (5, 1, 12, 15), (12, 13, 14, 15)]
    return subdivided_cage(v, quads, levels)


def photogrammetry_patch(n, seed):
    """A photogrammetry mesh of a rock face: an irregular triangulation of
    noisy heights with a ragged open border, a few small holes and little
    islands of faces cut off beside it."""
    rng = np.random.default_rng(seed)
    pts = rng.uniform(-1, 1, (n, 2))
    tri = Delaunay(pts).simplices
    z = 0.15 * np.sin(2.5 * pts[:, 0]) * np.cos(1.7 * pts[:, 1]) + rng.normal(0, 0.004, n)
    v = np.column_stack([pts, z])
    c = pts[tri].mean(axis=1)
    r = np.linalg.norm(c, axis=1)
    a = np.arctan2(c[:, 1], c[:, 0])
    outline = 0.75 + 0.06 * np.sin(7 * a)
    keep = r < outline + rng.uniform(-0.04, 0.04, len(tri))
    for k in range(5):
        h = rng.uniform(-0.6, 0.6, 2)
        keep &= np.linalg.norm(c - h, axis=1) > 0.025 + 0.012 * k
    # islands: pieces of a ring outside the border, a few points' spacing off it
    # (no vertex shared), away from the slivers along the square hull of the points
    island = (r > outline + 0.14) & (r < outline + 0.22) & (np.sin(11 * a) > 0.6) & (np.abs(c).max(axis=1) < 0.92)
    f = tri[keep | island]
    f = np.where((tri_normals(v, f)[:, 2] < 0)[:, None], f[:, ::-1], f)
    return compact(v, f)


def voxel_isosurface(h, snap):
    """A closed blob from a voxel iso-surface extractor whose vertices are
    written at a fixed precision (`snap` of a voxel): zero-area faces where
    the surface passes next to grid points, copies of one vertex unwelded."""
    def field(p):
        return smooth_union([ellipsoid_distance(p, (0, 0, 0), (0.8, 0.55, 0.45)),
                             capsule_distance(p, (0.5, 0, 0.2), (1.1, 0.3, 0.6), 0.18),
                             ellipsoid_distance(p, (-0.55, 0.1, 0.25), (0.3, 0.3, 0.3))], 14.0)
    v, f = marching_tetrahedra(field, np.array((-1.2, -0.8, -0.7)), np.array((1.5, 0.8, 1.0)), h)
    q = np.round(v / (h * snap)) * (h * snap)
    # each face gets its own corners: the snap makes copies that no index shares
    return q[f.reshape(-1)], np.arange(3 * len(f)).reshape(-1, 3)


def river_terrain(n, width, seed):
    """A terrain heightfield (TIN) with a long, thin winding river channel:
    grid points, plus points along both banks and the bed every cell, so
    the channel is strips of long thin faces."""
    rng = np.random.default_rng(seed)
    xs, ys = np.meshgrid(np.linspace(-1, 1, n + 1), np.linspace(-1, 1, n + 1))
    grid_pts = np.column_stack([xs.reshape(-1), ys.reshape(-1)])
    step = 2.0 / n
    t = np.linspace(-1, 1, 2 * n + 1)
    cy = 0.35 * np.sin(2.2 * t)
    dy = np.gradient(cy, t)
    norm = np.column_stack([-dy, np.ones_like(t)]) / np.sqrt(1 + dy ** 2)[:, None]
    centre = np.column_stack([t, cy])
    banks = [centre + s * width * step * norm for s in (-0.5, 0.0, 0.5)]
    ch = np.abs(ys.reshape(-1) - 0.35 * np.sin(2.2 * xs.reshape(-1)))
    grid_pts = grid_pts[(ch > width * step) | (np.abs(grid_pts[:, 0]) > 0.999)]
    pts = np.vstack([grid_pts] + banks)
    pts = pts[np.abs(pts[:, 0]) <= 1.0]
    pts = np.unique(np.round(pts, 12), axis=0)
    tri = Delaunay(pts).simplices
    z = 0.08 * np.sin(3 * pts[:, 0] + 1) * np.cos(2 * pts[:, 1]) + rng.uniform(-0.004, 0.004, len(pts))
    bed = np.abs(pts[:, 1] - 0.35 * np.sin(2.2 * pts[:, 0])) < 0.25 * width * step
    z[bed] -= 0.008
    v = np.column_stack([pts, z])
    f = np.where((tri_normals(v, tri)[:, 2] < 0)[:, None], tri[:, ::-1], tri)
    area = np.linalg.norm(tri_normals(v, f), axis=1)
    return compact(v, f[area > 1e-12])


def membrane(rings, sectors, gap):
    """A closed body with a thin membrane: a sphere with a flat fin of two
    sheets `gap` apart, the sheets meeting at the fin's outer rim and
    joining the sphere at its equator, as medical segmentations of thin
    tissue come out."""
    v, f = [], []
    R0, R1 = 1.0, 1.8
    # the sphere, lat-long, its equator the fin's inner rim (two rings)
    lat = 2 * rings
    top = [(0.0, 0.0, 1.0)]
    v += top
    for k in range(1, lat):
        th = math.pi * k / lat
        z = math.cos(th)
        r = math.sin(th)
        if k == rings:
            for dz in (gap / 2, -gap / 2):
                for s in range(sectors):
                    a = 2 * math.pi * s / sectors
                    rr = math.sqrt(max(R0 * R0 - dz * dz, 0))
                    v.append((rr * math.cos(a), rr * math.sin(a), dz))
        else:
            for s in range(sectors):
                a = 2 * math.pi * s / sectors
                v.append((r * math.cos(a), r * math.sin(a), z))
    v.append((0.0, 0.0, -1.0))
    bottom = len(v) - 1
    rows = [[1 + s for s in range(sectors)]]
    nxt = 1 + sectors
    for k in range(2, lat + 1):
        rows.append(list(range(nxt, nxt + sectors)))
        nxt += sectors
    for s in range(sectors):
        f.append((0, rows[0][s], rows[0][(s + 1) % sectors]))
        f.append((bottom, rows[-1][(s + 1) % sectors], rows[-1][s]))
    upper_eq, lower_eq = rows[rings - 1], rows[rings]
    for k in range(len(rows) - 1):
        if k == rings - 1:
            continue
        A, B = rows[k], rows[k + 1]
        for s in range(sectors):
            t = (s + 1) % sectors
            f += [(A[s], B[s], B[t]), (A[s], B[t], A[t])]
    # the fin: rings of two sheets from the sphere out to the shared rim
    fin_rings = max(2, int(round((R1 - R0) / (2 * math.pi / sectors))))
    up, lo = upper_eq, lower_eq
    for k in range(1, fin_rings + 1):
        r = R0 + (R1 - R0) * k / fin_rings
        if k == fin_rings:
            rim = list(range(len(v), len(v) + sectors))
            v += [(r * math.cos(2 * math.pi * s / sectors), r * math.sin(2 * math.pi * s / sectors), 0.0)
                  for s in range(sectors)]
            nu, nl = rim, rim
        else:
            nu = list(range(len(v), len(v) + sectors))
            v += [(r * math.cos(2 * math.pi * s / sectors), r * math.sin(2 * math.pi * s / sectors), gap / 2)
                  for s in range(sectors)]
            nl = list(range(len(v), len(v) + sectors))
            v += [(r * math.cos(2 * math.pi * s / sectors), r * math.sin(2 * math.pi * s / sectors), -gap / 2)
                  for s in range(sectors)]
        for s in range(sectors):
            t = (s + 1) % sectors
            f += [(up[s], nu[s], nu[t]), (up[s], nu[t], up[t])]
            f += [(lo[s], nl[t], nl[s]), (lo[s], lo[t], nl[t])]
        up, lo = nu, nl
    v = np.array(v, float)
    return v, orient_by_volume(v, np.array(f, int))


def filleted_box(half, radius, fillet_cells):
    """A box with rounded edges and corners as a CAD tessellator writes it:
    each flat side one quad, each fillet a strip of `fillet_cells` long thin
    faces across, each corner a patch of the sphere."""
    return rounded_slab((half, half, half), radius, fillet_cells)


def threaded_rod(sectors, per_pitch, turns, radius, depth, pitch):
    """A section of a lathe-turned thread, tessellated along the helix: rows
    of vertices wind round at one pitch a turn, the thread's crests and roots
    are helical creases of edges; both ends open, each a turn of the helix
    and a step of one pitch."""
    rows = per_pitch * (turns + 1) + 1
    def r_of(j):
        # a V thread: crest at 0, root half a pitch on
        ph = (j % per_pitch) / per_pitch
        return radius - depth * (1 - abs(1 - 2 * ph))
    v = []
    for j in range(rows):
        for i in range(sectors):
            a = 2 * math.pi * i / sectors
            r = r_of(j)
            v.append((r * math.cos(a), r * math.sin(a), pitch * (j / per_pitch + i / sectors)))
    def vid(i, j):
        return j * sectors + i
    f = []
    for j in range(rows - 1):
        for i in range(sectors):
            if i < sectors - 1:
                a, b, c, d = vid(i, j), vid(i + 1, j), vid(i + 1, j + 1), vid(i, j + 1)
            else:
                if j + per_pitch + 1 >= rows:
                    continue
                a, b, c, d = vid(i, j), vid(0, j + per_pitch), vid(0, j + per_pitch + 1), vid(i, j + 1)
            f += [(a, b, c), (a, c, d)]
    v = np.array(v, float)
    return v, fix_orientation(v, np.array(f, int))


def perforated_sheet(cells, hole_sides, thickness):
    """A thin sheet-metal plate with a grid of small round holes."""
    return holed_plate(cells, hole_sides, 2, thickness)


def counterbored_block(sectors, half=2.0, height=1.5):
    """A square block with a counterbored, chamfered hole through it, as a CAD
    tessellator writes it: each flat side fanned from its corners to the
    hole's rim (long thin faces), the hole's walls one ring of quads each."""
    # the hole's profile (r, z) from the top face down to the bottom face
    profile = [(1.2, height), (1.0, height - 0.2), (1.0, height - 0.6), (0.5, height - 0.6), (0.5, 0.1),
               (0.6, 0.0)]
    corners = [(half, half), (-half, half), (-half, -half), (half, -half)]
    v = [(x, y, height) for x, y in corners] + [(x, y, 0.0) for x, y in corners]
    f = []
    for i in range(4):
        j = (i + 1) % 4
        f += [(i, j, 4 + j), (i, 4 + j, 4 + i)]
    rings = []
    for r, z in profile:
        rings.append(list(range(len(v), len(v) + sectors)))
        v += [(r * math.cos(2 * math.pi * s / sectors), r * math.sin(2 * math.pi * s / sectors), z)
              for s in range(sectors)]
    for a, b in zip(rings, rings[1:]):
        for s in range(sectors):
            t = (s + 1) % sectors
            f += [(a[s], a[t], b[t]), (a[s], b[t], b[s])]
    # corner j (at 45 + 90 j degrees) fans over the rim from 90 j to 90 (j + 1)
    # degrees; one face joins it to the corner before and the rim between
    quarter = sectors // 4
    for first, ring in ((0, rings[0]), (4, rings[-1])):
        for j in range(4):
            corner, before = first + j, first + (j - 1) % 4
            f.append((before, corner, ring[quarter * j]))
            f += [(corner, ring[(quarter * j + s) % sectors], ring[(quarter * j + s + 1) % sectors])
                  for s in range(quarter)]
    v = np.array(v, float)
    return v, fix_orientation(v, np.array(f, int))


def pipe_elbow(around, arc_rings, outer, wall, bend, straight):
    """A thick-walled pipe elbow: a straight run, a quarter bend of radius
    `bend` in `arc_rings` rings and a second straight run, each straight run
    one ring of long faces, the ends closed by annuli."""
    frames = [((0.0, 0.0, -straight), (0.0, 0.0, 1.0))]
    for k in range(arc_rings + 1):
        a = 0.5 * math.pi * k / arc_rings
        frames.append(((bend - bend * math.cos(a), 0.0, bend * math.sin(a)), (math.sin(a), 0.0, math.cos(a))))
    frames.append(((bend + straight, 0.0, bend), (1.0, 0.0, 0.0)))
    v, f = [], []
    side = np.array((0.0, 1.0, 0.0))
    for radius in (outer, outer - wall):
        for p, t in frames:
            n = np.cross(side, t)
            for s in range(around):
                a = 2 * math.pi * s / around
                v.append(np.asarray(p) + radius * (math.cos(a) * n + math.sin(a) * side))
    rings = len(frames)

    def vid(shell, k, s):
        return (shell * rings + k) * around + s % around

    for shell in (0, 1):
        for k in range(rings - 1):
            for s in range(around):
                f += [(vid(shell, k, s), vid(shell, k, s + 1), vid(shell, k + 1, s + 1)),
                      (vid(shell, k, s), vid(shell, k + 1, s + 1), vid(shell, k + 1, s))]
    for k in (0, rings - 1):
        for s in range(around):
            f += [(vid(0, k, s), vid(1, k, s), vid(1, k, s + 1)), (vid(0, k, s), vid(1, k, s + 1), vid(0, k, s + 1))]
    v = np.array(v, float)
    return v, fix_orientation(v, np.array(f, int))


def pipe_tee(h):
    """A hollow pipe tee as a voxelised CAD part holds it: the iso-surface of
    two tubes' union (walls 0.1 thick) clipped by the ends' planes, its sharp
    creases cut across by marching tetrahedra."""
    def field(p):
        x, y, z = p[:, 0], p[:, 1], p[:, 2]
        run = np.hypot(y, z)
        branch = np.hypot(x, y)
        outer = np.minimum(np.maximum(run - 0.5, np.abs(x) - 1.5), np.maximum(branch - 0.4, np.maximum(-z, z - 1.4)))
        inner = np.minimum(np.maximum(run - 0.4, np.abs(x) - 1.6), np.maximum(branch - 0.3, np.maximum(-z, z - 1.5)))
        return np.maximum(outer, -inner)

    return marching_tetrahedra(field, np.array((-1.6, -0.6, -0.6)), np.array((1.6, 0.6, 1.5)), h)


def coil_spring(turns, along, around, coil, wire, pitch):
    """A coil spring: a round wire of radius `wire` along a helix, its two
    ends closed by fans, the coils `pitch` apart (less twice the wire the gap
    between them)."""
    v, f = [], []
    for k in range(along + 1):
        a = 2 * math.pi * turns * k / along
        c = np.array((coil * math.cos(a), coil * math.sin(a), pitch * turns * k / along))
        t = np.array((-coil * math.sin(a), coil * math.cos(a), pitch / (2 * math.pi)))
        t /= np.linalg.norm(t)
        n = np.array((math.cos(a), math.sin(a), 0.0))
        b = np.cross(t, n)
        for s in range(around):
            w = 2 * math.pi * s / around
            v.append(c + wire * (math.cos(w) * n + math.sin(w) * b))
    for k in range(along):
        for s in range(around):
            a, b = k * around + s, k * around + (s + 1) % around
            f += [(a, b, b + around), (a, b + around, a + around)]
    last = along * around
    f += [(0, (s + 1) % around, s) for s in range(1, around - 1)]
    f += [(last, last + s, last + (s + 1) % around) for s in range(1, around - 1)]
    v = np.array(v, float)
    return v, fix_orientation(v, np.array(f, int))


def necked_blob(h, necks):
    """Three round lumps joined by necks of the given radii, as marching
    tetrahedra extract a scan's iso-surface (no blending at the necks)."""
    centres = [(-1.2, 0.0, 0.0), (0.0, 0.0, 0.0), (1.2, 0.0, 0.0)]
    parts = [capsule_distance_of(c, np.add(c, (0.0, 0.0, 0.05)), 0.45) for c in centres]
    for (a, b), r in zip(zip(centres, centres[1:]), necks):
        parts.append(capsule_distance_of(a, b, r))

    def field(p):
        return np.min(np.stack([g(p) for g in parts], axis=1), axis=1)

    return marching_tetrahedra(field, np.array((-1.8, -0.6, -0.6)), np.array((1.8, 0.6, 0.6)), h)


def capsule_distance_of(a, b, r):
    return lambda p: capsule_distance(p, a, b, r)


def scanned_head(levels, seed):
    """A scanned head: an ellipsoid with a nose, brows, eye sockets, lips and
    ears as smooth bumps and pits, a little noise, cut open at the neck by
    dropping the faces below a tilted plane (a stair-stepped rim)."""
    rng = np.random.default_rng(seed)
    v, f = icosphere(levels)
    d = v.copy()
    features = [((0, 1, 0.05), 0.35, 0.22), ((0.3, 0.9, 0.35), -0.08, 0.12), ((-0.3, 0.9, 0.35), -0.08, 0.12),
                ((0, 0.95, 0.42), 0.05, 0.3), ((0, 0.97, -0.35), 0.06, 0.1), ((1, 0, 0.1), 0.1, 0.18),
                ((-1, 0, 0.1), 0.1, 0.18)]
    r = np.ones(len(v))
    for c, amp, width in features:
        c = np.asarray(c, float) / np.linalg.norm(c)
        r += amp * np.exp(-np.sum((d - c) ** 2, axis=1) / width ** 2)
    r += rng.normal(0, 0.002, len(v))
    v = v * r[:, None] * (0.8, 0.95, 1.15)
    cen = v[f].mean(axis=1)
    keep = cen @ np.array((0.0, 0.3, 1.0)) > -0.75
    return compact(v, f[keep])


def noisy_scan(levels, noise, holes, seed):
    """A laser scan with noise and pinholes: a bumpy sphere, each vertex
    moved along its radius by `noise` times the mean edge, and small holes
    of one to three faces' width where the scanner saw nothing."""
    rng = np.random.default_rng(seed)
    v, f = icosphere(levels)
    v = bumpy(v, 0.15, 4, seed)
    e = np.linalg.norm(v[f[:, 0]] - v[f[:, 1]], axis=1).mean()
    v = v * (1 + noise * e * rng.normal(0, 1, len(v)))[:, None]
    cen = v[f].mean(axis=1)
    keep = np.ones(len(f), bool)
    for _ in range(holes):
        p = v[rng.integers(len(v))]
        keep &= np.linalg.norm(cen - p, axis=1) > e * rng.uniform(0.6, 1.8)
    return compact(v, f[keep])


def low_poly_house():
    """A low-poly house as game and architecture models hold it: closed boxes
    and a roof prism put together without a boolean, overlapping one another,
    with coplanar, overlapping sides (the wing's front is the main block's)."""
    parts = [box((0, 0, 0), (4, 3, 2.5)), box((3, 0, 0), (6, 2, 1.8)), box((-0.5, -0.5, -0.2), (6.5, 3.5, 0)),
             box((2.6, 1.8, 2), (3.1, 2.3, 4.2)), box((1.5, -0.4, 0), (2.5, 0, 1.6))]
    roof_v = np.array([(-0.2, -0.2, 2.5), (4.2, -0.2, 2.5), (4.2, 3.2, 2.5), (-0.2, 3.2, 2.5),
                       (-0.2, 1.5, 3.8), (4.2, 1.5, 3.8)], float)
    roof_f = np.array([(0, 2, 1), (0, 3, 2), (0, 1, 5), (0, 5, 4), (3, 4, 5), (3, 5, 2), (0, 4, 3), (1, 2, 5)], int)
    parts.append((roof_v, orient_by_volume(roof_v, roof_f)))
    return merge(*parts)


def slab_under_a_wall():
    """A thin base slab (a box 7 x 4 x 0.2, sides one quad each) with a
    separate box 3 x 0.4 x 1.6 standing on it: the box's narrow sides refine
    the target beside them, on the slab too."""
    return merge(box((-0.5, -0.5, -0.2), (6.5, 3.5, 0)), box((1.5, -0.4, 0), (4.5, 0, 1.6)))


def boxes_face_to_face(thickness):
    """A box 4 x 3 x 2.5 with a separate box 3 x `thickness` x 1.6 pushed
    against its front, their touching sides coplanar and back to back, as
    low-poly models put a porch against a house."""
    return merge(box((0, 0, 0), (4, 3, 2.5)), box((1.5, -thickness, 0), (4.5, 0, 1.6)))


def boxes_sharing_a_side():
    """Two boxes 4 x 3 x 2.5 face to face, their touching sides on the same
    four corners: the weld joins the corners and drops one copy of the
    shared side, left as an inner wall each of whose sides has three faces."""
    return merge(box((0, 0, 0), (4, 3, 2.5)), box((0, -3, 0), (4, 0, 2.5)))


def holed_heightfield(n, hole, seed):
    """A heightfield (a grid of two triangles a cell) with a round pit cut out
    cell by cell: the hole's rim a staircase of the grid's lines."""
    rng = np.random.default_rng(seed)
    k = rng.uniform(1, 3, 4)
    v, f = grid(n, n, height=lambda x, y: 0.15 * math.sin(k[0] * x + k[1] * y) + 0.1 * math.cos(k[2] * x * y + k[3]))
    cen = v[f].mean(axis=1)
    keep = np.hypot(cen[:, 0] - 0.2, cen[:, 1] + 0.1) > hole
    return compact(v, f[keep])


def sawtooth_sheet(teeth, depth, rows):
    """A flat sheet one side of which is a saw: `teeth` sharp teeth `depth`
    deep, each tooth's tip a border corner far under 90 degrees."""
    pts = []
    for i in range(teeth):
        pts += [(2.0 * i / teeth - 1, 1.0), (2.0 * (i + 0.5) / teeth - 1, 1.0 + depth)]
    pts += [(1.0, 1.0)]
    v, f = [], []
    for j in range(rows + 1):
        y = -1.0 + 2.0 * j / rows
        for x, _ in pts:
            v.append((x, y, 0.0))
    w = len(pts)
    for j in range(rows):
        for i in range(w - 1):
            a = j * w + i
            f += [(a, a + 1, a + w + 1), (a, a + w + 1, a + w)]
    top = rows * w
    for m in range(1, w - 1, 2):
        v.append((pts[m][0], pts[m][1], 0.0))
        f += [(top + m - 1, top + m, len(v) - 1), (top + m, top + m + 1, len(v) - 1)]
    v = np.array(v, float)
    return compact(v, orient_up(v, np.array(f, int)))


def box_one_side_fine(fine):
    """A box whose top is a fine grid (`fine` x `fine` cells) and whose other
    sides are single quads, each side beside the top fanned from its far
    corners to the top's edge points: long slivers meeting the fine grid."""
    v = [(x, y, 1.0) for y in np.linspace(0, 1, fine + 1) for x in np.linspace(0, 1, fine + 1)]
    f = []
    for j in range(fine):
        for i in range(fine):
            a = j * (fine + 1) + i
            f += [(a, a + 1, a + fine + 2), (a, a + fine + 2, a + fine + 1)]
    base = len(v)
    v += [(0, 0, 0), (1, 0, 0), (1, 1, 0), (0, 1, 0)]

    def top(i, j):
        return j * (fine + 1) + i

    edges = [([top(i, 0) for i in range(fine + 1)], base, base + 1),
             ([top(fine, j) for j in range(fine + 1)], base + 1, base + 2),
             ([top(i, fine) for i in range(fine, -1, -1)], base + 2, base + 3),
             ([top(0, j) for j in range(fine, -1, -1)], base + 3, base)]
    for line, lo, hi in edges:
        half = fine // 2
        for k in range(fine):
            f.append((line[k], line[k + 1], lo if k < half else hi))
        f.append((line[half], lo, hi))
    f += [(base, base + 1, base + 2), (base, base + 2, base + 3)]
    v = np.array(v, float)
    return v, fix_orientation(v, np.array(f, int))


def duplicated_sphere(levels, share, seed):
    """A sphere as a careless exporter writes it: every vertex written twice
    (each face naming one of the copies at random) and a share of the faces
    written twice, in the same order."""
    rng = np.random.default_rng(seed)
    v, f = icosphere(levels)
    n = len(v)
    f = f + n * rng.integers(0, 2, f.shape)
    again = f[rng.uniform(0, 1, len(f)) < share]
    return np.vstack([v, v]), np.vstack([f, again])


def wine_glass(sectors):
    """A lathe-turned wine glass, as a revolve with many sectors writes it:
    a thin foot, a stem, a bowl whose wall is two surfaces 0.02 apart joined
    at the rim, each profile span one ring of long thin faces, fans at both
    poles (the inner one at the bowl's bottom)."""
    profile = [(0.0, 0.0), (0.7, 0.0), (0.7, 0.03), (0.08, 0.06), (0.05, 0.12), (0.05, 1.0), (0.1, 1.08),
               (0.45, 1.3), (0.6, 1.7), (0.55, 2.2), (0.53, 2.2), (0.58, 1.7), (0.43, 1.31), (0.08, 1.11),
               (0.0, 1.1)]
    v, f = revolve(profile, sectors)
    return v, orient_by_volume(v, f)


def gyroid_sheet(h, periods):
    """A gyroid surface (as 3D-printing lattices hold it) extracted by marching
    tetrahedra inside a box of `periods` periods a side, open where the
    box cuts it."""
    # numpy's vector sine and cosine may round an element differently by
    # where it falls in the array's alignment, so the file would change from
    # run to run; the scalar functions give the same bits every time.
    sin = np.frompyfunc(math.sin, 1, 1)
    cos = np.frompyfunc(math.cos, 1, 1)

    def field(p):
        x, y, z = p[:, 0], p[:, 1], p[:, 2]
        return (sin(x) * cos(y) + sin(y) * cos(z) + sin(z) * cos(x)).astype(float)

    lo = np.array((0.1, 0.2, 0.3))
    return marching_tetrahedra(field, lo, lo + 2 * math.pi * periods, h)


def closed_tube(path, radii, sides):
    """A closed tube along the path, radius per path point, both ends fanned
    from the path's end points (a CAD sweep's end caps)."""
    path = np.asarray(path, float)
    v, f = [], []
    n = len(path)
    for k in range(n):
        t = path[min(k + 1, n - 1)] - path[max(k - 1, 0)]
        t /= np.linalg.norm(t)
        a = np.cross(t, (0.3, 0.5, 0.8))
        a /= np.linalg.norm(a)
        b = np.cross(t, a)
        for s in range(sides):
            ang = 2 * math.pi * s / sides
            v.append(path[k] + radii[k] * (math.cos(ang) * a + math.sin(ang) * b))
    for k in range(n - 1):
        for s in range(sides):
            a, b = k * sides + s, k * sides + (s + 1) % sides
            f += [(a, b, b + sides), (a, b + sides, a + sides)]
    v += [path[0], path[-1]]
    first, last = len(v) - 2, len(v) - 1
    f += [(first, (s + 1) % sides, s) for s in range(sides)]
    top = (n - 1) * sides
    f += [(last, top + s, top + (s + 1) % sides) for s in range(sides)]
    v = np.array(v)
    return v, orient_by_volume(v, np.array(f, int))


def teapot_parts(sectors):
    """A teapot as modelling packages export it: body, lid, spout and handle
    are separate closed parts pushed into one another, never joined (each
    part's faces run through the others')."""
    body = revolve([(0.0, 0.0), (0.8, 0.0), (1.0, 0.3), (1.05, 0.7), (0.9, 1.1), (0.6, 1.25), (0.0, 1.25)], sectors)
    lid = revolve([(0.0, 1.2), (0.62, 1.2), (0.62, 1.3), (0.3, 1.38), (0.1, 1.45), (0.12, 1.55), (0.0, 1.58)],
                  sectors)
    t = np.linspace(0, 1, 16)
    spout = np.stack([0.7 + 0.9 * t, 0 * t, 0.45 + 0.35 * t + 0.45 * t * t], axis=1)
    a = np.linspace(-0.3 * math.pi, 1.3 * math.pi, 20)
    handle = np.stack([-1.05 - 0.4 * np.sin(np.linspace(0, math.pi, 20)) - 0.02 * a, 0 * a,
                       0.65 + 0.4 * np.cos(np.linspace(0, math.pi, 20))], axis=1)
    handle[0, 0] = handle[-1, 0] = -0.85
    parts = [body, lid, closed_tube(spout, 0.18 - 0.1 * t, 16), closed_tube(handle, [0.07] * 20, 12)]
    return merge(*[(v, orient_by_volume(v, f)) for v, f in parts])


def car_panel(across, along):
    """A car-body panel (a bonnet): open, gently domed, its outline trimmed
    along curves (the cells follow the trim), a character line down the
    middle whose bend fades from 62 to 6 degrees along it (so it is a feature
    at one end and not at the other), and a hem bent down 90 degrees along
    both sides."""
    v, f = [], []
    cols = across + 3
    for j in range(along + 1):
        s = j / along
        y = 3.0 * s
        half = 1.2 + 0.3 * math.sin(math.pi * s) - 0.4 * s * s
        k = 0.6 * (1 - s) + 0.05 * s
        row = []
        for i in range(across + 1):
            x = -half + 2 * half * i / across
            z = 0.3 * (1 - (s - 0.5) ** 2) - k * abs(x) - 0.05 * x * x
            row.append((x, y, z))
        v += [(row[0][0], y, row[0][2] - 0.2)] + row + [(row[-1][0], y, row[-1][2] - 0.2)]
    for j in range(along):
        for i in range(cols - 1):
            a = j * cols + i
            f += [(a, a + 1, a + cols + 1), (a, a + cols + 1, a + cols)]
    v = np.array(v, float)
    return v, orient_up(v, np.array(f, int))


def frayed_cloth(n, seed):
    """A draped cloth as a cloth simulation or scan exports it: open, wrinkled
    in narrow ridges, its border frayed (faces dropped at random near it, some
    left hanging on by one vertex)."""
    rng = np.random.default_rng(seed)
    ridges = [(rng.uniform(0, math.pi), rng.uniform(-1, 1), rng.uniform(0.03, 0.07)) for _ in range(9)]

    def height(x, y):
        z = 0.15 * math.exp(-(x * x + y * y))
        for a, off, amp in ridges:
            d = x * math.cos(a) + y * math.sin(a) - off
            z += amp * math.exp(-(d / 0.07) ** 2)
        return z

    v, f = grid(n, n, -1.5, 1.5, -1.5, 1.5, height)
    c = v[f].mean(axis=1)
    edge = 1.5 - np.abs(c[:, :2]).max(axis=1)
    drop = rng.uniform(0, 1, len(f)) > np.clip(edge / 0.25, 0, 1) + 0.15
    return drop_faces(v, f, drop)


def serrated_leaf(rows, across):
    """A leaf whose border is finely serrated (a tooth every two rows, about
    a third of the mean edge deep), a shallow fold along the midrib."""
    v, f = [], []
    for j in range(rows + 1):
        t = j / rows
        half = 0.5 * math.sin(math.pi * t) ** 0.8 + 0.005
        tooth = 1.0 + (0.08 if j % 2 and 0 < j < rows else 0.0)
        for i in range(across + 1):
            s = -1 + 2 * i / across
            x = 2.0 * t
            y = half * s * (tooth if i in (0, across) else 1.0)
            v.append((x, y, 0.5 * y * y + 0.15 * abs(y) - 0.1 * math.sin(math.pi * t)))
    w = across + 1
    for j in range(rows):
        for i in range(across):
            a = j * w + i
            f += [(a, a + 1, a + w + 1), (a, a + w + 1, a + w)]
    v = np.array(v, float)
    return compact(v, orient_up(v, np.array(f, int)))


def knurled_cylinder(around, rows, height):
    """A knurled grip: a cylinder whose middle is covered in square pyramids
    (each cell's centre raised `height`), plain bands at both ends, caps
    fanned from their centres."""
    R, L, band = 1.0, 2.0, 0.25
    dz = L / rows
    v, f = [], []
    base = lambda i, j: j * around + i % around
    for j in range(rows + 1):
        for i in range(around):
            a = 2 * math.pi * i / around
            v.append((R * math.cos(a), R * math.sin(a), dz * j))
    apex0 = len(v)
    for j in range(rows):
        for i in range(around):
            a = 2 * math.pi * (i + 0.5) / around
            v.append(((R + height) * math.cos(a), (R + height) * math.sin(a), dz * (j + 0.5)))
            p, q, r, s = base(i, j), base(i + 1, j), base(i + 1, j + 1), base(i, j + 1)
            c = len(v) - 1
            f += [(p, q, c), (q, r, c), (r, s, c), (s, p, c)]
    assert apex0 == (rows + 1) * around
    lo, hi = len(v), len(v) + around
    for z in (-band, L + band):
        for i in range(around):
            a = 2 * math.pi * i / around
            v.append((R * math.cos(a), R * math.sin(a), z))
    for i in range(around):
        k = (i + 1) % around
        f += [(lo + i, lo + k, base(k, 0)), (lo + i, base(k, 0), base(i, 0))]
        f += [(base(i, rows), base(k, rows), hi + k), (base(i, rows), hi + k, hi + i)]
    v += [(0.0, 0.0, -band), (0.0, 0.0, L + band)]
    cb, ct = len(v) - 2, len(v) - 1
    for i in range(around):
        k = (i + 1) % around
        f += [(cb, lo + k, lo + i), (ct, hi + i, hi + k)]
    v = np.array(v, float)
    return v, orient_by_volume(v, np.array(f, int))


def tooth_scan(h):
    """A molar as a dental scan holds it: a crown with four cusps and the
    fissures between them, a pit in one cusp, a thin enamel crest along one
    side, cut open below the crown (an iso-surface, the cut along faces)."""
    def field(p):
        crown = ellipsoid_distance(p, (0, 0, 0), (0.5, 0.45, 0.55))
        cusps = [ellipsoid_distance(p, (sx * 0.2, sy * 0.18, 0.42), (0.17, 0.17, 0.14))
                 for sx in (-1, 1) for sy in (-1, 1)]
        d = smooth_union([crown] + cusps, 20.0)
        crest = np.maximum.reduce([np.abs(p[:, 1] + 0.42) - 0.025, np.abs(p[:, 0]) - 0.35, np.abs(p[:, 2] - 0.2) - 0.25])
        d = np.minimum(d, crest)
        fissure = np.minimum(np.abs(p[:, 0]), np.abs(p[:, 1])) - 0.025
        d = np.maximum(d, -np.maximum(fissure, 0.38 - p[:, 2]))
        pit = np.linalg.norm(p - np.array((0.2, 0.18, 0.58)), axis=1) - 0.07
        return np.maximum(d, -pit)

    v, f = marching_tetrahedra(field, np.array((-0.7, -0.7, -0.3)), np.array((0.7, 0.7, 0.8)), h)
    return drop_faces(v, f, v[f].mean(axis=1)[:, 2] < -0.1)


def long_filleted_bar(length, radius, segments):
    """A long bar (`length` x 2 x 1) whose two top long edges are fillets of
    `segments` strips, as CAD tessellators write it: every flat and every
    fillet strip is two faces the bar's whole length (strips of 1:1000), the
    ends fanned from a corner."""
    prof = [(-1.0, 0.0), (1.0, 0.0)]
    for side, cx in ((1, 1.0 - radius), (-1, -1.0 + radius)):
        arc = [(cx + side * radius * math.cos(a), 1.0 - radius + radius * math.sin(a))
               for a in np.linspace(0, math.pi / 2, segments + 1)]
        prof += arc if side == 1 else arc[::-1]
    n = len(prof)
    v = [(0.0, y, z) for y, z in prof] + [(length, y, z) for y, z in prof]
    f = []
    for i in range(n):
        j = (i + 1) % n
        f += [(i, j, n + j), (i, n + j, n + i)]
    for i in range(1, n - 1):
        f += [(0, i, i + 1), (n, n + i + 1, n + i)]
    v = np.array(v, float)
    return v, orient_by_volume(v, np.array(f, int))


def lens(levels, thickness):
    """A smooth lens (an icosphere flattened to `thickness` of its width, as
    a coin or a pebble scan): the rim's curvature radius far under a target,
    no sharp edge."""
    v, f = icosphere(levels)
    return v * np.array((1.0, 1.0, thickness)), f


def foliage_cards(cards, seed):
    """Game foliage: each plant two or three crossed quads (two faces each)
    through one vertical line, separate and passing through one another,
    standing on a ground quad."""
    rng = np.random.default_rng(seed)
    parts = [(np.array([(-3, -3, 0), (3, -3, 0), (3, 3, 0), (-3, 3, 0)], float), np.array([(0, 1, 2), (0, 2, 3)]))]
    for _ in range(cards):
        c = rng.uniform(-2.5, 2.5, 2)
        a0 = rng.uniform(0, math.pi)
        k = int(rng.integers(2, 4))
        h = rng.uniform(0.6, 1.2)
        for m in range(k):
            a = a0 + math.pi * m / k
            d = 0.5 * h * np.array((math.cos(a), math.sin(a)))
            p, q = c - d, c + d
            parts.append((np.array([(p[0], p[1], -0.05), (q[0], q[1], -0.05), (q[0], q[1], h), (p[0], p[1], h)]),
                          np.array([(0, 1, 2), (0, 2, 3)])))
    return merge(*parts)


def millimetre_assembly(screws, sides):
    """A plate in millimetres (200 x 100 x 5, each side two faces) with
    screws (head 5.5 across, 3 tall, shank 3 across) whose heads sit on the
    plate's top (coplanar, back to back) and whose shanks run through it;
    each screw a separate prism of centre-fanned caps."""
    parts = [box((0, 0, 0), (200, 100, 5))]
    for k in range(screws):
        x, y = 20 + 160 * (k % 3) / 2, 20 + 60 * (k // 3)
        hv, hf = prism(circle(sides, 2.75), 3.0, "centre")
        sv, sf = prism(circle(sides, 1.5), 10.0, "centre")
        parts.append((hv + (x, y, 5.0), hf))
        parts.append((sv + (x, y, -6.0), sf))
    return merge(*[(v, orient_by_volume(v, f)) for v, f in parts])


def bellows(sectors, pitches, per_pitch):
    """A corrugated hose: an open tube whose radius waves 0.04 about 1 with a
    pitch of 0.16, `per_pitch` rings a wave, the ends open."""
    v, f = [], []
    rings = pitches * per_pitch
    for k in range(rings + 1):
        z = 0.16 * k / per_pitch
        r = 1.0 + 0.04 * math.sin(2 * math.pi * k / per_pitch)
        for s in range(sectors):
            a = 2 * math.pi * s / sectors
            v.append((r * math.cos(a), r * math.sin(a), z))
    for k in range(rings):
        for s in range(sectors):
            a, b = k * sectors + s, k * sectors + (s + 1) % sectors
            f += [(a, b, b + sectors), (a, b + sectors, a + sectors)]
    return np.array(v, float), np.array(f, int)


def fan_filled_scan(levels, holes, seed):
    """A scan whose holes a repair tool filled with a fan from one rim vertex:
    long slivers, not flat, across each hole (the fan spans 0.2 to 0.4 of
    the radius)."""
    rng = np.random.default_rng(seed)
    v, f = icosphere(levels)
    v = bumpy(v, 0.12, 4, seed)
    c = v[f].mean(axis=1)
    unit = c / np.linalg.norm(c, axis=1)[:, None]
    f = [tuple(t) for t in f]
    for k in range(holes):
        d = rng.normal(size=3)
        d /= np.linalg.norm(d)
        cut = unit @ d > math.cos(0.1 + 0.1 * k / max(holes - 1, 1))
        keep = [t for t, x in zip(f, cut) if not x]
        # the hole's rim: edges used once among the kept faces, around the cut
        half = {}
        for t in keep:
            for a, b in ((t[0], t[1]), (t[1], t[2]), (t[2], t[0])):
                half[(a, b)] = True
        removed = [t for t, x in zip(f, cut) if x]
        rim = {}
        for t in removed:
            for a, b in ((t[0], t[1]), (t[1], t[2]), (t[2], t[0])):
                if (b, a) in half:
                    rim[a] = b
        start = next(iter(rim))
        loop = [start]
        while rim[loop[-1]] != start:
            loop.append(rim[loop[-1]])
        keep += [(loop[0], loop[i], loop[i + 1]) for i in range(1, len(loop) - 1)]
        f = keep
        c = v[np.array(f)].mean(axis=1)
        unit = c / np.linalg.norm(c, axis=1)[:, None]
    return v, np.array(f, int)


def knife_wedge(angle, length, width):
    """A wedge ground to a knife edge `angle` degrees sharp, each flat side
    one quad, the end caps fanned from the edge's end: two faces meet at the
    edge almost back to back."""
    h = length * math.tan(math.radians(angle) / 2)
    return prism([(0.0, 0.0), (length, -h), (length, h)], width, "first")


def rounded_slab(half, radius, fillet_cells):
    """A box of half-extents `half` (any of them 0) with every edge rounded,
    as CAD tessellators write it: each flat side one quad, each round a strip
    of `fillet_cells` long thin faces, each corner a patch of the sphere; with
    a half-extent 0 the part is a sheet whose rim is a half-round bead."""
    per_axis = []
    for h in half:
        ts = [-h - radius] + [-h - radius + radius * k / fillet_cells for k in range(1, fillet_cells)] + \
             ([-h, h] if h > 0 else [0.0]) + [h + radius * k / fillet_cells for k in range(1, fillet_cells)] + \
             [h + radius]
        per_axis.append(np.array(ts))
    hs = np.array(half, float)
    v, f = [], []
    for axis in range(3):
        for sign in (-1.0, 1.0):
            u, w = [d for d in range(3) if d != axis]
            base = len(v)
            mu, mw = len(per_axis[u]), len(per_axis[w])
            for j in range(mw):
                for i in range(mu):
                    q = np.zeros(3)
                    q[axis] = sign * (hs[axis] + radius)
                    q[u], q[w] = per_axis[u][i], per_axis[w][j]
                    inner = np.clip(q, -hs, hs)
                    d = q - inner
                    v.append(inner + radius * d / np.linalg.norm(d))
            for j in range(mw - 1):
                for i in range(mu - 1):
                    a = base + j * mu + i
                    f += [(a, a + 1, a + mu + 1), (a, a + mu + 1, a + mu)]
    v = np.round(np.array(v), 12)
    v, f = weld(v, f)
    v, f = compact(v, f)
    return v, fix_orientation(v, f)


def stepped_shaft(sections):
    """A lathe-turned shaft of (radius, length, sectors) sections as a CAD
    exporter writes it: each section's wall one band of long quads at its own
    chord count, each shoulder an annulus strip joining rings of different
    counts, both ends fanned from a rim point."""
    v, f, rings, z = [], [], [], 0.0
    for r, length, n in sections:
        lo = list(range(len(v), len(v) + n))
        v += [(r * math.cos(2 * math.pi * s / n), r * math.sin(2 * math.pi * s / n), z) for s in range(n)]
        hi = list(range(len(v), len(v) + n))
        v += [(r * math.cos(2 * math.pi * s / n), r * math.sin(2 * math.pi * s / n), z + length) for s in range(n)]
        for s in range(n):
            t = (s + 1) % n
            f += [(lo[s], lo[t], hi[t]), (lo[s], hi[t], hi[s])]
        rings.append((lo, hi))
        z += length
    va = np.array(v, float)
    for (_, top), (bottom, _) in zip(rings, rings[1:]):
        f += ring_strip(top, bottom, va, np.array([0.0, 0.0, 0.0]))
    for ring in (rings[0][0], rings[-1][1]):
        f += [(ring[0], ring[i], ring[i + 1]) for i in range(1, len(ring) - 1)]
    return va, fix_orientation(va, np.array(f, int))


def bent_bracket(thickness, inner, bend_segments, width):
    """A sheet-metal Z bracket as a closed solid: its cross-section (two
    flanges and a web joined by bends of `bend_segments` facets) extruded
    `width`, walls one quad each, the section's caps ear-clipped into long
    slivers along the sheet."""
    def arc(cx, cy, r, a0, a1):
        return [(cx + r * math.cos(a), cy + r * math.sin(a)) for a in np.linspace(a0, a1, bend_segments + 1)]
    t, ri = thickness, inner
    cx = 2.0 + ri + t + ri
    # a Z: the lower flange along y = 0..t, the web up from the first bend,
    # the upper flange on from the second to x = 4
    lower = [(0.0, 0.0)] + arc(2.0, ri + t, ri + t, -math.pi / 2, 0.0) + arc(cx, 1.5, ri, math.pi, math.pi / 2) + \
        [(4.0, 1.5 + ri)]
    upper = [(4.0, 1.5 + ri + t)] + arc(cx, 1.5, ri + t, math.pi / 2, math.pi) + \
        arc(2.0, ri + t, ri, 0.0, -math.pi / 2) + [(0.0, t)]
    pts = lower + upper
    clean = [pts[0]]
    for p in pts[1:]:
        if math.dist(p, clean[-1]) > 1e-9:
            clean.append(p)
    if math.dist(clean[0], clean[-1]) < 1e-9:
        clean.pop()
    return prism(clean, width, "ears")


def varied_fillets_outline(counts, half=(1.5, 0.8), radius=0.3):
    """A rounded rectangle whose four corner arcs are cut into different
    numbers of facets, as a CAD tessellator does under a chord tolerance
    when the corners' radii differ slightly."""
    cx, cy = half[0] - radius, half[1] - radius
    centres = [(cx, cy), (-cx, cy), (-cx, -cy), (cx, -cy)]
    pts = []
    for k, ((x, y), n) in enumerate(zip(centres, counts)):
        a0 = k * math.pi / 2
        pts += [(x + radius * math.cos(a0 + math.pi / 2 * s / n), y + radius * math.sin(a0 + math.pi / 2 * s / n))
                for s in range(n + 1)]
    return pts


def engraved_plate(text_rows, pixel, depth):
    """A plate with text engraved `depth` deep in strokes one `pixel` wide,
    every grid line of the strokes running across the whole plate (long
    coplanar slivers beside the fine strokes)."""
    # block letters whose strokes never touch at a corner only
    glyphs = {"C": ["111", "100", "100", "100", "111"], "E": ["111", "100", "110", "100", "111"],
              "F": ["111", "100", "110", "100", "100"], "H": ["101", "101", "111", "101", "101"],
              "L": ["100", "100", "100", "100", "111"], "O": ["111", "101", "101", "101", "111"],
              "T": ["111", "010", "010", "010", "010"], "U": ["101", "101", "101", "101", "111"]}
    margin = 4
    width = max(len(r) for r in text_rows) * 4 - 1 + 2 * margin
    height = len(text_rows) * 6 - 1 + 2 * margin
    cut = np.zeros((width, height), bool)
    for row, word in enumerate(text_rows):
        for k, ch in enumerate(word):
            for j, line in enumerate(glyphs[ch]):
                for i, bit in enumerate(line):
                    if bit == "1":
                        cut[margin + 4 * k + i, height - 1 - (margin + 6 * row + j)] = True
    # merge runs of equal columns/rows into single cells, as an exporter would
    xs_keep = [0] + [i for i in range(1, width) if not np.array_equal(cut[i], cut[i - 1])] + [width]
    ys_keep = [0] + [j for j in range(1, height) if not np.array_equal(cut[:, j], cut[:, j - 1])] + [height]
    small = np.array([[cut[xs_keep[a], ys_keep[b]] for b in range(len(ys_keep) - 1)] for a in range(len(xs_keep) - 1)])
    filled = np.ones((len(xs_keep) - 1, len(ys_keep) - 1, 2), bool)
    filled[:, :, 1] &= ~small
    xs = np.array(xs_keep, float) * pixel
    ys = np.array(ys_keep, float) * pixel
    zs = np.array([0.0, 0.3, 0.3 + depth])
    return cells_surface(xs, ys, zs, filled)


def arched_roof(radius, span, facets, length):
    """An extruded profile whose top is a shallow arc of `facets` facets
    (neighbouring facets a few degrees apart) on a flat base, caps
    ear-clipped: a gently curved face cut into long strips."""
    half = math.radians(span) / 2
    top = [(radius * math.sin(a), radius * math.cos(a) - radius * math.cos(half) + 0.3)
           for a in np.linspace(half, -half, facets + 1)]
    return prism([(top[-1][0], 0.0), (top[0][0], 0.0)] + top, length, "ears")


def heat_sink(fins, thickness, height, tip_facets, length):
    """An extruded heat sink: a base with `fins` fins thinner than the target,
    each ending in a half-round tip of `tip_facets` facets, walls one quad
    along the extrusion, the section's caps ear-clipped."""
    pitch, base = 0.4, 0.3
    width = pitch * fins
    outline = [(0.0, 0.0), (width, 0.0), (width, base)]
    r = thickness / 2
    for k in range(fins - 1, -1, -1):
        x = pitch * k + pitch / 2 - r
        outline += [(x + thickness, base), (x + thickness, base + height)]
        outline += [(x + r + r * math.cos(a), base + height + r * math.sin(a))
                    for a in np.linspace(0, math.pi, tip_facets + 1)[1:-1]]
        outline += [(x, base + height), (x, base)]
    outline.append((0.0, base))
    return prism(outline, length, "ears")


# ---------------------------------------------------------------- uneven density: dense rims, decimated figures


def rim_refined_cylinder(around, rings, rim_levels):
    """An open cylinder of `around` sectors whose last rings double their
    sectors and halve their spacing `rim_levels` times toward the top rim,
    as a mesher refines near an edge it was told matters: the rim ring holds
    2^rim_levels times a body ring's points."""
    v, loops = [], []
    step = 2 * math.pi / around
    heights = [step * k for k in range(rings + 1)]
    z = heights[-1]
    counts = [around] * (rings + 1)
    for k in range(1, rim_levels + 1):
        z += step / 2 ** k
        heights.append(z)
        counts.append(around * 2 ** k)
    for h, n in zip(heights, counts):
        loops.append(list(range(len(v), len(v) + n)))
        v += [(math.cos(a), math.sin(a), h) for a in (2 * math.pi * (np.arange(n) + 0.5 * (n == around)) / n)]
    v = np.array(v)
    f = []
    for lo, hi in zip(loops, loops[1:]):
        f += ring_strip(hi, lo, v, np.zeros(3))
    c = np.array((0.0, 0.0, v[:, 2].mean()))
    return v, orient_outwards(v - c, np.array(f))


def fan_refine_rim(v, f, pieces):
    """Each boundary edge split into `pieces`, the new points fanned from its
    face's third corner: a rim far denser than the surface behind it, as a
    boolean cut against a fine cutter or a stitched scan leaves it."""
    v = [tuple(p) for p in np.asarray(v, float)]
    f = np.asarray(f, int)
    count = {}
    for t in f:
        for i in range(3):
            a, b = t[i], t[(i + 1) % 3]
            count[(min(a, b), max(a, b))] = count.get((min(a, b), max(a, b)), 0) + 1
    out = []
    for t in f:
        rim = [i for i in range(3) if count[(min(t[i], t[(i + 1) % 3]), max(t[i], t[(i + 1) % 3]))] == 1]
        if len(rim) != 1:
            out.append(tuple(t))
            continue
        i = rim[0]
        a, b, c = t[i], t[(i + 1) % 3], t[(i + 2) % 3]
        pa, pb = np.array(v[a]), np.array(v[b])
        chain = [a]
        for k in range(1, pieces):
            chain.append(len(v))
            v.append(tuple(pa + (pb - pa) * k / pieces))
        chain.append(b)
        out += [(chain[k], chain[k + 1], c) for k in range(pieces)]
    return np.array(v), np.array(out, int)


def plane_cut_scan(levels, offset, pieces, seed):
    """A bumpy scan cut by a plane through its faces (the cut faces split
    where the plane crosses them: slivers where a corner lies near it), the
    rim then fan-refined `pieces` times."""
    v, f = icosphere(levels)
    v = bumpy(v, 0.15, 4, seed)
    n = np.array((0.3, 0.2, 1.0)) / np.linalg.norm((0.3, 0.2, 1.0))
    s = v @ n - offset
    v = [tuple(p) for p in v]
    cut = {}

    def point(a, b):
        k = (min(a, b), max(a, b))
        if k not in cut:
            t = s[a] / (s[a] - s[b])
            cut[k] = len(v)
            v.append(tuple(np.array(v[a]) + t * (np.array(v[b]) - np.array(v[a]))))
        return cut[k]

    out = []
    for t in f:
        below = [s[x] < 0 for x in t]
        if all(below):
            out.append(tuple(t))
        elif any(below):
            i = [k for k in range(3) if below[k] != below[(k + 1) % 3] and below[k] != below[(k + 2) % 3]][0]
            a, b, c = t[i], t[(i + 1) % 3], t[(i + 2) % 3]
            p, q = point(a, b), point(a, c)
            if below[i]:
                out.append((a, p, q))
            else:
                out += [(p, b, c), (p, c, q)]
    v, f = compact(np.array(v), np.array(out, int))
    return fan_refine_rim(v, f, pieces) if pieces > 1 else (v, f)


def decimated_figure(h, keep_faces):
    """The limbed figure's iso-surface simplified by quadric edge collapse:
    the body becomes a few large faces, fingers and limbs keep more, smaller
    ones, and the mean edge lies far from most edges (the fingers are then
    several times thinner than the target)."""
    v, f = limbed_figure(h, 0.1, 0.045)
    return quadric_decimate(v, f, keep_faces)


def wrinkled_skin(h, folds, width, depth):
    """A blob with skin folds: narrow grooves `width` wide and `depth` deep
    cut around it (as at knuckles, necks and bellies), by marching
    tetrahedra; the grooves narrower than the faces of the surface."""
    def field(p):
        body = ellipsoid_distance(p, (0, 0, 0), (1.0, 0.6, 0.6))
        z = p[:, 0]
        groove = np.zeros(len(p))
        for k in range(folds):
            c = -0.6 + 1.2 * k / max(folds - 1, 1)
            groove = np.maximum(groove, depth * np.exp(-((z - c) / width) ** 2))
        return body + groove

    return marching_tetrahedra(field, np.array((-1.1, -0.7, -0.7)), np.array((1.1, 0.7, 0.7)), h)


def eared_head(h, thickness):
    """A head with two flat ears: thin sheets `thickness` thick with rounded
    rims, blended on, by marching tetrahedra."""
    def ear(p, c):
        q = p - np.asarray(c, float)
        d2 = np.linalg.norm(q[:, [0, 2]] / (0.22, 0.35), axis=1) - 1.0
        flat = np.abs(q[:, 1]) - thickness / 2
        return np.maximum(d2 * 0.22, flat)

    def field(p):
        return smooth_union([ellipsoid_distance(p, (0, 0, 0), (0.5, 0.55, 0.6)),
                             ear(p, (0.0, 0.62, 0.25)), ear(p, (0.0, -0.62, 0.25))], 40.0)

    return marching_tetrahedra(field, np.array((-0.6, -0.8, -0.7)), np.array((0.6, 0.8, 0.7)), h)


def drilled_boss_plate(sectors, half=2.0, thickness=0.3, boss=0.6, boss_height=0.5, hole=0.3):
    """A flat plate with a round boss on top and a hole drilled through boss
    and plate, as a CAD tessellator writes it: the plate's top a square
    (corners only) joined to the boss's foot by one strip of long fans, the
    boss's top an annulus strip, the hole's wall one quad from the boss's
    top to the plate's bottom, the bottom a square joined to the hole."""
    def ring(r, z):
        start = len(v)
        v.extend((r * math.cos(2 * math.pi * s / sectors + 0.1), r * math.sin(2 * math.pi * s / sectors + 0.1), z)
                 for s in range(sectors))
        return list(range(start, start + sectors))

    v = [(x, y, z) for z in (0.0, thickness) for x, y in ((half, half), (-half, half), (-half, -half),
                                                           (half, -half))]
    f = []
    for i in range(4):
        j = (i + 1) % 4
        f += [(i, j, 4 + j), (i, 4 + j, 4 + i)]
    foot, top = ring(boss, thickness), ring(boss, thickness + boss_height)
    hole_top, hole_bottom = ring(hole, thickness + boss_height), ring(hole, 0.0)
    va = np.array(v, float)
    centre = np.zeros(3)
    f += ring_strip([4, 5, 6, 7], foot, va, centre)
    f += ring_strip(top, hole_top, va, centre)
    f += ring_strip([0, 1, 2, 3], hole_bottom, va, centre)
    for a, b in ((foot, top), (hole_bottom, hole_top)):
        for s in range(sectors):
            t = (s + 1) % sectors
            f += [(a[s], a[t], b[t]), (a[s], b[t], b[s])]
    return va, fix_orientation(va, np.array(f, int))


def filleted_edge_block(radius, facets, side=2.0):
    """A block with one long edge rounded by a small fillet of `facets`
    facets, CAD-style: the fillet a strip of long thin quads, the two ends
    fanned from one corner, so every fan face reaches the fillet's arc."""
    outline = [(0.0, 0.0), (side, 0.0), (side, side - radius)]
    outline += [(side - radius + radius * math.cos(math.pi / 2 * k / facets),
                 side - radius + radius * math.sin(math.pi / 2 * k / facets)) for k in range(1, facets)]
    outline += [(side - radius, side), (0.0, side)]
    return prism(outline, 3.0 * side, "first")


def ribbed_panel(ribs, thickness, height):
    """A plate with `ribs` thin ribs standing across it, the solid's boundary
    on a grid of uneven lines: each plate cell between the ribs one long
    quad, the ribs' tops thin strips, their feet sharing the plate's lines."""
    xs = [0.0]
    for k in range(ribs):
        x = (k + 1) * 3.0 / (ribs + 1)
        xs += [x - thickness / 2, x + thickness / 2]
    xs.append(3.0)
    ys, zs = [0.0, 2.0], [0.0, 0.1, 0.1 + height]
    filled = np.zeros((len(xs) - 1, 1, 2), bool)
    filled[:, 0, 0] = True
    filled[1:-1:2, 0, 1] = True
    v, f = cells_surface(xs, ys, zs, filled)
    return v, fix_orientation(v, f)


def bas_relief(n, seed):
    """A bas-relief plaque: a slab whose top is a fine grid of relief (raised
    rounded motifs with steep flanks) and whose sides and bottom are a few
    huge faces, each side fanned from a corner to the top's border points."""
    rng = np.random.default_rng(seed)
    centres = rng.uniform(-0.7, 0.7, (6, 2))
    radii = rng.uniform(0.12, 0.3, 6)

    def height(x, y):
        h = 0.0
        for (cx, cy), r in zip(centres, radii):
            d = math.hypot(x - cx, y - cy) / r
            h = max(h, 0.08 / (1 + math.exp(12 * (d - 1))) * (1 - 0.3 * d * d if d < 1 else 0.7))
        return h

    v, f = grid(n, n, height=height)
    v = [tuple(p) for p in v]
    f = [tuple(t) for t in f]
    base = len(v)
    corners = [(-1, -1), (1, -1), (1, 1), (-1, 1)]
    v += [(x, y, -0.3) for x, y in corners]
    f += [(base, base + 2, base + 1), (base, base + 3, base + 2)]
    # each side: a fan from its bottom-left corner over the top's border run
    runs = [list(range(0, n + 1)), [j * (n + 1) + n for j in range(n + 1)],
            [n * (n + 1) + i for i in range(n, -1, -1)], [j * (n + 1) for j in range(n, -1, -1)]]
    for s, run in enumerate(runs):
        a, b = base + s, base + (s + 1) % 4
        f.append((a, b, run[-1]))
        f += [(a, run[k + 1], run[k]) for k in range(len(run) - 1)]
    v = np.array(v, float)
    return v, fix_orientation(v, np.array(f, int))


def touching_statue(h, gap):
    """A scanned statue with an arm resting against its side: the forearm
    comes within `gap` of the hip along a stretch, as scans of statues and
    figures with hands on hips hold it, by marching tetrahedra."""
    def field(p):
        return smooth_union([ellipsoid_distance(p, (0, 0, 0), (0.35, 0.25, 0.8)),
                             ellipsoid_distance(p, (0, 0, 1.0), (0.2, 0.2, 0.22)),
                             capsule_distance(p, (0.3, 0, 0.6), (0.55 + gap, 0, 0.15), 0.07),
                             capsule_distance(p, (0.55 + gap, 0, 0.15), (0.33 + 0.07 + gap, 0, -0.35), 0.07)],
                            60.0)

    return marching_tetrahedra(field, np.array((-0.5, -0.4, -0.9)), np.array((0.8, 0.4, 1.3)), h)


def seams_split(v, f, cuts, flip):
    """A low-poly game model as written for a renderer: vertices duplicated
    along UV seams (the faces beyond each cut plane name copies of the
    points on it: open seams, the two sides coincident), and the faces of
    one island wound the other way."""
    v = np.asarray(v, float)
    f = np.asarray(f, int).copy()
    centre = v[f].mean(axis=1)
    island = np.zeros(len(f), int)
    for k, (normal, offset) in enumerate(cuts):
        island += (centre @ np.asarray(normal, float) > offset).astype(int) << k
    out_v, index = [], {}
    for t in range(len(f)):
        for i in range(3):
            key = (f[t, i], island[t])
            if key not in index:
                index[key] = len(out_v)
                out_v.append(v[f[t, i]])
            f[t, i] = index[key]
    f[island == flip] = f[island == flip][:, ::-1]
    return np.array(out_v), f


def cage_subdivision(sides, levels):
    """A subdivision-surface export of a prism cage of `sides` sides whose
    caps are split into quads around a centre point (extraordinary points of
    valence sides/2 there, 3 at the cage's corners), Catmull-Clark `levels`
    times, each quad split along one diagonal."""
    v = [(math.cos(2 * math.pi * s / sides), math.sin(2 * math.pi * s / sides), z) for z in (0.0, 1.5)
         for s in range(sides)] + [(0.0, 0.0, 0.0), (0.0, 0.0, 1.5)]
    quads = []
    for s in range(sides):
        t = (s + 1) % sides
        quads.append((s, t, sides + t, sides + s))
    for c, off, rev in ((2 * sides, 0, True), (2 * sides + 1, sides, False)):
        for s in range(0, sides, 2):
            q = (c, off + s, off + (s + 1) % sides, off + (s + 2) % sides)
            quads.append(q[::-1] if rev else q)
    return subdivided_cage(v, quads, levels)


def detail_on_ground(levels, ground):
    """A finely tessellated part (a bumpy sphere) standing on a ground quad
    of two huge triangles `ground` wide, two unjoined components: remeshed
    at the part's mean edge, the ground takes most of the result's faces."""
    v, f = icosphere(levels, 0.5)
    v = bumpy(v, 0.15, 5, 91) + (0.0, 0.0, 0.45)
    g = ground / 2
    plane = (np.array([(-g, -g, 0.0), (g, -g, 0.0), (g, g, 0.0), (-g, g, 0.0)]), np.array([(0, 1, 2), (0, 2, 3)]))
    return merge((v, f), plane)


def knob_on_rod(levels, length, sides):
    """A fine knob (sphere) on a long rod of `sides` sides, one quad a side,
    unjoined and passing into each other as game models leave parts: the
    rod's long edges set the mean edge for the knob too."""
    v, f = icosphere(levels, 0.4)
    rod = prism(circle(sides, 0.12), length, "centre")
    return merge((v + (0.0, 0.0, length), f), rod)


def inputs():
    """(name, builder) for every input of the sweep."""
    soup_source = torus(24, 12)
    yield "cube 12", cube
    yield "L-bracket", l_bracket
    yield "cylinder 16 centre caps", lambda: prism(circle(16), 2, "centre")
    yield "cylinder 16 rim-fan caps", lambda: prism(circle(16), 2, "first")
    yield "cylinder 64 ear caps", lambda: prism(circle(64), 3, "ears")
    yield "hex nut", hex_nut
    yield "gear 12 centre", gear
    yield "gear 24 ears", lambda: gear(24, "ears")
    yield "cone 16 centre base", cone
    yield "cone 32 sharp", lambda: cone(32, 6.0)
    yield "cone 16 rim-fan base", lambda: cone(16, 2.0, "first")
    # Targets coarser than the base: its circle is shorter than two targets.
    yield "cone 32 sharp at 1.5x", lambda: cone(32, 6.0), 1.5
    yield "cone 32 sharp at 2x", lambda: cone(32, 6.0), 2.0
    yield "cone 32 slender, height 10", lambda: cone(32, 10.0)
    yield "cone 24 slender, height 8, rim-fan base", lambda: cone(24, 8.0, "first")
    yield "lat-long sphere 64x8", lambda: lat_long_cad(64, 8)
    yield "lat-long sphere 32x24", lambda: lat_long_cad(32, 24)
    yield "bottle 48", lambda: lat_long_cad(48, 0, "bottle")
    yield "thin plate 8, 0.02", lambda: thin_plate(8, 0.02)
    yield "thin plate 30, 0.05", lambda: thin_plate(30, 0.05)
    yield "two sheets 10, gap 0.05", lambda: two_sheets(10, 0.05)
    yield "spiky sphere 2", lambda: spiky_sphere(2, 6, 2.0, 3)
    yield "spiky sphere 3", lambda: spiky_sphere(3, 12, 1.6, 4)
    yield "saddle crease 20", lambda: saddle_crease(20)
    yield "saddle crease 50", lambda: saddle_crease(50)
    yield "holed shell 3", lambda: holed_shell(3, 20, 1)
    yield "holed shell 4", lambda: holed_shell(4, 60, 2)
    yield "grooved plate 40", lambda: grooved_plate(40, 4, 0.05)
    yield "clustered icosphere", lambda: cluster(*icosphere(5), 0.12, 1)
    yield "clustered torus", lambda: cluster(*torus(120, 40), 0.15, 2)
    yield "clustered bumpy sphere", lambda: cluster(bumpy(icosphere(5)[0], 0.2, 5, 3), icosphere(5)[1], 0.08, 3)
    yield "clustered bumpy coarse", lambda: cluster(bumpy(icosphere(4)[0], 0.2, 5, 4), icosphere(4)[1], 0.2, 4)
    yield "scattered sphere 300", lambda: scattered_sphere(300, 5)
    yield "scattered sphere 3000", lambda: scattered_sphere(3000, 6)
    yield "mixed sphere", lambda: mixed_sphere(150, 1500, 6)
    yield "mixed plate", lambda: mixed_plate(60, 800, 7)
    yield "needle sphere", lambda: degenerate_sphere(3, 12, 8)
    yield "soup torus", lambda: soup(*soup_source)
    yield "three spheres", lambda: merge(icosphere(2), (icosphere(3)[0] * 0.5 + 3, icosphere(3)[1]),
                                         (icosphere(1)[0] * 2 - 5, icosphere(1)[1]))
    yield "tiny beside big", lambda: merge(icosphere(3), (icosphere(1)[0] * 0.05 + 2, icosphere(1)[1]))
    yield "cut scan 2 planes", lambda: cut_scan(5, [((0, 0, 1), 0.55), ((1, 0.3, 0), 0.7)], 3, 11)
    yield "cut scan 1 plane coarse", lambda: cut_scan(4, [((0.2, 0, -1), 0.4)], 2, 12)
    yield "holes of sizes", lambda: holes_of_sizes(5, [0.02, 0.04, 0.07, 0.1, 0.15, 0.22, 0.3, 0.45], 13)
    yield "bent sheet 2 across", lambda: bent_sheet(3.0, 2, 8)
    yield "bent sheet 40 across", lambda: bent_sheet(3.0, 40, 12, False)
    yield "half cylinder fan ends", lambda: half_cylinder(32, 4.0, 1)
    yield "half cylinder 64x40", lambda: half_cylinder(64, 4.0, 40)
    yield "holed plate 5x5", lambda: holed_plate(5, 16, 4)
    yield "holed plate 12x12", lambda: holed_plate(12, 24, 6)
    yield "knot tube 600x12", lambda: knot_tube(2, 3, 600, 12, 0.15)
    yield "knot tube 1200x8 thin", lambda: knot_tube(3, 5, 1200, 8, 0.06)
    yield "graded sphere 10x", lambda: graded_sphere(6000, 10.0, 14)
    yield "graded sphere 10x large", lambda: graded_sphere(15000, 10.0, 15)
    yield "patched sphere cracks", lambda: patched_sphere([12, 16, 20, 24, 28, 32], True)
    yield "patched sphere duplicates", lambda: patched_sphere([24] * 6, False)
    yield "scan 80k", lambda: spiked_scan(6, 0, 16)
    yield "spiked scan 80k, 3000 spikes", lambda: spiked_scan(6, 3000, 16)
    # (name, builder, target as a multiple of the input's mean edge length)
    yield "cut scan 2 planes at 0.5x", lambda: cut_scan(5, [((0, 0, 1), 0.55), ((1, 0.3, 0), 0.7)], 3, 11), 0.5
    yield "cut scan 2 planes at 2x", lambda: cut_scan(5, [((0, 0, 1), 0.55), ((1, 0.3, 0), 0.7)], 3, 11), 2.0
    yield "holed plate 5x5 at 2x", lambda: holed_plate(5, 16, 4), 2.0
    yield "bent sheet 40 across at 0.5x", lambda: bent_sheet(3.0, 40, 12, False), 0.5
    yield "knot tube 600x12 at 2x", lambda: knot_tube(2, 3, 600, 12, 0.15), 2.0
    yield "graded sphere 10x at 0.5x", lambda: graded_sphere(6000, 10.0, 14), 0.5
    # dirty files as real collections hold them
    yield "jittered soup sphere", lambda: jittered_soup(*icosphere(3), 1e-7, 21)
    yield "zero-area faces sphere", lambda: zero_area_sphere(3, 120, 22)
    yield "boxes sharing an edge", lambda: boxes_sharing_edge(2)
    yield "fin on a plate", lambda: fin_on_plate(16, 6)
    yield "cones tip to tip", lambda: cones_tip_to_tip(24, 6)
    yield "flipped faces sphere", lambda: flipped_faces(*icosphere(3), 0.3, 23)
    yield "debris beside a body", lambda: debris(200, 24)
    yield "bracket offset 1e6", lambda: moved(l_bracket, 1.0, 1e6)
    yield "bumpy sphere offset 1e6", lambda: moved(lambda: (bumpy(icosphere(4)[0], 0.1, 3, 25), icosphere(4)[1]),
                                                   1.0, 1e6)
    yield "gear scale 1e-4", lambda: moved(gear, 1e-4)
    yield "gear scale 1e4", lambda: moved(gear, 1e4)
    yield "disc caps 200-slivers fan", lambda: fan_cap_disc(200, 0.3)
    yield "limbed figure", lambda: limbed_figure(0.06, 0.1, 0.045)
    yield "limbed figure at 0.5x", lambda: limbed_figure(0.06, 0.1, 0.045), 0.5
    yield "limbed figure at 2x", lambda: limbed_figure(0.06, 0.1, 0.045), 2.0
    yield "disc caps 200-slivers fan at 0.5x", lambda: fan_cap_disc(200, 0.3), 0.5
    yield "disc caps 200-slivers fan at 2x", lambda: fan_cap_disc(200, 0.3), 2.0
    yield "debris beside a body at 2x", lambda: debris(200, 24), 2.0
    yield "fin on a plate at 0.5x", lambda: fin_on_plate(16, 6), 0.5
    # more kinds: CAD exports, ragged scans, nearly closed and non-orientable sheets, anisotropic faces
    yield "revolved part 64, 3-ring fillets", lambda: filleted_part(64, 3)
    yield "turbine blade 4 sections", lambda: blade(4, 40, 3.0)
    yield "turbine blade 4 sections at 0.5x", lambda: blade(4, 40, 3.0), 0.5
    yield "boss on a box 48", lambda: boss_on_box(48)
    yield "knot tube 90x40 long faces", lambda: knot_tube(2, 3, 90, 40, 0.3)
    yield "ragged scan", lambda: ragged_scan(3000, 31)
    yield "ragged scan at 2x", lambda: ragged_scan(3000, 31), 2.0
    yield "bridged hole 20", lambda: bridged_hole(20)
    yield "sphere with a small hole", lambda: holed_sphere(3, 6)
    yield "cup 48x16", lambda: cup(48, 16)
    yield "moebius strip 120x6", lambda: moebius(120, 6, 0.3)
    yield "cylinder 2000 around x 4", lambda: tube_grid(2000, 4, 1.0, 2.0)
    yield "cylinder 8 around x 2000", lambda: tube_grid(8, 2000, 1.0, 20.0)
    yield "T-junction plate 10", lambda: t_junction_plate(10)
    yield "chain of 3 thin links", lambda: chain(3, 64, 8, 0.06)
    yield "chain of 3 thin links at 2x", lambda: chain(3, 64, 8, 0.06), 2.0
    yield "terrain 30 with a cliff", lambda: terrain_cliff(30, 32)
    yield "terrain 30 with a cliff at 0.5x", lambda: terrain_cliff(30, 32), 0.5
    # organic figures of the kinds real collections hold
    yield "organic quadruped", lambda: quadruped(0.035)
    yield "organic quadruped at 0.5x", lambda: quadruped(0.035), 0.5
    yield "organic hand, gaps 1 target", lambda: close_fingers(0.04, 0.025)
    yield "organic hand, gaps 1 target at 0.5x", lambda: close_fingers(0.04, 0.025), 0.5
    yield "organic hand, gaps 2 targets", lambda: close_fingers(0.04, 0.05)
    yield "organic hand, gaps 2 targets at 0.5x", lambda: close_fingers(0.04, 0.05), 0.5
    yield "organic hand, gaps 0.04 on a grid of 0.04", lambda: close_fingers(0.04, 0.04)
    yield "organic hand, gaps 0.015 on a grid of 0.045", lambda: close_fingers(0.045, 0.015)
    yield "organic hand, gaps 0.025 on a grid of 0.05 at 2x", lambda: close_fingers(0.05, 0.025), 2.0
    yield "organic folds", lambda: folded_figure(0.04, 0.04)
    yield "organic folds at 0.5x", lambda: folded_figure(0.04, 0.04), 0.5
    yield "organic horned sphere", lambda: horned_sphere(5, 31)
    yield "organic horned sphere at 0.5x", lambda: horned_sphere(5, 31), 0.5
    # game models, text, plants, thin shells, patchworks, strands, buildings, STL exports, many parts
    yield "low-poly rock 24", lambda: low_poly_rock(24, 41)
    yield "low-poly rock 24 at 0.5x", lambda: low_poly_rock(24, 41), 0.5
    yield "low-poly rock 24, seed 101", lambda: low_poly_rock(24, 101)
    yield "low-poly rock 24, seed 108", lambda: low_poly_rock(24, 108)
    yield "low-poly animal", lambda: low_poly_animal(42)
    yield "low-poly animal, seed 200", lambda: low_poly_animal(200)
    yield "low-poly animal, seed 209", lambda: low_poly_animal(209)
    # an ear's hull a few points round: two vertices of one line a hundredth of a target apart, which the
    # collapses refuse while a third vertex is joined to both
    yield "low-poly animal, seed 150", lambda: low_poly_animal(150)
    yield "extruded text ELTE and comb", lambda: extruded_text("ELTE", 8)
    yield "extruded text ELTE and comb at 0.5x", lambda: extruded_text("ELTE", 8), 0.5
    yield "leaf with a thin stem", lambda: leaf_with_stem(16, 5, 0.02)
    yield "thin-walled bowl 48x16", lambda: bowl(48, 16, 0.03)
    yield "thin-walled bowl 48x16 at 2x", lambda: bowl(48, 16, 0.03), 2.0
    yield "patchwork box, unwelded T-junctions", lambda: patchwork_box([3, 4, 5, 6, 7, 8])
    yield "hair, 40 strands of 4 sides", lambda: hair(40, 4, 0.01, 43)
    yield "building 4 floors x 6 bays", lambda: building(4, 6)
    yield "building 4 floors x 6 bays at 0.5x", lambda: building(4, 6), 0.5
    yield "STL plate, 3 holes fanned from corners", lambda: stl_plate_with_holes(3, 48)
    yield "STL plate, 3 holes at 0.5x", lambda: stl_plate_with_holes(3, 48), 0.5
    yield "STL plate, 3 holes, T-junction sides", lambda: stl_plate_with_holes(3, 48, True)
    yield "STL plate, 3 holes, T-junction sides at 0.5x", lambda: stl_plate_with_holes(3, 48, True), 0.5
    yield "UV sphere 96x48", lambda: lat_long_cad(96, 48)
    yield "UV sphere 96x48 at 2x", lambda: lat_long_cad(96, 48), 2.0
    yield "torus, orientation in 6 patches", lambda: orientation_patches(*torus(48, 24), 6)
    yield "riveted plate, 36 rivets", lambda: riveted_plate(6, 12)
    yield "strap 40x2 cells, 0.4 wide, at 2x", lambda: grid(40, 2, 0, 16, 0, 0.4), 2.0
    yield "strap 40x2 cells, 0.4 wide, at 3x", lambda: grid(40, 2, 0, 16, 0, 0.4), 3.0
    # decimated scans, subdivision exports, photogrammetry, voxel iso-surfaces, terrains, membranes, CAD
    # fillets, threads, perforated sheets, targets far finer than the input
    yield "decimated scan 5120 to 1200", lambda: decimated_scan(4, 1200, 51)
    yield "decimated scan 5120 to 1200 at 0.5x", lambda: decimated_scan(4, 1200, 51), 0.5
    yield "subdivision export, extruded cube cage", lambda: subdivision_export(3)
    yield "subdivision export, extruded cube cage at 2x", lambda: subdivision_export(3), 2.0
    yield "photogrammetry rock face", lambda: photogrammetry_patch(1600, 52)
    yield "photogrammetry rock face at 2x", lambda: photogrammetry_patch(1600, 52), 2.0
    yield "voxel iso-surface, snapped soup", lambda: voxel_isosurface(0.07, 0.1)
    yield "voxel iso-surface, snapped soup at 0.5x", lambda: voxel_isosurface(0.07, 0.1), 0.5
    yield "voxel iso-surface, snapped soup at 2x", lambda: voxel_isosurface(0.07, 0.1), 2.0
    yield "terrain with a river channel", lambda: river_terrain(40, 0.3, 53)
    yield "terrain with a river channel at 0.5x", lambda: river_terrain(40, 0.3, 53), 0.5
    yield "membrane fin on a sphere", lambda: membrane(12, 48, 0.013)
    yield "membrane fin on a sphere at 0.5x", lambda: membrane(12, 48, 0.013), 0.5
    yield "filleted box, fillets 0.3 target", lambda: filleted_box(1.0, 0.12, 2)
    yield "filleted box, fillets 0.3 target at 0.25x", lambda: filleted_box(1.0, 0.12, 2), 0.25
    yield "thread section, 6 turns, open ends", lambda: threaded_rod(48, 8, 6, 0.5, 0.1, 0.2)
    yield "thread section, 6 turns, open ends at 2x", lambda: threaded_rod(48, 8, 6, 0.5, 0.1, 0.2), 2.0
    yield "perforated sheet, 10x10 holes", lambda: perforated_sheet(10, 8, 0.05)
    yield "perforated sheet, 10x10 holes at 2x", lambda: perforated_sheet(10, 8, 0.05), 2.0
    yield "subdivision export, extruded cube cage at 0.25x", lambda: subdivision_export(3), 0.25
    # counterbored CAD parts, pipes, springs, necked blobs, scanned heads, noisy scans, overlapping low-poly
    # parts, holed heightfields, saw borders, fine sides beside coarse ones, duplicates, lathes, lattices
    yield "counterbored block 48, chamfers, fanned sides", lambda: counterbored_block(48)
    yield "counterbored block 48 at 0.5x", lambda: counterbored_block(48), 0.5
    yield "counterbored block at scale 1e-3, offset 1e3", lambda: moved(lambda: counterbored_block(48), 1e-3, 1e3)
    yield "pipe elbow 32 around, wall 0.1", lambda: pipe_elbow(32, 12, 0.5, 0.1, 1.0, 2.0)
    yield "pipe elbow 32 around, wall 0.1 at 2x", lambda: pipe_elbow(32, 12, 0.5, 0.1, 1.0, 2.0), 2.0
    yield "pipe tee, voxelised", lambda: pipe_tee(0.08)
    yield "coil spring 6 turns, coils close", lambda: coil_spring(6, 360, 10, 1.0, 0.1, 0.26)
    yield "blob with necks 0.08 and 0.04", lambda: necked_blob(0.05, (0.08, 0.04))
    yield "scanned head, open neck cut", lambda: scanned_head(5, 61)
    yield "laser scan, noise 0.3 edge, pinholes", lambda: noisy_scan(5, 0.3, 14, 62)
    yield "low-poly house, overlapping boxes", low_poly_house
    yield "thin slab under a standing wall", slab_under_a_wall
    yield "porch 0.4 thick against a box", lambda: boxes_face_to_face(0.4)
    yield "porch 0.4 thick against a box at 0.5x", lambda: boxes_face_to_face(0.4), 0.5
    yield "two boxes sharing a side at 0.25x", boxes_sharing_a_side, 0.25
    yield "two boxes sharing a side, target 0.5", boxes_sharing_a_side, 0.1375
    yield "heightfield with a stair-stepped pit", lambda: holed_heightfield(40, 0.35, 63)
    yield "heightfield 30 with a stair-stepped pit at 2x", lambda: holed_heightfield(30, 0.25, 2), 2.0
    yield "sheet with a saw border, 12 teeth", lambda: sawtooth_sheet(12, 0.4, 10)
    yield "box with one side 32x32, fanned neighbours", lambda: box_one_side_fine(32)
    yield "sphere, vertices twice, 10% faces twice", lambda: duplicated_sphere(3, 0.1, 64)
    yield "lathe wine glass 192 sectors", lambda: wine_glass(192)
    yield "gyroid sheet, open at the box", lambda: gyroid_sheet(0.25, 1)
    # separate parts pushed together, car panels, frayed cloth, serrated leaves, knurls, dental scans, strips
    # of 1:1000, lenses, foliage cards, millimetre assemblies, corrugated hoses, fan-filled holes
    yield "teapot of 4 separate parts", lambda: teapot_parts(48)
    yield "teapot of 4 separate parts at 3x", lambda: teapot_parts(48), 3.0
    yield "car panel, fading character line, hems", lambda: car_panel(40, 30)
    yield "car panel, fading character line, hems at 0.3x", lambda: car_panel(40, 30), 0.3
    yield "frayed cloth, wrinkles", lambda: frayed_cloth(60, 71)
    yield "frayed cloth, wrinkles, seed 103", lambda: frayed_cloth(60, 103)
    yield "serrated leaf 80 rows", lambda: serrated_leaf(80, 12)
    yield "frayed cloth 90, wrinkles, seed 3, at 2x", lambda: frayed_cloth(90, 3), 2.0
    yield "serrated leaf 60 rows, 6 across", lambda: serrated_leaf(60, 6)
    yield "serrated leaf 30 rows, 8 across", lambda: serrated_leaf(30, 8)
    yield "serrated leaf 120 rows, 20 across, at 2x", lambda: serrated_leaf(120, 20), 2.0
    yield "three holes of sizes, seed 8, at 2x", lambda: holes_of_sizes(4, [0.04, 0.2, 0.4], 8), 2.0
    yield "knurled cylinder 40x12", lambda: knurled_cylinder(40, 12, 0.06)
    yield "knurled cylinder 40x12 at 0.3x", lambda: knurled_cylinder(40, 12, 0.06), 0.3
    yield "tooth scan, cusps, fissures, crest, pit", lambda: tooth_scan(0.03)
    yield "long filleted bar, 1:1000 strips", lambda: long_filleted_bar(10.0, 0.05, 8)
    yield "long filleted bar, 1:1000 strips at 0.05x", lambda: long_filleted_bar(10.0, 0.05, 8), 0.05
    yield "lens 1:20", lambda: lens(4, 0.05)
    yield "foliage cards 30 plants", lambda: foliage_cards(30, 72)
    yield "foliage cards 30 plants at 0.3x", lambda: foliage_cards(30, 72), 0.3
    yield "millimetre plate with 6 screws", lambda: millimetre_assembly(6, 24)
    yield "corrugated hose 25 waves", lambda: bellows(64, 25, 8)
    yield "corrugated hose 25 waves at 3x", lambda: bellows(64, 25, 8), 3.0
    yield "scan with 6 holes fan-filled", lambda: fan_filled_scan(4, 6, 73)
    yield "scan with 6 holes fan-filled, levels 5, seed 23", lambda: fan_filled_scan(5, 6, 23)
    yield "scan with 5 holes fan-filled, seed 21, at 0.5x", lambda: fan_filled_scan(4, 5, 21), 0.5
    # CAD and export kinds of uneven density: knife edges, beaded sheets, lathe parts of mixed chord counts,
    # bent brackets, fillets cut into different facet counts, engraved text, shallow arcs, long bars
    yield "knife wedge 10 degrees", lambda: knife_wedge(10, 2.0, 3.0)
    yield "sheet 0.06 thick, half-round bead rim", lambda: rounded_slab((1.5, 1.0, 0.0), 0.03, 4)
    yield "slab 0.2 thick, rounds 4 facets", lambda: rounded_slab((1.5, 1.0, 0.1), 0.1, 4)
    yield "stepped shaft, 12 to 128 sectors", lambda: stepped_shaft([(0.3, 1.0, 12), (0.5, 0.4, 128), (0.4, 2.0, 24),
                                                                    (0.2, 0.6, 48)])
    yield "Z bracket 0.1 sheet, 6-facet bends", lambda: bent_bracket(0.1, 0.15, 6, 2.0)
    yield "rounded rectangle, corners 1/3/8/24 facets", lambda: prism(varied_fillets_outline([1, 3, 8, 24]), 0.5,
                                                                        "first")
    yield "plate with engraved text", lambda: engraved_plate(["HOTEL", "CUFF"], 0.05, 0.03)
    yield "arched roof, 3-degree facets", lambda: arched_roof(5.0, 60, 20, 3.0)
    yield "hex bar 20 long, sides one quad", lambda: prism(circle(6, 0.5), 20.0, "centre")
    yield "rod 12 sides, 20 long, radius 0.5", lambda: prism(circle(12, 0.5), 20.0)
    yield "rod 16 sides, 20 long, radius 0.5", lambda: prism(circle(16, 0.5), 20.0)
    yield "block 192-sector counterbore, sides 6 wide", lambda: counterbored_block(192, 3.0)
    yield "heat sink, 8 fins 0.08 thick, round tips", lambda: heat_sink(8, 0.08, 1.0, 8, 1.0)
    yield "sheet 0.06 thick, half-round bead rim at 0.5x", lambda: rounded_slab((1.5, 1.0, 0.0), 0.03, 4), 0.5
    yield "sheet 0.06 thick, half-round bead rim at 2x", lambda: rounded_slab((1.5, 1.0, 0.0), 0.03, 4), 2.0
    # uneven density: rims far denser than the surface, decimated figures, skin folds, flat ears
    yield "cylinder 32, rim refined 4 times", lambda: rim_refined_cylinder(32, 10, 4)
    yield "plane-cut scan", lambda: plane_cut_scan(4, 0.3, 1, 81)
    yield "plane-cut scan, rim fanned 8 times", lambda: plane_cut_scan(4, 0.3, 8, 81)
    yield "holes of sizes, rims fanned 6 times", lambda: fan_refine_rim(*holes_of_sizes(4, [0.05, 0.1, 0.2, 0.35], 82),
                                                                        6)
    yield "decimated figure 19k to 800", lambda: decimated_figure(0.06, 800)
    yield "decimated figure 11k to 500 at 0.5x", lambda: decimated_figure(0.08, 500), 0.5
    yield "decimated figure 14k to 1500 at 0.5x", lambda: decimated_figure(0.07, 1500), 0.5
    yield "decimated quadruped 35k to 3k", lambda: quadric_decimate(*quadruped(0.035), 3000)
    yield "decimated hand 18k to 2k", lambda: quadric_decimate(*close_fingers(0.04, 0.025), 2000)
    # two caps side by side in a grid plane along a leg, lines round both a twentieth of a target apart
    yield "decimated quadruped 17k to 2k at 0.5x", lambda: quadric_decimate(*quadruped(0.05), 2000), 0.5
    # two creases leaving one corner three degrees apart, their far ends most of a target apart
    yield "decimated figure 16k to 400 at 0.5x", lambda: decimated_figure(0.065, 400), 0.5
    # an ear's flat side in a grid plane: the extraction's flat faces decimated, part of the ear lost
    yield "decimated head 21k to 1500, ear side on a grid plane, at 0.5x", \
        lambda: quadric_decimate(*eared_head(0.045, 0.04), 1500), 0.5
    yield "skin folds narrower than the faces", lambda: wrinkled_skin(0.05, 5, 0.03, 0.12)
    yield "head with flat ears 0.04 thick", lambda: eared_head(0.03, 0.04)
    # a grid plane a hair inside the ear's side: corners a quarter target and a bit apart
    yield "head with flat ears 0.045 thick on a grid of 0.042", lambda: eared_head(0.042, 0.045)
    yield "laser scan, noise 1 edge, pinholes", lambda: noisy_scan(5, 1.0, 14, 83)
    yield "laser scan, noise 1 edge, pinholes, seed 100", lambda: noisy_scan(5, 1.0, 14, 100)
    # CAD parts, reliefs, touching scans, game exports with split seams, cages with many-valent points,
    # fine parts beside a few huge faces, or beside a few long edges that set the mean edge
    yield "plate with a boss drilled through, 48 sectors", lambda: drilled_boss_plate(48)
    yield "plate with a boss drilled through at 0.5x", lambda: drilled_boss_plate(48), 0.5
    yield "block, edge fillet r 0.05 in 12 facets, fanned ends", lambda: filleted_edge_block(0.05, 12)
    yield "block, edge fillet r 0.05 at 0.3x", lambda: filleted_edge_block(0.05, 12), 0.3
    yield "block, edge fillet r 0.02 in 6 facets at 2x", lambda: filleted_edge_block(0.02, 6), 2.0
    yield "bar 5 across, edge fillet r 0.1 in 3 facets at 2x", lambda: filleted_edge_block(0.1, 3, 5.0), 2.0
    yield "bar 4 long, fillets r 0.2 in 4 strips", lambda: long_filleted_bar(4.0, 0.2, 4)
    yield "panel with 5 ribs 0.03 thick", lambda: ribbed_panel(5, 0.03, 0.4)
    yield "panel with 5 ribs 0.03 thick at 0.3x", lambda: ribbed_panel(5, 0.03, 0.4), 0.3
    yield "box with 0.02 chamfers", lambda: rounded_slab((1.0, 1.0, 1.0), 0.02, 1)
    yield "box with 0.02 chamfers at 0.3x", lambda: rounded_slab((1.0, 1.0, 1.0), 0.02, 1), 0.3
    yield "slab 4 x 1 x 0.6, rounds 0.02 in 2 facets at 2x", lambda: rounded_slab((2.0, 0.5, 0.3), 0.02, 2), 2.0
    yield "cube, rounds 0.02 in 3 facets", lambda: rounded_slab((0.5, 0.5, 0.5), 0.02, 3)
    yield "cube with 0.05 chamfers at 2x", lambda: rounded_slab((1.0, 1.0, 1.0), 0.05, 1), 2.0
    yield "bas-relief plaque 60", lambda: bas_relief(60, 92)
    yield "bas-relief plaque 60 at 2x", lambda: bas_relief(60, 92), 2.0
    yield "statue, forearm 0.01 from the hip", lambda: touching_statue(0.035, 0.01)
    yield "statue, forearm 0.01 from the hip at 2x", lambda: touching_statue(0.035, 0.01), 2.0
    yield "low-poly torus, UV seams split, one island flipped", lambda: seams_split(
        *torus(24, 10), [((1, 0, 0), 0.0), ((0, 0.6, 0.8), 0.1)], 2)
    yield "low-poly torus, UV seams split at 0.5x", lambda: seams_split(
        *torus(24, 10), [((1, 0, 0), 0.0), ((0, 0.6, 0.8), 0.1)], 2), 0.5
    yield "subdivision export, 12-sided cage, valence-6 poles", lambda: cage_subdivision(12, 3)
    yield "subdivision export, 12-sided cage at 2x", lambda: cage_subdivision(12, 3), 2.0
    yield "bumpy part on a ground quad 4 wide", lambda: detail_on_ground(4, 4.0)
    yield "knob on a rod 10 long, 8 sides", lambda: knob_on_rod(3, 10.0, 8)
    yield "knob on a rod 10 long, 8 sides at 0.5x", lambda: knob_on_rod(3, 10.0, 8), 0.5
    # solids whose edges no line holds: rounds and chamfers far finer than the target, lines too short to stay
    yield "box 2 on a side, upright edges rounded 0.05 in 2 facets", lambda: prism(
        varied_fillets_outline([2, 2, 2, 2], (1.0, 1.0), 0.05), 2.0, "ears")
    yield "hex nut round a hexagonal hole", lambda: hex_nut(6)
    yield "bar 6 x 0.44 x 0.44, 0.02 chamfers", lambda: rounded_slab((3.0, 0.2, 0.2), 0.02, 1)
    yield "block 6 x 6 x 0.8, 64-sector counterbore", lambda: counterbored_block(64, 3.0, 0.8)

# ---------------------------------------------------------------- the runs

# A whole `quorvel remesh` process of these sizes (at most 82k faces) takes
# well under a second; one over this many seconds is flagged.
SLOW_SECONDS = 5.0


def compare(tool, a, b):
    text = subprocess.run([tool, "compare", a, b, "--quiet"], capture_output=True, text=True, check=True).stdout
    angle = float(re.search(r"smallest angle\s+\S+ deg\s+(\S+) deg", text).group(1))
    faces = int(re.search(r"\n\s+faces\s+\S+\s+(\S+)", text).group(1).replace(",", ""))
    haus = float(re.search(r"Hausdorff \(sampled\)\s+\S+\s+(\S+) %", text).group(1))
    return faces, angle, haus


def main():
    root = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--build", default=os.path.join(root, "build", "release"))
    parser.add_argument("--peers", default=os.path.join(root, "build-peers"))
    parser.add_argument("--out")
    parser.add_argument("--only", default="")
    args = parser.parse_args()
    tool = os.path.join(args.build, "tools", "quorvel")
    peer = os.path.join(args.peers, "bench", "peers", "bench_peers_process")
    out = args.out or tempfile.mkdtemp(prefix="quorvel-sweep-")
    os.makedirs(out, exist_ok=True)
    print("meshes in %s" % out, file=sys.stderr)
    print("| input | faces | ours faces | ours min ang | ours hausdorff | ours folds | cgal faces | cgal min ang "
          "| cgal hausdorff | cgal folds | flag |")
    print("|---|---|---|---|---|---|---|---|---|---|---|")
    flagged = 0
    for name, build, *rest in inputs():
        if args.only not in name:
            continue
        relative = rest[0] if rest else 1.0
        scale = ["%g" % relative] if relative != 1.0 else []
        v, f = build()
        stem = os.path.join(out, re.sub(r"[^A-Za-z0-9]+", "-", name).strip("-"))
        src, ours, cgal = stem + ".off", stem + "-preserve.off", stem + "-cgal.off"
        write_off(src, v, f)
        folds_in = folded_edges(v, np.asarray(f))
        start = time.monotonic()
        ran = subprocess.run([tool, "remesh", src, "-o", ours, "--quiet"] + (["--relative"] + scale if scale else []),
                             capture_output=True)
        seconds = time.monotonic() - start
        if ran.returncode != 0:
            flagged += 1
            print("| %s | %s | failed (status %d) | | | | | | | | failed |" %
                  (name, "{:,}".format(len(f)), ran.returncode), flush=True)
            continue
        cgal_ok = subprocess.run([peer, src, cgal] + scale, capture_output=True).returncode == 0
        c = compare(tool, src, cgal) + (folded_edges(*read_off(cgal)),) if cgal_ok else None
        o = compare(tool, src, ours) + (folded_edges(*read_off(ours)),)
        flags = []
        if seconds > SLOW_SECONDS:
            flags.append("slow")
        if c and o[1] < min(30.0, c[1]):
            flags.append("angle")
        if c and o[2] > 1.1 * c[2]:
            flags.append("distance")
        if o[3] > folds_in:
            flags.append("folds")
        flagged += bool(flags)
        cg = "| %s | %.2f° | %.4f%% | %d " % ("{:,}".format(c[0]), c[1], c[2], c[3]) if c else "| failed | | | "
        print("| %s | %s | %s | %.2f° | %.4f%% | %d %s| %s |" %
              (name, "{:,}".format(len(f)), "{:,}".format(o[0]), o[1], o[2], o[3], cg, " ".join(flags)),
              flush=True)
    print("\n%d inputs flagged" % flagged)


if __name__ == "__main__":
    main()
