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

using namespace QuorvelTest;

namespace {

typedef TMesh<float, TVertexPN<float>, CA8, unsigned short> MeshF16;
typedef TMesh<double, TVertexPNC<double>, CA32, unsigned int> MeshD32;

template <typename Mesh>
class DegenerateFaces : public ::testing::Test {};
typedef ::testing::Types<MeshF16, MeshD32> MeshTypes;
TYPED_TEST_SUITE(DegenerateFaces, MeshTypes);

template <typename Mesh>
std::vector<unsigned int> Corners(const Mesh& mesh) {
    std::vector<unsigned int> out;
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f)
        for (int k = 0; k < 3; ++k) out.push_back(mesh.m_Faces[f].m_Corners[k]);
    return out;
}

template <typename Real>
TVector3<Real> UnitFaceNormal(const TVector3<Real>& p0, const TVector3<Real>& p1, const TVector3<Real>& p2) {
    TVector3<Real> n = (p0 - p1) * (p1 - p2);
    return n / n.GetLength();
}

template <typename Attribute>
unsigned int Value(const Attribute& attribute) {
    return static_cast<unsigned int>(attribute.m_Value);
}

template <typename Mesh>
void ExpectNear(const TVector3<RealOf<Mesh>>& a, double x, double y, double z, double tolerance = 1e-6) {
    EXPECT_NEAR(a.x, x, tolerance);
    EXPECT_NEAR(a.y, y, tolerance);
    EXPECT_NEAR(a.z, z, tolerance);
}

}  // namespace

TYPED_TEST(DegenerateFaces, CreateDegenerateGivesEachFaceItsOwnVertices) {
    typedef TypeParam Mesh;
    Mesh source(0, 17, 0, 23);
    MakeTetrahedron(source);
    for (unsigned int v = 0; v < 4; ++v) source.m_Vertices[v].SetColour(100 + v);
    // The cached box is copied as it stands, not rebuilt.
    source.m_BoundingBox.m_Min = TVector3<RealOf<Mesh>>(-1, -2, -3);
    source.m_BoundingBox.m_Max = TVector3<RealOf<Mesh>>(42, 2, 3);

    std::unique_ptr<Mesh> soup(source.CreateDegenerate());
    ASSERT_NE(soup, nullptr);
    ASSERT_EQ(soup->m_Vertices.GetCount(), 12u);
    EXPECT_EQ(Corners(*soup), (std::vector<unsigned int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}));
    EXPECT_EQ(soup->m_Vertices.GetGrowSize(), 17u);
    EXPECT_EQ(soup->m_Faces.GetGrowSize(), 23u);
    EXPECT_EQ(soup->m_BoundingBox.m_Min, source.m_BoundingBox.m_Min);
    EXPECT_EQ(soup->m_BoundingBox.m_Max, source.m_BoundingBox.m_Max);

    for (unsigned int f = 0; f < 4; ++f) {
        const auto* corners = source.m_Faces[f].m_Corners;
        const auto expectedNormal = UnitFaceNormal(source.m_Vertices[corners[0]].m_Position,
                                                   source.m_Vertices[corners[1]].m_Position,
                                                   source.m_Vertices[corners[2]].m_Position);
        for (int k = 0; k < 3; ++k) {
            const auto& copy = soup->m_Vertices[3 * f + k];
            const auto& original = source.m_Vertices[corners[k]];
            EXPECT_EQ(copy.m_Position, original.m_Position);
            unsigned int copyColour, originalColour;
            float x, y, z, nx, ny, nz;
            copy.GetData(x, y, z, nx, ny, nz, copyColour);
            original.GetData(x, y, z, nx, ny, nz, originalColour);
            EXPECT_EQ(copyColour, originalColour);
            // A vertex of a soup belongs to one face, so its normal is that face's.
            ExpectNear<Mesh>(copy.m_Normal, expectedNormal.x, expectedNormal.y, expectedNormal.z);
        }
    }
    EXPECT_EQ(soup->m_VertexAttributes.GetCount(), 0u);
    EXPECT_EQ(soup->m_FaceConnectivity.GetCount(), 0u);
    EXPECT_EQ(source.m_Vertices.GetCount(), 4u);
}

