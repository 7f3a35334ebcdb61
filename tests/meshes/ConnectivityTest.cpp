#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <map>
#include <set>
#include <type_traits>
#include <utility>
#include <vector>

// The valence and edge helpers are private members.
#define private public
#define protected public
#include "MeshFixtures.h"
#undef private
#undef protected

namespace {

using namespace QuorvelTest;
using Corvane::Pellix::Lintorra::TList;

typedef TMesh<double, TVertexPN<double>, CA8, unsigned int> Mesh;
typedef TMesh<float, TVertexPNC<float>, CA16, unsigned short> Mesh16;

const unsigned int None = 0xFFFFFFFFu;

std::vector<unsigned int> ListOf(const TList<unsigned int>& list) {
    return std::vector<unsigned int>(list.GetStream(), list.GetStream() + list.GetCount());
}

std::vector<std::vector<unsigned int>> TableOf(const CVertexConnections& table) {
    std::vector<std::vector<unsigned int>> out;
    for (unsigned int v = 0; v < table.GetCount(); ++v) out.push_back(ListOf(table[v]));
    return out;
}

template <typename M>
std::vector<std::array<unsigned int, 3>> FaceTableOf(const M& mesh) {
    std::vector<std::array<unsigned int, 3>> out;
    for (unsigned int f = 0; f < mesh.m_FaceConnectivity.GetCount(); ++f) {
        const unsigned int* n = mesh.m_FaceConnectivity[f].m_Neighbours;
        out.push_back({n[0], n[1], n[2]});
    }
    return out;
}

template <typename M>
std::array<unsigned int, 3> NeighboursOf(const M& mesh, unsigned int f) {
    const unsigned int* n = mesh.m_FaceConnectivity[f].m_Neighbours;
    return {n[0], n[1], n[2]};
}

template <typename M>
std::pair<unsigned int, unsigned int> EdgeOf(const M& mesh, unsigned int f, unsigned int k) {
    const unsigned int a = mesh.m_Faces[f].m_Corners[k], b = mesh.m_Faces[f].m_Corners[(k + 1) % 3];
    return std::make_pair(std::min(a, b), std::max(a, b));
}

TEST(FaceConnectivity, WorkedExamplesOfSmallMeshes) {
    // Two triangles sharing (1, 2): the shared edge is edge 1 of the first face
    // and edge 0 of the second.
    Mesh pair;
    AddVertex(pair, 0, 0, 0);
    AddVertex(pair, 1, 0, 0);
    AddVertex(pair, 0, 1, 0);
    AddVertex(pair, 1, 1, 0);
    AddFace(pair, 0, 1, 2);
    AddFace(pair, 2, 1, 3);
    pair.AssignFaceConnectivity(true);
    EXPECT_EQ(NeighboursOf(pair, 0), (std::array<unsigned int, 3>{None, 1, None}));
    EXPECT_EQ(NeighboursOf(pair, 1), (std::array<unsigned int, 3>{0, None, None}));

    Mesh single;
    MakeTriangle(single);
    BuildConnectivity(single);
    EXPECT_EQ(NeighboursOf(single, 0), (std::array<unsigned int, 3>{None, None, None}));
    EXPECT_EQ(TableOf(single.m_VertexConnectivity),
              (std::vector<std::vector<unsigned int>>{{1, 2}, {0, 2}, {0, 1}}));
    EXPECT_EQ(TableOf(single.m_VertexFaceConnectivity),
              (std::vector<std::vector<unsigned int>>{{0}, {0}, {0}}));
}

TEST(FaceConnectivity, NonManifoldEdgeKeepsTheLastFaceAndDuplicatesOnlyFillSlotZero) {
    Mesh mesh;
    for (int i = 0; i < 6; ++i) AddVertex(mesh, i, i * i, 0);
    AddFace(mesh, 0, 1, 2);
    AddFace(mesh, 1, 0, 3);
    AddFace(mesh, 0, 1, 4);
    mesh.AssignFaceConnectivity(true);
    EXPECT_EQ(NeighboursOf(mesh, 0), (std::array<unsigned int, 3>{2, None, None}));
    EXPECT_EQ(NeighboursOf(mesh, 1), (std::array<unsigned int, 3>{2, None, None}));
    EXPECT_EQ(NeighboursOf(mesh, 2), (std::array<unsigned int, 3>{1, None, None}));

    // A duplicate of a face shares all three corners and is recorded only
    // across edge 0, whatever its winding.
    Mesh twin;
    for (int i = 0; i < 3; ++i) AddVertex(twin, i, 1 - i, 0);
    AddFace(twin, 0, 1, 2);
    AddFace(twin, 2, 1, 0);
    twin.AssignFaceConnectivity(true);
    EXPECT_EQ(NeighboursOf(twin, 0), (std::array<unsigned int, 3>{1, None, None}));
    EXPECT_EQ(NeighboursOf(twin, 1), (std::array<unsigned int, 3>{0, None, None}));
}

TEST(VertexConnectivity, ListsFollowTheScanOrder) {
    Mesh mesh;
    for (int i = 0; i < 8; ++i) AddVertex(mesh, i, 0, 0);
    // Vertex 0 is used by faces 2, 4 and 9 only.
    const unsigned int faces[10][3] = {{1, 2, 3}, {2, 3, 4}, {5, 0, 6}, {1, 3, 4}, {7, 5, 0},
                                       {1, 2, 4}, {3, 4, 5}, {6, 7, 1}, {2, 5, 7}, {0, 1, 2}};
    for (auto& f : faces) AddFace(mesh, f[0], f[1], f[2]);
    BuildConnectivity(mesh);
    EXPECT_EQ(ListOf(mesh.m_VertexFaceConnectivity[0]), (std::vector<unsigned int>{2, 4, 9}));
    // Neighbours of 0 in order of first appearance: face 2 adds 5, 6;
    // face 4 adds 7 (5 is known); face 9 adds 1, 2.
    EXPECT_EQ(ListOf(mesh.m_VertexConnectivity[0]), (std::vector<unsigned int>{5, 6, 7, 1, 2}));
    // Corner a of face 2 is vertex 5: it receives b, then c.
    EXPECT_EQ(ListOf(mesh.m_VertexConnectivity[5])[0], 0u);
    EXPECT_EQ(ListOf(mesh.m_VertexConnectivity[5])[1], 6u);

    // A repeated corner makes the vertex its own neighbour and lists the face
    // twice.
    Mesh repeated;
    for (int i = 0; i < 2; ++i) AddVertex(repeated, i, 0, 0);
    AddFace(repeated, 0, 0, 1);
    BuildConnectivity(repeated);
    EXPECT_EQ(ListOf(repeated.m_VertexConnectivity[0]), (std::vector<unsigned int>{0, 1}));
    EXPECT_EQ(ListOf(repeated.m_VertexFaceConnectivity[0]), (std::vector<unsigned int>{0, 0}));
}

// Checks the three tables of a closed manifold mesh against each other and
// against the faces, without trusting any one of them.
template <typename M>
void ExpectConsistentClosedTables(const M& mesh) {
    const unsigned int faceCount = mesh.m_Faces.GetCount();
    const unsigned int vertexCount = mesh.m_Vertices.GetCount();
    ASSERT_EQ(mesh.m_FaceConnectivity.GetCount(), faceCount);
    ASSERT_EQ(mesh.m_VertexFaceConnectivity.GetCount(), vertexCount);
    ASSERT_EQ(mesh.m_VertexConnectivity.GetCount(), vertexCount);

    for (unsigned int f = 0; f < faceCount; ++f)
        for (unsigned int k = 0; k < 3; ++k) {
            const unsigned int g = NeighboursOf(mesh, f)[k];
            ASSERT_LT(g, faceCount) << "face " << f << " edge " << k << " is open";
            ASSERT_NE(g, f);
            // g names f back across the same corner pair.
            unsigned int back = 3;
            for (unsigned int j = 0; j < 3; ++j)
                if (NeighboursOf(mesh, g)[j] == f) back = j;
            ASSERT_LT(back, 3u);
            EXPECT_EQ(EdgeOf(mesh, f, k), EdgeOf(mesh, g, back));
        }

    unsigned int entries = 0;
    std::set<std::pair<unsigned int, unsigned int>> edges;
    for (unsigned int f = 0; f < faceCount; ++f)
        for (unsigned int k = 0; k < 3; ++k) edges.insert(EdgeOf(mesh, f, k));
    unsigned int neighbourEntries = 0;
    for (unsigned int v = 0; v < vertexCount; ++v) {
        const std::vector<unsigned int> around = ListOf(mesh.m_VertexFaceConnectivity[v]);
        entries += unsigned(around.size());
        EXPECT_TRUE(std::is_sorted(around.begin(), around.end()));
        for (unsigned int f : around) {
            const auto* c = mesh.m_Faces[f].m_Corners;
            EXPECT_TRUE(c[0] == v || c[1] == v || c[2] == v);
        }
        const std::vector<unsigned int> ring = ListOf(mesh.m_VertexConnectivity[v]);
        neighbourEntries += unsigned(ring.size());
        EXPECT_EQ(std::set<unsigned int>(ring.begin(), ring.end()).size(), ring.size());
        for (unsigned int w : ring) EXPECT_EQ(edges.count(std::make_pair(std::min(v, w), std::max(v, w))), 1u);
        // On a closed manifold a vertex has as many neighbours as faces.
        EXPECT_EQ(ring.size(), around.size());
    }
    EXPECT_EQ(entries, 3 * faceCount);
    EXPECT_EQ(neighbourEntries, 2 * edges.size());
    EXPECT_EQ(2 * edges.size(), 3u * faceCount);
}

TEST(Connectivity, ClosedMeshesGiveMutuallyConsistentTables) {
    Mesh sphere;
    MakeIcosphere(sphere, 2);
    BuildConnectivity(sphere);
    ExpectConsistentClosedTables(sphere);

    Mesh16 torus;
    MakeTorus(torus, 12, 7);
    BuildConnectivity(torus);
    ExpectConsistentClosedTables(torus);
}

TEST(Connectivity, ReusingBuildEqualsReallocatingBuildAndKeepsStorage) {
    Mesh mesh;
    MakeIcosphere(mesh, 2);
    BuildConnectivity(mesh);
    std::vector<const unsigned int*> arrays;
    for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v)
        arrays.push_back(mesh.m_VertexConnectivity[v].GetStream());

