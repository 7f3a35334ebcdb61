#include <gtest/gtest.h>

#include <array>
#include <vector>

// InfillBetweenTwoPoints is protected.
#define protected public
#include "MeshFixtures.h"
#undef protected

namespace {

using namespace QuorvelTest;

template <typename Mesh>
class Infill : public ::testing::Test {};

typedef ::testing::Types<TMesh<float, TVertexPN<float>, CA32, unsigned int>,
                         TMesh<double, TVertexPNC<double>, CA16, unsigned short>>
    InfillMeshes;
TYPED_TEST_SUITE(Infill, InfillMeshes);

typedef std::vector<std::array<double, 3>> Points;

template <typename Real>
void ExpectPoints(const TList<TVector3<Real>>& actual, const Points& expected) {
    ASSERT_EQ(actual.GetCount(), expected.size());
    for (unsigned int i = 0; i < expected.size(); ++i) {
        EXPECT_NEAR(actual[i].x, expected[i][0], 1e-5) << "point " << i;
        EXPECT_NEAR(actual[i].y, expected[i][1], 1e-5) << "point " << i;
        EXPECT_NEAR(actual[i].z, expected[i][2], 1e-5) << "point " << i;
    }
}

template <typename Real>
unsigned int PointsBetween(double length, double spacing) {
    typename TMesh<Real, TVertexPN<Real>, CA8, unsigned int>::Vector start, end(Real(length), 0, 0);
    TMesh<Real, TVertexPN<Real>, CA8, unsigned int> mesh;
    TList<TVector3<Real>> points;
    mesh.InfillBetweenTwoPoints(start, end, Real(spacing), &points);
    return points.GetCount();
}

TYPED_TEST(Infill, SegmentGetsOnlyItsInteriorPointsInOrder) {
    typedef RealOf<TypeParam> Real;
    typedef TVector3<Real> V;
    TypeParam mesh;
    TList<V> points;
    points.Add(V(7, 7, 7));

    // 2.5 spacings: three pieces, two points, at a third and two thirds,
    // appended after what the list held, walking from start to end.
    mesh.InfillBetweenTwoPoints(V(2.5, 0, 0), V(0, 0, 0), Real(1), &points);
    ExpectPoints(points, Points{{7, 7, 7}, {2.5 * 2 / 3, 0, 0}, {2.5 / 3, 0, 0}});

    // Each point is the previous one plus the same step.
    const V step = V(Real(-2.5), 0, 0) / Real(3);
    EXPECT_EQ(points[1], V(Real(2.5), 0, 0) + step);
    EXPECT_EQ(points[2], points[1] + step);

    points.Clear(false);
    mesh.InfillBetweenTwoPoints(V(0, 0, 0), V(0, 1, 0), Real(1), &points);  // one piece
    mesh.InfillBetweenTwoPoints(V(3, 3, 3), V(3, 3, 3), Real(1), &points);  // no length
    EXPECT_EQ(points.GetCount(), 0u);
    mesh.InfillBetweenTwoPoints(V(0, 0, 0), V(0, 0, 2), Real(1), &points);
    ExpectPoints(points, Points{{0, 0, 1}});
}

TEST(InfillPieces, QuotientIsFormedInTheMeshPrecision) {
    // 2.1 / 0.7 is a hair above 3 in double but exactly 3 in float;
    // 2.7 / 0.9 is a hair above 3 in float but exactly 3 in double: one
    // piece more where the quotient passes the whole number.
    EXPECT_EQ(PointsBetween<float>(2.1, 0.7), 2u);
    EXPECT_EQ(PointsBetween<double>(2.1, 0.7), 3u);
    EXPECT_EQ(PointsBetween<float>(2.7, 0.9), 3u);
    EXPECT_EQ(PointsBetween<double>(2.7, 0.9), 2u);
    // 0.3f / 0.1f rounds to exactly 3 in float, although the exact quotient
    // of the two float values lies above 3.
    EXPECT_EQ(PointsBetween<float>(0.3, 0.1), 2u);
    EXPECT_EQ(PointsBetween<double>(0.3, 0.1), 2u);
}

TYPED_TEST(Infill, SmallFacesAddOnlyTheirVerticesAfterTheListsContent) {
    typedef RealOf<TypeParam> Real;
    typedef TVector3<Real> V;
    TypeParam mesh;
    MakeTetrahedron(mesh);
    TList<V> points;
    points.Add(V(-1, -1, -1));
    EXPECT_TRUE(mesh.ExtractInfilledPointSet(Real(1.5), &points));
    ExpectPoints(points, Points{{-1, -1, -1}, {0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}});
}

TYPED_TEST(Infill, SharedEdgesAreFilledOncePerFace) {
    typedef RealOf<TypeParam> Real;
    TypeParam square;
    MakeGrid(square, 1, 1);  // faces (0, 1, 3) and (0, 3, 2)
    TList<TVector3<Real>> points;
    EXPECT_TRUE(square.ExtractInfilledPointSet(Real(0.8), &points));
    ExpectPoints(points, Points{{0, 0, 0},
                                {1, 0, 0},
                                {0, 1, 0},
                                {1, 1, 0},
                                {0.5, 0, 0},  // face 0: AB, BC, AC; its sweep segment is too short
                                {1, 0.5, 0},
                                {0.5, 0.5, 0},
                                {0.5, 0.5, 0},  // face 1 fills the diagonal again
                                {0.5, 1, 0},
                                {0, 0.5, 0}});
}

TYPED_TEST(Infill, SweepRunsFromTheShortestEdgeWithTiesToABThenAC) {
    typedef RealOf<TypeParam> Real;

    // dAB = dAC < dBC: swept from AB towards C, segments parallel to x.
    TypeParam corner;
    AddVertex(corner, 0, 0, 0);
    AddVertex(corner, 3, 0, 0);
    AddVertex(corner, 0, 3, 0);
    AddFace(corner, 0, 1, 2);
    TList<TVector3<Real>> points;
    corner.ExtractInfilledPointSet(Real(1), &points);
    ExpectPoints(points, Points{{0, 0, 0},     {3, 0, 0},     {0, 3, 0},               // vertices
                                {1, 0, 0},     {2, 0, 0},                              // AB
                                {2.4, 0.6, 0}, {1.8, 1.2, 0}, {1.2, 1.8, 0}, {0.6, 2.4, 0},  // BC
                                {0, 1, 0},     {0, 2, 0},                              // AC
                                {0.8, 0.6, 0}, {1.6, 0.6, 0}, {0.9, 1.2, 0}, {0.6, 1.8, 0}});  // sweep

    // dAC = dBC < dAB: swept from AC towards B.
    TypeParam roof;
    AddVertex(roof, 0, 0, 0);
    AddVertex(roof, 4, 0, 0);
    AddVertex(roof, 2, 1.5, 0);
    AddFace(roof, 0, 1, 2);
    points.Clear(false);
    roof.ExtractInfilledPointSet(Real(1), &points);
    ExpectPoints(points, Points{{0, 0, 0},
                                {4, 0, 0},
                                {2, 1.5, 0},
                                {1, 0, 0},
                                {2, 0, 0},
                                {3, 0, 0},
                                {4 - 2.0 / 3, 0.5, 0},
                                {4 - 4.0 / 3, 1, 0},
                                {2.0 / 3, 0.5, 0},
                                {4.0 / 3, 1, 0},
                                {1.75, 0.5625, 0},
                                {2.5, 0.375, 0}});

    // BC strictly shortest: swept from BC towards A; only the tail is
    // written out, the sweep's four segments that are long enough.
    TypeParam wedge;
    AddVertex(wedge, 0, 0, 0);
    AddVertex(wedge, 4, 0, 0);
    AddVertex(wedge, 4, 1, 0);
    AddFace(wedge, 0, 1, 2);
    points.Clear(false);
    wedge.ExtractInfilledPointSet(Real(0.5), &points);
    ASSERT_EQ(points.GetCount(), 3u + 7u + 1u + 8u + 4u);
    TList<TVector3<Real>> tail;
    tail.AddRange(points.GetStream() + 19, 4);
    ExpectPoints(tail, Points{{4 - 4.0 / 9, 4.0 / 9, 0},
                              {4 - 8.0 / 9, 7.0 / 18, 0},
                              {4 - 12.0 / 9, 1.0 / 3, 0},
                              {4 - 16.0 / 9, 5.0 / 18, 0}});
}

}  // namespace
