// Projection onto the input: its triangles and its constraint lines, kept in
// the library's box hierarchies, and the closest points on them.
#include "quorvel/meshes/editing/preserving/Engine.h"

#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace Corvane::Pellix::Quorvel::detail::preserving {

// Closest point by the Voronoi regions of the corners, sides and interior;
// every division is guarded so that a needle or a point triangle gives a
// point on its sides instead of NaN.
Vec ClosestOnTriangle(const Vec& p, const Vec& a, const Vec& b, const Vec& c) {
    const Vec ab = b - a, ac = c - a, ap = p - a;
    const double d1 = ab % ap, d2 = ac % ap;
    if (d1 <= 0 && d2 <= 0)
        return a;
    const Vec bp = p - b;
    const double d3 = ab % bp, d4 = ac % bp;
    if (d3 >= 0 && d4 <= d3)
        return b;
    const double vc = d1 * d4 - d3 * d2;
    if (vc <= 0 && d1 >= 0 && d3 <= 0) {
        const double den = d1 - d3;
        return den > 0 ? a + ab * (d1 / den) : a;
    }
    const Vec cp = p - c;
    const double d5 = ab % cp, d6 = ac % cp;
    if (d6 >= 0 && d5 <= d6)
        return c;
    const double vb = d5 * d2 - d1 * d6;
    if (vb <= 0 && d2 >= 0 && d6 <= 0) {
        const double den = d2 - d6;
        return den > 0 ? a + ac * (d2 / den) : a;
    }
    const double va = d3 * d6 - d5 * d4;
    if (va <= 0 && (d4 - d3) >= 0 && (d5 - d6) >= 0) {
        const double den = (d4 - d3) + (d5 - d6);
        return den > 0 ? b + (c - b) * ((d4 - d3) / den) : b;
    }
    const double sum = va + vb + vc;
    if (!(sum > 0)) {
        const Vec s0 = ClosestOnSegment(p, a, b), s1 = ClosestOnSegment(p, b, c), s2 = ClosestOnSegment(p, c, a);
        const double e0 = Squared(p - s0), e1 = Squared(p - s1), e2 = Squared(p - s2);
        if (e0 <= e1 && e0 <= e2)
            return s0;
        return e1 <= e2 ? s1 : s2;
    }
    return a + ab * (vb / sum) + ac * (vc / sum);
}

namespace {

// Triangles or segments per leaf at most. The trees are built by the
// median, cheaply: each serves one run, and a surface-area tree would cost
// more to build than it saves the projections.
constexpr std::uint32_t LeafSize = 4;

// The next float above x (up) or below it, as std::nextafter towards the
// infinity of that side gives it, for any x but a NaN and that infinity: a
// step of one in the bits, away from zero where x has the step's sign and
// towards it otherwise, and from either zero to the least subnormal. Inline,
// since every query's reach takes one.
inline float FloatStep(float x, bool up) {
    if (x == 0)
        return up ? std::numeric_limits<float>::denorm_min() : -std::numeric_limits<float>::denorm_min();
    std::uint32_t bits;
    std::memcpy(&bits, &x, sizeof bits);
    bits = ((bits >> 31) == 0) == up ? bits + 1 : bits - 1;
    std::memcpy(&x, &bits, sizeof bits);
    return x;
}

// The primitive nearest to p by `closest(i, bound, point)` (the squared
// distance of the primitive at position i of the tree's order, whose closest
// point it writes to `point`; anything above the bound may be answered with
// infinity, leaving `point` unwritten), or None; `nearest` receives the
// closest point of the answer. A hint, the answer for a nearby earlier point,
// bounds the search from the start, which starts at the hint's leaf: it is
// measured against an infinite bound, so its point is always written. Ties go
// to the hint, then to the lowest primitive number, whatever the shape of the
// tree.
//
// With `climbFrom` and `climb` (see CEngine::m_Climb), the climb from the
// hint's leaf stops at the first level from which every sibling box above
// lies beyond the bound, seen from p, and passes by a sibling whose own gap
// puts it beyond without measuring its box: the leaves it leaves out are
// ones the whole climb would have passed by.
// The nearest float at or below a gap, so that a gap kept in a float never
// claims more room than there is; and the nearest at or above a reach, so
// that a reach compared with such gaps never passes by a box it should not
// (a NaN stays a NaN and passes nothing by).
float FloatBelow(double gap) {
    if (gap >= double(std::numeric_limits<float>::max()))
        return std::numeric_limits<float>::max();
    float below = static_cast<float>(gap);
    if (double(below) > gap)
        below = FloatStep(below, false);
    return below;
}

float FloatAbove(double reach) {
    if (reach > double(std::numeric_limits<float>::max()))
        return std::numeric_limits<float>::infinity();
    float above = static_cast<float>(reach);
    if (double(above) < reach)
        above = FloatStep(above, true);
    return above;
}

template <class Closest>
std::uint32_t Nearest(const CBoxHierarchy& tree, const TreeWalk::CLinks& links, const Vec& p, std::uint32_t hint,
                      Closest&& closest, Vec& nearest, const std::uint32_t* climbFrom = nullptr,
                      const CClimbStep* climb = nullptr) {
    double best = std::numeric_limits<double>::infinity();
    std::uint32_t found = None;
    const double q[3] = {p.x, p.y, p.z};
    const std::vector<std::uint32_t>& order = tree.GetOrder();
    Vec measured;
    // The hint, met again in its leaf, is skipped: it is either the nearest
    // so far, which it cannot displace, or farther than a nearer one.
    const auto leaf = [&](std::uint32_t first, std::uint32_t count, double& bound) {
        for (std::uint32_t i = first; i < first + count; ++i) {
            if (i == hint)
                continue;
            const double d = closest(i, bound, measured);
            if (d < bound || (d == bound && found != None && found != hint && order[i] < order[found])) {
                bound = d;
                found = i;
                nearest = measured;
            }
        }
    };
    if (hint == None) {
        TreeWalk::Nearest(tree, q, best, leaf);
        return found;
    }
    best = closest(hint, best, nearest);
    found = hint;
    if (climb == nullptr) {
        TreeWalk::NearestFrom(tree, links, hint, q, best, leaf);
        return found;
    }
    const TreeWalk::CNode* nodes = tree.GetNodes().data();
    std::uint32_t node = links.m_Leaf[hint];
    const CClimbStep* step = climb + climbFrom[node];
    // Any primitive of a sibling box at a gap g from the leaf's box lies at
    // least g - e from p, e being p's distance from the leaf's box: beyond
    // the bound where g exceeds the reach, e plus the bound's distance, with
    // a margin far above the rounding of any of them. The reach is measured
    // again whenever the bound falls, and kept as a float rounded up, the
    // gaps' own kind (a NaN reach passes nothing by).
    const double e2 = TreeWalk::BoxDistanceSquared(nodes[node], q), e = std::sqrt(e2);
    const auto reachOf = [&]() { return FloatAbove((e + std::sqrt(best)) * (1 + 4e-9)); };
    TreeWalk::NearestBelow(tree, node, e2, q, best, leaf);
    float reach = reachOf();
    for (std::uint32_t parent = links.m_Parent[node]; parent != TreeWalk::CLinks::NoNode;
         parent = links.m_Parent[node], ++step) {
        if (step->m_Above > reach)
            break;
        const std::uint32_t sibling = node ^ 1u;
        if (!(step->m_Own > reach)) {
            const double distance = TreeWalk::BoxDistanceSquared(nodes[sibling], q);
            if (distance <= best) {
                TreeWalk::NearestBelow(tree, sibling, distance, q, best, leaf);
                reach = reachOf();
            }
        }
        node = parent;
    }
    return found;
}

// The distance between two boxes of the tree.
double BoxGap(const TreeWalk::CNode& a, const TreeWalk::CNode& b) {
    double sum = 0;
    for (int k = 0; k < 3; ++k) {
        const double below = double(b.m_Min[k]) - double(a.m_Max[k]);
        const double above = double(a.m_Min[k]) - double(b.m_Max[k]);
        const double outside = below > above ? below : above;
        if (outside > 0)
            sum += outside * outside;
    }
    return std::sqrt(sum);
}

}  // namespace

