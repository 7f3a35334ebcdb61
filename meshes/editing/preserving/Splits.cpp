#include "quorvel/meshes/editing/preserving/Engine.h"

namespace Corvane::Pellix::Quorvel::detail::preserving {

// Always the longest edge first, the new ones included: every split then
// cuts a face across its longest side, which keeps the angles of a coarse
// input from degenerating into fans of slivers (longest-edge bisection).
// Within a class of lengths (see LengthClass) the edges go in memory order.
bool CEngine::SplitLongEdges() {
    m_SplitQueue.clear();
    m_SplitGain.assign(m_Position.size(), 0);
    UpdateSizes();
    const auto push = [&](std::uint32_t h) {
        const double length2 = EdgeLength2(h);
        const double split2 = SplitLimit2(h);
        if (m_Kind[h] == Locked || !(length2 > split2))
            return;
        m_SplitQueue.push_back(CQueuedEdge{LengthClass(length2 / split2), length2, h});
        std::push_heap(m_SplitQueue.begin(), m_SplitQueue.end());
    };
    // The edges too long on entry are found by all threads, each mark
    // written by its own half-edge; they enter the queue in memory order.
    const std::uint32_t halfEdges = static_cast<std::uint32_t>(m_Corner.size());
    m_EdgeClass.resize(halfEdges);
    const std::int64_t halfEdgeCount = halfEdges;
#pragma omp parallel for schedule(static) if (halfEdgeCount >= 3 * ParallelFaces)
    for (std::int64_t i = 0; i < halfEdgeCount; ++i) {
        const std::uint32_t h = static_cast<std::uint32_t>(i);
        m_EdgeClass[h] = static_cast<std::int8_t>(m_Corner[h] != None && (m_Twin[h] == None || m_Twin[h] > h) &&
                                                  m_Kind[h] != Locked && EdgeLength2(h) > SplitLimit2(h));
    }
    for (std::uint32_t h = 0; h < halfEdges; ++h)
        if (m_EdgeClass[h])
            push(h);
    bool changed = false;
    // Bounded: each turn pops one entry. Entries are the edges on entry plus
    // at most six per split and five per flip, and each split adds at least
    // one face, which the budget caps, so there are at most (B - faces on
    // entry) splits. A flip shortens an edge along a strip to under
    // StripFlipShrink of its length and raises the smallest angle of its
    // pair, and no split adds such an edge longer than the ones it cuts, so
    // the flips between two splits are finite too. A stale entry is dropped
    // unsplit.
    while (!m_SplitQueue.empty() && m_Corner.size() / 3 < m_FaceBudget) {
        std::pop_heap(m_SplitQueue.begin(), m_SplitQueue.end());
        const CQueuedEdge top = m_SplitQueue.back();
        m_SplitQueue.pop_back();
        std::uint32_t h = top.m_Edge;
        // A split gives some half-edges new ends and moves others to new
        // numbers; every edge it touches is entered afresh, and an entry
        // whose half-edge no longer has its length is stale.
        if (m_Corner[h] == None || m_Kind[h] == Locked || EdgeLength2(h) != top.m_Length2)
            continue;
        if (HasLongLockedEdge(h / 3) || (m_Twin[h] != None && HasLongLockedEdge(m_Twin[h] / 3)))
            continue;
        if (CrowdsOpposite(h))
            continue;
        double length2 = top.m_Length2;
        // A side of either face that runs along a strip one local target
        // wide is flipped across it first where that shortens it, and h
        // comes back in its new slot: split, it would leave a free vertex
        // inside the strip (see RunsAlongStrip).
        const std::uint32_t along = StripSideToFlip(h);
        if (along != None) {
            const std::uint32_t t = m_Twin[along], base0 = along - along % 3, base1 = t - t % 3;
            Flip(along);
            changed = true;
            for (const std::uint32_t e : {base0, base0 + 1, base0 + 2, base1, base1 + 1})
                push(e);
            continue;
        }
        // A longer side of either face that is due a split but ranked by the
        // strip's allowance (see SplitLimit2) goes first, and h comes back:
        // cut from h, the face kept that side and its new faces were cut
        // towards it over and over (a box's front, whose diagonal runs
        // between two corners, where a porch's corners lower the target), a
        // fan of faces of no area until the face budget ran out.
        const std::uint32_t longer = DueStripSide(h, length2);
        if (longer != None) {
            push(h);
            h = longer;
            length2 = EdgeLength2(h);
        }
        const std::uint32_t t = m_Twin[h];
        // Only across a face whose longest side this is does the new edge to
        // the opposite corner come next in line: a face that keeps a longer
        // side (one no split may touch) would otherwise be cut again and
        // again towards that side, a fan of slivers without end.
        const bool across = !HasLongerSide(h, length2);
        const bool acrossTwin = t != None && !HasLongerSide(t, length2);
        const std::uint32_t second = static_cast<std::uint32_t>(m_Corner.size());
        const std::uint32_t c = m_Corner[Prev(h)], d = t != None ? m_Corner[Prev(t)] : None;
        Split(h);
        m_SplitGain.resize(m_Position.size(), 0);
        ++m_SplitGain[c];
        if (d != None)
            ++m_SplitGain[d];
        changed = true;
        // Both halves, the outer sides that moved into the new faces and,
        // where allowed, the new edges to the opposite corners.
        const std::uint32_t touched[6] = {
            h, second, second + 1, across ? Next(h) : None, t != None ? second + 4 : None, acrossTwin ? Next(t) : None};
        for (const std::uint32_t e : touched)
            if (e != None)
                push(e);
    }
    return changed;
}

bool CEngine::CrowdsOpposite(std::uint32_t h) const {
    const std::uint32_t t = m_Twin[h];
    return m_SplitGain[m_Corner[Prev(h)]] >= MaxSplitGain ||
           (t != None && m_SplitGain[m_Corner[Prev(t)]] >= MaxSplitGain);
}

std::uint32_t CEngine::DueStripSide(std::uint32_t h, double length2) const {
    if (m_Size.empty())
        return None;
    const std::uint32_t t = m_Twin[h];
    const std::uint32_t sides[4] = {Next(h), Prev(h), t != None ? Next(t) : None, t != None ? Prev(t) : None};
    for (const std::uint32_t g : sides) {
        if (g == None || m_Kind[g] != None || !(EdgeLength2(g) > length2 * (1 + 1e-9)))
            continue;
        // Nor a side that runs along a strip: its split would put a free
        // vertex inside the strip where the lines' own vertices make one
        // face across (a rib's top, one quad whose diagonal is a hair longer
        // than its rims, was cut along the diagonal again and again, some
        // hundred free vertices in five ribs 0.03 wide); the rims go first
        // and the side is flipped across (see StripSideToFlip).
        if (RunsAlongStrip(g, StripNeedleShare))
            continue;
        // Only a side between two corners, across a whole face of the input
        // rather than between the sliding vertices of two lines, longer than
        // the caller's split length, and only where the allowance ranks it
        // lower than its plain split length would.
        if (!(m_Flags[m_Corner[g]] & m_Flags[Target(g)] & Corner) || !(EdgeLength2(g) > m_SplitLength2) ||
            !(SplitLimit2(g) > EdgeLimit2(g, SplitFactor, m_SplitLength2)))
            continue;
        if (HasLongLockedEdge(g / 3) || (m_Twin[g] != None && HasLongLockedEdge(m_Twin[g] / 3)) || CrowdsOpposite(g))
            continue;
        return g;
    }
    return None;
}

bool CEngine::RunsAlongStrip(std::uint32_t h, double share) const {
    const std::uint32_t t = m_Twin[h];
    if (t == None || m_Size.empty())
        return false;
    const Vec &pa = m_Position[m_Corner[h]], &pb = m_Position[Target(h)];
    const double length2 = Squared(pb - pa);
    const double floor = share * SizeAt((pa + pb) * 0.5);
    for (const std::uint32_t c : {m_Corner[Prev(h)], m_Corner[Prev(t)]}) {
        const double height2 = Squared((pb - pa) * (m_Position[c] - pa)) / length2;
        if (!(height2 < NeedleHeight * NeedleHeight * length2) || !(height2 >= floor * floor))
            return false;
    }
    return true;
}

std::uint32_t CEngine::StripSideToFlip(std::uint32_t h) const {
    if (m_Size.empty())
        return None;
    const std::uint32_t t = m_Twin[h];
    const std::uint32_t sides[4] = {Next(h), Prev(h), t != None ? Next(t) : None, t != None ? Prev(t) : None};
    for (const std::uint32_t g : sides) {
        if (g == None || m_Kind[g] != None || m_Twin[g] == None)
            continue;
        // Only within the strip: all four corners on its lines.
        const std::uint32_t a = m_Corner[g], b = Target(g), c = m_Corner[Prev(g)], d = m_Corner[Prev(m_Twin[g])];
        if (!IsOnLine(a) || !IsOnLine(b) || !IsOnLine(c) || !IsOnLine(d))
            continue;
        const Vec &pa = m_Position[a], &pb = m_Position[b], &pc = m_Position[c], &pd = m_Position[d];
        if (!(Squared(pc - pd) < StripFlipShrink * StripFlipShrink * Squared(pb - pa)) ||
            !RunsAlongStrip(g, StripFlipShare))
            continue;
        const double before = std::min(SmallestAngle(pa, pb, pc), SmallestAngle(pb, pa, pd));
        const double after = std::min(SmallestAngle(pc, pa, pd), SmallestAngle(pd, pb, pc));
        if (after > before && FlipIsAllowed(g) && FlipIsValid(g))
            return g;
    }
    return None;
}

// Edge a-b of face (a, b, c) and, when it is not open, of face (b, a, d)
// becomes a-m-b. The half-edges keep their numbers where they keep their
// meaning: h runs a -> m, its twin b -> m, and the new faces (m, b, c) and
// (m, a, d) are appended. The first new half-edge is m -> b.
void CEngine::Split(std::uint32_t h) {
    const std::uint32_t t = m_Twin[h], n = Next(h), p = Prev(h);
    const std::uint32_t a = m_Corner[h], b = m_Corner[n], c = m_Corner[p];
    const std::uint32_t kind = m_Kind[h];
    const std::uint32_t outerN = m_Twin[n], kindN = m_Kind[n];

    const std::uint32_t m = NewVertex((m_Position[a] + m_Position[b]) * 0.5);
    if (kind == Kept) {
        m_Flags[m] = Fixed;
        m_Roughness[m] = std::max(m_Roughness[a], m_Roughness[b]);
        // An edge straightened over removed input vertices is cut at the one
        // nearest its middle instead: the middle may lie off the input's
        // boundary (by up to the straightening allowed), and the result's
        // boundary keeps to the input's vertices and edges.
        const std::vector<Vec>& carried = Carried(a);
        std::size_t cutAt = carried.size();
        double nearest = std::numeric_limits<double>::infinity();
        for (std::size_t i = 0; i < carried.size(); ++i)
            if (Squared(carried[i] - m_Position[m]) < nearest) {
                nearest = Squared(carried[i] - m_Position[m]);
                cutAt = i;
            }
        if (cutAt < carried.size())
            m_Position[m] = carried[cutAt];
        // Each half carries the removed vertices that lie beside it.
        std::vector<Vec> first, second;
        const Vec along = m_Position[b] - m_Position[a];
        const double cut = (m_Position[m] - m_Position[a]) % along;
        for (std::size_t i = 0; i < carried.size(); ++i)
            if (i != cutAt)
                ((carried[i] - m_Position[a]) % along < cut ? first : second).push_back(carried[i]);
        if (!second.empty() || cutAt < carried.size()) {
            CarriedToFill(a).swap(first);
            CarriedToFill(m).swap(second);
        }
    }
    if (IsLine(kind)) {
        m_Flags[m] = Sliding;
        m_Line[m] = kind;
        m_SegmentHint[m] = (m_Flags[a] & Sliding) && m_Line[a] == kind ? m_SegmentHint[a] : m_SegmentHint[b];
    }
    m_FaceHint[m] = m_FaceHint[a] != None ? m_FaceHint[a] : m_FaceHint[b];

    m_Corner[n] = m;
    const std::uint32_t second = NewFace(m, b, c);
    Link(n, second + 2);
    m_Kind[n] = None;
    Link(second + 1, outerN);
    m_Kind[second + 1] = kindN;
    m_Kind[second] = kind;
    if (m_Out[b] == n)
        m_Out[b] = second + 1;
    m_Out[m] = second;
    m_Valence[m] = t == None ? 3 : 4;
    ++m_Valence[c];

    if (t == None)
        return;
    const std::uint32_t tn = Next(t), tp = Prev(t);
    const std::uint32_t d = m_Corner[tp];
    const std::uint32_t outerTn = m_Twin[tn], kindTn = m_Kind[tn];
    m_Corner[tn] = m;
    const std::uint32_t fourth = NewFace(m, a, d);
    Link(tn, fourth + 2);
    m_Kind[tn] = None;
    Link(fourth + 1, outerTn);
    m_Kind[fourth + 1] = kindTn;
    Link(h, fourth);
    m_Kind[fourth] = kind;
    Link(t, second);
    if (m_Out[a] == tn)
        m_Out[a] = fourth + 1;
    ++m_Valence[d];
}

// An edge of three or more faces (a fin's foot on a plate) is locked: no
// collapse or flip may touch it, and a face beside a locked edge longer than
// the split length is never split (see HasLongLockedEdge), so such a line
// coarser than the target kept its input faces around it, slivers beside
// the refined faces further off. Each of its sheets is split at the same
// point here, once, before the iterations: the halves stay locked and their
// shared middle is one fixed non-manifold vertex, so the line keeps its
// place and shape while its faces reach the target like any others. The
// middle keeps the first sheet's fan as its own; the other sheets' copies
// of it are dropped, their corners renamed to it.
void CEngine::SplitLockedLines() {
    struct CSheetEdge {
        std::uint32_t m_Low, m_High, m_Edge;
        bool operator<(const CSheetEdge& other) const {
            return m_Low != other.m_Low     ? m_Low < other.m_Low
                   : m_High != other.m_High ? m_High < other.m_High
                                            : m_Edge < other.m_Edge;
        }
    };
    std::vector<CSheetEdge> sheets;
    std::vector<char> cut;
    // Bounded: each round halves every locked edge still longer than the
    // split length of the whole target (the local target beside close
    // corners may be far finer: the lines would be cut into thousands of
    // edges no later edit may merge), and the face budget caps the splits;
    // MaxLockedLineRounds rounds at most.
    for (int round = 0; round < MaxLockedLineRounds; ++round) {
        sheets.clear();
        const std::uint32_t halfEdges = static_cast<std::uint32_t>(m_Corner.size());
        for (std::uint32_t h = 0; h < halfEdges; ++h) {
            const std::uint32_t a = m_Corner[h];
            if (a == None || m_Kind[h] != Locked || m_Twin[h] != None)
                continue;
            const std::uint32_t b = Target(h);
            if (!(m_Flags[a] & m_Flags[b] & NonManifold) || !(EdgeLength2(h) > m_SplitLength2))
                continue;
            sheets.push_back(CSheetEdge{std::min(a, b), std::max(a, b), h});
        }
        if (sheets.empty())
            return;
        std::sort(sheets.begin(), sheets.end());
        // A face locked all round (a repeated face, a pillow) is one the
        // edits leave as it is anyway. A face with two locked sides (the
        // wall left where two boxes touch face to face, each of its sides
        // shared with both boxes) is cut once a round: a split renames the
        // other sides of its face, so the entry of its second locked side
        // is stale until the next round lists the edges again. Left whole,
        // the wall's long sides kept their faces, and the splits beside
        // them fanned slivers out to the face budget.
        const auto cuttable = [&](std::uint32_t h) {
            const std::uint32_t f = h / 3;
            return !cut[f] &&
                   (m_Kind[3 * f] == Locked) + (m_Kind[3 * f + 1] == Locked) + (m_Kind[3 * f + 2] == Locked) < 3;
        };
        cut.assign(m_Corner.size() / 3, 0);
        for (std::size_t i = 0; i < sheets.size();) {
            std::size_t j = i;
            bool clear = true;
            for (; j < sheets.size() && sheets[j].m_Low == sheets[i].m_Low && sheets[j].m_High == sheets[i].m_High; ++j)
                clear = clear && cuttable(sheets[j].m_Edge);
            if (!clear) {
                i = j;
                continue;
            }
            if (m_Corner.size() / 3 + (j - i) > m_FaceBudget)
                return;
            std::uint32_t middle = None;
            for (std::size_t k = i; k < j; ++k) {
                const std::uint32_t h = sheets[k].m_Edge, n = Next(h);
                cut[h / 3] = 1;
                const std::uint32_t second = static_cast<std::uint32_t>(m_Corner.size());
                Split(h);
                const std::uint32_t m = m_Corner[n];
                if (middle == None) {
                    middle = m;
                    m_Flags[m] = Fixed | NonManifold;
                    continue;
                }
                m_Corner[n] = m_Corner[second] = middle;
                m_Flags[m] = Deleted;
            }
            i = j;
        }
    }
}

}  // namespace Corvane::Pellix::Quorvel::detail::preserving
