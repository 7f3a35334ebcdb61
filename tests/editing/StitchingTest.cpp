#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <vector>

#include "AdjacencyChecks.h"

namespace {

using namespace QuorvelTest;

typedef TMesh<double, TVertexPN<double>, CA8, unsigned int> Mesh;
typedef TVector3<double> D3;  // ordered lexicographically, so usable as a key

// The positions of the given vertices in double, sorted on request.
template <typename M>
std::vector<D3> Positions(const M& mesh, const V& vertices, bool sorted = false) {
    std::vector<D3> out;
    for (unsigned int v : vertices) {
        const auto& p = mesh.m_Vertices[v].m_Position;
        out.push_back(D3(p.x, p.y, p.z));
    }
    if (sorted)
        std::sort(out.begin(), out.end());
    return out;
}

// (p1 - p0) x (p2 - p0): face f is counter-clockwise seen from where it points.
template <typename M>
D3 WindingNormal(const M& mesh, unsigned int f) {
    const std::vector<D3> p = Positions(mesh, FaceCorners(mesh, f));
    return (p[1] - p[0]) * (p[2] - p[0]);
}

template <typename M>
class StitchTriangle : public ::testing::Test { };
typedef ::testing::Types<TMesh<float, TVertexPNC<float>, CA16, unsigned short>, Mesh> StitchTypes;
TYPED_TEST_SUITE(StitchTriangle, StitchTypes);

TYPED_TEST(StitchTriangle, OffsetStitchAddsCopyAndThreeWalls) {
    TypeParam mesh;
    MakeTriangle(mesh);
    mesh.AssignVertexNormals();
    mesh.OffsetStitch(0.5, true);
    // Triangle, copy moved against the normal, and three walls of two
    // triangles on fresh vertices.
    ASSERT_EQ(mesh.m_Vertices.GetCount(), 24u);
    ASSERT_EQ(mesh.m_Faces.GetCount(), 8u);
    EXPECT_EQ(FaceCorners(mesh, 1), (V{3, 4, 5}));
    for (unsigned int k = 0; k < 3; ++k)
        EXPECT_EQ(Positions(mesh, {k + 3})[0], Positions(mesh, {k})[0] - D3(0, 0, 0.5));
    // Per open edge (0-1, 1-2, then 2-0 taken as 0-2): the quad p q q' p'
    // split along q-p', each half facing away from the triangle.
    const V walls[6] = {{0, 1, 3}, {4, 3, 1}, {1, 2, 4}, {5, 4, 2}, {0, 2, 3}, {5, 3, 2}};
    const D3 away[3] = {{0, -1, 0}, {1, 1, 0}, {-1, 0, 0}};
    for (unsigned int w = 0; w < 6; ++w) {
        const V corners = FaceCorners(mesh, 2 + w);
        EXPECT_EQ(Positions(mesh, corners, true), Positions(mesh, walls[w], true)) << "wall " << w;
        EXPECT_GE(*std::min_element(corners.begin(), corners.end()), 6 + 3 * w) << "wall " << w;
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
        for (int k = 0; k < 3; ++k)
            EXPECT_EQ(mesh.m_Faces[f + 12].m_Corners[k], mesh.m_Faces[f].m_Corners[k] + 12);

    // Welded by position, with the copy turned over, the faces close into a
    // consistently wound sphere; the original faces +z above the copy, so
    // every wall faces out.
    Mesh welded;
    std::map<D3, unsigned int> ids;
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f) {
        const std::vector<D3> p = Positions(mesh, FaceCorners(mesh, f));
        unsigned int id[3];
        for (int k = 0; k < 3; ++k) {
            const auto added = ids.emplace(p[k], unsigned(ids.size()));
            if (added.second)
                AddVertex(welded, p[k].x, p[k].y, p[k].z);
            id[k] = added.first->second;
        }
        const bool copy = f >= 12 && f < 24;
        AddFace(welded, id[0], id[copy ? 2 : 1], id[copy ? 1 : 2]);
    }
    EXPECT_EQ(ids.size(), 24u);
    EXPECT_EQ(ClosedEuler(welded), 2);

    // No open edge: only the moved copy is appended.
    Mesh closed;
    MakeTetrahedron(closed);
    closed.AssignVertexNormals();
    closed.OffsetStitch(0.1, true);
    EXPECT_EQ(closed.m_Vertices.GetCount(), 8u);
    EXPECT_EQ(closed.m_Faces.GetCount(), 8u);
}

}  // namespace
