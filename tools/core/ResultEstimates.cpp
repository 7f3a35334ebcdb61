#include "core/ResultEstimates.h"

#include <algorithm>

namespace Corvane::Pellix::Quorvel::Tool {

namespace {

double LongestEdge(const CMeshData& mesh, const Triangle& t) {
    const Point &a = mesh.m_Positions[t[0]], &b = mesh.m_Positions[t[1]], &c = mesh.m_Positions[t[2]];
    return std::max({a.DiffVectLen(b), b.DiffVectLen(c), c.DiffVectLen(a)});
}

}  // namespace

// Bisecting a face until no edge exceeds the limit ends with about twice
// (longest / limit) squared pieces.
double EstimateSubdivisionFaces(const CMeshData& mesh, double maxLength) {
    double faces = 0;
    for (const Triangle& t : mesh.m_Triangles) {
        const double longest = LongestEdge(mesh, t) / maxLength;
        faces += std::max(1.0, 2 * longest * longest);
    }
    return faces;
}

// Each face is swept by segments parallel to its shortest edge, about
// (longest side / spacing) of them with as many points each at most.
double EstimateInfillPoints(const CMeshData& mesh, double spacing) {
    double points = static_cast<double>(mesh.m_Positions.size());
    for (const Triangle& t : mesh.m_Triangles) {
        const double longest = LongestEdge(mesh, t) / spacing;
        points += (longest + 1) * (longest + 1);
    }
    return points;
}

}  // namespace Corvane::Pellix::Quorvel::Tool
