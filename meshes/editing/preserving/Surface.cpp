// The surface the engine edits: loading the input into half-edge arrays,
// pairing the edges, compacting between iterations and extracting the result.
#include "quorvel/meshes/editing/RemeshEstimate.h"
#include "quorvel/meshes/editing/preserving/Engine.h"

namespace Corvane::Pellix::Quorvel::detail::preserving {

CEngine::CEngine(const std::vector<double>& positions, const std::vector<std::uint32_t>& triangles,
                 const CRemeshOptions& options, double targetLength)
    : m_Options(options), m_TargetLength(targetLength) {
    const double split = SplitFactor * targetLength, collapse = CollapseFactor * targetLength;
    const double merge = CornerMergeFactor * targetLength, midpoint = MidpointCollapseFactor * targetLength;
    m_MidpointLength2 = midpoint * midpoint;
    m_SplitLength2 = split * split;
    m_CollapseLength2 = collapse * collapse;
    m_MergeLength2 = merge * merge;
    m_LineEndMergeLength2 = LineEndMergeFactor * LineEndMergeFactor * targetLength * targetLength;
    m_LineDeviation2 = LineDeviationFactor * LineDeviationFactor * targetLength * targetLength;
    m_KeptCollapseLength2 = KeptCollapseFactor * KeptCollapseFactor * targetLength * targetLength;
    m_KeptDeviation = KeptDeviationFactor * targetLength;
    m_MaxRoughness = MaxRoughnessFactor * targetLength;
    const bool features = options.m_FeatureAngle > 0 && options.m_FeatureAngle < 180;
    m_CosCorner = std::cos((features ? options.m_FeatureAngle : DefaultCornerAngle) * Pi / 180.0);
    m_AngleReachLength2 = AngleReachFactor * AngleReachFactor * m_TargetLength * m_TargetLength;
    // Twice the area of a triangle this small counts as none at all.
    const double tiny = 1e-10 * targetLength * targetLength;
    m_MinCross2 = tiny * tiny;
    Load(positions, triangles);
}

// ---- Set-up --------------------------------------------------------------------

void CEngine::Load(const std::vector<double>& positions, const std::vector<std::uint32_t>& triangles) {
    const std::size_t vertexCount = positions.size() / 3;
    m_Position.resize(vertexCount);
    for (std::size_t v = 0; v < vertexCount; ++v)
        m_Position[v] = Vec(positions[3 * v], positions[3 * v + 1], positions[3 * v + 2]);
    // Vertices start deleted and come alive when a face uses them, so
    // unused input vertices vanish from the result.
    m_Flags.assign(vertexCount, Deleted);
    m_Out.assign(vertexCount, None);
    m_Line.assign(vertexCount, None);
    m_Source.resize(vertexCount);
    std::iota(m_Source.begin(), m_Source.end(), 0u);
    m_FaceHint.assign(vertexCount, None);
    m_SegmentHint.assign(vertexCount, None);
    m_CarriedSlot.assign(vertexCount, None);
    m_Roughness.assign(vertexCount, 0.0);
    m_CarriedPool.clear();

    const std::size_t faceCount = triangles.size() / 3;
    m_Corner.clear();
    m_Corner.reserve(3 * faceCount);
    for (std::size_t f = 0; f < faceCount; ++f) {
        const std::uint32_t a = triangles[3 * f], b = triangles[3 * f + 1], c = triangles[3 * f + 2];
        if (a >= vertexCount || b >= vertexCount || c >= vertexCount || a == b || b == c || c == a)
            continue;
        m_Corner.push_back(a);
        m_Corner.push_back(b);
        m_Corner.push_back(c);
    }
    std::vector<char> frozenFace;
    PairEdges(frozenFace);
    // Flaps hinge on locked edges, whose ends pairing marks: only such inputs
    // are searched for them, and paired again without those it drops.
    const auto locked = [&](std::uint32_t v) { return (m_Flags[v] & NonManifold) != 0; };
    if (std::any_of(m_Corner.begin(), m_Corner.end(), locked) && DropCoveredFins())
        PairEdges(frozenFace);
    const std::size_t faces = m_Corner.size() / 3;
    ClassifyConstraints(frozenFace);
    FindRodRims();
    // Four times what splitting alone may make: the faces of equilateral
    // triangles of the target size that cover the input, plus two for every
    // target length along the input's edges (long thin faces are cut along
    // their sides whatever their area), plus the input's own. The frozen
    // faces, those with a non-finite corner, count nothing.
    // A target whose square underflows adds nothing, rather than the
    // infinity the estimate would divide out.
    const double equilateral = std::sqrt(3.0) / 4.0 * m_TargetLength * m_TargetLength;
    const double cuts =
        equilateral > 0 ? EstimateRemeshFaceCount(m_Position.data(), m_Corner.data(), faces, m_TargetLength) : 0.0;
    const double budget = 4.0 * (double(faces) + cuts) + 1000.0;
    // Half-edges are numbered in 32 bits, which also bounds the budget.
    m_FaceBudget = std::isfinite(budget) && budget < 4e8 ? static_cast<std::size_t>(budget) : std::size_t(400000000);
    m_Stamp.assign(m_Position.size(), 0);
    m_Valence.assign(m_Position.size(), 0);
    for (std::uint32_t v = 0; v < m_Position.size(); ++v)
        if (!(m_Flags[v] & Deleted))
            m_Valence[v] = Valence(v);
}

// Every vertex a face uses comes alive, the frozen faces are marked (a
// corner not finite, or a piece too small for the target) and the edges
// paired; run again from scratch when faces went.
void CEngine::PairEdges(std::vector<char>& frozenFace) {
    m_Flags.assign(m_Position.size(), Deleted);
    m_Out.assign(m_Position.size(), None);
    m_Twin.assign(m_Corner.size(), None);
    m_Kind.assign(m_Corner.size(), None);
    for (const std::uint32_t v : m_Corner)
        m_Flags[v] = 0;
    const std::size_t faces = m_Corner.size() / 3;
    frozenFace.assign(faces, 0);
    for (std::size_t f = 0; f < faces; ++f)
        for (int k = 0; k < 3; ++k)
            if (!IsFinite(m_Position[m_Corner[3 * f + k]]))
                frozenFace[f] = 1;
    FreezeSmallPieces(frozenFace);
    BuildTwins(frozenFace);
}

// Vertex clustering leaves flaps: a face hinged on edges it shares with two
// other faces, its remaining sides open, folded back onto the surface those
// two faces already make. Kept, the flap is a sliver no edit may touch (every
// side locked or open, every corner fixed), and it locks the good faces
// hinged with it; it covers nothing that the surface beneath does not. Such a
// face goes where every sample of it lies within FinCoverFactor targets of
// the faces around its corners that are no flaps themselves (two flaps on one
// another would otherwise each count as the other's cover).
bool CEngine::DropCoveredFins() {
    const std::size_t faces = m_Corner.size() / 3, vertexCount = m_Position.size();
    // Half-edges by their origin, in compressed rows, and apart from them
    // their targets, sorted within each row longer than SortedRow (a fan's
    // centre may have thousands; most rows hold six).
    std::vector<std::uint32_t> start(vertexCount + 1, 0), around(m_Corner.size()), to(m_Corner.size());
    for (const std::uint32_t v : m_Corner)
        ++start[v + 1];
    for (std::size_t v = 0; v < vertexCount; ++v)
        start[v + 1] += start[v];
    {
        std::vector<std::uint32_t> fill(start.begin(), start.end() - 1);
        for (std::size_t h = 0; h < m_Corner.size(); ++h) {
            const std::size_t i = fill[m_Corner[h]]++;
            around[i] = static_cast<std::uint32_t>(h);
            to[i] = m_Corner[h - h % 3 + (h + 1) % 3];
        }
    }
    constexpr std::uint32_t SortedRow = 16;
    for (std::size_t v = 0; v < vertexCount; ++v)
        if (start[v + 1] - start[v] > SortedRow)
            std::sort(to.begin() + start[v], to.begin() + start[v + 1]);
    const auto count = [&](std::uint32_t a, std::uint32_t b) {
        const auto first = to.begin() + start[a], last = to.begin() + start[a + 1];
        if (last - first <= SortedRow)
            return static_cast<std::uint32_t>(std::count(first, last, b));
        const auto range = std::equal_range(first, last, b);
        return static_cast<std::uint32_t>(range.second - range.first);
    };
    // A flap: some side of it holds three or more faces, and none exactly
    // two (a hinge of the ordinary surface).
    std::vector<char> flap(faces, 0);
    bool any = false;
    for (std::uint32_t f = 0; f < faces; ++f) {
        bool shared = false, ordinary = false;
        for (std::uint32_t k = 0; k < 3; ++k) {
            const std::uint32_t a = m_Corner[3 * f + k], b = m_Corner[3 * f + (k + 1) % 3];
            const std::uint32_t held = count(a, b) + count(b, a);
            shared |= held >= 3;
            ordinary |= held == 2;
        }
        flap[f] = shared && !ordinary;
        any |= flap[f] != 0;
    }
    if (!any)
        return false;
    const double limit = FinCoverFactor * m_TargetLength, limit2 = limit * limit;
    std::vector<char> drop(faces, 0);
    any = false;
    for (std::uint32_t f = 0; f < faces; ++f) {
        if (!flap[f])
            continue;
        const Vec &a = m_Position[m_Corner[3 * f]], &b = m_Position[m_Corner[3 * f + 1]],
                  &c = m_Position[m_Corner[3 * f + 2]];
        if (!IsFinite(a) || !IsFinite(b) || !IsFinite(c))
            continue;
        const Vec samples[] = {a,
                               b,
                               c,
                               0.5 * (a + b),
                               0.5 * (b + c),
                               0.5 * (c + a),
                               (a + b + c) / 3.0,
                               0.25 * (2.0 * a + b + c),
                               0.25 * (a + 2.0 * b + c),
                               0.25 * (a + b + 2.0 * c)};
        bool covered = true;
        for (const Vec& p : samples) {
            bool near = false;
            for (int k = 0; k < 3 && !near; ++k) {
                const std::uint32_t v = m_Corner[3 * f + k];
                for (std::uint32_t i = start[v]; i < start[v + 1] && !near; ++i) {
                    const std::uint32_t g = around[i] / 3;
                    if (flap[g])
                        continue;
                    const Vec q = ClosestOnTriangle(p, m_Position[m_Corner[3 * g]], m_Position[m_Corner[3 * g + 1]],
                                                    m_Position[m_Corner[3 * g + 2]]);
                    near = Squared(q - p) <= limit2;
                }
            }
            if (!near) {
                covered = false;
                break;
            }
        }
        drop[f] = covered;
        any |= covered;
    }
    if (!any)
        return false;
    std::size_t kept = 0;
    for (std::size_t f = 0; f < faces; ++f) {
        if (drop[f])
            continue;
        for (int k = 0; k < 3; ++k)
            m_Corner[3 * kept + k] = m_Corner[3 * f + k];
        ++kept;
    }
    m_Corner.resize(3 * kept);
    return true;
}

// A separate piece that fits within SmallPieceFactor targets (debris beside
// a scanned body, a rivet beside a plate) holds nothing the target can
// resolve: coarsened, it ended as a tetrahedron or a double pyramid whose
// free vertices relaxation pressed onto one side of the piece, flat, its
// faces back to back. It stays as it is, beside a piece that does not fit.
void CEngine::FreezeSmallPieces(std::vector<char>& frozenFace) const {
    const std::size_t vertexCount = m_Position.size(), faces = m_Corner.size() / 3;
    std::vector<std::uint32_t> parent(vertexCount);
    std::iota(parent.begin(), parent.end(), 0u);
    const auto find = [&](std::uint32_t v) { return FindRoot(parent, v); };
    // Two sides of a face join its three corners; the third adds nothing.
    // Each root is the least vertex of its piece, whatever the order of the
    // unions, so the pieces' numbers below do not depend on it either.
    for (std::size_t h = 0; h < m_Corner.size(); ++h) {
        if (h % 3 == 2)
            continue;
        const std::uint32_t a = find(m_Corner[h]), b = find(m_Corner[h + 1]);
        if (a != b)
            parent[std::max(a, b)] = std::min(a, b);
    }
    // Boxes by piece, not by vertex: most inputs are one piece, and stop here.
    std::vector<std::uint32_t> piece(vertexCount, None);
    std::uint32_t pieces = 0;
    for (const std::uint32_t v : m_Corner) {
        const std::uint32_t r = find(v);
        if (piece[r] == None)
            piece[r] = pieces++;
    }
    if (pieces < 2)
        return;
    const double inf = std::numeric_limits<double>::infinity();
    std::vector<Vec> low(pieces, Vec(inf, inf, inf)), high(pieces, Vec(-inf, -inf, -inf));
    for (const std::uint32_t v : m_Corner) {
        const std::uint32_t p = piece[find(v)];
        for (int k = 0; k < 3; ++k) {
            low[p][k] = std::min(low[p][k], m_Position[v][k]);
            high[p][k] = std::max(high[p][k], m_Position[v][k]);
        }
    }
    // Where every piece is that small, the caller asked for a target beyond
    // the whole input, and gets the coarsening as for one piece.
    const double limit2 = SmallPieceFactor * SmallPieceFactor * m_TargetLength * m_TargetLength;
    bool large = false;
    for (std::uint32_t p = 0; p < pieces; ++p)
        large |= !(Squared(high[p] - low[p]) < limit2);
    if (!large)
        return;
    // A small piece holding a sliver is no debris but a part of a model
    // built from boxes (a chimney 0.5 x 0.5 x 2.2 beside a house, its sides
    // two faces of 12.8 degrees), which its own remesh makes good.
    std::vector<char> sliver(pieces, 0);
    for (std::size_t f = 0; f < faces; ++f)
        if (SmallestAngle(m_Position[m_Corner[3 * f]], m_Position[m_Corner[3 * f + 1]],
                          m_Position[m_Corner[3 * f + 2]]) < SmallPieceSliverAngle)
            sliver[piece[find(m_Corner[3 * f])]] = 1;
    for (std::size_t f = 0; f < faces; ++f) {
        const std::uint32_t p = piece[find(m_Corner[3 * f])];
        if (Squared(high[p] - low[p]) < limit2 && !sliver[p])
            frozenFace[f] = 1;
    }
}

void CEngine::BuildTwins(const std::vector<char>& frozenFace) {
    const std::uint32_t halfEdges = static_cast<std::uint32_t>(m_Corner.size());
    const std::size_t vertexCount = m_Position.size();
    // Outgoing half-edges of every vertex, in compressed rows.
    std::vector<std::uint32_t> start(vertexCount + 1, 0);
    for (std::uint32_t h = 0; h < halfEdges; ++h)
        ++start[m_Corner[h] + 1];
    for (std::size_t v = 0; v < vertexCount; ++v)
        start[v + 1] += start[v];
    std::vector<std::uint32_t> outgoing(halfEdges);
    {
        std::vector<std::uint32_t> fill(start.begin(), start.end() - 1);
        for (std::uint32_t h = 0; h < halfEdges; ++h)
            outgoing[fill[m_Corner[h]]++] = h;
    }

    // An edge is paired only when it has exactly one half-edge each way; any
    // other edge (more than two faces, or two faces wound alike) is locked
    // and its ends are fixed.
    // Edges shared by more than two faces are found here, in the pass that
    // pairs the half-edges, and not by a census of their own (as the tool's
    // report keeps): the pairing needs every twin in the engine's numbering
    // anyway, and an edge it cannot pair is exactly one to lock.
    //
    // Each half-edge decides for itself, from its own edge's census, which
    // comes out the same from both of its halves: it takes its twin, is
    // locked, or stays open; so every entry is written by one thread. The
    // ends of locked edges are marked afterwards.
    const std::int64_t halfEdgeCount = halfEdges;
#pragma omp parallel for schedule(static) if (halfEdgeCount >= 3 * ParallelFaces)
    for (std::int64_t i = 0; i < halfEdgeCount; ++i) {
        const std::uint32_t h = static_cast<std::uint32_t>(i);
        const std::uint32_t a = m_Corner[h], b = Target(h);
        std::uint32_t same = 0, opposite = 0, match = None;
        for (std::uint32_t j = start[a]; j < start[a + 1]; ++j)
            same += Target(outgoing[j]) == b;
        for (std::uint32_t j = start[b]; j < start[b + 1]; ++j)
            if (Target(outgoing[j]) == a) {
                ++opposite;
                match = outgoing[j];
            }
        if (same == 1 && opposite == 1)
            m_Twin[h] = match;
        else if (same != 1 || opposite != 0)
            m_Kind[h] = Locked;
    }
    for (std::uint32_t h = 0; h < halfEdges; ++h)
        if (m_Kind[h] == Locked) {
            m_Flags[m_Corner[h]] |= Fixed | NonManifold;
            m_Flags[Target(h)] |= Fixed | NonManifold;
        }

    // Two faces on the same three corners wound against each other pair up
    // into a closed pillow of no volume, which no edit can improve and some
    // would turn into a degenerate face: both are locked.
    const std::uint32_t faceCount = halfEdges / 3;
    for (std::uint32_t f = 0; f < faceCount; ++f) {
        const std::uint32_t* corner = &m_Corner[3 * f];
        const std::uint32_t t = m_Twin[3 * f];
        if (t == None)
            continue;
        const std::uint32_t* other = &m_Corner[3 * (t / 3)];
        const auto holds = [&](std::uint32_t v) { return other[0] == v || other[1] == v || other[2] == v; };
        if (!holds(corner[0]) || !holds(corner[1]) || !holds(corner[2]))
            continue;
        for (const std::uint32_t g : {f, t / 3})
            for (std::uint32_t h = 3 * g; h < 3 * g + 3; ++h) {
                m_Kind[h] = Locked;
                m_Flags[m_Corner[h]] |= Fixed;
            }
    }

    for (std::uint32_t h = 0; h < halfEdges; ++h)
        if (m_Out[m_Corner[h]] == None)
            m_Out[m_Corner[h]] = h;
    // A vertex whose fan does not reach all of its faces joins separate fans.
    // Where every edge around it is paired or open (two cones touching at
    // their tips, two sheets sharing one point), each further fan gets a copy
    // of its own, so that the edits see an ordinary ring on each side: held
    // as a non-manifold vertex, no edit could touch the faces around it, and
    // splits beside the frozen fans left slivers and folds. The copies carry
    // the original's source, become fixed corners once the constraints are
    // known (a cone's tip is found as any other), so they stay on the
    // original's place, and Extract joins them again. A vertex at the end of
    // an edge of three or more faces stays non-manifold: its fans are not
    // separate.
    m_FanVertices.clear();
    std::vector<char> inFan;
    for (std::uint32_t v = 0; v < vertexCount; ++v) {
        if (m_Flags[v] & Deleted)
            continue;
        NormaliseOut(v);
        std::uint32_t fan = 0;
        ForEachOutgoing(v, [&](std::uint32_t) { ++fan; });
        if (fan == start[v + 1] - start[v])
            continue;
        if (m_Flags[v] & NonManifold) {
            m_Flags[v] |= Fixed;
            continue;
        }
        if (inFan.empty())
            inFan.assign(halfEdges, 0);
        m_FanVertices.push_back(v);
        ForEachOutgoing(v, [&](std::uint32_t e) { inFan[e] = 1; });
        for (std::uint32_t i = start[v]; i < start[v + 1]; ++i) {
            if (inFan[outgoing[i]])
                continue;
            const Vec place = m_Position[v];
            const std::uint32_t copy = NewVertex(place);
            m_Flags[copy] = m_Flags[v];
            m_Source[copy] = m_Source[v];
            m_FanVertices.push_back(copy);
            m_Out[copy] = outgoing[i];
            NormaliseOut(copy);
            ForEachOutgoing(copy, [&](std::uint32_t e) {
                inFan[e] = 1;
                m_Corner[e] = copy;
            });
        }
    }

    // Faces at a non-finite vertex cannot be measured: they stay as they are.
    for (std::uint32_t f = 0; f < faceCount; ++f) {
        if (!frozenFace[f])
            continue;
        for (std::uint32_t h = 3 * f; h < 3 * f + 3; ++h) {
            m_Kind[h] = Locked;
            if (m_Twin[h] != None)
                m_Kind[m_Twin[h]] = Locked;
            m_Flags[m_Corner[h]] |= Fixed;
        }
    }
}

// ---- Compaction ----------------------------------------------------------------

// Vertices in the order of a Morton curve through the bounding box, so that
// neighbours sit close in memory and consecutive projections walk the same
// part of the tree.
void CEngine::SpatialOrder(std::vector<std::uint32_t>& order) const {
    Vec low(std::numeric_limits<double>::infinity(), std::numeric_limits<double>::infinity(),
            std::numeric_limits<double>::infinity());
    Vec high = -low;
    for (const std::uint32_t v : order)
        for (int k = 0; k < 3; ++k)
            if (std::isfinite(m_Position[v][k])) {
                low[k] = std::min(low[k], m_Position[v][k]);
                high[k] = std::max(high[k], m_Position[v][k]);
            }
    std::vector<std::pair<std::uint32_t, std::uint32_t>> keyed(order.size());
    const std::int64_t count = static_cast<std::int64_t>(order.size());
#pragma omp parallel for schedule(static) if (count >= ParallelVertices)
    for (std::int64_t i = 0; i < count; ++i) {
        const std::uint32_t v = order[i];
        std::uint32_t key = 0;
        std::uint32_t cell[3];
        for (int k = 0; k < 3; ++k) {
            const double extent = high[k] - low[k];
            const double unit = extent > 0 ? (m_Position[v][k] - low[k]) / extent : 0.0;
            cell[k] = std::isfinite(unit) ? static_cast<std::uint32_t>(std::clamp(unit, 0.0, 1.0) * 1023.0) : 0u;
        }
        for (int bit = 9; bit >= 0; --bit)
            for (int k = 0; k < 3; ++k)
                key = (key << 1) | ((cell[k] >> bit) & 1u);
        keyed[i] = std::make_pair(key, v);
    }
    // No two pairs are equal (each names its own vertex), so every sort
    // gives the one order: the halves are sorted by a thread each, then
    // merged.
    const auto middle = keyed.begin() + count / 2;
#pragma omp parallel sections if (count >= ParallelVertices)
    {
#pragma omp section
        std::sort(keyed.begin(), middle);
#pragma omp section
        std::sort(middle, keyed.end());
    }
    std::vector<std::pair<std::uint32_t, std::uint32_t>> merged(keyed.size());
    std::merge(keyed.begin(), middle, middle, keyed.end(), merged.begin());
    for (std::size_t i = 0; i < order.size(); ++i)
        order[i] = merged[i].second;
}

// Drops removed vertices and faces. After many new vertices the vertices are
// also put in spatial order; faces always follow their first vertex.
void CEngine::Compact() {
    const std::uint32_t vertexCount = static_cast<std::uint32_t>(m_Position.size());
    const std::uint32_t faceCount = static_cast<std::uint32_t>(m_Corner.size() / 3);
    // The maps and keys below live in arrays kept from the compaction
    // before, never cleared: every entry that is read is written first.
    std::vector<std::uint32_t>& order = m_CompactOrder;
    order.clear();
    for (std::uint32_t v = 0; v < vertexCount; ++v)
        if (!(m_Flags[v] & Deleted))
            order.push_back(v);
    if (m_NewSinceOrdering * 10 > order.size()) {
        SpatialOrder(order);
        m_NewSinceOrdering = 0;
    }
    const std::uint32_t vertices = static_cast<std::uint32_t>(order.size());
    // Only live vertices are looked up: the corners of live faces.
    std::vector<std::uint32_t>& vertexMap = m_CompactVertexMap;
    vertexMap.resize(vertexCount);
    for (std::uint32_t i = 0; i < vertices; ++i)
        vertexMap[order[i]] = i;

    // Faces by the new number of their smallest corner, a counting sort; the
    // keys are gathered by all threads, the counts taken in face order.
    std::vector<std::uint32_t> first(vertices + 1, 0);
    std::vector<std::uint32_t>& faceMap = m_CompactFaceMap;
    std::vector<std::uint32_t>& key = m_CompactKey;
    faceMap.resize(faceCount);
    key.resize(faceCount);
    const std::int64_t faceEntries = faceCount;
#pragma omp parallel for schedule(static) if (faceEntries >= ParallelFaces)
    for (std::int64_t f = 0; f < faceEntries; ++f)
        key[f] = m_Corner[3 * f] == None
                     ? None
                     : std::min(vertexMap[m_Corner[3 * f]],
                                std::min(vertexMap[m_Corner[3 * f + 1]], vertexMap[m_Corner[3 * f + 2]]));
    for (std::uint32_t f = 0; f < faceCount; ++f)
        if (m_Corner[3 * f] != None)
            ++first[key[f] + 1];
    for (std::uint32_t v = 0; v < vertices; ++v)
        first[v + 1] += first[v];
    const std::uint32_t faces = first[vertices];
    for (std::uint32_t f = 0; f < faceCount; ++f)
        faceMap[f] = m_Corner[3 * f] != None ? first[key[f]]++ : None;
    const auto mapHalf = [&](std::uint32_t h) { return h == None ? None : 3 * faceMap[h / 3] + h % 3; };

    // The moves below are gathers, each entry written once: shared between
    // threads, with the same result.
    const std::int64_t vertexEntries = vertices;
    // Each gathers into the array of its type that the gather before it left
    // behind, mostly as long already: little zeroed, little new memory.
    const auto permute = [&](auto& values, auto& spare) {
        spare.resize(vertices);
#pragma omp parallel for schedule(static) if (vertexEntries >= ParallelVertices)
        for (std::int64_t i = 0; i < vertexEntries; ++i)
            spare[i] = values[order[i]];
        values.swap(spare);
    };
    permute(m_Position, m_SparePositions);
    permute(m_Flags, m_SpareBytes);
    permute(m_Valence, m_SpareInts);
    permute(m_Line, m_SpareIndices);
    permute(m_Source, m_SpareIndices);
    permute(m_FaceHint, m_SpareIndices);
    permute(m_SegmentHint, m_SpareIndices);
    permute(m_CarriedSlot, m_SpareIndices);
    permute(m_Roughness, m_SpareReals);
    if (!m_Size.empty()) {
        permute(m_Size, m_SpareReals);
        permute(m_SizePlace, m_SparePositions);
    }
    std::vector<std::uint32_t>& out = m_SpareIndices;
    out.resize(vertices);
#pragma omp parallel for schedule(static) if (vertexEntries >= ParallelVertices)
    for (std::int64_t i = 0; i < vertexEntries; ++i)
        out[i] = mapHalf(m_Out[order[i]]);
    m_Out.swap(out);

    // Into the arrays the last compaction left behind, those from before
    // it: mostly as long as these already, so little new memory and
    // nothing zeroed (every slot is written below).
    std::vector<std::uint32_t>& corner = m_SpareCorner;
    std::vector<std::uint32_t>& twin = m_SpareTwin;
    std::vector<std::uint32_t>& kind = m_SpareKind;
    corner.resize(3 * std::size_t(faces));
    twin.resize(3 * std::size_t(faces));
    kind.resize(3 * std::size_t(faces));
    const std::int64_t oldFaces = faceCount;
#pragma omp parallel for schedule(static) if (oldFaces >= ParallelFaces)
    for (std::int64_t f = 0; f < oldFaces; ++f) {
        const std::uint32_t to = faceMap[f];
        if (to == None)
            continue;
        for (std::uint32_t k = 0; k < 3; ++k) {
            corner[3 * to + k] = vertexMap[m_Corner[3 * f + k]];
            twin[3 * to + k] = mapHalf(m_Twin[3 * f + k]);
            kind[3 * to + k] = m_Kind[3 * f + k];
        }
    }
    m_Corner.swap(corner);
    m_Twin.swap(twin);
    m_Kind.swap(kind);
    // The stamps stay: each is below the next stamp value, whichever vertex
    // it now names.
}

// The vertices that continue input vertices come first, in input order, then
// the new ones in their spatial order.
void CEngine::Extract(CPreservingRemesher& out) {
    Compact();
    const std::uint32_t vertices = static_cast<std::uint32_t>(m_Position.size());
    std::vector<std::uint32_t> order;
    order.reserve(vertices);
    for (std::uint32_t v = 0; v < vertices; ++v)
        if (m_Source[v] != None)
            order.push_back(v);
    std::sort(order.begin(), order.end(), [&](std::uint32_t a, std::uint32_t b) { return m_Source[a] < m_Source[b]; });
    for (std::uint32_t v = 0; v < vertices; ++v)
        if (m_Source[v] == None)
            order.push_back(v);
    // The copies of a vertex of separate fans (see BuildTwins) follow the
    // original in this order and become it again, unless an edit moved one
    // off its place.
    std::vector<std::uint32_t> map(vertices);
    out.m_Positions.clear();
    out.m_Positions.reserve(3 * std::size_t(vertices));
    out.m_Sources.clear();
    out.m_Sources.reserve(vertices);
    for (std::uint32_t i = 0; i < vertices; ++i) {
        const std::uint32_t v = order[i];
        if (i > 0 && m_Source[v] != None && m_Source[v] == m_Source[order[i - 1]]) {
            const std::uint32_t joined = map[order[i - 1]];
            if (m_Position[v] == m_Position[order[i - 1]]) {
                map[v] = joined;
                continue;
            }
        }
        map[v] = static_cast<std::uint32_t>(out.m_Sources.size());
        out.m_Positions.push_back(m_Position[v].x);
        out.m_Positions.push_back(m_Position[v].y);
        out.m_Positions.push_back(m_Position[v].z);
        out.m_Sources.push_back(m_Source[v] == None ? CPreservingRemesher::NoSource : m_Source[v]);
    }
    out.m_Triangles.resize(m_Corner.size());
    for (std::size_t h = 0; h < m_Corner.size(); ++h)
        out.m_Triangles[h] = map[m_Corner[h]];
}

}  // namespace Corvane::Pellix::Quorvel::detail::preserving
