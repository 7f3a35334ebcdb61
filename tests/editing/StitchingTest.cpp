#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <tuple>
#include <vector>

#include "MeshFixtures.h"
#include "meshes/TMesh.h"

namespace {

using namespace QuorvelTest;

typedef TMesh<double, TVertexPN<double>, CA8, unsigned int> Mesh;
typedef std::tuple<double, double, double> Point;

template <typename M>
Point PointOf(const M& mesh, unsigned int v) {
    const auto& p = mesh.m_Vertices[v].m_Position;
    return Point(p.x, p.y, p.z);
}

// (p1 - p0) x (p2 - p0): faces are counter-clockwise seen from where it points.
template <typename M>
TVector3<double> WindingNormal(const M& mesh, unsigned int f) {
    auto at = [&](int k) {
        const auto& p = mesh.m_Vertices[mesh.m_Faces[f].m_Corners[k]].m_Position;
        return TVector3<double>(p.x, p.y, p.z);
    };
    return (at(1) - at(0)) * (at(2) - at(0));
}

template <typename M>
std::vector<Point> SortedCorners(const M& mesh, unsigned int f) {
    std::vector<Point> corners;
    for (int k = 0; k < 3; ++k) corners.push_back(PointOf(mesh, mesh.m_Faces[f].m_Corners[k]));
    std::sort(corners.begin(), corners.end());
    return corners;
}

// Faces renumbered so that vertices at the same exact position share one id.
std::vector<std::array<unsigned int, 3>> WeldedFaces(const Mesh& mesh, unsigned int* distinct) {
    std::map<Point, unsigned int> ids;
    std::vector<std::array<unsigned int, 3>> faces;
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f) {
        std::array<unsigned int, 3> face;
        for (int k = 0; k < 3; ++k)
            face[k] = ids.emplace(PointOf(mesh, mesh.m_Faces[f].m_Corners[k]), unsigned(ids.size())).first->second;
        faces.push_back(face);
    }
    *distinct = unsigned(ids.size());
    return faces;
}

template <typename M>
class StitchTriangle : public ::testing::Test {};
typedef ::testing::Types<TMesh<float, TVertexPNC<float>, CA16, unsigned short>, Mesh> StitchTypes;
TYPED_TEST_SUITE(StitchTriangle, StitchTypes);

TYPED_TEST(StitchTriangle, OffsetStitchAddsCopyAndThreeWalls) {
    TypeParam mesh;
    MakeTriangle(mesh);
    mesh.AssignVertexNormals();
    mesh.OffsetStitch(0.5, true);

    // Triangle, moved copy, and three walls of two triangles on fresh vertices.
    ASSERT_EQ(mesh.m_Vertices.GetCount(), 24u);
    ASSERT_EQ(mesh.m_Faces.GetCount(), 8u);
    EXPECT_EQ(mesh.m_Faces[1].m_Corners[0], 3u);
    EXPECT_EQ(mesh.m_Faces[1].m_Corners[2], 5u);
    for (unsigned int v = 0; v < 3; ++v) {
        EXPECT_EQ(mesh.m_Vertices[v + 3].m_Position.z, -0.5f);
        EXPECT_EQ(mesh.m_Vertices[v + 3].m_Position.x, mesh.m_Vertices[v].m_Position.x);
    }

    // Per open edge (0-1, 1-2, then 2-0 taken as 0-2): the quad p q q' p'
    // split along q-p', each half facing away from the triangle.
    const unsigned int walls[6][3] = {{0, 1, 3}, {4, 3, 1}, {1, 2, 4}, {5, 4, 2}, {0, 2, 3}, {5, 3, 2}};
    const TVector3<double> away[3] = {{0, -1, 0}, {1, 1, 0}, {-1, 0, 0}};
    for (unsigned int w = 0; w < 6; ++w) {
        const unsigned int f = 2 + w;
        std::vector<Point> expected;
        for (unsigned int v : walls[w]) expected.push_back(PointOf(mesh, v));
        std::sort(expected.begin(), expected.end());
        EXPECT_EQ(SortedCorners(mesh, f), expected) << "wall " << w;
        for (int k = 0; k < 3; ++k) EXPECT_GE(mesh.m_Faces[f].m_Corners[k], 6 + 3 * w) << "wall " << w;
        EXPECT_GT(WindingNormal(mesh, f) % away[w / 2], 0) << "wall " << w;
    }
}