Vec ClosestOnSegment(const Vec& p, const Vec& a, const Vec& b) {
    const Vec d = b - a;
    const double length2 = Squared(d);
    if (!(length2 > 0))
        return a;
    const double t = std::clamp(((p - a) % d) / length2, 0.0, 1.0);
    return a + d * t;
}

void CEngine::BuildReference(const std::vector<char>& frozenFace, const std::vector<std::uint32_t>& firstConstraint,
                             const std::vector<char>& turnedOver) {
    const std::uint32_t halfEdges = static_cast<std::uint32_t>(m_Corner.size());
    const std::uint32_t faces = halfEdges / 3;

    // The faces that are not frozen, in face order (most inputs freeze
    // none), then each one's box, written by one thread.
    std::vector<std::uint32_t> items;
    if (std::none_of(frozenFace.begin(), frozenFace.end(), [](char frozen) { return frozen != 0; })) {
        items.resize(faces);
        std::iota(items.begin(), items.end(), 0u);
    } else {
        for (std::uint32_t f = 0; f < faces; ++f)
            if (!frozenFace[f])
                items.push_back(f);
    }
    const std::int64_t itemCount = static_cast<std::int64_t>(items.size());
    std::vector<double> boxes(6 * items.size());
#pragma omp parallel for schedule(static) if (itemCount >= ParallelFaces)
    for (std::int64_t i = 0; i < itemCount; ++i) {
        const std::uint32_t f = items[i];
        Vec lo = m_Position[m_Corner[3 * f]], hi = lo;
        for (std::uint32_t k = 1; k < 3; ++k)
            for (int j = 0; j < 3; ++j) {
                lo[j] = std::min(lo[j], m_Position[m_Corner[3 * f + k]][j]);
                hi[j] = std::max(hi[j], m_Position[m_Corner[3 * f + k]][j]);
            }
        double* box = &boxes[6 * i];
        for (int j = 0; j < 3; ++j) {
            box[j] = lo[j];
            box[3 + j] = hi[j];
        }
    }
    m_TriangleTree.BuildByMedian(boxes.data(), static_cast<std::uint32_t>(items.size()), LeafSize);
    m_TriangleLinks.Build(m_TriangleTree);
    {
        const CBoxHierarchy::CNodes& nodes = m_TriangleTree.GetNodes();
        const std::vector<std::uint32_t>& parent = m_TriangleLinks.m_Parent;
        const std::int64_t nodeCount = static_cast<std::int64_t>(nodes.size());
        m_ClimbFrom.assign(nodes.size(), 0);
        std::uint32_t total = 0;
        for (std::uint32_t leaf = 0; leaf < nodes.size(); ++leaf) {
            if (leaf == 1 || !nodes[leaf].IsLeaf())
                continue;
            m_ClimbFrom[leaf] = total;
            for (std::uint32_t node = leaf; parent[node] != TreeWalk::CLinks::NoNode; node = parent[node])
                ++total;
        }
        m_Climb.resize(total);
#pragma omp parallel for schedule(dynamic, 1024) if (nodeCount >= ParallelFaces)
        for (std::int64_t i = 0; i < nodeCount; ++i) {
            const std::uint32_t leaf = static_cast<std::uint32_t>(i);
            if (leaf == 1 || !nodes[leaf].IsLeaf())
                continue;
            CClimbStep* step = m_Climb.data() + m_ClimbFrom[leaf];
            std::uint32_t levels = 0;
            for (std::uint32_t node = leaf; parent[node] != TreeWalk::CLinks::NoNode; node = parent[node]) {
                step[levels].m_Own = FloatBelow(BoxGap(nodes[leaf], nodes[node ^ 1u]));
                step[levels].m_Above = step[levels].m_Own;
                ++levels;
            }
            for (std::uint32_t k = levels; k-- > 1;)
                step[k - 1].m_Above = std::min(step[k - 1].m_Above, step[k].m_Above);
        }
    }
    // Each slot, and each face's slot, is written by one thread: the tree's
    // order names every face once. So are the vertices' hints at the end.
    std::vector<std::uint32_t> slotOfFace(faces, None);
    m_Triangles.Allocate(items.size());
    const std::int64_t slots = static_cast<std::int64_t>(items.size());
#pragma omp parallel for schedule(static) if (slots >= ParallelFaces)
    for (std::int64_t slot = 0; slot < slots; ++slot) {
        const std::uint32_t i = static_cast<std::uint32_t>(slot);
        const std::uint32_t f = items[m_TriangleTree.GetOrder()[i]];
        slotOfFace[f] = i;
        CTriangle& t = m_Triangles.Place(i);
        t.m_A = m_Position[m_Corner[3 * f]];
        t.m_B = m_Position[m_Corner[3 * f + 1]];
        t.m_C = m_Position[m_Corner[3 * f + 2]];
        for (int k = 0; k < 3; ++k) {
            t.m_Low[k] = std::min(t.m_A[k], std::min(t.m_B[k], t.m_C[k]));
            t.m_High[k] = std::max(t.m_A[k], std::max(t.m_B[k], t.m_C[k]));
        }
    }

    items.clear();
    boxes.clear();
    for (std::uint32_t h = 0; h < halfEdges; ++h) {
        if (!IsLine(m_Kind[h]) || (m_Twin[h] != None && m_Twin[h] < h))
            continue;
        items.push_back(h);
        const Vec &a = m_Position[m_Corner[h]], &b = m_Position[Target(h)];
        boxes.insert(boxes.end(), {std::min(a.x, b.x), std::min(a.y, b.y), std::min(a.z, b.z), std::max(a.x, b.x),
                                   std::max(a.y, b.y), std::max(a.z, b.z)});
    }
    m_SegmentTree.BuildByMedian(boxes.data(), static_cast<std::uint32_t>(items.size()), LeafSize);
    m_SegmentLinks.Build(m_SegmentTree);
    std::vector<std::uint32_t> slotOfEdge(halfEdges, None);
    m_Segments.resize(items.size());
    for (std::uint32_t i = 0; i < items.size(); ++i) {
        const std::uint32_t h = items[m_SegmentTree.GetOrder()[i]];
        slotOfEdge[h] = i;
        m_Segments[i] = CSegment{m_Position[m_Corner[h]], m_Position[Target(h)], m_Kind[h]};
    }

    MarkSoftCorners(slotOfFace);
    FindPleats(slotOfFace, turnedOver);
    MarkFoldedInput(slotOfFace);

    const std::int64_t vertexCount = static_cast<std::int64_t>(m_Position.size());
#pragma omp parallel for schedule(static) if (vertexCount >= ParallelVertices)
    for (std::int64_t i = 0; i < vertexCount; ++i) {
        const std::uint32_t v = static_cast<std::uint32_t>(i);
        if (m_Flags[v] & Deleted)
            continue;
        m_FaceHint[v] = slotOfFace[m_Out[v] / 3];
        if (m_Flags[v] & Sliding)
            m_SegmentHint[v] = slotOfEdge[firstConstraint[v]];
    }
}

