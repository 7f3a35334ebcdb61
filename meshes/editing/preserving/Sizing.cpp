// The local target: finer than the caller's between corners and between
// lines much closer together than it, graded back to it with distance (see
// SizeGrading).
#include <cstring>

#include "quorvel/meshes/editing/preserving/Engine.h"

namespace Corvane::Pellix::Quorvel::detail::preserving {

namespace {

// The cell of point p in a grid of the given cell size from origin o; the
// three coordinates packed into one key (21 bits each, wrapping far beyond
// any grid the sources span, where a wrapped key only costs a few more
// sources looked at).
inline std::uint64_t CellKey(std::int64_t x, std::int64_t y, std::int64_t z) {
    const std::uint64_t mask = (std::uint64_t(1) << 21) - 1;
    return (std::uint64_t(x) & mask) | ((std::uint64_t(y) & mask) << 21) | ((std::uint64_t(z) & mask) << 42);
}

// The bits of the largest float not above max(value, 0).
std::uint32_t FloatBelow(double value) {
    float below = static_cast<float>(std::max(value, 0.0));
    if (static_cast<double>(below) > value)
        below = std::nextafter(below, 0.0f);
    std::uint32_t bits = 0;
    std::memcpy(&bits, &below, sizeof bits);
    return bits;
}

// The largest eigenvalue of the symmetric matrix xx, yy, zz, xy, xz, yz.
double LargestEigenvalue(const double (&m)[6]) {
    const double q = (m[0] + m[1] + m[2]) / 3;
    const double off = m[3] * m[3] + m[4] * m[4] + m[5] * m[5];
    const double p2 = (m[0] - q) * (m[0] - q) + (m[1] - q) * (m[1] - q) + (m[2] - q) * (m[2] - q) + 2 * off;
    if (!(p2 > 0))
        return q;
    const double p = std::sqrt(p2 / 6);
    const double a = (m[0] - q) / p, b = (m[1] - q) / p, c = (m[2] - q) / p, d = m[3] / p, e = m[4] / p, f = m[5] / p;
    const double half = 0.5 * (a * (b * c - f * f) - d * (d * c - f * e) + e * (d * f - b * e));
    const double phi = std::acos(std::max(-1.0, std::min(1.0, half))) / 3;
    return q + 2 * p * std::cos(phi);
}

}  // namespace

// Whether the faces of edge h turn by at least SolidEdgeAngle: the edge of
// a solid. Noise and jitter (a lat-long sphere's poles at a fine target)
// crease by less along most of their short lines, and refined there the
// remesh grew many times longer.
bool CEngine::SolidEdge(std::uint32_t h) const {
    const std::uint32_t t = m_Twin[h];
    if (t == None)
        return false;
    const Vec m = (m_Position[Target(h)] - m_Position[m_Corner[h]]) *
                  (m_Position[m_Corner[Prev(h)]] - m_Position[m_Corner[h]]),
              n = (m_Position[Target(t)] - m_Position[m_Corner[t]]) *
                  (m_Position[m_Corner[Prev(t)]] - m_Position[m_Corner[t]]);
    return m % n <= std::cos(SolidEdgeAngle * Pi / 180.0) * std::sqrt(Squared(m) * Squared(n));
}

void CEngine::BuildSizing() {
    m_SizeSources.clear();
    m_SizeCells.clear();
    m_SizeCellStart.clear();
    m_SizeCellSources.clear();
    m_SizeCellFloor.clear();
    m_HasBentRims = false;
    m_Size.clear();
    m_SizePlace.clear();
    const double floor = MinSizeFactor * m_TargetLength, ceiling = MaxSizeFactor * m_TargetLength;
    // Each short line edge between two corners: neither end may move or go,
    // so every face beside it is as narrow as the edge is short against the
    // faces' other sides.
    std::vector<double> gap(m_Position.size(), m_TargetLength);
    const std::uint32_t halfEdges = static_cast<std::uint32_t>(m_Corner.size());
    for (std::uint32_t h = 0; h < halfEdges; ++h) {
        if (m_Corner[h] == None || !IsLine(m_Kind[h]))
            continue;
        const std::uint32_t a = m_Corner[h], b = Target(h);
        if (!(m_Flags[a] & Corner) || !(m_Flags[b] & Corner) || !SolidEdge(h))
            continue;
        const double length = std::sqrt(EdgeLength2(h));
        if (!(length >= floor) || !(length < ceiling))
            continue;
        gap[a] = std::min(gap[a], length);
        gap[b] = std::min(gap[b], length);
    }
    // A rounded rim kept as a line (see RimReach) is as narrow as it turns.
    for (std::uint32_t h = 0; h < m_RimGap.size() && h < halfEdges; ++h)
        if (m_RimGap[h] > 0 && m_Corner[h] != None && IsLine(m_Kind[h]))
            for (const std::uint32_t v : {m_Corner[h], Target(h)})
                gap[v] = std::min(gap[v], std::max(m_RimGap[h], floor));
    for (std::uint32_t v = 0; v < gap.size(); ++v)
        if (gap[v] < m_TargetLength)
            m_SizeSources.push_back(CSizeSource{m_Position[v], gap[v]});
    AddFacingLineSources(floor, ceiling);
    AddThinPartSources(floor);
    if (m_SizeSources.empty())
        return;

    // A source lowers the target only within its reach, (target - gap) /
    // grading of it; each cell a target wide lists the sources whose reach
    // meets it. (Cells two targets wide listing their 27-cell blocks made
    // every place of a plate perforated by holes a few targets apart look at
    // several hundred sources.) The margin, far above the rounding of the
    // places' offsets from the origin, keeps a source wherever rounding might
    // put a place of the cell inside its reach; everywhere else it gives at
    // least the target. A cell lists its sources by the least target each
    // can set in it, its gap plus the grading of its distance from the cell,
    // less twice the margin (for the same rounding, and the target's own,
    // far smaller); a place stops at the first source whose least is not
    // below the target found, since none after it can lower that. Small
    // inputs of many corners (a gear's teeth, a bracket's) list most of
    // their sources in every cell.
    m_SizeCell = m_TargetLength;
    m_SizeOrigin = m_SizeSources.front().m_Point;
    double extent = 0;
    for (const CSizeSource& source : m_SizeSources)
        if (IsFinite(source.m_Point))
            extent = std::max(
                {extent, std::fabs(source.m_Point.x), std::fabs(source.m_Point.y), std::fabs(source.m_Point.z)});
    const double margin = 1e-9 * m_TargetLength + 1e-12 * extent;
    // Each entry is its cell's key, then the least as a float rounded down
    // (not negative, so its bits order as the values do) above the source.
    std::vector<std::pair<std::uint64_t, std::uint64_t>> entries;
    for (std::uint32_t s = 0; s < m_SizeSources.size(); ++s) {
        const CSizeSource& source = m_SizeSources[s];
        const double reach = (m_TargetLength - source.m_Gap) / source.m_Grading + margin;
        const Vec d = source.m_Point - m_SizeOrigin;
        if (!(reach > margin) || !IsFinite(d))
            continue;
        std::int64_t low[3], high[3];
        for (int i = 0; i < 3; ++i) {
            low[i] = static_cast<std::int64_t>(std::floor((d[i] - reach) / m_SizeCell));
            high[i] = static_cast<std::int64_t>(std::floor((d[i] + reach) / m_SizeCell));
        }
        // Squared distance from the source to the cell's span along axis i.
        const auto outside2 = [&](int i, std::int64_t c) {
            const double from = static_cast<double>(c) * m_SizeCell, to = from + m_SizeCell;
            const double out = d[i] < from ? from - d[i] : (d[i] > to ? d[i] - to : 0.0);
            return out * out;
        };
        for (std::int64_t x = low[0]; x <= high[0]; ++x)
            for (std::int64_t y = low[1]; y <= high[1]; ++y) {
                const double xy2 = outside2(0, x) + outside2(1, y);
                if (!(xy2 < reach * reach))
                    continue;
                for (std::int64_t z = low[2]; z <= high[2]; ++z) {
                    const double outside = xy2 + outside2(2, z);
                    if (outside < reach * reach)
                        entries.emplace_back(CellKey(x, y, z),
                                             (std::uint64_t(FloatBelow(
                                                  source.m_Gap + source.m_Grading * std::sqrt(outside) - 2 * margin))
                                              << 32) |
                                                 s);
                }
            }
    }
    std::sort(entries.begin(), entries.end());
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (i == 0 || entries[i].first != entries[i - 1].first) {
            m_SizeCells.push_back(entries[i].first);
            m_SizeCellStart.push_back(static_cast<std::uint32_t>(m_SizeCellSources.size()));
        }
        const std::uint32_t source = static_cast<std::uint32_t>(entries[i].second);
        if (m_SizeCellSources.size() == m_SizeCellStart.back() || m_SizeCellSources.back() != source) {
            m_SizeCellSources.push_back(source);
            const std::uint32_t bits = static_cast<std::uint32_t>(entries[i].second >> 32);
            float least = 0;
            std::memcpy(&least, &bits, sizeof least);
            m_SizeCellFloor.push_back(least);
        }
    }
    m_SizeCellStart.push_back(static_cast<std::uint32_t>(m_SizeCellSources.size()));
    m_Size.resize(m_Position.size());
    UpdateSizes();
}

