#include "report/MeshStatistics.h"

#include <algorithm>
#include <cmath>

namespace Corvane::Pellix::Quorvel::Tool {

namespace {

constexpr double DegreesPerRadian = 57.29577951308232;

// A corner's angle is atan2 of the cross and dot products of its sides,
// which stays accurate near 0 and 180 degrees. Only the smallest and the
// largest are reported, so corners are compared by a key that grows with the
// angle (0 at 0 degrees, 1 at 90, 2 at 180) and costs a division, and atan2
// runs for the two extremes alone.
class CCorner {
public:
    explicit CCorner(double key) : m_Key(key) { }
    CCorner(const Point& corner, const Point& a, const Point& b) {
        const Point u = a - corner, v = b - corner;
        m_Sine = (u * v).GetLength();
        m_Cosine = u % v;
        const double sum = std::fabs(m_Cosine) + m_Sine;
        // A side of zero length: atan2 gives 0 or 180 degrees by the signs
        // of the zeros.
        if (!(sum > 0))
            m_Key = GetDegrees() > 90 ? 2 : 0;
        else
            m_Key = m_Cosine >= 0 ? m_Sine / sum : 2 - m_Sine / sum;
    }
    double GetDegrees() const { return std::atan2(m_Sine, m_Cosine) * DegreesPerRadian; }

    double m_Sine = 0, m_Cosine = 1, m_Key;
};

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
    Point low(HUGE_VAL, HUGE_VAL, HUGE_VAL), high(-HUGE_VAL, -HUGE_VAL, -HUGE_VAL);
    for (std::size_t v = 0; v < p.size(); ++v) {
        if (!used[v])
            continue;
        low = Point(std::min(low.x, p[v].x), std::min(low.y, p[v].y), std::min(low.z, p[v].z));
        high = Point(std::max(high.x, p[v].x), std::max(high.y, p[v].y), std::max(high.z, p[v].z));
        if (census.m_OnBoundary[v])
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
    // Volume terms are taken about the centre of the used vertices' box
    // rather than the origin, so a model far from the origin loses no
    // precision to them. An open surface encloses no volume of its own and
    // its figure depends on that point: the box's centre is the same
    // whatever the order of the faces, and moves little when a remesh keeps
    // the shape, so the before and after of an open surface compare.
    const Point origin = low.x <= high.x ? (low + high) * 0.5 : Point();
    CCorner smallest(HUGE_VAL), largest(-HUGE_VAL);
    for (const Triangle& t : mesh.m_Triangles) {
        const Point &a = p[t[0]], &b = p[t[1]], &c = p[t[2]];
        for (const CCorner& corner : {CCorner(a, b, c), CCorner(b, c, a), CCorner(c, a, b)}) {
            // NaN keys (non-finite corners) are never kept, as std::min and
            // std::max of angles would not keep them.
            if (corner.m_Key < smallest.m_Key)
                smallest = corner;
            if (corner.m_Key > largest.m_Key)
                largest = corner;
        }
        s.m_Area += 0.5 * ((b - a) * (c - a)).GetLength();
        s.m_Volume += ((a - origin) % ((b - origin) * (c - origin))) / 6.0;
    }
    if (smallest.m_Key <= 2)
        s.m_MinAngle = smallest.GetDegrees();
    if (largest.m_Key >= 0)
        s.m_MaxAngle = largest.GetDegrees();
    return s;
}

double VolumeChange(const CMeshStatistics& before, const CMeshStatistics& after) {
    // Against the volume of a ball of the same area, a sheet's leftover is
    // many orders below this; any real solid, however thin, far above it.
    const double noise = 1e-9 * before.m_Area * std::sqrt(before.m_Area);
    if (!(std::fabs(before.m_Volume) > noise))
        return NAN;
    return (after.m_Volume - before.m_Volume) / std::fabs(before.m_Volume);
}

}  // namespace Corvane::Pellix::Quorvel::Tool
