// The face estimate that bounds the shape-preserving remesh's splits and the
// tool's limits, against closed forms.
#include <gtest/gtest.h>
#include <omp.h>

#include <cmath>
#include <limits>
#include <vector>

#include "AdjacencyChecks.h"
#include "quorvel/meshes/editing/RemeshEstimate.h"

namespace {

using namespace Corvane::Pellix::Quorvel;
typedef Corvane::Pellix::Sarvetta::TVector3<double> Point;

TEST(EstimateRemeshFaceCount, CountsAreaAndSidesOfAGrid) {
    // An n x m grid of squares of side h, two right triangles each.
    const unsigned int n = 6, m = 4;
    const double h = 0.5;
    TMesh<double, TVertexPN<double>, CA8, unsigned int> grid;
    QuorvelTest::MakeGrid(grid, n, m, h);
    std::vector<Point> positions;
    for (unsigned int v = 0; v < grid.m_Vertices.GetCount(); ++v)
        positions.push_back(grid.m_Vertices[v].m_Position);
    const std::vector<std::uint32_t> corners = QuorvelTest::AllCorners(grid);
    for (const double target : {h, 2 * h, 0.3 * h}) {
        const double area = n * m * h * h / (std::sqrt(3.0) / 4 * target * target);
        const double sides = 2.0 * n * m * (2 + std::sqrt(2.0)) * h / target;
        EXPECT_NEAR(EstimateRemeshFaceCount(positions.data(), corners.data(), 2 * n * m, target), area + sides,
                    1e-9 * (area + sides));
    }
}

TEST(EstimateRemeshFaceCount, SkipsTrianglesWithANonFiniteCornerAndCountsNothingForNone) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const std::vector<Point> positions = {Point(0, 0, 0), Point(1, 0, 0), Point(0, 1, 0), Point(nan, 0, 0)};
    const std::vector<std::uint32_t> corners = {0, 1, 2, 0, 3, 2};
    const double one = EstimateRemeshFaceCount(positions.data(), corners.data(), 1, 1.0);
    EXPECT_GT(one, 0);
    EXPECT_EQ(EstimateRemeshFaceCount(positions.data(), corners.data(), 2, 1.0), one);
    EXPECT_EQ(EstimateRemeshFaceCount(positions.data(), corners.data(), 0, 1.0), 0);
}

TEST(EstimateRemeshFaceCount, LargeInputsSumInTriangleOrderOnAnyNumberOfThreads) {
    // A wavy grid of 9,600 triangles, enough to be measured on all threads,
    // with a corner that is not a number among them.
    const unsigned int n = 80, m = 60;
    TMesh<double, TVertexPN<double>, CA8, unsigned int> grid;
    QuorvelTest::MakeGrid(grid, n, m, 0.1);
    std::vector<Point> positions;
    for (unsigned int v = 0; v < grid.m_Vertices.GetCount(); ++v) {
        Point p = grid.m_Vertices[v].m_Position;
        p.z = 0.03 * std::sin(7.3 * p.x) * std::cos(5.1 * p.y) + 1e-7 * v;
        positions.push_back(p);
    }
    positions[n + 5].y = std::numeric_limits<double>::quiet_NaN();
    const std::vector<std::uint32_t> corners = QuorvelTest::AllCorners(grid);
    const std::size_t triangles = corners.size() / 3;
    ASSERT_EQ(triangles, 2u * n * m);
    // The plain sum, triangle after triangle.
    const double target = 0.07, equilateral = std::sqrt(3.0) / 4 * target * target;
    double expected = 0;
    for (std::size_t t = 0; t < triangles; ++t) {
        const Point &a = positions[corners[3 * t]], &b = positions[corners[3 * t + 1]],
                    &c = positions[corners[3 * t + 2]];
        if (!std::isfinite(a.y) || !std::isfinite(b.y) || !std::isfinite(c.y))
            continue;
        expected += 0.5 * ((b - a) * (c - a)).GetLength() / equilateral;
        expected += (a.DiffVectLen(b) + b.DiffVectLen(c) + c.DiffVectLen(a)) / target;
    }
    const int previous = omp_get_max_threads();
    for (const int threads : {1, 2, 3}) {
        omp_set_num_threads(threads);
        EXPECT_EQ(EstimateRemeshFaceCount(positions.data(), corners.data(), triangles, target), expected)
            << threads << " threads";
    }
    omp_set_num_threads(previous);
}

}  // namespace