// Whether a face of line edge g and one of line edge e turn their backs to
// each other, as the two sides of a wall do: merged, their lines would make a
// knife edge that folds.
bool CEngine::BackToBack(std::uint32_t g, std::uint32_t e) const {
    const auto normal = [&](std::uint32_t h) {
        const Vec &a = m_Position[m_Corner[h]], n = (m_Position[Target(h)] - a) * (m_Position[m_Corner[Prev(h)]] - a);
        const double length2 = Squared(n);
        return length2 > 0 ? n / std::sqrt(length2) : Vec(0, 0, 0);
    };
    // An edge folded itself (a sliver turned over in a noisy input, its two
    // creases a hair apart) bounds no wall.
    for (const std::uint32_t h : {g, e})
        if (m_Twin[h] != None && normal(h) % normal(m_Twin[h]) < MaxFoldCos)
            return false;
    for (const std::uint32_t h : {g, m_Twin[g]})
        for (const std::uint32_t k : {e, m_Twin[e]})
            if (h != None && k != None && normal(h) % normal(k) < MaxFoldCos)
                return true;
    return false;
}

bool CEngine::FlatAcross(std::uint32_t g, std::uint32_t e) const {
    const auto normal = [&](std::uint32_t h) {
        const Vec n = FaceNormal(h / 3);
        const double length2 = Squared(n);
        return length2 > 0 ? n / std::sqrt(length2) : Vec(0, 0, 0);
    };
    const Vec &ga = m_Position[m_Corner[g]], &gb = m_Position[Target(g)];
    const Vec &ea = m_Position[m_Corner[e]], &eb = m_Position[Target(e)];
    const Vec middle = (ga + gb) * 0.5;
    const double reach2 = std::min(Squared(ea - middle), Squared(eb - middle));
    for (const std::uint32_t h : {g, m_Twin[g]})
        for (const std::uint32_t k : {e, m_Twin[e]}) {
            if (h == None || k == None)
                continue;
            const Vec n = normal(h);
            const double offA = (ea - ga) % n, offB = (eb - ga) % n;
            if (n % normal(k) > FlatAcrossCos && FlatAcrossShare * FlatAcrossShare * reach2 > offA * offA &&
                FlatAcrossShare * FlatAcrossShare * reach2 > offB * offB)
                return true;
        }
    return false;
}

bool CEngine::JoinedAcross(std::uint32_t g, std::uint32_t e) const {
    const auto reaches = [&](std::uint32_t h, std::uint32_t k) {
        for (const std::uint32_t side : {h, m_Twin[h]})
            if (side != None) {
                const std::uint32_t apex = m_Corner[Prev(side)];
                if (apex == m_Corner[k] || apex == Target(k))
                    return true;
            }
        return false;
    };
    return reaches(g, e) || reaches(e, g);
}

// The cosine between w and the direction into the face of half-edge h from
// the edge, square to it in the face's plane.
double CEngine::IntoFace(std::uint32_t h, const Vec& w) const {
    const Vec &a = m_Position[m_Corner[h]], along = m_Position[Target(h)] - a,
              u = (along * (m_Position[m_Corner[Prev(h)]] - a)) * along;
    const double length2 = Squared(u) * Squared(w);
    return length2 > 0 ? (u % w) / std::sqrt(length2) : 0.0;
}

// Which face of line edge g the direction w points into from the edge: 1 its
// own, 2 its twin's.
std::uint8_t CEngine::SideOf(std::uint32_t g, const Vec& w) const {
    const std::uint32_t t = m_Twin[g];
    if (t == None)
        return 1;
    // Into a face from its edge a -> b is n x (b - a), n its normal.
    const auto inward = [&](std::uint32_t h) {
        const Vec &a = m_Position[m_Corner[h]], along = m_Position[Target(h)] - a,
                  u = (along * (m_Position[m_Corner[Prev(h)]] - a)) * along;
        const double length2 = Squared(u);
        return length2 > 0 ? (u % w) / std::sqrt(length2) : 0.0;
    };
    return inward(g) >= inward(t) ? 1 : 2;
}

