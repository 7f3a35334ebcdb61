#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <vector>

// The face-adding helpers are private members.
#include "MeshInternals.h"

#include "AdjacencyChecks.h"

using namespace QuorvelTest;

namespace {

typedef TMesh<float, TVertexPN<float>, CA8, unsigned short> MeshF16;
typedef TMesh<double, TVertexPNC<double>, CA32, unsigned int> MeshD32;

template <typename Mesh>
class DegenerateFaces : public ::testing::Test { };
typedef ::testing::Types<MeshF16, MeshD32> MeshTypes;
TYPED_TEST_SUITE(DegenerateFaces, MeshTypes);

template <typename Mesh>
std::vector<double> Xs(const Mesh& mesh) {
    std::vector<double> out;
    for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v)
        out.push_back(mesh.m_Vertices[v].m_Position.x);
    return out;
}

}  // namespace

TYPED_TEST(DegenerateFaces, CreateAndMakeDegenerateGiveEachFaceItsOwnVertices) {
    typedef TypeParam Mesh;
    typedef TVector3<RealOf<Mesh>> Vector;
    Mesh source;
    MakeTetrahedron(source);
    for (unsigned int v = 0; v < 4; ++v)
        source.m_Vertices[v].SetColour(100 + v);
    // The cached box is copied as it stands, not rebuilt.
    source.m_BoundingBox.m_Max = Vector(42, 2, 3);

    std::unique_ptr<Mesh> soup(source.CreateDegenerate());
    ASSERT_EQ(soup->m_Vertices.GetCount(), 12u);
    EXPECT_EQ(AllCorners(*soup), (V{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}));
    EXPECT_EQ(soup->m_BoundingBox.m_Max, source.m_BoundingBox.m_Max);
    // A soup vertex belongs to one face, so its normal is that face's.
    const double r = 1 / std::sqrt(3.0);
    const Vector outward[4] = {Vector(0, 0, -1), Vector(0, -1, 0), Vector(-1, 0, 0), Vector(r, r, r)};
    for (unsigned int v = 0; v < 12; ++v) {
        const unsigned int original = source.m_Faces[v / 3].m_Corners[v % 3];
        EXPECT_EQ(soup->m_Vertices[v].m_Position, source.m_Vertices[original].m_Position) << v;
        EXPECT_EQ(ColourOf(*soup, v), ColourOf(source, original)) << v;
        EXPECT_NEAR(soup->m_Vertices[v].m_Normal.DiffVectLen(outward[v / 3]), 0, 1e-6) << v;
    }

    source.MakeDegenerate();
    EXPECT_EQ(AllCorners(source), AllCorners(*soup));
    EXPECT_EQ(Xs(source), Xs(*soup));

    // Ten vertices and two faces: the corner copies go to 0..5 and the old
    // contents of 6..9 stay, the count is never lowered.
    Mesh mesh;
    for (int v = 0; v < 10; ++v)
        AddVertex(mesh, v, 10 * v, 0);
    AddFace(mesh, 9, 0, 5);
    AddFace(mesh, 5, 8, 9);
    mesh.MakeDegenerate();
    EXPECT_EQ(AllCorners(mesh), (V{0, 1, 2, 3, 4, 5}));
    EXPECT_EQ(Xs(mesh), (std::vector<double>{9, 0, 5, 5, 8, 9, 6, 7, 8, 9}));
}

TYPED_TEST(DegenerateFaces, AddedFacesWindAgainstTheReference) {
    typedef TVector3<RealOf<TypeParam>> Vector;
    TypeParam mesh;
    // (P0 - P1) x (P1 - P2) = (0, 0, 4): twice the area, deliberately unnormalised.
    AddTables(mesh, {{0, 0, 0}, {2, 0, 0}, {0, 2, 0}}, {});
    Vector up(0, 0, 1), side(1, 0, 0), down(0, 0, -1);
    CMeshTestAccess::AddDegenerateFace(mesh, 0, 1, 2, up);
    CMeshTestAccess::AddDegenerateFace(mesh, 0, 1, 2, side);  // d == 0 reverses too
    CMeshTestAccess::AddDegenerateFace(mesh, 0, 1, 2, down);
    EXPECT_EQ(AllCorners(mesh), (V{3, 4, 5, 8, 7, 6, 11, 10, 9}));
    ASSERT_EQ(mesh.m_Vertices.GetCount(), 12u);
    for (unsigned int v = 3; v < 12; ++v) {
        EXPECT_EQ(mesh.m_Vertices[v].m_Position, mesh.m_Vertices[v % 3].m_Position);
        EXPECT_EQ(mesh.m_Vertices[v].m_Normal, Vector(0, 0, v < 6 ? 4 : -4));
    }
}

