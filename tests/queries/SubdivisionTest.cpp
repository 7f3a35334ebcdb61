#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "MeshFixtures.h"

namespace {

using namespace QuorvelTest;

template <typename Mesh>
class Subdivision : public ::testing::Test { };
typedef ::testing::Types<TMesh<float, TVertexPNC<float>, CA16, unsigned short>,
                         TMesh<double, TVertexPN<double>, CA8, unsigned int>>
    SubdivisionMeshes;
TYPED_TEST_SUITE(Subdivision, SubdivisionMeshes);

}  // namespace

TYPED_TEST(Subdivision, LongTrianglesAreSplitDepthFirstIntoSeparateHalves) {
    typedef RealOf<TypeParam> Real;
    // Against 1.9, five splits: the half that keeps index 0 is finished
    // (faces 2, 3) before face 1 is touched, whose halves come last. Every
    // half keeps the winding and gets its own copy of the midpoint; normals
    // are rebuilt after the splits.
    TypeParam deep;
    AddTables(deep, {{0, 0, 0}, {4, 0, 0}, {2, 1, 0}}, {{0, 1, 2}});
    deep.SubDivide(Real(1.9));
    const std::vector<std::array<double, 2>> positions = {
        {0, 0}, {4, 0}, {2, 1}, {2, 0}, {2, 0}, {1, 0.5}, {1, 0.5}, {1, 0}, {1, 0}, {3, 0.5}, {3, 0.5}, {3, 0}, {3, 0}};
    ASSERT_EQ(deep.m_Vertices.GetCount(), positions.size());
    for (unsigned int v = 0; v < positions.size(); ++v) {
        EXPECT_EQ(deep.m_Vertices[v].m_Position, TVector3<Real>(Real(positions[v][0]), Real(positions[v][1]), 0)) << v;
        EXPECT_NEAR(deep.m_Vertices[v].m_Normal.z, 1, 1e-6) << v;
    }
    std::vector<unsigned int> corners;
    for (unsigned int i = 0; i < 3 * deep.m_Faces.GetCount(); ++i)
        corners.push_back(deep.m_Faces[i / 3].m_Corners[i % 3]);
    EXPECT_EQ(corners, (std::vector<unsigned int>{6, 4, 2, 3, 12, 10, 0, 8, 5, 7, 4, 5, 3, 9, 2, 11, 1, 10}));

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
            auto corner = [&](int k) { return mesh.m_Vertices[mesh.m_Faces[f].m_Corners[k]].m_Position; };
            sum += ((corner(1) - corner(0)) * (corner(2) - corner(0))).GetLength() / 2;
        }
        return sum;
    };
    const double before = area(sphere);
    const unsigned int originalFaces = sphere.m_Faces.GetCount();
    const Real limit = Real(0.25);
    sphere.SubDivide(limit);
    const unsigned int faces = sphere.m_Faces.GetCount();
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