// Hints and answers are positions in the trees' order, where the segments
// and the triangles' corners are stored.
Vec CEngine::Projected(std::uint32_t v, const Vec& p) {
    Vec nearest;
    if (m_Flags[v] & Sliding) {
        const std::uint32_t line = m_Line[v];
        const std::uint32_t hint =
            m_SegmentHint[v] != None && m_Segments[m_SegmentHint[v]].m_Line == line ? m_SegmentHint[v] : None;
        const std::uint32_t best = Nearest(
            m_SegmentTree, m_SegmentLinks, p, hint,
            [&](std::uint32_t i, double, Vec& point) {
                const CSegment& s = m_Segments[i];
                if (s.m_Line != line)
                    return std::numeric_limits<double>::infinity();
                point = ClosestOnSegment(p, s.m_A, s.m_B);
                return Squared(point - p);
            },
            nearest);
        if (best == None)
            return p;
        m_SegmentHint[v] = best;
        return nearest;
    }
    const std::uint32_t best = NearestOnInput(p, m_FaceHint[v], nearest);
    if (best == None)
        return p;
    m_FaceHint[v] = best;
    return AcrossPleat(best, p, nearest);
}

namespace {

// The layers of a pleat are looked for this many target lengths along the
// turned-over face's normal on either side of the point.
constexpr double PleatReach = 0.25;

// Where the line through p along n crosses the triangle, its parameter
// along n; NaN where it misses (edges and corners count as crossed).
double CrossingAlong(const Vec& p, const Vec& n, const Vec& a, const Vec& b, const Vec& c) {
    const Vec ab = b - a, ac = c - a, s = n * ac;
    const double det = ab % s;
    if (!(std::fabs(det) > 0))
        return std::numeric_limits<double>::quiet_NaN();
    const Vec ap = p - a;
    const double u = (ap % s) / det;
    const Vec q = ap * ab;
    const double w = (n % q) / det;
    constexpr double Slack = 1e-9;
    if (u < -Slack || w < -Slack || u + w > 1 + Slack)
        return std::numeric_limits<double>::quiet_NaN();
    return (ac % q) / det;
}

}  // namespace