// Two edges between corners that run side by side closer than the target
// (the rims of a bracket's arm thinner than the target, each one edge along
// its whole length) pin the faces between them as narrow as the wall is:
// points along each, FacingSamples to a target, take the distance to the
// other as their gap. An edge counts where it runs within FacingAngle of
// parallel and the other's nearest point lies inside it (not at an end,
// where it would be a neighbour of the same outline round a corner), both
// are long against their distance (see FacingLengths), and both lie on one
// connected piece of the surface (two separate sheets close together pin
// nothing).
void CEngine::AddFacingLineSources(double floor, double ceiling) {
    const std::uint32_t halfEdges = static_cast<std::uint32_t>(m_Corner.size());
    std::vector<std::uint32_t> edges;
    std::vector<std::uint8_t> lineEdges(m_Position.size(), 0);
    for (std::uint32_t h = 0; h < halfEdges; ++h)
        if (m_Corner[h] != None && IsLine(m_Kind[h]) && (m_Twin[h] == None || m_Twin[h] > h))
            for (const std::uint32_t v : {m_Corner[h], Target(h)})
                lineEdges[v] = static_cast<std::uint8_t>(std::min(3, lineEdges[v] + 1));
    // The other edges of solid lines (of sliding vertices, or between corners
    // where fewer lines meet) count only against a wall thinner than the
    // corner merge (see ThinWallStretch), or a wider one across which their
    // edges are long (see StaggerLengths), whose target may lie above the
    // ceiling. So do the edges between corners that run closer than the
    // floor: the rims of a low-poly slab 0.06 targets thick, each one edge,
    // merged wherever a neighbour's lines graded the target down over part
    // of it, and folded along every merge.
    std::vector<std::uint8_t> sliding;
    for (std::uint32_t h = 0; h < halfEdges; ++h)
        if (m_Corner[h] != None && IsLine(m_Kind[h]) && (m_Twin[h] == None || m_Twin[h] > h) && SolidEdge(h)) {
            const bool corners = (m_Flags[m_Corner[h]] & m_Flags[Target(h)] & Corner) && lineEdges[m_Corner[h]] == 3 &&
                                 lineEdges[Target(h)] == 3;
            edges.push_back(h);
            sliding.push_back(corners ? 0 : 1);
        }
    if (edges.size() < 2)
        return;
    // The connected pieces, by the vertices' roots.
    std::vector<std::uint32_t> root(m_Position.size());
    std::iota(root.begin(), root.end(), 0u);
    const auto find = [&](std::uint32_t x) { return FindRoot(root, x); };
    for (std::uint32_t h = 0; h < halfEdges; ++h)
        if (m_Corner[h] != None) {
            const std::uint32_t a = find(m_Corner[h]), b = find(Target(h));
            if (a != b)
                root[std::max(a, b)] = std::min(a, b);
        }
    // The edges by the cells (a target wide) their boxes overlap.
    const double cell = m_TargetLength;
    const Vec origin = m_Position[m_Corner[edges.front()]];
    const auto cellOf = [&](const Vec& p, std::int64_t(&c)[3]) {
        for (int i = 0; i < 3; ++i)
            c[i] = static_cast<std::int64_t>(std::floor((p[i] - origin[i]) / cell));
    };
    std::vector<std::pair<std::uint64_t, std::uint32_t>> entries;
    for (std::uint32_t i = 0; i < edges.size(); ++i) {
        const Vec &a = m_Position[m_Corner[edges[i]]], &b = m_Position[Target(edges[i])];
        if (!IsFinite(a) || !IsFinite(b) || Squared(b - a) > 64 * cell * cell)
            continue;
        std::int64_t lo[3], hi[3];
        cellOf(Vec(std::min(a.x, b.x), std::min(a.y, b.y), std::min(a.z, b.z)), lo);
        cellOf(Vec(std::max(a.x, b.x), std::max(a.y, b.y), std::max(a.z, b.z)), hi);
        for (std::int64_t x = lo[0]; x <= hi[0]; ++x)
            for (std::int64_t y = lo[1]; y <= hi[1]; ++y)
                for (std::int64_t z = lo[2]; z <= hi[2]; ++z)
                    entries.emplace_back(CellKey(x, y, z), i);
    }
    std::sort(entries.begin(), entries.end());
    const double cosParallel = std::cos(FacingAngle * Pi / 180.0);
    const double target2 = m_TargetLength * m_TargetLength;
    const double merge2 = CornerMergeFactor * CornerMergeFactor * target2, floor2 = floor * floor;
    const double wallFloor2 = MinWallFactor * MinWallFactor * target2;
    const double cornerWallFloor2 = MinCornerWallFactor * MinCornerWallFactor * target2;
    const double wall2 = target2 / (ThinWallStretch * ThinWallStretch), stagger2 = StaggerLengths * StaggerLengths;
    const double boxed2 = 4 * ThinWallStretch * ThinWallStretch;
    const double strip2 = StripReach * StripReach * target2, facing2 = FacingLengths * FacingLengths;
    const double stripFloor2 = StripFloorFactor * StripFloorFactor * target2;
    // The normal of half-edge h's face, not made unit.
    const auto faceNormal = [&](std::uint32_t h) {
        const Vec& a = m_Position[m_Corner[h]];
        return (m_Position[Target(h)] - a) * (m_Position[m_Corner[Prev(h)]] - a);
    };
    // Whether u and w are the ends of one solid line edge.
    const auto closedBy = [&](std::uint32_t u, std::uint32_t w) {
        bool closed = false;
        ForEachNeighbour(u, [&](std::uint32_t z, std::uint32_t h) {
            closed = closed || (z == w && IsLine(m_Kind[h]) && SolidEdge(h));
        });
        return closed;
    };
    // The wall sources, each with its line edge, and for each line edge the
    // faces (1 its own, 2 its twin's) across which such a wall lies.
    std::vector<CSizeSource> walls;
    std::vector<std::uint32_t> wallEdge;
    // Walls closer than the corner merge between finely sampled lines (see
    // CloseWallSpacing) mark their sides apart: a strand's crease is told by
    // both kinds together, but these marks alone drop none of the others.
    std::vector<std::uint8_t> sides(edges.size(), 0), closeSides(edges.size(), 0);
    std::vector<char> closeWall;
    for (std::uint32_t i = 0; i < edges.size(); ++i) {
        const std::uint32_t a = m_Corner[edges[i]], b = Target(edges[i]);
        const Vec &pa = m_Position[a], &pb = m_Position[b];
        const Vec along = pb - pa;
        const double length = std::sqrt(Squared(along));
        if (!(length > 0) || !IsFinite(along) || length > 8 * cell)
            continue;
        const std::uint32_t piece = find(a);
        const int samples = std::max(1, static_cast<int>(std::ceil(FacingSamples * length / m_TargetLength)));
        double lastCornerWall = 0;
        for (int k = 0; k <= samples; ++k) {
            const Vec p = pa + along * (double(k) / samples);
            std::int64_t c[3];
            cellOf(p, c);
            double gap = m_TargetLength, wallGap = m_TargetLength, closeGap = m_TargetLength;
            bool throughSolid = false, atCornerWall = false;
            for (int dx = -1; dx <= 1; ++dx)
                for (int dy = -1; dy <= 1; ++dy)
                    for (int dz = -1; dz <= 1; ++dz) {
                        const std::uint64_t key = CellKey(c[0] + dx, c[1] + dy, c[2] + dz);
                        auto it =
                            std::lower_bound(entries.begin(), entries.end(), std::make_pair(key, std::uint32_t(0)));
                        for (; it != entries.end() && it->first == key; ++it) {
                            const std::uint32_t e = edges[it->second];
                            const std::uint32_t x = m_Corner[e], y = Target(e);
                            if (x == a || x == b || y == a || y == b || find(x) != piece)
                                continue;
                            const Vec &px = m_Position[x], &py = m_Position[y];
                            const Vec other = py - px;
                            const double other2 = Squared(other);
                            if (!(std::fabs(other % along) > cosParallel * std::sqrt(other2) * length))
                                continue;
                            double t = ((p - px) % other) / other2;
                            // Two different lines closer than the corner merge
                            // whose edges are short against their distance and
                            // under the merge themselves (a lathe's rim annulus,
                            // each rim a 192-gon) are measured to the nearest
                            // point of the other's edge, its ends included:
                            // their vertices face each other across the wall.
                            // The same line coming back is no wall, whatever its
                            // edges' faces; and a bar thinner than the merge
                            // whose end's outline is a few edges each longer
                            // than it is no such wall (refined, the bar at a
                            // target four times its height kept more folds).
                            if ((sliding[i] || sliding[it->second]) && m_Kind[edges[i]] != m_Kind[e]) {
                                const double s = std::max(0.0, std::min(1.0, t));
                                const double s2 = Squared(p - (px + other * s));
                                // A strip of faces between two rims (see
                                // StripWidthFactor), measured across it,
                                // within 60 degrees of square to the line:
                                // the far end of an edge further along the
                                // other line is no width (a thin plate's two
                                // rims, under the wall floor, measured so
                                // looked like a strip half a target wide).
                                const Vec across = px + other * s - p;
                                const double lengthwise = across % along;
                                // Under the corner merge only a strip whose
                                // rims are finer than the merge (see
                                // StripFloorFactor); one that fails the
                                // strip's tests there is still measured as a
                                // close wall below.
                                const bool underMerge = s2 < merge2;
                                if ((!underMerge ||
                                     (s2 >= stripFloor2 && Squared(along) < merge2 && other2 < merge2)) &&
                                    s2 < strip2 && Squared(along) < facing2 * s2 && other2 < facing2 * s2 &&
                                    lengthwise * lengthwise < 0.25 * s2 * Squared(along)) {
                                    const double ra = Squared((pa - px) * other), rb = Squared((pb - px) * other);
                                    const std::uint8_t side = SideOf(edges[i], across);
                                    const std::uint32_t beyond = side == 1 ? m_Twin[edges[i]] : edges[i];
                                    // Both lines' faces on the strip face the
                                    // same way: one strip, not a fold's sides.
                                    const std::uint32_t on = side == 1 ? edges[i] : m_Twin[edges[i]];
                                    const std::uint32_t onOther = SideOf(e, across * -1.0) == 1 ? e : m_Twin[e];
                                    if (std::min(ra, rb) * WallEvenness * WallEvenness > std::max(ra, rb) &&
                                        on != None && onOther != None && faceNormal(on) % faceNormal(onOther) > 0 &&
                                        JoinedAcross(edges[i], e) && BackToBack(edges[i], e) &&
                                        (beyond == None ||
                                         Squared((m_Position[m_Corner[Prev(beyond)]] - pa) * along) >
                                             StripBeyondFactor * StripBeyondFactor * s2 * Squared(along))) {
                                        closeGap = std::min(closeGap, StripWidthFactor * std::sqrt(s2));
                                        closeSides[i] |= side;
                                        continue;
                                    }
                                    if (!underMerge)
                                        continue;
                                }
                                if (s2 < merge2 && s2 >= wallFloor2 && Squared(along) < merge2 && other2 < merge2 &&
                                    !(Squared(along) > FacingLengths * FacingLengths * s2 &&
                                      other2 > FacingLengths * FacingLengths * s2)) {
                                    const double ra = Squared((pa - px) * other), rb = Squared((pb - px) * other);
                                    if (std::min(ra, rb) * WallEvenness * WallEvenness > std::max(ra, rb) &&
                                        BackToBack(edges[i], e)) {
                                        closeGap = std::min(closeGap, std::sqrt(s2) / CloseWallSpacing);
                                        closeSides[i] |= SideOf(edges[i], px + other * s - p);
                                    }
                                    continue;
                                }
                            }
                            // At an end of both lines closed by an edge of the
                            // solid between them (a slab's short side), the wall
                            // reaches that edge: measured only inside, the
                            // target graded up towards the end, and the short
                            // side, under a quarter of it there, merged its two
                            // corners, the slab's corner cut off by a sliver.
                            // Two corners of lines under the wall floor that
                            // face each other square across an open face (a
                            // rib's end cap standing on the plate's end) are
                            // measured there too: see CornerWallEndFactor.
                            bool openEnd = false;
                            if (!(t > FacingMargin && t < 1 - FacingMargin)) {
                                const std::uint32_t own = k == 0 ? a : (k == samples ? b : None);
                                if (own == None)
                                    continue;
                                if (!closedBy(own, t < 0.5 ? x : y)) {
                                    const Vec across = (t < 0.5 ? px : py) - p;
                                    const double lengthwise = across % along;
                                    if (sliding[i] || sliding[it->second] || !(Squared(across) < wallFloor2) ||
                                        !(lengthwise * lengthwise < 0.25 * Squared(across) * Squared(along)))
                                        continue;
                                    openEnd = true;
                                }
                                t = t < 0.5 ? 0.0 : 1.0;
                            }
                            const double d2 = Squared(p - (px + other * t));
                            if (!(d2 < target2 && Squared(along) > FacingLengths * FacingLengths * d2 &&
                                  other2 > FacingLengths * FacingLengths * d2))
                                continue;
                            // Under the floor lines between corners set no gap of their
                            // own (see MinSizeFactor), but bound a wall like any others.
                            const bool thin = sliding[i] || sliding[it->second] || d2 < floor2;
                            const bool staggered =
                                d2 < wall2 && Squared(along) > stagger2 * d2 && other2 > stagger2 * d2;
                            // Two whole lines between corners, each shorter than
                            // two stretched targets and closed at both ends by
                            // edges of the solid, have no length to stagger
                            // along: split once each at the stretched target, the
                            // wall (a gear tooth's tip) kept faces as long as
                            // twice the wall's width. (A hole's side in a thin
                            // plate has no such ends: its wall goes on round the
                            // hole, and refined to its width the plate folded.)
                            const bool boxed =
                                !openEnd && (m_Flags[a] & m_Flags[b] & m_Flags[x] & m_Flags[y] & Corner) &&
                                Squared(along) < boxed2 * d2 && other2 < boxed2 * d2 &&
                                ((closedBy(a, x) && closedBy(b, y)) || (closedBy(a, y) && closedBy(b, x)));
                            if (!thin || boxed)
                                gap = std::min(gap, std::sqrt(d2));
                            else if (d2 < merge2 || staggered) {
                                // Under the floor only a wall of one row of
                                // faces, or of faces in one plane, between
                                // long edges, with a wide face beyond it (a
                                // hole's side in a thin plate).
                                const bool deep = d2 >= floor2;
                                if (!deep &&
                                    !(d2 >= (sliding[i] || sliding[it->second] ? wallFloor2 : cornerWallFloor2) &&
                                      Squared(along) > stagger2 * d2 && other2 > stagger2 * d2 &&
                                      (JoinedAcross(edges[i], e) || FlatAcross(edges[i], e))))
                                    continue;
                                const double ra = Squared((pa - px) * other), rb = Squared((pb - px) * other);
                                if (!(std::min(ra, rb) * WallEvenness * WallEvenness > std::max(ra, rb)) ||
                                    !BackToBack(edges[i], e))
                                    continue;
                                const std::uint8_t side = SideOf(edges[i], px + other * t - p);
                                if (!deep) {
                                    const std::uint32_t beyond = side == 1 ? m_Twin[edges[i]] : edges[i];
                                    if (beyond != None && !(Squared((m_Position[m_Corner[Prev(beyond)]] - pa) * along) >
                                                            ThinWallStretch * ThinWallStretch * d2 * Squared(along)))
                                        continue;
                                }
                                const bool cornerWall = !deep && d2 < wallFloor2;
                                const double stretched =
                                    (openEnd ? CornerWallEndFactor
                                             : (cornerWall ? CornerWallStretch : ThinWallStretch)) *
                                    std::sqrt(d2);
                                if (stretched < wallGap) {
                                    const Vec across = px + other * t - p;
                                    const std::uint32_t twin = m_Twin[edges[i]];
                                    wallGap = stretched;
                                    atCornerWall = cornerWall;
                                    throughSolid = IntoFace(edges[i], across) < ThroughWallCos &&
                                                   (twin == None || IntoFace(twin, across) < ThroughWallCos);
                                }
                                sides[i] |= side;
                            }
                        }
                    }
            if (gap < ceiling && gap >= floor)
                m_SizeSources.push_back(CSizeSource{p, gap});
            if (wallGap < m_TargetLength) {
                // Samples up to a quarter target apart let the target rise
                // half way between them by a sixteenth of a target (see
                // SizeGrading): on a rib's top, whose wall asks twice its
                // width (see CornerWallStretch), nearly as much again. A
                // corner wall's sources lie no further apart than its
                // stretched target.
                if (atCornerWall && lastCornerWall > 0) {
                    const double spacing = length / samples, least = std::min(lastCornerWall, wallGap);
                    const int pieces = static_cast<int>(std::ceil(spacing / least));
                    for (int j = 1; j < pieces; ++j) {
                        const double u = double(j) / pieces;
                        walls.push_back(CSizeSource{pa + along * ((k - 1 + u) / samples),
                                                    lastCornerWall + (wallGap - lastCornerWall) * u});
                        if (throughSolid)
                            walls.back().m_Grading = ThroughWallGrading;
                        wallEdge.push_back(i);
                        closeWall.push_back(0);
                    }
                }
                walls.push_back(CSizeSource{p, wallGap});
                if (throughSolid)
                    walls.back().m_Grading = ThroughWallGrading;
                wallEdge.push_back(i);
                closeWall.push_back(0);
            }
            lastCornerWall = wallGap < m_TargetLength && atCornerWall ? wallGap : 0;
            if (closeGap < m_TargetLength) {
                walls.push_back(CSizeSource{p, closeGap});
                wallEdge.push_back(i);
                closeWall.push_back(1);
            }
        }
    }
    // A line with thin partners across both its faces is the crease of a
    // part thinner than the target all round (a strand of square section),
    // which coarsens like any other such part: refined, a head of hair's
    // strands kept many more faces, their lengths far less even.
    for (std::size_t k = 0; k < walls.size(); ++k)
        if ((closeWall[k] ? sides[wallEdge[k]] | closeSides[wallEdge[k]] : sides[wallEdge[k]]) != 3)
            m_SizeSources.push_back(walls[k]);
}

