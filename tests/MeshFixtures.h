#pragma once

// Procedural meshes shared by the test suites. Every builder fills only
// m_Vertices and m_Faces; tests build whatever derived data they need.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <map>
#include <queue>
#include <set>
#include <tuple>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

#include "quorvel/meshes/TMesh.h"

namespace QuorvelTest {

using namespace Corvane::Pellix::Quorvel;

constexpr double Pi = 3.14159265358979323846;

template <typename Mesh>
using RealOf = decltype(Mesh().m_BoundingBox.m_Min.x);

template <typename Mesh>
void AddVertex(Mesh& mesh, double x, double y, double z) {
    typedef RealOf<Mesh> Real;
    auto& vertices = mesh.m_Vertices;
    vertices.Grow(1);
    vertices.Expand(vertices.GetCount() + 1);
    auto& v = vertices.GetLast();
    v = typename std::remove_reference<decltype(v)>::type();
    v.m_Position = TVector3<Real>(Real(x), Real(y), Real(z));
}

template <typename Mesh>
void AddFace(Mesh& mesh, unsigned int a, unsigned int b, unsigned int c) {
    typedef typename std::remove_reference<decltype(mesh.m_Faces[0].m_Corners[0])>::type Index;
    mesh.m_Faces.Add(TFace<Index>(Index(a), Index(b), Index(c)));
}

// The quad a b c d as the faces (a, b, c) and (a, c, d).
template <typename Mesh>
void AddQuad(Mesh& mesh, unsigned int a, unsigned int b, unsigned int c, unsigned int d) {
    AddFace(mesh, a, b, c);
    AddFace(mesh, a, c, d);
}

// A small mesh spelled out as a table of positions and a table of corners
// (numbered from the first added vertex), appended to what the mesh holds.
template <typename Mesh>
void AddTables(Mesh& mesh, const std::vector<std::array<double, 3>>& points,
               const std::vector<std::array<unsigned int, 3>>& faces);

// The same, keeping only the points some face uses, in their order (a
// generator that drops faces leaves the others' vertices unused).
template <typename Mesh>
void AddUsedTables(Mesh& mesh, const std::vector<std::array<double, 3>>& points,
                   std::vector<std::array<unsigned int, 3>> faces);

// Deterministic noise in [-1, 1] (xorshift), the same on every platform.
class CNoise {
public:
    explicit CNoise(unsigned int seed) : m_State(seed ? seed : 1u) { }
    double Next() {
        m_State ^= m_State << 13;
        m_State ^= m_State >> 17;
        m_State ^= m_State << 5;
        return (m_State % 20001) / 10000.0 - 1;
    }

private:
    unsigned int m_State;
};

// One triangle in the z = 0 plane, counter-clockwise seen from +z.
template <typename Mesh>
void MakeTriangle(Mesh& mesh) {
    AddTables(mesh, {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{0, 1, 2}});
}

// Unit right-angled tetrahedron, outward winding: volume 1/6.
template <typename Mesh>
void MakeTetrahedron(Mesh& mesh) {
    AddTables(mesh, {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, {{0, 2, 1}, {0, 1, 3}, {0, 3, 2}, {1, 2, 3}});
}

// Axis-aligned box [0,sx]x[0,sy]x[0,sz] of 8 vertices and 12 outward faces.
template <typename Mesh>
void MakeBox(Mesh& mesh, double sx = 1, double sy = 1, double sz = 1) {
    for (int i = 0; i < 8; ++i)
        AddVertex(mesh, (i & 1) ? sx : 0, (i & 2) ? sy : 0, (i & 4) ? sz : 0);
    const unsigned int quads[6][4] = {{0, 2, 3, 1}, {4, 5, 7, 6}, {0, 1, 5, 4},
                                      {2, 6, 7, 3}, {0, 4, 6, 2}, {1, 3, 7, 5}};
    for (auto& q : quads)
        AddQuad(mesh, q[0], q[1], q[2], q[3]);
}

// The faces of a grid of (columns + 1) x (rows + 1) vertices from `base`
// on, row by row, each cell split along the diagonal from its first vertex.
template <typename Mesh>
void AddGridFaces(Mesh& mesh, unsigned int base, unsigned int columns, unsigned int rows) {
    for (unsigned int j = 0; j < rows; ++j)
        for (unsigned int i = 0; i < columns; ++i) {
            const unsigned int a = base + j * (columns + 1) + i;
            AddFace(mesh, a, a + 1, a + columns + 2);
            AddFace(mesh, a, a + columns + 2, a + columns + 1);
        }
}

// A flat n x m grid of squares in z = 0, each split into two triangles,
// spacing h, facing +z. Vertex (i, j) has index j * (n + 1) + i.
template <typename Mesh>
void MakeGrid(Mesh& mesh, unsigned int n, unsigned int m, double h = 1) {
    for (unsigned int j = 0; j <= m; ++j)
        for (unsigned int i = 0; i <= n; ++i)
            AddVertex(mesh, i * h, j * h, 0);
    for (unsigned int j = 0; j < m; ++j)
        for (unsigned int i = 0; i < n; ++i) {
            const unsigned int a = j * (n + 1) + i, b = a + 1, c = a + n + 1, d = c + 1;
            AddQuad(mesh, a, b, d, c);
        }
}

// Icosphere of the given radius: an icosahedron whose faces are split
// `levels` times, new vertices pushed onto the sphere. Closed, outward.
template <typename Mesh>
void MakeIcosphere(Mesh& mesh, unsigned int levels, double radius = 1) {
    const double t = (1 + std::sqrt(5.0)) / 2;
    std::vector<std::array<double, 3>> p = {{-1, t, 0},  {1, t, 0},  {-1, -t, 0}, {1, -t, 0}, {0, -1, t},  {0, 1, t},
                                            {0, -1, -t}, {0, 1, -t}, {t, 0, -1},  {t, 0, 1},  {-t, 0, -1}, {-t, 0, 1}};
    std::vector<std::array<unsigned int, 3>> f = {{0, 11, 5}, {0, 5, 1},  {0, 1, 7},   {0, 7, 10}, {0, 10, 11},
                                                  {1, 5, 9},  {5, 11, 4}, {11, 10, 2}, {10, 7, 6}, {7, 1, 8},
                                                  {3, 9, 4},  {3, 4, 2},  {3, 2, 6},   {3, 6, 8},  {3, 8, 9},
                                                  {4, 9, 5},  {2, 4, 11}, {6, 2, 10},  {8, 6, 7},  {9, 8, 1}};
    for (unsigned int l = 0; l < levels; ++l) {
        std::map<std::pair<unsigned int, unsigned int>, unsigned int> mid;
        auto midpoint = [&](unsigned int a, unsigned int b) {
            auto key = std::make_pair(std::min(a, b), std::max(a, b));
            auto it = mid.find(key);
            if (it != mid.end())
                return it->second;
            p.push_back({(p[a][0] + p[b][0]) / 2, (p[a][1] + p[b][1]) / 2, (p[a][2] + p[b][2]) / 2});
            return mid[key] = unsigned(p.size() - 1);
        };
        std::vector<std::array<unsigned int, 3>> next;
        for (auto& tri : f) {
            unsigned int ab = midpoint(tri[0], tri[1]), bc = midpoint(tri[1], tri[2]), ca = midpoint(tri[2], tri[0]);
            next.push_back({tri[0], ab, ca});
            next.push_back({tri[1], bc, ab});
            next.push_back({tri[2], ca, bc});
            next.push_back({ab, bc, ca});
        }
        f.swap(next);
    }
    for (auto& q : p) {
        const double len = std::sqrt(q[0] * q[0] + q[1] * q[1] + q[2] * q[2]);
        AddVertex(mesh, q[0] / len * radius, q[1] / len * radius, q[2] / len * radius);
    }
    for (auto& tri : f)
        AddFace(mesh, tri[0], tri[1], tri[2]);
}

// Builds all three adjacency tables from scratch.
template <typename Mesh>
void BuildConnectivity(Mesh& mesh) {
    mesh.AssignFaceConnectivity(true);
    mesh.AssignVertexConnectivity(true);
}

// Torus of n x m quads (n around the tube's axis, m around the tube), each
// split into two triangles with the same diagonal, so every vertex has
// valence 6. Vertex (i, j) has index j * n + i; quad (i, j) gives faces
// 2 * (j * n + i) and 2 * (j * n + i) + 1. Needs n, m >= 4 to stay a simple
// surface.
template <typename Mesh>
void MakeTorus(Mesh& mesh, unsigned int n, unsigned int m, double major = 2, double minor = 0.5) {
    for (unsigned int j = 0; j < m; ++j)
        for (unsigned int i = 0; i < n; ++i) {
            const double u = 2 * Pi * i / n, v = 2 * Pi * j / m;
            const double ring = major + minor * std::cos(v);
            AddVertex(mesh, ring * std::cos(u), ring * std::sin(u), minor * std::sin(v));
        }
    for (unsigned int j = 0; j < m; ++j)
        for (unsigned int i = 0; i < n; ++i) {
            const unsigned int a = j * n + i, b = j * n + (i + 1) % n;
            const unsigned int c = ((j + 1) % m) * n + i, d = ((j + 1) % m) * n + (i + 1) % n;
            AddQuad(mesh, a, b, d, c);
        }
}

// An icosphere of radius about 1 whose vertices are pushed in or out along
// their radius by smooth bumps of the given amplitude plus deterministic
// noise of the given amplitude: a star-shaped closed surface around the
// origin with uneven edges and angles.
template <typename Mesh>
void MakeBumpySphere(Mesh& mesh, unsigned int levels, double bumps, double noise, unsigned int seed = 12345) {
    MakeIcosphere(mesh, levels);
    CNoise random(seed);
    for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v) {
        auto& p = mesh.m_Vertices[v].m_Position;
        const double x = p.x, y = p.y, z = p.z;
        const double scale =
            1 + bumps * std::sin(4 * x) * std::sin(5 * y) * std::sin(3 * z + 1) + noise * random.Next();
        p = TVector3<RealOf<Mesh>>(RealOf<Mesh>(x * scale), RealOf<Mesh>(y * scale), RealOf<Mesh>(z * scale));
    }
}

template <typename Mesh>
void AddTables(Mesh& mesh, const std::vector<std::array<double, 3>>& points,
               const std::vector<std::array<unsigned int, 3>>& faces) {
    const unsigned int base = mesh.m_Vertices.GetCount();
    for (const auto& p : points)
        AddVertex(mesh, p[0], p[1], p[2]);
    for (const auto& f : faces)
        AddFace(mesh, base + f[0], base + f[1], base + f[2]);
}

template <typename Mesh>
void AddUsedTables(Mesh& mesh, const std::vector<std::array<double, 3>>& points,
                   std::vector<std::array<unsigned int, 3>> faces) {
    std::vector<unsigned int> index(points.size(), 0);
    for (const auto& t : faces)
        for (const unsigned int k : t)
            index[k] = 1;
    std::vector<std::array<double, 3>> used;
    for (std::size_t k = 0; k < points.size(); ++k)
        if (index[k]) {
            index[k] = static_cast<unsigned int>(used.size());
            used.push_back(points[k]);
        }
    for (auto& t : faces)
        for (unsigned int& k : t)
            k = index[k];
    AddTables(mesh, used, faces);
}

// Appends another mesh's vertices moved by (dx, dy, dz) and its faces,
// turned over when `flip` is set.
template <typename Mesh, typename Other>
void AddMesh(Mesh& mesh, const Other& other, double dx = 0, double dy = 0, double dz = 0, bool flip = false) {
    const unsigned int base = mesh.m_Vertices.GetCount();
    for (unsigned int v = 0; v < other.m_Vertices.GetCount(); ++v) {
        const auto& p = other.m_Vertices[v].m_Position;
        AddVertex(mesh, double(p.x) + dx, double(p.y) + dy, double(p.z) + dz);
    }
    for (unsigned int f = 0; f < other.m_Faces.GetCount(); ++f) {
        const auto* c = other.m_Faces[f].m_Corners;
        AddFace(mesh, base + c[0], base + c[flip ? 2 : 1], base + c[flip ? 1 : 2]);
    }
}

// An open, twisted and curved strip like a turbine blade exported from CAD:
// `bands` bands across its span, each tessellated with faces that run from one
// rim to the next (about 4 / `chordPoints` as wide as they are long). The
// rims hold different, unevenly spaced numbers of points, so the bands are
// zig-zags of slivers and fans rather than regular quads.
template <typename Mesh>
void MakeBladeStrip(Mesh& mesh, unsigned int chordPoints = 200, unsigned int bands = 2, unsigned int seed = 7) {
    CNoise noise(seed);
    const unsigned int base = mesh.m_Vertices.GetCount();
    std::vector<std::vector<double>> rims(bands + 1);
    std::vector<unsigned int> first(bands + 1);
    for (unsigned int r = 0; r <= bands; ++r) {
        // Neighbouring rims differ in point count by up to a fifth.
        const unsigned int count = chordPoints - (r % 2) * (chordPoints / 5) + r;
        std::vector<double>& s = rims[r];
        for (unsigned int i = 0; i < count; ++i)
            s.push_back((i + (i > 0 && i + 1 < count ? 0.3 * noise.Next() : 0)) / (count - 1));
        first[r] = mesh.m_Vertices.GetCount() - base;
        const double t = double(r) / bands;
        const double twist = 1.1 * t, span = 4.0 * t;
        for (const double u : s) {
            // A cambered chord of length 1, twisted about the span and bent.
            const double x = u - 0.5, y = 0.12 * std::sin(Pi * u);
            AddVertex(mesh, x * std::cos(twist) - y * std::sin(twist) + 0.3 * t * t,
                      x * std::sin(twist) + y * std::cos(twist), span);
        }
    }
    for (unsigned int r = 0; r < bands; ++r) {
        const std::vector<double>&lower = rims[r], &upper = rims[r + 1];
        unsigned int i = 0, j = 0;
        const unsigned int a = base + first[r], b = base + first[r + 1];
        while (i + 1 < lower.size() || j + 1 < upper.size()) {
            const bool advanceLower = j + 1 >= upper.size() || (i + 1 < lower.size() && lower[i + 1] < upper[j + 1]);
            if (advanceLower) {
                AddFace(mesh, a + i, a + i + 1, b + j);
                ++i;
            } else {
                AddFace(mesh, a + i, b + j + 1, b + j);
                ++j;
            }
        }
    }
}

// A closed block [0, columns] x [0, rows] x [0, depth] pierced by a grid of
// columns x rows cylindrical through-holes of `sides` sides each (a solid of
// genus columns x rows), tessellated as CAD programs do: each cell of the top
// and bottom faces is fanned from its four corners to its hole's rim, the hole
// walls are single quads from top to bottom, and the outer walls are quads
// between the cell corners. Most faces are long and thin.
template <typename Mesh>
void MakePiercedBlock(Mesh& mesh, unsigned int columns = 4, unsigned int rows = 3, unsigned int sides = 32,
                      double depth = 2, double radius = 0.3) {
    const unsigned int base = mesh.m_Vertices.GetCount();
    const unsigned int quarter = sides / 4;
    sides = 4 * quarter;
    // Cell corners, bottom layer then top layer.
    auto corner = [&](unsigned int i, unsigned int j, unsigned int top) {
        return base + top * (columns + 1) * (rows + 1) + j * (columns + 1) + i;
    };
    for (unsigned int top = 0; top < 2; ++top)
        for (unsigned int j = 0; j <= rows; ++j)
            for (unsigned int i = 0; i <= columns; ++i)
                AddVertex(mesh, i, j, top * depth);
    const unsigned int rimBase = mesh.m_Vertices.GetCount();
    auto rim = [&](unsigned int cell, unsigned int k, unsigned int top) {
        return rimBase + (2 * cell + top) * sides + k % sides;
    };
    for (unsigned int j = 0; j < rows; ++j)
        for (unsigned int i = 0; i < columns; ++i)
            for (unsigned int top = 0; top < 2; ++top)
                for (unsigned int k = 0; k < sides; ++k) {
                    // Rim points start half a step past the diagonal, so none
                    // lies on a line to a corner.
                    const double angle = 2 * Pi * (k + 0.5) / sides + Pi / 4;
                    AddVertex(mesh, i + 0.5 + radius * std::cos(angle), j + 0.5 + radius * std::sin(angle),
                              top * depth);
                }
    auto face = [&](unsigned int p, unsigned int q, unsigned int r, bool flip) {
        AddFace(mesh, p, flip ? r : q, flip ? q : r);
    };
    for (unsigned int j = 0; j < rows; ++j)
        for (unsigned int i = 0; i < columns; ++i) {
            const unsigned int cell = j * columns + i;
            for (unsigned int top = 0; top < 2; ++top) {
                // Counter-clockwise corners from the one at 225 degrees about
                // the hole's axis; rim quarter q lies across the cell side from
                // corner q + 2 to q + 3 and is fanned from corner q + 2.
                const unsigned int corners[4] = {corner(i, j, top), corner(i + 1, j, top), corner(i + 1, j + 1, top),
                                                 corner(i, j + 1, top)};
                const bool flip = top == 0;  // the bottom faces -z
                for (unsigned int q = 0; q < 4; ++q) {
                    const unsigned int c = corners[(q + 2) % 4], next = corners[(q + 3) % 4];
                    for (unsigned int k = q * quarter; k < (q + 1) * quarter; ++k)
                        face(c, rim(cell, k + 1, top), rim(cell, k, top), flip);
                    face(c, next, rim(cell, (q + 1) * quarter, top), flip);
                }
            }
            // Hole walls face into the hole.
            for (unsigned int k = 0; k < sides; ++k)
                AddQuad(mesh, rim(cell, k, 0), rim(cell, k, 1), rim(cell, k + 1, 1), rim(cell, k + 1, 0));
        }
    // Outer walls.
    for (unsigned int i = 0; i < columns; ++i) {
        AddQuad(mesh, corner(i, 0, 0), corner(i + 1, 0, 0), corner(i + 1, 0, 1), corner(i, 0, 1));
        AddQuad(mesh, corner(i + 1, rows, 0), corner(i, rows, 0), corner(i, rows, 1), corner(i + 1, rows, 1));
    }
    for (unsigned int j = 0; j < rows; ++j) {
        AddQuad(mesh, corner(columns, j, 0), corner(columns, j + 1, 0), corner(columns, j + 1, 1),
                corner(columns, j, 1));
        AddQuad(mesh, corner(0, j + 1, 0), corner(0, j, 0), corner(0, j, 1), corner(0, j + 1, 1));
    }
}

// A closed, noisy organic surface like a scanned animal: an icosphere pushed
// out along its radii into thin limbs (narrow bumps several times the body's
// radius long), with tight folds (a high-frequency ripple) and per-vertex
// noise of `noiseLevel` edges (a tenth by default; near one, as in raw scans,
// most edges bend by more than a feature angle).
template <typename Mesh>
void MakeScannedCreature(Mesh& mesh, unsigned int levels = 4, double noiseLevel = 0.1, unsigned int seed = 99) {
    MakeIcosphere(mesh, levels);
    CNoise noise(seed);
    const double limbs[6][3] = {{0.6, 0.6, -0.53},   {-0.6, 0.6, -0.53}, {0.6, -0.6, -0.53},
                                {-0.6, -0.6, -0.53}, {0.0, 0.9, 0.44},   {0.0, -0.95, 0.31}};
    const double edge = 1.1 / (1u << levels);
    for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v) {
        auto& p = mesh.m_Vertices[v].m_Position;
        const double x = p.x, y = p.y, z = p.z;
        double r = 1 + 0.08 * std::sin(17 * x + 3) * std::sin(19 * y) * std::sin(13 * z + 1);
        for (const auto& l : limbs) {
            const double cosine = (x * l[0] + y * l[1] + z * l[2]) / std::sqrt(l[0] * l[0] + l[1] * l[1] + l[2] * l[2]);
            const double angle = std::acos(std::max(-1.0, std::min(1.0, cosine)));
            r += 1.6 * std::exp(-(angle * angle) / (2 * 0.12 * 0.12));
        }
        r += noiseLevel * edge * noise.Next();
        p = TVector3<RealOf<Mesh>>(RealOf<Mesh>(x * r), RealOf<Mesh>(y * r), RealOf<Mesh>(z * r));
    }
}

// A closed, noisy bone like a scanned femur: an icosphere stretched into a
// shaft `length` long whose ends swell into knobs, with an offset head on a
// neck at one end and per-vertex noise of about a tenth of an edge.
template <typename Mesh>
void MakeScannedBone(Mesh& mesh, unsigned int levels = 4, double length = 8, unsigned int seed = 5) {
    MakeIcosphere(mesh, levels);
    CNoise noise(seed);
    const double edge = 1.1 / (1u << levels);
    for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v) {
        auto& p = mesh.m_Vertices[v].m_Position;
        const double x = p.x, y = p.y, z = p.z;
        // z in [-1, 1] runs along the shaft; the knobs swell near both ends.
        const double knob = 0.35 + 0.65 * std::pow(std::fabs(z), 6.0);
        const double head = z > 0.8 && x > 0 ? 0.8 * (z - 0.8) / 0.2 * x : 0;
        const double scale = 1 + 0.1 * edge * noise.Next();
        p = TVector3<RealOf<Mesh>>(RealOf<Mesh>((x * knob + head) * scale), RealOf<Mesh>(y * knob * scale),
                                   RealOf<Mesh>(z * length / 2 * scale));
    }
}

// Faces between two closed rings of vertices (indices, in the same turning
// sense and starting at the same angle) whose counts differ: the ring that
// is behind in its share of the turn advances, so the faces fan where one
// ring is much denser than the other.
template <typename Mesh>
void AddRingStrip(Mesh& mesh, const std::vector<unsigned int>& inner, const std::vector<unsigned int>& outer) {
    const std::size_t n0 = inner.size(), n1 = outer.size();
    std::size_t i = 0, j = 0;
    while (i < n0 || j < n1) {
        const unsigned int a0 = inner[i % n0], a1 = inner[(i + 1) % n0], b0 = outer[j % n1], b1 = outer[(j + 1) % n1];
        if (j >= n1 || (i < n0 && double(i + 1) / double(n0) < double(j + 1) / double(n1))) {
            AddFace(mesh, a0, a1, b0);
            ++i;
        } else {
            AddFace(mesh, a0, b1, b0);
            ++j;
        }
    }
}

