// Shapes with known answers: the result must stay on the input surface, keep
// the volume, the sharp edges, the corners and the open boundary.
#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <utility>
#include <vector>

#include "remeshing/RemeshChecks.h"

namespace {

using namespace QuorvelTest;
typedef TVector3<double> Point;

bool IsExtreme(double value) {
    return value == 0.0 || value == 1.0;
}

TEST(RemeshPreservingShape, BoxKeepsItsTwelveEdgesAndEightCorners) {
    ShapeMesh mesh;
    MakeBox(mesh, 1, 1, 1);
    const double target = 0.2;
    ASSERT_TRUE(mesh.RemeshPreservingShape(target));

    EXPECT_TRUE(IsCleanResult(mesh, true));
    EXPECT_GT(mesh.m_Faces.GetCount(), 200u);
    // Projection onto a face of the box, or along one of its edges, leaves the
    // constant coordinates exact; so every vertex has one coordinate exactly
    // 0 or 1, vertices on a box edge two, and the corners three.
    std::set<Point> corners;
    for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v) {
        const Point p = Position(mesh, v);
        for (int k = 0; k < 3; ++k) {
            ASSERT_GE(p[k], 0.0);
            ASSERT_LE(p[k], 1.0);
        }
        const int extreme = IsExtreme(p.x) + IsExtreme(p.y) + IsExtreme(p.z);
        ASSERT_GE(extreme, 1) << "vertex " << v << " left the surface";
        if (extreme == 3)
            corners.insert(p);
    }
    EXPECT_EQ(corners.size(), 8u);
    // The mesh edges that run along box edges cover all twelve of them.
    double along = 0;
    for (const auto& edge : DirectedEdges(mesh)) {
        if (edge.first.first > edge.first.second)
            continue;
        const Point a = Position(mesh, edge.first.first), b = Position(mesh, edge.first.second);
        int shared = 0;
        for (int k = 0; k < 3; ++k)
            shared += IsExtreme(a[k]) && a[k] == b[k];
        if (shared >= 2)
            along += a.DiffVectLen(b);
        // Relaxation after the splits may stretch an edge a little past the
        // split limit, never far.
        EXPECT_LT(a.DiffVectLen(b), 1.5 * target);
    }
    EXPECT_NEAR(along, 12.0, 1e-9);
    EXPECT_NEAR(EnclosedVolume(mesh), 1.0, 1e-9);
    EXPECT_NEAR(mesh.GetSurfaceArea(), 6.0, 1e-9);
}

// Whether p lies on one of the open edges of a mesh (as segments).
bool OnBoundary(const std::set<std::pair<Point, Point>>& boundary, const Point& p) {
    for (const auto& edge : boundary)
        if (SegmentDistance(p, edge.first, edge.second) < 1e-12)
            return true;
    return false;
}

TEST(RemeshPreservingShape, OpenGridKeepsOrSlidesItsBoundary) {
    ShapeMesh input;
    MakeGrid(input, 8, 8, 1.0);
    const std::set<std::pair<Point, Point>> boundary = OpenEdges(input);
    ASSERT_EQ(boundary.size(), 32u);

    // Kept, with a target whose split limit the open edges do not exceed:
    // the open edges are exactly those of the input.
    ShapeMesh exact(input);
    ASSERT_TRUE(exact.RemeshPreservingShape(0.8));
    EXPECT_TRUE(IsCleanResult(exact, false));
    EXPECT_EQ(OpenEdges(exact), boundary);

    // Kept, with a finer target: the open edges are split, but every input
    // vertex of the boundary stays where it was and every new one lies on the
    // old boundary.
    ShapeMesh kept(input);
    ASSERT_TRUE(kept.RemeshPreservingShape(0.5));
    EXPECT_TRUE(IsCleanResult(kept, false));
    EXPECT_GT(kept.m_Faces.GetCount(), 3 * input.m_Faces.GetCount());
    const std::set<std::pair<Point, Point>> keptOpen = OpenEdges(kept);
    EXPECT_EQ(keptOpen.size(), 64u);
    std::set<Point> keptEnds;
    for (const auto& edge : keptOpen) {
        keptEnds.insert(edge.first);
        EXPECT_TRUE(OnBoundary(boundary, edge.first) && OnBoundary(boundary, edge.second));
    }
    for (const auto& edge : boundary)
        EXPECT_EQ(keptEnds.count(edge.first), 1u);

    // Sliding: the boundary is remeshed too, but stays on the square, keeps
    // its four corners and its length.
    ShapeMesh sliding(input);
    CRemeshOptions options;
    options.m_KeepBoundaries = false;
    ASSERT_TRUE(sliding.RemeshPreservingShape(0.5, options));
    EXPECT_TRUE(IsCleanResult(sliding, false));
    const std::set<std::pair<Point, Point>> open = OpenEdges(sliding);
    EXPECT_GT(open.size(), 50u);
    double length = 0;
    std::set<Point> corners;
    for (const auto& edge : open) {
        for (const Point& p : {edge.first, edge.second}) {
            EXPECT_TRUE(OnBoundary(boundary, p)) << "a boundary vertex left the square";
            if ((p.x == 0 || p.x == 8) && (p.y == 0 || p.y == 8))
                corners.insert(p);
        }
        length += edge.first.DiffVectLen(edge.second);
        EXPECT_LT(edge.first.DiffVectLen(edge.second), 1.5 * 0.5);
    }
    EXPECT_EQ(corners.size(), 4u);
    EXPECT_NEAR(length, 32.0, 1e-9);

    // All stay flat, inside the square and of the same area.
    for (ShapeMesh* mesh : {&exact, &kept, &sliding}) {
        for (unsigned int v = 0; v < mesh->m_Vertices.GetCount(); ++v)
            EXPECT_EQ(Position(*mesh, v).z, 0.0);
        double area = 0;
        for (unsigned int f = 0; f < mesh->m_Faces.GetCount(); ++f) {
            EXPECT_GT(AreaNormal(*mesh, f).z, 0.0) << "face " << f << " is turned over";
            area += AreaNormal(*mesh, f).z / 2;
        }
        EXPECT_NEAR(area, 64.0, 1e-9);
    }
}

}  // namespace
