#include <gtest/gtest.h>
#include <omp.h>

#include <cmath>
#include <vector>

// RelaxVertices is a private member.
#define private public
#define protected public
#include "MeshFixtures.h"
#undef private
#undef protected

using namespace QuorvelTest;

namespace {

typedef TMesh<double, TVertexPN<double>, CA8, unsigned int> MeshD8;
typedef TMesh<float, TVertexPNC<float>, CA16, unsigned short> MeshF16;
typedef TMesh<double, TVertexPNC<double>, CA32, unsigned int> MeshD32;

template <typename Mesh>
void ExpectAt(const Mesh& mesh, unsigned int v, double x, double y, double z, double tolerance = 1e-6) {
    const auto& p = mesh.m_Vertices[v].m_Position;
    EXPECT_NEAR(p.x, x, tolerance) << "vertex " << v;
    EXPECT_NEAR(p.y, y, tolerance) << "vertex " << v;
    EXPECT_NEAR(p.z, z, tolerance) << "vertex " << v;
}

// A 2 x 2 grid of unit squares; the centre vertex 4 is lifted to height z.
// Its neighbours are 0, 1, 3, 5, 7 and 8.
template <typename Mesh>
void MakeTent(Mesh& mesh, double z) {
    MakeGrid(mesh, 2, 2);
    mesh.m_Vertices[4].m_Position.z = RealOf<Mesh>(z);
    BuildConnectivity(mesh);
    mesh.AllocateVertexAttributeBuffer();
    for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v) {
        mesh.m_VertexAttributes[v].m_Value = 0;
        mesh.m_Vertices[v].m_Normal = TVector3<RealOf<Mesh>>(0, 0, 1);
    }
}

// A closed sphere with reproducible radial noise.
template <typename Mesh>
void MakeNoisySphere(Mesh& mesh) {
    MakeIcosphere(mesh, 3);
    unsigned int state = 12345;
    for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v) {
        state = state * 1103515245u + 12345u;
        const double factor = 1 + 0.1 * ((state >> 16) % 1000) / 1000.0;
        mesh.m_Vertices[v].m_Position *= RealOf<Mesh>(factor);
    }
    BuildConnectivity(mesh);
    mesh.AssignVertexNormals();
    mesh.AllocateVertexAttributeBuffer();
    for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v) mesh.m_VertexAttributes[v].m_Value = v % 16;
}

}  // namespace

TEST(Smooth, AveragesEachVertexWithItsNeighboursFromThePreviousIteration) {
    MeshD8 mesh;
    MakeTent(mesh, 7);
    AddVertex(mesh, 5, 5, 5);  // no face, no neighbours: divisor 1
    mesh.AssignVertexConnectivity(true);

    MeshD8 twice(mesh);
    mesh.Smooth(1, 0, 0, 0);
    // The centre weighs as one of its six neighbours.
    ExpectAt(mesh, 4, 1, 1, 1);
    // Corner 0 has neighbours 1, 4, 3.
    ExpectAt(mesh, 0, 0.5, 0.5, 1.75);
    // Corner 2 has neighbours 1 and 5 only.
    ExpectAt(mesh, 2, 5.0 / 3, 1.0 / 3, 0);
    ExpectAt(mesh, 9, 5, 5, 5);

    // The second iteration starts from the first one's positions: the lifted
    // centre comes down to the mean of its neighbours' first-iteration heights.
    twice.Smooth(2, 0, 0, 0);
    double heights = mesh.m_Vertices[4].m_Position.z;
    for (unsigned int n : {0u, 1u, 3u, 5u, 7u, 8u}) heights += mesh.m_Vertices[n].m_Position.z;
    EXPECT_NEAR(twice.m_Vertices[4].m_Position.z, heights / 7, 1e-12);

    // The normals are recomputed at the end.
    for (unsigned int v = 0; v < 9; ++v) EXPECT_NEAR(mesh.m_Vertices[v].m_Normal.GetLength(), 1, 1e-9);

    MeshD8 empty;
    empty.Smooth(3, 0, 0, 0);
    EXPECT_EQ(empty.m_Vertices.GetCount(), 0u);
}

TEST(Smooth, GivesBitIdenticalResultsForAnyThreadCount) {
    const int defaultThreads = omp_get_max_threads();
    MeshD32 reference;
    MakeNoisySphere(reference);
    std::vector<MeshD32*> results;
    for (int threads : {1, 2, 3}) {
        omp_set_num_threads(threads);
        auto* mesh = new MeshD32(reference);
        mesh->Smooth(4, 0x01, 0x0E, 0x04);
        results.push_back(mesh);
    }
    omp_set_num_threads(defaultThreads);

    const unsigned int count = reference.m_Vertices.GetCount();
    bool moved = false;
    for (unsigned int v = 0; v < count; ++v) {
        moved = moved || !(results[0]->m_Vertices[v].m_Position == reference.m_Vertices[v].m_Position);
        for (std::size_t r = 1; r < results.size(); ++r) {
            ASSERT_EQ(results[r]->m_Vertices[v].m_Position, results[0]->m_Vertices[v].m_Position) << v;
            ASSERT_EQ(results[r]->m_Vertices[v].m_Normal, results[0]->m_Vertices[v].m_Normal) << v;
        }
    }
    EXPECT_TRUE(moved);
    for (auto* mesh : results) delete mesh;
}

