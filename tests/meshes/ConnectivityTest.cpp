#include <gtest/gtest.h>

#include <array>
#include <utility>
#include <vector>

#include "editing/AdjacencyChecks.h"

namespace {

using namespace QuorvelTest;

typedef TMesh<double, TVertexPN<double>, CA8, unsigned int> Mesh;
typedef TMesh<float, TVertexPNC<float>, CA16, unsigned short> Mesh16;

std::vector<V> TableOf(const CVertexConnections& table) {
    std::vector<V> out;
    for (unsigned int v = 0; v < table.GetCount(); ++v)
        out.push_back(Entries(table[v]));
    return out;
}

template <typename M>
std::vector<V> FaceTableOf(const M& mesh) {
    std::vector<V> out;
    for (unsigned int f = 0; f < mesh.m_FaceConnectivity.GetCount(); ++f)
        out.push_back(Neighbours(mesh, f));
    return out;
}

}  // namespace

TEST(Connectivity, SmallMeshesGiveTheirKnownTables) {
    // Two triangles sharing (1, 2): the shared edge is edge 1 of the first face
    // and edge 0 of the second. Neighbour lists follow the scan order, corner
    // a of a face receiving b, then c.
    Mesh pair;
    AddTables(pair, {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}}, {{0, 1, 2}, {2, 1, 3}});
    BuildConnectivity(pair);
    EXPECT_EQ(FaceTableOf(pair), (std::vector<V>{{None, 1, None}, {0, None, None}}));
    EXPECT_EQ(TableOf(pair.m_VertexConnectivity), (std::vector<V>{{1, 2}, {0, 2, 3}, {0, 1, 3}, {2, 1}}));
    EXPECT_EQ(TableOf(pair.m_VertexFaceConnectivity), (std::vector<V>{{0}, {0, 1}, {0, 1}, {1}}));

    // Across a non-manifold edge each face keeps the last other face; a
    // duplicate face shares all three corners and is recorded only across
    // edge 0, whatever its winding. A repeated corner makes the vertex its
    // own neighbour and lists the face twice.
    Mesh fan, twin, repeated;
    AddTables(fan, {{0, 0, 0}, {1, 1, 0}, {2, 4, 0}, {3, 9, 0}, {4, 16, 0}}, {{0, 1, 2}, {1, 0, 3}, {0, 1, 4}});
    AddTables(twin, {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{0, 1, 2}, {2, 1, 0}});
    AddTables(repeated, {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{0, 0, 2}});
    fan.AssignFaceConnectivity(true);
    twin.AssignFaceConnectivity(true);
    BuildConnectivity(repeated);
    EXPECT_EQ(FaceTableOf(fan), (std::vector<V>{{2, None, None}, {2, None, None}, {1, None, None}}));
    EXPECT_EQ(FaceTableOf(twin), (std::vector<V>{{1, None, None}, {0, None, None}}));
    EXPECT_TRUE(Entries(repeated.m_VertexConnectivity[0]) == (V{0, 2}) &&
                Entries(repeated.m_VertexFaceConnectivity[0]) == (V{0, 0}));
}

TEST(Connectivity, ClosedMeshesMatchAnIndependentRebuildWhateverTheIndexWidth) {
    Mesh sphere;
    Mesh16 narrowSphere, torus;
    MakeIcosphere(sphere, 2);
    MakeIcosphere(narrowSphere, 2);
    MakeTorus(torus, 12, 7);
    PrepareForEditing(sphere);
    PrepareForEditing(narrowSphere);
    PrepareForEditing(torus);
    EXPECT_TRUE(MatchesRebuild(sphere));
    EXPECT_TRUE(MatchesRebuild(torus));
    EXPECT_EQ(FaceTableOf(sphere), FaceTableOf(narrowSphere));
    EXPECT_EQ(TableOf(sphere.m_VertexConnectivity), TableOf(narrowSphere.m_VertexConnectivity));
}

