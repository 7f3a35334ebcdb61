// Inputs as real files hold them beside the clean surfaces: separate fans
// that meet at one vertex, and tiny separate pieces far below the target
// beside a large body.
#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>
#include <vector>

#include "remeshing/RemeshChecks.h"

namespace {

using namespace QuorvelTest;
typedef TVector3<double> Point;

// Remeshes `mesh` to `target` on the given number of threads.
void RemeshOn(ShapeMesh& mesh, double target, int threads) {
    const int previous = omp_get_max_threads();
    omp_set_num_threads(threads);
    const bool done = mesh.RemeshPreservingShape(target);
    omp_set_num_threads(previous);
    EXPECT_TRUE(done);
}

void ExpectSame(const ShapeMesh& one, const ShapeMesh& two) {
    ASSERT_EQ(one.m_Vertices.GetCount(), two.m_Vertices.GetCount());
    ASSERT_EQ(one.m_Faces.GetCount(), two.m_Faces.GetCount());
    for (unsigned int v = 0; v < one.m_Vertices.GetCount(); ++v)
        ASSERT_EQ(Position(one, v), Position(two, v)) << "vertex " << v;
    for (unsigned int f = 0; f < one.m_Faces.GetCount(); ++f)
        for (int k = 0; k < 3; ++k)
            ASSERT_EQ(one.m_Faces[f].m_Corners[k], two.m_Faces[f].m_Corners[k]) << "face " << f;
}

// The tips stay one vertex at the origin, and each cone is remeshed as a cone
// alone would be. Held as a vertex no edit could touch, its two fans kept
// their input faces while the splits beside them left slivers of 3.3
// degrees and two folds. (At half the mean edge the upper cone, alone as
// well, folds once at its tip and once along its rim, where its faces meet
// the base at 117 degrees, close to what counts as a fold.)
TEST(RemeshPreservingShape, ConesTouchingAtTheirTipsKeepOneTipAndOpenTheirFaces) {
    ShapeMesh input;
    MakeConesTipToTip(input);
    for (const double relative : {1.0, 2.0}) {
        SCOPED_TRACE(testing::Message() << "relative " << relative);
        const double target = relative * MeanEdge(input);
        ShapeMesh mesh(input), two(input);
        RemeshOn(mesh, target, 1);
        RemeshOn(two, target, 2);
        unsigned int tips = 0, tipFaces = 0;
        for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v)
            if (Position(mesh, v).GetLength() < 1e-12) {
                ++tips;
                for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f)
                    for (int k = 0; k < 3; ++k)
                        tipFaces += mesh.m_Faces[f].m_Corners[k] == v;
            }
        EXPECT_EQ(tips, 1u);
        EXPECT_GE(tipFaces, 6u);
        EXPECT_EQ(FoldedEdges(mesh, -0.5), 0u);
        EXPECT_GT(SmallestAngleInDegrees(mesh), 28.0);
        EXPECT_LT(FarthestVertex(mesh, input), 0.1 * target);
        EXPECT_LT(FarthestVertex(input, mesh), 0.25 * target);
        ExpectSame(mesh, two);
    }
}

