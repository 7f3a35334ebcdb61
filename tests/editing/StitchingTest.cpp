#include <gtest/gtest.h>

#include <map>
#include <vector>

#include "AdjacencyChecks.h"

namespace {

using namespace QuorvelTest;

typedef TMesh<double, TVertexPN<double>, CA8, unsigned int> Mesh;
typedef TVector3<double> D3;  // ordered lexicographically, so usable as a key

template <typename M>
D3 At(const M& mesh, unsigned int v) {
    const auto& p = mesh.m_Vertices[v].m_Position;
    return D3(p.x, p.y, p.z);
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
    // The copy moves against the normal (+z) and keeps the winding.
    for (unsigned int f = 0; f < 12; ++f)
        for (int k = 0; k < 3; ++k)
            EXPECT_EQ(mesh.m_Faces[f + 12].m_Corners[k], mesh.m_Faces[f].m_Corners[k] + 12);
    for (unsigned int v = 0; v < 12; ++v)
        EXPECT_EQ(At(mesh, v + 12), At(mesh, v) - D3(0, 0, 0.25));

    // Welded by position, with the copy turned over, the faces close into a
    // consistently wound sphere; the original faces +z above the copy, so
    // every wall faces out.
    Mesh welded;
    std::map<D3, unsigned int> ids;
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f) {
        unsigned int id[3];
        for (int k = 0; k < 3; ++k) {
            const D3 p = At(mesh, mesh.m_Faces[f].m_Corners[k]);
            const auto added = ids.emplace(p, unsigned(ids.size()));
            if (added.second)
                AddVertex(welded, p.x, p.y, p.z);
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
