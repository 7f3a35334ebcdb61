#include <gtest/gtest.h>

#include <cmath>
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

struct Layout {
    std::vector<std::array<double, 3>> positions;
    std::vector<std::array<unsigned int, 3>> faces;
};

template <typename Mesh>
void ExpectLayout(const Mesh& mesh, const Layout& expected) {
    ASSERT_EQ(mesh.m_Vertices.GetCount(), expected.positions.size());
    ASSERT_EQ(mesh.m_Faces.GetCount(), expected.faces.size());
    for (unsigned int v = 0; v < expected.positions.size(); ++v) {
        EXPECT_EQ(mesh.m_Vertices[v].m_Position.x, expected.positions[v][0]) << "vertex " << v;
        EXPECT_EQ(mesh.m_Vertices[v].m_Position.y, expected.positions[v][1]) << "vertex " << v;
        EXPECT_EQ(mesh.m_Vertices[v].m_Position.z, expected.positions[v][2]) << "vertex " << v;
    }
    for (unsigned int f = 0; f < expected.faces.size(); ++f)
        for (int k = 0; k < 3; ++k) EXPECT_EQ(mesh.m_Faces[f].m_Corners[k], expected.faces[f][k]) << "face " << f;
}

template <typename Real>
void SetColours(TList<TVertexPNC<Real>>& vertices, unsigned int colour) {
    for (unsigned int v = 0; v < vertices.GetCount(); ++v) vertices[v].m_Colour = colour;
}
template <typename Real>
void SetColours(TList<TVertexPN<Real>>&, unsigned int) {}

template <typename Real>
void ExpectColour(const TVertexPNC<Real>& vertex, unsigned int colour) {
    EXPECT_EQ(vertex.m_Colour, colour);
}
template <typename Real>
void ExpectColour(const TVertexPN<Real>&, unsigned int) {}

TYPED_TEST(Subdivision, LongTriangleIsSplitOnceIntoTheDocumentedLayout) {
    TypeParam mesh;
    AddVertex(mesh, 0, 0, 0);
    AddVertex(mesh, 2, 0, 0);
    AddVertex(mesh, 1, 0.5, 0);
    AddFace(mesh, 0, 1, 2);
    SetColours(mesh.m_Vertices, 7);

    mesh.SubDivide(1.5);

    // Both halves keep the winding; each has its own copy of the midpoint.
    ExpectLayout(mesh, Layout{{{0, 0, 0}, {2, 0, 0}, {1, 0.5, 0}, {1, 0, 0}, {1, 0, 0}}, {{0, 4, 2}, {3, 1, 2}}});
    for (unsigned int v = 0; v < 5; ++v) {
        ExpectColour(mesh.m_Vertices[v], v < 3 ? 7u : 0u);
        // Normals are rebuilt after the splits, the midpoints' included.
        EXPECT_NEAR(mesh.m_Vertices[v].m_Normal.z, 1, 1e-6) << "vertex " << v;
    }
}

TYPED_TEST(Subdivision, ShortEdgesOnlySeparateTheTriangles) {
    TypeParam tetrahedron;
    MakeTetrahedron(tetrahedron);
    tetrahedron.SubDivide(2);
    ASSERT_EQ(tetrahedron.m_Vertices.GetCount(), 12u);
    ASSERT_EQ(tetrahedron.m_Faces.GetCount(), 4u);
    for (unsigned int f = 0; f < 4; ++f)
        for (unsigned int k = 0; k < 3; ++k) EXPECT_EQ(tetrahedron.m_Faces[f].m_Corners[k], 3 * f + k);
    // Face 0, (0, 2, 1), is the bottom: its copies get its outward normal.
    for (unsigned int v = 0; v < 3; ++v) EXPECT_NEAR(tetrahedron.m_Vertices[v].m_Normal.z, -1, 1e-6);

    // A longest edge of exactly the limit is not split.
    TypeParam exact;
    AddVertex(exact, 0, 0, 0);
    AddVertex(exact, 1.5, 0, 0);
    AddVertex(exact, 0.75, 0.5, 0);
    AddFace(exact, 0, 1, 2);
    exact.SubDivide(1.5);
    EXPECT_EQ(exact.m_Vertices.GetCount(), 3u);
    EXPECT_EQ(exact.m_Faces.GetCount(), 1u);
}

TYPED_TEST(Subdivision, SplitsRunDepthFirstWithTheKeptHalfFirst) {
    // (0,0) (4,0) (2,1) against a limit of 1.9: five splits. The half that
    // keeps index 0 is finished (faces 2, 3) before face 1 is touched, so
    // face 1's own halves come last (faces 4, 5).
    TypeParam mesh;
    AddVertex(mesh, 0, 0, 0);
    AddVertex(mesh, 4, 0, 0);
    AddVertex(mesh, 2, 1, 0);
    AddFace(mesh, 0, 1, 2);
    mesh.SubDivide(1.9);
    ExpectLayout(mesh, Layout{{{0, 0, 0},
                               {4, 0, 0},
                               {2, 1, 0},
                               {2, 0, 0},
                               {2, 0, 0},
                               {1, 0.5, 0},
                               {1, 0.5, 0},
                               {1, 0, 0},
                               {1, 0, 0},
                               {3, 0.5, 0},
                               {3, 0.5, 0},
                               {3, 0, 0},
                               {3, 0, 0}},
                              {{6, 4, 2}, {3, 12, 10}, {0, 8, 5}, {7, 4, 5}, {3, 9, 2}, {11, 1, 10}}});

    // Two faces of a unit square: the first original face and its halves
    // are done before the second is started.
    TypeParam square;
    MakeGrid(square, 1, 1);
    square.SubDivide(1.2);
    ExpectLayout(square, Layout{{{0, 0, 0},
                                 {1, 0, 0},
                                 {1, 1, 0},
                                 {0, 0, 0},
                                 {1, 1, 0},
                                 {0, 1, 0},
                                 {0.5, 0.5, 0},
                                 {0.5, 0.5, 0},
                                 {0.5, 0.5, 0},
                                 {0.5, 0.5, 0}},
                                {{7, 1, 2}, {3, 9, 5}, {0, 1, 6}, {8, 4, 5}}});
}

TYPED_TEST(Subdivision, RefinedSphereMeetsTheLimitAndKeepsItsArea) {
    typedef RealOf<TypeParam> Real;
    TypeParam sphere;
    MakeIcosphere(sphere, 1);
    auto area = [](const TypeParam& mesh) {
        double sum = 0;
        for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f) {
            const auto& face = mesh.m_Faces[f];
            TVector3<double> p[3];
            for (int k = 0; k < 3; ++k) {
                const auto& q = mesh.m_Vertices[face.m_Corners[k]].m_Position;
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

}  // namespace
