// The grid of triangles seen along one direction: a query must be offered
// every triangle that comes near its segment, and each of them once, however
// many cells its box and the query cover. The grid keeps its boxes in a
// compact form, rounded outwards, so it must still turn away nearly every
// triangle beyond a query's reach.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "MeshFixtures.h"
#include "quorvel/meshes/queries/CDirectionGrid.h"
#include "quorvel/meshes/queries/CTriangleTree.h"

namespace {

using namespace QuorvelTest;
typedef TMesh<double, TVertexPN<double>, CA8, unsigned int> Mesh;

// A bumpy sphere with a flat patch through it and a fan of long slivers
// that cross the whole scene, so that some boxes span many cells.
std::vector<double> SceneCorners() {
    Mesh mesh;
    MakeBumpySphere(mesh, 3, 0.15, 0.02);
    Mesh grid;
    MakeGrid(grid, 6, 6, 1.0 / 3);
    AddMesh(mesh, grid, -1.0, -1.0, 0.1);
    AddCrossingSlivers(mesh, 12, 1.3, 0.01);
    std::vector<double> corners;
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f)
        for (int k = 0; k < 3; ++k) {
            const auto& p = mesh.m_Vertices[mesh.m_Faces[f].m_Corners[k]].m_Position;
            corners.insert(corners.end(), {p.x, p.y, p.z});
        }
    return corners;
}

// Each triangle's box in the grid's frame, as the queries must see it.
std::vector<double> FrameBoxes(const CTriangleTree& tree, const CDirectionGrid& grid) {
    std::vector<double> boxes;
    for (std::uint32_t i = 0; i < tree.GetTriangleCount(); ++i) {
        double low[3] = {HUGE_VAL, HUGE_VAL, HUGE_VAL}, high[3] = {-HUGE_VAL, -HUGE_VAL, -HUGE_VAL};
        for (int c = 0; c < 3; ++c) {
            double q[3];
            grid.ToFrame(tree.GetCorners(i) + 3 * c, q);
            for (int k = 0; k < 3; ++k) {
                low[k] = std::min(low[k], q[k]);
                high[k] = std::max(high[k], q[k]);
            }
        }
        boxes.insert(boxes.end(), {low[0], low[1], low[2], high[0], high[1], high[2]});
    }
    return boxes;
}

// How far a box lies beyond a query's reach, the most of the six sides.
double Beyond(const double* box, const double q[3], double depthLow, double depthHigh, double pad) {
    return std::max({box[0] - (q[0] + pad), (q[0] - pad) - box[3], box[1] - (q[1] + pad), (q[1] - pad) - box[4],
                     box[2] - (depthHigh + pad), (depthLow - pad) - box[5], 0.0});
}

}  // namespace

