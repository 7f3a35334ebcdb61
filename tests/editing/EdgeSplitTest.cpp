#include <gtest/gtest.h>

#include <cmath>
#include <vector>

// SplitEdges is a private member.
#define private public
#define protected public
#include "MeshFixtures.h"
#undef private
#undef protected

#include "AdjacencyChecks.h"

using namespace QuorvelTest;

namespace {

typedef std::vector<unsigned int> V;
const unsigned int None = CFaceConnections::None;

template <typename Mesh>
class EdgeSplit : public ::testing::Test {};
typedef ::testing::Types<TMesh<float, TVertexPN<float>, CA8, unsigned short>,
                         TMesh<float, TVertexPNC<float>, CA16, unsigned int>,
                         TMesh<double, TVertexPN<double>, CA16, unsigned short>,
                         TMesh<double, TVertexPNC<double>, CA32, unsigned int>>
    MeshTypes;
TYPED_TEST_SUITE(EdgeSplit, MeshTypes);

template <typename Mesh>
void ExpectPosition(const Mesh& mesh, unsigned int v, double x, double y, double z) {
    EXPECT_EQ(mesh.m_Vertices[v].m_Position.x, RealOf<Mesh>(x)) << "vertex " << v;
    EXPECT_EQ(mesh.m_Vertices[v].m_Position.y, RealOf<Mesh>(y)) << "vertex " << v;
    EXPECT_EQ(mesh.m_Vertices[v].m_Position.z, RealOf<Mesh>(z)) << "vertex " << v;
}

template <typename Mesh>
unsigned int AttributeOf(const Mesh& mesh, unsigned int v) {
    return static_cast<unsigned int>(mesh.m_VertexAttributes[v].m_Value);
}

template <typename Mesh>
unsigned int ColourOf(const Mesh& mesh, unsigned int v) {
    unsigned int colour = 0;
    float x, y, z, nx, ny, nz;
    mesh.m_Vertices[v].GetData(x, y, z, nx, ny, nz, colour);
    return colour;
}

}  // namespace

TYPED_TEST(EdgeSplit, OpenEdgeOfSingleTriangleGivesOpenMidpointAndTwoLinkedFaces) {
    typedef TypeParam Mesh;
    Mesh mesh;
    AddVertex(mesh, 0, 0, 0);
    AddVertex(mesh, 2, 0, 0);
    AddVertex(mesh, 1, 0.5, 0);
    AddFace(mesh, 0, 1, 2);
    for (unsigned int v = 0; v < 3; ++v) {
        mesh.m_Vertices[v].m_Normal = TVector3<RealOf<Mesh>>(0, 0, 1);
        mesh.m_Vertices[v].SetColour(0xFF00FF00u);
    }
    PrepareForEditing(mesh);

    ASSERT_TRUE(mesh.SplitEdges(1));

    ASSERT_EQ(mesh.m_Vertices.GetCount(), 4u);
    ExpectPosition(mesh, 3, 1, 0, 0);
    // The midpoint's normal and colour are zero, not interpolated.
    EXPECT_EQ(mesh.m_Vertices[3].m_Normal.GetLength(), 0);
    EXPECT_EQ(ColourOf(mesh, 3), 0u);
    ASSERT_EQ(mesh.m_VertexAttributes.GetCount(), 4u);
    EXPECT_EQ(AttributeOf(mesh, 3), 1u);

    ASSERT_EQ(mesh.m_Faces.GetCount(), 2u);
    EXPECT_EQ(FaceCorners(mesh, 0), (V{0, 3, 2}));
    EXPECT_EQ(FaceCorners(mesh, 1), (V{3, 1, 2}));
    EXPECT_EQ(Neighbours(mesh, 0), (V{None, 1, None}));
    EXPECT_EQ(Neighbours(mesh, 1), (V{None, None, 0}));

    EXPECT_EQ(Entries(mesh.m_VertexConnectivity[0]), (V{3, 2}));
    EXPECT_EQ(Entries(mesh.m_VertexConnectivity[1]), (V{3, 2}));
    EXPECT_EQ(Entries(mesh.m_VertexConnectivity[2]), (V{0, 1, 3}));
    EXPECT_EQ(Entries(mesh.m_VertexConnectivity[3]), (V{0, 1, 2}));
    EXPECT_EQ(Entries(mesh.m_VertexFaceConnectivity[0]), (V{0}));
    EXPECT_EQ(Entries(mesh.m_VertexFaceConnectivity[1]), (V{1}));
    EXPECT_EQ(Entries(mesh.m_VertexFaceConnectivity[2]), (V{0, 1}));
    EXPECT_EQ(Entries(mesh.m_VertexFaceConnectivity[3]), (V{0, 1}));
    EXPECT_TRUE(MatchesRebuild(mesh));

    // Every edge is now below the limit: a second pass changes nothing.
    EXPECT_FALSE(mesh.SplitEdges(1));
    EXPECT_EQ(mesh.m_Faces.GetCount(), 2u);
}

