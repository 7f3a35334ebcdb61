// The farthest-sample search whose parts share one bound (however its parts
// are cut, ordered and spread over threads, it finds the exact largest
// distance of all the samples it was given), the ordered pass it replaced,
// and the remesh table's samples of a large mesh.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <tuple>
#include <utility>
#include <vector>

#include "ToolTestSupport.h"
#include "core/MeshTopology.h"
#include "report/RemeshMeasures.h"
#include "report/SurfaceDistance.h"

using namespace QuorvelToolTest;
using Corvane::Pellix::Quorvel::CTriangleTree;
namespace TreeWalk = Corvane::Pellix::Quorvel::TreeWalk;

namespace {

// A sphere and a copy with a few vertices pushed out by different amounts
// and one pushed in, so that each side has its own farthest sample.
class SharedSearch : public ::testing::Test {
protected:
    void SetUp() override {
        m_Sphere = MakeSphere(5);
        m_Bumped = m_Sphere;
        for (const std::size_t v : {17u, 400u, 9000u})
            m_Bumped.m_Positions[v] = m_Bumped.m_Positions[v] * (1 + 0.01 * double(v % 7));
        m_Bumped.m_Positions[5000] = m_Bumped.m_Positions[5000] * 0.9;
        for (const CMeshData* mesh : {&m_Sphere, &m_Bumped}) {
            m_Raw.push_back(SampleSurface(*mesh, 20000));
            AddEdgeMidpoints(*mesh, CEdgeCensus(*mesh), m_Raw.back());
            m_Samples.push_back(InSpaceOrder(m_Raw.back()));
            m_Trees.push_back(BuildTriangleTree(*mesh, CTriangleTree::EShape::Morton));
        }
        for (const CTriangleTree& tree : m_Trees) {
            m_Links.emplace_back();
            m_Links.back().Build(tree.GetHierarchy());
        }
        // Each side's samples against the other side's surface.
        m_Exact[0] = MeasureOneSided(m_Samples[0], m_Trees[1]).m_Max;
        m_Exact[1] = MeasureOneSided(m_Samples[1], m_Trees[0]).m_Max;
    }

    CMeshData m_Sphere, m_Bumped;
    std::vector<std::vector<Point>> m_Raw, m_Samples;  // as sampled, and in space order
    std::vector<CTriangleTree> m_Trees;
    std::vector<TreeWalk::CLinks> m_Links;
    double m_Exact[2] = {0, 0};
};

}  // namespace

TEST_F(SharedSearch, PartsOfBothSidesOnManyThreadsGiveTheExactLargerMaximum) {
    ASSERT_GT(m_Exact[0], 0.01);
    ASSERT_GT(m_Exact[1], 0.01);
    ASSERT_NE(m_Exact[0], m_Exact[1]);
    // Parts of uneven sizes from both sides, interleaved, the last first.
    std::vector<std::pair<int, std::size_t>> parts;
    for (std::size_t first = 0; first < std::max(m_Samples[0].size(), m_Samples[1].size()); first += 777)
        for (int side = 0; side < 2; ++side)
            if (first < m_Samples[side].size())
                parts.emplace_back(side, first);
    std::reverse(parts.begin(), parts.end());
    CFarthestSearch search;
    const std::int64_t count = static_cast<std::int64_t>(parts.size());
#pragma omp parallel for schedule(dynamic, 1) num_threads(4)
    for (std::int64_t i = 0; i < count; ++i) {
        const auto [side, first] = parts[i];
        const std::vector<Point>& samples = m_Samples[side];
        search.Measure(samples, first, std::min(samples.size(), first + 777), m_Trees[1 - side], m_Links[1 - side]);
    }
    EXPECT_EQ(search.GetDistance(), std::max(m_Exact[0], m_Exact[1]));
}

// Space order is a permutation of the samples, the same prepared on one
// core or on all; the ordered pass and the search, alone or from a floor,
// give the exact largest distance or the floor, whichever is larger.
TEST_F(SharedSearch, OneSideAloneGivesItsOwnMaximumOrTheFloor) {
    const std::vector<Point>& raw = m_Raw[1];
    EXPECT_EQ(InSpaceOrder(raw, false), m_Samples[1]);
    EXPECT_NE(m_Samples[1], raw);
    std::vector<Point> sorted = m_Samples[1], original = raw;
    const auto less = [](const Point& a, const Point& b) { return std::tie(a.x, a.y, a.z) < std::tie(b.x, b.y, b.z); };
    std::sort(sorted.begin(), sorted.end(), less);
    std::sort(original.begin(), original.end(), less);
    EXPECT_EQ(sorted, original);
    EXPECT_EQ(FarthestSampleDistance(raw, m_Trees[0]), m_Exact[1]);
    for (int side = 0; side < 2; ++side) {
        const double exact = m_Exact[side];
        for (const double floor : {0.0, exact / 2, 2 * exact}) {
            SCOPED_TRACE(::testing::Message() << "side " << side << ", floor " << floor);
            CFarthestSearch search(floor);
            search.Measure(m_Samples[side], 0, m_Samples[side].size(), m_Trees[1 - side], m_Links[1 - side]);
            EXPECT_EQ(search.GetDistance(), std::max(floor, exact));
            EXPECT_EQ(FarthestOrderedSampleDistance(m_Samples[side], m_Trees[1 - side], floor), std::max(floor, exact));
        }
    }
    // No samples: the floor.
    CFarthestSearch none(0.5);
    none.Measure(m_Samples[0], 10, 10, m_Trees[1], m_Links[1]);
    EXPECT_EQ(none.GetDistance(), 0.5);
}

// A large grid and a copy that differ in one quad only: two opposite corners
// of it raised by h, the quad split along the raised diagonal in one and
// along the other diagonal in the other. The surfaces lie furthest apart at
// the middle of either diagonal, h / sqrt(1 + 2 h^2) from the other surface,
// where no vertex is and no point spread by area need fall; the remesh
// table's samples of a mesh this large still find it in full.
TEST(RemeshMeasures, AFoldBetweenVerticesOfALargeMeshIsFoundInFull) {
    // The grid splits each square along the diagonal from its first corner.
    const unsigned int n = 64, square = (n / 2) * n + n / 2;
    const double h = 0.5;
    CMeshData valley = MakeGrid(n);
    const Triangle first = valley.m_Triangles[2 * square];
    const std::uint32_t a = first[0], b = first[1], d = first[2], c = valley.m_Triangles[2 * square + 1][2];
    valley.m_Positions[b].z = valley.m_Positions[c].z = h;
    CMeshData ridge = valley;
    ridge.m_Triangles[2 * square] = Triangle{a, b, c};
    ridge.m_Triangles[2 * square + 1] = Triangle{b, d, c};
    ASSERT_GT(RemeshAreaSamples(ridge.m_Triangles.size()), 0u);
    ASSERT_LT(RemeshAreaSamples(ridge.m_Triangles.size()), ridge.m_Triangles.size());
    CRemeshMeasurer measurer(valley);
    const CRemeshMeasures measures = measurer.Finish(ridge);
    EXPECT_NEAR(measures.m_Hausdorff, h / std::sqrt(1 + 2 * h * h), 1e-12);
}
