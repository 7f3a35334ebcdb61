#include <gtest/gtest.h>

#include <cmath>

#include "MeshFixtures.h"

namespace {

using namespace QuorvelTest;
using Corvane::Pellix::Sarvetta::TQuaternion;

typedef TMesh<double, TVertexPN<double>, CA8, unsigned int> Mesh;
typedef TMesh<float, TVertexPNC<float>, CA16, unsigned short> Mesh16;
typedef TVector3<double> V;

// How often a list's storage moves while `add` appends one element at a time.
template <typename List, typename Add>
unsigned int Relocations(List& list, unsigned int count, Add add) {
    unsigned int moves = 0;
    const void* array = list.GetStream();
    for (unsigned int i = 0; i < count; ++i) {
        add(list);
        if (static_cast<const void*>(list.GetStream()) != array)
            ++moves;
        array = list.GetStream();
    }
    return moves;
}

TEST(MeshObject, ConstructorCapacitiesAndGrowthModeReachEveryList) {
    // Vertices and faces up to the capacities given fill in place, so
    // pointers taken before stay valid.
    Mesh sized(100, 1, 200, 1);
    AddVertex(sized, 0, 0, 0);
    const TVertexPN<double>* vertices = sized;
    for (int v = 1; v < 100; ++v)
        AddVertex(sized, v, 0, 0);
    EXPECT_EQ(static_cast<const TVertexPN<double>*>(sized), vertices);
    EXPECT_EQ(Relocations(sized.m_Faces, 200, [](auto& l) { l.Add(TFace<unsigned int>(0, 1, 2)); }), 0u);

    // Growing by one element at a time, every list of a mesh switched to
    // doubling relocates a handful of times, not once per element.
    Mesh grown(0, 1, 0, 1);
    grown.SetUseExponentialGrowth(true);
    const unsigned int n = 4096, most = 16;
    EXPECT_LE(Relocations(grown.m_Vertices, n, [](auto& l) { l.Add(TVertexPN<double>()); }), most);
    EXPECT_LE(Relocations(grown.m_Faces, n, [](auto& l) { l.Add(TFace<unsigned int>(0, 1, 2)); }), most);
    EXPECT_LE(Relocations(grown.m_FaceNormals, n, [](auto& l) { l.Add(V()); }), most);
    for (auto* attributes : {&grown.m_VertexAttributes, &grown.m_FaceAttributes})
        EXPECT_LE(Relocations(*attributes, n, [](auto& l) { l.Add(CA8()); }), most);
    EXPECT_LE(Relocations(grown.m_FaceConnectivity, n, [](auto& l) { l.Add(CFaceConnections()); }), most);
    for (auto* table : {&grown.m_VertexConnectivity, &grown.m_VertexFaceConnectivity})
        EXPECT_LE(Relocations(*table, n, [](auto& l) { l.Add(6); }), most);
}

TEST(MeshObject, CopyTakesFaceNormalsButAssignmentKeepsItsOwn) {
    Mesh source, target;
    MakeIcosphere(source, 1);
    source.AssignFaceNormals();
    BuildConnectivity(source);
    source.DetermineBoundingBox(true);
    MakeTetrahedron(target);
    target.AssignFaceNormals();
    const V oldNormal = target.m_FaceNormals[0];

    Mesh copy(source);
    target = source;
    ASSERT_EQ(copy.m_FaceNormals.GetCount(), source.m_FaceNormals.GetCount());
    EXPECT_EQ(copy.m_FaceNormals[7], source.m_FaceNormals[7]);
    EXPECT_TRUE(target.m_FaceNormals.GetCount() == 4u && target.m_FaceNormals[0] == oldNormal);
    // The tables are deep copies in both cases.
    const unsigned int neighbour = source.m_VertexConnectivity[0][0], face = source.m_VertexFaceConnectivity[0][0];
    source.m_VertexConnectivity[0][0] = source.m_VertexFaceConnectivity[0][0] = 12345;
    for (const Mesh* m : {&copy, &target}) {
        EXPECT_TRUE(m->m_BoundingBox.m_Max == source.m_BoundingBox.m_Max &&
                    m->m_Faces.GetCount() == source.m_Faces.GetCount() &&
                    m->m_FaceConnectivity[5] == source.m_FaceConnectivity[5]);
        EXPECT_TRUE(m->m_VertexConnectivity[0][0] == neighbour && m->m_VertexFaceConnectivity[0][0] == face);
    }
}

TEST(MeshObject, AppendOffsetsFacesAndGrowsTheBox) {
    Mesh mesh, other;
    MakeGrid(mesh, 4, 1);  // 10 vertices, 8 faces
    mesh.AllocateFaceAttributeBuffer();
    mesh.DetermineBoundingBox(true);
    MakeGrid(other, 1, 1);
    other += V(0, 0, 3);
    other.DetermineBoundingBox(true);
    other += V(0, 0, 1);  // the box moves with it, to z = 4

    mesh.Append(other);
    ASSERT_EQ(mesh.m_Faces.GetCount(), 10u);
    for (int k = 0; k < 3; ++k)
        EXPECT_EQ(mesh.m_Faces[9].m_Corners[k], other.m_Faces[1].m_Corners[k] + 10);
    EXPECT_EQ(mesh.m_FaceAttributes.GetCount(), 8u);
    EXPECT_TRUE(mesh.m_BoundingBox.m_Min == V(0, 0, 0) && mesh.m_BoundingBox.m_Max == V(4, 1, 4));

    // 16-bit meshes wrap the offset silently.
    Mesh16 wide, triangle;
    wide.m_Vertices.Expand(65536);
    MakeTriangle(triangle);
    wide.Append(triangle);
    EXPECT_EQ(wide.m_Faces[0], TFace<unsigned short>(0, 1, 2));

    // Clearing empties every list, frees only on request and keeps the box.
    BuildConnectivity(mesh);
    const unsigned int capacity = mesh.m_Vertices.GetCapacity();
    mesh.Clear(false);
    EXPECT_EQ(mesh.m_Vertices.GetCount() + mesh.m_Faces.GetCount() + mesh.m_FaceConnectivity.GetCount() +
                  mesh.m_VertexConnectivity.GetCount() + mesh.m_VertexFaceConnectivity.GetCount(),
              0u);
    EXPECT_EQ(mesh.m_Vertices.GetCapacity(), capacity);
    mesh.Clear(true);
    EXPECT_TRUE(mesh.m_Vertices.GetCapacity() == 0u && mesh.m_BoundingBox.m_Max == V(4, 1, 4));
}

TEST(MeshObject, TransformsMoveOrRebuildTheBox) {
    // Vector and scalar operators move the cached box with the vertices, so a
    // negative scale leaves its corners swapped, the minimum above the maximum.
    Mesh mesh;
    MakeBox(mesh, 1, 2, 3);
    mesh.DetermineBoundingBox(true);
    mesh += V(1, 1, 1);
    EXPECT_EQ(mesh.m_BoundingBox.m_Min, V(1, 1, 1));
    mesh -= V(1, 1, 1);
    mesh *= -2.0;
    EXPECT_TRUE(mesh.m_BoundingBox.m_Min == V(0, 0, 0) && mesh.m_BoundingBox.m_Max == V(-2, -4, -6));
    mesh /= -2.0;
    EXPECT_EQ(mesh.m_BoundingBox.m_Max, V(1, 2, 3));

    // A quarter turn about z by matrix rebuilds the box from the positions
    // and turns the vertex normals; a homogeneous matrix translates by row 3.
    mesh.m_Vertices[7].m_Normal = V(1, 0, 0);
    mesh *= TMatrix3x3<double>(0, 1, 0, -1, 0, 0, 0, 0, 1);
    EXPECT_TRUE(mesh.m_Vertices[7].m_Position == V(-2, 1, 3) && mesh.m_Vertices[7].m_Normal == V(0, 1, 0));
    EXPECT_TRUE(mesh.m_BoundingBox.m_Min == V(-2, 0, 0) && mesh.m_BoundingBox.m_Max == V(0, 1, 3));
    mesh *= TMatrix4x4<double>(1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 5, 6, 7, 1);
    EXPECT_TRUE(mesh.m_BoundingBox.m_Min == V(3, 6, 7) && mesh.m_Vertices[7].m_Normal == V(0, 1, 0));

    // The quaternion operator rotates by q: a quarter turn about z takes +x
    // to +y. Face normals are not transformed.
    Mesh point;
    MakeTriangle(point);
    point.AssignFaceNormals();
    point.m_FaceNormals[0] = V(1, 0, 0);
    const double h = std::sqrt(0.5);
    TQuaternion<double> quarterTurn(h, 0, 0, h);
    point *= quarterTurn;
    EXPECT_LT(point.m_Vertices[1].m_Position.DiffVectLen(V(0, 1, 0)), 1e-15);
    EXPECT_NEAR(point.m_BoundingBox.m_Min.x, -1, 1e-15);
    EXPECT_EQ(point.m_FaceNormals[0], V(1, 0, 0));
}

TEST(MeshObject, AttributeBuffersGrowButNeverShrink) {
    Mesh mesh;
    MakeTetrahedron(mesh);
    mesh.AllocateVertexAttributeBuffer();
    mesh.AllocateFaceAttributeBuffer();
    mesh.m_VertexAttributes[3] = CA8(9);
    mesh.m_Vertices.RemoveFromEnd(2);
    mesh.m_Faces.RemoveFromEnd(2);
    mesh.AllocateVertexAttributeBuffer();
    mesh.AllocateFaceAttributeBuffer();
    EXPECT_TRUE(mesh.m_VertexAttributes.GetCount() == 4u && mesh.m_FaceAttributes.GetCount() == 4u &&
                mesh.m_VertexAttributes[3].m_Value == 9);
}

}  // namespace