TYPED_TEST(DegenerateFaces, MakeDegenerateRaisesButNeverLowersTheVertexCount) {
    typedef TypeParam Mesh;
    Mesh tetrahedron;
    MakeTetrahedron(tetrahedron);
    std::unique_ptr<Mesh> expected(tetrahedron.CreateDegenerate());
    tetrahedron.MakeDegenerate();
    ASSERT_EQ(tetrahedron.m_Vertices.GetCount(), 12u);
    EXPECT_EQ(Corners(tetrahedron), Corners(*expected));
    for (unsigned int v = 0; v < 12; ++v) {
        EXPECT_EQ(tetrahedron.m_Vertices[v].m_Position, expected->m_Vertices[v].m_Position);
        EXPECT_EQ(tetrahedron.m_Vertices[v].m_Normal, expected->m_Vertices[v].m_Normal);
    }

    // Ten vertices and two faces: the six corner copies go to 0..5 and the
    // old contents of 6..9 stay where they are.
    Mesh mesh;
    for (int v = 0; v < 10; ++v) AddVertex(mesh, v, 10 * v, 0);
    AddFace(mesh, 9, 0, 5);
    AddFace(mesh, 5, 8, 9);
    mesh.MakeDegenerate();
    ASSERT_EQ(mesh.m_Vertices.GetCount(), 10u);
    EXPECT_EQ(Corners(mesh), (std::vector<unsigned int>{0, 1, 2, 3, 4, 5}));
    const int copiedFrom[6] = {9, 0, 5, 5, 8, 9};
    for (int v = 0; v < 6; ++v) EXPECT_EQ(mesh.m_Vertices[v].m_Position.x, copiedFrom[v]) << v;
    for (int v = 6; v < 10; ++v) EXPECT_EQ(mesh.m_Vertices[v].m_Position.x, v) << v;
}

TYPED_TEST(DegenerateFaces, AddDegenerateFaceWindsAgainstTheReference) {
    typedef TypeParam Mesh;
    typedef RealOf<Mesh> Real;
    typedef TVector3<Real> Vector;
    Mesh mesh;
    // (P0 - P1) x (P1 - P2) = (0, 0, 4): twice the area, deliberately unnormalised.
    AddVertex(mesh, 0, 0, 0);
    AddVertex(mesh, 2, 0, 0);
    AddVertex(mesh, 0, 2, 0);

    Vector up(0, 0, 1), side(1, 0, 0), down(0, 0, -1);
    mesh.AddDegenerateFace(0, 1, 2, up);
    mesh.AddDegenerateFace(0, 1, 2, side);  // d == 0 reverses too
    mesh.AddDegenerateFace(0, 1, 2, down);
    EXPECT_EQ(Corners(mesh), (std::vector<unsigned int>{3, 4, 5, 8, 7, 6, 11, 10, 9}));
    ASSERT_EQ(mesh.m_Vertices.GetCount(), 12u);
    for (unsigned int v = 3; v < 12; ++v) {
        EXPECT_EQ(mesh.m_Vertices[v].m_Position, mesh.m_Vertices[v % 3].m_Position);
        ExpectNear<Mesh>(mesh.m_Vertices[v].m_Normal, 0, 0, v < 6 ? 4 : -4, 0);
    }

    // The wall between edge 0-1 and its copy three vertices up.
    Mesh wall;
    AddVertex(wall, 0, 0, 0);
    AddVertex(wall, 1, 0, 0);
    AddVertex(wall, 5, 5, 5);
    AddVertex(wall, 0, 0, 1);
    AddVertex(wall, 1, 0, 1);
    Vector outward(0, -1, 0);
    wall.AddEdgePair(0, 1, 3, outward);
    EXPECT_EQ(Corners(wall), (std::vector<unsigned int>{5, 6, 7, 8, 9, 10}));
    const double expectedX[6] = {0, 1, 0, 1, 0, 1};
    const double expectedZ[6] = {0, 0, 1, 1, 1, 0};
    for (int v = 0; v < 6; ++v) {
        EXPECT_EQ(wall.m_Vertices[5 + v].m_Position.x, expectedX[v]);
        EXPECT_EQ(wall.m_Vertices[5 + v].m_Position.z, expectedZ[v]);
        ExpectNear<Mesh>(wall.m_Vertices[5 + v].m_Normal, 0, -1, 0, 0);
    }
}