    // Change the faces so that every list's order changes, then rebuild in
    // place and compare with a fresh build of a copy.
    mesh.ReverseWindingOrder();
    std::swap(mesh.m_Faces[0], mesh.m_Faces[mesh.m_Faces.GetCount() - 1]);
    mesh.AssignVertexFaceConnectivity(false);
    mesh.AssignFaceConnectivity(false);
    mesh.AssignVertexConnectivity(false);

    Mesh fresh(mesh);
    BuildConnectivity(fresh);
    EXPECT_EQ(FaceTableOf(mesh), FaceTableOf(fresh));
    EXPECT_EQ(TableOf(mesh.m_VertexConnectivity), TableOf(fresh.m_VertexConnectivity));
    EXPECT_EQ(TableOf(mesh.m_VertexFaceConnectivity), TableOf(fresh.m_VertexFaceConnectivity));
    ExpectConsistentClosedTables(mesh);
    for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v)
        EXPECT_EQ(mesh.m_VertexConnectivity[v].GetStream(), arrays[v]) << "vertex " << v;

    // The face table only grows; the reallocating builds start from grow
    // size 6 lists.
    const unsigned int faceCount = mesh.m_Faces.GetCount();
    mesh.m_Faces.RemoveFromEnd(10);
    mesh.AssignFaceConnectivity(true);
    EXPECT_EQ(mesh.m_FaceConnectivity.GetCount(), faceCount);
    EXPECT_EQ(mesh.m_VertexFaceConnectivity[0].GetGrowSize(), 6u);

    mesh.ClearVertexConnectivity();
    mesh.ClearVertexFaceConnectivty();
    EXPECT_EQ(mesh.m_VertexConnectivity.GetCount(), 0u);
    EXPECT_EQ(mesh.m_VertexFaceConnectivity.GetCount(), 0u);
}

