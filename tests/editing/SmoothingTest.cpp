#include <gtest/gtest.h>
#include <omp.h>

#include <array>
#include <vector>

// RelaxVertices is a private member.
#include "MeshInternals.h"

#include "AdjacencyChecks.h"

using namespace QuorvelTest;

namespace {

typedef TMesh<double, TVertexPN<double>, CA8, unsigned int> MeshD8;
typedef TMesh<double, TVertexPNC<double>, CA32, unsigned int> MeshD32;

template <typename Mesh>
void ExpectAt(const Mesh& mesh, unsigned int v, double x, double y, double z, double tolerance = 1e-6) {
    EXPECT_NEAR(mesh.m_Vertices[v].m_Position.DiffVectLen(TVector3<RealOf<Mesh>>(x, y, z)), 0, tolerance)
        << "vertex " << v;
}

// A 2 x 2 grid of unit squares with the centre vertex 4 lifted to height z;
// its neighbours are 0, 1, 3, 5, 7 and 8. Every vertex gets attribute 0,
// normal +z and, where the vertex type has one, a colour.
template <typename Mesh>
void MakeTent(Mesh& mesh, double z) {
    MakeGrid(mesh, 2, 2);
    mesh.m_Vertices[4].m_Position.z = RealOf<Mesh>(z);
    BuildConnectivity(mesh);
    mesh.AllocateVertexAttributeBuffer();
    mesh.ResetAttributes();
    for (unsigned int v = 0; v < 9; ++v) {
        mesh.m_Vertices[v].m_Normal = TVector3<RealOf<Mesh>>(0, 0, 1);
        mesh.m_Vertices[v].SetColour(0xABCDEF);
    }
}

}  // namespace

TEST(Smooth, AveragesEachVertexWithItsNeighboursFromThePreviousIteration) {
    MeshD32 mesh;
    MakeTent(mesh, 7);
    AddVertex(mesh, 5, 5, 5);  // no face, no neighbours: divisor 1
    mesh.AssignVertexConnectivity(true);
    MeshD32 twice(mesh), serial(mesh);
    // Without iterations the colours stay and the normals come out as the
    // serial normal pass gives them.
    serial.AssignVertexNormals();
    mesh.Smooth(0, 0, 0, 0);
    for (unsigned int v = 0; v < 9; ++v) {
        EXPECT_EQ(ColourOf(mesh, v), 0xABCDEFu);
        EXPECT_EQ(mesh.m_Vertices[v].m_Normal, serial.m_Vertices[v].m_Normal);
    }
    mesh.Smooth(1, 0, 0, 0);
    ExpectAt(mesh, 4, 1, 1, 1);  // the centre weighs as one of its six neighbours
    ExpectAt(mesh, 2, 5.0 / 3, 1.0 / 3, 0);
    ExpectAt(mesh, 9, 5, 5, 5);
    // The second iteration starts from all of the first one's positions.
    twice.Smooth(2, 0, 0, 0);
    double heights = mesh.m_Vertices[4].m_Position.z;
    for (unsigned int n : {0u, 1u, 3u, 5u, 7u, 8u})
        heights += mesh.m_Vertices[n].m_Position.z;
    EXPECT_NEAR(twice.m_Vertices[4].m_Position.z, heights / 7, 1e-12);
}

TEST(Smooth, GivesBitIdenticalResultsOnOneAndTwoThreads) {
    MeshD32 reference;
    MakeBumpySphere(reference, 3, 0, 0.05);
    BuildConnectivity(reference);
    reference.AssignVertexNormals();
    reference.AllocateVertexAttributeBuffer();
    for (unsigned int v = 0; v < reference.m_Vertices.GetCount(); ++v)
        reference.m_VertexAttributes[v].m_Value = v % 16;
    const int defaultThreads = omp_get_max_threads();
    MeshD32 one(reference), two(reference);
    omp_set_num_threads(1);
    one.Smooth(4, 0x01, 0x0E, 0x04);
    omp_set_num_threads(2);
    two.Smooth(4, 0x01, 0x0E, 0x04);
    omp_set_num_threads(defaultThreads);
    EXPECT_FALSE(one.m_Vertices[2].m_Position == reference.m_Vertices[2].m_Position);  // in the region, free
    for (unsigned int v = 0; v < reference.m_Vertices.GetCount(); ++v) {
        ASSERT_EQ(two.m_Vertices[v].m_Position, one.m_Vertices[v].m_Position) << v;
        ASSERT_EQ(two.m_Vertices[v].m_Normal, one.m_Vertices[v].m_Normal) << v;
    }
}