// Pieces that fit within a target stay as they are; coarsened, they ended as
// flattened tetrahedra, faces back to back (70 folded edges among 200 pieces
// beside a body of 5,120 faces), and the body around them stays clean.
TEST(RemeshPreservingShape, DebrisBesideABodyStaysAsItIsAndNothingFolds) {
    ShapeMesh input;
    MakeDebrisBesideBody(input);
    const unsigned int bodyFaces = 1280, debrisFaces = 20 * 20 + 20 * 4;
    ASSERT_EQ(input.m_Faces.GetCount(), bodyFaces + debrisFaces);
    for (const double relative : {1.0, 2.0}) {
        SCOPED_TRACE(testing::Message() << "relative " << relative);
        const double target = relative * MeanEdge(input);
        ShapeMesh mesh(input), two(input);
        RemeshOn(mesh, target, 1);
        RemeshOn(two, target, 2);
        EXPECT_EQ(FoldedEdges(mesh, -0.5), 0u);
        EXPECT_GT(SmallestAngleInDegrees(mesh), 28.0);
        EXPECT_LT(FarthestVertex(mesh, input), 0.1 * target);
        EXPECT_LT(FarthestVertex(input, mesh), 0.25 * target);
        // Every corner of every piece is still a vertex of the result.
        for (unsigned int v = input.m_Vertices.GetCount() - 20 * 12 - 20 * 4; v < input.m_Vertices.GetCount(); ++v) {
            double nearest = 1e300;
            for (unsigned int w = 0; w < mesh.m_Vertices.GetCount(); ++w)
                nearest = std::min(nearest, Position(mesh, w).DiffVectLen(Position(input, v)));
            ASSERT_LT(nearest, 1e-12) << "piece vertex " << v;
        }
        ExpectSame(mesh, two);
    }
}

// The edges of three faces where a sheet stands on a plate are locked, and
// were kept at the input's length: at half the mean edge the faces beside
// them, which no split could cut, held 26.5 degrees. Each such edge is now
// halved at one vertex shared by its three faces, which stays on the line.
TEST(RemeshPreservingShape, FinOnAPlateSplitsItsFootAtHalfTheMeanEdge) {
    ShapeMesh input;
    MakeFinOnPlate(input);
    const double target = 0.5 * MeanEdge(input);
    ShapeMesh mesh(input), two(input);
    RemeshOn(mesh, target, 1);
    RemeshOn(two, target, 2);
    // The mesh's own tables refuse an edge run twice the same way, as the
    // sheet's foot is in the input too: IsCleanResult does not apply.
    ShapeMesh copy(input);
    EXPECT_FALSE(IsCleanResult(copy, false));
    EXPECT_EQ(FoldedEdges(mesh, -0.5), 0u);
    EXPECT_GT(SmallestAngleInDegrees(mesh), 29.5);
    EXPECT_LT(FarthestVertex(mesh, input), 1e-9);
    EXPECT_LT(FarthestVertex(input, mesh), 1e-9);
    // The foot's 16 edges, each now two, still hold three faces each, and
    // every vertex of the foot's line lies on it.
    std::map<std::pair<unsigned int, unsigned int>, int> faces;
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f)
        for (int k = 0; k < 3; ++k) {
            const unsigned int a = mesh.m_Faces[f].m_Corners[k], b = mesh.m_Faces[f].m_Corners[(k + 1) % 3];
            ++faces[{std::min(a, b), std::max(a, b)}];
        }
    unsigned int threeFaced = 0;
    for (const auto& edge : faces)
        if (edge.second > 2) {
            ++threeFaced;
            for (const unsigned int v : {edge.first.first, edge.first.second}) {
                EXPECT_EQ(Position(mesh, v).y, 0.0);
                EXPECT_EQ(Position(mesh, v).z, 0.0);
            }
        }
    EXPECT_EQ(threeFaced, 32u);
    ExpectSame(mesh, two);
}

}  // namespace

// A tube sliced into rings a fiftieth of a target apart: its rims, regular
// polygons, were measured as noise (each vertex lies a fifth of a target off
// the chord of its neighbours), smoothed for the feature test, and the thin
// faces beside them, tilted there, drew lines one ring in: 1.67 degrees
// beside both rims. The rims stay the input's polygons.
TEST(RemeshPreservingShape, SlicedTubeRimsAreNoNoise) {
    ShapeMesh input;
    MakeSlicedTube(input);
    const double target = MeanEdge(input);
    ShapeMesh mesh(input), two(input);
    RemeshOn(mesh, target, 1);
    RemeshOn(two, target, 2);
    EXPECT_GT(SmallestAngleInDegrees(mesh), 30.0);
    EXPECT_EQ(FoldedEdges(mesh, -0.5), 0u);
    EXPECT_LT(FarthestVertex(mesh, input), 0.06 * target);
    EXPECT_LT(FarthestVertex(input, mesh), 0.18 * target);
    // Every open edge runs along a rim, its ends on the input's polygon.
    const auto rims = OpenEdges(input);
    for (const auto& edge : OpenEdges(mesh)) {
        EXPECT_EQ(edge.first.z, edge.second.z);
        double nearest = 1e300;
        for (const auto& side : rims)
            nearest = std::min(nearest, SegmentDistance(edge.first, side.first, side.second));
        EXPECT_LT(nearest, 1e-9);
    }
    ExpectSame(mesh, two);
}

