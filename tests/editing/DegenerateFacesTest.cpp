#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <vector>

// The face-adding helpers are private members.
#define private public
#define protected public
#include "MeshFixtures.h"
#undef private
#undef protected

#include "AdjacencyChecks.h"

using namespace QuorvelTest;

namespace {

typedef std::vector<unsigned int> V;
typedef TMesh<float, TVertexPN<float>, CA8, unsigned short> MeshF16;
typedef TMesh<double, TVertexPNC<double>, CA32, unsigned int> MeshD32;

template <typename Mesh>
class DegenerateFaces : public ::testing::Test {};
typedef ::testing::Types<MeshF16, MeshD32> MeshTypes;
TYPED_TEST_SUITE(DegenerateFaces, MeshTypes);

template <typename Mesh>
std::vector<double> Xs(const Mesh& mesh) {
    std::vector<double> out;
    for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v) out.push_back(mesh.m_Vertices[v].m_Position.x);
    return out;
}

}  // namespace

TYPED_TEST(DegenerateFaces, CreateAndMakeDegenerateGiveEachFaceItsOwnVertices) {
    typedef TypeParam Mesh;
    typedef TVector3<RealOf<Mesh>> Vector;
    Mesh source;
    MakeTetrahedron(source);
    for (unsigned int v = 0; v < 4; ++v) source.m_Vertices[v].SetColour(100 + v);
    // The cached box is copied as it stands, not rebuilt.
    source.m_BoundingBox.m_Min = Vector(-1, -2, -3);
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
    for (int v = 0; v < 10; ++v) AddVertex(mesh, v, 10 * v, 0);
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
    mesh.AddDegenerateFace(0, 1, 2, up);
    mesh.AddDegenerateFace(0, 1, 2, side);  // d == 0 reverses too
    mesh.AddDegenerateFace(0, 1, 2, down);
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
    TypeParam untouched(mesh);
    untouched.RemoveDegenerateFaces(0);
    EXPECT_EQ(AllCorners(untouched), AllCorners(mesh));
    mesh.RemoveDegenerateFaces(0.1);
    EXPECT_EQ(AllCorners(mesh), (V{0, 3, 7, 2, 4, 6}));
    EXPECT_EQ(mesh.m_Vertices.GetCount(), 8u);

}

TYPED_TEST(DegenerateFaces, DiscardFacesComparesOnlyTheFirstTwoCorners) {
    TypeParam mesh;
    AddTables(mesh, {{0, 0, 1}, {1, 1, 1}, {2, 4, 1}, {3, 9, 1}, {4, 16, 1}, {5, 25, 1}},
              {{0, 1, 2}, {3, 3, 5}, {3, 5, 3}, {1, 2, 4}});
    BuildConnectivity(mesh);
    mesh.AssignFaceNormals();
    mesh.DiscardFaces();
    // The last face fills the hole; the tables it invalidates are freed, the
    // per-vertex face lists and face normals are left alone.
    EXPECT_EQ(AllCorners(mesh), (V{0, 1, 2, 1, 2, 4, 3, 5, 3}));
    EXPECT_EQ(mesh.m_FaceConnectivity.GetStream(), nullptr);
    EXPECT_EQ(mesh.m_VertexConnectivity.GetCount(), 0u);
    EXPECT_EQ(mesh.m_VertexFaceConnectivity.GetCount(), 6u);
    EXPECT_EQ(mesh.m_FaceNormals.GetCount(), 4u);

    // Runs of marked faces at the end and at the front.
    TypeParam runs;
    AddTables(runs, {{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {3, 0, 0}, {4, 0, 0}, {5, 0, 0}},
              {{0, 0, 0}, {1, 2, 3}, {4, 4, 1}, {5, 5, 5}});
    runs.DiscardFaces();
    EXPECT_EQ(AllCorners(runs), (V{1, 2, 3}));
}

TYPED_TEST(DegenerateFaces, DiscardVerticesRenumbersAndKeepsAttributesOnlyWhenInStep) {
    typedef typename std::remove_reference<decltype(TypeParam().m_VertexAttributes[0])>::type Attribute;
    auto build = [](TypeParam& mesh, unsigned int attributes) {
        AddTables(mesh, {{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {3, 0, 0}, {4, 0, 0}}, {{4, 1, 3}, {3, 4, 1}});
        for (unsigned int a = 0; a < attributes; ++a) mesh.m_VertexAttributes.Add(Attribute(10 + a));
    };
    auto values = [](const TypeParam& mesh) {
        V out;
        for (unsigned int a = 0; a < mesh.m_VertexAttributes.GetCount(); ++a)
            out.push_back(static_cast<unsigned int>(mesh.m_VertexAttributes[a].m_Value));
        return out;
    };
    TypeParam inStep, shortList, faceless;
    build(inStep, 5);
    inStep.DiscardVertices();
    EXPECT_EQ(Xs(inStep), (std::vector<double>{1, 3, 4}));
    EXPECT_EQ(AllCorners(inStep), (V{2, 0, 1, 1, 2, 0}));
    EXPECT_EQ(values(inStep), (V{11, 13, 14}));

    build(shortList, 4);
    shortList.DiscardVertices();
    EXPECT_EQ(shortList.m_Vertices.GetCount(), 3u);
    EXPECT_EQ(values(shortList), (V{10, 11, 12, 13}));

    for (int v = 0; v < 5; ++v) AddVertex(faceless, v, 0, 0);
    faceless.DiscardVertices();
    EXPECT_EQ(faceless.m_Vertices.GetCount(), 0u);
}
