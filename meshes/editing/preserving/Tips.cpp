// The final moves at kept tips: a needle's valence-3 neighbours moved out of
// its faces, and the ring around a bare tip spread evenly.
#include <omp.h>

#include "quorvel/meshes/editing/preserving/Engine.h"

namespace Corvane::Pellix::Quorvel::detail::preserving {

namespace {

// How many times the ring below a tip moves to the middle of its neighbours
// after the tip's ring was spread (see EvenTipRings).
constexpr int TipRingSweeps = 3;
// How many rounds turn a tip's ring until its faces' angles at the tip are
// equal (see EvenTipRings).
constexpr int TipRingRounds = 8;
// How many rings of each option, those whose tip faces are widest, get the
// third trial, which settles the ring below (see EvenTipRings).
constexpr std::size_t TipRingSettled = 10;
// How far around a tip, in its ring's farthest reach, the input is gathered
// for the ring's projections (see EvenTipRings). The ring is placed up to
// 1.4 times its mean reach out, but the few places beyond the box walk the
// tree instead, which costs less than a larger patch searched at every
// place (on the spiked scans, 1.5 cost a tenth more than 1).
constexpr double TipRingReach = 1.0;
// How far beyond the box of a settled vertex and its neighbours, in that
// box's size, the input is gathered for the vertex's own projections (see
// EvenTipRings). The middle of its neighbours stays near them while the
// ring turns; out of the tip's patch, each of its places walked the tree.
constexpr double TipSettleReach = 0.25;
// From how many tips that may be searched the search runs on all threads
// (see EvenTipRings); below it, walking the tips' regions costs more than
// the second thread gains.
constexpr std::size_t TipRingParallel = 32;

}  // namespace

// A needle's tip keeps four faces (see MinValence), so a free vertex of
// valence 3 beside it, which sits inside one of the tip's faces, cannot go:
// its collapse would take the tip down to three. It pins two faces at the
// tip a third as wide as they should be. Flipping the side opposite it, away
// from the tip, gives it a fourth neighbour beyond that side, and the moves
// that follow take it out to where it spreads the tip's fan. Beside a
// cone's tip, which may keep three faces, such a vertex goes into the tip
// instead (see DropConeRingVertex). Serial, in vertex order, so the result
// does not depend on threads.
bool CEngine::OpenNeedleRings() {
    bool changed = false;
    const std::uint32_t vertexCount = static_cast<std::uint32_t>(m_Position.size());
    // Bounded: one sweep over the vertices; at a needle's tip (valence at
    // most MaxCollapseValence) at most one flip and one move per neighbour,
    // at a cone's tip at most one merge trial per neighbour (each a walk
    // around the tip, its ring and their neighbours, and one projection per
    // ring vertex).
    for (std::uint32_t tip = 0; tip < vertexCount; ++tip) {
        const bool needle = (m_Flags[tip] & Needle) && !(m_Flags[tip] & Deleted);
        if (!needle && !IsBareTip(tip))
            continue;
        // The flips below change the tip's ring, so it is read first.
        std::vector<std::uint32_t> ring;
        ForEachNeighbour(tip, [&](std::uint32_t x, std::uint32_t) { ring.push_back(x); });
        for (const std::uint32_t x : ring) {
            if (!IsFree(x) || m_Valence[x] != 3)
                continue;
            // The side of x's fan that does not touch the tip.
            std::uint32_t far = None;
            ForEachOutgoing(x, [&](std::uint32_t e) {
                if (Target(e) != tip && m_Corner[Prev(e)] != tip)
                    far = Next(e);
            });
            if (!needle) {
                changed |= DropConeRingVertex(tip, x);
                continue;
            }
            if (far == None || !FlipIsAllowed(far) || !FlipIsValid(far))
                continue;
            // Kept even where x finds no better place at once: the final
            // moves after this take it out once its neighbours have moved
            // (undone in that case, the spiky sphere's worst face stayed 1.2
            // degrees lower).
            Flip(far);
            MoveToRaiseAngles(x);
            changed = true;
        }
    }
    return changed;
}

// A free vertex of valence 3 beside a cone's tip (no needle: the tip may go
// down to three faces) stands inside the tip's fan, and the ring spreading
// below finds no flip that takes it off the ring without folding the side
// faces over the base (the sharp cone's ring holds a rim vertex). Merged
// into the tip, it leaves the tip the three faces it does best with, but
// its third face then joins two ring vertices that may lie across the tip,
// which the collapse rules rightly refuse. So the merge comes with the ring
// spread evenly at once: around the input's own axis at the tip (the sum of
// its edges' directions there; the ring's own directions lean towards its
// uneven side), from the ring's vertex that may not move, at the free
// vertices' mean distance, projected onto the input. All of it is measured
// on the faces it touches before anything changes, and made only where
// their smallest angle gains MinAngleGain, no face turns or vanishes and
// none of them folds: the ring spreading after this keeps a fold that is
// there already, where the final moves would have opened it. The ring
// spreading then goes on from there.
bool CEngine::DropConeRingVertex(std::uint32_t tip, std::uint32_t x) {
    if (m_Valence[tip] < 4 || m_Valence[x] != 3 || !IsFree(x))
        return false;
    std::uint32_t toTip = None;
    ForEachOutgoing(x, [&](std::uint32_t e) {
        if (Target(e) == tip)
            toTip = e;
    });
    if (toTip == None)
        return false;
    const Vec t = m_Position[tip];
    std::vector<std::uint32_t> ring;
    ForEachNeighbour(tip, [&](std::uint32_t v, std::uint32_t) {
        if (v != x)
            ring.push_back(v);
    });
    // The input's edges at the tip, which is one of its vertices.
    CInputPatch patch;
    const double reach = std::sqrt(Squared(m_Position[x] - t));
    GatherInput(t - Vec(1, 1, 1) * (1e-9 * reach), t + Vec(1, 1, 1) * (1e-9 * reach), patch);
    Vec axis;
    std::vector<Vec> edges;
    for (const std::uint32_t i : patch.m_Triangles) {
        const CTriangle& tri = m_Triangles[i];
        const Vec* corners[3] = {&tri.m_A, &tri.m_B, &tri.m_C};
        for (int c = 0; c < 3; ++c)
            if (Squared(*corners[c] - t) == 0)
                for (int o = 1; o < 3; ++o) {
                    const Vec u = *corners[(c + o) % 3] - t;
                    if (Squared(u) > 0)
                        edges.push_back(u / std::sqrt(Squared(u)));
                }
    }
    for (const Vec& u : edges)
        axis += u;
    if (edges.empty() || !(Squared(axis) > 0))
        return false;
    axis = axis / std::sqrt(Squared(axis));
    double halfAngle = 0;
    for (const Vec& u : edges)
        halfAngle += std::atan2(std::sqrt(Squared(u * axis)), u % axis) / double(edges.size());
    // The ring starts at its one vertex that may not move (two such leave
    // nothing to spread), or at its first.
    std::size_t anchor = ring.size();
    double distance = 0;
    int freeCount = 0;
    for (std::size_t i = 0; i < ring.size(); ++i) {
        if (IsFree(ring[i])) {
            distance += std::sqrt(Squared(m_Position[ring[i]] - t));
            ++freeCount;
        } else if (anchor == ring.size()) {
            anchor = i;
        } else {
            return false;
        }
    }
    if (freeCount == 0)
        return false;
    distance /= freeCount;
    const std::size_t first = anchor == ring.size() ? 0 : anchor;
    Vec across = m_Position[ring[first]] - t;
    across = across - axis * (across % axis);
    double sense = 0;
    for (std::size_t i = 0; i < ring.size(); ++i)
        sense += ((m_Position[ring[i]] - t) * (m_Position[ring[(i + 1) % ring.size()]] - t)) % axis;
    if (!(Squared(across) > 0))
        return false;
    across = across / std::sqrt(Squared(across));
    const Vec side = (axis * across) * (sense < 0 ? -1.0 : 1.0);
    // The free ring vertices' new places and the input faces they lie on.
    struct CPlace {
        std::uint32_t m_Vertex;
        Vec m_At;
        std::uint32_t m_Face;
    };
    std::vector<CPlace> places;
    for (std::size_t j = 0; j < ring.size(); ++j) {
        const std::uint32_t v = ring[(first + j) % ring.size()];
        if (!IsFree(v))
            continue;
        const double azimuth = 2 * Pi * double(j) / double(ring.size());
        const Vec direction = OnCone(axis, across, side, halfAngle, azimuth);
        Vec onInput;
        const std::uint32_t face = NearestOnInput(t + direction * distance, m_FaceHint[v], onInput);
        if (face == None || !IsFinite(onInput))
            return false;
        places.push_back(CPlace{v, onInput, face});
    }
    // Every vertex's place after the merge: x at the tip.
    const auto after = [&](std::uint32_t v) -> const Vec& {
        if (v == x)
            return t;
        for (const CPlace& place : places)
            if (place.m_Vertex == v)
                return place.m_At;
        return m_Position[v];
    };
    // The faces touched: around the tip, x and the ring; their folds are
    // measured against the faces beside them.
    std::vector<std::uint32_t> faces;
    ForEachOutgoing(tip, [&](std::uint32_t e) { faces.push_back(e / 3); });
    ForEachOutgoing(x, [&](std::uint32_t e) { faces.push_back(e / 3); });
    for (const std::uint32_t v : ring)
        ForEachOutgoing(v, [&](std::uint32_t e) { faces.push_back(e / 3); });
    std::sort(faces.begin(), faces.end());
    faces.erase(std::unique(faces.begin(), faces.end()), faces.end());
    const std::uint32_t gone[2] = {toTip / 3, m_Twin[toTip] / 3};
    const auto normalOf = [&](std::uint32_t f, bool merged) {
        const std::uint32_t* corner = &m_Corner[3 * f];
        if (!merged)
            return FaceNormal(f);
        const Vec &a = after(corner[0]), &b = after(corner[1]), &c = after(corner[2]);
        return (b - a) * (c - a);
    };
    const auto angleOf = [&](std::uint32_t f, bool merged) {
        const std::uint32_t* corner = &m_Corner[3 * f];
        if (!merged)
            return SmallestAngle(m_Position[corner[0]], m_Position[corner[1]], m_Position[corner[2]]);
        return SmallestAngle(after(corner[0]), after(corner[1]), after(corner[2]));
    };
    // After the merge the sides of a gone face join the faces beyond them:
    // the face across side e of f, then.
    const auto beyond = [&](std::uint32_t e, bool merged) {
        std::uint32_t o = m_Twin[e];
        if (merged)
            for (int hop = 0; hop < 2 && o != None && (o / 3 == gone[0] || o / 3 == gone[1]); ++hop) {
                // The gone face's other side away from x's edge to the tip.
                const std::uint32_t n = Next(o), p = Prev(o);
                const std::uint32_t other = (n == toTip || n == m_Twin[toTip]) ? p : n;
                o = m_Twin[other];
            }
        return o;
    };
    double smallest[2] = {Pi, Pi};
    int folds = 0;
    bool turned = false;
    const Vec oldFan = FanNormal(x);
    for (int merged = 0; merged < 2; ++merged)
        for (const std::uint32_t f : faces) {
            if (merged && (f == gone[0] || f == gone[1]))
                continue;
            const Vec normal = normalOf(f, merged);
            smallest[merged] = std::min(smallest[merged], angleOf(f, merged));
            if (merged) {
                for (std::uint32_t e = 3 * f; e < 3 * f + 3; ++e) {
                    const std::uint32_t o = beyond(e, true);
                    if (o != None && Folded(normal, normalOf(o / 3, true)))
                        ++folds;
                }
                const bool hadX = m_Corner[3 * f] == x || m_Corner[3 * f + 1] == x || m_Corner[3 * f + 2] == x;
                const Vec old = hadX ? oldFan : FaceNormal(f);
                turned = turned || !(Squared(normal) > m_MinCross2) || !(normal % old > 0);
            }
        }
    if (turned || folds > 0 || !(smallest[1] > smallest[0] + MinAngleGain))
        return false;
    Collapse(toTip, true, t);
    for (const CPlace& place : places) {
        m_Position[place.m_Vertex] = place.m_At;
        m_FaceHint[place.m_Vertex] = place.m_Face;
    }
    return true;
}

bool CEngine::IsBareTip(std::uint32_t v) const {
    if ((m_Flags[v] & (Deleted | Fixed | Sliding | NonManifold)) != Fixed || m_Out[v] == None || IsOpen(v))
        return false;
    bool constrained = false;
    ForEachOutgoing(v, [&](std::uint32_t e) { constrained |= m_Kind[e] != None; });
    return !constrained && AngleSum(v) < NeedleTipTurn * 2 * Pi;
}

// A tip's faces meet at it at angles set by the directions of its ring
// vertices alone: on a cone of half-angle a, two ring vertices whose
// azimuths lie d apart make an angle of 2 asin(sin a sin(d / 2)) there,
// however far out they lie. So the tip's smallest angle is best with its k
// ring vertices spread evenly (2 pi / k apart), and best of all with k = 3:
// 16.4 degrees on a cone of half-angle 9.5 where four give 13.4, 26 on a
// spike whose faces sum to 95 degrees where four give 21. The relaxation
// leaves the ring as uneven as the collapses made it (the spiky sphere's
// tips had their four ring vertices from 0.3 to 0.5 targets out, 18 degrees
// at the tip). Here each bare tip whose fan or whose ring's fans are
// thinner than TipRingAngle tries its ring as it is and, from four faces
// up, with each edge of its fan flipped away. Each ring is spread evenly
// at a few rotations (or at the rotation of a ring vertex that may not
// move) and at a few common distances from the tip (the faces below want
// that distance to match the ring's spacing), every place projected onto
// the input; the vertex a flip took off the ring and the free vertices one
// ring further out may follow to the middle of their neighbours (the ring
// further out only at the few places whose tip faces are widest: no move
// of it changes those faces, so they bound what it can reach). The best
// of these by the smallest angle of the faces around the tip and both rings
// is kept where it beats the present one by MinAngleGain, turns no face and
// folds no edge, or fewer than fold there now (the fewest first): a fold
// kept there would be spared the final moves after this pass, which open
// one where they can. On an input that folds like noise (see
// NoiseFoldsShare) as many as fold there now will do: the spikes of a raw
// scan stand among folds that copy the input's own, which no later move
// opens either, and held to fewer, their rings kept faces of 12 to 13
// degrees at the tips (two to four folds around each).
// Three faces around a slender tip have normals nearly 120 degrees apart
// (119.3 on the cone above): only an even ring keeps them apart from a
// fold, which is why the collapses may not leave the tip of a needle with
// fewer than four (see MinValence), and only this pass, which places the
// ring as it removes the fourth face, goes down to three. Serial, in vertex
// order, so the result does not depend on threads.
bool CEngine::EvenTipRings(const std::vector<std::uint32_t>* only) {
    const std::uint32_t vertexCount = static_cast<std::uint32_t>(m_Position.size());
    // A third trial waiting (see tryRing): its bound, its place in the plain
    // order, and where its ring's places start in ringPlaces.
    struct CLaterTrial {
        double m_Bound;
        long m_Order;
        std::size_t m_Offset;
    };
    // What the search at one tip works in, one per thread: the tip's rings,
    // the faces measured, the best trial so far, the input gathered around
    // the tip and, per mover, around it the first time it is settled (see
    // settle below), and the measures of the ring as it stands (see keep).
    struct CScratch {
        std::vector<std::uint32_t> m_Ring, m_Below, m_Faces, m_Movers, m_BestHints, m_RingHints, m_Hints;
        std::vector<Vec> m_BestPlaces, m_RingPlaces, m_Places;
        std::vector<char> m_WasTurned, m_Gathered, m_KeptTurned, m_Moved;
        CInputPatch m_Patch;
        std::vector<CInputPatch> m_SettlePatches;
        std::vector<CLaterTrial> m_Later;
        std::vector<double> m_KeptAngle, m_FaceCos;
        std::vector<int> m_KeptFolds, m_NearMovers;
    };
    // Whether face f is turned against the input or vanished, `normal` its
    // normal. Only free corners move, and only their places lie on the
    // input's faces (a rim's vertex may stand on the base under a side face).
    const auto isTurned = [&](std::uint32_t f, const Vec& normal) {
        const std::uint32_t* corner = &m_Corner[3 * f];
        Vec reference;
        for (int k = 0; k < 3; ++k) {
            Vec n = IsFree(corner[k]) ? InputNormal(corner[k], corner[k], corner[k]) : Vec();
            if (Squared(n) > 0)
                reference += n / std::sqrt(Squared(n));
        }
        return !(Squared(normal) > m_MinCross2) || (Squared(reference) > 0 && !(normal % reference > 0));
    };
    const auto foldsOf = [&](std::uint32_t f, const Vec& normal) {
        int count = 0;
        for (std::uint32_t h = 3 * f; h < 3 * f + 3; ++h)
            count += m_Twin[h] != None && Folded(normal, FaceNormal(m_Twin[h] / 3));
        return count;
    };
    // Searches the ring of `tip` as the comment above says and keeps the
    // best trial; whether it changed anything. With `lookOnly`, nothing moves:
    // whether the tip is one to search at all. All it reads lies within four
    // edges of the tip, all it writes within two (see below).
    const auto evenTip = [&](std::uint32_t tip, CScratch& scratch, bool lookOnly) {
        std::vector<std::uint32_t>&ring = scratch.m_Ring, &below = scratch.m_Below, &faces = scratch.m_Faces,
        &movers = scratch.m_Movers, &bestHints = scratch.m_BestHints, &ringHints = scratch.m_RingHints,
        &hints = scratch.m_Hints;
        std::vector<Vec>&bestPlaces = scratch.m_BestPlaces, &ringPlaces = scratch.m_RingPlaces,
        &places = scratch.m_Places;
        std::vector<char>&wasTurned = scratch.m_WasTurned, &gathered = scratch.m_Gathered,
        &keptTurned = scratch.m_KeptTurned, &moved = scratch.m_Moved;
        CInputPatch& patch = scratch.m_Patch;
        std::vector<CInputPatch>& settlePatches = scratch.m_SettlePatches;
        std::vector<CLaterTrial>& later = scratch.m_Later;
        std::vector<double>&keptAngle = scratch.m_KeptAngle, &faceCos = scratch.m_FaceCos;
        std::vector<int>&keptFolds = scratch.m_KeptFolds, &nearMovers = scratch.m_NearMovers;
        // What each face of `faces` measures with every mover in its place
        // (`places`, `hints`) under the option being tried (see tryRing). A
        // trial moves a few movers only; a face none of whose corners moved
        // measures as it did, and so do its folds where its neighbours' far
        // corners did not move either. Per face, six places in `movers` (-1 for
        // none): its corners', then the far corners' of its neighbours.
        bool kept = false;
        const auto keep = [&]() {
            const auto moverOf = [&](std::uint32_t v) {
                const auto at = std::find(movers.begin(), movers.end(), v);
                return at == movers.end() ? -1 : static_cast<int>(at - movers.begin());
            };
            keptAngle.resize(faces.size());
            keptTurned.resize(faces.size());
            keptFolds.resize(faces.size());
            nearMovers.assign(6 * faces.size(), -1);
            moved.assign(movers.size(), 0);
            for (std::size_t i = 0; i < faces.size(); ++i) {
                const std::uint32_t f = faces[i];
                const std::uint32_t* corner = &m_Corner[3 * f];
                const Vec normal = FaceNormal(f);
                keptTurned[i] = isTurned(f, normal);
                keptAngle[i] = SmallestAngle(m_Position[corner[0]], m_Position[corner[1]], m_Position[corner[2]]);
                keptFolds[i] = foldsOf(f, normal);
                for (std::uint32_t k = 0; k < 3; ++k) {
                    nearMovers[6 * i + k] = moverOf(corner[k]);
                    const std::uint32_t twin = m_Twin[3 * f + k];
                    if (twin != None)
                        nearMovers[6 * i + 3 + k] = moverOf(m_Corner[Prev(twin)]);
                }
            }
            kept = true;
        };
        // The smallest angle of the region's faces, whether any turned against
        // the input or vanished that had not (`wasTurned`, per face of `faces`;
        // empty: the present state, which it then receives), and how many of
        // their sides fold. It stops early, returning false, once a face turned
        // or the smallest angle fell to `floor`: such a trial cannot win.
        // After the first measure the faces that moved are screened by their
        // smallest angle's cosine: one clearly above the floor's is below the
        // floor, and of the rest only those near the largest cosine are
        // measured by SmallestAngle, whose value the rest cannot undercut.
        const auto measure = [&](double& smallest, bool& turned, int& folds, double floor) {
            smallest = Pi;
            turned = false;
            folds = 0;
            const bool first = wasTurned.empty();
            const double floorCos = first ? 2.0 : std::cos(floor) + AngleCosMargin;
            double largest = -1;
            faceCos.assign(faces.size(), -2.0);
            // Equal with the same signs is the same place bit for bit (a zero's
            // sign can change an angle of a vanished face); a NaN counts as moved.
            const auto equal = [](double x, double y) { return x == y && std::signbit(x) == std::signbit(y); };
            if (kept)
                for (std::size_t j = 0; j < movers.size(); ++j) {
                    const Vec &p = m_Position[movers[j]], &q = places[j];
                    moved[j] =
                        m_FaceHint[movers[j]] != hints[j] || !equal(p.x, q.x) || !equal(p.y, q.y) || !equal(p.z, q.z);
                }
            const auto still = [&](int j) { return j < 0 || !moved[j]; };
            for (std::size_t i = 0; i < faces.size(); ++i) {
                const std::uint32_t f = faces[i];
                const std::uint32_t* corner = &m_Corner[3 * f];
                // The first measure of a ring has no movers to look up.
                const int* near = kept ? &nearMovers[6 * i] : nullptr;
                const bool same = kept && still(near[0]) && still(near[1]) && still(near[2]);
                Vec normal;
                double angle;
                bool now;
                if (same) {
                    angle = keptAngle[i];
                    now = keptTurned[i];
                } else {
                    normal = FaceNormal(f);
                    now = isTurned(f, normal);
                    const double cosine =
                        first ? 0.0
                              : SmallestAngleCos(m_Position[corner[0]], m_Position[corner[1]], m_Position[corner[2]]);
                    if (!first && std::isfinite(cosine)) {
                        if (cosine > floorCos)
                            return false;
                        faceCos[i] = cosine;
                        largest = std::max(largest, cosine);
                        angle = Pi;
                    } else {
                        angle = SmallestAngle(m_Position[corner[0]], m_Position[corner[1]], m_Position[corner[2]]);
                    }
                }
                if (first)
                    wasTurned.push_back(now);
                turned = turned || (now && !wasTurned[i]);
                smallest = std::min(smallest, angle);
                if (!first && (turned || !(smallest > floor)))
                    return false;
                if (same && still(near[3]) && still(near[4]) && still(near[5])) {
                    folds += keptFolds[i];
                } else {
                    if (same)
                        normal = FaceNormal(f);
                    folds += foldsOf(f, normal);
                }
            }
            const double near = largest - AngleCosMargin;
            for (std::size_t i = 0; i < faces.size(); ++i)
                if (faceCos[i] > -2.0 && !(faceCos[i] < near)) {
                    const std::uint32_t* corner = &m_Corner[3 * faces[i]];
                    smallest = std::min(
                        smallest, SmallestAngle(m_Position[corner[0]], m_Position[corner[1]], m_Position[corner[2]]));
                }
            return first || smallest > floor;
        };
        // Bounded: one sweep over the vertices; at a bare tip (valence at most
        // MaxCollapseValence) at most valence + 1 rings, each at 8 rotations
        // (each turned TipRingRounds times) and at most 4 + valence distances,
        // two trials each and a third at TipRingSettled of them; a trial
        // projects the vertex taken off the ring and the ring below at most
        // TipRingSweeps times, walking their fans (each settled vertex's input
        // gathered once per tip), and measures the faces of the fans of the tip
        // and both rings. All of it is local to the tip.
        if (!IsBareTip(tip) || m_Valence[tip] > MaxCollapseValence)
            return false;
        const Vec t = m_Position[tip];
        ring.clear();
        ForEachNeighbour(tip, [&](std::uint32_t x, std::uint32_t) { ring.push_back(x); });
        // The free vertices one ring further out follow the ring (see
        // below).
        below.clear();
        for (const std::uint32_t r : ring)
            ForEachNeighbour(r, [&](std::uint32_t x, std::uint32_t) {
                if (x != tip && IsFree(x) && std::find(ring.begin(), ring.end(), x) == ring.end())
                    below.push_back(x);
            });
        std::sort(below.begin(), below.end());
        below.erase(std::unique(below.begin(), below.end()), below.end());
        movers = ring;
        movers.insert(movers.end(), below.begin(), below.end());
        if (settlePatches.size() < movers.size())
            settlePatches.resize(movers.size());
        gathered.assign(movers.size(), 0);
        faces.clear();
        ForEachOutgoing(tip, [&](std::uint32_t e) { faces.push_back(e / 3); });
        for (const std::uint32_t v : movers)
            ForEachOutgoing(v, [&](std::uint32_t e) { faces.push_back(e / 3); });
        std::sort(faces.begin(), faces.end());
        faces.erase(std::unique(faces.begin(), faces.end()), faces.end());
        double before;
        bool turnedBefore;
        int foldsBefore;
        wasTurned.clear();
        kept = false;
        measure(before, turnedBefore, foldsBefore, 0.0);
        if (!(before < TipRingAngle))
            return false;
        if (lookOnly)
            return true;
        // The ring's places lie on a cone around the tip, mostly within its
        // farthest vertex's reach, and so do their projections: the input
        // there is gathered once and searched instead of the whole input's
        // tree, whose walks from thousands of places around the same few
        // long faces of a spike cost more than the search of the patch.
        double reach = 0;
        for (const std::uint32_t r : ring)
            reach = std::max(reach, std::sqrt(Squared(m_Position[r] - t)));
        GatherInput(t - Vec(1, 1, 1) * (TipRingReach * reach), t + Vec(1, 1, 1) * (TipRingReach * reach), patch);
        places.resize(movers.size());
        hints.resize(movers.size());
        for (std::size_t i = 0; i < movers.size(); ++i) {
            places[i] = m_Position[movers[i]];
            hints[i] = m_FaceHint[movers[i]];
        }
        const auto restore = [&]() {
            for (std::size_t i = 0; i < movers.size(); ++i) {
                m_Position[movers[i]] = places[i];
                m_FaceHint[movers[i]] = hints[i];
            }
        };
        double best = 0;
        int bestFolds = foldsBefore + 1;
        std::uint32_t bestFlip = None;
        bool found = false;
        long sequence = 0, bestOrder = std::numeric_limits<long>::max();
        std::vector<std::uint32_t> now;
        std::vector<char> movable;
        std::vector<double> azimuths, atTip;
        // Places the tip's present ring evenly (see above) and keeps the best
        // trial; `left` is the vertex a flip took off the ring (None without
        // a flip), `flip` the half-edge flipped.
        const auto tryRing = [&](std::uint32_t left, std::uint32_t flip) {
            keep();
            now.clear();
            ForEachNeighbour(tip, [&](std::uint32_t x, std::uint32_t) { now.push_back(x); });
            const std::size_t k = now.size();
            movable.assign(k, 0);
            azimuths.assign(k, 0.0);
            atTip.assign(k, 0.0);
            Vec axis;
            std::size_t anchor = k;
            double far = 0;
            int freeCount = 0;
            for (std::size_t i = 0; i < k; ++i) {
                const Vec u = m_Position[now[i]] - t;
                axis += u / std::sqrt(Squared(u));
                movable[i] = IsFree(now[i]);
                if (movable[i]) {
                    far += std::sqrt(Squared(u));
                    ++freeCount;
                } else if (anchor == k) {
                    anchor = i;
                }
            }
            if (freeCount == 0 || !(Squared(axis) > 0))
                return;
            axis = axis / std::sqrt(Squared(axis));
            far /= freeCount;
            // The cone's half-angle, the ring's first direction across the
            // axis (the anchor's, where a vertex may not move) and the sense
            // in which the ring turns around the axis.
            double halfAngle = 0, sense = 0;
            for (std::size_t i = 0; i < k; ++i) {
                const Vec u = m_Position[now[i]] - t, w = m_Position[now[(i + 1) % k]] - t;
                halfAngle += std::atan2(std::sqrt(Squared(u * axis)), u % axis) / double(k);
                sense += (u * w) % axis;
            }
            const std::size_t first = anchor == k ? 0 : anchor;
            Vec across = m_Position[now[first]] - t;
            across = across - axis * (across % axis);
            if (!(Squared(across) > 0))
                return;
            across = across / std::sqrt(Squared(across));
            const Vec side = (axis * across) * (sense < 0 ? -1.0 : 1.0);
            // A ring pulled in to 0.7 of its mean reach won at 3 of the
            // spiked scan's 2,186 new rings, for 0.43 million of the pass's
            // 5.6 million projections; 0.85 still wins on a sharp cone.
            std::vector<double> distances = {0.85 * far, far, 1.2 * far, 1.4 * far};
            for (std::size_t i = 0; i < k; ++i)
                if (!movable[i])
                    distances.push_back(std::sqrt(Squared(m_Position[now[i]] - t)));
            const double step = 2 * Pi / double(k);
            const int rotations = anchor == k ? 8 : 1;
            const auto placeAt = [&](std::size_t i, double azimuth, double distance) {
                const Vec direction = OnCone(axis, across, side, halfAngle, azimuth);
                const Vec q = ProjectedNear(now[i], t + direction * distance, patch);
                m_Position[now[i]] = q;
                return IsFinite(q);
            };
            // Three trials at each distance: the rest left where it is; the
            // vertex a flip took off the ring moved to the middle of its
            // neighbours; and that vertex and the ring below moved so a few
            // times (the faces between the two rings twist where the ring
            // turns around the tip). Each starts from the ring as placed at
            // its distance (kept from `offset` on in ringPlaces). The trials
            // may run out of order (see below): `order` is a trial's place in
            // the plain order, which settles ties as that order would.
            ringPlaces.clear();
            ringHints.clear();
            later.clear();
            const auto runTrial = [&](int trial, std::size_t offset, long order, double bound) {
                // Without a free vertex taken off the ring the second trial
                // is the first again.
                if (trial == 1 && (left == None || !IsFree(left)))
                    return;
                // What a trial must reach: the present smallest angle plus
                // MinAngleGain and, once a trial without folds was kept, that
                // trial's (equal will do for a trial earlier in the plain
                // order).
                double floor = before + MinAngleGain;
                if (found && bestFolds == 0)
                    floor = std::max(floor, order < bestOrder ? std::nextafter(best, 0.0) : best);
                if (!(bound > floor))
                    return;
                restore();
                for (std::size_t i = 0; i < k; ++i) {
                    m_Position[now[i]] = ringPlaces[offset + i];
                    m_FaceHint[now[i]] = ringHints[offset + i];
                }
                bool settled = true;
                const auto settle = [&](std::uint32_t v) {
                    Vec centroid;
                    int count = 0;
                    ForEachNeighbour(v, [&](std::uint32_t x, std::uint32_t) {
                        centroid += m_Position[x];
                        ++count;
                    });
                    // The settled vertices lie beyond the ring, mostly out of
                    // the tip's patch; each has its own, gathered once per
                    // tip. Any patch gives the tree's answer, so where the
                    // neighbours moved since, only the time changes.
                    const std::size_t j =
                        static_cast<std::size_t>(std::find(movers.begin(), movers.end(), v) - movers.begin());
                    CInputPatch& around = settlePatches[j];
                    if (!gathered[j]) {
                        gathered[j] = 1;
                        Vec low = m_Position[v], high = low;
                        ForEachNeighbour(v, [&](std::uint32_t x, std::uint32_t) {
                            for (int c = 0; c < 3; ++c) {
                                low[c] = std::min(low[c], m_Position[x][c]);
                                high[c] = std::max(high[c], m_Position[x][c]);
                            }
                        });
                        double size = 0;
                        for (int c = 0; c < 3; ++c)
                            size = std::max(size, high[c] - low[c]);
                        const Vec margin = Vec(1, 1, 1) * (TipSettleReach * size);
                        GatherInput(low - margin, high + margin, around);
                    }
                    const Vec q = ProjectedNear(v, centroid / double(count), around);
                    settled = settled && IsFinite(q);
                    m_Position[v] = q;
                };
                const int sweeps = trial == 0 ? 0 : trial == 1 ? 1 : TipRingSweeps;
                for (int sweep = 0; sweep < sweeps && settled; ++sweep) {
                    if (left != None && IsFree(left))
                        settle(left);
                    if (trial == 2)
                        for (const std::uint32_t v : below)
                            if (v != left)
                                settle(v);
                }
                double smallest;
                bool turned;
                int folds;
                if (settled && measure(smallest, turned, folds, floor) && !turned &&
                    (folds == 0 || folds < foldsBefore || (m_FoldsLikeNoise && folds == foldsBefore)) &&
                    smallest > before + MinAngleGain &&
                    (folds < bestFolds ||
                     (folds == bestFolds && (smallest > best || (smallest == best && order < bestOrder))))) {
                    best = smallest;
                    bestFolds = folds;
                    bestOrder = order;
                    found = true;
                    bestFlip = flip;
                    bestPlaces.resize(movers.size());
                    bestHints.resize(movers.size());
                    for (std::size_t i = 0; i < movers.size(); ++i) {
                        bestPlaces[i] = m_Position[movers[i]];
                        bestHints[i] = m_FaceHint[movers[i]];
                    }
                }
                restore();
            };
            for (int r = 0; r < rotations; ++r) {
                const int eighths = r - rotations / 2;
                const double turn = eighths * step / 8;
                // Equal azimuths make equal angles at the tip only on a round
                // cone; on a spike of a few flat faces the ring is turned
                // until they are equal, since three faces whose angles at the
                // tip differ by a degree or two fold (their normals pass 120
                // degrees apart across the edge between the two thinner).
                bool placed = true;
                for (std::size_t i = 0; i < k; ++i)
                    azimuths[i] = turn + step * double((i + k - first) % k);
                for (int round = 0; round < TipRingRounds && placed; ++round) {
                    for (std::size_t i = 0; i < k && placed; ++i)
                        if (movable[i])
                            placed = placeAt(i, azimuths[i], far);
                    double mean = 0;
                    for (std::size_t i = 0; i < k; ++i) {
                        const Vec u = m_Position[now[i]] - t, w = m_Position[now[(i + 1) % k]] - t;
                        atTip[i] = std::atan2(std::sqrt(Squared(u * w)), u % w);
                        mean += atTip[i] / double(k);
                    }
                    if (!(mean > 0))
                        placed = false;
                    for (std::size_t i = 0; i < k && placed; ++i)
                        if (movable[i])
                            azimuths[i] += 0.5 * (atTip[i] - atTip[(i + k - 1) % k]) * step / mean;
                }
                restore();
                if (!placed)
                    continue;
                for (const double distance : distances) {
                    placed = true;
                    for (std::size_t i = 0; i < k && placed; ++i)
                        if (movable[i])
                            placed = placeAt(i, azimuths[i], distance);
                    if (placed) {
                        // No trial moves the corners of the tip's faces any
                        // further (the vertex a flip takes off the ring is no
                        // longer one of them), so their smallest angle bounds
                        // every trial at this distance.
                        double atTipFaces = Pi;
                        ForEachOutgoing(tip, [&](std::uint32_t e) {
                            const std::uint32_t* corner = &m_Corner[e - e % 3];
                            atTipFaces =
                                std::min(atTipFaces, SmallestAngle(m_Position[corner[0]], m_Position[corner[1]],
                                                                   m_Position[corner[2]]));
                        });
                        const std::size_t offset = ringPlaces.size();
                        for (std::size_t i = 0; i < k; ++i) {
                            ringPlaces.push_back(m_Position[now[i]]);
                            ringHints.push_back(m_FaceHint[now[i]]);
                        }
                        runTrial(0, offset, sequence, atTipFaces);
                        runTrial(1, offset, sequence + 1, atTipFaces);
                        if (atTipFaces > before + MinAngleGain)
                            later.push_back({atTipFaces, sequence + 2, offset});
                    }
                    sequence += 3;
                    restore();
                }
            }
            // The third trials, which project the ring below three times
            // over, by their bound, highest first: once a trial without
            // folds was kept, the rest cannot beat it. Only the
            // TipRingSettled best-bounded rings of each option get one; at
            // every ring they made three fifths of the pass's projections,
            // and a scan with thousands of noise spikes spent most of its
            // remesh here.
            std::stable_sort(later.begin(), later.end(),
                             [](const CLaterTrial& x, const CLaterTrial& y) { return x.m_Bound > y.m_Bound; });
            if (later.size() > TipRingSettled)
                later.resize(TipRingSettled);
            for (const CLaterTrial& trial : later) {
                if (found && bestFolds == 0 && trial.m_Bound < best)
                    break;
                runTrial(2, trial.m_Offset, trial.m_Order, trial.m_Bound);
            }
        };
        // The tip's outgoing half-edges, read before any flip.
        std::vector<std::uint32_t> spokes;
        ForEachOutgoing(tip, [&](std::uint32_t e) { spokes.push_back(e); });
        for (std::size_t option = 0; option <= spokes.size(); ++option) {
            const std::uint32_t h = option == 0 ? None : spokes[option - 1];
            std::uint32_t left = None;
            // What a flip rewrites, to undo it exactly: the two faces' slots,
            // the outer half-edges' twins, and the four corners' outgoing
            // half-edges and valences.
            std::uint32_t slot[6] = {}, corner[6] = {}, twin[6] = {}, kind[6] = {}, outer[4] = {}, outerEdges[4] = {},
                          quad[4] = {}, out[4] = {};
            int valence[4] = {};
            if (h != None) {
                const std::uint32_t th = m_Twin[h];
                left = Target(h);
                const std::uint32_t c = m_Corner[Prev(h)], d = m_Corner[Prev(th)];
                if (m_Valence[tip] <= 3 || m_Valence[left] <= 3 || th == None || c == d || m_Kind[h] != None ||
                    ((m_Flags[left] | m_Flags[c] | m_Flags[d]) & NonManifold) || (IsOpen(c) && IsOpen(d)))
                    continue;
                bool joined = false;
                ForEachNeighbour(c, [&](std::uint32_t x, std::uint32_t) { joined |= x == d; });
                if (joined)
                    continue;
                const std::uint32_t base0 = h - h % 3, base1 = th - th % 3;
                for (std::uint32_t k = 0; k < 3; ++k) {
                    slot[k] = base0 + k;
                    slot[3 + k] = base1 + k;
                }
                for (int k = 0; k < 6; ++k) {
                    corner[k] = m_Corner[slot[k]];
                    twin[k] = m_Twin[slot[k]];
                    kind[k] = m_Kind[slot[k]];
                }
                outerEdges[0] = Next(h);
                outerEdges[1] = Prev(h);
                outerEdges[2] = Next(th);
                outerEdges[3] = Prev(th);
                for (int k = 0; k < 4; ++k)
                    outer[k] = m_Twin[outerEdges[k]];
                quad[0] = tip;
                quad[1] = left;
                quad[2] = c;
                quad[3] = d;
                for (int k = 0; k < 4; ++k) {
                    out[k] = m_Out[quad[k]];
                    valence[k] = m_Valence[quad[k]];
                }
                Flip(h);
            }
            tryRing(left, h);
            if (h != None) {
                for (int k = 0; k < 6; ++k) {
                    m_Corner[slot[k]] = corner[k];
                    m_Twin[slot[k]] = twin[k];
                    m_Kind[slot[k]] = kind[k];
                }
                for (int k = 0; k < 4; ++k) {
                    if (outer[k] != None)
                        m_Twin[outer[k]] = outerEdges[k];
                    m_Out[quad[k]] = out[k];
                    m_Valence[quad[k]] = valence[k];
                }
            }
        }
        if (!found)
            return false;
        if (bestFlip != None)
            Flip(bestFlip);
        for (std::size_t i = 0; i < movers.size(); ++i) {
            m_Position[movers[i]] = bestPlaces[i];
            m_FaceHint[movers[i]] = bestHints[i];
        }
        return true;
    };
    // What of a bare tip no search changes: its flags, whether it is open and
    // its lines (a flip turns an edge of no line and carries the lines of the
    // four sides around it). Its angles and valence the search reads again
    // at the tip's turn.
    std::vector<std::uint32_t> candidates;
    for (std::uint32_t tip = 0; tip < vertexCount; ++tip) {
        if ((m_Flags[tip] & (Deleted | Fixed | Sliding | NonManifold)) != Fixed || m_Out[tip] == None || IsOpen(tip) ||
            (only && !std::binary_search(only->begin(), only->end(), tip)))
            continue;
        bool constrained = false;
        ForEachOutgoing(tip, [&](std::uint32_t e) { constrained |= m_Kind[e] != None; });
        if (!constrained)
            candidates.push_back(tip);
    }
    const int threads = omp_get_max_threads();
    std::vector<CScratch> scratches(static_cast<std::size_t>(threads));
    bool changed = false;
    if (threads == 1 || candidates.size() < TipRingParallel) {
        for (const std::uint32_t tip : candidates)
            changed |= evenTip(tip, scratches[0], false);
        return changed;
    }
    // The plain order, tip by tip, on all threads. A search reads the
    // places, fans, flags and face hints within four edges of its tip (the
    // faces across the sides of the fans of the ring below) and writes within
    // two: the ring and the ring below move, and a flip rewrites two faces
    // of the tip's fan, the twins of the four faces beside them and its four
    // corners. Two tips neither of which writes where the other reads give
    // the same whichever goes first, so each round takes every tip that
    // conflicts with no tip before it still waiting, and searches those
    // together. Each waiting tip's region is walked again only where a
    // search since wrote in it, which is also the only way its region can
    // have changed. A region holding a vertex whose fan walk may miss faces
    // (a non-manifold one) goes alone, after everything before it.
    const std::size_t tipCount = candidates.size();
    std::vector<std::vector<std::uint32_t>> regions(tipCount);
    std::vector<std::uint32_t> nearCount(tipCount, 0), walkedIn(tipCount, 0);
    std::vector<char> wants(tipCount, 0), alone(tipCount, 0), changedAt(tipCount, 0);
    std::vector<std::vector<std::uint32_t>> stamps(static_cast<std::size_t>(threads));
    std::vector<std::uint32_t> stampNow(static_cast<std::size_t>(threads), 0);
    std::vector<std::uint32_t> writtenIn(vertexCount, 0), readMark(vertexCount, 0), writeMark(vertexCount, 0);
    std::vector<std::uint32_t> waiting(tipCount), chosen, still;
    std::iota(waiting.begin(), waiting.end(), 0u);
    const auto walk = [&](std::size_t i, std::vector<std::uint32_t>& stamp, std::uint32_t mark) {
        std::vector<std::uint32_t>& region = regions[i];
        region.assign(1, candidates[i]);
        stamp[candidates[i]] = mark;
        bool manifold = true;
        std::size_t begin = 0;
        for (int layer = 0; layer < 4; ++layer) {
            const std::size_t end = region.size();
            for (std::size_t j = begin; j < end; ++j) {
                const std::uint32_t v = region[j];
                manifold = manifold && !(m_Flags[v] & NonManifold);
                ForEachOutgoing(v, [&](std::uint32_t e) {
                    const std::uint32_t* corner = &m_Corner[e - e % 3];
                    for (int k = 0; k < 3; ++k)
                        if (stamp[corner[k]] != mark) {
                            stamp[corner[k]] = mark;
                            region.push_back(corner[k]);
                        }
                });
            }
            if (layer == 1)
                nearCount[i] = static_cast<std::uint32_t>(region.size());
            begin = end;
        }
        alone[i] = !manifold;
    };
    // Bounded: each round takes at least the first tip waiting.
    for (std::uint32_t round = 1; !waiting.empty(); ++round) {
        const std::int64_t waitingCount = static_cast<std::int64_t>(waiting.size());
#pragma omp parallel for schedule(dynamic, 16)
        for (std::int64_t w = 0; w < waitingCount; ++w) {
            const std::size_t i = waiting[static_cast<std::size_t>(w)];
            bool stale = walkedIn[i] == 0;
            for (std::size_t j = 0; j < regions[i].size() && !stale; ++j)
                stale = writtenIn[regions[i][j]] >= walkedIn[i];
            if (!stale)
                continue;
            const std::size_t thread = static_cast<std::size_t>(omp_get_thread_num());
            std::vector<std::uint32_t>& stamp = stamps[thread];
            if (stamp.empty())
                stamp.assign(vertexCount, 0);
            walk(i, stamp, ++stampNow[thread]);
            wants[i] = evenTip(candidates[i], scratches[thread], true);
            walkedIn[i] = round;
        }
        // In the plain order: a tip where no tip before it still waiting may
        // write sees what it would see at its turn, and if it would not
        // search it is done (it writes nothing); one that would is searched
        // now unless it writes where a tip before it still waiting reads.
        chosen.clear();
        still.clear();
        bool blockAll = false;
        for (const std::uint32_t i : waiting) {
            const std::vector<std::uint32_t>& region = regions[i];
            bool blocked = blockAll || (alone[i] && !(chosen.empty() && still.empty()));
            for (std::size_t j = 0; j < region.size() && !blocked; ++j)
                blocked = writeMark[region[j]] == round;
            if (!blocked && !wants[i])
                continue;
            for (std::size_t j = 0; j < nearCount[i] && !blocked; ++j)
                blocked = readMark[region[j]] == round;
            (blocked ? still : chosen).push_back(i);
            for (std::size_t j = 0; j < region.size(); ++j) {
                readMark[region[j]] = round;
                if (j < nearCount[i])
                    writeMark[region[j]] = round;
            }
            blockAll = blockAll || alone[i];
        }
        const std::int64_t chosenCount = static_cast<std::int64_t>(chosen.size());
#pragma omp parallel for schedule(dynamic, 1)
        for (std::int64_t c = 0; c < chosenCount; ++c) {
            const std::size_t i = chosen[static_cast<std::size_t>(c)];
            changedAt[i] = evenTip(candidates[i], scratches[static_cast<std::size_t>(omp_get_thread_num())], false);
        }
        // A search that kept nothing put everything back as it was; its
        // region is still counted as written, which costs only a walk.
        for (const std::uint32_t i : chosen) {
            changed = changed || changedAt[i];
            for (std::size_t j = 0; j < nearCount[i]; ++j)
                writtenIn[regions[i][j]] = round;
        }
        waiting.swap(still);
    }
    return changed;
}

}  // namespace Corvane::Pellix::Quorvel::detail::preserving
