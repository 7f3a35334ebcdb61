#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <tuple>
#include <vector>

#include "MeshFixtures.h"

namespace {

using namespace QuorvelTest;

typedef TMesh<double, TVertexPN<double>, CA8, unsigned int> Mesh;
typedef std::tuple<double, double, double> Point;

template <typename M>
Point PointOf(const M& mesh, unsigned int v) {
    const auto& p = mesh.m_Vertices[v].m_Position;
    return Point(p.x, p.y, p.z);
}

// Corner k of face f in double, and (p1 - p0) x (p2 - p0): the face is
// counter-clockwise seen from where that points.
template <typename M>
TVector3<double> Corner(const M& mesh, unsigned int f, int k) {
    const auto& p = mesh.m_Vertices[mesh.m_Faces[f].m_Corners[k]].m_Position;
    return TVector3<double>(p.x, p.y, p.z);
}
template <typename M>
TVector3<double> WindingNormal(const M& mesh, unsigned int f) {
    return (Corner(mesh, f, 1) - Corner(mesh, f, 0)) * (Corner(mesh, f, 2) - Corner(mesh, f, 0));
}

template <typename M>
std::vector<Point> SortedPoints(const M& mesh, std::vector<unsigned int> vertices) {
    std::vector<Point> points;
    for (unsigned int v : vertices) points.push_back(PointOf(mesh, v));
    std::sort(points.begin(), points.end());
    return points;
}

template <typename M>
std::vector<Point> SortedCorners(const M& mesh, unsigned int f) {
    const auto* c = mesh.m_Faces[f].m_Corners;
    return SortedPoints(mesh, {c[0], c[1], c[2]});
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
    for (unsigned int k = 0; k < 3; ++k) {
        EXPECT_EQ(mesh.m_Faces[1].m_Corners[k], mesh.m_Faces[0].m_Corners[k] + 3);
        EXPECT_EQ(mesh.m_Vertices[k + 3].m_Position.z, -0.5f);
        EXPECT_EQ(mesh.m_Vertices[k + 3].m_Position.x, mesh.m_Vertices[k].m_Position.x);
    }
    // Per open edge (0-1, 1-2, then 2-0 taken as 0-2): the quad p q q' p'
    // split along q-p', each half facing away from the triangle.
    const std::vector<unsigned int> walls[6] = {{0, 1, 3}, {4, 3, 1}, {1, 2, 4}, {5, 4, 2}, {0, 2, 3}, {5, 3, 2}};
    const TVector3<double> away[3] = {{0, -1, 0}, {1, 1, 0}, {-1, 0, 0}};
    for (unsigned int w = 0; w < 6; ++w) {
        EXPECT_EQ(SortedCorners(mesh, 2 + w), SortedPoints(mesh, walls[w])) << "wall " << w;
        for (int k = 0; k < 3; ++k) EXPECT_GE(mesh.m_Faces[2 + w].m_Corners[k], 6 + 3 * w) << "wall " << w;
        EXPECT_GT(WindingNormal(mesh, 2 + w) % away[w / 2], 0) << "wall " << w;
    }
}

TEST(Stitching, OffsetStitchClosesAnOpenPatchIntoAWeldedShell) {
    Mesh mesh;
    MakeGrid(mesh, 3, 2);
    mesh.AssignVertexNormals();
    mesh.OffsetStitch(0.25, true);
    // 12 vertices and faces per shell; 10 rim edges, each a wall of two
    // triangles on six fresh vertices.
    ASSERT_EQ(mesh.m_Vertices.GetCount(), 24u + 60u);
    ASSERT_EQ(mesh.m_Faces.GetCount(), 24u + 20u);
    for (unsigned int f = 0; f < 12; ++f)
        for (int k = 0; k < 3; ++k) EXPECT_EQ(mesh.m_Faces[f + 12].m_Corners[k], mesh.m_Faces[f].m_Corners[k] + 12);

    // Welded by position: every edge has two faces, the walls among
    // themselves are wound consistently, and the shell is a sphere.
    std::map<Point, unsigned int> ids;
    std::map<std::pair<unsigned int, unsigned int>, int> undirected;
    std::set<std::pair<unsigned int, unsigned int>> wallEdges;
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f) {
        unsigned int id[3];
        for (int k = 0; k < 3; ++k)
            id[k] = ids.emplace(PointOf(mesh, mesh.m_Faces[f].m_Corners[k]), unsigned(ids.size())).first->second;
        for (int k = 0; k < 3; ++k) {
            ++undirected[std::minmax(id[k], id[(k + 1) % 3])];
            EXPECT_TRUE(f < 24 || wallEdges.insert(std::make_pair(id[k], id[(k + 1) % 3])).second) << "face " << f;
        }
    }
    for (const auto& edge : undirected) EXPECT_EQ(edge.second, 2);
    EXPECT_EQ(ids.size(), 24u);
    EXPECT_EQ(int(ids.size()) - int(undirected.size()) + int(mesh.m_Faces.GetCount()), 2);

    // Every wall lies in one side of the box [0,3] x [0,2] and faces out of it.
    for (unsigned int f = 24; f < 44; ++f) {
        const TVector3<double> c = (Corner(mesh, f, 0) + Corner(mesh, f, 1) + Corner(mesh, f, 2)) / 3.0;
        const TVector3<double> out = c.x == 0 ? TVector3<double>(-1, 0, 0) : c.x == 3 ? TVector3<double>(1, 0, 0)
                                     : c.y == 0 ? TVector3<double>(0, -1, 0) : TVector3<double>(0, 1, 0);
        EXPECT_GT(WindingNormal(mesh, f) % out, 0) << "face " << f;
    }

    // No open edge: only the moved copy is appended.
    Mesh closed;
    MakeTetrahedron(closed);
    closed.AssignVertexNormals();
    closed.OffsetStitch(0.1, true);
    EXPECT_EQ(closed.m_Vertices.GetCount(), 8u);
    EXPECT_EQ(closed.m_Faces.GetCount(), 8u);
}

}  // namespace
