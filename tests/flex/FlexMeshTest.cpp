#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "MeshFixtures.h"
#include "meshes/TMesh.h"
#include "meshes/flex/CFlexMesh.h"

namespace {

using namespace Corvane::Pellix::Quorvel;
using Corvane::Pellix::Lintorra::TLinkUni;
using QuorvelTest::MakeTetrahedron;

typedef TLinkUni<TVector3<double>> PointLink;

CFlexIndices* Group(unsigned int type, std::vector<unsigned int> indices, unsigned int growSize = 1000) {
    CFlexIndices* group = new CFlexIndices(0u, growSize);
    for (unsigned int i : indices) group->Add(i);
    group->m_PrimitiveType = type;
    return group;
}

// Points on the parabola y = x^2 in z = 0.
void AddPoints(CFlexMesh& flex, unsigned int count) {
    for (unsigned int i = 0; i < count; ++i) flex.m_Polygon.Add(TVector3<double>(i, double(i) * i, 0));
}

// A mesh with something in every owned member.
void Fill(CFlexMesh& flex) {
    AddPoints(flex, 4);
    flex.m_PointIndices.Add(3);
    flex.m_Indices.Add(Group(4, {0, 1, 2}, 7));
    flex.m_Indices.Add(Group(5, {0, 1, 2, 3}, 2000));
    TList<unsigned int>* part = new TList<unsigned int>(0u, 5u);
    part->Add(2);
    part->Add(1);
    flex.m_ConvexPartitionIndices.Add(part);
    flex.m_NewVertices = new PointLink(TVector3<double>(9, 9, 9));
    flex.m_NewVertices->SetNext(new PointLink(TVector3<double>(8, 8, 8)));
}

TEST(FlexMesh, ConstructorsUseTheirOwnGrowSizes) {
    CFlexMesh flex(16, 4);
    EXPECT_EQ(flex.m_Polygon.GetCapacity(), 16u);
    EXPECT_EQ(flex.m_Polygon.GetGrowSize(), 1000u);
    EXPECT_EQ(flex.m_PointIndices.GetCapacity(), 10u);
    EXPECT_EQ(flex.m_PointIndices.GetGrowSize(), 10u);
    EXPECT_EQ(flex.m_Indices.GetCapacity(), 4u);
    EXPECT_EQ(flex.m_Indices.GetGrowSize(), 10u);
    EXPECT_EQ(flex.m_ConvexPartitionIndices.GetCapacity(), 0u);
    EXPECT_EQ(flex.m_ConvexPartitionIndices.GetGrowSize(), 10u);
    EXPECT_EQ(flex.m_NewVertices, nullptr);

    CFlexMesh copy(flex);
    EXPECT_EQ(copy.m_PointIndices.GetGrowSize(), 1000u);
    EXPECT_EQ(copy.m_Indices.GetGrowSize(), 1000u);
    EXPECT_EQ(copy.m_ConvexPartitionIndices.GetGrowSize(), 1000u);
    EXPECT_EQ(copy.m_Polygon.GetGrowSize(), 1000u);

    // Copy onto an existing mesh assigns the list, grow size included.
    CFlexMesh target(0, 0);
    target.m_PointIndices.SetGrowSize(3);
    target.Copy(copy);
    EXPECT_EQ(target.m_PointIndices.GetGrowSize(), 1000u);
    copy.Copy(flex);
    EXPECT_EQ(copy.m_PointIndices.GetGrowSize(), 10u);
}

TEST(FlexMesh, CopyIsDeepAndAssignmentShares) {
    CFlexMesh source;
    Fill(source);

    CFlexMesh copy(source);
    ASSERT_EQ(copy.m_Polygon.GetCount(), 4u);
    EXPECT_EQ(copy.m_Polygon[3], TVector3<double>(3, 9, 0));
    ASSERT_EQ(copy.m_PointIndices.GetCount(), 1u);
    EXPECT_EQ(copy.m_PointIndices[0], 3u);
    EXPECT_EQ(copy.m_NewVertices, nullptr);  // the point chain is never copied
    ASSERT_EQ(copy.m_Indices.GetCount(), 2u);
    for (unsigned int g = 0; g < 2; ++g) {
        const CFlexIndices& original = *source.m_Indices[g];
        const CFlexIndices& duplicate = *copy.m_Indices[g];
        EXPECT_NE(&duplicate, &original);
        EXPECT_EQ(duplicate.m_PrimitiveType, original.m_PrimitiveType);
        EXPECT_EQ(duplicate.GetGrowSize(), original.GetGrowSize());
        ASSERT_EQ(duplicate.GetCount(), original.GetCount());
        for (unsigned int i = 0; i < original.GetCount(); ++i) EXPECT_EQ(duplicate[i], original[i]);
    }
    // The first growth is max(count, grow size).
    EXPECT_EQ(copy.m_Indices[0]->GetCapacity(), 7u);
    EXPECT_EQ(copy.m_Indices[1]->GetCapacity(), 2000u);
    ASSERT_EQ(copy.m_ConvexPartitionIndices.GetCount(), 1u);
    const TList<unsigned int>& part = *copy.m_ConvexPartitionIndices[0];
    EXPECT_NE(&part, source.m_ConvexPartitionIndices[0]);
    EXPECT_EQ(part.GetGrowSize(), 1000u);
    ASSERT_EQ(part.GetCount(), 2u);
    EXPECT_EQ(part[0], 2u);
    EXPECT_EQ(part[1], 1u);

    source.m_Indices[0]->Add(3);
    source.m_Indices[0]->m_PrimitiveType = 6;
    EXPECT_EQ(copy.m_Indices[0]->GetCount(), 3u);
    EXPECT_EQ(copy.m_Indices[0]->m_PrimitiveType, 4u);

    // Copy onto a filled mesh replaces what it held.
    copy.Copy(source);
    EXPECT_EQ(copy.m_Indices.GetCount(), 2u);
    EXPECT_EQ(copy.m_Indices[0]->GetCount(), 4u);
    EXPECT_EQ(copy.m_ConvexPartitionIndices.GetCount(), 1u);

    CFlexMesh shared;
    shared = source;
    EXPECT_EQ(shared.m_Indices[0], source.m_Indices[0]);
    EXPECT_EQ(shared.m_ConvexPartitionIndices[0], source.m_ConvexPartitionIndices[0]);
    EXPECT_EQ(shared.m_NewVertices, source.m_NewVertices);
    EXPECT_EQ(shared.m_Polygon.GetCount(), 4u);
    source.m_Indices[1]->Add(0u);
    EXPECT_EQ(shared.m_Indices[1]->GetCount(), 5u);
    // Only the source may release what both point at.
    shared.m_Indices.Clear(false);
    shared.m_ConvexPartitionIndices.Clear(false);
    shared.m_NewVertices = nullptr;
}

TEST(FlexMesh, ClearingReleasesOwnedObjectsAndKeepsCapacity) {
    CFlexMesh flex;
    Fill(flex);
    flex.m_Indices.Insert(static_cast<CFlexIndices*>(nullptr), 1);

    flex.ClearIndices();  // the null entry is skipped
    EXPECT_EQ(flex.m_Indices.GetCount(), 0u);
    EXPECT_EQ(flex.m_Indices.GetCapacity(), 10u);
    EXPECT_EQ(flex.m_Indices.GetStream()[0], nullptr);

    flex.ClearNewVertices();
    EXPECT_EQ(flex.m_NewVertices, nullptr);

    flex.Clear();
    EXPECT_EQ(flex.m_Polygon.GetCount(), 0u);
    EXPECT_EQ(flex.m_Polygon.GetCapacity(), 1000u);
    EXPECT_EQ(flex.m_PointIndices.GetCount(), 0u);
    EXPECT_EQ(flex.m_PointIndices.GetCapacity(), 10u);
    EXPECT_EQ(flex.m_ConvexPartitionIndices.GetCount(), 0u);
    EXPECT_EQ(flex.m_ConvexPartitionIndices.GetCapacity(), 10u);
}

template <typename M>
class FlexConversion : public ::testing::Test {};
typedef ::testing::Types<TMesh<float, TVertexPN<float>, CA8, unsigned short>,
                         TMesh<float, TVertexPNC<float>, CA16, unsigned int>,
                         TMesh<double, TVertexPNC<double>, CA32, unsigned short>,
                         TMesh<double, TVertexPN<double>, CA8, unsigned int>>
    MeshTypes;
TYPED_TEST_SUITE(FlexConversion, MeshTypes);

template <typename M>
std::vector<std::array<unsigned int, 3>> FacesOf(const M& mesh) {
    std::vector<std::array<unsigned int, 3>> faces;
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f)
        faces.push_back({mesh.m_Faces[f].m_Corners[0], mesh.m_Faces[f].m_Corners[1], mesh.m_Faces[f].m_Corners[2]});
    return faces;
}

