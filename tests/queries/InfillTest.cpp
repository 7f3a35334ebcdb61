#include <gtest/gtest.h>

#include <array>
#include <vector>

// InfillBetweenTwoPoints is protected.
#include "MeshInternals.h"

namespace {

using namespace QuorvelTest;

template <typename Mesh>
class Infill : public ::testing::Test { };
typedef ::testing::Types<TMesh<float, TVertexPN<float>, CA32, unsigned int>,
                         TMesh<double, TVertexPNC<double>, CA16, unsigned short>>
    InfillMeshes;
TYPED_TEST_SUITE(Infill, InfillMeshes);

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