TEST(Connectivity, SixteenBitMeshesMatchThirtyTwoBitMeshes) {
    Mesh wide;
    Mesh16 narrow;
    MakeIcosphere(wide, 1);
    MakeIcosphere(narrow, 1);
    BuildConnectivity(wide);
    BuildConnectivity(narrow);
    EXPECT_EQ(FaceTableOf(wide), FaceTableOf(narrow));
    EXPECT_EQ(TableOf(wide.m_VertexConnectivity), TableOf(narrow.m_VertexConnectivity));
}

TEST(ConnectionHelpers, SlotsEdgesAndValences) {
    CFaceConnections c;
    const std::pair<int, int> pairs[] = {{0, 1}, {1, 0}, {1, 2}, {2, 1}, {0, 2}, {2, 0}, {1, 1}, {0, 3}, {-1, 7}};
    const unsigned int slots[] = {0, 0, 1, 1, 2, 2, 2, 2, 2};
    for (unsigned int i = 0; i < 9; ++i) {
        c = CFaceConnections();
        Mesh::SetFaceConnection(&c, pairs[i].first, pairs[i].second, 7);
        for (unsigned int k = 0; k < 3; ++k)
            EXPECT_EQ(c.m_Neighbours[k], k == slots[i] ? 7u : None) << pairs[i].first << "," << pairs[i].second;
    }

    Mesh mesh;
    CFaceConnections record(5, 9, 5);
    unsigned int first = 99, second = 99;
    mesh.FindMatchedEdge(record, 5, &first, &second);
    EXPECT_EQ(first, 0u);
    EXPECT_EQ(second, 1u);
    CFaceConnections last(1, 2, 3);
    mesh.FindMatchedEdge(last, 3, &first, &second);
    EXPECT_EQ(first, 2u);
    EXPECT_EQ(second, 0u);
    first = second = 99;
    mesh.FindMatchedEdge(record, 3, &first, &second);
    EXPECT_EQ(first, 99u);
    EXPECT_EQ(second, 99u);

    int a[4] = {6, 6, 6, 6}, b[4] = {5, 7, 6, 4};
    EXPECT_EQ(mesh.CalculateValenceSum(a, b), 6);
    // 65536 squared is 2^32, which wraps to 0; 46341 squared wraps negative.
    int big[4] = {65536, 0, 0, 46341}, zero[4] = {0, 0, 0, 0};
    EXPECT_EQ(mesh.CalculateValenceSum(big, zero), static_cast<int>(46341u * 46341u));
    int extreme[4] = {INT_MAX, INT_MIN, 0, 0};
    EXPECT_EQ(mesh.CalculateValenceSum(extreme, zero), static_cast<int>(1u + 0u));
}