TYPED_TEST(EdgeSplit, SharedEdgeGivesFourFacesAroundInteriorMidpoint) {
    typedef TypeParam Mesh;
    Mesh mesh;
    AddVertex(mesh, 0, 0, 0);     // a
    AddVertex(mesh, 2, 0, 0);     // b
    AddVertex(mesh, 1, 0.6, 0);   // c
    AddVertex(mesh, 1, -0.6, 0);  // d
    AddFace(mesh, 0, 1, 2);
    AddFace(mesh, 1, 0, 3);
    PrepareForEditing(mesh);

    ASSERT_TRUE(mesh.SplitEdges(1));

    ASSERT_EQ(mesh.m_Vertices.GetCount(), 5u);
    ExpectPosition(mesh, 4, 1, 0, 0);
    EXPECT_EQ(AttributeOf(mesh, 4), 0u);
    ASSERT_EQ(mesh.m_Faces.GetCount(), 4u);
    // Both faces keep their index and corner slots; the halves beyond the
    // midpoint are appended, the split face's first.
    EXPECT_EQ(FaceCorners(mesh, 0), (V{0, 4, 2}));
    EXPECT_EQ(FaceCorners(mesh, 1), (V{1, 4, 3}));
    EXPECT_EQ(FaceCorners(mesh, 2), (V{4, 1, 2}));
    EXPECT_EQ(FaceCorners(mesh, 3), (V{4, 0, 3}));
    EXPECT_EQ(Neighbours(mesh, 0), (V{3, 2, None}));
    EXPECT_EQ(Neighbours(mesh, 1), (V{2, 3, None}));
    EXPECT_EQ(Neighbours(mesh, 2), (V{1, None, 0}));
    EXPECT_EQ(Neighbours(mesh, 3), (V{0, None, 1}));

    EXPECT_EQ(Entries(mesh.m_VertexConnectivity[4]), (V{0, 1, 2, 3}));
    EXPECT_EQ(Entries(mesh.m_VertexFaceConnectivity[4]), (V{0, 1, 2, 3}));
    // The midpoint takes the other endpoint's place in each endpoint's list.
    EXPECT_EQ(Entries(mesh.m_VertexConnectivity[0]), (V{4, 2, 3}));
    EXPECT_EQ(Entries(mesh.m_VertexConnectivity[1]), (V{4, 2, 3}));
    EXPECT_EQ(Entries(mesh.m_VertexConnectivity[2]), (V{0, 1, 4}));
    EXPECT_EQ(Entries(mesh.m_VertexConnectivity[3]), (V{1, 0, 4}));
    // Face removal moves the last entry into the hole before the append.
    EXPECT_EQ(Entries(mesh.m_VertexFaceConnectivity[0]), (V{0, 3}));
    EXPECT_EQ(Entries(mesh.m_VertexFaceConnectivity[1]), (V{1, 2}));
    EXPECT_EQ(Entries(mesh.m_VertexFaceConnectivity[2]), (V{0, 2}));
    EXPECT_EQ(Entries(mesh.m_VertexFaceConnectivity[3]), (V{1, 3}));
    EXPECT_TRUE(MatchesRebuild(mesh));
}

