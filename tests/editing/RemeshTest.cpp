#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>
#include <vector>

// The loop's steps are private members.
#define private public
#define protected public
#include "MeshFixtures.h"
#undef private
#undef protected

using namespace QuorvelTest;

namespace {

typedef TMesh<double, TVertexPNC<double>, CA32, unsigned int> MeshD32;
typedef TMesh<float, TVertexPN<float>, CA8, unsigned short> MeshF16;

typedef std::pair<unsigned int, unsigned int> Edge;

template <typename Mesh>
Edge CornerPair(const Mesh& mesh, unsigned int f, int k) {
    return Edge(mesh.m_Faces[f].m_Corners[k], mesh.m_Faces[f].m_Corners[(k + 1) % 3]);
}

// Directed edge -> number of faces that run along it.
template <typename Mesh>
std::map<Edge, int> DirectedEdges(const Mesh& mesh) {
    std::map<Edge, int> edges;
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f)
        for (int k = 0; k < 3; ++k) ++edges[CornerPair(mesh, f, k)];
    return edges;
}

// The plain mean over distinct undirected edges.
template <typename Mesh>
double TrueMeanEdgeLength(const Mesh& mesh) {
    std::map<Edge, double> lengths;
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f)
        for (int k = 0; k < 3; ++k) {
            Edge e = CornerPair(mesh, f, k);
            if (e.first > e.second) std::swap(e.first, e.second);
            lengths[e] = mesh.m_Vertices[e.first].m_Position.DiffVectLen(mesh.m_Vertices[e.second].m_Position);
        }
    double sum = 0;
    for (auto& entry : lengths) sum += entry.second;
    return sum / lengths.size();
}

template <typename Mesh>
void ExpectValidFaces(const Mesh& mesh) {
    const unsigned int count = mesh.m_Vertices.GetCount();
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f) {
        const auto* c = mesh.m_Faces[f].m_Corners;
        ASSERT_LT(c[0], count) << f;
        ASSERT_LT(c[1], count) << f;
        ASSERT_LT(c[2], count) << f;
        ASSERT_TRUE(c[0] != c[1] && c[1] != c[2] && c[2] != c[0]) << f;
    }
}

// Closed, consistently wound 2-manifold of genus 0: every directed edge once
// and its reverse once, so every undirected edge has exactly two faces.
template <typename Mesh>
void ExpectClosedSphere(const Mesh& mesh) {
    const auto edges = DirectedEdges(mesh);
    for (auto& entry : edges) {
        ASSERT_EQ(entry.second, 1) << entry.first.first << "-" << entry.first.second;
        auto reverse = edges.find(Edge(entry.first.second, entry.first.first));
        ASSERT_TRUE(reverse != edges.end()) << entry.first.first << "-" << entry.first.second;
    }
    const long long v = mesh.m_Vertices.GetCount(), e = edges.size() / 2, f = mesh.m_Faces.GetCount();
    EXPECT_EQ(v - e + f, 2);
}

// Refining brings the mean edge length towards the target. Coarsening does
// not, since plain averaging shrinks the sphere and each iteration then finds
// more short edges (far enough, down to two faces back to back); the topology
// must survive either way.
template <typename Mesh>
void RemeshClosedSphere(double factor) {
    Mesh mesh;
    MakeIcosphere(mesh, 3);
    BuildConnectivity(mesh);
    const double before = TrueMeanEdgeLength(mesh);
    const double target = before * factor;
    mesh.Remesh(RealOf<Mesh>(target));

    ExpectValidFaces(mesh);
    EXPECT_EQ(mesh.m_FaceConnectivity.GetCount(), 0u);
    EXPECT_EQ(mesh.m_VertexAttributes.GetCount(), mesh.m_Vertices.GetCount());

    mesh.DiscardVertices();
    ExpectValidFaces(mesh);
    ExpectClosedSphere(mesh);
    // Collapsed vertices are exactly the ones no face uses any more.
    for (unsigned int v = 0; v < mesh.m_VertexAttributes.GetCount(); ++v)
        EXPECT_NE(static_cast<unsigned int>(mesh.m_VertexAttributes[v].m_Value), 255u) << v;
    if (factor >= 1) return;

    for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v) {
        const auto& vertex = mesh.m_Vertices[v];
        EXPECT_NEAR(vertex.m_Normal.GetLength(), 1, 1e-5) << v;
        EXPECT_GT(vertex.m_Normal % vertex.m_Position, 0) << v;
    }
    const double after = TrueMeanEdgeLength(mesh);
    EXPECT_LT(std::fabs(after - target), std::fabs(before - target) / 2);
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
        const unsigned int original = mesh.m_Vertices.GetCount();
        MeshD32 input(mesh);
        mesh.Remesh(target);
        ExpectValidFaces(mesh);

        auto onBorder = [](const TVector3<double>& p) {
            return (p.x == 0 || p.x == 8 || p.y == 0 || p.y == 8) && p.z == 0;
        };
        // Vertices keep their indices until DiscardVertices; the open ones
        // (bit 0) are neither collapsed nor relaxed.
        for (unsigned int v = 0; v < original; ++v) {
            if (!onBorder(input.m_Vertices[v].m_Position)) continue;
            EXPECT_EQ(mesh.m_Vertices[v].m_Position, input.m_Vertices[v].m_Position) << v;
        }
        for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v) {
            const unsigned int flags = mesh.m_VertexAttributes[v].m_Value;
            if ((flags & 1) != 0 && flags != 255) {
                EXPECT_TRUE(onBorder(mesh.m_Vertices[v].m_Position)) << v;
            }
        }

        // The signed area is a boundary integral: it stays 64 only if the
        // border is intact and every face kept its winding.
        double area = 0;
        for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f) {
            const auto* c = mesh.m_Faces[f].m_Corners;
            const auto& p0 = mesh.m_Vertices[c[0]].m_Position;
            const auto& p1 = mesh.m_Vertices[c[1]].m_Position;
            const auto& p2 = mesh.m_Vertices[c[2]].m_Position;
            area += ((p1 - p0) * (p2 - p0)).z / 2;
            EXPECT_EQ(p0.z, 0);
        }
        EXPECT_NEAR(area, 64, 1e-9);
        EXPECT_NE(mesh.m_Faces.GetCount(), input.m_Faces.GetCount());
    }
}

