#include "quorvel/meshes/editing/preserving/Engine.h"

namespace Corvane::Pellix::Quorvel::detail::preserving {

namespace {

// The smallest corner angle of a triangle, in radians.
double SmallestCornerAngle(const Vec& a, const Vec& b, const Vec& c) {
    const Vec ab = b - a, bc = c - b, ca = a - c;
    const double twice = std::sqrt(Squared(ab * ca));
    const double atA = std::atan2(twice, -(ab % ca));
    const double atB = std::atan2(twice, -(bc % ab));
    return std::min(std::min(atA, atB), Pi - atA - atB);
}

}  // namespace

// A free vertex moves to the area-weighted centroid of its fan, within its
// tangent plane; a sliding vertex to the middle of its two line neighbours,
// along the line.
Vec CEngine::Relaxed(std::uint32_t v) const {
    const Vec& p = m_Position[v];
    const std::uint8_t flags = m_Flags[v];
    if (flags & (Deleted | Fixed))
        return p;
    if (flags & Sliding) {
        const std::uint32_t line = m_Line[v];
        std::uint32_t ends[2] = {None, None};
        int found = 0;
        ForEachNeighbour(v, [&](std::uint32_t x, std::uint32_t e) {
            if (m_Kind[e] == line) {
                if (found < 2)
                    ends[found] = x;
                ++found;
            }
        });
        if (found != 2)
            return p;
        const Vec &x = m_Position[ends[0]], &y = m_Position[ends[1]];
        const Vec direction = y - x;
        const double length2 = Squared(direction);
        if (!(length2 > 0))
            return p;
        return p + direction * ((((x + y) * 0.5 - p) % direction) / length2);
    }
    Vec weighted, normal;
    double area = 0;
    ForEachOutgoing(v, [&](std::uint32_t e) {
        const Vec& x = m_Position[Target(e)];
        const Vec& y = m_Position[m_Corner[Prev(e)]];
        const Vec cross = (x - p) * (y - p);
        const double twice = std::sqrt(Squared(cross));
        weighted += (p + x + y) * (twice / 3.0);
        normal += cross;
        area += twice;
    });
    if (!(area > 0))
        return p;
    normal.Normalise();
    Vec move = weighted / area - p;
    move -= normal * (move % normal);
    return IsFinite(move) ? p + move : p;
}

// Run on the input itself, before any edit: every vertex is an input vertex
// and every face an input triangle.
void CEngine::MarkSoftCorners(const std::vector<std::uint32_t>& slotOfFace) {
    m_SoftCorners.assign(m_Triangles.size(), 0);
    const double cosTurn = std::cos(SoftCornerAngle * Pi / 180.0);
    const std::uint32_t vertexCount = static_cast<std::uint32_t>(m_Position.size());
    for (std::uint32_t v = 0; v < vertexCount; ++v) {
        if (!IsFree(v))
            continue;
        const Vec& p = m_Position[v];
        const auto unitNormal = [&](std::uint32_t e) {
            Vec normal = (m_Position[Target(e)] - p) * (m_Position[m_Corner[Prev(e)]] - p);
            normal.Normalise();
            return normal;
        };
        bool coarse = true;
        Vec mean;
        ForEachOutgoing(v, [&](std::uint32_t e) {
            coarse = coarse && EdgeLength2(e) > m_SplitLength2;
            mean += unitNormal(e);
        });
        if (!coarse || !(Squared(mean) > 0))
            continue;
        mean.Normalise();
        bool turns = false;
        ForEachOutgoing(v, [&](std::uint32_t e) { turns = turns || unitNormal(e) % mean < cosTurn; });
        if (!turns)
            continue;
        ForEachOutgoing(v, [&](std::uint32_t e) {
            if (slotOfFace[e / 3] != None)
                m_SoftCorners[slotOfFace[e / 3]] |= static_cast<std::uint8_t>(1u << (e % 3));
        });
    }
}

// As SnapToPeaks, for the soft corners only and much closer: the corner
// itself or nothing, since a point part of the way there leaves the corner
// sticking out. Serial, in vertex order, so the result does not depend on
// threads.
bool CEngine::SnapToSoftCorners() {
    const double limit2 = SoftCornerSnapFactor * SoftCornerSnapFactor * m_TargetLength * m_TargetLength;
    const double reach2 = m_TargetLength * m_TargetLength;
    const std::uint32_t vertexCount = static_cast<std::uint32_t>(m_Position.size());
    double floor = Pi;
    const std::uint32_t faceCount = static_cast<std::uint32_t>(m_Corner.size() / 3);
    for (std::uint32_t f = 0; f < faceCount; ++f)
        if (m_Corner[3 * f] != None)
            floor = std::min(floor, SmallestCornerAngle(m_Position[m_Corner[3 * f]], m_Position[m_Corner[3 * f + 1]],
                                                        m_Position[m_Corner[3 * f + 2]]));
    floor = std::max(floor, SoftCornerFloorAngle);
    bool changed = false;
    // Bounded: one sweep over the vertices, three corners each, each a walk
    // over the fans of the vertex and its ring and one place tried.
    for (std::uint32_t v = 0; v < vertexCount; ++v) {
        if (!IsFree(v) || m_FaceHint[v] == None || m_SoftCorners[m_FaceHint[v]] == 0)
            continue;
        const Vec p = m_Position[v];
        const CTriangle& triangle = m_Triangles[m_FaceHint[v]];
        const std::uint8_t bits = m_SoftCorners[m_FaceHint[v]];
        const Vec* corners[3] = {&triangle.m_A, &triangle.m_B, &triangle.m_C};
        for (int k = 0; k < 3; ++k) {
            const Vec& c = *corners[k];
            const double distance2 = Squared(c - p);
            if (!(bits & (1u << k)) || !(distance2 < reach2) || c == p)
                continue;
            bool nearest = true;
            ForEachNeighbour(v, [&](std::uint32_t w, std::uint32_t) {
                nearest = nearest && Squared(c - m_Position[w]) >= distance2;
            });
            if (!nearest || NearbyFaceWithin(c, v, limit2))
                continue;
            double before = Pi;
            ForEachOutgoing(v, [&](std::uint32_t e) {
                before = std::min(before, SmallestCornerAngle(p, m_Position[Target(e)], m_Position[m_Corner[Prev(e)]]));
            });
            double after;
            if (FanAfterMove(v, c, after) && after >= std::min(before, floor) && !MoveFolds(v, c)) {
                m_Position[v] = c;
                changed = true;
                break;
            }
        }
    }
    return changed;
}

// Every vertex is computed from the positions before the step into a
// separate array, each by its own thread alone, so the result does not depend
// on the number of threads or the schedule.
void CEngine::RelaxAndProject() {
    const std::int64_t vertexCount = static_cast<std::int64_t>(m_Position.size());
    m_Moved.resize(m_Position.size());
#pragma omp parallel for schedule(dynamic, 512) if (vertexCount >= ParallelVertices)
    for (std::int64_t i = 0; i < vertexCount; ++i) {
        const std::uint32_t v = static_cast<std::uint32_t>(i);
        if (m_Flags[v] & (Deleted | Fixed)) {
            m_Moved[v] = m_Position[v];
            continue;
        }
        const Vec relaxed = Relaxed(v);
        const Vec projected = Projected(v, relaxed);
        m_Moved[v] = IsFinite(projected) ? projected : m_Position[v];
    }

    // A move that turns a face over or flattens it is taken back, for all
    // corners of that face, until no face is spoiled; in the worst case
    // everything is back where it was. After the first sweep over all faces only the faces
    // around the vertices taken back can newly turn, so the rest is a short
    // serial walk.
    const std::int64_t faceCount = static_cast<std::int64_t>(m_Corner.size() / 3);
    m_FaceMarks.resize(m_Corner.size() / 3);
#pragma omp parallel for schedule(dynamic, 2048) if (faceCount >= ParallelFaces)
    for (std::int64_t f = 0; f < faceCount; ++f)
        m_FaceMarks[f] = m_Corner[3 * f] != None && SpoiledByMove(static_cast<std::uint32_t>(f));
    m_Stack.clear();
    for (std::int64_t f = 0; f < faceCount; ++f)
        if (m_FaceMarks[f])
            m_Stack.push_back(static_cast<std::uint32_t>(f));
    // Bounded: a vertex is taken back at most once (afterwards its moved and
    // old places are equal and it is skipped), and only a take-back pushes,
    // one entry per face of its fan; the fans hold 3 F faces in all. So there
    // are at most F + 3 F pops. A
    // vertex with a non-finite coordinate never gets here: its faces have no
    // finite area to spoil.
    while (!m_Stack.empty()) {
        const std::uint32_t f = m_Stack.back();
        m_Stack.pop_back();
        if (!SpoiledByMove(f))
            continue;
        for (std::uint32_t k = 0; k < 3; ++k) {
            const std::uint32_t v = m_Corner[3 * f + k];
            if (m_Moved[v] == m_Position[v])
                continue;
            m_Moved[v] = m_Position[v];
            ForEachOutgoing(v, [&](std::uint32_t e) { m_Stack.push_back(e / 3); });
        }
    }
    m_Position.swap(m_Moved);
}

}  // namespace Corvane::Pellix::Quorvel::detail::preserving