TEST(Stitching, OffsetStitchOfGridPatchClosesIntoConsistentShell) {
    Mesh mesh;
    MakeGrid(mesh, 3, 2);
    mesh.AssignVertexNormals();
    mesh.OffsetStitch(0.25, true);

    // 12 vertices and faces per shell; 10 rim edges, each a wall of two
    // triangles on six fresh vertices.
    ASSERT_EQ(mesh.m_Vertices.GetCount(), 24u + 60u);
    ASSERT_EQ(mesh.m_Faces.GetCount(), 24u + 20u);
    for (unsigned int v = 0; v < 12; ++v) {
        EXPECT_EQ(mesh.m_Vertices[v + 12].m_Position.z, -0.25);
        EXPECT_EQ(mesh.m_Vertices[v + 12].m_Position.x, mesh.m_Vertices[v].m_Position.x);
    }
    for (unsigned int f = 0; f < 12; ++f)
        for (int k = 0; k < 3; ++k)
            EXPECT_EQ(mesh.m_Faces[f + 12].m_Corners[k], mesh.m_Faces[f].m_Corners[k] + 12);

    unsigned int distinct = 0;
    const auto faces = WeldedFaces(mesh, &distinct);
    std::map<std::pair<unsigned int, unsigned int>, int> undirected;
    std::set<std::pair<unsigned int, unsigned int>> wallEdges;
    for (unsigned int f = 0; f < faces.size(); ++f)
        for (int k = 0; k < 3; ++k) {
            const unsigned int p = faces[f][k], q = faces[f][(k + 1) % 3];
            ++undirected[std::make_pair(std::min(p, q), std::max(p, q))];
            // Walls among themselves are consistently wound: no directed edge twice.
            if (f >= 24) {
                EXPECT_TRUE(wallEdges.insert(std::make_pair(p, q)).second) << "face " << f;
            }
        }
    for (const auto& edge : undirected) EXPECT_EQ(edge.second, 2);
    EXPECT_EQ(distinct, 24u);
    EXPECT_EQ(int(distinct) - int(undirected.size()) + int(faces.size()), 2);  // a sphere

    // Every wall lies in one side of the box [0,3] x [0,2] and faces out of it.
    for (unsigned int f = 24; f < 44; ++f) {
        TVector3<double> out;
        const std::vector<Point> corners = SortedCorners(mesh, f);
        auto all = [&](int axis, double value) {
            for (const Point& c : corners)
                if ((axis == 0 ? std::get<0>(c) : std::get<1>(c)) != value) return false;
            return true;
        };
        if (all(0, 0)) out = TVector3<double>(-1, 0, 0);
        else if (all(0, 3)) out = TVector3<double>(1, 0, 0);
        else if (all(1, 0)) out = TVector3<double>(0, -1, 0);
        else if (all(1, 2)) out = TVector3<double>(0, 1, 0);
        EXPECT_GT(WindingNormal(mesh, f) % out, 0) << "face " << f;
    }
}

TEST(Stitching, ZeroOffsetAndClosedMeshes) {
    {
        // Offset 0: the copy coincides, the walls are still built (flat).
        Mesh mesh;
        MakeGrid(mesh, 1, 1);
        mesh.AssignVertexNormals();
        mesh.AssignFaceConnectivity(true);
        mesh.OffsetStitch(0, false);
        EXPECT_EQ(mesh.m_Vertices.GetCount(), 8u + 24u);
        EXPECT_EQ(mesh.m_Faces.GetCount(), 4u + 8u);
        for (unsigned int v = 0; v < 4; ++v) EXPECT_EQ(PointOf(mesh, v + 4), PointOf(mesh, v));
    }
    {
        // No open edge: only the moved copy is appended.
        Mesh mesh;
        MakeTetrahedron(mesh);
        mesh.AssignVertexNormals();
        mesh.OffsetStitch(0.1, true);
        ASSERT_EQ(mesh.m_Vertices.GetCount(), 8u);
        EXPECT_EQ(mesh.m_Faces.GetCount(), 8u);
        for (unsigned int v = 0; v < 4; ++v) {
            const TVector3<double> expected =
                mesh.m_Vertices[v].m_Position - mesh.m_Vertices[v].m_Normal * 0.1;
            EXPECT_NEAR(mesh.m_Vertices[v + 4].m_Position.DiffVectLen(expected), 0, 1e-15);
        }
    }
}

TEST(Stitching, StitchTrustsCountsAndConnectivityAsGiven) {
    Mesh triangle;
    MakeTriangle(triangle);
    {
        // A different vertex count: nothing but the requested rebuild.
        Mesh quad;
        MakeGrid(quad, 1, 1);
        quad.Stitch(triangle, false);
        EXPECT_EQ(quad.m_Vertices.GetCount(), 4u);
        EXPECT_EQ(quad.m_Faces.GetCount(), 2u);
        EXPECT_EQ(quad.m_FaceConnectivity.GetCount(), 0u);
        quad.Stitch(triangle, true);
        EXPECT_EQ(quad.m_Vertices.GetCount(), 4u);
        EXPECT_EQ(quad.m_FaceConnectivity.GetCount(), 2u);
    }
    {
        // Stale entries are followed: only edge 1 is recorded as open.
        Mesh mesh;
        MakeTriangle(mesh);
        mesh.m_FaceConnectivity.Add(CFaceConnections(9, CFaceConnections::None, 9));
        Mesh lowered(triangle);
        lowered -= TVector3<double>(0, 0, 1);
        mesh.Stitch(lowered, false);
        ASSERT_EQ(mesh.m_Faces.GetCount(), 4u);
        EXPECT_EQ(mesh.m_Vertices.GetCount(), 6u + 6u);
        EXPECT_GT(WindingNormal(mesh, 2) % TVector3<double>(1, 1, 0), 0);
        EXPECT_GT(WindingNormal(mesh, 3) % TVector3<double>(1, 1, 0), 0);
    }
    {
        // 2 + 1 faces: only face 0 (of the halved, rounded-down count) gets
        // walls, one per open edge, 0-1 and 1-3.
        Mesh quad;
        MakeGrid(quad, 1, 1);
        Mesh other;
        MakeGrid(other, 1, 1);
        other.m_Faces.RemoveFromEnd(1);
        other -= TVector3<double>(0, 0, 1);
        quad.Stitch(other, true);
        ASSERT_EQ(quad.m_Faces.GetCount(), 3u + 4u);
        EXPECT_EQ(quad.m_Vertices.GetCount(), 8u + 12u);
        std::vector<Point> bottom = {PointOf(quad, 0), PointOf(quad, 1), PointOf(quad, 4)};
        std::sort(bottom.begin(), bottom.end());
        EXPECT_EQ(SortedCorners(quad, 3), bottom);
        std::vector<Point> right = {PointOf(quad, 1), PointOf(quad, 3), PointOf(quad, 5)};
        std::sort(right.begin(), right.end());
        EXPECT_EQ(SortedCorners(quad, 5), right);
    }
}

}  // namespace