void CEngine::MarkFoldedInput(const std::vector<std::uint32_t>& slotOfFace) {
    m_FoldedSlot.clear();
    m_FoldsLikeNoise = false;
    const std::uint32_t faces = static_cast<std::uint32_t>(slotOfFace.size());
    std::vector<char> beside;
    std::uint32_t inner = 0, creases = 0;
    // Each face's normal is measured once, on all threads; the sweep over
    // the edges reads two.
    MeasureFaceNormals(m_Position);
    for (std::uint32_t h = 0; h < 3 * faces; ++h) {
        const std::uint32_t t = m_Twin[h];
        if (t == None || t < h || m_Corner[h] == None)
            continue;
        ++inner;
        const Vec &m = m_FaceNormals[h / 3], &n = m_FaceNormals[t / 3];
        if (!Folded(m, n))
            continue;
        // A face turned over in its neighbour's plane (a fan wrapped past its
        // rim) is a defect of the tessellation, not of the surface.
        creases += !((m % n) < -NoiseFoldFlatCos * std::sqrt((m % m) * (n % n)));
        if (beside.empty())
            beside.assign(m_Position.size(), 0);
        for (const std::uint32_t v : {m_Corner[h], Target(h), m_Corner[Prev(h)], m_Corner[Prev(t)]})
            beside[v] = 1;
    }
    if (beside.empty())
        return;
    m_FoldsLikeNoise = creases >= NoiseFoldsLeast && creases * NoiseFoldsShare >= inner;
    m_FoldedSlot.assign(m_TriangleTree.GetOrder().size(), 0);
    for (std::uint32_t f = 0; f < faces; ++f)
        if (slotOfFace[f] != None &&
            (beside[m_Corner[3 * f]] || beside[m_Corner[3 * f + 1]] || beside[m_Corner[3 * f + 2]]))
            m_FoldedSlot[slotOfFace[f]] = 1;
}

void CEngine::FindPleats(const std::vector<std::uint32_t>& slotOfFace, const std::vector<char>& turnedOver) {
    m_Pleats.clear();
    m_PleatOfSlot.clear();
    const std::uint32_t faces = static_cast<std::uint32_t>(turnedOver.size());
    std::vector<std::uint32_t> pleatOfVertex;
    for (std::uint32_t f = 0; f < faces; ++f) {
        if (!turnedOver[f] || slotOfFace[f] == None)
            continue;
        const Vec &a = m_Position[m_Corner[3 * f]], &b = m_Position[m_Corner[3 * f + 1]],
                  &c = m_Position[m_Corner[3 * f + 2]];
        Vec n = (b - a) * (c - a);
        n.Normalise();
        if (!(Squared(n) > 0))
            continue;
        if (pleatOfVertex.empty())
            pleatOfVertex.assign(m_Position.size(), None);
        const std::uint32_t pleat = static_cast<std::uint32_t>(m_Pleats.size());
        m_Pleats.push_back(CPleat{slotOfFace[f], n, {}});
        for (std::uint32_t k = 0; k < 3; ++k)
            if (pleatOfVertex[m_Corner[3 * f + k]] == None)
                pleatOfVertex[m_Corner[3 * f + k]] = pleat;
    }
    if (m_Pleats.empty())
        return;
    m_PleatOfSlot.assign(m_TriangleTree.GetOrder().size(), None);
    // A face beside two pleats belongs to the first found.
    for (std::uint32_t f = 0; f < slotOfFace.size(); ++f) {
        if (slotOfFace[f] == None)
            continue;
        std::uint32_t pleat = None;
        for (std::uint32_t k = 0; k < 3; ++k)
            pleat = std::min(pleat, pleatOfVertex[m_Corner[3 * f + k]]);
        if (pleat == None)
            continue;
        m_PleatOfSlot[slotOfFace[f]] = pleat;
        m_Pleats[pleat].m_Slots.push_back(slotOfFace[f]);
    }
}

// Halfway between the outermost layers crossed, so that the one sheet of
// the result lies within half the pleat's thickness of all of them. The
// nearest triangle's own offset counts where the line misses it (p beside
// a layer's edge), so that the answer never strays further from it than
// the layers it lies between.
Vec CEngine::AcrossPleat(std::uint32_t slot, const Vec& p, const Vec& nearest) const {
    if (m_PleatOfSlot.empty() || m_PleatOfSlot[slot] == None)
        return nearest;
    const CPleat& pleat = m_Pleats[m_PleatOfSlot[slot]];
    const CTriangle& middle = m_Triangles[pleat.m_Middle];
    const double reach = PleatReach * m_TargetLength;
    const double own = CrossingAlong(p, pleat.m_Normal, middle.m_A, middle.m_B, middle.m_C);
    if (!(std::fabs(own) <= reach))
        return nearest;
    const CTriangle& near = m_Triangles[slot];
    double at = CrossingAlong(p, pleat.m_Normal, near.m_A, near.m_B, near.m_C);
    if (std::isnan(at))
        at = (nearest - p) % pleat.m_Normal;
    if (!(std::fabs(at) <= reach))
        return nearest;
    double low = std::min(own, at), high = std::max(own, at);
    for (const std::uint32_t i : pleat.m_Slots) {
        const CTriangle& t = m_Triangles[i];
        const double along = CrossingAlong(p, pleat.m_Normal, t.m_A, t.m_B, t.m_C);
        if (std::fabs(along) <= reach) {
            low = std::min(low, along);
            high = std::max(high, along);
        }
    }
    return p + pleat.m_Normal * (0.5 * (low + high));
}