// Appends a ring of `count` vertices placed by point(angle) for angles
// 2 pi i / count, and returns their indices.
template <typename Mesh, typename Place>
std::vector<unsigned int> AddRing(Mesh& mesh, unsigned int count, Place&& point) {
    std::vector<unsigned int> ring(count);
    for (unsigned int i = 0; i < count; ++i) {
        ring[i] = mesh.m_Vertices.GetCount();
        const std::array<double, 3> p = point(2 * Pi * i / count);
        AddVertex(mesh, p[0], p[1], p[2]);
    }
    return ring;
}

// An open cylinder of radius 1 and height 2 refined near one rim, as meshes
// refined for another purpose come: the rim at z = 0 holds `dense` vertices,
// every other ring of the `rings` + 1 holds `coarse`.
// `rimNoise` moves each vertex of the dense rim in or out along its radius by
// up to that share of the radius, as the cut of a noisy scan does.
template <typename Mesh>
void MakeDenseRimCylinder(Mesh& mesh, unsigned int dense = 400, unsigned int coarse = 40, unsigned int rings = 20,
                          double rimNoise = 0, unsigned int seed = 3) {
    CNoise noise(seed);
    std::vector<unsigned int> previous;
    for (unsigned int k = 0; k <= rings; ++k) {
        const double z = 2.0 * k / rings;
        std::vector<unsigned int> ring = AddRing(mesh, k == 0 ? dense : coarse, [&](double a) {
            const double r = k == 0 ? 1 + rimNoise * noise.Next() : 1.0;
            return std::array<double, 3>{r * std::cos(a), r * std::sin(a), z};
        });
        if (k > 0)
            AddRingStrip(mesh, previous, ring);
        previous.swap(ring);
    }
}

// An open tube as an exporter slices a long prism: `sides` around (a regular
// polygon of radius 1), `rings` + 1 rings over `length`, so that every face
// is many times longer around than along. Both rims turn evenly at every
// vertex, out of the surface.
template <typename Mesh>
void MakeSlicedTube(Mesh& mesh, unsigned int sides = 9, unsigned int rings = 400, double length = 4) {
    std::vector<unsigned int> previous;
    for (unsigned int k = 0; k <= rings; ++k) {
        const double z = length * k / rings;
        std::vector<unsigned int> ring = AddRing(mesh, sides, [&](double a) {
            return std::array<double, 3>{std::cos(a), std::sin(a), z};
        });
        if (k > 0)
            AddRingStrip(mesh, previous, ring);
        previous.swap(ring);
    }
}

// A corrugated hose: an open tube of radius 1 whose radius waves 0.04 about
// it with a pitch of 0.16, `perWave` rings of `sectors` vertices a wave, the
// ends open where the radius is 1. Each crest and trough turns sharply
// enough to be kept as a line, and the last trough lies 0.04 from the rim.
template <typename Mesh>
void MakeCorrugatedHose(Mesh& mesh, unsigned int sectors = 64, unsigned int waves = 25, unsigned int perWave = 8) {
    std::vector<unsigned int> previous;
    for (unsigned int k = 0; k <= waves * perWave; ++k) {
        const double z = 0.16 * k / perWave, r = 1.0 + 0.04 * std::sin(2 * Pi * k / perWave);
        std::vector<unsigned int> ring = AddRing(mesh, sectors, [&](double a) {
            return std::array<double, 3>{r * std::cos(a), r * std::sin(a), z};
        });
        if (k > 0)
            AddRingStrip(mesh, previous, ring);
        previous.swap(ring);
    }
}

// A bumpy sphere cut by the plane z = -0.5 like a scan of an object standing
// on a table: rings of latitude from the pole, as many vertices as their
// length needs at about `coarse` around the equator, except the cut rim, which
// holds `dense`. `rimNoise` moves each vertex of the cut rim in or out within
// its plane by up to that share of the rim's radius, as a noisy scan's cut.
template <typename Mesh>
void MakeCutSphere(Mesh& mesh, unsigned int dense = 400, unsigned int coarse = 48, unsigned int rings = 16,
                   double bumps = 0.08, double rimNoise = 0, unsigned int seed = 4) {
    CNoise noise(seed);
    const double cut = 2 * Pi / 3;
    const auto place = [&](double theta, double a) {
        const double x = std::sin(theta) * std::cos(a), y = std::sin(theta) * std::sin(a), z = std::cos(theta);
        // The bumps vanish at the cut, so that the rim stays a circle in its plane.
        const double scale = 1 + bumps * std::sin(4 * x) * std::sin(5 * y) * std::sin(3 * z + 1) * (cut - theta) / cut;
        return std::array<double, 3>{x * scale, y * scale, z * scale};
    };
    const unsigned int apex = mesh.m_Vertices.GetCount();
    AddVertex(mesh, 0, 0, 1);
    std::vector<unsigned int> previous;
    for (unsigned int k = 1; k <= rings; ++k) {
        const double theta = cut * k / rings;
        const unsigned int count =
            k == rings ? dense : std::max(6u, static_cast<unsigned int>(std::lround(coarse * std::sin(theta))));
        std::vector<unsigned int> ring = AddRing(mesh, count, [&](double a) {
            std::array<double, 3> p = place(theta, a);
            if (k == rings) {
                const double r = 1 + rimNoise * noise.Next();
                p[0] *= r;
                p[1] *= r;
            }
            return p;
        });
        if (k == 1)
            for (unsigned int i = 0; i < count; ++i)
                AddFace(mesh, apex, ring[i], ring[(i + 1) % count]);
        else
            AddRingStrip(mesh, ring, previous);
        previous.swap(ring);
    }
}

// A plate of columns x rows square tiles of side 2 in the z = 0 plane, each
// pierced by a round hole of radius 0.4 whose rim holds `dense` vertices
// where the tiles' edges hold `side` each: rings blend from the hole to the
// tile's square edge, and tiles share the vertices of their common edges.
template <typename Mesh>
void MakePlateWithDenseHoles(Mesh& mesh, unsigned int columns = 2, unsigned int rows = 2, unsigned int dense = 200,
                             unsigned int side = 8, unsigned int rings = 5) {
    const double radius = 0.4;
    std::map<std::pair<long long, long long>, unsigned int> shared;
    const auto key = [](double v) { return std::llround(v * 1e6); };
    for (unsigned int row = 0; row < rows; ++row)
        for (unsigned int column = 0; column < columns; ++column) {
            const double cx = 2.0 * column, cy = 2.0 * row;
            // A point on the square edge at a share of its perimeter, from (1, 0)
            // counter-clockwise.
            const auto onSquare = [](double share) {
                double s = 8 * share + 1;  // perimeter length from (1, -1)
                s = std::fmod(s, 8.0);
                if (s < 2)
                    return std::array<double, 2>{1, s - 1};
                if (s < 4)
                    return std::array<double, 2>{3 - s, 1};
                if (s < 6)
                    return std::array<double, 2>{-1, 5 - s};
                return std::array<double, 2>{s - 7, -1};
            };
            std::vector<unsigned int> previous;
            for (unsigned int k = 0; k <= rings; ++k) {
                const double blend = double(k) / rings;
                const unsigned int count = k == 0 ? dense
                                                  : static_cast<unsigned int>(std::lround(
                                                        (1 - blend) * 2 * Pi * radius * side / 2 + blend * 4 * side));
                const unsigned int n = k == rings ? 4 * side : std::max(8u, count);
                std::vector<unsigned int> ring(n);
                for (unsigned int i = 0; i < n; ++i) {
                    const double share = double(i) / n, a = 2 * Pi * share;
                    const std::array<double, 2> square = onSquare(share);
                    const double x = cx + (1 - blend) * radius * std::cos(a) + blend * square[0];
                    const double y = cy + (1 - blend) * radius * std::sin(a) + blend * square[1];
                    if (k == rings) {
                        const auto found = shared.find(std::make_pair(key(x), key(y)));
                        if (found != shared.end()) {
                            ring[i] = found->second;
                            continue;
                        }
                        shared[std::make_pair(key(x), key(y))] = mesh.m_Vertices.GetCount();
                    }
                    ring[i] = mesh.m_Vertices.GetCount();
                    AddVertex(mesh, x, y, 0);
                }
                if (k > 0)
                    AddRingStrip(mesh, previous, ring);
                previous.swap(ring);
            }
        }
}

// `count` long slivers, `width` wide at one end, each crossing the cube of
// half-side `reach` from x = -reach to x = reach at its own height: boxes
// as wide as the whole scene.
template <typename Mesh>
void AddCrossingSlivers(Mesh& mesh, unsigned int count, double reach, double width) {
    for (unsigned int i = 0; i < count; ++i) {
        const unsigned int first = mesh.m_Vertices.GetCount();
        const double y = -reach + 0.1 + 0.2 * i;
        AddVertex(mesh, -reach, y, y);
        AddVertex(mesh, reach, -y, -0.5 * y);
        AddVertex(mesh, reach, width - y, -0.5 * y);
        AddFace(mesh, first, first + 1, first + 2);
    }
}

// A prism over a convex outline in the z = 0 plane (counter-clockwise seen
// from +z), `height` tall, tessellated as CAD programs export solids: each cap
// a fan from the outline's first point, each wall segment one quad from bottom
// to top. Caps and walls meet at right angles; most faces are long and thin.
template <typename Mesh>
void AddCadPrism(Mesh& mesh, const std::vector<std::array<double, 2>>& outline, double height) {
    const unsigned int n = static_cast<unsigned int>(outline.size());
    const unsigned int bottom = mesh.m_Vertices.GetCount(), top = bottom + n;
    for (const double z : {0.0, height})
        for (const auto& p : outline)
            AddVertex(mesh, p[0], p[1], z);
    for (unsigned int i = 1; i + 1 < n; ++i) {
        AddFace(mesh, bottom, bottom + i + 1, bottom + i);
        AddFace(mesh, top, top + i, top + i + 1);
    }
    for (unsigned int i = 0; i < n; ++i) {
        const unsigned int j = (i + 1) % n;
        AddQuad(mesh, bottom + i, bottom + j, top + j, top + i);
    }
}

// The same prism with each cap a fan from a vertex added at the outline's
// centre (the mean of its points), as some exporters write round bars.
template <typename Mesh>
void AddCentreFannedPrism(Mesh& mesh, const std::vector<std::array<double, 2>>& outline, double height) {
    const unsigned int n = static_cast<unsigned int>(outline.size());
    const unsigned int bottom = mesh.m_Vertices.GetCount(), top = bottom + n, middle = top + n;
    double cx = 0, cy = 0;
    for (const auto& p : outline) {
        cx += p[0] / n;
        cy += p[1] / n;
    }
    for (const double z : {0.0, height})
        for (const auto& p : outline)
            AddVertex(mesh, p[0], p[1], z);
    AddVertex(mesh, cx, cy, 0.0);
    AddVertex(mesh, cx, cy, height);
    for (unsigned int i = 0; i < n; ++i) {
        const unsigned int j = (i + 1) % n;
        AddQuad(mesh, bottom + i, bottom + j, top + j, top + i);
        AddFace(mesh, middle, bottom + j, bottom + i);
        AddFace(mesh, middle + 1, top + i, top + j);
    }
}

// A closed cylinder of radius 1 and the given height with `sides` sides,
// CAD-style (see AddCadPrism): two circles of sharp edges, caps of fans.
template <typename Mesh>
void MakeCadCylinder(Mesh& mesh, unsigned int sides = 64, double height = 3) {
    std::vector<std::array<double, 2>> outline(sides);
    for (unsigned int i = 0; i < sides; ++i) {
        const double a = 2 * Pi * i / sides;
        outline[i] = {std::cos(a), std::sin(a)};
    }
    AddCadPrism(mesh, outline, height);
}

// Faces between two closed rings of vertices round the z axis, merged by
// turn as CAD tessellators join an outline to a hole: each ring is walked
// from its vertex of least turn (in [0, 2 pi)), and the ring whose next
// vertex comes first advances.
template <typename Mesh>
void AddRingStripByTurn(Mesh& mesh, std::vector<unsigned int> inner, std::vector<unsigned int> outer) {
    const auto turn = [&](unsigned int i) {
        const auto& p = mesh.m_Vertices[i].m_Position;
        const double a = std::atan2(double(p.y), double(p.x));
        return a < 0 ? a + 2 * Pi : a;
    };
    const auto byTurn = [&](unsigned int a, unsigned int b) { return turn(a) < turn(b); };
    std::sort(inner.begin(), inner.end(), byTurn);
    std::sort(outer.begin(), outer.end(), byTurn);
    const std::size_t n0 = inner.size(), n1 = outer.size();
    std::size_t i = 0, j = 0;
    while (i < n0 || j < n1) {
        const double nextInner = turn(inner[(i + 1) % n0]) + (i + 1 >= n0 ? 2 * Pi : 0);
        const double nextOuter = turn(outer[(j + 1) % n1]) + (j + 1 >= n1 ? 2 * Pi : 0);
        if (j >= n1 || (i < n0 && nextInner <= nextOuter)) {
            AddFace(mesh, inner[i % n0], inner[(i + 1) % n0], outer[j % n1]);
            ++i;
        } else {
            AddFace(mesh, inner[i % n0], outer[(j + 1) % n1], outer[j % n1]);
            ++j;
        }
    }
}

// A square plate with a round boss on top and a hole drilled through boss
// and plate, as a CAD tessellator writes it: the plate's top is its four
// corners joined to the boss's foot by one strip of long fans, the boss's
// top an annulus strip, the hole's wall one quad from the boss's top down
// to the plate's bottom, and the bottom the four corners joined to the hole.
// The hole (radius 0.3, 0.8 deep) is about as deep as the mean edge. The
// rings start at `start` radians; byTurn merges the strips by turn (see
// AddRingStripByTurn) rather than by each ring's share of it.
template <typename Mesh>
void MakeDrilledBossPlate(Mesh& mesh, unsigned int sides = 48, double start = Pi / 4, bool byTurn = false) {
    const double half = 2, plate = 0.3, top = 0.8, boss = 0.6, hole = 0.3;
    const auto ring = [&](double r, double z) {
        return AddRing(mesh, sides, [&](double a) {
            return std::array<double, 3>{r * std::cos(a + start), r * std::sin(a + start), z};
        });
    };
    const auto strip = [&](const std::vector<unsigned int>& inner, const std::vector<unsigned int>& outer) {
        if (byTurn)
            AddRingStripByTurn(mesh, inner, outer);
        else
            AddRingStrip(mesh, inner, outer);
    };
    const auto square = [&](double z) {
        return AddRing(mesh, 4, [&](double a) {
            return std::array<double, 3>{half * std::sqrt(2.0) * std::cos(a + Pi / 4),
                                         half * std::sqrt(2.0) * std::sin(a + Pi / 4), z};
        });
    };
    const std::vector<unsigned int> low = square(0), high = square(plate);
    const std::vector<unsigned int> foot = ring(boss, plate), rim = ring(boss, top);
    const std::vector<unsigned int> holeTop = ring(hole, top), holeBottom = ring(hole, 0);
    for (unsigned int i = 0; i < 4; ++i)
        AddQuad(mesh, low[i], low[(i + 1) % 4], high[(i + 1) % 4], high[i]);
    strip(high, foot);
    strip(rim, holeTop);
    strip(holeBottom, low);
    for (unsigned int i = 0; i < sides; ++i) {
        const unsigned int j = (i + 1) % sides;
        AddQuad(mesh, foot[i], foot[j], rim[j], rim[i]);
        AddQuad(mesh, holeBottom[j], holeBottom[i], holeTop[i], holeTop[j]);
    }
}

// The boundary of the filled cells of a grid whose lines along each axis
// are `axes`, as exporters of architectural and voxel solids write it: each
// side between a filled cell (`filled(i, j, k)`, asked only inside the grid)
// and an empty one or the outside is one quad, counterclockwise seen from
// outside. A grid point becomes a vertex when a quad first needs it.
template <typename Mesh, typename Filled>
void AddFilledCellsBoundary(Mesh& mesh, const std::vector<double> (&axes)[3], const Filled& filled) {
    const int n[3] = {int(axes[0].size()) - 1, int(axes[1].size()) - 1, int(axes[2].size()) - 1};
    const auto inside = [&](const std::array<int, 3>& c) {
        return c[0] >= 0 && c[1] >= 0 && c[2] >= 0 && c[0] < n[0] && c[1] < n[1] && c[2] < n[2] &&
               filled(c[0], c[1], c[2]);
    };
    std::vector<int> index(std::size_t(n[0] + 1) * (n[1] + 1) * (n[2] + 1), -1);
    const auto vertex = [&](const std::array<int, 3>& g) {
        int& slot = index[(std::size_t(g[0]) * (n[1] + 1) + g[1]) * (n[2] + 1) + g[2]];
        if (slot < 0) {
            slot = int(mesh.m_Vertices.GetCount());
            AddVertex(mesh, axes[0][g[0]], axes[1][g[1]], axes[2][g[2]]);
        }
        return unsigned(slot);
    };
    for (int i = 0; i < n[0]; ++i)
        for (int j = 0; j < n[1]; ++j)
            for (int k = 0; k < n[2]; ++k) {
                if (!inside({i, j, k}))
                    continue;
                for (int d = 0; d < 3; ++d)
                    for (const int s : {-1, 1}) {
                        std::array<int, 3> c = {i, j, k}, o = c;
                        o[d] += s;
                        if (inside(o))
                            continue;
                        // (u, w) turn about +d: the far side faces out as it
                        // is, the near side reversed.
                        const int u = (d + 1) % 3, w = (d + 2) % 3;
                        c[d] += s > 0 ? 1 : 0;
                        std::array<int, 3> g[4] = {c, c, c, c};
                        g[1][u] += 1;
                        g[2][u] += 1;
                        g[2][w] += 1;
                        g[3][w] += 1;
                        unsigned int q[4];
                        for (int corner = 0; corner < 4; ++corner)
                            q[corner] = vertex(g[corner]);
                        if (s > 0)
                            AddQuad(mesh, q[0], q[1], q[2], q[3]);
                        else
                            AddQuad(mesh, q[0], q[3], q[2], q[1]);
                    }
            }
}

// A plate 3 x 2 x 0.1 with `ribs` ribs `thickness` thick and 0.4 tall
// standing across it, as an architectural exporter writes such a solid: the
// boundary of the filled cells of a grid with uneven lines, each cell side
// one quad. A rib's top is one quad whose diagonal is a hair longer than its
// rims; the plate's top and bottom keep the ribs' lines as long thin quads.
template <typename Mesh>
void MakeRibbedPanel(Mesh& mesh, unsigned int ribs = 5, double thickness = 0.03) {
    std::vector<double> lines[3] = {{0.0}, {0.0, 2.0}, {0.0, 0.1, 0.5}};
    for (unsigned int k = 0; k < ribs; ++k) {
        const double x = (k + 1) * 3.0 / (ribs + 1);
        lines[0].push_back(x - thickness / 2);
        lines[0].push_back(x + thickness / 2);
    }
    lines[0].push_back(3.0);
    // The plate is the lower layer; each rib one cell of the upper.
    AddFilledCellsBoundary(mesh, lines, [](int i, int, int k) { return k == 0 || i % 2 == 1; });
}

// A straight blade CAD-style (see AddCadPrism): a symmetric airfoil section
// of the given chord and thickness (a share of the chord) whose trailing edge
// closes to a sharp wedge of about 16 degrees, with `points` points on each
// side, crowded towards both edges as CAD programs space them, extruded
// `span` tall. Each cap is a fan from the trailing edge, so at each end of
// the trailing edge a fan of long thin triangles meets three feature lines
// at unequal angles: the two sides of the wedge and the edge itself.
template <typename Mesh>
void MakeCadBlade(Mesh& mesh, unsigned int points = 40, double thickness = 0.12, double chord = 4, double span = 2) {
    const auto half = [&](double x) {
        return 5 * thickness *
               (0.2969 * std::sqrt(x) - 0.1260 * x - 0.3516 * x * x + 0.2843 * x * x * x - 0.1036 * x * x * x * x);
    };
    // Counter-clockwise from the trailing edge: the lower side to the
    // leading edge, then the upper side back.
    std::vector<std::array<double, 2>> outline;
    for (unsigned int i = 0; i < points; ++i) {
        const double x = 0.5 * (1 + std::cos(Pi * i / points));
        outline.push_back({chord * x, -chord * half(x)});
    }
    for (unsigned int i = 0; i < points; ++i) {
        const double x = 0.5 * (1 - std::cos(Pi * i / points));
        outline.push_back({chord * x, chord * half(x)});
    }
    AddCadPrism(mesh, outline, span);
}