TEST(Smooth, MasksChooseWhichVerticesMoveAndWhichNeighboursCount) {
    {
        MeshD8 mesh;
        MakeTent(mesh, 7);
        mesh.m_VertexAttributes[4].m_Value = 0x02;
        mesh.Smooth(1, 0x02, 0, 0);
        ExpectAt(mesh, 4, 1, 1, 7, 0);
        ExpectAt(mesh, 0, 0.5, 0.5, 1.75);
    }
    {
        // Region: 0, 1 and 4. Vertices outside stay; neighbours outside are
        // left out of the average and of the divisor.
        MeshD8 mesh;
        MakeTent(mesh, 3);
        for (unsigned int v : {0u, 1u, 4u}) mesh.m_VertexAttributes[v].m_Value = 0x04;
        mesh.Smooth(1, 0, 0x04, 0);
        ExpectAt(mesh, 4, 2.0 / 3, 1.0 / 3, 1);
        ExpectAt(mesh, 0, 2.0 / 3, 1.0 / 3, 1);
        ExpectAt(mesh, 1, 2.0 / 3, 1.0 / 3, 1);
        ExpectAt(mesh, 3, 0, 1, 0, 0);
        ExpectAt(mesh, 8, 2, 2, 0, 0);

        // A region vertex whose neighbours are all outside keeps its place.
        MeshD8 alone;
        MakeTent(alone, 3);
        alone.m_VertexAttributes[4].m_Value = 0x04;
        alone.Smooth(1, 0, 0x04, 0);
        ExpectAt(alone, 4, 1, 1, 3, 0);
    }
    {
        // Outward: flagged vertices may only move along their normal (+z).
        // A move with no outward component is cancelled whole.
        MeshD8 dent;
        MakeTent(dent, -7);
        for (unsigned int v : {1u, 2u, 4u}) dent.m_VertexAttributes[v].m_Value = 0x08;
        dent.Smooth(1, 0, 0, 0x08);
        ExpectAt(dent, 4, 1, 1, -1);    // upwards: allowed
        ExpectAt(dent, 1, 1, 0, 0, 0);  // downwards: cancelled
        ExpectAt(dent, 2, 2, 0, 0, 0);  // sideways only: cancelled
        ExpectAt(dent, 8, 1.5, 1.5, -1.75);

        MeshD8 bump;
        MakeTent(bump, 7);
        bump.m_VertexAttributes[4].m_Value = 0x08;
        bump.Smooth(1, 0, 0, 0x08);
        ExpectAt(bump, 4, 1, 1, 7, 0);
    }
}

TEST(Smooth, WidensCharMasksWithTheirSign) {
    {
        MeshF16 mesh;
        MakeTent(mesh, 7);
        mesh.m_VertexAttributes[4].m_Value = 0x0100;
        MeshF16 unsignedMask(mesh);
        mesh.Smooth(1, static_cast<char>(0x80), 0, 0);
        ExpectAt(mesh, 4, 1, 1, 7, 0);
        unsignedMask.Smooth(1, 0x40, 0, 0);
        ExpectAt(unsignedMask, 4, 1, 1, 1, 1e-5);
    }
    {
        MeshD32 mesh;
        MakeTent(mesh, 7);
        for (unsigned int v = 0; v < 9; ++v) mesh.m_VertexAttributes[v].m_Value = 0x00020000;
        mesh.m_VertexAttributes[0].m_Value = 0x00000001;
        mesh.Smooth(1, 0, static_cast<char>(0xF0), 0);
        // Vertex 0 is outside the region: it stays and the others ignore it.
        ExpectAt(mesh, 0, 0, 0, 0, 0);
        ExpectAt(mesh, 4, 7.0 / 6, 7.0 / 6, 7.0 / 6);
    }
}

