#pragma once

#include <cstdint>
#include <vector>

#include "io/MeshData.h"

namespace Corvane::Pellix::Quorvel::Tool {

// Nearest-point queries against the triangles of a mesh through a bounding
// volume hierarchy: boxes split at the median of their longest side down to
// a few triangles each. A query descends nearer boxes first and skips every
// box farther away than the best triangle found, so it stays fast however
// far the point lies from the surface.
class CTriangleTree {
public:
    explicit CTriangleTree(const CMeshData& mesh);

    // Distance from p to the nearest triangle; infinite for a mesh without
    // triangles. With `enough` > 0 the search stops at the first triangle
    // closer than that and returns its distance: a caller after the largest
    // of many distances need not know small ones exactly. Safe to call from
    // several threads at once.
    double Distance(const Point& p, double enough = 0) const;

private:
    class CNode {
    public:
        Point m_Min;
        Point m_Max;
        // Leaves: m_Count > 0 triangles from m_First in m_Order. Inner
        // nodes: children at m_First and m_First + 1.
        std::uint32_t m_First = 0;
        std::uint32_t m_Count = 0;
    };

    void Build(std::uint32_t node, std::uint32_t begin, std::uint32_t end, const std::vector<Point>& centres);

    const CMeshData& m_Mesh;
    std::vector<CNode> m_Nodes;
    std::vector<std::uint32_t> m_Order;
};

// Distance from p to triangle (a, b, c), exact in the plane of the triangle,
// along an edge and at a corner.
double PointTriangleDistance(const Point& p, const Point& a, const Point& b, const Point& c);

// Points on the surface: every vertex that a face uses (at most `count` of
// them, evenly picked) and `count` points spread by area, from a fixed seed
// so that runs are repeatable.
std::vector<Point> SampleSurface(const CMeshData& mesh, std::size_t count);

// The larger of the two one-sided sampled distances between the surfaces:
// the furthest that a sample of one lies from the other.
double SampledHausdorffDistance(const CMeshData& a, const CMeshData& b, std::size_t samples);

}  // namespace Corvane::Pellix::Quorvel::Tool