// A turbine blade as CAD exports it: a cambered airfoil of unit chord with
// `chordPoints` points a side, crowded towards both edges, whose trailing
// edge closes to a sharp wedge, lofted through `sections` stations 1 apart
// along a span that twists by half a radian and tapers to 0.7 of the chord;
// the root and tip caps are ear-clipped, long thin faces spanning the chord.
// The blade is 0.12 thick, far less than its mean edge, which the faces
// along the span (1 long) make large; the nose between the sections is no
// sharp edge of the input.
template <typename Mesh>
void MakeLoftedCadBlade(Mesh& mesh, unsigned int sections = 4, unsigned int chordPoints = 40) {
    std::vector<std::array<double, 2>> outline;
    const auto surface = [&](double x, double side) {
        const double half = x >= 1 ? 0
                                   : 0.6 * (0.2969 * std::sqrt(x) - 0.126 * x - 0.3516 * x * x + 0.2843 * x * x * x -
                                            0.1036 * x * x * x * x);
        return std::array<double, 2>{x, 0.24 * x * (1 - x) + side * half};
    };
    // From the trailing edge over the upper side to the nose, then back
    // along the lower side: counter-clockwise.
    for (unsigned int i = chordPoints; i-- > 0;)
        outline.push_back(surface(0.5 * (1 - std::cos(Pi * i / (chordPoints - 1))), 1));
    for (unsigned int i = 1; i + 1 < chordPoints; ++i)
        outline.push_back(surface(0.5 * (1 - std::cos(Pi * i / (chordPoints - 1))), -1));
    const unsigned int n = static_cast<unsigned int>(outline.size()), base = mesh.m_Vertices.GetCount();
    for (unsigned int k = 0; k < sections; ++k) {
        const double share = double(k) / (sections - 1), twist = 0.5 * share, scale = 1 - 0.3 * share;
        for (const auto& p : outline) {
            const double x = (p[0] - 0.3) * scale, y = p[1] * scale;
            AddVertex(mesh, x * std::cos(twist) - y * std::sin(twist), x * std::sin(twist) + y * std::cos(twist),
                      double(k));
        }
    }
    for (unsigned int k = 0; k + 1 < sections; ++k)
        for (unsigned int i = 0; i < n; ++i) {
            const unsigned int a = base + k * n + i, b = base + k * n + (i + 1) % n;
            AddFace(mesh, a, b, b + n);
            AddFace(mesh, a, b + n, a + n);
        }
    // Ear clipping: the first corner, in order, whose triangle turns left
    // and holds no other corner is cut off, as tessellators cut caps.
    const auto cross = [&](unsigned int o, unsigned int a, unsigned int b) {
        return (outline[a][0] - outline[o][0]) * (outline[b][1] - outline[o][1]) -
               (outline[a][1] - outline[o][1]) * (outline[b][0] - outline[o][0]);
    };
    std::vector<unsigned int> left(n);
    for (unsigned int i = 0; i < n; ++i)
        left[i] = i;
    const unsigned int top = base + (sections - 1) * n;
    const auto cap = [&](unsigned int a, unsigned int b, unsigned int c) {
        AddFace(mesh, base + a, base + c, base + b);
        AddFace(mesh, top + a, top + b, top + c);
    };
    while (left.size() > 3) {
        const std::size_t m = left.size();
        bool cut = false;
        for (std::size_t k = 0; k < m && !cut; ++k) {
            const unsigned int i = left[(k + m - 1) % m], j = left[k], l = left[(k + 1) % m];
            if (cross(i, j, l) <= 1e-12)
                continue;
            bool inside = false;
            for (const unsigned int q : left)
                inside = inside || (q != i && q != j && q != l && cross(i, j, q) >= 0 && cross(j, l, q) >= 0 &&
                                    cross(l, i, q) >= 0);
            if (inside)
                continue;
            cap(i, j, l);
            left.erase(left.begin() + static_cast<std::ptrdiff_t>(k));
            cut = true;
        }
        if (!cut)
            break;
    }
    cap(left[0], left[1], left[2]);
}

// A machined block [0, 4] x [0, 2] x [0, height], CAD-style (see
// AddCadPrism), whose vertical edges at (4, 0) and (0, 2) are rounded with
// fillets of `radius` in `segments` facets each, the other two left sharp:
// the outlines of top and bottom are feature lines, and at the sharp edges
// three feature lines meet in each corner.
template <typename Mesh>
void MakeFilletedBlock(Mesh& mesh, unsigned int segments = 12, double radius = 0.6, double height = 1.5) {
    std::vector<std::array<double, 2>> outline;
    const auto fillet = [&](double cx, double cy, double from) {
        for (unsigned int k = 0; k <= segments; ++k) {
            const double a = from + 0.5 * Pi * k / segments;
            outline.push_back({cx + radius * std::cos(a), cy + radius * std::sin(a)});
        }
    };
    outline.push_back({0, 0});
    fillet(4 - radius, radius, -0.5 * Pi);
    outline.push_back({4, 2});
    fillet(radius, 2 - radius, 0.5 * Pi);
    AddCadPrism(mesh, outline, height);
}

// A square bar `side` across and three times as long, CAD-style (see
// AddCadPrism), one long edge rounded by a fillet of `radius` in `facets`
// facets: the fillet a strip of long thin quads, each end cap a fan from the
// corner across from the fillet, so that every fan face reaches its arc.
template <typename Mesh>
void MakeEdgeFilletedBar(Mesh& mesh, double radius, unsigned int facets, double side = 2) {
    std::vector<std::array<double, 2>> outline = {{0, 0}, {side, 0}, {side, side - radius}};
    for (unsigned int k = 1; k < facets; ++k) {
        const double a = 0.5 * Pi * k / facets;
        outline.push_back({side - radius + radius * std::cos(a), side - radius + radius * std::sin(a)});
    }
    outline.push_back({side - radius, side});
    outline.push_back({0, side});
    AddCadPrism(mesh, outline, 3 * side);
}

// The surface field(x, y, z) = 0 in the cube [low, high]^3 of `cells`^3
// cubes, each cut into six tetrahedra around its main diagonal (the same way
// in every cube, so neighbouring cubes agree on their shared faces), as
// surface reconstructions deliver it: closed, manifold, consistently oriented
// (normals towards positive values), but with slivers and edge lengths that
// vary by orders of magnitude.
template <typename Mesh, typename Field>
void MakeImplicitSurface(Mesh& mesh, Field&& field, int cells, double low, double high) {
    const double step = (high - low) / cells;
    // Grid points are numbered along x, then y, then z.
    const std::size_t side = std::size_t(cells) + 1, points = side * side * side;
    const unsigned int base = mesh.m_Vertices.GetCount();
    // A small shift keeps grid points off symmetric surfaces, so that no
    // value is exactly zero and no triangle collapses.
    const auto position = [&](std::size_t g) {
        const std::size_t i = g % side, j = g / side % side, k = g / (side * side);
        return std::array<double, 3>{low + double(i) * step + 1.234e-4, low + double(j) * step + 2.345e-4,
                                     low + double(k) * step + 0.876e-4};
    };
    std::vector<double> value(points);
    for (std::size_t g = 0; g < points; ++g) {
        const std::array<double, 3> p = position(g);
        value[g] = field(p[0], p[1], p[2]);
        if (value[g] == 0)
            value[g] = 1e-12;
    }
    std::vector<std::array<double, 3>> crossings;
    std::unordered_map<std::uint64_t, unsigned int> onEdge;
    const auto crossing = [&](std::size_t a, std::size_t b) {
        if (a > b)
            std::swap(a, b);
        const std::uint64_t key = std::uint64_t(a) * points + b;
        const auto found = onEdge.find(key);
        if (found != onEdge.end())
            return found->second;
        const double va = value[a], vb = value[b];
        const std::array<double, 3> pa = position(a), pb = position(b);
        const double t = va / (va - vb);
        const unsigned int index = static_cast<unsigned int>(crossings.size());
        crossings.push_back({pa[0] + (pb[0] - pa[0]) * t, pa[1] + (pb[1] - pa[1]) * t, pa[2] + (pb[2] - pa[2]) * t});
        AddVertex(mesh, crossings.back()[0], crossings.back()[1], crossings.back()[2]);
        onEdge.emplace(key, index);
        return index;
    };
    const auto emit = [&](unsigned int a, unsigned int b, unsigned int c, std::size_t inside, std::size_t outside) {
        const std::array<double, 3>&pa = crossings[a], &pb = crossings[b], &pc = crossings[c];
        const std::array<double, 3> pi = position(inside), po = position(outside);
        const double u[3] = {pb[0] - pa[0], pb[1] - pa[1], pb[2] - pa[2]};
        const double v[3] = {pc[0] - pa[0], pc[1] - pa[1], pc[2] - pa[2]};
        const double normal[3] = {u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0]};
        const double outwards = normal[0] * (po[0] - pi[0]) + normal[1] * (po[1] - pi[1]) + normal[2] * (po[2] - pi[2]);
        if (outwards >= 0)
            AddFace(mesh, base + a, base + b, base + c);
        else
            AddFace(mesh, base + a, base + c, base + b);
    };
    static const int tetrahedra[6][4] = {{0, 1, 3, 7}, {0, 3, 2, 7}, {0, 2, 6, 7},
                                         {0, 6, 4, 7}, {0, 4, 5, 7}, {0, 5, 1, 7}};
    for (std::size_t k = 0; k + 1 < side; ++k)
        for (std::size_t j = 0; j + 1 < side; ++j)
            for (std::size_t i = 0; i + 1 < side; ++i) {
                std::size_t corner[8];
                for (int q = 0; q < 8; ++q)
                    corner[q] = ((k + ((q >> 2) & 1)) * side + j + ((q >> 1) & 1)) * side + i + (q & 1);
                for (const auto& tetrahedron : tetrahedra) {
                    std::size_t in[4], out[4];
                    int ins = 0, outs = 0;
                    for (int q = 0; q < 4; ++q) {
                        const std::size_t g = corner[tetrahedron[q]];
                        if (value[g] < 0)
                            in[ins++] = g;
                        else
                            out[outs++] = g;
                    }
                    if (ins == 1) {
                        emit(crossing(in[0], out[0]), crossing(in[0], out[1]), crossing(in[0], out[2]), in[0], out[0]);
                    } else if (ins == 3) {
                        emit(crossing(out[0], in[0]), crossing(out[0], in[1]), crossing(out[0], in[2]), in[0], out[0]);
                    } else if (ins == 2) {
                        const unsigned int a = crossing(in[0], out[0]), b = crossing(in[0], out[1]);
                        const unsigned int c = crossing(in[1], out[1]), d = crossing(in[1], out[0]);
                        emit(a, b, c, in[0], out[0]);
                        emit(a, c, d, in[0], out[0]);
                    }
                }
            }
}

// The smooth minimum of distances d, log-sum-exp of the given sharpness:
// parts blend within a few times 1 / sharpness of where their surfaces meet.
inline double SmoothMinimum(const std::vector<double>& d, double sharpness) {
    const double least = *std::min_element(d.begin(), d.end());
    double sum = 0;
    for (const double e : d)
        sum += std::exp(-sharpness * (e - least));
    return least - std::log(sum) / sharpness;
}

// The distance from p to the segment a-b.
inline double DistanceToSegment(const std::array<double, 3>& p, const std::array<double, 3>& a,
                                const std::array<double, 3>& b) {
    double ab2 = 0, t = 0;
    for (int k = 0; k < 3; ++k) {
        ab2 += (b[k] - a[k]) * (b[k] - a[k]);
        t += (p[k] - a[k]) * (b[k] - a[k]);
    }
    t = ab2 > 0 ? std::clamp(t / ab2, 0.0, 1.0) : 0.0;
    double d2 = 0;
    for (int k = 0; k < 3; ++k) {
        const double d = p[k] - (a[k] + (b[k] - a[k]) * t);
        d2 += d * d;
    }
    return std::sqrt(d2);
}

// The signed distances from p to capsules (segments with radii).
inline std::vector<double> CapsuleDistances(const std::array<double, 3>& p,
                                            const std::vector<std::array<std::array<double, 3>, 2>>& capsules,
                                            const std::vector<double>& radii) {
    std::vector<double> d(radii.size());
    for (std::size_t i = 0; i < radii.size(); ++i)
        d[i] = DistanceToSegment(p, capsules[i][0], capsules[i][1]) - radii[i];
    return d;
}

// A standing figure like a scanned or sculpted human, as a surface
// reconstruction delivers it (MakeImplicitSurface on a grid of `cells`
// cubes, about 40,000 faces at 64): a trunk with a head, two legs that nearly
// touch and two thin arms hanging close beside the trunk. Limbs are
// `limbRadius` thick and the gaps between legs and between arms and trunk
// `gap` wide; at the defaults the limbs are about two mean edges thick and
// the gaps about as wide as the limbs, so that every part of the surface has
// another close behind it.
template <typename Mesh>
void MakeLimbedFigure(Mesh& mesh, int cells = 64, double limbRadius = 0.09, double gap = 0.1) {
    typedef std::array<double, 3> P;
    const double trunk = 0.42;
    const double armX = trunk + gap + limbRadius, legX = 0.5 * gap + limbRadius;
    const P capsules[][2] = {
        {P{0, 0, -0.45}, P{0, 0, 0.55}},  // trunk (with its own radius)
        {P{0, 0, 0.95}, P{0, 0, 1.05}},  // head
        {P{0.2, 0, 0.7}, P{armX, 0, 0.62}},  // shoulders
        {P{-0.2, 0, 0.7}, P{-armX, 0, 0.62}},  //
        {P{armX, 0, 0.62}, P{armX, 0.02, -0.45}},  // arms
        {P{-armX, 0, 0.62}, P{-armX, -0.02, -0.45}},  //
        {P{legX, 0, -0.6}, P{legX, 0.03, -1.75}},  // legs
        {P{-legX, 0, -0.6}, P{-legX, -0.03, -1.75}},  //
        {P{0, 0, 0.7}, P{0, 0, 0.9}},  // neck
    };
    const double radii[] = {trunk, 0.28, limbRadius, limbRadius, limbRadius, limbRadius, limbRadius, limbRadius, 0.12};
    // A smooth minimum blends the parts where they join, narrower than the
    // gaps so that these stay open.
    const double blend = 0.4 * gap;
    const auto field = [&](double x, double y, double z) {
        const P p{x, y, z};
        double d = DistanceToSegment(p, capsules[0][0], capsules[0][1]) - radii[0];
        for (std::size_t i = 1; i < sizeof(radii) / sizeof(radii[0]); ++i) {
            const double e = DistanceToSegment(p, capsules[i][0], capsules[i][1]) - radii[i];
            // The legs and arms join the trunk only through the shoulders and
            // the hips, where they overlap it.
            const double h = std::clamp(0.5 + 0.5 * (e - d) / blend, 0.0, 1.0);
            d = e + (d - e) * h - blend * h * (1 - h);
        }
        return d;
    };
    MakeImplicitSurface(mesh, field, cells, -1.9, 1.9);
}

// A closed blob (an ellipsoid with a capsule arm and a ball blended in) as a
// voxel iso-surface extractor writes it at a fixed precision: MakeImplicitSurface
// on `cells` cubes, every position rounded to `snap` of a cube and every face
// with corners of its own, as an STL file holds them. The rounding leaves
// faces of no area, copies of one vertex, and where the surface passes close
// by a grid point a face and its reverse on the same three vertices, hung
// from edges that two faces share already.
template <typename Mesh>
void MakeSnappedIsoSurface(Mesh& mesh, int cells = 40, double snap = 0.15) {
    typedef std::array<double, 3> P;
    const P armFrom{0.5, 0, 0.2}, armTo{1.1, 0.3, 0.6};
    const auto field = [&](double x, double y, double z) {
        const double body = (std::sqrt(x * x / 0.64 + y * y / 0.3025 + z * z / 0.2025) - 1) * 0.45;
        const double arm = DistanceToSegment(P{x, y, z}, armFrom, armTo) - 0.18;
        const double dx = x + 0.55, dy = y - 0.1, dz = z - 0.25;
        const double ball = std::sqrt(dx * dx + dy * dy + dz * dz) - 0.3;
        // The smooth minimum of the three, blending within about 1 / 14.
        const double least = std::min({body, arm, ball});
        return least - std::log(std::exp(-14 * (body - least)) + std::exp(-14 * (arm - least)) +
                                std::exp(-14 * (ball - least))) /
                           14;
    };
    const double low = -1.3, high = 1.5;
    Mesh exact;
    MakeImplicitSurface(exact, field, cells, low, high);
    const double quantum = snap * (high - low) / cells;
    for (unsigned int f = 0; f < exact.m_Faces.GetCount(); ++f) {
        const unsigned int base = mesh.m_Vertices.GetCount();
        for (int k = 0; k < 3; ++k) {
            const auto& p = exact.m_Vertices[exact.m_Faces[f].m_Corners[k]].m_Position;
            AddVertex(mesh, std::round(double(p.x) / quantum) * quantum, std::round(double(p.y) / quantum) * quantum,
                      std::round(double(p.z) / quantum) * quantum);
        }
        AddFace(mesh, base, base + 1, base + 2);
    }
}

// A figure with a hand of five fingers, as a surface reconstruction
// delivers it (MakeImplicitSurface on a grid of `cells` cubes, about 19,000
// faces at 64): a trunk and head, four limbs of `limbRadius` and five
// fingers of `fingerRadius` spread from the end of one arm, all blended by
// a smooth minimum. At the defaults a finger is about three mean edges
// thick, so its tip is a cone of a few facets whose apex sticks out of any
// coarse enough ring around it.
template <typename Mesh>
void MakeFingeredFigure(Mesh& mesh, int cells = 64, double limbRadius = 0.1, double fingerRadius = 0.045) {
    typedef std::array<double, 3> P;
    std::vector<std::array<P, 2>> capsules = {
        {P{0, 0, -0.3}, P{0, 0, 0.5}},  // trunk
        {P{0, 0, 0.85}, P{0, 0, 0.95}},  // head
        {P{0.3, 0, 0.4}, P{1.3, 0, 0.1}},  // arms
        {P{-0.3, 0, 0.4}, P{-1.2, 0, 1.0}},  //
        {P{0.15, 0, -0.6}, P{0.35, 0, -1.6}},  // legs
        {P{-0.15, 0, -0.6}, P{-0.3, 0.1, -1.6}},  //
    };
    std::vector<double> radii = {0.45, 0.22, limbRadius, limbRadius, limbRadius, limbRadius};
    const P hand{1.3, 0, 0.1};
    for (int k = 0; k < 5; ++k) {
        const double a = -0.6 + 0.3 * k;
        capsules.push_back({hand, P{hand[0] + 0.35 * std::cos(a), 0.21 * std::sin(a), hand[2] + 0.35 * std::sin(a)}});
        radii.push_back(fingerRadius);
    }
    // The smooth minimum of all parts' distances, log-sum-exp of sharpness
    // 24: blends within about a tenth of a unit.
    const double sharpness = 24.0;
    const auto field = [&](double x, double y, double z) {
        const P p{x, y, z};
        return SmoothMinimum(CapsuleDistances(p, capsules, radii), sharpness);
    };
    MakeImplicitSurface(mesh, field, cells, -2.0, 1.84);
}

// A four-legged animal as a surface reconstruction delivers it
// (MakeImplicitSurface on a grid of `cells` cubes over [-1.45, 1.45]^3,
// about 35,000 faces at 83, a grid step of 0.035): an ellipsoid body and
// head, capsule legs and neck, a thin tail (radius 0.035) and two thin ears
// (radius 0.03) standing up from the head, all blended by a smooth minimum.
// The ears and the tail are about one grid step thick, so their facets turn
// against each other by up to 100 degrees and draw short creases all along
// them.
template <typename Mesh>
void MakeEaredAnimal(Mesh& mesh, int cells = 83) {
    typedef std::array<double, 3> P;
    std::vector<std::array<P, 2>> capsules;
    std::vector<double> radii;
    for (const double x : {-0.6, 0.55})
        for (const double y : {-0.2, 0.2}) {
            capsules.push_back({P{x, y, -0.1}, P{x + 0.05, y, -0.75}});  // legs
            radii.push_back(0.09);
        }
    capsules.push_back({P{0.6, 0, 0.1}, P{0.95, 0, 0.4}});  // neck
    capsules.push_back({P{-0.75, 0, 0.05}, P{-1.35, 0, 0.35}});  // tail
    capsules.push_back({P{1.15, -0.1, 0.6}, P{1.12, -0.16, 0.8}});  // ears
    capsules.push_back({P{1.15, 0.1, 0.6}, P{1.12, 0.16, 0.8}});  //
    radii.insert(radii.end(), {0.14, 0.035, 0.03, 0.03});
    // Body and head: about the distance from an axis-aligned ellipsoid (its
    // scaled radius less one, times the smallest semi-axis).
    const P centres[2] = {P{0, 0, 0}, P{1.1, 0, 0.5}}, axes[2] = {P{0.85, 0.3, 0.28}, P{0.25, 0.14, 0.14}};
    // The smooth minimum of all parts' distances, log-sum-exp of sharpness
    // 30.
    const double sharpness = 30.0;
    const auto field = [&](double x, double y, double z) {
        const P p{x, y, z};
        std::vector<double> d = CapsuleDistances(p, capsules, radii);
        for (int e = 0; e < 2; ++e) {
            double r2 = 0;
            for (int k = 0; k < 3; ++k)
                r2 += (p[k] - centres[e][k]) * (p[k] - centres[e][k]) / (axes[e][k] * axes[e][k]);
            d.push_back((std::sqrt(r2) - 1.0) * std::min({axes[e][0], axes[e][1], axes[e][2]}));
        }
        return SmoothMinimum(d, sharpness);
    };
    MakeImplicitSurface(mesh, field, cells, -1.45, 1.45);
}

// A hollow pipe tee as a voxelised CAD part holds it (MakeImplicitSurface on
// cubes of `step`, about 9,000 faces at the defaults): a run of outer radius
// 0.5 along x, `runHalf` long either side, and a branch of outer radius 0.4
// up to z = `top`, walls 0.1 thick, the bores open at the ends. The wall is
// a voxel and a quarter thick, and every crease where the branch meets the
// run or an end plane is cut across by the tetrahedra: where it runs
// diagonal to the grid, a chamfer a fraction of a voxel wide splits it into
// two bends of about half its turn. The grid is laid as the sweep's tee lays
// it (shifted half a step in y and z against the cube's).
template <typename Mesh>
void MakeVoxelisedPipeTee(Mesh& mesh, double runHalf = 0.5, double top = 0.7, double step = 0.08) {
    const auto field = [&](double x, double y, double z) {
        y += 0.5 * step;
        z += 0.5 * step;
        const double run = std::hypot(y, z), branch = std::hypot(x, y);
        const double outer =
            std::min(std::max(run - 0.5, std::fabs(x) - runHalf), std::max(branch - 0.4, std::max(-z, z - top)));
        const double inner = std::min(std::max(run - 0.4, std::fabs(x) - runHalf - 0.1),
                                      std::max(branch - 0.3, std::max(-z, z - top - 0.1)));
        return std::max(outer, -inner);
    };
    const int cells = static_cast<int>(std::lround(3.2 / step));
    MakeImplicitSurface(mesh, field, cells, -1.6, -1.6 + cells * step);
}