TYPED_TEST(FlexConversion, PrimitiveModesBecomeFaces) {
    typedef std::vector<std::array<unsigned int, 3>> Faces;
    typedef decltype(TypeParam().m_BoundingBox.m_Min.x) Real;
    CFlexMesh flex;
    AddPoints(flex, 5);
    flex.m_Indices.Add(Group(5, {0, 1, 2, 3, 4}));
    flex.m_Indices.Add(Group(7, {0, 1, 2}));
    flex.m_Indices.Add(Group(6, {0, 1, 2, 3, 4}));
    flex.m_Indices.Add(Group(4, {0, 1, 2, 2, 3, 4}));
    flex.m_Indices.Add(Group(5, {3, 4}));
    flex.m_Indices.Add(Group(6, {3, 4}));

    TypeParam mesh;
    MakeTetrahedron(mesh);
    mesh.AssignFaceConnectivity(true);
    mesh.AllocateVertexAttributeBuffer();
    mesh = flex;

    EXPECT_EQ(FacesOf(mesh), (Faces{{2, 0, 1}, {3, 2, 1}, {4, 2, 3},  // strip
                                    {0, 1, 2}, {0, 2, 3}, {0, 3, 4},  // fan
                                    {0, 1, 2}, {2, 3, 4}}));          // triangles
    EXPECT_EQ(mesh.m_FaceConnectivity.GetCount(), 0u);
    EXPECT_EQ(mesh.m_VertexAttributes.GetCount(), 0u);
    EXPECT_EQ(mesh.m_VertexConnectivity.GetCount(), 0u);

    ASSERT_EQ(mesh.m_Vertices.GetCount(), 5u);
    for (unsigned int v = 0; v < 5; ++v)
        EXPECT_EQ(mesh.m_Vertices[v].m_Position, TVector3<Real>(Real(v), Real(v * v), 0));
    EXPECT_EQ(mesh.m_BoundingBox.m_Min, TVector3<Real>(0, 0, 0));
    EXPECT_EQ(mesh.m_BoundingBox.m_Max, TVector3<Real>(4, 16, 0));

    TypeParam constructed(flex);
    EXPECT_EQ(FacesOf(constructed), FacesOf(mesh));
    // The capacities reserved by the constructor go with the initial Clear.
    EXPECT_EQ(constructed.m_Vertices.GetCapacity(), 1000u);
    EXPECT_EQ(constructed.m_FaceNormals.GetCapacity(), 0u);
    EXPECT_EQ(constructed.m_BoundingBox.m_Max, mesh.m_BoundingBox.m_Max);
}

