// The box hierarchy's shape: whatever the size (large trees grow in parts on
// several threads and are joined), every primitive sits in exactly one leaf,
// every box holds what lies below it, and children come in pairs on one
// cache line.
#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <utility>
#include <vector>

#include "quorvel/meshes/queries/CBoxHierarchy.h"

namespace {

using Corvane::Pellix::Quorvel::CBoxHierarchy;

// `deepest` receives the depth of the deepest node.
void ExpectWellFormed(const CBoxHierarchy& tree, const std::vector<double>& boxes, std::uint32_t count,
                      std::uint32_t leafSize, unsigned int& deepest) {
    const CBoxHierarchy::CNodes& nodes = tree.GetNodes();
    const std::vector<std::uint32_t>& order = tree.GetOrder();
    ASSERT_EQ(order.size(), count);
    std::vector<int> seen(count, 0);
    std::vector<int> parents(nodes.size(), 0);
    // Walk from the root; every node but the padding is reached once.
    std::vector<std::pair<std::uint32_t, unsigned int>> stack(1, {0, 0});
    std::size_t reached = 0;
    deepest = 0;
    while (!stack.empty()) {
        const auto [i, depth] = stack.back();
        stack.pop_back();
        deepest = std::max(deepest, depth);
        ++reached;
        const CBoxHierarchy::CNode& node = nodes[i];
        auto holds = [&](const float* low, const float* high) {
            for (int k = 0; k < 3; ++k)
                if (!(node.m_Min[k] <= low[k] && high[k] <= node.m_Max[k]))
                    return false;
            return true;
        };
        if (node.IsLeaf()) {
            ASSERT_LE(node.m_Count, leafSize);
            for (std::uint32_t j = node.m_First; j < node.m_First + node.m_Count; ++j) {
                const std::uint32_t p = order[j];
                ++seen[p];
                const float low[3] = {float(boxes[6 * p]), float(boxes[6 * p + 1]), float(boxes[6 * p + 2])};
                const float high[3] = {float(boxes[6 * p + 3]), float(boxes[6 * p + 4]), float(boxes[6 * p + 5])};
                ASSERT_TRUE(holds(low, high)) << "leaf " << i << " misses primitive " << p;
            }
            continue;
        }
        ASSERT_EQ(node.m_First % 2, 0u) << "children of " << i << " straddle a cache line";
        ASSERT_LT(node.m_First + 1, nodes.size());
        for (std::uint32_t child = node.m_First; child < node.m_First + 2; ++child) {
            ASSERT_GT(child, i) << "a child before its parent";
            ASSERT_EQ(++parents[child], 1) << "node " << child << " has two parents";
            ASSERT_TRUE(holds(nodes[child].m_Min, nodes[child].m_Max)) << "node " << i << " misses child " << child;
            stack.emplace_back(child, depth + 1);
        }
    }
    EXPECT_EQ(reached + 1, nodes.size()) << "nodes unreached";
    for (std::uint32_t p = 0; p < count; ++p)
        ASSERT_EQ(seen[p], 1) << "primitive " << p;
}

}  // namespace

// By surface area, by the median or along a Morton curve; the median tree
// stays shallow: halving at the median, its depth is the binary logarithm of
// the number of leaves, rounded up.
TEST(BoxHierarchy, EveryPrimitiveInOneLeafAndEveryBoxHoldsItsSubtreeAtAnySize) {
    std::mt19937 random(3);
    std::uniform_real_distribution<double> unit(-1, 1), size(0, 0.01);
    // Across the size from which the root's subtrees grow apart; the boxes
    // are exact in float, so the test's comparisons are exact.
    for (std::uint32_t count : {1u, 2u, 7u, 1000u, 40000u, 120000u}) {
        std::vector<double> boxes;
        for (std::uint32_t i = 0; i < count; ++i) {
            const double x = float(unit(random)), y = float(unit(random)), z = float(unit(random) * 0.1);
            boxes.insert(boxes.end(), {x, y, z, double(float(x + size(random))), double(float(y + size(random))),
                                       double(float(z + size(random)))});
        }
        CBoxHierarchy tree, median, morton;
        tree.Build(boxes.data(), count, 4);
        median.BuildByMedian(boxes.data(), count, 4);
        morton.BuildInMortonOrder(boxes.data(), count, 4);
        unsigned int deepest = 0, bound = 0;
        ExpectWellFormed(tree, boxes, count, 4, deepest);
        ExpectWellFormed(morton, boxes, count, 4, deepest);
        ExpectWellFormed(median, boxes, count, 4, deepest);
        while ((4u << bound) < count)
            ++bound;
        EXPECT_LE(deepest, bound) << count;
    }
}

