// Procedural stand-ins for the kinds of input on which remeshing once ran
// away or folded: a CAD strip of long thin faces between two rims, a block
// pierced by a grid of holes, scanned organic surfaces remeshed finer and
// coarser than they came. Every run must end with a valid mesh whose size
// stays in proportion to the input and to its area in target-sized faces, and
// the shape-preserving remesh folds no smooth surface that the input does not
// fold. Counts are asserted, never times.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "remeshing/RemeshChecks.h"

namespace {

using namespace QuorvelTest;

// Sanitizer builds run the same cases on smaller meshes.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool Sanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool Sanitized = true;
#else
constexpr bool Sanitized = false;
#endif
#else
constexpr bool Sanitized = false;
#endif

struct CStandIn {
    std::string m_Name;
    std::function<void(ShapeMesh&)> m_Build;
    // The target as a multiple of the mean edge length.
    double m_Relative;
    bool m_Closed;
    // Run through the designed remesh too.
    bool m_Exact;
    // A smooth input, unfolded: no two faces of the result may turn against
    // each other by more than 120 degrees.
    bool m_Smooth;
};

// Both fine pierced blocks made the exact method split without end (past
// gigabytes within a minute, where it now takes a tenth of a second) before
// its edits learnt to leave edges that are not edges of a manifold.
std::vector<CStandIn> StandIns() {
    const unsigned int levels = Sanitized ? 3 : 4;
    return {
        {"blade strip", [](ShapeMesh& m) { MakeBladeStrip(m, Sanitized ? 150 : 300, 2); }, 1.0, false, true, false},
        {"pierced block", [](ShapeMesh& m) { MakePiercedBlock(m, 3, 3, 16); }, 1.0, true, true, false},
        {"pierced block, fine", [](ShapeMesh& m) { MakePiercedBlock(m, 3, 3, 16); }, 0.25, true, true, false},
        {"pierced block, many sides", [](ShapeMesh& m) { MakePiercedBlock(m, 2, 2, 40); }, 0.25, true, true, false},
        {"scanned creature", [=](ShapeMesh& m) { MakeScannedCreature(m, levels); }, 0.5, true, true, false},
        {"scanned creature, fine", [](ShapeMesh& m) { MakeScannedCreature(m, 3); }, 0.25, true, true, false},
        {"scanned bone", [=](ShapeMesh& m) { MakeScannedBone(m, levels); }, 0.25, true, true, false},
        {"scanned creature, coarsened", [](ShapeMesh& m) { MakeScannedCreature(m, 4); }, 2.0, true, false, true},
        {"scanned creature, refined", [](ShapeMesh& m) { MakeScannedCreature(m, 3); }, 0.3, true, false, true},
        {"scanned bone, as it came", [](ShapeMesh& m) { MakeScannedBone(m, 4); }, 1.0, true, false, true},
        {"bumpy sphere", [](ShapeMesh& m) { MakeBumpySphere(m, 4, 0.12, 0.01); }, 1.7, true, false, true},
    };
}

// Twice the input's faces plus the faces of equilateral triangles of the
// target size that cover its area: no valid run comes near it (the stand-ins
// end below one times that), a runaway passes it at once.
double FaceBound(const ShapeMesh& input, double target) {
    return 2.0 * (input.m_Faces.GetCount() + input.GetSurfaceArea() / (std::sqrt(3.0) / 4.0 * target * target));
}

// The result of the designed Remesh: every face names vertices that exist,
// every vertex a face names has a finite position. (Faces naming a vertex
// twice and doubled edges are what its flips and collapses are designed to
// leave; callers drop them.)
::testing::AssertionResult IsUsableResult(const ShapeMesh& mesh) {
    for (unsigned int i = 0; i < 3 * mesh.m_Faces.GetCount(); ++i) {
        const unsigned int v = mesh.m_Faces[i / 3].m_Corners[i % 3];
        if (v >= mesh.m_Vertices.GetCount() || !std::isfinite(Position(mesh, v).GetLength()))
            return ::testing::AssertionFailure() << "face " << i / 3 << " names a missing or non-finite vertex";
    }
    return ::testing::AssertionSuccess();
}

TEST(RemeshStandIns, BothMethodsEndWithBoundedValidMeshesAndSmoothOnesUnfolded) {
    for (const CStandIn& standIn : StandIns()) {
        SCOPED_TRACE(standIn.m_Name);
        ShapeMesh input;
        standIn.m_Build(input);
        const double target = standIn.m_Relative * MeanEdge(input);
        if (standIn.m_Exact) {
            ShapeMesh mesh(input);
            BuildConnectivity(mesh);
            mesh.Remesh(target);
            EXPECT_TRUE(IsUsableResult(mesh));
            EXPECT_GT(mesh.m_Faces.GetCount(), 0u);
            EXPECT_LT(mesh.m_Faces.GetCount(), FaceBound(input, target));
        }
        ShapeMesh mesh(input);
        ASSERT_TRUE(mesh.RemeshPreservingShape(target));
        EXPECT_TRUE(IsCleanResult(mesh, standIn.m_Closed));
        EXPECT_LT(mesh.m_Faces.GetCount(), FaceBound(input, target));
        if (standIn.m_Smooth) {
            ASSERT_EQ(FoldedEdges(input, -0.5), 0u);
            EXPECT_EQ(FoldedEdges(mesh, -0.5), 0u);
        }
    }
}

// The creature's limbs end in tips sharper than the target resolves: three
// or four faces meet there, steep enough that a collapse or flip which
// leaves one of them leaning past its neighbours folds it. Stopping early
// returns what the iterations so far made, so every one must leave no fold.
TEST(RemeshStandIns, SharpLimbTipsStayUnfoldedAfterEveryIteration) {
    for (unsigned int iterations = 1; iterations <= 6; ++iterations) {
        SCOPED_TRACE(iterations);
        ShapeMesh mesh;
        MakeScannedCreature(mesh, 4);
        CRemeshOptions options;
        options.m_Iterations = iterations;
        ASSERT_TRUE(mesh.RemeshPreservingShape(MeanEdge(mesh), options));
        EXPECT_TRUE(IsCleanResult(mesh, true));
        EXPECT_EQ(FoldedEdges(mesh, -0.5), 0u);
    }
}

// Rims sampled forty times finer than the target, which stay as they are:
// the free vertices between them may not swallow one another into one vertex
// joined to a whole rim, whose every later collapse attempt walks the whole
// fan (once one vertex of 14,000 neighbours, and time quadratic in the faces).
TEST(RemeshStandIns, CollapsesGatherNoHugeFanBetweenDenseRims) {
    ShapeMesh mesh;
    MakeBladeStrip(mesh, Sanitized ? 800 : 2000, 1);
    ASSERT_TRUE(mesh.RemeshPreservingShape(MeanEdge(mesh)));
    // Clean, so the kept neighbour lists equal a rebuild's.
    ASSERT_TRUE(IsCleanResult(mesh, false));
    unsigned int largest = 0;
    for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v)
        largest = std::max(largest, mesh.m_VertexConnectivity[v].GetCount());
    EXPECT_LE(largest, 72u);
}

}  // namespace
