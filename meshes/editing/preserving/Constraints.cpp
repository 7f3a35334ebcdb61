// The constraints: feature lines and open boundaries, and the vertices that
// are kept, slide along a line or are corners, and the noise measured along
// kept boundaries.
#include "quorvel/meshes/editing/preserving/Engine.h"

#include <array>
#include <cmath>

namespace Corvane::Pellix::Quorvel::detail::preserving {

namespace {

// Faces whose normals are closer to opposite than this cosine (0.8 degrees)
// lie folded flat onto each other.
constexpr double FlatFold = -0.9999;
// A face turned over against all three of its neighbours by more than this
// cosine (about 168.5 degrees) is a pleat of a filled hole, not part of a
// shape: a repair tool's fan from one rim vertex across a curved hole lays its
// long slivers over each other, each folded back on the ones beside it. Every
// one of its edges turns by far more than the feature angle, and the lines
// found there pinned the fan's slivers and the folds between them. Where two
// holes' fans overlap, such a flap lies 171 to 178 degrees over against its
// neighbours; the projection follows the middle of its layers (see
// CEngine::AcrossPleat).
constexpr double TurnedOverCos = -0.98;
// A face whose largest angle is wider than this cosine (160 degrees), far
// narrower than the target across its longest side (FinCapWidthFactor targets)
// and turned by the feature angle against all three of its neighbours is a
// fin of the sampling, not a facet of the shape: where an iso-surface
// crosses a grid plane a decimator leaves caps standing across the surface,
// their apex a hair off their long side. Their normal says nothing of the
// surface, and the creases found on them made two lines a hair apart on a
// quadruped's leg that pinned a strip of zero-angle faces between them for
// good.
constexpr double FinCapCos = -0.94;
// A cap's width is the decimator's, the target the user's: at half the mean
// edge of a decimated figure the caps standing on its arm and leg are 0.12 to
// 0.18 targets across. Judged at a tenth of a target, their creases stayed:
// two lines left one corner a fifth of a target apart and pinned faces of
// 3.2 and 18.7 degrees between them (35.6 and 35.2 without). A cap of 160
// degrees is under a tenth of its long side across, so even at this width
// it stays a sliver of the long side it hangs on.
constexpr double FinCapWidthFactor = 0.2;
constexpr double FinWidthFactor = 0.1;
// Two creases from one vertex whose far ends lie closer than FinWidthFactor
// targets and than this share of either crease, with only faces as narrow
// between them (a needle, or a fan of them), run as one from that vertex:
// the hull of a low-polygon model's limb, with two points of a ring a hair
// apart. Kept both, every face between the two lines near the vertex keeps
// the needles' angle there, and the lines' vertices side by side cannot
// merge where the limb is thinner than the target (the merge would pinch
// it). Only the crease that turns more stays.
constexpr double NeedleBaseShare = 0.25;
constexpr int NeedleFanSteps = 8;
// A bend of exactly the feature angle is a feature: the sides of a regular
// octagon, a chamfer of 45 degrees. Their normals' cosine lands on either side
// of the angle's by rounding, which would keep some of a prism's edges and
// smooth the others away; this slack (about 1e-5 degrees) decides for keeping.
constexpr double FeatureCosineSlack = 1e-7;

// A crease is judged again on normals averaged over the faces within this
// many target lengths of it on either side, at most this many faces a side
// (half the fan of a latitude-longitude sphere's pole of 512 faces).
constexpr double CreaseSupport = 0.5;
constexpr std::size_t CreaseSupportFaces = 256;
// A crease that survives that judgement without creases of the other sense
// on both sides is judged once more over this many target lengths (at most
// this many faces a side: the area grows with the square of the reach), and
// dropped where the averaged normals turn by less than this share of the
// feature angle.
constexpr double CreaseScaleSupport = 1.5;
constexpr std::size_t CreaseScaleSupportFaces = 2304;
constexpr double CreaseScaleTurn = 0.5;
// A sheet's edge rounded far finer than the target (a lens, a coin, a
// pebble scan) turns by half a turn across a band of a few rows of thin
// faces, none of whose edges turns by the feature angle, so no crease keeps
// it; the collapses, flips and relaxation carried it inward a little at
// every pass. Such a rim is found where the faces within RimReach targets on
// either side of an edge turn by more than RimTurn degrees against each
// other, and kept as a line. Only edges whose own faces turn by RimEdgeTurn
// degrees are looked at: a smooth surface at the target's scale has none;
// and only those that turn by RimOwnTurn degrees at most, the rest of it
// spread over the rows beside them: a rim that turns at one edge is a
// crease, and the feature angle judges it (a blade's sharp trailing edge, a
// voxel step).
constexpr double RimReach = 1.0 / 3.0;
constexpr double RimTurn = 110.0;
constexpr double RimEdgeTurn = 20.0;
constexpr double RimOwnTurn = 60.0;
// The faces within CreaseScaleSupport targets of a rim, split by which side
// they face, are each nearly flat: their area-weighted normals add up to at
// least this share of their area (a lens's sides 0.97). Round a tube
// thinner than the reach the two halves add up to 2 / pi of theirs; a line
// along every side of it pinned its faces.
constexpr double RimSideFlatness = 0.85;
// The faces beside a rim's line may turn against each other by at most
// this many degrees (a fold is counted from 120); the width that keeps them
// so is searched in RimGapSteps steps of RimGapStep times the last.
constexpr double RimFaceTurn = 110.0;
constexpr int RimGapSteps = 8;
constexpr double RimGapStep = 0.8;
// A feature line both of whose ends stop in the open surface (no other line
// meets them there, and they lie on no open boundary) is a crease of a
// coarsely faceted organic part, not an edge of a machined one, and is
// dropped whatever its length, where
// - the faces beside it turn against their other neighbours by at least
//   RoughSideTurn degrees on average: a machined edge has flat or gently
//   curved faces on either side (those along the lines of a knotted tube of
//   eight sides turn by about 1 degree, those of a folded slab's flat layers
//   by 1.3 at most), the facets of a reconstructed animal's ear or tail by 5
//   to 25, like those of jittered or scanned surfaces;
// - and the surface turns by at least RoughScaleTurn degrees across it at
//   the target's scale (the normals averaged over CreaseScaleSupport targets
//   on either side): the part is so thin and so coarsely faceted that the
//   line cuts across it. Jitter on a large smooth surface turns by under 40
//   degrees there, and the lines of a reconstructed limb two to five targets
//   thick, which hold its shape at fine targets, by 30 to 55.
// Kept, an animal's ear (three targets across, a few facets around) was
// pinned by a handful of such short lines, whose ends are corners among the
// few faces that span the ear, and its faces stayed thin (25.7 degrees where
// the rest of the result keeps 30).
constexpr double RoughSideTurn = 3.0;
constexpr double RoughScaleTurn = 60.0;
// How far around a vertex, in target lengths, the turn of a blunt tip is
// summed, and at most how many vertices (see MarkBluntTips).
constexpr double BluntTipReach = 0.5;
constexpr std::size_t BluntTipPatch = 64;
// A blunt tip's turn lies around a point: the deficit-weighted spread of its
// patch's vertices across the mean normal is at least this share as wide
// one way as the other. Along the flat end of a half cylinder 1.1 targets
// across (its rim, no line) it is 0.0006; on the tips of decimated limbs it
// runs from 0.17 to 0.94.
constexpr double BluntTipRoundness = 0.05;
// A box's corner rounded far finer than the target (fillets of a few
// hundredths of a target, whose facets each turn by less than the feature
// angle, so no line holds the box's edges) is a point at the target's
// scale, its patch a quarter turn short of closing: less than a cone's
// limit (105 degrees at the feature angle of 45), and relaxation drew its
// vertices off it: none within 0.77 targets of the corners of a slab
// rounded to a twenty-fifth of a target. A patch that closes short by more
// than BluntCornerTurn degrees counts as a tip too where its
// deficit-weighted spread is under BluntCornerSpread targets: a smooth bump
// is that narrow only where its curvature radius is under a sixth of a
// target, a point at that scale as well. The rounded corner of a slab at
// twice its mean edge, the round a third of a target, spreads over a tenth
// of one; kept as tips there, its corners pinned faces of 21.6 degrees where
// the slab had 35.6.
constexpr double BluntCornerTurn = 80.0;
constexpr double BluntCornerSpread = 0.05;

}  // namespace

void CEngine::ClassifyConstraints(const std::vector<char>& frozenFace) {
    const std::uint32_t halfEdges = static_cast<std::uint32_t>(m_Corner.size());
    const std::uint32_t faces = halfEdges / 3;
    const std::size_t vertexCount = m_Position.size();

    // Features are judged with a noisy kept boundary smoothed out: the thin
    // faces that join a zig-zagging rim to a coarser surface turn against
    // each other by far more than the feature angle wherever the rim steps in
    // and out, and the lines found there run from the rim into the surface,
    // long enough at a fine target to be kept, and pin slivers beside them.
    std::vector<Vec> smoothed;
    if (m_Options.m_KeepBoundaries)
        MeasureBoundaryNoise(smoothed);
    const auto place = [&](std::uint32_t v) -> const Vec& { return smoothed.empty() ? m_Position[v] : smoothed[v]; };
    std::vector<Vec> normal(faces), weighted(faces);
    // Each face's normals and each edge's crease below are written by one
    // thread: the edge's first half-edge writes both halves.
    const std::int64_t faceEntries = faces;
#pragma omp parallel for schedule(static) if (faceEntries >= ParallelFaces)
    for (std::int64_t i = 0; i < faceEntries; ++i) {
        const std::uint32_t f = static_cast<std::uint32_t>(i);
        if (frozenFace[f])
            continue;
        const Vec &a = place(m_Corner[3 * f]), &b = place(m_Corner[3 * f + 1]), &c = place(m_Corner[3 * f + 2]);
        weighted[f] = (b - a) * (c - a);
        normal[f] = weighted[f];
        normal[f].Normalise();
    }
    // Calls turn(angle) for each edge of the faces of h and t that `skip`
    // does not reject, with the angle between the face's normal and its
    // neighbour's across it: how rough the surface round an edge is. Faces
    // without a normal and frozen neighbours take no part.
    const auto eachSideTurn = [&](std::uint32_t h, std::uint32_t t, const auto& skip, const auto& turn) {
        for (const std::uint32_t g : {h / 3, t / 3})
            for (std::uint32_t e = 3 * g; e < 3 * g + 3; ++e) {
                const std::uint32_t u = m_Twin[e];
                if (u == None || skip(e) || frozenFace[u / 3] || !(Squared(normal[g]) > 0) ||
                    !(Squared(normal[u / 3]) > 0))
                    continue;
                turn(std::acos(std::clamp(normal[g] % normal[u / 3], -1.0, 1.0)));
            }
    };
    const bool features = m_Options.m_FeatureAngle > 0 && m_Options.m_FeatureAngle < 180;
    const double cosFeature = std::cos(m_Options.m_FeatureAngle * Pi / 180.0) + FeatureCosineSlack;

    // Each edge's crease on its two faces alone: +1 convex, -1 concave, 0
    // none. A face without a normal (zero area) makes no crease, and nor do
    // two faces folded flat onto each other: the crease where a fan overlaps
    // itself (a CAD fan to a hole's rim, beyond the point where its lines
    // touch the rim), which is no edge of the shape and, left a feature, cuts
    // the real edges it meets into pieces too short to keep.
    // Nor does a turned-over face (see TurnedOverCos) on either side.
    std::vector<char> turnedOver(features ? faces : 0, 0);
    const std::int64_t turnedEntries = static_cast<std::int64_t>(turnedOver.size());
#pragma omp parallel for schedule(static) if (turnedEntries >= ParallelFaces)
    for (std::int64_t i = 0; i < turnedEntries; ++i) {
        const std::uint32_t f = static_cast<std::uint32_t>(i);
        if (frozenFace[f] || !(Squared(normal[f]) > 0))
            continue;
        bool over = true;
        for (std::uint32_t e = 3 * f; e < 3 * f + 3 && over; ++e) {
            const std::uint32_t u = m_Twin[e];
            over = u != None && !frozenFace[u / 3] && normal[f] % normal[u / 3] < TurnedOverCos;
        }
        turnedOver[f] = over;
    }
    // Nor does a fin (see FinCapCos).
    std::vector<char> fin(features ? faces : 0, 0);
    const double finWidth2 = FinWidthFactor * m_TargetLength * FinWidthFactor * m_TargetLength;
    const double capWidth2 = FinCapWidthFactor * m_TargetLength * FinCapWidthFactor * m_TargetLength;
#pragma omp parallel for schedule(static) if (turnedEntries >= ParallelFaces)
    for (std::int64_t i = 0; i < turnedEntries; ++i) {
        const std::uint32_t f = static_cast<std::uint32_t>(i);
        if (frozenFace[f] || turnedOver[f] || !(Squared(normal[f]) > 0))
            continue;
        // The corner facing the longest side, and that side.
        std::uint32_t apex = 3 * f;
        double longest2 = 0;
        for (std::uint32_t e = 3 * f; e < 3 * f + 3; ++e) {
            const double side2 = Squared(place(Target(e)) - place(m_Corner[e]));
            if (side2 > longest2) {
                longest2 = side2;
                apex = Prev(e);
            }
        }
        const Vec &p = place(m_Corner[apex]), &q = place(m_Corner[Next(apex)]), &r = place(m_Corner[Prev(apex)]);
        const Vec u = q - p, w = r - p;
        if (!(u % w < FinCapCos * std::sqrt(Squared(u) * Squared(w))) || !(Squared(weighted[f]) < longest2 * capWidth2))
            continue;
        bool standing = true;
        for (std::uint32_t e = 3 * f; e < 3 * f + 3 && standing; ++e) {
            const std::uint32_t t = m_Twin[e];
            standing =
                t != None && !frozenFace[t / 3] && Squared(normal[t / 3]) > 0 && normal[f] % normal[t / 3] < cosFeature;
        }
        fin[f] = standing;
    }
    std::vector<std::int8_t> crease(features ? halfEdges : 0, 0);
    const std::int64_t creaseEntries = static_cast<std::int64_t>(crease.size());
#pragma omp parallel for schedule(static) if (creaseEntries >= 3 * ParallelFaces)
    for (std::int64_t i = 0; i < creaseEntries; ++i) {
        const std::uint32_t h = static_cast<std::uint32_t>(i);
        const std::uint32_t t = m_Twin[h];
        if (t == None || t < h || turnedOver[h / 3] || turnedOver[t / 3] || fin[h / 3] || fin[t / 3])
            continue;
        const Vec &n1 = normal[h / 3], &n2 = normal[t / 3];
        if (Squared(n1) > 0 && Squared(n2) > 0 && n1 % n2 < cosFeature && n1 % n2 > FlatFold)
            crease[h] = crease[t] = (place(m_Corner[Prev(t)]) - place(m_Corner[h])) % n1 < 0 ? 1 : -1;
    }
    // Two creases that leave a vertex for places a hair apart run as one
    // (see NeedleBaseShare): the one that turns less makes none. Serial, in
    // half-edge order, each walk at most NeedleFanSteps faces round the
    // vertex, so that of three such creases the first dropped is seen by
    // the rest.
    const auto creaseCos = [&](std::uint32_t h) { return normal[h / 3] % normal[m_Twin[h] / 3]; };
    for (std::uint32_t h = 0; h < static_cast<std::uint32_t>(crease.size()); ++h) {
        if (crease[h] == 0 || m_Corner[h] == None)
            continue;
        const Vec& apex = place(m_Corner[h]);
        const Vec& end = place(Target(h));
        const double length2 = Squared(end - apex);
        std::uint32_t e = h;
        for (int step = 0; step < NeedleFanSteps; ++step) {
            const std::uint32_t u = m_Twin[Prev(e)];
            if (u == None || u == h || frozenFace[u / 3])
                break;
            e = u;
            const Vec& other = place(Target(e));
            const double base2 = Squared(other - end);
            if (!(base2 < finWidth2) ||
                !(base2 < NeedleBaseShare * NeedleBaseShare * std::min(length2, Squared(other - apex))))
                break;
            if (crease[e] != 0) {
                const std::uint32_t drop = creaseCos(h) >= creaseCos(e) ? h : e;
                crease[drop] = crease[m_Twin[drop]] = 0;
                break;
            }
        }
    }

    // Faces much narrower than the noise of their vertices (the slivers of a
    // jittered latitude-longitude sphere near its poles) turn against their
    // neighbours by far more than the feature angle, convex and concave by
    // turns, in a zig-zag that the surface around them does not follow; the
    // lines found there pinned the mesh into slivers. A crease beside a face
    // narrower than half a target across it is therefore judged again at the
    // target's scale: on the area-weighted normals of the faces on each side
    // within half a target of it (reached from its face without crossing it,
    // with a corner within that reach and their centre on that side of the
    // plane that halves the crease). It stays if these still turn by the
    // feature angle (a machined edge: flat or gently curved sides, however
    // thin its faces), or unless creases of the other sense lie among them
    // on both sides (the zig-zag bends both ways by turns; the coarse facets
    // of a reconstructed limb bend one way, with at most a stray crease of
    // the other sense beside them, and the lines along them carry the moves
    // that open the faces beside them). Some creases of a jittered pole have
    // none of the other sense on one side, and one sense along a whole
    // meridian, so they made lines over three targets long that pinned
    // slivers; those are judged once more over one and a half targets
    // (CreaseScaleSupport). There the jitter averages out and a smooth
    // surface turns by a few degrees, while a limb's coarse facets, flat or
    // curving the same way, still turn by most of the feature angle.
    std::vector<std::uint32_t> visited(features ? faces : 0, None);
    std::uint32_t stamp = 0;
    std::vector<std::uint32_t> queue;
    const double reach2 = CreaseSupport * m_TargetLength * CreaseSupport * m_TargetLength;
    const double scaleReach2 = CreaseScaleSupport * m_TargetLength * CreaseScaleSupport * m_TargetLength;
    const double cosScaleTurn = std::cos(CreaseScaleTurn * m_Options.m_FeatureAngle * Pi / 180.0);
    // Bounded: `most` faces, each with three twins to look at.
    const auto sideNormal = [&](std::uint32_t h, const Vec& across, double within2, std::size_t most, bool& mixed) {
        const Vec &a = place(m_Corner[h]), &b = place(Target(h));
        Vec sum = weighted[h / 3];
        ++stamp;
        queue.assign(1, h / 3);
        visited[h / 3] = stamp;
        for (std::size_t i = 0; i < queue.size() && queue.size() < most; ++i)
            for (std::uint32_t e = 3 * queue[i]; e < 3 * queue[i] + 3; ++e) {
                const std::uint32_t u = m_Twin[e];
                if (e == h || u == None || visited[u / 3] == stamp || frozenFace[u / 3])
                    continue;
                const std::uint32_t g = u / 3;
                visited[g] = stamp;
                const Vec &p = place(m_Corner[3 * g]), &q = place(m_Corner[3 * g + 1]), &r = place(m_Corner[3 * g + 2]);
                const bool near = Squared(p - ClosestOnSegment(p, a, b)) <= within2 ||
                                  Squared(q - ClosestOnSegment(q, a, b)) <= within2 ||
                                  Squared(r - ClosestOnSegment(r, a, b)) <= within2;
                if (!near || !((p + q + r - a * 3.0) % across > 0))
                    continue;
                // A face folded flat onto the crease's face (a CAD fan that
                // overlaps itself beside a hole) lies in the same plane.
                sum += normal[g] % normal[h / 3] > FlatFold ? weighted[g] : -weighted[g];
                for (std::uint32_t k = 3 * g; k < 3 * g + 3; ++k)
                    mixed = mixed || crease[k] == -crease[h];
                queue.push_back(g);
            }
        sum.Normalise();
        return sum;
    };
    const auto creaseStays = [&](std::uint32_t h, std::uint32_t t) {
        const Vec &a = place(m_Corner[h]), &b = place(Target(h));
        // Twice a face's area is its width across the edge times the edge.
        if (std::min(Squared(weighted[h / 3]), Squared(weighted[t / 3])) >= Squared(b - a) * reach2)
            return true;
        Vec across = (normal[h / 3] + normal[t / 3]) * (b - a);
        if (!(Squared(across) > 0))
            return true;
        if ((place(m_Corner[Prev(h)]) - a) % across < 0)
            across = -across;
        bool mixed = false, mixedOther = false;
        const Vec side = sideNormal(h, across, reach2, CreaseSupportFaces, mixed);
        if (side % sideNormal(t, -across, reach2, CreaseSupportFaces, mixedOther) < cosFeature)
            return true;
        if (mixed && mixedOther)
            return false;
        // (Whether the wider support is mixed no longer matters.)
        const Vec wide = sideNormal(h, across, scaleReach2, CreaseScaleSupportFaces, mixed);
        return wide % sideNormal(t, -across, scaleReach2, CreaseScaleSupportFaces, mixed) < cosScaleTurn;
    };
    for (std::uint32_t h = 0; h < halfEdges; ++h) {
        if (m_Kind[h] != None)
            continue;
        const std::uint32_t t = m_Twin[h];
        if (t == None) {
            if (m_Options.m_KeepBoundaries) {
                m_Kind[h] = Kept;
                m_Flags[m_Corner[h]] |= Fixed;
                m_Flags[Target(h)] |= Fixed;
            } else {
                m_Kind[h] = Pending;
            }
        } else if (features && h < t && crease[h] != 0 && creaseStays(h, t)) {
            m_Kind[h] = m_Kind[t] = Pending;
        }
    }
    // Rounded rims (see RimReach): each candidate edge's turn (the cosine
    // of its sides' normals; 2 for none), written for both halves.
    std::vector<double> rimCos(features ? halfEdges : 0, 2.0);
    if (features) {
        const double rimReach2 = RimReach * m_TargetLength * RimReach * m_TargetLength;
        const double cosRimTurn = std::cos(RimTurn * Pi / 180.0);
        const double cosRimEdge = std::cos(RimEdgeTurn * Pi / 180.0);
        const double cosRimOwn = std::cos(RimOwnTurn * Pi / 180.0);
        bool anyRim = false;
        // Whether the faces near h that face either way (split across d)
        // are each nearly flat. Bounded: CreaseScaleSupportFaces faces.
        const auto sidesFlat = [&](std::uint32_t h, const Vec& d) {
            const Vec &a = place(m_Corner[h]), &b = place(Target(h));
            Vec sum[2] = {Vec(0, 0, 0), Vec(0, 0, 0)};
            double area[2] = {0, 0};
            ++stamp;
            queue.assign(1, h / 3);
            visited[h / 3] = stamp;
            for (std::size_t i = 0; i < queue.size(); ++i) {
                const std::uint32_t g = queue[i];
                const int k = weighted[g] % d > 0 ? 0 : 1;
                sum[k] += weighted[g];
                area[k] += std::sqrt(Squared(weighted[g]));
                if (queue.size() >= CreaseScaleSupportFaces)
                    continue;
                for (std::uint32_t e = 3 * g; e < 3 * g + 3; ++e) {
                    const std::uint32_t u = m_Twin[e];
                    if (u == None || visited[u / 3] == stamp || frozenFace[u / 3])
                        continue;
                    visited[u / 3] = stamp;
                    const std::uint32_t f = u / 3;
                    const Vec &p = place(m_Corner[3 * f]), &q = place(m_Corner[3 * f + 1]),
                              &r = place(m_Corner[3 * f + 2]);
                    if (Squared(p - ClosestOnSegment(p, a, b)) <= scaleReach2 ||
                        Squared(q - ClosestOnSegment(q, a, b)) <= scaleReach2 ||
                        Squared(r - ClosestOnSegment(r, a, b)) <= scaleReach2)
                        queue.push_back(f);
                }
            }
            for (int k = 0; k < 2; ++k)
                if (!(area[k] > 0) || !(Squared(sum[k]) >= RimSideFlatness * RimSideFlatness * area[k] * area[k]))
                    return false;
            return true;
        };
        // The normals of the faces within `within2` of h on either side.
        const auto rimSides = [&](std::uint32_t h, double within2, Vec& one, Vec& other) {
            const std::uint32_t t = m_Twin[h];
            const Vec &a = place(m_Corner[h]), &b = place(Target(h));
            Vec across = (normal[h / 3] + normal[t / 3]) * (b - a);
            if (!(Squared(across) > 0))
                return false;
            if ((place(m_Corner[Prev(h)]) - a) % across < 0)
                across = -across;
            bool mixed = false;
            one = sideNormal(h, across, within2, CreaseSupportFaces, mixed);
            other = sideNormal(t, -across, within2, CreaseSupportFaces, mixed);
            return true;
        };
        for (std::uint32_t h = 0; h < halfEdges; ++h) {
            const std::uint32_t t = m_Twin[h];
            if (t == None || t < h || (m_Kind[h] != None && m_Kind[h] != Pending) || frozenFace[h / 3] ||
                frozenFace[t / 3] || turnedOver[h / 3] || turnedOver[t / 3] || fin[h / 3] || fin[t / 3])
                continue;
            const Vec &n1 = normal[h / 3], &n2 = normal[t / 3];
            if (!(Squared(n1) > 0) || !(Squared(n2) > 0) || !(n1 % n2 < cosRimEdge) || !(n1 % n2 >= cosRimOwn))
                continue;
            Vec one, other;
            if (!rimSides(h, rimReach2, one, other))
                continue;
            const double c = one % other;
            // Of the rows of edges along the band, the rim's is the one
            // whose faces each lean to their own side: the others have both
            // faces leaning one way.
            if (!(c < cosRimTurn) || !(n1 % (one - other) > 0) || !(n2 % (other - one) > 0) ||
                !sidesFlat(h, one - other))
                continue;
            rimCos[h] = rimCos[t] = c;
            anyRim = true;
        }
        // Most inputs have no candidate, and stop here.
        if (anyRim) {
            // Where the band's middle row runs through vertices in pairs across
            // it (the rim passes between them), the rim edges make two paths of
            // two edges each between the same ends; only the one that turns
            // more stays, in vertex order, so that the line runs once.
            std::vector<std::vector<std::uint32_t>> rimEdges(vertexCount);
            for (std::uint32_t h = 0; h < halfEdges; ++h)
                if (rimCos[h] < 2.0)
                    rimEdges[m_Corner[h]].push_back(h);
            const auto other = [&](std::uint32_t v, std::uint32_t h) {
                return m_Corner[h] == v ? Target(h) : m_Corner[h];
            };
            const auto live = [&](std::uint32_t v, std::vector<std::uint32_t>& out) {
                out.clear();
                for (const std::uint32_t h : rimEdges[v])
                    if (rimCos[h] < 2.0)
                        out.push_back(h);
            };
            std::vector<std::uint32_t> mine, theirs, ends, thinned;
            for (std::uint32_t c = 0; c < vertexCount; ++c) {
                live(c, mine);
                if (mine.size() != 2)
                    continue;
                const std::uint32_t a = other(c, mine[0]), d = other(c, mine[1]);
                live(a, ends);
                for (const std::uint32_t h : ends) {
                    const std::uint32_t b = other(a, h);
                    if (b == c || b == d)
                        continue;
                    live(b, theirs);
                    if (theirs.size() != 2 || (other(b, theirs[0]) != d && other(b, theirs[1]) != d))
                        continue;
                    const double mineCos = rimCos[mine[0]] + rimCos[mine[1]];
                    const double theirCos = rimCos[theirs[0]] + rimCos[theirs[1]];
                    const bool dropMine = mineCos > theirCos || (mineCos == theirCos && c > b);
                    for (const std::uint32_t e : dropMine ? mine : theirs) {
                        rimCos[e] = rimCos[m_Twin[e]] = 2.0;
                        thinned.push_back(e);
                    }
                    break;
                }
            }
            // A rim goes round a sheet's edge: only a closed loop of them, each
            // vertex on two, stays. One that ends (the rounded leading edge of a
            // blade between its end caps) ran into faces far coarser than its
            // own target, and left slivers of a degree or two where it ended.
            std::vector<std::uint32_t> loop;
            std::vector<char> reached(vertexCount, 0);
            for (std::uint32_t s = 0; s < vertexCount; ++s) {
                live(s, mine);
                if (mine.empty() || reached[s])
                    continue;
                bool closed = true;
                loop.assign(1, s);
                reached[s] = 1;
                for (std::size_t i = 0; i < loop.size(); ++i) {
                    live(loop[i], mine);
                    closed = closed && mine.size() == 2;
                    for (const std::uint32_t h : mine) {
                        const std::uint32_t w = other(loop[i], h);
                        if (!reached[w]) {
                            reached[w] = 1;
                            loop.push_back(w);
                        }
                    }
                }
                if (closed)
                    continue;
                for (const std::uint32_t w : loop) {
                    live(w, mine);
                    for (const std::uint32_t h : mine)
                        rimCos[h] = rimCos[m_Twin[h]] = 2.0;
                }
            }
            // A crease among the rows thinned out beside a loop that stays (its
            // faces alone turn by the feature angle) goes: the loop is the rim.
            for (const std::uint32_t e : thinned) {
                live(m_Corner[e], mine);
                live(Target(e), theirs);
                if (!mine.empty() || !theirs.empty())
                    m_Kind[e] = m_Kind[m_Twin[e]] = None;
            }
            // Kept as a line alone, the rim's faces span it from side to side and
            // turn against each other by as much as the sides do over their width:
            // folded. Its target comes down to the width over which the sides turn
            // by RimFaceTurn degrees at most, searched from the reach down.
            const double cosFaceTurn = std::cos(RimFaceTurn * Pi / 180.0);
            m_RimGap.assign(halfEdges, 0.0);
            for (std::uint32_t h = 0; h < halfEdges; ++h) {
                const std::uint32_t t = m_Twin[h];
                if (!(rimCos[h] < 2.0) || t < h)
                    continue;
                m_Kind[h] = m_Kind[t] = Pending;
                double width = RimReach * m_TargetLength;
                for (int step = 0; step < RimGapSteps; ++step) {
                    width *= RimGapStep;
                    Vec one, other;
                    if (rimSides(h, width * width, one, other) && one % other >= cosFaceTurn)
                        break;
                }
                m_RimGap[h] = m_RimGap[t] = width;
            }
        }
    }
    if (features)
        DropLinesAtNeedleTips();

    // Each vertex on constraint edges: two edges that continue each other
    // make it slide; one edge (a line's end), three or more (a junction) or
    // a sharp turn make it a corner. Lines are the constraint edges joined
    // through sliding vertices, found with a union-find over the edges' first
    // half-edges; the root names the line. Feature lines that are too short
    // are dropped (see MinFeatureLength), which may join or shorten others,
    // so this repeats until nothing changes.
    std::vector<std::uint8_t> count(vertexCount, 0);
    std::vector<std::uint8_t> slides(vertexCount, 0);
    std::vector<std::uint32_t> first(vertexCount, None), second(vertexCount, None);
    std::vector<std::uint32_t> parent(halfEdges);
    std::vector<double> length(halfEdges, 0.0);
    // Per vertex: the edges of lines long enough to stay; per line (its
    // root): its ends at such vertices, 3 once any end lies elsewhere.
    std::vector<std::uint32_t> longEdges(vertexCount, 0);
    std::vector<std::uint8_t> bridgeEnds(halfEdges, 0);
    std::vector<std::uint8_t> solidEnds(halfEdges, 0);
    std::vector<std::uint8_t> looseEnds(halfEdges, 0);
    std::vector<float> sideExcess(halfEdges, 0.0f);
    std::vector<float> scaleExcess(halfEdges, 0.0f);
    // Solid edges (see SolidEdge) are judged on the input's own positions:
    // the smoothing of a noisy kept boundary above can turn the faces at a
    // corner of the rim steeply against each other, an edge of no solid.
    const double cornerAngle = features ? m_Options.m_FeatureAngle : DefaultCornerAngle;
    const double cosCorner = std::cos(cornerAngle * Pi / 180.0);
    const double shortest = MinFeatureLength * m_TargetLength;
    const double shortestLoop = MinLoopLength * m_TargetLength;
    const auto find = [&](std::uint32_t x) { return FindRoot(parent, x); };
    const auto canonical = [&](std::uint32_t h) { return m_Twin[h] != None && m_Twin[h] < h ? m_Twin[h] : h; };
    // Bounded: at most 64 rounds, each linear in the half-edges.
    for (int round = 0; round < 64; ++round) {
        std::fill(count.begin(), count.end(), 0);
        for (std::uint32_t h = 0; h < halfEdges; ++h) {
            if (m_Kind[h] != Pending || canonical(h) != h)
                continue;
            for (const std::uint32_t v : {m_Corner[h], Target(h)}) {
                if (count[v] == 0)
                    first[v] = h;
                else if (count[v] == 1)
                    second[v] = h;
                if (count[v] < 3)
                    ++count[v];
            }
        }
        std::iota(parent.begin(), parent.end(), 0u);
        for (std::uint32_t v = 0; v < vertexCount; ++v) {
            slides[v] = 0;
            if (count[v] != 2 || (m_Flags[v] & (Deleted | Fixed)))
                continue;
            const std::uint32_t x = m_Corner[first[v]] == v ? Target(first[v]) : m_Corner[first[v]];
            const std::uint32_t y = m_Corner[second[v]] == v ? Target(second[v]) : m_Corner[second[v]];
            const Vec in = m_Position[v] - m_Position[x], out = m_Position[y] - m_Position[v];
            const double lengths = std::sqrt(Squared(in) * Squared(out));
            if (!(lengths > 0 && in % out >= cosCorner * lengths))
                continue;
            slides[v] = 1;
            const std::uint32_t a = find(first[v]), b = find(second[v]);
            if (a != b)
                parent[std::max(a, b)] = std::min(a, b);
        }
        if (!features)
            break;
        // Open lines count as infinitely long: boundaries are never dropped.
        std::fill(length.begin(), length.end(), 0.0);
        for (std::uint32_t h = 0; h < halfEdges; ++h) {
            if (m_Kind[h] != Pending || canonical(h) != h)
                continue;
            length[find(h)] += m_Twin[h] == None ? std::numeric_limits<double>::infinity() : std::sqrt(EdgeLength2(h));
        }
        // A short line between two vertices where longer lines pass or meet
        // (the edge of a thin wedge between its two sides) is no noise: it
        // closes the outline those lines draw, and without it the corners it
        // joins keep fans that no edit can even out. Each end must carry at
        // least two edges of lines that stay, so that a cluster of short
        // lines, which noise makes, still goes.
        std::fill(longEdges.begin(), longEdges.end(), 0);
        for (std::uint32_t h = 0; h < halfEdges; ++h)
            if (m_Kind[h] == Pending && canonical(h) == h && !(length[find(h)] < shortest)) {
                ++longEdges[m_Corner[h]];
                ++longEdges[Target(h)];
            }
        // The edges of a low-polygon solid (see SolidEdgeAngle) are counted
        // alongside: per short line, how many of its ends carry another
        // line's edge, 3 once an end is loose or an edge turns too little.
        std::fill(bridgeEnds.begin(), bridgeEnds.end(), 0);
        std::fill(solidEnds.begin(), solidEnds.end(), 0);
        for (std::uint32_t h = 0; h < halfEdges; ++h) {
            if (m_Kind[h] != Pending || canonical(h) != h)
                continue;
            const std::uint32_t root = find(h);
            if (!(length[root] < shortest))
                continue;
            if (!SolidEdge(h))
                solidEnds[root] = 3;
            for (const std::uint32_t v : {m_Corner[h], Target(h)})
                if (!slides[v]) {
                    bridgeEnds[root] = bridgeEnds[root] < 2 && longEdges[v] >= 2 ? bridgeEnds[root] + 1 : 3;
                    solidEnds[root] = solidEnds[root] < 2 && count[v] >= 2 ? solidEnds[root] + 1 : 3;
                }
        }
        // Per line (see RoughSideTurn): its ends loose in the open surface,
        // 3 once an end is not; and by how much the faces beside it turn
        // across their other edges that are no line's, beyond the limit,
        // summed over those edges.
        std::fill(looseEnds.begin(), looseEnds.end(), 0);
        std::fill(sideExcess.begin(), sideExcess.end(), 0.0f);
        const double roughTurn = RoughSideTurn * Pi / 180.0;
        for (std::uint32_t h = 0; h < halfEdges; ++h) {
            if (m_Kind[h] != Pending || canonical(h) != h || m_Twin[h] == None)
                continue;
            const std::uint32_t root = find(h);
            for (const std::uint32_t v : {m_Corner[h], Target(h)})
                if (!slides[v]) {
                    const bool loose = count[v] == 1 && !(m_Flags[v] & (Fixed | NonManifold)) && !IsOpen(v);
                    looseEnds[root] = looseEnds[root] < 2 && loose ? looseEnds[root] + 1 : 3;
                }
            eachSideTurn(
                h, m_Twin[h], [&](std::uint32_t e) { return m_Kind[e] == Pending; },
                [&](double turn) { sideExcess[root] += static_cast<float>(turn - roughTurn); });
        }
        // The rough lines' turn at the target's scale beyond its limit,
        // summed over their edges (bounded: CreaseScaleSupportFaces faces a
        // side an edge).
        std::fill(scaleExcess.begin(), scaleExcess.end(), 0.0f);
        const double roughScale = RoughScaleTurn * Pi / 180.0;
        for (std::uint32_t h = 0; h < halfEdges; ++h) {
            if (m_Kind[h] != Pending || canonical(h) != h || m_Twin[h] == None)
                continue;
            const std::uint32_t root = find(h), t = m_Twin[h];
            if (looseEnds[root] != 2 || !(sideExcess[root] > 0))
                continue;
            const Vec &a = place(m_Corner[h]), &b = place(Target(h));
            Vec across = (normal[h / 3] + normal[t / 3]) * (b - a);
            if (!(Squared(across) > 0)) {
                scaleExcess[root] -= static_cast<float>(roughScale);
                continue;
            }
            if ((place(m_Corner[Prev(h)]) - a) % across < 0)
                across = -across;
            bool mixed = false;
            const Vec wide = sideNormal(h, across, scaleReach2, CreaseScaleSupportFaces, mixed);
            const double c = wide % sideNormal(t, -across, scaleReach2, CreaseScaleSupportFaces, mixed);
            scaleExcess[root] += static_cast<float>(std::acos(std::clamp(c, -1.0, 1.0)) - roughScale);
        }
        // A closed line that turns nowhere sharply (no end at all: the rim of
        // a hole narrower than the target) keeps the hole open down to a
        // shorter length: dropped, the tunnel behind it closes and its walls
        // lie far from the result. One whose faces turn like a solid's along
        // all of it (the base of a cone, the cap of a pin) stays at any
        // length: dropped, nothing held the base, and a sharp cone at a
        // coarse target shrank into a small tetrahedron at its tip.
        const auto stays = [&](std::uint32_t root) {
            if (looseEnds[root] == 2 && sideExcess[root] > 0 && scaleExcess[root] >= 0)
                return false;
            return !(length[root] < shortest) || bridgeEnds[root] == 2 || solidEnds[root] == 2 ||
                   (bridgeEnds[root] == 0 && (solidEnds[root] == 0 || !(length[root] < shortestLoop)));
        };
        bool dropped = false;
        for (std::uint32_t h = 0; h < halfEdges; ++h)
            if (m_Kind[h] == Pending && !stays(find(canonical(h)))) {
                m_Kind[h] = None;
                dropped = true;
            }
        if (!dropped)
            break;
    }
    if (features)
        MarkHairpins(count, slides, first, second, parent);
    for (std::uint32_t v = 0; v < vertexCount; ++v)
        if (count[v] != 0 && !(m_Flags[v] & (Deleted | Fixed)))
            m_Flags[v] |= slides[v] ? Sliding : Fixed | Corner;
    for (std::uint32_t h = 0; h < halfEdges; ++h)
        if (m_Kind[h] == Pending)
            m_Kind[h] = find(canonical(h));
    for (std::uint32_t v = 0; v < vertexCount; ++v)
        if (m_Flags[v] & Sliding)
            m_Line[v] = m_Kind[first[v]];

    // The tip of a cone has no sharp edge to find, only faces that close
    // far short of a full turn around it; relaxation would cut it off. A tip
    // counts when its faces lean more than the feature angle away from the
    // plane across it: a cone of half-angle a closes after 2 pi sin(a).
    if (features) {
        const double limit = 2 * Pi * (1 - std::cos(m_Options.m_FeatureAngle * Pi / 180.0));
        // Each vertex is judged on its own fan and flags, and marks only
        // itself. Its angle sum is kept: the blunt tips' patches read the
        // sums of free closed vertices only, all of which are measured here
        // (the marks add flags, never take them), and nothing moves between.
        const std::int64_t vertices = static_cast<std::int64_t>(vertexCount);
        std::vector<double> angleSum(vertexCount, 0.0);
#pragma omp parallel for schedule(dynamic, 4096) if (vertices >= ParallelVertices)
        for (std::int64_t i = 0; i < vertices; ++i) {
            const std::uint32_t v = static_cast<std::uint32_t>(i);
            if ((m_Flags[v] & (Deleted | Fixed | Sliding | NonManifold)) || m_Out[v] == None || IsOpen(v))
                continue;
            angleSum[v] = AngleSum(v);
            if (std::fabs(2 * Pi - angleSum[v]) > limit)
                m_Flags[v] |= Fixed | Corner;
        }
        MarkBluntTips(limit, angleSum);
    }
    for (const std::uint32_t v : m_FanVertices)
        m_Flags[v] = static_cast<std::uint8_t>((m_Flags[v] & ~Sliding) | Fixed | Corner);

    // A crease dropped as too short for the target (the edge of a gear's
    // tooth, which turns by less than SolidEdgeAngle, or the root between
    // two teeth) is resolved where corners lower the target around it:
    // split there, its free midpoints would relax off it and cut the tooth's
    // edge off. It stays, a line of its own edge (the id its half-edge gives
    // it, which no line's root can be: roots are edges that stayed), and its
    // ends are corners.
    BuildSizing();
    m_RimGap.clear();
    m_RoughCreaseLines.clear();
    if (!m_SizeCells.empty() && features) {
        for (std::uint32_t h = 0; h < halfEdges; ++h) {
            const std::uint32_t t = m_Twin[h];
            if (crease[h] == 0 || m_Kind[h] != None || t == None || t < h)
                continue;
            const std::uint32_t a = m_Corner[h], b = Target(h);
            if (((m_Flags[a] | m_Flags[b]) & (Deleted | NonManifold)) ||
                !(SizeAt((m_Position[a] + m_Position[b]) * 0.5) < m_TargetLength))
                continue;
            m_Kind[h] = m_Kind[t] = h;
            // How much its faces turn against their other neighbours across
            // edges that crease nowhere (see RoughSideTurn); in half-edge
            // order, so the list stays ascending.
            double sideTurn = 0;
            int sides = 0;
            eachSideTurn(
                h, t, [&](std::uint32_t e) { return e == h || e == t || crease[e] != 0; },
                [&](double turn) {
                    sideTurn += turn;
                    ++sides;
                });
            if (!SolidEdge(h) && sides > 0 && sideTurn >= sides * RoughSideTurn * Pi / 180.0)
                m_RoughCreaseLines.push_back(h);
            for (const std::uint32_t v : {a, b})
                m_Flags[v] = static_cast<std::uint8_t>((m_Flags[v] & ~Sliding) | Fixed | Corner);
        }
        // The kept creases set no local target of their own: on a jittered
        // lat-long sphere at a fine target, each round of them made corners
        // whose edges lowered the target around more creases, and the
        // remesh ran more than twenty times longer.
    }

    BuildReference(frozenFace, first, turnedOver);
}

// The end of a limb thinner than the target (a tail, an ear) is no cone:
// its rounding spreads the turn of a tip over the handful of vertices within
// a fraction of a target of it, none of which closes short enough to count
// (a quadruped's tail 0.45 targets across ends in eight vertices whose angle
// sums run from 277 to 332 degrees). At the target's scale it is a tip all
// the same, and nothing held it: every collapse there took its end vertex
// onto a neighbour further in and every relaxation moved the next one
// inwards, two targets off the tail's length after five iterations. Where
// the angle deficits of the free vertices within BluntTipReach targets of a
// vertex sum to more than a cone's limit and at most a full turn, and no
// patch within a target of it sums to more, the patch's vertex that reaches
// farthest out along its mean normal is kept as a tip. A smooth surface
// gathers that much turn only over a patch of radius 0.8 times its own
// curvature radius: a limb or a bump under 1.3 targets across. Left alone:
// noise (a jittered or scanned surface turns both ways by turns and sums to
// little); a spike (one vertex that closes short on its own, a cone's tip
// already); a patch that meets a line or a fixed vertex (a machined part,
// held by its lines); a fixed vertex within a target (a tip kept already: a
// second corner on the side of a decimated ear below its cone tip folded
// the faces between them); a part that lies whole within a target (debris,
// which the collapses take down whole); and a patch whose turn lies along a
// curve rather than around a point (see BluntTipRoundness).
void CEngine::MarkBluntTips(double limit, const std::vector<double>& angleSum) {
    const std::uint32_t vertexCount = static_cast<std::uint32_t>(m_Position.size());
    const double reach2 = BluntTipReach * m_TargetLength * BluntTipReach * m_TargetLength;
    const double cornerLimit = BluntCornerTurn * Pi / 180.0;
    const double cornerSpread2 = BluntCornerSpread * m_TargetLength * BluntCornerSpread * m_TargetLength;
    // The vertices within reach of v along edges, v first; escaped tells
    // whether an edge leads out of reach. Strict: false where the patch
    // meets a vertex that is constrained, open or non-manifold. Either way
    // false where it grows past BluntTipPatch.
    const auto gather = [&](std::uint32_t v, std::vector<std::uint32_t>& patch, double within2, bool strict,
                            bool& escaped) {
        patch.assign(1, v);
        escaped = false;
        if (strict && (m_Flags[v] || m_Out[v] == None || IsOpen(v)))
            return false;
        const Vec& at = m_Position[v];
        bool usable = true;
        for (std::size_t k = 0; k < patch.size() && usable; ++k)
            ForEachNeighbour(patch[k], [&](std::uint32_t w, std::uint32_t) {
                if (!usable || std::find(patch.begin(), patch.end(), w) != patch.end())
                    return;
                if (!(Squared(m_Position[w] - at) <= within2)) {
                    escaped = true;
                    return;
                }
                const bool constrained =
                    (m_Flags[w] & (Deleted | Fixed | Sliding | NonManifold)) || m_Out[w] == None || IsOpen(w);
                if ((strict && constrained) || patch.size() >= BluntTipPatch) {
                    usable = false;
                    return;
                }
                patch.push_back(w);
            });
        return usable && patch.size() >= 2;
    };
    // Read only for vertices a strict patch holds: free and closed.
    const auto deficitAt = [&](std::uint32_t w) { return 2 * Pi - angleSum[w]; };
    std::vector<double> deficit(vertexCount, -1.0);
    std::vector<std::uint32_t> tip(vertexCount, None);
    // Each vertex reads flags and positions only and writes its own entries
    // (the second loop reads the deficits the first one finished).
    const std::int64_t vertices = static_cast<std::int64_t>(vertexCount);
#pragma omp parallel if (vertices >= ParallelVertices)
    {
        std::vector<std::uint32_t> patch;
        bool escaped = false;
#pragma omp for schedule(dynamic, 4096)
        for (std::int64_t i = 0; i < vertices; ++i) {
            const std::uint32_t v = static_cast<std::uint32_t>(i);
            if (!gather(v, patch, reach2, true, escaped))
                continue;
            double sum = 0;
            for (const std::uint32_t w : patch)
                sum += deficitAt(w);
            deficit[v] = sum;
        }
#pragma omp for schedule(dynamic, 4096)
        for (std::int64_t i = 0; i < vertices; ++i) {
            const std::uint32_t v = static_cast<std::uint32_t>(i);
            if (!(deficit[v] > std::min(limit, cornerLimit) && deficit[v] <= 2 * Pi))
                continue;
            if (gather(v, patch, 4 * reach2, false, escaped) && !escaped)
                continue;
            bool most = true;
            for (const std::uint32_t w : patch)
                most =
                    most && !(m_Flags[w] & Fixed) && (deficit[w] < deficit[v] || (deficit[w] == deficit[v] && w >= v));
            if (!most)
                continue;
            gather(v, patch, reach2, true, escaped);
            Vec normal(0, 0, 0);
            for (const std::uint32_t w : patch)
                ForEachOutgoing(w, [&](std::uint32_t e) {
                    normal += (m_Position[Target(e)] - m_Position[w]) * (m_Position[m_Corner[Prev(e)]] - m_Position[w]);
                });
            std::uint32_t farthest = v;
            for (const std::uint32_t w : patch)
                if (m_Position[w] % normal > m_Position[farthest] % normal)
                    farthest = w;
            // The deficit-weighted spread of the patch across the normal, as
            // the smaller over the larger eigenvalue of its 2x2 covariance.
            normal.Normalise();
            Vec across = std::fabs(normal.x) < 0.6 ? Vec(1, 0, 0) : Vec(0, 1, 0);
            across = across - normal * (across % normal);
            across.Normalise();
            const Vec other = normal * across;
            double weight = 0, su = 0, sw = 0, suu = 0, suw = 0, sww = 0;
            for (const std::uint32_t w : patch) {
                const double d = std::max(0.0, deficitAt(w));
                const Vec p = m_Position[w] - m_Position[v];
                const double a = p % across, b = p % other;
                weight += d;
                su += d * a;
                sw += d * b;
                suu += d * a * a;
                suw += d * a * b;
                sww += d * b * b;
            }
            su /= weight;
            sw /= weight;
            const double cuu = suu / weight - su * su, cww = sww / weight - sw * sw, cuw = suw / weight - su * sw;
            const double mid = 0.5 * (cuu + cww), half = std::sqrt(0.25 * (cuu - cww) * (cuu - cww) + cuw * cuw);
            if ((mid - half) >= BluntTipRoundness * (mid + half) && (deficit[v] > limit || mid + half <= cornerSpread2))
                tip[v] = farthest;
        }
    }
    for (std::uint32_t v = 0; v < vertexCount; ++v)
        if (tip[v] != None)
            m_Flags[tip[v]] |= Fixed | Corner;
}

// The tip of a needle (a spike of a scan, a pointed pin) closes after less
// than half a turn. Each pair of its creases cuts a face from the tip that is
// as thin as the angle between them, 15 degrees on a spike of five faces, and
// every triangulation that keeps the creases keeps such a wedge; the faces
// one ring below the tip, where the split creases run a tenth of a target
// apart, are thinner still. Without them the tip is fixed as a cone's (see
// below), and its fan keeps four faces (see Needle), which share its angle
// sum; the sides between the creases stay within a fraction of the needle's
// width. A smooth cone's tip (no creases) is left to the ordinary edits:
// held at four faces as well, the robustness tests' cone of half-angle 18
// degrees fell from 24 to 22 degrees at its tip.
void CEngine::DropLinesAtNeedleTips() {
    const std::uint32_t vertexCount = static_cast<std::uint32_t>(m_Position.size());
    for (std::uint32_t v = 0; v < vertexCount; ++v) {
        if ((m_Flags[v] & (Deleted | Fixed | NonManifold)) || m_Out[v] == None || IsOpen(v))
            continue;
        bool onLine = false;
        ForEachOutgoing(v, [&](std::uint32_t e) { onLine |= m_Kind[e] == Pending; });
        if (!onLine || !(AngleSum(v) < NeedleTipTurn * 2 * Pi))
            continue;
        ForEachOutgoing(v, [&](std::uint32_t e) {
            if (m_Kind[e] == Pending)
                m_Kind[e] = m_Kind[m_Twin[e]] = None;
        });
        m_Flags[v] |= Needle;
        m_HasNeedles = true;
    }
}

void CEngine::MarkHairpins(std::vector<std::uint8_t>& count, std::vector<std::uint8_t>& slides,
                           std::vector<std::uint32_t>& first, std::vector<std::uint32_t>& second,
                           std::vector<std::uint32_t>& parent) {
    const std::uint32_t vertexCount = static_cast<std::uint32_t>(m_Position.size());
    const double reach = HairpinReach * m_TargetLength;
    const auto across = [&](std::uint32_t v, std::uint32_t e) { return m_Corner[e] == v ? Target(e) : m_Corner[e]; };
    // The direction of the line where a walk from v along edge e first gets
    // `reach` away along it, or at the line's end, whichever comes first; in
    // the direction of the walk. Bounded: HairpinSteps edges.
    const auto heading = [&](std::uint32_t v, std::uint32_t e) {
        Vec direction;
        double walked = 0;
        for (int step = 0; step < HairpinSteps; ++step) {
            const std::uint32_t x = across(v, e);
            direction = m_Position[x] - m_Position[v];
            walked += std::sqrt(Squared(direction));
            if (walked >= reach || !slides[x] || count[x] != 2)
                break;
            e = first[x] == e ? second[x] : first[x];
            v = x;
        }
        direction.Normalise();
        return direction;
    };
    // Which sliding vertices of feature lines lie on a hairpin bend, and how
    // sharply the line bends at each (its turn over the length of its two
    // edges).
    const double cosHairpin = std::cos(HairpinTurn * Pi / 180.0);
    std::vector<double> bend(vertexCount, -1.0);
    for (std::uint32_t v = 0; v < vertexCount; ++v) {
        if (!slides[v] || count[v] != 2 || m_Twin[first[v]] == None || m_Twin[second[v]] == None)
            continue;
        if (!(heading(v, first[v]) % heading(v, second[v]) > -cosHairpin))
            continue;
        const Vec in = m_Position[v] - m_Position[across(v, first[v])];
        const Vec out = m_Position[across(v, second[v])] - m_Position[v];
        const double lengths = std::sqrt(Squared(in)) + std::sqrt(Squared(out));
        bend[v] = std::atan2(std::sqrt(Squared(in * out)), in % out) / lengths;
    }
    // Of the vertices along one bend the one that bends most becomes its
    // corner (the lower index where two bend alike). A closed line without
    // corners shorter than MinLoopLength targets (the rim of a cone's base
    // at a coarse target, which stays as a solid's edge) has no nose: it
    // bends all round, patchily as the reach spans its edges, and the
    // corners picked along it merged, the rim pinned unevenly. Bounded:
    // HairpinSteps vertices each way.
    const double shortestLoop = MinLoopLength * m_TargetLength;
    const auto onShortLoop = [&](std::uint32_t v) {
        std::uint32_t x = v, e = first[v];
        double length = 0;
        for (int step = 0; step < HairpinSteps; ++step) {
            const std::uint32_t y = across(x, e);
            length += std::sqrt(Squared(m_Position[y] - m_Position[x]));
            if (y == v)
                return length < shortestLoop;
            if (!slides[y] || count[y] != 2)
                return false;
            e = first[y] == e ? second[y] : first[y];
            x = y;
        }
        return false;
    };
    std::vector<std::uint32_t> apexes;
    for (std::uint32_t v = 0; v < vertexCount; ++v) {
        if (!(bend[v] >= 0) || onShortLoop(v))
            continue;
        bool best = true;
        for (const std::uint32_t start : {first[v], second[v]}) {
            std::uint32_t x = v, e = start;
            for (int step = 0; step < HairpinSteps && best; ++step) {
                x = across(x, e);
                if (x == v || !(bend[x] >= 0))
                    break;
                best = bend[v] > bend[x] || (bend[v] == bend[x] && v < x);
                e = first[x] == e ? second[x] : first[x];
            }
        }
        if (best)
            apexes.push_back(v);
    }
    for (const std::uint32_t v : apexes)
        slides[v] = 0;
    // An edge of the input between two such corners (the nose of a blade
    // thinner than the target, from one cap's outline to the other's) is
    // the part's edge at the target's resolution: without it the nose
    // between the corners has no vertex, and the faces that span it cut the
    // nose off.
    for (const std::uint32_t v : apexes) {
        if (m_Flags[v] & NonManifold)
            continue;
        ForEachOutgoing(v, [&](std::uint32_t e) {
            const std::uint32_t w = Target(e), t = m_Twin[e];
            if (t != None && m_Kind[e] == None && !slides[w] && bend[w] >= 0 && !(m_Flags[w] & NonManifold))
                m_Kind[e] = m_Kind[t] = Pending;
        });
    }
    // Longer chains between two corners (see NoseChainAngle). Bounded: per
    // corner one walk of at most HairpinSteps edges, each step a walk around
    // one fan.
    const auto apex = [&](std::uint32_t v) { return bend[v] >= 0 && !slides[v] && !(m_Flags[v] & NonManifold); };
    const auto chainFree = [&](std::uint32_t v) {
        return count[v] == 0 && !(m_Flags[v] & (Deleted | Fixed | Sliding | NonManifold)) && m_Out[v] != None &&
               !IsOpen(v);
    };
    const auto faceNormal = [&](std::uint32_t f) {
        Vec n = FaceNormal(f);
        n.Normalise();
        return n;
    };
    const double cosChain = std::cos(NoseChainAngle * Pi / 180.0);
    const double cosChainTurn = std::cos(NoseChainTurn * Pi / 180.0);
    const auto canonical = [&](std::uint32_t h) { return m_Twin[h] != None && m_Twin[h] < h ? m_Twin[h] : h; };
    const auto rootOf = [&](std::uint32_t h) {
        h = canonical(h);
        while (parent[h] != h)
            h = parent[h];
        return h;
    };
    std::vector<std::uint32_t> chain;
    std::uint32_t line = None;
    // A sliding vertex of a line other than the corner's own (the nose's
    // vertex on the other cap's outline where that outline makes no
    // hairpin at this target) ends a chain too, and becomes a corner.
    const auto onOtherLine = [&](std::uint32_t y) {
        return count[y] == 2 && slides[y] && !(m_Flags[y] & NonManifold) && line != None && rootOf(first[y]) != line;
    };
    for (const std::uint32_t v : apexes) {
        // A corner that ends a nose already (its edge above, or a chain
        // from the other end) starts none: a second chain would run beside
        // the first.
        int edges = 0;
        ForEachNeighbour(v, [&](std::uint32_t, std::uint32_t e) { edges += m_Kind[e] == Pending; });
        if ((m_Flags[v] & NonManifold) || edges > 2)
            continue;
        line = count[v] >= 1 ? rootOf(first[v]) : None;
        chain.clear();
        std::uint32_t x = v, end = None;
        for (int step = 0; step < HairpinSteps && end == None; ++step) {
            const std::uint32_t from = chain.empty() ? None : m_Corner[chain.back()];
            const Vec heading = from == None ? Vec() : m_Position[x] - m_Position[from];
            const double heading2 = Squared(heading);
            // Of the candidates the one furthest out along x's normal: the
            // ridge of the nose, not a vertex beside it.
            Vec outwards;
            ForEachOutgoing(x, [&](std::uint32_t e) { outwards += faceNormal(e / 3); });
            std::uint32_t next = None;
            double furthest = -std::numeric_limits<double>::infinity();
            ForEachOutgoing(x, [&](std::uint32_t e) {
                const std::uint32_t y = Target(e);
                if (m_Twin[e] == None || m_Kind[e] != None || y == from ||
                    (!chainFree(y) && !(apex(y) && y != v) && !(from != None && onOtherLine(y))))
                    return;
                const Vec ahead = m_Position[y] - m_Position[x];
                if (from != None && !(heading % ahead >= cosChain * std::sqrt(heading2 * Squared(ahead))))
                    return;
                const bool corner = apex(y);
                if (!corner && !(faceNormal(e / 3) % faceNormal(m_Twin[e] / 3) < cosChainTurn))
                    return;
                // Another corner ends the chain before any line's vertex
                // beside it does.
                const double out = corner ? std::numeric_limits<double>::max() : ahead % outwards;
                if (out > furthest)
                    furthest = out, next = e;
            });
            if (next == None)
                break;
            chain.push_back(next);
            x = Target(next);
            if (apex(x) || onOtherLine(x))
                end = x;
        }
        if (end == None || chain.size() < 2)
            continue;
        const Vec straight = m_Position[end] - m_Position[v];
        bool straightEnough = true;
        for (const std::uint32_t e : chain) {
            const Vec ahead = m_Position[Target(e)] - m_Position[m_Corner[e]];
            straightEnough =
                straightEnough && straight % ahead >= cosChain * std::sqrt(Squared(straight) * Squared(ahead));
        }
        if (!straightEnough)
            continue;
        std::uint32_t root = None;
        for (const std::uint32_t e : chain)
            root = std::min(root, canonical(e));
        if (!apex(end)) {
            slides[end] = 0;
            count[end] = 3;
        }
        m_HasNoseChains = true;
        for (std::size_t k = 0; k < chain.size(); ++k) {
            const std::uint32_t e = chain[k];
            m_Kind[e] = m_Kind[m_Twin[e]] = Pending;
            parent[canonical(e)] = root;
            if (k + 1 < chain.size()) {
                const std::uint32_t w = Target(e);
                count[w] = 2;
                first[w] = canonical(e);
                second[w] = canonical(chain[k + 1]);
                slides[w] = 1;
            }
        }
    }
}

void CEngine::MeasureBoundaryNoise(std::vector<Vec>& smoothed) {
    const std::uint32_t vertexCount = static_cast<std::uint32_t>(m_Position.size());
    smoothed.clear();
    // The distance of each open boundary vertex from the chord of its two
    // neighbours along the boundary; -1 where v is no such vertex. (Measured
    // before the constraints are classified: every open edge that is not
    // locked becomes a kept one.)
    std::vector<double> bend(vertexCount, -1.0);
    // The same offset in a frame of the face on the open edge leaving v:
    // across the chord within the face's plane, and along its normal.
    std::vector<std::array<double, 2>> offset(vertexCount, {0.0, 0.0});
    const auto onBoundary = [&](std::uint32_t v) {
        return !(m_Flags[v] & (Deleted | NonManifold)) && m_Out[v] != None && IsOpen(v) && m_Kind[m_Out[v]] != Locked;
    };
    for (std::uint32_t v = 0; v < vertexCount; ++v) {
        if (!onBoundary(v))
            continue;
        std::uint32_t before = None, after = None;
        BoundaryNeighbours(v, before, after);
        if (before == after)
            continue;
        const Vec &p = m_Position[v], &u = m_Position[before], &w = m_Position[after];
        const Vec off = p - ClosestOnSegment(p, u, w);
        bend[v] = std::sqrt(Squared(off));
        const std::uint32_t h = m_Out[v];
        Vec normal = (m_Position[Target(h)] - p) * (m_Position[m_Corner[Prev(h)]] - p);
        Vec across = normal * (w - u);
        if (Squared(normal) > 0 && Squared(across) > 0) {
            normal.Normalise();
            across.Normalise();
            offset[v] = {off % across, off % normal};
        }
    }
    // Bounded: 2 RoughnessReach + 1 steps along the boundary per vertex.
    // A noisy vertex's smoothed place is the mean of the same window.
    std::vector<double> window, uneven;
    std::vector<std::array<double, 2>> side;
    for (std::uint32_t v = 0; v < vertexCount; ++v) {
        if (!(bend[v] >= 0))
            continue;
        window.assign(1, bend[v]);
        side.assign(1, offset[v]);
        Vec sum = m_Position[v];
        for (const int direction : {0, 1}) {
            std::uint32_t x = v;
            for (int step = 0; step < RoughnessReach; ++step) {
                std::uint32_t before = None, after = None;
                BoundaryNeighbours(x, before, after);
                x = direction == 0 ? before : after;
                if (x == v || !(bend[x] >= 0))
                    break;
                window.push_back(bend[x]);
                side.push_back(offset[x]);
                sum += m_Position[x];
            }
        }
        std::nth_element(window.begin(), window.begin() + window.size() / 2, window.end());
        if (window[window.size() / 2] > CoarseBoundaryFactor * m_TargetLength)
            continue;
        // Noise zig-zags, in and out by turns. A rim that turns evenly (a
        // round hole's polygon, the end of a tube) is offset from its chords
        // alike at every vertex, in the frame of its faces: that is its
        // shape, and smoothed, the thin faces beside it stood up into lines.
        const double median = window[window.size() / 2];
        std::array<double, 2> mean = {0.0, 0.0};
        for (const auto& d : side) {
            mean[0] += d[0];
            mean[1] += d[1];
        }
        uneven.clear();
        for (const auto& d : side)
            uneven.push_back(std::hypot(d[0] - mean[0] / double(side.size()), d[1] - mean[1] / double(side.size())));
        std::nth_element(uneven.begin(), uneven.begin() + uneven.size() / 2, uneven.end());
        if (uneven[uneven.size() / 2] < EvenTurnShare * median)
            continue;
        m_Roughness[v] = std::min(m_MaxRoughness, RoughnessAllowance * window[window.size() / 2]);
        if (m_Roughness[v] > m_KeptDeviation) {
            if (smoothed.empty())
                smoothed = m_Position;
            // Within the noise band only: the mean of a window whose spacing
            // is uneven (a fine fillet's rim beside a flange's one long
            // edge) lies far from the boundary, and the thin faces along
            // the flange, turned over there, drew lines beside the rim.
            Vec move = sum / double(window.size()) - m_Position[v];
            const double length = std::sqrt(Squared(move));
            if (length > m_Roughness[v])
                move *= m_Roughness[v] / length;
            smoothed[v] = m_Position[v] + move;
        }
    }
}

bool CEngine::IsThinEar(std::uint32_t v) const {
    if (m_Valence[v] != 2 || m_Out[v] == None || !(m_Roughness[v] > m_KeptDeviation))
        return false;
    const std::uint32_t base = Next(m_Out[v]), inner = m_Twin[base];
    if (inner == None || !(EdgeLength2(base) < EarBaseFactor * EarBaseFactor * m_TargetLength * m_TargetLength))
        return false;
    const std::uint32_t f = inner - inner % 3;
    return SmallestAngle(m_Position[m_Corner[f]], m_Position[m_Corner[f + 1]], m_Position[m_Corner[f + 2]]) <
           EarInnerAngle * Pi / 180.0;
}

bool CEngine::LeansOnFixedEar(std::uint32_t v, std::uint32_t before, std::uint32_t after) const {
    if (!(m_Roughness[v] > m_KeptDeviation))
        return false;
    for (const std::uint32_t tip : {before, after}) {
        if (m_Valence[tip] != 2 || m_Out[tip] == None || !(m_Flags[tip] & Fixed) || (m_Flags[tip] & NonManifold))
            continue;
        const std::uint32_t f = m_Out[tip] - m_Out[tip] % 3;
        std::uint32_t at = 0;
        while (at < 3 && m_Corner[f + at] != v)
            ++at;
        if (at == 3)
            continue;
        // v is the obtuse corner where the side facing it is the longest.
        const Vec &p = m_Position[v], &q = m_Position[m_Corner[f + (at + 1) % 3]],
                  &r = m_Position[m_Corner[f + (at + 2) % 3]];
        if (SmallestAngle(p, q, r) < EarInnerAngle * Pi / 180.0 &&
            Squared(q - r) >= std::max(Squared(p - q), Squared(p - r)))
            return true;
    }
    return false;
}

bool CEngine::CanLeaveKeptBoundary(std::uint32_t v, std::uint32_t& before, std::uint32_t& after, bool thinFace) const {
    if ((m_Flags[v] & (Deleted | Sliding | NonManifold)) || !IsOpen(v))
        return false;
    // The fan runs from the open edge leaving v to the one arriving; every
    // edge between is free, or v holds a lock or a feature line.
    bool free = m_Kind[m_Out[v]] == Kept;
    std::uint32_t last = None;
    ForEachOutgoing(v, [&](std::uint32_t e) {
        if (e != m_Out[v] && m_Kind[e] != None)
            free = false;
        last = e;
    });
    const std::uint32_t incoming = Prev(last);
    if (!free || m_Kind[incoming] != Kept)
        return false;
    after = Target(m_Out[v]);
    before = m_Corner[incoming];
    if (before == after)
        return false;
    const Vec &p = m_Position[v], &u = m_Position[before], &w = m_Position[after];
    // On a noisy boundary the allowance grows to the noise (a clean one has
    // none, and keeps the plain limits).
    const bool noisy = m_Roughness[v] > m_KeptDeviation;
    const double roughness =
        noisy && thinFace ? std::min(m_MaxRoughness, ThinFaceRoughnessFactor * m_Roughness[v]) : m_Roughness[v];
    // The tip of an ear (v's one face, its other two sides open) on a base
    // much shorter than the target: the ear is a sliver whatever is done
    // around it, and so is the face inward from its base, whose two long
    // sides no vertex nearer than a target can split. Such a peninsula one
    // face wide (the ragged rim of a scan) goes, corner or not, as far as
    // EarTipReachFactor.
    const bool ear = IsThinEar(v);
    // A corner whose edge to a neighbour along the rim is tiny (see
    // TinyEdgeFactor) turns by its angle within that edge's length only:
    // removed, the rim moves by less, and the face on that edge, whose far
    // corner no vertex can come near, goes with it.
    const bool tiny = std::min(Squared(p - u), Squared(p - w)) < TinyEdgeFactor * TinyEdgeFactor * m_CollapseLength2;
    // The same reach holds for the obtuse corner of a fixed ear's one face
    // (a fan copy where an island touches the rim, a corner on a spike):
    // the ear cannot go, and while that corner stays, the face is a sliver
    // whatever is done around it.
    const bool leans = !ear && !tiny && LeansOnFixedEar(v, before, after);
    if ((m_Flags[v] & Corner) && !ear && !tiny && !leans)
        return false;
    // A bend nearer to a bend the same way along the rim than corners merge
    // is one bend with it at the target's resolution: the face on the edge
    // between them is a sliver whatever is done around it (the blunt tip of
    // a leaf, a rim edge a tenth of a target long between two bends of 37
    // degrees, kept faces of 7.6 degrees at both ends). Removed, the rim
    // moves by less than that edge's length, which bounds the reach. Each
    // must turn by half a corner's angle: a staircase's step whose sides are
    // fanned into short edges is a bend beside straight vertices, and cut
    // off it moved the rim six times as far as before. Bends the other way
    // are a jog of the rim's noise, which the roughness already allows for.
    const double shortest2 = std::min(Squared(p - u), Squared(p - w));
    double merged = 0;
    if (shortest2 < CornerMergeFactor * CornerMergeFactor * m_TargetLength * m_TargetLength) {
        const bool toBefore = Squared(p - u) < Squared(p - w);
        const std::uint32_t shortEdge = toBefore ? incoming : m_Out[v];
        const Vec normal = FaceNormal(shortEdge / 3);
        const double cosHalf = std::sqrt(0.5 * (1 + m_CosCorner));
        // Signed by the sense of x's turn along the rim about the short
        // edge's face normal; 0 where x turns by less than half a corner.
        const auto turn = [&](std::uint32_t x) {
            if (!IsOpen(x) || (m_Flags[x] & NonManifold))
                return 0.0;
            std::uint32_t from, to;
            BoundaryNeighbours(x, from, to);
            const Vec in = m_Position[x] - m_Position[from], out = m_Position[to] - m_Position[x];
            if (!(in % out < cosHalf * std::sqrt(Squared(in) * Squared(out))))
                return 0.0;
            return (in * out) % normal;
        };
        const double own = turn(v), across = turn(toBefore ? before : after);
        if ((own > 0 && across > 0) || (own < 0 && across < 0))
            merged = std::sqrt(shortest2);
    }
    const double limit =
        std::max({m_KeptDeviation, roughness, merged, ear || leans ? EarTipReachFactor * m_TargetLength : 0.0});
    const double limit2 = limit * limit;
    // A corner of the boundary stays, unless v turns only within the noise.
    const Vec in = p - u, out = w - p;
    if (!ear && !tiny && !leans && !(in % out > m_CosCorner * std::sqrt(Squared(in) * Squared(out))) &&
        !(noisy && Squared(p - ClosestOnSegment(p, u, w)) <= limit2))
        return false;
    // The straightened boundary must stay close to the input's: the new edge
    // u-w near v and near every vertex removed along the two edges before
    // (the distance to a segment is convex along each input edge, so the
    // vertices bound the whole polyline).
    if (Carried(before).size() + Carried(v).size() + 1 > MaxCarriedVertices)
        return false;
    const auto near = [&](const Vec& q) { return Squared(q - ClosestOnSegment(q, u, w)) <= limit2; };
    if (!near(p))
        return false;
    for (const std::uint32_t owner : {before, v})
        for (const Vec& q : Carried(owner))
            if (!near(q))
                return false;
    return true;
}

void CLineChain::Measure() {
    m_Arc.assign(m_Chain.size(), 0.0);
    for (std::size_t k = 1; k < m_Chain.size(); ++k)
        m_Arc[k] = m_Arc[k - 1] + std::sqrt(Squared(m_Chain[k] - m_Chain[k - 1]));
}

double CLineChain::Along(const Vec& p) const {
    double best = std::numeric_limits<double>::infinity(), at = 0;
    for (std::size_t k = 0; k + 1 < m_Chain.size(); ++k) {
        const Vec q = ClosestOnSegment(p, m_Chain[k], m_Chain[k + 1]);
        const double d = Squared(q - p);
        if (d < best) {
            best = d;
            at = m_Arc[k] + std::sqrt(Squared(q - m_Chain[k]));
        }
    }
    return at;
}

double CEngine::RodRimSpan(const CRodRim& rim, const Vec& before, const Vec& via, const Vec& q,
                           const Vec& after) const {
    const double total = rim.m_Arc.back();
    const double b = rim.Along(before), v = rim.Along(via), at = rim.Along(q), a = rim.Along(after);
    // Forwards from x to y round the rim.
    const auto ahead = [&](double x, double y) { return y >= x ? y - x : y - x + total; };
    // The way round from before through via to after, forwards or back.
    const bool forwards = ahead(b, v) + ahead(v, a) <= total * (1 + 1e-9);
    const double first = forwards ? ahead(b, at) : ahead(at, b), second = forwards ? ahead(at, a) : ahead(a, at);
    return std::max(first, second) / total;
}

// A rim is told from a cone's base by what lies across it: the faces on one
// side, taken across every edge that is no line, reach only that rim and
// hold no vertex of their own (a cap fanned from a rim vertex, or ear-cut,
// whose faces the rim's vertices alone span), and those on the other side
// reach exactly one other closed line without corners (a tube). A cone's
// base reaches none on either side; a cap fanned from its centre keeps that
// vertex, whose faces hold the cap whatever the rim keeps.
void CEngine::FindRodRims() {
    m_RodRims.clear();
    const std::uint32_t halfEdges = static_cast<std::uint32_t>(m_Corner.size());
    std::vector<std::pair<std::uint32_t, std::uint32_t>> edges;
    for (std::uint32_t h = 0; h < halfEdges; ++h)
        if (m_Corner[h] != None && IsLine(m_Kind[h]) && m_Twin[h] != None && m_Twin[h] > h)
            edges.emplace_back(m_Kind[h], h);
    if (edges.size() < 6)
        return;
    std::sort(edges.begin(), edges.end());
    // The closed lines without corners, by line, each one loop: its first
    // edge's place in `edges`.
    constexpr std::size_t MostPieces = 1024;
    std::vector<std::pair<std::uint32_t, std::size_t>> closed;
    std::vector<std::uint32_t> ends;
    for (std::size_t i = 0; i < edges.size();) {
        std::size_t j = i;
        while (j < edges.size() && edges[j].first == edges[i].first)
            ++j;
        const std::uint32_t line = edges[i].first;
        bool loop = j - i >= 3 && j - i <= MostPieces;
        ends.clear();
        for (std::size_t k = i; loop && k < j; ++k)
            for (const std::uint32_t v : {m_Corner[edges[k].second], Target(edges[k].second)}) {
                const std::uint8_t flags = m_Flags[v];
                loop = loop && (flags & (Sliding | Corner | Fixed | Deleted | NonManifold)) == Sliding &&
                       m_Line[v] == line;
                ends.push_back(v);
            }
        std::sort(ends.begin(), ends.end());
        for (std::size_t k = 0; loop && k < ends.size(); k += 2)
            loop = ends[k] == ends[k + 1] && (k + 2 == ends.size() || ends[k + 1] != ends[k + 2]);
        if (loop)
            closed.emplace_back(line, i);
        i = j;
    }
    if (closed.size() < 2)
        return;
    const auto isClosed = [&](std::uint32_t line) {
        const auto at = std::lower_bound(closed.begin(), closed.end(), std::make_pair(line, std::size_t(0)));
        return at != closed.end() && at->first == line;
    };
    // The faces' regions, joined across every edge that is no line.
    const std::uint32_t faces = halfEdges / 3;
    std::vector<std::uint32_t> parent(faces);
    std::iota(parent.begin(), parent.end(), 0u);
    for (std::uint32_t h = 0; h < halfEdges; ++h) {
        const std::uint32_t t = m_Twin[h];
        if (m_Corner[h] == None || t == None || t < h || IsLine(m_Kind[h]))
            continue;
        const std::uint32_t x = FindRoot(parent, h / 3), y = FindRoot(parent, t / 3);
        if (x != y)
            parent[std::max(x, y)] = std::min(x, y);
    }
    // Per region: the first two lines on its border, whether it reaches
    // more, or is open, or holds a vertex on no line.
    constexpr std::uint32_t Spoiled = None - 1;
    std::vector<std::array<std::uint32_t, 2>> border(faces, {None, None});
    std::vector<char> inner(faces, 0);
    for (std::uint32_t h = 0; h < halfEdges; ++h) {
        if (m_Corner[h] == None)
            continue;
        const std::uint32_t r = FindRoot(parent, h / 3);
        if (!(m_Flags[m_Corner[h]] & Sliding))
            inner[r] = 1;
        const std::uint32_t kind = m_Kind[h];
        std::array<std::uint32_t, 2>& lines = border[r];
        if (m_Twin[h] == None || (IsLine(kind) && !isClosed(kind)))
            lines = {Spoiled, Spoiled};
        else if (IsLine(kind) && lines[0] != Spoiled && lines[0] != kind && lines[1] != kind) {
            if (lines[0] == None)
                lines[0] = kind;
            else if (lines[1] == None)
                lines[1] = kind;
            else
                lines = {Spoiled, Spoiled};
        }
    }
    std::vector<std::pair<std::uint32_t, std::uint32_t>> next;
    for (const auto& [line, first] : closed) {
        // Both sides of every edge of the line: the same two regions.
        std::uint32_t sides[2] = {None, None};
        bool two = true;
        std::size_t last = first;
        for (; last < edges.size() && edges[last].first == line; ++last) {
            const std::uint32_t h = edges[last].second;
            std::uint32_t x = FindRoot(parent, h / 3), y = FindRoot(parent, m_Twin[h] / 3);
            if (x > y)
                std::swap(x, y);
            if (sides[0] == None) {
                sides[0] = x;
                sides[1] = y;
            }
            two = two && x == sides[0] && y == sides[1] && x != y;
        }
        if (!two)
            continue;
        bool rim = false;
        for (int k = 0; k < 2 && !rim; ++k) {
            const std::uint32_t cap = sides[k], tube = sides[1 - k];
            const auto& capLines = border[cap];
            const auto& tubeLines = border[tube];
            if (inner[cap] || capLines[0] != line || capLines[1] != None || tubeLines[0] == Spoiled)
                continue;
            const std::uint32_t other = tubeLines[0] == line ? tubeLines[1] : tubeLines[0];
            rim = (tubeLines[0] == line || tubeLines[1] == line) && other != None && other != line;
        }
        if (!rim)
            continue;
        // The line in order, one loop round.
        next.clear();
        for (std::size_t k = first; k < last; ++k) {
            const std::uint32_t h = edges[k].second, a = m_Corner[h], b = Target(h);
            next.emplace_back(a, b);
            next.emplace_back(b, a);
        }
        std::sort(next.begin(), next.end());
        CRodRim r;
        r.m_Line = line;
        std::uint32_t from = None, at = next[0].first;
        // Bounded: one step per edge of the line. A line of two loops comes
        // back to its start early.
        bool once = true;
        for (std::size_t step = 0; step < last - first && once; ++step) {
            once = step == 0 || at != next[0].first;
            r.m_Chain.push_back(m_Position[at]);
            const auto it = std::lower_bound(next.begin(), next.end(), std::make_pair(at, 0u));
            const std::uint32_t to = it->second != from ? it->second : (it + 1)->second;
            from = at;
            at = to;
        }
        if (!once || at != next[0].first)
            continue;
        r.m_Chain.push_back(m_Position[at]);
        r.Measure();
        if (r.m_Arc.back() > 0)
            m_RodRims.push_back(std::move(r));
    }
}

}  // namespace Corvane::Pellix::Quorvel::detail::preserving