// A hand as a surface reconstruction delivers it (MakeImplicitSurface on a
// grid of `cells` cubes over [-0.9, 1.0]^3, about 18,000 faces at 48): a flat
// palm (an ellipsoid), four parallel fingers and a thumb (capsules of radius
// 0.08 and 0.088) whose surfaces lie `gap` apart, blended by a sharp smooth
// minimum so that the gaps stay open. Each fingertip is cut by the grid
// planes into a cluster of small facets.
template <typename Mesh>
void MakeCloseFingeredHand(Mesh& mesh, int cells = 48, double gap = 0.025) {
    typedef std::array<double, 3> P;
    const double radius = 0.08, pitch = 2 * radius + gap;
    std::vector<std::array<P, 2>> capsules;
    std::vector<double> radii;
    for (int i = 0; i < 4; ++i) {
        const double y = pitch * (i - 1.5);
        capsules.push_back({P{0, y, 0}, P{0.9 - 0.08 * std::fabs(i - 1.5), y, 0}});
        radii.push_back(radius);
    }
    capsules.push_back({P{-0.35, -2.2 * pitch, 0}, P{0.05, -2.2 * pitch - 0.25, 0}});
    radii.push_back(1.1 * radius);
    const P palm{0.45, 2.1 * pitch, 0.1};
    // The smooth minimum of all parts' distances, log-sum-exp of sharpness
    // 120; the palm about its distance (the scaled radius less one, times
    // the smallest semi-axis).
    const double sharpness = 120.0;
    const auto field = [&](double x, double y, double z) {
        const P p{x, y, z};
        std::vector<double> d = CapsuleDistances(p, capsules, radii);
        const double q[3] = {(x + 0.4) / palm[0], y / palm[1], z / palm[2]};
        d.push_back((std::sqrt(q[0] * q[0] + q[1] * q[1] + q[2] * q[2]) - 1.0) * palm[2]);
        return SmoothMinimum(d, sharpness);
    };
    MakeImplicitSurface(mesh, field, cells, -0.9, 1.0);
}

// The mesh simplified to `keepFaces` faces by greedy edge collapse in order
// of the quadric error of the planes around each vertex, the survivor at the
// cheaper end (as decimators that keep input points do): few vertices where
// the surface is flat, long slivers along the directions of least curvature,
// and, on an iso-surface, caps standing across the surface where it crosses a
// grid plane. A collapse must keep the edge's two faces the only ones its
// ends share and turn no other face by more than about 78 degrees. The mesh
// must be closed and manifold.
template <typename Mesh>
void DecimateByQuadrics(Mesh& mesh, unsigned int keepFaces) {
    typedef std::array<double, 3> P;
    typedef std::array<double, 10> Quadric;  // the upper triangle of a 4 x 4
    const unsigned int count = mesh.m_Vertices.GetCount();
    std::vector<P> v(count);
    for (unsigned int i = 0; i < count; ++i)
        v[i] = {double(mesh.m_Vertices[i].m_Position.x), double(mesh.m_Vertices[i].m_Position.y),
                double(mesh.m_Vertices[i].m_Position.z)};
    std::vector<std::array<unsigned int, 3>> f(mesh.m_Faces.GetCount());
    for (unsigned int t = 0; t < f.size(); ++t)
        for (int k = 0; k < 3; ++k)
            f[t][k] = static_cast<unsigned int>(mesh.m_Faces[t].m_Corners[k]);
    const auto normal = [&](const P& a, const P& b, const P& c) {
        const P u{b[0] - a[0], b[1] - a[1], b[2] - a[2]}, w{c[0] - a[0], c[1] - a[1], c[2] - a[2]};
        return P{u[1] * w[2] - u[2] * w[1], u[2] * w[0] - u[0] * w[2], u[0] * w[1] - u[1] * w[0]};
    };
    const auto dot = [](const P& a, const P& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; };
    std::vector<Quadric> quadric(count, Quadric{});
    std::vector<std::set<unsigned int>> ring(count);
    for (unsigned int t = 0; t < f.size(); ++t) {
        P n = normal(v[f[t][0]], v[f[t][1]], v[f[t][2]]);
        const double length = std::sqrt(dot(n, n));
        for (double& x : n)
            x /= length;
        const double p[4] = {n[0], n[1], n[2], -dot(n, v[f[t][0]])};
        for (const unsigned int x : f[t]) {
            for (int i = 0, k = 0; i < 4; ++i)
                for (int j = i; j < 4; ++j)
                    quadric[x][k++] += p[i] * p[j];
            ring[x].insert(t);
        }
    }
    // The error at s of the planes of both ends, and the cheaper end first.
    const auto cost = [&](unsigned int a, unsigned int b) {
        Quadric q = quadric[a];
        for (int k = 0; k < 10; ++k)
            q[k] += quadric[b][k];
        std::tuple<double, unsigned int, unsigned int> best{0.0, 0u, 0u};
        bool first = true;
        for (const auto& [s, r] : {std::make_pair(a, b), std::make_pair(b, a)}) {
            const double h[4] = {v[s][0], v[s][1], v[s][2], 1.0};
            double e = 0;
            for (int i = 0, k = 0; i < 4; ++i)
                for (int j = i; j < 4; ++j)
                    e += (i == j ? 1.0 : 2.0) * q[k++] * h[i] * h[j];
            if (first || e < std::get<0>(best))
                best = {e, s, r};
            first = false;
        }
        return best;
    };
    typedef std::tuple<double, unsigned int, unsigned int> Entry;
    std::priority_queue<Entry, std::vector<Entry>, std::greater<Entry>> heap;
    for (const auto& t : f)
        for (int k = 0; k < 3; ++k)
            if (t[k] < t[(k + 1) % 3])
                heap.push(cost(t[k], t[(k + 1) % 3]));
    std::vector<char> alive(f.size(), 1);
    const auto neighbours = [&](unsigned int x) {
        std::set<unsigned int> out;
        for (const unsigned int t : ring[x])
            out.insert(f[t].begin(), f[t].end());
        out.erase(x);
        return out;
    };
    std::size_t faces = f.size();
    while (faces > keepFaces && !heap.empty()) {
        const auto [e, s, r] = heap.top();
        heap.pop();
        if (ring[s].empty() || ring[r].empty())
            continue;
        std::vector<unsigned int> shared;
        for (const unsigned int t : ring[r])
            if (f[t][0] == s || f[t][1] == s || f[t][2] == s)
                shared.push_back(t);
        if (shared.size() != 2)
            continue;
        const std::set<unsigned int> ns = neighbours(s), nr = neighbours(r);
        std::size_t common = 0;
        for (const unsigned int x : ns)
            common += nr.count(x);
        if (common != 2)
            continue;
        const Entry fresh = cost(s, r);
        if (std::fabs(std::get<0>(fresh) - e) > 1e-12 * (1 + std::fabs(e))) {
            heap.push(fresh);
            continue;
        }
        bool flips = false;
        for (const unsigned int t : ring[r]) {
            if (t == shared[0] || t == shared[1])
                continue;
            P corner[3];
            for (int k = 0; k < 3; ++k)
                corner[k] = v[f[t][k] == r ? s : f[t][k]];
            const P m = normal(corner[0], corner[1], corner[2]), old = normal(v[f[t][0]], v[f[t][1]], v[f[t][2]]);
            if (dot(m, old) <= 0.2 * std::sqrt(dot(m, m) * dot(old, old))) {
                flips = true;
                break;
            }
        }
        if (flips)
            continue;
        for (const unsigned int t : shared) {
            alive[t] = 0;
            for (const unsigned int x : f[t])
                ring[x].erase(t);
            --faces;
        }
        for (const unsigned int t : ring[r]) {
            for (unsigned int& x : f[t])
                if (x == r)
                    x = s;
            ring[s].insert(t);
        }
        ring[r].clear();
        for (int k = 0; k < 10; ++k)
            quadric[s][k] += quadric[r][k];
        for (const unsigned int x : neighbours(s))
            heap.push(cost(s, x));
    }
    std::vector<std::array<unsigned int, 3>> kept;
    for (unsigned int t = 0; t < f.size(); ++t)
        if (alive[t])
            kept.push_back(f[t]);
    mesh = Mesh();
    AddUsedTables(mesh, v, kept);
}

// A unit latitude-longitude sphere as a CAD export tessellates it: `rings`
// bands of equal latitude between the poles and `sectors` columns, the quads
// between rings split along one diagonal, a fan of one face per column at
// each pole. Its vertices are gentle corners of the faceted surface (its
// faces turn by up to about 11 degrees at 32 x 24), and its edges, long along the
// equator and short near the poles, average about the target a remesh at its
// mean edge length takes, so the result neither refines nor coarsens it.
template <typename Mesh>
void MakeLatLongSphere(Mesh& mesh, unsigned int sectors = 32, unsigned int rings = 24) {
    const unsigned int base = mesh.m_Vertices.GetCount();
    AddVertex(mesh, 0, 0, -1);
    for (unsigned int k = 1; k < rings; ++k) {
        const double r = std::sin(Pi * k / rings), z = -std::cos(Pi * k / rings);
        for (unsigned int s = 0; s < sectors; ++s) {
            const double a = 2 * Pi * s / sectors;
            AddVertex(mesh, r * std::cos(a), r * std::sin(a), z);
        }
    }
    AddVertex(mesh, 0, 0, 1);
    const unsigned int top = base + 1 + (rings - 1) * sectors;
    const auto at = [&](unsigned int k, unsigned int s) { return base + 1 + k * sectors + s % sectors; };
    for (unsigned int s = 0; s < sectors; ++s) {
        AddFace(mesh, base, at(0, s + 1), at(0, s));
        for (unsigned int k = 0; k + 2 < rings; ++k)
            AddQuad(mesh, at(k, s), at(k, s + 1), at(k + 1, s + 1), at(k + 1, s));
        AddFace(mesh, top, at(rings - 2, s), at(rings - 2, s + 1));
    }
}

// A bumpy latitude-longitude sphere of about `faces` faces whose vertices are
// jittered along their radius by up to a fifth of the ring spacing, as the
// process benchmark writes it: near the poles its faces are far narrower than
// the jitter, so neighbouring faces there turn 45 to 130 degrees against each
// other in a zig-zag that no crease of the surface follows. The quads between
// rings are split along the same diagonal; the poles are single vertices
// whose fans hold one face per column.
template <typename Mesh>
void MakeJitteredLatLongSphere(Mesh& mesh, unsigned int faces = 10000, unsigned int seed = 11) {
    const unsigned int bands = std::max(3u, static_cast<unsigned int>(std::lround(std::sqrt(faces / 4.0))) + 1);
    const unsigned int columns = std::max(3u, static_cast<unsigned int>(std::lround(faces / (2.0 * (bands - 1)))));
    const double directions[4][3] = {{0.3, -1.2, 0.5}, {1.1, 0.4, -0.7}, {-0.6, 0.9, 1.3}, {-1.0, -0.5, -0.2}};
    CNoise random(seed);
    const unsigned int base = mesh.m_Vertices.GetCount();
    const auto place = [&](double x, double y, double z) {
        double radius = 1 + 0.2 * random.Next() * Pi / bands;
        for (const auto& d : directions)
            radius += 0.1 * std::sin(3 * (x * d[0] + y * d[1] + z * d[2]));
        AddVertex(mesh, radius * x, radius * y, radius * z);
    };
    place(0, 0, 1);
    for (unsigned int i = 1; i < bands; ++i)
        for (unsigned int j = 0; j < columns; ++j) {
            const double theta = Pi * i / bands, phi = 2 * Pi * j / columns;
            place(std::sin(theta) * std::cos(phi), std::sin(theta) * std::sin(phi), std::cos(theta));
        }
    place(0, 0, -1);
    const unsigned int south = base + 1 + (bands - 1) * columns;
    const auto ring = [&](unsigned int i, unsigned int j) { return base + 1 + i * columns + j % columns; };
    for (unsigned int j = 0; j < columns; ++j) {
        AddFace(mesh, base, ring(0, j), ring(0, j + 1));
        for (unsigned int i = 0; i + 2 < bands; ++i) {
            AddFace(mesh, ring(i, j), ring(i + 1, j), ring(i + 1, j + 1));
            AddFace(mesh, ring(i, j), ring(i + 1, j + 1), ring(i, j + 1));
        }
        AddFace(mesh, south, ring(bands - 2, j + 1), ring(bands - 2, j));
    }
}

// An L-shaped bracket CAD-style (see AddCadPrism): arms 4 and 3 long and
// `thickness` thick, `height` tall, each cap a fan from the inner corner of
// the L. Every edge of it is about the mean edge length, so each feature line
// is shorter than the lines a remesh at that target keeps for their length.
template <typename Mesh>
void MakeCadBracket(Mesh& mesh, double thickness = 0.8, double height = 2) {
    AddCadPrism(mesh, {{thickness, thickness}, {thickness, 3}, {0, 3}, {0, 0}, {4, 0}, {4, thickness}}, height);
}

// A prism over a simple outline (counter-clockwise), `height` tall, each cap
// clipped ear by ear as CAD tessellators and text tools deliver them: the
// first convex corner (walking the outline) whose triangle holds no other
// corner goes, long thin faces and no inner vertex; each wall one quad.
template <typename Mesh>
void AddEarClippedPrism(Mesh& mesh, const std::vector<std::array<double, 2>>& outline, double height) {
    const unsigned int n = static_cast<unsigned int>(outline.size());
    const unsigned int bottom = mesh.m_Vertices.GetCount(), top = bottom + n;
    for (const double z : {0.0, height})
        for (const auto& p : outline)
            AddVertex(mesh, p[0], p[1], z);
    std::vector<unsigned int> left(n);
    for (unsigned int i = 0; i < n; ++i)
        left[i] = i;
    const auto cross = [&](unsigned int o, unsigned int a, unsigned int b) {
        return (outline[a][0] - outline[o][0]) * (outline[b][1] - outline[o][1]) -
               (outline[a][1] - outline[o][1]) * (outline[b][0] - outline[o][0]);
    };
    const auto ear = [&](unsigned int i, unsigned int j, unsigned int l) {
        AddFace(mesh, bottom + i, bottom + l, bottom + j);
        AddFace(mesh, top + i, top + j, top + l);
    };
    while (left.size() > 3) {
        bool clipped = false;
        for (std::size_t k = 0; k < left.size() && !clipped; ++k) {
            const unsigned int i = left[(k + left.size() - 1) % left.size()], j = left[k],
                               l = left[(k + 1) % left.size()];
            if (cross(i, j, l) <= 1e-12)
                continue;
            bool inside = false;
            for (const unsigned int m : left)
                if (m != i && m != j && m != l && cross(i, j, m) >= 0 && cross(j, l, m) >= 0 && cross(l, i, m) >= 0)
                    inside = true;
            if (inside)
                continue;
            ear(i, j, l);
            left.erase(left.begin() + static_cast<std::ptrdiff_t>(k));
            clipped = true;
        }
        if (!clipped)
            break;
    }
    ear(left[0], left[1], left[2]);
    for (unsigned int i = 0; i < n; ++i)
        AddQuad(mesh, bottom + i, bottom + (i + 1) % n, top + (i + 1) % n, top + i);
}

// A roof extruded `length` long whose top is a shallow arc of `facets`
// facets over `span` degrees of a circle of `radius` (neighbouring facets 3
// degrees apart by default) on a flat base, its ends standing 0.3 tall,
// caps ear-clipped: at the mean edge the gable ends' side walls are strips
// 0.14 targets tall between two lines.
template <typename Mesh>
void MakeArchedRoof(Mesh& mesh, unsigned int facets = 20, double span = 60, double radius = 5, double length = 3) {
    const double half = span * Pi / 360;
    std::vector<std::array<double, 2>> top;
    for (unsigned int i = 0; i <= facets; ++i) {
        const double a = half - 2 * half * i / facets;
        top.push_back({radius * std::sin(a), radius * std::cos(a) - radius * std::cos(half) + 0.3});
    }
    std::vector<std::array<double, 2>> outline = {{top.back()[0], 0.0}, {top.front()[0], 0.0}};
    outline.insert(outline.end(), top.begin(), top.end());
    AddEarClippedPrism(mesh, outline, length);
}

// A spur gear CAD-style: `teeth` teeth on a disc of radius 1, each a
// trapezoid 0.2 tall, the outline meeting the wall at right angles, each cap
// a fan from its centre (or, with earCaps, clipped ear by ear), the walls one
// quad tall. The root between two teeth
// and the flanks are a fraction of the mean edge length, so the corners
// along the rims stand far closer together than the target and a remesh
// that keeps them has faces as narrow as the gaps between them.
template <typename Mesh>
void MakeCadGear(Mesh& mesh, unsigned int teeth = 12, double height = 0.4, bool earCaps = false) {
    // Per tooth: the share of its period and the radius of each corner.
    const std::array<std::array<double, 2>, 4> profile = {{{0.0, 1.0}, {0.2, 1.2}, {0.5, 1.2}, {0.7, 1.0}}};
    std::vector<std::array<double, 2>> outline;
    for (unsigned int t = 0; t < teeth; ++t)
        for (const auto& corner : profile) {
            const double a = 2 * Pi * (t + corner[0]) / teeth;
            outline.push_back({corner[1] * std::cos(a), corner[1] * std::sin(a)});
        }
    if (earCaps) {
        AddEarClippedPrism(mesh, outline, height);
        return;
    }
    const unsigned int n = static_cast<unsigned int>(outline.size());
    const unsigned int bottom = mesh.m_Vertices.GetCount(), top = bottom + n;
    for (const double z : {0.0, height})
        for (const auto& p : outline)
            AddVertex(mesh, p[0], p[1], z);
    const unsigned int below = top + n, above = below + 1;
    AddVertex(mesh, 0, 0, 0);
    AddVertex(mesh, 0, 0, height);
    for (unsigned int i = 0; i < n; ++i) {
        const unsigned int j = (i + 1) % n;
        AddFace(mesh, below, bottom + j, bottom + i);
        AddFace(mesh, above, top + i, top + j);
        AddQuad(mesh, bottom + i, bottom + j, top + j, top + i);
    }
}

// An L-shaped bracket CAD-style (see AddCadPrism) with arms much thinner than
// its mean edge length: arms 4 and 3 long, 0.6 thick, 2.5 tall. Each cap is
// a fan of four long faces from the outer corner, so its rims along each arm
// face each other a quarter of a target apart with no vertex between their
// ends.
template <typename Mesh>
void MakeThinCadBracket(Mesh& mesh) {
    AddCadPrism(mesh, {{0, 0}, {4, 0}, {4, 0.6}, {0.6, 0.6}, {0.6, 3}, {0, 3}}, 2.5);
}

// A hexagon nut CAD-style: a hexagonal prism of circumradius 1 and the given
// height around a round hole of radius 0.5 with `sides` sides, each cap one
// strip of long thin faces from the hexagon to the hole's rim (corners joined
// in the order of their angles around the axis), walls one quad tall. Its
// edges are about the mean edge length: every line it draws is short.
template <typename Mesh>
void MakeCadHexNut(Mesh& mesh, unsigned int sides = 24, double height = 0.8) {
    const unsigned int base = mesh.m_Vertices.GetCount();
    const unsigned int outer = base, inner = base + 12;
    std::vector<double> outerAngle(6), innerAngle(sides);
    for (const double z : {0.0, height})
        for (unsigned int i = 0; i < 6; ++i) {
            outerAngle[i] = Pi / 6 + Pi * i / 3;
            AddVertex(mesh, std::cos(outerAngle[i]), std::sin(outerAngle[i]), z);
        }
    for (const double z : {0.0, height})
        for (unsigned int i = 0; i < sides; ++i) {
            innerAngle[i] = 2 * Pi * i / sides;
            AddVertex(mesh, 0.5 * std::cos(innerAngle[i]), 0.5 * std::sin(innerAngle[i]), z);
        }
    for (unsigned int i = 0; i < 6; ++i)
        AddQuad(mesh, outer + i, outer + (i + 1) % 6, outer + 6 + (i + 1) % 6, outer + 6 + i);
    for (unsigned int i = 0; i < sides; ++i)
        AddQuad(mesh, inner + i, inner + sides + i, inner + sides + (i + 1) % sides, inner + (i + 1) % sides);
    // Each step takes the next corner of the hexagon or of the rim, whichever
    // lies first around the axis.
    const auto after = [](const std::vector<double>& angles, unsigned int k) {
        return angles[k % angles.size()] + (k + 1 > angles.size() ? 2 * Pi : 0.0);
    };
    unsigned int i = 0, j = 0;
    while (i < 6 || j < sides) {
        const bool outerStep = j >= sides || (i < 6 && after(outerAngle, i + 1) <= after(innerAngle, j + 1));
        const unsigned int a = i % 6, b = (i + 1) % 6, c = j % sides, d = (j + 1) % sides;
        if (outerStep) {
            AddFace(mesh, outer + a, inner + c, outer + b);
            AddFace(mesh, outer + 6 + a, outer + 6 + b, inner + sides + c);
            ++i;
        } else {
            AddFace(mesh, outer + a, inner + c, inner + d);
            AddFace(mesh, outer + 6 + a, inner + sides + d, inner + sides + c);
            ++j;
        }
    }
}

