// The walk that starts at a leaf (a hint) instead of the root, over trees
// built by surface area and by the median: its links, and the nearest
// primitive it finds from any start, against trying every one. The trees'
// own shape is checked with the box hierarchy.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "MeshFixtures.h"
#include "quorvel/meshes/queries/CBoxHierarchy.h"
#include "quorvel/meshes/queries/CTriangleTree.h"
#include "quorvel/meshes/queries/TreeWalk_impl.h"

namespace {

using namespace QuorvelTest;
using namespace Corvane::Pellix::Quorvel::TreeWalk;

class HintedWalk : public ::testing::TestWithParam<bool> {
protected:
    void SetUp() override {
        TMesh<double, TVertexPN<double>, CA8, unsigned int> mesh, grid;
        MakeBumpySphere(mesh, 3, 0.2, 0.02);
        // A flat grid beside the sphere: many faces at equal distances.
        MakeGrid(grid, 8, 8, 0.25);
        AddMesh(mesh, grid, 2);
        for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f)
            for (int k = 0; k < 3; ++k) {
                const auto& p = mesh.m_Vertices[mesh.m_Faces[f].m_Corners[k]].m_Position;
                m_Corners.insert(m_Corners.end(), {p.x, p.y, p.z});
            }
        const std::uint32_t count = mesh.m_Faces.GetCount();
        std::vector<double> boxes;
        for (std::uint32_t t = 0; t < count; ++t)
            for (int side = 0; side < 2; ++side)
                for (int k = 0; k < 3; ++k) {
                    const double* c = &m_Corners[9 * std::size_t(t)];
                    boxes.push_back(side == 0 ? std::min({c[k], c[3 + k], c[6 + k]})
                                              : std::max({c[k], c[3 + k], c[6 + k]}));
                }
        if (GetParam())
            m_Tree.BuildByMedian(boxes.data(), count, 4);
        else
            m_Tree.Build(boxes.data(), count, 4);
        m_Position.resize(count);
        for (std::uint32_t i = 0; i < count; ++i)
            m_Position[m_Tree.GetOrder()[i]] = i;
        m_Links.Build(m_Tree);
    }

    std::uint32_t Count() const { return static_cast<std::uint32_t>(m_Position.size()); }
    std::uint32_t Triangle(std::uint32_t position) const { return m_Tree.GetOrder()[position]; }

    double Distance(const double p[3], std::uint32_t position) const {
        const double* t = &m_Corners[9 * std::size_t(Triangle(position))];
        double point[3], barycentric[3];
        return ClosestPointOnTriangle(p, t, t + 3, t + 6, point, barycentric);
    }

    // The nearest triangle (an input index) from the walk starting at
    // position `start`, ties to the lowest index.
    std::uint32_t NearestFrom(const double p[3], std::uint32_t start, unsigned int& leaves) const {
        std::uint32_t found = start;
        double bound = Distance(p, start);
        leaves = 0;
        TreeWalk::NearestFrom(m_Tree, m_Links, start, p, bound,
                              [&](std::uint32_t first, std::uint32_t count, double& limit) {
                                  ++leaves;
                                  for (std::uint32_t i = first; i < first + count; ++i) {
                                      const double d = Distance(p, i);
                                      if (d < limit || (d == limit && Triangle(i) < Triangle(found))) {
                                          limit = d;
                                          found = i;
                                      }
                                  }
                              });
        return Triangle(found);
    }

    std::uint32_t BruteForce(const double p[3]) const {
        std::uint32_t best = 0;
        double bestDistance = std::numeric_limits<double>::infinity();
        for (std::uint32_t t = 0; t < Count(); ++t) {
            const double d = Distance(p, m_Position[t]);
            if (d < bestDistance) {
                bestDistance = d;
                best = t;
            }
        }
        return best;
    }

    std::vector<double> m_Corners;
    CBoxHierarchy m_Tree;
    std::vector<std::uint32_t> m_Position;
    CLinks m_Links;
};

TEST_P(HintedWalk, LinksLeadFromEveryPositionToItsLeafAndUpToTheRoot) {
    const auto& nodes = m_Tree.GetNodes();
    ASSERT_EQ(m_Links.m_Leaf.size(), Count());
    ASSERT_EQ(m_Links.m_Parent.size(), nodes.size());
    EXPECT_EQ(m_Links.m_Parent[0], CLinks::NoNode);
    for (std::uint32_t i = 0; i < Count(); ++i) {
        const std::uint32_t leaf = m_Links.m_Leaf[i];
        ASSERT_LT(leaf, nodes.size());
        ASSERT_TRUE(nodes[leaf].IsLeaf());
        EXPECT_GE(i, nodes[leaf].m_First);
        EXPECT_LT(i, nodes[leaf].m_First + nodes[leaf].m_Count);
        // Every climb ends at the root, each step at a node whose children
        // hold the step's start.
        unsigned int steps = 0;
        for (std::uint32_t n = leaf; n != 0; n = m_Links.m_Parent[n]) {
            const std::uint32_t parent = m_Links.m_Parent[n];
            ASSERT_NE(parent, CLinks::NoNode);
            ASSERT_FALSE(nodes[parent].IsLeaf());
            EXPECT_TRUE(nodes[parent].m_First == n || nodes[parent].m_First + 1 == n);
            ASSERT_LT(++steps, CBoxHierarchy::MaxDepth);
        }
    }
}

TEST_P(HintedWalk, FindsTheNearestFromAnyStartAndLittleFromAGoodOne) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> coordinate(-1.5, 4.5);
    std::uniform_int_distribution<std::uint32_t> position(0, Count() - 1);
    unsigned int farLeaves = 0, nearLeaves = 0;
    for (int n = 0; n < 300; ++n) {
        double p[3] = {coordinate(random), coordinate(random) / 2, coordinate(random) / 2};
        // Every fourth point lies on the grid's plane, where faces tie.
        if (n % 4 == 0)
            p[2] = 0;
        const std::uint32_t expected = BruteForce(p);
        unsigned int leaves = 0;
        EXPECT_EQ(NearestFrom(p, position(random), leaves), expected) << "from a random start";
        farLeaves += leaves;
        EXPECT_EQ(NearestFrom(p, m_Position[expected], leaves), expected) << "from the answer";
        nearLeaves += leaves;
    }
    // The answer's own distance prunes all but the leaves around it.
    EXPECT_LT(nearLeaves, farLeaves);
}

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
    if (GetParam())
        empty.BuildByMedian(nullptr, 0, 4);
    else
        empty.Build(nullptr, 0, 4);
    CLinks links;
    links.Build(empty);
    double bound = std::numeric_limits<double>::infinity();
    bool visited = false;
    TreeWalk::NearestFrom(empty, links, 0, p, bound, [&](std::uint32_t, std::uint32_t, double&) { visited = true; });
    EXPECT_FALSE(visited);
}

INSTANTIATE_TEST_SUITE_P(SurfaceAreaAndMedian, HintedWalk, ::testing::Bool());

}  // namespace