TEST(Connectivity, SoupsOfSharedEdgesDuplicatesAndRepeatedCornersKeepTheLastMatchOfEveryList) {
    // The rule in full: each face reads the lists of its three corners in
    // turn (faces ascending, a face listed once per corner it names) and a
    // later match overwrites an earlier one. Few vertices and many faces
    // make edges of up to a dozen faces, duplicates wound either way, and
    // faces that name a vertex twice.
    for (unsigned int seed = 1; seed <= 6; ++seed) {
        const unsigned int vertexCount = 5 + seed, faceCount = 40 + 9 * seed;
        std::vector<std::array<double, 3>> points;
        for (unsigned int v = 0; v < vertexCount; ++v)
            points.push_back({double(v), double(v * v % 7), double(v % 3)});
        std::vector<std::array<unsigned int, 3>> faces;
        unsigned int state = seed * 2654435761u;
        const auto next = [&]() {
            state = state * 1664525u + 1013904223u;
            return (state >> 8) % vertexCount;
        };
        for (unsigned int f = 0; f < faceCount; ++f)
            faces.push_back({next(), next(), next()});
        Mesh mesh;
        AddTables(mesh, points, faces);
        mesh.AssignFaceConnectivity(true);
        std::vector<V> expected;
        for (unsigned int f = 0; f < faceCount; ++f) {
            const unsigned int a = faces[f][0], b = faces[f][1], c = faces[f][2];
            V slots{None, None, None};
            for (const unsigned int corner : {a, b, c})
                for (unsigned int g = 0; g < faceCount; ++g)
                    for (const unsigned int listed : faces[g]) {
                        if (listed != corner || g == f)
                            continue;
                        const auto has = [&](unsigned int x) {
                            return faces[g][0] == x || faces[g][1] == x || faces[g][2] == x;
                        };
                        if (has(a) && has(b))
                            slots[0] = g;
                        else if (has(a) && has(c))
                            slots[2] = g;
                        else if (!has(a) && has(b) && has(c))
                            slots[1] = g;
                    }
            expected.push_back(slots);
        }
        EXPECT_EQ(FaceTableOf(mesh), expected) << "seed " << seed;
    }
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
    for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v)
        EXPECT_EQ(mesh.m_VertexConnectivity[v].GetStream(), arrays[v]) << "vertex " << v;

    // The face table only grows; the reallocating builds start from grow
    // size 6 lists.
    const unsigned int faceCount = mesh.m_Faces.GetCount();
    mesh.m_Faces.RemoveFromEnd(10);
    mesh.AssignFaceConnectivity(true);
    EXPECT_TRUE(mesh.m_FaceConnectivity.GetCount() == faceCount &&
                mesh.m_VertexFaceConnectivity[0].GetGrowSize() == 6u);
}

TEST(ConnectionTables, AllocateSizesThePointerArrayAsOneByOneAppendsWouldAndKeepsItWhenLargeEnough) {
    for (const bool doubling : {false, true})
        for (const unsigned int count : {0u, 1u, 1000u, 1001u, 2500u, 4001u}) {
            CVertexConnections allocated, appended;
            allocated.SetUseExponentialGrowth(doubling);
            appended.SetUseExponentialGrowth(doubling);
            allocated.Allocate(count, 6);
            for (unsigned int v = 0; v < count; ++v)
                appended.Add(6);
            EXPECT_TRUE(allocated.GetCapacity() == appended.GetCapacity() && allocated.GetCount() == count)
                << count << (doubling ? " doubling" : "");
        }
    CVertexConnections table;
    table.Allocate(1500, 6);
    TList<unsigned int>* const* array = table.GetStream();
    table.Allocate(10, 3);
    EXPECT_TRUE(table.GetStream() == array && table.GetCapacity() == 2000u);
    EXPECT_TRUE(table[9].GetGrowSize() == 3 && table[9].GetCount() == 0);
}