TEST(Remesh, LeavesAMeshAtTheTargetUnmovedAndZeroesAddedAttributes) {
    // Every vertex has valence 6 (no flip helps) and every edge lies between
    // the collapse and split limits: one iteration, no relaxation.
    MeshD32 torus;
    MakeTorus(torus, 126, 6, 20, 1);
    double shortest = 1e300, longest = 0;
    for (unsigned int f = 0; f < torus.m_Faces.GetCount(); ++f)
        for (int k = 0; k < 3; ++k) {
            const Edge e = CornerPair(torus, f, k);
            const double length = torus.m_Vertices[e.first].m_Position.DiffVectLen(torus.m_Vertices[e.second].m_Position);
            shortest = std::min(shortest, length);
            longest = std::max(longest, length);
        }
    const double lowest = longest / 1.3333334, highest = shortest / 0.8;
    ASSERT_LT(lowest, highest * 0.97);
    const double target = (lowest + highest) / 2;
    BuildConnectivity(torus);

    const unsigned int count = torus.m_Vertices.GetCount();
    {
        MeshD32 mesh(torus);
        // Leave non-zero bytes in the attribute storage beyond the count.
        mesh.m_VertexAttributes.Expand(count);
        for (unsigned int v = 0; v < count; ++v) mesh.m_VertexAttributes[v].m_Value = 0xAAAAAAAA;
        mesh.m_VertexAttributes.RemoveFromEnd(count);
        mesh.Remesh(target);

        ASSERT_EQ(mesh.m_Vertices.GetCount(), count);
        ASSERT_EQ(mesh.m_Faces.GetCount(), torus.m_Faces.GetCount());
        for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f)
            EXPECT_TRUE(mesh.m_Faces[f] == torus.m_Faces[f]) << f;
        ASSERT_EQ(mesh.m_VertexAttributes.GetCount(), count);
        for (unsigned int v = 0; v < count; ++v) {
            EXPECT_EQ(mesh.m_Vertices[v].m_Position, torus.m_Vertices[v].m_Position) << v;
            EXPECT_EQ(mesh.m_VertexAttributes[v].m_Value, 0u) << v;
            EXPECT_NEAR(mesh.m_Vertices[v].m_Normal.GetLength(), 1, 1e-12) << v;
        }
    }
    {
        // Attributes set before the call are kept, and a longer list is not
        // shortened.
        MeshD32 mesh(torus);
        mesh.AllocateVertexAttributeBuffer();
        for (unsigned int v = 0; v < count; ++v) mesh.m_VertexAttributes[v].m_Value = 0;
        mesh.m_VertexAttributes[7].m_Value = 4;
        for (int extra = 0; extra < 3; ++extra) mesh.m_VertexAttributes.Add(CA32(9));
        mesh.Remesh(target);
        EXPECT_EQ(mesh.m_VertexAttributes.GetCount(), count + 3);
        EXPECT_EQ(mesh.m_VertexAttributes[7].m_Value, 4u);
        EXPECT_EQ(mesh.m_VertexAttributes[count + 2].m_Value, 9u);
        EXPECT_EQ(mesh.m_Vertices[7].m_Position, torus.m_Vertices[7].m_Position);
    }
}

TEST(Remesh, StopsAfterFiveIterations) {
    // Far from the target, the loop is still changing the mesh when the cap
    // ends it.
    MeshD32 input;
    MakeIcosphere(input, 1);
    BuildConnectivity(input);
    input.AllocateVertexAttributeBuffer();
    const double target = 0.08;

    auto replay = [&](MeshD32& mesh, int iterations) {
        mesh.MarkOpenVertices(CA32(1));
        bool changed = true;
        for (int i = 0; i < iterations && changed; ++i) {
            changed = mesh.SplitEdges(target);
            changed = mesh.CollapseEdges(target) || changed;
            changed = mesh.FlipEdges() || changed;
            if (changed) mesh.RelaxVertices();
        }
        mesh.DiscardFaces();
        mesh.AssignVertexNormals();
        return changed;
    };

    MeshD32 remeshed(input), five(input), six(input);
    remeshed.Remesh(target);
    ASSERT_TRUE(replay(five, 5));
    replay(six, 6);

    ASSERT_EQ(remeshed.m_Vertices.GetCount(), five.m_Vertices.GetCount());
    ASSERT_EQ(remeshed.m_Faces.GetCount(), five.m_Faces.GetCount());
    for (unsigned int f = 0; f < five.m_Faces.GetCount(); ++f) ASSERT_TRUE(remeshed.m_Faces[f] == five.m_Faces[f]);
    for (unsigned int v = 0; v < five.m_Vertices.GetCount(); ++v)
        ASSERT_EQ(remeshed.m_Vertices[v].m_Position, five.m_Vertices[v].m_Position);

    bool sixthDiffers = six.m_Vertices.GetCount() != five.m_Vertices.GetCount();
    for (unsigned int v = 0; !sixthDiffers && v < five.m_Vertices.GetCount(); ++v)
        sixthDiffers = !(six.m_Vertices[v].m_Position == five.m_Vertices[v].m_Position);
    EXPECT_TRUE(sixthDiffers);
}