// The thickness behind a vertex is its distance to the nearest point of a
// face that turns its back to the vertex's normal and lies behind it; the bend is the sharpest circle through the vertex and one of
// its neighbours tangent to its normal's plane.
void CEngine::AddThinPartSources(double floor) {
    const std::uint32_t halfEdges = static_cast<std::uint32_t>(m_Corner.size());
    const std::uint32_t faces = halfEdges / 3;
    // Behind means inside: a closed piece whose faces all face inwards (a
    // stem written the other way round) has its normals turned outwards
    // here. An open piece's own orientation is all there is to go by.
    std::vector<std::uint32_t> root(faces);
    std::iota(root.begin(), root.end(), 0u);
    const auto find = [&](std::uint32_t x) { return FindRoot(root, x); };
    for (std::uint32_t h = 0; h < halfEdges; ++h)
        if (m_Corner[h] != None && m_Twin[h] != None) {
            const std::uint32_t a = find(h / 3), b = find(m_Twin[h] / 3);
            if (a != b)
                root[std::max(a, b)] = std::min(a, b);
        }
    // Each face's piece on one thread (the walks shorten the paths); the
    // faces' measures by whichever thread, each written by its face alone,
    // then summed into the pieces and the vertices in face order, and the
    // bends' maxima taken in half-edge order.
    std::vector<std::uint32_t> pieceOf(faces, None);
    for (std::uint32_t f = 0; f < faces; ++f)
        if (m_Corner[3 * f] != None && m_Corner[3 * f + 1] != None && m_Corner[3 * f + 2] != None)
            pieceOf[f] = find(f);
    const std::int64_t faceCount = faces;
    std::vector<double> spanned(faces, 0);
#pragma omp parallel for schedule(static) if (faceCount >= ParallelFaces)
    for (std::int64_t i = 0; i < faceCount; ++i) {
        const std::uint32_t f = static_cast<std::uint32_t>(i);
        if (pieceOf[f] == None)
            continue;
        const std::uint32_t a = m_Corner[3 * f], b = m_Corner[3 * f + 1], c = m_Corner[3 * f + 2];
        const Vec& o = m_Position[m_Corner[3 * pieceOf[f]]];
        spanned[f] = (m_Position[a] - o) % ((m_Position[b] - o) * (m_Position[c] - o));
    }
    std::vector<double> volume(faces, 0);
    std::vector<char> open(faces, 0);
    for (std::uint32_t f = 0; f < faces; ++f) {
        const std::uint32_t piece = pieceOf[f];
        if (piece == None)
            continue;
        volume[piece] += spanned[f];
        for (std::uint32_t k = 0; k < 3; ++k)
            if (m_Twin[3 * f + k] == None)
                open[piece] = 1;
    }
    std::vector<Vec> normal(m_Position.size(), Vec(0, 0, 0));
    std::vector<Vec> faceNormal(faces, Vec(0, 0, 0));
    std::vector<char> measured(faces, 0);
#pragma omp parallel for schedule(static) if (faceCount >= ParallelFaces)
    for (std::int64_t i = 0; i < faceCount; ++i) {
        const std::uint32_t f = static_cast<std::uint32_t>(i);
        const std::uint32_t piece = pieceOf[f];
        if (piece == None)
            continue;
        const std::uint32_t a = m_Corner[3 * f], b = m_Corner[3 * f + 1], c = m_Corner[3 * f + 2];
        const double turn = !open[piece] && volume[piece] < 0 ? -1.0 : 1.0;
        const Vec n = (m_Position[b] - m_Position[a]) * (m_Position[c] - m_Position[a]) * turn;
        if (!IsFinite(n))
            continue;
        faceNormal[f] = n;
        measured[f] = 1;
    }
    for (std::uint32_t f = 0; f < faces; ++f) {
        if (!measured[f])
            continue;
        for (std::uint32_t k = 0; k < 3; ++k)
            normal[m_Corner[3 * f + k]] = normal[m_Corner[3 * f + k]] + faceNormal[f];
    }
    // A bend sharp enough for a part thinner than reach (below) is the
    // first filter: most vertices of a mesh at its own scale have none.
    std::vector<double> bend(m_Position.size(), 0);
    std::vector<double> edgeBend(halfEdges, -std::numeric_limits<double>::infinity());
    const std::int64_t halfEdgeCount = halfEdges;
#pragma omp parallel for schedule(static) if (halfEdgeCount >= 3 * ParallelFaces)
    for (std::int64_t i = 0; i < halfEdgeCount; ++i) {
        const std::uint32_t h = static_cast<std::uint32_t>(i);
        if (m_Corner[h] == None)
            continue;
        const std::uint32_t v = m_Corner[h], u = Target(h);
        const double n2 = Squared(normal[v]);
        const Vec d = m_Position[v] - m_Position[u];
        const double d2 = Squared(d);
        if (!(n2 > 0) || !(d2 > 0))
            continue;
        // The curvature 2 (n . d) / |d|^2 of the circle through both ends
        // tangent to v's plane.
        edgeBend[h] = 2 * (normal[v] % d) / (std::sqrt(n2) * d2);
    }
    for (std::uint32_t h = 0; h < halfEdges; ++h)
        if (m_Corner[h] != None)
            bend[m_Corner[h]] = std::max(bend[m_Corner[h]], edgeBend[h]);
    // The places tested are the vertices and the middles of the edges long
    // enough to be split between two of them. A truncated cone written as
    // the hull of its two end rings has vertices only on its ends, where the
    // middle across lies on the end's face as it does beside a plate's rim,
    // and the part between them was never measured: its sides, a few
    // targets long, flattened into a ribbon of slivers. An edge between two
    // coplanar faces (a diagonal of a square strand's flat side) is no place
    // the part bends round: measured there too, the strands of a head of
    // hair kept worse slivers.
    struct CSample {
        Vec m_Point;
        Vec m_Normal;
        std::uint32_t m_Face;
        std::uint32_t m_From;
        std::uint32_t m_To;
        double m_Bend;
    };
    std::vector<CSample> samples;
    std::vector<char> sampled(m_Position.size(), 0);
    for (std::uint32_t v = 0; v < m_Position.size(); ++v)
        if (bend[v] * m_TargetLength * ThinPartBend > ThinPartStretch &&
            !(m_Flags[v] & (Deleted | NonManifold | Corner)) && m_Out[v] != None) {
            samples.push_back(CSample{m_Position[v], normal[v], m_Out[v] / 3, v, None, bend[v]});
            sampled[v] = 1;
        }
    const double long2 = SplitFactor * SplitFactor * m_TargetLength * m_TargetLength;
    const double turnCos = std::cos(ThinPartEdgeTurn * Pi / 180.0);
    for (std::uint32_t h = 0; h < halfEdges; ++h) {
        const std::uint32_t t = m_Twin[h];
        if (m_Corner[h] == None || t == None || t < h || !measured[h / 3] || !measured[t / 3])
            continue;
        const std::uint32_t a = m_Corner[h], b = Target(h);
        if (!sampled[a] || !sampled[b] || !(EdgeLength2(h) > long2))
            continue;
        const Vec &m = faceNormal[h / 3], &o = faceNormal[t / 3];
        const double m2 = Squared(m), o2 = Squared(o);
        if (!(m % o <= turnCos * std::sqrt(m2 * o2)))
            continue;
        const Vec n = m / std::sqrt(m2) + o / std::sqrt(o2);
        if (!(Squared(n) > 0) || !IsFinite(n))
            continue;
        // Its faces span the part from end to end: the bend round it is the
        // lesser of its ends'.
        samples.push_back(CSample{(m_Position[a] + m_Position[b]) * 0.5, n, h / 3, a, b, std::min(bend[a], bend[b])});
    }
    if (samples.empty())
        return;
    // Thicker than reach, a part sets no target; the faces that matter lie
    // within 1.5 reaches of the vertex (the middle's ball below), and are
    // reached from its own faces through faces that near: the part itself.
    const double reach = m_TargetLength / ThinPartStretch, reach2 = reach * reach;
    const double ball2 = 2.25 * reach2;
    std::vector<double> thickness;
    // Per sample, whether only its rim's lacking a line let it count.
    std::vector<char> bentRim;
    // Measures the samples from `first` on: the points along an edge join
    // the list once its middle is measured.
    const auto measure = [&](std::size_t first) {
        thickness.resize(samples.size(), m_TargetLength);
        bentRim.resize(samples.size(), 0);
        const std::int64_t begin = static_cast<std::int64_t>(first), count = static_cast<std::int64_t>(samples.size());
// A thread's walks mark the faces they met in an array of their own: a
// sorted list of them, each insertion moving the rest, took 40 % of a lathe
// export's remesh, whose thin stem puts a thousand faces in each ball.
#pragma omp parallel if (count - begin >= ParallelVertices)
        {
            std::vector<char> met(faces, 0);
#pragma omp for schedule(dynamic, 64)
            for (std::int64_t i = begin; i < count; ++i) {
                const CSample& sample = samples[i];
                const std::uint32_t v = sample.m_From, w = sample.m_To;
                const Vec& p = sample.m_Point;
                const Vec n = sample.m_Normal / std::sqrt(Squared(sample.m_Normal));
                const auto distance2 = [&](std::uint32_t f, const Vec& q) {
                    return Squared(ClosestOnTriangle(q, m_Position[m_Corner[3 * f]], m_Position[m_Corner[3 * f + 1]],
                                                     m_Position[m_Corner[3 * f + 2]]) -
                                   q);
                };
                // The faces in the ball, in the order a walk from the sample's face
                // finds them, and every face the walk met, marked until it ends.
                std::vector<std::uint32_t> ball{sample.m_Face}, seen{sample.m_Face};
                met[sample.m_Face] = 1;
                for (std::size_t k = 0; k < ball.size(); ++k)
                    for (std::uint32_t j = 0; j < 3; ++j) {
                        const std::uint32_t t = m_Twin[3 * ball[k] + j];
                        if (t == None || met[t / 3])
                            continue;
                        const std::uint32_t g = t / 3;
                        met[g] = 1;
                        seen.push_back(g);
                        if (Squared(faceNormal[g]) > 0 && distance2(g, p) <= ball2)
                            ball.push_back(g);
                    }
                for (const std::uint32_t g : seen)
                    met[g] = 0;
                double best2 = reach2;
                Vec across(0, 0, 0);
                for (const std::uint32_t f : ball) {
                    const std::uint32_t a = m_Corner[3 * f], b = m_Corner[3 * f + 1], d = m_Corner[3 * f + 2];
                    // A vertex's own faces touch it; a point inside an edge is touched
                    // only by the two faces of its edge.
                    if (w == None ? (a == v || b == v || d == v)
                                  : ((a == v || b == v || d == v) && (a == w || b == w || d == w)))
                        continue;
                    const Vec& m = faceNormal[f];
                    if (!(m % n < MaxFoldCos * std::sqrt(Squared(m))))
                        continue;
                    const Vec w = ClosestOnTriangle(p, m_Position[a], m_Position[b], m_Position[d]) - p;
                    const double w2 = Squared(w);
                    if (w2 < best2 && w % n < MaxFoldCos * std::sqrt(w2)) {
                        best2 = w2;
                        across = w;
                    }
                }
                if (!(best2 < reach2))
                    continue;
                // A tube, not a plate's rim or a hole's, which bend as sharply,
                // unless no line keeps the rim: see ThinPartClearance,
                // ThinPartBalance and ThinPartSpread.
                const Vec middle = p + across * 0.5;
                double clearance2 = best2;
                Vec sum(0, 0, 0);
                double area = 0, spread[6] = {0, 0, 0, 0, 0, 0};
                bool held = false;
                double back = 0;
                for (const std::uint32_t f : ball) {
                    const double d2 = distance2(f, middle);
                    clearance2 = std::min(clearance2, d2);
                    if (d2 > best2)
                        continue;
                    for (std::uint32_t k = 0; k < 3; ++k)
                        held = held || (m_Flags[m_Corner[3 * f + k]] & (Sliding | Fixed)) != 0;
                    const double twice = std::sqrt(Squared(faceNormal[f]));
                    if (!(twice > 0))
                        continue;
                    const Vec u = faceNormal[f] / twice;
                    sum = sum + faceNormal[f];
                    area += twice;
                    if (faceNormal[f] % n < MaxFoldCos * twice)
                        back += twice;
                    spread[0] += twice * u.x * u.x;
                    spread[1] += twice * u.y * u.y;
                    spread[2] += twice * u.z * u.z;
                    spread[3] += twice * u.x * u.y;
                    spread[4] += twice * u.x * u.z;
                    spread[5] += twice * u.y * u.z;
                }
                if (clearance2 < ThinPartClearance * ThinPartClearance * best2)
                    continue;
                if (!(area > 0))
                    continue;
                const bool tube = Squared(sum) <= ThinPartBalance * ThinPartBalance * area * area &&
                                  LargestEigenvalue(spread) <= ThinPartSpread * area;
                if (!tube && (held || back < BentRimBackShare * area))
                    continue;
                thickness[i] = std::sqrt(best2);
                bentRim[i] = !tube;
            }
        }
    };
    const auto thin = [&](std::size_t i) {
        const double t = thickness[i];
        return t >= floor && ThinPartStretch * t < m_TargetLength && samples[i].m_Bend * t * ThinPartBend >= 1;
    };
    measure(0);
    // An edge over three reaches long whose middle is such a part is
    // measured instead at points at most a reach apart along it: a lathe's
    // stem, one span of edges 3.5 targets long (4.4 reaches), set its target
    // at their middles only, graded back to the global one half way to its
    // ends, where it flattened into a ribbon. (Measured so along every long
    // edge, the walls of a block's holes and a screw's shank lost 3 to 8
    // degrees; along every such part's edge, a block's hole walls 2.5
    // reaches long kept twice the folds.)
    const std::size_t middles = samples.size();
    std::vector<char> replaced(middles, 0);
    for (std::size_t i = 0; i < middles; ++i) {
        // A copy: the pushes below may move the list.
        const CSample sample = samples[i];
        if (sample.m_To == None || !thin(i))
            continue;
        const Vec &a = m_Position[sample.m_From], &b = m_Position[sample.m_To];
        const int pieces = static_cast<int>(std::ceil(std::sqrt(Squared(b - a)) * ThinPartStretch / m_TargetLength));
        if (pieces < 4)
            continue;
        replaced[i] = 1;
        for (int j = 1; j < pieces; ++j)
            samples.push_back(CSample{a + (b - a) * (double(j) / pieces), sample.m_Normal, sample.m_Face, sample.m_From,
                                      sample.m_To, sample.m_Bend});
    }
    measure(middles);
    // A bent rim runs along the sheet's edge: one with fewer than
    // BentRimCompany others within a target is a fold of noise, and counts
    // for nothing. Looked up in cells a target wide, in index order.
    std::vector<std::pair<std::uint64_t, std::uint32_t>> rims;
    const auto cellOf = [&](const Vec& p, int dx, int dy, int dz) {
        return CellKey(static_cast<std::int64_t>(std::floor(p.x / m_TargetLength)) + dx,
                       static_cast<std::int64_t>(std::floor(p.y / m_TargetLength)) + dy,
                       static_cast<std::int64_t>(std::floor(p.z / m_TargetLength)) + dz);
    };
    for (std::size_t i = 0; i < samples.size(); ++i)
        if ((i >= middles || !replaced[i]) && bentRim[i] && thin(i) && IsFinite(samples[i].m_Point))
            rims.emplace_back(cellOf(samples[i].m_Point, 0, 0, 0), static_cast<std::uint32_t>(i));
    std::sort(rims.begin(), rims.end());
    std::vector<std::uint32_t> alone;
    for (const auto& [cell, i] : rims) {
        const Vec& p = samples[i].m_Point;
        int company = 0;
        for (int dx = -1; dx <= 1 && company < BentRimCompany; ++dx)
            for (int dy = -1; dy <= 1 && company < BentRimCompany; ++dy)
                for (int dz = -1; dz <= 1 && company < BentRimCompany; ++dz) {
                    const std::uint64_t key = cellOf(p, dx, dy, dz);
                    auto at = std::lower_bound(rims.begin(), rims.end(), std::make_pair(key, 0u));
                    for (; at != rims.end() && at->first == key && company < BentRimCompany; ++at)
                        if (at->second != i &&
                            Squared(samples[at->second].m_Point - p) < m_TargetLength * m_TargetLength)
                            ++company;
                }
        if (company < BentRimCompany)
            alone.push_back(i);
    }
    for (const std::uint32_t i : alone)
        thickness[i] = m_TargetLength;
    for (std::size_t i = 0; i < samples.size(); ++i)
        if ((i >= middles || !replaced[i]) && thin(i)) {
            m_SizeSources.push_back(CSizeSource{samples[i].m_Point, ThinPartStretch * thickness[i], bentRim[i] != 0});
            m_HasBentRims = m_HasBentRims || bentRim[i];
        }
}

