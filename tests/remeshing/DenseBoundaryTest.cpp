// Open surfaces whose kept boundary is much finer than the target: a cylinder
// refined near one rim, a scan cut by a plane, a plate with round holes, and
// the first two again with rims that zig-zag by half a percent and a percent
// of their radius, as the cuts of noisy scans do. Kept boundary vertices that
// all stayed left a fan of slivers beside each (smallest angles under 5
// degrees on clean rims, 3 to 8 on noisy ones); vertices much closer than the
// target now merge along the boundary where it is nearly straight, or where
// it turns only within its own noise. The boundary must still follow the
// input's: every vertex on it is on the input's boundary, and the input's
// boundary stays close to the result's.
#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <functional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "remeshing/RemeshChecks.h"

namespace {

using namespace QuorvelTest;
typedef TVector3<double> Point;

double DistanceToPolyline(const Point& p, const std::set<std::pair<Point, Point>>& segments) {
    double nearest = 1e300;
    for (const auto& segment : segments)
        nearest = std::min(nearest, SegmentDistance(p, segment.first, segment.second));
    return nearest;
}

struct CDenseRim {
    std::string m_Name;
    std::function<void(ShapeMesh&)> m_Build;
    // What the remesh reaches today less a margin that catches a return of
    // the slivers, not noise.
    double m_MinAngle;
    // How far, in target lengths, the input's boundary vertices may lie from
    // the result's boundary: the plain limit (a twentieth) on a clean rim,
    // the noise on a noisy one.
    double m_Straightening;
};

class DenseBoundary : public ::testing::TestWithParam<CDenseRim> { };

TEST_P(DenseBoundary, LosesItsSliversButNotItsShape) {
    ShapeMesh mesh;
    GetParam().m_Build(mesh);
    const ShapeMesh input(mesh);
    const double target = MeanEdge(input);
    const std::set<std::pair<Point, Point>> before = OpenEdges(input);
    ASSERT_TRUE(mesh.RemeshPreservingShape(target));
    EXPECT_TRUE(IsCleanResult(mesh, false));
    EXPECT_EQ(FoldedEdges(mesh), 0u);
    EXPECT_GT(SmallestAngleInDegrees(mesh), GetParam().m_MinAngle);

    // Both ways, vertex to surface: the surfaces stay within a tenth of the
    // target (the bumps of the cut sphere take the most, about 0.08), but for
    // the noise a noisy rim loses.
    EXPECT_LT(FarthestVertex(mesh, input), 0.1 * target);
    EXPECT_LT(FarthestVertex(input, mesh), std::max(0.1, GetParam().m_Straightening) * target);

    // Vertices of the result's boundary are vertices of the input's, or on
    // its edges; the input's boundary vertices lie within the allowed
    // straightening of the result's boundary, and the boundary has thinned
    // out.
    const std::set<std::pair<Point, Point>> after = OpenEdges(mesh);
    for (const auto& segment : after)
        EXPECT_LT(DistanceToPolyline(segment.first, before), 1e-12);
    double straightened = 0;
    for (const auto& segment : before)
        straightened = std::max(straightened, DistanceToPolyline(segment.first, after));
    EXPECT_LE(straightened, GetParam().m_Straightening * target);
    EXPECT_LT(after.size(), before.size() / 2);
}

INSTANTIATE_TEST_SUITE_P(
    RemeshPreservingShape, DenseBoundary,
    ::testing::Values(CDenseRim{"cylinder_with_a_dense_rim", [](ShapeMesh& m) { MakeDenseRimCylinder(m); }, 26.0, 0.05},
                      CDenseRim{"sphere_cut_by_a_plane", [](ShapeMesh& m) { MakeCutSphere(m); }, 33.0, 0.05},
                      CDenseRim{"plate_with_dense_holes", [](ShapeMesh& m) { MakePlateWithDenseHoles(m); }, 27.0, 0.05},
                      CDenseRim{"cylinder_with_a_rim_noisy_by_half_a_percent",
                                [](ShapeMesh& m) { MakeDenseRimCylinder(m, 400, 40, 20, 0.005); }, 26.0, 0.1},
                      CDenseRim{"cylinder_with_a_rim_noisy_by_a_percent",
                                [](ShapeMesh& m) { MakeDenseRimCylinder(m, 400, 40, 20, 0.01); }, 28.5, 0.2},
                      CDenseRim{"sphere_cut_noisily_by_half_a_percent",
                                [](ShapeMesh& m) { MakeCutSphere(m, 400, 48, 16, 0.08, 0.005); }, 29.5, 0.1},
                      CDenseRim{"sphere_cut_noisily_by_a_percent",
                                [](ShapeMesh& m) { MakeCutSphere(m, 400, 48, 16, 0.08, 0.01); }, 33.5, 0.2}),
    [](const ::testing::TestParamInfo<CDenseRim>& info) { return info.param.m_Name; });

// A noisy rim, so that the measured noise takes part too.
TEST(RemeshPreservingShape, ThinnedBoundaryDoesNotDependOnTheThreadCount) {
    ShapeMesh one;
    MakeDenseRimCylinder(one, 2000, 200, 100, 0.005);
    ShapeMesh two(one);
    const double target = MeanSide(one);
    const int threads = omp_get_max_threads();
    omp_set_num_threads(1);
    one.RemeshPreservingShape(target);
    omp_set_num_threads(2);
    two.RemeshPreservingShape(target);
    omp_set_num_threads(threads);

    ASSERT_EQ(one.m_Vertices.GetCount(), two.m_Vertices.GetCount());
    ASSERT_EQ(one.m_Faces.GetCount(), two.m_Faces.GetCount());
    for (unsigned int v = 0; v < one.m_Vertices.GetCount(); ++v)
        ASSERT_TRUE(one.m_Vertices[v].m_Position == two.m_Vertices[v].m_Position) << "vertex " << v;
    for (unsigned int f = 0; f < one.m_Faces.GetCount(); ++f)
        ASSERT_TRUE(one.m_Faces[f] == two.m_Faces[f]) << "face " << f;
}

// At a third of the mean edge length the thin faces joining a zig-zagging
// rim to the coarse ring above it turn against each other by more than the
// feature angle wherever the rim steps in and out; taken for feature lines,
// those creases ran from the rim into the surface, long enough to be kept at
// this target, and pinned slivers beside them (11 degrees). The rim's noise
// makes no feature: the result's worst faces now sit on the rim itself.
TEST(RemeshPreservingShape, NoisyRimMakesNoFeatureLinesAtAFineTarget) {
    const std::pair<const char*, std::function<void(ShapeMesh&)>> rims[] = {
        {"cylinder", [](ShapeMesh& m) { MakeDenseRimCylinder(m, 400, 40, 20, 0.01); }},
        {"cut sphere", [](ShapeMesh& m) { MakeCutSphere(m, 400, 48, 16, 0.08, 0.01); }},
    };
    for (const auto& rim : rims) {
        SCOPED_TRACE(rim.first);
        ShapeMesh mesh;
        rim.second(mesh);
        const ShapeMesh input(mesh);
        const double target = 0.3 * MeanEdge(input);
        ASSERT_TRUE(mesh.RemeshPreservingShape(target));
        EXPECT_TRUE(IsCleanResult(mesh, false));
        EXPECT_EQ(FoldedEdges(mesh, -0.5), 0u);
        // The creases bent 38 edges of the cylinder past a right angle.
        EXPECT_LE(FoldedEdges(mesh), 2u);
        EXPECT_GT(SmallestAngleInDegrees(mesh), 21.0);
        EXPECT_LT(FarthestVertex(mesh, input), 0.1 * target);
        // The rim straightens within its noise (a quarter of the target at
        // most, where it lies beyond the plain limit).
        EXPECT_LT(FarthestVertex(input, mesh), 0.3 * target);
    }
}

}  // namespace