TEST(Smooth, MasksChooseWhichVerticesMoveAndWhichNeighboursCount) {
    // Fixed vertices stay. Outside a region vertices stay, and neighbours
    // outside count neither in the sum nor in the divisor; with none inside
    // a vertex stays. Outward vertices may only move along their normal
    // (+z): a move with no outward component (1 down, 2 sideways) is
    // cancelled whole. The whole scratch vertex, whose colour is never
    // filled, is copied back to every vertex, staying ones included.
    const double t = 2.0 / 3, h = 1.0 / 3;
    const struct {
        double z;
        std::vector<unsigned int> flagged;
        unsigned int fixed, region, outward;
        std::vector<std::array<double, 4>> expected;  // vertex, x, y, z
    } cases[] = {{7, {4}, 0x02, 0, 0, {{4, 1, 1, 7}, {0, 0.5, 0.5, 1.75}}},
                 {3, {0, 1, 4}, 0, 0x04, 0, {{0, t, h, 1}, {1, t, h, 1}, {4, t, h, 1}, {8, 2, 2, 0}}},
                 {3, {4}, 0, 0x04, 0, {{4, 1, 1, 3}}},
                 {-7, {1, 2, 4}, 0, 0, 0x08, {{4, 1, 1, -1}, {1, 1, 0, 0}, {2, 2, 0, 0}, {8, 1.5, 1.5, -1.75}}}};
    for (const auto& c : cases) {
        MeshD32 mesh;
        MakeTent(mesh, c.z);
        for (unsigned int v : c.flagged)
            mesh.m_VertexAttributes[v].m_Value = c.fixed | c.region | c.outward;
        mesh.Smooth(1, c.fixed, c.region, c.outward);
        for (const auto& e : c.expected)
            ExpectAt(mesh, unsigned(e[0]), e[1], e[2], e[3]);
        for (unsigned int v = 0; v < 9; ++v)
            EXPECT_EQ(ColourOf(mesh, v), 0u) << v;
    }
}

TEST(RelaxVertices, MovesInteriorVerticesToTheirNeighboursCentroidAndLeavesOpenOnes) {
    // An interior vertex among three open ones lands on their centroid.
    MeshD8 fan;
    AddTables(fan, {{0, 0, 0}, {2, 0, 0}, {0, 2, 0}, {5, 5, 5}, {1, 1, 1}}, {{0, 1, 3}, {1, 2, 3}, {2, 0, 3}});
    fan.AssignVertexConnectivity(true);
    for (unsigned int a : {1u, 1u, 1u, 0u, 255u})
        fan.m_VertexAttributes.Add(CA8(static_cast<std::uint8_t>(a)));
    fan.m_Vertices[4].m_Normal = TVector3<double>(7, 8, 9);
    CMeshTestAccess::RelaxVertices(fan);
    ExpectAt(fan, 0, 0, 0, 0, 0);
    ExpectAt(fan, 1, 2, 0, 0, 0);
    ExpectAt(fan, 3, 2.0 / 3, 2.0 / 3, 0, 1e-12);
    ExpectAt(fan, 4, 7, 8, 9, 0);  // a collapsed vertex takes its stale normal as position
}

TEST(Offset, MovesEveryVertexAlongItsUnitNormalAndRebuildsTheBox) {
    for (double distance : {0.5, -0.25}) {
        MeshD8 mesh;
        MakeIcosphere(mesh, 1);
        const unsigned int count = mesh.m_Vertices.GetCount();
        for (unsigned int v = 0; v < count; ++v)
            mesh.m_Vertices[v].m_Normal = mesh.m_Vertices[v].m_Position * 3.0;
        AddVertex(mesh, 3, 0, 0);  // zero normal: stays
        mesh.Offset(distance);
        for (unsigned int v = 0; v < count; ++v)
            EXPECT_NEAR(mesh.m_Vertices[v].m_Position.GetLength(), 1 + distance, 1e-12);
        ExpectAt(mesh, count, 3, 0, 0, 0);
        // The sphere reaches +-1 on every axis.
        EXPECT_NEAR(mesh.m_BoundingBox.m_Min.DiffVectLen(TVector3<double>(-1, -1, -1) * (1 + distance)), 0, 1e-12);
        EXPECT_NEAR(mesh.m_BoundingBox.m_Max.DiffVectLen(TVector3<double>(3, 1 + distance, 1 + distance)), 0, 1e-12);
        // The normals are recomputed from the faces: unit and outward.
        EXPECT_NEAR(mesh.m_Vertices[0].m_Normal.GetLength(), 1, 1e-12);
        EXPECT_GT(mesh.m_Vertices[0].m_Normal % mesh.m_Vertices[0].m_Position, 0);
    }
}
