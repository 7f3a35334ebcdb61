// The grid of triangles seen along one direction keeps its boxes in a
// compact form: it must still turn away nearly every triangle out of a
// query's reach, offer the ones just inside it, and treat boxes at the
// rim of the scene, whose sides fall on the last cell or the ends of the
// depth range, like any other.
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

// Each triangle's box in the grid's frame.
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

TEST(DirectionGridReach, OffersNoTriangleFarBeyondReachAndEveryOneWithin) {
    Mesh mesh;
    MakeIcosphere(mesh, 5);
    std::vector<double> corners;
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f)
        for (int k = 0; k < 3; ++k) {
            const auto& p = mesh.m_Vertices[mesh.m_Faces[f].m_Corners[k]].m_Position;
            corners.insert(corners.end(), {p.x, p.y, p.z});
        }
    CTriangleTree tree;
    tree.Build(corners.data(), static_cast<std::uint32_t>(corners.size() / 9));
    std::mt19937 random(12);
    std::uniform_real_distribution<double> unit(-1.1, 1.1);
    const double directions[][3] = {{0, 0, 1}, {0.3, -0.2, 0.93}};
    for (const auto& direction : directions) {
        CDirectionGrid grid;
        grid.Build(tree, direction);
        const std::vector<double> boxes = FrameBoxes(tree, grid);
        for (int query = 0; query < 300; ++query) {
            double q[3];
            const double p[3] = {unit(random), unit(random), unit(random)};
            grid.ToFrame(p, q);
            // Queries on the rim of the scene's extent, too.
            if (query % 5 == 0)
                q[0] = query % 10 == 0 ? -1.0 : 1.0;
            const double pad = query % 3 == 0 ? 0.0 : 0.01;
            const double depthLow = q[2], depthHigh = q[2] + (query % 2 == 0 ? 0.0 : 0.05);
            std::vector<std::uint32_t> seen;
            grid.ForEachNear(q[0], q[1], depthLow, depthHigh, pad, [&](std::uint32_t position) {
                seen.push_back(position);
                return true;
            });
            std::sort(seen.begin(), seen.end());
            for (std::uint32_t i = 0; i < tree.GetTriangleCount(); ++i) {
                const double beyond = Beyond(&boxes[6 * std::size_t(i)], q, depthLow, depthHigh, pad);
                const bool offered = std::binary_search(seen.begin(), seen.end(), i);
                // The grid rounds boxes outwards to single precision and to
                // its steps, a small fraction of a triangle (about 0.05 across).
                if (beyond == 0.0) {
                    ASSERT_TRUE(offered) << "triangle " << i << " missed";
                } else if (beyond > 1e-3) {
                    ASSERT_FALSE(offered) << "triangle " << i << " offered from " << beyond << " beyond";
                }
            }
        }
    }
}