TYPED_TEST(FlexConversion, StripsAndFansKeepOneWinding) {
    // Points 0-4 zig-zag between y = 1 and y = 0, the layout of a strip;
    // points 5-9 lie on a convex arc around 5, the layout of a fan. Wound as
    // the modes promise, every face of both faces +z.
    CFlexMesh flex;
    for (unsigned int i = 0; i < 5; ++i) flex.m_Polygon.Add(TVector3<double>(0.5 * i, (i + 1) % 2, 0));
    for (unsigned int i = 0; i < 5; ++i) flex.m_Polygon.Add(TVector3<double>(i, double(i) * i, 1));
    flex.m_Indices.Add(Group(5, {0, 1, 2, 3, 4}));
    flex.m_Indices.Add(Group(6, {5, 6, 7, 8, 9}));

    TypeParam mesh(flex);
    ASSERT_EQ(mesh.m_Faces.GetCount(), 6u);
    for (unsigned int v = 0; v < 10; ++v) {
        const auto& normal = mesh.m_Vertices[v].m_Normal;
        EXPECT_NEAR(normal.z, 1, 1e-6) << "vertex " << v;
        EXPECT_NEAR(normal.x * normal.x + normal.y * normal.y, 0, 1e-12) << "vertex " << v;
    }
}

TYPED_TEST(FlexConversion, UnusedPointsAndWideIndices) {
    typedef decltype(TypeParam().m_Faces[0].m_Corners[0]) IndexRef;
    CFlexMesh flex;
    AddPoints(flex, 4);
    // A 16-bit mesh keeps the low 16 bits of an index.
    const bool narrow = sizeof(IndexRef) == 2;
    flex.m_Indices.Add(Group(4, {0, narrow ? 65537u : 1u, 2}));

    TypeParam mesh(flex);
    ASSERT_EQ(mesh.m_Faces.GetCount(), 1u);
    EXPECT_EQ(mesh.m_Faces[0].m_Corners[1], 1u);
    // Point 3 belongs to no face: it is converted but keeps a zero normal.
    ASSERT_EQ(mesh.m_Vertices.GetCount(), 4u);
    EXPECT_EQ(mesh.m_Vertices[3].m_Normal, decltype(mesh.m_Vertices[3].m_Normal)());
    EXPECT_EQ(mesh.m_BoundingBox.m_Max.y, 9);
}

}  // namespace
