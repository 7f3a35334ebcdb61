// Procedural stand-ins for the kinds of input on which remeshing once ran
// away: a CAD strip of long thin faces between two rims, a block pierced by a
// grid of holes, scanned organic surfaces remeshed finer than they came. Every
// run must end with a valid mesh whose size stays in proportion to the input
// and to its area in target-sized faces. Counts are asserted, never times.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <set>
#include <string>
#include <utility>
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
};

// Both fine pierced blocks made the exact method split without end (past
// gigabytes within a minute, where it now takes a tenth of a second) before
// its edits learnt to leave edges that are not edges of a manifold.
std::vector<CStandIn> StandIns() {
    const unsigned int levels = Sanitized ? 3 : 4;
    return {
        {"blade strip", [](ShapeMesh& m) { MakeBladeStrip(m, Sanitized ? 150 : 300, 2); }, 1.0, false},
        {"pierced block", [](ShapeMesh& m) { MakePiercedBlock(m, 3, 3, 16); }, 1.0, true},
        {"pierced block, fine", [](ShapeMesh& m) { MakePiercedBlock(m, 3, 3, 16); }, 0.25, true},
        {"pierced block, many sides", [](ShapeMesh& m) { MakePiercedBlock(m, 2, 2, 40); }, 0.25, true},
        {"scanned creature", [=](ShapeMesh& m) { MakeScannedCreature(m, levels); }, 0.5, true},
        {"scanned creature, fine", [](ShapeMesh& m) { MakeScannedCreature(m, 3); }, 0.25, true},
        {"scanned bone", [=](ShapeMesh& m) { MakeScannedBone(m, levels); }, 0.25, true},
    };
}

double Area(const ShapeMesh& mesh) {
    double area = 0;
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f)
        area += 0.5 * AreaNormal(mesh, f).GetLength();
    return area;
}

// Twice the input's faces plus the faces of equilateral triangles of the
// target size that cover its area: no valid run comes near it (the stand-ins
// end below one times that), a runaway passes it at once.
double FaceBound(const ShapeMesh& input, double target) {
    return 2.0 * (input.m_Faces.GetCount() + Area(input) / (std::sqrt(3.0) / 4.0 * target * target));
}

// The result of the designed Remesh: every face names vertices that exist,
// every vertex a face names has a finite position. (Faces naming a vertex
// twice and doubled edges are what its flips and collapses are designed to
// leave; callers drop them.)
::testing::AssertionResult IsUsableResult(const ShapeMesh& mesh) {
    const unsigned int vertexCount = mesh.m_Vertices.GetCount();
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f)
        for (int k = 0; k < 3; ++k) {
            const unsigned int v = mesh.m_Faces[f].m_Corners[k];
            if (v >= vertexCount)
                return ::testing::AssertionFailure() << "face " << f << " indexes past the vertices";
            const TVector3<double> p = Position(mesh, v);
            if (!std::isfinite(p.x) || !std::isfinite(p.y) || !std::isfinite(p.z))
                return ::testing::AssertionFailure() << "vertex " << v << " of face " << f << " is not finite";
        }
    return ::testing::AssertionSuccess();
}

TEST(RemeshStandIns, ExactMethodEndsWithABoundedUsableMesh) {
    for (const CStandIn& standIn : StandIns()) {
        SCOPED_TRACE(standIn.m_Name);
        ShapeMesh input;
        standIn.m_Build(input);
        const double target = standIn.m_Relative * MeanEdge(input);
        ShapeMesh mesh(input);
        BuildConnectivity(mesh);
        mesh.Remesh(target);
        EXPECT_TRUE(IsUsableResult(mesh));
        EXPECT_GT(mesh.m_Faces.GetCount(), 0u);
        EXPECT_LT(mesh.m_Faces.GetCount(), FaceBound(input, target));
    }
}

TEST(RemeshStandIns, ShapePreservingMethodEndsWithABoundedCleanMesh) {
    for (const CStandIn& standIn : StandIns()) {
        SCOPED_TRACE(standIn.m_Name);
        ShapeMesh input;
        standIn.m_Build(input);
        const double target = standIn.m_Relative * MeanEdge(input);
        ShapeMesh mesh(input);
        ASSERT_TRUE(mesh.RemeshPreservingShape(target));
        EXPECT_TRUE(IsCleanResult(mesh, standIn.m_Closed));
        EXPECT_LT(mesh.m_Faces.GetCount(), FaceBound(input, target));
    }
}

// Rims sampled forty times finer than the target, which stay as they are:
// the free vertices between them may not swallow one another into one vertex
// joined to a whole rim, whose every later collapse attempt walks the whole
// fan (once one vertex of 14,000 neighbours, and time quadratic in the faces).
TEST(RemeshStandIns, CollapsesGatherNoHugeFanBetweenDenseRims) {
    ShapeMesh mesh;
    MakeBladeStrip(mesh, Sanitized ? 800 : 2000, 1);
    const double target = 1.0 * MeanEdge(mesh);
    ASSERT_TRUE(mesh.RemeshPreservingShape(target));
    EXPECT_TRUE(IsCleanResult(mesh, false));
    std::vector<std::set<unsigned int>> neighbours(mesh.m_Vertices.GetCount());
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f)
        for (int k = 0; k < 3; ++k) {
            const unsigned int a = mesh.m_Faces[f].m_Corners[k], b = mesh.m_Faces[f].m_Corners[(k + 1) % 3];
            neighbours[a].insert(b);
            neighbours[b].insert(a);
        }
    std::size_t largest = 0;
    for (const auto& around : neighbours)
        largest = std::max(largest, around.size());
    EXPECT_LE(largest, 72u);
}

}  // namespace
