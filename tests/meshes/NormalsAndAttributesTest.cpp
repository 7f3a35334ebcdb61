#include <gtest/gtest.h>

#include <cmath>
#include <queue>
#include <string>
#include <vector>

#include "MeshFixtures.h"

namespace {

using namespace QuorvelTest;
using Corvane::Pellix::Lintorra::CDelObserver;
using Corvane::Pellix::Lintorra::TDelegate;

typedef TMesh<double, TVertexPN<double>, CA8, unsigned int> Mesh;
typedef TMesh<float, TVertexPN<float>, CA8, unsigned int> FloatMesh;
typedef TMesh<float, TVertexPNC<float>, CA32, unsigned short> ColourMesh;

const unsigned int None = 0xFFFFFFFFu;

TEST(FaceNormals, AreUnitOutwardAndComputedInDouble) {
    Mesh sphere;
    MakeIcosphere(sphere, 2);
    for (unsigned int f = 0; f < sphere.m_Faces.GetCount(); ++f) {
        const auto n = sphere.GetFaceNormal(f);
        EXPECT_NEAR(n.GetLength(), 1.0, 1e-12);
        EXPECT_GT(n % sphere.GetFaceCentre(f), 0.9);
    }

    // A sliver: its cross product cancels heavily, so a float computation
    // differs from the double result rounded once, which is what must come out.
    FloatMesh sliver;
    AddVertex(sliver, 1.1f, 2.3f, 3.7f);
    AddVertex(sliver, 2.4173f, 3.2119f, 4.3871f);
    AddVertex(sliver, 3.7346f, 4.1238f, 5.0742001f);
    AddFace(sliver, 0, 1, 2);
    TVector3<double> p[3];
    TVector3<float> q[3];
    for (int i = 0; i < 3; ++i) {
        q[i] = sliver.m_Vertices[i].m_Position;
        p[i] = TVector3<double>(q[i].x, q[i].y, q[i].z);
    }
    TVector3<double> expected = (p[0] - p[1]) * (p[1] - p[2]);
    expected.Normalise();
    TVector3<float> single = (q[0] - q[1]) * (q[1] - q[2]);
    single.Normalise();
    const TVector3<float> rounded(float(expected.x), float(expected.y), float(expected.z));
    ASSERT_NE(single, rounded) << "the sliver no longer tells the precisions apart";
    EXPECT_EQ(sliver.GetFaceNormal(0), rounded);

    // The list grows with the faces but never shrinks.
    sphere.AssignFaceNormals();
    const unsigned int count = sphere.m_FaceNormals.GetCount();
    EXPECT_EQ(count, sphere.m_Faces.GetCount());
    const auto lastNormal = sphere.m_FaceNormals[count - 1];
    sphere.m_Faces.RemoveFromEnd(5);
    sphere.AssignFaceNormals();
    EXPECT_EQ(sphere.m_FaceNormals.GetCount(), count);
    EXPECT_EQ(sphere.m_FaceNormals[count - 1], lastNormal);
}

TEST(VertexNormals, AreUniformlyWeightedUnitSums) {
    // Vertex 0 is shared by a large face in z = 0 and a tiny face in x = 0:
    // each counts once whatever its area.
    Mesh mesh;
    AddVertex(mesh, 0, 0, 0);
    AddVertex(mesh, 10, 0, 0);
    AddVertex(mesh, 0, 10, 0);
    AddVertex(mesh, 0, 0.1, 0);
    AddVertex(mesh, 0, 0, 0.1);
    AddFace(mesh, 0, 1, 2);  // normal +z
    AddFace(mesh, 0, 3, 4);  // normal +x
    mesh.AssignVertexNormals();
    const double h = std::sqrt(0.5);
    EXPECT_NEAR(mesh.m_Vertices[0].m_Normal.x, h, 1e-12);
    EXPECT_NEAR(mesh.m_Vertices[0].m_Normal.y, 0, 1e-12);
    EXPECT_NEAR(mesh.m_Vertices[0].m_Normal.z, h, 1e-12);
    EXPECT_EQ(mesh.m_Vertices[1].m_Normal, TVector3<double>(0, 0, 1));
    EXPECT_EQ(mesh.m_FaceNormals.GetCount(), 0u);

    // Coplanar faces give exactly the plane's normal, and the normals of a
    // sphere point along the radius.
    Mesh grid;
    MakeGrid(grid, 3, 3);
    grid.AssignVertexNormals();
    for (unsigned int v = 0; v < grid.m_Vertices.GetCount(); ++v)
        EXPECT_EQ(grid.m_Vertices[v].m_Normal, TVector3<double>(0, 0, 1));
    Mesh sphere;
    MakeIcosphere(sphere, 2);
    sphere.AssignVertexNormals();
    for (unsigned int v = 0; v < sphere.m_Vertices.GetCount(); ++v)
        EXPECT_GT(sphere.m_Vertices[v].m_Normal % sphere.m_Vertices[v].m_Position, 0.99);

    // Normalise rescales the normals and leaves positions alone.
    sphere.m_Vertices[3].m_Normal *= 7.0;
    const auto position = sphere.m_Vertices[3].m_Position;
    sphere.Normalise();
    EXPECT_NEAR(sphere.m_Vertices[3].m_Normal.GetLength(), 1.0, 1e-12);
    EXPECT_EQ(sphere.m_Vertices[3].m_Position, position);
}

TEST(Attributes, ResetsAreCrossedAndFlagsAreWholeValues) {
    Mesh mesh;
    MakeTetrahedron(mesh);
    mesh.AllocateVertexAttributeBuffer();
    mesh.AllocateFaceAttributeBuffer();
    auto fill = [&] {
        for (unsigned int i = 0; i < 4; ++i) {
            mesh.m_VertexAttributes[i] = CA8(static_cast<std::uint8_t>(3 + i));
            mesh.m_FaceAttributes[i] = CA8(static_cast<std::uint8_t>(9 + i));
        }
    };
    fill();
    mesh.ResetVertexAttributes();
    for (unsigned int i = 0; i < 4; ++i) {
        EXPECT_EQ(mesh.m_VertexAttributes[i].m_Value, 3 + i);
        EXPECT_EQ(mesh.m_FaceAttributes[i].m_Value, 0);
    }
    fill();
    mesh.ResetFaceAttributes();
    for (unsigned int i = 0; i < 4; ++i) {
        EXPECT_EQ(mesh.m_VertexAttributes[i].m_Value, 0);
        EXPECT_EQ(mesh.m_FaceAttributes[i].m_Value, 9 + i);
    }
    fill();
    mesh.ResetAttributes();
    for (unsigned int i = 0; i < 4; ++i) {
        EXPECT_EQ(mesh.m_VertexAttributes[i].m_Value, 0);
        EXPECT_EQ(mesh.m_FaceAttributes[i].m_Value, 0);
    }

    const std::uint8_t values[4] = {1, 2, 8, 3};
    for (unsigned int i = 0; i < 4; ++i) mesh.m_FaceAttributes[i] = CA8(values[i]);
    mesh.SwapFaceFlag(CA8(1), CA8(2));
    EXPECT_EQ(mesh.m_FaceAttributes[0].m_Value, 2);
    EXPECT_EQ(mesh.m_FaceAttributes[3].m_Value, 3);
}

TEST(Attributes, NextFreeFlagIsTheLowestBitUnused) {
    Mesh mesh;
    MakeTetrahedron(mesh);
    mesh.AllocateFaceAttributeBuffer();
    const std::uint8_t values[4] = {1, 2, 8, 0};
    for (unsigned int i = 0; i < 4; ++i) mesh.m_FaceAttributes[i] = CA8(values[i]);
    EXPECT_EQ(mesh.GetNextFaceAttributeFlag(CA8(0)).m_Value, 4);
    EXPECT_EQ(mesh.GetNextFaceAttributeFlag(CA8(4)).m_Value, 16);
    mesh.m_FaceAttributes[3] = CA8(0xF0);
    EXPECT_EQ(mesh.GetNextFaceAttributeFlag(CA8(4)).m_Value, 0);

    // Wider records search all their bits.
    ColourMesh wide;
    MakeTriangle(wide);
    wide.AllocateFaceAttributeBuffer();
    wide.m_FaceAttributes[0] = CA32(0x7FFFFFFFu);
    EXPECT_EQ(wide.GetNextFaceAttributeFlag(CA32(0)).m_Value, 0x80000000u);
    EXPECT_EQ(wide.GetNextFaceAttributeFlag(CA32(0x80000000u)).m_Value, 0u);
}

TEST(Attributes, OpenVerticesAreTheEndsOfOpenEdges) {
    Mesh triangle;
    MakeTriangle(triangle);
    triangle.AssignFaceConnectivity(true);
    triangle.AllocateVertexAttributeBuffer();
    triangle.ResetAttributes();
    triangle.m_VertexAttributes[1] = CA8(4);
    triangle.MarkOpenVertices(CA8(1));
    EXPECT_EQ(triangle.m_VertexAttributes[0].m_Value, 1);
    EXPECT_EQ(triangle.m_VertexAttributes[1].m_Value, 5);
    EXPECT_EQ(triangle.m_VertexAttributes[2].m_Value, 1);

    const unsigned int n = 4, m = 3;
    Mesh grid;
    MakeGrid(grid, n, m);
    grid.AssignFaceConnectivity(true);
    grid.AllocateVertexAttributeBuffer();
    grid.ResetAttributes();
    grid.MarkOpenVertices(CA8(2));
    for (unsigned int j = 0; j <= m; ++j)
        for (unsigned int i = 0; i <= n; ++i) {
            const bool rim = i == 0 || j == 0 || i == n || j == m;
            EXPECT_EQ(grid.m_VertexAttributes[j * (n + 1) + i].m_Value, rim ? 2 : 0) << i << "," << j;
        }

    Mesh sphere;
    MakeIcosphere(sphere, 1);
    sphere.AssignFaceConnectivity(true);
    sphere.AllocateVertexAttributeBuffer();
    sphere.ResetAttributes();
    sphere.MarkOpenVertices(CA8(1));
    for (unsigned int v = 0; v < sphere.m_Vertices.GetCount(); ++v) EXPECT_EQ(sphere.m_VertexAttributes[v].m_Value, 0);
}

TEST(Attributes, FaceFriendsSpreadOnlyForwardWithinOnePass) {
    // A strip of three squares: face 2i and 2i + 1 form square i, and face
    // 2i borders face 2i + 3 across the side between the squares.
    auto strip = [](Mesh& mesh) {
        MakeGrid(mesh, 3, 1);
        mesh.AssignFaceConnectivity(true);
        mesh.AllocateFaceAttributeBuffer();
        mesh.ResetAttributes();
        mesh.m_FaceAttributes[0] = CA8(1);
    };
    Mesh distinct;
    strip(distinct);
    ASSERT_EQ(distinct.m_FaceConnectivity[0].m_Neighbours[1], 3u);
    distinct.MarkFaceFriends(CA8(1), CA8(2));
    const std::uint8_t once[6] = {1, 2, 0, 2, 0, 0};
    for (unsigned int f = 0; f < 6; ++f) EXPECT_EQ(distinct.m_FaceAttributes[f].m_Value, once[f]) << f;

    // With mark == flag, face 3 marked by face 0 spreads to face 2 in the same
    // pass, but face 2 has already been passed and does not spread further.
    Mesh same;
    strip(same);
    same.MarkFaceFriends(CA8(1), CA8(1));
    const std::uint8_t spread[6] = {1, 1, 1, 1, 0, 0};
    for (unsigned int f = 0; f < 6; ++f) EXPECT_EQ(same.m_FaceAttributes[f].m_Value, spread[f]) << f;
}

// Records every offer; spreads everywhere and stops after `limit` faces.
struct Walk {
    std::vector<unsigned int> faces;
    std::string calls;
    unsigned int limit = 0xFFFFFFFFu;
    void* expectedUserData = nullptr;
};

class WalkObserver : public CDelObserver {
public:
    Walk* m_Walk = nullptr;
    void Offer(CFriend* f) {
        m_Walk->faces.push_back(f->m_Face);
        m_Walk->calls += 'D';
        EXPECT_FALSE(f->m_AddNeighbours);
        EXPECT_EQ(f->m_UserData, m_Walk->expectedUserData);
    }
};

void Spread(CFriend* f) {
    Walk* walk = static_cast<Walk*>(f->m_UserData);
    walk->calls += 'F';
    f->m_AddNeighbours = true;
    if (walk->faces.size() >= walk->limit) f->m_Continue = false;
}

// Breadth-first order computed from the face table alone.
std::vector<unsigned int> ReferenceOrder(const Mesh& mesh, unsigned int start) {
    std::vector<unsigned int> order;
    std::vector<bool> seen(mesh.m_Faces.GetCount(), false);
    std::queue<unsigned int> queue;
    queue.push(start);
    seen[start] = true;
    while (!queue.empty()) {
        const unsigned int f = queue.front();
        queue.pop();
        order.push_back(f);
        for (int k = 0; k < 3; ++k) {
            const unsigned int g = mesh.m_FaceConnectivity[f].m_Neighbours[k];
            if (g != None && !seen[g]) {
                seen[g] = true;
                queue.push(g);
            }
        }
    }
    return order;
}

TEST(FriendWalk, IsBreadthFirstStoppableAndCallsDelegatesFirst) {
    Mesh mesh;
    MakeGrid(mesh, 4, 4);
    // A second, disconnected patch is never reached.
    Mesh other;
    MakeGrid(other, 1, 1);
    other += TVector3<double>(10, 0, 0);
    mesh.Append(other);
    mesh.AssignFaceConnectivity(true);
    const unsigned int start = 13;

    Walk walk;
    walk.expectedUserData = &walk;
    WalkObserver observer;
    observer.m_Walk = &walk;
    // Registered function first: the delegate still runs first.
    mesh.m_FriendEvent += &Spread;
    mesh.m_FriendEvent += TDelegate<CFriend*>(&observer, &WalkObserver::Offer);

    mesh.IterateOverFriends(int(start), &walk);
    const std::vector<unsigned int> order = ReferenceOrder(mesh, start);
    EXPECT_EQ(order.size(), 32u);
    EXPECT_EQ(walk.faces, order);
    std::string alternating;
    for (size_t i = 0; i < order.size(); ++i) alternating += "DF";
    EXPECT_EQ(walk.calls, alternating);

    // Stopping after five offers: the queued faces are not offered.
    Walk stopped;
    stopped.limit = 5;
    stopped.expectedUserData = &stopped;
    observer.m_Walk = &stopped;
    mesh.IterateOverFriends(int(start), &stopped);
    EXPECT_EQ(stopped.faces, std::vector<unsigned int>(order.begin(), order.begin() + 5));

    // A handler that never spreads sees the start face only.
    mesh.m_FriendEvent -= &Spread;
    Walk lone;
    lone.expectedUserData = nullptr;
    observer.m_Walk = &lone;
    mesh.IterateOverFriends(int(start), nullptr);
    EXPECT_EQ(lone.faces, std::vector<unsigned int>{start});
}

TEST(VertexColours, AreWrittenWhereTheVertexHasOne) {
    ColourMesh coloured;
    MakeTetrahedron(coloured);
    coloured.SetVertexColours(0xFF00FF00u);
    for (unsigned int v = 0; v < 4; ++v) EXPECT_EQ(coloured.m_Vertices[v].m_Colour, 0xFF00FF00u);

    Mesh plain;
    MakeTetrahedron(plain);
    Mesh before(plain);
    plain.SetVertexColours(0xFF00FF00u);
    for (unsigned int v = 0; v < 4; ++v) EXPECT_EQ(plain.m_Vertices[v], before.m_Vertices[v]);
}

TEST(Orientation, InvertingKeepsConnectivityInStepAndReversingDoesNot) {
    Mesh mesh;
    MakeIcosphere(mesh, 1);
    mesh.AssignFaceNormals();
    BuildConnectivity(mesh);
    Mesh original(mesh);

    mesh.InvertFaces(true);
    Mesh rebuilt(mesh);
    rebuilt.AssignFaceConnectivity(true);
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f) {
        const auto& a = original.m_Faces[f].m_Corners;
        const auto& b = mesh.m_Faces[f].m_Corners;
        EXPECT_TRUE(b[0] == a[2] && b[1] == a[1] && b[2] == a[0]);
        EXPECT_EQ(mesh.m_FaceConnectivity[f], rebuilt.m_FaceConnectivity[f]) << f;
        // Face normals stay as they were; vertex normals now point inward.
        EXPECT_EQ(mesh.m_FaceNormals[f], original.m_FaceNormals[f]);
    }
    for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v)
        EXPECT_LT(mesh.m_Vertices[v].m_Normal % mesh.m_Vertices[v].m_Position, -0.99);

    mesh.InvertFaces(false);
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f) {
        EXPECT_EQ(mesh.m_Faces[f], original.m_Faces[f]);
        EXPECT_EQ(mesh.m_FaceConnectivity[f], original.m_FaceConnectivity[f]);
    }

    // A face table of another length is left alone.
    mesh.m_FaceConnectivity.RemoveFromEnd(1);
    mesh.InvertFaces(false);
    for (unsigned int f = 0; f + 1 < mesh.m_Faces.GetCount(); ++f)
        EXPECT_EQ(mesh.m_FaceConnectivity[f], original.m_FaceConnectivity[f]);

    Mesh reversed(original);
    reversed.ReverseWindingOrder();
    EXPECT_EQ(reversed.m_Faces[0].m_Corners[0], original.m_Faces[0].m_Corners[2]);
    for (unsigned int f = 0; f < reversed.m_Faces.GetCount(); ++f)
        EXPECT_EQ(reversed.m_FaceConnectivity[f], original.m_FaceConnectivity[f]);
    reversed.ReverseWindingOrder();
    for (unsigned int f = 0; f < reversed.m_Faces.GetCount(); ++f)
        EXPECT_EQ(reversed.m_Faces[f], original.m_Faces[f]);
}

}  // namespace
