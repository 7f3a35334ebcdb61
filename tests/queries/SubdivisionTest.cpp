#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "MeshFixtures.h"

namespace {

using namespace QuorvelTest;

template <typename Mesh>
class Subdivision : public ::testing::Test {};
typedef ::testing::Types<TMesh<float, TVertexPNC<float>, CA16, unsigned short>,
                         TMesh<double, TVertexPN<double>, CA8, unsigned int>>
    SubdivisionMeshes;
TYPED_TEST_SUITE(Subdivision, SubdivisionMeshes);

template <typename Mesh>
void ExpectLayout(const Mesh& mesh, const std::vector<std::array<double, 2>>& positions,
                  const std::vector<unsigned int>& corners) {
    ASSERT_EQ(mesh.m_Vertices.GetCount(), positions.size());
    ASSERT_EQ(3 * mesh.m_Faces.GetCount(), corners.size());
    for (unsigned int v = 0; v < positions.size(); ++v)
        EXPECT_EQ(mesh.m_Vertices[v].m_Position,
                  TVector3<RealOf<Mesh>>(RealOf<Mesh>(positions[v][0]), RealOf<Mesh>(positions[v][1]), 0))
            << "vertex " << v;
    for (unsigned int i = 0; i < corners.size(); ++i)
        EXPECT_EQ(mesh.m_Faces[i / 3].m_Corners[i % 3], corners[i]) << "face " << i / 3;
}

}  // namespace

TYPED_TEST(Subdivision, LongTrianglesAreSplitDepthFirstIntoSeparateHalves) {
    TypeParam mesh;
    AddTables(mesh, {{0, 0, 0}, {2, 0, 0}, {1, 0.5, 0}}, {{0, 1, 2}});
    mesh.SubDivide(1.5);
    // Both halves keep the winding; each has its own copy of the midpoint;
    // normals are rebuilt after the splits.
    ExpectLayout(mesh, {{0, 0}, {2, 0}, {1, 0.5}, {1, 0}, {1, 0}}, {0, 4, 2, 3, 1, 2});
    for (unsigned int v = 0; v < 5; ++v) EXPECT_NEAR(mesh.m_Vertices[v].m_Normal.z, 1, 1e-6) << "vertex " << v;

    // Against 1.9, five splits: the half that keeps index 0 is finished
    // (faces 2, 3) before face 1 is touched, whose halves come last.
    TypeParam deep;
    AddTables(deep, {{0, 0, 0}, {4, 0, 0}, {2, 1, 0}}, {{0, 1, 2}});
    deep.SubDivide(1.9);
    ExpectLayout(deep,
                 {{0, 0}, {4, 0}, {2, 1}, {2, 0}, {2, 0}, {1, 0.5}, {1, 0.5}, {1, 0}, {1, 0}, {3, 0.5}, {3, 0.5}, {3, 0}, {3, 0}},
                 {6, 4, 2, 3, 12, 10, 0, 8, 5, 7, 4, 5, 3, 9, 2, 11, 1, 10});

    // A longest edge of exactly the limit is not split.
    TypeParam exact;
    AddTables(exact, {{0, 0, 0}, {1.5, 0, 0}, {0.75, 0.5, 0}}, {{0, 1, 2}});
    exact.SubDivide(1.5);
    EXPECT_EQ(exact.m_Faces.GetCount(), 1u);
}

TYPED_TEST(Subdivision, RefinedSphereMeetsTheLimitAndKeepsItsArea) {
    typedef RealOf<TypeParam> Real;
    TypeParam sphere;
    MakeIcosphere(sphere, 1);
    auto area = [](const TypeParam& mesh) {
        double sum = 0;
        for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f) {
            const auto* c = mesh.m_Faces[f].m_Corners;
            TVector3<double> p[3];
            for (int k = 0; k < 3; ++k) {
                const auto& q = mesh.m_Vertices[c[k]].m_Position;
                p[k] = TVector3<double>(q.x, q.y, q.z);
            }
            sum += ((p[1] - p[0]) * (p[2] - p[0])).GetLength() / 2;
        }
        return sum;
    };
    const double before = area(sphere);
    const unsigned int originalFaces = sphere.m_Faces.GetCount();
    const Real limit = Real(0.25);
    sphere.SubDivide(limit);
    const unsigned int faces = sphere.m_Faces.GetCount();
    EXPECT_GT(faces, originalFaces);
    // Every split adds one face and two vertices to the separated triangles.
    EXPECT_EQ(sphere.m_Vertices.GetCount(), 3 * originalFaces + 2 * (faces - originalFaces));
    EXPECT_NEAR(area(sphere), before, before * 1e-5);
    for (unsigned int f = 0; f < faces; ++f)
        for (int k = 0; k < 3; ++k) {
            const auto& a = sphere.m_Vertices[sphere.m_Faces[f].m_Corners[k]].m_Position;
            const auto& b = sphere.m_Vertices[sphere.m_Faces[f].m_Corners[(k + 1) % 3]].m_Position;
            EXPECT_LE(a.DiffVectLenSquared(b), limit * limit) << "face " << f;
        }
}