namespace {

// The squared distance from p to triangle t, its closest point written to
// `point`; infinity, leaving `point` unwritten, where t's box lies beyond
// the bound. The triangle's own box is a cheap first test; most triangles
// of a leaf lie beyond the bound. (Against the infinite bound, a hint's is
// always measured, even where the box is not a number.) Forced inline: it
// is the tree walk's hottest call, which the compiler otherwise left as a
// call (1.7 % more instructions in a whole remesh of 50k faces; 0.2 % now).
[[gnu::always_inline]] inline double TriangleDistance(const CTriangle& t, const Vec& p, double bound, Vec& point) {
#if defined(__SSE2__)
    // As the loop below, x and y side by side: std::max(a, b) keeps a
    // unless a < b, as a packed maximum of (b, a) does, NaN and equal zeros
    // included; the sum's terms come in the same order.
    const __m128d zero = _mm_setzero_pd();
    const __m128d pxy = _mm_loadu_pd(&p.x), pz = _mm_load_sd(&p.z);
    __m128d xy = _mm_max_pd(_mm_sub_pd(pxy, _mm_loadu_pd(&t.m_High.x)), _mm_sub_pd(_mm_loadu_pd(&t.m_Low.x), pxy));
    xy = _mm_max_pd(xy, zero);
    xy = _mm_mul_pd(xy, xy);
    __m128d z = _mm_max_sd(_mm_sub_sd(pz, _mm_load_sd(&t.m_High.z)), _mm_sub_sd(_mm_load_sd(&t.m_Low.z), pz));
    z = _mm_max_sd(z, zero);
    z = _mm_mul_sd(z, z);
    const double outside = _mm_cvtsd_f64(_mm_add_sd(_mm_add_sd(xy, _mm_unpackhi_pd(xy, xy)), z));
#else
    double outside = 0;
    for (int k = 0; k < 3; ++k) {
        const double d = std::max(0.0, std::max(t.m_Low[k] - p[k], p[k] - t.m_High[k]));
        outside += d * d;
    }
#endif
    if (!(outside <= bound) && bound != std::numeric_limits<double>::infinity())
        return std::numeric_limits<double>::infinity();
    point = ClosestOnTriangle(p, t.m_A, t.m_B, t.m_C);
    return Squared(point - p);
}

}  // namespace

std::uint32_t CEngine::NearestOnInput(const Vec& p, std::uint32_t hint, Vec& nearest) const {
    const auto closest = [&](std::uint32_t i, double bound, Vec& point) {
        return TriangleDistance(m_Triangles[i], p, bound, point);
    };
    return Nearest(m_TriangleTree, m_TriangleLinks, p, hint, closest, nearest, m_ClimbFrom.data(), m_Climb.data());
}

void CEngine::GatherInput(const Vec& low, const Vec& high, CInputPatch& patch) const {
    patch.m_Low = low;
    patch.m_High = high;
    patch.m_Triangles.clear();
    for (std::vector<double>& side : patch.m_Box)
        side.clear();
    for (std::vector<double>& plane : patch.m_Plane)
        plane.clear();
    patch.m_Slack.clear();
    double extent = 0, size = 0;
    for (int k = 0; k < 3; ++k) {
        extent = std::max(extent, high[k] - low[k]);
        size = std::max(size, std::max(std::fabs(low[k]), std::fabs(high[k])));
    }
    if (m_TriangleTree.IsEmpty())
        return;
    const TreeWalk::CNode* nodes = m_TriangleTree.GetNodes().data();
    std::uint32_t stack[TreeWalk::StackSize];
    unsigned int top = 0;
    stack[top++] = 0;
    while (top > 0) {
        const TreeWalk::CNode& node = nodes[stack[--top]];
        // The nodes' boxes are rounded outwards, so no triangle whose box
        // meets the patch's is passed by; negated, so a NaN never separates.
        bool meets = true;
        for (int k = 0; k < 3; ++k)
            meets = meets && !(double(node.m_Min[k]) > high[k]) && !(double(node.m_Max[k]) < low[k]);
        if (!meets)
            continue;
        if (!node.IsLeaf()) {
            stack[top++] = node.m_First + 1;
            stack[top++] = node.m_First;
            continue;
        }
        for (std::uint32_t i = node.m_First; i < node.m_First + node.m_Count; ++i) {
            const CTriangle& t = m_Triangles[i];
            bool inside = true;
            for (int k = 0; k < 3; ++k)
                inside = inside && !(t.m_Low[k] > high[k]) && !(t.m_High[k] < low[k]);
            if (!inside)
                continue;
            patch.m_Triangles.push_back(i);
            double span = 0, far = size;
            for (int k = 0; k < 3; ++k) {
                patch.m_Box[k].push_back(t.m_Low[k]);
                patch.m_Box[3 + k].push_back(t.m_High[k]);
                span = std::max(span, t.m_High[k] - t.m_Low[k]);
                far = std::max(far, std::max(std::fabs(t.m_Low[k]), std::fabs(t.m_High[k])));
            }
            // The normal is trusted only where its direction is good to
            // 1e-10 radians: the sides' rounding, relative to the shorter
            // side, over the sine of the angle between them. The offset of
            // the plane then errs by at most 1e-10 of the distance from the
            // corner (within the patch and the triangle's own box) and a few
            // roundings of the coordinates, far inside the slack.
            const Vec ab = t.m_B - t.m_A, ac = t.m_C - t.m_A, n = ab * ac;
            const double ab2 = Squared(ab), ac2 = Squared(ac), n2 = Squared(n);
            const double side = std::sqrt(std::min(ab2, ac2)), sine = std::sqrt(n2 / (ab2 * ac2));
            const double drift = (1e-15 * far / side + 1e-15) / sine;
            Vec unit;
            double offset = 0;
            if (n2 > 0 && side > 0 && drift <= 1e-10) {
                unit = n / std::sqrt(n2);
                offset = unit % t.m_A;
            }
            patch.m_Plane[0].push_back(unit.x);
            patch.m_Plane[1].push_back(unit.y);
            patch.m_Plane[2].push_back(unit.z);
            patch.m_Plane[3].push_back(offset);
            patch.m_Slack.push_back(1e-9 * (2 * extent + span) + 4e-15 * far);
        }
    }
    patch.m_Outside.resize(patch.m_Triangles.size());
}