std::size_t CEngine::SizeCellAt(const Vec& p) const {
    if (m_SizeCells.empty() || !IsFinite(p))
        return NoSizeCell;
    const Vec d = (p - m_SizeOrigin) / m_SizeCell;
    const std::uint64_t key =
        CellKey(static_cast<std::int64_t>(std::floor(d.x)), static_cast<std::int64_t>(std::floor(d.y)),
                static_cast<std::int64_t>(std::floor(d.z)));
    const auto cell = std::lower_bound(m_SizeCells.begin(), m_SizeCells.end(), key);
    if (cell == m_SizeCells.end() || *cell != key)
        return NoSizeCell;
    return static_cast<std::size_t>(cell - m_SizeCells.begin());
}

double CEngine::SizeAt(const Vec& p) const {
    const std::size_t c = SizeCellAt(p);
    if (c == NoSizeCell)
        return m_TargetLength;
    // The cell's sources ascend by the least each can set here (see
    // BuildSizing): past the first that cannot go below the size found,
    // none can.
    double size = m_TargetLength;
    for (std::uint32_t i = m_SizeCellStart[c]; i < m_SizeCellStart[c + 1] && m_SizeCellFloor[i] < size; ++i) {
        const CSizeSource& source = m_SizeSources[m_SizeCellSources[i]];
        size = std::min(size, source.m_Gap + source.m_Grading * std::sqrt(Squared(p - source.m_Point)));
    }
    return size;
}

