#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <set>
#include <utility>
#include <vector>

// FlipEdges, SplitEdges and CollapseEdges are private members.
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
class EdgeFlip : public ::testing::Test {};
typedef ::testing::Types<TMesh<float, TVertexPN<float>, CA8, unsigned short>,
                         TMesh<double, TVertexPNC<double>, CA32, unsigned int>>
    MeshTypes;
TYPED_TEST_SUITE(EdgeFlip, MeshTypes);

typedef TMesh<float, TVertexPNC<float>, CA16, unsigned int> MeshF;

template <typename Mesh>
V AllCorners(const Mesh& mesh) {
    V out;
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f)
        for (unsigned int c : FaceCorners(mesh, f)) out.push_back(c);
    return out;
}

template <typename Mesh>
std::set<std::pair<unsigned int, unsigned int>> OpenEdges(const Mesh& mesh) {
    std::set<std::pair<unsigned int, unsigned int>> out;
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f)
        for (int k = 0; k < 3; ++k)
            if (mesh.m_FaceConnectivity[f].m_Neighbours[k] == None)
                out.insert(std::minmax<unsigned int>(mesh.m_Faces[f].m_Corners[k],
                                                     mesh.m_Faces[f].m_Corners[(k + 1) % 3]));
    return out;
}

// Faces (0, 1, 2) and (1, 0, 3) on the edge 0-1, the other edges open. A
// valence is the length of a vertex's neighbour list, so the lists are padded
// with isolated vertices 4, 5, ... to the requested valences.
template <typename Mesh>
void MakePaddedPair(Mesh& mesh, const std::array<unsigned int, 4>& valences) {
    AddVertex(mesh, 0, 0, 0);
    AddVertex(mesh, 2, 0, 0);
    AddVertex(mesh, 1, 1, 0);
    AddVertex(mesh, 1, -1, 0);
    for (int i = 0; i < 10; ++i) AddVertex(mesh, 5 + i, 5, 0);
    AddFace(mesh, 0, 1, 2);
    AddFace(mesh, 1, 0, 3);
    PrepareForEditing(mesh);
    for (unsigned int v = 0; v < 4; ++v)
        for (unsigned int pad = 4; mesh.m_VertexConnectivity[v].GetCount() < valences[v]; ++pad)
            mesh.m_VertexConnectivity[v].Add(pad);
}

}  // namespace

TYPED_TEST(EdgeFlip, ReversedDiagonalInRegularTorusFlipsBackAndNothingElse) {
    typedef TypeParam Mesh;
    Mesh regular;
    MakeTorus(regular, 6, 5);
    PrepareForEditing(regular);
    // All valences 6: every flip would raise the deviation from 0 to 4.
    EXPECT_FALSE(regular.FlipEdges());
    Mesh fresh;
    MakeTorus(fresh, 6, 5);
    EXPECT_EQ(AllCorners(regular), AllCorners(fresh));

    // Quad (2, 1) with the other diagonal: its ends b, c get valence 7, the
    // corners a, d valence 5, and the shared edge flips back.
    Mesh mesh;
    MakeTorus(mesh, 6, 5);
    const unsigned int a = 1 * 6 + 2, b = a + 1, c = a + 6, d = c + 1, s = 2 * a;
    typedef typename Mesh::Face Face;
    mesh.m_Faces[s] = Face(a, b, c);
    mesh.m_Faces[s + 1] = Face(b, d, c);
    PrepareForEditing(mesh);
    ASSERT_EQ(mesh.m_VertexConnectivity[b].GetCount(), 7u);
    ASSERT_EQ(mesh.m_VertexConnectivity[a].GetCount(), 5u);

    std::vector<V> neighbours, faces;
    for (unsigned int v : {a, b, c, d}) {
        neighbours.push_back(Entries(mesh.m_VertexConnectivity[v]));
        faces.push_back(Entries(mesh.m_VertexFaceConnectivity[v]));
    }

    EXPECT_TRUE(mesh.FlipEdges());
    // The edge b-c goes: each end loses the other by a last-entry move and
    // its face by an order-keeping removal; a and d gain each other and the
    // face across at the end.
    auto withoutByLast = [](V list, unsigned int value) {
        const auto at = std::find(list.begin(), list.end(), value);
        *at = list.back();
        list.pop_back();
        return list;
    };
    auto withoutKeepingOrder = [](V list, unsigned int value) {
        list.erase(std::find(list.begin(), list.end(), value));
        return list;
    };
    auto with = [](V list, unsigned int value) {
        list.push_back(value);
        return list;
    };
    EXPECT_EQ(Entries(mesh.m_VertexConnectivity[a]), with(neighbours[0], d));
    EXPECT_EQ(Entries(mesh.m_VertexConnectivity[b]), withoutByLast(neighbours[1], c));
    EXPECT_EQ(Entries(mesh.m_VertexConnectivity[c]), withoutByLast(neighbours[2], b));
    EXPECT_EQ(Entries(mesh.m_VertexConnectivity[d]), with(neighbours[3], a));
    EXPECT_EQ(Entries(mesh.m_VertexFaceConnectivity[a]), with(faces[0], s + 1));
    EXPECT_EQ(Entries(mesh.m_VertexFaceConnectivity[b]), withoutKeepingOrder(faces[1], s + 1));
    EXPECT_EQ(Entries(mesh.m_VertexFaceConnectivity[c]), withoutKeepingOrder(faces[2], s));
    EXPECT_EQ(Entries(mesh.m_VertexFaceConnectivity[d]), with(faces[3], s));
    // Windings and slots come out exactly as the regular torus has them.
    EXPECT_EQ(AllCorners(mesh), AllCorners(fresh));
    for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v)
        EXPECT_EQ(mesh.m_VertexConnectivity[v].GetCount(), 6u) << "vertex " << v;
    EXPECT_TRUE(MatchesRebuild(mesh));
    EXPECT_FALSE(mesh.FlipEdges());
}