// Boxes centred on three spots (some grown about them) share three Morton
// keys: runs of equal keys are halved, and the tree stays within the
// depth the walks' stacks are sized for.
TEST(BoxHierarchy, MortonTreeHalvesRunsOfEqualKeysAndStaysShallow) {
    std::mt19937 random(11);
    std::uniform_real_distribution<double> unit(-1, 1);
    const double spots[3][3] = {{0, 0, 0}, {1, 0.5, 0}, {1, 0.5, 0.25}};
    for (std::uint32_t count : {5u, 300u, 20000u}) {
        std::vector<double> boxes;
        for (std::uint32_t i = 0; i < count; ++i) {
            const double* c = spots[i % 3];
            const double grow = i % 5 == 0 ? 0.25 * std::abs(unit(random)) : 0.0;
            boxes.insert(boxes.end(), {c[0] - grow, c[1] - grow, c[2], c[0] + grow, c[1] + grow, c[2]});
        }
        CBoxHierarchy morton;
        morton.BuildInMortonOrder(boxes.data(), count, 4);
        unsigned int deepest = 0;
        ExpectWellFormed(morton, boxes, count, 4, deepest);
        EXPECT_LE(deepest, 62u) << count;
        EXPECT_LT(deepest, CBoxHierarchy::MaxDepth) << count;
    }
}

TEST(BoxHierarchy, TreeOverPointsEqualsTreeOverTheirBoxes) {
    std::mt19937 random(5);
    std::uniform_real_distribution<double> unit(-1, 1);
    for (std::uint32_t count : {1u, 9u, 3000u, 70000u}) {
        // Triangles over shared points, through an index list, against the
        // same triangles' boxes.
        const std::uint32_t pointCount = count / 2 + 3;
        std::vector<double> points;
        for (std::uint32_t i = 0; i < pointCount; ++i)
            points.insert(points.end(), {unit(random), unit(random), 0.2 * unit(random)});
        std::vector<std::uint32_t> indices;
        std::vector<double> boxes;
        for (std::uint32_t t = 0; t < count; ++t) {
            const std::uint32_t a = t % pointCount, b = (t * 7 + 1) % pointCount, c = (t * 13 + 2) % pointCount;
            indices.insert(indices.end(), {a, b, c});
            for (int k = 0; k < 3; ++k)
                boxes.push_back(std::min({points[3 * a + k], points[3 * b + k], points[3 * c + k]}));
            for (int k = 0; k < 3; ++k)
                boxes.push_back(std::max({points[3 * a + k], points[3 * b + k], points[3 * c + k]}));
        }
        CBoxHierarchy byBoxes, byPoints, byPlainPoints;
        byBoxes.Build(boxes.data(), count, 4);
        byPoints.BuildOverPoints(points.data(), indices.data(), 3, count, 4);
        // Points given in place: the two corners of each box.
        byPlainPoints.BuildOverPoints(boxes.data(), nullptr, 2, count, 4);
        for (const CBoxHierarchy* tree : {&byPoints, &byPlainPoints}) {
            ASSERT_EQ(tree->GetOrder(), byBoxes.GetOrder()) << count;
            ASSERT_EQ(tree->GetNodes().size(), byBoxes.GetNodes().size()) << count;
            // Node for node, bit for bit, but the padding after the root.
            for (std::size_t i = 0; i < byBoxes.GetNodes().size(); ++i)
                ASSERT_TRUE(i == 1 || std::memcmp(&tree->GetNodes()[i], &byBoxes.GetNodes()[i],
                                                  sizeof(CBoxHierarchy::CNode)) == 0)
                    << count << " node " << i;
        }
    }
}

// Large trees grow their top levels and then their subtrees on several
// threads; the nodes and the order come out the same on one thread as on two,
// by surface area and by the median.
TEST(BoxHierarchy, TreeIsTheSameOnOneThreadAndOnTwo) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> unit(-1, 1), size(0, 0.02);
    const int saved = omp_get_max_threads();
    for (std::uint32_t count : {5000u, 9001u, 70000u, 300000u}) {
        std::vector<double> boxes;
        for (std::uint32_t i = 0; i < count; ++i) {
            // A tenth of the centres repeat, so that ties are broken too.
            const double x = i % 10 == 0 ? 0.5 : unit(random), y = unit(random), z = 0.3 * unit(random);
            boxes.insert(boxes.end(), {x, y, z, x + size(random), y + size(random), z + size(random)});
        }
        for (const bool byMedian : {true, false})
            for (std::uint32_t leafSize : {1u, 4u}) {
                CBoxHierarchy trees[2];
                for (int threads = 1; threads <= 2; ++threads) {
                    omp_set_num_threads(threads);
                    if (byMedian)
                        trees[threads - 1].BuildByMedian(boxes.data(), count, leafSize);
                    else
                        trees[threads - 1].Build(boxes.data(), count, leafSize);
                }
                omp_set_num_threads(saved);
                const CBoxHierarchy::CNodes &one = trees[0].GetNodes(), &two = trees[1].GetNodes();
                ASSERT_EQ(trees[0].GetOrder(), trees[1].GetOrder()) << count;
                ASSERT_EQ(one.size(), two.size()) << count;
                for (std::size_t i = 0; i < one.size(); ++i)
                    ASSERT_EQ(std::memcmp(&one[i], &two[i], sizeof(CBoxHierarchy::CNode)), 0)
                        << count << (byMedian ? " median" : " surface area") << " node " << i;
                unsigned int deepest = 0;
                ExpectWellFormed(trees[1], boxes, count, leafSize, deepest);
            }
    }
}