TEST(ConnectionTables, AllocateSizesThePointerArrayAsOneByOneAppendsWould) {
    // Appending entry by entry is the reference: Allocate must end with the
    // same capacity, with and without doubling.
    for (const bool doubling : {false, true}) {
        for (const unsigned int count : {0u, 1u, 1000u, 1001u, 2500u, 4001u}) {
            CVertexConnections allocated, appended;
            allocated.SetUseExponentialGrowth(doubling);
            appended.SetUseExponentialGrowth(doubling);
            allocated.Allocate(count, 6);
            for (unsigned int v = 0; v < count; ++v) appended.Add(6);
            EXPECT_EQ(allocated.GetCapacity(), appended.GetCapacity()) << count << (doubling ? " doubling" : "");
            ASSERT_EQ(allocated.GetCount(), count);
            if (count != 0) {
                EXPECT_EQ(allocated[count - 1].GetCount(), 0u);
                EXPECT_EQ(allocated[count - 1].GetGrowSize(), 6u);
            }
        }
    }

    // A table no larger than before keeps its pointer array.
    CVertexConnections table;
    table.Allocate(1500, 6);
    EXPECT_EQ(table.GetCapacity(), 2000u);
    TList<unsigned int>* const* array = table.GetStream();
    table.Allocate(10, 3);
    EXPECT_EQ(table.GetStream(), array);
    EXPECT_EQ(table.GetCapacity(), 2000u);
    EXPECT_EQ(table[9].GetGrowSize(), 3u);
}

}  // namespace