TYPED_TEST(EdgeFlip, SevenSevenFiveFiveFlipRewiresAllTables) {
    typedef TypeParam Mesh;
    Mesh mesh;
    // Valences 4, 10, 3, 3 with target 6: before 38, after 26.
    MakePaddedPair(mesh, {4, 10, 3, 3});
    ASSERT_TRUE(mesh.FlipEdges());

    EXPECT_EQ(FaceCorners(mesh, 0), (V{0, 3, 2}));
    EXPECT_EQ(FaceCorners(mesh, 1), (V{1, 2, 3}));
    EXPECT_EQ(Neighbours(mesh, 0), (V{None, 1, None}));
    EXPECT_EQ(Neighbours(mesh, 1), (V{None, 0, None}));
    // Neighbour removal moves the last entry into the hole; additions append.
    EXPECT_EQ(Entries(mesh.m_VertexConnectivity[0]), (V{4, 2, 3}));
    EXPECT_EQ(Entries(mesh.m_VertexConnectivity[1]), (V{10, 2, 3, 4, 5, 6, 7, 8, 9}));
    EXPECT_EQ(Entries(mesh.m_VertexConnectivity[2]), (V{0, 1, 4, 3}));
    EXPECT_EQ(Entries(mesh.m_VertexConnectivity[3]), (V{1, 0, 4, 2}));
    // Face removal keeps the order; additions append.
    EXPECT_EQ(Entries(mesh.m_VertexFaceConnectivity[0]), (V{0}));
    EXPECT_EQ(Entries(mesh.m_VertexFaceConnectivity[1]), (V{1}));
    EXPECT_EQ(Entries(mesh.m_VertexFaceConnectivity[2]), (V{0, 1}));
    EXPECT_EQ(Entries(mesh.m_VertexFaceConnectivity[3]), (V{1, 0}));
}

TEST(EdgeFlipRule, ValenceThreeEndpointsAndTargetsDecide) {
    // Valences 3, 10, 3, 3 would improve from 43 to 33, but vertex 0 would be
    // left with valence 2; the same holds with the roles of 0 and 1 swapped.
    for (const std::array<unsigned int, 4>& valences :
         {std::array<unsigned int, 4>{3, 10, 3, 3}, std::array<unsigned int, 4>{10, 3, 3, 3}}) {
        MeshF mesh;
        MakePaddedPair(mesh, valences);
        EXPECT_FALSE(mesh.FlipEdges());
        EXPECT_EQ(AllCorners(mesh), (V{0, 1, 2, 1, 0, 3}));
    }

    // Valences 5, 5, 2, 2. With c and d open (target 4) before and after are
    // both 10, and equality keeps the edge; only bit 0 selects the target.
    MeshF open;
    MakePaddedPair(open, {5, 5, 2, 2});
    open.m_VertexAttributes[2] = 1;
    open.m_VertexAttributes[3] = 255;
    EXPECT_FALSE(open.FlipEdges());
    MeshF inner;
    MakePaddedPair(inner, {5, 5, 2, 2});
    inner.m_VertexAttributes[2] = 2;
    inner.m_VertexAttributes[3] = 254;
    EXPECT_TRUE(inner.FlipEdges());
    EXPECT_EQ(AllCorners(inner), (V{0, 3, 2, 1, 2, 3}));
}

TEST(EdgeFlipRule, SplitFlipCollapseKeepTablesInStep) {
    // A closed surface: after splits and flips the tables equal a rebuild;
    // after collapses they agree with the live faces.
    MeshF sphere;
    MakeIcosphere(sphere, 1);
    sphere.m_Vertices[3].m_Position *= 1.4f;
    PrepareForEditing(sphere);
    ASSERT_TRUE(sphere.SplitEdges(0.3f));
    ASSERT_TRUE(MatchesRebuild(sphere));
    ASSERT_TRUE(sphere.FlipEdges());
    EXPECT_TRUE(MatchesRebuild(sphere));
    ASSERT_TRUE(sphere.CollapseEdges(0.3f));
    EXPECT_TRUE(LiveAdjacencyConsistent(sphere));
    EXPECT_TRUE(sphere.FlipEdges());
    EXPECT_TRUE(LiveAdjacencyConsistent(sphere));

    // An open patch: open edges are never flipped, so the boundary survives.
    MeshF patch;
    MakeGrid(patch, 3, 3);
    PrepareForEditing(patch);
    for (unsigned int v = 0; v < 16; ++v)
        if (v % 4 == 0 || v % 4 == 3 || v / 4 == 0 || v / 4 == 3) patch.m_VertexAttributes[v] = 1;
    ASSERT_TRUE(patch.SplitEdges(0.6f));
    const auto boundary = OpenEdges(patch);
    ASSERT_TRUE(patch.FlipEdges());
    EXPECT_EQ(OpenEdges(patch), boundary);
    EXPECT_TRUE(MatchesRebuild(patch));
}
