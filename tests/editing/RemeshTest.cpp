#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>
#include <vector>

#include "MeshFixtures.h"

using namespace QuorvelTest;

namespace {

typedef TMesh<double, TVertexPNC<double>, CA32, unsigned int> MeshD32;
typedef TMesh<float, TVertexPN<float>, CA8, unsigned short> MeshF16;
typedef std::pair<unsigned int, unsigned int> Edge;

// Undirected edge -> length, over every face.
template <typename Mesh>
std::map<Edge, double> EdgeLengths(const Mesh& mesh) {
    std::map<Edge, double> lengths;
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f)
        for (int k = 0; k < 3; ++k) {
            const unsigned int a = mesh.m_Faces[f].m_Corners[k], b = mesh.m_Faces[f].m_Corners[(k + 1) % 3];
            lengths[std::minmax(a, b)] = mesh.m_Vertices[a].m_Position.DiffVectLen(mesh.m_Vertices[b].m_Position);
        }
    return lengths;
}

template <typename Mesh>
double MeanEdgeLength(const Mesh& mesh) {
    double sum = 0;
    const auto lengths = EdgeLengths(mesh);
    for (const auto& entry : lengths) sum += entry.second;
    return sum / lengths.size();
}

// Valid corners; for a closed mesh also every directed edge once with its
// reverse present, and V - E + F = 2.
template <typename Mesh>
::testing::AssertionResult WellFormed(const Mesh& mesh, bool closed) {
    std::map<Edge, int> directed;
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f) {
        const auto* c = mesh.m_Faces[f].m_Corners;
        for (int k = 0; k < 3; ++k) {
            if (c[k] >= mesh.m_Vertices.GetCount() || c[k] == c[(k + 1) % 3])
                return ::testing::AssertionFailure() << "face " << f << " has a bad corner";
            ++directed[Edge(c[k], c[(k + 1) % 3])];
        }
    }
    if (!closed) return ::testing::AssertionSuccess();
    for (const auto& entry : directed)
        if (entry.second != 1 || !directed.count(Edge(entry.first.second, entry.first.first)))
            return ::testing::AssertionFailure() << "edge " << entry.first.first << "-" << entry.first.second;
    const long long euler = (long long)mesh.m_Vertices.GetCount() - (long long)directed.size() / 2 + mesh.m_Faces.GetCount();
    if (euler != 2) return ::testing::AssertionFailure() << "V - E + F = " << euler;
    return ::testing::AssertionSuccess();
}

// Refining brings the mean edge length towards the target. Coarsening need
// not, since plain averaging shrinks the sphere and each iteration finds
// more short edges; the topology must survive either way.
template <typename Mesh>
void RemeshClosedSphere(double factor) {
    Mesh mesh;
    MakeIcosphere(mesh, 3);
    BuildConnectivity(mesh);
    const double before = MeanEdgeLength(mesh), target = before * factor;
    mesh.Remesh(RealOf<Mesh>(target));
    EXPECT_TRUE(WellFormed(mesh, false)) << factor;
    EXPECT_EQ(mesh.m_FaceConnectivity.GetCount(), 0u);
    EXPECT_EQ(mesh.m_VertexAttributes.GetCount(), mesh.m_Vertices.GetCount());

    mesh.DiscardVertices();
    EXPECT_TRUE(WellFormed(mesh, true)) << factor;
    // Collapsed vertices are exactly the ones no face uses any more.
    for (unsigned int v = 0; v < mesh.m_VertexAttributes.GetCount(); ++v)
        EXPECT_NE(static_cast<unsigned int>(mesh.m_VertexAttributes[v].m_Value), 255u) << v;
    if (factor >= 1) return;
    for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v) {
        EXPECT_NEAR(mesh.m_Vertices[v].m_Normal.GetLength(), 1, 1e-5) << v;
        EXPECT_GT(mesh.m_Vertices[v].m_Normal % mesh.m_Vertices[v].m_Position, 0) << v;
    }
    EXPECT_LT(std::fabs(MeanEdgeLength(mesh) - target), std::fabs(before - target) / 2);
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
        EXPECT_TRUE(WellFormed(mesh, false));
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
        for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f) {
            const auto* c = mesh.m_Faces[f].m_Corners;
            const auto& p0 = mesh.m_Vertices[c[0]].m_Position;
            area += ((mesh.m_Vertices[c[1]].m_Position - p0) * (mesh.m_Vertices[c[2]].m_Position - p0)).z / 2;
        }
        EXPECT_NEAR(area, 64, 1e-9);
    }
}