bool CEngine::OnBentRim(const Vec& p) const {
    const std::size_t c = m_HasBentRims ? SizeCellAt(p) : NoSizeCell;
    if (c == NoSizeCell)
        return false;
    for (std::uint32_t i = m_SizeCellStart[c]; i < m_SizeCellStart[c + 1]; ++i) {
        const CSizeSource& source = m_SizeSources[m_SizeCellSources[i]];
        if (source.m_BentRim &&
            source.m_Gap + source.m_Grading * std::sqrt(Squared(p - source.m_Point)) < m_TargetLength)
            return true;
    }
    return false;
}

void CEngine::UpdateSizes() {
    if (m_Size.empty())
        return;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    m_Size.resize(m_Position.size());
    m_SizePlace.resize(m_Position.size(), Vec(nan, nan, nan));
    const std::int64_t vertexCount = static_cast<std::int64_t>(m_Position.size());
#pragma omp parallel for schedule(static) if (vertexCount >= ParallelVertices)
    for (std::int64_t v = 0; v < vertexCount; ++v) {
        const Vec &p = m_Position[v], &was = m_SizePlace[v];
        if (m_Flags[v] & Deleted) {
            m_Size[v] = m_TargetLength;
            m_SizePlace[v] = Vec(nan, nan, nan);
        } else if (!(p.x == was.x && p.y == was.y && p.z == was.z)) {
            m_Size[v] = SizeAt(p);
            m_SizePlace[v] = p;
        }
    }
}