TEST(DegenerateFacesIndex16, NewVertexNumbersWrapAt65536) {
    MeshF16 mesh(65540, 1000, 4, 1000);
    for (unsigned int v = 0; v < 65535; ++v) AddVertex(mesh, v % 7, v % 5, 0);
    TVector3<float> reference(0, 0, -1);
    mesh.AddDegenerateFace(0, 1, 2, reference);
    EXPECT_EQ(mesh.m_Vertices.GetCount(), 65538u);
    // Positions 0..2 are (0,0), (1,1), (2,2): collinear, d == 0, reversed.
    EXPECT_EQ(Corners(mesh), (std::vector<unsigned int>{1, 0, 65535}));
}

TYPED_TEST(DegenerateFaces, RemoveDegenerateFacesMergesShortEdgesUntilNothingChanges) {
    typedef TypeParam Mesh;
    Mesh mesh;
    AddVertex(mesh, 0, 0, 0);     // 0
    AddVertex(mesh, 1, 0, 0);     // 1
    AddVertex(mesh, 0, 5, 0);     // 2
    AddVertex(mesh, 1.05, 0, 0);  // 3: 0.05 from 1
    AddVertex(mesh, 3, 3, 0);     // 4
    AddVertex(mesh, 1.12, 0, 0);  // 5: 0.12 from 1, 0.07 from 3
    AddVertex(mesh, 1, 4, 0);     // 6
    AddVertex(mesh, 0, 9, 0);     // 7
    AddFace(mesh, 0, 1, 3);  // short edge 1-3: 1 merges into 3
    AddFace(mesh, 5, 1, 6);  // becomes (5, 3, 6): short only after the merge
    AddFace(mesh, 0, 5, 7);  // becomes (0, 3, 7) when 5 merges into 3
    AddFace(mesh, 2, 4, 6);  // never short

    Mesh untouched(mesh);
    untouched.RemoveDegenerateFaces(0);
    EXPECT_EQ(Corners(untouched), Corners(mesh));

    mesh.RemoveDegenerateFaces(0.1);
    EXPECT_EQ(Corners(mesh), (std::vector<unsigned int>{0, 3, 7, 2, 4, 6}));
    EXPECT_EQ(mesh.m_Vertices.GetCount(), 8u);

    // Edge c-a short: c merges into a; a face naming one vertex twice is
    // removed only with a positive tolerance.
    Mesh closing;
    AddVertex(closing, 0, 0, 0);
    AddVertex(closing, 4, 0, 0);
    AddVertex(closing, 0.01, 0, 0);
    AddVertex(closing, 0, 4, 0);
    AddFace(closing, 2, 1, 3);
    AddFace(closing, 3, 3, 1);
    AddFace(closing, 0, 1, 2);
    closing.RemoveDegenerateFaces(0);
    EXPECT_EQ(closing.m_Faces.GetCount(), 3u);
    closing.RemoveDegenerateFaces(0.1);
    EXPECT_EQ(Corners(closing), (std::vector<unsigned int>{0, 1, 3}));
}

