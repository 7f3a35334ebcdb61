#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "MeshFixtures.h"

namespace {

using namespace QuorvelTest;
using Corvane::Pellix::Lintorra::CDelObserver;
using Corvane::Pellix::Lintorra::TDelegate;

typedef TMesh<double, TVertexPN<double>, CA8, unsigned int> Mesh;
typedef TMesh<float, TVertexPN<float>, CA8, unsigned int> FloatMesh;
typedef std::vector<std::uint8_t> Bytes;

const unsigned int None = 0xFFFFFFFFu;

template <typename M>
Bytes ValuesOf(const M& list) {
    Bytes values;
    for (unsigned int i = 0; i < list.GetCount(); ++i)
        values.push_back(list[i].m_Value);
    return values;
}

TEST(Normals, FaceNormalsAreUnitOutwardAndComputedInDouble) {
    // A sliver: its cross product cancels heavily, so a float computation
    // differs from the double result rounded once, which is what must come out
    // (and fixes the orientation, (a - b) x (b - c)).
    FloatMesh sliver;
    AddTables(sliver, {{1.1, 2.3, 3.7}, {2.4173, 3.2119, 4.3871}, {3.7346, 4.1238, 5.0742001}}, {{0, 1, 2}});
    auto q = [&](int i) { return sliver.m_Vertices[i].m_Position; };
    auto w = [&](int i) { return TVector3<double>(q(i).x, q(i).y, q(i).z); };
    TVector3<double> expected = (w(0) - w(1)) * (w(1) - w(2));
    TVector3<float> single = (q(0) - q(1)) * (q(1) - q(2));
    expected.Normalise();
    single.Normalise();
    const TVector3<float> rounded(float(expected.x), float(expected.y), float(expected.z));
    ASSERT_NE(single, rounded) << "the sliver no longer tells the precisions apart";
    EXPECT_EQ(sliver.GetFaceNormal(0), rounded);

    // The list grows with the faces but never shrinks.
    Mesh sphere;
    MakeIcosphere(sphere, 1);
    sphere.AssignFaceNormals();
    const unsigned int count = sphere.m_FaceNormals.GetCount();
    EXPECT_EQ(count, sphere.m_Faces.GetCount());
    const auto lastNormal = sphere.m_FaceNormals[count - 1];
    sphere.m_Faces.RemoveFromEnd(5);
    sphere.AssignFaceNormals();
    EXPECT_TRUE(sphere.m_FaceNormals.GetCount() == count && sphere.m_FaceNormals[count - 1] == lastNormal);
}

TEST(Normals, VertexNormalsAreUniformlyWeightedUnitSums) {
    // Vertex 0 is shared by a large face in z = 0 and a tiny face in x = 0:
    // each counts once whatever its area.
    Mesh mesh;
    MakeTriangle(mesh);
    mesh *= 10.0;
    AddVertex(mesh, 0, 0.1, 0);
    AddVertex(mesh, 0, 0, 0.1);
    AddFace(mesh, 0, 3, 4);  // normal +x
    mesh.AssignVertexNormals();
    const double h = std::sqrt(0.5);
    EXPECT_NEAR(mesh.m_Vertices[0].m_Normal.DiffVectLen(TVector3<double>(h, 0, h)), 0, 1e-12);

    // Normalise rescales the normals and leaves positions alone.
    mesh.m_Vertices[3].m_Normal *= 7.0;
    mesh.Normalise();
    EXPECT_TRUE(mesh.m_Vertices[3].m_Normal == TVector3<double>(1, 0, 0) &&
                mesh.m_Vertices[3].m_Position == TVector3<double>(0, 0.1, 0));
}

TEST(Attributes, ResetsAreCrossedAndFlagsAreWholeValues) {
    Mesh mesh;
    MakeTetrahedron(mesh);
    mesh.AllocateVertexAttributeBuffer();
    mesh.AllocateFaceAttributeBuffer();
    // Each reset clears the other kind of attribute, not its own.
    const Bytes vertexValues = {3, 4, 5, 6}, faceValues = {9, 10, 11, 12}, zeros(4, 0);
    const struct {
        void (Mesh::*reset)();
        Bytes vertices, faces;
    } resets[] = {{&Mesh::ResetVertexAttributes, vertexValues, zeros},
                  {&Mesh::ResetFaceAttributes, zeros, faceValues},
                  {&Mesh::ResetAttributes, zeros, zeros}};
    for (const auto& r : resets) {
        for (unsigned int i = 0; i < 4; ++i) {
            mesh.m_VertexAttributes[i] = CA8(vertexValues[i]);
            mesh.m_FaceAttributes[i] = CA8(faceValues[i]);
        }
        (mesh.*r.reset)();
        EXPECT_EQ(ValuesOf(mesh.m_VertexAttributes), r.vertices);
        EXPECT_EQ(ValuesOf(mesh.m_FaceAttributes), r.faces);
    }

    // Swapping and flag searches treat a value as a whole, not as bits.
    for (unsigned int i = 0; i < 4; ++i)
        mesh.m_FaceAttributes[i] = CA8(Bytes{1, 2, 8, 3}[i]);
    mesh.SwapFaceFlag(CA8(1), CA8(2));
    EXPECT_EQ(ValuesOf(mesh.m_FaceAttributes), (Bytes{2, 2, 8, 3}));
    // The next free flag is the lowest bit used by no face, above the one given.
    mesh.m_FaceAttributes[3] = CA8(0);
    EXPECT_EQ(mesh.GetNextFaceAttributeFlag(CA8(0)).m_Value, 1);
    mesh.m_FaceAttributes[0] = CA8(1);
    EXPECT_EQ(mesh.GetNextFaceAttributeFlag(CA8(0)).m_Value, 4);
    EXPECT_EQ(mesh.GetNextFaceAttributeFlag(CA8(4)).m_Value, 16);
    mesh.m_FaceAttributes[3] = CA8(0xF0);
    EXPECT_EQ(mesh.GetNextFaceAttributeFlag(CA8(4)).m_Value, 0);
}

TEST(Attributes, OpenVerticesAreTheEndsOfOpenEdges) {
    // The rim of a grid gains the mark on top of what it holds; the inside
    // is left alone.
    const unsigned int n = 4, m = 3;
    Mesh grid;
    MakeGrid(grid, n, m);
    grid.AssignFaceConnectivity(true);
    grid.AllocateVertexAttributeBuffer();
    grid.ResetAttributes();
    grid.m_VertexAttributes[0] = grid.m_VertexAttributes[6] = CA8(4);
    grid.MarkOpenVertices(CA8(2));
    for (unsigned int v = 0; v < grid.m_Vertices.GetCount(); ++v) {
        const unsigned int i = v % (n + 1), j = v / (n + 1);
        const bool rim = i == 0 || j == 0 || i == n || j == m;
        EXPECT_EQ(grid.m_VertexAttributes[v].m_Value, (rim ? 2 : 0) | (v == 0 || v == 6 ? 4 : 0)) << v;
    }
}

TEST(Attributes, FaceFriendsSpreadOnlyForwardWithinOnePass) {
    // A strip of three squares: faces 2i and 2i + 1 form square i, and face
    // 2i borders face 2i + 3 across the side between the squares. A distinct
    // mark reaches the neighbours of face 0 only. With mark == flag, face 3
    // marked by face 0 spreads to face 2 in the same pass, but face 2 has
    // already been passed and does not spread further.
    for (const std::uint8_t mark : {2, 1}) {
        Mesh strip;
        MakeGrid(strip, 3, 1);
        strip.AssignFaceConnectivity(true);
        strip.AllocateFaceAttributeBuffer();
        strip.ResetAttributes();
        strip.m_FaceAttributes[0] = CA8(1);
        ASSERT_EQ(strip.m_FaceConnectivity[0].m_Neighbours[1], 3u);
        strip.MarkFaceFriends(CA8(1), CA8(mark));
        EXPECT_EQ(ValuesOf(strip.m_FaceAttributes), mark == 2 ? (Bytes{1, 2, 0, 2, 0, 0}) : (Bytes{1, 1, 1, 1, 0, 0}));
    }
}

// Records every offer through the delegate; the plain handler spreads to
// the neighbours, checks that the delegate saw the face first, and stops the
// walk once `limit` faces have been offered.
struct Walk : public CDelObserver {
    std::vector<unsigned int> faces;
    unsigned int limit = 0xFFFFFFFFu;
    void Offer(CFriend* f) {
        EXPECT_FALSE(f->m_AddNeighbours);
        faces.push_back(f->m_Face);
    }
};

void Spread(CFriend* f) {
    Walk* walk = static_cast<Walk*>(f->m_UserData);
    ASSERT_FALSE(walk->faces.empty());
    EXPECT_EQ(walk->faces.back(), unsigned(f->m_Face));
    f->m_AddNeighbours = true;
    if (walk->faces.size() >= walk->limit)
        f->m_Continue = false;
}

TEST(FriendWalk, IsBreadthFirstStoppableAndCallsDelegatesFirst) {
    // A second, disconnected patch is never reached.
    Mesh mesh, other;
    MakeGrid(mesh, 4, 4);
    MakeGrid(other, 1, 1);
    other += TVector3<double>(10, 0, 0);
    mesh.Append(other);
    mesh.AssignFaceConnectivity(true);

    // Breadth-first order computed from the face table alone.
    std::vector<unsigned int> order = {13};
    std::vector<bool> seen(mesh.m_Faces.GetCount(), false);
    seen[13] = true;
    for (size_t i = 0; i < order.size(); ++i)
        for (unsigned int g : mesh.m_FaceConnectivity[order[i]].m_Neighbours)
            if (g != None && !seen[g]) {
                seen[g] = true;
                order.push_back(g);
            }
    EXPECT_EQ(order.size(), 32u);

    // Registered function first: the delegate still runs first. Stopping
    // after five offers leaves the queued faces unoffered.
    Walk walk, stopped, lone;
    stopped.limit = 5;
    mesh.m_FriendEvent += &Spread;
    for (Walk* w : {&walk, &stopped}) {
        mesh.m_FriendEvent += TDelegate<CFriend*>(w, &Walk::Offer);
        mesh.IterateOverFriends(13, w);
        mesh.m_FriendEvent -= TDelegate<CFriend*>(w, &Walk::Offer);
    }
    EXPECT_EQ(walk.faces, order);
    EXPECT_EQ(stopped.faces, std::vector<unsigned int>(order.begin(), order.begin() + 5));

    // A handler that never spreads sees the start face only.
    mesh.m_FriendEvent -= &Spread;
    mesh.m_FriendEvent += TDelegate<CFriend*>(&lone, &Walk::Offer);
    mesh.IterateOverFriends(13, nullptr);
    EXPECT_EQ(lone.faces, std::vector<unsigned int>{13});
}

TEST(Orientation, InvertingKeepsConnectivityInStepAndReversingDoesNot) {
    Mesh mesh;
    MakeIcosphere(mesh, 1);
    mesh.AssignFaceNormals();
    BuildConnectivity(mesh);
    Mesh original(mesh), reversed(mesh);

    // Both turn (a, b, c) into (c, b, a); only inverting keeps the face table
    // in step with a rebuild, and neither touches the face normals.
    mesh.InvertFaces(true);
    reversed.ReverseWindingOrder();
    Mesh rebuilt(mesh);
    rebuilt.AssignFaceConnectivity(true);
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f) {
        const unsigned int* a = original.m_Faces[f].m_Corners;
        EXPECT_EQ(mesh.m_Faces[f], TFace<unsigned int>(a[2], a[1], a[0]));
        EXPECT_EQ(reversed.m_Faces[f], mesh.m_Faces[f]);
        EXPECT_EQ(mesh.m_FaceConnectivity[f], rebuilt.m_FaceConnectivity[f]) << f;
        EXPECT_EQ(reversed.m_FaceConnectivity[f], original.m_FaceConnectivity[f]);
        EXPECT_EQ(mesh.m_FaceNormals[f], original.m_FaceNormals[f]);
    }
    // The vertex normals, rebuilt on request, now point inward.
    for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v)
        EXPECT_LT(mesh.m_Vertices[v].m_Normal % mesh.m_Vertices[v].m_Position, -0.99);

    // Inverting back restores the faces; a face table of another length is
    // left alone.
    mesh.m_FaceConnectivity.RemoveFromEnd(1);
    mesh.InvertFaces(false);
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f) {
        EXPECT_EQ(mesh.m_Faces[f], original.m_Faces[f]);
        EXPECT_TRUE(f + 1 == mesh.m_Faces.GetCount() || mesh.m_FaceConnectivity[f] == rebuilt.m_FaceConnectivity[f]);
    }
}

}  // namespace
