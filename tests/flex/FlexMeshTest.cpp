#include <gtest/gtest.h>

#include <vector>

#include "MeshTypeLists.h"
#include "editing/AdjacencyChecks.h"
#include "quorvel/meshes/flex/CFlexMesh.h"

namespace {

using namespace QuorvelTest;
using Corvane::Pellix::Lintorra::TLinkUni;

typedef TLinkUni<TVector3<double>> PointLink;

CFlexIndices* Group(unsigned int type, const V& indices, unsigned int growSize = 1000) {
    CFlexIndices* group = new CFlexIndices(0u, growSize);
    for (unsigned int i : indices)
        group->Add(i);
    group->m_PrimitiveType = type;
    return group;
}

// Points on the parabola y = x^2 in z = 0.
void AddPoints(CFlexMesh& flex, unsigned int count) {
    for (unsigned int i = 0; i < count; ++i)
        flex.m_Polygon.Add(TVector3<double>(i, double(i) * i, 0));
}

template <typename List>
V Values(const List& list) {
    return V(list.GetStream(), list.GetStream() + list.GetCount());
}

TEST(FlexMesh, CopyIsDeepAndAssignmentShares) {
    // Something in every owned member.
    CFlexMesh source;
    AddPoints(source, 4);
    source.m_PointIndices.Add(3);
    source.m_Indices.Add(Group(4, {0, 1, 2}, 7));
    source.m_Indices.Add(Group(5, {0, 1, 2, 3}, 2000));
    source.m_ConvexPartitionIndices.Add(new TList<unsigned int>(0u, 5u));
    source.m_ConvexPartitionIndices[0]->Add(2);
    source.m_ConvexPartitionIndices[0]->Add(1);
    source.m_NewVertices = new PointLink(TVector3<double>(9, 9, 9));
    source.m_NewVertices->SetNext(new PointLink(TVector3<double>(8, 8, 8)));

    // Every group is a copy of its own: the source's later change does not
    // show, while type, grow size and contents came along.
    CFlexMesh copy(source);
    source.m_Indices[0]->Add(3);
    EXPECT_EQ(copy.m_Polygon[3], TVector3<double>(3, 9, 0));
    EXPECT_TRUE(copy.m_Polygon.GetCount() == 4u && Values(copy.m_PointIndices) == V{3});
    EXPECT_EQ(copy.m_NewVertices, nullptr);  // the point chain is never copied
    ASSERT_TRUE(copy.m_Indices.GetCount() == 2u && copy.m_ConvexPartitionIndices.GetCount() == 1u);
    for (unsigned int g = 0; g < 2; ++g) {
        EXPECT_NE(copy.m_Indices[g], source.m_Indices[g]);
        EXPECT_EQ(copy.m_Indices[g]->m_PrimitiveType, source.m_Indices[g]->m_PrimitiveType);
        EXPECT_EQ(copy.m_Indices[g]->GetGrowSize(), source.m_Indices[g]->GetGrowSize());
        EXPECT_EQ(Values(*copy.m_Indices[g]), g == 0 ? (V{0, 1, 2}) : (V{0, 1, 2, 3}));
    }
    EXPECT_NE(copy.m_ConvexPartitionIndices[0], source.m_ConvexPartitionIndices[0]);
    EXPECT_EQ(Values(*copy.m_ConvexPartitionIndices[0]), (V{2, 1}));

    // Copy onto a filled mesh replaces what it held.
    copy.Copy(source);
    EXPECT_TRUE(copy.m_Indices.GetCount() == 2u && copy.m_ConvexPartitionIndices.GetCount() == 1u);
    EXPECT_EQ(Values(*copy.m_Indices[0]), (V{0, 1, 2, 3}));

    // Assignment copies the pointers: both meshes see one set of groups.
    CFlexMesh shared;
    shared = source;
    EXPECT_TRUE(shared.m_Indices[0] == source.m_Indices[0] &&
                shared.m_ConvexPartitionIndices[0] == source.m_ConvexPartitionIndices[0] &&
                shared.m_NewVertices == source.m_NewVertices && shared.m_Polygon.GetCount() == 4u);
    // Only the source may release what both point at.
    shared.m_Indices.Clear(false);
    shared.m_ConvexPartitionIndices.Clear(false);
    shared.m_NewVertices = nullptr;

    // Clearing releases the owned objects, skipping null entries.
    source.m_Indices.Insert(static_cast<CFlexIndices*>(nullptr), 1);
    source.ClearIndices();
    source.ClearNewVertices();
    source.Clear();
    EXPECT_EQ(source.m_Indices.GetCount() + source.m_Polygon.GetCount() + source.m_ConvexPartitionIndices.GetCount(),
              0u);
    EXPECT_EQ(source.m_NewVertices, nullptr);
}

template <typename M>
class FlexConversion : public ::testing::Test { };
TYPED_TEST_SUITE(FlexConversion, TwoMeshTypes);

TYPED_TEST(FlexConversion, PrimitiveModesBecomeFaces) {
    typedef RealOf<TypeParam> Real;
    CFlexMesh flex;
    AddPoints(flex, 6);
    // A 16-bit mesh keeps the low 16 bits of an index.
    const bool narrow = sizeof(TypeParam().m_Faces[0].m_Corners[0]) == 2;
    flex.m_Indices.Add(Group(5, {0, 1, 2, 3, 4}));
    flex.m_Indices.Add(Group(7, {0, 1, 2}));
    flex.m_Indices.Add(Group(6, {0, 1, 2, 3, 4}));
    flex.m_Indices.Add(Group(4, {0, narrow ? 65537u : 1u, 2, 2, 3, 4}));
    flex.m_Indices.Add(Group(5, {3, 4}));
    flex.m_Indices.Add(Group(6, {3, 4}));

    // Conversion replaces everything the mesh held, derived tables included.
    TypeParam mesh;
    MakeTetrahedron(mesh);
    mesh.AssignFaceConnectivity(true);
    mesh.AllocateVertexAttributeBuffer();
    mesh = flex;
    EXPECT_EQ(AllCorners(mesh), (V{2, 0, 1, 3, 2, 1, 4, 2, 3,  // strip
                                   0, 1, 2, 0, 2, 3, 0, 3, 4,  // fan
                                   0, 1, 2, 2, 3, 4}));  // triangles; type 7 adds none
    EXPECT_EQ(mesh.m_FaceConnectivity.GetCount() + mesh.m_VertexAttributes.GetCount(), 0u);
    ASSERT_EQ(mesh.m_Vertices.GetCount(), 6u);
    for (unsigned int v = 0; v < 6; ++v)
        EXPECT_EQ(mesh.m_Vertices[v].m_Position, TVector3<Real>(Real(v), Real(v * v), 0));
    // Point 5 belongs to no face: it is converted but keeps a zero normal.
    EXPECT_EQ(mesh.m_Vertices[5].m_Normal.GetLength(), 0);
    EXPECT_TRUE(mesh.m_BoundingBox.m_Min == TVector3<Real>(0, 0, 0) &&
                mesh.m_BoundingBox.m_Max == TVector3<Real>(5, 25, 0));
    TypeParam constructed(flex);
    EXPECT_EQ(AllCorners(constructed), AllCorners(mesh));
}

}  // namespace
