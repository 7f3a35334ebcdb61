#include <gtest/gtest.h>

#include <cmath>
#include <vector>

// CollapseEdges is a private member.
#define private public
#define protected public
#include "MeshFixtures.h"
#undef private
#undef protected

#include "AdjacencyChecks.h"

using namespace QuorvelTest;

namespace {

typedef std::vector<unsigned int> V;

template <typename Mesh>
class EdgeCollapse : public ::testing::Test {};
typedef ::testing::Types<TMesh<float, TVertexPN<float>, CA8, unsigned short>,
                         TMesh<float, TVertexPNC<float>, CA16, unsigned int>,
                         TMesh<double, TVertexPN<double>, CA16, unsigned short>,
                         TMesh<double, TVertexPNC<double>, CA32, unsigned int>>
    MeshTypes;
TYPED_TEST_SUITE(EdgeCollapse, MeshTypes);

template <typename Mesh>
unsigned int AttributeOf(const Mesh& mesh, unsigned int v) {
    return static_cast<unsigned int>(mesh.m_VertexAttributes[v].m_Value);
}

// A 4 x 4 grid centred on vertex 12 (grid point (2, 2)), with its boundary
// vertices marked open. Vertex 13 sits at (dx, 0) so that the edge 12-13 has
// length dx exactly, the only edge shorter than 0.5 when dx < 0.5.
// Edge 12-13 lies in face 13 = (7, 13, 12) as its edge 1 and in face
// 20 = (12, 13, 18) as its edge 0.
template <typename Mesh>
void MakeGridWithShortEdge(Mesh& mesh, RealOf<Mesh> dx) {
    typedef RealOf<Mesh> Real;
    MakeGrid(mesh, 4, 4);
    mesh -= TVector3<Real>(2, 2, 0);
    mesh.m_Vertices[13].m_Position.x = dx;
    PrepareForEditing(mesh);
    for (unsigned int v = 0; v < 25; ++v) {
        const unsigned int i = v % 5, j = v / 5;
        if (i == 0 || i == 4 || j == 0 || j == 4) mesh.m_VertexAttributes[v] = 1;
    }
}

// Removal by moving the last entry into the hole.
V WithoutByLast(V list, unsigned int value) {
    for (size_t i = 0; i < list.size(); ++i)
        if (list[i] == value) {
            list[i] = list.back();
            list.pop_back();
            break;
        }
    return list;
}

void AppendUnique(V& list, unsigned int value) {
    for (unsigned int x : list)
        if (x == value) return;
    list.push_back(value);
}

template <typename Mesh>
bool SameMesh(const Mesh& a, const Mesh& b) {
    if (a.m_Faces.GetCount() != b.m_Faces.GetCount()) return false;
    for (unsigned int f = 0; f < a.m_Faces.GetCount(); ++f)
        if (!(a.m_Faces[f] == b.m_Faces[f]) || !(a.m_FaceConnectivity[f] == b.m_FaceConnectivity[f])) return false;
    for (unsigned int v = 0; v < a.m_Vertices.GetCount(); ++v)
        if (!(a.m_Vertices[v] == b.m_Vertices[v]) || !(a.m_VertexAttributes[v] == b.m_VertexAttributes[v]) ||
            Entries(a.m_VertexConnectivity[v]) != Entries(b.m_VertexConnectivity[v]) ||
            Entries(a.m_VertexFaceConnectivity[v]) != Entries(b.m_VertexFaceConnectivity[v]))
            return false;
    return true;
}

}  // namespace

