#include "report/MeshStatistics.h"

#include <algorithm>
#include <cmath>

namespace Corvane::Pellix::Quorvel::Tool {

namespace {

constexpr double DegreesPerRadian = 57.29577951308232;

// atan2 of the cross and dot products stays accurate near 0 and 180 degrees
// and gives 0, not NaN, at a corner with a zero-length side.
double CornerAngle(const Point& corner, const Point& a, const Point& b) {
    const Point u = a - corner, v = b - corner;
    return std::atan2((u * v).GetLength(), u % v) * DegreesPerRadian;
}

}  // namespace

CMeshStatistics MeasureMesh(const CMeshData& mesh) {
    return MeasureMesh(mesh, CEdgeCensus(mesh));
}

CMeshStatistics MeasureMesh(const CMeshData& mesh, const CEdgeCensus& census) {
    CMeshStatistics s;
    s.m_Vertices = mesh.m_Positions.size();
    s.m_Faces = mesh.m_Triangles.size();
    const auto& p = mesh.m_Positions;

    s.m_OpenEdges = census.m_OpenEdges;
    s.m_NonManifoldEdges = census.m_NonManifoldEdges;
    s.m_EdgeLengths.reserve(census.m_Edges.size());
    double sum = 0, sumSquares = 0;
    s.m_MinEdge = census.m_Edges.empty() ? 0 : HUGE_VAL;
    for (const CMeshEdge& edge : census.m_Edges) {
        const double length = p[edge.m_A].DiffVectLen(p[edge.m_B]);
        s.m_EdgeLengths.push_back(length);
        s.m_MinEdge = std::min(s.m_MinEdge, length);
        s.m_MaxEdge = std::max(s.m_MaxEdge, length);
        sum += length;
        sumSquares += length * length;
    }
    if (!census.m_Edges.empty()) {
        const double n = static_cast<double>(census.m_Edges.size());
        s.m_MeanEdge = sum / n;
        const double variance = std::max(0.0, sumSquares / n - s.m_MeanEdge * s.m_MeanEdge);
        s.m_EdgeVariation = s.m_MeanEdge > 0 ? std::sqrt(variance) / s.m_MeanEdge : 0;
    }

    std::vector<char> used(p.size(), 0);
    for (const Triangle& t : mesh.m_Triangles)
        used[t[0]] = used[t[1]] = used[t[2]] = 1;
    std::uint64_t interior = 0, regular = 0;
    for (std::size_t v = 0; v < p.size(); ++v) {
        if (!used[v] || census.m_OnBoundary[v])
            continue;
        const std::uint32_t valence = census.m_Valence[v];
        ++interior;
        regular += valence == 6;
        if (s.m_InteriorValences.size() <= valence)
            s.m_InteriorValences.resize(valence + 1, 0);
        ++s.m_InteriorValences[valence];
    }
    s.m_RegularShare = interior == 0 ? 0 : static_cast<double>(regular) / static_cast<double>(interior);

    s.m_MinAngle = mesh.m_Triangles.empty() ? 0 : 180;
    // Volume terms are taken about a point on the mesh rather than the
    // origin, so a model far from the origin loses no precision to them.
    const Point origin = mesh.m_Triangles.empty() ? Point() : p[mesh.m_Triangles[0][0]];
    for (const Triangle& t : mesh.m_Triangles) {
        const Point &a = p[t[0]], &b = p[t[1]], &c = p[t[2]];
        for (const double angle : {CornerAngle(a, b, c), CornerAngle(b, c, a), CornerAngle(c, a, b)}) {
            s.m_MinAngle = std::min(s.m_MinAngle, angle);
            s.m_MaxAngle = std::max(s.m_MaxAngle, angle);
        }
        s.m_Area += 0.5 * ((b - a) * (c - a)).GetLength();
        s.m_Volume += ((a - origin) % ((b - origin) * (c - origin))) / 6.0;
    }
    return s;
}

}  // namespace Corvane::Pellix::Quorvel::Tool
