#include <array>

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
// two never chase each other, and a vertex under a middle stays there. A
// kept open boundary counts as such a lower line where nothing else lies
// across: the last trough of a corrugated hose, a quarter target from its
// open end, kept its vertices beside the rim's (16.4 degrees).
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
    // A vertex of a kept open boundary, fixed where the input has it.
    const auto keptRim = [&](std::uint32_t x) {
        return (m_Flags[x] & (Fixed | NonManifold | Corner)) == Fixed && IsOpen(x);
    };
    const Vec own = aim;
    constexpr int MostAcross = 4;
    std::uint32_t across[MostAcross];
    int found = 0;
    bool higher = false;
    bool rims = false;
    const auto gather = [&](std::uint32_t x, std::uint32_t e) {
        const bool sliding = (m_Flags[x] & Sliding) != 0;
        if (m_Kind[e] != None || !(rims ? keptRim(x) : sliding || (m_Flags[x] & Corner)) ||
            !(offLine(m_Position[x]) < height2))
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
    };
    ForEachNeighbour(v, gather);
    if (higher || found > MostAcross)
        return;
    const auto isAcross = [&](std::uint32_t x) { return std::find(across, across + found, x) != across + found; };
    // Only a vertex with no corner beside it along its line and no edge of
    // another line across it staggers against a kept rim.
    bool acrossEdge = false;
    for (int i = 0; i < found; ++i)
        ForEachNeighbour(across[i], [&](std::uint32_t y, std::uint32_t) { acrossEdge = acrossEdge || isAcross(y); });
    const bool onRim = !acrossEdge && !((m_Flags[ends[0]] | m_Flags[ends[1]]) & Corner);
    if (onRim) {
        found = 0;
        rims = true;
        ForEachNeighbour(v, gather);
    }
    if (higher || found < 1 || found > MostAcross)
        return;
    // At the wall's end a corner c of this line is joined across the wall
    // to a corner t of the other (their short edge closes the wall). Where c
    // is also joined to one of the vertices across (a), v stands beside the
    // wall's first edge, t-a, under which no vertex lies yet: it aims under
    // its middle, the flip of c-a to t-v follows, and the edge v leaves
    // behind grows long enough to be split where the next vertex belongs.
    std::uint32_t open = None;
    for (const std::uint32_t c : ends) {
        if (onRim || !(m_Flags[c] & Corner))
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
        // A corner where the lines of two walls and their floor meet (a
        // parapet's inner corner) and whose own wall does not close there.
        int lines = 0;
        ForEachNeighbour(c, [&](std::uint32_t, std::uint32_t e) { lines += IsLine(m_Kind[e]) ? 1 : 0; });
        if (end == None && lines == 3)
            open = c;
    }
    double nearest = std::numeric_limits<double>::infinity();
    std::uint32_t from = None, to = None;
    for (int i = 0; i < found; ++i)
        ForEachNeighbour(across[i], [&](std::uint32_t y, std::uint32_t) {
            const Vec middle = (m_Position[across[i]] + m_Position[y]) * 0.5;
            if (y > across[i] && isAcross(y) && Squared(middle - p) < nearest &&
                Squared(p - ClosestOnSegment(p, m_Position[across[i]], m_Position[y])) < height2) {
                nearest = Squared(middle - p);
                aim = middle;
                from = across[i];
                to = y;
            }
        });
    // Against a kept rim, whose vertices stay where the input had them, v
    // staggers only once both its edges are coarsened to their length
    // (collapsed further, the line carries the shift along unevenly: a hose
    // at five times its mean edge fell from 11.1 to 6.4 degrees so).
    // Against a rim finer than v's line, v aims at the nearer end of the
    // rim's edge instead: under the middle of one of its short edges v
    // stands a quarter of its own spacing off a rim vertex and its faces to
    // the rim's next vertices thin (a hose's last trough, half as fine as
    // its rim, fell from 27.5 to 19.6 degrees so), while at a rim vertex the
    // rim's vertices between v's neighbours fall under the middles of v's
    // edges. A rim finer still has no one vertex for v to stand at.
    if (onRim) {
        const double spacing2 = 0.25 * length2, share2 = RimStaggerShare * RimStaggerShare;
        const double rim2 = from == None ? 0.0 : Squared(m_Position[to] - m_Position[from]);
        const double shorter2 = std::min(Squared(x0 - p), Squared(x1 - p));
        if (from == None || shorter2 < CollapseFactor * CollapseFactor * size * size || rim2 < 0.25 * share2 * spacing2)
            aim = own;
        else if (rim2 < share2 * spacing2)
            aim = Squared(m_Position[from] - p) < Squared(m_Position[to] - p) ? m_Position[from] : m_Position[to];
        return;
    }
    // Where the line across goes on past such a corner c, c stands beside
    // the very edge v aims under, and v under its middle can be closer to c
    // than the wall is wide: the faces between c and v, on the wall and on
    // the floor below it, are slivers. v takes the middle of the room it
    // has instead, between c and the edge's end away from c. Only where
    // the edge's two ends are all v has across, on one line: a strand's
    // crease, with walls across both its faces, stays staggered.
    std::uint32_t acrossLine = None;
    bool oneLine = true;
    for (int i = 0; i < found; ++i)
        if (m_Flags[across[i]] & Sliding) {
            oneLine = oneLine && (acrossLine == None || m_Line[across[i]] == acrossLine);
            acrossLine = m_Line[across[i]];
        }
    if (open != None && from != None && oneLine && found == 2) {
        const Vec &q = m_Position[open], &e0 = m_Position[from], &e1 = m_Position[to];
        const Vec span = e1 - e0;
        const double t = ((q - e0) % span) / Squared(span);
        if (t > 0 && t < 1)
            aim = (q + (t < 0.5 ? e1 : e0)) * 0.5;
    }
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
// Each face's cosine is kept from the first sweep for the second, which
// then measures the few faces near the largest alone.
double CEngine::SmallestAngleOfFaces() const {
    const std::int64_t faceCount = static_cast<std::int64_t>(m_Corner.size() / 3);
    m_FaceCos.resize(m_Corner.size() / 3);
    double largest = -std::numeric_limits<double>::infinity();
#pragma omp parallel for schedule(static) reduction(max : largest) if (faceCount >= ParallelFaces)
    for (std::int64_t f = 0; f < faceCount; ++f)
        if (m_Corner[3 * f] != None) {
            const double c = SmallestAngleCos(m_Position[m_Corner[3 * f]], m_Position[m_Corner[3 * f + 1]],
                                              m_Position[m_Corner[3 * f + 2]]);
            m_FaceCos[f] = c;
            if (std::isfinite(c))
                largest = std::max(largest, c);
        }
    double smallest = Pi;
#pragma omp parallel for schedule(static) reduction(min : smallest) if (faceCount >= ParallelFaces)
    for (std::int64_t f = 0; f < faceCount; ++f)
        if (m_Corner[3 * f] != None && !(m_FaceCos[f] < largest - AngleCosMargin))
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

// A closed line that the collapses took down to three edges (the base of a
// sharp cone at a target coarser than the base) keeps them (see
// TryCollapse), but the relaxation cannot spread them: the middle of a
// vertex's two neighbours lies across the loop from it, over the short way
// round, so the vertices stay where the collapses left them, often two of
// them side by side. The faces from them to a tip then meet at angles as
// uneven as their spacing, and three faces round a slender tip fold unless
// they are spread evenly (see EvenTipRings). So each such loop is spread
// evenly by length along the input's line, from its corner where it has
// one, else turned as little as may be; made where no face vanishes or
// turns against the input's face nearest to it and the faces round its
// vertices fold less, or fold no more and keep their smallest angle (the
// loop, spread evenly, lies nearer the input's line: a rim between three
// vertices a third of the way round lies half its radius inside, between
// two of them side by side almost all of it). On a slender cone the ring
// between the tip and the base was bunched by the same collapses, on the
// same side, and the faces between the two turn or fold once the loop
// alone is spread: there the loop's free neighbours follow it, else the
// tip's ring is spread evenly too, on the same terms. Serial, in line
// order.
bool CEngine::EvenShortLoops() {
    // Each line's edges, by line.
    std::vector<std::pair<std::uint32_t, std::uint32_t>> edges;
    const std::uint32_t halfEdges = static_cast<std::uint32_t>(m_Corner.size());
    for (std::uint32_t h = 0; h < halfEdges; ++h)
        if (m_Corner[h] != None && IsLine(m_Kind[h]) && m_Twin[h] != None && m_Twin[h] > h)
            edges.emplace_back(m_Kind[h], h);
    std::sort(edges.begin(), edges.end());
    std::vector<std::uint32_t> loops;
    std::vector<std::array<std::uint32_t, 3>> loopVertices;
    for (std::size_t i = 0; i < edges.size();) {
        std::size_t j = i;
        while (j < edges.size() && edges[j].first == edges[i].first)
            ++j;
        if (j - i == 3) {
            std::uint32_t ends[6];
            for (std::size_t k = 0; k < 3; ++k) {
                ends[2 * k] = m_Corner[edges[i + k].second];
                ends[2 * k + 1] = Target(edges[i + k].second);
            }
            std::sort(ends, ends + 6);
            const std::uint32_t line = edges[i].first;
            bool loop = ends[0] == ends[1] && ends[2] == ends[3] && ends[4] == ends[5] && ends[1] != ends[2] &&
                        ends[3] != ends[4];
            int corners = 0;
            for (int k = 0; loop && k < 6; k += 2) {
                const std::uint8_t flags = m_Flags[ends[k]];
                const bool sliding = (flags & Sliding) != 0;
                if ((flags & (Deleted | NonManifold)) || (sliding && m_Line[ends[k]] != line))
                    loop = false;
                else if (!sliding)
                    ++corners;
            }
            if (loop && corners <= 1) {
                loops.push_back(line);
                loopVertices.push_back({ends[0], ends[2], ends[4]});
            }
        }
        i = j;
    }
    if (loops.empty())
        return false;
    // The input's segments of those lines.
    std::vector<std::vector<std::uint32_t>> segments(loops.size());
    for (std::uint32_t i = 0; i < m_Segments.size(); ++i) {
        const auto at = std::lower_bound(loops.begin(), loops.end(), m_Segments[i].m_Line);
        if (at != loops.end() && *at == m_Segments[i].m_Line)
            segments[at - loops.begin()].push_back(i);
    }
    bool changed = false;
    CLineChain inputLine;
    std::vector<Vec>& chain = inputLine.m_Chain;
    const std::vector<double>& arc = inputLine.m_Arc;
    std::vector<std::uint32_t> chainSegment, faces, ringFaces, followFaces, follow, ring, neighbours, ringBestHints;
    std::vector<double> height, radius;
    std::vector<Vec> ringBest;
    std::vector<std::pair<Vec, std::uint32_t>> ringOld;
    for (std::size_t l = 0; l < loops.size(); ++l) {
        // The input's line in order, as one closed chain of points.
        // The chain is put together by a search per segment: a line of more
        // input edges than this (a rim far finer than the target) is left
        // as it is.
        constexpr std::size_t MostPieces = 1024;
        std::vector<std::uint32_t>& pieces = segments[l];
        if (pieces.size() < 3 || pieces.size() > MostPieces)
            continue;
        chain.clear();
        chainSegment.clear();
        chain.push_back(m_Segments[pieces[0]].m_A);
        Vec end = m_Segments[pieces[0]].m_B;
        chainSegment.push_back(pieces[0]);
        std::vector<char> used(pieces.size(), 0);
        used[0] = 1;
        // Bounded: each step takes one unused segment, or stops, after a
        // search of at most MostPieces.
        for (std::size_t step = 1; step < pieces.size(); ++step) {
            std::size_t next = pieces.size();
            for (std::size_t k = 0; k < pieces.size() && next == pieces.size(); ++k)
                if (!used[k] && (m_Segments[pieces[k]].m_A == end || m_Segments[pieces[k]].m_B == end))
                    next = k;
            if (next == pieces.size())
                break;
            used[next] = 1;
            const CSegment& s = m_Segments[pieces[next]];
            chain.push_back(end);
            chainSegment.push_back(pieces[next]);
            end = s.m_A == end ? s.m_B : s.m_A;
        }
        if (chain.size() != pieces.size() || !(end == chain[0]))
            continue;
        chain.push_back(end);
        inputLine.Measure();
        const double total = arc.back();
        if (!(total > 0))
            continue;
        const auto pointAt = [&](double s, std::uint32_t& segment) {
            s = std::fmod(s, total);
            if (s < 0)
                s += total;
            std::size_t k = std::upper_bound(arc.begin(), arc.end(), s) - arc.begin();
            k = std::min(std::max<std::size_t>(k, 1), chain.size() - 1) - 1;
            const double piece = arc[k + 1] - arc[k];
            segment = chainSegment[k];
            return piece > 0 ? chain[k] + (chain[k + 1] - chain[k]) * ((s - arc[k]) / piece) : chain[k];
        };
        std::array<std::uint32_t, 3> vertices = loopVertices[l];
        std::array<double, 3> place;
        for (int k = 0; k < 3; ++k)
            place[k] = inputLine.Along(m_Position[vertices[k]]);
        // In order along the chain.
        std::array<int, 3> order = {0, 1, 2};
        std::sort(order.begin(), order.end(), [&](int x, int y) { return place[x] < place[y]; });
        const double third = total / 3;
        int anchor = -1;
        for (int k = 0; k < 3; ++k)
            if (!(m_Flags[vertices[order[k]]] & Sliding))
                anchor = k;
        double offset;
        if (anchor >= 0) {
            offset = place[order[anchor]] - anchor * third;
        } else {
            // The turn that moves them least: the mean of their offsets from
            // an even spread, as directions round the loop.
            double c = 0, s = 0;
            for (int k = 0; k < 3; ++k) {
                const double turn = 2 * Pi * (place[order[k]] - k * third) / total;
                c += std::cos(turn);
                s += std::sin(turn);
            }
            offset = std::atan2(s, c) * total / (2 * Pi);
        }
        // The ring of a bare tip above the loop, in the order round the
        // tip, where the loop's other neighbours are the tip and that ring,
        // and the ring is free but for at most one vertex of the loop.
        ring.clear();
        std::uint32_t tip = None;
        neighbours.clear();
        const auto onLoop = [&](std::uint32_t w) { return w == vertices[0] || w == vertices[1] || w == vertices[2]; };
        for (const std::uint32_t v : vertices)
            ForEachOutgoing(v, [&](std::uint32_t e) {
                if (!onLoop(Target(e)))
                    neighbours.push_back(Target(e));
            });
        std::sort(neighbours.begin(), neighbours.end());
        neighbours.erase(std::unique(neighbours.begin(), neighbours.end()), neighbours.end());
        const auto tryTip = [&](std::uint32_t t) {
            if (tip != None || onLoop(t) || !IsBareTip(t))
                return;
            ring.clear();
            int loopOnRing = 0;
            bool free = true;
            ForEachOutgoing(t, [&](std::uint32_t h) {
                const std::uint32_t w = Target(h);
                ring.push_back(w);
                loopOnRing += onLoop(w);
                free = free && (onLoop(w) || IsFree(w));
            });
            bool covered = free && loopOnRing <= 1 && ring.size() >= 3;
            for (const std::uint32_t w : neighbours)
                covered = covered && (w == t || std::find(ring.begin(), ring.end(), w) != ring.end());
            if (covered)
                tip = t;
        };
        for (const std::uint32_t w : neighbours) {
            tryTip(w);
            ForEachOutgoing(w, [&](std::uint32_t e) { tryTip(Target(e)); });
        }
        if (tip == None)
            ring.clear();
        faces.clear();
        for (const std::uint32_t v : vertices)
            ForEachOutgoing(v, [&](std::uint32_t e) { faces.push_back(e / 3); });
        std::sort(faces.begin(), faces.end());
        faces.erase(std::unique(faces.begin(), faces.end()), faces.end());
        ringFaces = faces;
        for (const std::uint32_t v : ring)
            ForEachOutgoing(v, [&](std::uint32_t e) { ringFaces.push_back(e / 3); });
        std::sort(ringFaces.begin(), ringFaces.end());
        ringFaces.erase(std::unique(ringFaces.begin(), ringFaces.end()), ringFaces.end());
        // The smallest angle and the folded edges of the faces round the
        // loop (and the ring); whether none of them vanishes or turns. The
        // vertices may move far round the loop, and a face between two of
        // them beside each other turns with them: each face is measured
        // against the input's face nearest to its middle instead.
        const auto measure = [&](const std::vector<std::uint32_t>& around, double& smallest, int& folds, bool turns) {
            smallest = Pi;
            folds = 0;
            bool turned = false;
            for (const std::uint32_t f : around) {
                const std::uint32_t* corner = &m_Corner[3 * f];
                smallest = std::min(smallest,
                                    SmallestAngle(m_Position[corner[0]], m_Position[corner[1]], m_Position[corner[2]]));
                const Vec normal = FaceNormal(f);
                for (std::uint32_t h = 3 * f; h < 3 * f + 3; ++h)
                    folds += m_Twin[h] != None && Folded(normal, FaceNormal(m_Twin[h] / 3));
                if (!turns || turned)
                    continue;
                for (int k = 0; k < 3; ++k)
                    turned = turned || !IsFinite(m_Position[corner[k]]);
                Vec nearest;
                const std::uint32_t input = NearestOnInput(
                    (m_Position[corner[0]] + m_Position[corner[1]] + m_Position[corner[2]]) / 3.0, None, nearest);
                if (input == None || !(Squared(normal) > m_MinCross2)) {
                    turned = true;
                    continue;
                }
                const CTriangle& t = m_Triangles[input];
                turned = !(normal % ((t.m_B - t.m_A) * (t.m_C - t.m_A)) > 0);
            }
            return !turned;
        };
        double before, after;
        int foldsBefore, foldsAfter;
        measure(faces, before, foldsBefore, false);
        std::array<Vec, 3> old;
        std::array<std::uint32_t, 3> oldHints, hints;
        for (int k = 0; k < 3; ++k) {
            const std::uint32_t v = vertices[order[k]];
            old[k] = m_Position[v];
            oldHints[k] = m_SegmentHint[v];
            if (k != anchor)
                m_Position[v] = pointAt(offset + k * third, hints[k]);
        }
        bool keep = measure(faces, after, foldsAfter, true) &&
                    (foldsAfter < foldsBefore || (foldsAfter == foldsBefore && after >= before));
        // The faces around as they were before the loop moved: the loop's old
        // places are swapped in for the measure and back out after it.
        const auto measureUnmoved = [&](const std::vector<std::uint32_t>& around, double& smallest, int& folds) {
            for (int k = 0; k < 3; ++k)
                std::swap(m_Position[vertices[order[k]]], old[k]);
            measure(around, smallest, folds, false);
            for (int k = 0; k < 3; ++k)
                std::swap(m_Position[vertices[order[k]]], old[k]);
        };
        if (!keep) {
            // The loop alone refused: the free vertices beside it may follow
            // it, each by the mean move of its loop neighbours (all taken
            // from the loop's moves before any of them moves), projected.
            follow.clear();
            for (const std::uint32_t v : neighbours)
                if (IsFree(v))
                    follow.push_back(v);
            followFaces = faces;
            for (const std::uint32_t v : follow)
                ForEachOutgoing(v, [&](std::uint32_t e) { followFaces.push_back(e / 3); });
            std::sort(followFaces.begin(), followFaces.end());
            followFaces.erase(std::unique(followFaces.begin(), followFaces.end()), followFaces.end());
            double followBefore;
            int followFoldsBefore;
            measureUnmoved(followFaces, followBefore, followFoldsBefore);
            ringBest.clear();
            for (const std::uint32_t v : follow) {
                Vec shift{0, 0, 0};
                int count = 0;
                ForEachOutgoing(v, [&](std::uint32_t e) {
                    for (int k = 0; k < 3; ++k)
                        if (vertices[order[k]] == Target(e)) {
                            shift = shift + (m_Position[Target(e)] - old[k]);
                            ++count;
                        }
                });
                ringBest.push_back(m_Position[v] + shift / static_cast<double>(std::max(count, 1)));
            }
            ringOld.clear();
            for (std::size_t i = 0; i < follow.size(); ++i) {
                ringOld.emplace_back(m_Position[follow[i]], m_FaceHint[follow[i]]);
                m_Position[follow[i]] = Projected(follow[i], ringBest[i]);
            }
            double smallest;
            int folds;
            keep = !follow.empty() && measure(followFaces, smallest, folds, true) &&
                   (folds < followFoldsBefore || (folds == followFoldsBefore && smallest >= followBefore));
            if (!keep)
                for (std::size_t i = 0; i < follow.size(); ++i) {
                    m_Position[follow[i]] = ringOld[i].first;
                    m_FaceHint[follow[i]] = ringOld[i].second;
                }
        }
        if (!keep && tip != None) {
            // The loop alone refused: the ring above it, bunched on the
            // same side as the loop was, now turns or folds against it. The
            // ring is spread evenly round the line from the loop's middle to
            // the tip as well, each vertex at its own height and distance
            // from that line, at a few rotations in either sense (the one
            // the faces keep is not known from a bunched ring), projected
            // onto the input; the best of them by folds, then smallest
            // angle, is kept on the same terms as the loop alone.
            double ringBefore;
            int ringFoldsBefore;
            measureUnmoved(ringFaces, ringBefore, ringFoldsBefore);
            const Vec middle = (m_Position[vertices[0]] + m_Position[vertices[1]] + m_Position[vertices[2]]) / 3.0;
            Vec axis = m_Position[tip] - middle;
            const double axisLength = std::sqrt(Squared(axis));
            // Any direction across the axis, and the one across both.
            Vec across = std::abs(axis.x) * 2 < axisLength ? Vec{1, 0, 0} : Vec{0, 1, 0};
            if (axisLength > 0) {
                axis = axis / axisLength;
                across = across - axis * (across % axis);
                across = across / std::sqrt(Squared(across));
            }
            const Vec third3 = axis * across;
            const std::size_t n = ring.size();
            ringOld.clear();
            height.clear();
            radius.clear();
            for (const std::uint32_t v : ring) {
                ringOld.emplace_back(m_Position[v], m_FaceHint[v]);
                const Vec r = m_Position[v] - middle;
                const double up = r % axis;
                height.push_back(up);
                radius.push_back(std::sqrt(Squared(r - axis * up)));
            }
            constexpr int Rotations = 12;
            int bestFolds = std::numeric_limits<int>::max(), bestTrial = -1;
            double best = -1;
            // A vertex of the loop on the ring sets the rotation.
            std::size_t pinned = n;
            for (std::size_t i = 0; i < n; ++i)
                if (onLoop(ring[i]))
                    pinned = i;
            double pinnedAt = 0;
            if (pinned < n) {
                const Vec r = m_Position[ring[pinned]] - middle;
                pinnedAt = std::atan2(r % third3, r % across);
            }
            const int rotations = pinned < n ? 1 : Rotations;
            for (int trial = 0; axisLength > 0 && trial < 2 * rotations; ++trial) {
                const double sense = trial < rotations ? 1.0 : -1.0;
                const double turn =
                    pinned < n ? pinnedAt - sense * 2 * Pi * static_cast<double>(pinned) / static_cast<double>(n)
                               : 2 * Pi / static_cast<double>(n) * (trial % rotations) / rotations;
                for (std::size_t i = 0; i < n; ++i) {
                    if (i == pinned)
                        continue;
                    const double at = turn + sense * 2 * Pi * static_cast<double>(i) / static_cast<double>(n);
                    const Vec p =
                        middle + axis * height[i] + (across * std::cos(at) + third3 * std::sin(at)) * radius[i];
                    m_Position[ring[i]] = Projected(ring[i], p);
                }
                double smallest;
                int folds;
                if (measure(ringFaces, smallest, folds, true) &&
                    (folds < bestFolds || (folds == bestFolds && smallest > best))) {
                    bestFolds = folds;
                    best = smallest;
                    bestTrial = trial;
                    ringBest.assign(n, Vec{0, 0, 0});
                    for (std::size_t i = 0; i < n; ++i)
                        ringBest[i] = m_Position[ring[i]];
                    ringBestHints.clear();
                    for (const std::uint32_t v : ring)
                        ringBestHints.push_back(m_FaceHint[v]);
                }
            }
            keep =
                bestTrial >= 0 && (bestFolds < ringFoldsBefore || (bestFolds == ringFoldsBefore && best >= ringBefore));
            for (std::size_t i = 0; i < n; ++i) {
                m_Position[ring[i]] = keep ? ringBest[i] : ringOld[i].first;
                m_FaceHint[ring[i]] = keep ? ringBestHints[i] : ringOld[i].second;
            }
        }
        if (keep) {
            for (int k = 0; k < 3; ++k)
                if (k != anchor)
                    m_SegmentHint[vertices[order[k]]] = hints[k];
            changed = true;
            continue;
        }
        for (int k = 0; k < 3; ++k) {
            m_Position[vertices[order[k]]] = old[k];
            m_SegmentHint[vertices[order[k]]] = oldHints[k];
        }
    }
    return changed;
}

namespace {

// A vertex of a ring round a tube, and its turn round the tube's axis (0 to
// a full turn).
struct CRingPoint {
    std::uint32_t m_Vertex;
    double m_Turn;
};

// The faces joining ring `low` to ring `high`, each in order of turn, merged
// by turn into one strip: (low, low, high) or (low, high, high), counter-
// clockwise round the axis from `low` towards `high`.
void JoinRings(const std::vector<CRingPoint>& low, const std::vector<CRingPoint>& high,
               std::vector<std::array<std::uint32_t, 3>>& faces) {
    const std::size_t nl = low.size(), nh = high.size();
    if (nl == 0 || nh == 0)
        return;
    std::size_t i = 0, j = 0;
    while (i < nl || j < nh) {
        const double nextLow = low[(i + 1) % nl].m_Turn + (i + 1 >= nl ? 2 * Pi : 0);
        const double nextHigh = high[(j + 1) % nh].m_Turn + (j + 1 >= nh ? 2 * Pi : 0);
        if (j >= nh || (i < nl && nextLow <= nextHigh)) {
            faces.push_back({low[i % nl].m_Vertex, low[(i + 1) % nl].m_Vertex, high[j % nh].m_Vertex});
            ++i;
        } else {
            faces.push_back({low[i % nl].m_Vertex, high[(j + 1) % nh].m_Vertex, high[j % nh].m_Vertex});
            ++j;
        }
    }
}

}  // namespace

// A rod thinner than the target whose two ends came down to loops of three
// line edges (a rod's rims, see RodRimShare; a bar's rims of corners, see
// TryCollapse) keeps between them whatever free vertices the collapses left,
// at unrelated heights and bunched on one side of the tube by the
// projection, the faces joining them laid across it: 1.4 to 3.5 degrees on
// rods of 6 to 16 sides at their mean edge, whose rims alone allow 7. Such
// a tube (the faces between the two loops, reached across no constraint,
// an annulus whose inner vertices are all free and lie within two radii of
// the axis) is laid anew as rings of three, a collapse length or more
// apart, each turned a sixth of a turn from the last as far as the far
// loop's own turn allows, so that each face spans a ring's side to the
// middle of the next one's: faces of 2 atan(r sqrt 3 / 2 / spacing). The
// new vertices lie on the input, found from outside the tube at their turn.
// Laid only where its faces' smallest angle beats the old tube's by half a
// degree: the moves before this raise some tubes of many vertices above
// what three rings give (a 14-sided rod ends at 12.6 degrees in 82 faces,
// laid as rings at 6.1). Serial, in vertex order.
bool CEngine::LayRodTubes() {
    // Loops of three line edges, each vertex on exactly those two.
    const std::uint32_t vertexCount = static_cast<std::uint32_t>(m_Position.size());
    std::vector<std::array<std::uint32_t, 3>> loops;
    std::vector<std::uint32_t> loopOf(vertexCount, None);
    for (std::uint32_t v = 0; v < vertexCount; ++v) {
        if ((m_Flags[v] & (Deleted | NonManifold)) || m_Out[v] == None || IsOpen(v))
            continue;
        std::uint32_t n[2], nx[2], ny[2];
        if (!TwoLineNeighbours(v, n) || !(v < n[0] && v < n[1]) || IsOpen(n[0]) || IsOpen(n[1]) ||
            ((m_Flags[n[0]] | m_Flags[n[1]]) & NonManifold) || !TwoLineNeighbours(n[0], nx) ||
            !TwoLineNeighbours(n[1], ny) || !(nx[0] == n[1] || nx[1] == n[1]))
            continue;
        if (loopOf[v] != None || loopOf[n[0]] != None || loopOf[n[1]] != None)
            continue;
        for (const std::uint32_t w : {v, n[0], n[1]})
            loopOf[w] = static_cast<std::uint32_t>(loops.size());
        loops.push_back({v, n[0], n[1]});
    }
    if (loops.size() < 2)
        return false;
    const auto halfEdgeBetween = [&](std::uint32_t a, std::uint32_t b) {
        std::uint32_t found = None;
        ForEachOutgoing(a, [&](std::uint32_t e) {
            if (Target(e) == b)
                found = e;
        });
        return found;
    };
    // A tube of more faces than this is no thin rod's at the target.
    constexpr std::size_t MostFaces = 256;
    bool changed = false;
    std::vector<std::uint32_t> region, inner;
    std::vector<char> inRegion(m_Corner.size() / 3, 0);
    std::vector<std::array<std::uint32_t, 3>> faces;
    std::vector<std::array<std::uint32_t, 4>> rim;
    std::vector<Vec> places;
    std::vector<std::uint32_t> hints, made;
    // Bounded: two sides a loop, each a walk over at most MostFaces faces
    // and a tube of at most as many laid.
    for (std::uint32_t l = 0; l < loops.size(); ++l)
        for (int side = 0; side < 2; ++side) {
            const std::array<std::uint32_t, 3> loop = loops[l];
            const std::uint32_t h = halfEdgeBetween(loop[side], loop[1 - side]);
            if (h == None)
                continue;
            // The faces reached from h's across no constraint; where they
            // meet lines, only this loop's and one other's.
            inRegion.resize(m_Corner.size() / 3, 0);
            region.assign(1, h / 3);
            inRegion[h / 3] = 1;
            bool fits = true;
            std::uint32_t other = None;
            for (std::size_t i = 0; i < region.size() && fits; ++i)
                for (std::uint32_t e = 3 * region[i]; e < 3 * region[i] + 3 && fits; ++e) {
                    if (m_Kind[e] != None) {
                        const std::uint32_t x = loopOf[m_Corner[e]];
                        if (!IsLine(m_Kind[e]) || x == None || x != loopOf[Target(e)])
                            fits = false;
                        else if (x != l && other == None)
                            other = x;
                        else if (x != l)
                            fits = other == x;
                        continue;
                    }
                    const std::uint32_t t = m_Twin[e];
                    if (t == None || region.size() >= MostFaces)
                        fits = false;
                    else if (!inRegion[t / 3]) {
                        inRegion[t / 3] = 1;
                        region.push_back(t / 3);
                    }
                }
            for (const std::uint32_t f : region)
                inRegion[f] = 0;
            // Each tube once, from its lower loop.
            if (!fits || other == None || other < l)
                continue;
            // An annulus (V - E + F = 0) whose inner vertices are free.
            inner.clear();
            std::size_t edgeCount = 0;
            for (const std::uint32_t f : region)
                for (std::uint32_t e = 3 * f; e < 3 * f + 3; ++e) {
                    const std::uint32_t v = m_Corner[e];
                    if (m_Kind[e] != None || m_Twin[e] > e)
                        ++edgeCount;
                    if (loopOf[v] == l || loopOf[v] == other)
                        continue;
                    fits = fits && IsFree(v);
                    if (std::find(inner.begin(), inner.end(), v) == inner.end())
                        inner.push_back(v);
                }
            if (!fits || inner.size() + 6 + region.size() != edgeCount)
                continue;
            const std::array<std::uint32_t, 3> far = loops[other];
            const Vec lowMiddle = (m_Position[loop[0]] + m_Position[loop[1]] + m_Position[loop[2]]) * (1.0 / 3);
            const Vec highMiddle = (m_Position[far[0]] + m_Position[far[1]] + m_Position[far[2]]) * (1.0 / 3);
            Vec axis = highMiddle - lowMiddle;
            const double length = std::sqrt(Squared(axis));
            double radius = 0;
            for (int k = 0; k < 3; ++k)
                radius = std::max({radius, std::sqrt(Squared(m_Position[loop[k]] - lowMiddle)),
                                   std::sqrt(Squared(m_Position[far[k]] - highMiddle))});
            if (!(radius > 0) || !(length > 2 * radius))
                continue;
            axis = axis / length;
            // A straight tube: every inner vertex between the loops, within
            // two radii of the axis.
            for (const std::uint32_t v : inner) {
                const Vec d = m_Position[v] - lowMiddle;
                const double along = d % axis;
                fits = fits && along >= 0 && along <= length && Squared(d - axis * along) <= 4 * radius * radius;
            }
            Vec across = m_Position[loop[0]] - lowMiddle;
            across = across - axis * (across % axis);
            if (!fits || !(Squared(across) > 0))
                continue;
            across.Normalise();
            const Vec up = axis * across;
            const auto turnOf = [&](const Vec& p, const Vec& middle) {
                const Vec d = p - middle;
                const double turn = std::atan2(d % up, d % across);
                return turn < 0 ? turn + 2 * Pi : turn;
            };
            const auto byTurn = [](const CRingPoint& a, const CRingPoint& b) { return a.m_Turn < b.m_Turn; };
            std::vector<std::vector<CRingPoint>> rings(1);
            std::vector<CRingPoint> high;
            for (int k = 0; k < 3; ++k) {
                rings[0].push_back({loop[k], turnOf(m_Position[loop[k]], lowMiddle)});
                high.push_back({far[k], turnOf(m_Position[far[k]], highMiddle)});
            }
            std::sort(rings[0].begin(), rings[0].end(), byTurn);
            std::sort(high.begin(), high.end(), byTurn);
            constexpr int MostGaps = static_cast<int>(MostFaces / 6);
            const int gaps = static_cast<int>(
                std::min<double>(MostGaps, std::max(1.0, std::floor(length / std::sqrt(m_CollapseLength2)))));
            // The turn from the near loop to the far one that is nearest a
            // sixth of a turn a gap.
            const double third = 2 * Pi / 3;
            const double lowPhase = std::fmod(rings[0][0].m_Turn, third);
            const double shift = std::fmod(std::fmod(high[0].m_Turn, third) - lowPhase + third, third);
            double total = shift;
            for (int m = -gaps; m <= gaps; ++m)
                if (std::fabs(shift + m * third - gaps * Pi / 3) < std::fabs(total - gaps * Pi / 3))
                    total = shift + m * third;
            // The new vertices are named as they will be made.
            const std::uint32_t firstNew = static_cast<std::uint32_t>(m_Position.size());
            places.clear();
            hints.clear();
            for (int g = 1; g < gaps && fits; ++g) {
                const double t = static_cast<double>(g) / gaps;
                const Vec middle = lowMiddle + axis * (t * length);
                std::vector<CRingPoint> ring;
                for (int k = 0; k < 3 && fits; ++k) {
                    const double turn = lowPhase + t * total + k * third;
                    const Vec outside = middle + (across * std::cos(turn) + up * std::sin(turn)) * (2 * radius);
                    Vec nearest;
                    const std::uint32_t slot = NearestOnInput(outside, m_FaceHint[loop[0]], nearest);
                    // The input there is the tube's side, level with the
                    // ring.
                    fits = slot != None && Squared(nearest - middle) < 4 * radius * radius &&
                           std::fabs((nearest - middle) % axis) <= 0.25 * length / gaps;
                    ring.push_back({firstNew + static_cast<std::uint32_t>(places.size()), turnOf(nearest, middle)});
                    places.push_back(nearest);
                    hints.push_back(slot);
                }
                std::sort(ring.begin(), ring.end(), byTurn);
                rings.push_back(ring);
            }
            if (!fits)
                continue;
            rings.push_back(high);
            faces.clear();
            for (std::size_t r = 0; r + 1 < rings.size(); ++r)
                JoinRings(rings[r], rings[r + 1], faces);
            const auto at = [&](std::uint32_t v) -> const Vec& {
                return v >= firstNew ? places[v - firstNew] : m_Position[v];
            };
            double before = Pi, after = Pi;
            for (const std::uint32_t f : region)
                before = std::min(before, SmallestAngle(m_Position[m_Corner[3 * f]], m_Position[m_Corner[3 * f + 1]],
                                                        m_Position[m_Corner[3 * f + 2]]));
            for (const auto& face : faces)
                after = std::min(after, SmallestAngle(at(face[0]), at(face[1]), at(face[2])));
            if (!(after > before + 0.5 * Pi / 180))
                continue;
            // The caps' half-edges along the loops, by their ends; the new
            // faces run along each loop as the old ones did.
            rim.clear();
            for (const std::uint32_t f : region)
                for (std::uint32_t e = 3 * f; e < 3 * f + 3; ++e)
                    if (m_Kind[e] != None)
                        rim.push_back({m_Corner[e], Target(e), m_Twin[e], m_Kind[e]});
            bool reversed = false;
            for (const auto& face : faces)
                for (int k = 0; k < 3; ++k)
                    for (const auto& r : rim)
                        reversed = reversed || (face[k] == r[1] && face[(k + 1) % 3] == r[0]);
            for (const std::uint32_t f : region)
                DeleteFace(f);
            for (const std::uint32_t v : inner) {
                m_Flags[v] |= Deleted;
                m_Out[v] = None;
            }
            for (std::size_t i = 0; i < places.size(); ++i)
                m_FaceHint[NewVertex(places[i])] = hints[i];
            made.clear();
            for (const auto& face : faces)
                made.push_back(reversed ? NewFace(face[0], face[2], face[1]) : NewFace(face[0], face[1], face[2]));
            for (const std::uint32_t base : made)
                for (std::uint32_t e = base; e < base + 3; ++e) {
                    m_Out[m_Corner[e]] = e;
                    if (m_Twin[e] != None)
                        continue;
                    const std::uint32_t a = m_Corner[e], b = Target(e);
                    for (const auto& r : rim)
                        if (r[0] == a && r[1] == b) {
                            Link(e, r[2]);
                            m_Kind[e] = r[3];
                        }
                    for (const std::uint32_t g : made)
                        for (std::uint32_t u = g; u < g + 3 && m_Twin[e] == None; ++u)
                            if (m_Corner[u] == b && Target(u) == a)
                                Link(e, u);
                }
            for (const std::uint32_t base : made)
                for (std::uint32_t e = base; e < base + 3; ++e)
                    m_Valence[m_Corner[e]] = Valence(m_Corner[e]);
            changed = true;
        }
    if (changed)
        Compact();
    return changed;
}

}  // namespace Corvane::Pellix::Quorvel::detail::preserving
