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
        Vec aim = (x + y) * 0.5;
        StaggeredAcrossWall(v, ends, aim);
        return p + direction * (((aim - p) % direction) / length2);
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

// A wall lower than the target between two lines (the rim of a thin plate's
// top and that of its bottom) holds faces with one side along a line and a
// corner on the other. Vertices of both lines side by side make right
// triangles whose smallest angle is the wall's height over the edge's
// length; a vertex of one line under the middle of an edge of the other
// makes faces twice as steep. So a line's vertex joined across the wall to
// vertices of a line of lower id (or corners), within ThinWallFactor of its
// own line, aims under the middle of the edge between two of them nearest
// to it; the lower line keeps the even spacing it would have alone, so the
// two never chase each other, and a vertex under a middle stays there.
void CEngine::StaggeredAcrossWall(std::uint32_t v, const std::uint32_t (&ends)[2], Vec& aim) const {
    const std::uint32_t line = m_Line[v];
    const Vec &p = m_Position[v], &x0 = m_Position[ends[0]], &x1 = m_Position[ends[1]];
    const Vec direction = x1 - x0;
    const double length2 = Squared(direction);
    const double size = m_Size.empty() ? m_TargetLength : m_Size[v];
    const double height2 = ThinWallFactor * ThinWallFactor * size * size;
    // The squared distance of q from the straight line through v's ends.
    const auto offLine = [&](const Vec& q) {
        const Vec d = q - x0;
        return Squared(d - direction * ((d % direction) / length2));
    };
    constexpr int MostAcross = 4;
    std::uint32_t across[MostAcross];
    int found = 0;
    bool higher = false;
    ForEachNeighbour(v, [&](std::uint32_t x, std::uint32_t e) {
        const bool sliding = (m_Flags[x] & Sliding) != 0;
        if (m_Kind[e] != None || !(sliding || (m_Flags[x] & Corner)) || !(offLine(m_Position[x]) < height2))
            return;
        // The first vertex of another line from one of v's ends (the next
        // side of a plate's bottom, round its corner) is no vertex across.
        bool besideEnd = false;
        if (sliding)
            ForEachNeighbour(x, [&](std::uint32_t y, std::uint32_t f) {
                besideEnd = besideEnd || (m_Kind[f] == m_Line[x] && (y == ends[0] || y == ends[1]));
            });
        if (besideEnd)
            return;
        // A vertex of a higher line across: that line aims here instead.
        higher = higher || (sliding && m_Line[x] >= line);
        if (found < MostAcross)
            across[found] = x;
        ++found;
    });
    if (higher || found < 1 || found > MostAcross)
        return;
    const auto isAcross = [&](std::uint32_t x) { return std::find(across, across + found, x) != across + found; };
    // At the wall's end a corner c of this line is joined across the wall
    // to a corner t of the other (their short edge closes the wall). Where c
    // is also joined to one of the vertices across (a), v stands beside the
    // wall's first edge, t-a, under which no vertex lies yet: it aims under
    // its middle, the flip of c-a to t-v follows, and the edge v leaves
    // behind grows long enough to be split where the next vertex belongs.
    for (const std::uint32_t c : ends) {
        if (!(m_Flags[c] & Corner))
            continue;
        std::uint32_t end = None, joined = None;
        ForEachNeighbour(c, [&](std::uint32_t t, std::uint32_t e) {
            if (m_Kind[e] != line && (m_Flags[t] & Corner) && Squared(m_Position[t] - m_Position[c]) < height2)
                end = t;
            if (m_Kind[e] == None && isAcross(t))
                joined = t;
        });
        if (end != None && joined != None && end != joined) {
            aim = (m_Position[end] + m_Position[joined]) * 0.5;
            return;
        }
    }
    double nearest = std::numeric_limits<double>::infinity();
    for (int i = 0; i < found; ++i)
        ForEachNeighbour(across[i], [&](std::uint32_t y, std::uint32_t) {
            const Vec middle = (m_Position[across[i]] + m_Position[y]) * 0.5;
            if (y > across[i] && isAcross(y) && Squared(middle - p) < nearest &&
                Squared(p - ClosestOnSegment(p, m_Position[across[i]], m_Position[y])) < height2) {
                nearest = Squared(middle - p);
                aim = middle;
            }
        });
}

bool CEngine::FirstAtWallEnd(std::uint32_t v) const {
    if ((m_Flags[v] & (Deleted | Sliding)) != Sliding)
        return false;
    const std::uint32_t line = m_Line[v];
    const double size = m_Size.empty() ? m_TargetLength : m_Size[v];
    const double height2 = ThinWallFactor * ThinWallFactor * size * size;
    bool first = false;
    ForEachNeighbour(v, [&](std::uint32_t c, std::uint32_t e) {
        if (first || m_Kind[e] != line || !(m_Flags[c] & Corner))
            return;
        ForEachNeighbour(c, [&](std::uint32_t t, std::uint32_t f) {
            first = first ||
                    (m_Kind[f] != line && (m_Flags[t] & Corner) && Squared(m_Position[t] - m_Position[c]) < height2);
        });
    });
    return first;
}

