// The conversion to and from the engine for meshes of different widths:
// single precision, 16-bit indices, coloured vertices.
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <type_traits>
#include <vector>

#include "remeshing/RemeshChecks.h"

namespace {

using namespace QuorvelTest;

template <typename Mesh>
class RemeshPreservingShapeTyped : public ::testing::Test { };

typedef ::testing::Types<TMesh<float, TVertexPN<float>, CA8, unsigned short>,
                         TMesh<float, TVertexPNC<float>, CA16, unsigned int>,
                         TMesh<double, TVertexPNC<double>, CA32, unsigned short>>
    NarrowAndWideMeshes;
TYPED_TEST_SUITE(RemeshPreservingShapeTyped, NarrowAndWideMeshes);

TYPED_TEST(RemeshPreservingShapeTyped, RemeshesABumpySphere) {
    TypeParam mesh;
    MakeBumpySphere(mesh, 4, 0.12, 0.01);
    const double volume = EnclosedVolume(mesh);
    const double target = 0.8 * MeanSide(mesh);
    // Stale attributes and normals of the input must not survive.
    mesh.AllocateVertexAttributeBuffer();
    mesh.AllocateFaceAttributeBuffer();
    for (unsigned int v = 0; v < mesh.m_VertexAttributes.GetCount(); ++v)
        mesh.m_VertexAttributes[v].m_Value = 3;
    mesh.AssignFaceNormals();

    ASSERT_TRUE(mesh.RemeshPreservingShape(static_cast<RealOf<TypeParam>>(target)));

    EXPECT_TRUE(IsCleanResult(mesh, true));
    EXPECT_EQ(InwardFaces(mesh), 0u);
    EXPECT_LT(mesh.m_Vertices.GetCount(), 65536u);
    EXPECT_NEAR(EnclosedVolume(mesh) / volume, 1.0, 0.005);
    EXPECT_GT(MeanSide(mesh) / target, 0.8);
    EXPECT_LT(MeanSide(mesh) / target, 1.05);
    ASSERT_EQ(mesh.m_FaceNormals.GetCount(), mesh.m_Faces.GetCount());
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f) {
        TVector3<double> expected = AreaNormal(mesh, f);
        expected.Normalise();
        const auto& n = mesh.m_FaceNormals[f];
        EXPECT_NEAR(n.x * expected.x + n.y * expected.y + n.z * expected.z, 1.0, 1e-4);
    }
}

// Without iterations, or with a target that is no positive finite length,
// only the clean-up runs: the unused vertex and the face with a repeated
// corner go, everything else keeps its place and record.
TYPED_TEST(RemeshPreservingShapeTyped, ZeroIterationsOrAnUnusableTargetOnlyCleanUp) {
    typedef RealOf<TypeParam> Real;
    typedef typename std::remove_reference<decltype(TypeParam().m_Vertices[0])>::type Vertex;
    const bool coloured = std::is_same<Vertex, TVertexPNC<Real>>::value;
    for (const Real target : {Real(0.1), Real(0), Real(-1), std::numeric_limits<Real>::quiet_NaN(),
                              std::numeric_limits<Real>::infinity()}) {
        SCOPED_TRACE(target);
        TypeParam mesh;
        AddTables(mesh, {{7, 7, 7}, {0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}},
                  {{1, 3, 2}, {1, 2, 4}, {2, 2, 3}, {1, 4, 3}, {2, 3, 4}});
        for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v)
            mesh.m_Vertices[v].SetColour(100 + v);
        CRemeshOptions options;
        if (target == Real(0.1))
            options.m_Iterations = 0;
        ASSERT_TRUE(mesh.RemeshPreservingShape(target, options));

        EXPECT_TRUE(IsCleanResult(mesh, true));
        ASSERT_EQ(mesh.m_Vertices.GetCount(), 4u);
        for (unsigned int v = 0; v < 4; ++v) {
            EXPECT_EQ(Position(mesh, v), TVector3<double>(v == 1, v == 2, v == 3));
            EXPECT_EQ(ColourOf(mesh, v), coloured ? 101 + v : 0u);
        }
        // The same four faces, each up to rotation of its corners.
        std::vector<V> faces;
        for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f) {
            V c = FaceCorners(mesh, f);
            std::rotate(c.begin(), std::min_element(c.begin(), c.end()), c.end());
            faces.push_back(c);
        }
        std::sort(faces.begin(), faces.end());
        EXPECT_EQ(faces, (std::vector<V>{{0, 1, 3}, {0, 2, 1}, {0, 3, 2}, {1, 2, 3}}));
    }
}

// The lists a remesh leaves current are those the mesh's own builders make
// from the result, entry for entry and bit for bit, also where the result is
// large enough for them to be built on several threads.
TYPED_TEST(RemeshPreservingShapeTyped, DerivedListsAreThoseOfAFreshRebuild) {
    TypeParam mesh;
    MakeBumpySphere(mesh, 5, 0.12, 0.01);
    ASSERT_TRUE(mesh.RemeshPreservingShape(static_cast<RealOf<TypeParam>>(0.9 * MeanSide(mesh))));
    ASSERT_GT(mesh.m_Faces.GetCount(), 16384u);

    TypeParam fresh;
    fresh = mesh;
    fresh.AssignVertexNormals();
    fresh.m_FaceConnectivity.Clear(false);
    fresh.AssignFaceConnectivity(true);
    fresh.AssignVertexConnectivity(true);

    const unsigned int vertexCount = mesh.m_Vertices.GetCount();
    for (unsigned int v = 0; v < vertexCount; ++v) {
        ASSERT_EQ(mesh.m_Vertices[v].m_Normal, fresh.m_Vertices[v].m_Normal) << "vertex " << v;
        for (const auto tables : {&TypeParam::m_VertexConnectivity, &TypeParam::m_VertexFaceConnectivity}) {
            const auto& built = (mesh.*tables)[v];
            const auto& expected = (fresh.*tables)[v];
            ASSERT_EQ(built.GetCount(), expected.GetCount()) << "vertex " << v;
            for (unsigned int i = 0; i < built.GetCount(); ++i)
                ASSERT_EQ(built[i], expected[i]) << "vertex " << v << ", entry " << i;
        }
    }
    ASSERT_EQ(mesh.m_FaceConnectivity.GetCount(), fresh.m_FaceConnectivity.GetCount());
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f)
        ASSERT_EQ(mesh.m_FaceConnectivity[f], fresh.m_FaceConnectivity[f]) << "face " << f;
}

}  // namespace
