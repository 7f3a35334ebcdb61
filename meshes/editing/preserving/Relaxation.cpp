#include "quorvel/meshes/editing/preserving/Engine.h"

namespace Corvane::Pellix::Quorvel::detail::preserving {

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
