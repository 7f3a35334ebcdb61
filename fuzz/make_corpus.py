#!/usr/bin/python3
"""Writes the seed corpus of the fuzz harnesses: small procedural meshes in
every format and encoding the readers take, under corpus/<harness>/.

    fuzz/make_corpus.py            (rewrites fuzz/corpus)

The seeds are tiny on purpose: libFuzzer mutates them, and the remesh
harness refuses inputs over 4 KB. For the remesh harness each file is
prefixed with two bytes: method and format, then the target."""
import math
import os
import shutil
import struct

HERE = os.path.dirname(os.path.abspath(__file__))
FORMATS = {"off": 0, "obj": 1, "ply": 2, "stl": 3}  # EMeshFormat order


def tetrahedron():
    return ([(0, 0, 0), (1, 0, 0), (0, 1, 0), (0, 0, 1)],
            [(0, 2, 1), (0, 1, 3), (0, 3, 2), (1, 2, 3)])


def cube():
    v = [(x, y, z) for z in (0, 1) for y in (0, 1) for x in (0, 1)]
    quads = [(0, 2, 3, 1), (4, 5, 7, 6), (0, 1, 5, 4), (2, 6, 7, 3), (0, 4, 6, 2), (1, 3, 7, 5)]
    return v, [t for a, b, c, d in quads for t in ((a, b, c), (a, c, d))]


def grid(n=3):
    v = [(x, y, 0) for y in range(n + 1) for x in range(n + 1)]
    f = []
    for y in range(n):
        for x in range(n):
            a = y * (n + 1) + x
            f += [(a, a + 1, a + n + 2), (a, a + n + 2, a + n + 1)]
    return v, f


def icosphere():
    t = (1 + 5 ** 0.5) / 2
    v = [(-1, t, 0), (1, t, 0), (-1, -t, 0), (1, -t, 0), (0, -1, t), (0, 1, t),
         (0, -1, -t), (0, 1, -t), (t, 0, -1), (t, 0, 1), (-t, 0, -1), (-t, 0, 1)]
    f = [(0, 11, 5), (0, 5, 1), (0, 1, 7), (0, 7, 10), (0, 10, 11), (1, 5, 9), (5, 11, 4), (11, 10, 2),
         (10, 7, 6), (7, 1, 8), (3, 9, 4), (3, 4, 2), (3, 2, 6), (3, 6, 8), (3, 8, 9), (4, 9, 5),
         (2, 4, 11), (6, 2, 10), (8, 6, 7), (9, 8, 1)]
    return [tuple(c / math.sqrt(sum(x * x for x in p)) for c in p) for p in v], f


def twisted_strip(n=12):
    """Long thin faces between two rims, turned half a revolution."""
    v, f = [], []
    for i in range(n + 1):
        a = math.pi * i / n
        for s in (-1, 1):
            v.append((s * math.cos(a), s * math.sin(a), 0.05 * i))
    for i in range(n):
        a = 2 * i
        f += [(a, a + 1, a + 3), (a, a + 3, a + 2)]
    return v, f


def fan():
    """Three faces on one edge: non-manifold, for the repairs."""
    return [(0, 0, 0), (1, 0, 0), (0, 1, 0), (0, -1, 0), (0, 0, 1)], [(0, 1, 2), (1, 0, 3), (0, 1, 4)]


SHAPES = {"tetrahedron": tetrahedron(), "cube": cube(), "grid": grid(), "icosphere": icosphere(),
          "strip": twisted_strip(), "fan": fan()}


def number(x):
    return "%.6g" % x


def off(v, f):
    lines = ["OFF", "%d %d 0" % (len(v), len(f))]
    lines += [" ".join(map(number, p)) for p in v] + ["3 %d %d %d" % t for t in f]
    return ("\n".join(lines) + "\n").encode()


