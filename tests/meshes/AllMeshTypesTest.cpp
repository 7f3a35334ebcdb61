#include <gtest/gtest.h>

#include <algorithm>
#include <type_traits>

#include "MeshTypeLists.h"

namespace {

using namespace QuorvelTest;

template <typename Mesh>
class EveryMeshType : public ::testing::Test { };
TYPED_TEST_SUITE(EveryMeshType, AllMeshTypes);

// One scenario through the core of every exported type: build, derive,
// measure, copy, append, transform.
TYPED_TEST(EveryMeshType, BoxScenario) {
    typedef TypeParam Mesh;
    typedef RealOf<Mesh> Real;
    typedef TVector3<Real> V;
    typedef typename std::remove_reference<decltype(Mesh().m_FaceAttributes[0])>::type Attribute;
    typedef typename Attribute::ValueType Bits;
    const double tolerance = std::is_same<Real, float>::value ? 1e-5 : 1e-12;

    Mesh box;
    MakeBox(box, 2, 3, 4);
    box.AssignFaceNormals();
    box.AssignVertexNormals();
    // Corner vertex 7 sits at (2, 3, 4): its normal points out of the box.
    const V corner = box.m_Vertices[7].m_Normal;
    EXPECT_NEAR(corner.GetLength(), 1.0, tolerance);
    EXPECT_GT(std::min({corner.x, corner.y, corner.z}), 0);
    EXPECT_NEAR(box.GetVolume(), 24.0, 24 * tolerance);
    EXPECT_NEAR(box.GetSurfaceArea(), 52.0, 52 * tolerance);
    box.DetermineBoundingBox(true);

    // The flag search covers the record's width.
    box.AllocateFaceAttributeBuffer();
    box.ResetAttributes();
    const Bits top = static_cast<Bits>(Bits(1) << (sizeof(Bits) * 8 - 1));
    box.m_FaceAttributes[0] = Attribute(static_cast<Bits>(top - 1));
    EXPECT_EQ(box.GetNextFaceAttributeFlag(Attribute(0)).m_Value, top);

    // Colours land where the vertex record has one; the others report 0.
    const bool coloured = std::is_same<decltype(box.m_Vertices.GetFirst()), TVertexPNC<Real>&>::value;
    box.SetVertexColours(0x12345678u);
    for (unsigned int v = 0; v < 8; ++v) {
        float x, y, z, nx, ny, nz;
        unsigned int colour = 1;
        box.m_Vertices[v].GetData(x, y, z, nx, ny, nz, colour);
        EXPECT_EQ(colour, coloured ? 0x12345678u : 0u);
    }

    Mesh copy(box);
    copy += V(10, 0, 0);
    box.Append(copy);
    EXPECT_EQ(box.m_Faces.GetCount(), 24u);
    EXPECT_EQ(static_cast<unsigned int>(box.m_Faces[12].m_Corners[0]), copy.m_Faces[0].m_Corners[0] + 8u);
    EXPECT_EQ(box.m_BoundingBox.m_Max, V(12, 3, 4));
    EXPECT_NEAR(box.GetVolume(), 48.0, 48 * tolerance);
    // Connectivity is checked in full elsewhere; here it must stay within
    // the mesh whatever the index width.
    BuildConnectivity(box);
    EXPECT_EQ(box.m_VertexFaceConnectivity.GetCount(), 16u);
    for (unsigned int f = 0; f < 24; ++f)
        for (unsigned int g : box.m_FaceConnectivity[f].m_Neighbours)
            ASSERT_LT(g, 24u);

    box *= Real(0.5);
    EXPECT_NEAR(box.GetVolume(), 6.0, 6 * tolerance);
    EXPECT_EQ(box.m_BoundingBox.m_Max, V(6, Real(1.5), 2));
}

}  // namespace
