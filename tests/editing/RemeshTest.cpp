#include <gtest/gtest.h>

#include <cmath>

#include "remeshing/RemeshChecks.h"

using namespace QuorvelTest;

namespace {

typedef TMesh<double, TVertexPNC<double>, CA32, unsigned int> MeshD32;
typedef TMesh<float, TVertexPN<float>, CA8, unsigned short> MeshF16;

// Refining brings the mean edge length towards the target. Coarsening need
// not, since plain averaging shrinks the sphere and each iteration finds
// more short edges; the topology must survive either way.
template <typename Mesh>
void RemeshClosedSphere(double factor) {
    Mesh mesh;
    MakeIcosphere(mesh, 3);
    BuildConnectivity(mesh);
    const double before = MeanSide(mesh), target = before * factor;
    mesh.Remesh(RealOf<Mesh>(target));
    EXPECT_EQ(mesh.m_VertexAttributes.GetCount(), mesh.m_Vertices.GetCount());
    EXPECT_EQ(ClosedEuler(mesh), 2) << factor;
    // Collapsed vertices are exactly the ones no face uses any more.
    mesh.DiscardVertices();
    for (unsigned int v = 0; v < mesh.m_VertexAttributes.GetCount(); ++v)
        EXPECT_NE(AttributeOf(mesh, v), 255u) << v;
    if (factor >= 1)
        return;
    for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v) {
        EXPECT_NEAR(mesh.m_Vertices[v].m_Normal.GetLength(), 1, 1e-5) << v;
        EXPECT_GT(mesh.m_Vertices[v].m_Normal % mesh.m_Vertices[v].m_Position, 0) << v;
    }
    EXPECT_LT(std::fabs(MeanSide(mesh) - target), std::fabs(before - target) / 2);
}

}  // namespace

TEST(Remesh, KeepsAClosedSphereClosedAndManifold) {
    RemeshClosedSphere<MeshD32>(0.55);
    RemeshClosedSphere<MeshD32>(1.3);
    RemeshClosedSphere<MeshF16>(0.6);
    RemeshClosedSphere<MeshF16>(2.2);
}

TEST(Remesh, KeepsTheBoundaryOfAnOpenPatchInPlace) {
    for (double target : {0.55, 1.9}) {
        MeshD32 mesh;
        MakeGrid(mesh, 8, 8);
        BuildConnectivity(mesh);
        const MeshD32 input(mesh);
        mesh.Remesh(target);
        BuildConnectivity(mesh);
        EXPECT_TRUE(MatchesRebuild(mesh));
        EXPECT_NE(mesh.m_Faces.GetCount(), input.m_Faces.GetCount());
        auto onBorder = [](const TVector3<double>& p) {
            return (p.x == 0 || p.x == 8 || p.y == 0 || p.y == 8) && p.z == 0;
        };
        // Vertices keep their indices until DiscardVertices; the open ones
        // (bit 0) are neither collapsed nor relaxed.
        for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v) {
            const bool wasOnBorder = v < input.m_Vertices.GetCount() && onBorder(input.m_Vertices[v].m_Position);
            EXPECT_TRUE(!wasOnBorder || mesh.m_Vertices[v].m_Position == input.m_Vertices[v].m_Position) << v;
            const unsigned int flags = mesh.m_VertexAttributes[v].m_Value;
            EXPECT_TRUE((flags & 1) == 0 || flags == 255 || onBorder(mesh.m_Vertices[v].m_Position)) << v;
        }
        // The signed area is a boundary integral: it stays 64 only if the
        // border is intact and every face kept its winding.
        double area = 0;
        for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f)
            area += AreaNormal(mesh, f).z / 2;
        EXPECT_NEAR(area, 64, 1e-9);
    }
}
