#include <gtest/gtest.h>

#include <vector>

#include "AdjacencyChecks.h"

namespace {

using namespace QuorvelTest;

typedef TMesh<double, TVertexPN<double>, CA8, unsigned int> Mesh;
typedef TPolygon<double, TVector3<double>> Polygon;

// The walk's output from `first` on as vertex indices, recovered by position.
V Visited(const Mesh& mesh, const Polygon& polygon, unsigned int first = 0) {
    V visited;
    for (unsigned int p = first; p < polygon.GetCount(); ++p) {
        unsigned int v = 0;
        while (v < mesh.m_Vertices.GetCount() && !(mesh.m_Vertices[v].m_Position == polygon[p]))
            ++v;
        visited.push_back(v);
    }
    return visited;
}

V Marked(const Mesh& mesh, unsigned int mark) {
    V marked;
    for (unsigned int v = 0; v < mesh.m_VertexAttributes.GetCount(); ++v)
        if (mesh.m_VertexAttributes[v].m_Value & mark)
            marked.push_back(v);
    return marked;
}

TEST(OpenContour, RimIsWalkedByFewestMarkedNeighboursAndClosedByABoundedScan) {
    // Triangle: 0, then 1 (first of two equally good neighbours); 2 is then
    // a dead end and the closing scan, bounded by vertex 1's two neighbours,
    // misses it. Square: the walk stalls beside 2, below the bound, so the
    // scan completes the loop. 3 x 2 squares, rim 0 1 2 3 7 11 10 9 8 4: at
    // 9 the diagonal neighbour 4 ties with the corner 8 and wins by list
    // order; 8 lies above the bound (4 has four neighbours) and stays marked.
    const struct {
        unsigned int n, m;
        V visited, left;
    } cases[] = {{0, 0, {0, 1}, {2}}, {1, 1, {0, 1, 3, 2}, {}}, {3, 2, {0, 1, 2, 3, 7, 11, 10, 9, 4}, {8}}};
    for (const auto& c : cases) {
        Mesh mesh;
        if (c.n == 0)
            MakeTriangle(mesh);
        else
            MakeGrid(mesh, c.n, c.m);
        PrepareForEditing(mesh);
        Polygon polygon, again;
        mesh.ExtractOpenContour(CA8(4), &polygon);
        EXPECT_EQ(Visited(mesh, polygon), c.visited) << c.n;
        EXPECT_EQ(Marked(mesh, 0xFF), c.left) << c.n;
        // A second call re-marks the whole rim and walks it the same way.
        mesh.ExtractOpenContour(CA8(4), &again);
        EXPECT_EQ(Visited(mesh, again), c.visited) << c.n;
    }
}

TEST(OpenContour, ClosedMeshAddsNothingAndMarksCountByAnyBit) {
    Mesh mesh;
    MakeTetrahedron(mesh);
    PrepareForEditing(mesh);
    Polygon polygon;
    polygon.Add(TVector3<double>(7, 7, 7));
    mesh.ExtractOpenContour(CA8(0x06), &polygon);
    ASSERT_EQ(polygon.GetCount(), 1u);  // kept, not cleared
    EXPECT_TRUE(Marked(mesh, 0xFF).empty());

    // One bit of the flag marks a vertex; a visit clears the flag's bits only.
    mesh.m_VertexAttributes[2] = CA8(0x04 | 0x10);
    mesh.ExtractOpenContour(CA8(0x06), &polygon);
    EXPECT_EQ(Visited(mesh, polygon, 1), (V{2}));
    EXPECT_EQ(mesh.m_VertexAttributes[2].m_Value, 0x10);
}

}  // namespace