// Run on the input itself, before any edit: every vertex is an input vertex
// and every face an input triangle.
void CEngine::MarkSoftCorners(const std::vector<std::uint32_t>& slotOfFace) {
    m_SoftCorners.assign(m_Triangles.size(), 0);
    const double cosTurn = std::cos(SoftCornerAngle * Pi / 180.0);
    // Each vertex is judged on its own, by whichever thread; the few soft
    // ones then mark their faces' corners in vertex order.
    const std::int64_t vertexCount = static_cast<std::int64_t>(m_Position.size());
    std::vector<std::uint8_t> soft(m_Position.size(), 0);
#pragma omp parallel for schedule(dynamic, 4096) if (vertexCount >= ParallelVertices)
    for (std::int64_t i = 0; i < vertexCount; ++i) {
        const std::uint32_t v = static_cast<std::uint32_t>(i);
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
        soft[v] = turns;
    }
    for (std::uint32_t v = 0; v < static_cast<std::uint32_t>(vertexCount); ++v)
        if (soft[v])
            ForEachOutgoing(v, [&](std::uint32_t e) {
                if (slotOfFace[e / 3] != None)
                    m_SoftCorners[slotOfFace[e / 3]] |= static_cast<std::uint8_t>(1u << (e % 3));
            });
}

// As SnapToPeaks, for the soft corners only and much closer: the corner
// itself or nothing, since a point part of the way there leaves the corner
// sticking out. Serial, in vertex order, so the result does not depend on
// threads.
bool CEngine::SnapToSoftCorners() {
    const double floor = SmallestAngleOfFaces();
    return SnapToCorners(SoftCornerSnapFactor, std::max(floor, SoftCornerFloorAngle), &m_SoftCorners, {1.0});
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

    TakeBackSpoiledMoves();
    m_Position.swap(m_Moved);
}

// A minimum comes out the same in any order; a face whose angle is not a
// number lowers it on no thread. The largest cosine of the faces' smallest
// angles comes first (no trigonometry, see SmallestAngleCos): the smallest
// angle lies among the faces whose cosine comes within the margin of it.
double CEngine::SmallestAngleOfFaces() const {
    const std::int64_t faceCount = static_cast<std::int64_t>(m_Corner.size() / 3);
    const auto cosine = [&](std::int64_t f) {
        return SmallestAngleCos(m_Position[m_Corner[3 * f]], m_Position[m_Corner[3 * f + 1]],
                                m_Position[m_Corner[3 * f + 2]]);
    };
    double largest = -std::numeric_limits<double>::infinity();
#pragma omp parallel for schedule(static) reduction(max : largest) if (faceCount >= ParallelFaces)
    for (std::int64_t f = 0; f < faceCount; ++f)
        if (m_Corner[3 * f] != None) {
            const double c = cosine(f);
            if (std::isfinite(c))
                largest = std::max(largest, c);
        }
    double smallest = Pi;
#pragma omp parallel for schedule(static) reduction(min : smallest) if (faceCount >= ParallelFaces)
    for (std::int64_t f = 0; f < faceCount; ++f)
        if (m_Corner[3 * f] != None && !(cosine(f) < largest - AngleCosMargin))
            smallest = std::min(smallest, SmallestAngle(m_Position[m_Corner[3 * f]], m_Position[m_Corner[3 * f + 1]],
                                                        m_Position[m_Corner[3 * f + 2]]));
    return smallest;
}

// A move that turns a face over or flattens it is taken back, for all
// corners of that face, until no face is spoiled; in the worst case
// everything is back where it was. After the first sweep over all faces only
// the faces around the vertices taken back can newly turn, so the rest is a
// short serial walk.
void CEngine::TakeBackSpoiledMoves(double floor) {
    const double floorCos = std::cos(floor);
    const std::int64_t faceCount = static_cast<std::int64_t>(m_Corner.size() / 3);
    m_FaceMarks.resize(m_Corner.size() / 3);
#pragma omp parallel for schedule(dynamic, 2048) if (faceCount >= ParallelFaces)
    for (std::int64_t f = 0; f < faceCount; ++f)
        m_FaceMarks[f] = m_Corner[3 * f] != None && SpoiledByMove(static_cast<std::uint32_t>(f), floor, floorCos);
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
        if (!SpoiledByMove(f, floor, floorCos))
            continue;
        for (std::uint32_t k = 0; k < 3; ++k) {
            const std::uint32_t v = m_Corner[3 * f + k];
            if (m_Moved[v] == m_Position[v])
                continue;
            m_Moved[v] = m_Position[v];
            ForEachOutgoing(v, [&](std::uint32_t e) { m_Stack.push_back(e / 3); });
        }
    }
}

}  // namespace Corvane::Pellix::Quorvel::detail::preserving
