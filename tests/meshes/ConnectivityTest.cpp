#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <set>
#include <utility>
#include <vector>

// The valence helper is a private member.
#include "MeshInternals.h"

namespace {

using namespace QuorvelTest;
using Corvane::Pellix::Lintorra::TList;

typedef TMesh<double, TVertexPN<double>, CA8, unsigned int> Mesh;
typedef TMesh<float, TVertexPNC<float>, CA16, unsigned short> Mesh16;
typedef std::vector<unsigned int> Ids;
typedef std::array<unsigned int, 3> Slots;
typedef std::vector<Slots> FaceTable;

const unsigned int None = 0xFFFFFFFFu;

Ids ListOf(const TList<unsigned int>& list) {
    return Ids(list.GetStream(), list.GetStream() + list.GetCount());
}

std::vector<Ids> TableOf(const CVertexConnections& table) {
    std::vector<Ids> out;
    for (unsigned int v = 0; v < table.GetCount(); ++v)
        out.push_back(ListOf(table[v]));
    return out;
}

template <typename M>
FaceTable FaceTableOf(const M& mesh) {
    FaceTable out;
    for (unsigned int f = 0; f < mesh.m_FaceConnectivity.GetCount(); ++f) {
        const unsigned int* n = mesh.m_FaceConnectivity[f].m_Neighbours;
        out.push_back({n[0], n[1], n[2]});
    }
    return out;
}

TEST(Connectivity, SmallMeshesGiveTheirKnownTables) {
    // Two triangles sharing (1, 2): the shared edge is edge 1 of the first face
    // and edge 0 of the second. Neighbour lists follow the scan order, corner
    // a of a face receiving b, then c.
    Mesh pair;
    AddTables(pair, {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}}, {{0, 1, 2}, {2, 1, 3}});
    BuildConnectivity(pair);
    EXPECT_EQ(FaceTableOf(pair), (FaceTable{{None, 1, None}, {0, None, None}}));
    EXPECT_EQ(TableOf(pair.m_VertexConnectivity), (std::vector<Ids>{{1, 2}, {0, 2, 3}, {0, 1, 3}, {2, 1}}));
    EXPECT_EQ(TableOf(pair.m_VertexFaceConnectivity), (std::vector<Ids>{{0}, {0, 1}, {0, 1}, {1}}));

    // Across a non-manifold edge each face keeps the last other face; a
    // duplicate face shares all three corners and is recorded only across
    // edge 0, whatever its winding.
    Mesh fan, twin;
    AddTables(fan, {{0, 0, 0}, {1, 1, 0}, {2, 4, 0}, {3, 9, 0}, {4, 16, 0}}, {{0, 1, 2}, {1, 0, 3}, {0, 1, 4}});
    AddTables(twin, {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{0, 1, 2}, {2, 1, 0}});
    fan.AssignFaceConnectivity(true);
    twin.AssignFaceConnectivity(true);
    EXPECT_EQ(FaceTableOf(fan), (FaceTable{{2, None, None}, {2, None, None}, {1, None, None}}));
    EXPECT_EQ(FaceTableOf(twin), (FaceTable{{1, None, None}, {0, None, None}}));

    // A repeated corner makes the vertex its own neighbour and lists the face
    // twice.
    Mesh repeated;
    AddTables(repeated, {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{0, 0, 2}});
    BuildConnectivity(repeated);
    EXPECT_TRUE(ListOf(repeated.m_VertexConnectivity[0]) == (Ids{0, 2}) &&
                ListOf(repeated.m_VertexFaceConnectivity[0]) == (Ids{0, 0}));
}