TYPED_TEST(DegenerateFaces, DiscardFacesComparesOnlyTheFirstTwoCorners) {
    typedef TypeParam Mesh;
    Mesh mesh;
    for (int v = 0; v < 6; ++v) AddVertex(mesh, v, v * v, 1);
    AddFace(mesh, 0, 1, 2);
    AddFace(mesh, 3, 3, 5);
    AddFace(mesh, 3, 5, 3);
    AddFace(mesh, 1, 2, 4);
    BuildConnectivity(mesh);
    mesh.AssignFaceNormals();
    mesh.DiscardFaces();
    // The last face fills the hole.
    EXPECT_EQ(Corners(mesh), (std::vector<unsigned int>{0, 1, 2, 1, 2, 4, 3, 5, 3}));
    EXPECT_EQ(mesh.m_FaceConnectivity.GetCount(), 0u);
    EXPECT_EQ(mesh.m_FaceConnectivity.GetStream(), nullptr);
    EXPECT_EQ(mesh.m_VertexConnectivity.GetCount(), 0u);
    EXPECT_EQ(mesh.m_VertexFaceConnectivity.GetCount(), 6u);
    EXPECT_EQ(mesh.m_FaceNormals.GetCount(), 4u);

    // Runs of marked faces at the end and at the front.
    Mesh runs;
    for (int v = 0; v < 6; ++v) AddVertex(runs, v, 0, 0);
    AddFace(runs, 0, 0, 0);
    AddFace(runs, 1, 2, 3);
    AddFace(runs, 4, 4, 1);
    AddFace(runs, 5, 5, 5);
    runs.DiscardFaces();
    EXPECT_EQ(Corners(runs), (std::vector<unsigned int>{1, 2, 3}));
}

TYPED_TEST(DegenerateFaces, DiscardVerticesRenumbersAndKeepsPerVertexAttributesInStep) {
    typedef TypeParam Mesh;
    typedef decltype(Mesh().m_VertexAttributes[0]) AttributeRef;
    typedef typename std::remove_reference<AttributeRef>::type Attribute;

    auto build = [](Mesh& mesh, unsigned int attributes) {
        for (int v = 0; v < 5; ++v) AddVertex(mesh, v, 0, 0);
        AddFace(mesh, 4, 1, 3);
        AddFace(mesh, 3, 4, 1);
        for (unsigned int a = 0; a < attributes; ++a) mesh.m_VertexAttributes.Add(Attribute(10 + a));
    };

    Mesh inStep;
    build(inStep, 5);
    inStep.DiscardVertices();
    ASSERT_EQ(inStep.m_Vertices.GetCount(), 3u);
    EXPECT_EQ(inStep.m_Vertices[0].m_Position.x, 1);
    EXPECT_EQ(inStep.m_Vertices[1].m_Position.x, 3);
    EXPECT_EQ(inStep.m_Vertices[2].m_Position.x, 4);
    EXPECT_EQ(Corners(inStep), (std::vector<unsigned int>{2, 0, 1, 1, 2, 0}));
    ASSERT_EQ(inStep.m_VertexAttributes.GetCount(), 3u);
    EXPECT_EQ(Value(inStep.m_VertexAttributes[0]), 11u);
    EXPECT_EQ(Value(inStep.m_VertexAttributes[1]), 13u);
    EXPECT_EQ(Value(inStep.m_VertexAttributes[2]), 14u);

    Mesh shortList;
    build(shortList, 4);
    shortList.DiscardVertices();
    EXPECT_EQ(shortList.m_Vertices.GetCount(), 3u);
    ASSERT_EQ(shortList.m_VertexAttributes.GetCount(), 4u);
    for (unsigned int a = 0; a < 4; ++a) EXPECT_EQ(Value(shortList.m_VertexAttributes[a]), 10u + a);

    Mesh faceless;
    for (int v = 0; v < 5; ++v) AddVertex(faceless, v, 0, 0);
    faceless.DiscardVertices();
    EXPECT_EQ(faceless.m_Vertices.GetCount(), 0u);
}