TYPED_TEST(EdgeCollapse, FirstCornerOfLowestFaceSurvivesAtExactMidpoint) {
    typedef TypeParam Mesh;
    typedef RealOf<Mesh> Real;
    Mesh mesh;
    MakeGridWithShortEdge(mesh, Real(0.3));
    const V neighbours13 = Entries(mesh.m_VertexConnectivity[13]);
    const V neighbours12 = Entries(mesh.m_VertexConnectivity[12]);
    std::vector<V> neighbourLists;
    for (unsigned int v = 0; v < 25; ++v) neighbourLists.push_back(Entries(mesh.m_VertexConnectivity[v]));
    const V faces13 = Entries(mesh.m_VertexFaceConnectivity[13]);
    const V faces12 = Entries(mesh.m_VertexFaceConnectivity[12]);
    ASSERT_EQ(FaceCorners(mesh, 13), (V{7, 13, 12}));
    ASSERT_EQ(FaceCorners(mesh, 20), (V{12, 13, 18}));

    ASSERT_TRUE(mesh.CollapseEdges(Real(0.625)));

    // Both faces score the same; face 13 comes first and its edge runs from
    // 13 to 12, so 13 survives even though it has the higher index.
    EXPECT_EQ(mesh.m_Vertices[13].m_Position.x, (Real(0.3) + Real(0)) * Real(0.5));
    EXPECT_EQ(mesh.m_Vertices[13].m_Position.y, Real(0));
    EXPECT_EQ(mesh.m_Vertices[12].m_Position.x, Real(0));  // left where it was
    EXPECT_EQ(AttributeOf(mesh, 12), 255u);
    EXPECT_EQ(AttributeOf(mesh, 13), 0u);
    EXPECT_EQ(FaceCorners(mesh, 13), (V{0, 0, 0}));
    EXPECT_EQ(FaceCorners(mesh, 20), (V{0, 0, 0}));
    unsigned int zeroed = 0;
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f)
        if (mesh.m_Faces[f].m_Corners[0] == mesh.m_Faces[f].m_Corners[1]) ++zeroed;
    EXPECT_EQ(zeroed, 2u);
    EXPECT_EQ(mesh.m_Vertices.GetCount(), 25u);
    EXPECT_TRUE(LiveAdjacencyConsistent(mesh));

    // The survivor's list keeps its order without 12, then gains 12's other
    // neighbours in 12's order; each of those loses 12 (last entry moved into
    // its place) and gains 13 unless it already had it.
    V expected13 = neighbours13;
    for (size_t i = 0; i < expected13.size(); ++i)
        if (expected13[i] == 12) {
            expected13.erase(expected13.begin() + i);
            break;
        }
    for (unsigned int n : neighbours12) {
        if (n == 13) continue;
        AppendUnique(expected13, n);
        V expectedN = WithoutByLast(neighbourLists[n], 12);
        AppendUnique(expectedN, 13);
        EXPECT_EQ(Entries(mesh.m_VertexConnectivity[n]), expectedN) << "neighbour " << n;
    }
    EXPECT_EQ(Entries(mesh.m_VertexConnectivity[13]), expected13);

    // Face lists: the two closed faces leave by last-entry moves, then 12's
    // remaining faces join 13's list in 12's order.
    V expectedFaces13 = WithoutByLast(WithoutByLast(faces13, 13), 20);
    for (unsigned int h : WithoutByLast(WithoutByLast(faces12, 13), 20)) AppendUnique(expectedFaces13, h);
    EXPECT_EQ(Entries(mesh.m_VertexFaceConnectivity[13]), expectedFaces13);
    // The removed vertex keeps its neighbour list; its face list only lost
    // the two closed faces.
    EXPECT_EQ(Entries(mesh.m_VertexConnectivity[12]), neighbours12);
    EXPECT_EQ(Entries(mesh.m_VertexFaceConnectivity[12]), WithoutByLast(WithoutByLast(faces12, 13), 20));

    // Nothing is short any more.
    Mesh before(mesh);
    EXPECT_FALSE(mesh.CollapseEdges(Real(0.625)));
    EXPECT_TRUE(SameMesh(mesh, before));
}

TYPED_TEST(EdgeCollapse, OpenEndpointsBlockTheCollapseBitwise) {
    typedef TypeParam Mesh;
    typedef RealOf<Mesh> Real;
    Mesh mesh;
    MakeGridWithShortEdge(mesh, Real(0.3));
    mesh.m_VertexAttributes[12] = 1;
    Mesh before(mesh);
    EXPECT_FALSE(mesh.CollapseEdges(Real(0.625)));
    EXPECT_TRUE(SameMesh(mesh, before));

    // Any value with bit 0 set blocks, other bits do not.
    mesh.m_VertexAttributes[12] = 0;
    mesh.m_VertexAttributes[13] = 3;
    EXPECT_FALSE(mesh.CollapseEdges(Real(0.625)));
    mesh.m_VertexAttributes[13] = 2;
    EXPECT_TRUE(mesh.CollapseEdges(Real(0.625)));
    EXPECT_EQ(AttributeOf(mesh, 12), 255u);

    // With target 0 nothing is short.
    Mesh other;
    MakeGridWithShortEdge(other, Real(0.3));
    EXPECT_FALSE(other.CollapseEdges(Real(0)));
}