// A terrain patch whose boundary is the convex hull of its points, as a
// Delaunay triangulation of scattered heights leaves it: the height field
// z = 0.2 exp(-4 (x^2 + y^2)) over the square [-1, 1]^2, sampled on an n x n
// grid jittered by a quarter of its spacing, whose outer rows lie a twentieth
// to a fifth of the spacing inside the square's sides (furthest in the
// middle, so that each side's end sees the whole row). The square's four
// corners are the only boundary vertices: each side is one edge of length 2,
// joined to its row by a fan from each end and one face to the row's middle.
// The rims do not follow the bump, so the thin faces along them turn against
// the surface inside by up to 20 degrees.
template <typename Mesh>
void MakeHullPlate(Mesh& mesh, unsigned int n = 24, unsigned int seed = 3) {
    const unsigned int base = mesh.m_Vertices.GetCount();
    CNoise noise(seed);
    const double spacing = 2.0 / (n + 1);
    const auto height = [](double x, double y) { return 0.2 * std::exp(-4 * (x * x + y * y)); };
    const double corners[4][2] = {{-1, -1}, {1, -1}, {1, 1}, {-1, 1}};
    for (const auto& c : corners)
        AddVertex(mesh, c[0], c[1], height(c[0], c[1]));
    const auto inset = [&](unsigned int k) {
        const double t = (k + 1) / double(n + 1);
        return spacing * (0.05 + 0.4 * t * (1 - t));
    };
    for (unsigned int j = 0; j < n; ++j)
        for (unsigned int i = 0; i < n; ++i) {
            double x = -1 + spacing * (i + 1) + 0.25 * spacing * noise.Next();
            double y = -1 + spacing * (j + 1) + 0.25 * spacing * noise.Next();
            if (i == 0 || i == n - 1)
                x = i == 0 ? -1 + inset(j) : 1 - inset(j);
            if (j == 0 || j == n - 1)
                y = j == 0 ? -1 + inset(i) : 1 - inset(i);
            AddVertex(mesh, x, y, height(x, y));
        }
    const auto at = [&](unsigned int i, unsigned int j) { return base + 4 + j * n + i; };
    for (unsigned int j = 0; j + 1 < n; ++j)
        for (unsigned int i = 0; i + 1 < n; ++i)
            AddQuad(mesh, at(i, j), at(i + 1, j), at(i + 1, j + 1), at(i, j + 1));
    // Each side's row from the side's first corner to its second, going
    // round the square counterclockwise seen from above.
    const unsigned int middle = (n - 1) / 2;
    for (unsigned int side = 0; side < 4; ++side) {
        std::vector<unsigned int> row(n);
        for (unsigned int k = 0; k < n; ++k)
            row[k] = side == 0   ? at(k, 0)
                     : side == 1 ? at(n - 1, k)
                     : side == 2 ? at(n - 1 - k, n - 1)
                                 : at(0, n - 1 - k);
        const unsigned int first = base + side, second = base + (side + 1) % 4;
        AddFace(mesh, first, second, row[middle]);
        for (unsigned int k = 0; k + 1 < n; ++k)
            AddFace(mesh, k < middle ? first : second, row[k + 1], row[k]);
    }
}

// A closed plate 4 x 4 and `thickness` thick, centred on the origin: top and
// bottom are grids of n x n square cells (each cut along one diagonal), the
// wall one quad tall around it. Far lower than the target, the wall can be
// triangulated with good angles only by vertices of one rim under the
// middles of the other's edges.
template <typename Mesh>
void MakeThinPlate(Mesh& mesh, unsigned int n = 30, double thickness = 0.05) {
    const unsigned int base = mesh.m_Vertices.GetCount();
    const unsigned int layer = (n + 1) * (n + 1);
    for (const double z : {thickness, 0.0})
        for (unsigned int j = 0; j <= n; ++j)
            for (unsigned int i = 0; i <= n; ++i)
                AddVertex(mesh, -2 + 4.0 * i / n, -2 + 4.0 * j / n, z);
    const auto at = [&](unsigned int i, unsigned int j) { return base + j * (n + 1) + i; };
    for (unsigned int j = 0; j < n; ++j)
        for (unsigned int i = 0; i < n; ++i) {
            const unsigned int a = at(i, j), b = at(i + 1, j), c = at(i + 1, j + 1), d = at(i, j + 1);
            AddQuad(mesh, a, b, c, d);
            AddQuad(mesh, a + layer, d + layer, c + layer, b + layer);
        }
    // The top's rim counterclockwise seen from above, as its faces run along
    // it; each rim edge a-b gets the wall quad below it.
    std::vector<unsigned int> rim;
    for (unsigned int k = 0; k < n; ++k)
        rim.push_back(at(k, 0));
    for (unsigned int k = 0; k < n; ++k)
        rim.push_back(at(n, k));
    for (unsigned int k = 0; k < n; ++k)
        rim.push_back(at(n - k, n));
    for (unsigned int k = 0; k < n; ++k)
        rim.push_back(at(0, n - k));
    for (std::size_t k = 0; k < rim.size(); ++k) {
        const unsigned int a = rim[k], b = rim[(k + 1) % rim.size()];
        AddQuad(mesh, b, a, a + layer, b + layer);
    }
}

// A sphere with needles: an icosphere whose vertices `first`, `first` +
// `stride`, ... (`spikes` of them) are pushed out to `length` times the
// radius. Each spike is a pyramid of five or six thin faces (15 to 17 degrees
// at the tip for length 2 at two levels) whose creases turn by more than the
// feature angle; its tip closes after about a quarter of a turn.
template <typename Mesh>
void MakeSpikySphere(Mesh& mesh, unsigned int levels = 2, unsigned int spikes = 6, double length = 2,
                     unsigned int first = 0, unsigned int stride = 2) {
    MakeIcosphere(mesh, levels);
    for (unsigned int k = 0; k < spikes; ++k) {
        auto& p = mesh.m_Vertices[first + k * stride].m_Position;
        p = TVector3<RealOf<Mesh>>(RealOf<Mesh>(p.x * length), RealOf<Mesh>(p.y * length), RealOf<Mesh>(p.z * length));
    }
}

// A scan with noise spikes: a bumpy sphere (MakeBumpySphere, bumps 0.1)
// whose vertices are taken in order, each with a chance of one in
// `every` and none within two edges of one taken already, and pulled out
// along their radius by 2 to 5 mean edge lengths. Each spike is a needle of five or six
// faces whose tip closes after a fifth to a half of a turn; a scan of
// thousands of them makes the tips' final moves a large share of the
// remesh.
template <typename Mesh>
void MakeSpikedScan(Mesh& mesh, unsigned int levels = 3, unsigned int every = 8, unsigned int seed = 77) {
    MakeBumpySphere(mesh, levels, 0.1, 0, seed);
    const unsigned int vertexCount = mesh.m_Vertices.GetCount();
    std::vector<std::vector<unsigned int>> neighbours(vertexCount);
    double sum = 0;
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f) {
        const auto* c = mesh.m_Faces[f].m_Corners;
        for (int k = 0; k < 3; ++k) {
            const auto d = mesh.m_Vertices[c[k]].m_Position - mesh.m_Vertices[c[(k + 1) % 3]].m_Position;
            sum += std::sqrt(double(d.x) * d.x + double(d.y) * d.y + double(d.z) * d.z);
            neighbours[c[k]].push_back(c[(k + 1) % 3]);
        }
    }
    const double mean = sum / (3.0 * mesh.m_Faces.GetCount());
    std::vector<char> taken(vertexCount, 0);
    CNoise random(seed);
    for (unsigned int v = 0; v < vertexCount; ++v) {
        const double chance = random.Next(), length = random.Next();
        bool free = (chance + 1) * every < 2;
        for (const unsigned int x : neighbours[v])
            free = free && !taken[x];
        for (const unsigned int x : neighbours[v])
            for (const unsigned int y : neighbours[x])
                free = free && !taken[y];
        if (!free)
            continue;
        taken[v] = 1;
        auto& p = mesh.m_Vertices[v].m_Position;
        const double radius = std::sqrt(double(p.x) * p.x + double(p.y) * p.y + double(p.z) * p.z);
        const double scale = 1 + (3.5 + 1.5 * length) * mean / radius;
        p = TVector3<RealOf<Mesh>>(RealOf<Mesh>(p.x * scale), RealOf<Mesh>(p.y * scale), RealOf<Mesh>(p.z * scale));
    }
}

// A sharp cone: its tip `height` above a base circle of radius 1 drawn with
// `sides` sides, the base a fan from its centre. At height 6 its half-angle
// is 9.5 degrees and its faces close around the tip after 59 degrees, so
// flat faces meet at the tip at 16.4 degrees at best (three of them, spread
// evenly) and 13.4 with four; at its own mean edge length it is remeshed
// into about ten faces. sidesFirst: all side faces first, then the base's
// (the collapses then leave the tip another ring: four faces, one of its
// ring vertices with three neighbours, a base vertex in the ring).
// rimFan: the base a fan from its first rim vertex instead, no centre
// (always after the sides).
template <typename Mesh>
void MakeSharpCone(Mesh& mesh, unsigned int sides = 32, double height = 6, bool sidesFirst = false,
                   bool rimFan = false) {
    for (unsigned int i = 0; i < sides; ++i) {
        const double a = 2 * Pi * i / sides;
        AddVertex(mesh, std::cos(a), std::sin(a), 0);
    }
    AddVertex(mesh, 0, 0, height);
    if (rimFan) {
        for (unsigned int i = 0; i < sides; ++i)
            AddFace(mesh, i, (i + 1) % sides, sides);
        for (unsigned int i = 1; i + 1 < sides; ++i)
            AddFace(mesh, 0, i + 1, i);
        return;
    }
    AddVertex(mesh, 0, 0, 0);
    for (unsigned int i = 0; i < sides; ++i) {
        const unsigned int j = (i + 1) % sides;
        AddFace(mesh, i, j, sides);
        if (!sidesFirst)
            AddFace(mesh, sides + 1, j, i);
    }
    if (sidesFirst)
        for (unsigned int i = 0; i < sides; ++i)
            AddFace(mesh, sides + 1, (i + 1) % sides, i);
}

// A plate of n x n squares over [-1, 1]^2 in z = 0, each cut along the same
// diagonal, with a sheet `rows` squares tall and 0.6 high standing on its
// grid line y = 0 (n even): each edge of that line holds three faces, the
// plate's two and the sheet's one, and its ends lie on the plate's rim.
template <typename Mesh>
void MakeFinOnPlate(Mesh& mesh, unsigned int n = 16, unsigned int rows = 6) {
    const unsigned int base = mesh.m_Vertices.GetCount();
    for (unsigned int j = 0; j <= n; ++j)
        for (unsigned int i = 0; i <= n; ++i)
            AddVertex(mesh, -1 + 2.0 * i / n, -1 + 2.0 * j / n, 0);
    AddGridFaces(mesh, base, n, n);
    // The sheet's foot is the plate's middle row of vertices.
    const unsigned int foot = base + (n / 2) * (n + 1), sheet = mesh.m_Vertices.GetCount();
    for (unsigned int r = 1; r <= rows; ++r)
        for (unsigned int i = 0; i <= n; ++i)
            AddVertex(mesh, -1 + 2.0 * i / n, 0, 0.6 * r / rows);
    const auto at = [&](unsigned int r, unsigned int i) { return r == 0 ? foot + i : sheet + (r - 1) * (n + 1) + i; };
    for (unsigned int r = 0; r < rows; ++r)
        for (unsigned int i = 0; i < n; ++i) {
            AddFace(mesh, at(r, i), at(r, i + 1), at(r + 1, i + 1));
            AddFace(mesh, at(r, i), at(r + 1, i + 1), at(r + 1, i));
        }
}

// Two closed cones of radius 1 and height 2 touching at their tips, each
// lathed from `rings` rings of `sides` points (a flat base fanned from its
// centre, the side in even rings up to the tip), the second the first
// mirrored in z = 0: the tip, at the origin, joins two separate fans.
template <typename Mesh>
void MakeConesTipToTip(Mesh& mesh, unsigned int sides = 24, unsigned int rings = 6) {
    const unsigned int tip = mesh.m_Vertices.GetCount();
    AddVertex(mesh, 0, 0, 0);
    for (const double side : {-1.0, 1.0}) {
        const unsigned int pole = mesh.m_Vertices.GetCount(), ring = pole + 1;
        AddVertex(mesh, 0, 0, 2 * side);
        for (unsigned int k = 0; k < rings; ++k) {
            const double r = 1.0 - double(k) / rings, z = side * (2.0 - 2.0 * k / rings);
            for (unsigned int s = 0; s < sides; ++s)
                AddVertex(mesh, r * std::cos(2 * Pi * s / sides), r * std::sin(2 * Pi * s / sides), z);
        }
        // Outward on the lower cone, whose rings climb towards the tip;
        // turned on the mirrored one.
        const auto face = [&](unsigned int a, unsigned int b, unsigned int c) {
            if (side < 0)
                AddFace(mesh, a, b, c);
            else
                AddFace(mesh, a, c, b);
        };
        for (unsigned int s = 0; s < sides; ++s) {
            const unsigned int t = (s + 1) % sides;
            face(pole, ring + t, ring + s);
            for (unsigned int k = 0; k + 1 < rings; ++k) {
                const unsigned int a = ring + k * sides + s, b = ring + k * sides + t;
                face(a, b, b + sides);
                face(a, b + sides, a + sides);
            }
            const unsigned int last = ring + (rings - 1) * sides;
            face(tip, last + s, last + t);
        }
    }
}

// A bumpy closed body (an icosphere of `levels` levels) with `pieces` tiny
// separate pieces scattered around it, as scans keep debris: regular
// icosahedra and tetrahedra 0.005 to 0.03 across their corners' radius, 1.3
// to 2 radii from the body's centre.
template <typename Mesh>
void MakeDebrisBesideBody(Mesh& mesh, unsigned int levels = 3, unsigned int pieces = 40) {
    MakeIcosphere(mesh, levels);
    for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v) {
        auto& p = mesh.m_Vertices[v].m_Position;
        const double r = 1 + 0.1 * std::sin(3 * p.x) * std::cos(2 * p.y + p.z);
        p = p * RealOf<Mesh>(r);
    }
    Mesh ico, tet;
    MakeIcosphere(ico, 0);
    AddTables(tet, {{1, 1, 1}, {1, -1, -1}, {-1, 1, -1}, {-1, -1, 1}}, {{0, 1, 2}, {0, 3, 1}, {0, 2, 3}, {1, 3, 2}});
    CNoise noise(7);
    for (unsigned int k = 0; k < pieces; ++k) {
        const Mesh& piece = k % 2 ? tet : ico;
        double d[3] = {noise.Next(), noise.Next(), noise.Next()};
        const double length = std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]) + 1e-9;
        const double distance = 1.65 + 0.35 * noise.Next(), size = 0.0175 + 0.0125 * noise.Next();
        // The tetrahedron's corners lie further out than the icosahedron's.
        const double scale = size / (k % 2 ? std::sqrt(3.0) : 1.0);
        const unsigned int base = mesh.m_Vertices.GetCount();
        for (unsigned int v = 0; v < piece.m_Vertices.GetCount(); ++v) {
            const auto& q = piece.m_Vertices[v].m_Position;
            AddVertex(mesh, distance * d[0] / length + scale * q.x, distance * d[1] / length + scale * q.y,
                      distance * d[2] / length + scale * q.z);
        }
        for (unsigned int f = 0; f < piece.m_Faces.GetCount(); ++f)
            AddFace(mesh, base + piece.m_Faces[f].m_Corners[0], base + piece.m_Faces[f].m_Corners[1],
                    base + piece.m_Faces[f].m_Corners[2]);
    }
}

// Three faceted spheres of different fineness, as real collections hold
// smooth parts tessellated coarsely: icospheres of 80 faces and radius 2, of
// 320 faces and radius 1 and of 1,280 faces and radius 0.5, each midpoint
// pushed onto the sphere as soon as it is made. At their mean edge length the
// two coarser ones are refined: every vertex of theirs is a gentle corner of
// the surface that the result has to keep.
template <typename Mesh>
void MakeThreeSpheres(Mesh& mesh) {
    const auto add = [&mesh](unsigned int levels, double radius, double offset) {
        Mesh sphere;
        MakeIcosphere(sphere, 0);
        std::vector<std::array<double, 3>> p;
        std::vector<std::array<unsigned int, 3>> f;
        for (unsigned int v = 0; v < sphere.m_Vertices.GetCount(); ++v) {
            const auto& q = sphere.m_Vertices[v].m_Position;
            p.push_back({double(q.x), double(q.y), double(q.z)});
        }
        for (unsigned int i = 0; i < sphere.m_Faces.GetCount(); ++i) {
            const auto* c = sphere.m_Faces[i].m_Corners;
            f.push_back({unsigned(c[0]), unsigned(c[1]), unsigned(c[2])});
        }
        for (unsigned int l = 0; l < levels; ++l) {
            std::map<std::pair<unsigned int, unsigned int>, unsigned int> mid;
            const auto midpoint = [&](unsigned int a, unsigned int b) {
                const auto key = std::make_pair(std::min(a, b), std::max(a, b));
                const auto it = mid.find(key);
                if (it != mid.end())
                    return it->second;
                std::array<double, 3> m = {p[a][0] + p[b][0], p[a][1] + p[b][1], p[a][2] + p[b][2]};
                const double length = std::sqrt(m[0] * m[0] + m[1] * m[1] + m[2] * m[2]);
                p.push_back({m[0] / length, m[1] / length, m[2] / length});
                return mid[key] = unsigned(p.size() - 1);
            };
            std::vector<std::array<unsigned int, 3>> next;
            for (const auto& t : f) {
                const unsigned int ab = midpoint(t[0], t[1]), bc = midpoint(t[1], t[2]), ca = midpoint(t[2], t[0]);
                next.push_back({t[0], ab, ca});
                next.push_back({t[1], bc, ab});
                next.push_back({t[2], ca, bc});
                next.push_back({ab, bc, ca});
            }
            f.swap(next);
        }
        for (auto& q : p)
            q = {q[0] * radius + offset, q[1] * radius + offset, q[2] * radius + offset};
        AddTables(mesh, p, f);
    };
    add(2, 1.0, 0.0);
    add(3, 0.5, 3.0);
    add(1, 2.0, -5.0);
}

// A raw laser scan with noise and pinholes: a bumpy sphere (MakeBumpySphere,
// bumps 0.15) whose every vertex the scanner put off the surface along its
// radius by `noise` times the mean edge times a draw of spread 1 (the sum of
// three uniform draws in [-1, 1]), then, `holes` times, every face dropped
// whose centroid lies within 0.6 to 1.8 mean edges of a vertex drawn at
// random. At a noise of one edge most edges bend by more than a feature
// angle and the input folds over itself in many places.
template <typename Mesh>
void MakePinholedScan(Mesh& mesh, unsigned int levels = 5, double noise = 1.0, unsigned int holes = 14,
                      unsigned int seed = 1) {
    Mesh sphere;
    MakeBumpySphere(sphere, levels, 0.15, 0, seed);
    CNoise random(seed);
    const unsigned int count = sphere.m_Vertices.GetCount();
    std::vector<std::array<double, 3>> points(count);
    for (unsigned int v = 0; v < count; ++v) {
        const auto& p = sphere.m_Vertices[v].m_Position;
        points[v] = {double(p.x), double(p.y), double(p.z)};
    }
    std::vector<std::array<unsigned int, 3>> faces;
    double edge = 0;
    for (unsigned int f = 0; f < sphere.m_Faces.GetCount(); ++f) {
        const auto* c = sphere.m_Faces[f].m_Corners;
        faces.push_back({c[0], c[1], c[2]});
        for (int j = 0; j < 3; ++j) {
            const auto &a = points[c[j]], &b = points[c[(j + 1) % 3]];
            edge += std::sqrt((a[0] - b[0]) * (a[0] - b[0]) + (a[1] - b[1]) * (a[1] - b[1]) +
                              (a[2] - b[2]) * (a[2] - b[2]));
        }
    }
    edge /= 3.0 * faces.size();
    for (auto& p : points) {
        const double scale = 1 + noise * edge * (random.Next() + random.Next() + random.Next());
        p = {p[0] * scale, p[1] * scale, p[2] * scale};
    }
    for (unsigned int k = 0; k < holes; ++k) {
        const auto& centre = points[static_cast<unsigned int>((random.Next() + 1) / 2 * (count - 1))];
        const double reach = edge * (1.2 + 0.6 * random.Next());
        std::vector<std::array<unsigned int, 3>> kept;
        for (const auto& t : faces) {
            double d2 = 0;
            for (int j = 0; j < 3; ++j) {
                const double m = (points[t[0]][j] + points[t[1]][j] + points[t[2]][j]) / 3 - centre[j];
                d2 += m * m;
            }
            if (d2 > reach * reach)
                kept.push_back(t);
        }
        faces.swap(kept);
    }
    AddUsedTables(mesh, points, faces);
}

// A scan of a closed organic shape cut where the scanner saw nothing, as
// cleaning tools cut it: a bumpy sphere (MakeBumpySphere, bumps 0.15) with
// every face dropped whose centroid lies beyond the plane through `cut` along
// the direction (0.2, 0, -1) and, for holes 0 .. holes - 1, every face whose
// centroid lies within 0.05 + 0.06 k radians of a direction drawn at random.
// The rims follow the faces, a zig-zag that turns by 60 degrees or more at
// nearly every vertex, both ways: tips of one face and notches between them.
template <typename Mesh>
void MakeFaceCutScan(Mesh& mesh, unsigned int levels = 4, double cut = 0.4, unsigned int holes = 3,
                     unsigned int seed = 12) {
    Mesh whole;
    MakeBumpySphere(whole, levels, 0.15, 0, seed);
    CNoise random(seed);
    std::vector<std::array<double, 3>> centres;
    for (unsigned int k = 0; k < holes; ++k) {
        std::array<double, 3> d = {random.Next(), random.Next(), random.Next()};
        const double length = std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
        centres.push_back({d[0] / length, d[1] / length, d[2] / length});
    }
    const double plane = std::sqrt(1.04);
    std::vector<int> index(whole.m_Vertices.GetCount(), -1);
    std::vector<std::array<double, 3>> points;
    std::vector<std::array<unsigned int, 3>> faces;
    for (unsigned int f = 0; f < whole.m_Faces.GetCount(); ++f) {
        const auto* c = whole.m_Faces[f].m_Corners;
        std::array<double, 3> m = {0, 0, 0};
        for (int i = 0; i < 3; ++i) {
            const auto& p = whole.m_Vertices[c[i]].m_Position;
            m = {m[0] + p.x / 3, m[1] + p.y / 3, m[2] + p.z / 3};
        }
        if ((0.2 * m[0] - m[2]) / plane > cut)
            continue;
        const double length = std::sqrt(m[0] * m[0] + m[1] * m[1] + m[2] * m[2]);
        bool inHole = false;
        for (unsigned int k = 0; k < holes; ++k) {
            const auto& d = centres[k];
            inHole = inHole || (m[0] * d[0] + m[1] * d[1] + m[2] * d[2]) / length > std::cos(0.05 + 0.06 * k);
        }
        if (inHole)
            continue;
        std::array<unsigned int, 3> t;
        for (int i = 0; i < 3; ++i) {
            if (index[c[i]] < 0) {
                const auto& p = whole.m_Vertices[c[i]].m_Position;
                index[c[i]] = static_cast<int>(points.size());
                points.push_back({double(p.x), double(p.y), double(p.z)});
            }
            t[i] = static_cast<unsigned int>(index[c[i]]);
        }
        faces.push_back(t);
    }
    AddTables(mesh, points, faces);
}

