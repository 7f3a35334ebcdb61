// The shape-preserving remesh folds no surface that the input does not fold:
// no two faces of a smooth input's result turn against each other by more
// than 120 degrees, whatever the number of iterations (the edits, not only
// the last of them, must leave no fold behind, since stopping early returns
// what the iterations so far made).
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "remeshing/RemeshChecks.h"

namespace {

using namespace QuorvelTest;

// The creature's limbs end in tips sharper than the target resolves: three
// or four faces meet there, steep enough that a collapse or flip which
// leaves one of them leaning past its neighbours folds it.
TEST(RemeshPreservingShapeFolds, SharpLimbTipsStayUnfoldedAfterEveryIteration) {
    for (unsigned int iterations = 1; iterations <= 6; ++iterations) {
        SCOPED_TRACE(iterations);
        ShapeMesh mesh;
        MakeScannedCreature(mesh, 4);
        ASSERT_EQ(FoldedEdges(mesh, -0.5), 0u);
        CRemeshOptions options;
        options.m_Iterations = iterations;
        ASSERT_TRUE(mesh.RemeshPreservingShape(MeanEdge(mesh), options));
        EXPECT_TRUE(IsCleanResult(mesh, true));
        EXPECT_EQ(FoldedEdges(mesh, -0.5), 0u);
    }
}

struct CSmoothCase {
    std::string m_Name;
    std::function<void(ShapeMesh&)> m_Build;
    double m_Relative;
};

class SmoothStandIn : public ::testing::TestWithParam<CSmoothCase> { };

TEST_P(SmoothStandIn, LeavesNoFold) {
    ShapeMesh mesh;
    GetParam().m_Build(mesh);
    ASSERT_EQ(FoldedEdges(mesh, -0.5), 0u);
    ASSERT_TRUE(mesh.RemeshPreservingShape(GetParam().m_Relative * MeanEdge(mesh)));
    EXPECT_EQ(FoldedEdges(mesh, -0.5), 0u);
}

INSTANTIATE_TEST_SUITE_P(
    RemeshPreservingShape, SmoothStandIn,
    ::testing::Values(CSmoothCase{"scanned_creature_coarse", [](ShapeMesh& m) { MakeScannedCreature(m, 4); }, 2.0},
                      CSmoothCase{"scanned_creature_fine", [](ShapeMesh& m) { MakeScannedCreature(m, 3); }, 0.3},
                      CSmoothCase{"scanned_bone", [](ShapeMesh& m) { MakeScannedBone(m, 4); }, 1.0},
                      CSmoothCase{"limbed_figure", [](ShapeMesh& m) { MakeLimbedFigure(m, 48); }, 1.0},
                      CSmoothCase{"bumpy_sphere", [](ShapeMesh& m) { MakeBumpySphere(m, 4, 0.12, 0.01); }, 1.7}),
    [](const ::testing::TestParamInfo<CSmoothCase>& info) { return info.param.m_Name; });

}  // namespace