// Checks the three tables of a closed manifold mesh against each other and
// against the faces, without trusting any one of them.
template <typename M>
void ExpectConsistentClosedTables(const M& mesh) {
    const unsigned int faceCount = mesh.m_Faces.GetCount(), vertexCount = mesh.m_Vertices.GetCount();
    ASSERT_EQ(mesh.m_FaceConnectivity.GetCount(), faceCount);
    ASSERT_EQ(mesh.m_VertexFaceConnectivity.GetCount(), vertexCount);
    ASSERT_EQ(mesh.m_VertexConnectivity.GetCount(), vertexCount);

    const FaceTable table = FaceTableOf(mesh);
    auto edge = [&](unsigned int f, unsigned int k) {
        const unsigned int a = mesh.m_Faces[f].m_Corners[k], b = mesh.m_Faces[f].m_Corners[(k + 1) % 3];
        return std::make_pair(std::min(a, b), std::max(a, b));
    };
    std::set<std::pair<unsigned int, unsigned int>> edges;
    for (unsigned int f = 0; f < faceCount; ++f)
        for (unsigned int k = 0; k < 3; ++k) {
            edges.insert(edge(f, k));
            // The neighbour names f back across the same corner pair.
            const unsigned int g = table[f][k];
            ASSERT_LT(g, faceCount) << "face " << f << " edge " << k << " is open";
            const unsigned int j = unsigned(std::find(table[g].begin(), table[g].end(), f) - table[g].begin());
            ASSERT_LT(j, 3u);
            EXPECT_EQ(edge(f, k), edge(g, j));
        }
    unsigned int faceEntries = 0, neighbourEntries = 0;
    for (unsigned int v = 0; v < vertexCount; ++v) {
        const Ids around = ListOf(mesh.m_VertexFaceConnectivity[v]), ring = ListOf(mesh.m_VertexConnectivity[v]);
        faceEntries += unsigned(around.size());
        neighbourEntries += unsigned(ring.size());
        EXPECT_TRUE(std::is_sorted(around.begin(), around.end()));
        for (unsigned int f : around) {
            const auto* c = mesh.m_Faces[f].m_Corners;
            EXPECT_TRUE(c[0] == v || c[1] == v || c[2] == v);
        }
        EXPECT_EQ(std::set<unsigned int>(ring.begin(), ring.end()).size(), ring.size());
        for (unsigned int w : ring)
            EXPECT_EQ(edges.count(std::make_pair(std::min(v, w), std::max(v, w))), 1u);
        // On a closed manifold a vertex has as many neighbours as faces.
        EXPECT_EQ(ring.size(), around.size());
    }
    EXPECT_EQ(faceEntries, 3 * faceCount);
    EXPECT_EQ(neighbourEntries, 2 * edges.size());
}

TEST(Connectivity, ClosedMeshesGiveConsistentTablesWhateverTheIndexWidth) {
    Mesh sphere;
    Mesh16 narrowSphere, torus;
    MakeIcosphere(sphere, 2);
    MakeIcosphere(narrowSphere, 2);
    MakeTorus(torus, 12, 7);
    BuildConnectivity(sphere);
    BuildConnectivity(narrowSphere);
    BuildConnectivity(torus);
    ExpectConsistentClosedTables(sphere);
    ExpectConsistentClosedTables(torus);
    EXPECT_EQ(FaceTableOf(sphere), FaceTableOf(narrowSphere));
    EXPECT_EQ(TableOf(sphere.m_VertexConnectivity), TableOf(narrowSphere.m_VertexConnectivity));
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

TEST(ConnectionHelpers, ValenceSumIsHowFarTheValencesAroundAnEdgeAreFromTheirTargets) {
    // The sum over the four vertices of (valence - target)^2, either way round.
    Mesh mesh;
    struct Case {
        int valences[4], targets[4], sum;
    } cases[] = {{{6, 6, 6, 6}, {5, 7, 6, 4}, 6},
                 {{5, 6, 6, 6}, {6, 6, 6, 6}, 1},
                 {{6, 5, 6, 5}, {6, 6, 6, 6}, 2},
                 {{6, 6, 6, 3}, {6, 6, 6, 6}, 9},
                 {{5, 7, 6, 4}, {5, 7, 6, 4}, 0}};
    for (Case& c : cases) {
        EXPECT_EQ(CMeshTestAccess::CalculateValenceSum(mesh, c.valences, c.targets), c.sum);
        EXPECT_EQ(CMeshTestAccess::CalculateValenceSum(mesh, c.targets, c.valences), c.sum);
    }
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
            for (unsigned int v = 0; v < count; ++v)
                appended.Add(6);
            EXPECT_TRUE(allocated.GetCapacity() == appended.GetCapacity() && allocated.GetCount() == count)
                << count << (doubling ? " doubling" : "");
        }
    }

    // A table no larger than before keeps its pointer array.
    CVertexConnections table;
    table.Allocate(1500, 6);
    EXPECT_EQ(table.GetCapacity(), 2000u);
    TList<unsigned int>* const* array = table.GetStream();
    table.Allocate(10, 3);
    EXPECT_TRUE(table.GetStream() == array && table.GetCapacity() == 2000u);
    EXPECT_TRUE(table[9].GetGrowSize() == 3 && table[9].GetCount() == 0);
}

}  // namespace