// A sheet-metal part as CAD programs export it: one open sheet `width` wide
// (along y), a flat flange 2 long in z = 0 and another 1.5 tall in x = 0.3,
// joined by a 90-degree fillet of radius 0.3 in `segments` facets. Across
// the sheet `across` strips of quads, each split along the same diagonal, so
// each flange is a row of slivers (2 degrees at 40 strips) beside the
// fillet's nearly square faces.
template <typename Mesh>
void MakeBentSheet(Mesh& mesh, unsigned int across = 40, unsigned int segments = 12, double width = 3) {
    const double radius = 0.3;
    std::vector<std::array<double, 2>> profile = {{-2, 0}, {0, 0}};
    for (unsigned int k = 1; k <= segments; ++k) {
        const double a = 0.5 * Pi * k / segments;
        profile.push_back({radius * std::sin(a), radius * (1 - std::cos(a))});
    }
    profile.push_back({radius, 1.5});
    const unsigned int base = mesh.m_Vertices.GetCount(), columns = across + 1;
    for (const auto& p : profile)
        for (unsigned int j = 0; j < columns; ++j)
            AddVertex(mesh, p[0], width * j / across, p[1]);
    for (unsigned int i = 0; i + 1 < profile.size(); ++i)
        for (unsigned int j = 0; j < across; ++j) {
            const unsigned int a = base + i * columns + j;
            AddFace(mesh, a, a + 1, a + columns + 1);
            AddFace(mesh, a, a + columns + 1, a + columns);
        }
}

// An open height field over [-1, 1]^2 on an n x n grid (each square split
// along the same diagonal), z = 1.2 y |x| + 0.2 (x^2 - y^2): a crease along
// x = 0 whose sharpness runs from concave through flat to convex, meeting
// the rim where it is sharpest.
template <typename Mesh>
void MakeSaddleCrease(Mesh& mesh, unsigned int n = 20) {
    const unsigned int base = mesh.m_Vertices.GetCount();
    for (unsigned int j = 0; j <= n; ++j)
        for (unsigned int i = 0; i <= n; ++i) {
            const double x = -1 + 2.0 * i / n, y = -1 + 2.0 * j / n;
            AddVertex(mesh, x, y, 1.2 * y * std::fabs(x) + 0.2 * (x * x - y * y));
        }
    AddGridFaces(mesh, base, n, n);
}

// A strap `length` long and `width` wide, a grid of `along` by `across` cells
// (each split along the same diagonal), with a row of vertices inside it
// wherever `across` exceeds 1: narrower than a coarse target, its faces must
// each span it alone. Flat in z = 0 with `sag` 0; otherwise bent across its
// width into an arc whose middle lies `sag` below its rims.
template <typename Mesh>
void MakeNarrowStrap(Mesh& mesh, unsigned int along = 40, unsigned int across = 2, double length = 16,
                     double width = 0.4, double sag = 0) {
    const unsigned int base = mesh.m_Vertices.GetCount();
    for (unsigned int j = 0; j <= across; ++j)
        for (unsigned int i = 0; i <= along; ++i) {
            const double t = 2.0 * j / across - 1;
            AddVertex(mesh, length * i / along, width * j / across, sag * (t * t - 1));
        }
    AddGridFaces(mesh, base, along, across);
}

// A plant's stem: a closed tube of `sides` sides along x, `length` long, its
// radius narrowing from `radius` to half of it over `rings` rings, each end a
// fan to a point on its axis. With `inward` its faces face into the tube, as
// some exports write a part.
template <typename Mesh>
void MakeThinStem(Mesh& mesh, unsigned int sides = 5, unsigned int rings = 24, double length = 0.8,
                  double radius = 0.02, bool inward = false) {
    const unsigned int base = mesh.m_Vertices.GetCount();
    for (unsigned int k = 0; k < rings; ++k) {
        const double r = radius * (1 - 0.5 * k / (rings - 1));
        for (unsigned int s = 0; s < sides; ++s) {
            const double a = 2 * Pi * s / sides;
            AddVertex(mesh, length * k / (rings - 1), r * std::cos(a), r * std::sin(a));
        }
    }
    AddVertex(mesh, -0.02 * length, 0, 0);
    AddVertex(mesh, 1.02 * length, 0, 0);
    const unsigned int first = base + rings * sides, last = first + 1;
    const auto face = [&](unsigned int a, unsigned int b, unsigned int c) {
        if (inward)
            AddFace(mesh, a, c, b);
        else
            AddFace(mesh, a, b, c);
    };
    for (unsigned int k = 0; k + 1 < rings; ++k)
        for (unsigned int s = 0; s < sides; ++s) {
            const unsigned int a = base + k * sides + s, b = base + k * sides + (s + 1) % sides;
            face(a, b, b + sides);
            face(a, b + sides, a + sides);
        }
    for (unsigned int s = 0; s < sides; ++s) {
        face(first, base + (s + 1) % sides, base + s);
        face(last, base + (rings - 1) * sides + s, base + (rings - 1) * sides + (s + 1) % sides);
    }
}

// A plate 2 x holes long, 2 wide and 0.2 thick with `holes` round holes of
// `sides` sides, as an STL export of a CAD solid writes it: every face with
// its own three corners, each 2 x 2 square of a cap fanned from its corners
// to the hole's rim (long slivers), the holes' walls one quad tall, and each
// of the plate's two long sides one quad whose edges pass through the caps'
// corners where the squares meet, unshared (T-junctions).
template <typename Mesh>
void MakeStlPlateWithWholeSides(Mesh& mesh, unsigned int holes = 3, unsigned int sides = 48) {
    typedef std::array<double, 3> P;
    const auto face = [&](const P& a, const P& b, const P& c) {
        const unsigned int base = mesh.m_Vertices.GetCount();
        for (const P& p : {a, b, c})
            AddVertex(mesh, p[0], p[1], p[2]);
        AddFace(mesh, base, base + 1, base + 2);
    };
    const double h = 0.2;
    for (unsigned int k = 0; k < holes; ++k) {
        const double cx = 2.0 * k + 1;
        const double corners[4][2] = {{cx + 1, 1}, {cx - 1, 1}, {cx - 1, -1}, {cx + 1, -1}};
        std::vector<std::array<double, 2>> ring;
        for (unsigned int i = 0; i < sides; ++i)
            ring.push_back({cx + 0.5 * std::cos(2 * Pi * i / sides), 0.5 * std::sin(2 * Pi * i / sides)});
        const auto cap = [&](std::array<double, 2> a, std::array<double, 2> b, std::array<double, 2> c) {
            if ((b[0] - a[0]) * (c[1] - a[1]) - (b[1] - a[1]) * (c[0] - a[0]) < 0)
                std::swap(b, c);
            face(P{a[0], a[1], h}, P{b[0], b[1], h}, P{c[0], c[1], h});
            face(P{a[0], a[1], 0}, P{c[0], c[1], 0}, P{b[0], b[1], 0});
        };
        // Each rim edge goes to the corner of its quadrant; the four corners'
        // sides each close on the rim point between two quadrants.
        for (unsigned int i = 0; i < sides; ++i) {
            const unsigned int q = static_cast<unsigned int>((2.0 * (i + 0.5) / sides) * 2) % 4;
            cap({corners[q][0], corners[q][1]}, ring[i], ring[(i + 1) % sides]);
        }
        for (unsigned int q = 0; q < 4; ++q)
            cap({corners[q][0], corners[q][1]}, {corners[(q + 1) % 4][0], corners[(q + 1) % 4][1]},
                ring[((q + 1) * sides / 4) % sides]);
        for (unsigned int i = 0; i < sides; ++i) {
            const std::array<double, 2>&p = ring[i], &r = ring[(i + 1) % sides];
            face(P{p[0], p[1], 0}, P{p[0], p[1], h}, P{r[0], r[1], h});
            face(P{p[0], p[1], 0}, P{r[0], r[1], h}, P{r[0], r[1], 0});
        }
    }
    const double length = 2.0 * holes;
    const double outline[4][2] = {{0, -1}, {length, -1}, {length, 1}, {0, 1}};
    for (unsigned int i = 0; i < 4; ++i) {
        const double *p = outline[i], *q = outline[(i + 1) % 4];
        face(P{p[0], p[1], 0}, P{q[0], q[1], 0}, P{q[0], q[1], h});
        face(P{p[0], p[1], 0}, P{q[0], q[1], h}, P{p[0], p[1], h});
    }
}

// The vertices of a profile (radius, height) revolved about the z axis in
// `sectors` sectors: the first and last points are poles on the axis, one
// vertex each, and every point between is a ring. Faces are left to the
// caller, whose order the benchmarks' fingerprints depend on.
struct SRevolved {
    unsigned int m_Base, m_Count, m_Sectors;
    unsigned int At(unsigned int ring, unsigned int sector) const {
        return m_Base + 1 + ring * m_Sectors + sector % m_Sectors;
    }
    unsigned int Top() const { return m_Base + 1 + m_Count * m_Sectors; }
};

template <typename Mesh>
SRevolved AddRevolvedVertices(Mesh& mesh, const std::vector<std::array<double, 2>>& profile, unsigned int sectors) {
    const SRevolved rings{mesh.m_Vertices.GetCount(), static_cast<unsigned int>(profile.size()) - 2, sectors};
    AddVertex(mesh, 0, 0, profile.front()[1]);
    for (unsigned int k = 1; k <= rings.m_Count; ++k)
        for (unsigned int s = 0; s < sectors; ++s) {
            const double a = 2 * Pi * s / sectors;
            AddVertex(mesh, profile[k][0] * std::cos(a), profile[k][0] * std::sin(a), profile[k][1]);
        }
    AddVertex(mesh, 0, 0, profile.back()[1]);
    return rings;
}

// A sphere of radius 1 with a flat fin round its equator, as segmentations
// of thin tissue come out: the fin is two sheets `gap` apart from the
// sphere out to radius 1.8, where they meet at a knife rim; where they join
// the sphere its equator is two rings `gap` apart, back to back across the
// fin's root. Lat-long, `rings` rings per hemisphere and `sectors` sectors,
// quads split along one diagonal, fans at both poles, the fin's rings about
// as wide as its sectors.
template <typename Mesh>
void MakeMembraneFin(Mesh& mesh, unsigned int rings = 12, unsigned int sectors = 48, double gap = 0.013) {
    const unsigned int base = mesh.m_Vertices.GetCount();
    unsigned int count = 0;
    const auto ring = [&](double r, double z) {
        const unsigned int first = count;
        for (unsigned int s = 0; s < sectors; ++s) {
            const double a = 2 * Pi * s / sectors;
            AddVertex(mesh, r * std::cos(a), r * std::sin(a), z);
        }
        count += sectors;
        return first;
    };
    AddVertex(mesh, 0, 0, 1);
    ++count;
    std::vector<unsigned int> rows;
    unsigned int upper = 0, lower = 0;
    for (unsigned int k = 1; k < 2 * rings; ++k) {
        if (k == rings) {
            const double r = std::sqrt(1 - 0.25 * gap * gap);
            upper = ring(r, 0.5 * gap);
            lower = ring(r, -0.5 * gap);
            rows.push_back(upper);
            rows.push_back(lower);
        } else {
            const double theta = Pi * k / (2 * rings);
            rows.push_back(ring(std::sin(theta), std::cos(theta)));
        }
    }
    AddVertex(mesh, 0, 0, -1);
    const unsigned int bottom = count++;
    const auto at = [&](unsigned int row, unsigned int s) { return base + row + s % sectors; };
    for (unsigned int s = 0; s < sectors; ++s) {
        AddFace(mesh, base, at(rows.front(), s), at(rows.front(), s + 1));
        AddFace(mesh, base + bottom, at(rows.back(), s + 1), at(rows.back(), s));
    }
    for (unsigned int k = 0; k + 1 < rows.size(); ++k) {
        if (rows[k] == upper)
            continue;
        for (unsigned int s = 0; s < sectors; ++s)
            AddQuad(mesh, at(rows[k], s), at(rows[k + 1], s), at(rows[k + 1], s + 1), at(rows[k], s + 1));
    }
    const double inner = 1.0, outer = 1.8;
    const unsigned int finRings =
        std::max(2u, static_cast<unsigned int>(std::lround((outer - inner) / (2 * Pi / sectors))));
    unsigned int up = upper, lo = lower;
    for (unsigned int k = 1; k <= finRings; ++k) {
        const double r = inner + (outer - inner) * k / finRings;
        unsigned int nextUp, nextLo;
        if (k == finRings) {
            nextUp = nextLo = ring(r, 0);
        } else {
            nextUp = ring(r, 0.5 * gap);
            nextLo = ring(r, -0.5 * gap);
        }
        for (unsigned int s = 0; s < sectors; ++s) {
            AddQuad(mesh, at(up, s), at(nextUp, s), at(nextUp, s + 1), at(up, s + 1));
            AddFace(mesh, at(lo, s), at(nextLo, s + 1), at(nextLo, s));
            AddFace(mesh, at(lo, s), at(lo, s + 1), at(nextLo, s + 1));
        }
        up = nextUp;
        lo = nextLo;
    }
}

// A bowl: a hemispherical shell of radius 1 and `wall` thick, its outer and
// inner sides joined by a flat rim `wall` wide in z = 0, revolved in
// `sectors` sectors of `rings` rings per side, quads split along one
// diagonal, fans at both poles. The rim's two outlines are closed creases
// without a corner, each edge of them far longer than the rim is wide.
template <typename Mesh>
void MakeThinWalledBowl(Mesh& mesh, unsigned int sectors = 48, unsigned int rings = 16, double wall = 0.03) {
    std::vector<std::array<double, 2>> profile;
    for (unsigned int k = 0; k <= rings; ++k)
        profile.push_back({std::sin(0.5 * Pi * k / rings), -std::cos(0.5 * Pi * k / rings)});
    for (unsigned int k = rings + 1; k-- > 0;)
        profile.push_back({(1 - wall) * std::sin(0.5 * Pi * k / rings), -(1 - wall) * std::cos(0.5 * Pi * k / rings)});
    const SRevolved revolved = AddRevolvedVertices(mesh, profile, sectors);
    const unsigned int base = revolved.m_Base, count = revolved.m_Count, top = revolved.Top();
    const auto at = [&](unsigned int k, unsigned int s) { return revolved.At(k, s); };
    for (unsigned int s = 0; s < sectors; ++s) {
        AddFace(mesh, base, at(0, s + 1), at(0, s));
        for (unsigned int k = 0; k + 1 < count; ++k) {
            AddFace(mesh, at(k, s), at(k, s + 1), at(k + 1, s + 1));
            AddFace(mesh, at(k, s), at(k + 1, s + 1), at(k + 1, s));
        }
        AddFace(mesh, top, at(count - 1, s), at(count - 1, s + 1));
    }
}

// A wine glass turned on a lathe, as a revolve of `sectors` sectors writes
// it: a foot 0.03 thick at its rim, a stem 0.1 across and 0.88 long, a bowl
// whose outer and inner sides lie 0.02 apart, joined at the top by a flat
// annulus 0.02 wide in z = 2.2. Each span of the profile is one ring of long
// thin faces (quads split along one diagonal), fans at both poles, the inner
// one at the bottom of the bowl.
template <typename Mesh>
void MakeLatheWineGlass(Mesh& mesh, unsigned int sectors = 192) {
    const std::vector<std::array<double, 2>> profile = {
        {0.0, 0.0}, {0.7, 0.0},  {0.7, 0.03}, {0.08, 0.06}, {0.05, 0.12}, {0.05, 1.0},  {0.1, 1.08}, {0.45, 1.3},
        {0.6, 1.7}, {0.55, 2.2}, {0.53, 2.2}, {0.58, 1.7},  {0.43, 1.31}, {0.08, 1.11}, {0.0, 1.1}};
    const SRevolved revolved = AddRevolvedVertices(mesh, profile, sectors);
    const unsigned int base = revolved.m_Base, count = revolved.m_Count, top = revolved.Top();
    const auto at = [&](unsigned int k, unsigned int s) { return revolved.At(k, s); };
    // The bottom pole's fan, the rings from the foot up the outside and back
    // down the inside, the top pole's fan: that order, and each face's first
    // corner, are the benchmark's.
    for (unsigned int s = 0; s < sectors; ++s)
        AddFace(mesh, base, at(0, s + 1), at(0, s));
    for (unsigned int k = 0; k + 1 < count; ++k)
        for (unsigned int s = 0; s < sectors; ++s)
            AddQuad(mesh, at(k, s), at(k, s + 1), at(k + 1, s + 1), at(k + 1, s));
    for (unsigned int s = 0; s < sectors; ++s)
        AddFace(mesh, top, at(count - 1, s), at(count - 1, s + 1));
}

// A block of flats `floors` x `bays`, 2 deep: a box with a window recessed
// 0.08 into each bay of each floor on its front and back, and a parapet 0.3
// tall round a flat roof, `parapet` thick at the front and back and 0.3 at
// the sides. Built from the cells of a grid through every window's lines,
// so each side is cut by all of them into long coplanar slivers.
template <typename Mesh>
void MakeBlockOfFlats(Mesh& mesh, unsigned int floors = 4, unsigned int bays = 6, double parapet = 0.08) {
    std::vector<double> axes[3] = {{0.0}, {0.0, parapet, 0.2, 1.8, 2 - parapet, 2.0}, {0.0}};
    for (unsigned int b = 0; b < bays; ++b)
        for (const double x : {0.3, 0.7, 1.0})
            axes[0].push_back(b + x);
    for (unsigned int f = 0; f < floors; ++f)
        for (const double z : {0.35, 0.85, 1.0})
            axes[2].push_back(f + z);
    axes[2].push_back(floors + 0.3);
    const int n[3] = {int(axes[0].size()) - 1, int(axes[1].size()) - 1, int(axes[2].size()) - 1};
    AddFilledCellsBoundary(mesh, axes, [&](int i, int j, int k) {
        if (k == n[2] - 1)
            return i == 0 || j == 0 || i == n[0] - 1 || j == n[1] - 1;
        return !((j == 0 || j == n[1] - 1) && i % 3 == 1 && k % 3 == 1);
    });
}

// A closed box from (x0, y0, z0) to (x1, y1, z1), each side one quad, faces
// outward, appended to what the mesh holds.
template <typename Mesh>
void AddBox(Mesh& mesh, double x0, double y0, double z0, double x1, double y1, double z1) {
    const unsigned int base = mesh.m_Vertices.GetCount();
    for (int i = 0; i < 8; ++i)
        AddVertex(mesh, (i & 1) ? x1 : x0, (i & 2) ? y1 : y0, (i & 4) ? z1 : z0);
    const unsigned int quads[6][4] = {{0, 2, 3, 1}, {4, 5, 7, 6}, {0, 1, 5, 4},
                                      {2, 6, 7, 3}, {0, 4, 6, 2}, {1, 3, 7, 5}};
    for (auto& q : quads)
        AddQuad(mesh, base + q[0], base + q[1], base + q[2], base + q[3]);
}

// The faces of a grid of (n + 1) x (n + 1) points, row by row, each cell
// split along the diagonal from its first corner, that `keep(cx, cy)` takes
// by their centroid's x and y; asked in face order, so a keep that draws
// noise draws the same sequence every time.
template <typename Keep>
std::vector<std::array<unsigned int, 3>> GridFacesWhere(const std::vector<std::array<double, 3>>& points,
                                                        unsigned int n, Keep keep) {
    std::vector<std::array<unsigned int, 3>> faces;
    for (unsigned int j = 0; j < n; ++j)
        for (unsigned int i = 0; i < n; ++i) {
            const unsigned int a = j * (n + 1) + i;
            for (const std::array<unsigned int, 3>& t : {std::array<unsigned int, 3>{a, a + 1, a + n + 2},
                                                         std::array<unsigned int, 3>{a, a + n + 2, a + n + 1}}) {
                double cx = 0, cy = 0;
                for (const unsigned int k : t) {
                    cx += points[k][0] / 3;
                    cy += points[k][1] / 3;
                }
                if (keep(cx, cy))
                    faces.push_back(t);
            }
        }
    return faces;
}