TYPED_TEST(DegenerateFaces, RemoveDegenerateFacesMergesShortEdgesUntilNothingChanges) {
    TypeParam mesh;
    // 1-3 is short, so 1 merges into 3; (5, 1, 6) then becomes short and 5
    // merges into 3 too, leaving (0, 3, 7); (2, 4, 6) is never short.
    AddTables(mesh, {{0, 0, 0}, {1, 0, 0}, {0, 5, 0}, {1.05, 0, 0}, {3, 3, 0}, {1.12, 0, 0}, {1, 4, 0}, {0, 9, 0}},
              {{0, 1, 3}, {5, 1, 6}, {0, 5, 7}, {2, 4, 6}});
    mesh.RemoveDegenerateFaces(0);
    EXPECT_EQ(AllCorners(mesh), (V{0, 1, 3, 5, 1, 6, 0, 5, 7, 2, 4, 6}));
    mesh.RemoveDegenerateFaces(0.1);
    EXPECT_EQ(AllCorners(mesh), (V{0, 3, 7, 2, 4, 6}));
    EXPECT_EQ(mesh.m_Vertices.GetCount(), 8u);
}

TYPED_TEST(DegenerateFaces, DiscardFacesComparesOnlyTheFirstTwoCorners) {
    TypeParam mesh;
    // Marked runs at the front and at the end; (3, 5, 3) repeats a corner
    // but is kept. The last face fills each hole.
    AddTables(mesh, {{0, 0, 1}, {1, 1, 1}, {2, 4, 1}, {3, 9, 1}, {4, 16, 1}, {5, 25, 1}},
              {{0, 0, 0}, {0, 1, 2}, {3, 3, 5}, {3, 5, 3}, {1, 2, 4}, {4, 4, 1}, {5, 5, 5}});
    BuildConnectivity(mesh);
    mesh.DiscardFaces();
    EXPECT_EQ(AllCorners(mesh), (V{3, 5, 3, 0, 1, 2, 1, 2, 4}));
    // The tables that the new face order invalidates are freed, not left stale.
    EXPECT_EQ(mesh.m_FaceConnectivity.GetStream(), nullptr);
    EXPECT_EQ(mesh.m_VertexConnectivity.GetCount(), 0u);
}

TYPED_TEST(DegenerateFaces, DiscardVerticesRenumbersAndKeepsAttributesOnlyWhenInStep) {
    typedef typename std::remove_reference<decltype(TypeParam().m_VertexAttributes[0])>::type Attribute;
    // Vertices 0 and 2 are unused. Five attributes are per-vertex data and
    // follow the vertices; four are not, and stay as they were.
    for (unsigned int attributes : {5u, 4u}) {
        TypeParam mesh;
        AddTables(mesh, {{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {3, 0, 0}, {4, 0, 0}}, {{4, 1, 3}, {3, 4, 1}});
        for (unsigned int a = 0; a < attributes; ++a)
            mesh.m_VertexAttributes.Add(Attribute(10 + a));
        mesh.DiscardVertices();
        EXPECT_EQ(Xs(mesh), (std::vector<double>{1, 3, 4}));
        EXPECT_EQ(AllCorners(mesh), (V{2, 0, 1, 1, 2, 0}));
        V values;
        for (unsigned int a = 0; a < mesh.m_VertexAttributes.GetCount(); ++a)
            values.push_back(AttributeOf(mesh, a));
        EXPECT_EQ(values, attributes == 5 ? (V{11, 13, 14}) : (V{10, 11, 12, 13}));
    }
    TypeParam faceless;
    for (int v = 0; v < 5; ++v)
        AddVertex(faceless, v, 0, 0);
    faceless.DiscardVertices();
    EXPECT_EQ(faceless.m_Vertices.GetCount(), 0u);
}