// Every triangle left out of the patch has its box beyond the patch's box
// along some axis, so it lies farther from p than any ball around p inside
// that box; the ball through the patch's nearest, a little grown against
// rounding, inside the box leaves nothing outside that could match it. The
// search weighs the hint first and breaks ties as the tree's walk does (to
// the hint, then to the lowest primitive number), so the answer is the
// walk's whatever the order of the patch.
Vec CEngine::ProjectedNear(std::uint32_t v, const Vec& p, CInputPatch& patch) {
    const std::uint32_t hint = m_FaceHint[v];
    bool within = !(m_Flags[v] & Sliding) && hint != None;
    for (int k = 0; k < 3; ++k)
        within = within && p[k] > patch.m_Low[k] && p[k] < patch.m_High[k];
    if (!within)
        return Projected(v, p);
    const std::vector<std::uint32_t>& order = m_TriangleTree.GetOrder();
    Vec nearest, measured;
    double best = TriangleDistance(m_Triangles[hint], p, std::numeric_limits<double>::infinity(), nearest);
    std::uint32_t found = hint;
    // The boxes' distances first, in one pass the compiler can vectorise:
    // the bound only falls from here, so a box beyond it now stays beyond.
    const std::size_t count = patch.m_Triangles.size();
    const double* box[6];
    for (int k = 0; k < 6; ++k)
        box[k] = patch.m_Box[k].data();
    const double* plane[4];
    for (int k = 0; k < 4; ++k)
        plane[k] = patch.m_Plane[k].data();
    double* outside = patch.m_Outside.data();
    // Each maximum is the selection std::max makes (its second operand
    // where neither is greater), which the processor's maximum makes too:
    // two boxes at a time give the very numbers of one at a time. The
    // compiler left the plain loop unvectorised, branching at every box.
    const double px = p.x, py = p.y, pz = p.z;
    const auto larger = [](double a, double b) { return a > b ? a : b; };
    std::size_t j = 0;
#if defined(__SSE2__)
    const __m128d vx = _mm_set1_pd(px), vy = _mm_set1_pd(py), vz = _mm_set1_pd(pz), zero = _mm_setzero_pd();
    for (; j + 2 <= count; j += 2) {
        const __m128d x = _mm_max_pd(
            _mm_max_pd(_mm_sub_pd(vx, _mm_loadu_pd(box[3] + j)), _mm_sub_pd(_mm_loadu_pd(box[0] + j), vx)), zero);
        const __m128d y = _mm_max_pd(
            _mm_max_pd(_mm_sub_pd(vy, _mm_loadu_pd(box[4] + j)), _mm_sub_pd(_mm_loadu_pd(box[1] + j), vy)), zero);
        const __m128d z = _mm_max_pd(
            _mm_max_pd(_mm_sub_pd(vz, _mm_loadu_pd(box[5] + j)), _mm_sub_pd(_mm_loadu_pd(box[2] + j), vz)), zero);
        _mm_storeu_pd(outside + j, _mm_add_pd(_mm_add_pd(_mm_mul_pd(x, x), _mm_mul_pd(y, y)), _mm_mul_pd(z, z)));
    }
#endif
    for (; j < count; ++j) {
        const double x = larger(larger(px - box[3][j], box[0][j] - px), 0.0);
        const double y = larger(larger(py - box[4][j], box[1][j] - py), 0.0);
        const double z = larger(larger(pz - box[5][j], box[2][j] - pz), 0.0);
        outside[j] = x * x + y * y + z * z;
    }
    for (std::size_t j = 0; j < count; ++j) {
        const std::uint32_t i = patch.m_Triangles[j];
        if (!(outside[j] <= best) || i == hint)
            continue;
        // The distance from the triangle's plane, less its slack, is less
        // than the distance the triangle would measure: where it lies
        // beyond the bound, so would that, and the triangle cannot win.
        const double off =
            std::fabs(plane[0][j] * p.x + plane[1][j] * p.y + plane[2][j] * p.z - plane[3][j]) - patch.m_Slack[j];
        if (off > 0 && off * off > best * (1 + 1e-9))
            continue;
        const double d = TriangleDistance(m_Triangles[i], p, best, measured);
        if (d < best || (d == best && found != hint && order[i] < order[found])) {
            best = d;
            found = i;
            nearest = measured;
        }
    }
    // The margin, relative to the patch's size, lies far above the rounding
    // of any distance measured in it.
    double extent = 0;
    for (int k = 0; k < 3; ++k)
        extent = std::max(extent, patch.m_High[k] - patch.m_Low[k]);
    const double reach = std::sqrt(best) * (1 + 1e-9) + 1e-9 * extent;
    bool settled = true;
    for (int k = 0; k < 3; ++k)
        settled = settled && p[k] - reach > patch.m_Low[k] && p[k] + reach < patch.m_High[k];
    if (!settled)
        return Projected(v, p);
    m_FaceHint[v] = found;
    return AcrossPleat(found, p, nearest);
}