// The budget set at the start counts the faces of the global target; where
// close lines lower the target over whole walls (a panel's ribs, an eighth
// of it thick), the result asks several times that, and the splits of
// every iteration stopped at the budget with the longest edges of the
// least refined walls still whole, rims of 2 local targets beside 1. Once
// the first iteration has cut the input's long faces, the faces follow the
// local target, and their areas over equilateral triangles of their
// corners' target count what it asks: four times that, as at the start, is
// as far above a valid result. A fan of slivers adds no area, so the bound
// still holds against one. The faces are counted in order, on one thread,
// so that every thread count gives the same budget.
void CEngine::GrowFaceBudget() {
    if (m_Size.empty())
        return;
    UpdateSizes();
    double asked = 0;
    const std::size_t faces = m_Corner.size() / 3;
    for (std::size_t f = 0; f < faces; ++f) {
        const std::uint32_t* corner = &m_Corner[3 * f];
        if (corner[0] == None)
            continue;
        const double size = (m_Size[corner[0]] + m_Size[corner[1]] + m_Size[corner[2]]) / 3;
        const Vec &a = m_Position[corner[0]], &b = m_Position[corner[1]], &c = m_Position[corner[2]];
        asked += 0.5 * std::sqrt(Squared((b - a) * (c - a))) / (std::sqrt(3.0) / 4.0 * size * size);
    }
    const double budget = 4.0 * asked + 1000.0;
    if (std::isfinite(budget) && budget > double(m_FaceBudget))
        m_FaceBudget = budget < 4e8 ? static_cast<std::size_t>(budget) : std::size_t(400000000);
}

}  // namespace Corvane::Pellix::Quorvel::detail::preserving
