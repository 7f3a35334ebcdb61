// Refinement: the dense point set of a mesh (infill) and longest-edge
// bisection (subdivision).
#include <gtest/gtest.h>

#include <array>
#include <vector>

// InfillBetweenTwoPoints is protected.
#include "MeshInternals.h"
#include "MeshTypeLists.h"
#include "editing/AdjacencyChecks.h"

namespace {

using namespace QuorvelTest;

template <typename Mesh>
class Infill : public ::testing::Test { };
TYPED_TEST_SUITE(Infill, TwoMeshTypes);
template <typename Mesh>
class Subdivision : public ::testing::Test { };
TYPED_TEST_SUITE(Subdivision, TwoMeshTypes);

typedef std::vector<std::array<double, 3>> Points;

// The points of `actual` from `first` on.
template <typename Real>
void ExpectPoints(const TList<TVector3<Real>>& actual, const Points& expected, unsigned int first = 0) {
    ASSERT_EQ(actual.GetCount(), first + expected.size());
    for (unsigned int i = 0; i < expected.size(); ++i) {
        const TVector3<Real> point{Real(expected[i][0]), Real(expected[i][1]), Real(expected[i][2])};
        EXPECT_NEAR(actual[first + i].DiffVectLen(point), 0, 1e-5) << "point " << first + i;
    }
}

TYPED_TEST(Infill, SegmentGetsItsInteriorPointsInOrderCountedInTheMeshPrecision) {
    typedef RealOf<TypeParam> Real;
    typedef TVector3<Real> V;
    TypeParam mesh;
    TList<V> points;
    points.Add(V(7, 7, 7));
    // 2.5 spacings: three pieces, two points, appended after what the list
    // held, walking from start to end, each the previous plus the same step.
    CMeshTestAccess::InfillBetweenTwoPoints(mesh, V(2.5, 0, 0), V(0, 0, 0), Real(1), &points);
    ExpectPoints(points, Points{{7, 7, 7}, {2.5 * 2 / 3, 0, 0}, {2.5 / 3, 0, 0}});
    const V step = V(Real(-2.5), 0, 0) / Real(3);
    EXPECT_EQ(points[1], V(Real(2.5), 0, 0) + step);
    EXPECT_EQ(points[2], points[1] + step);

    points.Clear(false);
    CMeshTestAccess::InfillBetweenTwoPoints(mesh, V(0, 0, 0), V(0, 1, 0), Real(1), &points);  // one piece
    CMeshTestAccess::InfillBetweenTwoPoints(mesh, V(3, 3, 3), V(3, 3, 3), Real(1), &points);  // no length
    EXPECT_EQ(points.GetCount(), 0u);
    CMeshTestAccess::InfillBetweenTwoPoints(mesh, V(0, 0, 0), V(0, 0, 2), Real(1), &points);
    ExpectPoints(points, Points{{0, 0, 1}});

    // The quotient of length and spacing is formed in the mesh precision:
    // 2.1 / 0.7 lies a hair above 3 in double but is 3 in float, 2.7 / 0.9
    // the other way round, and 0.3f / 0.1f rounds to 3 although the exact
    // quotient of the two float values lies above it.
    const bool single = sizeof(Real) == sizeof(float);
    const double cases[][3] = {{2.1, 0.7, single ? 2.0 : 3.0}, {2.7, 0.9, single ? 3.0 : 2.0}, {0.3, 0.1, 2}};
    for (const auto& c : cases) {
        points.Clear(false);
        CMeshTestAccess::InfillBetweenTwoPoints(mesh, V(0, 0, 0), V(Real(c[0]), 0, 0), Real(c[1]), &points);
        EXPECT_EQ(points.GetCount(), unsigned(c[2])) << c[0] << " / " << c[1];
    }
}

TYPED_TEST(Infill, FacesAddTheirVerticesThenEachEdgeOncePerFace) {
    typedef RealOf<TypeParam> Real;
    TypeParam tetrahedron, square;
    MakeTetrahedron(tetrahedron);
    TList<TVector3<Real>> points;
    points.Add(TVector3<Real>(-1, -1, -1));
    // Small faces give only their vertices, after the list's content.
    EXPECT_TRUE(tetrahedron.ExtractInfilledPointSet(Real(1.5), &points));
    ExpectPoints(points, Points{{-1, -1, -1}, {0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}});

    // Faces (0, 1, 3) and (0, 3, 2): each fills AB, BC, AC in turn, so the
    // shared diagonal is filled twice; the sweeps are too short to add.
    MakeGrid(square, 1, 1);
    points.Clear(false);
    EXPECT_TRUE(square.ExtractInfilledPointSet(Real(0.8), &points));
    ExpectPoints(points, Points{{0.5, 0, 0}, {1, 0.5, 0}, {0.5, 0.5, 0}, {0.5, 0.5, 0}, {0.5, 1, 0}, {0, 0.5, 0}}, 4);
}

TYPED_TEST(Infill, SweepRunsFromTheShortestEdgeWithTiesToABThenAC) {
    typedef RealOf<TypeParam> Real;
    // The edge points come first; the sweep's points close the list.
    const struct {
        Points corners;
        double spacing;
        unsigned int count;
        Points sweep;
    } cases[] = {
        // dAB = dAC < dBC: swept from AB towards C, segments parallel to x.
        {{{0, 0, 0}, {3, 0, 0}, {0, 3, 0}}, 1, 15, {{0.8, 0.6, 0}, {1.6, 0.6, 0}, {0.9, 1.2, 0}, {0.6, 1.8, 0}}},
        // dAC = dBC < dAB: swept from AC towards B.
        {{{0, 0, 0}, {4, 0, 0}, {2, 1.5, 0}}, 1, 12, {{1.75, 0.5625, 0}, {2.5, 0.375, 0}}},
        // BC strictly shortest: swept from BC towards A.
        {{{0, 0, 0}, {4, 0, 0}, {4, 1, 0}},
         0.5,
         23,
         {{4 - 4.0 / 9, 4.0 / 9, 0},
          {4 - 8.0 / 9, 7.0 / 18, 0},
          {4 - 12.0 / 9, 1.0 / 3, 0},
          {4 - 16.0 / 9, 5.0 / 18, 0}}},
    };
    for (const auto& c : cases) {
        TypeParam mesh;
        AddTables(mesh, c.corners, {{0, 1, 2}});
        TList<TVector3<Real>> points;
        mesh.ExtractInfilledPointSet(Real(c.spacing), &points);
        ExpectPoints(points, c.sweep, c.count - unsigned(c.sweep.size()));
    }
}

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
    EXPECT_EQ(AllCorners(deep), (V{6, 4, 2, 3, 12, 10, 0, 8, 5, 7, 4, 5, 3, 9, 2, 11, 1, 10}));

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
    const double before = sphere.GetSurfaceArea();
    const unsigned int originalFaces = sphere.m_Faces.GetCount();
    const Real limit = Real(0.25);
    sphere.SubDivide(limit);
    const unsigned int faces = sphere.m_Faces.GetCount();
    // Every split adds one face and two vertices to the separated triangles.
    EXPECT_EQ(sphere.m_Vertices.GetCount(), 3 * originalFaces + 2 * (faces - originalFaces));
    EXPECT_NEAR(sphere.GetSurfaceArea(), before, before * 1e-5);
    for (unsigned int f = 0; f < faces; ++f)
        for (int k = 0; k < 3; ++k) {
            const auto& a = sphere.m_Vertices[sphere.m_Faces[f].m_Corners[k]].m_Position;
            const auto& b = sphere.m_Vertices[sphere.m_Faces[f].m_Corners[(k + 1) % 3]].m_Position;
            EXPECT_LE(a.DiffVectLenSquared(b), limit * limit) << "face " << f;
        }
}