// Every face of the result has its corners on the input, so on a curved
// part it is a chord: its interior lies inside a convex part and outside a
// concave one, up to about L^2 / (6 R) at its middle for a side L on a radius
// R, while its corners lie at no distance at all. Each face measures its
// signed depth below or above the input at its centroid and the midpoints of
// its sides (where it crosses a crease of a faceted input, the deepest point
// is often a side's), and the middle of the span those depths and its
// corners' zero cover is where the face would best lie. Moving each free
// vertex along its normal by the mean of its faces' middles splits each
// chord's depth between its corners and its middle, which halves the part
// of the distance either way that the chords make and most of the volume
// they lose; on flat parts, and on noise that averages out, nothing moves.
// Depths are measured from the places before the pass and the moves go to a
// separate array, so the result does not depend on threads.
void CEngine::FitFaces() {
    const std::int64_t faceCount = static_cast<std::int64_t>(m_Corner.size() / 3);
    std::vector<double> depth(static_cast<std::size_t>(faceCount), 0.0);
    // No face may end with a smaller angle than the result's smallest: the
    // fit gains a little distance, and angles are worth more.
    // (A minimum, so the same on any number of threads.)
    const double floor = SmallestAngleOfFaces();
    // The closest point to each side's midpoint, measured once for the two
    // faces of the side, on its half-edge of the lower number.
    const std::int64_t halfEdges = 3 * faceCount;
    std::vector<Vec> sideNearest(static_cast<std::size_t>(halfEdges));
    std::vector<char> sideFound(static_cast<std::size_t>(halfEdges), 0);
    const auto owner = [&](std::uint32_t h) { return m_Twin[h] != None && m_Twin[h] < h ? m_Twin[h] : h; };
#pragma omp parallel for schedule(dynamic, 4096) if (halfEdges >= 3 * ParallelFaces)
    for (std::int64_t i = 0; i < halfEdges; ++i) {
        const std::uint32_t h = static_cast<std::uint32_t>(i);
        if (m_Corner[h] == None || owner(h) != h)
            continue;
        const Vec middle = (m_Position[m_Corner[h]] + m_Position[Target(h)]) * 0.5;
        sideFound[h] = NearestOnInput(middle, m_FaceHint[m_Corner[h]], sideNearest[h]) != None;
    }
#pragma omp parallel for schedule(dynamic, 2048) if (faceCount >= ParallelFaces)
    for (std::int64_t i = 0; i < faceCount; ++i) {
        const std::uint32_t f = static_cast<std::uint32_t>(i);
        if (m_Corner[3 * f] == None)
            continue;
        const std::uint32_t* corner = &m_Corner[3 * f];
        const Vec &a = m_Position[corner[0]], &b = m_Position[corner[1]], &c = m_Position[corner[2]];
        Vec normal = (b - a) * (c - a);
        if (!(Squared(normal) > m_MinCross2))
            continue;
        normal.Normalise();
        const Vec points[4] = {(a + b + c) / 3.0, (a + b) * 0.5, (b + c) * 0.5, (c + a) * 0.5};
        double high = 0, low = 0;
        for (std::uint32_t k = 0; k < 4; ++k) {
            Vec nearest;
            if (k == 0 ? NearestOnInput(points[0], m_FaceHint[corner[0]], nearest) == None
                       : !sideFound[owner(3 * f + k - 1)])
                continue;
            if (k > 0)
                nearest = sideNearest[owner(3 * f + k - 1)];
            const double d = (nearest - points[k]) % normal;
            if (std::isfinite(d)) {
                high = std::max(high, d);
                low = std::min(low, d);
            }
        }
        depth[f] = 0.5 * (high + low);
    }

    const std::int64_t vertexCount = static_cast<std::int64_t>(m_Position.size());
    const double reach = FitReachFactor * m_TargetLength;
    const double extra = FitExtraReachFactor * m_TargetLength;
    // What each vertex's faces ask beyond the reach, along the normal it
    // moved by, for the second step.
    std::vector<Vec> beyond(m_Position.size(), Vec());
    m_Moved.resize(m_Position.size());
#pragma omp parallel for schedule(dynamic, 512) if (vertexCount >= ParallelVertices)
    for (std::int64_t i = 0; i < vertexCount; ++i) {
        const std::uint32_t v = static_cast<std::uint32_t>(i);
        m_Moved[v] = m_Position[v];
        if (!IsFree(v))
            continue;
        const Vec& p = m_Position[v];
        Vec normal;
        double weighted = 0, area = 0;
        ForEachOutgoing(v, [&](std::uint32_t e) {
            const Vec cross = (m_Position[Target(e)] - p) * (m_Position[m_Corner[Prev(e)]] - p);
            const double twice = std::sqrt(Squared(cross));
            normal += cross;
            weighted += depth[e / 3] * twice;
            area += twice;
        });
        if (!(area > 0) || !(Squared(normal) > 0))
            continue;
        normal.Normalise();
        const double wanted = weighted / area;
        const double offset = std::clamp(wanted, -reach, reach);
        const Vec moved = p + normal * offset;
        if (IsFinite(moved)) {
            m_Moved[v] = moved;
            beyond[v] = normal * std::clamp(wanted - offset, -extra, extra);
        }
    }
    // Each round takes back at least one vertex, and none moves again.
    TakeBackSpoiledMoves(floor);
    while (TakeBackFoldingMoves())
        TakeBackSpoiledMoves(floor);
    m_Position.swap(m_Moved);

    // The vertices whose first step went the whole reach and was kept take a
    // second one (see FitExtraReachFactor), measured against the places after
    // the first: no face under the smallest angle the result has now, no side
    // turning past FitExtraTurnCos that did not, and a take-back returns only
    // the second step. A vertex beside a folded side stays: the moves that
    // mend folds afterwards (see UnfoldByMoves) start from where a result
    // without the second step has them, and a chain of thin links coarsened
    // twice kept one more fold otherwise.
    // Most fits leave every vertex short of the reach, beyond zero for all:
    // with no second step there is nothing to take back.
    bool any = false;
#pragma omp parallel for schedule(dynamic, 512) reduction(|| : any) if (vertexCount >= ParallelVertices)
    for (std::int64_t i = 0; i < vertexCount; ++i) {
        const std::uint32_t v = static_cast<std::uint32_t>(i);
        bool stayed = !(beyond[v] == Vec()) && !(m_Moved[v] == m_Position[v]) && IsFinite(m_Position[v] + beyond[v]);
        if (stayed)
            ForEachOutgoing(v, [&](std::uint32_t e) {
                for (const std::uint32_t side : {e, Next(e)}) {
                    const std::uint32_t t = m_Twin[side];
                    if (t == None)
                        continue;
                    stayed = stayed && !Folded(FaceNormal(side / 3), FaceNormal(t / 3));
                }
            });
        m_Moved[v] = stayed ? m_Position[v] + beyond[v] : m_Position[v];
        any = any || stayed;
    }
    if (!any)
        return;
    const double secondFloor = SmallestAngleOfFaces();
    TakeBackSpoiledMoves(secondFloor);
    while (TakeBackFoldingMoves(FitExtraTurnCos))
        TakeBackSpoiledMoves(secondFloor);
    m_Position.swap(m_Moved);
}