namespace {

// The cut's rim keeps edges of about half a target, and a free vertex a
// target above one of them, with wide faces all around it, left its face at
// 29 degrees (24 at a third of the mean edge length): the ring's centroid lies
// nearly where the vertex is. A step towards the rim edge it faces opens that
// face past 30 degrees without moving the rim.
TEST(RemeshPreservingShape, FacesOnANoisyCutOpenPastThirtyDegrees) {
    // The target as a multiple of the mean edge length, and how far the
    // input may lie from the result in targets: the rim straightens within
    // its noise, up to a quarter of the target.
    const std::pair<double, double> targets[] = {{1.0, 0.15}, {0.3, 0.3}};
    for (const auto& relative : targets) {
        SCOPED_TRACE(relative.first);
        ShapeMesh mesh;
        MakeCutSphere(mesh, 400, 48, 16, 0.08, 0.01);
        const ShapeMesh input(mesh);
        const double target = relative.first * MeanEdge(input);
        // The vertices on the input, as the fit of the faces would not leave
        // them.
        CRemeshOptions onInput;
        onInput.m_FitFaces = false;
        ASSERT_TRUE(mesh.RemeshPreservingShape(target, onInput));
        EXPECT_TRUE(IsCleanResult(mesh, false));
        EXPECT_EQ(FoldedEdges(mesh, -0.5), 0u);
        EXPECT_GT(SmallestAngleInDegrees(mesh), 29.5);
        // The moved vertex goes back onto the input.
        EXPECT_LT(FarthestVertex(mesh, input), 0.01 * target);
        EXPECT_LT(FarthestVertex(input, mesh), relative.second * target);
    }
}

}  // namespace
