#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "io/MeshData.h"

namespace Corvane::Pellix::Quorvel::Tool {

// One undirected edge: its ends (m_A < m_B), how many face sides use it and
// how many of those run from m_A to m_B. A two-sided edge of a consistently
// oriented surface has m_Forward == 1.
class CMeshEdge {
public:
    std::uint32_t m_A = 0;
    std::uint32_t m_B = 0;
    std::uint32_t m_Faces = 0;
    std::uint32_t m_Forward = 0;

    bool IsOpen() const { return m_Faces == 1; }
    bool IsNonManifold() const { return m_Faces > 2; }
    bool IsMisoriented() const { return m_Faces == 2 && m_Forward != 1; }
};

// The edges of a mesh, counted once each, with the figures that say whether
// the surface is closed, manifold and consistently oriented. Faces that name
// a vertex twice contribute no edge between that vertex and itself.
class CEdgeCensus {
public:
    explicit CEdgeCensus(const CMeshData& mesh);

    // Sorted by (m_A, m_B).
    std::vector<CMeshEdge> m_Edges;
    std::uint64_t m_OpenEdges = 0;
    std::uint64_t m_NonManifoldEdges = 0;
    std::uint64_t m_MisorientedEdges = 0;
    // Connected pieces of the open boundary: a disc has one, a tube two.
    std::uint64_t m_OpenContours = 0;
    // Per vertex: number of distinct neighbours, and whether it lies on an
    // open edge.
    std::vector<std::uint32_t> m_Valence;
    std::vector<char> m_OnBoundary;

    // Index of edge (a, b) in m_Edges, or -1.
    std::int64_t Find(std::uint32_t a, std::uint32_t b) const;
};

// The face sides of a mesh, filed under their low ends: on return vertex
// v's sides are entries start[v] to start[v + 1] of the result, each what
// `entry(t, k)` makes of side k of triangle t (from corner k to corner
// k + 1), in face order. Sides from a vertex to itself are left out. Two
// passes over the faces, where a sort of the sides takes four or more.
template <typename Entry, typename MakeEntry>
std::vector<Entry> FileSidesByLowEnd(const CMeshData& mesh, std::vector<std::uint32_t>& start, MakeEntry entry) {
    start.assign(mesh.m_Positions.size() + 2, 0);
    for (const Triangle& t : mesh.m_Triangles)
        for (int k = 0; k < 3; ++k) {
            const std::uint32_t a = t[k], b = t[(k + 1) % 3];
            if (a != b)
                ++start[std::min(a, b) + 2];
        }
    for (std::size_t v = 2; v < start.size(); ++v)
        start[v] += start[v - 1];
    std::vector<Entry> sides(start.back());
    for (const Triangle& t : mesh.m_Triangles)
        for (int k = 0; k < 3; ++k) {
            const std::uint32_t a = t[k], b = t[(k + 1) % 3];
            if (a != b)
                sides[start[std::min(a, b) + 1]++] = entry(t, k);
        }
    return sides;
}

// The plain mean of the lengths of all edges, each counted once.
double TrueMeanEdgeLength(const CMeshData& mesh);
// The same over edges already found: `edges` holds every edge of the mesh
// once, as low end << 32 | high end, in ascending order, which is the order
// TrueMeanEdgeLength sums them in, so the two agree to the bit.
double MeanEdgeLength(const CMeshData& mesh, const std::vector<std::uint64_t>& edges);

// Length of the bounding-box diagonal of all vertices (0 without vertices),
// the scale of a mesh's size limits.
double DiagonalLength(const CMeshData& mesh);
// The same for the vertices that faces use (0 without faces), the scale the
// distance figures are given in.
double UsedDiagonalLength(const CMeshData& mesh);

}  // namespace Corvane::Pellix::Quorvel::Tool
