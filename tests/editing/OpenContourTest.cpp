#include <gtest/gtest.h>

#include <vector>

#include "MeshFixtures.h"
#include "meshes/TMesh.h"

namespace {

using namespace QuorvelTest;

typedef TMesh<double, TVertexPN<double>, CA8, unsigned int> Mesh;
typedef TPolygon<double, TVector3<double>> Polygon;

// Connectivity and zeroed vertex attributes: what the walk expects.
void Prepare(Mesh& mesh) {
    BuildConnectivity(mesh);
    mesh.AllocateVertexAttributeBuffer();
    mesh.ResetAttributes();
}

// The walk's output as vertex indices, recovered by position.
std::vector<unsigned int> VisitedVertices(const Mesh& mesh, const Polygon& polygon, unsigned int first = 0) {
    std::vector<unsigned int> visited;
    for (unsigned int p = first; p < polygon.GetCount(); ++p) {
        unsigned int v = 0;
        while (v < mesh.m_Vertices.GetCount() && !(mesh.m_Vertices[v].m_Position == polygon[p])) ++v;
        visited.push_back(v);
    }
    return visited;
}

std::vector<unsigned int> MarkedVertices(const Mesh& mesh, unsigned int mark) {
    std::vector<unsigned int> marked;
    for (unsigned int v = 0; v < mesh.m_VertexAttributes.GetCount(); ++v)
        if (mesh.m_VertexAttributes[v].m_Value & mark) marked.push_back(v);
    return marked;
}

TEST(OpenContour, OpenTriangleClosingScanStopsAtLastVisitedNeighbourCount) {
    Mesh mesh;
    MakeTriangle(mesh);
    Prepare(mesh);
    Polygon polygon;
    mesh.ExtractOpenContour(CA8(1), &polygon);

    // 0, then 1 (first of two equally good neighbours); 2 is then a dead end
    // and the closing scan, bounded by vertex 1's two neighbours, misses it.
    EXPECT_EQ(VisitedVertices(mesh, polygon), (std::vector<unsigned int>{0, 1}));
    EXPECT_EQ(MarkedVertices(mesh, 1), (std::vector<unsigned int>{2}));
}

TEST(OpenContour, GridRimIsWalkedByFewestMarkedNeighbours) {
    {
        // A single square: the walk stalls beside vertex 2, whose index lies
        // below the bound, so the closing scan completes the loop.
        Mesh mesh;
        MakeGrid(mesh, 1, 1);
        Prepare(mesh);
        Polygon polygon;
        mesh.ExtractOpenContour(CA8(4), &polygon);
        EXPECT_EQ(VisitedVertices(mesh, polygon), (std::vector<unsigned int>{0, 1, 3, 2}));
        EXPECT_TRUE(MarkedVertices(mesh, 4).empty());
    }
    {
        // 3 x 2 squares, rim 0 1 2 3 7 11 10 9 8 4. At 9 the diagonal
        // neighbour 4 ties with the corner 8 (one marked neighbour each) and
        // wins by list order; 8 is then a dead end and its index lies above
        // the bound (vertex 4 has four neighbours), so it keeps its mark.
        Mesh mesh;
        MakeGrid(mesh, 3, 2);
        Prepare(mesh);
        Polygon polygon;
        mesh.ExtractOpenContour(CA8(1), &polygon);
        EXPECT_EQ(VisitedVertices(mesh, polygon), (std::vector<unsigned int>{0, 1, 2, 3, 7, 11, 10, 9, 4}));
        EXPECT_EQ(MarkedVertices(mesh, 0xFF), (std::vector<unsigned int>{8}));

        // A second call re-marks the whole rim and walks it the same way.
        Polygon again;
        mesh.ExtractOpenContour(CA8(1), &again);
        EXPECT_EQ(VisitedVertices(mesh, again), VisitedVertices(mesh, polygon));
    }
}

TEST(OpenContour, ClosedMeshAddsNothingAndMarksCountByAnyBit) {
    Mesh mesh;
    MakeTetrahedron(mesh);
    Prepare(mesh);
    Polygon polygon;
    polygon.Add(TVector3<double>(7, 7, 7));

    mesh.ExtractOpenContour(CA8(0x06), &polygon);
    ASSERT_EQ(polygon.GetCount(), 1u);  // kept, not cleared
    EXPECT_TRUE(MarkedVertices(mesh, 0xFF).empty());

    // A vertex carrying one bit of the flag counts as marked; a visit clears
    // every bit of the flag and leaves the others.
    mesh.m_VertexAttributes[2] = CA8(0x04 | 0x10);
    mesh.ExtractOpenContour(CA8(0x06), &polygon);
    EXPECT_EQ(VisitedVertices(mesh, polygon, 1), (std::vector<unsigned int>{2}));
    EXPECT_EQ(mesh.m_VertexAttributes[2].m_Value, 0x10);
}

TEST(OpenContour, VertexWithoutNeighboursEndsTheWalk) {
    // Vertex 0 belongs to no face; the triangle 1 2 3 is open.
    Mesh mesh;
    AddVertex(mesh, 5, 5, 5);
    AddVertex(mesh, 0, 0, 0);
    AddVertex(mesh, 1, 0, 0);
    AddVertex(mesh, 0, 1, 0);
    AddFace(mesh, 1, 2, 3);
    Prepare(mesh);
    mesh.m_VertexAttributes[0] = CA8(1);

    Polygon polygon;
    mesh.ExtractOpenContour(CA8(1), &polygon);
    EXPECT_EQ(VisitedVertices(mesh, polygon), (std::vector<unsigned int>{0}));
    EXPECT_EQ(MarkedVertices(mesh, 1), (std::vector<unsigned int>{1, 2, 3}));
}

}  // namespace