TEST(DirectionGrid, OffersEveryNearTriangleExactlyOnce) {
    const std::vector<double> corners = SceneCorners();
    CTriangleTree tree;
    tree.Build(corners.data(), static_cast<std::uint32_t>(corners.size() / 9));
    std::mt19937 random(5);
    std::uniform_real_distribution<double> unit(-1.4, 1.4);
    const double directions[][3] = {{0, 0, 1}, {1, 0, 0}, {0.3, -0.2, 0.93}, {-0.61, 0.52, 0.6}};
    for (const auto& direction : directions) {
        CDirectionGrid grid;
        grid.Build(tree, direction);
        // The frame is orthonormal with the direction as its third axis.
        auto dot = [](const double* u, const double* v) { return u[0] * v[0] + u[1] * v[1] + u[2] * v[2]; };
        for (int a = 0; a < 3; ++a) {
            for (int b = 0; b < 3; ++b)
                EXPECT_NEAR(dot(grid.GetAxis(a), grid.GetAxis(b)), a == b ? 1.0 : 0.0, 1e-15);
            EXPECT_NEAR(grid.GetAxis(2)[a], direction[a] / std::sqrt(dot(direction, direction)), 1e-15);
        }
        const std::vector<double> boxes = FrameBoxes(tree, grid);
        for (int query = 0; query < 400; ++query) {
            const double p[3] = {unit(random), unit(random), unit(random)};
            double q[3];
            grid.ToFrame(p, q);
            // From no pad to pads many cells wide.
            const double pad = query % 4 == 0 ? 0.0 : std::pow(10.0, -4 + query % 4);
            const double depthLow = q[2], depthHigh = q[2] + (query % 3 == 0 ? 0.0 : 3.0);
            std::vector<std::uint32_t> seen;
            grid.ForEachNear(q[0], q[1], depthLow, depthHigh, pad, [&](std::uint32_t position) {
                seen.push_back(position);
                return true;
            });
            std::sort(seen.begin(), seen.end());
            ASSERT_TRUE(std::adjacent_find(seen.begin(), seen.end()) == seen.end()) << "a triangle offered twice";
            for (std::uint32_t i = 0; i < tree.GetTriangleCount(); ++i) {
                const double beyond = Beyond(&boxes[6 * std::size_t(i)], q, depthLow, depthHigh, pad);
                const bool offered = std::binary_search(seen.begin(), seen.end(), i);
                // Boxes are rounded outwards to single precision and to the
                // grid's steps, a small fraction of a triangle.
                if (beyond == 0.0) {
                    ASSERT_TRUE(offered) << "triangle " << i << " missed, pad " << pad;
                } else if (beyond > 1e-3) {
                    ASSERT_FALSE(offered) << "triangle " << i << " offered from " << beyond << " beyond";
                }
            }
        }
        // A search ends when the visitor says so.
        unsigned int visits = 0;
        EXPECT_FALSE(grid.ForEachNear(0, 0, -10, 10, 10, [&](std::uint32_t) { return ++visits < 3; }));
        EXPECT_EQ(visits, 3u);
    }
}

// The form that fetches ahead offers the same triangles in the same order,
// fetches each one before its visit and at most FetchAhead ahead of it, and
// still ends where the visitor says so, visiting nothing after that.
TEST(DirectionGrid, FetchesAheadWithoutChangingTheVisits) {
    const std::vector<double> corners = SceneCorners();
    CTriangleTree tree;
    tree.Build(corners.data(), static_cast<std::uint32_t>(corners.size() / 9));
    CDirectionGrid grid;
    const double direction[3] = {0.3, -0.2, 0.93};
    grid.Build(tree, direction);
    std::mt19937 random(9);
    std::uniform_real_distribution<double> unit(-1.4, 1.4);
    std::size_t longest = 0;
    for (int query = 0; query < 200; ++query) {
        const double p[3] = {unit(random), unit(random), unit(random)};
        double q[3];
        grid.ToFrame(p, q);
        const double pad = std::pow(10.0, -3 + query % 4);
        std::vector<std::uint32_t> plain;
        grid.ForEachNear(q[0], q[1], q[2], q[2] + 3.0, pad, [&](std::uint32_t position) {
            plain.push_back(position);
            return true;
        });
        longest = std::max(longest, plain.size());
        // Stop after every visit in turn, and not at all.
        for (std::size_t stop = 1; stop <= plain.size() + 1; stop += 1 + plain.size() / 7) {
            std::vector<std::uint32_t> fetched, visited;
            const bool finished = grid.ForEachNear(
                q[0], q[1], q[2], q[2] + 3.0, pad,
                [&](std::uint32_t position) {
                    EXPECT_LT(visited.size(), fetched.size()) << "visited before it was fetched";
                    EXPECT_LE(fetched.size() - visited.size(), CDirectionGrid::FetchAhead);
                    visited.push_back(position);
                    return visited.size() < stop;
                },
                [&](std::uint32_t position) { fetched.push_back(position); });
            const std::size_t expected = std::min(stop, plain.size());
            EXPECT_EQ(finished, stop > plain.size());
            ASSERT_EQ(visited.size(), expected);
            EXPECT_TRUE(std::equal(visited.begin(), visited.end(), plain.begin()));
            ASSERT_GE(fetched.size(), visited.size());
            EXPECT_TRUE(std::equal(fetched.begin(), fetched.end(), plain.begin()));
        }
    }
    // Some queries meet more triangles than are fetched ahead.
    EXPECT_GT(longest, 2 * std::size_t(CDirectionGrid::FetchAhead));
}