// The sides of a regular octagon meet at exactly the default feature angle,
// as the faces of a 45-degree chamfer do; rounding put some of the prism's
// edges a hair under it, which were smoothed away (the tube came out 0.5 % of
// its diagonal off). All eight stay lines, and the result is the prism.
TEST(RemeshPreservingShape, BendsOfExactlyTheFeatureAngleAreKept) {
    ShapeMesh input;
    MakeSlicedTube(input, 8, 200, 4);
    const double target = MeanEdge(input);
    ShapeMesh mesh(input);
    RemeshOn(mesh, target, 2);
    EXPECT_GT(SmallestAngleInDegrees(mesh), 30.0);
    EXPECT_LT(FarthestVertex(mesh, input), 1e-9);
    EXPECT_LT(FarthestVertex(input, mesh), 1e-9);
}

// Two boxes sharing a side leave a wall inside whose four sides hold three
// faces each. Its faces have two such sides at its corners, and were never
// halved with the rest: the faces beside those long sides were cut towards
// them to the face budget (0.00 degrees, 2,980 folded edges at a target of
// 0.5). Halved, the faces at a vertex of the wall's outline could still not
// be flipped: fans of slivers stayed at its corners (8.6 degrees).
TEST(RemeshPreservingShape, BoxesSharingASideKeepTheirWallAndWideFaces) {
    for (const double target : {0.5, 0.35, 0.9}) {
        SCOPED_TRACE(target);
        ShapeMesh input;
        MakeBoxesSharingASide(input);
        ShapeMesh mesh(input), two(input);
        RemeshOn(mesh, target, 1);
        RemeshOn(two, target, 2);
        EXPECT_EQ(FoldedEdges(mesh, -0.5), 0u);
        // 29.12, 30.39 and 30.06 degrees.
        EXPECT_GT(SmallestAngleInDegrees(mesh), 28.5);
        EXPECT_LT(FarthestVertex(mesh, input), 1e-9);
        EXPECT_LT(FarthestVertex(input, mesh), 1e-9);
        // Every edge of three faces lies on the wall's outline, and the
        // outline is cut to the target.
        std::map<std::pair<unsigned int, unsigned int>, int> faces;
        for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f)
            for (int k = 0; k < 3; ++k) {
                const unsigned int a = mesh.m_Faces[f].m_Corners[k], b = mesh.m_Faces[f].m_Corners[(k + 1) % 3];
                ++faces[{std::min(a, b), std::max(a, b)}];
            }
        double outline = 0;
        for (const auto& edge : faces) {
            if (edge.second < 3)
                continue;
            const auto &p = Position(mesh, edge.first.first), &q = Position(mesh, edge.first.second);
            EXPECT_EQ(edge.second, 3);
            EXPECT_EQ(p.y, 0.0);
            EXPECT_EQ(q.y, 0.0);
            const bool side = (p.x == q.x && (p.x == 0.0 || p.x == 4.0)) || (p.z == q.z && (p.z == 0.0 || p.z == 2.5));
            EXPECT_TRUE(side);
            outline += p.DiffVectLen(q);
            EXPECT_LT(std::fabs(q.x - p.x) + std::fabs(q.z - p.z), 1.34 * target);
        }
        EXPECT_NEAR(outline, 13.0, 1e-9);
        ExpectSame(mesh, two);
    }
}

