// The walk that starts at a leaf (a hint) instead of the root, over trees
// built by surface area, by the median and along a Morton curve: where it
// stops. The nearest
// primitive it finds from any hint is compared with trying every face by the
// surface queries, in both tree shapes, which also check the links it climbs:
// a wrong parent loses primitives, a wrong leaf only costs time.
#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <vector>

#include "quorvel/meshes/queries/CBoxHierarchy.h"
#include "quorvel/meshes/queries/TreeWalk_impl.h"

namespace {

using namespace Corvane::Pellix::Quorvel;
using namespace Corvane::Pellix::Quorvel::TreeWalk;

enum class EShape { SurfaceArea, Median, Morton };

// Builds `tree` over `count` boxes in the given shape.
void BuildShaped(CBoxHierarchy& tree, EShape shape, const double* boxes, std::uint32_t count) {
    if (shape == EShape::Median)
        tree.BuildByMedian(boxes, count, 4);
    else if (shape == EShape::Morton)
        tree.BuildInMortonOrder(boxes, count, 4);
    else
        tree.Build(boxes, count, 4);
}

class HintedWalk : public ::testing::TestWithParam<EShape> {
protected:
    void SetUp() override {
        // Small random boxes: the links depend on the tree's shape only.
        std::mt19937 random(3);
        std::uniform_real_distribution<double> unit(-1, 1), size(0, 0.05);
        std::vector<double> boxes;
        for (std::uint32_t i = 0; i < Count(); ++i) {
            const double x = unit(random), y = unit(random), z = unit(random);
            boxes.insert(boxes.end(), {x, y, z, x + size(random), y + size(random), z + size(random)});
        }
        BuildShaped(m_Tree, GetParam(), boxes.data(), Count());
        m_Links.Build(m_Tree);
    }

    static std::uint32_t Count() { return 1500; }

    CBoxHierarchy m_Tree;
    CLinks m_Links;
};

TEST_P(HintedWalk, ALeafThatDropsTheBoundBelowZeroEndsTheWalkAndAnEmptyTreeVisitsNothing) {
    // With no bound every leaf would be visited; the first one that settles
    // the query is the last.
    const double p[3] = {0.3, -0.2, 0.1};
    for (const std::uint32_t start : {0u, Count() / 2, Count() - 1}) {
        double bound = std::numeric_limits<double>::infinity();
        unsigned int leaves = 0;
        TreeWalk::NearestFrom(m_Tree, m_Links, start, p, bound, [&](std::uint32_t, std::uint32_t, double& limit) {
            if (++leaves == 2)
                limit = -1;
        });
        EXPECT_EQ(leaves, 2u) << "from position " << start;
    }

    CBoxHierarchy empty;
    BuildShaped(empty, GetParam(), nullptr, 0);
    CLinks links;
    links.Build(empty);
    double bound = std::numeric_limits<double>::infinity();
    bool visited = false;
    TreeWalk::NearestFrom(empty, links, 0, p, bound, [&](std::uint32_t, std::uint32_t, double&) { visited = true; });
    EXPECT_FALSE(visited);
}

INSTANTIATE_TEST_SUITE_P(EveryShape, HintedWalk,
                         ::testing::Values(EShape::SurfaceArea, EShape::Median, EShape::Morton));

}  // namespace
