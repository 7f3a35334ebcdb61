#pragma once

// Procedural meshes shared by the test suites. Every builder fills only
// m_Vertices and m_Faces; tests build whatever derived data they need.
#include <array>
#include <cmath>
#include <map>
#include <type_traits>
#include <utility>
#include <vector>

#include "meshes/TMesh.h"

namespace QuorvelTest {

using namespace Corvane::Pellix::Quorvel;

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

// One triangle in the z = 0 plane, counter-clockwise seen from +z.
template <typename Mesh>
void MakeTriangle(Mesh& mesh) {
    AddVertex(mesh, 0, 0, 0);
    AddVertex(mesh, 1, 0, 0);
    AddVertex(mesh, 0, 1, 0);
    AddFace(mesh, 0, 1, 2);
}

// Unit right-angled tetrahedron, outward winding: volume 1/6.
template <typename Mesh>
void MakeTetrahedron(Mesh& mesh) {
    AddVertex(mesh, 0, 0, 0);
    AddVertex(mesh, 1, 0, 0);
    AddVertex(mesh, 0, 1, 0);
    AddVertex(mesh, 0, 0, 1);
    AddFace(mesh, 0, 2, 1);
    AddFace(mesh, 0, 1, 3);
    AddFace(mesh, 0, 3, 2);
    AddFace(mesh, 1, 2, 3);
}

// Axis-aligned box [0,sx]x[0,sy]x[0,sz] of 8 vertices and 12 outward faces.
template <typename Mesh>
void MakeBox(Mesh& mesh, double sx = 1, double sy = 1, double sz = 1) {
    for (int i = 0; i < 8; ++i) AddVertex(mesh, (i & 1) ? sx : 0, (i & 2) ? sy : 0, (i & 4) ? sz : 0);
    const unsigned int quads[6][4] = {{0, 2, 3, 1}, {4, 5, 7, 6}, {0, 1, 5, 4},
                                      {2, 6, 7, 3}, {0, 4, 6, 2}, {1, 3, 7, 5}};
    for (auto& q : quads) {
        AddFace(mesh, q[0], q[1], q[2]);
        AddFace(mesh, q[0], q[2], q[3]);
    }
}

// A flat n x m grid of squares in z = 0, each split into two triangles,
// spacing h, facing +z. Vertex (i, j) has index j * (n + 1) + i.
template <typename Mesh>
void MakeGrid(Mesh& mesh, unsigned int n, unsigned int m, double h = 1) {
    for (unsigned int j = 0; j <= m; ++j)
        for (unsigned int i = 0; i <= n; ++i) AddVertex(mesh, i * h, j * h, 0);
    for (unsigned int j = 0; j < m; ++j)
        for (unsigned int i = 0; i < n; ++i) {
            const unsigned int a = j * (n + 1) + i, b = a + 1, c = a + n + 1, d = c + 1;
            AddFace(mesh, a, b, d);
            AddFace(mesh, a, d, c);
        }
}

// Icosphere of the given radius: an icosahedron whose faces are split
// `levels` times, new vertices pushed onto the sphere. Closed, outward.
template <typename Mesh>
void MakeIcosphere(Mesh& mesh, unsigned int levels, double radius = 1) {
    const double t = (1 + std::sqrt(5.0)) / 2;
    std::vector<std::array<double, 3>> p = {{-1, t, 0}, {1, t, 0}, {-1, -t, 0}, {1, -t, 0},
                                            {0, -1, t}, {0, 1, t}, {0, -1, -t}, {0, 1, -t},
                                            {t, 0, -1}, {t, 0, 1}, {-t, 0, -1}, {-t, 0, 1}};
    std::vector<std::array<unsigned int, 3>> f = {
        {0, 11, 5}, {0, 5, 1}, {0, 1, 7}, {0, 7, 10}, {0, 10, 11}, {1, 5, 9}, {5, 11, 4},
        {11, 10, 2}, {10, 7, 6}, {7, 1, 8}, {3, 9, 4}, {3, 4, 2}, {3, 2, 6}, {3, 6, 8},
        {3, 8, 9}, {4, 9, 5}, {2, 4, 11}, {6, 2, 10}, {8, 6, 7}, {9, 8, 1}};
    for (unsigned int l = 0; l < levels; ++l) {
        std::map<std::pair<unsigned int, unsigned int>, unsigned int> mid;
        auto midpoint = [&](unsigned int a, unsigned int b) {
            auto key = std::make_pair(std::min(a, b), std::max(a, b));
            auto it = mid.find(key);
            if (it != mid.end()) return it->second;
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
    for (auto& tri : f) AddFace(mesh, tri[0], tri[1], tri[2]);
}

// Builds all three adjacency tables from scratch.
template <typename Mesh>
void BuildConnectivity(Mesh& mesh) {
    mesh.AssignFaceConnectivity(true);
    mesh.AssignVertexConnectivity(true);
}

}  // namespace QuorvelTest

namespace QuorvelTest {

// Torus of n x m quads (n around the tube's axis, m around the tube), each
// split into two triangles with the same diagonal, so every vertex has
// valence 6. Vertex (i, j) has index j * n + i; quad (i, j) gives faces
// 2 * (j * n + i) and 2 * (j * n + i) + 1. Needs n, m >= 4 to stay a simple
// surface.
template <typename Mesh>
void MakeTorus(Mesh& mesh, unsigned int n, unsigned int m, double major = 2, double minor = 0.5) {
    const double pi = 3.14159265358979323846;
    for (unsigned int j = 0; j < m; ++j)
        for (unsigned int i = 0; i < n; ++i) {
            const double u = 2 * pi * i / n, v = 2 * pi * j / m;
            const double ring = major + minor * std::cos(v);
            AddVertex(mesh, ring * std::cos(u), ring * std::sin(u), minor * std::sin(v));
        }
    for (unsigned int j = 0; j < m; ++j)
        for (unsigned int i = 0; i < n; ++i) {
            const unsigned int a = j * n + i, b = j * n + (i + 1) % n;
            const unsigned int c = ((j + 1) % m) * n + i, d = ((j + 1) % m) * n + (i + 1) % n;
            AddFace(mesh, a, b, d);
            AddFace(mesh, a, d, c);
        }
}

}  // namespace QuorvelTest

namespace QuorvelTest {

// An icosphere of radius about 1 whose vertices are pushed in or out along
// their radius by smooth bumps of the given amplitude plus deterministic
// noise of the given amplitude: a star-shaped closed surface around the
// origin with uneven edges and angles.
template <typename Mesh>
void MakeBumpySphere(Mesh& mesh, unsigned int levels, double bumps, double noise, unsigned int seed = 12345) {
    MakeIcosphere(mesh, levels);
    unsigned int state = seed;
    for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v) {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        auto& p = mesh.m_Vertices[v].m_Position;
        const double x = p.x, y = p.y, z = p.z;
        const double random = (state % 20001) / 10000.0 - 1;
        const double scale = 1 + bumps * std::sin(4 * x) * std::sin(5 * y) * std::sin(3 * z + 1) + noise * random;
        p.x = decltype(p.x)(x * scale);
        p.y = decltype(p.y)(y * scale);
        p.z = decltype(p.z)(z * scale);
    }
}

}  // namespace QuorvelTest

namespace QuorvelTest {

// A small mesh spelled out as a table of positions and a table of corners
// (numbered from the first added vertex), appended to what the mesh holds.
template <typename Mesh>
void AddTables(Mesh& mesh, const std::vector<std::array<double, 3>>& points,
               const std::vector<std::array<unsigned int, 3>>& faces) {
    const unsigned int base = mesh.m_Vertices.GetCount();
    for (const auto& p : points) AddVertex(mesh, p[0], p[1], p[2]);
    for (const auto& f : faces) AddFace(mesh, base + f[0], base + f[1], base + f[2]);
}

}  // namespace QuorvelTest