// The fit moves each free vertex along its own normal, so two faces on a
// part a few targets round (a slender cone's tip) may come to meet past the
// fold's angle: the moves of both faces' corners are taken back where an
// edge folds that did not, until none does; in the worst case everything
// is back where it was. Serial, in face order after one sweep over the
// half-edges, so the result does not depend on threads.
bool CEngine::TakeBackFoldingMoves(double turnCos) {
    bool back = false;
    const auto folds = [&](std::uint32_t h) {
        const std::uint32_t t = m_Twin[h];
        return t != None && Turned(NormalAt(m_Moved, h / 3), NormalAt(m_Moved, t / 3), turnCos) &&
               !Turned(NormalAt(m_Position, h / 3), NormalAt(m_Position, t / 3), turnCos);
    };
    // Most fits fold nothing: all threads look first, for the same turn as
    // `folds`, each face's normal after the moves measured once.
    MeasureFaceNormals(m_Moved);
    if (!AnyFace([&](std::uint32_t f) {
            if (m_Corner[3 * f] == None)
                return false;
            for (std::uint32_t h = 3 * f; h < 3 * f + 3; ++h) {
                const std::uint32_t t = m_Twin[h];
                if (t != None && t > h && Turned(m_FaceNormals[f], m_FaceNormals[t / 3], turnCos) &&
                    !Turned(NormalAt(m_Position, f), NormalAt(m_Position, t / 3), turnCos))
                    return true;
            }
            return false;
        }))
        return false;
    m_Stack.clear();
    const std::uint32_t halfEdges = static_cast<std::uint32_t>(m_Corner.size());
    for (std::uint32_t h = 0; h < halfEdges; ++h)
        if (m_Corner[h] != None && m_Twin[h] != None && m_Twin[h] > h && folds(h))
            m_Stack.push_back(h);
    // Bounded: a vertex is taken back at most once, and only a take-back
    // pushes, one entry per side of its fan's faces: at most 3 F plus 9 F
    // pops.
    while (!m_Stack.empty()) {
        const std::uint32_t h = m_Stack.back();
        m_Stack.pop_back();
        if (m_Corner[h] == None || !folds(h))
            continue;
        for (const std::uint32_t f : {h / 3, m_Twin[h] / 3})
            for (std::uint32_t k = 0; k < 3; ++k) {
                const std::uint32_t v = m_Corner[3 * f + k];
                if (m_Moved[v] == m_Position[v])
                    continue;
                m_Moved[v] = m_Position[v];
                back = true;
                ForEachOutgoing(v, [&](std::uint32_t e) {
                    for (const std::uint32_t side : {e, Next(e), Prev(e)})
                        if (m_Twin[side] != None)
                            m_Stack.push_back(side);
                });
            }
    }
    return back;
}

}  // namespace Corvane::Pellix::Quorvel::detail::preserving