// A draped cloth as a simulation or a scan exports it: an n x n grid over
// [-1.5, 1.5]^2 (each cell split along one diagonal), wrinkled by six narrow
// ridges, its border frayed: a face within 0.25 of the edge is dropped at
// random, more often the nearer it lies, so that notches, strips one face
// wide and faces hanging on by one vertex line the border.
template <typename Mesh>
void MakeFrayedCloth(Mesh& mesh, unsigned int n = 40, unsigned int seed = 1) {
    CNoise noise(seed);
    struct SRidge {
        double angle, offset, height;
    };
    std::vector<SRidge> ridges;
    for (int k = 0; k < 6; ++k) {
        const double angle = 0.5 * Pi * (noise.Next() + 1);
        const double offset = noise.Next();
        ridges.push_back({angle, offset, 0.05 + 0.02 * noise.Next()});
    }
    const double h = 3.0 / n;
    std::vector<std::array<double, 3>> points;
    for (unsigned int j = 0; j <= n; ++j)
        for (unsigned int i = 0; i <= n; ++i) {
            const double x = -1.5 + h * i, y = -1.5 + h * j;
            double z = 0.15 * std::exp(-(x * x + y * y));
            for (const SRidge& r : ridges) {
                const double d = (x * std::cos(r.angle) + y * std::sin(r.angle) - r.offset) / 0.07;
                z += r.height * std::exp(-d * d);
            }
            points.push_back({x, y, z});
        }
    AddUsedTables(mesh, points, GridFacesWhere(points, n, [&](double cx, double cy) {
                      const double inside = 1.5 - std::max(std::fabs(cx), std::fabs(cy));
                      return 0.5 * (noise.Next() + 1) <= std::min(std::max(inside / 0.25, 0.0), 1.0) + 0.15;
                  }));
}

// A gently waved heightfield, an n x n grid over [-1, 1]^2 (each cell split
// along one diagonal), with a round pit of radius `pit` cut out face by face
// around (0.2, -0.1): the pit's rim a staircase of the grid's lines and
// diagonals, its steps' corners square and their sides one grid edge long.
template <typename Mesh>
void MakeSteppedPitField(Mesh& mesh, unsigned int n = 30, double pit = 0.25, unsigned int seed = 2) {
    CNoise noise(seed);
    double k[4];
    for (double& x : k)
        x = 2 + noise.Next();
    std::vector<std::array<double, 3>> points;
    for (unsigned int j = 0; j <= n; ++j)
        for (unsigned int i = 0; i <= n; ++i) {
            const double x = -1 + 2.0 * i / n, y = -1 + 2.0 * j / n;
            points.push_back({x, y, 0.15 * std::sin(k[0] * x + k[1] * y) + 0.1 * std::cos(k[2] * x * y + k[3])});
        }
    AddUsedTables(mesh, points, GridFacesWhere(points, n, [&](double cx, double cy) {
                      return std::hypot(cx - 0.2, cy + 0.1) > pit;
                  }));
}

// A low-poly base slab 7 x 4 x `thickness` (each side one quad, so its long
// sides are two faces of 1.6 degrees) with a separate wall 3 x 0.4 x 1.6
// standing on it, nothing joined, as game and architecture models put parts
// together. At its mean edge length the slab is 0.06 targets thick, and the
// wall's sides 0.4 apart lower the target beside them, on the slab too.
template <typename Mesh>
void MakeSlabUnderWall(Mesh& mesh, double thickness = 0.2) {
    AddBox(mesh, -0.5, -0.5, -thickness, 6.5, 3.5, 0);
    AddBox(mesh, 1.5, -0.4, 0, 4.5, 0, 1.6);
}

// A low-poly house as game and architecture models hold it, closed parts put
// together without a boolean: a main block 4 x 3 x 2.5, a lower wing beside
// it (its front in the block's front plane, overlapping it), a base slab
// 7 x 4 x 0.2 under both, a roof prism whose underside lies on the block's
// top and whose eaves overhang by 0.2, a chimney 0.5 x 0.5 x 2.2 through the
// roof and a porch 1 x 0.4 x 1.6 against the front. At its mean edge length
// (2.78) the chimney and the porch each fit within one target, their sides
// two faces of 12.8 and 14.0 degrees.
template <typename Mesh>
void MakeLowPolyHouse(Mesh& mesh) {
    AddBox(mesh, 0, 0, 0, 4, 3, 2.5);
    AddBox(mesh, 3, 0, 0, 6, 2, 1.8);
    AddBox(mesh, -0.5, -0.5, -0.2, 6.5, 3.5, 0);
    AddBox(mesh, 2.6, 1.8, 2, 3.1, 2.3, 4.2);
    AddBox(mesh, 1.5, -0.4, 0, 2.5, 0, 1.6);
    const unsigned int base = mesh.m_Vertices.GetCount();
    for (const double x : {-0.2, 4.2}) {
        AddVertex(mesh, x, -0.2, 2.5);
        AddVertex(mesh, x, 3.2, 2.5);
        AddVertex(mesh, x, 1.5, 3.8);
    }
    // Corners at x = -0.2: 0 front, 1 back, 2 ridge; at x = 4.2: 3, 4, 5.
    const unsigned int roof[8][3] = {{0, 4, 3}, {0, 1, 4}, {0, 3, 5}, {0, 5, 2},
                                     {1, 2, 5}, {1, 5, 4}, {0, 2, 1}, {3, 4, 5}};
    for (auto& f : roof)
        AddFace(mesh, base + f[0], base + f[1], base + f[2]);
}

// A box 4 x 3 x 2.5 with a separate porch 3 x `thickness` x 1.6 pushed
// against its front, `gap` away (none: the porch's back lies in the box's
// front plane, face to face, turned the other way), nothing joined, as
// low-poly and architecture models put a porch against a house. The porch
// sticks out past the box's side and stands on its floor: its bottom back
// edge lies along the box's bottom front edge, and its short sides lower
// the target over the box's front, which is two faces across a diagonal.
template <typename Mesh>
void MakePorchAgainstBox(Mesh& mesh, double thickness = 0.4, double gap = 0) {
    AddBox(mesh, 0, 0, 0, 4, 3, 2.5);
    AddBox(mesh, 1.5, -thickness - gap, 0, 4.5, -gap, 1.6);
}

// Two boxes 4 x 3 x 2.5 face to face, their touching sides on the same four
// corners, as a welder leaves them: the corners joined and one copy of the
// shared side dropped, so the first box's side stands as a wall inside, each
// of its four sides an edge of three faces (both boxes' and the wall's).
template <typename Mesh>
void MakeBoxesSharingASide(Mesh& mesh) {
    const unsigned int base = mesh.m_Vertices.GetCount();
    // Vertex x + 2 y + 6 z on the grid x in {0, 4}, y in {-3, 0, 3}, z in
    // {0, 2.5}.
    for (int z = 0; z < 2; ++z)
        for (int y = 0; y < 3; ++y)
            for (int x = 0; x < 2; ++x)
                AddVertex(mesh, 4.0 * x, 3.0 * (y - 1), 2.5 * z);
    const unsigned int quads[6][4] = {{0, 2, 3, 1}, {4, 5, 7, 6}, {0, 1, 5, 4},
                                      {2, 6, 7, 3}, {0, 4, 6, 2}, {1, 3, 7, 5}};
    for (const unsigned int low : {1u, 0u})
        for (int q = 0; q < 6; ++q) {
            // The second box's side at y = 0 is the copy the welder dropped.
            if (low == 0 && q == 3)
                continue;
            unsigned int corner[4];
            for (int k = 0; k < 4; ++k) {
                const unsigned int i = quads[q][k];
                corner[k] = base + (i & 1) + 2 * (low + ((i >> 1) & 1)) + 6 * ((i >> 2) & 1);
            }
            AddQuad(mesh, corner[0], corner[1], corner[2], corner[3]);
        }
}

// A plate `cells` x `cells` units, `thickness` thick, with a round hole of
// `holeSides` sides and radius 0.3 through the middle of each unit cell, as
// a CAD exporter writes sheet metal: each cell's square outline (two points
// a side) joined to its hole by one strip of faces ordered by angle, each
// hole's side one quad tall, the outer side one quad tall per outline point.
template <typename Mesh>
void MakePerforatedSheet(Mesh& mesh, unsigned int cells = 10, unsigned int holeSides = 8, double thickness = 0.05) {
    std::map<std::array<long long, 3>, unsigned int> index;
    const auto vertex = [&](double x, double y, double z) {
        const std::array<long long, 3> key = {std::llround(x * 1e9), std::llround(y * 1e9), std::llround(z * 1e9)};
        const auto found = index.find(key);
        if (found != index.end())
            return found->second;
        const unsigned int v = mesh.m_Vertices.GetCount();
        AddVertex(mesh, x, y, z);
        index.emplace(key, v);
        return v;
    };
    struct Point2 {
        double x, y;
    };
    for (unsigned int ci = 0; ci < cells; ++ci)
        for (unsigned int cj = 0; cj < cells; ++cj) {
            const double cx = ci + 0.5, cy = cj + 0.5;
            std::vector<Point2> square, hole;
            for (int side = 0; side < 4; ++side)
                for (int k = 0; k < 2; ++k) {
                    const double t = k / 2.0;
                    const Point2 corners[4] = {{t, 0}, {1, t}, {1 - t, 1}, {0, 1 - t}};
                    square.push_back({ci + corners[side].x, cj + corners[side].y});
                }
            for (unsigned int k = 0; k < holeSides; ++k)
                hole.push_back(
                    {cx + 0.3 * std::cos(2 * Pi * k / holeSides), cy + 0.3 * std::sin(2 * Pi * k / holeSides)});
            // Both loops by angle round the cell's centre, merged into one
            // strip: the next point taken from whichever loop comes first.
            const auto angle = [&](const Point2& q) {
                const double a = std::atan2(q.y - cy, q.x - cx);
                return a < 0 ? a + 2 * Pi : a;
            };
            const auto byAngle = [&](std::vector<Point2>& loop) {
                std::sort(loop.begin(), loop.end(),
                          [&](const Point2& a, const Point2& b) { return angle(a) < angle(b); });
            };
            byAngle(square);
            byAngle(hole);
            for (const double z : {thickness, 0.0}) {
                const std::size_t na = square.size(), nb = hole.size();
                std::size_t i = 0, j = 0;
                while (i < na || j < nb) {
                    const double an = angle(square[(i + 1) % na]) + (i + 1 >= na ? 2 * Pi : 0);
                    const double bn = angle(hole[(j + 1) % nb]) + (j + 1 >= nb ? 2 * Pi : 0);
                    unsigned int t[3];
                    if (j >= nb || (i < na && an <= bn)) {
                        t[0] = vertex(square[i % na].x, square[i % na].y, z);
                        t[1] = vertex(square[(i + 1) % na].x, square[(i + 1) % na].y, z);
                        t[2] = vertex(hole[j % nb].x, hole[j % nb].y, z);
                        ++i;
                    } else {
                        t[0] = vertex(square[i % na].x, square[i % na].y, z);
                        t[1] = vertex(hole[(j + 1) % nb].x, hole[(j + 1) % nb].y, z);
                        t[2] = vertex(hole[j % nb].x, hole[j % nb].y, z);
                        ++j;
                    }
                    if (z > 0)
                        AddFace(mesh, t[0], t[1], t[2]);
                    else
                        AddFace(mesh, t[2], t[1], t[0]);
                }
            }
            for (unsigned int k = 0; k < holeSides; ++k) {
                const Point2 &p = hole[k], &q = hole[(k + 1) % holeSides];
                const unsigned int a = vertex(p.x, p.y, 0), b = vertex(q.x, q.y, 0), c = vertex(q.x, q.y, thickness),
                                   d = vertex(p.x, p.y, thickness);
                AddFace(mesh, a, c, b);
                AddFace(mesh, a, d, c);
            }
        }
    const unsigned int n = cells * 2;
    std::vector<Point2> outline;
    for (int side = 0; side < 4; ++side)
        for (unsigned int k = 0; k < n; ++k) {
            const double t = double(cells) * k / n, c = cells;
            const Point2 corners[4] = {{t, 0}, {c, t}, {c - t, c}, {0, c - t}};
            outline.push_back(corners[side]);
        }
    for (std::size_t k = 0; k < outline.size(); ++k) {
        const Point2 &p = outline[k], &q = outline[(k + 1) % outline.size()];
        const unsigned int a = vertex(p.x, p.y, 0), b = vertex(q.x, q.y, 0), c = vertex(q.x, q.y, thickness),
                           d = vertex(p.x, p.y, thickness);
        AddFace(mesh, a, b, c);
        AddFace(mesh, a, c, d);
    }
}

// A piece of the ragged open border of a scanned rock face (a triangulation
// of scattered points with noisy heights, cut along a noisy outline), about
// two by two, faces of about 0.5: a spike of two faces sticks out of the
// border, its tip at the origin, joined to the rest by a neck 0.078 long
// between two border vertices (0 and 12). The spike's inner face has 12.9
// degrees at the tip, the face below the neck 8.8 at its far corner.
template <typename Mesh>
void MakeBorderSpike(Mesh& mesh) {
    AddTables(mesh,
              {{-0.343, -0.033, -0.042},
               {-0.042, 0.31, -0.07},
               {-0.05, -1.027, -0.226},
               {-0.661, 0.713, 0.091},
               {-1.062, -0.001, -0.033},
               {0, 0, 0},
               {-0.505, 1.041, 0.089},
               {-1.074, 0.68, -0.038},
               {-0.798, 0.268, -0.018},
               {-0.079, 0.503, 0.008},
               {-1.042, -1.084, -0.239},
               {-0.411, -0.662, -0.111},
               {-0.359, 0.043, -0.018},
               {-0.231, -0.716, -0.128},
               {-0.867, -0.385, -0.073},
               {-0.8, 0.152, -0.081}},
              {{1, 12, 5},
               {12, 0, 5},
               {10, 11, 14},
               {0, 11, 13},
               {11, 0, 14},
               {8, 7, 4},
               {15, 0, 12},
               {8, 15, 12},
               {0, 15, 14},
               {15, 4, 14},
               {15, 8, 4},
               {3, 7, 8},
               {7, 3, 6},
               {6, 3, 9},
               {3, 12, 9},
               {3, 8, 12},
               {11, 2, 13},
               {2, 11, 10}});
}

// A gently waved square sheet of 10 by 10 cells of 0.1 whose side y = 0
// zig-zags by 0.006 (a scan's ragged border), with two peninsulas one face
// wide on it, each on a base split out of a border edge: a single face
// 0.065 tall on a base of 0.014, and two faces on a neck of 0.008, the
// inner one 0.06 tall with the outer one leaning against its side.
template <typename Mesh>
void MakeBorderEars(Mesh& mesh) {
    const unsigned int n = 10;
    const double h = 0.1;
    const auto height = [](double x, double y) { return 0.05 * std::sin(3 * x) * std::cos(2 * y); };
    std::vector<std::array<double, 3>> points;
    for (unsigned int j = 0; j <= n; ++j)
        for (unsigned int i = 0; i <= n; ++i) {
            const double y = j == 0 ? (i % 2 ? 0.006 : -0.006) : h * j;
            points.push_back({h * i, y, height(h * i, y)});
        }
    const auto add = [&](double x, double y) {
        points.push_back({x, y, height(x, y)});
        return static_cast<unsigned int>(points.size() - 1);
    };
    std::vector<std::array<unsigned int, 3>> faces;
    for (unsigned int j = 0; j < n; ++j)
        for (unsigned int i = 0; i < n; ++i) {
            const unsigned int a = j * (n + 1) + i, b = a + 1, c = a + n + 2, d = a + n + 1;
            if (j == 0 && (i == 2 || i == 6)) {
                // The base's ends lie on the border edge a-b.
                const double x = h * i + 0.04, base = i == 2 ? 0.014 : 0.008;
                const auto border = [&](double at) {
                    return points[a][1] + (points[b][1] - points[a][1]) * (at - h * i) / h;
                };
                const unsigned int p = add(x, border(x)), q = add(x + base, border(x + base));
                faces.push_back({a, p, c});
                faces.push_back({p, q, c});
                faces.push_back({q, b, c});
                if (i == 2) {
                    faces.push_back({q, p, add(x + 0.5 * base, -0.065)});
                } else {
                    const unsigned int tip = add(x + 0.5 * base + 0.01, -0.06);
                    faces.push_back({q, p, tip});
                    faces.push_back({tip, p, add(x - 0.03, -0.04)});
                }
            } else {
                faces.push_back({a, b, c});
            }
            faces.push_back({a, c, d});
        }
    AddTables(mesh, points, faces);
}

// A piece of the ragged open border of a scanned rock face, about a
// quarter across, where an island face outside the border (0-22-24) touches
// it at two vertices: the border vertex beside 0, 16, lies 0.0054 from it
// and turns sharply there.
template <typename Mesh>
void MakeRimBesideIslandCorner(Mesh& mesh) {
    AddTables(
        mesh,
        {{-0.0113, -0.0037, -0.0896}, {0.0181, 0.0237, -0.1026}, {-0.114, 0.1418, -0.1186},  {0.0785, 0.1485, -0.1181},
         {0.0015, 0.1753, -0.1234},   {0.0467, 0.0103, -0.091},  {-0.0903, 0.0684, -0.1019}, {0.025, 0.0131, -0.1},
         {0.0927, 0.1259, -0.1095},   {0.1003, 0.0476, -0.0929}, {0.0407, -0.0395, -0.0856}, {-0.0533, 0.1037, -0.1167},
         {0.0718, 0.0668, -0.0989},   {0.1628, -0.064, -0.0751}, {0.0236, 0.1305, -0.1131},  {0.0697, 0.0074, -0.0955},
         {-0.0081, -0.0066, -0.0929}, {0.0717, 0.0922, -0.1154}, {0.1083, 0.0493, -0.1034},  {0.104, 0.0894, -0.1049},
         {0.082, -0.0772, -0.0786},   {0.0354, 0.0261, -0.1023}, {-0.0558, 0.0129, -0.0944}, {-0.0169, 0.0364, -0.1057},
         {-0.0665, -0.0881, -0.0718}, {0.1181, 0.0581, -0.1049}, {0.0254, -0.0568, -0.0773}},
        {{14, 17, 3},  {17, 14, 12}, {14, 1, 12}, {19, 17, 12}, {15, 13, 18}, {22, 23, 6},  {23, 1, 14},
         {0, 22, 24},  {0, 16, 1},   {23, 0, 1},  {16, 26, 10}, {7, 16, 10},  {16, 7, 1},   {15, 9, 12},
         {9, 15, 18},  {9, 19, 12},  {7, 21, 1},  {1, 21, 12},  {21, 15, 12}, {15, 20, 13}, {26, 20, 10},
         {13, 25, 18}, {25, 9, 18},  {9, 25, 19}, {4, 11, 14},  {11, 2, 6},   {23, 11, 6},  {11, 23, 14},
         {21, 5, 15},  {5, 21, 7},   {15, 5, 10}, {5, 7, 10},   {17, 8, 3},   {19, 8, 17}});
}

// Another piece of that border, where an island face (11-15-2) bridges two
// border vertices: the border runs from 0 to 11, on to 18, 0.032 out from
// the line 11-2, and back to 2, so that 11 keeps one face, 0-11-18 in the
// input.
template <typename Mesh>
void MakeRimEarOnIslandCorner(Mesh& mesh) {
    AddTables(mesh, {{-0.019, 0.0125, -0.0864},   {0.1012, 0.0482, -0.0597},   {-0.0235, -0.0564, -0.098},
                     {-0.0615, -0.1424, -0.1148}, {0.0929, 0.028, -0.0755},    {0.095, -0.1564, -0.0957},
                     {0.1632, 0.0555, -0.0614},   {-0.0036, 0.067, -0.081},    {-0.043, -0.148, -0.1132},
                     {0.0645, -0.0933, -0.0991},  {0.164, 0.0127, -0.0591},    {-0.024, -0.0237, -0.0916},
                     {0.0895, 0.0455, -0.0686},   {0.0934, -0.1107, -0.0875},  {-0.0015, -0.1658, -0.1147},
                     {-0.0734, -0.0505, -0.0956}, {0.0403, 0.0785, -0.0669},   {0.0355, 0.0681, -0.076},
                     {0.0074, -0.0163, -0.0912},  {-0.0823, -0.0794, -0.1116}, {0.0553, 0.1468, -0.0547}},
              {{14, 2, 8}, {14, 9, 2},  {9, 18, 2},  {11, 15, 2}, {0, 11, 18},  {14, 5, 9}, {5, 13, 9}, {13, 10, 9},
               {2, 3, 8},  {19, 3, 2},  {17, 16, 7}, {17, 0, 18}, {4, 17, 18},  {4, 18, 9}, {10, 4, 9}, {1, 10, 6},
               {1, 4, 10}, {1, 20, 16}, {4, 12, 17}, {1, 12, 4},  {17, 12, 16}, {12, 1, 16}});
}

// A low-poly animal's tail: the hull of two rings of six points at uneven
// angles, 0.08 across at its root and 0.056 at its tip, 0.67 long, and
// nothing between the rings (vertices 0 to 5 the root, 6 to 11 the tip):
// the ends are flat hull faces, each side face a long sliver from one ring
// to the other, the creases along it converging towards the tip.
template <typename Mesh>
void MakeHullTail(Mesh& mesh) {
    AddTables(mesh,
              {{-0.743, 0.0368, 0.064},
               {-0.7629, 0.0277, 0.0242},
               {-0.7678, -0.0041, 0.0144},
               {-0.7661, -0.0173, 0.0178},
               {-0.7655, -0.0202, 0.0191},
               {-0.7351, -0.0223, 0.0797},
               {-1.3499, -0.028, 0.3501},
               {-1.3593, 0.0187, 0.3313},
               {-1.3532, -0.027, 0.3435},
               {-1.3421, -0.0218, 0.3658},
               {-1.3615, 0.0109, 0.3269},
               {-1.3438, 0.0244, 0.3623}},
              {{5, 0, 11}, {1, 2, 10}, {6, 4, 5},  {10, 2, 3}, {7, 1, 10}, {0, 1, 7}, {7, 11, 0},
               {5, 11, 9}, {9, 6, 5},  {4, 6, 8},  {8, 3, 4},  {10, 3, 8}, {5, 4, 3}, {3, 0, 5},
               {3, 1, 0},  {2, 1, 3},  {8, 7, 10}, {8, 9, 11}, {11, 7, 8}, {6, 9, 8}});
}