TYPED_TEST(EdgeSplit, EndpointListsAreEditedInPlaceAndByLastEntryMoves) {
    typedef TypeParam Mesh;
    Mesh mesh;
    AddVertex(mesh, 0, 0, 0);         // a
    AddVertex(mesh, 2, 0, 0);         // b
    AddVertex(mesh, 1, 0.6, 0);       // c
    AddVertex(mesh, 1, -0.6, 0);      // d
    AddVertex(mesh, 2, 0.9, 0);       // beyond b-c
    AddVertex(mesh, -0.5, 0.3, 0);    // beyond c-a
    AddVertex(mesh, -0.5, -0.3, 0);   // beyond a-d
    AddFace(mesh, 0, 1, 2);
    AddFace(mesh, 1, 0, 3);
    AddFace(mesh, 2, 1, 4);
    AddFace(mesh, 0, 2, 5);
    AddFace(mesh, 3, 0, 6);
    PrepareForEditing(mesh);
    ASSERT_EQ(Entries(mesh.m_VertexConnectivity[0]), (V{1, 2, 3, 5, 6}));
    ASSERT_EQ(Entries(mesh.m_VertexFaceConnectivity[0]), (V{0, 1, 3, 4}));
    ASSERT_EQ(Entries(mesh.m_VertexFaceConnectivity[1]), (V{0, 1, 2}));

    // Only a-b (length 2) is over the limit of about 1.87.
    ASSERT_TRUE(mesh.SplitEdges(RealOf<Mesh>(1.4)));
    ASSERT_EQ(mesh.m_Vertices.GetCount(), 8u);
    ASSERT_EQ(mesh.m_Faces.GetCount(), 7u);
    EXPECT_EQ(Entries(mesh.m_VertexConnectivity[0]), (V{7, 2, 3, 5, 6}));
    EXPECT_EQ(Entries(mesh.m_VertexConnectivity[1]), (V{7, 2, 3, 4}));
    EXPECT_EQ(Entries(mesh.m_VertexFaceConnectivity[0]), (V{0, 4, 3, 6}));
    EXPECT_EQ(Entries(mesh.m_VertexFaceConnectivity[1]), (V{2, 1, 5}));
    // The outer neighbours across b-c and a-d now face the appended halves.
    EXPECT_EQ(Neighbours(mesh, 2), (V{5, None, None}));
    EXPECT_EQ(Neighbours(mesh, 4), (V{6, None, None}));
    EXPECT_TRUE(MatchesRebuild(mesh));
}

TYPED_TEST(EdgeSplit, FaceIsSplitAgainBeforeTheLoopMovesOn) {
    typedef TypeParam Mesh;
    Mesh mesh;
    AddVertex(mesh, 0, 0, 0);
    AddVertex(mesh, 4, 0, 0);
    AddVertex(mesh, 2, 1, 0);
    AddFace(mesh, 0, 1, 2);
    PrepareForEditing(mesh);

    // The limit length is 2 (float) or just above it (double): the halves of
    // the base (length 2) stay, the slanted sides (sqrt 5) are split.
    ASSERT_TRUE(mesh.SplitEdges(RealOf<Mesh>(1.5)));

    // Face 0 is split at its base, then again at its side c-a, before face 1
    // (its first half) splits side b-c.
    ASSERT_EQ(mesh.m_Vertices.GetCount(), 6u);
    ExpectPosition(mesh, 3, 2, 0, 0);
    ExpectPosition(mesh, 4, 1, 0.5, 0);
    ExpectPosition(mesh, 5, 3, 0.5, 0);
    for (unsigned int v = 3; v < 6; ++v) EXPECT_EQ(AttributeOf(mesh, v), 1u) << "vertex " << v;
    ASSERT_EQ(mesh.m_Faces.GetCount(), 4u);
    EXPECT_EQ(FaceCorners(mesh, 0), (V{4, 3, 2}));
    EXPECT_EQ(FaceCorners(mesh, 1), (V{3, 1, 5}));
    EXPECT_EQ(FaceCorners(mesh, 2), (V{0, 3, 4}));
    EXPECT_EQ(FaceCorners(mesh, 3), (V{3, 5, 2}));
    EXPECT_TRUE(MatchesRebuild(mesh));
}

