// Flips towards valence 6 (4 on the boundary), and the passes that flip or
// collapse thin triangles to raise their smallest angle.
#include "quorvel/meshes/editing/preserving/Engine.h"

#include <iterator>

namespace Corvane::Pellix::Quorvel::detail::preserving {

namespace {

// Triangles with a smaller angle than this are worth a flip of their longest
// edge.
constexpr double ThinAngle = 30.0 * Pi / 180.0;
const double CosThinAngle = std::cos(ThinAngle);
// A face thinner than this may take a kept boundary vertex that straightens
// a noisy boundary further (see ThinFaceRoughnessFactor); between this and
// ThinAngle the boundary's shape comes first.
constexpr double SliverAngle = 20.0 * Pi / 180.0;
// Away from every constraint the final moves also take faces up to this
// angle: no edit but a move can raise them, and a move there changes nothing
// a constraint keeps. (Beside kept rims and lines the same moves spend the
// boundary's distance for a fraction of a degree.)
constexpr double FreeThinAngle = 35.0 * Pi / 180.0;
const double CosFreeThinAngle = std::cos(FreeThinAngle);
// The places along its line that a corner of a wall's thin face tries, in
// each of two rounds (see SlideAcrossWalls).
constexpr int SlideSteps = 16;
// The sine of the largest angle between the line's direction and the plane
// of a face of the sliding corner's fan: to rounding, none. (At 0.005, a
// third of a degree, a roof's top rim slid too, beside faces across its
// arc's facets, and the roof kept 28.6 degrees rather than 25.8; but a head
// of hair's strands gained three folded edges, and at 0.02 twenty-three.)
constexpr double SlideSlant = 1e-6;
// A rim edge merged at the end to open a thin face may leave edges of the
// survivor up to this many target lengths (see CollapseRimToRaiseAngles).
constexpr double RimReachFactor = 1.8;
// An edge whose faces turn against each other by more than this is asked
// whether its flip brings the surface nearer the input (see FlipOntoInput):
// across a smooth part at the target's scale the faces turn far less.
const double OntoInputTurnCos = std::cos(30.0 * Pi / 180.0);
// The flip is taken where the old pair lies more than this many local targets
// from the input...
constexpr double OntoInputDeviation = 0.1;
// ...and the new pair within this share of the old pair's distance: on the
// edge of a solid the flipped pair lies on the input to a few hundredths.
// (At half, the flips also took smooth limbs and decimated figures, where
// the pair came a few times nearer but their largest distance stayed, and
// their smallest angles fell by up to 4 degrees towards OntoInputAngle.)...
constexpr double OntoInputGain = 0.05;
// ...provided the new pair's smallest angle stays above this or above the
// old pair's.
constexpr double OntoInputAngle = 30.0 * Pi / 180.0;

// Whether a triangle has an angle below ThinAngle (or the angle whose cosine
// is given). The smallest angle lies opposite the shortest side; its cosine
// by the law of cosines screens the triangles without any trigonometry.
bool IsThin(const Vec& p0, const Vec& p1, const Vec& p2, double cosThin = CosThinAngle) {
    double a = Squared(p1 - p0), b = Squared(p2 - p1), c = Squared(p0 - p2);
    if (b < a)
        std::swap(a, b);
    if (c < a)
        std::swap(a, c);
    return b + c - a > 2 * cosThin * std::sqrt(b * c);
}

// Whether faces with normals m and n lie in one plane, to rounding: a move
// or a split among such faces keeps them on a flat input where they are
// (distance and volume unchanged), while on a curved one it would trade
// distance for angle.
bool Flat(const Vec& m, const Vec& n) {
    const double cosine = m % n;
    return cosine > 0 && Squared(m * n) <= 1e-12 * Squared(m) * Squared(n);
}

}  // namespace

bool CEngine::IsThinFace(std::uint32_t f, double cosThin) const {
    const std::uint32_t* corner = &m_Corner[3 * f];
    return corner[0] != None && IsThin(m_Position[corner[0]], m_Position[corner[1]], m_Position[corner[2]], cosThin);
}

bool CEngine::IsThinFace(std::uint32_t f) const {
    return IsThinFace(f, CosFreeThinAngle);
}

// Topological conditions of a flip: an inner free edge whose ends keep a
// fan afterwards, away from non-manifold vertices unless sheets.
bool CEngine::FlipIsAllowed(std::uint32_t h, bool neck, bool sheets) const {
    const std::uint32_t t = m_Twin[h];
    if (m_Corner[h] == None || t == None || m_Kind[h] != None)
        return false;
    const std::uint32_t a = m_Corner[h], b = Target(h), c = m_Corner[Prev(h)], d = m_Corner[Prev(t)];
    if (c == d)
        return false;
    // A vertex on an edge of three or more faces has a fan on each sheet,
    // and a walk sees one of them: whether the new edge exists already is
    // asked of its other end (see FlipIsValid), whose one fan holds all its
    // edges. Barred, the faces at the corners of a wall two boxes share kept
    // every spoke the splits gave them (8.6 degrees). The valence flips stay
    // away: such a vertex's valence counts one sheet's fan.
    if ((m_Flags[a] | m_Flags[b] | m_Flags[c] | m_Flags[d]) & NonManifold) {
        if (!sheets || (m_Flags[c] & m_Flags[d] & NonManifold))
            return false;
    }
    // An inner edge between two boundary vertices would cut off an ear: a
    // face flat against the boundary that no later flip can repair. Only a
    // tip of the rim whose angle holds one face (see IdealValence) is cut
    // off as an ear, the one face it wants: its two faces, split at its
    // third edge, halve an angle of 60 degrees.
    const auto tip = [&](std::uint32_t x) {
        return IsOpen(x) && m_Valence[x] == 3 && AngleSum(x) < (1 + RimFaceSlack) * (Pi / 3);
    };
    // A notch of a frayed rim (a reflex corner, or a vertex beside one whose
    // fans touch at a point) may be left two faces, one of them flat against
    // the rim with its other two angles under 5 degrees: only an edge from
    // the notch to the open vertex across opens it, and the angle flips take
    // it only where the smallest angle of the pair rises.
    const auto flatAtRim = [&](std::uint32_t x, std::uint32_t y, std::uint32_t z) {
        const Vec u = m_Position[y] - m_Position[x], w = m_Position[z] - m_Position[x];
        return u % w < FlatRimCos * std::sqrt(Squared(u) * Squared(w));
    };
    // The neck of a spike of a ragged border, far shorter than the target,
    // is such an edge with no ear on either side: flipped away for valence,
    // it left faces from the spike's tip across the neck, flat at both of
    // its ends (6 degrees where the input's own faces held 13), that only
    // this flip back opens.
    const auto neckBack = [&]() {
        return neck &&
               (Squared(m_Position[c] - m_Position[d]) < m_MergeLength2 || flatAtRim(c, a, b) || flatAtRim(d, b, a)) &&
               !(m_Twin[Prev(h)] == None && m_Twin[Next(t)] == None) &&
               !(m_Twin[Prev(t)] == None && m_Twin[Next(h)] == None);
    };
    // The angle flips (which take a flip only where the pair's smallest
    // angle rises) may also cut off a wider corner of the rim left two
    // faces, where the ear is no sliver itself: a staircase rim's square
    // step, its kept edges half a target long, was split in two by a free
    // vertex drawn past the step's reflex corner, faces of 13.7 degrees
    // beside an ear of 45. At EarMinAngle (30) a serrated rim's teeth, whose
    // ears come out 20 to 30 degrees, kept faces of 7 to 19 beside them.
    const auto goodEar = [&](std::uint32_t x) {
        return neck && IsOpen(x) && m_Valence[x] == 3 &&
               SmallestAngle(m_Position[c], m_Position[x], m_Position[d]) >= SliverAngle;
    };
    if (IsOpen(c) && IsOpen(d) && !tip(a) && !tip(b) && !neckBack() && !goodEar(a) && !goodEar(b))
        return false;
    // Nor may a new face lie flat against a cap's outline (see LineEarCos).
    const auto flatAgainstLine = [&](std::uint32_t x, std::uint32_t in, std::uint32_t out) {
        if (!m_HasNoseChains || !(m_Flags[x] & Merged) || !IsLine(m_Kind[in]) || m_Kind[in] != m_Kind[out])
            return false;
        const Vec u = m_Position[m_Corner[in]] - m_Position[x], w = m_Position[Target(out)] - m_Position[x];
        return u % w < LineEarCos * std::sqrt(Squared(u) * Squared(w));
    };
    if (flatAgainstLine(a, Prev(h), Next(t)) || flatAgainstLine(b, Prev(t), Next(h)))
        return false;
    return m_Valence[a] > MinValence(a) && m_Valence[b] > MinValence(b);
}

bool CEngine::FlipEdges() {
    bool changed = false;
    const std::uint32_t halfEdges = static_cast<std::uint32_t>(m_Corner.size());
    // A flip leaves every vertex open or closed as it was, so a closed
    // vertex's ideal valence holds for the whole pass: read once, by all
    // threads, each entry its own vertex's. An open vertex's follows its
    // angle sum, which flips change: 0 here, measured when asked.
    const std::int64_t vertexCount = static_cast<std::int64_t>(m_Position.size());
    m_ClosedIdeal.resize(m_Position.size());
#pragma omp parallel for schedule(static) if (vertexCount >= ParallelVertices)
    for (std::int64_t i = 0; i < vertexCount; ++i) {
        const std::uint32_t v = static_cast<std::uint32_t>(i);
        m_ClosedIdeal[v] = static_cast<std::int8_t>((m_Flags[v] & Deleted) || IsOpen(v) ? 0 : IdealValence(v));
    }
    const auto ideal = [&](std::uint32_t v) { return m_ClosedIdeal[v] != 0 ? int(m_ClosedIdeal[v]) : IdealValence(v); };
    // Over the folds of an input that folds like noise, a flip may not pin a
    // thin face between two fixed vertices (see FlipOverFoldAngle); elsewhere
    // the valences alone decide, and other inputs never ask.
    const double overFoldCos = std::cos(FlipOverFoldAngle);
    const auto pinsThinFace = [&](std::uint32_t a, std::uint32_t b, std::uint32_t c, std::uint32_t d) {
        if (!m_FoldsLikeNoise ||
            !(OverFoldedInput(a) || OverFoldedInput(b) || OverFoldedInput(c) || OverFoldedInput(d)))
            return false;
        const auto fixedCount = [&](std::uint32_t x, std::uint32_t y, std::uint32_t z) {
            return int((m_Flags[x] & Fixed) != 0) + int((m_Flags[y] & Fixed) != 0) + int((m_Flags[z] & Fixed) != 0);
        };
        const Vec &pa = m_Position[a], &pb = m_Position[b], &pc = m_Position[c], &pd = m_Position[d];
        const double made = std::max(fixedCount(c, a, d) >= 2 ? SmallestAngleCos(pc, pa, pd) : -1.0,
                                     fixedCount(d, b, c) >= 2 ? SmallestAngleCos(pd, pb, pc) : -1.0);
        return made > overFoldCos && made > std::max(SmallestAngleCos(pa, pb, pc), SmallestAngleCos(pb, pa, pd));
    };
    // Bounded: one forward sweep over the half-edge slots, at most one flip
    // per slot (3 F), each flip rewriting two faces in place.
    for (std::uint32_t h = 0; h < halfEdges; ++h) {
        const std::uint32_t t = m_Twin[h];
        if (t == None || t < h || m_Corner[h] == None || m_Kind[h] != None)
            continue;
        const std::uint32_t a = m_Corner[h], b = Target(h), c = m_Corner[Prev(h)], d = m_Corner[Prev(t)];
        if (c == d || ((m_Flags[a] | m_Flags[b] | m_Flags[c] | m_Flags[d]) & NonManifold))
            continue;
        // The valences rule out most edges, and cost less than the rest of
        // FlipIsAllowed: they go first. The flip takes one from a's and b's
        // valences and gives one to c's and d's, which changes the sum of
        // their squared deviations from the ideals by 4 - 2 x (a's and b's
        // deviations less c's and d's): it falls exactly where that
        // difference is over 2.
        const int excess = (m_Valence[a] - ideal(a)) + (m_Valence[b] - ideal(b)) - (m_Valence[c] - ideal(c)) -
                           (m_Valence[d] - ideal(d));
        if (excess <= 2 || !FlipIsAllowed(h) || !FlipIsValid(h) || pinsThinFace(a, b, c, d))
            continue;
        Flip(h);
        changed = true;
    }
    return changed;
}

bool CEngine::FlipIsValid(std::uint32_t h, bool mayFold) const {
    const std::uint32_t t = m_Twin[h];
    const std::uint32_t a = m_Corner[h], b = Target(h), c = m_Corner[Prev(h)], d = m_Corner[Prev(t)];
    bool joined = false;
    if (m_Flags[c] & NonManifold)
        ForEachNeighbour(d, [&](std::uint32_t x, std::uint32_t) { joined |= x == c; });
    else
        ForEachNeighbour(c, [&](std::uint32_t x, std::uint32_t) { joined |= x == d; });
    if (joined)
        return false;
    // The quadrilateral must be convex enough that both new faces keep the
    // orientation of both old ones.
    const Vec &pa = m_Position[a], &pb = m_Position[b], &pc = m_Position[c], &pd = m_Position[d];
    const Vec old0 = (pb - pa) * (pc - pa), old1 = (pa - pb) * (pd - pb);
    const Vec new0 = (pa - pc) * (pd - pc), new1 = (pb - pd) * (pc - pd);
    if (!(Squared(new0) > m_MinCross2) || !(Squared(new1) > m_MinCross2))
        return false;
    if (!(new0 % old0 > 0 && new0 % old1 > 0 && new1 % old0 > 0 && new1 % old1 > 0)) {
        // A tip of the rim whose two faces fold against each other (a sliver
        // of 5 degrees turned over its neighbour, at a tip of 55) cannot be
        // cut off as an ear that agrees with both: the new faces need agree
        // only with each other and with the same one of the two.
        const bool foldedTip = IsOpen(c) && IsOpen(d) && Folded(old0, old1) && !Folded(new0, new1);
        if (!foldedTip || !((new0 % old0 > 0 && new1 % old0 > 0) || (new0 % old1 > 0 && new1 % old1 > 0)))
            return false;
    }
    // Nor may the new faces fold against each other or against the faces
    // beside them where the old ones did not (a valence flip on a steep
    // cone, such as a thin limb's tip, would otherwise make folds).
    // Faces narrower across their shared side than NarrowFoldFactor targets
    // may fold there, as in a collapse (see MakesFold).
    const auto turns = [&](const Vec& made, const Vec& old, std::uint32_t e) {
        const Vec beside = m_Twin[e] != None ? FaceNormal(m_Twin[e] / 3) : Vec();
        return Squared(beside) > 0 && Folded(made, beside) && !Folded(old, beside) &&
               !NarrowAcross(made, beside, EdgeLength2(e), EdgeSize(h));
    };
    const std::uint32_t n = Next(h), p = Prev(h), tn = Next(t), tp = Prev(t);
    if (mayFold)
        return true;
    if (Folded(new0, new1) && !Folded(old0, old1) && !NarrowAcross(new0, new1, Squared(pc - pd), EdgeSize(h)))
        return false;
    return !(turns(new0, old0, p) || turns(new0, old1, tn) || turns(new1, old1, tp) || turns(new1, old0, n));
}

// Faces (a, b, c) and (b, a, d) become (c, a, d) and (d, b, c), in the same
// two slots; the outer half-edges move with their twins and kinds.
void CEngine::Flip(std::uint32_t h) {
    const std::uint32_t t = m_Twin[h], n = Next(h), p = Prev(h), tn = Next(t), tp = Prev(t);
    const std::uint32_t a = m_Corner[h], b = m_Corner[n], c = m_Corner[p], d = m_Corner[tp];
    const std::uint32_t outer[4] = {m_Twin[p], m_Twin[tn], m_Twin[tp], m_Twin[n]};
    const std::uint32_t kinds[4] = {m_Kind[p], m_Kind[tn], m_Kind[tp], m_Kind[n]};
    const std::uint32_t base0 = h - h % 3, base1 = t - t % 3;
    // Old half-edge -> its place after the flip (the flipped pair maps onto
    // another outgoing half-edge of the same vertex).
    const std::uint32_t from[6] = {h, n, p, t, tn, tp};
    const std::uint32_t to[6] = {base0 + 1, base1 + 1, base0, base1 + 1, base0 + 1, base1};

    m_Corner[base0] = c;
    m_Corner[base0 + 1] = a;
    m_Corner[base0 + 2] = d;
    m_Corner[base1] = d;
    m_Corner[base1 + 1] = b;
    m_Corner[base1 + 2] = c;
    const std::uint32_t slots[4] = {base0, base0 + 1, base1, base1 + 1};
    for (int i = 0; i < 4; ++i) {
        m_Twin[slots[i]] = None;
        Link(slots[i], outer[i]);
        m_Kind[slots[i]] = kinds[i];
    }
    Link(base0 + 2, base1 + 2);
    m_Kind[base0 + 2] = m_Kind[base1 + 2] = None;
    for (const std::uint32_t v : {a, b, c, d})
        for (int i = 0; i < 6; ++i)
            if (m_Out[v] == from[i]) {
                m_Out[v] = to[i];
                break;
            }
    --m_Valence[a];
    --m_Valence[b];
    ++m_Valence[c];
    ++m_Valence[d];
}

// A box whose edges are rounded or chamfered far finer than the target has
// no line along them (each facet of the round turns by less than the feature
// angle, a chamfer's two creases are shorter than MinFeatureLength), only the
// corners the blunt tips keep. The valence flips then join the middles of two
// sides across the edge between them, and every later edit keeps that edge:
// a box 2 on a side, its upright edges rounded to 0.05 in two facets, came
// out 15 % of its diagonal off its input at its mean edge, where the same
// vertices joined corner to corner lie within 2.6 %. Here, at the end, an
// edge whose faces turn against each other is flipped where the flipped pair
// lies far nearer the input (its new edge's middle and its faces' centroids,
// against the old ones'), and its smallest angle stays above
// OntoInputAngle or the old pair's.
bool CEngine::FlipOntoInput() {
    bool changed = false;
    const std::uint32_t halfEdges = static_cast<std::uint32_t>(m_Corner.size());
    const auto away = [&](const Vec& p, std::uint32_t hint) {
        Vec nearest;
        if (NearestOnInput(p, hint, nearest) == None)
            return std::numeric_limits<double>::infinity();
        return std::sqrt(Squared(p - nearest));
    };
    // Bounded: one forward sweep over the half-edge slots, at most one flip
    // per slot, each rewriting two faces in place.
    for (std::uint32_t h = 0; h < halfEdges; ++h) {
        const std::uint32_t t = m_Twin[h];
        if (t == None || t < h || m_Corner[h] == None || m_Kind[h] != None)
            continue;
        const std::uint32_t a = m_Corner[h], b = Target(h), c = m_Corner[Prev(h)], d = m_Corner[Prev(t)];
        if (c == d)
            continue;
        const Vec &pa = m_Position[a], &pb = m_Position[b], &pc = m_Position[c], &pd = m_Position[d];
        const Vec n0 = (pb - pa) * (pc - pa), n1 = (pa - pb) * (pd - pb);
        if (!(n0 % n1 < OntoInputTurnCos * std::sqrt(Squared(n0) * Squared(n1))))
            continue;
        const double limit = OntoInputDeviation * EdgeSize(h);
        const std::uint32_t hint = m_FaceHint[a];
        const double before = std::max(away((pa + pb) * 0.5, hint),
                                       std::max(away((pa + pb + pc) / 3.0, hint), away((pa + pb + pd) / 3.0, hint)));
        if (!(before > limit) || !FlipIsAllowed(h) || !FlipIsValid(h))
            continue;
        const double angle = std::min(SmallestAngle(pa, pb, pc), SmallestAngle(pb, pa, pd));
        const double made = std::min(SmallestAngle(pc, pa, pd), SmallestAngle(pd, pb, pc));
        if (!(made >= std::min(angle, OntoInputAngle)))
            continue;
        const double after = std::max(away((pc + pd) * 0.5, hint),
                                      std::max(away((pc + pa + pd) / 3.0, hint), away((pd + pb + pc) / 3.0, hint)));
        if (!(after < OntoInputGain * before))
            continue;
        Flip(h);
        changed = true;
    }
    return changed;
}

void CEngine::ListThinFaces() {
    m_ThinListed = false;
    const std::int64_t faceCount = static_cast<std::int64_t>(m_Corner.size() / 3);
    m_FaceMarks.resize(m_Corner.size() / 3);
#pragma omp parallel for schedule(static) if (faceCount >= ParallelFaces)
    for (std::int64_t f = 0; f < faceCount; ++f) {
        const std::uint32_t* corner = &m_Corner[3 * f];
        m_FaceMarks[f] = corner[0] != None &&
                         IsThin(m_Position[corner[0]], m_Position[corner[1]], m_Position[corner[2]], CosFreeThinAngle);
    }
    m_ThinFaces.clear();
    for (std::int64_t f = 0; f < faceCount; ++f)
        if (m_FaceMarks[f])
            m_ThinFaces.push_back(static_cast<std::uint32_t>(f));
    m_ThinListed = true;
}

// Valence flips and relaxation leave a few thin triangles, mostly caps with a
// vertex pushed against the opposite side. Flipping such a triangle's
// longest edge helps whenever it raises the smallest angle of the pair.
bool CEngine::ImproveAngles(bool again) {
    // Thin faces are found in parallel, each flag written by its own face;
    // the flips then go in face order. A flip rewrites two faces in place, so
    // a flagged face is measured again when its turn comes.
    UpdateSizes();
    const std::int64_t faceCount = static_cast<std::int64_t>(m_Corner.size() / 3);
    const auto mark = [&](std::int64_t f) {
        const std::uint32_t* corner = &m_Corner[3 * f];
        m_FaceMarks[f] =
            corner[0] != None && IsThin(m_Position[corner[0]], m_Position[corner[1]], m_Position[corner[2]]);
    };
    // Right after a pass, only the faces it touched can have become thin
    // (nor is a stale mark wrong: the sweep measures each marked face
    // again), so only those are measured; the marks come out as a full
    // measure would leave them.
    // The sweep reads the marked faces from a list in face order: after a
    // full measure, every marked face; right after a pass, the list of that
    // pass (whose marks no sweep changes) and the faces it touched, merged,
    // each face once, those still marked.
    if (again && m_FaceMarks.size() == m_Corner.size() / 3) {
        for (const std::uint32_t f : m_TouchedFaces)
            mark(f);
        std::sort(m_TouchedFaces.begin(), m_TouchedFaces.end());
        m_MergedFaces.clear();
        std::merge(m_MarkedFaces.begin(), m_MarkedFaces.end(), m_TouchedFaces.begin(), m_TouchedFaces.end(),
                   std::back_inserter(m_MergedFaces));
        m_MarkedFaces.clear();
        for (const std::uint32_t f : m_MergedFaces)
            if (m_FaceMarks[f] && (m_MarkedFaces.empty() || m_MarkedFaces.back() != f))
                m_MarkedFaces.push_back(f);
    } else {
        m_FaceMarks.resize(m_Corner.size() / 3);
#pragma omp parallel for schedule(dynamic, 2048) if (faceCount >= ParallelFaces)
        for (std::int64_t f = 0; f < faceCount; ++f)
            mark(f);
        m_MarkedFaces.clear();
        for (std::uint32_t f = 0; f < static_cast<std::uint32_t>(faceCount); ++f)
            if (m_FaceMarks[f])
                m_MarkedFaces.push_back(f);
    }
    m_TouchedFaces.clear();
    bool changed = false;
    // Bounded: one forward sweep over the faces present on entry, at most one
    // flip or one collapse per face; Run calls at most four such passes.
    for (const std::uint32_t f : m_MarkedFaces) {
        if (m_Corner[3 * f] == None)
            continue;
        const std::uint32_t* corner = &m_Corner[3 * f];
        const Vec &p0 = m_Position[corner[0]], &p1 = m_Position[corner[1]], &p2 = m_Position[corner[2]];
        if (!IsThin(p0, p1, p2))
            continue;
        const double smallest = SmallestAngle(p0, p1, p2);
        std::uint32_t h = 3 * f, shortest = 3 * f;
        for (std::uint32_t k = 1; k < 3; ++k) {
            if (EdgeLength2(3 * f + k) > EdgeLength2(h))
                h = 3 * f + k;
            if (EdgeLength2(3 * f + k) < EdgeLength2(shortest))
                shortest = 3 * f + k;
        }
        // Either longer side may be flipped: the longest cuts a cap, the
        // middle one often frees a needle whose short side cannot collapse.
        const std::uint32_t middle = 3 * f + (3 - (h - 3 * f) - (shortest - 3 * f));
        std::uint32_t best = None;
        double bestAngle = 0;
        for (const std::uint32_t e : {h, middle}) {
            if (e == shortest || !FlipIsAllowed(e, true, true))
                continue;
            const std::uint32_t t = m_Twin[e];
            const Vec &pa = m_Position[m_Corner[e]], &pb = m_Position[Target(e)];
            const Vec &pc = m_Position[m_Corner[Prev(e)]], &pd = m_Position[m_Corner[Prev(t)]];
            const double before = std::min(smallest, SmallestAngle(pb, pa, pd));
            const double after = std::min(SmallestAngle(pc, pa, pd), SmallestAngle(pd, pb, pc));
            const bool mayFold = m_FoldsLikeNoise && before < FoldingFlipAngle &&
                                 (OverFoldedInput(m_Corner[e]) || OverFoldedInput(Target(e)) ||
                                  OverFoldedInput(m_Corner[Prev(e)]) || OverFoldedInput(m_Corner[Prev(t)]));
            if (after > before + 1e-3 && after > bestAngle && FlipIsValid(e, mayFold)) {
                best = e;
                bestAngle = after;
            }
        }
        if (best != None) {
            m_TouchedFaces.push_back(best / 3);
            m_TouchedFaces.push_back(m_Twin[best] / 3);
            Flip(best);
            changed = true;
            continue;
        }
        // Otherwise one of the two shorter sides, if the collapses left it
        // short, may go now; a survivor moved to a midpoint goes back onto
        // the input at once.
        if (h == shortest)
            continue;
        bool collapsed = false;
        for (const std::uint32_t e : {shortest, middle}) {
            if (collapsed || e == h)
                continue;
            const double collapse2 = EdgeLimit2(e, CollapseFactor, m_CollapseLength2);
            if (!(EdgeLength2(e) < collapse2))
                continue;
            const std::uint32_t a = m_Corner[e], b = Target(e);
            // A cap whose corner sits on the opposite side cannot always lose
            // it to an end of a side; the midpoint is allowed here.
            if (!TryCollapse(e, collapse2, EdgeLimit2(e, AngleReachFactor, m_AngleReachLength2), smallest < SliverAngle,
                             true))
                continue;
            collapsed = true;
            ProjectSurvivor(a, b);
            // The faces that lost a corner are gone; every other face the
            // collapse rewrote, and every face the survivor's move reshaped,
            // lies round the survivor.
            ForEachOutgoing((m_Flags[a] & Deleted) ? b : a, [&](std::uint32_t e) { m_TouchedFaces.push_back(e / 3); });
        }
        if (!collapsed)
            continue;
        changed = true;
    }
    return changed;
}

void CEngine::ProjectSurvivor(std::uint32_t a, std::uint32_t b) {
    const std::uint32_t survivor = (m_Flags[a] & Deleted) ? b : a;
    if (m_Flags[survivor] & Fixed)
        return;
    const Vec projected = Projected(survivor, m_Position[survivor]);
    if (IsFinite(projected) && !MoveFolds(survivor, projected))
        m_Position[survivor] = projected;
}

// A notch of a kept rim narrower than two good faces (about 60 degrees, as
// where a scan's cut turns) holds two faces, the second of them opened by a
// free vertex; at half the mean edge that vertex sat a third of a target
// from the rim beside the notch (19 degrees), and the collapse of its short
// edge onto the rim was refused, since the new inner edge joins two open
// vertices. Here, at the end, such an edge goes where the notch is left one
// face of at least EarMinAngle. Only here: allowed during the iterations,
// the merges steered the next edits of fine rims elsewhere, and some came
// out worse (a blade strip's rim at 0.3 x: 22.1 to 17.6 degrees).
bool CEngine::CloseNotchEars() {
    bool changed = false;
    const std::uint32_t faceCount = static_cast<std::uint32_t>(m_Corner.size() / 3);
    const auto candidate = [&](std::uint32_t f) { return IsThinFace(f, CosThinAngle); };
    if (!AnyThinFace(candidate))
        return false;
    m_NotchEars = true;
    // Bounded: one sweep over the faces, at most one collapse per face and
    // one projection.
    for (std::uint32_t f = 0; f < faceCount; ++f) {
        if (!candidate(f))
            continue;
        const std::uint32_t shortest = ShortestSide(f), t = m_Twin[shortest];
        const auto notch = [&](std::uint32_t v) { return IsOpen(v) && m_Valence[v] == 3; };
        if (t == None || !(notch(m_Corner[Prev(shortest)]) || notch(m_Corner[Prev(t)])))
            continue;
        const double collapse2 = EdgeLimit2(shortest, CollapseFactor, m_CollapseLength2);
        if (!(EdgeLength2(shortest) < collapse2))
            continue;
        const std::uint32_t a = m_Corner[shortest], b = Target(shortest);
        if (!TryCollapse(shortest, collapse2, EdgeLimit2(shortest, AngleReachFactor, m_AngleReachLength2), false, true))
            continue;
        changed = true;
        ProjectSurvivor(a, b);
    }
    m_NotchEars = false;
    return changed;
}

// Among free vertices the faces the final moves leave under FreeThinAngle sit
// mostly at a short edge between a vertex of valence 5 and one of 6, with
// vertices of valence 7 opposite it: each end's fan is as even as its ring
// allows, and no move opens the faces across the short edge. Merging its ends
// gives the opposite vertices their regular valence; the merged vertex then
// moves like any other. A merge that would spoil the valences around it more
// than it mends them is left out, and none may leave an edge longer than the
// split length, since no split follows.
bool CEngine::CollapseToRaiseAngles() {
    bool changed = false;
    const std::uint32_t faceCount = static_cast<std::uint32_t>(m_Corner.size() / 3);
    const auto square = [](int x) { return x * x; };
    const auto candidate = [&](std::uint32_t f) {
        const std::uint32_t* corner = &m_Corner[3 * f];
        return IsThinFace(f) && IsFree(corner[0]) && IsFree(corner[1]) && IsFree(corner[2]);
    };
    if (!AnyThinFace(candidate))
        return false;
    // Bounded: one sweep over the faces, at most one collapse per face (two
    // fan walks of at most MaxCollapseValence edges), one projection and
    // one move.
    for (std::uint32_t f = 0; f < faceCount; ++f) {
        if (!candidate(f))
            continue;
        const std::uint32_t shortest = ShortestSide(f);
        const std::uint32_t t = m_Twin[shortest];
        const double collapse2 = EdgeLimit2(shortest, CollapseFactor, m_CollapseLength2);
        if (t == None || !(EdgeLength2(shortest) < collapse2) || !IsFree(m_Corner[Prev(t)]))
            continue;
        const std::uint32_t a = m_Corner[shortest], b = Target(shortest);
        const int va = m_Valence[a], vb = m_Valence[b];
        const int vc = m_Valence[m_Corner[Prev(shortest)]], vd = m_Valence[m_Corner[Prev(t)]];
        const int before = square(va - 6) + square(vb - 6) + square(vc - 6) + square(vd - 6);
        const int after = square(va + vb - 10) + square(vc - 7) + square(vd - 7);
        if (after > before)
            continue;
        // On an input that folds like noise the valences chose merges that
        // left a face thinner than any around the edge before (a raw scan's
        // smallest angle fell from 14.6 to 12.7 degrees here), which the
        // moves after this pass, held by the folds around, did not open.
        // There the end whose removal keeps the smallest angle around both
        // ends goes, and only where it keeps it.
        std::uint32_t stays = None;
        if (m_FoldsLikeNoise) {
            const double now = SmallestAngleAroundEnds(shortest, nullptr);
            const double withoutA = SmallestAngleAroundEnds(shortest, &m_Position[b]);
            const double withoutB = SmallestAngleAroundEnds(shortest, &m_Position[a]);
            if (!(std::max(withoutA, withoutB) >= now))
                continue;
            stays = withoutA >= withoutB ? b : a;
        }
        if (!TryCollapse(shortest, collapse2, EdgeLimit2(shortest, SplitFactor, m_SplitLength2), false, true, 0, stays))
            continue;
        changed = true;
        const std::uint32_t survivor = (m_Flags[a] & Deleted) ? b : a;
        const Vec projected = Projected(survivor, m_Position[survivor]);
        if (IsFinite(projected) && !MoveFolds(survivor, projected))
            m_Position[survivor] = projected;
        MoveToRaiseAngles(survivor);
    }
    return changed;
}

// The collapses thin a kept boundary much finer than the target only down
// to edges of half a target (see KeptCollapseFactor): on a rim of input
// edges a ninth of a target apart the greedy merges stop at five of them,
// 0.55 targets, and a free vertex a target above such an edge makes a face
// of about 30 degrees that no move of it opens, since its ring's centroid
// lies nearly where it is. Such an edge, up to the collapse length, may
// still merge its ends along the boundary within the usual limits of the
// boundary's shape (CanLeaveKeptBoundary), but only here, at the end, and
// only where the end that goes leaves the faces around both ends a smallest
// angle MinAngleGain above theirs now: coarser rims throughout the
// iterations cost the clean rims' faces more than they gained (a plate's
// holes fell from 30 to 19 degrees). The survivor's edges may reach
// RimReachFactor targets although no split follows: the short edge's
// neighbour along the rim is often over a target long, and neither the split
// length (30.1 degrees left on the noisy cut) nor the angle passes' reach
// (33.0) let it go; a rim edge somewhat long costs less than the thin face
// beside it, since the gain is measured over every face it bounds. The free
// vertices around the survivor then move as the others do.
bool CEngine::CollapseRimToRaiseAngles() {
    bool changed = false;
    const std::uint32_t faceCount = static_cast<std::uint32_t>(m_Corner.size() / 3);
    const auto candidate = [&](std::uint32_t f) {
        if (!IsThinFace(f))
            return false;
        const std::uint32_t h = ShortestSide(f);
        return m_Kind[h] == Kept && m_Twin[h] == None && EdgeLength2(h) < m_CollapseLength2;
    };
    if (!AnyThinFace(candidate))
        return false;
    // Bounded: one sweep over the faces, at most one collapse per face (two
    // fan walks of at most MaxCollapseValence edges for the check, two for
    // the collapse) and one move of each vertex of the survivor's ring.
    for (std::uint32_t f = 0; f < faceCount; ++f) {
        if (!candidate(f))
            continue;
        const std::uint32_t h = ShortestSide(f);
        const std::uint32_t a = m_Corner[h], b = Target(h);
        if (m_Valence[a] + m_Valence[b] - 3 > MaxCollapseValence)
            continue;
        std::uint32_t before = None, after = None;
        const bool aGoes = CanLeaveKeptBoundary(a, before, after, false);
        const bool bGoes = CanLeaveKeptBoundary(b, before, after, false);
        if (!aGoes && !bGoes)
            continue;
        changed |= MergeToRaiseAngles(h, aGoes, bGoes, m_CollapseLength2);
    }
    return changed;
}

// A narrow planar wall between two lines (a gear tooth's flank, a fifth of
// a target wide and twice as tall) whose crease was split at its middle while
// the wall's height was split once on one side only is left with faces of
// 19 degrees: the half of the crease is too short against the wall's height
// for any place of the vertex along it, and the faces on either side of it
// would be better without it. Only a vertex on a straight stretch of its
// line may go, so the line keeps its shape exactly; the survivor is the
// line's neighbour whose removal leaves the larger smallest angle.
bool CEngine::CollapseLineToRaiseAngles() {
    bool changed = false;
    const std::uint32_t faceCount = static_cast<std::uint32_t>(m_Corner.size() / 3);
    const auto candidate = [&](std::uint32_t f) {
        if (!IsThinFace(f))
            return false;
        const std::uint32_t h = ShortestSide(f);
        return IsLine(m_Kind[h]) && m_Twin[h] != None && EdgeLength2(h) < m_CollapseLength2;
    };
    if (!AnyThinFace(candidate))
        return false;
    // Bounded: one sweep over the faces, at most one collapse per face (two
    // walks around each end for the check, two for the collapse).
    for (std::uint32_t f = 0; f < faceCount; ++f) {
        if (!candidate(f))
            continue;
        const std::uint32_t h = ShortestSide(f);
        const std::uint32_t kind = m_Kind[h];
        const std::uint32_t a = m_Corner[h], b = Target(h);
        if (m_Valence[a] + m_Valence[b] - 4 > MaxCollapseValence)
            continue;
        // The other neighbour of v along its line, where v is a sliding
        // vertex of this line with exactly two of its edges and stands on
        // the straight segment between them.
        const auto straightBetween = [&](std::uint32_t v, std::uint32_t w) {
            if ((m_Flags[v] & (Sliding | Fixed | Corner | NonManifold)) != Sliding || m_Line[v] != kind || IsOpen(v))
                return false;
            std::uint32_t other = None;
            int lines = 0;
            ForEachNeighbour(v, [&](std::uint32_t x, std::uint32_t e) {
                if (m_Kind[e] == None)
                    return;
                ++lines;
                if (x != w)
                    other = x;
            });
            if (lines != 2 || other == None)
                return false;
            const Vec u = m_Position[w] - m_Position[v], o = m_Position[other] - m_Position[v];
            return u % o < 0 && Squared(u * o) <= 1e-12 * Squared(u) * Squared(o);
        };
        const bool aGoes = straightBetween(a, b), bGoes = straightBetween(b, a);
        if (!aGoes && !bGoes)
            continue;
        changed |= MergeToRaiseAngles(h, aGoes, bGoes, 0);
    }
    return changed;
}

// A face whose corners all lie on lines, rims or corners has no vertex that
// a move may take: where its longest side is a free edge between two such
// vertices (a gear tooth's cap, a quadrilateral of four corners narrower
// than the target), the strip rule left that edge whole and no split comes
// after the iterations. A free vertex inside the quadrilateral, joined to its
// four corners, opens it: its place is searched in the quadrilateral's plane
// for the largest smallest angle of its four faces, and it is made only
// where the pair is flat, the place lies on the input (so the surface stays
// where it was), gains MinAngleGain over both old faces and turns and folds
// no face.
bool CEngine::SplitToRaiseAngles() {
    bool changed = false;
    const std::uint32_t faceCount = static_cast<std::uint32_t>(m_Corner.size() / 3);
    const auto bound = [&](std::uint32_t v) { return !IsFree(v) && !(m_Flags[v] & (Deleted | NonManifold)); };
    const auto candidate = [&](std::uint32_t f) {
        const std::uint32_t* corner = &m_Corner[3 * f];
        return IsThinFace(f, CosThinAngle) && bound(corner[0]) && bound(corner[1]) && bound(corner[2]);
    };
    if (!AnyThinFace(candidate))
        return false;
    // Bounded: one sweep over the faces present on entry, at most one split
    // per face, each after a search of QuadSearchSteps steps of four places
    // and one query of the input.
    for (std::uint32_t f = 0; f < faceCount; ++f) {
        if (!candidate(f))
            continue;
        std::uint32_t h = 3 * f;
        for (std::uint32_t k = 1; k < 3; ++k)
            if (EdgeLength2(3 * f + k) > EdgeLength2(h))
                h = 3 * f + k;
        const std::uint32_t t = m_Twin[h];
        if (t == None || m_Kind[h] != None)
            continue;
        const std::uint32_t a = m_Corner[h], b = Target(h), c = m_Corner[Prev(h)], d = m_Corner[Prev(t)];
        // Only where close corners lower the target are faces that narrow
        // meant; elsewhere the new vertex's short edges cost the edge
        // lengths' evenness more than the face gains.
        if (c == d || !(EdgeSize(h) < m_TargetLength))
            continue;
        const Vec &pa = m_Position[a], &pb = m_Position[b], &pc = m_Position[c], &pd = m_Position[d];
        const Vec n0 = (pb - pa) * (pc - pa), n1 = (pa - pb) * (pd - pb);
        if (!Flat(n0, n1))
            continue;
        const double before = std::min(SmallestAngle(pa, pb, pc), SmallestAngle(pb, pa, pd));
        // The normals of the four faces around a new vertex at q, in the
        // order the split makes them: (a, q, c), (q, b, c), (b, q, d), (q, a, d).
        const auto madeNormals = [&](const Vec& q, Vec m[4]) {
            m[0] = (q - pa) * (pc - pa);
            m[1] = (pb - q) * (pc - q);
            m[2] = (q - pb) * (pd - pb);
            m[3] = (pa - q) * (pd - q);
        };
        // The four faces' smallest angle where it lies above floor (see
        // SmallestAngleAbove), -1 where one turns or vanishes.
        const auto score = [&](const Vec& q, double floor) {
            Vec m[4];
            madeNormals(q, m);
            for (int k = 0; k < 4; ++k) {
                const Vec& old = k < 2 ? n0 : n1;
                if (!(Squared(m[k]) > m_MinCross2) || !(m[k] % n0 > 0) || !(m[k] % n1 > 0) || !(m[k] % old > 0))
                    return -1.0;
            }
            const Vec* const made[4][3] = {{&pa, &q, &pc}, {&q, &pb, &pc}, {&pb, &q, &pd}, {&q, &pa, &pd}};
            return SmallestAngleAbove(made, floor);
        };
        const Vec u = (pb - pa) / std::sqrt(EdgeLength2(h)), w0 = pc - pd;
        const Vec w1 = w0 - u * (w0 % u);
        if (!(Squared(w1) > 0))
            continue;
        const Vec w = w1 / std::sqrt(Squared(w1));
        const Vec middle = (pa + pb + pc + pd) * 0.25;
        double best = score(middle, -1.0);
        const Vec q = SearchPlane(middle, u, w, 0.25 * std::sqrt(EdgeLength2(h)), best,
                                  [&](const Vec& x) { return score(x, best); });
        if (!(best > before + MinAngleGain))
            continue;
        std::uint32_t hint = None;
        for (const std::uint32_t x : {a, b, c, d})
            if (hint == None)
                hint = m_FaceHint[x];
        // The new vertex must lie on the input where it is: a flat pair of
        // faces may still span a bend of the input between its vertices.
        Vec onInput;
        const std::uint32_t nearest = NearestOnInput(q, hint, onInput);
        if (nearest == None || !IsFinite(q) || Squared(onInput - q) > 1e-12 * EdgeLength2(h))
            continue;
        // The faces beyond the quadrilateral's sides keep from folding
        // against the new faces where they did not against the old ones.
        const std::uint32_t outer[4] = {m_Twin[Prev(h)], m_Twin[Next(h)], m_Twin[Prev(t)], m_Twin[Next(t)]};
        Vec made[4];
        madeNormals(q, made);
        const Vec old[4] = {n0, n0, n1, n1};
        bool folds = false;
        for (int k = 0; k < 4; ++k)
            if (outer[k] != None) {
                const Vec beside = FaceNormal(outer[k] / 3);
                folds = folds || (Folded(made[k], beside) && !Folded(old[k], beside));
            }
        if (folds || m_Corner.size() / 3 + 2 > m_FaceBudget)
            continue;
        const std::uint32_t m = static_cast<std::uint32_t>(m_Position.size());
        Split(h);
        m_Position[m] = q;
        m_FaceHint[m] = nearest;
        changed = true;
    }
    return changed;
}

// The moves of MoveToRaiseAngles try a few places only; a face may stay under
// ThinAngle where none of them gains (a vertex far from the short side of its
// thinnest face on a cap fanned from its centre, or a free vertex facing a
// gear's root edge). Where a free corner's fan is flat, the corner searches
// the fan's plane for the place that gives it the largest smallest angle,
// and moves there where that lies on the input (so the surface stays where
// it was), gains MinAngleGain and turns and folds no face. On curved parts
// such moves would trade distance for angle, and are left out.
bool CEngine::SearchToRaiseAngles(std::vector<std::uint8_t>& searched) {
    const auto candidate = [&](std::uint32_t f) { return IsThinFace(f, CosThinAngle); };
    // Bounded: at most three searches per face, each QuadSearchSteps steps of
    // four walks around one fan, and one projection.
    return MoveOneCornerOfEachFace(candidate, [&](std::uint32_t v) {
        if (!IsFree(v) || searched[v])
            return false;
        if (!SearchMove(v)) {
            searched[v] = 1;
            return false;
        }
        // The vertices with v in their fans or beyond their fans' sides: the
        // corners of v's faces and of the faces across their sides.
        ForEachOutgoing(v, [&](std::uint32_t e) {
            for (const std::uint32_t h : {e, Next(e), Prev(e)}) {
                searched[m_Corner[h]] = 0;
                if (const std::uint32_t t = m_Twin[h]; t != None)
                    for (std::uint32_t j = t - t % 3; j < t - t % 3 + 3; ++j)
                        searched[m_Corner[j]] = 0;
            }
        });
        return true;
    });
}

bool CEngine::SearchMove(std::uint32_t v) {
    const Vec p = m_Position[v];
    Vec normal;
    double before = Pi, reach = 0;
    int count = 0;
    ForEachOutgoing(v, [&](std::uint32_t e) {
        const Vec &x = m_Position[Target(e)], &y = m_Position[m_Corner[Prev(e)]];
        normal += (x - p) * (y - p);
        before = std::min(before, SmallestAngle(p, x, y));
        reach += std::sqrt(Squared(x - p));
        ++count;
    });
    if (count < 3 || !(Squared(normal) > 0))
        return false;
    bool flat = true;
    ForEachOutgoing(v, [&](std::uint32_t e) {
        flat = flat && Flat(normal, (m_Position[Target(e)] - p) * (m_Position[m_Corner[Prev(e)]] - p));
    });
    if (!flat)
        return false;
    normal = normal / std::sqrt(Squared(normal));
    // Any direction across the normal, then the one across both.
    const Vec axis = std::fabs(normal.x) < 0.6 ? Vec(1, 0, 0) : Vec(0, 1, 0);
    const Vec u0 = axis - normal * (axis % normal);
    const Vec u = u0 / std::sqrt(Squared(u0)), w = normal * u;
    // A place that turns or flattens a face of the fan scores below any.
    double best = before;
    // The search takes a place only where it scores above the best so far.
    const Vec q =
        SearchPlane(p, u, w, 0.25 * reach / count, best, [&](const Vec& x) { return FanAngleAbove(v, x, best); });
    if (!(best > before + MinAngleGain))
        return false;
    Vec onInput;
    const std::uint32_t nearest = NearestOnInput(q, m_FaceHint[v], onInput);
    if (nearest == None || !IsFinite(q) || Squared(onInput - q) > 1e-12 * reach * reach / (count * count) ||
        MoveFolds(v, q))
        return false;
    m_Position[v] = q;
    m_FaceHint[v] = nearest;
    return true;
}

bool CEngine::MergeToRaiseAngles(std::uint32_t h, bool aGoes, bool bGoes, double keptLength2) {
    const std::uint32_t a = m_Corner[h], b = Target(h);
    const double smallest = SmallestAngleAroundEnds(h, nullptr);
    // The end whose removal gives the larger smallest angle goes, if that
    // gains enough.
    const double withoutA = aGoes ? SmallestAngleAroundEnds(h, &m_Position[b]) : 0;
    const double withoutB = bGoes ? SmallestAngleAroundEnds(h, &m_Position[a]) : 0;
    if (!(std::max(withoutA, withoutB) > smallest + MinAngleGain) ||
        !TryCollapse(h, 0, RimReachFactor * RimReachFactor * m_TargetLength * m_TargetLength, false, true, keptLength2,
                     withoutA >= withoutB ? b : a))
        return false;
    const std::uint32_t survivor = (m_Flags[a] & Deleted) ? b : a;
    m_Ring.clear();
    ForEachNeighbour(survivor, [&](std::uint32_t x, std::uint32_t) { m_Ring.push_back(x); });
    for (const std::uint32_t x : m_Ring)
        MoveToRaiseAngles(x);
    return true;
}

double CEngine::SmallestAngleAroundEnds(std::uint32_t h, const Vec* merged) const {
    const std::uint32_t a = m_Corner[h], b = Target(h), t = m_Twin[h];
    const auto place = [&](std::uint32_t v) -> const Vec& {
        return merged && (v == a || v == b) ? *merged : m_Position[v];
    };
    double smallest = Pi;
    for (const std::uint32_t end : {a, b})
        ForEachOutgoing(end, [&](std::uint32_t e) {
            if (!merged || (e / 3 != h / 3 && (t == None || e / 3 != t / 3)))
                smallest =
                    std::min(smallest, SmallestAngle(place(m_Corner[e]), place(Target(e)), place(m_Corner[Prev(e)])));
        });
    return smallest;
}

bool CEngine::BesideLineOnly(std::uint32_t f) const {
    bool line = false;
    for (std::uint32_t k = 0; k < 3; ++k) {
        const std::uint32_t v = m_Corner[3 * f + k];
        if (IsOpen(v) || (m_Flags[v] & (NonManifold | Fixed)))
            return false;
        line |= (m_Flags[v] & Sliding) != 0;
    }
    return line;
}

// The faces under FreeThinAngle beside a feature line are left alone by the
// moves of free vertices: their smallest angle often sits at a sliding
// corner with an obtuse angle at the next sliding corner along the line (a
// reconstructed limb's facets crease at about the feature angle), where no
// free vertex can open it. There a sliding corner may move along its line,
// after the other final moves, so that the faces under ThinAngle had every
// chance first.
bool CEngine::RaiseAnglesBesideLines() {
    const auto candidate = [&](std::uint32_t f) { return IsThinFace(f) && BesideLineOnly(f); };
    // Bounded: at most three attempts per face, each a walk around one fan
    // (twice) and two projections.
    return MoveOneCornerOfEachFace(
        candidate, [&](std::uint32_t v) { return (m_Flags[v] & Sliding) && MoveToRaiseAngles(v, true); });
}

// A wall lower than the target between two lines (a roof's gable side, 0.14
// targets tall, between rims of edges some three times that) holds only
// faces whose corners all lie on lines. Where a collapse after the last
// relaxation took a vertex of one rim, the vertex across it stands near an
// end of the edge it faced instead of under its middle, and the face keeps
// an angle under ThinAngle that no flip or free vertex can open, in a fan
// MoveToRaiseAngles leaves alone. Such a corner searches its line between
// its two neighbours there, at SlideSteps places and then at a finer step
// about the best, for the place where its fan's smallest angle is largest.
// Last of the angle passes: the moves before had every chance to open the
// face without spacing a line unevenly.
bool CEngine::SlideAcrossWalls() {
    const auto candidate = [&](std::uint32_t f) {
        const std::uint32_t* corner = &m_Corner[3 * f];
        return corner[0] != None && IsOnLine(corner[0]) && IsOnLine(corner[1]) && IsOnLine(corner[2]) &&
               IsThinFace(f, CosThinAngle);
    };
    // Bounded: at most three slides per face, each 2 SlideSteps walks around
    // one fan and as many projections.
    return MoveOneCornerOfEachFace(candidate, [&](std::uint32_t v) { return SlideAlongLine(v); });
}

bool CEngine::SlideAlongLine(std::uint32_t v) {
    if ((m_Flags[v] & (Deleted | Fixed | Sliding | NonManifold)) != Sliding || IsOpen(v))
        return false;
    std::uint32_t ends[2];
    const int found = LineNeighbours(v, ends);
    const Vec p = m_Position[v];
    double before = Pi;
    ForEachOutgoing(v, [&](std::uint32_t e) {
        before = std::min(before, SmallestAngle(p, m_Position[Target(e)], m_Position[m_Corner[Prev(e)]]));
    });
    if (found != 2 || !(before < ThinAngle))
        return false;
    const Vec &x0 = m_Position[ends[0]], &x1 = m_Position[ends[1]];
    // Only where every face of the fan holds the line's direction: moved
    // along it, they keep their planes, so that no distance and no bend
    // between faces changes (sliding across a bent fan folded fins' tips
    // and strands of hair).
    const Vec direction = x1 - x0;
    const double slant2 = SlideSlant * SlideSlant * Squared(direction);
    bool inPlanes = true;
    ForEachOutgoing(v, [&](std::uint32_t e) {
        const Vec normal = (m_Position[Target(e)] - p) * (m_Position[m_Corner[Prev(e)]] - p);
        const double along = normal % direction;
        inPlanes = inPlanes && along * along <= slant2 * Squared(normal);
    });
    if (!inPlanes)
        return false;
    double best = before, bestAt = -1;
    Vec bestPlace = p;
    const auto tryAt = [&](double u) {
        if (!(u > 0 && u < 1))
            return;
        const Vec q = Projected(v, x0 + (x1 - x0) * u);
        double after;
        if (IsFinite(q) && FanAfterMove(v, q, after) && after > best) {
            best = after;
            bestAt = u;
            bestPlace = q;
        }
    };
    for (int i = 1; i < SlideSteps; ++i)
        tryAt(double(i) / SlideSteps);
    if (bestAt < 0)
        return false;
    const double centre = bestAt;
    for (int i = 1; i < SlideSteps; ++i)
        tryAt(centre + (double(i) / SlideSteps - 0.5) * 2.0 / SlideSteps);
    if (!(best > before + MinAngleGain) || MoveFolds(v, bestPlace) || !KeepsLineShape(v, bestPlace))
        return false;
    m_Position[v] = bestPlace;
    return true;
}

bool CEngine::KeepsLineShape(std::uint32_t v, const Vec& q) const {
    const Vec& p = m_Position[v];
    std::uint32_t ends[2];
    const int found = LineNeighbours(v, ends);
    if (found != 2)
        return false;
    // The old place lies on the input's line; the new chords must pass it
    // as closely as a kept boundary may straighten.
    const double bound2 = KeptDeviationFactor * KeptDeviationFactor * m_TargetLength * m_TargetLength;
    const Vec &x = m_Position[ends[0]], &y = m_Position[ends[1]];
    if (!(std::min(Squared(ClosestOnSegment(p, x, q) - p), Squared(ClosestOnSegment(p, q, y) - p)) < bound2))
        return false;
    // A rod's rim spread round its axis stays spread (see RodRimShare); one
    // already bunched may only spread.
    const CRodRim* rim = RodRimOf(m_Line[v]);
    if (!rim)
        return true;
    const double span = RodRimSpan(*rim, x, p, q, y);
    return span <= RodRimShare || span <= RodRimSpan(*rim, x, p, p, y);
}

// After the last iteration the faces that are still thin (and, away from
// the constraints, those under FreeThinAngle) are where no flip or collapse
// could help: a free corner of each may move to the plain centroid of its
// ring, half-way there, or where relaxation would put it, back onto the
// input, where that raises the smallest angle of its fan and turns or folds
// none of its faces. Only here, at the end: moved earlier, the vertices would
// steer the next iteration's edits elsewhere, for better or worse, while at
// the end every move can only raise the smallest angle of the result.
bool CEngine::RaiseSmallestAngles(bool freeFaces) {
    const auto candidate = [&](std::uint32_t f) {
        const std::uint32_t* corner = &m_Corner[3 * f];
        if (corner[0] == None)
            return false;
        const Vec &p0 = m_Position[corner[0]], &p1 = m_Position[corner[1]], &p2 = m_Position[corner[2]];
        return IsThin(p0, p1, p2) || (freeFaces && IsFree(corner[0]) && IsFree(corner[1]) && IsFree(corner[2]) &&
                                      IsThin(p0, p1, p2, CosFreeThinAngle));
    };
    // Bounded: at most three attempts per face, each a walk around one fan
    // (twice) and two projections.
    return MoveOneCornerOfEachFace(candidate, [&](std::uint32_t v) { return MoveToRaiseAngles(v); });
}

bool CEngine::MoveFolds(std::uint32_t v, const Vec& q) const {
    const Vec& p = m_Position[v];
    const auto normal = [&](std::uint32_t f, const Vec& at) { return FaceNormal(f, v, v, at); };
    bool folds = false;
    // Each face of the fan against the face before it and the face beyond
    // its far side.
    ForEachOutgoing(v, [&](std::uint32_t e) {
        for (const std::uint32_t side : {e, Next(e)}) {
            const std::uint32_t across = m_Twin[side];
            if (folds || across == None)
                continue;
            const std::uint32_t f = e / 3, g = across / 3;
            folds = Folded(normal(f, q), normal(g, q)) && !Folded(normal(f, p), normal(g, p));
        }
    });
    return folds;
}

std::size_t CEngine::FoldedEdgeCount() const {
    std::size_t count = 0;
    const std::uint32_t halfEdges = static_cast<std::uint32_t>(m_Corner.size());
    for (std::uint32_t h = 0; h < halfEdges; ++h) {
        const std::uint32_t t = m_Twin[h];
        count += m_Corner[h] != None && t != None && t > h && Folded(FaceNormal(h / 3), FaceNormal(t / 3));
    }
    return count;
}

double CEngine::FoldsAround(std::uint32_t v, const Vec& q) const {
    const auto normal = [&](std::uint32_t f) { return FaceNormal(f, v, v, q); };
    double folds = 0;
    ForEachOutgoing(v, [&](std::uint32_t e) {
        for (const std::uint32_t side : {e, Next(e)}) {
            const std::uint32_t across = m_Twin[side];
            if (across == None)
                continue;
            const Vec m = normal(e / 3), n = normal(across / 3);
            const double length = std::sqrt(Squared(m) * Squared(n));
            if (Folded(m, n))
                folds += UnfoldFoldWeight;
            if (length > 0)
                folds += std::max(0.0, -(m % n) / length - UnfoldNearCos);
        }
    });
    return folds;
}

// On a part only a few targets round (a slender cone at a coarse target,
// a ring of three faces round its tip) neighbouring faces meet at close to
// the fold's angle wherever their corners stand, and the passes before,
// each of which folds nothing that was not folded, still leave a fold
// where one of their corners stood a degree off. Each vertex of the faces
// at a folded edge tries a few places towards each of its neighbours,
// projected onto the input (a sliding vertex onto its line), and takes the
// one that leaves the fewest folds around it, fewer than now, or as many
// but nearer unfolding (see FoldsAround); where no face of its fan turns or
// gets a smaller angle than both what the fan had and the result's
// smallest (nor under UnfoldKeptAngle where the fan was above it, nor under
// UnfoldOverFoldAngle over a fold of the input), and a vertex on a line
// keeps the line's shape. Serial, in
// vertex order.
bool CEngine::UnfoldByMoves(bool freeOnly) {
    if (!AnyEdgeFolds())
        return false;
    std::vector<std::uint32_t> vertices;
    std::size_t foldsBefore = 0;
    const std::uint32_t halfEdges = static_cast<std::uint32_t>(m_Corner.size());
    for (std::uint32_t h = 0; h < halfEdges; ++h) {
        const std::uint32_t t = m_Twin[h];
        if (m_Corner[h] == None || t == None || t < h || !Folded(FaceNormal(h / 3), FaceNormal(t / 3)))
            continue;
        ++foldsBefore;
        for (const std::uint32_t v : {m_Corner[h], Target(h), m_Corner[Prev(h)], m_Corner[Prev(t)]})
            vertices.push_back(v);
    }
    if (vertices.empty())
        return false;
    std::sort(vertices.begin(), vertices.end());
    vertices.erase(std::unique(vertices.begin(), vertices.end()), vertices.end());
    std::vector<std::pair<Vec, std::pair<std::uint32_t, std::uint32_t>>> saved;
    saved.reserve(vertices.size());
    for (const std::uint32_t v : vertices)
        saved.push_back({m_Position[v], {m_FaceHint[v], m_SegmentHint[v]}});
    const double floor = SmallestAngleOfFaces();
    bool changed = false;
    std::vector<std::uint32_t> ring;
    // Bounded: UnfoldSweeps sweeps over those vertices, each trying
    // UnfoldShares places towards each neighbour.
    for (int sweep = 0; sweep < UnfoldSweeps; ++sweep) {
        bool moved = false;
        for (const std::uint32_t v : vertices) {
            const bool slides =
                !freeOnly && (m_Flags[v] & (Deleted | Fixed | Sliding | NonManifold)) == Sliding && !IsOpen(v);
            if (!IsFree(v) && !slides)
                continue;
            const Vec p = m_Position[v];
            const double before = FoldsAround(v, p);
            if (before < UnfoldFoldWeight)
                continue;
            double fan = Pi;
            ForEachOutgoing(v, [&](std::uint32_t e) {
                fan = std::min(fan, SmallestAngle(p, m_Position[Target(e)], m_Position[m_Corner[Prev(e)]]));
            });
            // A fan at the angle the remesh aims for keeps it. Over a part
            // the input folds itself, the result's fold follows the input's
            // and is not worth a sliver (see UnfoldOverFoldAngle and
            // UnfoldOverNoiseAngle).
            const double overFold = m_FoldsLikeNoise ? UnfoldOverNoiseAngle : UnfoldOverFoldAngle;
            const double lowest = OverFoldedInput(v) ? std::max(floor, overFold) : floor;
            const double least =
                fan >= UnfoldKeptAngle ? std::max(std::min(fan, floor), UnfoldKeptAngle) : std::min(fan, lowest);
            ring.clear();
            ForEachNeighbour(v, [&](std::uint32_t w, std::uint32_t) { ring.push_back(w); });
            const std::uint32_t faceHint = m_FaceHint[v], segmentHint = m_SegmentHint[v];
            std::uint32_t bestFaceHint = faceHint, bestSegmentHint = segmentHint;
            double best = before;
            Vec place = p;
            const double leastCos = std::cos(least);
            for (const std::uint32_t w : ring)
                for (const double share : UnfoldShares) {
                    const Vec q = Projected(v, p + (m_Position[w] - p) * share);
                    if (!IsFinite(q) || !FanKeepsAngle(v, q, least, leastCos) || (slides && !KeepsLineShape(v, q)))
                        continue;
                    const double folds = FoldsAround(v, q);
                    if (folds < best) {
                        best = folds;
                        place = q;
                        bestFaceHint = m_FaceHint[v];
                        bestSegmentHint = m_SegmentHint[v];
                    }
                }
            m_FaceHint[v] = bestFaceHint;
            m_SegmentHint[v] = bestSegmentHint;
            if (best < before) {
                m_Position[v] = place;
                moved = changed = true;
            }
        }
        if (!moved)
            break;
    }
    // Moves that only brought folds nearer unfolding are taken back, all of
    // them: they cost the distance and the spacing and gain nothing.
    if (changed && !(FoldedEdgeCount() < foldsBefore)) {
        for (std::size_t i = 0; i < vertices.size(); ++i) {
            m_Position[vertices[i]] = saved[i].first;
            m_FaceHint[vertices[i]] = saved[i].second.first;
            m_SegmentHint[vertices[i]] = saved[i].second.second;
        }
        changed = false;
    }
    return changed;
}

std::vector<std::uint32_t> CEngine::FoldedTips() const {
    std::vector<std::uint32_t> tips;
    const std::uint32_t vertexCount = static_cast<std::uint32_t>(m_Position.size());
    for (std::uint32_t tip = 0; tip < vertexCount; ++tip) {
        if (m_Valence[tip] != 3 || !IsBareTip(tip))
            continue;
        bool folded = false;
        ForEachOutgoing(tip, [&](std::uint32_t e) {
            folded = folded || (m_Twin[e] != None && Folded(FaceNormal(e / 3), FaceNormal(m_Twin[e] / 3)));
        });
        if (folded)
            tips.push_back(tip);
    }
    return tips;
}

void CEngine::MeasureTipRegion(std::uint32_t tip, double& smallest, int& folds) const {
    smallest = Pi;
    folds = 0;
    const auto fan = [&](std::uint32_t v) {
        ForEachOutgoing(v, [&](std::uint32_t e) {
            const std::uint32_t f = e / 3;
            const std::uint32_t* corner = &m_Corner[3 * f];
            smallest =
                std::min(smallest, SmallestAngle(m_Position[corner[0]], m_Position[corner[1]], m_Position[corner[2]]));
            for (const std::uint32_t side : {e, Next(e)})
                folds += m_Twin[side] != None && Folded(FaceNormal(f), FaceNormal(m_Twin[side] / 3));
        });
    };
    fan(tip);
    ForEachNeighbour(tip, [&](std::uint32_t w, std::uint32_t) { fan(w); });
}

void CEngine::SplitTips(const std::vector<std::uint32_t>& tips) {
    for (const std::uint32_t tip : tips) {
        std::uint32_t widest = None;
        double widest2 = 0;
        ForEachOutgoing(tip, [&](std::uint32_t e) {
            const std::uint32_t far = Next(e);
            bool folded = false;
            for (const std::uint32_t spoke : {e, Prev(e)})
                folded = folded || (m_Twin[spoke] != None && Folded(FaceNormal(e / 3), FaceNormal(m_Twin[spoke] / 3)));
            if (folded && m_Twin[far] != None && m_Kind[far] == None && EdgeLength2(far) > widest2) {
                widest = far;
                widest2 = EdgeLength2(far);
            }
        });
        if (widest == None)
            continue;
        Split(widest);
        const std::uint32_t m = static_cast<std::uint32_t>(m_Position.size() - 1);
        const Vec q = Projected(m, m_Position[m]);
        double smallest;
        if (IsFinite(q) && FanAfterMove(m, q, smallest))
            m_Position[m] = q;
    }
}

void CEngine::SaveState(CMeshState& state) const {
    state.m_Position = m_Position;
    state.m_SizePlace = m_SizePlace;
    state.m_Flags = m_Flags;
    state.m_Valence = m_Valence;
    state.m_Out = m_Out;
    state.m_Line = m_Line;
    state.m_Source = m_Source;
    state.m_FaceHint = m_FaceHint;
    state.m_SegmentHint = m_SegmentHint;
    state.m_CarriedSlot = m_CarriedSlot;
    state.m_Corner = m_Corner;
    state.m_Twin = m_Twin;
    state.m_Kind = m_Kind;
    state.m_Roughness = m_Roughness;
    state.m_Size = m_Size;
    state.m_NewSinceOrdering = m_NewSinceOrdering;
}

void CEngine::RestoreState(const CMeshState& state) {
    m_Position = state.m_Position;
    m_SizePlace = state.m_SizePlace;
    m_Flags = state.m_Flags;
    m_Valence = state.m_Valence;
    m_Out = state.m_Out;
    m_Line = state.m_Line;
    m_Source = state.m_Source;
    m_FaceHint = state.m_FaceHint;
    m_SegmentHint = state.m_SegmentHint;
    m_CarriedSlot = state.m_CarriedSlot;
    m_Corner = state.m_Corner;
    m_Twin = state.m_Twin;
    m_Kind = state.m_Kind;
    m_Roughness = state.m_Roughness;
    m_Size = state.m_Size;
    m_NewSinceOrdering = state.m_NewSinceOrdering;
}

// Three faces round a slender tip fold unless their ring is spread evenly to
// a fraction of a degree (see MinValence), which a ring also bound to the
// input and to the faces below it seldom allows. A bare tip of three faces
// still folded after the moves gets a fourth: the widest of its faces at a
// folded edge is split across its far side's middle, projected onto the
// input, and the tip's ring is spread evenly round it (see EvenTipRings,
// which may also go back to three faces, spread evenly), and the moves run
// again. A tip keeps that only where no edge of the faces round it and its
// ring folds, and their smallest angle stays at or above the least of what
// it was, the result's smallest and UnfoldTipShare of what four faces
// spread evenly round the tip reach: the even ring of three on a slender
// cone may stay below the first two (it folded where it was wider), while
// a spike's tip whose ring finds no even place would keep its split face's
// halves, thinner than any face before. The whole is taken back where a tip
// fails, and tried again with the tips that passed, once. Serial, in
// vertex order.
bool CEngine::UnfoldEdges() {
    if (!AnyEdgeFolds())
        return false;
    bool changed = UnfoldByMoves();
    std::vector<std::uint32_t> tips = FoldedTips();
    if (tips.empty())
        return changed;
    const double floor = SmallestAngleOfFaces();
    const std::size_t foldsBefore = FoldedEdgeCount();
    CMeshState saved;
    SaveState(saved);
    std::vector<double> need(tips.size());
    for (std::size_t i = 0; i < tips.size(); ++i) {
        int folds;
        MeasureTipRegion(tips[i], need[i], folds);
        // A cone of half-angle a unrolls to 2 pi sin a round its tip; four
        // faces spread evenly there meet at 2 asin(sin a sin 45 degrees).
        const double sine = std::min(1.0, AngleSum(tips[i]) / (2 * Pi));
        const double even = 2 * std::asin(sine * std::sqrt(0.5));
        // Over a part the input folds itself, as for the moves (see
        // UnfoldOverFoldAngle): the fold is the input's, the split's halves
        // thinner than the region would be ours.
        need[i] = OverFoldedInput(tips[i]) ? std::min(need[i], std::max(floor, UnfoldOverFoldAngle))
                                           : std::min({need[i], floor, UnfoldTipShare * even});
    }
    // Bounded: two rounds, the second with fewer tips, each at most one
    // split per tip, one pass of EvenTipRings over those tips and one of
    // UnfoldByMoves.
    for (int round = 0; round < 2 && !tips.empty(); ++round) {
        SplitTips(tips);
        EvenTipRings(&tips);
        UnfoldByMoves();
        std::vector<std::uint32_t> kept;
        std::vector<double> keptNeed;
        for (std::size_t i = 0; i < tips.size(); ++i) {
            double smallest;
            int folds;
            MeasureTipRegion(tips[i], smallest, folds);
            if (folds == 0 && smallest >= need[i]) {
                kept.push_back(tips[i]);
                keptNeed.push_back(need[i]);
            }
        }
        // The ring below a tip moves too, so the whole mesh must fold less.
        const bool fewer = FoldedEdgeCount() < foldsBefore;
        if (kept.size() == tips.size() && fewer)
            return true;
        if (!fewer && kept.size() == tips.size())
            kept.clear();
        RestoreState(saved);
        tips.swap(kept);
        need.swap(keptNeed);
    }
    return changed;
}

bool CEngine::MoveToRaiseAngles(std::uint32_t v, bool alongLine) {
    const bool slides = alongLine && (m_Flags[v] & (Deleted | Fixed | Sliding | NonManifold)) == Sliding && !IsOpen(v);
    if (!IsFree(v) && !slides)
        return false;
    const Vec p = m_Position[v];
    Vec centroid;
    int count = 0;
    double before = Pi;
    // The far side of the fan's thinnest face, where that face is thinnest
    // at v and its far side is a constraint no flip may cut (otherwise p
    // itself, which adds no place).
    Vec across = p;
    ForEachOutgoing(v, [&](std::uint32_t e) {
        const Vec &x = m_Position[Target(e)], &y = m_Position[m_Corner[Prev(e)]];
        centroid += x;
        ++count;
        const double smallest = SmallestAngle(p, x, y);
        if (smallest < before) {
            before = smallest;
            across = m_Kind[Next(e)] != None && Squared(y - x) < std::min(Squared(x - p), Squared(y - p))
                         ? (x + y) * 0.5
                         : p;
        }
    });
    // A sliding vertex moves only to lift a fan already past ThinAngle: in a
    // thinner fan beside a line (a CAD part's fan to a fixed corner) its
    // move evens out nothing and spaces the line unevenly.
    if (count < 3 || (slides && before < ThinAngle))
        return false;
    centroid = centroid / double(count);
    // The centroid of the ring, half-way there, or where relaxation would
    // put the vertex (which evens out the fan around a cone's tip). Failing
    // those, a step towards the far side of the thinnest face: beside a kept
    // rim of half a target the centroid lies nearly where the vertex is,
    // while a third of the way to the rim edge opens the face it looks at.
    // Such a step is taken only where it lifts the fan past ThinAngle: short
    // of that it spends the shape of a part thinner than the target (a strip
    // of a few faces) for a few degrees.
    const Vec places[5] = {p + (centroid - p), p + (centroid - p) * 0.5, Relaxed(v), p + (across - p) / 3.0,
                           p + (across - p) / 6.0};
    for (int i = 0; i < 5; ++i) {
        if (i >= 3 && (across == p || !(before < ThinAngle)))
            break;
        const Vec q = Projected(v, places[i]);
        if (!IsFinite(q))
            continue;
        double after;
        if (FanAfterMove(v, q, after) && after > before + MinAngleGain && (i < 3 || after >= ThinAngle) &&
            !MoveFolds(v, q) && (!slides || KeepsLineShape(v, q))) {
            m_Position[v] = q;
            return true;
        }
    }
    return false;
}

bool CEngine::FanAfterMove(std::uint32_t v, const Vec& q, double& smallest) const {
    const Vec& p = m_Position[v];
    bool keeps = true;
    smallest = Pi;
    ForEachOutgoing(v, [&](std::uint32_t e) {
        const Vec &x = m_Position[Target(e)], &y = m_Position[m_Corner[Prev(e)]];
        const Vec old = (x - p) * (y - p), moved = (x - q) * (y - q);
        keeps = keeps && Squared(moved) > m_MinCross2 && old % moved > 0;
        smallest = std::min(smallest, SmallestAngle(q, x, y));
    });
    return keeps;
}

bool CEngine::FanKeepsAngle(std::uint32_t v, const Vec& q, double least, double leastCos) const {
    const Vec& p = m_Position[v];
    // A face whose cosine lies clearly below least's has a larger angle, one
    // clearly above a smaller; only the faces between are measured by
    // SmallestAngle, whose value FanAfterMove takes (a NaN there lowers
    // nothing, and lowers nothing here either).
    bool keeps = true;
    ForEachOutgoing(v, [&](std::uint32_t e) {
        if (!keeps)
            return;
        const Vec &x = m_Position[Target(e)], &y = m_Position[m_Corner[Prev(e)]];
        const Vec old = (x - p) * (y - p), moved = (x - q) * (y - q);
        keeps = Squared(moved) > m_MinCross2 && old % moved > 0;
        if (!keeps)
            return;
        const double cosine = SmallestAngleCos(q, x, y);
        if (cosine > leastCos + AngleCosMargin)
            keeps = false;
        else if (!(cosine < leastCos - AngleCosMargin))
            keeps = !(SmallestAngle(q, x, y) < least);
    });
    return keeps;
}

double CEngine::FanAngleAbove(std::uint32_t v, const Vec& q, double floor) const {
    const Vec& p = m_Position[v];
    // A face whose cosine lies clearly above the floor's is below the floor
    // (and a turned face scores -1 just the same, so that test comes first);
    // one clearly below the largest cosine is not the fan's smallest angle.
    // Only the rest are measured by SmallestAngle, which gives the very
    // value FanAfterMove would.
    const double floorCos = std::cos(floor) + AngleCosMargin;
    constexpr int Kept = 16;
    double cosines[Kept];
    int faces = 0;
    bool keeps = true, exact = false;
    double largest = -1;
    ForEachOutgoing(v, [&](std::uint32_t e) {
        if (!keeps)
            return;
        const Vec &x = m_Position[Target(e)], &y = m_Position[m_Corner[Prev(e)]];
        const double cosine = SmallestAngleCos(q, x, y);
        if (faces < Kept)
            cosines[faces] = cosine;
        ++faces;
        if (!std::isfinite(cosine))
            exact = true;
        else if (cosine > floorCos) {
            keeps = false;
            return;
        } else
            largest = std::max(largest, cosine);
        const Vec old = (x - p) * (y - p), moved = (x - q) * (y - q);
        keeps = Squared(moved) > m_MinCross2 && old % moved > 0;
    });
    if (!keeps)
        return -1.0;
    const double near = largest - AngleCosMargin;
    double smallest = Pi;
    int k = 0;
    ForEachOutgoing(v, [&](std::uint32_t e) {
        const Vec &x = m_Position[Target(e)], &y = m_Position[m_Corner[Prev(e)]];
        const double cosine = k < Kept ? cosines[k] : SmallestAngleCos(q, x, y);
        ++k;
        if (exact || !(cosine < near))
            smallest = std::min(smallest, SmallestAngle(q, x, y));
    });
    return smallest > floor ? smallest : -1.0;
}

bool CEngine::NearbyFaceWithin(const Vec& c, std::uint32_t v, double limit2) const {
    bool within = false;
    const auto fan = [&](std::uint32_t u) {
        ForEachOutgoing(u, [&](std::uint32_t e) {
            if (within)
                return;
            const Vec &a = m_Position[m_Corner[e]], &b = m_Position[Target(e)], &d = m_Position[m_Corner[Prev(e)]];
            within = Squared(ClosestOnTriangle(c, a, b, d) - c) <= limit2;
        });
    };
    fan(v);
    ForEachNeighbour(v, [&](std::uint32_t w, std::uint32_t) {
        if (!within && !(m_Flags[w] & (Deleted | NonManifold)))
            fan(w);
    });
    return within;
}

// The result's vertices all lie on the input, but where the input has a
// spike narrower than the target (scan noise at a scan's curved end) the
// faces around it may cut its tip off by a third of the target: no vertex
// landed near the tip, and relaxation has no reason to put one there. Each
// free vertex looks at the corners of the input triangle it was projected
// onto; a corner that the faces around it pass too far from draws the
// vertex onto it, if that vertex is the nearest of its ring to the corner
// (so that one vertex goes, and afterwards the corner lies on its
// neighbours' faces too). The move keeps the input's own point, so the
// result stays on the input; it may not lower the smallest angle of the fan
// below FreeThinAngle or below what it was, and neither turns nor folds a
// face. Serial, in vertex order, so the result does not depend on threads.
bool CEngine::SnapToPeaks() {
    // The corner itself or, where that makes too thin a face, a point of the
    // input part of the way there.
    return SnapToCorners(PeakSnapFactor, FreeThinAngle, nullptr, {1.0, 0.9, 0.8, 0.7, 0.6, 0.5}, true);
}

bool CEngine::SnapToCorners(double snapFactor, double floor, const std::vector<std::uint8_t>* cornerBits,
                            std::initializer_list<double> shares, bool ringFollows) {
    const double limit2 = snapFactor * snapFactor * m_TargetLength * m_TargetLength;
    const double reach2 = m_TargetLength * m_TargetLength;
    bool changed = false;
    const std::uint32_t vertexCount = static_cast<std::uint32_t>(m_Position.size());
    const auto cornerBitsOf = [&](std::uint32_t v) -> std::uint8_t {
        return cornerBits ? (*cornerBits)[m_FaceHint[v]] : 7;
    };
    // Whether corner k of the triangle draws v at p: the corner is near, no
    // neighbour is nearer, and the faces around pass too far from it.
    const auto draws = [&](std::uint32_t v, const Vec& p, const Vec& c, std::uint8_t bits, int k) {
        const double distance2 = Squared(c - p);
        // A vertex on the corner already has faces through it.
        if (!(bits & (1u << k)) || !(distance2 < reach2) || c == p)
            return false;
        bool nearest = true;
        ForEachNeighbour(
            v, [&](std::uint32_t w, std::uint32_t) { nearest = nearest && Squared(c - m_Position[w]) >= distance2; });
        return nearest && !NearbyFaceWithin(c, v, limit2);
    };
    // Most vertices are drawn by no corner, which all threads find at once
    // from the places at the start. A vertex passed by there is still tried
    // where an earlier move of the sweep changed what its test reads: the
    // places of its two rings, its own face hint, the fans of its ring. All
    // of that lies within two rings of the vertices a move changes, through
    // edges as they are after it (an edge a flip removed has both ends among
    // those vertices). Where a non-manifold vertex stands in the way, whose
    // walk may miss a neighbour, every vertex after it is tried.
    m_SnapScreen.resize(vertexCount);
    const std::int64_t screenCount = vertexCount;
#pragma omp parallel for schedule(dynamic, 1024) if (screenCount >= ParallelVertices)
    for (std::int64_t i = 0; i < screenCount; ++i) {
        const std::uint32_t v = static_cast<std::uint32_t>(i);
        bool drawn = false;
        if (IsFree(v) && m_FaceHint[v] != None) {
            const std::uint8_t bits = cornerBitsOf(v);
            const CTriangle& triangle = m_Triangles[m_FaceHint[v]];
            const Vec* corners[3] = {&triangle.m_A, &triangle.m_B, &triangle.m_C};
            for (int k = 0; k < 3 && !drawn && bits != 0; ++k)
                drawn = draws(v, m_Position[v], *corners[k], bits, k);
        }
        m_SnapScreen[v] = drawn;
    }
    bool tryAll = false;
    const auto markAround = [&](std::uint32_t s) {
        if (m_Flags[s] & (Deleted | NonManifold)) {
            tryAll = true;
            return;
        }
        m_SnapScreen[s] = 1;
        ForEachNeighbour(s, [&](std::uint32_t w, std::uint32_t) {
            m_SnapScreen[w] = 1;
            if (m_Flags[w] & (Deleted | NonManifold)) {
                tryAll = true;
                return;
            }
            ForEachNeighbour(w, [&](std::uint32_t x, std::uint32_t) { m_SnapScreen[x] = 1; });
        });
    };
    // Bounded: one sweep over the vertices, three corners each, each a walk
    // over the fans of the vertex and its ring and at most six places tried,
    // five of them projected.
    for (std::uint32_t v = 0; v < vertexCount; ++v) {
        if (!m_SnapScreen[v] && !tryAll)
            continue;
        if (!IsFree(v) || m_FaceHint[v] == None)
            continue;
        const std::uint8_t bits = cornerBitsOf(v);
        if (bits == 0)
            continue;
        const Vec p = m_Position[v];
        const CTriangle& triangle = m_Triangles[m_FaceHint[v]];
        const Vec* corners[3] = {&triangle.m_A, &triangle.m_B, &triangle.m_C};
        for (int k = 0; k < 3; ++k) {
            const Vec& c = *corners[k];
            if (!draws(v, p, c, bits, k))
                continue;
            double before = Pi;
            ForEachOutgoing(v, [&](std::uint32_t e) {
                before = std::min(before, SmallestAngle(p, m_Position[Target(e)], m_Position[m_Corner[Prev(e)]]));
            });
            bool moved = false, ring = false;
            for (const double share : shares) {
                const Vec q = share == 1.0 ? c : Projected(v, p + (c - p) * share);
                if (!IsFinite(q))
                    continue;
                double after;
                if (FanAfterMove(v, q, after) && after >= std::min(before, floor) && !MoveFolds(v, q)) {
                    m_Position[v] = q;
                    moved = true;
                    break;
                }
            }
            if (!moved && ringFollows)
                moved = ring = SnapWithRing(v, c, floor);
            if (moved) {
                changed = true;
                // SnapWithRing leaves the vertices it may have changed in
                // m_SnapVertices, v among them.
                if (ring)
                    for (const std::uint32_t s : m_SnapVertices)
                        markAround(s);
                else
                    markAround(v);
                break;
            }
        }
    }
    return changed;
}

// A peak far from every vertex of the result (a fingertip of a figure
// barely thicker than the target, whose cone of facets sticks out by half a
// target) is too far for its nearest vertex to move there alone: the fan
// around it keeps its old ring, centred elsewhere, and thins out on the side
// it left. So the neighbours follow, each to where relaxation puts it around
// the vertex on the peak (projected onto the input), and the faces around
// that stay thin flip their longest side, a few rounds of both. Every
// single move keeps its fan from turning or folding, every flip is a valid
// one; the whole is taken back, connectivity included, where the faces
// around end up with a smaller angle than both what they had and `floor`.
bool CEngine::SnapWithRing(std::uint32_t v, const Vec& c, double floor) {
    double smallest;
    if (!FanAfterMove(v, c, smallest) || MoveFolds(v, c))
        return false;
    // A neighbour already on a corner of the input (snapped to another peak
    // before) stays there.
    const auto onCorner = [&](std::uint32_t w) {
        const CTriangle& t = m_Triangles[m_FaceHint[w]];
        return m_Position[w] == t.m_A || m_Position[w] == t.m_B || m_Position[w] == t.m_C;
    };
    m_Ring.clear();
    ForEachNeighbour(v, [&](std::uint32_t w, std::uint32_t) {
        if (IsFree(w) && m_FaceHint[w] != None && !onCorner(w))
            m_Ring.push_back(w);
    });
    // The faces of v's fan and of its neighbours' fans (slots stay where
    // they are through flips), and the faces beside them, whose twins a flip
    // relinks.
    std::vector<std::uint32_t>& faces = m_SnapFaces;
    faces.clear();
    const auto addFan = [&](std::uint32_t u) { ForEachOutgoing(u, [&](std::uint32_t e) { faces.push_back(e / 3); }); };
    addFan(v);
    ForEachNeighbour(v, [&](std::uint32_t w, std::uint32_t) { addFan(w); });
    std::sort(faces.begin(), faces.end());
    faces.erase(std::unique(faces.begin(), faces.end()), faces.end());
    const std::size_t inner = faces.size();
    for (std::size_t i = 0; i < inner; ++i)
        for (std::uint32_t k = 0; k < 3; ++k)
            if (m_Twin[3 * faces[i] + k] != None)
                faces.push_back(m_Twin[3 * faces[i] + k] / 3);
    std::sort(faces.begin() + static_cast<std::ptrdiff_t>(inner), faces.end());
    faces.erase(std::unique(faces.begin() + static_cast<std::ptrdiff_t>(inner), faces.end()), faces.end());
    const auto isInner = [&](std::uint32_t f) { return std::binary_search(faces.begin(), faces.begin() + inner, f); };
    const auto smallestInner = [&]() {
        double least = Pi;
        for (std::size_t i = 0; i < inner; ++i) {
            const std::uint32_t* corner = &m_Corner[3 * faces[i]];
            least = std::min(least, SmallestAngle(m_Position[corner[0]], m_Position[corner[1]], m_Position[corner[2]]));
        }
        return least;
    };
    const double before = smallestInner();
    m_SnapSlots.clear();
    m_SnapVertices.clear();
    for (const std::uint32_t f : faces)
        for (std::uint32_t k = 0; k < 3; ++k) {
            const std::uint32_t h = 3 * f + k;
            m_SnapSlots.push_back({m_Corner[h], m_Twin[h], m_Kind[h]});
            m_SnapVertices.push_back(m_Corner[h]);
        }
    std::sort(m_SnapVertices.begin(), m_SnapVertices.end());
    m_SnapVertices.erase(std::unique(m_SnapVertices.begin(), m_SnapVertices.end()), m_SnapVertices.end());
    m_SnapSaved.clear();
    for (const std::uint32_t u : m_SnapVertices)
        m_SnapSaved.push_back({m_Position[u], m_FaceHint[u], m_Out[u], m_Valence[u]});

    m_Position[v] = c;
    for (int round = 0; round < SnapRingRounds; ++round) {
        for (const std::uint32_t w : m_Ring) {
            const std::uint32_t hint = m_FaceHint[w];
            const Vec q = Projected(w, Relaxed(w));
            if (IsFinite(q) && FanAfterMove(w, q, smallest) && !MoveFolds(w, q))
                m_Position[w] = q;
            else
                m_FaceHint[w] = hint;
        }
        if (!(smallestInner() < std::min(before, floor)))
            break;
        for (std::size_t i = 0; i < inner; ++i) {
            const std::uint32_t f = faces[i];
            const std::uint32_t* corner = &m_Corner[3 * f];
            const double least = SmallestAngle(m_Position[corner[0]], m_Position[corner[1]], m_Position[corner[2]]);
            if (!(least < std::min(before, floor)))
                continue;
            std::uint32_t h = 3 * f;
            for (std::uint32_t k = 1; k < 3; ++k)
                if (EdgeLength2(3 * f + k) > EdgeLength2(h))
                    h = 3 * f + k;
            const std::uint32_t t = m_Twin[h];
            if (t == None || !isInner(t / 3) || !FlipIsAllowed(h))
                continue;
            const Vec &pa = m_Position[m_Corner[h]], &pb = m_Position[Target(h)];
            const Vec &pc = m_Position[m_Corner[Prev(h)]], &pd = m_Position[m_Corner[Prev(t)]];
            const double was = std::min(least, SmallestAngle(pb, pa, pd));
            const double after = std::min(SmallestAngle(pc, pa, pd), SmallestAngle(pd, pb, pc));
            if (after > was + MinAngleGain && FlipIsValid(h))
                Flip(h);
        }
    }
    if (smallestInner() >= std::min(before, floor))
        return true;
    for (std::size_t i = 0; i < faces.size(); ++i)
        for (std::uint32_t k = 0; k < 3; ++k) {
            const CSnapSlot& slot = m_SnapSlots[3 * i + k];
            const std::uint32_t h = 3 * faces[i] + k;
            m_Corner[h] = slot.m_Corner;
            m_Twin[h] = slot.m_Twin;
            m_Kind[h] = slot.m_Kind;
        }
    for (std::size_t i = 0; i < m_SnapVertices.size(); ++i) {
        const std::uint32_t u = m_SnapVertices[i];
        m_Position[u] = m_SnapSaved[i].m_Position;
        m_FaceHint[u] = m_SnapSaved[i].m_FaceHint;
        m_Out[u] = m_SnapSaved[i].m_Out;
        m_Valence[u] = m_SnapSaved[i].m_Valence;
    }
    return false;
}

}  // namespace Corvane::Pellix::Quorvel::detail::preserving