// Rims sampled far finer than the target thin out along themselves, each kept
// edge standing for the removed vertices it passes (checked against them all).
// With lists of at most 48 such vertices a rim 100 times finer than the
// target stayed about three times finer and pinned slivers beside it: a tube
// of 2,000 sides and 4 rings came out at 14.8 degrees, the blade strip at 0.3
// targets at 22.1.
TEST(RemeshPreservingShape, RimsFarFinerThanTheTargetThinOut) {
    ShapeMesh tube;
    MakeSlicedTube(tube, 2000, 4, 2);
    ShapeMesh blade;
    MakeBladeStrip(blade, 300, 2);
    for (const auto& [input, relative] : {std::pair<ShapeMesh*, double>{&tube, 1.0}, {&blade, 0.3}}) {
        const double target = relative * MeanEdge(*input);
        ShapeMesh mesh(*input);
        RemeshOn(mesh, target, 2);
        EXPECT_GT(SmallestAngleInDegrees(mesh), 30.0) << relative;
        EXPECT_EQ(FoldedEdges(mesh, -0.5), 0u) << relative;
        // Every open edge stays within a twentieth of a target of the rim.
        const auto rims = OpenEdges(*input);
        for (const auto& edge : OpenEdges(mesh)) {
            double nearest = 1e300;
            for (const auto& side : rims)
                nearest = std::min(nearest, SegmentDistance(edge.first, side.first, side.second));
            ASSERT_LT(nearest, 1e-9) << relative;
        }
    }
}

// A strap 0.56 and 0.38 targets wide kept the middle row of its input: a
// collapse of such a vertex into a rim joins the two rims by inner edges,
// which were refused as if they cut off an ear (25.6 degrees at 2 x the mean
// edge, 12.5 at 3 x). Where the vertex's ring is two stretches of the
// boundary parted by its own row, or the rims meeting round the strap's end,
// it merges into a rim, and one face spans the strap.
TEST(RemeshPreservingShape, StrapsNarrowerThanTheTargetKeepNoRowInside) {
    ShapeMesh input;
    MakeNarrowStrap(input);
    for (const double scale : {2.0, 3.0}) {
        const double target = scale * MeanEdge(input);
        ShapeMesh mesh(input), two(input);
        RemeshOn(mesh, target, 1);
        RemeshOn(two, target, 2);
        EXPECT_GT(SmallestAngleInDegrees(mesh), scale == 2.0 ? 40.0 : 24.0) << scale;
        EXPECT_EQ(FoldedEdges(mesh, -0.5), 0u);
        EXPECT_LT(FarthestVertex(mesh, input), 1e-9);
        EXPECT_LT(FarthestVertex(input, mesh), 1e-9);
        unsigned int inside = 0;
        for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v) {
            const double y = mesh.m_Vertices[v].m_Position.y;
            inside += std::fabs(y) > 1e-9 && std::fabs(y - 0.4) > 1e-9;
        }
        EXPECT_EQ(inside, 0u) << scale;
        ExpectSame(mesh, two);
    }
}

// Bent across its width, the strap's middle row lies off the plane of any
// face from rim to rim, by more than the kept deviation: it stays, so that
// the strap keeps its arc.
TEST(RemeshPreservingShape, BentStrapsKeepTheirArc) {
    ShapeMesh input;
    MakeNarrowStrap(input, 40, 2, 16, 0.4, 0.1);
    const double target = 2 * MeanEdge(input);
    ShapeMesh mesh(input), two(input);
    RemeshOn(mesh, target, 1);
    RemeshOn(two, target, 2);
    EXPECT_EQ(FoldedEdges(mesh, -0.5), 0u);
    EXPECT_LT(FarthestVertex(input, mesh), 0.02);
    ExpectSame(mesh, two);
}