TYPED_TEST(EdgeSplit, LimitIsStrictAndUsesSinglePrecisionFourThirds) {
    typedef TypeParam Mesh;
    typedef RealOf<Mesh> Real;
    const Real target = Real(3);
    // Exactly the limit length: a double mesh using the exact 4/3 would see
    // this edge as too long.
    const Real limitLength = target * Real(1.3333334f);
    Mesh mesh;
    AddVertex(mesh, 0, 0, 0);
    AddVertex(mesh, 0, 0, 0);
    AddVertex(mesh, 2, 0.1, 0);
    mesh.m_Vertices[1].m_Position.x = limitLength;
    AddFace(mesh, 0, 1, 2);
    PrepareForEditing(mesh);
    EXPECT_FALSE(mesh.SplitEdges(target));
    EXPECT_EQ(mesh.m_Faces.GetCount(), 1u);
    EXPECT_EQ(mesh.m_Vertices.GetCount(), 3u);

    mesh.m_Vertices[1].m_Position.x = std::nextafter(limitLength, Real(10));
    EXPECT_TRUE(mesh.SplitEdges(target));
    EXPECT_EQ(mesh.m_Faces.GetCount(), 2u);

    // No faces at all: nothing to do.
    Mesh empty;
    PrepareForEditing(empty);
    EXPECT_FALSE(empty.SplitEdges(target));
}

TYPED_TEST(EdgeSplit, EqualLongestEdgesSplitTheLowerEdgeFirst) {
    typedef TypeParam Mesh;
    Mesh mesh;
    AddVertex(mesh, 0, 0, 0);
    AddVertex(mesh, 2, 0, 0);
    AddVertex(mesh, 1, 2, 0);  // edges 1 and 2 both have squared length 5
    AddFace(mesh, 0, 1, 2);
    PrepareForEditing(mesh);
    ASSERT_TRUE(mesh.SplitEdges(RealOf<Mesh>(1.6)));
    ExpectPosition(mesh, 3, 1.5, 1, 0);
    EXPECT_EQ(FaceCorners(mesh, 0), (V{0, 1, 3}));
}

TYPED_TEST(EdgeSplit, ClosedSurfaceStaysConsistentThroughManySplits) {
    typedef TypeParam Mesh;
    Mesh mesh;
    MakeIcosphere(mesh, 1);
    mesh.m_Vertices[0].m_Position *= RealOf<Mesh>(1.3);  // break the symmetry
    PrepareForEditing(mesh);
    const unsigned int faces = mesh.m_Faces.GetCount();

    ASSERT_TRUE(mesh.SplitEdges(RealOf<Mesh>(0.25)));

    EXPECT_GT(mesh.m_Faces.GetCount(), 4 * faces);
    EXPECT_EQ(mesh.m_VertexAttributes.GetCount(), mesh.m_Vertices.GetCount());
    EXPECT_TRUE(MatchesRebuild(mesh));
    // Still a closed sphere: no open edge and Euler characteristic 2.
    const unsigned int f = mesh.m_Faces.GetCount();
    for (unsigned int i = 0; i < f; ++i)
        for (int k = 0; k < 3; ++k) ASSERT_NE(mesh.m_FaceConnectivity[i].m_Neighbours[k], None);
    EXPECT_EQ(int(mesh.m_Vertices.GetCount()) - int(3 * f / 2) + int(f), 2);
    for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v) EXPECT_EQ(AttributeOf(mesh, v), 0u);
}
