#include "quorvel/meshes/editing/preserving/Engine.h"

namespace Corvane::Pellix::Quorvel::detail::preserving {

namespace {

// The kind an edge gets when a collapse merges two: a lock wins over a kept
// edge, that over a line, a line over a free edge.
inline std::uint32_t MergeKinds(std::uint32_t a, std::uint32_t b) {
    if (a == Locked || b == Locked)
        return Locked;
    if (a == Kept || b == Kept)
        return Kept;
    if (IsLine(a))
        return a;
    return b;
}

}  // namespace

bool CEngine::CollapseShortEdges() {
    // Shorter edges first, by classes of length (see LengthClass); an edge
    // shorter than the collapse length falls in one of the first four, and
    // the edges enter each class in memory order.
    constexpr int Classes = 4;
    std::size_t counts[Classes + 1] = {};
    UpdateSizes();
    const std::uint32_t halfEdges = static_cast<std::uint32_t>(m_Corner.size());
    // Each half-edge's class is measured on its own, by whichever thread,
    // and counted there (sums of whole numbers, in any order); the counting
    // sort below places them in memory order.
    m_EdgeClass.resize(halfEdges);
    const std::int64_t halfEdgeCount = halfEdges;
#pragma omp parallel for schedule(static) reduction(+ : counts[:Classes + 1]) if (halfEdgeCount >= 3 * ParallelFaces)
    for (std::int64_t i = 0; i < halfEdgeCount; ++i) {
        const std::uint32_t h = static_cast<std::uint32_t>(i);
        std::int8_t lengthClass = -1;
        if (m_Corner[h] != None && m_Kind[h] != Locked && (m_Twin[h] == None || m_Twin[h] > h)) {
            const double length2 = EdgeLength2(h), collapse2 = EdgeLimit2(h, CollapseFactor, m_CollapseLength2);
            if (length2 < collapse2)
                lengthClass =
                    static_cast<std::int8_t>(std::min(Classes - 1, static_cast<int>(LengthClass(length2 / collapse2))));
        }
        m_EdgeClass[h] = lengthClass;
        ++counts[lengthClass + 1];
    }
    // Slot 0 counted the edges of no class; the first class starts at 0.
    counts[0] = 0;
    for (int k = 1; k <= Classes; ++k)
        counts[k] += counts[k - 1];
    m_Ordered.resize(counts[Classes]);
    for (std::uint32_t h = 0; h < halfEdges; ++h)
        if (m_EdgeClass[h] >= 0)
            m_Ordered[counts[m_EdgeClass[h]]++] = h;
    bool changed = false;
    // Bounded: one attempt per edge that was short on entry, never repeated
    // within the pass, and each attempt walks two fans of at most
    // MaxCollapseValence edges and, on a kept boundary, checks and moves at
    // most MaxCarriedVertices carried vertices.
    for (const std::uint32_t h : m_Ordered) {
        // Earlier collapses may have removed the face or lengthened the edge.
        if (m_Corner[h] == None || !(EdgeLength2(h) < EdgeLimit2(h, CollapseFactor, m_CollapseLength2)))
            continue;
        changed |= TryCollapse(h, EdgeLimit2(h, MidpointCollapseFactor, m_MidpointLength2),
                               EdgeLimit2(h, SplitFactor, m_SplitLength2));
    }
    return changed;
}

// One end merges into the other, which keeps its place: a free vertex into
// any, a sliding vertex only along its own line, and constrained vertices
// that are nearly on top of each other into each other; a very short edge
// may go to its midpoint when neither end will do. The topology is checked
// once, and all places are measured in the same two walks around the ends;
// of the two ends, the one whose longest new edge is shorter is preferred.
bool CEngine::TryCollapse(std::uint32_t h, double midpointLength2, double reachLength2, bool thinFace, bool anglePass,
                          double keptLength2, std::uint32_t stays) {
    const std::uint32_t kind = m_Kind[h];
    if (kind == Locked)
        return false;
    const std::uint32_t t = m_Twin[h], n = Next(h), p = Prev(h);
    const std::uint32_t a = m_Corner[h], b = m_Corner[n], c = m_Corner[p];
    // Checked before any walk, so that an attempt costs O(MaxCollapseValence)
    // whatever the valences around: the merged vertex would have this many.
    if (m_Valence[a] + m_Valence[b] - (t != None ? 4 : 3) > MaxCollapseValence)
        return false;
    if ((m_Flags[a] | m_Flags[b] | m_Flags[c]) & NonManifold)
        return false;
    bool aGoes = CanRemove(a, kind) && a != stays && !FirstAtWallEnd(a),
         bGoes = CanRemove(b, kind) && b != stays && !FirstAtWallEnd(b);
    // On a kept boundary the open edge h runs a -> b; y -> a and b -> x are
    // the open edges beside it.
    std::uint32_t y = None, x = None;
    if (kind == Kept) {
        if (!(EdgeLength2(h) < (keptLength2 > 0 ? keptLength2 : m_KeptCollapseLength2)))
            return false;
        std::uint32_t unused = None;
        aGoes = CanLeaveKeptBoundary(a, y, unused, thinFace) && a != stays;
        bGoes = CanLeaveKeptBoundary(b, unused, x, thinFace) && b != stays;
        if (!aGoes && !bGoes)
            return false;
    }
    // A cone's tip (a corner that ends no line) nearer to a noisy kept rim's
    // vertex than corners merge is a spike of the noise at the rim: kept,
    // the inner edge between them is a sliver's short side wherever the
    // free vertices go. The tip goes to the rim vertex, which stays.
    if (kind == None && !aGoes && !bGoes && EdgeLength2(h) < EdgeLimit2(h, CornerMergeFactor, m_MergeLength2)) {
        const auto tipBesideRim = [&](std::uint32_t tip, std::uint32_t rim) {
            if ((m_Flags[tip] & (Deleted | Corner | Sliding | NonManifold | Needle | Merged)) != Corner ||
                IsOpen(tip) || !IsOpen(rim) || (m_Flags[rim] & NonManifold) || !(m_Roughness[rim] > m_KeptDeviation))
                return false;
            bool line = false;
            ForEachNeighbour(tip, [&](std::uint32_t, std::uint32_t e) { line = line || m_Kind[e] != None; });
            return !line;
        };
        aGoes = tipBesideRim(a, b) && b != stays;
        bGoes = !aGoes && tipBesideRim(b, a) && a != stays;
    }
    // Two constrained vertices nearly on top of each other (corners, or
    // vertices of two lines that run side by side) merge into a corner.
    const auto constrained = [&](std::uint32_t v) {
        return (m_Flags[v] & (Sliding | Corner)) && !((m_Flags[v] & Fixed) && !(m_Flags[v] & Corner));
    };
    // Two ends of lines that stop in the open surface merge from further
    // apart (see LineEndMergeFactor), and so does such an end beside another
    // line, onto that line's vertex (see EndOntoLine).
    bool merge = false, ontoLine = false;
    if (!aGoes && !bGoes && constrained(a) && constrained(b) && kind == None) {
        const std::uint32_t endGoes = EndOntoLine(h);
        if (endGoes != None) {
            aGoes = endGoes == a;
            bGoes = !aGoes;
            ontoLine = true;
        }
    }
    if (!aGoes && !bGoes) {
        if (!constrained(a) || !constrained(b))
            return false;
        // Where corners lower the target, a line's vertex beside its corner
        // is one the splits made to resolve them: merged, the corner would
        // move onto it. Not so across a tiny edge (see TinyEdgeFactor): two
        // lines that run as one from two corners a hair apart (the hull of a
        // low-polygon model's ear) kept their vertices side by side, faces
        // of a quarter of a degree between them. Nor between the halves of
        // one crease (see SplitCreaseFanCos), which merge as corners do at
        // the global target.
        const bool halves = HalvesOfOneCrease(h);
        if (!halves && EdgeSize(h) < m_TargetLength && !((m_Flags[a] & Corner) && (m_Flags[b] & Corner)) &&
            !(EdgeLength2(h) < TinyEdgeFactor * TinyEdgeFactor * m_CollapseLength2))
            return false;
        const double rough = RoughCreaseMergeFactor * m_TargetLength;
        const double own2 = halves ? m_MergeLength2 : IsRoughCreaseEdge(h) ? rough * rough : 0.0;
        const double mergeLimit2 = std::max(EdgeLimit2(h, CornerMergeFactor, m_MergeLength2), own2);
        if (!(EdgeLength2(h) < mergeLimit2) &&
            !(kind == None && EdgeLength2(h) < EdgeLimit2(h, LineEndMergeFactor, m_LineEndMergeLength2) &&
              EndsOneLine(a) && EndsOneLine(b)))
            return false;
        // A loop of lines between corners keeps three of them, as a closed
        // line keeps three vertices: a bar's rim of six corners, each a sixth
        // of a target from the next, merged down to two across its middle,
        // and the bar flattened into a strip of slivers that folded.
        if (IsLine(kind) && EndsOfLineTriangle(a, b))
            return false;
        merge = aGoes = bGoes = true;
    }

    // Topology. An inner edge between two open vertices would pinch the
    // surface; a triangle with two open sides would vanish into an edge; the
    // vertices opposite the edge each lose an edge and must keep a fan.
    if (t != None && IsOpen(a) && IsOpen(b))
        return false;
    if (t == None && m_Twin[n] == None && m_Twin[p] == None)
        return false;
    if (m_Valence[c] <= MinValence(c))
        return false;
    // A needle's tip, which stays, keeps its four faces too: merging a
    // neighbour of valence 3 into it would take one.
    if (((m_Flags[a] | m_Flags[b]) & Needle) && m_Valence[a] + m_Valence[b] - (t != None ? 4 : 3) < 4)
        return false;
    if (t != None) {
        const std::uint32_t d = m_Corner[Prev(t)];
        if (d == c || (m_Flags[d] & NonManifold) || m_Valence[d] <= MinValence(d))
            return false;
    }

    const Vec& pa = m_Position[a];
    const Vec& pb = m_Position[b];
    // The opposite corners become neighbours of the merged vertex whatever
    // its place: a cheap first look at the length test.
    if (!merge && EdgeLength2(h) >= midpointLength2) {
        const Vec& pc = m_Position[c];
        if (Squared(pc - pa) > reachLength2 && Squared(pc - pb) > reachLength2)
            return false;
        if (t != None) {
            const Vec& pd = m_Position[m_Corner[Prev(t)]];
            if (Squared(pd - pa) > reachLength2 && Squared(pd - pb) > reachLength2)
                return false;
        }
    }
    // Places: 0 b's place (a removed), 1 a's place (b removed), 2 the
    // midpoint (a removed), for a very short edge whose ends may both move.
    const Vec places[3] = {pb, pa, (pa + pb) * 0.5};
    // A place stays open while no edge of the merged vertex is too long and
    // no surrounding face folds; a closed place is measured no further.
    bool open[3] = {aGoes, bGoes, aGoes && bGoes && !merge && kind != Kept && EdgeLength2(h) < midpointLength2};
    // Whether a face's normal turns by less than the collapse allows (the
    // square root only where the limit is not a right angle).
    const auto Keeps = [](const Vec& before, const Vec& after, double before2, double after2) {
        if constexpr (CollapseMinCos == 0.0)
            return before % after > 0;
        else
            return before % after > CollapseMinCos * std::sqrt(before2 * after2);
    };
    // A sliding vertex merges along its line only where the line,
    // straightened past it, stays near it (LineDeviationFactor). Without the
    // bound a tight bend of a line (the rim around the nose of a blade
    // thinner than the target) loses one vertex after another until the
    // line cuts straight across the part, and slivers fill what is left.
    // A closed line of three edges keeps them: one fewer, and its two
    // vertices left would be joined twice, the face or faces inside it gone
    // (the base of a sharp cone at a coarse target, whose rim the deviation
    // bound, a share of the target, no longer holds).
    if (IsLine(kind))
        for (int k = 0; k < 3; ++k) {
            const std::uint32_t gone = k == 1 ? b : a, survivor = k == 1 ? a : b;
            if (!open[k] || !(m_Flags[gone] & Sliding))
                continue;
            std::uint32_t other = None, across = None;
            ForEachNeighbour(gone, [&](std::uint32_t x, std::uint32_t e) {
                if (m_Kind[e] == kind && x != survivor)
                    other = x;
            });
            if (other != None)
                ForEachNeighbour(survivor, [&](std::uint32_t x, std::uint32_t e) {
                    if (m_Kind[e] == kind && x != gone)
                        across = x;
                });
            if (other != None &&
                (other == across || Squared(ClosestOnSegment(m_Position[gone], m_Position[other], places[k]) -
                                            m_Position[gone]) > m_LineDeviation2))
                open[k] = false;
            if (open[k] && other != None && across != None) {
                const CRodRim* rim = RodRimOf(kind);
                if (rim &&
                    RodRimSpan(*rim, m_Position[other], m_Position[gone], places[k], m_Position[across]) > RodRimShare)
                    open[k] = false;
            }
            if (!open[k] || m_Size.empty())
                continue;
            // Across a strip narrower than the target both lines must take
            // the edge as short: see FacingStripFactor.
            const double strip = FacingStripFactor * EdgeSize(h);
            ForEachNeighbour(gone, [&](std::uint32_t x, std::uint32_t e) {
                if (!open[k] || m_Kind[e] != None || !(m_Flags[x] & Sliding) || m_Line[x] == kind)
                    return;
                const Vec& px = m_Position[x];
                double width2 = Squared(ClosestOnSegment(px, m_Position[gone], m_Position[survivor]) - px);
                if (other != None)
                    width2 = std::min(width2, Squared(ClosestOnSegment(px, m_Position[gone], m_Position[other]) - px));
                const double limit = CollapseFactor * m_Size[x];
                if (width2 < strip * strip && !(EdgeLength2(h) < limit * limit))
                    open[k] = false;
            });
        }
    // A tiny edge of a line (TinyEdgeFactor local collapse lengths) may go
    // where a face of a sliding end's fan already reaches beyond the local
    // limit, though not beyond the global one: wherever the merged vertex
    // lies, those edges grow by the tiny edge at most, while the faces on it
    // stay slivers. Beside a fillet far finer than the target the local
    // target is lowered, the strips across the fillet are longer than the
    // lowered limit from the start, and the fillet's vertices, a hair apart
    // along a cap's outline, pinned them at a twentieth of a degree.
    const bool tinyEdge =
        IsLine(kind) && !RodRimOf(kind) &&
        EdgeLength2(h) < TinyEdgeFactor * TinyEdgeFactor * EdgeLimit2(h, CollapseFactor, m_CollapseLength2);
    const auto reachedAlready = [&](std::uint32_t v, const Vec& x, const Vec& y) {
        const Vec& old = m_Position[v];
        const double far2 = std::max(Squared(old - x), Squared(old - y));
        return tinyEdge && (m_Flags[v] & Sliding) && far2 > reachLength2 && far2 <= m_SplitLength2;
    };
    double reach[3] = {0, 0, 0};
    const std::uint32_t f0 = h / 3, f1 = t != None ? t / 3 : None;
    // An inner vertex of a strip one row wide may merge into either rim: the
    // new inner edges from the survivor reach the other rim, and each face
    // across the strip then spans it alone, as it must where the strip is
    // narrower than the target. The removed vertex must lie within the kept
    // deviation of every new face's plane, lest a bent strip be flattened.
    const int strip[2] = {open[0] && IsOpen(b) && !IsOpen(a) ? CrossesStrip(a) : 0,
                          open[1] && IsOpen(a) && !IsOpen(b) ? CrossesStrip(b) : 0};
    // The smallest angles of the removed vertex's faces before and after
    // (-1 once it lies off a new face's plane); at a strip's end, where the
    // survivor's new neighbours lie along the same stretch of the boundary,
    // no face may come out worse than it was and than an ear may be.
    double stripNew[2] = {Pi, Pi}, stripOld[2] = {Pi, Pi};
    bool crosses[2] = {false, false};
    // The walked vertex's neighbours become the survivor's; where both are on
    // the boundary the new inner edge would cut off an ear, a face flat
    // against the boundary.
    const std::uint32_t c0 = c, d0 = t != None ? m_Corner[Prev(t)] : None;
    // A kept edge tiny beside the target (see TinyEdgeFactor) may go although
    // its fan reaches another stretch of the rim, a neck at least an ear's
    // base across: the new inner edge spans that neck, while the faces on the
    // tiny edge stay slivers whatever else is done.
    const bool tinyKept = kind == Kept && EdgeLength2(h) < TinyEdgeFactor * TinyEdgeFactor * m_CollapseLength2;
    const double neckLength2 = EarBaseFactor * EarBaseFactor * m_TargetLength * m_TargetLength;
    // CloseNotchEars may still close an ear at a notch of the rim: where an
    // opposite vertex is open with three neighbours (the two ends and x), its
    // two faces become one, all a notch narrower than two good faces can
    // hold, if that face is no thin one at the survivor's place q and the
    // vertex that goes lies within the kept boundary's deviation of its
    // plane, so that the surface stays where it was.
    const auto EarAtNotch = [&](std::uint32_t x, const Vec& q, const Vec& gone) {
        for (const std::uint32_t notch : {c0, d0}) {
            if (notch == None || !IsOpen(notch) || m_Valence[notch] != 3)
                continue;
            bool beside = false;
            ForEachNeighbour(notch, [&](std::uint32_t y, std::uint32_t) { beside = beside || y == x; });
            if (!beside)
                continue;
            const Vec normal = (m_Position[x] - q) * (m_Position[notch] - q);
            const double offPlane = (gone - q) % normal;
            return SmallestAngle(q, m_Position[x], m_Position[notch]) >= EarMinAngle &&
                   offPlane * offPlane <= m_KeptDeviation * m_KeptDeviation * Squared(normal);
        }
        return false;
    };
    const auto measure = [&](const Vec& old, std::uint32_t e) {
        // Once every place is closed the attempt fails whatever the rest
        // of the fans hold.
        if (!open[0] && !open[1] && !open[2])
            return;
        const std::uint32_t walked = m_Corner[e], survivor = walked == a ? b : a;
        if (IsOpen(survivor))
            for (const std::uint32_t side : {e, Prev(e)}) {
                const std::uint32_t x = side == e ? Target(e) : m_Corner[side];
                if (m_Twin[side] != None && x != c0 && x != d0 && IsOpen(x)) {
                    // The ear is measured at the survivor's own place only.
                    const Vec& q = walked == a ? pb : pa;
                    const bool ear = (m_NotchEars && EarAtNotch(x, q, old)) ||
                                     (tinyKept && !(Squared(m_Position[x] - q) < neckLength2));
                    const int k = walked == a ? 0 : 1;
                    crosses[k] = crosses[k] || (!ear && strip[k] > 0);
                    open[k] = open[k] && (ear || strip[k] > 0);
                    if (k == 0)
                        open[2] = false;
                }
            }
        const Vec& x = m_Position[Target(e)];
        const Vec& y = m_Position[m_Corner[Prev(e)]];
        const Vec before = (x - old) * (y - old);
        const double before2 = Squared(before);
        for (int k = 0; k < 3; ++k) {
            if (!open[k])
                continue;
            const Vec& q = places[k];
            const double far2 = std::max(Squared(q - x), Squared(q - y));
            reach[k] = std::max(reach[k], far2);
            if (far2 > reachLength2 && !reachedAlready(walked, x, y)) {
                open[k] = false;
                continue;
            }
            // At the walked vertex's own place its face stays as it is:
            // it keeps its normal and fails only where it is degenerate.
            if (k == (walked == a ? 1 : 0)) {
                if (!(before2 > m_MinCross2))
                    open[k] = false;
                continue;
            }
            // No surviving face may turn over or shrink to nothing.
            const Vec after = (x - q) * (y - q);
            const double after2 = Squared(after);
            if (!(after2 > m_MinCross2) || (before2 > m_MinCross2 && !Keeps(before, after, before2, after2)))
                open[k] = false;
            else if (k < 2 && strip[k] > 0 && walked == (k == 0 ? a : b)) {
                const double offPlane = (old - q) % after;
                if (offPlane * offPlane > m_KeptDeviation * m_KeptDeviation * after2)
                    stripNew[k] = -1;
                stripNew[k] = std::min(stripNew[k], SmallestAngle(q, x, y));
                stripOld[k] = std::min(stripOld[k], SmallestAngle(old, x, y));
            }
        }
    };

    // Most attempts fail because the merged vertex would reach too far,
    // from either place, which one cheap walk of each fan shows before the
    // measuring walks below (they would close both places on the same
    // faces' corners).
    if (!open[2]) {
        const auto reachesBeyond = [&](std::uint32_t v, const Vec& q) {
            const std::uint32_t start = m_Out[v];
            std::uint32_t e = start;
            do {
                const std::uint32_t face = e / 3;
                const Vec &x = m_Position[Target(e)], &y = m_Position[m_Corner[Prev(e)]];
                if (face != f0 && face != f1 && std::max(Squared(q - x), Squared(q - y)) > reachLength2 &&
                    !reachedAlready(v, x, y))
                    return true;
                e = m_Twin[Prev(e)];
            } while (e != None && e != start);
            return false;
        };
        if ((!open[0] || reachesBeyond(a, pb)) && (!open[1] || reachesBeyond(b, pa)))
            return false;
    }

    // Link condition: the ends share no neighbour but the opposite vertices.
    if (++m_StampValue == 0) {
        std::fill(m_Stamp.begin(), m_Stamp.end(), 0u);
        m_StampValue = 1;
    }
    if (m_Stamp.size() < m_Position.size())
        m_Stamp.resize(m_Position.size(), 0u);
    ForEachOutgoing(a, [&](std::uint32_t e) {
        m_Stamp[Target(e)] = m_Stamp[m_Corner[Prev(e)]] = m_StampValue;
        const std::uint32_t face = e / 3;
        if (face != f0 && face != f1)
            measure(pa, e);
    });
    if (!open[0] && !open[1] && !open[2])
        return false;
    int shared = 0;
    std::uint32_t last = None;
    ForEachOutgoing(b, [&](std::uint32_t e) {
        shared += m_Stamp[Target(e)] == m_StampValue;
        last = e;
        const std::uint32_t face = e / 3;
        if (face != f0 && face != f1)
            measure(pb, e);
    });
    if (IsOpen(b))
        shared += m_Stamp[m_Corner[Prev(last)]] == m_StampValue;
    if (shared != (t != None ? 2 : 1))
        return false;
    for (int k = 0; k < 2; ++k)
        if (crosses[k] && (stripNew[k] < 0 || (strip[k] == 1 && stripNew[k] < std::min(stripOld[k], EarMinAngle))))
            open[k] = false;

    // On a rim bent round without a line, a free vertex that goes must lie
    // near the faces that take its place (see FreeDeviationFactor), and so
    // must a vertex of the input where the target is not lowered, from
    // further (see InputVertexDeviationFactor).
    const double size = EdgeSize(h);
    const double deviation = FreeDeviationFactor * size, deviation2 = deviation * deviation;
    const double inputDeviation = InputVertexDeviationFactor * m_TargetLength;
    const bool unlowered = !(size < m_TargetLength);
    const auto strays = [&](int k) {
        const std::uint32_t gone = k == 1 ? b : a;
        if (anglePass || merge || ontoLine || k == 2 || kind == Kept || (m_Flags[gone] & (Sliding | Fixed)))
            return false;
        double limit2 = inputDeviation * inputDeviation;
        if (OnBentRim(m_Position[gone]))
            limit2 = deviation2;
        else if (!unlowered || m_Source[gone] == None)
            return false;
        const Vec& from = m_Position[gone];
        double nearest2 = std::numeric_limits<double>::infinity();
        ForEachOutgoing(gone, [&](std::uint32_t e) {
            const std::uint32_t face = e / 3;
            if (face == f0 || face == f1)
                return;
            const Vec& x = m_Position[Target(e)];
            const Vec& y = m_Position[m_Corner[Prev(e)]];
            nearest2 = std::min(nearest2, Squared(ClosestOnTriangle(from, places[k], x, y) - from));
        });
        return nearest2 > limit2;
    };
    const int first = reach[1] < reach[0] ? 1 : 0;
    for (const int k : {first, 1 - first, 2}) {
        if (!open[k] || MakesFold(h, places[k], anglePass) || strays(k))
            continue;
        // The open edge that takes the removed vertex's place on a kept
        // boundary starts at a when b goes, at y when a goes.
        const std::uint32_t from = k == 1 ? a : y;
        if (kind == Kept) {
            const std::uint32_t gone = k == 1 ? b : a;
            std::vector<Vec>& carried = CarriedToFill(from);
            const bool ear = IsThinEar(gone);
            carried.push_back(m_Position[gone]);
            if (m_CarriedSlot[gone] != None) {
                std::vector<Vec>& more = m_CarriedPool[m_CarriedSlot[gone]];
                carried.insert(carried.end(), more.begin(), more.end());
                std::vector<Vec>().swap(more);
            }
            // An ear's tip (see IsThinEar) leaves with its ear: what its two
            // sides carried is held to the ear's base from then on. Kept as
            // far out as the tip, it would freeze the base's ends, and the
            // base, short against the target, would stay a sliver's side.
            if (ear) {
                const Vec &p = m_Position[k == 1 ? a : b], &q = m_Position[c];
                for (Vec& place : carried)
                    place = ClosestOnSegment(place, p, q);
            }
        }
        Collapse(h, k != 1, places[k]);
        if (merge || ontoLine) {
            const std::uint32_t survivor = k == 0 ? b : a;
            m_Flags[survivor] = static_cast<std::uint8_t>((m_Flags[survivor] & ~Sliding) | Fixed | Corner | Merged);
            m_Line[survivor] = None;
        }
        return true;
    }
    return false;
}

// Two lines side by side, a vertex of each joined by an inner edge shorter
// than the corner merge at the global target, whose fans face the same way
// (see SplitCreaseFanCos): the halves of one crease.
bool CEngine::HalvesOfOneCrease(std::uint32_t h) const {
    const std::uint32_t a = m_Corner[h], b = Target(h);
    if (m_Kind[h] != None || (m_Flags[a] & (Corner | Sliding)) != Sliding ||
        (m_Flags[b] & (Corner | Sliding)) != Sliding || m_Line[a] == m_Line[b] || !(EdgeLength2(h) < m_MergeLength2))
        return false;
    const Vec m = FanNormal(a), n = FanNormal(b);
    return m % n > SplitCreaseFanCos * std::sqrt(Squared(m) * Squared(n));
}

// A line that stops in the open surface just short of another line (the
// marching grid's creases on a thin ear, each in its own grid plane) pins
// faces as narrow as the gap between its end and the other line, which no
// flip or move opens. The end merges onto the other line's vertex, which
// stays on its line and becomes the corner where the two meet. Only a crease
// that turns less than a solid's edge (see SolidEdgeAngle) is such a fading
// end: the end of a machined edge marks where the part's shape turns.
std::uint32_t CEngine::EndOntoLine(std::uint32_t h) const {
    const std::uint32_t a = m_Corner[h], b = Target(h);
    // Where corners lower the target the other line's vertex is one the
    // splits made to resolve them (see TryCollapse).
    if (EdgeSize(h) < m_TargetLength || !(EdgeLength2(h) < m_LineEndMergeLength2))
        return None;
    for (const std::uint32_t end : {a, b}) {
        const std::uint32_t onto = end == a ? b : a;
        if (!EndsOneLine(end) || !(m_Flags[onto] & Sliding) ||
            (m_Flags[onto] & (Deleted | NonManifold | Fixed | Corner)) || IsOpen(onto))
            continue;
        std::uint32_t line = None;
        bool solid = false;
        ForEachNeighbour(end, [&](std::uint32_t, std::uint32_t e) {
            if (IsLine(m_Kind[e])) {
                line = m_Kind[e];
                solid = SolidEdge(e);
            }
        });
        if (line != None && line != m_Line[onto] && !solid)
            return end;
    }
    return None;
}

int CEngine::CrossesStrip(std::uint32_t v) const {
    if (IsOpen(v))
        return 0;
    // The ring in order, and whether the ring's edge from each vertex to the
    // next is open.
    std::uint32_t ring[MaxCollapseValence];
    bool alongBoundary[MaxCollapseValence];
    int count = 0;
    ForEachOutgoing(v, [&](std::uint32_t e) {
        if (count < MaxCollapseValence) {
            ring[count] = Target(e);
            alongBoundary[count] = m_Twin[Next(e)] == None;
        }
        ++count;
    });
    if (count > MaxCollapseValence || count < 3)
        return 0;
    // A run is a maximal stretch of the boundary in the ring; the ring's
    // other edges are inner ones, to an inner vertex of the row or across
    // the strip where earlier collapses already bridged it.
    int start = -1;
    for (int i = 0; i < count && start < 0; ++i)
        if (!alongBoundary[i])
            start = i;
    if (start < 0)
        return 0;
    int runs = 0, inners = 0, first[2] = {0, 0}, last[2] = {0, 0};
    for (int j = 1; j <= count; ++j) {
        const int i = (start + j) % count;
        if (!IsOpen(ring[i])) {
            if (++inners > 2)
                return 0;
            continue;
        }
        if (!alongBoundary[(i + count - 1) % count]) {
            if (runs == 2)
                return 0;
            first[runs++] = i;
        }
        last[runs - 1] = i;
    }
    // The last vertex of a row at the strip's end: its rims meet round the
    // end in one stretch, and the ring's one inner edge crosses the strip
    // where the row was taken out. Where an inner vertex goes on inside, the
    // vertex may as well sit at a notch of a ragged rim.
    if (runs == 1)
        return inners == 0 ? 1 : 0;
    if (runs != 2)
        return 0;
    // From either end of the first run the boundary leads away from the ring;
    // within StripRimSteps edges it must not come back to the second run.
    const auto inSecond = [&](std::uint32_t u) {
        for (int i = first[1];; i = (i + 1) % count) {
            if (ring[i] == u)
                return true;
            if (i == last[1])
                return false;
        }
    };
    for (const int end : {first[0], last[0]}) {
        std::uint32_t before = None, after = None;
        BoundaryNeighbours(ring[end], before, after);
        for (std::uint32_t u : {before, after}) {
            std::uint32_t previous = ring[end];
            for (int step = 0; step < StripRimSteps; ++step) {
                if (inSecond(u))
                    return 0;
                std::uint32_t nextBefore = None, nextAfter = None;
                BoundaryNeighbours(u, nextBefore, nextAfter);
                const std::uint32_t next = nextBefore == previous ? nextAfter : nextBefore;
                previous = u;
                u = next;
            }
        }
    }
    return 2;
}

// The face check of TryCollapse bounds how far each face turns, not how far
// two neighbours turn against each other: on a steep cone (a thin limb's tip)
// faces that each turn by less than a right angle may still fold onto their
// neighbours, and neither a flip nor a later collapse can always open the
// fold again. So no edge around the merged vertex, nor any edge of its ring,
// may fold that did not fold before.
bool CEngine::MakesFold(std::uint32_t h, const Vec& q, bool anglePass) const {
    const std::uint32_t t = m_Twin[h];
    const std::uint32_t a = m_Corner[h], b = Target(h);
    const std::uint32_t f0 = h / 3, f1 = t != None ? t / 3 : None;
    const std::uint32_t outerN = m_Twin[Next(h)], outerP = m_Twin[Prev(h)];
    const std::uint32_t outerTn = t != None ? m_Twin[Next(t)] : None, outerTp = t != None ? m_Twin[Prev(t)] : None;
    const auto moved = [&](std::uint32_t v) -> const Vec& { return v == a || v == b ? q : m_Position[v]; };
    // Each face of the fans is measured after the collapse as itself and
    // again beside both its neighbours in the fan: the normals after are
    // kept by face, in slots by the face's low bits (a face that finds its
    // slot taken is measured again, to the same result).
    std::uint32_t keptFace[32];
    double keptNormal[32][3];
    std::fill(std::begin(keptFace), std::end(keptFace), None);
    const auto normal = [&](std::uint32_t f, bool after) {
        if (!after)
            return FaceNormal(f);
        const std::uint32_t slot = f % 32;
        if (keptFace[slot] != f) {
            const Vec made = FaceNormal(f, a, b, q);
            keptFace[slot] = f;
            keptNormal[slot][0] = made.x;
            keptNormal[slot][1] = made.y;
            keptNormal[slot][2] = made.z;
            return made;
        }
        return Vec(keptNormal[slot][0], keptNormal[slot][1], keptNormal[slot][2]);
    };
    bool folds = false;
    const auto check = [&](std::uint32_t e) {
        const std::uint32_t face = e / 3;
        const Vec made = normal(face, true);
        for (const std::uint32_t side : {e, Next(e), Prev(e)}) {
            std::uint32_t across = m_Twin[side];
            if (across == None)
                continue;
            // The side after the walked vertex leads to the fan's next face,
            // which checks the same pair through its own first side: the
            // test is symmetric in its two faces, and the answer is whether
            // any pair folds.
            if (side == Prev(e) && across / 3 != f0 && across / 3 != f1)
                continue;
            // The removed faces' outer neighbours become neighbours of each
            // other; they folded before only where one of them folded
            // against the removed face between them.
            std::uint32_t between = None;
            if (across / 3 == f0) {
                between = f0;
                across = across == Next(h) ? outerP : (across == Prev(h) ? outerN : None);
            } else if (f1 != None && across / 3 == f1) {
                between = f1;
                across = across == Next(t) ? outerTp : (across == Prev(t) ? outerTn : None);
            }
            if (across == None)
                continue;
            const std::uint32_t other = across / 3;
            const Vec beside = normal(other, true);
            if (!Folded(made, beside))
                continue;
            if (between == None ? Folded(normal(face, false), normal(other, false))
                                : Folded(normal(face, false), normal(between, false)) ||
                                      Folded(normal(between, false), normal(other, false)))
                continue;
            // Where the input turns as sharply between the corners of the
            // two faces off their shared side (across the tip of a cone
            // sharper than the target resolves), the fold is the input's
            // own, and the flips and relaxation that follow mostly open it
            // again; not so after the angle passes, the last edits of an
            // iteration, which get no such exception. Two faces narrower
            // across their shared side than NarrowFoldFactor targets lie on
            // a part thinner than the target resolves (a thin tube
            // coarsened): kept from folding, it could not coarsen at all.
            // Needles that lost their creases (see DropLinesAtNeedleTips)
            // turn as sharply across themselves, from one side of the
            // needle to another, and those folds stayed (three on a sphere
            // of twelve needles): a mesh with needles gets no exception.
            if (NarrowAcross(made, beside, Squared(moved(m_Corner[side]) - moved(Target(side))), EdgeSize(h)) ||
                (!anglePass && !m_HasNeedles &&
                 Folded(InputNormal(m_Corner[Prev(side)], a, b), InputNormal(m_Corner[Prev(across)], a, b))))
                continue;
            folds = true;
        }
    };
    for (const std::uint32_t end : {a, b})
        ForEachOutgoing(end, [&](std::uint32_t e) {
            if (!folds && e / 3 != f0 && e / 3 != f1)
                check(e);
        });
    return folds;
}

Vec CEngine::InputNormal(std::uint32_t v, std::uint32_t a, std::uint32_t b) const {
    std::uint32_t hint = m_FaceHint[v];
    if (hint == None && (v == a || v == b))
        hint = m_FaceHint[v == a ? b : a];
    if (hint == None)
        return Vec();
    const CTriangle& t = m_Triangles[hint];
    return (t.m_B - t.m_A) * (t.m_C - t.m_A);
}

void CEngine::Collapse(std::uint32_t h, bool removeOrigin, const Vec& target) {
    const std::uint32_t t = m_Twin[h], n = Next(h), p = Prev(h);
    const std::uint32_t a = m_Corner[h], b = m_Corner[n], c = m_Corner[p];
    const std::uint32_t r = removeOrigin ? a : b, s = removeOrigin ? b : a;

    m_Ring.clear();
    ForEachOutgoing(r, [&](std::uint32_t e) { m_Ring.push_back(e); });

    // The two other sides of each removed face fold onto one edge.
    const std::uint32_t outerN = m_Twin[n], outerP = m_Twin[p];
    const std::uint32_t kindC = MergeKinds(m_Kind[n], m_Kind[p]);
    std::uint32_t outerTn = None, outerTp = None, kindD = None, d = None;
    if (t != None) {
        const std::uint32_t tn = Next(t), tp = Prev(t);
        d = m_Corner[tp];
        outerTn = m_Twin[tn];
        outerTp = m_Twin[tp];
        kindD = MergeKinds(m_Kind[tn], m_Kind[tp]);
    }
    // Outgoing half-edges that survive, for the three vertices whose stored
    // one may be about to go.
    std::uint32_t outS = outerP;
    if (outS == None)
        outS = outerTp;
    if (outS == None && outerN != None)
        outS = Next(outerN);
    if (outS == None && outerTn != None)
        outS = Next(outerTn);
    const std::uint32_t outC = outerN != None ? outerN : Next(outerP);
    const std::uint32_t outD = t == None ? None : (outerTn != None ? outerTn : Next(outerTp));

    for (const std::uint32_t e : m_Ring)
        m_Corner[e] = s;
    Link(outerN, outerP);
    if (outerN != None)
        m_Kind[outerN] = kindC;
    if (outerP != None)
        m_Kind[outerP] = kindC;
    if (t != None) {
        Link(outerTn, outerTp);
        if (outerTn != None)
            m_Kind[outerTn] = kindD;
        if (outerTp != None)
            m_Kind[outerTp] = kindD;
        DeleteFace(t / 3);
    }
    DeleteFace(h / 3);

    m_Valence[s] = m_Valence[r] + m_Valence[s] - (t != None ? 4 : 3);
    --m_Valence[c];
    if (t != None)
        --m_Valence[d];
    m_Position[s] = target;
    m_Roughness[s] = std::max(m_Roughness[s], m_Roughness[r]);
    m_Flags[r] = Deleted;
    if (m_FaceHint[s] == None)
        m_FaceHint[s] = m_FaceHint[r];
    m_Out[s] = outS;
    NormaliseOut(s);
    m_Out[c] = outC;
    NormaliseOut(c);
    if (t != None) {
        m_Out[d] = outD;
        NormaliseOut(d);
    }
}

}  // namespace Corvane::Pellix::Quorvel::detail::preserving