// A low-poly animal's ear: the hull of two rings of six points, 0.26 long
// and 0.08 across at its root (vertices 0 to 5). Five of the tip ring's
// points (6 to 9 and 11) lie within 0.006 of each other, and two of the
// root's (0 and 2) 0.02 apart. The face joining 0 and 2 to the tip ring's
// last point (10) is a needle of 4.4 degrees whose long sides both turn by
// the feature angle, and the faces from 10 to the close tip points a fan of
// such needles, turning by it at the fan's first and last sides.
template <typename Mesh>
void MakeHullEar(Mesh& mesh) {
    AddTables(mesh,
              {{1.116875, 0.077622, 0.551396},
               {1.16968, 0.134324, 0.544124},
               {1.13191, 0.064878, 0.556259},
               {1.131706, 0.134029, 0.539638},
               {1.125932, 0.130291, 0.539842},
               {1.181415, 0.077044, 0.559279},
               {1.147448, 0.165134, 0.802062},
               {1.14752, 0.164678, 0.80218},
               {1.147497, 0.16483, 0.80214},
               {1.147209, 0.166375, 0.801735},
               {1.126747, 0.13377, 0.807105},
               {1.14781, 0.160966, 0.803106}},
              {{1, 9, 5},  {1, 3, 9},  {2, 10, 0},  {5, 10, 2}, {11, 10, 5}, {9, 3, 4}, {4, 10, 9},
               {0, 10, 4}, {7, 11, 5}, {5, 9, 6},   {8, 7, 5},  {5, 6, 8},   {4, 2, 0}, {4, 1, 5},
               {3, 1, 4},  {5, 2, 4},  {10, 11, 8}, {9, 10, 8}, {11, 7, 8},  {8, 6, 9}});
}

// A low-poly game rock: the convex hull of 19 points scattered about an
// ellipsoid 2.8 by 2 by 1.4 (coordinates rounded to a thousandth), flat
// faces of every size; a fifth of its edges bend by the feature angle, but
// every crease is shorter than a feature line must be, so the remesh sees
// a smooth surface whose every vertex is a corner of its shape.
template <typename Mesh>
void MakeLowPolyRock(Mesh& mesh) {
    AddTables(mesh,
              {{-0.457, -0.841, 0.175},
               {1.205, -0.358, 0.297},
               {1.019, 0.451, 0.211},
               {0.708, -0.635, 0.496},
               {-1.402, -0.202, -0.186},
               {-1.112, -0.051, 0.529},
               {-0.329, -0.833, -0.044},
               {1.449, 0.234, -0.002},
               {-1.183, 0.3, 0.204},
               {0.844, 0.67, 0.217},
               {0.418, 0.447, 0.643},
               {0.164, -0.486, 0.591},
               {0.76, 0.565, -0.194},
               {-1.014, -0.591, -0.289},
               {-0.404, -0.267, -0.644},
               {0.926, 0.412, -0.367},
               {0.181, 0.45, -0.608},
               {-0.642, -0.584, -0.368},
               {-0.515, 0.244, 0.56}},
              {{4, 0, 5},   {13, 0, 4}, {4, 14, 13}, {16, 14, 4},  {1, 14, 7},  {7, 10, 1},   {10, 3, 1},
               {0, 3, 11},  {11, 5, 0}, {11, 3, 10}, {10, 5, 11},  {0, 13, 6},  {14, 1, 6},   {6, 3, 0},
               {6, 1, 3},   {4, 5, 8},  {8, 16, 4},  {17, 13, 14}, {14, 6, 17}, {17, 6, 13},  {18, 5, 10},
               {10, 8, 18}, {18, 8, 5}, {2, 10, 7},  {16, 12, 15}, {7, 14, 15}, {14, 16, 15}, {16, 8, 9},
               {9, 12, 16}, {9, 8, 10}, {10, 2, 9},  {9, 2, 7},    {7, 15, 9},  {9, 15, 12}});
}

// A comb as a logo's text tool extrudes it: a bar 0.3 deep with `slots`
// slots `slot` wide and 1 deep cut into one side every 0.25, extruded 0.3
// tall, each cap clipped ear by ear into long slivers (see
// AddEarClippedPrism).
template <typename Mesh>
void MakeSlottedComb(Mesh& mesh, unsigned int slots = 8, double slot = 0.04) {
    const double pitch = 0.25, depth = 1.0, height = 0.3;
    std::vector<std::array<double, 2>> outline = {{0, 0}};
    for (unsigned int t = 0; t < slots; ++t) {
        const double x = t * pitch;
        outline.push_back({x + pitch - slot, 0});
        outline.push_back({x + pitch - slot, depth});
        outline.push_back({x + pitch, depth});
        outline.push_back({x + pitch, 0});
    }
    outline.push_back({slots * pitch + 0.2, 0});
    outline.push_back({slots * pitch + 0.2, depth + 0.3});
    outline.push_back({0, depth + 0.3});
    AddEarClippedPrism(mesh, outline, height);
}

// A scan whose holes a repair tool filled with a fan from one rim vertex: an
// icosphere pushed in and out along its radius by six sine waves (amplitude
// 0.12, four waves a radian, along directions drawn at random), then, for
// holes 0 .. holes - 1, every face whose centroid lies within 0.1 to 0.2
// radians of a direction drawn at random cut away and the rim closed by one
// fan from its first vertex. The fans are long slivers across curved holes,
// not flat: where the rim bends back as seen from the fan's vertex, slivers
// lie over their neighbours, turned over against them, and a later hole may
// cut into an earlier fan.
template <typename Mesh>
void MakeFanFilledScan(Mesh& mesh, unsigned int levels = 4, unsigned int holes = 6, unsigned int seed = 73) {
    Mesh sphere;
    MakeIcosphere(sphere, levels);
    CNoise random(seed);
    const auto direction = [&]() {
        std::array<double, 3> d = {random.Next(), random.Next(), random.Next()};
        const double length = std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
        return std::array<double, 3>{d[0] / length, d[1] / length, d[2] / length};
    };
    std::vector<std::array<double, 3>> waves;
    for (int k = 0; k < 6; ++k)
        waves.push_back(direction());
    std::vector<std::array<double, 3>> points;
    for (unsigned int v = 0; v < sphere.m_Vertices.GetCount(); ++v) {
        const auto& p = sphere.m_Vertices[v].m_Position;
        const std::array<double, 3> q = {double(p.x), double(p.y), double(p.z)};
        double bump = 0;
        for (int k = 0; k < 6; ++k)
            bump += std::sin(4 * (q[0] * waves[k][0] + q[1] * waves[k][1] + q[2] * waves[k][2]) + k);
        const double r = 1 + 0.12 * bump / 6;
        points.push_back({q[0] * r, q[1] * r, q[2] * r});
    }
    std::vector<std::array<unsigned int, 3>> faces;
    for (unsigned int f = 0; f < sphere.m_Faces.GetCount(); ++f) {
        const auto* c = sphere.m_Faces[f].m_Corners;
        faces.push_back({c[0], c[1], c[2]});
    }
    for (unsigned int k = 0; k < holes; ++k) {
        const std::array<double, 3> d = direction();
        const double limit = std::cos(0.1 + 0.1 * k / std::max(holes - 1, 1u));
        std::vector<std::array<unsigned int, 3>> kept, cut;
        for (const auto& t : faces) {
            std::array<double, 3> m = {0, 0, 0};
            for (const unsigned int i : t)
                for (int j = 0; j < 3; ++j)
                    m[j] += points[i][j] / 3;
            const double length = std::sqrt(m[0] * m[0] + m[1] * m[1] + m[2] * m[2]);
            ((m[0] * d[0] + m[1] * d[1] + m[2] * d[2]) / length > limit ? cut : kept).push_back(t);
        }
        // The rim: each cut face's edge whose reverse a kept face holds, from
        // its start to its end.
        std::map<std::pair<unsigned int, unsigned int>, bool> half;
        for (const auto& t : kept)
            for (int j = 0; j < 3; ++j)
                half[{t[j], t[(j + 1) % 3]}] = true;
        std::map<unsigned int, unsigned int> rim;
        std::vector<unsigned int> starts;
        for (const auto& t : cut)
            for (int j = 0; j < 3; ++j)
                if (half.count({t[(j + 1) % 3], t[j]})) {
                    rim[t[j]] = t[(j + 1) % 3];
                    starts.push_back(t[j]);
                }
        if (starts.empty())
            continue;
        std::vector<unsigned int> loop = {starts.front()};
        while (rim.count(loop.back()) && rim[loop.back()] != loop.front() && loop.size() <= rim.size())
            loop.push_back(rim[loop.back()]);
        if (!rim.count(loop.back()) || rim[loop.back()] != loop.front())
            continue;
        for (std::size_t i = 1; i + 1 < loop.size(); ++i)
            kept.push_back({loop[0], loop[i], loop[i + 1]});
        faces = kept;
    }
    AddUsedTables(mesh, points, faces);
}

// A thick-walled pipe elbow: a straight run `straight` long, a quarter bend
// of radius `bend` in `arcRings` rings and a second straight run, each
// straight run one ring of long faces, walls of the outer radius and `wall`
// less, `around` points a ring, the ends closed by annuli one face wide.
template <typename Mesh>
void MakePipeElbow(Mesh& mesh, unsigned int around = 32, unsigned int arcRings = 12, double outer = 0.5,
                   double wall = 0.1, double bend = 1.0, double straight = 2.0) {
    // Each ring's centre and the direction of the pipe there.
    std::vector<std::array<double, 6>> frames = {{0, 0, -straight, 0, 0, 1}};
    for (unsigned int k = 0; k <= arcRings; ++k) {
        const double a = 0.5 * Pi * k / arcRings;
        frames.push_back({bend - bend * std::cos(a), 0, bend * std::sin(a), std::sin(a), 0, std::cos(a)});
    }
    frames.push_back({bend + straight, 0, bend, 1, 0, 0});
    const unsigned int rings = static_cast<unsigned int>(frames.size());
    std::vector<std::array<double, 3>> points;
    for (const double radius : {outer, outer - wall})
        for (const auto& q : frames) {
            // side = (0, 1, 0); n = side x t.
            const std::array<double, 3> n = {q[5], 0, -q[3]};
            for (unsigned int s = 0; s < around; ++s) {
                const double a = 2 * Pi * s / around;
                points.push_back({q[0] + radius * std::cos(a) * n[0], q[1] + radius * std::sin(a),
                                  q[2] + radius * std::cos(a) * n[2]});
            }
        }
    const auto id = [&](unsigned int shell, unsigned int k, unsigned int s) {
        return (shell * rings + k) * around + s % around;
    };
    std::vector<std::array<unsigned int, 3>> faces;
    // The outer wall faces out, the inner one in, the annuli along the pipe.
    for (unsigned int shell = 0; shell < 2; ++shell)
        for (unsigned int k = 0; k + 1 < rings; ++k)
            for (unsigned int s = 0; s < around; ++s) {
                const unsigned int a = id(shell, k, s), b = id(shell, k, s + 1), c = id(shell, k + 1, s + 1),
                                   d = id(shell, k + 1, s);
                if (shell == 0) {
                    faces.push_back({a, b, c});
                    faces.push_back({a, c, d});
                } else {
                    faces.push_back({a, c, b});
                    faces.push_back({a, d, c});
                }
            }
    for (unsigned int s = 0; s < around; ++s) {
        const unsigned int k = 0, l = rings - 1;
        faces.push_back({id(0, k, s), id(1, k, s), id(1, k, s + 1)});
        faces.push_back({id(0, k, s), id(1, k, s + 1), id(0, k, s + 1)});
        faces.push_back({id(0, l, s), id(1, l, s + 1), id(1, l, s)});
        faces.push_back({id(0, l, s), id(0, l, s + 1), id(1, l, s + 1)});
    }
    AddTables(mesh, points, faces);
}

// A box of half-extents `half` with every edge rounded to `radius`, as a CAD
// tessellator writes it: each flat side one quad, each round a strip of
// `cells` long thin faces across, each corner a patch of the sphere (each
// side's grid pushed out from the inner box). With a half-extent 0 the part
// is a sheet 2 x radius thick whose rim is a half-round bead, no edge of it
// sharp.
template <typename Mesh>
void MakeRoundedSlab(Mesh& mesh, std::array<double, 3> half = {1.5, 1.0, 0.0}, double radius = 0.03,
                     unsigned int cells = 4) {
    std::array<std::vector<double>, 3> steps;
    for (int axis = 0; axis < 3; ++axis) {
        const double h = half[axis];
        std::vector<double>& t = steps[axis];
        for (unsigned int k = 0; k < cells; ++k)
            t.push_back(-h - radius + radius * k / cells);
        t.push_back(-h);
        if (h > 0)
            t.push_back(h);
        for (unsigned int k = 1; k <= cells; ++k)
            t.push_back(h + radius * k / cells);
    }
    std::vector<std::array<double, 3>> points;
    std::map<std::array<long long, 3>, unsigned int> welded;
    const auto point = [&](const std::array<double, 3>& q) {
        std::array<double, 3> inner, d;
        double length2 = 0;
        for (int i = 0; i < 3; ++i) {
            inner[i] = std::min(std::max(q[i], -half[i]), half[i]);
            d[i] = q[i] - inner[i];
            length2 += d[i] * d[i];
        }
        std::array<double, 3> p;
        std::array<long long, 3> key;
        for (int i = 0; i < 3; ++i) {
            p[i] = std::nearbyint((inner[i] + radius * d[i] / std::sqrt(length2)) * 1e12) / 1e12;
            key[i] = std::llround(p[i] * 1e9);
        }
        const auto found = welded.emplace(key, static_cast<unsigned int>(points.size()));
        if (found.second)
            points.push_back(p);
        return found.first->second;
    };
    std::vector<std::array<unsigned int, 3>> faces;
    std::set<std::array<unsigned int, 3>> seen;
    const auto face = [&](unsigned int a, unsigned int b, unsigned int c) {
        std::array<unsigned int, 3> key = {a, b, c};
        std::sort(key.begin(), key.end());
        if (a != b && b != c && c != a && seen.insert(key).second)
            faces.push_back({a, b, c});
    };
    for (int axis = 0; axis < 3; ++axis)
        for (const double sign : {-1.0, 1.0}) {
            const int u = axis == 0 ? 1 : 0, w = axis == 2 ? 1 : 2;
            // The grid's own turn is +x, -y, +z: outwards on the side facing
            // that way.
            const bool turned = (axis == 1 ? -sign : sign) < 0;
            const std::size_t mu = steps[u].size(), mw = steps[w].size();
            std::vector<unsigned int> grid;
            for (std::size_t j = 0; j < mw; ++j)
                for (std::size_t i = 0; i < mu; ++i) {
                    std::array<double, 3> q;
                    q[axis] = sign * (half[axis] + radius);
                    q[u] = steps[u][i];
                    q[w] = steps[w][j];
                    grid.push_back(point(q));
                }
            for (std::size_t j = 0; j + 1 < mw; ++j)
                for (std::size_t i = 0; i + 1 < mu; ++i) {
                    const unsigned int a = grid[j * mu + i], b = grid[j * mu + i + 1], c = grid[(j + 1) * mu + i + 1],
                                       d = grid[(j + 1) * mu + i];
                    if (turned) {
                        face(c, b, a);
                        face(d, c, a);
                    } else {
                        face(a, b, c);
                        face(a, c, d);
                    }
                }
        }
    // The vertices in the order of their places (x, then y, then z), as the
    // sweep's generator writes them.
    std::vector<unsigned int> order(points.size());
    std::vector<std::array<double, 3>> sorted;
    for (const auto& entry : welded) {
        order[entry.second] = static_cast<unsigned int>(sorted.size());
        sorted.push_back(points[entry.second]);
    }
    for (auto& f : faces)
        for (unsigned int& v : f)
            v = order[v];
    AddTables(mesh, sorted, faces);
}

// A sphere (bumpy where `bumps` is not 0, see MakeBumpySphere) decimated by
// vertex clustering, as quick decimators deliver: the vertices in each cell
// of a grid of the given spacing, shifted by the seed, become their mean;
// faces whose corners fall in fewer than three cells go, and of faces on the
// same three cells one stays. The cells that take a thin band of the sphere
// leave cracks, faces joined by a corner only, and flaps: faces hinged on
// edges that two other faces share, folded back onto them.
template <typename Mesh>
void MakeClusteredSphere(Mesh& mesh, unsigned int levels, double cell, unsigned int seed, double bumps = 0) {
    Mesh sphere;
    if (bumps > 0)
        MakeBumpySphere(sphere, levels, bumps, 0, seed);
    else
        MakeIcosphere(sphere, levels);
    CNoise random(seed);
    const double shift[3] = {0.5 * cell * (1 + random.Next()), 0.5 * cell * (1 + random.Next()),
                             0.5 * cell * (1 + random.Next())};
    std::map<std::array<long, 3>, unsigned int> cellOf;
    std::vector<unsigned int> index(sphere.m_Vertices.GetCount());
    std::vector<std::array<double, 4>> sums;
    for (unsigned int v = 0; v < sphere.m_Vertices.GetCount(); ++v) {
        const auto& p = sphere.m_Vertices[v].m_Position;
        const double q[3] = {double(p.x), double(p.y), double(p.z)};
        std::array<long, 3> key;
        for (int k = 0; k < 3; ++k)
            key[k] = static_cast<long>(std::floor((q[k] + shift[k]) / cell));
        const auto found = cellOf.emplace(key, static_cast<unsigned int>(sums.size()));
        if (found.second)
            sums.push_back({0, 0, 0, 0});
        index[v] = found.first->second;
        auto& sum = sums[index[v]];
        for (int k = 0; k < 3; ++k)
            sum[k] += q[k];
        sum[3] += 1;
    }
    std::vector<std::array<double, 3>> points;
    points.reserve(sums.size());
    for (const auto& sum : sums)
        points.push_back({sum[0] / sum[3], sum[1] / sum[3], sum[2] / sum[3]});
    std::vector<std::array<unsigned int, 3>> faces;
    std::set<std::array<unsigned int, 3>> seen;
    for (unsigned int f = 0; f < sphere.m_Faces.GetCount(); ++f) {
        const auto* c = sphere.m_Faces[f].m_Corners;
        const std::array<unsigned int, 3> t = {index[c[0]], index[c[1]], index[c[2]]};
        if (t[0] == t[1] || t[1] == t[2] || t[2] == t[0])
            continue;
        std::array<unsigned int, 3> key = t;
        std::sort(key.begin(), key.end());
        if (seen.insert(key).second)
            faces.push_back(t);
    }
    AddUsedTables(mesh, points, faces);
}

// A leaf: `rows` rows of `across` cells from tip to tip along x over [0, 2],
// each row as wide as 0.5 sin(pi t)^0.8 each way plus 0.005, so that both
// ends are blunt rows a hundredth wide; every odd row's two border points
// stand out by 8 percent (serrations about a third of the mean edge deep),
// and the blade bends up away from its midrib. Open, faces towards +z.
template <typename Mesh>
void MakeSerratedLeaf(Mesh& mesh, unsigned int rows = 30, unsigned int across = 8) {
    std::vector<std::array<double, 3>> points;
    for (unsigned int j = 0; j <= rows; ++j) {
        const double t = double(j) / rows;
        const double half = 0.5 * std::pow(std::sin(Pi * t), 0.8) + 0.005;
        const double tooth = 1.0 + (j % 2 && j > 0 && j < rows ? 0.08 : 0.0);
        for (unsigned int i = 0; i <= across; ++i) {
            const double s = -1.0 + 2.0 * i / across;
            const double y = half * s * (i == 0 || i == across ? tooth : 1.0);
            points.push_back({2.0 * t, y, 0.5 * y * y + 0.15 * std::fabs(y) - 0.1 * std::sin(Pi * t)});
        }
    }
    const unsigned int w = across + 1;
    std::vector<std::array<unsigned int, 3>> faces;
    for (unsigned int j = 0; j < rows; ++j)
        for (unsigned int i = 0; i < across; ++i) {
            const unsigned int a = j * w + i;
            faces.push_back({a, a + 1, a + w + 1});
            faces.push_back({a, a + w + 1, a + w});
        }
    AddUsedTables(mesh, points, faces);
}

// A unit icosphere of `levels` with one round hole of each angular radius in
// `radii` (radians), cut face by face by the faces' centroids around
// directions drawn from `seed`, each at least 53 degrees from the others:
// rims that are staircases of the sphere's edges, tips of one face on them.
template <typename Mesh>
void MakeHoledIcosphere(Mesh& mesh, unsigned int levels, const std::vector<double>& radii, unsigned int seed) {
    Mesh sphere;
    MakeIcosphere(sphere, levels);
    CNoise random(seed);
    std::vector<std::array<double, 3>> centres;
    while (centres.size() < radii.size()) {
        std::array<double, 3> d = {random.Next(), random.Next(), random.Next()};
        const double length = std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
        if (!(length > 0.1) || length > 1)
            continue;
        for (double& x : d)
            x /= length;
        bool apart = true;
        for (const auto& c : centres)
            apart = apart && d[0] * c[0] + d[1] * c[1] + d[2] * c[2] < 0.6;
        if (apart)
            centres.push_back(d);
    }
    std::vector<std::array<double, 3>> points;
    for (unsigned int v = 0; v < sphere.m_Vertices.GetCount(); ++v) {
        const auto& p = sphere.m_Vertices[v].m_Position;
        points.push_back({double(p.x), double(p.y), double(p.z)});
    }
    std::vector<std::array<unsigned int, 3>> faces;
    for (unsigned int f = 0; f < sphere.m_Faces.GetCount(); ++f) {
        const auto* c = sphere.m_Faces[f].m_Corners;
        std::array<double, 3> m = {0, 0, 0};
        for (int k = 0; k < 3; ++k)
            for (int j = 0; j < 3; ++j)
                m[j] += points[c[k]][j];
        const double length = std::sqrt(m[0] * m[0] + m[1] * m[1] + m[2] * m[2]);
        bool cut = false;
        for (std::size_t k = 0; k < centres.size(); ++k)
            cut = cut ||
                  (m[0] * centres[k][0] + m[1] * centres[k][1] + m[2] * centres[k][2]) / length > std::cos(radii[k]);
        if (!cut)
            faces.push_back({c[0], c[1], c[2]});
    }
    AddUsedTables(mesh, points, faces);
}

}  // namespace QuorvelTest