def obj(v, f):
    lines = ["# seed", "o seed"] + ["v " + " ".join(map(number, p)) for p in v]
    lines += ["f %d/%d %d/%d %d/%d" % (a + 1, a + 1, b + 1, b + 1, c + 1, c + 1) for a, b, c in f[:1]]
    lines += ["f %d %d %d" % (a + 1, b + 1, c + 1) for a, b, c in f[1:-1]]
    lines += ["f %d %d %d" % (a - len(v), b - len(v), c - len(v)) for a, b, c in f[-1:]]
    return ("\n".join(lines) + "\n").encode()


def ply(v, f, encoding):
    header = ("ply\nformat %s 1.0\ncomment seed\nelement vertex %d\nproperty float x\nproperty float y\n"
              "property float z\nelement face %d\nproperty list uchar int vertex_indices\nend_header\n"
              % (encoding, len(v), len(f))).encode()
    if encoding == "ascii":
        body = "".join(" ".join(map(number, p)) + "\n" for p in v) + "".join("3 %d %d %d\n" % t for t in f)
        return header + body.encode()
    order = "<" if encoding == "binary_little_endian" else ">"
    body = b"".join(struct.pack(order + "3f", *p) for p in v)
    body += b"".join(struct.pack(order + "B3i", 3, *t) for t in f)
    return header + body


def normal(a, b, c):
    u = [b[i] - a[i] for i in range(3)]
    w = [c[i] - a[i] for i in range(3)]
    n = (u[1] * w[2] - u[2] * w[1], u[2] * w[0] - u[0] * w[2], u[0] * w[1] - u[1] * w[0])
    length = math.sqrt(sum(x * x for x in n)) or 1
    return tuple(x / length for x in n)


def stl(v, f, binary):
    if binary:
        out = b"seed".ljust(80, b" ") + struct.pack("<I", len(f))
        for t in f:
            p = [v[i] for i in t]
            out += struct.pack("<12fH", *normal(*p), *p[0], *p[1], *p[2], 0)
        return out
    lines = ["solid seed"]
    for t in f:
        p = [v[i] for i in t]
        lines += ["facet normal " + " ".join(map(number, normal(*p))), " outer loop"]
        lines += ["  vertex " + " ".join(map(number, q)) for q in p]
        lines += [" endloop", "endfacet"]
    return ("\n".join(lines + ["endsolid seed"]) + "\n").encode()


def encodings(v, f):
    """Every (format, variant, bytes) a reader takes."""
    yield "off", "", off(v, f)
    yield "obj", "", obj(v, f)
    yield "ply", "-ascii", ply(v, f, "ascii")
    yield "ply", "-le", ply(v, f, "binary_little_endian")
    yield "ply", "-be", ply(v, f, "binary_big_endian")
    yield "stl", "-ascii", stl(v, f, False)
    yield "stl", "-binary", stl(v, f, True)


def write(harness, name, data):
    directory = os.path.join(HERE, "corpus", harness)
    os.makedirs(directory, exist_ok=True)
    with open(os.path.join(directory, name), "wb") as out:
        out.write(data)


def main():
    shutil.rmtree(os.path.join(HERE, "corpus"), ignore_errors=True)
    for shape, (v, f) in SHAPES.items():
        for fmt, variant, data in encodings(v, f):
            write("read_" + fmt, shape + variant + "." + fmt, data)
            # Remesh seeds: every shape in every format once, both methods
            # and three targets (0.25, 1 and 4 times the mean edge length)
            # spread over them so the set stays small.
            if len(data) > 4094:
                continue
            for exact in (0, 1):
                target = (0, 128, 255)[(len(shape) + exact + FORMATS[fmt]) % 3]
                prefix = bytes([exact | FORMATS[fmt] << 1, target])
                method = "exact" if exact else "preserve"
                write("remesh", "%s%s-%s-%d.%s" % (shape, variant, method, target, fmt), prefix + data)


if __name__ == "__main__":
    main()