TEST(Smooth, ZeroesColoursAndRecomputesNormals) {
    MeshD32 mesh;
    MakeTent(mesh, 7);
    for (unsigned int v = 0; v < 9; ++v) {
        mesh.m_Vertices[v].m_Colour = 0xABCDEF;
        mesh.m_Vertices[v].m_Normal = TVector3<double>(5, 5, 5);
    }
    MeshD32 expectedNormals(mesh);
    expectedNormals.AssignVertexNormals();

    mesh.Smooth(0, 0, 0, 0);
    for (unsigned int v = 0; v < 9; ++v) {
        EXPECT_EQ(mesh.m_Vertices[v].m_Colour, 0xABCDEFu);
        EXPECT_EQ(mesh.m_Vertices[v].m_Position, expectedNormals.m_Vertices[v].m_Position);
        EXPECT_EQ(mesh.m_Vertices[v].m_Normal, expectedNormals.m_Vertices[v].m_Normal);
    }

    // The whole scratch vertex is copied back, fixed vertices included, and
    // the scratch colour is never filled.
    mesh.m_VertexAttributes[4].m_Value = 1;
    mesh.Smooth(1, 1, 0, 0);
    for (unsigned int v = 0; v < 9; ++v) EXPECT_EQ(mesh.m_Vertices[v].m_Colour, 0u);
    ExpectAt(mesh, 4, 1, 1, 7, 0);
}

TEST(RelaxVertices, RunsFiveJacobiPassesAndLeavesOpenVerticesInPlace) {
    {
        // An interior vertex among three open ones lands on their centroid.
        MeshD8 fan;
        AddVertex(fan, 0, 0, 0);
        AddVertex(fan, 2, 0, 0);
        AddVertex(fan, 0, 2, 0);
        AddVertex(fan, 5, 5, 5);
        AddVertex(fan, 1, 1, 1);  // removed by a collapse
        AddFace(fan, 0, 1, 3);
        AddFace(fan, 1, 2, 3);
        AddFace(fan, 2, 0, 3);
        fan.AssignVertexConnectivity(true);
        for (unsigned int a : {1u, 1u, 1u, 0u, 255u}) fan.m_VertexAttributes.Add(CA8(static_cast<std::uint8_t>(a)));
        fan.m_Vertices[4].m_Normal = TVector3<double>(7, 8, 9);
        fan.RelaxVertices();
        ExpectAt(fan, 0, 0, 0, 0, 0);
        ExpectAt(fan, 1, 2, 0, 0, 0);
        ExpectAt(fan, 2, 0, 2, 0, 0);
        ExpectAt(fan, 3, 2.0 / 3, 2.0 / 3, 0, 1e-12);
        ExpectAt(fan, 4, 7, 8, 9, 0);  // takes its stale normal as position
        EXPECT_EQ(fan.m_Vertices[1].m_Normal, fan.m_Vertices[1].m_Position);
    }
    {
        // Two interior vertices A, B between two open vertices at the origin:
        // each pass sets A to a third of B's previous position and B to a
        // third of A's, so after exactly five passes A is 0 and B is A0 / 243.
        MeshF16 pair;
        AddVertex(pair, 0, 0, 0);
        AddVertex(pair, 0, 0, 0);
        AddVertex(pair, 243, 486, 729);
        AddVertex(pair, 0, 0, 0);
        AddFace(pair, 0, 2, 3);
        AddFace(pair, 2, 1, 3);
        pair.AssignVertexConnectivity(true);
        for (unsigned int a : {1u, 1u, 0u, 0u}) pair.m_VertexAttributes.Add(CA16(static_cast<std::uint16_t>(a)));
        pair.RelaxVertices();
        ExpectAt(pair, 2, 0, 0, 0, 0);
        ExpectAt(pair, 3, 1, 2, 3, 1e-6);
    }
}

TEST(Offset, MovesEveryVertexAlongItsUnitNormalAndRebuildsTheBox) {
    for (double distance : {0.5, -0.25}) {
        MeshD8 mesh;
        MakeIcosphere(mesh, 1);
        AddVertex(mesh, 3, 0, 0);  // zero normal: stays
        const unsigned int count = mesh.m_Vertices.GetCount();
        for (unsigned int v = 0; v + 1 < count; ++v) mesh.m_Vertices[v].m_Normal = mesh.m_Vertices[v].m_Position * 3.0;
        mesh.Offset(distance);

        TBox<double> box(1e300);
        for (unsigned int v = 0; v < count; ++v) {
            const auto& p = mesh.m_Vertices[v].m_Position;
            box.Extend(p);
            if (v + 1 < count) {
                EXPECT_NEAR(p.GetLength(), 1 + distance, 1e-12);
            }
        }
        ExpectAt(mesh, count - 1, 3, 0, 0, 0);
        EXPECT_EQ(mesh.m_BoundingBox.m_Min, box.m_Min);
        EXPECT_EQ(mesh.m_BoundingBox.m_Max, box.m_Max);
        // The normals are recomputed from the faces: unit and outward.
        EXPECT_NEAR(mesh.m_Vertices[0].m_Normal.GetLength(), 1, 1e-12);
        EXPECT_GT(mesh.m_Vertices[0].m_Normal % mesh.m_Vertices[0].m_Position, 0);
    }
}