TYPED_TEST(EdgeCollapse, LimitIsStrictAndUsesSinglePrecisionEightTenths) {
    typedef TypeParam Mesh;
    typedef RealOf<Mesh> Real;
    const Real target = Real(0.5);
    const Real limitLength = target * Real(0.8f);
    Mesh exact;
    MakeGridWithShortEdge(exact, limitLength);
    EXPECT_FALSE(exact.CollapseEdges(target));

    // One step shorter: still above 0.4 in double, so a limit built from the
    // exact 0.8 would keep this edge.
    Mesh shorter;
    MakeGridWithShortEdge(shorter, std::nextafter(limitLength, Real(0)));
    EXPECT_TRUE(shorter.CollapseEdges(target));

    // A negative target acts as its absolute value.
    Mesh negative;
    MakeGridWithShortEdge(negative, Real(0.3));
    EXPECT_TRUE(negative.CollapseEdges(-Real(0.625)));
}

TYPED_TEST(EdgeCollapse, LinkConditionRejectsThirdSharedNeighbour) {
    typedef TypeParam Mesh;
    typedef RealOf<Mesh> Real;
    // Tetrahedron 0-1-2-3 with edge 1-2 short; in the second mesh vertex 4
    // caps face (1, 2, 3), so 1 and 2 share the neighbours 0, 3 and 4.
    auto build = [](Mesh& mesh, bool capped) {
        AddVertex(mesh, 0, 0, 5);
        AddVertex(mesh, 0, 0, 0);
        AddVertex(mesh, 0.1, 0, 0);
        AddVertex(mesh, 0, 5, 0);
        AddFace(mesh, 0, 2, 1);
        AddFace(mesh, 0, 1, 3);
        AddFace(mesh, 0, 3, 2);
        if (capped) {
            AddVertex(mesh, 0.05, 4, 0);
            AddFace(mesh, 1, 2, 4);
            AddFace(mesh, 2, 3, 4);
            AddFace(mesh, 3, 1, 4);
        } else {
            AddFace(mesh, 1, 2, 3);
        }
        PrepareForEditing(mesh);
    };
    Mesh tetrahedron;
    build(tetrahedron, false);
    EXPECT_TRUE(tetrahedron.CollapseEdges(Real(1.25)));

    Mesh capped;
    build(capped, true);
    Mesh before(capped);
    EXPECT_FALSE(capped.CollapseEdges(Real(1.25)));
    EXPECT_TRUE(SameMesh(capped, before));
}

TYPED_TEST(EdgeCollapse, ClosedSurfaceStaysManifoldThroughManyCollapses) {
    typedef TypeParam Mesh;
    Mesh mesh;
    MakeIcosphere(mesh, 2);
    PrepareForEditing(mesh);

    ASSERT_TRUE(mesh.CollapseEdges(RealOf<Mesh>(0.45)));

    unsigned int removed = 0, zeroed = 0;
    for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v)
        if (AttributeOf(mesh, v) == 255) ++removed;
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f)
        if (FaceCorners(mesh, f) == V{0, 0, 0}) ++zeroed;
    EXPECT_GT(removed, 10u);
    EXPECT_EQ(zeroed, 2 * removed);
    EXPECT_TRUE(LiveAdjacencyConsistent(mesh));
    // Still a closed sphere: V - E + F = 2 over the live part.
    const int liveVertices = int(mesh.m_Vertices.GetCount() - removed);
    const int liveFaces = int(mesh.m_Faces.GetCount() - zeroed);
    EXPECT_EQ(liveVertices - liveFaces * 3 / 2 + liveFaces, 2);
}
